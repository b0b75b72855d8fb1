// The gridding engine: geometry, the node rules of the point-driven methods on hand-checked
// layouts, the azimuth search, rounding, and whole runs on the demo work area.
#include "prep/gridding.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "workarea/demo_area.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

constexpr float N = NULL_VALUE;

// A grid of `cols` × `rows` unit cells with its origin at (0, 0).
GriddingJob unitJob(GridMethod m, int cols, int rows, float rx, bool circle = true) {
  GriddingJob job;
  job.method = m;
  job.geometry.xLeft = 0;
  job.geometry.yBottom = 0;
  job.geometry.dx = 1;
  job.geometry.dy = 1;
  job.geometry.columns = cols;
  job.geometry.rows = rows;
  job.geometry.xJust = static_cast<float>(cols - 1);
  job.geometry.yJust = static_cast<float>(rows - 1);
  job.rx = rx;
  job.ry = rx;
  job.circle = circle;
  return job;
}

GridComputation grid(const GriddingJob& job, std::vector<ScatterPoint> pts,
                     GriddingSettings set = {}) {
  VectorPointSource src(std::move(pts));
  return computeGrid(src, job, set);
}

float at(const GridComputation& g, const GriddingJob& job, int r, int c) {
  return g.nodes[static_cast<std::size_t>(r) * job.geometry.columns + c];
}

TEST(GriddingGeometry, CountsAndAdjustedBounds) {
  EXPECT_EQ(gridCount(0, 10, 2), 6);  // 5 + 1.9999
  EXPECT_EQ(gridCount(0, 9, 2), 6);   // 4.5 + 1.9999 cut to 6
  EXPECT_EQ(gridCount(0, 10, 3), 5);
  EXPECT_EQ(gridCount(500000, 520000, 2000), 11);
  EXPECT_FALSE(gridCount(0, 10, 0));
  EXPECT_FALSE(gridCount(0, 10, -1));
  EXPECT_FALSE(gridCount(0, 1e6f, 1));  // beyond the 16-bit field
  EXPECT_FLOAT_EQ(adjustedBound(0, 2, 6), 10);
  EXPECT_FLOAT_EQ(adjustedBound(0, 3, 5), 12);
}

TEST(GriddingGeometry, FieldChoiceFollowsCoordinateNames) {
  auto f = [](const char* n, JetType t = JetType::Single) { return FieldDef{n, t, 0}; };
  FieldChoice a = chooseGridFields(
      {f("样号", JetType::Text), f("Au"), f("横坐标"), f("纵坐标"), f("Cu", JetType::Long)});
  ASSERT_TRUE(a.outcome);
  EXPECT_EQ(a.numericFields, (std::vector<std::string>{"Au", "横坐标", "纵坐标", "Cu"}));
  EXPECT_EQ(a.x, 1);
  EXPECT_EQ(a.y, 2);
  EXPECT_EQ(a.value, 3);
  // y last: the value wraps to item 0
  FieldChoice b = chooseGridFields({f("Au"), f("工作横坐标"), f("工作纵坐标")});
  EXPECT_EQ(b.value, 0);
  // no coordinate names: items 0, 1, 2
  FieldChoice c = chooseGridFields({f("a"), f("b"), f("c"), f("d")});
  EXPECT_EQ(c.x, 0);
  EXPECT_EQ(c.y, 1);
  EXPECT_EQ(c.value, 2);
  EXPECT_EQ(chooseGridFields({f("a"), f("b")}).outcome.message, kMsgFewFields);
  FieldChoice d = chooseGridFields({f("a"), f("b"), f("t", JetType::Text)});
  EXPECT_EQ(d.outcome.message, kMsgNotGriddable);
  EXPECT_TRUE(d.numericFields.empty());
}

TEST(GriddingSettingsTest, MethodChoiceResetsLimits) {
  GriddingSettings s;
  s.minNodePoints = 7;
  s.maxNodePoints = 9;
  s.onMethodSelected(GridMethod::Mean);
  EXPECT_EQ(s.minNodePoints, 3);
  EXPECT_EQ(s.maxNodePoints, 6);
  s.onMethodSelected(GridMethod::Sum);
  EXPECT_EQ(s.minNodePoints, 1);
  s.highValueCap = 5;
  s.onValueFieldSelected();
  EXPECT_EQ(s.highValueCap, NULL_VALUE);
}

