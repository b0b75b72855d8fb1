#include "gravmag/interface_inversion.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>

#include "gravmag/fft.h"
#include "gravmag/freq_processing.h"
#include "gravmag/prism.h"
#include "gravmag/space_operators.h"
#include "gravmag/spectral_grid.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"

namespace sarnoth::gravmag {
namespace {

constexpr double kPi = 3.14159265358979323846;
// A series term whose largest contribution is below this part of the data term ends the series.
constexpr double kTermTolerance = 1e-6;
// A relief change beyond this many reference depths is divergence.
constexpr double kDivergence = 10.0;

using Cd = std::complex<double>;

// The padded frame: sizes, and κ = |k|·z0 of every element.
struct Frame {
  int nx = 0, ny = 0, nxp = 0, nyp = 0;
  std::vector<double> kappa;
  std::size_t size() const { return static_cast<std::size_t>(nxp) * static_cast<std::size_t>(nyp); }
};

Frame makeFrame(int nx, int ny, double dx, double dy, double z0) {
  Frame f;
  f.nx = nx;
  f.ny = ny;
  // At least a quarter more than the data (and 8 nodes), to a power of two: room for the taper.
  f.nxp = paddedSize(nx + std::max(8, nx / 4)).size;
  f.nyp = paddedSize(ny + std::max(8, ny / 4)).size;
  f.kappa.resize(f.size());
  for (int j = 0; j < f.nyp; ++j) {
    const int jj = j <= f.nyp / 2 ? j : j - f.nyp;
    const double ky = 2.0 * kPi * jj / (f.nyp * dy);
    for (int k = 0; k < f.nxp; ++k) {
      const int kk = k <= f.nxp / 2 ? k : k - f.nxp;
      const double kx = 2.0 * kPi * kk / (f.nxp * dx);
      f.kappa[static_cast<std::size_t>(j) * f.nxp + k] = std::hypot(kx, ky) * z0;
    }
  }
  return f;
}

// The spectrum of a real padded array.
bool forward(const std::vector<float>& v, const Frame& f, std::vector<CFloat>& spectrum) {
  spectrum.resize(f.size());
  for (std::size_t i = 0; i < v.size(); ++i) spectrum[i] = {v[i], 0.0f};
  return fft2d(spectrum, f.nxp, f.nyp, +1);
}

// Extends an nx × ny grid without nulls to the padded frame by the tool's cosine taper.
std::string extend(const std::vector<float>& grid, const Frame& f, std::vector<float>& work) {
  work.assign(f.size(), 0.0f);
  std::copy(grid.begin(), grid.end(), work.begin());
  return extendGrid2D(work.data(), f.nx, f.ny, f.nxp, f.nyp);
}

// Adds Σ_{n = from … kMaxTerms} (−1)^(n−1)·c_n/n!·F[ηⁿ] into `sum`, with c_n = base·κ^(n − from)
// (`base` per element, taken by value). Two powers go through one complex transform, ηⁿ as the
// real part and ηⁿ⁺¹ as the imaginary, and are parted by the symmetry of real spectra:
// F[a] = (Z(k) + Z*(−k))/2, F[b] = (Z(k) − Z*(−k))/2i. Elements where `filter` is 0 are left.
// The series ends after a pair whose terms all lie below `stop` (absolute), or with
// `stopRelative` below `stop` times the largest term of the first pair. False when the progress
// asks to stop (looked at after every pair).
bool addSeries(const std::vector<float>& eta, const Frame& f, int from, std::vector<double> base,
               const std::vector<double>* filter, double stop, bool stopRelative,
               std::vector<Cd>& sum, Progress* progress) {
  const std::size_t size = f.size();
  std::vector<float> pa(eta), pb(size);
  for (int k = 1; k < from; ++k)
    for (std::size_t i = 0; i < size; ++i) pa[i] *= eta[i];
  double factorial = 1;
  for (int k = 2; k <= from; ++k) factorial *= k;
  std::vector<CFloat> spectrum(size);
  double first = -1;
  const int mx = f.nxp - 1, my = f.nyp - 1;
  for (int n = from; n <= kMaxTerms; n += 2) {
    const bool two = n + 1 <= kMaxTerms;
    for (std::size_t i = 0; i < size; ++i) {
      pb[i] = pa[i] * eta[i];
      spectrum[i] = {pa[i], two ? pb[i] : 0.0f};
    }
    fft2d(spectrum, f.nxp, f.nyp, +1);
    const double fa = factorial, fb = factorial * (n + 1);
    const double sa = n % 2 ? 1.0 : -1.0;
    double largest = 0;
    for (int j = 0; j < f.nyp; ++j)
      for (int c = 0; c < f.nxp; ++c) {
        const std::size_t i = static_cast<std::size_t>(j) * f.nxp + c;
        if (filter && (*filter)[i] == 0) continue;
        const std::size_t m = static_cast<std::size_t>((f.nyp - j) & my) * f.nxp +
                              static_cast<std::size_t>((f.nxp - c) & mx);
        const Cd z(spectrum[i].re, spectrum[i].im), zm(spectrum[m].re, -spectrum[m].im);
        const Cd ta = sa * base[i] / fa * 0.5 * (z + zm);
        const Cd tb = two ? -sa * base[i] * f.kappa[i] / fb * Cd(0, -0.5) * (z - zm) : Cd(0, 0);
        sum[i] += ta + tb;
        largest = std::max({largest, std::abs(ta), std::abs(tb)});
        base[i] *= f.kappa[i] * f.kappa[i];
      }
    factorial = fb * (n + 2);
    for (std::size_t i = 0; i < size; ++i) pa[i] = pb[i] * eta[i];
    if (first < 0) first = largest;
    if (largest <= (stopRelative ? stop * first : stop) && (!stopRelative || n > from)) break;
    if (progress && !progress->pump()) return false;
  }
  return true;
}

// The forward series on the padded frame: the anomaly of η = h/z0 (padded), as a padded array.
// `scale` turns Σ into the anomaly's units: −2πGΔρ·z0 (density) or −2πC_m·M (magnetic).
std::vector<float> forwardSeries(const std::vector<float>& eta, const Frame& f, bool magnetic,
                                 double scale) {
  std::vector<Cd> sum(f.size(), Cd(0, 0));
  // κ^(n−1)·e^(−κ) (density) or κ^n·e^(−κ) (magnetic) at n = 1.
  std::vector<double> base(f.size());
  for (std::size_t i = 0; i < f.size(); ++i)
    base[i] = std::exp(-f.kappa[i]) * (magnetic ? f.kappa[i] : 1.0);
  addSeries(eta, f, 1, std::move(base), nullptr, kTermTolerance, true, sum, nullptr);
  std::vector<CFloat> out(f.size());
  for (std::size_t i = 0; i < f.size(); ++i)
    out[i] = {static_cast<float>(scale * sum[i].real()), static_cast<float>(scale * sum[i].imag())};
  fft2d(out, f.nxp, f.nyp, -1);
  std::vector<float> r(f.size());
  for (std::size_t i = 0; i < f.size(); ++i) r[i] = out[i].re;
  return r;
}

double seriesScale(const InterfaceParams& p, double z0Metres) {
  return p.kind == InterfaceKind::Magnetic
             ? -kTwoPiCmNt * p.contrast
             : -2.0 * kPi * kGravityMgalPerMetre * p.contrast * z0Metres;
}

// The low-pass filter B at κ (the frame's wavenumbers are scaled by z0).
double lowPass(double kappa, double kPass, double kCut) {
  if (kappa <= kPass) return 1.0;
  if (kappa >= kCut) return 0.0;
  return 0.5 * (1.0 + std::cos(kPi * (kappa - kPass) / (kCut - kPass)));
}

}  // namespace

std::vector<float> interfaceAnomaly(const std::vector<float>& relief, int nx, int ny, double dx,
                                    double dy, const InterfaceParams& p) {
  const double m = p.metresPerUnit, z0 = p.referenceDepth * m;
  const Frame f = makeFrame(nx, ny, dx * m, dy * m, z0);
  std::vector<float> eta(relief.size());
  for (std::size_t i = 0; i < relief.size(); ++i) eta[i] = static_cast<float>(relief[i] * m / z0);
  std::vector<float> work;
  if (!extend(eta, f, work).empty()) return {};
  const std::vector<float> g =
      forwardSeries(work, f, p.kind == InterfaceKind::Magnetic, seriesScale(p, z0));
  std::vector<float> out(static_cast<std::size_t>(nx) * ny);
  for (int r = 0; r < ny; ++r)
    std::copy_n(g.begin() + static_cast<std::ptrdiff_t>(r) * f.nxp, nx,
                out.begin() + static_cast<std::ptrdiff_t>(r) * nx);
  return out;
}

InterfaceResult invertInterface(const std::vector<float>& anomaly, int nx, int ny, double dx,
                                double dy, const InterfaceParams& p, Progress& progress) {
  InterfaceResult res;
  const bool magnetic = p.kind == InterfaceKind::Magnetic;
  const double m = p.metresPerUnit, z0 = p.referenceDepth * m;

  // The data: nulls filled, mean removed, extended.
  std::vector<float> filled;
  if (!fillForOperator(anomaly, nx, ny, 0, filled)) {
    res.failure = kMsgNoData;
    return res;
  }
  const GridStatistics stats = gridStatistics(anomaly);
  res.anomalyRms = stats.stddev;
  for (float& v : filled) v = static_cast<float>(v - stats.mean);
  const Frame f = makeFrame(nx, ny, dx * m, dy * m, z0);
  res.nxp = f.nxp;
  res.nyp = f.nyp;
  std::vector<float> work;
  if (std::string e = extend(filled, f, work); !e.empty()) {
    res.failure = e;
    return res;
  }
  std::vector<CFloat> spectrum;
  forward(work, f, spectrum);

  // The data term of the iteration, in η = h/z0, filtered.
  const double scale = seriesScale(p, z0);
  const double kPass = 2.0 * kPi / (p.passWavelength * m) * z0;
  const double kCut = 2.0 * kPi / (p.cutWavelength * m) * z0;
  std::vector<double> filter(f.size());
  std::vector<Cd> data(f.size());
  double dataMax = 0;
  for (std::size_t i = 0; i < f.size(); ++i) {
    const double kap = f.kappa[i];
    filter[i] = lowPass(kap, kPass, kCut);
    const double div = scale * (magnetic ? kap : 1.0);
    data[i] = filter[i] == 0 || div == 0 ? Cd(0, 0)
                                         : Cd(spectrum[i].re, spectrum[i].im) * std::exp(kap) / div;
    dataMax = std::max(dataMax, std::abs(data[i]));
  }

  std::vector<float> eta(f.size(), 0.0f), next(f.size());
  std::vector<Cd> sum(f.size());
  progress.setMaximum(p.maxIterations);
  for (int iter = 1; iter <= p.maxIterations; ++iter) {
    std::fill(sum.begin(), sum.end(), Cd(0, 0));
    if (iter > 1 &&
        !addSeries(eta, f, 2, f.kappa, &filter, kTermTolerance * dataMax, false, sum, &progress)) {
      res.cancelled = true;
      return res;
    }
    std::vector<CFloat> upd(f.size());
    for (std::size_t i = 0; i < f.size(); ++i) {
      const Cd v = filter[i] * (data[i] - sum[i]);
      upd[i] = {static_cast<float>(v.real()), static_cast<float>(v.imag())};
    }
    fft2d(upd, f.nxp, f.nyp, -1);
    double change = 0;
    std::size_t count = 0;
    bool finite = true;
    for (std::size_t i = 0; i < f.size(); ++i) {
      next[i] = upd[i].re;
      finite = finite && std::isfinite(next[i]);
    }
    for (int r = 0; r < ny; ++r)
      for (int c = 0; c < nx; ++c) {
        const std::size_t i = static_cast<std::size_t>(r) * f.nxp + c;
        const double d = (static_cast<double>(next[i]) - eta[i]) * p.referenceDepth;
        change += d * d;
        ++count;
      }
    const double rms = std::sqrt(change / static_cast<double>(std::max<std::size_t>(1, count)));
    res.rmsChange.push_back(rms);
    eta.swap(next);
    progress.setValue(iter);
    if (!finite || !std::isfinite(rms) || rms > kDivergence * p.referenceDepth ||
        (iter > 2 && rms > res.rmsChange[res.rmsChange.size() - 2] * 2.0 &&
         rms > p.criterion * 10)) {
      res.diverged = true;
      res.failure = kMsgInterfaceDiverged;
      return res;
    }
    if (!progress.pump()) {
      res.cancelled = true;
      return res;
    }
    if (iter > 1 && rms < p.criterion) {
      res.converged = true;
      break;
    }
  }

  // The interface and its anomaly at the data nodes. The relief is shifted so that its mean
  // over the data nodes is 0 (z0 is the mean depth there); the computed anomaly is taken about
  // its mean over the same nodes and given the observed mean, the datum the data do not fix.
  const std::size_t n = static_cast<std::size_t>(nx) * ny;
  double shift = 0;
  std::size_t count = 0;
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c)
      if (!isNullValue(anomaly[static_cast<std::size_t>(r) * nx + c])) {
        shift += eta[static_cast<std::size_t>(r) * f.nxp + c];
        ++count;
      }
  shift /= static_cast<double>(std::max<std::size_t>(1, count));
  for (float& v : eta) v = static_cast<float>(v - shift);
  const std::vector<float> g = forwardSeries(eta, f, magnetic, scale);
  double gMean = 0;
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c)
      if (!isNullValue(anomaly[static_cast<std::size_t>(r) * nx + c]))
        gMean += g[static_cast<std::size_t>(r) * f.nxp + c];
  gMean /= static_cast<double>(std::max<std::size_t>(1, count));
  res.depth.assign(n, NULL_VALUE);
  res.computed.assign(n, NULL_VALUE);
  double misfit = 0;
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) {
      const std::size_t o = static_cast<std::size_t>(r) * nx + c;
      const std::size_t i = static_cast<std::size_t>(r) * f.nxp + c;
      if (isNullValue(anomaly[o])) continue;
      res.depth[o] = static_cast<float>(p.referenceDepth * (1.0 + eta[i]));
      res.computed[o] = static_cast<float>(g[i] - gMean + stats.mean);
      const double d = static_cast<double>(anomaly[o]) - res.computed[o];
      misfit += d * d;
    }
  res.rmsMisfit = std::sqrt(misfit / static_cast<double>(std::max<std::size_t>(1, count)));
  return res;
}

