// The six fractal series of the FractalProc seam (see fractal_series.h).
#include "geochem/fractal_series.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "prep/parallel_rows.h"

namespace sarnoth {
namespace {

// Rounding of single-precision data: a height of two values is exact to within this many
// times the larger magnitude (two half-ulps, and as much again for the scaling).
constexpr double kDataRounding = 4 * 1.1920928955078125e-07;

std::size_t usedCount(std::span<const float> data, std::int32_t n) {
  if (n <= 0) return 0;
  return std::min(data.size(), static_cast<std::size_t>(n));
}

// Boxes of side s over a height; a height within `slack` (the data's rounding, in scaled units)
// above a whole number of boxes counts as that number, so that single precision does not add a
// box to a straight line or a plane.
double boxesFor(double height, double s, double slack) {
  return std::max(1.0, std::ceil((height - slack) / s));
}

// s = 1, 2, 4, … while s ≤ span / 8, at most maxPoints of them (negative: no cap).
std::vector<int> dyadicScales(long long span, int maxPoints) {
  std::vector<int> s;
  for (long long k = 1; k <= span / 8 && k <= (1LL << 30); k *= 2) {
    if (maxPoints >= 0 && static_cast<int>(s.size()) >= maxPoints) break;
    s.push_back(static_cast<int>(k));
  }
  return s;
}

// The values scaled so that their range spans `extent`; all 0 when they are equal. `slack` is
// the rounding of the data in scaled units.
std::vector<double> scaledToExtent(std::span<const float> v, double extent,
                                   double* slack = nullptr) {
  std::vector<double> out(v.size(), 0.0);
  if (slack) *slack = 0;
  if (v.empty()) return out;
  const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
  const double range = static_cast<double>(*hi) - static_cast<double>(*lo);
  if (!(range > 0)) return out;
  const double f = extent / range;
  if (slack)
    *slack = kDataRounding *
             std::max(std::fabs(static_cast<double>(*lo)), std::fabs(static_cast<double>(*hi))) * f;
  for (std::size_t i = 0; i < v.size(); ++i)
    out[i] = (static_cast<double>(v[i]) - static_cast<double>(*lo)) * f;
  return out;
}

void finish(FractalSeries& s, double dimensionAt0, double slopeFactor) {
  s.fit = fitLogLog(s.x, s.y);
  s.dimension = s.fit.ok ? dimensionAt0 - slopeFactor * s.fit.slope : 0.0;
}

FractalSeries gradedSeries(std::span<const float> data, int grades, bool total) {
  FractalSeries s;
  if (grades <= 0) return s;
  std::vector<float> pos;
  pos.reserve(data.size());
  for (float v : data)
    if (v > 0 && std::isfinite(v)) pos.push_back(v);
  std::sort(pos.begin(), pos.end());
  if (pos.empty()) {
    s.x.assign(static_cast<std::size_t>(grades), 0.0);
    s.y.assign(static_cast<std::size_t>(grades), 0.0);
    finish(s, 0, 1);
    return s;
  }
  // Suffix sums for the totals: tail[i] = Σ pos[i..].
  std::vector<double> tail(pos.size() + 1, 0.0);
  for (std::size_t i = pos.size(); i-- > 0;) tail[i] = tail[i + 1] + pos[i];
  const double lo = std::log10(static_cast<double>(pos.front()));
  const double hi = std::log10(static_cast<double>(pos.back()));
  for (int i = 0; i < grades; ++i) {
    // The end levels are the extreme values themselves, so that rounding never loses them.
    float level;
    if (i == 0)
      level = pos.front();
    else if (i == grades - 1)
      level = pos.back();
    else
      level = static_cast<float>(std::pow(10.0, lo + (hi - lo) * i / (grades - 1)));
    const auto at = std::lower_bound(pos.begin(), pos.end(), level) - pos.begin();
    s.x.push_back(level);
    s.y.push_back(total ? tail[static_cast<std::size_t>(at)]
                        : static_cast<double>(pos.size() - static_cast<std::size_t>(at)));
  }
  if (total)
    finish(s, 1, 1);
  else
    finish(s, 0, 1);
  return s;
}

// Writes the series and the fit into the caller's slots; returns the slots filled.
std::int32_t toSlots(const FractalSeries& s, std::span<float> x, std::span<float> y,
                     std::size_t points) {
  const std::size_t cap = std::min(x.size(), y.size());
  if (cap < 2) return 0;
  points = std::min(points, cap - 2);
  for (std::size_t i = 0; i < points; ++i) {
    x[i] = i < s.x.size() ? static_cast<float>(s.x[i]) : 0.0f;
    y[i] = i < s.y.size() ? static_cast<float>(s.y[i]) : 0.0f;
  }
  x[points] = static_cast<float>(s.fit.count);
  y[points] = static_cast<float>(s.fit.r);
  x[points + 1] = static_cast<float>(s.fit.intercept);
  y[points + 1] = static_cast<float>(s.dimension);
  return static_cast<std::int32_t>(points + 2);
}

// The series points the caller's slots hold besides the fit; -1 when not even the fit fits.
int pointCap(std::span<float> x, std::span<float> y) {
  const std::size_t cap = std::min(x.size(), y.size());
  return cap < 2 ? -1 : static_cast<int>(std::min<std::size_t>(cap - 2, 1 << 20));
}

// The prism surface of one cell of side s, corners a (lower left), b (lower right), c (upper
// right), d (upper left) in scaled heights. Each triangle joins two corners P, Q of an edge with
// the raised centre: the edge is (s along, 0 across, dz), the way to the centre (s/2, s/2, ez),
// and their cross product (−dz·s/2, dz·s/2 − s·ez, s²/2) has the length
// s·√(dz²/4 + (dz/2 − ez)² + s²/4). Single precision (a cell's area to 1e-7 of itself), which
// lets a row of cells run four at a time; the rows are summed in double.
inline float prismArea(float a, float b, float c, float d, float s) {
  const float e = 0.25f * (a + b + c + d);
  const float q = 0.25f * s * s;
  auto tri = [e, q](float zp, float zq) {
    const float dz = zq - zp, ez = e - zp;
    const float t = 0.5f * dz - ez;
    return std::sqrt(0.25f * dz * dz + t * t + q);
  };
  return 0.5f * s * (tri(a, b) + tri(b, c) + tri(c, d) + tri(d, a));
}

}  // namespace

LogLogFit fitLogLog(std::span<const double> x, std::span<const double> y) {
  LogLogFit f;
  std::vector<double> lx, ly;
  for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i)
    if (x[i] > 0 && y[i] > 0 && std::isfinite(x[i]) && std::isfinite(y[i])) {
      lx.push_back(std::log10(x[i]));
      ly.push_back(std::log10(y[i]));
    }
  f.count = static_cast<std::int32_t>(lx.size());
  if (lx.empty()) return f;
  const double n = static_cast<double>(lx.size());
  const double mx = std::accumulate(lx.begin(), lx.end(), 0.0) / n;
  const double my = std::accumulate(ly.begin(), ly.end(), 0.0) / n;
  double sxx = 0, syy = 0, sxy = 0;
  for (std::size_t i = 0; i < lx.size(); ++i) {
    sxx += (lx[i] - mx) * (lx[i] - mx);
    syy += (ly[i] - my) * (ly[i] - my);
    sxy += (lx[i] - mx) * (ly[i] - my);
  }
  f.intercept = my;
  // Distinct scales differ in log10 by far more than this.
  if (!(sxx > 1e-12 * n)) return f;
  f.ok = true;
  f.slope = sxy / sxx;
  f.intercept = my - f.slope * mx;
  f.r = syy > 0 ? std::clamp(sxy / std::sqrt(sxx * syy), -1.0, 1.0) : 1.0;
  return f;
}

