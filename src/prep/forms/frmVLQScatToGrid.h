// frmVLQScatToGrid, "离散数据网格化": one numeric field of a work-area table, with two coordinate
// fields, gridded into Grid_Dat\<name>.grd by one of seven methods.
//
// The window opens its own handle on the work area's table database, lists the registered
// tables, and proposes fields and grid geometry as tables and fields are picked (the extents
// come from SQL through the engine). btnApply hands the collected job to prep/gridding's
// runGridding, which asks the overwrite question through the message boxes and drives the
// progress bar, which moves and lets the window repaint several times a second; "返回" or Esc
// during a run stops it. The status line then says what the run made. btnImg shows the written
// grid in the grid image viewer. Numeric boxes are checked when they are left and on btnApply,
// and a message names the box. Every control carries its
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

  // The on-opening work: the store opened and the registered tables listed. False (after the
  // message) when the work area's store cannot be opened; the window then does not open.
  bool load();

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
  QPushButton* btnReturn = nullptr;  // during a run: stops it
  QLabel* lblStatus = nullptr;       // what the last run made

 public slots:
  void apply();
  void showImage();

 protected:
  void done(int r) override;

 private:
  void buildUi();
  void onTableChosen();
  void onCoordinateChosen(bool xAxis);
  void onValueChosen();
  void onMethodChosen();
  void onKrigingKindChosen();
  void onRegionChosen();
  // A box of txtGPar changed (recompute silently) or was left (`leaving`: say what is wrong).
  void onGeometryEdited(int index, bool leaving);
  // The message for a box that holds no number, naming its field; the box gets the focus.
  void refuseBox(QLineEdit* box, const std::string& field);
  void setText(QLineEdit* box, const std::string& text);
  // The job as the boxes state it; false (after the message) when a box holds no number.
  bool collectJob(GriddingJob& job);
  bool readSettings();

  Database db_;
  GriddingSettings settings_;
  bool running_ = false;
  bool stopRequested_ = false;  // "返回" or Esc during a run
};

}  // namespace sarnoth::gui
