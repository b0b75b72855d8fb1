#include "electric/dc2d_forward.h"

#include <Eigen/SparseCholesky>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <numbers>
#include <thread>

#include "prep/parallel_rows.h"

namespace sarnoth::electric {
namespace {

double besselK0(double x) { return x > 700 ? 0.0 : std::cyl_bessel_k(0.0, x); }

// K₁(x)/K₀(x), by its asymptotic series where both underflow.
double besselRatio(double x) {
  if (x > 500) return 1 + 1 / (2 * x) - 1 / (8 * x * x);
  return std::cyl_bessel_k(1.0, x) / std::cyl_bessel_k(0.0, x);
}

std::vector<double> logSpaced(double lo, double hi, int n) {
  std::vector<double> v(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    v[static_cast<std::size_t>(i)] =
        lo * std::pow(hi / lo, n == 1 ? 0.0 : static_cast<double>(i) / (n - 1));
  return v;
}

}  // namespace

Dc2dWavenumbers optimisedWavenumbers(double rMin, double rMax, int count) {
  count = std::clamp(count, 1, 30);
  if (!(rMin > 0)) rMin = 1;
  if (!(rMax > rMin * 1.01)) rMax = rMin * 1.01;
  const std::vector<double> r = logSpaced(rMin, rMax, std::max(40, 6 * count));
  const auto nr = static_cast<Eigen::Index>(r.size());
  // Parameters: log k_i and log g_i, so that wavenumbers and weights stay positive (a
  // quadrature of (2/π)∫K₀(kr)dk; free weights cancel in large pairs and magnify the finite
  // elements' error). Start: the trapezoid rule in log k over a spread of wavenumbers.
  Eigen::VectorXd p(2 * count);
  {
    const auto k0 = logSpaced(0.2 / rMax, 2.0 / rMin, count);
    const double q = count > 1 ? std::log(k0[1] / k0[0]) : 1.0;
    for (int i = 0; i < count; ++i) {
      p(i) = std::log(k0[static_cast<std::size_t>(i)]);
      p(count + i) = std::log(2 / std::numbers::pi * k0[static_cast<std::size_t>(i)] * q);
    }
  }
  auto residual = [&](const Eigen::VectorXd& x, Eigen::MatrixXd* J) {
    Eigen::VectorXd res(nr);
    if (J) J->resize(nr, 2 * count);
    for (Eigen::Index j = 0; j < nr; ++j) {
      const double rj = r[static_cast<std::size_t>(j)];
      double sum = 0;
      for (int i = 0; i < count; ++i) {
        const double k = std::exp(x(i)), g = std::exp(x(count + i));
        const double k0 = besselK0(k * rj);
        sum += g * k0;
        if (J) {
          const double k1 = k * rj > 700 ? 0.0 : std::cyl_bessel_k(1.0, k * rj);
          (*J)(j, i) = -g * rj * k * rj * k1;
          (*J)(j, count + i) = g * rj * k0;
        }
      }
      res(j) = rj * sum - 1;
    }
    return res;
  };
  Eigen::MatrixXd J;
  Eigen::VectorXd res = residual(p, &J);
  double cost = res.squaredNorm(), mu = 1e-2;
  // Levenberg–Marquardt.
  for (int it = 0; it < 200; ++it) {
    const Eigen::MatrixXd H = J.transpose() * J;
    const Eigen::VectorXd grad = J.transpose() * res;
    bool improved = false;
    for (int tries = 0; tries < 10 && !improved; ++tries) {
      Eigen::MatrixXd Hd = H;
      Hd.diagonal() += mu * (H.diagonal().array() + 1e-12).matrix();
      Eigen::VectorXd step = -Hd.ldlt().solve(grad);
      for (Eigen::Index i = 0; i < step.size(); ++i) step(i) = std::clamp(step(i), -1.0, 1.0);
      const Eigen::VectorXd trial = p + step;
      const Eigen::VectorXd rt = residual(trial, nullptr);
      if (rt.allFinite() && rt.squaredNorm() < cost) {
        const double old = cost;
        p = trial;
        res = residual(p, &J);
        cost = res.squaredNorm();
        mu = std::max(mu / 3, 1e-10);
        improved = true;
        if (old - cost < 1e-10 * old) it = 1000;
      } else {
        mu *= 8;
      }
    }
    if (!improved) break;
  }
  Dc2dWavenumbers w;
  std::vector<std::pair<double, double>> kg;
  for (int i = 0; i < count; ++i) kg.emplace_back(std::exp(p(i)), std::exp(p(count + i)));
  std::sort(kg.begin(), kg.end());
  for (auto [k, g] : kg) {
    w.k.push_back(k);
    w.g.push_back(g);
  }
  return w;
}

double wavenumberError(const Dc2dWavenumbers& w, double rMin, double rMax) {
  double worst = 0;
  for (double r : logSpaced(rMin, rMax, 400)) {
    double s = 0;
    for (std::size_t i = 0; i < w.k.size(); ++i) s += w.g[i] * besselK0(w.k[i] * r);
    worst = std::max(worst, std::abs(r * s - 1));
  }
  return worst;
}

// --- the finite-element system ------------------------------------------------------------

Dc2dForward::Dc2dForward(const Dc2dMesh& mesh, const Dc2dSurvey& survey,
                         Dc2dForwardSettings settings)
    : mesh_(mesh), survey_(survey), settings_(settings) {
  // Electrodes that take part in some datum, and the range of distances between them.
  std::vector<char> used(survey.electrodes.size(), 0);
  double rMin = std::numeric_limits<double>::infinity(), rMax = 0;
  for (const Dc2dDatum& d : survey.data) {
    for (int e : {d.a, d.b, d.m, d.n})
      if (e != kRemote2d) used[static_cast<std::size_t>(e)] = 1;
    for (int s : {d.a, d.b})
      for (int m : {d.m, d.n})
        if (s != kRemote2d && m != kRemote2d) {
          const XZ p = survey.position(s), q = survey.position(m);
          const double r = std::hypot(p.x - q.x, p.z - q.z);
          rMin = std::min(rMin, r);
          rMax = std::max(rMax, r);
        }
  }
  for (std::size_t e = 0; e < used.size(); ++e)
    if (used[e]) usedElectrodes_.push_back(static_cast<int>(e));
  if (!std::isfinite(rMin) || rMin <= 0) rMin = mesh.unitSpacing;
  // A little beyond the longest array, where a layered earth's images still count.
  rMax = std::max(2 * rMax, 10 * rMin);
  wn_ = optimisedWavenumbers(rMin, rMax, settings_.wavenumbers);
  assemblePattern();
}

void Dc2dForward::assemblePattern() {
  const auto n = static_cast<Eigen::Index>(mesh_.nodes.size());
  const std::size_t ne = mesh_.elements();
  std::vector<Eigen::Triplet<double>> trip;
  trip.reserve(ne * 6 + mesh_.boundary.size() * 3);
  for (const auto& t : mesh_.triangles)
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b)
        if (t[static_cast<std::size_t>(a)] >= t[static_cast<std::size_t>(b)])
          trip.emplace_back(t[static_cast<std::size_t>(a)], t[static_cast<std::size_t>(b)], 0.0);
  pattern_.resize(n, n);
  pattern_.setFromTriplets(trip.begin(), trip.end());
  pattern_.makeCompressed();
  auto slotOf = [&](int row, int col) {
    const int* inner = pattern_.innerIndexPtr();
    const int* begin = inner + pattern_.outerIndexPtr()[col];
    const int* end = inner + pattern_.outerIndexPtr()[col + 1];
    const int* it = std::lower_bound(begin, end, row);
    return static_cast<int>(it - inner);
  };
  slot_.resize(ne);
  stiff_.resize(ne);
  mass_.resize(ne);
  for (std::size_t e = 0; e < ne; ++e) {
    const auto& t = mesh_.triangles[e];
    const XZ p[3] = {mesh_.nodes[static_cast<std::size_t>(t[0])],
                     mesh_.nodes[static_cast<std::size_t>(t[1])],
                     mesh_.nodes[static_cast<std::size_t>(t[2])]};
    const double A = mesh_.area(e);
    double b[3], c[3];
    for (int i = 0; i < 3; ++i) {
      const XZ& q1 = p[(i + 1) % 3];
      const XZ& q2 = p[(i + 2) % 3];
      b[i] = q1.z - q2.z;
      c[i] = q2.x - q1.x;
    }
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        const std::size_t ij = static_cast<std::size_t>(i * 3 + j);
        stiff_[e][ij] = (b[i] * b[j] + c[i] * c[j]) / (4 * A);
        mass_[e][ij] = A / 12 * (i == j ? 2 : 1);
        const int gi = t[static_cast<std::size_t>(i)], gj = t[static_cast<std::size_t>(j)];
        slot_[e][ij] = gi >= gj ? slotOf(gi, gj) : -1;
      }
  }
  for (const Dc2dBoundaryEdge& ed : mesh_.boundary) {
    const XZ& p = mesh_.nodes[static_cast<std::size_t>(ed.n0)];
    const XZ& q = mesh_.nodes[static_cast<std::size_t>(ed.n1)];
    const int hi = std::max(ed.n0, ed.n1), lo = std::min(ed.n0, ed.n1);
    edgeSlot_.push_back({slotOf(ed.n0, ed.n0), slotOf(ed.n1, ed.n1), slotOf(hi, lo)});
    edgeLength_.push_back(std::hypot(q.x - p.x, q.z - p.z));
    const double mx = (p.x + q.x) / 2 - mesh_.centre.x, mz = (p.z + q.z) / 2 - mesh_.centre.z;
    const double r = std::hypot(mx, mz);
    edgeR_.push_back(r);
    edgeCos_.push_back(r > 0 ? (mx * ed.nx + mz * ed.nz) / r : 1.0);
  }
}

