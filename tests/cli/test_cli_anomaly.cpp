// sarnoth-cli anomaly and fractal as a user drives them: the report on a small table, the rich
// text and the picture they save, and the refusals.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/rtf_text.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliAnomalyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_TRUE(createWorkArea(tmp_.str()).ok);
    Database db = openWorkDatabase(tmp_.dir());
    db.execute("Create Table [点] ([Au] SINGLE, [Cu] SINGLE)");
    for (int i = 1; i <= 64; ++i)
      db.execute("Insert Into [点] Values (?, ?)",
                 {Value(i <= 5 ? double(i) : NULL_VALUE_D), Value(2.0 * i)});
    db.close();
  }
  test::CliResult cli(const std::string& args) {
    return test::runCli(args + " --workarea " + tmp_.str());
  }
  test::TempDir tmp_;
};

TEST_F(CliAnomalyTest, ReportAndRichText) {
  test::CliResult r =
      cli("anomaly --table 点 --fields Au --method percent --rtf " + tmp_.file("r.rtf"));
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string row =
      "Au               5   1.000     2.000     3.000     4.000       5.000     4.400\n";
  EXPECT_NE(r.out.find(row), std::string::npos) << r.out;
  const auto saved = rtfToText(test::readFile(tmp_.file("r.rtf")));
  ASSERT_TRUE(saved.has_value());
  EXPECT_EQ(*saved, r.out);

  r = cli("anomaly --table 点 --fields Au,Cu --method mean --k 3");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("Au               5       3.000       1.581       7.743"), std::string::npos)
      << r.out;
}

TEST_F(CliAnomalyTest, RefusalsCarryTheSystemsText) {
  test::CliResult r = cli("anomaly --table 点 --method mean");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("请选择元素项!"), std::string::npos) << r.out;
  r = cli("anomaly --table 点 --fields Au --method normal --m abc");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("计算参数错误。"), std::string::npos) << r.out;
  r = cli("anomaly --table 点 --fields Au --method kmeans");
  EXPECT_NE(r.status, 0);
  r = cli("anomaly --table 无 --fields Au");
  EXPECT_NE(r.status, 0);
  r = cli("fractal --table 点 --field Au --method 2");  // five values: no two scales
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("不能拟合分维值"), std::string::npos) << r.out;
  r = cli("fractal --table 点 --field Cu --method 7");
  EXPECT_NE(r.status, 0);
}

TEST_F(CliAnomalyTest, FractalSeriesAndPicture) {
  // Cu rises by 2 a record: a straight profile of 64 samples, dimension 1.
  test::CliResult r = cli("fractal --table 点 --field Cu --method 3 --plot " + tmp_.file("p.png"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("测量尺度        曲线长度\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("分维值： 1\n"), std::string::npos) << r.out;
  const std::string png = test::readFile(tmp_.file("p.png"));
  ASSERT_GT(png.size(), 8u);
  EXPECT_EQ(png.substr(1, 3), "PNG");

  // A plane grid by prisms, plotted as SVG on linear axes.
  GridHeader h;
  h.nx = 41;
  h.ny = 41;
  std::vector<float> z;
  for (int r0 = 0; r0 < 41; ++r0)
    for (int c = 0; c < 41; ++c) z.push_back(0.5f * c + 2.0f * r0);
  ASSERT_TRUE(writeGrid(tmp_.dir() + "Grid_dat/plane.grd", kGridMagicB, "t", h, z));
  r = cli("fractal --grid plane.grd --method 5 --axis 3 --plot " + tmp_.file("p.svg"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("plane.grd\n\n盒子尺度        曲线面积\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("分维值： 2\n"), std::string::npos) << r.out;
  EXPECT_NE(test::readFile(tmp_.file("p.svg")).find("棱锥底积"), std::string::npos);
}

}  // namespace
}  // namespace sarnoth
