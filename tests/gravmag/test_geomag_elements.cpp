// The geomagnetic elements tool: the single-point checks in their order and its boundaries,
// the multi-point file with its messages, the result file's exact layout, and the reduction of
// a table and a grid by the reference field.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "gravmag/geomag_elements.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

class GeomagTool : public ::testing::Test, protected test::ScratchFiles {
 protected:
  void SetUp() override {
    saved_ = gSysPath;
    gSysPath = std::string(SARNOTH_SOURCE_DIR) + "/resources/";
  }
  void TearDown() override { gSysPath = saved_; }

  static GeomagSingleInput point(const std::string& date, const std::string& latDeg,
                                 const std::string& latMin, const std::string& lonDeg,
                                 const std::string& lonMin, const std::string& height = "0") {
    GeomagSingleInput in;
    in.date = date;
    in.latDeg = latDeg;
    in.latMin = latMin;
    in.lonDeg = lonDeg;
    in.lonMin = lonMin;
    in.height = height;
    return in;
  }
  static std::string single(const GeomagSingleInput& in, IgrfGeneration g = IgrfGeneration::Tenth) {
    GeomagPoint p;
    const Outcome o = geomagSinglePoint(in, g, p);
    return o.ok ? "ok" : o.message;
  }
  std::string multi(const std::string& body, std::vector<GeomagPoint>* out = nullptr) {
    put("in.dat", utf8ToGbk(body));
    std::vector<GeomagPoint> points;
    const Outcome o = geomagMultiPoint(path("in.dat"), IgrfGeneration::Tenth, points);
    if (out) *out = points;
    return o.ok ? "ok" : o.message;
  }

  std::string saved_;
};

TEST_F(GeomagTool, SinglePointChecksInTheirOrder) {
  const std::string date = "此程序只能计算公元1900到2010年的地磁要素。";
  EXPECT_EQ(single(point("2010.01", "95", "0", "0", "0")), date);  // the date comes first
  EXPECT_EQ(single(point("1899.99", "30", "0", "100", "0")), date);
  EXPECT_EQ(single(point("abc", "30", "0", "100", "0")), date);  // an empty date reads as 0
  EXPECT_EQ(single(point("2000", "91", "0", "100", "0")), kMsgGeomagLatDegrees);
  EXPECT_EQ(single(point("2000", "-1", "0", "100", "0")), kMsgGeomagLatDegrees);
  EXPECT_EQ(single(point("2000", "30", "61", "181", "0")), kMsgGeomagLatMinutes);
  EXPECT_EQ(single(point("2000", "30", "0", "-181", "-1")), kMsgGeomagLonDegrees);
  EXPECT_EQ(single(point("2000", "30", "0", "100", "-1")), kMsgGeomagLonMinutes);
  EXPECT_EQ(single(point("2000", "30", "0", "100", "0", "-1000001")), kMsgGeomagHeight);
  // The boundaries are accepted: 1900.0, 2010.0, minutes of 60, ±180°, 90°.
  EXPECT_EQ(single(point("1900.0", "30", "60", "-180", "60")), "ok");
  EXPECT_EQ(single(point("2010.0", "90", "0", "180", "0")), "ok");
  EXPECT_EQ(single(point("2010.0", "89", "59.6", "179", "59.4")), "ok");  // rounded to 60, 59
  // The 14th generation reaches 2030 and says so.
  EXPECT_EQ(single(point("2024.5", "30", "0", "100", "0"), IgrfGeneration::Fourteenth), "ok");
  EXPECT_EQ(single(point("2030.5", "30", "0", "100", "0"), IgrfGeneration::Fourteenth),
            "此程序只能计算公元1900到2030年的地磁要素。");
  EXPECT_EQ(geomagBoxInteger("2.5"), 2);  // half to even, as the window rounds
  EXPECT_EQ(geomagBoxInteger("3.5"), 4);
  EXPECT_EQ(geomagBoxValue(" 12.5abc"), 12.5);
}

