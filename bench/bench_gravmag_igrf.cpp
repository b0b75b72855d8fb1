// The reference field and the background fit at survey scale:
//  - 1,000,000 points through the reference field synthesis (IGRF 14th, degree 13, dates
//    spread over 2000–2030 in runs of equal dates as a survey's lines have them), on two
//    threads; goal under 1 s;
//  - the robust polynomial background fit of 100,000 samples, degree 5, ten iterations at most
//    (the tool's defaults), the whole iteration as the tool runs it, in double precision (the
//    default) and in the single arithmetic; goal under 3 s.
// Run: cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DSARNOTH_BUILD_BENCH=ON
//      -DSARNOTH_BUILD_GUI=OFF -DSARNOTH_BUILD_TESTS=OFF && cmake --build build-bench
//      --target bench_gravmag_igrf && build-bench/bin/bench_gravmag_igrf
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "gravmag/background_fit.h"
#include "gravmag/igrf_model.h"

namespace {

using namespace sarnoth;

void BM_IgrfSynthesis(benchmark::State& state) {
  const gravmag::IgrfModel& model =
      gravmag::igrfModel(SARNOTH_RESOURCES, gravmag::IgrfGeneration::Fourteenth);
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const int threads = static_cast<int>(state.range(1));
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> lat(-89.0, 89.0), lon(-180.0, 180.0), h(0.0, 5.0);
  std::vector<double> year(n), la(n), lo(n), hk(n);
  for (std::size_t i = 0; i < n; ++i) {
    year[i] = 2000.0 + static_cast<double>(i / 1000) * 30.0 / static_cast<double>(n / 1000);
    la[i] = lat(rng);
    lo[i] = lon(rng);
    hk[i] = h(rng);
  }
  std::vector<gravmag::GeomagField> out(n);
  for (auto _ : state) {
    gravmag::igrfFieldMany(model, year, la, lo, hk, out, threads);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}
// CPU is the whole process's (both threads): on a shared machine the wall time carries its
// load, and CPU / threads is what an idle machine takes.
BENCHMARK(BM_IgrfSynthesis)
    ->Args({1000000, 2})
    ->Args({1000000, 1})
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

void BM_BackgroundFit(benchmark::State& state) {
  const std::size_t n = static_cast<std::size_t>(state.range(0));
  const int degree = static_cast<int>(state.range(1));
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(0.0f, 1.0f);
  std::vector<float> x(n), y(n), g(n);
  for (std::size_t i = 0; i < n; ++i) {
    x[i] = u(rng);
    y[i] = u(rng);
    g[i] = 20.0f - 8.0f * x[i] + 5.0f * y[i] * y[i] + 3.0f * x[i] * x[i] * y[i] + u(rng);
    if (i % 13 == 0) g[i] += 6.0f;
  }
  int steps = 0;
  for (auto _ : state) {
    const gravmag::TrendFit fit = gravmag::robustTrendFit(
        x, y, g, degree, 10, 0.01f,
        {state.range(2) ? gravmag::TrendPrecision::Double : gravmag::TrendPrecision::Single, 0});
    steps = static_cast<int>(fit.steps.size());
    benchmark::DoNotOptimize(fit.bestNd);
  }
  state.counters["steps"] = steps;
}
// Third argument: 1 double precision (the tool's default), 0 the single arithmetic.
BENCHMARK(BM_BackgroundFit)
    ->Args({100000, 5, 1})
    ->Args({100000, 5, 0})
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
