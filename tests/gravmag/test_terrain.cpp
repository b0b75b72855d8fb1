// The prism's closed form against a numerical integration, an infinite slab and a distant point
// mass; the terrain correction against answers worked independently: a level model gives 0, a
// single raised cell gives that prism's attraction, a uniform annulus gives Hammer's ring
// formula, and a rough model gives the exact sum of its cells' prisms. Then the tool's run on a
// table and the command line.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "gravmag/prism.h"
#include "gravmag/terrain.h"
#include "test_support.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

constexpr double kG = kGravityMgalPerMetre;

// g_z of the prism by a column-by-column integration: each vertical column integrated exactly
// (1/√(ρ² + z1²) − 1/√(ρ² + z2²)), the columns summed by 5-point Gauss–Legendre on 40 × 40 panels.
double integratedGz(double x1, double x2, double y1, double y2, double z1, double z2, double rho) {
  const double gx[5] = {-0.9061798459386640, -0.5384693101056831, 0.0, 0.5384693101056831,
                        0.9061798459386640};
  const double gw[5] = {0.2369268850561891, 0.4786286704993665, 0.5688888888888889,
                        0.4786286704993665, 0.2369268850561891};
  const int panels = 40;
  const double hx = (x2 - x1) / panels, hy = (y2 - y1) / panels;
  double s = 0;
  for (int i = 0; i < panels; ++i)
    for (int j = 0; j < panels; ++j)
      for (int a = 0; a < 5; ++a)
        for (int b = 0; b < 5; ++b) {
          const double x = x1 + (i + 0.5 + 0.5 * gx[a]) * hx, y = y1 + (j + 0.5 + 0.5 * gx[b]) * hy;
          const double r2 = x * x + y * y;
          s += gw[a] * gw[b] * 0.25 * hx * hy *
               (1 / std::sqrt(r2 + z1 * z1) - 1 / std::sqrt(r2 + z2 * z2));
        }
  return kG * rho * s;
}

TEST(Prism, ClosedFormMatchesIntegrationSlabAndPointMass) {
  // A prism beside and below the observer, and one above it (pulling up: negative).
  EXPECT_NEAR(prismGz(10, 30, -5, 15, 5, 40, 2.67), integratedGz(10, 30, -5, 15, 5, 40, 2.67),
              1e-8);
  EXPECT_NEAR(prismGz(-20, -2, 3, 9, -60, -1, 2.0), integratedGz(-20, -2, 3, 9, -60, -1, 2.0),
              1e-8);
  EXPECT_LT(prismGz(-20, -2, 3, 9, -60, -1, 2.0), 0.0);
  // A corner at the observer and faces through it (the logarithms' limits).
  // There the columns' 1/ρ is taken apart: its integral over the square is 2a·asinh(1).
  EXPECT_NEAR(prismGz(0, 50, 0, 50, 0, 50, 1.0),
              kG * 2 * 50 * std::asinh(1.0) - integratedGz(0, 50, 0, 50, 50, 1e30, 1.0), 1e-8);
  EXPECT_NEAR(prismGz(-50, 50, -50, 50, 0, 20, 1.0), 4 * prismGz(0, 50, 0, 50, 0, 20, 1.0), 1e-10);
  // Bouguer's slab: 2πGρt.
  EXPECT_NEAR(prismGz(-1e6, 1e6, -1e6, 1e6, 0, 100, 1.0), 2 * M_PI * kG * 100, 1e-3);
  // Far away a prism is a point mass; a vertical line mass nearer.
  const double far = prismGz(990, 1010, -10, 10, 490, 510, 1.5);
  const double mass = 20.0 * 20 * 20, r = std::hypot(1000.0, 500.0);
  EXPECT_NEAR(far / (kG * 1.5 * mass * 500 / (r * r * r)), 1.0, 1e-4);
  EXPECT_NEAR(prismGz(95, 105, -5, 5, 0, 300, 1.0) / lineMassGz(100, 100, 0, 300, 1.0), 1.0, 1e-3);
  // g_zz is ∂g_z/∂z: moving the observer down by δ raises the prism by δ.
  const double d = 1e-3;
  const double fd = (prismGz(10, 30, -5, 15, 5 - d, 40 - d, 2.67) -
                     prismGz(10, 30, -5, 15, 5 + d, 40 + d, 2.67)) /
                    (2 * d);
  EXPECT_NEAR(prismGzz(10, 30, -5, 15, 5, 40, 2.67), fd, 1e-7);
}

