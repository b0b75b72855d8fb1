// The anomaly and fractal tools' engines on a small work-area table: the values each method
// keeps, the report lines character for character (figures worked by hand), the refusals, the
// fractal report and the plot's axes.
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/anomaly.h"
#include "geochem/fractal.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

constexpr double N = NULL_VALUE_D;

class AnomalyTable : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp_.str()).ok);
    work_ = tmp_.dir();
    db_ = openWorkDatabase(work_);
    db_.execute(
        "Create Table [样品] ([Au] SINGLE, [铜] SINGLE, [Zn] DOUBLE, [空] SINGLE, [线] LONG, "
        "[Note] TEXT(10))");
    // Au 1 … 5 then nulls; 铜 nine tens and a fifty; Zn 1, 10, 100, 1000, 0, −5 then nulls.
    const double au[10] = {1, 2, 3, 4, 5, N, N, N, N, N};
    const double zn[10] = {1, 10, 100, 1000, 0, -5, N, N, N, N};
    for (int i = 0; i < 10; ++i)
      db_.execute("Insert Into [样品] Values (?, ?, ?, ?, ?, 'x')",
                  {Value(au[i]), Value(i == 9 ? 50.0 : 10.0), Value(zn[i]), Value(N),
                   Value(std::int64_t{i})});
  }

  AnomalyRunResult run(AnomalyMethod m, std::vector<std::string> elements) {
    AnomalyJob job;
    job.table = "样品";
    job.elements = std::move(elements);
    job.method = m;
    return runAnomaly(db_, job);
  }

  sarnoth::test::TempDir tmp_;
  std::string work_;
  Database db_;
};

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> v;
  std::size_t b = 0;
  for (std::size_t e; (e = text.find('\n', b)) != std::string::npos; b = e + 1)
    v.push_back(text.substr(b, e - b));
  return v;
}

TEST_F(AnomalyTable, MeanMethodReportLines) {
  // Au: x̄ = 3, s = √2.5 = 1.581, limit 3 + 2·1.581 = 6.162; 空 has no value: zeros.
  AnomalyRunResult r = run(AnomalyMethod::MeanSd, {"Au", "空"});
  ASSERT_TRUE(r.outcome) << r.outcome.message;
  const auto l = lines(r.report);
  ASSERT_EQ(l.size(), 5u);
  EXPECT_EQ(l[0], "     ----- 元素异常处理结果 ------");
  EXPECT_EQ(l[1], "");
  EXPECT_EQ(l[2], "  元素      记录数      平均值     标准差    异常下限");
  EXPECT_EQ(l[3], "Au               5       3.000       1.581       6.162");
  EXPECT_EQ(l[4], "空                0       0.000       0.000       0.000");
  EXPECT_EQ(r.rows[0].n, 5);
}

TEST_F(AnomalyTable, RejectionMethodsAndTheirColumns) {
  // 铜: the fifty is rejected, the tens remain with s = 0. Method 1's rows carry one blank more.
  AnomalyRunResult r = run(AnomalyMethod::Normal, {"铜"});
  ASSERT_TRUE(r.outcome);
  auto l = lines(r.report);
  EXPECT_EQ(l[2], "  元素      记录数  剔出数    平均值     标准差     异常下限");
  EXPECT_EQ(l[3], "铜               10      1      10.000       0.000      10.000");

  // Zn on logs: 1, 10, 100, 1000 (zero and −5 do not count), mean 1.5, s = √(5/3) = 1.291,
  // limit 1.5 + 2·1.291 = 4.082 in log units; the same header, no extra blank.
  r = run(AnomalyMethod::LogNormal, {"Zn"});
  ASSERT_TRUE(r.outcome);
  l = lines(r.report);
  EXPECT_EQ(l[2], "  元素      记录数  剔出数    平均值     标准差     异常下限");
  EXPECT_EQ(l[3], "Zn               4     0       1.500       1.291       4.082");
}

