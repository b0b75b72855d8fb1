// Coordinate conversion between two sides: the list rules, the checks of a side, zones and
// units, datums, parallel runs, and the table, scatter and .gph sources.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "prep/coord_convert.h"
#include "prep/projection_table.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/scatter_file.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

using projconv::kNumber;
namespace pt = projtable;

CoordSide sideOf(const std::string& sideText, int which) {
  CoordSideTexts t;
  std::string error;
  EXPECT_TRUE(parseCoordSideSpec(sideText, which, t, error)) << error;
  CoordSideResult r = buildCoordSide(t, which);
  EXPECT_TRUE(r.outcome.ok) << sideText << ": " << r.outcome.message;
  return r.side;
}

std::unique_ptr<CoordTransform> transform(const std::string& from, const std::string& to) {
  std::string message;
  auto t = CoordTransform::create(sideOf(from, 0), sideOf(to, 1), message);
  EXPECT_TRUE(t) << message;
  return t;
}

TEST(CoordConvertLists, RowsRulesAndTheSwappedPair) {
  EXPECT_EQ(pt::projectionCaption(0, 11), "等矩形投影(EQUIRECTANGULAR) ");
  EXPECT_EQ(pt::projectionCaption(1, 11), "等距方位投影(AZIMUTHAL EQUDISTANT) ");
  EXPECT_EQ(pt::projectionCaption(0, 16), "等距方位投影(AZIMUTHAL EQUDISTANT)");
  EXPECT_EQ(pt::projectionCaption(1, 16), "等矩形投影(EQUIRECTANGULAR)");
  EXPECT_EQ(pt::projectionCaption(1, 25), "哈默爱托夫投影(HAMMER)\u3000");
  // The number follows the text, so the same text is the same projection on both sides.
  EXPECT_EQ(pt::projectionNumber(0, 11), 16);
  EXPECT_EQ(pt::projectionNumber(1, 16), 16);
  EXPECT_EQ(pt::projectionNumber(0, 16), 11);
  EXPECT_EQ(pt::projectionNumber(1, 11), 11);
  EXPECT_EQ(pt::projectionNumber(0, 5), 5);
  // The rules stay with the row: row 11 forces the sphere on both sides, row 16 leaves it free.
  EXPECT_TRUE(pt::projectionRow(11)->sphere);
  EXPECT_FALSE(pt::projectionRow(16)->sphere);
  for (int n = 1; n < 30; ++n) EXPECT_NE(*pt::projectionOperation(n)->templ, '\0') << n;

  const auto& e = pt::ellipsoidRows();
  ASSERT_EQ(e.size(), 25u);
  EXPECT_STREQ(e[3].semiMajor, "6378245.0");
  EXPECT_STREQ(e[13].caption, "埃维而尔斯特 1930/48");  // the pairs one place apart from here
  EXPECT_STREQ(e[13].semiMinor, "6356768.337303");
  EXPECT_STREQ(e[22].semiMajor, "6370997.0");
}

TEST(CoordConvertLists, EveryReadyMadeSystemIsInProjsDatabase) {
  const auto& systems = pt::readyMadeSystems();
  EXPECT_EQ(systems.size(), 4u + 3u * (21u + 21u + 11u + 11u) + 120u);
  for (const auto& s : systems) {
    SystemInfo info = describeSystem(s.name);
    ASSERT_TRUE(info.ok) << s.name;
    EXPECT_EQ(info.name, s.name);
    EXPECT_EQ(info.geographic, s.name.find(" / ") == std::string::npos) << s.name;
    EXPECT_EQ(info.code, "EPSG:" + std::to_string(s.epsg));
    EXPECT_EQ(describeSystem(s.caption).code, info.code) << s.caption;
  }
  EXPECT_EQ(describeSystem("CGCS2000 / 3-degree Gauss-Kruger zone 39").code, "EPSG:4527");
  EXPECT_EQ(describeSystem("4490").code, "EPSG:4490");
  EXPECT_EQ(describeSystem("epsg:4214").name, "Beijing 1954");
  EXPECT_FALSE(describeSystem("EPSG:4978").ok);  // geocentric: not a side
  EXPECT_FALSE(describeSystem("Beijing 1954 / zone 99").ok);
  // A registry name outside the list is looked up by name.
  EXPECT_EQ(describeSystem("New Beijing / 3-degree Gauss-Kruger CM 117E").code, "EPSG:4796");
}

