// The binary and ASCII grid: layout, acceptance of every generation's magic, refusal of broken
// files, and the conversions between the two.
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/grid_samples.h"
#include "workarea/grid_text.h"

namespace sarnoth {
namespace {

using test::bytesAt;
using test::readFile;
using test::sampleGrid;
using test::TempDir;
using test::writeFile;

TEST(GridFile, WritesTheLayoutByteForByteAndReadsItBack) {
  TempDir t;
  Grid g = sampleGrid(4, 3);
  g.header.angle = 30;
  g.header.note = "测区A";
  ASSERT_TRUE(writeGrid(t.file("a.grd"), kGridMagicB, "KrigToGrid", g.header, g.nodes));
  std::string b = readFile(t.file("a.grd"));
  ASSERT_EQ(b.size(), 100u + 4 * 12 + 9);
  EXPECT_EQ(b.substr(0, 12), "#SRNTHGRIDB#");
  EXPECT_EQ(b.substr(12, 20), "KrigToGrid          ");
  EXPECT_EQ(bytesAt<float>(b, 32), 500.5f);
  EXPECT_EQ(bytesAt<float>(b, 40), 30.0f);
  EXPECT_EQ(b.substr(44, 5),
            "\xB2\xE2\xC7\xF8"
            "A");  // GBK, then blanks to 28
  EXPECT_EQ(b.substr(49, 23), std::string(23, ' '));
  EXPECT_EQ(bytesAt<std::int16_t>(b, 72), 4);
  EXPECT_EQ(bytesAt<std::int16_t>(b, 74), 3);
  EXPECT_EQ(bytesAt<float>(b, 84), NULL_VALUE);
  EXPECT_EQ(bytesAt<std::int32_t>(b, 96), 10);  // 12 nodes, 2 of them null
  EXPECT_EQ(bytesAt<float>(b, 100 + 4 * 5), g.nodes[5]);
  EXPECT_EQ(b.substr(b.size() - 9), "#ENDDATA#");

  GridReadResult r = readGrid(t.file("a.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.method, "KrigToGrid");
  EXPECT_EQ(r.grid.header.note, "测区A");
  EXPECT_EQ(r.grid.nodes, g.nodes);
  EXPECT_EQ(r.grid.at(2, 1), g.nodes[9]);
  EXPECT_EQ(r.grid.header.zMax, g.header.zMax);
}

TEST(GridFile, EveryGenerationsMagicReadsAlikeAndTheEndMarkIsNotRequired) {
  TempDir t;
  Grid g = sampleGrid(3, 2);
  for (const char* magic : {kGridMagicB, kGridMagicDmx10, kGridMagicHltwr, kGridMagicVlq30,
                            kGridMagicImport, "??????GRIDB#"}) {
    ASSERT_TRUE(writeGrid(t.file("g.grd"), magic, "x", g.header, g.nodes));
    std::string b = readFile(t.file("g.grd"));
    writeFile(t.file("g.grd"), b.substr(0, b.size() - 9));
    GridReadResult r = readGrid(t.file("g.grd"));
    ASSERT_TRUE(r.ok()) << magic;
    EXPECT_EQ(r.grid.header.magic, magic);
    EXPECT_EQ(r.grid.nodes, g.nodes);
  }
  ASSERT_TRUE(writeGrid(t.file("a.grd"), kGridMagicA, "x", g.header, g.nodes));
  EXPECT_EQ(readGrid(t.file("a.grd")).error, GridError::BadMagic);
  EXPECT_EQ(readGridHeader(t.file("a.grd")).error, GridError::BadMagic);
}

TEST(GridFile, BrokenFilesAreRefusedWithoutReadingOn) {
  TempDir t;
  Grid g = sampleGrid(5, 4);
  ASSERT_TRUE(writeGrid(t.file("ok.grd"), kGridMagicB, "x", g.header, g.nodes));
  std::string good = readFile(t.file("ok.grd"));

  EXPECT_EQ(readGrid(t.file("missing.grd")).error, GridError::OpenFailed);
  writeFile(t.file("empty.grd"), "");
  EXPECT_EQ(readGrid(t.file("empty.grd")).error, GridError::BadMagic);
  writeFile(t.file("short.grd"), good.substr(0, 60));
  EXPECT_EQ(readGridHeader(t.file("short.grd")).error, GridError::Truncated);
  writeFile(t.file("cut.grd"), good.substr(0, 100 + 4 * 19));
  EXPECT_EQ(readGrid(t.file("cut.grd")).error, GridError::Truncated);
  EXPECT_TRUE(readGridHeader(t.file("cut.grd")).ok());  // the header alone is whole

  // A header announcing 32767 x 32767 nodes in a file of a few bytes: refused before any
  // allocation.
  std::string huge = good;
  std::int16_t big = 32767;
  std::memcpy(huge.data() + 72, &big, 2);
  std::memcpy(huge.data() + 74, &big, 2);
  writeFile(t.file("huge.grd"), huge);
  EXPECT_EQ(readGrid(t.file("huge.grd")).error, GridError::Truncated);

  std::string negative = good;
  std::int16_t neg = -3;
  std::memcpy(negative.data() + 74, &neg, 2);
  writeFile(t.file("neg.grd"), negative);
  EXPECT_EQ(readGrid(t.file("neg.grd")).error, GridError::BadHeader);

  EXPECT_FALSE(writeGrid(t.file("bad.grd"), kGridMagicB, "x", g.header,
                         std::vector<float>(g.nodes.size() - 1)));
  EXPECT_FALSE(std::filesystem::exists(t.file("bad.grd")));
}

// A spacing of zero, NaN or below zero, or an origin that is not finite, makes no grid: it is
// refused where the file is read, so no tool prints NAN or divides by it.
TEST(GridFile, HeadersWithoutASpacingAreRefused) {
  TempDir t;
  Grid g = sampleGrid(3, 2);
  ASSERT_TRUE(writeGrid(t.file("ok.grd"), kGridMagicB, "x", g.header, g.nodes));
  const std::string good = readFile(t.file("ok.grd"));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  for (auto [offset, value] : {std::pair{76, 0.0f}, std::pair{76, nan}, std::pair{80, -1.0f},
                               std::pair{80, inf}, std::pair{32, nan}}) {
    std::string bad = good;
    std::memcpy(bad.data() + offset, &value, 4);
    writeFile(t.file("bad.grd"), bad);
    EXPECT_EQ(readGridHeader(t.file("bad.grd")).error, GridError::BadSpacing) << offset;
    EXPECT_EQ(readGrid(t.file("bad.grd")).error, GridError::BadSpacing) << offset;
    EXPECT_EQ(gridReadMessage(readGrid(t.file("bad.grd")).error, kMsgNotGrid), kMsgGridBadHeader);
  }
}

// A file cut short says so, in every tool's words (the viewer's opening asks for the nodes too).
TEST(GridFile, TruncationIsNamedAsSuch) {
  TempDir t;
  Grid g = sampleGrid(5, 4);
  ASSERT_TRUE(writeGrid(t.file("ok.grd"), kGridMagicB, "x", g.header, g.nodes));
  writeFile(t.file("cut.grd"), readFile(t.file("ok.grd")).substr(0, 150));
  EXPECT_TRUE(readGridHeader(t.file("cut.grd")).ok());
  EXPECT_EQ(readGridHeader(t.file("cut.grd"), true).error, GridError::Truncated);
  EXPECT_EQ(gridReadMessage(readGrid(t.file("cut.grd")).error, kMsgNotGrid), kMsgGridTruncated);
  EXPECT_EQ(gridReadMessage(GridError::BadMagic, kMsgNotGrid2000), kMsgNotGrid2000);
}

TEST(GridFile, AllNullGridKeepsTheStartingExtremes) {
  GridHeader h;
  recomputeGridStats(h, std::vector<float>(6, NULL_VALUE));
  EXPECT_EQ(h.validCount, 0);
  EXPECT_EQ(h.zMin, 1e38f);
  EXPECT_EQ(h.zMax, -1e38f);
}

TEST(AsciiGrid, ConvertsCommaAndBlankSeparatedTextAndRecomputesTheStatistics) {
  TempDir t;
  // Blank-separated, a stale z range, a file null of -9999 and a row broken over two lines.
  writeFile(t.file("b.txt"),
            "#VLQ30GRIDA#\r\nBlank data\r\n100 200\r\n0\r\n3 2\r\n10 20\r\n-9999\r\n0 0\r\n"
            "1 -9999\r\n 3\r\n4 5.5 6\r\n#ENDDATA#\r\n");
  Progress progress;
  ASSERT_EQ(convertAsciiGrid(t.file("b.txt"), t.file("b.grd"), progress), kGridOk);
  EXPECT_EQ(progress.maximum(), 2);
  EXPECT_EQ(progress.value(), 0);
  GridReadResult r = readGrid(t.file("b.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(readFile(t.file("b.grd")).substr(0, 32), "#SRNTHGRIDB#ASCIITOBINARY       ");
  EXPECT_EQ(r.grid.nodes, (std::vector<float>{1, NULL_VALUE, 3, 4, 5.5f, 6}));
  EXPECT_EQ(r.grid.header.validCount, 5);
  EXPECT_EQ(r.grid.header.zMin, 1);
  EXPECT_EQ(r.grid.header.zMax, 6);
  EXPECT_EQ(r.grid.header.nullValue, NULL_VALUE);
  EXPECT_EQ(r.grid.header.x0, 100);
  EXPECT_EQ(r.grid.header.dy, 20);

  writeFile(t.file("c.txt"),
            "#SRNTHGRIDA#\nC-Data\n1,2\n0\n2,1\n1,1\n-1E+38\n0,0\n-1E+38,-1E+38\n#ENDDATA#\n");
  ASSERT_EQ(convertAsciiGrid(t.file("c.txt"), t.file("c.grd"), noProgress(), kMethodFormatConvert),
            kGridOk);
  r = readGrid(t.file("c.grd"));
  EXPECT_EQ(r.grid.header.method, "GEOMTOSRNPTH");
  EXPECT_EQ(r.grid.header.validCount, 0);
  EXPECT_EQ(r.grid.header.zMin, 1e38f);
  EXPECT_EQ(r.grid.header.zMax, -1e38f);
}

TEST(AsciiGrid, FailureStagesLeaveNoTarget) {
  TempDir t;
  const std::string head = "#SRNTHGRIDA#\nC-Data\n0,0\n0\n3,2\n1,1\n-1E+38\n0,0\n";
  struct Case {
    const char* name;
    std::string text;
    int status;
  } cases[] = {
      {"magic", "#SRNTHGRIDB#\nC-Data\n", kGridBadFormat},
      {"empty", "", kGridBadFormat},
      {"binary", std::string(1 << 20, '\x7f'), kGridBadFormat},
      {"header", "#SRNTHGRIDA#\nC-Data\n0,0\n0\n3\n", kGridConvertFailed},
      {"values", head + "1,2,3\n4,5\n", kGridConvertFailed},
      {"garbage", head + "1,2,x3\n4,5,6\n", kGridConvertFailed},
      {"negative", "#SRNTHGRIDA#\nC-Data\n0,0\n0\n-3,2\n1,1\n-1E+38\n0,0\n1,2\n",
       kGridConvertFailed},
      {"oversized", "#SRNTHGRIDA#\nC-Data\n0,0\n0\n30000,30000\n1,1\n-1E+38\n0,0\n1,2\n",
       kGridConvertFailed},
  };
  for (const Case& c : cases) {
    writeFile(t.file("in.txt"), c.text);
    EXPECT_EQ(convertAsciiGrid(t.file("in.txt"), t.file("out.grd")), c.status) << c.name;
    EXPECT_FALSE(std::filesystem::exists(t.file("out.grd"))) << c.name;
  }
  EXPECT_EQ(convertAsciiGrid(t.file("none.txt"), t.file("out.grd")), kGridOpenInputFailed);
  writeFile(t.file("in.txt"), head + "1,2,3\n4,5,6\n");
  EXPECT_EQ(convertAsciiGrid(t.file("in.txt"), t.file("no/such/dir/out.grd")),
            kGridOpenOutputFailed);
  EXPECT_STREQ(gridStatusText(kGridConvertFailed), "文件转换错误。");
  EXPECT_STREQ(gridStatusText(kGridOpenOutputFailed), "打开输出文件错误。");
}

TEST(AsciiGrid, BinaryToAsciiAndBackIsExactForEveryShape) {
  TempDir t;
  for (auto [nx, ny] : {std::pair{7, 5}, std::pair{1, 6}, std::pair{6, 1}, std::pair{1, 1}}) {
    Grid g = sampleGrid(nx, ny, 1234.567f, -89.0123f, 0.1f, 0.3f, 4);
    g.nodes[0] = 1.17549435e-38f;  // values that need every digit survive the text
    g.nodes.back() = -3.4028235e38f;
    recomputeGridStats(g.header, g.nodes);
    ASSERT_TRUE(writeGrid(t.file("g.grd"), kGridMagicB, "x", g.header, g.nodes));
    ASSERT_EQ(convertGridToAscii(t.file("g.grd"), t.file("g.txt")), kGridOk);
    std::string text = readFile(t.file("g.txt"));
    EXPECT_EQ(text.rfind("#SRNTHGRIDA#\r\nC-Data\r\n1234.567,-89.0123\r\n0\r\n", 0), 0u);
    ASSERT_EQ(convertAsciiGrid(t.file("g.txt"), t.file("h.grd")), kGridOk);
    GridReadResult r = readGrid(t.file("h.grd"));
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.grid.nodes, g.nodes) << nx << "x" << ny;
    EXPECT_EQ(r.grid.header.x0, g.header.x0);
    EXPECT_EQ(r.grid.header.dy, g.header.dy);
    EXPECT_EQ(r.grid.header.validCount, g.header.validCount);
  }
  // The export of the grid import window carries its own magic.
  ASSERT_EQ(convertGridToAscii(t.file("g.grd"), t.file("v.txt"), noProgress(), kGridMagicVlq30A),
            kGridOk);
  EXPECT_EQ(readFile(t.file("v.txt")).substr(0, 12), "#VLQ30GRIDA#");
  writeFile(t.file("x.grd"), "#SRNTHGRIDA#");
  EXPECT_EQ(convertGridToAscii(t.file("x.grd"), t.file("x.txt")), kGridBadFormat);
}

std::string shortText(float v) {
  char b[32];
  return std::string(b, formatFloat(b, v));
}

TEST(AsciiGrid, NumbersAreTheShortestSinglePrecisionText) {
  EXPECT_EQ(shortText(NULL_VALUE), "-1E+38");
  EXPECT_EQ(shortText(0.1f), "0.1");
  EXPECT_EQ(shortText(1e-5f), "1E-05");
  EXPECT_EQ(shortText(123456.7f), "123456.7");
}

}  // namespace
}  // namespace sarnoth
