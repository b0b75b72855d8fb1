// Scatter files against hand-made bytes: the binary and ASCII layouts, the older VLQ2SCAT
// import, the MapGIS and CSV exports, the table export round trip and malformed files.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "test_support.h"
#include "workarea/scatter_file.h"
#include "workarea/table_store.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class ScatterFileTest : public ::testing::Test, public test::ScratchFiles {};

template <typename T>
void append(std::string& b, T v) {
  char buf[sizeof v];
  std::memcpy(buf, &v, sizeof v);
  b.append(buf, sizeof v);
}

std::string padded(const std::string& s, std::size_t w) {
  return s + std::string(w - s.size(), ' ');
}

// A binary scatter file as the export tool lays it out.
std::string binaryBytes(const std::string& magic, std::int32_t count, std::int16_t fields,
                        const std::vector<std::string>& nameBlocks,
                        const std::vector<float>& values, const std::string& end = "#ENDDATA") {
  std::string b = magic + padded("B_FromBase", 20) + std::string(28, ' ');
  append(b, count);
  append(b, NULL_VALUE);
  append(b, fields);
  for (const auto& n : nameBlocks) b += n;
  for (float v : values) append(b, v);
  return b + end;
}

TEST_F(ScatterFileTest, BinaryReaderTakesEveryGenerationAndWholeTwentyByteNames) {
  std::vector<float> values = {1.5f, NULL_VALUE, -2.25f, 3e-7f};
  for (const char* magic : {"#SRNTHSCATB#", "#VLQ30SCATB#", "xxxxxxSCATB#"}) {
    put("a.dat", binaryBytes(magic, 2, 2, {"ABCDEFGHIJKLMNOPQRST", padded("Au", 20)}, values));
    ScatterReadResult r = readBinaryScatter(path("a.dat"));
    ASSERT_TRUE(r.ok()) << magic;
    EXPECT_EQ(r.file.magic, magic);
    EXPECT_EQ(r.file.origin, "B_FromBase");
    EXPECT_EQ(r.file.recordCount, 2);
    EXPECT_EQ(r.file.nullValue, NULL_VALUE);
    EXPECT_EQ(r.file.names, (std::vector<std::string>{"ABCDEFGHIJKLMNOPQRST", "Au"}));
    EXPECT_EQ(r.file.values, values);
    EXPECT_EQ(detectScatterKind(path("a.dat")), ScatterKind::Binary);
  }
  // A name block is cut at its first blank.
  put("b.dat", binaryBytes(kScatMagicB, 0, 1, {padded("Au ppb", 20)}, {}));
  EXPECT_EQ(readBinaryScatter(path("b.dat")).file.names[0], "Au");
}

TEST_F(ScatterFileTest, BinaryWriterLaysOutEveryByte) {
  ScatterFile f;
  f.origin = kScatOriginFromBase;
  f.recordCount = 2;
  f.names = {"X", "金"};
  f.values = {1.0f, 2.0f, 3.0f, NULL_VALUE};
  ASSERT_EQ(writeBinaryScatter(path("w.dat"), f), ScatterError::None);
  std::string want =
      binaryBytes("#SRNTHSCATB#", 2, 2, {padded("X", 20), padded(utf8ToGbk("金"), 20)}, f.values);
  EXPECT_EQ(get("w.dat"), want);
  ASSERT_EQ(writeBinaryScatter(path("w9.dat"), f, kEndData), ScatterError::None);
  EXPECT_EQ(get("w9.dat"), want + "#");

  // A count that disagrees with the values is refused before anything is written.
  f.recordCount = 3;
  EXPECT_EQ(writeBinaryScatter(path("bad.dat"), f), ScatterError::BadHeader);
  EXPECT_FALSE(fs::exists(path("bad.dat")));
}