TEST_F(GeomagTool, SinglePointResultAndItsBoxes) {
  GeomagPoint p;
  ASSERT_TRUE(
      geomagSinglePoint(point("2003.7", "30", "30", "114", "18", "500"), IgrfGeneration::Tenth, p)
          .ok);
  const closed::IgrfDllResult r = closed::IGRFDLL(2003.7f, 0.5f, 114, 18, 30, 30);
  EXPECT_EQ(p.r.totalT, r.totalT);
  EXPECT_NEAR(p.r.totalT, 49333.4f, 0.2f);  // the reference value of the synthesis tests
  EXPECT_DOUBLE_EQ(p.lon, 114.18);
  EXPECT_DOUBLE_EQ(p.lat, 30.30);
  EXPECT_EQ(p.heightM, 500.0);
  const auto texts = geomagResultTexts(p.r);
  ASSERT_EQ(texts.size(), 9u);
  EXPECT_EQ(texts[0], std::to_string(r.incDeg));
  EXPECT_EQ(texts[3], std::to_string(r.decMin));
  EXPECT_EQ(texts[8].substr(0, 4), "3429");  // H = 34295.5 nT
}

TEST_F(GeomagTool, ResultFileLayout) {
  GeomagPoint p;
  p.lon = 116.30;
  p.lat = 39.54;
  p.heightM = 50;
  p.date = 2005.5f;
  p.r = {58, 41, -6, -32, 28107.4f, -3224.6f, 46517.0f, 28291.5f, 54444.8f};
  EXPECT_EQ(geomagResultLine(p),
            "116.3000      39.5400      50.00      2005.50      58.41      -6.32      54445"
            "          28107              -3225            46517        28292");
  ASSERT_TRUE(writeGeomagResultFile(path("out.dat"), {p}));
  EXPECT_EQ(
      gbkToUtf8(get("out.dat")),
      "#SRNTHSCATA#\r\nS\r\n1\r\n-1E+38\r\n11\r\n  经度          纬度           高程           "
      "时间     磁化倾角   磁化偏角  地磁场总强度  北向分量  东向分量  垂直分量   水平分量 "
      "\r\n" +
          geomagResultLine(p) + "\r\n#ENDDATA#\r\n");
  // The pictures: no digit before the point for a zero integer part, half away from zero, and
  // "0" where a "#####" column would be empty.
  EXPECT_EQ(hashPicture(0.5, 2), ".50");
  EXPECT_EQ(hashPicture(-0.25, 2), "-.25");
  EXPECT_EQ(hashPicture(2.5, 0), "3");
  EXPECT_EQ(hashPicture(-2.5, 0), "-3");
  EXPECT_EQ(hashPicture(0.4, 0), "0");
  EXPECT_EQ(hashPicture(-0.4, 0), "0");
  EXPECT_EQ(hashPicture(1234.56789, 4), "1234.5679");
  EXPECT_EQ(hashPicture(-179.0305, 4), "-179.0305");  // leading zeros of the decimals kept
  EXPECT_EQ(hashPicture(7.0, 2), "7.00");
  EXPECT_EQ(hashPicture(1.0e17, 0), "100000000000000000");
  EXPECT_EQ(hashPicture(-2.5e16, 2), "-25000000000000000.00");
}

