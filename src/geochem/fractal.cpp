// The fractal tool's engine: data handed to the FractalProc calls, the report and the plot.
#include "geochem/fractal.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

#include "closed/fractal_proc.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/scatter_file.h"

namespace sarnoth {
namespace {

constexpr int kMaxGrades = 100000;

// Slot arrays of round(2·√m + 2) singles.
std::size_t slotArraySize(double m) {
  return static_cast<std::size_t>(std::lround(2 * std::sqrt(std::max(m, 0.0)) + 2));
}

// At least two distinct scales among the points: the call could fit a line.
bool hasFit(const std::vector<float>& x, const std::vector<float>& y, std::int32_t slots) {
  std::set<float> scales;
  for (std::int32_t i = 0; i + 2 < slots; ++i)
    if (x[static_cast<std::size_t>(i)] > 0 && y[static_cast<std::size_t>(i)] > 0)
      scales.insert(x[static_cast<std::size_t>(i)]);
  return scales.size() >= 2;
}

FractalRunResult failure(const std::string& text) {
  FractalRunResult r;
  r.outcome = Outcome::failure(text);
  return r;
}

double fixV(double v) { return std::trunc(v); }
double intV(double v) { return std::floor(v); }

PlotAxis logAxis(double lo, double hi, const std::string& caption) {
  PlotAxis a;
  a.log = true;
  a.caption = caption;
  a.lower = lo >= 0 ? fixV(lo) : fixV(lo) - 1;
  a.upper = intV(hi) + 1;
  for (double t = a.lower; t <= a.upper + 1e-9; t += 1) {
    a.ticks.push_back(t);
    a.labels.push_back(floatText(static_cast<float>(std::pow(10.0, t))));
  }
  return a;
}

PlotAxis linearAxis(double lo, double hi, const std::string& caption) {
  PlotAxis a;
  a.caption = caption;
  const double v = fixV(lo);
  a.lower = (v < 0 || v >= 10) ? fixV(v / 10 - 1) * 10 : 0;
  const double w = intV(hi);
  a.upper = w >= 10 ? fixV(w / 100 + 1) * 100 : w + 1;
  const double step = (a.upper - a.lower) / 10;
  for (int i = 0; i <= 10; ++i) {
    const double t = a.lower + step * i;
    a.ticks.push_back(t);
    a.labels.push_back(floatText(static_cast<float>(t)));
  }
  return a;
}

}  // namespace

const std::array<const char*, kFractalMethodCount>& fractalMethodCaptions() {
  static const std::array<const char*, kFractalMethodCount> k{
      "含量与数据个数分维值", "含量与总量数分维值",   "盒子法剖面曲线分维值",
      "三角法剖面曲线分维值", "盒子法二维数据分维值", "三角棱锥法二维数据分维值"};
  return k;
}

const std::array<const char*, 4>& axisTypeCaptions() {
  static const std::array<const char*, 4> k{"双对数", "X轴对数", "Y轴对数", "常规"};
  return k;
}

const char* fractalSeriesHeader(FractalMethod m) {
  switch (m) {
    case FractalMethod::ContentNumber:
      return "  含量        数据个数";
    case FractalMethod::ContentTotal:
      return "  含量        总量数";
    case FractalMethod::ProfileBox:
      return "盒子尺度        曲线长度";
    case FractalMethod::ProfileDivider:
      return "测量尺度        曲线长度";
    case FractalMethod::SurfaceBox:
    case FractalMethod::SurfacePrism:
      return "盒子尺度        曲线面积";
  }
  return "";
}

const char* fractalYCaption(FractalMethod m) {
  static const char* k[] = {"数据个数", "总量值", "曲线长度", "曲线长度", "曲面面积", "曲面面积"};
  return k[std::clamp(static_cast<int>(m), 0, 5)];
}

const char* fractalXCaption(FractalMethod m) {
  static const char* k[] = {"含量值", "含量值", "盒子尺度", "测量尺度", "盒子尺度", "棱锥底积"};
  return k[std::clamp(static_cast<int>(m), 0, 5)];
}

std::vector<float> FractalRunResult::seriesX() const {
  return std::vector<float>(x.begin(), x.begin() + std::max(0, slotCount - 2));
}

std::vector<float> FractalRunResult::seriesY() const {
  return std::vector<float>(y.begin(), y.begin() + std::max(0, slotCount - 2));
}

std::string fractalGridPath(const std::string& workPath, const std::string& gridFile) {
  if (gridFile.find('/') != std::string::npos || gridFile.find('\\') != std::string::npos)
    return resolvePath(gridFile);
  return resolvePath(workPath + "Grid_Dat\\" + gridFile);
}

std::string fractalReport(FractalMethod m, const std::string& source, const std::vector<float>& x,
                          const std::vector<float>& y, std::int32_t slots) {
  std::string s =
      std::string(kFractalReportTitle) + "\n" + source + "\n\n" + fractalSeriesHeader(m) + "\n";
  for (std::int32_t i = 0; i + 2 < slots; ++i)
    s += "  " + floatText(x[static_cast<std::size_t>(i)]) + "     " +
         floatText(y[static_cast<std::size_t>(i)]) + "\n";
  if (slots >= 2) {
    const auto a = static_cast<std::size_t>(slots - 2), b = a + 1;
    s += "\n数据组数： " + floatText(x[a]) + "  相关系数： " + floatText(y[a]) + "\n";
    s += "    截距： " + floatText(x[b]) + "    分维值： " + floatText(y[b]) + "\n";
  }
  return s;
}

FractalRunResult runFractal(Database& db, const std::string& workPath, const FractalJob& job) {
  const int mi = static_cast<int>(job.method);
  if (mi < 0 || mi >= kFractalMethodCount) return failure(kMsgBadParameter);
  FractalRunResult r;
  try {
    if (!fractalUsesGrid(job.method)) {
      if (job.element.empty()) return failure(kMsgChooseElement);
      if ((job.method == FractalMethod::ContentNumber ||
           job.method == FractalMethod::ContentTotal) &&
          (job.grades < 1 || job.grades > kMaxGrades))
        return failure(kMsgBadParameter);
      const std::vector<FieldDef> fields = db.fields(job.table);
      if (!hasField(fields, job.element)) return failure(kMsgNoSuchElement + job.element);
      std::vector<float> v = readElementValues(db, job.table, job.element, false);
      const auto count = static_cast<std::int32_t>(v.size());
      r.source = job.element;
      if (job.method == FractalMethod::ContentNumber || job.method == FractalMethod::ContentTotal) {
        r.slotCount = job.grades + 2;
        r.x.assign(static_cast<std::size_t>(r.slotCount) + 1, 0.0f);
        r.y.assign(r.x.size(), 0.0f);
        if (job.method == FractalMethod::ContentNumber)
          GEO_XDataNrr(v, count, r.x, r.y, r.slotCount);
        else
          GEO_XDataSumNrr(v, count, r.x, r.y, r.slotCount);
      } else {
        r.x.assign(slotArraySize(count), 0.0f);
        r.y.assign(r.x.size(), 0.0f);
        r.slotCount = job.method == FractalMethod::ProfileBox
                          ? GEO_XYDataBoxFD(v, count, r.x, r.y)
                          : GEO_XYDataTriangleFD(v, count, r.x, r.y);
      }
    } else {
      if (job.gridFile.empty()) return failure(kMsgChooseDataFile);
      const std::string path = fractalGridPath(workPath, job.gridFile);
      GridReadResult g = readGrid(path);
      if (g.error == GridError::BadMagic) return failure(kMsgNotFractalGrid);
      if (!g.ok()) return failure(kMsgGridReadFailed + job.gridFile);
      const GridHeader& h = g.grid.header;
      bool anyData = false;
      for (float& z : g.grid.nodes) {
        if (isDataValue(z) && std::isfinite(z))
          anyData = true;
        else
          z = h.zMin;
      }
      if (!anyData || !std::isfinite(h.zMin)) return failure(kMsgNoFractalFit);
      r.source = std::filesystem::path(job.gridFile).filename().string();
      r.x.assign(slotArraySize(std::min(h.nx, h.ny)), 0.0f);
      r.y.assign(r.x.size(), 0.0f);
      r.slotCount = job.method == FractalMethod::SurfaceBox
                        ? GEO_XYZDataBoxFD(g.grid.nodes, h.nx, h.ny, r.x, r.y)
                        : GEO_XYZDataTriFD(g.grid.nodes, h.nx, h.ny, r.x, r.y);
    }
  } catch (const StoreError& e) {
    return failure(e.what());
  }
  if (r.slotCount < 2 || !hasFit(r.x, r.y, r.slotCount)) return failure(kMsgNoFractalFit);
  r.report = fractalReport(job.method, r.source, r.x, r.y, r.slotCount);
  r.outcome = Outcome::success();
  return r;
}

// --- plot -------------------------------------------------------------------------------------

FractalPlot buildFractalPlot(const std::vector<float>& x, const std::vector<float>& y,
                             AxisType axis, FractalMethod m) {
  FractalPlot p;
  const bool logX = axis == AxisType::LogLog || axis == AxisType::LogX;
  const bool logY = axis == AxisType::LogLog || axis == AxisType::LogY;
  for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i) {
    const double vx = x[i], vy = y[i];
    if ((logX && !(vx > 0)) || (logY && !(vy > 0))) continue;
    if (!std::isfinite(vx) || !std::isfinite(vy)) continue;
    p.px.push_back(logX ? std::log10(vx) : vx);
    p.py.push_back(logY ? std::log10(vy) : vy);
    p.valueX.push_back(x[i]);
    p.valueY.push_back(y[i]);
  }
  double x0 = 0, x1 = 0, y0 = 0, y1 = 0;
  if (!p.px.empty()) {
    std::tie(x0, x1) = [&] {
      auto [a, b] = std::minmax_element(p.px.begin(), p.px.end());
      return std::pair{*a, *b};
    }();
    std::tie(y0, y1) = [&] {
      auto [a, b] = std::minmax_element(p.py.begin(), p.py.end());
      return std::pair{*a, *b};
    }();
  }
  p.x = logX ? logAxis(x0, x1, fractalXCaption(m)) : linearAxis(x0, x1, fractalXCaption(m));
  p.y = logY ? logAxis(y0, y1, fractalYCaption(m)) : linearAxis(y0, y1, fractalYCaption(m));
  return p;
}

