// frmClusterAnalysis " 聚类分析": R-type or Q-type hierarchical clustering of the chosen numeric
// fields of a table, the report written to txtFileOut (default the work area's
// Temp\ClustInfo.txt, or a *.clt file chosen with btnFileOut), the report shown in the text
// viewer (btnViewResult) and the dendrogram "谱系图" in the drawing window (btnClusterMap).
//
// The drawing window here is the shared "图示窗" with a chart view in a scroll area: Ctrl+wheel
// and the keys +, − and 0 zoom, so 500 objects read one by one; it opens already tall enough
// for about 14 pixels per object, and its menu "保存图" saves PNG or SVG.
#pragma once

#include <QDialog>
#include <optional>

#include "geochem/cluster_analysis.h"
#include "workarea/table_store.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QAction;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QScrollArea;

namespace sarnoth::gui {

class ChartView;

// The drawing window of the dendrogram: "图示窗", objectName "frmDraw".
class DendrogramWindow : public QDialog {
  Q_OBJECT
 public:
  DendrogramWindow(chart::Chart chart, int width, int height, QWidget* parent = nullptr);
  // Writes PNG or SVG by the extension, at the size the picture was laid out for.
  bool savePicture(const QString& path) const;

  QScrollArea* area = nullptr;
  ChartView* picDraw = nullptr;
  QMenu* SaveGraph = nullptr;
  QAction* SaveBMP = nullptr;

 public slots:
  void SaveBMP_Click();

 private:
  int width_, height_;
};

class frmClusterAnalysis : public QDialog {
  Q_OBJECT
 public:
  explicit frmClusterAnalysis(QWidget* parent = nullptr);
  bool load();

  std::int16_t mode = 0;

  QListWidget* lstTbls = nullptr;
  QListWidget* lstVars = nullptr;
  QCheckBox* chkSelAll = nullptr;
  QLabel* lblVarCount = nullptr;
  QRadioButton* optRR = nullptr;
  QRadioButton* optQQ = nullptr;
  QCheckBox* chkLog = nullptr;
  QComboBox* cboDataCov = nullptr;
  QComboBox* cboCalMode = nullptr;
  QLineEdit* txtFileOut = nullptr;
  QPushButton* btnFileOut = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnViewResult = nullptr;
  QPushButton* btnClusterMap = nullptr;
  QPushButton* btnViewData = nullptr;
  QPushButton* btnReturn = nullptr;

  // The last run's job and result (for the map).
  const std::optional<geochem::ClusterResult>& result() const { return result_; }
  // The drawing window of the last run's dendrogram, made but not shown (for tests and the map
  // button, which shows it).
  DendrogramWindow* makeClusterMap();

 public slots:
  void btnApply_Click();
  void btnFileOut_Click();
  void btnViewResult_Click();
  void btnClusterMap_Click();

 private:
  void tableChosen();
  void selectionChanged();
  geochem::ClusterJob collectJob() const;

  Database db_;
  geochem::ClusterJob lastJob_;
  std::optional<geochem::ClusterResult> result_;
};

}  // namespace sarnoth::gui
