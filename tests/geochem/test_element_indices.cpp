// Normalisation and multi-element superposition on a small table worked by hand, and Box–Cox's
// λ against R's MASS::boxcox.
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/normalisation.h"
#include "geochem/superposition.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

class ElementIndexTest : public ::testing::Test {
 protected:
  // Au 1 2 3 4 5 10; As 10 20 null 40 50 60; Cu 0 5 10 15 20 25.
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute("Create Table [样品] ([点号] TEXT(6), [Au] SINGLE, [As] SINGLE, [Cu] SINGLE)");
    TableWriter w(db, "样品", {"点号", "Au", "As", "Cu"});
    const double au[] = {1, 2, 3, 4, 5, 10}, as[] = {10, 20, NULL_VALUE_D, 40, 50, 60};
    for (int i = 0; i < 6; ++i) {
      w.setText(0, "P" + std::to_string(i + 1));
      w.setDouble(1, au[i]);
      w.setDouble(2, as[i]);
      w.setDouble(3, 5.0 * i);
      w.addRow();
    }
    w.commit();
  }
  // The field's values in record order.
  std::vector<float> column(const std::string& f) {
    std::vector<float> v;
    Cursor c = db.query("Select " + bracket(f) + " From [样品]");
    while (c.next()) v.push_back(c.getFloat(0));
    return v;
  }
  NormaliseResult normalise(NormaliseMethod m, std::vector<std::string> items,
                            std::optional<double> lambda = std::nullopt) {
    NormaliseJob j;
    j.table = "样品";
    j.elements = std::move(items);
    j.method = m;
    j.lambda = lambda;
    return runNormalise(db, j, ui);
  }
  test::TempDir tmp;
  Database db;
  ScriptedInteraction ui;
};

TEST_F(ElementIndexTest, NormalisationMethodsWorkedByHand) {
  // Au: mean 25/6, Σ(x − m)² = 155 − 6·(25/6)² = 305/6, s = √(61/6).
  ASSERT_TRUE(normalise(NormaliseMethod::ZScore, {"Au", "As"}).outcome.ok);
  const double m = 25.0 / 6, s = std::sqrt(61.0 / 6);
  std::vector<float> z = column("Au_Z");
  EXPECT_FLOAT_EQ(z[0], static_cast<float>((1 - m) / s));
  EXPECT_FLOAT_EQ(z[5], static_cast<float>((10 - m) / s));
  // As: 10 20 40 50 60, mean 36, s = √(1720/4); the null stays null.
  z = column("As_Z");
  EXPECT_EQ(z[2], NULL_VALUE);
  EXPECT_FLOAT_EQ(z[3], static_cast<float>(4 / std::sqrt(430.0)));
  EXPECT_EQ(db.fields("样品").back().declared(), "SINGLE");

  ASSERT_TRUE(normalise(NormaliseMethod::Range, {"Cu"}).outcome.ok);
  EXPECT_FLOAT_EQ(column("Cu_R")[3], 0.6f);
  // Log and Box–Cox leave the 0 null.
  const NormaliseResult lg = normalise(NormaliseMethod::Log10, {"Cu"});
  ASSERT_TRUE(lg.outcome.ok);
  EXPECT_EQ(lg.rows[0].written, 5);
  EXPECT_EQ(column("Cu_L")[0], NULL_VALUE);
  EXPECT_FLOAT_EQ(column("Cu_L")[2], 1.0f);
  ASSERT_TRUE(normalise(NormaliseMethod::BoxCox, {"Au"}, 0.5).outcome.ok);
  EXPECT_FLOAT_EQ(column("Au_BC")[3], 2.0f);  // (√4 − 1)/0.5
  ASSERT_TRUE(normalise(NormaliseMethod::BoxCox, {"Cu"}, 0.0).outcome.ok);
  EXPECT_FLOAT_EQ(column("Cu_BC")[1], static_cast<float>(std::log(5.0)));
  // Background and threshold of the normal estimate: nothing lies beyond 2.5 s, so x̄ and
  // x̄ + 2s of all values.
  const NormaliseResult b = normalise(NormaliseMethod::Background, {"Au"});
  ASSERT_TRUE(b.outcome.ok);
  EXPECT_NEAR(b.rows[0].levels.background, m, 1e-5);
  EXPECT_NEAR(b.rows[0].levels.threshold, m + 2 * s, 1e-5);
  EXPECT_NEAR(column("Au_B")[5], 10 / m, 1e-5);
  ASSERT_TRUE(normalise(NormaliseMethod::Threshold, {"Au"}).outcome.ok);
  EXPECT_NEAR(column("Au_T")[5], 10 / (m + 2 * s), 1e-5);
  EXPECT_NE(b.report.find("背景值"), std::string::npos);
}

