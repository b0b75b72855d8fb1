// The anomaly tool's engine: values read from the table, one statistic per element, the report.
#include "geochem/anomaly.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "closed/fractal_proc.h"
#include "workarea/null_value.h"

namespace sarnoth {
namespace {

std::string integerText(std::int64_t v) { return std::to_string(v); }

bool sameNameCi(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

const char* scaleWord(bool logScale) { return logScale ? "对数" : "原值"; }

}  // namespace

const std::array<const char*, kAnomalyMethodCount>& anomalyMethodCaptions() {
  static const std::array<const char*, kAnomalyMethodCount> k{
      "数据平均值与标准差", "剔除异点的正态分布异常下限",        "剔除异点的对数正态分布异常下限",
      "百分比确定异常下限", "中位数加2倍中位数绝对偏差异常下限", "箱线图内限异常下限",
      "98%分位数异常下限"};
  return k;
}

const char* anomalyParameterLabel(AnomalyMethod m) {
  switch (m) {
    case AnomalyMethod::Normal:
    case AnomalyMethod::LogNormal:
      return "剔除标准差倍数";
    case AnomalyMethod::Percent:
      return "异常百分数";
    default:
      return "";
  }
}

const char* anomalyParameterDefault(AnomalyMethod m) {
  switch (m) {
    case AnomalyMethod::Normal:
    case AnomalyMethod::LogNormal:
      return "2.5";
    case AnomalyMethod::Percent:
      return "85";
    default:
      return "";
  }
}

bool anomalyUsesMultiple(AnomalyMethod m) {
  return m == AnomalyMethod::MeanSd || m == AnomalyMethod::Normal || m == AnomalyMethod::LogNormal;
}

// --- text -------------------------------------------------------------------------------------

std::size_t textWidth(const std::string& utf8) {
  std::size_t n = 0;
  for (unsigned char c : utf8)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

std::string padLeft(const std::string& text, std::size_t width) {
  const std::size_t w = textWidth(text);
  return w >= width ? text : std::string(width - w, ' ') + text;
}

std::string padRight(const std::string& text, std::size_t width) {
  const std::size_t w = textWidth(text);
  return w >= width ? text : text + std::string(width - w, ' ');
}

std::string fixed3(double v) {
  if (!std::isfinite(v)) v = 0;  // never reached through the statistics; kept out of reports
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  std::string s = buf;
  if (s == "-0.000") s = "0.000";
  return s;
}

// --- reading ----------------------------------------------------------------------------------

std::vector<float> readElementValues(Database& db, const std::string& table,
                                     const std::string& field, bool positiveOnly) {
  std::vector<float> v;
  Cursor c = db.query("Select " + bracket(field) + " From " + bracket(table));
  while (c.next()) {
    if (c.isNull(0)) continue;
    const float x = c.getFloat(0);
    if (!std::isfinite(x)) continue;
    if (positiveOnly ? x > 0 : isDataValue(x)) v.push_back(x);
  }
  return v;
}

bool hasField(const std::vector<FieldDef>& fields, const std::string& name) {
  return std::any_of(fields.begin(), fields.end(),
                     [&](const FieldDef& f) { return sameNameCi(f.name, name); });
}

// --- rows and report ------------------------------------------------------------------------

AnomalyRow anomalyRow(const std::string& element, std::vector<float> values,
                      const AnomalyJob& job) {
  AnomalyRow r;
  r.element = element;
  r.n = static_cast<std::int32_t>(values.size());
  const std::int32_t n = r.n;
  switch (job.method) {
    case AnomalyMethod::MeanSd:
      GEO_GetAverageStdDev(values, n, r.average, r.stdDev);
      r.limit = job.k * r.stdDev + r.average;
      break;
    case AnomalyMethod::Normal:
      r.rejected = GEO_NormalDistribution(values, n, r.average, r.stdDev, job.multiple);
      r.limit = job.k * r.stdDev + r.average;
      break;
    case AnomalyMethod::LogNormal:
      r.rejected = GEO_LogNormalDistribution(values, n, r.average, r.stdDev, job.multiple);
      r.limit = job.k * r.stdDev + r.average;
      break;
    case AnomalyMethod::Percent:
      GEO_PercentAnomaly(values, n, 100 - job.percent, r.percent);
      r.limit = r.percent[0];
      break;
    case AnomalyMethod::MedianMad:
      r.robust = medianMadThreshold(values);
      r.limit = static_cast<float>(r.robust.threshold);
      break;
    case AnomalyMethod::BoxplotFence:
      r.robust = boxplotFenceThreshold(values);
      r.limit = static_cast<float>(r.robust.threshold);
      break;
    case AnomalyMethod::Percentile98:
      r.robust = percentileThreshold(values, 0.98);
      r.limit = static_cast<float>(r.robust.threshold);
      break;
  }
  return r;
}

std::string anomalyReportHeader(AnomalyMethod m) {
  switch (m) {
    case AnomalyMethod::MeanSd:
      return "  元素      记录数      平均值     标准差    异常下限";
    case AnomalyMethod::Normal:
    case AnomalyMethod::LogNormal:
      return "  元素      记录数  剔出数    平均值     标准差     异常下限";
    case AnomalyMethod::Percent:
      return "  元素      记录数   最小值  下四分位数   中位数  上四分位数    最大值   异常下限";
    case AnomalyMethod::MedianMad:
      return "  元素      记录数  尺度      中位数   标准化MAD    异常下限";
    case AnomalyMethod::BoxplotFence:
      return "  元素      记录数  尺度  下四分位数  上四分位数    异常下限";
    case AnomalyMethod::Percentile98:
      return "  元素      记录数      中位数  上四分位数    异常下限";
  }
  return {};
}

std::string anomalyReportRow(AnomalyMethod m, const AnomalyRow& r) {
  std::string s = padRight(r.element, 10) + padLeft(integerText(r.n), 8);
  switch (m) {
    case AnomalyMethod::MeanSd:
      s += padLeft(fixed3(r.average), 12) + padLeft(fixed3(r.stdDev), 12) +
           padLeft(fixed3(r.limit), 12);
      break;
    case AnomalyMethod::Normal:
      // The one extra blank of this method's rows: its figures stand one column further right.
      s += " " + padLeft(integerText(r.rejected), 6) + padLeft(fixed3(r.average), 12) +
           padLeft(fixed3(r.stdDev), 12) + padLeft(fixed3(r.limit), 12);
      break;
    case AnomalyMethod::LogNormal:
      s += padLeft(integerText(r.rejected), 6) + padLeft(fixed3(r.average), 12) +
           padLeft(fixed3(r.stdDev), 12) + padLeft(fixed3(r.limit), 12);
      break;
    case AnomalyMethod::Percent:
      s += padLeft(fixed3(r.percent[1]), 8) + padLeft(fixed3(r.percent[2]), 10) +
           padLeft(fixed3(r.percent[3]), 10) + padLeft(fixed3(r.percent[4]), 10) +
           padLeft(fixed3(r.percent[5]), 12) + padLeft(fixed3(r.percent[0]), 10);
      break;
    case AnomalyMethod::MedianMad:
      s += padLeft(scaleWord(r.robust.logScale), 4) + padLeft(fixed3(r.robust.centre), 12) +
           padLeft(fixed3(r.robust.spread), 12) + padLeft(fixed3(r.robust.threshold), 12);
      break;
    case AnomalyMethod::BoxplotFence:
      s += padLeft(scaleWord(r.robust.logScale), 4) + padLeft(fixed3(r.robust.q1), 12) +
           padLeft(fixed3(r.robust.q3), 12) + padLeft(fixed3(r.robust.threshold), 12);
      break;
    case AnomalyMethod::Percentile98:
      s += padLeft(fixed3(r.robust.centre), 12) + padLeft(fixed3(r.robust.q3), 12) +
           padLeft(fixed3(r.robust.threshold), 12);
      break;
  }
  return s;
}

AnomalyRunResult runAnomaly(Database& db, const AnomalyJob& job, Progress& progress) {
  AnomalyRunResult res;
  const int m = static_cast<int>(job.method);
  if (m < 0 || m >= kAnomalyMethodCount) return {Outcome::failure(kMsgBadParameter), {}, {}};
  if (job.elements.empty()) return {Outcome::failure(kMsgChooseElement), {}, {}};
  if (anomalyUsesMultiple(job.method) && !std::isfinite(job.k))
    return {Outcome::failure(kMsgBadParameter), {}, {}};
  if ((job.method == AnomalyMethod::Normal || job.method == AnomalyMethod::LogNormal) &&
      !(std::isfinite(job.multiple) && job.multiple > 0))
    return {Outcome::failure(kMsgBadParameter), {}, {}};

  try {
    const std::vector<FieldDef> fields = db.fields(job.table);
    for (const auto& e : job.elements) {
      if (!hasField(fields, e)) return {Outcome::failure(kMsgNoSuchElement + e), {}, {}};
    }
    progress.setMaximum(static_cast<std::int64_t>(job.elements.size()));
    res.report = std::string(kAnomalyReportTitle) + "\n\n" + anomalyReportHeader(job.method) + "\n";
    for (std::size_t i = 0; i < job.elements.size(); ++i) {
      progress.setValue(static_cast<std::int64_t>(i));
      if (!progress.pump()) break;
      const bool positive = job.method == AnomalyMethod::LogNormal;
      AnomalyRow row = anomalyRow(job.elements[i],
                                  readElementValues(db, job.table, job.elements[i], positive), job);
      res.report += anomalyReportRow(job.method, row) + "\n";
      res.rows.push_back(std::move(row));
    }
    progress.setValue(static_cast<std::int64_t>(job.elements.size()));
  } catch (const StoreError& e) {
    return {Outcome::failure(e.what()), {}, {}};
  }
  res.outcome = Outcome::success();
  return res;
}

}  // namespace sarnoth
