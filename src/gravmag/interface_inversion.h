// Three-dimensional interface inversion: the depth of a density interface from a gravity anomaly
// ("三维密度界面反演") or of the top of a magnetised layer from a magnetic anomaly reduced to the
// pole ("三维磁性界面反演"), by the Parker–Oldenburg iteration.
//
// What: with z downwards, the interface at depth z0 + h(x, y) (z0 the mean depth, h the relief,
// positive downwards) between material lighter above and denser below by Δρ, or non-magnetic
// above and magnetised M (vertically, in a vertical field) below, Parker's (1973) series gives
// the anomaly at the surface as
//   F[Δg](k) = −2πGΔρ·e^(−|k|z0)·Σ_{n≥1} (−1)^(n−1)·|k|^(n−1)/n!·F[hⁿ](k)       (mGal)
//   F[ΔT](k) = −2πC_m·M·e^(−|k|z0)·Σ_{n≥1} (−1)^(n−1)·|k|^n/n!·F[hⁿ](k)          (nT)
// (C_m = μ0/4π). Oldenburg (1974) turns it round into an iteration from h = 0:
//   F[h] = B(k)·(−F[Δg]·e^(|k|z0)/(2πGΔρ) − Σ_{n≥2} (−1)^(n−1)·|k|^(n−1)/n!·F[hⁿ])
// (for the magnetic case the first term is divided by |k| as well, and is 0 at k = 0), until the
// root-mean-square change of h between two iterations falls below the criterion or the
// iterations run out. B is the low-pass filter that keeps the downward continuation e^(|k|z0)
// stable: 1 for wavelengths above λ_pass, 0 below λ_cut, and ½(1 + cos(π(k − k_pass)/(k_cut −
// k_pass))) between (Oldenburg 1974; Gómez-Ortiz & Agarwal 2005).
//
// How: nulls of the anomaly are filled harmonically (space_operators.h), its mean over the data
// is removed (the mean of h is not resolved: z0 is the interface's mean depth), and the grid is
// extended by the frequency-domain tool's cosine taper (spectral_grid.h extendGrid2D) to a
// power-of-two size at least a quarter larger, then transformed with the tool's own transform
// (fft.h). Each iteration takes one transform of each power hⁿ (n = 2..terms) and one inverse.
// The series stops at kMaxTerms or where a term falls below 1e-6 of the first.
// The fit: the anomaly of the recovered interface by the forward series, with the removed mean
// added back, and the RMS of observed less computed over the data nodes.
//
// Accuracy: for noise-free data whose spectrum lies within the pass band, the relief is
// recovered to about 1 % of its range (tested against the anomaly of a synthetic interface
// summed from Nagy's prisms, not from the series itself); the filter smooths what lies beyond
// it. Single-precision transforms limit e^(|k|z0) at the cut to about 1e4 before rounding shows.
// The series converges while |k|·|h| stays below about 1 at the cut; relief comparable to z0 does
// not converge and is reported as divergence.
//
// Units: grid coordinates and all lengths (z0, wavelengths, criterion, depths written) in the
// grid's length unit, metresPerUnit metres each; Δρ in g/cm³, M in A/m; the anomaly in mGal or
// nT. The magnetic form assumes vertical magnetisation and field: reduce the anomaly to the pole
// first.
//
// References: Parker, R.L. (1973) The rapid calculation of potential anomalies. Geophys. J. R.
// astr. Soc. 31, 447–455. Oldenburg, D.W. (1974) The inversion and interpretation of gravity
// anomalies. Geophysics 39, 526–536. Gómez-Ortiz, D., Agarwal, B.N.P. (2005) 3DINVER.M.
// Computers & Geosciences 31, 513–520.
#pragma once

#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::gravmag {

enum class InterfaceKind { Density, Magnetic };

inline constexpr int kMaxTerms = 10;
// 2π·C_m in nT per (A/m): 2π·1e-7 T·m/A·1e9 nT/T.
inline constexpr double kTwoPiCmNt = 628.3185307179586;

struct InterfaceParams {
  InterfaceKind kind = InterfaceKind::Density;
  double contrast = 0.3;           // Δρ g/cm³, or M A/m
  double referenceDepth = 5000;    // z0, grid units
  double passWavelength = 20000;   // grid units: kept whole above
  double cutWavelength = 10000;    // grid units: removed below
  double criterion = 1.0;          // grid units: RMS change of h that ends the iteration
  int maxIterations = 20;
  double metresPerUnit = 1.0;
};

struct InterfaceResult {
  std::string failure;  // empty on success
  bool cancelled = false;
  bool converged = false;
  bool diverged = false;
  std::vector<float> depth;     // nx·ny: z0 + h, nulls where the anomaly had them
  std::vector<float> computed;  // nx·ny: the anomaly of that interface, nulls alike
  std::vector<double> rmsChange;  // per iteration
  double rmsMisfit = 0;           // observed − computed over the data nodes
  double anomalyRms = 0;          // RMS of the observed anomaly about its mean
  int nxp = 0, nyp = 0;
};

// The inversion of an nx × ny anomaly grid (row-major, row 0 at the bottom; nulls below −1E+30)
// with node spacings dx, dy in grid units. The progress counts iterations; stopping it cancels.
InterfaceResult invertInterface(const std::vector<float>& anomaly, int nx, int ny, double dx,
                                double dy, const InterfaceParams& p,
                                Progress& progress = noProgress());

// The forward series alone: the anomaly of the relief h (nx × ny, grid units, positive down)
// about z0, on the padded periodic grid of the same extension. For the fit and for tests.
std::vector<float> interfaceAnomaly(const std::vector<float>& relief, int nx, int ny, double dx,
                                    double dy, const InterfaceParams& p);

// --- the tool's job -----------------------------------------------------------------------------

inline constexpr const char* kGravInterfaceCaption = "三维密度界面反演";
inline constexpr const char* kMagnInterfaceCaption = "三维磁性界面反演";
inline constexpr const char* kMsgInterfaceDone = "界面反演完成！";
inline constexpr const char* kMsgInterfaceDiverged = "迭代发散, 请加大参考深度或减小滤波截止波数.";
inline constexpr const char* kMsgInterfaceBadContrast = "密度差(或磁化强度)不能为0.";
inline constexpr const char* kMsgInterfaceBadDepth = "参考深度应大于0.";
inline constexpr const char* kMsgInterfaceBadFilter = "滤波波长应大于0, 且通过波长大于截止波长.";
inline constexpr const char* kMsgInterfaceBadCriterion = "收敛标准应大于0, 迭代次数应在1至100之间.";
inline constexpr const char* kMsgInterfaceTooSmall = "网格太小(行列数应不少于4).";

struct InterfaceJob {
  std::string inputPath, outputPath;
  std::string fitPath;  // the computed anomaly; empty: not written
  InterfaceParams params;
};

struct InterfaceRunResult {
  Outcome outcome;
  InterfaceResult result;
};

// Reads the grid, inverts, and writes the interface ("#SRNTHGRIDB#", method "密度界面反演" or
// "磁性界面反演", the note giving z0) and, when asked, the computed anomaly ("界面正演异常").
InterfaceRunResult runInterfaceInversion(const InterfaceJob& job, Progress& progress = noProgress());

// The report: iterations, convergence, RMS of the last change, RMS misfit.
std::string interfaceReport(const InterfaceRunResult& r);

}  // namespace sarnoth::gravmag
