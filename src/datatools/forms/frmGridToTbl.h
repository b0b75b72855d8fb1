// frmGridToTbl "网格数据转换为数据表": the nodes of a grid of the work area become a registered
// table of x, y and value. Null nodes are skipped or kept as -1E+38 by choice; the registry
// question ("新数据表名已存在,是否覆盖?") and the refusal of a file that is no binary grid
// ("非Sarnoth 2000网格数据.") come from the engine.
#pragma once

#include <QDialog>

#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmGridToTbl : public QDialog {
  Q_OBJECT
 public:
  explicit frmGridToTbl(QWidget* parent = nullptr);
  // Opens the store and lists the grids of Grid_dat; false (after a message) when it cannot.
  bool load();

  QComboBox* cboGrid = nullptr;  // editable: a grid of Grid_dat or a whole path
  QPushButton* btnBrowse = nullptr;
  QLabel* lblGridInfo = nullptr;
  QLineEdit* txtXField = nullptr;
  QLineEdit* txtYField = nullptr;
  QLineEdit* txtValueField = nullptr;
  QCheckBox* chkKeepNulls = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

  // The grid file the window will read.
  std::string gridPath() const;

 public slots:
  void btnBrowse_Click();
  void btnApply_Click();

 private:
  void gridChanged();
  Database db_;
};

}  // namespace sarnoth::gui
