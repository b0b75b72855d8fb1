#include "geochem/numeric_routines.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace sarnoth::geochem {

void centreCrossProducts(SingleMatrix& x, SingleMatrix& s) {
  const int n = x.rows(), m = x.cols();
  if (n <= 0) throw NumericFault(kFaultDivideByZero);
  for (int j = 0; j < m; ++j) {
    float sum = 0.0f;
    for (int k = 0; k < n; ++k) sum += x(k, j);
    const float mean = sum / static_cast<float>(n);
    for (int k = 0; k < n; ++k) x(k, j) -= mean;
  }
  s = SingleMatrix(m, m);
  // Row by row over the samples, so a long X is read once; each S(i, j) still sums in k order.
  for (int k = 0; k < n; ++k) {
    const float* r = &x(k, 0);
    for (int i = 0; i < m; ++i) {
      const float xi = r[i];
      float* si = &s(i, 0);
      for (int j = i; j < m; ++j) si[j] += xi * r[j];
    }
  }
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < i; ++j) s(i, j) = s(j, i);
}

void solveLinearSystem(SingleMatrix& a, std::span<float> b) {
  const int n = a.rows();
  if (a.cols() != n || static_cast<int>(b.size()) < n) throw NumericFault(kFaultEmpty);
  for (int k = 0; k < n; ++k) {
    int p = k;
    for (int i = k + 1; i < n; ++i)
      if (std::fabs(a(i, k)) > std::fabs(a(p, k))) p = i;
    if (a(p, k) == 0.0f) throw NumericFault(kFaultDivideByZero);
    if (p != k) {
      for (int j = k; j < n; ++j) std::swap(a(k, j), a(p, j));
      std::swap(b[static_cast<std::size_t>(k)], b[static_cast<std::size_t>(p)]);
    }
    const float pivot = a(k, k);
    for (int j = k; j < n; ++j) a(k, j) /= pivot;
    b[static_cast<std::size_t>(k)] /= pivot;
    for (int i = k + 1; i < n; ++i) {
      const float f = a(i, k);
      if (f == 0.0f) continue;
      for (int j = k; j < n; ++j) a(i, j) -= f * a(k, j);
      b[static_cast<std::size_t>(i)] -= f * b[static_cast<std::size_t>(k)];
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    float v = b[static_cast<std::size_t>(i)];
    for (int j = i + 1; j < n; ++j) v -= a(i, j) * b[static_cast<std::size_t>(j)];
    b[static_cast<std::size_t>(i)] = v;
  }
}

void copyMatrix(const SingleMatrix& source, SingleMatrix& target) {
  if (target.rows() != source.rows() || target.cols() != source.cols())
    target = SingleMatrix(source.rows(), source.cols());
  for (int i = 0; i < source.rows(); ++i)
    for (int j = 0; j < source.cols(); ++j) target(i, j) = source(i, j);
}

namespace {

// One plane rotation of the pair (p, q), zeroing a(p, q).
void rotate(int n, SingleMatrix& v, SingleMatrix& a, int p, int q) {
  const float apq = a(p, q);
  const float u = 0.5f * (a(p, p) - a(q, q));
  float w = 1.0f;
  if (u != 0.0f) {
    w = -apq / std::sqrt(apq * apq + u * u);
    if (u < 0.0f) w = -w;
  }
  const float sn = w / std::sqrt(2.0f * (1.0f + std::sqrt(std::max(0.0f, 1.0f - w * w))));
  const float cs = std::sqrt(std::max(0.0f, 1.0f - sn * sn));
  const float app = a(p, p), aqq = a(q, q);
  a(p, p) = app * cs * cs + aqq * sn * sn - 2.0f * apq * sn * cs;
  a(q, q) = app * sn * sn + aqq * cs * cs + 2.0f * apq * sn * cs;
  a(p, q) = a(q, p) = 0.0f;
  for (int j = 0; j < n; ++j) {
    if (j == p || j == q) continue;
    const float apj = a(p, j), aqj = a(q, j);
    a(p, j) = a(j, p) = apj * cs - aqj * sn;
    a(q, j) = a(j, q) = apj * sn + aqj * cs;
  }
  for (int i = 0; i < n; ++i) {
    const float vp = v(i, p), vq = v(i, q);
    v(i, p) = vp * cs - vq * sn;
    v(i, q) = vp * sn + vq * cs;
  }
}

}  // namespace

void jacobiEigen(int n, SingleMatrix& vectors, SingleMatrix& a) {
  vectors = SingleMatrix(n, n);
  for (int i = 0; i < n; ++i) vectors(i, i) = 1.0f;
  if (n < 2) return;
  float sum = 0.0f;
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) sum += 2.0f * a(i, j) * a(i, j);
  const float off = std::sqrt(sum);
  const float divisor = n == 2 ? 2.0f : static_cast<float>(n - 1);
  const float endValue = off * std::pow(10.0f, -7.0f) / divisor;
  float t = off;
  // A NaN anywhere makes off NaN and the comparison false: the matrix comes back as it was.
  while (t > endValue) {
    t /= divisor;
    // Each rotation lowers the off-diagonal sum of squares by at least 2t², so the sweeps at
    // one threshold end; the cap only guards against rounding that would keep a pair above t.
    for (int sweep = 0; sweep < 1000; ++sweep) {
      bool rotated = false;
      for (int p = 0; p < n - 1; ++p)
        for (int q = p + 1; q < n; ++q)
          if (std::fabs(a(p, q)) >= t && a(p, q) != 0.0f) {
            rotate(n, vectors, a, p, q);
            rotated = true;
          }
      if (!rotated) break;
    }
  }
}

