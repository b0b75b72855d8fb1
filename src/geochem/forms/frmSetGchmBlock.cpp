#include "geochem/forms/frmSetGchmBlock.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

// The hourglass for the time of a run.

}  // namespace

frmSetGchmBlock::frmSetGchmBlock(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSetGchmBlock");
  setWindowTitle(u8(geochem::kClassStatCaption));

  lstTbls = named(new QListWidget(this), "lstTbls");
  cboCLSItem = named(new QComboBox(this), "cboCLSItem");
  lstType = named(new QListWidget(this), "lstType");
  lstType->hide();
  cboVVItem = named(new QListWidget(this), "cboVVItem");
  chkSel = named(new QCheckBox(u8("全选"), this), "chkSel");
  txtDelN = named(new QLineEdit(u8("2.5"), this), "txtDelN");
  chkSave = named(new QCheckBox(u8("保存统计结果到表"), this), "chkSave");
  txtNewTbl = named(new QLineEdit(u8("StatTbl"), this), "txtNewTbl");
  txtNewTbl->setEnabled(false);
  btnStat = named(new QPushButton(u8("统计计算(&S)"), this), "btnStat");
  btnView = named(new QPushButton(u8("数据浏览(&V)"), this), "btnView");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");

  framI = named(new QGroupBox(u8("数据校正"), this), "framI");
  cboDataI = named(new QComboBox(framI), "cboDataI");
  txtConst = named(new QLineEdit(u8("1"), framI), "txtConst");
  cboParI = named(new QComboBox(framI), "cboParI");
  for (const auto& p : geochem::correctionParameterNames()) cboParI->addItem(qs(p));
  cboParI->setCurrentIndex(-1);
  txtNewField = named(new QLineEdit(u8("NewField"), framI), "txtNewField");
  btnCal = named(new QPushButton(u8("数据校正(&C)"), framI), "btnCal");
  framI->setEnabled(false);

  lsvRest = named(new QTreeWidget(this), "lsvRest");
  lsvRest->setRootIsDecorated(false);
  lsvRest->setColumnCount(18);
  QStringList headers;
  for (const auto& h : geochem::classStatHeaders()) headers << qs(h);
  lsvRest->setHeaderLabels(headers);
  lsvRest->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  lsvRest->viewport()->installEventFilter(this);
  for (QPushButton* b : {btnStat, btnView, btnReturn, btnCal}) b->setAutoDefault(false);

  auto* left = new QVBoxLayout;
  left->addWidget(new QLabel(u8("数据表"), this));
  left->addWidget(lstTbls, 1);
  left->addWidget(new QLabel(u8("分类项"), this));
  left->addWidget(cboCLSItem);
  left->addWidget(new QLabel(u8("统计项"), this));
  left->addWidget(cboVVItem, 1);
  left->addWidget(chkSel);
  auto* del = new QHBoxLayout;
  del->addWidget(new QLabel(u8("剔除离差"), this));
  del->addWidget(txtDelN);
  left->addLayout(del);
  left->addWidget(chkSave);
  left->addWidget(txtNewTbl);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnStat);
  buttons->addWidget(btnView);
  buttons->addWidget(btnReturn);
  left->addLayout(buttons);

  auto* fl = new QGridLayout(framI);
  fl->addWidget(new QLabel(u8("数据项"), framI), 0, 0);
  fl->addWidget(cboDataI, 0, 1);
  fl->addWidget(new QLabel(u8("校准常数"), framI), 0, 2);
  fl->addWidget(txtConst, 0, 3);
  fl->addWidget(new QLabel(u8("校正参数项"), framI), 1, 0);
  fl->addWidget(cboParI, 1, 1);
  fl->addWidget(new QLabel(u8("新数据项名"), framI), 1, 2);
  fl->addWidget(txtNewField, 1, 3);
  fl->addWidget(btnCal, 0, 4, 2, 1);

  auto* right = new QVBoxLayout;
  right->addWidget(lsvRest, 1);
  right->addWidget(framI);
  auto* layout = new QHBoxLayout(this);
  layout->addLayout(left, 1);
  layout->addLayout(right, 4);
  resize(1100, 640);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(chkSel, &QCheckBox::toggled, this, [this](bool on) {
    for (int i = 0; i < cboVVItem->count(); ++i)
      cboVVItem->item(i)->setCheckState(on ? Qt::Checked : Qt::Unchecked);
  });
  connect(chkSave, &QCheckBox::toggled, txtNewTbl, &QWidget::setEnabled);
  connect(cboVVItem, &QListWidget::itemClicked, this,
          [this](QListWidgetItem* i) { itemChosen(i->text()); });
  connect(cboDataI, &QComboBox::activated, this,
          [this](int) { itemChosen(cboDataI->currentText()); });
  connect(btnStat, &QPushButton::clicked, this, &frmSetGchmBlock::btnStat_Click);
  connect(btnCal, &QPushButton::clicked, this, &frmSetGchmBlock::btnCal_Click);
  connect(btnView, &QPushButton::clicked, this, [this] { showWorkTable(this, currentTable()); });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmSetGchmBlock::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  return true;
}

