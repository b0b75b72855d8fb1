#include "electric/sounding_inversion.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>

#include "prep/parallel_rows.h"

namespace sarnoth::electric {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

// A weighted least-squares problem in the natural parameters x (ln ρ, ln h or η):
// residual (obs − pred(x)) / sigma; `evaluate` returns pred and, when asked, ∂pred/∂x.
struct Problem {
  std::function<VectorXd(const VectorXd& x, MatrixXd* jacobian)> evaluate;
  VectorXd obs, sigma;
  VectorXd lower, upper;  // bounds of x
};

struct Fit {
  VectorXd x;
  double chi = 0;  // RMS of the weighted residuals
  int iterations = 0;
  bool converged = false;
  std::vector<double> history;
};

double chiOf(const Problem& p, const VectorXd& pred) {
  if (p.obs.size() == 0) return 0;
  return std::sqrt(((p.obs - pred).cwiseQuotient(p.sigma)).squaredNorm() /
                   static_cast<double>(p.obs.size()));
}

VectorXd clampTo(const Problem& p, VectorXd x) { return x.cwiseMax(p.lower).cwiseMin(p.upper); }

// --- Marquardt on bounded parameters -------------------------------------------------------

// x = a + (b − a) / (1 + e^{−u}); u = ln((x − a)/(b − x)).
VectorXd toU(const Problem& p, const VectorXd& x) {
  VectorXd u(x.size());
  for (Index i = 0; i < x.size(); ++i) {
    const double a = p.lower[i], b = p.upper[i], span = b - a;
    const double xi = std::clamp(x[i], a + 1e-6 * span, b - 1e-6 * span);
    u[i] = std::log((xi - a) / (b - xi));
  }
  return u;
}

VectorXd fromU(const Problem& p, const VectorXd& u, VectorXd* dxdu = nullptr) {
  VectorXd x(u.size());
  if (dxdu) dxdu->resize(u.size());
  for (Index i = 0; i < u.size(); ++i) {
    const double a = p.lower[i], b = p.upper[i];
    const double s = 1.0 / (1.0 + std::exp(-u[i]));
    x[i] = a + (b - a) * s;
    if (dxdu) (*dxdu)[i] = (b - a) * s * (1.0 - s);
  }
  return x;
}

Fit marquardt(const Problem& p, const VectorXd& x0, int maxIterations) {
  Fit fit;
  VectorXd u = toU(p, x0);
  VectorXd dxdu;
  VectorXd x = fromU(p, u, &dxdu);
  MatrixXd J;
  VectorXd pred = p.evaluate(x, &J);
  double chi = chiOf(p, pred);
  double mu = 0.01;
  const VectorXd w = p.sigma.cwiseInverse();
  for (int it = 0; it < maxIterations; ++it) {
    const MatrixXd Ju = w.asDiagonal() * J * dxdu.asDiagonal();
    const VectorXd r = (p.obs - pred).cwiseProduct(w);
    const MatrixXd A = Ju.transpose() * Ju;
    const VectorXd g = Ju.transpose() * r;
    VectorXd diag = A.diagonal().cwiseMax(1e-12 * std::max(1.0, A.diagonal().maxCoeff()));
    bool improved = false;
    double newChi = chi;
    VectorXd newU, newX, newPred, newDxdu;
    MatrixXd newJ;
    while (mu < 1e10) {
      MatrixXd M = A;
      M.diagonal() += mu * diag;
      newU = u + M.ldlt().solve(g);
      newX = fromU(p, newU, &newDxdu);
      newPred = p.evaluate(newX, nullptr);
      newChi = chiOf(p, newPred);
      if (std::isfinite(newChi) && newChi < chi) {
        improved = true;
        break;
      }
      mu *= 10;
    }
    fit.iterations = it + 1;
    if (!improved) {
      fit.converged = true;  // no step lowers the misfit: a minimum
      fit.history.push_back(chi);
      break;
    }
    const double change = (chi - newChi) / chi;
    u = newU;
    x = newX;
    dxdu = newDxdu;
    chi = newChi;
    pred = p.evaluate(x, &J);
    mu = std::max(mu / 10, 1e-8);
    fit.history.push_back(chi);
    if (change < 1e-3 || chi < 1e-6) {
      fit.converged = true;
      break;
    }
  }
  fit.x = x;
  fit.chi = chi;
  return fit;
}

// --- Occam ---------------------------------------------------------------------------------

// Minimises ||W(d − f(x))||² + μ ||A x + c||², A the first differences on the free cells and c
// what the fixed cells add to them.
Fit occam(const Problem& p, const VectorXd& x0, const MatrixXd& A, const VectorXd& c,
          int maxIterations) {
  Fit fit;
  VectorXd x = clampTo(p, x0);
  MatrixXd J;
  VectorXd pred = p.evaluate(x, &J);
  double chi = chiOf(p, pred);
  const VectorXd w = p.sigma.cwiseInverse();
  const MatrixXd AtA = A.transpose() * A;
  const VectorXd Atc = A.transpose() * c;
  auto rough = [&](const VectorXd& v) { return (A * v + c).squaredNorm(); };
  constexpr double kTarget = 1.0;
  double lastLogMu = 0;
  for (int it = 0; it < maxIterations; ++it) {
    const MatrixXd Jw = w.asDiagonal() * J;
    const VectorXd dhat = (p.obs - pred + J * x).cwiseProduct(w);
    const MatrixXd JtJ = Jw.transpose() * Jw;
    const VectorXd Jtd = Jw.transpose() * dhat;
    struct Trial {
      double logMu;
      double chi;
      VectorXd x;
    };
    auto trial = [&](double logMu) {
      const double mu = std::pow(10.0, logMu);
      MatrixXd M = JtJ + mu * AtA;
      M.diagonal().array() += 1e-10 * std::max(1.0, JtJ.diagonal().maxCoeff());
      VectorXd xm = clampTo(p, M.ldlt().solve(Jtd - mu * Atc));
      const double ch = chiOf(p, p.evaluate(xm, nullptr));
      return Trial{logMu, std::isfinite(ch) ? ch : 1e300, xm};
    };
    // A decade grid of μ: wide at first, then around the previous choice.
    // The trials are independent solves, run on both cores; each is deterministic, so the
    // choice does not depend on the number of threads.
    const double from = it == 0 ? -3.0 : lastLogMu - 2.0;
    const int count = it == 0 ? 9 : 5;
    std::vector<Trial> grid(static_cast<std::size_t>(count));
    detail::forRowBands(
        count,
        [&](int b, int e, int) {
          for (int k = b; k < e; ++k) grid[static_cast<std::size_t>(k)] = trial(from + k);
        },
        1);
    auto best = std::min_element(grid.begin(), grid.end(),
                                 [](const Trial& a, const Trial& b) { return a.chi < b.chi; });
    Trial chosen = *best;
    if (best->chi > kTarget) {
      // Phase 1: the μ of least misfit, refined by golden section around the best grid value.
      double lo = best->logMu - 1, hi = best->logMu + 1;
      const double gr = 0.6180339887498949;
      Trial t1 = trial(hi - gr * (hi - lo)), t2 = trial(lo + gr * (hi - lo));
      for (int k = 0; k < 2; ++k) {
        if (t1.chi < t2.chi) {
          hi = t2.logMu;
          t2 = t1;
          t1 = trial(hi - gr * (hi - lo));
        } else {
          lo = t1.logMu;
          t1 = t2;
          t2 = trial(lo + gr * (hi - lo));
        }
      }
      for (const Trial* t : {&t1, &t2})
        if (t->chi < chosen.chi) chosen = *t;
    } else {
      // Phase 2: the largest μ whose misfit stays on target.
      std::size_t k = static_cast<std::size_t>(best - grid.begin());
      while (k + 1 < grid.size() && grid[k + 1].chi <= kTarget) ++k;
      chosen = grid[k];
      if (k + 1 < grid.size()) {
        double lo = grid[k].logMu, hi = grid[k + 1].logMu;
        for (int s = 0; s < 3; ++s) {
          Trial mid = trial(0.5 * (lo + hi));
          if (mid.chi <= kTarget) {
            lo = mid.logMu;
            chosen = mid;
          } else {
            hi = mid.logMu;
          }
        }
      }
    }
    fit.iterations = it + 1;
    const bool onTarget = chosen.chi <= kTarget;
    if (!onTarget && chosen.chi >= chi * 0.999) {
      // Phase 1 no longer lowers the misfit: the best fit this parametrisation allows.
      fit.converged = chi <= kTarget * 1.05;
      fit.history.push_back(chi);
      break;
    }
    if (onTarget && chi <= kTarget && rough(chosen.x) >= 0.99 * rough(x)) {
      // Phase 2 no longer smooths the earth: keep the smoother of the two fitting models.
      fit.converged = true;
      fit.history.push_back(chi);
      break;
    }
    x = chosen.x;
    chi = chosen.chi;
    lastLogMu = chosen.logMu;
    pred = p.evaluate(x, &J);
    fit.history.push_back(chi);
  }
  fit.x = x;
  fit.chi = chi;
  return fit;
}

// First differences between neighbouring cells, restricted to the free ones: A x + c.
void roughness(const std::vector<int>& freeIndex, const VectorXd& full, MatrixXd& A, VectorXd& c) {
  const Index n = full.size();
  std::vector<Index> column(static_cast<std::size_t>(n), -1);
  for (std::size_t k = 0; k < freeIndex.size(); ++k)
    column[static_cast<std::size_t>(freeIndex[k])] = static_cast<Index>(k);
  A = MatrixXd::Zero(std::max<Index>(n - 1, 0), static_cast<Index>(freeIndex.size()));
  c = VectorXd::Zero(std::max<Index>(n - 1, 0));
  for (Index i = 0; i + 1 < n; ++i) {
    for (auto [cell, s] : {std::pair{i, -1.0}, std::pair{i + 1, 1.0}}) {
      const Index col = column[static_cast<std::size_t>(cell)];
      if (col >= 0)
        A(i, col) += s;
      else
        c[i] += s * full[cell];
    }
  }
}

std::vector<std::size_t> usedPoints(const SoundingData& d) {
  std::vector<std::size_t> used;
  for (std::size_t j = 0; j < d.rho.size(); ++j)
    if (d.use.empty() || d.use[j]) used.push_back(j);
  return used;
}

}  // namespace

