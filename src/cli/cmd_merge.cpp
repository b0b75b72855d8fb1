// merge right, merge down, merge special: the table merges of "数据表合并" and "数据表专项合并".
#include <iostream>
#include <sstream>

#include "cli/cli.h"
#include "datatools/special_merge.h"
#include "prep/table_merge.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli merge right T1 T2 [--fields1 A,B] [--fields2 C,D] [--index KEY]\n"
    "                   [--append] [--condition F] [--name JoinTbl]\n"
    "       sarnoth-cli merge down MASTER T2 [T3 …] [--fields A,B] [--append] [--condition F]\n"
    "                   [--name JoinTbl]\n"
    "       sarnoth-cli merge special T1 T2 --keys K1,K2 [--fields1 …] [--fields2 …]\n"
    "                   [--name JoinTblS]                       (all: [--workarea DIR])\n"
    "\n"
    "  right: the fields of T2 beside those of T1, record by record or, with --index, through\n"
    "    the first record of T2 whose KEY equals T1's (numeric keys). --append writes into T1\n"
    "    itself (追加到主表); --condition F skips the records of T1 whose F is empty (beyond\n"
    "    ±1E+35). Without --fields1 every field of T1 is taken, without --fields2 every field of\n"
    "    T2 that T1 does not name.\n"
    "  down: the records of T2, T3 … below those of MASTER, fields matched by name.\n"
    "  special: every record of both tables, joined where all keys match (numbers by value,\n"
    "    texts case-blind); unmatched sides get -1E+38 (numbers) or null (texts). Field names on\n"
    "    both sides are prefixed with their table's name.\n"
    "  A new table is registered (OutDataJoin); a name in use is refused.";

std::vector<std::string> splitList(const std::string& s) {
  std::vector<std::string> out;
  std::stringstream in(s);
  std::string item;
  while (std::getline(in, item, ','))
    if (!item.empty()) out.push_back(item);
  return out;
}

bool sameNameCi(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

std::vector<std::string> fieldNames(Database& db, const std::string& table) {
  std::vector<std::string> out;
  for (const auto& f : db.fields(table)) out.push_back(f.name);
  return out;
}

int runMerge(Args& a) {
  const std::string mode = a.pos(0);
  if (mode != "right" && mode != "down" && mode != "special") return failWith(kUsage);
  const std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  Database db;
  std::vector<std::string> registered;
  try {
    db = openWorkDatabase(work);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  listRegisteredTables(db, registered);
  CliInteraction ui(a);
  CliProgress progress("合并");
  Outcome o;
  std::string name;
  try {
    if (mode == "right") {
      RightMergeJob job;
      job.table1 = a.pos(1);
      job.table2 = a.pos(2);
      if (job.table1.empty() || job.table2.empty()) return failWith(kUsage);
      job.fields1 = a.has("fields1") ? splitList(a.get("fields1")) : fieldNames(db, job.table1);
      if (a.has("fields2")) {
        job.fields2 = splitList(a.get("fields2"));
      } else {
        for (const auto& f : fieldNames(db, job.table2)) {
          bool taken = false;
          for (const auto& g : job.fields1) taken = taken || sameNameCi(f, g);
          if (!taken) job.fields2.push_back(f);
        }
      }
      job.byIndex = a.has("index");
      job.indexField = a.get("index");
      job.addIn = a.has("append");
      job.condition = a.get("condition");
      job.newName = name = a.get("name", kJoinDefaultName);
      job.tableList = registered;
      MergeReport rep;
      o = rightMerge(db, job, ui, progress, &rep);
      std::cout << "records: " << rep.records << "\n";
      if (job.byIndex) std::cout << "matched: " << rep.matched << "\n";
      if (job.addIn) name = job.table1;
    } else if (mode == "down") {
      DownMergeJob job;
      job.master = a.pos(1);
      for (std::size_t i = 2; i < a.positional.size(); ++i) job.tables.push_back(a.pos(i));
      if (job.master.empty() || job.tables.empty()) return failWith(kUsage);
      job.fields = a.has("fields") ? splitList(a.get("fields")) : fieldNames(db, job.master);
      job.addIn = a.has("append");
      job.condition = a.get("condition");
      job.newName = name = a.get("name", kJoinDefaultName);
      job.tableList = registered;
      MergeReport rep;
      o = downMerge(db, job, ui, progress, &rep,
                    [](const std::string& t) { std::cerr << t << "\n"; });
      std::cout << "records: " << rep.records << "\n";
      if (job.addIn) name = job.master;
    } else {
      SpecialMergeJob job;
      job.table1 = a.pos(1);
      job.table2 = a.pos(2);
      if (job.table1.empty() || job.table2.empty() || !a.has("keys")) return failWith(kUsage);
      job.keys = splitList(a.get("keys"));
      job.fields1 = a.has("fields1") ? splitList(a.get("fields1")) : fieldNames(db, job.table1);
      job.fields2 = a.has("fields2") ? splitList(a.get("fields2")) : fieldNames(db, job.table2);
      job.newName = name = a.get("name", kJoinSDefaultName);
      SpecialMergeReport rep;
      o = specialMerge(db, job, ui, progress, &rep);
      if (o) {
        std::cout << "rows:        " << rep.rows << "\nmatched:     " << rep.matched
                  << "\nonly first:  " << rep.onlyFirst << "\nonly second: " << rep.onlySecond
                  << "\nfields:     ";
        for (const auto& c : rep.columns) std::cout << " " << c;
        std::cout << "\n";
      }
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  if (!o) return o.message.empty() ? 3 : failWith(o.message);
  std::cout << o.message << ": " << name << "\n";
  return 0;
}

CommandRegistrar reg{
    {"merge", "merge tables: right, down, special (数据表合并, 数据表专项合并)", kUsage, runMerge}};

}  // namespace
}  // namespace sarnoth::cli
