// Trend surfaces against R's lm on the same polynomial terms, the F tail against R's pf, and the
// tool's run: the new table, the refusal of a name in use, nulls and the grids.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "geochem/f_distribution.h"
#include "geochem/trend_analysis.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

using test::TempDir;

// R 4.x: pf(f, d1, d2, lower.tail = FALSE) and pbeta.
TEST(FDistribution, UpperTailAgreesWithR) {
  EXPECT_NEAR(fUpperTail(3.5, 2, 10), 0.07042962777237427, 1e-13);
  EXPECT_NEAR(fUpperTail(120.5, 5, 200) / 2.2822108457247769e-58, 1.0, 1e-10);
  EXPECT_NEAR(fUpperTail(0.3, 7, 3), 0.91412549774791541, 1e-13);
  EXPECT_NEAR(fUpperTail(2.1, 1, 1e5) / 0.14730227437127658, 1, 1e-9);
  EXPECT_NEAR(regularizedIncompleteBeta(2.5, 4, 0.3), 0.35219758590676714, 1e-13);
  EXPECT_EQ(fUpperTail(0, 3, 4), 1.0);
  EXPECT_TRUE(std::isnan(fUpperTail(1, 0, 4)));
}

// 40 samples on a scattered net; generated once by tests/geochem/trend_ref.R (kept beside this
// file) with R 4.2's lm, whose output is typed in below.
struct Samples {
  std::vector<double> x, y, z;
};
Samples rSamples() {
  Samples s;
  for (int i = 0; i < 40; ++i) {
    const int k1 = (i * 37) % 41, k2 = (i * 53) % 43;
    s.x.push_back(500000 + 97.0 * k1);
    s.y.push_back(3350000 + 113.0 * k2);
    s.z.push_back(5 + 0.3 * k1 - 0.2 * k2 + 0.01 * k1 * k2 + ((i * 7919) % 13) / 10.0);
  }
  return s;
}

TEST(TrendSurfaces, AgreeWithRsLmOnThePolynomialTerms) {
  const Samples s = rSamples();
  TrendFits f = fitTrendSurfaces(s.x, s.y, s.z, 3);
  ASSERT_TRUE(f.ok()) << f.failure;
  ASSERT_EQ(f.degrees.size(), 3u);
  const double coef[] = {11.719877568025481,   12.349496281756254,   -0.20914473395393968,
                         -0.11687094891301197, 5.1840867558255521,   -0.33153037313097777,
                         0.58410497655836102,  -0.48690474602691425, -0.20862246688114944,
                         0.76595534761553596};
  const double se[] = {0.10887444750636838, 0.32799765766947014, 0.27235442550474298,
                       0.29358517652697252, 0.21176393538929361, 0.19282889229251318,
                       0.68416924411266034, 0.46991902925104778, 0.39518497591139046,
                       0.38764876445726648};
  const TrendDegreeFit& d3 = f.degrees[2];
  ASSERT_EQ(d3.coefficients.size(), 10u);
  for (int k = 0; k < 10; ++k) {
    EXPECT_NEAR(d3.coefficients[k], coef[k], 1e-9 * (1 + std::fabs(coef[k]))) << k;
    EXPECT_NEAR(d3.stdErr[k], se[k], 1e-9) << k;
  }
  const double r2[] = {0.93561745224614346, 0.99661733561450716, 0.99718297272385148};
  const double F[] = {268.84495054044879, 2003.4496804480466, 1179.9471274404641};
  const double P[] = {9.1666560240601345e-23, 5.8006038789979528e-41, 1.0082384707429209e-35};
  for (int d = 0; d < 3; ++d) {
    EXPECT_NEAR(f.degrees[d].rSquared, r2[d], 1e-12);
    EXPECT_NEAR(f.degrees[d].f / F[d], 1, 1e-9);
    EXPECT_NEAR(f.degrees[d].fP / P[d], 1, 1e-7);
  }
  // anova(m1, m2) and anova(m2, m3): the F of each degree's own terms
  EXPECT_NEAR(f.degrees[1].fGain / 204.37499341436876, 1, 1e-9);
  EXPECT_NEAR(f.degrees[1].fGainP / 8.2104407264680558e-22, 1, 1e-7);
  EXPECT_NEAR(f.degrees[2].fGain, 1.5059415135954746, 1e-9);
  EXPECT_NEAR(f.degrees[2].fGainP, 0.2254614197422016, 1e-10);
  EXPECT_EQ(f.degrees[2].gainDf1, 4);
  EXPECT_EQ(f.degrees[2].dfResidual, 30);
  // the surface through the frame gives the fitted values back at the samples
  double sse = 0;
  for (std::size_t i = 0; i < s.x.size(); ++i) {
    const double r = s.z[i] - d3.value(f.frame, s.x[i], s.y[i]);
    sse += r * r;
  }
  EXPECT_NEAR(sse, d3.sse, 1e-9 * d3.totalSS);
}

