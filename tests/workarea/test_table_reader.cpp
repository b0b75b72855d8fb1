// The engines' column-typed bulk reader: blocks of rows as plain numbers, NULL as the float null,
// through an open store or a read-only connection of its own.
#include <gtest/gtest.h>

#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/table_reader.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

TEST(TableReader, ReadsBlocksWithNullsAsTheFloatNull) {
  test::TempDir tmp;
  ASSERT_TRUE(createWorkArea(tmp.str()).ok);
  Database db = openWorkDatabase(tmp.dir());
  db.execute("Create Table [点] ([x] DOUBLE, [y] SINGLE, [名称] TEXT(10), [v] LONG)");
  db.execute(
      "Insert Into [点] Values (1.5, 2.25, 'a', 3), (0, Null, 'b', Null), (-4, 0.125, '7.5', 8)");
  {
    TableWriter w(db, "点", {"x", "y", "名称", "v"});
    for (int i = 0; i < 5000; ++i) {
      w.setDouble(0, i);
      w.setDouble(1, -i);
      w.setText(2, "n");
      w.setInt(3, i % 7);
      w.addRow();
    }
    w.commit();
  }
  for (int own = 0; own < 2; ++own) {
    TableReader r = own ? TableReader(db.path(), "点", {"x", "y", "v", "名称"})
                        : TableReader(db, "点", {"x", "y", "v", "名称"});
    EXPECT_EQ(r.rowCount(), 5003);
    EXPECT_EQ(r.columnCount(), 4);
    std::vector<float> block(4 * 2);
    ASSERT_EQ(r.readFloats(block.data(), 2), 2u);
    // A real zero stays zero; a NULL is -1E+38; a text column reads as its number or 0.
    EXPECT_EQ(block, (std::vector<float>{1.5f, 2.25f, 3, 0, 0, NULL_VALUE, NULL_VALUE, 0}));
    std::vector<double> rest(4 * 10000);
    std::size_t got = 0, n;
    while ((n = r.readDoubles(rest.data() + 4 * got, 1000)) > 0) got += n;
    EXPECT_EQ(got, 5001u);
    EXPECT_EQ(rest[0], -4);
    EXPECT_EQ(rest[3], 7.5);  // '7.5' as text
    EXPECT_EQ(rest[4 * 5000], 4999);
    EXPECT_EQ(r.readFloats(block.data(), 2), 0u);
  }
  EXPECT_THROW(TableReader(db.path(), "点", {"z"}), StoreError);
  EXPECT_THROW(TableReader(tmp.file("none.sqlite"), "点", {"x"}), StoreError);
}

}  // namespace
}  // namespace sarnoth
