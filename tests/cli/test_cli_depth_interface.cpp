// sarnoth-cli depth and interface as a user drives them: a profile of the work area's Prof_Dat
// over a dipole gives its depth, the table and the plots; an anomaly grid of Grid_Dat over a
// buried slab step gives an interface grid and its fit; bad options are refused.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "gravmag/interface_inversion.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/scatter_file.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliDepthInterfaceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_TRUE(createWorkArea(tmp_.str()).ok);
  }
  test::CliResult cli(const std::string& args) {
    return test::runCli(args + " --workarea " + tmp_.str());
  }
  test::TempDir tmp_;
};

TEST_F(CliDepthInterfaceTest, DepthOfADipoleFromAProfile) {
  // ΔZ of a vertical dipole 15 m down under distance 100, with its vertical gradient.
  auto field = [](double x, double z) {
    const double u = x - 100, d = 15 - z, r2 = u * u + d * d;
    return 1e6 * (2 * d * d - u * u) / std::pow(r2, 2.5);
  };
  ScatterFile f;
  f.magic = "#SRNTHPROFA#";
  f.origin = "C-Data";
  f.names = {"DIST", "DZ", "DZZ"};
  for (int i = 0; i <= 200; ++i) {
    f.values.insert(f.values.end(),
                    {static_cast<float>(i), static_cast<float>(field(i, 0)),
                     static_cast<float>((field(i, 1e-3) - field(i, -1e-3)) / 2e-3)});
    ++f.recordCount;
  }
  ASSERT_EQ(writeAsciiScatter(tmp_.dir() + "Prof_Dat/line.prf", f), ScatterError::None);
  const test::CliResult r =
      cli("depth line.prf --x DIST --value DZ --tz DZZ --window 11 --index 3 --table EUL1 "
          "--plot " +
          tmp_.file("d.png") + " --plot-profile " + tmp_.file("p.svg"));
  ASSERT_EQ(r.status, 0) << r.out;
  const auto at = r.out.find("深度中值: ");
  ASSERT_NE(at, std::string::npos) << r.out;
  EXPECT_NEAR(std::stod(r.out.substr(at + std::string("深度中值: ").size())), 15.0, 0.75);
  EXPECT_TRUE(fs::exists(tmp_.file("d.png")));
  EXPECT_NE(test::readFile(tmp_.file("p.svg")).find("<svg"), std::string::npos);
  Database db = openWorkDatabase(tmp_.dir());
  EXPECT_GT(valueToDouble(db.scalar("SELECT Count(*) FROM [EUL1]")), 5.0);
  // Again without --yes: the table stands and the run is refused.
  EXPECT_NE(cli("depth line.prf --x DIST --value DZ --tz DZZ --table EUL1").status, 0);
  const test::CliResult bad = cli("depth line.prf --x DIST --value DZ --method magic");
  EXPECT_NE(bad.status, 0);
  EXPECT_NE(bad.out.find("unknown --method"), std::string::npos);
  EXPECT_NE(cli("depth line.prf --x DIST --value DZ --window 1").out.find("窗口点数"),
            std::string::npos);
}

TEST_F(CliDepthInterfaceTest, InterfaceOfAGravityGrid) {
  // The anomaly of a smooth relief by the tool's own forward series (the inversion's accuracy is
  // tested against prisms elsewhere): here the command's plumbing, files and report.
  const int n = 64;
  std::vector<float> h(n * n);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c)
      h[r * n + c] = static_cast<float>(
          300 * std::exp(-((c - 31.5) * (c - 31.5) + (r - 31.5) * (r - 31.5)) / 80.0));
  gravmag::InterfaceParams p;
  p.referenceDepth = 4000;
  p.passWavelength = 12000;
  p.cutWavelength = 8000;
  Grid g;
  g.header.nx = g.header.ny = n;
  g.header.dx = g.header.dy = 1000;
  g.nodes = gravmag::interfaceAnomaly(h, n, n, 1000, 1000, p);
  ASSERT_EQ(g.nodes.size(), h.size());
  recomputeGridStats(g.header, g.nodes);
  ASSERT_TRUE(writeGrid(tmp_.dir() + "Grid_dat/bouguer.grd", kGridMagicB, "t", g.header, g.nodes));
  const test::CliResult r =
      cli("interface --grid bouguer --depth 4000 --pass 12000 --cut 8000 "
          "--criterion 0.1 -o " +
          tmp_.file("z.grd") + " --fit " + tmp_.file("f.grd"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("已收敛"), std::string::npos) << r.out;
  const GridReadResult z = readGrid(tmp_.file("z.grd"));
  ASSERT_TRUE(z.ok());
  EXPECT_NEAR(z.grid.header.zMax - z.grid.header.zMin, 300.0, 15.0);
  EXPECT_TRUE(readGrid(tmp_.file("f.grd")).ok());
  EXPECT_NE(cli("interface --grid bouguer -o " + tmp_.file("y.grd") + " --kind rock").status, 0);
  const test::CliResult cut =
      cli("interface --grid bouguer -o " + tmp_.file("y.grd") + " --pass 1000 --cut 2000");
  EXPECT_NE(cut.status, 0);
  EXPECT_NE(cut.out.find(gravmag::kMsgInterfaceBadFilter), std::string::npos);
}

}  // namespace
}  // namespace sarnoth