// ------------------------------------------------------------------------------ the tool's job

InterfaceRunResult runInterfaceInversion(const InterfaceJob& job, Progress& progress) {
  InterfaceRunResult out;
  const InterfaceParams& p = job.params;
  auto fail = [&](const std::string& text) {
    out.outcome = Outcome::failure(text);
    return out;
  };
  if (!(p.contrast != 0 && std::isfinite(p.contrast))) return fail(kMsgInterfaceBadContrast);
  if (!(p.referenceDepth > 0 && std::isfinite(p.referenceDepth)))
    return fail(kMsgInterfaceBadDepth);
  if (!(p.cutWavelength > 0 && p.passWavelength > p.cutWavelength &&
        std::isfinite(p.passWavelength)))
    return fail(kMsgInterfaceBadFilter);
  if (!(p.criterion > 0 && p.maxIterations >= 1 && p.maxIterations <= 100))
    return fail(kMsgInterfaceBadCriterion);
  if (!(p.metresPerUnit > 0)) return fail(kMsgInterfaceBadDepth);

  GridReadResult in = readGrid(job.inputPath);
  if (!in.ok()) return fail(gridReadFailure(in.error));
  GridHeader h = in.grid.header;
  if (h.nx < 4 || h.ny < 4) return fail(kMsgInterfaceTooSmall);
  if (!(h.dx > 0 && h.dy > 0 && std::isfinite(h.dx) && std::isfinite(h.dy)))
    return fail(kErrDivideByZero);

  out.result = invertInterface(in.grid.nodes, h.nx, h.ny, h.dx, h.dy, p, progress);
  if (out.result.cancelled) return fail({});
  if (!out.result.failure.empty()) return fail(out.result.failure);

  const bool magnetic = p.kind == InterfaceKind::Magnetic;
  char note[64];
  std::snprintf(note, sizeof note, "z0=%g", p.referenceDepth);
  h.magic = kGridMagicB;
  h.method = magnetic ? "磁性界面反演" : "密度界面反演";
  h.note = note;
  recomputeGridStats(h, out.result.depth);
  if (!writeGrid(job.outputPath, kGridMagicB, h.method, h, out.result.depth))
    return fail("路径/文件访问错误");
  if (!job.fitPath.empty()) {
    GridHeader fh = h;
    fh.method = "界面正演异常";
    fh.note = magnetic ? "nT" : "mGal";
    recomputeGridStats(fh, out.result.computed);
    if (!writeGrid(job.fitPath, kGridMagicB, fh.method, fh, out.result.computed))
      return fail("路径/文件访问错误");
  }
  out.header = h;
  out.observed = std::move(in.grid.nodes);
  out.outcome = Outcome::success(kMsgInterfaceDone);
  return out;
}