// A model of n × n cells of `cell` metres, lower-left node at (0, 0), filled by f(x, y).
template <class F>
Grid model(int n, double cell, F f) {
  Grid g;
  g.header.nx = g.header.ny = n;
  g.header.dx = g.header.dy = static_cast<float>(cell);
  g.nodes.resize(static_cast<std::size_t>(n) * n);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c)
      g.nodes[static_cast<std::size_t>(r) * n + c] = static_cast<float>(f(c * cell, r * cell));
  recomputeGridStats(g.header, g.nodes);
  return g;
}

TEST(Terrain, LevelGroundGivesNothing) {
  const TerrainModel m(model(201, 25, [](double, double) { return 312.5; }));
  const TerrainParams p;  // Hammer's rings to 170.1 m, prisms to zone M
  for (double x : {2500.0, 1234.0, 10.0})
    EXPECT_EQ(m.correction(x, 2500.0, 312.5, p).total(), 0.0) << x;
  // Off the model the ground counts as level with the station.
  EXPECT_EQ(m.correction(-3000, -3000, 312.5, p).total(), 0.0);
  // A station 10 m above the level ground sees valleys all round: positive.
  EXPECT_GT(m.correction(2500, 2500, 322.5, p).total(), 0.0);
}

TEST(Terrain, SingleRaisedCellIsNagysPrism) {
  const double cell = 20, top = 30;
  const TerrainModel m(model(101, cell, [&](double x, double y) {
    return (std::lround(x / cell) == 50 && std::lround(y / cell) == 60) ? top : 0.0;
  }));
  TerrainParams p;
  p.innerRadius = 0;
  p.outerRadius = 1e5;
  p.density = 2.0;
  // Three cells away: the closed form itself (the prism above the station pulls up; the
  // correction takes its size).
  const double want3 = -prismGz(-10, 10, 50, 70, -top, 0, 2.0);
  EXPECT_GT(want3, 0.0);
  EXPECT_NEAR(m.correction(1000, 1140, 0, p).total(), want3, 1e-12 * want3);
  // Ten cells away the cell stands as a column with its width's second-order term: the bare
  // line mass would be 0.37 % off, the column within 0.01 %.
  const double want10 = -prismGz(-10, 10, 190, 210, -top, 0, 2.0);
  EXPECT_GT(std::fabs(lineMassGz(200, 400, 0, top, 2.0) / want10 - 1), 3e-3);
  EXPECT_NEAR(m.correction(1000, 1000, 0, p).total(), want10, 1e-4 * want10);
  EXPECT_NEAR(columnGz(0, 200, 20, 20, -top, 0, 2.0), -want10, 1e-4 * want10);
}

TEST(Terrain, UniformAnnulusGivesHammersRingFormula) {
  // 40 m of ground from 53.3 to 170.1 m about the centre (Hammer's zone D), level elsewhere.
  const double h = 40, r1 = 53.3, r2 = 170.1;
  const Grid g = model(221, 2, [&](double x, double y) {
    const double r = std::hypot(x - 220, y - 220);
    return r >= r1 && r <= r2 ? h : 0.0;
  });
  const TerrainModel m(g);
  TerrainParams p;
  p.density = 2.67;
  p.innerRadius = 170.1;
  p.outerRadius = 180;
  const double ring = 2 * M_PI * kG * p.density * (r2 - r1 + std::hypot(r1, h) - std::hypot(r2, h));
  const TerrainModel::Parts parts = m.correction(220, 220, 0, p);
  EXPECT_NEAR(parts.hammer, ring, 1e-4 * ring);  // bilinear samples near the zone's edge
  EXPECT_EQ(parts.prisms, 0.0);
  // The same ground as the model's cells, prisms all the way: the stair-stepped ring agrees.
  p.innerRadius = 0;
  EXPECT_NEAR(m.correction(220, 220, 0, p).total(), ring, 0.01 * ring);
}

// A rough model: a hill, a valley and ripples, 1500 m of relief over 12.8 km.
Grid roughModel() {
  return model(129, 100, [](double x, double y) {
    return 800 + 700 * std::exp(-(std::pow(x - 4000, 2) + std::pow(y - 7000, 2)) / 4e6) -
           500 * std::exp(-(std::pow(x - 9000, 2) + std::pow(y - 5000, 2)) / 2e6) +
           40 * std::sin(x / 300) * std::cos(y / 450);
  });
}

