#include "geochem/distribution_test.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "geochem/anomaly.h"
#include "geochem/numeric_routines.h"
#include "geochem/report_format.h"
#include "workarea/null_value.h"

namespace sarnoth::geochem {
namespace {

std::string fx(double v, int decimals = 4) { return fixedText(v, decimals); }
std::string col(const std::string& text, std::size_t width) { return padLeft(text, width); }

double normalDensity(double x, double mean, double sd) {
  const double z = (x - mean) / sd;
  return std::exp(-0.5 * z * z) / (sd * std::sqrt(2 * std::numbers::pi));
}

std::string conclusion(double p, double alpha, bool logScale) {
  const char* law = logScale ? "对数正态分布" : "正态分布";
  return std::string(p >= alpha ? "接受" : "拒绝") + law;
}

}  // namespace

const std::array<const char*, kClassRuleCount>& classRuleCaptions() {
  static const std::array<const char*, kClassRuleCount> c{"Sturges 法", "Scott 法",
                                                          "Freedman-Diaconis 法"};
  return c;
}

double sortedQuantile(std::span<const double> sorted, double q) {
  if (sorted.empty()) return 0;
  const double h = (static_cast<double>(sorted.size()) - 1) * std::clamp(q, 0.0, 1.0);
  const auto lo = static_cast<std::size_t>(std::floor(h));
  if (lo + 1 >= sorted.size()) return sorted.back();
  return sorted[lo] + (h - static_cast<double>(lo)) * (sorted[lo + 1] - sorted[lo]);
}

std::vector<double> normalScores(std::size_t n) {
  std::vector<double> s(n);
  const double a = n <= 10 ? 0.375 : 0.5;
  for (std::size_t i = 0; i < n; ++i)
    s[i] = normalQuantile((static_cast<double>(i + 1) - a) / (static_cast<double>(n) + 1 - 2 * a));
  return s;
}

int proposedClassCount(std::span<const double> values, ClassRule rule) {
  const std::size_t n = values.size();
  if (n < 2) return 1;
  std::vector<double> x(values.begin(), values.end());
  std::sort(x.begin(), x.end());
  const double range = x.back() - x.front();
  const double dn = static_cast<double>(n);
  const int sturges = static_cast<int>(std::ceil(std::log2(dn) + 1));
  double h = 0;
  if (rule == ClassRule::Scott) {
    double mean = 0;
    for (double v : x) mean += v;
    mean /= dn;
    double ss = 0;
    for (double v : x) ss += (v - mean) * (v - mean);
    h = 3.5 * std::sqrt(ss / (dn - 1)) * std::pow(dn, -1.0 / 3);
  } else if (rule == ClassRule::FreedmanDiaconis) {
    h = 2 * (sortedQuantile(x, 0.75) - sortedQuantile(x, 0.25)) * std::pow(dn, -1.0 / 3);
  }
  double k = sturges;
  if (rule != ClassRule::Sturges && h > 0) k = std::max(1.0, std::ceil(range / h));
  return static_cast<int>(std::clamp(k, 1.0, static_cast<double>(kMaxClasses)));
}

std::vector<double> Histogram::bounds() const {
  std::vector<double> b(counts.size() + 1);
  for (std::size_t i = 0; i <= counts.size(); ++i) b[i] = lo + static_cast<double>(i) * width;
  return b;
}

Histogram makeHistogram(std::span<const double> values, int classes) {
  Histogram h;
  if (values.empty() || classes < 1) return h;
  const auto [mn, mx] = std::minmax_element(values.begin(), values.end());
  h.lo = *mn;
  h.width = (*mx - *mn) / classes;
  h.counts.assign(static_cast<std::size_t>(classes), 0);
  for (double v : values) {
    int i = h.width > 0 ? static_cast<int>(std::floor((v - h.lo) / h.width)) : 0;
    i = std::clamp(i, 0, classes - 1);
    ++h.counts[static_cast<std::size_t>(i)];
  }
  return h;
}

ElementSample readDistributionSample(Database& db, const std::string& table,
                                     const std::string& field, bool logScale) {
  ElementSample s;
  Cursor c = db.query("Select " + bracket(field) + " From " + bracket(table));
  while (c.next()) {
    ++s.records;
    const double v = c.isNull(0) ? NULL_VALUE_D : static_cast<double>(c.getFloat(0));
    if (!std::isfinite(v) || !(v > kHistDataAbove)) {
      ++s.nulls;
      continue;
    }
    if (logScale) {
      if (!(v > 0)) {
        ++s.nonPositive;
        continue;
      }
      s.values.push_back(std::log10(v));
    } else {
      s.values.push_back(v);
    }
  }
  return s;
}

DistributionResult analyseDistribution(const DistributionJob& job, ElementSample sample) {
  DistributionResult r;
  r.records = sample.records;
  r.nulls = sample.nulls;
  r.nonPositive = sample.nonPositive;
  r.sorted = std::move(sample.values);
  std::sort(r.sorted.begin(), r.sorted.end());
  const std::size_t n = r.sorted.size();
  if (n < 3) {
    r.outcome = Outcome::failure(kMsgHistTooFew);
    return r;
  }
  r.minimum = r.sorted.front();
  r.maximum = r.sorted.back();
  if (!(r.maximum > r.minimum)) {
    r.outcome = Outcome::failure(kMsgHistNoSpread);
    return r;
  }
  const double dn = static_cast<double>(n);
  for (double v : r.sorted) r.mean += v;
  r.mean /= dn;
  double ss = 0;
  for (double v : r.sorted) ss += (v - r.mean) * (v - r.mean);
  r.sd = std::sqrt(ss / (dn - 1));

  // Moments and median through the shared routines, in the single precision of the store.
  std::vector<float> single(r.sorted.begin(), r.sorted.end());
  try {
    const Moments m = skewKurtosis(single);
    r.skewness = m.skewness;
    r.kurtosis = m.kurtosis;
    r.median = sortAndMedian(single);
  } catch (const NumericFault&) {  // values that differ as doubles but not as singles
    r.outcome = Outcome::failure(kMsgHistNoSpread);
    return r;
  }
  if (!job.logScale && r.minimum > 0) {
    double sl = 0, sl2 = 0;
    for (double v : r.sorted) sl += std::log(v);
    const double lm = sl / dn;
    for (double v : r.sorted) sl2 += (std::log(v) - lm) * (std::log(v) - lm);
    r.geometricMean = std::exp(lm);
    r.lnMean = lm;
    r.lnSd = std::sqrt(sl2 / (dn - 1));
    if (!(*r.lnSd > 0)) r.lnSd.reset(), r.lnMean.reset();
  }

  r.classesByRule = job.classes <= 0;
  r.classes = r.classesByRule ? proposedClassCount(r.sorted, job.rule)
                              : std::clamp(job.classes, 1, kMaxClasses);
  r.histogram = makeHistogram(r.sorted, r.classes);

  r.ks = kolmogorovSmirnovNormal(r.sorted, r.mean, r.sd);
  r.sw = shapiroWilk(r.sorted);
  const std::vector<double> b = r.histogram.bounds();
  r.chi = chiSquareNormal(b, r.histogram.counts, r.mean, r.sd, 2);
  r.outcome = Outcome::success();
  r.report = distributionReport(job, r);
  return r;
}

DistributionResult runDistributionTest(Database& db, const DistributionJob& job) {
  DistributionResult r;
  if (job.field.empty()) {
    r.outcome = Outcome::failure(kMsgHistChooseItem);
    return r;
  }
  if (job.classes < 0 || job.classes > kMaxClasses) {
    r.outcome = Outcome::failure(kMsgHistBadClasses);
    return r;
  }
  if (!(job.alpha > 0 && job.alpha < 1)) {
    r.outcome = Outcome::failure(kMsgHistBadAlpha);
    return r;
  }
  try {
    if (!hasField(db.fields(job.table), job.field)) {
      r.outcome = Outcome::failure(kMsgNoSuchElement + job.field);
      return r;
    }
    return analyseDistribution(job, readDistributionSample(db, job.table, job.field, job.logScale));
  } catch (const StoreError& e) {
    r.outcome = Outcome::failure(e.what());
    return r;
  }
}

std::string pValueText(double p) {
  if (!std::isfinite(p)) return "-";
  if (p >= 1e-4 || p == 0) return fx(p, 4);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3E", p);
  return buf;
}

std::string distributionReport(const DistributionJob& job, const DistributionResult& r) {
  std::string s;
  auto line = [&s](const std::string& l = {}) { s += l + "\n"; };
  const std::size_t n = r.sorted.size();
  line(kHistReportTitle);
  line();
  line("  数据表: " + job.table + "    数据项: " + job.field +
       "    数据: " + (job.logScale ? "对数数据(log10)" : "原始数据"));
  std::string counts = "  记录数: " + std::to_string(r.records) +
                       "    有效数据: " + std::to_string(n) +
                       "    空值: " + std::to_string(r.nulls);
  if (job.logScale) counts += "    非正值: " + std::to_string(r.nonPositive);
  line(counts);
  line();
  line("      最小值      最大值      平均值      标准差      中位数");
  line(col(fx(r.minimum), 12) + col(fx(r.maximum), 12) + col(fx(r.mean), 12) + col(fx(r.sd), 12) +
       col(fx(r.median), 12));
  line("        偏度        峰度    变异系数  几何平均值");
  const std::string cv = r.mean != 0 ? fx(r.sd / r.mean) : std::string("-");
  const std::string gm = r.geometricMean ? fx(*r.geometricMean) : std::string("-");
  line(col(fx(r.skewness), 12) + col(fx(r.kurtosis), 12) + col(cv, 12) + col(gm, 12));
  line();
  line("  分组数: " + std::to_string(r.classes) +
       (r.classesByRule
            ? std::string(" (") + classRuleCaptions()[static_cast<std::size_t>(job.rule)] + ")"
            : std::string(" (给定)")) +
       "    组距: " + fx(r.histogram.width));
  line();
  line("  组号        下限        上限      频数   频率(%)  累积频率(%)    理论频数");
  const std::vector<double> b = r.histogram.bounds();
  std::int64_t cum = 0;
  const double dn = static_cast<double>(n);
  for (std::size_t i = 0; i < r.histogram.counts.size(); ++i) {
    const std::int64_t c = r.histogram.counts[i];
    cum += c;
    const double lo = i == 0 ? 0.0 : normalCdf((b[i] - r.mean) / r.sd);
    const double hi =
        i + 1 == r.histogram.counts.size() ? 1.0 : normalCdf((b[i + 1] - r.mean) / r.sd);
    line(col(std::to_string(i + 1), 6) + col(fx(b[i]), 12) + col(fx(b[i + 1]), 12) +
         col(std::to_string(c), 10) + col(fx(100.0 * static_cast<double>(c) / dn, 2), 10) +
         col(fx(100.0 * static_cast<double>(cum) / dn, 2), 13) + col(fx(dn * (hi - lo), 2), 12));
  }
  line();
  // One label column wide enough for the longest test name, so the numbers stand in columns.
  constexpr std::size_t kLabel = 26;
  auto label = [&](const std::string& name) { return padRight("  " + name, kLabel); };
  line(label(job.logScale ? "对数正态性检验" : "正态性检验") + col("统计量", 14) + col("P值", 13) +
       "    检验结论(α=" + doubleText(job.alpha) + ")");
  line(label(std::string("Kolmogorov-Smirnov") + (r.ks.exact ? "(精确)" : "(渐近)")) +
       col("D=" + fx(r.ks.d), 14) + col(pValueText(r.ks.p), 13) + "    " +
       conclusion(r.ks.p, job.alpha, job.logScale));
  if (r.sw)
    line(label("Shapiro-Wilk") + col("W=" + fx(r.sw->w), 14) + col(pValueText(r.sw->p), 13) +
         "    " + conclusion(r.sw->p, job.alpha, job.logScale));
  else
    line(label("Shapiro-Wilk") + "只适用于 3 至 5000 个样品, 未检验");
  if (r.chi.valid)
    line(label("卡方检验(自由度 " + std::to_string(r.chi.df) + ")") +
         col("χ²=" + fx(r.chi.statistic), 14) + col(pValueText(r.chi.p), 13) + "    " +
         conclusion(r.chi.p, job.alpha, job.logScale));
  else
    line(label("卡方检验") + "合并后分组数不足(理论频数不小于5的组少于4组), 未检验");
  line();
  line("  注: K-S 检验的均值与标准差由样本估计, 其 P 值偏大; 卡方检验按理论频数不小于 5 合并分组,");
  line("      自由度 = 合并后组数 - 3。");
  return s;
}

chart::Chart histogramChart(const DistributionJob& job, const DistributionResult& r) {
  chart::Chart c;
  const std::string name = job.logScale ? "log10(" + job.field + ")" : job.field;
  c.title = name + " 直方图";
  c.x.label = name;
  c.y.label = "频数";
  c.legend = true;
  c.fitFrame = true;
  const Histogram& h = r.histogram;
  if (h.counts.empty()) return c;
  chart::Series bars = chart::Series::of(chart::SeriesKind::Bars, {}, {}, chart::kBlack, "频数");
  bars.barWidth = h.width;
  bars.fill = chart::Rgb{190, 205, 230};
  for (std::size_t i = 0; i < h.counts.size(); ++i) {
    bars.x.push_back(h.lo + (static_cast<double>(i) + 0.5) * h.width);
    bars.y.push_back(static_cast<double>(h.counts[i]));
  }
  c.series.push_back(std::move(bars));
  const double n = static_cast<double>(r.sorted.size());
  const double lo = h.lo - h.width,
               hi = h.lo + (static_cast<double>(h.counts.size()) + 1) * h.width;
  constexpr int kSteps = 200;
  chart::Series normal = chart::Series::of(chart::SeriesKind::Line, {}, {}, chart::kRed,
                                           job.logScale ? "对数正态分布拟合" : "正态分布拟合");
  normal.width = 1.5;
  for (int i = 0; i <= kSteps; ++i) {
    const double x = lo + (hi - lo) * i / kSteps;
    normal.x.push_back(x);
    normal.y.push_back(n * h.width * normalDensity(x, r.mean, r.sd));
  }
  c.series.push_back(std::move(normal));
  if (r.lnMean && r.lnSd) {
    chart::Series logn =
        chart::Series::of(chart::SeriesKind::Line, {}, {}, chart::kBlue, "对数正态分布拟合");
    logn.width = 1.5;
    logn.dashed = true;
    const double from = std::max(lo, h.width * 1e-3);
    for (int i = 0; i <= kSteps; ++i) {
      const double x = from + (hi - from) * i / kSteps;
      if (!(x > 0)) continue;
      logn.x.push_back(x);
      logn.y.push_back(n * h.width * normalDensity(std::log(x), *r.lnMean, *r.lnSd) / x);
    }
    c.series.push_back(std::move(logn));
  }
  c.x.autoRange = false;
  c.x.lo = lo;
  c.x.hi = hi;
  // Room above the tallest bar or curve, so neither runs into the frame or the legend.
  double top = 1;
  for (const chart::Series& s : c.series)
    for (double y : s.y)
      if (std::isfinite(y)) top = std::max(top, y);
  c.y.autoRange = false;
  c.y.lo = 0;
  c.y.hi = top * 1.15;
  return c;
}

chart::Chart qqChart(const DistributionJob& job, const DistributionResult& r) {
  chart::Chart c;
  const std::string name = job.logScale ? "log10(" + job.field + ")" : job.field;
  c.title = name + " 正态概率图(Q-Q)";
  c.x.label = "标准正态分位数";
  c.y.label = "样本分位数";
  c.fitFrame = true;
  c.x.grid = c.y.grid = true;
  const std::vector<double> z = normalScores(r.sorted.size());
  chart::Series pts = chart::Series::of(chart::SeriesKind::Markers, z, r.sorted, chart::kBlue);
  pts.marker = chart::Marker::Circle;
  pts.markerSize = 4;
  c.series.push_back(std::move(pts));
  if (r.sorted.size() >= 2) {
    const double y1 = sortedQuantile(r.sorted, 0.25), y3 = sortedQuantile(r.sorted, 0.75);
    const double x1 = normalQuantile(0.25), x3 = normalQuantile(0.75);
    const double slope = (y3 - y1) / (x3 - x1), icpt = y1 - slope * x1;
    const double a = z.front(), b = z.back();
    c.series.push_back(chart::Series::of(chart::SeriesKind::Line, {a, b},
                                         {icpt + slope * a, icpt + slope * b}, chart::kRed));
  }
  return c;
}

}  // namespace sarnoth::geochem
