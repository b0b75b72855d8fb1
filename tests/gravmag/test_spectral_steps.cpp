// The transform and the grid steps around it, each on small arrays against values worked by
// hand from the tool's rules, and the transform against a direct DFT.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>

#include "gravmag/fft.h"
#include "gravmag/spectral_grid.h"
#include "workarea/null_value.h"

namespace sarnoth::gravmag {
namespace {

constexpr float N = NULL_VALUE;

std::vector<CFloat> randomSpectrum(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> d(-10.0f, 10.0f);
  std::vector<CFloat> v(static_cast<std::size_t>(n));
  for (auto& e : v) e = {d(gen), d(gen)};
  return v;
}

bool sameBits(const std::vector<CFloat>& a, const std::vector<CFloat>& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (floatBits(a[i].re) != floatBits(b[i].re) || floatBits(a[i].im) != floatBits(b[i].im))
      return false;
  return true;
}

TEST(PaddedSize, SmallestPowerOfTwoNotBelow) {
  const std::pair<int, int> cases[] = {{1, 1},       {2, 2},       {3, 4},        {5, 8},
                                       {6, 8},       {100, 128},   {1024, 1024},  {1025, 2048},
                                       {4095, 4096}, {4096, 4096}, {32767, 32768}};
  for (auto [n, size] : cases) {
    EXPECT_EQ(paddedSize(n).size, size) << n;
    EXPECT_EQ(1 << paddedSize(n).power, size) << n;
  }
}

TEST(Fft1d, MatchesTheDirectTransformWithKernelMinusI) {
  const int n = 64, m = 6;
  auto x = randomSpectrum(n, 7);
  std::vector<float> re(n), im(n);
  for (int i = 0; i < n; ++i) re[i] = x[i].re, im[i] = x[i].im;
  fft1d(re.data(), im.data(), n, m);
  double peak = 0;
  for (int k = 0; k < n; ++k) {
    std::complex<double> s;
    for (int j = 0; j < n; ++j)
      s += std::complex<double>(x[j].re, x[j].im) * std::polar(1.0, -2 * M_PI * j * k / n);
    peak = std::max(peak, std::abs(s));
    // The literal 3.14159 misplaces the angles by 2.7e-6 relative; single precision does the
    // rest.
    EXPECT_NEAR(re[k], s.real(), 2e-4 * std::abs(s) + 2e-3) << k;
    EXPECT_NEAR(im[k], s.imag(), 2e-4 * std::abs(s) + 2e-3) << k;
  }
  EXPECT_GT(peak, 10.0);
}

// fft2d as the rules state it, with the scalar fft1d: the reference for the lane form.
void referenceFft2d(std::vector<CFloat>& a, int nxp, int nyp, int d) {
  const float cr = d < 1 ? static_cast<float>(nxp) : 1.0f;
  const float cc = d < 1 ? static_cast<float>(nyp) : 1.0f;
  if (d < 1)
    for (auto& e : a) e.im = -e.im;
  std::vector<float> re, im;
  re.resize(static_cast<std::size_t>(std::max(nxp, nyp)));
  im.resize(re.size());
  for (int r = 0; r < nyp; ++r) {
    for (int k = 0; k < nxp; ++k) re[k] = a[r * nxp + k].re, im[k] = a[r * nxp + k].im;
    fft1d(re.data(), im.data(), nxp, paddedSize(nxp).power);
    for (int k = 0; k < nxp; ++k) a[r * nxp + k] = {re[k] / cr, im[k] / cr};
  }
  for (int c = 0; c < nxp; ++c) {
    for (int r = 0; r < nyp; ++r) re[r] = a[r * nxp + c].re, im[r] = a[r * nxp + c].im;
    fft1d(re.data(), im.data(), nyp, paddedSize(nyp).power);
    for (int r = 0; r < nyp; ++r) a[r * nxp + c] = {re[r] / cc, im[r] / cc * static_cast<float>(d)};
  }
}

TEST(Fft2d, LanesAndThreadsGiveTheScalarResultBitForBit) {
  for (auto [nxp, nyp] : {std::pair{64, 32}, std::pair{4, 128}, std::pair{256, 2}}) {
    const auto x = randomSpectrum(nxp * nyp, 11);
    for (int d : {+1, -1}) {
      auto ref = x;
      referenceFft2d(ref, nxp, nyp, d);
      for (int threads : {1, 2, 3}) {
        auto got = x;
        Fft2dOptions o;
        o.threads = threads;
        ASSERT_TRUE(fft2d(got, nxp, nyp, d, o));
        EXPECT_TRUE(sameBits(got, ref)) << nxp << "x" << nyp << " d=" << d << " t=" << threads;
      }
    }
  }
}

TEST(Fft2d, InverseReturnsTheInputAndStopsWhenAsked) {
  const int nxp = 128, nyp = 64;
  const auto x = randomSpectrum(nxp * nyp, 3);
  auto a = x;
  fft2d(a, nxp, nyp, +1);
  fft2d(a, nxp, nyp, -1);
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_NEAR(a[i].re, x[i].re, 1e-4);
    EXPECT_NEAR(a[i].im, x[i].im, 1e-4);
  }
  Fft2dOptions o;
  o.tick = [](long long, long long) { return false; };
  EXPECT_FALSE(fft2d(a, nxp, nyp, +1, o));
}

TEST(ExtendRow1D, TapersAFullRowToBothEnds) {
  // n 3, m 8: K = round(2.5) = 2, step π/2; w1 = 0.5, w2 = 0; 2K ≠ 5 so a[6] = 0.
  std::vector<float> a = {1, 2, 3, 9, 9, 9, 9, 9};
  ASSERT_TRUE(extendRow1D(a.data(), 3, 8));
  const float want[] = {1, 2, 3, 1.5f, 0, 0, 0, 0.5f};
  for (int i = 0; i < 8; ++i) EXPECT_NEAR(a[i], want[i], 1e-6) << i;
}

TEST(ExtendRow1D, BridgesAGapFromTheRowsLastValue) {
  // Gap at 2..3 bridged towards a[4] = 1 from the anchor a[6] = 6 (not a[1] = 4):
  // a[2] = 1 − (1 − 6)·0.5·(cos(π/3) + 1) = 4.75, a[3] = 1 + 2.5·0.5 = 2.25.
  std::vector<float> a = {4, N, N, 1, 2, 6, 9, 9};
  ASSERT_TRUE(extendRow1D(a.data(), 6, 8));
  const float want[] = {4, 4.75f, 2.25f, 1, 2, 6, 0, 0};
  for (int i = 0; i < 8; ++i) EXPECT_NEAR(a[i], want[i], 1e-5) << i;
}

TEST(ExtendRow1D, LeadingNullBecomesZeroAndAPadOfOneFails) {
  // A null at the start: left = 1, anchor 0, nothing to bridge; a[1] becomes 0 before the
  // taper: K = 2, a[5] = 7·0.5, a[8] = 0·0.5.
  std::vector<float> a = {N, 5, 6, 7, 9, 9, 9, 9};
  ASSERT_TRUE(extendRow1D(a.data(), 4, 8));
  const float want[] = {0, 5, 6, 7, 3.5f, 0, 0, 0};
  for (int i = 0; i < 8; ++i) EXPECT_NEAR(a[i], want[i], 1e-6) << i;
  // m − n = 1 gives K = 0: the taper's step would divide by zero.
  std::vector<float> b = {1, 2, 3, 0};
  EXPECT_FALSE(extendRow1D(b.data(), 3, 4));
}

TEST(ExtendGrid2D, TapersRowsAndZeroesTheOddOne) {
  // 2 × 5 to 2 × 8: nx a power of two, no row extension; K = round(1.5) = 2 (ties to even),
  // row 6 = 0.5·row 5, row 8 = 0.5·row 1 then zeroed as row NY+K+1; row 7 ≈ 0.
  std::vector<float> w(16, 99.0f);
  const float rows[5][2] = {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {10, 20}};
  for (int r = 0; r < 5; ++r) w[r * 2] = rows[r][0], w[r * 2 + 1] = rows[r][1];
  ASSERT_EQ(extendGrid2D(w.data(), 2, 5, 2, 8), "");
  EXPECT_FLOAT_EQ(w[10], 5.0f);
  EXPECT_FLOAT_EQ(w[11], 10.0f);
  EXPECT_NEAR(w[12], 0.0f, 1e-6);
  EXPECT_EQ(w[14], 0.0f);
  EXPECT_EQ(w[15], 0.0f);
  // 3 rows to 4: no step for the taper.
  std::vector<float> v(8, 1.0f);
  EXPECT_EQ(extendGrid2D(v.data(), 2, 3, 2, 4), kErrDivideByZero);
}

TEST(MirrorSpectrum, FillsTheLowerHalfWithConjugates) {
  const int nxp = 4, nyp = 4;
  std::vector<CFloat> s(16);
  for (int k = 0; k < 4; ++k) s[4 + k] = {float(k + 1), float(10 * (k + 1))};  // row J = 2
  mirrorSpectrum(s.data(), nxp, nyp);
  // (4, 4+2−k) = conj(2, k): row 4 holds (1,−10), (4,−40), (3,−30), (2,−20).
  const CFloat want[] = {{1, -10}, {4, -40}, {3, -30}, {2, -20}};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(s[12 + k].re, want[k].re);
    EXPECT_EQ(s[12 + k].im, want[k].im);
  }
}

