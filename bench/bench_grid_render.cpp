// Grid images: a 4001 × 4001 grid rendered 4000 pixels wide, graded (64 levels) and as shaded
// relief (128 colours), in memory; and the bitmap encoding of the graded image.
#include <benchmark/benchmark.h>

#include <cmath>

#include "display/grid_render.h"

namespace {

using namespace sarnoth;
using namespace sarnoth::display;

const Grid& bigGrid() {
  static Grid g = [] {
    Grid g;
    GridHeader& h = g.header;
    h.nx = h.ny = 4001;
    h.dx = h.dy = 25;
    h.x0 = 500000, h.y0 = 3200000;
    g.nodes.resize(static_cast<std::size_t>(h.nx) * h.ny);
    for (int r = 0; r < h.ny; ++r)
      for (int c = 0; c < h.nx; ++c) {
        double x = static_cast<double>(c) / h.nx, y = static_cast<double>(r) / h.ny;
        double v = 80 * std::exp(-((x - .3) * (x - .3) + (y - .6) * (y - .6)) / .01) +
                   12 * std::sin(31 * x) * std::cos(23 * y) + 40 * x - 15 * y;
        g.nodes[static_cast<std::size_t>(r) * h.nx + c] =
            c < 300 && r > 3700 ? NULL_VALUE : static_cast<float>(v);
      }
    recomputeGridStats(h, g.nodes);
    return g;
  }();
  return g;
}

std::vector<Rgb> ramp(int n) {
  std::vector<Rgb> c;
  for (int i = 0; i < n; ++i)
    c.push_back({static_cast<std::uint8_t>(i * 255 / n), static_cast<std::uint8_t>(128),
                 static_cast<std::uint8_t>(255 - i * 255 / n)});
  return c;
}

void BM_Graded(benchmark::State& state) {
  const Grid& g = bigGrid();
  std::vector<float> levels;
  for (int i = 1; i <= 64; ++i)
    levels.push_back(g.header.zMin + (g.header.zMax - g.header.zMin) * static_cast<float>(i) / 64);
  std::vector<Rgb> colours = ramp(64);
  for (auto _ : state) {
    RenderResult r =
        renderGraded(g, levels, colours, {255, 255, 255}, 4000, static_cast<int>(state.range(0)));
    benchmark::DoNotOptimize(r.image.pixels.data());
  }
}
BENCHMARK(BM_Graded)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Relief(benchmark::State& state) {
  const Grid& g = bigGrid();
  std::vector<Rgb> colours = ramp(128);
  ReliefParams p;
  for (auto _ : state) {
    RenderResult r =
        renderRelief(g, colours, {255, 255, 255}, 4000, p, static_cast<int>(state.range(0)));
    benchmark::DoNotOptimize(r.image.pixels.data());
  }
}
BENCHMARK(BM_Relief)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_EncodeBmp(benchmark::State& state) {
  const Grid& g = bigGrid();
  std::vector<float> levels{0, 20, 40, 60, 80, 1e30f};
  RenderResult r = renderGraded(g, levels, ramp(6), {255, 255, 255}, 4000);
  for (auto _ : state) benchmark::DoNotOptimize(encodeBmp(r.image).size());
}
BENCHMARK(BM_EncodeBmp)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
