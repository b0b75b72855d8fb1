// The space-domain operators against the physics of a buried sphere (a point mass): its second
// vertical derivative, its field continued up and down, its horizontal derivative in a
// direction, each compared with the analytic field and with the frequency-domain tool run on the
// same grid. Tolerances are relative to the peak of the wanted field, at the accuracy each
// operator is known to reach. Then nulls, threads, the smoothing statistics, the tool's run and
// its command line.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "gravmag/freq_processing.h"
#include "gravmag/space_operators.h"
#include "gravmag/space_processing.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

constexpr int kSide = 121;
constexpr double kCentre = (kSide - 1) / 2.0;

using Field = std::function<double(double east, double north)>;

// g of a point mass `depth` spacings below the grid, and its derivatives (z down).
Field sphere(double depth) {
  return [depth](double e, double n) {
    const double x = e - kCentre, y = n - kCentre;
    return 1e4 * depth / std::pow(x * x + y * y + depth * depth, 1.5);
  };
}
Field sphereGzz(double depth) {
  return [depth](double e, double n) {
    const double x = e - kCentre, y = n - kCentre, r2 = x * x + y * y, d2 = depth * depth;
    return 1e4 * 3 * depth * (2 * d2 - 3 * r2) / std::pow(r2 + d2, 3.5);
  };
}
// ∂g/∂α, α from east anticlockwise.
Field sphereDirection(double depth, double alphaDeg) {
  const double a = alphaDeg * M_PI / 180;
  return [=](double e, double n) {
    const double x = e - kCentre, y = n - kCentre;
    const double k = -3e4 * depth / std::pow(x * x + y * y + depth * depth, 2.5);
    return k * (x * std::cos(a) + y * std::sin(a));
  };
}

std::vector<float> sample(const Field& f) {
  std::vector<float> v(static_cast<std::size_t>(kSide) * kSide);
  for (int r = 0; r < kSide; ++r)
    for (int c = 0; c < kSide; ++c) v[static_cast<std::size_t>(r) * kSide + c] = float(f(c, r));
  return v;
}

// Largest |got − want| over nodes at least `trim` from the edges, relative to want's peak.
double misfit(const std::vector<float>& got, const Field& want, int trim) {
  double peak = 0, worst = 0;
  for (int r = trim; r < kSide - trim; ++r)
    for (int c = trim; c < kSide - trim; ++c) {
      const double w = want(c, r);
      peak = std::max(peak, std::fabs(w));
      worst = std::max(worst, std::fabs(got[static_cast<std::size_t>(r) * kSide + c] - w));
    }
  return worst / peak;
}

std::vector<float> applyOp(const Field& f, const PointOperator& op) {
  return applyPointOperator(sample(f), kSide, kSide, op);
}

Grid gridOf(const std::vector<float>& nodes) {
  Grid g;
  g.header.nx = g.header.ny = kSide;
  g.header.dx = g.header.dy = 1.0f;
  g.nodes = nodes;
  recomputeGridStats(g.header, g.nodes);
  return g;
}

// The frequency-domain tool's answer for a mode, method and first box.
std::vector<float> fftResult(const Field& f, int mode, int method, const std::string& par1) {
  test::TempDir dir;
  const Grid g = gridOf(sample(f));
  EXPECT_TRUE(writeGrid(dir.file("in.grd"), kGridMagicB, "", g.header, g.nodes));
  FreqJob job;
  job.mode = mode;
  job.method = method;
  job.par1 = par1;
  job.inputPath = dir.file("in.grd");
  job.outputPath = dir.file("out.grd");
  EXPECT_TRUE(runFreqProcessing(job).outcome.ok);
  GridReadResult r = readGrid(job.outputPath);
  EXPECT_TRUE(r.ok());
  return r.grid.nodes;
}

double relativeDifference(const std::vector<float>& a, const std::vector<float>& b, int trim) {
  double peak = 0, worst = 0;
  for (int r = trim; r < kSide - trim; ++r)
    for (int c = trim; c < kSide - trim; ++c) {
      const std::size_t i = static_cast<std::size_t>(r) * kSide + c;
      peak = std::max(peak, std::fabs(double(b[i])));
      worst = std::max(worst, std::fabs(double(a[i]) - b[i]));
    }
  return worst / peak;
}

