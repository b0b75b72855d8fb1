#include "gravmag/prism.h"

#include <cmath>

namespace sarnoth::gravmag {
namespace {

// ln(a + r) for r = √(a² + b²), b² = the other two squares: the form that does not cancel when
// a is negative and |a| ≈ r.
double logPlus(double a, double r, double b2) {
  if (a >= 0) return std::log(a + r);
  return std::log(b2 / (r - a));
}

double cornerGz(double x, double y, double z) {
  const double x2 = x * x, y2 = y * y, z2 = z * z;
  const double r = std::sqrt(x2 + y2 + z2);
  if (r == 0) return 0;
  double f = 0;
  if (x != 0 && x2 + z2 > 0) f += x * logPlus(y, r, x2 + z2);
  if (y != 0 && y2 + z2 > 0) f += y * logPlus(x, r, y2 + z2);
  if (z != 0) f -= z * std::atan(x * y / (z * r));
  return f;
}

double cornerGzz(double x, double y, double z) {
  const double r = std::sqrt(x * x + y * y + z * z);
  if (r == 0 || z == 0) return 0;
  return -std::atan(x * y / (z * r));
}

template <class F>
double cornerSum(F f, double x1, double x2, double y1, double y2, double z1, double z2) {
  const double xs[2] = {x1, x2}, ys[2] = {y1, y2}, zs[2] = {z1, z2};
  double s = 0;
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j)
      for (int k = 0; k < 2; ++k) {
        const double sign = ((i + j + k) % 2 == 1) ? -1.0 : 1.0;
        s += sign * f(xs[i], ys[j], zs[k]);
      }
  return s;
}

}  // namespace

double prismGz(double x1, double x2, double y1, double y2, double z1, double z2, double density) {
  return kGravityMgalPerMetre * density * cornerSum(cornerGz, x1, x2, y1, y2, z1, z2);
}

double prismGzz(double x1, double x2, double y1, double y2, double z1, double z2, double density) {
  return -kGravityMgalPerMetre * density * cornerSum(cornerGzz, x1, x2, y1, y2, z1, z2);
}

double lineMassGz(double distance, double area, double z1, double z2, double density) {
  const double d2 = distance * distance;
  return kGravityMgalPerMetre * density * area *
         (1.0 / std::sqrt(d2 + z1 * z1) - 1.0 / std::sqrt(d2 + z2 * z2));
}

double columnGz(double x, double y, double wx, double wy, double z1, double z2, double density) {
  const double x2 = x * x, y2 = y * y, wx2 = wx * wx, wy2 = wy * wy;
  auto kernel = [&](double z) {
    const double s2 = x2 + y2 + z * z, s = std::sqrt(s2);
    return 1.0 / s + (wx2 * (3 * x2 - s2) + wy2 * (3 * y2 - s2)) / (24.0 * s2 * s2 * s);
  };
  return kGravityMgalPerMetre * density * wx * wy * (kernel(z1) - kernel(z2));
}

}  // namespace sarnoth::gravmag
