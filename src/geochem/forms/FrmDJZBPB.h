// FrmDJZBPB "多级逐步判别预测": linear discriminant functions taught by the samples of known group
// (cboGItem) of a model table (cboMTbl) over variables chosen stepwise by Wilks' lambda from
// lstMItems (F to enter txtFIn, to remove txtFOut; forward or backward, optDirect_0/1), in one
// level or in several (cboLevel: one level, split automatically, or the split typed in txtLevel
// as "(1,2),(3)"), with equal or proportional priors (cboPrior). The steps, the functions and the
// resubstitution and leave-one-out error rates go to rtbText; with a prediction table (cboPTbl)
// its records get their group in the new field group + "_P". The work is
// geochem/stepwise_discriminant's.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>

#include "workarea/table_store.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QTextEdit;

namespace sarnoth::gui {

class FrmDJZBPB : public QDialog {
  Q_OBJECT
 public:
  explicit FrmDJZBPB(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QComboBox* cboMTbl = nullptr;
  QComboBox* cboGItem = nullptr;
  QListWidget* lstMItems = nullptr;
  QComboBox* cboPTbl = nullptr;
  QLineEdit* txtFIn = nullptr;
  QLineEdit* txtFOut = nullptr;
  std::array<QRadioButton*, 2> optDirect{};
  QComboBox* cboPrior = nullptr;
  QComboBox* cboLevel = nullptr;
  QLineEdit* txtLevel = nullptr;
  QTextEdit* rtbText = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnView = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void btnApply_Click();

 private:
  void modelTableChosen();

  Database db_;
};

}  // namespace sarnoth::gui
