// frmWTDrawContour "断面图绘制": the contoured, colour-filled picture of a section — a section
// file (*.sec) of the automatic inversion or the topographic correction, or the pseudo-section
// of a measured file (*.hd2, *.hd3, *.hd4, *.hdo, *.top). The window chooses the value column,
// linear or log scale, the number of levels, filling, contour lines and their labels, the data
// points and the station axis; the picture follows every change, is saved as PNG or SVG and
// printed.
#pragma once

#include <QWidget>
#include <string>

#include "electric/dc2d_section.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QPrinter;
class QPushButton;
class QSpinBox;

namespace sarnoth::gui {

class ChartView;

inline constexpr const char* kDrawContourCaption = "断面图绘制";
inline constexpr const char* kSectionOpenTitle = "请选择您要绘制的断面数据文件名";
inline constexpr const char* kSectionOpenFilter =
    "断面数据文件(*.sec)|*.sec|偶极偶极实测数据(*.hdo)|*.hdo|对称四极实测数据(*.hd4)|*.hd4|"
    "三极实测数据(*.hd3)|*.hd3|二极实测数据(*.hd2)|*.hd2|地形改正数据(*.top)|*.top";
inline constexpr const char* kSectionSaveTitle = "请输入您要保存的断面图形文件名";

class frmWTDrawContour : public QWidget {
  Q_OBJECT
 public:
  explicit frmWTDrawContour(QWidget* parent = nullptr);

  // Loads a file; on failure shows the reader's message and keeps what was shown.
  bool openFile(const std::string& path);
  void setSection(electric::SectionData data, int column = 0);
  const electric::SectionData& section() const { return data_; }
  electric::SectionStyle style() const;
  // Saves the picture (PNG or SVG by the name); asks for the name when `path` is empty.
  bool savePicture(std::string path = {});
  void printTo(QPrinter& printer) const;

  QPushButton* cmdOpen = nullptr;
  QComboBox* cboColumn = nullptr;
  QCheckBox* chkLog = nullptr;
  QSpinBox* txtLevels = nullptr;
  QCheckBox* chkFill = nullptr;
  QCheckBox* chkContour = nullptr;
  QCheckBox* chkLabel = nullptr;
  QCheckBox* chkPoints = nullptr;
  QCheckBox* chkStations = nullptr;
  QPushButton* cmdSave = nullptr;
  QPushButton* cmdPrint = nullptr;
  QPushButton* cmdClose = nullptr;
  QLabel* lblFile = nullptr;
  ChartView* chtSection = nullptr;

 private:
  void redraw();
  void columnChanged();
  electric::SectionData data_;
  bool loading_ = false;
};

}  // namespace sarnoth::gui
