// The polygon kernels against answers found another way: the circular cylinder and the line
// dipole (Blakely 1995, §9), the rectangle's corner sums (the double integral done by hand),
// a prism of finite strike integrated numerically in three dimensions, Laplace's equation, and
// the vertex derivatives against difference quotients.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "gravmag/gm2d_forward.h"
#include "gravmag/talwani.h"

namespace sarnoth::gm2d {
namespace {

std::vector<Point2> circle(double cx, double cz, double a, int sides) {
  std::vector<Point2> v;
  for (int k = 0; k < sides; ++k) {
    const double t = 2 * M_PI * k / sides;
    v.push_back({cx + a * std::cos(t), cz + a * std::sin(t)});
  }
  return v;
}

std::vector<Point2> rect(double x1, double x2, double z1, double z2) {
  return {{x1, z1}, {x2, z1}, {x2, z2}, {x1, z2}};
}

TEST(Talwani, SixtyFourSidedPolygonGivesTheCylindersGravityAndMagneticField) {
  const double a = 200, h = 1000, drho = 0.5;
  const auto poly = circle(0, h, a, 64);
  const double area = M_PI * a * a;
  // Induced magnetisation of 2 A/m along I = 60°, D = 20° on a profile of azimuth 45°.
  const Vec3 m = [] {
    Vec3 d = directionInProfile(60, 20, 45);
    return Vec3{2 * d.x, 2 * d.y, 2 * d.z};
  }();
  const Vec3 f = directionInProfile(60, 20, 45);
  double peakG = 0, peakT = 0, errG = 0, errT = 0, errZ = 0;
  for (double x = -4000; x <= 4000; x += 250) {
    const Tensor t = polygonTensor(poly, x, 0, 0);
    // Line mass: gz = 2GΔρA h / r².
    const double r2 = x * x + h * h;
    const double g = kGravityFactor * drho * 2 * area * h / r2;
    // Line dipole: B = 100 · 2A/r² · (2(M·ρ̂)ρ̂ − M), ρ̂ from the axis to the station.
    const double px = x / std::sqrt(r2), pz = -h / std::sqrt(r2);
    const double md = m.x * px + m.z * pz;
    const double bx = 100 * 2 * area / r2 * (2 * md * px - m.x);
    const double bz = 100 * 2 * area / r2 * (2 * md * pz - m.z);
    const double dt = bx * f.x + bz * f.z;
    peakG = std::max(peakG, std::abs(g));
    peakT = std::max(peakT, std::abs(dt));
    errG = std::max(errG, std::abs(kGravityFactor * drho * t.gz - g));
    errT = std::max(
        errT, std::abs(bodyValue(t, 0, m, f, FieldKind::Magnetic, MagComponent::DeltaT) - dt));
    errZ = std::max(
        errZ, std::abs(bodyValue(t, 0, m, {0, 0, 1}, FieldKind::Magnetic, MagComponent::Za) - bz));
    EXPECT_NEAR(t.xx + t.zz, 0.0, 1e-12);  // Laplace in two dimensions
    EXPECT_EQ(t.yy, 0.0);
  }
  // The inscribed 64-gon has 0.16 % less area than the circle.
  EXPECT_LT(errG / peakG, 0.005);
  EXPECT_LT(errT / peakT, 0.005);
  EXPECT_LT(errZ / peakT, 0.005);
  EXPECT_GT(errG / peakG, 0.0005);  // the area deficit shows: the comparison is real
}

// The rectangle [x1, x2] × [z1, z2] seen from (xs, zs): corner sums of the antiderivatives
//   Φz:  ∫∫ 2w/r² = u ln r² + 2w atan(u/w)
//   Φxx: −2 atan(w/u),   Φxz: −2 ln r   (second derivatives of −2 ln r, integrated twice)
struct RectRef {
  double gz, xx, xz;
};
RectRef rectangle(double x1, double x2, double z1, double z2, double xs, double zs) {
  auto corner = [&](double u, double w, double sign, RectRef& r) {
    const double q = u * u + w * w;
    r.gz += sign * (u * std::log(q) + 2 * w * std::atan(u / w));
    r.xx += sign * (-2 * std::atan2(w, u));
    r.xz += sign * (-std::log(q));
  };
  RectRef r{0, 0, 0};
  corner(x2 - xs, z2 - zs, +1, r);
  corner(x1 - xs, z2 - zs, -1, r);
  corner(x2 - xs, z1 - zs, -1, r);
  corner(x1 - xs, z1 - zs, +1, r);
  return r;
}

TEST(Talwani, VerticalDykeMatchesItsClosedForm) {
  // A thick vertical dyke 300 m wide from 150 m to 3 km depth, stations on and off it.
  const auto dyke = rect(-150, 150, 150, 3000);
  for (double x : {-2500.0, -600.0, -149.0, 0.0, 75.0, 420.0, 1800.0}) {
    const Tensor t = polygonTensor(dyke, x, -20, 0);
    const RectRef r = rectangle(-150, 150, 150, 3000, x, -20);
    EXPECT_NEAR(t.gz, r.gz, 1e-9 * std::abs(r.gz) + 1e-9) << x;
    EXPECT_NEAR(t.xx, r.xx, 1e-9) << x;
    EXPECT_NEAR(t.xz, r.xz, 1e-9) << x;
    EXPECT_NEAR(t.zz, -r.xx, 1e-9) << x;
  }
  // Vertex order and starting vertex do not matter.
  std::vector<Point2> reversed(dyke.rbegin(), dyke.rend());
  const Tensor a = polygonTensor(dyke, 333, 0, 0), b = polygonTensor(reversed, 333, 0, 0);
  EXPECT_NEAR(a.gz, b.gz, 1e-10);
  EXPECT_NEAR(a.xz, b.xz, 1e-12);
}

// Φ derivatives of the prism [x1,x2] × [−Y,Y] × [z1,z2] by 3-D Gauss–Legendre.
Tensor prismNumerical(double x1, double x2, double y, double z1, double z2, double xs, double zs) {
  static const double gx[8] = {-0.9602898564975363, -0.7966664774136267, -0.5255324099163290,
                               -0.1834346424956498, 0.1834346424956498,  0.5255324099163290,
                               0.7966664774136267,  0.9602898564975363};
  static const double gw[8] = {0.1012285362903763, 0.2223810344533745, 0.3137066458778873,
                               0.3626837833783620, 0.3626837833783620, 0.3137066458778873,
                               0.2223810344533745, 0.1012285362903763};
  const int nx = 6, ny = 16, nz = 6;
  Tensor t;
  auto node = [&](double lo, double hi, int n, int i, int k, double& at, double& w) {
    const double h = (hi - lo) / n;
    at = lo + h * (i + 0.5 * (1 + gx[k]));
    w = 0.5 * h * gw[k];
  };
  for (int i = 0; i < nx; ++i)
    for (int j = 0; j < ny; ++j)
      for (int k = 0; k < nz; ++k)
        for (int a = 0; a < 8; ++a)
          for (int b = 0; b < 8; ++b)
            for (int c = 0; c < 8; ++c) {
              double qx, qy, qz, wx, wy, wz;
              node(x1, x2, nx, i, a, qx, wx);
              node(-y, y, ny, j, b, qy, wy);
              node(z1, z2, nz, k, c, qz, wz);
              const double w = wx * wy * wz;
              const double rx = xs - qx, ry = -qy, rz = zs - qz;
              const double r2 = rx * rx + ry * ry + rz * rz;
              const double r = std::sqrt(r2), r5 = r2 * r2 * r;
              t.gx += w * -rx / (r2 * r);
              t.gz += w * -rz / (r2 * r);
              t.xx += w * (3 * rx * rx - r2) / r5;
              t.xz += w * 3 * rx * rz / r5;
              t.zz += w * (3 * rz * rz - r2) / r5;
              t.yy += w * (3 * ry * ry - r2) / r5;
            }
  return t;
}

TEST(Talwani, FiniteStrikeMatchesThePrismIntegratedInThreeDimensions) {
  const double x1 = -200, x2 = 250, z1 = 300, z2 = 900, y = 1200;
  const auto poly = rect(x1, x2, z1, z2);
  for (double xs : {-900.0, 0.0, 400.0}) {
    const Tensor ref = prismNumerical(x1, x2, y, z1, z2, xs, 0);
    const Tensor t = polygonTensor(poly, xs, 0, y);
    const double scale2 = std::abs(ref.zz) + std::abs(ref.xx);
    EXPECT_NEAR(t.gz, ref.gz, 1e-6 * std::abs(ref.gz)) << xs;
    EXPECT_NEAR(t.gx, ref.gx, 1e-6 * std::abs(ref.gz)) << xs;
    EXPECT_NEAR(t.xx, ref.xx, 1e-6 * scale2) << xs;
    EXPECT_NEAR(t.xz, ref.xz, 1e-6 * scale2) << xs;
    EXPECT_NEAR(t.zz, ref.zz, 1e-6 * scale2) << xs;
    EXPECT_NEAR(t.yy, ref.yy, 1e-6 * scale2) << xs;
    EXPECT_NEAR(t.xx + t.yy + t.zz, 0.0, 1e-9 * scale2);  // Laplace
    // A short body gives less than the same section of infinite strike.
    EXPECT_LT(t.gz, polygonTensor(poly, xs, 0, 0).gz);
  }
  // A very long body is the two-dimensional one.
  const Tensor longBody = polygonTensor(poly, 150, 0, 1e7), flat = polygonTensor(poly, 150, 0, 0);
  EXPECT_NEAR(longBody.gz, flat.gz, 1e-6 * flat.gz);
  EXPECT_NEAR(longBody.xz, flat.xz, 1e-6 * std::abs(flat.xz));
  EXPECT_NEAR(longBody.yy, 0.0, 1e-6 * std::abs(flat.zz));
}

TEST(Talwani, VertexDerivativesAgreeWithDifferenceQuotients) {
  const std::vector<Point2> poly{{-300, 200}, {150, 120}, {420, 380}, {260, 900}, {-180, 640}};
  for (double strike : {0.0, 800.0}) {
    std::vector<VertexGradient> grad;
    polygonTensorGradient(poly, 37, -15, strike, kNeedBoth, grad);
    ASSERT_EQ(grad.size(), poly.size());
    for (std::size_t k = 0; k < poly.size(); ++k)
      for (int axis = 0; axis < 2; ++axis) {
        const double h = 1e-3;
        auto moved = [&](double d) {
          auto p = poly;
          (axis == 0 ? p[k].x : p[k].z) += d;
          return polygonTensor(p, 37, -15, strike);
        };
        const Tensor plus = moved(h), minus = moved(-h);
        const Tensor& g = axis == 0 ? grad[k].dx : grad[k].dz;
        auto check = [&](double analytic, double p, double m, double scale) {
          EXPECT_NEAR(analytic, (p - m) / (2 * h), 1e-6 * scale)
              << k << " " << axis << " " << strike;
        };
        check(g.gz, plus.gz, minus.gz, 1.0);
        check(g.gx, plus.gx, minus.gx, 1.0);
        check(g.xx, plus.xx, minus.xx, 1e-3);
        check(g.xz, plus.xz, minus.xz, 1e-3);
        check(g.zz, plus.zz, minus.zz, 1e-3);
        check(g.yy, plus.yy, minus.yy, 1e-3);
      }
  }
}

}  // namespace
}  // namespace sarnoth::gm2d
