// Stepwise discrimination: Fisher's iris data against stepwise selection written out in R and
// MASS's lda (the published 3 of 150 resubstitution errors), the exact leave-one-out downdate
// against refitting, the level trees, and the tool's run with its prediction field.
#include <gtest/gtest.h>

#include <cmath>

#include "geochem/stepwise_discriminant.h"
#include "test_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

using test::TempDir;

// Fisher's iris data (Anderson 1935; Fisher 1936), as R's datasets::iris holds it: sepal length,
// sepal width, petal length, petal width in cm, 50 of each species.
const double kIris[150][4] = {
    // setosa
    {5.1, 3.5, 1.4, 0.2},
    {4.9, 3, 1.4, 0.2},
    {4.7, 3.2, 1.3, 0.2},
    {4.6, 3.1, 1.5, 0.2},
    {5, 3.6, 1.4, 0.2},
    {5.4, 3.9, 1.7, 0.4},
    {4.6, 3.4, 1.4, 0.3},
    {5, 3.4, 1.5, 0.2},
    {4.4, 2.9, 1.4, 0.2},
    {4.9, 3.1, 1.5, 0.1},
    {5.4, 3.7, 1.5, 0.2},
    {4.8, 3.4, 1.6, 0.2},
    {4.8, 3, 1.4, 0.1},
    {4.3, 3, 1.1, 0.1},
    {5.8, 4, 1.2, 0.2},
    {5.7, 4.4, 1.5, 0.4},
    {5.4, 3.9, 1.3, 0.4},
    {5.1, 3.5, 1.4, 0.3},
    {5.7, 3.8, 1.7, 0.3},
    {5.1, 3.8, 1.5, 0.3},
    {5.4, 3.4, 1.7, 0.2},
    {5.1, 3.7, 1.5, 0.4},
    {4.6, 3.6, 1, 0.2},
    {5.1, 3.3, 1.7, 0.5},
    {4.8, 3.4, 1.9, 0.2},
    {5, 3, 1.6, 0.2},
    {5, 3.4, 1.6, 0.4},
    {5.2, 3.5, 1.5, 0.2},
    {5.2, 3.4, 1.4, 0.2},
    {4.7, 3.2, 1.6, 0.2},
    {4.8, 3.1, 1.6, 0.2},
    {5.4, 3.4, 1.5, 0.4},
    {5.2, 4.1, 1.5, 0.1},
    {5.5, 4.2, 1.4, 0.2},
    {4.9, 3.1, 1.5, 0.2},
    {5, 3.2, 1.2, 0.2},
    {5.5, 3.5, 1.3, 0.2},
    {4.9, 3.6, 1.4, 0.1},
    {4.4, 3, 1.3, 0.2},
    {5.1, 3.4, 1.5, 0.2},
    {5, 3.5, 1.3, 0.3},
    {4.5, 2.3, 1.3, 0.3},
    {4.4, 3.2, 1.3, 0.2},
    {5, 3.5, 1.6, 0.6},
    {5.1, 3.8, 1.9, 0.4},
    {4.8, 3, 1.4, 0.3},
    {5.1, 3.8, 1.6, 0.2},
    {4.6, 3.2, 1.4, 0.2},
    {5.3, 3.7, 1.5, 0.2},
    {5, 3.3, 1.4, 0.2},
    // versicolor
    {7, 3.2, 4.7, 1.4},
    {6.4, 3.2, 4.5, 1.5},
    {6.9, 3.1, 4.9, 1.5},
    {5.5, 2.3, 4, 1.3},
    {6.5, 2.8, 4.6, 1.5},
    {5.7, 2.8, 4.5, 1.3},
    {6.3, 3.3, 4.7, 1.6},
    {4.9, 2.4, 3.3, 1},
    {6.6, 2.9, 4.6, 1.3},
    {5.2, 2.7, 3.9, 1.4},
    {5, 2, 3.5, 1},
    {5.9, 3, 4.2, 1.5},
    {6, 2.2, 4, 1},
    {6.1, 2.9, 4.7, 1.4},
    {5.6, 2.9, 3.6, 1.3},
    {6.7, 3.1, 4.4, 1.4},
    {5.6, 3, 4.5, 1.5},
    {5.8, 2.7, 4.1, 1},
    {6.2, 2.2, 4.5, 1.5},
    {5.6, 2.5, 3.9, 1.1},
    {5.9, 3.2, 4.8, 1.8},
    {6.1, 2.8, 4, 1.3},
    {6.3, 2.5, 4.9, 1.5},
    {6.1, 2.8, 4.7, 1.2},
    {6.4, 2.9, 4.3, 1.3},
    {6.6, 3, 4.4, 1.4},
    {6.8, 2.8, 4.8, 1.4},
    {6.7, 3, 5, 1.7},
    {6, 2.9, 4.5, 1.5},
    {5.7, 2.6, 3.5, 1},
    {5.5, 2.4, 3.8, 1.1},
    {5.5, 2.4, 3.7, 1},
    {5.8, 2.7, 3.9, 1.2},
    {6, 2.7, 5.1, 1.6},
    {5.4, 3, 4.5, 1.5},
    {6, 3.4, 4.5, 1.6},
    {6.7, 3.1, 4.7, 1.5},
    {6.3, 2.3, 4.4, 1.3},
    {5.6, 3, 4.1, 1.3},
    {5.5, 2.5, 4, 1.3},
    {5.5, 2.6, 4.4, 1.2},
    {6.1, 3, 4.6, 1.4},
    {5.8, 2.6, 4, 1.2},
    {5, 2.3, 3.3, 1},
    {5.6, 2.7, 4.2, 1.3},
    {5.7, 3, 4.2, 1.2},
    {5.7, 2.9, 4.2, 1.3},
    {6.2, 2.9, 4.3, 1.3},
    {5.1, 2.5, 3, 1.1},
    {5.7, 2.8, 4.1, 1.3},
    // virginica
    {6.3, 3.3, 6, 2.5},
    {5.8, 2.7, 5.1, 1.9},
    {7.1, 3, 5.9, 2.1},
    {6.3, 2.9, 5.6, 1.8},
    {6.5, 3, 5.8, 2.2},
    {7.6, 3, 6.6, 2.1},
    {4.9, 2.5, 4.5, 1.7},
    {7.3, 2.9, 6.3, 1.8},
    {6.7, 2.5, 5.8, 1.8},
    {7.2, 3.6, 6.1, 2.5},
    {6.5, 3.2, 5.1, 2},
    {6.4, 2.7, 5.3, 1.9},
    {6.8, 3, 5.5, 2.1},
    {5.7, 2.5, 5, 2},
    {5.8, 2.8, 5.1, 2.4},
    {6.4, 3.2, 5.3, 2.3},
    {6.5, 3, 5.5, 1.8},
    {7.7, 3.8, 6.7, 2.2},
    {7.7, 2.6, 6.9, 2.3},
    {6, 2.2, 5, 1.5},
    {6.9, 3.2, 5.7, 2.3},
    {5.6, 2.8, 4.9, 2},
    {7.7, 2.8, 6.7, 2},
    {6.3, 2.7, 4.9, 1.8},
    {6.7, 3.3, 5.7, 2.1},
    {7.2, 3.2, 6, 1.8},
    {6.2, 2.8, 4.8, 1.8},
    {6.1, 3, 4.9, 1.8},
    {6.4, 2.8, 5.6, 2.1},
    {7.2, 3, 5.8, 1.6},
    {7.4, 2.8, 6.1, 1.9},
    {7.9, 3.8, 6.4, 2},
    {6.4, 2.8, 5.6, 2.2},
    {6.3, 2.8, 5.1, 1.5},
    {6.1, 2.6, 5.6, 1.4},
    {7.7, 3, 6.1, 2.3},
    {6.3, 3.4, 5.6, 2.4},
    {6.4, 3.1, 5.5, 1.8},
    {6, 3, 4.8, 1.8},
    {6.9, 3.1, 5.4, 2.1},
    {6.7, 3.1, 5.6, 2.4},
    {6.9, 3.1, 5.1, 2.3},
    {5.8, 2.7, 5.1, 1.9},
    {6.8, 3.2, 5.9, 2.3},
    {6.7, 3.3, 5.7, 2.5},
    {6.7, 3, 5.2, 2.3},
    {6.3, 2.5, 5, 1.9},
    {6.5, 3, 5.2, 2},
    {6.2, 3.4, 5.4, 2.3},
    {5.9, 3, 5.1, 1.8},
};
const char* kSpecies[3] = {"setosa", "versicolor", "virginica"};