TEST_F(ElementIndexTest, NormalisationAsksBeforeReplacingAndRefusesBadInput) {
  ASSERT_TRUE(normalise(NormaliseMethod::Range, {"Au"}).outcome.ok);
  const float before = column("Au_R")[5];
  ScriptedInteraction no({Answer::No});
  NormaliseJob j;
  j.table = "样品";
  j.elements = {"Cu", "Au"};
  j.method = NormaliseMethod::Range;
  const NormaliseResult declined = runNormalise(db, j, no);
  EXPECT_FALSE(declined.outcome.ok);
  EXPECT_TRUE(declined.outcome.message.empty());
  EXPECT_EQ(no.asked, std::vector<std::string>{"数据项 Au_R 已存在, 是否覆盖?"});
  EXPECT_FALSE(tableHasField(db.fields("样品"), "Cu_R"));  // nothing written, not even Cu
  EXPECT_EQ(column("Au_R")[5], before);

  EXPECT_EQ(normalise(NormaliseMethod::ZScore, {}).outcome.message, kMsgNormaliseChooseItems);
  EXPECT_EQ(normalise(NormaliseMethod::BoxCox, {"Au"}, 7.0).outcome.message, kMsgBadLambda);
  EXPECT_EQ(normalise(NormaliseMethod::ZScore, {"Ag"}).outcome.message, "数据表中没有数据项: Ag");
  db.execute("Update [样品] Set [Cu]=-1");
  EXPECT_EQ(normalise(NormaliseMethod::Log10, {"Cu"}).outcome.message,
            std::string(kMsgNormaliseNoPositive) + "Cu");
  EXPECT_EQ(normalise(NormaliseMethod::ZScore, {"Cu"}).outcome.message,
            std::string(kMsgNormaliseNoSpread) + "Cu");
}

TEST(BoxCox, LambdaAgreesWithMass) {
  // library(MASS); bc <- boxcox(x ~ 1, lambda = seq(-3, 3, 1e-5), plotit = FALSE);
  // bc$x[which.max(bc$y)]
  const std::vector<double> x20 = {12.1, 15.3, 9.8,  22.4, 18.7, 11.2, 14.9, 30.5, 16.8, 13.3,
                                   19.6, 10.4, 25.1, 17.2, 12.9, 14.1, 21.3, 15.8, 45.2, 13.7};
  EXPECT_NEAR(boxCoxLambda(x20), -0.96514, 1e-4);
  // i <- 1:200; x <- exp(0.4*sin(i*0.77) + 0.3*cos(i*1.37)) * 10
  std::vector<double> x200;
  for (int i = 1; i <= 200; ++i)
    x200.push_back(std::exp(0.4 * std::sin(i * 0.77) + 0.3 * std::cos(i * 1.37)) * 10);
  EXPECT_NEAR(boxCoxLambda(x200), 0.0246, 1e-4);
  // f <- function(l, x) { y <- if (l == 0) log(x) else (x^l - 1)/l;
  //   -length(x)/2*log(mean((y - mean(y))^2)) + (l - 1)*sum(log(x)) }; f(0.5, x20); f(-1, x20)
  EXPECT_NEAR(boxCoxLogLikelihood(x20, 0.5), -38.4519156724856, 1e-9);
  EXPECT_NEAR(boxCoxLogLikelihood(x20, -1), -34.6766376081325, 1e-9);
  EXPECT_EQ(boxCoxLambda(std::vector<double>{3, 3, 3}), 1.0);
  EXPECT_DOUBLE_EQ(boxCox(std::exp(2.0), 0), 2.0);
}

class SuperposeTest : public ElementIndexTest {
 protected:
  SuperposeJob job(Standardise s, IndexKind k) {
    SuperposeJob j;
    j.table = "样品";
    j.elements = superposeParameters(db, "样品", {"Au", "As"}, LevelEstimate::Normal);
    j.standardise = s;
    j.index = k;
    j.newField = "AuAs";
    return j;
  }
};

