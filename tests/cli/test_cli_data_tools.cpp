// sarnoth-cli import/export of tables through the system's scatter files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/scatter_file.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

TEST(CliDataTools, TablesGoOutAsScatterFilesAndComeBack) {
  if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
    GTEST_SKIP() << "sarnoth-cli not built";
  test::TempDir tmp;
  const std::string area = "--workarea " + tmp.file("area");
  ASSERT_EQ(test::runCli("workarea create " + tmp.file("area")).status, 0);
  std::ofstream(tmp.file("in.csv")) << "X,Y,Au,rock\n1,2,0.5,g\n3,4,,s\n5,6,12.25,g\n";
  auto r = test::runCli("import table " + tmp.file("in.csv") + " --name pts " + area);
  ASSERT_EQ(r.status, 0) << r.out;

  r = test::runCli("export table pts " + tmp.file("pts.dat") + " --format scatter-binary " + area);
  ASSERT_EQ(r.status, 0) << r.out;
  ScatterReadResult s = readBinaryScatter(tmp.file("pts.dat"));
  ASSERT_TRUE(s.ok());
  EXPECT_EQ(s.file.names, (std::vector<std::string>{"X", "Y", "Au"}));
  EXPECT_EQ(s.file.at(1, 2), NULL_VALUE);

  r = test::runCli("export table pts " + tmp.file("a.dat") +
                   " --format scatter-ascii --nulls-empty " + area);
  ASSERT_EQ(r.status, 0) << r.out;
  // As its help says: --nulls-empty leaves out the point that holds a null, and tells so.
  EXPECT_EQ(test::readFile(tmp.file("a.dat")).rfind("#SRNTHSCATA#\r\nC_FROMBASE\r\n2\r\n", 0), 0u);
  EXPECT_NE(r.out.find("有 1 个含空值的点未写出."), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("2 rows written"), std::string::npos) << r.out;

  // The binary file comes back in by its magic, though its suffix says text.
  r = test::runCli("import table " + tmp.file("pts.dat") + " --name back " + area);
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("3 rows"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("Au\tSINGLE"), std::string::npos) << r.out;

  r = test::runCli("export table pts " + tmp.file("x.dat") + " --format scatter-zip " + area);
  EXPECT_NE(r.status, 0);
}

// "xllcorner" is the first node for grid import and grid convert alike; --origin corner takes it
// as the outer corner of the lower-left cell, and anything else is refused.
TEST(CliDataTools, ArcViewOriginIsTheNodeUnlessCornerIsAsked) {
  if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
    GTEST_SKIP() << "sarnoth-cli not built";
  test::TempDir tmp;
  const std::string area = " --workarea " + tmp.file("area");
  ASSERT_EQ(test::runCli("workarea create " + tmp.file("area")).status, 0);
  std::ofstream(tmp.file("g.asc")) << "ncols 2\nnrows 2\nxllcorner 100\nyllcorner 200\n"
                                      "cellsize 4\n1 2\n3 4\n";
  ASSERT_EQ(test::runCli("grid import " + tmp.file("g.asc") + " --name node" + area).status, 0);
  ASSERT_EQ(test::runCli("grid import " + tmp.file("g.asc") + " --name cell --origin corner" + area)
                .status,
            0);
  GridReadResult node = readGrid(tmp.file("area/Grid_dat/node.grd"));
  GridReadResult cell = readGrid(tmp.file("area/Grid_dat/cell.grd"));
  ASSERT_TRUE(node.ok() && cell.ok());
  EXPECT_EQ(node.grid.header.x0, 100);
  EXPECT_EQ(node.grid.header.y0, 200);
  EXPECT_EQ(cell.grid.header.x0, 102);
  EXPECT_EQ(cell.grid.header.y0, 202);
  ASSERT_EQ(test::runCli("grid convert " + tmp.file("g.asc") + " " + tmp.file("c.grd") +
                         " --to binary --origin corner")
                .status,
            0);
  EXPECT_EQ(readGrid(tmp.file("c.grd")).grid.header.x0, 102);
  EXPECT_NE(
      test::runCli("grid import " + tmp.file("g.asc") + " --name x --origin centre" + area).status,
      0);
}

}  // namespace
}  // namespace sarnoth
