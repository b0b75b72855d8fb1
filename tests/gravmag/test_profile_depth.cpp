// Source depths from magnetic profiles against the closed-form fields of the classical bodies:
// a vertical dipole (sphere) seen along a line over it with its measured vertical gradient
// (Euler, SI 3), a two-dimensional contact (Euler SI 0 with the gradient from the Hilbert
// transform, Werner on its horizontal derivative, the analytic-signal width), a thin dike
// (Werner, analytic signal) and a horizontal cylinder (analytic signal). Then the profile file,
// the table of solutions and the refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "gravmag/profile_depth.h"
#include "test_support.h"
#include "workarea/interaction.h"
#include "workarea/scatter_file.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

// A field T(x, z) of the body, z downwards, observed at z = 0.
using Field = std::function<double(double x, double z)>;

constexpr double kX0 = 200.0;  // the source lies under this distance
constexpr double kDepth = 12.0;

// ΔZ of a vertical dipole at (kX0, 0, kDepth) along the line y = 0 through its epicentre.
double dipole(double x, double z) {
  const double u = x - kX0, d = kDepth - z, r2 = u * u + d * d;
  return 1e6 * (2 * d * d - u * u) / std::pow(r2, 2.5);
}
// A contact with top at kDepth, the magnetisation inclined (both the arctangent and the
// logarithmic part), on a background of 35 nT.
double contact(double x, double z) {
  const double u = x - kX0, d = kDepth - z;
  return 35.0 + 80.0 * std::atan2(u, d) + 30.0 * 0.5 * std::log(u * u + d * d);
}
// A thin dike with top at kDepth, inclined magnetisation.
double dike(double x, double z) {
  const double u = x - kX0, d = kDepth - z;
  return 2000.0 * (0.6 * u + 0.8 * d) / (u * u + d * d);
}
// A horizontal cylinder along strike, vertical magnetisation.
double cylinder(double x, double z) {
  const double u = x - kX0, d = kDepth - z, r2 = u * u + d * d;
  return 3e4 * (d * d - u * u) / (r2 * r2);
}

// The profile from 0 to 400 at unit spacing; with `gradient` the vertical derivative is given
// as measured (a central difference of the field, independent of the engine's derivatives).
RegularProfile profileOf(const Field& f, bool gradient, double length = 400, double step = 1) {
  ProfileSeries s;
  for (double x = 0; x <= length + 1e-9; x += step) {
    s.x.push_back(x);
    s.t.push_back(f(x, 0));
    if (gradient) s.tz.push_back((f(x, 1e-3) - f(x, -1e-3)) / 2e-3);
  }
  return regularProfile(s);
}

// The solutions whose windows lie near the source (the others see only the tails).
std::vector<DepthSolution> nearSource(const std::vector<DepthSolution>& all, double reach) {
  std::vector<DepthSolution> out;
  for (const auto& d : all)
    if (d.x2 > kX0 - reach && d.x1 < kX0 + reach) out.push_back(d);
  return out;
}

TEST(ProfileDepth, HilbertTransformGivesTheVerticalDerivativeOfTwoDimensionalFields) {
  // The cylinder's ∂T/∂z from its ∂T/∂x, against the closed form, on a long profile so that
  // truncation stays small; compared near the body relative to the peak.
  const RegularProfile p = profileOf(cylinder, false, 800);
  double peak = 0, worst = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const double x = p.x(i), tz = (cylinder(x, 1e-4) - cylinder(x, -1e-4)) / 2e-4;
    peak = std::max(peak, std::fabs(tz));
    if (std::fabs(x - kX0) < 60) worst = std::max(worst, std::fabs(p.tz[i] - tz));
  }
  EXPECT_LT(worst, 0.02 * peak);
}

TEST(ProfileDepth, EulerFindsDipoleAndContactDepths) {
  // Dipole, SI 3, measured gradient (a three-dimensional source: no Hilbert relation).
  {
    const auto all = eulerSolutions(profileOf(dipole, true), 11, 3.0, 0.15);
    const auto s = nearSource(all, 2 * kDepth);
    ASSERT_GE(s.size(), 10u);
    const DepthSummary m = summarizeDepths(s);
    EXPECT_NEAR(m.z0, kDepth, 0.05 * kDepth);
    EXPECT_NEAR(m.x0, kX0, 0.5);
    // The wrong index gives a wrong depth: the index matters (Euler depth grows with N).
    const auto low = nearSource(eulerSolutions(profileOf(dipole, true), 11, 1.0, 10.0), 2 * kDepth);
    ASSERT_FALSE(low.empty());
    EXPECT_LT(summarizeDepths(low).z0, 0.8 * kDepth);
  }
  // Contact, SI 0, gradient from the Hilbert transform of the horizontal derivative.
  {
    const auto s =
        nearSource(eulerSolutions(profileOf(contact, false, 800), 11, 0.0, 0.15), 2 * kDepth);
    ASSERT_GE(s.size(), 10u);
    const DepthSummary m = summarizeDepths(s);
    EXPECT_NEAR(m.z0, kDepth, 0.05 * kDepth);
    EXPECT_NEAR(m.x0, kX0, 1.0);
  }
}

