// frmDataProcSingleHis "分布检验": the distribution of one element of a table: histogram with
// the normal and log-normal fits (picDraw), the normal probability plot (picQQ), and the report
// of statistics and normality tests (rchBox).
//
// Choosing a table lists its numeric fields in lstVVItem; choosing a field, a class rule
// (cboRule) or the data scale (optData_0 raw, optData_1 log10) proposes the class count in
// txtClasses, which the user may change. btnApply hands the job to geochem/distribution_test;
// btnSave writes the report as RTF, btnSavePic the plot on view (tabPlot) as PNG or SVG.
#pragma once

#include <QDialog>
#include <array>
#include <cstdint>

#include "geochem/distribution_test.h"
#include "workarea/table_store.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;
class QTabWidget;
class QTextEdit;

namespace sarnoth::gui {

class ChartView;

class frmDataProcSingleHis : public QDialog {
  Q_OBJECT
 public:
  explicit frmDataProcSingleHis(QWidget* parent = nullptr);
  ~frmDataProcSingleHis() override;
  // Opens the store and lists the tables; false (after the message) when there is none.
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QListWidget* lstVVItem = nullptr;
  std::array<QRadioButton*, 2> optData{};
  QComboBox* cboRule = nullptr;
  QLineEdit* txtClasses = nullptr;
  QLineEdit* txtAlpha = nullptr;
  QTabWidget* tabPlot = nullptr;
  ChartView* picDraw = nullptr;  // histogram
  ChartView* picQQ = nullptr;    // normal probability plot
  QTextEdit* rchBox = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnSave = nullptr;
  QPushButton* btnSavePic = nullptr;
  QPushButton* btnReturn = nullptr;

  const geochem::DistributionResult& result() const { return result_; }

 public slots:
  void apply();
  void save();
  void savePicture();

 private:
  void onTableChosen();
  void proposeClasses();
  geochem::DistributionJob job() const;

  Database db_;
  geochem::DistributionJob lastJob_;
  geochem::DistributionResult result_;
  int proposed_ = 0;  // the count the rule gave, to tell a typed count from it
};

}  // namespace sarnoth::gui
