// The robust polynomial background fit: the inverse by rank-one corrections, the weights, the
// design's column order, agreement bit for bit with the literal n × n weight-matrix
// arithmetic, the stop rules and the choice of the best step, and the tool job with its table,
// parameter file and refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "gravmag/background_fit.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

using geochem::SingleMatrix;
const TrendOptions kSingle{TrendPrecision::Single, 0};

TEST(TrendInverse, RankOneCorrectionsInvertAndStopOnAZeroPivot) {
  SingleMatrix a(2, 2);
  a(0, 0) = 4;
  a(0, 1) = 7;
  a(1, 0) = 2;
  a(1, 1) = 6;
  // Hand inverse: 1/10·[[6, −7], [−2, 4]]; check number Σ row sums of the inverse × row sums
  // of a: (−0.1)·11 + 0.2·8 = 0.5.
  EXPECT_NEAR(invertMatrix(a, 1e-10f), 0.5f, 1e-6f);
  EXPECT_NEAR(a(0, 0), 0.6f, 1e-6f);
  EXPECT_NEAR(a(0, 1), -0.7f, 1e-6f);
  EXPECT_NEAR(a(1, 0), -0.2f, 1e-6f);
  EXPECT_NEAR(a(1, 1), 0.4f, 1e-6f);

  // A symmetric 3 × 3 with a known inverse: [[2,-1,0],[-1,2,-1],[0,-1,2]]⁻¹ =
  // ¼[[3,2,1],[2,4,2],[1,2,3]].
  SingleMatrix b(3, 3);
  const float v[9] = {2, -1, 0, -1, 2, -1, 0, -1, 2};
  const float inv[9] = {0.75f, 0.5f, 0.25f, 0.5f, 1.0f, 0.5f, 0.25f, 0.5f, 0.75f};
  for (int i = 0; i < 9; ++i) b(i / 3, i % 3) = v[i];
  invertMatrix(b, 1e-10f);
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(b(i / 3, i % 3), inv[i], 1e-6f) << i;

  // The first pivot of a matrix with a(0,0) = 0 is b0 + 1 = 0: −1, the matrix left as it got.
  SingleMatrix c(2, 2);
  c(0, 1) = 1;
  c(1, 0) = 1;
  EXPECT_EQ(invertMatrix(c, 1e-10f), -1.0f);
}

TEST(TrendWeights, GaussianAndTheNegativeTailBeyond548) {
  // u = r·0.6745/s.
  EXPECT_FLOAT_EQ(robustWeight(0.0f, 1.0f, 3.0f, true), 1.0f);
  EXPECT_FLOAT_EQ(robustWeight(1.0f, 0.6745f, 3.0f, false), std::exp(-1.0f));
  EXPECT_FLOAT_EQ(robustWeight(-1.0f, 0.6745f, 3.0f, true), std::exp(-1.0f));
  // r = 10, s = 1: u = 6.745 ≥ 5.48. With a negative residual elsewhere the weight is
  // −0.1·((6.745 − 5.48)/rmax)², rmax = 10: −0.1·0.1265² = −0.0016002.
  EXPECT_NEAR(robustWeight(10.0f, 1.0f, 10.0f, true), -0.0016002f, 1e-7f);
  // Without one it is exp(−u²), tiny but not negative.
  EXPECT_GE(robustWeight(10.0f, 1.0f, 10.0f, false), 0.0f);
  EXPECT_LT(robustWeight(10.0f, 1.0f, 10.0f, false), 1e-19f);
  // A large negative residual is never pushed below 0.
  EXPECT_GE(robustWeight(-10.0f, 1.0f, 10.0f, true), 0.0f);
}

TEST(TrendDesign, ColumnsDegreeByDegreeWithTheXPowerFalling) {
  EXPECT_EQ(trendCoefficientCount(1), 3);
  EXPECT_EQ(trendCoefficientCount(5), 21);
  EXPECT_EQ(trendCoefficientCount(10), 66);
  EXPECT_EQ(trendCoefficientCount(0), 0);
  EXPECT_EQ(trendCoefficientCount(11), 0);
  std::vector<float> row(10);
  designRow(2.0f, 3.0f, 3, row);
  EXPECT_EQ(row, (std::vector<float>{1, 2, 3, 4, 6, 9, 8, 12, 18, 27}));
  std::vector<float> v{10, 20, 15};
  float lo = 0, hi = 0;
  normaliseAxis(v, lo, hi);
  EXPECT_EQ(v, (std::vector<float>{0, 1, 0.5f}));
  restoreAxis(v, lo, hi);
  EXPECT_EQ(v, (std::vector<float>{10, 20, 15}));
}

