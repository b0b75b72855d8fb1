// sarnoth-cli igrf, igrf-reduce and background as a user drives them: a point and a file of
// points through the reference field, a table reduced by it, a background fitted to a table;
// and the refusals, which print the system's message and write nothing.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "gravmag/igrf_model.h"
#include "test_support.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliIgrfTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_TRUE(createWorkArea(tmp_.str()).ok);
  }
  test::CliResult cli(const std::string& args) {
    return test::runCli(args + " --workarea " + tmp_.str());
  }
  std::string prof(const std::string& name) const { return tmp_.dir() + "Prof_Dat/" + name; }
  // A registered table of three single fields.
  void table(const std::string& name, const char* const (&fields)[3],
             const std::vector<std::array<double, 3>>& rows) {
    Database db = openWorkDatabase(tmp_.dir());
    db.execute("Create Table [" + name + "] ([" + fields[0] + "] Single, [" + fields[1] +
               "] Single, [" + fields[2] + "] Single)");
    TableWriter w(db, name, {fields[0], fields[1], fields[2]});
    for (const auto& r : rows) {
      for (int c = 0; c < 3; ++c) w.setDouble(c, r[static_cast<std::size_t>(c)]);
      w.addRow();
    }
    w.commit();
    ScriptedInteraction ui;
    registerTable(db, name, {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, ui);
  }
  // The number printed after `label` on the line that starts with it.
  static double printed(const std::string& out, const std::string& label) {
    const std::size_t p = out.find("\n" + label);
    if (p == std::string::npos) return NAN;
    return std::strtod(out.c_str() + p + 1 + label.size(), nullptr);
  }
  test::TempDir tmp_;
};

TEST_F(CliIgrfTest, OnePointPrintsTheElementsOfTheChosenGeneration) {
  const std::string res = std::string(SARNOTH_SOURCE_DIR) + "/resources/";
  const gravmag::GeomagField ten = gravmag::igrfField(
      gravmag::igrfModel(res, gravmag::IgrfGeneration::Tenth), 2003.7, 30.5, 114.3, 0.5);
  const gravmag::GeomagField fourteen = gravmag::igrfField(
      gravmag::igrfModel(res, gravmag::IgrfGeneration::Fourteenth), 2024.25, -33.9, 18.4, 0.0);

  test::CliResult r = cli("igrf --date 2003.7 --lat 30.5 --lon 114.3 --height 500");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("IGRF 10th"), std::string::npos) << r.out;
  EXPECT_NEAR(printed(r.out, "F "), ten.main.f, 0.051) << r.out;
  EXPECT_NEAR(printed(r.out, "Z "), ten.main.z, 0.051);
  EXPECT_NEAR(printed(r.out, "D "), ten.main.declination, 5e-5);

  r = cli("igrf --date 2024.25 --lat -33.9 --lon 18.4 --generation 14");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NEAR(printed(r.out, "F "), fourteen.main.f, 0.051) << r.out;
  EXPECT_NEAR(printed(r.out, "I "), fourteen.main.inclination, 5e-5);
}

TEST_F(CliIgrfTest, BadPointsGetTheMessage) {
  const std::pair<const char*, const char*> bad[] = {
      {"igrf --date 2000 --lat 90.5 --lon 100", "测区纬度度数输入错误。"},
      {"igrf --date 2000 --lat -91 --lon 100", "测区纬度度数输入错误。"},
      {"igrf --date 2010.5 --lat 30 --lon 100", "此程序只能计算公元1900到2010年的地磁要素。"},
      {"igrf --date 2030.5 --lat 30 --lon 100 --generation 14",
       "此程序只能计算公元1900到2030年的地磁要素。"},
      {"igrf --date 1899.9 --lat 30 --lon 100 --generation 14",
       "此程序只能计算公元1900到2030年的地磁要素。"},
      {"igrf --date 2000 --lat 30 --lon 100 --height -1000001", "地形高程输入错误。"},
  };
  for (const auto& [args, message] : bad) {
    const test::CliResult r = cli(args);
    EXPECT_NE(r.status, 0) << args;
    EXPECT_NE(r.out.find(message), std::string::npos) << args << "\n" << r.out;
  }
  // The edges are accepted.
  EXPECT_EQ(cli("igrf --date 2010 --lat -90 --lon 0 --height -999999").status, 0);
  EXPECT_EQ(cli("igrf --date 1900 --lat 90 --lon 0").status, 0);
}

