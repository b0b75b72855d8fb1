// The point-in-region core of clipping: 100 polygons of 200 vertices over a 1000 × 1000 area,
// tested at random points on one thread, for lobed outlines like digitised boundaries (the
// layout of the clipping benchmark script) and for jagged stars whose every vertex jumps in
// radius (about forty edges on each horizontal line through a polygon, the hard case for band
// tables); the one-off preparation of the set; and the naive crossing test over every edge.
#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "closed/map_library.h"

namespace {

using namespace sarnoth;

struct Polygons {
  std::vector<std::int32_t> counts;
  std::vector<float> vertices;
};

// Ten by ten polygons of 200 vertices around centres on a 100-unit net.
Polygons makePolygons(bool jagged) {
  Polygons p;
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(0, 1);
  for (int i = 0; i < 100; ++i) {
    const double cx = 50 + 100 * (i % 10), cy = 50 + 100 * (i / 10);
    const double f1 = 6.3 * u(rng), f2 = 6.3 * u(rng);
    p.counts.push_back(200);
    for (int k = 0; k < 200; ++k) {
      const double a = 2 * std::numbers::pi * k / 200;
      const double r =
          jagged ? 25 + 20 * u(rng)
                 : 35 + 7 * std::sin(3 * a + f1) + 3 * std::cos(7 * a + f2) + 0.5 * u(rng);
      p.vertices.push_back(static_cast<float>(cx + r * std::cos(a)));
      p.vertices.push_back(static_cast<float>(cy + r * std::sin(a)));
    }
  }
  return p;
}

const Polygons& polygons(bool jagged = false) {
  static Polygons lobed = makePolygons(false), stars = makePolygons(true);
  return jagged ? stars : lobed;
}

const std::vector<MapPoint>& points() {
  static std::vector<MapPoint> pts = [] {
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> u(0, 1000);
    std::vector<MapPoint> v(1 << 20);
    for (auto& p : v) p = {u(rng), u(rng)};
    return v;
  }();
  return pts;
}

void BM_IsPointInRegExt(benchmark::State& state) {
  const Polygons& p = polygons(state.range(0) != 0);
  const MapRegionSet set(p.counts, p.vertices);
  const auto& pts = points();
  std::size_t i = 0;
  std::int64_t inside = 0;
  for (auto _ : state) {
    inside += set.isPointInRegExt(pts[i]);
    i = (i + 1) & (pts.size() - 1);
  }
  benchmark::DoNotOptimize(inside);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_IsPointInRegExt)->ArgName("jagged")->Arg(0)->Arg(1);

void BM_PrepareSet(benchmark::State& state) {
  for (auto _ : state) {
    MapRegionSet set(polygons().counts, polygons().vertices);
    benchmark::DoNotOptimize(set);
  }
}
BENCHMARK(BM_PrepareSet);

// Every edge of every polygon for every point: what a call without preparation costs.
void BM_NaiveCrossings(benchmark::State& state) {
  const auto& p = polygons();
  const auto& pts = points();
  std::size_t i = 0;
  std::int64_t inside = 0;
  for (auto _ : state) {
    const double x = pts[i].x, y = pts[i].y;
    bool c = false;
    const float* v = p.vertices.data();
    for (std::int32_t n : p.counts) {
      for (std::int32_t a = 0, b = n - 1; a < n; b = a++) {
        const double xa = v[2 * a], ya = v[2 * a + 1], xb = v[2 * b], yb = v[2 * b + 1];
        if (((ya > y) != (yb > y)) && (x < (xb - xa) * (y - ya) / (yb - ya) + xa)) c = !c;
      }
      v += 2 * n;
    }
    inside += c;
    i = (i + 1) & (pts.size() - 1);
  }
  benchmark::DoNotOptimize(inside);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NaiveCrossings);

}  // namespace

BENCHMARK_MAIN();
