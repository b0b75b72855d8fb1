// The regression tool: every model on data with exact answers, the report lines and their
// formats, the refusals, stepwise order, ridge and orthogonalised regression, the plot.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "geochem/regression.h"
#include "test_support.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

bool starts(const std::string& s, const std::string& lead) { return s.rfind(lead, 0) == 0; }

class RegressionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
  }

  // A table of SINGLE fields from columns of values.
  void table(const std::string& name, const std::vector<std::string>& fields,
             const std::vector<std::vector<float>>& cols) {
    std::string sql = "Create Table [" + name + "] (";
    for (std::size_t i = 0; i < fields.size(); ++i)
      sql += (i ? ", [" : "[") + fields[i] + "] Single";
    db.execute(sql + ")");
    TableWriter w(db, name, fields);
    for (std::size_t r = 0; r < cols[0].size(); ++r) {
      for (std::size_t c = 0; c < cols.size(); ++c) w.setDouble(static_cast<int>(c), cols[c][r]);
      w.addRow();
    }
    w.commit();
  }

  // x = 1..n and y = f(x).
  void curve(const std::string& name, std::function<double(double)> f, int n = 8) {
    std::vector<float> x, y;
    for (int i = 1; i <= n; ++i) {
      x.push_back(static_cast<float>(i));
      y.push_back(static_cast<float>(f(i)));
    }
    table(name, {"X", "Y"}, {x, y});
  }

  RegressionJob oneVariable(const std::string& t, int model) {
    RegressionJob j;
    j.table = t;
    j.yField = "Y";
    j.xFields = {"X"};
    j.model = model;
    return j;
  }

  std::vector<std::string> run(const RegressionJob& j, const std::string& report = {}) {
    std::vector<std::string> lines;
    Outcome o = runRegression(db, j, report, lines, noProgress());
    EXPECT_TRUE(o.ok) << o.message;
    return lines;
  }

  std::string fail(const RegressionJob& j) {
    std::vector<std::string> lines;
    Outcome o = runRegression(db, j, {}, lines, noProgress());
    EXPECT_FALSE(o.ok);
    return o.message;
  }

  test::TempDir tmp;
  Database db;
};

TEST_F(RegressionTest, ReportOfAHandWorkedLineAndItsFile) {
  // x 1..4, y 1, 3, 2, 5: y = 0 + 1.1x; Q = 2.7, U = 6.05, residuals 0.1 … 1.3, mean 0.7.
  table("直线", {"X", "Y"}, {{1, 2, 3, 4}, {1, 3, 2, 5}});
  const std::string path = tmp.dir() + "temp\\regressprs.txt";
  std::vector<std::string> lines = run(oneVariable("直线", kLinear), path);
  const std::vector<std::string> expected = {
      "   一元回归分析",
      "   线性函数:  Y=b0+b1*X",
      " 回归系数:  b0=0.0000   b1=1.1000",
      "     样品数=4.000",
      " 偏差平方和=2.700 平均标准偏差=1.162 回归平方和=6.050",
      "   最大偏差=1.300     最小偏差=0.100 偏差平均值=0.700",
      "     拟合度=0.554"};
  EXPECT_EQ(lines, expected);
  const std::string file = gbkToUtf8(test::readFile(tmp.dir() + "temp/regressprs.txt"));
  std::string want = "#SRNTHDATPROC#\r\n";
  for (const auto& l : expected) want += l + "\r\n";
  EXPECT_EQ(file, want + "#ENDDATA#\r\n");
}

