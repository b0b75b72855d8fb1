// The modeller's files: round trips, files of the wrong kind, broken files, the terrain grid
// under the stations, the exports and the demo set.
#include <gtest/gtest.h>

#include <cmath>

#include "gravmag/gm2d_demo.h"
#include "gravmag/gm2d_files.h"
#include "gravmag/gm2d_forward.h"
#include "gravmag/gm2d_inversion.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/scatter_file.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gm2d {
namespace {

using test::TempDir;
using test::writeFile;

Model sample() {
  Model m;
  m.title = "测试 模型";
  m.field = {51234.5, 47.25, -3.5};
  m.azimuth = 112.5;
  m.component = MagComponent::Za;
  m.backgroundDensity = 2.6;
  m.backgroundSusceptibility = 0.0001;
  m.gravityTrend = {100, {1.25, -0.5, 0.0125}, true};
  m.magneticTrend = {0, {12}, false};
  Body b;
  b.name = "矿体 一号";
  b.vertices = {{-10.5, 20.25}, {30, 22}, {25.125, 80}, {-5, 75}};
  b.free = {0, 1, 2, 3};
  b.density = 3.1;
  b.densityMin = 2.8;
  b.densityMax = 3.4;
  b.invertDensity = true;
  b.susceptibility = 0.05;
  b.invertSusceptibility = false;
  b.remanence = 2.5;
  b.remInclination = -30;
  b.remDeclination = 170;
  b.remanenceMin = 1;
  b.remanenceMax = 4;
  b.invertRemanence = true;
  b.halfStrike = 750;
  b.colour = {12, 34, 56};
  b.moveX = 40;
  b.moveZ = 60;
  b.chosen = true;
  b.label = Point2{5, 50};
  Body c;
  c.name = "围岩";
  c.vertices = {{100, 10}, {200, 10}, {150, 90}};
  m.bodies = {b, c};
  return m;
}

TEST(Gm2dFiles, ModelRoundTripKeepsEverything) {
  TempDir d;
  const Model m = sample();
  ASSERT_TRUE(writeModel(d.file("a.mo2"), m));
  // Written as GBK with the magic first.
  const std::string bytes = test::readFile(d.file("a.mo2"));
  EXPECT_EQ(bytes.substr(0, 14), std::string(kModelMagic) + "\r\n");
  EXPECT_NE(bytes.find(utf8ToGbk("矿体 一号")), std::string::npos);
  Model r;
  ASSERT_TRUE(readModel(d.file("a.mo2"), r));
  EXPECT_EQ(modelText(r), modelText(m));
  EXPECT_EQ(r.bodies[0].name, "矿体 一号");
  EXPECT_EQ(r.bodies[0].free, m.bodies[0].free);
  EXPECT_EQ(r.bodies[0].label->x, 5);
  EXPECT_TRUE(r.gravityTrend.invert);
  EXPECT_EQ(r.component, MagComponent::Za);
  EXPECT_EQ(r.bodies[1].freedom(2), kFixed);
}

TEST(Gm2dFiles, BrokenOrForeignFilesAreRefusedWithTheirLine) {
  TempDir d;
  const std::string good = modelText(sample());
  Model untouched = sample(), out = untouched;
  auto refuse = [&](const std::string& text) {
    writeFile(d.file("x.mo2"), text);
    Outcome o = readModel(d.file("x.mo2"), out);
    EXPECT_FALSE(o) << text.substr(0, 60);
    EXPECT_EQ(modelText(out), modelText(untouched));  // the model stays as it was
    return o.message;
  };
  EXPECT_EQ(refuse("#SRNTHGMOBS#\r\nTITLE x\r\n"), kMsgNotModel);
  EXPECT_EQ(refuse("#SRNTHGRIDB#........"), kMsgNotModel);
  EXPECT_EQ(refuse(""), kMsgNotModel);
  // The older makers' magics read alike: only characters 7 to 12 count.
  writeFile(d.file("y.mo2"), "#OTHERGMMOD#" + good.substr(12));
  EXPECT_TRUE(readModel(d.file("y.mo2"), out));
  out = untouched;
  // Truncated in the vertex list, a count far beyond the file, a word for a number, a bow tie.
  EXPECT_FALSE(refuse(good.substr(0, good.size() / 2)).empty());
  std::string huge = good;
  huge.replace(huge.find("VERTICES 4"), 10, "VERTICES 400000000");
  EXPECT_NE(refuse(huge).find("行"), std::string::npos);
  std::string word = good;
  word.replace(word.find("FIELD 51234.5"), 13, "FIELD abc");
  EXPECT_NE(refuse(word).find("第 3 行"), std::string::npos);
  std::string bow = good;
  bow.replace(bow.find("30 22 1"), 7, "30 100 1");
  EXPECT_NE(refuse(bow).find(kMsgSelfIntersect), std::string::npos);
}

TEST(Gm2dFiles, ObservedRoundTripSortsStationsAndKeepsGaps) {
  TempDir d;
  writeFile(d.file("p.gm2"),
            "#SRNTHGMOBS#\nTITLE 测线 3\n; a comment\nORIGIN 500100 3350200 45\nCOMPONENT ZA\n"
            "COLUMNS T X H\nDATA 3\n12.5 100 50\n-1E+38 0 55.5\n7 50 52\nEND\n");
  Profile p;
  ASSERT_TRUE(readObserved(d.file("p.gm2"), p));
  EXPECT_EQ(p.x, (std::vector<double>{0, 50, 100}));
  EXPECT_EQ(p.elevation, (std::vector<double>{55.5, 52, 50}));
  EXPECT_TRUE(isMissing(p.magnetic[0]));
  EXPECT_EQ(p.magnetic[2], 12.5);
  EXPECT_FALSE(p.has(FieldKind::Gravity));
  EXPECT_EQ(p.component, MagComponent::Za);
  ASSERT_TRUE(p.georeferenced);
  ASSERT_TRUE(writeObserved(d.file("q.gm2"), p));
  Profile q;
  ASSERT_TRUE(readObserved(d.file("q.gm2"), q));
  EXPECT_EQ(q.x, p.x);
  EXPECT_EQ(q.elevation, p.elevation);
  EXPECT_TRUE(isMissing(q.magnetic[0]));
  EXPECT_EQ(q.originY, 3350200);
  // Refusals.
  writeFile(d.file("r.gm2"), "#SRNTHGMOBS#\nCOLUMNS X H G\nDATA 5\n0 1 2\n");
  EXPECT_FALSE(readObserved(d.file("r.gm2"), q));
  writeFile(d.file("r.gm2"), "#SRNTHGMOBS#\nCOLUMNS X H G\nDATA 2\n0 1 2\n0 1 3\n");
  EXPECT_FALSE(readObserved(d.file("r.gm2"), q));  // two stations at one place
  writeFile(d.file("r.gm2"), "#SRNTHGMOBS#\nCOLUMNS X G\nDATA 1\n0 1\n");
  EXPECT_FALSE(readObserved(d.file("r.gm2"), q));  // no elevation column
  writeFile(d.file("r.gm2"), "#SRNTHGMMOD#\n");
  EXPECT_EQ(readObserved(d.file("r.gm2"), q).message, kMsgNotObserved);
  EXPECT_EQ(q.x, p.x);
}

TEST(Gm2dFiles, ColourScaleAndPrintSettingsRoundTrip) {
  TempDir d;
  ColourScale s = ColourScale::defaultDensity();
  s.bySusceptibility = true;
  ASSERT_TRUE(writeColourScale(d.file("c.clr"), s));
  ColourScale r;
  ASSERT_TRUE(readColourScale(d.file("c.clr"), r));
  EXPECT_EQ(r.values, s.values);
  EXPECT_EQ(r.colours, s.colours);
  EXPECT_TRUE(r.bySusceptibility);
  // Halfway between two levels is the mean colour; beyond the ends the end colours.
  const Rgb mid = s.at(0.5 * (s.values[1] + s.values[2]));
  EXPECT_EQ(mid.g, (s.colours[1].g + s.colours[2].g + 1) / 2);
  EXPECT_EQ(s.at(-5), s.colours.front());
  writeFile(d.file("bad.clr"), "#SRNTHGMCLR#\nLEVELS 2\n3 0 0 0\n1 0 0 0\n");
  EXPECT_FALSE(readColourScale(d.file("bad.clr"), r));  // descending

  PrintSettings p;
  p.title = "二维剖面图 3";
  p.landscape = false;
  p.margins[2] = 33.5;
  p.profileFraction = 0.3;
  p.colour = false;
  p.fontPoints = 11;
  ASSERT_TRUE(writePrintSettings(d.file("p.set"), p));
  PrintSettings q;
  ASSERT_TRUE(readPrintSettings(d.file("p.set"), q));
  EXPECT_EQ(q.title, "二维剖面图 3");
  EXPECT_FALSE(q.landscape);
  EXPECT_EQ(q.margins[2], 33.5);
  EXPECT_EQ(q.profileFraction, 0.3);
  EXPECT_FALSE(q.colour);
  EXPECT_EQ(readPrintSettings(d.file("c.clr"), q).message, kMsgNotPrintSet);
}

TEST(Gm2dFiles, TerrainGridGivesTheStationElevations) {
  // A plane h = 100 + 0.01 e + 0.02 n is reproduced exactly by bilinear interpolation, on a
  // grid turned by 30° as well.
  for (float angle : {0.0f, 30.0f}) {
    Grid g;
    g.header.x0 = 1000;
    g.header.y0 = 2000;
    g.header.angle = angle;
    g.header.nx = 50;
    g.header.ny = 40;
    g.header.dx = 100;
    g.header.dy = 100;
    const double a = angle * M_PI / 180;
    for (int r = 0; r < 40; ++r)
      for (int c = 0; c < 50; ++c) {
        const double e = 1000 + c * 100 * std::cos(a) - r * 100 * std::sin(a);
        const double n = 2000 + c * 100 * std::sin(a) + r * 100 * std::cos(a);
        g.nodes.push_back(static_cast<float>(100 + 0.01 * (e - 1000) + 0.02 * (n - 2000)));
      }
    Profile p;
    p.georeferenced = true;
    p.originX = 1500;
    p.originY = 2600;
    p.azimuth = 60;
    p.x = {0, 333, 1000};
    p.elevation = {0, 0, 0};
    ASSERT_TRUE(applyTerrain(p, g)) << angle;
    for (std::size_t i = 0; i < 3; ++i) {
      const double e = 1500 + p.x[i] * std::sin(M_PI / 3), n = 2600 + p.x[i] * std::cos(M_PI / 3);
      EXPECT_NEAR(p.elevation[i], 100 + 0.01 * (e - 1000) + 0.02 * (n - 2000), 2e-4) << angle;
    }
    p.x.push_back(90000);  // off the grid
    p.elevation.push_back(7);
    EXPECT_FALSE(applyTerrain(p, g));
    EXPECT_EQ(p.elevation.back(), 7);
  }
}

TEST(Gm2dFiles, DemoSetReadsBackAndItsStartModelInvertsTowardsTheTruth) {
  TempDir d;
  ASSERT_TRUE(createWorkArea(d.str()));
  ASSERT_TRUE(writeGm2dDemo(d.dir()));
  Profile p;
  Model start, truth;
  ASSERT_TRUE(readObserved(d.dir() + "Prof_Dat/" + kDemoProfile, p));
  ASSERT_TRUE(readModel(d.dir() + "Prof_Dat/" + kDemoStartModel, start));
  ASSERT_TRUE(readModel(d.dir() + "Prof_Dat/" + kDemoTrueModel, truth));
  ASSERT_EQ(p.size(), 201u);
  EXPECT_TRUE(checkModel(start, p.x, p.elevation));
  // The stations stand on the demo terrain grid.
  GridReadResult g = readGrid(d.dir() + "Prof_Dat/" + kDemoTerrain);
  ASSERT_TRUE(g.ok());
  Profile onGrid = p;
  ASSERT_TRUE(applyTerrain(onGrid, g.grid));
  for (std::size_t i = 0; i < p.size(); i += 20)
    EXPECT_NEAR(onGrid.elevation[i], p.elevation[i], 0.1);
  InversionSettings s;
  const InversionResult r = invert(start, p, s);
  ASSERT_TRUE(r.outcome);
  EXPECT_LT(r.finalRms, 0.1 * r.startRms);
  EXPECT_NEAR(r.model.bodies[0].vertices[4].z, truth.bodies[0].vertices[4].z, 150);
  // Exports are the system's ASCII scatter files.
  ASSERT_TRUE(writeCalculatedDat(d.file("calc.dat"), r.model, p,
                                 {FieldKind::Gravity, FieldKind::Magnetic}));
  ScatterReadResult sc = readAsciiScatter(d.file("calc.dat"));
  ASSERT_TRUE(sc.ok());
  EXPECT_EQ(sc.file.recordCount, 201);
  EXPECT_EQ(sc.file.names[2], "G_OBS");
  EXPECT_EQ(sc.file.names.back(), "T_磁性岩脉");
  EXPECT_NEAR(sc.file.at(100, 4), sc.file.at(100, 2) - sc.file.at(100, 3), 1e-4);
  ASSERT_TRUE(writeObservedDat(d.file("obs.dat"), p));
  sc = readAsciiScatter(d.file("obs.dat"));
  ASSERT_TRUE(sc.ok());
  EXPECT_EQ(sc.file.names, (std::vector<std::string>{"X", "H", "G", "T", "E", "N"}));
  EXPECT_FLOAT_EQ(sc.file.at(200, 4), 518000.0f);
}

}  // namespace
}  // namespace sarnoth::gm2d
