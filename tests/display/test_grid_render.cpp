// Grid images: bitmap bytes, sampling and geometry, the hillshade formula, the viewer's apply
// checks and files, the exports.
#include <gdal.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <numbers>

#include "closed/vlq_app.h"
#include "display/grid_render.h"
#include "display/grid_viewer.h"
#include "test_support.h"
#include "workarea/file_text.h"
#include "workarea/grid_file.h"

namespace sarnoth::display {
namespace {

using test::TempDir;

Grid makeGrid(int nx, int ny, std::vector<float> nodes, float dx = 1, float dy = 1,
              float angle = 0) {
  Grid g;
  g.header.nx = nx;
  g.header.ny = ny;
  g.header.dx = dx;
  g.header.dy = dy;
  g.header.x0 = 100;
  g.header.y0 = 200;
  g.header.angle = angle;
  g.nodes = std::move(nodes);
  recomputeGridStats(g.header, g.nodes);
  return g;
}

// z = f(x, y) at the map position of every node.
template <class F>
Grid fieldGrid(int nx, int ny, float dx, float dy, float angle, F f) {
  Grid g = makeGrid(nx, ny, std::vector<float>(static_cast<std::size_t>(nx) * ny), dx, dy, angle);
  double a = angle * std::numbers::pi / 180, c = std::cos(a), s = std::sin(a);
  for (int r = 0; r < ny; ++r)
    for (int k = 0; k < nx; ++k)
      g.nodes[static_cast<std::size_t>(r) * nx + k] =
          static_cast<float>(f(k * dx * c - r * dy * s, k * dx * s + r * dy * c));
  recomputeGridStats(g.header, g.nodes);
  return g;
}

std::uint32_t u32(const std::string& b, std::size_t at) {
  std::uint32_t v = 0;
  for (int k = 3; k >= 0; --k) v = (v << 8) | static_cast<unsigned char>(b[at + k]);
  return v;
}
std::uint16_t u16(const std::string& b, std::size_t at) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(b[at]) |
                                    (static_cast<unsigned char>(b[at + 1]) << 8));
}

const Rgb kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255}, kWhite{255, 255, 255};

TEST(GridBitmap, GradedBitmapBytes) {
  // Bottom row 1 2 3, top row 4 null 6; levels 2, 4, 6 in red, green, blue.
  Grid g = makeGrid(3, 2, {1, 2, 3, 4, NULL_VALUE, 6});
  std::vector<float> levels{2, 4, 6};
  std::vector<Rgb> colours{kRed, kGreen, kBlue};
  RenderResult r = renderGraded(g, levels, colours, kWhite, 3);
  ASSERT_TRUE(r.ok) << r.error;
  ASSERT_EQ(r.image.height(), 2);
  std::string b = encodeBmp(r.image);

  EXPECT_EQ(b.substr(0, 2), "BM");
  const std::size_t stride = 4;  // three pixels padded to four bytes
  const std::size_t off = 14 + 40 + 4 * 4;
  EXPECT_EQ(u32(b, 2), off + stride * 2);
  EXPECT_EQ(b.size(), off + stride * 2);
  EXPECT_EQ(u32(b, 10), off);
  EXPECT_EQ(u32(b, 14), 40u);
  EXPECT_EQ(u32(b, 18), 3u);
  EXPECT_EQ(u32(b, 22), 2u);  // positive height: bottom-up rows
  EXPECT_EQ(u16(b, 26), 1);
  EXPECT_EQ(u16(b, 28), 8);
  EXPECT_EQ(u32(b, 30), 0u);
  EXPECT_EQ(u32(b, 34), stride * 2);
  EXPECT_EQ(u32(b, 46), 4u);
  // Palette B G R 0: background, then the levels' colours.
  const unsigned char pal[16] = {255, 255, 255, 0, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0};
  EXPECT_EQ(std::memcmp(b.data() + 54, pal, 16), 0);
  // Grid row 0 (south) is the first bitmap row. 1 and 2 fall in level 0 (2 is its upper value),
  // 3 and 4 in level 1, 6 in level 2, the null in the background; pad bytes are 0.
  const unsigned char rows[8] = {1, 1, 2, 0, 2, 0, 3, 0};
  EXPECT_EQ(std::memcmp(b.data() + off, rows, 8), 0);
}

