// Table merge on small tables: the rows and fields of each right-merge mode and of the down merge,
// the refusals, and what survives a failure.
#include <gtest/gtest.h>

#include "prep/table_merge.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class MergeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    // Table 1: five samples. Table 2: analyses of samples 3, 1, 9, 3 (a duplicate key) and 5.
    make("样品", "[编号] LONG, [x] SINGLE, [岩性] TEXT(12)",
         {{1, 10.5, "花岗岩"},
          {2, 20.5, "砂岩"},
          {3, NULL_VALUE_D, "灰岩"},
          {4, 40.5, "页岩"},
          {5, 50.5, "片岩"}});
    make("分析", "[编号] LONG, [Au] DOUBLE, [Cu] SINGLE",
         {{3, 0.3, 30}, {1, 0.1, 10}, {9, 0.9, 90}, {3, 3.3, 33}, {5, 0.5, 50}});
    for (const char* t : {"样品", "分析"}) register_(t);
  }
  void make(const std::string& name, const std::string& fields,
            const std::vector<std::vector<Value>>& rows) {
    db.execute("Create Table " + bracket(name) + " (" + fields + ")");
    for (const auto& r : rows) {
      std::string q = "Insert Into " + bracket(name) + " Values (?";
      for (std::size_t i = 1; i < r.size(); ++i) q += ", ?";
      db.execute(q + ")", r);
    }
  }
  void register_(const std::string& name) {
    ScriptedInteraction yes({}, Answer::Yes);
    registerTable(db, name, {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "", "", false}, yes);
  }
  std::vector<std::string> tables() {
    std::vector<std::string> l;
    listRegisteredTables(db, l);
    return l;
  }
  // Rows as text, fields joined by '|', null as "-".
  std::vector<std::string> rows(const std::string& table) {
    std::vector<std::string> out;
    Cursor c = db.query("Select * From " + bracket(table));
    while (c.next()) {
      std::string line;
      for (int i = 0; i < c.columnCount(); ++i) {
        if (i) line += "|";
        Value v = c.get(i);
        if (isNull(v))
          line += "-";
        else if (auto* d = std::get_if<double>(&v))
          line += *d == NULL_VALUE_D ? "N" : criterionText(v, JetType::Double);
        else
          line += valueToText(v);
      }
      out.push_back(line);
    }
    return out;
  }
  RightMergeJob right() {
    RightMergeJob j;
    j.table1 = "样品";
    j.table2 = "分析";
    j.fields1 = {"编号", "岩性"};
    j.fields2 = {"Au", "Cu"};
    j.newName = "JoinTbl";
    j.tableList = tables();
    return j;
  }
  test::TempDir tmp;
  Database db;
  ScriptedInteraction ui;
};

TEST_F(MergeTest, IndexFieldsAreCommonNamesOfOneType) {
  EXPECT_EQ(commonIndexFields(db, "样品", "分析"), (std::vector<std::string>{"编号"}));
  make("别表", "[编号] DOUBLE, [x] SINGLE", {});
  EXPECT_EQ(commonIndexFields(db, "样品", "别表"), (std::vector<std::string>{"x"}));
  EXPECT_EQ(criterionText(Value(0.1f * 1.0), JetType::Single), "0.1");
  EXPECT_EQ(criterionText(Value(12345678.0), JetType::Single), "1.234568E+07");
  EXPECT_EQ(criterionText(Value(std::int64_t(42)), JetType::Long), "42");
}

