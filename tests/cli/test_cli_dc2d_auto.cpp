// sarnoth-cli dc2d auto, dctopo and section on the demo's measured files end to end, and the
// refusals a batch user meets.
#include <gtest/gtest.h>

#include "electric/dc2d_demo.h"
#include "test_support.h"
#include "workarea/text_codec.h"

namespace sarnoth::test {
namespace {

TEST(CliDc2dAuto, BatchInversionTopoCorrectionAndSections) {
  TempDir tmp;
  const std::string wp = tmp.file("wa") + "/";
  ASSERT_TRUE(electric::writeDemoDc2d(wp).ok);
  const std::string prof = wp + "Prof_Dat/";
  // Two measured sections (the second with a broken line) with the demo terrain: the good one
  // is inverted and written, the bad one reported, the status says one failed.
  writeFile(tmp.file("bad.hd4"), utf8ToGbk("对称四极实测数据\nx\n5, 0\n1\n0, 1, 2\n"));
  CliResult r =
      runCli("dc2d auto " + prof + "demo_dc2d.hdo " + tmp.file("bad.hd4") + " --terrain " + prof +
             "demo_dc2d.ter --iterations 2 --error 1 --cells 2 --outdir " + tmp.str());
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("反演计算完成: 迭代 2 次"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("bad.hd4: 第5行"), std::string::npos) << r.out;
  const std::string inv = gbkToUtf8(readFile(tmp.file("demo_dc2d_inv.dat")));
  EXPECT_EQ(inv.rfind("二维电阻率/极化率反演结果", 0), 0u) << inv.substr(0, 80);
  EXPECT_EQ(gbkToUtf8(readFile(tmp.file("demo_dc2d_mod.sec"))).rfind("二维断面数据", 0), 0u);
  EXPECT_EQ(readFile(tmp.file("demo_dc2d_mod.png")).substr(1, 3), "PNG");
  EXPECT_EQ(readFile(tmp.file("demo_dc2d_ps.png")).substr(1, 3), "PNG");

  // The model section drawn: the chargeability column on a linear scale as SVG.
  r = runCli("section " + tmp.file("demo_dc2d_mod.sec") +
             " --column '极化率(%)' --scale linear -o " + tmp.file("eta.svg"));
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string svg = readFile(tmp.file("eta.svg"));
  EXPECT_NE(svg.find("<svg"), std::string::npos);
  EXPECT_NE(svg.find("极化率"), std::string::npos);
  // A measured file straight as its pseudo-section; bad options refused.
  r = runCli("section " + prof + "demo_dc2d.top -o " + tmp.file("ps.png") + " --levels 8");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(readFile(tmp.file("ps.png")).substr(1, 3), "PNG");
  EXPECT_NE(
      runCli("section " + prof + "demo_dc2d.top -o " + tmp.file("x.png") + " --column 9").status,
      0);
  EXPECT_NE(runCli("section " + prof + "demo_dc2d.top -o " + tmp.file("x.png") + " --column nosuch")
                .status,
            0);
  EXPECT_NE(
      runCli("section " + prof + "demo_dc2d.top -o " + tmp.file("x.png") + " --fill maybe").status,
      0);

  // Topographic correction of the demo data over the hill.
  r = runCli("dctopo " + prof + "demo_dc2d.top --cells 2 -o " + tmp.file("tc.dat") +
             " --corrected " + tmp.file("tc.so7") + " --section " + tmp.file("tc.sec") +
             " --image " + tmp.file("tc.png"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("地形改正完成"), std::string::npos) << r.out;
  const std::string tc = gbkToUtf8(readFile(tmp.file("tc.dat")));
  EXPECT_EQ(tc.rfind("二维直流电阻率法地形改正结果", 0), 0u);
  EXPECT_NE(tc.find("地形改正系数"), std::string::npos);
  // The corrected data are a flat inverse dipole-dipole file with ηa: "2, 2, 0, 10".
  EXPECT_EQ(gbkToUtf8(readFile(tmp.file("tc.so7"))).rfind("2, 2, 0, 10", 0), 0u);
  r = runCli("dc2d invert " + tmp.file("tc.so7") + " --iterations 1 --cells 2 -o " +
             tmp.file("i.dat"));
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(readFile(tmp.file("tc.png")).substr(1, 3), "PNG");
  // A file of another kind is refused with the first line it should have.
  r = runCli("dctopo " + prof + "demo_dc2d.hdo");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("首行应为：二维电阻率法地形改正数据文件"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth::test
