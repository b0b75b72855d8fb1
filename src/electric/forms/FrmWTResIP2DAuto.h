// FrmWTResIP2DAuto "二维电阻率极化率自动反演": batch inversion of measured sections (*.hd2,
// *.hd3, *.hd4, *.hdo, imported into Prof_Dat\ by the mnuHD*DataLoad entries) with the terrain
// of a .ter file (mnuHDTopoDataLoad). The parameters shown are those the selected file's data
// give; with "参数由数据确定" every file gets its own, otherwise the entered ones apply to all.
// Each file's result data, model section and pseudo-sections are written beside it
// (NAME_inv.dat, NAME_mod.sec, NAME_ps.sec, NAME_mod.png, NAME_ps.png) and drawn: the model,
// the observed and computed pseudo-sections and the misfit per iteration. The model section
// opens in the section plotting window.
#pragma once

#include <QWidget>
#include <string>
#include <vector>

#include "electric/dc2d_auto.h"

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace sarnoth::gui {

class ChartView;

inline constexpr const char* kDc2dAutoCaption = "二维电阻率极化率自动反演";
inline constexpr const char* kDc2dAutoOpenTitle = "请选择您要反演的实测数据文件名";
inline constexpr const char* kDc2dAutoFilter =
    "偶极偶极实测数据(*.hdo)|*.hdo|对称四极实测数据(*.hd4)|*.hd4|三极实测数据(*.hd3)|*.hd3|"
    "二极实测数据(*.hd2)|*.hd2";
inline constexpr const char* kDc2dTerrainTitle = "请选择地形数据文件名";
inline constexpr const char* kMsgDc2dNoFiles = "请先添加实测数据文件！";

class FrmWTResIP2DAuto : public QWidget {
  Q_OBJECT
 public:
  explicit FrmWTResIP2DAuto(QWidget* parent = nullptr);

  // Adds a measured file after reading it (a bad file: its message, nothing added).
  bool addFile(const std::string& path);
  bool setTerrain(const std::string& path);  // "" clears it
  // Inverts every file in the list; returns the number inverted.
  int run();
  const std::vector<electric::Dc2dAutoRun>& results() const { return runs_; }
  // Shows result k in the charts.
  void showResult(int k);

  QListWidget* lstFiles = nullptr;
  QPushButton* cmdAddFile = nullptr;
  QPushButton* cmdRemoveFile = nullptr;
  QLineEdit* txtTerrain = nullptr;
  QPushButton* cmdTerrain = nullptr;
  QPushButton* cmdClearTerrain = nullptr;
  QCheckBox* chkAutoParam = nullptr;
  QSpinBox* txtIterations = nullptr;
  QDoubleSpinBox* txtError = nullptr;
  QSpinBox* txtCells = nullptr;
  QPushButton* cmdRun = nullptr;
  QPushButton* cmdDrawSection = nullptr;
  QPushButton* cmdClose = nullptr;
  QProgressBar* ProgressBar1 = nullptr;
  QComboBox* cboResult = nullptr;
  QTabWidget* tabResults = nullptr;
  ChartView* chtModel = nullptr;
  ChartView* chtObserved = nullptr;
  ChartView* chtComputed = nullptr;
  ChartView* chtMisfit = nullptr;
  QPlainTextEdit* txtLog = nullptr;

 private:
  void showDefaults(int row);
  std::vector<std::string> paths_;
  std::vector<electric::Dc2dFile> files_;  // as read, without terrain
  std::vector<electric::XZ> terrain_;
  std::vector<electric::Dc2dAutoRun> runs_;
  std::vector<std::string> runStems_;
};

}  // namespace sarnoth::gui
