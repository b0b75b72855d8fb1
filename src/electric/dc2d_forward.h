// 2.5-D direct-current forward modelling by finite elements: the potentials of point current
// electrodes over a 2-D earth σ(x, z), the apparent resistivity of any array of the ten devices,
// apparent chargeability, and the sensitivities of the data to the elements' resistivities.
//
// Formulation (Dey & Morrison 1979, "Resistivity modelling for arbitrarily shaped
// two-dimensional structures", Geophys. Prospecting 27, 106–136; Coggon 1971, "Electromagnetic
// and electrical modeling by the finite element method", Geophysics 36, 132–155)
//   The 3-D potential of a point source over a 2-D earth is cosine-transformed along strike y:
//       Ṽ(x, k, z) = ∫₀^∞ V(x, y, z) cos(k y) dy,
//   and each wavenumber k solves the 2-D Helmholtz problem
//       −∇·(σ ∇Ṽ) + k² σ Ṽ = (I/2) δ(x − x_s) δ(z − z_s)
//   with ∂Ṽ/∂n = 0 on the ground surface and, on the left, right and bottom sides, the mixed
//   condition of Dey & Morrison
//       ∂Ṽ/∂n + k K₁(k r)/K₀(k r) cos θ · Ṽ = 0,
//   r measured from the centre of the electrode spread (one condition for every source, so that
//   a wavenumber's matrix is the same for all of them), θ between r and the outward normal.
//   Linear triangles (Galerkin) give per element K_e = σ_e [S_e + k² M_e] (S the stiffness,
//   M the consistent mass), and per boundary edge σ_e α L/6 [[2,1],[1,2]].
//   The potential in the plane of the profile is the inverse transform
//       V = (2/π) ∫₀^∞ Ṽ dk ≈ Σ_i g_i Ṽ(k_i),
//   with a handful of wavenumbers and weights optimised for the survey's distances: k_i and g_i
//   minimise Σ_r [r Σ_i g_i K₀(k_i r) − 1]² over r log-spaced in [r_min, r_max] (r_max twice the
//   longest source–receiver distance, at least 10 r_min; the transform of
//   a half-space potential I/(2πσr) is exact when this sum is 1), after Xu, Duan & Zhang (2000),
//   "Selection of the wavenumbers k using an optimization method for the inverse Fourier
//   transform in 2.5D electrical modelling", Geophys. Prospecting 48, 789–796. Wavenumbers and
//   weights are fitted together by Levenberg–Marquardt in log k and log g, which keeps the weights
//   positive like a quadrature's: free weights pair up in large cancelling terms that magnify
//   the finite elements' own error.
//
// How
//   The matrix of each wavenumber is factorised once (Eigen's sparse Cholesky, AMD ordering; the
//   pattern analysed once) and solved for every current electrode at once. Wavenumbers are
//   spread over both cores; each writes its own electrode potentials and they are summed in
//   wavenumber order afterwards, so the result does not depend on the number of threads.
//
// Apparent resistivity
//   ρa = K ΔV / I with the array's geometric factor (dc2d_model.h), from the potentials as
//   computed: no correction from a numerical half-space is applied, so what a test measures
//   against an analytic earth is the finite elements' own accuracy.
//
// Chargeability (Seigel 1959, Geophysics 24, 547–565)
//   A polarisable element acts as if its resistivity were ρ* = ρ/(1 − η); ηa = 1 − ρa/ρa*, two
//   forward solutions.
//
// Sensitivities by reciprocity (adjoint)
//   With A u_s = f_s (unit current at s, f = ½ at its node) the potential at node m is
//   e_mᵀ u_s = 2 u_mᵀ A u_s, so ∂Ṽ_s(m)/∂σ_e = −2 u_mᵀ (∂A/∂σ_e) u_s: the fields of the
//   forward solve are all that is needed, no further solves. For an array,
//       ∂ ln ρa / ∂ ln ρ_e = (2/ΔV) Σ_i g_i (u_M − u_N)ᵀ A_e(k_i) (u_A − u_B),
//   summed over the elements of each model cell. Rows of data are shared between the cores, so
//   again the result does not depend on the thread count.
//
// Accuracy (see the tests)
//   Optimised wavenumbers: the transform of a half-space potential within 1e-4 for r_max/r_min
//   up to 100 with 8 wavenumbers (4e-4 at 1000). With the default mesh (4 columns to the electrode
//   spacing, rows growing by 6 %): half-space ρa = ρ within 1 % for every device; a two-layer earth
//   (interface on a mesh line) against the 1-D engine (sounding_forward.h) within 2 %; 6
//   columns to the spacing halve both. Sensitivities agree with finite differences of the
//   forward to 1e-4 relative.
//
// Where it fails
//   Electrodes nearer the mesh edge than a few spreads see the boundary; an element spanning
//   two regions takes one region's value (the mesh puts region corners on its lines to limit
//   this). Contrasts beyond 1:10⁵ lose accuracy in the Cholesky solve.
//
// Units: σ in S/m (elements' ρ in Ω·m), lengths in m, potentials in V for 1 A, η in %.
#pragma once

