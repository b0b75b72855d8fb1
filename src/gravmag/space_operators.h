// The space-domain operators of the gravity and magnetic tool: weighted-point ("ring") operators
// for the second vertical derivative and for continuation, horizontal derivatives in a direction,
// moving-window smoothing statistics, and the fill that lets an operator run at edges and beside
// nulls without spreading them.
//
// Lengths are in row spacings (dy = 1, dx/dy along a row), as the frequency-domain tool counts
// them, so a derivative comes out per spacing and a continuation height counts spacings; the two
// tools' results compare directly.
//
// Second vertical derivative (gmFilterTable). An operator is a table of weights on the points of
// rings about the node: ḡ(r) is the mean of the grid on the ring of radius r (4 points at s and
// s√2, 8 at s√5), and g_zz = (1/s²)·Σ c_i·ḡ(r_i). The three classical tables:
//   Elkins (1951):   (44·g0 + 16·ḡ(s) − 12·ḡ(s√2) − 48·ḡ(s√5)) / 62
//   Rosenbach (1953): (96·g0 − 72·ḡ(s) − 32·ḡ(s√2) + 8·ḡ(s√5)) / 24
//   Henderson–Zietz: 2·(3·g0 − 4·ḡ(s) + ḡ(s√2)).
// Each satisfies the two conditions of its defining expansion: for a harmonic field the ring mean
// is ḡ(r) = g0 − r²·g_zz/4 + r⁴·g_zzzz/64 − …, so Σ c_i = 0 and Σ c_i·(r_i/s)² = −4 make the
// operator exact for g_zz; Rosenbach's also has Σ c_i·(r_i/s)⁴ = 0 (the r⁴ term cancels), while
// Elkins' does not and smooths. The Elkins and Rosenbach weights are the published ones and pass
// both checks. Henderson and Zietz (1949) computed g_zz from ring means of this expansion; their
// printed table could not be reproduced with certainty, so the operator here is derived from that
// expansion with the rings s and s√2, eliminating the r⁴ term — our derivation, not their table.
// Tested against the analytic field of a sphere and against the frequency-domain derivative.
// Accuracy on the field of a sphere (largest error over the anomaly, relative to the peak of
// g_zz): at a depth of 5 spacings Rosenbach and Henderson–Zietz 1.3 %, Elkins 20 % (low: its
// smoothing); at 3 spacings Rosenbach 6.5 %, Henderson–Zietz 3 %, Elkins 42 %; at 8 spacings
// all three within 9 % and the first two within 0.6 %.
//
// Continuation (gmDerivOperators). Upward by Poisson's integral in ring form,
//   g(h) = ∫₀^∞ ḡ(r)·h·r/(r² + h²)^(3/2) dr,
// with ḡ taken at every distinct radius of grid points up to R (the operator radius), linear in
// r between radii and constant beyond R, each piece integrated exactly — the construction of
// Henderson (1960), derived here afresh rather than copied from his tables; the weights sum to 1.
// The assumption beyond R is the weak point: a node whose ring of radius R crosses an anomaly
// gives that ring's mean the weight h/√(R² + h²) of everything outside. On a sphere 5 spacings
// deep, the largest error relative to the continued peak is 1.4 % for 1 spacing up with
// R = 24, 3 % for 2 spacings with R = 32, and 0.25 % for 4 spacings with R = 64 — the radii the
// tool chooses by itself, 16·|h| within 24..64 (kAutoRadiusMin, kAutoRadiusMax). The
// frequency-domain tool's results (within 0.01 % of the analytic field) differ from these by
// the same amounts.
// Downward by the Taylor form of Peters (1949) and Henderson (1960) (one spacing down from 8
// spacings above a sphere: 0.7 %),
//   g(−h) = 2·g(0) − g(h) + h²·g_zz(0),
// with g_zz by the Rosenbach operator; the error is of order h⁴·g_zzzz/12, so downward
// continuation is good for a spacing or two above the sources' tops and unstable beyond.
//
// Horizontal derivative in a direction (gmDirectionOp): α counted from east anticlockwise (the
// frequency-domain tool's convention), ∂g/∂α = cos α·∂g/∂x + sin α·∂g/∂y, each by the five-point
// central difference (−g₂ + 8g₁ − 8g₋₁ + g₋₂)/(12·s), exact for polynomials of degree 4. The
// four fixed directions of the tool are 45°, 90°, 135° and 180°; degrees become radians by
// × 3.141592654 ÷ 180.
//
// Smoothing statistics (gmSmoothStats): the mean and standard deviation of the data in a square
// window about each node, by summed-area tables in double precision.
//
// Edges and nulls: an operator reaches `radius` nodes beyond its node. The grid is first widened
// by that margin and every null and margin node filled by a harmonic (Laplace) fill — solved on
// a pyramid of coarser grids and relaxed on the way back — so the filled surface joins the data
// smoothly; the operator then runs on data nodes only, and every null of the input is a null of
// the output. Results within `radius` of an edge or a null lean on filled values and are less
// exact.
//
// Where it fails: the ring operators and downward continuation need square spacing (dx = dy
// within 0.1 %); a grid without data cannot be filled.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workarea/progress.h"

