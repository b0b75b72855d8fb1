// The shared numeric routines of the statistical tools (the system's code module DataProcs).
//
// Free functions on caller-owned arrays: the ridge regression's centring, solving and eigen
// steps, the histogram tool's moments, sort and median, and the axis label text. None of them
// reports an error by status: a numeric fault (a zero pivot, a series without spread, an empty
// series) throws NumericFault, which reaches the caller's own error path as the division by zero
// of the original routines did.
//
// Precision: everything here is single precision, as the callers store their data, except
// skewKurtosis, which accumulates its moments in double. Matrices are SingleMatrix, row-major,
// 0-based; a caller's inclusive bound n means n + 1 rows here.
#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace sarnoth::geochem {

// The numeric fault of a routine: its text is the system's error description ("除数为零").
class NumericFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr const char* kFaultDivideByZero = "除数为零";
inline constexpr const char* kFaultEmpty = "下标越界";

// A two-dimensional single array owned by its caller: rows × cols, element (i, j) at
// data[i·cols + j].
class SingleMatrix {
 public:
  SingleMatrix() = default;
  SingleMatrix(int rows, int cols, float fill = 0.0f)
      : rows_(rows), cols_(cols), data_(static_cast<std::size_t>(rows) * cols, fill) {}

  int rows() const { return rows_; }
  int cols() const { return cols_; }
  float& operator()(int i, int j) { return data_[static_cast<std::size_t>(i) * cols_ + j]; }
  float operator()(int i, int j) const { return data_[static_cast<std::size_t>(i) * cols_ + j]; }
  std::span<float> row(int i) {
    return {data_.data() + static_cast<std::size_t>(i) * cols_, static_cast<std::size_t>(cols_)};
  }
  std::vector<float>& data() { return data_; }
  const std::vector<float>& data() const { return data_; }

 private:
  int rows_ = 0, cols_ = 0;
  std::vector<float> data_;
};

// centreCrossProducts: the column means of X (n samples in rows, m variables in columns) are
// subtracted in place, then S(i, j) = Σk X(k, i)·X(k, j) over the centred columns.
//  - Means are the column sums divided by the row count; sums and products are accumulated in
//    single precision in the order of k, so on long series the result carries the rounding of a
//    single-precision running sum (relative error up to about n·6e-8 in the worst case).
//  - S is resized to m × m. An X without rows throws NumericFault (the mean divides by 0).
void centreCrossProducts(SingleMatrix& x, SingleMatrix& s);

// solveLinearSystem: solves A·x = b for a square A by Gaussian elimination with the largest
// pivot of each column (partial pivoting), dividing each row by its pivot, then substituting
// back. On return b holds x and A is destroyed (copy it first with copyMatrix when it is needed
// again). A pivot that is exactly 0 (a singular A) throws NumericFault; a nearly singular A is
// solved as far as single precision carries, with an error growing like cond(A)·6e-8.
void solveLinearSystem(SingleMatrix& a, std::span<float> b);

// copyMatrix: target(i, j) = source(i, j) for every element; the target takes the source's size.
void copyMatrix(const SingleMatrix& source, SingleMatrix& target);

// jacobiEigen: eigenvalues and eigenvectors of the symmetric n × n matrix `a` by the threshold
// Jacobi method, in single precision.
//  - off = sqrt(Σ over i < j of 2·a(i, j)²); the end value is off·10^-7 ÷ (n − 1).
//  - The threshold t starts at off; each pass divides it by n − 1, rotates every pair (p, q)
//    with |a(p, q)| ≥ t, sweeping p = 0..n−2, q = p+1..n−1 until a sweep rotates nothing, and
//    the routine ends once t has come down to the end value.
//  - A rotation: u = (a(p,p) − a(q,q))/2; w = −a(p,q)/sqrt(a(p,q)² + u²) times the sign of u
//    (w = 1 when u = 0); sinθ = w/sqrt(2(1 + sqrt(1 − w²))), cosθ = sqrt(1 − sin²θ); rows and
//    columns p, q of `a` and columns p, q of `vectors` turn by θ, and a(p, q) becomes 0.
// On return the diagonal of `a` holds the eigenvalues (unsorted) and column j of `vectors` the
// unit eigenvector of a(j, j). Accurate to about 1e-6 of the largest eigenvalue.
// Where it departs: for n = 2 a divisor n − 1 = 1 would never lower the threshold below the
// one off-diagonal pair (off = √2·|a(0,1)|), so the routine would never end; there the divisor
// is 2. n = 1 is already diagonal. Only the upper and lower triangles' symmetry is assumed, not
// checked.
void jacobiEigen(int n, SingleMatrix& vectors, SingleMatrix& a);

// skewKurtosis: the third and fourth standardised moments of a series, with the population
// moments m2, m3, m4 about the mean (accumulated in double):
//   skewness = m3 ÷ (m2·sqrt(m2)),   kurtosis = m4 ÷ m2² − 3  (excess kurtosis, 0 for a normal).
// A series without spread (m2 = 0) or without values throws NumericFault.
struct Moments {
  double skewness = 0;
  double kurtosis = 0;
};
Moments skewKurtosis(std::span<const float> x);

// quickSortRange: sorts x[lo..hi] (both bounds inclusive) ascending in place; Hoare partition
// around the middle element (lo + hi) ÷ 2, recursing into the smaller part so the stack stays
// within log2(n) frames. Bounds outside the array throw NumericFault.
void quickSortRange(std::span<float> x, int lo, int hi);

// sortAndMedian: sorts the whole series with quickSortRange and returns its median: the middle
// value for an odd count, 0.5·(the two middle values) for an even one. An empty series throws
// NumericFault.
float sortAndMedian(std::span<float> x);

// formatAxisNumber: the short label text of an axis value.
//  - At most 7 significant digits, trailing zeros and a trailing point dropped ("12.5", "3").
//  - The exponent form of the shortest text is split into mantissa and exponent: an exponent
//    from −7 to 6 is written out as a plain decimal, padded with "0" ("0.000015" for 1.5E-05,
//    "1200000" for 1.2E+06); from 7 on the "E" form stays, with a sign and at least two exponent
//    digits ("1.5E+08").
//  - A value below 1E-07 in size is "0", or "-0" when it is negative, so that a label just
//    below zero shows on which side it lies.
std::string formatAxisNumber(float v);

}  // namespace sarnoth::geochem
