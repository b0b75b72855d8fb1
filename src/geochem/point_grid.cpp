#include "geochem/point_grid.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sarnoth::geochem {
namespace {

// Bucket indices are computed in double and held within ±2^40, far beyond any grid, so that a
// query far outside the samples cannot overflow them.
constexpr double kIndexLimit = 1099511627776.0;

struct Extent {
  double xmin = std::numeric_limits<double>::infinity(), xmax = -xmin;
  double ymin = xmin, ymax = -xmin;
  std::size_t n = 0;
};

Extent extentOf(std::span<const double> x, std::span<const double> y) {
  Extent e;
  const std::size_t n = std::min(x.size(), y.size());
  for (std::size_t i = 0; i < n; ++i) {
    if (!std::isfinite(x[i]) || !std::isfinite(y[i])) continue;
    e.xmin = std::min(e.xmin, x[i]);
    e.xmax = std::max(e.xmax, x[i]);
    e.ymin = std::min(e.ymin, y[i]);
    e.ymax = std::max(e.ymax, y[i]);
    ++e.n;
  }
  return e;
}

}  // namespace

double PointGrid::cellFor(std::span<const double> x, std::span<const double> y, double perCell) {
  const Extent e = extentOf(x, y);
  if (e.n == 0) return 1;
  const double w = e.xmax - e.xmin, h = e.ymax - e.ymin;
  const double per = std::max(perCell, 1e-9) / static_cast<double>(e.n);
  if (w > 0 && h > 0) return std::sqrt(w * h * per);
  if (w > 0 || h > 0) return std::max(w, h) * per;
  return 1;
}

PointGrid::PointGrid(std::span<const double> x, std::span<const double> y, double cell,
                     double pointsPerCell) {
  const Extent e = extentOf(x, y);
  if (e.n == 0) {
    start_.assign(2, 0);
    return;
  }
  cell_ = cell > 0 && std::isfinite(cell) ? cell : cellFor(x, y, pointsPerCell);
  if (!(cell_ > 0)) cell_ = 1;
  x0_ = e.xmin;
  y0_ = e.ymin;
  // At most about four buckets a sample: a finer grid only costs memory and empty rings.
  const double cap = 4.0 * static_cast<double>(e.n) + 64;
  for (;;) {
    const double fx = std::floor((e.xmax - x0_) / cell_) + 1;
    const double fy = std::floor((e.ymax - y0_) / cell_) + 1;
    if (fx * fy <= cap) {
      nx_ = static_cast<long>(fx);
      ny_ = static_cast<long>(fy);
      break;
    }
    cell_ *= std::sqrt(fx * fy / cap) * 1.01;
  }
  const std::size_t buckets = static_cast<std::size_t>(nx_ * ny_);
  std::vector<std::uint32_t> bucketOf;
  bucketOf.reserve(e.n);
  std::vector<std::int32_t> ids;
  ids.reserve(e.n);
  start_.assign(buckets + 1, 0);
  const std::size_t n = std::min(x.size(), y.size());
  for (std::size_t i = 0; i < n; ++i) {
    if (!std::isfinite(x[i]) || !std::isfinite(y[i])) continue;
    const auto b = static_cast<std::uint32_t>(cellY(y[i]) * nx_ + cellX(x[i]));
    bucketOf.push_back(b);
    ids.push_back(static_cast<std::int32_t>(i));
    ++start_[b + 1];
  }
  for (std::size_t b = 0; b < buckets; ++b) start_[b + 1] += start_[b];
  std::vector<std::uint32_t> fill(start_.begin(), start_.end() - 1);
  px_.resize(ids.size());
  py_.resize(ids.size());
  id_.resize(ids.size());
  for (std::size_t j = 0; j < ids.size(); ++j) {  // stable: ids ascend within a bucket
    const std::uint32_t at = fill[bucketOf[j]]++;
    const auto i = static_cast<std::size_t>(ids[j]);
    px_[at] = x[i];
    py_[at] = y[i];
    id_[at] = ids[j];
  }
}

long PointGrid::cellX(double x) const {
  const double c = std::clamp(std::floor((x - x0_) / cell_), -kIndexLimit, kIndexLimit);
  return static_cast<long>(c);
}

