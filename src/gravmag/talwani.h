// Gravity and magnetic fields of a polygonal body of infinite or finite strike: the kernels of
// the 2-D section modeller.
//
// What is computed. For a body whose cross-section in the profile plane is a polygon, and which
// extends along strike (y) either without end (2-D) or from −Y to +Y about the profile (2.5-D),
// the derivatives at a station P of the volume potential  Φ(P) = ∫∫∫ 1/|P−Q| dV(Q):
//   first derivatives  Φx, Φz                (metres)        → gravity
//   second derivatives Φxx, Φxz, Φzz, Φyy   (dimensionless) → magnetic field
// Frame: x along the profile, z downwards, y along strike (x, y, z right-handed). From them
//   gz [mGal] = 6.674e-3 · Δρ [g/cm³] · Φz [m]                       (G = 6.674e-11 m³/(kg s²))
//   B_i [nT]  = 100 · Σ_j M_j Φij   (M in A/m; 100 = 1e9 · μ0/4π)
// the field of a uniformly magnetised body being H = (1/4π) ∇(M·∇Φ) outside it (Poisson's
// relation, Blakely 1995, §5.3). In 2-D Φyy and every y-derivative vanish; in 2.5-D (station on
// the central profile) Φxy and Φzy vanish by symmetry while Φyy does not, so a magnetisation along
// strike gives a field along strike.
//
// How. 2-D: the area integrals are turned into line integrals round the polygon (Talwani,
// Worzel & Landisman 1959 for gravity; Talwani & Heirtzler 1964 for magnetics; the edge-by-edge
// closed forms as arranged by Won & Bevis 1987, Geophysics 52, 232–238). For an edge from A to B
// seen from the station (relative coordinates), with d = B − A, d⊥ = (d_z, −d_x), r1 = |A|,
// r2 = |B|, θ the signed angle the edge subtends, b = A·d and c = A×d:
//   Φj  += 2 d⊥j [((b + |d|²) ln r2 − b ln r1 + cθ)/|d|² − 1]
//   Φij += −2 d⊥i (d_j ln(r2/r1) + d⊥j θ)/|d|²
// with the vertices taken anticlockwise in the (x, z) plane (the routines orient the polygon).
// 2.5-D (Rasmussen & Pedersen 1979, Geophys. Prospect. 27, 749–760): the strike integral of 1/R
// is K(r) = 2 asinh(Y/r), and by the divergence theorem
//   Φj = −∮ K n_j ds,   Φij = ∮ −2Y u_j n_i / (r² √(r²+Y²)) ds,
//   Φyy = ∮ −2 (u·n) / (S (S+Y)) ds with S = √(r²+Y²),
// u being the vector from the station to the boundary point; these smooth integrands are summed
// by 8-point Gauss–Legendre on each edge, cut into pieces no longer than the edge's distance from
// the station.
//
// Derivatives with respect to the vertices (the inversion's Jacobian) are exact: the same edge
// formulae are evaluated in forward-mode automatic differentiation, so each column is the true
// derivative of the forward value (to rounding), not a difference quotient.
//
// Accuracy. 2-D: rounding only (relative 1e-12 for a station a few edge lengths away); a 64-sided
// polygon gives a circular cylinder's field within its area error (0.16 %). 2.5-D: quadrature
// error below 1e-6 of the value (checked against the prism integrated in 3-D). Units: metres
// throughout.
//
// Where it fails. A station on the polygon's boundary (a vertex or an edge through it) is a
// singularity of the magnetic field (finite in gravity); a station inside the body is outside the
// formulae's domain (the modeller refuses vertices above the stations). Self-intersecting polygons
// give the algebraic sum of their loops (the modeller refuses them). The 2.5-D form assumes the
// station on the body's central profile.
#pragma once

#include <span>
#include <vector>

namespace sarnoth::gm2d {

// mGal per (g/cm³ · metre of Φz).
inline constexpr double kGravityFactor = 6.674e-3;
// nT per (A/m · unit of Φij).
inline constexpr double kMagneticFactor = 100.0;

struct Point2 {
  double x = 0;  // along the profile, m
  double z = 0;  // depth below the datum (down positive), m
  friend bool operator==(const Point2&, const Point2&) = default;
};

// Derivatives of Φ at a station (see above). Units: first derivatives m, second none.
struct Tensor {
  double gx = 0, gz = 0;
  double xx = 0, xz = 0, zz = 0, yy = 0;
  Tensor& operator+=(const Tensor& o) {
    gx += o.gx;
    gz += o.gz;
    xx += o.xx;
    xz += o.xz;
    zz += o.zz;
    yy += o.yy;
    return *this;
  }
};

// What to compute: the first derivatives (gravity), the second (magnetics), or both.
enum Need : unsigned { kNeedFirst = 1, kNeedSecond = 2, kNeedBoth = 3 };

// The tensor of a polygon at station (xs, zs). halfStrike Y in metres, 0 for 2-D. The vertices
// may run either way round; the polygon is closed implicitly.
Tensor polygonTensor(std::span<const Point2> vertices, double xs, double zs, double halfStrike,
                     unsigned need = kNeedBoth);

// The derivatives of the tensor with respect to every vertex's x and z, same arguments.
struct VertexGradient {
  Tensor dx, dz;
};
void polygonTensorGradient(std::span<const Point2> vertices, double xs, double zs,
                           double halfStrike, unsigned need, std::vector<VertexGradient>& out);

// Twice the signed area (positive anticlockwise in the x-z plane taken as x-y).
double signedArea2(std::span<const Point2> vertices);

}  // namespace sarnoth::gm2d
