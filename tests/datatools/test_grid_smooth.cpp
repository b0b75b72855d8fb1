// Grid smoothing and overlay: each kernel against values worked by hand on 5×5 grids (a spike and
// a ramp), empty nodes that never spread, thread independence, the overlay operations on a 2×2
// grid, and the files written.
#include <gtest/gtest.h>

#include <random>

#include "datatools/grid_smooth.h"
#include "test_support.h"

namespace sarnoth {
namespace {

// 5×5 zeros with 16 at the centre (2, 2).
std::vector<float> spike() {
  std::vector<float> g(25, 0.0f);
  g[12] = 16;
  return g;
}
// 5×5 with node (r, c) = 5r + c.
std::vector<float> ramp() {
  std::vector<float> g(25);
  for (int i = 0; i < 25; ++i) g[static_cast<std::size_t>(i)] = static_cast<float>(i);
  return g;
}
float at(const std::vector<float>& g, int r, int c) {
  return g[static_cast<std::size_t>(r * 5 + c)];
}

std::vector<float> smoothed(std::vector<float> g, SmoothMethod m, int window = 3, int passes = 1) {
  smoothNodes(g, 5, 5, {m, window, passes});
  return g;
}

TEST(GridSmooth, KernelsAgainstHandWorkedValues) {
  // Moving average, 3×3: the spike spreads as 16/9 over its window and no further.
  auto m = smoothed(spike(), SmoothMethod::MovingAverage);
  EXPECT_FLOAT_EQ(at(m, 2, 2), 16.0f / 9);
  EXPECT_FLOAT_EQ(at(m, 1, 1), 16.0f / 9);
  EXPECT_FLOAT_EQ(at(m, 2, 3), 16.0f / 9);
  EXPECT_EQ(at(m, 0, 0), 0.0f);
  EXPECT_EQ(at(m, 2, 0), 0.0f);
  // At a corner the window is cut to the grid: the mean of 0, 1, 5, 6.
  EXPECT_FLOAT_EQ(at(smoothed(ramp(), SmoothMethod::MovingAverage), 0, 0), 3.0f);

  // Weighted 3×3, [1 2 1]ᵀ[1 2 1]/16.
  auto w3 = smoothed(spike(), SmoothMethod::Weighted3);
  EXPECT_FLOAT_EQ(at(w3, 2, 2), 4.0f);
  EXPECT_FLOAT_EQ(at(w3, 1, 2), 2.0f);
  EXPECT_FLOAT_EQ(at(w3, 1, 1), 1.0f);
  EXPECT_EQ(at(w3, 0, 2), 0.0f);
  // The corner of the ramp: (4·0 + 2·1 + 2·5 + 1·6) / 9.
  EXPECT_FLOAT_EQ(at(smoothed(ramp(), SmoothMethod::Weighted3), 0, 0), 18.0f / 9);

  // Weighted 5×5, [1 4 6 4 1]ᵀ[1 4 6 4 1]/256: centre 16·36/256; at the corner the window keeps
  // offsets 0 to 2 (weights 6, 4, 1: 11 a side, 121 in all) and the spike sits at weight 1·1.
  auto w5 = smoothed(spike(), SmoothMethod::Weighted5);
  EXPECT_FLOAT_EQ(at(w5, 2, 2), 2.25f);
  EXPECT_FLOAT_EQ(at(w5, 0, 0), 16.0f / 121);
  // One row from the edge the window keeps row offsets -1 to 2 (4 + 6 + 4 + 1 = 15) by 16.
  EXPECT_FLOAT_EQ(at(w5, 1, 2), 16.0f * 24 / 240);

  // Hanning, 5×5: w = ¼, ¾, 1, ¾, ¼; centre 16/9; at the corner 16·(¼·¼)/(2·2).
  auto h5 = smoothed(spike(), SmoothMethod::Hanning, 5);
  EXPECT_FLOAT_EQ(at(h5, 2, 2), 16.0f / 9);
  EXPECT_FLOAT_EQ(at(h5, 0, 0), 0.25f);
  // Hanning 3×3 is the weighted 3×3 kernel.
  auto h3 = smoothed(spike(), SmoothMethod::Hanning, 3);
  for (std::size_t i = 0; i < 25; ++i) EXPECT_FLOAT_EQ(h3[i], w3[i]) << i;

  // Median, 3×3: a spike is removed; at the corner the even count takes the middle pair.
  auto md = smoothed(spike(), SmoothMethod::Median);
  EXPECT_EQ(at(md, 2, 2), 0.0f);
  auto mr = smoothed(ramp(), SmoothMethod::Median);
  EXPECT_FLOAT_EQ(at(mr, 0, 0), 3.0f);  // {0, 1, 5, 6}
  EXPECT_FLOAT_EQ(at(mr, 1, 1), 6.0f);

  // Two passes are one pass twice.
  EXPECT_EQ(smoothed(spike(), SmoothMethod::Weighted5, 3, 2),
            smoothed(smoothed(spike(), SmoothMethod::Weighted5), SmoothMethod::Weighted5));
}

TEST(GridSmooth, EmptyNodesStayEmptyAndNeverSpread) {
  for (SmoothMethod m : {SmoothMethod::MovingAverage, SmoothMethod::Weighted3,
                         SmoothMethod::Weighted5, SmoothMethod::Median, SmoothMethod::Hanning}) {
    auto g = ramp();
    g[12] = NULL_VALUE;
    g[24] = -5e30f;  // below -1E+30: empty too
    smoothNodes(g, 5, 5, {m, 5, 3});
    for (int i = 0; i < 25; ++i)
      if (i == 12 || i == 24)
        EXPECT_EQ(g[static_cast<std::size_t>(i)], NULL_VALUE);
      else
        EXPECT_GT(g[static_cast<std::size_t>(i)], -1e30f) << i;
  }
  // The mean at (1, 1) leaves the empty centre out: (0+1+2+5+6+7+10+11)/8.
  auto g = ramp();
  g[12] = NULL_VALUE;
  smoothNodes(g, 5, 5, {SmoothMethod::MovingAverage, 3, 1});
  EXPECT_FLOAT_EQ(at(g, 1, 1), 5.25f);
  EXPECT_FLOAT_EQ(at(g, 4, 4), 21.0f);
}

TEST(GridSmooth, OneThreadOrTwoGiveTheSameGrid) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(-100, 100);
  std::vector<float> g(300 * 200);
  for (auto& v : g) v = u(rng) > 90 ? NULL_VALUE : u(rng);
  for (SmoothMethod m : {SmoothMethod::Median, SmoothMethod::Weighted5, SmoothMethod::Hanning}) {
    auto a = g, b = g;
    smoothNodes(a, 300, 200, {m, 7, 2}, noProgress(), 1);
    smoothNodes(b, 300, 200, {m, 7, 2}, noProgress(), 2);
    EXPECT_EQ(a, b);
  }
}

TEST(GridOverlay, OperationsNodeByNode) {
  const std::vector<float> a = {1, 2, NULL_VALUE, 4}, b = {2, 0, 3, -1}, c = {1, 1, 1, 1};
  auto run = [&](OverlayOp op, std::vector<double> w = {}) {
    return overlayNodes({&a, &b}, op, w);
  };
  const float N = NULL_VALUE;
  EXPECT_EQ(run(OverlayOp::Sum), (std::vector<float>{3, 2, N, 3}));
  EXPECT_EQ(run(OverlayOp::Difference), (std::vector<float>{-1, 2, N, 5}));
  EXPECT_EQ(run(OverlayOp::Product), (std::vector<float>{2, 0, N, -4}));
  EXPECT_EQ(run(OverlayOp::Ratio), (std::vector<float>{0.5f, N, N, -4}));
  EXPECT_EQ(run(OverlayOp::WeightedSum, {2, 3}), (std::vector<float>{8, 4, N, 5}));
  EXPECT_EQ(run(OverlayOp::Maximum), (std::vector<float>{2, 2, N, 4}));
  EXPECT_EQ(run(OverlayOp::Minimum), (std::vector<float>{1, 0, N, -1}));
  EXPECT_EQ(overlayNodes({&a, &b, &c}, OverlayOp::Difference), (std::vector<float>{-2, 1, N, 4}));
}

class GridFilesTest : public ::testing::Test {
 protected:
  std::string grid(const std::string& name, float x0, std::vector<float> nodes) {
    GridHeader h;
    h.x0 = x0, h.y0 = 50, h.dx = 10, h.dy = 10, h.nx = 5, h.ny = 5;
    h.note = "源网格";
    recomputeGridStats(h, nodes);
    const std::string p = tmp.file(name + ".grd");
    EXPECT_TRUE(writeGrid(p, kGridMagicB, "ScatToGrid", h, nodes));
    return p;
  }
  test::TempDir tmp;
};

TEST_F(GridFilesTest, ResultsAreDmx10GridsWithFreshStatistics) {
  const std::string src = grid("src", 100, spike());
  ScriptedInteraction none;
  ASSERT_TRUE(runGridSmooth(src, tmp.file("out.grd"), {SmoothMethod::Weighted3, 3, 1}, none).ok);
  const std::string bytes = test::readFile(tmp.file("out.grd"));
  EXPECT_EQ(bytes.substr(0, 32), std::string("#DMX10GRIDB#GridToGrid") + std::string(10, ' '));
  GridReadResult r = readGrid(tmp.file("out.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.zMax, 4.0f);
  EXPECT_EQ(r.grid.header.zMin, 0.0f);
  EXPECT_EQ(r.grid.header.validCount, 25);
  EXPECT_EQ(r.grid.header.x0, 100.0f);
  EXPECT_EQ(r.grid.header.note, "源网格");

  // An existing result is asked about; No leaves it.
  ScriptedInteraction no({Answer::No});
  EXPECT_EQ(runGridSmooth(src, tmp.file("out.grd"), {SmoothMethod::Median, 3, 1}, no).message, "");
  EXPECT_EQ(no.asked, (std::vector<std::string>{"工作区网格数据文件:out.grd 已存在,要覆盖吗??"}));
  EXPECT_EQ(test::readFile(tmp.file("out.grd")), bytes);
  EXPECT_EQ(runGridSmooth(src, tmp.file("x.grd"), {SmoothMethod::Median, 4, 1}, none).message,
            "窗口大小必须是3到99之间的奇数.");
  EXPECT_EQ(runGridSmooth(src, tmp.file("x.grd"), {SmoothMethod::Weighted3, 4, 0}, none).message,
            "圆滑次数必须是1到100之间的整数.");
  test::writeFile(tmp.file("bad.grd"), "#SRNTHSCATB#" + std::string(120, '\0'));
  EXPECT_EQ(runGridSmooth(tmp.file("bad.grd"), tmp.file("x.grd"), {}, none).message,
            "非Sarnoth二进制网格数据.");
}

TEST_F(GridFilesTest, OverlayRefusesGridsOfAnotherGeometry) {
  const std::string a = grid("a", 100, ramp()), b = grid("b", 100, spike()),
                    moved = grid("moved", 105, spike());
  ScriptedInteraction none;
  ASSERT_TRUE(runGridOverlay({a, b}, tmp.file("sum.grd"), OverlayOp::Sum, {}, none).ok);
  GridReadResult r = readGrid(tmp.file("sum.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.nodes[12], 28.0f);
  EXPECT_EQ(r.grid.header.zMax, 28.0f);
  EXPECT_EQ(runGridOverlay({a, moved}, tmp.file("x.grd"), OverlayOp::Sum, {}, none).message,
            std::string(kMsgOverlayGeometry) + "moved.grd");
  EXPECT_EQ(runGridOverlay({a}, tmp.file("x.grd"), OverlayOp::Sum, {}, none).message,
            "叠置处理至少需要两个网格数据文件.");
  EXPECT_EQ(runGridOverlay({a, b}, tmp.file("x.grd"), OverlayOp::WeightedSum, {1}, none).message,
            "权系数的个数必须与网格数据文件的个数相同.");
  EXPECT_FALSE(std::filesystem::exists(tmp.file("x.grd")));
}

}  // namespace
}  // namespace sarnoth