TEST(FillNullsByPlane, FitsRowsAgainstNxAndEvaluatesTheOtherWay) {
  // 4 columns, 3 rows; z = 1 + 2·(R−1)/(nx−1) + 4·(C−1)/(ny−1) at every datum, as the fit
  // places them, so the fit is exact: 1, x, y → 1, 2, 4. The null at row 2 of the last column
  // is evaluated with x = (C−1)/(nx−1) = 1, y = (R−1)/(ny−1) = 0.5: 1 + 2 + 2 = 5.
  const int nx = 4, ny = 3;
  std::vector<float> g(12);
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) g[r * nx + c] = 1.0f + 2.0f * r / 3.0f + 4.0f * c / 2.0f;
  g[1 * nx + 3] = N;
  g[2 * nx + 0] = N;  // a null elsewhere stays for the extension
  const PlaneFit fit = fitNullPlane(g.data(), nx, ny);
  ASSERT_TRUE(fit.solved);
  EXPECT_NEAR(fit.coefficients[0], 1.0, 1e-5);
  EXPECT_NEAR(fit.coefficients[1], 2.0, 1e-5);
  EXPECT_NEAR(fit.coefficients[2], 4.0, 1e-5);
  fillLastColumnNulls(g.data(), nx, ny, fit);
  EXPECT_NEAR(g[1 * nx + 3], 5.0f, 1e-5);
  EXPECT_EQ(g[2 * nx + 0], N);
}

