// The work of the grid image viewer (frmGridToImageView), without the window: the checks and
// messages of its apply button, the colour panel's grading, the scratch files of opening and
// closing, and the exports of the shown image. The window collects its controls into a
// ViewRequest, calls applyView and shows the bitmap it names.
//
// Apply, in order:
//   graded (automatic or custom grading): 1 to 500 levels, else "调色板为空,或色阶不能大于
//   500,请检查."; more than 256 levels "本系统不支持大于256色数据图像."; level colour indices
//   become RGB through the system colour table; GEO_GridDataToWinBMP256File.
//   relief: txtColrn colours from the colour table, index txtColrSt + k·txtColrGap, split into
//   the 3-by-n byte array with GEO_GetRValue/GetGValue/GetBValue; GEO_DrawReliefMap with the
//   three light parameters and 1E+38 as the upper limit.
//   The bitmap is gWorkPath + "temp\map\GridData.bmp" (an old one removed first); a failed call
//   gives "创建图像失败." and leaves the last image where it was. Then "temp\map\GridData.btf".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "display/grid_render.h"
#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/palette.h"

namespace sarnoth::display {

inline constexpr const char* kViewerTitle = "数据图像浏览 ";
inline constexpr const char* kMsgNotGrid = "非Sarnoth网格数据.";
inline constexpr const char* kMsgPaletteCount = "调色板为空,或色阶不能大于 500,请检查.";
inline constexpr const char* kMsgOver256 = "本系统不支持大于256色数据图像.";
inline constexpr const char* kMsgCreateFailed = "创建图像失败.";
inline constexpr int kMaxViewLevels = 500;
inline constexpr const char* kImageLayer = "GridData";
inline constexpr const char* kImageFile = "temp\\map\\GridData.bmp";
inline constexpr const char* kGeorefFile = "temp\\map\\GridData.btf";
inline constexpr const char* kScratchMap = "temp\\retrmap.map";
inline constexpr const char* kMapTemplate = "geomap.bak";

// Defaults of the window's fields.
inline constexpr int kDefaultWidth = 1000;
inline constexpr int kDefaultColourStart = 260;
inline constexpr int kDefaultColourGap = 2;
inline constexpr int kDefaultReliefColours = 128;
inline constexpr std::int32_t kDefaultBackColour = 0xFFFFFF;  // white

// optSelM, in the order of its choices.
enum class ViewKind { Relief = 0, AutoGraded = 1, CustomGraded = 2 };
// optMode, in the order of its choices.
enum class GradeRule { EqualInterval = 0, Logarithmic = 1, Variance = 2, Cumulative = 3 };

struct ViewRequest {
  std::string workPath;  // gWorkPath, with its trailing separator
  std::string gridFile;  // full path of the grid
  ViewKind kind = ViewKind::AutoGraded;
  ColourScale scale;  // the level list of the colour panel (graded images), backColour
  int width = kDefaultWidth;
  // shaded relief
  int colourStart = kDefaultColourStart;
  int colourGap = kDefaultColourGap;
  int colourCount = kDefaultReliefColours;
  float saturation = 50, elevation = 45, azimuth = -45;
};

struct ViewResult {
  Outcome outcome;
  std::string bitmap;  // the bitmap written
  std::string georef;  // its geo-reference file
  ImageFrame frame;    // where it lies on the map
};

// Reads the grid's header for the window's opening; nullopt (and kMsgNotGrid) on a file that is
// not a grid.
std::optional<GridHeader> openViewerGrid(const std::string& path, std::string& message);

// The opening's scratch: temp\syslib with a copy of gSysPath's syslib\, temp\map, and
// temp\retrmap.map from the template geomap.bak beside the program (empty when there is none).
Outcome prepareViewerScratch(const std::string& workPath, const std::string& sysPath);
// The closing: the files in temp\map and in temp are deleted.
void clearViewerScratch(const std::string& workPath);

// The colour panel's grading by its rule over the grid's nodes; its message when refused.
Grading gradePanel(GradeRule rule, float min, float max, float par, const Grid& grid,
                   const std::vector<std::int32_t>& ramp);

// btnApply: the checks, the render through the closed seam, the geo-reference file.
ViewResult applyView(const ViewRequest& req, const SysColourTable& colours);

// The same image rendered in memory (what applyView writes), for export and the colour bar.
RenderResult renderView(const ViewRequest& req, const Grid& grid, const SysColourTable& colours);
// The colour bar's entries: the levels, or for relief the colours over the data range.
std::vector<ColourBarEntry> colourBarEntries(const ViewRequest& req, const Grid& grid,
                                             const SysColourTable& colours);
// The value of the node nearest to the map point (x, y): nothing outside the grid's cells (half a
// spacing beyond the outer nodes) or on a null node. The mesh is taken unrotated, as the image
// is drawn.
std::optional<float> gridValueAt(const Grid& grid, double x, double y);
// The status line of the viewer for a point on the map: "X: 431250.50   Y: 3712300.25   值:
// 12.345" (the value with 7 significant digits, "空值" on a null node, nothing beyond the grid).
std::string cursorText(const Grid& grid, double x, double y);

// A scale bar: a round length in map units (1, 2 or 5 times a power of ten) that spans about
// `targetPixels` screen pixels at `unitsPerPixel`, its length in pixels, and its label.
struct ScaleBar {
  double length = 0;
  int pixels = 0;
  std::string label;
};
ScaleBar scaleBarFor(double unitsPerPixel, int targetPixels = 100);

// Export of the shown image to PNG (with the colour bar beside it when `withBar`) or GeoTIFF
// (the bare image, georeferenced). The format follows the file's extension.
Outcome exportView(const ViewRequest& req, const std::string& path, bool withBar, int decimals,
                   const SysColourTable& colours);

}  // namespace sarnoth::display