TEST(ProfileDepth, WernerSolvesDikesAndContactsExactly) {
  // A dike plus a linear regional: every window near the body gives the depth.
  const Field withRegional = [](double x, double z) { return dike(x, z) + 50.0 + 0.1 * x; };
  const auto s = nearSource(wernerSolutions(profileOf(withRegional, false), 9, 1, 2), kDepth);
  ASSERT_GE(s.size(), 5u);
  for (const auto& d : s) {
    EXPECT_NEAR(d.z0, kDepth, 0.01 * kDepth);
    EXPECT_NEAR(d.x0, kX0, 0.1);
  }
  // A contact from its horizontal derivative (model 0).
  const auto c = nearSource(wernerSolutions(profileOf(contact, false), 9, 0, 1), kDepth);
  ASSERT_GE(c.size(), 5u);
  EXPECT_NEAR(summarizeDepths(c).z0, kDepth, 0.02 * kDepth);
  EXPECT_NEAR(summarizeDepths(c).x0, kX0, 0.2);
}

TEST(ProfileDepth, AnalyticSignalWidthGivesDepthOfContactDikeAndCylinder) {
  struct Case {
    Field f;
    int model;
  };
  for (const Case& k : {Case{contact, 0}, Case{dike, 1}, Case{cylinder, 2}}) {
    SCOPED_TRACE(k.model);
    // With the gradient measured the width is exact up to the sampling.
    const auto m = analyticSignalSolutions(profileOf(k.f, true), k.model);
    ASSERT_EQ(m.size(), 1u);
    EXPECT_NEAR(m[0].z0, kDepth, 0.02 * kDepth);
    EXPECT_NEAR(m[0].x0, kX0, 0.3);
    EXPECT_LT(m[0].x1, kX0);
    EXPECT_GT(m[0].x2, kX0);
    // With the gradient from the Hilbert transform, on a long profile.
    const auto h = analyticSignalSolutions(profileOf(k.f, false, 800), k.model);
    ASSERT_FALSE(h.empty());
    EXPECT_NEAR(summarizeDepths(nearSource(h, kDepth)).z0, kDepth, 0.05 * kDepth);
  }
}

TEST(ProfileDepth, GapsGiveNoSolutions) {
  // Remove the stretch over the source: no window spans it, no solution lies there.
  ProfileSeries s;
  for (double x = 0; x <= 400; x += 1) {
    if (x > kX0 - 20 && x < kX0 + 20) continue;
    s.x.push_back(x);
    s.t.push_back(dipole(x, 0));
    s.tz.push_back((dipole(x, 1e-3) - dipole(x, -1e-3)) / 2e-3);
  }
  const RegularProfile p = regularProfile(s);
  ASSERT_EQ(p.dx, 1.0);
  for (const auto& d : eulerSolutions(p, 7, 3.0, 1.0))
    EXPECT_TRUE(d.x2 <= kX0 - 20 || d.x1 >= kX0 + 20) << d.x1 << ".." << d.x2;
  for (const auto& d : wernerSolutions(p, 7, 1, 1))
    EXPECT_TRUE(d.x2 <= kX0 - 20 || d.x1 >= kX0 + 20) << d.x1 << ".." << d.x2;
}

class ProfileDepthJob : public ::testing::Test {
 protected:
  void SetUp() override {
    // A profile file along two coordinates (the line runs at 3-4-5 so that the cumulative
    // distance matters), with one null point and a measured gradient.
    ScatterFile f;
    f.magic = "#SRNTHPROFA#";
    f.origin = "C-Data";
    f.names = {"XX", "YY", "DT", "DTZ"};
    for (int i = 0; i <= 400; ++i) {
      const double d = i;
      const bool hole = i == 57;
      f.values.insert(f.values.end(),
                      {static_cast<float>(1000 + 0.6 * d), static_cast<float>(500 + 0.8 * d),
                       hole ? NULL_VALUE : static_cast<float>(dipole(d, 0)),
                       static_cast<float>((dipole(d, 1e-3) - dipole(d, -1e-3)) / 2e-3)});
      ++f.recordCount;
    }
    path_ = dir_.file("line1.prf");
    ASSERT_EQ(writeAsciiScatter(path_, f), ScatterError::None);
    job_.profilePath = path_;
    job_.xField = "XX";
    job_.yField = "YY";
    job_.valueField = "DT";
    job_.tzField = "DTZ";
    job_.params.method = DepthMethod::Euler;
    job_.params.window = 11;
    job_.params.index = 3;
  }
  test::TempDir dir_;
  std::string path_;
  DepthJob job_;
};

