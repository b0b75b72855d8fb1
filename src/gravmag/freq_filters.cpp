#include "gravmag/freq_filters.h"

#include <cmath>

namespace sarnoth::gravmag {
namespace {

// v and du of row J in the frame, singles as the tool computes them.
struct RowAxes {
  float v = 0, du = 0;
  int half = 1, nxp = 1;
};

RowAxes axes(const SpectrumFrame& f, int J, float c) {
  RowAxes a;
  a.v = static_cast<float>(J - 1) * c / static_cast<float>(f.nyp);
  a.du = f.r * c / static_cast<float>(f.nxp);
  a.half = f.half();
  a.nxp = f.nxp;
  return a;
}

inline float uAt(const RowAxes& a, int k) { return static_cast<float>(k - 1) * a.du; }
inline float hyp(float u, float v) {
  return static_cast<float>(std::sqrt(static_cast<double>(u) * u + static_cast<double>(v) * v));
}

// The mirror of column k (1-based) as a 0-based index.
inline int mirrorIndex(const RowAxes& a, int k) { return a.nxp + 1 - k; }
inline bool hasMirror(const RowAxes& a, int k) { return k != 1 && k != a.half; }

inline void scale(CFloat& e, double f) {
  e.re = static_cast<float>(e.re * f);
  e.im = static_cast<float>(e.im * f);
}

inline void multiply(CFloat& e, double fr, double fi) {
  const double a = e.re, b = e.im;
  e.re = static_cast<float>(a * fr - b * fi);
  e.im = static_cast<float>(a * fi + b * fr);
}

// e / d; false when d is 0.
inline bool divide(CFloat& e, std::complex<double> d) {
  const double n = d.real() * d.real() + d.imag() * d.imag();
  if (n == 0.0) return false;
  const double a = e.re, b = e.im;
  e.re = static_cast<float>((a * d.real() + b * d.imag()) / n);
  e.im = static_cast<float>((b * d.real() - a * d.imag()) / n);
  return true;
}

// Multiplies column k and its mirror by fac(k) for k = 1..half.
template <class Fac>
void symmetric(CFloat* row, const RowAxes& a, Fac fac) {
  for (int k = 1; k <= a.half; ++k) {
    const double f = fac(k);
    scale(row[k - 1], f);
    if (hasMirror(a, k)) scale(row[mirrorIndex(a, k)], f);
  }
}

// The derivative factor of order 1 (i·w) or 2 (−w²); anything else 0.
inline std::complex<double> derivativeFactor(float w, float order) {
  if (order == 1.0f) return {0.0, static_cast<double>(w)};
  if (order == 2.0f) return {static_cast<double>(-(w * w)), 0.0};
  return {0.0, 0.0};
}

}  // namespace

double continuationResponse(float s, float h, float dxUnit) {
  float t = s * h * dxUnit;
  if (std::fabs(t) >= kExpClamp) t = std::copysign(kExpClamp, t);
  return std::exp(static_cast<double>(t));
}

double verticalDerivativeResponse(float s, float p, float du) {
  if (s == 0.0f) {
    if (p < 0) return std::pow(static_cast<double>(du) * 0.5, static_cast<double>(p));
    return p > 0 ? 0.0 : 1.0;
  }
  return std::pow(static_cast<double>(s), static_cast<double>(p));
}

double matchedResponse(float s, float C, float D) {
  float t = s * D;
  if (t > kExpClamp) t = kExpClamp;
  return 1.0 / (1.0 + static_cast<double>(C) * std::exp(static_cast<double>(t)));
}

double hanningResponse(float s, float F1, float F2, float sign) {
  if (s <= F1) return (sign + 1.0) * 0.5;
  if (s >= F2) return (1.0 - sign) * 0.5;
  return (sign * std::cos(static_cast<double>(kFilterPi) * (s - F1) / (F2 - F1)) + 1.0) * 0.5;
}

double susceptibilityDivisor(int J, int k, float u, float v, float s, float T2, float H) {
  float t = s * H;
  if (t > kExpClamp) t = kExpClamp;
  const double S = H >= 1.0f ? 1.0 - std::exp(-static_cast<double>(t)) : static_cast<double>(s);
  const double vr = v;
  double F;
  if (J == 1 && k == 1)
    F = 1.0;
  else if (J == 1)
    F = 2.0 * std::sin(0.5 * u) * S / u;
  else if (k == 1)
    F = 2.0 * std::sin(0.5 * vr) * S / vr;
  else
    F = 4.0 * std::sin(0.5 * u) * std::sin(0.5 * vr) * S / (vr * u);
  return F * T2;
}

std::complex<double> poleDivisor(float sI, float A, float B, float theta, int order) {
  const double q =
      A * std::cos(static_cast<double>(theta)) + B * std::sin(static_cast<double>(theta));
  if (order == 1) return {static_cast<double>(sI), q};
  return {static_cast<double>(sI) * sI - q * q, 2.0 * sI * q};
}

RowFilter continuationRows(const SpectrumFrame& f, float h, float dxUnit) {
  return [f, h, dxUnit](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC1);
    symmetric(row, a, [&](int k) { return continuationResponse(hyp(uAt(a, k), a.v), h, dxUnit); });
    return true;
  };
}

