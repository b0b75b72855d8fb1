// Co-kriging: the fit of the linear model of coregionalisation (exact recovery, the positive
// semi-definite correction), equality with ordinary kriging of the kriging seam when the cross
// variogram vanishes, the gain from a denser perfectly correlated secondary in cross-validation,
// thread independence, and the tool's run.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "closed/kriging.h"
#include "geochem/cokriging.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

using test::TempDir;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

double sphT(double t) { return t >= 1 ? 1.0 : 1.5 * t - 0.5 * t * t * t; }

// Experimental variograms that are exact spherical models (range 10) with the given sills.
CoVariograms exactVariograms(double c11, double c12, double c22, double n11 = 0, double n12 = 0,
                             double n22 = 0) {
  CoVariograms ev;
  ev.nvar = 2;
  ev.cutoff = 15;
  ev.variance = {c11 + n11, c22 + n22};
  ev.primaryFit.range = 10;
  ev.primaryFit.sill = c11;
  ev.primaryFit.nugget = n11;
  const double c[3] = {c11, c12, c22}, n[3] = {n11, n12, n22};
  for (int p = 0; p < 3; ++p) {
    krig::ExperimentalVariogram e;
    e.cutoff = 15;
    for (int l = 0; l < 15; ++l) {
      const double h = l + 0.5;
      e.distance.push_back(h);
      e.gamma.push_back(n[p] + c[p] * sphT(h / 10));
      e.pairs.push_back(100 + l);
    }
    ev.pairs.push_back(e);
  }
  return ev;
}

TEST(Coregionalisation, RecoversAValidModelAndCorrectsAnInvalidOne) {
  Coregionalisation m = fitCoregionalisation(exactVariograms(2, 0.8, 1, 0.3, -0.1, 0.2));
  EXPECT_FALSE(m.corrected);
  EXPECT_DOUBLE_EQ(m.range, 10);
  EXPECT_NEAR(m.b1(0, 0), 2, 1e-9);
  EXPECT_NEAR(m.b1(0, 1), 0.8, 1e-9);
  EXPECT_NEAR(m.b1(1, 0), 0.8, 1e-9);
  EXPECT_NEAR(m.b1(1, 1), 1, 1e-9);
  EXPECT_NEAR(m.b0(0, 0), 0.3, 1e-9);
  EXPECT_NEAR(m.b0(0, 1), -0.1, 1e-9);
  EXPECT_NEAR(m.b0(1, 1), 0.2, 1e-9);
  EXPECT_NEAR(m.gamma(0, 1, 5), -0.1 + 0.8 * sphT(0.5), 1e-9);
  EXPECT_NEAR(m.cov(0, 1, 0), 0.7, 1e-9);

  // a cross sill beyond the geometric mean of the direct ones is no valid model
  Coregionalisation bad = fitCoregionalisation(exactVariograms(1, 1.5, 1));
  EXPECT_TRUE(bad.corrected);
  EXPECT_GE(smallestEigenvalue(bad.sill, 2), -1e-12);
  EXPECT_GE(smallestEigenvalue(bad.nugget, 2), -1e-12);
  EXPECT_LE(std::fabs(bad.b1(0, 1)), std::sqrt(bad.b1(0, 0) * bad.b1(1, 1)) + 1e-12);
}

TEST(Coregionalisation, NearestPositiveSemidefiniteMatrix) {
  std::vector<double> m{1, 2, 2, 1};  // eigenvalues 3 and −1
  EXPECT_TRUE(nearestPositiveSemidefinite(m, 2));
  for (double v : m) EXPECT_NEAR(v, 1.5, 1e-12);
  std::vector<double> ok{2, 1, 1, 2};
  EXPECT_FALSE(nearestPositiveSemidefinite(ok, 2));
  EXPECT_EQ(ok, (std::vector<double>{2, 1, 1, 2}));
  EXPECT_NEAR(smallestEigenvalue({1, 2, 2, 1}, 2), -1, 1e-12);
  EXPECT_EQ(coPairIndex(0, 0, 3), 0);
  EXPECT_EQ(coPairIndex(2, 1, 3), 4);
  EXPECT_EQ(coPairIndex(2, 2, 3), 5);
}

