// frmDataProcRegression " 回归分析": a dependent field fitted to independent fields by one of five
// methods (optSelReg_0 … optSelReg_4), the report shown in rtbText and written to
// temp\regressprs.txt, and for one-variable models the scatter plot with the fitted line in
// picDraw (hover read-out, saved as PNG or SVG from its menu).
//
// Choosing method 2 asks for the two F values by an input box; method 0 shows the model list
// cboMD (and txtDX for the polynomial), method 3 the ridge boxes txtKZ/txtKB, method 4 the
// orthogonal scheme cboJZ and its cut-off txtJZ. The work is geochem/regression's.
#pragma once

#include <QDialog>
#include <array>
#include <vector>

#include "geochem/regression.h"
#include "workarea/table_store.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTextEdit;

namespace sarnoth::gui {

class ChartView;

class frmDataProcRegression : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataProcRegression(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QListWidget* lstVars = nullptr;
  QComboBox* cboVarY = nullptr;
  std::array<QRadioButton*, 5> optSelReg{};
  QComboBox* cboMD = nullptr;
  QLabel* lblDX = nullptr;
  QLineEdit* txtDX = nullptr;
  QLabel* lblKZ = nullptr;
  QLineEdit* txtKZ = nullptr;
  QLabel* lblKB = nullptr;
  QLineEdit* txtKB = nullptr;
  QComboBox* cboJZ = nullptr;
  QLineEdit* txtJZ = nullptr;
  QTextEdit* rtbText = nullptr;
  ChartView* picDraw = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnGraph = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnReturn = nullptr;

  // The two F values taken on choosing method 2 (empty until given).
  const std::vector<float>& fValues() const { return fValues_; }

 public slots:
  void btnApply_Click();
  void btnGraph_Click();
  void btnSave_Click();
  // Writes the plot as PNG or SVG (by the extension); false on failure.
  bool savePlot(const QString& path);

 private:
  void methodChosen(int index);
  void modelChosen();
  void tableChosen();
  geochem::RegressionJob collectJob() const;
  int method() const;

  Database db_;
  std::vector<float> fValues_;
  geochem::RegressionPlot plot_;
};

}  // namespace sarnoth::gui
