#include "geochem/zoning.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <numeric>

#include "geochem/anomaly.h"
#include "geochem/report_format.h"
#include "workarea/null_value.h"

namespace sarnoth::geochem {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

double ratio(double a, double b) {
  if (b > 0) return a / b;
  return a > 0 ? kInf : 1.0;
}

std::string g6(double v) {
  if (std::isinf(v)) return "∞";
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.6g", v);
  return buf;
}

}  // namespace

const std::array<const char*, kZoningMethodCount>& zoningMethodCaptions() {
  static const std::array<const char*, kZoningMethodCount> c{"分带指数法(格里戈良)", "变化梯度法"};
  return c;
}

const std::array<const char*, 2>& levelOrderCaptions() {
  static const std::array<const char*, 2> c{"标高(数值大者在上)", "中段序号(数值小者在上)"};
  return c;
}

ZoningResult zoningFromProductivity(const std::vector<std::string>& elements,
                                    const std::vector<std::vector<double>>& productivity,
                                    ZoningMethod method) {
  ZoningResult r;
  r.elements = elements;
  r.productivity = productivity;
  const std::size_t ne = productivity.size();
  const std::size_t nl = ne ? productivity[0].size() : 0;
  if (ne < 2) {
    r.outcome = Outcome::failure(kMsgZoningTwoItems);
    return r;
  }
  if (nl < 2) {
    r.outcome = Outcome::failure(kMsgZoningTwoLevels);
    return r;
  }
  // 1. One order of magnitude.
  std::vector<std::vector<double>> scaled(ne, std::vector<double>(nl));
  r.exponent.resize(ne);
  for (std::size_t i = 0; i < ne; ++i) {
    const double mx = *std::max_element(productivity[i].begin(), productivity[i].end());
    if (!(mx > 0)) {
      r.outcome = Outcome::failure(kMsgZoningNoProductivity +
                                   (i < elements.size() ? elements[i] : std::to_string(i + 1)));
      return r;
    }
    const int k = -static_cast<int>(std::floor(std::log10(mx)));
    r.exponent[i] = k;
    for (std::size_t j = 0; j < nl; ++j) scaled[i][j] = productivity[i][j] * std::pow(10.0, k);
  }
  // 2. Zoning indices.
  r.index.assign(ne, std::vector<double>(nl, 0.0));
  for (std::size_t j = 0; j < nl; ++j) {
    double sum = 0;
    for (std::size_t i = 0; i < ne; ++i) sum += scaled[i][j];
    if (sum > 0)
      for (std::size_t i = 0; i < ne; ++i) r.index[i][j] = scaled[i][j] / sum;
  }
  // 3–4. Peak level and the gradient within it.
  r.peak.resize(ne);
  r.peakGradient.resize(ne);
  r.gradient.resize(ne);
  const std::size_t half = nl / 2;
  for (std::size_t i = 0; i < ne; ++i) {
    const std::vector<double>& d = r.index[i];
    const auto p = static_cast<std::size_t>(std::max_element(d.begin(), d.end()) - d.begin());
    r.peak[i] = static_cast<int>(p);
    if (p == 0)
      r.peakGradient[i] = ratio(d[0], d[nl - 1]);
    else if (p == nl - 1)
      r.peakGradient[i] = ratio(d[nl - 1], d[0]);
    else
      r.peakGradient[i] = d[p - 1] - d[p + 1];
    double upper = 0, lower = 0;
    for (std::size_t j = 0; j < half; ++j) upper += productivity[i][j];
    for (std::size_t j = nl - half; j < nl; ++j) lower += productivity[i][j];
    r.gradient[i] = ratio(upper, lower);
  }
  r.sequence.resize(ne);
  std::iota(r.sequence.begin(), r.sequence.end(), 0);
  if (method == ZoningMethod::ZoningIndex) {
    std::stable_sort(r.sequence.begin(), r.sequence.end(), [&](int a, int b) {
      const auto ua = static_cast<std::size_t>(a), ub = static_cast<std::size_t>(b);
      if (r.peak[ua] != r.peak[ub]) return r.peak[ua] < r.peak[ub];
      // On the bottom level the largest gradient goes lowest; elsewhere uppermost.
      if (static_cast<std::size_t>(r.peak[ua]) == nl - 1)
        return r.peakGradient[ua] < r.peakGradient[ub];
      return r.peakGradient[ua] > r.peakGradient[ub];
    });
  } else {
    std::stable_sort(r.sequence.begin(), r.sequence.end(), [&](int a, int b) {
      return r.gradient[static_cast<std::size_t>(a)] > r.gradient[static_cast<std::size_t>(b)];
    });
  }
  r.outcome = Outcome::success();
  return r;
}

