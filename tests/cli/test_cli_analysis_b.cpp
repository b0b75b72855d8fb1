// sarnoth-cli trend, cokrige, sa-fractal and discriminate on the demo work area: each runs end to
// end, writes what it names, and refuses bad input with the system's text.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/grid_file.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliAnalysisTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_EQ(test::runCli("workarea demo " + tmp_.str()).status, 0);
  }
  std::string area() const { return " --workarea " + tmp_.str() + " --table 水系沉积物测量 "; }
  std::string grid(const std::string& name) const { return tmp_.str() + "/Grid_dat/" + name; }
  test::TempDir tmp_;
};

TEST_F(CliAnalysisTest, TrendWritesItsTableAndRefusesANameInUse) {
  const std::string args =
      "trend" + area() + "--x 横坐标 --y 纵坐标 --field Cu --out Cu趋势 --degree 2";
  test::CliResult r = test::runCli(args + " --grid residual");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out.rfind("   趋势面分析\n", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("结果数据表 Cu趋势: 3249 条记录"), std::string::npos) << r.out;
  EXPECT_TRUE(fs::exists(grid("Cu_R.grd")));
  test::CliResult again = test::runCli(args);
  EXPECT_NE(again.status, 0);
  EXPECT_NE(again.out.find("新数据表名已存在, 请另输一个表名."), std::string::npos) << again.out;
  EXPECT_NE(test::runCli(args + " --degree 8").out.find("趋势面次数必须是1到6的整数。"),
            std::string::npos);
}

TEST_F(CliAnalysisTest, CoKrigingThenFractalSeparationOfItsGrid) {
  test::CliResult r = test::runCli("cokrige" + area() +
                                   "--x 横坐标 --y 纵坐标 --primary Cu --secondary Mo --out CuCK "
                                   "--spacing 500 --neighbours 8");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("线性协同区域化模型"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("协同克里格:  平均误差="), std::string::npos);
  GridReadResult g = readGrid(grid("CuCK.grd"));
  ASSERT_TRUE(g.ok());
  EXPECT_EQ(g.grid.header.magic, "#HLTWRGRIDB#");
  EXPECT_EQ(g.grid.header.nx, 41);

  test::CliResult same = test::runCli("cokrige" + area() +
                                      "--x 横坐标 --y 纵坐标 --primary Cu --secondary Cu --out X");
  EXPECT_NE(same.status, 0);
  EXPECT_NE(same.out.find("协同变量不能与主变量相同。"), std::string::npos) << same.out;

  test::CliResult sa = test::runCli("sa-fractal --workarea " + tmp_.str() +
                                    " --grid CuCK --out CuSA --plot " + tmp_.file("sa.svg"));
  ASSERT_EQ(sa.status, 0) << sa.out;
  EXPECT_NE(sa.out.find("分界点1 (能谱)="), std::string::npos) << sa.out;
  EXPECT_TRUE(fs::exists(grid("CuSA_B.grd")));
  EXPECT_TRUE(fs::exists(grid("CuSA_A.grd")));
  EXPECT_GT(fs::file_size(tmp_.file("sa.svg")), 1000u);
  test::CliResult bad =
      test::runCli("sa-fractal --workarea " + tmp_.str() + " --grid CuCK --method ca --breaks 9,3");
  EXPECT_NE(bad.status, 0);
  EXPECT_NE(bad.out.find("分界点必须是一至两个递增的正数。"), std::string::npos) << bad.out;
}

TEST_F(CliAnalysisTest, DiscriminationReportsAndPredicts) {
  test::CliResult r = test::runCli("discriminate" + area() +
                                   "--group 地层 --vars Cu,Pb,Zn,Sn,W --levels auto "
                                   "--predict 水系沉积物测量");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("第2判别节点"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("留一法(交叉验证): 错判数="), std::string::npos);
  EXPECT_NE(r.out.find("结果数据项: 地层_P"), std::string::npos);
  test::CliResult bad =
      test::runCli("discriminate" + area() + "--group 地层 --vars Cu --fin 1 --fout 2");
  EXPECT_NE(bad.status, 0);
  EXPECT_NE(bad.out.find("F值必须是正数"), std::string::npos) << bad.out;
}

}  // namespace
}  // namespace sarnoth
