// frmVLQScatToGrid, "离散数据网格化": one numeric field of a work-area table, with two coordinate
// fields, gridded into Grid_Dat\<name>.grd by one of seven methods.
//
// The window opens its own handle on the work area's table database, lists the registered
// tables, and proposes fields and grid geometry as tables and fields are picked (the extents
// come from SQL through the engine). btnApply hands the collected job to prep/gridding's
// runGridding, which asks the overwrite question through the message boxes and drives the
// progress bar; btnImg shows the written grid in the grid image viewer. Every control carries its
// system name as objectName; the control arrays are txtGPar_0 … txtGPar_9 and optType_0/_1.
#pragma once

#include <QDialog>
#include <array>
#include <string>

#include "prep/gridding.h"
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

class frmVLQScatToGrid : public QDialog {
  Q_OBJECT
 public:
  explicit frmVLQScatToGrid(QWidget* parent = nullptr);
  ~frmVLQScatToGrid() override;

  std::int16_t mode = 0;

  // The settings kept between runs while the window is open.
  const GriddingSettings& settings() const { return settings_; }

  // The controls, under their system names.
  QListWidget* lstTbls = nullptr;
  QComboBox* cboXXItem = nullptr;
  QComboBox* cboYYItem = nullptr;
  QComboBox* cboVVItem = nullptr;
  QLineEdit* txtFileOut = nullptr;
  QCheckBox* chkAuto = nullptr;
  QLineEdit* txtAngle = nullptr;
  std::array<QLineEdit*, 10> txtGPar{};
  QComboBox* cboCalMode = nullptr;
  QLabel* lblp1 = nullptr;
  QLineEdit* txtPar = nullptr;
  QComboBox* cboKrig = nullptr;
  QLabel* lblPAr = nullptr;
  QComboBox* cboMoveM = nullptr;
  QLineEdit* txtPars = nullptr;
  QGroupBox* fSearch = nullptr;            // the frame of the search controls
  std::array<QRadioButton*, 2> optType{};  // 0 rectangle, 1 circle
  QLineEdit* txtRx = nullptr;
  QLineEdit* txtRy = nullptr;
  QCheckBox* chkAzimuth = nullptr;
  QComboBox* cboAzimuth = nullptr;
  QCheckBox* chkSet = nullptr;
  QGroupBox* fSet = nullptr;
  QLineEdit* txtDN1 = nullptr;
  QLineEdit* txtDN2 = nullptr;
  QLineEdit* txtDAnom = nullptr;
  QLineEdit* txtDemal = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnImg = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void apply();
  void showImage();

 protected:
  void done(int r) override;

 private:
  void buildUi();
  void loadTables();
  void onTableChosen();
  void onCoordinateChosen(bool xAxis);
  void onValueChosen();
  void onMethodChosen();
  void onKrigingKindChosen();
  void onRegionChosen();
  void onGeometryEdited(int index);
  void setText(QLineEdit* box, const std::string& text);
  // The job as the boxes state it; false (after the message) when a box holds no number.
  bool collectJob(GriddingJob& job);
  bool readSettings();

  Database db_;
  GriddingSettings settings_;
  bool running_ = false;
};

}  // namespace sarnoth::gui
