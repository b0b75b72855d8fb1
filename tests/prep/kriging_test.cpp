// Kriging and median gridding behind their seams, on cases with known answers.
#include "closed/kriging.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "closed/fractal_proc.h"
#include "workarea/null_value.h"

namespace sarnoth {
namespace {

struct Layout {
  std::vector<float> pts;  // x, y, v triples
  void add(float x, float y, float v) { pts.insert(pts.end(), {x, y, v}); }
  std::int32_t count() const { return static_cast<std::int32_t>(pts.size() / 3); }
};

// Random points over [0, 100]² with values from f.
template <class F>
Layout randomLayout(int n, F f, unsigned seed = 7) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0, 100);
  Layout l;
  for (int i = 0; i < n; ++i) {
    float x = u(rng), y = u(rng);
    l.add(x, y, f(x, y));
  }
  return l;
}

// Kriges onto an 11 × 11 grid over [0, 100]² and returns the nodes (plus the spare).
std::vector<float> krige(const Layout& l, int code, std::vector<float> params = {0},
                         int search = 12, std::vector<krig::FittedVariogram>* vg = nullptr,
                         std::int32_t* rc = nullptr) {
  std::vector<float> out(11 * 11 + 1, 0.0f);
  const float extent[4] = {0, 0, 100, 100};
  float count = code >= 9 ? static_cast<float>(params.size() - 1) : 0;
  std::int32_t r = GEO_ScatToGridWithKrig(l.pts, 2, l.count(), 3, extent, 10, 10, 10, 10, search,
                                          code, count, params, out, vg);
  if (rc) *rc = r;
  return out;
}

TEST(Kriging, ConstantFieldUnderEveryModel) {
  Layout l = randomLayout(60, [](float, float) { return 4.5f; });
  for (int code = 1; code <= 10; ++code) {
    std::vector<float> params{0};
    if (code == 9) params = {1, 0, 0};  // shift 1, no bounds
    if (code == 10) params = {3, 4, 6};
    std::vector<krig::FittedVariogram> vg;
    std::vector<float> g = krige(l, code, params, 8, &vg);
    ASSERT_FALSE(vg.empty());
    if (code != 10) {
      EXPECT_TRUE(vg[0].degenerate) << code;
    }
    for (std::size_t k = 0; k < 121; ++k) ASSERT_NEAR(g[k], 4.5f, 1e-4) << "code " << code;
    EXPECT_EQ(g[121], 0.0f);  // the spare is left alone
  }
}

TEST(Kriging, UniversalKrigingReproducesALinearTrend) {
  // An exact trend: its residual variogram is zero, and universal kriging with the right drift
  // (or a larger one) reproduces the trend everywhere, corners included.
  auto trend = [](float x, float y) { return 2.0f + 0.3f * x - 0.2f * y; };
  Layout exact = randomLayout(200, trend);
  std::vector<float> g = krige(exact, 4, {0}, 16);
  for (int r = 0; r <= 10; ++r)
    for (int c = 0; c <= 10; ++c)
      ASSERT_NEAR(g[static_cast<std::size_t>(r) * 11 + c], trend(10.0f * c, 10.0f * r), 2e-3)
          << r << "," << c;
  // A quadratic drift in x and y contains the linear one.
  g = krige(exact, 7, {0}, 16);
  EXPECT_NEAR(g[5 * 11 + 5], trend(50, 50), 2e-3);
  // Ordinary kriging does not extrapolate a trend to a corner as well.
  std::vector<float> ok = krige(exact, 1, {0}, 16);
  EXPECT_GT(std::fabs(ok[0] - trend(0, 0)), 0.1);
}

TEST(Kriging, ExactAtDataPoints) {
  Layout l = randomLayout(80, [](float x, float y) { return std::sin(x / 9) + std::cos(y / 13); });
  // Put data points exactly on some nodes.
  l.add(30, 40, 5.0f);
  l.add(70, 10, -2.0f);
  l.add(100, 100, 9.0f);
  for (int code : {1, 4, 8}) {
    Layout m = l;
    if (code == 8)
      for (std::size_t i = 2; i < m.pts.size(); i += 3) m.pts[i] = std::exp(m.pts[i]);
    std::vector<float> g = krige(m, code, {0}, 10);
    auto expect = [&](float v) { return code == 8 ? std::exp(v) : v; };
    EXPECT_NEAR(g[4 * 11 + 3], expect(5.0f), 1e-4 * std::fabs(expect(5.0f))) << code;
    EXPECT_NEAR(g[1 * 11 + 7], expect(-2.0f), 1e-4 * std::fabs(expect(-2.0f)) + 1e-5) << code;
    EXPECT_NEAR(g[10 * 11 + 10], expect(9.0f), 1e-4 * std::fabs(expect(9.0f))) << code;
  }
}