TEST(TrendSurfaces, ReproduceAnExactSurfaceAndRefuseWhatCannotBeFitted) {
  // z a plane: degree 1 exact, R² = 1
  std::vector<double> x, y, z;
  for (int i = 0; i < 6; ++i)
    for (int j = 0; j < 5; ++j) {
      x.push_back(100 + 10 * i);
      y.push_back(200 + 7 * j);
      z.push_back(3 + 0.5 * x.back() - 0.25 * y.back());
    }
  TrendFits f = fitTrendSurfaces(x, y, z, 2);
  ASSERT_TRUE(f.ok());
  EXPECT_NEAR(f.degrees[0].rSquared, 1.0, 1e-12);
  EXPECT_NEAR(f.degrees[0].value(f.frame, 123, 211), 3 + 61.5 - 52.75, 1e-9);
  EXPECT_EQ(f.degrees[1].terms, 5);
  // ten samples cannot carry the 21 coefficients of degree 5
  std::vector<double> few(x.begin(), x.begin() + 10);
  EXPECT_EQ(fitTrendSurfaces(few, few, few, 5).failure, kMsgTrendTooFew);
  // samples on one line do not determine a surface
  std::vector<double> line(30);
  for (int i = 0; i < 30; ++i) line[static_cast<std::size_t>(i)] = i;
  TrendFits bad = fitTrendSurfaces(line, line, z, 1);
  EXPECT_NE(bad.failure.find("次趋势面的项线性相关"), std::string::npos);
  // term order u, v, u², uv, v², …
  auto t = trendTerms(3);
  ASSERT_EQ(t.size(), 9u);
  EXPECT_EQ(t[3].i, 1);
  EXPECT_EQ(t[3].j, 1);
  EXPECT_EQ(t[8].i, 0);
  EXPECT_EQ(t[8].j, 3);
}

class TrendRun : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute("Create Table [样品] ([X] Single, [Y] Single, [Cu] Single)");
    const Samples s = rSamples();
    TableWriter w(db, "样品", {"X", "Y", "Cu"});
    for (std::size_t i = 0; i < s.x.size(); ++i) {
      w.setDouble(0, s.x[i]);
      w.setDouble(1, s.y[i]);
      w.setDouble(2, i == 5 ? NULL_VALUE_D : s.z[i]);
      w.addRow();
    }
    w.setDouble(0, NULL_VALUE_D);  // no coordinate: not written
    w.setDouble(1, 3350000);
    w.setDouble(2, 7);
    w.addRow();
    w.commit();
    Registration how{"OutDataIn", "外部数据导入", OverwriteRule::Ask, "", "", false};
    ScriptedInteraction ui;
    registerTable(db, "样品", how, ui);
  }
  TrendJob job() {
    TrendJob j;
    j.table = "样品";
    j.xField = "X";
    j.yField = "Y";
    j.valueField = "Cu";
    j.degreeText = "2";
    j.newTable = "Cu趋势";
    return j;
  }
  TempDir tmp;
  Database db;
};

