// The six fractal series against answers known without the code: a fit worked by hand, power-law
// samples, straight profiles and planes (dimension 1 and 2 exactly), fractional Brownian
// surfaces (3 − H), and the slot layout the callers read.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "closed/fractal_proc.h"
#include "fractal_samples.h"
#include "geochem/fractal_series.h"

namespace sarnoth {
namespace {

TEST(FractalFit, PowerLawAndHandWorkedSlots) {
  // y = 3·x^(−1.7): slope −1.7, intercept log10 3, r = −1.
  std::vector<double> x, y;
  for (double v : {1.0, 2.0, 5.0, 20.0, 300.0}) {
    x.push_back(v);
    y.push_back(3 * std::pow(v, -1.7));
  }
  LogLogFit f = fitLogLog(x, y);
  EXPECT_TRUE(f.ok);
  EXPECT_EQ(f.count, 5);
  EXPECT_NEAR(f.slope, -1.7, 1e-12);
  EXPECT_NEAR(f.intercept, std::log10(3.0), 1e-12);
  EXPECT_NEAR(f.r, -1.0, 1e-12);
  // Points at or below zero take no part; one distinct x is no fit.
  x.push_back(0);
  y.push_back(7);
  EXPECT_EQ(fitLogLog(x, y).count, 5);
  const std::vector<double> one{4, 4}, two{1, 9};
  EXPECT_FALSE(fitLogLog(one, two).ok);

  // {1, 10, 100} in three grades: levels 1, 10, 100; N = 3, 2, 1; totals 111, 110, 100. The fit
  // of log N = (0.4771, 0.3010, 0) on log r = (0, 1, 2): b = −0.2386, a = 0.4979.
  const std::vector<float> d{10, 100, 1};
  std::vector<float> sx(6, -1), sy(6, -1);
  EXPECT_EQ(GEO_XDataNrr(d, 3, sx, sy, 5), 3);
  EXPECT_FLOAT_EQ(sx[0], 1);
  EXPECT_FLOAT_EQ(sx[1], 10);
  EXPECT_FLOAT_EQ(sx[2], 100);
  EXPECT_FLOAT_EQ(sy[0], 3);
  EXPECT_FLOAT_EQ(sy[1], 2);
  EXPECT_FLOAT_EQ(sy[2], 1);
  EXPECT_EQ(sx[3], 3.0f);  // points fitted
  EXPECT_NEAR(sy[3], -0.98877, 1e-4);
  EXPECT_NEAR(sx[4], 0.4979, 1e-4);  // intercept
  EXPECT_NEAR(sy[4], 0.2386, 1e-4);  // dimension
  EXPECT_EQ(sx[5], -1.0f);           // the slot beyond the count is left alone
  GEO_XDataSumNrr(d, 3, sx, sy, 5);
  EXPECT_FLOAT_EQ(sy[0], 111);
  EXPECT_FLOAT_EQ(sy[1], 110);
  EXPECT_FLOAT_EQ(sy[2], 100);
}

TEST(FractalGraded, ParetoSampleGivesItsDimensionByNumberAndByTotal) {
  // Quantiles of a Pareto law N(≥ r) = n·r^(−1.5) for r ≥ 1: a power-law sample without noise.
  const double D = 1.5;
  const int n = 20000;
  std::vector<float> v;
  for (int i = 0; i < n; ++i)
    v.push_back(static_cast<float>(std::pow(1.0 - (i + 0.5) / n, -1 / D)));
  // Each level's count is the law's, n·r^(−D), but for the last, which holds the largest value
  // alone where the law has 0.5 left; that point bends the fit by a few hundredths.
  const FractalSeries cn = concentrationNumberSeries(v, 10);
  for (std::size_t i = 0; i + 1 < cn.x.size(); ++i)
    EXPECT_NEAR(cn.y[i], n * std::pow(cn.x[i], -D), 1.0) << "level " << i;
  EXPECT_EQ(cn.y.back(), 1.0);
  EXPECT_NEAR(cn.dimension, D, 0.08);
  EXPECT_LT(cn.fit.r, -0.99);
  const FractalSeries ct = concentrationTotalSeries(v, 10);
  EXPECT_NEAR(ct.dimension, D, 0.08);
  // Levels are even in log between the smallest and the largest value.
  EXPECT_NEAR(std::log10(cn.x[1] / cn.x[0]), std::log10(cn.x[9] / cn.x[8]), 1e-5);

  // Equal values or no value above zero: the points stand, no fit.
  const std::vector<float> same(50, 7.0f);
  const FractalSeries flat = concentrationNumberSeries(same, 5);
  EXPECT_FALSE(flat.fit.ok);
  EXPECT_EQ(flat.dimension, 0.0);
  std::vector<float> sx(7, -1), sy(7, -1);
  const std::vector<float> neg{-1, 0};
  GEO_XDataNrr(neg, 2, sx, sy, 7);
  EXPECT_EQ(sx[0], 0.0f);
  EXPECT_EQ(sx[5], 0.0f);  // no point fitted
  EXPECT_EQ(sy[6], 0.0f);  // no dimension
  EXPECT_EQ(GEO_XDataNrr(neg, 2, sx, sy, 1), 0);
}

TEST(FractalProfile, StraightProfileIsOneByBoxesAndByDivider) {
  // Values that rise by a tenth per sample (not exact in single precision) and a level line.
  std::vector<float> rising, level(300, 42.0f);
  for (int i = 0; i < 300; ++i) rising.push_back(0.1f * static_cast<float>(i) + 5.0f);
  for (const auto& v : {rising, level}) {
    const FractalSeries box = profileBoxSeries(v);
    ASSERT_GE(box.x.size(), 3u);
    EXPECT_NEAR(box.dimension, 1.0, 0.02);
    const FractalSeries div = profileDividerSeries(v);
    ASSERT_GE(div.x.size(), 3u);
    EXPECT_NEAR(div.dimension, 1.0, 0.02);
  }
  // The rising line: every length is the diagonal of the 299 × 299 square of the scaled profile.
  const FractalSeries div = profileDividerSeries(rising);
  for (double len : div.y) EXPECT_NEAR(len, 299 * std::sqrt(2.0), 1e-3);
  // Scales 1, 2, 4, … up to an eighth of the length.
  EXPECT_EQ(div.x.back(), 32.0);
}

TEST(FractalProfile, RoughProfilesMeasureRougherThanSmoothOnes) {
  // Box counting of sampled fractional Brownian profiles: close to 2 − H when smooth, low on
  // rough ones (as stated in the header); the ordering must hold.
  const auto smooth = test::fbmProfile(4097, 0.8, 5);
  const auto rough = test::fbmProfile(4097, 0.3, 5);
  const double dSmooth = profileBoxSeries(smooth).dimension;
  const double dRough = profileBoxSeries(rough).dimension;
  EXPECT_NEAR(dSmooth, 1.2, 0.05);
  EXPECT_GT(dRough, dSmooth + 0.2);
  EXPECT_LT(dRough, 1.7 + 0.02);
  // A zig-zag of one sample, scaled to 64 high: at one interval the divider follows each
  // segment (64.008 long) and cuts each corner by less than one step.
  std::vector<float> zig;
  for (int i = 0; i < 65; ++i) zig.push_back(i % 2 ? 1.0f : 0.0f);
  const FractalSeries div = profileDividerSeries(zig);
  EXPECT_LE(div.y[0], 64 * std::hypot(1.0, 64.0) + 1e-9);
  EXPECT_GE(div.y[0], 64 * (std::hypot(1.0, 64.0) - 1));
  // At eight intervals (still far below the 64 of a segment) it follows the segments, cutting
  // each corner by less than eight.
  EXPECT_GE(div.y.back(), 64 * (std::hypot(1.0, 64.0) - 8));
}

TEST(FractalSurface, PlaneIsTwoByBoxesAndByPrisms) {
  const int nx = 161, ny = 97;
  std::vector<float> tilted, level(static_cast<std::size_t>(nx) * ny, 3.0f);
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) tilted.push_back(0.3f * c + 0.7f * r + 5.0f);
  for (const auto& z : {tilted, level}) {
    const FractalSeries box = surfaceBoxSeries(z, nx, ny);
    ASSERT_GE(box.x.size(), 3u);
    EXPECT_NEAR(box.dimension, 2.0, 0.02);
    const FractalSeries prism = surfacePrismSeries(z, nx, ny);
    ASSERT_GE(prism.x.size(), 3u);
    EXPECT_NEAR(prism.dimension, 2.0, 0.02);
  }
  // The level plane's prism area is the grid's area at every scale; x is the base area s².
  const FractalSeries prism = surfacePrismSeries(level, nx, ny);
  for (double a : prism.y) EXPECT_NEAR(a, 160.0 * 96.0, 1e-6);
  EXPECT_EQ(prism.x[2], 16.0);
}

TEST(FractalSurface, PrismDimensionOfBrownianSurfacesIsThreeMinusH) {
  const int n = 257;
  for (double h : {0.3, 0.5, 0.7}) {
    const auto z = test::fbmSurface(n, h, 11);
    const FractalSeries prism = surfacePrismSeries(z, n, n);
    EXPECT_NEAR(prism.dimension, 3 - h, 0.1) << "H = " << h;
    EXPECT_LT(prism.fit.r, -0.99);
    // The same sums on one thread and on several.
    const FractalSeries one = surfacePrismSeries(z, n, n, -1, 1);
    const FractalSeries three = surfacePrismSeries(z, n, n, -1, 3);
    EXPECT_EQ(one.y, three.y);
    EXPECT_EQ(surfaceBoxSeries(z, n, n, -1, 1).y, surfaceBoxSeries(z, n, n, -1, 3).y);
  }
}

TEST(FractalSeam, SlotsFollowTheCallersArrays) {
  std::vector<float> line;
  for (int i = 0; i < 200; ++i) line.push_back(static_cast<float>(i));
  // Room for two points and the fit: the two smallest scales, then count, r, intercept, D.
  std::vector<float> x(4, -1), y(4, -1);
  EXPECT_EQ(GEO_XYDataBoxFD(line, 200, x, y), 4);
  EXPECT_EQ(x[0], 1.0f);
  EXPECT_EQ(x[1], 2.0f);
  EXPECT_EQ(x[2], 2.0f);
  EXPECT_NEAR(y[3], 1.0f, 1e-4);
  // The count cuts the data; no room for the fit writes nothing.
  std::vector<float> one(1, -1), other(1, -1);
  EXPECT_EQ(GEO_XYDataTriangleFD(line, 200, one, other), 0);
  EXPECT_EQ(one[0], -1.0f);
  std::vector<float> bx(20), by(20);
  EXPECT_EQ(GEO_XYDataTriangleFD(line, 17, bx, by), 2 + 2);  // 16 intervals: scales 1 and 2
  // A grid too small for any scale fills the fit slots alone.
  std::vector<float> g(16, 1.0f);
  EXPECT_EQ(GEO_XYZDataTriFD(g, 4, 4, bx, by), 2);
  EXPECT_EQ(bx[0], 0.0f);
  EXPECT_EQ(by[1], 0.0f);
  // A grid shorter than its counts is not read beyond its end.
  EXPECT_EQ(GEO_XYZDataBoxFD(g, 40, 40, bx, by), 2);
}

}  // namespace
}  // namespace sarnoth