// The arithmetic as the tool states it: a full n × n W, AᵀW and every product by a triple loop
// with a float accumulator.
SingleMatrix matMul(const SingleMatrix& a, const SingleMatrix& b) {
  SingleMatrix c(a.rows(), b.cols());
  for (int i = 0; i < a.rows(); ++i)
    for (int j = 0; j < b.cols(); ++j) {
      float acc = 0;
      for (int k = 0; k < a.cols(); ++k) acc += a(i, k) * b(k, j);
      c(i, j) = acc;
    }
  return c;
}

struct LiteralStep {
  std::vector<float> c;
  float s = 0, rmax = 0, nd = 0;
};

std::vector<LiteralStep> literalFit(const std::vector<float>& x, const std::vector<float>& y,
                                    const std::vector<float>& g, int degree, int maxIter, float er,
                                    int& bestL) {
  const int n = static_cast<int>(g.size()), m = trendCoefficientCount(degree);
  SingleMatrix a(n, m), at(m, n), w(n, n), gm(n, 1);
  for (int i = 0; i < n; ++i) {
    designRow(x[i], y[i], degree, a.row(i));
    for (int j = 0; j < m; ++j) at(j, i) = a(i, j);
    gm(i, 0) = g[i];
  }
  float mean = 0;
  for (float v : g) mean += v;
  mean /= static_cast<float>(n);
  float st = 0;
  for (float v : g) st += (v - mean) * (v - mean);
  std::vector<LiteralStep> steps;
  std::vector<float> r(n);
  float best = 0, sPrev = 0, rmaxPrev = 0;
  int flagPrev = 1;
  bestL = 0;
  for (int L = 0; L <= maxIter; ++L) {
    for (int i = 0; i < n; ++i) {
      if (L == 0) {
        w(i, i) = 1.0f;
        continue;
      }
      const float u = r[i] * 0.6745f / sPrev;
      if (flagPrev == -1 && u >= 5.48f)
        w(i, i) = -0.1f * ((u - 5.48f) / rmaxPrev) * ((u - 5.48f) / rmaxPrev);
      else
        w(i, i) = std::exp(-u * u);
    }
    const SingleMatrix t1 = matMul(at, w), t2 = matMul(t1, a);
    SingleMatrix t3 = t2;
    invertMatrix(t3, 1.0e-10f);
    const SingleMatrix c = matMul(matMul(t3, t1), gm);
    LiteralStep s;
    for (int j = 0; j < m; ++j) s.c.push_back(c(j, 0));
    s.rmax = 1.0e-16f;
    int flag = 1;
    float sy = 0, sa = 0;
    for (int i = 0; i < n; ++i) {
      float sum = 0;
      for (int j = 0; j < m; ++j) sum += c(j, 0) * a(i, j);
      r[i] = g[i] - sum;
      if (r[i] < 0) flag = -1;
      if (std::abs(r[i]) >= s.rmax) s.rmax = std::abs(r[i]);
      sy += r[i] * r[i];
      sa += std::abs(r[i]);
    }
    s.s = sa / static_cast<float>(n);
    s.nd = (st - sy) / st;
    if (s.nd > best) {
      best = s.nd;
      bestL = L;
    }
    steps.push_back(s);
    sPrev = s.s;
    rmaxPrev = s.rmax;
    flagPrev = flag;
    if (L >= 3) {
      const float a0 = steps[L - 2].s, a1 = steps[L - 1].s, a2 = steps[L].s;
      if (std::abs(a1 - a0) / ((a0 + a1) / 2) < er && std::abs(a2 - a1) / ((a1 + a2) / 2) < er)
        break;
    }
  }
  return steps;
}

// A smooth regional field with local highs and lows on scattered points.
void gravityLike(int n, unsigned seed, std::vector<float>& x, std::vector<float>& y,
                 std::vector<float>& g) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  x.resize(n);
  y.resize(n);
  g.resize(n);
  for (int i = 0; i < n; ++i) {
    x[i] = u(rng);
    y[i] = u(rng);
    g[i] = 12.0f - 5.0f * x[i] + 3.0f * y[i] + 4.0f * x[i] * y[i] + (u(rng) - 0.5f);
    if (i % 7 == 0) g[i] += 9.0f;  // local highs: the anomalies the background leaves out
  }
}