chart::Chart interfaceMapChart(const InterfaceRunResult& r) {
  using namespace chart;
  Chart c;
  const GridHeader& h = r.header;
  const std::vector<float>& z = r.result.depth;
  c.title = "界面深度";
  c.x.label = "X";
  c.y.label = "Y";
  c.fitFrame = true;
  if (h.nx < 1 || h.ny < 1 || z.size() != static_cast<std::size_t>(h.nx) * h.ny) return c;
  const int step = std::max(1, (std::max(h.nx, h.ny) + 159) / 160);
  double lo = 1e300, hi = -1e300;
  for (float v : z)
    if (!isNullValue(v)) {
      lo = std::min(lo, static_cast<double>(v));
      hi = std::max(hi, static_cast<double>(v));
    }
  if (lo > hi) return c;
  if (hi <= lo) hi = lo + 1;
  c.colourBar = makeColourBar(lo, hi, 12, false, "深度");
  Series cells;
  cells.kind = SeriesKind::Cells;
  cells.cellCorners = 4;
  const double wx = h.dx * step, wy = h.dy * step;
  for (int r = 0; r < h.ny; r += step)
    for (int col = 0; col < h.nx; col += step) {
      const float v = z[static_cast<std::size_t>(r) * h.nx + col];
      if (isNullValue(v)) continue;
      const double x = h.x0 + col * h.dx, y = h.y0 + r * h.dy;
      cells.x.insert(cells.x.end(), {x - wx / 2, x + wx / 2, x + wx / 2, x - wx / 2});
      cells.y.insert(cells.y.end(), {y - wy / 2, y - wy / 2, y + wy / 2, y + wy / 2});
      cells.cellColours.push_back(colourOf(*c.colourBar, v));
      cells.cellValues.push_back(v);
    }
  c.x.autoRange = c.y.autoRange = false;
  c.x.lo = h.x0 - h.dx / 2.0;
  c.x.hi = h.x0 + (h.nx - 0.5) * h.dx;
  c.y.lo = h.y0 - h.dy / 2.0;
  c.y.hi = h.y0 + (h.ny - 0.5) * h.dy;
  c.series.push_back(std::move(cells));
  return c;
}

