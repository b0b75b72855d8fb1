// SQL on tables and the clean-up of a work area.
#include <gtest/gtest.h>

#include "datatools/data_tools.h"
#include "test_support.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class DataToolsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute("Create Table [样品] ([地层] TEXT(10), [Au] SINGLE)");
    db.execute("Insert Into [样品] Values ('寒武系', 1.5), ('寒武系', 2.5), ('奥陶系', -1E+38)");
    ScriptedInteraction q;
    registerTable(db, "样品", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(DataToolsTest, StatementsAndQueries) {
  QueryResult r;
  ASSERT_TRUE(
      runStatement(db, "Select [地层], Avg([Au]) From [样品] Where [Au] <> -1E+38 Group By [地层]",
                   r)
          .ok);
  ASSERT_EQ(r.rows.size(), 1u);
  EXPECT_EQ(valueToDouble(r.rows[0][1]), 2.0);
  ASSERT_TRUE(runStatement(db, "Update [样品] Set [Au] = 0 Where [Au] = -1E+38", r).ok);
  EXPECT_EQ(r.changed, 1);
  ASSERT_TRUE(runStatement(db, "Select * From [样品]", r, 2).ok);
  EXPECT_TRUE(r.truncated);
  Outcome bad = runStatement(db, "Selec * From [样品]", r);
  EXPECT_FALSE(bad.ok);
  EXPECT_NE(bad.message.find("Selec"), std::string::npos) << bad.message;
  EXPECT_FALSE(runStatement(db, "  ", r).ok);
}

TEST_F(DataToolsTest, SavedQueryGetsTheShortRowAndTheRefusal) {
  ScriptedInteraction ui;
  Outcome o = saveQueryAsTable(db, "Select [Au] From [样品] Where [Au] > 2;", "高值", ui);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(db.rowCount("高值"), 1);
  EXPECT_EQ(db.fields("高值")[0].declared(), "SINGLE");
  Recordset rs = Recordset::openTable(db, "TableInfo");
  ASSERT_TRUE(rs.findFirst("[查询表名] = '高值'"));
  EXPECT_EQ(rs.getText("查询库名"), "数据表变换");
  EXPECT_TRUE(isNull(rs.value("说明")));
  EXPECT_EQ(valueToDouble(rs.value("SCHNO")), 2);

  // A registered name, and an unregistered table of the same name, are both refused.
  EXPECT_EQ(saveQueryAsTable(db, "Select 1", "高值", ui).message, "数据表已存在, 请输入新名称.");
  db.execute("Create Table [散表] ([a] LONG)");
  EXPECT_FALSE(saveQueryAsTable(db, "Select 1", "散表", ui).ok);
  EXPECT_EQ(ui.informed.size(), 2u);
  // A failing query leaves neither row nor table.
  EXPECT_FALSE(saveQueryAsTable(db, "Select [nope] From [样品]", "坏", ui).ok);
  std::vector<std::string> reg;
  listRegisteredTables(db, reg);
  EXPECT_EQ(reg.size(), 2u);
  EXPECT_FALSE(db.tableExists("坏"));
}

TEST_F(DataToolsTest, CleanUpRegistersRemovesAndCompacts) {
  db.execute("Create Table [散表] ([a] LONG)");
  ScriptedInteraction q;
  registerTable(db, "幽灵", {"X", "", OverwriteRule::Ask, "?", "", false}, q);
  EXPECT_EQ(unregisteredTables(db), (std::vector<std::string>{"散表"}));
  EXPECT_EQ(orphanRegistryRows(db), (std::vector<std::string>{"幽灵"}));
  ASSERT_TRUE(registerExistingTable(db, "散表").ok);
  EXPECT_TRUE(unregisteredTables(db).empty());
  EXPECT_FALSE(registerExistingTable(db, "散表").ok);

  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(removeTables(db, {"散表"}, no).ok);
  EXPECT_TRUE(db.tableExists("散表"));
  ScriptedInteraction yes({Answer::Yes});
  ASSERT_TRUE(removeTables(db, {"散表", "幽灵"}, yes).ok);
  EXPECT_EQ(yes.informed, (std::vector<std::string>{"所选数据表已删除。"}));
  EXPECT_FALSE(db.tableExists("散表"));
  EXPECT_TRUE(orphanRegistryRows(db).empty());

  // Dropping a large table leaves free pages; compaction gives them back.
  db.execute("Create Table [大] ([t] TEXT(200))");
  {
    TableWriter w(db, "大", {"t"});
    for (int i = 0; i < 20000; ++i) {
      w.setText(0, std::string(150, 'x'));
      w.addRow();
    }
    w.commit();
  }
  db.dropTable("大");
  auto size = [&] { return std::filesystem::file_size(tmp.file("Qury_Dat/QueryDB.sqlite")); };
  auto before = size();
  Outcome c = compactWorkDatabase(tmp.dir(), db);
  ASSERT_TRUE(c.ok) << c.message;
  EXPECT_EQ(c.message, "数据库已压缩成功。");
  EXPECT_LT(size(), before / 4);
  EXPECT_FALSE(std::filesystem::exists(tmp.file("Qury_Dat/QueryDBNN.sqlite")));
  EXPECT_EQ(db.rowCount("样品"), 3) << "the store is open again after compaction";
}

}  // namespace
}  // namespace sarnoth
