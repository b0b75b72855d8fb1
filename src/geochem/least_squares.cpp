#include "geochem/least_squares.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>

#include "prep/parallel_rows.h"

namespace sarnoth::geochem {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

// Rows per chunk of the tall-skinny reduction: large enough for Eigen's blocked Householder to
// run at speed, small enough (65,536 × 22 doubles = 11 MB) to stay per thread.
constexpr std::int64_t kChunkRows = 65536;
// A scaled pivot below this fraction of the largest marks a dependent column. Well below the
// scaled conditioning of the hardest certified polynomial (Filip, about 1e-8), well above the
// rounding of an exact dependence (about 1e-16).
constexpr double kRankTolerance = 1e-13;
// A candidate whose part outside the equation's columns is shorter than this fraction of its
// length adds nothing the equation does not hold already.
constexpr double kCandidateTolerance = 1e-10;

std::int64_t chunkCount(std::int64_t n) { return (n + kChunkRows - 1) / kChunkRows; }

// The q × q triangular factor of [1? X y] and the column sums, with a check that every value is
// finite.
struct Reduction {
  MatrixXd r;
  std::vector<double> sums;  // per column of the design, y last
  bool finite = true;
};

template <class T>
double cell(const DesignColumns<T>& d, int col, std::int64_t row) {
  return static_cast<double>(d.x[static_cast<std::size_t>(col * d.n + row)]);
}

template <class T>
Reduction reduce(const DesignColumns<T>& d, bool intercept, int threads) {
  const int off = intercept ? 1 : 0;
  const int q = off + d.m + 1;
  const std::int64_t chunks = chunkCount(d.n);
  std::vector<MatrixXd> factors(static_cast<std::size_t>(chunks));
  std::vector<std::vector<long double>> sums(static_cast<std::size_t>(chunks));
  std::vector<char> finite(static_cast<std::size_t>(chunks), 1);

  auto work = [&](int cb, int ce, int) {
    for (int c = cb; c < ce; ++c) {
      const std::int64_t r0 = c * kChunkRows, rows = std::min(kChunkRows, d.n - r0);
      MatrixXd block(rows, q);
      std::vector<long double> s(static_cast<std::size_t>(q), 0.0L);
      bool ok = true;
      if (intercept) block.col(0).setOnes();
      for (int j = 0; j < d.m; ++j) {
        const T* src = d.x.data() + static_cast<std::size_t>(j * d.n + r0);
        double* dst = block.col(off + j).data();
        long double sum = 0;
        for (std::int64_t i = 0; i < rows; ++i) {
          dst[i] = static_cast<double>(src[i]);
          sum += dst[i];
        }
        ok = ok && std::isfinite(static_cast<double>(sum));
        s[static_cast<std::size_t>(off + j)] = sum;
      }
      {
        const T* src = d.y.data() + r0;
        double* dst = block.col(q - 1).data();
        long double sum = 0;
        for (std::int64_t i = 0; i < rows; ++i) {
          dst[i] = static_cast<double>(src[i]);
          sum += dst[i];
        }
        ok = ok && std::isfinite(static_cast<double>(sum));
        s[static_cast<std::size_t>(q - 1)] = sum;
      }
      if (intercept) s[0] = static_cast<long double>(rows);
      Eigen::HouseholderQR<MatrixXd> qr(block);
      const std::int64_t k = std::min<std::int64_t>(rows, q);
      MatrixXd f = MatrixXd::Zero(q, q);
      f.topRows(k) = qr.matrixQR().topRows(k).triangularView<Eigen::Upper>();
      factors[static_cast<std::size_t>(c)] = std::move(f);
      sums[static_cast<std::size_t>(c)] = std::move(s);
      finite[static_cast<std::size_t>(c)] = ok ? 1 : 0;
    }
  };
  detail::forRowBands(static_cast<int>(chunks), work, 1, threads);

  Reduction out;
  out.sums.assign(static_cast<std::size_t>(q), 0.0);
  std::vector<long double> total(static_cast<std::size_t>(q), 0.0L);
  for (std::int64_t c = 0; c < chunks; ++c) {
    out.finite = out.finite && finite[static_cast<std::size_t>(c)];
    for (int j = 0; j < q; ++j)
      total[static_cast<std::size_t>(j)] +=
          sums[static_cast<std::size_t>(c)][static_cast<std::size_t>(j)];
  }
  for (int j = 0; j < q; ++j)
    out.sums[static_cast<std::size_t>(j)] = static_cast<double>(total[static_cast<std::size_t>(j)]);
  if (chunks == 1) {
    out.r = std::move(factors[0]);
  } else {
    MatrixXd stacked(chunks * q, q);
    for (std::int64_t c = 0; c < chunks; ++c)
      stacked.middleRows(c * q, q) = factors[static_cast<std::size_t>(c)];
    Eigen::HouseholderQR<MatrixXd> qr(stacked);
    out.r = qr.matrixQR().topRows(q).triangularView<Eigen::Upper>();
  }
  return out;
}

// The first column of `a` (a triangular factor's columns) that depends on the others, or -1.
// Columns are scaled to unit length first, so the test does not depend on the units.
int dependentColumn(const MatrixXd& a) {
  const int p = static_cast<int>(a.cols());
  if (p == 0) return -1;
  MatrixXd scaled = a;
  for (int j = 0; j < p; ++j) {
    const double norm = a.col(j).norm();
    if (!(norm > 0)) return j;
    scaled.col(j) /= norm;
  }
  Eigen::ColPivHouseholderQR<MatrixXd> qr(scaled);
  qr.setThreshold(kRankTolerance);
  if (qr.rank() == p) return -1;
  return qr.colsPermutation().indices()(qr.rank());
}

// Residual sum of squares of column `target` of `r` on its columns `cols` (a least-squares
// problem of the triangular factor, equal to the one of the data).
double subsetSSE(const MatrixXd& r, const std::vector<int>& cols, int target,
                 VectorXd* coef = nullptr, MatrixXd* rFactor = nullptr) {
  const VectorXd b = r.col(target);
  if (cols.empty()) return b.squaredNorm();
  MatrixXd a(r.rows(), static_cast<Eigen::Index>(cols.size()));
  for (std::size_t k = 0; k < cols.size(); ++k)
    a.col(static_cast<Eigen::Index>(k)) = r.col(cols[k]);
  Eigen::HouseholderQR<MatrixXd> qr(a);
  VectorXd c = qr.solve(b);
  if (coef) *coef = c;
  if (rFactor) *rFactor = qr.matrixQR().topRows(a.cols()).triangularView<Eigen::Upper>();
  return (b - a * c).squaredNorm();
}

// Relative length of the part of column j outside the columns `cols`.
double outsideShare(const MatrixXd& r, const std::vector<int>& cols, int j) {
  const double len = r.col(j).norm();
  if (!(len > 0)) return 0;
  return std::sqrt(subsetSSE(r, cols, j)) / len;
}

}  // namespace

