#include "datatools/forms/frmClearTableM.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <filesystem>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/data_tools.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kMissingMark = "  (无数据表)";
constexpr int kNameRole = Qt::UserRole;

std::vector<std::string> selectedNames(const QListWidget* l) {
  std::vector<std::string> out;
  for (int i = 0; i < l->count(); ++i)
    if (l->item(i)->isSelected()) out.push_back(ss(l->item(i)->data(kNameRole).toString()));
  return out;
}

}  // namespace

frmClearTableM::frmClearTableM(QWidget* parent) : QDialog(parent) {
  setObjectName("frmClearTableM");
  setWindowTitle(QString::fromUtf8("工作区数据整理"));
  lstTbls = named(new QListWidget(this), "lstTbls");
  lstUnreg = named(new QListWidget(this), "lstUnreg");
  for (QListWidget* l : {lstTbls, lstUnreg}) l->setSelectionMode(QAbstractItemView::MultiSelection);
  lblStore = named(new QLabel(this), "lblStore");
  btnApply = named(new QPushButton(QString::fromUtf8("删除所选(&D)"), this), "btnApply");
  btnRegister = named(new QPushButton(QString::fromUtf8("登记所选(&G)"), this), "btnRegister");
  btnCompact = named(new QPushButton(QString::fromUtf8("压缩数据库(&C)"), this), "btnCompact");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnRegister, btnCompact, btnReturn}) b->setAutoDefault(false);

  auto* reg = new QGroupBox(QString::fromUtf8("已登记的数据表"), this);
  auto* rl = new QVBoxLayout(reg);
  rl->addWidget(lstTbls, 1);
  rl->addWidget(btnApply);
  auto* unreg = new QGroupBox(QString::fromUtf8("未登记的数据表"), this);
  auto* ul = new QVBoxLayout(unreg);
  ul->addWidget(lstUnreg, 1);
  ul->addWidget(btnRegister);
  auto* lists = new QHBoxLayout;
  lists->addWidget(reg, 1);
  lists->addWidget(unreg, 1);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(lblStore, 1);
  bottom->addWidget(btnCompact);
  bottom->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(lists, 1);
  layout->addLayout(bottom);
  resize(620, 420);

  connect(btnApply, &QPushButton::clicked, this, &frmClearTableM::btnApply_Click);
  connect(btnRegister, &QPushButton::clicked, this, &frmClearTableM::btnRegister_Click);
  connect(btnCompact, &QPushButton::clicked, this, &frmClearTableM::btnCompact_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmClearTableM::load() {
  if (!openToolDatabase(this, db_)) return false;
  refresh();
  return true;
}

void frmClearTableM::refresh() {
  lstTbls->clear();
  lstUnreg->clear();
  std::vector<std::string> reg;
  listRegisteredTables(db_, reg);
  const std::vector<std::string> orphans = orphanRegistryRows(db_);
  for (const auto& t : reg) {
    const bool missing = std::find(orphans.begin(), orphans.end(), t) != orphans.end();
    auto* item = new QListWidgetItem(qs(t + (missing ? kMissingMark : "")), lstTbls);
    item->setData(kNameRole, qs(t));
  }
  for (const auto& t : unregisteredTables(db_)) {
    auto* item = new QListWidgetItem(qs(t), lstUnreg);
    item->setData(kNameRole, qs(t));
  }
  std::error_code ec;
  const auto size = std::filesystem::file_size(db_.path(), ec);
  lblStore->setText(ec ? QString()
                       : QString::fromUtf8("数据库文件: %1 KB").arg((size + 1023) / 1024));
}

std::vector<std::string> frmClearTableM::registeredNames() const {
  std::vector<std::string> out;
  for (int i = 0; i < lstTbls->count(); ++i)
    out.push_back(ss(lstTbls->item(i)->data(kNameRole).toString()));
  return out;
}

void frmClearTableM::btnApply_Click() {
  GuiInteraction ui(this);
  Outcome o = removeTables(db_, selectedNames(lstTbls), ui);
  // The engine asks and reports itself; what is left to show is a refusal or an error.
  if (!o && !o.message.empty()) notify(this, o.message);
  refresh();
}

void frmClearTableM::btnRegister_Click() {
  const auto names = selectedNames(lstUnreg);
  if (names.empty()) {
    notify(this, "请选择数据表.");
    return;
  }
  for (const auto& n : names) {
    Outcome o = registerExistingTable(db_, n);
    if (!o) {
      notify(this, o.message);
      break;
    }
  }
  refresh();
}

void frmClearTableM::btnCompact_Click() {
  Outcome o = compactWorkDatabase(gWorkPath, db_);
  notify(this, o.message);
  if (db_.isOpen()) refresh();
}

static ToolWindowRegistrar reg{"frmClearTableM", loadingWindow<frmClearTableM>()};

}  // namespace sarnoth::gui
