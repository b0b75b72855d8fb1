#include "geochem/normality_tests.h"

#include <algorithm>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>
#include <numbers>

namespace sarnoth::geochem {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// c0 + c1·x + c2·x² + …
template <std::size_t N>
double poly(const double (&c)[N], double x) {
  double r = 0;
  for (std::size_t i = N; i-- > 0;) r = r * x + c[i];
  return r;
}

// --- Royston's polynomials (AS R94) ----------------------------------------------------------
// a_n and a_{n−1} as corrections to the scaled m's, in u = 1/√n.
constexpr double kSwA1[] = {0.0, 0.221157, -0.147981, -2.071190, 4.434685, -2.706056};
constexpr double kSwA2[] = {0.0, 0.042981, -0.293762, -1.752461, 5.682633, -3.582633};
// 4 ≤ n ≤ 11: mean and log-deviation of −ln(γ − ln(1 − W)), in n; γ = −2.273 + 0.459 n.
constexpr double kSwGamma[] = {-2.273, 0.459};
constexpr double kSwMeanSmall[] = {0.5440, -0.39978, 0.025054, -6.714e-4};
constexpr double kSwSdSmall[] = {1.3822, -0.77857, 0.062767, -0.0020322};
// n ≥ 12: mean and log-deviation of ln(1 − W), in ln n.
constexpr double kSwMeanLarge[] = {-1.5861, -0.31082, -0.083751, 0.0038915};
constexpr double kSwSdLarge[] = {-0.4803, -0.082676, 0.0030302};

constexpr int kSwMaxN = 5000;

// --- Marsaglia, Tsang & Wang: matrices with a decimal exponent carried aside ------------------
struct ScaledMatrix {
  int m = 0;
  std::vector<double> v;  // row-major m × m
  int exponent = 0;       // the matrix is v · 10^exponent
};

ScaledMatrix multiply(const ScaledMatrix& a, const ScaledMatrix& b) {
  const int m = a.m;
  ScaledMatrix c{m, std::vector<double>(static_cast<std::size_t>(m) * m, 0.0),
                 a.exponent + b.exponent};
  for (int i = 0; i < m; ++i)
    for (int k = 0; k < m; ++k) {
      const double aik = a.v[static_cast<std::size_t>(i) * m + k];
      if (aik == 0) continue;
      const double* brow = &b.v[static_cast<std::size_t>(k) * m];
      double* crow = &c.v[static_cast<std::size_t>(i) * m];
      for (int j = 0; j < m; ++j) crow[j] += aik * brow[j];
    }
  return c;
}

// A^n by squaring; the centre element is kept below 1e140 by moving decades into the exponent.
ScaledMatrix power(const ScaledMatrix& a, int n) {
  if (n == 1) return a;
  ScaledMatrix half = power(a, n / 2);
  ScaledMatrix r = multiply(half, half);
  if (n % 2 == 1) r = multiply(a, r);
  const std::size_t centre = static_cast<std::size_t>(r.m / 2) * r.m + r.m / 2;
  if (r.v[centre] > 1e140) {
    for (double& x : r.v) x *= 1e-140;
    r.exponent += 140;
  }
  return r;
}

}  // namespace

double normalCdf(double z) { return 0.5 * std::erfc(-z / std::numbers::sqrt2); }

double normalQuantile(double p) {
  if (!(p > 0)) return -kInf;
  if (!(p < 1)) return kInf;
  return -std::numbers::sqrt2 * boost::math::erfc_inv(2 * p);
}

double chiSquareUpperTail(double x, double nu) {
  if (!(x > 0)) return 1.0;
  if (!(nu > 0)) return 0.0;
  if (std::isinf(x)) return 0.0;
  return boost::math::gamma_q(nu / 2, x / 2);
}

// --- Shapiro–Wilk ---------------------------------------------------------------------------

