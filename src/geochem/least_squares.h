// Linear least squares in double precision by orthogonal decomposition: the engine behind the
// regression calls of the closed numeric library (GEO_ProcessRegression1/2/3, closed/vlq_app.h).
//
// What is computed. For n samples of m predictors x1..xm and a response y, the coefficients b of
// y ≈ b0 + Σ bj·xj (or without b0) that minimise Σ e², with their standard errors, the residual
// and regression sums of squares, and the deviations of the samples from the fit; and stepwise
// selection of predictors by the two F values (Efroymson's forward-backward procedure).
//
// How. The design matrix [1 X y] is reduced to its triangular factor R by Householder QR (Eigen)
// in double precision, never through the normal equations X'X: rows are taken in fixed chunks
// of 65,536, each chunk reduced on its own (in parallel), and the chunk factors are stacked and
// reduced again in chunk order (tall-skinny QR). The chunking does not depend on the number of
// threads, so the result is the same bit for bit on any machine. Since [1 X y] = Q·R with Q
// orthonormal, every least-squares problem on a subset of the columns is the same problem on
// the same columns of R, so the stepwise search and the standard errors work on the small
// (m + 2)-square R alone:
//   - b from R_xx·b = r_y after a rank check by column-pivoted QR of R_xx with its columns scaled
//     to unit length (a column whose scaled pivot falls below 1e-13 of the largest is dependent:
//     constant, or a linear combination of the others);
//   - one step of iterative refinement in the corrected semi-normal equations form
//     (Björck 1996, §2.5.3): a second pass over the data computes X'·(y − X·b) in long double,
//     and δ from R'R·δ = X'r refines b. This removes the part of the error that grows with the
//     condition number of R rather than with its square;
//   - Var(b) = s²·(R'R)^-1 = s²·R^-1·R^-T, s² = SSE/(n − p), p the number of coefficients;
//   - with an intercept, the regression sum of squares U is the squared length of r_y beyond its
//     first entry (Q's first column is 1/√n), and Syy = U + SSE.
//
// Accuracy, measured on the NIST StRD linear regression sets (tests/geochem/
// test_least_squares.cpp, LRE = correct significant digits over every coefficient, standard
// error, residual SD and R²): Norris 13.4, NoInt1/2 14.6/15.2, Pontius 12.8, Longley 13.7,
// Wampler1–5 from 14.4 down to 10.0 (Wampler5), and Filip, the degree-10 polynomial whose X'X
// has a condition number near 1e15, 7.4. The tests hold every set to 9 digits and Filip to 7.
// Where it fails: a rank-deficient design is reported (dependentColumn), not solved; a design
// whose scaled condition number approaches 1e13 is solved with correspondingly few digits.
// The data are read twice (the reduction, then the residual pass); the memory beside them is
// one chunk of 65,536 rows per thread.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace sarnoth::geochem {

// The columns of a design: m predictors of n samples, predictor j of sample i at
// data[j·n + i] (column after column), and the response. Float (table values) or double.
template <class T>
struct DesignColumns {
  std::span<const T> x;  // m·n values
  std::span<const T> y;  // n values
  int m = 0;
  std::int64_t n = 0;
};

enum class FitStatus {
  Ok,
  TooFewSamples,  // n not above the number of coefficients
  Dependent,      // a predictor is constant (with an intercept) or a combination of others
  NotFinite,      // a value is NaN or infinite
};

struct LeastSquaresFit {
  FitStatus status = FitStatus::Ok;
  int dependentColumn = -1;  // the 0-based predictor found dependent, for Dependent

  std::vector<double> b;       // b[j] the coefficient of predictor j
  std::vector<double> stdErr;  // standard error of b[j]
  double intercept = 0;        // 0 without an intercept
  double interceptStdErr = 0;
  std::vector<double> partialCorrelation;  // of y with xj, the other predictors held fixed

  std::int64_t n = 0;
  int dof = 0;              // n − p
  double sse = 0;           // residual sum of squares Q = Σ e²
  double regressionSS = 0;  // U = Σ (ŷ − ȳ)², or Σ ŷ² without an intercept
  double totalSS = 0;       // Syy = U + Q (about the mean, or about 0 without an intercept)
  double residualSD = 0;    // s = sqrt(Q / (n − p))
  double rSquared = 0;      // U / Syy (uncentred without an intercept)
  double maxAbsResidual = 0, minAbsResidual = 0, meanAbsResidual = 0;  // over |y − ŷ|
  std::vector<double> means;                                           // of x1..xm then y

  bool ok() const { return status == FitStatus::Ok; }
};

struct FitOptions {
  bool intercept = true;
  int threads = 0;  // 0: all cores; the result does not depend on it
};

template <class T>
LeastSquaresFit fitLeastSquares(const DesignColumns<T>& d, const FitOptions& opt = {});

// Stepwise selection (Efroymson 1960) on the predictors with F to enter `fIn` and F to remove
// `fOut` (fIn ≥ fOut keeps the procedure from cycling; with fIn < fOut it stops after 4·m + 8
// steps). From the empty equation: while some variable in the equation has a partial F below
// fOut, the least significant leaves; otherwise the candidate with the largest partial F enters
// when that F exceeds fIn; otherwise the search ends. A candidate that is a linear combination
// of the variables in the equation (relative residual length below 1e-10) is never entered.
//   partial F of a variable in:   V / (Q / (n − k − 1)),       V = Q(without it) − Q
//   partial F of a candidate:     V / (Q' / (n − k − 2)),      V = Q − Q'(with it)
// with k the variables in the equation and Q its residual sum of squares.
struct StepwiseResult {
  FitStatus status = FitStatus::Ok;
  std::vector<int> selected;      // predictors in the equation, in entering order
  std::vector<int> order;         // every step: +(j+1) entered, −(j+1) removed
  std::vector<double> b;          // per predictor, 0 when not in the equation
  std::vector<double> stdErr;     // per predictor, 0 when not in the equation
  std::vector<double> partialSS;  // V of each predictor in the equation, 0 for others
  double intercept = 0;
  std::vector<double> means;  // x1..xm then y
  double sse = 0, totalSS = 0, residualSD = 0, multipleR = 0, fValue = 0;
  std::vector<double> correlation;  // (m+1)² correlation matrix of x1..xm, y, row-major
  std::int64_t n = 0;
};

template <class T>
StepwiseResult stepwiseRegression(const DesignColumns<T>& d, double fIn, double fOut,
                                  int threads = 0);

}  // namespace sarnoth::geochem
