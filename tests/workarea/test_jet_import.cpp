// Import of real Jet files (written by other software) into the store.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/jet_import.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

using test::TempDir;

std::string fieldType(Database& db, const std::string& table, const std::string& field) {
  for (const auto& f : db.fields(table))
    if (f.name == field) return f.declared();
  return "(absent)";
}

TEST(JetImport, NorthwindTablesTypesAndRows) {
  std::string mdb = test::sharedData("jet/nwind.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/nwind.mdb is not present";
  TempDir tmp;
  std::string before = test::readFile(mdb);
  JetImportReport rep;
  Outcome o = importJetDatabase(mdb, tmp.file("nwind.sqlite"), &rep);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(rep.tables.size(), 9u);
  EXPECT_EQ(test::readFile(mdb), before) << "the .mdb must be left untouched";

  Database db = Database::open(tmp.file("nwind.sqlite"));
  std::vector<std::string> names;
  listDatabaseTables(db, names);
  EXPECT_EQ(names.size(), 9u);
  bool nonAscii = false;
  for (const auto& n : names)
    for (unsigned char c : n)
      if (c >= 0x80) nonAscii = true;
  EXPECT_TRUE(nonAscii) << "one table name holds non-ASCII characters";

  // Each table keeps its rows.
  long long total = 0;
  for (const auto& n : names) total += db.rowCount(n);
  EXPECT_EQ(total, rep.rows);
  ASSERT_TRUE(db.tableExists("Customers"));
  EXPECT_EQ(db.rowCount("Customers"), 91);
  EXPECT_EQ(fieldType(db, "Customers", "CustomerID"), "TEXT(5)");
  EXPECT_EQ(fieldType(db, "Orders", "OrderDate"), "DATE");
  EXPECT_EQ(fieldType(db, "Orders", "Freight"), "CURRENCY");
  EXPECT_EQ(fieldType(db, "Orders", "OrderID"), "LONG");

  // Types the tools ask about, and values decoded from the record bytes.
  bool sawSingle = false, sawInteger = false;
  for (const auto& t : names)
    for (const auto& f : db.fields(t)) {
      sawSingle |= f.type == JetType::Single;
      sawInteger |= f.type == JetType::Integer;
    }
  EXPECT_TRUE(sawSingle);
  EXPECT_TRUE(sawInteger);
  Value freight = db.scalar("Select [Freight] From [Orders] Where [OrderID] = 10248");
  EXPECT_NEAR(valueToDouble(freight), 32.38, 1e-9);
  Value date = db.scalar("Select [OrderDate] From [Orders] Where [OrderID] = 10248");
  EXPECT_EQ(valueToText(date).substr(0, 4), "1994");
}

TEST(JetImport, DateTestDatabase) {
  std::string mdb = test::sharedData("jet/DateTestDatabase.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/DateTestDatabase.mdb is not present";
  TempDir tmp;
  JetImportReport rep;
  Outcome o = importJetDatabase(mdb, tmp.file("d.sqlite"), &rep);
  ASSERT_TRUE(o.ok) << o.message;
  ASSERT_FALSE(rep.tables.empty());
  Database db = Database::open(tmp.file("d.sqlite"));
  bool sawDate = false;
  for (const auto& t : rep.tables)
    for (const auto& f : db.fields(t))
      if (f.type == JetType::Date) {
        sawDate = true;
        Cursor c = db.query("Select " + bracket(f.name) + " From " + bracket(t));
        while (c.next()) {
          if (c.isNull(0)) continue;
          std::string v = c.getText(0);
          // "YYYY-MM-DD HH:MM:SS"
          ASSERT_EQ(v.size(), 19u) << v;
          EXPECT_EQ(v[4], '-');
          EXPECT_EQ(v[13], ':');
        }
      }
  EXPECT_TRUE(sawDate);
}

TEST(JetImport, GarbageAndTruncatedFilesFailCleanly) {
  TempDir tmp;
  test::writeFile(tmp.file("empty.mdb"), "");
  test::writeFile(tmp.file("junk.mdb"), std::string(8192, '\x5a'));
  for (const char* name : {"empty.mdb", "junk.mdb", "missing.mdb"}) {
    Outcome o = importJetDatabase(tmp.file(name), tmp.file("out.sqlite"));
    EXPECT_FALSE(o.ok) << name;
    EXPECT_FALSE(o.message.empty());
    EXPECT_FALSE(std::filesystem::exists(tmp.file("out.sqlite"))) << name;
  }
  std::string mdb = test::sharedData("jet/nwind.mdb");
  if (mdb.empty()) return;
  // The first pages of a real file: mdbtools must not be trusted past the end.
  std::string bytes = test::readFile(mdb);
  test::writeFile(tmp.file("cut.mdb"), bytes.substr(0, 6000));
  Outcome o = importJetDatabase(tmp.file("cut.mdb"), tmp.file("cut.sqlite"));
  if (o.ok) {
    Database db = Database::open(tmp.file("cut.sqlite"));
    SUCCEED() << "a cut file imported what it held";
  }
}

TEST(JetImport, WorkAreaWithOnlyTheJetFileIsImportedOnce) {
  std::string mdb = test::sharedData("jet/nwind.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/nwind.mdb is not present";
  TempDir tmp;
  std::filesystem::create_directories(tmp.file("Qury_Dat"));
  std::filesystem::copy_file(mdb, tmp.file("Qury_Dat/QueryDB.mdb"));
  {
    Database db = openWorkDatabase(tmp.dir());
    EXPECT_TRUE(db.tableExists("Customers"));
    db.execute("Delete From [Customers]");
  }
  // A second opening uses the store, not a new import.
  Database db = openWorkDatabase(tmp.dir());
  EXPECT_EQ(db.rowCount("Customers"), 0);
  EXPECT_TRUE(std::filesystem::exists(tmp.file("Qury_Dat/QueryDB.mdb")));
}

}  // namespace
}  // namespace sarnoth
