// workarea create|demo|info|use, tables list|fields|show, sql.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "datatools/data_tools.h"
#include "workarea/demo_area.h"
#include "workarea/jet_sql.h"
#include "workarea/null_value.h"
#include "workarea/session.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

std::string cellText(const Value& v) {
  if (auto* d = std::get_if<double>(&v)) {
    float f = static_cast<float>(*d);
    if (f == NULL_VALUE) return NULL_TEXT;
    char buf[40];
    // Whole numbers print whole (100000, not 1e+05).
    if (*d == std::trunc(*d) && std::fabs(*d) < 1e15) {
      auto r = std::to_chars(buf, buf + sizeof buf, static_cast<long long>(*d));
      return std::string(buf, r.ptr);
    }
    // Values that are floats print in the float's shortest form.
    auto r = static_cast<double>(f) == *d ? std::to_chars(buf, buf + sizeof buf, f)
                                          : std::to_chars(buf, buf + sizeof buf, *d);
    return std::string(buf, r.ptr);
  }
  return valueToText(v);
}

void printRows(Cursor& c, long long limit) {
  int n = c.columnCount();
  for (int i = 0; i < n; ++i) std::cout << (i ? "\t" : "") << c.columnName(i);
  std::cout << "\n";
  long long rows = 0;
  while (c.next()) {
    if (limit >= 0 && rows >= limit) {
      ++rows;
      continue;
    }
    for (int i = 0; i < n; ++i) std::cout << (i ? "\t" : "") << cellText(c.get(i));
    std::cout << "\n";
    ++rows;
  }
  if (limit >= 0 && rows > limit) std::cout << "… " << rows - limit << " more rows\n";
  std::cerr << rows << " rows\n";
}

int runWorkarea(Args& a) {
  std::string sub = a.pos(0);
  std::string dir = a.pos(1);
  if (sub == "create" || sub == "demo") {
    if (dir.empty()) return failWith("usage: sarnoth-cli workarea " + sub + " DIR");
    if (sub == "create") {
      Outcome o = createWorkArea(dir, static_cast<float>(a.getDouble("unit", 1.0)));
      if (!o) return failWith(o.message);
      std::cout << "created empty work area " << withTrailingSeparator(dir) << "\n";
      return 0;
    }
    DemoSummary s;
    Outcome o = createDemoWorkArea(dir, static_cast<unsigned>(a.getInt("seed", 20261121)), &s);
    if (!o) return failWith(o.message);
    std::cout << "created demo work area " << withTrailingSeparator(dir) << "\n"
              << "  " << kDemoSedimentTable << ": " << s.sediments << " samples, 12 elements\n"
              << "  " << kDemoGravityTable << ": " << s.gravity << " stations\n"
              << "  " << kDemoMagneticTable << ": " << s.magnetic << " points on 40 lines\n";
    return 0;
  }
  if (sub == "use") {
    if (dir.empty()) return failWith("usage: sarnoth-cli workarea use DIR");
    std::string sys = executableDir();
    std::string work = withTrailingSeparator(dir);
    if (!writeSettingsFile(sys, work, "", work + "temp/"))
      return failWith("无法写入 " + sys + kSettingsFile);
    try {
      createSystemDatabase(sys);
    } catch (const StoreError& e) {
      return failWith(e.what());
    }
    std::cout << "current work area: " << work << " (written to " << sys << kSettingsFile << ")\n";
    return 0;
  }
  if (sub == "info") {
    std::string work = dir.empty() ? workPath(a) : withTrailingSeparator(dir);
    if (work.empty()) return failWith(kRefusalText);
    try {
      Database db = openWorkDatabase(work);
      std::vector<std::string> reg, all;
      listRegisteredTables(db, reg);
      listDatabaseTables(db, all);
      std::cout << "work area: " << work << "\nunit factor: " << readUnitFactor(work)
                << "\nstore: " << db.path() << "\nregistered tables: " << reg.size()
                << "\ntables in store: " << all.size() << "\n";
      for (const auto& t : reg) std::cout << "  " << t << "\t" << db.rowCount(t) << " rows\n";
    } catch (const StoreError& e) {
      return failWith(e.what());
    }
    return 0;
  }
  if (sub == "clean" || sub == "compact") {
    std::string work = dir.empty() ? workPath(a) : withTrailingSeparator(dir);
    if (work.empty()) return failWith(kRefusalText);
    try {
      Database db = openWorkDatabase(work);
      if (sub == "compact") {
        Outcome o = compactWorkDatabase(work, db);
        if (!o) return failWith(o.message);
        std::cout << o.message << "\n";
        return 0;
      }
      CliInteraction ui(a);
      bool acted = false;
      if (a.has("remove")) {
        std::vector<std::string> names;
        if (Outcome l = tablesFromList(db, a.get("remove"), names); !l) return failWith(l.message);
        Outcome o = removeTables(db, names, ui);
        if (!o) return o.message.empty() ? 3 : failWith(o.message);
        acted = true;
      }
      if (a.has("register-unlisted")) {
        for (const auto& t : unregisteredTables(db)) {
          Outcome o = registerExistingTable(db, t);
          std::cout << (o ? "registered " : "not registered ") << t << "\n";
        }
        acted = true;
      }
      if (!acted) {
        std::cout << "tables not in the registry:\n";
        for (const auto& t : unregisteredTables(db)) std::cout << "  " << t << "\n";
        std::cout << "registry rows without a table:\n";
        for (const auto& t : orphanRegistryRows(db)) std::cout << "  " << t << "\n";
      }
    } catch (const StoreError& e) {
      return failWith(e.what());
    }
    return 0;
  }
  return failWith("usage: sarnoth-cli workarea create|demo|info|use|clean|compact DIR");
}

