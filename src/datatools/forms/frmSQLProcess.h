// frmSQLProcess "数据表SQL整理": Jet-dialect SQL on the work area's tables.
//
// On opening an empty registry gives "工作区中无检索或查询数据." and the window closes. The
// registered tables and, for the table picked, its fields are listed to help write a statement:
// a double click puts the bracketed name into the statement. "执行" runs the statement and shows
// the rows of a query (or the count of rows changed); "存为新表" saves the rows of a query as a
// new registered table under the refuse rule ("数据表已存在, 请输入新名称.").
#pragma once

#include <QDialog>

#include "workarea/table_store.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;

namespace sarnoth::gui {

class frmSQLProcess : public QDialog {
  Q_OBJECT
 public:
  static constexpr std::size_t kShownRows = 5000;

  explicit frmSQLProcess(QWidget* parent = nullptr);
  // The listing on opening; false (after the message) when the registry is empty.
  bool load();

  QListWidget* lstTbls = nullptr;
  QListWidget* lstFields = nullptr;
  QPlainTextEdit* txtSQL = nullptr;
  QTableWidget* grdResult = nullptr;
  QLabel* lblResult = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnApply = nullptr;  // runs the statement
  QPushButton* btnReturn = nullptr;

 public slots:
  void btnApply_Click();
  void btnSave_Click();

 private:
  void listTables();
  void tableChanged();
  void insertName(const QString& name);
  Database db_;
};

}  // namespace sarnoth::gui
