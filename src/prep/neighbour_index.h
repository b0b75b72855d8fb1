// Nearest neighbours of a query point among scattered points, through a uniform bucket grid:
// the search of the kriging seam (closed/kriging.h) and of co-kriging.
//
// The points are dealt into square cells of about two points each over their bounding box;
// a query visits rings of cells around its own until the k-th nearest point found lies within
// the ring's inner distance. Neighbours come sorted by (squared distance, index), so ties go to
// the earlier point and the result does not depend on the order in which cells are visited.
// Coordinates are in the caller's units; the index keeps references to them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace sarnoth::detail {

// Uniform bucket index over the points for nearest-neighbour queries.
class BucketIndex {
 public:
  BucketIndex(const std::vector<double>& x, const std::vector<double>& y) : x_(x), y_(y) {
    const std::size_t n = x.size();
    if (n == 0) return;
    auto [xmin, xmax] = std::minmax_element(x.begin(), x.end());
    auto [ymin, ymax] = std::minmax_element(y.begin(), y.end());
    x0_ = *xmin;
    y0_ = *ymin;
    double w = *xmax - *xmin, h = *ymax - *ymin;
    double target = std::max(1.0, static_cast<double>(n) / 2.0);  // about two points a cell
    if (w > 0 && h > 0)
      cell_ = std::sqrt(w * h / target);
    else
      cell_ = std::max(w, h) / target;
    if (!(cell_ > 0)) cell_ = 1;
    nx_ = static_cast<int>(std::min(1e6, std::floor(w / cell_))) + 1;
    ny_ = static_cast<int>(std::min(1e6, std::floor(h / cell_))) + 1;
    std::size_t cells = static_cast<std::size_t>(nx_) * static_cast<std::size_t>(ny_);
    start_.assign(cells + 1, 0);
    std::vector<std::uint32_t> cellOf(n);
    for (std::size_t i = 0; i < n; ++i) {
      long cx = std::clamp(static_cast<long>((x[i] - x0_) / cell_), 0L, nx_ - 1);
      long cy = std::clamp(static_cast<long>((y[i] - y0_) / cell_), 0L, ny_ - 1);
      cellOf[i] = static_cast<std::uint32_t>(static_cast<std::size_t>(cy) * nx_ + cx);
      ++start_[cellOf[i] + 1];
    }
    for (std::size_t k = 0; k < cells; ++k) start_[k + 1] += start_[k];
    order_.resize(n);
    std::vector<std::uint32_t> fill(start_.begin(), start_.end() - 1);
    for (std::size_t i = 0; i < n; ++i) order_[fill[cellOf[i]]++] = static_cast<std::uint32_t>(i);
    // The coordinates again in cell order, so that a cell's points are read side by side.
    xs_.resize(n);
    ys_.resize(n);
    for (std::size_t p = 0; p < n; ++p) xs_[p] = x[order_[p]], ys_[p] = y[order_[p]];
  }

  // The k nearest points to (qx, qy), sorted by (distance², index).
  void nearest(double qx, double qy, std::size_t k,
               std::vector<std::pair<double, std::uint32_t>>& out) const {
    out.clear();
    if (k == 0 || order_.empty()) return;
    auto cellIndex = [](double v) { return std::clamp(std::floor(v), -1e8, 1e8); };
    const long cx = static_cast<long>(cellIndex((qx - x0_) / cell_));
    const long cy = static_cast<long>(cellIndex((qy - y0_) / cell_));
    long rStart = std::max({0L, -cx, cx - (nx_ - 1), -cy, cy - (ny_ - 1)});
    long rMax = std::max({cx, nx_ - 1 - cx, cy, ny_ - 1 - cy}) + 1;
    // The best so far in rising (d², index) order; a candidate that beats the last is put in
    // its place by insertion, which for the few dozen kept is quicker than a heap.
    auto& best = out;
    best.reserve(k);
    auto visit = [&](long i, long j) {
      if (i < 0 || j < 0 || i >= nx_ || j >= ny_) return;
      std::size_t cell = static_cast<std::size_t>(j) * nx_ + static_cast<std::size_t>(i);
      for (std::uint32_t p = start_[cell]; p < start_[cell + 1]; ++p) {
        const double ddx = xs_[p] - qx, ddy = ys_[p] - qy;
        const std::pair<double, std::uint32_t> e{ddx * ddx + ddy * ddy, order_[p]};
        if (best.size() == k) {
          if (!(e < best.back())) continue;
          best.pop_back();
        }
        std::size_t at = best.size();
        best.push_back(e);
        for (; at > 0 && e < best[at - 1]; --at) best[at] = best[at - 1];
        best[at] = e;
      }
    };
    for (long r = rStart; r <= rMax; ++r) {
      for (long j = cy - r; j <= cy + r; ++j) {
        if (j < 0 || j >= ny_) continue;
        if (j == cy - r || j == cy + r) {
          for (long i = std::max(0L, cx - r); i <= std::min<long>(nx_ - 1, cx + r); ++i)
            visit(i, j);
        } else {
          visit(cx - r, j);
          visit(cx + r, j);
        }
      }
      if (best.size() == k) {
        double bound = static_cast<double>(r) * cell_;
        if (best.back().first <= bound * bound) break;
      }
    }
  }

 private:
  const std::vector<double>& x_;
  const std::vector<double>& y_;
  double x0_ = 0, y0_ = 0, cell_ = 1;
  long nx_ = 1, ny_ = 1;
  std::vector<std::uint32_t> start_;
  std::vector<std::uint32_t> order_;
  std::vector<double> xs_, ys_;  // x and y of order_[p]
};

}  // namespace sarnoth::detail
