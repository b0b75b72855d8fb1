// Ordinary co-kriging under the linear model of coregionalisation; the method, the fit and the
// checks are described in cokriging.h.
#include "geochem/cokriging.h"

#include <Eigen/Dense>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>
#include <numeric>
#include <thread>

#include "geochem/report_format.h"
#include "prep/neighbour_index.h"
#include "prep/parallel_rows.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"

namespace sarnoth::geochem {
namespace {

constexpr int kLagClasses = 15;  // as the kriging seam's experimental variogram
constexpr std::size_t kVariogramSample = 4000;
constexpr int kMaxFitIterations = 20000;

double sph(double t) { return t >= 1 ? 1.0 : 1.5 * t - 0.5 * t * t * t; }

double sampleVariance(const std::vector<double>& z) {
  if (z.size() < 2) return 0;
  const double mean = std::accumulate(z.begin(), z.end(), 0.0) / static_cast<double>(z.size());
  double s = 0;
  for (double v : z) s += (v - mean) * (v - mean);
  return s / static_cast<double>(z.size() - 1);
}

bool present(double v) { return !std::isnan(v); }

// The samples of one variable, with the record each came from.
struct VarPoints {
  std::vector<double> x, y, z;
  std::vector<std::uint32_t> record;
};

VarPoints pointsOf(const CoSamples& s, int v) {
  VarPoints p;
  const auto& zv = s.z[static_cast<std::size_t>(v)];
  for (std::size_t i = 0; i < s.x.size(); ++i) {
    if (!present(zv[i])) continue;
    p.x.push_back(s.x[i]);
    p.y.push_back(s.y[i]);
    p.z.push_back(zv[i]);
    p.record.push_back(static_cast<std::uint32_t>(i));
  }
  return p;
}

}  // namespace

int coPairIndex(int i, int j, int nvar) {
  if (i > j) std::swap(i, j);
  return i * nvar - i * (i - 1) / 2 + (j - i);
}

double Coregionalisation::gamma(int i, int j, double h) const {
  if (h <= 0) return 0;
  return b0(i, j) + b1(i, j) * (range > 0 ? sph(h / range) : 1.0);
}

double Coregionalisation::cov(int i, int j, double h) const {
  if (h <= 0) return b0(i, j) + b1(i, j);
  if (!(range > 0)) return 0;
  return b1(i, j) * (1.0 - sph(h / range));
}

krig::ExperimentalVariogram experimentalCrossVariogram(std::span<const double> x,
                                                       std::span<const double> y,
                                                       std::span<const double> za,
                                                       std::span<const double> zb, double cutoff) {
  krig::ExperimentalVariogram ev;
  ev.cutoff = cutoff;
  ev.distance.assign(kLagClasses, 0);
  ev.gamma.assign(kLagClasses, 0);
  ev.pairs.assign(kLagClasses, 0);
  std::vector<std::size_t> both;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (present(za[i]) && present(zb[i])) both.push_back(i);
  if (!(cutoff > 0) || both.size() < 2) return ev;
  std::vector<std::size_t> pick;
  const std::size_t n = both.size();
  if (n > kVariogramSample) {
    for (std::size_t i = 0; i < kVariogramSample; ++i)
      pick.push_back(both[i * n / kVariogramSample]);
  } else {
    pick = both;
  }
  const double invWidth = kLagClasses / cutoff, cut2 = cutoff * cutoff;
  const std::size_t m = pick.size();
  for (std::size_t a = 0; a < m; ++a) {
    const std::size_t pa = pick[a];
    for (std::size_t b = a + 1; b < m; ++b) {
      const std::size_t pb = pick[b];
      const double dx = x[pb] - x[pa], dy = y[pb] - y[pa];
      const double h2 = dx * dx + dy * dy;
      if (h2 > cut2) continue;
      const double h = std::sqrt(h2);
      const double q = h * invWidth;
      int j = static_cast<int>(q);
      if (j > 0 && static_cast<double>(j) == q) --j;
      j = std::min(j, kLagClasses - 1);
      const auto u = static_cast<std::size_t>(j);
      ev.distance[u] += h;
      ev.gamma[u] += (za[pb] - za[pa]) * (zb[pb] - zb[pa]);
      ev.pairs[u] += 1;
    }
  }
  for (std::size_t u = 0; u < static_cast<std::size_t>(kLagClasses); ++u) {
    if (ev.pairs[u] == 0) continue;
    ev.distance[u] /= static_cast<double>(ev.pairs[u]);
    ev.gamma[u] /= 2.0 * static_cast<double>(ev.pairs[u]);
  }
  return ev;
}

CoVariograms experimentalCoVariograms(const CoSamples& s) {
  CoVariograms out;
  out.nvar = s.variables();
  const int nv = out.nvar;
  out.pairs.resize(static_cast<std::size_t>(nv * (nv + 1) / 2));
  std::vector<VarPoints> pts;
  for (int v = 0; v < nv; ++v) pts.push_back(pointsOf(s, v));
  for (const auto& p : pts) out.variance.push_back(sampleVariance(p.z));
  // The primary as the kriging seam sees it: its own cutoff, its own fit.
  auto& primary = out.pairs[static_cast<std::size_t>(coPairIndex(0, 0, nv))];
  primary = krig::experimentalVariogram(pts[0].x, pts[0].y, pts[0].z);
  out.cutoff = primary.cutoff;
  out.primaryFit = krig::fitSpherical(primary, out.variance[0]);
  for (int i = 0; i < nv; ++i)
    for (int j = i; j < nv; ++j) {
      if (i == 0 && j == 0) continue;
      auto& ev = out.pairs[static_cast<std::size_t>(coPairIndex(i, j, nv))];
      if (i == j)
        ev = krig::experimentalVariogram(pts[static_cast<std::size_t>(i)].x,
                                         pts[static_cast<std::size_t>(i)].y,
                                         pts[static_cast<std::size_t>(i)].z, out.cutoff);
      else
        ev = experimentalCrossVariogram(s.x, s.y, s.z[static_cast<std::size_t>(i)],
                                        s.z[static_cast<std::size_t>(j)], out.cutoff);
    }
  return out;
}

double smallestEigenvalue(const std::vector<double>& m, int n) {
  Eigen::Map<const Eigen::MatrixXd> a(m.data(), n, n);
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> es(a, Eigen::EigenvaluesOnly);
  return es.eigenvalues().minCoeff();
}

bool nearestPositiveSemidefinite(std::vector<double>& m, int n) {
  Eigen::Map<Eigen::MatrixXd> a(m.data(), n, n);
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> es(a);
  Eigen::VectorXd ev = es.eigenvalues();
  const double scale = std::max(1e-300, ev.cwiseAbs().maxCoeff());
  if (ev.minCoeff() >= -1e-12 * scale) return false;
  ev = ev.cwiseMax(0.0);
  Eigen::MatrixXd fixed = es.eigenvectors() * ev.asDiagonal() * es.eigenvectors().transpose();
  a = (fixed + fixed.transpose()) / 2;
  return true;
}

Coregionalisation fitCoregionalisation(const CoVariograms& ev, double range) {
  Coregionalisation model;
  const int nv = ev.nvar;
  model.nvar = nv;
  model.range = range > 0 ? range : ev.primaryFit.range;
  if (!(model.range > 0)) model.range = ev.cutoff > 0 ? ev.cutoff : 1;
  model.nugget.assign(static_cast<std::size_t>(nv * nv), 0);
  model.sill.assign(static_cast<std::size_t>(nv * nv), 0);

  // Per entry: the lags holding pairs, their weights and the two structures' values.
  struct Lag {
    double w, g0, g1, gamma;
  };
  std::vector<std::vector<Lag>> lags(ev.pairs.size());
  for (int i = 0; i < nv; ++i)
    for (int j = i; j < nv; ++j) {
      const auto p = static_cast<std::size_t>(coPairIndex(i, j, nv));
      const auto& e = ev.pairs[p];
      for (std::size_t l = 0; l < e.pairs.size(); ++l) {
        const double h = e.distance[l];
        if (e.pairs[l] <= 0 || !(h > 0)) continue;
        lags[p].push_back(
            {static_cast<double>(e.pairs[l]) / (h * h), 1.0, sph(h / model.range), e.gamma[l]});
      }
    }
  // A variable without lags of its own (fewer than two samples) keeps the pure nugget of its
  // variance, so the model stays usable.
  std::vector<double> b[2] = {model.nugget, model.sill};
  auto entry = [&](int i, int j) { return static_cast<std::size_t>(i * nv + j); };
  double largest = 0;
  for (const auto& e : lags)
    for (const Lag& l : e) largest = std::max(largest, std::fabs(l.gamma));
  const double tol = 1e-12 * std::max(largest, 1e-300);
  bool corrected = false;
  int it = 0;
  for (; it < kMaxFitIterations; ++it) {
    double moved = 0;
    corrected = false;
    for (int k = 0; k < 2; ++k) {
      std::vector<double> next(b[k].size(), 0);
      for (int i = 0; i < nv; ++i)
        for (int j = i; j < nv; ++j) {
          const auto& e = lags[static_cast<std::size_t>(coPairIndex(i, j, nv))];
          double num = 0, den = 0;
          for (const Lag& l : e) {
            const double gk = k == 0 ? l.g0 : l.g1, go = k == 0 ? l.g1 : l.g0;
            const double other = b[1 - k][entry(i, j)];
            num += l.w * gk * (l.gamma - other * go);
            den += l.w * gk * gk;
          }
          double value = den > 0 ? num / den : 0;
          if (i == j && e.empty() && k == 0) value = ev.variance[static_cast<std::size_t>(i)];
          next[entry(i, j)] = next[entry(j, i)] = value;
        }
      corrected = nearestPositiveSemidefinite(next, nv) || corrected;
      for (std::size_t q = 0; q < next.size(); ++q)
        moved = std::max(moved, std::fabs(next[q] - b[k][q]));
      b[k] = std::move(next);
    }
    if (moved <= tol) break;
  }
  model.nugget = b[0];
  model.sill = b[1];
  model.corrected = corrected;
  model.iterations = it + 1;
  return model;
}

Coregionalisation primaryOnlyModel(const CoVariograms& ev) {
  Coregionalisation m;
  m.nvar = 1;
  m.range = ev.primaryFit.range > 0 ? ev.primaryFit.range : 1;
  m.nugget = {ev.primaryFit.nugget};
  m.sill = {ev.primaryFit.sill};
  if (ev.primaryFit.degenerate) m.nugget = {1.0}, m.sill = {0.0};
  return m;
}

CoSamples primaryOnly(const CoSamples& s) {
  CoSamples p;
  p.x = s.x;
  p.y = s.y;
  if (!s.z.empty()) p.z.push_back(s.z[0]);
  return p;
}

namespace {

// One neighbour of a node: variable, index among that variable's samples, distance.
struct Neighbour {
  int var;
  std::uint32_t idx;
  double d;
};

// The solver of one node, reused across the nodes of a thread.
class NodeSystem {
 public:
  NodeSystem(const std::vector<VarPoints>& pts, const std::vector<detail::BucketIndex>& index,
             const Coregionalisation& m, const CoKrigingOptions& o)
      : pts_(pts), index_(index), m_(m) {
    k_.push_back(static_cast<std::size_t>(std::max(1, o.primaryNeighbours)));
    for (std::size_t v = 1; v < pts.size(); ++v)
      k_.push_back(static_cast<std::size_t>(std::max(0, o.secondaryNeighbours)));
    nb_.resize(pts.size());
    for (int v = 0; v < m.nvar; ++v) total_ = std::max(total_, m.cov(v, v, 0));
  }