TEST_F(CliIgrfTest, AFileOfPointsGivesTheResultFileAndABadOneNothing) {
  test::writeFile(prof("pts.dat"),
                  utf8ToGbk("#SRNTHSCATA#\r\nS\r\n2\r\n-1E+38\r\n4\r\n经度 纬度 高程 时间\r\n"
                            "116.30 39.54 50 2005.5\r\n100.57 30.00 0 2000.0\r\n#ENDDATA#\r\n"));
  const std::string out = prof("res.dat");
  test::CliResult r = cli("igrf --file pts.dat -o " + out);
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("地磁要素计算完毕。"), std::string::npos);
  const std::string text = gbkToUtf8(test::readFile(out));
  EXPECT_EQ(text.rfind("#SRNTHSCATA#\r\nS\r\n2\r\n-1E+38\r\n11\r\n", 0), 0u) << text;
  EXPECT_NE(text.find("\r\n100.5700      30.0000      .00      2000.00      "), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 11), "#ENDDATA#\r\n");

  // Latitude 95 in the second row; a date beyond 2010 for the 10th generation.
  const std::pair<const char*, const char*> bad[] = {
      {"116.30 39.54 50 2005.5\r\n100.57 95.00 0 2000.0\r\n", "测区纬度度数输入错误。"},
      {"116.30 39.54 50 2011.5\r\n100.57 30.00 0 2000.0\r\n",
       "此程序只能计算公元1900到2010年的地磁要素值。"},
  };
  for (const auto& [rows, message] : bad) {
    test::writeFile(prof("bad.dat"),
                    utf8ToGbk(std::string("#SRNTHSCATA#\r\nS\r\n2\r\n-1E+38\r\n4\r\n"
                                          "经度 纬度 高程 时间\r\n") +
                              rows + "#ENDDATA#\r\n"));
    const std::string badOut = prof("bad_res.dat");
    r = cli("igrf --file bad.dat -o " + badOut);
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.out.find(message), std::string::npos) << r.out;
    EXPECT_FALSE(fs::exists(badOut));
  }
}

TEST_F(CliIgrfTest, ReduceATableByTheFieldOfItsPoints) {
  const gravmag::IgrfModel& m = gravmag::igrfModel(std::string(SARNOTH_SOURCE_DIR) + "/resources/",
                                                   gravmag::IgrfGeneration::Fourteenth);
  std::vector<std::array<double, 3>> rows;
  for (int i = 0; i < 4; ++i)
    rows.push_back({105.0 + i, 25.0 + i,
                    gravmag::igrfField(m, 2022.5, 25.0 + i, 105.0 + i, 0.3).main.f + 100.0 * i});
  table("mag", {"Lon", "Lat", "T"}, rows);
  test::CliResult r =
      cli("igrf-reduce --table mag --lon Lon --lat Lat --field T --date 2022.5 --height 300");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("table=mag_DT"), std::string::npos) << r.out;
  Database db = openWorkDatabase(tmp_.dir());
  Cursor c = db.query("Select [T_DT] From [mag_DT]");
  int i = 0;
  for (; c.next(); ++i) EXPECT_NEAR(c.getFloat(0), 100.0 * i, 0.01) << i;
  EXPECT_EQ(i, 4);
  // A date the generation does not cover: the message, no table.
  r = cli("igrf-reduce --table mag --lon Lon --lat Lat --field T --date 2031 --new again");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("2030"), std::string::npos) << r.out;
  EXPECT_FALSE(db.tableExists("again"));
}

TEST_F(CliIgrfTest, BackgroundFitsATableAndRefusesTooFewSamples) {
  // A plane with one high: the robust fit keeps the plane, the high stays in the residual.
  std::vector<std::array<double, 3>> rows;
  for (int i = 0; i < 6; ++i)
    for (int j = 0; j < 5; ++j)
      rows.push_back(
          {1000.0 * i, 500.0 * j, 20.0 + 0.5 * i - 0.25 * j + (i == 2 && j == 3 ? 5 : 0)});
  table("grav", {"X", "Y", "G"}, rows);
  test::CliResult r = cli("background --table grav --field G --x X --y Y --degree 1");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("n=30 m1=3 "), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("table=grav_T"), std::string::npos);
  Database db = openWorkDatabase(tmp_.dir());
  Cursor c = db.query("Select [X], [Y], [G_T], [G_R] From [grav_T]");
  int n = 0;
  while (c.next()) {
    ++n;
    const bool high = c.getFloat(0) == 2000.0f && c.getFloat(1) == 1500.0f;
    EXPECT_NEAR(c.getFloat(3), high ? 5.0 : 0.0, 0.6) << c.getFloat(0) << " " << c.getFloat(1);
  }
  EXPECT_EQ(n, 30);

  // Degree 5 asks for 21 coefficients: 10 samples are too few.
  rows.resize(10);
  table("few", {"X", "Y", "G"}, rows);
  r = cli("background --table few --field G --x X --y Y --degree 5");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("样品数少于拟合多项式系数个数, 不能拟合。"), std::string::npos) << r.out;
  EXPECT_FALSE(db.tableExists("few_T"));
  // An existing name.
  r = cli("background --table grav --field G --x X --y Y --new grav_T");
  EXPECT_NE(r.out.find("新数据表名已存在, 请另输一个表名."), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth
