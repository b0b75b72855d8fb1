// A grid through the wavenumber domain: the frequency-domain tool's null fill, edge extension,
// padding, spectrum mirroring and row compaction, and the one apply routine that owns them.
//
// What applySpectral computes, for a grid of nx columns and ny rows (row 0 at the bottom) and
// one or more stages, each a filter of the spectrum's rows:
//   1. fillNullsByPlane: a least-squares polynomial over every node above −1E+36 (degree 1:
//      the terms 1, x, y), which survives only in the null nodes (exactly −1E+38) of the last
//      column; every other null is left for the extension.
//   2. the padded sizes nxp, nyp (fft.h paddedSize) and extendGrid2D: each row extended by
//      extendRow1D (null runs bridged by a half cosine, the tail tapered to zero towards both
//      ends), then rows ny+1.. tapered from the last and the first row. A grid whose nx is a
//      power of two skips the row extension, nulls included; likewise ny for the columns.
//   3. the forward transform (fft2d, direction +1).
//   4. per stage: the filter of rows J = 1..nyp/2+1 (1-based, the half plane of non-negative
//      row wavenumbers), mirrorSpectrum for the rest, the inverse transform, the real parts of
//      the first ny rows and nx columns (compactRows).
// The caller restores the nulls (restoreNulls): every node below −1E+30 in the input is that
// value again in the output, whatever the transform made of it.
//
// Units of the frame the filters see: v = (J−1)·c/nyp along the rows (north) and
// u = (k−1)·r·c/nxp along a row (east), r = dy/dx, c = 2π as a single: radians per row
// spacing dy. kernelRows offers the same spectrum to kernels that take wavenumbers in radians
// per unit of length instead.
//
// Reference: the method as in Bhattacharyya (1966) and Blakely, "Potential Theory in Gravity and
// Magnetic Applications" (1995), ch. 12: extend, transform, multiply by a response, invert.
//
// Accuracy: single precision at rest; the fit is accumulated in double. The cosine extension
// leaves edge effects of a few per cent of the field's range within about a tenth of the grid
// of the borders: trim edges before comparing with an exact answer.
//
// Where it fails (the handler's texts, nothing computed): nx or ny of 1 (the fit divides by
// nx − 1 and ny − 1: "溢出" for 0/0, "除数为零" otherwise), a padded size one more than the data
// size (the extension's taper has no step: "除数为零"), a spectrum or field that overflows the
// single range, as a grid whose nx is a power of two and that holds nulls does ("溢出"), a
// padded grid beyond kMaxSpectrumElements ("内存溢出"); a grid without data is refused
// (kMsgNoData).
#pragma once

#include <complex>
#include <functional>
#include <string>
#include <vector>

#include "gravmag/fft.h"
#include "workarea/progress.h"

