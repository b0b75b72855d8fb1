// The filter component's methods (closed/gm_filter_com.h) and the low-latitude reduction to the
// pole (closed/low_latitude_reduction.h): kernels of the wavenumber, applied through the same
// fill, extension and transform as the frequency-domain tool (spectral_grid.h), nulls restored.
//
// Conventions: rows run north, a row runs east, z is down. Wavenumbers kx (east) and ky (north)
// in radians per unit of the grid's coordinates, |k| = (kx² + ky²)^0.5; the spectrum is
// F(k) = Σ f·e^(−ik·x). Lengths the user gives (heights, depths) count in node spacings dx, as
// in the tool; derivatives come out per unit of the coordinates. Directions: inclination I
// positive down, declination D from north clockwise, in degrees. For a unit vector α the
// operator that turns the vertical component of a potential field into its component along α
// is Θα = αz + i·(αN·ky + αE·kx)/|k| (Blakely 1995, §12.3, with this spectrum's sign).
//
// Methods, by the component's code:
//   8  compensated smoothing ("补偿圆滑滤波"): H = 1 − (1 − S)^n, S the response of the
//      (2m+1)×(2m+1) moving average, S = s(kx·dx)·s(ky·dy), s(ω) = sin((2m+1)ω/2) /
//      ((2m+1)·sin(ω/2)). The smoothing applied n times to what the previous passes left, so
//      the pass band is flattened (twicing for n = 2). Kaiser & Hamming (1977) IEEE Trans.
//      ASSP 25, 415–422; Tukey (1977) Exploratory Data Analysis.
//   5  regularised filtering ("正则化滤波"): the Tikhonov solution of downward continuation by
//      h with a gradient stabiliser, H = e^(−|k|h) / (e^(−2|k|h) + α·|k|²); h = 0 gives the
//      smoothing 1/(1 + α|k|²). α in squared spacings. Tikhonov & Arsenin (1977) Solutions of
//      Ill-Posed Problems; Pašteka et al. (2012) Geophys. Prospecting 60, 810–828.
//   10 three components from ΔT ("磁三分量转换"): Za = ΔT/Θf, Hax = (i·ky/|k|)·Za (north),
//      Hay = (i·kx/|k|)·Za (east); three grids beside the output: <name>_Hax, _Hay, _Za.
//      Blakely (1995) §12.3; Lourenço & Morrison (1973) Geophysics 38, 359–368.
//   3  linear enhancement ("线性增强"): the n-th derivative across a strike φ (from north,
//      clockwise), (i·k·ν)^n with ν = (−sin φ, cos φ) in (north, east), after an upward
//      continuation by h (e^(−|k|h)) that keeps noise down: lineaments of that strike stand out.
//      Blakely (1995) §12.1–12.2 (directional derivatives and continuation).
//   7  conversion to any direction ("任意方向转换"): the component of the anomalous field along
//      (Ia, Da) from ΔT measured along (I, D): Θa/Θf. Gunn (1975) Geophys. Prospecting 23,
//      300–312.
// Low-latitude reduction to the pole: the induced-magnetisation operator 1/Θf² written as
// conj(Θf)²/(|Θf|²·|Θf|²) with the second |Θf|² taken at an amplitude-correction inclination
// Ia ≥ |I| instead: the phase of the true reduction, an amplitude that no longer blows up where
// the wavenumber is perpendicular to the horizontal field. MacLeod, Jones & Dai (1993)
// Exploration Geophysics 24, 679–688. Exact (equal to mode 500 up to the frame) when Ia = I.
//
// Accuracy: as the apply routine (single precision, edge effects near the borders). The
// divisions by Θf (codes 10 and 7) are unstable where Θf is near zero, at low inclinations:
// elements with |Θf|² below 1e-6 are set to 0.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "gravmag/spectral_grid.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::gravmag {

enum FilterCode : long {
  kCodeLinearEnhance = 3,
  kCodeRegularised = 5,
  kCodeAnyDirection = 7,
  kCodeCompensated = 8,
  kCodeThreeComponents = 10,
};

// One parameter a component asks for in its own dialog.
struct FilterParam {
  std::string key;    // the option name on the command line
  std::string label;  // the dialog's label
  double value = 0;
};
using FilterParams = std::vector<FilterParam>;
// The components' own dialog: shows the parameters under a title and lets them be edited; false
// when it was cancelled. Empty: the values stand as given.
using ParamDialog = std::function<bool(const std::string& title, FilterParams& params)>;

// The method's name ("补偿圆滑滤波", …), "" for an unknown code.
std::string filterMethodName(long code);
// The parameters of a code with their defaults.
FilterParams filterDefaults(long code);
double paramValue(const FilterParams& params, const std::string& key, double def = 0);

// A unit vector of inclination and declination in (north, east, down).
struct Direction {
  double north = 0, east = 0, down = 1;
};
Direction directionOf(double inclinationDeg, double declinationDeg);

// The kernels (kx east, ky north, radians per unit length).
Kernel compensatedSmoothingKernel(double dx, double dy, int halfWidth, int passes);
Kernel regularisedKernel(double alpha, double depth);
// Θα.
std::complex<double> theta(const Direction& a, double kx, double ky);
// The component along `to` of a field measured along `from`: Θto/Θfrom (0 where |Θfrom|² <
// 1e-6; the zero wavenumber is from.down ≠ 0 ? to.down/from.down : 0).
Kernel componentKernel(const Direction& from, const Direction& to);
Kernel linearEnhancementKernel(double strikeDeg, int order, double height);
// Low-latitude reduction to the pole for induced magnetisation along `field`; `ampInclination`
// in degrees, raised to |I| when smaller.
Kernel lowLatitudePoleKernel(const Direction& field, double inclinationDeg,
                             double ampInclinationDeg);

// The paths of the three grids of code 10 for an output path: <stem>_Hax.grd, _Hay, _Za.
std::vector<std::string> threeComponentPaths(const std::string& outputPath);

// Runs a code on the grid at `input`, writing `output` (code 10: the three grids). Nothing is
// written on failure; texts as the frequency-domain tool's.
Outcome runFilterMethod(long code, const std::string& input, const std::string& output,
                        const FilterParams& params, Progress& progress = noProgress(),
                        int threads = 0);

// The low-latitude reduction of the ΔT grid at `input` into `output`.
Outcome runLowLatitudePole(const std::string& input, const std::string& output, double inclination,
                           double declination, double ampInclination,
                           Progress& progress = noProgress(), int threads = 0);
inline constexpr const char* kLowLatitudeMethod = "低纬度化极";
// Its parameters: I and D (defaults from the grids the component was handed, when it was),
// and the amplitude-correction inclination (20°).
FilterParams lowLatitudeDefaults(double inclination = 0, double declination = 0);

// The mean of the data nodes (above −1E+30) of a grid file; false when it has none or cannot
// be read. For the inclination and declination grids of the low-latitude component.
bool gridMean(const std::string& path, double& mean);

}  // namespace sarnoth::gravmag