FractalSeries concentrationNumberSeries(std::span<const float> data, int grades) {
  return gradedSeries(data, grades, false);
}

FractalSeries concentrationTotalSeries(std::span<const float> data, int grades) {
  return gradedSeries(data, grades, true);
}

FractalSeries profileBoxSeries(std::span<const float> data, int maxPoints) {
  FractalSeries s;
  const long long n = static_cast<long long>(data.size());
  if (n >= 2) {
    double slack = 0;
    const std::vector<double> y = scaledToExtent(data, static_cast<double>(n - 1), &slack);
    for (int step : dyadicScales(n - 1, maxPoints)) {
      const long long strips = (n - 1) / step;
      double boxes = 0;
      for (long long j = 0; j < strips; ++j) {
        const auto b = y.begin() + j * step;
        const auto [lo, hi] = std::minmax_element(b, b + step + 1);
        boxes += boxesFor(*hi - *lo, step, slack);
      }
      // N for the whole length, from the whole strips.
      const double count =
          boxes * static_cast<double>(n - 1) / (static_cast<double>(strips) * step);
      s.x.push_back(step);
      s.y.push_back(count * step);
    }
  }
  finish(s, 1, 1);
  return s;
}

FractalSeries profileDividerSeries(std::span<const float> data, int maxPoints) {
  FractalSeries s;
  const long long n = static_cast<long long>(data.size());
  if (n >= 2) {
    const std::vector<double> y = scaledToExtent(data, static_cast<double>(n - 1));
    auto px = [](long long i) { return static_cast<double>(i); };
    for (int step : dyadicScales(n - 1, maxPoints)) {
      const double r = step, r2 = r * r;
      double cx = 0, cy = y[0];
      long long seg = 0;  // the walker stands on the segment seg → seg + 1
      double steps = 0, remainder = 0;
      for (;;) {
        // Along a straight segment the steps need no search: jump over the whole ones.
        if (seg < n - 1) {
          const double bx = px(seg + 1) - cx, by = y[static_cast<std::size_t>(seg + 1)] - cy;
          const double len = std::hypot(bx, by);
          const double k = std::floor(len / r);
          if (k >= 1 && len > 0) {
            cx += bx * (k * r / len);
            cy += by * (k * r / len);
            steps += k;
          }
        }
        // The first later vertex outside the circle about the walker.
        long long j = seg;
        while (j < n - 1) {
          const double dx = px(j + 1) - cx, dy = y[static_cast<std::size_t>(j + 1)] - cy;
          if (dx * dx + dy * dy >= r2) break;
          ++j;
        }
        if (j >= n - 1) {
          remainder = std::hypot(px(n - 1) - cx, y[static_cast<std::size_t>(n - 1)] - cy);
          break;
        }
        // The crossing on segment j, from A (the walker, or vertex j) to B = vertex j + 1.
        const bool fromWalker = j == seg;
        const double ax = fromWalker ? cx : px(j);
        const double ay = fromWalker ? cy : y[static_cast<std::size_t>(j)];
        const double dx = px(j + 1) - ax, dy = y[static_cast<std::size_t>(j + 1)] - ay;
        const double fx = ax - cx, fy = ay - cy;
        const double dd = dx * dx + dy * dy, fd = fx * dx + fy * dy, ff = fx * fx + fy * fy;
        const double t =
            std::clamp((-fd + std::sqrt(std::max(0.0, fd * fd - dd * (ff - r2)))) / dd, 0.0, 1.0);
        cx = ax + t * dx;
        cy = ay + t * dy;
        seg = j;
        steps += 1;
      }
      s.x.push_back(r);
      s.y.push_back(steps * r + remainder);
    }
  }
  finish(s, 1, 1);
  return s;
}

