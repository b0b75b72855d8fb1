// frmWTProfMagnSrcDepth, "二维磁源深度计算": source depths from a magnetic profile.
//
// btnOpen asks for a profile file (*.prf under Prof_Dat\, "请选择您要打开的剖面磁测数据文件名")
// and lists its fields in the boxes of distance (cboXX), second coordinate (cboYY, "(无)" for a
// distance field), anomaly (cboVal) and measured vertical gradient (cboTz, "(无)": computed).
// The method (cboMethod), window points (txtPar_0), structural index (cboIndex), Euler's depth
// tolerance (txtPar_1) and Werner's background terms (cboInterf) go to the engine
// (gravmag/profile_depth.h) on Cmd_OK; the solutions are written to the table txtNewTbl, listed in
// grdSolutions and drawn: the profile in chtProfile and, under it on the same distance axis, the
// solutions at their depths with their windows in chtDepth. Every control carries its system
// name as objectName.
#pragma once

#include <QDialog>
#include <string>

#include "gravmag/profile_depth.h"
#include "workarea/table_store.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;

namespace sarnoth::gui {

class ChartView;

class frmWTProfMagnSrcDepth : public QDialog {
  Q_OBJECT
 public:
  explicit frmWTProfMagnSrcDepth(QWidget* parent = nullptr);

  // Opens the work area's store; false (the failure shown) when it cannot be opened.
  bool load();

  // Reads the profile and fills the field boxes; false (with the message shown) when the file
  // is not a profile.
  bool openProfile(const std::string& path);

  QPushButton* btnOpen = nullptr;
  QLineEdit* txtFile = nullptr;
  QComboBox* cboXX = nullptr;
  QComboBox* cboYY = nullptr;
  QComboBox* cboVal = nullptr;
  QComboBox* cboTz = nullptr;
  QComboBox* cboMethod = nullptr;
  QComboBox* cboIndex = nullptr;
  QComboBox* cboInterf = nullptr;
  QLineEdit* txtPar[2] = {};  // txtPar_0 window points, txtPar_1 depth tolerance
  QLineEdit* txtNewTbl = nullptr;
  QTableWidget* grdSolutions = nullptr;
  QLabel* lblReport = nullptr;
  ChartView* chtProfile = nullptr;
  ChartView* chtDepth = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;

  const gravmag::DepthRunResult& lastRun() const { return last_; }

 public slots:
  void askProfile();
  void compute();

 private:
  void buildUi();
  void onMethodChosen();

  Database db_;
  std::string path_;
  gravmag::DepthRunResult last_;
};

}  // namespace sarnoth::gui