TEST(CoordConvertSides, SelectingARowWritesItsDefaults) {
  CoordSideTexts t;
  applyProjectionRow(t, 1, 3);
  EXPECT_EQ(t.scale, "0.9996");
  EXPECT_EQ(t.falseEasting, "500000.0");
  EXPECT_EQ(t.unit, 1);  // metres
  t.south = true;
  applyProjectionRow(t, 1, 3);
  EXPECT_EQ(t.falseNorthing, "10000000.0");
  applyProjectionRow(t, 1, 1);
  EXPECT_EQ(t.scale, "1");
  EXPECT_EQ(t.falseNorthing, "0.0");
  t.parallel1 = "30";
  applyProjectionRow(t, 1, 28);
  EXPECT_EQ(t.parallel1, "3.5");
  EXPECT_EQ(t.parallel2, "1.4");
  EXPECT_EQ(t.ellipsoid, pt::kSphereEllipsoid);
  EXPECT_EQ(t.semiMajor, "6370997.0");
  applyProjectionRow(t, 1, 5);
  EXPECT_EQ(t.parallel1, "25");
  EXPECT_EQ(t.parallel2, "47");
  applyProjectionRow(t, 1, 0);
  EXPECT_EQ(t.unit, 0);  // degrees
  applyEllipsoidRow(t, 4);
  EXPECT_EQ(t.semiMajor, "6378140");
  applyEllipsoidRow(t, pt::kUserEllipsoid);
  EXPECT_EQ(t.semiMajor, "6378140");  // left as it was
}

TEST(CoordConvertSides, ChecksInTheWindowsOrderWithTheSystemsTexts) {
  CoordSideTexts t;
  EXPECT_EQ(buildCoordSide(t, 0).outcome.message, kMsgNoInputModel);
  EXPECT_EQ(buildCoordSide(t, 1).outcome.message, kMsgNoOutputModel);
  applyProjectionRow(t, 0, 1);
  EXPECT_EQ(buildCoordSide(t, 0).outcome.message, kMsgInputAxes);  // empty axis boxes
  applyEllipsoidRow(t, 3);
  t.semiMinor = "6378246";  // short above long
  EXPECT_EQ(buildCoordSide(t, 1).outcome.message, kMsgOutputAxes);
  applyEllipsoidRow(t, 3);
  t.centralMeridian = "东经117";
  EXPECT_EQ(buildCoordSide(t, 0).outcome.message, std::string(kMsgConvBadParameter) + "中央经线");
  t.centralMeridian = "117";
  t.unit = 2;
  t.unitFactor = "0";
  EXPECT_EQ(buildCoordSide(t, 0).outcome.message, kMsgInputUnitFactor);
  t.unitFactor = "-2";
  EXPECT_EQ(buildCoordSide(t, 1).outcome.message, kMsgOutputUnitFactor);
  t.unit = 1;
  t.scale = "0";
  EXPECT_EQ(buildCoordSide(t, 0).outcome.message, kMsgInputScale);

  // What a good side holds: angles from D.MMSS, the scale as a single.
  applyProjectionRow(t, 1, 3);
  t.centralMeridian = "117.3045";
  CoordSideResult r = buildCoordSide(t, 1);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_NEAR(r.side.record[projconv::kCentralMeridian], 117.5125, 1e-12);
  EXPECT_EQ(r.side.record[projconv::kScale], static_cast<double>(0.9996f));
  // Row 28 reads m and n as plain numbers, not as D.MMSS.
  applyProjectionRow(t, 1, 28);
  r = buildCoordSide(t, 1);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.side.record[projconv::kShapeM], 3.5);
  EXPECT_EQ(r.side.record[projconv::kShapeN], 1.4);

  // A system of the database in place of the frames.
  CoordSideTexts s;
  s.system = "CGCS2000 3度带 39带 (带号+横坐标)";
  r = buildCoordSide(s, 0);
  ASSERT_TRUE(r.outcome.ok);
  EXPECT_EQ(r.side.system, "EPSG:4527");
  s.system = "EPSG:999999";
  EXPECT_EQ(buildCoordSide(s, 0).outcome.message,
            std::string(kMsgConvUnknownSystem) + "EPSG:999999");
}

