// What sarnoth-cli refuses, and says, where it used to carry on: names that leave their folder,
// table lists with commas, unknown columns and types, numbers that are not numbers.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "test_support.h"
#include "workarea/grid_file.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliRefusalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_EQ(test::runCli("workarea demo " + tmp_.file("area")).status, 0);
    area_ = " --workarea " + tmp_.file("area");
  }
  test::CliResult cli(const std::string& args) { return test::runCli(args + area_); }
  test::TempDir tmp_;
  std::string area_;
};

// A grid or table name with a path separator, or of blanks only, is refused with a message and
// writes nothing, inside the work area or out of it.
TEST_F(CliRefusalTest, NamesThatLeaveTheirFolderOrAreBlankAreRefused) {
  std::ofstream(tmp_.file("g.asc")) << "ncols 2\nnrows 2\nxllcorner 0\nyllcorner 0\ncellsize 1\n"
                                       "1 2\n3 4\n";
  test::CliResult r = cli("grid import " + tmp_.file("g.asc") + " --name ../../escaped");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("网格数据文件名不能含有路径分隔符"), std::string::npos) << r.out;
  r = cli("gridding --table 水系沉积物测量 --value Cu --dx 500 -o ../../escaped");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("网格数据文件名不能含有路径分隔符"), std::string::npos) << r.out;
  EXPECT_FALSE(fs::exists(tmp_.file("escaped.grd")));
  EXPECT_FALSE(fs::exists(fs::path(tmp_.str()).parent_path() / "escaped.grd"));

  std::ofstream(tmp_.file("t.csv")) << "a,b\n1,2\n";
  r = cli("import table " + tmp_.file("t.csv") + " --name '   '");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("请输入新数据表名."), std::string::npos) << r.out;
  r = cli("grid2table " + tmp_.file("area/Grid_dat/none.grd") + " --name 'a/b'");
  EXPECT_NE(r.status, 0);
}

// A table whose name holds a comma is removed whole; a name that is not there is refused before
// anything is removed.
TEST_F(CliRefusalTest, CleanUpTakesNamesWithCommasAndRefusesUnknownOnes) {
  std::ofstream(tmp_.file("t.csv")) << "a\n1\n";
  ASSERT_EQ(cli("import table " + tmp_.file("t.csv") + " --name 'Cu,Pb 结果'").status, 0);
  ASSERT_EQ(cli("import table " + tmp_.file("t.csv") + " --name Zn").status, 0);
  test::CliResult r = cli("workarea clean --remove '不存在的表,Zn' --yes");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("数据表不存在: 不存在的表"), std::string::npos) << r.out;
  EXPECT_EQ(cli("tables fields Zn").status, 0) << "Zn must still be there";
  r = cli("workarea clean --remove 'Cu,Pb 结果,Zn' --yes");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(cli("tables fields 'Cu,Pb 结果'").status, 0);
  EXPECT_NE(cli("tables fields Zn").status, 0);
}

TEST_F(CliRefusalTest, ImportRefusesUnknownColumnsAndTypes) {
  std::ofstream(tmp_.file("t.csv")) << "x,Au\n1,2\n";
  test::CliResult r = cli("import table " + tmp_.file("t.csv") + " --name t --type x=BOGUS");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("不支持的字段类型: BOGUS"), std::string::npos) << r.out;
  r = cli("import table " + tmp_.file("t.csv") + " --name t --type y=SINGLE");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("源数据中没有字段: y"), std::string::npos) << r.out;
  r = cli("import table " + tmp_.file("t.csv") + " --name t --skip Cu");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("源数据中没有字段: Cu"), std::string::npos) << r.out;
  EXPECT_NE(cli("tables fields t").status, 0);  // nothing was made
  r = cli("import table " + tmp_.file("t.csv") + " --name t --type x=LONG --skip Au");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("x\tLONG"), std::string::npos) << r.out;
}

// The engine parses the kriging parameters for both front ends: "abc" is no threshold of 0.
TEST_F(CliRefusalTest, GriddingRefusesParametersThatAreNotNumbers) {
  const std::string base = "gridding --table 水系沉积物测量 --value Cu --dx 500 ";
  test::CliResult r = cli(base + "--method kriging --kriging indicator --params 20,abc,60 -o ik");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("网格化数据处理错,请检查."), std::string::npos) << r.out;
  EXPECT_FALSE(fs::exists(tmp_.file("area/Grid_dat/ik.grd")));
  r = cli(base + "--method idw --par two -o idw");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("--par: not a number: two"), std::string::npos) << r.out;
  ASSERT_EQ(cli(base + "--method kriging --kriging indicator --params 20,40,60 -o ik").status, 0);
}

// A grid cut short is named as such by every command, and a header without a spacing is refused
// where the file is read instead of printing NAN or writing xmin = xmax.
TEST_F(CliRefusalTest, TruncatedGridsAndGridsWithoutASpacingAreNamed) {
  Grid g;
  g.header.nx = 4;
  g.header.ny = 3;
  g.header.dx = g.header.dy = 10;
  g.nodes.assign(12, 1.5f);
  recomputeGridStats(g.header, g.nodes);
  ASSERT_TRUE(writeGrid(tmp_.file("ok.grd"), kGridMagicB, "t", g.header, g.nodes));
  test::writeFile(tmp_.file("cut.grd"), test::readFile(tmp_.file("ok.grd")).substr(0, 120));
  for (const std::string& cmd :
       {"render grid " + tmp_.file("cut.grd") + " -o " + tmp_.file("x.bmp"),
        "grid2table " + tmp_.file("cut.grd") + " --name cut"}) {
    test::CliResult r = cli(cmd);
    EXPECT_NE(r.status, 0) << cmd;
    EXPECT_NE(r.out.find(kMsgGridTruncated), std::string::npos) << cmd << "\n" << r.out;
  }
  g.header.dx = std::numeric_limits<float>::quiet_NaN();
  ASSERT_TRUE(writeGrid(tmp_.file("nan.grd"), kGridMagicB, "t", g.header, g.nodes));
  test::CliResult r = test::runCli("grid info " + tmp_.file("nan.grd"));
  EXPECT_NE(r.status, 0);
  EXPECT_EQ(r.out.find("NAN"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("nan"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find(kMsgGridBadHeader), std::string::npos) << r.out;
  r = test::runCli("grid convert " + tmp_.file("nan.grd") + " " + tmp_.file("s.grd") +
                   " --to surfer");
  EXPECT_NE(r.status, 0);
  EXPECT_FALSE(fs::exists(tmp_.file("s.grd")));
}

}  // namespace
}  // namespace sarnoth
