// Scatter files in and out of the table store, image conversion and the data conversions of the
// format conversion window.
#include <gdal.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "test_support.h"
#include "datatools/data_convert.h"
#include "workarea/grid_file.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

ScatterFile sampleScatter() {
  ScatterFile f;
  f.magic = kScatMagicB;
  f.origin = "Field2023";
  f.names = {"X", "Y", "铜含量"};
  f.values = {100.5f, 200.25f, 35.5f, 101.f, 201.f, NULL_VALUE, 102.f, 199.5f, 0.125f};
  f.recordCount = 3;
  return f;
}

class ScatterTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
  }
  Outcome importFile(const std::string& path, const std::string& table, Interaction& ui) {
    std::string error;
    auto src = openTableFile(path, "", DelimitedOptions{}, error);
    if (!src) return Outcome::failure(error);
    ImportPreview p;
    Outcome o = previewSource(*src, p);
    if (!o) return o;
    return importTable(db, *src, p.columns, table, ui, noProgress());
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(ScatterTableTest, BinaryAndAsciiScatterFilesImportAsSingleColumns) {
  // Scatter files are told by their magic, whatever their suffix says.
  const std::string bin = tmp.file("points.dat"), asc = tmp.file("points.txt");
  ASSERT_EQ(writeBinaryScatter(bin, sampleScatter()), ScatterError::None);
  ASSERT_EQ(writeAsciiScatter(asc, asAsciiForm(sampleScatter())), ScatterError::None);
  ScriptedInteraction ui;
  for (const auto& [path, table] : {std::pair{bin, std::string("散点B")}, {asc, "散点A"}}) {
    Outcome o = importFile(path, table, ui);
    ASSERT_TRUE(o.ok) << path << ": " << o.message;
    auto fields = db.fields(table);
    ASSERT_EQ(fields.size(), 3u);
    EXPECT_EQ(fields[2].name, "铜含量");
    for (const auto& f : fields) EXPECT_EQ(f.declared(), "SINGLE");
    Cursor c = db.query("Select * From " + bracket(table));
    std::vector<float> got;
    while (c.next())
      for (int i = 0; i < 3; ++i) got.push_back(c.getFloat(i));
    EXPECT_EQ(got, sampleScatter().values) << table;
    Recordset rs = Recordset::openTable(db, kRegistryTable);
    ASSERT_TRUE(rs.findFirst("[查询表名] = ?", {table}));
    EXPECT_EQ(rs.getText("查询库名"), "OutDataIn");
  }
  EXPECT_EQ(db.scalar("Select Count(*) From [散点B] Where [铜含量] = -1E+38"),
            Value{std::int64_t{1}});
}

TEST_F(ScatterTableTest, DamagedScatterFilesAreRefusedAndLeaveNoTrace) {
  const std::string bin = tmp.file("cut.dat");
  ASSERT_EQ(writeBinaryScatter(bin, sampleScatter()), ScatterError::None);
  std::string bytes = test::readFile(bin);
  test::writeFile(bin, bytes.substr(0, bytes.size() - 20));  // values cut short
  ScriptedInteraction ui;
  Outcome o = importFile(bin, "坏", ui);
  EXPECT_FALSE(o.ok);
  EXPECT_EQ(o.message, kConvFailed);
  // A huge count in a short file is caught before anything is allocated.
  std::string huge = bytes;
  std::int32_t n = 0x7fffffff;
  std::memcpy(huge.data() + kScatHeaderOffset, &n, 4);
  test::writeFile(bin, huge);
  EXPECT_FALSE(importFile(bin, "坏", ui).ok);
  EXPECT_FALSE(db.tableExists("坏"));
  EXPECT_EQ(db.rowCount(kRegistryTable), 0);
  // A text file with a .dat suffix is still read as delimited text.
  test::writeFile(tmp.file("plain.dat"), "a,b\n1,2\n");
  EXPECT_TRUE(importFile(tmp.file("plain.dat"), "文本", ui).ok);
  EXPECT_EQ(db.fields("文本")[0].declared(), "LONG");
}

TEST_F(ScatterTableTest, TablesExportAsScatterFilesOfTheSystem) {
  db.execute("Create Table [化探] ([点号] TEXT(8), [X] DOUBLE, [Y] DOUBLE, [Au] SINGLE, [n] LONG)");
  db.execute(
      "Insert Into [化探] Values ('P1', 500100.5, 3200000.25, 1.5, 3), ('P2', 500200, 3200100, "
      "-1E+38, 4), ('P3', 500300, 3200200, 2.75, Null)");
  const std::string bin = tmp.file("out.dat"), asc = tmp.file("out_a.dat");
  SaveOptions opt;
  opt.format = SaveFormat::ScatterBinary;
  std::int64_t points = 0;
  ASSERT_TRUE(saveTableAs(db, "化探", bin, opt, noProgress(), &points).ok);
  EXPECT_EQ(points, 3);
  std::string bytes = test::readFile(bin);
  EXPECT_EQ(bytes.substr(0, 32), std::string("#SRNTHSCATB#B_FromBase          "));
  EXPECT_EQ(bytes.substr(bytes.size() - 8), "#ENDDATA");  // the export's end mark, one sign short
  ScatterReadResult r = readBinaryScatter(bin);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.names, (std::vector<std::string>{"X", "Y", "Au", "n"}));  // text left out
  EXPECT_EQ(r.file.at(0, 0), 500100.5f);
  EXPECT_EQ(r.file.at(1, 2), NULL_VALUE);
  EXPECT_EQ(r.file.at(2, 3), NULL_VALUE);  // an empty cell is the null as well

  opt.format = SaveFormat::ScatterAscii;
  ASSERT_TRUE(saveTableAs(db, "化探", asc, opt).ok);
  std::string text = test::readFile(asc);
  EXPECT_EQ(text.rfind("#SRNTHSCATA#\r\nC_FROMBASE\r\n3\r\n-1E+38\r\n4\r\nX,Y,Au,n\r\n", 0), 0u)
      << text;
  // A scatter file holds floats only: with "nulls empty" the points holding a null in a field
  // written are left out, and the outcome counts them.
  opt.fields = {"Au", "X"};
  ASSERT_TRUE(saveTableAs(db, "化探", asc, opt, noProgress(), &points).ok);
  EXPECT_EQ(points, 3);
  opt.nullsEmpty = true;
  Outcome o = saveTableAs(db, "化探", asc, opt, noProgress(), &points);
  ASSERT_TRUE(o.ok);
  EXPECT_EQ(points, 2);
  EXPECT_EQ(o.message, "有 1 个含空值的点未写出.");
  r = readAsciiScatter(asc);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.names, (std::vector<std::string>{"Au", "X"}));
  EXPECT_EQ(r.file.recordCount, 2);
  EXPECT_EQ(r.file.values, (std::vector<float>{1.5f, 500100.5f, 2.75f, 500300}));
  opt.format = SaveFormat::ScatterBinary;
  ASSERT_TRUE(saveTableAs(db, "化探", bin, opt, noProgress(), &points).ok);
  EXPECT_EQ(readBinaryScatter(bin).file.recordCount, 2);
  opt.nullsEmpty = false;
  opt.fields.clear();
  ASSERT_TRUE(saveTableAs(db, "化探", bin, opt, noProgress(), &points).ok);

  // Exported and imported back, the numbers are the table's.
  ScriptedInteraction ui;
  ASSERT_TRUE(importFile(bin, "回读", ui).ok);
  EXPECT_EQ(valueToDouble(db.scalar("Select Sum([Au]) From [回读] Where [Au] <> -1E+38")), 4.25);

  EXPECT_FALSE(saveTableAs(db, "无此表", bin, opt).ok);
  db.execute("Create Table [文字] ([名] TEXT(8))");
  opt.fields.clear();
  EXPECT_FALSE(saveTableAs(db, "文字", bin, opt).ok);
}

