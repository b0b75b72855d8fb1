// sarnoth-cli over a demo work area, as the README's headless run uses it.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/table_store.h"
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
  ASSERT_EQ(listRegisteredTables(db, reg), 4);
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
  // The table made by Select … Into is registered as the SQL tool registers it, and a second
  // one of the same name is refused with its text.
  test::CliResult listed = runCli("tables list" + wa);
  EXPECT_NE(listed.out.find("磁异常\t数据表变换"), std::string::npos) << listed.out;
  test::CliResult again = runCli("sql \"Select [ΔT] Into [磁异常] From [航磁ΔT]\"" + wa);
  EXPECT_NE(again.status, 0);
  EXPECT_NE(again.out.find("数据表已存在, 请输入新名称."), std::string::npos) << again.out;
  // Jet's answers through the command: floating division, -1/0 booleans, whole numbers whole.
  test::CliResult answers = runCli("sql \"Select 7/2, True, Val('1e5')\"" + wa);
  EXPECT_NE(answers.out.find("3.5\t-1\t100000"), std::string::npos) << answers.out;
}

TEST(CliWorkarea, AStoreWithoutTheRegistry) {
  test::TempDir tmp;
  std::filesystem::create_directories(tmp.file("Qury_Dat"));
  {
    Database db = Database::open(tmp.file("Qury_Dat/QueryDB.sqlite"), true);
    db.execute("Create Table [样品] ([Au] SINGLE)");
    db.execute("Insert Into [样品] ([Au]) Values (1.5)");
  }
  std::string wa = " --workarea " + tmp.str();
  test::CliResult list = runCli("tables list" + wa);
  EXPECT_EQ(list.status, 0) << list.out;
  EXPECT_NE(list.out.find("0 rows"), std::string::npos) << list.out;
  test::CliResult save = runCli("sql \"Select [Au] From [样品]\" --save 高值" + wa);
  EXPECT_EQ(save.status, 0) << save.out;
  list = runCli("tables list" + wa);
  EXPECT_NE(list.out.find("高值"), std::string::npos) << list.out;
}

}  // namespace
}  // namespace sarnoth
