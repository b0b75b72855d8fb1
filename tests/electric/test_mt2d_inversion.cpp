// Sensitivities by reciprocity against central differences of the forward, the Occam step on
// a linear problem whose answer is known, and a small section inverted back from its own data.
#include <gtest/gtest.h>

#include <cmath>

#include "electric/mt2d_demo.h"
#include "electric/mt2d_inversion.h"
#include "electric/mt2d_models.h"

namespace sarnoth::electric {
namespace {

using testing::cellResistivity;
using testing::gradedCells;
using testing::paddedMesh;

// A small section: a conductive block beside a resistive one under three sites; parameters are
// 3 × 3 blocks of cells over the core plus one for all the rest.
struct SmallProblem {
  Mt2dMesh mesh = paddedMesh(8, 250, 3, 1.6, gradedCells(40, 1.4, 8000), gradedCells(200, 3, 30e3));
  std::vector<double> rho;
  std::vector<int> cellParameter;
  int parameters = 0;
  std::vector<double> freqs{30, 3, 0.3};
  std::vector<int> sites{4, 7, 9};

  SmallProblem() {
    rho = cellResistivity(mesh, [](double y, double z) {
      if (y > -800 && y < -100 && z > 150 && z < 900) return 8.0;
      if (y > 100 && y < 900 && z > 300 && z < 1500) return 600.0;
      return 80.0;
    });
    const std::vector<double> y = mesh.nodePositions(), d = mesh.nodeDepths();
    for (int r = 0; r < mesh.earthRows(); ++r)
      for (int c = 0; c < mesh.columns(); ++c) {
        const double yc = (y[c] + y[c + 1]) / 2, zc = (d[r] + d[r + 1]) / 2;
        int p = 9;  // everything outside the core
        if (std::abs(yc) < 1000 && zc < 1500)
          p = std::min(2, static_cast<int>((yc + 1000) / 667)) +
              3 * std::min(2, static_cast<int>(zc / 500));
        cellParameter.push_back(p);
      }
    parameters = 10;
  }

  ModeResponse forward(Polarisation mode, const std::vector<double>& cellRho,
                       ModeSensitivity* sens = nullptr) const {
    Mt2dForwardRequest r;
    r.mesh = &mesh;
    r.resistivity = cellRho;
    r.frequencies = freqs;
    r.siteColumns = sites;
    if (sens) {
      r.cellParameter = cellParameter;
      r.parameters = parameters;
    }
    ModeResponse out;
    EXPECT_TRUE(forwardMode(r, mode, out, sens));
    return out;
  }
};

TEST(Mt2dSensitivity, ReciprocityAgreesWithCentralDifferences) {
  const SmallProblem pb;
  const double h = 1e-4;  // in log10 ρ
  for (Polarisation mode : {Polarisation::TE, Polarisation::TM}) {
    ModeSensitivity J;
    pb.forward(mode, pb.rho, &J);
    ASSERT_EQ(J.rows, static_cast<int>(2 * pb.freqs.size() * pb.sites.size()));
    for (int p = 0; p < pb.parameters; ++p) {
      std::vector<double> up = pb.rho, down = pb.rho;
      for (std::size_t c = 0; c < up.size(); ++c)
        if (pb.cellParameter[c] == p) {
          up[c] *= std::pow(10.0, h);
          down[c] *= std::pow(10.0, -h);
        }
      const ModeResponse a = pb.forward(mode, up), b = pb.forward(mode, down);
      for (std::size_t i = 0; i < a.rho.size(); ++i) {
        const double dRho = (std::log10(a.rho[i]) - std::log10(b.rho[i])) / (2 * h);
        const double dPhase = (a.phase[i] - b.phase[i]) / (2 * h);
        const int row = static_cast<int>(2 * i);
        EXPECT_NEAR(J.at(row, p), dRho, 1e-4 * std::abs(dRho) + 1e-6)
            << (mode == Polarisation::TE ? "TE" : "TM") << " datum " << i << " parameter " << p;
        EXPECT_NEAR(J.at(row + 1, p), dPhase, 1e-4 * std::abs(dPhase) + 1e-5)
            << (mode == Polarisation::TE ? "TE" : "TM") << " datum " << i << " parameter " << p;
      }
    }
  }
}

// A linear problem d = G m with a smooth kernel: the step from any start is the Occam model of
// the linear problem, so its misfit must land on the target and a slightly larger multiplier
// must miss it.
TEST(OccamStep, LinearProblemMeetsTheTargetWithTheLargestMultiplier) {
  const int N = 30, M = 20;
  Eigen::MatrixXd G(N, M);
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < M; ++j)
      G(i, j) = std::exp(-std::pow((i / double(N) - j / double(M)) * 6, 2));
  Eigen::VectorXd truth(M);
  for (int j = 0; j < M; ++j) truth[j] = std::sin(j / 3.0);
  Eigen::VectorXd noise(N);
  for (int i = 0; i < N; ++i) noise[i] = 0.05 * std::cos(7.3 * i);  // fixed, rms ≈ 0.035
  const Eigen::VectorXd d = G * truth + noise;
  const Eigen::VectorXd e = Eigen::VectorXd::Constant(N, 0.05);
  auto rms = [&](const Eigen::VectorXd& m) {
    return std::sqrt(((d - G * m).cwiseQuotient(e)).squaredNorm() / N);
  };
  std::vector<int> blocks(M);
  for (int j = 0; j < M; ++j) blocks[j] = j;
  OccamStepInput in;
  in.J = G;
  in.m0 = Eigen::VectorXd::Zero(M);
  in.residual = d - G * in.m0;
  in.error = e;
  in.roughness = blockRoughness(M, 1, blocks, M);
  in.rms0 = rms(in.m0);
  in.target = 1.0;
  in.log10Mu = 0;
  const OccamStepResult r = occamStep(in, [&](const Eigen::VectorXd& m) { return rms(m); });
  ASSERT_TRUE(r.improved);
  EXPECT_NEAR(r.rms, 1.0, 0.02);
  EXPECT_LE(r.rms, 1.0);
  // The model at a multiplier a little larger fits worse than the target.
  Eigen::MatrixXd A =
      G.transpose() * (1 / 0.0025) * G + std::pow(10.0, r.log10Mu + 0.1) * in.roughness;
  const Eigen::VectorXd smoother = A.ldlt().solve(G.transpose() * (1 / 0.0025) * d);
  EXPECT_GT(rms(smoother), 1.0);
  EXPECT_NEAR(r.roughness, r.m.dot(in.roughness * r.m), 1e-9);