std::string frmSetGchmBlock::currentTable() const {
  return lstTbls->currentItem() ? ss(lstTbls->currentItem()->text()) : std::string();
}

void frmSetGchmBlock::tableChosen() {
  const std::string table = currentTable();
  if (table.empty()) return;
  std::vector<FieldDef> fields;
  try {
    if (db_.rowCount(table) == 0) {
      notify(this, geochem::kMsgNoRecords);
      return;
    }
    fields = db_.fields(table);
  } catch (const StoreError& e) {
    notify(this, e.what());
    return;
  }
  cboCLSItem->clear();
  lstType->clear();
  cboVVItem->clear();
  cboDataI->clear();
  for (const FieldDef& f : fields) {
    cboCLSItem->addItem(qs(f.name));
    lstType->addItem(qs(geochem::classFieldKind(f)));
    if (!f.isNumeric()) continue;
    auto* item = new QListWidgetItem(qs(f.name), cboVVItem);
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(Qt::Unchecked);
    cboDataI->addItem(qs(f.name));
  }
  cboCLSItem->setCurrentIndex(-1);
  cboDataI->setCurrentIndex(-1);
}

void frmSetGchmBlock::itemChosen(const QString& name) {
  cboDataI->setCurrentIndex(cboDataI->findText(name));
  txtNewField->setText(name + "_N");
}

void frmSetGchmBlock::btnStat_Click() {
  geochem::ClassStatJob job;
  job.table = currentTable();
  const int c = cboCLSItem->currentIndex();
  if (c >= 0) {
    job.classField = ss(cboCLSItem->currentText());
    job.classIsText = lstType->item(c) && lstType->item(c)->text() == "TEXT";
  }
  for (int i = 0; i < cboVVItem->count(); ++i)
    if (cboVVItem->item(i)->checkState() == Qt::Checked)
      job.items.push_back(ss(cboVVItem->item(i)->text()));
  job.deviationText = ss(txtDelN->text());
  job.save = chkSave->isChecked();
  job.newTable = ss(txtNewTbl->text().trimmed());
  GuiInteraction ui(this);
  Outcome o;
  {
    BusyCursor busy;
    BarProgress progress(nullptr);
    o = geochem::runClassStatistics(db_, job, rows_, ui, progress);
    showRows();
  }
  if (!o.ok) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  framI->setEnabled(true);
}

void frmSetGchmBlock::showRows() {
  lsvRest->clear();
  for (const auto& r : rows_) {
    QStringList cells;
    for (const auto& c : r) cells << qs(c);
    new QTreeWidgetItem(lsvRest, cells);
  }
}

void frmSetGchmBlock::btnCal_Click() {
  geochem::CorrectionJob job;
  job.table = currentTable();
  job.classField = ss(cboCLSItem->currentText());
  job.dataField = cboDataI->currentIndex() >= 0 ? ss(cboDataI->currentText()) : std::string();
  job.parameterIndex = cboParI->currentIndex();
  job.constText = ss(txtConst->text());
  job.newField = ss(txtNewField->text().trimmed());
  Outcome o;
  {
    BusyCursor busy;
    BarProgress progress(nullptr);
    o = geochem::runCorrection(db_, job, rows_, progress);
  }
  notify(this, o.message);
}

void frmSetGchmBlock::saveListText() {
  const std::string path =
      askSaveFileName(this, "结果存入文件名...", "文本文件(*.txt)|所有文件 (*.*)|*.*|", "*.txt");
  if (path.empty()) return;
  if (!writeGbkTextFile(path, geochem::classStatText(rows_))) notify(this, "不能写入文件: " + path);
}

bool frmSetGchmBlock::eventFilter(QObject* watched, QEvent* event) {
  if (watched == lsvRest->viewport() && event->type() == QEvent::MouseButtonRelease &&
      static_cast<QMouseEvent*>(event)->button() == Qt::RightButton) {
    saveListText();
    return true;
  }
  return QDialog::eventFilter(watched, event);
}

static ToolWindowRegistrar reg{"frmSetGchmBlock", loadingWindow<frmSetGchmBlock>()};

}  // namespace sarnoth::gui
