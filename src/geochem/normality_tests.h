// Tests of a sample against the normal distribution, and the probability functions behind them:
// the engine of the distribution test window (frmDataProcSingleHis) and its `histtest` command.
//
// Probability functions. Φ(z) = erfc(−z/√2)/2 from the C library (relative error near 1e-16 in
// both tails); Φ⁻¹(p) and the upper tail of χ² (the regularised incomplete gamma function
// Q(ν/2, x/2)) from Boost.Math, accurate to a few units in the last place of a double.
//
// Shapiro–Wilk W (normality, 3 ≤ n ≤ 5000). Royston's approximation, algorithm AS R94:
//   Royston, P. (1995), Remark AS R94: A remark on algorithm AS 181: the W-test for normality,
//   Applied Statistics 44, 547–551; after Royston, P. (1992), Approximating the Shapiro–Wilk
//   W-test for non-normality, Statistics and Computing 2, 117–119.
//   Coefficients: m_i = Φ⁻¹((i − 3/8)/(n + 1/4)); the two outermost a's are polynomials in 1/√n,
//   the others m_i scaled so that Σa² = 1 (n = 3: a = ±√½). W = (Σ a_i x_(i))² / Σ(x − x̄)², the
//   squared correlation of the ordered sample with the coefficients. p-value: n = 3 exact,
//   (6/π)(asin √W − asin √¾); 4 ≤ n ≤ 11 from the normal approximation of −ln(γ − ln(1 − W)),
//   γ = −2.273 + 0.459 n; n ≥ 12 from that of ln(1 − W), mean and log-deviation polynomials in
//   ln n. Royston reports the p-values within about 0.002 of the true ones for p ≤ 0.1; they
//   agree with R's shapiro.test to 4 digits (tests/geochem/test_normality_tests.cpp).
//   Where it fails: n < 3, n > 5000 (the approximation is not calibrated beyond) and a sample
//   without spread are refused (nullopt).
//
// Kolmogorov–Smirnov D against a fully specified normal N(μ, σ):
//   D = max_i max(F(x_(i)) − (i − 1)/n, i/n − F(x_(i))).
//   p-value as R's ks.test computes it: for n < 100 without ties the exact distribution of D by
//   Marsaglia, G., Tsang, W. W. & Wang, J. (2003), Evaluating Kolmogorov's distribution, Journal
//   of Statistical Software 8(18) (a power of a (2k − 1)-square matrix, with decimal exponents
//   carried aside; accurate to about 13 digits); otherwise the limiting distribution
//   P(√n·D > t) = 2 Σ_{k≥1} (−1)^{k−1} e^{−2k²t²} (for t < 1 its theta-function form
//   √(2π)/t Σ e^{−(2k−1)²π²/(8t²)}, which converges fast there).
//   When μ and σ are estimated from the same sample (as the window does) the test is
//   conservative: its p-values are too large (Lilliefors 1967). The Shapiro–Wilk test has no
//   such bias and is the more powerful; the report shows both.
//
// χ² goodness of fit to N(μ, σ) on classes: expected counts n·(Φ(b_i) − Φ(b_{i−1})) with the
//   first class open to −∞ and the last to +∞; adjacent classes are pooled from the left until
//   each expects at least 5 (a remainder short of 5 at the right end joins the class before it,
//   Cochran's rule); X² = Σ (O − E)²/E with ν = classes − 1 − (parameters estimated) degrees of
//   freedom. Fewer than ν = 1 degree of freedom gives no test.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace sarnoth::geochem {

// Φ(z), the standard normal distribution function.
double normalCdf(double z);
// Φ⁻¹(p) for 0 < p < 1; −∞ at 0 and +∞ at 1.
double normalQuantile(double p);
// P(χ²_ν > x), ν > 0 degrees of freedom; 1 for x ≤ 0.
double chiSquareUpperTail(double x, double nu);

struct ShapiroWilkResult {
  double w = 0;  // W statistic, 0 < W ≤ 1
  double p = 1;  // p-value
};
// The W test of a sample (any order; it is sorted inside). nullopt for n < 3, n > 5000 or a
// sample without spread.
std::optional<ShapiroWilkResult> shapiroWilk(std::span<const double> x);
// The coefficients a_1 … a_{n/2} (positive, for the upper half; the lower half takes −a_i) for
// n = 3 … 5000.
std::vector<double> shapiroWilkCoefficients(int n);

// P(D_n < d) for the one-sample Kolmogorov statistic of a sample of n from a continuous
// distribution (Marsaglia, Tsang & Wang 2003).
double kolmogorovCdf(int n, double d);
// P(K > t) for the limiting distribution of √n·D_n.
double kolmogorovLimitUpperTail(double t);

struct KolmogorovSmirnovResult {
  double d = 0;        // D statistic
  double p = 1;        // p-value
  bool exact = false;  // exact distribution (n < 100 without ties) or the limiting one
};
// The two-sided test of a sample against N(mean, sd); sd > 0. An empty sample gives D = 0, p = 1.
KolmogorovSmirnovResult kolmogorovSmirnovNormal(std::span<const double> x, double mean, double sd);

// One class of the χ² test after pooling: bounds (−∞ or +∞ at the ends), observed and expected.
struct ChiSquareClass {
  double lo = 0, hi = 0;
  std::int64_t observed = 0;
  double expected = 0;
};
struct ChiSquareResult {
  bool valid = false;  // false: fewer than ν = 1 degree of freedom after pooling
  double statistic = 0;
  int df = 0;
  double p = 1;
  std::vector<ChiSquareClass> classes;  // after pooling
};
// The test of observed class counts against N(mean, sd). `bounds` holds the k + 1 class edges in
// ascending order, `observed` the k counts; the outer edges are opened to ±∞. `estimated` is the
// number of parameters taken from the sample (2 for μ and σ).
ChiSquareResult chiSquareNormal(std::span<const double> bounds,
                                std::span<const std::int64_t> observed, double mean, double sd,
                                int estimated = 2);

}  // namespace sarnoth::geochem
