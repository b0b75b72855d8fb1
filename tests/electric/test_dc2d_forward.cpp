// The 2.5-D finite-element engine against answers that owe nothing to it: the transform of a
// half-space potential, the half-space itself for every device, a two-layer earth against the
// 1-D engine (digital filter), Seigel's rule for a uniformly polarisable earth, sensitivities
// against finite differences of the forward, and thread independence.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "electric/dc2d_forward.h"
#include "electric/sounding_forward.h"

namespace sarnoth::electric {
namespace {

// Electrodes 0..n−1 at x = i·a on the surface.
Dc2dSurvey lineOf(int n, double a, Dc2dDevice device) {
  Dc2dSurvey s;
  s.device = device;
  for (int i = 0; i < n; ++i) s.electrodes.push_back({i * a, 0});
  return s;
}

// Dipole-dipole A B M N with dipoles of one spacing, n = 1..nmax.
Dc2dSurvey dipoleDipole(int electrodes, double a, int nmax) {
  Dc2dSurvey s = lineOf(electrodes, a, Dc2dDevice::DipoleSounding);
  for (int n = 1; n <= nmax; ++n)
    for (int i = 0; i + n + 2 < electrodes; ++i) s.data.push_back({i, i + 1, i + n + 1, i + n + 2});
  return s;
}

// One survey holding an array of every kind the ten devices use.
Dc2dSurvey mixedArrays() {
  Dc2dSurvey s = lineOf(25, 2.0, Dc2dDevice::DipoleSounding);
  const int R = kRemote2d;
  for (int i = 4; i < 16; i += 3) {
    s.data.push_back({i, R, i + 2, R});          // pole-pole
    s.data.push_back({i, R, i + 2, i + 3});      // pole-dipole
    s.data.push_back({i, i + 6, i + 2, i + 4});  // Wenner / symmetric
    s.data.push_back({i, i + 1, i + 3, i + 4});  // dipole-dipole
    s.data.push_back({0, 24, i + 2, i + 3});     // gradient
  }
  return s;
}

Dc2dMeshData uniform(const Dc2dMesh& mesh, double rho, double eta = 0) {
  Dc2dMeshData d;
  d.rho.assign(mesh.elements(), rho);
  d.eta.assign(mesh.elements(), eta);
  d.region.assign(mesh.elements(), -1);
  return d;
}

TEST(Dc2dWavenumbers, TransformOfAHalfSpacePotential) {
  for (double ratio : {10.0, 40.0, 100.0}) {
    const auto w = optimisedWavenumbers(1.0, ratio, 8);
    EXPECT_EQ(w.k.size(), 8u);
    EXPECT_LT(wavenumberError(w, 1.0, ratio), 3e-3) << ratio;
    // The same set scaled to another unit of length.
    const auto w10 = optimisedWavenumbers(10.0, 10 * ratio, 8);
    EXPECT_LT(wavenumberError(w10, 10.0, 10 * ratio), 3e-3);
  }
  // Fewer wavenumbers, larger error: the fit is a real fit.
  EXPECT_GT(wavenumberError(optimisedWavenumbers(1, 100, 3), 1, 100), 3e-3);
}

TEST(Dc2dForward, HalfSpaceGivesItsResistivityForEveryArray) {
  const Dc2dSurvey s = mixedArrays();
  Dc2dMesh mesh;
  std::string err;
  ASSERT_TRUE(buildDc2dMesh(s, {}, {}, mesh, err)) << err;
  Dc2dForward fwd(mesh, s);
  Dc2dSolution sol;
  ASSERT_TRUE(fwd.solve(uniform(mesh, 250).rho, sol, false));
  const auto rho = fwd.apparentResistivity(sol);
  ASSERT_EQ(rho.size(), s.data.size());
  for (std::size_t i = 0; i < rho.size(); ++i) EXPECT_NEAR(rho[i], 250, 2.5) << "datum " << i;
  // Potentials themselves against I/(2πσr) a few spacings from the source.
  const double v = sol.G(10, 4), r = 12.0;
  EXPECT_NEAR(v, 250 / (2 * std::numbers::pi * r), 0.01 * v);
  // Reciprocity: the same number with source and receiver exchanged.
  EXPECT_NEAR(sol.G(4, 10), sol.G(10, 4), 1e-9 * v);
}

TEST(Dc2dForward, BuriedSourceSeesItsImage) {
  // The charged-body device: a current electrode 6 m down, the potential on the surface.
  Dc2dSurvey s = lineOf(21, 2.0, Dc2dDevice::Charged);
  s.electrodes.push_back({20.0, 6.0});
  const int A = 21;
  for (int m = 0; m < 21; m += 2) s.data.push_back({A, kRemote2d, m, kRemote2d});
  Dc2dMesh mesh;
  std::string err;
  ASSERT_TRUE(buildDc2dMesh(s, {}, {}, mesh, err)) << err;
  Dc2dForward fwd(mesh, s);
  Dc2dSolution sol;
  ASSERT_TRUE(fwd.solve(uniform(mesh, 80).rho, sol, false));
  for (double v : fwd.apparentResistivity(sol)) EXPECT_NEAR(v, 80, 0.8);
}

TEST(Dc2dForward, TwoLayerEarthAgreesWithTheOneDimensionalEngine) {
  // 100 Ω·m, 4 m thick, over 10 Ω·m and the reverse, for dipole-dipole, pole-pole,
  // pole-dipole and Wenner arrays of 5 m.
  Dc2dSurvey s = dipoleDipole(40, 5.0, 6);
  for (int i = 4; i < 30; i += 5) {
    s.data.push_back({i, kRemote2d, i + 2, kRemote2d});
    s.data.push_back({i, kRemote2d, i + 2, i + 3});
    s.data.push_back({i, i + 6, i + 2, i + 4});
  }
  for (auto [top, bottom] : {std::pair{100.0, 10.0}, std::pair{20.0, 300.0}}) {
    Dc2dModel model;
    model.rho0 = bottom;
    Dc2dRegion layer;
    layer.rho = top;
    layer.outline = {{-1e5, 0}, {1e5, 0}, {1e5, -4}, {-1e5, -4}};
    model.regions.push_back(layer);
    Dc2dMesh mesh;
    std::string err;
    ASSERT_TRUE(buildDc2dMesh(s, model, {}, mesh, err)) << err;
    Dc2dMeshData md;
    ASSERT_TRUE(assignDc2dMeshData(mesh, model, md, err));
    Dc2dForward fwd(mesh, s);
    Dc2dResponse resp;
    ASSERT_TRUE(dc2dResponse(fwd, md, false, resp));
    const LayeredEarth earth{{4.0}, {top, bottom}, {}};
    auto at = [&](int e) {
      return e == kRemote2d ? kRemote : s.electrodes[static_cast<std::size_t>(e)].x;
    };
    for (std::size_t i = 0; i < s.data.size(); ++i) {
      const Dc2dDatum& d = s.data[i];
      const double ref = apparentResistivity(earth, Quadripole{at(d.a), at(d.b), at(d.m), at(d.n)});
      EXPECT_NEAR(resp.rho[i] / ref, 1.0, 0.02) << top << "/" << bottom << " datum " << i;
    }
  }
}

TEST(Dc2dForward, UniformPolarisationGivesItsChargeability) {
  // ρ* = ρ/(1 − η) everywhere scales every potential alike: ηa = η exactly, and a polarisable
  // block shows as a positive anomaly above it only.
  Dc2dSurvey s = dipoleDipole(20, 2.0, 3);
  Dc2dMesh mesh;
  std::string err;
  ASSERT_TRUE(buildDc2dMesh(s, {}, {}, mesh, err));
  Dc2dForward fwd(mesh, s);
  Dc2dResponse resp;
  ASSERT_TRUE(dc2dResponse(fwd, uniform(mesh, 60, 12), true, resp));
  for (double e : resp.eta) EXPECT_NEAR(e, 12, 1e-6);
  for (double r : resp.rho) EXPECT_NEAR(r, 60, 0.6);
}

TEST(Dc2dForward, SensitivitiesMatchFiniteDifferences) {
  // A small mesh and a model with contrast; cells of 3 × 3 quadrilaterals.
  Dc2dSurvey s = dipoleDipole(8, 1.0, 2);
  s.data.push_back({1, kRemote2d, 3, kRemote2d});
  Dc2dMesh mesh;
  std::string err;
  Dc2dMeshSettings st;
  st.cellsPerSpacing = 2;
  st.padding = 2;
  ASSERT_TRUE(buildDc2dMesh(s, {}, st, mesh, err));
  std::vector<int> cellOf(mesh.elements());
  int cells = 0;
  for (std::size_t e = 0; e < mesh.elements(); ++e) {
    const int c = (mesh.columnOf(e) / 3) * 1000 + mesh.rowOf(e) / 3;
    cellOf[e] = c;
  }
  std::vector<int> ids(cellOf);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  for (int& c : cellOf)
    c = static_cast<int>(std::lower_bound(ids.begin(), ids.end(), c) - ids.begin());
  cells = static_cast<int>(ids.size());
  std::vector<double> rho(mesh.elements());
  for (std::size_t e = 0; e < rho.size(); ++e) rho[e] = 20 + 15 * (cellOf[e] % 7);
  Dc2dForward fwd(mesh, s);
  Dc2dSolution sol;
  ASSERT_TRUE(fwd.solve(rho, sol, true));
  const Eigen::MatrixXd J = fwd.jacobian(sol, cellOf, cells);
  const auto base = fwd.apparentResistivity(sol);
  const double h = 1e-4;
  int checked = 0;
  for (int c = 0; c < cells; c += 3) {
    std::vector<double> r2 = rho;
    for (std::size_t e = 0; e < r2.size(); ++e)
      if (cellOf[e] == c) r2[e] *= std::exp(h);
    Dc2dSolution s2;
    ASSERT_TRUE(fwd.solve(r2, s2, false));
    const auto pert = fwd.apparentResistivity(s2);
    for (std::size_t d = 0; d < base.size(); ++d) {
      const double fd = (std::log(pert[d]) - std::log(base[d])) / h;
      EXPECT_NEAR(J(static_cast<Eigen::Index>(d), c), fd, 1e-4 + 1e-3 * std::abs(fd))
          << d << "," << c;
      ++checked;
    }
  }
  EXPECT_GT(checked, 100);
  // Scaling every resistivity scales ρa: the sensitivities of a datum sum to 1.
  for (Eigen::Index d = 0; d < J.rows(); ++d) EXPECT_NEAR(J.row(d).sum(), 1.0, 1e-6);
}

TEST(Dc2dForward, ResultDoesNotDependOnTheThreadCount) {
  Dc2dSurvey s = dipoleDipole(16, 2.0, 4);
  Dc2dMesh mesh;
  std::string err;
  ASSERT_TRUE(buildDc2dMesh(s, {}, {}, mesh, err));
  std::vector<double> rho(mesh.elements());
  for (std::size_t e = 0; e < rho.size(); ++e) rho[e] = mesh.centroid(e).x > 12 ? 30 : 300;
  std::vector<int> cellOf(mesh.elements());
  for (std::size_t e = 0; e < cellOf.size(); ++e) cellOf[e] = mesh.columnOf(e) % 5;
  Eigen::MatrixXd G[2], J[2];
  for (int t : {1, 2}) {
    Dc2dForward fwd(mesh, s, {8, t});
    Dc2dSolution sol;
    ASSERT_TRUE(fwd.solve(rho, sol, true));
    G[t - 1] = sol.G;
    J[t - 1] = fwd.jacobian(sol, cellOf, 5);
  }
  EXPECT_TRUE((G[0].array() == G[1].array()).all());
  EXPECT_TRUE((J[0].array() == J[1].array()).all());
}

}  // namespace
}  // namespace sarnoth::electric
