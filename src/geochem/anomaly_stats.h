// Anomaly thresholds of one element: the statistics behind the FractalProc calls of the anomaly
// tool (declared in closed/fractal_proc.h) and the robust thresholds offered beside them.
//
// GEO_GetAverageStdDev. Mean x̄ = Σx / n and sample standard deviation
//   s = √(Σ(x − x̄)² / (n − 1)), two passes in double (no cancellation on values far from zero).
//   n = 0 gives x̄ = s = 0; n = 1 gives x̄ = x, s = 0. Units: those of the data.
//
// GEO_NormalDistribution (iterative rejection of outliers, the classical "mean ± m·s, repeat"
//   rule). Pass: x̄ and s of the values kept so far; every kept value with |x − x̄| > m·s is
//   rejected. Passes repeat until one rejects nothing. A pass that would leave fewer than two
//   values is not made (the result is that of the values before it), so the iteration always
//   ends with x̄ and s defined. Equal values (s = 0) reject nothing. A multiple that is not a
//   finite number above 0 rejects nothing. Returns the count rejected and x̄ of those kept.
//   The deviation returned is that of the background population, not the plain s of the kept
//   values: a normal sample cut at ±t keeps the deviation σ·f(t/σ), f(c)² = 1 − 2cφ(c)/(2Φ(c)−1)
//   (Johnson, Kotz & Balakrishnan 1994, Continuous Univariate Distributions 1, 2nd ed., Wiley,
//   §13.10), so σ is solved from s and the last cut t that rejected anything. Without it the
//   rule shrinks the deviation of a clean normal sample by 6 % at m = 2.5 (the cut settles at
//   2.34σ), which no sampling error explains. No rejection, no correction; kept values piled at
//   the cut (s/t above f(1) = 0.54) get the plain s.
//   Reference: Hawkes & Webb (1962), Geochemistry in Mineral Exploration, Harper & Row, ch. 2;
//   discussed with its weaknesses by Reimann, Filzmoser & Garrett (2005), Background and
//   threshold: critical comparison of methods of determination, Science of the Total Environment
//   346, 1–16. Accuracy: to double precision, rounded to single; the correction is exact for a
//   normal background and approximate otherwise.
//
// GEO_LogNormalDistribution. The same rejection on log10 x; x ≤ 0 is left out before the first
//   pass and not counted as rejected. x̄ and s are of the logarithms (log10 units); the caller
//   adds k·s to x̄ and shows the sum in log units, as the report always has.
//
// GEO_PercentAnomaly. Quantiles by linear interpolation between order statistics (Hyndman & Fan
//   1996, Sample quantiles in statistical packages, The American Statistician 50, 361–365, their
//   type 7, the default of R and numpy): for the sorted values x(1) ≤ … ≤ x(n) and a probability
//   q, h = (n − 1)q + 1 and Q(q) = x(⌊h⌋) + (h − ⌊h⌋)(x(⌊h⌋+1) − x(⌊h⌋)). The anomaly lower limit
//   for a tail of p per cent is Q(1 − p/100), the value exceeded by p per cent of the data; p is
//   held to 0 … 100 (p = 0 gives the maximum, p = 100 the minimum). Quartiles are Q(0.25) and
//   Q(0.75), the median Q(0.5). n = 0 fills every slot with 0.
//
// Robust thresholds (not part of the old library; geochemists' present practice, Reimann et al.
// 2005 above):
//   - median + 2·MAD, MAD = 1.4826 · median |x − median| (the factor makes it the standard
//     deviation for normal data; Hampel 1974, J. Amer. Statist. Assoc. 69, 383–393).
//   - the inner fence of the boxplot, Q3 + 1.5·(Q3 − Q1) (Tukey 1977, Exploratory Data Analysis,
//     Addison-Wesley).
//   - the 98th percentile, Q(0.98).
//   The first two are taken on log10 x where the data are log-normal (see looksLogNormal) and the
//   threshold returned in data units (10 to the power of the log threshold); the percentile is
//   the same on either scale up to interpolation and is taken on the values.
#pragma once

#include <cstdint>
#include <span>

#include "closed/fractal_proc.h"

namespace sarnoth {

// The MAD's consistency factor for the normal distribution, 1/Φ⁻¹(3/4).
inline constexpr double kMadNormalFactor = 1.482602218505602;

// Quantile (type 7) of `values` for a probability q in [0, 1]; the values are reordered.
// Empty input gives 0.
double sampleQuantile(std::span<float> values, double q);

// True when the data call for the log scale: at least three values, all above 0, and the
// logarithms less skewed than the values (|skewness(log10 x)| < |skewness(x)|). Equal values are
// not log-normal.
bool looksLogNormal(std::span<const float> data);

enum class LogScale { Auto, Never, Always };

struct RobustThreshold {
  std::int32_t n = 0;     // values used
  bool logScale = false;  // centre, spread and quartiles are of log10 x
  double centre = 0;      // median
  double spread = 0;      // scaled MAD, or the interquartile range
  double q1 = 0, q3 = 0;  // quartiles (the fence)
  double threshold = 0;   // in data units
};

// median + 2·MAD. Always on logs needs values above 0: those at or below 0 are left out.
RobustThreshold medianMadThreshold(std::span<const float> data, LogScale scale = LogScale::Auto);
// Q3 + 1.5·IQR.
RobustThreshold boxplotFenceThreshold(std::span<const float> data, LogScale scale = LogScale::Auto);
// Q(q) of the values, q in [0, 1] (0.98 for the 98th percentile); centre is the median.
RobustThreshold percentileThreshold(std::span<const float> data, double q = 0.98);

}  // namespace sarnoth
