// Cluster analysis: a five-sample case joined by hand, each similarity measure and transform,
// the joining order of well-separated groups, the report layout and the refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>

#include "geochem/cluster_analysis.h"
#include "test_support.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

SingleMatrix matrixOf(const std::vector<std::vector<float>>& rows) {
  SingleMatrix m(static_cast<int>(rows.size()), static_cast<int>(rows[0].size()));
  for (int i = 0; i < m.rows(); ++i)
    for (int j = 0; j < m.cols(); ++j)
      m(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
  return m;
}

// The five samples of the hand computation (three elements each).
const std::vector<std::vector<float>> kFive = {
    {6, 0, 0}, {0, 0, 0}, {0, 12, 0}, {0, 0, 3}, {6, 0, 6}};

TEST(ClusterRows, FiveSamplesJoinedByHand) {
  // d = sqrt(Σ(a − b)² / 3), similarity 1/d.
  //  round 1: #2 (0,0,0) and #4 (0,0,3): Σ = 9, d = √3, 0.57735; row 2 becomes (0,0,3).
  //  round 2: #1 (6,0,0) and #5 (6,0,6): Σ = 36, d = √12, 0.28868; row 1 becomes (12,0,6).
  //  round 3: row 1 with row 2: Σ = 144 + 9 = 153, d = √51; row 2 with #3 (0,12,0): also 153.
  //           The tie goes to the pair met first scanning row by row, (1, 2). Row 1 (12,0,9).
  //  round 4: row 1 with #3: Σ = 144 + 144 + 81 = 369, d = √123, 0.090167.
  ClusterTree t = clusterRows(matrixOf(kFive), 2, noProgress());
  ASSERT_EQ(t.joins.size(), 4u);
  const int pairs[4][2] = {{1, 3}, {0, 4}, {0, 1}, {0, 2}};
  const double sims[4] = {1 / std::sqrt(3.0), 1 / std::sqrt(12.0), 1 / std::sqrt(51.0),
                          1 / std::sqrt(123.0)};
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(t.joins[static_cast<std::size_t>(k)].first, pairs[k][0]) << k;
    EXPECT_EQ(t.joins[static_cast<std::size_t>(k)].second, pairs[k][1]) << k;
    EXPECT_NEAR(t.joins[static_cast<std::size_t>(k)].similarity, sims[k], 1e-12) << k;
  }
  EXPECT_EQ(t.order, (std::vector<int>{0, 4, 1, 3, 2}));
}

TEST(ClusterRows, EachMeasureAndTransformOnSmallRows) {
  const std::vector<float> a{1, 2, 3}, b{2, 4, 7};
  // Sx 6, Sy 13, Sxx 14, Syy 69, Sxy 31: (31 − 26) ÷ sqrt(2 · 38/3).
  EXPECT_NEAR(rowSimilarity(a, b, 1), 5 / std::sqrt(76.0 / 3), 1e-12);
  EXPECT_NEAR(rowSimilarity(a, b, 2), 1 / std::sqrt(7.0), 1e-12);  // Σd² = 21, /3
  EXPECT_NEAR(rowSimilarity(a, b, 3), 31 / std::sqrt(966.0), 1e-12);
  EXPECT_TRUE(std::isinf(rowSimilarity(a, a, 2)));
  const std::vector<float> flat{4, 4, 4}, zero{0, 0, 0};
  EXPECT_THROW(rowSimilarity(a, flat, 1), NumericFault);
  EXPECT_THROW(rowSimilarity(a, zero, 3), NumericFault);

  std::vector<float> r{2, 4, 10};
  ASSERT_TRUE(transformRow(r, 2));
  EXPECT_EQ(r, (std::vector<float>{0, 0.25f, 1}));
  r = {2, 4, 9};  // mean 5, population deviation sqrt(26/3)
  ASSERT_TRUE(transformRow(r, 3));
  EXPECT_NEAR(r[0], -3 / std::sqrt(26.0 / 3), 1e-6);
  EXPECT_NEAR(r[2], 4 / std::sqrt(26.0 / 3), 1e-6);
  std::vector<float> same{3, 3, 3};
  EXPECT_FALSE(transformRow(same, 2));
  EXPECT_FALSE(transformRow(same, 3));
  EXPECT_TRUE(transformRow(same, 1));
}