  // The estimate at (x0, y0), leaving out primary sample `skip`; NaN when nothing can be solved.
  double estimate(double x0, double y0, std::uint32_t skip = UINT32_MAX) {
    entries_.clear();
    vars_.clear();
    for (std::size_t v = 0; v < pts_.size(); ++v) {
      const bool leaveOut = v == 0 && skip != UINT32_MAX;
      const std::size_t want = k_[v] + (leaveOut ? 1 : 0);
      if (k_[v] == 0 || pts_[v].x.empty()) continue;
      index_[v].nearest(x0, y0, want, nb_[v]);
      std::size_t used = 0;
      for (const auto& [d2, idx] : nb_[v]) {
        if (leaveOut && idx == skip) continue;
        if (used == k_[v]) break;
        entries_.push_back({static_cast<int>(v), idx, std::sqrt(d2)});
        ++used;
      }
      if (used > 0) vars_.push_back(static_cast<int>(v));
    }
    if (vars_.empty() || vars_[0] != 0) return std::numeric_limits<double>::quiet_NaN();
    const int n = static_cast<int>(entries_.size()), p = static_cast<int>(vars_.size());
    a_.setZero(n + p, n + p);
    rhs_.setZero(n + p);
    for (int i = 0; i < n; ++i) {
      const Neighbour& ei = entries_[static_cast<std::size_t>(i)];
      const VarPoints& pi = pts_[static_cast<std::size_t>(ei.var)];
      a_(i, i) = m_.cov(ei.var, ei.var, 0);
      for (int j = i + 1; j < n; ++j) {
        const Neighbour& ej = entries_[static_cast<std::size_t>(j)];
        const VarPoints& pj = pts_[static_cast<std::size_t>(ej.var)];
        const double dx = pi.x[ei.idx] - pj.x[ej.idx], dy = pi.y[ei.idx] - pj.y[ej.idx];
        a_(i, j) = a_(j, i) = m_.cov(ei.var, ej.var, std::sqrt(dx * dx + dy * dy));
      }
      rhs_(i) = m_.cov(ei.var, 0, ei.d);
      const int col =
          static_cast<int>(std::find(vars_.begin(), vars_.end(), ei.var) - vars_.begin());
      a_(i, n + col) = a_(n + col, i) = 1;
    }
    rhs_(n) = 1;
    lu_.compute(a_);
    sol_ = lu_.solve(rhs_);
    const double resid = (a_ * sol_ - rhs_).cwiseAbs().maxCoeff();
    if (!sol_.allFinite() || !(resid <= 1e-8 * (total_ + 1.0))) {
      Eigen::CompleteOrthogonalDecomposition<Eigen::MatrixXd> cod(a_);
      sol_ = cod.solve(rhs_);
      if (!sol_.allFinite()) return std::numeric_limits<double>::quiet_NaN();
    }
    double est = 0;
    for (int i = 0; i < n; ++i) {
      const Neighbour& e = entries_[static_cast<std::size_t>(i)];
      est += sol_(i) * pts_[static_cast<std::size_t>(e.var)].z[e.idx];
    }
    return est;
  }

