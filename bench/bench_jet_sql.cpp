// The Jet dialect's cost: translating the statements the tools send (typed against a store's
// schema, as Database does), and a one-row Update on a 2,000,000-row table of SINGLE fields,
// which must touch that row only.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>

#include "workarea/jet_sql.h"
#include "workarea/table_store.h"

namespace {

using namespace sarnoth;

constexpr int kRows = 2'000'000;

const char* const kStatements[] = {
    "Select MIN([横坐标]),MAX([横坐标]) From [化探样品] Where [横坐标] <> -1E+38",
    "Select [地层],Count([Au]),Avg([Au]),StDev([Au]),Max([Au]),Min([Au]) From [化探样品] Where "
    "[Au] <> -1e+38 Group By [地层]",
    "Select [横坐标],[纵坐标],[Au],[Ag],[Cu]Into [剪裁结果] From [化探样品]",
    "Select Avg([Au]) From [化探样品] Where [样号] In (Select Top 10 [样号] From [化探样品] Order "
    "By "
    "[Au] Desc)",
    "Alter Table [剪裁结果] Drop Column [Cu]",
    "Update [化探样品] Set [Au_D] = -1E+38  Where [Au] = -1E+38",
};

Database& benchStore() {
  static Database db = [] {
    auto p = std::filesystem::temp_directory_path() / "sarnoth-bench-jet.sqlite";
    std::filesystem::remove(p);
    Database d = Database::open(p.string(), true);
    d.execute(
        "Create Table [化探样品] ([样号] TEXT(20), [横坐标] SINGLE, [纵坐标] SINGLE, [地层] "
        "TEXT(20), [Au] SINGLE, [Ag] SINGLE, [Cu] SINGLE, [Au_D] SINGLE)");
    return d;
  }();
  return db;
}

void BM_TranslateToolStatements(benchmark::State& state) {
  Database& db = benchStore();
  for (auto _ : state)
    for (const char* s : kStatements) benchmark::DoNotOptimize(db.translate(s));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(std::size(kStatements)));
}
BENCHMARK(BM_TranslateToolStatements)->Unit(benchmark::kMicrosecond);

void BM_TranslateWithoutSchema(benchmark::State& state) {
  for (auto _ : state)
    for (const char* s : kStatements) benchmark::DoNotOptimize(translateJet(s));
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(std::size(kStatements)));
}
BENCHMARK(BM_TranslateWithoutSchema)->Unit(benchmark::kMicrosecond);

void BM_OneRowUpdateOnTwoMillionSingles(benchmark::State& state) {
  auto p = std::filesystem::temp_directory_path() / "sarnoth-bench-jet-update.sqlite";
  std::filesystem::remove(p);
  Database db = Database::open(p.string(), true);
  db.createTable("t", {{"id", JetType::Long, 0},
                       {"x", JetType::Single, 0},
                       {"y", JetType::Single, 0},
                       {"v", JetType::Single, 0}});
  {
    TableWriter w(db, "t", {"id", "x", "y", "v"});
    std::mt19937 g(1);
    for (int i = 0; i < kRows; ++i) {
      w.setInt(0, i);
      w.setDouble(1, 500000.0 + (g() % 20000) * 0.1);
      w.setDouble(2, 3350000.0 + (g() % 20000) * 0.1);
      w.setDouble(3, (g() % 100000) / 100.0);
      w.addRow();
    }
    w.commit();
  }
  db.execute("Create Index [ix] On [t] ([id])");
  double v = 0.1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(db.execute("Update [t] Set [v] = ? Where [id] = 1000000", {v}));
    v += 0.1;
  }
  std::filesystem::remove(p);
}
BENCHMARK(BM_OneRowUpdateOnTwoMillionSingles)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
