// sarnoth-cli dc2d: the forward and the inversion of the demo files end to end, and the
// refusals a batch user meets (a file of the other mode, a bad option, a broken file).
#include <gtest/gtest.h>

#include "electric/dc2d_demo.h"
#include "test_support.h"
#include "workarea/text_codec.h"

namespace sarnoth::test {
namespace {

TEST(CliDc2d, ForwardAndInversionOfTheDemoFiles) {
  TempDir tmp;
  const std::string wp = tmp.file("wa") + "/";
  ASSERT_TRUE(electric::writeDemoDc2d(wp).ok);
  const std::string prof = wp + "Prof_Dat/";
  CliResult r = runCli("dc2d forward " + prof + "demo_dc2d.s42 -o " + tmp.file("f.dat") +
                       " --mesh " + tmp.file("m.dat") + " --image " + tmp.file("f.png"));
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string f = gbkToUtf8(readFile(tmp.file("f.dat")));
  EXPECT_EQ(f.rfind("二维电阻率正演结果", 0), 0u);
  EXPECT_NE(f.find("对称四极测深装置"), std::string::npos);
  EXPECT_EQ(gbkToUtf8(readFile(tmp.file("m.dat"))).rfind("二维直流电法地电断面剖分数据", 0), 0u);
  EXPECT_EQ(readFile(tmp.file("f.png")).substr(1, 3), "PNG");
  EXPECT_EQ(readFile(tmp.file("f_calc.png")).substr(1, 3), "PNG");

  r = runCli("dc2d invert " + prof + "demo_dc2d.so7 --iterations 2 -o " + tmp.file("i.dat"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("反演计算完成: 迭代 2 次"), std::string::npos) << r.out;
  const std::string i = gbkToUtf8(readFile(tmp.file("i.dat")));
  EXPECT_NE(i.find("迭代\tRMS(%)"), std::string::npos);
  EXPECT_NE(i.find("模型单元"), std::string::npos);

  r = runCli("dc2d invert " + prof + "demo_dc2d.so3");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("您选择的文件和您输入的参数不相符"), std::string::npos);
  r = runCli("dc2d invert " + prof + "demo_dc2d.so7 --iterations 0");
  EXPECT_NE(r.status, 0);
  writeFile(tmp.file("bad.so1"), "1,1,0,10\nx\n1,0\n1\n0,1,3,2,50\n100\n0\n");
  r = runCli("dc2d forward " + tmp.file("bad.so1"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("第5行: 电极排列顺序错误"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth::test
