// The six fractal series of the FractalProc seam (declared in closed/fractal_proc.h), each a
// series of (scale, measure) points and a straight line fitted to them in log–log.
//
// The fit (all six). Ordinary least squares of log10 y on log10 x over the series points with
//   x > 0 and y > 0: slope b, intercept a, Pearson correlation r of the logarithms. The dimension
//   follows from b as stated per series. A series whose points do not spread in x (fewer than two
//   distinct scales) has no fit: count = the points, r = 0, a = mean log10 y, D = 0. A fit whose
//   points lie exactly on a horizontal line (no spread in y) has r = 1.
//   Slots as the callers read them: points 0 … k−1, then (count, r), then (a, D).
//
// Concentration–number (GEO_XDataNrr) and concentration–total (GEO_XDataSumNrr). g graded levels
//   evenly spaced in log10 between the smallest and the largest value above 0 (both included;
//   one level for g = 1): r_i = 10^(log r_min + i·(log r_max − log r_min)/(g − 1)). For each
//   level, N(r_i) = the number of values ≥ r_i, or S(r_i) = the sum of those values. A power law
//   N(≥ r) ∝ r^(−D) gives log N = a − D·log r, so D = −b (number–size relation, Mandelbrot 1983,
//   The Fractal Geometry of Nature, Freeman, ch. 13; used for geochemical populations by
//   Hassanpour & Afzal 2013, Arabian Journal of Geosciences 6, 957–970). The same population has
//   S(≥ r) ∝ r^(1−D) for D > 1 (Turcotte 1997, Fractals and Chaos in Geology and Geophysics, 2nd
//   ed., Cambridge, ch. 2), so for the total D = 1 − b, and both series give D on a power-law
//   sample. The highest level holds the largest value alone where the law leaves about half a
//   value, which bends the fit: on 20 000 Pareto quantiles of D = 1.5 the two series give 1.44
//   and 1.56 over ten grades. Units: x in those of the data, y a count or a sum in data units.
//
// Profiles: the values in their order along the line, sample i at distance i. The values are
//   scaled so that their range spans the profile's length: y_i = (v_i − v_min)/(v_max − v_min)·
//   (n − 1) (all 0 when the values are equal), which makes the dimension independent of the
//   data's units. Scales are s = 1, 2, 4, … sample intervals while s ≤ (n − 1)/8, so that at least
//   eight boxes or steps lie along the profile (fewer make the largest scales noisy); the caller's
//   slots may cut the list.
//   - Box counting (GEO_XYDataBoxFD): the profile is cut into whole strips of width s; a strip
//     whose curve spans a height h needs max(1, ⌈h/s⌉) boxes (counted from the strip's own range,
//     the relative differential box count of Jin, Ong & Jayasooriah 1995, Pattern Recognition
//     Letters 16, 457–464, so that a straight line needs the same number at every offset; a height
//     within the data's single-precision rounding above a whole number of boxes counts as that
//     number). A last
//     part narrower than s is left out and the count scaled to the whole length. Curve length
//     L(s) = N(s)·s; N ∝ s^(−D) gives D = 1 − b (Falconer 1990, Fractal Geometry, Wiley, ch. 3).
//   - Divider (GEO_XYDataTriangleFD): a divider of opening s walks the polyline from its first
//     sample: each step ends where the curve first leaves the circle of radius s about the step's
//     start (the chord is the hypotenuse of the step's triangle); the part left at the end is
//     added as it stands. L(s) = steps·s + remainder; D = 1 − b (Richardson's plot, Mandelbrot
//     1967, How long is the coast of Britain?, Science 156, 636–638).
//   A straight profile gives D = 1 exactly in both. On a fractional Brownian profile of Hurst
//   exponent H (2 − H in theory) boxes give 2 − H within 0.03 for H ≥ 0.7 and less on rough
//   profiles (1.4 for H = 0.5, 1.6 for H = 0.2 on 16 000 samples), the known low bias of box
//   counting on sampled curves; the divider stays near 1.2 on such self-affine curves, as its
//   literature warns (Mandelbrot 1985, Self-affine fractals and fractal dimension, Physica
//   Scripta 32, 257–260).
//   x: scale in sample intervals; y: length in sample intervals.
//
// Surfaces: a grid row-major, nodes at unit spacing, no nulls (the caller replaces them). Values
//   are scaled so that their range spans the longer side, z' = (z − z_min)/(z_max − z_min)·
//   (max(columns, rows) − 1). Scales are s = 1, 2, 4, … node spacings while s ≤ (min side − 1)/8.
//   Only whole s × s cells take part; sums are scaled to the grid's whole area.
//   - Box counting (GEO_XYZDataBoxFD): a cell (its (s+1)² nodes) whose surface spans a height h
//     needs max(1, ⌈h/s⌉) cubes (relative differential box counting as above; Sarkar & Chaudhuri
//     1994, IEEE Trans. Systems, Man and Cybernetics 24, 115–121, for the differential count).
//     Area A(s) = N(s)·s²; D = 2 − b. x: box size in node spacings.
//   - Triangular prism (GEO_XYZDataTriFD): each cell's four corners and their mean raised over the
//     cell's centre make four triangles; A(s) = the sum of their areas. The series is plotted
//     against the prism's base area s²: log A = a + b·log s², so D = 2 − 2b (Clarke 1986,
//     Computation of the fractal dimension of topographic surfaces using the triangular prism
//     surface area method, Computers & Geosciences 12, 713–722). x: base area in square spacings.
//     A cell's area is taken in single precision (to 1e-7 of itself, which lets a row of cells
//     run four at a time); rows are summed in double on all cores, each row in order, so the
//     result does not depend on the number of threads.
//   A plane gives D = 2 exactly in both. On fractional Brownian surfaces of Hurst exponent H from
//   0.2 to 0.8 (257 × 257 nodes) the prism gives 3 − H within 0.06, a little low on the roughest;
//   box counting gives less (2.5 for H = 0.2, 2.2 for H = 0.8), as differential box counts do.
//   y: area in square node spacings.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "closed/fractal_proc.h"

namespace sarnoth {

struct LogLogFit {
  std::int32_t count = 0;  // points fitted
  double r = 0;            // correlation of the logarithms
  double intercept = 0;    // a in log10 y = a + b·log10 x
  double slope = 0;        // b
  bool ok = false;         // at least two distinct x
};

LogLogFit fitLogLog(std::span<const double> x, std::span<const double> y);

struct FractalSeries {
  std::vector<double> x, y;  // the points
  LogLogFit fit;
  double dimension = 0;  // 0 without a fit
};

// The series as the six calls compute them; maxPoints caps the number of scales (negative: no
// cap).
FractalSeries concentrationNumberSeries(std::span<const float> data, int grades);
FractalSeries concentrationTotalSeries(std::span<const float> data, int grades);
FractalSeries profileBoxSeries(std::span<const float> data, int maxPoints = -1);
FractalSeries profileDividerSeries(std::span<const float> data, int maxPoints = -1);
// `threads` bounds the threads the surfaces are summed on (0: all cores); the result is the same
// for any number.
FractalSeries surfaceBoxSeries(std::span<const float> grid, int columns, int rows,
                               int maxPoints = -1, int threads = 0);
FractalSeries surfacePrismSeries(std::span<const float> grid, int columns, int rows,
                                 int maxPoints = -1, int threads = 0);

}  // namespace sarnoth
