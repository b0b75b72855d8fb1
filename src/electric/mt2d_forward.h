// 2-D magnetotelluric forward modelling: impedance, apparent resistivity and phase at surface
// sites over a two-dimensional earth, for the E-polarisation (TE) and B-polarisation (TM) modes,
// with the sensitivities of every datum to the resistivity of every model block.
//
// What is computed
//   Strike along x, profile along y, z down; time dependence e^{iωt}; μ = μ0 everywhere. With
//   σ (S/m) and ρ = 1/σ per rectangular cell of the mesh:
//     TE   ∂y² Ex + ∂z² Ex = iωμσ Ex       in the earth and in the air (σ = 0) above it,
//          Hy = −(1/iωμ) ∂z Ex,             Zxy = Ex / Hy;
//     TM   ∂y(ρ ∂y Hx) + ∂z(ρ ∂z Hx) = iωμ Hx   in the earth only (Hx is constant in the air),
//          Ey = ρ ∂z Hx,                   Zyx = Ey / Hx.
//   Apparent resistivity ρa = |Z|²/(ωμ) (Ω·m), phase φ = arg Z for TE and arg(−Zyx) for TM, in
//   degrees, so that both modes read 45° over a uniform earth (TM phases in the first quadrant,
//   as the field usually plots them).
//
// How
//   Finite differences in the integrated (finite-volume) form on the rectilinear mesh: each
//   node's control volume reaches halfway into its neighbouring cells. Across the profile the
//   flux between two nodes is the difference quotient over the cell width, weighted (TM: by ρ)
//   over the half cells above and below the edge (Brewitt-Taylor & Weaver 1976, Geophys. J. R.
//   astr. Soc. 47, 375–396; Aprea, Booker & Smith 1997, Geophys. J. Int. 129, 29–40). Down each
//   half-width strip of a cell, the vertical flux and the induction term together are the exact
//   element of the 1-D equation −u″ + q u = 0 over the cell height b (q = iωμσ for TE, iωμ/ρ for
//   TM, k = √q):
//       (1/b)·[ kb coth kb   −kb csch kb ;  −kb csch kb   kb coth kb ]   (TM: times ρ),
//   which reduces to the usual difference plus the consistent mass term for kb → 0 and keeps the
//   scheme second order, while a layered earth whose boundaries lie on nodes is reproduced
//   exactly on any grading of the mesh (plain lumped differences err by (g − 1)²/10 in ρa for a
//   growth g of the cells). Every cell thus adds a 4 × 4 block to a complex symmetric
//   five-point matrix.
//   Boundaries: the top row of nodes holds Ex = 1 (top of the air, TE) or Hx = 1 (the surface,
//   TM); the sides carry no lateral flux, so far from the structure the field is that of the
//   layered column beside it; the bottom takes the impedance of the half-space under each cell,
//   ∂z u = −k u (the fields leave without reflection).
//   Each frequency and mode is one LDLᵀ factorisation in nested-dissection order and one solve
//   (electric/mt2d_solver.h). The surface magnetic field (TE) or electric field (TM) at a site
//   node comes from the balance of its half control volume below the surface — the flux the
//   earth cells draw through the surface — which the vertical elements make exact for the
//   layered part of the field.
//   Frequencies are shared out over the cores; each is independent, so the result does not
//   depend on the number of threads.
//
// Sensitivities
//   By reciprocity (adjoint fields): the matrix A is complex symmetric, so for a datum g(u) the
//   derivative with respect to a cell value p is
//       dg/dp = ∂g/∂p − λᵀ (∂A/∂p) u,   A λ = ∇ᵤg,
//   one extra back-substitution per site, frequency and mode with the factorisation already at
//   hand (de Lugao & Wannamaker 1996, Geophys. J. Int. 127, 806–810). ∂A/∂p is local
//   to the four nodes of the cell, so all cells cost one pass over the mesh per site. Parameters
//   are log10 ρ of blocks of cells; a cell's derivative goes to its block.
//
// Accuracy
//   A layered earth on the 2-D mesh gives the analytic 1-D impedance to rounding (1e-9 relative)
//   in both modes over any range of period. TE resolves two-dimensional structure at second
//   order in the cell size: over a 1:100 block eight cells wide and four deep the responses are
//   within 2 % and 0.5° of those of a mesh four times finer. TM converges more slowly around
//   strong contrasts, the fields being singular at a body's corners: on the same mesh ρa over
//   the block is within 25 % (5 % away from it), and each halving of the cells removes about
//   two thirds of the rest — keep cells near a strong contrast to a tenth of the body's size
//   or less where TM data are inverted. At a
//   vertical contact the exact conditions (TM: ρa jumps by the square of the resistivity ratio
//   at the same phase; TE: no jump) are approached as the cells shrink (see the tests).
//   Sensitivities agree with central differences to 1e-4 relative.
//
// Where it fails
//   A mesh that does not reach a few skin depths below the structure at the lowest frequency,
//   or sides closer than a few skin depths to it, bends the responses (the bottom and side
//   conditions are those of a layered earth). TE needs air cells reaching well above the
//   surface (tens of kilometres at long periods). Sites sit on surface nodes.
//
// Units
//   Lengths in metres, resistivity in Ω·m, frequency in Hz, phase in degrees.
#pragma once