std::vector<double> shapiroWilkCoefficients(int n) {
  if (n < 3) return {};
  const int half = n / 2;
  std::vector<double> a(static_cast<std::size_t>(half));
  if (n == 3) {
    a[0] = std::sqrt(0.5);
    return a;
  }
  std::vector<double> m(static_cast<std::size_t>(half));
  double summ2 = 0;
  for (int i = 0; i < half; ++i) {
    m[static_cast<std::size_t>(i)] = normalQuantile((i + 1 - 0.375) / (n + 0.25));  // negative
    summ2 += m[static_cast<std::size_t>(i)] * m[static_cast<std::size_t>(i)];
  }
  summ2 *= 2;  // Σ over both halves
  const double ssumm2 = std::sqrt(summ2);
  const double u = 1 / std::sqrt(static_cast<double>(n));
  const double a1 = poly(kSwA1, u) - m[0] / ssumm2;
  int first;
  double fac;
  if (n > 5) {
    const double a2 = poly(kSwA2, u) - m[1] / ssumm2;
    fac = std::sqrt((summ2 - 2 * m[0] * m[0] - 2 * m[1] * m[1]) / (1 - 2 * a1 * a1 - 2 * a2 * a2));
    a[1] = a2;
    first = 2;
  } else {
    fac = std::sqrt((summ2 - 2 * m[0] * m[0]) / (1 - 2 * a1 * a1));
    first = 1;
  }
  a[0] = a1;
  for (int i = first; i < half; ++i)
    a[static_cast<std::size_t>(i)] = -m[static_cast<std::size_t>(i)] / fac;
  return a;
}

std::optional<ShapiroWilkResult> shapiroWilk(std::span<const double> sample) {
  const int n = static_cast<int>(sample.size());
  if (n < 3 || n > kSwMaxN) return std::nullopt;
  std::vector<double> x(sample.begin(), sample.end());
  std::sort(x.begin(), x.end());
  if (!(x.back() - x.front() > 0)) return std::nullopt;
  double mean = 0;
  for (double v : x) mean += v;
  mean /= n;
  double ss = 0;
  for (double v : x) ss += (v - mean) * (v - mean);
  const std::vector<double> a = shapiroWilkCoefficients(n);
  double sax = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    sax += a[i] * ((x[static_cast<std::size_t>(n) - 1 - i] - mean) - (x[i] - mean));
  // 1 − W formed as (√SS − Σax)(√SS + Σax)/SS keeps its digits when W is close to 1.
  const double root = std::sqrt(ss);
  double w1 = (root - sax) * (root + sax) / ss;
  w1 = std::clamp(w1, 0.0, 1.0);
  ShapiroWilkResult r;
  r.w = 1 - w1;
  if (n == 3) {
    const double p =
        6 / std::numbers::pi * (std::asin(std::sqrt(r.w)) - std::asin(std::sqrt(0.75)));
    r.p = std::clamp(p, 0.0, 1.0);
    return r;
  }
  if (!(w1 > 0)) {  // a perfectly normal-looking order: W = 1
    r.p = 1;
    return r;
  }
  double y = std::log(w1), mu, sigma;
  if (n <= 11) {
    const double gamma = poly(kSwGamma, n);
    if (y >= gamma) {  // beyond the transformation's range: far from normal
      r.p = 0;
      return r;
    }
    y = -std::log(gamma - y);
    mu = poly(kSwMeanSmall, n);
    sigma = std::exp(poly(kSwSdSmall, n));
  } else {
    const double ln = std::log(static_cast<double>(n));
    mu = poly(kSwMeanLarge, ln);
    sigma = std::exp(poly(kSwSdLarge, ln));
  }
  r.p = normalCdf(-(y - mu) / sigma);  // the upper tail, without cancellation
  return r;
}

// --- Kolmogorov–Smirnov ---------------------------------------------------------------------

double kolmogorovCdf(int n, double d) {
  if (n < 1 || !(d > 0)) return 0.0;
  if (d >= 1) return 1.0;
  const double nd = n * d;
  const int k = static_cast<int>(nd) + 1;
  const int m = 2 * k - 1;
  const double h = k - nd;
  ScaledMatrix H{m, std::vector<double>(static_cast<std::size_t>(m) * m), 0};
  auto at = [&](int i, int j) -> double& { return H.v[static_cast<std::size_t>(i) * m + j]; };
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j) at(i, j) = i - j + 1 < 0 ? 0.0 : 1.0;
  for (int i = 0; i < m; ++i) {
    at(i, 0) -= std::pow(h, i + 1);
    at(m - 1, i) -= std::pow(h, m - i);
  }
  if (2 * h - 1 > 0) at(m - 1, 0) += std::pow(2 * h - 1, m);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      if (i - j + 1 > 0)
        for (int g = 1; g <= i - j + 1; ++g) at(i, j) /= g;
  ScaledMatrix q = power(H, n);
  double s = q.v[static_cast<std::size_t>(k - 1) * m + (k - 1)];
  int e = q.exponent;
  for (int i = 1; i <= n; ++i) {
    s = s * i / n;
    if (s < 1e-140) {
      s *= 1e140;
      e -= 140;
    }
  }
  return std::clamp(s * std::pow(10.0, e), 0.0, 1.0);
}

