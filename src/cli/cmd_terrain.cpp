// terrain: gravity terrain correction ("重力地形改正") of the stations of a work-area table from a
// digital elevation model, written as new fields of the table.
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "gravmag/terrain.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli terrain --table T --x F --y F --dem FILE [--h F] [--ba F]\n"
    "         [--density G] [--inner M] [--outer M] [--tc NAME] [--cba NAME]\n"
    "         [--threads N] [--yes|--no] [--workarea DIR]\n"
    "\n"
    "  Corrects every station (row) of table T at coordinates --x, --y (metres) and elevation\n"
    "  --h (default: the model's elevation at the station) for the terrain of the model FILE: a\n"
    "  grid of the work area's Grid_Dat or any raster GDAL reads (elevations in metres, nodes at\n"
    "  cell centres). --density in g/cm3 (2.67); Hammer's rings from 2 m to --inner (default: the\n"
    "  first Hammer radius three cells wide; 0 for prisms only), prisms from there to --outer\n"
    "  (21944.2, Hammer's zone M). The correction in mGal goes to the Single field --tc (TC) and,\n"
    "  with --ba naming the simple Bouguer anomaly field, the complete Bouguer anomaly to --cba\n"
    "  (CBA). Existing fields are overwritten only with --yes.";

int runTerrain(Args& a) {
  using namespace gravmag;
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  TerrainJob job;
  job.table = a.get("table");
  job.xField = a.get("x");
  job.yField = a.get("y");
  job.demPath = a.get("dem");
  if (job.table.empty() || job.xField.empty() || job.yField.empty() || job.demPath.empty())
    return failWith(kUsage);
  job.demPath = workGridPath(work, job.demPath);
  job.elevationField = a.get("h");
  job.bouguerField = a.get("ba");
  job.params.density = a.getDouble("density", job.params.density);
  job.params.outerRadius = a.getDouble("outer", job.params.outerRadius);
  if (a.has("inner")) {
    job.params.innerRadius = a.getDouble("inner", 0);
  } else {
    Grid dem;
    if (Outcome o = readElevationModel(job.demPath, dem); !o) return failWith(o.message);
    job.params.innerRadius = defaultInnerRadius(dem.header.dx, dem.header.dy);
  }
  job.tcField = a.get("tc", job.tcField);
  job.cbaField = a.get("cba", job.cbaField);
  job.threads = static_cast<int>(a.getInt("threads", 0));
  try {
    Database db = openWorkDatabase(work);
    CliInteraction ui(a);
    CliProgress progress("terrain");
    const TerrainRunResult r = runTerrainCorrection(db, job, ui, progress);
    if (!r.outcome) return failWith(r.outcome.message.empty() ? "stopped" : r.outcome.message);
    std::cerr << terrainReport(r) << "\n" << r.outcome.message << "\n";
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

const CommandRegistrar reg{{"terrain",
                            "gravity terrain correction of a station table from a DEM "
                            "(重力地形改正)",
                            kUsage, runTerrain}};

}  // namespace
}  // namespace sarnoth::cli
