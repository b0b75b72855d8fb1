// sarnoth-cli scatter / gph / palette as a user drives them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "test_support.h"
#include "workarea/grid_file.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliScatterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
  }
  std::string p(const std::string& name) const { return tmp_.file(name); }
  test::TempDir tmp_;
};

TEST_F(CliScatterTest, ConvertsBetweenFormsAndGradesWithTheShippedRamp) {
  std::ofstream(p("in.csv")) << "X,Y,Au\n1,2,0.5\n3,4,\n5,6,12.25\n";
  ASSERT_EQ(
      test::runCli("scatter convert " + p("in.csv") + " " + p("a.dat") + " --to binary").status, 0);
  ASSERT_EQ(test::runCli("scatter convert " + p("a.dat") + " " + p("a.txt") + " --to ascii").status,
            0);
  ASSERT_EQ(
      test::runCli("scatter convert " + p("a.txt") + " " + p("b.dat") + " --to binary").status, 0);
  EXPECT_EQ(test::readFile(p("a.dat")), test::readFile(p("b.dat")));
  test::CliResult info = test::runCli("scatter info " + p("b.dat"));
  EXPECT_NE(info.out.find("points:      3"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("Au\t2 values\t0.5 .. 12.25"), std::string::npos) << info.out;

  test::CliResult g =
      test::runCli("palette grade --mode equal --scatter " + p("b.dat") +
                   " --field Au --min 0 --max 12 --interval 4 --decimals 1 --save " + p("g.pal"));
  ASSERT_EQ(g.status, 0) << g.out;
  EXPECT_NE(g.out.find("0\t4.0\t260\t#"), std::string::npos) << g.out;
  EXPECT_NE(g.out.find("2\t12.0\t"), std::string::npos) << g.out;
  EXPECT_NE(test::readFile(p("g.pal")).find("3\r\n4.0,260\r\n8.0,"), std::string::npos);

  // The nodes of a grid, nulls left out of the range.
  GridHeader h;
  h.nx = 2;
  h.ny = 2;
  std::vector<float> nodes{1, 5, NULL_VALUE, 9};
  recomputeGridStats(h, nodes);
  ASSERT_TRUE(writeGrid(p("g.grd"), kGridMagicB, "t", h, nodes));
  test::CliResult fromGrid =
      test::runCli("palette grade --mode equal --interval 4 --decimals 0 --grid " + p("g.grd"));
  ASSERT_EQ(fromGrid.status, 0) << fromGrid.out;
  EXPECT_NE(fromGrid.out.find("MIN: 1"), std::string::npos) << fromGrid.out;
  EXPECT_NE(fromGrid.out.find("1	9	"), std::string::npos) << fromGrid.out;

  test::CliResult refused =
      test::runCli("palette grade --mode log --min 1 --max 1000 --interval 0");
  EXPECT_NE(refused.status, 0);
  EXPECT_NE(refused.out.find("对数分级间隔不能小于等于 0 或大于 1."), std::string::npos);

  std::ofstream(p("bad.gph")) << "#SRNTHCRDGP#\nPR 1 2\n0 0\n1 1\n";
  test::CliResult gph = test::runCli("gph info --polygons " + p("bad.gph"));
  EXPECT_NE(gph.status, 0);
  EXPECT_NE(gph.out.find("读数据文件错."), std::string::npos) << gph.out;
}

}  // namespace
}  // namespace sarnoth
