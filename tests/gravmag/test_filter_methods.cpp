// The filter component's methods and the low-latitude reduction against analytic answers: the
// filters on a cosine (an eigenfunction of every response on a periodic grid), the component
// conversions and the reductions on the fields of a dipole, the linear enhancement on a point
// mass; then the component's call order, its dialog and the low-latitude call-backs.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "closed/gm_filter_com.h"
#include "closed/low_latitude_reduction.h"
#include "gravmag/filter_methods.h"
#include "test_support.h"
#include "workarea/grid_file.h"

namespace sarnoth::gravmag {
namespace {

using Field = std::function<double(double east, double north)>;
constexpr int kSide = 200;
constexpr double kCentre = (kSide - 1) / 2.0;

Grid makeGrid(const Field& f, int side = kSide) {
  Grid g;
  g.header.nx = g.header.ny = side;
  g.nodes.resize(static_cast<std::size_t>(side) * side);
  for (int r = 0; r < side; ++r)
    for (int c = 0; c < side; ++c) g.nodes[r * side + c] = static_cast<float>(f(c, r));
  recomputeGridStats(g.header, g.nodes);
  return g;
}

std::array<double, 3> unit(double inc, double dec) {
  const Direction d = directionOf(inc, dec);
  return {d.north, d.east, d.down};
}

// The field of a dipole of moment direction m at depth z under the centre, along f.
Field dipole(double depth, std::array<double, 3> m, std::array<double, 3> f) {
  return [=](double e, double n) {
    const double rx = n - kCentre, ry = e - kCentre, rz = -depth;
    const double r2 = rx * rx + ry * ry + rz * rz, r = std::sqrt(r2);
    const double md = (m[0] * rx + m[1] * ry + m[2] * rz) / r;
    double v = 0;
    const double rr[3] = {rx, ry, rz};
    for (int i = 0; i < 3; ++i) v += f[i] * (3 * md * rr[i] / r - m[i]) / (r2 * r);
    return 1e5 * v;
  };
}

class FilterMethods : public ::testing::Test {
 protected:
  std::string put(const Grid& g, const std::string& name = "in.grd") {
    const std::string p = dir_.file(name);
    EXPECT_TRUE(writeGrid(p, kGridMagicB, "test", g.header, g.nodes));
    return p;
  }
  Grid get(const std::string& name) {
    GridReadResult r = readGrid(dir_.file(name));
    EXPECT_TRUE(r.ok()) << name;
    return r.grid;
  }
  // Largest misfit away from the edges relative to the peak of the answer.
  static double misfit(const Grid& got, const Field& want, int trim = 40) {
    const int side = got.header.nx;
    double peak = 0, worst = 0;
    for (int r = trim; r < side - trim; ++r)
      for (int c = trim; c < side - trim; ++c) {
        peak = std::max(peak, std::fabs(want(c, r)));
        worst = std::max(worst, std::fabs(got.at(r, c) - want(c, r)));
      }
    return worst / peak;
  }
  Outcome component(long code, const Grid& g, const FilterParams& preset) {
    closed::GMFilterComponent c;
    c.presetParams(preset);
    c.setInputGrid(put(g));
    c.setFunctionCode(code);
    return c.setOutputGrid(dir_.file("out.grd"));
  }
  test::TempDir dir_;
};

TEST_F(FilterMethods, SmoothingFiltersScaleACosineByTheirResponse) {
  // 64 × 64 needs no extension: the grid is one period of the cosine, an eigenfunction.
  const double kx = 2 * M_PI * 3 / 64, ky = 2 * M_PI * 5 / 64;
  const Field wave = [&](double e, double n) { return 100 * std::cos(kx * e) * std::cos(ky * n); };
  const Grid g = makeGrid(wave, 64);
  // Compensated smoothing, m = 1, two passes: s(ω) = sin(1.5ω)/(3 sin(0.5ω)),
  // H = 1 − (1 − s(kx)s(ky))² ≈ 0.98900.
  ASSERT_TRUE(component(kCodeCompensated, g, {{"half-width", "", 1}, {"passes", "", 2}}).ok);
  auto s = [](double w) { return std::sin(1.5 * w) / (3 * std::sin(0.5 * w)); };
  const double H = 1 - std::pow(1 - s(kx) * s(ky), 2);
  EXPECT_NEAR(H, 0.98900, 1e-4);
  Grid out = get("out.grd");
  EXPECT_LT(misfit(
                out, [&](double e, double n) { return H * wave(e, n); }, 0),
            1e-4);
  EXPECT_EQ(out.header.method.substr(0, 18), "补偿圆滑滤波");
  // Regularised, α = 4 spacings², no continuation: 1/(1 + α|k|²) ≈ 0.6307.
  ASSERT_TRUE(component(kCodeRegularised, g, {{"alpha", "", 4}}).ok);
  const double R = 1 / (1 + 4 * (kx * kx + ky * ky));
  EXPECT_LT(misfit(
                get("out.grd"), [&](double e, double n) { return R * wave(e, n); }, 0),
            1e-4);
  // With a depth h the regularised filter continues downward: e^(−|k|h)/(e^(−2|k|h) + α|k|²).
  ASSERT_TRUE(component(kCodeRegularised, g, {{"alpha", "", 0.01}, {"depth", "", 2}}).ok);
  const double k = std::hypot(kx, ky), e = std::exp(-2 * k);
  const double D = e / (e * e + 0.01 * k * k);
  EXPECT_GT(D, 1.0);
  EXPECT_LT(misfit(
                get("out.grd"), [&](double x, double y) { return D * wave(x, y); }, 0),
            1e-4);
}

TEST_F(FilterMethods, ThreeComponentsOfADipoleFromItsTotalField) {
  const auto f = unit(60, 10);
  ASSERT_TRUE(
      component(kCodeThreeComponents, makeGrid(dipole(8, f, f)), {{"ii", "", 60}, {"dd", "", 10}})
          .ok);
  EXPECT_LT(misfit(get("out_Hax.grd"), dipole(8, f, {1, 0, 0})), 0.01);
  EXPECT_LT(misfit(get("out_Hay.grd"), dipole(8, f, {0, 1, 0})), 0.01);
  EXPECT_LT(misfit(get("out_Za.grd"), dipole(8, f, {0, 0, 1})), 0.01);
}

TEST_F(FilterMethods, ConversionToAnyDirection) {
  const auto f = unit(60, 10), to = unit(30, -40);
  ASSERT_TRUE(
      component(kCodeAnyDirection, makeGrid(dipole(8, f, f)),
                {{"ii", "", 60}, {"dd", "", 10}, {"target-ii", "", 30}, {"target-dd", "", -40}})
          .ok);
  EXPECT_LT(misfit(get("out.grd"), dipole(8, f, to)), 0.01);
}

TEST_F(FilterMethods, LinearEnhancementDifferentiatesAcrossTheStrike) {
  const Field g = [](double e, double n) {
    const double x = e - kCentre, y = n - kCentre;
    return 1e4 * 10 / std::pow(x * x + y * y + 100, 1.5);
  };
  // Strike north (0°): the derivative across it is the one towards east.
  const Field want = [&](double e, double n) { return (g(e + 1e-3, n) - g(e - 1e-3, n)) / 2e-3; };
  ASSERT_TRUE(component(kCodeLinearEnhance, makeGrid(g), {{"strike", "", 0}}).ok);
  EXPECT_LT(misfit(get("out.grd"), want), 0.01);
  // Strike east (90°): the derivative across it is towards north … with ν = (−1, 0), south.
  const Field south = [&](double e, double n) { return -(g(e, n + 1e-3) - g(e, n - 1e-3)) / 2e-3; };
  ASSERT_TRUE(component(kCodeLinearEnhance, makeGrid(g), {{"strike", "", 90}}).ok);
  EXPECT_LT(misfit(get("out.grd"), south), 0.01);
}

TEST_F(FilterMethods, LowLatitudeReductionIsExactAtTheTrueInclinationAndStableAtZero) {
  const Field pole = dipole(8, {0, 0, 1}, {0, 0, 1});
  const auto f30 = unit(30, 15);
  ASSERT_TRUE(
      runLowLatitudePole(put(makeGrid(dipole(8, f30, f30))), dir_.file("out.grd"), 30, 15, 0).ok);
  EXPECT_LT(misfit(get("out.grd"), pole), 0.01);
  // At the equator the plain reduction divides by zero; the amplitude correction keeps it
  // finite, its peak over the source and no larger than the pole field's.
  for (double inc : {0.0, 5.0}) {
    const auto f = unit(inc, 15);
    ASSERT_TRUE(
        runLowLatitudePole(put(makeGrid(dipole(8, f, f))), dir_.file("out.grd"), inc, 15, 20).ok);
    const Grid out = get("out.grd");
    int best = 0;
    for (int i = 1; i < kSide * kSide; ++i)
      if (out.nodes[i] > out.nodes[best]) best = i;
    EXPECT_NEAR(best % kSide, kCentre, 1.5) << inc;
    EXPECT_NEAR(best / kSide, kCentre, 1.5) << inc;
    EXPECT_LT(out.header.zMax, 1.2 * pole(kCentre, kCentre)) << inc;
    EXPECT_GT(out.header.zMax, 0.2 * pole(kCentre, kCentre)) << inc;
  }
}

TEST_F(FilterMethods, TheComponentAsksItsDialogAndStopsWhenCancelled) {
  std::vector<std::string> titles;
  closed::installComponentParamDialog([&](const std::string& title, FilterParams& params) {
    titles.push_back(title);
    if (title == "正则化滤波") return false;
    for (auto& p : params)
      if (p.key == "passes") p.value = 1;
    return true;
  });
  const Grid g = makeGrid([](double e, double) { return e; }, 32);
  EXPECT_TRUE(component(kCodeCompensated, g, {}).ok);
  std::filesystem::remove(dir_.file("out.grd"));
  const Outcome cancelled = component(kCodeRegularised, g, {});
  EXPECT_FALSE(cancelled.ok);
  EXPECT_TRUE(cancelled.message.empty());
  EXPECT_FALSE(std::filesystem::exists(dir_.file("out.grd")));
  EXPECT_FALSE(component(4, g, {}).ok);  // no such code
  closed::installComponentParamDialog(nullptr);
  EXPECT_EQ(titles, (std::vector<std::string>{"补偿圆滑滤波", "正则化滤波"}));
}

TEST_F(FilterMethods, LowLatitudeComponentTakesItsDirectionFromTheGrids) {
  const auto f = unit(30, 15);
  const std::string in = put(makeGrid(dipole(8, f, f)));
  const std::string inc = put(makeGrid([](double, double) { return 30.0; }, 8), "inc.grd");
  const std::string dec =
      put(makeGrid([](double e, double) { return 10.0 + e * 10 / 7; }, 8), "dec.grd");
  FilterParams seen;
  closed::installComponentParamDialog([&](const std::string&, FilterParams& params) {
    seen = params;
    for (auto& p : params)
      if (p.key == "amp-ii") p.value = 0;
    return true;
  });
  closed::LowLatitudeCallbacks cb = {[&] { return in; }, [&] { return dir_.file("out.grd"); },
                                     [&] { return inc; }, [&] { return dec; }};
  const Outcome o = closed::runLowLatitudeReduction(cb);
  closed::installComponentParamDialog(nullptr);
  EXPECT_TRUE(o.ok);
  EXPECT_EQ(o.message, "重磁数据处理成功！");
  EXPECT_NEAR(paramValue(seen, "ii"), 30, 1e-6);
  EXPECT_NEAR(paramValue(seen, "dd"), 15, 1e-5);
  EXPECT_LT(misfit(get("out.grd"), dipole(8, {0, 0, 1}, {0, 0, 1})), 0.01);
  // A request left unanswered ends the component quietly.
  cb[1] = [] { return std::string(); };
  const Outcome quiet = closed::runLowLatitudeReduction(cb);
  EXPECT_TRUE(quiet.ok);
  EXPECT_TRUE(quiet.message.empty());
}

TEST(FilterCli, RunsTheComponentAndTheLowLatitudeReduction) {
  test::TempDir dir;
  Grid g;
  g.header.nx = g.header.ny = 32;
  g.nodes.assign(32 * 32, 5.0f);
  g.nodes[500] = 9.0f;
  ASSERT_TRUE(writeGrid(dir.file("a.grd"), kGridMagicB, "", g.header, g.nodes));
  auto r = test::runCli("filter --code 10 --grid " + dir.file("a.grd") + " -o " +
                        dir.file("b.grd") + " --ii 45 --dd 0");
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(std::filesystem::exists(dir.file("b_Za.grd")));
  r = test::runCli("filter --code 4 --grid " + dir.file("a.grd") + " -o " + dir.file("c.grd"));
  EXPECT_NE(r.status, 0);
  r = test::runCli("lowpole --grid " + dir.file("a.grd") + " -o " + dir.file("d.grd") +
                   " --ii 2 --dd 0");
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(std::filesystem::exists(dir.file("d.grd")));
}

}  // namespace
}  // namespace sarnoth::gravmag
