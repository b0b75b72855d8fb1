// frmDataProcess "多变量叠加处理": one index field from several elements of a table, each brought
// to a common scale (optStand_0 z-score, optStand_1 background contrast, optStand_2 threshold
// contrast) and added (optIndex_0) or multiplied (optIndex_1) with weights.
//
// Selecting elements in lstItems fills the grid grdElems with each element's weight (1), mean,
// deviation, background and threshold, estimated by cboEstimate; every number there may be
// changed before btnApply writes the field txtNewField (geochem/superposition). The report of
// the parameters used and the index's range goes to rchBox.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "geochem/superposition.h"
#include "workarea/table_store.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QTableWidget;
class QTextEdit;

namespace sarnoth::gui {

class frmDataProcess : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataProcess(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QListWidget* lstItems = nullptr;
  QComboBox* cboEstimate = nullptr;
  QTableWidget* grdElems = nullptr;
  std::array<QRadioButton*, geochem::kStandardiseCount> optStand{};
  std::array<QRadioButton*, geochem::kIndexKindCount> optIndex{};
  QLineEdit* txtNewField = nullptr;
  QTextEdit* rchBox = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void apply();
  // Fills grdElems for the selected elements (weights already typed are kept).
  void fillParameters();

 private:
  void onTableChosen();

  Database db_;
  std::map<std::string, QString> weights_;  // weights typed, by element
};

}  // namespace sarnoth::gui
