// Grids through GDAL: GeoTIFF in and out, and the exchange files checked against GDAL's own
// reading and writing (with gdal-bin present; skipped otherwise). Also the grid command line.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "test_support.h"
#include "workarea/grid_exchange.h"
#include "workarea/grid_gdal.h"
#include "workarea/grid_samples.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

using test::sampleGrid;
using test::TempDir;
using test::writeFile;

bool haveGdalTools() { return std::system("command -v gdal_translate >/dev/null 2>&1") == 0; }

// Runs a shell command; returns its exit status and stdout+stderr.
int run(const std::string& cmd, std::string* out = nullptr) {
  std::FILE* p = popen((cmd + " 2>&1").c_str(), "r");
  if (!p) return -1;
  std::array<char, 4096> buf;
  std::string text;
  std::size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), p)) > 0) text.append(buf.data(), n);
  int st = pclose(p);
  if (out) *out = text;
  return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

double jsonNumber(const std::string& json, const std::string& key) {
  std::smatch m;
  std::regex re("\"" + key + "\":\\s*\"?([-+0-9.eE]+)");
  if (!std::regex_search(json, m, re)) return NAN;
  return std::stod(m[1]);
}

std::vector<double> jsonArray(const std::string& json, const std::string& key) {
  std::smatch m;
  std::regex re("\"" + key + "\":\\s*\\[([^\\]]*)\\]");
  std::vector<double> v;
  if (!std::regex_search(json, m, re)) return v;
  std::string items = m[1];
  std::regex num("[-+0-9.eE]+");
  for (auto it = std::sregex_iterator(items.begin(), items.end(), num);
       it != std::sregex_iterator(); ++it)
    v.push_back(std::stod(it->str()));
  return v;
}

void expectSameGrid(const Grid& a, const Grid& b, const std::string& what) {
  EXPECT_EQ(a.header.nx, b.header.nx) << what;
  EXPECT_EQ(a.header.ny, b.header.ny) << what;
  EXPECT_FLOAT_EQ(a.header.x0, b.header.x0) << what;
  EXPECT_FLOAT_EQ(a.header.y0, b.header.y0) << what;
  EXPECT_FLOAT_EQ(a.header.dx, b.header.dx) << what;
  EXPECT_FLOAT_EQ(a.header.dy, b.header.dy) << what;
  ASSERT_EQ(a.nodes.size(), b.nodes.size()) << what;
  for (std::size_t i = 0; i < a.nodes.size(); ++i)
    ASSERT_EQ(a.nodes[i], b.nodes[i]) << what << " node " << i;
}

TEST(GdalGrid, GeoTiffRoundTripKeepsPlaceNullsAndRowOrder) {
  TempDir t;
  Grid g = sampleGrid(7, 4, 431250.5f, 3712300.25f, 30, 20);
  g.header.angle = 12.5f;
  ASSERT_EQ(writeGdalRaster(t.file("g.tif"), g), kGridOk);
  Grid back;
  ASSERT_EQ(readGdalRaster(t.file("g.tif"), back), kGridOk);
  expectSameGrid(g, back, "GTiff");
  EXPECT_EQ(back.header.validCount, g.header.validCount);
  EXPECT_EQ(back.header.angle, 12.5f);

  std::string detail;
  writeFile(t.file("junk.tif"), "not a raster");
  EXPECT_EQ(readGdalRaster(t.file("junk.tif"), back, &detail), kGridOpenInputFailed);
  EXPECT_FALSE(detail.empty());
  EXPECT_FALSE(gdalCanWrite("NoSuchDriver"));
}

TEST(GdalGrid, OurExchangeFilesOpenInGdalWithTheSameGeometry) {
  if (!haveGdalTools()) GTEST_SKIP() << "gdal-bin is not installed (apt-get install gdal-bin)";
  TempDir t;
  Grid g = sampleGrid(9, 6, 431250.5f, 3712300.25f, 30, 30);
  const GridHeader& h = g.header;
  ASSERT_EQ(writeSurferGrid(t.file("s.grd"), g), kGridOk);
  ASSERT_EQ(writeArcViewAscii(t.file("a.asc"), g), kGridOk);
  for (const char* f : {"s.grd", "a.asc"}) {
    std::string json;
    ASSERT_EQ(run("gdalinfo -json -stats " + t.file(f), &json), 0) << json;
    EXPECT_EQ(jsonArray(json, "size"), (std::vector<double>{9, 6})) << f;
    std::vector<double> gt = jsonArray(json, "geoTransform");
    ASSERT_EQ(gt.size(), 6u) << f;
    // The outer corner of the first cell, to single precision (the files hold float texts).
    EXPECT_NEAR(gt[0], h.x0 - h.dx / 2.0, 1.2e-7 * h.x0) << f;
    EXPECT_NEAR(gt[1], h.dx, 1e-6) << f;
    EXPECT_NEAR(gt[3], h.y0 + (h.ny - 0.5) * h.dy, 1.2e-7 * h.y0) << f;
    EXPECT_NEAR(gt[5], -h.dy, 1e-6) << f;
    EXPECT_FLOAT_EQ(jsonNumber(json, "minimum"), h.zMin) << f;
    EXPECT_FLOAT_EQ(jsonNumber(json, "maximum"), h.zMax) << f;
    // Nulls are NoData: the statistics count only the data nodes.
    double sum = 0;
    for (float v : g.nodes)
      if (v != NULL_VALUE) sum += v;
    EXPECT_NEAR(jsonNumber(json, "STATISTICS_MEAN"), sum / h.validCount, 1e-5) << f;
    EXPECT_NEAR(jsonNumber(json, "STATISTICS_VALID_PERCENT"), 100.0 * h.validCount / 54, 0.01) << f;
  }
}

