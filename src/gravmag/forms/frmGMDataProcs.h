// frmGMDataProcs, "空间域重磁数据处理": one window for the space-domain commands of the gravity
// and magnetics menu, its job chosen by `mode` (100 second vertical derivative, 200 horizontal
// derivative in a direction, 300 upward and downward continuation).
//
// The window lists the work area's grids, shows the operator list and the parameter boxes of
// its mode as gravmag/space_processing.h lays them out, and on btnProc runs the engine
// (runSpaceProcessing), writing the result under Grid_Dat and showing the statistics of the
// input and the result in lblNote. While a run goes, the progress bar moves and btnReturn stops
// it. Every control carries its system name as objectName.
#pragma once

#include <QDialog>
#include <string>

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmGMDataProcs : public QDialog {
  Q_OBJECT
 public:
  frmGMDataProcs(QWidget* parent, int mode);

  const int mode;

  // Lists the grids and selects the first; says "工作区中无网格数据文件." on an empty list.
  bool load();

  QListWidget* flstGrd = nullptr;
  QLineEdit* txtNewGrd = nullptr;
  QLabel* Label6 = nullptr;
  QComboBox* cboCalcM = nullptr;
  QLabel* Label7 = nullptr;
  QLabel* Label8 = nullptr;
  QLabel* Label9 = nullptr;
  QLineEdit* txtPar1 = nullptr;
  QLineEdit* txtPar2 = nullptr;
  QLineEdit* txtPar3 = nullptr;
  QLabel* lblNote = nullptr;  // statistics of the input and of the result
  QProgressBar* prbProgress = nullptr;
  QPushButton* btnProc = nullptr;
  QPushButton* btnImg = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void process();
  void showImage();

 protected:
  void done(int r) override;

 private:
  void buildUi();
  void refreshList();
  void onFileClicked();
  void onMethodChosen();
  std::string selectedPath() const;
  std::string outputPath() const;

  bool running_ = false;
  bool stop_ = false;
};

}  // namespace sarnoth::gui
