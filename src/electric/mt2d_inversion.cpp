#include "electric/mt2d_inversion.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace sarnoth::electric {
namespace {

constexpr double kLn10 = 2.302585092994045684;
// The search keeps log10 μ inside these bounds.
constexpr double kMinLog10Mu = -6, kMaxLog10Mu = 12;
constexpr int kGoldenSections = 3;
constexpr int kBisections = 5;
// Phase 2 stops once a fitting misfit lies this close below the target (relative).
constexpr double kTargetTolerance = 0.01;
constexpr int kStepHalvings = 4;

// Passes the event pump of a long run through to the caller's progress, reporting nothing of
// its own: the forwards inside an iteration count frequencies, the run counts iterations.
class PumpOnly : public Progress {
 public:
  explicit PumpOnly(Progress* parent) : parent_(parent) {}
  void setMaximum(std::int64_t) override {}
  void setValue(std::int64_t) override {}
  bool pump() override { return parent_ ? parent_->pump() : true; }

 private:
  Progress* parent_;
};

double wrapDegrees(double d) {
  while (d > 180) d -= 360;
  while (d <= -180) d += 360;
  return d;
}

}  // namespace

// --- Occam step -------------------------------------------------------------------------------

Eigen::MatrixXd blockRoughness(int blockColumns, int blockRows,
                               const std::vector<int>& blockParameter, int parameters) {
  Eigen::MatrixXd R = Eigen::MatrixXd::Zero(parameters, parameters);
  auto pair = [&](int a, int b) {
    const int p = blockParameter[static_cast<std::size_t>(a)];
    const int q = blockParameter[static_cast<std::size_t>(b)];
    if (p < 0 || q < 0) return;
    R(p, p) += 1;
    R(q, q) += 1;
    R(p, q) -= 1;
    R(q, p) -= 1;
  };
  for (int r = 0; r < blockRows; ++r)
    for (int c = 0; c < blockColumns; ++c) {
      const int b = r * blockColumns + c;
      if (c + 1 < blockColumns) pair(b, b + 1);
      if (r + 1 < blockRows) pair(b, b + blockColumns);
    }
  return R;
}

OccamStepResult occamStep(const OccamStepInput& in, const OccamMisfit& misfit) {
  OccamStepResult res;
  res.m = in.m0;
  res.rms = in.rms0;
  res.log10Mu = in.log10Mu;
  const Eigen::Index M = in.J.cols();
  const Eigen::VectorXd w = in.error.cwiseInverse();
  const Eigen::MatrixXd WJ = w.asDiagonal() * in.J;
  const Eigen::VectorXd Wd = w.cwiseProduct(in.residual + in.J * in.m0);
  Eigen::MatrixXd A0 = Eigen::MatrixXd::Zero(M, M);
  A0.selfadjointView<Eigen::Lower>().rankUpdate(WJ.transpose());
  A0 = A0.selfadjointView<Eigen::Lower>();
  const Eigen::VectorXd b = WJ.transpose() * Wd;
  // A whisper of damping keeps the system definite where neither data nor roughness reach a
  // direction (a block no datum sees and no neighbour ties).
  const double ridge = 1e-10 * std::max(1.0, A0.diagonal().maxCoeff());

  struct Trial {
    double rms;
    Eigen::VectorXd m;
  };
  std::map<double, Trial> trials;
  auto model = [&](double l) -> Eigen::VectorXd {
    Eigen::MatrixXd A = A0 + std::pow(10.0, l) * in.roughness;
    A.diagonal().array() += ridge;
    Eigen::LLT<Eigen::MatrixXd> llt(A);
    if (llt.info() == Eigen::Success) return llt.solve(b);
    return A.ldlt().solve(b);
  };
  // The true misfit at log10 μ = l; false when the search must stop.
  auto eval = [&](double l) -> bool {
    l = std::clamp(l, kMinLog10Mu, kMaxLog10Mu);
    if (trials.count(l)) return true;
    Eigen::VectorXd m = model(l);
    const std::optional<double> r = misfit(m);
    ++res.trials;
    if (!r) {
      res.stopped = true;
      return false;
    }
    trials[l] = {*r, std::move(m)};
    return true;
  };
  auto best = [&] {
    return std::min_element(trials.begin(), trials.end(), [](const auto& a, const auto& b) {
      return a.second.rms < b.second.rms;
    });
  };

  // Sweep by decades until the least misfit has a larger one on either side.
  const double l0 = std::clamp(in.log10Mu, kMinLog10Mu, kMaxLog10Mu);
  for (double l : {l0, l0 - 1, l0 + 1})
    if (!eval(l)) return res;
  for (;;) {
    auto it = best();
    const double l = it->first;
    if (it == trials.begin() && l > kMinLog10Mu) {
      if (!eval(l - 1)) return res;
    } else if (std::next(it) == trials.end() && l < kMaxLog10Mu) {
      if (!eval(l + 1)) return res;
    } else {
      break;
    }
  }
  // Golden sections about the least misfit.
  {
    auto it = best();
    double lo = it == trials.begin() ? it->first : std::prev(it)->first;
    double hi = std::next(it) == trials.end() ? it->first : std::next(it)->first;
    const double g = 0.381966011250105;
    for (int i = 0; i < kGoldenSections && hi - lo > 0.05; ++i) {
      const double c = best()->first;
      const double probe = (c - lo > hi - c) ? c - g * (c - lo) : c + g * (hi - c);
      if (!eval(probe)) return res;
      if (best()->first == c) {
        (probe < c ? lo : hi) = probe;
      } else {
        (probe < c ? hi : lo) = c;
      }
    }
  }
  auto it = best();
  double chosen = it->first;
  if (it->second.rms <= in.target) {
    // Phase 2: the largest μ whose misfit still meets the target.
    auto above = std::find_if(std::next(it), trials.end(),
                              [&](const auto& t) { return t.second.rms > in.target; });
    while (above == trials.end()) {
      const double top = trials.rbegin()->first;
      if (top >= kMaxLog10Mu) break;
      if (!eval(top + 1)) return res;
      it = trials.find(chosen);
      above = std::find_if(std::next(it), trials.end(),
                           [&](const auto& t) { return t.second.rms > in.target; });
    }
    double lo = std::prev(above == trials.end() ? trials.end() : above)->first;
    if (above != trials.end()) {
      // False position on the misfit between the last fitting μ and the first that misses,
      // each new point kept a little inside the bracket.
      double hi = above->first;
      for (int i = 0; i < kBisections; ++i) {
        const double rlo = trials[lo].rms, rhi = trials[hi].rms;
        if (in.target - rlo <= kTargetTolerance * in.target) break;
        double next = lo + (in.target - rlo) / (rhi - rlo) * (hi - lo);
        next = std::clamp(next, lo + 0.1 * (hi - lo), hi - 0.1 * (hi - lo));
        if (!eval(next)) return res;
        (trials[next].rms <= in.target ? lo : hi) = next;
      }
    }
    // The largest μ evaluated with a fitting misfit.
    for (const auto& [l, t] : trials)
      if (t.rms <= in.target) chosen = std::max(chosen, l);
    const Trial& t = trials[chosen];
    res.m = t.m;
    res.rms = t.rms;
    res.improved = true;
  } else if (it->second.rms < in.rms0) {
    res.m = it->second.m;
    res.rms = it->second.rms;
    res.improved = true;
  } else {
    // No μ lowers the misfit: shorten the step towards the least-misfit model.
    const Eigen::VectorXd dir = it->second.m - in.m0;
    double t = 1;
    for (int i = 0; i < kStepHalvings; ++i) {
      t /= 2;
      Eigen::VectorXd m = in.m0 + t * dir;
      const std::optional<double> r = misfit(m);
      ++res.trials;
      if (!r) {
        res.stopped = true;
        return res;
      }
      if (*r < in.rms0) {
        res.m = std::move(m);
        res.rms = *r;
        res.improved = true;
        break;
      }
    }
  }
  res.log10Mu = chosen;
  res.roughness = res.m.dot(in.roughness * res.m);
  return res;
}

// --- the magnetotelluric problem ------------------------------------------------------------

bool mt2dResponses(const Mt2dMesh& mesh, const std::vector<double>& cellRho,
                   const std::vector<double>& frequencies, const std::vector<int>& siteColumns,
                   MtMode mode, MtResponses& out, int threads, Progress* progress) {
  Mt2dForwardRequest r;
  r.mesh = &mesh;
  r.resistivity = cellRho;
  r.frequencies = frequencies;
  r.siteColumns = siteColumns;
  r.threads = threads;
  const std::size_t ns = siteColumns.size(), nf = frequencies.size();
  for (Polarisation p : {Polarisation::TE, Polarisation::TM}) {
    if (p == Polarisation::TE ? !hasTE(mode) : !hasTM(mode)) continue;
    ModeResponse resp;
    if (!forwardMode(r, p, resp, nullptr, progress)) return false;
    MtCurves& c = p == Polarisation::TE ? out.te : out.tm;
    c.rho.assign(ns * nf, 0.0);
    c.phase.assign(ns * nf, 0.0);
    for (std::size_t s = 0; s < ns; ++s)
      for (std::size_t f = 0; f < nf; ++f) {
        c.rho[s * nf + f] = resp.rho[f * ns + s];
        c.phase[s * nf + f] = resp.phase[f * ns + s];
      }
  }
  return true;
}

std::string validateInversion(const Mt2dInversionSetup& s, std::vector<int>* siteColumnsOut) {
  if (std::string m = validateMesh(s.mesh, hasTE(s.mode)); !m.empty()) return m;
  const int cols = std::accumulate(s.model.columnSpans.begin(), s.model.columnSpans.end(), 0);
  const int rows = std::accumulate(s.model.rowSpans.begin(), s.model.rowSpans.end(), 0);
  if (cols != s.mesh.columns())
    return "初始模型的模型块宽度之和 (" + std::to_string(cols) + ") 与网格剖分的水平网格数 (" +
           std::to_string(s.mesh.columns()) + ") 不一致";
  if (rows != s.mesh.earthRows())
    return "初始模型的模型块高度之和 (" + std::to_string(rows) + ") 与网格剖分的地下网格数 (" +
           std::to_string(s.mesh.earthRows()) + ") 不一致";
  if (hasTE(s.mode) && !hasTE(s.data.mode)) return "测点路径数据文件中没有 TE 模式数据";
  if (hasTM(s.mode) && !hasTM(s.data.mode)) return "测点路径数据文件中没有 TM 模式数据";
  if (!(s.targetRms > 0)) return "拟合目标必须大于 0";
  const std::vector<double> y = s.mesh.nodePositions();
  const double tol = 1e-6 * std::max(1.0, y.back() - y.front());
  std::vector<int> cols2;
  for (const MtSite& site : s.data.sites) {
    if (!(site.position >= y.front() - tol && site.position <= y.back() + tol))
      return "测点 " + site.name + " 的位置不在网格剖分范围内";
    const int c = s.mesh.nearestColumn(site.position);
    if (std::find(cols2.begin(), cols2.end(), c) != cols2.end())
      return "测点 " + site.name + " 与另一测点落在同一网格节点上";
    cols2.push_back(c);
  }
  int measured = 0;
  bool zeroError = false;
  auto scan = [&](const MtCurves& c) {
    for (std::size_t i = 0; i < c.rho.size(); ++i)
      if (isMeasured(c.rho[i])) {
        ++measured;
        if ((c.rhoErr.empty() || c.rhoErr[i] <= 0) && s.rhoFloor <= 0) zeroError = true;
        if ((c.phaseErr.empty() || c.phaseErr[i] <= 0) && s.phaseFloor <= 0) zeroError = true;
      }
  };
  if (hasTE(s.mode)) scan(s.data.te);
  if (hasTM(s.mode)) scan(s.data.tm);
  if (measured == 0) return "测点路径数据文件中没有实测数据";
  if (zeroError) return "数据误差与误差下限不能同时为 0";
  if (siteColumnsOut) *siteColumnsOut = std::move(cols2);
  return {};
}

namespace {

// One datum: which mode, where in the forward's rows, its value and error.
struct Datum {
  Polarisation mode;
  int row;  // row of the mode's sensitivities: 2·(f·ns + s) + kind
  bool phase;
  double value, error;
  std::size_t curveIndex;  // s·nf + f
};

class Mt2dProblem {
 public:
  Mt2dProblem(const Mt2dInversionSetup& s, std::vector<int> siteColumns)
      : s_(s), siteColumns_(std::move(siteColumns)) {
    cellBlock_ = s.model.cellBlocks();
    blockParameter_.assign(s.model.resistivity.size(), -1);
    for (std::size_t b = 0; b < blockParameter_.size(); ++b)
      if (!(b < s.model.fixed.size() && s.model.fixed[b])) blockParameter_[b] = parameters_++;
    cellParameter_.resize(cellBlock_.size());
    for (std::size_t c = 0; c < cellBlock_.size(); ++c)
      cellParameter_[c] = blockParameter_[static_cast<std::size_t>(cellBlock_[c])];
    const int ns = static_cast<int>(siteColumns_.size());
    const int nf = s.data.frequencyCount();
    for (Polarisation p : {Polarisation::TE, Polarisation::TM}) {
      if (p == Polarisation::TE ? !hasTE(s.mode) : !hasTM(s.mode)) continue;
      const MtCurves& c = p == Polarisation::TE ? s.data.te : s.data.tm;
      for (int si = 0; si < ns; ++si)
        for (int f = 0; f < nf; ++f) {
          const std::size_t i = static_cast<std::size_t>(si) * nf + f;
          if (!isMeasured(c.rho[i])) continue;
          const int row = 2 * (f * ns + si);
          const double re = std::max(c.rhoErr.empty() ? 0.0 : c.rhoErr[i], s.rhoFloor);
          const double pe = std::max(c.phaseErr.empty() ? 0.0 : c.phaseErr[i], s.phaseFloor);
          data_.push_back({p, row, false, std::log10(c.rho[i]), re / 100 / kLn10, i});
          data_.push_back({p, row + 1, true, c.phase[i], pe, i});
        }
    }
  }

  int parameters() const { return parameters_; }
  const std::vector<int>& blockParameter() const { return blockParameter_; }
  std::size_t dataCount() const { return data_.size(); }

  Eigen::VectorXd startModel() const {
    Eigen::VectorXd m(parameters_);
    for (std::size_t b = 0; b < blockParameter_.size(); ++b)
      if (blockParameter_[b] >= 0) m[blockParameter_[b]] = std::log10(s_.model.resistivity[b]);
    return m;
  }

  std::vector<double> cellRho(const Eigen::VectorXd& m) const {
    std::vector<double> rho(cellBlock_.size());
    for (std::size_t c = 0; c < rho.size(); ++c) {
      const int p = cellParameter_[c];
      rho[c] = p >= 0 ? std::pow(10.0, m[p])
                      : s_.model.resistivity[static_cast<std::size_t>(cellBlock_[c])];
    }
    return rho;
  }

  struct Evaluation {
    ModeResponse te, tm;
    ModeSensitivity jte, jtm;
    double rms = 0;
  };

  // The forward at m; with sensitivities when `J` is given.
  bool evaluate(const Eigen::VectorXd& m, Evaluation& e, Eigen::MatrixXd* J, Progress* progress) {
    const std::vector<double> rho = cellRho(m);
    Mt2dForwardRequest r;
    r.mesh = &s_.mesh;
    r.resistivity = rho;
    r.frequencies = s_.data.frequencies;
    r.siteColumns = siteColumns_;
    r.threads = s_.threads;
    if (J) {
      r.cellParameter = cellParameter_;
      r.parameters = parameters_;
    }
    if (hasTE(s_.mode) && !forwardMode(r, Polarisation::TE, e.te, J ? &e.jte : nullptr, progress))
      return false;
    if (hasTM(s_.mode) && !forwardMode(r, Polarisation::TM, e.tm, J ? &e.jtm : nullptr, progress))
      return false;
    double sum = 0;
    for (const Datum& d : data_) sum += std::pow(residual(d, e) / d.error, 2);
    e.rms = std::sqrt(sum / static_cast<double>(data_.size()));
    if (J) {
      J->resize(static_cast<Eigen::Index>(data_.size()), parameters_);
      for (std::size_t i = 0; i < data_.size(); ++i) {
        const ModeSensitivity& js = data_[i].mode == Polarisation::TE ? e.jte : e.jtm;
        const double* src = js.values.data() + static_cast<std::size_t>(data_[i].row) * parameters_;
        for (int p = 0; p < parameters_; ++p) (*J)(static_cast<Eigen::Index>(i), p) = src[p];
      }
    }
    return true;
  }

  Eigen::VectorXd residuals(const Evaluation& e) const {
    Eigen::VectorXd r(static_cast<Eigen::Index>(data_.size()));
    for (std::size_t i = 0; i < data_.size(); ++i)
      r[static_cast<Eigen::Index>(i)] = residual(data_[i], e);
    return r;
  }
  Eigen::VectorXd errors() const {
    Eigen::VectorXd r(static_cast<Eigen::Index>(data_.size()));
    for (std::size_t i = 0; i < data_.size(); ++i) r[static_cast<Eigen::Index>(i)] = data_[i].error;
    return r;
  }

  // The responses as the files keep them, index s·nf + f.
  MtResponses responses(const Evaluation& e) const {
    MtResponses out;
    const std::size_t ns = siteColumns_.size(), nf = s_.data.frequencies.size();
    auto copy = [&](const ModeResponse& m, MtCurves& c) {
      c.rho.assign(ns * nf, 0.0);
      c.phase.assign(ns * nf, 0.0);
      for (std::size_t si = 0; si < ns; ++si)
        for (std::size_t f = 0; f < nf; ++f) {
          c.rho[si * nf + f] = m.rho[f * ns + si];
          c.phase[si * nf + f] = m.phase[f * ns + si];
        }
    };
    if (hasTE(s_.mode)) copy(e.te, out.te);
    if (hasTM(s_.mode)) copy(e.tm, out.tm);
    return out;
  }

 private:
  double residual(const Datum& d, const Evaluation& e) const {
    const ModeResponse& r = d.mode == Polarisation::TE ? e.te : e.tm;
    const std::size_t k = static_cast<std::size_t>(d.row / 2);
    return d.phase ? wrapDegrees(d.value - r.phase[k]) : d.value - std::log10(r.rho[k]);
  }

  const Mt2dInversionSetup& s_;
  std::vector<int> siteColumns_;
  std::vector<int> cellBlock_, blockParameter_, cellParameter_;
  int parameters_ = 0;
  std::vector<Datum> data_;
};

}  // namespace

