// The distribution test of one element of a work-area table (the tool "分布检验",
// frmDataProcSingleHis; command `histtest`): histogram, normal and log-normal fits, moments and
// the normality tests, with a normal probability (Q–Q) plot.
//
// What is computed. The field is read in table order; a value counts as data when it is greater
// than -1E+37 (the histogram tool's null test) and finite. On the log scale the values are
// replaced by log10 x, and values at or below 0 are left out and counted. On the values tested:
//  - n, minimum, maximum, mean, sample standard deviation (n − 1), coefficient of variation;
//    skewness and excess kurtosis by skewKurtosis, the median by sortAndMedian (numeric_routines.h:
//    single precision, as the data are stored); the geometric mean 10^mean(log10 x) when every
//    value of the raw scale is above 0.
//  - The class count by a rule on the tested values, or as typed (1 … 200):
//      Sturges   k = ⌈log2 n + 1⌉                                     (Sturges 1926)
//      Scott     h = 3.5·s·n^(−1/3), k = ⌈range/h⌉                     (Scott 1979)
//      Freedman–Diaconis h = 2·IQR·n^(−1/3), k = ⌈range/h⌉ (Sturges when the IQR is 0)
//                                                        (Freedman & Diaconis 1981)
//    as R's nclass.Sturges, nclass.scott and nclass.FD compute them (the IQR of type-7
//    quantiles). Classes are k equal intervals from the minimum to the maximum, each closed below
//    and open above, the last closed at the maximum.
//  - Fits drawn over the histogram as expected counts n·h·f(x): the normal N(x̄, s) of the tested
//    values, and on the raw scale with every value above 0 the log-normal whose log has the mean
//    and sample deviation of ln x.
//  - Kolmogorov–Smirnov, Shapiro–Wilk (3 ≤ n ≤ 5000) and χ² (the histogram's classes pooled to
//    5 expected, ν = classes − 3) against N(x̄, s): normality_tests.h. On the log scale the
//    hypothesis tested is log-normality.
//  - The Q–Q plot: the ordered values against the normal scores Φ⁻¹((i − a)/(n + 1 − 2a)),
//    a = 3/8 for n ≤ 10 and 1/2 above (R's ppoints and qqnorm), with the line through the
//    quartiles of both (R's qqline).
// At least 3 values with some spread are needed; fewer stop with the tool's message.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "display/chart.h"
#include "geochem/normality_tests.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kHistTestCaption = "分布检验";
inline constexpr const char* kHistReportTitle = "     ----- 数据分布检验结果 ------";
inline constexpr const char* kMsgHistChooseItem = "请选择数据项!";
inline constexpr const char* kMsgHistTooFew = "样品数太少,不能进行分析!!!";
inline constexpr const char* kMsgHistNoSpread = "数据项的值全部相同, 不能进行分布检验。";
inline constexpr const char* kMsgHistBadClasses = "分组数必须是 1 至 200 之间的整数。";
inline constexpr const char* kMsgHistBadAlpha = "显著性水平必须大于 0 且小于 1。";

// The null test of the histogram tool: a value above -1E+37 counts as data.
inline constexpr double kHistDataAbove = -1e37;
inline constexpr int kMaxClasses = 200;

enum class ClassRule : int { Sturges = 0, Scott = 1, FreedmanDiaconis = 2 };
inline constexpr int kClassRuleCount = 3;
// "Sturges 法", "Scott 法", "Freedman-Diaconis 法".
const std::array<const char*, kClassRuleCount>& classRuleCaptions();

// The class count a rule gives for the values (any order), held to 1 … 200.
int proposedClassCount(std::span<const double> values, ClassRule rule);

struct Histogram {
  double lo = 0, width = 0;
  std::vector<std::int64_t> counts;
  // The k + 1 edges; the last is the maximum itself.
  std::vector<double> bounds() const;
};
// k equal classes from the minimum to the maximum of the values.
Histogram makeHistogram(std::span<const double> values, int classes);

// The quantile of type 7 (R's default) of sorted values, q in [0, 1].
double sortedQuantile(std::span<const double> sorted, double q);
// The normal scores of a sample of n, in ascending order (R's qnorm(ppoints(n))).
std::vector<double> normalScores(std::size_t n);

struct DistributionJob {
  std::string table;
  std::string field;
  bool logScale = false;  // test log10 x (log-normality)
  ClassRule rule = ClassRule::Sturges;
  int classes = 0;  // 0: by the rule
  double alpha = 0.05;
};

struct DistributionResult {
  Outcome outcome;
  std::int64_t records = 0;      // rows read
  std::int64_t nulls = 0;        // at or below -1E+37, or not a number
  std::int64_t nonPositive = 0;  // left out on the log scale
  std::vector<double> sorted;    // the values tested (log10 x on the log scale), ascending
  double minimum = 0, maximum = 0, mean = 0, sd = 0, median = 0;
  double skewness = 0, kurtosis = 0;
  std::optional<double> geometricMean;  // raw scale, all values above 0
  int classes = 0;
  bool classesByRule = true;
  Histogram histogram;
  std::optional<double> lnMean, lnSd;  // the log-normal fit (raw scale, all values above 0)
  KolmogorovSmirnovResult ks;
  std::optional<ShapiroWilkResult> sw;
  ChiSquareResult chi;
  std::string report;  // lines ended by '\n'
};

// The values of the field as the tool keeps them, with the counts of what was left out.
struct ElementSample {
  std::vector<double> values;
  std::int64_t records = 0, nulls = 0, nonPositive = 0;
};
ElementSample readDistributionSample(Database& db, const std::string& table,
                                     const std::string& field, bool logScale);

// Everything from the values already read (any order), the report included.
DistributionResult analyseDistribution(const DistributionJob& job, ElementSample sample);
// Checks the job, reads and analyses. Failures carry the system's text.
DistributionResult runDistributionTest(Database& db, const DistributionJob& job);

// The report text (part of analyseDistribution, exposed for the window's save).
std::string distributionReport(const DistributionJob& job, const DistributionResult& r);
// "0.0123"; below 0.0001 in exponent form, "1.061E-08".
std::string pValueText(double p);

// The histogram with its fitted curves (series 0 the bars, 1 the normal fit, 2 the log-normal
// fit where there is one), and the Q–Q plot (series 0 the points, 1 the quartile line).
chart::Chart histogramChart(const DistributionJob& job, const DistributionResult& r);
chart::Chart qqChart(const DistributionJob& job, const DistributionResult& r);

}  // namespace sarnoth::geochem
