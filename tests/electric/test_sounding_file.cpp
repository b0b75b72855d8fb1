// Sounding files: round trip, the refusals that leave nothing loaded, the session's edits, and
// the CLI over the demo soundings.
#include <gtest/gtest.h>

#include "electric/sounding_demo.h"
#include "electric/sounding_session.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::electric {
namespace {

class SoundingFiles : public ::testing::Test, protected test::ScratchFiles {};

const char* kInverse =
    "2, 2, 2\n"
    "测点 7\n"
    "4 2\n"
    "1.5, 0.5, 120, 1.5\n"
    "3 0.5 98.5 2\n"
    "3, 1.5, 101, 2.1\n"
    "6, 1.5, 80, 3\n"
    "5, 100, 1, 3\n"
    "0, 20, 6, 0\n"
    "504100.5, 3812000, 1180\n"
    "2, 40, 3\n";

TEST_F(SoundingFiles, ReadsAndWritesBackTheSameSounding) {
  put("a.s2i", utf8ToGbk(kInverse));
  SoundingFile f;
  std::string error;
  ASSERT_TRUE(readSoundingFile(path("a.s2i"), f, error)) << error;
  EXPECT_EQ(f.name, "测点 7");
  EXPECT_EQ(f.device(), SoundDevice::SymmetricMN);
  ASSERT_EQ(f.spacings.size(), 4u);
  EXPECT_EQ(f.spacings[2].r, 3);
  EXPECT_EQ(f.spacings[2].mn2, 1.5);
  EXPECT_EQ(f.eta[3], 3);
  EXPECT_EQ(f.model.thickness, std::vector<double>{5});
  EXPECT_EQ(f.model.chargeability[1], 6);
  EXPECT_EQ(f.fixed, (std::vector<int>{3, 0}));
  EXPECT_EQ(f.position.x, 504100.5);
  EXPECT_EQ(f.settings.method, InversionMethod::Occam);
  EXPECT_EQ(f.settings.maxIterations, 40);
  ASSERT_TRUE(writeSoundingFile(path("b.s2i"), f));
  SoundingFile g;
  ASSERT_TRUE(readSoundingFile(path("b.s2i"), g, error)) << error;
  EXPECT_EQ(formatSoundingFile(g), formatSoundingFile(f));
  // Forward files may leave the observation off.
  put("c.s3f", "1,1,3\n\n2,1\n10\n20,55.5\n0,40\n");
  ASSERT_TRUE(readSoundingFile(path("c.s3f"), f, error)) << error;
  EXPECT_TRUE(isNullValue(f.rho[0]));
  EXPECT_EQ(f.rho[1], 55.5);
  EXPECT_FALSE(f.fullyObserved());
}

TEST_F(SoundingFiles, BadInputLoadsNothing) {
  const std::pair<const char*, const char*> cases[] = {
      {"1,1\n", kMsgBadInput},              // head of two integers
      {"a,b,c\n", kMsgBadInput},            // not integers
      {"1,1,7\nx\n0,1\n0,10\n", "文件头"},  // no such device
      {"1,1,3\nx\n1,1\n0,50\n0,10\n", "电极距必须大于零"},
      {"1,1,3\nx\n1,1\n-2,50\n0,10\n", "电极距必须大于零"},
      {"1,1,3\nx\n1,1\n2,0\n0,10\n", "视电阻率必须大于零"},
      {"1,1,3\nx\n1,2\n2,50\n5,-10\n0,10\n", "电阻率必须大于零"},
      {"1,1,3\nx\n1,2\n2,50\n0,10\n0,10\n", "层厚必须大于零"},
      {"1,1,2\nx\n1,1\n2,3,50\n0,10\n", "MN/2必须小于AB/2"},
      {"2,1,3\nx\n3,1\n2,50\n", "数据不完整"},     // cut short
      {"1,1,3\nx\n99999999,1\n", "数目超出范围"},  // count past any sounding
      {"1,2,3\nx\n1,1\n2,50,1\n0,10,100\n", "极化率"},
  };
  for (auto [text, want] : cases) {
    put("bad.s3f", text);
    SoundingSession s = SoundingSession::fresh({1, 1, 3});
    const std::size_t before = s.file().spacings.size();
    std::string error;
    EXPECT_FALSE(s.load(path("bad.s3f"), error)) << text;
    EXPECT_NE(error.find(want), std::string::npos) << text << " → " << error;
    EXPECT_EQ(s.file().spacings.size(), before);
  }
  SoundingHead h;
  std::string error;
  put("h.s1f", "1 2 3\n");
  EXPECT_TRUE(readSoundingHead(path("h.s1f"), h, error));
  EXPECT_EQ(h.paramMode, 2);
  EXPECT_FALSE(readSoundingHead(path("missing.s1f"), h, error));
}

TEST_F(SoundingFiles, ElectrodeCorrectionJoinsTheMnSegments) {
  // Two MN segments sharing AB/2 = 10 and 15; the second reads 20 % high.
  put("e.s2i",
      "2,1,2\nE\n6,2\n5,1,100\n10,1,80\n15,1,70\n10,5,96\n15,5,84\n30,5,72\n5,100,0\n0,50,0\n"
      "0,0,0\n");
  SoundingSession s;
  std::string error;
  ASSERT_TRUE(s.load(path("e.s2i"), error)) << error;
  std::vector<double> f;
  ASSERT_TRUE(s.electrodeCorrection(&f).ok);
  ASSERT_EQ(f.size(), 2u);
  EXPECT_NEAR(f[1], 1 / 1.2, 1e-12);
  EXPECT_NEAR(s.file().rho[5], 60, 1e-9);
  EXPECT_EQ(s.file().rho[0], 100);
  SoundingSession pole = SoundingSession::fresh({2, 1, 1});
  EXPECT_FALSE(pole.electrodeCorrection().ok);
}

TEST_F(SoundingFiles, SessionEditsAreValidated) {
  SoundingSession s = SoundingSession::fresh({1, 1, 3});
  EXPECT_FALSE(s.setLayer(1, 5, -3, 0, 0).ok);
  EXPECT_EQ(s.model().resistivity[1], 20);
  EXPECT_TRUE(s.setLayer(1, 8, 30, 0, 0).ok);
  EXPECT_FALSE(s.setInterfaces({10, 9}, {false, false}).ok);
  EXPECT_TRUE(s.setInterfaces({4, 9}, {true, false}).ok);
  EXPECT_EQ(s.model().thickness, (std::vector<double>{4, 5}));
  EXPECT_EQ(s.fixed()[0] & kFixThickness, kFixThickness);
  EXPECT_TRUE(s.insertLayer(0).ok);
  EXPECT_EQ(s.model().thickness, (std::vector<double>{2, 2, 5}));
  EXPECT_TRUE(s.removeLayer(3).ok);
  EXPECT_EQ(s.model().layers(), 3u);
  EXPECT_TRUE(s.compute().ok);
  const SoundingPlot p = s.plot();
  EXPECT_EQ(p.computed.size(), p.r.size());
  EXPECT_EQ(p.stairDepth.size(), 6u);
  EXPECT_LE(p.rhoMin, 20);
}

TEST_F(SoundingFiles, DemoSoundingsRunThroughTheCommandLine) {
  const std::string work = tmp_.dir() + "area/";
  ASSERT_TRUE(createWorkArea(work).ok);
  ASSERT_TRUE(writeDemoSoundings(work).ok);
  for (int d = 1; d <= 5; ++d) {
    const std::string base =
        work + "Prof_Dat/demo_sound" + std::to_string(d) + ".s" + std::to_string(d);
    auto f = test::runCli("sounding forward " + base + "f -o " + path("f.dat"));
    EXPECT_EQ(f.status, 0) << f.out;
    auto i = test::runCli("sounding invert " + base + "i -o " + path("i.dat") +
                          (d == 3 ? " --method occam" : ""));
    EXPECT_EQ(i.status, 0) << i.out;
    const std::string text = gbkToUtf8(get("i.dat"));
    EXPECT_NE(text.find("反演结果"), std::string::npos);
    // The demo earth has a 25 Ω·m layer under 4 m of 180 Ω·m: the fit is at the noise.
    SoundingFile file;
    std::string error;
    ASSERT_TRUE(readSoundingFile(base + "i", file, error));
    SoundingSession s;
    ASSERT_TRUE(s.load(base + "i", error));
    ASSERT_TRUE(s.compute().ok);
    EXPECT_LT(s.inversion()->rmsPercent, 4.0) << d;
  }
  auto wrong = test::runCli("sounding invert " + work + "Prof_Dat/demo_sound1.s1f");
  EXPECT_NE(wrong.status, 0);
  EXPECT_NE(wrong.out.find("您选择的反演文件和您输入的反演参数不相符！"), std::string::npos);
  // import method: a clash without an answer imports nothing; --rename gives a new name.
  auto clash = test::runCli("import method " + work + "Prof_Dat/demo_sound2.s2f --workarea " +
                            work + " --entry mnuResIP1D4J1SoundForDataLoad");
  EXPECT_NE(clash.status, 0);
  auto renamed = test::runCli("import method " + work + "Prof_Dat/demo_sound2.s2f --workarea " +
                              work + " --entry mnuResIP1D4J1SoundForDataLoad --rename copy2");
  EXPECT_EQ(renamed.status, 0) << renamed.out;
  EXPECT_EQ(test::readFile(work + "Prof_Dat/copy2.s2f"),
            test::readFile(work + "Prof_Dat/demo_sound2.s2f"));
}

}  // namespace
}  // namespace sarnoth::electric
