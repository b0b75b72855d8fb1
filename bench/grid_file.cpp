// Reading and writing a 4001 x 4001 work area grid (one block each way), the ASCII and Surfer
// exports of it, and the ASCII grid read back.
#include "workarea/grid_file.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "workarea/grid_exchange.h"

namespace {

constexpr int kSide = 4001;

std::string scratch(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("sarnoth-bench-" + name)).string();
}

const sarnoth::Grid& bigGrid() {
  static sarnoth::Grid g = [] {
    sarnoth::Grid g;
    g.header.x0 = 431250.5f;
    g.header.y0 = 3712300.25f;
    g.header.nx = g.header.ny = kSide;
    g.header.dx = g.header.dy = 25;
    g.nodes.resize(static_cast<std::size_t>(kSide) * kSide);
    for (int r = 0; r < kSide; ++r)
      for (int c = 0; c < kSide; ++c)
        g.nodes[static_cast<std::size_t>(r) * kSide + c] =
            (r % 97 == 0 && c % 89 == 0) ? sarnoth::NULL_VALUE
                                         : 1000.0f * std::sin(r * 0.01f) * std::cos(c * 0.013f);
    sarnoth::recomputeGridStats(g.header, g.nodes);
    return g;
  }();
  return g;
}

void BM_WriteBinaryGrid(benchmark::State& state) {
  const sarnoth::Grid& g = bigGrid();
  std::string path = scratch("w.grd");
  for (auto _ : state)
    if (!sarnoth::writeGrid(path, sarnoth::kGridMagicB, "Bench", g.header, g.nodes))
      state.SkipWithError("write failed");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(g.nodes.size()) * 4);
  std::filesystem::remove(path);
}

void BM_ReadBinaryGrid(benchmark::State& state) {
  const sarnoth::Grid& g = bigGrid();
  std::string path = scratch("r.grd");
  sarnoth::writeGrid(path, sarnoth::kGridMagicB, "Bench", g.header, g.nodes);
  for (auto _ : state) {
    sarnoth::GridReadResult r = sarnoth::readGrid(path);
    if (!r.ok()) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(r.grid.nodes.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(g.nodes.size()) * 4);
  std::filesystem::remove(path);
}

void BM_ExportSurfer(benchmark::State& state) {
  const sarnoth::Grid& g = bigGrid();
  std::string path = scratch("s.grd");
  for (auto _ : state)
    if (sarnoth::writeSurferGrid(path, g) != sarnoth::kGridOk) state.SkipWithError("failed");
  std::filesystem::remove(path);
}

void BM_AsciiGridRoundTrip(benchmark::State& state) {
  const sarnoth::Grid& g = bigGrid();
  std::string txt = scratch("a.txt"), grd = scratch("a.grd");
  for (auto _ : state) {
    if (sarnoth::writeAsciiGrid(txt, g) != sarnoth::kGridOk ||
        sarnoth::convertAsciiGrid(txt, grd) != sarnoth::kGridOk)
      state.SkipWithError("failed");
  }
  std::filesystem::remove(txt);
  std::filesystem::remove(grd);
}

}  // namespace

BENCHMARK(BM_WriteBinaryGrid)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadBinaryGrid)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ExportSurfer)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_AsciiGridRoundTrip)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
BENCHMARK_MAIN();