TEST(SpaceOperators, RingTablesMeetTheirDefiningExpansion) {
  // For a harmonic field the ring mean is g0 − r²·g_zz/4 + r⁴·g_zzzz/64: an operator for g_zz
  // needs Σc = 0 and Σc·r² = −4; Rosenbach and Henderson–Zietz also cancel the r⁴ term.
  for (auto m :
       {SecondDerivative::Elkins, SecondDerivative::Rosenbach, SecondDerivative::HendersonZietz}) {
    const RingTable t = gmFilterTable(m);
    EXPECT_NEAR(t.c0 + t.c1 + t.c2 + t.c5, 0.0, 1e-12);
    EXPECT_NEAR(t.c1 + 2 * t.c2 + 5 * t.c5, -4.0, 1e-12);
    const double fourth = t.c1 + 4 * t.c2 + 25 * t.c5;
    if (m == SecondDerivative::Elkins)
      EXPECT_GT(std::fabs(fourth), 1.0);  // the smoothing operator
    else
      EXPECT_NEAR(fourth, 0.0, 1e-12);
    EXPECT_NEAR(secondDerivativeOperator(m).sum(), 0.0, 1e-12);
  }
  // Elkins' printed weights, as a check on the transcription: 44, 16, −12, −48 over 62.
  EXPECT_NEAR(gmFilterTable(SecondDerivative::Elkins).c5 * 62, -48.0, 1e-12);
}

TEST(SpaceOperators, SecondDerivativeOfASphereMatchesTheAnalyticAndTheFrequencyDomain) {
  const double depth = 5;
  const auto fft = fftResult(sphere(depth), kModeDerivative, 0, "2");
  EXPECT_LT(misfit(fft, sphereGzz(depth), 20), 0.02);
  const auto ros = applyOp(sphere(depth), secondDerivativeOperator(SecondDerivative::Rosenbach));
  const auto hz =
      applyOp(sphere(depth), secondDerivativeOperator(SecondDerivative::HendersonZietz));
  const auto elk = applyOp(sphere(depth), secondDerivativeOperator(SecondDerivative::Elkins));
  EXPECT_LT(misfit(ros, sphereGzz(depth), 20), 0.02);
  EXPECT_LT(misfit(hz, sphereGzz(depth), 20), 0.02);
  EXPECT_LT(relativeDifference(ros, fft, 20), 0.03);
  EXPECT_LT(relativeDifference(hz, fft, 20), 0.03);
  // Elkins' operator smooths: low at the peak by some 20 %, but of the right shape and sign.
  const std::size_t mid = static_cast<std::size_t>(kCentre) * kSide + kSide / 2;
  EXPECT_GT(elk[mid], 0.7 * sphereGzz(depth)(kCentre, kCentre));
  EXPECT_LT(elk[mid], 0.9 * sphereGzz(depth)(kCentre, kCentre));
  EXPECT_LT(misfit(elk, sphereGzz(depth), 20), 0.25);
  // A deeper source, longer wavelengths: all three close.
  EXPECT_LT(misfit(applyOp(sphere(8), secondDerivativeOperator(SecondDerivative::Elkins)),
                   sphereGzz(8), 20),
            0.10);
}

TEST(SpaceOperators, ContinuationOfASphereMatchesTheAnalyticAndTheFrequencyDomain) {
  const double depth = 5;
  // Upward by 1, 2 and 4 spacings with the automatic radius: the sphere seen from higher up.
  const struct { double up, tol; } cases[] = {{1, 0.015}, {2, 0.035}, {4, 0.02}};
  for (const auto& k : cases) {
    const auto op = gmDerivOperators(-k.up, 1.0, autoContinuationRadius(-k.up));
    EXPECT_NEAR(op.sum(), 1.0, 1e-9);
    const auto up = applyOp(sphere(depth), op);
    EXPECT_LT(misfit(up, sphere(depth + k.up), 20), k.tol) << k.up;
    char box[16];
    std::snprintf(box, sizeof box, "%g", -k.up);
    const auto fft = fftResult(sphere(depth), kModeContinuation, 0, box);
    EXPECT_LT(relativeDifference(up, fft, 20), k.tol + 0.01) << k.up;
  }
  // Downward by one spacing from 8 spacings above the source.
  const auto down = applyOp(sphere(8), gmDerivOperators(1, 1.0, autoContinuationRadius(1)));
  EXPECT_LT(misfit(down, sphere(7), 20), 0.03);
  // Continuation by 0 is the identity.
  const auto same = applyOp(sphere(depth), gmDerivOperators(0, 1.0, 24));
  EXPECT_LT(misfit(same, sphere(depth), 0), 1e-6);
}

TEST(SpaceOperators, DirectionDerivativesMatchTheAnalyticGradient) {
  const double depth = 6;
  for (double alpha : {45.0, 90.0, 135.0, 180.0, 30.0})
    EXPECT_LT(
        misfit(applyOp(sphere(depth), gmDirectionOp(alpha, 1.0)), sphereDirection(depth, alpha), 4),
        0.01)
        << alpha;
  // Columns twice as wide as rows: the east derivative per row spacing halves the steps' count.
  std::vector<float> v(static_cast<std::size_t>(kSide) * kSide);
  for (int r = 0; r < kSide; ++r)
    for (int c = 0; c < kSide; ++c) v[static_cast<std::size_t>(r) * kSide + c] = float(2.0 * c + r);
  const auto east = applyPointOperator(v, kSide, kSide, gmDirectionOp(0, 2.0));
  const auto north = applyPointOperator(v, kSide, kSide, gmDirectionOp(90, 2.0));
  EXPECT_NEAR(east[60 * kSide + 60], 1.0, 1e-5);
  EXPECT_NEAR(north[60 * kSide + 60], 1.0, 1e-5);
}