template <class T>
LeastSquaresFit fitLeastSquares(const DesignColumns<T>& d, const FitOptions& opt) {
  LeastSquaresFit fit;
  const int off = opt.intercept ? 1 : 0;
  const int m = d.m, p = off + m, q = p + 1;
  fit.n = d.n;
  if (d.n <= p || m < 0) {
    fit.status = FitStatus::TooFewSamples;
    return fit;
  }
  Reduction red = reduce(d, opt.intercept, opt.threads);
  if (!red.finite || !red.r.allFinite()) {
    fit.status = FitStatus::NotFinite;
    return fit;
  }
  const MatrixXd& r = red.r;
  fit.means.resize(static_cast<std::size_t>(m + 1));
  for (int j = 0; j <= m; ++j)
    fit.means[static_cast<std::size_t>(j)] =
        red.sums[static_cast<std::size_t>(off + j)] / static_cast<double>(d.n);

  // Rank: with an intercept, a predictor is tested on its centred part (rows 1.. of R), so a
  // constant predictor is named rather than the intercept.
  const MatrixXd rxx = r.topLeftCorner(p, p);
  int dep =
      opt.intercept ? dependentColumn(rxx.bottomRightCorner(p - 1, p - 1)) : dependentColumn(rxx);
  if (dep >= 0) {
    fit.status = FitStatus::Dependent;
    fit.dependentColumn = dep;
    return fit;
  }

  const auto tri = rxx.triangularView<Eigen::Upper>();
  VectorXd coef = tri.solve(VectorXd(r.col(p).head(p)));

  // Second pass: residuals in long double, X'r for the refinement, |e| statistics.
  const std::int64_t chunks = chunkCount(d.n);
  struct Partial {
    std::vector<long double> g;
    double maxAbs = 0, minAbs = std::numeric_limits<double>::infinity();
    long double sumAbs = 0;
  };
  std::vector<Partial> parts(static_cast<std::size_t>(chunks));
  auto residuals = [&](int cb, int ce, int) {
    for (int c = cb; c < ce; ++c) {
      Partial& pt = parts[static_cast<std::size_t>(c)];
      pt.g.assign(static_cast<std::size_t>(p), 0.0L);
      const std::int64_t r0 = c * kChunkRows, r1 = std::min(d.n, r0 + kChunkRows);
      for (std::int64_t i = r0; i < r1; ++i) {
        long double e = static_cast<long double>(d.y[static_cast<std::size_t>(i)]);
        if (opt.intercept) e -= coef(0);
        for (int j = 0; j < m; ++j) e -= static_cast<long double>(coef(off + j)) * cell(d, j, i);
        if (opt.intercept) pt.g[0] += e;
        for (int j = 0; j < m; ++j) pt.g[static_cast<std::size_t>(off + j)] += e * cell(d, j, i);
        const double a = std::fabs(static_cast<double>(e));
        pt.maxAbs = std::max(pt.maxAbs, a);
        pt.minAbs = std::min(pt.minAbs, a);
        pt.sumAbs += a;
      }
    }
  };
  detail::forRowBands(static_cast<int>(chunks), residuals, 1, opt.threads);
  VectorXd g = VectorXd::Zero(p);
  long double sumAbs = 0;
  fit.maxAbsResidual = 0;
  fit.minAbsResidual = std::numeric_limits<double>::infinity();
  for (const Partial& pt : parts) {
    for (int j = 0; j < p; ++j) g(j) += static_cast<double>(pt.g[static_cast<std::size_t>(j)]);
    fit.maxAbsResidual = std::max(fit.maxAbsResidual, pt.maxAbs);
    fit.minAbsResidual = std::min(fit.minAbsResidual, pt.minAbs);
    sumAbs += pt.sumAbs;
  }
  fit.meanAbsResidual = static_cast<double>(sumAbs / static_cast<long double>(d.n));
  // R'R·δ = X'r (corrected semi-normal equations, one step).
  VectorXd z = tri.transpose().solve(g);
  coef += tri.solve(z);

  fit.dof = static_cast<int>(std::min<std::int64_t>(d.n - p, std::numeric_limits<int>::max()));
  fit.sse = r(p, p) * r(p, p);
  fit.residualSD = std::sqrt(fit.sse / static_cast<double>(d.n - p));
  const VectorXd ry = r.col(p).head(p);
  fit.regressionSS = opt.intercept ? ry.tail(p - 1).squaredNorm() : ry.squaredNorm();
  fit.totalSS = fit.regressionSS + fit.sse;
  fit.rSquared = fit.totalSS > 0 ? fit.regressionSS / fit.totalSS : 0;

  // Var(b) = s²·R^-1·R^-T: the standard error of b_j is s times the length of row j of R^-1.
  const MatrixXd rinv = tri.solve(MatrixXd::Identity(p, p));
  fit.b.resize(static_cast<std::size_t>(m));
  fit.stdErr.resize(static_cast<std::size_t>(m));
  fit.partialCorrelation.resize(static_cast<std::size_t>(m));
  for (int j = 0; j < m; ++j) {
    const double b = coef(off + j), se = fit.residualSD * rinv.row(off + j).norm();
    fit.b[static_cast<std::size_t>(j)] = b;
    fit.stdErr[static_cast<std::size_t>(j)] = se;
    double pc = b > 0 ? 1.0 : (b < 0 ? -1.0 : 0.0);
    if (se > 0) {
      const double t = b / se;
      pc = t / std::sqrt(t * t + static_cast<double>(fit.dof));
    }
    fit.partialCorrelation[static_cast<std::size_t>(j)] = pc;
  }
  if (opt.intercept) {
    fit.intercept = coef(0);
    fit.interceptStdErr = fit.residualSD * rinv.row(0).norm();
  }
  (void)q;
  return fit;
}

