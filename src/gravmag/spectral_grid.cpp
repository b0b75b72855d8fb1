#include "gravmag/spectral_grid.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "prep/parallel_rows.h"
#include "workarea/null_value.h"

namespace sarnoth::gravmag {
namespace {

// Nodes above this enter the fit.
constexpr float kFitDataAbove = -1e36f;

// (m − left)/2 rounded to nearest, ties to even, as the tool rounds.
int halfRounded(int span) { return static_cast<int>(std::nearbyint(span / 2.0)); }

// The exponents (i, e − i) of term t (1-based).
std::pair<int, int> termPowers(int t) {
  int e = 0;
  while ((e + 1) * (e + 2) / 2 < t) ++e;
  const int i = (e + 1) * (e + 2) / 2 - t;
  return {i, e - i};
}

int termCount(int degree) { return (degree + 1) * (degree + 2) / 2; }

// x^p where a power 0 is exactly 1, also of 0.
double power(double x, int p) {
  double r = 1.0;
  for (int k = 0; k < p; ++k) r *= x;
  return r;
}

// The taper of the column extension: w[k] = (cos(k·π/K) + 1)·0.5, k = 1..K, as singles.
std::vector<float> taperWeights(int K) {
  const float step = kExtensionPi / static_cast<float>(K);
  std::vector<float> w(static_cast<std::size_t>(K) + 1, 0.0f);
  for (int k = 1; k <= K; ++k)
    w[static_cast<std::size_t>(k)] = static_cast<float>(
        (std::cos(static_cast<double>(static_cast<float>(k) * step)) + 1.0) * 0.5);
  return w;
}

// The spectrum's storage: aligned to 2 MiB and offered huge pages, so that a column pass, which
// touches every row, does not walk the page tables once per row. Not cleared: the extension
// writes every element before the transform reads it, its row bands touching the pages first.
class SpectrumBuffer {
 public:
  explicit SpectrumBuffer(std::size_t n) : n_(n) {
    constexpr std::size_t kAlign = std::size_t{2} << 20;
    const std::size_t bytes = (n * sizeof(CFloat) + kAlign - 1) / kAlign * kAlign;
    p_ = static_cast<CFloat*>(std::aligned_alloc(kAlign, bytes));
    if (!p_) throw std::bad_alloc();
    madvise(p_, bytes, MADV_HUGEPAGE);
  }
  ~SpectrumBuffer() { std::free(p_); }
  SpectrumBuffer(const SpectrumBuffer&) = delete;
  SpectrumBuffer& operator=(const SpectrumBuffer&) = delete;
  CFloat* data() { return p_; }
  std::size_t size() const { return n_; }
  CFloat* begin() { return p_; }