TEST_F(GeomagTool, MultiPointFileAndItsMessages) {
  const std::string head = "#SRNTHSCATA#\nS\n2\n-1E+38\n4\n经度 纬度 高程 时间\n";
  std::vector<GeomagPoint> pts;
  ASSERT_EQ(multi(head + "116.30 39.54 50 2005.5\n100.57 30.00 0 2000.0\n#ENDDATA#\n", &pts), "ok");
  ASSERT_EQ(pts.size(), 2u);
  // 100.57 is 100°57′ although its binary value is 100.5699…
  const closed::IgrfDllResult r = closed::IGRFDLL(2000.0f, 0.0f, 100, 57, 30, 0);
  EXPECT_EQ(pts[1].r.totalT, r.totalT);
  EXPECT_EQ(pts[1].r.decMin, r.decMin);
  EXPECT_EQ(pts[0].r.totalT, closed::IGRFDLL(2005.5f, 0.05f, 116, 30, 39, 54).totalT);
  // Comma-separated ("C") reads alike.
  std::vector<GeomagPoint> c;
  ASSERT_EQ(multi("#SRNTHSCATA#\r\nC_FROMBASE\r\n2\r\n-1E+38\r\n4\r\nA,B,C,D\r\n"
                  "116.30,39.54,50,2005.5\r\n100.57,30.00,0,2000.0\r\n#ENDDATA#\r\n",
                  &c),
            "ok");
  EXPECT_EQ(c[0].r.totalT, pts[0].r.totalT);

  EXPECT_EQ(multi("#SRNTHSCATB#\nS\n0\n-1E+38\n4\nA\n"), kMsgGeomagBadMagic);
  EXPECT_EQ(multi("#VLQ30SCATA#\nS\n0\n-1E+38\n4\nA\n"), kMsgGeomagBadMagic);
  EXPECT_EQ(multi("#SRNTHSCATA#\nB\n0\n-1E+38\n4\nA\n"), kMsgGeomagBadSeparator);
  EXPECT_EQ(multi("#SRNTHSCATA#\nS\n1\n-1E+38\n5\nA\n1 2 3 4 5\n"), kMsgGeomagBadColumns);
  const std::string one = "#SRNTHSCATA#\nS\n1\n-1E+38\n4\nA B C D\n";
  EXPECT_EQ(multi(one + "116.30 39.54 50 2010.5\n"),
            "此程序只能计算公元1900到2010年的地磁要素值。");
  EXPECT_EQ(multi(one + "181.00 39.54 50 2000\n"), kMsgGeomagLonDegreesFile);
  EXPECT_EQ(multi(one + "-179.30 39.54 50 2000\n"), kMsgGeomagLonMinutes);  // minutes −30
  EXPECT_EQ(multi(one + "116.61 39.54 50 2000\n"), kMsgGeomagLonMinutes);
  EXPECT_EQ(multi(one + "116.60 -1.00 50 2000\n"), kMsgGeomagLatDegrees);
  EXPECT_EQ(multi(one + "116.60 39.61 50 2000\n"), kMsgGeomagLatMinutes);
  EXPECT_EQ(multi(one + "116.60 39.60 -1000001 2000\n"), kMsgGeomagHeight);
  // A later bad row stops the run before any row is computed.
  std::vector<GeomagPoint> none;
  EXPECT_EQ(multi(head + "116.30 39.54 50 2005.5\n116.30 39.54 50 2011\n", &none),
            "此程序只能计算公元1900到2010年的地磁要素值。");
  EXPECT_TRUE(none.empty());
  // Short, garbled or absurd files.
  EXPECT_EQ(multi(head + "116.30 39.54 50 2005.5\n"), kMsgGeomagFailed);
  EXPECT_EQ(multi(one + "116.30 abc 50 2005.5\n"), kMsgGeomagFailed);
  EXPECT_EQ(multi("#SRNTHSCATA#\nS\n2000000000\n-1E+38\n4\nA\n1 2 3 4\n"), kMsgGeomagFailed);
  EXPECT_EQ(multi("#SRNTHSCATA#\nS\n-3\n-1E+38\n4\nA\n"), kMsgGeomagFailed);
  EXPECT_EQ(multi("#SRNTHSCATA#\nS\n"), kMsgGeomagFailed);
  EXPECT_EQ(multi(""), kMsgGeomagBadMagic);
  std::vector<GeomagPoint> p;
  EXPECT_FALSE(geomagMultiPoint(path("absent.dat"), IgrfGeneration::Tenth, p).ok);
}

