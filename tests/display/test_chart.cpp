// Charts: axis ranges and ticks, the data ↔ pixel mapping, hit tests, and the two outputs (SVG
// text and the raster picture) agreeing on where things land.
#include <gtest/gtest.h>

#include <cmath>

#include "display/chart.h"
#include "display/chart_image.h"
#include "test_support.h"

namespace sarnoth::chart {
namespace {

TEST(ChartTicks, LinearStepsAreOneTwoFiveAndLabelsShareOnePrecision) {
  double lo = 0.13, hi = 9.7;
  auto t = niceTicks(lo, hi, 5, true);
  EXPECT_DOUBLE_EQ(lo, 0);
  EXPECT_DOUBLE_EQ(hi, 10);
  ASSERT_EQ(t.size(), 6u);
  EXPECT_DOUBLE_EQ(t[1], 2);

  double a = -0.8, b = 0.7;
  auto u = niceTicks(a, b, 6, false);  // inside the range, no widening
  EXPECT_DOUBLE_EQ(u.front(), -0.75);
  EXPECT_DOUBLE_EQ(u.back(), 0.5);
  EXPECT_EQ(formatTicks(u).front(), "-0.75");
  EXPECT_EQ(formatTicks(u)[3], "0.00");  // no "-0", same decimals as its neighbours

  const double mixed[] = {0.5, 1.0, 1.5};
  EXPECT_EQ(formatTicks(mixed), (std::vector<std::string>{"0.5", "1.0", "1.5"}));
  const double big[] = {0, 2e7, 4e7};
  EXPECT_EQ(formatTicks(big)[1], "2E+07");
}

TEST(ChartLayout, LogAxesSpanWholeDecadesAndMapEvenlyInTheFrame) {
  Chart c;
  c.x.scale = Scale::Log10;
  c.y.scale = Scale::Log10;
  c.series.push_back(Series::of(SeriesKind::Line, {0.03, 250.0, -1.0}, {2.0, 2000.0, 5.0}));
  const Layout L = layoutChart(c, 800, 800);
  EXPECT_DOUBLE_EQ(L.xlo, 0.01);
  EXPECT_DOUBLE_EQ(L.xhi, 1000);
  EXPECT_EQ(L.xlabels, (std::vector<std::string>{"0.01", "0.1", "1", "10", "100", "1000"}));
  EXPECT_EQ(L.ylabels.front(), "1");
  // The frame is 6/8 of the picture, 1/8 from the left and from the bottom.
  EXPECT_DOUBLE_EQ(L.left, 100);
  EXPECT_DOUBLE_EQ(L.right, 700);
  EXPECT_DOUBLE_EQ(L.bottom, 700);
  EXPECT_DOUBLE_EQ(L.top, 100);
  EXPECT_NEAR(*L.px(1.0), 100 + 600 * 2.0 / 5.0, 1e-9);
  EXPECT_NEAR(*L.py(100.0), 700 - 600 * 2.0 / 4.0, 1e-9);
  EXPECT_FALSE(L.px(-1.0).has_value());
  EXPECT_NEAR(L.dataX(*L.px(42.0)), 42.0, 1e-9);
}

TEST(ChartLayout, FixedRangesExplicitTicksAndReversedDepthAxis) {
  Chart c;
  c.x.autoRange = false;
  c.x.lo = 0;
  c.x.hi = 4;
  c.x.ticks = {0, 1, 2, 3, 4, 9};
  c.x.tickLabels = {"A", "B", "C", "D", "E", "F"};
  c.y.reversed = true;  // depth grows downwards
  c.series.push_back(Series::of(SeriesKind::Step, {0, 5, 20}, {100, 10, 1000}));
  const Layout L = layoutChart(c, 400, 300);
  EXPECT_EQ(L.xlabels, (std::vector<std::string>{"A", "B", "C", "D", "E"}));  // 9 lies outside
  EXPECT_LT(*L.py(L.ylo), *L.py(L.yhi));                                      // lo at the top
}

TEST(ChartHit, NearestPointWithinTheRadius) {
  Chart c;
  c.x.autoRange = c.y.autoRange = false;
  c.x.hi = c.y.hi = 10;
  c.series.push_back(Series::of(SeriesKind::Markers, {1, 5}, {1, 5}));
  c.series.push_back(Series::of(SeriesKind::Markers, {5.05}, {5.0}));
  const Layout L = layoutChart(c, 800, 800);
  auto h = hitTest(c, L, *L.px(5.06), *L.py(5.0));
  ASSERT_TRUE(h);
  EXPECT_EQ(h->series, 1);
  EXPECT_FALSE(hitTest(c, L, *L.px(3.0), *L.py(3.0)));
}

TEST(ChartOutput, SvgAndPictureDrawTheSameChart) {
  Chart c;
  c.title = "含量 & 频数";
  c.x.label = "盒子尺度";
  c.x.autoRange = c.y.autoRange = false;
  c.x.hi = c.y.hi = 10;
  Series s = Series::of(SeriesKind::Markers, {5}, {5}, kBlue);
  s.filledMarkers = true;
  s.markerSize = 10;
  c.series.push_back(s);

  const std::string svg = toSvg(c, 400, 400);
  EXPECT_NE(svg.find("含量 &amp; 频数"), std::string::npos);
  EXPECT_NE(svg.find(">盒子尺度</text>"), std::string::npos);
  EXPECT_NE(svg.find("#0000ff"), std::string::npos);
  EXPECT_NE(svg.find("clip-path"), std::string::npos);

  Layout L;
  const Image img = renderChart(c, 400, 400, &L);
  ASSERT_EQ(img.width, 400);
  const auto centre = img.at(static_cast<int>(*L.px(5)), static_cast<int>(*L.py(5)));
  EXPECT_EQ(centre & 0xFFFFFFu, 0x0000FFu);          // the blue marker
  EXPECT_EQ(img.at(2, 398) & 0xFFFFFFu, 0xFFFFFFu);  // white background
  int dark = 0;                                      // the title's glyphs above the frame
  for (int y = 0; y < static_cast<int>(L.top); ++y)
    for (int x = 0; x < 400; ++x) dark += (img.at(x, y) & 0xFFu) < 128;
  EXPECT_GT(dark, 20);

  test::TempDir tmp;
  ASSERT_TRUE(writeChartFile(c, tmp.file("c.png"), 300, 200));
  EXPECT_EQ(test::readFile(tmp.file("c.png")).substr(1, 3), "PNG");
  ASSERT_TRUE(writeChartFile(c, tmp.file("c.SVG"), 300, 200));
  EXPECT_EQ(test::readFile(tmp.file("c.SVG")).substr(0, 5), "<?xml");
}

TEST(ChartCells, FilledCellsColourBarAndHoverReadOut) {
  // Two unit squares on [0, 2] × [0, 1], low and high on a 4-level logarithmic bar 1…10⁴.
  Chart c;
  c.x.autoRange = c.y.autoRange = false;
  c.x.hi = 2;
  c.y.hi = 1;
  c.fitFrame = true;
  c.colourBar = makeColourBar(1, 1e4, 4, true, "Ω·m");
  ASSERT_EQ(c.colourBar->bounds.size(), 5u);
  EXPECT_NEAR(c.colourBar->bounds[2], 100, 1e-9);
  EXPECT_EQ(c.colourBar->colours.front(), (Rgb{0, 0, 255}));
  EXPECT_EQ(c.colourBar->colours.back(), (Rgb{255, 0, 0}));
  EXPECT_EQ(colourOf(*c.colourBar, 3), c.colourBar->colours[0]);
  EXPECT_EQ(colourOf(*c.colourBar, 5000), c.colourBar->colours[3]);
  EXPECT_EQ(colourOf(*c.colourBar, 1e9), c.colourBar->colours[3]);
  EXPECT_EQ(rainbow(0.5), (Rgb{0, 200, 0}));
  Series cells;
  cells.kind = SeriesKind::Cells;
  cells.cellCorners = 4;
  cells.width = 0;
  cells.x = {0, 1, 1, 0, 1, 2, 2, 1};
  cells.y = {0, 0, 1, 1, 0, 0, 1, 1};
  cells.cellColours = {colourOf(*c.colourBar, 3), colourOf(*c.colourBar, 5000)};
  c.series.push_back(cells);
  Layout L;
  const Image img = renderChart(c, 500, 300, &L);
  // The fitted frame leaves the bar its room on the right.
  EXPECT_LT(L.right, 500 - 40);
  const int y = static_cast<int>(*L.py(0.5));
  EXPECT_EQ(img.at(static_cast<int>(*L.px(0.5)), y) & 0xFFFFFFu, 0x0000FFu);
  EXPECT_EQ(img.at(static_cast<int>(*L.px(1.5)), y) & 0xFFFFFFu, 0xFF0000u);
  // The bar itself, its lowest level blue at the bottom.
  EXPECT_EQ(img.at(static_cast<int>(L.right) + 14, static_cast<int>(L.bottom) - 3) & 0xFFFFFFu,
            0x0000FFu);
  // Hovering over a cell hits that cell.
  auto hit = hitTest(c, L, *L.px(1.7), *L.py(0.2));
  ASSERT_TRUE(hit);
  EXPECT_EQ(hit->index, 1);
  EXPECT_FALSE(hitTest(c, L, *L.px(1.7), L.top - 5));
}

}  // namespace
}  // namespace sarnoth::chart
