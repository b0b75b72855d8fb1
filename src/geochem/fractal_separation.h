// Two-dimensional fractal processing (the tool "二维分形处理"): a grid separated into background
// and anomaly grids by the concentration–area (C–A) or the spectrum–area (S–A) method, with the
// log–log plot and its break points.
//
// C–A (Cheng, Agterberg & Ballantyne 1994, The separation of geochemical anomalies from
// background by fractal methods, Journal of Geochemical Exploration 51, 109–130). For thresholds
// ρ, A(ρ) is the area of the nodes whose value is at least ρ (count × dx·dy, map units²). Where
// the values are multifractal, log A against log ρ falls on straight segments, one per
// population, and the breaks between them are the thresholds. Levels: `levels` values of ρ
// evenly spaced in log10 from the smallest positive node to the largest (nodes ≤ 0 cannot stand
// on the log axis and are left out of the plot; they fall in the background). Separation by the
// breaks b_1 < … < b_k: the anomaly grid keeps the nodes ≥ b_k, the background grid those < b_1,
// each -1E+38 elsewhere; with two breaks the nodes between them (the weak anomaly) are in neither.
//
// S–A (Cheng, Xu & Grunsky 1999, Integrated spatial and spectrum analysis for geochemical anomaly
// separation, Proc. IAMG'99, 87–92; Cheng, Xu & Grunsky 2000, Multifractal power spectrum–area
// method for geochemical anomaly separation, Natural Resources Research 9, 43–51). The grid is
// taken to the wavenumber domain by the frequency-domain tool's own path (gravmag/spectral_grid.h:
// null fill, edge extension, padding to powers of two, the radix-2 transform), and the power
// S = |F|² of every wavenumber but the zero one is plotted as the area A(S) of the wavenumbers
// whose power is at least S (a count of wavenumbers of the whole plane × Δkx·Δky in (cycles per
// unit)², so that the half plane kept by the transform counts twice off its two self-conjugate
// rows) against S, log–log, at `levels` values of S evenly spaced in log10. Separation by the
// breaks s_1 < … < s_k: the background filter passes the wavenumbers with S ≥ s_k and the zero
// wavenumber (the mean), the anomaly filter those with S < s_k (with two breaks only s_1 ≤ S <
// s_k: what lies below s_1 is noise, dropped); each filtered spectrum goes back to the space
// domain, and the nulls of the input are restored. With one break the two grids add up to the
// input (to the transform's single-precision rounding, about 1e-5 of the range).
//
// Break points. fitBreaks places k = 1 or 2 breaks by exhaustive search: the points are cut into
// k + 1 runs of at least three consecutive points, each run fitted by least squares in log–log
// (fractal_series.h fitLogLog), and the cut with the least total squared residual wins. A break
// stands where the two neighbouring lines cross, kept between the last point of the lower run
// and the first of the upper one (the boundary point when the lines do not cross there). Breaks
// may also be given, and segmentsFor fits the runs they make.
// Accuracy: the series are exact counts; the breaks are as good as the straight-line model.
// Where it fails: a grid without positive data (C–A) or without data (S–A), fewer than 6 points
// for one break or 9 for two.
#pragma once

#include <string>
#include <vector>

#include "display/chart.h"
#include "geochem/fractal_series.h"
#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::geochem {

inline constexpr const char* kFractal2DCaption = "二维分形处理";
inline constexpr const char* kFractalCAMethod = "FractalCA";
inline constexpr const char* kFractalSAMethod = "FractalSA";
inline constexpr const char* kMsgFractalNoGrid = "请选择网格数据文件。";
inline constexpr const char* kMsgFractalNoData = "网格中没有有效数据.";
inline constexpr const char* kMsgFractalFewPoints = "双对数图上的点太少, 不能分段拟合。";
inline constexpr const char* kMsgFractalBreaks = "分界点必须是一至两个递增的正数。";
inline constexpr const char* kMsgFractalNoName = "请给定保存数据文件名。";
inline constexpr const char* kBackgroundSuffix = "_B";
inline constexpr const char* kAnomalySuffix = "_A";

enum class FractalMethod { ConcentrationArea = 0, SpectrumArea = 1 };
const std::vector<std::string>& fractalMethodCaptions();  // "含量-面积(C-A)", "能谱-面积(S-A)"

// A log–log series: the thresholds (ρ or S) and the areas above them.
struct AreaSeries {
  std::vector<double> threshold, area;
};

AreaSeries concentrationAreaSeries(const Grid& grid, int levels);

// The power spectrum of a grid, the half plane with each wavenumber's weight in the whole plane.
struct PowerSpectrum {
  std::string failure;
  int nxp = 0, nyp = 0;
  double cellArea = 0;        // Δkx·Δky, (cycles per unit)²
  std::vector<double> power;  // (nyp/2 + 1) rows of nxp, the zero wavenumber included
  std::vector<float> weight;  // 1 or 2 per element, 0 for the zero wavenumber
};
PowerSpectrum powerSpectrum(const Grid& grid, Progress& progress = noProgress());
AreaSeries spectrumAreaSeries(const PowerSpectrum& spectrum, int levels);

struct BreakFit {
  std::string failure;
  std::vector<double> breaks;       // thresholds, increasing
  std::vector<LogLogFit> segments;  // k + 1 lines, lowest threshold first
  std::vector<int> firstPoint;      // index of each run's first point
};
BreakFit fitBreaks(const AreaSeries& s, int breakCount);
// The lines of the runs that given breaks make (a point at a break goes with the upper run).
BreakFit segmentsFor(const AreaSeries& s, const std::vector<double>& breaks);
// "3.5, 12" → the breaks; false unless one or two increasing positive numbers stand there.
bool parseBreaks(const std::string& text, std::vector<double>& breaks);

struct Separation {
  std::string failure;
  std::vector<float> background, anomaly;  // nx·ny, -1E+38 where a grid holds nothing
};
Separation separateConcentrationArea(const Grid& grid, const std::vector<double>& breaks);
Separation separateSpectrumArea(const Grid& grid, const std::vector<double>& breaks,
                                Progress& progress = noProgress());

struct FractalJob {
  std::string gridPath;  // the input grid
  FractalMethod method = FractalMethod::ConcentrationArea;
  int levels = 40;
  int breakCount = 1;      // 1 or 2, when no breaks are given
  std::string breaksText;  // given breaks; empty: fitted
  std::string outputName;  // Grid_Dat\<name>_B.grd and <name>_A.grd
};

struct FractalRunResult {
  Outcome outcome;
  AreaSeries series;
  BreakFit fit;
  std::vector<std::string> report;
  std::vector<std::string> paths;  // background, anomaly
};

// Computes the series and the breaks only (the plot before the user settles the breaks).
FractalRunResult analyseFractal(const FractalJob& job, Progress& progress = noProgress());
// The whole run: the series, the breaks, and the two grids written with "#HLTWRGRIDB#".
// An existing file is replaced only when `ui` answers Yes.
FractalRunResult runFractalSeparation(const std::string& workPath, const FractalJob& job,
                                      Interaction& ui, Progress& progress = noProgress());

// The log–log plot: the points, the fitted lines, the breaks as vertical marks.
chart::Chart fractalChart(const AreaSeries& s, const BreakFit& fit, FractalMethod method);

}  // namespace sarnoth::geochem
