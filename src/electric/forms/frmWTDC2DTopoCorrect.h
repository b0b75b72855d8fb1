// frmWTDC2DTopoCorrect "二维直流电阻率法地形改正": opens a topographic-correction data file
// (*.top, imported by mnuDC2DTopoDataLoad), computes for every datum the terrain factor (the
// homogeneous half-space under the file's terrain over the flat one, dc2d_topo.h) and the
// corrected apparent resistivity, shows the observed, factor and corrected pseudo-sections, and
// saves the table, the corrected data as a flat 2-D data file for the inversion and the section
// file; the section opens in the section plotting window.
#pragma once

#include <QDialog>
#include <string>

#include "electric/dc2d_file.h"
#include "electric/dc2d_topo.h"

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QSpinBox;

namespace sarnoth::gui {

class ChartView;

inline constexpr const char* kDc2dTopoCaption = "二维直流电阻率法地形改正";
inline constexpr const char* kDc2dTopoOpenTitle = "请选择您要进行地形改正的数据文件名";
inline constexpr const char* kDc2dTopoSaveTitle = "请输入您要保存的地形改正结果文件名";
inline constexpr const char* kDc2dTopoDataTitle = "请输入您要保存的改正后数据文件名";
inline constexpr const char* kDc2dTopoSectionTitle = "请输入您要保存的断面数据文件名";
inline constexpr const char* kMsgDc2dTopoNoFile = "请先打开地形改正数据文件！";
inline constexpr const char* kMsgDc2dTopoNotComputed = "请先进行地形改正计算！";

class frmWTDC2DTopoCorrect : public QDialog {
  Q_OBJECT
 public:
  explicit frmWTDC2DTopoCorrect(QWidget* parent = nullptr);

  bool openFile(const std::string& path);
  bool compute();
  // Each asks for its file name when `path` is empty.
  bool saveResult(std::string path = {});
  bool saveCorrectedData(std::string path = {});
  bool saveSection(std::string path = {});
  const electric::Dc2dTopoCorrection& correction() const { return tc_; }
  bool computed() const { return computed_; }

  QPushButton* cmdOpen = nullptr;
  QLabel* lblFile = nullptr;
  QSpinBox* txtCells = nullptr;
  QPushButton* cmdCompute = nullptr;
  QPushButton* cmdSaveResult = nullptr;
  QPushButton* cmdSaveData = nullptr;
  QPushButton* cmdSaveSection = nullptr;
  QPushButton* cmdDrawSection = nullptr;
  QPushButton* cmdClose = nullptr;
  QComboBox* cboShow = nullptr;
  QProgressBar* ProgressBar1 = nullptr;
  ChartView* chtSection = nullptr;

 private:
  void showSection();
  void enableSaves();
  electric::Dc2dFile file_;
  std::string path_;
  bool loaded_ = false, computed_ = false;
  electric::Dc2dTopoCorrection tc_;
};

}  // namespace sarnoth::gui