TEST_F(AnomalyTable, PercentAndRobustMethods) {
  // Au at 85 %: the top 15 % begins at Q(0.85) = 4.4; quartiles 2 and 4.
  AnomalyRunResult r = run(AnomalyMethod::Percent, {"Au"});
  ASSERT_TRUE(r.outcome);
  auto l = lines(r.report);
  EXPECT_EQ(l[2],
            "  元素      记录数   最小值  下四分位数   中位数  上四分位数    最大值   异常下限");
  EXPECT_EQ(l[3], "Au               5   1.000     2.000     3.000     4.000       5.000     4.400");

  // Zn (1, 10, 100, 1000, 0, −5): median 5.5, |x − 5.5| = 4.5, 4.5, 94.5, 994.5, 5.5, 10.5 with
  // median 8, MAD 1.4826·8 = 11.861, limit 5.5 + 23.722 = 29.222; on the values, as the zero
  // and the negative rule the logs out.
  r = run(AnomalyMethod::MedianMad, {"Zn"});
  ASSERT_TRUE(r.outcome);
  l = lines(r.report);
  EXPECT_EQ(l[2], "  元素      记录数  尺度      中位数   标准化MAD    异常下限");
  EXPECT_EQ(l[3], "Zn               6  原值       5.500      11.861      29.222");
  // Fence: quartiles (type 7, n = 6) 0.25 and 77.5, fence 77.5 + 1.5·77.25 = 193.375.
  r = run(AnomalyMethod::BoxplotFence, {"Zn"});
  l = lines(r.report);
  EXPECT_EQ(l[3], "Zn               6  原值       0.250      77.500     193.375");
  // 98th percentile: h = 5·0.98 + 1 = 5.9 between 100 and 1000: 910.
  r = run(AnomalyMethod::Percentile98, {"Zn"});
  l = lines(r.report);
  EXPECT_EQ(l[3], "Zn               6       5.500      77.500     910.000");
}

TEST_F(AnomalyTable, RefusesWhatCannotRun) {
  EXPECT_EQ(run(AnomalyMethod::MeanSd, {}).outcome.message, kMsgChooseElement);
  EXPECT_EQ(run(AnomalyMethod::MeanSd, {"Pb"}).outcome.message,
            std::string(kMsgNoSuchElement) + "Pb");
  AnomalyJob job;
  job.table = "样品";
  job.elements = {"Au"};
  job.method = AnomalyMethod::Normal;
  job.multiple = 0;
  EXPECT_EQ(runAnomaly(db_, job).outcome.message, kMsgBadParameter);
  job.multiple = 2.5f;
  job.k = std::nanf("");
  EXPECT_EQ(runAnomaly(db_, job).outcome.message, kMsgBadParameter);
  job.table = "没有";
  job.k = 2;
  EXPECT_FALSE(runAnomaly(db_, job).outcome);
  // Element names match case-blind, as the database matches them.
  EXPECT_TRUE(run(AnomalyMethod::MeanSd, {"au"}).outcome);
}

