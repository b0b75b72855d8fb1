#include "gravmag/fft.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>
#include <utility>

#include "prep/parallel_rows.h"

namespace sarnoth::gravmag {
namespace {

// The angle of stage L's twiddle step comes from this literal, not from π.
constexpr double kToolPi = 3.14159;

// The twiddle step of a stage, in double as the tool's tables hold it.
std::pair<double, double> stageStep(int le1) {
  const double a = kToolPi / le1;
  return {std::cos(a), std::sin(a)};
}

// The next twiddle: products and sums in double, rounded to single on assignment.
inline void advance(float& ur, float& ui, double wr, double wi) {
  const double nr = static_cast<double>(ur) * wr - static_cast<double>(ui) * wi;
  const double ni = static_cast<double>(ui) * wr + static_cast<double>(ur) * wi;
  ur = static_cast<float>(nr);
  ui = static_cast<float>(ni);
}

}  // namespace

PaddedSize paddedSize(int n) {
  const double p =
      std::log(static_cast<double>(n)) / 2.302585 / (std::log(2.0) / 2.302585) + 0.00001;
  PaddedSize r;
  r.power = static_cast<int>(std::nearbyint(p));
  r.size = 1 << r.power;
  if (r.size < n) {
    r.size *= 2;
    r.power += 1;
  }
  return r;
}

void fft1d(float* re, float* im, int n, int m) {
  // Bit reversal by the counter.
  int j = 0;
  for (int i = 0; i < n - 1; ++i) {
    if (j > i) {
      std::swap(re[i], re[j]);
      std::swap(im[i], im[j]);
    }
    int k = n / 2;
    while (k >= 1 && j >= k) {
      j -= k;
      k /= 2;
    }
    j += k;
  }
  for (int L = 1; L <= m; ++L) {
    const int le1 = 1 << (L - 1);
    const int le = 2 * le1;
    const auto [wr, wi] = stageStep(le1);
    float ur = 1.0f, ui = 0.0f;
    for (int jj = 0; jj < le1; ++jj) {
      for (int i = jj; i < n; i += le) {
        const int ip = i + le1;
        const float tr = ui * im[ip] + ur * re[ip];
        const float ti = ur * im[ip] - ui * re[ip];
        re[ip] = re[i] - tr;
        im[ip] = im[i] - ti;
        re[i] += tr;
        im[i] += ti;
      }
      advance(ur, ui, wr, wi);
    }
  }
}

Radix2Plan::Radix2Plan(int n) : n_(n) {
  int j = 0;
  for (int i = 0; i < n - 1; ++i) {
    if (j > i) {
      swaps_.push_back(i);
      swaps_.push_back(j);
    }
    int k = n / 2;
    while (k >= 1 && j >= k) {
      j -= k;
      k /= 2;
    }
    j += k;
  }
  ur_.resize(static_cast<std::size_t>(std::max(n - 1, 0)));
  ui_.resize(ur_.size());
  for (int le1 = 1; le1 < n; le1 *= 2) {
    const auto [wr, wi] = stageStep(le1);
    float ur = 1.0f, ui = 0.0f;
    for (int jj = 0; jj < le1; ++jj) {
      ur_[static_cast<std::size_t>(le1 - 1 + jj)] = ur;
      ui_[static_cast<std::size_t>(le1 - 1 + jj)] = ui;
      advance(ur, ui, wr, wi);
    }
  }
}

void Radix2Plan::transformLanes(float* re, float* im) const {
  // Eight lanes as one vector value: every operator acts lane by lane with the same single
  // rounding as the scalar code (no contraction into fused operations in ISO C++ mode).
  using V = LaneVector;
  V* __restrict R = reinterpret_cast<V*>(re);
  V* __restrict I = reinterpret_cast<V*>(im);
  for (std::size_t s = 0; s < swaps_.size(); s += 2) {
    std::swap(R[swaps_[s]], R[swaps_[s + 1]]);
    std::swap(I[swaps_[s]], I[swaps_[s + 1]]);
  }
  const int n = n_;
  auto stage = [&](int le1, int from, int to) {
    const int le = 2 * le1;
    for (int jj = 0; jj < le1; ++jj) {
      const float ur = ur_[static_cast<std::size_t>(le1 - 1 + jj)];
      const float ui = ui_[static_cast<std::size_t>(le1 - 1 + jj)];
      for (int i = from + jj; i < to; i += le) {
        const int p = i + le1;
        const V tr = ui * I[p] + ur * R[p];
        const V ti = ur * I[p] - ui * R[p];
        R[p] = R[i] - tr;
        I[p] = I[i] - ti;
        R[i] += tr;
        I[i] += ti;
      }
    }
  };
  // The stages whose butterflies stay within blocks of kBlock elements run block by block, so a
  // block stays in the first-level cache through all of them; each butterfly still takes the
  // same operands and twiddle, so the result does not change.
  const int block = std::min(n, kBlock);
  for (int b0 = 0; b0 < n; b0 += block)
    for (int le1 = 1; le1 < block; le1 *= 2) stage(le1, b0, b0 + block);
  for (int le1 = block; le1 < n; le1 *= 2) stage(le1, 0, n);
}

bool fft2d(CFloat* spectrum, int nxp, int nyp, int direction, const Fft2dOptions& options) {
  constexpr int B = Radix2Plan::kLanes;
  const int columns = options.columnsNeeded < 0 ? nxp : std::min(options.columnsNeeded, nxp);
  const long long rowBatches = (nyp + B - 1) / B, colBatches = (columns + B - 1) / B;
  const long long total = rowBatches + colBatches;
  const int threads =
      options.threads > 0
          ? options.threads
          : std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 16);
  std::atomic<bool> stop{false};
  long long done = 0;  // batches of the calling thread's bands, for the tick
  // Called by band 0 after each batch; the other bands only look at the flag.
  auto step = [&](int band) {
    if (band != 0 || !options.tick) return;
    ++done;
    // Band 0 holds about 1/threads of the batches: scale its count to the whole.
    if (!options.tick(std::min(done * threads, total), total)) stop = true;
  };
  const bool inverse = direction < 1;
  // Divisions by the sizes (powers of two) as multiplications by exact reciprocals.
  const float rowScale = inverse ? 1.0f / static_cast<float>(nxp) : 1.0f;
  const float colScale = inverse ? 1.0f / static_cast<float>(nyp) : 1.0f;
  const float dir = static_cast<float>(direction);
  const std::size_t stride = static_cast<std::size_t>(nxp);

