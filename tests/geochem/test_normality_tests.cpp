// The normality tests against R 4.2.2. Reference values were generated once with Rscript and are
// typed in here; the R commands stand beside each group. The samples:
//   x20   <- c(12.1, 15.3, 9.8, 22.4, 18.7, 11.2, 14.9, 30.5, 16.8, 13.3, 19.6, 10.4, 25.1, 17.2,
//              12.9, 14.1, 21.3, 15.8, 45.2, 13.7)
//   i <- 1:60;   x60   <- 50 + 10*sin(i*1.3) + 5*cos(i*i*0.7)
//   i <- 1:500;  x500  <- exp(0.5*sin(i*0.9) + 0.3*cos(i*2.1))
//   i <- 1:5000; x5000 <- sin(i*0.37) + 0.2*cos(i*1.91)
// (the same formulas below, with the same C library, give the same doubles).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "geochem/normality_tests.h"

namespace sarnoth::geochem {
namespace {

// Agreement to four significant digits (and far better in practice: the same algorithms).
void expectFourDigits(double actual, double expected, const char* what) {
  EXPECT_NEAR(actual, expected, 1e-4 * std::abs(expected)) << what;
}

const std::vector<double> kX20 = {12.1, 15.3, 9.8,  22.4, 18.7, 11.2, 14.9, 30.5, 16.8, 13.3,
                                  19.6, 10.4, 25.1, 17.2, 12.9, 14.1, 21.3, 15.8, 45.2, 13.7};

std::vector<double> x60() {
  std::vector<double> x;
  for (int i = 1; i <= 60; ++i)
    x.push_back(50 + 10 * std::sin(i * 1.3) + 5 * std::cos(i * i * 0.7));
  return x;
}
std::vector<double> x500() {
  std::vector<double> x;
  for (int i = 1; i <= 500; ++i)
    x.push_back(std::exp(0.5 * std::sin(i * 0.9) + 0.3 * std::cos(i * 2.1)));
  return x;
}
std::vector<double> x5000() {
  std::vector<double> x;
  for (int i = 1; i <= 5000; ++i) x.push_back(std::sin(i * 0.37) + 0.2 * std::cos(i * 1.91));
  return x;
}

double meanOf(const std::vector<double>& x) {
  double s = 0;
  for (double v : x) s += v;
  return s / static_cast<double>(x.size());
}
double sdOf(const std::vector<double>& x) {
  const double m = meanOf(x);
  double s = 0;
  for (double v : x) s += (v - m) * (v - m);
  return std::sqrt(s / static_cast<double>(x.size() - 1));
}

TEST(NormalityTests, ProbabilityFunctionsAgreeWithR) {
  // qnorm(0.975); qnorm(1e-10); pchisq(3.84, 1, lower.tail=FALSE); pchisq(50, 7, lower.tail=
  // FALSE); pchisq(0.5, 3, lower.tail=FALSE)
  EXPECT_NEAR(normalQuantile(0.975), 1.9599639845400536, 1e-13);
  EXPECT_NEAR(normalQuantile(1e-10), -6.3613409024040557, 1e-12);
  EXPECT_NEAR(normalCdf(normalQuantile(0.3)), 0.3, 1e-15);
  EXPECT_NEAR(chiSquareUpperTail(3.84, 1), 5.0043521248705224e-02, 1e-15);
  EXPECT_NEAR(chiSquareUpperTail(50, 7), 1.4444852779215407e-08, 1e-20);
  EXPECT_NEAR(chiSquareUpperTail(0.5, 3), 9.1889141165467592e-01, 1e-14);
  EXPECT_EQ(chiSquareUpperTail(0, 3), 1.0);
}

TEST(NormalityTests, ShapiroWilkAgreesWithRAcrossItsBranches) {
  // t <- shapiro.test(x); c(t$statistic, t$p.value)
  struct Case {
    std::vector<double> x;
    double w, p;
  };
  const std::vector<double> s60 = x60();
  const std::vector<Case> cases = {
      {{2.1, 3.4, 1.9}, 0.847989949748744, 0.235089234242047},              // n = 3, exact p
      {{2.1, 3.4, 1.9, 5.6}, 0.876031833939984, 0.321964801172321},         // n = 4
      {{2.1, 3.4, 1.9, 5.6, 2.8}, 0.868635217180985, 0.260941325624608},    // n = 5
      {{1, 2, 2.5, 3, 3.1, 7, 8.2}, 0.851633755342656, 0.127196877420301},  // n = 7
      {{2.1, 3.4, 1.9, 5.6, 2.8, 4.4, 3.3, 2.2, 6.1, 3.9}, 0.9236562849048, 0.388461156088},
      {{s60.begin(), s60.begin() + 11}, 0.942423914373606, 0.549399934849491},  // n = 11
      {{s60.begin(), s60.begin() + 12}, 0.957918735188397, 0.753757618931032},  // n = 12
      {kX20, 0.79277142002642, 0.000675405259060216},
      {s60, 0.984611145630522, 0.649814667737608},
      {x500(), 0.939036397592236, 1.91375955072948e-13},
      {x5000(), 0.93255824943375, 8.19324079135547e-43},
  };
  for (const Case& c : cases) {
    const auto r = shapiroWilk(c.x);
    ASSERT_TRUE(r.has_value()) << c.x.size();
    expectFourDigits(r->w, c.w, "W");
    expectFourDigits(r->p, c.p, "p");
  }
  // shapiro.test(log(x20)): W = 0.943333569305824, p = 0.276989785104256
  std::vector<double> logs;
  for (double v : kX20) logs.push_back(std::log(v));
  expectFourDigits(shapiroWilk(logs)->w, 0.943333569305824, "W of logs");
  expectFourDigits(shapiroWilk(logs)->p, 0.276989785104256, "p of logs");
}

TEST(NormalityTests, ShapiroWilkRefusesWhatItCannotTest) {
  EXPECT_FALSE(shapiroWilk(std::vector<double>{1, 2}).has_value());
  EXPECT_FALSE(shapiroWilk(std::vector<double>{4, 4, 4, 4}).has_value());
  EXPECT_FALSE(shapiroWilk(std::vector<double>(5001, 1.0)).has_value());
  // The coefficients are antisymmetric and of unit length.
  for (int n : {3, 4, 5, 6, 11, 50, 4999}) {
    const std::vector<double> a = shapiroWilkCoefficients(n);
    double ss = 0;
    for (double v : a) ss += 2 * v * v;
    EXPECT_NEAR(ss, 1.0, 1e-12) << n;
    EXPECT_TRUE(std::is_sorted(a.rbegin(), a.rend())) << n;  // largest at the extremes
  }
}

TEST(NormalityTests, KolmogorovSmirnovAgreesWithRExactAndAsymptotic) {
  // t <- ks.test(x, "pnorm", mean(x), sd(x)); c(t$statistic, t$p.value, t$exact)
  struct Case {
    std::vector<double> x;
    double d, p;
    bool exact;
  };
  const std::vector<Case> cases = {{kX20, 0.18937279141651, 0.418167372047282, true},
                                   {x60(), 0.0647584962381913, 0.948827517623764, true},
                                   {x500(), 0.103593386189492, 4.36877645865197e-05, false}};
  for (const Case& c : cases) {
    const KolmogorovSmirnovResult r = kolmogorovSmirnovNormal(c.x, meanOf(c.x), sdOf(c.x));
    expectFourDigits(r.d, c.d, "D");
    expectFourDigits(r.p, c.p, "p");
    EXPECT_EQ(r.exact, c.exact);
  }
  // Ties take the limiting distribution whatever n, as in R.
  std::vector<double> tied = kX20;
  tied[1] = tied[0];
  EXPECT_FALSE(kolmogorovSmirnovNormal(tied, meanOf(tied), sdOf(tied)).exact);
}

TEST(NormalityTests, KolmogorovDistributionsAgreeWithR) {
  // .Call(stats:::C_pKolmogorov2x, d, n)
  EXPECT_NEAR(kolmogorovCdf(10, 0.274), 0.628479615456504, 1e-12);
  EXPECT_NEAR(kolmogorovCdf(20, 0.1), 0.023744905407845, 1e-13);
  EXPECT_NEAR(kolmogorovCdf(50, 0.05), 0.000976190153811644, 1e-15);
  EXPECT_NEAR(kolmogorovCdf(99, 0.2), 0.999398128757178, 1e-12);
  EXPECT_NEAR(kolmogorovCdf(5, 0.6), 0.96992, 1e-12);
  EXPECT_EQ(kolmogorovCdf(10, 0), 0.0);
  EXPECT_EQ(kolmogorovCdf(10, 1), 1.0);
  // 1 - .Call(stats:::C_pKS2, t, 1e-12)
  EXPECT_NEAR(kolmogorovLimitUpperTail(0.3), 0.999990694198665, 1e-12);
  EXPECT_NEAR(kolmogorovLimitUpperTail(0.8), 0.544142411574198, 1e-12);
  EXPECT_NEAR(kolmogorovLimitUpperTail(1.0), 0.269999671677355, 1e-12);
  EXPECT_NEAR(kolmogorovLimitUpperTail(1.36), 0.0494858767553779, 1e-12);
  EXPECT_NEAR(kolmogorovLimitUpperTail(2.0), 0.00067092525577972, 1e-14);
}

TEST(NormalityTests, ChiSquarePoolsClassesAndAgreesWithR) {
  // k <- nclass.Sturges(x); b <- min(x) + (0:k)*(max(x)-min(x))/k; b[k+1] <- max(x)
  // O <- table(cut(x, b, include.lowest=TRUE, right=FALSE)); E from pnorm(b, mean(x), sd(x))
  // with the outer classes open; pooled from the left to E ≥ 5 (the rest into the last class);
  // chisq.test(O, p = E/sum(E))$statistic; pchisq(X2, classes - 3, lower.tail=FALSE)
  const std::vector<double> x = x60();
  const double lo = *std::min_element(x.begin(), x.end()),
               hi = *std::max_element(x.begin(), x.end());
  std::vector<double> b;
  for (int i = 0; i <= 7; ++i) b.push_back(lo + i * (hi - lo) / 7);
  b.back() = hi;
  const std::vector<std::int64_t> observed = {4, 5, 13, 12, 14, 6, 6};
  const ChiSquareResult r = chiSquareNormal(b, observed, meanOf(x), sdOf(x));
  ASSERT_TRUE(r.valid);
  ASSERT_EQ(r.classes.size(), 5u);  // 4+5, 13, 12, 14, 6+6
  const std::int64_t pooled[] = {9, 13, 12, 14, 12};
  const double expected[] = {10.3907971437488, 11.4017976781385, 13.9414327591216, 12.1319802780772,
                             12.1339921409138};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(r.classes[i].observed, pooled[i]);
    expectFourDigits(r.classes[i].expected, expected[i], "E");
  }
  EXPECT_TRUE(std::isinf(r.classes.front().lo) && std::isinf(r.classes.back().hi));
  EXPECT_EQ(r.df, 2);
  expectFourDigits(r.statistic, 0.96964294214322, "X2");
  expectFourDigits(r.p, 0.615807126337549, "p");

  // x20 in six classes pools to three: no degree of freedom left, no test.
  const ChiSquareResult none =
      chiSquareNormal(std::vector<double>{9.8, 15.7, 21.6, 27.5, 33.4, 39.3, 45.2},
                      std::vector<std::int64_t>{10, 6, 2, 1, 0, 1}, meanOf(kX20), sdOf(kX20));
  EXPECT_FALSE(none.valid);
  EXPECT_EQ(none.classes.size(), 3u);
}

}  // namespace
}  // namespace sarnoth::geochem