TEST(GridBitmap, ReliefBitmapIsTwentyFourBitWithPaddedRows) {
  Grid g = fieldGrid(5, 3, 1, 1, 0, [](double x, double) { return x; });
  ReliefParams p;
  p.zFactor = 1;
  p.saturation = 100;
  RenderResult r = renderRelief(g, std::vector<Rgb>{kRed, kBlue}, kWhite, 5, p);
  ASSERT_TRUE(r.ok);
  std::string b = encodeBmp(r.image);
  EXPECT_EQ(u16(b, 28), 24);
  EXPECT_EQ(u32(b, 10), 54u);
  EXPECT_EQ(u32(b, 46), 0u);
  EXPECT_EQ(b.size(), 54u + 16 * 3);  // 15 bytes a row padded to 16
  // B G R order: the west pixel is in the low colour (red), the east one in blue.
  std::size_t row = 54;
  EXPECT_EQ(static_cast<unsigned char>(b[row + 0]), 0);
  EXPECT_GT(static_cast<unsigned char>(b[row + 2]), 0);
  EXPECT_GT(static_cast<unsigned char>(b[row + 12]), 0);
  EXPECT_EQ(static_cast<unsigned char>(b[row + 14]), 0);
  EXPECT_EQ(b[row + 15], 0);
}

TEST(GridBitmap, LevelsAndPalette) {
  Grid g = makeGrid(4, 1, {-5, 3, 9, 100});
  // Unsorted levels are searched in list order; a value above every level takes the last.
  std::vector<float> levels{10, 0, 5};
  RenderResult r = renderGraded(g, levels, std::vector<Rgb>{kRed, kGreen, kBlue}, kWhite, 4);
  ASSERT_TRUE(r.ok);
  EXPECT_EQ(r.image.at(0, 0), kRed);   // -5 <= 10 first
  EXPECT_EQ(r.image.at(3, 0), kBlue);  // 100 above all: last level
  // The same colour twice shares one palette entry; 257 distinct level colours are refused, and
  // 256 leave the background to share the nearest one.
  RenderResult same = renderGraded(g, std::vector<float>{0, 50, 200},
                                   std::vector<Rgb>{kRed, kRed, kGreen}, kWhite, 4);
  ASSERT_TRUE(same.ok);
  EXPECT_EQ(same.image.palette.size(), 3u);
  std::vector<float> many(257);
  std::vector<Rgb> cols(257);
  for (int i = 0; i < 257; ++i)
    many[i] = static_cast<float>(i),
    cols[i] = {static_cast<std::uint8_t>(i % 256), 1, static_cast<std::uint8_t>(i / 256)};
  EXPECT_FALSE(renderGraded(g, many, cols, kWhite, 4).ok);
  many.pop_back(), cols.pop_back();
  Grid holes = makeGrid(2, 1, {NULL_VALUE, 3});
  RenderResult full = renderGraded(holes, many, cols, kWhite, 2);
  ASSERT_TRUE(full.ok);
  EXPECT_EQ(full.image.palette.size(), 256u);
  EXPECT_EQ(full.image.at(0, 0), (Rgb{255, 1, 0}));  // nearest to white
  EXPECT_EQ(full.image.mask[0], 0);
  EXPECT_EQ(full.image.at(1, 0), (Rgb{3, 1, 0}));
  EXPECT_FALSE(renderGraded(g, {}, {}, kWhite, 4).ok);
}

TEST(GridImageGeometry, FrameSamplingAndRotation) {
  // Cells 1 × 2: a 4 × 2 grid covers 4 by 4, so 8 pixels wide means 8 high.
  Grid g = makeGrid(4, 2, {0, 1, 2, 3, 4, 5, 6, 7}, 1, 2);
  ImageFrame f = imageFrame(g.header, 8);
  EXPECT_EQ(f.height, 8);
  EXPECT_DOUBLE_EQ(f.xMin, 99.5);
  EXPECT_DOUBLE_EQ(f.yMax, 203);
  EXPECT_EQ(imageFrame(g.header, 0).width, 0);
  EXPECT_EQ(imageFrame(g.header, kMaxImageSide + 1).width, 0);
  GridHeader flat = g.header;
  flat.dx = 1e-30f;  // a garbled header must not ask for a giant image
  EXPECT_EQ(imageFrame(flat, 1000).width, 0);

  // Bilinear between nodes: a ramp rendered at twice its width keeps rising, north row on top.
  Grid ramp = fieldGrid(3, 3, 1, 1, 0, [](double x, double y) { return x + 10 * y; });
  std::vector<float> levels;
  std::vector<Rgb> cols;
  for (int i = 0; i <= 22; ++i)
    levels.push_back(static_cast<float>(i)), cols.push_back({static_cast<std::uint8_t>(i), 0, 0});
  RenderResult r = renderGraded(ramp, levels, cols, kWhite, 6);
  ASSERT_TRUE(r.ok);
  for (int i = 1; i < 6; ++i) EXPECT_GE(r.image.at(i, 5).r, r.image.at(i - 1, 5).r);
  EXPECT_GT(r.image.at(0, 0).r, r.image.at(0, 5).r);

  // A mesh turned 90°: its columns run north, so the last node of the row is on top.
  Grid turned = makeGrid(3, 1, {1, 2, 3}, 1, 1, 90);
  RenderResult t = renderGraded(turned, std::vector<float>{1, 2, 3},
                                std::vector<Rgb>{kRed, kGreen, kBlue}, kWhite, 1);
  ASSERT_TRUE(t.ok);
  ASSERT_EQ(t.image.height(), 3);
  EXPECT_EQ(t.image.at(0, 0), kBlue);
  EXPECT_EQ(t.image.at(0, 2), kRed);
  // At 45° the corners of the bounding box lie outside the mesh: background, mask 0.
  Grid diag = makeGrid(4, 4, std::vector<float>(16, 1.0f), 1, 1, 45);
  RenderResult d = renderGraded(diag, std::vector<float>{2}, std::vector<Rgb>{kRed}, kWhite, 40);
  ASSERT_TRUE(d.ok);
  EXPECT_EQ(d.image.at(0, 0), kWhite);
  EXPECT_EQ(d.image.mask[0], 0);
  EXPECT_EQ(d.image.at(20, d.image.height() / 2), kRed);
}

