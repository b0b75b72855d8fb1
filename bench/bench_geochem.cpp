// The statistical tools at survey scale:
//  - multiple regression, 20 predictors on 1,000,000 samples (GEO_ProcessRegression2, the
//    singles as the tool read them); goal under 1 s;
//  - class statistics of a 1,000,000-row table with 50 classes, one item, through the store's
//    SQL as the tool runs it; goal under 2 s.
// Run: cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DSARNOTH_BUILD_BENCH=ON
//      -DSARNOTH_BUILD_GUI=OFF -DSARNOTH_BUILD_TESTS=OFF && cmake --build build-bench
//      --target bench_geochem && build-bench/bin/bench_geochem
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>

#include "closed/vlq_app.h"
#include "geochem/class_statistics.h"
#include "workarea/work_area.h"

namespace {

using namespace sarnoth;

void BM_MultipleRegression(benchmark::State& state) {
  const int m = 20;
  const std::int32_t n = static_cast<std::int32_t>(state.range(0));
  std::mt19937 rng(1);
  std::normal_distribution<float> nd;
  std::vector<float> x(static_cast<std::size_t>(m) * n), y(static_cast<std::size_t>(n));
  for (std::int32_t i = 0; i < n; ++i) {
    float v = 5;
    for (int j = 0; j < m; ++j) {
      float xv = nd(rng);
      x[static_cast<std::size_t>(j) * n + i] = xv;
      v += static_cast<float>(j + 1) * 0.1f * xv;
    }
    y[static_cast<std::size_t>(i)] = v + nd(rng);
  }
  std::vector<float> b(m + 1), stats(6), partial(m);
  for (auto _ : state) {
    std::int32_t rc = vlq::GEO_ProcessRegression2(x, y, m, n, b, stats, partial);
    if (rc != vlq::kRegressionOk) state.SkipWithError("no fit");
    benchmark::DoNotOptimize(b.data());
  }
}
BENCHMARK(BM_MultipleRegression)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

struct StatArea {
  std::filesystem::path dir;
  Database db;
  StatArea(std::int64_t rows, int classes) {
    dir = std::filesystem::temp_directory_path() / "sarnoth-bench-classstat";
    std::filesystem::remove_all(dir);
    createWorkArea(dir.string());
    db = openWorkDatabase(dir.string() + "/");
    db.execute("Create Table [样品] ([岩性] LONG, [Au] SINGLE, [Cu] SINGLE)");
    std::mt19937 rng(2);
    std::lognormal_distribution<float> ln(1.0f, 0.8f);
    std::uniform_int_distribution<int> cls(1, classes);
    TableWriter w(db, "样品", {"岩性", "Au", "Cu"});
    for (std::int64_t i = 0; i < rows; ++i) {
      w.setInt(0, cls(rng));
      w.setDouble(1, i % 997 == 0 ? -1e38 : static_cast<double>(ln(rng)));
      w.setDouble(2, static_cast<double>(ln(rng)));
      w.addRow();
    }
    w.commit();
  }
  ~StatArea() {
    db.close();
    std::filesystem::remove_all(dir);
  }
};

void BM_ClassStatistics(benchmark::State& state) {
  StatArea area(state.range(0), static_cast<int>(state.range(1)));
  geochem::ClassStatJob job;
  job.table = "样品";
  job.classField = "岩性";
  job.items = {"Au"};
  ScriptedInteraction ui;
  for (auto _ : state) {
    std::vector<geochem::ClassStatRow> rows;
    Outcome o = geochem::runClassStatistics(area.db, job, rows, ui, noProgress());
    if (!o.ok) state.SkipWithError(o.message.c_str());
    benchmark::DoNotOptimize(rows.data());
  }
}
BENCHMARK(BM_ClassStatistics)
    ->Args({1000000, 50})
    ->MeasureProcessCPUTime()
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
