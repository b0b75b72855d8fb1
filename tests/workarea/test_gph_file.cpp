// Coordinate files (*.gph) and the profile-file check, against hand-made text.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"
#include "workarea/scatter_file.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

class GphFileTest : public ::testing::Test, public test::ScratchFiles {};

TEST_F(GphFileTest, ReadsEveryElementKindAndCarriesExtraItems) {
  put("a.gph",
      "#SRNTHCRDGP#\r\n"
      "PP 1 100.5 200.25 red 3\r\n"
      "pt   T7\t300 400 " +
          utf8ToGbk("矿点") +
          "\r\n"
          "\r\n"
          "TT 8 1 2\r\n"
          "PR 2 4 fill\r\n"
          "0,0\r\n10 0\r\n10,10\r\n0   10\r\n"
          "pl 3 2\r\n5 6 7 8\r\n"
          "XY 9 11 12 z\r\n"
          "#ENDDATA#\r\n"
          "PP 99 0 0\r\n");
  GphReadResult r = readGph(path("a.gph"));
  ASSERT_TRUE(r.ok());
  const auto& e = r.file.elements;
  ASSERT_EQ(e.size(), 6u);  // nothing after the end mark
  EXPECT_EQ(e[0].kind, GphKind::Point);
  EXPECT_EQ(e[0].xy, (std::vector<double>{100.5, 200.25}));
  EXPECT_EQ(e[0].extra, (std::vector<std::string>{"red", "3"}));
  EXPECT_EQ(e[1].kind, GphKind::Text);
  EXPECT_EQ(e[1].id, "T7");
  EXPECT_EQ(e[1].extra, (std::vector<std::string>{"矿点"}));
  EXPECT_EQ(e[2].kind, GphKind::Text);
  EXPECT_EQ(e[3].kind, GphKind::Area);
  EXPECT_EQ(e[3].xy, (std::vector<double>{0, 0, 10, 0, 10, 10, 0, 10}));
  EXPECT_EQ(e[3].extra, (std::vector<std::string>{"fill"}));
  EXPECT_EQ(e[4].kind, GphKind::Line);
  EXPECT_EQ(e[4].code, "pl");
  EXPECT_EQ(e[4].xy, (std::vector<double>{5, 6, 7, 8}));
  // An unknown code is a point whose third and fourth items are the coordinates.
  EXPECT_EQ(e[5].kind, GphKind::Point);
  EXPECT_EQ(e[5].code, "XY");
  EXPECT_EQ(e[5].xy, (std::vector<double>{11, 12}));

  // Written and read again, everything stands as it was.
  ASSERT_EQ(writeGph(path("b.gph"), r.file), GphError::None);
  GphReadResult again = readGph(path("b.gph"));
  ASSERT_TRUE(again.ok());
  ASSERT_EQ(again.file.elements.size(), e.size());
  for (std::size_t i = 0; i < e.size(); ++i) {
    EXPECT_EQ(again.file.elements[i].code, e[i].code);
    EXPECT_EQ(again.file.elements[i].id, e[i].id);
    EXPECT_EQ(again.file.elements[i].xy, e[i].xy);
    EXPECT_EQ(again.file.elements[i].extra, e[i].extra);
  }
}

TEST_F(GphFileTest, WriterLaysOutLines) {
  GphFile f;
  GphElement area;
  area.code = "PR";
  area.kind = GphKind::Area;
  area.id = "1";
  area.xy = {500000.5, 3350000, 500010, 3350000.25};
  GphElement point;
  point.code = "PP";
  point.id = "2";
  point.xy = {1.5, -2};
  point.extra = {"a"};
  f.elements = {area, point};
  ASSERT_EQ(writeGph(path("w.gph"), f), GphError::None);
  EXPECT_EQ(get("w.gph"),
            "#SRNTHCRDGP#\r\nPR 1 2\r\n500000.5 3350000\r\n500010 3350000.25\r\nPP 2 1.5 -2 a\r\n"
            "#ENDDATA#\r\n");
}

