// The regression calls of the closed library as the regression tool makes them: single values
// in and out, the stats slots, the constant last, and the status of a design without a fit.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "closed/vlq_app.h"

namespace sarnoth::vlq {
namespace {

TEST(RegressionCalls, OneVariableStatsSlots) {
  // x 1..4, y 1, 3, 2, 5: y = 0 + 1.1·x, residuals -0.1, 0.8, -1.3, 0.6.
  std::vector<float> x{1, 2, 3, 4}, y{1, 3, 2, 5}, b(2), stats(6);
  ASSERT_EQ(GEO_ProcessRegression1(x, y, 4, b, stats), kRegressionOk);
  EXPECT_NEAR(b[0], 0, 1e-6);
  EXPECT_NEAR(b[1], 1.1, 1e-6);
  EXPECT_NEAR(stats[0], 2.7, 1e-5);              // Q
  EXPECT_NEAR(stats[1], std::sqrt(1.35), 1e-6);  // sqrt(Q / (n - 2))
  EXPECT_NEAR(stats[2], 6.05, 1e-5);             // U
  EXPECT_NEAR(stats[3], 1.3, 1e-6);
  EXPECT_NEAR(stats[4], 0.1, 1e-6);
  EXPECT_NEAR(stats[5], 0.7, 1e-6);
}

TEST(RegressionCalls, QuinticOnExactSinglesWithTheConstantLast) {
  // Wampler1 (NIST StRD): y = 1 + x + … + x⁵ for x = 0..20, every value exact in single
  // precision; certified coefficients all 1.
  const int n = 21, m = 5;
  std::vector<float> x(static_cast<std::size_t>(m * n)), y(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    float p = 1, s = 1;
    for (int k = 1; k <= m; ++k) {
      p *= static_cast<float>(i);
      x[static_cast<std::size_t>((k - 1) * n + i)] = p;
      s += p;
    }
    y[static_cast<std::size_t>(i)] = s;
  }
  std::vector<float> b(6), stats(6), partial(5);
  ASSERT_EQ(GEO_ProcessRegression2(x, y, m, n, b, stats, partial), kRegressionOk);
  for (float v : b) EXPECT_NEAR(v, 1.0f, 1e-6f);
  EXPECT_LT(stats[0], 1e-6f);
  for (float pc : partial) EXPECT_NEAR(pc, 1.0f, 1e-6f);
}

TEST(RegressionCalls, StatusNamesTheDependentColumnAndShortDesigns) {
  std::vector<float> x{1, 2, 3, 4, 5, 2, 4, 6, 8, 10}, y{1, 2, 1, 3, 2}, b(3), stats(6), partial(2);
  EXPECT_EQ(GEO_ProcessRegression2(x, y, 2, 5, b, stats, partial), 2);  // column 2 = 2·column 1
  std::vector<float> c{7, 7, 7, 7}, cy{1, 2, 3, 4}, b1(2);
  EXPECT_EQ(GEO_ProcessRegression1(c, cy, 4, b1, stats), 1);
  EXPECT_EQ(GEO_ProcessRegression1(c, cy, 2, b1, stats), kRegressionTooFewSamples);
  std::vector<float> inf{1, INFINITY, 3, 4};
  EXPECT_EQ(GEO_ProcessRegression1(inf, cy, 4, b1, stats), kRegressionNotFinite);
}

TEST(RegressionCalls, StepwiseFillsTheReportArrays) {
  // Hald's cement data with F 4.0 and 4.0: x1 and x2 in the equation (see the engine's test).
  const std::vector<float> cols{7,  1,  11, 11, 7,  11, 3,  1,  2,  21, 1,  11, 10,
                                26, 29, 56, 31, 52, 55, 71, 31, 54, 47, 40, 66, 68,
                                6,  15, 8,  8,  6,  9,  17, 22, 18, 4,  23, 9,  8,
                                60, 52, 20, 47, 33, 22, 6,  44, 22, 26, 34, 12, 12};
  const std::vector<float> y{78.5f, 74.3f, 104.3f, 87.6f, 95.9f,  109.2f, 102.7f,
                             72.5f, 93.1f, 115.9f, 83.8f, 113.3f, 109.4f};
  std::vector<float> b(5), means(5), pss(4), se(4), stats(4), corr(25);
  std::vector<std::int32_t> sel(4);
  ASSERT_EQ(GEO_ProcessRegression3(cols, y, 4, 13, 4.0f, 4.0f, b, means, pss, se, stats, corr, sel),
            kRegressionOk);
  EXPECT_EQ(sel, (std::vector<std::int32_t>{1, 1, 0, 0}));
  EXPECT_NEAR(b[0], 1.46831f, 1e-4);
  EXPECT_NEAR(b[1], 0.66225f, 1e-4);
  EXPECT_EQ(b[3], 0);
  EXPECT_NEAR(b[4], 52.5773f, 1e-3);
  EXPECT_NEAR(means[4], 95.4231f, 1e-3);
  EXPECT_NEAR(stats[0], 57.9045f, 1e-3);
  EXPECT_NEAR(stats[1], std::sqrt(5.79045f), 1e-4);
  EXPECT_GT(stats[2], 0.98f);
  EXPECT_EQ(corr[0], 1.0f);
  EXPECT_GT(se[0], 0);
  EXPECT_EQ(se[2], 0);
}

}  // namespace
}  // namespace sarnoth::vlq
