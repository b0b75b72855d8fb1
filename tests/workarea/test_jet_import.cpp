// Import of real Jet files (written by other software) into the store: every cell against
// mdbtools' own exporter, and the damaged files that once crashed, hung or exhausted the reader.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
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

bool haveMdbExport() { return std::system("command -v mdb-export >/dev/null 2>&1") == 0; }

std::string shell(const std::string& cmd) {
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) return out;
  char buf[4096];
  while (std::size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
  pclose(p);
  return out;
}

std::string quoted(const std::string& s) {
  std::string out = "'";
  for (char c : s) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

// One CSV cell of mdb-export: its text and whether it stood in quotes (text and dates do).
struct Cell {
  std::string text;
  bool quoted = false;
};

// mdb-export's CSV: comma-separated, '"' around text with doubled quotes, newlines inside quotes.
std::vector<std::vector<Cell>> parseCsv(const std::string& s) {
  std::vector<std::vector<Cell>> rows(1);
  rows.back().emplace_back();
  bool inQuotes = false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    char c = s[i];
    Cell& cell = rows.back().back();
    if (inQuotes) {
      if (c == '"' && i + 1 < s.size() && s[i + 1] == '"') {
        cell.text += '"';
        ++i;
      } else if (c == '"') {
        inQuotes = false;
      } else {
        cell.text += c;
      }
    } else if (c == '"') {
      inQuotes = true;
      cell.quoted = true;
    } else if (c == ',') {
      rows.back().emplace_back();
    } else if (c == '\n') {
      rows.emplace_back();
      rows.back().emplace_back();
    } else if (c != '\r') {
      cell.text += c;
    }
  }
  while (!rows.empty() && rows.back().size() == 1 && rows.back()[0].text.empty() &&
         !rows.back()[0].quoted)
    rows.pop_back();
  return rows;
}

// Every table of an .mdb against "mdb-export" of the same file, cell by cell. Returns the cells
// compared.
long long compareWithMdbExport(const std::string& mdb) {
  TempDir tmp;
  JetImportReport rep;
  Outcome o = importJetDatabase(mdb, tmp.file("x.sqlite"), &rep);
  EXPECT_TRUE(o.ok) << o.message;
  if (!o.ok) return 0;
  Database db = Database::open(tmp.file("x.sqlite"));
  long long cells = 0;
  for (const auto& table : rep.tables) {
    auto csv =
        parseCsv(shell("mdb-export -T '%Y-%m-%d %H:%M:%S' " + quoted(mdb) + " " + quoted(table)));
    auto defs = db.fields(table);
    Cursor c = db.query("Select * From " + bracket(table));
    std::size_t r = 1;  // row 0 is mdb-export's header
    if (csv.empty()) {
      ADD_FAILURE() << table << ": mdb-export gave nothing";
      continue;
    }
    EXPECT_EQ(csv[0].size(), defs.size()) << table;
    while (c.next()) {
      if (r >= csv.size()) {
        ADD_FAILURE() << table << ": more rows than mdb-export gives";
        break;
      }
      const auto& row = csv[r++];
      for (std::size_t k = 0; k < defs.size() && k < row.size(); ++k) {
        const FieldDef& f = defs[k];
        const Cell& want = row[k];
        Value got = c.get(static_cast<int>(k));
        std::string where = table + "." + f.name + " row " + std::to_string(r - 1);
        ++cells;
        if (want.text.empty() && !want.quoted) {
          EXPECT_TRUE(isNull(got)) << where;
          continue;
        }
        switch (f.type) {
          case JetType::Text:
          case JetType::Memo:
            EXPECT_EQ(valueToText(got), want.text) << where;
            break;
          case JetType::Date: {
            // mdbtools prints "1900-01-00" for years it cannot place (9999, before 1900);
            // those cells are checked by TheDatesMdbtoolsCannotPrint.
            if (want.text.rfind("1900-01-00", 0) == 0) break;
            std::string t = valueToText(got);
            if (t.size() == 10) t += " 00:00:00";
            EXPECT_EQ(t, want.text) << where;
            break;
          }
          case JetType::Bit:
            EXPECT_EQ(valueToDouble(got) != 0, std::atof(want.text.c_str()) != 0) << where;
            break;
          default: {
            double a = valueToDouble(got), b = std::atof(want.text.c_str());
            double tol = f.type == JetType::Single ? 1e-6 : 1e-12;
            EXPECT_NEAR(a, b, tol * std::max(1.0, std::fabs(b))) << where << " " << want.text;
          }
        }
      }
    }
    EXPECT_EQ(r, csv.size()) << table << ": mdb-export gives more rows";
  }
  return cells;
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
  // The header says code page 1252: the German table name is read in it, not as GBK.
  EXPECT_TRUE(db.tableExists("Umsätze"));
  long long total = 0;
  for (const auto& n : names) total += db.rowCount(n);
  EXPECT_EQ(total, rep.rows);
  EXPECT_EQ(db.rowCount("Customers"), 91);
  EXPECT_EQ(fieldType(db, "Customers", "CustomerID"), "TEXT(5)");
  EXPECT_EQ(fieldType(db, "Orders", "OrderDate"), "DATE");
  EXPECT_EQ(fieldType(db, "Orders", "Freight"), "CURRENCY");
  EXPECT_EQ(fieldType(db, "Orders", "OrderID"), "LONG");
  EXPECT_NEAR(valueToDouble(db.scalar("Select [Freight] From [Orders] Where [OrderID] = 10248")),
              32.38, 1e-9);
  // Imported dates and typed date literals meet: one date storage for both.
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [Orders] Where [OrderDate] = "
                                    "#11/16/1994#")),
            2);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [Products] Where [Discontinued] = True")),
            valueToDouble(db.scalar("Select Count(*) From [Products] Where [Discontinued] <> 0")));
}

