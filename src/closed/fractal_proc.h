// FractalProc: the closed statistics library of the gridding and anomaly tools.
//
// Every call takes its arrays as spans and a count as the callers pass it; a count beyond the
// span is cut to the span, a negative count is 0. Values are single precision; sums, means and
// fits are accumulated in double and returned as singles.
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
//
// The anomaly statistics (GEO_GetAverageStdDev … GEO_PercentAnomaly) are stated in full in
// geochem/anomaly_stats.h, the six fractal series (GEO_XDataNrr … GEO_XYZDataTriFD) in
// geochem/fractal_series.h: what is computed, how scales are chosen, how the line is fitted, the
// references and the results on degenerate input.
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

// --- anomaly statistics -------------------------------------------------------------------

// Mean and sample standard deviation (divisor n − 1) of the first n values. Returns the count
// used. n = 0 gives 0 and 0; n = 1 the value and 0.
std::int32_t GEO_GetAverageStdDev(std::span<const float> data, std::int32_t n, float& average,
                                  float& stdDev);

// Iterative rejection beyond average ± multiple × standard deviation until a pass rejects
// nothing; returns the number of values rejected, with the mean of the values kept and the
// standard deviation of the background they sample (corrected for the cut).
std::int32_t GEO_NormalDistribution(std::span<const float> data, std::int32_t n, float& average,
                                    float& stdDev, float multiple);

// The same on the base-10 logarithms of the values; average and standard deviation are those of
// the logarithms (no antilog is taken). Values at or below 0 are not used and not counted as
// rejected.
std::int32_t GEO_LogNormalDistribution(std::span<const float> data, std::int32_t n, float& average,
                                       float& stdDev, float multiple);

// Order statistics into `out` (at least six singles): 0 the value exceeded by `percent` per cent
// of the data (the anomaly lower limit), 1 minimum, 2 lower quartile, 3 median, 4 upper quartile,
// 5 maximum. Returns 0, or -1 when `out` holds fewer than six values.
std::int32_t GEO_PercentAnomaly(std::span<const float> data, std::int32_t n, std::int32_t percent,
                                std::span<float> out);

// --- fractal series -----------------------------------------------------------------------
//
// Each call fills slots 0 … k−1 of x and y with the series and the two slots after it with the
// straight fit in log–log: slot k holds x = number of points fitted, y = correlation coefficient;
// slot k+1 holds x = intercept, y = fractal dimension.

// Concentration–number: `slotCount` − 2 graded levels, x the level, y the number of values at or
// above it. Returns the number of series points (the caller keeps its slot count).
std::int32_t GEO_XDataNrr(std::span<const float> data, std::int32_t n, std::span<float> x,
                          std::span<float> y, std::int32_t slotCount);
// Concentration–total: as above, y the sum of the values at or above the level.
std::int32_t GEO_XDataSumNrr(std::span<const float> data, std::int32_t n, std::span<float> x,
                             std::span<float> y, std::int32_t slotCount);

// Profile (the values in order along a line): box size against curve length by box counting,
// and measuring step against curve length by the divider. Return the slots filled, series and
// fit together (k + 2), at most the spans' size.
std::int32_t GEO_XYDataBoxFD(std::span<const float> data, std::int32_t n, std::span<float> x,
                             std::span<float> y);
std::int32_t GEO_XYDataTriangleFD(std::span<const float> data, std::int32_t n, std::span<float> x,
                                  std::span<float> y);

// Surface (a grid, row-major, `columns` × `rows`, no nulls): box size against surface area by
// box counting, and prism base area against surface area by the triangular prism. Return the
// slots filled.
std::int32_t GEO_XYZDataBoxFD(std::span<const float> grid, std::int32_t columns, std::int32_t rows,
                              std::span<float> x, std::span<float> y);
std::int32_t GEO_XYZDataTriFD(std::span<const float> grid, std::int32_t columns, std::int32_t rows,
                              std::span<float> x, std::span<float> y);

}  // namespace sarnoth
