// The store against the real engine: the Jet dialect the tools send, cursors and dynasets.
#include <gtest/gtest.h>

#include <cmath>

#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/table_store.h"

namespace sarnoth {
namespace {

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override { db = Database::open(tmp.file("t.sqlite"), true); }
  test::TempDir tmp;
  Database db;

  void makeSamples() {
    db.execute(
        "CREATE TABLE [样品 1] ([X] SINGLE, [Y] DOUBLE, [地层] TEXT(20), [Au] SINGLE, [N] LONG)");
    TableWriter w(db, "样品 1", {"X", "Y", "地层", "Au", "N"});
    const char* units[] = {"寒武系", "奥陶系"};
    for (int i = 0; i < 10; ++i) {
      w.setDouble(0, 0.1 * i);
      w.setDouble(1, 0.1 * i);
      w.setText(2, units[i % 2]);
      w.setDouble(3, i == 3 ? NULL_VALUE_D : 1.0 + i);
      w.setInt(4, i);
      w.addRow();
    }
    w.commit();
  }
};

TEST_F(StoreTest, DeclaredJetTypesAreKept) {
  db.execute(
      "Create Table [t] ([a] SINGLE, [b] DOUBLE, [c] LONG, [d] INTEGER, [e] TEXT(12), [f] DATE, "
      "[g] CURRENCY)");
  auto f = db.fields("t");
  ASSERT_EQ(f.size(), 7u);
  EXPECT_EQ(f[0].declared(), "SINGLE");
  EXPECT_EQ(f[3].type, JetType::Integer);
  EXPECT_EQ(f[4].declared(), "TEXT(12)");
  EXPECT_EQ(f[4].size, 12);
  EXPECT_TRUE(f[0].isNumeric() && f[1].isNumeric() && f[2].isNumeric() && f[3].isNumeric());
  EXPECT_FALSE(f[4].isNumeric() || f[5].isNumeric() || f[6].isNumeric());
}

TEST_F(StoreTest, NullLiteralMeansTheFloatNull) {
  makeSamples();
  // Written as a float, the null is not the double -1E+38; the literal must still find it.
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [样品 1] Where [Au] = -1E+38")), 1);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [样品 1] Where [Au] <> -1e+38")), 9);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [样品 1] Where [Au]<>- 1E38")), 9);
  // The assignment form of the superposition tools.
  db.execute("Update [样品 1] Set [Au] =-1E+38  Where [N] = 5");
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [样品 1] Where [Au] = -1E+38")), 2);
  float stored =
      static_cast<float>(valueToDouble(db.scalar("Select [Au] From [样品 1] Where [N] = 5")));
  EXPECT_EQ(floatBits(stored), 0xFE967699u);
  // Inside a string the text stays text.
  EXPECT_EQ(valueToText(db.scalar("Select '-1E+38'")), "-1E+38");
}

TEST_F(StoreTest, AggregatesOfTheDialect) {
  makeSamples();
  Cursor c = db.query(
      "Select [地层], Count([Au]), Avg([Au]), StDev([Au]), Max([Au]), Min([Au]) From [样品 1] "
      "Where [Au] <> -1e+38 Group By [地层] Order by [地层]");
  std::map<std::string, std::vector<double>> rows;
  while (c.next())
    rows[c.getText(0)] = {c.getDouble(1), c.getDouble(2), c.getDouble(3), c.getDouble(4),
                          c.getDouble(5)};
  // 奥陶系 holds i = 1, 5, 7, 9 (3 is null): Au = 2, 6, 8, 10.
  auto& o = rows["奥陶系"];
  ASSERT_EQ(o.size(), 5u);
  EXPECT_EQ(o[0], 4);
  EXPECT_DOUBLE_EQ(o[1], 6.5);
  EXPECT_NEAR(o[2], std::sqrt((20.25 + 0.25 + 2.25 + 12.25) / 3.0), 1e-12);  // sample StDev
  EXPECT_EQ(o[3], 10);
  EXPECT_EQ(o[4], 2);
  // log is natural, as Jet's.
  EXPECT_NEAR(valueToDouble(db.scalar("Select log(100)")), std::log(100.0), 1e-12);
  EXPECT_THROW(db.scalar("Select log(0)"), StoreError);
  // A single value has no sample deviation.
  EXPECT_TRUE(isNull(db.scalar("Select StDev([Au]) From [样品 1] Where [N] = 0")));
}

TEST_F(StoreTest, SelectIntoKeepsTypesAndAlterDropsColumns) {
  makeSamples();
  db.execute(
      "Select [X], [地层], [Au], [Au]*2 As [Au2] Into [新表] From [样品 1] Where [Au] <> -1E+38");
  auto f = db.fields("新表");
  ASSERT_EQ(f.size(), 4u);
  EXPECT_EQ(f[0].declared(), "SINGLE");
  EXPECT_EQ(f[1].declared(), "TEXT(20)");
  EXPECT_EQ(f[3].type, JetType::Double);
  EXPECT_EQ(db.rowCount("新表"), 9);
  // A group query into a table: counts are LONG.
  db.execute("Select [地层], Count([Au]) Into [统计] From [样品 1] Group By [地层]");
  EXPECT_EQ(db.fields("统计")[1].type, JetType::Long);
  db.execute("Alter Table [新表] Drop Column [Au2]");
  EXPECT_EQ(db.fields("新表").size(), 3u);
  EXPECT_THROW(db.execute("Select * Into [新表] From [样品 1]"), StoreError);
}