template <class T>
StepwiseResult stepwiseRegression(const DesignColumns<T>& d, double fIn, double fOut, int threads) {
  StepwiseResult res;
  const int m = d.m;
  res.n = d.n;
  if (d.n < 3 || m < 1) {
    res.status = FitStatus::TooFewSamples;
    return res;
  }
  Reduction red = reduce(d, true, threads);
  if (!red.finite || !red.r.allFinite()) {
    res.status = FitStatus::NotFinite;
    return res;
  }
  // The centred problem: columns x1..xm, y of R below its first row.
  const MatrixXd rc = red.r.bottomRightCorner(m + 1, m + 1);
  const int yc = m;
  const double n = static_cast<double>(d.n);
  res.means.resize(static_cast<std::size_t>(m + 1));
  for (int j = 0; j <= m; ++j)
    res.means[static_cast<std::size_t>(j)] = red.sums[static_cast<std::size_t>(1 + j)] / n;
  res.totalSS = rc.col(yc).squaredNorm();

  std::vector<int> in;
  double sse = res.totalSS;
  auto without = [&](int j) {
    std::vector<int> s;
    for (int v : in)
      if (v != j) s.push_back(v);
    return s;
  };
  const int maxSteps = 4 * m + 8;
  for (int step = 0; step < maxSteps; ++step) {
    const double k = static_cast<double>(in.size());
    // Removal first: the least significant variable in the equation.
    if (!in.empty() && n - k - 1 > 0 && sse > 0) {
      int worst = -1;
      double worstF = std::numeric_limits<double>::infinity();
      for (int j : in) {
        const double v = subsetSSE(rc, without(j), yc) - sse;
        const double f = v / (sse / (n - k - 1));
        if (f < worstF) {
          worstF = f;
          worst = j;
        }
      }
      if (worstF < fOut) {
        in = without(worst);
        sse = subsetSSE(rc, in, yc);
        res.order.push_back(-(worst + 1));
        continue;
      }
    }
    // Entry: the candidate with the largest partial F.
    if (n - k - 2 <= 0) break;
    int best = -1;
    double bestF = -1, bestSSE = sse;
    for (int j = 0; j < m; ++j) {
      if (std::find(in.begin(), in.end(), j) != in.end()) continue;
      if (outsideShare(rc, in, j) < kCandidateTolerance) continue;
      std::vector<int> with = in;
      with.push_back(j);
      const double s = subsetSSE(rc, with, yc);
      const double v = sse - s;
      const double f = s > 0 ? v / (s / (n - k - 2)) : std::numeric_limits<double>::infinity();
      if (f > bestF) {
        bestF = f;
        best = j;
        bestSSE = s;
      }
    }
    if (best < 0 || !(bestF > fIn)) break;
    in.push_back(best);
    sse = bestSSE;
    res.order.push_back(best + 1);
  }

  res.selected = in;
  res.b.assign(static_cast<std::size_t>(m), 0.0);
  res.stdErr.assign(static_cast<std::size_t>(m), 0.0);
  res.partialSS.assign(static_cast<std::size_t>(m), 0.0);
  const double k = static_cast<double>(in.size());
  VectorXd coef;
  MatrixXd rf;
  res.sse = subsetSSE(rc, in, yc, &coef, &rf);
  res.residualSD = n - k - 1 > 0 ? std::sqrt(res.sse / (n - k - 1)) : 0;
  res.intercept = res.means[static_cast<std::size_t>(m)];
  if (!in.empty()) {
    const MatrixXd rinv =
        rf.triangularView<Eigen::Upper>().solve(MatrixXd::Identity(rf.rows(), rf.cols()));
    for (std::size_t i = 0; i < in.size(); ++i) {
      const auto j = static_cast<std::size_t>(in[i]);
      res.b[j] = coef(static_cast<Eigen::Index>(i));
      res.stdErr[j] = res.residualSD * rinv.row(static_cast<Eigen::Index>(i)).norm();
      res.partialSS[j] = subsetSSE(rc, without(in[i]), yc) - res.sse;
      res.intercept -= res.b[j] * res.means[j];
    }
  }
  res.multipleR = res.totalSS > 0 ? std::sqrt(std::max(0.0, 1.0 - res.sse / res.totalSS)) : 0;
  if (!in.empty() && n - k - 1 > 0)
    res.fValue = res.sse > 0 ? ((res.totalSS - res.sse) / k) / (res.sse / (n - k - 1))
                             : std::numeric_limits<double>::infinity();

  // Correlations from the centred cross products R'R.
  const MatrixXd c = rc.transpose() * rc;
  res.correlation.assign(static_cast<std::size_t>((m + 1) * (m + 1)), 0.0);
  for (int i = 0; i <= m; ++i)
    for (int j = 0; j <= m; ++j) {
      const double den = std::sqrt(c(i, i) * c(j, j));
      res.correlation[static_cast<std::size_t>(i * (m + 1) + j)] =
          i == j ? 1.0 : (den > 0 ? c(i, j) / den : 0.0);
    }
  return res;
}

template LeastSquaresFit fitLeastSquares<float>(const DesignColumns<float>&, const FitOptions&);
template LeastSquaresFit fitLeastSquares<double>(const DesignColumns<double>&, const FitOptions&);
template StepwiseResult stepwiseRegression<float>(const DesignColumns<float>&, double, double, int);
template StepwiseResult stepwiseRegression<double>(const DesignColumns<double>&, double, double,
                                                   int);

}  // namespace sarnoth::geochem