  // A target no model reaches: the least misfit is taken (phase 1) and it beats the start.
  in.target = 1e-6;
  const OccamStepResult best = occamStep(in, [&](const Eigen::VectorXd& m) { return rms(m); });
  ASSERT_TRUE(best.improved);
  EXPECT_LT(best.rms, r.rms);
}

TEST(OccamStep, RoughnessCountsEachSharedEdgeOnceAndSkipsFixedBlocks) {
  // 3 × 2 blocks, the middle top one held: edges among free blocks are (0,3), (2,5), (3,4), (4,5).
  const std::vector<int> param{0, -1, 1, 2, 3, 4};
  const Eigen::MatrixXd R = blockRoughness(3, 2, param, 5);
  Eigen::VectorXd m(5);
  m << 1, 2, 4, 8, 16;
  // (1-4)² + (2-16)² + (4-8)² + (8-16)² = 9 + 196 + 16 + 64
  EXPECT_DOUBLE_EQ(m.dot(R * m), 285.0);
}

// The demo's two blocks under 11 sites, inverted from a homogeneous start: the misfit falls to
// the target within the iteration limit and the blocks stand out on the right sides.
TEST(Mt2dInversion, SmallTwoBlockSectionReachesItsTarget) {
  Mt2dDemoSize size;
  size.sites = 11;
  size.siteSpacing = 800;
  size.frequencies = 10;
  size.padColumns = 8;
  size.earthRows = 26;
  size.airRows = 6;
  size.blockSize = 2;
  const Mt2dDemoSet set = makeMt2dDemoSet(size);
  Mt2dInversionSetup s;
  s.mesh = set.mesh;
  s.model = set.start;
  s.data = set.data;
  s.mode = MtMode::Joint;
  s.targetRms = 1.0;
  // Floors a little above the 2 % noise, as a survey's would be.
  s.rhoFloor = 3.0;
  s.phaseFloor = 0.86;
  s.maxIterations = 8;
  std::vector<Mt2dIterationReport> reports;
  const Mt2dInversionOutcome o =
      invertMt2d(s, [&](const Mt2dIterationReport& r) { reports.push_back(r); });
  ASSERT_TRUE(o.ok) << o.message;
  ASSERT_FALSE(reports.empty());
  EXPECT_GT(o.initialRms, 5.0);
  for (std::size_t i = 1; i < reports.size(); ++i)
    EXPECT_LE(reports[i].rms, std::max(reports[i - 1].rms, s.targetRms) * 1.001);
  EXPECT_LE(reports.back().rms, 1.05);
  // Resistivity under the conductor's centre (−2250 m, 1200 m) and the resistor's (2250 m, 1800 m).
  const std::vector<double> y = s.mesh.nodePositions(), d = s.mesh.nodeDepths();
  auto at = [&](double yy, double zz) {
    int c = 0, r = 0;
    while (y[c + 1] < yy) ++c;
    while (d[r + 1] < zz) ++r;
    return std::pow(
        10.0, reports.back().cellLog10Rho[static_cast<std::size_t>(r) * s.mesh.columns() + c]);
  };
  EXPECT_LT(at(-2250, 1200), 30.0);
  EXPECT_GT(at(2250, 1800), 200.0);
}

}  // namespace
}  // namespace sarnoth::electric
