// The zoning sequence on productivities worked by hand, and from a table of level samples.
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/zoning.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

// Levels from the top: A 50 20 5, B 0.8 0.6 0.1, C 2 10 4, D 100 300 900.
// Scaled to [1, 10): A·10^-1 = 5 2 0.5, B·10 = 8 6 1, C·10^-1 = 0.2 1 0.4, D·10^-2 = 1 3 9;
// level sums 14.2, 12, 10.9.
const std::vector<std::string> kNames{"A", "B", "C", "D"};
const std::vector<std::vector<double>> kM{
    {50, 20, 5}, {0.8, 0.6, 0.1}, {2, 10, 4}, {100, 300, 900}};

TEST(Zoning, IndicesPeaksAndGradientsWorkedByHand) {
  const ZoningResult r = zoningFromProductivity(kNames, kM, ZoningMethod::ZoningIndex);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.exponent, (std::vector<int>{-1, 1, -1, -2}));
  EXPECT_NEAR(r.index[0][0], 5 / 14.2, 1e-12);
  EXPECT_NEAR(r.index[1][1], 6 / 12.0, 1e-12);
  EXPECT_NEAR(r.index[3][2], 9 / 10.9, 1e-12);
  EXPECT_EQ(r.peak, (std::vector<int>{0, 0, 1, 2}));
  // A and B both peak on top: G = D_top/D_bottom, A (5/14.2)/(0.5/10.9) = 7.676 above
  // B (8/14.2)/(1/10.9) = 6.141.
  EXPECT_NEAR(r.peakGradient[0], (5 / 14.2) / (0.5 / 10.9), 1e-12);
  EXPECT_NEAR(r.peakGradient[1], (8 / 14.2) / (1 / 10.9), 1e-12);
  EXPECT_EQ(r.sequence, (std::vector<int>{0, 1, 2, 3}));

  // Scaling A down tenfold changes nothing: the method looks at orders of magnitude only.
  std::vector<std::vector<double>> m = kM;
  for (double& v : m[0]) v /= 10;
  EXPECT_EQ(zoningFromProductivity(kNames, m, ZoningMethod::ZoningIndex).sequence, r.sequence);
}

TEST(Zoning, TiesOnMiddleAndBottomLevelsAndTheGradientMethod) {
  // X 1 5 1, Y 1 6 2, Z 3 3 3: sums 5 14 6; X and Y peak in the middle, ordered by
  // ΔD = D_above − D_below: X 0.2 − 1/6 = 0.0333 above Y 0.2 − 2/6 = −0.1333.
  ZoningResult r = zoningFromProductivity({"X", "Y", "Z"}, {{1, 5, 1}, {1, 6, 2}, {3, 3, 3}},
                                          ZoningMethod::ZoningIndex);
  EXPECT_EQ(r.peak, (std::vector<int>{1, 1, 0}));
  EXPECT_NEAR(r.peakGradient[0], 0.2 - 1 / 6.0, 1e-12);
  EXPECT_EQ(r.sequence, (std::vector<int>{2, 0, 1}));
  // Two elements peaking on the bottom level: the larger D_bottom/D_top goes lowest.
  // P 1 2 4, Q 1 1 3, R 9 3 1 (all k = 0): sums 11 6 8; P (4/8)/(1/11) = 5.5,
  // Q (3/8)/(1/11) = 4.125, so Q stands above P.
  r = zoningFromProductivity({"P", "Q", "R"}, {{1, 2, 4}, {1, 1, 3}, {9, 3, 1}},
                             ZoningMethod::ZoningIndex);
  EXPECT_EQ(r.peak, (std::vector<int>{2, 2, 0}));
  EXPECT_EQ(r.sequence, (std::vector<int>{2, 1, 0}));

  // The variability gradient, ΣM of the upper half over the lower: X 1/0 = ∞, Y 2/1, Z 6/2.5;
  // the index method puts Z (peak on the bottom) last, the gradient above Y.
  const std::vector<std::vector<double>> m{{1, 0, 0}, {2, 5, 1}, {6, 0.5, 2.5}};
  EXPECT_EQ(zoningFromProductivity({"X", "Y", "Z"}, m, ZoningMethod::ZoningIndex).sequence,
            (std::vector<int>{0, 1, 2}));
  r = zoningFromProductivity({"X", "Y", "Z"}, m, ZoningMethod::Gradient);
  EXPECT_TRUE(std::isinf(r.gradient[0]));
  EXPECT_DOUBLE_EQ(r.gradient[2], 2.4);
  EXPECT_EQ(r.sequence, (std::vector<int>{0, 2, 1}));

  EXPECT_EQ(zoningFromProductivity({"A", "B"}, {{1, 2}, {0, 0}}, ZoningMethod::ZoningIndex)
                .outcome.message,
            std::string(kMsgZoningNoProductivity) + "B");
  EXPECT_EQ(
      zoningFromProductivity({"A", "B"}, {{1}, {2}}, ZoningMethod::ZoningIndex).outcome.message,
      kMsgZoningTwoLevels);
}

