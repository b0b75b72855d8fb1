// Parker–Oldenburg interface inversion of a 512 × 512 gravity grid (goal < 10 s): to the usual
// criterion of 0.5 m, and the full 20 iterations (a criterion no run meets); the Euler
// deconvolution of a 10,000-point magnetic profile for scale.
#include <benchmark/benchmark.h>

#include <cmath>

#include "gravmag/interface_inversion.h"
#include "gravmag/profile_depth.h"

using namespace sarnoth::gravmag;

namespace {

constexpr int kSide = 512;
constexpr double kStep = 500;  // m

InterfaceParams params(double criterion = 0.5) {
  InterfaceParams p;
  p.kind = InterfaceKind::Density;
  p.contrast = 0.3;
  p.referenceDepth = 6000;
  p.passWavelength = 12000;
  p.cutWavelength = 8000;
  p.criterion = criterion;
  p.maxIterations = 20;
  return p;
}

// The anomaly of a relief of two basins and a ridge, by the forward series.
std::vector<float> anomaly() {
  std::vector<float> h(static_cast<std::size_t>(kSide) * kSide);
  auto bump = [](double x, double y, double x0, double y0, double s, double a) {
    return a * std::exp(-((x - x0) * (x - x0) + (y - y0) * (y - y0)) / (2 * s * s));
  };
  for (int r = 0; r < kSide; ++r)
    for (int c = 0; c < kSide; ++c) {
      const double x = c * kStep, y = r * kStep;
      h[static_cast<std::size_t>(r) * kSide + c] = static_cast<float>(
          bump(x, y, 60000, 80000, 15000, 900) + bump(x, y, 170000, 150000, 20000, 700) -
          bump(x, y, 120000, 110000, 10000, 500));
    }
  return interfaceAnomaly(h, kSide, kSide, kStep, kStep, params());
}

void BM_ParkerOldenburg512(benchmark::State& state) {
  const std::vector<float> g = anomaly();
  const double criterion = state.range(0) ? 0.5 : 1e-12;
  int iterations = 0;
  for (auto _ : state) {
    const InterfaceResult r = invertInterface(g, kSide, kSide, kStep, kStep, params(criterion));
    iterations = static_cast<int>(r.rmsChange.size());
    benchmark::DoNotOptimize(r.depth.data());
  }
  state.counters["iterations"] = iterations;
}
BENCHMARK(BM_ParkerOldenburg512)
    ->Arg(1)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2)
    ->UseRealTime();

void BM_EulerProfile10k(benchmark::State& state) {
  ProfileSeries s;
  for (int i = 0; i < 10000; ++i) {
    const double u = i % 500 - 250.0, d = 12;
    s.x.push_back(i);
    s.t.push_back(1e6 * (2 * d * d - u * u) / std::pow(u * u + d * d, 2.5));
  }
  for (auto _ : state) {
    const RegularProfile p = regularProfile(s);
    benchmark::DoNotOptimize(eulerSolutions(p, 11, 3, 0.15));
  }
}
BENCHMARK(BM_EulerProfile10k)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
