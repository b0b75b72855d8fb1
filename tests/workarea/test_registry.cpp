// The registry TableInfo and the shared operations of the work area.
#include <gtest/gtest.h>

#include <cmath>

#include "test_support.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
  }
  RegisterResult reg(const std::string& name, Interaction& ui,
                     OverwriteRule rule = OverwriteRule::Ask) {
    Registration how{"GridDataIn",
                     "网格数据转入",
                     rule,
                     rule == OverwriteRule::Ask ? "新数据表名已存在,是否覆盖?"
                                                : "新数据表名已存在, 请另输一个表名.",
                     "",
                     false};
    return registerTable(db, name, how, ui);
  }
  void makeTable(const std::string& name) { db.createTable(name, {{"v", JetType::Single, 0}}); }
  std::vector<std::string> registered() {
    std::vector<std::string> l;
    listRegisteredTables(db, l);
    return l;
  }
  int schno(const std::string& name) {
    return static_cast<int>(
        valueToDouble(db.scalar("Select [SCHNO] From [TableInfo] Where [查询表名] = ?", {name})));
  }
  test::TempDir tmp;
  Database db;
  ScriptedInteraction none;
};

TEST_F(RegistryTest, NumbersFollowTheLastRow) {
  EXPECT_EQ(nextTableNo(db), 1);
  for (const char* n : {"a", "b", "c"}) ASSERT_EQ(reg(n, none), RegisterResult::Added);
  EXPECT_EQ(schno("c"), 3);
  // A deleted middle number is not reused; a deleted last one is.
  db.execute("Delete From [TableInfo] Where [查询表名] = 'b'");
  EXPECT_EQ(nextTableNo(db), 4);
  db.execute("Delete From [TableInfo] Where [查询表名] = 'c'");
  EXPECT_EQ(nextTableNo(db), 2);
  EXPECT_EQ(registered(), (std::vector<std::string>{"a"}));
  Recordset row = Recordset::openQuery(db, "Select * From [TableInfo]");
  EXPECT_EQ(row.getText("查询库名"), "GridDataIn");
  EXPECT_EQ(valueToDouble(row.value("查询方式")), 1);
  EXPECT_EQ(row.getText("查询日期"), todayText());
  EXPECT_EQ(row.getText("说明"), "网格数据转入");
}

TEST_F(RegistryTest, AskRuleOverwriteKeepsNumberAndRenewsDate) {
  reg("x", none);
  makeTable("x");
  reg("y", none);
  db.execute("Update [TableInfo] Set [查询日期] = '2001-01-01', [查询库名] = 'Old'");

  ScriptedInteraction no({Answer::No});
  EXPECT_EQ(reg("x", no), RegisterResult::Declined);
  ASSERT_EQ(no.asked, (std::vector<std::string>{"新数据表名已存在,是否覆盖?"}));
  EXPECT_TRUE(db.tableExists("x")) << "No changes nothing";
  EXPECT_EQ(valueToText(db.scalar("Select [查询日期] From [TableInfo] Where [SCHNO] = 1")),
            "2001-01-01");

  ScriptedInteraction yes({Answer::Yes});
  EXPECT_EQ(reg("x", yes), RegisterResult::Overwritten);
  EXPECT_FALSE(db.tableExists("x")) << "the old table is dropped before building anew";
  EXPECT_EQ(schno("x"), 1);
  EXPECT_EQ(valueToText(db.scalar("Select [查询日期] From [TableInfo] Where [SCHNO] = 1")),
            todayText());
  EXPECT_EQ(valueToText(db.scalar("Select [查询库名] From [TableInfo] Where [SCHNO] = 1")),
            "GridDataIn");
  EXPECT_EQ(registered().size(), 2u);
  EXPECT_EQ(nextTableNo(db), 3) << "the number computed for the overwrite is dropped";
}

TEST_F(RegistryTest, RegisteredNameWithoutTableStillAsks) {
  reg("ghost", none);
  ScriptedInteraction yes({Answer::Yes});
  EXPECT_EQ(reg("ghost", yes), RegisterResult::Overwritten);
  EXPECT_EQ(yes.asked.size(), 1u);
  makeTable("ghost");
  EXPECT_TRUE(db.tableExists("ghost"));
}

