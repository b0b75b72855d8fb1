#include "electric/mt2d_forward.h"

#include <Eigen/Dense>
#include <Eigen/Sparse>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "electric/mt2d_solver.h"

namespace sarnoth::electric {
namespace {

using cd = std::complex<double>;
using SpMat = Eigen::SparseMatrix<cd, Eigen::ColMajor, int>;

constexpr double kLn10 = 2.302585092994045684;
constexpr double kDeg = 180.0 / 3.14159265358979323846;

// Local node order of a cell: 0 top-left, 1 top-right, 2 bottom-left, 3 bottom-right.
// The twelve couplings of the five-point scheme: four diagonals, two horizontal and two vertical
// edges both ways.
constexpr int kPairs[12][2] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {0, 1}, {1, 0},
                               {2, 3}, {3, 2}, {0, 2}, {2, 0}, {1, 3}, {3, 1}};

// The section as one mode sees it: TE takes the air cells above the earth, TM the earth alone.
struct Geometry {
  int ny = 0;       // cells across
  int nz = 0;       // cell rows, from the top
  int airRows = 0;  // rows of air at the top (TE)
  std::vector<double> hy, hz;

  int nodesAcross() const { return ny + 1; }
  int unknowns() const { return nz * (ny + 1); }
  // The unknown of node (j, k) in the natural order, row by row below the top; −1 for the top
  // row, which holds the fixed value 1.
  int natural(int j, int k) const { return k == 0 ? -1 : (k - 1) * (ny + 1) + j; }
};

Geometry geometryFor(const Mt2dMesh& mesh, Polarisation mode) {
  Geometry g;
  g.ny = mesh.columns();
  g.hy = mesh.widths;
  if (mode == Polarisation::TE) {
    g.airRows = mesh.airRows();
    g.hz.assign(mesh.air.rbegin(), mesh.air.rend());
  }
  g.hz.insert(g.hz.end(), mesh.earth.begin(), mesh.earth.end());
  g.nz = static_cast<int>(g.hz.size());
  return g;
}

// What every frequency of a mode shares: the matrix pattern in the nested-dissection order,
// where each cell's couplings land in it, and the pattern of the factor.
struct Pattern {
  std::vector<int> position;  // natural unknown → its place in the order
  SpMat matrix;               // the structure, values unset
  std::vector<int> slot;      // per cell, 12 value indices (−1: a fixed node takes part)
  std::vector<int> node;      // per cell, the 4 unknowns in the order (−1: fixed)
  detail::LdltSymbolic symbolic;

