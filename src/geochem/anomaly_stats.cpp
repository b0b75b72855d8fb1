// The anomaly statistics of the FractalProc seam and the robust thresholds (see anomaly_stats.h).
#include "geochem/anomaly_stats.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace sarnoth {
namespace {

std::size_t usedCount(std::span<const float> data, std::int32_t n) {
  if (n <= 0) return 0;
  return std::min(data.size(), static_cast<std::size_t>(n));
}

struct MeanSd {
  double mean = 0;
  double sd = 0;
};

// Two passes in double: the mean, then the squares of the deviations from it.
template <typename T>
MeanSd meanSd(std::span<const T> v) {
  MeanSd r;
  if (v.empty()) return r;
  double sum = 0;
  for (T x : v) sum += x;
  r.mean = sum / static_cast<double>(v.size());
  if (v.size() < 2) return r;
  double ss = 0;
  for (T x : v) ss += (x - r.mean) * (x - r.mean);
  r.sd = std::sqrt(ss / static_cast<double>(v.size() - 1));
  return r;
}

// Standard deviation of the standard normal cut to [−c, c]: √(1 − 2cφ(c) / (2Φ(c) − 1)).
double truncatedNormalSd(double c) {
  const double phi = std::exp(-0.5 * c * c) / std::sqrt(2 * std::numbers::pi);
  const double mass = std::erf(c / std::numbers::sqrt2);
  return std::sqrt(std::max(0.0, 1 - 2 * c * phi / mass));
}

// The deviation of the normal population whose sample, cut at ±cut about its mean, has the
// deviation s: σ with s = σ·f(cut/σ). Solved for c = cut/σ on [1, 1000] by bisection, as
// f(c)/c falls there from 0.54 to 0.001; s/cut above 0.54 (values piled at the cut, not a cut
// normal) gives s back.
double deviationBeforeCut(double s, double cut) {
  if (!(s > 0) || !(cut > 0)) return s;
  const double ratio = s / cut;
  if (ratio >= truncatedNormalSd(1.0)) return s;
  double lo = 1, hi = 1000;
  if (ratio <= truncatedNormalSd(hi) / hi) return s;
  for (int i = 0; i < 100; ++i) {
    const double mid = 0.5 * (lo + hi);
    (truncatedNormalSd(mid) / mid > ratio ? lo : hi) = mid;
  }
  return cut / (0.5 * (lo + hi));
}

// Rejection passes on `kept` until one rejects nothing, or until a pass would leave fewer than
// two values. Returns the number rejected; `kept` holds the survivors, `stats` their mean and
// the deviation corrected for the last cut that rejected anything.
//
// A pass only reads the kept values and compares them with the interval; a rejected value is
// swapped behind the kept ones and its share taken off the running sums (about the first mean,
// which keeps them well conditioned), so a pass costs one comparison a value. The final mean
// and deviation are summed afresh in two passes.
// The values are kept in their own type (single for the data, double for logarithms): a pass
// over a million singles reads half the memory.
template <typename T>
std::int32_t rejectIteratively(std::vector<T>& kept, double multiple, MeanSd& stats) {
  const std::size_t start = kept.size();
  stats = meanSd<T>(kept);
  if (!(std::isfinite(multiple) && multiple > 0)) return 0;
  const double shift = stats.mean;
  double s1 = 0, s2 = 0;
  for (T x : kept) {
    s1 += x - shift;
    s2 += (x - shift) * (x - shift);
  }
  std::size_t m = kept.size();
  double lastCut = 0;
  while (m >= 2) {
    const double cut = multiple * stats.sd;
    const double lo = stats.mean - cut, hi = stats.mean + cut;
    const std::size_t before = m;
    const double s1Before = s1, s2Before = s2;
    for (std::size_t i = 0; i < m;) {
      const T v = kept[i];
      const double x = v;
      if (x >= lo && x <= hi) {
        ++i;
        continue;
      }
      s1 -= x - shift;
      s2 -= (x - shift) * (x - shift);
      kept[i] = kept[m - 1];
      kept[m - 1] = v;
      --m;
    }
    if (m == before) break;
    if (m < 2) {  // the values taken out still stand behind the kept ones
      m = before;
      s1 = s1Before;
      s2 = s2Before;
      break;
    }
    const double n = static_cast<double>(m);
    stats.mean = shift + s1 / n;
    stats.sd = std::sqrt(std::max(0.0, (s2 - s1 * s1 / n) / (n - 1)));
    lastCut = cut;
  }
  kept.resize(m);
  stats = meanSd<T>(kept);
  if (lastCut > 0) stats.sd = deviationBeforeCut(stats.sd, lastCut);
  return static_cast<std::int32_t>(start - m);
}

// Type-7 quantiles of several probabilities at once: the needed order statistics are found by
// successive partial partitions, left to right, so the whole costs a few linear passes.
template <typename T>
void quantilesInPlace(std::span<T> v, std::span<const double> qs, std::span<double> out) {
  const std::size_t n = v.size();
  if (n == 0) {
    std::fill(out.begin(), out.end(), 0.0);
    return;
  }
  // The order statistics each probability needs: ⌊h⌋ − 1 and the one after it (0-based).
  std::vector<std::size_t> ks;
  for (double q : qs) {
    const double h = (static_cast<double>(n) - 1) * std::clamp(q, 0.0, 1.0);
    const auto k = static_cast<std::size_t>(std::floor(h));
    ks.push_back(k);
    ks.push_back(std::min(k + 1, n - 1));
  }
  std::sort(ks.begin(), ks.end());
  ks.erase(std::unique(ks.begin(), ks.end()), ks.end());
  // Each partition leaves the statistics found before it in place: it works on what lies after.
  std::size_t from = 0;
  for (std::size_t k : ks) {
    std::nth_element(v.begin() + static_cast<std::ptrdiff_t>(from),
                     v.begin() + static_cast<std::ptrdiff_t>(k), v.end());
    from = k + 1;
  }
  for (std::size_t i = 0; i < qs.size(); ++i) {
    const double h = (static_cast<double>(n) - 1) * std::clamp(qs[i], 0.0, 1.0);
    const auto k = static_cast<std::size_t>(std::floor(h));
    const double lo = static_cast<double>(v[k]);
    const double hi = static_cast<double>(v[std::min(k + 1, n - 1)]);
    out[i] = lo + (h - std::floor(h)) * (hi - lo);
  }
}

double skewness(std::span<const double> v) {
  const MeanSd s = meanSd<double>(v);
  if (!(s.sd > 0)) return 0;
  double m3 = 0, m2 = 0;
  for (double x : v) {
    const double d = x - s.mean;
    m2 += d * d;
    m3 += d * d * d;
  }
  const double n = static_cast<double>(v.size());
  m2 /= n;
  m3 /= n;
  return m3 / std::pow(m2, 1.5);
}

// The values a robust threshold works on: all of them, or the log10 of those above 0.
std::vector<double> workingValues(std::span<const float> data, LogScale scale, bool& logScale) {
  logScale = scale == LogScale::Always || (scale == LogScale::Auto && looksLogNormal(data));
  std::vector<double> v;
  v.reserve(data.size());
  for (float x : data) {
    if (!logScale)
      v.push_back(x);
    else if (x > 0)
      v.push_back(std::log10(static_cast<double>(x)));
  }
  return v;
}

double toDataUnits(double v, bool logScale) { return logScale ? std::pow(10.0, v) : v; }

}  // namespace