TEST_F(TrendRun, WritesTrendAndResidualAndRegistersTheTable) {
  ScriptedInteraction ui;
  TrendResult r;
  ASSERT_TRUE(runTrendAnalysis(db, tmp.dir(), job(), ui, r).ok);
  EXPECT_EQ(r.fits.n, 39);  // the null value is left out of the fit
  EXPECT_EQ(r.rowsWritten, 40);
  EXPECT_EQ(db.rowCount("Cu趋势"), 40);
  Recordset reg = Recordset::openTable(db, kRegistryTable);
  ASSERT_TRUE(reg.findFirst("查询表名='Cu趋势'"));
  EXPECT_EQ(reg.getText("查询库名"), "TrendProc");
  EXPECT_EQ(reg.getText("说明"), "趋势分析");
  // trend + residual = value; residual null where the value is
  Cursor c = db.query("Select [Cu],[Cu_T],[Cu_R] From [Cu趋势]");
  int rows = 0, nulls = 0;
  while (c.next()) {
    ++rows;
    if (c.getFloat(0) == NULL_VALUE) {
      EXPECT_EQ(c.getFloat(2), NULL_VALUE);
      ++nulls;
      continue;
    }
    EXPECT_NEAR(c.getDouble(1) + c.getDouble(2), c.getDouble(0), 1e-4);
  }
  EXPECT_EQ(nulls, 1);
  EXPECT_EQ(r.report.front(), "   趋势面分析");

  // the name is now in use: refused with the system's text, nothing changed
  ScriptedInteraction ui2;
  TrendResult again;
  Outcome o = runTrendAnalysis(db, tmp.dir(), job(), ui2, again);
  EXPECT_FALSE(o.ok);
  ASSERT_EQ(ui2.informed.size(), 1u);
  EXPECT_EQ(ui2.informed[0], kMsgTrendNameExists);
  EXPECT_EQ(db.rowCount("Cu趋势"), 40);
}

TEST_F(TrendRun, GridsTrendAndResidualThroughTheGriddingEngine) {
  TrendJob j = job();
  j.gridTrend = j.gridResidual = true;
  j.gridSpacingText = "100";
  ScriptedInteraction ui;
  TrendResult r;
  ASSERT_TRUE(runTrendAnalysis(db, tmp.dir(), j, ui, r).ok);
  ASSERT_EQ(r.gridPaths.size(), 2u);
  GridReadResult g = readGrid(r.gridPaths[0]);
  ASSERT_TRUE(g.ok());
  EXPECT_EQ(g.grid.header.method.substr(0, 10), "ScatToGrid");
  EXPECT_EQ(g.grid.header.nx, 40);  // Fix(97·40 / 100 + 1.9999)
  EXPECT_GT(g.grid.header.validCount, 0);
  // inverse distance weighting stays within the trend values it weights
  Cursor c = db.query("Select Min([Cu_T]), Max([Cu_T]) From [Cu趋势]");
  ASSERT_TRUE(c.next());
  EXPECT_GE(g.grid.header.zMin, c.getFloat(0) - 1e-4f);
  EXPECT_LE(g.grid.header.zMax, c.getFloat(1) + 1e-4f);
}

TEST(TrendJobChecks, RefuseIncompleteJobs) {
  TrendJob j;
  EXPECT_EQ(checkTrendJob(j), kMsgTrendNoTable);
  j.table = "t";
  EXPECT_EQ(checkTrendJob(j), kMsgTrendNoFields);
  j.xField = "x", j.yField = "y", j.valueField = "v";
  j.degreeText = "7";
  EXPECT_EQ(checkTrendJob(j), kMsgTrendDegree);
  j.degreeText = "3";
  EXPECT_EQ(checkTrendJob(j), kMsgTrendNoNewTable);
  j.newTable = "n";
  j.gridSpacingText = "-2";
  EXPECT_NE(checkTrendJob(j), "");
  j.gridSpacingText = "";
  EXPECT_EQ(checkTrendJob(j), "");
}

}  // namespace
}  // namespace sarnoth::geochem