DiscriminantData iris(int perSpecies = 50) {
  DiscriminantData d;
  d.p = 4;
  d.groupNames = {kSpecies[0], kSpecies[1], kSpecies[2]};
  for (int s = 0; s < 3; ++s)
    for (int i = 0; i < perSpecies; ++i) {
      d.x.insert(d.x.end(), kIris[50 * s + i], kIris[50 * s + i] + 4);
      d.group.push_back(s);
    }
  return d;
}

// Reference values from tests/geochem/iris_ref.R (R 4.2, MASS 7.3): the stepwise order with its
// F to enter and Wilks' lambda, and Fisher's classification functions with equal priors.
TEST(StepwiseDiscriminant, IrisSelectsAsRAndGivesThePublishedErrorRate) {
  const DiscriminantData d = iris();
  std::string failure;
  DiscriminantTree t = buildDiscriminantTree(d, LevelScheme::Single, "", {}, failure);
  ASSERT_TRUE(failure.empty());
  ASSERT_EQ(t.nodes.size(), 1u);
  const LdaModel& m = t.nodes[0].model;
  ASSERT_EQ(m.steps.size(), 4u);
  const int order[] = {2, 1, 3, 0};
  const double f[] = {1180.16118225298, 43.0354525144804, 34.5686857742194, 4.72115209042446};
  const double lambda[] = {0.058628280942632, 0.0368841109856321, 0.024975538152185,
                           0.0234386306508783};
  for (int s = 0; s < 4; ++s) {
    EXPECT_EQ(m.steps[s].variable, order[s]);
    EXPECT_TRUE(m.steps[s].entered);
    EXPECT_NEAR(m.steps[s].f / f[s], 1, 1e-10);
    EXPECT_NEAR(m.steps[s].lambda / lambda[s], 1, 1e-10);
  }
  EXPECT_LT(m.steps[3].p, 0.05);
  // functions over the variables in entering order (petal length, sepal width, petal width,
  // sepal length); R prints them by column
  const double c0[] = {-86.3084699736740, -72.85260740064217, -104.36831998644985};
  const double coef[3][4] = {
      {23.5441667229203, 23.5878704955898, -16.4306390229439, -17.3984107815644},
      {15.69820907603786, 7.07250983729563, 5.21145093416416, 6.43422920040658},
      {12.44584899377661, 3.68527961207533, 12.76654497353480, 21.07911301341852}};
  for (int g = 0; g < 3; ++g) {
    EXPECT_NEAR(m.functions[g][0], c0[g], 1e-9);
    for (int k = 0; k < 4; ++k)
      EXPECT_NEAR(m.functions[g][k + 1], coef[g][m.selected[k]], 1e-9) << g << " " << k;
  }
  ErrorRates e = discriminantErrors(d, t);
  EXPECT_EQ(e.resubErrors, 3);  // 2 versicolor as virginica, 1 virginica as versicolor
  EXPECT_EQ(e.confusion[1][2], 2);
  EXPECT_EQ(e.confusion[2][1], 1);
  EXPECT_EQ(e.confusion[0][0], 50);
  EXPECT_EQ(e.looErrors, 3);  // MASS::lda(CV = TRUE) gives the same table
}

