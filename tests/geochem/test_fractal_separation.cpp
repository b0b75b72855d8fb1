// Two-dimensional fractal processing: the C–A series counted by hand, breaks of exact broken
// lines, C–A separation by thresholds, S–A separation of two cosines of known power, and the
// tool's run with its grid files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "geochem/fractal_separation.h"
#include "prep/gridding.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

using test::TempDir;

Grid grid(int nx, int ny, float dx, float dy, const std::function<float(int, int)>& f) {
  Grid g;
  g.header.nx = nx;
  g.header.ny = ny;
  g.header.dx = dx;
  g.header.dy = dy;
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) g.nodes.push_back(f(r, c));
  recomputeGridStats(g.header, g.nodes);
  return g;
}

TEST(ConcentrationArea, CountsTheAreaAboveEachLevel) {
  // values 1 … 20 on cells of 2 × 3, one null, one zero (off the log axis)
  Grid g = grid(5, 4, 2, 3, [](int r, int c) { return static_cast<float>(r * 5 + c + 1); });
  g.nodes.push_back(0);  // not a node: only nx·ny count
  g.nodes.resize(20);
  AreaSeries s = concentrationAreaSeries(g, 3);
  ASSERT_EQ(s.threshold.size(), 3u);
  EXPECT_DOUBLE_EQ(s.threshold[0], 1);
  EXPECT_NEAR(s.threshold[1], std::sqrt(20.0), 1e-12);
  EXPECT_NEAR(s.threshold[2], 20, 1e-12);
  EXPECT_EQ(s.area, (std::vector<double>{120, 96, 6}));

  g.nodes[0] = NULL_VALUE;
  g.nodes[1] = 0;
  s = concentrationAreaSeries(g, 2);
  EXPECT_DOUBLE_EQ(s.threshold[0], 3);
  EXPECT_EQ(s.area, (std::vector<double>{108, 6}));

  Separation one = separateConcentrationArea(g, {5});
  Separation two = separateConcentrationArea(g, {5, 15});
  auto count = [](const std::vector<float>& v) {
    return std::count_if(v.begin(), v.end(), [](float z) { return z != NULL_VALUE; });
  };
  EXPECT_EQ(count(one.background), 3);  // 0, 3, 4 (the null stays null)
  EXPECT_EQ(count(one.anomaly), 16);
  EXPECT_EQ(count(two.background), 3);
  EXPECT_EQ(count(two.anomaly), 6);
  EXPECT_EQ(two.anomaly[19], 20);
  EXPECT_EQ(two.anomaly[0], NULL_VALUE);
}

// Two exact power laws meeting at x = 100 (slopes −0.5 and −3), and a third from 1000 on.
AreaSeries brokenLine(bool threeRuns) {
  AreaSeries s;
  for (int i = 0; i <= 40; ++i) {
    const double lx = i / 10.0, x = std::pow(10.0, lx);
    double ly = lx <= 2 ? 5 - 0.5 * lx : 4 - 3 * (lx - 2);
    if (threeRuns && lx > 3) ly = 1 - 1.0 * (lx - 3);
    s.threshold.push_back(x);
    s.area.push_back(std::pow(10.0, ly));
  }
  return s;
}

TEST(FractalBreaks, FindTheCornersOfBrokenLines) {
  BreakFit one = fitBreaks(brokenLine(false), 1);
  ASSERT_TRUE(one.failure.empty());
  ASSERT_EQ(one.breaks.size(), 1u);
  EXPECT_NEAR(one.breaks[0], 100, 1e-6);
  ASSERT_EQ(one.segments.size(), 2u);
  EXPECT_NEAR(one.segments[0].slope, -0.5, 1e-9);
  EXPECT_NEAR(one.segments[1].slope, -3, 1e-9);

  BreakFit two = fitBreaks(brokenLine(true), 2);
  ASSERT_EQ(two.breaks.size(), 2u);
  EXPECT_NEAR(two.breaks[0], 100, 1e-6);
  EXPECT_NEAR(two.breaks[1], 1000, 1e-6);
  EXPECT_NEAR(two.segments[2].slope, -1, 1e-9);

  // given breaks make their runs; a point at a break opens the upper run
  BreakFit given = segmentsFor(brokenLine(false), {100});
  EXPECT_EQ(given.firstPoint, (std::vector<int>{0, 20}));
  EXPECT_NEAR(given.segments[0].slope, -0.5, 1e-9);

  AreaSeries few;
  few.threshold = {1, 2, 3, 4, 5};
  few.area = {5, 4, 3, 2, 1};
  EXPECT_EQ(fitBreaks(few, 1).failure, kMsgFractalFewPoints);

  std::vector<double> b;
  EXPECT_TRUE(parseBreaks("3.5, 12", b));
  EXPECT_EQ(b, (std::vector<double>{3.5, 12}));
  EXPECT_FALSE(parseBreaks("12,3.5", b));
  EXPECT_FALSE(parseBreaks("-1", b));
  EXPECT_FALSE(parseBreaks("1,2,3", b));
  EXPECT_FALSE(parseBreaks("abc", b));
}