TEST(Terrain, QuadtreeMatchesTheExactPrismSum) {
  const Grid g = roughModel();
  const TerrainModel m(g);
  TerrainParams p;
  p.innerRadius = 0;
  p.outerRadius = 1e6;
  for (auto [x, y] : {std::pair{6400.0, 6400.0}, {3000.0, 9000.0}, {12000.0, 500.0}}) {
    const double hs = m.elevationAt(x, y);
    double exact = 0;
    for (int r = 0; r < g.header.ny; ++r)
      for (int c = 0; c < g.header.nx; ++c) {
        const double cx = c * 100.0 - x, cy = r * 100.0 - y, dz = hs - g.at(r, c);
        exact += std::fabs(prismGz(cx - 50, cx + 50, cy - 50, cy + 50, std::min(0.0, dz),
                                   std::max(0.0, dz), p.density));
      }
    EXPECT_NEAR(m.correction(x, y, hs, p).total(), exact, 2e-3 * exact) << x << "," << y;
  }
}

TEST(Terrain, StationsDoNotDependOnTheThreads) {
  const TerrainModel m(roughModel());
  std::vector<double> x, y, h;
  for (int i = 0; i < 300; ++i) {
    x.push_back(150.0 + 41.0 * i);
    y.push_back(12000.0 - 37.0 * i);
    h.push_back(i == 7 ? std::nan("") : m.elevationAt(x.back(), y.back()) + 2.0);
  }
  const TerrainParams p;
  const auto one = terrainCorrections(m, x, y, h, p, 1), two = terrainCorrections(m, x, y, h, p, 2);
  for (std::size_t i = 0; i < one.size(); ++i)
    if (i != 7) {
      EXPECT_EQ(one[i], two[i]) << i;
    }
  EXPECT_TRUE(std::isnan(two[7]));
  EXPECT_TRUE(std::isnan(one[7]));
  EXPECT_GT(one[0], 0.0);
}

// A work area with a station table and a DEM as an ESRI ASCII grid (read through GDAL): level
// at 100 m except one cell raised to 160 m.
class TerrainTool : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute(
        "Create Table [重力] ([X] DOUBLE, [Y] DOUBLE, [H] SINGLE, [BA] SINGLE, [名] TEXT(8))");
    const double rows[][4] = {{500, 500, 100, -20}, {430, 520, 100, -21}, {700, 100, 130, -25}};
    for (const auto& r : rows)
      db.execute("Insert Into [重力] Values (?, ?, ?, ?, 'a')",
                 {Value(r[0]), Value(r[1]), Value(r[2]), Value(r[3])});
    db.execute("Insert Into [重力] ([Y], [H], [BA]) Values (1, 1, 1)");  // no X
    std::string asc = "ncols 51\nnrows 51\nxllcorner -10\nyllcorner -10\ncellsize 20\n";
    for (int r = 50; r >= 0; --r) {  // north first
      for (int c = 0; c < 51; ++c) asc += (r == 26 && c == 23) ? "160 " : "100 ";
      asc += "\n";
    }
    test::writeFile(tmp.file("dem.asc"), asc);
  }
  TerrainJob job() const {
    TerrainJob j;
    j.table = "重力";
    j.xField = "X";
    j.yField = "Y";
    j.elevationField = "H";
    j.bouguerField = "BA";
    j.demPath = tmp.file("dem.asc");
    j.params.innerRadius = 0;
    return j;
  }
  std::vector<double> column(const std::string& f) {
    std::vector<double> v;
    Cursor c = db.query("Select [" + f + "] From [重力]");
    while (c.next()) v.push_back(c.isNull(0) ? std::nan("") : c.getDouble(0));
    return v;
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(TerrainTool, WritesTheCorrectionAndTheCompleteBouguerAnomaly) {
  ScriptedInteraction ui(std::deque<Answer>{});
  const TerrainRunResult r = runTerrainCorrection(db, job(), ui);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.stations, 4);
  EXPECT_EQ(r.corrected, 3);
  const auto tc = column("TC"), cba = column("CBA"), ba = column("BA");
  // Station 1 sits 3 cells south-west of the raised cell (node (460, 520) relative to it).
  const double want =
      -prismGz(460 - 10 - 500, 460 + 10 - 500, 520 - 10 - 500, 520 + 10 - 500, -60, 0, 2.67);
  EXPECT_NEAR(tc[0], want, 1e-5);
  EXPECT_NEAR(cba[0], ba[0] + tc[0], 1e-5);
  EXPECT_GT(tc[2], tc[0]);  // 30 m above the level ground: valleys all round
  EXPECT_LE(tc[3], -1e37);  // no X: null
  EXPECT_LE(cba[3], -1e37);
  EXPECT_FALSE(terrainReport(r).empty());

  // The fields exist now: declining the question leaves them as they are.
  TerrainJob j = job();
  j.params.density = 1.0;
  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(runTerrainCorrection(db, j, no).outcome.ok);
  EXPECT_EQ(column("TC"), tc);
  ScriptedInteraction yes({}, Answer::Yes);
  ASSERT_TRUE(runTerrainCorrection(db, j, yes).outcome.ok);
  EXPECT_NEAR(column("TC")[0], want / 2.67, 1e-5);
  // Without an elevation field the stations stand on the model: station 1 on the level 100 m.
  j.elevationField.clear();
  ASSERT_TRUE(runTerrainCorrection(db, j, yes).outcome.ok);
  EXPECT_NEAR(column("TC")[0], want / 2.67, 1e-5);
  EXPECT_LT(column("TC")[2], tc[2] / 2.67);  // station 3 now on the ground, not 30 m above
}

