// The gravity of a right rectangular prism, and of a vertical line mass that stands for a prism
// far away: the building blocks of the terrain correction and the tests of the interface
// inversions.
//
// What: the vertical attraction g_z (positive downwards, towards mass below the observer) and its
// vertical gradient g_zz at the origin, of a prism x1..x2, y1..y2, z1..z2 of uniform density.
// Coordinates are relative to the observation point, z positive downwards, in metres; the
// density in g/cm³; g_z in mGal, g_zz in mGal/m.
//
// How (Nagy 1966; Nagy, Papp & Benedek 2000): with |||f||| the corner sum of f taken from lower
// to upper bound in each of x, y, z (f(x2,·,·) − f(x1,·,·) and so on),
//   g_z = −Gρ·|||x·ln(y + r) + y·ln(x + r) − z·atan(x·y / (z·r))|||,  r = √(x² + y² + z²),
//   g_zz = −Gρ·|||atan(x·y / (z·r))|||. Where y + r (x + r) cancels, the
// logarithm is taken as ln((x² + z²)/(r − y)), its exact equivalent (Nagy et al. 2000, eq. 7);
// a term whose factor vanishes (x = 0, z = 0) is 0, which is its limit.
//
// The line mass (lineMassGz): a vertical column of cross-section A at horizontal distance R from
// z1 to z2 attracts with Gρ·A·(1/√(R² + z1²) − 1/√(R² + z2²)); it is the prism's field to first
// order in its width a, with a relative error of about (a/R)²/24 — below 1e-3 when R ≥ 5a.
//
// The column (columnGz): the line mass with the second-order term of its width, the mean of the
// kernel over a wx × wy footprint to order a²: with s² = x² + y² + z²,
//   g_z = GρA·|[1/s + (wx²·(3x² − s²) + wy²·(3y² − s²))/(24·s⁵)]| from z2 to z1.
// For a short column (height h ≪ R) the bare line mass errs by about (3/8)·(a/R)² (0.6 % at
// R = 8a), the column by a part in (a/R)⁴ (below 1e-4 at R = 8a).
//
// Accuracy: double precision; the corner sums lose digits when the prism is small and far (the
// terms cancel to a part in (R/a)³), which is where the line mass takes over.
//
// Reference: Nagy, D. (1966) The gravitational attraction of a right rectangular prism.
// Geophysics 31, 362–371. Nagy, D., Papp, G., Benedek, J. (2000) The gravitational potential
// and its derivatives for the prism. Journal of Geodesy 74, 552–560.
#pragma once

namespace sarnoth::gravmag {

// G·(1 g/cm³) in mGal per metre: 6.674e-11 m³/(kg·s²) · 1000 kg/m³ · 1e5 mGal/(m/s²).
inline constexpr double kGravityMgalPerMetre = 6.674e-3;

// g_z in mGal of the prism (metres, relative to the observer, z down) of density ρ g/cm³.
double prismGz(double x1, double x2, double y1, double y2, double z1, double z2, double density);
// g_zz (∂g_z/∂z, z down) in mGal/m of the same prism.
double prismGzz(double x1, double x2, double y1, double y2, double z1, double z2, double density);
// g_z in mGal of a vertical line of cross-section `area` m² at horizontal distance `distance` m,
// from depth z1 to z2 (z down, relative to the observer).
double lineMassGz(double distance, double area, double z1, double z2, double density);
// g_z in mGal of a vertical column of footprint wx × wy m centred at (x, y) m from the observer,
// from depth z1 to z2 (z down), by the line mass and its width's second-order term.
double columnGz(double x, double y, double wx, double wy, double z1, double z2, double density);

}  // namespace sarnoth::gravmag
