// Contours and filled bands: a planar field is contoured exactly where the plane reaches each
// level, the Delaunay triangles tile the hull, the bands cover every triangle once, and log
// levels fall on the decades.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "display/chart_contour.h"

namespace sarnoth::chart {
namespace {

double area2(const TriField& f, const std::array<int, 3>& t) {
  return (f.x[t[1]] - f.x[t[0]]) * (f.y[t[2]] - f.y[t[0]]) -
         (f.y[t[1]] - f.y[t[0]]) * (f.x[t[2]] - f.x[t[0]]);
}

double polygonArea(const Series& s, std::size_t cell) {
  double a = 0;
  const std::size_t n = static_cast<std::size_t>(s.cellCorners), o = cell * n;
  for (std::size_t k = 0; k < n; ++k) {
    const std::size_t j = (k + 1) % n;
    a += s.x[o + k] * s.y[o + j] - s.x[o + j] * s.y[o + k];
  }
  return a / 2;
}

TEST(ChartContour, DelaunayTilesTheHullOfScatteredAndGriddedPoints) {
  // Scattered points in the unit square with its corners: the triangles, all anticlockwise,
  // cover the square exactly once, and no point lies inside another triangle's circumcircle.
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(0, 1);
  std::vector<double> x = {0, 1, 1, 0}, y = {0, 0, 1, 1};
  for (int i = 0; i < 200; ++i) x.push_back(u(rng)), y.push_back(u(rng));
  TriField f;
  f.x = x, f.y = y, f.v.assign(x.size(), 0);
  f.triangles = delaunay(x, y);
  ASSERT_FALSE(f.triangles.empty());
  double total = 0;
  for (const auto& t : f.triangles) {
    ASSERT_GT(area2(f, t), 0);
    total += area2(f, t) / 2;
  }
  EXPECT_NEAR(total, 1.0, 1e-9);
  // Euler: a triangulation of n points with h on the hull has 2n − h − 2 triangles.
  EXPECT_EQ(f.triangles.size(), 2 * x.size() - 4 - 2);
  for (const auto& t : f.triangles) {
    const double ax = x[t[0]], ay = y[t[0]], bx = x[t[1]], by = y[t[1]], cx = x[t[2]], cy = y[t[2]];
    const double d = 2 * (ax * (by - cy) + bx * (cy - ay) + cx * (ay - by));
    const double ux = ((ax * ax + ay * ay) * (by - cy) + (bx * bx + by * by) * (cy - ay) +
                       (cx * cx + cy * cy) * (ay - by)) /
                      d;
    const double uy = ((ax * ax + ay * ay) * (cx - bx) + (bx * bx + by * by) * (ax - cx) +
                       (cx * cx + cy * cy) * (bx - ax)) /
                      d;
    const double r2 = (ax - ux) * (ax - ux) + (ay - uy) * (ay - uy);
    for (std::size_t p = 0; p < x.size(); ++p)
      EXPECT_GE((x[p] - ux) * (x[p] - ux) + (y[p] - uy) * (y[p] - uy), r2 * (1 - 1e-9));
  }
  // A regular grid (every square's corners on one circle) with a duplicate point: 2 triangles
  // per square.
  std::vector<double> gx, gy;
  for (int j = 0; j < 6; ++j)
    for (int i = 0; i < 9; ++i) gx.push_back(i * 2.0), gy.push_back(-j * 1.0);
  gx.push_back(4), gy.push_back(-2);
  EXPECT_EQ(delaunay(gx, gy).size(), 2u * 8 * 5);
  // Collinear points have no triangle.
  EXPECT_TRUE(delaunay(std::vector<double>{0, 1, 2}, std::vector<double>{0, 1, 2}).empty());
}

TEST(ChartContour, PlanarFieldIsContouredWhereThePlaneReachesTheLevel) {
  // v = 3 + 2x − 0.5y on scattered points: every segment end of level L satisfies v = L.
  std::mt19937 rng(9);
  std::uniform_real_distribution<double> u(0, 10);
  std::vector<double> x, y, v;
  for (int i = 0; i < 300; ++i) {
    x.push_back(u(rng));
    y.push_back(-u(rng));
    v.push_back(3 + 2 * x.back() - 0.5 * y.back());
  }
  const TriField f = triField(x, y, v);
  const auto levels = contourLevels(5, 25, 5, false);
  ASSERT_EQ(levels, (std::vector<double>{5, 10, 15, 20, 25}));
  for (double L : levels) {
    const auto segs = contourSegments(f, L);
    ASSERT_FALSE(segs.empty());
    for (const auto& s : segs) {
      EXPECT_NEAR(3 + 2 * s[0] - 0.5 * s[1], L, 1e-9);
      EXPECT_NEAR(3 + 2 * s[2] - 0.5 * s[3], L, 1e-9);
    }
  }
  // A level outside the field has no segment; the chart gets one series per drawn level and
  // a label on each long line.
  EXPECT_TRUE(contourSegments(f, 100).empty());
  Chart c;
  const std::vector<double> two = {10, 15};
  EXPECT_GT(addContours(c, f, two), 0u);
  ASSERT_EQ(c.series.size(), 2u);
  EXPECT_EQ(c.series[0].kind, SeriesKind::Segments);
  ASSERT_FALSE(c.notes.empty());
  for (const Note& n : c.notes) {
    const double at = 3 + 2 * n.x - 0.5 * n.y;
    EXPECT_NEAR(at, std::stod(n.text), 1e-9);
  }
}

TEST(ChartContour, LogFieldContoursOnDecadesAndBandsCoverEveryTriangleOnce) {
  // v = 10^(x/2) on a grid: in log10 the field is planar, so the line of 10ⁿ lies at x = 2n.
  std::vector<double> x, y, v;
  for (int j = 0; j < 5; ++j)
    for (int i = 0; i <= 16; ++i) {
      x.push_back(i * 0.5 + 0.1 * (j % 2));
      y.push_back(-j);
      v.push_back(std::pow(10.0, x.back() / 2));
    }
  v.push_back(-1), x.push_back(3), y.push_back(-7);  // not on a log scale: left out
  const TriField f = triField(x, y, v, true);
  EXPECT_EQ(f.x.size(), x.size() - 1);
  EXPECT_EQ(contourLevels(1, 10000, 4, true), (std::vector<double>{1, 10, 100, 1000, 10000}));
  EXPECT_EQ(contourLevels(1, 100, 6, true), (std::vector<double>{1, 2, 5, 10, 20, 50, 100}));
  for (double L : {10.0, 100.0, 1000.0})
    for (const auto& s : contourSegments(f, L, true)) {
      EXPECT_NEAR(s[0], 2 * std::log10(L), 1e-9);
      EXPECT_NEAR(s[2], 2 * std::log10(L), 1e-9);
    }
  // Bands: the pieces' areas add up to the triangles', and each piece's colour is its band's.
  ColourBar bar = makeColourBar(1, 10000, 8, true);
  Chart c;
  addFilledBands(c, f, bar);
  ASSERT_EQ(c.series.size(), 1u);
  const Series& s = c.series[0];
  ASSERT_EQ(s.cellCorners, 5);
  double pieces = 0, whole = 0;
  for (std::size_t k = 0; k < s.cellColours.size(); ++k) {
    pieces += polygonArea(s, k);
    EXPECT_EQ(s.cellColours[k], colourOf(bar, s.cellValues[k] * 1.0001));
    // Every vertex of a piece lies within its band (x within the band's decades, 2·log10).
    for (std::size_t n = 0; n < 5; ++n)
      EXPECT_GE(s.x[k * 5 + n], 2 * std::log10(s.cellValues[k]) - 1e-9);
  }
  for (const auto& t : f.triangles) whole += area2(f, t) / 2;
  EXPECT_NEAR(pieces, whole, 1e-9 * whole);
}

}  // namespace
}  // namespace sarnoth::chart
