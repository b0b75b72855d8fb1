// Geo_IMMedian: median gridding behind the FractalProc seam (see closed/fractal_proc.h).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "closed/fractal_proc.h"
#include "prep/parallel_rows.h"
#include "workarea/null_value.h"

namespace sarnoth {
namespace {

// Cell of a reduced coordinate, clamped to [0, n - 1]: points beyond the grid sit in the edge
// cells, which every node whose region reaches past the edge looks at.
int clampedCell(float reduced, float spacing, int n) {
  double q = std::floor(static_cast<double>(reduced) / spacing);
  if (!(q > 0)) return 0;
  if (q >= n - 1) return n - 1;
  return static_cast<int>(q);
}

int windowCell(double q, int n) {
  if (q < 0) return 0;
  if (q > n - 1) return n - 1;
  return static_cast<int>(q);
}

}  // namespace

std::int32_t Geo_IMMedian(std::span<const float> points, std::int32_t recordCount,
                          std::span<const float, 4> extent, std::int32_t regionFlag, float rx,
                          float ry, float dx, float dy, std::int32_t columns, std::int32_t rows,
                          std::span<float> result, int threads,
                          const std::function<bool(int rowsDone)>& watch) {
  if (recordCount < 0 || points.size() < static_cast<std::size_t>(recordCount) * 3) return 1;
  if (columns < 1 || rows < 1) return 2;
  const std::size_t nodes = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
  if (result.size() < nodes) return 2;
  if (!(dx > 0) || !(dy > 0) || !std::isfinite(dx) || !std::isfinite(dy)) return 3;
  if (regionFlag != 0 && regionFlag != 1) return 4;
  if (!(rx >= 0) || !std::isfinite(rx)) return 4;
  if (regionFlag == 1 && (!(ry >= 0) || !std::isfinite(ry))) return 4;
  const bool rect = regionFlag == 1;
  const float ryUsed = rect ? ry : rx;
  const float x0 = extent[0], y0 = extent[1];

  // Reduced coordinates of the usable points, bucketed by cell in record order.
  std::vector<std::uint32_t> start(nodes + 1, 0);
  std::vector<std::uint32_t> cellOf(static_cast<std::size_t>(recordCount), UINT32_MAX);
  for (std::int32_t i = 0; i < recordCount; ++i) {
    float x = points[3 * static_cast<std::size_t>(i)];
    float y = points[3 * static_cast<std::size_t>(i) + 1];
    float v = points[3 * static_cast<std::size_t>(i) + 2];
    if (!isDataValue(x) || !isDataValue(y) || !isDataValue(v)) continue;
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(v)) continue;
    int c = clampedCell(x - x0, dx, columns);
    int r = clampedCell(y - y0, dy, rows);
    std::size_t cell = static_cast<std::size_t>(r) * columns + c;
    cellOf[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(cell);
    ++start[cell + 1];
  }
  for (std::size_t k = 0; k < nodes; ++k) start[k + 1] += start[k];
  std::vector<std::uint32_t> order(start[nodes]);
  {
    std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
    for (std::int32_t i = 0; i < recordCount; ++i) {
      std::uint32_t cell = cellOf[static_cast<std::size_t>(i)];
      if (cell != UINT32_MAX) order[fill[cell]++] = static_cast<std::uint32_t>(i);
    }
  }
  cellOf.clear();
  cellOf.shrink_to_fit();

  const int threadCount = detail::rowThreads(rows, threads);
  std::vector<std::vector<float>> scratch(static_cast<std::size_t>(threadCount));
  // One row a work item; a node depends on its own region only.
  auto medianRow = [&](int r, int thread) {
    std::vector<float>& values = scratch[static_cast<std::size_t>(thread)];
    {
      const float ny = static_cast<float>(r) * dy;
      // One cell of margin on each side: the region test below decides in single precision.
      int rLo = windowCell(std::floor((static_cast<double>(ny) - ryUsed) / dy) - 1, rows);
      int rHi = windowCell(std::floor((static_cast<double>(ny) + ryUsed) / dy) + 1, rows);
      for (int c = 0; c < columns; ++c) {
        const float nx = static_cast<float>(c) * dx;
        int cLo = windowCell(std::floor((static_cast<double>(nx) - rx) / dx) - 1, columns);
        int cHi = windowCell(std::floor((static_cast<double>(nx) + rx) / dx) + 1, columns);
        values.clear();
        for (int rr = rLo; rr <= rHi; ++rr) {
          for (std::size_t k = start[static_cast<std::size_t>(rr) * columns + cLo],
                           e = start[static_cast<std::size_t>(rr) * columns + cHi + 1];
               k < e; ++k) {
            const std::size_t i = order[k];
            float ax = std::fabs((points[3 * i] - x0) - nx);
            float ay = std::fabs((points[3 * i + 1] - y0) - ny);
            bool inside = rect ? (ax <= rx && ay <= ryUsed) : std::sqrt(ax * ax + ay * ay) <= rx;
            if (inside) values.push_back(points[3 * i + 2]);
          }
        }
        float out = NULL_VALUE;
        if (!values.empty()) {
          std::size_t n = values.size(), mid = n / 2;
          std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(mid),
                           values.end());
          double m = values[mid];
          if (n % 2 == 0) {
            float lower = *std::max_element(values.begin(),
                                            values.begin() + static_cast<std::ptrdiff_t>(mid));
            m = (m + static_cast<double>(lower)) / 2;
          }
          out = static_cast<float>(m);
        }
        result[static_cast<std::size_t>(r) * columns + c] = out;
      }
    }
  };
  if (!detail::forItemsWatched(rows, threadCount, medianRow,
                               [&](int done) { return watch ? watch(done) : true; }))
    return 5;
  return 0;
}

}  // namespace sarnoth
