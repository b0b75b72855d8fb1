// Co-kriging at survey scale: 20,000 primary and 100,000 secondary samples (the secondary on
// every record, the primary on every fifth, correlated through a common field) onto a 201 × 201
// grid, 12 neighbours of each variable: the experimental direct and cross variograms, the
// Goulard–Voltz fit and the node solves. Goal under 5 s on two cores. Arg: threads (1, 2).
// Leave-one-out cross-validation of the 20,000 primary samples is timed beside it.
// Run: cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DSARNOTH_BUILD_BENCH=ON
//      -DSARNOTH_BUILD_GUI=OFF -DSARNOTH_BUILD_TESTS=OFF && cmake --build build-bench
//      --target bench_cokriging && build-bench/bin/bench_cokriging
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "geochem/cokriging.h"

namespace {

using namespace sarnoth;
using namespace sarnoth::geochem;

const CoSamples& samples() {
  static const CoSamples s = [] {
    CoSamples c;
    c.z.resize(2);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(0, 20000);
    std::normal_distribution<double> nd;
    for (int i = 0; i < 100000; ++i) {
      const double x = u(rng), y = u(rng);
      const double field = 40 + 15 * std::sin(x / 1900) * std::cos(y / 2600) + 0.0005 * x;
      c.x.push_back(x);
      c.y.push_back(y);
      c.z[0].push_back(i % 5 == 0 ? field + nd(rng) : std::nan(""));
      c.z[1].push_back(0.8 * field + 3 + 2 * nd(rng));
    }
    return c;
  }();
  return s;
}

GridGeometry grid201() {
  GridGeometry g;
  g.xLeft = 0;
  g.yBottom = 0;
  g.dx = g.dy = 100;
  g.columns = g.rows = 201;
  return g;
}

void BM_CoKrigingGrid(benchmark::State& state) {
  const CoSamples& s = samples();
  CoKrigingOptions o;
  o.threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
    CoVariograms ev = experimentalCoVariograms(s);
    Coregionalisation m = fitCoregionalisation(ev);
    std::vector<float> g = coKrigeGrid(s, m, grid201(), o);
    benchmark::DoNotOptimize(g.data());
  }
  state.counters["nodes/s"] =
      benchmark::Counter(201.0 * 201, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_CoKrigingGrid)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CoKrigingCrossValidation(benchmark::State& state) {
  const CoSamples& s = samples();
  const Coregionalisation m = fitCoregionalisation(experimentalCoVariograms(s));
  CoKrigingOptions o;
  o.threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
    CrossValidation cv = coKrigingCrossValidation(s, m, o);
    benchmark::DoNotOptimize(cv.rmse);
  }
}
BENCHMARK(BM_CoKrigingCrossValidation)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