TEST(PlainAccumulation, NearestExactHitEndsTheRecordAndTiesKeepTheEarlier) {
  GriddingJob job = unitJob(GridMethod::Nearest, 3, 3, 1.0f);
  // On node (1, 1): in window order (0,1) and (1,0) see it at distance 1, then the exact hit
  // ends the record, so (1,2) and (2,1) never do.
  GridComputation g = grid(job, {{1, 1, 5}});
  ASSERT_TRUE(g.outcome) << g.outcome.message;
  EXPECT_EQ(at(g, job, 0, 1), 5);
  EXPECT_EQ(at(g, job, 1, 0), 5);
  EXPECT_EQ(at(g, job, 1, 1), 5);
  EXPECT_EQ(at(g, job, 1, 2), N);
  EXPECT_EQ(at(g, job, 2, 1), N);
  EXPECT_EQ(at(g, job, 0, 0), N);  // √2 is outside the circle
  EXPECT_EQ(g.validCount, 3);
  ASSERT_EQ(g.nodes.size(), 10u);
  EXPECT_EQ(g.nodes.back(), 0.0f);  // the spare last element

  // Two points at the same distance from (0, 1): the earlier one stays; a nearer one wins.
  g = grid(job, {{0.5f, 1, 7}, {-0.5f, 1, 9}, {1, 0.25f, 3}});
  EXPECT_EQ(at(g, job, 1, 0), 7);
  EXPECT_EQ(at(g, job, 0, 1), 3);
  // A later non-exact record never displaces an exact hit.
  g = grid(job, {{1, 1, 5}, {1.1f, 1, 8}});
  EXPECT_EQ(at(g, job, 1, 1), 5);
}

TEST(PlainAccumulation, MeanAndSumNullRule) {
  std::vector<ScatterPoint> pts{{0, 0, 1}, {0.5f, 0, 2}, {0, 0.5f, 3}, {2, 2, 10}};
  GriddingJob job = unitJob(GridMethod::Mean, 3, 3, 1.0f);
  GridComputation g = grid(job, pts);  // minNodePoints 3 by default
  EXPECT_FLOAT_EQ(at(g, job, 0, 0), 2.0f);
  EXPECT_EQ(at(g, job, 0, 1), N);  // two points only
  EXPECT_EQ(at(g, job, 2, 2), N);
  EXPECT_EQ(g.validCount, 1);

  job.method = GridMethod::Sum;
  GriddingSettings sum;
  sum.onMethodSelected(GridMethod::Sum);
  g = grid(job, pts, sum);
  EXPECT_FLOAT_EQ(at(g, job, 0, 0), 6.0f);
  EXPECT_FLOAT_EQ(at(g, job, 0, 1), 3.0f);  // (0,0) and (0.5,0) at distance ≤ 1
  EXPECT_FLOAT_EQ(at(g, job, 2, 2), 10.0f);
  EXPECT_EQ(at(g, job, 1, 2), 10.0f);
  EXPECT_EQ(at(g, job, 0, 2), N);  // no point
  EXPECT_FLOAT_EQ(g.zMax, 10.0f);
}

TEST(PlainAccumulation, InverseDistanceExponentIsOneOrTwo) {
  std::vector<ScatterPoint> pts{{0.5f, 0, 10}, {0, 0.25f, 20}, {0.25f, 0.25f, 40}};
  GriddingSettings set;
  set.minNodePoints = 1;
  GriddingJob job = unitJob(GridMethod::InverseDistance, 2, 2, 1.0f);
  auto node00 = [&](float par) {
    job.par = par;
    GridComputation g = grid(job, pts, set);
    return at(g, job, 0, 0);
  };
  const float d2 = node00(2);
  EXPECT_EQ(node00(3), d2);
  EXPECT_EQ(node00(0.5f), d2);
  // 1/d²: d² = 0.25, 0.0625, 0.125
  EXPECT_NEAR(d2, (10 / 0.25 + 20 / 0.0625 + 40 / 0.125) / (1 / 0.25 + 1 / 0.0625 + 1 / 0.125),
              1e-4);
  const double r = std::sqrt(0.125);
  EXPECT_NEAR(node00(1), (10 / 0.5 + 20 / 0.25 + 40 / r) / (1 / 0.5 + 1 / 0.25 + 1 / r), 1e-4);
}

