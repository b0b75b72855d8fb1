// VLQAppDllUG.DLL, the closed numeric and rendering library: grid to bitmap, and regression.
//
// The grid image viewer hands the rendering calls a grid file, a target bitmap, the colour scale
// and the width in pixels; they read the grid, render it and write a Windows bitmap. Our
// implementation lies in display/grid_render (geometry, sampling, the graded palette and the
// hillshade formula are stated there). Colours travel in the Windows colour model, red in the
// low byte.
//
// The regression calls take the single-precision samples the regression tool read from its
// table and return single-precision results; inside they work in double precision on an
// orthogonal decomposition (geochem/least_squares.h states the method and its accuracy). Our
// implementation lies in geochem/vlq_regression.cpp.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace sarnoth::vlq {

// An 8-bit palettised bitmap of the grid `width` pixels wide: each node coloured by the level it
// falls in (levels[i] the upper value, colours[i] its colour), nulls in `backColour`, the mesh
// rotation honoured. False when the grid cannot be read, the scale is empty or holds more than
// 256 colours, or the bitmap cannot be written.
bool GEO_GridDataToWinBMP256File(const std::string& gridFile, const std::string& bmpFile,
                                 std::span<const float> levels,
                                 std::span<const std::int32_t> colours, std::int32_t backColour,
                                 int width);

// A 24-bit shaded-relief bitmap: `rgb` is the 3-by-n byte array of the colour scale (n red
// bytes, then n green, then n blue), stretched evenly over the grid's values up to `upper`;
// `saturation` 0 to 100, `elevation` the light's angle above the horizon (0 to 45 on the
// window's slider), `azimuth` the light's direction, degrees clockwise from north (-180 to 180).
bool GEO_DrawReliefMap(const std::string& gridFile, const std::string& bmpFile,
                       std::span<const std::uint8_t> rgb, int colourCount, std::int32_t backColour,
                       int width, float saturation, float elevation, float azimuth,
                       float upper = 1e38f);

// ---- regression --------------------------------------------------------------------------

// Status of the regression calls: 0 for a fit; otherwise why there is none.
inline constexpr std::int32_t kRegressionOk = 0;
inline constexpr std::int32_t kRegressionTooFewSamples = -1;  // n not above the coefficients
inline constexpr std::int32_t kRegressionNotFinite = -2;      // a value is NaN or infinite
// A positive status k: independent column k (1-based) is constant or a linear combination of
// the others, so the coefficients are not determined.

// The `stats` slots of calls 1 and 2 (six singles):
//   0 sum of squared deviations Q = Σ (y − ŷ)²    1 average standard deviation sqrt(Q / (n − p))
//   2 regression sum of squares U = Σ (ŷ − ȳ)²    3 largest |y − ŷ|
//   4 smallest |y − ŷ|                             5 mean of |y − ŷ|
// with p the number of coefficients, constant included.
inline constexpr std::size_t kRegressionStats = 6;

// One-variable regression y = b[0] + b[1]·x on the first n samples. b holds 2 singles.
std::int32_t GEO_ProcessRegression1(std::span<const float> x, std::span<const float> y,
                                    std::int32_t n, std::span<float> b, std::span<float> stats);

// Multiple regression y = b[m] + Σ b[j]·x_j on m independent columns of n samples, column j at
// x[j·n .. j·n + n − 1]. b holds m + 1 singles (the constant last); partial[j] is the partial
// correlation of y with column j, the other columns held fixed.
std::int32_t GEO_ProcessRegression2(std::span<const float> x, std::span<const float> y,
                                    std::int32_t m, std::int32_t n, std::span<float> b,
                                    std::span<float> stats, std::span<float> partial);

// Stepwise regression with F to enter `fIn` and F to remove `fOut` (the two values the tool
// asks for, such as 1.46 and 1.45), on columns laid out as for call 2. Out, for the report:
//   b[0..m−1] coefficients (0 for a column not in the equation), b[m] the constant;
//   means[0..m−1] of the columns, means[m] of y;
//   partialSS[j] the partial regression sum of squares of column j in the equation (0 if out);
//   stdErr[j] the standard deviation of b[j] (0 if out);
//   stats[0] residual sum of squares, [1] estimated standard deviation, [2] multiple
//   correlation R, [3] F of the equation;
//   corr the (m+1)² correlation matrix of the columns and y, row-major;
//   selected[j] 1 when column j is in the equation, else 0.
std::int32_t GEO_ProcessRegression3(std::span<const float> x, std::span<const float> y,
                                    std::int32_t m, std::int32_t n, float fIn, float fOut,
                                    std::span<float> b, std::span<float> means,
                                    std::span<float> partialSS, std::span<float> stdErr,
                                    std::span<float> stats, std::span<float> corr,
                                    std::span<std::int32_t> selected);

inline std::uint8_t GEO_GetRValue(std::int32_t colour) {
  return static_cast<std::uint8_t>(colour & 0xFF);
}
inline std::uint8_t GEO_GetGValue(std::int32_t colour) {
  return static_cast<std::uint8_t>((colour >> 8) & 0xFF);
}
inline std::uint8_t GEO_GetBValue(std::int32_t colour) {
  return static_cast<std::uint8_t>((colour >> 16) & 0xFF);
}

}  // namespace sarnoth::vlq
