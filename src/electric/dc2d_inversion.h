// Smoothness-constrained inversion of 2-D resistivity and IP data.
//
// What is computed
//   The resistivities of a grid of model cells (and afterwards their chargeabilities) whose
//   forward response (dc2d_forward.h) fits the observed apparent resistivities, the model being
//   as smooth as the data allow.
//
// How (Loke & Barker 1996, "Rapid least-squares inversion of apparent resistivity
// pseudosections by a quasi-Newton method", Geophys. Prospecting 44, 131–152; deGroot-Hedlin &
// Constable 1990, "Occam's inversion to generate smooth, two-dimensional models from
// magnetotelluric data", Geophysics 55, 1613–1624)
//   Parameters m = ln ρ of the cells, data d = ln ρa, each datum weighted by 1/e with e the
//   relative error of the data. Each Gauss-Newton step solves
//       (Jᵀ W² J + λ Cᵀ C) Δm = Jᵀ W² (d − f(m)) − λ Cᵀ C m,
//   C the first differences between horizontally and vertically neighbouring cells and J the
//   sensitivities ∂ ln ρa / ∂ ln ρ from the forward's own factorisation (reciprocity). λ starts
//   at a fifth of the mean diagonal of Jᵀ W² J and halves every iteration down to a fiftieth of
//   its start; a step that does not lower the misfit is halved (line search) up to three times,
//   and the iterations stop when the misfit reaches the data error, improves by less than 1 %,
//   or the iteration limit is reached.
//   Chargeability follows after the resistivity, linearised after Seigel (1959) and Oldenburg &
//   Li (1994, "Inversion of induced polarization data", Geophysics 59, 1327–1341):
//       ηa ≈ Σ_c (∂ ln ρa / ∂ ln ρ_c) η_c,
//   solved with the same smoothing (absolute error 0.5 % in ηa), kept within [0, 95] %, and
//   refined twice against the full Seigel forward.
//
// Model cells
//   Under the electrodes, columns half an electrode spacing wide; layers from half a spacing
//   thick, growing by 15 % to 1.2 times the largest pseudo-depth. The outer columns and the
//   last layer reach through the mesh padding to its edges.
//
// Accuracy and limits
//   A conductive block in a resistive half-space is recovered at its place (centre within one
//   electrode spacing) from dipole-dipole data with 3 % noise (see the tests). Like every
//   smooth inversion, it shows bodies smeared and with muted contrast; depth resolution fades
//   below about the largest pseudo-depth.
//
// Units: Ω·m, %, m.
#pragma once

#include <vector>

#include "electric/dc2d_forward.h"

namespace sarnoth::electric {

struct Dc2dCells {
  std::vector<double> xEdges;      // column edges, m (the outer two reach into the padding)
  std::vector<double> depthEdges;  // layer edges below the surface, m (the last the mesh bottom)
  std::vector<int> cellOf;         // per mesh element
  int columns = 0, layers = 0;
  int count() const { return columns * layers; }
  int index(int column, int layer) const { return layer * columns + column; }
};
Dc2dCells makeDc2dCells(const Dc2dMesh& mesh, const Dc2dSurvey& survey);

struct Dc2dInversionSettings {
  int iterations = 6;
  double errorPercent = 3;  // relative error of the apparent resistivities
  bool chargeability = false;
};

struct Dc2dInversionResult {
  std::vector<double> cellRho;          // Ω·m
  std::vector<double> cellEta;          // %, empty without chargeability
  std::vector<double> rmsPerIteration;  // % (RMS of the relative misfit), start model first
  std::vector<double> lambdas;          // λ of each iteration
  double etaRms = 0;                    // RMS misfit of ηa, % (absolute)
  Dc2dResponse response;                // the final model's response
  int iterations = 0;
  double rms() const { return rmsPerIteration.empty() ? 0 : rmsPerIteration.back(); }
};

// Inverts the survey's observed data (data without an observed ρa > 0 are left out of the fit).
// The start model is the mesh data averaged over each cell (in log ρ); on return `data` holds
// the inverted model element by element. Returns false when stopped or when no datum is
// observed (`error` says which).
bool invertDc2d(const Dc2dForward& fwd, const Dc2dCells& cells, const Dc2dInversionSettings& st,
                Dc2dMeshData& data, Dc2dInversionResult& result, std::string& error,
                Progress& progress = noProgress());

}  // namespace sarnoth::electric
