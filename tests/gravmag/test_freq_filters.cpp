// The tool's row filters on a 4 × 4 spectrum of ones, against factors worked by hand from the
// stated rules, irregularities included: the Y derivative's mirror sign, the matched filter's
// alternating C, the Hanning pass band on the mirror alone, the strike angle converted again at
// every row, and the pole reduction's divisor on both sides of the half column.
#include <gtest/gtest.h>

#include <cmath>

#include "gravmag/freq_filters.h"

namespace sarnoth::gravmag {
namespace {

// nxp = nyp = 4, r = 1: half = 3, the mirror of column 2 is column 4 (index 3).
const SpectrumFrame kFrame{4, 4, 1.0f};

std::array<CFloat, 4> ones() { return {CFloat{1, 0}, CFloat{1, 0}, CFloat{1, 0}, CFloat{1, 0}}; }

TEST(RowFilters, YDerivativeNegatesTheMirrorInBothOrders) {
  const float du = kTwoPiC2 / 4;  // u of column 2
  auto row = ones();
  ASSERT_TRUE(yDerivativeRows(kFrame, 2.0f)(row.data(), 2));
  EXPECT_FLOAT_EQ(row[1].re, -(du * du));
  EXPECT_FLOAT_EQ(row[2].re, -(2 * du) * (2 * du));
  EXPECT_FLOAT_EQ(row[3].re, du * du);  // +u² on the mirror: kept
  row = ones();
  ASSERT_TRUE(yDerivativeRows(kFrame, 1.0f)(row.data(), 2));
  EXPECT_FLOAT_EQ(row[1].im, du);
  EXPECT_FLOAT_EQ(row[3].im, -du);
  EXPECT_EQ(row[0].re, 0.0f);
  EXPECT_EQ(row[0].im, 0.0f);
}

TEST(RowFilters, XDerivativeUsesTheRowWavenumberAndClearsTheOrigin) {
  const float v = kTwoPiC2 / 4;  // row J = 2
  auto row = ones();
  ASSERT_TRUE(xDerivativeRows(kFrame, 1.0f)(row.data(), 2));
  for (const CFloat& e : row) {
    EXPECT_EQ(e.re, 0.0f);
    EXPECT_FLOAT_EQ(e.im, v);
  }
  row = ones();
  ASSERT_TRUE(xDerivativeRows(kFrame, 3.0f)(row.data(), 2));  // neither 1 nor 2: zero
  for (const CFloat& e : row) EXPECT_EQ(e.re, 0.0f);
}

TEST(RowFilters, VerticalDerivativeOfOrderZeroClearsOnlyTheZeroWavenumber) {
  auto row = ones();
  ASSERT_TRUE(verticalDerivativeRows(kFrame, 0.0f)(row.data(), 1));
  EXPECT_EQ(row[0].re, 0.0f);
  for (int k = 1; k < 4; ++k) EXPECT_EQ(row[k].re, 1.0f);
  // Order 1 at row 1: s = u.
  row = ones();
  ASSERT_TRUE(verticalDerivativeRows(kFrame, 1.0f)(row.data(), 1));
  EXPECT_FLOAT_EQ(row[2].re, 2 * kTwoPiC2 / 4);
}

TEST(RowFilters, ContinuationClampsItsExponent) {
  auto row = ones();
  ASSERT_TRUE(continuationRows(kFrame, -1.0f, 1.0f)(row.data(), 1));
  EXPECT_FLOAT_EQ(row[1].re, std::exp(-kTwoPiC1 / 4));
  EXPECT_FLOAT_EQ(row[3].re, row[1].re);
  row = ones();
  ASSERT_TRUE(continuationRows(kFrame, 1000.0f, 1.0f)(row.data(), 1));
  EXPECT_FLOAT_EQ(row[1].re, static_cast<float>(std::exp(75.0)));
}

TEST(RowFilters, MatchedFilterAlternatesItsRatioFromRowToRow) {
  // sign −1: row 1 uses C = 1/0.1 = 10, row 2 C = 0.1 again; D = (H1 − H2)·sign = −9.
  MatchedState state{0.1f};
  RowFilter f = matchedRows(kFrame, 10.0f, 1.0f, state, -1.0f);
  auto r1 = ones(), r2 = ones();
  ASSERT_TRUE(f(r1.data(), 1));
  EXPECT_NEAR(state.C, 10.0f, 1e-5);
  EXPECT_NEAR(r1[0].re, 1.0 / 11.0, 1e-7);  // s = 0 at the origin
  ASSERT_TRUE(f(r2.data(), 2));
  EXPECT_NEAR(state.C, 0.1f, 1e-7);
  const double v = kTwoPiC1 / 4;
  EXPECT_NEAR(r2[0].re, 1.0 / (1.0 + 0.1 * std::exp(-9.0 * v)), 1e-6);
}

TEST(RowFilters, HanningPassBandTouchesTheMirrorAlone) {
  // High pass (sign −1) with every s below F1: columns 1 and 2 are left, the half column and
  // the mirror of column 2 are multiplied by (sign + 1)/2 = 0.
  auto row = ones();
  ASSERT_TRUE(hanningRows(kFrame, 10.0f, 20.0f, -1.0f)(row.data(), 1));
  EXPECT_EQ(row[0].re, 1.0f);
  EXPECT_EQ(row[1].re, 1.0f);
  EXPECT_EQ(row[2].re, 0.0f);
  EXPECT_EQ(row[3].re, 0.0f);
  // Above F2 both sides take (1 − sign)/2 = 1 for the high pass, 0 for the low pass.
  row = ones();
  ASSERT_TRUE(hanningRows(kFrame, 0.001f, 0.002f, 1.0f)(row.data(), 2));
  for (const CFloat& e : row) EXPECT_EQ(e.re, 0.0f);
}

TEST(RowFilters, StrikeAngleIsConvertedAgainAtEveryRow) {
  StrikeState state{90.0f};
  RowFilter f = strikeRows(kFrame, 0.155f, 0.031f, 0.0755f, 0.02325f, state, 1.0f);
  auto row = ones();
  ASSERT_TRUE(f(row.data(), 1));
  EXPECT_NEAR(state.theta, 1.5707965f, 1e-6);
  ASSERT_TRUE(f(row.data(), 2));
  EXPECT_NEAR(state.theta, 1.5707965f * kFilterPi / 180.0f, 1e-7);
  // Zero widths divide by zero.
  StrikeState s2{45.0f};
  EXPECT_FALSE(strikeRows(kFrame, 0, 0, 0, 0, s2, 1.0f)(row.data(), 1));
}

TEST(RowFilters, PoleReductionDividesByTheFieldOperatorOnBothSides) {
  // I = 45°, azim = 0: A = cos 45°, B = 0. Row 1, column 2: θ = 0, q = A, d = (sin I, A);
  // 1/d = (0.7071, −0.7071)/1. The mirror (θ = π): q = −A, 1/d = (0.7071, +0.7071).
  auto row = ones();
  ASSERT_TRUE(poleRows(kFrame, 45.0f, 0.0f, 1)(row.data(), 1));
  EXPECT_EQ(row[0].re, 1.0f);  // the zero wavenumber is skipped
  EXPECT_NEAR(row[1].re, 0.70710677, 1e-6);
  EXPECT_NEAR(row[1].im, -0.70710677, 1e-6);
  EXPECT_NEAR(row[3].re, 0.70710677, 1e-6);
  EXPECT_NEAR(row[3].im, 0.70710677, 1e-6);
  // Order 2 divides by (sI + i·q)² = (0, 1): 1/i = −i.
  row = ones();
  ASSERT_TRUE(poleRows(kFrame, 45.0f, 0.0f, 2)(row.data(), 1));
  EXPECT_NEAR(row[1].re, 0.0, 1e-6);
  EXPECT_NEAR(row[1].im, -1.0, 1e-6);
  // I = 90 with azim 0 leaves the spectrum alone.
  row = ones();
  ASSERT_TRUE(poleRows(kFrame, 90.0f, 0.0f, 2)(row.data(), 2));
  for (const CFloat& e : row) EXPECT_EQ(e.re, 1.0f);
}

TEST(RowFilters, PseudoGravityAndSusceptibilityRefuseAZeroField) {
  auto row = ones();
  EXPECT_FALSE(pseudoGravityRows(kFrame, 0.0f, 0.45f)(row.data(), 2));
  // With a field: K/s, the origin left alone.
  row = ones();
  ASSERT_TRUE(pseudoGravityRows(kFrame, 0.54f, 0.45f)(row.data(), 1));
  EXPECT_EQ(row[0].re, 1.0f);
  const double K = 1e6 * 6.67e-08 * 0.45f / 0.54f;
  EXPECT_NEAR(row[1].re, K / (kTwoPiC2 / 4), 1e-5);
  EXPECT_NEAR(row[3].re, row[1].re, 1e-6);
  row = ones();
  EXPECT_FALSE(susceptibilityRows(kFrame, 0.0f, 0.5f)(row.data(), 1));
  // H below 1 takes S = s: at row 2, column 2, F = 4·sin(u/2)·sin(v/2)·s/(v·u), divided by
  // F·2π·T.
  row = ones();
  ASSERT_TRUE(susceptibilityRows(kFrame, 0.54f, 0.5f)(row.data(), 2));
  const double u = kTwoPiC2 / 4, v = kTwoPiC2 / 4, s = std::hypot(u, v);
  const double F = 4 * std::sin(0.5 * u) * std::sin(0.5 * v) * s / (v * u);
  EXPECT_NEAR(row[1].re, 1.0 / (F * kTwoPiC2 * 0.54f), 1e-6);
  // Column 1 of row 2: F = 2·sin(v/2)·S/v.
  EXPECT_NEAR(row[0].re, 1.0 / (2 * std::sin(0.5 * v) * v / v * kTwoPiC2 * 0.54f), 1e-6);
}

}  // namespace
}  // namespace sarnoth::gravmag
