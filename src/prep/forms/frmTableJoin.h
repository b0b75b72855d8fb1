// frmTableJoin "数据表合并": right merge (the fields of table 2 beside those of the master, by
// position or through an index field) and down merge (the records of further tables below the
// master's), into a new table or, with chkAddIn, into the master itself.
//
// The window lists the registered tables, keeps the two sides from choosing one table or one
// field name twice, offers the fields both tables hold under one name and type as index fields,
// and hands the run to prep/table_merge. btnView shows a table in the table viewer. Control
// arrays: cboTables_0/_1, lstItems_0/_1, chkSel_0/_1.
#pragma once

#include <QDialog>
#include <array>
#include <string>

#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

class frmTableJoin : public QDialog {
  Q_OBJECT
 public:
  explicit frmTableJoin(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QRadioButton* optRight = nullptr;
  QRadioButton* optBottun = nullptr;
  std::array<QComboBox*, 2> cboTables{};
  std::array<QListWidget*, 2> lstItems{};
  std::array<QCheckBox*, 2> chkSel{};
  QListWidget* lstTable2 = nullptr;
  QCheckBox* chkIndex = nullptr;
  QComboBox* cboIndex = nullptr;
  QCheckBox* chkAddIn = nullptr;
  QLineEdit* txtCondition = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QProgressBar* prgBar = nullptr;
  QLabel* lblProc = nullptr;
  QPushButton* btnJoin = nullptr;
  QPushButton* btnView = nullptr;
  QPushButton* btnReturn = nullptr;

  // The connection text the table viewer gets.
  const std::string& viewConnect() const { return connect_; }

 public slots:
  void btnJoin_Click();
  void btnView_Click();

 protected:
  void done(int r) override;

 private:
  void tableChosen(int side);
  void itemsChanged(int side);
  void table2Changed();
  void modeChanged();
  void refillIndex();
  std::vector<std::string> selected(int side) const;

  Database db_;
  std::string connect_;
  std::string lastResult_;
};

}  // namespace sarnoth::gui
