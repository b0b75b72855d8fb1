// The work area's grid files (*.grd): one module for every tool that reads or writes them.
//
// Binary layout, little-endian, no alignment: 12-byte magic, 20-byte method, the 68-byte header
// record (x0, y0, angle, 28-byte note, nx, ny as int16, dx, dy, nullValue, zMin, zMax,
// validCount as int32), then nx·ny single-precision nodes row-major with row 0 at the bottom
// (the row of y0), then "#ENDDATA#", written and never required. Readers accept any magic whose
// characters 7 to 12 are "GRIDB#" (binary) or "GRIDA#" (ASCII).
//
// The ASCII grid ("GRIDA#") holds the same header and nodes as text lines; it is read by stream
// input (comma or blank separated, line breaks free) and converted to binary by convertAsciiGrid.
// The exchange formats (Surfer, ArcView, MapGIS, scatter text, the oldest "VLQ2GRID") live in
// grid_exchange.h, the GDAL rasters in grid_gdal.h.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "workarea/null_value.h"
#include "workarea/progress.h"

namespace sarnoth {

inline constexpr const char* kGridMagicB = "#SRNTHGRIDB#";
inline constexpr const char* kGridMagicA = "#SRNTHGRIDA#";

// The magics of the product generations, each written by the tools that always wrote it; every
// one reads alike, as readers compare characters 7 to 12 only.
inline constexpr const char* kGridMagicDmx10 = "#DMX10GRIDB#";   // grid smoothing and overlay
inline constexpr const char* kGridMagicHltwr = "#HLTWRGRIDB#";   // co-kriging, 2-D fractal
inline constexpr const char* kGridMagicVlq30 = "#VLQ30GRIDB#";   // "VLQ2GRID" conversion
inline constexpr const char* kGridMagicImport = "#SrnthGRIDB#";  // Surfer and ArcView import
inline constexpr const char* kGridMagicVlq30A = "#VLQ30GRIDA#";  // ASCII export of grid import
inline constexpr const char* kGridTagB = "GRIDB#";
inline constexpr const char* kGridTagA = "GRIDA#";

// The `method` texts the converters write (blank-padded to 20 in the file).
inline constexpr const char* kMethodAsciiToBinary = "ASCIITOBINARY";  // grid import
inline constexpr const char* kMethodFormatConvert = "GEOMTOSRNPTH";   // format conversion
inline constexpr const char* kMethodGridToGrid = "GridToGrid";        // smoothing and overlay
inline constexpr const char* kMethodVlq2 = "VLQ2TOVLQ3";
inline constexpr const char* kMethodSurfer = "SurferToGrid";
inline constexpr const char* kMethodArcView = "ArcVEWToGrid";
inline constexpr const char* kMethodGdal = "GDALToGrid";  // rasters brought in through GDAL

inline constexpr int kGridMagicSize = 12;
inline constexpr int kGridMethodSize = 20;
inline constexpr int kGridNoteSize = 28;
inline constexpr int kGridHeaderSize = 100;  // magic, method and the 68-byte header record
inline constexpr int kGridMaxSide = 32767;
inline constexpr const char* kGridEndMark = "#ENDDATA#";

// The readers' texts on a wrong magic.
inline constexpr const char* kMsgNotGrid = "非Sarnoth网格数据.";
inline constexpr const char* kMsgNotBinaryGrid = "非Sarnoth二进制网格数据.";
inline constexpr const char* kMsgNotGrid2000 = "非Sarnoth 2000网格数据.";

// True when characters 7 to 12 of `magic` are `tag` ("GRIDB#", "GRIDA#"); the first six are
// ignored.
bool gridMagicMatches(std::string_view magic, std::string_view tag);

struct GridHeader {
  std::string magic = kGridMagicB;  // 12 characters
  std::string method;               // up to 20 bytes, blank-padded in the file
  float x0 = 0, y0 = 0, angle = 0;
  std::string note;  // up to 28 bytes
  int nx = 0, ny = 0;
  float dx = 1, dy = 1;
  float nullValue = NULL_VALUE;
  float zMin = 1e38f, zMax = -1e38f;
  std::int32_t validCount = 0;
};

struct Grid {
  GridHeader header;
  std::vector<float> nodes;  // nx·ny, node (r, c) at r·nx + c, r = 0 at the bottom
  float at(int r, int c) const { return nodes[static_cast<std::size_t>(r) * header.nx + c]; }
};

enum class GridError {
  None,
  OpenFailed,  // the file cannot be opened
  BadMagic,    // characters 7 to 12 are not "GRIDB#" / "GRIDA#"
  Truncated,   // shorter than the header or the nodes it announces
  BadHeader,   // negative or zero counts, sizes beyond 32767
  BadSpacing,  // a spacing that is not a positive finite number, or an origin that is not finite
  WriteFailed,
};

struct GridReadResult {
  GridError error = GridError::None;
  Grid grid;  // header only for readGridHeader
  bool ok() const { return error == GridError::None; }
};

// The header alone. With `requireNodes` a file shorter than the nodes its header announces is
// Truncated, as readGrid would find it, without reading them.
GridReadResult readGridHeader(const std::string& path, bool requireNodes = false);
GridReadResult readGrid(const std::string& path);
// Writes magic (12 chars) and method (20, blank-padded) as given, the header and nodes, and
// "#ENDDATA#". Returns false when the file cannot be written.
bool writeGrid(const std::string& path, const std::string& magic, const std::string& method,
               const GridHeader& header, const std::vector<float>& nodes);
// Recomputes zMin, zMax and validCount from the nodes (null: exactly -1E+38; running extremes
// start at 1E+38 and -1E+38).
void recomputeGridStats(GridHeader& header, const std::vector<float>& nodes);

// A short English explanation of a read error, for the command line beside the system's text.
const char* gridErrorDetail(GridError error);

// What a tool says of a grid it cannot read, for the errors that are not a wrong magic (each
// reader keeps its own text for that): a truncated file, a header that makes no grid.
inline constexpr const char* kMsgGridTruncated = "网格数据文件不完整(文件被截断), 请检查.";
inline constexpr const char* kMsgGridBadHeader =
    "网格数据文件头不正确(行列数或网格距无效), 请检查.";
// The text for `error`; `badMagic` is the reader's own text for a wrong magic.
std::string gridReadMessage(GridError error, const std::string& badMagic);

// The one test of a grid's geometry where data enter the system: spacings positive and finite
// (NaN fails), origin finite.
inline bool gridSpacingValid(float dx, float dy) {
  return std::isfinite(dx) && std::isfinite(dy) && dx > 0 && dy > 0;
}
bool gridGeometryValid(const GridHeader& h);

// --- conversions ------------------------------------------------------------------------------

// Status of a conversion. 0 and -3 are the codes the converters return; the others name the
// stage at which it failed, which the caller turns into the system's message (gridStatusText).
enum GridStatus : int {
  kGridOk = 0,
  kGridOpenInputFailed = -1,   // "打开输入文件错误。"
  kGridOpenOutputFailed = -2,  // "打开输出文件错误。"
  kGridBadFormat = -3,         // "输入文件格式不正确错误。": wrong magic or tag
  kGridWriteFailed = -4,  // "输出文件格式不正确错误。": the target could not be written
  kGridConvertFailed = -5,  // "文件转换错误。": truncated, garbled or impossible contents
};
const char* gridStatusText(int status);

// Reads an ASCII grid into memory: magic tested on "GRIDA#" (-3), header read by stream input,
// nodes equal to the file's null value stored as -1E+38, zMin, zMax and validCount computed afresh,
// nullValue set to -1E+38, note blank, angle as read. Progress: maximum ny, value per row.
int readAsciiGrid(const std::string& path, Grid& out, Progress& progress = noProgress());

// ASCII to binary: readAsciiGrid, then writeGrid with kGridMagicB and `method`
// (kMethodAsciiToBinary for grid import, kMethodFormatConvert for format conversion). Nothing is
// created when the source fails; the progress is reset to 0 at the end.
int convertAsciiGrid(const std::string& sourcePath, const std::string& targetPath,
                     Progress& progress = noProgress(),
                     const std::string& method = kMethodAsciiToBinary);

// Writes the ASCII grid: `magic`, "C-Data", "x0,y0", angle, "nx,ny", "dx,dy", nullValue,
// "zMin,zMax" from the header as it stands, then one comma-separated line per row, bottom row
// first, nulls kept as -1E+38, then "#ENDDATA#".
int writeAsciiGrid(const std::string& path, const Grid& grid, Progress& progress = noProgress(),
                   const std::string& magic = kGridMagicA);

// Binary to ASCII: readGrid, then writeAsciiGrid.
int convertGridToAscii(const std::string& sourcePath, const std::string& targetPath,
                       Progress& progress = noProgress(), const std::string& magic = kGridMagicA);

// The status of a failed binary read, in conversion terms.
int gridStatusOf(GridError error);

// The information view of a header (gridInfoText) lives in grid_info.h.

}  // namespace sarnoth
