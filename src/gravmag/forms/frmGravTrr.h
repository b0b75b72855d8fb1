// frmGravTrr, "重力地形改正": terrain correction of the gravity stations of a work-area table from
// a digital elevation model (a grid of the work area or any raster GDAL reads).
//
// The user picks the table, the stations' coordinate fields, their elevation field (or the
// model's elevation at the station) and, for the complete Bouguer anomaly, the simple Bouguer
// anomaly field; the model file; the density and the radii of the inner (Hammer's rings) and
// outer (prisms) zones; and the names of the new fields. btnProc runs the engine
// (runTerrainCorrection), asking before it overwrites existing fields, and lblReport shows the
// count and range of the corrections. While a run goes, the progress bar moves and btnReturn
// stops it. Every control carries its system name as objectName.
#pragma once

#include <QDialog>
#include <string>

#include "workarea/table_store.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmGravTrr : public QDialog {
  Q_OBJECT
 public:
  explicit frmGravTrr(QWidget* parent = nullptr);

  // Opens the work area's store and lists its tables; false when it cannot be opened.
  bool load();

  QComboBox* cboTable = nullptr;
  QComboBox* cboX = nullptr;
  QComboBox* cboY = nullptr;
  QComboBox* cboH = nullptr;   // first entry: the model's elevation
  QComboBox* cboBA = nullptr;  // first entry: no complete Bouguer anomaly
  QLineEdit* txtDem = nullptr;
  QPushButton* btnDem = nullptr;
  QLabel* lblDem = nullptr;  // the model's size and spacing
  QLineEdit* txtDensity = nullptr;
  QLineEdit* txtInner = nullptr;
  QLineEdit* txtOuter = nullptr;
  QLineEdit* txtTC = nullptr;
  QLineEdit* txtCBA = nullptr;
  QLabel* lblReport = nullptr;
  QProgressBar* prbProgress = nullptr;
  QPushButton* btnProc = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void process();
  void chooseDem();

 protected:
  void done(int r) override;

 private:
  void buildUi();
  void onTableChosen();
  // Reads the model's header, shows it and proposes the inner radius.
  void onDemChosen();

  Database db_;
  bool running_ = false;
  bool stop_ = false;
};

}  // namespace sarnoth::gui
