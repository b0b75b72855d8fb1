// gridding: one field of a work-area table to a grid file, by the seven methods of the tool
// "离散数据网格化".
#include <cstdio>
#include <iostream>
#include <optional>

#include "cli/cli.h"
#include "prep/gridding.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli gridding --table T [--x X --y Y] --value V -o NAME\n"
    "         [--method nearest|mean|median|idw|exp|sum|kriging] [--par P]\n"
    "         [--kriging ordinary|universal|lognormal|lognormal3|indicator]\n"
    "         [--drift x|y|xy|x2|y2|xy2] [--params a,b,c]\n"
    "         [--dx D] [--dy D] [--extent XMIN,XMAX,YMIN,YMAX] [--angle DEG]\n"
    "         [--radius RX] [--ry RY --rect] [--sectors 4|8|16|32]\n"
    "         [--min-points N] [--max-points N] [--cap V] [--decimals N]\n"
    "         [--threads N] [--yes] [--workarea DIR]\n"
    "\n"
    "  Writes Grid_Dat/NAME.grd of the work area. Without --x/--y the fields named 横坐标 and\n"
    "  纵坐标 are taken; without --extent the extents come from the data (as the window's\n"
    "  automatic geometry), with a spacing of 2000 above 100000 and 2 otherwise. The search\n"
    "  radius is 2.5 spacings unless given; --rect searches a rectangle RX by RY. --par is the\n"
    "  exponent of idw (default 2), the factor of exp (5), the search points of kriging (6).\n"
    "  --sectors turns the azimuth search on (mean, median, idw, exp). --min-points, "
    "--max-points,\n"
    "  --cap and --decimals are the window's feature settings (特征数据设置). --yes overwrites an\n"
    "  existing grid. --threads sets the worker threads (default one per core; the grid is the\n"
    "  same for any number). Progress goes to stderr; kriging prints the variogram it fitted.";

bool parseMethod(const std::string& s, GridMethod& m) {
  static const std::pair<const char*, GridMethod> k[] = {
      {"nearest", GridMethod::Nearest}, {"mean", GridMethod::Mean},
      {"median", GridMethod::Median},   {"idw", GridMethod::InverseDistance},
      {"exp", GridMethod::Exponential}, {"sum", GridMethod::Sum},
      {"kriging", GridMethod::Kriging}};
  for (const auto& [name, method] : k)
    if (s == name) {
      m = method;
      return true;
    }
  return false;
}

bool parseKind(const std::string& s, KrigingKind& k) {
  static const std::pair<const char*, KrigingKind> t[] = {{"ordinary", KrigingKind::Ordinary},
                                                          {"universal", KrigingKind::Universal},
                                                          {"lognormal", KrigingKind::Lognormal},
                                                          {"lognormal3", KrigingKind::Lognormal3},
                                                          {"indicator", KrigingKind::Indicator}};
  for (const auto& [name, kind] : t)
    if (s == name) {
      k = kind;
      return true;
    }
  return false;
}

int parseDrift(const std::string& s) {
  static const char* names[] = {"x", "y", "xy", "x2", "y2", "xy2"};
  for (int i = 0; i < 6; ++i)
    if (s == names[i]) return i;
  if (s.size() == 1 && s[0] >= '0' && s[0] <= '5') return s[0] - '0';
  return -1;
}