TEST(PlainAccumulation, InverseDistanceExactHitIsUnguarded) {
  GriddingJob job = unitJob(GridMethod::InverseDistance, 3, 1, 1.0f);
  job.par = 2;
  // The exact hit on (0,0) ends its record before (0,1) is reached. Count -1 is below the
  // minimum but negative, so the value stays.
  GridComputation g = grid(job, {{0, 0, 7}});
  EXPECT_EQ(at(g, job, 0, 0), 7);
  EXPECT_EQ(at(g, job, 0, 1), N);
  EXPECT_EQ(g.validCount, 1);
  // A later record adds to the hit node unguarded: its count climbs to 0, not negative any
  // more, and the node turns null; the later record's own exact hit on (0,1) stays.
  g = grid(job, {{0, 0, 7}, {1, 0, 3}});
  EXPECT_EQ(at(g, job, 0, 0), N);
  EXPECT_EQ(at(g, job, 0, 1), 3);
}

TEST(PlainAccumulation, ExponentialWeights) {
  GriddingJob job = unitJob(GridMethod::Exponential, 1, 1, 2.0f);
  job.par = 5;
  GriddingSettings set;
  set.minNodePoints = 2;
  GridComputation g = grid(job, {{0, 0, 4}, {1, 0, 10}}, set);
  const double w1 = std::exp(0.0), w2 = std::exp(5 * 1.0 / 2.0);
  EXPECT_NEAR(at(g, job, 0, 0), (4 / w1 + 10 / w2) / (1 / w1 + 1 / w2), 1e-5);
  set.minNodePoints = 3;
  g = grid(job, {{0, 0, 4}, {1, 0, 10}}, set);
  EXPECT_EQ(at(g, job, 0, 0), N);
}

TEST(PlainAccumulation, CircleAndRectangleEdges) {
  GriddingSettings set;
  set.minNodePoints = 1;
  GriddingJob job = unitJob(GridMethod::Sum, 3, 3, 1.0f, true);
  // At distance exactly rx: in. A corner at (1, 1) from node (0, 0) is √2: out of the circle.
  GridComputation g = grid(job, {{1, 0, 1}}, set);
  EXPECT_EQ(at(g, job, 0, 0), 1);
  EXPECT_EQ(at(g, job, 0, 2), 1);
  EXPECT_EQ(at(g, job, 1, 1), 1);
  EXPECT_EQ(at(g, job, 1, 0), N);
  // The rectangle takes the corners; ry applies only to it.
  job.circle = false;
  job.ry = 0.5f;
  g = grid(job, {{1, 0.5f, 1}}, set);
  EXPECT_EQ(at(g, job, 0, 0), 1);
  EXPECT_EQ(at(g, job, 1, 2), 1);
  EXPECT_EQ(at(g, job, 2, 1), N);
  // With the circle the y radius is the x radius whatever ry holds.
  job.circle = true;
  g = grid(job, {{1, 1.9f, 1}}, set);
  EXPECT_EQ(at(g, job, 1, 1), 1);
  // A point beyond the grid still reaches the nodes within its radius.
  g = grid(job, {{-0.5f, 1, 1}}, set);
  EXPECT_EQ(at(g, job, 1, 0), 1);
  EXPECT_EQ(at(g, job, 1, 1), N);
}

TEST(PlainAccumulation, NullsCapAndFailures) {
  GriddingSettings set;
  set.minNodePoints = 1;
  GriddingJob job = unitJob(GridMethod::Mean, 2, 2, 1.0f);
  // A null-only value field: every node null, the limits at their start values.
  GridComputation g = grid(job, {{0, 0, N}, {1, 1, N}}, set);
  ASSERT_TRUE(g.outcome);
  for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(g.nodes[k], N);
  EXPECT_EQ(g.zMin, 1e38f);
  EXPECT_EQ(g.zMax, -1e38f);
  EXPECT_EQ(g.validCount, 0);
  // The cap replaces values above it.
  set.highValueCap = 5;
  g = grid(job, {{0, 0, 100}}, set);
  EXPECT_EQ(at(g, job, 0, 0), 5);
  // A null coordinate with a value overflows the window bounds: the tool's error.
  g = grid(job, {{N, 0, 3}}, set);
  EXPECT_FALSE(g.outcome);
  EXPECT_EQ(g.outcome.message, kMsgGriddingFailed);
  // A null value with a null coordinate is skipped before the coordinates are looked at.
  g = grid(job, {{N, N, N}, {0, 0, 2}}, set);
  EXPECT_TRUE(g.outcome);
  // A minimum of 0 makes the mean divide by zero.
  set.minNodePoints = 0;
  g = grid(job, {{0, 0, 2}}, set);
  EXPECT_EQ(g.outcome.message, kMsgGriddingFailed);
}