FractalSeries surfaceBoxSeries(std::span<const float> grid, int columns, int rows, int maxPoints,
                               int threads) {
  FractalSeries s;
  if (columns >= 2 && rows >= 2 &&
      grid.size() >= static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {
    const std::size_t nodes = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    // Extremes are found on the values as stored and scaled by f when the boxes are counted.
    const auto [zlo, zhi] =
        std::minmax_element(grid.begin(), grid.begin() + static_cast<std::ptrdiff_t>(nodes));
    const double range = static_cast<double>(*zhi) - static_cast<double>(*zlo);
    const double f = range > 0 ? static_cast<double>(std::max(columns, rows) - 1) / range : 0.0;
    const double slack =
        kDataRounding *
        std::max(std::fabs(static_cast<double>(*zlo)), std::fabs(static_cast<double>(*zhi))) * f;
    const float* z = grid.data();
    const double area = static_cast<double>(columns - 1) * (rows - 1);
    for (int step : dyadicScales(std::min(columns, rows) - 1, maxPoints)) {
      const int bx = (columns - 1) / step, by = (rows - 1) / step;
      std::vector<double> rowBoxes(static_cast<std::size_t>(by), 0.0);
      detail::forRowBands(
          by,
          [&](int b, int e, int) {
            std::vector<float> lo(static_cast<std::size_t>(columns)), hi(lo.size());
            for (int i = b; i < e; ++i) {
              // Column extremes over the cell row's s + 1 node rows, then per cell.
              const std::size_t r0 = static_cast<std::size_t>(i) * step;
              for (int c = 0; c < columns; ++c) lo[c] = hi[c] = z[r0 * columns + c];
              for (int r = 1; r <= step; ++r) {
                const float* row = z + (r0 + r) * static_cast<std::size_t>(columns);
                for (int c = 0; c < columns; ++c) {
                  lo[c] = std::min(lo[c], row[c]);
                  hi[c] = std::max(hi[c], row[c]);
                }
              }
              double boxes = 0;
              for (int j = 0; j < bx; ++j) {
                const std::size_t c0 = static_cast<std::size_t>(j) * step;
                const float mn = *std::min_element(lo.begin() + c0, lo.begin() + c0 + step + 1);
                const float mx = *std::max_element(hi.begin() + c0, hi.begin() + c0 + step + 1);
                boxes += boxesFor((static_cast<double>(mx) - mn) * f, step, slack);
              }
              rowBoxes[static_cast<std::size_t>(i)] = boxes;
            }
          },
          4, threads);
      const double boxes = std::accumulate(rowBoxes.begin(), rowBoxes.end(), 0.0);
      const double cells = static_cast<double>(bx) * by;
      // N(s)·s² over the whole grid: the mean count of a whole cell times the cells it holds.
      s.x.push_back(step);
      s.y.push_back(boxes / cells * area);
    }
  }
  finish(s, 2, 1);
  return s;
}

FractalSeries surfacePrismSeries(std::span<const float> grid, int columns, int rows, int maxPoints,
                                 int threads) {
  FractalSeries s;
  if (columns >= 2 && rows >= 2 &&
      grid.size() >= static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {
    const std::size_t nodes = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    // The heights scaled as they are read, (z − z_min)·f.
    const auto [lo, hi] =
        std::minmax_element(grid.begin(), grid.begin() + static_cast<std::ptrdiff_t>(nodes));
    const double range = static_cast<double>(*hi) - static_cast<double>(*lo);
    const float f =
        range > 0 ? static_cast<float>(static_cast<double>(std::max(columns, rows) - 1) / range)
                  : 0.0f;
    const float z0 = *lo;
    const double area = static_cast<double>(columns - 1) * (rows - 1);
    const std::size_t w = static_cast<std::size_t>(columns);
    for (int step : dyadicScales(std::min(columns, rows) - 1, maxPoints)) {
      const int bx = (columns - 1) / step, by = (rows - 1) / step;
      const float fs = static_cast<float>(step);
      std::vector<double> rowArea(static_cast<std::size_t>(by), 0.0);
      detail::forRowBands(
          by,
          [&](int b, int e, int) {
            // The corners of a row of cells gathered side by side, so that the cells run in
            // step through contiguous arrays.
            const std::size_t nb = static_cast<std::size_t>(bx);
            std::vector<float> cell(nb), la(nb + 1), ua(nb + 1);
            for (int i = b; i < e; ++i) {
              const float* lower = grid.data() + static_cast<std::size_t>(i) * step * w;
              const float* upper = lower + static_cast<std::size_t>(step) * w;
              for (std::size_t j = 0; j <= nb; ++j) {
                la[j] = (lower[j * static_cast<std::size_t>(step)] - z0) * f;
                ua[j] = (upper[j * static_cast<std::size_t>(step)] - z0) * f;
              }
              for (std::size_t j = 0; j < nb; ++j)
                cell[j] = prismArea(la[j], la[j + 1], ua[j + 1], ua[j], fs);
              double sum = 0;
              for (float a : cell) sum += a;
              rowArea[static_cast<std::size_t>(i)] = sum;
            }
          },
          4, threads);
      const double total = std::accumulate(rowArea.begin(), rowArea.end(), 0.0);
      const double cells = static_cast<double>(bx) * by;
      s.x.push_back(static_cast<double>(step) * step);
      s.y.push_back(total / (cells * step * step) * area);
    }
  }
  finish(s, 2, 2);
  return s;
}

// --- the seam ---------------------------------------------------------------------------------

std::int32_t GEO_XDataNrr(std::span<const float> data, std::int32_t n, std::span<float> x,
                          std::span<float> y, std::int32_t slotCount) {
  if (slotCount < 2) return 0;
  const auto points = static_cast<std::size_t>(slotCount - 2);
  const FractalSeries s =
      concentrationNumberSeries(data.first(usedCount(data, n)), static_cast<int>(points));
  return std::max(0, toSlots(s, x, y, points) - 2);
}

std::int32_t GEO_XDataSumNrr(std::span<const float> data, std::int32_t n, std::span<float> x,
                             std::span<float> y, std::int32_t slotCount) {
  if (slotCount < 2) return 0;
  const auto points = static_cast<std::size_t>(slotCount - 2);
  const FractalSeries s =
      concentrationTotalSeries(data.first(usedCount(data, n)), static_cast<int>(points));
  return std::max(0, toSlots(s, x, y, points) - 2);
}

std::int32_t GEO_XYDataBoxFD(std::span<const float> data, std::int32_t n, std::span<float> x,
                             std::span<float> y) {
  const int cap = pointCap(x, y);
  if (cap < 0) return 0;
  const FractalSeries s = profileBoxSeries(data.first(usedCount(data, n)), cap);
  return toSlots(s, x, y, s.x.size());
}

std::int32_t GEO_XYDataTriangleFD(std::span<const float> data, std::int32_t n, std::span<float> x,
                                  std::span<float> y) {
  const int cap = pointCap(x, y);
  if (cap < 0) return 0;
  const FractalSeries s = profileDividerSeries(data.first(usedCount(data, n)), cap);
  return toSlots(s, x, y, s.x.size());
}

std::int32_t GEO_XYZDataBoxFD(std::span<const float> grid, std::int32_t columns, std::int32_t rows,
                              std::span<float> x, std::span<float> y) {
  const int cap = pointCap(x, y);
  if (cap < 0) return 0;
  const FractalSeries s = surfaceBoxSeries(grid, columns, rows, cap);
  return toSlots(s, x, y, s.x.size());
}

std::int32_t GEO_XYZDataTriFD(std::span<const float> grid, std::int32_t columns, std::int32_t rows,
                              std::span<float> x, std::span<float> y) {
  const int cap = pointCap(x, y);
  if (cap < 0) return 0;
  const FractalSeries s = surfacePrismSeries(grid, columns, rows, cap);
  return toSlots(s, x, y, s.x.size());
}

}  // namespace sarnoth