TEST(StepwiseDiscriminant, LevelsSplitTheGroupsStepByStep) {
  const DiscriminantData d = iris();
  std::string failure;
  DiscriminantTree t = buildDiscriminantTree(d, LevelScheme::Automatic, "", {}, failure);
  ASSERT_EQ(t.nodes.size(), 2u);
  // setosa lies farthest from virginica; versicolor goes with virginica
  EXPECT_EQ(t.nodes[0].children, (std::vector<std::vector<int>>{{0}, {1, 2}}));
  EXPECT_EQ(t.nodes[0].sub, (std::vector<int>{-1, 1}));
  const LdaModel& m2 = t.nodes[1].model;
  ASSERT_EQ(m2.steps.size(), 4u);  // R: petal width, sepal width, petal length, sepal length
  EXPECT_EQ(m2.steps[0].variable, 3);
  EXPECT_NEAR(m2.steps[0].f / 213.901361271471, 1, 1e-10);
  EXPECT_EQ(m2.steps[1].variable, 1);
  EXPECT_NEAR(m2.steps[1].f / 13.3699035260937, 1, 1e-10);
  EXPECT_NEAR(m2.lambda / 0.216110297043672, 1, 1e-10);
  EXPECT_EQ(discriminantErrors(d, t).resubErrors, 3);  // MASS::lda at the second level: 2 + 1

  DiscriminantTree given =
      buildDiscriminantTree(d, LevelScheme::Given, "(setosa),(versicolor, virginica)", {}, failure);
  ASSERT_TRUE(failure.empty());
  EXPECT_EQ(given.nodes[0].children, t.nodes[0].children);
  for (const char* bad : {"(setosa),(versicolor)", "(setosa,versicolor,virginica,setosa)",
                          "(setosa),(versicolor,virginica", "setosa,(x,virginica)", ""}) {
    buildDiscriminantTree(d, LevelScheme::Given, bad, {}, failure);
    EXPECT_EQ(failure, kMsgDiscrimBadTree) << bad;
  }
}