  int nodeAt(const Geometry& g, int j, int k) const {
    return k == 0 ? -1 : position[static_cast<std::size_t>(g.natural(j, k))];
  }
};

Pattern buildPattern(const Geometry& g) {
  Pattern p;
  const int cells = g.ny * g.nz;
  const std::vector<int> order = detail::gridNestedDissection(g.ny + 1, g.nz);
  p.position.resize(order.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    p.position[static_cast<std::size_t>(order[i])] = static_cast<int>(i);
  p.node.resize(static_cast<std::size_t>(cells) * 4);
  std::vector<Eigen::Triplet<cd, int>> triplets;
  triplets.reserve(static_cast<std::size_t>(cells) * 12);
  for (int k = 0; k < g.nz; ++k)
    for (int j = 0; j < g.ny; ++j) {
      const std::size_t c = static_cast<std::size_t>(k) * g.ny + j;
      for (int l = 0; l < 4; ++l) p.node[c * 4 + l] = p.nodeAt(g, j + (l & 1), k + (l >> 1));
      for (const auto& pr : kPairs) {
        const int a = p.node[c * 4 + pr[0]], b = p.node[c * 4 + pr[1]];
        if (a >= 0 && b >= 0) triplets.emplace_back(a, b, cd(1, 0));
      }
    }
  p.matrix.resize(g.unknowns(), g.unknowns());
  p.matrix.setFromTriplets(triplets.begin(), triplets.end());
  p.matrix.makeCompressed();
  const int* outer = p.matrix.outerIndexPtr();
  const int* inner = p.matrix.innerIndexPtr();
  auto find = [&](int row, int col) {
    const int* b = inner + outer[col];
    const int* e = inner + outer[col + 1];
    return static_cast<int>(std::lower_bound(b, e, row) - inner);
  };
  p.slot.resize(static_cast<std::size_t>(cells) * 12);
  for (std::size_t c = 0; c < static_cast<std::size_t>(cells); ++c)
    for (int q = 0; q < 12; ++q) {
      const int a = p.node[c * 4 + kPairs[q][0]], b = p.node[c * 4 + kPairs[q][1]];
      p.slot[c * 12 + q] = (a >= 0 && b >= 0) ? find(a, b) : -1;
    }
  p.symbolic.analyse(g.unknowns(), outer, inner);
  return p;
}

// z·coth z and z·csch z with their derivatives with respect to z², for the exact 1-D element;
// series below |z| = 0.01 where the closed forms lose digits.
struct Hyperbolic {
  cd f, g;    // z coth z, z csch z
  cd fq, gq;  // d(z coth z)/d(z²), d(z csch z)/d(z²)
};

Hyperbolic hyperbolic(cd z) {
  Hyperbolic h;
  const cd z2 = z * z;
  if (std::abs(z) < 1e-2) {
    h.f = 1.0 + z2 / 3.0 - z2 * z2 / 45.0;
    h.g = 1.0 - z2 / 6.0 + 7.0 * z2 * z2 / 360.0;
    h.fq = 1.0 / 3.0 - 2.0 * z2 / 45.0 + 2.0 * z2 * z2 / 315.0;
    h.gq = -1.0 / 6.0 + 7.0 * z2 / 180.0 - 31.0 * z2 * z2 / 5040.0;
    return h;
  }
  if (z.real() < 0) z = -z;  // both functions are even
  const cd e = std::exp(-2.0 * z);
  const cd den = 1.0 - e;
  const cd coth = (1.0 + e) / den;
  const cd csch = 2.0 * std::exp(-z) / den;
  h.f = z * coth;
  h.g = z * csch;
  h.fq = (coth - z * csch * csch) / (2.0 * z);
  h.gq = (csch - z * csch * coth) / (2.0 * z);
  return h;
}

// The 4 × 4 matrix of a cell: `diag` on every node (plus `bottom` on nodes 2 and 3 of the last
// row), `across` between the nodes of a horizontal edge (0-1, 2-3), `down` between those of a
// vertical edge (0-2, 1-3).
struct CellMatrix {
  cd diag, across, down, bottom;
  cd entry(int l, int m) const {
    if (l == m) return diag + (l >= 2 ? bottom : cd(0, 0));
    if ((l ^ m) == 1) return across;
    if ((l ^ m) == 2) return down;
    return 0;
  }
  // Row l times the cell's four values.
  cd row(int l, const cd u[4]) const {
    return (diag + (l >= 2 ? bottom : cd(0, 0))) * u[l] + across * u[l ^ 1] + down * u[l ^ 2];
  }
};

class ModeSolver {
 public:
  ModeSolver(const Mt2dForwardRequest& r, Polarisation mode, const Geometry& g, const Pattern& p)
      : r_(r), mode_(mode), g_(g), p_(p), factor_(p.symbolic) {
    sites_ = static_cast<int>(r.siteColumns.size());
    matrix_ = p.matrix;
  }

  // One frequency: the responses of all sites (and the sensitivity rows when asked).
  bool solve(int f, ModeResponse& out, ModeSensitivity* sens) {
    const double freq = r_.frequencies[static_cast<std::size_t>(f)];
    iwm_ = cd(0, 2 * M_PI * freq * kMu0);
    assemble();
    if (!factor_.factorise(matrix_.outerIndexPtr(), matrix_.innerIndexPtr(), matrix_.valuePtr()))
      return false;
    x_ = rhs_;
    factor_.solve(x_.data(), 1);

    const int ks = g_.airRows;  // the surface row of nodes
    flux_.assign(static_cast<std::size_t>(sites_), cd(0, 0));
    halfWidth_.assign(static_cast<std::size_t>(sites_), 0.0);
    z_.assign(static_cast<std::size_t>(sites_), cd(0, 0));
    for (int s = 0; s < sites_; ++s) {
      const int js = r_.siteColumns[static_cast<std::size_t>(s)];
      cd R = 0;
      double L = 0;
      for (int side = 0; side < 2; ++side) {
        const int j = js - 1 + side;  // the cell to the left, then to the right
        if (j < 0 || j >= g_.ny) continue;
        cd u[4];
        values(j, ks, u);
        R += cells_[cellIndex(j, ks)].row(side == 0 ? 1 : 0, u);
        L += g_.hy[static_cast<std::size_t>(j)] / 2;
      }
      const cd us = value(js, ks);
      const cd z = mode_ == Polarisation::TE ? iwm_ * L * us / R : R / L;
      flux_[static_cast<std::size_t>(s)] = R;
      halfWidth_[static_cast<std::size_t>(s)] = L;
      z_[static_cast<std::size_t>(s)] = z;
      const std::size_t i = static_cast<std::size_t>(f) * sites_ + s;
      out.z[i] = z;
      out.rho[i] = apparentResistivity(z, freq);
      out.phase[i] = phaseDegrees(z);
    }
    if (sens) sensitivities(f, *sens);
    return true;
  }

 private:
  std::size_t cellIndex(int j, int k) const { return static_cast<std::size_t>(k) * g_.ny + j; }
  cd value(int j, int k) const {
    return k == 0 ? cd(1, 0) : x_[static_cast<std::size_t>(p_.nodeAt(g_, j, k))];
  }
  void values(int j, int k, cd u[4]) const {
    for (int l = 0; l < 4; ++l) u[l] = value(j + (l & 1), k + (l >> 1));
  }
  // Resistivity of a cell; 0 marks the air.
  double rhoOf(int j, int k) const {
    const int r = k - g_.airRows;
    if (r < 0) return 0;
    return r_.resistivity[static_cast<std::size_t>(r) * g_.ny + j];
  }

  // The cell's matrix: across the profile a plain difference of the flux (weight α = 1 for TE,
  // ρ for TM, over half the cell's height on each horizontal edge), down each half-width strip
  // the exact 1-D element of −u″ + q u with q = iωμσ (TE) or iωμ/ρ (TM), which carries the
  // induction term; the bottom row adds the half-space's impedance.
  CellMatrix cellMatrix(int j, int k, Hyperbolic* hyp = nullptr) const {
    const double a = g_.hy[static_cast<std::size_t>(j)];
    const double b = g_.hz[static_cast<std::size_t>(k)];
    const double rho = rhoOf(j, k);
    double alpha;
    cd q;
    if (mode_ == Polarisation::TE) {
      alpha = 1;
      q = rho > 0 ? iwm_ / rho : cd(0, 0);
    } else {
      alpha = rho;
      q = iwm_ / rho;
    }
    const Hyperbolic h = hyperbolic(std::sqrt(q) * b);
    if (hyp) *hyp = h;
    CellMatrix m;
    const double ch = b / (2 * a);
    m.diag = alpha * (ch + a / 2 * h.f / b);
    m.across = -alpha * ch;
    m.down = -alpha * a / 2 * h.g / b;
    if (k == g_.nz - 1) m.bottom = alpha * a / 2 * std::sqrt(q);
    return m;
  }

  void assemble() {
    const int cells = g_.ny * g_.nz;
    cells_.resize(static_cast<std::size_t>(cells));
    cd* v = matrix_.valuePtr();
    std::fill(v, v + matrix_.nonZeros(), cd(0, 0));
    rhs_.assign(static_cast<std::size_t>(g_.unknowns()), cd(0, 0));
    for (int k = 0; k < g_.nz; ++k)
      for (int j = 0; j < g_.ny; ++j) {
        const std::size_t c = cellIndex(j, k);
        const CellMatrix& m = cells_[c] = cellMatrix(j, k);
        for (int q = 0; q < 12; ++q) {
          const int l = kPairs[q][0], mm = kPairs[q][1];
          const int row = p_.node[c * 4 + l], col = p_.node[c * 4 + mm];
          if (row < 0) continue;
          const cd e = m.entry(l, mm);
          if (col < 0)
            rhs_[static_cast<std::size_t>(row)] -= e;  // the fixed top row holds 1
          else
            v[p_.slot[c * 12 + q]] += e;
        }
      }
  }

  // d(cell matrix)/d(log10 ρ of the cell).
  CellMatrix cellDerivative(int j, int k) const {
    Hyperbolic h;
    const CellMatrix m = cellMatrix(j, k, &h);
    const double a = g_.hy[static_cast<std::size_t>(j)];
    const double b = g_.hz[static_cast<std::size_t>(k)];
    const double rho = rhoOf(j, k);
    CellMatrix d;
    if (mode_ == Polarisation::TE) {
      // Only q = iωμ/ρ moves: dq/dp = −ln10 q.
      const cd q = iwm_ / rho;
      const cd dq = -kLn10 * q;
      d.diag = a / 2 * b * h.fq * dq;
      d.down = -a / 2 * b * h.gq * dq;
      if (k == g_.nz - 1) d.bottom = a / 2 * dq / (2.0 * std::sqrt(q));
    } else {
      // α = ρ and q = iωμ/ρ: d/dρ [ρ·φ(q)] = φ − q φ′(q); dρ/dp = ln10 ρ.
      const cd q = iwm_ / rho;
      const double ch = b / (2 * a);
      d.diag = kLn10 * rho * (ch + a / 2 * (h.f / b - q * b * h.fq));
      d.across = -kLn10 * rho * ch;
      d.down = -kLn10 * rho * a / 2 * (h.g / b - q * b * h.gq);
      if (k == g_.nz - 1) d.bottom = kLn10 * m.bottom / 2.0;
    }
    return d;
  }

  // The sensitivity rows of one frequency (see the header): one adjoint solve per site, then one
  // pass over the earth cells.
  void sensitivities(int f, ModeSensitivity& sens) {
    const int n = g_.unknowns();
    const int ks = g_.airRows;
    // ∇ᵤ of each site's impedance: one row per unknown, one column per site (row-major, as the
    // block solve takes it). TE: Z = iωμ L u_s / R, so ∂Z = Z (∂u_s / u_s − ∂R / R); TM: Z = R / L.
    std::vector<cd> lambda(static_cast<std::size_t>(n) * sites_, cd(0, 0));
    for (int s = 0; s < sites_; ++s) {
      const int js = r_.siteColumns[static_cast<std::size_t>(s)];
      const cd Z = z_[static_cast<std::size_t>(s)];
      const cd scaleR = mode_ == Polarisation::TE
                            ? -Z / flux_[static_cast<std::size_t>(s)]
                            : cd(1.0 / halfWidth_[static_cast<std::size_t>(s)], 0);
      if (mode_ == Polarisation::TE)
        lambda[static_cast<std::size_t>(p_.nodeAt(g_, js, ks)) * sites_ + s] += Z / value(js, ks);
      for (int side = 0; side < 2; ++side) {
        const int j = js - 1 + side;
        if (j < 0 || j >= g_.ny) continue;
        const CellMatrix& cm = cells_[cellIndex(j, ks)];
        const int l = side == 0 ? 1 : 0;
        for (int m = 0; m < 4; ++m) {
          const cd a = cm.entry(l, m);
          const int node = p_.nodeAt(g_, j + (m & 1), ks + (m >> 1));
          if (node >= 0 && a != cd(0, 0))
            lambda[static_cast<std::size_t>(node) * sites_ + s] += scaleR * a;
        }
      }
    }
    factor_.solve(lambda.data(), sites_);

    // −λᵀ(∂A/∂p)u of every earth cell for every site, summed into the cell's parameter.
    const int np = sens.parameters;
    const int rows = g_.nz - g_.airRows;
    std::vector<cd> dz(static_cast<std::size_t>(np) * sites_, cd(0, 0));
    for (int r = 0; r < rows; ++r)
      for (int j = 0; j < g_.ny; ++j) {
        const int p = r_.cellParameter[static_cast<std::size_t>(r) * g_.ny + j];
        if (p < 0) continue;
        const int k = r + g_.airRows;
        const CellMatrix d = cellDerivative(j, k);
        cd u[4];
        values(j, k, u);
        cd* dst = dz.data() + static_cast<std::size_t>(p) * sites_;
        for (int l = 0; l < 4; ++l) {
          const int node = p_.nodeAt(g_, j + (l & 1), k + (l >> 1));
          if (node < 0) continue;
          const cd du = d.row(l, u);
          const cd* lam = lambda.data() + static_cast<std::size_t>(node) * sites_;
          for (int s = 0; s < sites_; ++s) dst[s] -= lam[s] * du;
        }
        // The explicit part: a site's flux draws on the two cells under it.
        if (r != 0) continue;
        for (int s = 0; s < sites_; ++s) {
          const int js = r_.siteColumns[static_cast<std::size_t>(s)];
          if (j != js - 1 && j != js) continue;
          const cd dR = d.row(j == js - 1 ? 1 : 0, u);
          dst[s] += mode_ == Polarisation::TE
                        ? -z_[static_cast<std::size_t>(s)] / flux_[static_cast<std::size_t>(s)] * dR
                        : dR / halfWidth_[static_cast<std::size_t>(s)];
        }
      }
    for (int s = 0; s < sites_; ++s) {
      const cd Z = z_[static_cast<std::size_t>(s)];
      const std::size_t row = (static_cast<std::size_t>(f) * sites_ + s) * 2;
      double* rhoRow = sens.values.data() + row * np;
      double* phaRow = rhoRow + np;
      for (int p = 0; p < np; ++p) {
        const cd q = dz[static_cast<std::size_t>(p) * sites_ + s] / Z;
        rhoRow[p] = 2 / kLn10 * q.real();
        phaRow[p] = kDeg * q.imag();
      }
    }
  }

  const Mt2dForwardRequest& r_;
  Polarisation mode_;
  const Geometry& g_;
  const Pattern& p_;
  int sites_ = 0;
  cd iwm_;
  SpMat matrix_;
  std::vector<cd> rhs_, x_;
  std::vector<CellMatrix> cells_;
  std::vector<cd> flux_, z_;
  std::vector<double> halfWidth_;
  detail::LdltFactor factor_;
};

}  // namespace

std::vector<double> Mt2dMesh::nodePositions() const {
  std::vector<double> y(widths.size() + 1, y0);
  for (std::size_t j = 0; j < widths.size(); ++j) y[j + 1] = y[j] + widths[j];
  return y;
}

std::vector<double> Mt2dMesh::nodeDepths() const {
  std::vector<double> z(earth.size() + 1, 0.0);
  for (std::size_t k = 0; k < earth.size(); ++k) z[k + 1] = z[k] + earth[k];
  return z;
}

int Mt2dMesh::nearestColumn(double position) const {
  const std::vector<double> y = nodePositions();
  int best = 0;
  for (int j = 1; j < static_cast<int>(y.size()); ++j)
    if (std::abs(y[static_cast<std::size_t>(j)] - position) <
        std::abs(y[static_cast<std::size_t>(best)] - position))
      best = j;
  return best;
}

std::string validateMesh(const Mt2dMesh& mesh, bool needsAir) {
  auto positive = [](const std::vector<double>& v) {
    return std::all_of(v.begin(), v.end(), [](double h) { return std::isfinite(h) && h > 0; });
  };
  if (mesh.widths.empty() || mesh.earth.empty()) return "网格剖分为空";
  if (needsAir && mesh.air.empty()) return "TE 模式需要空气层网格";
  if (!positive(mesh.widths) || !positive(mesh.air) || !positive(mesh.earth))
    return "网格间距必须大于 0";
  if (!std::isfinite(mesh.y0)) return "网格起点坐标不正确";
  return {};
}

double apparentResistivity(std::complex<double> z, double frequency) {
  return std::norm(z) / (2 * M_PI * frequency * kMu0);
}

double phaseDegrees(std::complex<double> z) { return std::atan2(z.imag(), z.real()) * kDeg; }

bool forwardMode(const Mt2dForwardRequest& r, Polarisation mode, ModeResponse& out,
                 ModeSensitivity* sens, Progress* progress) {
  const Mt2dMesh& mesh = *r.mesh;
  const int nf = static_cast<int>(r.frequencies.size());
  const int ns = static_cast<int>(r.siteColumns.size());
  const std::size_t total = static_cast<std::size_t>(nf) * ns;
  out.z.assign(total, cd(0, 0));
  out.rho.assign(total, 0.0);
  out.phase.assign(total, 0.0);
  if (sens) {
    sens->rows = static_cast<int>(total * 2);
    sens->parameters = r.parameters;
    sens->values.assign(total * 2 * static_cast<std::size_t>(r.parameters), 0.0);
  }
  if (nf == 0 || ns == 0) return true;

  const Geometry g = geometryFor(mesh, mode);
  const Pattern pattern = buildPattern(g);

  int threads = r.threads > 0 ? r.threads
                              : std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  threads = std::clamp(threads, 1, std::max(1, nf));
  std::atomic<int> next{0}, done{0};
  std::atomic<bool> stop{false}, failed{false};
  if (progress) progress->setMaximum(nf);

  // Frequencies are handed out one at a time; the calling thread reports progress.
  auto work = [&](bool reporter) {
    ModeSolver solver(r, mode, g, pattern);
    for (;;) {
      if (stop.load() || failed.load()) return;
      const int f = next.fetch_add(1);
      if (f >= nf) return;
      if (!solver.solve(f, out, sens)) {
        failed = true;
        return;
      }
      ++done;
      if (reporter && progress) {
        progress->setValue(done.load());
        if (!progress->pump()) stop = true;
      }
    }
  };
  std::vector<std::thread> pool;
  for (int t = 1; t < threads; ++t) pool.emplace_back(work, false);
  work(true);
  for (auto& t : pool) t.join();
  if (progress && !stop && !failed) progress->setValue(nf);
  return !stop && !failed;
}

}  // namespace sarnoth::electric