Moments skewKurtosis(std::span<const float> x) {
  if (x.empty()) throw NumericFault(kFaultDivideByZero);
  double mean = 0;
  for (float v : x) mean += v;
  mean /= static_cast<double>(x.size());
  double m2 = 0, m3 = 0, m4 = 0;
  for (float v : x) {
    const double d = v - mean, d2 = d * d;
    m2 += d2;
    m3 += d2 * d;
    m4 += d2 * d2;
  }
  const double n = static_cast<double>(x.size());
  m2 /= n;
  m3 /= n;
  m4 /= n;
  if (m2 == 0) throw NumericFault(kFaultDivideByZero);
  return {m3 / (m2 * std::sqrt(m2)), m4 / (m2 * m2) - 3.0};
}

void quickSortRange(std::span<float> x, int lo, int hi) {
  if (lo < 0 || hi >= static_cast<int>(x.size())) {
    if (lo < hi) throw NumericFault(kFaultEmpty);
    return;
  }
  while (lo < hi) {
    const float pivot = x[static_cast<std::size_t>((lo + hi) / 2)];
    int i = lo - 1, j = hi + 1;
    for (;;) {
      do ++i;
      while (x[static_cast<std::size_t>(i)] < pivot);
      do --j;
      while (x[static_cast<std::size_t>(j)] > pivot);
      if (i >= j) break;
      std::swap(x[static_cast<std::size_t>(i)], x[static_cast<std::size_t>(j)]);
    }
    // x[lo..j] ≤ pivot ≤ x[j+1..hi]: recurse into the smaller part, loop on the larger.
    if (j - lo < hi - (j + 1)) {
      quickSortRange(x, lo, j);
      lo = j + 1;
    } else {
      quickSortRange(x, j + 1, hi);
      hi = j;
    }
  }
}

float sortAndMedian(std::span<float> x) {
  const int n = static_cast<int>(x.size());
  if (n == 0) throw NumericFault(kFaultEmpty);
  quickSortRange(x, 0, n - 1);
  const std::size_t mid = static_cast<std::size_t>(n / 2);
  if (n % 2 == 1) return x[mid];
  return 0.5f * (x[mid - 1] + x[mid]);
}

std::string formatAxisNumber(float v) {
  if (v == 0.0f || std::isnan(v)) return v == 0.0f ? "0" : "NaN";
  if (std::isinf(v)) return v > 0 ? "Inf" : "-Inf";
  char buf[32];
  // Seven significant digits: d.dddddde±x.
  std::snprintf(buf, sizeof buf, "%.6e", static_cast<double>(std::fabs(v)));
  std::string text(buf);
  const std::size_t e = text.find('e');
  int exponent = std::atoi(text.c_str() + e + 1);
  std::string digits = text.substr(0, 1) + text.substr(2, e - 2);
  while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
  const std::string sign = v < 0 ? "-" : "";
  if (exponent < -7) return sign + "0";
  if (exponent >= 7) {
    std::string mantissa = digits.substr(0, 1);
    if (digits.size() > 1) mantissa += "." + digits.substr(1);
    std::snprintf(buf, sizeof buf, "E+%02d", exponent);
    return sign + mantissa + buf;
  }
  if (exponent < 0)
    return sign + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  const std::size_t whole = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= whole) return sign + digits + std::string(whole - digits.size(), '0');
  return sign + digits.substr(0, whole) + "." + digits.substr(whole);
}

}  // namespace sarnoth::geochem
