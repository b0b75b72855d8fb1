// frmSingleVarProcess "邻域数据分析": for every sample of a table, statistics of one element over
// its neighbours (the k nearest, or all within a radius) and the sample's departure from them,
// written with the table's fields into a new registered table (txtNewTbl).
//
// Choosing a table fills the coordinate boxes cboXX, cboYY and the value box cboVV with its
// numeric fields and names the result "<table>_邻域"; choosing both coordinates proposes a
// radius that holds about txtCount samples. optMode_0 searches by radius (txtRadius), optMode_1
// by count (txtCount); txtMinCount is the fewest neighbours a statistic needs, chkSelf counts
// the sample itself. btnApply runs geochem/neighbourhood on the progress bar prgBar; btnViewData
// shows the result table.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>

#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

class frmSingleVarProcess : public QDialog {
  Q_OBJECT
 public:
  explicit frmSingleVarProcess(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QComboBox* cboXX = nullptr;
  QComboBox* cboYY = nullptr;
  QComboBox* cboVV = nullptr;
  std::array<QRadioButton*, 2> optMode{};
  QLineEdit* txtRadius = nullptr;
  QLineEdit* txtCount = nullptr;
  QLineEdit* txtMinCount = nullptr;
  QCheckBox* chkSelf = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void apply();

 protected:
  void done(int r) override;

 private:
  void onTableChosen();
  void proposeRadius();

  Database db_;
  std::string lastTable_;  // the result of the last run, for btnViewData
  bool running_ = false;
};

}  // namespace sarnoth::gui