TEST_F(ProfileDepthJob, RunsFromTheFileAndWritesTheTable) {
  const auto wa = createWorkArea(dir_.dir() + "wa/");
  ASSERT_TRUE(wa.ok) << wa.message;
  Database db = openWorkDatabase(dir_.dir() + "wa/");
  job_.table = "DEPTH1";
  ScriptedInteraction ui;
  const DepthRunResult r = runProfileDepth(job_, &db, ui);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  EXPECT_EQ(r.outcome.message, kMsgDepthDone);
  EXPECT_NEAR(static_cast<double>(r.profile.size()), 401.0, 1.0);
  EXPECT_NEAR(r.profile.dx, 1.0, 1e-4);
  const auto s = nearSource(r.solutions, 2 * kDepth);
  EXPECT_NEAR(summarizeDepths(s).z0, kDepth, 0.05 * kDepth);
  // The table holds every solution with its window.
  std::vector<std::vector<Value>> rows;
  Cursor c = db.query("SELECT [METHOD],[WINX1],[WINX2],[X0],[DEPTH],[SI] FROM [DEPTH1]");
  while (c.next()) rows.push_back({c.get(0), c.get(1), c.get(2), c.get(3), c.get(4), c.get(5)});
  ASSERT_EQ(rows.size(), r.solutions.size());
  EXPECT_EQ(valueToText(rows[0][0]), "欧拉反褶积");
  EXPECT_DOUBLE_EQ(valueToDouble(rows[0][1]), r.solutions[0].x1);
  EXPECT_DOUBLE_EQ(valueToDouble(rows[0][4]), r.solutions[0].z0);
  EXPECT_EQ(valueToDouble(rows[0][5]), 3.0);
  // A second run asks before it replaces the table; No leaves it.
  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(runProfileDepth(job_, &db, no).outcome.ok);
  EXPECT_EQ(no.asked.size(), 1u);
  // The charts: the profile over the solutions, on the same distance range.
  const chart::Chart top = profileChart(r), under = solutionChart(r);
  EXPECT_EQ(top.x.lo, under.x.lo);
  EXPECT_EQ(top.x.hi, under.x.hi);
  EXPECT_EQ(top.frame.left, under.frame.left);  // the axes stand one above the other
  EXPECT_EQ(top.frame.width, under.frame.width);
  EXPECT_FALSE(top.fitFrame || under.fitFrame);
  EXPECT_TRUE(under.y.reversed);
  ASSERT_EQ(under.series.size(), 2u);
  EXPECT_EQ(under.series[0].x.size(), 2 * r.solutions.size());  // one segment per window
}

TEST_F(ProfileDepthJob, RefusesBadInput) {
  ScriptedInteraction ui;
  auto refused = [&](DepthJob j, const char* text) {
    const DepthRunResult r = runProfileDepth(j, nullptr, ui);
    EXPECT_FALSE(r.outcome.ok);
    EXPECT_EQ(r.outcome.message, text);
  };
  DepthJob j = job_;
  j.params.window = 2;
  refused(j, kMsgDepthBadWindow);
  j = job_;
  j.params.index = 3.5;
  refused(j, kMsgDepthBadIndex);
  j = job_;
  j.params.tolerance = 0;
  refused(j, kMsgDepthBadTolerance);
  j = job_;
  j.valueField.clear();
  refused(j, kMsgDepthNoValue);
  j = job_;
  j.params.window = 201;
  refused(j, kMsgDepthFewPoints);
  // Garbage and a scatter file are not profiles.
  j = job_;
  j.profilePath = dir_.file("bad.prf");
  test::writeFile(j.profilePath, "#SRNTHSCATA#\r\nC-Data\r\n3\r\n");
  refused(j, kMsgDepthBadFile);
  test::writeFile(j.profilePath, std::string(5, '\0'));
  refused(j, kMsgDepthBadFile);
}

}  // namespace
}  // namespace sarnoth::gravmag
