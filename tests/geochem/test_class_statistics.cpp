// Class statistics and correction on classes worked by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/class_statistics.h"
#include "test_support.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

class ClassStatTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    // Class 1: Cu 1..8 and a null; class 2: five values; class 3: six values 10..60;
    // class 4: one value. As: a second item, class 1 all 2.0.
    db.execute("Create Table [样品] ([岩性] LONG, [地层] TEXT(10), [Cu] SINGLE, [As] SINGLE)");
    TableWriter w(db, "样品", {"岩性", "地层", "Cu", "As"});
    auto add = [&](int cls, const char* unit, float cu, float as) {
      w.setInt(0, cls);
      w.setText(1, unit);
      w.setDouble(2, cu);
      w.setDouble(3, as);
      w.addRow();
    };
    for (int v = 1; v <= 8; ++v) add(1, "寒武系", static_cast<float>(v), 2.0f);
    add(1, "寒武系", -1e38f, 2.0f);
    for (float v : {5.f, 6.f, 7.f, 8.f, 9.f}) add(2, "奥陶系", v, 1.0f);
    for (int v = 1; v <= 6; ++v) add(3, "志留系", static_cast<float>(10 * v), 3.0f);
    add(4, "泥盆系", 42.0f, 4.0f);
    w.commit();
    ScriptedInteraction q;
    registerTable(db, "样品", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }

  ClassStatJob job(std::vector<std::string> items = {"Cu"}) {
    ClassStatJob j;
    j.table = "样品";
    j.classField = "岩性";
    j.items = std::move(items);
    return j;
  }

  static const ClassStatRow& rowOf(const std::vector<ClassStatRow>& rows, const std::string& item,
                                   const std::string& code) {
    for (const auto& r : rows)
      if (r[0] == item && r[1] == code) return r;
    static ClassStatRow none{};
    ADD_FAILURE() << "no row " << item << " " << code;
    return none;
  }

  static double num(const std::string& s) { return std::stod(s); }

  test::TempDir tmp;
  Database db;
  ScriptedInteraction ui;
};

TEST_F(ClassStatTest, AggregatesPercentilesGeometricMeanAndRejectionByClass) {
  std::vector<ClassStatRow> rows;
  ClassStatJob j = job();
  j.deviationText = "1";
  ASSERT_TRUE(runClassStatistics(db, j, rows, ui, noProgress()).ok);
  ASSERT_EQ(rows.size(), 5u);  // four classes, then the whole table

  // Class 1, 1..8 (the null is left out): mean 4.5, s = √6.
  const ClassStatRow& c1 = rowOf(rows, "Cu", "1");
  EXPECT_EQ(c1[2], "8");
  EXPECT_EQ(c1[3], "8");
  EXPECT_EQ(c1[4], "1");
  EXPECT_EQ(c1[5], "4.5");
  EXPECT_NEAR(num(c1[12]), std::sqrt(6.0), 1e-13);
  // Record n·p: 2, 4, 6, 6.8 → 7, 7.6 → 8.
  EXPECT_EQ(c1[7], "2");
  EXPECT_EQ(c1[8], "4");
  EXPECT_EQ(c1[9], "6");
  EXPECT_EQ(c1[10], "7");
  EXPECT_EQ(c1[11], "8");
  EXPECT_NEAR(num(c1[6]), std::pow(40320.0, 0.125), 1e-5);  // (8!)^(1/8)
  EXPECT_NEAR(num(c1[16]), std::sqrt(6.0) / 4.5, 1e-6);
  // Within 4.5 ± √6: 3, 4, 5, 6, with s = √(5/3).
  EXPECT_EQ(c1[13], "4");
  EXPECT_EQ(c1[14], "4.5");
  EXPECT_NEAR(num(c1[15]), std::sqrt(5.0 / 3), 1e-13);
  EXPECT_NEAR(num(c1[17]), std::sqrt(5.0 / 3) / 4.5, 1e-6);

  // Class 3, exactly six: 6·0.75 = 4.5 goes to the even record 4; 6·0.25 = 1.5 to record 2.
  const ClassStatRow& c3 = rowOf(rows, "Cu", "3");
  EXPECT_EQ(c3[7], "20");
  EXPECT_EQ(c3[8], "30");
  EXPECT_EQ(c3[9], "40");
  EXPECT_EQ(c3[10], "50");
  EXPECT_EQ(c3[11], "60");

  // Class 2 (five values) and class 4 (one, whose StDev is Null): -9999 beyond the aggregates.
  const ClassStatRow& c2 = rowOf(rows, "Cu", "2");
  EXPECT_EQ(c2[2], "5");
  EXPECT_EQ(c2[5], "7");
  for (int s : {6, 7, 8, 9, 10, 11, 13, 14, 15, 16, 17}) EXPECT_EQ(c2[s], "-9999") << s;
  const ClassStatRow& c4 = rowOf(rows, "Cu", "4");
  EXPECT_EQ(c4[12], "-9999");
  EXPECT_EQ(c4[3], "42");

  // The whole table, last: 20 values, its own percentiles.
  EXPECT_EQ(rows.back()[1], "999999999");
  EXPECT_EQ(rows.back()[2], "20");
  EXPECT_EQ(rows.back()[3], "60");
  // Sorted: 1, 2, 3, 4, 5, 5, 6, 6, 7, 7, … → record 10 of 20 is 7.
  EXPECT_EQ(rows.back()[8], "7");
}