TEST_F(RegressionTest, EveryModelRecoversItsExactCurve) {
  struct Case {
    int model;
    std::function<double(double)> f;
    std::string coefficients;
  };
  const std::vector<Case> cases = {
      {kLinear, [](double x) { return 2 + 3 * x; }, " 回归系数:  b0=2.0000   b1=3.0000"},
      // The power model prints its constant back-transformed: 5, not log 5.
      {kPower, [](double x) { return 5 * x * x; }, " 回归系数:  b0=5.0000   b1=2.0000"},
      {kExponential, [](double x) { return std::pow(10, 1 + 0.5 * x); },
       " 回归系数:  b0=1.0000   b1=0.5000"},
      {kInverseExp, [](double x) { return std::pow(10, 2 + 3 / x); },
       " 回归系数:  b0=2.0000   b1=3.0000"},
      {kLogarithmic, [](double x) { return 1 + 2 * std::log10(x); },
       " 回归系数:  b0=1.0000   b1=2.0000"},
      {kParabola, [](double x) { return 1 + 2 * x + 3 * x * x; },
       " 回归系数:  b0=1.0000   b1=2.0000   b2=3.0000"},
      {kHyperbola, [](double x) { return 1 / (0.5 + 2 / x); }, " 回归系数:  b0=0.5000   b1=2.0000"},
      {kLogistic, [](double x) { return 1 / (0.1 + 0.2 * std::exp(-x)); },
       " 回归系数:  b0=0.1000   b1=0.2000"},
      {kPolynomial, [](double x) { return 1 - x + 0.5 * x * x + 0.25 * x * x * x; },
       " 回归系数: b0=1.0000  b1=-1.0000  b2=0.5000  b3=0.2500"},
  };
  for (const Case& c : cases) {
    const std::string t = "模型" + std::to_string(c.model);
    curve(t, c.f);
    std::vector<std::string> lines = run(oneVariable(t, c.model));
    ASSERT_GE(lines.size(), 3u) << c.model;
    EXPECT_EQ(lines[2], c.coefficients) << "model " << c.model;
    EXPECT_TRUE(starts(lines.back(), "     拟合度=")) << c.model;
  }
  // The parabola and polynomial report the multiple correlation in place of the deviations.
  std::vector<std::string> p = run(oneVariable("模型5", kParabola));
  ASSERT_EQ(p.size(), 7u);
  EXPECT_TRUE(starts(p[4], " 偏差平方和=0.000"));
  EXPECT_TRUE(starts(p[5], " 复相关系数=1.000"));
  EXPECT_EQ(p[1], "   抛物线函数:  Y=b0+b1*X+b2*X^2");
}

TEST_F(RegressionTest, SamplesNullsAndRequirements) {
  // Nulls leave a sample out; three samples proceed, two do not.
  table("空值", {"X", "Y"}, {{1, 2, -1e38f, 3, 4}, {2, 4, 6, 6, -1e38f}});
  std::vector<std::string> lines = run(oneVariable("空值", kLinear));
  EXPECT_EQ(lines[3], "     样品数=3.000");
  table("两个", {"X", "Y"}, {{1, 2, 3}, {1, 2, -1e38f}});
  EXPECT_EQ(fail(oneVariable("两个", kLinear)), "样品数太少,不能进行分析!!!");

  // A zero x in the inverse exponential model stops at that sample, it is not skipped.
  table("零值", {"X", "Y"}, {{1, 2, 0, 4, 5}, {1, 2, 3, 4, 5}});
  EXPECT_EQ(fail(oneVariable("零值", kInverseExp)), "第3个数据为0");
  EXPECT_EQ(fail(oneVariable("零值", kPower)), "第3个数据为0");
  EXPECT_EQ(run(oneVariable("零值", kExponential)).size(), 7u);  // x = 0 is fine there
  // A polynomial of power 3 on four samples has no degree of freedom left.
  table("四个", {"X", "Y"}, {{1, 2, 3, 4}, {1, 5, 2, 8}});
  RegressionJob poly = oneVariable("四个", kPolynomial);
  EXPECT_EQ(fail(poly), "样品数太少,不能进行分析!!!");
  // A constant x or y is named.
  table("常数", {"X", "Y"}, {{2, 2, 2, 2}, {1, 2, 3, 4}});
  EXPECT_EQ(fail(oneVariable("常数", kLinear)),
            "自变量 X 为常数或与其他自变量线性相关,不能进行回归分析。");
  RegressionJob flipped = oneVariable("常数", kLinear);
  std::swap(flipped.yField, flipped.xFields[0]);
  EXPECT_EQ(fail(flipped), "因变量 X 为常数,不能进行回归分析。");
}

TEST_F(RegressionTest, ChecksBeforeReading) {
  RegressionJob j = oneVariable("none", kLinear);
  j.xFields.clear();
  EXPECT_EQ(checkRegressionJob(j), "请选择因变量.");
  j.xFields = {"A"};
  j.method = RegressionMethod::Ridge;
  EXPECT_EQ(checkRegressionJob(j), "岭回归须选择两个以上因变量,请重选.");
  j.method = RegressionMethod::OneVariable;
  j.xFields = {"A", "B"};
  EXPECT_EQ(checkRegressionJob(j), "一元回归只须一个因变量,请重选.");
  j.xFields = {"A"};
  j.model = kPolynomial;
  j.powerText = "2";
  EXPECT_EQ(checkRegressionJob(j), "多项式幂次必须 > 2,请重新给定。");
  j.method = RegressionMethod::Stepwise;
  EXPECT_EQ(checkRegressionJob(j), "需要2个数据,请重输.");
  float a = 0, b = 0;
  EXPECT_TRUE(parseFValues("1.46,1.45", a, b));
  EXPECT_FLOAT_EQ(a, 1.46f);
  EXPECT_FLOAT_EQ(b, 1.45f);
  EXPECT_FALSE(parseFValues("1.46", a, b));
  EXPECT_FALSE(parseFValues("", a, b));
}