long PointGrid::cellY(double y) const {
  const double c = std::clamp(std::floor((y - y0_) / cell_), -kIndexLimit, kIndexLimit);
  return static_cast<long>(c);
}

void PointGrid::nearest(double qx, double qy, int k, std::int32_t exclude,
                        std::vector<Neighbour>& out) const {
  out.clear();
  if (k <= 0 || id_.empty() || !std::isfinite(qx) || !std::isfinite(qy)) return;
  const long cx = cellX(qx), cy = cellY(qy);
  // The query's distance to the edge of its own bucket: every sample in ring r lies at least
  // (r − 1)·cell + edge away.
  const double ex = qx - (x0_ + static_cast<double>(cx) * cell_);
  const double ey = qy - (y0_ + static_cast<double>(cy) * cell_);
  const double edge = std::max(0.0, std::min({ex, cell_ - ex, ey, cell_ - ey}));
  const auto ku = static_cast<std::size_t>(k);
  auto visit = [&](long bx, long by) {
    const std::size_t b = static_cast<std::size_t>(by * nx_ + bx);
    for (std::uint32_t j = start_[b]; j < start_[b + 1]; ++j) {
      if (id_[j] == exclude) continue;
      const double dx = px_[j] - qx, dy = py_[j] - qy;
      const Neighbour nb{dx * dx + dy * dy, id_[j]};
      if (out.size() < ku) {
        out.push_back(nb);
        std::push_heap(out.begin(), out.end());
      } else if (nb < out.front()) {
        std::pop_heap(out.begin(), out.end());
        out.back() = nb;
        std::push_heap(out.begin(), out.end());
      }
    }
  };
  // Rings before the first that meets the grid are empty.
  const long first = std::max({0L, -cx, cx - (nx_ - 1), -cy, cy - (ny_ - 1)});
  for (long r = first;; ++r) {
    const long ylo = std::max(cy - r, 0L), yhi = std::min(cy + r, ny_ - 1);
    const long xlo = std::max(cx - r, 0L), xhi = std::min(cx + r, nx_ - 1);
    for (long by = ylo; by <= yhi; ++by) {
      if (by == cy - r || by == cy + r) {
        for (long bx = xlo; bx <= xhi; ++bx) visit(bx, by);
      } else {
        if (cx - r >= 0 && cx - r < nx_) visit(cx - r, by);
        if (r > 0 && cx + r >= 0 && cx + r < nx_) visit(cx + r, by);
      }
    }
    const bool all = cx - r <= 0 && cx + r >= nx_ - 1 && cy - r <= 0 && cy + r >= ny_ - 1;
    if (all) break;
    if (out.size() == ku) {
      const double bound = static_cast<double>(r) * cell_ + edge;
      // Strictly nearer: a sample at exactly the bound with a lower index could still come.
      if (out.front().d2 < bound * bound) break;
    }
  }
  std::sort_heap(out.begin(), out.end());
}

void PointGrid::within(double qx, double qy, double r, std::int32_t exclude,
                       std::vector<Neighbour>& out) const {
  out.clear();
  if (!(r >= 0) || id_.empty() || !std::isfinite(qx) || !std::isfinite(qy)) return;
  const double r2 = r * r;
  const long xlo = std::max(cellX(qx - r), 0L), xhi = std::min(cellX(qx + r), nx_ - 1);
  const long ylo = std::max(cellY(qy - r), 0L), yhi = std::min(cellY(qy + r), ny_ - 1);
  for (long by = ylo; by <= yhi; ++by)
    for (long bx = xlo; bx <= xhi; ++bx) {
      const std::size_t b = static_cast<std::size_t>(by * nx_ + bx);
      for (std::uint32_t j = start_[b]; j < start_[b + 1]; ++j) {
        if (id_[j] == exclude) continue;
        const double dx = px_[j] - qx, dy = py_[j] - qy;
        const double d2 = dx * dx + dy * dy;
        if (d2 <= r2) out.push_back({d2, id_[j]});
      }
    }
  std::sort(out.begin(), out.end());
}

}  // namespace sarnoth::geochem