TEST(TrendFit, EqualsTheLiteralWeightMatrixArithmeticBitForBit) {
  for (int degree : {1, 2, 3}) {
    std::vector<float> x, y, g;
    gravityLike(23, 11u + static_cast<unsigned>(degree), x, y, g);
    int literalBest = -1;
    const auto literal = literalFit(x, y, g, degree, 8, 1e-6f, literalBest);
    const TrendFit fit = robustTrendFit(x, y, g, degree, 8, 1e-6f, kSingle);
    ASSERT_EQ(fit.steps.size(), literal.size()) << degree;
    for (std::size_t L = 0; L < literal.size(); ++L) {
      SCOPED_TRACE(::testing::Message() << "degree " << degree << " L " << L);
      ASSERT_EQ(fit.steps[L].c.size(), literal[L].c.size());
      for (std::size_t j = 0; j < literal[L].c.size(); ++j)
        EXPECT_EQ(static_cast<float>(fit.steps[L].c[j]), literal[L].c[j]) << j;
      EXPECT_EQ(static_cast<float>(fit.steps[L].s), literal[L].s);
      EXPECT_EQ(static_cast<float>(fit.steps[L].rmax), literal[L].rmax);
      EXPECT_EQ(static_cast<float>(fit.steps[L].nd), literal[L].nd);
    }
    EXPECT_EQ(fit.bestL, literalBest);
    // The highs do pull some weights below zero along the way.
    EXPECT_TRUE(fit.steps[0].anyNegative);
  }
}

TEST(TrendFit, ExactSurfaceIsReproduced) {
  // g = 1 + 2x − y + 0.5x² − 3xy + y² on a 6 × 6 lattice: the fit of degree 2 is exact.
  std::vector<float> x, y, g;
  for (int i = 0; i < 6; ++i)
    for (int j = 0; j < 6; ++j) {
      const float xv = i / 5.0f, yv = j / 5.0f;
      x.push_back(xv);
      y.push_back(yv);
      g.push_back(1 + 2 * xv - yv + 0.5f * xv * xv - 3 * xv * yv + yv * yv);
    }
  const TrendFit fit = robustTrendFit(x, y, g, 2, 0, 0.01f, kSingle);
  ASSERT_EQ(fit.steps.size(), 1u);
  const std::vector<float> expected{1, 2, -1, 0.5f, -3, 1};
  for (std::size_t j = 0; j < 6; ++j) EXPECT_NEAR(fit.steps[0].c[j], expected[j], 2e-3f) << j;
  EXPECT_NEAR(fit.bestNd, 1.0f, 1e-5f);
  EXPECT_NEAR(trendValue(fit.best().c, 2, 0.3f, 0.7f, TrendPrecision::Single),
              1 + 0.6f - 0.7f + 0.045f - 0.63f + 0.49f, 2e-3f);
}

TEST(TrendFit, StopRulesAndTheBestStep) {
  std::vector<float> x, y, g;
  gravityLike(60, 5u, x, y, g);
  // maxIter 0: the ordinary least-squares step alone, and pass 2 reports nothing.
  const TrendFit ols = robustTrendFit(x, y, g, 2, 0, 0.01f, kSingle);
  EXPECT_EQ(ols.steps.size(), 1u);
  for (const std::string& l : trendReportLines(ols, g, 2, 0.01f))
    EXPECT_NE(l.rfind("L=", 0), 0u) << l;
  // A precision nothing meets: every step up to maxIter runs.
  EXPECT_EQ(robustTrendFit(x, y, g, 2, 12, 1e-30f, kSingle).steps.size(), 13u);
  // A precision everything meets: the test first looks at L = 3 and ends there.
  EXPECT_EQ(robustTrendFit(x, y, g, 2, 12, 10.0f, kSingle).steps.size(), 4u);
  // The kept step is the one with the largest ND, not the last: with the highs in the data the
  // reweighted surfaces leave larger residuals than step 0.
  const TrendFit fit = robustTrendFit(x, y, g, 2, 6, 1e-30f, kSingle);
  int argmax = 0;
  for (std::size_t L = 1; L < fit.steps.size(); ++L)
    if (fit.steps[L].nd > fit.steps[static_cast<std::size_t>(argmax)].nd)
      argmax = static_cast<int>(L);
  EXPECT_EQ(fit.bestL, argmax);
  EXPECT_LT(fit.steps.back().nd, fit.bestNd);
  EXPECT_EQ(fit.bestNd, fit.best().nd);
  // The robust surface sits below the highs: its mean residual of the highs grows.
  auto highResidual = [&](const TrendStep& s) {
    float sum = 0;
    for (std::size_t i = 0; i < g.size(); i += 7)
      sum += g[i] - static_cast<float>(trendValue(s.c, 2, x[i], y[i]));
    return sum;
  };
  EXPECT_GT(highResidual(fit.steps.back()), highResidual(fit.steps[0]));
}

