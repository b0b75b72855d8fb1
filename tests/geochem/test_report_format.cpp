// The number texts of the statistical reports.
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/report_format.h"

namespace sarnoth::geochem {
namespace {

TEST(ReportFormat, PictureFormatsSingleAndDoubleTexts) {
  EXPECT_EQ(fixedText(1.1, 4), "1.1000");
  EXPECT_EQ(fixedText(-0.00004, 4), "0.0000");  // no "-0.0000"
  EXPECT_EQ(fixedText(2.5e-4, 3), "0.000");
  EXPECT_EQ(fixedText(0.0005, 3), "0.001");  // half away from zero
  EXPECT_EQ(fixedText(-1234567.891, 3), "-1234567.891");
  EXPECT_EQ(fixedText(4, 5), "4.00000");
  EXPECT_EQ(singleText(1.0f / 3), "0.3333333");
  EXPECT_EQ(singleText(2.5f), "2.5");
  EXPECT_EQ(singleText(-1e38f), "-1E+38");
  EXPECT_EQ(singleText(12345678.0f), "1.234568E+07");
  EXPECT_EQ(singleText(0.0001f), "0.0001");
  EXPECT_EQ(singleText(0.0000025f), "2.5E-06");
  EXPECT_EQ(doubleText(4.5), "4.5");
  EXPECT_EQ(doubleText(std::sqrt(6.0)), "2.44948974278318");
  EXPECT_EQ(doubleText(1e15), "1E+15");
  EXPECT_EQ(singleText(INFINITY), "1.#INF");
  EXPECT_EQ(fixedText(NAN, 3), "-1.#IND");
}

}  // namespace
}  // namespace sarnoth::geochem
