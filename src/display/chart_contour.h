// Contour lines and colour-filled level bands of a field known at scattered points, added to a
// chart (chart.h) as ordinary series: the bands as a Cells series, each level's line as a
// Segments series, the labels as notes. Sections, pseudo-sections and maps share it.
//
// What is computed
//   The field is triangulated (Delaunay, Bowyer–Watson: Bowyer 1981, Computer J. 24, 162–166;
//   Watson 1981, Computer J. 24, 167–172) and taken as linear on every triangle, so a level's
//   line crosses a triangle edge where linear interpolation between the edge's two values
//   reaches the level (marching triangles), and a band between two levels is each triangle
//   clipped to the values between them (at most a pentagon). A field that is linear in x and y
//   is thus contoured exactly.
//
//   On a Log10 field the interpolation runs on log10 of the values (values ≤ 0 are left out),
//   so that levels 1, 10, 100 are evenly spaced as the colour bar shows them.
//
// Labels
//   The segments of a level are chained into lines through the triangle edges they share; each
//   line long enough (a twentieth of the field's width) carries its level at its middle, at
//   most `maxLabelsPerLevel` per level.
//
// Limits
//   The triangulation spans the convex hull of the points, so a concave outline gets thin
//   triangles across its bays; triField peels those from the outline (a triangle on it that is
//   a needle, or thin and longer than 2.5 typical edges) and `maxEdge` drops long ones anywhere.
//   Points closer than 1e-9 of the extent count as one.
//   The Bowyer–Watson insertion is O(n²) in the worst case: meant for sections of up to some
//   ten thousand points (kMaxContourPoints).
//
// Units: those of the chart's axes and of the values.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "display/chart.h"

namespace sarnoth::chart {

inline constexpr std::size_t kMaxContourPoints = 20000;

struct TriField {
  std::vector<double> x, y, v;
  std::vector<std::array<int, 3>> triangles;  // anticlockwise vertex indices
};

// Delaunay triangles of the points (duplicates take part once); empty for fewer than three
// points not on one line, or more than kMaxContourPoints.
std::vector<std::array<int, 3>> delaunay(std::span<const double> x, std::span<const double> y);
// The field of scattered values: points with a null value (workarea/null_value.h), a non-finite
// one or, when `log`, one ≤ 0 are left out; slivers are peeled from the outline and triangles
// with an edge longer than `maxEdge` (0: no limit) are dropped.
TriField triField(std::span<const double> x, std::span<const double> y, std::span<const double> v,
                  bool log = false, double maxEdge = 0);

// Round levels spanning [lo, hi]: about `count` 1-2-5 steps, or on a log scale 1, 2, 5 × 10ⁿ
// (or only the decades when they alone give `count`).
std::vector<double> contourLevels(double lo, double hi, int count, bool log);

// The segments of one level in data units, (x0, y0, x1, y1) each. `log`: the field's values
// are interpolated in log10.
std::vector<std::array<double, 4>> contourSegments(const TriField& f, double level,
                                                   bool log = false);

struct ContourStyle {
  Rgb colour = kBlack;
  double width = 0.8;
  bool labels = true;
  int maxLabelsPerLevel = 3;
  double labelSize = 10;
  bool log = false;  // interpolate and label on a log10 scale
};
// Adds one Segments series per level (named "等值线 <level>" for none; kept out of the legend)
// and the labels as notes. Returns the number of segments drawn.
std::size_t addContours(Chart& chart, const TriField& f, std::span<const double> levels,
                        const ContourStyle& style = {});
// Adds the field's triangles cut into the bands of the colour bar as one Cells series of
// pentagons (shorter pieces repeat their last vertex); values below the first bound take the
// first colour, above the last the last. The cell values are the bands' lower bounds.
void addFilledBands(Chart& chart, const TriField& f, const ColourBar& bar);

// The text of a contour label: the shortest form of the level ("0.5", "200", "1e+04").
std::string levelText(double level);

}  // namespace sarnoth::chart