TEST(GridImageGeometry, SameImageWhateverTheThreads) {
  Grid g = fieldGrid(57, 31, 2, 3, 17, [](double x, double y) { return std::sin(x / 9) * y; });
  std::vector<float> levels{-40, -10, 0, 10, 40, 100};
  std::vector<Rgb> cols{kRed, kGreen, kBlue, {1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  RenderResult a = renderGraded(g, levels, cols, kWhite, 123, 1);
  RenderResult b = renderGraded(g, levels, cols, kWhite, 123, 3);
  EXPECT_EQ(a.image.pixels, b.image.pixels);
  ReliefParams p;
  RenderResult c = renderRelief(g, cols, kWhite, 90, p, 1);
  RenderResult e = renderRelief(g, cols, kWhite, 90, p, 2);
  EXPECT_EQ(c.image.pixels, e.image.pixels);
  // An upright grid is shaded stripe by stripe of pixel rows: many stripes, null holes, and the
  // image the same on 1, 2 and 3 threads, and at a width where pixels fall between nodes.
  Grid up = fieldGrid(301, 257, 5, 5, 0, [](double x, double y) {
    return 40 * std::exp(-((x - 600) * (x - 600) + (y - 700) * (y - 700)) / 2e5) + 0.01 * x;
  });
  for (int r = 100; r < 140; ++r)
    for (int col = 20; col < 90; ++col)
      up.nodes[static_cast<std::size_t>(r) * 301 + col] = NULL_VALUE;
  for (int width : {301, 517}) {
    RenderResult one = renderRelief(up, cols, kWhite, width, p, 1);
    ASSERT_TRUE(one.ok);
    for (int threads : {2, 3}) {
      RenderResult more = renderRelief(up, cols, kWhite, width, p, threads);
      EXPECT_EQ(one.image.pixels, more.image.pixels) << width << " " << threads;
      EXPECT_EQ(one.image.mask, more.image.mask);
    }
  }
}

// The Lambertian intensity of the plane z = a·x + b·y lit from azimuth φ at elevation α.
double planeShade(double a, double b, double elev, double az) {
  double al = elev * std::numbers::pi / 180, ph = az * std::numbers::pi / 180;
  double i = (std::sin(al) - a * std::cos(al) * std::sin(ph) - b * std::cos(al) * std::cos(ph)) /
             std::sqrt(1 + a * a + b * b);
  return std::max(0.0, i);
}

TEST(Hillshade, PlaneAgainstTheFormula) {
  const double a = 0.3, b = -0.2;
  for (float angle : {0.0f, 30.0f}) {
    // Different spacings in x and y: the slope must come out in map units all the same.
    Grid g = fieldGrid(9, 7, 25, 40, angle, [&](double x, double y) { return a * x + b * y; });
    for (auto [elev, az] : {std::pair{45.0f, -45.0f}, {30.0f, 90.0f}, {10.0f, 180.0f}}) {
      std::vector<float> s = hillshade(g, elev, az, 1.0);
      ASSERT_EQ(s.size(), g.nodes.size());
      double want = planeShade(a, b, elev, az);
      for (std::size_t k = 0; k < s.size(); ++k)  // edges included
        ASSERT_NEAR(s[k], want, 1e-4) << "angle " << angle << " az " << az << " node " << k;
    }
  }
  // The vertical factor multiplies the slope; the automatic one makes the plane 45°.
  Grid g = fieldGrid(6, 6, 10, 10, 0, [](double x, double) { return 0.5 * x; });
  EXPECT_NEAR(hillshade(g, 45, 90, 3.0)[14], planeShade(1.5, 0, 45, 90), 1e-5);
  EXPECT_NEAR(autoZFactor(g), 2.0, 1e-6);
  EXPECT_NEAR(hillshade(g, 45, 90, 0.0)[14], planeShade(1, 0, 45, 90), 1e-5);
  // Null nodes stay unlit, and their neighbours keep the plane's light.
  g.nodes[14] = NULL_VALUE;
  std::vector<float> s = hillshade(g, 45, 90, 1.0);
  EXPECT_EQ(s[14], -1.0f);
  EXPECT_NEAR(s[15], planeShade(0.5, 0, 45, 90), 1e-5);
}

// An upright relief shades whole rows at once and sends only the nodes next to a null through
// the careful per-node gradient; drawn one pixel a node it must show hillshade's light exactly,
// around lone nulls, null blocks, values above the upper limit and along the edges.
TEST(Hillshade, UprightReliefShowsTheLightOfEveryNode) {
  Grid g = fieldGrid(37, 29, 2, 2, 0, [](double x, double y) {
    return 5 * std::sin(x / 11) * std::cos(y / 7) + 0.02 * x * y;
  });
  for (std::size_t k : {40u, 41u, 300u, 555u, 556u, 592u}) g.nodes[k] = NULL_VALUE;
  g.nodes[700] = 1e6f;  // above the upper limit: null for the relief
  for (int r = 10; r < 14; ++r)
    for (int c = 0; c < 5; ++c) g.nodes[static_cast<std::size_t>(r) * 37 + c] = NULL_VALUE;
  ReliefParams p;
  p.saturation = 0;  // white washed out: the light alone, 255 · I
  p.azimuth = 30;
  p.elevation = 35;
  p.upper = 1e5f;
  p.zFactor = 1.7;
  std::vector<float> light = hillshade(g, p.elevation, p.azimuth, p.zFactor, p.upper);
  for (int threads : {1, 2}) {
    RenderResult r = renderRelief(g, std::vector<Rgb>{kRed}, kWhite, 37, p, threads);
    ASSERT_TRUE(r.ok);
    ASSERT_EQ(r.image.height(), 29);
    for (int row = 0; row < 29; ++row)
      for (int col = 0; col < 37; ++col) {
        const float want = light[static_cast<std::size_t>(28 - row) * 37 + col];
        const std::size_t q = static_cast<std::size_t>(row) * 37 + col;
        if (want < 0) {
          EXPECT_EQ(r.image.mask[q], 0) << row << " " << col;
          continue;
        }
        ASSERT_EQ(r.image.mask[q], 1) << row << " " << col;
        EXPECT_NEAR(r.image.at(col, row).r, 255 * want, 0.5 + 1e-3) << row << " " << col;
      }
  }
}

TEST(Hillshade, ReliefIsLitFromTheStatedAzimuth) {
  Grid hill = fieldGrid(41, 41, 1, 1, 0, [](double x, double y) {
    return 10 * std::exp(-((x - 20) * (x - 20) + (y - 20) * (y - 20)) / 50);
  });
  ReliefParams p;
  p.saturation = 0;  // grey: the light alone
  p.azimuth = -45;   // from the north-west
  RenderResult r = renderRelief(hill, std::vector<Rgb>{kRed}, kWhite, 41, p);
  ASSERT_TRUE(r.ok);
  // Image rows run from the north: the north-west flank (upper left) is bright, the south-east
  // flank dark.
  int nw = r.image.at(15, 15).r, se = r.image.at(25, 25).r;
  EXPECT_GT(nw, se + 60);
  p.azimuth = 135;
  RenderResult o = renderRelief(hill, std::vector<Rgb>{kRed}, kWhite, 41, p);
  EXPECT_LT(o.image.at(15, 15).r, o.image.at(25, 25).r);
  // Full saturation keeps the hue of the scale; flat ground at 45° gets sin 45° of it.
  Grid flat = makeGrid(3, 3, std::vector<float>(9, 5.0f));
  p.saturation = 100;
  RenderResult fr = renderRelief(flat, std::vector<Rgb>{{200, 100, 0}}, kWhite, 3, p);
  EXPECT_EQ(fr.image.at(1, 1), (Rgb{141, 71, 0}));
}

TEST(ClosedSeam, BitmapsFromGridFiles) {
  TempDir dir;
  Grid g = makeGrid(3, 2, {1, 2, 3, 4, NULL_VALUE, 6});
  ASSERT_TRUE(writeGrid(dir.file("g.grd"), kGridMagicB, "TEST", g.header, g.nodes));
  std::vector<float> levels{2, 4, 6};
  std::vector<std::int32_t> refs{colourRef(kRed), colourRef(kGreen), colourRef(kBlue)};
  ASSERT_TRUE(vlq::GEO_GridDataToWinBMP256File(dir.file("g.grd"), dir.file("g.bmp"), levels, refs,
                                               colourRef(kWhite), 3));
  RenderResult r = renderGraded(g, levels, std::vector<Rgb>{kRed, kGreen, kBlue}, kWhite, 3);
  EXPECT_EQ(test::readFile(dir.file("g.bmp")), encodeBmp(r.image));
  // Not a grid, or no levels: nothing is written.
  test::writeFile(dir.file("bad.grd"), "#SRNTHPALTI#garbage");
  EXPECT_FALSE(
      vlq::GEO_GridDataToWinBMP256File(dir.file("bad.grd"), dir.file("b.bmp"), levels, refs, 0, 3));
  EXPECT_FALSE(
      vlq::GEO_GridDataToWinBMP256File(dir.file("g.grd"), dir.file("b.bmp"), {}, {}, 0, 3));
  EXPECT_FALSE(std::filesystem::exists(dir.file("b.bmp")));

  std::int32_t c = 0x00336699;
  EXPECT_EQ(vlq::GEO_GetRValue(c), 0x99);
  EXPECT_EQ(vlq::GEO_GetGValue(c), 0x66);
  EXPECT_EQ(vlq::GEO_GetBValue(c), 0x33);
  std::vector<std::uint8_t> rgb{255, 0, 0, 0, 0, 255};  // red, blue as 3 × 2
  ASSERT_TRUE(vlq::GEO_DrawReliefMap(dir.file("g.grd"), dir.file("r.bmp"), rgb, 2,
                                     colourRef(kWhite), 3, 100, 45, -45));
  EXPECT_EQ(u16(test::readFile(dir.file("r.bmp")), 28), 24);
}

class ViewerApply : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(dir.dir() + "Grid_dat");
    grid = fieldGrid(20, 10, 50, 50, 0, [](double x, double y) { return x + y; });
    gridPath = dir.dir() + "Grid_dat/demo.grd";
    ASSERT_TRUE(writeGrid(gridPath, kGridMagicB, "TEST", grid.header, grid.nodes));
    auto t =
        SysColourTable::load(std::string(SARNOTH_SOURCE_DIR) + "/resources/syslib/syscolor.tbl");
    ASSERT_TRUE(t);
    table = *t;
    req.workPath = dir.dir();
    req.gridFile = gridPath;
    req.width = 40;
    req.scale.backColour = kDefaultBackColour;
  }
  void levels(int n) {
    req.scale.levels.clear();
    for (int i = 0; i < n; ++i)
      req.scale.levels.push_back(
          {static_cast<float>(i * 2000.0 / n), static_cast<std::int16_t>(260 + i % 256)});
  }
  std::string bmp() const { return dir.dir() + "temp/map/GridData.bmp"; }

  TempDir dir;
  Grid grid;
  std::string gridPath;
  SysColourTable table;
  ViewRequest req;
};

TEST_F(ViewerApply, RefusalsLeaveNoImage) {
  levels(0);
  EXPECT_EQ(applyView(req, table).outcome.message, kMsgPaletteCount);
  levels(501);
  EXPECT_EQ(applyView(req, table).outcome.message, kMsgPaletteCount);
  levels(500);  // passes the count, fails the colours
  EXPECT_EQ(applyView(req, table).outcome.message, kMsgOver256);
  levels(257);
  EXPECT_EQ(applyView(req, table).outcome.message, kMsgOver256);
  EXPECT_FALSE(std::filesystem::exists(bmp()));
  req.kind = ViewKind::Relief;
  req.colourCount = 0;
  EXPECT_EQ(applyView(req, table).outcome.message, kMsgPaletteCount);
}

TEST_F(ViewerApply, RendersTheBitmapAndItsGeoreference) {
  levels(256);
  ViewResult v = applyView(req, table);
  ASSERT_TRUE(v.outcome.ok) << v.outcome.message;
  std::string b = test::readFile(bmp());
  EXPECT_EQ(u16(b, 28), 8);
  EXPECT_EQ(u32(b, 18), 40u);
  EXPECT_EQ(u32(b, 22), 20u);
  std::vector<std::string> lines =
      filetext::splitLines(test::readFile(dir.dir() + "temp/map/GridData.btf"));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "GridData 0 0 40 20 75 175 1075 675");

  // A failed render keeps the last image and says so.
  test::writeFile(dir.dir() + "Grid_dat/broken.grd", std::string("#SRNTHGRIDB#") + "x");
  req.gridFile = dir.dir() + "Grid_dat/broken.grd";
  EXPECT_EQ(applyView(req, table).outcome.message, kMsgCreateFailed);
  EXPECT_EQ(test::readFile(bmp()), b);

  req.gridFile = gridPath;
  req.kind = ViewKind::Relief;
  v = applyView(req, table);
  ASSERT_TRUE(v.outcome.ok);
  EXPECT_EQ(u16(test::readFile(bmp()), 28), 24);
}

