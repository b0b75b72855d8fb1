// RTF of the text reports: what the writer makes reopens as the same text, and the reader takes
// the rich text other programs write (GBK bytes, Unicode escapes, skipped tables, nested groups).
#include <gtest/gtest.h>

#include "test_support.h"
#include "workarea/rtf_text.h"

namespace sarnoth {
namespace {

TEST(RtfText, ReportRoundTripsWithItsColumnsAndCharacters) {
  const std::string report =
      "     ----- 元素异常处理结果 ------\n\n"
      "  元素      记录数      平均值     标准差    异常下限\n"
      "Au              12       1.250       0.333       1.917\n"
      "{braces} \\back\\ tab\there, 𝔸 beyond the plane, é\n";
  const std::string rtf = textToRtf(report);
  // A fixed-pitch font in the Chinese code page; no raw non-ASCII byte in the file.
  EXPECT_EQ(rtf.rfind("{\\rtf1\\ansi\\ansicpg936", 0), 0u);
  EXPECT_NE(rtf.find("\\fmodern\\fprq1\\fcharset134 NSimSun;"), std::string::npos);
  for (unsigned char c : rtf) EXPECT_LT(c, 0x80);
  EXPECT_NE(rtf.find("\\u20803?"), std::string::npos);  // 元 is U+5143
  const auto back = rtfToText(rtf);
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(*back, report);

  sarnoth::test::TempDir dir;
  ASSERT_TRUE(writeRtfFile(dir.file("r.rtf"), "Au 1.0\n"));
  EXPECT_EQ(rtfToText(sarnoth::test::readFile(dir.file("r.rtf"))), "Au 1.0\n");
}

TEST(RtfText, ReadsWhatOtherProgramsWrite) {
  // GBK bytes (元素 = D4 AA CB D8), a \u with a negative unit and a two-byte fallback under \uc2,
  // skipped font, colour and info tables and a \* destination, nested formatting groups.
  const std::string rtf =
      "{\\rtf1\\ansi\\ansicpg936{\\fonttbl{\\f0 SimSun;}}{\\colortbl;\\red0\\green0\\blue0;}"
      "{\\info{\\title x}}{\\*\\generator Writer 1.0;}\\pard "
      "\\'d4\\'aa\\'cb\\'d8 {\\b Au}\\tab 12\\par\n"
      "\\uc2\\u-24146\\'c5\\'b7 end\\line last}";
  // U+A1AE is -24146 + 65536.
  EXPECT_EQ(rtfToText(rtf), "元素 Au\t12\n\xea\x86\xae end\nlast");
  // Windows-1252 bytes.
  EXPECT_EQ(rtfToText("{\\rtf1\\ansi\\ansicpg1252 caf\\'e9 \\'80}"), "café €");
}

TEST(RtfText, RefusesWhatIsNotRtf) {
  EXPECT_FALSE(rtfToText("plain text").has_value());
  EXPECT_FALSE(rtfToText("{\\rtf1 unbalanced").has_value());
  EXPECT_FALSE(rtfToText("{\\rtf1 x}}").has_value());
  EXPECT_FALSE(rtfToText("{\\rtf1 cut \\'d").has_value());
  EXPECT_FALSE(rtfToText("{\\rtf1 bad \\'zz}").has_value());
  EXPECT_FALSE(rtfToText("").has_value());
  EXPECT_EQ(rtfToText("{\\rtf1 }"), "");
}

}  // namespace
}  // namespace sarnoth