// ---- images -----------------------------------------------------------------------------------

class ImageConvertTest : public ::testing::Test {
 protected:
  void SetUp() override { GDALAllRegister(); }
  // A w×h image with `bands` bands of `type`, written through `driver`.
  std::string makeImage(const std::string& name, const char* driver, int bands,
                        GDALDataType type = GDT_Byte, int w = 24, int h = 16) {
    std::string path = tmp.file(name);
    GDALDatasetH mem = GDALCreate(GDALGetDriverByName("MEM"), "", w, h, bands, type, nullptr);
    for (int b = 1; b <= bands; ++b) {
      std::vector<float> px(static_cast<std::size_t>(w * h));
      for (int i = 0; i < w * h; ++i) px[i] = static_cast<float>((i * 7 + b * 40) % 256);
      EXPECT_EQ(GDALRasterIO(GDALGetRasterBand(mem, b), GF_Write, 0, 0, w, h, px.data(), w, h,
                             GDT_Float32, 0, 0),
                CE_None);
    }
    GDALDatasetH out = GDALCreateCopy(GDALGetDriverByName(driver), path.c_str(), mem, FALSE,
                                      nullptr, nullptr, nullptr);
    EXPECT_NE(out, nullptr);
    GDALClose(out);
    GDALClose(mem);
    return path;
  }
  struct Shape {
    std::string driver;
    int w = 0, h = 0, bands = 0;
    GDALDataType type = GDT_Unknown;
    bool palette = false;
  };
  static Shape shape(const std::string& path) {
    Shape s;
    GDALDatasetH ds = GDALOpen(path.c_str(), GA_ReadOnly);
    if (!ds) return s;
    s.driver = GDALGetDriverShortName(GDALGetDatasetDriver(ds));
    s.w = GDALGetRasterXSize(ds);
    s.h = GDALGetRasterYSize(ds);
    s.bands = GDALGetRasterCount(ds);
    s.type = GDALGetRasterDataType(GDALGetRasterBand(ds, 1));
    s.palette = GDALGetRasterColorTable(GDALGetRasterBand(ds, 1)) != nullptr;
    GDALClose(ds);
    return s;
  }
  static std::vector<std::uint8_t> pixels(const std::string& path, int band) {
    GDALDatasetH ds = GDALOpen(path.c_str(), GA_ReadOnly);
    int w = GDALGetRasterXSize(ds), h = GDALGetRasterYSize(ds);
    std::vector<std::uint8_t> px(static_cast<std::size_t>(w * h));
    EXPECT_EQ(GDALRasterIO(GDALGetRasterBand(ds, band), GF_Read, 0, 0, w, h, px.data(), w, h,
                           GDT_Byte, 0, 0),
              CE_None);
    GDALClose(ds);
    return px;
  }
  test::TempDir tmp;
};

