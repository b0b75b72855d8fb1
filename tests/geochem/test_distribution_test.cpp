// The distribution test tool: statistics, classes and tests of a sample against R 4.2.2, the
// reading of a table's field (nulls, log scale), the report and the two plots.
// R commands (x20 as in test_normality_tests.cpp):
//   m <- mean(x20); m2 <- mean((x20-m)^2); m3/m2^1.5; mean((x20-m)^4)/m2^2 - 3; median(x20);
//   exp(mean(log(x20))); nclass.Sturges(x); nclass.scott(x); nclass.FD(x); qnorm(ppoints(n));
//   lx <- log10(x20); shapiro.test(lx); ks.test(lx, "pnorm", mean(lx), sd(lx))
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/distribution_test.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

const std::vector<double> kX20 = {12.1, 15.3, 9.8,  22.4, 18.7, 11.2, 14.9, 30.5, 16.8, 13.3,
                                  19.6, 10.4, 25.1, 17.2, 12.9, 14.1, 21.3, 15.8, 45.2, 13.7};

void near4(double actual, double expected) {
  EXPECT_NEAR(actual, expected, 1e-4 * std::abs(expected));
}

TEST(DistributionTest, StatisticsClassesAndTestsOfASampleAgreeWithR) {
  DistributionJob job;
  job.table = "T";
  job.field = "Cu";
  ElementSample s;
  s.values = kX20;
  s.records = 20;
  const DistributionResult r = analyseDistribution(job, s);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  near4(r.mean, 18.015);
  near4(r.sd, 8.24450534726327);
  near4(r.median, 15.55);
  near4(r.skewness, 1.98058601167616);
  near4(r.kurtosis, 4.03526599080494);
  near4(*r.geometricMean, 16.7106245790607);
  EXPECT_EQ(r.classes, 6);
  EXPECT_EQ(r.histogram.counts, (std::vector<std::int64_t>{10, 6, 2, 1, 0, 1}));
  near4(r.histogram.width, 5.9);
  near4(r.sw->w, 0.79277142002642);
  near4(r.ks.p, 0.418167372047282);
  EXPECT_FALSE(r.chi.valid);  // six classes pool to three
  // The log scale tests log-normality: shapiro.test(lx), ks.test(lx, …).
  job.logScale = true;
  for (double& v : s.values) v = std::log10(v);
  const DistributionResult l = analyseDistribution(job, s);
  near4(l.sw->w, 0.943333569305824);
  near4(l.sw->p, 0.276989785104261);
  near4(l.ks.d, 0.11940823936981);
  near4(l.ks.p, 0.906144165957419);
  EXPECT_FALSE(l.geometricMean.has_value());

  // Class counts of the three rules, as R's nclass.Sturges, nclass.scott and nclass.FD.
  EXPECT_EQ(proposedClassCount(kX20, ClassRule::Sturges), 6);
  EXPECT_EQ(proposedClassCount(kX20, ClassRule::Scott), 4);
  EXPECT_EQ(proposedClassCount(kX20, ClassRule::FreedmanDiaconis), 8);
  std::vector<double> x500;
  for (int i = 1; i <= 500; ++i)
    x500.push_back(std::exp(0.5 * std::sin(i * 0.9) + 0.3 * std::cos(i * 2.1)));
  EXPECT_EQ(proposedClassCount(x500, ClassRule::Sturges), 10);
  EXPECT_EQ(proposedClassCount(x500, ClassRule::Scott), 9);
  EXPECT_EQ(proposedClassCount(x500, ClassRule::FreedmanDiaconis), 11);
  // Normal scores: qnorm(ppoints(5)) (a = 3/8) and the first of qnorm(ppoints(12)) (a = 1/2).
  const std::vector<double> z5 = normalScores(5);
  near4(z5[0], -1.17976111761186);
  near4(z5[1], -0.497200570681554);
  EXPECT_EQ(z5[2], 0.0);
  near4(normalScores(12)[0], -1.73166439612225);
}

TEST(DistributionTest, RefusesTooFewOrEqualValues) {
  DistributionJob job;
  ElementSample s;
  s.values = {1, 2};
  EXPECT_EQ(analyseDistribution(job, s).outcome.message, kMsgHistTooFew);
  s.values = {3, 3, 3, 3};
  EXPECT_EQ(analyseDistribution(job, s).outcome.message, kMsgHistNoSpread);
  // A typed class count wins over the rule.
  job.classes = 3;
  s.values = kX20;
  const DistributionResult r = analyseDistribution(job, s);
  EXPECT_EQ(r.classes, 3);
  EXPECT_FALSE(r.classesByRule);
  EXPECT_EQ(pValueText(0.04312), "0.0431");
  EXPECT_EQ(pValueText(1.06053638973331e-08), "1.061E-08");
}

class DistributionTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute("Create Table [样品] ([Cu] SINGLE, [Pb] SINGLE)");
    TableWriter w(db, "样品", {"Cu", "Pb"});
    for (double v : kX20) {
      w.setDouble(0, v);
      w.setDouble(1, v - 12);  // 9.8 − 12 < 0: left out on the log scale
      w.addRow();
    }
    w.setDouble(0, NULL_VALUE_D);
    w.setDouble(1, 0);
    w.addRow();
    w.commit();
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(DistributionTableTest, ReadsTheFieldAndReportsAndDraws) {
  DistributionJob job;
  job.table = "样品";
  job.field = "Cu";
  DistributionResult r = runDistributionTest(db, job);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.records, 21);
  EXPECT_EQ(r.nulls, 1);
  EXPECT_EQ(r.sorted.size(), 20u);
  near4(r.sw->p, 0.000675405259060216);
  const std::string& t = r.report;
  EXPECT_EQ(t.rfind(kHistReportTitle, 0), 0u);
  EXPECT_NE(t.find("  记录数: 21    有效数据: 20    空值: 1"), std::string::npos) << t;
  EXPECT_NE(t.find("  分组数: 6 (Sturges 法)    组距: 5.9000"), std::string::npos) << t;
  EXPECT_NE(t.find("W=0.7928"), std::string::npos) << t;
  EXPECT_NE(t.find("0.0007    拒绝正态分布"), std::string::npos) << t;
  EXPECT_NE(t.find("D=0.1894"), std::string::npos) << t;
  EXPECT_NE(t.find("0.4182    接受正态分布"), std::string::npos) << t;
  EXPECT_NE(t.find("卡方检验                    合并后分组数不足"), std::string::npos) << t;

  const chart::Chart h = histogramChart(job, r);
  ASSERT_EQ(h.series.size(), 3u);  // bars, normal, log-normal
  EXPECT_EQ(h.series[0].y, (std::vector<double>{10, 6, 2, 1, 0, 1}));
  EXPECT_NEAR(h.series[0].x[0], 9.8 + 2.95, 1e-5);
  // The normal curve as expected counts: its peak n·h/(s√2π) at the mean.
  double peak = 0;
  for (double y : h.series[1].y) peak = std::max(peak, y);
  EXPECT_NEAR(peak, 20 * 5.9 / (8.24450534726327 * std::sqrt(2 * M_PI)), 0.01);
  // The tallest bar (10) stays below the top of the frame.
  EXPECT_FALSE(h.y.autoRange);
  EXPECT_DOUBLE_EQ(h.y.hi, 11.5);
  const chart::Chart q = qqChart(job, r);
  ASSERT_EQ(q.series.size(), 2u);
  EXPECT_EQ(q.series[0].y.front(), r.sorted.front());
  EXPECT_EQ(q.series[0].x.size(), 20u);

  // Log scale: the negative values and the 0 are counted apart; no log-normal curve is added.
  job.field = "Pb";
  job.logScale = true;
  r = runDistributionTest(db, job);
  ASSERT_TRUE(r.outcome.ok);
  EXPECT_EQ(r.nonPositive, 4);  // 9.8 − 12, 10.4 − 12, 11.2 − 12 and the 0
  EXPECT_EQ(r.sorted.size(), 17u);
  EXPECT_NE(r.report.find("非正值: 4"), std::string::npos);
  EXPECT_EQ(histogramChart(job, r).series.size(), 2u);
  EXPECT_EQ(histogramChart(job, r).x.label, "log10(Pb)");

  job.field = "Zn";
  EXPECT_EQ(runDistributionTest(db, job).outcome.message, "数据表中没有数据项: Zn");
  job.field.clear();
  EXPECT_EQ(runDistributionTest(db, job).outcome.message, kMsgHistChooseItem);
  job.field = "Cu";
  job.alpha = 1.5;
  EXPECT_EQ(runDistributionTest(db, job).outcome.message, kMsgHistBadAlpha);
}

}  // namespace
}  // namespace sarnoth::geochem