// The tool's rounds done the plain way: every similarity afresh, the row-by-row scan.
ClusterTree plainClustering(std::vector<std::vector<float>> rows, int isim) {
  ClusterTree t;
  std::vector<int> live(rows.size());
  std::vector<std::vector<int>> members(rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    live[i] = static_cast<int>(i);
    members[i] = {static_cast<int>(i)};
  }
  while (live.size() > 1) {
    double best = -INFINITY;
    std::size_t bi = 0, bj = 0;
    for (std::size_t p = 0; p < live.size(); ++p)
      for (std::size_t q = p + 1; q < live.size(); ++q) {
        double s = rowSimilarity(rows[static_cast<std::size_t>(live[p])],
                                 rows[static_cast<std::size_t>(live[q])], isim);
        if (s > best || (p == 0 && q == 1)) {
          best = s;
          bi = p;
          bj = q;
        }
      }
    const int i = live[bi], j = live[bj];
    t.joins.push_back({i, j, best});
    for (std::size_t k = 0; k < rows[0].size(); ++k)
      rows[static_cast<std::size_t>(i)][k] += rows[static_cast<std::size_t>(j)][k];
    auto& mi = members[static_cast<std::size_t>(i)];
    mi.insert(mi.end(), members[static_cast<std::size_t>(j)].begin(),
              members[static_cast<std::size_t>(j)].end());
    live.erase(live.begin() + static_cast<std::ptrdiff_t>(bj));
  }
  t.order = members[static_cast<std::size_t>(live[0])];
  return t;
}

TEST(ClusterRows, AgreesWithThePlainRoundsAndWithItselfOnAnyThreadCount) {
  std::mt19937 rng(17);
  std::lognormal_distribution<float> ln(0, 1);
  std::vector<std::vector<float>> rows(70, std::vector<float>(6));
  for (auto& r : rows)
    for (auto& v : r) v = ln(rng);
  for (int isim : {1, 2, 3}) {
    ClusterTree fast = clusterRows(matrixOf(rows), isim, noProgress(), 1);
    ClusterTree plain = plainClustering(rows, isim);
    ASSERT_EQ(fast.joins.size(), 69u);
    for (std::size_t k = 0; k < plain.joins.size(); ++k) {
      ASSERT_EQ(fast.joins[k].first, plain.joins[k].first) << "isim " << isim << " round " << k;
      ASSERT_EQ(fast.joins[k].second, plain.joins[k].second) << "isim " << isim << " round " << k;
      EXPECT_DOUBLE_EQ(fast.joins[k].similarity, plain.joins[k].similarity);
    }
    EXPECT_EQ(fast.order, plain.order);
    ClusterTree two = clusterRows(matrixOf(rows), isim, noProgress(), 2);
    for (std::size_t k = 0; k < two.joins.size(); ++k)
      EXPECT_EQ(two.joins[k].similarity, fast.joins[k].similarity);
  }
}

TEST(ClusterRows, ThreeSeparatedGroupsJoinWithinBeforeAcross) {
  // Three element associations (high in elements 0–1, 2–3 or 4–5), seven samples each,
  // interleaved in the table.
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(0.9f, 1.1f);
  std::vector<std::vector<float>> rows;
  std::vector<int> group;
  for (int s = 0; s < 21; ++s) {
    const int g = s % 3;
    std::vector<float> r(6);
    for (int k = 0; k < 6; ++k)
      r[static_cast<std::size_t>(k)] = (k / 2 == g ? 50.0f : 2.0f) * u(rng);
    rows.push_back(r);
    group.push_back(g);
  }
  for (int isim : {1, 2, 3}) {
    ClusterTree t = clusterRows(matrixOf(rows), isim, noProgress());
    ASSERT_EQ(t.joins.size(), 20u);
    for (std::size_t k = 0; k < 18; ++k)
      EXPECT_EQ(group[static_cast<std::size_t>(t.joins[k].first)],
                group[static_cast<std::size_t>(t.joins[k].second)])
          << "isim " << isim << " join " << k;
    // The drawing order keeps each group together.
    int changes = 0;
    for (std::size_t k = 1; k < t.order.size(); ++k)
      changes += group[static_cast<std::size_t>(t.order[k])] !=
                 group[static_cast<std::size_t>(t.order[k - 1])];
    EXPECT_EQ(changes, 2) << "isim " << isim;
  }
}

class ClusterRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute("Create Table [样品] ([A] SINGLE, [B] SINGLE, [C] SINGLE, [D] SINGLE)");
    TableWriter w(db, "样品", {"A", "B", "C", "D"});
    for (const auto& r : kFive) {
      w.setDouble(0, r[0]);
      w.setDouble(1, r[1]);
      w.setDouble(2, r[2]);
      w.setDouble(3, r[0] + 2 * r[1] + 1);  // D follows A and B
      w.addRow();
    }
    w.setDouble(0, 1);
    w.setDouble(1, -1e38);  // dropped
    w.setDouble(2, 1);
    w.setDouble(3, 1);
    w.addRow();
    w.commit();
  }
  ClusterJob job(int itype, std::vector<std::string> fields = {"A", "B", "C"}) {
    ClusterJob j;
    j.table = "样品";
    j.fields = std::move(fields);
    j.itype = itype;
    j.isim = 2;
    j.outputFile = tmp.dir() + "Temp\\ClustInfo.txt";
    return j;
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(ClusterRunTest, ReportLayoutOfTheFiveSampleCase) {
  ClusterResult r;
  ASSERT_TRUE(runClusterAnalysis(db, job(2), r, noProgress()).ok);
  const std::vector<std::string> expected = {"**** 聚类分析预先给定的参数 ****",
                                             " 原始样本样品数 n= 6 变量数 m= 3",
                                             " itype = 2 , 作 Q 型聚类分析 ",
                                             "",
                                             " ilog = 0 , 对原始数据不取对数",
                                             "",
                                             " icsr = 1, 对数据不变换",
                                             "",
                                             " isim = 2, 欧拉距离倒数",
                                             "",
                                             "含空区的样品数 =1",
                                             "去掉含空区的样品后实际样品个数 =5",
                                             "kkk=1  (2,4)  0.5774",
                                             "kkk=2  (1,5)  0.2887",
                                             "kkk=3  (1,2)  0.1400",
                                             "kkk=4  (1,3)  0.0902",
                                             " **** 绘谱系图顺序**** ",
                                             "     1     5     2     4     3",
                                             "****    计算结束 !    ****"};
  EXPECT_EQ(r.report, expected);
  std::string file;
  for (const auto& l : expected) file += l + "\r\n";
  EXPECT_EQ(gbkToUtf8(test::readFile(tmp.dir() + "temp/ClustInfo.txt")), file);
  EXPECT_EQ(r.labels[4], "5");

  // The dendrogram: twelve segments for four joins, the objects down the left in order.
  chart::Chart c = dendrogramChart(job(2), r);
  EXPECT_EQ(c.title, "Q 型聚类图");
  EXPECT_EQ(c.series[0].x.size(), 4u * 3u * 2u);
  EXPECT_EQ(c.y.tickLabels, (std::vector<std::string>{"1", "5", "2", "4", "3"}));
  EXPECT_EQ(c.notes[2].text, "       欧拉距离倒数");
  EXPECT_TRUE(c.x.reversed);
}

TEST_F(ClusterRunTest, RTypeJoinsTheRelatedVariablesFirst) {
  ClusterJob j = job(1, {"A", "B", "C", "D"});
  j.isim = 1;
  j.icsr = 3;
  ClusterResult r;
  ASSERT_TRUE(runClusterAnalysis(db, j, r, noProgress()).ok);
  ASSERT_EQ(r.tree.joins.size(), 3u);
  EXPECT_EQ(r.labels, (std::vector<std::string>{"A", "B", "C", "D"}));
  // D = A + 2B + 1 correlates most with B (the larger share), so B and D join first.
  EXPECT_EQ(r.tree.joins[0].first, 1);
  EXPECT_EQ(r.tree.joins[0].second, 3);
  EXPECT_EQ(r.report[2], " itype = 1 , 作 R 型聚类分析 ");
  EXPECT_EQ(r.report[6], " icsr = 3, 对数据标准化变换");
  EXPECT_EQ(r.report[8], " isim = 1, 相关系数法");
}

TEST_F(ClusterRunTest, RefusalsOfBadInput) {
  ClusterResult r;
  ClusterJob j = job(2);
  j.outputFile = "  ";
  EXPECT_EQ(runClusterAnalysis(db, j, r, noProgress()).message, "请给定保存文件名。");
  EXPECT_EQ(runClusterAnalysis(db, job(2, {"A", "B"}), r, noProgress()).message,
            "变量不能少于3个.");
  // More elements than samples for R type.
  db.execute("Create Table [少] ([A] SINGLE, [B] SINGLE, [C] SINGLE, [D] SINGLE)");
  db.execute("Insert Into [少] Values (1, 2, 3, 4), (2, 3, 5, 1), (3, 1, 1, 2)");
  ClusterJob few = job(1, {"A", "B", "C", "D"});
  few.table = "少";
  EXPECT_EQ(runClusterAnalysis(db, few, r, noProgress()).message, "样品数太少,不能进行分析!!!");
  few.itype = 2;
  EXPECT_TRUE(runClusterAnalysis(db, few, r, noProgress()).ok);
  db.execute("Delete From [少] Where [A] > 1");
  EXPECT_EQ(runClusterAnalysis(db, few, r, noProgress()).message, "样品数太少,不能进行分析!!!");
  // A constant element.
  db.execute("Create Table [常] ([A] SINGLE, [B] SINGLE, [C] SINGLE)");
  db.execute("Insert Into [常] Values (1, 5, 3), (2, 5, 1), (3, 5, 2), (4, 5, 7)");
  ClusterJob con = job(2);
  con.table = "常";
  EXPECT_EQ(runClusterAnalysis(db, con, r, noProgress()).message,
            "变量 B 为常数,不能进行聚类分析。");
  // Logarithms of zero.
  ClusterJob lg = job(2);
  lg.ilog = 1;
  EXPECT_EQ(runClusterAnalysis(db, lg, r, noProgress()).message,
            "数据计算错:第1个样品的 B 不大于0,不能取对数。");
  // A Q-type sample without spread under correlation.
  ClusterJob q = job(2);
  q.isim = 1;
  EXPECT_EQ(runClusterAnalysis(db, q, r, noProgress()).message,
            "数据计算错:第2个样品的数据无变化,不能计算相似性。");
}

}  // namespace
}  // namespace sarnoth::geochem