TEST_F(RegressionTest, MultipleRegressionReportAndItsRefusals) {
  // y = 1 + 2a − 3b exactly.
  std::vector<float> a{1, 2, 3, 4, 5, 6}, b{2, 1, 2, 5, 3, 3}, y, c;
  for (std::size_t i = 0; i < a.size(); ++i) {
    y.push_back(1 + 2 * a[i] - 3 * b[i]);
    c.push_back(2 * a[i] - b[i]);
  }
  table("多元", {"A", "B", "C", "Y"}, {a, b, c, y});
  RegressionJob j;
  j.table = "多元";
  j.yField = "Y";
  j.xFields = {"A", "B"};
  j.method = RegressionMethod::Multiple;
  std::vector<std::string> lines = run(j);
  ASSERT_GE(lines.size(), 11u);
  EXPECT_EQ(lines[0], "多元线性回归分析");
  EXPECT_EQ(lines[1], "   样品数=6");
  EXPECT_EQ(lines[2], "    因变量: Y");
  EXPECT_EQ(lines[3], "    自变量: A  B");
  EXPECT_EQ(lines[4], "  回归系数: ");
  EXPECT_TRUE(starts(lines[5], "            b0="));
  EXPECT_NEAR(std::stod(lines[5].substr(15)), 1, 1e-5);
  EXPECT_TRUE(starts(lines[5], "            b0="));
  EXPECT_NEAR(std::stod(lines[6].substr(15)), 2, 1e-5);
  EXPECT_NEAR(std::stod(lines[7].substr(15)), -3, 1e-5);
  EXPECT_TRUE(starts(lines[8], " 偏差平方和="));
  EXPECT_TRUE(starts(lines[9], " 复相关系数="));
  EXPECT_TRUE(starts(lines[10], " 偏相关系数:"));

  j.xFields = {"A", "B", "C"};  // C = 2A − B
  EXPECT_EQ(fail(j), "自变量 C 为常数或与其他自变量线性相关,不能进行回归分析。");
  j.xFields = {"A", "B", "C", "Y"};  // as many coefficients as samples… less one
  j.yField = "A";
  EXPECT_NE(fail(j), "");
}

TEST_F(RegressionTest, StepwiseReportOnHaldsData) {
  table("Hald", {"x1", "x2", "x3", "x4", "y"},
        {{7, 1, 11, 11, 7, 11, 3, 1, 2, 21, 1, 11, 10},
         {26, 29, 56, 31, 52, 55, 71, 31, 54, 47, 40, 66, 68},
         {6, 15, 8, 8, 6, 9, 17, 22, 18, 4, 23, 9, 8},
         {60, 52, 20, 47, 33, 22, 6, 44, 22, 26, 34, 12, 12},
         {78.5f, 74.3f, 104.3f, 87.6f, 95.9f, 109.2f, 102.7f, 72.5f, 93.1f, 115.9f, 83.8f, 113.3f,
          109.4f}});
  RegressionJob j;
  j.table = "Hald";
  j.yField = "y";
  j.xFields = {"x1", "x2", "x3", "x4"};
  j.method = RegressionMethod::Stepwise;
  j.fValues = {4.0f, 4.0f};
  std::vector<std::string> lines = run(j);
  ASSERT_GE(lines.size(), 12u);
  EXPECT_EQ(lines[0], "        逐步回归分析");
  EXPECT_EQ(lines[1], " 样品数=13");
  EXPECT_TRUE(starts(lines[2], " 回归方程:  y=52.57"));
  EXPECT_TRUE(starts(lines[3], "          +1.468"));
  EXPECT_EQ(lines[3].substr(lines[3].size() - 3), "*x1");
  EXPECT_EQ(lines[4].substr(lines[4].size() - 3), "*x2");
  EXPECT_TRUE(starts(lines[5], " 因变量和自变量平均值: y=95.42308"));
  EXPECT_TRUE(starts(lines[10], " 复相关系数=0.989"));
  EXPECT_NE(lines[10].find("  F_检验值=229.5"), std::string::npos) << lines[10];
  EXPECT_EQ(lines[11], " 归则化系数相关矩阵:");
  EXPECT_EQ(lines.size(), 12u + 5u);  // five rows of the matrix
}