std::int32_t GEO_GetAverageStdDev(std::span<const float> data, std::int32_t n, float& average,
                                  float& stdDev) {
  const std::size_t m = usedCount(data, n);
  const MeanSd s = meanSd<float>(data.first(m));
  average = static_cast<float>(s.mean);
  stdDev = static_cast<float>(s.sd);
  return static_cast<std::int32_t>(m);
}

std::int32_t GEO_NormalDistribution(std::span<const float> data, std::int32_t n, float& average,
                                    float& stdDev, float multiple) {
  const std::size_t m = usedCount(data, n);
  std::vector<float> kept(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(m));
  MeanSd s;
  const std::int32_t rejected = rejectIteratively(kept, multiple, s);
  average = static_cast<float>(s.mean);
  stdDev = static_cast<float>(s.sd);
  return rejected;
}

std::int32_t GEO_LogNormalDistribution(std::span<const float> data, std::int32_t n, float& average,
                                       float& stdDev, float multiple) {
  const std::size_t m = usedCount(data, n);
  std::vector<double> kept;
  kept.reserve(m);
  for (std::size_t i = 0; i < m; ++i)
    if (data[i] > 0) kept.push_back(std::log10(static_cast<double>(data[i])));
  MeanSd s;
  const std::int32_t rejected = rejectIteratively(kept, multiple, s);
  average = static_cast<float>(s.mean);
  stdDev = static_cast<float>(s.sd);
  return rejected;
}

