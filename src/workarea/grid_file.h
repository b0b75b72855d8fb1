// The work area's grid files (*.grd): one module for every tool that reads or writes them.
//
// Binary layout, little-endian, no alignment: 12-byte magic, 20-byte method, the 68-byte header
// record (x0, y0, angle, 28-byte note, nx, ny as int16, dx, dy, nullValue, zMin, zMax,
// validCount as int32), then nx·ny single-precision nodes row-major with row 0 at the bottom
// (the row of y0), then "#ENDDATA#", written and never required. Readers accept any magic whose
// characters 7 to 12 are "GRIDB#" (binary) or "GRIDA#" (ASCII).
//
// (Declarations agreed by the tools; implemented in grid_file.cpp.)
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workarea/null_value.h"
#include "workarea/progress.h"

namespace sarnoth {

inline constexpr const char* kGridMagicB = "#SRNTHGRIDB#";
inline constexpr const char* kGridMagicA = "#SRNTHGRIDA#";

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
  WriteFailed,
};

struct GridReadResult {
  GridError error = GridError::None;
  Grid grid;  // header only for readGridHeader
  bool ok() const { return error == GridError::None; }
};

GridReadResult readGridHeader(const std::string& path);
GridReadResult readGrid(const std::string& path);
// Writes magic (12 chars) and method (20, blank-padded) as given, the header and nodes, and
// "#ENDDATA#". Returns false when the file cannot be written.
bool writeGrid(const std::string& path, const std::string& magic, const std::string& method,
               const GridHeader& header, const std::vector<float>& nodes);
// Recomputes zMin, zMax and validCount from the nodes (null: exactly -1E+38; running extremes
// start at 1E+38 and -1E+38).
void recomputeGridStats(GridHeader& header, const std::vector<float>& nodes);

}  // namespace sarnoth