TEST_F(AnomalyTable, FractalProfileReport) {
  // 线 holds 0 … 9: too short for two scales.
  FractalJob job;
  job.method = FractalMethod::ProfileBox;
  job.table = "样品";
  job.element = "线";
  EXPECT_EQ(runFractal(db_, work_, job).outcome.message, kMsgNoFractalFit);
  // A straight profile of 65 samples: every length is 64, dimension 1, intercept log10 64.
  db_.execute("Create Table [剖面] ([高程] SINGLE)");
  for (int i = 0; i < 65; ++i) db_.execute("Insert Into [剖面] Values (?)", {Value(3.0 * i)});
  job.table = "剖面";
  job.element = "高程";
  FractalRunResult r = runFractal(db_, work_, job);
  ASSERT_TRUE(r.outcome) << r.outcome.message;
  EXPECT_EQ(r.x.size(), 18u);  // round(2·√65 + 2)
  EXPECT_EQ(r.slotCount, 6);
  EXPECT_EQ(r.report,
            "     ----- 分形分维处理结果 ------\n高程\n\n盒子尺度        曲线长度\n"
            "  1     64\n  2     64\n  4     64\n  8     64\n\n"
            "数据组数： 4  相关系数： 1\n    截距： 1.80618    分维值： 1\n");
  // The graded methods use g + 2 slots; equal values cannot be fitted.
  job.method = FractalMethod::ContentNumber;
  job.grades = 5;
  r = runFractal(db_, work_, job);
  ASSERT_TRUE(r.outcome);
  EXPECT_EQ(r.slotCount, 7);
  EXPECT_EQ(r.seriesX().size(), 5u);
  job.element = "铜";
  job.table = "样品";
  db_.execute("Update [样品] Set [铜] = 10");
  EXPECT_EQ(runFractal(db_, work_, job).outcome.message, kMsgNoFractalFit);
  job.grades = 0;
  EXPECT_EQ(runFractal(db_, work_, job).outcome.message, kMsgBadParameter);
}

TEST_F(AnomalyTable, FractalGridNullsTakeTheHeadersMinimum) {
  // A level grid at 5 with a few null nodes: with the header's minimum 5 they fill in level and
  // the surface is a plane (2); a header minimum of 0 makes pits and a rougher surface.
  GridHeader h;
  h.nx = 33;
  h.ny = 33;
  std::vector<float> nodes(33 * 33, 5.0f);
  for (int i : {40, 300, 301, 700}) nodes[static_cast<std::size_t>(i)] = NULL_VALUE;
  h.zMin = 5;
  h.zMax = 5;
  ASSERT_TRUE(writeGrid(work_ + "Grid_Dat/level.grd", kGridMagicB, "test", h, nodes));
  h.zMin = 0;
  ASSERT_TRUE(writeGrid(work_ + "Grid_Dat/pits.grd", kGridMagicHltwr, "test", h, nodes));
  FractalJob job;
  job.method = FractalMethod::SurfacePrism;
  job.gridFile = "level.grd";
  FractalRunResult r = runFractal(db_, work_, job);
  ASSERT_TRUE(r.outcome) << r.outcome.message;
  EXPECT_EQ(r.source, "level.grd");
  EXPECT_FLOAT_EQ(r.y[static_cast<std::size_t>(r.slotCount - 1)], 2.0f);
  job.gridFile = "pits.grd";
  r = runFractal(db_, work_, job);
  ASSERT_TRUE(r.outcome);
  EXPECT_GT(r.y[static_cast<std::size_t>(r.slotCount - 1)], 2.01f);
  EXPECT_EQ(r.x.size(), 13u);  // round(2·√33 + 2)

  job.gridFile = "";
  EXPECT_EQ(runFractal(db_, work_, job).outcome.message, kMsgChooseDataFile);
  sarnoth::test::writeFile(work_ + "Grid_dat/bad.grd", "#SRNTHGRIDX#" + std::string(200, 'g'));
  job.gridFile = "bad.grd";
  EXPECT_EQ(runFractal(db_, work_, job).outcome.message, kMsgNotFractalGrid);
  sarnoth::test::writeFile(work_ + "Grid_dat/short.grd", "#SRNTHGRIDB#short");
  job.gridFile = "short.grd";
  EXPECT_EQ(runFractal(db_, work_, job).outcome.message,
            std::string(kMsgGridReadFailed) + "short.grd");
}

