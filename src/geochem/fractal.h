// Fractal dimension of one element of a work-area table or of one grid file (the tool
// "分形分维数计算", frmScatDataYCXX in mode 200), and the plot of its series.
//
// Methods, in the order of the window's options: 0 concentration–number and 1 concentration–
// total of the element's values (g grades, the window's txtTms), 2 box counting and 3 divider of
// the element as a profile (its values in table order), 4 box counting and 5 triangular prism of
// a grid of Grid_Dat. The series and the fit come from the FractalProc calls (the science is
// stated in fractal_series.h); this module hands the data over as the tool always has:
//   - table methods keep the values strictly above -1E+30 in table order;
//   - methods 0 and 1 use g + 2 slots (g points and the two fit slots);
//   - methods 2 and 3 size their slot arrays round(2·√count + 2), methods 4 and 5
//     round(2·√min(columns, rows) + 2), and take the slot count from the call;
//   - a grid's nodes at or below -1E+30 are replaced by the header's minimum value, not skipped.
// A series without a fit (fewer than two distinct scales: too few values, or all values equal for
// the graded methods) is refused with kMsgNoFractalFit rather than reported with a dimension of 0.
//
// The plot (buildFractalPlot) holds everything the picture needs, computed here so that the
// window and the command line draw the same thing: axes of the four kinds (both logarithmic, X
// logarithmic, Y logarithmic, both linear) with their ranges, ticks and labels, the axis captions,
// and the points in axis units. Ranges follow the tool's rules: a logarithmic axis runs from
// Fix(v) (Fix(v) − 1 below 0) to Int(v) + 1 of the log10 extremes with a tick a decade labelled by
// its power of ten; a linear axis from 0, or Fix(Fix(min)/10 − 1)·10 when Fix(min) is negative or
// at least 10, to Int(max) + 1, or Fix(Int(max)/100 + 1)·100 when Int(max) is at least 10, in
// ten ticks. The extremes are taken over all points (for these series, which run one way, those of
// the first and last). Points that a logarithmic axis cannot show (at or below 0) are left out.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "display/chart.h"
#include "geochem/anomaly.h"
#include "workarea/interaction.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kFractalReportTitle = "     ----- 分形分维处理结果 ------";
inline constexpr const char* kMsgNoFractalFit = "有效数据太少或数据值全部相同，不能拟合分维值。";
inline constexpr const char* kMsgNotFractalGrid = "非Sarnoth二进制网格数据.";
inline constexpr const char* kMsgGridReadFailed = "读网格数据文件错误: ";

enum class FractalMethod : int {
  ContentNumber = 0,   // 含量与数据个数分维值
  ContentTotal = 1,    // 含量与总量数分维值
  ProfileBox = 2,      // 盒子法剖面曲线分维值
  ProfileDivider = 3,  // 三角法剖面曲线分维值
  SurfaceBox = 4,      // 盒子法二维数据分维值
  SurfacePrism = 5,    // 三角棱锥法二维数据分维值
};
inline constexpr int kFractalMethodCount = 6;

const std::array<const char*, kFractalMethodCount>& fractalMethodCaptions();
// "双对数", "X轴对数", "Y轴对数", "常规".
const std::array<const char*, 4>& axisTypeCaptions();
inline bool fractalUsesGrid(FractalMethod m) { return static_cast<int>(m) >= 4; }

// The report's series header and the plot's axis captions (Y, X) of a method.
const char* fractalSeriesHeader(FractalMethod m);
const char* fractalYCaption(FractalMethod m);
const char* fractalXCaption(FractalMethod m);

struct FractalJob {
  FractalMethod method = FractalMethod::ContentNumber;
  std::string table, element;  // methods 0 to 3
  std::string gridFile;        // methods 4 and 5: a name in Grid_Dat, or a path
  int grades = 10;             // txtTms, methods 0 and 1
};

struct FractalRunResult {
  Outcome outcome;
  std::string source;          // the element or the grid file's name, as the report names it
  std::vector<float> x, y;     // the slot arrays as the call filled them
  std::int32_t slotCount = 0;  // n: points in 0 … n−3, fit in n−2 and n−1
  std::string report;          // the rich-text box text
  std::vector<float> seriesX() const;
  std::vector<float> seriesY() const;
};

// The path of a grid named in the job: as given when it holds a directory, else in the work
// area's Grid_Dat.
std::string fractalGridPath(const std::string& workPath, const std::string& gridFile);

// Reads the data the job names and runs the call. `db` is used by the table methods only.
FractalRunResult runFractal(Database& db, const std::string& workPath, const FractalJob& job);

// The report text of a filled result (title, source, series, fit).
std::string fractalReport(FractalMethod m, const std::string& source, const std::vector<float>& x,
                          const std::vector<float>& y, std::int32_t slotCount);

// --- plot -------------------------------------------------------------------------------------

enum class AxisType : int { LogLog = 0, LogX = 1, LogY = 2, Linear = 3 };

struct PlotAxis {
  bool log = false;
  double lower = 0, upper = 1;      // in axis units (log10 of the value on a log axis)
  std::vector<double> ticks;        // axis units
  std::vector<std::string> labels;  // one a tick
  std::string caption;
};

struct FractalPlot {
  PlotAxis x, y;
  std::vector<double> px, py;         // the drawable points in axis units, in series order
  std::vector<float> valueX, valueY;  // the same points' values, for the hover read-out
};

FractalPlot buildFractalPlot(const std::vector<float>& x, const std::vector<float>& y,
                             AxisType axis, FractalMethod m);

// The plot as a chart (display/chart.h): the frame 6/8 of the picture, 1/8 from the left and
// from the bottom; the points joined by lines, each with a black square marker; the point
// `highlight` (an index into the plot's points, -1 for none) marked blue on top, as the hover
// read-out shows it. Series 0 holds the points, series 1 the highlight.
chart::Chart fractalChart(const FractalPlot& p, int highlight = -1);

// The hover read-out of a point: "当前数据：X=" x "  Y=" y, values in their shortest text.
std::string fractalHoverText(const FractalPlot& p, int index);

}  // namespace sarnoth
