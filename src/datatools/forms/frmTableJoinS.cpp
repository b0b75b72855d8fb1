#include "datatools/forms/frmTableJoinS.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "app/frmGridView.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "datatools/special_merge.h"
#include "prep/table_merge.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
frmTableJoinS::frmTableJoinS(QWidget* parent) : QDialog(parent) {
  setObjectName("frmTableJoinS");
  setWindowTitle(u8(kJoinSCaption));
  for (int s = 0; s < 2; ++s) {
    const std::string n = std::to_string(s);
    cboTables[s] = named(new QComboBox(this), ("cboTables_" + n).c_str());
    lstItems[s] = named(new QListWidget(this), ("lstItems_" + n).c_str());
    lstItems[s]->setSelectionMode(QAbstractItemView::MultiSelection);
    chkSel[s] = named(new QCheckBox(u8("全选"), this), ("chkSel_" + n).c_str());
  }
  lstKeys = named(new QListWidget(this), "lstKeys");
  lstKeys->setSelectionMode(QAbstractItemView::MultiSelection);
  txtNewTbl = named(new QLineEdit(u8(kJoinSDefaultName), this), "txtNewTbl");
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  lblResult = named(new QLabel(this), "lblResult");
  btnJoin = named(new QPushButton(u8("合并(&J).."), this), "btnJoin");
  btnView = named(new QPushButton(u8("数据表浏览(&V)"), this), "btnView");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnJoin, btnView, btnReturn}) b->setAutoDefault(false);

  auto* grid = new QGridLayout;
  grid->addWidget(new QLabel(u8("数据表1"), this), 0, 0);
  grid->addWidget(cboTables[0], 1, 0);
  grid->addWidget(new QLabel(u8("数据表1 - 数据项"), this), 2, 0);
  grid->addWidget(lstItems[0], 3, 0);
  grid->addWidget(chkSel[0], 4, 0);
  grid->addWidget(new QLabel(u8("关键字段(两表同名)"), this), 0, 1);
  grid->addWidget(lstKeys, 1, 1, 4, 1);
  grid->addWidget(new QLabel(u8("数据表2"), this), 0, 2);
  grid->addWidget(cboTables[1], 1, 2);
  grid->addWidget(new QLabel(u8("数据表2 - 数据项"), this), 2, 2);
  grid->addWidget(lstItems[1], 3, 2);
  grid->addWidget(chkSel[1], 4, 2);
  auto* name = new QHBoxLayout;
  name->addWidget(new QLabel(u8("新数据表名"), this));
  name->addWidget(txtNewTbl, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblResult, 1);
  buttons->addWidget(btnJoin);
  buttons->addWidget(btnView);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(grid, 1);
  layout->addLayout(name);
  layout->addWidget(prgBar);
  layout->addLayout(buttons);
  resize(720, 480);

  for (int s = 0; s < 2; ++s) {
    connect(cboTables[s], &QComboBox::currentIndexChanged, this, [this, s] { tableChosen(s); });
    connect(chkSel[s], &QCheckBox::toggled, this, [this, s](bool on) {
      for (int i = 0; i < lstItems[s]->count(); ++i) lstItems[s]->item(i)->setSelected(on);
    });
  }
  // A key is not a field beside the keys: choosing it takes it out of the field lists.
  connect(lstKeys, &QListWidget::itemSelectionChanged, this, [this] { refillLists(); });
  connect(btnJoin, &QPushButton::clicked, this, &frmTableJoinS::btnJoin_Click);
  connect(btnView, &QPushButton::clicked, this, &frmTableJoinS::btnView_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmTableJoinS::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> names;
  listRegisteredTables(db_, names);
  for (QComboBox* c : cboTables) {
    QSignalBlocker block(c);
    for (const auto& n : names) c->addItem(qs(n));
    c->setCurrentIndex(-1);
  }
  return true;
}

void frmTableJoinS::done(int r) {
  db_.close();
  QDialog::done(r);
}