int runGriddingCommand(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  const std::string table = a.get("table");
  const std::string name = a.get("o", a.get("output"));
  if (table.empty() || name.empty()) return failWith(kUsage);

  GriddingJob job;
  job.table = table;
  job.outputName = name;
  if (!parseMethod(a.get("method", "nearest"), job.method))
    return failWith("unknown method: " + a.get("method"));
  if (!parseKind(a.get("kriging", "ordinary"), job.krigingKind))
    return failWith("unknown kriging kind: " + a.get("kriging"));
  job.drift = parseDrift(a.get("drift", "x"));
  if (job.drift < 0) return failWith("unknown drift: " + a.get("drift"));
  std::optional<std::vector<float>> params = parseKrigingParams(a.get("params"));
  if (!params)
    return failWith(std::string(kMsgGriddingFailed) + " (--params " + a.get("params") + ")");
  job.krigingParams = std::move(*params);
  job.angle = static_cast<float>(a.getDouble("angle", 0));
  job.threads = static_cast<int>(a.getInt("threads", 0));
  if (job.threads < 0 || job.threads > 64) return failWith("--threads takes 0 to 64");

  try {
    Database db = openWorkTable(work, table);
    FieldChoice fc = chooseGridFields(db.fields(table));
    if (!fc.outcome) return failWith(fc.outcome.message);
    job.xField = a.get("x", fc.numericFields[static_cast<std::size_t>(fc.x)]);
    job.yField = a.get("y", fc.numericFields[static_cast<std::size_t>(fc.y)]);
    job.valueField = a.get("value", fc.numericFields[static_cast<std::size_t>(fc.value)]);

    GridGeometry& g = job.geometry;
    float xmin, xmax, ymin, ymax, dx0 = 2, dy0 = 2;
    if (a.has("extent")) {
      std::optional<std::vector<float>> e = parseKrigingParams(a.get("extent"));
      if (!e || e->size() != 4) return failWith("--extent takes XMIN,XMAX,YMIN,YMAX");
      xmin = (*e)[0];
      xmax = (*e)[1];
      ymin = (*e)[2];
      ymax = (*e)[3];
      dx0 = xmin > 100000 ? 2000.0f : 2.0f;
      dy0 = ymin > 100000 ? 2000.0f : 2.0f;
    } else {
      AxisExtentResult ex = autoAxisExtent(db, table, job.xField);
      if (!ex.outcome) return failWith(ex.outcome.message);
      AxisExtentResult ey = autoAxisExtent(db, table, job.yField);
      if (!ey.outcome) return failWith(ey.outcome.message);
      xmin = ex.extent.min;
      xmax = ex.extent.max;
      ymin = ey.extent.min;
      ymax = ey.extent.max;
      dx0 = ex.extent.spacing;
      dy0 = ey.extent.spacing;
    }
    g.xLeft = xmin;
    g.yBottom = ymin;
    g.dx = static_cast<float>(a.getDouble("dx", dx0));
    g.dy = static_cast<float>(a.getDouble("dy", a.has("dx") ? g.dx : dy0));
    if (!(g.dx > 0) || !(g.dy > 0)) return failWith(kMsgSpacing);
    auto cols = gridCount(xmin, xmax, g.dx);
    auto rows = gridCount(ymin, ymax, g.dy);
    if (!cols || !rows || *cols < 1 || *rows < 1) return failWith(kMsgGriddingFailed);
    g.columns = *cols;
    g.rows = *rows;
    g.xJust = adjustedBound(xmin, g.dx, g.columns);
    g.yJust = adjustedBound(ymin, g.dy, g.rows);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }

  job.rx = static_cast<float>(a.getDouble("radius", 2.5 * job.geometry.dx));
  job.ry = static_cast<float>(a.getDouble("ry", job.rx));
  job.circle = !a.has("rect");
  if (job.method == GridMethod::Kriging) job.circle = true;
  if (a.has("sectors")) {
    job.azimuth = true;
    job.sectors = static_cast<int>(a.getInt("sectors", 8));
    if (job.sectors != 4 && job.sectors != 8 && job.sectors != 16 && job.sectors != 32)
      return failWith("--sectors takes 4, 8, 16 or 32");
  }
  const double defPar = methodDefaultParameter(job.method).value_or(0.0f);
  job.par = static_cast<float>(a.getDouble("par", a.getDouble("search", defPar)));

  GriddingSettings set;
  set.onMethodSelected(job.method);
  if (a.has("min-points") || a.has("max-points") || a.has("cap") || a.has("decimals")) {
    job.settingsChecked = true;
    set.minNodePoints = static_cast<std::int32_t>(a.getInt("min-points", set.minNodePoints));
    set.maxNodePoints = static_cast<std::int32_t>(a.getInt("max-points", set.maxNodePoints));
    set.roundDecimals = static_cast<std::int16_t>(a.getInt("decimals", -1));
    if (a.has("cap")) {
      set.highValueCap = static_cast<float>(a.getDouble("cap", NULL_VALUE_D));
    } else {
      // The cap box holds the field's maximum, as the window fills it.
      try {
        Database db = openWorkDatabase(work);
        FieldMaximumResult mx = fieldMaximum(db, table, job.valueField);
        if (!mx.outcome) return failWith(mx.outcome.message);
        if (mx.maximum) set.highValueCap = *mx.maximum;
      } catch (const StoreError& e) {
        return failWith(e.what());
      }
    }
  }

  CliInteraction ui(a);
  CliProgress progress("gridding");
  GriddingRunResult r = runGridding(work, job, set, ui, progress);
  if (r.declined) return 1;
  if (!r.outcome) return failWith(r.outcome.message);
  const GridHeader& h = r.grid.header;
  std::printf("%s\n  %d x %d nodes, dx %g, dy %g, origin (%.2f, %.2f)\n", r.path.c_str(), h.nx,
              h.ny, static_cast<double>(h.dx), static_cast<double>(h.dy), static_cast<double>(h.x0),
              static_cast<double>(h.y0));
  std::printf("  valid nodes %d, min %.9g, max %.9g\n", h.validCount, static_cast<double>(h.zMin),
              static_cast<double>(h.zMax));
  for (const auto& v : r.variograms) {
    std::printf("  variogram: spherical nugget=%.9g sill=%.9g range=%.9g pairs=%d%s", v.nugget,
                v.sill, v.range, v.pairs, v.degenerate ? " (zero: pure-nugget limit)" : "");
    if (job.krigingKind == KrigingKind::Indicator) std::printf(" threshold=%.9g", v.threshold);
    std::printf("\n");
  }
  return 0;
}

CommandRegistrar reg{{"gridding", "scattered points of a table to a grid file (离散数据网格化)",
                      kUsage, runGriddingCommand}};

}  // namespace
}  // namespace sarnoth::cli