ZoningResult runZoning(Database& db, const ZoningJob& job) {
  ZoningResult fail;
  auto failure = [&fail](std::string text) {
    fail.outcome = Outcome::failure(std::move(text));
    return fail;
  };
  if (job.levelField.empty()) return failure(kMsgZoningChooseLevel);
  if (job.elements.size() < 2) return failure(kMsgZoningTwoItems);
  for (const std::string& e : job.elements)
    if (e == job.levelField) return failure(kMsgZoningLevelIsItem);
  std::vector<double> cb(job.elements.size(), 0.0);
  if (!job.backgrounds.empty()) {
    for (std::size_t i = 0; i < cb.size(); ++i) {
      const double b = i < job.backgrounds.size() ? job.backgrounds[i] : 0.0;
      if (!(b >= 0) || !std::isfinite(b)) return failure(kMsgZoningBadBackground + job.elements[i]);
      cb[i] = b;
    }
  }
  // level value → per element productivity, and the sample count.
  std::map<double, std::vector<double>> sums;
  std::map<double, std::int64_t> counts;
  std::int64_t skipped = 0;
  try {
    const std::vector<FieldDef> fields = db.fields(job.table);
    std::vector<std::string> needed = job.elements;
    needed.push_back(job.levelField);
    if (!job.lengthField.empty()) needed.push_back(job.lengthField);
    for (const std::string& f : needed)
      if (!hasField(fields, f)) return failure(kMsgNoSuchElement + f);
    std::string sql = "Select " + bracket(job.levelField);
    sql += "," + (job.lengthField.empty() ? std::string("1") : bracket(job.lengthField));
    for (const std::string& e : job.elements) sql += "," + bracket(e);
    Cursor c = db.query(sql + " From " + bracket(job.table));
    while (c.next()) {
      const double level = c.isNull(0) ? NULL_VALUE_D : c.getDouble(0);
      const double length = c.isNull(1) ? 0.0 : c.getDouble(1);
      if (!isDataValue(level) || !std::isfinite(level) || !(length > 0) || !std::isfinite(length)) {
        ++skipped;
        continue;
      }
      std::vector<double>& m = sums[level];
      m.resize(job.elements.size(), 0.0);
      ++counts[level];
      for (std::size_t i = 0; i < job.elements.size(); ++i) {
        if (c.isNull(static_cast<int>(i) + 2)) continue;
        const double v = c.getDouble(static_cast<int>(i) + 2);
        if (isDataValue(v) && std::isfinite(v) && v > cb[i]) m[i] += (v - cb[i]) * length;
      }
    }
  } catch (const StoreError& e) {
    return failure(e.what());
  }
  std::vector<double> levels;
  for (const auto& [level, m] : sums) levels.push_back(level);
  if (job.order == LevelOrder::Elevation) std::reverse(levels.begin(), levels.end());
  std::vector<std::vector<double>> productivity(job.elements.size(),
                                                std::vector<double>(levels.size()));
  for (std::size_t j = 0; j < levels.size(); ++j)
    for (std::size_t i = 0; i < job.elements.size(); ++i) productivity[i][j] = sums[levels[j]][i];
  ZoningResult r = zoningFromProductivity(job.elements, productivity, job.method);
  r.levels = levels;
  r.skipped = skipped;
  for (double l : levels) r.samples.push_back(counts[l]);
  if (r.outcome) r.report = zoningReport(job, r);
  return r;
}

std::string zoningReport(const ZoningJob& job, const ZoningResult& r) {
  std::string s;
  auto line = [&s](const std::string& l = {}) { s += l + "\n"; };
  const std::size_t ne = r.elements.size(), nl = r.levels.size();
  std::int64_t total = 0;
  for (std::int64_t c : r.samples) total += c;
  line(kZoningReportTitle);
  line();
  line("  数据表: " + job.table + "    中段数据项: " + job.levelField + " (" +
       levelOrderCaptions()[static_cast<std::size_t>(job.order)] + ")");
  line("  样品长度: " + (job.lengthField.empty() ? std::string("每个样品为 1") : job.lengthField) +
       "    中段数: " + std::to_string(nl) + "    样品数: " + std::to_string(total) +
       "    未用样品: " + std::to_string(r.skipped));
  line("  方法: " + std::string(zoningMethodCaptions()[static_cast<std::size_t>(job.method)]));
  line();
  auto header = [&](const std::string& first) {
    std::string h = "  " + padRight(first, 12);
    for (const std::string& e : r.elements) h += padLeft(e, 12);
    line(h);
  };
  auto levelText = [&](std::size_t j) { return "  " + padRight(doubleText(r.levels[j]), 12); };
  line("  各中段线金属量 M = Σ(C - Cb)·L");
  header("中段");
  for (std::size_t j = 0; j < nl; ++j) {
    std::string l = levelText(j);
    for (std::size_t i = 0; i < ne; ++i) l += padLeft(g6(r.productivity[i][j]), 12);
    line(l);
  }
  if (!job.backgrounds.empty()) {
    std::string l = "  " + padRight("背景值 Cb", 12);
    for (std::size_t i = 0; i < ne; ++i)
      l += padLeft(g6(i < job.backgrounds.size() ? job.backgrounds[i] : 0.0), 12);
    line(l);
  }
  std::string k = "  " + padRight("标准化系数", 12);
  for (int e : r.exponent) k += padLeft("10^" + std::to_string(e), 12);
  line(k);
  line();
  line("  分带指数 D");
  header("中段");
  for (std::size_t j = 0; j < nl; ++j) {
    std::string l = levelText(j);
    for (std::size_t i = 0; i < ne; ++i) l += padLeft(fixedText(r.index[i][j], 4), 12);
    line(l);
  }
  std::string peak = "  " + padRight("最大值中段", 12);
  for (int p : r.peak) peak += padLeft(doubleText(r.levels[static_cast<std::size_t>(p)]), 12);
  line(peak);
  std::string pg = "  " + padRight("梯度/差值", 12);
  for (std::size_t i = 0; i < ne; ++i)
    pg += padLeft(
        static_cast<std::size_t>(r.peak[i]) > 0 && static_cast<std::size_t>(r.peak[i]) < nl - 1
            ? fixedText(r.peakGradient[i], 4)
            : g6(r.peakGradient[i]),
        12);
  line(pg);
  std::string gr = "  " + padRight("变化梯度", 12);
  for (double g : r.gradient) gr += padLeft(g6(g), 12);
  line(gr);
  line();
  std::string seq;
  for (int i : r.sequence) {
    if (!seq.empty()) seq += " - ";
    seq += r.elements[static_cast<std::size_t>(i)];
  }
  line("  分带序列(自上而下): " + seq);
  return s;
}

}  // namespace sarnoth::geochem
