// The space-domain gravity and magnetic processing tool ("空间域重磁数据处理"): one job per mode,
// from a grid of the work area to a new grid, as frmGMDataProcs and `sarnoth-cli spacefilter`
// run it.
//
// Modes: 100 "垂直二阶导数" (the second vertical derivative by the Elkins, Rosenbach or
// Henderson–Zietz operator), 200 "水平方向导数" (the horizontal derivative at 45°, 90°, 135°,
// 180° or any azimuth, counted from east anticlockwise), 300 "上下延拓" (continuation by a
// height in spacings, negative up and positive down as in the frequency-domain tool). Each mode
// may first smooth the grid by the moving-window mean of gmSmoothStats (half-width in nodes, 0
// for none). The operators and their accuracy are in space_operators.h; lengths count row
// spacings, so derivatives are per spacing as the frequency-domain tool gives them.
//
// A run reads the grid, builds the operator, applies it to the data nodes (nulls stay nulls),
// and writes "#SRNTHGRIDB#", the mode's method text ("垂直二阶导数", "水平方向导数", "上下延拓"),
// the header (the note naming the operator, extremes of the data nodes) and the nodes, without
// an overwrite question, like the frequency-domain tool.
#pragma once

#include <string>
#include <vector>

#include "gravmag/freq_processing.h"
#include "gravmag/space_operators.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::gravmag {

inline constexpr const char* kSpaceCaption = "空间域重磁数据处理";
inline constexpr const char* kMsgSquareSpacing =
    "网格的横向与纵向网格距不相等, 环形算子与向下延拓要求正方形网格.";
inline constexpr const char* kMsgBadSmoothWidth = "圆滑窗口半宽应为0至50之间的整数.";
inline constexpr const char* kMsgBadRadius = "算子半径应为0(自动)或2至128之间的整数.";

enum SpaceMode : int {
  kSpaceSecondDerivative = 100,
  kSpaceDirection = 200,
  kSpaceContinuation = 300,
};

bool isSpaceMode(int mode);
// " -- 垂直二阶导数" and the like.
std::string spaceTitleSuffix(int mode);
// The entries of cboCalcM (modes 100 and 200; empty for 300).
std::vector<std::string> spaceMethods(int mode);
// The method text written into the output file.
std::string spaceMethodText(int mode);

// The parameter boxes txtPar1..3 with Label7..9 for a mode and method (boxes not shown are
// emptied), and whether the method list shows.
struct SpaceLayout {
  std::array<ParamBox, 3> par;
  bool methodsShown = false;
};
SpaceLayout spaceLayout(int mode, int method);

struct SpaceJob {
  int mode = 0;
  int method = 0;  // cboCalcM's index
  std::string inputPath, outputPath;
  std::string par1, par2, par3;  // as the boxes hold them
  int threads = 0;               // 0: one per core
};

struct SpaceRunResult {
  Outcome outcome;  // kMsgFreqDone, or the failure's text
  bool cancelled = false;
  GridStatistics input, output;  // the data of the grid read and of the grid written
};

// Runs the job; nothing is written on failure.
SpaceRunResult runSpaceProcessing(const SpaceJob& job, Progress& progress = noProgress());

// "输入: 均值 …, 均方差 …; 结果: 均值 …, 均方差 …, 最小 …, 最大 …" for the form's note.
std::string spaceStatisticsText(const SpaceRunResult& result);

}  // namespace sarnoth::gravmag