TEST(FillNullsByPlane, NoPivotLeavesZeroAndOneRowFails) {
  // Data in the first row only: x is 0 everywhere, the matrix loses its last pivot.
  std::vector<float> g = {1, 2, 3, N, N, N};
  PlaneFit fit = fitNullPlane(g.data(), 3, 2);
  EXPECT_FALSE(fit.solved);
  EXPECT_EQ(planeValue(fit, 1, 0.5, 0.5), 0.0);
  // One row: the first datum at column 1 meets 0/0, later ones k/0.
  std::vector<float> row = {1, 2, 3};
  EXPECT_EQ(fitNullPlane(row.data(), 3, 1).failure, kErrOverflow);
  std::vector<float> row2 = {N, 2, 3};
  EXPECT_EQ(fitNullPlane(row2.data(), 3, 1).failure, kErrDivideByZero);
}

TEST(RestoreNulls, EveryInputNullIsAnOutputNull) {
  std::vector<float> orig = {1, N, -5e35f, 3, -2e30f};
  std::vector<float> out = {7, 8, 9, -4, 6};
  float lo = 0, hi = 0;
  restoreNulls(orig, out, lo, hi);
  EXPECT_EQ(out[1], N);
  EXPECT_EQ(out[2], -5e35f);
  EXPECT_EQ(out[4], -2e30f);
  EXPECT_EQ(lo, -4.0f);
  EXPECT_EQ(hi, 7.0f);
}

}  // namespace
}  // namespace sarnoth::gravmag
