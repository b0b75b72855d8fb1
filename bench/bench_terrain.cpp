// Gravity terrain correction: 10,000 stations over a 2001 × 2001 elevation model (30 m cells,
// 60 km square, Hammer's rings to 170.1 m and prisms to zone M at 21944.2 m) on two cores
// (goal < 30 s, building the model's quadtree included); and the space-domain continuation of a
// 1024 × 1024 grid by 2 spacings upward (automatic operator radius 32).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "gravmag/space_operators.h"
#include "gravmag/terrain.h"

using namespace sarnoth;
using namespace sarnoth::gravmag;

namespace {

constexpr int kSide = 2001;
constexpr double kCell = 30;

Grid dem() {
  Grid g;
  g.header.nx = g.header.ny = kSide;
  g.header.dx = g.header.dy = static_cast<float>(kCell);
  g.nodes.resize(static_cast<std::size_t>(kSide) * kSide);
  for (int r = 0; r < kSide; ++r)
    for (int c = 0; c < kSide; ++c) {
      const double x = c * kCell, y = r * kCell;
      g.nodes[static_cast<std::size_t>(r) * kSide + c] = static_cast<float>(
          900 + 600 * std::sin(x / 4100) * std::cos(y / 5300) + 150 * std::sin(x / 700 + y / 900) +
          40 * std::cos(x / 170) * std::sin(y / 230));
    }
  recomputeGridStats(g.header, g.nodes);
  return g;
}

void BM_TerrainCorrection10000Stations(benchmark::State& state) {
  const Grid g = dem();
  std::mt19937 gen(5);
  std::uniform_real_distribution<double> u(0, (kSide - 1) * kCell);
  std::vector<double> x(10000), y(10000), h(10000);
  TerrainParams p;
  p.innerRadius = defaultInnerRadius(kCell, kCell);
  for (auto _ : state) {
    const TerrainModel model(g);
    for (std::size_t i = 0; i < x.size(); ++i) {
      x[i] = u(gen);
      y[i] = u(gen);
      h[i] = model.elevationAt(x[i], y[i]) + 1.0;
    }
    const auto tc = terrainCorrections(model, x, y, h, p, static_cast<int>(state.range(0)));
    benchmark::DoNotOptimize(tc.data());
  }
}
BENCHMARK(BM_TerrainCorrection10000Stations)
    ->Arg(2)
    ->Arg(1)
    ->Unit(benchmark::kSecond)
    ->Iterations(1)
    ->UseRealTime();

void BM_SpaceContinuation1024(benchmark::State& state) {
  const int n = 1024;
  std::vector<float> v(static_cast<std::size_t>(n) * n);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c)
      v[static_cast<std::size_t>(r) * n + c] = static_cast<float>(
          1e4 * 8 / std::pow(std::pow(c - 500.0, 2) + std::pow(r - 600.0, 2) + 64, 1.5));
  const PointOperator op = gmDerivOperators(-2, 1.0, autoContinuationRadius(-2));
  for (auto _ : state) benchmark::DoNotOptimize(applyPointOperator(v, n, n, op, 2).data());
}
BENCHMARK(BM_SpaceContinuation1024)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
