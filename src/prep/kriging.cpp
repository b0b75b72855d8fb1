// GEO_ScatToGridWithKrig: kriging behind the KrigingDll seam. The model, the variogram fit and
// the accuracy are described in closed/kriging.h.
#include "closed/kriging.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <queue>
#include <utility>

#include "prep/neighbour_index.h"
#include "prep/parallel_rows.h"
#include "workarea/null_value.h"

namespace sarnoth {
namespace krig {

namespace {

constexpr int kLagClasses = 15;
constexpr std::size_t kVariogramSample = 4000;
constexpr int kRangeScan = 120;

double sph(double t) { return t >= 1 ? 1.0 : 1.5 * t - 0.5 * t * t * t; }

struct WlsFit {
  double c0 = 0, c = 0, wsse = std::numeric_limits<double>::infinity();
};

// Best non-negative (c0, c) for a given range, in closed form.
WlsFit fitForRange(const ExperimentalVariogram& ev, const std::vector<std::size_t>& use, double a) {
  double sw = 0, sg = 0, sgg = 0, sy = 0, sgy = 0;
  std::vector<double> g(use.size()), w(use.size());
  for (std::size_t u = 0; u < use.size(); ++u) {
    std::size_t j = use[u];
    double h = ev.distance[j];
    w[u] = static_cast<double>(ev.pairs[j]) / (h * h);
    g[u] = a > 0 ? sph(h / a) : 1.0;
    sw += w[u];
    sg += w[u] * g[u];
    sgg += w[u] * g[u] * g[u];
    sy += w[u] * ev.gamma[j];
    sgy += w[u] * g[u] * ev.gamma[j];
  }
  auto sse = [&](double c0, double c) {
    double s = 0;
    for (std::size_t u = 0; u < use.size(); ++u) {
      double r = ev.gamma[use[u]] - c0 - c * g[u];
      s += w[u] * r * r;
    }
    return s;
  };
  WlsFit best;
  auto consider = [&](double c0, double c) {
    if (!(c0 >= 0) || !(c >= 0)) return;
    double s = sse(c0, c);
    if (s < best.wsse) best = {c0, c, s};
  };
  double det = sw * sgg - sg * sg;
  if (det > 1e-12 * sw * sgg) consider((sgg * sy - sg * sgy) / det, (sw * sgy - sg * sy) / det);
  consider(0, sgg > 0 ? std::max(0.0, sgy / sgg) : 0.0);
  consider(sw > 0 ? std::max(0.0, sy / sw) : 0.0, 0);
  return best;
}

}  // namespace

double sphericalGamma(const FittedVariogram& v, double h) {
  if (h <= 0) return 0;
  return v.nugget + v.sill * (v.range > 0 ? sph(h / v.range) : 1.0);
}

ExperimentalVariogram experimentalVariogram(std::span<const double> x, std::span<const double> y,
                                            std::span<const double> z, double cutoff) {
  ExperimentalVariogram ev;
  const std::size_t n = std::min({x.size(), y.size(), z.size()});
  if (n == 0) return ev;
  if (cutoff <= 0) {
    auto [xmin, xmax] = std::minmax_element(x.begin(), x.begin() + static_cast<long>(n));
    auto [ymin, ymax] = std::minmax_element(y.begin(), y.begin() + static_cast<long>(n));
    cutoff = std::hypot(*xmax - *xmin, *ymax - *ymin) / 3;
  }
  ev.cutoff = cutoff;
  ev.distance.assign(kLagClasses, 0);
  ev.gamma.assign(kLagClasses, 0);
  ev.pairs.assign(kLagClasses, 0);
  if (!(cutoff > 0)) return ev;
  std::vector<std::size_t> pick;
  if (n > kVariogramSample) {
    pick.resize(kVariogramSample);
    for (std::size_t i = 0; i < kVariogramSample; ++i) pick[i] = i * n / kVariogramSample;
  } else {
    pick.resize(n);
    std::iota(pick.begin(), pick.end(), std::size_t{0});
  }
  const double invWidth = kLagClasses / cutoff;
  const double cut2 = cutoff * cutoff;
  // The pairs are summed in a fixed number of chunks of rows, added in chunk order, so that the
  // sums do not depend on how many threads there are.
  constexpr int kChunks = 32;
  struct Sums {
    double distance[kLagClasses] = {}, gamma[kLagClasses] = {};
    std::int64_t pairs[kLagClasses] = {};
  };
  std::vector<Sums> chunk(kChunks);
  const std::size_t m = pick.size();
  // The sampled points side by side, so the inner loop runs over contiguous memory.
  std::vector<double> px(m), py(m), pz(m);
  for (std::size_t i = 0; i < m; ++i) px[i] = x[pick[i]], py[i] = y[pick[i]], pz[i] = z[pick[i]];
  // Row a has m − a − 1 pairs: chunk bounds chosen for equal pair counts.
  auto rowAt = [&](int k) {
    double frac = 1.0 - std::sqrt(1.0 - static_cast<double>(k) / kChunks);
    return k >= kChunks ? m : static_cast<std::size_t>(frac * static_cast<double>(m));
  };
  detail::forRowBands(
      kChunks,
      [&](int kBegin, int kEnd, int) {
        for (int k = kBegin; k < kEnd; ++k) {
          Sums& sums = chunk[static_cast<std::size_t>(k)];
          // The pairs of a row are taken a run at a time: first the distances, keeping those
          // within the cutoff without a branch (about as many pairs are in as out, and a branch
          // would guess wrong every other time), then the kept ones into their classes, in the
          // order of b as before.
          constexpr std::size_t kRun = 512;
          double kept[kRun];
          std::uint32_t keptAt[kRun];
          for (std::size_t a = rowAt(k); a < rowAt(k + 1); ++a) {
            const double xa = px[a], ya = py[a], za = pz[a];
            for (std::size_t b0 = a + 1; b0 < m; b0 += kRun) {
              const std::size_t b1 = std::min(m, b0 + kRun);
              std::size_t count = 0;
              for (std::size_t b = b0; b < b1; ++b) {
                const double ddx = px[b] - xa, ddy = py[b] - ya;
                const double h2 = ddx * ddx + ddy * ddy;
                kept[count] = h2;
                keptAt[count] = static_cast<std::uint32_t>(b);
                count += h2 <= cut2;
              }
              for (std::size_t t = 0; t < count; ++t) {
                const double h = std::sqrt(kept[t]);
                // classes (0, w], (w, 2w], …; a zero distance goes with the first
                const double q = h * invWidth;
                int j = static_cast<int>(q);
                if (j > 0 && static_cast<double>(j) == q) --j;
                j = std::min(j, kLagClasses - 1);
                const double dz = pz[keptAt[t]] - za;
                sums.distance[j] += h;
                sums.gamma[j] += dz * dz;
                sums.pairs[j] += 1;
              }
            }
          }
        }
      },
      1);
  for (const Sums& sums : chunk)
    for (int j = 0; j < kLagClasses; ++j) {
      auto u = static_cast<std::size_t>(j);
      ev.distance[u] += sums.distance[j];
      ev.gamma[u] += sums.gamma[j];
      ev.pairs[u] += sums.pairs[j];
    }
  for (int j = 0; j < kLagClasses; ++j) {
    auto u = static_cast<std::size_t>(j);
    if (ev.pairs[u] == 0) continue;
    ev.distance[u] /= static_cast<double>(ev.pairs[u]);
    ev.gamma[u] /= 2.0 * static_cast<double>(ev.pairs[u]);
  }
  return ev;
}

FittedVariogram fitSpherical(const ExperimentalVariogram& ev, double sampleVariance) {
  FittedVariogram fit;
  std::vector<std::size_t> use;
  bool allZero = true;
  for (std::size_t j = 0; j < ev.pairs.size(); ++j) {
    fit.pairs += static_cast<int>(std::min<std::int64_t>(ev.pairs[j], INT32_MAX - fit.pairs));
    if (ev.pairs[j] > 0 && ev.distance[j] > 0) {
      use.push_back(j);
      if (ev.gamma[j] != 0) allZero = false;
    }
  }
  if (use.size() < 2) {
    fit.nugget = 0;
    fit.sill = sampleVariance > 0 ? sampleVariance : 0;
    fit.range = ev.cutoff > 0 ? ev.cutoff : 1;
    fit.degenerate = !(fit.sill > 0);
    return fit;
  }
  if (allZero) {
    fit.range = ev.cutoff;
    fit.degenerate = true;
    return fit;
  }
  const double lo = 0.05 * ev.cutoff, hi = 2.0 * ev.cutoff;
  auto rangeAt = [&](int i) { return lo + (hi - lo) * i / (kRangeScan - 1); };
  int bestI = 0;
  WlsFit best;
  for (int i = 0; i < kRangeScan; ++i) {
    WlsFit f = fitForRange(ev, use, rangeAt(i));
    if (f.wsse < best.wsse) {
      best = f;
      bestI = i;
    }
  }
  double a = rangeAt(std::max(0, bestI - 1)), b = rangeAt(std::min(kRangeScan - 1, bestI + 1));
  const double phi = (std::sqrt(5.0) - 1) / 2;
  double c = b - phi * (b - a), d = a + phi * (b - a);
  WlsFit fc = fitForRange(ev, use, c), fd = fitForRange(ev, use, d);
  for (int it = 0; it < 60; ++it) {
    if (fc.wsse <= fd.wsse) {
      b = d;
      d = c;
      fd = fc;
      c = b - phi * (b - a);
      fc = fitForRange(ev, use, c);
    } else {
      a = c;
      c = d;
      fc = fd;
      d = a + phi * (b - a);
      fd = fitForRange(ev, use, d);
    }
  }
  double range = rangeAt(bestI);
  if (fc.wsse < best.wsse) {
    best = fc;
    range = c;
  }
  if (fd.wsse < best.wsse) {
    best = fd;
    range = d;
  }
  fit.nugget = best.c0;
  fit.sill = best.c;
  fit.range = range;
  fit.degenerate = !(best.c0 + best.c > 0);
  return fit;
}

}  // namespace krig

namespace {

using detail::BucketIndex;
using krig::FittedVariogram;

// Covariance C(h) = c0 + c − γ(h); the zero variogram is the limit of a unit pure nugget.
struct CovModel {
  double c0 = 0, c = 0, a = 0;
  bool degenerate = false;
  explicit CovModel(const FittedVariogram& v)
      : c0(v.nugget), c(v.sill), a(v.range), degenerate(v.degenerate) {
    if (degenerate) {
      c0 = 1;
      c = 0;
    }
  }
  double total() const { return c0 + c; }
  double cov(double h) const {
    if (h <= 0) return c0 + c;
    if (c == 0 || a <= 0) return 0;
    return c * (1.0 - krig::sph(h / a));
  }
};

// Drift terms of the universal kriging codes, in coordinates (u, v) centred on the node.
int driftTerms(int code) {
  switch (code) {
    case 2:
    case 3:
      return 2;
    case 4:
    case 5:
    case 6:
      return 3;
    case 7:
      return 6;
    default:
      return 1;
  }
}

void driftRow(int code, double u, double v, double* f) {
  f[0] = 1;
  switch (code) {
    case 2:
      f[1] = u;
      break;
    case 3:
      f[1] = v;
      break;
    case 4:
      f[1] = u;
      f[2] = v;
      break;
    case 5:
      f[1] = u;
      f[2] = u * u;
      break;
    case 6:
      f[1] = v;
      f[2] = v * v;
      break;
    case 7:
      f[1] = u;
      f[2] = v;
      f[3] = u * u;
      f[4] = u * v;
      f[5] = v * v;
      break;
    default:
      break;
  }
}

// One node's kriging system, reused across nodes of a thread.
//
// C is positive definite for distinct points, so the system is solved through its Cholesky
// factor L (C = L Lᵀ) and the Schur complement of the drift: with Y = C⁻¹ F and y₀ = C⁻¹ c₀,
// m = (Fᵀ Y)⁻¹ (Fᵀ y₀ − f₀) and λ = y₀ − Y m. The systems hold a few dozen unknowns, so the
// factor and the substitutions are plain loops over flat arrays kept from node to node (no
// allocation, no blocking). A factor with a vanishing pivot (coincident points without nugget)
// or a residual that is not small sends the whole system to a complete orthogonal
// decomposition.
struct NodeSolver {
  std::vector<double> c;    // n × n, row-major; its lower triangle becomes L
  std::vector<double> cc;   // C as built, for the residual
  std::vector<double> rhs;  // n × (p + 1), row-major: F then c₀, overwritten by Y then y₀
  std::vector<double> f, c0, lambda;
  double f0[6] = {}, mlag[6] = {};

