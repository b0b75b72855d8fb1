// FrmWTGravInterfaceInverse "三维密度界面反演" and FrmWTMagnInterfaceInverse "三维磁性界面反演":
// the Parker–Oldenburg inversion of an anomaly grid (gravmag/interface_inversion.h), modeless.
//
// The opener calls the public preparation operation prepare(), which lists the work area's grids
// (flstGrd) and proposes the output names; then shows the window. The boxes txtPar_0 … txtPar_6
// hold the density contrast (g/cm³) or magnetisation (A/m), reference depth, the filter's pass
// and cut wavelengths, the convergence criterion, the largest number of iterations and the
// metres per coordinate unit. Cmd_OK runs the inversion with the progress bar; Cmd_Cancel stops a
// run, or closes. The recovered interface is written as a grid (txtNewGrd) with, when chkFit is
// on, its computed anomaly (txtFitGrd); it is drawn as a map (chtMap), and the fit along a row
// (hsbRow) as observed and computed anomaly over the recovered depth (chtFit, chtSection), the
// report in lblReport. btnImg shows the interface grid in the grid image viewer. Every control
// carries its system name as objectName.
#pragma once

#include <QWidget>
#include <string>

#include "gravmag/interface_inversion.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QScrollBar;

namespace sarnoth::gui {

class ChartView;

class FrmWTInterfaceInverse : public QWidget {
  Q_OBJECT
 public:
  FrmWTInterfaceInverse(QWidget* parent, gravmag::InterfaceKind kind);

  const gravmag::InterfaceKind kind;

  // The preparation: lists the grids and selects the first; says "工作区中无网格数据文件." on an
  // empty list.
  void prepare();

  QListWidget* flstGrd = nullptr;
  QLineEdit* txtNewGrd = nullptr;
  QLineEdit* txtFitGrd = nullptr;
  QCheckBox* chkFit = nullptr;
  QLineEdit* txtPar[7] = {};
  QProgressBar* prbProgress = nullptr;
  QLabel* lblReport = nullptr;
  ChartView* chtMap = nullptr;
  ChartView* chtFit = nullptr;
  ChartView* chtSection = nullptr;
  QScrollBar* hsbRow = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;
  QPushButton* btnImg = nullptr;

  bool running() const { return running_; }
  const gravmag::InterfaceRunResult& lastRun() const { return last_; }

 public slots:
  void invert();
  void showImage();
  void showRow(int row);

 protected:
  void closeEvent(QCloseEvent* e) override;

 private:
  void buildUi();
  void refreshList();
  void onFileChosen();

  bool running_ = false;
  bool stop_ = false;
  gravmag::InterfaceRunResult last_;
  std::string lastOutput_;
};

class FrmWTGravInterfaceInverse : public FrmWTInterfaceInverse {
  Q_OBJECT
 public:
  explicit FrmWTGravInterfaceInverse(QWidget* parent = nullptr)
      : FrmWTInterfaceInverse(parent, gravmag::InterfaceKind::Density) {}
};

class FrmWTMagnInterfaceInverse : public FrmWTInterfaceInverse {
  Q_OBJECT
 public:
  explicit FrmWTMagnInterfaceInverse(QWidget* parent = nullptr)
      : FrmWTInterfaceInverse(parent, gravmag::InterfaceKind::Magnetic) {}
};

}  // namespace sarnoth::gui
