// The map library's point-in-region test (closed/map_library.h): even-odd over the whole polygon
// set, boundary inside, through per-polygon bounding boxes and band tables of edges.
#include <algorithm>
#include <cmath>

#include "closed/map_library.h"

namespace sarnoth {
namespace {

// Band tables are sized to about one band per edge, so that a band holds a few edges of a
// reasonably shaped polygon; a cap keeps a polygon of millions of vertices in bounds.
constexpr std::int64_t kMaxBandsPerPolygon = 1 << 16;
// The cell grid over all polygons has about two cells per polygon on a side.
constexpr std::int32_t kMaxCellsPerSide = 256;

// The band of `v` in [lo, lo + bands/scale]: monotone in v, clamped to the table.
inline std::int32_t bandOf(double v, double lo, double scale, std::int32_t bands) {
  double b = (v - lo) * scale;
  if (!(b > 0)) return 0;
  if (b >= bands) return bands - 1;
  return static_cast<std::int32_t>(b);
}

}  // namespace

MapRegionSet::MapRegionSet(std::span<const std::int32_t> counts, std::span<const float> vertices) {
  const std::size_t pairs = vertices.size() / 2;
  std::size_t first = 0;
  bool any = false;
  for (std::int32_t n : counts) {
    if (n < 0 || static_cast<std::size_t>(n) > pairs - first) break;
    const float* v = vertices.data() + 2 * first;
    first += static_cast<std::size_t>(n);
    if (n == 0) continue;

    Poly p{};
    p.xmin = p.xmax = v[0];
    p.ymin = p.ymax = v[1];
    for (std::int32_t i = 1; i < n; ++i) {
      p.xmin = std::min(p.xmin, v[2 * i]);
      p.xmax = std::max(p.xmax, v[2 * i]);
      p.ymin = std::min(p.ymin, v[2 * i + 1]);
      p.ymax = std::max(p.ymax, v[2 * i + 1]);
    }
    // A polygon with a NaN or infinite vertex has no usable box; it is left out.
    if (!(std::isfinite(p.xmin) && std::isfinite(p.xmax) && std::isfinite(p.ymin) &&
          std::isfinite(p.ymax)))
      continue;
    const double height = static_cast<double>(p.ymax) - p.ymin;
    p.bands = static_cast<std::int32_t>(std::clamp<std::int64_t>(n, 1, kMaxBandsPerPolygon));
    if (!(height > 0)) p.bands = 1;
    p.bandScale = p.bands > 1 ? p.bands / height : 0.0;
    p.firstBand = static_cast<std::uint32_t>(bandStart_.size());

    // Two passes over the edges: count per band, then place.
    std::vector<std::uint32_t> fill(static_cast<std::size_t>(p.bands) + 1, 0);
    auto edgeAt = [&](std::int32_t i) {
      const std::int32_t j = i + 1 == n ? 0 : i + 1;
      return Edge{v[2 * i], v[2 * i + 1], v[2 * j], v[2 * j + 1]};
    };
    auto bandsOf = [&](const Edge& e) {
      return std::pair{bandOf(std::min(e.ay, e.by), p.ymin, p.bandScale, p.bands),
                       bandOf(std::max(e.ay, e.by), p.ymin, p.bandScale, p.bands)};
    };
    for (std::int32_t i = 0; i < n; ++i) {
      const auto [b0, b1] = bandsOf(edgeAt(i));
      for (std::int32_t b = b0; b <= b1; ++b) ++fill[static_cast<std::size_t>(b) + 1];
    }
    for (std::size_t b = 1; b < fill.size(); ++b) fill[b] += fill[b - 1];
    const std::uint32_t base = static_cast<std::uint32_t>(edges_.size());
    edges_.resize(edges_.size() + fill.back());
    for (std::int32_t b = 0; b < p.bands; ++b)
      bandStart_.push_back(base + fill[static_cast<std::size_t>(b)]);
    for (std::int32_t i = 0; i < n; ++i) {
      const Edge e = edgeAt(i);
      const auto [b0, b1] = bandsOf(e);
      for (std::int32_t b = b0; b <= b1; ++b)
        edges_[base + fill[static_cast<std::size_t>(b)]++] = e;
    }

    if (!any) {
      xmin_ = p.xmin, xmax_ = p.xmax, ymin_ = p.ymin, ymax_ = p.ymax;
      any = true;
    } else {
      xmin_ = std::min(xmin_, p.xmin), xmax_ = std::max(xmax_, p.xmax);
      ymin_ = std::min(ymin_, p.ymin), ymax_ = std::max(ymax_, p.ymax);
    }
    polys_.push_back(p);
  }
  bandStart_.push_back(static_cast<std::uint32_t>(edges_.size()));
  if (polys_.empty()) return;

  // The cell grid: each polygon is listed in every cell its box meets.
  const std::int32_t side = std::clamp(
      static_cast<std::int32_t>(std::ceil(2.0 * std::sqrt(static_cast<double>(polys_.size())))), 1,
      kMaxCellsPerSide);
  const double w = static_cast<double>(xmax_) - xmin_, h = static_cast<double>(ymax_) - ymin_;
  cellsX_ = w > 0 ? side : 1;
  cellsY_ = h > 0 ? side : 1;
  cellScaleX_ = cellsX_ > 1 ? cellsX_ / w : 0.0;
  cellScaleY_ = cellsY_ > 1 ? cellsY_ / h : 0.0;
  std::vector<std::uint32_t> fill(static_cast<std::size_t>(cellsX_) * cellsY_ + 1, 0);
  auto forCells = [&](const Poly& p, auto&& fn) {
    const std::int32_t cx0 = bandOf(p.xmin, xmin_, cellScaleX_, cellsX_);
    const std::int32_t cx1 = bandOf(p.xmax, xmin_, cellScaleX_, cellsX_);
    const std::int32_t cy0 = bandOf(p.ymin, ymin_, cellScaleY_, cellsY_);
    const std::int32_t cy1 = bandOf(p.ymax, ymin_, cellScaleY_, cellsY_);
    for (std::int32_t cy = cy0; cy <= cy1; ++cy)
      for (std::int32_t cx = cx0; cx <= cx1; ++cx) fn(static_cast<std::size_t>(cy) * cellsX_ + cx);
  };
  for (const Poly& p : polys_) forCells(p, [&](std::size_t c) { ++fill[c + 1]; });
  for (std::size_t c = 1; c < fill.size(); ++c) fill[c] += fill[c - 1];
  cellStart_.assign(fill.begin(), fill.end());
  cellPolys_.resize(fill.back());
  for (std::size_t k = 0; k < polys_.size(); ++k)
    forCells(polys_[k],
             [&](std::size_t c) { cellPolys_[fill[c]++] = static_cast<std::int32_t>(k); });
}

bool MapRegionSet::contains(float x, float y) const {
  // Outside the union of the boxes (NaN included) nothing can hold the point.
  if (!(x >= xmin_ && x <= xmax_ && y >= ymin_ && y <= ymax_)) return false;
  const std::size_t cell =
      static_cast<std::size_t>(bandOf(y, ymin_, cellScaleY_, cellsY_)) * cellsX_ +
      bandOf(x, xmin_, cellScaleX_, cellsX_);
  const double px = x, py = y;
  bool odd = false;
  for (std::uint32_t k = cellStart_[cell]; k < cellStart_[cell + 1]; ++k) {
    const Poly& p = polys_[static_cast<std::size_t>(cellPolys_[k])];
    // Outside a polygon's box the point is outside that polygon: its crossings are even.
    if (x < p.xmin || x > p.xmax || y < p.ymin || y > p.ymax) continue;
    const std::size_t band = p.firstBand + bandOf(py, p.ymin, p.bandScale, p.bands);
    for (std::uint32_t i = bandStart_[band]; i < bandStart_[band + 1]; ++i) {
      const Edge& e = edges_[i];
      if (y < std::min(e.ay, e.by) || y > std::max(e.ay, e.by) || x > std::max(e.ax, e.bx))
        continue;
      const bool straddles = (e.ay > y) != (e.by > y);
      if (x < std::min(e.ax, e.bx)) {
        // The whole edge lies to the right: the ray crosses it when it straddles.
        odd ^= straddles;
        continue;
      }
      const double side = (static_cast<double>(e.bx) - e.ax) * (py - e.ay) -
                          (static_cast<double>(e.by) - e.ay) * (px - e.ax);
      if (side == 0) return true;  // on the edge's line within its box: on the edge
      // Upward edges are crossed by a ray from a point on their left, downward ones from the right.
      if (straddles && ((side > 0) == (e.by > e.ay))) odd = !odd;
    }
  }
  return odd;
}

std::int32_t MapRegionSet::isPointInRegExt(MapPoint point) const {
  return contains(point.x, point.y) ? 1 : 0;
}

std::int32_t isPointInRegExt(MapPoint point, std::int32_t polygonCount,
                             std::span<const std::int32_t> counts,
                             std::span<const float> vertices) {
  if (polygonCount <= 0) return 0;
  const std::size_t n = std::min(counts.size(), static_cast<std::size_t>(polygonCount));
  MapRegionSet set(counts.first(n), vertices);
  return set.isPointInRegExt(point);
}

}  // namespace sarnoth