  // Weights for the neighbours `nb` of node (x0, y0) under model m and drift code; returns
  // false when nothing sensible can be solved. `out` receives λ (n) and then the Lagrange
  // multipliers m (p) of [C F; Fᵀ 0][λ; m] = [c₀; f₀].
  bool solve(const std::vector<std::pair<double, std::uint32_t>>& nb, const std::vector<double>& x,
             const std::vector<double>& yy, double x0, double ny0, const CovModel& m, int code,
             Eigen::VectorXd& out) {
    const int n = static_cast<int>(nb.size());
    int p = driftTerms(code);
    if (n < p + 1) {
      code = 1;
      p = 1;
    }
    if (n < 1) return false;
    const std::size_t N = static_cast<std::size_t>(n), P = static_cast<std::size_t>(p);
    const std::size_t R = P + 1;  // right-hand sides: the drift columns and c₀
    c.resize(N * N);
    rhs.resize(N * R);
    f.resize(N * P);
    c0.resize(N);
    double scale = std::sqrt(nb.back().first);
    if (!(scale > 0)) scale = 1;
    double row[6];
    for (std::size_t i = 0; i < N; ++i) {
      const std::uint32_t pi = nb[i].second;
      c[i * N + i] = m.total();
      for (std::size_t j = i + 1; j < N; ++j) {
        const std::uint32_t pj = nb[j].second;
        const double dx = x[pi] - x[pj], dy = yy[pi] - yy[pj];
        c[i * N + j] = c[j * N + i] = m.cov(std::sqrt(dx * dx + dy * dy));
      }
      c0[i] = m.cov(std::sqrt(nb[i].first));
      driftRow(code, (x[pi] - x0) / scale, (yy[pi] - ny0) / scale, row);
      for (std::size_t k = 0; k < P; ++k) f[i * P + k] = rhs[i * R + k] = row[k];
      rhs[i * R + P] = c0[i];
    }
    driftRow(code, 0, 0, row);
    for (std::size_t k = 0; k < P; ++k) f0[k] = row[k];
    cc = c;

    out.resize(n + p);
    bool good = cholesky(N, 1e-6 * std::sqrt(m.total()));
    if (good) {
      substitute(N, R);
      // The Schur complement S = Fᵀ Y (p × p) and its right-hand side Fᵀ y₀ − f₀.
      Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, 6, 6> schur(p, p);
      Eigen::Matrix<double, Eigen::Dynamic, 1, 0, 6, 1> sr(p);
      for (std::size_t a = 0; a < P; ++a) {
        for (std::size_t b = 0; b < P; ++b) {
          double sum = 0;
          for (std::size_t i = 0; i < N; ++i) sum += f[i * P + a] * rhs[i * R + b];
          schur(static_cast<Eigen::Index>(a), static_cast<Eigen::Index>(b)) = sum;
        }
        double sum = 0;
        for (std::size_t i = 0; i < N; ++i) sum += f[i * P + a] * rhs[i * R + P];
        sr(static_cast<Eigen::Index>(a)) = sum - f0[a];
      }
      const Eigen::Matrix<double, Eigen::Dynamic, 1, 0, 6, 1> ml = schur.ldlt().solve(sr);
      for (std::size_t k = 0; k < P; ++k) mlag[k] = ml(static_cast<Eigen::Index>(k));
      lambda.resize(N);
      for (std::size_t i = 0; i < N; ++i) {
        double v = rhs[i * R + P];
        for (std::size_t k = 0; k < P; ++k) v -= rhs[i * R + k] * mlag[k];
        lambda[i] = v;
      }
      // The residual of the whole system, against C as built.
      double resid = 0, drift = 0, finite = 0;
      for (std::size_t i = 0; i < N; ++i) {
        double v = -c0[i];
        for (std::size_t j = 0; j < N; ++j) v += cc[i * N + j] * lambda[j];
        for (std::size_t k = 0; k < P; ++k) v += f[i * P + k] * mlag[k];
        resid = std::max(resid, std::fabs(v));
        finite += lambda[i] * 0.0;
      }
      for (std::size_t k = 0; k < P; ++k) {
        double v = -f0[k];
        for (std::size_t i = 0; i < N; ++i) v += f[i * P + k] * lambda[i];
        drift = std::max(drift, std::fabs(v));
        finite += mlag[k] * 0.0;
      }
      // finite is NaN when any weight or multiplier is not finite.
      good = finite == 0 && resid + drift <= 1e-8 * (m.total() + 1.0);
      if (good) {
        for (std::size_t i = 0; i < N; ++i) out(static_cast<Eigen::Index>(i)) = lambda[i];
        for (std::size_t k = 0; k < P; ++k) out(n + static_cast<Eigen::Index>(k)) = mlag[k];
      }
    }
    if (!good) {
      Eigen::MatrixXd a(n + p, n + p);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) a(i, j) = cc[static_cast<std::size_t>(i) * N + j];
      for (int i = 0; i < n; ++i)
        for (int k = 0; k < p; ++k)
          a(i, n + k) = a(n + k, i) = f[static_cast<std::size_t>(i) * P + k];
      a.bottomRightCorner(p, p).setZero();
      Eigen::VectorXd b(n + p);
      for (int i = 0; i < n; ++i) b(i) = c0[static_cast<std::size_t>(i)];
      for (int k = 0; k < p; ++k) b(n + k) = f0[k];
      Eigen::CompleteOrthogonalDecomposition<Eigen::MatrixXd> cod(a);
      out = cod.solve(b);
      if (!out.allFinite()) return false;
    }
    return true;
  }

