// The geometry edits of the gridding window and the proposed cap of high values.
#include <gtest/gtest.h>

#include <filesystem>

#include "prep/gridding.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

TEST(GriddingEdit, BoundsAndCountRecomputeWithAPositiveSpacing) {
  AxisBoxes b{100.0f, 151.0f, 10.0f, 3};
  for (AxisBox box : {AxisBox::Low, AxisBox::High}) {
    AxisEdit e = editAxis(true, box, b);
    EXPECT_FALSE(e.spacingMessage);
    EXPECT_EQ(e.count, 7);  // Fix(5.1 + 1.9999)
    EXPECT_EQ(e.just, 160.0f);
    EXPECT_FALSE(e.radius);
  }
  EXPECT_EQ(editAxis(false, AxisBox::Count, b).just, 120.0f);
  b.count = 1;  // fewer than two columns rewrite nothing
  EXPECT_FALSE(editAxis(true, AxisBox::Count, b).just);

  // A bound that is no number passes silently.
  AxisEdit bad = editAxis(true, AxisBox::High, {100.0f, std::nullopt, 10.0f, 3});
  EXPECT_FALSE(bad.spacingMessage || bad.count || bad.just);
}

TEST(GriddingEdit, SpacingRulesDifferBetweenXAndY) {
  const AxisBoxes b{0.0f, 100.0f, 25.0f, 2};
  AxisEdit x = editAxis(true, AxisBox::Spacing, b);
  EXPECT_EQ(x.count, 5);
  EXPECT_EQ(x.just, 100.0f);
  EXPECT_EQ(x.radius, 62.5f);  // both radii 2.5 spacings
  EXPECT_FALSE(editAxis(false, AxisBox::Spacing, b).radius);

  const AxisBoxes zero{0.0f, 100.0f, 0.0f, 2};
  EXPECT_FALSE(editAxis(true, AxisBox::Spacing, zero).spacingMessage);  // silent for x
  AxisEdit y0 = editAxis(false, AxisBox::Spacing, zero);
  EXPECT_TRUE(y0.spacingMessage);
  EXPECT_FALSE(y0.radius);
  // Editing a bound with no spacing above 0 says so on either axis.
  EXPECT_TRUE(editAxis(true, AxisBox::Low, zero).spacingMessage);
  EXPECT_TRUE(editAxis(false, AxisBox::High, zero).spacingMessage);
  // A spacing that is no number, or a count beyond 16 bits, rewrites nothing.
  EXPECT_FALSE(editAxis(true, AxisBox::Spacing, {0.0f, 1.0f, std::nullopt, 2}).radius);
  AxisEdit huge = editAxis(true, AxisBox::Spacing, {0.0f, 1e9f, 1.0f, 2});
  EXPECT_FALSE(huge.count || huge.radius);
}

TEST(GriddingEdit, FieldMaximumSkipsNulls) {
  const auto dir = std::filesystem::temp_directory_path() /
                   ("sarnoth_gridding_edit_" + std::to_string(::getpid()));
  std::filesystem::remove_all(dir);
  ASSERT_TRUE(createWorkArea(dir.string()));
  {
    Database db = openWorkDatabase(withTrailingSeparator(dir.string()));
    db.execute("Create Table [点] ([v] SINGLE, [w] SINGLE)");
    db.execute("Insert Into [点] Values (1.5, -1E+38), (-1E+38, -1E+38), (7.25, -1E+38)");
    FieldMaximumResult r = fieldMaximum(db, "点", "v");
    ASSERT_TRUE(r.outcome);
    EXPECT_EQ(r.maximum, 7.25f);
    FieldMaximumResult none = fieldMaximum(db, "点", "w");
    EXPECT_TRUE(none.outcome);
    EXPECT_FALSE(none.maximum);
    EXPECT_FALSE(fieldMaximum(db, "无此表", "v").outcome);
  }
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace sarnoth
