#include "geochem/forms/frmElemsClassify.h"

#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QTextEdit>
#include <QVBoxLayout>
#include <map>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/element_form_support.h"
#include "workarea/file_text.h"
#include "workarea/rtf_text.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kNoLength = "(无)";
constexpr const char* kSaveTitle = "保存处理结果...";
constexpr const char* kSaveFilter = "Sarnoth结果文件(*.RTF)|*.rtf|所有文件 (*.*)|*.*|";

}  // namespace

frmElemsClassify::frmElemsClassify(QWidget* parent) : QDialog(parent) {
  setObjectName("frmElemsClassify");
  setWindowTitle(u8(geochem::kZoningCaption));

  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  (new QVBoxLayout(tables))->addWidget(lstTbls);

  auto* fields = new QGroupBox(u8("中段与样品"), this);
  auto* fl = new QGridLayout(fields);
  cboLevel = named(new QComboBox(fields), "cboLevel");
  cboLength = named(new QComboBox(fields), "cboLength");
  optOrder[0] = named(new QRadioButton(u8(geochem::levelOrderCaptions()[0]), fields), "optOrder_0");
  optOrder[1] = named(new QRadioButton(u8(geochem::levelOrderCaptions()[1]), fields), "optOrder_1");
  optOrder[0]->setChecked(true);
  fl->addWidget(new QLabel(u8("中段(标高)数据项"), fields), 0, 0);
  fl->addWidget(cboLevel, 0, 1);
  fl->addWidget(optOrder[0], 1, 0);
  fl->addWidget(optOrder[1], 1, 1);
  fl->addWidget(new QLabel(u8("样品长度数据项"), fields), 2, 0);
  fl->addWidget(cboLength, 2, 1);

  auto* items = new QGroupBox(u8("元素项"), this);
  auto* il = new QHBoxLayout(items);
  lstItems = named(new QListWidget(items), "lstItems");
  lstItems->setSelectionMode(QAbstractItemView::MultiSelection);
  grdBack = named(new QTableWidget(0, 2, items), "grdBack");
  grdBack->setHorizontalHeaderLabels({u8("元素"), u8("背景值")});
  grdBack->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  il->addWidget(lstItems, 1);
  il->addWidget(grdBack, 1);

  auto* methods = named(new QGroupBox(u8("计算方法"), this), "frmMethod");
  auto* ml = new QHBoxLayout(methods);
  for (int i = 0; i < geochem::kZoningMethodCount; ++i) {
    optMethod[static_cast<std::size_t>(i)] = named(
        new QRadioButton(u8(geochem::zoningMethodCaptions()[static_cast<std::size_t>(i)]), methods),
        qPrintable(QString("optMethod_%1").arg(i)));
    ml->addWidget(optMethod[static_cast<std::size_t>(i)]);
  }
  optMethod[0]->setChecked(true);

  rchBox = named(new QTextEdit(this), "rchBox");
  rchBox->setLineWrapMode(QTextEdit::NoWrap);
  rchBox->setAcceptRichText(false);
  rchBox->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  btnApply = named(new QPushButton(u8("计算(&A)"), this), "btnApply");
  btnSave = named(new QPushButton(u8("保存结果(&S)"), this), "btnSave");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnSave, btnReturn}) b->setAutoDefault(false);
  btnSave->setEnabled(false);

  auto* left = new QVBoxLayout;
  left->addWidget(tables, 1);
  left->addWidget(fields);
  auto* right = new QVBoxLayout;
  right->addWidget(items, 1);
  right->addWidget(methods);
  right->addWidget(rchBox, 2);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 1);
  top->addLayout(right, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  for (QPushButton* b : {btnApply, btnSave, btnReturn}) buttons->addWidget(b);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  resize(1000, 680);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(lstItems, &QListWidget::itemSelectionChanged, this, [this] { onItemsChosen(); });
  connect(btnApply, &QPushButton::clicked, this, &frmElemsClassify::apply);
  connect(btnSave, &QPushButton::clicked, this, &frmElemsClassify::save);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmElemsClassify::load() { return openWithTables(this, db_, lstTbls); }

void frmElemsClassify::onTableChosen() {
  const std::vector<std::string> fields = numericFields(this, db_, currentText(lstTbls));
  cboLevel->clear();
  cboLength->clear();
  cboLength->addItem(u8(kNoLength));
  {
    const QSignalBlocker block(lstItems);
    lstItems->clear();
  }
  for (const std::string& f : fields) {
    cboLevel->addItem(qs(f));
    cboLength->addItem(qs(f));
    lstItems->addItem(qs(f));
  }
  cboLevel->setCurrentIndex(-1);
  cboLength->setCurrentIndex(0);
  grdBack->setRowCount(0);
  typed_.clear();
}

void frmElemsClassify::onItemsChosen() {
  // Backgrounds already typed survive a new selection, even one that passes through none.
  for (int r = 0; r < grdBack->rowCount(); ++r)
    typed_[ss(grdBack->item(r, 0)->text())] = grdBack->item(r, 1)->text();
  const std::vector<std::string> names = selectedTexts(lstItems);
  grdBack->setRowCount(static_cast<int>(names.size()));
  for (int r = 0; r < static_cast<int>(names.size()); ++r) {
    const std::string& n = names[static_cast<std::size_t>(r)];
    auto* name = new QTableWidgetItem(qs(n));
    name->setFlags(name->flags() & ~Qt::ItemIsEditable);
    grdBack->setItem(r, 0, name);
    const auto t = typed_.find(n);
    grdBack->setItem(r, 1, new QTableWidgetItem(t != typed_.end() ? t->second : "0"));
  }
}

void frmElemsClassify::apply() {
  geochem::ZoningJob job;
  job.table = currentText(lstTbls);
  if (job.table.empty()) {
    notify(this, kMsgChooseTableFirst);
    return;
  }
  job.levelField = currentText(cboLevel);
  if (cboLength->currentIndex() > 0) job.lengthField = currentText(cboLength);
  job.order =
      optOrder[1]->isChecked() ? geochem::LevelOrder::Number : geochem::LevelOrder::Elevation;
  job.method = optMethod[1]->isChecked() ? geochem::ZoningMethod::Gradient
                                         : geochem::ZoningMethod::ZoningIndex;
  for (int r = 0; r < grdBack->rowCount(); ++r) {
    const std::string name = ss(grdBack->item(r, 0)->text());
    double b = 0;
    if (!filetext::parseDouble(ss(grdBack->item(r, 1)->text().trimmed()), b)) {
      notify(this, geochem::kMsgZoningBadBackground + name);
      return;
    }
    job.elements.push_back(name);
    job.backgrounds.push_back(b);
  }
  geochem::ZoningResult r;
  {
    BusyCursor busy;
    r = geochem::runZoning(db_, job);
  }
  if (!r.outcome) {
    notify(this, r.outcome.message);
    return;
  }
  rchBox->setPlainText(qs(r.report));
  btnSave->setEnabled(true);
}

void frmElemsClassify::save() {
  const std::string name = askSaveFileName(this, kSaveTitle, kSaveFilter);
  if (name.empty()) return;
  if (!writeRtfFile(name, ss(rchBox->toPlainText()))) notify(this, "不能写入文件: " + name);
}

namespace {
const ToolWindowRegistrar registerElemsClassify{"frmElemsClassify",
                                                loadingWindow<frmElemsClassify>()};
}  // namespace

}  // namespace sarnoth::gui