TEST_F(TerrainTool, AStoppedRunLeavesTheTableAsItWas) {
  ScriptedInteraction ui(std::deque<Answer>{});
  Progress progress;
  progress.setPumpHook([] { return false; });
  const TerrainRunResult r = runTerrainCorrection(db, job(), ui, progress);
  EXPECT_TRUE(r.cancelled);
  EXPECT_FALSE(r.outcome.ok);
  for (const FieldDef& f : db.fields("重力")) EXPECT_NE(f.name, "TC");
}

TEST_F(TerrainTool, RefusalsLeaveTheTableAsItWas) {
  ScriptedInteraction ui(std::deque<Answer>{});
  TerrainJob j = job();
  j.params.density = 0;
  EXPECT_EQ(runTerrainCorrection(db, j, ui).outcome.message, kMsgTrrBadDensity);
  j = job();
  j.params.outerRadius = -1;
  EXPECT_EQ(runTerrainCorrection(db, j, ui).outcome.message, kMsgTrrBadRadii);
  j = job();
  j.xField = "名";
  EXPECT_EQ(runTerrainCorrection(db, j, ui).outcome.message, std::string(kMsgTrrNotNumeric) + "名");
  j = job();
  test::writeFile(tmp.file("bad.asc"), "ncols 5\nnrows garbage\n");
  j.demPath = tmp.file("bad.asc");
  EXPECT_EQ(runTerrainCorrection(db, j, ui).outcome.message.rfind(kMsgTrrBadDem, 0), 0u);
  j.demPath = tmp.file("missing.grd");
  EXPECT_FALSE(runTerrainCorrection(db, j, ui).outcome.ok);
  j = job();
  j.table = "无此表";
  EXPECT_EQ(runTerrainCorrection(db, j, ui).outcome.message, kMsgTrrNoTable);
  for (const FieldDef& f : db.fields("重力")) EXPECT_NE(f.name, "TC");
}

TEST_F(TerrainTool, CommandLineCorrectsTheTable) {
  db = Database();  // the command opens the work area itself
  auto r =
      test::runCli("terrain --workarea " + tmp.str() + " --table 重力 --x X --y Y --h H --ba BA" +
                   " --dem " + tmp.file("dem.asc") + " --inner 0 --density 2.0");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find(kMsgTrrDone), std::string::npos);
  db = openWorkDatabase(tmp.dir());
  const double want = -prismGz(-50, -30, 10, 30, -60, 0, 2.0);
  EXPECT_NEAR(column("TC")[0], want, 1e-5);
  r = test::runCli("terrain --workarea " + tmp.str() + " --table 重力 --x X --y Y --dem " +
                   tmp.file("dem.asc") + " --density -1");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find(kMsgTrrBadDensity), std::string::npos);
}

}  // namespace
}  // namespace sarnoth::gravmag
