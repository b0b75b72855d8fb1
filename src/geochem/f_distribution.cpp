// The incomplete beta function and the F tail; method and accuracy in f_distribution.h.
#include "geochem/f_distribution.h"

#include <cmath>
#include <limits>

namespace sarnoth::geochem {
namespace {

constexpr int kMaxTerms = 200;
constexpr double kEps = 1e-15;
constexpr double kTiny = 1e-300;

// The continued fraction of A&S 26.5.8 by the modified Lentz method.
double betaFraction(double a, double b, double x) {
  const double qab = a + b, qap = a + 1, qam = a - 1;
  double c = 1, d = 1 - qab * x / qap;
  if (std::fabs(d) < kTiny) d = kTiny;
  d = 1 / d;
  double h = d;
  for (int m = 1; m <= kMaxTerms; ++m) {
    const double m2 = 2.0 * m;
    double aa = m * (b - m) * x / ((qam + m2) * (a + m2));
    d = 1 + aa * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1 + aa / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1 / d;
    h *= d * c;
    aa = -(a + m) * (qab + m) * x / ((a + m2) * (qap + m2));
    d = 1 + aa * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1 + aa / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1 / d;
    const double del = d * c;
    h *= del;
    if (std::fabs(del - 1) < kEps) break;
  }
  return h;
}

}  // namespace

double regularizedIncompleteBeta(double a, double b, double x) {
  if (!(a > 0) || !(b > 0) || !(x >= 0) || !(x <= 1))
    return std::numeric_limits<double>::quiet_NaN();
  if (x == 0) return 0;
  if (x == 1) return 1;
  const double lnFront =
      std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b) + a * std::log(x) + b * std::log1p(-x);
  const double front = std::exp(lnFront);
  if (x < (a + 1) / (a + b + 2)) return front * betaFraction(a, b, x) / a;
  return 1 - front * betaFraction(b, a, 1 - x) / b;
}

double fUpperTail(double f, double d1, double d2) {
  if (!(d1 > 0) || !(d2 > 0) || std::isnan(f)) return std::numeric_limits<double>::quiet_NaN();
  if (f <= 0) return 1;
  if (std::isinf(f)) return 0;
  return regularizedIncompleteBeta(d2 / 2, d1 / 2, d2 / (d2 + d1 * f));
}

}  // namespace sarnoth::geochem
