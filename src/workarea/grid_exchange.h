// Exchange forms of the work area's grids: Surfer DSAA, ArcView ASCII, the flat ArcView and MapGIS
// exports, grid to ASCII scatter text, and the oldest "VLQ2GRID" files.
//
// Readers fill a Grid in memory and return a GridStatus (grid_file.h); the import functions add
// writeGrid with the magic and `method` that the system writes for that import. Writers take a
// grid in memory and write text through one large buffer, numbers in the shortest text of a
// single-precision value, one progress step per row.
//
// Surfer DSAA. Header "DSAA", "nx ny", "xmin xmax", "ymin ymax", "zmin zmax"; rows from ymin up,
// blank-separated; an empty node is the Surfer blank 1.70141E+38 (bits 7EFFFFEE). Nodes sit on the
// grid lines, so xmin is x0 and xmax is x0+(nx-1)·dx. Import: dx = (xmax-xmin)/(nx-1), likewise dy;
// the file's z range is kept as it stands; a single column or row leaves the spacing undefined and
// the import fails ("文件转换错误。"), as the system's division by zero does.
//
// ArcView ASCII. Header lines "ncols", "nrows", "xllcorner", "yllcorner", "cellsize" and
// "NODATA_value" or "nodata", rows from north to south; keys are read case-blind (GIS programs
// write "nodata_value"). The system's import takes "xllcorner" as x0, the lower-left node
// (ArcOrigin::AsNode, the default). GIS programs mean the outer corner of the lower-left cell,
// half a cell outside the node: ArcOrigin::CellCorner reads x0 = xllcorner + cellsize/2, for
// files made by them. "xllcenter"/"yllcenter" are node positions under either reading, and
// "dx"/"dy" in place of "cellsize" give unequal spacings (both as GDAL reads and writes them).
// The export writes "xllcenter"/"yllcenter", so a grid keeps its place in both directions, and
// "cellsize" when dx = dy, else "dx" and "dy". NaN and infinities in the data are no data.
// Import stats start at 1E+30 and -1E+30.
//
// Flat exports: ArcView "nx,ny,(nx-1)·dx,(ny-1)·dy" with "2" appended directly to the last
// number, MapGIS "nx,ny,x0,y0"; then one value per line in node order, nulls as -1E+38.
//
// Grid to ASCII scatter ("离散数据(ASCII)"): "#SRNTHSCATA#", "C-Data", node count, "-1E+38", "3",
// "XX,YY,VV", then "x,y,value" for every node in node order (x = x0 + c·dx, y = y0 + r·dy in single
// precision; the rotation angle is not applied), then "#ENDDATA#".
//
// "VLQ2GRID" files, read for import only. The layout we read: "VLQ2GRID" in bytes 0-7; from byte
// 50 (position 51) x0, y0, angle as floats, nx, ny as 16-bit integers, dx, dy, nullValue, zMin,
// zMax as floats; a 22-byte note at byte 86; the nodes from byte 108, row-major, bottom row first.
// The import recomputes zMin, zMax and validCount as the ASCII conversion does and writes
// "#VLQ30GRIDB#" with "VLQ2TOVLQ3".
#pragma once

#include <string>

#include "workarea/grid_file.h"

namespace sarnoth {

inline constexpr float kSurferBlank = 1.70141e38f;

// How "xllcorner" is read: as the lower-left node (the system's reading) or as the outer
// corner of the lower-left cell (the GIS reading).
enum class ArcOrigin { AsNode, CellCorner };

int readSurferGrid(const std::string& path, Grid& out, Progress& progress = noProgress());
int importSurferGrid(const std::string& sourcePath, const std::string& targetPath,
                     Progress& progress = noProgress());
int writeSurferGrid(const std::string& path, const Grid& grid, Progress& progress = noProgress());

int readArcViewGrid(const std::string& path, Grid& out, Progress& progress = noProgress(),
                    ArcOrigin origin = ArcOrigin::AsNode);
int importArcViewGrid(const std::string& sourcePath, const std::string& targetPath,
                      Progress& progress = noProgress(), ArcOrigin origin = ArcOrigin::AsNode);
int writeArcViewAscii(const std::string& path, const Grid& grid, Progress& progress = noProgress());

int writeArcViewFlat(const std::string& path, const Grid& grid, Progress& progress = noProgress());
int writeMapgisGrid(const std::string& path, const Grid& grid, Progress& progress = noProgress());
int writeGridScatterAscii(const std::string& path, const Grid& grid,
                          Progress& progress = noProgress());

int readVlq2Grid(const std::string& path, Grid& out);
int importVlq2Grid(const std::string& sourcePath, const std::string& targetPath);

// What a file holds, judged by its first bytes.
enum class GridFormat { Unknown, Binary, Ascii, Surfer, ArcViewAscii, Vlq2 };
GridFormat detectGridFormat(const std::string& path);

}  // namespace sarnoth
