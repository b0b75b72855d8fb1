// FractalProc: the closed statistics library of the gridding and anomaly tools.
//
// Geo_IMMedian — median gridding.
//   Each node (row r, column c) at x = XLeft + c·DX, y = YBottom + r·DY takes the median of the
//   values of the points inside its search region: the rectangle |x − xn| ≤ rx, |y − yn| ≤ ry
//   (regionFlag 1), or the circle √((x − xn)² + (y − yn)²) ≤ rx (regionFlag 0). Offsets are taken
//   in single precision from the grid origin, as the point-driven gridding methods take them, so
//   a point on a window edge belongs to the same nodes here as there. An even number of values
//   gives the mean of the two middle ones. Points whose x, y or value is at or below -1E+30 are
//   not used. A node with no point stays -1E+38.
//   Points are bucketed by grid cell once (one 32-bit index per point and per cell); each node
//   then looks at the cells its region touches. Nodes are computed in row bands on all cores;
//   the result does not depend on the number of threads.
//
//   Returns 0 on success; a positive code means the arguments cannot be used: 1 the point count
//   or array, 2 the node counts or result array, 3 the spacing, 4 the radii or region flag; 5
//   when the run was stopped. Our side of the call adds `threads` (0: one per core) and `watch`,
//   called on the calling thread with the rows done several times a second; false stops the run.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace sarnoth {

std::int32_t Geo_IMMedian(std::span<const float> points, std::int32_t recordCount,
                          std::span<const float, 4> extent, std::int32_t regionFlag, float rx,
                          float ry, float dx, float dy, std::int32_t columns, std::int32_t rows,
                          std::span<float> result, int threads = 0,
                          const std::function<bool(int rowsDone)>& watch = {});

}  // namespace sarnoth
