// Files whose header claims far more than they hold (../shared/data/damaged and made here): every
// reader refuses them with its message, without first allocating what the header claims. The
// command line runs under a 1 GB address-space limit, so an allocation of the claimed size fails
// as "std::bad_alloc" instead of passing unseen.
#include <gtest/gtest.h>

#include <string>

#include "test_support.h"
#include "workarea/grid_gdal.h"
#include "workarea/scatter_file.h"

namespace sarnoth {
namespace {

using test::sharedData;
using test::TempDir;

// runCli prefixes the program path; the limit must come before it, so the command is given to a
// shell that sets it first.
test::CliResult runLimited(const std::string& args) {
  std::string cmd =
      "ulimit -v 1000000; " + std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli " + args + " 2>&1";
  test::CliResult r{0, {}};
  FILE* p = popen(("sh -c '" + cmd + "'").c_str(), "r");
  if (!p) return {-1, "popen failed"};
  char buf[4096];
  while (std::size_t n = std::fread(buf, 1, sizeof buf, p)) r.out.append(buf, n);
  r.status = pclose(p);
  return r;
}

TEST(DamagedFiles, GeoTiffClaimingTooManyPixelsIsRefusedBeforeAllocating) {
  const std::string tif = sharedData("damaged/tiff-claims-32767x32767.tif");
  if (tif.empty()) GTEST_SKIP() << "../shared/data/damaged is absent";
  Grid g;
  std::string detail;
  EXPECT_EQ(readGdalRaster(tif, g, &detail), kGridConvertFailed);
  EXPECT_TRUE(g.nodes.empty());
  TempDir t;
  test::CliResult r = runLimited("grid convert " + tif + " " + t.file("o.grd") + " --to binary");
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("文件转换错误。"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("bad_alloc"), std::string::npos) << r.out;
}

TEST(DamagedFiles, AsciiScatterClaimingMillionsOfValuesIsRefusedBeforeAllocating) {
  const std::string dat = sharedData("damaged/scatter-ascii-claims-32767-fields.dat");
  if (dat.empty()) GTEST_SKIP() << "../shared/data/damaged is absent";
  ScatterReadResult r = readAsciiScatter(dat);
  EXPECT_EQ(r.error, ScatterError::ShortRow);
  test::CliResult c = runLimited("scatter info " + dat);
  EXPECT_NE(c.status, 0);
  EXPECT_EQ(c.out.find("bad_alloc"), std::string::npos) << c.out;
}

TEST(DamagedFiles, CsvScatterOfManyColumnsAndFewRowsReadsWithoutAHugeReserve) {
  TempDir t;
  // 32,767 named columns, 20,000 empty lines: a short row, refused as such.
  std::string csv;
  for (int i = 0; i < 32767; ++i) csv += (i ? ",c" : "c") + std::to_string(i);
  csv += "\n";
  csv.append(20000, '\n');
  csv += "1,2\n";
  test::writeFile(t.file("wide.csv"), csv);
  test::CliResult c = runLimited("scatter info " + t.file("wide.csv"));
  EXPECT_NE(c.status, 0);
  EXPECT_EQ(c.out.find("bad_alloc"), std::string::npos) << c.out;
}

}  // namespace
}  // namespace sarnoth