TEST_F(ViewerApply, ScratchFilesOfOpeningAndClosing) {
  TempDir sys;
  std::filesystem::create_directories(sys.dir() + "syslib");
  test::writeFile(sys.dir() + "syslib/syscolor.tbl", "0 1 2 3\n");
  test::writeFile(sys.dir() + "geomap.bak", "MAP");
  ASSERT_TRUE(prepareViewerScratch(dir.dir(), sys.dir()).ok);
  EXPECT_EQ(test::readFile(dir.dir() + "temp/syslib/syscolor.tbl"), "0 1 2 3\n");
  EXPECT_EQ(test::readFile(dir.dir() + "temp/retrmap.map"), "MAP");
  levels(8);
  ASSERT_TRUE(applyView(req, table).outcome.ok);
  clearViewerScratch(dir.dir());
  EXPECT_FALSE(std::filesystem::exists(bmp()));
  EXPECT_FALSE(std::filesystem::exists(dir.dir() + "temp/retrmap.map"));
  EXPECT_TRUE(std::filesystem::exists(dir.dir() + "Grid_dat/demo.grd"));

  std::string msg;
  EXPECT_TRUE(openViewerGrid(gridPath, msg));
  EXPECT_FALSE(openViewerGrid(sys.dir() + "geomap.bak", msg));
  EXPECT_EQ(msg, kMsgNotGrid);
}