TEST(FractalPlot, AxesOfTheFourKinds) {
  // Both logarithmic: x 1 … 100 gives decades 0 … 3, y 1 … 3 gives 0 … 1.
  FractalPlot p =
      buildFractalPlot({1, 10, 100}, {3, 2, 1}, AxisType::LogLog, FractalMethod::ContentNumber);
  EXPECT_TRUE(p.x.log);
  EXPECT_EQ(p.x.lower, 0);
  EXPECT_EQ(p.x.upper, 3);
  EXPECT_EQ(p.x.labels, (std::vector<std::string>{"1", "10", "100", "1000"}));
  EXPECT_EQ(p.y.lower, 0);
  EXPECT_EQ(p.y.upper, 1);
  EXPECT_EQ(p.x.caption, "含量值");
  EXPECT_EQ(p.y.caption, "数据个数");
  // Below 1: log −1.3 … −0.3 runs from Fix − 1 = −2 to Int + 1 = 0.
  p = buildFractalPlot({0.05f, 0.5f}, {1, 2}, AxisType::LogX, FractalMethod::SurfacePrism);
  EXPECT_EQ(p.x.lower, -2);
  EXPECT_EQ(p.x.upper, 0);
  EXPECT_EQ(p.x.labels, (std::vector<std::string>{"0.01", "0.1", "1"}));
  EXPECT_EQ(p.x.caption, "棱锥底积");
  // Linear y of 1 … 2: 0 to Int(2) + 1 = 3 in ten steps of 0.3.
  EXPECT_FALSE(p.y.log);
  EXPECT_EQ(p.y.ticks.size(), 11u);
  EXPECT_DOUBLE_EQ(p.y.upper, 3);
  EXPECT_EQ(p.y.labels[1], "0.3");
  // Linear from 15 to 150: Fix(15/10 − 1)·10 = 0 to Fix(150/100 + 1)·100 = 200.
  p = buildFractalPlot({15, 150}, {-5.5f, 12}, AxisType::Linear, FractalMethod::ProfileBox);
  EXPECT_EQ(p.x.lower, 0);
  EXPECT_EQ(p.x.upper, 200);
  EXPECT_EQ(p.x.labels[1], "20");
  // A negative minimum: Fix(−5.5) = −5, Fix(−5/10 − 1)·10 = −10; Int(12) = 12 → 100.
  EXPECT_EQ(p.y.lower, -10);
  EXPECT_EQ(p.y.upper, 100);
  // A log axis leaves out what it cannot show.
  p = buildFractalPlot({0, 1, 10}, {5, 5, 5}, AxisType::LogY, FractalMethod::ProfileBox);
  EXPECT_EQ(p.px.size(), 3u);
  p = buildFractalPlot({0, 1, 10}, {5, 5, 5}, AxisType::LogLog, FractalMethod::ProfileBox);
  EXPECT_EQ(p.px.size(), 2u);
  EXPECT_EQ(p.valueX[0], 1.0f);

  // As a chart: the drawing area is 6/8 of the picture, 1/8 in from the left and from the
  // bottom, the axes as ruled; the highlight is the second series, one blue point.
  p = buildFractalPlot({1, 10, 100}, {3, 2, 1}, AxisType::LogLog, FractalMethod::ContentNumber);
  const chart::Chart c = fractalChart(p, 1);
  const chart::Layout l = chart::layoutChart(c, 800, 400);
  EXPECT_DOUBLE_EQ(l.left, 100);
  EXPECT_DOUBLE_EQ(l.top, 50);
  EXPECT_DOUBLE_EQ(*l.px(1), 100);     // 10^0, the axis' lower end
  EXPECT_DOUBLE_EQ(*l.px(1000), 700);  // 10^3, its upper end
  EXPECT_DOUBLE_EQ(*l.py(10), 50);
  EXPECT_EQ(c.x.tickLabels, (std::vector<std::string>{"1", "10", "100", "1000"}));
  ASSERT_EQ(c.series.size(), 2u);
  EXPECT_EQ(c.series[1].x, (std::vector<double>{10}));
  EXPECT_EQ(c.series[1].colour, chart::kBlue);
  EXPECT_TRUE(fractalChart(p).series[1].x.empty());
  EXPECT_EQ(fractalHoverText(p, 2), "当前数据：X=100  Y=1");
  EXPECT_EQ(fractalHoverText(p, 3), "");
}

}  // namespace
}  // namespace sarnoth