namespace sarnoth::gravmag {

// The run-time failures, in the words of the system's error handler.
inline constexpr const char* kErrDivideByZero = "除数为零";
inline constexpr const char* kErrOverflow = "溢出";
inline constexpr const char* kErrOutOfMemory = "内存溢出";
// A grid without one datum.
inline constexpr const char* kMsgNoData = "网格中没有有效数据.";
// What the fit prints on the form when its matrix has no pivot.
inline constexpr const char* kPlaneNoPivotNote = "MAX(A)=0";

// The extension's π, a single.
inline constexpr float kExtensionPi = 3.141593f;
// Padded grids beyond 16384 × 16384 elements (2 GiB of spectrum, twice that in the multi-stage
// modes) are refused before anything is allocated.
inline constexpr long long kMaxSpectrumElements = 1LL << 28;
// The fit's normal equations have a fixed stride of 1025, which bounds the number of terms.
inline constexpr int kPlaneMaxTerms = 1025;

// --- the steps, each usable alone ------------------------------------------------------------

struct PlaneFit {
  std::vector<double> coefficients;  // one per term; zeros when not solved
  bool solved = false;               // false: no pivot ("MAX(A)=0"), the surface is 0
  std::string failure;               // a run-time failure of the fit (nx or ny of 1)
};

// The least-squares polynomial of `degree` over the nodes above −1E+36 of `grid` (nx·ny, row
// major). Term t belongs to the smallest degree e with (e+1)(e+2)/2 ≥ t and is x^i·y^(e−i),
// i = (e+1)(e+2)/2 − t. A point of 1-based row R and column C enters with
// x = (R−1)/(nx−1), y = (C−1)/(ny−1): the row index runs against nx. Solved by Gauss-Jordan
// elimination pivoting on the largest absolute element among the rows not yet used.
PlaneFit fitNullPlane(const float* grid, int nx, int ny, int degree = 1);
// The polynomial at (x, y).
double planeValue(const PlaneFit& fit, int degree, double x, double y);
// The fill as the tool applies it: the nulls (exactly −1E+38) of the last column take the
// surface at x = (C−1)/(nx−1), y = (R−1)/(ny−1) (the evaluation's axes do not match the
// fit's; this is kept); everything else is left.
void fillLastColumnNulls(float* grid, int nx, int ny, const PlaneFit& fit, int degree = 1);

// Extends a row of n data in a[0..m−1] to the padded length m (null: exactly −1E+38):
// interior null runs are bridged by rightVal − (rightVal − leftVal)·0.5·(cos(k·π/(g+1)) + 1),
// whose left anchor is the row's last value (0 for a run at the start); a run that reaches the
// end is not bridged; then K = (m − left)/2 (half to even) values taper leftVal and a[0] to zero
// towards the middle of the pad. False when K is 0 (the taper's step divides by zero).
bool extendRow1D(float* a, int n, int m);
// Extends the nx × ny grid held at the start of `work` (nxp·nyp floats) in place to nxp × nyp.
// Returns "" or the failure text.
std::string extendGrid2D(float* work, int nx, int ny, int nxp, int nyp);
// Rows J = 2..nyp/2 mirrored into rows nyp+2−J as complex conjugates, columns reversed
// (column 1 stays column 1): the spectrum of a real field from its half plane.
void mirrorSpectrum(CFloat* spectrum, int nxp, int nyp);
// The real parts of the first ny rows and nx columns of an nxp-wide array, compact.
void compactRows(const CFloat* spectrum, int nxp, int nx, int ny, float* out);

// Every node below −1E+30 of `orig` is copied into `result`; the others keep the result and
// give its extremes (starting at −1E+20 and 1E+20, as the header then shows them).
void restoreNulls(const std::vector<float>& orig, std::vector<float>& result, float& zMin,
                  float& zMax);

// --- the apply routine -----------------------------------------------------------------------

// The frame of a spectrum row: sizes and the ratio r = dy/dx.
struct SpectrumFrame {
  int nxp = 1, nyp = 1;
  float r = 1;
  int half() const { return nxp / 2 + 1; }
};

// Filters spectrum row J (1-based; J ≤ nyp/2+1) of nxp elements in place. Returns false on a
// division by zero.
using RowFilter = std::function<bool(CFloat* row, int J)>;

struct SpectralStage {
  RowFilter filter;
  // True when the filter keeps state from row to row (the tool's matched and strike filters):
  // rows are then filtered in order J = 1, 2, … on one thread.
  bool ordered = true;
};

struct ApplyOptions {
  int threads = 0;  // 0: one per core
};

struct SpectralResult {
  std::string failure;                  // the handler's text, or kMsgNoData
  bool cancelled = false;               // the progress asked to stop
  std::string formNote;                 // kPlaneNoPivotNote when the fill had no pivot
  int nxp = 0, nyp = 0;                 // the padded sizes used
  std::vector<std::vector<float>> out;  // per stage: nx·ny, nulls not yet restored
  bool ok() const { return failure.empty() && !cancelled; }
};

// Steps 1 to 4 above for `stages` (one output per stage). `ratio` is dy/dx, handed to the
// filters in the frame; they are made by the caller with `makeStages` once the padded sizes are
// known.
using StageMaker = std::function<std::vector<SpectralStage>(const SpectrumFrame& frame)>;
SpectralResult applySpectral(const std::vector<float>& grid, int nx, int ny, float ratio,
                             const StageMaker& makeStages, Progress& progress = noProgress(),
                             const ApplyOptions& options = {});

// A kernel: the complex response at the wavenumbers kx (east, along a row) and ky (north, across
// rows) in radians per unit of length. The spectrum's convention is F(k) = Σ f(x)·e^(−ik·x), so
// ∂/∂x is i·kx, and a field continued upward by h is e^(−|k|h).
using Kernel = std::function<std::complex<double>(double kx, double ky)>;
// The row filter that multiplies every element of the half plane by a kernel, for node spacings
// dx (columns) and dy (rows). The Nyquist column takes kx = +π/dx.
RowFilter kernelRows(const SpectrumFrame& frame, double dx, double dy, Kernel kernel);

}  // namespace sarnoth::gravmag
