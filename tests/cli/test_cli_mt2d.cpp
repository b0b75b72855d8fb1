// sarnoth-cli mt2d as a user drives it: synthetic data from a model, an inversion of them with
// the outputs landing beside the basic file, the section files, and the refusals. The point-file
// writer's engine against a table.
#include <gtest/gtest.h>

#include <filesystem>

#include "electric/mt2d_data_input.h"
#include "electric/mt2d_demo.h"
#include "electric/mt2d_files.h"
#include "test_support.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;
using namespace electric;

class CliMt2d : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    Mt2dDemoSize z;
    z.sites = 5;
    z.frequencies = 4;
    z.siteSpacing = 1000;
    z.padColumns = 5;
    z.earthRows = 12;
    z.airRows = 4;
    z.blockSize = 3;
    set_ = makeMt2dDemoSet(z);
    set_.basic.maxIterations = 3;
    ASSERT_TRUE(writeMt2dBasic(tmp_.file("s.mt1"), set_.basic));
    ASSERT_TRUE(writeMt2dGrids(tmp_.file("s.mt2"), set_.mesh));
    ASSERT_TRUE(writeMt2dModel(tmp_.file("s.mt3"), set_.start));
    ASSERT_TRUE(writeMt2dPoints(tmp_.file("s.mt4"), set_.data));
  }
  test::CliResult cli(const std::string& args) { return test::runCli("mt2d " + args); }
  test::TempDir tmp_;
  Mt2dDemoSet set_;
};

TEST_F(CliMt2d, ForwardInvertAndSections) {
  // The starting model's responses as a TM point file: a uniform earth reads 100 Ω·m, 45°.
  auto r = cli("forward --grids " + tmp_.file("s.mt2") + " --model " + tmp_.file("s.mt3") +
               " --points " + tmp_.file("s.mt4") + " --mode tm -o " + tmp_.file("flat.mt4"));
  ASSERT_EQ(r.status, 0) << r.out;
  const auto flat = readMt2dPoints(tmp_.file("flat.mt4"));
  ASSERT_TRUE(flat) << flat.message;
  EXPECT_EQ(flat.value->mode, MtMode::TM);
  for (std::size_t i = 0; i < flat.value->tm.rho.size(); ++i) {
    EXPECT_NEAR(flat.value->tm.rho[i], 100.0, 0.01);
    EXPECT_NEAR(flat.value->tm.phase[i], 45.0, 0.01);
  }

  r = cli("invert --basic " + tmp_.file("s.mt1") + " --grids " + tmp_.file("s.mt2") + " --model " +
          tmp_.file("s.mt3") + " --points " + tmp_.file("s.mt4"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("Iteration   1"), std::string::npos);
  EXPECT_TRUE(fs::exists(tmp_.file("Field.tetm")));
  EXPECT_TRUE(fs::exists(tmp_.file("Mt2DInvOut.01")));
  const int n = countIterationLines(tmp_.file("Iteration.log"));
  ASSERT_GE(n, 1);

  r = cli("xyz --file " + tmp_.file(mt2dResultName(n)) + " --kind profile --km -o " +
          tmp_.file("p.xyz"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(test::readFile(tmp_.file("p.png")).substr(1, 3), "PNG");
  r = cli("xyz --file " + tmp_.file("Field.tetm") + " --kind phase --mode tm -o " +
          tmp_.file("ph.xyz"));
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string ph = test::readFile(tmp_.file("ph.xyz"));
  EXPECT_EQ(std::count(ph.begin(), ph.end(), '\n'), 5 * 4);
}

TEST_F(CliMt2d, RefusalsComeWithTheirMessages) {
  Mt2dBasic b = set_.basic;
  b.frequencies = 5;
  ASSERT_TRUE(writeMt2dBasic(tmp_.file("s.mt1"), b));
  auto r = cli("invert --basic " + tmp_.file("s.mt1") + " --grids " + tmp_.file("s.mt2") +
               " --model " + tmp_.file("s.mt3") + " --points " + tmp_.file("s.mt4"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("基本信息数据文件的频点数目 (5) 与测点路径数据文件 (4) 不一致"),
            std::string::npos)
      << r.out;
  EXPECT_FALSE(fs::exists(tmp_.file("Iteration.log")));
  r = cli("xyz --file " + tmp_.file("s.mt3") + " --kind res -o " + tmp_.file("x.xyz"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("不是大地电磁二维反演结果数据文件"), std::string::npos) << r.out;
}

TEST(Mt2dDataInput, TableRowsBecomeOneModesPointData) {
  test::TempDir tmp;
  ASSERT_TRUE(createWorkArea(tmp.str()).ok);
  Database db = openWorkDatabase(tmp.dir());
  db.execute("Create Table [mt] ([点] TEXT(10), [x] DOUBLE, [f] DOUBLE, [r] SINGLE, [p] SINGLE)");
  auto row = [&](const char* name, double x, double f, double rho, double pha) {
    db.execute("Insert Into [mt] Values (?, ?, ?, ?, ?)",
               {Value(std::string(name)), Value(x), Value(f), Value(rho), Value(pha)});
  };
  // B lies west of A; A lacks 1 Hz; a row without a frequency is passed over.
  row("A", 500, 10, 100, -135);
  row("B", -500, 10, 50, 40);
  row("B", -500, 1, 60, 50);
  row("A", 500, 0, 70, 45);
  const PointFields f{"mt", "点", "x", "f", "r", "p", "", ""};
  const auto d = pointDataFromTable(db, f, MtMode::TM);
  ASSERT_TRUE(d) << d.message;
  ASSERT_EQ(d.value->siteCount(), 2);
  EXPECT_EQ(d.value->sites[0].name, "B");
  EXPECT_EQ(d.value->frequencies, (std::vector<double>{10, 1}));
  EXPECT_DOUBLE_EQ(d.value->tm.rho[1], 60);
  EXPECT_FALSE(isMeasured(d.value->tm.rho[3]));  // A at 1 Hz
  EXPECT_DOUBLE_EQ(d.value->tm.phase[2], 45);    // −135° of Zyx folded
  EXPECT_EQ(pointDataFromTable(db, f, MtMode::Joint).message, kMsgWrongMode);

  Mt2dData te = *d.value;
  te.mode = MtMode::TE;
  te.te = te.tm;
  te.tm = {};
  EXPECT_EQ(joinPointData(*d.value, te).message, kMsgWrongMode);
  const auto joint = joinPointData(te, *d.value);
  ASSERT_TRUE(joint) << joint.message;
  EXPECT_EQ(joint.value->mode, MtMode::Joint);
  te.sites[1].position += 10;
  EXPECT_FALSE(joinPointData(te, *d.value));
}

}  // namespace
}  // namespace sarnoth
