#include "prep/forms/frmTableJoin.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/frmGridView.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "prep/table_merge.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

bool sameField(const QString& a, const QString& b) {
  return a.compare(b, Qt::CaseInsensitive) == 0;
}

}  // namespace

frmTableJoin::frmTableJoin(QWidget* parent) : QDialog(parent) {
  setObjectName("frmTableJoin");
  setWindowTitle(u8(kJoinCaption));
  optRight = named(new QRadioButton(u8("右合并"), this), "optRight");
  optBottun = named(new QRadioButton(u8("下合并"), this), "optBottun");
  for (int s = 0; s < 2; ++s) {
    const std::string n = std::to_string(s);
    cboTables[s] = named(new QComboBox(this), ("cboTables_" + n).c_str());
    lstItems[s] = named(new QListWidget(this), ("lstItems_" + n).c_str());
    lstItems[s]->setSelectionMode(QAbstractItemView::MultiSelection);
    chkSel[s] = named(new QCheckBox(u8("全选"), this), ("chkSel_" + n).c_str());
  }
  lstTable2 = named(new QListWidget(this), "lstTable2");
  lstTable2->setSelectionMode(QAbstractItemView::MultiSelection);
  chkIndex = named(new QCheckBox(u8("按索引项搜索"), this), "chkIndex");
  cboIndex = named(new QComboBox(this), "cboIndex");
  chkAddIn = named(new QCheckBox(u8("追加到主表"), this), "chkAddIn");
  txtCondition = named(new QLineEdit(this), "txtCondition");
  txtCondition->setPlaceholderText(u8("输入一个数据项名称"));
  txtNewTbl = named(new QLineEdit(u8(kJoinDefaultName), this), "txtNewTbl");
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  lblProc = named(new QLabel(this), "lblProc");
  btnJoin = named(new QPushButton(u8("合并(&J).."), this), "btnJoin");
  btnView = named(new QPushButton(u8("数据表浏览(&V)"), this), "btnView");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnJoin, btnView, btnReturn}) b->setAutoDefault(false);

  auto* modes = new QHBoxLayout;
  modes->addWidget(optRight);
  modes->addWidget(optBottun);
  modes->addStretch(1);
  auto* sides = new QGridLayout;
  sides->addWidget(new QLabel(u8("数据表1(主表)"), this), 0, 0);
  sides->addWidget(cboTables[0], 1, 0);
  sides->addWidget(new QLabel(u8("数据表1 - 数据项"), this), 2, 0);
  sides->addWidget(lstItems[0], 3, 0);
  sides->addWidget(chkSel[0], 4, 0);
  sides->addWidget(new QLabel(u8("数据表2"), this), 0, 1);
  sides->addWidget(cboTables[1], 1, 1);
  sides->addWidget(lstItems[1], 3, 1);
  sides->addWidget(chkSel[1], 4, 1);
  sides->addWidget(lstTable2, 1, 2, 4, 1);
  auto* options = new QGridLayout;
  options->addWidget(chkIndex, 0, 0);
  options->addWidget(cboIndex, 0, 1);
  options->addWidget(chkAddIn, 0, 2);
  options->addWidget(new QLabel(u8("过滤空值项"), this), 1, 0);
  options->addWidget(txtCondition, 1, 1, 1, 2);
  options->addWidget(new QLabel(u8("新数据表名"), this), 2, 0);
  options->addWidget(txtNewTbl, 2, 1, 1, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblProc, 1);
  buttons->addWidget(btnJoin);
  buttons->addWidget(btnView);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(modes);
  layout->addLayout(sides, 1);
  layout->addLayout(options);
  layout->addWidget(prgBar);
  layout->addLayout(buttons);
  resize(700, 520);

  optRight->setChecked(true);
  modeChanged();

  for (int s = 0; s < 2; ++s) {
    connect(cboTables[s], &QComboBox::currentIndexChanged, this, [this, s] { tableChosen(s); });
    connect(lstItems[s], &QListWidget::itemSelectionChanged, this, [this, s] { itemsChanged(s); });
    connect(lstItems[s], &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* it) { txtCondition->setText(it->text()); });
    connect(chkSel[s], &QCheckBox::toggled, this, [this, s](bool on) {
      for (int i = 0; i < lstItems[s]->count(); ++i) lstItems[s]->item(i)->setSelected(on);
    });
  }
  connect(lstTable2, &QListWidget::itemSelectionChanged, this, [this] { table2Changed(); });
  connect(optRight, &QRadioButton::toggled, this, [this] { modeChanged(); });
  connect(chkIndex, &QCheckBox::toggled, this, [this](bool on) {
    if (on && cboIndex->count() == 0) {
      notify(this, kMsgJoinNoIndex);
      chkIndex->setChecked(false);
    }
  });
  connect(chkAddIn, &QCheckBox::toggled, this, [this](bool on) { txtNewTbl->setEnabled(!on); });
  connect(btnJoin, &QPushButton::clicked, this, &frmTableJoin::btnJoin_Click);
  connect(btnView, &QPushButton::clicked, this, &frmTableJoin::btnView_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmTableJoin::load() {
  if (!openToolDatabase(this, db_)) return false;
  connect_ =
      "Provider=Microsoft.Jet.OLEDB.4.0;;;Data Source=" + gWorkPath + "\\Qury_Dat\\QueryDB.mdb";
  std::vector<std::string> names;
  listRegisteredTables(db_, names);
  for (const auto& n : names) {
    for (QComboBox* c : cboTables) {
      QSignalBlocker block(c);
      c->addItem(qs(n));
      c->setCurrentIndex(-1);
    }
    QSignalBlocker block(lstTable2);
    lstTable2->addItem(qs(n));
  }
  return true;
}

void frmTableJoin::done(int r) {
  db_.close();
  QDialog::done(r);
}

std::vector<std::string> frmTableJoin::selected(int side) const {
  std::vector<std::string> out;
  for (int i = 0; i < lstItems[side]->count(); ++i)
    if (lstItems[side]->item(i)->isSelected()) out.push_back(ss(lstItems[side]->item(i)->text()));
  return out;
}

void frmTableJoin::modeChanged() {
  const bool right = optRight->isChecked();
  lstTable2->setVisible(!right);
  cboTables[1]->setVisible(right);
  lstItems[1]->setVisible(right);
  chkSel[1]->setVisible(right);
  if (!right) {
    chkIndex->setChecked(false);
    cboIndex->clear();
  } else {
    refillIndex();
  }
  chkIndex->setEnabled(right);
  cboIndex->setEnabled(right);
}

void frmTableJoin::tableChosen(int side) {
  const int other = 1 - side;
  const QString name = cboTables[side]->currentText();
  if (!name.isEmpty() && name == cboTables[other]->currentText()) {
    notify(this, kMsgJoinSameTableChoice);
    QSignalBlocker block(cboTables[side]);
    cboTables[side]->setCurrentIndex(-1);
  }
  {
    QSignalBlocker block(lstItems[side]);
    lstItems[side]->clear();
    if (!cboTables[side]->currentText().isEmpty()) {
      try {
        for (const auto& f : db_.fields(ss(cboTables[side]->currentText())))
          lstItems[side]->addItem(qs(f.name));
      } catch (const StoreError& e) {
        notify(this, std::string(kMsgJoinOpenFailed) + e.what());
      }
    }
  }
  {
    QSignalBlocker block(chkSel[side]);
    chkSel[side]->setChecked(false);
  }
  refillIndex();
}

void frmTableJoin::refillIndex() {
  cboIndex->clear();
  const std::string t1 = ss(cboTables[0]->currentText()), t2 = ss(cboTables[1]->currentText());
  if (!optRight->isChecked() || t1.empty() || t2.empty()) return;
  for (const auto& f : commonIndexFields(db_, t1, t2)) cboIndex->addItem(qs(f));
  if (cboIndex->count()) cboIndex->setCurrentIndex(0);
}

void frmTableJoin::itemsChanged(int side) {
  const int other = 1 - side;
  if (!optRight->isChecked()) return;
  for (QListWidgetItem* it : lstItems[side]->selectedItems())
    for (QListWidgetItem* o : lstItems[other]->selectedItems())
      if (sameField(it->text(), o->text())) {
        QSignalBlocker block(lstItems[side]);
        it->setSelected(false);
        notify(this, kMsgJoinFieldTaken);
        break;
      }
}

void frmTableJoin::table2Changed() {
  const QString master = cboTables[0]->currentText();
  for (QListWidgetItem* it : lstTable2->selectedItems())
    if (!master.isEmpty() && it->text() == master) {
      QSignalBlocker block(lstTable2);
      it->setSelected(false);
      notify(this, kMsgJoinSameTableChoice);
    }
}

void frmTableJoin::btnJoin_Click() {
  std::vector<std::string> tables;
  for (int i = 0; i < cboTables[0]->count(); ++i) tables.push_back(ss(cboTables[0]->itemText(i)));
  const std::string newName = ss(txtNewTbl->text().trimmed());
  const bool addIn = chkAddIn->isChecked();
  GuiInteraction ui(this);
  BarProgress progress(prgBar);
  btnJoin->setEnabled(false);
  Outcome o;
  if (optRight->isChecked()) {
    RightMergeJob job;
    job.table1 = ss(cboTables[0]->currentText());
    job.table2 = ss(cboTables[1]->currentText());
    job.fields1 = selected(0);
    job.fields2 = selected(1);
    job.byIndex = chkIndex->isChecked();
    job.indexField = ss(cboIndex->currentText());
    job.addIn = addIn;
    job.condition = ss(txtCondition->text().trimmed());
    job.newName = newName;
    job.tableList = tables;
    o = rightMerge(db_, job, ui, progress);
    if (o) lastResult_ = addIn ? job.table1 : newName;
  } else {
    DownMergeJob job;
    job.master = ss(cboTables[0]->currentText());
    job.fields = selected(0);
    for (int i = 0; i < lstTable2->count(); ++i)
      if (lstTable2->item(i)->isSelected()) job.tables.push_back(ss(lstTable2->item(i)->text()));
    job.addIn = addIn;
    job.condition = ss(txtCondition->text().trimmed());
    job.newName = newName;
    job.tableList = tables;
    o = downMerge(db_, job, ui, progress, nullptr, [this](const std::string& t) {
      lblProc->setText(qs(t));
      QCoreApplication::processEvents();
    });
    if (o) lastResult_ = addIn ? job.master : newName;
  }
  prgBar->setValue(0);
  btnJoin->setEnabled(true);
  if (o && !addIn) {
    // The new table joins the lists.
    for (QComboBox* c : cboTables) {
      QSignalBlocker block(c);
      c->addItem(qs(newName));
    }
    QSignalBlocker block(lstTable2);
    lstTable2->addItem(qs(newName));
  }
  if (o && addIn) {
    // The master has new fields: its list shows them.
    tableChosen(0);
  }
  if (!o.message.empty()) notify(this, o.message);
}

void frmTableJoin::btnView_Click() {
  std::string source = lastResult_;
  if (source.empty()) source = ss(cboTables[0]->currentText());
  if (source.empty()) {
    notify(this, "请选择数据表.");
    return;
  }
  gViewConnect = connect_;
  gViewSource = source;
  frmGridView view(this);
  view.run();
}

static ToolWindowRegistrar reg{"frmTableJoin", loadingWindow<frmTableJoin>()};

}  // namespace sarnoth::gui