TEST(TrendFit, ThreadsDoNotChangeTheResultInEitherPrecision) {
  std::vector<float> x, y, g;
  gravityLike(9000, 17u, x, y, g);
  for (TrendPrecision p : {TrendPrecision::Single, TrendPrecision::Double}) {
    const TrendFit one = robustTrendFit(x, y, g, 3, 4, 1e-30f, {p, 1});
    const TrendFit two = robustTrendFit(x, y, g, 3, 4, 1e-30f, {p, 2});
    ASSERT_EQ(one.steps.size(), two.steps.size());
    for (std::size_t L = 0; L < one.steps.size(); ++L) {
      EXPECT_EQ(one.steps[L].c, two.steps[L].c);
      EXPECT_EQ(one.steps[L].s, two.steps[L].s);
    }
  }
}

TEST(TrendFit, DoublePrecisionAgreesOnSmallCasesAndHoldsAtSurveyScale) {
  // A small, well-conditioned case: both arithmetics agree to single precision.
  std::vector<float> x, y, g;
  gravityLike(40, 3u, x, y, g);
  const TrendFit s = robustTrendFit(x, y, g, 1, 5, 1e-30f, {TrendPrecision::Single, 0});
  const TrendFit d = robustTrendFit(x, y, g, 1, 5, 1e-30f, {TrendPrecision::Double, 0});
  ASSERT_EQ(s.steps.size(), d.steps.size());
  for (std::size_t L = 0; L < s.steps.size(); ++L) {
    for (std::size_t j = 0; j < 3; ++j)
      EXPECT_NEAR(s.steps[L].c[j], d.steps[L].c[j], 2e-4 * (1 + std::abs(d.steps[L].c[j])));
    EXPECT_NEAR(s.steps[L].nd, d.steps[L].nd, 1e-5);
  }
  // 50,000 samples of a degree-5 surface with noise: the double fit recovers the surface.
  const int n = 50000;
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  auto surface = [](float a, float b) {
    return 10.0f + 4.0f * a - 3.0f * b * b + 6.0f * a * a * a * b - 5.0f * a * std::pow(b, 4.0f) +
           2.0f * std::pow(a, 5.0f);
  };
  x.assign(n, 0);
  y.assign(n, 0);
  g.assign(n, 0);
  for (int i = 0; i < n; ++i) {
    x[i] = u(rng);
    y[i] = u(rng);
    g[i] = surface(x[i], y[i]) + 0.1f * (u(rng) - 0.5f);
  }
  const TrendFit big = robustTrendFit(x, y, g, 5, 0, 0.01f, {TrendPrecision::Double, 0});
  EXPECT_GT(big.bestNd, 0.99);
  for (float a : {0.1f, 0.5f, 0.9f})
    for (float b : {0.2f, 0.7f})
      EXPECT_NEAR(trendValue(big.best().c, 5, a, b, TrendPrecision::Double), surface(a, b), 0.01);
}

class BackgroundJob : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
  }
  void table(const std::string& name, const std::vector<std::vector<float>>& cols) {
    db.execute("Create Table [" + name + "] ([东坐标] Single, [北坐标] Single, [布格] Single)");
    TableWriter w(db, name, {"东坐标", "北坐标", "布格"});
    for (std::size_t r = 0; r < cols[0].size(); ++r) {
      for (int c = 0; c < 3; ++c) w.setDouble(c, cols[static_cast<std::size_t>(c)][r]);
      w.addRow();
    }
    w.commit();
    Registration how{"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false};
    ScriptedInteraction ui;
    registerTable(db, name, how, ui);
  }
  TrendJob job(const std::string& newName) {
    TrendJob j;
    j.table = "grav";
    j.xField = "东坐标";
    j.yField = "北坐标";
    j.item = "布格";
    j.newTable = newName;
    j.degreeText = "1";
    j.maxIterText = "3";
    return j;
  }
  test::TempDir tmp;
  Database db;
  ScriptedInteraction ui;
};

