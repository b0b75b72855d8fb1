// TavolinaXU, the map library: the point-in-region test of the clipping tool (isPointInRegExt).
//
// The call as the clipping tool makes it: one call per grid node or table record, with the point
// as two singles and the whole polygon set by reference: the number of polygons, the vertex
// count of each, and all vertices one polygon after the other as x, y pairs of singles. The
// result is 1 for a point inside the set and 0 otherwise; the caller takes 1 alone as inside.
//
// The rule
//   Even-odd over the whole set: a ray from the point towards +x crosses the edges of all
//   polygons together, and an odd count is inside. So a ring that lies inside another ring is a
//   hole, and where two polygons overlap the overlap is outside (it is covered twice). Each
//   polygon is closed by an edge from its last vertex back to its first; a last vertex that
//   repeats the first adds an edge of length zero and changes nothing.
//   A point on an edge or on a vertex of any polygon is inside, whatever the count says, so
//   clipping with "keep inside" keeps the boundary and "keep outside" drops it. A point with a
//   NaN coordinate is outside. Polygons of one or two vertices enclose nothing but their edges.
//
// How exact
//   Vertices and points are singles; the side of a point against an edge is the sign of a 2×2
//   determinant of single-precision differences, evaluated in double. A difference of two singles
//   within a factor 2^29 of each other is exact in double, and so then is each product, so the
//   sign (and the on-edge decision, a determinant of exactly zero) is exact for every survey
//   coordinate in practice. Crossings use the half-open rule (an edge counts when one end lies
//   above the point's y and the other does not), so a ray through a vertex counts once.
//
// How fast
//   MapRegionSet is the set as the library holds it for one run: built once, with a bounding box
//   and a table of horizontal bands of edges per polygon, and a coarse grid of cells that lists
//   the polygons whose boxes meet each cell. A test looks only at the polygons of the point's
//   cell whose boxes hold the point, and in each only at the edges of the point's band: a few
//   edges per polygon, whatever the vertex count. A test allocates nothing and the set may be
//   shared by threads. The implementation lives in prep/point_in_region.cpp.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace sarnoth {

struct MapPoint {
  float x = 0;
  float y = 0;
};

// The polygon set prepared for many tests. `counts` holds one vertex count per polygon,
// `vertices` the x, y pairs of all polygons in order; counts that are negative or that run past
// the vertices end the set there.
class MapRegionSet {
 public:
  MapRegionSet() = default;
  MapRegionSet(std::span<const std::int32_t> counts, std::span<const float> vertices);

  // 1 inside (or on an edge or vertex), 0 outside.
  std::int32_t isPointInRegExt(MapPoint point) const;
  bool contains(float x, float y) const;

  std::int32_t polygonCount() const { return static_cast<std::int32_t>(polys_.size()); }

 private:
  struct Edge {
    float ax, ay, bx, by;  // 16 bytes: the tables stay small enough for the cache
  };
  struct Poly {
    float xmin, xmax, ymin, ymax;
    double bandScale;         // bands per unit of y
    std::int32_t bands;       // number of bands
    std::uint32_t firstBand;  // index of its first band in bandStart_
  };
  std::vector<Poly> polys_;
  std::vector<std::uint32_t> bandStart_;  // per band, its first edge in edges_; one more at the end
  std::vector<Edge> edges_;
  // The cell grid over the union of the boxes.
  float xmin_ = 0, xmax_ = -1, ymin_ = 0, ymax_ = -1;
  std::int32_t cellsX_ = 0, cellsY_ = 0;
  double cellScaleX_ = 0, cellScaleY_ = 0;
  std::vector<std::uint32_t> cellStart_;  // per cell, its first entry in cellPolys_; one more
  std::vector<std::int32_t> cellPolys_;
};

// The one-off form of the call: prepares the set and tests one point. A caller with many points
// prepares a MapRegionSet once and calls its isPointInRegExt.
std::int32_t isPointInRegExt(MapPoint point, std::int32_t polygonCount,
                             std::span<const std::int32_t> counts, std::span<const float> vertices);

}  // namespace sarnoth
