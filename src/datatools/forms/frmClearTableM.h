// frmClearTableM "工作区数据整理": the housekeeping of the work area's table store.
//
// lstTbls lists the registered tables (a row whose table is missing is marked), lstUnreg the
// tables the registry does not list. "删除" removes the selected registered tables with their
// registry rows after the question "确实要删除所选数据表吗?"; "登记" registers the selected
// unlisted tables; "压缩" compacts the store ("数据库已压缩成功。").
#pragma once

#include <QDialog>
#include <string>
#include <vector>

#include "workarea/table_store.h"

class QLabel;
class QListWidget;
class QPushButton;

namespace sarnoth::gui {

class frmClearTableM : public QDialog {
  Q_OBJECT
 public:
  explicit frmClearTableM(QWidget* parent = nullptr);
  bool load();

  QListWidget* lstTbls = nullptr;   // registered, multi-selection
  QListWidget* lstUnreg = nullptr;  // present but not registered, multi-selection
  QLabel* lblStore = nullptr;       // the store file and its size
  QPushButton* btnApply = nullptr;  // removes the selected registered tables
  QPushButton* btnRegister = nullptr;
  QPushButton* btnCompact = nullptr;
  QPushButton* btnReturn = nullptr;

  // Registered names as listed (without the mark of a missing table).
  std::vector<std::string> registeredNames() const;

 public slots:
  void btnApply_Click();
  void btnRegister_Click();
  void btnCompact_Click();

 private:
  void refresh();
  Database db_;
};

}  // namespace sarnoth::gui
