// sarnoth-cli gridding as a user drives it on the demo work area.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliGriddingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_EQ(test::runCli("workarea demo " + tmp_.str()).status, 0);
  }
  std::string grid(const std::string& opts) {
    return "gridding --workarea " + tmp_.str() + " --table 水系沉积物测量 --dx 500 " + opts;
  }
  test::TempDir tmp_;
};

TEST_F(CliGriddingTest, KrigingReportsItsVariogramAndAsksBeforeOverwriting) {
  test::CliResult k = test::runCli(grid("--value Cu --method kriging --par 12 -o cu"));
  ASSERT_EQ(k.status, 0) << k.out;
  EXPECT_NE(k.out.find("variogram: spherical nugget="), std::string::npos) << k.out;
  EXPECT_TRUE(fs::exists(tmp_.file("Grid_dat/cu.grd")));
  // Without --yes the question is answered No: nothing changes, a non-zero status.
  test::CliResult again = test::runCli(grid("--value Cu --method mean -o cu"));
  EXPECT_NE(again.status, 0);
  EXPECT_NE(again.out.find("工作区网格数据文件:cu.grd 已存在,要覆盖吗??"), std::string::npos)
      << again.out;
  test::CliResult ik =
      test::runCli(grid("--value Cu --method kriging --kriging indicator --params 20,40 -o ik"));
  EXPECT_NE(ik.status, 0);
  EXPECT_NE(ik.out.find("请输入至少三个参数！"), std::string::npos) << ik.out;
  test::CliResult bad = test::runCli(grid("--value Cu --method bicubic -o x"));
  EXPECT_NE(bad.status, 0);
}

}  // namespace
}  // namespace sarnoth