TEST_F(ViewerApply, ExportsPngAndGeoTiff) {
  grid.nodes[0] = NULL_VALUE;  // the south-west node
  ASSERT_TRUE(writeGrid(gridPath, kGridMagicB, "TEST", grid.header, grid.nodes));
  levels(16);
  ASSERT_TRUE(exportView(req, dir.file("map.tif"), true, 0, table).ok);
  GDALAllRegister();
  GDALDatasetH ds = GDALOpen(dir.file("map.tif").c_str(), GA_ReadOnly);
  ASSERT_NE(ds, nullptr);
  EXPECT_EQ(GDALGetRasterXSize(ds), 40);  // no bar in the GeoTIFF
  EXPECT_EQ(GDALGetRasterCount(ds), 4);
  double gt[6];
  ASSERT_EQ(GDALGetGeoTransform(ds, gt), CE_None);
  EXPECT_DOUBLE_EQ(gt[0], 75);
  EXPECT_DOUBLE_EQ(gt[1], 25);
  EXPECT_DOUBLE_EQ(gt[3], 675);
  EXPECT_DOUBLE_EQ(gt[5], -25);
  unsigned char alpha[3];
  ASSERT_EQ(
      GDALRasterIO(GDALGetRasterBand(ds, 4), GF_Read, 0, 19, 3, 1, alpha, 3, 1, GDT_Byte, 0, 0),
      CE_None);
  EXPECT_EQ(alpha[0], 0);  // the null node's two pixels are transparent
  EXPECT_EQ(alpha[1], 0);
  EXPECT_EQ(alpha[2], 255);
  GDALClose(ds);

  ASSERT_TRUE(exportView(req, dir.file("map.png"), true, 0, table).ok);
  ds = GDALOpen(dir.file("map.png").c_str(), GA_ReadOnly);
  ASSERT_NE(ds, nullptr);
  EXPECT_GT(GDALGetRasterXSize(ds), 40);  // the colour bar beside the image
  GDALClose(ds);
  EXPECT_TRUE(std::filesystem::exists(dir.file("map.wld")));
  EXPECT_FALSE(exportView(req, dir.file("map.jpg"), false, 0, table).ok);
}

// One bar, one format: the relief bar over a range of 7 to 106 once read 106.18, 99.348, 7.1414.
TEST(ColourBar, OneFormatPerBar) {
  const std::vector<float> relief{7.1414f, 21.3f, 56.77f, 99.348f, 106.18f};
  EXPECT_EQ(colourBarLabels(relief, 0),
            (std::vector<std::string>{"7.1", "21.3", "56.8", "99.3", "106.2"}));
  // The level list's decimals rule where they are given.
  EXPECT_EQ(colourBarLabels(relief, 2),
            (std::vector<std::string>{"7.14", "21.30", "56.77", "99.35", "106.18"}));
  // Fine steps get the decimals they need; large and tiny values a common mantissa.
  EXPECT_EQ(colourBarLabels(std::vector<float>{0.5f, 0.52f, 0.54f}, 0),
            (std::vector<std::string>{"0.500", "0.520", "0.540"}));
  EXPECT_EQ(colourBarLabels(std::vector<float>{1.5e7f, 2.5e7f, 1e8f}, 0),
            (std::vector<std::string>{"1.5E+07", "2.5E+07", "1.0E+08"}));
  for (const auto& labels : {colourBarLabels(relief, 0), colourBarLabels(relief, 3)}) {
    const std::size_t dot = labels[0].size() - labels[0].find('.');
    for (const auto& l : labels) EXPECT_EQ(l.size() - l.find('.'), dot) << l;
  }
}

