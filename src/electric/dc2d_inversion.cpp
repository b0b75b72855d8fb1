#include "electric/dc2d_inversion.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace sarnoth::electric {
namespace {

// Passes the window's pump through while the inversion keeps its own count of iterations.
class InnerProgress : public Progress {
 public:
  explicit InnerProgress(Progress& outer) : outer_(outer) {}
  void setMaximum(std::int64_t) override {}
  void setValue(std::int64_t) override {}
  bool pump() override { return outer_.pump(); }

 private:
  Progress& outer_;
};

// First differences between neighbouring cells, one row per pair.
Eigen::MatrixXd roughness(const Dc2dCells& c) {
  std::vector<std::pair<int, int>> pairs;
  for (int l = 0; l < c.layers; ++l)
    for (int i = 0; i < c.columns; ++i) {
      if (i + 1 < c.columns) pairs.emplace_back(c.index(i, l), c.index(i + 1, l));
      if (l + 1 < c.layers) pairs.emplace_back(c.index(i, l), c.index(i, l + 1));
    }
  Eigen::MatrixXd C = Eigen::MatrixXd::Zero(static_cast<Eigen::Index>(pairs.size()), c.count());
  for (std::size_t r = 0; r < pairs.size(); ++r) {
    C(static_cast<Eigen::Index>(r), pairs[r].first) = -1;
    C(static_cast<Eigen::Index>(r), pairs[r].second) = 1;
  }
  return C;
}

double rmsOf(const Eigen::VectorXd& r) {
  return r.size() ? std::sqrt(r.squaredNorm() / static_cast<double>(r.size())) : 0.0;
}

}  // namespace

Dc2dCells makeDc2dCells(const Dc2dMesh& mesh, const Dc2dSurvey& survey) {
  Dc2dCells c;
  const double a = mesh.unitSpacing;
  const double x0 = survey.xMin(), x1 = survey.xMax();
  const double w = a / 2;
  c.columns = std::max(1, static_cast<int>(std::lround((x1 - x0) / w)));
  c.xEdges.push_back(mesh.xs.front());
  for (int i = 1; i < c.columns; ++i) c.xEdges.push_back(x0 + (x1 - x0) * i / c.columns);
  c.xEdges.push_back(mesh.xs.back());
  double deepest = 0;
  for (const Dc2dDatum& d : survey.data)
    deepest = std::max(deepest, pseudoPosition(survey, d).depth);
  const double bottom = std::max(1.2 * deepest, 2 * a);
  c.depthEdges.push_back(0);
  for (double t = a / 2, d = 0; d + t * 0.5 < bottom; t *= 1.15) {
    d += t;
    c.depthEdges.push_back(d);
  }
  c.depthEdges.back() = mesh.depths.back();
  c.layers = static_cast<int>(c.depthEdges.size()) - 1;
  c.cellOf.resize(mesh.elements());
  for (std::size_t e = 0; e < mesh.elements(); ++e) {
    const int i = mesh.columnOf(e), j = mesh.rowOf(e);
    const double xc =
        (mesh.xs[static_cast<std::size_t>(i)] + mesh.xs[static_cast<std::size_t>(i) + 1]) / 2;
    const double dc =
        (mesh.depths[static_cast<std::size_t>(j)] + mesh.depths[static_cast<std::size_t>(j) + 1]) /
        2;
    const int col = std::clamp(static_cast<int>(std::floor((xc - x0) / (x1 - x0) * c.columns)), 0,
                               c.columns - 1);
    const auto it = std::upper_bound(c.depthEdges.begin(), c.depthEdges.end(), dc);
    const int layer = std::clamp(static_cast<int>(it - c.depthEdges.begin()) - 1, 0, c.layers - 1);
    c.cellOf[e] = c.index(col, layer);
  }
  return c;
}