#include <Eigen/Dense>
#include <Eigen/Sparse>
#include <span>
#include <vector>

#include "electric/dc2d_mesh.h"
#include "workarea/progress.h"

namespace sarnoth::electric {

struct Dc2dWavenumbers {
  std::vector<double> k;  // 1/m
  std::vector<double> g;  // weights (2/π included)
};
// Wavenumbers and weights optimised for distances [rMin, rMax] (m, 0 < rMin < rMax).
Dc2dWavenumbers optimisedWavenumbers(double rMin, double rMax, int count = 8);
// Largest |r Σ g_i K₀(k_i r) − 1| over r in [rMin, rMax]: the relative error of the transform of a
// half-space potential.
double wavenumberError(const Dc2dWavenumbers& w, double rMin, double rMax);

struct Dc2dForwardSettings {
  int wavenumbers = 8;
  int threads = 0;  // 0: every core (at most 16)
};

// The electrode potentials of one earth. G(m, s) is the potential at electrode m for 1 A into
// electrode s (the earth's other electrode remote), V.
struct Dc2dSolution {
  Eigen::MatrixXd G;
  // Per wavenumber the nodal fields of every current electrode (nodes × electrodes), kept for
  // the sensitivities.
  std::vector<Eigen::MatrixXd> fields;
  std::vector<double> sigma;  // S/m per element
};

class Dc2dForward {
 public:
  Dc2dForward(const Dc2dMesh& mesh, const Dc2dSurvey& survey, Dc2dForwardSettings settings = {});

  const Dc2dMesh& mesh() const { return mesh_; }
  const Dc2dSurvey& survey() const { return survey_; }
  const Dc2dWavenumbers& wavenumbers() const { return wn_; }

  // Solves the earth given by the elements' resistivities (Ω·m). Returns false when stopped.
  bool solve(std::span<const double> rho, Dc2dSolution& out, bool keepFields,
             Progress& progress = noProgress()) const;
  // The potential differences ΔV of the data (V for 1 A).
  std::vector<double> voltages(const Dc2dSolution& s) const;
  // Apparent resistivities, Ω·m.
  std::vector<double> apparentResistivity(const Dc2dSolution& s) const;
  // ηa by Seigel's rule from the solutions of ρ and ρ* = ρ/(1 − η), %.
  std::vector<double> apparentChargeability(const Dc2dSolution& plain,
                                            const Dc2dSolution& starred) const;
  // ∂ ln ρa_d / ∂ ln ρ_c for data rows and model cells c (cellOf[e] the cell of element e, −1
  // for an element outside every cell). The solution must keep its fields.
  Eigen::MatrixXd jacobian(const Dc2dSolution& s, std::span<const int> cellOf, int cells) const;

 private:
  void assemblePattern();
  Eigen::SparseMatrix<double> matrixFor(std::span<const double> sigma, double k) const;

  const Dc2dMesh& mesh_;
  const Dc2dSurvey& survey_;
  Dc2dForwardSettings settings_;
  Dc2dWavenumbers wn_;
  // The common sparsity pattern (lower triangle, column-major) and, per element, where its nine
  // entries land (−1 for the upper triangle's).
  Eigen::SparseMatrix<double> pattern_;
  std::vector<std::array<int, 9>> slot_;
  std::vector<std::array<double, 9>> stiff_, mass_;  // unit-σ element matrices
  std::vector<std::array<int, 3>> edgeSlot_;         // boundary edges: (0,0), (1,1), (1,0)
  std::vector<double> edgeLength_, edgeR_, edgeCos_;
  std::vector<int> usedElectrodes_;  // electrodes that carry current in some datum
};

// Forward of a whole survey on a mesh: ρa for every datum and, when the mesh data has
// chargeability, ηa. Returns false when stopped.
struct Dc2dResponse {
  std::vector<double> rho;  // Ω·m
  std::vector<double> eta;  // %, empty without chargeability
};
bool dc2dResponse(const Dc2dForward& fwd, const Dc2dMeshData& data, bool chargeability,
                  Dc2dResponse& out, Progress& progress = noProgress());

}  // namespace sarnoth::electric
