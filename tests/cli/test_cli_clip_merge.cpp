// sarnoth-cli clip, merge, gridsmooth and gridoverlay as a user drives them on the demo work area.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

// Two rectangles inside the demo survey, the second written with its closing vertex.
constexpr const char* kRectangles =
    "#SRNTHCRDGP#\r\nPR 1 4\r\n502000 3352000\r\n508000 3352000\r\n508000 3358000\r\n"
    "502000 3358000\r\nPR 2 5 note\r\n512000,3360000\r\n518500,3360000\r\n518500,3368000\r\n"
    "512000,3368000\r\n512000,3360000\r\n#ENDDATA#\r\n";

class CliClipMergeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_EQ(test::runCli("workarea demo " + tmp_.str()).status, 0);
    test::writeFile(tmp_.file("two.gph"), kRectangles);
  }
  test::CliResult cli(const std::string& args) {
    return test::runCli(args + " --workarea " + tmp_.str());
  }
  std::int64_t count(const std::string& sql) {
    Database db = openWorkDatabase(tmp_.dir());
    return static_cast<std::int64_t>(valueToDouble(db.scalar(sql)));
  }
  test::TempDir tmp_;
};

TEST_F(CliClipMergeTest, ClipTableKeepsWhatTheRectanglesHold) {
  const std::int64_t inside = count(
      "Select Count(*) From [水系沉积物测量] Where ([横坐标] Between 502000 And 508000 And "
      "[纵坐标] Between 3352000 And 3358000) Or ([横坐标] Between 512000 And 518500 And "
      "[纵坐标] Between 3360000 And 3368000)");
  const std::int64_t all = count("Select Count(*) From [水系沉积物测量]");
  ASSERT_GT(inside, 100);
  test::CliResult r =
      cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("two.gph") + " --name 区内");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("kept:    " + std::to_string(inside)), std::string::npos) << r.out;
  EXPECT_EQ(count("Select Count(*) From [区内]"), inside);
  // Every numeric field came along, the text fields did not.
  Database db = openWorkDatabase(tmp_.dir());
  EXPECT_EQ(db.fields("区内").size(), 14u);
  db.close();

  // An existing name needs --yes; the outside goes the other way.
  r = cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("two.gph") +
          " --name 区内 --outside");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("结果表名已存在,是否覆盖?"), std::string::npos) << r.out;
  r = cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("two.gph") +
          " --name 区内 --outside --yes");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(count("Select Count(*) From [区内]"), all - inside);

  // In place: the source keeps the inside only.
  r = cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("two.gph") + " --in-place");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(count("Select Count(*) From [水系沉积物测量]"), inside);

  test::writeFile(tmp_.file("bad.gph"), "#SRNTHCRDGX#\n#ENDDATA#\n");
  r = cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("bad.gph"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("非 Sarnoth 坐标数据文件,请检查."), std::string::npos) << r.out;
}

TEST_F(CliClipMergeTest, GridsAreClippedSmoothedAndOverlaid) {
  ASSERT_EQ(cli("gridding --table 水系沉积物测量 --value Cu --method mean --dx 500 --radius 1500 "
                "-o cu")
                .status,
            0);
  test::CliResult r = cli("clip grid cu --gph " + tmp_.file("two.gph") + " --name cu_cut");
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string cut = test::readFile(tmp_.file("Grid_dat/cu_cut.grd"));
  const std::string src = test::readFile(tmp_.file("Grid_dat/cu.grd"));
  // The header as it stood; the nodes (and nothing after them but the end mark) clipped.
  ASSERT_GT(cut.size(), 109u);
  EXPECT_EQ(cut.substr(0, 100), src.substr(0, 100));
  EXPECT_EQ(cut.substr(cut.size() - 9), "#ENDDATA#");
  EXPECT_NE(cut.substr(100, cut.size() - 109), src.substr(100, cut.size() - 109));

  r = cli("gridsmooth cu -o cu_s --method median --window 5 --passes 2");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(test::readFile(tmp_.file("Grid_dat/cu_s.grd")).substr(0, 22), "#DMX10GRIDB#GridToGrid");
  r = cli("gridoverlay cu cu_s --op diff -o cu_res");
  ASSERT_EQ(r.status, 0) << r.out;
  r = cli("gridoverlay cu cu_s --op wsum --weights 1 -o x");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("权系数的个数必须与网格数据文件的个数相同."), std::string::npos) << r.out;
}

TEST_F(CliClipMergeTest, MergesDownAndSpecial) {
  ASSERT_EQ(cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("two.gph") +
                " --name 区内 --vars Au,Cu")
                .status,
            0);
  ASSERT_EQ(cli("clip table --table 水系沉积物测量 --gph " + tmp_.file("two.gph") +
                " --name 区外 --vars Au,Cu --outside")
                .status,
            0);
  test::CliResult r = cli("merge down 区内 区外 --name 全部");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("合并成功: 全部"), std::string::npos) << r.out;
  EXPECT_EQ(count("Select Count(*) From [全部]"), count("Select Count(*) From [水系沉积物测量]"));
  // Keyed on both coordinates, the two halves share no record.
  r = cli("merge special 区内 区外 --keys 横坐标,纵坐标 --name 拼接");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("matched:     0"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("区内_Au"), std::string::npos) << r.out;
  EXPECT_EQ(count("Select Count(*) From [拼接]"), count("Select Count(*) From [全部]"));
  r = cli("merge right 全部 区内 --fields1 Au --fields2 Cu --name 右");  // table 2 is shorter
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("数据合并错. "), std::string::npos) << r.out;
  r = cli("merge special 区内 区外 --keys 横坐标 --name 拼接");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("新数据表名已存在, 请另输一个表名."), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth
