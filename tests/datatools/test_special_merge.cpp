// Special merge: a full outer join on key fields, worked by hand on small tables.
#include <gtest/gtest.h>

#include "datatools/special_merge.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class SpecialMergeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    make("A", "[线] TEXT(4), [点] LONG, [Au] SINGLE, [备注] TEXT(6)",
         {{"L1", 1, 0.5, "a"},
          {"L1", 2, 0.25, "b"},
          {"L2", 1, 4.0, "c"},
          {"l1", 3, 1.5, "d"},
          {Value(), 4, 2.0, "e"}});
    make("B", "[线] TEXT(8), [点] DOUBLE, [Au] DOUBLE, [Cu] SINGLE",
         {{"L2", 1.0, 40.0, 400},
          {"L1", 1.0, 5.0, 50},
          {"L3", 9.0, 90.0, 900},
          {"l2", 1.0, 41.0, 410},
          {"L1", 3.0, 15.0, 150}});
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
        else if (std::holds_alternative<std::string>(v))
          line += valueToText(v);
        else if (valueToDouble(v) == NULL_VALUE_D)
          line += "N";
        else
          line += std::to_string(static_cast<int>(valueToDouble(v) * 100));
      }
      out.push_back(line);
    }
    return out;
  }
  test::TempDir tmp;
  Database db;
  ScriptedInteraction ui;
};

TEST_F(SpecialMergeTest, KeepsEveryRecordOfBothTables) {
  EXPECT_EQ(specialKeyFields(db, "A", "B"), (std::vector<std::string>{"线", "点", "Au"}));
  SpecialMergeJob j;
  j.table1 = "A";
  j.table2 = "B";
  j.keys = {"线", "点"};
  j.fields1 = {"Au", "备注"};
  j.fields2 = {"Au", "Cu"};
  j.newName = "合并";
  SpecialMergeReport rep;
  Outcome o = specialMerge(db, j, ui, noProgress(), &rep);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, "合并成功");
  // Keys once; a name on both sides takes its table's name.
  EXPECT_EQ(rep.columns, (std::vector<std::string>{"线", "点", "A_Au", "备注", "B_Au", "Cu"}));
  // Table 1 in order, each record with every match of table 2 (texts case-blind, numbers by
  // value across LONG and DOUBLE), then the unmatched records of table 2. A null key meets
  // nothing; the side without a record is -1E+38 (numbers) or null (texts).
  EXPECT_EQ(rows("合并"), (std::vector<std::string>{
                              "L1|100|50|a|500|5000",
                              "L1|200|25|b|N|N",
                              "L2|100|400|c|4000|40000",
                              "L2|100|400|c|4100|41000",
                              "l1|300|150|d|1500|15000",
                              "-|400|200|e|N|N",
                              "L3|900|N|-|9000|90000",
                          }));
  EXPECT_EQ(rep.matched, 4);
  EXPECT_EQ(rep.onlyFirst, 2);
  EXPECT_EQ(rep.onlySecond, 1);
  auto f = db.fields("合并");
  EXPECT_EQ(f[0].declared(), "TEXT(8)");  // the wider of the two texts
  EXPECT_EQ(f[1].declared(), "DOUBLE");   // LONG against DOUBLE
  EXPECT_EQ(f[2].declared(), "SINGLE");
  EXPECT_EQ(valueToText(db.scalar("Select [说明] From [TableInfo] Where [查询表名]='合并'")),
            "数据表专题合并");
}

TEST_F(SpecialMergeTest, ASingleKeyMeetsADoubleKeyAsASingle) {
  make("C", "[k] SINGLE, [v] LONG", {{0.1, 1}, {0.2, 2}});
  make("D", "[k] DOUBLE, [w] LONG", {{0.1, 10}, {0.3, 30}});
  SpecialMergeJob j{"C", "D", {"k"}, {"v"}, {"w"}, "CD"};
  ASSERT_TRUE(specialMerge(db, j, ui).ok);
  EXPECT_EQ(rows("CD").size(), 3u);
  EXPECT_EQ(valueToDouble(db.scalar("Select [w] From [CD] Where [v]=1")), 10.0);
}

TEST_F(SpecialMergeTest, RefusalsAndFailuresLeaveTheWorkAreaAsItWas) {
  SpecialMergeJob j{"A", "B", {"点"}, {"备注"}, {"Cu"}, "合并"};
  ASSERT_TRUE(specialMerge(db, j, ui).ok);
  // A name in use is refused by the registry's rule.
  ScriptedInteraction seen;
  EXPECT_FALSE(specialMerge(db, j, seen).ok);
  EXPECT_EQ(seen.informed, (std::vector<std::string>{"新数据表名已存在, 请另输一个表名."}));
  j.newName = "二";
  j.keys.clear();
  EXPECT_EQ(specialMerge(db, j, ui).message, "请选择合并关键字段.");
  j.keys = {"备注"};  // in table 1 only
  EXPECT_EQ(specialMerge(db, j, ui).message.rfind("打开数据表错. ", 0), 0u);
  j.keys = {"点"};
  j.table2 = "A";
  EXPECT_EQ(specialMerge(db, j, ui).message, "合并表不能是同一个表.");
  // A table standing unregistered under the name: the build fails and takes its registry row
  // with it.
  db.execute("Create Table [二] ([z] SINGLE)");
  j.table2 = "B";
  Outcome o = specialMerge(db, j, ui);
  EXPECT_EQ(o.message.rfind("创建新数据表错误, ", 0), 0u) << o.message;
  EXPECT_TRUE(db.scalar("Select [SCHNO] From [TableInfo] Where [查询表名]='二'").index() == 0);
  EXPECT_EQ(db.fields("二").size(), 1u);
}

}  // namespace
}  // namespace sarnoth