TEST(GdalGrid, FilesGdalWroteImportToTheSameValues) {
  if (!haveGdalTools()) GTEST_SKIP() << "gdal-bin is not installed (apt-get install gdal-bin)";
  TempDir t;
  Grid g = sampleGrid(11, 8, 500000.5f, 4100000.25f, 25, 25, 6);
  g.nodes[3] = 1234.5678f;
  g.nodes[4] = -0.000123456f;
  recomputeGridStats(g.header, g.nodes);
  ASSERT_EQ(writeGdalRaster(t.file("g.tif"), g), kGridOk);
  std::string log;
  ASSERT_EQ(run("gdal_translate -q -of GSAG " + t.file("g.tif") + " " + t.file("s.grd"), &log), 0)
      << log;
  ASSERT_EQ(run("gdal_translate -q -of AAIGrid " + t.file("g.tif") + " " + t.file("a.asc"), &log),
            0)
      << log;
  Grid s, a;
  ASSERT_EQ(readSurferGrid(t.file("s.grd"), s), kGridOk);
  expectSameGrid(g, s, "GSAG");
  // GDAL writes the outer corner of the first cell as "xllcorner": the GIS reading.
  ASSERT_EQ(readArcViewGrid(t.file("a.asc"), a, noProgress(), ArcOrigin::CellCorner), kGridOk);
  expectSameGrid(g, a, "AAIGrid");
  EXPECT_EQ(a.header.validCount, g.header.validCount);
}

// --- the command line -------------------------------------------------------------------------

std::string cli() { return std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"; }

TEST(GridCli, ImportsIntoTheWorkAreaAndReportsBrokenFiles) {
  TempDir t;
  ASSERT_TRUE(createWorkArea(t.str()).ok);
  Grid g = sampleGrid(5, 4);
  ASSERT_EQ(writeSurferGrid(t.file("survey.grd"), g), kGridOk);
  std::string out;
  ASSERT_EQ(run(cli() + " grid import " + t.file("survey.grd") + " --workarea " + t.str(), &out), 0)
      << out;
  GridReadResult r = readGrid(t.dir() + "Grid_dat/survey.grd");
  ASSERT_TRUE(r.ok()) << out;
  EXPECT_EQ(r.grid.header.method, "SurferToGrid");
  EXPECT_EQ(r.grid.nodes, g.nodes);

  ASSERT_EQ(run(cli() + " grid info " + t.dir() + "Grid_dat/survey.grd", &out), 0);
  EXPECT_NE(out.find("  数据列数:     5\n"), std::string::npos) << out;

  writeFile(t.file("empty.grd"), "");
  EXPECT_NE(run(cli() + " grid info " + t.file("empty.grd"), &out), 0);
  EXPECT_NE(out.find("非Sarnoth网格数据."), std::string::npos) << out;
  EXPECT_NE(
      run(cli() + " grid convert " + t.file("empty.grd") + " " + t.file("x.txt") + " --to ascii",
          &out),
      0);
  EXPECT_NE(out.find("输入文件格式不正确错误。"), std::string::npos) << out;
  writeFile(t.file("cut.grd"), "DSAA\n5 4\n0 1\n0 1\n0 1\n1 2 3\n");
  EXPECT_NE(
      run(cli() + " grid convert " + t.file("cut.grd") + " " + t.file("x.grd") + " --to binary",
          &out),
      0);
  EXPECT_NE(out.find("文件转换错误。"), std::string::npos) << out;
  EXPECT_FALSE(std::filesystem::exists(t.file("x.grd")));
  EXPECT_FALSE(std::filesystem::exists(t.file("x.txt")));
}

}  // namespace
}  // namespace sarnoth
