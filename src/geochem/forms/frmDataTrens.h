// frmDataTrens "趋势分析": polynomial trend surfaces of degree 1 to 6 (txtTrendN) of a value field
// (cboVVItem) over two coordinate fields (cboXXItem, cboYYItem) of a table (lstTbls); the fit
// statistics of every degree in rtbText, the trend and residual written to a new registered table
// (txtNewTbl; a name in use is refused), and with chkGridT / chkGridR grids of them at the spacing
// txtDX, shown by btnImg. The work is geochem/trend_analysis's.
#pragma once

#include <QDialog>
#include <cstdint>
#include <string>
#include <vector>

#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTextEdit;

namespace sarnoth::gui {

class frmDataTrens : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataTrens(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QComboBox* cboXXItem = nullptr;
  QComboBox* cboYYItem = nullptr;
  QComboBox* cboVVItem = nullptr;
  QLineEdit* txtTrendN = nullptr;
  QLineEdit* txtNewTbl = nullptr;
  QCheckBox* chkGridT = nullptr;
  QCheckBox* chkGridR = nullptr;
  QLineEdit* txtDX = nullptr;
  QTextEdit* rtbText = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnImg = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnReturn = nullptr;

  // The grids written by the last run.
  const std::vector<std::string>& gridPaths() const { return grids_; }

 public slots:
  void btnApply_Click();

 private:
  void tableChosen();

  Database db_;
  std::vector<std::string> grids_;
};

}  // namespace sarnoth::gui