namespace {

chart::Axis chartAxis(const PlotAxis& a) {
  chart::Axis c;
  c.label = a.caption;
  c.scale = a.log ? chart::Scale::Log10 : chart::Scale::Linear;
  c.autoRange = false;
  c.lo = a.log ? std::pow(10.0, a.lower) : a.lower;
  c.hi = a.log ? std::pow(10.0, a.upper) : a.upper;
  for (double t : a.ticks) c.ticks.push_back(a.log ? std::pow(10.0, t) : t);
  c.tickLabels = a.labels;
  return c;
}

}  // namespace

chart::Chart fractalChart(const FractalPlot& p, int highlight) {
  chart::Chart c;
  c.x = chartAxis(p.x);
  c.y = chartAxis(p.y);
  std::vector<double> x(p.valueX.begin(), p.valueX.end()), y(p.valueY.begin(), p.valueY.end());
  chart::Series s = chart::Series::of(chart::SeriesKind::LineMarkers, x, y, chart::kBlack);
  s.markerSize = 6;
  c.series.push_back(std::move(s));
  chart::Series h = chart::Series::of(chart::SeriesKind::Markers, {}, {}, chart::kBlue);
  h.markerSize = 6;
  h.filledMarkers = true;
  if (highlight >= 0 && static_cast<std::size_t>(highlight) < x.size()) {
    h.x.push_back(x[static_cast<std::size_t>(highlight)]);
    h.y.push_back(y[static_cast<std::size_t>(highlight)]);
  }
  c.series.push_back(std::move(h));
  return c;
}

std::string fractalHoverText(const FractalPlot& p, int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= p.valueX.size()) return {};
  const auto i = static_cast<std::size_t>(index);
  return "当前数据：X=" + floatText(p.valueX[i]) + "  Y=" + floatText(p.valueY[i]);
}

}  // namespace sarnoth