std::vector<std::string> frmTableJoinS::selectedOf(const QListWidget* list) const {
  std::vector<std::string> out;
  for (int i = 0; i < list->count(); ++i)
    if (list->item(i)->isSelected()) out.push_back(ss(list->item(i)->text()));
  return out;
}

void frmTableJoinS::tableChosen(int side) {
  const QString name = cboTables[side]->currentText();
  if (!name.isEmpty() && name == cboTables[1 - side]->currentText()) {
    notify(this, kMsgJoinSameTableChoice);
    QSignalBlocker block(cboTables[side]);
    cboTables[side]->setCurrentIndex(-1);
  }
  QSignalBlocker block(lstKeys);
  lstKeys->clear();
  const std::string t1 = ss(cboTables[0]->currentText()), t2 = ss(cboTables[1]->currentText());
  if (!t1.empty() && !t2.empty()) {
    for (const auto& k : specialKeyFields(db_, t1, t2)) lstKeys->addItem(qs(k));
    if (lstKeys->count()) lstKeys->item(0)->setSelected(true);
  }
  refillLists();
}

void frmTableJoinS::refillLists() {
  const auto keys = selectedOf(lstKeys);
  for (int s = 0; s < 2; ++s) {
    const auto kept = selectedOf(lstItems[s]);
    QSignalBlocker block(lstItems[s]);
    lstItems[s]->clear();
    const std::string table = ss(cboTables[s]->currentText());
    if (table.empty()) continue;
    try {
      for (const auto& f : db_.fields(table)) {
        bool isKey = false;
        for (const auto& k : keys)
          isKey = isKey || QString::compare(qs(k), qs(f.name), Qt::CaseInsensitive) == 0;
        if (isKey) continue;
        lstItems[s]->addItem(qs(f.name));
        if (chkSel[s]->isChecked() || std::find(kept.begin(), kept.end(), f.name) != kept.end())
          lstItems[s]->item(lstItems[s]->count() - 1)->setSelected(true);
      }
    } catch (const StoreError& e) {
      notify(this, std::string(kMsgJoinOpenFailed) + e.what());
    }
  }
}

void frmTableJoinS::btnJoin_Click() {
  SpecialMergeJob job;
  job.table1 = ss(cboTables[0]->currentText());
  job.table2 = ss(cboTables[1]->currentText());
  job.keys = selectedOf(lstKeys);
  job.fields1 = selectedOf(lstItems[0]);
  job.fields2 = selectedOf(lstItems[1]);
  job.newName = ss(txtNewTbl->text().trimmed());
  GuiInteraction ui(this);
  BarProgress progress(prgBar);
  SpecialMergeReport rep;
  btnJoin->setEnabled(false);
  Outcome o = specialMerge(db_, job, ui, progress, &rep);
  btnJoin->setEnabled(true);
  prgBar->setValue(0);
  if (o) {
    lastResult_ = job.newName;
    lblResult->setText(u8("记录数: %1 (两表匹配 %2, 仅表1 %3, 仅表2 %4)")
                           .arg(rep.rows)
                           .arg(rep.matched)
                           .arg(rep.onlyFirst)
                           .arg(rep.onlySecond));
    for (QComboBox* c : cboTables) {
      QSignalBlocker block(c);
      c->addItem(qs(job.newName));
    }
  }
  if (!o.message.empty()) notify(this, o.message);
}

void frmTableJoinS::btnView_Click() {
  if (lastResult_.empty()) {
    notify(this, "结果数据表不存在，请先合并。");
    return;
  }
  gViewConnect =
      "Provider=Microsoft.Jet.OLEDB.4.0;;;Data Source=" + gWorkPath + "\\Qury_Dat\\QueryDB.mdb";
  gViewSource = lastResult_;
  frmGridView view(this);
  view.run();
}

static ToolWindowRegistrar reg{"frmTableJoinS", loadingWindow<frmTableJoinS>()};

}  // namespace sarnoth::gui