TEST(JetImport, EveryCellAgreesWithMdbExport) {
  if (!haveMdbExport()) GTEST_SKIP() << "mdb-export is not installed (apt-get install mdbtools)";
  int files = 0;
  for (const char* name : {"jet/nwind.mdb", "jet/DateTestDatabase.mdb"}) {
    std::string mdb = test::sharedData(name);
    if (mdb.empty()) continue;
    ++files;
    EXPECT_GT(compareWithMdbExport(mdb), 0) << name;
  }
  if (files == 0) GTEST_SKIP() << "../shared/data/jet is not present";
}

TEST(JetImport, TheDatesMdbtoolsCannotPrint) {
  std::string mdb = test::sharedData("jet/DateTestDatabase.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/DateTestDatabase.mdb is not present";
  TempDir tmp;
  ASSERT_TRUE(importJetDatabase(mdb, tmp.file("d.sqlite")).ok);
  Database db = Database::open(tmp.file("d.sqlite"));
  // The rows say what they hold.
  EXPECT_EQ(valueToText(db.scalar("Select [LongTextCol] From [DateTest] Where Year([DateCol]) = "
                                  "9999")),
            "Year 9999");
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [DateTest] Where [LongTextCol] = "
                                    "'Pre-1900 years' And [DateTimeCol] < #1900/1/1#")),
            1);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [DateTest] Where [LongTextCol] = "
                                    "'Pre-1000 years' And Year([DateTimeCol]) < 1000")),
            1);
  EXPECT_EQ(valueToText(db.scalar("Select [DateCol] From [DateTest] Where [IDCol] = 1")),
            "2021-12-02");
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
}

