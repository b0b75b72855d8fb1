// The regression calls of the closed numeric library, on the least-squares engine.
#include <algorithm>
#include <cstddef>

#include "closed/vlq_app.h"
#include "geochem/least_squares.h"

namespace sarnoth::vlq {
namespace {

using geochem::DesignColumns;
using geochem::FitStatus;

std::int32_t statusOf(FitStatus s, int dependentColumn) {
  switch (s) {
    case FitStatus::Ok:
      return kRegressionOk;
    case FitStatus::TooFewSamples:
      return kRegressionTooFewSamples;
    case FitStatus::NotFinite:
      return kRegressionNotFinite;
    case FitStatus::Dependent:
      return dependentColumn + 1;
  }
  return kRegressionNotFinite;
}

bool fits(std::span<const float> x, std::span<const float> y, std::int32_t m, std::int32_t n) {
  return n >= 0 && m >= 0 && y.size() >= static_cast<std::size_t>(n) &&
         x.size() >= static_cast<std::size_t>(m) * static_cast<std::size_t>(n);
}

void putStats(const geochem::LeastSquaresFit& f, std::span<float> stats) {
  const double v[kRegressionStats] = {
      f.sse, f.residualSD, f.regressionSS, f.maxAbsResidual, f.minAbsResidual, f.meanAbsResidual};
  for (std::size_t i = 0; i < std::min(stats.size(), kRegressionStats); ++i)
    stats[i] = static_cast<float>(v[i]);
}

}  // namespace

std::int32_t GEO_ProcessRegression1(std::span<const float> x, std::span<const float> y,
                                    std::int32_t n, std::span<float> b, std::span<float> stats) {
  if (!fits(x, y, 1, n) || b.size() < 2) return kRegressionTooFewSamples;
  DesignColumns<float> d{x.first(static_cast<std::size_t>(n)), y.first(static_cast<std::size_t>(n)),
                         1, n};
  geochem::LeastSquaresFit f = geochem::fitLeastSquares(d);
  if (!f.ok()) return statusOf(f.status, f.dependentColumn);
  b[0] = static_cast<float>(f.intercept);
  b[1] = static_cast<float>(f.b[0]);
  putStats(f, stats);
  return kRegressionOk;
}

std::int32_t GEO_ProcessRegression2(std::span<const float> x, std::span<const float> y,
                                    std::int32_t m, std::int32_t n, std::span<float> b,
                                    std::span<float> stats, std::span<float> partial) {
  if (!fits(x, y, m, n) || b.size() < static_cast<std::size_t>(m) + 1)
    return kRegressionTooFewSamples;
  DesignColumns<float> d{x.first(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)),
                         y.first(static_cast<std::size_t>(n)), m, n};
  geochem::LeastSquaresFit f = geochem::fitLeastSquares(d);
  if (!f.ok()) return statusOf(f.status, f.dependentColumn);
  for (std::size_t j = 0; j < static_cast<std::size_t>(m); ++j) {
    b[j] = static_cast<float>(f.b[j]);
    if (j < partial.size()) partial[j] = static_cast<float>(f.partialCorrelation[j]);
  }
  b[static_cast<std::size_t>(m)] = static_cast<float>(f.intercept);
  putStats(f, stats);
  return kRegressionOk;
}

std::int32_t GEO_ProcessRegression3(std::span<const float> x, std::span<const float> y,
                                    std::int32_t m, std::int32_t n, float fIn, float fOut,
                                    std::span<float> b, std::span<float> means,
                                    std::span<float> partialSS, std::span<float> stdErr,
                                    std::span<float> stats, std::span<float> corr,
                                    std::span<std::int32_t> selected) {
  const auto mm = static_cast<std::size_t>(m);
  if (!fits(x, y, m, n) || b.size() < mm + 1 || means.size() < mm + 1 || partialSS.size() < mm ||
      stdErr.size() < mm || stats.size() < 4 || corr.size() < (mm + 1) * (mm + 1) ||
      selected.size() < mm)
    return kRegressionTooFewSamples;
  DesignColumns<float> d{x.first(mm * static_cast<std::size_t>(n)),
                         y.first(static_cast<std::size_t>(n)), m, n};
  geochem::StepwiseResult r = geochem::stepwiseRegression(d, fIn, fOut);
  if (r.status != FitStatus::Ok) return statusOf(r.status, -1);
  for (std::size_t j = 0; j < mm; ++j) {
    b[j] = static_cast<float>(r.b[j]);
    partialSS[j] = static_cast<float>(r.partialSS[j]);
    stdErr[j] = static_cast<float>(r.stdErr[j]);
    selected[j] = 0;
  }
  for (int j : r.selected) selected[static_cast<std::size_t>(j)] = 1;
  b[mm] = static_cast<float>(r.intercept);
  for (std::size_t j = 0; j <= mm; ++j) means[j] = static_cast<float>(r.means[j]);
  stats[0] = static_cast<float>(r.sse);
  stats[1] = static_cast<float>(r.residualSD);
  stats[2] = static_cast<float>(r.multipleR);
  stats[3] = static_cast<float>(r.fValue);
  for (std::size_t k = 0; k < (mm + 1) * (mm + 1); ++k)
    corr[k] = static_cast<float>(r.correlation[k]);
  return kRegressionOk;
}

}  // namespace sarnoth::vlq