// 64 × 64 (no padding, no extension): a regional cosine of wavelength 64 and a local pattern
// of wavelength 8 in both directions. Powers: (50/2·4096)² ≈ 1.0e10 and (2/4·4096)² ≈ 4.2e6.
constexpr double kPi = 3.14159265358979323846;
float regional(int, int c) { return static_cast<float>(100 + 50 * std::cos(2 * kPi * c / 64)); }
float local(int r, int c) {
  return static_cast<float>(2 * std::cos(2 * kPi * c / 8) * std::cos(2 * kPi * r / 8));
}

TEST(SpectrumArea, SeparatesComponentsOfDifferentPower) {
  Grid g = grid(64, 64, 10, 10, [](int r, int c) { return regional(r, c) + local(r, c); });
  PowerSpectrum ps = powerSpectrum(g);
  ASSERT_TRUE(ps.failure.empty()) << ps.failure;
  EXPECT_EQ(ps.nxp, 64);
  EXPECT_NEAR(ps.cellArea, 1.0 / (640.0 * 640.0), 1e-18);
  const double top = *std::max_element(ps.power.begin() + 1, ps.power.end());
  EXPECT_NEAR(top / std::pow(25.0 * 4096, 2), 1, 1e-3);
  // the regional pair ±1 of row 1 stands above 1e9, the local four (±8, ±8) above 1e6
  auto cellsAbove = [&](double s) {
    double n = 0;
    for (std::size_t i = 0; i < ps.power.size(); ++i) n += ps.power[i] >= s ? ps.weight[i] : 0;
    return n;
  };
  EXPECT_EQ(cellsAbove(1e9), 2);
  EXPECT_EQ(cellsAbove(1e6), 6);
  AreaSeries s = spectrumAreaSeries(ps, 30);
  EXPECT_GE(s.area.front() / ps.cellArea, 6);
  EXPECT_LE(s.area.back() / ps.cellArea, 2);

  Separation sep = separateSpectrumArea(g, {1e8});
  ASSERT_TRUE(sep.failure.empty());
  double worstB = 0, worstA = 0;
  for (int r = 0; r < 64; ++r)
    for (int c = 0; c < 64; ++c) {
      const auto k = static_cast<std::size_t>(r * 64 + c);
      worstB = std::max(worstB, static_cast<double>(std::fabs(sep.background[k] - regional(r, c))));
      worstA = std::max(worstA, static_cast<double>(std::fabs(sep.anomaly[k] - local(r, c))));
    }
  EXPECT_LT(worstB, 0.02);  // of a field spanning 100
  EXPECT_LT(worstA, 0.02);

  // a null node stays null in both (on a grid that is extended: a power-of-two side with nulls
  // overflows the tool's transform)
  Grid h = grid(60, 50, 10, 10, [](int r, int c) { return regional(r, c) + local(r, c); });
  h.nodes[70] = NULL_VALUE;
  Separation withNull = separateSpectrumArea(h, {1e8});
  ASSERT_TRUE(withNull.failure.empty()) << withNull.failure;
  EXPECT_EQ(withNull.background[70], NULL_VALUE);
  EXPECT_EQ(withNull.anomaly[70], NULL_VALUE);
}

TEST(FractalRun, WritesBackgroundAndAnomalyGrids) {
  TempDir tmp;
  ASSERT_TRUE(createWorkArea(tmp.str()).ok);
  Grid g = grid(64, 64, 10, 10, [](int r, int c) { return regional(r, c) + local(r, c); });
  const std::string in = gridOutputPath(tmp.dir(), "Cu");
  ASSERT_TRUE(writeGrid(in, kGridMagicB, "ScatToGrid", g.header, g.nodes));
  FractalJob job;
  job.gridPath = in;
  job.method = FractalMethod::SpectrumArea;
  job.breaksText = "1e8";
  job.outputName = "CuSA";
  ScriptedInteraction ui;
  FractalRunResult r = runFractalSeparation(tmp.dir(), job, ui);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  ASSERT_EQ(r.paths.size(), 2u);
  GridReadResult b = readGrid(r.paths[0]), a = readGrid(r.paths[1]);
  ASSERT_TRUE(b.ok() && a.ok());
  EXPECT_EQ(b.grid.header.magic, "#HLTWRGRIDB#");
  EXPECT_EQ(b.grid.header.method.substr(0, 9), "FractalSA");
  EXPECT_NEAR(b.grid.header.zMax, 150, 0.05);
  EXPECT_NEAR(a.grid.header.zMax, 2, 0.05);
  EXPECT_EQ(b.grid.header.dx, 10);

  job.method = FractalMethod::ConcentrationArea;
  job.breaksText = "";
  job.breakCount = 1;
  job.outputName = "CuSA";
  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(runFractalSeparation(tmp.dir(), job, no).outcome.ok);
  EXPECT_EQ(no.asked.at(0), "工作区网格数据文件:CuSA_B.grd 已存在,要覆盖吗??");
  job.breaksText = "9,3";
  EXPECT_EQ(runFractalSeparation(tmp.dir(), job, ui).outcome.message, kMsgFractalBreaks);
  job.outputName = "";
  EXPECT_EQ(runFractalSeparation(tmp.dir(), job, ui).outcome.message, kMsgFractalNoName);
  job.gridPath = tmp.file("none.grd");
  EXPECT_FALSE(analyseFractal(job).outcome.ok);
}

}  // namespace
}  // namespace sarnoth::geochem
