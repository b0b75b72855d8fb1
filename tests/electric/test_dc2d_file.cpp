// The files of the 2-D resistivity/IP tool: the suffix rule, the head, a round trip through the
// writer and reader for every device, and the refusals (each a tiny file named for its fault).
#include <gtest/gtest.h>

#include "electric/dc2d_demo.h"
#include "electric/dc2d_file.h"
#include "test_support.h"
#include "workarea/file_text.h"

namespace sarnoth::electric {
namespace {

TEST(Dc2dFile, SuffixDigitFollowsModeParametersAndTerrain) {
  // The digit table: forward/inverse × ρ/ρη × flat/relief.
  const int expected[2][2][2] = {{{1, 2}, {3, 4}}, {{5, 6}, {7, 8}}};
  for (int c = 1; c <= 2; ++c)
    for (int p = 1; p <= 2; ++p)
      for (int t = 0; t <= 1; ++t) EXPECT_EQ(dc2dSuffixDigit(c, p, t), expected[c - 1][p - 1][t]);
  EXPECT_EQ(dc2dSuffix({1, 1, 0, 1}), ".pm1");
  EXPECT_EQ(dc2dSuffix({2, 2, 1, 10}), ".so8");
  EXPECT_EQ(dc2dSuffix({1, 2, 1, 4}), ".p34");
  EXPECT_EQ(dc2dSuffix({2, 1, 0, 8}), ".s35");
  EXPECT_EQ(dc2dSuffix({1, 1, 0, 11}), "");
  EXPECT_EQ(dc2dMethodText(Dc2dDevice::DipoleSounding), "偶极测深法");
  Dc2dHead h;
  EXPECT_TRUE(parseDc2dHead("2, 1 ,0,  9", h));
  EXPECT_EQ(h, (Dc2dHead{2, 1, 0, 9}));
  EXPECT_FALSE(parseDc2dHead("2,1,0", h));
  EXPECT_FALSE(parseDc2dHead("2,1,x,9", h));
  EXPECT_FALSE(parseDc2dHead("2.5,1,0,9", h));
}

// A file of a device with three data lines of its own kind.
Dc2dFile sample(Dc2dDevice d, int calc, int param, int terrain) {
  Dc2dFile f;
  f.head = {calc, param, terrain, static_cast<int>(d)};
  f.name = "剖面 A-1";
  f.stationInterval = 5;
  f.x0 = 100;
  std::string text = std::to_string(calc) + "," + std::to_string(param) + "," +
                     std::to_string(terrain) + "," + std::to_string(static_cast<int>(d)) +
                     "\n剖面 A-1\n5, 100\n";
  if (d == Dc2dDevice::Charged) text += "10, 7.5\n";
  if (d == Dc2dDevice::Gradient) text += "0, 30\n";
  text += "3\n";
  const char* lines[] = {"",        "3",   "4 5",   "2 4",     "1 3 4 6", "1 3 4 6",
                         "1 2 4 5", "2 4", "1 3 4", "1 3 4 6", "1 2 4 5"};
  for (int i = 0; i < 3; ++i) {
    std::string st;
    for (const auto& tok : filetext::splitBlanks(lines[static_cast<int>(d)]))
      st += std::to_string(std::stoi(tok) + 4 * i) + ", ";
    const bool two = d == Dc2dDevice::Combined;
    st += std::to_string(100 + i) + (two ? ", " + std::to_string(200 + i) : std::string());
    if (param == 2) st += ", " + std::to_string(3 + i) + (two ? ", 4.5" : "");
    text += st + "\n";
  }
  if (terrain) text += "3\n0, 500\n10.5, 512.25\n20, 505\n";
  if (calc == 1)
    text += std::string(param == 2 ? "150, 2\n" : "150\n") + "1\n4, 20" +
            (param == 2 ? ", 12" : "") + "\n110, -5\n130, -5\n130, -15\n110, -15\n";
  else
    text += "8, 4.5\n";
  Dc2dFile out;
  std::string err;
  EXPECT_TRUE(parseDc2dFile(text, out, err)) << dc2dDeviceText(d) << ": " << err;
  return out;
}

TEST(Dc2dFile, EveryDeviceSurvivesARoundTrip) {
  for (int d = 1; d <= kDc2dDevices; ++d)
    for (int calc : {1, 2})
      for (int param : {1, 2})
        for (int terrain : {0, 1}) {
          const Dc2dFile a = sample(static_cast<Dc2dDevice>(d), calc, param, terrain);
          Dc2dFile b;
          std::string err;
          ASSERT_TRUE(parseDc2dFile(formatDc2dFile(a), b, err)) << d << ": " << err;
          SCOPED_TRACE(std::string(dc2dDeviceText(static_cast<Dc2dDevice>(d))));
          EXPECT_EQ(b.head, a.head);
          EXPECT_EQ(b.name, a.name);
          ASSERT_EQ(b.survey.data.size(), a.survey.data.size());
          EXPECT_EQ(b.survey.data.size(), d == 4 ? 6u : 3u);
          for (std::size_t i = 0; i < a.survey.data.size(); ++i) {
            const Dc2dDatum &p = a.survey.data[i], &q = b.survey.data[i];
            for (auto [e, f] : {std::pair{p.a, q.a}, {p.b, q.b}, {p.m, q.m}, {p.n, q.n}}) {
              ASSERT_EQ(e == kRemote2d, f == kRemote2d);
              if (e != kRemote2d) {
                EXPECT_DOUBLE_EQ(a.survey.electrodes[static_cast<std::size_t>(e)].x,
                                 b.survey.electrodes[static_cast<std::size_t>(f)].x);
                EXPECT_DOUBLE_EQ(a.survey.electrodes[static_cast<std::size_t>(e)].depth,
                                 b.survey.electrodes[static_cast<std::size_t>(f)].depth);
              }
            }
            EXPECT_EQ(q.rho, p.rho);
            EXPECT_EQ(q.eta, p.eta);
          }
          EXPECT_EQ(b.survey.terrain, a.survey.terrain);
          EXPECT_EQ(b.hasModel, calc == 1);
          if (calc == 1) {
            ASSERT_EQ(b.model.regions.size(), 1u);
            EXPECT_EQ(b.model.regions[0].outline, a.model.regions[0].outline);
            EXPECT_EQ(b.model.regions[0].rho, 20);
          } else {
            EXPECT_EQ(b.control.iterations, 8);
            EXPECT_EQ(b.control.errorPercent, 4.5);
          }
        }
  // Station numbers become profile coordinates: x = X0 + s·DX.
  const Dc2dFile dd = sample(Dc2dDevice::DipoleSounding, 2, 1, 0);
  EXPECT_DOUBLE_EQ(dd.survey.electrodes[static_cast<std::size_t>(dd.survey.data[0].m)].x, 120);
  // The charged-body electrode keeps its depth, the combined device its two readings.
  const Dc2dFile ch = sample(Dc2dDevice::Charged, 1, 1, 0);
  EXPECT_DOUBLE_EQ(ch.survey.electrodes[static_cast<std::size_t>(ch.survey.data[0].a)].depth, 7.5);
  const Dc2dFile cp = sample(Dc2dDevice::Combined, 2, 2, 0);
  EXPECT_EQ(cp.survey.data[1].a, kRemote2d);
  EXPECT_EQ(cp.survey.data[1].rho, 200);
  EXPECT_EQ(cp.survey.data[1].eta, 4.5);
}

TEST(Dc2dFile, RefusesWhatCannotBeModelled) {
  struct Case {
    const char* what;
    std::string text;
    std::string message;
  };
  const std::string head = "1,1,0,10\nx\n1,0\n";
  const std::string model = "100\n0\n";
  const Case cases[] = {
      {"head not four integers", "1,1,0\nx\n", "类型不匹配"},
      {"head with text", "a,b,c,d\n", "类型不匹配"},
      {"device beyond ten", "1,1,0,11\nx\n1,0\n1\n0,1,2,3\n" + model, "装置选择错误！"},
      {"electrodes out of order", head + "1\n0,1,3,2,50\n" + model, "第5行: 电极排列顺序错误"},
      {"dipoles overlapping", head + "1\n0,2,1,3,50\n" + model, "第5行: 电极排列顺序错误"},
      {"electrodes coincide", "1,1,0,3\nx\n1,0\n1\n2,2,50\n" + model, "第5行: 电极位置重合"},
      {"negative resistivity", "2,1,0,10\nx\n1,0\n1\n0,1,2,3,-5\n", "第5行: 视电阻率必须大于 0"},
      {"inverse without observation", "2,1,0,10\nx\n1,0\n1\n0,1,2,3\n", "第5行: 数据不完整"},
      {"region without properties", head + "1\n0,1,2,3\n100\n1\n3\n0,0\n1,-1\n2,0\n",
       "第8行: 区域 1 没有给定电阻率"},
      {"chargeability of 100 %", "1,2,0,10\nx\n1,0\n1\n0,1,2,3,50,100\n" + model,
       "第5行: 极化率必须在 0 到 100 之间"},
      {"huge count", head + "99999999\n", "第4行: 数据个数错误"},
      {"cut short", head + "3\n0,1,2,3\n", "第6行: 数据不完整"},
      {"zero station interval", "1,1,0,10\nx\n0,0\n", "第3行: 点距必须大于 0"},
      {"terrain not ascending", "1,1,1,10\nx\n1,0\n1\n0,1,2,3\n2\n5,10\n4,11\n" + model,
       "第8行: 地形点号必须递增"},
      {"garbage in data", head + "1\n0,1,2,abc\n", "第5行: 类型不匹配"},
  };
  for (const Case& c : cases) {
    Dc2dFile f;
    f.name = "untouched";
    std::string err;
    EXPECT_FALSE(parseDc2dFile(c.text, f, err)) << c.what;
    EXPECT_EQ(err, c.message) << c.what;
    EXPECT_EQ(f.name, "untouched") << c.what;  // nothing loaded
  }
}

TEST(Dc2dFile, DemoFilesReadBackAndHeadsMatchTheirSuffixes) {
  test::TempDir tmp;
  const std::string wp = tmp.file("wa") + "/";
  ASSERT_TRUE(writeDemoDc2d(wp).ok);
  for (const char* name : {"demo_dc2d.so3", "demo_dc2d.so7", "demo_dc2d.s42"}) {
    Dc2dFile f;
    std::string err;
    ASSERT_TRUE(readDc2dFile(wp + "Prof_Dat/" + name, f, err)) << name << ": " << err;
    EXPECT_EQ("demo_dc2d" + dc2dSuffix(f.head), name);
    Dc2dHead h;
    ASSERT_TRUE(readDc2dHead(wp + "Prof_Dat/" + name, h, err));
    EXPECT_EQ(h, f.head);
  }
  // Same seed, same bytes.
  std::string a, b;
  ASSERT_TRUE(filetext::readWholeFile(wp + "Prof_Dat/demo_dc2d.so7", a));
  ASSERT_TRUE(writeDemoDc2d(tmp.file("wb") + "/").ok);
  ASSERT_TRUE(filetext::readWholeFile(tmp.file("wb") + "/Prof_Dat/demo_dc2d.so7", b));
  EXPECT_EQ(a, b);
}

}  // namespace
}  // namespace sarnoth::electric