std::int32_t GEO_PercentAnomaly(std::span<const float> data, std::int32_t n, std::int32_t percent,
                                std::span<float> out) {
  if (out.size() < 6) return -1;
  const std::size_t m = usedCount(data, n);
  std::vector<float> v(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(m));
  const double p = std::clamp(percent, 0, 100);
  const double qs[6] = {1.0 - p / 100.0, 0.0, 0.25, 0.5, 0.75, 1.0};
  double r[6];
  quantilesInPlace<float>(v, qs, r);
  for (int i = 0; i < 6; ++i) out[static_cast<std::size_t>(i)] = static_cast<float>(r[i]);
  return 0;
}

double sampleQuantile(std::span<float> values, double q) {
  double r = 0;
  quantilesInPlace<float>(values, std::span<const double>(&q, 1), std::span<double>(&r, 1));
  return r;
}

bool looksLogNormal(std::span<const float> data) {
  if (data.size() < 3) return false;
  std::vector<double> raw, logs;
  raw.reserve(data.size());
  logs.reserve(data.size());
  for (float x : data) {
    if (!(x > 0)) return false;
    raw.push_back(x);
    logs.push_back(std::log10(static_cast<double>(x)));
  }
  const double sRaw = skewness(raw);
  if (sRaw == 0) return false;
  return std::fabs(skewness(logs)) < std::fabs(sRaw);
}

RobustThreshold medianMadThreshold(std::span<const float> data, LogScale scale) {
  RobustThreshold t;
  std::vector<double> v = workingValues(data, scale, t.logScale);
  t.n = static_cast<std::int32_t>(v.size());
  if (v.empty()) return t;
  t.centre = [&] {
    std::vector<double> c = v;
    double q = 0.5, r = 0;
    quantilesInPlace<double>(c, std::span<const double>(&q, 1), std::span<double>(&r, 1));
    return r;
  }();
  for (double& x : v) x = std::fabs(x - t.centre);
  double q = 0.5, mad = 0;
  quantilesInPlace<double>(v, std::span<const double>(&q, 1), std::span<double>(&mad, 1));
  t.spread = kMadNormalFactor * mad;
  t.threshold = toDataUnits(t.centre + 2 * t.spread, t.logScale);
  return t;
}

RobustThreshold boxplotFenceThreshold(std::span<const float> data, LogScale scale) {
  RobustThreshold t;
  std::vector<double> v = workingValues(data, scale, t.logScale);
  t.n = static_cast<std::int32_t>(v.size());
  if (v.empty()) return t;
  const double qs[3] = {0.25, 0.5, 0.75};
  double r[3];
  quantilesInPlace<double>(v, qs, r);
  t.q1 = r[0];
  t.centre = r[1];
  t.q3 = r[2];
  t.spread = t.q3 - t.q1;
  t.threshold = toDataUnits(t.q3 + 1.5 * t.spread, t.logScale);
  return t;
}

RobustThreshold percentileThreshold(std::span<const float> data, double q) {
  RobustThreshold t;
  std::vector<float> v(data.begin(), data.end());
  t.n = static_cast<std::int32_t>(v.size());
  if (v.empty()) return t;
  const double qs[4] = {0.25, 0.5, 0.75, std::clamp(q, 0.0, 1.0)};
  double r[4];
  quantilesInPlace<float>(v, qs, r);
  t.q1 = r[0];
  t.centre = r[1];
  t.q3 = r[2];
  t.spread = t.q3 - t.q1;
  t.threshold = r[3];
  return t;
}

}  // namespace sarnoth
