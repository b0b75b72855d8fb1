// sarnoth-cli project as a user drives it: a point, a table, a file, coordinate groups, the list
// of ready-made systems and the refusals.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "test_support.h"
#include "workarea/scatter_file.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliProjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
  }
  test::TempDir tmp;
};

TEST_F(CliProjectTest, PointsBothWaysAndTheRefusals) {
  // Reference: cs2cs, GRS 1980, tmerc lon_0 117 x_0 500000: 543006.8150 4374133.4769.
  test::CliResult r = test::runCli(
      "project point 117.5 39.5 --from proj=geo,ellps=10 --to proj=gk3,ellps=10,prefix");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out, "39543006.815 4374133.47689\n");
  r = test::runCli("project point 39543006.815 4374133.47689 --from EPSG:4527 --to EPSG:4490");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out, "117.5 39.5\n");
  r = test::runCli("project point 117.5 95 --from proj=geo,ellps=10 --to proj=gk3,ellps=10");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("该点超出投影范围, 不能转换."), std::string::npos) << r.out;
  r = test::runCli("project point 1 2 --from proj=gk3 --to proj=geo,ellps=10");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("输入坐标椭球参数不正确。"), std::string::npos) << r.out;
  r = test::runCli("project point 1 2 --from proj=gk3,ellps=10,unit=f:0 --to proj=geo,ellps=10");
  EXPECT_NE(r.out.find("输入单位比例因子不能小于等于 0。"), std::string::npos) << r.out;
  r = test::runCli("project point 1 2 --from EPSG:0 --to proj=geo,ellps=10");
  EXPECT_NE(r.out.find("未知坐标系统: EPSG:0"), std::string::npos) << r.out;
  r = test::runCli("project systems 3度带 39带");
  EXPECT_NE(r.out.find("CGCS2000 / 3-degree Gauss-Kruger zone 39\t"), std::string::npos) << r.out;
}

TEST_F(CliProjectTest, TableFileAndGroups) {
  const std::string area = tmp.file("area");
  ASSERT_EQ(test::runCli("workarea create " + area).status, 0);
  {
    Database db = openWorkDatabase(area + "/");
    db.execute("Create Table [点] ([E] DOUBLE, [N] DOUBLE)");
    db.execute("Insert Into [点] Values (117.5, 39.5)");
    db.execute("Insert Into [点] Values (117.5, -1E+38)");
  }
  test::CliResult r = test::runCli(
      "project table 点 --x E --y N --from proj=geo,ellps=10 "
      "--to proj=gk3,ellps=10,prefix --workarea " +
      area);
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("点: 坐标转换成功 !!"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("2 records, 0 could not be converted"), std::string::npos) << r.out;
  {
    Database db = openWorkDatabase(area + "/");
    EXPECT_EQ(valueToDouble(db.scalar("Select [N_Y] From [点] Where [E_X] > 0")),
              static_cast<double>(4374133.4769f));
  }
  r = test::runCli("project groups 点 --pairs E:N --new LO:LA --angle dd:dms --workarea " + area);
  ASSERT_EQ(r.status, 0) << r.out;
  {
    Database db = openWorkDatabase(area + "/");
    EXPECT_NEAR(valueToDouble(db.scalar("Select [LO] From [点] Where [LA] > 0")), 117.30, 1e-9);
  }

  ScatterFile f;
  f.magic = kScatMagicB;
  f.origin = kScatOriginFromBase;
  f.names = {"X", "Y"};
  f.values = {117.5f, 39.5f};
  f.recordCount = 1;
  ASSERT_EQ(writeBinaryScatter(tmp.file("in.dat"), f), ScatterError::None);
  r = test::runCli("project file " + tmp.file("in.dat") + " " + tmp.file("out.dat") +
                   " --from proj=geo,ellps=10 --to proj=gk3,ellps=10,unit=km");
  ASSERT_EQ(r.status, 0) << r.out;
  ScatterReadResult out = readBinaryScatter(tmp.file("out.dat"));
  ASSERT_TRUE(out.ok());
  EXPECT_NEAR(out.file.at(0, 0), 543.006815f, 1e-4);
  std::ofstream(tmp.file("bad.gph")) << "#SRNTHSCATA#\n#ENDDATA#\n";
  r = test::runCli("project file " + tmp.file("bad.gph") + " " + tmp.file("x.gph") +
                   " --from proj=geo,ellps=10 --to proj=gk3,ellps=10");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("读数据错误."), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth
