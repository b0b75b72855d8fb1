// The frequency-domain tool against the physics: a buried point mass continued upward and
// differentiated, a dipole reduced to the pole, compared with the analytic fields away from the
// edges, with tolerances relative to the peak (relative error means nothing where the field
// crosses zero). Then the refusals and the command line.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>

#include "gravmag/fft.h"
#include "gravmag/freq_processing.h"
#include "gravmag/spectral_grid.h"
#include "test_support.h"
#include "workarea/grid_file.h"

namespace sarnoth::gravmag {
namespace {

// Grids of n × n nodes at unit spacing with the source under the centre node.
constexpr int kSide = 200;  // padded to 256 with the tool's cosine extension
constexpr double kCentre = (kSide - 1) / 2.0;

using Field = std::function<double(double east, double north)>;

Grid makeGrid(const Field& f, int side = kSide) {
  Grid g;
  g.header.nx = g.header.ny = side;
  g.header.dx = g.header.dy = 1.0f;
  g.nodes.resize(static_cast<std::size_t>(side) * side);
  for (int r = 0; r < side; ++r)
    for (int c = 0; c < side; ++c) g.nodes[r * side + c] = static_cast<float>(f(c, r));
  recomputeGridStats(g.header, g.nodes);
  return g;
}

// gz of a point mass at depth z below the plane (arbitrary units).
Field pointMass(double depth) {
  return [depth](double e, double n) {
    const double x = e - kCentre, y = n - kCentre;
    return 1e4 * depth / std::pow(x * x + y * y + depth * depth, 1.5);
  };
}

// Its vertical derivative, downward positive.
Field pointMassDz(double depth) {
  return [depth](double e, double n) {
    const double x = e - kCentre, y = n - kCentre, r2 = x * x + y * y, z2 = depth * depth;
    return 1e4 * (2 * z2 - r2) / std::pow(r2 + z2, 2.5);
  };
}

// Unit vector of inclination I and declination D in (north, east, down).
std::array<double, 3> direction(double incDeg, double decDeg) {
  const double I = incDeg * M_PI / 180, D = decDeg * M_PI / 180;
  return {std::cos(I) * std::cos(D), std::cos(I) * std::sin(D), std::sin(I)};
}

// The field of a dipole of moment direction m at depth z, projected on f: north is along the
// rows, east along a row, z down.
Field dipole(double depth, std::array<double, 3> m, std::array<double, 3> f) {
  return [=](double e, double n) {
    const double rx = n - kCentre, ry = e - kCentre, rz = -depth;  // source to point
    const double r2 = rx * rx + ry * ry + rz * rz, r = std::sqrt(r2);
    const double md = (m[0] * rx + m[1] * ry + m[2] * rz) / r;
    const double b[3] = {(3 * md * rx / r - m[0]) / (r2 * r), (3 * md * ry / r - m[1]) / (r2 * r),
                         (3 * md * rz / r - m[2]) / (r2 * r)};
    return 1e5 * (f[0] * b[0] + f[1] * b[1] + f[2] * b[2]);
  };
}

class FreqTool : public ::testing::Test {
 protected:
  std::string put(const Grid& g, const std::string& name = "in.grd") {
    const std::string p = dir_.file(name);
    EXPECT_TRUE(writeGrid(p, kGridMagicB, "test", g.header, g.nodes));
    return p;
  }
  FreqRunResult run(FreqJob job, const Grid& g) {
    job.inputPath = put(g);
    job.outputPath = dir_.file("out.grd");
    return runFreqProcessing(job);
  }
  Grid result() {
    GridReadResult r = readGrid(dir_.file("out.grd"));
    EXPECT_TRUE(r.ok());
    return r.grid;
  }
  // Largest |got − want| over the nodes at least `trim` from the edges, relative to the peak
  // of `want`.
  static double misfit(const Grid& got, const Field& want, int trim) {
    double peak = 0, worst = 0;
    for (int r = trim; r < kSide - trim; ++r)
      for (int c = trim; c < kSide - trim; ++c) {
        const double w = want(c, r);
        peak = std::max(peak, std::fabs(w));
        worst = std::max(worst, std::fabs(got.at(r, c) - w));
      }
    return worst / peak;
  }
  test::TempDir dir_;
};

TEST_F(FreqTool, UpwardContinuationMatchesTheFieldAtTheNewHeight) {
  FreqJob job;
  job.mode = kModeContinuation;
  job.par1 = "-5";  // 5 spacings up
  ASSERT_TRUE(run(job, makeGrid(pointMass(10))).outcome.ok);
  const Grid out = result();
  EXPECT_LT(misfit(out, pointMass(15), 40), 0.01);
  EXPECT_EQ(out.header.method.substr(0, 12), "重磁延拓");
  EXPECT_EQ(out.header.note.substr(0, 12), "重力布格");

  // The height counts h·(dx/UnitF) spacings: dx 2 with UnitF 2 is the same continuation.
  Grid wide = makeGrid(pointMass(10));
  wide.header.dx = wide.header.dy = 2.0f;
  job.unitFactor = 2.0f;
  ASSERT_TRUE(run(job, wide).outcome.ok);
  const Grid out2 = result();
  EXPECT_LT(misfit(out2, pointMass(15), 40), 0.01);
  EXPECT_EQ(out2.header.dx, 2.0f);
}

TEST_F(FreqTool, ContinuationByZeroReturnsTheInputWithItsNulls) {
  Grid g = makeGrid(pointMass(8), 100);  // 100 × 100 padded to 128
  g.nodes[0] = NULL_VALUE;
  g.nodes[5050] = NULL_VALUE;
  FreqJob job;
  job.mode = kModeContinuation;
  job.par1 = "0";
  ASSERT_TRUE(run(job, g).outcome.ok);
  const Grid out = result();
  double peak = 0, worst = 0;
  for (std::size_t i = 0; i < g.nodes.size(); ++i) {
    if (isNullValue(g.nodes[i])) continue;
    peak = std::max(peak, std::fabs(double(g.nodes[i])));
    // The node beside a null inside a row sees the bridge rather than itself: excluded.
    if (i == 1 || i == 5049 || i == 5051) continue;
    worst = std::max(worst, std::fabs(double(out.nodes[i]) - g.nodes[i]));
  }
  EXPECT_LT(worst / peak, 1e-4);
  EXPECT_EQ(out.nodes[0], NULL_VALUE);
  EXPECT_EQ(out.nodes[5050], NULL_VALUE);
}

TEST_F(FreqTool, VerticalDerivativeMatchesTheAnalyticGradient) {
  FreqJob job;
  job.mode = kModeDerivative;
  job.method = 0;
  job.par1 = "1";
  ASSERT_TRUE(run(job, makeGrid(pointMass(10))).outcome.ok);
  EXPECT_LT(misfit(result(), pointMassDz(10), 40), 0.01);
}

TEST_F(FreqTool, ReductionToThePoleCentresTheDipoleAndMatchesThePoleField) {
  // ΔT of an induced dipole at I = 45°, D = 20°, depth 8; reduced with txtII 45, txtDD 20.
  const auto f = direction(45, 20);
  FreqJob job;
  job.mode = kModePole;
  job.field = FieldKind::DeltaT;
  job.ii = "45";
  job.dd = "20";
  ASSERT_TRUE(run(job, makeGrid(dipole(8, f, f))).outcome.ok);
  const Grid out = result();
  const Field pole = dipole(8, {0, 0, 1}, {0, 0, 1});
  EXPECT_LT(misfit(out, pole, 40), 0.01);
  int best = 0;
  for (int i = 1; i < kSide * kSide; ++i)
    if (out.nodes[i] > out.nodes[best]) best = i;
  EXPECT_NEAR(best % kSide, kCentre, 1.0);
  EXPECT_NEAR(best / kSide, kCentre, 1.0);
  EXPECT_EQ(out.header.note.substr(0, 12), "总场梯度");
}

TEST_F(FreqTool, ReductionOfZUsesTheFirstOrder) {
  // ΔZ of the same dipole (f vertical) needs one division: optDZ gives order 1 in mode 500.
  const auto m = direction(45, 20);
  FreqJob job;
  job.mode = kModePole;
  job.field = FieldKind::DeltaZ;
  job.ii = "45";
  job.dd = "20";
  ASSERT_TRUE(run(job, makeGrid(dipole(8, m, {0, 0, 1}))).outcome.ok);
  EXPECT_LT(misfit(result(), dipole(8, {0, 0, 1}, {0, 0, 1}), 40), 0.01);
}

TEST_F(FreqTool, PseudoGravityOfAPoleDipoleHasTheShapeOfThePointMass) {
  // Poisson: the vertical field of a vertical dipole integrated once downward (1/|k|) is the
  // attraction of a point mass at the same place, up to a constant, which is fitted here.
  FreqJob job;
  job.mode = kModePseudoGravity;
  job.field = FieldKind::DeltaZ;
  job.par1 = "0.54";
  job.par2 = "0.45";
  const FreqRunResult r = run(job, makeGrid(dipole(5, {0, 0, 1}, {0, 0, 1})));
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  const Grid out = result();
  const Field g = pointMass(5);
  double num = 0, den = 0;
  for (int r = 60; r < 140; ++r)
    for (int c = 60; c < 140; ++c) {
      num += out.at(r, c) * g(c, r);
      den += g(c, r) * g(c, r);
    }
  const double scale = num / den;
  EXPECT_GT(scale, 0.0);
  // The zero wavenumber passes unchanged and the grid ends where the field has not: the level
  // is off by a constant, removed with the mean of the centre.
  double meanOut = 0, meanWant = 0;
  for (int r = 60; r < 140; ++r)
    for (int c = 60; c < 140; ++c) meanOut += out.at(r, c), meanWant += scale * g(c, r);
  const double shift = (meanOut - meanWant) / (80.0 * 80.0);
  EXPECT_LT(misfit(
                out, [&](double e, double n) { return scale * g(e, n) + shift; }, 60),
            0.01);
}

TEST_F(FreqTool, TotalGradientAndTheAdditionsAgreeOnThePointMass) {
  const Field g = pointMass(10);
  // Analytic derivatives of gz: horizontal by central differences of the closed form.
  auto dzf = pointMassDz(10);
  auto hx = [&](double e, double n) { return (g(e + 1e-3, n) - g(e - 1e-3, n)) / 2e-3; };
  auto hy = [&](double e, double n) { return (g(e, n + 1e-3) - g(e, n - 1e-3)) / 2e-3; };
  Field as = [&](double e, double n) {
    return std::sqrt(hx(e, n) * hx(e, n) + hy(e, n) * hy(e, n) + dzf(e, n) * dzf(e, n));
  };
  Field hgm = [&](double e, double n) { return std::hypot(hx(e, n), hy(e, n)); };
  FreqJob job;
  job.mode = kModeTotalGradient;
  ASSERT_TRUE(run(job, makeGrid(g)).outcome.ok);
  EXPECT_LT(misfit(result(), as, 40), 0.01);
  job.mode = kModeAnalyticSignal;
  ASSERT_TRUE(run(job, makeGrid(g)).outcome.ok);
  EXPECT_LT(misfit(result(), as, 40), 0.01);
  job.mode = kModeHorizontalGradient;
  ASSERT_TRUE(run(job, makeGrid(g)).outcome.ok);
  EXPECT_LT(misfit(result(), hgm, 40), 0.01);
  // The tilt: near +90° over the source, through 0 where the vertical gradient changes sign
  // (r = depth·√2), negative outside.
  job.mode = kModeTilt;
  ASSERT_TRUE(run(job, makeGrid(g)).outcome.ok);
  const Grid tilt = result();
  Field tiltWant = [&](double e, double n) {
    return std::atan2(dzf(e, n), hgm(e, n)) * 180 / M_PI;
  };
  for (int c : {100, 105, 110, 120}) EXPECT_NEAR(tilt.at(100, c), tiltWant(c, 100), 1.0) << c;
  // Far out the field is small and the angle sensitive: the sign and rough size hold.
  EXPECT_NEAR(tilt.at(100, 140), tiltWant(140, 100), 3.0);
}

TEST_F(FreqTool, ResultsDoNotDependOnTheThreads) {
  FreqJob job;
  job.mode = kModeContinuation;
  job.par1 = "-3";
  job.threads = 1;
  const Grid g = makeGrid(pointMass(6), 120);
  ASSERT_TRUE(run(job, g).outcome.ok);
  const std::string one = test::readFile(dir_.file("out.grd"));
  job.threads = 2;
  ASSERT_TRUE(run(job, g).outcome.ok);
  EXPECT_EQ(test::readFile(dir_.file("out.grd")), one);
}

TEST_F(FreqTool, AStoppedRunWritesNothing) {
  FreqJob job;
  job.mode = kModeTotalGradient;
  job.inputPath = put(makeGrid(pointMass(6), 120));
  job.outputPath = dir_.file("out.grd");
  Progress progress;
  int pumps = 0;
  progress.setPumpHook([&] { return ++pumps < 3; });
  const FreqRunResult r = runFreqProcessing(job, progress);
  EXPECT_TRUE(r.cancelled);
  EXPECT_FALSE(r.outcome.ok);
  EXPECT_FALSE(std::filesystem::exists(dir_.file("out.grd")));
}

TEST_F(FreqTool, RefusalsWriteNothing) {
  auto refused = [&](FreqJob job, const Grid& g, const std::string& text) {
    std::filesystem::remove(dir_.file("out.grd"));
    const FreqRunResult r = run(job, g);
    EXPECT_FALSE(r.outcome.ok);
    EXPECT_EQ(r.outcome.message, text);
    EXPECT_FALSE(std::filesystem::exists(dir_.file("out.grd")));
  };
  FreqJob job;
  job.mode = kModeContinuation;
  Grid empty = makeGrid([](double, double) { return NULL_VALUE_D; }, 10);
  refused(job, empty, kMsgNoData);
  Grid row;
  row.header.nx = 10;
  row.header.ny = 1;
  row.nodes.assign(10, 1.0f);
  refused(job, row, kErrOverflow);                            // the fit's first division is 0/0
  refused(job, makeGrid(pointMass(3), 7), kErrDivideByZero);  // 7 padded to 8: no taper step
  FreqJob pole;
  pole.mode = kModePole;
  pole.ii = "0";
  refused(pole, makeGrid(pointMass(3), 20), kMsgPoleAtEquator);
  // A header announcing more than the transform holds is refused before the nodes are read.
  const std::string p = put(makeGrid(pointMass(3), 2), "huge.grd");
  std::string bytes = test::readFile(p);
  const std::int16_t side = 20000;
  std::memcpy(bytes.data() + 72, &side, 2);  // nx
  std::memcpy(bytes.data() + 74, &side, 2);  // ny
  test::writeFile(p, bytes);
  job.inputPath = p;
  job.outputPath = dir_.file("out.grd");
  EXPECT_EQ(runFreqProcessing(job).outcome.message, kErrOutOfMemory);
}

TEST(FreqToolCli, ContinuesAGridAndRefusesTheComponentsMethods) {
  test::TempDir dir;
  const Grid g = makeGrid(pointMass(10), 64);
  ASSERT_TRUE(writeGrid(dir.file("a.grd"), kGridMagicB, "", g.header, g.nodes));
  auto r = test::runCli("fft --mode 220 --grid " + dir.file("a.grd") + " -o " + dir.file("b.grd") +
                        " --par1 -2");
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find(kMsgFreqDone), std::string::npos);
  GridReadResult out = readGrid(dir.file("b.grd"));
  ASSERT_TRUE(out.ok());
  EXPECT_LT(out.grid.header.zMax, g.header.zMax);
  // A bare name is looked for in the work area's grid folder, whatever the case of its name.
  std::filesystem::create_directories(dir.file("area/Grid_dat"));
  ASSERT_TRUE(writeGrid(dir.file("area/Grid_dat/a.grd"), kGridMagicB, "", g.header, g.nodes));
  r = test::runCli("fft --workarea " + dir.file("area") + " --mode 220 --grid a -o " +
                   dir.file("d.grd") + " --par1 -2");
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_TRUE(readGrid(dir.file("d.grd")).ok());
  r = test::runCli("fft --mode 231 --grid " + dir.file("a.grd") + " -o " + dir.file("c.grd"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find("filter --code 10"), std::string::npos);
}

}  // namespace
}  // namespace sarnoth::gravmag
