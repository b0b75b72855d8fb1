// Surfer, ArcView, the flat exports, scatter text and the oldest grid files.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/grid_exchange.h"
#include "workarea/grid_samples.h"
#include "workarea/scatter_file.h"

namespace sarnoth {
namespace {

using test::readFile;
using test::sampleGrid;
using test::TempDir;
using test::writeFile;

Grid tiny() {
  Grid g;
  g.header.x0 = 10;
  g.header.y0 = 20;
  g.header.nx = 3;
  g.header.ny = 2;
  g.header.dx = 5;
  g.header.dy = 2.5f;
  g.nodes = {1, 2, 3, 4, NULL_VALUE, 6.5f};
  recomputeGridStats(g.header, g.nodes);
  return g;
}

TEST(SurferGrid, ExportsDsaaWithTheSurferBlank) {
  TempDir t;
  ASSERT_EQ(writeSurferGrid(t.file("s.grd"), tiny()), kGridOk);
  EXPECT_EQ(readFile(t.file("s.grd")),
            "DSAA\r\n3 2\r\n10 20\r\n20 22.5\r\n1 6.5\r\n1 2 3\r\n4 1.70141E+38 6.5\r\n");
  EXPECT_EQ(floatBits(kSurferBlank), 0x7EFFFFEEu);
}

TEST(SurferGrid, ImportsRowsUpwardKeepsTheFileRangeAndMarksBlanks) {
  TempDir t;
  // Rows wrapped over lines with a blank line between them, as other programs write them; the
  // z range deliberately disagrees with the data.
  writeFile(t.file("s.grd"), "DSAA\n 3 2\n10 20\n20 22.5\n-5 50\n1 2\n3\n\n4 1.70141e+38 6.5\n");
  Progress progress;
  ASSERT_EQ(importSurferGrid(t.file("s.grd"), t.file("o.grd"), progress), kGridOk);
  EXPECT_EQ(progress.maximum(), 2);
  GridReadResult r = readGrid(t.file("o.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(readFile(t.file("o.grd")).substr(0, 32), "#SrnthGRIDB#SurferToGrid        ");
  EXPECT_EQ(r.grid.nodes, tiny().nodes);
  EXPECT_EQ(r.grid.header.zMin, -5);
  EXPECT_EQ(r.grid.header.zMax, 50);
  EXPECT_EQ(r.grid.header.validCount, 5);
  EXPECT_EQ(r.grid.header.dx, 5);
  EXPECT_EQ(r.grid.header.dy, 2.5f);
  EXPECT_EQ(r.grid.header.angle, 0);
}

TEST(SurferGrid, RefusesOtherFilesAndSingleRowsOrColumns) {
  TempDir t;
  writeFile(t.file("a.grd"), "DSBB\n3 2\n");
  EXPECT_EQ(importSurferGrid(t.file("a.grd"), t.file("o.grd")), kGridBadFormat);
  // Exported fine, but one row leaves dy undefined on the way back.
  Grid row = sampleGrid(4, 1);
  ASSERT_EQ(writeSurferGrid(t.file("row.grd"), row), kGridOk);
  EXPECT_EQ(importSurferGrid(t.file("row.grd"), t.file("o.grd")), kGridConvertFailed);
  Grid column = sampleGrid(1, 4);
  ASSERT_EQ(writeSurferGrid(t.file("col.grd"), column), kGridOk);
  EXPECT_EQ(importSurferGrid(t.file("col.grd"), t.file("o.grd")), kGridConvertFailed);
  writeFile(t.file("big.grd"), "DSAA\n30000 30000\n0 1\n0 1\n0 1\n1 2 3\n");
  EXPECT_EQ(importSurferGrid(t.file("big.grd"), t.file("o.grd")), kGridConvertFailed);
  EXPECT_FALSE(std::filesystem::exists(t.file("o.grd")));
}

TEST(ArcViewGrid, ExportAndImportKeepTheNodesInPlace) {
  TempDir t;
  // Unequal spacings go out as "dx"/"dy" and the node as "xllcenter", and come back as they were.
  ASSERT_EQ(writeArcViewAscii(t.file("a.asc"), tiny()), kGridOk);
  EXPECT_EQ(readFile(t.file("a.asc")),
            "ncols        3\r\nnrows        2\r\nxllcenter    10\r\nyllcenter    20\r\n"
            "dx           5\r\ndy           2.5\r\nNODATA_value -1E+38\r\n4 -1E+38 6.5\r\n"
            "1 2 3\r\n");
  for (ArcOrigin origin : {ArcOrigin::AsNode, ArcOrigin::CellCorner}) {
    Grid back;
    ASSERT_EQ(readArcViewGrid(t.file("a.asc"), back, noProgress(), origin), kGridOk);
    EXPECT_EQ(back.header.dx, 5);
    EXPECT_EQ(back.header.dy, 2.5f);
    EXPECT_EQ(back.header.x0, 10);
    EXPECT_EQ(back.header.y0, 20);
    EXPECT_EQ(back.nodes, tiny().nodes);
  }
  for (auto [nx, ny] : {std::pair{9, 7}, std::pair{1, 5}, std::pair{5, 1}}) {
    Grid g = sampleGrid(nx, ny, 431250.3f, 3712345.5f, 30, 30);
    ASSERT_EQ(writeArcViewAscii(t.file("g.asc"), g), kGridOk);
    EXPECT_NE(readFile(t.file("g.asc")).find("cellsize     30\r\n"), std::string::npos);
    ASSERT_EQ(importArcViewGrid(t.file("g.asc"), t.file("g.grd")), kGridOk);
    GridReadResult r = readGrid(t.file("g.grd"));
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.grid.header.method, "ArcVEWToGrid");
    EXPECT_EQ(r.grid.header.magic, "#SrnthGRIDB#");
    EXPECT_EQ(r.grid.header.x0, g.header.x0);
    EXPECT_EQ(r.grid.header.y0, g.header.y0);
    EXPECT_EQ(r.grid.nodes, g.nodes) << nx << "x" << ny;
    EXPECT_EQ(r.grid.header.validCount, g.header.validCount);
  }
}

TEST(ArcViewGrid, XllcornerIsTheNodeUnlessTheCellCornerIsAskedFor) {
  TempDir t;
  writeFile(t.file("a.asc"),
            "ncols 2\nnrows 3\nxllcorner 100\nyllcorner 200\ncellsize 10\nnodata -9999\n"
            "5 6\n3 -9999\n1 2\n");
  Grid g;
  ASSERT_EQ(readArcViewGrid(t.file("a.asc"), g), kGridOk);
  EXPECT_EQ(g.nodes, (std::vector<float>{1, 2, 3, NULL_VALUE, 5, 6}));
  EXPECT_EQ(g.header.x0, 100);  // "xllcorner" sets x0, as the system reads it
  EXPECT_EQ(g.header.y0, 200);
  EXPECT_EQ(g.header.validCount, 5);
  // The GIS reading: the outer corner of the lower-left cell, half a cell outside the node.
  ASSERT_EQ(readArcViewGrid(t.file("a.asc"), g, noProgress(), ArcOrigin::CellCorner), kGridOk);
  EXPECT_EQ(g.header.x0, 105);
  EXPECT_EQ(g.header.y0, 205);

  // All null: the import's extremes start at 1E+30 and -1E+30; a centre is the node itself.
  writeFile(t.file("n.asc"),
            "ncols 2\nnrows 1\nxllcenter 0\nyllcenter 0\ncellsize 1\nNODATA_value -1\n-1 -1\n");
  ASSERT_EQ(readArcViewGrid(t.file("n.asc"), g, noProgress(), ArcOrigin::CellCorner), kGridOk);
  EXPECT_EQ(g.header.zMin, 1e30f);
  EXPECT_EQ(g.header.zMax, -1e30f);
  EXPECT_EQ(g.header.x0, 0);

  // Without a null line the data start on the sixth line.
  writeFile(t.file("m.asc"), "ncols 2\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 2\n7 8\n");
  ASSERT_EQ(readArcViewGrid(t.file("m.asc"), g), kGridOk);
  EXPECT_EQ(g.nodes, (std::vector<float>{7, 8}));

  writeFile(t.file("b.asc"), "nrows 2\nncols 2\n");
  EXPECT_EQ(readArcViewGrid(t.file("b.asc"), g), kGridBadFormat);
  writeFile(t.file("c.asc"), "ncols 2\nnrows 2\nxllcorner 0\nyllcorner 0\ncellsize 1\n1 2 3\n");
  EXPECT_EQ(readArcViewGrid(t.file("c.asc"), g), kGridConvertFailed);
}

// GIS programs write lower-case keys and "nan" for no data; NaN and infinities are never data.
TEST(ArcViewGrid, NanAndInfinitiesAreNullWhateverTheNullLineSays) {
  TempDir t;
  Grid g;
  writeFile(t.file("nan.asc"),
            "NCOLS 3\nnrows 2\nxllcorner 0\nyllcorner 0\ncellsize 1\nnodata_value nan\n"
            "nan 1.5 inf\n-INF 2 NaN\n");
  ASSERT_EQ(readArcViewGrid(t.file("nan.asc"), g), kGridOk);
  EXPECT_EQ(g.nodes, (std::vector<float>{NULL_VALUE, 2, NULL_VALUE, NULL_VALUE, 1.5f, NULL_VALUE}));
  EXPECT_EQ(g.header.validCount, 2);
  EXPECT_EQ(g.header.zMin, 1.5f);
  EXPECT_EQ(g.header.zMax, 2);
  // The same through the import, and in the other text forms.
  ASSERT_EQ(importArcViewGrid(t.file("nan.asc"), t.file("nan.grd")), kGridOk);
  EXPECT_EQ(readGrid(t.file("nan.grd")).grid.header.validCount, 2);
  writeFile(t.file("s.grd"), "DSAA\n2 2\n0 1\n0 1\n0 9\nnan 1\ninf 3\n");
  ASSERT_EQ(readSurferGrid(t.file("s.grd"), g), kGridOk);
  EXPECT_EQ(g.nodes, (std::vector<float>{NULL_VALUE, 1, NULL_VALUE, 3}));
  EXPECT_EQ(g.header.validCount, 2);
  writeFile(t.file("a.grd"),
            "#SRNTHGRIDA#\nC-Data\n0,0\n0\n2,1\n1,1\n-1E+38\n0,0\nnan,4\n#ENDDATA#\n");
  ASSERT_EQ(readAsciiGrid(t.file("a.grd"), g), kGridOk);
  EXPECT_EQ(g.nodes, (std::vector<float>{NULL_VALUE, 4}));
  EXPECT_EQ(g.header.validCount, 1);
}

// The spacing is tested where a grid enters: zero, negative or NaN spacings, or equal bounds in a
// Surfer file, make no grid.
TEST(ExchangeGrids, SpacingsThatMakeNoGridAreRefused) {
  TempDir t;
  Grid g;
  for (const char* cell : {"0", "-2", "nan"}) {
    writeFile(
        t.file("z.asc"),
        std::string("ncols 2\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize ") + cell + "\n1 2\n");
    EXPECT_EQ(readArcViewGrid(t.file("z.asc"), g), kGridConvertFailed) << cell;
  }
  writeFile(t.file("s.grd"), "DSAA\n2 2\n5 5\n0 1\n0 9\n1 1\n3 3\n");
  EXPECT_EQ(readSurferGrid(t.file("s.grd"), g), kGridConvertFailed);
  writeFile(t.file("a.grd"), "#SRNTHGRIDA#\nC-Data\n0,0\n0\n2,1\nnan,1\n-1E+38\n0,0\n1,4\n");
  EXPECT_EQ(readAsciiGrid(t.file("a.grd"), g), kGridConvertFailed);
}

TEST(FlatExports, WriteTheHeaderLineAndOneValuePerLine) {
  TempDir t;
  ASSERT_EQ(writeArcViewFlat(t.file("a.txt"), tiny()), kGridOk);
  EXPECT_EQ(readFile(t.file("a.txt")), "3,2,10,2.52\r\n1\r\n2\r\n3\r\n4\r\n-1E+38\r\n6.5\r\n");
  ASSERT_EQ(writeMapgisGrid(t.file("m.txt"), tiny()), kGridOk);
  EXPECT_EQ(readFile(t.file("m.txt")), "3,2,10,20\r\n1\r\n2\r\n3\r\n4\r\n-1E+38\r\n6.5\r\n");
  ASSERT_EQ(writeGridScatterAscii(t.file("s.dat"), tiny()), kGridOk);
  EXPECT_EQ(readFile(t.file("s.dat")),
            "#SRNTHSCATA#\r\nC-Data\r\n6\r\n-1E+38\r\n3\r\nXX,YY,VV\r\n10,20,1\r\n15,20,2\r\n"
            "20,20,3\r\n10,22.5,4\r\n15,22.5,-1E+38\r\n20,22.5,6.5\r\n#ENDDATA#\r\n");
}

TEST(FlatExports, ScatterTextIsWhatTheScatterModuleWritesAndReads) {
  TempDir t;
  Grid g = sampleGrid(6, 4, 431250.5f, 3712300.25f, 25, 12.5f);
  ASSERT_EQ(writeGridScatterAscii(t.file("ours.dat"), g), kGridOk);
  ScatterFile f = scatterFromGridNodes(g.header.x0, g.header.y0, g.header.dx, g.header.dy,
                                       g.header.nx, g.header.ny, g.nodes);
  ASSERT_EQ(writeAsciiScatter(t.file("theirs.dat"), f), ScatterError::None);
  EXPECT_EQ(readFile(t.file("ours.dat")), readFile(t.file("theirs.dat")));
  ScatterReadResult r = readAsciiScatter(t.file("ours.dat"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.values, f.values);
}

std::string vlq2File(std::int16_t nx, std::int16_t ny, const std::vector<float>& nodes,
                     float fileNull) {
  std::string b(108, '\0');
  std::memcpy(b.data(), "VLQ2GRID", 8);
  float head[3] = {1000, 2000, 15};
  std::memcpy(b.data() + 50, head, 12);
  std::memcpy(b.data() + 62, &nx, 2);
  std::memcpy(b.data() + 64, &ny, 2);
  float rest[5] = {50, 40, fileNull, 0, 0};
  std::memcpy(b.data() + 66, rest, 20);
  std::memcpy(b.data() + 86, "old survey            ", 22);
  b.append(reinterpret_cast<const char*>(nodes.data()), nodes.size() * 4);
  return b;
}

TEST(Vlq2Grid, ImportWritesTheThirdGenerationMagic) {
  TempDir t;
  writeFile(t.file("v.grd"), vlq2File(2, 2, {3, 1701, -7, 9}, 1701));
  ASSERT_EQ(detectGridFormat(t.file("v.grd")), GridFormat::Vlq2);
  ASSERT_EQ(importVlq2Grid(t.file("v.grd"), t.file("o.grd")), kGridOk);
  std::string b = readFile(t.file("o.grd"));
  EXPECT_EQ(b.substr(0, 32), "#VLQ30GRIDB#VLQ2TOVLQ3          ");
  GridReadResult r = readGrid(t.file("o.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.nodes, (std::vector<float>{3, NULL_VALUE, -7, 9}));
  EXPECT_EQ(r.grid.header.zMin, -7);
  EXPECT_EQ(r.grid.header.zMax, 9);
  EXPECT_EQ(r.grid.header.validCount, 3);
  EXPECT_EQ(r.grid.header.angle, 15);
  EXPECT_EQ(r.grid.header.dx, 50);
  EXPECT_EQ(r.grid.header.note, "old survey");

  writeFile(t.file("cut.grd"), vlq2File(200, 200, {1, 2}, 0));
  EXPECT_EQ(importVlq2Grid(t.file("cut.grd"), t.file("p.grd")), kGridConvertFailed);
  writeFile(t.file("neg.grd"), vlq2File(-2, 2, {1, 2}, 0));
  EXPECT_EQ(importVlq2Grid(t.file("neg.grd"), t.file("p.grd")), kGridConvertFailed);
  writeFile(t.file("x.grd"), "VLQ3GRID");
  EXPECT_EQ(importVlq2Grid(t.file("x.grd"), t.file("p.grd")), kGridBadFormat);
  EXPECT_FALSE(std::filesystem::exists(t.file("p.grd")));
}

TEST(GridFormats, AreTellFromTheirFirstBytes) {
  TempDir t;
  Grid g = tiny();
  ASSERT_TRUE(writeGrid(t.file("b.grd"), kGridMagicHltwr, "", g.header, g.nodes));
  ASSERT_EQ(writeAsciiGrid(t.file("a.txt"), g), kGridOk);
  ASSERT_EQ(writeSurferGrid(t.file("s.grd"), g), kGridOk);
  ASSERT_EQ(writeArcViewAscii(t.file("v.asc"), g), kGridOk);
  writeFile(t.file("u.txt"), "hello");
  EXPECT_EQ(detectGridFormat(t.file("b.grd")), GridFormat::Binary);
  EXPECT_EQ(detectGridFormat(t.file("a.txt")), GridFormat::Ascii);
  EXPECT_EQ(detectGridFormat(t.file("s.grd")), GridFormat::Surfer);
  EXPECT_EQ(detectGridFormat(t.file("v.asc")), GridFormat::ArcViewAscii);
  EXPECT_EQ(detectGridFormat(t.file("u.txt")), GridFormat::Unknown);
}

}  // namespace
}  // namespace sarnoth