TEST(AzimuthSearch, SectorsLockAndIndexMapping) {
  GriddingSettings set;
  set.minNodePoints = 1;
  GriddingJob job = unitJob(GridMethod::Mean, 3, 3, 0.6f);
  job.azimuth = true;
  job.sectors = 8;
  // North of node (1,1): sx = 0, passed over there and at (2,1). East and west points fill
  // sectors 0 and 3 of node (1,1).
  GridComputation g = grid(job, {{1, 1.5f, 100}}, set);
  EXPECT_EQ(at(g, job, 1, 1), N);
  EXPECT_EQ(at(g, job, 2, 1), N);
  g = grid(job, {{1.5f, 1, 10}, {0.75f, 1, 30}, {1, 1.5f, 100}}, set);
  EXPECT_FLOAT_EQ(at(g, job, 1, 1), 20);  // mean of two filled sectors, the north point not
  EXPECT_FLOAT_EQ(at(g, job, 1, 2), 10);  // west of (1,2): angle 180, sector 3
  // Two points in one sector: the nearer stays.
  g = grid(job, {{1.5f, 1, 10}, {1.25f, 1.05f, 50}}, set);
  EXPECT_FLOAT_EQ(at(g, job, 1, 1), 50);

  // Index 2 (listed as the median) combines with 1/d.
  job.method = GridMethod::Median;
  g = grid(job, {{1.5f, 1, 10}, {0.75f, 1, 30}}, set);
  EXPECT_NEAR(at(g, job, 1, 1), (10 / 0.5 + 30 / 0.25) / (1 / 0.5 + 1 / 0.25), 1e-4);
  // Index 4 (listed as the exponential) combines nothing: entry k·S (sector 0) stays, uncounted.
  job.method = GridMethod::Exponential;
  g = grid(job, {{1.5f, 1, 10}, {0.75f, 1, 30}}, set);
  EXPECT_EQ(at(g, job, 1, 1), 10);
  EXPECT_EQ(at(g, job, 1, 2), N);  // the east point sits in sector 3 of (1,2): not written out
  EXPECT_EQ(g.validCount, 0);
  EXPECT_EQ(g.zMin, 1e38f);

  // An exact hit locks the node; a later record reaching it ends there and misses (1,2).
  job.method = GridMethod::Mean;
  g = grid(job, {{1, 1, 7}, {1.5f, 1, 10}}, set);
  EXPECT_EQ(at(g, job, 1, 1), 7);
  EXPECT_EQ(at(g, job, 1, 2), N);
  // Fewer filled sectors than the minimum: null.
  set.minNodePoints = 3;
  g = grid(job, {{1.5f, 1, 10}, {0.75f, 1, 30}}, set);
  EXPECT_EQ(at(g, job, 1, 1), N);
}

TEST(AzimuthSearch, SectorBoundariesFollowTheAngleRule) {
  GriddingSettings set;
  set.minNodePoints = 1;
  GriddingJob job = unitJob(GridMethod::Mean, 1, 1, 2.0f);
  job.azimuth = true;
  job.sectors = 4;
  // From node (0,0): (1, 0.001) → angle ≈ 0.057° sector 0; (-1, -0.001) → 180.06° sector 2;
  // (1, -1) → 315° sector 3; (0.5, 0.5) → 45° sector 0 again (nearer than the first: wins).
  GridComputation g = grid(job, {{1, 0.001f, 1}, {-1, -0.001f, 2}, {1, -1, 4}}, set);
  EXPECT_FLOAT_EQ(at(g, job, 0, 0), (1 + 2 + 4) / 3.0f);
  g = grid(job, {{1, 0.001f, 1}, {-1, -0.001f, 2}, {1, -1, 4}, {0.5f, 0.5f, 10}}, set);
  EXPECT_FLOAT_EQ(at(g, job, 0, 0), (10 + 2 + 4) / 3.0f);
}

TEST(AzimuthSearch, SectorLookupAgreesWithTheAngleRule) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<float> u(-3, 3);
  std::uniform_int_distribution<int> e(-30, 30);
  for (int S : {4, 8, 16, 32}) {
    SectorRule rule(S);
    auto check = [&](float sx, float sy) {
      ASSERT_EQ(rule.lookup(sx, sy), rule.direct(sx, sy)) << S << " " << sx << " " << sy;
    };
    for (int i = 0; i < 200000; ++i) {
      float sx = std::ldexp(u(rng), e(rng)), sy = std::ldexp(u(rng), e(rng));
      if (sx != 0) check(sx, sy);
    }
    // On and next to the axes and the diagonals, where the sectors change.
    for (float sx : {1.0f, -1.0f, 1e-30f, -1e-30f, 3.5f})
      for (float sy : {0.0f, -0.0f, 1e-38f, -1e-38f, 1.0f, -1.0f, 1e30f, -1e30f, 0.41421356f,
                       std::nextafter(1.0f, 2.0f), std::nextafter(-1.0f, -2.0f)})
        check(sx, sy * std::fabs(sx));
  }
  SectorRule eight(8);
  EXPECT_EQ(eight.direct(1, 0), 0);
  EXPECT_EQ(eight.direct(-1, 0), 3);  // 180° lies just inside sector 3 (179.999 / 45)
  EXPECT_EQ(eight.direct(1, -1), 6);  // 315°
  EXPECT_EQ(eight.direct(1, 1), 0);   // 45.0001° less 0.001 stays in sector 0
  EXPECT_EQ(eight.direct(1, -1e-9f), 7);
}

