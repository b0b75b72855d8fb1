// grid info|convert|import: the work area's grid files and their exchange forms.
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "workarea/grid_exchange.h"
#include "workarea/grid_file.h"
#include "workarea/grid_gdal.h"
#include "workarea/grid_info.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::cli {
namespace {

// A grid loaded from any readable form, with the magic and method a binary copy of it carries.
struct Loaded {
  Grid grid;
  std::string magic, method;
};

int fail(int status, const std::string& detail = {}) {
  std::cerr << gridStatusText(status) << "\n";
  if (!detail.empty()) std::cerr << "  (" << detail << ")\n";
  return 1;
}

// `forImport`: the grid import window's ASCII conversion ("ASCIITOBINARY") rather than format
// conversion's ("GEOMTOSRNPTH").
int load(const std::string& path, const Args& a, bool forImport, Loaded& out, std::string& detail) {
  if (!pathExists(path)) return kGridOpenInputFailed;
  ArcOrigin origin =
      a.get("origin", "corner") == "node" ? ArcOrigin::AsNode : ArcOrigin::CellCorner;
  CliProgress progress("reading");
  switch (detectGridFormat(path)) {
    case GridFormat::Binary: {
      GridReadResult r = readGrid(path);
      if (!r.ok()) {
        detail = gridErrorDetail(r.error);
        return gridStatusOf(r.error);
      }
      out.grid = std::move(r.grid);
      out.magic = out.grid.header.magic;
      out.method = out.grid.header.method;
      return kGridOk;
    }
    case GridFormat::Ascii:
      out.magic = kGridMagicB;
      out.method = forImport ? kMethodAsciiToBinary : kMethodFormatConvert;
      return readAsciiGrid(path, out.grid, progress);
    case GridFormat::Surfer:
      out.magic = kGridMagicImport;
      out.method = kMethodSurfer;
      return readSurferGrid(path, out.grid, progress);
    case GridFormat::ArcViewAscii:
      out.magic = kGridMagicImport;
      out.method = kMethodArcView;
      return readArcViewGrid(path, out.grid, progress, origin);
    case GridFormat::Vlq2:
      out.magic = kGridMagicVlq30;
      out.method = kMethodVlq2;
      return readVlq2Grid(path, out.grid);
    case GridFormat::Unknown:
      break;
  }
  out.magic = kGridMagicB;
  out.method = kMethodGdal;
  int st = readGdalRaster(path, out.grid, &detail);
  // A file neither we nor GDAL can open is of the wrong format, not unreadable.
  return st == kGridOpenInputFailed ? kGridBadFormat : st;
}

int runInfo(Args& a) {
  std::string path = a.pos(1);
  if (path.empty()) return failWith("usage: sarnoth-cli grid info FILE");
  GridReadResult r = readGridHeader(path);
  if (r.error == GridError::BadMagic) return failWith(kMsgNotGrid);
  if (!r.ok()) return fail(gridStatusOf(r.error), gridErrorDetail(r.error));
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
  Loaded g;
  std::string detail;
  int st = load(in, a, false, g, detail);
  if (st != kGridOk) return fail(st, detail);
  std::string magic = a.get("magic", g.magic), method = a.get("method", g.method);
  CliProgress progress("writing");
  if (to == "binary") {
    st = writeGrid(out, magic, method, g.grid.header, g.grid.nodes) ? kGridOk
                                                                    : kGridOpenOutputFailed;
  } else if (to == "ascii") {
    st = writeAsciiGrid(out, g.grid, progress, a.get("magic", kGridMagicA));
  } else if (to == "surfer") {
    st = writeSurferGrid(out, g.grid, progress);
  } else if (to == "arcview-ascii") {
    st = writeArcViewAscii(out, g.grid, progress);
  } else if (to == "arcview-flat") {
    st = writeArcViewFlat(out, g.grid, progress);
  } else if (to == "mapgis") {
    st = writeMapgisGrid(out, g.grid, progress);
  } else if (to == "scatter-ascii") {
    st = writeGridScatterAscii(out, g.grid, progress);
  } else if (to == "gtiff" || to.rfind("gdal:", 0) == 0) {
    std::string driver = to == "gtiff" ? "GTiff" : to.substr(5);
    if (!gdalCanWrite(driver)) return failWith("GDAL has no writing driver \"" + driver + "\"");
    st = writeGdalRaster(out, g.grid, driver, &detail);
  } else {
    return failWith("unknown --to " + to +
                    " (binary|ascii|surfer|arcview-ascii|arcview-flat|mapgis|scatter-ascii|"
                    "gtiff|gdal:DRIVER)");
  }
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
  if (name.empty()) return failWith("请给定保存数据文件名。");
  Loaded g;
  std::string detail;
  int st = load(in, a, true, g, detail);
  if (st != kGridOk) return fail(st, detail);
  std::string target = work + "Grid_dat\\" + name + ".grd";
  if (!writeGrid(target, g.magic, g.method, g.grid.header, g.grid.nodes))
    return fail(kGridOpenOutputFailed);
  std::cout << resolvePath(target) << "\n";
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
     "  arcview-ascii  ArcView ASCII grid (xllcorner half a cell outside the first node)\n"
     "  arcview-flat   flat ArcView export\n"
     "  mapgis         flat MapGIS export\n"
     "  scatter-ascii  ASCII scatter file, one point per node\n"
     "  gtiff          GeoTIFF; gdal:DRIVER for any other GDAL writer\n"
     "--origin node reads ArcView's xllcorner as the first node, as the system's import does.\n"
     "import writes Grid_dat/NAME.grd of the work area (NAME defaults to the file's stem).",
     runGrid}};

}  // namespace
}  // namespace sarnoth::cli
