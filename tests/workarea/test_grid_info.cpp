// The grid picker's head reader: the magic test on characters 7 to 12, and heads that are cut
// short or are not grids at all.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "test_support.h"
#include "workarea/grid_info.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

std::string head(const std::string& magic, float x0, std::int16_t nx, const std::string& note) {
  std::string b = magic + gbkFixedField("min curvature", 20);
  auto put = [&b](const void* p, std::size_t n) { b.append(static_cast<const char*>(p), n); };
  float y0 = -5, angle = 30, dx = 2.5f, dy = 4, nul = -1e38f, zmin = -3, zmax = 7;
  std::int16_t ny = 6;
  std::int32_t valid = 41;
  put(&x0, 4);
  put(&y0, 4);
  put(&angle, 4);
  b += gbkFixedField(note, 28);
  put(&nx, 2);
  put(&ny, 2);
  put(&dx, 4);
  put(&dy, 4);
  put(&nul, 4);
  put(&zmin, 4);
  put(&zmax, 4);
  put(&valid, 4);
  return b;
}

TEST(GridInfo, ReadsTheHeadOfAnyGenerationsBinaryGrid) {
  test::TempDir dir;
  test::writeFile(dir.file("a.grd"), head("#XXXXXGRIDB#", 1000.5f, 7, "铜 ppm") + "nodes...");
  GridHeadResult r = readBinaryGridHead(dir.file("a.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.header.method, "min curvature");
  EXPECT_FLOAT_EQ(r.header.x0, 1000.5f);
  EXPECT_EQ(r.header.nx, 7);
  EXPECT_EQ(r.header.ny, 6);
  EXPECT_FLOAT_EQ(r.header.angle, 30);
  EXPECT_EQ(r.header.note, "铜 ppm");
  EXPECT_EQ(r.header.validCount, 41);

  const std::string text = gridInfoText(r.header);
  EXPECT_NE(text.find("  左下角横坐标: 1000.5\r\n"), std::string::npos);
  EXPECT_NE(text.find("  横向网格距:   2.5\r\n"), std::string::npos);
  EXPECT_NE(text.find("  特征值:       -1E+38\r\n"), std::string::npos);
  EXPECT_NE(text.find("  最小值:       -3\r\n"), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 39), "-------------------------------------\r\n");
}

TEST(GridInfo, RefusesWhatIsNotABinaryGrid) {
  test::TempDir dir;
  const std::string full = head("#SRNTHGRIDB#", 0, 3, "");
  test::writeFile(dir.file("ascii.grd"), "#SRNTHGRIDA#" + full.substr(12));
  test::writeFile(dir.file("short.grd"), "#SRNTH");
  test::writeFile(dir.file("cut.grd"), full.substr(0, 60));
  test::writeFile(dir.file("empty.grd"), "");
  EXPECT_EQ(readBinaryGridHead(dir.file("ascii.grd")).status, GridHeadStatus::BadMagic);
  EXPECT_EQ(readBinaryGridHead(dir.file("short.grd")).status, GridHeadStatus::BadMagic);
  EXPECT_EQ(readBinaryGridHead(dir.file("empty.grd")).status, GridHeadStatus::BadMagic);
  EXPECT_EQ(readBinaryGridHead(dir.file("cut.grd")).status, GridHeadStatus::Truncated);
  EXPECT_EQ(readBinaryGridHead(dir.file("none.grd")).status, GridHeadStatus::OpenFailed);
  EXPECT_FALSE(isBinaryGridMagic("GRIDB#"));
}

}  // namespace
}  // namespace sarnoth
