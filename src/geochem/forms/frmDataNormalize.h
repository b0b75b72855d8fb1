// frmDataNormalize "数据正则化处理": new fields element + suffix for the elements selected in
// lstItems, by the method of optMethod_0 … optMethod_5 (z-score _Z, range _R, log10 _L, Box-Cox
// _BC, background contrast _B, threshold contrast _T). cboEstimate chooses how background and
// threshold are estimated (methods 4 and 5), txtLambda the Box-Cox λ (empty: estimated). The
// report of the parameters used goes to rchBox; the work is geochem/normalisation's.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>

#include "geochem/normalisation.h"
#include "workarea/table_store.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QTextEdit;

namespace sarnoth::gui {

class frmDataNormalize : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataNormalize(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QListWidget* lstItems = nullptr;
  std::array<QRadioButton*, geochem::kNormaliseMethodCount> optMethod{};
  QComboBox* cboEstimate = nullptr;
  QLineEdit* txtLambda = nullptr;
  QTextEdit* rchBox = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void apply();

 private:
  void onTableChosen();
  void onMethodChosen();
  geochem::NormaliseMethod method() const;

  Database db_;
};

}  // namespace sarnoth::gui