#include <complex>
#include <span>
#include <string>
#include <vector>

#include "workarea/progress.h"

namespace sarnoth::electric {

inline constexpr double kMu0 = 4e-7 * 3.14159265358979323846;

// The rectilinear mesh of the section.
struct Mt2dMesh {
  double y0 = 0;               // profile distance of the left edge (the first node column), m
  std::vector<double> widths;  // horizontal cells, left to right, m
  std::vector<double> air;     // air cells, from the surface upwards, m
  std::vector<double> earth;   // earth cells, from the surface downwards, m

  int columns() const { return static_cast<int>(widths.size()); }
  int airRows() const { return static_cast<int>(air.size()); }
  int earthRows() const { return static_cast<int>(earth.size()); }
  int earthCells() const { return columns() * earthRows(); }
  // Profile distances of the node columns (columns() + 1 values).
  std::vector<double> nodePositions() const;
  // Depths of the earth node rows below the surface (earthRows() + 1 values, the first 0).
  std::vector<double> nodeDepths() const;
  // The node column nearest to a profile distance.
  int nearestColumn(double position) const;
};

// "" when the mesh can be modelled, else why not.
std::string validateMesh(const Mt2dMesh& mesh, bool needsAir);

enum class Polarisation { TE, TM };

// Responses of one mode: index f·sites + s (frequency-major).
struct ModeResponse {
  std::vector<std::complex<double>> z;  // Zxy (TE) or −Zyx (TM), V/m over A/m
  std::vector<double> rho;              // apparent resistivity, Ω·m
  std::vector<double> phase;            // degrees
};

// Sensitivities of one mode: rows 2·(f·sites + s) (log10 ρa) and 2·(f·sites + s) + 1 (phase,
// degrees); columns the parameters; each entry the derivative with respect to log10 ρ of the
// parameter's block. Row-major.
struct ModeSensitivity {
  int rows = 0, parameters = 0;
  std::vector<double> values;
  double at(int row, int parameter) const {
    return values[static_cast<std::size_t>(row) * static_cast<std::size_t>(parameters) +
                  static_cast<std::size_t>(parameter)];
  }
};

struct Mt2dForwardRequest {
  const Mt2dMesh* mesh = nullptr;
  // Resistivity of every earth cell, Ω·m, row by row from the surface (row r, column c at
  // r·columns + c).
  std::span<const double> resistivity;
  std::span<const double> frequencies;  // Hz, each > 0
  std::span<const int> siteColumns;     // node column of each site, 0 … columns
  // For sensitivities: the parameter of every earth cell (−1 for a cell held fixed) and the
  // number of parameters; empty for responses only.
  std::span<const int> cellParameter;
  int parameters = 0;
  int threads = 0;  // 0: every core (two at most by default on this machine's share)
};

// The responses of one mode; with cellParameter set, the sensitivities as well. Progress counts
// frequencies; a stop asked through progress.pump() ends the run early (returns false).
bool forwardMode(const Mt2dForwardRequest& request, Polarisation mode, ModeResponse& response,
                 ModeSensitivity* sensitivity = nullptr, Progress* progress = nullptr);

// Apparent resistivity and phase (arg z in degrees) of an impedance as ModeResponse holds it.
double apparentResistivity(std::complex<double> z, double frequency);
double phaseDegrees(std::complex<double> z);

}  // namespace sarnoth::electric