class ZoningTableTest : public ::testing::Test {
 protected:
  // Two samples a level, lengths 2 and 1, giving the productivities of kM; a sample without a
  // level, one of length 0 and one without contents change nothing.
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute(
        "Create Table [坑道] ([标高] SINGLE, [长度] SINGLE, [A] SINGLE, [B] SINGLE, "
        "[C] SINGLE, [D] SINGLE)");
    TableWriter w(db, "坑道", {"标高", "长度", "A", "B", "C", "D"});
    auto add = [&](double level, double len, double a, double b, double c, double d) {
      const double row[] = {level, len, a, b, c, d};
      for (int i = 0; i < 6; ++i) w.setDouble(i, row[i]);
      w.addRow();
    };
    add(300, 2, 20, 0.3, 1, 40);
    add(300, 1, 10, 0.2, 0, 20);
    add(200, 2, 5, 0.2, 4, 100);
    add(200, 1, 10, 0.2, 2, 100);
    add(100, 2, 2, 0.05, 1, 400);
    add(100, 1, 1, 0, 2, 100);
    add(NULL_VALUE_D, 1, 99, 99, 99, 99);
    add(200, 0, 99, 99, 99, 99);
    add(200, 1, NULL_VALUE_D, NULL_VALUE_D, NULL_VALUE_D, NULL_VALUE_D);
    w.commit();
  }
  ZoningJob job() const {
    ZoningJob j;
    j.table = "坑道";
    j.levelField = "标高";
    j.lengthField = "长度";
    j.elements = kNames;
    return j;
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(ZoningTableTest, ProductivitiesFromSamplesAndTheReport) {
  ZoningResult r = runZoning(db, job());
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.levels, (std::vector<double>{300, 200, 100}));
  EXPECT_EQ(r.samples, (std::vector<std::int64_t>{2, 3, 2}));
  EXPECT_EQ(r.skipped, 2);
  for (std::size_t i = 0; i < 4; ++i)
    for (std::size_t j = 0; j < 3; ++j) EXPECT_NEAR(r.productivity[i][j], kM[i][j], 1e-5) << i << j;
  EXPECT_EQ(r.sequence, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_NE(r.report.find("分带序列(自上而下): A - B - C - D"), std::string::npos) << r.report;

  // Backgrounds: A above 5 only, (20 − 5)·2 + (10 − 5) = 35 on top, 5 in the middle, 0 below.
  ZoningJob j = job();
  j.backgrounds = {5, 0, 0, 0};
  r = runZoning(db, j);
  ASSERT_TRUE(r.outcome.ok);
  EXPECT_NEAR(r.productivity[0][0], 35, 1e-5);
  EXPECT_NEAR(r.productivity[0][1], 5, 1e-5);
  EXPECT_EQ(r.productivity[0][2], 0);
  // Level numbers count downwards: the smallest on top, so the sequence turns over.
  j = job();
  j.order = LevelOrder::Number;
  r = runZoning(db, j);
  EXPECT_EQ(r.levels.front(), 100);
  EXPECT_EQ(r.sequence, (std::vector<int>{3, 2, 1, 0}));

  j = job();
  j.elements = {"A", "标高"};
  EXPECT_EQ(runZoning(db, j).outcome.message, kMsgZoningLevelIsItem);
  j = job();
  j.backgrounds = {1, -1, 0, 0};
  EXPECT_EQ(runZoning(db, j).outcome.message, std::string(kMsgZoningBadBackground) + "B");
  j = job();
  j.levelField.clear();
  EXPECT_EQ(runZoning(db, j).outcome.message, kMsgZoningChooseLevel);
}

}  // namespace
}  // namespace sarnoth::geochem
