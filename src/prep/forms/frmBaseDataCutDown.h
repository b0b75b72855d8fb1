// frmBaseDataCutDown "数据剪裁": a grid or a table of points cut by the polygons of a coordinate
// file, keeping what lies inside or outside, under a new name or in the source itself.
//
// The window opens its own store handle, lists the registered tables or the grids of Grid_Dat by
// the data type and source kind chosen, offers the numeric fields of a table (or every field of
// a scatter file, the Single and Double fields of a dBASE or Excel file) as coordinates and
// variables, and hands the run to prep/clipping. A dBASE or Excel file is read into the table
// "TempOutDBFileIn", which the window drops when it closes. Control arrays: optDataType_0/_1.
#pragma once

#include <QDialog>
#include <array>
#include <string>

#include "prep/clipping.h"
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

class frmBaseDataCutDown : public QDialog {
  Q_OBJECT
 public:
  explicit frmBaseDataCutDown(QWidget* parent = nullptr);
  ~frmBaseDataCutDown() override;
  // Opens the store and lists the registered tables; false (after a message) when it cannot.
  bool load();

  std::int16_t mode = 0;

  std::array<QRadioButton*, 2> optDataType{};  // 0 "离散数据", 1 "网格数据"
  QComboBox* cboFileType = nullptr;
  QListWidget* flstGrd = nullptr;
  QListWidget* lstTbls = nullptr;
  QLineEdit* txtFileIn = nullptr;
  QPushButton* btnFileIn = nullptr;
  QLineEdit* txtCutFile = nullptr;
  QPushButton* btnCutFile = nullptr;
  QComboBox* cboXXCrd = nullptr;
  QComboBox* cboYYCrd = nullptr;
  QListWidget* lstVars = nullptr;
  QCheckBox* chkSelAll = nullptr;
  QLabel* lblVarCount = nullptr;
  QCheckBox* chkCut = nullptr;
  QCheckBox* chkSave = nullptr;
  QLineEdit* txtTblName = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

  bool gridMode() const;
  ClipSourceKind sourceKind() const;

 public slots:
  void btnFileIn_Click();
  void btnCutFile_Click();
  void btnApply_Click();

 protected:
  void done(int r) override;

 private:
  void dataTypeChanged();
  void fileTypeChanged();
  void tableChosen();
  void varsChanged();
  void fillFields(const ClipFields& f);
  void applyGrid();
  void applyTable();

  Database db_;
  ExternalSource external_;
  bool externalLoaded_ = false;
  int gridListIndex_ = 0;  // the flstGrd entry the last grid run of a work-area grid used
  bool busy_ = false;
};

}  // namespace sarnoth::gui
