// Anomaly thresholds and fractal dimensions at survey scale: the four library methods of the
// anomaly tool over 1,000,000 values of one element (log-normal background with a 1 % anomalous
// population), each alone and the four in turn as the tool runs them; the robust thresholds; the
// triangular-prism and box-counting dimensions of a 4001 × 4001 grid.
//
// Goals: the four methods together under 0.5 s, the prism dimension under 2 s.
//   cmake -S . -B build-rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DSARNOTH_BUILD_BENCH=ON
//   cmake --build build-rel --target bench_anomaly && build-rel/bin/bench_anomaly
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "closed/fractal_proc.h"
#include "geochem/anomaly_stats.h"

namespace {

using namespace sarnoth;

const std::vector<float>& element() {
  static const std::vector<float> v = [] {
    std::mt19937 rng(2026);
    std::normal_distribution<double> background(1.3, 0.35), anomaly(2.6, 0.2);
    std::uniform_real_distribution<double> u;
    std::vector<float> out(1'000'000);
    for (float& x : out)
      x = static_cast<float>(std::pow(10.0, u(rng) < 0.01 ? anomaly(rng) : background(rng)));
    return out;
  }();
  return v;
}

constexpr std::int32_t kN = 1'000'000;

void BM_MeanSd(benchmark::State& st) {
  float a = 0, s = 0;
  element();  // made before the clock runs
  for (auto _ : st) benchmark::DoNotOptimize(GEO_GetAverageStdDev(element(), kN, a, s));
}
void BM_Normal(benchmark::State& st) {
  float a = 0, s = 0;
  for (auto _ : st) benchmark::DoNotOptimize(GEO_NormalDistribution(element(), kN, a, s, 2.5f));
}
void BM_LogNormal(benchmark::State& st) {
  float a = 0, s = 0;
  for (auto _ : st) benchmark::DoNotOptimize(GEO_LogNormalDistribution(element(), kN, a, s, 2.5f));
}
void BM_Percent(benchmark::State& st) {
  std::vector<float> out(7);
  for (auto _ : st) benchmark::DoNotOptimize(GEO_PercentAnomaly(element(), kN, 15, out));
}
void BM_FourMethods(benchmark::State& st) {
  float a = 0, s = 0;
  std::vector<float> out(7);
  for (auto _ : st) {
    GEO_GetAverageStdDev(element(), kN, a, s);
    GEO_NormalDistribution(element(), kN, a, s, 2.5f);
    GEO_LogNormalDistribution(element(), kN, a, s, 2.5f);
    GEO_PercentAnomaly(element(), kN, 15, out);
    benchmark::DoNotOptimize(out.data());
  }
}
void BM_RobustThresholds(benchmark::State& st) {
  for (auto _ : st) {
    benchmark::DoNotOptimize(medianMadThreshold(element()).threshold);
    benchmark::DoNotOptimize(boxplotFenceThreshold(element()).threshold);
    benchmark::DoNotOptimize(percentileThreshold(element()).threshold);
  }
}

const std::vector<float>& bigSurface() {
  static const std::vector<float> z = [] {
    const int n = 4001;
    std::vector<float> g(static_cast<std::size_t>(n) * n);
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> noise(-1, 1);
    for (int r = 0; r < n; ++r)
      for (int c = 0; c < n; ++c) {
        const double x = static_cast<double>(c) / n, y = static_cast<double>(r) / n;
        g[static_cast<std::size_t>(r) * n + c] =
            static_cast<float>(80 * std::exp(-((x - .3) * (x - .3) + (y - .6) * (y - .6)) / .01) +
                               12 * std::sin(31 * x) * std::cos(23 * y) +
                               3 * std::sin(400 * x + 170 * y) + noise(rng));
      }
    return g;
  }();
  return z;
}

void BM_PrismDimension4001(benchmark::State& st) {
  std::vector<float> x(128), y(128);  // round(2·√4001 + 2) slots
  bigSurface();                       // made before the clock runs
  for (auto _ : st) benchmark::DoNotOptimize(GEO_XYZDataTriFD(bigSurface(), 4001, 4001, x, y));
  st.counters["D"] =
      y[static_cast<std::size_t>(GEO_XYZDataTriFD(bigSurface(), 4001, 4001, x, y) - 1)];
}
void BM_BoxDimension4001(benchmark::State& st) {
  std::vector<float> x(128), y(128);
  bigSurface();
  for (auto _ : st) benchmark::DoNotOptimize(GEO_XYZDataBoxFD(bigSurface(), 4001, 4001, x, y));
}

BENCHMARK(BM_MeanSd)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Normal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LogNormal)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Percent)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FourMethods)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RobustThresholds)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PrismDimension4001)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BoxDimension4001)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