 private:
  std::size_t n_;
  CFloat* p_ = nullptr;
};

bool allFinite(const CFloat* a, std::size_t n, int threads) {
  std::atomic<bool> ok{true};
  const int rows = static_cast<int>((n + 65535) / 65536);
  detail::forRowBands(
      rows,
      [&](int b, int e, int) {
        const std::size_t lo = static_cast<std::size_t>(b) * 65536;
        const std::size_t hi = std::min(n, static_cast<std::size_t>(e) * 65536);
        for (std::size_t i = lo; i < hi; ++i)
          if (!std::isfinite(a[i].re) || !std::isfinite(a[i].im)) {
            ok = false;
            return;
          }
      },
      1, threads);
  return ok;
}

bool allFinite(const std::vector<float>& a) {
  return std::all_of(a.begin(), a.end(), [](float v) { return std::isfinite(v); });
}

}  // namespace

// --- fill --------------------------------------------------------------------------------------

PlaneFit fitNullPlane(const float* grid, int nx, int ny, int degree) {
  PlaneFit fit;
  const int n = termCount(degree);
  fit.coefficients.assign(static_cast<std::size_t>(n), 0.0);
  if (n > kPlaneMaxTerms) {
    fit.failure = "下标越界";
    return fit;
  }
  std::vector<std::pair<int, int>> powers;
  for (int t = 1; t <= n; ++t) powers.push_back(termPowers(t));

  std::vector<double> A(static_cast<std::size_t>(n) * n, 0.0), b(static_cast<std::size_t>(n), 0.0);
  std::vector<double> phi(static_cast<std::size_t>(n));
  bool first = true;
  const bool plane = degree == 1 && nx > 1 && ny > 1;
  if (plane) {
    // The plane (terms 1, x, y) with its sums written out.
    // The sums of blocks of kFitRows rows, on all cores, added in block order: the same
    // result on any number of threads.
    constexpr int kFitRows = 64;
    struct Sums {
      double a[3][3] = {}, rhs[3] = {};
    };
    const int blocks = (ny + kFitRows - 1) / kFitRows;
    std::vector<Sums> part(static_cast<std::size_t>(blocks));
    detail::forRowBands(
        blocks,
        [&](int b0, int b1, int) {
          for (int blk = b0; blk < b1; ++blk) {
            Sums& S = part[static_cast<std::size_t>(blk)];
            for (int r = blk * kFitRows; r < std::min(ny, (blk + 1) * kFitRows); ++r) {
              const double x = static_cast<double>(r) / (nx - 1);
              const float* row = grid + static_cast<std::size_t>(r) * nx;
              for (int c = 0; c < nx; ++c) {
                const float z = row[c];
                if (!(z > kFitDataAbove)) continue;
                const double y = static_cast<double>(c) / (ny - 1);
                const double p[3] = {1.0, x, y};
                for (int i = 0; i < 3; ++i) {
                  S.rhs[i] += p[i] * z;
                  for (int j = 0; j < 3; ++j) S.a[i][j] += p[i] * p[j];
                }
              }
            }
          }
        },
        1, 0);
    for (const Sums& S : part)
      for (int i = 0; i < 3; ++i) {
        b[static_cast<std::size_t>(i)] += S.rhs[i];
        for (int j = 0; j < 3; ++j) A[static_cast<std::size_t>(i) * 3 + j] += S.a[i][j];
      }
  }
  for (int r = 0; r < ny && !plane; ++r)
    for (int c = 0; c < nx; ++c) {
      const float z = grid[static_cast<std::size_t>(r) * nx + c];
      if (!(z > kFitDataAbove)) continue;
      // The first point meets the divisions by nx − 1 and ny − 1 first: 0/0 overflows, k/0
      // divides by zero.
      if (first && (nx == 1 || ny == 1)) {
        const int index = nx == 1 ? r : c;
        fit.failure = index == 0 ? kErrOverflow : kErrDivideByZero;
        return fit;
      }
      first = false;
      const double x = static_cast<double>(r) / (nx - 1);  // the row against nx: kept
      const double y = static_cast<double>(c) / (ny - 1);
      for (int t = 0; t < n; ++t)
        phi[static_cast<std::size_t>(t)] = power(x, powers[static_cast<std::size_t>(t)].first) *
                                           power(y, powers[static_cast<std::size_t>(t)].second);
      for (int i = 0; i < n; ++i) {
        const double pi = phi[static_cast<std::size_t>(i)];
        b[static_cast<std::size_t>(i)] += pi * z;
        for (int j = 0; j < n; ++j)
          A[static_cast<std::size_t>(i) * n + j] += pi * phi[static_cast<std::size_t>(j)];
      }
    }

  // Gauss-Jordan: each pivot is the largest absolute element among the rows not yet used; its
  // row is normalised and its column cleared from every other row, so that at the end each
  // unknown's column holds a single 1, whose row holds the unknown's value.
  std::vector<bool> used(static_cast<std::size_t>(n), false);
  for (int step = 0; step < n; ++step) {
    int p = -1, q = -1;
    double best = 0.0;
    for (int i = 0; i < n; ++i) {
      if (used[static_cast<std::size_t>(i)]) continue;
      for (int j = 0; j < n; ++j) {
        const double a = std::fabs(A[static_cast<std::size_t>(i) * n + j]);
        if (a > best) {
          best = a;
          p = i;
          q = j;
        }
      }
    }
    if (p < 0) return fit;  // "MAX(A)=0": the solve is abandoned, the surface stays 0
    used[static_cast<std::size_t>(p)] = true;
    const double piv = A[static_cast<std::size_t>(p) * n + q];
    for (int j = 0; j < n; ++j) A[static_cast<std::size_t>(p) * n + j] /= piv;
    b[static_cast<std::size_t>(p)] /= piv;
    for (int i = 0; i < n; ++i) {
      if (i == p) continue;
      const double f = A[static_cast<std::size_t>(i) * n + q];
      if (f == 0.0) continue;
      for (int j = 0; j < n; ++j)
        A[static_cast<std::size_t>(i) * n + j] -= f * A[static_cast<std::size_t>(p) * n + j];
      b[static_cast<std::size_t>(i)] -= f * b[static_cast<std::size_t>(p)];
    }
  }
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (A[static_cast<std::size_t>(i) * n + j] > 0.5) {
        fit.coefficients[static_cast<std::size_t>(j)] = b[static_cast<std::size_t>(i)];
        break;
      }
  fit.solved = true;
  return fit;
}

double planeValue(const PlaneFit& fit, int degree, double x, double y) {
  const int n = std::min(termCount(degree), static_cast<int>(fit.coefficients.size()));
  double z = 0.0;
  for (int t = 1; t <= n; ++t) {
    const auto [i, j] = termPowers(t);
    z += fit.coefficients[static_cast<std::size_t>(t - 1)] * power(x, i) * power(y, j);
  }
  return z;
}

void fillLastColumnNulls(float* grid, int nx, int ny, const PlaneFit& fit, int degree) {
  if (nx < 2 || ny < 2) return;
  const int c = nx - 1;
  for (int r = 0; r < ny; ++r) {
    float& z = grid[static_cast<std::size_t>(r) * nx + c];
    if (!isExactNull(z)) continue;
    const double x = static_cast<double>(c) / (nx - 1);
    const double y = static_cast<double>(r) / (ny - 1);
    z = static_cast<float>(planeValue(fit, degree, x, y));
  }
}

// --- extension ---------------------------------------------------------------------------------

bool extendRow1D(float* a, int n, int m) {
  auto at = [a](int i) -> float& { return a[i - 1]; };  // the rules count from 1
  int left = n;
  float leftVal = at(n);
  int from = 1;
  for (;;) {
    int i0 = from;
    while (i0 <= n && !isExactNull(at(i0))) ++i0;
    if (i0 > n) break;
    if (i0 == 1) {
      left = 1;
      leftVal = 0.0f;
    } else {
      left = i0 - 1;  // leftVal stays the row's last value (or 0): kept as the tool has it
    }
    int i = i0;
    while (i < n && isExactNull(at(i))) ++i;
    if (i == n) break;  // a run reaching the end is left to the taper, a[n] null or not
    const int g = i - 1 - left;
    const float rightVal = at(i);
    const float step = kExtensionPi / static_cast<float>(g + 1);
    for (int k = 1; k <= g; ++k) {
      const double c = std::cos(static_cast<double>(static_cast<float>(k) * step));
      at(left + k) =
          static_cast<float>(rightVal - static_cast<double>(rightVal - leftVal) * 0.5 * (c + 1.0));
    }
    left = n;
    leftVal = at(n);
    from = i;
  }
  const int K = halfRounded(m - left);
  if (K == 0) return false;
  const float step = kExtensionPi / static_cast<float>(K);
  if (isExactNull(at(1))) at(1) = 0.0f;
  for (int k = 1; k <= K; ++k) {
    const double w = (std::cos(static_cast<double>(static_cast<float>(k) * step)) + 1.0) * 0.5;
    at(left + k) = static_cast<float>(leftVal * w);
    at(m + 1 - k) = static_cast<float>(at(1) * w);
  }
  if (2 * K != m - left) at(left + K + 1) = 0.0f;
  return true;
}

std::string extendGrid2D(float* work, int nx, int ny, int nxp, int nyp) {
  if (nx != nxp) {
    // Rows from the last to the first, each moved from stride nx to stride nxp in place.
    for (int r = ny - 1; r >= 0; --r) {
      float* dst = work + static_cast<std::size_t>(r) * nxp;
      std::copy_backward(work + static_cast<std::size_t>(r) * nx,
                         work + static_cast<std::size_t>(r) * nx + nx, dst + nx);
      if (!extendRow1D(dst, nx, nxp)) return kErrDivideByZero;
    }
  }
  if (ny != nyp) {
    const int K = halfRounded(nyp - ny);
    if (K == 0) return kErrDivideByZero;
    const std::vector<float> w = taperWeights(K);
    const std::size_t s = static_cast<std::size_t>(nxp);
    for (int k = 1; k <= K; ++k)
      for (int c = 0; c < nxp; ++c) {
        work[static_cast<std::size_t>(ny - 1 + k) * s + c] =
            w[static_cast<std::size_t>(k)] * work[static_cast<std::size_t>(ny - 1) * s + c];
        work[static_cast<std::size_t>(nyp - k) * s + c] = w[static_cast<std::size_t>(k)] * work[c];
      }
    if (2 * K != nyp - ny) std::fill_n(work + static_cast<std::size_t>(ny + K) * s, nxp, 0.0f);
  }
  return {};
}

void mirrorSpectrum(CFloat* spectrum, int nxp, int nyp) {
  const int last = static_cast<int>(std::nearbyint(nyp / 2.0));
  const std::size_t s = static_cast<std::size_t>(nxp);
  for (int J = 2; J <= last; ++J) {
    const CFloat* src = spectrum + static_cast<std::size_t>(J - 1) * s;
    CFloat* dst = spectrum + static_cast<std::size_t>(nyp + 1 - J) * s;
    for (int k = 2; k <= nxp; ++k) dst[nxp + 1 - k] = {src[k - 1].re, -src[k - 1].im};
    dst[0] = {src[0].re, -src[0].im};
  }
}

void compactRows(const CFloat* spectrum, int nxp, int nx, int ny, float* out) {
  for (int r = 0; r < ny; ++r) {
    const CFloat* row = spectrum + static_cast<std::size_t>(r) * nxp;
    float* o = out + static_cast<std::size_t>(r) * nx;
    for (int c = 0; c < nx; ++c) o[c] = row[c].re;
  }
}

void restoreNulls(const std::vector<float>& orig, std::vector<float>& result, float& zMin,
                  float& zMax) {
  zMax = -1e20f;
  zMin = 1e20f;
  for (std::size_t i = 0; i < orig.size() && i < result.size(); ++i) {
    if (isDataFrom(orig[i], -1e30f)) {
      zMax = std::max(zMax, result[i]);
      zMin = std::min(zMin, result[i]);
    } else {
      result[i] = orig[i];
    }
  }
}

// --- apply -------------------------------------------------------------------------------------

SpectralResult applySpectral(const std::vector<float>& grid, int nx, int ny, float ratio,
                             const StageMaker& makeStages, Progress& progress,
                             const ApplyOptions& options) {
  SpectralResult res;
  if (nx < 1 || ny < 1 || grid.size() < static_cast<std::size_t>(nx) * ny ||
      std::none_of(grid.begin(), grid.begin() + static_cast<std::ptrdiff_t>(nx) * ny,
                   [](float v) { return !isNullValue(v); })) {
    res.failure = kMsgNoData;
    return res;
  }
  const PaddedSize px = paddedSize(nx), py = paddedSize(ny);
  const int nxp = px.size, nyp = py.size;
  res.nxp = nxp;
  res.nyp = nyp;
  if (static_cast<long long>(nxp) * nyp > kMaxSpectrumElements) {
    res.failure = kErrOutOfMemory;
    return res;
  }
  const int threads = options.threads;
  progress.setMaximum(1000);
  progress.setValue(0);

  // 1. The fill by plane, on a copy whose last column may change.
  const PlaneFit fit = fitNullPlane(grid.data(), nx, ny, 1);
  if (!fit.failure.empty()) {
    res.failure = fit.failure;
    return res;
  }
  if (!fit.solved) res.formNote = kPlaneNoPivotNote;
  // Only the last column can change: it is filled aside (fillLastColumnNulls on one column).
  std::vector<float> lastColumn(static_cast<std::size_t>(ny));
  for (int r = 0; r < ny; ++r)
    lastColumn[static_cast<std::size_t>(r)] = grid[static_cast<std::size_t>(r) * nx + nx - 1];
  if (nx >= 2 && ny >= 2)
    for (int r = 0; r < ny; ++r) {
      float& z = lastColumn[static_cast<std::size_t>(r)];
      if (isExactNull(z))
        z = static_cast<float>(planeValue(fit, 1, 1.0, static_cast<double>(r) / (ny - 1)));
    }

  // 2. Padding and extension, straight into the spectrum's real parts. Rows are independent;
  // the row extension reports its own failure.
  if (ny != nyp && halfRounded(nyp - ny) == 0) {
    res.failure = kErrDivideByZero;
    return res;
  }
  SpectrumBuffer spectrum(static_cast<std::size_t>(nxp) * nyp);
  const std::size_t s = static_cast<std::size_t>(nxp);
  std::atomic<bool> extended{true};
  detail::forRowBands(
      ny,
      [&](int r0, int r1, int) {
        std::vector<float> row(s);
        for (int r = r0; r < r1; ++r) {
          std::copy_n(grid.data() + static_cast<std::size_t>(r) * nx, nx, row.data());
          row[static_cast<std::size_t>(nx) - 1] = lastColumn[static_cast<std::size_t>(r)];
          if (nx != nxp && !extendRow1D(row.data(), nx, nxp)) {
            extended = false;
            return;
          }
          CFloat* dst = spectrum.data() + static_cast<std::size_t>(r) * s;
          for (int c = 0; c < nxp; ++c) dst[c] = {row[static_cast<std::size_t>(c)], 0.0f};
        }
      },
      16, threads);
  if (!extended) {
    res.failure = kErrDivideByZero;
    return res;
  }
  if (ny != nyp) {
    const int K = halfRounded(nyp - ny);
    const std::vector<float> w = taperWeights(K);
    for (int k = 1; k <= K; ++k) {
      const CFloat* lastRow = spectrum.data() + static_cast<std::size_t>(ny - 1) * s;
      const CFloat* firstRow = spectrum.data();
      CFloat* up = spectrum.data() + static_cast<std::size_t>(ny - 1 + k) * s;
      CFloat* down = spectrum.data() + static_cast<std::size_t>(nyp - k) * s;
      const float wk = w[static_cast<std::size_t>(k)];
      for (int c = 0; c < nxp; ++c) {
        up[c] = {wk * lastRow[c].re, 0.0f};
        down[c] = {wk * firstRow[c].re, 0.0f};
      }
    }
    if (2 * K != nyp - ny)
      std::fill_n(spectrum.data() + static_cast<std::size_t>(ny + K) * s, nxp, CFloat{});
  }
  if (!progress.pump()) {
    res.cancelled = true;
    return res;
  }

  // 3. Forward transform.
  std::vector<SpectralStage> stages = makeStages(SpectrumFrame{nxp, nyp, ratio});
  const long long perStage = 600 / std::max<long long>(1, static_cast<long long>(stages.size()));
  auto ticker = [&](long long base, long long span) {
    return [&progress, base, span](long long done, long long total) {
      progress.setValue(base + span * done / std::max(1LL, total));
      return progress.pump();
    };
  };
  Fft2dOptions fwd;
  fwd.threads = threads;
  fwd.tick = ticker(0, 400);
  if (!fft2d(spectrum.data(), nxp, nyp, +1, fwd)) {
    res.cancelled = true;
    return res;
  }
  if (!allFinite(spectrum.data(), spectrum.size(), threads)) {
    res.failure = kErrOverflow;
    return res;
  }

  // 4. The stages. Several stages start each from the forward spectrum: only its half plane is
  // kept aside, the rest being made again by the mirror.
  const int halfRows = nyp / 2 + 1;
  std::vector<CFloat> backup;
  if (stages.size() > 1)
    backup.assign(spectrum.data(), spectrum.data() + static_cast<std::size_t>(halfRows) * s);
  for (std::size_t st = 0; st < stages.size(); ++st) {
    if (st > 0) std::copy(backup.begin(), backup.end(), spectrum.data());
    const SpectralStage& stage = stages[st];
    std::atomic<bool> divided{true};
    if (stage.filter) {
      auto filterBand = [&](int j0, int j1, int) {
        for (int J = j0 + 1; J <= j1; ++J)
          if (!stage.filter(spectrum.data() + static_cast<std::size_t>(J - 1) * s, J)) {
            divided = false;
            return;
          }
      };
      if (stage.ordered)
        filterBand(0, halfRows, 0);
      else
        detail::forRowBands(halfRows, filterBand, 16, threads);
    }
    if (!divided) {
      res.failure = kErrDivideByZero;
      return res;
    }
    mirrorSpectrum(spectrum.data(), nxp, nyp);
    Fft2dOptions inv;
    inv.threads = threads;
    inv.columnsNeeded = nx;
    inv.tick = ticker(400 + perStage * static_cast<long long>(st), perStage);
    if (!fft2d(spectrum.data(), nxp, nyp, -1, inv)) {
      res.cancelled = true;
      return res;
    }
    std::vector<float> out(static_cast<std::size_t>(nx) * ny);
    compactRows(spectrum.data(), nxp, nx, ny, out.data());
    if (!allFinite(out)) {
      res.failure = kErrOverflow;
      return res;
    }
    res.out.push_back(std::move(out));
  }
  progress.setValue(1000);
  return res;
}

RowFilter kernelRows(const SpectrumFrame& frame, double dx, double dy, Kernel kernel) {
  const int nxp = frame.nxp, nyp = frame.nyp;
  const double twoPi = 2.0 * 3.14159265358979323846;
  const double dkx = twoPi / (nxp * dx), dky = twoPi / (nyp * dy);
  return [=](CFloat* row, int J) {
    const double ky = (J - 1) * dky;
    for (int c = 0; c < nxp; ++c) {
      const int index = c <= nxp / 2 ? c : c - nxp;
      const std::complex<double> f = kernel(index * dkx, ky);
      const std::complex<double> e(row[c].re, row[c].im);
      const std::complex<double> p = e * f;
      row[c] = {static_cast<float>(p.real()), static_cast<float>(p.imag())};
    }
    return true;
  };
}

}  // namespace sarnoth::gravmag
