// frmGravityTrend "重力背景场稳健多项式拟合": a polynomial background fitted to a gravity item by
// iteratively reweighted least squares (gravmag/background_fit), written as a new table with the
// background (item + "_T") and the residual (item + "_R"), the best goodness of fit shown in
// Label11 and the run's report in the parameter file when chkFile is set. The fit runs in double
// precision; chkSingle asks for the original single-precision arithmetic.
#pragma once

#include <QDialog>

#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmGravityTrend : public QDialog {
  Q_OBJECT
 public:
  explicit frmGravityTrend(QWidget* parent = nullptr);
  // Opens the store and lists the tables; false (after "工作区中无数据表。") when there are none.
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QComboBox* cboXXCrd = nullptr;
  QComboBox* cboYYCrd = nullptr;
  QComboBox* cboVVItem = nullptr;
  QLineEdit* txtNewtbl = nullptr;
  QLineEdit* Text6 = nullptr;  // degree
  QLineEdit* Text2 = nullptr;  // iterations
  QLineEdit* Text5 = nullptr;  // precision
  QCheckBox* chkFile = nullptr;
  QCheckBox* chkSingle = nullptr;  // the single-precision arithmetic as first stated
  QLineEdit* txtPar = nullptr;
  QLabel* Label9 = nullptr;
  QLabel* Label11 = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QLabel* Label7 = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void btnApply_Click();

 protected:
  void done(int r) override;

 private:
  void tableChosen();

  Database db_;
};

}  // namespace sarnoth::gui
