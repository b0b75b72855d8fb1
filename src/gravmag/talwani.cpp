#include "gravmag/talwani.h"

#include <algorithm>
#include <cmath>

namespace sarnoth::gm2d {
namespace {

// A value with its derivatives with respect to the four coordinates of one edge (A.x, A.z, B.x,
// B.z): forward-mode automatic differentiation of the edge formulae.
struct Dual {
  double v = 0;
  double d[4] = {0, 0, 0, 0};
  Dual() = default;
  Dual(double value) : v(value) {}  // NOLINT: constants mix freely with duals
};

Dual operator+(const Dual& a, const Dual& b) {
  Dual r(a.v + b.v);
  for (int i = 0; i < 4; ++i) r.d[i] = a.d[i] + b.d[i];
  return r;
}
Dual operator-(const Dual& a, const Dual& b) {
  Dual r(a.v - b.v);
  for (int i = 0; i < 4; ++i) r.d[i] = a.d[i] - b.d[i];
  return r;
}
Dual operator-(const Dual& a) {
  Dual r(-a.v);
  for (int i = 0; i < 4; ++i) r.d[i] = -a.d[i];
  return r;
}
Dual operator*(const Dual& a, const Dual& b) {
  Dual r(a.v * b.v);
  for (int i = 0; i < 4; ++i) r.d[i] = a.d[i] * b.v + a.v * b.d[i];
  return r;
}
Dual operator/(const Dual& a, const Dual& b) {
  Dual r(a.v / b.v);
  const double inv = 1.0 / (b.v * b.v);
  for (int i = 0; i < 4; ++i) r.d[i] = (a.d[i] * b.v - a.v * b.d[i]) * inv;
  return r;
}
Dual& operator+=(Dual& a, const Dual& b) { return a = a + b; }
Dual log(const Dual& a) {
  Dual r(std::log(a.v));
  for (int i = 0; i < 4; ++i) r.d[i] = a.d[i] / a.v;
  return r;
}
Dual sqrt(const Dual& a) {
  Dual r(std::sqrt(a.v));
  const double k = 0.5 / r.v;
  for (int i = 0; i < 4; ++i) r.d[i] = a.d[i] * k;
  return r;
}
Dual atan2(const Dual& y, const Dual& x) {
  Dual r(std::atan2(y.v, x.v));
  const double inv = 1.0 / (x.v * x.v + y.v * y.v);
  for (int i = 0; i < 4; ++i) r.d[i] = (x.v * y.d[i] - y.v * x.d[i]) * inv;
  return r;
}

double value(double x) { return x; }
double value(const Dual& x) { return x.v; }
using std::atan2;
using std::log;
using std::sqrt;

template <class T>
struct TensorT {
  T gx{}, gz{}, xx{}, xz{}, zz{}, yy{};
};

// Squared distances below this (m²) are taken as this: a station on a vertex is a singularity,
// and a finite number keeps a sum of many bodies usable.
constexpr double kTinyR2 = 1e-18;

template <class T>
T floorR2(const T& r2) {
  if (value(r2) < kTinyR2) return T(kTinyR2);
  return r2;
}

// One edge A → B in 2-D (closed forms, see the header).
template <class T>
void edge2D(const T& au, const T& aw, const T& bu, const T& bw, unsigned need, TensorT<T>& acc) {
  const T du = bu - au, dw = bw - aw;
  const T l2 = du * du + dw * dw;
  if (value(l2) == 0) return;  // a repeated vertex adds nothing
  const T pu = dw, pw = -du;   // d⊥, the outward normal times the length for anticlockwise order
  const T lr1 = 0.5 * log(floorR2(au * au + aw * aw));
  const T lr2 = 0.5 * log(floorR2(bu * bu + bw * bw));
  const T cross = au * bw - aw * bu;
  const T th = atan2(cross, au * bu + aw * bw);
  if (need & kNeedFirst) {
    const T b = au * du + aw * dw;
    const T bracket = ((b + l2) * lr2 - b * lr1 + cross * th) / l2 - 1.0;
    acc.gx += 2.0 * pu * bracket;
    acc.gz += 2.0 * pw * bracket;
  }
  if (need & kNeedSecond) {
    const T lnq = lr2 - lr1;
    acc.xx += -2.0 * pu * (du * lnq + pu * th) / l2;
    acc.zz += -2.0 * pw * (dw * lnq + pw * th) / l2;
    // The symmetric part of the edge's xz and zx terms: their difference sums to zero round a
    // closed polygon.
    acc.xz += -((pu * dw + pw * du) * lnq + 2.0 * pu * pw * th) / l2;
  }
}

constexpr double kGaussX[4] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267,
                               0.9602898564975363};
constexpr double kGaussW[4] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745,
                               0.1012285362903763};