double kolmogorovLimitUpperTail(double t) {
  if (!(t > 0)) return 1.0;
  if (t < 1) {
    // P(K ≤ t) = √(2π)/t Σ_{j odd} exp(−j²π²/(8t²)); the terms fall off faster than e^{−9}.
    const double z = -(std::numbers::pi * std::numbers::pi / 8) / (t * t);
    double s = 0;
    for (int j = 1; j < 40; j += 2) {
      const double term = std::exp(j * j * z);
      s += term;
      if (term < 1e-300 || term < s * 1e-17) break;
    }
    return 1 - std::sqrt(2 * std::numbers::pi) / t * s;
  }
  const double z = -2 * t * t;
  double s = 0, sign = 1;
  for (int k = 1; k < 100; ++k) {
    const double term = std::exp(z * k * k);
    s += sign * term;
    sign = -sign;
    if (term < 1e-300 || term < std::abs(s) * 1e-17) break;
  }
  return std::clamp(2 * s, 0.0, 1.0);
}

KolmogorovSmirnovResult kolmogorovSmirnovNormal(std::span<const double> sample, double mean,
                                                double sd) {
  KolmogorovSmirnovResult r;
  const std::size_t n = sample.size();
  if (n == 0 || !(sd > 0)) return r;
  std::vector<double> x(sample.begin(), sample.end());
  std::sort(x.begin(), x.end());
  const double dn = static_cast<double>(n);
  for (std::size_t i = 0; i < n; ++i) {
    const double f = normalCdf((x[i] - mean) / sd);
    r.d = std::max({r.d, f - static_cast<double>(i) / dn, static_cast<double>(i + 1) / dn - f});
  }
  const bool ties = std::adjacent_find(x.begin(), x.end()) != x.end();
  r.exact = n < 100 && !ties;
  r.p = r.exact ? 1 - kolmogorovCdf(static_cast<int>(n), r.d)
                : kolmogorovLimitUpperTail(std::sqrt(dn) * r.d);
  r.p = std::clamp(r.p, 0.0, 1.0);
  return r;
}

// --- χ² --------------------------------------------------------------------------------------

ChiSquareResult chiSquareNormal(std::span<const double> bounds,
                                std::span<const std::int64_t> observed, double mean, double sd,
                                int estimated) {
  ChiSquareResult r;
  const std::size_t k = observed.size();
  if (k == 0 || bounds.size() != k + 1 || !(sd > 0)) return r;
  std::int64_t n = 0;
  for (std::int64_t o : observed) n += o;
  if (n == 0) return r;
  // Pooling from the left until a class expects 5.
  constexpr double kMinExpected = 5.0;
  ChiSquareClass open{-kInf, 0, 0, 0};
  bool started = false;
  double below = 0;  // Φ at the lower edge of the open class
  for (std::size_t i = 0; i < k; ++i) {
    const double upper = i + 1 == k ? 1.0 : normalCdf((bounds[i + 1] - mean) / sd);
    if (!started) {
      open.lo = i == 0 ? -kInf : bounds[i];
      started = true;
    }
    open.hi = i + 1 == k ? kInf : bounds[i + 1];
    open.observed += observed[i];
    open.expected += static_cast<double>(n) * (upper - below);
    below = upper;
    if (open.expected >= kMinExpected) {
      r.classes.push_back(open);
      open = ChiSquareClass{};
      started = false;
    }
  }
  if (started) {
    if (r.classes.empty()) {
      r.classes.push_back(open);
    } else {
      ChiSquareClass& last = r.classes.back();
      last.hi = open.hi;
      last.observed += open.observed;
      last.expected += open.expected;
    }
  }
  r.df = static_cast<int>(r.classes.size()) - 1 - estimated;
  for (const ChiSquareClass& c : r.classes)
    r.statistic += (static_cast<double>(c.observed) - c.expected) *
                   (static_cast<double>(c.observed) - c.expected) / c.expected;
  r.valid = r.df >= 1;
  r.p = r.valid ? chiSquareUpperTail(r.statistic, r.df) : 1.0;
  return r;
}

}  // namespace sarnoth::geochem