// The downdated functions against a refit without each sample, all variables kept.
TEST(StepwiseDiscriminant, LeaveOneOutEqualsRefittingWithoutTheSample) {
  for (bool proportional : {false, true}) {
    DiscriminantData d = iris(12);
    d.group.resize(30);  // 12 setosa, 12 versicolor, 6 virginica
    d.x.resize(30 * 4);
    StepwiseLdaOptions o;
    o.fEnter = 1e-9;
    o.fRemove = 1e-10;
    o.proportionalPriors = proportional;
    std::string failure;
    DiscriminantTree t = buildDiscriminantTree(d, LevelScheme::Single, "", o, failure);
    ASSERT_EQ(t.nodes[0].model.selected.size(), 4u);
    ErrorRates e = discriminantErrors(d, t);
    for (std::size_t i = 0; i < d.group.size(); ++i) {
      DiscriminantData without = d;
      without.group.erase(without.group.begin() + static_cast<long>(i));
      without.x.erase(without.x.begin() + static_cast<long>(4 * i),
                      without.x.begin() + static_cast<long>(4 * i + 4));
      DiscriminantTree ti = buildDiscriminantTree(without, LevelScheme::Single, "", o, failure);
      ASSERT_EQ(ti.nodes[0].model.selected.size(), 4u);
      const int refit = classifySample(ti, &d.x[4 * i]);
      EXPECT_EQ(e.leaveOneOut[i], refit) << i;
    }
    EXPECT_GE(e.looErrors, e.resubErrors);
  }
}