TEST(CoordConvertSides, CommandLineSpecs) {
  CoordSideTexts t;
  std::string error;
  ASSERT_TRUE(parseCoordSideSpec("proj=utm,ellps=7,cm=117,south,unit=km", 1, t, error));
  EXPECT_EQ(t.projection, 3);
  EXPECT_EQ(t.scale, "0.9996");
  EXPECT_EQ(t.falseNorthing, "10000000.0");
  EXPECT_EQ(t.unit, 0);
  ASSERT_TRUE(parseCoordSideSpec("proj=eqc", 0, t, error));
  EXPECT_EQ(t.projection, 11);  // the input list shows equirectangular at row 11
  ASSERT_TRUE(parseCoordSideSpec("proj=11", 0, t, error));
  EXPECT_EQ(pt::projectionNumber(0, t.projection), 16);
  ASSERT_TRUE(parseCoordSideSpec("sys=EPSG:4527,unit=km", 0, t, error));
  EXPECT_EQ(t.system, "EPSG:4527");
  EXPECT_FALSE(parseCoordSideSpec("proj=mercator", 0, t, error));
  EXPECT_FALSE(parseCoordSideSpec("proj=gk3,ellps=99", 0, t, error));
  EXPECT_FALSE(parseCoordSideSpec("proj=gk3,unit=feet", 0, t, error));
}

// A CGCS2000 3° zone 39 point with the zone in front of x (reference: cs2cs, GRS 1980,
// +proj=tmerc +lon_0=117 +x_0=500000 gives 543006.8150 4374133.4769 for 117.5°E 39.5°N).
TEST(CoordConvertZones, ThePrefixTakesThePointToItsZone) {
  auto fromGk = transform("proj=gk3,ellps=10,prefix", "proj=geo,ellps=10");
  double x = 39543006.8150, y = 4374133.4769;
  ASSERT_TRUE(fromGk->convert(x, y));
  EXPECT_NEAR(x, 117.5, 1e-8);
  EXPECT_NEAR(y, 39.5, 1e-8);
  // The same through the ready-made system agrees to a millimetre.
  auto ready = transform("CGCS2000 / 3-degree Gauss-Kruger zone 39", "EPSG:4490");
  x = 39543006.8150;
  y = 4374133.4769;
  ASSERT_TRUE(ready->convert(x, y));
  EXPECT_NEAR(x, 117.5, 1e-8);
  EXPECT_NEAR(y, 39.5, 1e-8);
  EXPECT_EQ(ready->note(), "");  // one datum: nothing to say

  // On output every point takes its own zone (references: cs2cs with lon_0 117 and 120).
  auto toGk = transform("proj=geo,ellps=10", "proj=gk3,ellps=10,prefix");
  std::vector<double> xs = {116.0, 118.9}, ys = {30.25, 30.25};
  ASSERT_EQ(toGk->convertAll(xs, ys), 0u);
  EXPECT_NEAR(xs[0], 39403754.0556, 1e-3);
  EXPECT_NEAR(ys[0], 3348250.1850, 1e-3);
  EXPECT_NEAR(xs[1], 40394128.9011, 1e-3);
  EXPECT_NEAR(ys[1], 3348339.0559, 1e-3);
  // Without the prefix the zone is dropped from x.
  auto plain = transform("proj=geo,ellps=10", "proj=gk3,ellps=10");
  xs = {118.9};
  ys = {30.25};
  plain->convertAll(xs, ys);
  EXPECT_NEAR(xs[0], 394128.9011, 1e-3);
  // Southern UTM (row 3 with chkNSH; the scale read as a single, as cs2cs was given it).
  auto utm = transform("proj=geo,ellps=7", "proj=utm,ellps=7,south");
  x = 117.5;
  y = -30.5;
  ASSERT_TRUE(utm->convert(x, y));
  EXPECT_NEAR(x, 547980.5610, 1e-3);
  EXPECT_NEAR(y, 6625702.2494, 1e-3);
  // A prefix for a zone that cannot exist fails the point.
  x = 150543006.0;
  y = 4374133.0;
  EXPECT_FALSE(fromGk->convert(x, y));
}

