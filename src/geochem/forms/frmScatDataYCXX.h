// frmScatDataYCXX: anomaly thresholds and characteristic values of elements (mode 100,
// "异常下限与特征值") and the fractal dimension of an element or a grid with its plot (mode 200,
// "数据分形分维数计算").
//
// The window opens its own handle on the work area's table database and lists the registered
// tables; a table's numeric fields fill lstVVItem, the work area's grids flstGrd. btnApply hands
// the collected job to geochem/anomaly's runAnomaly or geochem/fractal's runFractal and shows the
// report in rchBox; in mode 200 the series is drawn in picDraw on the axes chosen in frmA, with a
// blue marker and the read-out "当前数据：X=… Y=…" for the point under the pointer. btnSave writes
// the report as RTF, btnSavePic the plot as PNG or SVG. Every control carries its system name;
// the control arrays are optSelMD_0 … optSelMD_6 (6 is the 98th percentile, mode 100 only) and
// optAxis_0 … optAxis_3.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>
#include <vector>

#include "geochem/fractal.h"
#include "workarea/table_store.h"

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTextEdit;

namespace sarnoth::gui {

class ChartView;

class frmScatDataYCXX : public QDialog {
  Q_OBJECT
 public:
  explicit frmScatDataYCXX(QWidget* parent = nullptr, int mode = 100);
  ~frmScatDataYCXX() override;

  // Opens the database and lists the tables; false (after the message) when the work area has
  // no registered table, and the window is not to be shown.
  bool load();

  std::int16_t mode = 100;
  std::uint8_t selMethod = 0;
  std::uint8_t axisType = 0;
  std::vector<float> plotX, plotY;  // the plotted points, for the hover read-out
  std::int32_t hoverIndex = -1;

  // The controls, under their system names.
  QListWidget* lstTbls = nullptr;
  QListWidget* lstVVItem = nullptr;
  QListWidget* flstGrd = nullptr;
  std::array<QRadioButton*, kAnomalyMethodCount> optSelMD{};
  std::array<QRadioButton*, 4> optAxis{};
  QGroupBox* frmA = nullptr;
  QLineEdit* txtTms = nullptr;
  QLineEdit* txtPar = nullptr;
  QLabel* lblPar = nullptr;
  QLabel* lblYC1 = nullptr;
  QLabel* lblYC2 = nullptr;
  QCheckBox* chkAuto = nullptr;
  QTextEdit* rchBox = nullptr;
  ChartView* picDraw = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnSavePic = nullptr;
  QPushButton* btnReturn = nullptr;

  // The plot of the last run (axes, points), empty before one.
  const FractalPlot& plot() const { return plot_; }

 public slots:
  void apply();
  void save();
  void savePicture();

 protected:
  void done(int r) override;

 private:
  void buildUi();
  void setUpMode();
  void onTableChosen();
  void onMethodChosen(int index);
  void onHover(int series, int index);
  void runAnomalyJob();
  void runFractalJob();
  void afterRun();

  Database db_;
  FractalPlot plot_;
  FractalMethod plotMethod_ = FractalMethod::ContentNumber;
  bool running_ = false;
};

}  // namespace sarnoth::gui
