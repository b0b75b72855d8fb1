// Forward speed of the 2-D section modeller: 50 polygonal bodies of 40 vertices each at 1,000
// stations, gravity and ΔT, on one core and on all; the same in 2.5-D; one analytic Jacobian of
// 40 free vertices. Redrawing while a vertex is dragged computes the working field once per
// pointer move.
//
// Goal: the 2-D forward of one field under 50 ms.
//   cmake -S . -B build-rel -G Ninja -DCMAKE_BUILD_TYPE=Release -DSARNOTH_BUILD_BENCH=ON
//   cmake --build build-rel --target bench_gm2d && build-rel/bin/bench_gm2d
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "gravmag/gm2d_forward.h"
#include "gravmag/gm2d_inversion.h"

namespace {

using namespace sarnoth::gm2d;

// 50 star-shaped bodies of 40 vertices along a 20 km profile, 300 m to 3 km deep.
Model bodies(double halfStrike) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  Model m;
  for (int b = 0; b < 50; ++b) {
    Body body;
    const double cx = 400 + 19200.0 * b / 49, cz = 900 + 1500 * u(rng), r = 150 + 250 * u(rng);
    for (int k = 0; k < 40; ++k) {
      const double t = 2 * M_PI * k / 40, rr = r * (0.75 + 0.25 * u(rng));
      body.vertices.push_back({cx + rr * std::cos(t), cz + rr * std::sin(t)});
    }
    body.density = 2.67 + (u(rng) - 0.5);
    body.susceptibility = 0.05 * u(rng);
    body.halfStrike = halfStrike;
    m.bodies.push_back(body);
  }
  return m;
}

struct Line {
  std::vector<double> x, h;
  Line() {
    for (int i = 0; i < 1000; ++i) {
      x.push_back(20.0 * i);
      h.push_back(100 + 50 * std::sin(i * 0.01));
    }
  }
};

void forward(benchmark::State& st, FieldKind f, double strike, int threads) {
  const Model m = bodies(strike);
  const Line l;
  ForwardOptions o;
  o.threads = threads;
  for (auto _ : st) benchmark::DoNotOptimize(computeField(m, l.x, l.h, f, o).total.data());
  st.SetItemsProcessed(st.iterations() * 1000 * 50 * 40);
}

void BM_Gravity2D_1Thread(benchmark::State& st) { forward(st, FieldKind::Gravity, 0, 1); }
void BM_Gravity2D(benchmark::State& st) { forward(st, FieldKind::Gravity, 0, 0); }
void BM_Magnetic2D_1Thread(benchmark::State& st) { forward(st, FieldKind::Magnetic, 0, 1); }
void BM_Magnetic2D(benchmark::State& st) { forward(st, FieldKind::Magnetic, 0, 0); }
void BM_Gravity25D(benchmark::State& st) { forward(st, FieldKind::Gravity, 5000, 0); }
void BM_Magnetic25D(benchmark::State& st) { forward(st, FieldKind::Magnetic, 5000, 0); }

void BM_Jacobian40Vertices(benchmark::State& st) {
  Model m = bodies(0);
  m.bodies[20].chosen = true;
  m.bodies[20].free.assign(40, kFreeXZ);
  const Line l;
  Profile p;
  p.x = l.x;
  p.elevation = l.h;
  p.gravity = computeField(m, l.x, l.h, FieldKind::Gravity).total;
  const auto params = inversionParameters(m, p, {FieldKind::Gravity});
  for (auto _ : st)
    benchmark::DoNotOptimize(jacobian(m, p, {FieldKind::Gravity}, params, true).data());
}

BENCHMARK(BM_Gravity2D_1Thread)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gravity2D)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Magnetic2D_1Thread)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Magnetic2D)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Gravity25D)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Magnetic25D)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Jacobian40Vertices)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