class DiscriminantRun : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute(
        "Create Table [鸢尾] ([种] Text(20), [类] Single, [SL] Single, [SW] Single, "
        "[PL] Single, [PW] Single)");
    TableWriter w(db, "鸢尾", {"种", "类", "SL", "SW", "PL", "PW"});
    for (int i = 0; i < 150; ++i) {
      w.setText(0, i == 7 ? "" : kSpecies[i / 50]);  // one sample of unknown group
      w.setDouble(1, i / 50 + 1);
      for (int k = 0; k < 4; ++k) w.setDouble(2 + k, kIris[i][k]);
      w.addRow();
    }
    w.commit();
    db.execute("Create Table [待判] ([SL] Single, [SW] Single, [PL] Single, [PW] Single)");
    TableWriter p(db, "待判", {"SL", "SW", "PL", "PW"});
    const double rows[3][4] = {{5.0, 3.4, 1.5, 0.2}, {6.9, 3.1, 5.4, 2.1}, {6.0, 2.9, 4.5, 1.5}};
    for (const auto& r : rows) {
      for (int k = 0; k < 4; ++k) p.setDouble(k, r[k]);
      p.addRow();
    }
    for (int k = 0; k < 4; ++k) p.setDouble(k, k == 2 ? NULL_VALUE_D : 5.0);
    p.addRow();
    p.commit();
  }
  DiscriminantJob job(const std::string& group) {
    DiscriminantJob j;
    j.modelTable = "鸢尾";
    j.groupField = group;
    j.variables = {"SL", "SW", "PL", "PW"};
    j.predictionTable = "待判";
    return j;
  }
  std::vector<std::string> column(const std::string& sql) {
    std::vector<std::string> v;
    Cursor c = db.query(sql);
    while (c.next()) v.push_back(c.isNull(0) ? "<null>" : c.getText(0));
    return v;
  }
  TempDir tmp;
  Database db;
};

TEST_F(DiscriminantRun, PredictsIntoANewFieldOfTheGroupFieldsType) {
  DiscriminantResult r;
  ASSERT_TRUE(runDiscriminant(db, job("种"), r).ok);
  EXPECT_EQ(r.data.n(), 149);
  EXPECT_EQ(r.resultField, "种_P");
  EXPECT_EQ(r.predicted, 3);
  EXPECT_EQ(column("Select [种_P] From [待判]"),
            (std::vector<std::string>{"setosa", "virginica", "versicolor", ""}));

  DiscriminantResult n;
  DiscriminantJob j = job("类");
  j.scheme = LevelScheme::Automatic;
  ASSERT_TRUE(runDiscriminant(db, j, n).ok);
  EXPECT_EQ(n.data.groupNames, (std::vector<std::string>{"1", "2", "3"}));
  Cursor c = db.query("Select [类_P] From [待判]");
  std::vector<float> got;
  while (c.next()) got.push_back(c.getFloat(0));
  EXPECT_EQ(got, (std::vector<float>{1, 3, 2, NULL_VALUE}));
  EXPECT_EQ(n.errors.resubErrors, 3);
}

TEST_F(DiscriminantRun, RefusesWhatItCannotRun) {
  DiscriminantResult r;
  DiscriminantJob j = job("种");
  j.variables.push_back("种");
  EXPECT_EQ(runDiscriminant(db, j, r).message, kMsgDiscrimGroupIsVariable);
  j = job("种");
  j.options.fEnter = 1;
  j.options.fRemove = 2;
  EXPECT_EQ(runDiscriminant(db, j, r).message, kMsgDiscrimFValues);
  j = job("种");
  j.variables.clear();
  EXPECT_EQ(runDiscriminant(db, j, r).message, kMsgDiscrimNoVariables);
  db.execute("Update [鸢尾] Set [种] = 'setosa'");
  EXPECT_EQ(runDiscriminant(db, job("种"), r).message, kMsgDiscrimTooFewGroups);
  j = job("种");
  j.scheme = LevelScheme::Given;
  j.tree = "(a),(b)";
  db.execute("Update [鸢尾] Set [种] = 'b' Where [类] > 1");
  EXPECT_EQ(runDiscriminant(db, j, r).message, kMsgDiscrimBadTree);
}

}  // namespace
}  // namespace sarnoth::geochem