 private:
  // C = L Lᵀ in place (L in the lower triangle, row-major); false when a pivot of L is not
  // above `minPivot` (or not a number).
  bool cholesky(std::size_t n, double minPivot) {
    for (std::size_t j = 0; j < n; ++j) {
      double* rj = c.data() + j * n;
      double d = rj[j];
      for (std::size_t k = 0; k < j; ++k) d -= rj[k] * rj[k];
      if (!(d > 0)) return false;
      const double ljj = std::sqrt(d);
      if (!(ljj > minPivot)) return false;
      rj[j] = ljj;
      const double inv = 1.0 / ljj;
      for (std::size_t i = j + 1; i < n; ++i) {
        double* ri = c.data() + i * n;
        double v = ri[j];
        for (std::size_t k = 0; k < j; ++k) v -= ri[k] * rj[k];
        ri[j] = v * inv;
      }
    }
    return true;
  }

  // rhs := C⁻¹ rhs for its r columns: L z = rhs, then Lᵀ x = z.
  void substitute(std::size_t n, std::size_t r) {
    double* b = rhs.data();
    for (std::size_t i = 0; i < n; ++i) {
      const double* li = c.data() + i * n;
      double* bi = b + i * r;
      for (std::size_t k = 0; k < i; ++k) {
        const double l = li[k];
        const double* bk = b + k * r;
        for (std::size_t q = 0; q < r; ++q) bi[q] -= l * bk[q];
      }
      const double inv = 1.0 / li[i];
      for (std::size_t q = 0; q < r; ++q) bi[q] *= inv;
    }
    for (std::size_t i = n; i-- > 0;) {
      double* bi = b + i * r;
      for (std::size_t k = i + 1; k < n; ++k) {
        const double l = c[k * n + i];
        const double* bk = b + k * r;
        for (std::size_t q = 0; q < r; ++q) bi[q] -= l * bk[q];
      }
      const double inv = 1.0 / c[i * n + i];
      for (std::size_t q = 0; q < r; ++q) bi[q] *= inv;
    }
  }
};

struct KrigTarget {
  std::vector<double> z;  // the values kriged (transformed)
  FittedVariogram model;
};

// Global least-squares residuals of the drift (for the variogram of universal kriging).
std::vector<double> driftResiduals(const std::vector<double>& x, const std::vector<double>& y,
                                   const std::vector<double>& z, int code) {
  const int p = driftTerms(code);
  const std::size_t n = z.size();
  if (n <= static_cast<std::size_t>(p)) return z;
  auto [xmin, xmax] = std::minmax_element(x.begin(), x.end());
  auto [ymin, ymax] = std::minmax_element(y.begin(), y.end());
  double cx = (*xmin + *xmax) / 2, cy = (*ymin + *ymax) / 2;
  double s = std::max(*xmax - *xmin, *ymax - *ymin) / 2;
  if (!(s > 0)) s = 1;
  Eigen::MatrixXd f(static_cast<Eigen::Index>(n), p);
  Eigen::VectorXd zz(static_cast<Eigen::Index>(n));
  double row[6];
  for (std::size_t i = 0; i < n; ++i) {
    driftRow(code, (x[i] - cx) / s, (y[i] - cy) / s, row);
    for (int k = 0; k < p; ++k) f(static_cast<Eigen::Index>(i), k) = row[k];
    zz(static_cast<Eigen::Index>(i)) = z[i];
  }
  Eigen::VectorXd beta = f.colPivHouseholderQr().solve(zz);
  Eigen::VectorXd res = zz - f * beta;
  // What is left of an exact fit is rounding: a residual field that is zero.
  const double tiny = 1e-10 * zz.cwiseAbs().maxCoeff();
  for (Eigen::Index i = 0; i < res.size(); ++i)
    if (std::fabs(res(i)) <= tiny) res(i) = 0;
  return std::vector<double>(res.data(), res.data() + res.size());
}

double sampleVariance(const std::vector<double>& z) {
  if (z.size() < 2) return 0;
  double mean = std::accumulate(z.begin(), z.end(), 0.0) / static_cast<double>(z.size());
  double s = 0;
  for (double v : z) s += (v - mean) * (v - mean);
  return s / static_cast<double>(z.size() - 1);
}

FittedVariogram fitFor(const std::vector<double>& x, const std::vector<double>& y,
                       const std::vector<double>& z) {
  auto ev = krig::experimentalVariogram(x, y, z);
  return krig::fitSpherical(ev, sampleVariance(z));
}

}  // namespace