RowFilter verticalDerivativeRows(const SpectrumFrame& f, float p) {
  return [f, p](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC2);
    symmetric(row, a, [&](int k) {
      if (J == 1 && k == 1) return 0.0;  // the zero-wavenumber element is always cleared
      return verticalDerivativeResponse(hyp(uAt(a, k), a.v), p, a.du);
    });
    return true;
  };
}

RowFilter xDerivativeRows(const SpectrumFrame& f, float order) {
  return [f, order](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC2);
    for (int k = 1; k <= a.half; ++k) {
      const std::complex<double> g =
          (J == 1 && k == 1) ? std::complex<double>{} : derivativeFactor(a.v, order);
      multiply(row[k - 1], g.real(), g.imag());
      if (hasMirror(a, k)) multiply(row[mirrorIndex(a, k)], g.real(), g.imag());
    }
    return true;
  };
}

RowFilter yDerivativeRows(const SpectrumFrame& f, float order) {
  return [f, order](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC2);
    for (int k = 1; k <= a.half; ++k) {
      const std::complex<double> g =
          (J == 1 && k == 1) ? std::complex<double>{} : derivativeFactor(uAt(a, k), order);
      multiply(row[k - 1], g.real(), g.imag());
      // The mirror takes the negated factor in both orders (+u² in the second): kept.
      if (hasMirror(a, k)) multiply(row[mirrorIndex(a, k)], -g.real(), -g.imag());
    }
    return true;
  };
}

RowFilter directionalDerivativeRows(const SpectrumFrame& f, float order, float alpha, float decl) {
  const float phi = (90.0f - decl - alpha) * kDirDegToRad;
  const double cp = std::cos(static_cast<double>(phi)), sp = std::sin(static_cast<double>(phi));
  return [f, order, cp, sp](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC2);
    auto apply = [&](CFloat& e, std::complex<double> gx, std::complex<double> gy) {
      CFloat A = e, B = e;
      multiply(A, gx.real(), gx.imag());
      multiply(B, gy.real(), gy.imag());
      e.re = static_cast<float>(A.re * cp + B.re * sp);
      e.im = static_cast<float>(A.im * cp + B.im * sp);
    };
    for (int k = 1; k <= a.half; ++k) {
      const bool origin = J == 1 && k == 1;
      const std::complex<double> gx =
          origin ? std::complex<double>{} : derivativeFactor(a.v, order);
      const std::complex<double> gy =
          origin ? std::complex<double>{} : derivativeFactor(uAt(a, k), order);
      apply(row[k - 1], gx, gy);
      if (hasMirror(a, k)) apply(row[mirrorIndex(a, k)], gx, -gy);
    }
    return true;
  };
}

RowFilter susceptibilityRows(const SpectrumFrame& f, float T, float H) {
  const float T2 = kTwoPiC2 * T;
  return [f, T2, H](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC2);
    for (int k = 1; k <= a.half; ++k) {
      const float u = uAt(a, k);
      const double d = susceptibilityDivisor(J, k, u, a.v, hyp(u, a.v), T2, H);
      if (!divide(row[k - 1], {d, 0.0})) return false;
      if (hasMirror(a, k) && !divide(row[mirrorIndex(a, k)], {d, 0.0})) return false;
    }
    return true;
  };
}

RowFilter pseudoGravityRows(const SpectrumFrame& f, float T, float rho) {
  return [f, T, rho](CFloat* row, int J) {
    if (T == 0.0f) return false;
    const double K = 1e6 * 6.67e-08 * rho / T;
    const RowAxes a = axes(f, J, kTwoPiC2);
    auto apply = [&](CFloat& e, float u) {
      const float s = hyp(u, a.v);
      if (s == 0.0f) return false;
      scale(e, K / s);
      return true;
    };
    for (int k = J == 1 ? 2 : 1; k <= a.half; ++k)
      if (!apply(row[k - 1], uAt(a, k))) return false;
    for (int k = a.half + 1; k <= a.nxp; ++k)
      if (!apply(row[k - 1], static_cast<float>(a.nxp + 1 - k) * a.du)) return false;
    return true;
  };
}

