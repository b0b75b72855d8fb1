// Table store throughput: a registered 1,000,000 × 4 SINGLE table written in one transaction,
// read back through a cursor, through the engines' bulk reader and by SQLite's plain scan, and a
// grouped statistics query over it.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <filesystem>
#include <random>

#include "workarea/interaction.h"
#include "workarea/table_reader.h"
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

// The column-typed bulk reader the engines use: one statement, no per-cell type questions, a
// connection of its own without mutexes, blocks of rows into a plain array.
void BM_ReadThroughTableReader(benchmark::State& state) {
  Database db = openWorkDatabase(benchDir());
  if (!db.tableExists("bench")) writeTable(db, "bench");
  const std::string store = db.path();
  std::vector<float> block(4 * 32768);
  for (auto _ : state) {
    double sum = 0;
    TableReader r(store, "bench", {"横坐标", "纵坐标", "C", "F"});
    while (std::size_t n = r.readFloats(block.data(), 32768))
      for (std::size_t i = 0; i < 4 * n; ++i) sum += block[i];
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_ReadThroughTableReader)->Unit(benchmark::kMillisecond)->Iterations(3);

// The floor: SQLite's own scan through the same connection kind, column values as doubles.
void BM_PlainSqliteScan(benchmark::State& state) {
  Database db = openWorkDatabase(benchDir());
  if (!db.tableExists("bench")) writeTable(db, "bench");
  for (auto _ : state) {
    sqlite3* h = nullptr;
    sqlite3_open_v2(db.path().c_str(), &h, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(h, "SELECT [横坐标],[纵坐标],[C],[F] FROM [bench]", -1, &st, nullptr);
    double sum = 0;
    while (sqlite3_step(st) == SQLITE_ROW)
      for (int c = 0; c < 4; ++c) sum += sqlite3_column_double(st, c);
    sqlite3_finalize(st);
    sqlite3_close(h);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_PlainSqliteScan)->Unit(benchmark::kMillisecond)->Iterations(3);

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
