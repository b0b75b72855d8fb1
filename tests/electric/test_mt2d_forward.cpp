// The 2-D magnetotelluric forward engine against physics that does not come from it: the
// analytic impedance of a layered earth over five decades of period in both modes, the exact
// conditions at a vertical contact, the symmetry of a centred block, and the same numbers from
// one thread and from two.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "electric/mt2d_forward.h"
#include "electric/mt2d_models.h"

namespace sarnoth::electric {
namespace {

using testing::cellResistivity;
using testing::gradedCells;
using testing::layeredImpedance;
using testing::paddedMesh;

ModeResponse run(const Mt2dMesh& mesh, const std::vector<double>& rho,
                 const std::vector<double>& freqs, const std::vector<int>& sites, Polarisation mode,
                 int threads = 0) {
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
  for (int i = 0; i <= n; ++i)
    f.push_back(hi * std::pow(10.0, -static_cast<double>(i) / perDecade));
  return f;
}

// Three layers (a resistive cover, a conductor, a resistive basement) laid on the 2-D mesh with
// their boundaries on nodes; periods from 1 ms to 100 s. The vertical elements are exact for a
// layered earth, so the mesh reproduces the recursion to rounding whatever its grading — far
// inside the 1 % in ρa and 0.5° in phase that the tool promises.
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
        EXPECT_NEAR(out.rho[i] / rhoA, 1.0, 1e-6)
            << (mode == Polarisation::TE ? "TE" : "TM") << " f=" << freqs[f];
        EXPECT_NEAR(out.phase[i], phase, 1e-4)
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

// Two quarter-spaces, 10 Ω·m left of y = 0 and 100 Ω·m right of it, at 10 Hz (skin depths 0.5
// and 1.6 km). Exact for the continuous problem: far from the contact each side reads its own
// resistivity; at the contact Hx and the normal current ρ⁻¹Ey are continuous in TM, so ρa
// jumps by (ρ1/ρ2)² with the same phase on both sides, while TE keeps E and H continuous. On
// the mesh the nodes nearest the contact lie one cell width away, so the jump is approached as
// the cells shrink.
struct Contact {
  Mt2dMesh mesh;
  ModeResponse te, tm;
  std::vector<int> sites;  // far left, −2h, −h, 0, h, 2h, far right
  explicit Contact(double h) {
    std::vector<double> half(static_cast<std::size_t>(200 / h), h);
    for (double w = h * 1.25; std::accumulate(half.begin(), half.end(), 0.0) < 60e3; w *= 1.25)
      half.push_back(w);
    mesh.widths.assign(half.rbegin(), half.rend());
    mesh.widths.insert(mesh.widths.end(), half.begin(), half.end());
    mesh.y0 = -std::accumulate(half.begin(), half.end(), 0.0);
    mesh.earth = gradedCells(h, 1.2, 60e3);
    mesh.air = gradedCells(20, 2.5, 100e3);
    const std::vector<double> rho =
        cellResistivity(mesh, [](double y, double) { return y < 0 ? 10.0 : 100.0; });
    const int mid = static_cast<int>(half.size());  // the node on the contact
    sites = {mesh.nearestColumn(-8000), mid - 2, mid - 1, mid, mid + 1, mid + 2,
             mesh.nearestColumn(12000)};
    te = run(mesh, rho, {10}, sites, Polarisation::TE);
    tm = run(mesh, rho, {10}, sites, Polarisation::TM);
  }
};

TEST(Mt2dForward, VerticalContactHoldsItsExactConditions) {
  const Contact coarse(10), fine(2);
  for (const ModeResponse* m : {&fine.te, &fine.tm}) {
    EXPECT_NEAR(m->rho[0] / 10.0, 1.0, 0.01);
    EXPECT_NEAR(m->rho[6] / 100.0, 1.0, 0.01);
    EXPECT_NEAR(m->phase[0], 45.0, 0.5);
    EXPECT_NEAR(m->phase[6], 45.0, 0.5);
  }
  // TM: the ratio across the contact tends to (10/100)² and the phases to each other.
  auto ratioGap = [](const Contact& c) { return std::abs(c.tm.rho[2] / c.tm.rho[4] - 0.01); };
  EXPECT_LT(ratioGap(fine), 0.001);
  EXPECT_LT(ratioGap(fine), ratioGap(coarse) / 2);
  EXPECT_NEAR(fine.tm.phase[2], fine.tm.phase[4], 2.0);
  EXPECT_LT(std::abs(fine.tm.phase[2] - fine.tm.phase[4]),
            std::abs(coarse.tm.phase[2] - coarse.tm.phase[4]) / 2);
  // TE: no step at the contact; the change over it is that of its neighbourhood.
  const double* r = fine.te.rho.data();
  const double step = r[4] - r[2], around = (r[2] - r[1]) + (r[5] - r[4]);
  EXPECT_GT(step, 0);
  EXPECT_LT(step, 1.5 * around);
}

// A conductive block centred under a mesh symmetric about y = 0: mirror sites read alike, and
// two threads give the one thread's numbers to the last bit.
TEST(Mt2dForward, CentredBlockIsSymmetricAndThreadsDoNotChangeTheNumbers) {
  const Mt2dMesh mesh =
      paddedMesh(20, 100, 10, 1.4, gradedCells(20, 1.25, 40e3), gradedCells(50, 2.5, 80e3));
  const std::vector<double> rho = cellResistivity(mesh, [](double y, double z) {
    return std::abs(y) < 400 && z > 200 && z < 700 ? 2.0 : 200.0;
  });
  const int n = mesh.columns();
  const std::vector<int> sites{10, 14, 20, n - 14, n - 10};
  const std::vector<double> freqs{100, 20, 4, 0.8, 0.16, 0.032};
  for (Polarisation mode : {Polarisation::TE, Polarisation::TM}) {
    const ModeResponse one = run(mesh, rho, freqs, sites, mode, 1);
    const ModeResponse two = run(mesh, rho, freqs, sites, mode, 2);
    EXPECT_EQ(one.rho, two.rho);
    EXPECT_EQ(one.phase, two.phase);
    for (std::size_t f = 0; f < freqs.size(); ++f) {
      const double* r = &one.rho[f * sites.size()];
      const double* p = &one.phase[f * sites.size()];
      EXPECT_NEAR(r[0] / r[4], 1.0, 1e-9);
      EXPECT_NEAR(r[1] / r[3], 1.0, 1e-9);
      EXPECT_NEAR(p[0], p[4], 1e-7);
      EXPECT_LT(r[2], 150.0);  // the conductor shows over its centre
    }
  }
}

// A 1:100 conductive block, eight by four cells on the coarse mesh, computed on that mesh and
// with every cell cut in 2 × 2 and 4 × 4. TE converges at second order and is within 2 % and
// half a degree on the coarse mesh; TM converges more slowly (the fields are singular at the
// block's corners) but steadily, each halving at least halving the change, and the coarse mesh
// is within a quarter of the fine one's ρa over the block.
TEST(Mt2dForward, RefinedCellsConverge) {
  const Mt2dMesh coarse = paddedMesh(24, 200, 10, 1.4, gradedCells(20, 1.25, 40e3, {300, 1100}),
                                     gradedCells(50, 2.5, 80e3));
  auto block = [](double y, double z) {
    return y > -1000 && y < 600 && z > 300 && z < 1100 ? 3.0 : 300.0;
  };
  const std::vector<double> freqs{3, 0.3, 0.03};  // skin depths in the block 0.5 to 5 km
  std::vector<ModeResponse> te, tm;
  for (int level : {1, 2, 4}) {
    auto split = [level](const std::vector<double>& v) {
      std::vector<double> out;
      for (double h : v) out.insert(out.end(), static_cast<std::size_t>(level), h / level);
      return out;
    };
    Mt2dMesh m = coarse;
    m.widths = split(coarse.widths);
    m.earth = split(coarse.earth);
    m.air = split(coarse.air);
    std::vector<int> sites;
    for (double y : {-1800.0, -600.0, 0.0, 400.0, 1600.0}) sites.push_back(m.nearestColumn(y));
    te.push_back(run(m, cellResistivity(m, block), freqs, sites, Polarisation::TE));
    tm.push_back(run(m, cellResistivity(m, block), freqs, sites, Polarisation::TM));
  }
  for (std::size_t i = 0; i < te[0].rho.size(); ++i) {
    EXPECT_NEAR(te[0].rho[i] / te[2].rho[i], 1.0, 0.02) << i;
    EXPECT_NEAR(te[0].phase[i], te[2].phase[i], 0.5) << i;
    const double d1 = std::abs(tm[0].rho[i] - tm[1].rho[i]);
    const double d2 = std::abs(tm[1].rho[i] - tm[2].rho[i]);
    EXPECT_LT(d2, 0.55 * d1 + 1e-6 * tm[2].rho[i]) << i;
    EXPECT_NEAR(tm[0].rho[i] / tm[2].rho[i], 1.0, 0.25) << i;
  }
}

}  // namespace
}  // namespace sarnoth::electric