TEST_F(MergeTest, RightByPositionIntoANewTable) {
  // Table 2 as long as table 1: record i beside record i, types and sizes copied, registered.
  RightMergeJob j = right();
  MergeReport rep;
  Outcome o = rightMerge(db, j, ui, noProgress(), &rep);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, "合并成功");
  EXPECT_EQ(rows("JoinTbl"),
            (std::vector<std::string>{"1|花岗岩|0.3|30", "2|砂岩|0.1|10", "3|灰岩|0.9|90",
                                      "4|页岩|3.3|33", "5|片岩|0.5|50"}));
  auto f = db.fields("JoinTbl");
  ASSERT_EQ(f.size(), 4u);
  EXPECT_EQ(f[0].declared(), "LONG");
  EXPECT_EQ(f[1].declared(), "TEXT(12)");
  EXPECT_EQ(f[2].declared(), "DOUBLE");
  EXPECT_EQ(f[3].declared(), "SINGLE");
  EXPECT_EQ(valueToText(db.scalar("Select [查询库名] From [TableInfo] Where [查询表名]='JoinTbl'")),
            "OutDataJoin");
  EXPECT_TRUE(rep.registered);

  // The condition field skips table 1's empty records; both tables move on.
  j.newName = "条件";
  j.fields1 = {"编号", "x"};
  j.condition = "x";
  ASSERT_TRUE(rightMerge(db, j, ui).ok);
  EXPECT_EQ(rows("条件"), (std::vector<std::string>{"1|10.5|0.3|30", "2|20.5|0.1|10",
                                                    "4|40.5|3.3|33", "5|50.5|0.5|50"}));
}

TEST_F(MergeTest, RightByPositionWithAShorterTable2) {
  db.execute("Delete From [分析] Where [编号] = 5");
  // New table: the run ends in the error with the rows so far kept, unregistered.
  RightMergeJob j = right();
  Outcome o = rightMerge(db, j, ui);
  EXPECT_FALSE(o.ok);
  EXPECT_EQ(o.message, "数据合并错. No current record.");
  EXPECT_EQ(rows("JoinTbl").size(), 4u);
  EXPECT_EQ(findListItem("JoinTbl", tables()), -1);
  // Append: as many records as the shorter table, quietly.
  j.addIn = true;
  MergeReport rep;
  o = rightMerge(db, j, ui, noProgress(), &rep);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(rep.records, 4);
  EXPECT_EQ(rows("样品"),
            (std::vector<std::string>{"1|10.5|花岗岩|0.3|30", "2|20.5|砂岩|0.1|10",
                                      "3|N|灰岩|0.9|90", "4|40.5|页岩|3.3|33", "5|50.5|片岩|-|-"}));
  EXPECT_EQ(db.fields("样品")[4].declared(), "SINGLE");
}

TEST_F(MergeTest, RightByIndexFindsTheFirstMatch) {
  RightMergeJob j = right();
  j.byIndex = true;
  j.indexField = "编号";
  MergeReport rep;
  ASSERT_TRUE(rightMerge(db, j, ui, noProgress(), &rep).ok);
  // Unmatched records keep table 1's data with empty fields; key 3 takes its first record only.
  EXPECT_EQ(rows("JoinTbl"),
            (std::vector<std::string>{"1|花岗岩|0.1|10", "2|砂岩|-|-", "3|灰岩|0.3|30",
                                      "4|页岩|-|-", "5|片岩|0.5|50"}));
  EXPECT_EQ(rep.matched, 3);

  // Append: an unmatched master record stays as it was.
  j.addIn = true;
  ASSERT_TRUE(rightMerge(db, j, ui).ok);
  EXPECT_EQ(rows("样品"),
            (std::vector<std::string>{"1|10.5|花岗岩|0.1|10", "2|20.5|砂岩|-|-", "3|N|灰岩|0.3|30",
                                      "4|40.5|页岩|-|-", "5|50.5|片岩|0.5|50"}));
}

TEST_F(MergeTest, ATextKeyIsADatabaseError) {
  make("甲", "[名] TEXT(4), [a] SINGLE", {{"A1", 1.0}, {"B2", 2.0}});
  make("乙", "[名] TEXT(4), [b] SINGLE", {{"B2", 20.0}});
  RightMergeJob j;
  j.table1 = "甲";
  j.table2 = "乙";
  j.fields1 = {"名", "a"};
  j.fields2 = {"b"};
  j.byIndex = true;
  j.indexField = "名";
  j.newName = "文字键";
  Outcome o = rightMerge(db, j, ui);
  EXPECT_FALSE(o.ok);
  EXPECT_EQ(o.message.rfind("数据合并错. ", 0), 0u) << o.message;
  // The record of table 1 was added before its search failed.
  EXPECT_EQ(rows("文字键"), (std::vector<std::string>{"A1|1|-"}));
}