std::int32_t GEO_ScatToGridWithKrig(std::span<const float> points, std::int32_t dimensions,
                                    std::int32_t pointCount, std::int32_t stride,
                                    std::span<const float, 4> extent, float dx, float dy,
                                    std::int32_t lastColumn, std::int32_t lastRow,
                                    std::int32_t searchPoints, std::int32_t modelCode,
                                    float paramCount, std::span<const float> params,
                                    std::span<float> result,
                                    std::vector<krig::FittedVariogram>* variograms, int threads,
                                    const std::function<bool(int rowsDone)>& watch) {
  if (dimensions != 2 || stride != 3) return 1;
  if (pointCount < 0 || points.size() < static_cast<std::size_t>(pointCount) * 3) return 2;
  if (lastColumn < 0 || lastRow < 0 || searchPoints < 1) return 2;
  const int columns = lastColumn + 1, rows = lastRow + 1;
  const std::size_t nodes = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
  if (result.size() < nodes) return 2;
  if (!(dx > 0) || !(dy > 0)) return 3;
  if (modelCode < 1 || modelCode > 10) return 4;
  std::vector<double> par;
  if (modelCode >= 9) {
    if (!(paramCount >= 0) || paramCount > 1e6f) return 5;
    std::size_t np = static_cast<std::size_t>(paramCount) + 1;
    if (params.size() < np) return 5;
    for (std::size_t i = 0; i < np; ++i) par.push_back(params[i]);
    if (modelCode == 9 && par.size() < 3) return 5;
  }

  // Usable points, transformed.
  const double theta = modelCode == 9 ? par[0] : 0.0;
  std::vector<double> x, y, z, raw;
  x.reserve(static_cast<std::size_t>(pointCount));
  y.reserve(x.capacity());
  z.reserve(x.capacity());
  for (std::int32_t i = 0; i < pointCount; ++i) {
    const float px = points[3 * static_cast<std::size_t>(i)];
    const float py = points[3 * static_cast<std::size_t>(i) + 1];
    const float pv = points[3 * static_cast<std::size_t>(i) + 2];
    if (!(isDataValue(px) && isDataValue(py) && isDataValue(pv))) continue;
    if (!std::isfinite(px) || !std::isfinite(py) || !std::isfinite(pv)) continue;
    double v = pv;
    if (modelCode == 8) {
      if (!(v > 0)) continue;
      v = std::log(v);
    } else if (modelCode == 9) {
      if (!(v > theta)) continue;
      v = std::log(v - theta);
    }
    x.push_back(px);
    y.push_back(py);
    z.push_back(v);
    raw.push_back(pv);
  }

  // The targets kriged at every node: one, or one per threshold for indicator kriging.
  std::vector<KrigTarget> targets;
  std::vector<double> thresholds, classMean;
  if (modelCode == 10) {
    thresholds = par;
    std::sort(thresholds.begin(), thresholds.end());
    thresholds.erase(std::unique(thresholds.begin(), thresholds.end()), thresholds.end());
    const std::size_t K = thresholds.size();
    std::vector<double> sum(K + 1, 0), cnt(K + 1, 0);
    for (double v : raw) {
      std::size_t cls = static_cast<std::size_t>(
          std::lower_bound(thresholds.begin(), thresholds.end(), v) - thresholds.begin());
      sum[cls] += v;
      cnt[cls] += 1;
    }
    classMean.resize(K + 1);
    for (std::size_t k = 0; k <= K; ++k) {
      if (cnt[k] > 0) {
        classMean[k] = sum[k] / cnt[k];
      } else if (k == 0) {
        classMean[k] = thresholds[0];
      } else if (k == K) {
        classMean[k] = thresholds[K - 1];
      } else {
        classMean[k] = (thresholds[k - 1] + thresholds[k]) / 2;
      }
    }
    for (double t : thresholds) {
      KrigTarget tg;
      tg.z.resize(raw.size());
      for (std::size_t i = 0; i < raw.size(); ++i) tg.z[i] = raw[i] <= t ? 1.0 : 0.0;
      tg.model = fitFor(x, y, tg.z);
      tg.model.threshold = t;
      targets.push_back(std::move(tg));
    }
  } else {
    KrigTarget tg;
    tg.z = z;
    if (modelCode >= 2 && modelCode <= 7)
      tg.model = fitFor(x, y, driftResiduals(x, y, z, modelCode));
    else
      tg.model = fitFor(x, y, z);
    targets.push_back(std::move(tg));
  }
  if (variograms) {
    variograms->clear();
    for (const auto& t : targets) variograms->push_back(t.model);
  }

  const int drift = modelCode >= 2 && modelCode <= 7 ? modelCode : 1;
  const bool logBack = modelCode == 8 || modelCode == 9;
  const double lo = modelCode == 9 ? par[1] : 0, hi = modelCode == 9 ? par[2] : 0;
  const std::size_t k = std::min<std::size_t>(static_cast<std::size_t>(searchPoints), x.size());
  BucketIndex index(x, y);
  std::vector<CovModel> models;
  for (const auto& t : targets) models.emplace_back(t.model);
  const double xLeft = extent[0], yBottom = extent[1];

  // What a thread keeps from node to node.
  struct ThreadState {
    NodeSolver solver;
    Eigen::VectorXd w;
    std::vector<std::pair<double, std::uint32_t>> nb;
    std::vector<double> prob;
  };
  const int threadCount = detail::rowThreads(rows, threads);
  std::vector<ThreadState> states(static_cast<std::size_t>(threadCount));
  for (auto& st : states) {
    st.nb.reserve(k);
    st.prob.resize(targets.size());
  }
  // One row a work item: each node depends on its own neighbours only, so the grid is the same
  // whatever the number of threads and the order the rows are taken in.
  auto krigRow = [&](int r, int thread) {
    ThreadState& st = states[static_cast<std::size_t>(thread)];
    NodeSolver& solver = st.solver;
    Eigen::VectorXd& w = st.w;
    std::vector<std::pair<double, std::uint32_t>>& nb = st.nb;
    std::vector<double>& prob = st.prob;
    {
      const double ny = yBottom + static_cast<double>(r) * dy;
      for (int c = 0; c < columns; ++c) {
        const double nx = xLeft + static_cast<double>(c) * dx;
        float out = NULL_VALUE;
        index.nearest(nx, ny, k, nb);
        if (!nb.empty()) {
          bool ok = true;
          for (std::size_t t = 0; t < targets.size() && ok; ++t) {
            const CovModel& m = models[t];
            if (!solver.solve(nb, x, y, nx, ny, m, drift, w)) {
              ok = false;
              break;
            }
            const int n = static_cast<int>(nb.size());
            double est = 0, cross = 0;
            for (int i = 0; i < n; ++i) {
              est += w(i) * targets[t].z[nb[static_cast<std::size_t>(i)].second];
              cross += w(i) * m.cov(std::sqrt(nb[static_cast<std::size_t>(i)].first));
            }
            if (logBack) {
              // σ² = C(0) − Σλ C_i0 − m, μ = −m in the variogram form.
              double mLag = w(n);
              double var = m.total() - cross - mLag;
              if (m.degenerate) var = mLag = 0;
              est = std::exp(est + var / 2 + mLag);
              if (modelCode == 9) {
                est += theta;
                if (lo < hi) est = std::clamp(est, lo, hi);
              }
            }
            prob[t] = est;
          }
          if (ok) {
            double value = prob[0];
            if (modelCode == 10) {
              const std::size_t K = prob.size();
              std::vector<double> up(prob), down(prob);
              for (double& p : up) p = std::clamp(p, 0.0, 1.0);
              for (double& p : down) p = std::clamp(p, 0.0, 1.0);
              for (std::size_t i = 1; i < K; ++i) up[i] = std::max(up[i], up[i - 1]);
              for (std::size_t i = K - 1; i-- > 0;) down[i] = std::min(down[i], down[i + 1]);
              double prev = 0;
              value = 0;
              for (std::size_t i = 0; i < K; ++i) {
                double f = (up[i] + down[i]) / 2;
                value += (f - prev) * classMean[i];
                prev = f;
              }
              value += (1 - prev) * classMean[K];
            }
            if (std::isfinite(value)) out = static_cast<float>(value);
          }
        }
        result[static_cast<std::size_t>(r) * columns + c] = out;
      }
    }
  };
  const bool finished = detail::forItemsWatched(
      rows, threadCount, krigRow, [&](int rowsDone) { return watch ? watch(rowsDone) : true; });
  if (!finished) return 6;
  return 0;
}

}  // namespace sarnoth
