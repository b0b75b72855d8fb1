// clip grid, clip table: the jobs of the tool "数据剪裁".
#include <filesystem>
#include <iostream>
#include <sstream>

#include "cli/cli.h"
#include "prep/clipping.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli clip grid GRID --gph FILE [--name DataCutTbl] [--outside] [--replace]\n"
    "       sarnoth-cli clip table (--table T | --file F [--kind K]) --gph FILE\n"
    "                 [--x X --y Y] [--vars A,B,…] [--name DataCutTbl] [--outside]\n"
    "                 [--in-place] [--yes] [--threads N]      (all: [--workarea DIR])\n"
    "\n"
    "  Cuts a grid or a table by the polygons of a coordinate file (*.gph), keeping what lies\n"
    "  inside (保留区内数据) or, with --outside, what lies outside (保留区外数据). A point on an\n"
    "  edge is inside; a ring inside a ring is a hole.\n"
    "  grid: GRID is a grid of Grid_Dat or a path; the result is Grid_Dat/NAME.grd with the "
    "header\n"
    "    copied unchanged and cut nodes null. --replace puts the result over GRID (剪裁数据另存\n"
    "    cleared).\n"
    "  table: a registered table, or an outside file read as kind K: ascii, binary (scatter\n"
    "    files), foxpro30, foxpro26, foxpro25, dbase5, dbase4, dbase3 (.dbf), excel5, excel7,\n"
    "    excel8 (.xls; the sheet bears the file's name); by the file's suffix when not given.\n"
    "    Without --x/--y the proposed coordinates are taken (横坐标, 纵坐标 or the first two);\n"
    "    without --vars every other field offered is kept. --in-place deletes the records from\n"
    "    the table itself, for good. --yes overwrites an existing result table.";

std::vector<std::string> splitList(const std::string& s) {
  std::vector<std::string> out;
  std::stringstream in(s);
  std::string item;
  while (std::getline(in, item, ','))
    if (!item.empty()) out.push_back(item);
  return out;
}

std::string gridPathOf(const std::string& work, const std::string& g) {
  if (g.find('/') != std::string::npos || g.find('\\') != std::string::npos) return g;
  std::string name = g;
  if (std::filesystem::path(name).extension().empty()) name += ".grd";
  return work + "Grid_Dat\\" + name;
}

bool kindOf(const std::string& name, const std::string& file, ClipSourceKind& k) {
  static const std::pair<const char*, ClipSourceKind> kinds[] = {
      {"ascii", ClipSourceKind::AsciiScatter}, {"binary", ClipSourceKind::BinaryScatter},
      {"foxpro30", ClipSourceKind::FoxPro30},  {"foxpro26", ClipSourceKind::FoxPro26},
      {"foxpro25", ClipSourceKind::FoxPro25},  {"dbase5", ClipSourceKind::DBase5},
      {"dbase4", ClipSourceKind::DBaseIV},     {"dbase3", ClipSourceKind::DBaseIII},
      {"excel5", ClipSourceKind::Excel5},      {"excel7", ClipSourceKind::Excel7},
      {"excel8", ClipSourceKind::Excel8}};
  if (name.empty()) {
    std::string ext = std::filesystem::path(file).extension().string();
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext == ".dbf") {
      k = ClipSourceKind::DBaseIV;
    } else if (ext == ".xls" || ext == ".xlsx") {
      k = ClipSourceKind::Excel8;
    } else {
      ScatterKind s = detectScatterKind(file);
      k = s == ScatterKind::Ascii ? ClipSourceKind::AsciiScatter : ClipSourceKind::BinaryScatter;
    }
    return true;
  }
  for (const auto& [n, kind] : kinds)
    if (name == n) {
      k = kind;
      return true;
    }
  return false;
}

void printReport(const ClipReport& r, const std::string& what) {
  std::cout << "tested:  " << r.tested << "\nremoved: " << r.removed
            << "\nkept:    " << r.tested - r.removed << "\nresult:  " << what << "\n";
}

int runClipGrid(Args& a, const std::string& work) {
  const std::string grid = a.pos(1);
  if (grid.empty() || !a.has("gph")) return failWith(kUsage);
  GridClipJob job;
  job.source = gridPathOf(work, grid);
  job.workPath = work;
  job.resultName = a.get("name", kClipDefaultName);
  job.polygonFile = a.get("gph");
  job.keepInside = !a.has("outside");
  if (a.has("replace")) job.replace = job.source;
  CliProgress progress("剪裁");
  ClipReport rep;
  Outcome o = clipGrid(job, progress, &rep, static_cast<int>(a.getInt("threads", 0)));
  if (!o) return o.message.empty() ? 3 : failWith(o.message);
  printReport(
      rep, resolvePath(job.replace.empty() ? clipGridTarget(work, job.resultName) : job.replace));
  return 0;
}

int runClipTable(Args& a, const std::string& work) {
  if (!a.has("gph") || (a.has("table") == a.has("file"))) return failWith(kUsage);
  Database db;
  try {
    db = openWorkDatabase(work);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  TableClipJob job;
  ExternalSource ext;
  ClipFields fields;
  struct DropTemp {
    Database& db;
    ~DropTemp() { dropExternalTable(db); }
  } dropTemp{db};
  if (a.has("table")) {
    job.kind = ClipSourceKind::Table;
    job.table = a.get("table");
    if (Outcome o = clipFieldsOfTable(db, job.table, fields); !o) return failWith(o.message);
  } else {
    const std::string file = a.get("file");
    ClipSourceKind kind;
    if (!kindOf(a.get("kind"), file, kind)) return failWith(kUsage);
    if (Outcome o = loadExternalSource(db, kind, file, ext); !o) return failWith(o.message);
    job.kind = kind;
    job.scatter = &ext.scatter;
    fields = ext.fields;
  }
  job.x = a.get("x", fields.x);
  job.y = a.get("y", fields.y);
  if (a.has("vars")) {
    job.variables = splitList(a.get("vars"));
  } else {
    for (const auto& v : fields.variables)
      if (v != job.x && v != job.y) job.variables.push_back(v);
  }
  job.resultName = a.get("name", kClipDefaultName);
  job.saveAs = !a.has("in-place");
  job.keepInside = !a.has("outside");
  job.polygonFile = a.get("gph");
  CliInteraction ui(a);
  CliProgress progress("剪裁");
  ClipReport rep;
  Outcome o = clipTable(db, job, ui, progress, &rep, static_cast<int>(a.getInt("threads", 0)));
  if (!o) {
    if (rep.stopped) printReport(rep, job.saveAs ? job.resultName : job.table);
    return o.message.empty() ? 3 : failWith(o.message);
  }
  printReport(rep, job.saveAs ? job.resultName : job.table);
  return 0;
}

int runClip(Args& a) {
  const std::string what = a.pos(0);
  if (what != "grid" && what != "table") return failWith(kUsage);
  const std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  return what == "grid" ? runClipGrid(a, work) : runClipTable(a, work);
}

CommandRegistrar reg{
    {"clip", "cut a grid or a table by the polygons of a .gph file (数据剪裁)", kUsage, runClip}};

}  // namespace
}  // namespace sarnoth::cli