TEST_F(GphFileTest, MalformedFilesEndInEachReadersMessage) {
  struct Case {
    std::string text;
    GphError error;
  } cases[] = {
      {"#SRNTHCRDGP#\nPP 1 2 3\n", GphError::MissingEnd},
      {"#SRNTHCRDGP#\nPR 1 3\n0 0\n1 1\n", GphError::MissingEnd},
      {"#SRNTHCRDGP#\nPR 1 x\n#ENDDATA#\n", GphError::BadNumber},
      {"#SRNTHCRDGP#\nPR 1 -2\n#ENDDATA#\n", GphError::BadNumber},
      {"#SRNTHCRDGP#\nPP 1 2\n#ENDDATA#\n", GphError::BadNumber},
      {"#SRNTHCRDGP#\nPL 1 1\n0 y\n#ENDDATA#\n", GphError::BadNumber},
      {"#SRNTHSCATA#\n#ENDDATA#\n", GphError::BadMagic},
      {"", GphError::BadMagic},
  };
  for (const auto& c : cases) {
    put("m.gph", c.text);
    EXPECT_EQ(readGph(path("m.gph")).error, c.error) << c.text;
    EXPECT_EQ(readGphPolygons(path("m.gph")).ok(), false) << c.text;
  }
  EXPECT_EQ(gphMessage(GphReader::ClipGrid, GphError::BadMagic), "非Sarnoth 坐标数据文件,请检查.");
  EXPECT_EQ(gphMessage(GphReader::ClipTable, GphError::BadMagic),
            "非 Sarnoth 坐标数据文件,请检查.");
  EXPECT_EQ(gphMessage(GphReader::CoordConversion, GphError::BadMagic), "非Sarnoth GPH格式文件.");
  EXPECT_EQ(gphMessage(GphReader::ClipGrid, GphError::MissingEnd), "读数据文件错.");
  EXPECT_EQ(gphMessage(GphReader::ClipGrid, GphError::None), "");
  EXPECT_EQ(readGph(path("none.gph")).error, GphError::OpenFailed);
}

TEST_F(GphFileTest, ClippingPolygonsStopAtTheThousandAndSecond) {
  auto polygons = [](int n) {
    std::string t = "#SRNTHCRDGP#\n";
    for (int i = 0; i < n; ++i)
      t += "PR " + std::to_string(i) + " 3\n0,0\n" + std::to_string(i) + ",1\n2 2\n";
    return t + "#ENDDATA#\n";
  };
  put("ok.gph", polygons(kMaxClipPolygons));
  PolygonReadResult ok = readGphPolygons(path("ok.gph"));
  ASSERT_TRUE(ok.ok());
  EXPECT_EQ(ok.polygons.polygonCount(), 1001);
  EXPECT_EQ(ok.polygons.vertexTotal(), 3003);
  EXPECT_EQ(ok.polygons.vertices[2 * 3 * 1000 + 2], 1000.0f);

  put("over.gph", polygons(kMaxClipPolygons + 1));
  PolygonReadResult over = readGphPolygons(path("over.gph"));
  EXPECT_EQ(over.error, GphError::TooManyPolygons);
  EXPECT_EQ(over.polygons.polygonCount(), 0);
  EXPECT_EQ(gphMessage(GphReader::ClipGrid, over.error), "读数据文件错.");
  EXPECT_EQ(gphMessage(GphReader::ClipTable, over.error), "下标越界");
}

TEST_F(GphFileTest, ProfileFilesAreCheckedOnCharactersSevenToTwelve) {
  put("a.prf", "#SRNTHPROFA#\r\nbody\r\n");
  put("b.prf", std::string("#VLQ30PROFB#\0\1\2", 15));
  put("c.prf", "#SRNTHPROFC#\r\n");
  put("d.prf", "PROFA#\r\n      PROFA#");
  put("e.prf", "");
  EXPECT_TRUE(isProfileFile(path("a.prf")));
  EXPECT_TRUE(isProfileFile(path("b.prf")));
  EXPECT_FALSE(isProfileFile(path("c.prf")));
  EXPECT_FALSE(isProfileFile(path("d.prf")));
  EXPECT_FALSE(isProfileFile(path("e.prf")));
  EXPECT_FALSE(isProfileFile(path("missing.prf")));
}

}  // namespace
}  // namespace sarnoth
