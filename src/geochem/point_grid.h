// Neighbours of a point among scattered samples: a grid of square buckets over the samples' extent
// (bucketing, Bentley & Friedman 1979, Data structures for range searching, ACM Computing Surveys
// 11, 397–409), for the k nearest samples or all samples within a radius.
//
// How. The samples are sorted into buckets of side `cell` (counting sort: one pass to count, one
// to place), so the samples of a bucket lie together in memory. The k nearest are found ring by
// ring outwards from the query's bucket, keeping the k best in a heap, and the search ends when
// the k-th distance is no larger than the nearest distance any unvisited ring can hold (ring r
// lies at least (r − 1)·cell plus the query's distance to its own bucket's edge away). A radius
// search visits the buckets that the circle's bounding square touches.
// Cost: with a few samples per bucket a query touches O(k) samples; building is O(n).
//
// Exactness. Distances are squared Euclidean distances in double precision; neighbours are
// ordered by (distance, sample index), so ties at equal distance are broken by the lower index
// and a search gives the same neighbours in the same order on every run and every thread.
// Samples at the same place as the query are neighbours like any other (duplicates), except the
// one excluded by index. Coordinates that are not finite are left out of the grid.
// Units: those of the coordinates, for `cell` and radii alike.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace sarnoth::geochem {

struct Neighbour {
  double d2 = 0;         // squared distance
  std::int32_t id = -1;  // the sample's index in the spans the grid was built from
  friend bool operator<(const Neighbour& a, const Neighbour& b) {
    return a.d2 < b.d2 || (a.d2 == b.d2 && a.id < b.id);
  }
};

class PointGrid {
 public:
  // Buckets of side `cell` (> 0); `cell` ≤ 0 chooses one by pointsPerCell.
  PointGrid(std::span<const double> x, std::span<const double> y, double cell = 0,
            double pointsPerCell = 4);

  // A bucket side that puts about `perCell` samples in a bucket of the samples' bounding box
  // (for samples on a line, along it); 1 when all samples lie at one place.
  static double cellFor(std::span<const double> x, std::span<const double> y, double perCell);

  std::size_t size() const { return id_.size(); }
  double cell() const { return cell_; }

  // The k nearest samples to (qx, qy) other than `exclude` (−1: none), ascending; fewer when
  // the grid holds fewer.
  void nearest(double qx, double qy, int k, std::int32_t exclude,
               std::vector<Neighbour>& out) const;
  // Every sample within distance r (inclusive) of (qx, qy) other than `exclude`, ascending.
  void within(double qx, double qy, double r, std::int32_t exclude,
              std::vector<Neighbour>& out) const;

 private:
  long cellX(double x) const;
  long cellY(double y) const;
  double x0_ = 0, y0_ = 0, cell_ = 1;
  long nx_ = 1, ny_ = 1;
  std::vector<std::uint32_t> start_;  // bucket b holds [start_[b], start_[b + 1])
  std::vector<double> px_, py_;
  std::vector<std::int32_t> id_;
};

}  // namespace sarnoth::geochem
