// The anomaly statistics of the FractalProc seam and the robust thresholds, on data with answers
// worked by hand (quantiles as R's quantile(type = 7) gives them) and on seeded samples of known
// population.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "closed/fractal_proc.h"
#include "geochem/anomaly_stats.h"

namespace sarnoth {
namespace {

TEST(AnomalyStats, MeanAndSampleDeviation) {
  const std::vector<float> v{2, 4, 4, 4, 5, 5, 7, 9};
  float mean = -1, sd = -1;
  EXPECT_EQ(GEO_GetAverageStdDev(v, 8, mean, sd), 8);
  EXPECT_FLOAT_EQ(mean, 5.0f);
  EXPECT_FLOAT_EQ(sd, static_cast<float>(std::sqrt(32.0 / 7.0)));
  // The count cuts the data; none and one value are stated results, not NaN.
  GEO_GetAverageStdDev(v, 3, mean, sd);
  EXPECT_FLOAT_EQ(mean, 10.0f / 3.0f);
  GEO_GetAverageStdDev(v, 0, mean, sd);
  EXPECT_EQ(mean, 0.0f);
  EXPECT_EQ(sd, 0.0f);
  GEO_GetAverageStdDev(v, 1, mean, sd);
  EXPECT_EQ(mean, 2.0f);
  EXPECT_EQ(sd, 0.0f);
  // Values far from zero: two passes keep the deviation exact.
  const std::vector<float> far{100000.5f, 100001.5f, 100002.5f};
  GEO_GetAverageStdDev(far, 3, mean, sd);
  EXPECT_FLOAT_EQ(sd, 1.0f);
}

TEST(AnomalyStats, RejectionByHand) {
  // Nine tens and a fifty: x̄ = 14, s = √160 = 12.65, cut 31.6 < 36, so the fifty goes; then the
  // tens have s = 0 and nothing more is rejected.
  std::vector<float> v(9, 10.0f);
  v.push_back(50.0f);
  float mean = 0, sd = -1;
  EXPECT_EQ(GEO_NormalDistribution(v, 10, mean, sd, 2.5f), 1);
  EXPECT_FLOAT_EQ(mean, 10.0f);
  EXPECT_EQ(sd, 0.0f);
  // At m = 3 the cut is 37.9 and the fifty stays.
  EXPECT_EQ(GEO_NormalDistribution(v, 10, mean, sd, 3.0f), 0);
  EXPECT_FLOAT_EQ(mean, 14.0f);
  EXPECT_FLOAT_EQ(sd, static_cast<float>(std::sqrt(160.0)));

  // Equal values, a multiple of 0 or NaN, two values at a small multiple: nothing is rejected,
  // and the iteration never empties the sample.
  const std::vector<float> same(5, 3.0f);
  EXPECT_EQ(GEO_NormalDistribution(same, 5, mean, sd, 2.5f), 0);
  EXPECT_EQ(sd, 0.0f);
  EXPECT_EQ(GEO_NormalDistribution(v, 10, mean, sd, 0.0f), 0);
  EXPECT_EQ(GEO_NormalDistribution(v, 10, mean, sd, std::nanf("")), 0);
  const std::vector<float> spread{1, 2, 3, 4, 5, 6, 7, 8};
  const std::int32_t rejected = GEO_NormalDistribution(spread, 8, mean, sd, 0.3f);
  EXPECT_LE(rejected, 6);
  EXPECT_TRUE(std::isfinite(mean) && std::isfinite(sd));
  EXPECT_EQ(GEO_NormalDistribution(spread, 0, mean, sd, 2.5f), 0);
  EXPECT_EQ(mean, 0.0f);
}

TEST(AnomalyStats, LogNormalSampleGivesItsParametersAndCountsTheInjectedCluster) {
  // 5000 values with log10 x ~ N(1.5, 0.3); the sampling error of the mean is 0.3/√5000 =
  // 0.0042 and of the deviation 0.3/√10000 = 0.003.
  std::mt19937 rng(42);
  std::normal_distribution<double> g(1.5, 0.3);
  std::vector<float> v;
  for (int i = 0; i < 5000; ++i) v.push_back(static_cast<float>(std::pow(10.0, g(rng))));
  float mean = 0, sd = 0;
  const std::int32_t clean =
      GEO_LogNormalDistribution(v, static_cast<std::int32_t>(v.size()), mean, sd, 2.5f);
  EXPECT_NEAR(mean, 1.5, 4 * 0.0042);
  EXPECT_NEAR(sd, 0.3, 4 * 0.003);

  // A cluster of 100 values around 10 000 (log 4, 8.3 deviations out) is all rejected.
  std::vector<float> dirty = v;
  std::normal_distribution<double> cluster(4.0, 0.05);
  for (int i = 0; i < 100; ++i) dirty.push_back(static_cast<float>(std::pow(10.0, cluster(rng))));
  const std::int32_t withCluster =
      GEO_LogNormalDistribution(dirty, static_cast<std::int32_t>(dirty.size()), mean, sd, 2.5f);
  EXPECT_NEAR(withCluster - clean, 100, 5);
  EXPECT_NEAR(mean, 1.5, 4 * 0.0042);
  EXPECT_NEAR(sd, 0.3, 4 * 0.003);

  // Zero and negative values take no part and are not counted as rejected.
  std::vector<float> tiny{10, 100, 1000, 0, -5};
  EXPECT_EQ(GEO_LogNormalDistribution(tiny, 5, mean, sd, 2.5f), 0);
  EXPECT_FLOAT_EQ(mean, 2.0f);
  EXPECT_FLOAT_EQ(sd, 1.0f);
  const std::vector<float> none{0, -1};
  EXPECT_EQ(GEO_LogNormalDistribution(none, 2, mean, sd, 2.5f), 0);
  EXPECT_EQ(mean, 0.0f);
  EXPECT_EQ(sd, 0.0f);
}

TEST(AnomalyStats, NormalSampleDeviationIsThePopulations) {
  // Without the correction for the cut the deviation would settle 6 % low (0.94 × 10).
  std::mt19937 rng(7);
  std::normal_distribution<double> g(100.0, 10.0);
  std::vector<float> v;
  for (int i = 0; i < 20000; ++i) v.push_back(static_cast<float>(g(rng)));
  float mean = 0, sd = 0;
  const std::int32_t rejected = GEO_NormalDistribution(v, 20000, mean, sd, 2.5f);
  // The cut settles near 2.34σ, beyond which 1.9 % of a normal sample lies.
  EXPECT_NEAR(rejected, 0.019 * 20000, 80);
  EXPECT_NEAR(mean, 100.0, 4 * 10.0 / std::sqrt(20000.0));
  EXPECT_NEAR(sd, 10.0, 4 * 10.0 / std::sqrt(40000.0));
}

TEST(AnomalyStats, PercentSlotsByHand) {
  // 1 … 10 shuffled: R gives quantile(1:10, c(.85, .25, .5, .75)) = 8.65, 3.25, 5.5, 7.75.
  const std::vector<float> v{7, 3, 10, 1, 9, 2, 8, 5, 6, 4};
  std::vector<float> out(7, -1.0f);
  EXPECT_EQ(GEO_PercentAnomaly(v, 10, 15, out), 0);
  EXPECT_FLOAT_EQ(out[0], 8.65f);
  EXPECT_FLOAT_EQ(out[1], 1.0f);
  EXPECT_FLOAT_EQ(out[2], 3.25f);
  EXPECT_FLOAT_EQ(out[3], 5.5f);
  EXPECT_FLOAT_EQ(out[4], 7.75f);
  EXPECT_FLOAT_EQ(out[5], 10.0f);
  // p = 0 is the maximum, p = 100 the minimum, beyond is held to the ends.
  GEO_PercentAnomaly(v, 10, 0, out);
  EXPECT_EQ(out[0], 10.0f);
  GEO_PercentAnomaly(v, 10, 100, out);
  EXPECT_EQ(out[0], 1.0f);
  GEO_PercentAnomaly(v, 10, -20, out);
  EXPECT_EQ(out[0], 10.0f);
  // No data: zeros; too short an output: refused.
  GEO_PercentAnomaly(v, 0, 15, out);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(out[static_cast<std::size_t>(i)], 0.0f);
  std::vector<float> shortOut(5);
  EXPECT_EQ(GEO_PercentAnomaly(v, 10, 15, shortOut), -1);
  // The caller's data stay as they were.
  EXPECT_EQ(v[0], 7.0f);
}

TEST(AnomalyStats, RobustThresholdsByHand) {
  // {1, 2, 3, 4, 100}: median 3, |x − 3| = {2, 1, 0, 1, 97} has median 1, so MAD = 1.4826 and
  // the limit 3 + 2.9652; quartiles 2 and 4 (type 7, n = 5), fence 4 + 1.5·2 = 7; the 98th
  // percentile h = 4.92: 4 + 0.92·96 = 92.32.
  const std::vector<float> v{100, 3, 1, 4, 2};
  RobustThreshold mad = medianMadThreshold(v, LogScale::Never);
  EXPECT_EQ(mad.n, 5);
  EXPECT_DOUBLE_EQ(mad.centre, 3.0);
  EXPECT_NEAR(mad.spread, kMadNormalFactor, 1e-12);
  EXPECT_NEAR(mad.threshold, 3 + 2 * kMadNormalFactor, 1e-12);
  RobustThreshold fence = boxplotFenceThreshold(v, LogScale::Never);
  EXPECT_DOUBLE_EQ(fence.q1, 2.0);
  EXPECT_DOUBLE_EQ(fence.q3, 4.0);
  EXPECT_DOUBLE_EQ(fence.threshold, 7.0);
  RobustThreshold p98 = percentileThreshold(v);
  EXPECT_NEAR(p98.threshold, 92.32, 1e-4);
  EXPECT_DOUBLE_EQ(p98.centre, 3.0);

  // On logs: 10^0 … 10^4 give logs 0 … 4, median 2, MAD 1.4826; the limit is returned in data
  // units, and values at or below zero are left out.
  const std::vector<float> decades{1, 10, 100, 1000, 10000, 0, -3};
  mad = medianMadThreshold(decades, LogScale::Always);
  EXPECT_TRUE(mad.logScale);
  EXPECT_EQ(mad.n, 5);
  EXPECT_NEAR(mad.centre, 2.0, 1e-7);
  EXPECT_NEAR(std::log10(mad.threshold), 2 + 2 * kMadNormalFactor, 1e-6);
  fence = boxplotFenceThreshold(decades, LogScale::Always);
  EXPECT_NEAR(std::log10(fence.threshold), 3 + 1.5 * 2, 1e-6);

  // Empty input: zeros.
  EXPECT_EQ(medianMadThreshold({}, LogScale::Auto).threshold, 0.0);
}

TEST(AnomalyStats, LogScaleChosenForLogNormalData) {
  std::mt19937 rng(3);
  std::lognormal_distribution<double> ln(std::log(20.0), 0.8);
  std::normal_distribution<double> nd(100.0, 10.0);
  std::vector<float> skewed, symmetric;
  for (int i = 0; i < 3000; ++i) {
    skewed.push_back(static_cast<float>(ln(rng)));
    symmetric.push_back(static_cast<float>(nd(rng)));
  }
  EXPECT_TRUE(looksLogNormal(skewed));
  EXPECT_FALSE(looksLogNormal(symmetric));
  EXPECT_TRUE(medianMadThreshold(skewed).logScale);
  EXPECT_FALSE(boxplotFenceThreshold(symmetric).logScale);
  // A non-positive value or equal values rule the logs out.
  skewed.push_back(0.0f);
  EXPECT_FALSE(looksLogNormal(skewed));
  EXPECT_FALSE(looksLogNormal(std::vector<float>(10, 4.0f)));
  // Against the population (median 20, σ of ln x 0.8): the log fence lies 2.698σ above the
  // median, 20·e^(0.8·2.698) = 173.1; the raw fence 34.31 + 1.5·22.65 = 68.28; the 98th
  // percentile 20·e^(0.8·2.054) = 103.4; median + 2·MAD on logs 20·e^(2·0.8) = 99.1. Sampling
  // error on 3000 values is a few per cent.
  skewed.pop_back();
  EXPECT_NEAR(boxplotFenceThreshold(skewed).threshold, 173.1, 0.08 * 173.1);
  EXPECT_NEAR(boxplotFenceThreshold(skewed, LogScale::Never).threshold, 68.28, 0.08 * 68.28);
  EXPECT_NEAR(percentileThreshold(skewed).threshold, 103.4, 0.08 * 103.4);
  EXPECT_NEAR(medianMadThreshold(skewed).threshold, 99.1, 0.08 * 99.1);
}

}  // namespace
}  // namespace sarnoth
