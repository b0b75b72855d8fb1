// The shared numeric routines, each on its own, against hand-worked and analytic answers.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <random>

#include "geochem/numeric_routines.h"

namespace sarnoth::geochem {
namespace {

SingleMatrix matrixOf(std::initializer_list<std::initializer_list<float>> rows) {
  SingleMatrix m(static_cast<int>(rows.size()), static_cast<int>(rows.begin()->size()));
  int i = 0;
  for (const auto& r : rows) {
    int j = 0;
    for (float v : r) m(i, j++) = v;
    ++i;
  }
  return m;
}

TEST(CentreCrossProducts, CentresInPlaceAndSumsProducts) {
  // Means (3, 5); centred rows (-2,-3), (0,-1), (2,4).
  SingleMatrix x = matrixOf({{1, 2}, {3, 4}, {5, 9}});
  SingleMatrix s;
  centreCrossProducts(x, s);
  EXPECT_FLOAT_EQ(x(0, 0), -2);
  EXPECT_FLOAT_EQ(x(2, 1), 4);
  ASSERT_EQ(s.rows(), 2);
  EXPECT_FLOAT_EQ(s(0, 0), 8);
  EXPECT_FLOAT_EQ(s(0, 1), 14);
  EXPECT_FLOAT_EQ(s(1, 0), 14);
  EXPECT_FLOAT_EQ(s(1, 1), 26);

  SingleMatrix empty(0, 3);
  EXPECT_THROW(centreCrossProducts(empty, s), NumericFault);
}

TEST(SolveLinearSystem, PivotsPastAZeroAndRefusesASingularMatrix) {
  // A zero in the first pivot place forces a row exchange; x = (1, -2, 3).
  SingleMatrix a = matrixOf({{0, 2, 1}, {1, 1, 1}, {2, 1, -1}});
  SingleMatrix kept;
  copyMatrix(a, kept);
  std::vector<float> b{-1, 2, -3};
  solveLinearSystem(a, b);
  EXPECT_NEAR(b[0], 1, 1e-6);
  EXPECT_NEAR(b[1], -2, 1e-6);
  EXPECT_NEAR(b[2], 3, 1e-6);
  // The copy kept the matrix the solve destroyed.
  EXPECT_EQ(kept(0, 0), 0);
  EXPECT_EQ(kept(2, 2), -1);

  SingleMatrix singular = matrixOf({{1, 2}, {2, 4}});
  std::vector<float> c{1, 2};
  EXPECT_THROW(solveLinearSystem(singular, c), NumericFault);
}

// A·v = λ·v for every column, and the columns orthonormal.
void expectEigenPairs(const SingleMatrix& original, const SingleMatrix& a, const SingleMatrix& v,
                      double tol) {
  const int n = original.rows();
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      double av = 0;
      for (int k = 0; k < n; ++k) av += static_cast<double>(original(i, k)) * v(k, j);
      EXPECT_NEAR(av, static_cast<double>(a(j, j)) * v(i, j), tol) << "column " << j;
    }
    for (int k = 0; k < n; ++k) {
      double dot = 0;
      for (int i = 0; i < n; ++i) dot += static_cast<double>(v(i, j)) * v(i, k);
      EXPECT_NEAR(dot, j == k ? 1.0 : 0.0, 1e-5);
    }
  }
}

TEST(JacobiEigen, TridiagonalMatrixWithKnownEigenvalues) {
  // The second-difference matrix of order 3: eigenvalues 2 - √2, 2, 2 + √2.
  SingleMatrix a = matrixOf({{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}});
  SingleMatrix original;
  copyMatrix(a, original);
  SingleMatrix v;
  jacobiEigen(3, v, a);
  std::vector<double> ev{a(0, 0), a(1, 1), a(2, 2)};
  std::sort(ev.begin(), ev.end());
  EXPECT_NEAR(ev[0], 2 - std::sqrt(2.0), 1e-6);
  EXPECT_NEAR(ev[1], 2, 1e-6);
  EXPECT_NEAR(ev[2], 2 + std::sqrt(2.0), 1e-6);
  expectEigenPairs(original, a, v, 1e-5);
}

TEST(JacobiEigen, OrderTwoEndsAndDiagonalStaysAsItIs) {
  // [[3, 1], [1, 3]]: eigenvalues 2 and 4 on the diagonals ±45°, u = 0 in the rotation.
  SingleMatrix a = matrixOf({{3, 1}, {1, 3}});
  SingleMatrix v;
  jacobiEigen(2, v, a);
  EXPECT_NEAR(std::min(a(0, 0), a(1, 1)), 2, 1e-6);
  EXPECT_NEAR(std::max(a(0, 0), a(1, 1)), 4, 1e-6);
  EXPECT_NEAR(std::fabs(v(0, 0)), std::sqrt(0.5), 1e-6);

  SingleMatrix d = matrixOf({{5, 0, 0}, {0, -1, 0}, {0, 0, 2}});
  jacobiEigen(3, v, d);
  EXPECT_EQ(d(0, 0), 5);
  EXPECT_EQ(d(1, 1), -1);
  EXPECT_EQ(v(1, 1), 1);
  EXPECT_EQ(v(0, 1), 0);
}