TEST(SpaceOperators, NullsStayNullsAndNeverSpread) {
  auto v = sample(sphere(6));
  const std::size_t hole = 60 * kSide + 40;
  for (std::size_t i : {std::size_t{0}, hole, hole + 1, hole + kSide}) v[i] = NULL_VALUE;
  const auto out = applyPointOperator(v, kSide, kSide, gmDerivOperators(-2, 1.0, 32));
  int nulls = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    if (isNullValue(v[i])) {
      EXPECT_EQ(out[i], NULL_VALUE);
      ++nulls;
    } else {
      EXPECT_FALSE(isNullValue(out[i])) << i;
    }
  }
  EXPECT_EQ(nulls, 4);
  // The filled hole keeps the continued field close to the whole grid's.
  const auto whole =
      applyPointOperator(sample(sphere(6)), kSide, kSide, gmDerivOperators(-2, 1.0, 32));
  EXPECT_NEAR(out[hole - 1], whole[hole - 1], 0.01 * whole[60 * kSide + 60]);
}

TEST(SpaceOperators, ResultDoesNotDependOnTheThreads) {
  auto v = sample(sphere(4));
  v[500] = NULL_VALUE;
  const auto op = gmDerivOperators(-3, 1.0, 48);
  EXPECT_EQ(applyPointOperator(v, kSide, kSide, op, 1), applyPointOperator(v, kSide, kSide, op, 2));
}

TEST(SpaceOperators, SmoothStatisticsMatchABruteForceWindowAndSkipNulls) {
  const int nx = 9, ny = 7, w = 2;
  std::vector<float> g(static_cast<std::size_t>(nx) * ny);
  for (std::size_t i = 0; i < g.size(); ++i) g[i] = float((i * 37) % 11) - 3.5f;
  g[20] = NULL_VALUE;
  const SmoothStats s = gmSmoothStats(g, nx, ny, w);
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) {
      const std::size_t o = static_cast<std::size_t>(r) * nx + c;
      if (o == 20) {
        EXPECT_EQ(s.mean[o], NULL_VALUE);
        EXPECT_EQ(s.stddev[o], NULL_VALUE);
        continue;
      }
      double n = 0, s1 = 0, s2 = 0;
      for (int rr = std::max(0, r - w); rr <= std::min(ny - 1, r + w); ++rr)
        for (int cc = std::max(0, c - w); cc <= std::min(nx - 1, c + w); ++cc) {
          const float v = g[static_cast<std::size_t>(rr) * nx + cc];
          if (isNullValue(v)) continue;
          n += 1;
          s1 += v;
          s2 += double(v) * v;
        }
      const double m = s1 / n;
      EXPECT_NEAR(s.mean[o], m, 1e-5);
      EXPECT_NEAR(s.stddev[o], std::sqrt(std::max(0.0, s2 / n - m * m)), 1e-4);
    }
  // A flat window has no spread at all.
  const SmoothStats flat = gmSmoothStats(std::vector<float>(25, 1234.567f), 5, 5, 1);
  for (float sd : flat.stddev) EXPECT_EQ(sd, 0.0f);
}

class SpaceTool : public ::testing::Test {
 protected:
  std::string put(const Grid& g) {
    const std::string p = dir_.file("in.grd");
    EXPECT_TRUE(writeGrid(p, kGridMagicB, "test", g.header, g.nodes));
    return p;
  }
  test::TempDir dir_;
};

TEST_F(SpaceTool, WritesTheMethodAndTheOperatorNote) {
  SpaceJob job;
  job.mode = kSpaceSecondDerivative;
  job.method = 1;
  job.par3 = "0";
  job.inputPath = put(gridOf(sample(sphere(5))));
  job.outputPath = dir_.file("out.grd");
  const SpaceRunResult r = runSpaceProcessing(job);
  ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
  GridReadResult out = readGrid(job.outputPath);
  ASSERT_TRUE(out.ok());
  EXPECT_EQ(out.grid.header.method.substr(0, 18), "垂直二阶导数");
  EXPECT_NE(out.grid.header.note.find("Rosenbach"), std::string::npos);
  EXPECT_LT(misfit(out.grid.nodes, sphereGzz(5), 20), 0.02);
  EXPECT_NEAR(out.grid.header.zMax, r.output.max, 1e-3 * r.output.max);

  // Continuation with a smoothing window first: a 1-node mean flattens the peak a little.
  job.mode = kSpaceContinuation;
  job.par1 = "-2";
  job.par2 = "0";
  job.par3 = "1";
  ASSERT_TRUE(runSpaceProcessing(job).outcome.ok);
  out = readGrid(job.outputPath);
  ASSERT_TRUE(out.ok());
  EXPECT_EQ(out.grid.header.method.substr(0, 12), "上下延拓");
  EXPECT_LT(out.grid.header.zMax, sphere(7)(kCentre, kCentre));
  EXPECT_GT(out.grid.header.zMax, 0.9 * sphere(7)(kCentre, kCentre));
}

TEST_F(SpaceTool, RefusalsWriteNothing) {
  Grid g = gridOf(sample(sphere(5)));
  g.header.dx = 2.0f;  // not square
  SpaceJob job;
  job.inputPath = put(g);
  job.outputPath = dir_.file("out.grd");
  job.par3 = "0";
  job.mode = kSpaceSecondDerivative;
  EXPECT_EQ(runSpaceProcessing(job).outcome.message, kMsgSquareSpacing);
  job.mode = kSpaceContinuation;
  job.par1 = "1";  // downward needs the square operator
  EXPECT_EQ(runSpaceProcessing(job).outcome.message, kMsgSquareSpacing);
  job.par1 = "-1";
  job.par2 = "1";
  EXPECT_EQ(runSpaceProcessing(job).outcome.message, kMsgBadRadius);
  job.par2 = "0";
  job.par3 = "2.5";
  EXPECT_EQ(runSpaceProcessing(job).outcome.message, kMsgBadSmoothWidth);
  job.par3 = "0";
  job.inputPath = dir_.file("missing.grd");
  EXPECT_FALSE(runSpaceProcessing(job).outcome.ok);
  test::writeFile(dir_.file("junk.grd"), "#SRNTHGRIDB#garbage");
  job.inputPath = dir_.file("junk.grd");
  EXPECT_FALSE(runSpaceProcessing(job).outcome.ok);
  EXPECT_FALSE(std::filesystem::exists(job.outputPath));
}

TEST_F(SpaceTool, AStoppedRunWritesNothing) {
  SpaceJob job;
  job.mode = kSpaceContinuation;
  job.par1 = "-4";  // radius 64: some 13,000 weights a node, several looks at the progress
  job.par2 = "0";
  job.par3 = "0";
  job.inputPath = put(gridOf(sample(sphere(5))));
  job.outputPath = dir_.file("out.grd");
  Progress progress;
  int pumps = 0;
  progress.setPumpHook([&] { return ++pumps < 2; });
  const SpaceRunResult r = runSpaceProcessing(job, progress);
  EXPECT_TRUE(r.cancelled);
  EXPECT_FALSE(r.outcome.ok);
  EXPECT_GE(pumps, 2);
  EXPECT_FALSE(std::filesystem::exists(job.outputPath));
}

TEST(SpaceToolCli, DifferentiatesAGridInADirection) {
  test::TempDir dir;
  const Grid g = gridOf(sample(sphere(6)));
  ASSERT_TRUE(writeGrid(dir.file("a.grd"), kGridMagicB, "", g.header, g.nodes));
  auto r = test::runCli("spacefilter --mode 200 --method 4 --par1 30 --grid " + dir.file("a.grd") +
                        " -o " + dir.file("b.grd"));
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find(kMsgFreqDone), std::string::npos);
  GridReadResult out = readGrid(dir.file("b.grd"));
  ASSERT_TRUE(out.ok());
  EXPECT_LT(misfit(out.grid.nodes, sphereDirection(6, 30), 4), 0.01);
  // A bare name is a grid of the work area's grid folder.
  ASSERT_TRUE(createWorkArea(dir.file("area")).ok);
  ASSERT_TRUE(writeGrid(dir.file("area/Grid_dat/s.grd"), kGridMagicB, "", g.header, g.nodes));
  r = test::runCli("spacefilter --workarea " + dir.file("area") +
                   " --mode 300 --par1 -1 --grid s -o " + dir.file("up.grd"));
  ASSERT_EQ(r.status, 0) << r.out;
  out = readGrid(dir.file("up.grd"));
  ASSERT_TRUE(out.ok());
  EXPECT_LT(misfit(out.grid.nodes, sphere(7), 20), 0.015);
  r = test::runCli("spacefilter --mode 100 --method 0 --par3 99 --grid " + dir.file("a.grd") +
                   " -o " + dir.file("c.grd"));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.out.find(kMsgBadSmoothWidth), std::string::npos);
}

}  // namespace
}  // namespace sarnoth::gravmag
