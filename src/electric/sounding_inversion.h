// 1-D inversion of a resistivity/IP sounding: a layered earth whose response (sounding_forward.h)
// fits the observed apparent resistivities and, where observed, the apparent chargeabilities.
//
// What is solved
//   Data d_j = ln ρa_j, weighted by 1/σ (σ the relative error of the data, as a fraction).
//   Resistivities and thicknesses are sought as logarithms, each held inside its bounds by the
//   transform u = ln((x − a)/(b − x)) of x = ln ρ (or ln h) between a = ln min and b = ln max, so a
//   step can never leave them. A layer flagged fixed keeps its resistivity, its thickness, or
//   both (kFixResistivity, kFixThickness); flagged chargeabilities are kept likewise.
//
// Methods
//   Marquardt: damped least squares on a few layers (Marquardt 1963, SIAM J. Appl. Math. 11,
//   431–441; for soundings Inman 1975, Geophysics 40, 798–817). Each step solves
//   (JᵀJ + μ diag JᵀJ) δ = Jᵀr; μ falls by 10 after a step that lowers the misfit and rises by
//   10 until one does. Stops when a step lowers the misfit by less than 0.1 % of itself, when
//   no step lowers it, or after the iteration limit.
//
//   Occam: the smoothest earth of many thin layers that fits to the data's error (Constable,
//   Parker & Constable 1987, Geophysics 52, 289–300). Layer bottoms are spaced evenly in
//   ln depth between r_min/3 and r_max/2 (r the plotted spacing); the thicknesses stay fixed
//   and the resistivities minimise ||∂ ln ρ||² subject to χ_rms = 1. Each iteration solves the
//   linearised problem for a set of Lagrange multipliers μ, computes the true misfit of each,
//   and takes the μ of least misfit while χ > 1 (phase 1) or the largest μ with χ ≤ 1 (phase 2).
//   A layer of the starting model that is flagged fixed fixes the cells whose centres lie in it.
//
//   Chargeability, where observed, is inverted after the resistivities with them held: the
//   response is almost linear in the layer chargeabilities (Seigel's rule), and the same method
//   (damped, or smoothness-constrained) fits ηa in % with bounds 0 ≤ η ≤ 99 %.
//
// Accuracy and limits
//   A synthetic three-layer H curve with 3 % noise is recovered within its equivalence (the
//   conductance h₂/ρ₂ of the middle layer to 15 %, the top layer to 10 %). As for every 1-D
//   inversion, only products or ratios of the parameters of thin layers are resolved
//   (equivalence); the fit alone does not tell which model is true. Non-convergence is
//   reported (converged = false) with the best model reached.
//
// Cost: one Jacobian costs about two forward evaluations (exact sensitivities); a
//   30-spacing, four-layer Marquardt run takes a few milliseconds, an Occam run of 20 cells
//   well under 0.2 s.
#pragma once

#include <string>
#include <vector>

#include "electric/sounding_forward.h"

namespace sarnoth::electric {

inline constexpr int kFixResistivity = 1;
inline constexpr int kFixThickness = 2;
inline constexpr int kFixChargeability = 4;

enum class InversionMethod { Marquardt = 1, Occam = 2 };

struct InversionSettings {
  InversionMethod method = InversionMethod::Marquardt;
  int maxIterations = 30;
  double relativeError = 0.05;                    // σ of the data, fraction (0.05 = 5 %)
  double rhoMin = 0.1, rhoMax = 1e5;              // Ω·m
  double thicknessMin = 0.1, thicknessMax = 1e4;  // m
  int occamLayers = 20;
};

// The data of one sounding. `use[j]` false leaves a point out of the fit.
struct SoundingData {
  SoundDevice device = SoundDevice::Symmetric;
  std::vector<Spacing> spacings;
  std::vector<double> rho;  // observed ρa, Ω·m
  std::vector<double> eta;  // observed ηa, %; empty when not observed
  std::vector<bool> use;    // empty: all used
};

struct InversionResult {
  LayeredEarth earth;
  std::vector<int> fixed;     // the flags the result was found with (per layer)
  SoundingResponse response;  // of `earth` at every spacing
  double rmsPercent = 0;      // RMS relative misfit of ρa over the points used, %
  double etaRms = 0;          // RMS misfit of ηa, % units (0 when not observed)
  int iterations = 0;
  bool converged = false;
  std::vector<double> history;  // χ_rms of the resistivity fit (residuals over σ), per iteration
};

// Inverts; throws std::invalid_argument with the system's text for data or a starting model that
// cannot be used (fewer points than free parameters in a Marquardt run, a resistivity ≤ 0, …).
InversionResult invertSounding(const SoundingData& data, const LayeredEarth& start,
                               const std::vector<int>& fixed, const InversionSettings& settings);

// The Occam cells for a set of spacings: n layers, bottoms log-spaced from r_min/3 to r_max/2,
// resistivities taken from `start` at each cell's centre depth.
LayeredEarth occamCells(const SoundingData& data, const LayeredEarth& start, int layers);

// RMS relative misfit in % of computed against observed ρa over the points used.
double rmsMisfitPercent(const std::vector<double>& observed, const std::vector<double>& computed,
                        const std::vector<bool>& use = {});

}  // namespace sarnoth::electric
