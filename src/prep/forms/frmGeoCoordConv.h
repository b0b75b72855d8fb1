// frmGeoCoordConv, "坐标转换": coordinates from one projection to another, for one typed point,
// a work-area table (two new fields), an ASCII or binary scatter file or a .GPH file.
//
// Each side (input 0, output 1) holds the same controls in arrays of two, under the names
// cboProj_0/_1, cboEPar_0/_1, txtLongR_0 … and the unit options optUnit_0.._2 (input) and
// optUnit_3.._5 (output). The rules of the lists (defaults, which boxes a projection takes, the
// sphere, the zone checks, the unit captions) come from the engine (prep/coord_convert.h,
// prep/projection_table.h); the window applies them to its boxes. Beside the frames each side
// offers the ready-made systems of China and any EPSG code (cboSys_0/_1, first entry "按投影参数").
// btnApply checks both sides, makes the run's transformation once, and hands the source to the
// engine; the status line (lblStatus) carries the datum note and the result.
#pragma once

#include <QDialog>
#include <array>
#include <memory>
#include <string>

#include "prep/coord_convert.h"
#include "workarea/table_store.h"

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

class frmGeoCoordConv : public QDialog {
  Q_OBJECT
 public:
  explicit frmGeoCoordConv(QWidget* parent = nullptr);
  ~frmGeoCoordConv() override;

  std::int16_t mode = 0;

  template <class T>
  using Pair = std::array<T*, 2>;

  // Per side.
  Pair<QGroupBox> fraSub{};
  Pair<QComboBox> cboSys{};
  Pair<QComboBox> cboProj{};
  Pair<QComboBox> cboEPar{};
  Pair<QLabel> lblLongR{}, lblShortR{};
  Pair<QLineEdit> txtLongR{}, txtShortR{};
  Pair<QLabel> lblScalef{};
  Pair<QLineEdit> txtScaleF{};
  Pair<QLineEdit> txtCentLong{}, txtZeroLat{};
  Pair<QGroupBox> fraLat{};
  Pair<QLabel> lblUpLat{}, lblDownLat{};
  Pair<QLineEdit> txtUpLat{}, txtDownLat{}, txtLon1{}, txtLon2{};
  Pair<QLabel> lblAA{};
  Pair<QLineEdit> txtAA{};
  Pair<QCheckBox> chkGauss{}, chkNSH{}, chkLL{}, chkMore{};
  Pair<QGroupBox> framMore{};
  Pair<QLineEdit> txtEE{}, txtNN{};
  Pair<QGroupBox> framUnit{};
  std::array<QRadioButton*, 6> optUnit{};
  Pair<QLineEdit> txtUnitF{};

  // Shared.
  QComboBox* cboFileType = nullptr;
  QGroupBox* fraPoint = nullptr;
  QLineEdit* txtXXIn = nullptr;
  QLineEdit* txtYYIn = nullptr;
  QLineEdit* txtXXOut = nullptr;
  QLineEdit* txtYYOut = nullptr;
  QGroupBox* fraTable = nullptr;
  QListWidget* lstTbls = nullptr;
  QGroupBox* fraFields = nullptr;
  QComboBox* cboXXItem = nullptr;
  QComboBox* cboYYItem = nullptr;
  QLineEdit* txtXName = nullptr;
  QLineEdit* txtYName = nullptr;
  QGroupBox* fraFile = nullptr;
  QLineEdit* txtFileIn = nullptr;
  QLineEdit* txtFileOut = nullptr;
  QPushButton* btnFileIn = nullptr;
  QPushButton* btnFileOut = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QLabel* lblStatus = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

  // The side texts as the boxes hold them (what btnApply reads).
  CoordSideTexts sideTexts(int side) const;
  // The records of the last run, one per side, kept while the window is open.
  const CoordSide& lastSide(int side) const { return last_[static_cast<std::size_t>(side)]; }

 public slots:
  void apply();

 protected:
  void done(int r) override;

 private:
  void buildSide(int side);
  void buildSources();
  void onProjectionChosen(int side);
  void refreshSide(int side);
  void onEllipsoidChosen(int side, bool selected);
  void onSystemChosen(int side);
  void onMeridiansToggled(int side);
  void showUnits(int side, bool degrees);
  void showSource();
  void onTableChosen();
  void onInputFileChosen();
  void browseIn();
  void browseOut();
  void writeTexts(int side, const CoordSideTexts& t);
  void setStatus(const std::string& text);
  bool systemChosen(int side) const;

  Database db_;
  std::array<CoordSide, 2> last_{};
  bool running_ = false;
};

}  // namespace sarnoth::gui
