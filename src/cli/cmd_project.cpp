// project: coordinate conversion of a point, a work-area table or a file (坐标转换).
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "cli/cli.h"
#include "datatools/coord_groups.h"
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
    "       sarnoth-cli project groups TABLE --pairs X1:Y1,X2:Y2,... [--new NX1:NY1,...]\n"
    "                                (--angle FROM:TO | --unit FROM:TO | --from SYS --to SYS)\n"
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
    "  groups (坐标组转换) converts several pairs of fields at once into new DOUBLE fields\n"
    "  (default X_X, Y_Y): --angle between dd, dms (D.MMSS) and dddmmss; --unit between km, m\n"
    "  and f:FACTOR; or a projection conversion as above.\n"
    "  Points that cannot be converted get -1E+38. A point whose x is a negative single digit\n"
    "  goes after the options and \"--\" (project point --from A --to B -- -5 30). Example:\n"
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

std::vector<std::string> items(const std::string& s, char sep) {
  std::vector<std::string> v;
  std::size_t pos = 0;
  while (pos <= s.size()) {
    const std::size_t c = s.find(sep, pos);
    v.push_back(s.substr(pos, c == std::string::npos ? std::string::npos : c - pos));
    if (c == std::string::npos) break;
    pos = c + 1;
  }
  return v;
}

// "dd", "dms", "dddmmss" or "km", "m", "f:N" → the option and factor.
bool formOf(const std::string& s, bool angle, int& form, double& factor) {
  factor = 1;
  if (angle) {
    form = s == "dd" ? 0 : s == "dms" ? 1 : s == "dddmmss" ? 2 : -1;
    return form >= 0;
  }
  if (s == "km" || s == "m") {
    form = s == "km" ? 0 : 1;
    return true;
  }
  if (s.rfind("f:", 0) == 0) {
    form = 2;
    factor = std::atof(s.c_str() + 2);
    return true;
  }
  return false;
}

int runGroups(Args& a, int threads) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  CoordGroupJob job;
  job.table = a.pos(1);
  const std::vector<std::string> news =
      a.has("new") ? items(a.get("new"), ',') : std::vector<std::string>{};
  std::size_t k = 0;
  for (const std::string& p : items(a.get("pairs"), ',')) {
    const auto xy = items(p, ':');
    if (xy.size() != 2) return failWith("--pairs takes X:Y,X:Y,...");
    FieldPair fp = proposePair(xy[0], xy[1]);
    if (k < news.size()) {
      const auto n = items(news[k], ':');
      if (n.size() != 2) return failWith("--new takes NX:NY,NX:NY,...");
      fp.newX = n[0];
      fp.newY = n[1];
    }
    ++k;
    job.pairs.push_back(fp);
  }
  if (a.has("angle") || a.has("unit")) {
    const bool angle = a.has("angle");
    const auto ft = items(a.get(angle ? "angle" : "unit"), ':');
    int f = 0, t = 0;
    double ff = 1, tf = 1;
    if (ft.size() != 2 || !formOf(ft[0], angle, f, ff) || !formOf(ft[1], angle, t, tf))
      return failWith(angle ? "--angle takes FROM:TO of dd, dms, dddmmss"
                            : "--unit takes FROM:TO of km, m, f:FACTOR");
    job.kind = angle ? GroupConversion::Angle : GroupConversion::Unit;
    (angle ? job.angleFrom : job.unitFrom) = f;
    (angle ? job.angleTo : job.unitTo) = t;
    job.factorFrom = ff;
    job.factorTo = tf;
  } else {
    job.kind = GroupConversion::Projection;
    if (!side(a, "from", projtable::kInputSide, job.from) ||
        !side(a, "to", projtable::kOutputSide, job.to))
      return 1;
  }
  CoordRunReport report;
  try {
    Database db = openWorkDatabase(work);
    CliProgress progress("project");
    Outcome o = runCoordGroups(db, job, progress, report, threads);
    if (!o) return failWith(o.message);
    std::printf("%s: %s\n", job.table.c_str(), o.message.c_str());
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  printReport(report);
  return 0;
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
  if (sub == "groups") return runGroups(a, threads);
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
      return failWith(message.empty() ? kMsgConvNoXField : message);
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
