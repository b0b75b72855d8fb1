// Table store throughput: a registered 1,000,000 × 4 SINGLE table written in one transaction,
// read back through a cursor, and a grouped statistics query over it.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>

#include "workarea/interaction.h"
#include "workarea/work_area.h"

namespace {

using namespace sarnoth;

constexpr int kRows = 1'000'000;

std::string benchDir() {
  static std::string d = [] {
    auto p = std::filesystem::temp_directory_path() / "sarnoth-bench-store";
    std::filesystem::remove_all(p);
    createWorkArea(p.string());
    return p.string() + "/";
  }();
  return d;
}

void writeTable(Database& db, const std::string& name) {
  ScriptedInteraction yes({}, Answer::Yes);
  registerTable(db, name, {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, yes);
  db.createTable(name, {{"横坐标", JetType::Single, 0},
                        {"纵坐标", JetType::Single, 0},
                        {"C", JetType::Single, 0},
                        {"F", JetType::Single, 0}});
  TableWriter w(db, name, {"横坐标", "纵坐标", "C", "F"});
  std::mt19937 g(1);
  for (int i = 0; i < kRows; ++i) {
    w.setDouble(0, 500000.0 + (g() % 20000));
    w.setDouble(1, 3350000.0 + (g() % 20000));
    w.setDouble(2, static_cast<double>(g() % 16));
    w.setDouble(3, (g() % 100000) / 100.0);
    w.addRow();
  }
  w.commit();
}

void BM_WriteRegisteredTable(benchmark::State& state) {
  Database db = openWorkDatabase(benchDir());
  for (auto _ : state) writeTable(db, "bench");
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_WriteRegisteredTable)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_ReadThroughCursor(benchmark::State& state) {
  Database db = openWorkDatabase(benchDir());
  if (!db.tableExists("bench")) writeTable(db, "bench");
  for (auto _ : state) {
    double sum = 0;
    Cursor c = db.query("Select [横坐标],[纵坐标],[C],[F] From [bench]");
    while (c.next()) sum += c.getFloat(0) + c.getFloat(1) + c.getFloat(2) + c.getFloat(3);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_ReadThroughCursor)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_GroupStatistics(benchmark::State& state) {
  Database db = openWorkDatabase(benchDir());
  if (!db.tableExists("bench")) writeTable(db, "bench");
  for (auto _ : state) {
    Cursor c = db.query(
        "Select [C],Count([F]),Avg([F]),StDev([F]) From [bench] Where [F] <> -1E+38 Group By [C]");
    int groups = 0;
    while (c.next()) ++groups;
    benchmark::DoNotOptimize(groups);
  }
}
BENCHMARK(BM_GroupStatistics)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