TEST(Rounding, HalfAwayFromZeroThroughText) {
  EXPECT_EQ(roundThroughText(2.5f, 0), 3.0f);
  EXPECT_EQ(roundThroughText(-2.5f, 0), -3.0f);
  EXPECT_EQ(roundThroughText(0.125f, 2), 0.13f);
  EXPECT_EQ(roundThroughText(1.23456f, 2), 1.23f);
  EXPECT_EQ(roundThroughText(9.99996f, 4), 10.0f);
  EXPECT_EQ(roundThroughText(1.23456f, 5), 1.23456f);
  EXPECT_EQ(roundThroughText(1.23456f, -1), 1.23456f);
  GriddingSettings set;
  set.minNodePoints = 1;
  set.roundDecimals = 1;
  GriddingJob job = unitJob(GridMethod::Mean, 2, 1, 0.5f);
  GridComputation g = grid(job, {{0, 0, 1.26f}}, set);
  EXPECT_EQ(g.nodes[0], 1.3f);
  EXPECT_EQ(g.nodes[1], N);
  EXPECT_EQ(g.zMax, 1.3f);
  EXPECT_EQ(g.zMin, 1.3f);
}

// ---- whole runs ------------------------------------------------------------------------------

// The engine owns the defaults of the method parameter and the parsing of txtPars: both front
// ends call it, and "abc" is no number.
TEST(GriddingParameters, DefaultsAndKrigingParameterParsing) {
  EXPECT_EQ(methodDefaultParameter(GridMethod::InverseDistance), 2.0f);
  EXPECT_EQ(methodDefaultParameter(GridMethod::Exponential), 5.0f);
  EXPECT_EQ(methodDefaultParameter(GridMethod::Kriging), 6.0f);
  EXPECT_FALSE(methodDefaultParameter(GridMethod::Sum));
  EXPECT_EQ(parseKrigingParams(" 20, 40.5 ,60"), (std::vector<float>{20, 40.5f, 60}));
  EXPECT_EQ(parseKrigingParams("  "), std::vector<float>{});
  for (const char* bad : {"20,abc,60", "20,,60", "20,4x", "1e99"})
    EXPECT_FALSE(parseKrigingParams(bad)) << bad;
}

// Records the progress as a window sees it; stops when told to.
class WatchingProgress : public Progress {
 public:
  explicit WatchingProgress(int stopAtPump = -1) : stopAt_(stopAtPump) {}
  void setValue(std::int64_t v) override {
    Progress::setValue(v);
    if (v > 0 && v < maximum()) ++midValues;
  }
  bool pump() override {
    ++pumps;
    return pumps != stopAt_;
  }
  int pumps = 0, midValues = 0;

 private:
  int stopAt_;
};

// Points spread over a grid, each with a search window of a few thousand nodes, so that a run
// lasts a good part of a second although the table is small.
std::vector<ScatterPoint> spreadPoints(int n, int cols, int rows) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> ux(0, static_cast<float>(cols - 1)),
      uy(0, static_cast<float>(rows - 1)), uv(0, 100);
  std::vector<ScatterPoint> pts(static_cast<std::size_t>(n));
  for (auto& p : pts) p = {ux(rng), uy(rng), uv(rng)};
  return pts;
}