TEST_F(RegistryTest, RefuseRuleAndTheShortRowOfTheSqlTool) {
  reg("t", none);
  ScriptedInteraction ui;
  EXPECT_EQ(reg("t", ui, OverwriteRule::Refuse), RegisterResult::Refused);
  EXPECT_EQ(ui.informed, (std::vector<std::string>{"新数据表名已存在, 请另输一个表名."}));
  EXPECT_TRUE(ui.asked.empty());

  Registration sql{"数据表变换", "",  OverwriteRule::Refuse, "数据表已存在, 请输入新名称.",
                   "",           true};
  EXPECT_EQ(registerTable(db, "q", sql, ui), RegisterResult::Added);
  Recordset rs = Recordset::openTable(db, "TableInfo");
  ASSERT_TRUE(rs.findFirst("[查询表名] = 'q'"));
  EXPECT_EQ(rs.getText("查询库名"), "数据表变换");
  EXPECT_TRUE(isNull(rs.value("查询方式")));
  EXPECT_TRUE(isNull(rs.value("查询日期")));
  EXPECT_TRUE(isNull(rs.value("说明")));
}

TEST_F(RegistryTest, EditedRowMayTakeAnotherOrigin) {
  Registration block{"OutDataIn", "统计计算", OverwriteRule::Ask, "检索结果表名已存在,是否覆盖?",
                     "StatIn",    false};
  ScriptedInteraction yes({Answer::Yes});
  registerTable(db, "blk", block, yes);
  EXPECT_EQ(valueToText(db.scalar("Select [查询库名] From [TableInfo]")), "OutDataIn");
  registerTable(db, "blk", block, yes);
  EXPECT_EQ(valueToText(db.scalar("Select [查询库名] From [TableInfo]")), "StatIn");
}

TEST_F(RegistryTest, NamesWithQuotesAreFound) {
  ScriptedInteraction yes({Answer::Yes});
  EXPECT_EQ(reg("O'Neil 表", none), RegisterResult::Added);
  EXPECT_EQ(reg("O'Neil 表", yes), RegisterResult::Overwritten);
  EXPECT_EQ(registered().size(), 1u);
}

TEST_F(RegistryTest, ListingOperations) {
  reg("a", none);
  makeTable("a");
  makeTable("unregistered");
  std::vector<std::string> all{"keep"};
  listDatabaseTables(db, all);
  EXPECT_EQ(all, (std::vector<std::string>{"keep", "a", "unregistered"}));
  std::vector<std::string> fields;
  Recordset empty = Recordset::openTable(db, "a");
  EXPECT_EQ(listFieldNames(empty, fields, 0), 0);
  EXPECT_TRUE(fields.empty());
  removeWorkTable(db, "a");
  EXPECT_FALSE(db.tableExists("a"));
  EXPECT_TRUE(registered().empty());
  // A store whose registry is gone lists nothing instead of failing.
  db.dropTable("TableInfo");
  std::vector<std::string> none2;
  EXPECT_EQ(listRegisteredTables(db, none2), 0);
}

TEST(CommModule, SmallHelpers) {
  EXPECT_EQ(findListItem("b", {"a", "b", "b"}), 1);
  EXPECT_EQ(findListItem("B", {"a", "b"}), -1);
  EXPECT_EQ(findListItem("a", {}), -1);
  EXPECT_EQ(trimAtNul("  ab  "), "ab");
  EXPECT_EQ(trimAtNul(std::string("1.5\0junk  ", 10)), "1.5");
  EXPECT_EQ(trimAtNul("   "), "");
  // Equal arguments: the second from maxFloat, the first from minFloat.
  float pz = 0.0f, nz = -0.0f;
  EXPECT_TRUE(std::signbit(maxFloat(pz, nz)));
  EXPECT_FALSE(std::signbit(minFloat(pz, nz)));
  EXPECT_EQ(maxFloat(1, 2), 2);
  EXPECT_EQ(minFloat(1, 2), 1);
  EXPECT_NEAR(log10Value(1000), 3.0, 1e-15);
  ScriptedInteraction ui({Answer::Yes, Answer::No});
  EXPECT_TRUE(askOverwriteTable(ui, "q1"));
  EXPECT_FALSE(askOverwriteTable(ui, "q2"));
  EXPECT_EQ(ui.shown[0], "Sarnoth 提示|q1");
}

TEST(WorkAreaTree, CreateMakesTreeSettingsAndStore) {
  test::TempDir tmp;
  ASSERT_TRUE(createWorkArea(tmp.str(), 0.001f).ok);
  for (const auto& d : workAreaDirectories())
    EXPECT_TRUE(std::filesystem::is_directory(tmp.file(d))) << d;
  EXPECT_NE(test::readFile(tmp.file("geomaps.inf")).find("UnitF=0.001"), std::string::npos);
  Database db = openWorkDatabase(tmp.dir());
  EXPECT_TRUE(db.tableExists("TableInfo"));
  // Spelled as the tools spell it, with backslashes and other letter case.
  EXPECT_NO_THROW(openStoreFor(tmp.dir() + "qury_dat\\QueryDB.mdb"));
  EXPECT_THROW(openWorkDatabase(tmp.dir() + "nowhere/"), StoreError);
}

}  // namespace
}  // namespace sarnoth