TEST_F(ImageConvertTest, EveryTargetGetsWhatItsDriverTakes) {
  const std::string rgba = makeImage("logo.png", "PNG", 4);
  struct Case {
    ImageFormat f;
    const char* driver;
    int bands;
    bool palette;
  };
  for (const Case& c :
       {Case{ImageFormat::Bmp, "BMP", 3, false}, Case{ImageFormat::Jpeg, "JPEG", 3, false},
        Case{ImageFormat::Tiff, "GTiff", 4, false}, Case{ImageFormat::Gif, "GIF", 1, true}}) {
    std::string out = tmp.file(std::string("logo") + imageExtension(c.f));
    Outcome o = convertImage(rgba, out, c.f);
    ASSERT_TRUE(o.ok) << c.driver << ": " << o.message;
    Shape s = shape(out);
    EXPECT_EQ(s.driver, c.driver);
    EXPECT_EQ(s.w, 24);
    EXPECT_EQ(s.h, 16);
    EXPECT_EQ(s.bands, c.bands) << c.driver;
    EXPECT_EQ(s.palette, c.palette) << c.driver;
    EXPECT_FALSE(std::filesystem::exists(out + ".aux.xml")) << c.driver;
  }
  // Lossless targets keep the samples.
  EXPECT_EQ(pixels(tmp.file("logo.bmp"), 2), pixels(rgba, 2));
  EXPECT_EQ(pixels(tmp.file("logo.tif"), 4), pixels(rgba, 4));

  // A palette image becomes RGB for JPEG and stays a palette for BMP.
  std::string gif = tmp.file("logo.gif");
  ASSERT_TRUE(convertImage(gif, tmp.file("pal.jpg"), ImageFormat::Jpeg).ok);
  EXPECT_EQ(shape(tmp.file("pal.jpg")).bands, 3);
  ASSERT_TRUE(convertImage(gif, tmp.file("pal.bmp"), ImageFormat::Bmp).ok);
  EXPECT_TRUE(shape(tmp.file("pal.bmp")).palette);

  // Float samples are stretched to bytes for PNG; the target is overwritten without a question.
  const std::string grid = makeImage("dem.tif", "GTiff", 1, GDT_Float32);
  test::writeFile(tmp.file("dem.png"), "old contents");
  ASSERT_TRUE(convertImage(grid, tmp.file("dem.png"), ImageFormat::Png).ok);
  Shape s = shape(tmp.file("dem.png"));
  EXPECT_EQ(s.type, GDT_Byte);
  EXPECT_EQ(s.bands, 1);
}

TEST_F(ImageConvertTest, BadSourcesAreRefused) {
  EXPECT_EQ(convertImage(tmp.file("none.png"), tmp.file("x.bmp"), ImageFormat::Bmp).message,
            kConvOpenInput);
  test::writeFile(tmp.file("junk.png"), std::string("\x89PNG\r\n\x1a\n garbage", 17));
  EXPECT_EQ(convertImage(tmp.file("junk.png"), tmp.file("x.bmp"), ImageFormat::Bmp).message,
            kConvBadInput);
  EXPECT_FALSE(std::filesystem::exists(tmp.file("x.bmp")));
  const std::string png = makeImage("a.png", "PNG", 3);
  EXPECT_FALSE(convertImage(png, png, ImageFormat::Png).ok);
  EXPECT_EQ(shape(png).bands, 3);  // the source is untouched
  ImageFormat f;
  EXPECT_TRUE(parseImageFormat(".JPEG", f));
  EXPECT_EQ(f, ImageFormat::Jpeg);
  EXPECT_FALSE(parseImageFormat("pcx", f));
}

