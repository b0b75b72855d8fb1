// Grid smoothing ("网格数据圆滑处理") and grid overlay ("网格数据叠置处理"): the two jobs of the
// tool frmGridSmoth. Both write "#DMX10GRIDB#" grids with the method "GridToGrid" into Grid_Dat,
// geometry and note of the (first) source, minimum, maximum and valid-node count recomputed.
//
// Empty nodes are those at or below -1E+30 (the work area's common test); they are written as
// -1E+38.
//
// Smoothing: each pass computes every node from the previous pass's grid. A node that is empty
// stays empty. Any other node takes a weighted mean of the valid nodes of the window centred on
// it, with the weights of the valid nodes renormalised to sum 1 (at the border the window is cut
// to the grid, so that an empty node never spreads and a border node is never pulled to zero):
//   moving average  k×k, all weights 1;
//   weighted 3×3    [1 2 1]ᵀ[1 2 1] / 16;
//   weighted 5×5    [1 4 6 4 1]ᵀ[1 4 6 4 1] / 256 (binomial, a discrete Gaussian);
//   median          the median of the valid nodes of the k×k window (mean of the two middle
//                   values for an even count);
//   Hanning         k×k, weights w(i)·w(j) with w(i) = ½(1 − cos(2π(i+1)/(k+1))), i = 0…k−1
//                   (for k = 3 the weighted 3×3 kernel).
// Sums are taken in double and the result rounded to single. Rows are computed in bands on all
// cores; the result does not depend on the number of threads.
// Reference: the moving-average, binomial and Hanning smoothers of potential-field practice
// (Blakely 1995, ch. 12); the median filter after Tukey (1977).
//
// Overlay: two or more grids of one geometry (columns, rows, origin, spacing and angle alike),
// node by node: sum, difference (the first less the others), product, ratio (the first divided by
// the others; a division by zero gives an empty node), weighted sum Σ wᵢ·gᵢ, maximum, minimum. An
// empty node in any grid, or a result that is not finite or lies at or below -1E+30, gives an
// empty node. Computed in double, rounded to single.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth {

inline constexpr const char* kGridSmoothCaption = "网格数据圆滑处理";   // mode 200
inline constexpr const char* kGridOverlayCaption = "网格数据叠置处理";  // mode 100
inline constexpr int kGridSmoothMode = 200;
inline constexpr int kGridOverlayMode = 100;

inline constexpr const char* kMsgSmoothWindow = "窗口大小必须是3到99之间的奇数.";
inline constexpr const char* kMsgSmoothPasses = "圆滑次数必须是1到100之间的整数.";
inline constexpr const char* kMsgOverlayFewGrids = "叠置处理至少需要两个网格数据文件.";
inline constexpr const char* kMsgOverlayGeometry =
    "网格数据的行列数、起点、网格距或旋转角不一致, 不能叠置处理: ";
inline constexpr const char* kMsgOverlayWeights = "权系数的个数必须与网格数据文件的个数相同.";
inline constexpr const char* kMsgGridOutName = "请给定保存数据文件名。";
inline constexpr const char* kMsgGridRead = "读数据文件错.";

enum class SmoothMethod : int { MovingAverage, Weighted3, Weighted5, Median, Hanning };
enum class OverlayOp : int { Sum, Difference, Product, Ratio, WeightedSum, Maximum, Minimum };

const std::vector<std::string>& smoothMethodCaptions();  // in SmoothMethod order
const std::vector<std::string>& overlayOpCaptions();     // in OverlayOp order
// Whether the window size applies (moving average, median, Hanning).
bool smoothUsesWindow(SmoothMethod m);

struct SmoothOptions {
  SmoothMethod method = SmoothMethod::MovingAverage;
  int window = 3;  // odd, 3 to 99
  int passes = 1;  // 1 to 100
};

// The kernel of a weighted method as a k×k row-major array (not normalised); empty for the median.
std::vector<double> smoothKernel(const SmoothOptions& opt);

// Smooths nx·ny nodes in place. `threads` 0 uses every core.
void smoothNodes(std::vector<float>& nodes, int nx, int ny, const SmoothOptions& opt,
                 Progress& progress = noProgress(), int threads = 0);

// Node by node; the grids must have nx·ny nodes each.
std::vector<float> overlayNodes(const std::vector<const std::vector<float>*>& grids, OverlayOp op,
                                const std::vector<double>& weights = {});

// The checks of a run and the file work: reads the source, smooths, writes `target` (asking
// "工作区网格数据文件:<name> 已存在,要覆盖吗??" when it exists; No ends quietly).
Outcome runGridSmooth(const std::string& source, const std::string& target,
                      const SmoothOptions& opt, Interaction& ui, Progress& progress = noProgress(),
                      int threads = 0);
// Two or more sources of one geometry to `target`; a geometry that differs is refused with
// kMsgOverlayGeometry and the grid's file name.
Outcome runGridOverlay(const std::vector<std::string>& sources, const std::string& target,
                       OverlayOp op, const std::vector<double>& weights, Interaction& ui,
                       Progress& progress = noProgress());

// The geometry test of the overlay: equal columns and rows, origins within a thousandth of a
// spacing, spacings within 1e-5 relative, angles within 1e-4 degree.
bool sameGridGeometry(const GridHeader& a, const GridHeader& b);

}  // namespace sarnoth