TEST(CoordConvertUnits, KilometresFactorsAndAngleForms) {
  auto m = transform("proj=geo,ellps=10", "proj=gk3,ellps=10,prefix");
  auto km = transform("proj=geo,ellps=10", "proj=gk3,ellps=10,prefix,unit=km");
  auto dm = transform("proj=geo,ellps=10", "proj=gk3,ellps=10,prefix,unit=f:10");
  double x1 = 117.5, y1 = 39.5, x2 = 117.5, y2 = 39.5, x3 = 117.5, y3 = 39.5;
  m->convert(x1, y1);
  km->convert(x2, y2);
  dm->convert(x3, y3);
  EXPECT_NEAR(x2, x1 / 1000, 1e-9);
  EXPECT_NEAR(y3, y1 * 10, 1e-6);
  // Back from kilometres with the prefix in front of the kilometres.
  auto back = transform("proj=gk3,ellps=10,prefix,unit=km", "proj=geo,ellps=10,unit=dms");
  ASSERT_TRUE(back->convert(x2, y2));
  EXPECT_NEAR(x2, 117.30, 1e-9);  // 117°30'
  EXPECT_NEAR(y2, 39.30, 1e-9);
  auto dms3 = transform("proj=geo,ellps=10,unit=dddmmss", "proj=geo,ellps=10,unit=dd");
  double lo = 1173045.0, la = 393000.0;
  ASSERT_TRUE(dms3->convert(lo, la));
  EXPECT_NEAR(lo, 117.5125, 1e-9);
  EXPECT_NEAR(la, 39.5, 1e-9);
}

TEST(CoordConvertDatums, AKnownShiftANoneAndTheNote) {
  // Beijing 1954 to WGS 84: PROJ knows shifts for parts of China (reference: cs2cs
  // EPSG:4214 EPSG:4326 gives 38.500282862 80.499529223 in the Tarim basin).
  auto t = transform("EPSG:4214", "EPSG:4326");
  std::vector<double> xs = {80.5, 117.5}, ys = {38.5, 39.5};
  ASSERT_EQ(t->convertAll(xs, ys), 0u);
  EXPECT_NEAR(xs[0], 80.499529223, 2e-9);
  EXPECT_NEAR(ys[0], 38.500282862, 2e-9);
  EXPECT_EQ(xs[1], 117.5);  // Beijing lies outside every known shift
  EXPECT_NE(t->note().find(kNoteDatumShift), std::string::npos);
  EXPECT_NE(t->note().find("1 点在基准转换参数的适用范围之外"), std::string::npos);
  // Xian 1980 to CGCS2000: no shift known, only the ellipsoid changes.
  auto x = transform("Xian 1980 / 3-degree Gauss-Kruger CM 117E",
                     "CGCS2000 / 3-degree Gauss-Kruger CM 117E");
  EXPECT_EQ(x->note(), kNoteEllipsoidOnly);
  // The frames carry no datum: a change of ellipsoid is said, the same ellipsoid says nothing.
  EXPECT_EQ(transform("proj=geo,ellps=3", "proj=lcc,ellps=7")->note(), kNoteEllipsoidOnly);
  EXPECT_EQ(transform("proj=geo,ellps=3", "proj=lcc,ellps=3")->note(), "");
  // Krasovsky longitude and latitude to WGS 84 Lambert: cs2cs with the two ellipsoids gives
  // 1054224.8296 4621828.3160 (lat_1 25, lat_2 47, lon_0 105).
  auto lcc = transform("proj=geo,ellps=3", "proj=lcc,ellps=7,cm=105,lat0=0");
  double lx = 117.5, ly = 39.5;
  ASSERT_TRUE(lcc->convert(lx, ly));
  EXPECT_NEAR(lx, 1054224.8296, 1e-3);
  EXPECT_NEAR(ly, 4621828.3160, 1e-3);
}

