#include "app/frmSelectTbl.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <filesystem>

#include "app/messages.h"
#include "app/picker_common.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

// The two deleting modes: what they read and what they say.
struct DeleteKind {
  const char* table;
  const char* nameField;
  const char* pathField;
  const char* caption;
  const char* empty;
  const char* noSelection;
  const char* question;
};

const DeleteKind kDeleteProject = {
    "DMXDataBase",
    "BASENAME",
    "BASEPATH",
    "删除数据工程",
    "系统内无数据工程。",
    "请选择数据工程。",
    "一定要删除所选数据工程吗? 这将从系统中彻底清除不能恢复,三思而后行!!!."};
const DeleteKind kDeleteWorkArea = {
    "DMXWorkBase",
    "WORKNAME",
    "WORKPATH",
    "删除工作区",
    "系统内无工作区。",
    "请选择工作区。",
    "一定要删除所选工作区工程吗? 这将从系统中彻底清除不能恢复,三思而后行!!!."};

const DeleteKind& deleteKind(int mode) { return mode == 300 ? kDeleteProject : kDeleteWorkArea; }

std::string systemDatabase() { return gSysPath + "DMXManag.mdb"; }

}  // namespace

frmSelectTbl::frmSelectTbl(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSelectTbl");
  setWindowTitle(QString::fromUtf8("数据表"));
  lstTbls = new QListWidget(this);
  lstTbls->setObjectName("lstTbls");
  btnSure = pickerButton(this, "btnSure", "选择(&S)");
  btnCancel = pickerButton(this, "btnCancel", "取消(&C)");
  layOutPicker(this, lstTbls, nullptr, nullptr, {btnSure, btnCancel}, 320, 360);
  connect(btnSure, &QPushButton::clicked, this, &frmSelectTbl::btnSure_Click);
  connect(btnCancel, &QPushButton::clicked, this, &frmSelectTbl::btnCancel_Click);
  // In the picking modes a double-click picks, as the button does; it never deletes.
  connect(lstTbls, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* item) {
    if (deleting() || !item) return;
    lstTbls->setCurrentItem(item);
    btnSure_Click();
  });
}

void frmSelectTbl::selectFirst() {
  if (!deleting() && lstTbls->count() > 0) lstTbls->setCurrentRow(0);
}

bool frmSelectTbl::load() {
  lstTbls->clear();
  if (mode == 100) {
    for (const QString& name : itemsText.split(',', Qt::SkipEmptyParts))
      lstTbls->addItem(name.trimmed());
    selectFirst();
    return true;
  }
  if (mode == 200 || mode == 400) {
    if (database && database->isOpen()) {
      try {
        for (const auto& t : database->tableNames()) lstTbls->addItem(QString::fromStdString(t));
      } catch (const StoreError& e) {
        notify(this, std::string("打开数据库错, 或无数据表：") + e.what());
        gPickedFile.clear();
        return false;
      }
    }
    selectFirst();
    return true;
  }
  if (!deleting()) return true;
  const DeleteKind& k = deleteKind(mode);
  setWindowTitle(QString::fromUtf8(k.caption));
  btnSure->setText(QString::fromUtf8("删除&D"));
  btnCancel->setText(QString::fromUtf8("返回(&R)"));
  try {
    Database db = openStoreFor(systemDatabase());
    Recordset rs = Recordset::openTable(db, k.table);
    for (rs.moveFirst(); !rs.eof(); rs.moveNext())
      lstTbls->addItem(QString::fromStdString(rs.getText(k.nameField)));
  } catch (const StoreError& e) {
    notify(this, std::string("打开数据库错, 或无数据表：") + e.what());
    return false;
  }
  if (lstTbls->count() == 0) {
    notify(this, k.empty);
    return false;
  }
  return true;
}

int frmSelectTbl::run() {
  if (!load()) return Rejected;
  return exec();
}

void frmSelectTbl::btnSure_Click() {
  if (deleting()) {
    deleteSelected();
    return;
  }
  QListWidgetItem* item = lstTbls->currentItem();
  if (!item || !item->isSelected()) {
    notify(this, "请选择数据表.");
    return;
  }
  gPickedFile = item->text().toStdString();
  accept();
}

void frmSelectTbl::deleteSelected() {
  const DeleteKind& k = deleteKind(mode);
  QListWidgetItem* item = lstTbls->currentItem();
  if (!item || !item->isSelected()) {
    notify(this, k.noSelection);
    return;
  }
  if (showMessage(this, kTitle, k.question, Buttons::YesNo, Icon::Question) != Answer::Yes) return;
  const std::string name = item->text().toStdString();
  try {
    Database db = openStoreFor(systemDatabase());
    Recordset rs = Recordset::openTable(db, k.table);
    if (!rs.findFirst(std::string(k.nameField) + "=?", {name})) {
      notify(this, "系统内找不到: " + name);
      return;
    }
    std::string path = rs.getText(k.pathField);
    if (!path.empty() && (path.back() == '\\' || path.back() == '/')) path.pop_back();
    // A path that names nothing (or the root) is never removed.
    const std::string resolved = resolvePath(path);
    if (!path.empty() && resolved != "/" && pathExists(path)) {
      std::error_code ec;
      std::filesystem::remove_all(resolved, ec);
      if (ec) {
        notify(this, "不能删除目录 " + path + ": " + ec.message());
        return;
      }
    }
    rs.remove();
  } catch (const StoreError& e) {
    notify(this, std::string("打开数据库错, 或无数据表：") + e.what());
    return;
  }
  delete lstTbls->takeItem(lstTbls->row(item));
  notify(this, name + " 已经被删除。");
}

void frmSelectTbl::btnCancel_Click() { reject(); }

void frmSelectTbl::reject() {
  gPickedFile.clear();
  QDialog::reject();
}

}  // namespace sarnoth::gui
