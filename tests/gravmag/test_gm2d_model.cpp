// Section model edits and checks, and the forward sum over bodies and stations.
#include <gtest/gtest.h>

#include <cmath>

#include "gravmag/gm2d_forward.h"
#include "gravmag/section_model.h"

namespace sarnoth::gm2d {
namespace {

Body square(double x, double z, double side, const char* name = "B") {
  Body b;
  b.name = name;
  b.vertices = {{x, z}, {x + side, z}, {x + side, z + side}, {x, z + side}};
  b.density = 3.0;
  return b;
}

TEST(SectionModel, RefusesCrossedBoundariesAndVerticesAboveTheStations) {
  Body bow;
  bow.vertices = {{0, 100}, {100, 200}, {100, 100}, {0, 200}};  // a bow tie
  EXPECT_EQ(checkBody(bow).message, kMsgSelfIntersect);
  Body spike;
  spike.vertices = {{0, 100}, {100, 100}, {50, 100}};  // folds back on itself
  EXPECT_FALSE(checkBody(spike));
  EXPECT_EQ(checkBody(square(0, 100, 50)).ok, true);

  Model m;
  m.bodies.push_back(square(0, 100, 50));
  const std::vector<double> sx{0, 1000}, sh{-50, -150};  // surface z = 50 … 150, sloping down
  EXPECT_TRUE(checkModel(m, sx, sh));
  m.bodies[0].vertices[0] = {0, 40};  // 10 m above the station at x = 0
  EXPECT_EQ(checkModel(m, sx, sh).message, kMsgAboveStations);
  m.bodies[0].vertices[0] = {0, 50};  // on the surface is allowed
  EXPECT_TRUE(checkModel(m, sx, sh));
  EXPECT_DOUBLE_EQ(surfaceElevation(sx, sh, 500), -100);
  EXPECT_DOUBLE_EQ(surfaceElevation(sx, sh, -9), -50);  // constant beyond the ends
}

TEST(SectionModel, SplitAndMergeAreInverse) {
  Model m;
  Body hex;
  hex.name = "H";
  hex.vertices = {{0, 0}, {100, 0}, {150, 80}, {100, 160}, {0, 160}, {-50, 80}};
  hex.free = {0, 1, 2, 3, 0, 1};
  m.bodies.push_back(hex);
  const double area = std::abs(signedArea2(hex.vertices));
  ASSERT_TRUE(splitBody(m, 0, 1, 4));
  ASSERT_EQ(m.bodies.size(), 2u);
  EXPECT_EQ(m.bodies[0].vertices.size(), 4u);
  EXPECT_EQ(m.bodies[1].vertices.size(), 4u);
  EXPECT_NEAR(
      std::abs(signedArea2(m.bodies[0].vertices)) + std::abs(signedArea2(m.bodies[1].vertices)),
      area, 1e-9);
  // Neighbours or a chord outside the body are refused; the model stays.
  EXPECT_FALSE(splitBody(m, 0, 0, 1));
  ASSERT_TRUE(mergeBodies(m, 0, 1));
  ASSERT_EQ(m.bodies.size(), 1u);
  EXPECT_NEAR(std::abs(signedArea2(m.bodies[0].vertices)), area, 1e-9);
  EXPECT_EQ(m.bodies[0].vertices.size(), 6u);
  // Every vertex of the original is back, with its freedom.
  for (std::size_t k = 0; k < hex.vertices.size(); ++k) {
    bool found = false;
    for (std::size_t j = 0; j < 6; ++j)
      if (m.bodies[0].vertices[j] == hex.vertices[k]) {
        found = true;
        EXPECT_EQ(m.bodies[0].freedom(j), hex.free[k]);
      }
    EXPECT_TRUE(found) << k;
  }
  // A concave body's chord that leaves it.
  Model c;
  Body u;
  u.vertices = {{0, 0}, {30, 0}, {30, 100}, {70, 100}, {70, 0}, {100, 0}, {100, 150}, {0, 150}};
  c.bodies.push_back(u);
  EXPECT_FALSE(splitBody(c, 0, 1, 4));  // across the notch
  EXPECT_EQ(c.bodies.size(), 1u);
  // Bodies apart do not merge.
  Model two;
  two.bodies = {square(0, 0, 10), square(50, 0, 10)};
  EXPECT_FALSE(mergeBodies(two, 0, 1));
}

TEST(SectionModel, DragModesMoveWhatTheySay) {
  Model m;
  m.bodies = {square(0, 100, 100, "A"), square(100, 100, 100, "B")};  // contact along x = 100
  Model joined = m;
  ASSERT_TRUE(dragVertex(joined, 0, 1, {120, 90}, MoveMode::Joined));
  EXPECT_EQ(joined.bodies[0].vertices[1], (Point2{120, 90}));
  EXPECT_EQ(joined.bodies[1].vertices[0], (Point2{120, 90}));  // the contact stays closed

  Model sep = m;
  ASSERT_TRUE(dragVertex(sep, 0, 1, {120, 90}, MoveMode::Separate));
  EXPECT_EQ(sep.bodies[1].vertices[0], (Point2{100, 100}));

  Model whole = m;
  ASSERT_TRUE(dragVertex(whole, 1, 2, {250, 230}, MoveMode::Whole));
  EXPECT_EQ(whole.bodies[1].vertices[0], (Point2{150, 130}));

  Model stretch = m;
  ASSERT_TRUE(dragVertex(stretch, 0, 2, {150, 300}, MoveMode::Stretch));
  EXPECT_EQ(stretch.bodies[0].vertices[0], (Point2{0, 100}));  // the far corner stays
  EXPECT_EQ(stretch.bodies[0].vertices[2], (Point2{150, 300}));
  EXPECT_EQ(stretch.bodies[0].vertices[1], (Point2{150, 100}));

  Model locked = m;
  ASSERT_TRUE(dragVertex(locked, 0, 1, {120, 90}, MoveMode::Locked));
  EXPECT_EQ(locked.bodies[0].vertices[1], (Point2{100, 100}));

  // A drag that crosses the boundary is refused and changes nothing.
  Model crossed = m;
  EXPECT_EQ(dragVertex(crossed, 0, 1, {50, 300}, MoveMode::Separate).message, kMsgSelfIntersect);
  EXPECT_EQ(crossed.bodies[0].vertices[1], (Point2{100, 100}));

  History h;
  Model cur = m;
  h.push(cur);
  ASSERT_TRUE(dragVertex(cur, 0, 1, {120, 90}, MoveMode::Joined));
  ASSERT_TRUE(h.undo(cur));
  EXPECT_EQ(cur.bodies[0].vertices[1], (Point2{100, 100}));
  ASSERT_TRUE(h.redo(cur));
  EXPECT_EQ(cur.bodies[0].vertices[1], (Point2{120, 90}));
  EXPECT_FALSE(h.canRedo());
}

TEST(SectionModel, ScalingAndVertexEditsKeepTheBodyValid) {
  Model m;
  m.bodies = {square(0, 100, 100)};
  ASSERT_TRUE(scaleBodies(m, {0}, 2.0, 0.5, 10, 0));
  EXPECT_EQ(m.bodies[0].vertices[0], (Point2{-40, 125}));
  EXPECT_EQ(m.bodies[0].vertices[2], (Point2{160, 175}));
  EXPECT_FALSE(scaleBodies(m, {0}, 0, 1, 0, 0));
  Body b = square(0, 0, 10);
  ASSERT_TRUE(insertVertex(b, 0, {5, -3}));
  EXPECT_EQ(b.vertices.size(), 5u);
  EXPECT_FALSE(insertVertex(b, 0, {5, 20}));  // would cross the far edge
  ASSERT_TRUE(deleteVertex(b, 1));
  ASSERT_TRUE(deleteVertex(b, 0));
  EXPECT_EQ(deleteVertex(b, 0).message, kMsgTooFewVertices);
}

TEST(Forward, SumsBodiesAndTrendAndDoesNotDependOnTheThreads) {
  Model m;
  m.bodies = {square(-300, 200, 250, "A"), square(400, 500, 300, "B")};
  m.bodies[1].density = 2.3;
  m.bodies[0].susceptibility = 0.02;
  m.bodies[1].remanence = 1.2;
  m.bodies[1].remInclination = -30;
  m.bodies[1].halfStrike = 900;
  m.gravityTrend.c = {1.5, -0.25};
  m.gravityTrend.x0 = -2000;
  std::vector<double> x, h;
  for (int i = 0; i < 301; ++i) {
    x.push_back(-3000 + 20.0 * i);
    h.push_back(100 + 30 * std::sin(i * 0.05));
  }
  for (FieldKind f : {FieldKind::Gravity, FieldKind::Magnetic}) {
    ForwardOptions one, many;
    one.threads = 1;
    many.threads = 4;
    one.perBody = many.perBody = true;
    const ForwardResult a = computeField(m, x, h, f, one), b = computeField(m, x, h, f, many);
    ASSERT_EQ(a.total, b.total);  // bit for bit
    for (std::size_t i = 0; i < x.size(); ++i)
      EXPECT_NEAR(a.total[i], a.perBody[0][i] + a.perBody[1][i] + a.trend[i], 1e-12);
  }
  const ForwardResult g = computeField(m, x, h, FieldKind::Gravity);
  EXPECT_DOUBLE_EQ(g.trend[50], 1.5 - 0.25 * ((x[50] + 2000) / 1000));
  // The background density cancels a body of the same density.
  m.backgroundDensity = 3.0;
  const ForwardResult bg = computeField(m, x, h, FieldKind::Gravity, {true, 1});
  for (double v : bg.perBody[0]) EXPECT_EQ(v, 0.0);
}

}  // namespace
}  // namespace sarnoth::gm2d