// A table under 8,192 rows moves the bar and lets events through while it is read, at least
// every 100 ms; a pump that answers "stop" ends the run with nothing to say.
TEST(GriddingProgress, SmallTablesMoveTheBarAndEveryRunCanBeStopped) {
  GriddingJob job = unitJob(GridMethod::Mean, 600, 600, 60);
  std::vector<ScatterPoint> pts = spreadPoints(8000, 600, 600);
  WatchingProgress watch;
  const auto t0 = std::chrono::steady_clock::now();
  VectorPointSource src(pts);
  GridComputation g = computeGrid(src, job, {}, watch);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  ASSERT_TRUE(g.outcome.ok);
  // At least four times a second, however loaded the machine.
  EXPECT_GE(watch.pumps, static_cast<int>(seconds / 0.25) - 1) << seconds << " s";
  if (seconds > 0.3) {
    EXPECT_GT(watch.midValues, 0) << seconds << " s";
  }

  WatchingProgress stop(1);
  VectorPointSource again(pts);
  GridComputation s = computeGrid(again, job, {}, stop);
  EXPECT_FALSE(s.outcome.ok);
  EXPECT_TRUE(s.outcome.message.empty());
  EXPECT_TRUE(s.nodes.empty());
}

// Kriging reports its rows as the worker threads solve them, and can be stopped mid-way.
TEST(GriddingProgress, KrigingReportsRowsAndStops) {
  GriddingJob job = unitJob(GridMethod::Kriging, 150, 150, 10);
  job.par = 16;
  std::vector<ScatterPoint> pts = spreadPoints(3000, 150, 150);
  WatchingProgress watch;
  VectorPointSource src(pts);
  GridComputation g = computeGrid(src, job, {}, watch);
  ASSERT_TRUE(g.outcome.ok);
  EXPECT_GE(watch.pumps, 1);
  EXPECT_EQ(watch.maximum(), 150);  // the node rows
  WatchingProgress stop(1);
  VectorPointSource again(pts);
  GridComputation s = computeGrid(again, job, {}, stop);
  EXPECT_FALSE(s.outcome.ok);
  EXPECT_TRUE(s.outcome.message.empty());
}

// Points in no order over a 90 x 70 grid: a quarter land exactly on nodes (integer coordinates,
// some nodes hit twice) so that records end early and lock nodes, the rest fall anywhere.
std::vector<ScatterPoint> mixedPoints(int n) {
  std::mt19937 rng(20240601);
  std::uniform_real_distribution<float> ux(-3, 93), uy(-3, 73), uv(-50, 150);
  std::uniform_int_distribution<int> ix(0, 89), iy(0, 69);
  std::vector<ScatterPoint> pts;
  for (int i = 0; i < n; ++i) {
    if (i % 4 == 0)
      pts.push_back({static_cast<float>(ix(rng)), static_cast<float>(iy(rng)), uv(rng)});
    else
      pts.push_back({ux(rng), uy(rng), uv(rng)});
  }
  return pts;
}

bool sameBits(const GridComputation& a, const GridComputation& b) {
  return a.nodes.size() == b.nodes.size() &&
         std::memcmp(a.nodes.data(), b.nodes.data(), a.nodes.size() * sizeof(float)) == 0 &&
         floatBits(a.zMin) == floatBits(b.zMin) && floatBits(a.zMax) == floatBits(b.zMax) &&
         a.validCount == b.validCount;
}

// The point-driven methods on row bands and, within a band, sub-bands scattered one after the
// other: every node sees the records in table order, and the early ends (exact hits, locked
// nodes) fall where one thread has them, so any split gives the grid of one thread taking the
// records straight through, bit for bit, whatever the method, region or sector count.
TEST(ParallelGridding, BandsGiveTheOneThreadGridBitForBit) {
  const std::vector<ScatterPoint> pts = mixedPoints(6000);
  struct Case {
    GridMethod method;
    float par;
    bool circle, azimuth;
    int sectors;
  };
  const Case cases[] = {{GridMethod::Nearest, 0, true, false, 8},
                        {GridMethod::Mean, 0, false, false, 8},
                        {GridMethod::InverseDistance, 2, true, false, 8},
                        {GridMethod::InverseDistance, 1, false, false, 8},
                        {GridMethod::Exponential, 5, true, false, 8},
                        {GridMethod::Sum, 0, true, false, 8},
                        {GridMethod::Mean, 0, true, true, 8},
                        {GridMethod::Median, 0, false, true, 4},  // index 2: inverse distance
                        {GridMethod::InverseDistance, 3, true, true, 16},
                        {GridMethod::Exponential, 0, true, true, 32}};
  for (const Case& k : cases) {
    GriddingJob job = unitJob(k.method, 90, 70, 3.5f, k.circle);
    job.ry = 2.5f;
    job.par = k.par;
    job.azimuth = k.azimuth;
    job.sectors = k.sectors;
    GriddingSettings set;
    set.onMethodSelected(k.method);
    job.threads = 1;
    job.subBandRows = 70;  // the whole grid: no split at all
    const GridComputation one = grid(job, pts, set);
    ASSERT_TRUE(one.outcome.ok) << one.outcome.message;
    EXPECT_GT(one.validCount, 300) << static_cast<int>(k.method);
    // (threads, sub-band rows): one row, fewer rows than a search window, uneven remainders, and
    // the default (the whole band at this size).
    for (auto [threads, sub] : {std::pair{1, 1}, {1, 3}, {2, 0}, {2, 1}, {3, 5}, {7, 2}}) {
      job.threads = threads;
      job.subBandRows = sub;
      EXPECT_TRUE(sameBits(one, grid(job, pts, set)))
          << static_cast<int>(k.method) << (k.azimuth ? " azimuth " : " plain ") << threads
          << " threads, sub-bands of " << sub;
    }
  }
}

