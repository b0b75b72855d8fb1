// sarnoth-cli classstat and regress on the demo work area.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class CliGeochemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    ASSERT_EQ(test::runCli("workarea demo " + tmp_.str()).status, 0);
  }
  std::string area() const { return " --workarea " + tmp_.str() + " --table 水系沉积物测量 "; }
  test::TempDir tmp_;
};

TEST_F(CliGeochemTest, ClassStatisticsPrintsTheListSavesAndCorrects) {
  test::CliResult r = test::runCli("classstat" + area() + "--class 地层 --items Au,Cu --text " +
                                   tmp_.file("s.txt"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out.rfind(" 统计项名 分类编码  记录 最大值", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("\nAu 999999999 "), std::string::npos);
  EXPECT_NE(r.out.find("\nCu 寒武系 "), std::string::npos);
  EXPECT_EQ(gbkToUtf8(test::readFile(tmp_.file("s.txt"))), r.out);

  // The class field cannot be an item; a text class cannot go into the long code field.
  test::CliResult same = test::runCli("classstat" + area() + "--class 地层 --items 地层");
  EXPECT_NE(same.status, 0);
  EXPECT_NE(same.out.find("分类项与数据项不能是同一项。"), std::string::npos);
  test::CliResult saved =
      test::runCli("classstat" + area() + "--class 地层 --items Au --save 金统计");
  EXPECT_NE(saved.status, 0);
  EXPECT_NE(saved.out.find("创建新数据表错误, "), std::string::npos) << saved.out;
  // The correction takes each row's text as a class code: "Au" is none.
  test::CliResult corr =
      test::runCli("classstat" + area() + "--class 地层 --items Au --correct Au --param 平均值");
  EXPECT_NE(corr.status, 0);
  EXPECT_NE(corr.out.find("数据计算错:类型不匹配"), std::string::npos) << corr.out;
}

TEST_F(CliGeochemTest, RegressionReportsEveryMethodAndRefusesBadInput) {
  test::CliResult one = test::runCli("regress" + area() + "--y Au --x Ag --model power");
  ASSERT_EQ(one.status, 0) << one.out;
  EXPECT_EQ(one.out.rfind("   一元回归分析\n   幂函数:  Au=b0*Ag^b1\n 回归系数:  b0=", 0), 0u)
      << one.out;
  const std::string file = gbkToUtf8(test::readFile(tmp_.file("temp/regressprs.txt")));
  EXPECT_EQ(file.rfind("#SRNTHDATPROC#\r\n   一元回归分析\r\n", 0), 0u);
  for (const char* m : {"multiple", "stepwise --f 1.46,1.45", "ridge --ktimes 2",
                        "orthogonal --scheme 2 --cut 4"}) {
    test::CliResult r = test::runCli("regress" + area() + "--y Au --x Ag,As,Sb --method " + m);
    EXPECT_EQ(r.status, 0) << m << r.out;
    EXPECT_EQ(r.out.find("IND"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("nan"), std::string::npos) << r.out;
  }
  test::CliResult same = test::runCli("regress" + area() + "--y Au --x Ag,Ag --method multiple");
  EXPECT_NE(same.status, 0);
  EXPECT_NE(same.out.find("线性相关"), std::string::npos) << same.out;
  test::CliResult noF = test::runCli("regress" + area() + "--y Au --x Ag,As --method stepwise");
  EXPECT_NE(noF.out.find("需要2个数据,请重输."), std::string::npos);
  test::CliResult ridge1 = test::runCli("regress" + area() + "--y Au --x Ag --method ridge");
  EXPECT_NE(ridge1.out.find("岭回归须选择两个以上因变量,请重选."), std::string::npos);
}

TEST_F(CliGeochemTest, ClusterPrintsItsReportAndDrawsTheDendrogram) {
  test::CliResult r = test::runCli("cluster" + area() + "--fields Au,Ag,As,Sb,Cu,Pb,Zn --type R " +
                                   "--transform 3 --dendrogram " + tmp_.file("r.svg"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(r.out.rfind("**** 聚类分析预先给定的参数 ****\n", 0), 0u) << r.out;
  EXPECT_NE(r.out.find(" itype = 1 , 作 R 型聚类分析 "), std::string::npos);
  EXPECT_NE(r.out.find("kkk=6  ("), std::string::npos);  // seven fields, six rounds
  EXPECT_EQ(r.out.find("kkk=7"), std::string::npos);
  EXPECT_NE(test::readFile(tmp_.file("r.svg")).find("R 型聚类图"), std::string::npos);
  EXPECT_TRUE(fs::exists(tmp_.file("temp/ClustInfo.txt")));
  test::CliResult q = test::runCli("cluster" + area() + "--fields Au,Ag,As --quiet --dendrogram " +
                                   tmp_.file("q.png"));
  ASSERT_EQ(q.status, 0) << q.out;
  EXPECT_GT(fs::file_size(tmp_.file("q.png")), 10000u);
  test::CliResult two = test::runCli("cluster" + area() + "--fields Au,Ag");
  EXPECT_NE(two.out.find("变量不能少于3个."), std::string::npos);
}

TEST_F(CliGeochemTest, BpTrainsAndWritesPredictionsIntoTheSecondTable) {
  test::CliResult t = test::runCli("bp train" + area() + "--inputs Ag,As,Sb --output Au " +
                                   "--rounds 50 --hidden 5 --seed 3");
  ASSERT_EQ(t.status, 0) << t.out;
  EXPECT_NE(t.out.find("学习模式数 NN="), std::string::npos);
  EXPECT_NE(t.out.find("50次，均方差="), std::string::npos);
  test::CliResult p = test::runCli("bp predict" + area() + "--inputs Ag,As,Sb --output Au " +
                                   "--rounds 20 --hidden 5 --predict 布格重力异常 --quiet");
  EXPECT_NE(p.status, 0);  // the gravity table has no Ag
  EXPECT_NE(p.out.find("预测数据表中无数据项 Ag。"), std::string::npos) << p.out;
  test::CliResult ok = test::runCli("bp predict" + area() + "--inputs Ag,As,Sb --output Au " +
                                    "--rounds 20 --hidden 5 --predict 水系沉积物测量 --quiet");
  ASSERT_EQ(ok.status, 0) << ok.out;
  EXPECT_NE(ok.out.find("写入 Au_B"), std::string::npos) << ok.out;
  test::CliResult rows =
      test::runCli("sql --workarea " + tmp_.str() +
                   " \"Select Count(*) From [水系沉积物测量] Where [Au_B] > 0\"");
  EXPECT_EQ(rows.out.find("\n0\n"), std::string::npos) << rows.out;
}

}  // namespace
}  // namespace sarnoth