Mt2dInversionOutcome invertMt2d(const Mt2dInversionSetup& s,
                                const std::function<void(const Mt2dIterationReport&)>& onIteration,
                                Progress* progress) {
  Mt2dInversionOutcome out;
  out.message = validateInversion(s, &out.siteColumns);
  if (!out.message.empty()) return out;
  Mt2dProblem problem(s, out.siteColumns);
  if (problem.parameters() == 0) {
    out.message = "初始模型中没有可反演的模型块";
    return out;
  }
  PumpOnly pump(progress);
  constexpr int kStagesPerIteration = 10;
  if (progress) {
    progress->setMaximum(static_cast<std::int64_t>(s.maxIterations) * kStagesPerIteration);
    progress->setValue(0);
  }

  Eigen::VectorXd m = problem.startModel();
  const Eigen::MatrixXd R = blockRoughness(s.model.blockColumns(), s.model.blockRows(),
                                           problem.blockParameter(), problem.parameters());
  Mt2dProblem::Evaluation current;
  Eigen::MatrixXd J;
  double log10Mu = 0, lastRoughness = -1;
  bool firstIteration = true;
  for (int it = 1; it <= s.maxIterations; ++it) {
    if (!problem.evaluate(m, current, &J, &pump)) {
      out.message = "正演计算失败或被中止";
      return out;
    }
    if (firstIteration) {
      out.initialRms = current.rms;
      out.initialResponse = problem.responses(current);
      // Start the multiplier where the two terms weigh alike.
      const Eigen::VectorXd w = problem.errors().cwiseInverse();
      const double dataWeight = (w.asDiagonal() * J).colwise().squaredNorm().sum();
      log10Mu = std::log10(std::max(1e-12, dataWeight / std::max(1e-12, R.trace())));
      firstIteration = false;
    }
    if (progress) {
      progress->setValue(static_cast<std::int64_t>(it - 1) * kStagesPerIteration + 3);
      if (!progress->pump()) break;
    }
    OccamStepInput in;
    in.J = std::move(J);
    in.residual = problem.residuals(current);
    in.error = problem.errors();
    in.roughness = R;
    in.m0 = m;
    in.rms0 = current.rms;
    in.target = s.targetRms;
    in.log10Mu = log10Mu;
    std::vector<std::pair<Eigen::VectorXd, Mt2dProblem::Evaluation>> tried;
    int stage = 3;
    const OccamStepResult step =
        occamStep(in, [&](const Eigen::VectorXd& trial) -> std::optional<double> {
          Mt2dProblem::Evaluation e;
          if (!problem.evaluate(trial, e, nullptr, &pump)) return std::nullopt;
          tried.emplace_back(trial, e);
          if (progress) {
            stage = std::min(stage + 1, kStagesPerIteration - 1);
            progress->setValue(static_cast<std::int64_t>(it - 1) * kStagesPerIteration + stage);
          }
          return e.rms;
        });
    if (step.stopped) {
      out.message = "反演计算被中止";
      break;
    }
    if (!step.improved) {
      out.message = "反演不能进一步降低拟合差，计算结束";
      break;
    }
    m = step.m;
    log10Mu = step.log10Mu;
    Mt2dIterationReport rep;
    rep.iteration = it;
    rep.rms = step.rms;
    rep.roughness = step.roughness;
    rep.lagrange = std::pow(10.0, step.log10Mu);
    for (double v : problem.cellRho(m)) rep.cellLog10Rho.push_back(std::log10(v));
    for (const auto& [tm, e] : tried)
      if (tm.size() == m.size() && tm == m) {
        rep.response = problem.responses(e);
        break;
      }
    out.iterations = it;
    if (onIteration) onIteration(rep);
    if (progress) progress->setValue(static_cast<std::int64_t>(it) * kStagesPerIteration);
    const bool atTarget = step.rms <= s.targetRms * 1.0001;
    if (atTarget && lastRoughness >= 0 &&
        std::abs(step.roughness - lastRoughness) <= 0.01 * std::max(lastRoughness, 1e-12)) {
      out.converged = true;
      out.message = "反演收敛";
      break;
    }
    lastRoughness = atTarget ? step.roughness : -1;
  }
  if (out.message.empty()) out.message = "已达到最大迭代次数";
  out.ok = true;
  return out;
}

}  // namespace sarnoth::electric
