// project: coordinate conversion of a point, a work-area table or a file (坐标转换).
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "prep/coord_convert.h"
#include "prep/projection_table.h"
#include "workarea/scatter_file.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli project point X Y --from SYS --to SYS\n"
    "       sarnoth-cli project table TABLE --x FIELD --y FIELD [--new-x NAME --new-y NAME]\n"
    "                                --from SYS --to SYS [--workarea DIR]\n"
    "       sarnoth-cli project file IN OUT [--x FIELD --y FIELD] --from SYS --to SYS\n"
    "       sarnoth-cli project systems [TEXT]\n"
    "  [--threads N]\n"
    "\n"
    "  SYS is a ready-made system (\"CGCS2000 / 3-degree Gauss-Kruger zone 39\", see\n"
    "  'project systems'), any EPSG code (EPSG:4490), or the window's parameters as\n"
    "  key=value items separated by commas:\n"
    "    proj=  a row of the list or geo gk3 gk6 utm tm lcc aea poly eqdc stere laea aeqd gnom\n"
    "           ortho nsper sinu eqc mill vandg omerc1 omerc2 robin goode moll imoll hammer wag4\n"
    "           wag7 oea pstere (the row's defaults are applied first)\n"
    "    ellps= a row of the ellipsoid list (3 Krasovsky/Beijing 54, 4 Xian 80, 7 WGS 84,\n"
    "           10 GRS 1980, 23 sphere), or a=, b= in metres (R= for a sphere)\n"
    "    cm= lat0= lat1= lat2= lon1= lon2= angles as D.MMSS; k= scale; fe= fn= metres;\n"
    "    aa= (h= height in metres, az= azimuth, theta= rotation); prefix (zone number in front\n"
    "    of x), south; unit= km|m|dm|f:FACTOR, or dd|dms|dddmmss for degrees; sys=SYSTEM\n"
    "    with unit= for a ready-made system.\n"
    "  A table gets the new fields (singles) FIELD_X and FIELD_Y unless named; a file is a\n"
    "  Sarnoth scatter file (ASCII or binary; the first two fields unless named) or a .gph file.\n"
    "  Points that cannot be converted get -1E+38. Example:\n"
    "    sarnoth-cli project point 117.5 39.5 --from proj=geo,ellps=10 \\\n"
    "        --to proj=gk3,ellps=10,prefix";

bool side(const Args& a, const char* option, int which, CoordSide& out) {
  CoordSideTexts t;
  std::string error;
  if (!a.has(option)) {
    std::cerr << "--" << option << " is required\n";
    return false;
  }
  if (!parseCoordSideSpec(a.get(option), which, t, error)) {
    std::cerr << error << "\n";
    return false;
  }
  CoordSideResult r = buildCoordSide(t, which);
  if (!r.outcome) {
    std::cerr << r.outcome.message << "\n";
    return false;
  }
  out = r.side;
  return true;
}

std::unique_ptr<CoordTransform> transformOf(const Args& a) {
  CoordSide in, out;
  if (!side(a, "from", projtable::kInputSide, in) || !side(a, "to", projtable::kOutputSide, out))
    return nullptr;
  std::string message;
  auto t = CoordTransform::create(in, out, message);
  if (!t) std::cerr << message << "\n";
  return t;
}

void printReport(const CoordRunReport& r) {
  std::printf("  %lld records, %lld could not be converted (-1E+38)\n",
              static_cast<long long>(r.records), static_cast<long long>(r.failed));
  if (!r.note.empty()) std::printf("  %s\n", r.note.c_str());
}

int runProject(Args& a) {
  const std::string sub = a.pos(0);
  const int threads = static_cast<int>(a.getInt("threads", 0));
  if (sub == "systems") {
    const std::string filter = a.pos(1);
    for (const auto& s : projtable::readyMadeSystems())
      if (filter.empty() || s.name.find(filter) != std::string::npos ||
          s.caption.find(filter) != std::string::npos)
        std::printf("%s\t%s\n", s.name.c_str(), s.caption.c_str());
    return 0;
  }
  if (sub != "point" && sub != "table" && sub != "file") return failWith(kUsage);
  auto t = transformOf(a);
  if (!t) return 1;

  if (sub == "point") {
    if (a.positional.size() < 3) return failWith(kUsage);
    PointConversion pc = convertPointTexts(*t, a.pos(1), a.pos(2));
    if (!pc.outcome) return failWith(pc.outcome.message);
    std::printf("%s %s\n", pc.x.c_str(), pc.y.c_str());
    if (!pc.note.empty()) std::fprintf(stderr, "%s\n", pc.note.c_str());
    return 0;
  }

  CoordRunReport report;
  if (sub == "table") {
    const std::string work = workPath(a);
    if (work.empty()) return failWith("请运行主程序设置当前工作区.");
    const std::string table = a.pos(1), x = a.get("x"), y = a.get("y");
    try {
      Database db = openWorkDatabase(work);
      CliProgress progress("project");
      Outcome o = convertTable(db, table, x, y, a.get("new-x", x + "_X"), a.get("new-y", y + "_Y"),
                               *t, progress, report, threads);
      if (!o) return failWith(o.message);
      std::printf("%s: %s\n", table.c_str(), o.message.c_str());
    } catch (const StoreError& e) {
      return failWith(e.what());
    }
    printReport(report);
    return 0;
  }

  const std::string in = a.pos(1), out = a.pos(2);
  if (in.empty() || out.empty()) return failWith(kUsage);
  const ScatterKind kind = detectScatterKind(in);
  Outcome o;
  if (kind == ScatterKind::Binary || kind == ScatterKind::Ascii) {
    const bool binary = kind == ScatterKind::Binary;
    std::string message;
    std::vector<std::string> names = scatterFieldNames(in, binary, message);
    if (names.size() < 2 && !(a.has("x") && a.has("y")))
      return failWith(message.empty() ? kMsgNoXField : message);
    const std::string x = a.get("x", names.size() > 0 ? names[0] : "");
    const std::string y = a.get("y", names.size() > 1 ? names[1] : "");
    o = convertScatterFile(in, out, binary, x, y, *t, report, threads);
  } else {
    o = convertGphFile(in, out, *t, report, threads);
  }
  if (!o) return failWith(o.message);
  std::printf("%s: %s\n", out.c_str(), o.message.c_str());
  printReport(report);
  return 0;
}

CommandRegistrar reg{
    {"project", "coordinate conversion between projections (坐标转换)", kUsage, runProject}};

}  // namespace
}  // namespace sarnoth::cli
