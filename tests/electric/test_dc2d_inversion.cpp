// The inversion on a synthetic block with a fixed seed, and the control's session: regions
// closed from drawn curves, the refusals of the mesh and its data, the order of the steps.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "electric/dc2d_inversion.h"
#include "electric/dc2d_session.h"

namespace sarnoth::electric {
namespace {

Dc2dFile dipoleFile(int electrodes, double a, int nmax, bool inverse) {
  Dc2dFile f;
  f.head = {inverse ? 2 : 1, 2, 0, 10};
  f.stationInterval = a;
  f.survey.device = Dc2dDevice::DipoleSounding;
  for (int i = 0; i < electrodes; ++i) f.survey.electrodes.push_back({i * a, 0});
  for (int n = 1; n <= nmax; ++n)
    for (int i = 0; i + n + 2 < electrodes; ++i)
      f.survey.data.push_back({i, i + 1, i + n + 1, i + n + 2});
  return f;
}

TEST(Dc2dInversion, RecoversAConductiveBlockAtItsPlace) {
  // 10 Ω·m, η 12 %, in 100 Ω·m: x 45…60 m, 3…9 m deep; dipole-dipole a = 5 m, n = 1..5;
  // 3 % noise in ρa, 0.3 % in ηa, seed 11.
  Dc2dFile truth = dipoleFile(24, 5.0, 5, false);
  truth.model.rho0 = 100;
  Dc2dRegion block;
  block.outline = {{45, -3}, {60, -3}, {60, -9}, {45, -9}};
  block.rho = 10;
  block.eta = 12;
  truth.model.regions = {block};
  Dc2dMesh mesh;
  std::string err;
  ASSERT_TRUE(buildDc2dMesh(truth.survey, truth.model, {}, mesh, err));
  Dc2dMeshData md;
  ASSERT_TRUE(assignDc2dMeshData(mesh, truth.model, md, err));
  Dc2dForward fwd(mesh, truth.survey);
  Dc2dResponse resp;
  ASSERT_TRUE(dc2dResponse(fwd, md, true, resp));
  Dc2dFile obs = dipoleFile(24, 5.0, 5, true);
  std::mt19937 rng(11);
  std::normal_distribution<double> noise(0, 1);
  for (std::size_t i = 0; i < obs.survey.data.size(); ++i) {
    obs.survey.data[i].rho = resp.rho[i] * (1 + 0.03 * noise(rng));
    obs.survey.data[i].eta = resp.eta[i] + 0.3 * noise(rng);
  }
  // The inversion through the session, as the control and the command line run it.
  Dc2dSession s;
  s.setFile(obs);
  ASSERT_TRUE(s.createRegions());
  EXPECT_GT(s.model().rho0, 30);  // the median of the data
  ASSERT_TRUE(s.buildMesh());
  ASSERT_TRUE(s.fetchMeshData());
  const Outcome o = s.compute();
  ASSERT_TRUE(o) << o.message;
  const Dc2dInversionResult& r = *s.inversion();
  const Dc2dCells& c = *s.cells();
  ASSERT_GE(r.rmsPerIteration.size(), 3u);
  EXPECT_GT(r.rmsPerIteration.front(), 20);
  EXPECT_LT(r.rms(), 5);  // near the noise
  for (std::size_t i = 1; i < r.rmsPerIteration.size(); ++i)
    EXPECT_LT(r.rmsPerIteration[i], r.rmsPerIteration[i - 1]);
  auto centre = [&](int k) {
    const int col = k % c.columns, lay = k / c.columns;
    return XZ{
        (c.xEdges[static_cast<std::size_t>(col)] + c.xEdges[static_cast<std::size_t>(col) + 1]) / 2,
        -(c.depthEdges[static_cast<std::size_t>(lay)] +
          c.depthEdges[static_cast<std::size_t>(lay) + 1]) /
            2};
  };
  // The most conductive cell and the most polarisable one lie in the block's place, within one
  // electrode spacing of its centre (52.5, −6).
  int low = 0, high = 0;
  for (int k = 0; k < c.count(); ++k) {
    if (r.cellRho[static_cast<std::size_t>(k)] < r.cellRho[static_cast<std::size_t>(low)]) low = k;
    if (r.cellEta[static_cast<std::size_t>(k)] > r.cellEta[static_cast<std::size_t>(high)])
      high = k;
  }
  EXPECT_LT(std::hypot(centre(low).x - 52.5, centre(low).z + 6), 5.0);
  EXPECT_LT(r.cellRho[static_cast<std::size_t>(low)], 40);
  EXPECT_LT(std::hypot(centre(high).x - 52.5, centre(high).z + 6), 5.0);
  EXPECT_GT(r.cellEta[static_cast<std::size_t>(high)], 5);
  // Far from the block the half-space comes back.
  int far = c.index(2, 1);
  EXPECT_NEAR(std::log10(r.cellRho[static_cast<std::size_t>(far)]), 2.0, 0.15);
  // Results, mesh data and pictures follow.
  EXPECT_NE(s.resultText().find("反演结果"), std::string::npos);
  EXPECT_TRUE(s.pseudoSection(false, false));
  EXPECT_TRUE(s.pseudoSection(true, true));
  EXPECT_TRUE(s.modelImage(true));
}

TEST(Dc2dSession, RegionsCloseFromCurvesChainsAndTheSurface) {
  Dc2dFile f = dipoleFile(12, 2.0, 3, false);
  f.model.rho0 = 50;
  Dc2dSession s;
  s.setFile(f);
  // A closed polyline; two lines meeting end to end with a third; a bowl from the surface down
  // and back.
  s.addCurve({{2, -1}, {6, -1}, {6, -3}, {2, -3}, {2.01, -1.01}}, 0.05);
  s.addCurve({{10, -1}, {14, -1}}, 0.05);
  s.addCurve({{14, -1}, {12, -4}}, 0.05);
  s.addCurve({{10.02, -1}, {12, -4}}, 0.05);
  s.addCurve({{16, 0.02}, {18, -2}, {20, -0.03}}, 0.05);
  s.addCurve({{0, -8}, {5, -9}}, 0.05);  // open, stays a curve
  ASSERT_TRUE(s.createRegions());
  ASSERT_EQ(s.model().regions.size(), 3u);
  EXPECT_NEAR(std::abs(signedArea2(s.model().regions[0].outline)) / 2, 8, 1e-9);
  EXPECT_NEAR(std::abs(signedArea2(s.model().regions[1].outline)) / 2, 6, 1e-9);
  EXPECT_NEAR(std::abs(signedArea2(s.model().regions[2].outline)) / 2, 4, 1e-9);
  // Again: nothing new.
  ASSERT_TRUE(s.createRegions());
  EXPECT_EQ(s.model().regions.size(), 3u);
  // A region without properties stops the mesh data, by its number.
  ASSERT_TRUE(s.buildMesh());
  EXPECT_FALSE(s.compute());
  const Outcome o = s.fetchMeshData();
  EXPECT_FALSE(o);
  EXPECT_EQ(o.message, "区域 1 没有给定电阻率");
  for (int r = 0; r < 3; ++r) ASSERT_TRUE(s.setRegionProperties(r, 5.0 * (r + 1), 0));
  EXPECT_FALSE(s.setRegionProperties(0, -1, 0));
  ASSERT_TRUE(s.fetchMeshData());
  // Modify: the elements of region 2 change at once; reset restores them from the regions.
  const Dc2dMeshData before = s.meshData();
  ASSERT_TRUE(s.modifyRegion(1, 999, 0));
  int changed = 0;
  for (std::size_t e = 0; e < before.rho.size(); ++e)
    if (s.meshData().rho[e] != before.rho[e]) {
      ++changed;
      EXPECT_EQ(before.region[e], 1);
      EXPECT_EQ(s.meshData().rho[e], 999);
    }
  EXPECT_GT(changed, 10);
  ASSERT_TRUE(s.compute());
  EXPECT_TRUE(s.computed());
  EXPECT_EQ(s.response().rho.size(), f.survey.data.size());
  EXPECT_FALSE(s.meshText().empty());
  // Removing a region drops the mesh: the steps start again.
  EXPECT_TRUE(s.removeRegion(2));
  EXPECT_FALSE(s.meshBuilt());
  EXPECT_FALSE(s.computed());
}

TEST(Dc2dSession, TerrainTooSteepForTheRowsIsRefused) {
  Dc2dFile f = dipoleFile(12, 2.0, 2, false);
  f.head.terrain = 1;
  // A cliff of 30 m within one electrode spacing, above rows a quarter spacing thick.
  f.survey.terrain = {{0, 0}, {10, 0}, {10.5, 30}, {22, 30}};
  Dc2dSession s;
  s.setFile(f);
  const Outcome o = s.buildMesh();
  EXPECT_FALSE(o);
  EXPECT_EQ(o.message.rfind("网格单元倒置", 0), 0u) << o.message;
  EXPECT_FALSE(s.meshBuilt());
  // Gentle relief meshes, and its first rows follow the surface.
  f.survey.terrain = {{0, 0}, {10, 1.5}, {22, 0.5}};
  s.setFile(f);
  ASSERT_TRUE(s.buildMesh());
  const Dc2dMesh& m = *s.mesh();
  for (int i = 0; i < m.nx(); ++i)
    EXPECT_NEAR(m.nodes[static_cast<std::size_t>(m.node(i, 0))].z,
                f.survey.surfaceAt(m.xs[static_cast<std::size_t>(i)]), 1e-9);
}

}  // namespace
}  // namespace sarnoth::electric