// Integer points in mirror pairs (x, y) and (x, −y); the primary even in y, the secondary odd:
// every lag class of their cross variogram sums to zero, so no correlation is fitted. The
// secondary also stands on records where the primary is missing.
CoSamples mirrorSamples() {
  CoSamples s;
  s.z.resize(2);
  auto add = [&](double x, double y, double z1, double z2) {
    s.x.push_back(x);
    s.y.push_back(y);
    s.z[0].push_back(z1);
    s.z[1].push_back(z2);
  };
  for (int i = 0; i < 90; ++i) {
    const double x = (i * 37) % 101, y = 1 + (i * 53) % 47;
    const double z1 = static_cast<float>(10 + 3 * std::sin(x / 17) + 0.05 * y + std::cos(y / 9));
    const double z2 = static_cast<float>(y * (1 + 0.3 * std::cos(x / 11)));
    const bool primary = i % 3 != 0;
    add(x, y, primary ? z1 : kNaN, z2);
    add(x, -y, primary ? z1 : kNaN, -z2);
  }
  return s;
}

TEST(CoKriging, WithoutCrossCorrelationEqualsOrdinaryKriging) {
  const CoSamples s = mirrorSamples();
  CoVariograms ev = experimentalCoVariograms(s);
  Coregionalisation m = fitCoregionalisation(ev);
  ASSERT_LT(std::fabs(m.b0(0, 1)) + std::fabs(m.b1(0, 1)), 1e-12 * (m.b1(0, 0) + m.b0(0, 0)));

  GridGeometry g;
  g.xLeft = -5, g.yBottom = -50, g.dx = 4, g.dy = 5, g.columns = 29, g.rows = 21;
  CoKrigingOptions o;
  o.primaryNeighbours = 10;
  o.secondaryNeighbours = 8;
  const std::vector<float> ck = coKrigeGrid(s, m, g, o);

  // The kriging seam on the primary alone, same neighbours, its own variogram fit.
  std::vector<float> pts;
  for (std::size_t i = 0; i < s.x.size(); ++i)
    if (!std::isnan(s.z[0][i]))
      pts.insert(pts.end(), {static_cast<float>(s.x[i]), static_cast<float>(s.y[i]),
                             static_cast<float>(s.z[0][i])});
  const float extent[4] = {g.xLeft, g.yBottom, adjustedBound(g.xLeft, g.dx, g.columns),
                           adjustedBound(g.yBottom, g.dy, g.rows)};
  std::vector<float> ok(g.nodeCount() + 1);
  std::vector<krig::FittedVariogram> fitted;
  ASSERT_EQ(GEO_ScatToGridWithKrig(pts, 2, static_cast<int>(pts.size() / 3), 3,
                                   std::span<const float, 4>(extent), g.dx, g.dy, g.columns - 1,
                                   g.rows - 1, o.primaryNeighbours, 1, 0, std::vector<float>{0}, ok,
                                   &fitted),
            0);
  ASSERT_EQ(fitted.size(), 1u);
  EXPECT_NEAR(m.range, fitted[0].range, 1e-12 * fitted[0].range);
  EXPECT_NEAR(m.b1(0, 0), fitted[0].sill, 1e-8 * fitted[0].sill);
  EXPECT_NEAR(m.b0(0, 0), fitted[0].nugget, 1e-8 * fitted[0].sill);
  double worst = 0;
  for (std::size_t k = 0; k < g.nodeCount(); ++k) {
    ASSERT_NE(ck[k], NULL_VALUE);
    worst = std::max(worst, static_cast<double>(std::fabs(ck[k] - ok[k])));
  }
  EXPECT_LT(worst, 1e-6 * 14);  // the field spans about 14
}

// A smooth field at 300 points; the primary on every fifth, the secondary 2·z + 5 on all.
CoSamples correlatedSamples() {
  CoSamples s;
  s.z.resize(2);
  for (int i = 0; i < 300; ++i) {
    const double x = (i * 61) % 211, y = (i * 89) % 197;
    const double z = 50 + 10 * std::sin(x / 23) * std::cos(y / 31) + 0.1 * x;
    s.x.push_back(x);
    s.y.push_back(y);
    s.z[0].push_back(i % 5 == 0 ? z : kNaN);
    s.z[1].push_back(2 * z + 5);
  }
  return s;
}

TEST(CoKriging, DenserCorrelatedSecondaryBeatsOrdinaryKrigingInCrossValidation) {
  const CoSamples s = correlatedSamples();
  CoVariograms ev = experimentalCoVariograms(s);
  Coregionalisation m = fitCoregionalisation(ev);
  CoKrigingOptions o;
  o.primaryNeighbours = 8;
  o.secondaryNeighbours = 8;
  CrossValidation ck = coKrigingCrossValidation(s, m, o);
  CrossValidation ok = coKrigingCrossValidation(primaryOnly(s), primaryOnlyModel(ev), o);
  ASSERT_EQ(ck.count, 60);
  ASSERT_EQ(ok.count, 60);
  EXPECT_GT(ok.rmse, 0.5);
  EXPECT_LT(ck.rmse, 0.2 * ok.rmse);
}