TEST_F(BackgroundJob, WritesTheTableTheRegistryRowAndTheParameterFile) {
  // A plane in table coordinates, one null sample, one high.
  std::vector<float> xs, ys, gs;
  for (int i = 0; i < 5; ++i)
    for (int j = 0; j < 4; ++j) {
      xs.push_back(500000.0f + 100.0f * i);
      ys.push_back(3000000.0f + 50.0f * j);
      gs.push_back(10.0f + 0.5f * i - 1.0f * j);
    }
  gs[3] = NULL_VALUE;
  gs[7] += 4.0f;
  table("grav", {xs, ys, gs});
  TrendJob j = job("grav_T");
  j.parFile = tmp.file("fit.par");
  TrendReport rep;
  const Outcome o = runBackgroundFit(db, j, ui, rep);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, kTrendDone);
  EXPECT_EQ(rep.n, 19);
  EXPECT_EQ(rep.coefficients, 3);

  // The registry row, and the table with its five single fields.
  Recordset reg = Recordset::openTable(db, kRegistryTable);
  ASSERT_TRUE(reg.findFirst("查询表名='grav_T'"));
  EXPECT_EQ(reg.getText("查询库名"), "DataProc");
  EXPECT_EQ(reg.getText("说明"), "重力趋势面处理");
  std::vector<std::string> names;
  for (const FieldDef& f : db.fields("grav_T")) {
    names.push_back(f.name);
    EXPECT_EQ(f.type, JetType::Single);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"东坐标", "北坐标", "布格", "布格_T", "布格_R"}));
  Cursor c = db.query("Select * From [grav_T]");
  int rows = 0;
  while (c.next()) {
    ++rows;
    EXPECT_NE(c.getFloat(2), NULL_VALUE);
    // residual = item − fit, to the rounding of the stored single fit (an ulp of the item)
    EXPECT_NEAR(c.getFloat(4), c.getFloat(2) - c.getFloat(3), 2e-6f);
    EXPECT_NEAR(c.getFloat(0), 500000.0f, 401.0f);  // coordinates restored
  }
  EXPECT_EQ(rows, 19);

  // The parameter file: the head, the data, pass 2 and the closing lines.
  const std::string text = gbkToUtf8(test::readFile(j.parFile));
  EXPECT_EQ(
      text.rfind("**** 稳健多项式拟合分析预先给定的参数 ****\r\n 总样品数(去掉空区点) n= 19\r\n"
                 " 给定的多项式拟合面次数 p2 = 1\r\n拟合多项式系数个数 m1 = (p2 + 1) * (p2 + 2) "
                 "/ 2=3\r\n 给定的拟合多项式迭代精度 ER = "
                 "0.01\r\n---输出原始数据g0---：\r\n10\r\n9\r\n8\r\n10.5\r\n",
                 0),
      0u);
  EXPECT_NE(text.find("***总离差平方和 st = "), std::string::npos);
  EXPECT_NE(text.find("最佳拟合优度 ND="), std::string::npos);
  // Head 6, data 19, st 1, ten lines per reported step (degree 1: three coefficients), close 3.
  EXPECT_EQ(rep.lines.size(), 6u + 19u + 1u + 10u * static_cast<unsigned>(rep.bestL) + 3u);
}

TEST_F(BackgroundJob, RefusalsLeaveTheWorkAreaAsItWas) {
  table("grav", {{1, 2, 3, 4}, {1, 3, 2, 5}, {5, 6, 7, 9}});
  TrendReport rep;
  // The new name exists.
  EXPECT_EQ(runBackgroundFit(db, job("grav"), ui, rep).message, kMsgTrendNameExists);
  // Four samples and ten coefficients for degree 3.
  TrendJob j = job("out");
  j.degreeText = "3";
  EXPECT_EQ(runBackgroundFit(db, j, ui, rep).message, kMsgTrendTooFew);
  j.degreeText = "11";
  EXPECT_EQ(runBackgroundFit(db, j, ui, rep).message, kMsgTrendDegree);
  j.degreeText = "1";
  j.maxIterText = "201";
  EXPECT_EQ(runBackgroundFit(db, j, ui, rep).message, kMsgTrendIterations);
  j.maxIterText = "3";
  j.xField.clear();
  EXPECT_EQ(runBackgroundFit(db, j, ui, rep).message, kMsgTrendChooseFields);
  EXPECT_FALSE(db.tableExists("out"));
  std::vector<std::string> registered;
  listRegisteredTables(db, registered);
  EXPECT_EQ(registered, std::vector<std::string>{"grav"});
  // The same x for every sample cannot be normalised.
  table("flat", {{2, 2, 2, 2}, {1, 3, 2, 5}, {5, 6, 7, 9}});
  j = job("out");
  j.table = "flat";
  EXPECT_EQ(runBackgroundFit(db, j, ui, rep).message, kMsgTrendNoSpread);
  EXPECT_FALSE(db.tableExists("out"));
}

}  // namespace
}  // namespace sarnoth::gravmag