 private:
  const std::vector<VarPoints>& pts_;
  const std::vector<detail::BucketIndex>& index_;
  const Coregionalisation& m_;
  double total_ = 0;
  std::vector<std::size_t> k_;
  std::vector<std::vector<std::pair<double, std::uint32_t>>> nb_;
  std::vector<Neighbour> entries_;
  std::vector<int> vars_;
  Eigen::MatrixXd a_;
  Eigen::VectorXd rhs_, sol_;
  Eigen::PartialPivLU<Eigen::MatrixXd> lu_;
};

struct Prepared {
  std::vector<VarPoints> pts;
  std::vector<detail::BucketIndex> index;
};

void prepare(const CoSamples& s, int nvar, Prepared& p) {
  p.pts.clear();
  p.index.clear();
  for (int v = 0; v < nvar; ++v) p.pts.push_back(pointsOf(s, v));
  p.index.reserve(p.pts.size());
  for (const auto& v : p.pts) p.index.emplace_back(v.x, v.y);
}

}  // namespace

std::vector<float> coKrigeGrid(const CoSamples& s, const Coregionalisation& model,
                               const GridGeometry& g, const CoKrigingOptions& options,
                               Progress& progress, bool* cancelled) {
  std::vector<float> out(g.nodeCount(), NULL_VALUE);
  if (s.variables() < model.nvar || model.nvar < 1) return out;
  Prepared prep;
  prepare(s, model.nvar, prep);
  std::atomic<int> rowsDone{0};
  std::atomic<bool> stop{false};
  progress.setMaximum(g.rows);
  auto work = [&](int rowBegin, int rowEnd, int) {
    NodeSystem sys(prep.pts, prep.index, model, options);
    for (int r = rowBegin; r < rowEnd && !stop.load(std::memory_order_relaxed); ++r) {
      const double y0 = static_cast<double>(g.yBottom) + static_cast<double>(r) * g.dy;
      for (int c = 0; c < g.columns; ++c) {
        const double x0 = static_cast<double>(g.xLeft) + static_cast<double>(c) * g.dx;
        const double e = sys.estimate(x0, y0);
        if (std::isfinite(e))
          out[static_cast<std::size_t>(r) * g.columns + c] = static_cast<float>(e);
      }
      rowsDone.fetch_add(1, std::memory_order_relaxed);
    }
  };
  // Bands of rows on the worker threads; the calling thread reports progress meanwhile.
  if (options.threads == 1) {
    for (int r = 0; r < g.rows && !stop; ++r) {
      work(r, r + 1, 0);
      progress.setValue(r + 1);
      if (!progress.pump()) stop = true;
    }
  } else {
    std::thread runner([&] { detail::forRowBands(g.rows, work, 1, options.threads); });
    while (rowsDone.load() < g.rows) {
      progress.setValue(rowsDone.load());
      if (!progress.pump()) stop = true;
      if (stop) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    runner.join();
  }
  progress.setValue(g.rows);
  if (cancelled) *cancelled = stop.load();
  return out;
}

CrossValidation coKrigingCrossValidation(const CoSamples& s, const Coregionalisation& model,
                                         const CoKrigingOptions& options) {
  CrossValidation cv;
  if (s.variables() < model.nvar || model.nvar < 1) return cv;
  Prepared prep;
  prepare(s, model.nvar, prep);
  const VarPoints& primary = prep.pts[0];
  const int n = static_cast<int>(primary.z.size());
  cv.error.assign(static_cast<std::size_t>(n), std::numeric_limits<double>::quiet_NaN());
  detail::forRowBands(
      n,
      [&](int b, int e, int) {
        NodeSystem sys(prep.pts, prep.index, model, options);
        for (int i = b; i < e; ++i) {
          const auto u = static_cast<std::size_t>(i);
          const double est =
              sys.estimate(primary.x[u], primary.y[u], static_cast<std::uint32_t>(i));
          if (std::isfinite(est)) cv.error[u] = est - primary.z[u];
        }
      },
      16, options.threads);
  double sum = 0, sum2 = 0;
  for (double e : cv.error) {
    if (!std::isfinite(e)) continue;
    sum += e;
    sum2 += e * e;
    ++cv.count;
  }
  if (cv.count > 0) {
    cv.meanError = sum / static_cast<double>(cv.count);
    cv.rmse = std::sqrt(sum2 / static_cast<double>(cv.count));
  }
  return cv;
}

std::string checkCoKrigingJob(const CoKrigingJob& job) {
  if (job.table.empty()) return kMsgCoKrigNoTable;
  if (job.xField.empty() || job.yField.empty() || job.primaryField.empty())
    return kMsgCoKrigNoFields;
  if (job.secondaryFields.empty() ||
      static_cast<int>(job.secondaryFields.size()) > kCoKrigMaxVariables - 1)
    return kMsgCoKrigNoSecondary;
  for (const auto& f : job.secondaryFields)
    if (f == job.primaryField) return kMsgCoKrigSameField;
  if (job.options.primaryNeighbours < 3 || job.options.secondaryNeighbours < 3)
    return kMsgCoKrigNeighbours;
  if (!(job.geometry.dx > 0) || !(job.geometry.dy > 0) || job.geometry.columns < 2 ||
      job.geometry.rows < 2)
    return kMsgSpacing;
  if (job.outputName.empty()) return kMsgCoKrigNoName;
  return {};
}

CoSamples readCoSamples(Database& db, const CoKrigingJob& job) {
  CoSamples s;
  const int nv = 1 + static_cast<int>(job.secondaryFields.size());
  s.z.resize(static_cast<std::size_t>(nv));
  std::string sql =
      "Select " + bracket(job.xField) + "," + bracket(job.yField) + "," + bracket(job.primaryField);
  for (const auto& f : job.secondaryFields) sql += "," + bracket(f);
  sql += " From " + bracket(job.table);
  Cursor c = db.query(sql);
  // A value counts when it exceeds both filters of the tool (-1E+35 for samples, -1E+30 for data).
  auto value = [&](int col) {
    if (c.isNull(col)) return std::numeric_limits<double>::quiet_NaN();
    const double v = c.getDouble(col);
    return isDataValue(v) && std::isfinite(v) ? v : std::numeric_limits<double>::quiet_NaN();
  };
  while (c.next()) {
    const double x = value(0), y = value(1);
    if (std::isnan(x) || std::isnan(y)) continue;
    bool any = false;
    std::vector<double> z(static_cast<std::size_t>(nv));
    for (int v = 0; v < nv; ++v) {
      z[static_cast<std::size_t>(v)] = value(2 + v);
      any = any || !std::isnan(z[static_cast<std::size_t>(v)]);
    }
    if (!any) continue;
    s.x.push_back(x);
    s.y.push_back(y);
    for (int v = 0; v < nv; ++v)
      s.z[static_cast<std::size_t>(v)].push_back(z[static_cast<std::size_t>(v)]);
  }
  return s;
}

namespace {

std::vector<std::string> coKrigingReport(const CoKrigingJob& job, const CoKrigingRunResult& r,
                                         const CoSamples& s) {
  std::vector<std::string> out;
  std::vector<std::string> names{job.primaryField};
  for (const auto& f : job.secondaryFields) names.push_back(f);
  out.push_back("   协同克里格分析");
  out.push_back("   数据表: " + job.table + "    主变量: " + job.primaryField);
  std::string sec = "   协同变量:";
  for (const auto& f : job.secondaryFields) sec += " " + f;
  out.push_back(sec);
  for (int v = 0; v < s.variables(); ++v) {
    std::int64_t count = 0;
    for (double z : s.z[static_cast<std::size_t>(v)]) count += std::isnan(z) ? 0 : 1;
    out.push_back("   " + names[static_cast<std::size_t>(v)] + " 样品数=" + std::to_string(count) +
                  "   方差=" + doubleText(r.variograms.variance[static_cast<std::size_t>(v)]));
  }
  out.push_back("");
  out.push_back("   线性协同区域化模型: 块金 + 球状模型, 变程 a=" + doubleText(r.model.range));
  for (int i = 0; i < r.model.nvar; ++i)
    for (int j = i; j < r.model.nvar; ++j) {
      const std::string pair =
          i == j ? names[static_cast<std::size_t>(i)]
                 : names[static_cast<std::size_t>(i)] + "-" + names[static_cast<std::size_t>(j)];
      out.push_back("   γ(" + pair + "): 块金=" + doubleText(r.model.b0(i, j)) +
                    "   基台=" + doubleText(r.model.b1(i, j)));
    }
  out.push_back(r.model.corrected ? "   基台矩阵非正定, 已校正为最近的半正定矩阵。"
                                  : "   基台矩阵正定性检验: 通过。");
  out.push_back("   拟合迭代次数=" + std::to_string(r.model.iterations));
  if (r.coKriging.count > 0) {
    out.push_back("");
    out.push_back("   交叉验证(逐点剔除):");
    out.push_back("     普通克里格:  平均误差=" + doubleText(r.ordinary.meanError) +
                  "   均方根误差=" + doubleText(r.ordinary.rmse));
    out.push_back("     协同克里格:  平均误差=" + doubleText(r.coKriging.meanError) +
                  "   均方根误差=" + doubleText(r.coKriging.rmse));
  }
  out.push_back("");
  out.push_back("   网格: " + std::to_string(job.geometry.columns) + " × " +
                std::to_string(job.geometry.rows) +
                "   有效数据数=" + std::to_string(r.grid.header.validCount));
  return out;
}

}  // namespace

CoKrigingRunResult runCoKriging(Database& db, const std::string& workPath, const CoKrigingJob& job,
                                Interaction& ui, Progress& progress) {
  CoKrigingRunResult r;
  if (std::string why = checkCoKrigingJob(job); !why.empty()) {
    r.outcome = Outcome::failure(why);
    return r;
  }
  r.path = gridOutputPath(workPath, job.outputName);
  try {
    if (std::filesystem::exists(r.path)) {
      const std::string q =
          std::string(kMsgOverwritePrefix) + job.outputName + ".grd" + kMsgOverwriteSuffix;
      if (ui.ask(kTitle, q, Buttons::YesNo) != Answer::Yes) {
        r.declined = true;
        r.outcome = Outcome::failure({});
        return r;
      }
    }
    CoSamples s = readCoSamples(db, job);
    std::int64_t primaryCount = 0;
    for (double z : s.z[0]) primaryCount += std::isnan(z) ? 0 : 1;
    if (primaryCount < 10) {
      r.outcome = Outcome::failure(kMsgCoKrigTooFew);
      return r;
    }
    r.variograms = experimentalCoVariograms(s);
    r.model = fitCoregionalisation(r.variograms, job.range);
    if (job.crossValidate) {
      r.coKriging = coKrigingCrossValidation(s, r.model, job.options);
      r.ordinary =
          coKrigingCrossValidation(primaryOnly(s), primaryOnlyModel(r.variograms), job.options);
    }
    bool cancelled = false;
    std::vector<float> nodes =
        coKrigeGrid(s, r.model, job.geometry, job.options, progress, &cancelled);
    if (cancelled) {
      r.outcome = Outcome::failure({});
      return r;
    }
    GridHeader h;
    h.magic = kGridMagicHltwr;
    h.method = kCoKrigMethod;
    h.x0 = job.geometry.xLeft;
    h.y0 = job.geometry.yBottom;
    h.nx = job.geometry.columns;
    h.ny = job.geometry.rows;
    h.dx = job.geometry.dx;
    h.dy = job.geometry.dy;
    recomputeGridStats(h, nodes);
    std::error_code ec;
    std::filesystem::remove(r.path, ec);
    if (!writeGrid(r.path, kGridMagicHltwr, kCoKrigMethod, h, nodes)) {
      r.outcome = Outcome::failure(std::string(kMsgCannotCreate) + r.path);
      return r;
    }
    r.grid.header = h;
    r.grid.nodes = std::move(nodes);
    r.report = coKrigingReport(job, r, s);
  } catch (const StoreError& e) {
    r.outcome = Outcome::failure(std::string(kMsgCoKrigFailed) + e.what());
    return r;
  }
  r.outcome = Outcome::success();
  return r;
}

chart::Chart coVariogramChart(const CoVariograms& ev, const Coregionalisation& model,
                              const std::vector<std::string>& names) {
  static const chart::Rgb colours[] = {{0, 0, 255},   {255, 0, 0},   {0, 150, 0},
                                       {200, 120, 0}, {150, 0, 150}, {0, 150, 150}};
  chart::Chart c;
  c.fitFrame = true;
  c.legend = true;
  c.x.label = "距离 h";
  c.y.label = "γ(h)";
  int colour = 0;
  const double hMax = ev.cutoff > 0 ? ev.cutoff : model.range;
  for (int i = 0; i < ev.nvar; ++i)
    for (int j = i; j < ev.nvar; ++j) {
      const auto& e = ev.pairs[static_cast<std::size_t>(coPairIndex(i, j, ev.nvar))];
      const chart::Rgb rgb = colours[colour++ % 6];
      const std::string name = i == j ? names.at(static_cast<std::size_t>(i))
                                      : names.at(static_cast<std::size_t>(i)) + "-" +
                                            names.at(static_cast<std::size_t>(j));
      std::vector<double> hx, gy;
      for (std::size_t l = 0; l < e.pairs.size(); ++l)
        if (e.pairs[l] > 0) {
          hx.push_back(e.distance[l]);
          gy.push_back(e.gamma[l]);
        }
      c.series.push_back(chart::Series::of(chart::SeriesKind::Markers, hx, gy, rgb, name));
      std::vector<double> mx, my;
      for (int k = 0; k <= 100; ++k) {
        const double h = hMax * k / 100.0;
        mx.push_back(h);
        my.push_back(model.gamma(i, j, h));
      }
      c.series.push_back(chart::Series::of(chart::SeriesKind::Line, mx, my, rgb));
    }
  return c;
}

}  // namespace sarnoth::geochem