Eigen::SparseMatrix<double> Dc2dForward::matrixFor(std::span<const double> sigma, double k) const {
  Eigen::SparseMatrix<double> A = pattern_;
  double* v = A.valuePtr();
  std::fill(v, v + A.nonZeros(), 0.0);
  const double k2 = k * k;
  for (std::size_t e = 0; e < slot_.size(); ++e) {
    const double s = sigma[e];
    for (std::size_t ij = 0; ij < 9; ++ij)
      if (slot_[e][ij] >= 0) v[slot_[e][ij]] += s * (stiff_[e][ij] + k2 * mass_[e][ij]);
  }
  for (std::size_t i = 0; i < edgeSlot_.size(); ++i) {
    const double s = sigma[static_cast<std::size_t>(mesh_.boundary[i].element)];
    const double alpha = k * besselRatio(k * edgeR_[i]) * edgeCos_[i];
    const double c = s * alpha * edgeLength_[i] / 6;
    v[edgeSlot_[i][0]] += 2 * c;
    v[edgeSlot_[i][1]] += 2 * c;
    v[edgeSlot_[i][2]] += c;
  }
  return A;
}

bool Dc2dForward::solve(std::span<const double> rho, Dc2dSolution& out, bool keepFields,
                        Progress& progress) const {
  const std::size_t ne = mesh_.elements();
  out.sigma.resize(ne);
  for (std::size_t e = 0; e < ne; ++e) out.sigma[e] = 1 / rho[e];
  const int nk = static_cast<int>(wn_.k.size());
  const auto nu = static_cast<Eigen::Index>(usedElectrodes_.size());
  const auto nodes = static_cast<Eigen::Index>(mesh_.nodes.size());
  std::vector<Eigen::MatrixXd> fields(static_cast<std::size_t>(nk));
  std::vector<Eigen::MatrixXd> potentials(static_cast<std::size_t>(nk));
  std::atomic<int> done{0};
  std::atomic<bool> stop{false};

  // Each worker solves the wavenumbers first, first + step, …; `onMain` is set for the caller's
  // own thread, which then reports progress between wavenumbers.
  auto work = [&](int first, int step, bool onMain) {
    Eigen::SimplicialLLT<Eigen::SparseMatrix<double>, Eigen::Lower, Eigen::AMDOrdering<int>> llt;
    llt.analyzePattern(pattern_);
    Eigen::MatrixXd rhs = Eigen::MatrixXd::Zero(nodes, nu);
    for (Eigen::Index s = 0; s < nu; ++s)
      rhs(mesh_.electrodeNode[static_cast<std::size_t>(
              usedElectrodes_[static_cast<std::size_t>(s)])],
          s) = 0.5;
    for (int i = first; i < nk && !stop; i += step) {
      const Eigen::SparseMatrix<double> A =
          matrixFor(out.sigma, wn_.k[static_cast<std::size_t>(i)]);
      llt.factorize(A);
      Eigen::MatrixXd x = llt.solve(rhs);
      Eigen::MatrixXd& pot = potentials[static_cast<std::size_t>(i)];
      pot.resize(static_cast<Eigen::Index>(survey_.electrodes.size()), nu);
      for (std::size_t m = 0; m < survey_.electrodes.size(); ++m)
        pot.row(static_cast<Eigen::Index>(m)) = x.row(mesh_.electrodeNode[m]);
      if (keepFields) fields[static_cast<std::size_t>(i)] = std::move(x);
      ++done;
      if (onMain) {
        progress.setValue(done.load());
        if (!progress.pump()) stop = true;
      }
    }
  };
  int threads = settings_.threads > 0 ? settings_.threads
                                      : static_cast<int>(std::thread::hardware_concurrency());
  threads = std::clamp(threads, 1, std::min(16, nk));
  progress.setMaximum(nk);
  if (threads == 1) {
    work(0, 1, true);
    if (stop) return false;
  } else {
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) pool.emplace_back(work, t, threads, false);
    while (done.load() < nk && !stop) {
      std::this_thread::sleep_for(std::chrono::milliseconds(40));
      progress.setValue(done.load());
      if (!progress.pump()) stop = true;
    }
    for (auto& th : pool) th.join();
    if (stop) return false;
    progress.setValue(nk);
  }
  // Inverse transform, summed in wavenumber order whatever thread solved what.
  const auto nEl = static_cast<Eigen::Index>(survey_.electrodes.size());
  out.G = Eigen::MatrixXd::Zero(nEl, nEl);
  for (int i = 0; i < nk; ++i)
    for (Eigen::Index s = 0; s < nu; ++s)
      out.G.col(usedElectrodes_[static_cast<std::size_t>(s)]) +=
          wn_.g[static_cast<std::size_t>(i)] * potentials[static_cast<std::size_t>(i)].col(s);
  out.fields = keepFields ? std::move(fields) : std::vector<Eigen::MatrixXd>{};
  return true;
}

