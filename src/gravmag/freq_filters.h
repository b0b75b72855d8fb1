// The responses of the frequency-domain tool, and the row filters that apply them to the half
// plane of a spectrum as the tool does.
//
// Frame (spectral_grid.h): row J = 1..nyp/2+1, column k = 1..nxp; half = nxp/2 + 1;
// v = (J−1)·c/nyp; du = r·c/nxp, u = (k−1)·du for k ≤ half; s = (u² + v²)^0.5; c is c1 or c2
// below; r = dy/dx. So v and u are radians per row spacing dy: the lengths the filters take
// (heights, depths) are in row spacings, and derivatives come out per row spacing. Unless a
// filter says otherwise its factor at column k also multiplies the mirror column nxp+2−k, except
// for k = 1 and k = half; factors are real unless said, and multiply both parts.
//
// The pure responses (the *Response functions) are functions of the wavenumber alone, for
// reuse; the *Rows functions wrap them in the tool's row loops, with every irregularity the tool
// has, which is part of its behaviour and kept on purpose:
//   - the Y derivative multiplies the mirror column by the negated factor in both orders, so its
//     second order gets +u² there;
//   - the matched filter raises C to the power `sign` at every row and keeps it (with sign −1
//     rows alternate between 1/C and C);
//   - the Hanning filter's pass band (s ≤ F1) multiplies the mirror column alone;
//   - the strike filter converts θ from degrees to radians again at every row;
//   - the mirror columns of the strike filter take column k's factor.
//
// References: continuation and derivatives, Blakely (1995) Potential Theory in Gravity and
// Magnetic Applications, §12.1–12.3; matched filter, Spector & Grant (1970) Geophysics 35,
// 293–302 and Syberg (1972) Geophys. Prospecting 20, 47–75; pseudo-gravity, Baranov (1957)
// Geophysics 22, 359–383; reduction to the pole, Baranov & Naudy (1964) Geophysics 29, 67–79;
// apparent susceptibility, the field of a layer of vertical prisms, whose horizontal response
// per axis is the block response 2·sin(u/2)/u (Bhattacharyya (1966) Geophysics 31, 97–121).
//
// Accuracy: factors in double, elements stored in single. The continuation exponent is clamped
// to ±75 (a factor of e^75 ≈ 4e32 at most), the matched filter's to 75.
#pragma once

#include "gravmag/spectral_grid.h"

namespace sarnoth::gravmag {

// The two 2π of the tool, singles: c1 for continuation, matched, Hanning, strike and pole
// reduction, c2 for derivatives, pseudo-gravity and susceptibility.
inline constexpr float kTwoPiC1 = 6.283185958862305f;
inline constexpr float kTwoPiC2 = 6.2831854820251465f;
// π as the filters hold it (the single nearest 3.141593).
inline constexpr float kFilterPi = 3.1415929794311523f;
// π/2 for the pole reduction's k = 1 column.
inline constexpr float kHalfPi = 1.5707963705062866f;
// Degrees to radians: the pole reduction's and the directional derivative's.
inline constexpr float kPoleDegToRad = 0.01745329f;
inline constexpr float kDirDegToRad = 0.017453293f;
// The exponent limit of continuation and the matched filter.
inline constexpr float kExpClamp = 75.0f;

// --- pure responses (s, u, v in radians per row spacing) ----------------------------------------

// Continuation: e^t, t = s·h·dxUnit clamped to ±75 (h negative upward, in row spacings when
// dxUnit = 1).
double continuationResponse(float s, float h, float dxUnit);
// Vertical derivative of order p (negative: integration): s^p; at s = 0: (du·0.5)^p for p < 0,
// 0 for p > 0, 1 for p = 0.
double verticalDerivativeResponse(float s, float p, float du);
// Matched filter 1/(1 + C·e^t), t = s·D clamped above at 75.
double matchedResponse(float s, float C, float D);
// Hanning band: 1 below F1 (times (sign+1)/2 where applied), (1−sign)/2 above F2, and
// (sign·cos(π(s−F1)/(F2−F1)) + 1)/2 between; F = 2πf.
double hanningResponse(float s, float F1, float F2, float sign);
// Apparent susceptibility: F·T2, the divisor (see the tool's table).
double susceptibilityDivisor(int J, int k, float u, float v, float s, float T2, float H);
// The pole reduction's divisor d for wavenumber direction θ (radians from the row axis u):
// order 1 (sI, q), order 2 (sI² − q², 2·sI·q), q = A·cosθ + B·sinθ.
std::complex<double> poleDivisor(float sI, float A, float B, float theta, int order);

// --- the tool's row filters ---------------------------------------------------------------------

// Mode 220: h = txtPar1 (row spacings, negative upward), dxUnit = DX / UnitF.
RowFilter continuationRows(const SpectrumFrame& f, float h, float dxUnit);
// Mode 210, index 0: order p = txtPar1.
RowFilter verticalDerivativeRows(const SpectrumFrame& f, float p);
// Mode 210, index 1: derivative along the rows' axis (north), w = v, order 1 or 2 (any other
// order: zero).
RowFilter xDerivativeRows(const SpectrumFrame& f, float order);
// Mode 210, index 2: derivative along a row (east), w = u, with the mirror asymmetry.
RowFilter yDerivativeRows(const SpectrumFrame& f, float order);
// Mode 210, index 3: φ = (90 − decl − α)·0.017453293; element = (X factor)·cos φ +
// (Y factor)·sin φ.
RowFilter directionalDerivativeRows(const SpectrumFrame& f, float order, float alpha, float decl);
// Mode 230: T = txtPar1 (normal field), H = txtPar2 (thickness in spacings).
RowFilter susceptibilityRows(const SpectrumFrame& f, float T, float H);
// Mode 240: T = txtPar1, ρ = txtPar2; K = 10^6·6.67E-08·ρ/T, element times K/s, the
// zero-wavenumber element left alone.
RowFilter pseudoGravityRows(const SpectrumFrame& f, float T, float rho);
// Mode 200, index 0: H1, H2, C, sign; C lives in `state` and changes from row to row.
struct MatchedState {
  float C = 0.1f;
};
RowFilter matchedRows(const SpectrumFrame& f, float H1, float H2, MatchedState& state, float sign);
// Mode 200, index 1: f1, f2 in cycles per spacing.
RowFilter hanningRows(const SpectrumFrame& f, float f1, float f2, float sign);
// Mode 200, index 2: a, b, c, d (txtPar1, txtPar11, txtPar2, txtPar22), θ in `state`.
struct StrikeState {
  float theta = 45.0f;
};
RowFilter strikeRows(const SpectrumFrame& f, float a, float b, float c, float d, StrikeState& state,
                     float sign);
// Mode 500: I and azim in degrees, order 1 or 2. Fails (division by zero) where d is 0.
RowFilter poleRows(const SpectrumFrame& f, float inclination, float azim, int order);

}  // namespace sarnoth::gravmag
