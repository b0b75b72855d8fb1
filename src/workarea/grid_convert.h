// Grids in and out of every form the system knows, for the format conversion, grid import and
// grid-to-table tools and the CLI: one loader that reads any grid (binary of every generation,
// ASCII, Surfer, ArcView ASCII, "VLQ2GRID", any GDAL raster) with the magic and method a binary
// copy of it carries, one writer for every target form, and the import into Grid_dat.
#pragma once

#include <string>

#include "workarea/grid_exchange.h"
#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth {

struct LoadedGrid {
  Grid grid;
  std::string magic, method;  // what a binary copy carries
};

// Whose ASCII conversion: grid import writes "ASCIITOBINARY", format conversion "GEOMTOSRNPTH".
enum class GridPurpose { FormatConvert, Import };

// Status codes as convertAsciiGrid's (gridStatusText gives the system's texts); `detail` gets
// the reader's own words where there are any.
int loadAnyGrid(const std::string& path, GridPurpose purpose, ArcOrigin origin, LoadedGrid& out,
                std::string& detail, Progress& progress = noProgress());

enum class GridTarget {
  Binary,
  Ascii,
  Surfer,
  ArcViewAscii,
  ArcViewFlat,
  Mapgis,
  ScatterAscii,
  Gdal
};

// Parses "binary|ascii|surfer|arcview-ascii|arcview-flat|mapgis|scatter-ascii|gtiff|gdal:DRIVER".
bool parseGridTarget(const std::string& word, GridTarget& target, std::string& driver);

// Writes the grid in the target form; the target is overwritten without a question, as the
// conversion tools do. `asciiMagic` is the magic of an ASCII target ("#SRNTHGRIDA#", or
// "#VLQ30GRIDA#" for the grid import window's export).
int saveGridAs(const std::string& path, const LoadedGrid& g, GridTarget target,
               const std::string& driver, std::string& detail, Progress& progress = noProgress(),
               const std::string& asciiMagic = kGridMagicA);

// Brings a grid file of any form into the work area as Grid_dat/<name>.grd. An existing file is
// met with "网格数据文件已存在,是否覆盖?" (Yes/No).
inline constexpr const char* kGridExistsQuestion = "网格数据文件已存在,是否覆盖?";
Outcome importGridToWorkArea(const std::string& source, const std::string& workPath,
                             const std::string& name, ArcOrigin origin, Interaction& ui,
                             Progress& progress = noProgress(), std::string* target = nullptr);

// Copies an image (anything GDAL reads as a raster image) into Imag_Dat under its own name.
Outcome importImageToWorkArea(const std::string& source, const std::string& workPath,
                              Interaction& ui, std::string* target = nullptr);

}  // namespace sarnoth
