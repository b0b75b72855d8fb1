// grid info|convert|import: the work area's grid files and their exchange forms.
#include <filesystem>
#include <iostream>
#include <optional>

#include "cli/cli.h"
#include "workarea/grid_convert.h"
#include "workarea/grid_exchange.h"
#include "workarea/grid_file.h"
#include "workarea/grid_gdal.h"
#include "workarea/grid_info.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::cli {
namespace {

int fail(int status, const std::string& detail = {}) {
  std::cerr << gridStatusText(status) << "\n";
  if (!detail.empty()) std::cerr << "  (" << detail << ")\n";
  return 1;
}

// --origin node (the default) or corner; nothing for any other word.
std::optional<ArcOrigin> originOf(const Args& a) {
  const std::string o = a.get("origin", "node");
  if (o == "node") return ArcOrigin::AsNode;
  if (o == "corner") return ArcOrigin::CellCorner;
  return std::nullopt;
}

int runInfo(Args& a) {
  std::string path = a.pos(1);
  if (path.empty()) return failWith("usage: sarnoth-cli grid info FILE");
  GridReadResult r = readGridHeader(path);
  if (!r.ok()) return failWith(gridReadMessage(r.error, kMsgNotGrid));
  std::string text = gridInfoText(r.grid.header);
  std::erase(text, '\r');
  std::cout << text;
  if (a.has("verbose"))
    std::cout << "magic:  " << r.grid.header.magic << "\n处理方法:  " << r.grid.header.method
              << "\n";
  return 0;
}

int runConvert(Args& a) {
  std::string in = a.pos(1), out = a.pos(2), to = a.get("to");
  if (in.empty() || out.empty() || to.empty())
    return failWith("usage: sarnoth-cli grid convert IN OUT --to FORMAT");
  GridTarget target;
  std::string driver;
  if (!parseGridTarget(to, target, driver))
    return failWith("unknown --to " + to +
                    " (binary|ascii|surfer|arcview-ascii|arcview-flat|mapgis|scatter-ascii|"
                    "gtiff|gdal:DRIVER)");
  LoadedGrid g;
  std::string detail;
  CliProgress reading("reading");
  if (!originOf(a)) return failWith("--origin node|corner");
  int st = loadAnyGrid(in, GridPurpose::FormatConvert, *originOf(a), g, detail, reading);
  if (st != kGridOk) return fail(st, detail);
  g.magic = a.get("magic", g.magic);
  g.method = a.get("method", g.method);
  CliProgress writing("writing");
  st = saveGridAs(out, g, target, driver, detail, writing, a.get("magic", kGridMagicA));
  if (st != kGridOk) return fail(st, detail);
  std::cerr << in << " -> " << out << " (" << to << ", " << g.grid.header.nx << " x "
            << g.grid.header.ny << ")\n";
  return 0;
}

int runImport(Args& a) {
  std::string in = a.pos(1);
  if (in.empty()) return failWith("usage: sarnoth-cli grid import FILE [--name NAME]");
  std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  std::string name = a.get("name", std::filesystem::path(in).stem().string());
  CliInteraction ui(a);
  CliProgress progress("reading");
  std::string target;
  if (!originOf(a)) return failWith("--origin node|corner");
  Outcome o = importGridToWorkArea(in, work, name, *originOf(a), ui, progress, &target);
  if (!o) return o.message.empty() ? 3 : failWith(o.message);
  std::cout << target << "\n";
  return 0;
}

int runGrid(Args& a) {
  std::string sub = a.pos(0);
  if (sub == "info") return runInfo(a);
  if (sub == "convert") return runConvert(a);
  if (sub == "import") return runImport(a);
  return failWith("usage: sarnoth-cli grid info|convert|import ... (--help tells more)");
}

CommandRegistrar reg{
    {"grid", "grid files: info, convert, import",
     "usage: sarnoth-cli grid info FILE [--verbose]\n"
     "       sarnoth-cli grid convert IN OUT --to FORMAT [--origin corner|node]\n"
     "                                [--magic M] [--method TEXT]\n"
     "       sarnoth-cli grid import FILE [--name NAME] [--workarea DIR] [--origin corner|node]\n"
     "\n"
     "IN may be a binary or ASCII grid of any generation, Surfer DSAA, ArcView ASCII, a VLQ2GRID\n"
     "file, or any raster GDAL reads (GeoTIFF, ...). FORMAT is one of\n"
     "  binary         the work area's *.grd\n"
     "  ascii          ASCII grid (#SRNTHGRIDA#)\n"
     "  surfer         Surfer DSAA, nulls as 1.70141E+38\n"
     "  arcview-ascii  ArcView ASCII grid (xllcenter/yllcenter: the first node)\n"
     "  arcview-flat   flat ArcView export\n"
     "  mapgis         flat MapGIS export\n"
     "  scatter-ascii  ASCII scatter file, one point per node\n"
     "  gtiff          GeoTIFF; gdal:DRIVER for any other GDAL writer\n"
     "An ArcView xllcorner is read as the first node, as the system's import does; --origin\n"
     "corner reads it as the outer corner of the first cell, as GIS programs write it.\n"
     "import writes Grid_dat/NAME.grd of the work area (NAME defaults to the file's stem).",
     runGrid}};

}  // namespace
}  // namespace sarnoth::cli
