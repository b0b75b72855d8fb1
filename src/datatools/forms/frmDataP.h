// frmDataP, "坐标组转换": several pairs of coordinate fields of one work-area table (a sample's x
// and y, a line's start and end …) converted at once into new fields, by angle text form, by
// length unit, or by a projection conversion between two coordinate systems.
//
// The pairs are gathered in lstPairs (x, y, new x, new y) from cboXXItem/cboYYItem and the
// proposed names in txtXName/txtYName (btnAdd, btnDel). cboConvType chooses the conversion and
// shows its frame: fraAngle (cboAngleIn, cboAngleOut), fraUnit (cboUnitIn, cboUnitOut,
// txtFactorIn, txtFactorOut) or fraProj (cboSysIn, cboSysOut: a ready-made system, an EPSG code,
// or the parameters as "proj=gk3,ellps=10,prefix"). btnApply hands the job to
// datatools/coord_groups.h; lblStatus carries the datum note and the result.
#pragma once

#include <QDialog>
#include <string>

#include "workarea/table_store.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTableWidget;

namespace sarnoth::gui {

class frmDataP : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataP(QWidget* parent = nullptr);
  ~frmDataP() override;
  // Opens the store and lists the registered tables; false (after the message) when the store
  // cannot be opened.
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QComboBox* cboXXItem = nullptr;
  QComboBox* cboYYItem = nullptr;
  QLineEdit* txtXName = nullptr;
  QLineEdit* txtYName = nullptr;
  QPushButton* btnAdd = nullptr;
  QPushButton* btnDel = nullptr;
  QTableWidget* lstPairs = nullptr;
  QComboBox* cboConvType = nullptr;
  QGroupBox* fraAngle = nullptr;
  QComboBox* cboAngleIn = nullptr;
  QComboBox* cboAngleOut = nullptr;
  QGroupBox* fraUnit = nullptr;
  QComboBox* cboUnitIn = nullptr;
  QComboBox* cboUnitOut = nullptr;
  QLineEdit* txtFactorIn = nullptr;
  QLineEdit* txtFactorOut = nullptr;
  QGroupBox* fraProj = nullptr;
  QComboBox* cboSysIn = nullptr;
  QComboBox* cboSysOut = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QLabel* lblStatus = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void apply();

 protected:
  void done(int r) override;

 private:
  void onTableChosen();
  void onConversionChosen();
  void addPair();
  void removePair();

  Database db_;
  bool running_ = false;
};

}  // namespace sarnoth::gui