RowFilter matchedRows(const SpectrumFrame& f, float H1, float H2, MatchedState& state, float sign) {
  const float D = (H1 - H2) * sign;
  return [f, D, &state, sign](CFloat* row, int J) {
    // C^sign at every row, kept: with sign −1 the rows alternate between 1/C and C.
    state.C = static_cast<float>(std::pow(static_cast<double>(state.C), static_cast<double>(sign)));
    const RowAxes a = axes(f, J, kTwoPiC1);
    const float C = state.C;
    symmetric(row, a, [&](int k) { return matchedResponse(hyp(uAt(a, k), a.v), C, D); });
    return true;
  };
}

RowFilter hanningRows(const SpectrumFrame& f, float f1, float f2, float sign) {
  const float F1 = 2.0f * f1 * kFilterPi, F2 = 2.0f * f2 * kFilterPi;
  return [f, F1, F2, sign](CFloat* row, int J) {
    const RowAxes a = axes(f, J, kTwoPiC1);
    for (int k = 1; k <= a.half; ++k) {
      const float s = hyp(uAt(a, k), a.v);
      const double fac = hanningResponse(s, F1, F2, sign);
      if (s <= F1) {
        // The pass band multiplies the mirror column alone; k = 1's mirror lies beyond the row
        // and k = half is its own mirror.
        if (k == a.half)
          scale(row[k - 1], fac);
        else if (k != 1)
          scale(row[mirrorIndex(a, k)], fac);
        continue;
      }
      scale(row[k - 1], fac);
      if (hasMirror(a, k)) scale(row[mirrorIndex(a, k)], fac);
    }
    return true;
  };
}

RowFilter strikeRows(const SpectrumFrame& f, float a, float b, float c, float d, StrikeState& state,
                     float sign) {
  const float A1 = kTwoPiC1 * a, A2 = kTwoPiC1 * b, A3 = kTwoPiC1 * c, A4 = kTwoPiC1 * d;
  return [f, A1, A2, A3, A4, &state, sign](CFloat* row, int J) {
    if (A1 == 0 || A2 == 0 || A3 == 0 || A4 == 0) return false;
    // Degrees to radians at every row, kept: later rows convert the angle once more.
    state.theta = state.theta * kFilterPi / 180.0f;
    const double st = std::sin(static_cast<double>(state.theta));
    const double ct = std::cos(static_cast<double>(state.theta));
    const RowAxes ax = axes(f, J, kTwoPiC1);
    symmetric(row, ax, [&](int k) {
      const double u = uAt(ax, k), v = ax.v;
      const double p = st * v + ct * u, q = v * ct - u * st;
      const double r1 = p * p / (double(A1) * A1) + q * q / (double(A3) * A3);
      const double r2 = p * p / (double(A2) * A2) + q * q / (double(A4) * A4);
      double fac = 1.0;
      if (r1 >= 1.0) fac *= (1.0 - sign) * 0.5;
      if (r2 < 1.0) fac *= (1.0 + sign) * 0.5;
      if (r1 < 1.0 && r2 > 1.0) {
        const double g1 = std::sqrt(1.0 / r1), g2 = std::sqrt(1.0 / r2);
        fac *= sign * 0.5 * std::cos((1.0 - g2) * kFilterPi / (g1 - g2)) + 0.5;
      }
      return fac;
    });
    return true;
  };
}

RowFilter poleRows(const SpectrumFrame& f, float inclination, float azim, int order) {
  if (inclination == 90.0f && azim == 0.0f) return [](CFloat*, int) { return true; };
  return [f, inclination, azim, order](CFloat* row, int J) {
    const float I = inclination * kPoleDegToRad, az = azim * kPoleDegToRad;
    const float sI = static_cast<float>(std::sin(static_cast<double>(I)));
    const float cI = static_cast<float>(std::cos(static_cast<double>(I)));
    const float A = static_cast<float>(std::cos(static_cast<double>(az))) * cI;
    const float B = static_cast<float>(std::sin(static_cast<double>(az))) * cI;
    const RowAxes a = axes(f, J, kTwoPiC1);
    for (int k = J == 1 ? 2 : 1; k <= a.half; ++k) {
      const float u = uAt(a, k);
      const float theta =
          k == 1 ? kHalfPi : static_cast<float>(std::atan(static_cast<double>(a.v / u)));
      if (!divide(row[k - 1], poleDivisor(sI, A, B, theta, order))) return false;
    }
    for (int k = a.half + 1; k <= a.nxp; ++k) {
      const float u = static_cast<float>(a.nxp + 1 - k) * a.du;
      const float theta = static_cast<float>(kFilterPi - std::atan(static_cast<double>(a.v / u)));
      if (!divide(row[k - 1], poleDivisor(sI, A, B, theta, order))) return false;
    }
    return true;
  };
}

}  // namespace sarnoth::gravmag