// Pieces an edge is cut into for the quadrature: none longer than its distance from the station.
int piecesFor(double au, double aw, double bu, double bw) {
  const double du = bu - au, dw = bw - aw;
  const double l2 = du * du + dw * dw;
  const double t = std::clamp(-(au * du + aw * dw) / l2, 0.0, 1.0);
  const double cu = au + t * du, cw = aw + t * dw;
  const double dist = std::sqrt(cu * cu + cw * cw);
  const double len = std::sqrt(l2);
  if (!(dist > 0)) return 64;
  return std::clamp(static_cast<int>(std::ceil(len / dist)), 1, 64);
}

// One edge with finite strike (Gauss–Legendre along the edge).
template <class T>
void edge25D(const T& au, const T& aw, const T& bu, const T& bw, double y, unsigned need,
             TensorT<T>& acc) {
  const T du = bu - au, dw = bw - aw;
  if (value(du) == 0 && value(dw) == 0) return;
  const T pu = dw, pw = -du;
  const int pieces = piecesFor(value(au), value(aw), value(bu), value(bw));
  const double y2 = y * y;
  for (int s = 0; s < pieces; ++s) {
    for (int k = 0; k < 8; ++k) {
      const double xk = k < 4 ? -kGaussX[k] : kGaussX[k - 4];
      const double wk = kGaussW[k < 4 ? k : k - 4] / (2.0 * pieces);
      const double t = (s + 0.5 * (1.0 + xk)) / pieces;
      const T u = au + t * du, w = aw + t * dw;
      const T r2 = floorR2(u * u + w * w);
      const T sq = sqrt(r2 + y2);
      if (need & kNeedFirst) {
        const T kr = log((y + sq) * (y + sq) / r2);  // 2 asinh(Y/r)
        acc.gx += -wk * pu * kr;
        acc.gz += -wk * pw * kr;
      }
      if (need & kNeedSecond) {
        const T f = -2.0 * y / (r2 * sq);
        acc.xx += wk * f * u * pu;
        acc.zz += wk * f * w * pw;
        acc.xz += wk * 0.5 * f * (w * pu + u * pw);
        acc.yy += wk * -2.0 * (u * pu + w * pw) / (sq * (sq + y));
      }
    }
  }
}