// A smooth field fits without nugget, so a sample given twice at one place makes the system
// singular wherever both copies are among the neighbours: those nodes go through the careful
// decomposition, stay finite and still honour the sample where it lies on a node.
TEST(Kriging, ASampleGivenTwiceAtOnePlaceIsStillHonoured) {
  Layout l = randomLayout(
      70, [](float x, float y) { return 0.05f * x * x + 0.3f * y; }, 11);
  l.add(30, 40, 80.0f);
  l.add(30, 40, 80.0f);
  l.add(70, 70, 260.0f);
  l.add(70, 70, 260.0f);
  std::vector<krig::FittedVariogram> vg;
  const std::vector<float> g = krige(l, 1, {0}, 8, &vg);
  ASSERT_FALSE(vg.empty());
  ASSERT_EQ(vg[0].nugget, 0.0);
  for (std::size_t k = 0; k < 121; ++k) ASSERT_TRUE(std::isfinite(g[k])) << k;
  EXPECT_NEAR(g[4 * 11 + 3], 80.0f, 1e-3);
  EXPECT_NEAR(g[7 * 11 + 7], 260.0f, 1e-3);
}

TEST(Kriging, LognormalBackTransformIsUnbiasedForAPureNugget) {
  // Values exp(N(0, 1)) without spatial structure: the fitted model is (almost) a pure nugget,
  // and the back-transformed estimates average near the true mean exp(1/2), while exp of the
  // kriged logarithm (the median) stays near 1.
  std::mt19937 rng(11);
  std::normal_distribution<float> nd(0, 1);
  Layout l = randomLayout(
      3000, [&](float, float) { return std::exp(nd(rng)); }, 3);
  std::vector<krig::FittedVariogram> vg;
  std::vector<float> g = krige(l, 8, {0}, 40, &vg);
  double mean = 0;
  for (std::size_t k = 0; k < 121; ++k) mean += g[k];
  mean /= 121;
  EXPECT_NEAR(mean, std::exp(0.5), 0.12);
  EXPECT_GT(vg[0].nugget + vg[0].sill, 0.8);
  // Three-parameter: a shift of the data by θ comes back out.
  Layout s = l;
  for (std::size_t i = 2; i < s.pts.size(); i += 3) s.pts[i] += 10;
  std::vector<float> g3 = krige(s, 9, {10, 0, 0}, 40);
  for (std::size_t k = 0; k < 121; ++k) ASSERT_NEAR(g3[k], g[k] + 10, 1e-3 * (g[k] + 10));
  // ... and the bounds clamp it.
  g3 = krige(s, 9, {10, 11, 11.2f}, 40);
  for (std::size_t k = 0; k < 121; ++k) {
    ASSERT_GE(g3[k], 11.0f);
    ASSERT_LE(g3[k], 11.2f);
  }
}

TEST(Kriging, IndicatorKrigingGivesTheETypeMean) {
  // Two halves: 1 in the west, 10 in the east. Far inside each half the probabilities are 0 or
  // 1 and the E-type mean is the class mean.
  Layout l;
  for (int i = 0; i < 20; ++i)
    for (int j = 0; j <= 20; ++j) l.add(5.0f * i + 2.5f, 5.0f * j, i < 10 ? 1.0f : 10.0f);
  std::vector<krig::FittedVariogram> vg;
  std::vector<float> g = krige(l, 10, {5, 2, 8}, 8, &vg);
  ASSERT_EQ(vg.size(), 3u);  // one model per threshold, sorted
  EXPECT_EQ(vg[0].threshold, 2);
  EXPECT_EQ(vg[2].threshold, 8);
  EXPECT_NEAR(g[5 * 11 + 1], 1.0f, 1e-3);
  EXPECT_NEAR(g[5 * 11 + 9], 10.0f, 1e-3);
  EXPECT_GT(g[5 * 11 + 5], 1.0f);  // the border between the halves mixes them
  EXPECT_LT(g[5 * 11 + 5], 10.0f);
}

TEST(Kriging, SphericalFitRecoversAKnownModel) {
  krig::FittedVariogram truth{0.3, 1.7, 40};
  krig::ExperimentalVariogram ev;
  ev.cutoff = 60;
  for (int j = 0; j < 15; ++j) {
    double h = 4.0 * j + 2;
    ev.distance.push_back(h);
    ev.gamma.push_back(krig::sphericalGamma(truth, h));
    ev.pairs.push_back(100 + 10 * j);
  }
  krig::FittedVariogram f = krig::fitSpherical(ev, 2.0);
  EXPECT_NEAR(f.nugget, 0.3, 1e-3);
  EXPECT_NEAR(f.sill, 1.7, 1e-3);
  EXPECT_NEAR(f.range, 40, 0.05);
  EXPECT_FALSE(f.degenerate);
  // The experimental estimator: a lattice with a gradient has γ(h) = (slope·h)²/2 along x.
  std::vector<double> x, y, z;
  for (int i = 0; i < 30; ++i) {
    x.push_back(i);
    y.push_back(0);
    z.push_back(2.0 * i);
  }
  krig::ExperimentalVariogram e2 = krig::experimentalVariogram(x, y, z, 15);
  ASSERT_EQ(e2.pairs[0], 29);  // lag class (0, 1]: neighbours
  EXPECT_DOUBLE_EQ(e2.gamma[0], 2.0);
  EXPECT_DOUBLE_EQ(e2.distance[0], 1.0);
}

