// 2-D resistivity/IP: the forward of 40 electrodes, dipole-dipole n = 1..6 (207 data), on a mesh
// of about 20,000 nodes (goal < 2 s on two cores), the same with the sensitivities, and the
// inversion of that survey's noisy data (goal < 1 minute).
#include <benchmark/benchmark.h>

#include <random>

#include "electric/dc2d_inversion.h"

using namespace sarnoth::electric;

namespace {

struct Survey {
  Dc2dSurvey survey;
  Dc2dModel model;
  Dc2dMesh mesh;
  Survey() {
    survey.device = Dc2dDevice::DipoleSounding;
    for (int i = 0; i < 40; ++i) survey.electrodes.push_back({5.0 * i, 0});
    for (int n = 1; n <= 6; ++n)
      for (int i = 0; i + n + 2 < 40; ++i) survey.data.push_back({i, i + 1, i + n + 1, i + n + 2});
    model.rho0 = 100;
    Dc2dRegion block;
    block.outline = {{90, -3}, {105, -3}, {105, -9}, {90, -9}};
    block.rho = 10;
    block.eta = 10;
    model.regions = {block};
    Dc2dMeshSettings st;
    st.cellsPerSpacing = 6;
    st.growth = 1.04;
    std::string err;
    buildDc2dMesh(survey, model, st, mesh, err);
  }
};

const Survey& survey() {
  static const Survey s;
  return s;
}

void BM_Dc2dForward(benchmark::State& state) {
  const Survey& s = survey();
  Dc2dMeshData md;
  std::string err;
  assignDc2dMeshData(s.mesh, s.model, md, err);
  for (auto _ : state) {
    Dc2dForward fwd(s.mesh, s.survey);  // wavenumbers and the pattern included
    Dc2dResponse resp;
    dc2dResponse(fwd, md, false, resp);
    benchmark::DoNotOptimize(resp.rho.data());
  }
  state.counters["nodes"] = static_cast<double>(s.mesh.nodes.size());
  state.counters["data"] = static_cast<double>(s.survey.data.size());
}
BENCHMARK(BM_Dc2dForward)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Dc2dForwardWithSensitivities(benchmark::State& state) {
  const Survey& s = survey();
  Dc2dForward fwd(s.mesh, s.survey);
  const Dc2dCells cells = makeDc2dCells(s.mesh, s.survey);
  const std::vector<double> rho(s.mesh.elements(), 100.0);
  for (auto _ : state) {
    Dc2dSolution sol;
    fwd.solve(rho, sol, true);
    const Eigen::MatrixXd J = fwd.jacobian(sol, cells.cellOf, cells.count());
    benchmark::DoNotOptimize(J.data());
  }
  state.counters["cells"] = cells.count();
}
BENCHMARK(BM_Dc2dForwardWithSensitivities)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_Dc2dInversion(benchmark::State& state) {
  const Survey& s = survey();
  Dc2dMeshData md;
  std::string err;
  assignDc2dMeshData(s.mesh, s.model, md, err);
  Dc2dSurvey obs = s.survey;
  {
    Dc2dForward fwd(s.mesh, s.survey);
    Dc2dResponse resp;
    dc2dResponse(fwd, md, false, resp);
    std::mt19937 rng(7);
    std::normal_distribution<double> noise(0, 0.03);
    for (std::size_t i = 0; i < obs.data.size(); ++i)
      obs.data[i].rho = resp.rho[i] * (1 + noise(rng));
  }
  // The inversion's own mesh, without the block's lines.
  Dc2dMesh mesh;
  Dc2dMeshSettings st;
  st.cellsPerSpacing = 6;
  st.growth = 1.04;
  buildDc2dMesh(obs, {}, st, mesh, err);
  double rms = 0, iterations = 0;
  for (auto _ : state) {
    Dc2dForward fwd(mesh, obs);
    const Dc2dCells cells = makeDc2dCells(mesh, obs);
    Dc2dMeshData start;
    start.rho.assign(mesh.elements(), 100.0);
    start.eta.assign(mesh.elements(), 0.0);
    start.region.assign(mesh.elements(), -1);
    Dc2dInversionResult r;
    invertDc2d(fwd, cells, {}, start, r, err);
    rms = r.rms();
    iterations = r.iterations;
  }
  state.counters["nodes"] = static_cast<double>(mesh.nodes.size());
  state.counters["rms%"] = rms;
  state.counters["iterations"] = iterations;
}
BENCHMARK(BM_Dc2dInversion)->Unit(benchmark::kSecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
