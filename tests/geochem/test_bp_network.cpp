// The back-propagation network: one update worked by hand, XOR learnt with a fixed seed, the
// run on tables with the predictions written back, and the refusals that write nothing.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "geochem/bp_network.h"
#include "test_support.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

double f(double u) { return 1 / (1 + std::exp(-u)); }

TEST(BpNetwork, StartingWeightsAreSeededAndWithinOne) {
  BpWeights a = initialWeights(3, 5, 1, 42), b = initialWeights(3, 5, 1, 42),
            c = initialWeights(3, 5, 1, 43);
  EXPECT_EQ(a.v, b.v);
  EXPECT_EQ(a.q, b.q);
  EXPECT_NE(a.v, c.v);
  ASSERT_EQ(a.v.size(), 15u);
  ASSERT_EQ(a.w.size(), 5u);
  ASSERT_EQ(a.r.size(), 5u);
  ASSERT_EQ(a.q.size(), 1u);
  for (double v : a.v) EXPECT_TRUE(v >= -1 && v < 1);
  EXPECT_TRUE(a.fits(3, 5, 1));
  EXPECT_FALSE(a.fits(2, 5, 1));
}

TEST(BpNetwork, OneOnlineUpdateWorkedByHand) {
  // One input, one hidden node, one output; x = 0.5, target 1.
  BpWeights n;
  n.ii = n.jj = n.kk = 1;
  n.v = {0.4};
  n.r = {0.1};
  n.w = {-0.3};
  n.q = {0.2};
  const double x = 0.5, t = 1, l1 = 0.9, l2 = 0.1;
  const double h = f(0.4 * x - 0.1), y = f(-0.3 * h - 0.2);
  const double d = (t - y) * y * (1 - y), e = d * -0.3 * h * (1 - h);
  std::vector<double> mse;
  bpTrain(n, {x}, {t}, 1, l1, l2, [&](int, double m) {
    mse.push_back(m);
    return true;
  });
  EXPECT_NEAR(n.w[0], -0.3 + l1 * d * h, 1e-15);
  EXPECT_NEAR(n.q[0], 0.2 - l2 * d, 1e-15);
  EXPECT_NEAR(n.v[0], 0.4 + l1 * e * x, 1e-15);  // e from W before its update
  EXPECT_NEAR(n.r[0], 0.1 - l2 * e, 1e-15);
  // The curve's error is that of the network after the round.
  double h2 = f(n.v[0] * x - n.r[0]), y2 = f(n.w[0] * h2 - n.q[0]);
  ASSERT_EQ(mse.size(), 1u);
  EXPECT_NEAR(mse[0], (t - y2) * (t - y2), 1e-15);
}

TEST(BpNetwork, LearnsXorWithAFixedSeed) {
  const std::vector<double> x{0, 0, 0, 1, 1, 0, 1, 1}, t{0, 1, 1, 0};
  BpWeights n = initialWeights(2, 6, 1, 7);
  std::vector<double> curve;
  const int done = bpTrain(n, x, t, 5000, 0.9, 0.1, [&](int, double m) {
    curve.push_back(m);
    return true;
  });
  EXPECT_EQ(done, 5000);
  ASSERT_EQ(curve.size(), 5000u);
  EXPECT_LT(curve.back(), 0.01);
  EXPECT_GT(curve.front(), curve.back());
  double h[6], y[1];
  for (int p = 0; p < 4; ++p) {
    bpForward(n, &x[static_cast<std::size_t>(2 * p)], h, y);
    EXPECT_NEAR(y[0], t[static_cast<std::size_t>(p)], 0.2) << p;
  }
  // A stop from the round hook ends the training there.
  BpWeights m = initialWeights(2, 6, 1, 7);
  EXPECT_EQ(bpTrain(m, x, t, 5000, 0.9, 0.1, [](int r, double) { return r < 10; }), 10);
}

TEST(BpNetwork, RoundLabelsAndErrorText) {
  std::vector<int> shown;
  for (int r = 1; r <= 100; ++r)
    if (bpShowsRound(r, 100)) shown.push_back(r);
  EXPECT_EQ(shown, (std::vector<int>{1, 100}));
  EXPECT_TRUE(bpShowsRound(300, 1000));
  EXPECT_FALSE(bpShowsRound(301, 1000));
  EXPECT_EQ(bpErrorText(100, 0.0125), "100次，均方差=0.0125");
  chart::Chart c = bpErrorChart({0.5, 0.25, 0.125}, 10);
  EXPECT_EQ(c.y.scale, chart::Scale::Log10);
  EXPECT_EQ(c.series[0].x, (std::vector<double>{1, 2, 3}));
}

class BpRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    // XOR-like learning data: corners with a little spread, ten of each; the target on a
    // 10..20 scale; one record with a null target, left out.
    db.execute("Create Table [学习] ([A] SINGLE, [B] SINGLE, [Y] SINGLE)");
    TableWriter w(db, "学习", {"A", "B", "Y"});
    for (int k = 0; k < 40; ++k) {
      const int a = k % 2, b = (k / 2) % 2;
      const float jitter = 0.02f * static_cast<float>(k % 5) - 0.04f;
      w.setDouble(0, a + jitter);
      w.setDouble(1, b - jitter);
      w.setDouble(2, (a ^ b) ? 20 : 10);
      w.addRow();
    }
    w.setDouble(0, 0.5);
    w.setDouble(1, 0.5);
    w.setDouble(2, -1e38);
    w.addRow();
    w.commit();
    db.execute("Create Table [预测] ([ID] LONG, [A] SINGLE, [B] SINGLE)");
    db.execute(
        "Insert Into [预测] Values (1, 0, 0), (2, 0, 1), (3, 1, 0), (4, 1, 1), "
        "(5, -1E+38, 1)");
  }
  BpJob job() {
    BpJob j;
    j.modelTable = "学习";
    j.inputs = {"A", "B"};
    j.output = "Y";
    j.predictionTable = "预测";
    j.hiddenText = "6";
    j.roundsText = "3000";
    return j;
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(BpRunTest, TrainsPredictsAndWritesTheResultsBack) {
  BpJob j = job();
  j.parFile = tmp.dir() + "xor.par";
  BpResult r;
  int labels = 0;
  Outcome o = runBpNetwork(
      db, j, initialWeights(2, 6, 1, 7), r,
      [&](int round, double) {
        labels += bpShowsRound(round, 3000);
        return true;
      },
      noProgress());
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(o.message, "  预测计算已完成! ");
  EXPECT_EQ(labels, 31);  // round 1 and every 100th to 3000
  EXPECT_EQ(r.nn, 40);
  EXPECT_EQ(r.ny, 5);
  EXPECT_LT(r.curve.back(), 0.01);
  EXPECT_EQ(r.resultField, "Y_B");
  Cursor c = db.query("Select [ID], [Y_B] From [预测]");
  const double want[5] = {10, 20, 20, 10, -1e38};
  int k = 0;
  while (c.next()) {
    if (k < 4)
      EXPECT_NEAR(c.getDouble(1), want[k], 2.0) << k;
    else
      EXPECT_EQ(c.getFloat(1), -1e38f);
    ++k;
  }
  EXPECT_EQ(k, 5);

  const std::string par = gbkToUtf8(test::readFile(tmp.dir() + "xor.par"));
  EXPECT_EQ(
      par.rfind("学习模式数 NN=40  输入层节点数 II=2\r\n输出层节点数 KK=1  预测模式数 NY=5\r\n", 0),
      0u);
  for (
      const char* line :
      {"中间层节点数 JJ=6\r\n********V(j, i)中间层连接权系数,个数为JJ乘II********\r\n",
       "********R(j)中间层节点阈值,个数为JJ********", "********Q(k)输出层节点阈值,个数为KK********",
       "输入层样本数据正规化到0和1之间的最小值:", "xmin7=10\r\nxmax7=20\r\n",
       "*********开始迭代N次进行学习训练***********\r\n1次迭代，输出层各单元的一般化误差 Er1(k) = ",
       "3000次迭代，输出层各单元的一般化误差 Er1(k) = ",
       "*********迭代3000次后的教师信号的“实际输出”的复原值 即所谓的“仿真结果”***********",
       "++++++++++预测结果(正规化复原成实际的)+++++++++++++"})
    EXPECT_NE(par.find(line), std::string::npos) << line;

  // A second run overwrites the field; a tiny limit flags predictions near poorly fitted
  // patterns (every pattern is fitted worse than 1e-6).
  j.parFile.clear();
  j.flagError = true;
  j.limitText = "0.000001";
  ASSERT_TRUE(runBpNetwork(db, j, initialWeights(2, 6, 1, 7), r, {}, noProgress()).ok);
  EXPECT_EQ(r.flagged, 4);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [预测] Where [Y_B] <> -1E+38")), 0);
  EXPECT_EQ(db.fields("预测").size(), 4u);
}

TEST_F(BpRunTest, RefusalsWriteNothing) {
  BpResult r;
  auto run = [&](const BpJob& j) {
    return runBpNetwork(db, j, initialWeights(2, 6, 1, 7), r, {}, noProgress()).message;
  };
  auto unchanged = [&] {
    EXPECT_EQ(db.fields("预测").size(), 3u);
    EXPECT_FALSE(std::filesystem::exists(tmp.dir() + "x.par"));
  };
  BpJob j = job();
  j.parFile = tmp.dir() + "x.par";
  db.execute("Create Table [空] ([A] SINGLE, [B] SINGLE, [Y] SINGLE)");
  j.modelTable = "空";
  EXPECT_EQ(run(j), "学习模式数据表中无有效数据,不能进行网络训练。");
  db.execute("Insert Into [空] Values (1, 2, -1E+38), (2, 3, -1E+38)");  // the target all null
  EXPECT_EQ(run(j), "学习模式数据表中无有效数据,不能进行网络训练。");
  unchanged();

  j = job();
  j.parFile = tmp.dir() + "x.par";
  db.execute("Update [学习] Set [B] = 3");
  EXPECT_EQ(run(j), "数据计算错:除数为零 (B 在学习模式中为常数)");
  unchanged();
  j.outputsText = "2";
  EXPECT_EQ(run(j), "输出层节点数只能为1(一个输出数据项)。");
  j.outputsText = "1";
  j.roundsText = "0";
  EXPECT_EQ(run(j), "网络参数必须是大于0的数。");
  j = job();
  j.inputs = {"A", "Y"};
  EXPECT_EQ(run(j), "输出数据项不能同时作为输入项。");
  j.inputs = {"A"};
  EXPECT_EQ(run(j), "初始权重与阈值的个数与网络结构不符,请重新获取。");
  j.modelTable.clear();
  EXPECT_EQ(run(j), "请选择学习模式数据表。");

  // A stop during training: an empty message, nothing written.
  db.execute("Update [学习] Set [B] = [A] * 2 + 1");
  j = job();
  j.parFile = tmp.dir() + "x.par";
  Outcome o = runBpNetwork(
      db, j, initialWeights(2, 6, 1, 7), r, [](int round, double) { return round < 5; },
      noProgress());
  EXPECT_FALSE(o.ok);
  EXPECT_TRUE(o.message.empty());
  unchanged();
}

}  // namespace
}  // namespace sarnoth::geochem