// Each damaged file is refused within seconds, with a message, by a reader that stays small,
// and leaves no store behind — as a file to import and as a work area's QueryDB.mdb.
TEST(JetImport, DamagedFilesAreRefused) {
  std::string dir = test::sharedData("damaged");
  if (dir.empty()) GTEST_SKIP() << "../shared/data/damaged is not present";
  int seen = 0;
  for (const auto& e : std::filesystem::directory_iterator(dir)) {
    if (e.path().extension() != ".mdb") continue;
    ++seen;
    std::string name = e.path().filename().string();
    TempDir tmp;
    auto t0 = std::chrono::steady_clock::now();
    Outcome o = importJetDatabase(e.path().string(), tmp.file("out.sqlite"));
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_FALSE(o.ok) << name;
    EXPECT_NE(o.message.find("Jet数据库文件已损坏"), std::string::npos)
        << name << ": " << o.message;
    EXPECT_LT(secs, 15.0) << name;
    EXPECT_FALSE(std::filesystem::exists(tmp.file("out.sqlite"))) << name;
    EXPECT_FALSE(std::filesystem::exists(tmp.file("out.sqlite.importing"))) << name;
    std::string error;
    EXPECT_TRUE(listJetTables(e.path().string(), error).empty() || error.empty()) << name;

    std::filesystem::create_directories(tmp.file("wa/Qury_Dat"));
    std::filesystem::copy_file(e.path(), tmp.file("wa/Qury_Dat/QueryDB.mdb"));
    EXPECT_THROW(openWorkDatabase(tmp.dir() + "wa/"), StoreError) << name;
    EXPECT_FALSE(std::filesystem::exists(tmp.file("wa/Qury_Dat/QueryDB.sqlite"))) << name;
  }
  EXPECT_EQ(seen, 4);
  // The reading children never grew far: the largest of them, less this process.
  rusage self{}, kids{};
  getrusage(RUSAGE_SELF, &self);
  getrusage(RUSAGE_CHILDREN, &kids);
  EXPECT_LT(kids.ru_maxrss - self.ru_maxrss, 100 * 1024) << "KB";
}

TEST(JetImport, ATableLibmdbCannotReadIsNamed) {
  std::string mdb = test::sharedData("jet/DateTestDatabase.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/DateTestDatabase.mdb is not present";
  TempDir tmp;
  // Page 18 (of 4096 bytes) is the definition of the table DateTest, as the catalogue says; a
  // page type other than 2 makes it unreadable while the catalogue still names it.
  std::string bytes = test::readFile(mdb);
  ASSERT_GT(bytes.size(), 19u * 4096);
  ASSERT_EQ(bytes[18 * 4096], '\x02');
  bytes[18 * 4096] = '\x07';
  test::writeFile(tmp.file("bad.mdb"), bytes);
  Outcome o = importJetDatabase(tmp.file("bad.mdb"), tmp.file("bad.sqlite"));
  EXPECT_FALSE(o.ok);
  EXPECT_NE(o.message.find("DateTest"), std::string::npos) << o.message;
  EXPECT_FALSE(std::filesystem::exists(tmp.file("bad.sqlite")));
}

TEST(JetImport, ACutFileLeavesNoStoreThatHidesTheGoodOne) {
  std::string mdb = test::sharedData("jet/nwind.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/nwind.mdb is not present";
  TempDir tmp;
  std::filesystem::create_directories(tmp.file("Qury_Dat"));
  test::writeFile(tmp.file("Qury_Dat/QueryDB.mdb"), test::readFile(mdb).substr(0, 100 * 1024));
  EXPECT_THROW(openWorkDatabase(tmp.dir()), StoreError);
  EXPECT_FALSE(std::filesystem::exists(tmp.file("Qury_Dat/QueryDB.sqlite")));
  // An empty store left by an older program does not hide the .mdb either.
  test::writeFile(tmp.file("Qury_Dat/QueryDB.sqlite"), "");
  std::filesystem::copy_file(mdb, tmp.file("Qury_Dat/QueryDB.mdb"),
                             std::filesystem::copy_options::overwrite_existing);
  Database db = openWorkDatabase(tmp.dir());
  EXPECT_TRUE(db.tableExists("Customers"));
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
    // The .mdb had no registry: the work area lists nothing until a tool registers a table.
    std::vector<std::string> reg;
    EXPECT_EQ(listRegisteredTables(db, reg), 0);
    EXPECT_EQ(nextTableNo(db), 1);
    ScriptedInteraction ui;
    EXPECT_EQ(
        registerTable(db, "新表", {"DataCut", "数据剪裁", OverwriteRule::Ask, "?", "", false}, ui),
        RegisterResult::Added);
    EXPECT_EQ(listRegisteredTables(db, reg), 1);
  }
  // A second opening uses the store, not a new import.
  Database db = openWorkDatabase(tmp.dir());
  EXPECT_EQ(db.rowCount("Customers"), 0);
  EXPECT_TRUE(std::filesystem::exists(tmp.file("Qury_Dat/QueryDB.mdb")));
}

}  // namespace
}  // namespace sarnoth
