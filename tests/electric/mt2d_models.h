// Meshes and earths the 2-D magnetotelluric tests share, and the analytic impedance of a
// layered earth they are checked against.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "electric/mt2d_forward.h"

namespace sarnoth::electric::testing {

// Cells from `top` growing by `growth` until they reach `depth`, every depth in `breaks` a node.
inline std::vector<double> gradedCells(double top, double growth, double depth,
                                       std::vector<double> breaks = {}, double maxCell = 1e30) {
  std::vector<double> nodes{0};
  double h = top;
  while (nodes.back() < depth) {
    nodes.push_back(nodes.back() + h);
    h = std::min(h * growth, maxCell);
  }
  const double bottom = nodes.back();
  for (double b : breaks)
    if (b > 0 && b < bottom) nodes.push_back(b);
  std::sort(nodes.begin(), nodes.end());
  std::vector<double> cells;
  for (std::size_t i = 1; i < nodes.size(); ++i)
    if (nodes[i] - nodes[i - 1] > 1e-6 * nodes[i]) cells.push_back(nodes[i] - nodes[i - 1]);
  return cells;
}

// Widths across a profile: `core` cells of `width` centred on 0, then `pad` cells each side
// growing by `growth`.
inline Mt2dMesh paddedMesh(int core, double width, int pad, double growth,
                           std::vector<double> earth, std::vector<double> air) {
  Mt2dMesh m;
  std::vector<double> padCells;
  double h = width;
  for (int i = 0; i < pad; ++i) padCells.push_back(h *= growth);
  m.widths.assign(padCells.rbegin(), padCells.rend());
  m.widths.insert(m.widths.end(), static_cast<std::size_t>(core), width);
  m.widths.insert(m.widths.end(), padCells.begin(), padCells.end());
  double left = core * width / 2;
  for (double p : padCells) left += p;
  m.y0 = -left;
  m.earth = std::move(earth);
  m.air = std::move(air);
  return m;
}

// Resistivity of every earth cell from a function of (profile distance, depth) at cell centres.
template <class F>
std::vector<double> cellResistivity(const Mt2dMesh& m, F rhoAt) {
  const std::vector<double> y = m.nodePositions(), z = m.nodeDepths();
  std::vector<double> rho;
  rho.reserve(static_cast<std::size_t>(m.earthCells()));
  for (int r = 0; r < m.earthRows(); ++r)
    for (int c = 0; c < m.columns(); ++c)
      rho.push_back(
          rhoAt((y[static_cast<std::size_t>(c)] + y[static_cast<std::size_t>(c) + 1]) / 2,
                (z[static_cast<std::size_t>(r)] + z[static_cast<std::size_t>(r) + 1]) / 2));
  return rho;
}

// The surface impedance of a layered earth (thicknesses in m, one fewer than resistivities),
// by the upward recursion of the layer impedances for e^{iωt}:
//   Z_n = ζ_n,  Z_j = ζ_j (Z_{j+1} + ζ_j t_j) / (ζ_j + Z_{j+1} t_j),
//   ζ_j = iωμ / k_j,  k_j = √(iωμ/ρ_j),  t_j = tanh(k_j h_j)
// (Ward & Hohmann 1988, in Nabighian (ed.), Electromagnetic Methods in Applied Geophysics 1,
// ch. 4). Identical for both polarisations over a layered earth.
inline std::complex<double> layeredImpedance(const std::vector<double>& thickness,
                                             const std::vector<double>& rho, double frequency) {
  using cd = std::complex<double>;
  const cd iwm(0, 2 * M_PI * frequency * 4e-7 * M_PI);
  auto k = [&](double r) { return std::sqrt(iwm / r); };
  cd Z = iwm / k(rho.back());
  for (int j = static_cast<int>(thickness.size()) - 1; j >= 0; --j) {
    const cd kj = k(rho[static_cast<std::size_t>(j)]);
    const cd zeta = iwm / kj;
    const cd t = std::tanh(kj * thickness[static_cast<std::size_t>(j)]);
    Z = zeta * (Z + zeta * t) / (zeta + Z * t);
  }
  return Z;
}

}  // namespace sarnoth::electric::testing