// ---- data conversion --------------------------------------------------------------------------

TEST(DataConvertTest, AsciiGridsBecomeBinaryWithTheConversionMethod) {
  test::TempDir tmp;
  Grid g;
  g.header.nx = 3;
  g.header.ny = 2;
  g.header.x0 = 10;
  g.header.y0 = 20;
  g.header.dx = 5;
  g.header.dy = 5;
  g.nodes = {1, 2, 3, NULL_VALUE, 5, 6};
  recomputeGridStats(g.header, g.nodes);
  const std::string asc = tmp.file("a.grd"), bin = tmp.file("b.grd");
  ASSERT_EQ(writeAsciiGrid(asc, g), kGridOk);
  EXPECT_EQ(detectDataKind(asc), DataKind::Grid);
  test::writeFile(bin, "an older file in the way");
  Progress progress;
  ASSERT_TRUE(convertDataFile(asc, bin, ConvertTarget::GridBinary, progress).ok);
  GridReadResult r = readGrid(bin);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.magic, "#SRNTHGRIDB#");
  EXPECT_EQ(r.grid.header.method.substr(0, 12), "GEOMTOSRNPTH");
  EXPECT_EQ(r.grid.nodes, g.nodes);
  EXPECT_EQ(r.grid.header.validCount, 5);
  EXPECT_EQ(progress.value(), 0);

  // To the ASCII scatter of a grid, and on to a binary scatter file.
  const std::string pts = tmp.file("pts.dat"), ptsB = tmp.file("ptsb.dat");
  ASSERT_TRUE(convertDataFile(bin, pts, ConvertTarget::GridScatterAscii).ok);
  EXPECT_EQ(detectDataKind(pts), DataKind::Scatter);
  ASSERT_TRUE(convertDataFile(pts, ptsB, ConvertTarget::ScatterBinary).ok);
  ScatterReadResult s = readBinaryScatter(ptsB);
  ASSERT_TRUE(s.ok());
  EXPECT_EQ(s.file.recordCount, 6);
  EXPECT_EQ(s.file.at(4, 0), 15.f);
  EXPECT_EQ(s.file.at(4, 1), 25.f);
  EXPECT_EQ(s.file.at(3, 2), NULL_VALUE);

  // A target of the other kind, garbage, and a missing file are each refused.
  EXPECT_EQ(convertDataFile(pts, tmp.file("x.grd"), ConvertTarget::GridSurfer).message,
            kConvBadInput);
  EXPECT_EQ(convertDataFile(bin, tmp.file("x.dat"), ConvertTarget::ScatterCsv).message,
            kConvBadInput);
  test::writeFile(tmp.file("junk.grd"), "#SRNTHGRIDA#\nC-Data\n1,2\n0\n99999,99999\n");
  EXPECT_FALSE(
      convertDataFile(tmp.file("junk.grd"), tmp.file("x.grd"), ConvertTarget::GridBinary).ok);
  EXPECT_EQ(
      convertDataFile(tmp.file("no.grd"), tmp.file("x.grd"), ConvertTarget::GridBinary).message,
      kConvOpenInput);
  EXPECT_FALSE(convertDataFile(bin, bin, ConvertTarget::GridBinary).ok);
  EXPECT_TRUE(readGrid(bin).ok());
}

TEST(DataConvertTest, ScatterFormsRoundTrip) {
  test::TempDir tmp;
  const std::string a = tmp.file("a.dat"), b = tmp.file("b.dat"), c = tmp.file("c.csv");
  ASSERT_EQ(writeBinaryScatter(a, sampleScatter()), ScatterError::None);
  ASSERT_TRUE(convertDataFile(a, b, ConvertTarget::ScatterAscii).ok);
  EXPECT_EQ(test::readFile(b).rfind("#SRNTHSCATA#\r\nC-Data\r\n", 0), 0u);
  ASSERT_TRUE(convertDataFile(b, c, ConvertTarget::ScatterCsv, noProgress(), true).ok);
  EXPECT_NE(test::readFile(c).find("101,201,\n"), std::string::npos) << test::readFile(c);
  ASSERT_TRUE(convertDataFile(c, a, ConvertTarget::ScatterBinary).ok);
  ScatterReadResult r = readBinaryScatter(a);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.values, sampleScatter().values);
  EXPECT_EQ(r.file.names, sampleScatter().names);
}

}  // namespace
}  // namespace sarnoth