TEST(CoordConvertRuns, BadPointsBecomeNullsAndTheRunGoesOn) {
  auto t = transform("proj=geo,ellps=23", "proj=ortho,ellps=23,cm=105,lat0=35");
  std::vector<double> xs = {110, -75, std::nan(""), 110, 100}, ys = {30, -35, 30, 95, 40};
  EXPECT_EQ(t->convertAll(xs, ys), 2u);  // the far side and the latitude beyond the pole
  EXPECT_FALSE(std::isnan(xs[0]));
  EXPECT_TRUE(std::isnan(xs[1]));
  EXPECT_TRUE(std::isnan(xs[2]));  // null in, null out, not counted
  EXPECT_TRUE(std::isnan(xs[3]));
  EXPECT_FALSE(std::isnan(xs[4]));
  PointConversion pc = convertPointTexts(*t, "-75", "-35");
  EXPECT_EQ(pc.outcome.message, kMsgConvPointFailed);
  pc = convertPointTexts(*t, "abc", "35");
  EXPECT_EQ(pc.outcome.message, std::string(kMsgConvBadParameter) + "横坐标");
  pc = convertPointTexts(*t, "105", "35");
  ASSERT_TRUE(pc.outcome.ok);
  EXPECT_EQ(pc.x, "0");
  EXPECT_EQ(pc.y, "0");
}

TEST(CoordConvertRuns, TwoCoresGiveTheSerialResultBitForBit) {
  // Points over two 3° zones, from Beijing 1954 to WGS 84 UTM through a datum shift.
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> lon(79, 82), lat(36, 40);
  std::vector<double> x0, y0;
  for (int i = 0; i < 100000; ++i) {
    x0.push_back(lon(rng));
    y0.push_back(lat(rng));
  }
  for (auto [from, to] : {std::pair<const char*, const char*>{"EPSG:4214", "EPSG:32644"},
                          {"proj=geo,ellps=3", "proj=gk3,ellps=3,prefix"}}) {
    auto serial = transform(from, to);
    auto parallel = transform(from, to);
    std::vector<double> xs = x0, ys = y0, xp = x0, yp = y0;
    serial->convertAll(xs, ys, 1);
    parallel->convertAll(xp, yp, 2);
    EXPECT_EQ(std::memcmp(xs.data(), xp.data(), xs.size() * sizeof(double)), 0) << to;
    EXPECT_EQ(std::memcmp(ys.data(), yp.data(), ys.size() * sizeof(double)), 0) << to;
    EXPECT_EQ(serial->note(), parallel->note());
    // One set of objects per thread, not per point: per thread the side's own record (or the
    // system's and the datum's) plus one per zone met, two zones here.
    EXPECT_LE(parallel->objectCount(), 2u * 3u) << to;
  }
}

// --- sources ---------------------------------------------------------------------------------

class CoordSourceTest : public test::ScratchFiles, public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp_.str()).ok);
    db = openWorkDatabase(tmp_.dir());
    t = transform("proj=geo,ellps=10", "proj=gk3,ellps=10,prefix");
    ASSERT_TRUE(t);
  }
  Database db;
  std::unique_ptr<CoordTransform> t;
  CoordRunReport report;
};