// The forward value alone in 2-D, with the logarithm and angle of each vertex computed once.
Tensor fast2D(std::span<const Point2> v, double xs, double zs, unsigned need) {
  const std::size_t n = v.size();
  constexpr std::size_t kStack = 64;
  double lrBuf[kStack], thBuf[kStack];
  std::vector<double> lrHeap, thHeap;
  double* lr = lrBuf;
  double* th = thBuf;
  if (n > kStack) {
    lrHeap.resize(n);
    thHeap.resize(n);
    lr = lrHeap.data();
    th = thHeap.data();
  }
  for (std::size_t i = 0; i < n; ++i) {
    const double u = v[i].x - xs, w = v[i].z - zs;
    lr[i] = 0.5 * std::log(std::max(u * u + w * w, kTinyR2));
    th[i] = std::atan2(w, u);
  }
  Tensor t;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = i + 1 == n ? 0 : i + 1;
    const double au = v[i].x - xs, aw = v[i].z - zs;
    const double bu = v[j].x - xs, bw = v[j].z - zs;
    const double du = bu - au, dw = bw - aw;
    const double l2 = du * du + dw * dw;
    if (l2 == 0) continue;
    double dth = th[j] - th[i];
    if (dth > M_PI)
      dth -= 2 * M_PI;
    else if (dth <= -M_PI)
      dth += 2 * M_PI;
    const double pu = dw, pw = -du;
    const double inv = 1.0 / l2;
    if (need & kNeedFirst) {
      const double b = au * du + aw * dw;
      const double cross = au * bw - aw * bu;
      const double bracket = ((b + l2) * lr[j] - b * lr[i] + cross * dth) * inv - 1.0;
      t.gx += 2.0 * pu * bracket;
      t.gz += 2.0 * pw * bracket;
    }
    if (need & kNeedSecond) {
      const double lnq = lr[j] - lr[i];
      t.xx += -2.0 * pu * (du * lnq + pu * dth) * inv;
      t.zz += -2.0 * pw * (dw * lnq + pw * dth) * inv;
      t.xz += -((pu * dw + pw * du) * lnq + 2.0 * pu * pw * dth) * inv;
    }
  }
  return t;
}

Tensor scaled(const Tensor& t, double s) {
  return {t.gx * s, t.gz * s, t.xx * s, t.xz * s, t.zz * s, t.yy * s};
}

}  // namespace

double signedArea2(std::span<const Point2> v) {
  double a = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const Point2& p = v[i];
    const Point2& q = v[(i + 1) % v.size()];
    a += p.x * q.z - q.x * p.z;
  }
  return a;
}

Tensor polygonTensor(std::span<const Point2> v, double xs, double zs, double halfStrike,
                     unsigned need) {
  if (v.size() < 3) return {};
  const double orient = signedArea2(v) < 0 ? -1.0 : 1.0;
  if (!(halfStrike > 0)) return scaled(fast2D(v, xs, zs, need), orient);
  TensorT<double> acc;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const Point2& a = v[i];
    const Point2& b = v[(i + 1) % v.size()];
    edge25D<double>(a.x - xs, a.z - zs, b.x - xs, b.z - zs, halfStrike, need, acc);
  }
  return scaled({acc.gx, acc.gz, acc.xx, acc.xz, acc.zz, acc.yy}, orient);
}

void polygonTensorGradient(std::span<const Point2> v, double xs, double zs, double halfStrike,
                           unsigned need, std::vector<VertexGradient>& out) {
  out.assign(v.size(), VertexGradient{});
  if (v.size() < 3) return;
  const double orient = signedArea2(v) < 0 ? -1.0 : 1.0;
  const std::size_t n = v.size();
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t j = (i + 1) % n;
    Dual au(v[i].x - xs), aw(v[i].z - zs), bu(v[j].x - xs), bw(v[j].z - zs);
    au.d[0] = 1;
    aw.d[1] = 1;
    bu.d[2] = 1;
    bw.d[3] = 1;
    TensorT<Dual> acc;
    if (halfStrike > 0)
      edge25D<Dual>(au, aw, bu, bw, halfStrike, need, acc);
    else
      edge2D<Dual>(au, aw, bu, bw, need, acc);
    auto add = [&](Tensor& t, int k) {
      t.gx += orient * acc.gx.d[k];
      t.gz += orient * acc.gz.d[k];
      t.xx += orient * acc.xx.d[k];
      t.xz += orient * acc.xz.d[k];
      t.zz += orient * acc.zz.d[k];
      t.yy += orient * acc.yy.d[k];
    };
    add(out[i].dx, 0);
    add(out[i].dz, 1);
    add(out[j].dx, 2);
    add(out[j].dz, 3);
  }
}

}  // namespace sarnoth::gm2d