TEST_F(MergeTest, RefusalsComeBeforeAnyChange) {
  RightMergeJob j = right();
  j.table2 = "样品";
  EXPECT_EQ(rightMerge(db, j, ui).message, "合并表不能是同一个表.");
  j = right();
  j.fields2.clear();
  EXPECT_EQ(rightMerge(db, j, ui).message, "请在两表中选责合并数据项.");
  j = right();
  j.newName = "分析";
  EXPECT_EQ(rightMerge(db, j, ui).message, "新数据表名已存在, 请另输一个表名.");
  j = right();
  j.byIndex = true;
  EXPECT_EQ(rightMerge(db, j, ui).message, "无索引项，不能按索引方式搜索合并。");
  j = right();
  j.table2 = "不存在";
  EXPECT_EQ(rightMerge(db, j, ui).message.rfind("打开数据表错. ", 0), 0u);
  DownMergeJob d;
  d.master = "样品";
  d.tables = {"分析"};
  d.newName = "下";
  EXPECT_EQ(downMerge(db, d, ui).message, "请在主表中选责合并数据项.");
  EXPECT_EQ(tables().size(), 2u);
  EXPECT_EQ(db.tableNames().size(), 3u);  // TableInfo and the two tables
}

TEST_F(MergeTest, DownMergePutsRecordsBelowByFieldName) {
  make("样品2", "[岩性] TEXT(20), [编号] LONG, [x] DOUBLE",
       {{"闪长岩", 6, 60.25}, {"玄武岩", 7, NULL_VALUE_D}});
  DownMergeJob d;
  d.master = "样品";
  d.fields = {"编号", "x"};
  d.tables = {"样品2"};
  d.newName = "下合并";
  d.tableList = tables();
  std::vector<std::string> seen;
  ASSERT_TRUE(downMerge(db, d, ui, noProgress(), nullptr, [&](const std::string& t) {
                seen.push_back(t);
              }).ok);
  EXPECT_EQ(seen, (std::vector<std::string>{"样品", "样品2"}));
  EXPECT_EQ(rows("下合并"), (std::vector<std::string>{"1|10.5", "2|20.5", "3|N", "4|40.5", "5|50.5",
                                                      "6|60.25", "7|N"}));
  EXPECT_EQ(db.fields("下合并")[1].declared(), "SINGLE");
  // The condition drops empty records of the master and of each further table.
  d.newName = "下合并2";
  d.condition = "x";
  ASSERT_TRUE(downMerge(db, d, ui).ok);
  EXPECT_EQ(rows("下合并2"),
            (std::vector<std::string>{"1|10.5", "2|20.5", "4|40.5", "5|50.5", "6|60.25"}));
  // Appended to the master itself; nothing is registered.
  d.addIn = true;
  d.condition.clear();
  d.fields = {"编号", "岩性"};
  ASSERT_TRUE(downMerge(db, d, ui).ok);
  EXPECT_EQ(rows("样品").size(), 7u);
  EXPECT_EQ(rows("样品")[6], "7|-|玄武岩");
  // A table lacking a selected field ends the run; the records so far stay.
  d.addIn = false;
  d.newName = "下合并3";
  d.fields = {"编号", "岩性"};
  d.tables = {"样品2", "分析"};
  Outcome o = downMerge(db, d, ui);
  EXPECT_EQ(o.message, "数据合并错. Item not found in this collection.");
  EXPECT_EQ(rows("下合并3").size(), 9u);
  EXPECT_EQ(findListItem("下合并3", tables()), -1);
}

}  // namespace
}  // namespace sarnoth
