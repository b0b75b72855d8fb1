// frmGMFreqProcs, "频率域重磁数据处理": one window for the frequency-domain commands of the gravity
// and magnetics menu, its job chosen by `mode` (200 filter, 210 derivative, 220 continuation,
// 230 apparent susceptibility, 231/232/233 the filter component's conversions, 240
// pseudo-gravity, 250 total gradient modulus, 500 reduction to the pole; 260, 270, 280 the tilt
// angle, analytic signal and horizontal-gradient additions).
//
// The window lists the work area's grids, shows the parameter boxes of its mode and method as
// gravmag/freq_processing.h lays them out, and on btnProc either runs the engine
// (runFreqProcessing) or hands the grid to the filter component (closed/gm_filter_com.h).
// While a run goes, the progress bar moves and btnReturn stops it. Every control carries its
// system name as objectName.
#pragma once

#include <QDialog>
#include <array>
#include <string>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

class frmGMFreqProcs : public QDialog {
  Q_OBJECT
 public:
  frmGMFreqProcs(QWidget* parent, int mode);

  const int mode;

  // Lists the grids and selects the first; says "工作区中无网格数据文件." on an empty list.
  bool load();

  QListWidget* flstGrd = nullptr;
  QLineEdit* txtNewGrd = nullptr;
  QLabel* Label6 = nullptr;
  QComboBox* cboCalcM = nullptr;
  QCheckBox* chkPar = nullptr;
  QLabel* Label7 = nullptr;
  QLabel* Label8 = nullptr;
  QLabel* Label9 = nullptr;
  QLineEdit* txtPar1 = nullptr;
  QLineEdit* txtPar2 = nullptr;
  QLineEdit* txtPar3 = nullptr;
  QLineEdit* txtPar11 = nullptr;
  QLineEdit* txtPar22 = nullptr;
  QGroupBox* frmCC = nullptr;
  QLineEdit* txtII = nullptr;
  QLineEdit* txtDD = nullptr;
  QLineEdit* txtAA = nullptr;
  QRadioButton* optGG = nullptr;
  QRadioButton* optDZ = nullptr;
  QRadioButton* optDT = nullptr;
  QLabel* lblNote = nullptr;  // what the run prints on the form ("MAX(A)=0")
  QProgressBar* prbProgress = nullptr;
  QPushButton* btnProc = nullptr;
  QPushButton* btnReturn = nullptr;
  QPushButton* btnImg = nullptr;
  QPushButton* cboGrdInfo = nullptr;

 public slots:
  void process();
  void showImage();
  void showInfo();

 protected:
  void done(int r) override;

 private:
  void buildUi();
  void refreshList();
  void onFileClicked();
  void onMethodChosen();
  void onCheckClicked();
  std::string selectedPath() const;
  std::string outputPath() const;

  bool running_ = false;
  bool stop_ = false;
};

}  // namespace sarnoth::gui