double rmsMisfitPercent(const std::vector<double>& observed, const std::vector<double>& computed,
                        const std::vector<bool>& use) {
  double s = 0;
  int n = 0;
  for (std::size_t j = 0; j < observed.size() && j < computed.size(); ++j) {
    if (!use.empty() && !use[j]) continue;
    const double e = (computed[j] - observed[j]) / observed[j];
    s += e * e;
    ++n;
  }
  return n ? 100.0 * std::sqrt(s / n) : 0.0;
}

LayeredEarth occamCells(const SoundingData& data, const LayeredEarth& start, int layers) {
  double rMin = 1e300, rMax = 0;
  for (const Spacing& s : data.spacings) {
    rMin = std::min(rMin, s.r);
    rMax = std::max(rMax, s.r);
  }
  layers = std::max(layers, 2);
  const double zTop = rMin / 3, zBottom = std::max(rMax / 2, zTop * 1.5);
  LayeredEarth cells;
  double above = 0;
  for (int i = 0; i < layers - 1; ++i) {
    const double z = zTop * std::pow(zBottom / zTop, static_cast<double>(i) / (layers - 2));
    cells.thickness.push_back(z - above);
    above = z;
  }
  for (int i = 0; i < layers; ++i) {
    const double top = i == 0 ? 0 : cells.depthOf(static_cast<std::size_t>(i - 1));
    const double centre =
        i + 1 < layers ? 0.5 * (top + cells.depthOf(static_cast<std::size_t>(i))) : top * 1.2;
    std::size_t k = 0;
    while (k + 1 < start.layers() && start.depthOf(k) < centre) ++k;
    cells.resistivity.push_back(start.resistivity[k]);
    if (start.polarisable()) cells.chargeability.push_back(start.chargeability[k]);
  }
  return cells;
}

