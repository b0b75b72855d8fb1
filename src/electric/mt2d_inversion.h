// 2-D magnetotelluric inversion by Occam's method: the smoothest block model whose responses fit
// the data to a target misfit, TE, TM or both modes together.
//
// What is solved
//   Parameters m = log10 ρ of the free blocks of the starting model (mt2d_files.h, *.mt3); data
//   d = log10 ρa and phase (degrees) of every measured site, frequency and mode, each weighted
//   by 1/e with e = max(given error, floor): e(log10 ρa) = (percent / 100) / ln 10, e(phase) in
//   degrees. Misfit RMS = √(Σ((d − F(m))/e)² / N). Roughness ‖∂m‖² = Σ (m_i − m_j)² over the
//   pairs of free blocks that share an edge, across and down alike (R = ∂yᵀ∂y + ∂zᵀ∂z).
//   Occam seeks min ‖∂m‖² subject to RMS = target (Constable, Parker & Constable 1987,
//   Geophysics 52, 289–300; in 2-D deGroot-Hedlin & Constable 1990, Geophysics 55, 1613–1624).
//
// How
//   Each iteration linearises about the current model m_k with the sensitivities J of
//   mt2d_forward.h (reciprocity) and, for a Lagrange multiplier μ,
//       m(μ) = (μ R + (WJ)ᵀWJ)⁻¹ (WJ)ᵀW d̂,   d̂ = d − F(m_k) + J m_k,
//   solved by Cholesky. μ is searched in log10 μ: a sweep in steps of one decade from the last
//   iteration's μ until the least true misfit (each trial a full forward) is bracketed, then
//   golden sections; while the least misfit stays above the target that model is taken (phase
//   1), once below, the largest μ whose misfit meets the target (phase 2: the smoothest model
//   that fits). A step that does not lower the misfit while above the target is halved, four
//   times at most, before the run gives up. The run ends at the target once the roughness changes
//   by less than 1 % from one iteration to the next, when no step improves, or at the iteration
//   limit.
//
// Accuracy and limits
//   A synthetic two-block section with 2 % noise reaches RMS 1 in a few iterations and its
//   blocks stand out within a factor of two of their true resistivities (tests). As with every
//   smoothness-constrained inversion the result is the smoothest of the models that fit, not
//   the true earth: sharp boundaries come out smeared, and blocks the data do not see stay near
//   their neighbours. The cost per iteration is one forward with sensitivities plus one forward
//   per trial μ (six to ten), and a Cholesky factorisation of the M × M normal matrix per trial:
//   keep M to a few thousand blocks.
//
// Units: resistivity Ω·m (log10 in the parameters), phase degrees, errors % and degrees.
#pragma once

#include <Eigen/Dense>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "electric/mt2d_files.h"
#include "electric/mt2d_forward.h"
#include "workarea/progress.h"

namespace sarnoth::electric {

// --- one Occam step, independent of the physics ------------------------------------------------

struct OccamStepInput {
  Eigen::MatrixXd J;          // N × M sensitivities at m0
  Eigen::VectorXd residual;   // d − F(m0), N
  Eigen::VectorXd error;      // e, N (> 0)
  Eigen::MatrixXd roughness;  // R, M × M
  Eigen::VectorXd m0;
  double rms0 = 0;  // misfit at m0
  double target = 1;
  double log10Mu = 2;  // where the search starts
};

struct OccamStepResult {
  bool improved = false;  // a model was found that lowers the misfit or meets the target
  Eigen::VectorXd m;
  double rms = 0;
  double log10Mu = 0;
  double roughness = 0;  // mᵀ R m
  int trials = 0;        // true misfits computed
  bool stopped = false;  // the misfit function asked to stop
};

// The true misfit of a trial model; nullopt stops the search (a stop asked by the user, or a
// forward that failed).
using OccamMisfit = std::function<std::optional<double>(const Eigen::VectorXd& m)>;

OccamStepResult occamStep(const OccamStepInput& in, const OccamMisfit& misfit);

// The roughness of a block grid: first differences between free blocks sharing an edge.
Eigen::MatrixXd blockRoughness(int blockColumns, int blockRows,
                               const std::vector<int>& blockParameter, int parameters);

// --- the magnetotelluric inversion -----------------------------------------------------------

struct Mt2dInversionSetup {
  Mt2dMesh mesh;
  Mt2dModel model;  // starting model and parameter blocks
  Mt2dData data;
  MtMode mode = MtMode::TE;  // the modes inverted, held by the data
  double targetRms = 1.0;
  double rhoFloor = 5.0;    // %
  double phaseFloor = 1.5;  // degrees
  int maxIterations = 10;
  int threads = 0;
};

struct Mt2dIterationReport {
  int iteration = 0;
  double rms = 0, roughness = 0, lagrange = 0;
  std::vector<double> cellLog10Rho;  // every earth cell, top row first
  MtResponses response;              // index s·nFreq + f, the modes inverted
};

struct Mt2dInversionOutcome {
  bool ok = false;
  std::string message;  // why it did not run, or how it ended
  int iterations = 0;
  bool converged = false;
  double initialRms = 0;
  MtResponses initialResponse;
  std::vector<int> siteColumns;
};

// "" when the setup can be inverted, else the reason (meshes, spans and counts that do not match,
// sites off the mesh or sharing a node, no data, errors and floors both 0).
std::string validateInversion(const Mt2dInversionSetup& s, std::vector<int>* siteColumns = nullptr);

// Runs the inversion; each finished iteration goes to `onIteration` (which writes its files).
Mt2dInversionOutcome invertMt2d(const Mt2dInversionSetup& s,
                                const std::function<void(const Mt2dIterationReport&)>& onIteration,
                                Progress* progress = nullptr);

// The responses of a cell model for the data's sites and frequencies, index s·nFreq + f.
bool mt2dResponses(const Mt2dMesh& mesh, const std::vector<double>& cellRho,
                   const std::vector<double>& frequencies, const std::vector<int>& siteColumns,
                   MtMode mode, MtResponses& out, int threads = 0, Progress* progress = nullptr);

}  // namespace sarnoth::electric