  // Rows, eight at a time.
  {
    const Radix2Plan plan(nxp);
    const int batches = static_cast<int>(rowBatches);
    detail::forRowBands(
        batches,
        [&](int b0, int b1, int band) {
          std::vector<LaneVector> rv(static_cast<std::size_t>(nxp)), iv(rv.size());
          float* re = reinterpret_cast<float*>(rv.data());
          float* im = reinterpret_cast<float*>(iv.data());
          for (int batch = b0; batch < b1 && !stop; ++batch) {
            const int r0 = batch * B;
            const int lanes = std::min(B, nyp - r0);
            for (int l = lanes; l < B; ++l)
              for (int k = 0; k < nxp; ++k) re[k * B + l] = im[k * B + l] = 0.0f;
            for (int l = 0; l < lanes; ++l) {
              const CFloat* row = spectrum + static_cast<std::size_t>(r0 + l) * stride;
              for (int k = 0; k < nxp; ++k) {
                re[k * B + l] = row[k].re;
                im[k * B + l] = inverse ? -row[k].im : row[k].im;
              }
            }
            plan.transformLanes(re, im);
            for (int l = 0; l < lanes; ++l) {
              CFloat* row = spectrum + static_cast<std::size_t>(r0 + l) * stride;
              for (int k = 0; k < nxp; ++k) {
                row[k].re = re[k * B + l] * rowScale;
                row[k].im = im[k * B + l] * rowScale;
              }
            }
            step(band);
          }
        },
        1, options.threads);
  }

  if (stop) return false;
  // Columns, eight neighbours at a time: one cache line of each row feeds a batch.
  const Radix2Plan plan(nyp);
  const int batches = static_cast<int>(colBatches);
  detail::forRowBands(
      batches,
      [&](int b0, int b1, int band) {
        std::vector<LaneVector> rv(static_cast<std::size_t>(nyp)), iv(rv.size());
        float* re = reinterpret_cast<float*>(rv.data());
        float* im = reinterpret_cast<float*>(iv.data());
        for (int batch = b0; batch < b1 && !stop; ++batch) {
          const int c0 = batch * B;
          const int lanes = std::min(B, nxp - c0);
          for (int r = 0; r < nyp; ++r) {
            const CFloat* e = spectrum + static_cast<std::size_t>(r) * stride + c0;
            for (int l = 0; l < lanes; ++l) {
              re[r * B + l] = e[l].re;
              im[r * B + l] = e[l].im;
            }
            for (int l = lanes; l < B; ++l) re[r * B + l] = im[r * B + l] = 0.0f;
          }
          plan.transformLanes(re, im);
          for (int r = 0; r < nyp; ++r) {
            CFloat* e = spectrum + static_cast<std::size_t>(r) * stride + c0;
            for (int l = 0; l < lanes; ++l) {
              e[l].re = re[r * B + l] * colScale;
              e[l].im = im[r * B + l] * colScale * dir;
            }
          }
          step(band);
        }
      },
      1, options.threads);
  return !stop;
}

}  // namespace sarnoth::gravmag
