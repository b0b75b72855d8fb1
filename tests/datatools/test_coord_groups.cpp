// Coordinate group conversion: several pairs of fields of a table at once, by angle form, by
// unit and by projection, into new DOUBLE fields.
#include <gtest/gtest.h>

#include "datatools/coord_groups.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class CoordGroupsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    // A sample point and a traverse line's two ends per record, as D.MMSS.
    db.execute(
        "Create Table [测线] ([线号] TEXT(8), [经度] DOUBLE, [纬度] DOUBLE, [起点经度] DOUBLE, "
        "[起点纬度] DOUBLE, [终点经度] DOUBLE, [终点纬度] DOUBLE)");
    db.execute(
        "Insert Into [测线] Values ('L1', 117.3045, 39.30, 117.30, 39.2930, 117.3130, 39.3030)");
    db.execute(
        "Insert Into [测线] Values ('L2', -1E+38, 39.30, 117.30, 39.2930, 117.3130, 39.3030)");
  }
  double value(const std::string& field, const char* line = "L1") {
    return valueToDouble(
        db.scalar("Select [" + field + "] From [测线] Where [线号]='" + line + "'"));
  }
  CoordGroupJob threePairs() {
    CoordGroupJob job;
    job.table = "测线";
    job.pairs = {proposePair("经度", "纬度"), proposePair("起点经度", "起点纬度"),
                 proposePair("终点经度", "终点纬度")};
    return job;
  }
  test::TempDir tmp;
  Database db;
  CoordRunReport report;
};

TEST_F(CoordGroupsTest, AnglesFromDmsToDecimalForEveryPair) {
  CoordGroupJob job = threePairs();
  job.kind = GroupConversion::Angle;
  job.angleFrom = 1;
  job.angleTo = 0;
  Outcome o = runCoordGroups(db, job, noProgress(), report);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_NEAR(value("经度_X"), 117.5125, 1e-12);
  EXPECT_NEAR(value("纬度_Y"), 39.5, 1e-12);
  EXPECT_NEAR(value("起点纬度_Y"), 39 + 29 / 60.0 + 30 / 3600.0, 1e-12);
  EXPECT_NEAR(value("终点经度_X"), 117 + 31 / 60.0 + 30 / 3600.0, 1e-12);
  EXPECT_EQ(value("经度_X", "L2"), NULL_VALUE_D);  // null stays null
  EXPECT_NEAR(value("起点经度_X", "L2"), 117.5, 1e-12);
  auto f = db.fields("测线");
  ASSERT_EQ(f.size(), 13u);
  EXPECT_EQ(f[7].declared(), "DOUBLE");
}

TEST_F(CoordGroupsTest, UnitsAndProjectionWithTheRefusals) {
  CoordGroupJob job = threePairs();
  job.kind = GroupConversion::Unit;
  job.unitFrom = 0;  // km
  job.unitTo = 2;    // factor 10: decimetres
  job.factorTo = 10;
  ASSERT_TRUE(runCoordGroups(db, job, noProgress(), report).ok);
  EXPECT_NEAR(value("经度_X"), 117.3045 * 10000, 1e-6);

  // Decimal degrees (made above as angles) through a Gauss-Krüger 3° projection with prefix:
  // every pair lands in zone 39 (reference: cs2cs GRS 1980 tmerc lon_0 117 gives 543006.8150
  // 4374133.4769 for 117.5°E 39.5°N).
  CoordGroupJob angles = threePairs();
  angles.kind = GroupConversion::Angle;
  angles.angleFrom = 1;
  angles.angleTo = 0;
  ASSERT_TRUE(runCoordGroups(db, angles, noProgress(), report).ok);
  CoordGroupJob proj;
  proj.table = "测线";
  proj.pairs = {{"经度_X", "纬度_Y", "GX", "GY"}, {"起点经度_X", "起点纬度_Y", "GX1", "GY1"}};
  CoordSideTexts in, out;
  std::string error;
  ASSERT_TRUE(parseCoordSideSpec("proj=geo,ellps=10", 0, in, error));
  ASSERT_TRUE(parseCoordSideSpec("proj=gk3,ellps=10,prefix", 1, out, error));
  proj.from = buildCoordSide(in, 0).side;
  proj.to = buildCoordSide(out, 1).side;
  db.execute("Update [测线] Set [经度_X] = 117.5, [纬度_Y] = 39.5 Where [线号]='L1'");
  Outcome o = runCoordGroups(db, proj, noProgress(), report);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_NEAR(value("GX"), 39543006.8150, 1e-3);  // a double keeps the millimetre
  EXPECT_NEAR(value("GY"), 4374133.4769, 1e-3);
  EXPECT_GT(value("GX1"), 39e6);
  EXPECT_LT(value("GX1"), 40e6);
  EXPECT_EQ(value("GX", "L2"), NULL_VALUE_D);

  CoordGroupJob bad = threePairs();
  bad.table.clear();
  EXPECT_EQ(runCoordGroups(db, bad, noProgress(), report).message, kMsgConvNoTable);
  bad = threePairs();
  bad.pairs.clear();
  EXPECT_EQ(runCoordGroups(db, bad, noProgress(), report).message, kMsgGroupNoPairs);
  bad = threePairs();
  bad.pairs[1].newY = "纬度_y";  // the store matches names case-blind
  EXPECT_EQ(runCoordGroups(db, bad, noProgress(), report).message,
            std::string(kMsgGroupDuplicateField) + "纬度_y");
  bad = threePairs();
  bad.kind = GroupConversion::Unit;
  bad.unitFrom = 2;
  bad.factorFrom = 0;
  EXPECT_EQ(runCoordGroups(db, bad, noProgress(), report).message, kMsgInputUnitFactor);
  bad.pairs[0].x = "高程";
  bad.factorFrom = 1;
  EXPECT_EQ(runCoordGroups(db, bad, noProgress(), report).message, kMsgConvNoXField);
}

}  // namespace
}  // namespace sarnoth