TEST_F(RegressionTest, RidgeStartsAtLeastSquaresAndShrinks) {
  // Two strongly related fields: y = 1 + a + b + small wiggle.
  std::vector<float> a, b, y;
  for (int i = 0; i < 30; ++i) {
    a.push_back(static_cast<float>(i));
    b.push_back(static_cast<float>(i) + ((i % 3) - 1) * 0.5f);
    y.push_back(1 + a.back() + b.back() + ((i % 5) - 2) * 0.1f);
  }
  table("岭", {"A", "B", "Y"}, {a, b, y});
  RegressionJob j;
  j.table = "岭";
  j.yField = "Y";
  j.xFields = {"A", "B"};
  j.method = RegressionMethod::Ridge;
  j.kTimesText = "3";
  std::vector<std::string> lines = run(j);
  ASSERT_EQ(lines.size(), 5u + 8u + 3u * 9u);
  EXPECT_EQ(lines[0], "   岭回归分析");
  EXPECT_EQ(lines[4], "   初始迭代");
  EXPECT_EQ(lines[5], " ************ 岭回归系数 B ***************");
  EXPECT_EQ(lines[7], " ************ 显著性检验值 ***************");
  EXPECT_TRUE(starts(lines[9], " 回归平方和 U="));
  EXPECT_TRUE(starts(lines[12], " 回归方程显著性检验量 F="));
  EXPECT_TRUE(starts(lines[13], " 第 1 次迭代, K="));
  // The three K values fall by the factor 10.
  auto kOf = [&](std::size_t i) { return std::stod(lines[i].substr(lines[i].find("K=") + 2)); };
  const double k1 = kOf(13), k2 = kOf(22), k3 = kOf(31);
  EXPECT_NEAR(k2, k1 / 10, k1 * 1e-6);
  EXPECT_NEAR(k3, k2 / 10, k2 * 1e-6);
  // K = 0 is least squares: b close to 1, 1; the total sum of squares is the same every time.
  auto coef = [&](std::size_t line) {
    std::vector<double> v;
    std::string s = lines[line];
    for (std::size_t p = 0; p < s.size();) {
      std::size_t q = s.find("  ", p);
      v.push_back(std::stod(s.substr(p, q - p)));
      if (q == std::string::npos) break;
      p = q + 2;
    }
    return v;
  };
  std::vector<double> b0 = coef(6);
  ASSERT_EQ(b0.size(), 3u);
  EXPECT_NEAR(b0[1] + b0[2], 2, 0.01);
  EXPECT_EQ(lines[11], lines[20]);  // Syy
  // Larger K shrinks the length of the coefficient vector.
  std::vector<double> bk = coef(15);
  EXPECT_LT(bk[1] * bk[1] + bk[2] * bk[2], b0[1] * b0[1] + b0[2] * b0[2]);
  for (const auto& l : lines) EXPECT_EQ(l.find("IND"), std::string::npos) << l;
}