// Kriging and median solve node by node on worker threads: the grid does not depend on how many.
TEST(ParallelGridding, KrigingAndMedianDoNotDependOnTheThreads) {
  const std::vector<ScatterPoint> pts = mixedPoints(1500);
  for (GridMethod m : {GridMethod::Kriging, GridMethod::Median}) {
    GriddingJob job = unitJob(m, 60, 45, 4);
    job.par = 12;
    job.threads = 1;
    const GridComputation one = grid(job, pts);
    ASSERT_TRUE(one.outcome.ok) << one.outcome.message;
    job.threads = 3;
    EXPECT_TRUE(sameBits(one, grid(job, pts))) << static_cast<int>(m);
  }
}

class GriddingRun : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // One directory per process: ctest runs the cases of this suite side by side.
    dir_ = std::filesystem::temp_directory_path() /
           ("sarnoth_gridding_test_" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    ASSERT_TRUE(createDemoWorkArea(dir_.string()));
    work_ = withTrailingSeparator(dir_.string());
  }
  static void TearDownTestSuite() { std::filesystem::remove_all(dir_); }

  GriddingJob demoJob(const std::string& value, GridMethod m) {
    Database db = openWorkDatabase(work_);
    auto ex = autoAxisExtent(db, kDemoSedimentTable, "横坐标");
    auto ey = autoAxisExtent(db, kDemoSedimentTable, "纵坐标");
    EXPECT_TRUE(ex.outcome && ey.outcome);
    GriddingJob job;
    job.table = kDemoSedimentTable;
    job.xField = "横坐标";
    job.yField = "纵坐标";
    job.valueField = value;
    job.outputName = value;
    job.method = m;
    job.par = m == GridMethod::Kriging ? 12 : 2;
    job.geometry.xLeft = ex.extent.min;
    job.geometry.yBottom = ey.extent.min;
    job.geometry.dx = job.geometry.dy = 250;
    job.geometry.columns = *gridCount(ex.extent.min, ex.extent.max, 250);
    job.geometry.rows = *gridCount(ey.extent.min, ey.extent.max, 250);
    job.geometry.xJust = adjustedBound(ex.extent.min, 250, job.geometry.columns);
    job.geometry.yJust = adjustedBound(ey.extent.min, 250, job.geometry.rows);
    job.rx = job.ry = 2.5f * 250;
    return job;
  }

  // Easting and northing of the largest node.
  static std::pair<double, double> peak(const Grid& g) {
    std::size_t best = 0;
    for (std::size_t k = 0; k < static_cast<std::size_t>(g.header.nx) * g.header.ny; ++k)
      if (g.nodes[k] > g.nodes[best]) best = k;
    return {g.header.x0 + g.header.dx * static_cast<double>(best % g.header.nx),
            g.header.y0 + g.header.dy * static_cast<double>(best / g.header.nx)};
  }

  static inline std::filesystem::path dir_;
  static inline std::string work_;
};

TEST_F(GriddingRun, AutoExtentOfTheDemoCoordinates) {
  Database db = openWorkDatabase(work_);
  auto ex = autoAxisExtent(db, kDemoSedimentTable, "横坐标");
  ASSERT_TRUE(ex.outcome);
  EXPECT_EQ(ex.extent.spacing, 2000.0f);  // the minimum exceeds 100000
  EXPECT_EQ(ex.extent.minText.substr(ex.extent.minText.size() - 3, 1), ".");
  EXPECT_GT(ex.extent.count, 9);
  EXPECT_FLOAT_EQ(ex.extent.just, ex.extent.min + 2000.0f * (ex.extent.count - 1));
  db.execute("Create Table [空表] ([x] SINGLE, [y] SINGLE, [v] SINGLE)");
  EXPECT_EQ(autoAxisExtent(db, "空表", "x").outcome.message, kMsgNoCoordinateData);
  EXPECT_FALSE(autoAxisExtent(db, "无此表", "x").outcome);
}