TEST(Kriging, ArgumentsItCannotUse) {
  Layout l = randomLayout(20, [](float x, float) { return x; });
  std::vector<float> out(122, 0.0f);
  const float ext[4] = {0, 0, 100, 100};
  std::vector<float> p{0};
  EXPECT_EQ(GEO_ScatToGridWithKrig(l.pts, 3, l.count(), 3, ext, 10, 10, 10, 10, 6, 1, 0, p, out),
            1);
  EXPECT_EQ(GEO_ScatToGridWithKrig(l.pts, 2, l.count(), 3, ext, 10, 10, 11, 10, 6, 1, 0, p, out),
            2);
  EXPECT_EQ(GEO_ScatToGridWithKrig(l.pts, 2, l.count(), 3, ext, 0, 10, 10, 10, 6, 1, 0, p, out), 3);
  EXPECT_EQ(GEO_ScatToGridWithKrig(l.pts, 2, l.count(), 3, ext, 10, 10, 10, 10, 6, 11, 0, p, out),
            4);
  // Three parameters announced as 2, but only two given.
  std::vector<float> two{1, 2};
  EXPECT_EQ(GEO_ScatToGridWithKrig(l.pts, 2, l.count(), 3, ext, 10, 10, 10, 10, 6, 9, 2, two, out),
            5);
  EXPECT_EQ(GEO_ScatToGridWithKrig(l.pts, 2, l.count(), 3, ext, 10, 10, 10, 10, 6, 1, 0, p, out),
            0);
  // Points with null coordinates or values are not used; none left: every node null.
  Layout nulls;
  for (int i = 0; i < 12; ++i) nulls.add(NULL_VALUE, 5, 1);
  std::vector<float> g = krige(nulls, 1);
  for (std::size_t k = 0; k < 121; ++k) EXPECT_EQ(g[k], NULL_VALUE);
}

TEST(MedianGridding, NodesTakeTheMedianOfTheirRegion) {
  Layout l;
  l.add(0, 0, 5);
  l.add(0.5f, 0, 1);
  l.add(0, 0.5f, 9);
  l.add(1, 1, 4);             // √2 from (0,0): outside the circle, inside the rectangle
  l.add(NULL_VALUE, 0, 100);  // not used
  l.add(0, 0, NULL_VALUE);    // not used
  const float ext[4] = {0, 0, 2, 2};
  std::vector<float> out(10, 0.0f);
  ASSERT_EQ(Geo_IMMedian(l.pts, l.count(), ext, 0, 1, 1, 1, 1, 3, 3, out), 0);
  EXPECT_EQ(out[0], 5);       // 1, 5, 9
  EXPECT_EQ(out[1], 4);       // (1,0): 1, 4, 5 — (0, 0.5) is √1.25 away
  EXPECT_EQ(out[4], 4);       // (1,1): the point on it alone
  EXPECT_LE(out[8], -1e35f);  // (2,2): (1,1) is √2 away
  EXPECT_LE(out[2], -1e35f);  // (2,0): (1,1) is √2 away, the others more
  EXPECT_EQ(out[9], 0.0f);
  ASSERT_EQ(Geo_IMMedian(l.pts, l.count(), ext, 1, 1, 1, 1, 1, 3, 3, out), 0);
  EXPECT_EQ(out[0], 4.5f);  // 1, 4, 5, 9
  // Arguments it cannot use.
  EXPECT_GT(Geo_IMMedian(l.pts, 100, ext, 0, 1, 1, 1, 1, 3, 3, out), 0);
  EXPECT_GT(Geo_IMMedian(l.pts, l.count(), ext, 0, 1, 1, 1, 1, 4, 3, out), 0);
  EXPECT_GT(Geo_IMMedian(l.pts, l.count(), ext, 0, 1, 1, 0, 1, 3, 3, out), 0);
  EXPECT_GT(Geo_IMMedian(l.pts, l.count(), ext, 0, -1, 1, 1, 1, 3, 3, out), 0);
  EXPECT_GT(Geo_IMMedian(l.pts, l.count(), ext, 2, 1, 1, 1, 1, 3, 3, out), 0);
}

TEST(MedianGridding, PointsBeyondTheGridReachEdgeNodes) {
  Layout l;
  l.add(-0.75f, 0, 3);
  l.add(5.5f, 0, 8);  // beyond the right edge (x of the last column is 2)
  l.add(2.9f, 0, 6);
  const float ext[4] = {0, 0, 2, 0};
  std::vector<float> out(4, 0.0f);
  ASSERT_EQ(Geo_IMMedian(l.pts, l.count(), ext, 0, 1, 1, 1, 1, 3, 1, out), 0);
  EXPECT_EQ(out[0], 3);
  EXPECT_LE(out[1], -1e35f);
  EXPECT_EQ(out[2], 6);
}

}  // namespace
}  // namespace sarnoth