InversionResult invertSounding(const SoundingData& data, const LayeredEarth& startIn,
                               const std::vector<int>& fixedIn, const InversionSettings& settings) {
  std::string why = validateEarth(startIn);
  if (!why.empty()) throw std::invalid_argument(why);
  if (data.rho.size() != data.spacings.size()) throw std::invalid_argument("测深数据不完整");
  for (double r : data.rho)
    if (!(std::isfinite(r) && r > 0)) throw std::invalid_argument("视电阻率必须大于零");
  if (!(settings.relativeError > 0)) throw std::invalid_argument("数据误差必须大于零");
  const std::vector<std::size_t> used = usedPoints(data);
  const bool occamRun = settings.method == InversionMethod::Occam;

  // The parametrisation: the user's layers (Marquardt) or thin cells (Occam).
  LayeredEarth earth = occamRun ? occamCells(data, startIn, settings.occamLayers) : startIn;
  std::vector<int> fixed(earth.layers(), 0);
  if (occamRun) {
    for (std::size_t i = 0; i < earth.layers(); ++i) {
      const double top = i == 0 ? 0 : earth.depthOf(i - 1);
      const double centre = i + 1 < earth.layers() ? 0.5 * (top + earth.depthOf(i)) : top * 1.2;
      std::size_t k = 0;
      while (k + 1 < startIn.layers() && startIn.depthOf(k) < centre) ++k;
      const int f = k < fixedIn.size() ? fixedIn[k] : 0;
      fixed[i] = (f & (kFixResistivity | kFixChargeability)) | kFixThickness;
    }
  } else {
    for (std::size_t i = 0; i < fixed.size() && i < fixedIn.size(); ++i) fixed[i] = fixedIn[i];
  }
  const std::size_t n = earth.layers();

  const SoundingPlan plan(data.device, data.spacings);
  std::vector<Spacing> usedSpacings;
  for (std::size_t j : used) usedSpacings.push_back(data.spacings[j]);
  const SoundingPlan usedPlan(data.device, usedSpacings);

  // Stage 1: resistivities and thicknesses.
  std::vector<int> freeParam;  // 0..n-1 ln ρ_i, n.. ln h_i
  for (std::size_t i = 0; i < n; ++i)
    if (!(fixed[i] & kFixResistivity)) freeParam.push_back(static_cast<int>(i));
  for (std::size_t i = 0; i + 1 < n; ++i)
    if (!(fixed[i] & kFixThickness)) freeParam.push_back(static_cast<int>(n + i));
  if (!occamRun && freeParam.size() > used.size())
    throw std::invalid_argument("测深数据点数少于待反演参数个数");

  Problem p;
  const Index m = static_cast<Index>(used.size());
  p.obs.resize(m);
  p.sigma = VectorXd::Constant(m, settings.relativeError);
  for (Index j = 0; j < m; ++j) p.obs[j] = std::log(data.rho[used[static_cast<std::size_t>(j)]]);
  const Index nf = static_cast<Index>(freeParam.size());
  p.lower.resize(nf);
  p.upper.resize(nf);
  VectorXd x0(nf);
  for (Index k = 0; k < nf; ++k) {
    const int q = freeParam[static_cast<std::size_t>(k)];
    const bool thick = q >= static_cast<int>(n);
    p.lower[k] = std::log(thick ? settings.thicknessMin : settings.rhoMin);
    p.upper[k] = std::log(thick ? settings.thicknessMax : settings.rhoMax);
    x0[k] = std::log(thick ? earth.thickness[static_cast<std::size_t>(q) - n]
                           : earth.resistivity[static_cast<std::size_t>(q)]);
  }
  auto apply = [&](const VectorXd& x, LayeredEarth& e) {
    for (Index k = 0; k < nf; ++k) {
      const auto q = static_cast<std::size_t>(freeParam[static_cast<std::size_t>(k)]);
      if (q >= n)
        e.thickness[q - n] = std::exp(x[k]);
      else
        e.resistivity[q] = std::exp(x[k]);
    }
  };
  p.evaluate = [&](const VectorXd& x, MatrixXd* jacobian) {
    LayeredEarth e = earth;
    e.chargeability.clear();
    apply(x, e);
    std::vector<double> rho;
    if (jacobian) {
      MatrixXd full;
      rho = usedPlan.apparentResistivity(e, full);
      jacobian->resize(m, nf);
      for (Index k = 0; k < nf; ++k)
        jacobian->col(k) = full.col(freeParam[static_cast<std::size_t>(k)]);
    } else {
      rho = usedPlan.apparentResistivity(e);
    }
    VectorXd out(m);
    for (Index j = 0; j < m; ++j) out[j] = std::log(rho[static_cast<std::size_t>(j)]);
    return out;
  };

  Fit fit;
  if (nf == 0) {
    fit.x = x0;
    fit.chi = chiOf(p, p.evaluate(x0, nullptr));
    fit.converged = true;
  } else if (occamRun) {
    VectorXd full(static_cast<Index>(n));
    for (std::size_t i = 0; i < n; ++i)
      full[static_cast<Index>(i)] = std::log(earth.resistivity[i]);
    MatrixXd A;
    VectorXd c;
    roughness(freeParam, full, A, c);
    fit = occam(p, x0, A, c, settings.maxIterations);
  } else {
    fit = marquardt(p, x0, settings.maxIterations);
  }
  apply(fit.x, earth);

  // Stage 2: chargeabilities, where observed, with the resistivities held.
  InversionResult result;
  result.etaRms = 0;
  if (!data.eta.empty()) {
    if (!earth.polarisable()) {
      double mean = 0;
      for (std::size_t j : used) mean += data.eta[j];
      mean = used.empty() ? 1.0 : mean / static_cast<double>(used.size());
      earth.chargeability.assign(n, std::clamp(mean, 0.1, 90.0));
    }
    std::vector<int> freeEta;
    for (std::size_t i = 0; i < n; ++i)
      if (!(fixed[i] & kFixChargeability)) freeEta.push_back(static_cast<int>(i));
    const Index ne = static_cast<Index>(freeEta.size());
    Problem q;
    q.obs.resize(m);
    q.sigma.resize(m);
    for (Index j = 0; j < m; ++j) {
      q.obs[j] = data.eta[used[static_cast<std::size_t>(j)]];
      q.sigma[j] = settings.relativeError * std::fabs(q.obs[j]) + 0.1;
    }
    q.lower = VectorXd::Zero(ne);
    q.upper = VectorXd::Constant(ne, 99.0);
    VectorXd e0(ne);
    for (Index k = 0; k < ne; ++k)
      e0[k] = earth.chargeability[static_cast<std::size_t>(freeEta[static_cast<std::size_t>(k)])];
    auto applyEta = [&](const VectorXd& x, LayeredEarth& e) {
      for (Index k = 0; k < ne; ++k)
        e.chargeability[static_cast<std::size_t>(freeEta[static_cast<std::size_t>(k)])] = x[k];
    };
    q.evaluate = [&](const VectorXd& x, MatrixXd* jacobian) {
      LayeredEarth e = earth;
      applyEta(x, e);
      MatrixXd full;
      std::vector<double> eta = apparentChargeability(e, usedPlan, jacobian ? &full : nullptr);
      if (jacobian) {
        jacobian->resize(m, ne);
        for (Index k = 0; k < ne; ++k)
          jacobian->col(k) = full.col(freeEta[static_cast<std::size_t>(k)]);
      }
      return VectorXd(Eigen::Map<VectorXd>(eta.data(), m));
    };
    if (ne > 0) {
      Fit etaFit;
      if (occamRun) {
        VectorXd full = Eigen::Map<VectorXd>(earth.chargeability.data(), static_cast<Index>(n));
        MatrixXd A;
        VectorXd c;
        roughness(freeEta, full, A, c);
        etaFit = occam(q, e0, A, c, settings.maxIterations);
      } else {
        etaFit = marquardt(q, e0, settings.maxIterations);
      }
      applyEta(etaFit.x, earth);
    }
  }

  result.earth = earth;
  result.fixed = fixed;
  result.response = soundingResponse(earth, plan);
  result.rmsPercent = rmsMisfitPercent(data.rho, result.response.rho, data.use);
  if (!data.eta.empty() && !result.response.eta.empty()) {
    double s = 0;
    for (std::size_t j : used) s += std::pow(result.response.eta[j] - data.eta[j], 2);
    result.etaRms = used.empty() ? 0 : std::sqrt(s / static_cast<double>(used.size()));
  }
  result.iterations = fit.iterations;
  result.converged = fit.converged;
  result.history = fit.history;
  return result;
}

}  // namespace sarnoth::electric
