// The 1-D forward engine against answers that owe nothing to the filter: the half-space, the
// image series of a two-layer earth, a direct quadrature of the Hankel integral for three layers,
// the thin-sheet asymptote over an insulating basement, and Seigel's rule for a uniform earth.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "electric/hankel_filter.h"
#include "electric/sounding_forward.h"
#include "test_support.h"

namespace sarnoth::electric {
namespace {

constexpr SoundDevice kDevices[] = {SoundDevice::PolePole, SoundDevice::SymmetricMN,
                                    SoundDevice::Symmetric, SoundDevice::DipoleMN,
                                    SoundDevice::DipoleField};

// Spacings valid for every device, from 1 m to 1 km.
std::vector<Spacing> spacingsFor(SoundDevice d) {
  std::vector<Spacing> s;
  for (double r = 1.5; r < 1000; r *= 1.6) {
    Spacing sp;
    sp.r = r;
    if (d == SoundDevice::SymmetricMN) sp.mn2 = r / 10;
    if (d == SoundDevice::DipoleMN || d == SoundDevice::DipoleField) sp.ab2 = r / 8;
    if (d == SoundDevice::DipoleMN) sp.mn2 = r / 8;
    s.push_back(sp);
  }
  return s;
}

TEST(SoundingForward, HalfSpaceGivesItsResistivityForEveryDevice) {
  LayeredEarth earth{{}, {137.0}, {}};
  for (SoundDevice d : kDevices) {
    auto rho = soundingResponse(earth, d, spacingsFor(d)).rho;
    for (double v : rho) EXPECT_NEAR(v, 137.0, 137.0 * 1e-3) << soundDeviceText(d);
  }
  // Layers of one resistivity are a half-space too: the filter sees a zero kernel.
  LayeredEarth layered{{3.0, 12.0}, {55.0, 55.0, 55.0}, {}};
  for (SoundDevice d : kDevices)
    for (double v : soundingResponse(layered, d, spacingsFor(d)).rho)
      EXPECT_NEAR(v, 55.0, 55.0 * 1e-9);
}

// Two layers: G(r) = ρ₁[1/r + 2 Σ kⁿ / √(r² + (2nh)²)], F = −dG/dr, k = (ρ₂−ρ₁)/(ρ₂+ρ₁).
struct TwoLayerImages {
  double rho1, rho2, h;
  double k() const { return (rho2 - rho1) / (rho2 + rho1); }
  double G(double r) const {
    double s = 1 / r;
    for (int n = 1; n < 4000; ++n) {
      const double kn = std::pow(k(), n), z = 2 * n * h;
      s += 2 * kn / std::sqrt(r * r + z * z);
      if (std::fabs(kn) < 1e-17) break;
    }
    return rho1 * s;
  }
  double F(double r) const {
    double s = 1 / (r * r);
    for (int n = 1; n < 4000; ++n) {
      const double kn = std::pow(k(), n), z = 2 * n * h;
      s += 2 * kn * r / std::pow(r * r + z * z, 1.5);
      if (std::fabs(kn) < 1e-17) break;
    }
    return rho1 * s;
  }
  // Apparent resistivity of each device written out by hand.
  double rhoa(SoundDevice d, const Spacing& s) const {
    const double L = s.r, l = s.mn2, a = s.ab2;
    switch (d) {
      case SoundDevice::PolePole:
        return L * G(L);
      case SoundDevice::SymmetricMN:  // K = π(L² − l²)/(2l), ΔV = 2(I/2π)(G(L−l) − G(L+l))
        return (L * L - l * l) / (2 * l) * (G(L - l) - G(L + l));
      case SoundDevice::Symmetric:  // ρa = L² F(L)
        return L * L * F(L);
      case SoundDevice::DipoleMN: {
        const double AM = L - l + a, BM = L - l - a, AN = L + l + a, BN = L + l - a;
        return (G(AM) - G(BM) - G(AN) + G(BN)) / (1 / AM - 1 / BM - 1 / AN + 1 / BN);
      }
      case SoundDevice::DipoleField: {
        const double rA = L + a, rB = L - a;
        return (F(rA) - F(rB)) / (1 / (rA * rA) - 1 / (rB * rB));
      }
    }
    return 0;
  }
};

TEST(SoundingForward, TwoLayerCurvesMatchTheImageSeries) {
  for (TwoLayerImages m : {TwoLayerImages{10, 100, 5}, TwoLayerImages{100, 1, 5},
                           TwoLayerImages{300, 30, 12}, TwoLayerImages{20, 380, 2}}) {
    LayeredEarth earth{{m.h}, {m.rho1, m.rho2}, {}};
    for (SoundDevice d : kDevices) {
      auto sp = spacingsFor(d);
      auto rho = soundingResponse(earth, d, sp).rho;
      for (std::size_t j = 0; j < sp.size(); ++j) {
        const double want = m.rhoa(d, sp[j]);
        EXPECT_NEAR(rho[j] / want, 1.0, 1e-5)
            << soundDeviceText(d) << " ρ₂=" << m.rho2 << " r=" << sp[j].r;
      }
    }
  }
}

// ρa of the ideal Schlumberger array by direct quadrature of L² ∫ T λ J₁(λL) dλ: the
// half-space part exactly, the rest (decaying as e^{−2λh₁}) by composite Gauss–Legendre.
double schlumbergerByQuadrature(const LayeredEarth& e, double L) {
  auto T = [&](double lam) {
    double t = e.resistivity.back();
    for (std::size_t i = e.thickness.size(); i-- > 0;) {
      const double th = std::tanh(lam * e.thickness[i]);
      t = (t + e.resistivity[i] * th) / (1 + t * th / e.resistivity[i]);
    }
    return t - e.resistivity[0];
  };
  // The remainder decays as e^{−2λh₁}: e^{−60} at the top; two panels per period of J₁(λL).
  const double top = 30.0 / e.thickness[0];
  const int panels = 200 + static_cast<int>(8 * top * L / (2 * M_PI));
  const double xg[] = {-0.9061798459386640, -0.5384693101056831, 0.0, 0.5384693101056831,
                       0.9061798459386640};
  const double wg[] = {0.2369268850561891, 0.4786286704993665, 0.5688888888888889,
                       0.4786286704993665, 0.2369268850561891};
  double sum = 0;
  for (int p = 0; p < panels; ++p) {
    const double a = top * p / panels, b = top * (p + 1) / panels;
    for (int g = 0; g < 5; ++g) {
      const double lam = 0.5 * (a + b) + 0.5 * (b - a) * xg[g];
      sum += 0.5 * (b - a) * wg[g] * T(lam) * lam * std::cyl_bessel_j(1.0, lam * L);
    }
  }
  return e.resistivity[0] + L * L * sum;
}

TEST(SoundingForward, ThreeLayerCurvesMatchDirectQuadrature) {
  const LayeredEarth models[] = {
      {{5, 10}, {100, 10, 1000}, {}},   // H
      {{4, 20}, {50, 500, 5}, {}},      // K
      {{10, 30}, {20, 100, 1000}, {}},  // A
      {{3, 8}, {500, 50, 5}, {}},       // Q
  };
  for (const LayeredEarth& e : models) {
    std::vector<Spacing> sp;
    for (double L : {1.0, 4.0, 16.0, 64.0, 250.0}) sp.push_back({L, 0, 0});
    auto rho = soundingResponse(e, SoundDevice::Symmetric, sp).rho;
    for (std::size_t j = 0; j < sp.size(); ++j)
      EXPECT_NEAR(rho[j] / schlumbergerByQuadrature(e, sp[j].r), 1.0, 1e-5)
          << e.resistivity[1] << " L=" << sp[j].r;
  }
}

TEST(SoundingForward, InsulatingBasementRisesAtFortyFiveDegrees) {
  // Current confined to the top layer: ρa → ρ₁ · (AB/2) / h for the Schlumberger array.
  LayeredEarth e{{10}, {50, 1e9}, {}};
  std::vector<Spacing> sp{{2000, 0, 0}, {5000, 0, 0}};
  auto rho = soundingResponse(e, SoundDevice::Symmetric, sp).rho;
  EXPECT_NEAR(rho[0] / (50 * 2000 / 10.0), 1.0, 0.01);
  EXPECT_NEAR(rho[1] / (50 * 5000 / 10.0), 1.0, 0.01);
}

TEST(SoundingForward, SeigelChargeability) {
  // A uniformly polarisable earth shows its own chargeability at every spacing.
  LayeredEarth uniform{{4, 9}, {80, 15, 600}, {7.5, 7.5, 7.5}};
  for (SoundDevice d : kDevices)
    for (double eta : soundingResponse(uniform, d, spacingsFor(d)).eta)
      EXPECT_NEAR(eta, 7.5, 1e-6) << soundDeviceText(d);
  // A polarisable middle layer: small η follows the sensitivity sum Σ ∂lnρa/∂lnρᵢ ηᵢ.
  LayeredEarth layered{{4, 9}, {80, 15, 600}, {0, 0.2, 0}};
  SoundingPlan plan(SoundDevice::Symmetric, spacingsFor(SoundDevice::Symmetric));
  Eigen::MatrixXd J;
  plan.apparentResistivity(layered, J);
  auto eta = soundingResponse(layered, plan).eta;
  for (std::size_t j = 0; j < eta.size(); ++j)
    EXPECT_NEAR(eta[j], J(static_cast<Eigen::Index>(j), 1) * 0.2, 0.2 * 0.01);
}

TEST(SoundingForward, SensitivitiesMatchFiniteDifferences) {
  LayeredEarth e{{3, 12, 25}, {120, 20, 300, 8}, {2, 9, 1, 4}};
  for (SoundDevice d : {SoundDevice::SymmetricMN, SoundDevice::DipoleField}) {
    SoundingPlan plan(d, spacingsFor(d));
    Eigen::MatrixXd J;
    auto rho = plan.apparentResistivity(e, J);
    const double step = 1e-6;
    for (int p = 0; p < 7; ++p) {
      LayeredEarth up = e;
      double& v = p < 4 ? up.resistivity[p] : up.thickness[p - 4];
      v *= std::exp(step);
      auto rhoUp = plan.apparentResistivity(up);
      for (std::size_t j = 0; j < rho.size(); ++j)
        EXPECT_NEAR(J(static_cast<Eigen::Index>(j), p), std::log(rhoUp[j] / rho[j]) / step, 2e-5)
            << "parameter " << p << " datum " << j;
    }
    Eigen::MatrixXd Je;
    auto eta = apparentChargeability(e, plan, &Je);
    for (int i = 0; i < 4; ++i) {
      LayeredEarth up = e;
      up.chargeability[i] += 1e-5;
      auto etaUp = apparentChargeability(up, plan);
      for (std::size_t j = 0; j < eta.size(); ++j)
        EXPECT_NEAR(Je(static_cast<Eigen::Index>(j), i), (etaUp[j] - eta[j]) / 1e-5, 1e-4);
    }
  }
}

TEST(SoundingForward, RefusesWhatHasNoApparentResistivity) {
  // M midway between A and B with N remote sees no potential in any earth; electrodes that
  // coincide have none either.
  EXPECT_THROW(SoundingPlan(std::vector<Quadripole>{{-1, 1, 0, kRemote}}), std::invalid_argument);
  EXPECT_THROW(SoundingPlan(std::vector<Quadripole>{{0, kRemote, 0, kRemote}}),
               std::invalid_argument);
  std::vector<Spacing> zero{{0, 0, 0}}, inside{{10, 0, 12}}, overlap{{5, 3, 3}};
  EXPECT_THROW(SoundingPlan(SoundDevice::Symmetric, zero), std::invalid_argument);
  EXPECT_THROW(SoundingPlan(SoundDevice::SymmetricMN, inside), std::invalid_argument);
  EXPECT_THROW(SoundingPlan(SoundDevice::DipoleMN, overlap), std::invalid_argument);
  EXPECT_FALSE(validateEarth({{5}, {10, -1}, {}}).empty());
  EXPECT_FALSE(validateEarth({{0}, {10, 20}, {}}).empty());
  EXPECT_FALSE(validateEarth({{5}, {10, 20}, {1, 100}}).empty());
  EXPECT_TRUE(validateEarth({{5}, {10, 20}, {1, 2}}).empty());
}

// The carried coefficients are the published ones, digit for digit.
TEST(SoundingForward, FilterCoefficientsAreThePublishedTables) {
  for (auto [file, filter] :
       {std::pair{"hankel/hankel_gupt_120_1997_j0.txt", guptasarmaSinghJ0()},
        std::pair{"hankel/hankel_gupt_140_1997_j1.txt", guptasarmaSinghJ1()}}) {
    const std::string path = test::sharedData(file);
    if (path.empty()) GTEST_SKIP() << "shared data absent: " << file;
    std::ifstream f(path);
    std::string line;
    std::size_t i = 0;
    while (std::getline(f, line)) {
      if (line.empty() || line[0] == '#') continue;
      std::istringstream s(line);
      double b, w;
      s >> b >> w;
      ASSERT_LT(i, filter.size());
      EXPECT_EQ(b, filter[i].base);
      EXPECT_EQ(w, filter[i].weight);
      ++i;
    }
    EXPECT_EQ(i, filter.size());
  }
}

}  // namespace
}  // namespace sarnoth::electric