TEST_F(RegressionTest, OrthogonalRegressionBothSchemes) {
  std::vector<float> a{1, 2, 3, 4, 5, 6, 7}, b{3, 1, 4, 1, 5, 9, 2}, y;
  for (std::size_t i = 0; i < a.size(); ++i) y.push_back(1 + 2 * a[i] + 3 * b[i]);
  table("正交", {"A", "B", "Y"}, {a, b, y});
  RegressionJob j;
  j.table = "正交";
  j.yField = "Y";
  j.xFields = {"A", "B"};
  j.method = RegressionMethod::Orthogonal;
  j.scheme = 1;
  j.cutText = "0.5";
  std::vector<std::string> lines = run(j);
  EXPECT_EQ(lines[0], "   正交回归分析");
  EXPECT_EQ(lines[4], "自变量、因变量平均值  XX       标准离差  SS");
  EXPECT_EQ(lines[5], "        4.00000   2.16025");  // mean and n−1 deviation of 1..7
  EXPECT_EQ(lines[8], " ------- 挑选 k 个正交因子变量的 Fa(i)值 i=1,2,...k-1 --------");
  auto value = [&](const std::string& lead) {
    for (const auto& l : lines)
      if (l.rfind(lead, 0) == 0) return std::stod(l.substr(lead.size()));
    ADD_FAILURE() << lead;
    return 0.0;
  };
  EXPECT_NEAR(value(" B(0)= "), 1, 1e-5);
  EXPECT_NEAR(value(" B(1)= "), 2, 1e-5);
  EXPECT_NEAR(value(" B(2)= "), 3, 1e-5);
  EXPECT_NEAR(value("复相关系数 RA= "), 1, 1e-6);

  // A cut-off reached at the first factor leaves no factor: B(0) is the mean of y.
  j.cutText = "1E+30";
  lines = run(j);
  EXPECT_NE(std::find(lines.begin(), lines.end(), " F<Fa STOP "), lines.end());
  EXPECT_NEAR(value(" B(1)= "), 0, 0);
  double ymean = 0;
  for (float v : y) ymean += v;
  EXPECT_NEAR(value(" B(0)= "), ymean / 7, 1e-4);

  // Scheme 1: a field nearly explained by the one before it stops the selection.
  std::vector<float> c;
  for (float v : a) c.push_back(2 * v + 0.001f * (static_cast<int>(v) % 2));
  table("正交2", {"A", "C", "Y"}, {a, c, y});
  j.table = "正交2";
  j.xFields = {"A", "C"};
  j.scheme = 0;
  j.cutText = "0.2";
  lines = run(j);
  EXPECT_NE(std::find(lines.begin(), lines.end(), " R<e  STOP "), lines.end());
  // One factor kept: a(1) is the slope of y on A alone, and there is no a(2).
  EXPECT_GT(value("a(1)= "), 0);
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& l) { return starts(l, "a(2)"); }),
            0);
  EXPECT_NEAR(value(" B(2)= "), 0, 0);
}

TEST_F(RegressionTest, ScatterPlotAxesLabelsAndRefusals) {
  PlotAxis ax = linearAxis(0.3, 2.1);
  EXPECT_EQ(ax.lower, 0);
  EXPECT_EQ(ax.upper, 3);
  ax = linearAxis(12.5, 57);
  EXPECT_EQ(ax.lower, 0);
  EXPECT_EQ(ax.upper, 100);
  ax = linearAxis(-3.5, 4.2);
  EXPECT_EQ(ax.lower, -10);
  EXPECT_EQ(ax.upper, 5);
  ax = linearAxis(250, 345);
  EXPECT_EQ(ax.lower, 240);
  EXPECT_EQ(ax.upper, 400);
  EXPECT_EQ(ax.ticks, 10);
  // Fix(-0.5) is 0, so the rule would start at 0 above the data: 1-2-5 steps cover it instead.
  ax = linearAxis(-0.5, 2.1);
  EXPECT_LE(ax.lower, -0.5);
  EXPECT_GE(ax.upper, 2.1);
  EXPECT_GT(ax.lower, -1);

  curve("散点", [](double x) { return 1 / (0.5 + 2 / x); });
  RegressionPlot plot;
  ASSERT_TRUE(regressionPlot(db, oneVariable("散点", kHyperbola), plot).ok);
  EXPECT_EQ(plot.x.size(), 8u);
  EXPECT_FLOAT_EQ(plot.x[1], 0.5f);  // 1/x
  EXPECT_NEAR(plot.b0, 0.5, 1e-5);
  EXPECT_NEAR(plot.b1, 2, 1e-5);
  EXPECT_EQ(plot.xAxis.label, "1/X");
  EXPECT_EQ(plot.yAxis.label, "1/Y");
  ASSERT_TRUE(regressionPlot(db, oneVariable("散点", kLogistic), plot).ok);
  EXPECT_EQ(plot.xAxis.label, "Exp(-X)");
  ASSERT_TRUE(regressionPlot(db, oneVariable("散点", kPower), plot).ok);
  EXPECT_EQ(plot.xAxis.label, "log(X)");
  EXPECT_EQ(plot.yAxis.label, "log(Y)");
  EXPECT_EQ(plotPointText(1.5f, 2), "当前数据：X=1.5  Y=2");

  RegressionJob two = oneVariable("散点", kLinear);
  two.xFields = {"X", "Y"};
  EXPECT_EQ(regressionPlot(db, two, plot).message, "散点图只须一个因变量,请重选.");
  EXPECT_EQ(regressionPlot(db, oneVariable("散点", kParabola), plot).message,
            "抛物线和高次多项式模型不能绘制散点图。");
}

}  // namespace
}  // namespace sarnoth::geochem