TEST_F(GriddingRun, GoldAndCopperShowTheTwoAnomalies) {
  ScriptedInteraction ui;
  GriddingSettings set;
  GriddingRunResult au = runGridding(work_, demoJob("Au", GridMethod::InverseDistance), set, ui);
  ASSERT_TRUE(au.outcome) << au.outcome.message;
  auto [ax, ay] = peak(au.grid);
  EXPECT_LT(std::hypot(ax - 505500, ay - 3363500), 2000);  // the epithermal centre
  GriddingRunResult cu = runGridding(work_, demoJob("Cu", GridMethod::Mean), set, ui);
  ASSERT_TRUE(cu.outcome) << cu.outcome.message;
  auto [cx, cy] = peak(cu.grid);
  EXPECT_LT(std::hypot(cx - 514000, cy - 3356000), 2500);  // the porphyry centre

  // The file: magic, method, header, the nodes with the spare element, the end mark.
  std::ifstream f(au.path, std::ios::binary);
  ASSERT_TRUE(f);
  std::string bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  const std::size_t n = static_cast<std::size_t>(au.grid.header.nx) * au.grid.header.ny;
  EXPECT_EQ(bytes.substr(0, 12), "#SRNTHGRIDB#");
  EXPECT_EQ(bytes.substr(12, 20), "ScatToGrid          ");
  EXPECT_EQ(bytes.size(), 100 + 4 * (n + 1) + 9);
  EXPECT_EQ(bytes.substr(bytes.size() - 9), "#ENDDATA#");
  auto hdr = readGridHeader(au.path);
  ASSERT_TRUE(hdr.ok());
  EXPECT_EQ(hdr.grid.header.validCount, au.grid.header.validCount);
  EXPECT_GT(au.grid.header.validCount, 0);
}

TEST_F(GriddingRun, OverwriteQuestionAndKrigingRefusals) {
  GriddingSettings set;
  GriddingJob job = demoJob("Zn", GridMethod::Mean);
  ScriptedInteraction first;
  ASSERT_TRUE(runGridding(work_, job, set, first).outcome);
  EXPECT_TRUE(first.asked.empty());
  const std::string path = gridOutputPath(work_, "Zn");
  const auto size = std::filesystem::file_size(path);

  job.geometry.columns = 3;  // a run that would change the file
  ScriptedInteraction no({Answer::No});
  GriddingRunResult r = runGridding(work_, job, set, no);
  EXPECT_TRUE(r.declined);
  ASSERT_EQ(no.asked.size(), 1u);
  EXPECT_EQ(no.asked[0], "工作区网格数据文件:Zn.grd 已存在,要覆盖吗??");
  EXPECT_EQ(std::filesystem::file_size(path), size);

  ScriptedInteraction yes({Answer::Yes});
  ASSERT_TRUE(runGridding(work_, job, set, yes).outcome);
  EXPECT_LT(std::filesystem::file_size(path), size);

  // Nine valid records: kriging refuses, the plain methods grid them.
  Database db = openWorkDatabase(work_);
  db.execute("Create Table [九点] ([x] SINGLE, [y] SINGLE, [v] SINGLE)");
  for (int i = 0; i < 12; ++i)
    db.execute("Insert Into [九点] Values (?, ?, ?)",
               {Value{double(i % 4)}, Value{double(i / 4)}, Value{i < 9 ? double(i) : -1e38}});
  GriddingJob nine = unitJob(GridMethod::Kriging, 4, 3, 1.5f);
  nine.table = "九点";
  nine.xField = "x";
  nine.yField = "y";
  nine.valueField = "v";
  nine.outputName = "nine";
  nine.par = 6;
  ScriptedInteraction ui;
  r = runGridding(work_, nine, set, ui);
  EXPECT_EQ(r.outcome.message, kMsgTooFewForKriging);
  nine.method = GridMethod::Mean;
  r = runGridding(work_, nine, set, ui);
  ASSERT_TRUE(r.outcome) << r.outcome.message;
  EXPECT_GT(r.grid.header.validCount, 0);
  // A missing table is the tool's error, not a crash.
  nine.table = "无此表";
  nine.outputName = "none";
  EXPECT_EQ(runGridding(work_, nine, set, ui).outcome.message, kMsgGriddingFailed);
}

}  // namespace
}  // namespace sarnoth