TEST_F(CoordSourceTest, TableGetsNewSingleFieldsNullsStayNull) {
  db.execute("Create Table [点位] ([样号] TEXT(10), [经度] DOUBLE, [纬度] DOUBLE)");
  db.execute("Insert Into [点位] Values ('a', 117.5, 39.5)");
  db.execute("Insert Into [点位] Values ('b', -1E+38, 39.5)");
  db.execute("Insert Into [点位] Values ('c', 117.5, 95)");
  Outcome o = convertTable(db, "点位", "经度", "纬度", "New_X", "New_Y", *t, noProgress(), report);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, kStatusTableDone);
  EXPECT_EQ(report.records, 3);
  EXPECT_EQ(report.failed, 1);
  auto f = db.fields("点位");
  ASSERT_EQ(f.size(), 5u);
  EXPECT_EQ(f[3].declared(), "SINGLE");
  EXPECT_EQ(valueToDouble(db.scalar("Select [New_X] From [点位] Where [样号]='a'")),
            static_cast<double>(39543006.8150f));
  EXPECT_EQ(valueToDouble(db.scalar("Select [New_Y] From [点位] Where [样号]='a'")),
            static_cast<double>(4374133.4769f));
  EXPECT_EQ(valueToDouble(db.scalar("Select [New_X] From [点位] Where [样号]='b'")), NULL_VALUE_D);
  EXPECT_EQ(valueToDouble(db.scalar("Select [New_Y] From [点位] Where [样号]='c'")), NULL_VALUE_D);
  // A second run writes into the fields that are there.
  Outcome again =
      convertTable(db, "点位", "经度", "纬度", "New_X", "New_Y", *t, noProgress(), report);
  ASSERT_TRUE(again.ok);
  EXPECT_EQ(db.fields("点位").size(), 5u);
}

TEST_F(CoordSourceTest, TableRefusalsAndAStopKeepsWhatIsDone) {
  db.execute("Create Table [空] ([X] SINGLE, [Y] SINGLE)");
  EXPECT_EQ(convertTable(db, "", "X", "Y", "A", "B", *t, noProgress(), report).message,
            kMsgConvNoTable);
  EXPECT_EQ(convertTable(db, "空", "", "Y", "A", "B", *t, noProgress(), report).message,
            kMsgConvNoXField);
  EXPECT_EQ(convertTable(db, "空", "X", "Y", "A", "B", *t, noProgress(), report).message,
            kMsgConvEmptyTable);
  EXPECT_EQ(db.fields("空").size(), 2u);  // nothing added

  db.execute("Create Table [大] ([X] SINGLE, [Y] SINGLE)");
  {
    TableWriter w(db, "大", {"X", "Y"});
    for (int i = 0; i < 70000; ++i) {
      w.setDouble(0, 117.0 + i * 1e-5);
      w.setDouble(1, 39.0);
      w.addRow();
    }
    w.commit();
  }
  Progress stop;
  stop.setPumpHook([] { return false; });  // the user stops after the first block
  Outcome o = convertTable(db, "大", "X", "Y", "GX", "GY", *t, stop, report);
  EXPECT_FALSE(o.ok);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [大] Where [GX] > 0")), 65536);
}

