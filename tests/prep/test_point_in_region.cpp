// The map library's point-in-region rule: even-odd over the whole set (holes, overlaps), the
// boundary inside, rays through vertices counted once, and agreement with an independent
// crossing test and with the shoelace area on random and lattice points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "closed/map_library.h"

namespace sarnoth {
namespace {

struct Set {
  std::vector<std::int32_t> counts;
  std::vector<float> vertices;
  void add(std::initializer_list<std::pair<float, float>> pts) {
    counts.push_back(static_cast<std::int32_t>(pts.size()));
    for (auto [x, y] : pts) {
      vertices.push_back(x);
      vertices.push_back(y);
    }
  }
  MapRegionSet region() const { return MapRegionSet(counts, vertices); }
};

int in(const MapRegionSet& r, float x, float y) { return r.isPointInRegExt({x, y}); }

TEST(PointInRegion, ASquareKeepsItsBoundaryInside) {
  Set s;
  s.add({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  auto r = s.region();
  EXPECT_EQ(in(r, 5, 5), 1);
  EXPECT_EQ(in(r, 11, 5), 0);
  EXPECT_EQ(in(r, -1, 5), 0);
  EXPECT_EQ(in(r, 5, 10.5f), 0);
  // Every edge and every vertex is inside.
  for (auto [x, y] : {std::pair{10.f, 5.f},
                      {0.f, 5.f},
                      {5.f, 0.f},
                      {5.f, 10.f},
                      {0.f, 0.f},
                      {10.f, 0.f},
                      {10.f, 10.f},
                      {0.f, 10.f}})
    EXPECT_EQ(in(r, x, y), 1) << x << "," << y;
  // One float step beyond an edge is outside.
  EXPECT_EQ(in(r, std::nextafter(10.f, 11.f), 5), 0);
  EXPECT_EQ(in(r, 5, std::nextafter(0.f, -1.f)), 0);
  // The closing vertex written twice changes nothing.
  Set closed;
  closed.add({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}});
  auto rc = closed.region();
  for (float x = -1; x <= 11; x += 0.5f)
    for (float y = -1; y <= 11; y += 0.5f) EXPECT_EQ(in(rc, x, y), in(r, x, y)) << x << "," << y;
}

TEST(PointInRegion, RingsInsideRingsAreHolesAndOverlapsAreOutside) {
  Set hole;
  hole.add({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  hole.add({{3, 3}, {7, 3}, {7, 7}, {3, 7}});
  hole.add({{4, 4}, {6, 4}, {6, 6}, {4, 6}});  // an island in the hole
  auto r = hole.region();
  EXPECT_EQ(in(r, 1, 1), 1);
  EXPECT_EQ(in(r, 3.5f, 5), 0);  // in the hole
  EXPECT_EQ(in(r, 5, 5), 1);     // on the island
  EXPECT_EQ(in(r, 3, 5), 1);     // the hole's edge belongs to the region
  EXPECT_EQ(in(r, 7, 7), 1);     // and so does its vertex

  Set two;
  two.add({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  two.add({{5, 5}, {15, 5}, {15, 15}, {5, 15}});
  auto o = two.region();
  EXPECT_EQ(in(o, 2, 2), 1);
  EXPECT_EQ(in(o, 12, 12), 1);
  EXPECT_EQ(in(o, 7, 7), 0);   // covered twice: even
  EXPECT_EQ(in(o, 10, 7), 1);  // an edge of one polygon inside the other: boundary wins
  EXPECT_EQ(in(o, 20, 20), 0);
}

TEST(PointInRegion, RaysThroughVerticesAndAlongEdgesCountOnce) {
  // A diamond: rays at y = 5 pass through the vertices (0,5) and (10,5).
  Set d;
  d.add({{0, 5}, {5, 0}, {10, 5}, {5, 10}});
  auto r = d.region();
  EXPECT_EQ(in(r, 2, 5), 1);
  EXPECT_EQ(in(r, -1, 5), 0);
  EXPECT_EQ(in(r, 12, 5), 0);
  // A comb whose horizontal edges lie on the ray and whose spikes meet it at vertices.
  Set c;
  c.add({{0, 0},
         {12, 0},
         {12, 4},
         {10, 4},
         {10, 2},
         {8, 2},
         {8, 4},
         {6, 4},
         {6, 2},
         {4, 2},
         {4, 4},
         {0, 4}});
  auto cr = c.region();
  EXPECT_EQ(in(cr, 1, 2), 1);  // the ray runs along two notch floors and through four corners
  EXPECT_EQ(in(cr, 5, 3), 0);  // inside a notch
  EXPECT_EQ(in(cr, 7, 3), 1);  // in a tooth
  EXPECT_EQ(in(cr, 9, 3), 0);
  EXPECT_EQ(in(cr, 5, 2), 1);  // on a notch floor
  EXPECT_EQ(in(cr, -3, 2), 0);
  EXPECT_EQ(in(cr, -3, 4), 0);  // the ray along the top edges
  EXPECT_EQ(in(cr, 1, 4), 1);
}

TEST(PointInRegion, DegenerateInputEnclosesNothing) {
  Set s;
  s.add({{0, 0}, {10, 10}});  // a segment: only its points
  auto r = s.region();
  EXPECT_EQ(in(r, 5, 5), 1);
  EXPECT_EQ(in(r, 5, 4), 0);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Set q;
  q.add({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  auto rq = q.region();
  EXPECT_EQ(in(rq, nan, 5), 0);
  EXPECT_EQ(in(rq, 5, nan), 0);
  EXPECT_EQ(in(MapRegionSet(), 0, 0), 0);
  // A count that runs past the vertices ends the set there.
  std::vector<std::int32_t> counts = {4, 100};
  auto cut = MapRegionSet(counts, q.vertices);
  EXPECT_EQ(cut.polygonCount(), 1);
  EXPECT_EQ(in(cut, 5, 5), 1);
  // The one-off call agrees with the prepared set and honours the polygon count.
  Set two;
  two.add({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
  two.add({{20, 0}, {30, 0}, {30, 10}, {20, 10}});
  EXPECT_EQ(isPointInRegExt({25, 5}, 2, two.counts, two.vertices), 1);
  EXPECT_EQ(isPointInRegExt({25, 5}, 1, two.counts, two.vertices), 0);
  EXPECT_EQ(isPointInRegExt({5, 5}, 0, two.counts, two.vertices), 0);
}

// W. R. Franklin's crossing test (pnpoly), over all polygons at once: an independent even-odd
// reference for points off the boundary.
bool pnpoly(const Set& s, double x, double y) {
  bool c = false;
  std::size_t first = 0;
  for (std::int32_t n : s.counts) {
    const float* v = s.vertices.data() + 2 * first;
    for (std::int32_t i = 0, j = n - 1; i < n; j = i++) {
      const double xi = v[2 * i], yi = v[2 * i + 1], xj = v[2 * j], yj = v[2 * j + 1];
      if (((yi > y) != (yj > y)) && (x < (xj - xi) * (y - yi) / (yj - yi) + xi)) c = !c;
    }
    first += static_cast<std::size_t>(n);
  }
  return c;
}

double distanceToEdges(const Set& s, double x, double y) {
  double best = 1e300;
  std::size_t first = 0;
  for (std::int32_t n : s.counts) {
    const float* v = s.vertices.data() + 2 * first;
    for (std::int32_t i = 0, j = n - 1; i < n; j = i++) {
      const double ax = v[2 * j], ay = v[2 * j + 1], bx = v[2 * i], by = v[2 * i + 1];
      const double dx = bx - ax, dy = by - ay, l2 = dx * dx + dy * dy;
      double t = l2 > 0 ? ((x - ax) * dx + (y - ay) * dy) / l2 : 0;
      t = std::clamp(t, 0.0, 1.0);
      best = std::min(best, std::hypot(x - ax - t * dx, y - ay - t * dy));
    }
    first += static_cast<std::size_t>(n);
  }
  return best;
}

// Star-shaped polygons of many vertices at random places, some overlapping.
Set randomStars(std::mt19937& rng, int polygons, int vertices, double extent) {
  std::uniform_real_distribution<double> u(0, 1);
  Set s;
  for (int p = 0; p < polygons; ++p) {
    const double cx = u(rng) * extent, cy = u(rng) * extent, r = extent * (0.03 + 0.1 * u(rng));
    s.counts.push_back(vertices);
    for (int k = 0; k < vertices; ++k) {
      const double a = 2 * std::numbers::pi * k / vertices, rr = r * (0.4 + 0.6 * u(rng));
      s.vertices.push_back(static_cast<float>(cx + rr * std::cos(a)));
      s.vertices.push_back(static_cast<float>(cy + rr * std::sin(a)));
    }
  }
  return s;
}

TEST(PointInRegion, AgreesWithAnIndependentCrossingTestOffTheBoundary) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-50, 10050);
  Set s = randomStars(rng, 60, 100, 10000);
  auto r = s.region();
  int compared = 0, inside = 0;
  for (int i = 0; i < 4000; ++i) {
    const float x = static_cast<float>(u(rng)), y = static_cast<float>(u(rng));
    if (distanceToEdges(s, x, y) < 1e-2) continue;
    ++compared;
    const bool ref = pnpoly(s, x, y);
    inside += ref;
    ASSERT_EQ(in(r, x, y), ref ? 1 : 0) << x << "," << y;
  }
  EXPECT_GT(compared, 3950);
  EXPECT_GT(inside, 400);  // the sample reaches the insides, not only the gaps
}

TEST(PointInRegion, InsideLatticePointsMeasureTheShoelaceArea) {
  // A star of 400 vertices, no self-crossing: the inside nodes of a fine lattice, each worth one
  // cell, add up to the polygon's area but for the cells its boundary crosses.
  std::mt19937 rng(11);
  Set s = randomStars(rng, 1, 400, 1000);
  double area = 0;
  for (int i = 0, j = 399; i < 400; j = i++)
    area += static_cast<double>(s.vertices[2 * j]) * s.vertices[2 * i + 1] -
            static_cast<double>(s.vertices[2 * i]) * s.vertices[2 * j + 1];
  area = std::fabs(area) / 2;
  auto r = s.region();
  float x0 = 1e30f, x1 = -1e30f, y0 = 1e30f, y1 = -1e30f;
  for (int i = 0; i < 400; ++i) {
    x0 = std::min(x0, s.vertices[2 * i]), x1 = std::max(x1, s.vertices[2 * i]);
    y0 = std::min(y0, s.vertices[2 * i + 1]), y1 = std::max(y1, s.vertices[2 * i + 1]);
  }
  const double h = 0.2;
  long long count = 0;
  for (double x = std::floor(x0) - h / 2; x <= x1 + 1; x += h)
    for (double y = std::floor(y0) - h / 2; y <= y1 + 1; y += h)
      count += in(r, static_cast<float>(x), static_cast<float>(y));
  EXPECT_NEAR(count * h * h, area, 0.01 * area);
}

}  // namespace
}  // namespace sarnoth
