// Concentration–area and spectrum–area separation; the methods are described in
// fractal_separation.h.
#include "geochem/fractal_separation.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "geochem/report_format.h"
#include "gravmag/spectral_grid.h"
#include "prep/gridding.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"

namespace sarnoth::geochem {
namespace {

constexpr int kMinRun = 3;  // points of one straight run at least

struct Line {
  double a = 0, b = 0, sse = 0;
};

// Least squares of ly on lx over [i0, i1).
Line fitRun(const std::vector<double>& lx, const std::vector<double>& ly, int i0, int i1) {
  Line l;
  const double n = i1 - i0;
  double sx = 0, sy = 0, sxx = 0, sxy = 0;
  for (int i = i0; i < i1; ++i) {
    const auto u = static_cast<std::size_t>(i);
    sx += lx[u];
    sy += ly[u];
  }
  const double mx = sx / n, my = sy / n;
  for (int i = i0; i < i1; ++i) {
    const auto u = static_cast<std::size_t>(i);
    sxx += (lx[u] - mx) * (lx[u] - mx);
    sxy += (lx[u] - mx) * (ly[u] - my);
  }
  l.b = sxx > 0 ? sxy / sxx : 0;
  l.a = my - l.b * mx;
  for (int i = i0; i < i1; ++i) {
    const auto u = static_cast<std::size_t>(i);
    const double r = ly[u] - l.a - l.b * lx[u];
    l.sse += r * r;
  }
  return l;
}

struct LogPoints {
  std::vector<double> x, y, lx, ly;
};

LogPoints logPoints(const AreaSeries& s) {
  LogPoints p;
  for (std::size_t i = 0; i < s.threshold.size() && i < s.area.size(); ++i) {
    if (!(s.threshold[i] > 0) || !(s.area[i] > 0)) continue;
    p.x.push_back(s.threshold[i]);
    p.y.push_back(s.area[i]);
    p.lx.push_back(std::log10(s.threshold[i]));
    p.ly.push_back(std::log10(s.area[i]));
  }
  return p;
}

// Fills the segments of runs starting at `starts` (first point of each run).
void describeRuns(const LogPoints& p, const std::vector<int>& starts, BreakFit& fit) {
  fit.segments.clear();
  fit.firstPoint = starts;
  const int n = static_cast<int>(p.x.size());
  for (std::size_t r = 0; r < starts.size(); ++r) {
    const int b = starts[r], e = r + 1 < starts.size() ? starts[r + 1] : n;
    fit.segments.push_back(
        fitLogLog(std::span<const double>(p.x.data() + b, static_cast<std::size_t>(e - b)),
                  std::span<const double>(p.y.data() + b, static_cast<std::size_t>(e - b))));
  }
}

std::vector<double> levelsBetween(double lo, double hi, int levels) {
  std::vector<double> t;
  if (!(lo > 0) || !(hi >= lo)) return t;
  levels = std::max(levels, 2);
  const double l0 = std::log10(lo), l1 = std::log10(hi);
  for (int i = 0; i < levels; ++i) t.push_back(std::pow(10.0, l0 + (l1 - l0) * i / (levels - 1)));
  return t;
}

GridHeader outputHeader(const Grid& in, const char* method, const std::vector<float>& nodes) {
  GridHeader h = in.header;
  h.magic = kGridMagicHltwr;
  h.method = method;
  h.nullValue = NULL_VALUE;
  recomputeGridStats(h, nodes);
  return h;
}

}  // namespace

const std::vector<std::string>& fractalMethodCaptions() {
  static const std::vector<std::string> c{"含量-面积(C-A)", "能谱-面积(S-A)"};
  return c;
}

AreaSeries concentrationAreaSeries(const Grid& grid, int levels) {
  AreaSeries s;
  std::vector<float> v;
  for (float z : grid.nodes)
    if (!isNullValue(z) && z > 0) v.push_back(z);
  if (v.empty()) return s;
  std::sort(v.begin(), v.end());
  const double cell = static_cast<double>(grid.header.dx) * grid.header.dy;
  for (double t : levelsBetween(v.front(), v.back(), levels)) {
    // values ≥ t; the top level is the largest value itself, which the rounding of the power may
    // put a hair above it
    const double key = std::min(t, static_cast<double>(v.back()));
    const auto first = std::lower_bound(
        v.begin(), v.end(), key, [](float a, double k) { return static_cast<double>(a) < k; });
    s.threshold.push_back(t);
    s.area.push_back(static_cast<double>(v.end() - first) * cell);
  }
  return s;
}

PowerSpectrum powerSpectrum(const Grid& grid, Progress& progress) {
  PowerSpectrum ps;
  const int nx = grid.header.nx, ny = grid.header.ny;
  const float ratio = grid.header.dy / grid.header.dx;
  gravmag::SpectralResult r = gravmag::applySpectral(
      grid.nodes, nx, ny, ratio,
      [&](const gravmag::SpectrumFrame& f) {
        ps.nxp = f.nxp;
        ps.nyp = f.nyp;
        const int half = f.nyp / 2 + 1;
        ps.power.assign(static_cast<std::size_t>(half) * f.nxp, 0);
        ps.weight.assign(ps.power.size(), 2);
        gravmag::SpectralStage st;
        st.ordered = false;
        st.filter = [&ps, half](gravmag::CFloat* row, int J) {
          const std::size_t base = static_cast<std::size_t>(J - 1) * ps.nxp;
          for (int c = 0; c < ps.nxp; ++c) {
            const double re = row[c].re, im = row[c].im;
            ps.power[base + c] = re * re + im * im;
            // rows 1 and nyp/2 + 1 hold their own conjugates; the others stand for their mirror too
            ps.weight[base + c] = (J == 1 || J == half) ? 1 : 2;
          }
          if (J == 1) ps.weight[base] = 0;
          return true;
        };
        return std::vector<gravmag::SpectralStage>{st};
      },
      progress);
  if (!r.ok()) {
    ps.failure = r.cancelled ? std::string() : r.failure;
    if (r.cancelled) ps.failure = "cancelled";
    ps.power.clear();
    return ps;
  }
  ps.cellArea = 1.0 / (static_cast<double>(ps.nxp) * grid.header.dx) /
                (static_cast<double>(ps.nyp) * grid.header.dy);
  return ps;
}

AreaSeries spectrumAreaSeries(const PowerSpectrum& spectrum, int levels) {
  AreaSeries s;
  std::vector<std::pair<double, double>> pw;  // power, weight
  for (std::size_t i = 0; i < spectrum.power.size(); ++i)
    if (spectrum.weight[i] > 0 && spectrum.power[i] > 0)
      pw.push_back({spectrum.power[i], spectrum.weight[i]});
  if (pw.empty()) return s;
  std::sort(pw.begin(), pw.end());
  // cumulative weight from the top: above[i] = Σ weights of elements i … end
  std::vector<double> above(pw.size() + 1, 0);
  for (std::size_t i = pw.size(); i-- > 0;) above[i] = above[i + 1] + pw[i].second;
  for (double t : levelsBetween(pw.front().first, pw.back().first, levels)) {
    const double key = std::min(t, pw.back().first);
    const auto first = std::lower_bound(pw.begin(), pw.end(), key,
                                        [](const auto& a, double k) { return a.first < k; });
    s.threshold.push_back(t);
    s.area.push_back(above[static_cast<std::size_t>(first - pw.begin())] * spectrum.cellArea);
  }
  return s;
}

BreakFit fitBreaks(const AreaSeries& s, int breakCount) {
  BreakFit fit;
  breakCount = std::clamp(breakCount, 1, 2);
  const LogPoints p = logPoints(s);
  const int n = static_cast<int>(p.x.size());
  if (n < kMinRun * (breakCount + 1)) {
    fit.failure = kMsgFractalFewPoints;
    return fit;
  }
  double best = std::numeric_limits<double>::infinity();
  std::vector<int> starts;
  if (breakCount == 1) {
    for (int i = kMinRun; i <= n - kMinRun; ++i) {
      const double e = fitRun(p.lx, p.ly, 0, i).sse + fitRun(p.lx, p.ly, i, n).sse;
      if (e < best) best = e, starts = {0, i};
    }
  } else {
    for (int i = kMinRun; i <= n - 2 * kMinRun; ++i)
      for (int j = i + kMinRun; j <= n - kMinRun; ++j) {
        const double e = fitRun(p.lx, p.ly, 0, i).sse + fitRun(p.lx, p.ly, i, j).sse +
                         fitRun(p.lx, p.ly, j, n).sse;
        if (e < best) best = e, starts = {0, i, j};
      }
  }
  for (std::size_t r = 1; r < starts.size(); ++r) {
    const int i0 = starts[r - 1], i1 = starts[r], i2 = r + 1 < starts.size() ? starts[r + 1] : n;
    const Line lo = fitRun(p.lx, p.ly, i0, i1), hi = fitRun(p.lx, p.ly, i1, i2);
    const double left = p.lx[static_cast<std::size_t>(i1 - 1)],
                 right = p.lx[static_cast<std::size_t>(i1)];
    double lx = right;
    if (lo.b != hi.b) {
      const double cross = (hi.a - lo.a) / (lo.b - hi.b);
      if (cross >= left && cross <= right) lx = cross;
    }
    fit.breaks.push_back(std::pow(10.0, lx));
  }
  describeRuns(p, starts, fit);
  return fit;
}

BreakFit segmentsFor(const AreaSeries& s, const std::vector<double>& breaks) {
  BreakFit fit;
  fit.breaks = breaks;
  const LogPoints p = logPoints(s);
  std::vector<int> starts{0};
  for (double b : breaks) {
    const int first = static_cast<int>(std::lower_bound(p.x.begin(), p.x.end(), b) - p.x.begin());
    starts.push_back(first);
  }
  describeRuns(p, starts, fit);
  return fit;
}

bool parseBreaks(const std::string& text, std::vector<double>& breaks) {
  breaks.clear();
  std::string t = text;
  std::replace(t.begin(), t.end(), ',', ' ');
  std::replace(t.begin(), t.end(), ';', ' ');
  for (const auto& item : filetext::splitBlanks(t)) {
    double v = 0;
    if (!filetext::parseDouble(item, v) || !(v > 0) || !std::isfinite(v)) return false;
    if (!breaks.empty() && !(v > breaks.back())) return false;
    breaks.push_back(v);
  }
  return !breaks.empty() && breaks.size() <= 2;
}

Separation separateConcentrationArea(const Grid& grid, const std::vector<double>& breaks) {
  Separation s;
  if (breaks.empty()) {
    s.failure = kMsgFractalBreaks;
    return s;
  }
  s.background.assign(grid.nodes.size(), NULL_VALUE);
  s.anomaly.assign(grid.nodes.size(), NULL_VALUE);
  for (std::size_t i = 0; i < grid.nodes.size(); ++i) {
    const float v = grid.nodes[i];
    if (isNullValue(v)) continue;
    if (v < breaks.front()) s.background[i] = v;
    if (v >= breaks.back()) s.anomaly[i] = v;
  }
  return s;
}

Separation separateSpectrumArea(const Grid& grid, const std::vector<double>& breaks,
                                Progress& progress) {
  Separation s;
  if (breaks.empty()) {
    s.failure = kMsgFractalBreaks;
    return s;
  }
  const double hi = breaks.back(), lo = breaks.size() > 1 ? breaks.front() : 0.0;
  const int nx = grid.header.nx, ny = grid.header.ny;
  auto stage = [](auto keep) {
    gravmag::SpectralStage st;
    st.ordered = false;
    st.filter = [keep](gravmag::CFloat* row, int J) {
      // the row's length is not handed over; the frame's is captured by `keep`
      return keep(row, J);
    };
    return st;
  };
  gravmag::SpectralResult r = gravmag::applySpectral(
      grid.nodes, nx, ny, grid.header.dy / grid.header.dx,
      [&](const gravmag::SpectrumFrame& f) {
        const int nxp = f.nxp;
        auto filterBy = [nxp](bool background, double lo, double hi) {
          return [=](gravmag::CFloat* row, int J) {
            for (int c = 0; c < nxp; ++c) {
              const double re = row[c].re, im = row[c].im, p = re * re + im * im;
              const bool dc = J == 1 && c == 0;
              const bool pass = background ? (dc || p >= hi) : (!dc && p < hi && p >= lo);
              if (!pass) row[c] = {0, 0};
            }
            return true;
          };
        };
        return std::vector<gravmag::SpectralStage>{stage(filterBy(true, lo, hi)),
                                                   stage(filterBy(false, lo, hi))};
      },
      progress);
  if (!r.ok()) {
    s.failure = r.cancelled ? "cancelled" : r.failure;
    return s;
  }
  float zMin = 0, zMax = 0;
  s.background = std::move(r.out[0]);
  s.anomaly = std::move(r.out[1]);
  gravmag::restoreNulls(grid.nodes, s.background, zMin, zMax);
  gravmag::restoreNulls(grid.nodes, s.anomaly, zMin, zMax);
  return s;
}

FractalRunResult analyseFractal(const FractalJob& job, Progress& progress) {
  FractalRunResult res;
  if (job.gridPath.empty()) {
    res.outcome = Outcome::failure(kMsgFractalNoGrid);
    return res;
  }
  GridReadResult in = readGrid(job.gridPath);
  if (!in.ok()) {
    res.outcome =
        Outcome::failure(in.error == GridError::BadMagic ? kMsgNotBinaryGrid : kMsgNotGrid);
    return res;
  }
  if (job.method == FractalMethod::ConcentrationArea) {
    res.series = concentrationAreaSeries(in.grid, job.levels);
  } else {
    PowerSpectrum ps = powerSpectrum(in.grid, progress);
    if (!ps.failure.empty()) {
      res.outcome = Outcome::failure(ps.failure == "cancelled" ? std::string() : ps.failure);
      return res;
    }
    res.series = spectrumAreaSeries(ps, job.levels);
  }
  if (res.series.threshold.empty()) {
    res.outcome = Outcome::failure(kMsgFractalNoData);
    return res;
  }
  if (!filetext::trim(job.breaksText).empty()) {
    std::vector<double> breaks;
    if (!parseBreaks(job.breaksText, breaks)) {
      res.outcome = Outcome::failure(kMsgFractalBreaks);
      return res;
    }
    res.fit = segmentsFor(res.series, breaks);
  } else {
    res.fit = fitBreaks(res.series, job.breakCount);
    if (!res.fit.failure.empty()) {
      res.outcome = Outcome::failure(res.fit.failure);
      return res;
    }
  }
  const bool ca = job.method == FractalMethod::ConcentrationArea;
  auto& rep = res.report;
  rep.push_back(std::string("   二维分形处理: ") + fractalMethodCaptions()[ca ? 0 : 1]);
  rep.push_back("   网格数据文件: " + job.gridPath);
  rep.push_back("   双对数图点数=" + std::to_string(res.series.threshold.size()));
  for (std::size_t k = 0; k < res.fit.segments.size(); ++k) {
    const auto& sg = res.fit.segments[k];
    rep.push_back("   第" + std::to_string(k + 1) + "段: 点数=" + std::to_string(sg.count) +
                  "   斜率=" + doubleText(sg.slope) + "   截距=" + doubleText(sg.intercept) +
                  "   相关系数=" + doubleText(sg.r));
  }
  for (std::size_t k = 0; k < res.fit.breaks.size(); ++k)
    rep.push_back("   分界点" + std::to_string(k + 1) + (ca ? " (含量)=" : " (能谱)=") +
                  doubleText(res.fit.breaks[k]));
  res.outcome = Outcome::success();
  return res;
}

FractalRunResult runFractalSeparation(const std::string& workPath, const FractalJob& job,
                                      Interaction& ui, Progress& progress) {
  if (filetext::trim(job.outputName).empty()) {
    FractalRunResult r;
    r.outcome = Outcome::failure(kMsgFractalNoName);
    return r;
  }
  FractalRunResult res = analyseFractal(job, progress);
  if (!res.outcome.ok) return res;
  GridReadResult in = readGrid(job.gridPath);
  const bool ca = job.method == FractalMethod::ConcentrationArea;
  Separation sep = ca ? separateConcentrationArea(in.grid, res.fit.breaks)
                      : separateSpectrumArea(in.grid, res.fit.breaks, progress);
  if (!sep.failure.empty()) {
    res.outcome = Outcome::failure(sep.failure == "cancelled" ? std::string() : sep.failure);
    return res;
  }
  const char* method = ca ? kFractalCAMethod : kFractalSAMethod;
  const std::string base = filetext::trim(job.outputName);
  for (const auto& [suffix, nodes] :
       {std::pair{kBackgroundSuffix, &sep.background}, {kAnomalySuffix, &sep.anomaly}}) {
    const std::string name = base + suffix;
    const std::string path = gridOutputPath(workPath, name);
    if (std::filesystem::exists(path)) {
      const std::string q = std::string(kMsgOverwritePrefix) + name + ".grd" + kMsgOverwriteSuffix;
      if (ui.ask(kTitle, q, Buttons::YesNo) != Answer::Yes) {
        res.outcome = Outcome::failure({});
        return res;
      }
    }
    const GridHeader h = outputHeader(in.grid, method, *nodes);
    if (!writeGrid(path, kGridMagicHltwr, method, h, *nodes)) {
      res.outcome = Outcome::failure(std::string(kMsgCannotCreate) + path);
      return res;
    }
    res.paths.push_back(path);
    res.report.push_back(std::string("   ") + (suffix == kBackgroundSuffix ? "背景" : "异常") +
                         "网格: " + name + ".grd   有效数据数=" + std::to_string(h.validCount));
  }
  return res;
}

chart::Chart fractalChart(const AreaSeries& s, const BreakFit& fit, FractalMethod method) {
  chart::Chart c;
  c.fitFrame = true;
  c.x.scale = chart::Scale::Log10;
  c.y.scale = chart::Scale::Log10;
  c.x.label = method == FractalMethod::ConcentrationArea ? "含量 ρ" : "能谱密度 S";
  c.y.label = method == FractalMethod::ConcentrationArea ? "面积 A(≥ρ)" : "面积 A(≥S)";
  const LogPoints p = logPoints(s);
  c.series.push_back(chart::Series::of(chart::SeriesKind::Markers, p.x, p.y, chart::kBlue));
  const int n = static_cast<int>(p.x.size());
  for (std::size_t r = 0; r < fit.segments.size() && r < fit.firstPoint.size(); ++r) {
    const auto& sg = fit.segments[r];
    if (!sg.ok) continue;
    const int b = fit.firstPoint[r];
    const int e = r + 1 < fit.firstPoint.size() ? fit.firstPoint[r + 1] : n;
    if (e - b < 1) continue;
    std::vector<double> lx{p.x[static_cast<std::size_t>(b)], p.x[static_cast<std::size_t>(e - 1)]};
    std::vector<double> ly;
    for (double x : lx) ly.push_back(std::pow(10.0, sg.intercept + sg.slope * std::log10(x)));
    c.series.push_back(chart::Series::of(chart::SeriesKind::Line, lx, ly, chart::kRed));
  }
  if (!p.y.empty()) {
    const auto [lo, hi] = std::minmax_element(p.y.begin(), p.y.end());
    std::vector<double> bx, by;
    for (double b : fit.breaks) {
      bx.insert(bx.end(), {b, b});
      by.insert(by.end(), {*lo, *hi});
    }
    chart::Series marks = chart::Series::of(chart::SeriesKind::Segments, bx, by, chart::kGrey);
    marks.dashed = true;
    c.series.push_back(marks);
  }
  return c;
}

}  // namespace sarnoth::geochem