// The viewer's status line and scale bar, worked by hand on a 3 x 2 grid at (1000, 2000), 10 m.
TEST(ViewerReadouts, ValueUnderTheCursorAndScaleBar) {
  Grid g;
  g.header.nx = 3;
  g.header.ny = 2;
  g.header.x0 = 1000;
  g.header.y0 = 2000;
  g.header.dx = g.header.dy = 10;
  g.nodes = {1, 2, 3, 4, NULL_VALUE, 6.25f};
  EXPECT_EQ(gridValueAt(g, 1000, 2000), 1.0f);
  EXPECT_EQ(gridValueAt(g, 1024.9, 2005.1), 6.25f);  // nearest node (r 1, c 2)
  EXPECT_FALSE(gridValueAt(g, 1010, 2010));          // a null node
  EXPECT_FALSE(gridValueAt(g, 1025.1, 2000));        // beyond the outer half cell
  EXPECT_EQ(cursorText(g, 1020.25, 2009.5), "X: 1020.25   Y: 2009.50   值: 6.25");
  EXPECT_EQ(cursorText(g, 1010, 2010), "X: 1010.00   Y: 2010.00   值: 空值");
  EXPECT_EQ(cursorText(g, 900, 2010), "X: 900.00   Y: 2010.00");

  ScaleBar b = scaleBarFor(7.3, 100);  // 730 m wanted: 500 m is the round length below
  EXPECT_EQ(b.length, 500);
  EXPECT_EQ(b.pixels, 68);
  EXPECT_EQ(b.label, "500");
  EXPECT_EQ(scaleBarFor(0.0021, 100).label, "0.2");
  EXPECT_EQ(scaleBarFor(25000, 100).label, "2E+06");
  EXPECT_EQ(scaleBarFor(0, 100).pixels, 0);
}

TEST(ColourBar, LabelsAndSwatches) {
  EXPECT_EQ(colourBarLabel(12.5f, 2), "12.50");
  EXPECT_EQ(colourBarLabel(1.5e-7f, 0), "1.5E-07");
  Image img;
  img.frame.width = 10;
  img.frame.height = 200;
  img.pixels.assign(3 * 2000, 0);
  img.mask.assign(2000, 1);
  std::vector<ColourBarEntry> e{{1, kRed}, {2, kGreen}, {3, kBlue}};
  Image out = withColourBar(img, e, 0);
  ASSERT_GT(out.width(), 10);
  EXPECT_EQ(out.height(), 200);
  EXPECT_EQ(out.at(5, 100), (Rgb{0, 0, 0}));  // the image itself is untouched
  // Lowest level at the bottom, highest on top.
  EXPECT_EQ(out.at(10 + 12, 185), kRed);
  EXPECT_EQ(out.at(10 + 12, 15), kBlue);
}

TEST(RenderCli, WritesImagesAndRefusesBadScales) {
  TempDir dir;
  Grid g = fieldGrid(30, 20, 10, 10, 0, [](double x, double y) { return x * y; });
  ASSERT_TRUE(writeGrid(dir.file("g.grd"), kGridMagicB, "TEST", g.header, g.nodes));
  auto r =
      test::runCli("render grid " + dir.file("g.grd") +
                   " --mode graded --levels 12 --width 60 -o " + dir.file("o.bmp") + " --quiet");
  ASSERT_EQ(r.status, 0) << r.out;
  std::string b = test::readFile(dir.file("o.bmp"));
  EXPECT_EQ(u32(b, 18), 60u);
  EXPECT_EQ(u32(b, 46), 13u);  // 12 levels and the background
  r = test::runCli("render grid " + dir.file("g.grd") + " --mode relief --width 60 -o " +
                   dir.file("o.png") + " --colour-bar --quiet");
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(std::filesystem::exists(dir.file("o.png")));
  ColourScale big;
  for (int i = 0; i < 500; ++i) big.levels.push_back({static_cast<float>(i), 260});
  ASSERT_EQ(writePalette(dir.file("big.pal"), big), PaletteError::None);
  r = test::runCli("render grid " + dir.file("g.grd") + " --palette " + dir.file("big.pal") +
                   " -o " + dir.file("x.bmp"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find(kMsgOver256), std::string::npos) << r.out;
  r = test::runCli("render grid " + dir.file("nothing.grd") + " -o " + dir.file("x.bmp"));
  EXPECT_NE(r.out.find("打开输入文件错误。"), std::string::npos) << r.out;
  test::writeFile(dir.file("text.grd"), "not a grid at all, but long enough for a magic");
  r = test::runCli("render grid " + dir.file("text.grd") + " -o " + dir.file("x.bmp"));
  EXPECT_NE(r.out.find(kMsgNotGrid), std::string::npos) << r.out;
}

}  // namespace
}  // namespace sarnoth::display
