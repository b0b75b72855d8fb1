// The colour scale: palette files, the default ramp and colour table as shipped, the four
// grading rules on data with known answers, number formatting and level editing.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/palette.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

const std::string kRampPath = SARNOTH_SOURCE_DIR "/resources/datdefcolr.pal";
const std::string kTablePath = SARNOTH_SOURCE_DIR "/resources/syslib/syscolor.tbl";

class PaletteTest : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return tmp_.file(name); }
  void put(const std::string& name, const std::string& bytes) const {
    test::writeFile(path(name), bytes);
  }
  std::string get(const std::string& name) const { return test::readFile(path(name)); }

  test::TempDir tmp_;
};

ColourScale sampleScale() {
  ColourScale s;
  s.min = 0.5f;
  s.max = 120;
  s.backColour = 16777215;
  s.levels = {{10.126f, 260}, {50, 300}, {120, 515}};
  return s;
}

TEST_F(PaletteTest, PaletteFileRoundTripAndLayout) {
  ASSERT_EQ(writePalette(path("a.pal"), sampleScale(), 2), PaletteError::None);
  EXPECT_EQ(get("a.pal"),
            "#SRNTHPALTI#\r\nMIN: 0.5\r\nMAX: 120\r\n3\r\n10.13,260\r\n50.00,300\r\n120.00,515\r\n"
            "BCOLR: 16777215\r\n#ENDPALETTE#\r\n");
  ColourScale s;
  ASSERT_TRUE(loadPalette(path("a.pal"), s));
  EXPECT_EQ(s.min, 0.5f);
  EXPECT_EQ(s.max, 120.0f);
  EXPECT_EQ(s.backColour, 16777215);
  ASSERT_EQ(s.levels.size(), 3u);
  EXPECT_EQ(s.levels[0].value, 10.13f);  // saved as displayed
  EXPECT_EQ(s.levels[2].colourIndex, 515);

  // Without decimals the values are kept to the last bit.
  ASSERT_EQ(writePalette(path("b.pal"), sampleScale()), PaletteError::None);
  ASSERT_TRUE(loadPalette(path("b.pal"), s));
  EXPECT_EQ(s.levels[0].value, 10.126f);

  // Another generation's magic, LF line ends and no end mark read alike.
  put("c.pal", "#VLQ30PALTI#\nMIN:  -5\nMAX:3\n1\n3,261\nBCOLR: 0\n");
  ASSERT_TRUE(loadPalette(path("c.pal"), s));
  EXPECT_EQ(s.min, -5.0f);
  EXPECT_EQ(s.levels.size(), 1u);
}

TEST_F(PaletteTest, BadPalettesLeaveTheScaleUnchanged) {
  const ColourScale before = sampleScale();
  const std::string bad[] = {
      "#SRNTHGRIDA#\nMIN: 0\nMAX: 1\n0\nBCOLR: 0\n",
      "#SRNTHPALTI#\nMIN: 0\nMAX: 1\n5\n1,260\n2,261\nBCOLR: 0\n",
      "#SRNTHPALTI#\nMIN: 0\nMAX: 1\n2000000000\n1,260\n",
      "#SRNTHPALTI#\nMIN 0\nMAX: 1\n0\nBCOLR: 0\n",
      "#SRNTHPALTI#\nMIN: 0\nMAX: 1\n1\n1;260\nBCOLR: 0\n",
      "#SRNTHPALTI#\nMIN: 0\nMAX: 1\n1\n1,70000\nBCOLR: 0\n",
      "#SRNTHPALTI#\nMIN: 0\nMAX: 1\n",
  };
  for (const auto& text : bad) {
    put("x.pal", text);
    ColourScale s = before;
    Outcome o = loadPalette(path("x.pal"), s);
    EXPECT_FALSE(o.ok) << text;
    EXPECT_EQ(o.message, "非Sarnoth调色板索引文件") << text;
    EXPECT_EQ(s.levels.size(), before.levels.size());
    EXPECT_EQ(s.min, before.min);
  }
  ColourScale s = before;
  EXPECT_FALSE(loadPalette(path("missing.pal"), s).ok);
  EXPECT_EQ(s.levels.size(), 3u);

  Outcome empty = savePalette(path("e.pal"), ColourScale{}, 2);
  EXPECT_EQ(empty.message, "调色板中无色阶!!");
  EXPECT_FALSE(fs::exists(path("e.pal")));
}

TEST_F(PaletteTest, ShippedRampAndColourTable) {
  auto ramp = readDefaultRamp(kRampPath);
  ASSERT_TRUE(ramp.has_value());
  ASSERT_EQ(ramp->size(), 64u);
  EXPECT_EQ(ramp->front(), 260);
  EXPECT_EQ(ramp->back(), 515);
  for (std::size_t i = 1; i < ramp->size(); ++i) EXPECT_LT((*ramp)[i - 1], (*ramp)[i]);

  auto table = SysColourTable::load(kTablePath);
  ASSERT_TRUE(table.has_value());
  for (int i = 0; i < 772; ++i) EXPECT_TRUE(table->has(i)) << i;
  EXPECT_EQ(table->colour(0), (Rgb{255, 255, 255}));
  EXPECT_EQ(table->colour(1), (Rgb{0, 0, 0}));
  EXPECT_EQ(table->colour(100000), (Rgb{0, 0, 0}));
  // The graded ramp reads from low to high in grey as well: luminance rises at every step.
  auto luminance = [](Rgb c) {
    auto lin = [](int v) {
      double x = v / 255.0;
      return x <= 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * lin(c.r) + 0.7152 * lin(c.g) + 0.0722 * lin(c.b);
  };
  for (int i = 261; i <= 515; ++i)
    EXPECT_GT(luminance(table->colour(i)), luminance(table->colour(i - 1))) << i;

  // Written and read back; a short file or a missing one is an error, colours then stay 0.
  ASSERT_TRUE(writeDefaultRamp(path("r.pal"), {5, 6, 7}));
  EXPECT_EQ(get("r.pal"), std::string("\3\0\5\0\0\0\6\0\0\0\7\0\0\0", 14));
  put("short.pal", std::string("\3\0\5\0\0\0", 6));
  EXPECT_FALSE(readDefaultRamp(path("short.pal")).has_value());
  EXPECT_FALSE(readDefaultRamp(path("none.pal")).has_value());
  EXPECT_EQ(mapRampToLevels(3, {}), (std::vector<std::int32_t>{0, 0, 0}));

  put("bad.tbl", "# head\n0 1 2 3\n1 256 0 0\n");
  EXPECT_FALSE(SysColourTable::load(path("bad.tbl")).has_value());
}

const std::vector<std::int32_t> kRamp10 = {100, 101, 102, 103, 104, 105, 106, 107, 108, 109};

TEST(Grading, EqualInterval) {
  Grading g = gradeEqualInterval(0, 10, 2, kRamp10);
  EXPECT_EQ(g.levels, (std::vector<float>{2, 4, 6, 8, 10}));
  EXPECT_EQ(g.colours, (std::vector<std::int32_t>{100, 102, 104, 106, 108}));  // Fix(i·10/5)
  // The count is rounded (ties to even); the last level is max whatever the interval.
  EXPECT_EQ(gradeEqualInterval(0, 9, 2, kRamp10).levels, (std::vector<float>{2, 4, 6, 9}));
  EXPECT_EQ(gradeEqualInterval(0, 7, 2, kRamp10).count(), 4);
  EXPECT_EQ(gradeEqualInterval(0, 11, 2, kRamp10).count(), 6);
  EXPECT_EQ(gradeEqualInterval(5, 5, 1, kRamp10).count(), 0);
  EXPECT_EQ(gradeEqualInterval(0, 1, 0, kRamp10).count(), 0);
  EXPECT_EQ(gradeEqualInterval(0, 1, 1e-9f, kRamp10).count(), 0);
  // More levels than ramp entries: the ramp again in order, no scaling.
  EXPECT_EQ(gradeEqualInterval(0, 5, 1, {7, 8, 9}).colours,
            (std::vector<std::int32_t>{7, 8, 9, 7, 8}));
  EXPECT_EQ(mapRampToLevels(3, {7, 8, 9}), (std::vector<std::int32_t>{7, 8, 9}));
}

TEST(Grading, Logarithmic) {
  Grading g = gradeLogarithmic(1, 1000, 1, kRamp10);
  EXPECT_TRUE(g.message.empty());
  EXPECT_EQ(g.levels, (std::vector<float>{10, 100, 1000}));
  EXPECT_EQ(g.colours, (std::vector<std::int32_t>{100, 103, 106}));
  Grading half = gradeLogarithmic(1, 150, 0.5f, kRamp10);
  ASSERT_EQ(half.count(), 4);  // Fix(2.176 / 0.5)
  EXPECT_FLOAT_EQ(half.levels[0], 3.1622777f);
  EXPECT_FLOAT_EQ(half.levels[1], 10.0f);
  EXPECT_FLOAT_EQ(half.levels[2], 31.622776f);
  EXPECT_EQ(half.levels[3], 150.0f);

  EXPECT_EQ(gradeLogarithmic(1, 1000, 0, kRamp10).message, "对数分级间隔不能小于等于 0 或大于 1.");
  EXPECT_EQ(gradeLogarithmic(1, 1000, 1.01f, kRamp10).message,
            "对数分级间隔不能小于等于 0 或大于 1.");
  EXPECT_EQ(gradeLogarithmic(0, 1000, 1, kRamp10).message, "对数分级值域不能小于等于 0.");
  EXPECT_EQ(gradeLogarithmic(1, -1, 1, kRamp10).message, "对数分级值域不能小于等于 0.");
  EXPECT_EQ(gradeLogarithmic(10, 10, 1, kRamp10).count(), 0);
}

TEST(Grading, Variance) {
  // Mean 5, sample standard deviation sqrt(32/7).
  std::vector<float> data = {2, 4, NULL_VALUE, 4, 4, 5, 5, 7, 9};
  const float s = static_cast<float>(std::sqrt(32.0 / 7.0));
  Grading g = gradeVariance(data, 2, 9, 1, {10, 11, 12, 13, 14, 15});
  ASSERT_EQ(g.count(), 3);  // a = 1 lower entry above 2, b = 1 upper entry below 9
  EXPECT_FLOAT_EQ(g.levels[0], 5 - s);
  EXPECT_FLOAT_EQ(g.levels[1], 5);
  EXPECT_EQ(g.levels[2], 9.0f);  // the upper entry gives way to max
  EXPECT_EQ(g.colours, (std::vector<std::int32_t>{10, 12, 15}));

  // p = 0.5: three lower entries above 1, μ, three upper entries below 9.
  Grading w = gradeVariance(data, 1, 9, 0.5f, kRamp10);
  ASSERT_EQ(w.count(), 3 + 3 + 1);
  EXPECT_FLOAT_EQ(w.levels[0], 5 - 1.5f * s);
  EXPECT_FLOAT_EQ(w.levels[3], 5);
  EXPECT_FLOAT_EQ(w.levels[5], 5 + s);
  EXPECT_EQ(w.levels[6], 9.0f);
  EXPECT_EQ(w.colours.back(), 109);

  // No upper entry below max: the mean itself gives way.
  EXPECT_EQ(gradeVariance(std::vector<float>{1, 2, 3}, 1, 3, 10, kRamp10).levels,
            (std::vector<float>{3}));
  // The caller's own null test; fewer than two values grade nothing.
  EXPECT_EQ(gradeVariance(data, 2, 9, 1, kRamp10, [](float v) { return v < 4.5f; }).levels[2],
            6.5f);
  EXPECT_EQ(gradeVariance(std::vector<float>{1, NULL_VALUE}, 0, 9, 1, kRamp10).count(), 0);
}

TEST(Grading, Cumulative) {
  std::vector<float> data;
  for (int i = 100; i >= 1; --i) data.push_back(static_cast<float>(i));
  data.push_back(NULL_VALUE);
  Grading g = gradeCumulative(data, 25, kRamp10);
  EXPECT_EQ(g.levels, (std::vector<float>{26, 51, 76, 100}));
  EXPECT_EQ(g.colours, (std::vector<std::int32_t>{100, 102, 105, 107}));
  EXPECT_EQ(gradeCumulative(data, 30, kRamp10).levels, (std::vector<float>{31, 61, 91, 100}));
  EXPECT_EQ(gradeCumulative(data, 100, kRamp10).levels, (std::vector<float>{100}));
  EXPECT_EQ(gradeCumulative(data, 0, kRamp10).count(), 0);
  EXPECT_EQ(gradeCumulative(data, 150, kRamp10).count(), 0);
  EXPECT_EQ(gradeCumulative(std::vector<float>{NULL_VALUE}, 10, kRamp10).count(), 0);
}

TEST(Grading, LevelValuesAreFormattedAndRoundedAsDisplayed) {
  EXPECT_EQ(formatLevelValue(2.5f, 1), "2.5");
  EXPECT_EQ(formatLevelValue(0.125f, 2), "0.13");  // half away from zero
  EXPECT_EQ(formatLevelValue(-0.125f, 2), "-0.13");
  EXPECT_EQ(formatLevelValue(-0.001f, 2), "0.00");
  EXPECT_EQ(formatLevelValue(1234.5f, 4), "1234.5000");
  EXPECT_EQ(formatLevelValue(0.1f, 0), "0.1");
  EXPECT_EQ(formatLevelValue(NULL_VALUE, 5), "-1E+38");
  EXPECT_EQ(displayedValue(3.14159f, 3), 3.142f);

  Grading g = gradeEqualInterval(0, 1, 1.0f / 3.0f, kRamp10);
  ColourScale s = scaleFromGrading(g, 0, 1, 0, 2);
  ASSERT_EQ(s.levels.size(), 3u);
  EXPECT_EQ(s.levels[0].value, 0.33f);
  EXPECT_EQ(s.levels[1].value, 0.67f);
  EXPECT_EQ(s.levels[0].colourIndex, 100);
}

TEST(LevelEditing, AddDeleteRecolourAndDefault) {
  ColourScale s = sampleScale();
  EXPECT_EQ(addLevelHalfway(s, -1).message, "请选择添加位置. ");
  EXPECT_EQ(deleteLevel(s, 3).message, "请选择删除项. ");
  EXPECT_EQ(recolourLevel(s, -1, 5).message, "请选择修改项. ");
  EXPECT_EQ(s.levels.size(), 3u);

  ASSERT_TRUE(addLevelHalfway(s, 1));  // between 10.126 and 50
  ASSERT_EQ(s.levels.size(), 4u);
  EXPECT_FLOAT_EQ(s.levels[1].value, 30.063f);
  EXPECT_EQ(s.levels[1].colourIndex, 300);
  ASSERT_TRUE(addLevelHalfway(s, 0));  // the first: between min and the level
  EXPECT_FLOAT_EQ(s.levels[0].value, 5.313f);
  ASSERT_TRUE(deleteLevel(s, 0));
  EXPECT_FLOAT_EQ(s.levels[0].value, 10.126f);
  ASSERT_TRUE(recolourLevel(s, 3, 7));
  EXPECT_EQ(s.levels[3].colourIndex, 7);

  ColourScale d;
  d.min = 0;
  d.max = 160;
  d.backColour = 42;
  defaultGrading(d, kRamp10, 1);
  ASSERT_EQ(d.levels.size(), static_cast<std::size_t>(kDefaultLevelCount));
  EXPECT_EQ(d.levels.front().value, 10.0f);
  EXPECT_EQ(d.levels.back().value, 160.0f);
  EXPECT_EQ(d.levels.back().colourIndex, 105);  // 16 levels over 10 entries: round again
  EXPECT_EQ(d.backColour, 42);
}

}  // namespace
}  // namespace sarnoth