TEST_F(SuperposeTest, AdditiveAndMultiplicativeIndicesWorkedByHand) {
  // Backgrounds by the normal estimate, nothing rejected: Au 25/6, As 36.
  SuperposeJob j = job(Standardise::Background, IndexKind::Additive);
  ASSERT_EQ(j.elements.size(), 2u);
  EXPECT_NEAR(j.elements[1].levels.background, 36, 1e-5);
  EXPECT_EQ(j.elements[1].levels.n, 5);
  j.elements[1].weight = 2;
  SuperposeResult r = runSuperpose(db, j, ui);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.written, 5);
  std::vector<float> v = column("AuAs");
  EXPECT_NEAR(v[0], 1 / (25.0 / 6) + 2 * 10 / 36.0, 1e-5);
  EXPECT_EQ(v[2], NULL_VALUE);  // As is null there
  EXPECT_EQ(r.count, 5);
  EXPECT_NE(r.report.find("累加指数"), std::string::npos);

  // Multiplicative over thresholds, As weighted 2: (Au/tAu)·(As/tAs)², asked before replacing.
  j = job(Standardise::Threshold, IndexKind::Multiplicative);
  j.elements[1].weight = 2;
  const double tAu = j.elements[0].levels.threshold, tAs = j.elements[1].levels.threshold;
  EXPECT_NEAR(tAs, 36 + 2 * std::sqrt(430.0), 1e-4);
  ScriptedInteraction yes({Answer::Yes});
  r = runSuperpose(db, j, yes);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(yes.asked, std::vector<std::string>{"数据项 AuAs 已存在, 是否覆盖?"});
  v = column("AuAs");
  EXPECT_NEAR(v[5], (10 / tAu) * (60 / tAs) * (60 / tAs), 1e-6);

  // z-scores added; a value at 0 spoils only a product, so Cu's 0 counts here.
  j = job(Standardise::ZScore, IndexKind::Additive);
  j.elements = superposeParameters(db, "样品", {"Au", "Cu"}, LevelEstimate::Normal);
  j.newField = "AuCu";
  ASSERT_TRUE(runSuperpose(db, j, ui).outcome.ok);
  const double m = 25.0 / 6, s = std::sqrt(61.0 / 6), sc = std::sqrt(87.5);  // Cu 0..25
  EXPECT_NEAR(column("AuCu")[0], (1 - m) / s + (0 - 12.5) / sc, 1e-5);
  j.index = IndexKind::Multiplicative;
  j.standardise = Standardise::Background;
  j.newField = "AuCuM";
  ASSERT_TRUE(runSuperpose(db, j, ui).outcome.ok);
  EXPECT_EQ(column("AuCuM")[0], NULL_VALUE);
  EXPECT_GT(column("AuCuM")[1], 0.0f);
}

TEST_F(SuperposeTest, RefusalsLeaveTheTableAsItWas) {
  const std::size_t fields = db.fields("样品").size();
  SuperposeJob j = job(Standardise::ZScore, IndexKind::Multiplicative);
  EXPECT_EQ(runSuperpose(db, j, ui).outcome.message, kMsgSuperposeProductOfZ);
  j = job(Standardise::Background, IndexKind::Additive);
  j.newField = "as";  // an input, case-blind
  EXPECT_EQ(runSuperpose(db, j, ui).outcome.message, kMsgSuperposeFieldIsInput);
  j = job(Standardise::Background, IndexKind::Additive);
  j.elements.pop_back();
  EXPECT_EQ(runSuperpose(db, j, ui).outcome.message, kMsgSuperposeTwoItems);
  j = job(Standardise::Background, IndexKind::Additive);
  j.elements[0].levels.background = 0;
  EXPECT_EQ(runSuperpose(db, j, ui).outcome.message, std::string(kMsgSuperposeBadLevel) + "Au");
  j = job(Standardise::Background, IndexKind::Additive);
  j.elements[1].weight = std::nan("");
  EXPECT_EQ(runSuperpose(db, j, ui).outcome.message, std::string(kMsgSuperposeBadWeight) + "As");
  EXPECT_EQ(db.fields("样品").size(), fields);
}

}  // namespace
}  // namespace sarnoth::geochem
