// The Parker–Oldenburg inversion against interfaces whose anomaly is summed from Nagy's prisms
// (one prism per node cell from z0 to z0 + h), not from the series the tool inverts: a Gaussian
// basin under a gravity grid, and the same relief as the top of a magnetised layer (its field by
// Poisson's relation from the prisms' g_zz). Then the forward series against the prisms, the
// refusals, cancelling, divergence and the files of the job.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "gravmag/interface_inversion.h"
#include "gravmag/prism.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"

namespace sarnoth::gravmag {
namespace {

constexpr int kN = 48;           // nodes a side
constexpr double kStep = 2000;   // m
constexpr double kZ0 = 5000;     // m
constexpr double kRelief = 800;  // m, the basin's deepest
constexpr double kSigma = 6000;  // m

double centre() { return (kN - 1) / 2.0 * kStep; }

// The relief at a node: a Gaussian basin (positive down), cut where it falls below 1e-4.
std::vector<float> basin() {
  std::vector<float> h(kN * kN);
  for (int r = 0; r < kN; ++r)
    for (int c = 0; c < kN; ++c) {
      const double x = c * kStep - centre(), y = r * kStep - centre();
      const double v = kRelief * std::exp(-(x * x + y * y) / (2 * kSigma * kSigma));
      h[r * kN + c] = v > 1e-4 * kRelief ? static_cast<float>(v) : 0.0f;
    }
  return h;
}

// The anomaly of the relief by prisms: gravity (mGal, Δρ g/cm³ denser below) or ΔZ of the top of
// a layer magnetised vertically with M A/m (nT; ΔZ = 100·M·g_zz/(Gρ), Poisson's relation).
std::vector<float> prismSum(const std::vector<float>& h, bool magnetic, double contrast) {
  std::vector<float> g(h.size(), 0.0f);
  for (int r = 0; r < kN; ++r)
    for (int c = 0; c < kN; ++c) {
      double sum = 0;
      for (int pr = 0; pr < kN; ++pr)
        for (int pc = 0; pc < kN; ++pc) {
          const float hp = h[pr * kN + pc];
          if (hp == 0) continue;
          const double x = (pc - c) * kStep, y = (pr - r) * kStep;
          const double x1 = x - kStep / 2, x2 = x + kStep / 2, y1 = y - kStep / 2,
                       y2 = y + kStep / 2;
          // The lighter (non-magnetic) material fills kZ0 .. kZ0 + h: a negative contrast there.
          if (magnetic)
            sum += 100.0 * contrast * prismGzz(x1, x2, y1, y2, kZ0, kZ0 + hp, -1.0) /
                   kGravityMgalPerMetre;
          else
            sum += prismGz(x1, x2, y1, y2, kZ0, kZ0 + hp, -contrast);
        }
      g[r * kN + c] = static_cast<float>(sum);
    }
  return g;
}

// The sums of the basin, made once (they take a second each).
const std::vector<float>& prismAnomaly(bool magnetic) {
  static const std::vector<float> gravity = prismSum(basin(), false, 0.3);
  static const std::vector<float> field = prismSum(basin(), true, 2.0);
  return magnetic ? field : gravity;
}

InterfaceParams params(InterfaceKind kind, double contrast) {
  InterfaceParams p;
  p.kind = kind;
  p.contrast = contrast;
  p.referenceDepth = kZ0;
  p.passWavelength = 16000;
  p.cutWavelength = 10000;
  p.criterion = 0.5;
  p.maxIterations = 30;
  return p;
}

// The largest error of the recovered depth over the grid, as a part of the relief; with
// `aboutMean` both surfaces are taken about their means over the grid (the reference depth is
// the interface's mean depth: a constant is not resolved by the data, whose mean is removed).
double reliefError(const InterfaceResult& r, const std::vector<float>& h, bool aboutMean) {
  double md = 0, mh = 0;
  if (aboutMean) {
    for (std::size_t i = 0; i < h.size(); ++i) {
      md += r.depth[i] - kZ0;
      mh += h[i];
    }
    md /= h.size();
    mh /= h.size();
  }
  double worst = 0;
  for (std::size_t i = 0; i < h.size(); ++i)
    worst = std::max(worst, std::fabs((r.depth[i] - kZ0 - md) - (h[i] - mh)));
  return worst / kRelief;
}

TEST(InterfaceInversion, RecoversADensityInterfaceFromPrismGravity) {
  const std::vector<float> h = basin();
  const std::vector<float> g = prismAnomaly(false);
  Progress progress;
  int pumps = 0;
  progress.setPumpHook([&] { return ++pumps > 0; });
  const InterfaceResult r =
      invertInterface(g, kN, kN, kStep, kStep, params(InterfaceKind::Density, 0.3), progress);
  ASSERT_TRUE(r.failure.empty()) << r.failure;
  EXPECT_TRUE(r.converged);
  EXPECT_LT(reliefError(r, h, true), 0.05);
  // The reference depth is the mean depth over the grid.
  double mean = 0;
  for (float v : r.depth) mean += v;
  EXPECT_NEAR(mean / r.depth.size(), kZ0, 1e-3 * kZ0);
  // The deepest point lies over the centre of the basin.
  const auto deepest = std::max_element(r.depth.begin(), r.depth.end()) - r.depth.begin();
  EXPECT_NEAR(deepest / kN, (kN - 1) / 2.0, 0.5);
  EXPECT_NEAR(deepest % kN, (kN - 1) / 2.0, 0.5);
  // The fit is a small part of the anomaly.
  EXPECT_LT(r.rmsMisfit, 0.03 * r.anomalyRms);
  EXPECT_EQ(progress.maximum(), 30);
  EXPECT_EQ(progress.value(), static_cast<std::int64_t>(r.rmsChange.size()));
  EXPECT_GT(pumps, 0);
}

TEST(InterfaceInversion, RecoversAMagnetisedLayerTopFromPrismField) {
  const std::vector<float> h = basin();
  const std::vector<float> t = prismAnomaly(true);
  const InterfaceResult r =
      invertInterface(t, kN, kN, kStep, kStep, params(InterfaceKind::Magnetic, 2.0));
  ASSERT_TRUE(r.failure.empty()) << r.failure;
  EXPECT_LT(reliefError(r, h, true), 0.05);
}

TEST(InterfaceInversion, ForwardSeriesMatchesThePrisms) {
  const std::vector<float> h = basin();
  const std::vector<float> g = prismAnomaly(false);
  const std::vector<float> f =
      interfaceAnomaly(h, kN, kN, kStep, kStep, params(InterfaceKind::Density, 0.3));
  ASSERT_EQ(f.size(), g.size());
  // The series gives the anomaly about its mean over the periodic frame; compare the shapes.
  double peak = 0, worst = 0, mg = 0, mf = 0;
  for (std::size_t i = 0; i < g.size(); ++i) {
    mg += g[i];
    mf += f[i];
  }
  mg /= g.size();
  mf /= f.size();
  for (std::size_t i = 0; i < g.size(); ++i) {
    peak = std::max(peak, std::fabs(g[i] - mg));
    worst = std::max(worst, std::fabs((g[i] - mg) - (f[i] - mf)));
  }
  EXPECT_LT(worst, 0.03 * peak);
}

TEST(InterfaceInversion, NullsStayNullAndCancelStops) {
  const std::vector<float> h = basin();
  std::vector<float> g = prismAnomaly(false);
  g[3] = NULL_VALUE;
  g[kN * kN - 1] = NULL_VALUE;
  const InterfaceResult r =
      invertInterface(g, kN, kN, kStep, kStep, params(InterfaceKind::Density, 0.3));
  ASSERT_TRUE(r.failure.empty());
  EXPECT_TRUE(isNullValue(r.depth[3]));
  EXPECT_TRUE(isNullValue(r.computed[kN * kN - 1]));
  EXPECT_FALSE(isNullValue(r.depth[4]));

  Progress stop;
  int pumps = 0;
  stop.setPumpHook([&] { return ++pumps < 3; });
  const InterfaceResult c =
      invertInterface(g, kN, kN, kStep, kStep, params(InterfaceKind::Density, 0.3), stop);
  EXPECT_TRUE(c.cancelled);
  EXPECT_TRUE(c.depth.empty());
  EXPECT_EQ(pumps, 3);
}

TEST(InterfaceInversion, UnstableDownwardContinuationIsReportedAsDivergence) {
  // A reference depth of ten grid spacings with the filter cut at the Nyquist wavelength: the
  // continuation e^(|k|z0) reaches e^31 and the iteration blows up.
  const std::vector<float> g = prismAnomaly(false);
  InterfaceParams p = params(InterfaceKind::Density, 0.3);
  p.referenceDepth = 20000;
  p.passWavelength = 4500;
  p.cutWavelength = 4000;
  const InterfaceResult r = invertInterface(g, kN, kN, kStep, kStep, p);
  EXPECT_TRUE(r.diverged);
  EXPECT_EQ(r.failure, kMsgInterfaceDiverged);
  EXPECT_TRUE(r.depth.empty());
}

class InterfaceJobTest : public test::ScratchFiles, public ::testing::Test {};

TEST_F(InterfaceJobTest, WritesTheInterfaceAndItsFitOrRefuses) {
  Grid in;
  in.header.nx = in.header.ny = kN;
  in.header.dx = in.header.dy = static_cast<float>(kStep);
  in.header.x0 = 500000;
  in.header.y0 = 3200000;
  in.nodes = prismAnomaly(false);
  recomputeGridStats(in.header, in.nodes);
  ASSERT_TRUE(writeGrid(path("g.grd"), kGridMagicB, "test", in.header, in.nodes));
  InterfaceJob job;
  job.inputPath = path("g.grd");
  job.outputPath = path("z.grd");
  job.fitPath = path("fit.grd");
  job.params = params(InterfaceKind::Density, 0.3);
  const InterfaceRunResult r = runInterfaceInversion(job);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  const GridReadResult z = readGrid(path("z.grd"));
  ASSERT_TRUE(z.ok());
  EXPECT_EQ(z.grid.header.method.find("密度界面反演"), 0u);
  EXPECT_EQ(z.grid.header.x0, 500000.0f);
  EXPECT_NEAR(z.grid.header.zMax - z.grid.header.zMin, kRelief, 0.05 * kRelief);
  const GridReadResult fit = readGrid(path("fit.grd"));
  ASSERT_TRUE(fit.ok());
  EXPECT_NEAR(fit.grid.header.zMin, in.header.zMin, 0.05 * (in.header.zMax - in.header.zMin));
  EXPECT_NE(interfaceReport(r).find("已收敛"), std::string::npos);

  auto refused = [&](InterfaceJob j, const std::string& text) {
    const InterfaceRunResult x = runInterfaceInversion(j);
    EXPECT_FALSE(x.outcome.ok);
    EXPECT_EQ(x.outcome.message, text);
  };
  InterfaceJob j = job;
  j.params.contrast = 0;
  refused(j, kMsgInterfaceBadContrast);
  j = job;
  j.params.referenceDepth = -1;
  refused(j, kMsgInterfaceBadDepth);
  j = job;
  j.params.passWavelength = 5000;
  refused(j, kMsgInterfaceBadFilter);
  j = job;
  j.params.maxIterations = 0;
  refused(j, kMsgInterfaceBadCriterion);
  j = job;
  j.inputPath = path("junk.grd");
  put("junk.grd", "#SRNTHGRIDB#short");
  const InterfaceRunResult x = runInterfaceInversion(j);
  EXPECT_FALSE(x.outcome.ok);
  EXPECT_FALSE(x.outcome.message.empty());
}

}  // namespace
}  // namespace sarnoth::gravmag