std::vector<double> Dc2dForward::voltages(const Dc2dSolution& s) const {
  std::vector<double> v;
  v.reserve(survey_.data.size());
  for (const Dc2dDatum& d : survey_.data) {
    double dv = 0;
    auto term = [&](int src, int rec, double sign) {
      if (src != kRemote2d && rec != kRemote2d) dv += sign * s.G(rec, src);
    };
    term(d.a, d.m, 1);
    term(d.a, d.n, -1);
    term(d.b, d.m, -1);
    term(d.b, d.n, 1);
    v.push_back(dv);
  }
  return v;
}

std::vector<double> Dc2dForward::apparentResistivity(const Dc2dSolution& s) const {
  std::vector<double> rho = voltages(s);
  for (std::size_t i = 0; i < rho.size(); ++i)
    rho[i] /= inverseGeometricFactor(survey_, survey_.data[i]);
  return rho;
}

std::vector<double> Dc2dForward::apparentChargeability(const Dc2dSolution& plain,
                                                       const Dc2dSolution& starred) const {
  const std::vector<double> v = voltages(plain), vs = voltages(starred);
  std::vector<double> eta(v.size());
  for (std::size_t i = 0; i < v.size(); ++i) eta[i] = vs[i] != 0 ? 100 * (1 - v[i] / vs[i]) : 0;
  return eta;
}