TEST(CoKriging, GridDoesNotDependOnTheNumberOfThreads) {
  const CoSamples s = correlatedSamples();
  Coregionalisation m = fitCoregionalisation(experimentalCoVariograms(s));
  GridGeometry g;
  g.xLeft = 0, g.yBottom = 0, g.dx = 7, g.dy = 7, g.columns = 31, g.rows = 29;
  CoKrigingOptions one, two;
  one.threads = 1;
  two.threads = 2;
  EXPECT_EQ(coKrigeGrid(s, m, g, one), coKrigeGrid(s, m, g, two));
  CrossValidation a = coKrigingCrossValidation(s, m, one), b = coKrigingCrossValidation(s, m, two);
  EXPECT_EQ(a.error.size(), b.error.size());
  for (std::size_t i = 0; i < a.error.size(); ++i) EXPECT_EQ(a.error[i], b.error[i]);
}

class CoKrigingRun : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute("Create Table [化探] ([X] Single, [Y] Single, [Cu] Single, [Mo] Single)");
    const CoSamples s = correlatedSamples();
    TableWriter w(db, "化探", {"X", "Y", "Cu", "Mo"});
    for (std::size_t i = 0; i < s.x.size(); ++i) {
      w.setDouble(0, s.x[i]);
      w.setDouble(1, s.y[i]);
      w.setDouble(2, std::isnan(s.z[0][i]) ? NULL_VALUE_D : s.z[0][i]);
      w.setDouble(3, s.z[1][i]);
      w.addRow();
    }
    w.commit();
  }
  CoKrigingJob job() {
    CoKrigingJob j;
    j.table = "化探";
    j.xField = "X";
    j.yField = "Y";
    j.primaryField = "Cu";
    j.secondaryFields = {"Mo"};
    j.geometry.xLeft = 0, j.geometry.yBottom = 0, j.geometry.dx = 10, j.geometry.dy = 10;
    j.geometry.columns = 22, j.geometry.rows = 20;
    j.outputName = "CuCK";
    return j;
  }
  TempDir tmp;
  Database db;
};

TEST_F(CoKrigingRun, WritesTheGridWithItsMagicAndAsksBeforeReplacingIt) {
  ScriptedInteraction ui;
  CoKrigingRunResult r = runCoKriging(db, tmp.dir(), job(), ui);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  GridReadResult g = readGrid(r.path);
  ASSERT_TRUE(g.ok());
  EXPECT_EQ(g.grid.header.magic, "#HLTWRGRIDB#");
  EXPECT_EQ(g.grid.header.method.substr(0, 9), "CoKriging");
  EXPECT_EQ(g.grid.header.nx, 22);
  EXPECT_EQ(g.grid.header.validCount, 440);
  EXPECT_LT(r.coKriging.rmse, r.ordinary.rmse);
  EXPECT_EQ(r.report.front(), "   协同克里格分析");

  ScriptedInteraction no({Answer::No});
  CoKrigingRunResult again = runCoKriging(db, tmp.dir(), job(), no);
  EXPECT_TRUE(again.declined);
  ASSERT_EQ(no.asked.size(), 1u);
  EXPECT_EQ(no.asked[0], "工作区网格数据文件:CuCK.grd 已存在,要覆盖吗??");
}

TEST_F(CoKrigingRun, RefusesWhatItCannotRun) {
  ScriptedInteraction ui;
  CoKrigingJob j = job();
  j.secondaryFields = {"Cu"};
  EXPECT_EQ(runCoKriging(db, tmp.dir(), j, ui).outcome.message, kMsgCoKrigSameField);
  j = job();
  j.secondaryFields.clear();
  EXPECT_EQ(checkCoKrigingJob(j), kMsgCoKrigNoSecondary);
  j = job();
  j.options.primaryNeighbours = 2;
  EXPECT_EQ(checkCoKrigingJob(j), kMsgCoKrigNeighbours);
  db.execute("Delete From [化探] Where [X] > 20");
  EXPECT_EQ(runCoKriging(db, tmp.dir(), job(), ui).outcome.message, kMsgCoKrigTooFew);
  EXPECT_FALSE(std::filesystem::exists(gridOutputPath(tmp.dir(), "CuCK")));
}

}  // namespace
}  // namespace sarnoth::geochem