TEST_F(ScatterFileTest, LongNamesAreCutAtTwentyBytesOnACharacterBoundary) {
  ScatterFile f;
  f.recordCount = 1;
  // 25 ASCII bytes; "A" and ten CJK characters are 21 GBK bytes.
  f.names = {"ABCDEFGHIJKLMNOPQRSTUVWXY", "A元素名称很长的字段名"};
  f.values = {1.0f, 2.0f};
  ASSERT_EQ(writeBinaryScatter(path("n.dat"), f), ScatterError::None);
  std::string bytes = get("n.dat");
  EXPECT_EQ(bytes.substr(70, 20), "ABCDEFGHIJKLMNOPQRST");
  EXPECT_EQ(bytes.substr(90, 20), utf8ToGbk("A元素名称很长的字段") + " ");
  ScatterReadResult r = readBinaryScatter(path("n.dat"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.names[0], "ABCDEFGHIJKLMNOPQRST");
  EXPECT_EQ(r.file.names[1], "A元素名称很长的字段");
}

TEST_F(ScatterFileTest, MalformedBinaryFilesEndInAnErrorNeverACrash) {
  std::string good =
      binaryBytes(kScatMagicB, 3, 2, {padded("X", 20), padded("Y", 20)}, {1, 2, 3, 4, 5, 6});
  // Every truncation short of the values' end.
  for (std::size_t n = 0; n < good.size() - 8; ++n) {
    put("t.dat", good.substr(0, n));
    ScatterReadResult r = readBinaryScatter(path("t.dat"));
    EXPECT_FALSE(r.ok()) << n;
    EXPECT_EQ(r.error, n < 12 ? ScatterError::BadMagic : ScatterError::Truncated) << n;
  }
  // The end mark is never read.
  put("t.dat", good.substr(0, good.size() - 8));
  EXPECT_TRUE(readBinaryScatter(path("t.dat")).ok());

  // A garbled count asks for more than the file holds: refused without allocating it.
  std::string huge = good;
  std::int32_t big = 2000000000;
  std::memcpy(huge.data() + 60, &big, 4);
  put("h.dat", huge);
  EXPECT_EQ(readBinaryScatter(path("h.dat")).error, ScatterError::Truncated);
  std::int32_t negative = -1;
  std::memcpy(huge.data() + 60, &negative, 4);
  put("h.dat", huge);
  EXPECT_EQ(readBinaryScatter(path("h.dat")).error, ScatterError::BadHeader);

  put("g.dat", "#SRNTHGRIDB#" + good.substr(12));
  ScatterReadResult bad = readBinaryScatter(path("g.dat"));
  EXPECT_EQ(bad.error, ScatterError::BadMagic);
  EXPECT_EQ(scatterMessage(ScatterReader::ClipExternal, bad.error), "文件格式不正确!! 请检查.");
  EXPECT_EQ(scatterMessage(ScatterReader::ClipExternal, ScatterError::Truncated),
            "打开数据文件或读文件信息错误!!");
  EXPECT_EQ(readBinaryScatter(path("missing.dat")).error, ScatterError::OpenFailed);
}

TEST_F(ScatterFileTest, CoordinateConversionReadsTheCountsFromOffset32) {
  // The copy in coordinate conversion: magic, origin, then the counts without a note block.
  std::string b = std::string(kScatMagicB) + padded("B_FromBase", 20);
  append(b, std::int32_t{1});
  append(b, NULL_VALUE);
  append(b, std::int16_t{2});
  b += padded("X", 20) + padded("Y", 20);
  append(b, 7.0f);
  append(b, 8.0f);
  put("c.dat", b + "#ENDDATA");
  ScatterReadResult r = readBinaryScatter(path("c.dat"), 32);
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.names, (std::vector<std::string>{"X", "Y"}));
  EXPECT_EQ(r.file.values, (std::vector<float>{7.0f, 8.0f}));
  // The same file read at offset 60 is garbage and ends in an error.
  EXPECT_FALSE(readBinaryScatter(path("c.dat")).ok());
}