Eigen::MatrixXd Dc2dForward::jacobian(const Dc2dSolution& s, std::span<const int> cellOf,
                                      int cells) const {
  const auto nd = static_cast<int>(survey_.data.size());
  Eigen::MatrixXd J = Eigen::MatrixXd::Zero(nd, cells);
  if (s.fields.empty()) return J;
  std::vector<int> column(survey_.electrodes.size(), -1);
  for (std::size_t i = 0; i < usedElectrodes_.size(); ++i)
    column[static_cast<std::size_t>(usedElectrodes_[i])] = static_cast<int>(i);
  const std::vector<double> dv = voltages(s);
  // Boundary edges by element, for their share of ∂A/∂σ.
  std::vector<std::vector<int>> edgesOf(mesh_.elements());
  for (std::size_t i = 0; i < mesh_.boundary.size(); ++i)
    edgesOf[static_cast<std::size_t>(mesh_.boundary[i].element)].push_back(static_cast<int>(i));
  const int nk = static_cast<int>(wn_.k.size());
  auto band = [&](int d0, int d1, int) {
    for (int ik = 0; ik < nk; ++ik) {
      const Eigen::MatrixXd& F = s.fields[static_cast<std::size_t>(ik)];
      const double k = wn_.k[static_cast<std::size_t>(ik)], g = wn_.g[static_cast<std::size_t>(ik)];
      for (std::size_t e = 0; e < mesh_.elements(); ++e) {
        const int cell = cellOf[e];
        if (cell < 0) continue;
        const auto& t = mesh_.triangles[e];
        double Ae[3][3];
        for (int i = 0; i < 3; ++i)
          for (int j = 0; j < 3; ++j) {
            const std::size_t ij = static_cast<std::size_t>(i * 3 + j);
            Ae[i][j] = s.sigma[e] * (stiff_[e][ij] + k * k * mass_[e][ij]);
          }
        for (int ei : edgesOf[e]) {
          const auto& ed = mesh_.boundary[static_cast<std::size_t>(ei)];
          const double c = s.sigma[e] * k * besselRatio(k * edgeR_[static_cast<std::size_t>(ei)]) *
                           edgeCos_[static_cast<std::size_t>(ei)] *
                           edgeLength_[static_cast<std::size_t>(ei)] / 6;
          int la = 0, lb = 0;
          for (int i = 0; i < 3; ++i) {
            if (t[static_cast<std::size_t>(i)] == ed.n0) la = i;
            if (t[static_cast<std::size_t>(i)] == ed.n1) lb = i;
          }
          Ae[la][la] += 2 * c;
          Ae[lb][lb] += 2 * c;
          Ae[la][lb] += c;
          Ae[lb][la] += c;
        }
        for (int d = d0; d < d1; ++d) {
          const Dc2dDatum& dt = survey_.data[static_cast<std::size_t>(d)];
          double ws[3] = {0, 0, 0}, wr[3] = {0, 0, 0};
          for (int i = 0; i < 3; ++i) {
            const Eigen::Index node = t[static_cast<std::size_t>(i)];
            if (dt.a != kRemote2d) ws[i] += F(node, column[static_cast<std::size_t>(dt.a)]);
            if (dt.b != kRemote2d) ws[i] -= F(node, column[static_cast<std::size_t>(dt.b)]);
            if (dt.m != kRemote2d) wr[i] += F(node, column[static_cast<std::size_t>(dt.m)]);
            if (dt.n != kRemote2d) wr[i] -= F(node, column[static_cast<std::size_t>(dt.n)]);
          }
          double v = 0;
          for (int i = 0; i < 3; ++i)
            v += wr[i] * (Ae[i][0] * ws[0] + Ae[i][1] * ws[1] + Ae[i][2] * ws[2]);
          J(d, cell) += g * v;
        }
      }
    }
    for (int d = d0; d < d1; ++d)
      J.row(d) *= dv[static_cast<std::size_t>(d)] != 0 ? 2 / dv[static_cast<std::size_t>(d)] : 0.0;
  };
  detail::forRowBands(nd, band, 1, settings_.threads);
  return J;
}

bool dc2dResponse(const Dc2dForward& fwd, const Dc2dMeshData& data, bool chargeability,
                  Dc2dResponse& out, Progress& progress) {
  Dc2dSolution plain;
  if (!fwd.solve(data.rho, plain, false, progress)) return false;
  out.rho = fwd.apparentResistivity(plain);
  out.eta.clear();
  if (!chargeability) return true;
  std::vector<double> starred(data.rho.size());
  for (std::size_t e = 0; e < starred.size(); ++e)
    starred[e] = data.rho[e] / (1 - std::clamp(data.eta[e], 0.0, 99.0) / 100);
  Dc2dSolution s2;
  if (!fwd.solve(starred, s2, false, progress)) return false;
  out.eta = fwd.apparentChargeability(plain, s2);
  return true;
}

}  // namespace sarnoth::electric
