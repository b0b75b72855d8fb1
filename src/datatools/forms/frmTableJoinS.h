// frmTableJoinS "数据表专项合并": two registered tables joined on one or more key fields keeping
// every record of both (datatools/special_merge). The key list offers the fields both tables hold
// under one name, numeric in both or text in both; the field lists offer the other fields. The
// result is registered under the refuse rule; btnView shows it in the table viewer.
// Control arrays: cboTables_0/_1, lstItems_0/_1, chkSel_0/_1.
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

namespace sarnoth::gui {

class frmTableJoinS : public QDialog {
  Q_OBJECT
 public:
  explicit frmTableJoinS(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  std::array<QComboBox*, 2> cboTables{};
  std::array<QListWidget*, 2> lstItems{};
  std::array<QCheckBox*, 2> chkSel{};
  QListWidget* lstKeys = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QProgressBar* prgBar = nullptr;
  QLabel* lblResult = nullptr;
  QPushButton* btnJoin = nullptr;
  QPushButton* btnView = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void btnJoin_Click();
  void btnView_Click();

 protected:
  void done(int r) override;

 private:
  void tableChosen(int side);
  void refillLists();
  std::vector<std::string> selectedOf(const QListWidget* list) const;

  Database db_;
  std::string lastResult_;
};

}  // namespace sarnoth::gui