TEST_F(StoreTest, OddNamesWorkEverywhere) {
  const std::string names[] = {"O'Brien", "a]b", "with blank", "横坐标(m)", "x\"y"};
  for (const auto& n : names) {
    db.createTable(n, {{n, JetType::Single, 0}, {"v", JetType::Text, 10}});
    TableWriter w(db, n, {n, "v"});
    w.setDouble(0, 1.5);
    w.setText(1, n);
    w.addRow();
    w.commit();
    EXPECT_TRUE(db.tableExists(n)) << n;
    EXPECT_EQ(db.rowCount(n), 1) << n;
    Recordset rs = Recordset::openTable(db, n);
    EXPECT_TRUE(rs.findFirst(bracket(n) + " > 1")) << n;
    Value v = db.scalar("Select " + bracket(n) + " From " + bracket(n) + " Where [v] = ?", {n});
    EXPECT_EQ(valueToDouble(v), 1.5) << n;
  }
  EXPECT_EQ(db.tableNames().size(), 5u);
}

TEST_F(StoreTest, DialectRewrites) {
  makeSamples();
  EXPECT_EQ(valueToText(db.scalar("Select \"ab\" & 'c' & [N] From [样品 1] Where [N] = 2")),
            "abc2");
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [样品 1] Where [地层] Like '寒*'")), 5);
  Cursor c = db.query("Select Top 3 [N] From [样品 1] Order By [N] Desc");
  int rows = 0;
  while (c.next()) ++rows;
  EXPECT_EQ(rows, 3);
  EXPECT_EQ(valueToDouble(db.scalar("Select IIf([N] > 4, 1, 0) From [样品 1] Where [N] = 7")), 1);
  EXPECT_EQ(valueToDouble(db.scalar("Select 7 Mod 3")), 1);
  EXPECT_EQ(valueToText(db.scalar("Select #2024/3/5#")), "2024-03-05");
  EXPECT_EQ(valueToText(db.scalar("Select Mid('横坐标X', 2, 2)")), "坐标");
  // A misspelt field is an error, not a string constant.
  EXPECT_THROW(db.scalar("Select [Auu] From [样品 1]"), StoreError);
}

TEST_F(StoreTest, SinglesAreRoundedOnEveryWrite) {
  db.execute("Create Table [t] ([s] SINGLE, [d] DOUBLE)");
  const double x = 0.1;  // not a float
  {
    TableWriter w(db, "t", {"s", "d"});
    w.setDouble(0, x);
    w.setDouble(1, x);
    w.addRow();
    w.commit();
  }
  Recordset rs = Recordset::openTable(db, "t");
  rs.addNew();
  rs.set("s", x);
  rs.set("d", x);
  rs.update();
  db.execute("Insert Into [t] ([s], [d]) Values (0.1, 0.1)");
  db.execute("Update [t] Set [s] = [s] + 0.1");
  Cursor c = db.query("Select [s], [d] From [t]");
  int n = 0;
  while (c.next()) {
    double s = c.getDouble(0);
    EXPECT_EQ(s, static_cast<double>(static_cast<float>(s))) << "row " << n;
    EXPECT_EQ(c.getDouble(1), x);
    ++n;
  }
  EXPECT_EQ(n, 3);
}

TEST_F(StoreTest, DynasetMovesFindsAndEdits) {
  makeSamples();
  Recordset rs = Recordset::openTable(db, "样品 1");
  EXPECT_EQ(rs.recordCount(), 10);
  rs.moveLast();
  EXPECT_EQ(valueToDouble(rs.value("N")), 9);
  ASSERT_TRUE(rs.findFirst("[地层] = '奥陶系' And [N] > 4"));
  EXPECT_EQ(valueToDouble(rs.value("n")), 5);  // field names are case-blind
  rs.edit();
  rs.set("地层", std::string("志留系"));
  rs.update();
  rs.remove();
  EXPECT_FALSE(rs.findFirst("[N] = 5"));
  EXPECT_TRUE(rs.eof());
  EXPECT_EQ(db.rowCount("样品 1"), 9);
  EXPECT_THROW(rs.value("N"), StoreError);  // no current record
  Recordset q = Recordset::openQuery(db, "Select [N] From [样品 1]");
  EXPECT_THROW(q.addNew(), StoreError);
  EXPECT_THROW(Recordset::openTable(db, "nope"), StoreError);
}

TEST_F(StoreTest, WriterRollsBackWhenNotCommitted) {
  db.execute("Create Table [t] ([s] SINGLE)");
  {
    TableWriter w(db, "t", {"s"});
    w.setDouble(0, 1);
    w.addRow();
  }
  EXPECT_EQ(db.rowCount("t"), 0);
}

TEST(StoreOpen, MissingAndCorruptFilesGiveAnError) {
  test::TempDir tmp;
  EXPECT_THROW(Database::open(tmp.file("none.sqlite")), StoreError);
  test::writeFile(tmp.file("bad.sqlite"), std::string(4096, 'x'));
  EXPECT_THROW(Database::open(tmp.file("bad.sqlite")), StoreError);
  // Case-blind lookup of the file itself.
  { Database d = Database::open(tmp.file("Real.sqlite"), true); }
  EXPECT_NO_THROW(Database::open(tmp.file("real.SQLITE")));
}

}  // namespace
}  // namespace sarnoth