TEST(JacobiEigen, RandomSymmetricMatrixAgreesWithEigen) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> u(-5, 5);
  const int n = 7;
  SingleMatrix a(n, n);
  Eigen::MatrixXd e(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = i; j < n; ++j) {
      a(i, j) = a(j, i) = u(rng);
      e(i, j) = e(j, i) = a(i, j);
    }
  SingleMatrix original, v;
  copyMatrix(a, original);
  jacobiEigen(n, v, a);
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> ref(e);
  std::vector<double> ours;
  for (int i = 0; i < n; ++i) ours.push_back(a(i, i));
  std::sort(ours.begin(), ours.end());
  for (int i = 0; i < n; ++i) EXPECT_NEAR(ours[i], ref.eigenvalues()(i), 2e-5 * 15) << i;
  expectEigenPairs(original, a, v, 1e-4);
}

TEST(SkewKurtosis, MomentsOfSmallSeries) {
  // 1..5: symmetric, m2 = 2, m4 = 6.8, kurtosis 6.8/4 - 3.
  std::vector<float> flat{1, 2, 3, 4, 5};
  Moments m = skewKurtosis(flat);
  EXPECT_NEAR(m.skewness, 0, 1e-12);
  EXPECT_NEAR(m.kurtosis, -1.3, 1e-12);
  // 0,0,0,1: skewness 2/√3, kurtosis 7/3 - 3.
  std::vector<float> skewed{0, 0, 0, 1};
  m = skewKurtosis(skewed);
  EXPECT_NEAR(m.skewness, 2 / std::sqrt(3.0), 1e-12);
  EXPECT_NEAR(m.kurtosis, 7.0 / 3 - 3, 1e-12);
  std::vector<float> constant{4, 4, 4};
  EXPECT_THROW(skewKurtosis(constant), NumericFault);
  EXPECT_THROW(skewKurtosis(std::span<const float>{}), NumericFault);
}

TEST(QuickSortRange, SortsOnlyTheRangeWhateverTheOrder) {
  std::vector<float> x{9, 5, 3, 8, 1, 7, 0};
  quickSortRange(x, 1, 5);
  EXPECT_EQ(x, (std::vector<float>{9, 1, 3, 5, 7, 8, 0}));

  std::mt19937 rng(3);
  std::uniform_int_distribution<int> u(0, 50);  // many ties
  for (int kind = 0; kind < 4; ++kind) {
    std::vector<float> y(20000);
    for (std::size_t i = 0; i < y.size(); ++i) {
      if (kind == 0) y[i] = static_cast<float>(u(rng));
      if (kind == 1) y[i] = static_cast<float>(i);          // sorted
      if (kind == 2) y[i] = static_cast<float>(20000 - i);  // reversed
      if (kind == 3) y[i] = 2.5f;                           // all equal
    }
    std::vector<float> ref = y;
    std::sort(ref.begin(), ref.end());
    quickSortRange(y, 0, static_cast<int>(y.size()) - 1);
    EXPECT_EQ(y, ref) << "kind " << kind;
  }
  EXPECT_THROW(quickSortRange(x, 0, 7), NumericFault);
}

TEST(SortAndMedian, OddAndEvenCounts) {
  std::vector<float> odd{7, 1, 5};
  EXPECT_EQ(sortAndMedian(odd), 5);
  EXPECT_EQ(odd, (std::vector<float>{1, 5, 7}));
  std::vector<float> even{4, 1, 10, 2};
  EXPECT_EQ(sortAndMedian(even), 3);
  std::vector<float> none;
  EXPECT_THROW(sortAndMedian(none), NumericFault);
}

TEST(FormatAxisNumber, ShortTextsPaddedExponentsAndNegativeZero) {
  EXPECT_EQ(formatAxisNumber(0), "0");
  EXPECT_EQ(formatAxisNumber(3), "3");
  EXPECT_EQ(formatAxisNumber(12.5f), "12.5");
  EXPECT_EQ(formatAxisNumber(-250), "-250");
  EXPECT_EQ(formatAxisNumber(1200000), "1200000");
  EXPECT_EQ(formatAxisNumber(0.1f), "0.1");
  EXPECT_EQ(formatAxisNumber(1.5e-5f), "0.000015");
  EXPECT_EQ(formatAxisNumber(-2.25e-7f), "-0.000000225");
  EXPECT_EQ(formatAxisNumber(1.5e8f), "1.5E+08");
  EXPECT_EQ(formatAxisNumber(-3e12f), "-3E+12");
  EXPECT_EQ(formatAxisNumber(1234567.0f), "1234567");
  EXPECT_EQ(formatAxisNumber(12345678.0f), "1.234568E+07");
  EXPECT_EQ(formatAxisNumber(-4e-9f), "-0");
  EXPECT_EQ(formatAxisNumber(4e-9f), "0");
}

}  // namespace
}  // namespace sarnoth::geochem
