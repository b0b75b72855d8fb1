// 2-D magnetotellurics: the forward of 40 sites × 30 frequencies in both modes on a mesh of 150
// columns × 80 rows (70 in the earth, 10 in the air; goal < 2 s on two cores), the same with the
// sensitivities to 1200 blocks, and an Occam inversion of that data set from a uniform start
// (goal < 2 min).
#include <benchmark/benchmark.h>

#include "electric/mt2d_demo.h"
#include "electric/mt2d_inversion.h"

using namespace sarnoth::electric;

namespace {

const Mt2dDemoSet& dataSet() {
  static const Mt2dDemoSet set = [] {
    Mt2dDemoSize z;
    z.sites = 40;
    z.frequencies = 30;
    z.siteSpacing = 250;
    z.fmax = 1000;
    z.fmin = 0.01;
    z.cellsPerSite = 2;
    z.padColumns = 34;
    z.padGrowth = 1.15;
    z.earthRows = 70;
    z.airRows = 10;
    z.blockSize = 3;
    return makeMt2dDemoSet(z);
  }();
  return set;
}

std::vector<int> siteColumns(const Mt2dDemoSet& s) {
  std::vector<int> c;
  for (const MtSite& site : s.data.sites) c.push_back(s.mesh.nearestColumn(site.position));
  return c;
}

void BM_Forward(benchmark::State& st) {
  const Mt2dDemoSet& s = dataSet();
  const std::vector<int> sites = siteColumns(s);
  const int threads = static_cast<int>(st.range(0));
  for (auto _ : st) {
    MtResponses r;
    mt2dResponses(s.mesh, s.truth, s.data.frequencies, sites, MtMode::Joint, r, threads);
    benchmark::DoNotOptimize(r);
  }
  st.counters["columns"] = s.mesh.columns();
  st.counters["rows"] = s.mesh.earthRows() + s.mesh.airRows();
}
BENCHMARK(BM_Forward)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ForwardWithSensitivities(benchmark::State& st) {
  const Mt2dDemoSet& s = dataSet();
  const std::vector<int> sites = siteColumns(s);
  const std::vector<int> blocks = s.start.cellBlocks();
  Mt2dForwardRequest r;
  r.mesh = &s.mesh;
  r.resistivity = s.truth;
  r.frequencies = s.data.frequencies;
  r.siteColumns = sites;
  r.cellParameter = blocks;
  r.parameters = static_cast<int>(s.start.resistivity.size());
  for (auto _ : st)
    for (Polarisation p : {Polarisation::TE, Polarisation::TM}) {
      ModeResponse resp;
      ModeSensitivity sens;
      forwardMode(r, p, resp, &sens);
      benchmark::DoNotOptimize(sens);
    }
  st.counters["parameters"] = r.parameters;
}
BENCHMARK(BM_ForwardWithSensitivities)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Occam(benchmark::State& st) {
  const Mt2dDemoSet& s = dataSet();
  Mt2dInversionSetup setup;
  setup.mesh = s.mesh;
  setup.model = s.start;
  setup.data = s.data;
  setup.mode = MtMode::Joint;
  setup.targetRms = 1.0;
  setup.rhoFloor = s.basic.rhoFloor;
  setup.phaseFloor = s.basic.phaseFloor;
  setup.maxIterations = 10;
  Mt2dInversionOutcome o;
  double rms = 0;
  for (auto _ : st) {
    o = invertMt2d(setup, [&](const Mt2dIterationReport& r) { rms = r.rms; });
    benchmark::DoNotOptimize(o);
  }
  st.counters["iterations"] = o.iterations;
  st.counters["rms"] = rms;
  st.counters["initial_rms"] = o.initialRms;
  st.counters["parameters"] = static_cast<double>(s.start.resistivity.size());
}
BENCHMARK(BM_Occam)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
