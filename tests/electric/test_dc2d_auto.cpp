// Measured sections and terrain files, the parameters the automatic inversion derives from the
// data, the inversion of a homogeneous half-space's analytic data, and the section files.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "electric/dc2d_auto.h"
#include "electric/dc2d_field.h"
#include "test_support.h"

namespace sarnoth::electric {
namespace {

// Dipole-dipole a = 5 m, n = 1..nmax, observed ρa from `rho(x, n)`.
template <class F>
Dc2dFile dipoleSection(int electrodes, int nmax, F rho) {
  Dc2dFile f;
  f.head = {2, 1, 0, 10};
  f.name = "测试剖面";
  f.stationInterval = 5;
  f.survey.device = Dc2dDevice::DipoleSounding;
  for (int i = 0; i < electrodes; ++i) f.survey.electrodes.push_back({i * 5.0, 0});
  for (int n = 1; n <= nmax; ++n)
    for (int i = 0; i + n + 2 < electrodes; ++i) {
      Dc2dDatum d{i, i + 1, i + n + 1, i + n + 2};
      d.rho = rho(i, n);
      f.survey.data.push_back(d);
    }
  return f;
}

TEST(Dc2dField, MeasuredTerrainAndTopoFilesReadAsThe2dToolsData) {
  // A pole-dipole section with ηa: the device, the parameter mode found from the data lines,
  // the remote B, and the line of a broken datum.
  const std::string hd3 =
      "三极实测数据\n剖面 7\n10, 100\n3\n0, 1, 2, 120.5, 3.2\n1, 2, 3, 98, 2.9\n2, 3, 4, 101, 3\n";
  Dc2dFile f;
  std::string err;
  ASSERT_TRUE(parseMeasuredFile(hd3, *measuredKindOf("a/b.HD3"), f, err)) << err;
  EXPECT_EQ(f.survey.device, Dc2dDevice::PoleDipoleSounding);
  EXPECT_EQ(f.name, "剖面 7");
  EXPECT_TRUE(f.chargeability());
  ASSERT_EQ(f.survey.data.size(), 3u);
  EXPECT_EQ(f.survey.data[1].b, kRemote2d);
  EXPECT_DOUBLE_EQ(f.survey.electrodes[static_cast<std::size_t>(f.survey.data[1].n)].x, 130);
  EXPECT_DOUBLE_EQ(f.survey.data[2].eta, 3);
  // Written and read again: the same data.
  Dc2dFile back;
  ASSERT_TRUE(parseMeasuredFile(formatMeasuredFile(f), *measuredKindOf("x.hd3"), back, err));
  EXPECT_EQ(back.survey.data.size(), 3u);
  EXPECT_DOUBLE_EQ(back.survey.data[0].rho, 120.5);
  // Another tag, a bad datum (its file line), the dipole-dipole file named by the wrong suffix.
  EXPECT_FALSE(parseMeasuredFile("二极实测数据\n" + hd3.substr(hd3.find('\n') + 1),
                                 *measuredKindOf("b.hd3"), f, err));
  EXPECT_NE(err.find("首行应为：三极实测数据"), std::string::npos);
  std::string bad = hd3;
  bad.replace(bad.find("98"), 2, "-98");
  EXPECT_FALSE(parseMeasuredFile(bad, *measuredKindOf("b.hd3"), f, err));
  EXPECT_EQ(err.rfind("第6行", 0), 0u) << err;
  EXPECT_EQ(measuredKindOf("x.dat"), nullptr);
  // Terrain: metres along the profile, ascending.
  std::vector<XZ> t;
  ASSERT_TRUE(parseTerrainFile("地形数据\n3\n0, 10\n50, 12.5\n100, 11\n", t, err)) << err;
  ASSERT_EQ(t.size(), 3u);
  EXPECT_DOUBLE_EQ(t[1].z, 12.5);
  EXPECT_FALSE(parseTerrainFile("地形数据\n2\n50, 1\n10, 2\n", t, err));
  EXPECT_NE(err.find("递增"), std::string::npos);
  EXPECT_FALSE(parseTerrainFile("地形数据\n3\n0, 1\n", t, err));
  // A topographic-correction file: the device on line 2, terrain in stations at the end; a
  // bad line is reported with its line in the file.
  const std::string top =
      "二维电阻率法地形改正数据文件\n9\n剖面\n5, 0\n2\n0, 1, 2, 3, 50\n1, 2, 3, 4, 55\n2\n0, "
      "0\n4, 3\n";
  ASSERT_TRUE(parseTopoFile(top, f, err)) << err;
  EXPECT_EQ(f.survey.device, Dc2dDevice::SymmetricSounding);
  EXPECT_EQ(f.survey.terrain.size(), 2u);
  EXPECT_DOUBLE_EQ(f.survey.terrain[1].x, 20);
  EXPECT_FALSE(f.chargeability());
  ASSERT_TRUE(parseTopoFile(formatTopoFile(f), back, err)) << err;
  EXPECT_EQ(back.survey.terrain.size(), 2u);
  std::string badTop = top;
  badTop.replace(badTop.find("55"), 2, "x");
  EXPECT_FALSE(parseTopoFile(badTop, f, err));
  EXPECT_EQ(err.rfind("第7行", 0), 0u) << err;
  EXPECT_FALSE(parseTopoFile("二维电阻率法地形改正数据文件\n12\n", f, err));
}

TEST(Dc2dAuto, DataErrorIsTheNeighbourScatterAlongEachLevel) {
  // 4 % log-normal noise on a trend that is linear in x along every level: the estimate finds
  // the noise (the trend adds nothing to second differences).
  std::mt19937 rng(3);
  std::normal_distribution<double> g(0, 1);
  const Dc2dFile clean =
      dipoleSection(60, 6, [](int i, int n) { return 100 * std::exp(0.01 * i + 0.1 * n); });
  EXPECT_LT(estimateDc2dDataError(clean.survey), 1e-9);
  const Dc2dFile noisy = dipoleSection(
      60, 6, [&](int i, int n) { return 100 * std::exp(0.01 * i + 0.1 * n + 0.04 * g(rng)); });
  EXPECT_NEAR(estimateDc2dDataError(noisy.survey), 4.0, 0.6);
  const Dc2dAutoSettings st = dc2dAutoDefaults(noisy);
  EXPECT_NEAR(st.errorPercent, 4.0, 0.6);
  EXPECT_EQ(st.cellsPerSpacing, 3);  // 60 electrodes
  EXPECT_EQ(st.iterations, 6);
  // Noise-free data take the floor of 2 %; a wide range of ρa more iterations.
  EXPECT_DOUBLE_EQ(dc2dAutoDefaults(clean).errorPercent, 2.0);
  EXPECT_EQ(dc2dAutoDefaults(dipoleSection(20, 4, [](int i, int) { return i < 8 ? 10.0 : 500.0; }))
                .iterations,
            8);
}

TEST(Dc2dAuto, HomogeneousHalfSpaceInvertsToAUniformModel) {
  // The analytic ρa of a 50 Ω·m half-space is 50 for every array; the model comes back within
  // the forward's accuracy, and the sections carry it.
  const Dc2dFile f = dipoleSection(16, 4, [](int, int) { return 50.0; });
  Dc2dAutoSettings st = dc2dAutoDefaults(f);
  EXPECT_EQ(st.cellsPerSpacing, 4);
  st.iterations = 3;
  Dc2dAutoRun run;
  const Outcome o = runDc2dAuto(f, st, run);
  ASSERT_TRUE(o) << o.message;
  EXPECT_LT(run.inversion.rms(), 2.0);
  double lo = 1e9, hi = 0;
  for (double r : run.inversion.cellRho) lo = std::min(lo, r), hi = std::max(hi, r);
  EXPECT_GT(lo, 50 * 0.95);
  EXPECT_LT(hi, 50 * 1.05);
  ASSERT_EQ(run.model.columns(), 1);
  EXPECT_GT(run.model.points(), 20u);
  for (double z : run.model.z) EXPECT_LE(z, 0);  // the first layer repeated at the surface
  ASSERT_EQ(run.pseudo.columns(), 2);
  EXPECT_EQ(run.pseudo.points(), f.survey.data.size());
  EXPECT_NE(run.resultText.find("反演结果"), std::string::npos);
  // Written and read back; the model section as a section file.
  test::TempDir tmp;
  std::string err;
  ASSERT_TRUE(writeDc2dAutoRun(run, tmp.file("line"), true, err)) << err;
  SectionData back;
  ASSERT_TRUE(readSectionFile(tmp.file("line_mod.sec"), back, err)) << err;
  EXPECT_EQ(back.points(), run.model.points());
  EXPECT_NEAR(back.values[0][3], run.model.values[0][3], 1e-5 * run.model.values[0][3]);
  EXPECT_GT(test::readFile(tmp.file("line_mod.png")).size(), 1000u);
  // Bad settings are refused before any work.
  st.iterations = 0;
  EXPECT_FALSE(runDc2dAuto(f, st, run));
}

TEST(Dc2dSection, FileRoundTripAndRefusals) {
  SectionData d;
  d.title = "断面";
  d.dx = 10;
  d.x0 = 5;
  d.kind = 2;
  d.x = {0, 10, 20};
  d.z = {-1, -2, -3};
  d.names = {"电阻率(Ω·m)", "极化率(%)"};
  d.values = {{10, 20, NULL_VALUE_D}, {1, 2, 3}};
  d.terrain = {{0, 0}, {20, 1}};
  SectionData b;
  std::string err;
  ASSERT_TRUE(parseSectionFile(formatSectionFile(d), b, err)) << err;
  EXPECT_EQ(b.names, d.names);
  ASSERT_EQ(b.values.size(), 2u);
  EXPECT_EQ(b.values[1], d.values[1]);
  EXPECT_DOUBLE_EQ(b.values[0][1], 20);
  EXPECT_TRUE(isNullValue(b.values[0][2]));
  EXPECT_EQ(b.terrain.size(), 2u);
  EXPECT_EQ(b.kind, 2);
  std::string text = formatSectionFile(d);
  EXPECT_FALSE(parseSectionFile(text.substr(0, text.find("20, -3")), b, err));
  EXPECT_FALSE(parseSectionFile("断面\n", b, err));
  EXPECT_NE(err.find(kSectionTag), std::string::npos);
}

}  // namespace
}  // namespace sarnoth::electric