namespace {
// The values of one row as a line, nulls left out.
chart::Series rowSeries(const GridHeader& h, const std::vector<float>& v, int row,
                        chart::Rgb colour, const std::string& name) {
  chart::Series s = chart::Series::of(chart::SeriesKind::Line, {}, {}, colour, name);
  if (row < 0 || row >= h.ny || v.size() != static_cast<std::size_t>(h.nx) * h.ny) return s;
  for (int col = 0; col < h.nx; ++col) {
    const float z = v[static_cast<std::size_t>(row) * h.nx + col];
    if (isNullValue(z)) continue;
    s.x.push_back(h.x0 + col * h.dx);
    s.y.push_back(z);
  }
  return s;
}
}  // namespace

chart::Chart interfaceFitChart(const InterfaceRunResult& r, int row) {
  using namespace chart;
  Chart c;
  const GridHeader& h = r.header;
  char title[64];
  std::snprintf(title, sizeof title, "第 %d 行: 观测与计算异常", row + 1);
  c.title = title;
  c.x.label = "X";
  c.y.label = h.method == "磁性界面反演" ? "ΔT (nT)" : "Δg (mGal)";
  c.fitFrame = true;
  c.legend = true;
  c.series.push_back(rowSeries(h, r.observed, row, kBlue, "观测"));
  Series computed = rowSeries(h, r.result.computed, row, kRed, "计算");
  computed.dashed = true;
  c.series.push_back(std::move(computed));
  return c;
}

chart::Chart interfaceSectionChart(const InterfaceRunResult& r, int row) {
  using namespace chart;
  Chart c;
  c.x.label = "X";
  c.y.label = "深度";
  c.y.reversed = true;
  c.fitFrame = true;
  c.series.push_back(rowSeries(r.header, r.result.depth, row, kBlack, "界面"));
  return c;
}

std::string interfaceReport(const InterfaceRunResult& r) {
  const InterfaceResult& x = r.result;
  char b[256];
  std::snprintf(b, sizeof b,
                "迭代次数: %zu%s, 末次深度变化均方根: %.4g, 拟合均方差: %.4g (异常均方差 %.4g)",
                x.rmsChange.size(), x.converged ? " (已收敛)" : " (未达收敛标准)",
                x.rmsChange.empty() ? 0.0 : x.rmsChange.back(), x.rmsMisfit, x.anomalyRms);
  return b;
}

}  // namespace sarnoth::gravmag
