#include "geochem/normalisation.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "closed/fractal_proc.h"
#include "geochem/anomaly.h"
#include "geochem/anomaly_stats.h"
#include "geochem/report_format.h"

namespace sarnoth::geochem {
namespace {

// Below this size λ is taken as 0 (the logarithm): (x^λ − 1)/λ differs from ln x by λ·ln²x/2.
constexpr double kLambdaZero = 1e-9;

std::string fx(double v, int decimals = 4) { return fixedText(v, decimals); }

// Golden-section search for the maximum of f on [a, b].
template <class F>
double goldenMax(F&& f, double a, double b, double tol) {
  const double g = (std::sqrt(5.0) - 1) / 2;
  double c = b - g * (b - a), d = a + g * (b - a);
  double fc = f(c), fd = f(d);
  while (b - a > tol) {
    if (fc >= fd) {
      b = d;
      d = c;
      fd = fc;
      c = b - g * (b - a);
      fc = f(c);
    } else {
      a = c;
      c = d;
      fc = fd;
      d = a + g * (b - a);
      fd = f(d);
    }
  }
  return (a + b) / 2;
}

}  // namespace

// ---- levels --------------------------------------------------------------------------------

const std::array<const char*, kLevelEstimateCount>& levelEstimateCaptions() {
  static const std::array<const char*, kLevelEstimateCount> c{
      "剔除异点的正态分布(均值, 均值+2倍标准差)",
      "剔除异点的对数正态分布(几何均值, 均值+2倍标准差)", "中位数与MAD(中位数, 中位数+2倍MAD)"};
  return c;
}

ElementLevels elementLevels(std::span<const float> values, LevelEstimate how) {
  ElementLevels l;
  l.n = static_cast<std::int64_t>(values.size());
  if (values.empty()) return l;
  double sum = 0;
  l.minimum = l.maximum = values[0];
  for (float v : values) {
    sum += v;
    l.minimum = std::min<double>(l.minimum, v);
    l.maximum = std::max<double>(l.maximum, v);
  }
  l.mean = sum / static_cast<double>(values.size());
  double ss = 0;
  for (float v : values) ss += (v - l.mean) * (v - l.mean);
  l.sd = values.size() > 1 ? std::sqrt(ss / static_cast<double>(values.size() - 1)) : 0.0;
  const auto n = static_cast<std::int32_t>(values.size());
  float avg = 0, sd = 0;
  switch (how) {
    case LevelEstimate::Normal:
      GEO_NormalDistribution(values, n, avg, sd, kLevelRejectMultiple);
      l.background = avg;
      l.threshold = avg + kLevelThresholdMultiple * sd;
      break;
    case LevelEstimate::LogNormal: {
      if (!(l.maximum > 0)) break;
      GEO_LogNormalDistribution(values, n, avg, sd, kLevelRejectMultiple);
      l.background = std::pow(10.0, static_cast<double>(avg));
      l.threshold = std::pow(10.0, avg + kLevelThresholdMultiple * sd);
      break;
    }
    case LevelEstimate::Robust: {
      const RobustThreshold r = medianMadThreshold(values, LogScale::Auto);
      l.background = r.logScale ? std::pow(10.0, r.centre) : r.centre;
      l.threshold = r.threshold;
      break;
    }
  }
  return l;
}

// ---- Box–Cox -------------------------------------------------------------------------------

double boxCox(double x, double lambda) {
  const double lx = std::log(x);
  return std::abs(lambda) < kLambdaZero ? lx : std::expm1(lambda * lx) / lambda;
}

double boxCoxLogLikelihood(std::span<const double> positive, double lambda) {
  const std::size_t n = positive.size();
  if (n < 2) return 0;
  double sl = 0;
  for (double x : positive) sl += std::log(x);
  const double lg = sl / static_cast<double>(n);  // ln of the geometric mean
  // On x/g the Jacobian term Σ ln(x/g) is 0, and l moves by the constant −n·ln g.
  double mean = 0;
  for (double x : positive) mean += boxCox(std::exp(std::log(x) - lg), lambda);
  mean /= static_cast<double>(n);
  double ss = 0;
  for (double x : positive) {
    const double y = boxCox(std::exp(std::log(x) - lg), lambda) - mean;
    ss += y * y;
  }
  const double var = ss / static_cast<double>(n);
  if (!(var > 0)) return -HUGE_VAL;
  return -0.5 * static_cast<double>(n) * std::log(var) - static_cast<double>(n) * lg;
}

double boxCoxLambda(std::span<const double> positive) {
  if (positive.size() < 2) return 1;
  const auto [mn, mx] = std::minmax_element(positive.begin(), positive.end());
  if (!(*mn > 0) || !(*mx > *mn)) return 1;
  // ln x − ln g once, then the likelihood on those logs.
  std::vector<double> logs(positive.size());
  double sl = 0;
  for (std::size_t i = 0; i < positive.size(); ++i) sl += logs[i] = std::log(positive[i]);
  const double lg = sl / static_cast<double>(positive.size());
  for (double& v : logs) v -= lg;
  auto like = [&logs](double lambda) {
    double mean = 0;
    for (double l : logs)
      mean += std::abs(lambda) < kLambdaZero ? l : std::expm1(lambda * l) / lambda;
    mean /= static_cast<double>(logs.size());
    double ss = 0;
    for (double l : logs) {
      const double y =
          (std::abs(lambda) < kLambdaZero ? l : std::expm1(lambda * l) / lambda) - mean;
      ss += y * y;
    }
    return ss > 0 ? -std::log(ss) : -HUGE_VAL;  // −(n/2)·ln σ̂² up to a constant and a factor
  };
  constexpr double kStep = 0.05;
  const int steps = static_cast<int>(std::lround(2 * kBoxCoxLambdaLimit / kStep));
  int best = 0;
  double bestL = -HUGE_VAL;
  for (int i = 0; i <= steps; ++i) {
    const double l = like(-kBoxCoxLambdaLimit + i * kStep);
    if (l > bestL) {
      bestL = l;
      best = i;
    }
  }
  const double a = std::max(-kBoxCoxLambdaLimit, -kBoxCoxLambdaLimit + (best - 1) * kStep);
  const double b = std::min(kBoxCoxLambdaLimit, -kBoxCoxLambdaLimit + (best + 1) * kStep);
  return goldenMax(like, a, b, 1e-9);
}

// ---- shared --------------------------------------------------------------------------------

std::string sqlNumber(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

bool tableHasField(const std::vector<FieldDef>& fields, const std::string& name) {
  return hasField(fields, name);
}

void addSingleField(Database& db, const std::string& table, const std::string& field, bool exists) {
  if (exists) db.execute("Alter Table " + bracket(table) + " Drop Column " + bracket(field));
  db.execute("Alter Table " + bracket(table) + " Add Column " + bracket(field) + " SINGLE");
}

std::string fieldOverwriteQuestion(const std::string& field) {
  return "数据项 " + field + " 已存在, 是否覆盖?";
}

// ---- the tool ------------------------------------------------------------------------------

const std::array<const char*, kNormaliseMethodCount>& normaliseMethodCaptions() {
  static const std::array<const char*, kNormaliseMethodCount> c{
      "标准化(Z-Score)", "极差正规化(0-1)",         "对数变换(log10)",
      "Box-Cox变换",     "背景值衬度(数据/背景值)", "异常下限衬度(数据/异常下限)"};
  return c;
}

const char* normaliseSuffix(NormaliseMethod m) {
  static const std::array<const char*, kNormaliseMethodCount> s{"_Z",  "_R", "_L",
                                                                "_BC", "_B", "_T"};
  return s[static_cast<std::size_t>(m)];
}

namespace {

struct Plan {
  NormaliseRow row;
  std::string nullWhere;   // the records that get the null
  std::string expression;  // of [x]
  std::string valueWhere;  // the records that get the expression
  bool exists = false;
};

// The parameters and the SQL of one element, or the failure text.
std::optional<std::string> planElement(Database& db, const NormaliseJob& job,
                                       const std::string& element, Plan& p) {
  const std::string x = bracket(element);
  std::vector<float> values = readElementValues(db, job.table, element, false);
  p.row.element = element;
  p.row.field = element + normaliseSuffix(job.method);
  p.row.levels = elementLevels(values, job.estimate);
  const ElementLevels& l = p.row.levels;
  if (l.n == 0) return kMsgNormaliseNoValues + element;
  p.nullWhere = x + " Is Null Or " + x + " <= -1E+30";
  p.valueWhere = x + " > -1E+30";
  switch (job.method) {
    case NormaliseMethod::ZScore:
      if (!(l.sd > 0)) return kMsgNormaliseNoSpread + element;
      p.expression = "(" + x + "-" + sqlNumber(l.mean) + ")/" + sqlNumber(l.sd);
      break;
    case NormaliseMethod::Range:
      if (!(l.maximum > l.minimum)) return kMsgNormaliseNoSpread + element;
      p.expression = "(" + x + "-" + sqlNumber(l.minimum) + ")/" + sqlNumber(l.maximum - l.minimum);
      break;
    case NormaliseMethod::Log10:
    case NormaliseMethod::BoxCox: {
      std::vector<double> positive;
      for (float v : values)
        if (v > 0) positive.push_back(v);
      if (positive.empty()) return kMsgNormaliseNoPositive + element;
      p.nullWhere = x + " Is Null Or " + x + " <= 0";
      p.valueWhere = x + " > 0";
      if (job.method == NormaliseMethod::Log10) {
        p.expression = "Log(" + x + ")/" + sqlNumber(std::log(10.0));
        break;
      }
      if (job.lambda) {
        p.row.lambda = *job.lambda;
      } else {
        const auto [mn, mx] = std::minmax_element(positive.begin(), positive.end());
        if (!(*mx > *mn)) return kMsgNormaliseNoSpread + element;
        p.row.lambda = boxCoxLambda(positive);
      }
      if (std::abs(p.row.lambda) < kLambdaZero)
        p.expression = "Log(" + x + ")";
      else
        p.expression = "(" + x + "^" + sqlNumber(p.row.lambda) + "-1)/" + sqlNumber(p.row.lambda);
      break;
    }
    case NormaliseMethod::Background:
    case NormaliseMethod::Threshold: {
      const double level = job.method == NormaliseMethod::Background ? l.background : l.threshold;
      if (!(level > 0) || !std::isfinite(level)) return kMsgNormaliseNoLevel + element;
      p.expression = x + "/" + sqlNumber(level);
      break;
    }
  }
  return std::nullopt;
}

std::string normaliseReport(const NormaliseJob& job, const std::vector<NormaliseRow>& rows) {
  std::string s;
  auto line = [&s](const std::string& l = {}) { s += l + "\n"; };
  line(kNormaliseReportTitle);
  line();
  line("  数据表: " + job.table +
       "    方法: " + normaliseMethodCaptions()[static_cast<std::size_t>(job.method)]);
  const bool levels =
      job.method == NormaliseMethod::Background || job.method == NormaliseMethod::Threshold;
  if (levels)
    line("  背景值与异常下限: " +
         std::string(levelEstimateCaptions()[static_cast<std::size_t>(job.estimate)]));
  line();
  std::string head =
      "  元素      新数据项      记录数      平均值      标准差      最小值      最大值";
  if (job.method == NormaliseMethod::BoxCox) head += "         λ";
  if (levels) head += "      背景值    异常下限";
  line(head);
  for (const NormaliseRow& r : rows) {
    const ElementLevels& l = r.levels;
    std::string row = "  " + padRight(r.element, 10) + padRight(r.field, 12) +
                      padLeft(std::to_string(r.written), 8) + padLeft(fx(l.mean), 12) +
                      padLeft(fx(l.sd), 12) + padLeft(fx(l.minimum), 12) +
                      padLeft(fx(l.maximum), 12);
    if (job.method == NormaliseMethod::BoxCox) row += padLeft(fx(r.lambda), 10);
    if (levels) row += padLeft(fx(l.background), 12) + padLeft(fx(l.threshold), 12);
    line(row);
  }
  return s;
}

}  // namespace

NormaliseResult runNormalise(Database& db, const NormaliseJob& job, Interaction& ui,
                             Progress& progress) {
  NormaliseResult res;
  if (job.elements.empty()) {
    res.outcome = Outcome::failure(kMsgNormaliseChooseItems);
    return res;
  }
  if (job.method == NormaliseMethod::BoxCox && job.lambda &&
      !(std::abs(*job.lambda) <= kBoxCoxLambdaLimit))
    return {Outcome::failure(kMsgBadLambda), {}, {}};
  std::vector<Plan> plans;
  try {
    const std::vector<FieldDef> fields = db.fields(job.table);
    progress.setMaximum(static_cast<std::int64_t>(job.elements.size()) * 2);
    for (const std::string& e : job.elements) {
      if (!hasField(fields, e)) return {Outcome::failure(kMsgNoSuchElement + e), {}, {}};
      Plan p;
      if (auto failure = planElement(db, job, e, p)) return {Outcome::failure(*failure), {}, {}};
      p.exists = hasField(fields, p.row.field);
      plans.push_back(std::move(p));
      progress.setValue(static_cast<std::int64_t>(plans.size()));
      progress.pump();
    }
  } catch (const StoreError& e) {
    return {Outcome::failure(e.what()), {}, {}};
  }
  for (const Plan& p : plans)
    if (p.exists &&
        ui.ask(kTitle, fieldOverwriteQuestion(p.row.field), Buttons::YesNo) != Answer::Yes)
      return {Outcome::failure(""), {}, {}};
  try {
    db.begin();
    for (Plan& p : plans) {
      const std::string t = bracket(job.table), f = bracket(p.row.field);
      addSingleField(db, job.table, p.row.field, p.exists);
      db.execute("Update " + t + " Set " + f + "= -1E+38  Where " + p.nullWhere);
      p.row.written =
          db.execute("Update " + t + " Set " + f + "=" + p.expression + " Where " + p.valueWhere);
      progress.setValue(progress.value() + 1);
      progress.pump();
    }
    db.commit();
  } catch (const StoreError& e) {
    try {
      db.rollback();
    } catch (const StoreError&) {
    }
    return {Outcome::failure(std::string(kMsgWriteFieldFailed) + e.what()), {}, {}};
  }
  for (Plan& p : plans) res.rows.push_back(std::move(p.row));
  res.report = normaliseReport(job, res.rows);
  res.outcome = Outcome::success(kMsgNormaliseDone);
  return res;
}

}  // namespace sarnoth::geochem