TEST_F(ClassStatTest, TextClassesSeveralItemsAndTheSavedTable) {
  std::vector<ClassStatRow> rows;
  ClassStatJob j = job({"Cu", "As"});
  j.classField = "地层";
  j.classIsText = true;
  j.save = true;
  j.newTable = "统计结果";
  Outcome o = runClassStatistics(db, j, rows, ui, noProgress());
  // Text codes do not convert into the long field "分类编码": the table cannot be written.
  EXPECT_FALSE(o.ok);
  EXPECT_EQ(o.message, "创建新数据表错误, 数据类型转换错误。");
  ASSERT_EQ(rows.size(), 10u);
  EXPECT_EQ(rowOf(rows, "Cu", "寒武系")[2], "8");
  EXPECT_EQ(rowOf(rows, "As", "寒武系")[2], "9");
  EXPECT_EQ(rowOf(rows, "As", "寒武系")[12], "0");  // nine equal values
  EXPECT_EQ(rowOf(rows, "As", "寒武系")[7], "2");

  // Numeric classes are written: a fresh registry row "OutDataIn", then "StatIn" on overwrite.
  j = job({"Cu", "As"});
  j.save = true;
  j.newTable = "统计结果2";
  ASSERT_TRUE(runClassStatistics(db, j, rows, ui, noProgress()).ok);
  EXPECT_EQ(db.rowCount("统计结果2"), 10);
  auto fields = db.fields("统计结果2");
  ASSERT_EQ(fields.size(), 18u);
  EXPECT_EQ(fields[0].declared(), "TEXT(15)");
  EXPECT_EQ(fields[1].declared(), "LONG");
  EXPECT_EQ(fields[13].declared(), "LONG");
  EXPECT_EQ(fields[6].declared(), "SINGLE");
  EXPECT_EQ(valueToDouble(db.scalar("Select [百分95] From [统计结果2] Where [分类编码] = 1 And "
                                    "[统计项名] = 'Cu'")),
            8.0);
  EXPECT_EQ(valueToDouble(db.scalar("Select [中位数] From [统计结果2] Where [分类编码] = 2 And "
                                    "[统计项名] = 'Cu'")),
            -9999.0);
  Recordset reg = Recordset::openTable(db, "TableInfo");
  ASSERT_TRUE(reg.findFirst("[查询表名] = '统计结果2'"));
  EXPECT_EQ(reg.getText("查询库名"), "OutDataIn");
  EXPECT_EQ(reg.getText("说明"), "统计计算");

  ScriptedInteraction yes({Answer::Yes});
  ASSERT_TRUE(runClassStatistics(db, j, rows, yes, noProgress()).ok);
  ASSERT_EQ(yes.asked.size(), 1u);
  EXPECT_EQ(yes.asked[0], "检索结果表名已存在,是否覆盖?");
  reg = Recordset::openTable(db, "TableInfo");
  ASSERT_TRUE(reg.findFirst("[查询表名] = '统计结果2'"));
  EXPECT_EQ(reg.getText("查询库名"), "StatIn");
  EXPECT_EQ(db.rowCount("统计结果2"), 10);

  // No keeps everything as it was and ends the run without a message.
  ScriptedInteraction no({Answer::No});
  rows.clear();
  Outcome declined = runClassStatistics(db, j, rows, no, noProgress());
  EXPECT_FALSE(declined.ok);
  EXPECT_TRUE(declined.message.empty());
  EXPECT_TRUE(rows.empty());
  EXPECT_EQ(db.rowCount("统计结果2"), 10);
}

TEST_F(ClassStatTest, RefusalsAndTheFaultsThatEndARun) {
  std::vector<ClassStatRow> rows;
  ClassStatJob j = job();
  j.classField.clear();
  EXPECT_EQ(runClassStatistics(db, j, rows, ui, noProgress()).message,
            "请选择分类项,无分类代码不能进行统计！");
  j = job({});
  EXPECT_EQ(runClassStatistics(db, j, rows, ui, noProgress()).message, "请数据统计项！");
  j = job({"Cu", "岩性"});
  EXPECT_EQ(runClassStatistics(db, j, rows, ui, noProgress()).message,
            "分类项与数据项不能是同一项。");

  // A field that is null throughout has no class rows.
  db.execute("Alter Table [样品] Add Column [Hg] Single Default -1E+38");
  j = job({"Hg"});
  EXPECT_EQ(runClassStatistics(db, j, rows, ui, noProgress()).message, "无统计结果！");

  // A class whose mean is 0 divides by zero: the run ends with the list as far as it came.
  db.execute(
      "Insert Into [样品] ([岩性], [Cu]) Values (0, -3), (0, -2), (0, -1), (0, 1), (0, 2), "
      "(0, 3)");
  j = job();
  Outcome o = runClassStatistics(db, j, rows, ui, noProgress());
  EXPECT_EQ(o.message, "数据计算错:除数为零");
  EXPECT_EQ(rows.size(), 6u);
  EXPECT_EQ(rows[0][1], "0");
  EXPECT_EQ(rows[0][7], "-2");  // its percentiles came before the division
}

