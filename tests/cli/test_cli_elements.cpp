// sarnoth-cli histtest, neighbour, superpose, normalise and zoning on tables imported from CSV:
// the twenty values of the R comparisons (shapiro.test(x20): W = 0.79277) on a 5 × 4 net of
// 10 m, and level samples whose productivities are worked by hand in tests/geochem/test_zoning.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "test_support.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliElementTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_EQ(test::runCli("workarea create " + tmp_.file("wa")).status, 0);
    const double x20[] = {12.1, 15.3, 9.8,  22.4, 18.7, 11.2, 14.9, 30.5, 16.8, 13.3,
                          19.6, 10.4, 25.1, 17.2, 12.9, 14.1, 21.3, 15.8, 45.2, 13.7};
    {
      std::ofstream f(tmp_.file("s.csv"));
      f << "点号,X,Y,Cu,Au,As\n";
      for (int i = 0; i < 20; ++i)
        f << "P" << i + 1 << ',' << 10 * (i % 5) << ',' << 10 * (i / 5) << ',' << x20[i] << ','
          << i + 1 << ',' << 10 * (i % 5 + 1) << '\n';
    }
    {
      std::ofstream f(tmp_.file("k.csv"));
      f << "标高,长度,A,B,C,D\n300,2,20,0.3,1,40\n300,1,10,0.2,0,20\n200,2,5,0.2,4,100\n"
           "200,1,10,0.2,2,100\n100,2,2,0.05,1,400\n100,1,1,0,2,100\n";
    }
    for (const char* t : {"s.csv --name 样品", "k.csv --name 坑道"})
      ASSERT_EQ(test::runCli("import table " + tmp_.dir() + t + " --encoding utf8" + wa()).status,
                0);
  }
  std::string wa() const { return " --workarea " + tmp_.file("wa"); }
  test::CliResult sql(const std::string& statement) {
    return test::runCli("sql \"" + statement + "\"" + wa());
  }
  test::TempDir tmp_;
};

TEST_F(CliElementTest, HistTestReportsTheTestsAndDrawsBothPlots) {
  test::CliResult r = test::runCli("histtest --table 样品 --field Cu --hist " + tmp_.file("h.png") +
                                   " --qq " + tmp_.file("q.svg") + wa());
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("W=0.7928"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("分组数: 6 (Sturges 法)"), std::string::npos);
  EXPECT_EQ(test::readFile(tmp_.file("h.png")).substr(1, 3), "PNG");
  EXPECT_NE(test::readFile(tmp_.file("q.svg")).find("<svg"), std::string::npos);
  // shapiro.test(log10(x20)): W = 0.94333; nclass.scott gives 4 classes.
  r = test::runCli("histtest --table 样品 --field Cu --log --rule scott" + wa());
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("W=0.9433"), std::string::npos) << r.out;
  EXPECT_NE(test::runCli("histtest --table 样品 --field Cu --rule none" + wa()).status, 0);
}

TEST_F(CliElementTest, NeighbourWritesTheTableOnceUnlessToldToOverwrite) {
  ASSERT_EQ(
      test::runCli("neighbour --table 样品 --x X --y Y --field Cu --radius 10.5" + wa()).status, 0);
  // P7 at (10, 10): its four net neighbours 15.3, 11.2, 30.5, 10.4.
  test::CliResult r = sql("Select [Cu_M],[Cu_Md],[Cu_N] From [样品_邻域] Where [点号]='P7'");
  EXPECT_NE(r.out.find("16.85\t13.25\t4"), std::string::npos) << r.out;
  EXPECT_NE(
      test::runCli("neighbour --table 样品 --x X --y Y --field Cu --count 2 --min 2" + wa()).status,
      0);
  ASSERT_EQ(
      test::runCli("neighbour --table 样品 --x X --y Y --field Cu --count 2 --min 2 --yes" + wa())
          .status,
      0);
  // P1 at the corner: the two neighbours at 10 m, 15.3 and 11.2.
  r = sql("Select [Cu_M] From [样品_邻域] Where [点号]='P1'");
  EXPECT_NE(r.out.find("13.25"), std::string::npos) << r.out;
}

TEST_F(CliElementTest, SuperposeAndNormaliseWriteFieldsWorkedByHand) {
  test::CliResult r = test::runCli(
      "superpose --table 样品 --fields Au,As --background 2,10 --weights 1,2 --new AuAs" + wa());
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("叠加指数 = ([Au]/2)+([As]/10)*2"), std::string::npos) << r.out;
  ASSERT_EQ(test::runCli("normalise --table 样品 --fields Au --method z" + wa()).status, 0);
  // P8: Au 8, As 30 → 8/2 + 2·30/10 = 10; (8 − 10.5)/√35 = −0.42258.
  r = sql("Select [AuAs],[Au_Z] From [样品] Where [点号]='P8'");
  EXPECT_NE(r.out.find("\n10\t-0.4225"), std::string::npos) << r.out;
  EXPECT_NE(test::runCli("normalise --table 样品 --fields Au --method z" + wa()).status, 0);
  EXPECT_NE(
      test::runCli("superpose --table 样品 --fields Au,As --standard z --index mul" + wa()).status,
      0);
}

TEST_F(CliElementTest, ZoningPrintsTheSequenceByBothMethods) {
  test::CliResult r =
      test::runCli("zoning --table 坑道 --level 标高 --length 长度 --fields A,B,C,D" + wa());
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("分带序列(自上而下): A - B - C - D"), std::string::npos) << r.out;
  // The variability gradient, Σ M of the upper level over the lower: A 50/5, B 0.8/0.1,
  // C 2/4, D 100/900, the larger higher; numbered levels turn it over.
  r = test::runCli(
      "zoning --table 坑道 --level 标高 --length 长度 --fields A,B,C,D --method "
      "gradient --order number" +
      wa());
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("分带序列(自上而下): D - C - B - A"), std::string::npos) << r.out;
  r = test::runCli("zoning --table 坑道 --level 标高 --fields A,标高" + wa());
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("中段数据项不能同时作为元素项。"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth
