// Neighbourhood analysis: the bucket grid's searches against brute force, statistics worked by
// hand on a line of samples, thread independence, and the result table in a work area.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "geochem/neighbourhood.h"
#include "geochem/point_grid.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<Neighbour> bruteNearest(const std::vector<double>& x, const std::vector<double>& y,
                                    double qx, double qy, int k, int exclude) {
  std::vector<Neighbour> all;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (static_cast<int>(i) != exclude && std::isfinite(x[i]))
      all.push_back(
          {(x[i] - qx) * (x[i] - qx) + (y[i] - qy) * (y[i] - qy), static_cast<std::int32_t>(i)});
  std::sort(all.begin(), all.end());
  if (all.size() > static_cast<std::size_t>(k)) all.resize(static_cast<std::size_t>(k));
  return all;
}

void expectSame(const std::vector<Neighbour>& a, const std::vector<Neighbour>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(a[i].id, b[i].id) << i;
    EXPECT_EQ(a[i].d2, b[i].d2) << i;
  }
}

TEST(PointGrid, SearchesMatchBruteForceOnScatteredClusteredAndLatticePoints) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(0, 1000);
  std::normal_distribution<double> cluster(0, 5);
  std::vector<double> x, y;
  for (int i = 0; i < 1500; ++i) {  // uniform scatter
    x.push_back(u(rng));
    y.push_back(u(rng));
  }
  for (int i = 0; i < 500; ++i) {  // a tight cluster with duplicates
    x.push_back(300 + std::round(cluster(rng)));
    y.push_back(700 + std::round(cluster(rng)));
  }
  for (int i = 0; i < 20; ++i)  // a lattice: many ties at equal distances
    for (int j = 0; j < 20; ++j) {
      x.push_back(600 + 10 * i);
      y.push_back(100 + 10 * j);
    }
  x.push_back(kNaN);  // a sample without place is never found
  y.push_back(5);
  for (double cell : {0.0, 3.0, 400.0}) {
    const PointGrid g(x, y, cell);
    ASSERT_EQ(g.size(), x.size() - 1);
    std::vector<Neighbour> got, within;
    for (int q = 0; q < 120; ++q) {
      const std::size_t i = static_cast<std::size_t>(q * 7) % (x.size() - 1);
      for (int k : {1, 4, 30}) {
        g.nearest(x[i], y[i], k, static_cast<std::int32_t>(i), got);
        expectSame(got, bruteNearest(x, y, x[i], y[i], k, static_cast<int>(i)));
      }
      // A radius search returns exactly those brute force finds within r.
      g.within(x[i], y[i], 25.0, -1, within);
      std::vector<Neighbour> all = bruteNearest(x, y, x[i], y[i], 1 << 30, -1);
      all.erase(
          std::remove_if(all.begin(), all.end(), [](const Neighbour& n) { return n.d2 > 625.0; }),
          all.end());
      expectSame(within, all);
    }
    // Queries outside the samples' extent, far and near.
    for (auto [qx, qy] :
         {std::pair{-50.0, -50.0}, std::pair{5000.0, 400.0}, std::pair{1e9, -1e9}}) {
      g.nearest(qx, qy, 5, -1, got);
      expectSame(got, bruteNearest(x, y, qx, qy, 5, -1));
    }
  }
  // More neighbours asked than there are samples: all of them.
  const std::vector<double> fx{0, 1, 2}, fy{0, 0, 0};
  std::vector<Neighbour> few;
  PointGrid(fx, fy).nearest(0, 0, 10, 0, few);
  ASSERT_EQ(few.size(), 2u);
  EXPECT_EQ(few[0].id, 1);
}

// Five samples on a line, values 1, 2, 3, 4, 100 at x = 0, 1, 2, 3, 10.
struct Line {
  std::vector<double> x{0, 1, 2, 3, 10}, y{0, 0, 0, 0, 0}, v{1, 2, 3, 4, 100};
};

TEST(Neighbourhood, StatisticsWorkedByHandOnALine) {
  Line s;
  NeighbourSearch k2;
  k2.count = 2;
  k2.minCount = 1;
  NeighbourStats st = neighbourStatistics(s.x, s.y, s.v, k2);
  // Sample 0: neighbours 1 and 2 → 2, 3.
  EXPECT_EQ(st.count[0], 2);
  EXPECT_FLOAT_EQ(st.mean[0], 2.5f);
  EXPECT_FLOAT_EQ(st.median[0], 2.5f);
  EXPECT_FLOAT_EQ(st.sd[0], static_cast<float>(std::sqrt(0.5)));
  // Sample 2: the tie at distance 1 takes both 1 and 3 → 2, 4.
  EXPECT_FLOAT_EQ(st.mean[2], 3.0f);
  // Sample 4: 3 (d 7) and 2 (d 8) → 4, 3.
  EXPECT_FLOAT_EQ(st.mean[4], 3.5f);
  const LocalValues l = localValues(100, st.mean[4], st.sd[4]);
  EXPECT_FLOAT_EQ(l.difference, 96.5f);
  EXPECT_FLOAT_EQ(l.ratio, static_cast<float>(100 / 3.5));
  EXPECT_FLOAT_EQ(l.zscore, static_cast<float>(96.5 / std::sqrt(0.5)));

  // k = 1 at sample 2: the tie goes to the lower record number.
  NeighbourSearch k1 = k2;
  k1.count = 1;
  st = neighbourStatistics(s.x, s.y, s.v, k1);
  EXPECT_FLOAT_EQ(st.mean[2], 2.0f);
  EXPECT_EQ(st.sd[2], NULL_VALUE);  // one neighbour has no deviation

  // The sample itself counted.
  NeighbourSearch self = k2;
  self.includeSelf = true;
  st = neighbourStatistics(s.x, s.y, s.v, self);
  EXPECT_FLOAT_EQ(st.mean[0], 1.5f);

  // Radius 1.5: sample 0 has one neighbour, sample 4 none; minCount 2 nulls the one.
  NeighbourSearch r;
  r.mode = NeighbourMode::Radius;
  r.radius = 1.5;
  r.minCount = 1;
  st = neighbourStatistics(s.x, s.y, s.v, r);
  EXPECT_EQ(st.count[0], 1);
  EXPECT_FLOAT_EQ(st.mean[0], 2.0f);
  EXPECT_EQ(st.count[4], 0);
  EXPECT_EQ(st.mean[4], NULL_VALUE);
  EXPECT_EQ(st.count[1], 2);
  EXPECT_FLOAT_EQ(st.median[1], 2.0f);  // neighbours 1 and 3
  r.minCount = 2;
  st = neighbourStatistics(s.x, s.y, s.v, r);
  EXPECT_EQ(st.count[0], 1);
  EXPECT_EQ(st.mean[0], NULL_VALUE);

  // A sample without value is nobody's neighbour but gets its neighbourhood; one without place
  // gets nothing.
  Line gaps;
  gaps.v[1] = kNaN;
  gaps.x[3] = kNaN;
  st = neighbourStatistics(gaps.x, gaps.y, gaps.v, k2);
  EXPECT_FLOAT_EQ(st.mean[0], 51.5f);  // samples 2 and 4 remain: 3, 100
  EXPECT_FLOAT_EQ(st.mean[1], 2.0f);   // samples 0 and 2: 1, 3
  EXPECT_EQ(st.count[3], 0);
  EXPECT_EQ(st.mean[3], NULL_VALUE);
  EXPECT_EQ(localValues(kNaN, st.mean[1], st.sd[1]).difference, NULL_VALUE);
  EXPECT_EQ(localValues(5, 0.0f, 1.0f).ratio, NULL_VALUE);
  EXPECT_EQ(localValues(5, 2.0f, 0.0f).zscore, NULL_VALUE);
}

TEST(Neighbourhood, OneThreadAndTwoGiveTheSameNumbers) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(0, 5000);
  std::lognormal_distribution<double> val(0, 1);
  const std::size_t n = 20000;
  std::vector<double> x(n), y(n), v(n);
  for (std::size_t i = 0; i < n; ++i) {
    x[i] = std::round(u(rng));  // whole metres: ties at equal distances
    y[i] = std::round(u(rng));
    v[i] = i % 97 == 0 ? kNaN : val(rng);
  }
  for (NeighbourMode mode : {NeighbourMode::Nearest, NeighbourMode::Radius}) {
    NeighbourSearch s;
    s.mode = mode;
    s.count = 12;
    s.radius = 60;
    const NeighbourStats one = neighbourStatistics(x, y, v, s, noProgress(), 1);
    const NeighbourStats two = neighbourStatistics(x, y, v, s, noProgress(), 2);
    EXPECT_EQ(one.count, two.count);
    EXPECT_EQ(one.mean, two.mean);
    EXPECT_EQ(one.median, two.median);
    EXPECT_EQ(one.sd, two.sd);
  }
}

class NeighbourTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute(
        "Create Table [样品] ([点号] TEXT(8), [X] SINGLE, [Y] SINGLE, [Au] SINGLE, "
        "[Au_M] SINGLE)");
    TableWriter w(db, "样品", {"点号", "X", "Y", "Au", "Au_M"});
    const Line s;
    for (std::size_t i = 0; i < 5; ++i) {
      w.setText(0, "P" + std::to_string(i + 1));
      w.setDouble(1, s.x[i]);
      w.setDouble(2, s.y[i]);
      w.setDouble(3, i == 1 ? NULL_VALUE_D : s.v[i]);
      w.setDouble(4, 123);
      w.addRow();
    }
    w.commit();
  }
  NeighbourJob job() const {
    NeighbourJob j;
    j.table = "样品";
    j.xField = "X";
    j.yField = "Y";
    j.valueField = "Au";
    j.search.count = 2;
    j.search.minCount = 2;
    j.newTable = "邻域";
    return j;
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(NeighbourTableTest, WritesTheSourceFieldsAndTheNewOnesAndRegistersTheTable) {
  ScriptedInteraction ui;
  const Outcome o = runNeighbourAnalysis(db, job(), ui);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, "邻域数据分析完成, 结果存入数据表: 邻域");
  const std::vector<FieldDef> f = db.fields("邻域");
  std::vector<std::string> names;
  for (const FieldDef& d : f) names.push_back(d.name);
  // Au_M of the source is replaced by the new one.
  EXPECT_EQ(names, (std::vector<std::string>{"点号", "X", "Y", "Au", "Au_M", "Au_Md", "Au_S",
                                             "Au_N", "Au_D", "Au_R", "Au_Z"}));
  EXPECT_EQ(f[7].declared(), "LONG");
  EXPECT_EQ(f[0].declared(), "TEXT(8)");
  // The null at sample 2 (x = 1) leaves 1, 3, 4, 100: sample 1 (x = 0) has 3 and 4 → mean 3.5.
  {
    Cursor c = db.query("Select [点号],[Au_M],[Au_N],[Au_D],[Au_Md] From [邻域]");
    ASSERT_TRUE(c.next());
    EXPECT_EQ(c.getText(0), "P1");
    EXPECT_FLOAT_EQ(c.getFloat(1), 3.5f);
    EXPECT_EQ(c.getInt(2), 2);
    EXPECT_FLOAT_EQ(c.getFloat(3), -2.5f);
    ASSERT_TRUE(c.next());  // P2 has no value: its neighbourhood, no local values
    EXPECT_FLOAT_EQ(c.getFloat(1), 2.0f);
    EXPECT_EQ(c.getFloat(3), NULL_VALUE);
  }
  Recordset reg = Recordset::openTable(db, "TableInfo");
  ASSERT_TRUE(reg.findFirst("[查询表名] = '邻域'"));
  EXPECT_EQ(reg.getText("查询库名"), "DataProcess");
  EXPECT_EQ(reg.getText("说明"), "单变量数据处理");

  // Again: asked; No leaves the table as it was, Yes writes it anew.
  ScriptedInteraction no({Answer::No});
  NeighbourJob j = job();
  j.search.count = 1;
  j.search.minCount = 1;
  const Outcome declined = runNeighbourAnalysis(db, j, no);
  EXPECT_FALSE(declined.ok);
  EXPECT_TRUE(declined.message.empty());
  EXPECT_EQ(no.asked, std::vector<std::string>{"结果表名已存在,是否覆盖?"});
  EXPECT_FLOAT_EQ(
      static_cast<float>(valueToDouble(db.scalar("Select [Au_M] From [邻域] Where [点号]='P1'"))),
      3.5f);
  ScriptedInteraction yes({Answer::Yes});
  const Outcome again = runNeighbourAnalysis(db, j, yes);
  ASSERT_TRUE(again.ok) << again.message;
  EXPECT_FLOAT_EQ(
      static_cast<float>(valueToDouble(db.scalar("Select [Au_M] From [邻域] Where [点号]='P1'"))),
      3.0f);
  EXPECT_EQ(db.rowCount("邻域"), 5);
}

TEST_F(NeighbourTableTest, RefusesWhatItCannotRun) {
  ScriptedInteraction ui;
  NeighbourJob j = job();
  j.newTable = "样品";
  EXPECT_EQ(runNeighbourAnalysis(db, j, ui).message, kMsgResultIsSource);
  j = job();
  j.xField.clear();
  EXPECT_EQ(runNeighbourAnalysis(db, j, ui).message, kMsgChooseCoordinates);
  j = job();
  j.search.mode = NeighbourMode::Radius;
  j.search.radius = std::nan("");
  EXPECT_EQ(runNeighbourAnalysis(db, j, ui).message, kMsgBadRadius);
  j = job();
  j.search.minCount = 3;  // more than k
  EXPECT_EQ(runNeighbourAnalysis(db, j, ui).message, kMsgBadMinCount);
  j = job();
  j.valueField = "Cu";
  EXPECT_EQ(runNeighbourAnalysis(db, j, ui).message, "数据表中没有数据项: Cu");
  EXPECT_FALSE(db.tableExists("邻域"));
  // A radius proposed for about 2 neighbours on the 10 × 0 line: the line's length squared
  // shared by 5 samples, √(100·2/(5π)) = 3.57 → 3.6.
  EXPECT_DOUBLE_EQ(proposedNeighbourRadius(db, "样品", "X", "Y", 2), 3.6);
}

}  // namespace
}  // namespace sarnoth::geochem
