#include "gravmag/space_processing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "gravmag/spectral_grid.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"

namespace sarnoth::gravmag {
namespace {

constexpr int kMaxSmoothWidth = 50;
constexpr int kMinRadius = 2, kMaxRadius = 128;
// Square spacing: dx and dy equal within this fraction.
constexpr double kSquareTolerance = 1e-3;

const char* kSmoothLabel = "圆滑窗口半宽(点数,0为不圆滑)";
const char* kDirectionLabel = "求导方向(按正东为0度，逆时针转到正西为180)";
const char* kHeightLabel = "延拓高度(上延为负下延为正，以点距为单位)";
const char* kRadiusLabel = "算子半径(点距,0为自动)";

// The fixed directions of the direction list, degrees from east.
constexpr double kFixedDirections[] = {45.0, 90.0, 135.0, 180.0};
constexpr int kAnyDirection = 4;

// A whole number written in a box, within [lo, hi]; false otherwise.
bool boxInteger(const std::string& text, int lo, int hi, int& out) {
  const float v = boxValue(text);
  if (v != std::floor(v) || v < static_cast<float>(lo) || v > static_cast<float>(hi)) return false;
  out = static_cast<int>(v);
  return true;
}

std::string shortNumber(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%g", v);
  return b;
}

}  // namespace

bool isSpaceMode(int mode) {
  return mode == kSpaceSecondDerivative || mode == kSpaceDirection || mode == kSpaceContinuation;
}

std::string spaceTitleSuffix(int mode) {
  return isSpaceMode(mode) ? " -- " + spaceMethodText(mode) : "";
}

std::string spaceMethodText(int mode) {
  switch (mode) {
    case kSpaceSecondDerivative:
      return "垂直二阶导数";
    case kSpaceDirection:
      return "水平方向导数";
    case kSpaceContinuation:
      return "上下延拓";
    default:
      return {};
  }
}

std::vector<std::string> spaceMethods(int mode) {
  if (mode == kSpaceSecondDerivative)
    return {"Elkins(1951)", "Rosenbach(1953)", "Henderson-Zietz(1949)"};
  if (mode == kSpaceDirection)
    return {"45度方向", "90度方向", "135度方向", "180度方向", "任意方向"};
  return {};
}

SpaceLayout spaceLayout(int mode, int method) {
  SpaceLayout l;
  l.methodsShown = mode == kSpaceSecondDerivative || mode == kSpaceDirection;
  l.par[2] = {true, kSmoothLabel, "0"};
  if (mode == kSpaceDirection && method == kAnyDirection) l.par[0] = {true, kDirectionLabel, "30"};
  if (mode == kSpaceContinuation) {
    l.par[0] = {true, kHeightLabel, "-1"};
    l.par[1] = {true, kRadiusLabel, "0"};
  }
  return l;
}

SpaceRunResult runSpaceProcessing(const SpaceJob& job, Progress& progress) {
  SpaceRunResult res;
  if (!isSpaceMode(job.mode)) {
    res.outcome = Outcome::failure("未知的处理方式.");
    return res;
  }
  // The boxes first: nothing is read before they pass.
  int smooth = 0, radius = 0;
  if (!boxInteger(job.par3, 0, kMaxSmoothWidth, smooth)) {
    res.outcome = Outcome::failure(kMsgBadSmoothWidth);
    return res;
  }
  const double height = boxValue(job.par1);
  if (job.mode == kSpaceContinuation && !(boxInteger(job.par2, 0, 0, radius) ||
                                          boxInteger(job.par2, kMinRadius, kMaxRadius, radius))) {
    res.outcome = Outcome::failure(kMsgBadRadius);
    return res;
  }

  GridReadResult in = readGrid(job.inputPath);
  if (!in.ok()) {
    res.outcome = Outcome::failure(gridReadFailure(in.error));
    return res;
  }
  GridHeader header = in.grid.header;
  const int nx = header.nx, ny = header.ny;
  if (!(header.dx > 0 && header.dy > 0 && std::isfinite(header.dx) && std::isfinite(header.dy))) {
    res.outcome = Outcome::failure(kErrDivideByZero);
    return res;
  }
  const double xScale = static_cast<double>(header.dx) / header.dy;
  const bool square = std::fabs(xScale - 1.0) <= kSquareTolerance;

  // The operator of the mode and the note that names it.
  PointOperator op;
  std::string note;
  switch (job.mode) {
    case kSpaceSecondDerivative: {
      if (!square) {
        res.outcome = Outcome::failure(kMsgSquareSpacing);
        return res;
      }
      const int m = std::clamp(job.method, 0, 2);
      op = secondDerivativeOperator(static_cast<SecondDerivative>(m));
      note = spaceMethods(job.mode)[static_cast<std::size_t>(m)];
      break;
    }
    case kSpaceDirection: {
      const double alpha = job.method >= 0 && job.method < kAnyDirection
                               ? kFixedDirections[job.method]
                               : static_cast<double>(boxValue(job.par1));
      op = gmDirectionOp(alpha, xScale);
      note = "方向角=" + shortNumber(alpha);
      break;
    }
    case kSpaceContinuation: {
      if (height > 0 && !square) {
        res.outcome = Outcome::failure(kMsgSquareSpacing);
        return res;
      }
      if (radius == 0) radius = autoContinuationRadius(height);
      op = gmDerivOperators(height, xScale, radius);
      note = "延拓高度=" + shortNumber(height) + ",R=" + std::to_string(radius);
      break;
    }
  }

  std::vector<float> data = std::move(in.grid.nodes);
  res.input = gridStatistics(data);
  if (res.input.count == 0) {
    res.outcome = Outcome::failure(kMsgNoData);
    return res;
  }
  if (smooth > 0) {
    data = gmSmoothStats(data, nx, ny, smooth).mean;
    note += ",圆滑" + std::to_string(smooth);
  }
  bool stopped = false;
  std::vector<float> out = applyPointOperator(data, nx, ny, op, job.threads, progress, &stopped);
  if (stopped) {
    res.cancelled = true;
    res.outcome = Outcome::failure({});
    return res;
  }
  for (float& v : out)
    if (isNullValue(v)) v = NULL_VALUE;
  res.output = gridStatistics(out);
  header.magic = kGridMagicB;
  header.method = spaceMethodText(job.mode);
  header.note = note;
  recomputeGridStats(header, out);
  if (!writeGrid(job.outputPath, kGridMagicB, header.method, header, out)) {
    res.outcome = Outcome::failure("路径/文件访问错误");
    return res;
  }
  res.outcome = Outcome::success(kMsgFreqDone);
  return res;
}

std::string spaceStatisticsText(const SpaceRunResult& r) {
  char b[256];
  std::snprintf(b, sizeof b,
                "输入: 均值 %.6g, 均方差 %.6g;  结果: 均值 %.6g, 均方差 %.6g, 最小 %.6g, 最大 %.6g",
                r.input.mean, r.input.stddev, r.output.mean, r.output.stddev, r.output.min,
                r.output.max);
  return b;
}

}  // namespace sarnoth::gravmag
