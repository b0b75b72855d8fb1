// Inversion of synthetic soundings made by the forward engine, with a fixed-seed noise: the
// layers come back within what equivalence lets any 1-D inversion resolve.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "electric/sounding_inversion.h"

namespace sarnoth::electric {
namespace {

// Gaussian noise from our own Box–Muller over mt19937, so the numbers do not depend on the
// standard library's distribution.
struct Noise {
  std::mt19937 gen;
  explicit Noise(unsigned seed) : gen(seed) {}
  double gauss() {
    const double u1 = (gen() + 1.0) / 4294967297.0, u2 = (gen() + 1.0) / 4294967297.0;
    return std::sqrt(-2 * std::log(u1)) * std::cos(2 * M_PI * u2);
  }
};

SoundingData synthetic(const LayeredEarth& truth, SoundDevice d, double noise, unsigned seed) {
  SoundingData data;
  data.device = d;
  for (double r = 1.5; r < 700; r *= 1.25) {
    Spacing s{r, 0, 0};
    if (d == SoundDevice::SymmetricMN) s.mn2 = r < 20 ? 0.5 : 5;
    data.spacings.push_back(s);
  }
  SoundingResponse resp = soundingResponse(truth, d, data.spacings);
  Noise n(seed);
  for (double v : resp.rho) data.rho.push_back(v * (1 + noise * n.gauss()));
  if (truth.polarisable())
    for (double v : resp.eta) data.eta.push_back(v + noise * v * n.gauss());
  return data;
}

const LayeredEarth kH{{5, 10}, {100, 10, 1000}, {}};  // conductance of layer 2: 1 S

TEST(SoundingInversion, MarquardtRecoversNoiseFreeLayersExactly) {
  SoundingData data = synthetic(kH, SoundDevice::Symmetric, 0, 1);
  LayeredEarth start{{3, 20}, {50, 30, 300}, {}};
  InversionSettings s;
  s.relativeError = 0.03;
  InversionResult r = invertSounding(data, start, {}, s);
  EXPECT_TRUE(r.converged);
  EXPECT_LT(r.rmsPercent, 0.05);
  EXPECT_NEAR(r.earth.resistivity[0], 100, 0.5);
  EXPECT_NEAR(r.earth.thickness[0], 5, 0.05);
  EXPECT_NEAR(r.earth.thickness[1] / r.earth.resistivity[1], 1.0, 0.01);
  EXPECT_NEAR(r.earth.resistivity[2], 1000, 30);
}

TEST(SoundingInversion, NoisyThreeLayerCurveWithinEquivalence) {
  SoundingData data = synthetic(kH, SoundDevice::SymmetricMN, 0.03, 20261121);
  LayeredEarth start{{2, 30}, {60, 60, 60}, {}};
  InversionSettings s;
  s.relativeError = 0.03;
  InversionResult r = invertSounding(data, start, {}, s);
  EXPECT_LT(r.rmsPercent, 4.0);  // the noise level, not less by much and not more
  EXPECT_GT(r.rmsPercent, 2.0);
  EXPECT_NEAR(r.earth.resistivity[0] / 100, 1, 0.10);
  EXPECT_NEAR(r.earth.thickness[0] / 5, 1, 0.10);
  EXPECT_NEAR(r.earth.thickness[1] / r.earth.resistivity[1], 1.0, 0.15);
  EXPECT_NEAR(r.earth.resistivity[2] / 1000, 1, 0.35);
}

TEST(SoundingInversion, OccamFitsToTheNoiseWithASmoothEarth) {
  SoundingData data = synthetic(kH, SoundDevice::Symmetric, 0.03, 7);
  LayeredEarth start{{}, {100}, {}};
  InversionSettings s;
  s.method = InversionMethod::Occam;
  s.relativeError = 0.03;
  InversionResult r = invertSounding(data, start, {}, s);
  EXPECT_EQ(r.earth.layers(), 20u);
  EXPECT_LT(r.rmsPercent, 3.6);
  ASSERT_FALSE(r.history.empty());
  EXPECT_LE(r.history.back(), 1.05);
  // Smooth, but the conductor is where it is: the least resistive cell lies between 5 and
  // 25 m, the shallowest cell near 100 Ω·m and the deepest well above the conductor.
  std::size_t low = 0;
  for (std::size_t i = 1; i < r.earth.layers(); ++i)
    if (r.earth.resistivity[i] < r.earth.resistivity[low]) low = i;
  const double top = low == 0 ? 0 : r.earth.depthOf(low - 1);
  EXPECT_GT(r.earth.depthOf(low), 5.0);
  EXPECT_LT(top, 25.0);
  EXPECT_LT(r.earth.resistivity[low], 40);
  EXPECT_NEAR(r.earth.resistivity[0] / 100, 1, 0.2);
  EXPECT_GT(r.earth.resistivity.back(), 300);
  // Integrated conductance down to 40 m is about the true one (1 S plus the top layers').
  double S = 0, Strue = 5.0 / 100 + 10.0 / 10 + 25.0 / 1000;
  for (std::size_t i = 0; i + 1 < r.earth.layers(); ++i) {
    const double top = i == 0 ? 0 : r.earth.depthOf(i - 1);
    const double bottom = std::min(r.earth.depthOf(i), 40.0);
    if (bottom > top) S += (bottom - top) / r.earth.resistivity[i];
  }
  EXPECT_NEAR(S / Strue, 1, 0.35);
}

TEST(SoundingInversion, FixedLayersAndBoundsHold) {
  SoundingData data = synthetic(kH, SoundDevice::Symmetric, 0.02, 3);
  LayeredEarth start{{5, 20}, {100, 50, 500}, {}};
  InversionSettings s;
  s.rhoMax = 700;
  InversionResult r = invertSounding(data, start, {kFixResistivity | kFixThickness, 0, 0}, s);
  EXPECT_EQ(r.earth.resistivity[0], 100);
  EXPECT_EQ(r.earth.thickness[0], 5);
  EXPECT_LE(r.earth.resistivity[2], 700);
  EXPECT_GT(r.earth.resistivity[2], 600);  // pressed against its bound by the 1000 Ω·m basement
  EXPECT_NEAR(r.earth.thickness[1] / r.earth.resistivity[1], 1.0, 0.2);
}

TEST(SoundingInversion, ChargeabilityOfAPolarisableLayer) {
  LayeredEarth truth{{5, 10}, {100, 10, 1000}, {2, 12, 4}};
  SoundingData data = synthetic(truth, SoundDevice::Symmetric, 0, 5);
  LayeredEarth start{{5, 10}, {100, 10, 1000}, {}};
  InversionSettings s;
  InversionResult r =
      invertSounding(data, start,
                     {kFixResistivity | kFixThickness, kFixResistivity | kFixThickness,
                      kFixResistivity | kFixThickness},
                     s);
  ASSERT_TRUE(r.earth.polarisable());
  EXPECT_NEAR(r.earth.chargeability[0], 2, 0.05);
  EXPECT_NEAR(r.earth.chargeability[1], 12, 0.3);
  EXPECT_NEAR(r.earth.chargeability[2], 4, 0.3);
  EXPECT_LT(r.etaRms, 0.01);
}

TEST(SoundingInversion, RefusesWhatCannotBeInverted) {
  SoundingData data = synthetic(kH, SoundDevice::Symmetric, 0, 1);
  InversionSettings s;
  EXPECT_THROW(invertSounding(data, {{5}, {100, -3}, {}}, {}, s), std::invalid_argument);
  SoundingData few = data;
  few.spacings.resize(3);
  few.rho.resize(3);
  EXPECT_THROW(invertSounding(few, {{5, 10}, {100, 10, 1000}, {}}, {}, s), std::invalid_argument);
  data.rho[4] = 0;
  EXPECT_THROW(invertSounding(data, kH, {}, s), std::invalid_argument);
}

}  // namespace
}  // namespace sarnoth::electric
