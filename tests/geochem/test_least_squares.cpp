// The least-squares engine against the certified values of the NIST Statistical Reference
// Datasets for linear regression (StRD, https://www.itl.nist.gov/div898/strd/lls/lls.shtml),
// public-domain reference data. The data and the certified values below are typed from the
// NIST pages (Norris, Pontius, NoInt1, NoInt2, Filip, Longley, Wampler1–5); every set was checked
// once by an exact rational least-squares solution in Python (fractions.Fraction), which
// reproduced the certified coefficients to 14 digits or more.
//
// Agreement is measured as NIST does, by the log relative error LRE = −log10(|x − c| / |c|)
// (−log10|x| when c is 0), the number of correct significant digits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "geochem/least_squares.h"

namespace sarnoth::geochem {
namespace {

double lre(double x, double c) {
  if (c == 0) return x == 0 ? 16 : -std::log10(std::fabs(x));
  if (x == c) return 16;
  return -std::log10(std::fabs(x - c) / std::fabs(c));
}

struct Certified {
  std::vector<double> b, sd;  // intercept first when the model has one
  double residualSD, rSquared;
};

// Columns of a design: the polynomial powers 1..degree of x, or given columns.
struct Design {
  std::vector<double> x, y;
  int m = 0;
  DesignColumns<double> view() const { return {x, y, m, static_cast<std::int64_t>(y.size())}; }
};

Design polynomial(const std::vector<double>& x, const std::vector<double>& y, int degree) {
  Design d;
  d.m = degree;
  d.y = y;
  for (int k = 1; k <= degree; ++k)
    for (double v : x) d.x.push_back(std::pow(v, k));
  return d;
}

// Fits and returns the smallest LRE over coefficients, their standard errors, the residual SD
// and R².
double worstLre(const Design& d, const Certified& c, bool intercept = true) {
  FitOptions opt;
  opt.intercept = intercept;
  LeastSquaresFit f = fitLeastSquares(d.view(), opt);
  EXPECT_TRUE(f.ok());
  if (!f.ok()) return 0;
  std::vector<double> b, sd;
  if (intercept) {
    b.push_back(f.intercept);
    sd.push_back(f.interceptStdErr);
  }
  b.insert(b.end(), f.b.begin(), f.b.end());
  sd.insert(sd.end(), f.stdErr.begin(), f.stdErr.end());
  double worst = 16;
  for (std::size_t j = 0; j < b.size(); ++j) {
    worst = std::min(worst, lre(b[j], c.b[j]));
    if (c.sd[j] != 0) worst = std::min(worst, lre(sd[j], c.sd[j]));
  }
  if (c.residualSD != 0) worst = std::min(worst, lre(f.residualSD, c.residualSD));
  worst = std::min(worst, lre(f.rSquared, c.rSquared));
  return worst;
}

// ---- data, as published --------------------------------------------------------------------

const std::vector<std::pair<double, double>> kNorris = {  // y, x
    {0.1, 0.2},     {338.8, 337.4}, {118.1, 118.2}, {888.0, 884.6}, {9.2, 10.1},    {228.1, 226.5},
    {668.5, 666.3}, {998.5, 996.3}, {449.1, 448.6}, {778.9, 777.0}, {559.2, 558.2}, {0.3, 0.4},
    {0.1, 0.6},     {778.1, 775.5}, {668.8, 666.9}, {339.3, 338.0}, {448.9, 447.5}, {10.8, 11.6},
    {557.7, 556.0}, {228.3, 228.1}, {998.0, 995.8}, {888.8, 887.6}, {119.6, 120.2}, {0.3, 0.3},
    {0.6, 0.3},     {557.6, 556.8}, {339.3, 339.1}, {888.0, 887.2}, {998.5, 999.0}, {778.9, 779.0},
    {10.2, 11.1},   {117.6, 118.3}, {228.9, 229.2}, {668.4, 669.1}, {449.2, 448.9}, {0.2, 0.5}};

const std::vector<std::pair<double, double>> kPontius = {  // deflection y, load x
    {.11019, 150000},   {.21956, 300000},   {.32949, 450000},   {.43899, 600000},
    {.54803, 750000},   {.65694, 900000},   {.76562, 1050000},  {.87487, 1200000},
    {.98292, 1350000},  {1.09146, 1500000}, {1.20001, 1650000}, {1.30822, 1800000},
    {1.41599, 1950000}, {1.52399, 2100000}, {1.63194, 2250000}, {1.73947, 2400000},
    {1.84646, 2550000}, {1.95392, 2700000}, {2.06128, 2850000}, {2.16844, 3000000},
    {.11052, 150000},   {.22018, 300000},   {.32939, 450000},   {.43886, 600000},
    {.54798, 750000},   {.65739, 900000},   {.76596, 1050000},  {.87474, 1200000},
    {.98300, 1350000},  {1.09150, 1500000}, {1.20004, 1650000}, {1.30818, 1800000},
    {1.41613, 1950000}, {1.52408, 2100000}, {1.63159, 2250000}, {1.73965, 2400000},
    {1.84696, 2550000}, {1.95445, 2700000}, {2.06177, 2850000}, {2.16829, 3000000}};

const std::vector<std::pair<double, double>> kFilip = {
    // y, x
    {0.8116, -6.860120914}, {0.9072, -4.324130045}, {0.9052, -4.358625055}, {0.9039, -4.358426747},
    {0.8053, -6.955852379}, {0.8377, -6.661145254}, {0.8667, -6.355462942}, {0.8809, -6.118102026},
    {0.7975, -7.115148017}, {0.8162, -6.815308569}, {0.8515, -6.519993057}, {0.8766, -6.204119983},
    {0.8885, -5.853871964}, {0.8859, -6.109523091}, {0.8959, -5.79832982},  {0.8913, -5.482672118},
    {0.8959, -5.171791386}, {0.8971, -4.851705903}, {0.9021, -4.517126416}, {0.909, -4.143573228},
    {0.9139, -3.709075441}, {0.9199, -3.499489089}, {0.8692, -6.300769497}, {0.8872, -5.953504836},
    {0.89, -5.642065153},   {0.891, -5.031376979},  {0.8977, -4.680685696}, {0.9035, -4.329846955},
    {0.9078, -3.928486195}, {0.7675, -8.56735134},  {0.7705, -8.363211311}, {0.7713, -8.107682739},
    {0.7736, -7.823908741}, {0.7775, -7.522878745}, {0.7841, -7.218819279}, {0.7971, -6.920818754},
    {0.8329, -6.628932138}, {0.8641, -6.323946875}, {0.8804, -5.991399828}, {0.7668, -8.781464495},
    {0.7633, -8.663140179}, {0.7678, -8.473531488}, {0.7697, -8.247337057}, {0.77, -7.971428747},
    {0.7749, -7.676129393}, {0.7796, -7.352812702}, {0.7897, -7.072065318}, {0.8131, -6.774174009},
    {0.8498, -6.478861916}, {0.8741, -6.159517513}, {0.8061, -6.835647144}, {0.846, -6.53165267},
    {0.8751, -6.224098421}, {0.8856, -5.910094889}, {0.8919, -5.598599459}, {0.8934, -5.290645224},
    {0.894, -4.974284616},  {0.8957, -4.64454848},  {0.9047, -4.290560426}, {0.9129, -3.885055584},
    {0.9209, -3.408378962}, {0.9219, -3.13200249},  {0.7739, -8.726767166}, {0.7681, -8.66695597},
    {0.7665, -8.511026475}, {0.7703, -8.165388579}, {0.7702, -7.886056648}, {0.7761, -7.588043762},
    {0.7809, -7.283412422}, {0.7961, -6.995678626}, {0.8253, -6.691862621}, {0.8602, -6.392544977},
    {0.8809, -6.067374056}, {0.8301, -6.684029655}, {0.8664, -6.378719832}, {0.8834, -6.065855188},
    {0.8898, -5.752272167}, {0.8964, -5.132414673}, {0.8963, -4.811352704}, {0.9074, -4.098269308},
    {0.9119, -3.66174277},  {0.9228, -3.2644011},
};

// Longley: y (total employment), then GNP deflator, GNP, unemployed, armed forces, population,
// year.
const std::vector<std::vector<double>> kLongley = {
    {60323, 83.0, 234289, 2356, 1590, 107608, 1947},
    {61122, 88.5, 259426, 2325, 1456, 108632, 1948},
    {60171, 88.2, 258054, 3682, 1616, 109773, 1949},
    {61187, 89.5, 284599, 3351, 1650, 110929, 1950},
    {63221, 96.2, 328975, 2099, 3099, 112075, 1951},
    {63639, 98.1, 346999, 1932, 3594, 113270, 1952},
    {64989, 99.0, 365385, 1870, 3547, 115094, 1953},
    {63761, 100.0, 363112, 3578, 3350, 116219, 1954},
    {66019, 101.2, 397469, 2904, 3048, 117388, 1955},
    {67857, 104.6, 419180, 2822, 2857, 118734, 1956},
    {68169, 108.4, 442769, 2936, 2798, 120445, 1957},
    {66513, 110.8, 444546, 4681, 2637, 121950, 1958},
    {68655, 112.6, 482704, 3813, 2552, 123366, 1959},
    {69564, 114.2, 502601, 3931, 2514, 125368, 1960},
    {69331, 115.7, 518173, 4806, 2572, 127852, 1961},
    {70551, 116.9, 554894, 4007, 2827, 130081, 1962}};

// Wampler 3–5: x = 0..20, y = 1 + x + … + x⁵ plus noise orthogonal to the polynomial.
const std::vector<double> kWampler3 = {760,    -2042,  2111,    -1684,   3888,    1858,    11379,
                                       17560,  39287,  64382,   113159,  175108,  273291,  400186,
                                       581243, 811568, 1121004, 1506550, 2002767, 2611612, 3369180};
const std::vector<double> kWampler4 = {
    75901,  -204794, 204863, -204436, 253665, -200894, 214131,  -185192, 221249,  -138370, 315911,
    -27644, 455253,  197434, 783995,  608816, 1370781, 1303798, 2205519, 2408860, 3444321};
const std::vector<double> kWampler5 = {
    7590001,   -20479994, 20480063,  -20479636, 25231365,  -20476094, 20489331,
    -20460392, 18417449,  -20413570, 20591111,  -20302844, 18651453,  -20077766,
    21059195,  -19666384, 26348481,  -18971402, 22480719,  -17866340, 10958421};

std::vector<double> firstOf(const std::vector<std::pair<double, double>>& d) {
  std::vector<double> v;
  for (auto& p : d) v.push_back(p.first);
  return v;
}
std::vector<double> secondOf(const std::vector<std::pair<double, double>>& d) {
  std::vector<double> v;
  for (auto& p : d) v.push_back(p.second);
  return v;
}
std::vector<double> zeroToTwenty() {
  std::vector<double> x;
  for (int i = 0; i <= 20; ++i) x.push_back(i);
  return x;
}

// ---- lower difficulty ------------------------------------------------------

TEST(CertifiedRegression, NorrisLinear) {
  Certified c{{-0.262323073774029, 1.00211681802045},
              {0.232818234301152, 0.429796848199937E-03},
              0.884796396144373,
              0.999993745883712};
  EXPECT_GE(worstLre(polynomial(secondOf(kNorris), firstOf(kNorris), 1), c), 9);
}

TEST(CertifiedRegression, NoInterceptSets) {
  Design d1 = polynomial({60, 61, 62, 63, 64, 65, 66, 67, 68, 69, 70},
                         {130, 131, 132, 133, 134, 135, 136, 137, 138, 139, 140}, 1);
  Certified c1{{2.07438016528926}, {0.165289256198347E-01}, 3.56753034006338, 0.999365492298663};
  EXPECT_GE(worstLre(d1, c1, false), 9);
  Design d2 = polynomial({4, 5, 6}, {3, 4, 4}, 1);
  Certified c2{{0.727272727272727}, {0.420827318078432E-01}, 0.369274472937998, 0.993348115299335};
  EXPECT_GE(worstLre(d2, c2, false), 9);
}

// ---- average difficulty --------------------------------------------------------------------

TEST(CertifiedRegression, PontiusQuadratic) {
  Certified c{{0.673565789473684E-03, 0.732059160401003E-06, -0.316081871345029E-14},
              {0.107938612033077E-03, 0.157817399981659E-09, 0.486652849992036E-16},
              0.205177424076185E-03,
              0.999999900178537};
  EXPECT_GE(worstLre(polynomial(secondOf(kPontius), firstOf(kPontius), 2), c), 9);
}

// ---- higher difficulty ---------------------------------------------------------------------

TEST(CertifiedRegression, LongleyMultiple) {
  Design d;
  d.m = 6;
  for (int j = 1; j <= 6; ++j)
    for (const auto& r : kLongley) d.x.push_back(r[static_cast<std::size_t>(j)]);
  for (const auto& r : kLongley) d.y.push_back(r[0]);
  Certified c{{-3482258.63459582, 15.0618722713733, -0.358191792925910E-01, -2.02022980381683,
               -1.03322686717359, -0.511041056535807E-01, 1829.15146461355},
              {890420.383607373, 84.9149257747669, 0.334910077722432E-01, 0.488399681651699,
               0.214274163161675, 0.226073200069370, 455.478499142212},
              304.854073561965,
              0.995479004577296};
  EXPECT_GE(worstLre(d, c), 9);
}

TEST(CertifiedRegression, FilipDegreeTenPolynomial) {
  Certified c{{-1467.48961422980, -2772.17959193342, -2316.37108160893, -1127.97394098372,
               -354.478233703349, -75.1242017393757, -10.8753180355343, -1.06221498588947,
               -0.670191154593408E-01, -0.246781078275479E-02, -0.402962525080404E-04},
              {298.084530995537, 559.779865474950, 466.477572127796, 227.204274477751,
               71.6478660875927, 15.2897178747400, 2.23691159816033, 0.221624321934227,
               0.142363763154724E-01, 0.535617408889821E-03, 0.896632837373868E-05},
              0.334801051324544E-02,
              0.996727416185620};
  EXPECT_GE(worstLre(polynomial(secondOf(kFilip), firstOf(kFilip), 10), c), 7);
}

TEST(CertifiedRegression, WamplerExactAndNoisyQuintics) {
  const std::vector<double> x = zeroToTwenty();
  std::vector<double> y1, y2;
  for (double v : x) {
    y1.push_back(1 + v + v * v + v * v * v + v * v * v * v + v * v * v * v * v);
    // Wampler2 publishes 1 + 0.1x + … + 0.00001x⁵ to five decimals, which is exact.
    double t = 0, p = 1;
    for (int k = 0; k <= 5; ++k, p *= v / 10) t += p;
    y2.push_back(std::round(t * 1e5) / 1e5);
  }
  const std::vector<double> zeros(6, 0.0);
  Certified w1{std::vector<double>(6, 1.0), zeros, 0, 1};
  EXPECT_GE(worstLre(polynomial(x, y1, 5), w1), 9);
  Certified w2{{1, 0.1, 0.01, 0.001, 0.0001, 0.00001}, zeros, 0, 1};
  EXPECT_GE(worstLre(polynomial(x, y2, 5), w2), 9);
  // Exact fits: the standard errors and the residual SD are 0 to rounding.
  LeastSquaresFit f = fitLeastSquares(polynomial(x, y1, 5).view());
  EXPECT_LT(f.residualSD, 1e-6);
  EXPECT_LT(f.stdErr[4], 1e-9);

  const std::vector<double> ones(6, 1.0);
  Certified w3{ones,
               {2152.32624678170, 2363.55173469681, 779.343524331583, 101.475507550350,
                5.64566512170752, 0.112324854679312},
               2360.14502379268,
               0.999995559025820};
  EXPECT_GE(worstLre(polynomial(x, kWampler3, 5), w3), 9);
  Certified w4{ones,
               {215232.624678170, 236355.173469681, 77934.3524331583, 10147.5507550350,
                564.566512170752, 11.2324854679312},
               236014.502379268,
               0.957478440825662};
  EXPECT_GE(worstLre(polynomial(x, kWampler4, 5), w4), 9);
  Certified w5{ones,
               {21523262.4678170, 23635517.3469681, 7793435.24331583, 1014755.07550350,
                56456.6512170752, 1123.24854679312},
               23601450.2379268,
               0.224668921574940E-02};
  EXPECT_GE(worstLre(polynomial(x, kWampler5, 5), w5), 9);
}

// ---- sums, deviations and refusals ----------------------------------------------------------

TEST(LeastSquares, SumsOfSquaresAndDeviationsOfAHandWorkedLine) {
  // x 1..4, y 1, 3, 2, 5: b1 = 1.1, b0 = 0, fitted 1.1, 2.2, 3.3, 4.4, residuals -0.1, 0.8,
  // -1.3, 0.6; Q = 2.7, Syy = 14.75 - 12.25... = 8.75, U = 6.05.
  Design d = polynomial({1, 2, 3, 4}, {1, 3, 2, 5}, 1);
  LeastSquaresFit f = fitLeastSquares(d.view());
  ASSERT_TRUE(f.ok());
  EXPECT_NEAR(f.b[0], 1.1, 1e-14);
  EXPECT_NEAR(f.intercept, 0, 1e-14);
  EXPECT_NEAR(f.sse, 2.7, 1e-13);
  EXPECT_NEAR(f.regressionSS, 6.05, 1e-13);
  EXPECT_NEAR(f.totalSS, 8.75, 1e-13);
  EXPECT_NEAR(f.residualSD, std::sqrt(2.7 / 2), 1e-14);
  EXPECT_NEAR(f.maxAbsResidual, 1.3, 1e-14);
  EXPECT_NEAR(f.minAbsResidual, 0.1, 1e-14);
  EXPECT_NEAR(f.meanAbsResidual, 2.8 / 4, 1e-14);
  EXPECT_NEAR(f.means[0], 2.5, 1e-15);
  EXPECT_NEAR(f.means[1], 2.75, 1e-15);
  // One predictor: the partial correlation is the plain correlation, √(U / Syy).
  EXPECT_NEAR(f.partialCorrelation[0], std::sqrt(6.05 / 8.75), 1e-14);
}

TEST(LeastSquares, RefusesDependentConstantShortAndNonFiniteDesigns) {
  Design d;
  d.m = 3;
  d.y = {1, 2, 4, 3, 7, 5};
  const std::vector<double> a{1, 2, 3, 4, 5, 6}, b{2, 1, 2, 5, 3, 3};
  d.x = a;
  d.x.insert(d.x.end(), b.begin(), b.end());
  for (std::size_t i = 0; i < 6; ++i) d.x.push_back(2 * a[i] - b[i]);  // x3 = 2·x1 − x2
  LeastSquaresFit f = fitLeastSquares(d.view());
  EXPECT_EQ(f.status, FitStatus::Dependent);
  EXPECT_GE(f.dependentColumn, 0);

  Design c = polynomial({3, 3, 3, 3}, {1, 2, 3, 4}, 1);  // a constant predictor
  f = fitLeastSquares(c.view());
  EXPECT_EQ(f.status, FitStatus::Dependent);
  EXPECT_EQ(f.dependentColumn, 0);

  Design s = polynomial({1, 2, 3}, {1, 2, 3}, 3);  // three samples, four coefficients
  EXPECT_EQ(fitLeastSquares(s.view()).status, FitStatus::TooFewSamples);

  Design nf = polynomial({1, 2, NAN, 4}, {1, 2, 3, 4}, 1);
  EXPECT_EQ(fitLeastSquares(nf.view()).status, FitStatus::NotFinite);
}

TEST(LeastSquares, ChunkedReductionIsTheSameOnAnyThreadCount) {
  // Several chunks of rows: the factor of each chunk and their combination do not depend on
  // the threads, so the coefficients agree to the last bit.
  std::mt19937 rng(5);
  std::normal_distribution<double> nd;
  Design d;
  d.m = 4;
  const std::size_t n = 200000;
  d.x.resize(4 * n);
  d.y.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    double yv = 3;
    for (std::size_t j = 0; j < 4; ++j) {
      d.x[j * n + i] = nd(rng);
      yv += (j + 1) * d.x[j * n + i];
    }
    d.y[i] = yv + 0.5 * nd(rng);
  }
  FitOptions one, two;
  one.threads = 1;
  two.threads = 2;
  LeastSquaresFit a = fitLeastSquares(d.view(), one), b = fitLeastSquares(d.view(), two);
  ASSERT_TRUE(a.ok());
  EXPECT_EQ(a.b, b.b);
  EXPECT_EQ(a.intercept, b.intercept);
  EXPECT_EQ(a.sse, b.sse);
  for (std::size_t j = 0; j < 4; ++j) EXPECT_NEAR(a.b[j], j + 1.0, 0.01);
  EXPECT_NEAR(a.residualSD, 0.5, 0.01);
}

// ---- stepwise selection ----------------------------------------------------------------------

TEST(Stepwise, HaldCementEntersX4X1X2ThenRemovesX4) {
  // Hald's cement data (Hald 1952; Draper & Smith, Applied Regression Analysis, 3rd ed., §15.2)
  // with F to enter and to remove both 4.0: x4 enters, then x1, then x2 (partial F 5.03), and
  // x4 then leaves (partial F 1.86), giving y = 52.5773 + 1.46831·x1 + 0.662250·x2. Values
  // checked by exact rational least squares.
  const std::vector<double> x1{7, 1, 11, 11, 7, 11, 3, 1, 2, 21, 1, 11, 10},
      x2{26, 29, 56, 31, 52, 55, 71, 31, 54, 47, 40, 66, 68},
      x3{6, 15, 8, 8, 6, 9, 17, 22, 18, 4, 23, 9, 8},
      x4{60, 52, 20, 47, 33, 22, 6, 44, 22, 26, 34, 12, 12},
      y{78.5, 74.3, 104.3, 87.6, 95.9, 109.2, 102.7, 72.5, 93.1, 115.9, 83.8, 113.3, 109.4};
  Design d;
  d.m = 4;
  for (const auto* c : {&x1, &x2, &x3, &x4}) d.x.insert(d.x.end(), c->begin(), c->end());
  d.y = y;
  StepwiseResult r = stepwiseRegression(d.view(), 4.0, 4.0);
  ASSERT_EQ(r.status, FitStatus::Ok);
  EXPECT_EQ(r.order, (std::vector<int>{4, 1, 2, -4}));
  EXPECT_EQ(r.selected, (std::vector<int>{0, 1}));
  EXPECT_NEAR(r.intercept, 52.57734888208949, 1e-10);
  EXPECT_NEAR(r.b[0], 1.468305742215552, 1e-12);
  EXPECT_NEAR(r.b[1], 0.6622504912746457, 1e-12);
  EXPECT_EQ(r.b[3], 0);
  EXPECT_NEAR(r.sse, 57.90448317611359, 1e-10);
  EXPECT_NEAR(r.residualSD, std::sqrt(57.90448317611359 / 10), 1e-12);
  // x1's partial sum of squares: the residual of the equation on x2 alone less the final one.
  EXPECT_GT(r.partialSS[0], 0);
  EXPECT_EQ(r.partialSS[3], 0);
  EXPECT_NEAR(r.means[4], 95.42307692307692, 1e-12);
  // Correlation of x4 with y, a textbook value: -0.82131.
  EXPECT_NEAR(r.correlation[3 * 5 + 4], -0.821305, 1e-6);

  // Stricter limits stop after x4 and x1: x2's partial F of 5.03 is below 6.
  StepwiseResult strict = stepwiseRegression(d.view(), 6.0, 6.0);
  EXPECT_EQ(strict.order, (std::vector<int>{4, 1}));
}

}  // namespace
}  // namespace sarnoth::geochem
