// frmVLQCoKrigAnal, two jobs by mode:
//   100 "协同克吕格分析": ordinary co-kriging of a primary field (cboVVItem) with one or two
//       secondary fields (lstVars) of a table (lstTbls) onto the grid of txtGPar_0 … txtGPar_9
//       (as the gridding tool lays it out), the neighbours of each variable (txtPar, txtPars) and
//       an optional range (txtRange); the model, its positive-definiteness check and the
//       cross-validation in rtbText, the experimental and fitted variograms in picDraw;
//   200 "二维分形处理": a grid of the work area (flstGridFiles) separated by concentration–area or
//       spectrum–area (cboMethod) into background and anomaly grids: btnCalc draws the log–log
//       plot with the fitted breaks (cboBreaks of them), which the user may edit in txtBreaks
//       before btnApply writes <txtFileOut>_B and _A.
// Both write "#HLTWRGRIDB#" grids into Grid_Dat; btnImg shows the result. The work is
// geochem/cokriging's and geochem/fractal_separation's.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>
#include <string>

#include "geochem/fractal_separation.h"
#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTextEdit;
class QWidget;

namespace sarnoth::gui {

class ChartView;

class frmVLQCoKrigAnal : public QDialog {
  Q_OBJECT
 public:
  explicit frmVLQCoKrigAnal(QWidget* parent = nullptr);
  // Sets the job (100 or 200); called before the window is shown.
  void setMode(int m);
  bool load();

  std::int16_t mode = 100;

  // mode 100
  QListWidget* lstTbls = nullptr;
  QComboBox* cboXXItem = nullptr;
  QComboBox* cboYYItem = nullptr;
  QComboBox* cboVVItem = nullptr;
  QListWidget* lstVars = nullptr;
  std::array<QLineEdit*, 10> txtGPar{};
  QLineEdit* txtPar = nullptr;
  QLineEdit* txtPars = nullptr;
  QLineEdit* txtRange = nullptr;
  QCheckBox* chkCV = nullptr;
  // mode 200
  QListWidget* flstGridFiles = nullptr;
  QComboBox* cboMethod = nullptr;
  QLineEdit* txtLevels = nullptr;
  QComboBox* cboBreaks = nullptr;
  QLineEdit* txtBreaks = nullptr;
  QPushButton* btnCalc = nullptr;
  // both
  QLineEdit* txtFileOut = nullptr;
  QTextEdit* rtbText = nullptr;
  ChartView* picDraw = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnImg = nullptr;
  QPushButton* btnReturn = nullptr;

  const std::string& lastGrid() const { return lastGrid_; }

 public slots:
  void btnApply_Click();
  void btnCalc_Click();

 private:
  void tableChosen();
  void axisChosen(bool xAxis);
  geochem::FractalJob fractalJob() const;
  void coKrige();
  void separate();

  Database db_;
  QWidget* panel100_ = nullptr;
  QWidget* panel200_ = nullptr;
  std::string lastGrid_;
};

}  // namespace sarnoth::gui