TEST_F(ClassStatTest, CorrectionTakesTheRowTextAsClassCodeAndTheShiftedParameter) {
  // An item named "3": its rows' text is a number, which the correction takes as class 3.
  db.execute("Alter Table [样品] Add Column [3] Single");
  db.execute("Update [样品] Set [3] = [Cu] * 2");
  std::vector<ClassStatRow> rows;
  ASSERT_TRUE(runClassStatistics(db, job({"3"}), rows, ui, noProgress()).ok);

  EXPECT_EQ(correctionSubItem(0), 2);
  EXPECT_EQ(correctionSubItem(8), 10);
  EXPECT_EQ(correctionSubItem(9), 12);
  EXPECT_EQ(correctionSubItem(10), 13);

  // "最小值" (index 1) reads sub-item 3, the maximum. Every row's text is "3", so class 3 is
  // corrected once per row, each time with that row's maximum; the last row, the whole table,
  // has the maximum 120. New = Cu × 6 ÷ 120.
  CorrectionJob c{"样品", "岩性", "Cu", 1, "6", "CuN"};
  Outcome o = runCorrection(db, c, rows, noProgress());
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, "数据校正成功！");
  Cursor cur = db.query("Select [岩性], [Cu], [CuN] From [样品]");
  int corrected = 0;
  while (cur.next()) {
    const float cu = cur.getFloat(1), n = cur.getFloat(2);
    if (cur.getInt(0) == 3) {
      EXPECT_EQ(n, cu * 6.0f / 120.0f);
      ++corrected;
    } else {
      EXPECT_EQ(n, -1e38f);  // other classes keep the default
    }
  }
  EXPECT_EQ(corrected, 6);

  // A zero parameter passes the row over: "D记录" is 0 nowhere here, but a hand-made row is.
  std::vector<ClassStatRow> zero = {rows[0]};
  zero[0][13] = "0";
  c.newField = "CuZ";
  c.parameterIndex = 10;  // "D方差" reads sub-item 13
  ASSERT_TRUE(runCorrection(db, c, zero, noProgress()).ok);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [样品] Where [CuZ] <> -1E+38")), 0);

  // A row text that is no number (a field named "Cu") stops after the new field was made.
  std::vector<ClassStatRow> named;
  ASSERT_TRUE(runClassStatistics(db, job({"Cu"}), named, ui, noProgress()).ok);
  c.newField = "CuX";
  c.parameterIndex = 3;
  o = runCorrection(db, c, named, noProgress());
  EXPECT_EQ(o.message, "数据计算错:类型不匹配");
  EXPECT_EQ(db.fields("样品").back().name, "CuX");

  // The checks of the boxes, in order.
  EXPECT_EQ(runCorrection(db, {"样品", "岩性", "", 1, "1", "N"}, rows, noProgress()).message,
            "请选择计算数据项！");
  EXPECT_EQ(runCorrection(db, {"样品", "岩性", "Cu", -1, "1", "N"}, rows, noProgress()).message,
            "请选择校正参数项！");
  EXPECT_EQ(runCorrection(db, {"样品", "岩性", "Cu", 1, "1", ""}, rows, noProgress()).message,
            "请输入存放校正结果字段名。");
}

TEST_F(ClassStatTest, TextSaveLayout) {
  std::vector<ClassStatRow> rows;
  ASSERT_TRUE(runClassStatistics(db, job(), rows, ui, noProgress()).ok);
  const std::string text = classStatText(rows);
  const std::string header =
      " 统计项名 分类编码  记录 最大值 最小值 平均值 几何均值 百分25 中位数 百分75 百分85 百分95 "
      "方差 D记录 D均值 D方差 变异系数 D变异系数\r\n";
  ASSERT_EQ(text.substr(0, header.size()), header);
  // Class 2's line: text, code, then sixteen sub-items each followed by a blank.
  const std::string line2 = "Cu 2 5 9 5 7 -9999 -9999 -9999 -9999 -9999 -9999 " +
                            rowOf(rows, "Cu", "2")[12] + " -9999 -9999 -9999 -9999 -9999 \r\n";
  EXPECT_NE(text.find(line2), std::string::npos) << text;
}

}  // namespace
}  // namespace sarnoth::geochem