TEST_F(ScatterFileTest, AsciiReaderAndWriterFollowTheLineLayout) {
  put("a.txt", "#VLQ30SCATA#\r\nC-Data\r\n2\r\n-1E+38\r\n3\r\n" + utf8ToGbk("横坐标") +
                   ",YY,Au\r\n1.5,2,-1E+38\r\n3,4.25,0.001\r\n#ENDDATA#\r\n");
  ScatterReadResult r = readAsciiScatter(path("a.txt"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.origin, "C-Data");
  EXPECT_EQ(r.file.names, (std::vector<std::string>{"横坐标", "YY", "Au"}));
  EXPECT_EQ(r.file.values, (std::vector<float>{1.5f, 2, NULL_VALUE, 3, 4.25f, 0.001f}));

  ScatterFile f = asAsciiForm(r.file);
  EXPECT_EQ(f.magic, "#VLQ30SCATA#");
  f.magic = kScatMagicA;
  ASSERT_EQ(writeAsciiScatter(path("b.txt"), f), ScatterError::None);
  EXPECT_EQ(get("b.txt"), "#SRNTHSCATA#\r\nC-Data\r\n2\r\n-1E+38\r\n3\r\n" + utf8ToGbk("横坐标") +
                              ",YY,Au\r\n1.5,2,-1E+38\r\n3,4.25,0.001\r\n#ENDDATA#\r\n");

  // No points: the count is 0 and the names line is followed by the end mark; LF alone and a
  // blank-separated "S" file read too.
  put("e.txt", "#SRNTHSCATA#\nS\n0\n-1E+38\n2\nXX  YY\n#ENDDATA#\n");
  ScatterReadResult e = readAsciiScatter(path("e.txt"));
  ASSERT_TRUE(e.ok());
  EXPECT_EQ(e.file.recordCount, 0);
  EXPECT_EQ(e.file.names, (std::vector<std::string>{"XX", "YY"}));
  put("s.txt", "#SRNTHSCATA#\nS\n1\n-1E+38\n2\nXX YY\n  10   20 \n#ENDDATA#\n");
  EXPECT_EQ(readAsciiScatter(path("s.txt")).file.values, (std::vector<float>{10, 20}));
}

TEST_F(ScatterFileTest, MalformedAsciiFilesGiveTheConversionMessages) {
  const std::string head = "#SRNTHSCATA#\nC-Data\n";
  struct Case {
    std::string body;
    ScatterError error;
  } cases[] = {
      {"2\n-1E+38\n2\nX,Y\n1,2\n3\n#ENDDATA#\n", ScatterError::ShortRow},
      {"3\n-1E+38\n2\nX,Y\n1,2\n#ENDDATA#\n", ScatterError::Truncated},
      {"2\n-1E+38\n2\nX,Y\n1,2\n#ENDDATA#\n#ENDDATA#\n", ScatterError::Truncated},
      {"1\n-1E+38\n2\nX,Y\n1,abc\n#ENDDATA#\n", ScatterError::BadNumber},
      {"many\n-1E+38\n2\nX,Y\n#ENDDATA#\n", ScatterError::BadNumber},
      {"2000000000\n-1E+38\n2\nX,Y\n#ENDDATA#\n", ScatterError::Truncated},
      {"-1\n-1E+38\n2\nX,Y\n#ENDDATA#\n", ScatterError::BadHeader},
      {"1\n-1E+38\n", ScatterError::Truncated},
  };
  for (const auto& c : cases) {
    put("m.txt", head + c.body);
    EXPECT_EQ(readAsciiScatter(path("m.txt")).error, c.error) << c.body;
  }
  EXPECT_EQ(scatterMessage(ScatterReader::CoordConversion, ScatterError::ShortRow),
            "数据格式不正确, 请检查!!");
  EXPECT_EQ(scatterMessage(ScatterReader::CoordConversion, ScatterError::BadNumber), "读数据错误.");
  put("g.txt", "#SRNTHGRIDA#\nC-Data\n");
  EXPECT_EQ(readAsciiScatter(path("g.txt")).error, ScatterError::BadMagic);
}

TEST_F(ScatterFileTest, TableExportSurvivesAsciiAndBackBitForBit) {
  Database db = Database::open(path("store.sqlite"), true);
  db.createTable("样品", {{"横坐标", JetType::Double, 0},
                          {"ABCDEFGHIJKLMNOPQRST", JetType::Single, 0},
                          {"ABCDEFGHIJKLMNOPQRSTUVWXY", JetType::Long, 0},
                          {"地层", JetType::Text, 10}});
  {
    TableWriter w(db, "样品",
                  {"横坐标", "ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRSTUVWXY", "地层"});
    const double xs[] = {500071.28125, 0.1, -3.4028234e38};
    for (int i = 0; i < 3; ++i) {
      w.setDouble(0, xs[i]);
      if (i == 1)
        w.setNull(1);
      else
        w.setDouble(1, 1.0 / 3.0 + i);
      w.setInt(2, 123456789 + i);
      w.setText(3, "T");
      w.addRow();
    }
    w.commit();
  }
  ScatterFile exported = scatterFromTable(db, "样品");
  ASSERT_EQ(exported.fieldCount(), 3);  // the text field does not enter
  EXPECT_EQ(exported.at(1, 1), NULL_VALUE);
  ASSERT_EQ(writeBinaryScatter(path("t.dat"), exported), ScatterError::None);

  ScatterReadResult bin = readBinaryScatter(path("t.dat"));
  ASSERT_TRUE(bin.ok());
  ASSERT_EQ(writeAsciiScatter(path("t.txt"), asAsciiForm(bin.file)), ScatterError::None);
  ScatterReadResult ascii = readAsciiScatter(path("t.txt"));
  ASSERT_TRUE(ascii.ok());
  EXPECT_EQ(ascii.file.origin, kScatTagFromBase);
  ASSERT_EQ(writeBinaryScatter(path("t2.dat"), asBinaryForm(ascii.file)), ScatterError::None);
  ScatterReadResult back = readBinaryScatter(path("t2.dat"));
  ASSERT_TRUE(back.ok());
  EXPECT_EQ(back.file.origin, kScatOriginFromBase);
  EXPECT_EQ(back.file.names,
            (std::vector<std::string>{"横坐标", "ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRST"}));
  ASSERT_EQ(back.file.values.size(), exported.values.size());
  EXPECT_EQ(std::memcmp(back.file.values.data(), exported.values.data(),
                        exported.values.size() * sizeof(float)),
            0);
  EXPECT_EQ(get("t.dat"), get("t2.dat"));
}

TEST_F(ScatterFileTest, OlderFormatIsImportedAndConverted) {
  std::string b = "VLQ2SCAT" + std::string(28, 'x');  // 36 bytes before the counts
  append(b, std::int32_t{2});
  append(b, NULL_VALUE);
  b += std::string(26, 'n');
  append(b, std::int32_t{0x00050002});  // only the low 16 bits count
  b += padded("X", 20) + padded("Cu", 20);
  for (float v : {1.0f, 2.0f, 3.0f, 4.0f}) append(b, v);
  put("old.dat", b);
  EXPECT_EQ(detectScatterKind(path("old.dat")), ScatterKind::Vlq2);
  ASSERT_EQ(convertVlq2Scatter(path("old.dat"), path("new.dat")), ScatterError::None);

  std::string want = "#VLQ30SCATB#VLQ2TOVLQ3" + std::string(38, ' ');
  append(want, std::int32_t{2});
  append(want, NULL_VALUE);
  append(want, std::int16_t{2});
  want += padded("X", 20) + padded("Cu", 20);
  for (float v : {1.0f, 2.0f, 3.0f, 4.0f}) append(want, v);
  EXPECT_EQ(get("new.dat"), want + "#ENDDATA#");

  put("short.dat", b.substr(0, 60));
  EXPECT_EQ(readVlq2Scatter(path("short.dat")).error, ScatterError::Truncated);
  EXPECT_EQ(readVlq2Scatter(path("new.dat")).error, ScatterError::BadMagic);
}

TEST_F(ScatterFileTest, MapGisCsvAndGridExports) {
  ScatterFile f;
  f.recordCount = 2;
  f.names = {"X", "Au,ppb"};
  f.values = {1.0f, NULL_VALUE, 2.5f, 0.125f};
  ASSERT_EQ(writeMapGisScatter(path("m.txt"), f), ScatterError::None);
  EXPECT_EQ(get("m.txt"), "1,1,1,2,2\r\n1,-1E+38\r\n2.5,0.125\r\n");

  ASSERT_EQ(writeCsvScatter(path("a.csv"), f, true), ScatterError::None);
  EXPECT_EQ(get("a.csv"), "X,\"Au,ppb\"\n1,\n2.5,0.125\n");
  ScatterReadResult r = readScatter(path("a.csv"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.names, f.names);
  EXPECT_EQ(r.file.values, f.values);

  ScatterFile g = scatterFromGridNodes(100, 200, 10, 5, 2, 2, {1, 2, NULL_VALUE, 4});
  ASSERT_EQ(writeAsciiScatter(path("g.txt"), g), ScatterError::None);
  EXPECT_EQ(get("g.txt"),
            "#SRNTHSCATA#\r\nC-Data\r\n4\r\n-1E+38\r\n3\r\nXX,YY,VV\r\n100,200,1\r\n110,200,2\r\n"
            "100,205,-1E+38\r\n110,205,4\r\n#ENDDATA#\r\n");
}

}  // namespace
}  // namespace sarnoth
