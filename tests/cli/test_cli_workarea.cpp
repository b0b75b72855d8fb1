// sarnoth-cli over a demo work area, as the README's headless run uses it.
#include <gtest/gtest.h>

#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

using test::runCli;

TEST(CliWorkarea, DemoIsRealisticAndRegistered) {
  test::TempDir tmp;
  test::CliResult made = runCli("workarea demo " + tmp.str());
  ASSERT_EQ(made.status, 0) << made.out;
  Database db = openWorkDatabase(tmp.dir());
  std::vector<std::string> reg;
  ASSERT_EQ(listRegisteredTables(db, reg), 3);
  const std::string sed = reg[0];
  long long n = db.rowCount(sed);
  EXPECT_GT(n, 2000);
  EXPECT_LT(n, 10000);
  auto fields = db.fields(sed);
  std::vector<std::string> names;
  for (const auto& f : fields) names.push_back(f.name);
  for (const char* want : {"横坐标", "纵坐标", "Au", "Cu", "Hg", "Bi"})
    EXPECT_NE(std::find(names.begin(), names.end(), want), names.end()) << want;
  // Some nulls, log-normal backgrounds, and anomalies well above them.
  double nulls =
      valueToDouble(db.scalar("Select Count(*) From " + bracket(sed) + " Where [Au] = -1E+38"));
  EXPECT_GT(nulls, 0);
  EXPECT_LT(nulls, n * 0.05);
  double median = valueToDouble(db.scalar("Select [Au] From " + bracket(sed) +
                                          " Where [Au] <> -1E+38 Order By [Au] Limit 1 Offset " +
                                          std::to_string(n / 2)));
  double top = valueToDouble(db.scalar("Select Max([Au]) From " + bracket(sed)));
  EXPECT_GT(top, 10 * median);
  EXPECT_GT(
      valueToDouble(db.scalar("Select Max([Cu]) From " + bracket(sed))),
      5 * valueToDouble(db.scalar("Select Avg([Cu]) From " + bracket(sed) + " Where [Cu] > 0")));
  // The same seed gives the same survey.
  test::TempDir again;
  ASSERT_EQ(runCli("workarea demo " + again.str()).status, 0);
  Database db2 = openWorkDatabase(again.dir());
  EXPECT_EQ(valueToDouble(db2.scalar("Select Sum([Au]) From " + bracket(sed) + " Where [Au] > 0")),
            valueToDouble(db.scalar("Select Sum([Au]) From " + bracket(sed) + " Where [Au] > 0")));
}

TEST(CliWorkarea, TablesAndSqlCommands) {
  test::TempDir tmp;
  ASSERT_EQ(runCli("workarea demo " + tmp.str()).status, 0);
  std::string wa = " --workarea " + tmp.str();
  test::CliResult list = runCli("tables list" + wa);
  EXPECT_EQ(list.status, 0);
  EXPECT_NE(list.out.find("布格重力异常"), std::string::npos);
  test::CliResult fields = runCli("tables fields 航磁ΔT" + wa);
  EXPECT_NE(fields.out.find("ΔT\tSINGLE"), std::string::npos) << fields.out;
  test::CliResult into = runCli(
      "sql \"Select [横坐标],[纵坐标],[ΔT] Into [磁异常] From [航磁ΔT] Where [ΔT] > 50\"" + wa);
  EXPECT_EQ(into.status, 0) << into.out;
  test::CliResult bad = runCli("sql \"Select * From [nope]\"" + wa);
  EXPECT_NE(bad.status, 0);
  EXPECT_NE(bad.out.find("nope"), std::string::npos);
  test::CliResult missing = runCli("tables list --workarea " + tmp.str() + "/absent");
  EXPECT_NE(missing.status, 0);
}

}  // namespace
}  // namespace sarnoth