TEST_F(GeomagTool, ReductionOfATableAndAGrid) {
  test::TempDir area;
  ASSERT_TRUE(createWorkArea(area.str()).ok);
  Database db = openWorkDatabase(area.dir());
  db.execute("Create Table [mag] ([Lon] Single, [Lat] Single, [T] Single, [Year] Single)");
  const IgrfModel& m = igrfModel(gSysPath, IgrfGeneration::Fourteenth);
  const float lon[] = {116.25f, 100.5f, -70.25f, 10.0f};
  const float lat[] = {39.75f, 30.0f, -33.5f, 95.0f};
  const float year[] = {2021.5f, 2021.5f, 1985.0f, 2021.5f};
  {
    TableWriter w(db, "mag", {"Lon", "Lat", "T", "Year"});
    for (int i = 0; i < 4; ++i) {
      const double f = igrfField(m, year[i], lat[i], std::fmod(lon[i] + 360.0, 360.0), 0.0).main.f;
      w.setDouble(0, lon[i]);
      w.setDouble(1, lat[i]);
      w.setDouble(2, i == 1 ? NULL_VALUE : (i == 3 ? 50000.0 : f + 123.0));
      w.setDouble(3, year[i]);
      w.addRow();
    }
    w.commit();
  }
  IgrfReductionJob job;
  job.table = "mag";
  job.lonField = "Lon";
  job.latField = "Lat";
  job.valueField = "T";
  job.dateField = "Year";
  job.newTable = "mag_DT";
  ScriptedInteraction ui;
  IgrfReductionReport rep;
  ASSERT_TRUE(reduceTableByIgrf(db, job, ui, rep).ok);
  EXPECT_EQ(rep.rows, 4);
  EXPECT_EQ(rep.reduced, 2);  // a null value and a latitude beyond 90° are not reduced
  Cursor c = db.query("Select [T_F], [T_DT] From [mag_DT]");
  std::vector<float> dt, f;
  while (c.next()) {
    f.push_back(c.getFloat(0));
    dt.push_back(c.getFloat(1));
  }
  ASSERT_EQ(dt.size(), 4u);
  EXPECT_NEAR(dt[0], 123.0f, 0.01f);
  EXPECT_NEAR(dt[2], 123.0f, 0.01f);
  EXPECT_EQ(dt[1], NULL_VALUE);
  EXPECT_EQ(f[3], NULL_VALUE);
  // The name is taken now; a date outside the span is refused before anything is read.
  EXPECT_FALSE(reduceTableByIgrf(db, job, ui, rep).ok);
  job.dateField.clear();
  job.date = 2031.0;
  job.newTable = "other";
  EXPECT_EQ(reduceTableByIgrf(db, job, ui, rep).message,
            "此程序只能计算公元1900到2030年的地磁要素值。");
  EXPECT_FALSE(db.tableExists("other"));

  // A 3 × 2 grid in degrees.
  GridHeader h;
  h.nx = 3;
  h.ny = 2;
  h.x0 = 100.0f;
  h.y0 = 30.0f;
  h.dx = 0.5f;
  h.dy = 1.0f;
  std::vector<float> nodes{50000, 50000, NULL_VALUE, 51000, 51000, 51000};
  recomputeGridStats(h, nodes);
  ASSERT_TRUE(writeGrid(area.file("in.grd"), kGridMagicB, "test", h, nodes));
  IgrfGridReductionJob gj;
  gj.input = area.file("in.grd");
  gj.output = area.file("out.grd");
  gj.date = 2015.0;
  gj.heightM = 1000.0;
  ASSERT_TRUE(reduceGridByIgrf(gj).ok);
  const GridReadResult out = readGrid(gj.output);
  ASSERT_TRUE(out.ok());
  EXPECT_EQ(out.grid.nodes[2], NULL_VALUE);
  EXPECT_NEAR(out.grid.nodes[4], 51000.0 - igrfField(m, 2015.0, 31.0, 100.5, 1.0).main.f, 0.01);
  EXPECT_NEAR(out.grid.nodes[0], 50000.0 - igrfField(m, 2015.0, 30.0, 100.0, 1.0).main.f, 0.01);
  EXPECT_EQ(out.grid.header.validCount, 5);
}

}  // namespace
}  // namespace sarnoth::gravmag
