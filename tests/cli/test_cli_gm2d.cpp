// sarnoth-cli gm2d as a user drives it on the demo profile: the forward data file, an inversion
// by either method that lowers the misfit and saves the model, and the refusals.
#include <gtest/gtest.h>

#include <filesystem>

#include "gravmag/gm2d_demo.h"
#include "gravmag/gm2d_files.h"
#include "gravmag/gm2d_forward.h"
#include "test_support.h"
#include "workarea/scatter_file.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliGm2dTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_TRUE(createWorkArea(tmp_.str()).ok);
    ASSERT_TRUE(gm2d::writeGm2dDemo(tmp_.dir()));
  }
  test::CliResult cli(const std::string& args) {
    return test::runCli("gm2d " + args + " --workarea " + tmp_.str());
  }
  std::string prof(const std::string& name) const { return tmp_.dir() + "Prof_Dat/" + name; }
  test::TempDir tmp_;
};

TEST_F(CliGm2dTest, ForwardWritesTheCalculatedDataOfTheTrueModel) {
  test::CliResult r = cli(std::string("forward ") + gm2d::kDemoTrueModel + " --stations " +
                          gm2d::kDemoProfile + " -o calc.dat --terrain " + gm2d::kDemoTerrain);
  ASSERT_EQ(r.status, 0) << r.out;
  // The demo data are the true model's field plus noise of 0.02 mGal and 1.5 nT.
  EXPECT_NE(r.out.find("重力 均方误差 0.0"), std::string::npos) << r.out;
  ScatterReadResult s = readAsciiScatter(prof("calc.dat"));
  ASSERT_TRUE(s.ok());
  EXPECT_EQ(s.file.recordCount, 201);
  EXPECT_EQ(s.file.fieldCount(), 2 + 4 + 4 + 3 + 3);
}

TEST_F(CliGm2dTest, BothMethodsInvertTheStartingModel) {
  gm2d::Profile p;
  gm2d::Model start;
  ASSERT_TRUE(gm2d::readObserved(prof(gm2d::kDemoProfile), p));
  ASSERT_TRUE(gm2d::readModel(prof(gm2d::kDemoStartModel), start));
  const double before = gm2d::rmsMisfit(
      p.gravity, gm2d::computeField(start, p.x, p.elevation, gm2d::FieldKind::Gravity).total);
  for (const char* method : {"cholesky", "svd"}) {
    test::CliResult r =
        cli(std::string("invert ") + gm2d::kDemoStartModel + " --stations " + gm2d::kDemoProfile +
            " --field gravity --method " + method + " -o out.mo2 --dat out.dat");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("迭代 1"), std::string::npos);
    EXPECT_NE(r.out.find("反演结束"), std::string::npos);
    gm2d::Model m;
    ASSERT_TRUE(gm2d::readModel(prof("out.mo2"), m));
    const double after = gm2d::rmsMisfit(
        p.gravity, gm2d::computeField(m, p.x, p.elevation, gm2d::FieldKind::Gravity).total);
    EXPECT_LT(after, 0.1 * before) << method;
    EXPECT_TRUE(fs::exists(prof("out.dat")));
  }
}

TEST_F(CliGm2dTest, RefusesWrongFilesAndOptions) {
  test::CliResult r = cli(std::string("forward ") + gm2d::kDemoProfile + " --stations " +
                          gm2d::kDemoProfile + " -o x.dat");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find(gm2d::kMsgNotModel), std::string::npos);
  r = cli(std::string("invert ") + gm2d::kDemoTrueModel + " --stations " + gm2d::kDemoProfile +
          " -o x.mo2");
  EXPECT_NE(r.status, 0);  // nothing chosen in the true model
  EXPECT_NE(r.out.find("请先选择参加反演的模型"), std::string::npos);
  r = cli(std::string("invert ") + gm2d::kDemoStartModel + " --stations " + gm2d::kDemoProfile +
          " -o x.mo2 --method lu");
  EXPECT_NE(r.status, 0);
  EXPECT_FALSE(fs::exists(prof("x.mo2")));
}

}  // namespace
}  // namespace sarnoth