namespace sarnoth::gravmag {

// One weighted point of an operator: offset in columns (east) and rows (north), weight.
struct OperatorPoint {
  int dc = 0, dr = 0;
  double weight = 0;
};

// A linear operator on the points about a node: result = Σ weight·g(r + dr, c + dc).
struct PointOperator {
  std::vector<OperatorPoint> points;
  int radius() const;  // the largest |dc| or |dr|
  double sum() const;  // Σ weight
  // this + f·other, points at the same offset merged.
  void add(const PointOperator& other, double f);
};

enum class SecondDerivative { Elkins, Rosenbach, HendersonZietz };

// A classical second-derivative table: the ring coefficients c_i of g0, ḡ(s), ḡ(s√2), ḡ(s√5)
// (divided by their printed divisor), for spacing s = 1.
struct RingTable {
  double c0 = 0, c1 = 0, c2 = 0, c5 = 0;  // rings of squared radius 0, 1, 2, 5
};
RingTable gmFilterTable(SecondDerivative method);
// The table spread on the grid points of its rings (4, 4 and 8 points), per spacing².
PointOperator secondDerivativeOperator(SecondDerivative method);

// Upward continuation by h > 0 spacings (Poisson's integral on rings up to `radius` spacings);
// xScale = dx/dy, the length of a column step in row spacings.
PointOperator upwardOperator(double h, double xScale, int radius);
inline constexpr int kAutoRadiusMin = 24;
inline constexpr int kAutoRadiusMax = 64;
// The operator radius for a continuation by h spacings: 16·|h| within the two limits.
int autoContinuationRadius(double h);
// Continuation by h spacings, the frequency-domain tool's sign: negative up, positive down.
// Downward continuation needs xScale = 1 (the Rosenbach operator).
PointOperator gmDerivOperators(double h, double xScale, int radius);

// The horizontal derivative in direction α (degrees from east, anticlockwise), per row spacing.
PointOperator gmDirectionOp(double alphaDegrees, double xScale);

// The mean and standard deviation of the non-null nodes (above −1E+30) in the window of
// (2·halfWidth + 1)² nodes about each node; nulls stay nulls in both. A standard deviation whose
// square falls below kSmoothTolerance² (rounding of a flat window) is 0.
inline constexpr float kSmoothTolerance = 9.999999974752427e-07f;
struct SmoothStats {
  std::vector<float> mean, stddev;
};
SmoothStats gmSmoothStats(const std::vector<float>& grid, int nx, int ny, int halfWidth);

// The whole grid's data: count, mean, standard deviation, extremes.
struct GridStatistics {
  std::int64_t count = 0;
  double mean = 0, stddev = 0, min = 0, max = 0;
};
GridStatistics gridStatistics(const std::vector<float>& grid);

// The grid widened by `margin` nodes on every side ((nx + 2m)·(ny + 2m), row-major, row 0 at the
// bottom) with nulls and margin filled harmonically. False when the grid holds no data.
bool fillForOperator(const std::vector<float>& grid, int nx, int ny, int margin,
                     std::vector<float>& padded);

// Applies `op` to the data nodes of the grid (the fill done here); nulls (below −1E+30) stay
// exactly as in the input. Rows are shared over `threads` cores (0: all); the result does not
// depend on their number. Empty when the grid holds no data or the progress asked to stop
// (`stopped` tells which); the progress counts rows.
std::vector<float> applyPointOperator(const std::vector<float>& grid, int nx, int ny,
                                      const PointOperator& op, int threads = 0,
                                      Progress& progress = noProgress(), bool* stopped = nullptr);

}  // namespace sarnoth::gravmag