bool invertDc2d(const Dc2dForward& fwd, const Dc2dCells& cells, const Dc2dInversionSettings& st,
                Dc2dMeshData& data, Dc2dInversionResult& result, std::string& error,
                Progress& progress) {
  result = Dc2dInversionResult{};
  const Dc2dSurvey& survey = fwd.survey();
  std::vector<int> used;
  for (std::size_t i = 0; i < survey.data.size(); ++i)
    if (survey.data[i].rho > 0) used.push_back(static_cast<int>(i));
  if (used.empty()) {
    error = "没有实测视电阻率数据";
    return false;
  }
  const int nc = cells.count();
  const auto nd = static_cast<Eigen::Index>(used.size());
  const double wgt = 1 / (std::max(st.errorPercent, 0.1) / 100);
  Eigen::VectorXd dObs(nd);
  for (Eigen::Index i = 0; i < nd; ++i)
    dObs(i) =
        std::log(survey.data[static_cast<std::size_t>(used[static_cast<std::size_t>(i)])].rho);

  // Start model: the mesh data's log-mean per cell.
  Eigen::VectorXd m = Eigen::VectorXd::Zero(nc);
  {
    std::vector<double> sum(static_cast<std::size_t>(nc), 0.0);
    std::vector<int> count(static_cast<std::size_t>(nc), 0);
    for (std::size_t e = 0; e < data.rho.size(); ++e) {
      sum[static_cast<std::size_t>(cells.cellOf[e])] += std::log(data.rho[e]);
      ++count[static_cast<std::size_t>(cells.cellOf[e])];
    }
    for (int c = 0; c < nc; ++c)
      m(c) = count[static_cast<std::size_t>(c)]
                 ? sum[static_cast<std::size_t>(c)] / count[static_cast<std::size_t>(c)]
                 : dObs.mean();
  }
  auto elementRho = [&](const Eigen::VectorXd& mc) {
    std::vector<double> rho(fwd.mesh().elements());
    for (std::size_t e = 0; e < rho.size(); ++e) rho[e] = std::exp(mc(cells.cellOf[e]));
    return rho;
  };
  auto misfit = [&](const std::vector<double>& rhoa) {
    Eigen::VectorXd r(nd);
    for (Eigen::Index i = 0; i < nd; ++i)
      r(i) =
          dObs(i) - std::log(std::max(
                        rhoa[static_cast<std::size_t>(used[static_cast<std::size_t>(i)])], 1e-30));
    return r;
  };

  InnerProgress inner(progress);
  progress.setMaximum(st.iterations + (st.chargeability ? 2 : 0) + 1);
  progress.setValue(0);
  const Eigen::MatrixXd C = roughness(cells);
  const Eigen::MatrixXd CtC = C.transpose() * C;
  Dc2dSolution sol;
  if (!fwd.solve(elementRho(m), sol, true, inner)) return false;
  std::vector<double> rhoa = fwd.apparentResistivity(sol);
  Eigen::VectorXd r = misfit(rhoa);
  double rms = rmsOf(r);
  result.rmsPerIteration.push_back(100 * rms);
  double lambda0 = 0, lambda = 0;
  Eigen::MatrixXd Jc;  // the sensitivities of the last accepted model
  for (int it = 0; it < st.iterations; ++it) {
    const Eigen::MatrixXd Jall = fwd.jacobian(sol, cells.cellOf, nc);
    Eigen::MatrixXd J(nd, nc);
    for (Eigen::Index i = 0; i < nd; ++i) J.row(i) = Jall.row(used[static_cast<std::size_t>(i)]);
    Jc = J;
    const Eigen::MatrixXd JtJ = wgt * wgt * (J.transpose() * J);
    if (it == 0) {
      lambda0 = 0.2 * JtJ.diagonal().mean();
      if (!(lambda0 > 0)) lambda0 = 1e-3;
      lambda = lambda0;
    }
    Eigen::MatrixXd H = JtJ + lambda * CtC;
    const Eigen::VectorXd g = wgt * wgt * (J.transpose() * r) - lambda * (CtC * m);
    const Eigen::VectorXd step = H.ldlt().solve(g);
    bool accepted = false;
    for (double alpha = 1; alpha > 0.1 && !accepted; alpha /= 2) {
      Eigen::VectorXd trial = m + alpha * step;
      for (Eigen::Index c = 0; c < nc; ++c)
        trial(c) = std::clamp(trial(c), std::log(1e-3), std::log(1e7));
      Dc2dSolution s2;
      if (!fwd.solve(elementRho(trial), s2, true, inner)) return false;
      const std::vector<double> ra = fwd.apparentResistivity(s2);
      const Eigen::VectorXd r2 = misfit(ra);
      if (rmsOf(r2) < rms) {
        m = trial;
        sol = std::move(s2);
        rhoa = ra;
        r = r2;
        accepted = true;
      }
    }
    progress.setValue(it + 1);
    if (!progress.pump()) return false;
    if (!accepted) break;
    const double old = rms;
    rms = rmsOf(r);
    result.rmsPerIteration.push_back(100 * rms);
    result.lambdas.push_back(lambda);
    result.iterations = it + 1;
    if (100 * rms <= st.errorPercent || (old - rms) < 0.01 * old) break;
    lambda = std::max(lambda / 2, lambda0 / 50);
  }
  result.cellRho.resize(static_cast<std::size_t>(nc));
  for (int c = 0; c < nc; ++c) result.cellRho[static_cast<std::size_t>(c)] = std::exp(m(c));
  result.response.rho = rhoa;
  data.rho = elementRho(m);
  data.region.assign(data.rho.size(), -1);

  if (st.chargeability) {
    // IP after the resistivity: the linear Seigel problem on the final model's sensitivities,
    // refined against the full rule.
    if (Jc.size() == 0) {
      const Eigen::MatrixXd Jall = fwd.jacobian(sol, cells.cellOf, nc);
      Jc.resize(nd, nc);
      for (Eigen::Index i = 0; i < nd; ++i) Jc.row(i) = Jall.row(used[static_cast<std::size_t>(i)]);
    }
    std::vector<int> ipUsed;
    for (Eigen::Index i = 0; i < nd; ++i)
      if (survey.data[static_cast<std::size_t>(used[static_cast<std::size_t>(i)])].eta >= 0)
        ipUsed.push_back(static_cast<int>(i));
    const auto ni = static_cast<Eigen::Index>(ipUsed.size());
    Eigen::MatrixXd J(ni, nc);
    Eigen::VectorXd eObs(ni);
    for (Eigen::Index i = 0; i < ni; ++i) {
      J.row(i) = Jc.row(ipUsed[static_cast<std::size_t>(i)]);
      eObs(i) = survey
                    .data[static_cast<std::size_t>(
                        used[static_cast<std::size_t>(ipUsed[static_cast<std::size_t>(i)])])]
                    .eta /
                100;
    }
    const double we = 1 / 0.005;
    const Eigen::MatrixXd JtJ = we * we * (J.transpose() * J);
    const double lam = 0.05 * std::max(JtJ.diagonal().mean(), 1e-12);
    const auto ldlt = (JtJ + lam * CtC).ldlt();
    Eigen::VectorXd eta = Eigen::VectorXd::Zero(nc);
    Eigen::VectorXd eCalc = Eigen::VectorXd::Zero(ni);
    Dc2dMeshData md = data;
    for (int pass = 0; pass < 3; ++pass) {
      const Eigen::VectorXd g = we * we * (J.transpose() * (eObs - eCalc)) - lam * (CtC * eta);
      eta += ldlt.solve(g);
      for (Eigen::Index c = 0; c < nc; ++c) eta(c) = std::clamp(eta(c), 0.0, 0.95);
      md.eta.resize(md.rho.size());
      for (std::size_t e = 0; e < md.eta.size(); ++e) md.eta[e] = 100 * eta(cells.cellOf[e]);
      Dc2dResponse resp;
      if (!dc2dResponse(fwd, md, true, resp, inner)) return false;
      result.response.eta = resp.eta;
      for (Eigen::Index i = 0; i < ni; ++i)
        eCalc(i) = resp.eta[static_cast<std::size_t>(
                       used[static_cast<std::size_t>(ipUsed[static_cast<std::size_t>(i)])])] /
                   100;
      progress.setValue(st.iterations + 1 + std::min(pass, 1));
      if (!progress.pump()) return false;
    }
    result.etaRms = ni ? 100 * rmsOf(eObs - eCalc) : 0;
    result.cellEta.resize(static_cast<std::size_t>(nc));
    for (int c = 0; c < nc; ++c) result.cellEta[static_cast<std::size_t>(c)] = 100 * eta(c);
    data.eta = md.eta;
  } else {
    data.eta.assign(data.rho.size(), 0.0);
  }
  progress.setValue(progress.maximum());
  return true;
}

}  // namespace sarnoth::electric