int runTables(Args& a) {
  std::string sub = a.pos(0);
  std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  try {
    Database db = openWorkDatabase(work);
    if (sub == "list" || sub.empty()) {
      if (!db.tableExists(kRegistryTable)) {
        // A store without the registry lists no table.
        std::cout << "SCHNO\t查询表名\t查询库名\t查询方式\t查询日期\t说明\n";
        std::cerr << "0 rows\n";
        return 0;
      }
      Cursor c = db.query(
          "Select [SCHNO],[查询表名],[查询库名],[查询方式],[查询日期],[说明] From [TableInfo]");
      printRows(c, -1);
      return 0;
    }
    std::string table = a.pos(1);
    if (table.empty()) return failWith("usage: sarnoth-cli tables " + sub + " TABLE");
    if (!db.tableExists(table)) return failWith("数据表不存在: " + table);
    if (sub == "fields") {
      for (const auto& f : db.fields(table))
        std::cout << f.name << "\t" << f.declared() << (f.isNumeric() ? "\tnumeric" : "") << "\n";
      return 0;
    }
    if (sub == "show") {
      Cursor c = db.query("Select * From " + bracket(table));
      printRows(c, a.getInt("limit", 20));
      return 0;
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return failWith("usage: sarnoth-cli tables list|fields|show [TABLE]");
}

int runSql(Args& a) {
  std::string stmt = a.pos(0);
  if (stmt.empty()) return failWith("usage: sarnoth-cli sql \"<statement>\"");
  std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  try {
    Database db = openWorkDatabase(work);
    if (a.has("save")) {
      CliInteraction ui(a);
      Outcome o = saveQueryAsTable(db, stmt, a.get("save"), ui);
      if (!o) return o.message == kSqlTableExists ? 1 : failWith(o.message);  // already shown
      std::cout << o.message << "\n";
      return 0;
    }
    JetStatementKind kind = db.translate(stmt).kind;
    if (kind == JetStatementKind::Select) {
      Cursor c = db.query(stmt);
      printRows(c, a.getInt("limit", -1));
    } else {
      // Select … Into registers its table as the SQL tool does.
      QueryResult r;
      Outcome o = runStatement(db, stmt, r);
      if (!o) return failWith(o.message);
      std::cout << r.changed << " rows affected\n";
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar regWorkarea{
    {"workarea", "make, inspect and choose work areas",
     "usage: sarnoth-cli workarea create DIR [--unit F]\n"
     "       sarnoth-cli workarea demo DIR [--seed N]\n"
     "       sarnoth-cli workarea use DIR     (writes dmxsysset.log beside the program)\n"
     "       sarnoth-cli workarea info [DIR]",
     runWorkarea}};
CommandRegistrar regTables{{"tables", "list registered tables, their fields and rows",
                            "usage: sarnoth-cli tables list|fields TABLE|show TABLE [--limit N] "
                            "[--workarea DIR]",
                            runTables}};
CommandRegistrar regSql{
    {"sql", "run one Jet-dialect statement on the work area's store",
     "usage: sarnoth-cli sql \"<statement>\" [--limit N] [--save NEWTABLE] [--workarea DIR]",
     runSql}};

}  // namespace
}  // namespace sarnoth::cli
