// Grids into the work area and grids into tables.
#include <gtest/gtest.h>

#include <cmath>

#include "test_support.h"
#include "workarea/grid_convert.h"
#include "datatools/grid_to_table.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class GridDataTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    GridHeader h;
    h.x0 = 100;
    h.y0 = 200;
    h.nx = 3;
    h.ny = 2;
    h.dx = 10;
    h.dy = 5;
    std::vector<float> nodes{1, 2, 3, 4, NULL_VALUE, 6};
    recomputeGridStats(h, nodes);
    ASSERT_TRUE(writeGrid(tmp.file("Grid_dat/Au.grd"), kGridMagicB, "ScatToGrid", h, nodes));
  }
  test::TempDir tmp;
  Database db;
  ScriptedInteraction none;
};

TEST_F(GridDataTest, NodesBecomeRowsWithTheRegistryRow) {
  std::int64_t rows = 0;
  Outcome o =
      gridToTable(db, tmp.dir() + "Grid_dat\\Au.grd", "金网格", {}, none, noProgress(), &rows);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(rows, 5);
  auto f = db.fields("金网格");
  ASSERT_EQ(f.size(), 3u);
  EXPECT_EQ(f[2].name, "Au");
  EXPECT_EQ(
      valueToDouble(db.scalar("Select [Au] From [金网格] Where [横坐标]=120 And [纵坐标]=205")), 6);
  EXPECT_EQ(valueToText(db.scalar("Select [查询库名] From [TableInfo]")), "GridDataIn");
  EXPECT_EQ(valueToText(db.scalar("Select [说明] From [TableInfo]")), "网格数据转入");

  // Nulls kept on request; the existing name is asked about.
  ScriptedInteraction yes({Answer::Yes});
  GridToTableOptions keep;
  keep.keepNulls = true;
  keep.valueField = "金";
  ASSERT_TRUE(gridToTable(db, tmp.file("Grid_dat/Au.grd"), "金网格", keep, yes).ok);
  EXPECT_EQ(yes.asked, (std::vector<std::string>{"新数据表名已存在,是否覆盖?"}));
  EXPECT_EQ(db.rowCount("金网格"), 6);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [金网格] Where [金] = -1E+38")), 1);
  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(gridToTable(db, tmp.file("Grid_dat/Au.grd"), "金网格", {}, no).ok);
  EXPECT_EQ(db.rowCount("金网格"), 6);
}

TEST_F(GridDataTest, RotatedMeshAndRefusals) {
  GridReadResult r = readGrid(tmp.file("Grid_dat/Au.grd"));
  r.grid.header.angle = 90;
  ASSERT_TRUE(writeGrid(tmp.file("rot.grd"), kGridMagicB, "x", r.grid.header, r.grid.nodes));
  ASSERT_TRUE(gridToTable(db, tmp.file("rot.grd"), "rot", {}, none).ok);
  // Column 1 of row 0 lies 10 to the north of the origin when the mesh turns by 90°.
  EXPECT_NEAR(valueToDouble(db.scalar("Select [纵坐标] From [rot] Where [rot] = 2")), 210, 1e-3);
  EXPECT_NEAR(valueToDouble(db.scalar("Select [横坐标] From [rot] Where [rot] = 4")), 95, 1e-3);

  test::writeFile(tmp.file("not.grd"), "#SRNTHSCATB#" + std::string(200, '\0'));
  EXPECT_EQ(gridToTable(db, tmp.file("not.grd"), "x", {}, none).message, "非Sarnoth 2000网格数据.");
  EXPECT_FALSE(gridToTable(db, tmp.file("none.grd"), "x", {}, none).ok);
  std::vector<std::string> reg;
  EXPECT_EQ(listRegisteredTables(db, reg), 1);
}

TEST_F(GridDataTest, ImportFromAnyFormIntoGridDat) {
  test::writeFile(tmp.file("a.txt"),
                  "#SRNTHGRIDA#\nC-Data\n0,0\n0\n2,2\n1,1\n-99\n0,0\n1,2\n-99,4\n#ENDDATA#\n");
  std::string target;
  ASSERT_TRUE(importGridToWorkArea(tmp.file("a.txt"), tmp.dir(), "ascii", ArcOrigin::CellCorner,
                                   none, noProgress(), &target)
                  .ok);
  GridReadResult r = readGrid(target);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.method, "ASCIITOBINARY");
  EXPECT_EQ(r.grid.header.validCount, 3);

  // An existing grid is asked about, and kept on No; a bad file leaves it alone too.
  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(
      importGridToWorkArea(tmp.file("a.txt"), tmp.dir(), "Au", ArcOrigin::CellCorner, no).ok);
  EXPECT_EQ(no.asked, (std::vector<std::string>{"网格数据文件已存在,是否覆盖?"}));
  test::writeFile(tmp.file("junk.txt"), "garbage");
  ScriptedInteraction yes({Answer::Yes});
  Outcome bad =
      importGridToWorkArea(tmp.file("junk.txt"), tmp.dir(), "Au", ArcOrigin::CellCorner, yes);
  EXPECT_FALSE(bad.ok);
  EXPECT_EQ(readGrid(tmp.file("Grid_dat/Au.grd")).grid.header.nx, 3) << "the old grid stays";
  EXPECT_FALSE(std::filesystem::exists(tmp.file("Grid_dat/Au.grd.part")));

  // Conversion targets by word.
  GridTarget t;
  std::string driver;
  EXPECT_TRUE(parseGridTarget("gdal:PNG", t, driver));
  EXPECT_EQ(t, GridTarget::Gdal);
  EXPECT_EQ(driver, "PNG");
  EXPECT_FALSE(parseGridTarget("excel", t, driver));
}

}  // namespace
}  // namespace sarnoth