TEST_F(CoordSourceTest, ScatterFilesAsciiAndBinary) {
  ScatterFile f;
  f.magic = kScatMagicA;
  f.origin = kScatTagConverted;
  f.names = {"Au", "经度", "纬度"};
  f.values = {1.5f, 117.5f, 39.5f, 2.5f, NULL_VALUE, 39.5f};
  f.recordCount = 2;
  ASSERT_EQ(writeAsciiScatter(path("in.dat"), f), ScatterError::None);
  Outcome o =
      convertScatterFile(path("in.dat"), path("out.dat"), false, "经度", "纬度", *t, report);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, kMsgFileDone);
  ScatterReadResult r = readAsciiScatter(path("out.dat"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.at(0, 0), 1.5f);
  EXPECT_NEAR(r.file.at(0, 1), 39543006.8, 4.0);  // a single holds 4 m at that size
  EXPECT_NEAR(r.file.at(0, 2), 4374133.5, 0.5);
  EXPECT_EQ(r.file.at(1, 1), NULL_VALUE);
  EXPECT_EQ(get("out.dat").substr(get("out.dat").size() - 11), "#ENDDATA#\r\n");

  // Binary, standard layout: ends with "#ENDDATA".
  f.magic = kScatMagicB;
  f.origin = kScatOriginFromBase;
  ASSERT_EQ(writeBinaryScatter(path("in.bin"), f), ScatterError::None);
  ASSERT_TRUE(
      convertScatterFile(path("in.bin"), path("out.bin"), true, "经度", "纬度", *t, report).ok);
  std::string out = get("out.bin");
  EXPECT_EQ(out.substr(out.size() - 8), "#ENDDATA");
  EXPECT_NEAR(readBinaryScatter(path("out.bin")).file.at(0, 2), 4374133.5, 0.5);

  // The layout the old conversion wrote: no note block, counts at offset 32.
  std::string old = get("in.bin");
  old.erase(32, 28);
  put("old.bin", old);
  ASSERT_TRUE(
      convertScatterFile(path("old.bin"), path("old_out.bin"), true, "经度", "纬度", *t, report)
          .ok);
  EXPECT_NEAR(readBinaryScatter(path("old_out.bin")).file.at(0, 2), 4374133.5, 0.5);

  // The system's messages.
  put("short.dat",
      "#SRNTHSCATA#\r\nC-Data\r\n1\r\n-1E+38\r\n3\r\nAu,经度,纬度\r\n1.5,117.5\r\n#ENDDATA#\r\n");
  EXPECT_EQ(convertScatterFile(path("short.dat"), path("x.dat"), false, "经度", "纬度", *t, report)
                .message,
            kMsgConvShortRow);
  put("trunc.bin", old.substr(0, 50));
  EXPECT_EQ(convertScatterFile(path("trunc.bin"), path("x.bin"), true, "经度", "纬度", *t, report)
                .message,
            kMsgConvReadFailed);
  EXPECT_EQ(convertScatterFile(path("in.dat"), tmp_.str() + "/no/such/dir/x.dat", false, "经度",
                               "纬度", *t, report)
                .message,
            kMsgConvCreateFailed);
  EXPECT_EQ(
      convertScatterFile(path("in.dat"), path("x.dat"), false, "Cu", "纬度", *t, report).message,
      kMsgConvNoXField);
}

TEST_F(CoordSourceTest, GphElementsConvertedOthersPassed) {
  put("in.gph",
      "#SRNTHCRDGP#\r\n"
      "PP 1 117.5 39.5 红点\r\n"
      "pl 2 2\r\n117.5 39.5\r\n117.5 95\r\n"
      "XY 3 117.5 39.5\r\n"
      "#ENDDATA#\r\n");
  Outcome o = convertGphFile(path("in.gph"), path("out.gph"), *t, report);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(report.records, 3);
  EXPECT_EQ(report.failed, 1);
  GphReadResult r = readGph(path("out.gph"));
  ASSERT_TRUE(r.ok());
  ASSERT_EQ(r.file.elements.size(), 3u);
  EXPECT_NEAR(r.file.elements[0].xy[0], 39543006.815, 1e-2);
  EXPECT_EQ(r.file.elements[0].extra, std::vector<std::string>{"红点"});
  EXPECT_NEAR(r.file.elements[1].xy[1], 4374133.477, 1e-2);
  EXPECT_LE(r.file.elements[1].xy[3], -1e37);  // the vertex beyond the pole
  EXPECT_EQ(r.file.elements[2].xy[0], 117.5);  // another code: passed through

  put("bad.gph", "#SRNTHSCATA#\r\n#ENDDATA#\r\n");
  EXPECT_EQ(convertGphFile(path("bad.gph"), path("x.gph"), *t, report).message, kMsgGphConversion);
  EXPECT_EQ(convertGphFile("", path("x.gph"), *t, report).message, kMsgConvNoInputFile);
}

}  // namespace
}  // namespace sarnoth
