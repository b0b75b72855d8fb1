#include "geochem/regression.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "closed/vlq_app.h"
#include "geochem/numeric_routines.h"
#include "geochem/report_format.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth::geochem {
namespace {

// The log of the tool: natural logarithm divided by 2.302585, in single precision.
float log10Single(float v) { return std::log(v) / 2.302585f; }

std::string f4(double v) { return fixedText(v, 4); }
std::string f3(double v) { return fixedText(v, 3); }
std::string st(double v) { return singleText(static_cast<float>(v)); }

std::string joined(const std::vector<std::string>& items, const std::string& sep) {
  std::string s;
  for (std::size_t i = 0; i < items.size(); ++i) s += (i ? sep : "") + items[i];
  return s;
}

// A failure of the computation itself, with the text the error path shows.
struct Stop {
  std::string text;
};

long long toWhole(const std::string& text) {
  double v = 0;
  if (!filetext::parseDouble(text, v) || !std::isfinite(v) || std::fabs(v) > 2147483647.0)
    throw Stop{std::string(kMsgRegressionFailed) + "类型不匹配"};
  return static_cast<long long>(std::nearbyint(v));
}

float toSingle(const std::string& text) {
  double v = 0;
  if (!filetext::parseDouble(text, v) || !std::isfinite(v))
    throw Stop{std::string(kMsgRegressionFailed) + "类型不匹配"};
  return static_cast<float>(v);
}

// The samples: y and each x as singles, only where all exceed -1E+30.
struct Samples {
  std::vector<float> y;
  std::vector<std::vector<float>> x;  // per field
  std::int32_t n() const { return static_cast<std::int32_t>(y.size()); }
};

Samples readSamples(Database& db, const RegressionJob& job, const std::vector<std::string>& xs,
                    Progress& progress) {
  std::string sql = "Select " + bracket(job.yField);
  for (const auto& f : xs) sql += "," + bracket(f);
  sql += " From " + bracket(job.table);
  Samples s;
  s.x.resize(xs.size());
  Cursor c = db.query(sql);
  std::vector<float> row(xs.size() + 1);
  std::int64_t read = 0;
  while (c.next()) {
    bool ok = true;
    for (std::size_t k = 0; k <= xs.size(); ++k) {
      const int col = static_cast<int>(k);
      row[k] = c.isNull(col) ? NULL_VALUE : c.getFloat(col);
      ok = ok && isDataValue(row[k]);
    }
    if (ok) {
      s.y.push_back(row[0]);
      for (std::size_t k = 0; k < xs.size(); ++k) s.x[k].push_back(row[k + 1]);
    }
    if ((++read & 0xFFFF) == 0 && !progress.pump()) throw Stop{""};
  }
  if (s.y.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
    throw Stop{kMsgTooFewSamples};
  return s;
}

bool constant(const std::vector<float>& v) {
  return std::all_of(v.begin(), v.end(), [&](float a) { return a == v.front(); });
}

std::string dependentText(const std::string& name) {
  return "自变量 " + name + " 为常数或与其他自变量线性相关,不能进行回归分析。";
}
std::string constantYText(const std::string& name) {
  return "因变量 " + name + " 为常数,不能进行回归分析。";
}

// Column-major [x1 … xm] of the samples.
std::vector<float> columns(const std::vector<std::vector<float>>& x) {
  std::vector<float> out;
  for (const auto& c : x) out.insert(out.end(), c.begin(), c.end());
  return out;
}

// The closed call's status as the tool's message.
void checkStatus(std::int32_t rc, const std::vector<std::string>& names) {
  if (rc == vlq::kRegressionOk) return;
  if (rc == vlq::kRegressionTooFewSamples) throw Stop{kMsgTooFewSamples};
  if (rc == vlq::kRegressionNotFinite) throw Stop{std::string(kMsgRegressionFailed) + "溢出"};
  const auto k = static_cast<std::size_t>(rc - 1);
  throw Stop{dependentText(k < names.size() ? names[k] : std::to_string(rc))};
}

// ---- method 0 ------------------------------------------------------------------------------

// The transform of model `model` in place; the first sample that fails its requirement stops.
// Returns the columns to fit (one, or the powers of x for models 5 and 8).
std::vector<std::vector<float>> transformOneVariable(int model, int power, std::vector<float>& x,
                                                     std::vector<float>& y) {
  const bool needXPos = model == kPower || model == kLogarithmic;
  const bool needXNonZero = model == kInverseExp || model == kHyperbola;
  const bool needYPos = model == kPower || model == kExponential || model == kInverseExp;
  const bool needYNonZero = model == kHyperbola || model == kLogistic;
  for (std::size_t i = 0; i < y.size(); ++i) {
    const bool bad = (needXPos && !(x[i] > 0)) || (needXNonZero && x[i] == 0) ||
                     (needYPos && !(y[i] > 0)) || (needYNonZero && y[i] == 0);
    if (bad) throw Stop{"第" + std::to_string(i + 1) + "个数据为0"};
  }
  for (std::size_t i = 0; i < y.size(); ++i) {
    float& a = x[i];
    float& b = y[i];
    switch (model) {
      case kPower:
        a = log10Single(a);
        b = log10Single(b);
        break;
      case kExponential:
        b = log10Single(b);
        break;
      case kInverseExp:
        a = 1.0f / a;
        b = log10Single(b);
        break;
      case kLogarithmic:
        a = log10Single(a);
        break;
      case kHyperbola:
        a = 1.0f / a;
        b = 1.0f / b;
        break;
      case kLogistic:
        a = std::exp(-a);
        b = 1.0f / b;
        break;
      default:
        break;
    }
    if (!std::isfinite(a) || !std::isfinite(b))
      throw Stop{std::string(kMsgRegressionFailed) + "溢出"};
  }
  std::vector<std::vector<float>> cols;
  if (model == kParabola || model == kPolynomial) {
    const int k = model == kParabola ? 2 : power;
    std::vector<float> p(x.size(), 1.0f);
    for (int e = 1; e <= k; ++e) {
      for (std::size_t i = 0; i < x.size(); ++i) {
        p[i] *= x[i];
        if (!std::isfinite(p[i])) throw Stop{std::string(kMsgRegressionFailed) + "溢出"};
      }
      cols.push_back(p);
    }
  } else {
    cols.push_back(x);
  }
  return cols;
}

std::string formulaLine(int model, int power, const std::string& y, const std::string& x) {
  const std::string& name = regressionModelCaptions()[static_cast<std::size_t>(model)];
  std::string f;
  switch (model) {
    case kLinear:
      f = y + "=b0+b1*" + x;
      break;
    case kPower:
      f = y + "=b0*" + x + "^b1";
      break;
    case kExponential:
      f = "log(" + y + ")=b0+b1*" + x;
      break;
    case kInverseExp:
      f = "log(" + y + ")=b0+b1/" + x;
      break;
    case kLogarithmic:
      f = y + "=b0+b1*log(" + x + ")";
      break;
    case kParabola:
      f = y + "=b0+b1*" + x + "+b2*" + x + "^2";
      break;
    case kHyperbola:
      f = "1/" + y + "=b0+b1/" + x;
      break;
    case kLogistic:
      f = "1/" + y + "=b0+b1*Exp(-" + x + ")";
      break;
    default:
      f = y + "=b0+b1*" + x + "+…+b" + std::to_string(power) + "*" + x + "^" +
          std::to_string(power);
      break;
  }
  return "   " + name + ":  " + f;
}

void reportOneVariable(const RegressionJob& job, int power, Samples& s,
                       std::vector<std::string>& out) {
  const std::string& xn = job.xFields.front();
  std::vector<std::vector<float>> cols = transformOneVariable(job.model, power, s.x[0], s.y);
  if (constant(s.y)) throw Stop{constantYText(job.yField)};
  const std::int32_t n = s.n();
  const int m = static_cast<int>(cols.size());
  std::vector<float> b(static_cast<std::size_t>(m) + 1), stats(vlq::kRegressionStats);
  std::vector<std::string> names(static_cast<std::size_t>(m), xn);
  if (m == 1) {
    checkStatus(vlq::GEO_ProcessRegression1(cols[0], s.y, n, b, stats), names);
  } else {
    std::vector<float> partial(static_cast<std::size_t>(m));
    checkStatus(vlq::GEO_ProcessRegression2(columns(cols), s.y, m, n, b, stats, partial), names);
  }
  out.push_back("   一元回归分析");
  out.push_back(formulaLine(job.model, power, job.yField, xn));
  if (job.model == kParabola) {
    out.push_back(" 回归系数:  b0=" + f4(b[2]) + "   b1=" + f4(b[0]) + "   b2=" + f4(b[1]));
  } else if (job.model == kPolynomial) {
    std::string line = " 回归系数: b0=" + f4(b[static_cast<std::size_t>(m)]);
    for (int i = 1; i <= m; ++i)
      line += "  b" + std::to_string(i) + "=" + f4(b[static_cast<std::size_t>(i - 1)]);
    out.push_back(line);
  } else {
    const float b0 = job.model == kPower ? std::pow(10.0f, b[0]) : b[0];
    out.push_back(" 回归系数:  b0=" + f4(b0) + "   b1=" + f4(b[1]));
  }
  // 拟合度 = 1 − Q ÷ U; without any regression (U = 0) it is shown as 0.
  const float fit = stats[2] != 0.0f ? 1.0f - stats[0] / stats[2] : 0.0f;
  out.push_back("     样品数=" + f3(n));
  if (m == 1) {
    out.push_back(" 偏差平方和=" + f3(stats[0]) + " 平均标准偏差=" + f3(stats[1]) +
                  " 回归平方和=" + f3(stats[2]));
    out.push_back("   最大偏差=" + f3(stats[3]) + "     最小偏差=" + f3(stats[4]) +
                  " 偏差平均值=" + f3(stats[5]));
  } else {
    const double total = static_cast<double>(stats[0]) + stats[2];
    const double r = total > 0 ? std::sqrt(stats[2] / total) : 0.0;
    out.push_back(" 偏差平方和=" + f3(stats[0]) + "  平均标准偏差=" + f3(stats[1]));
    out.push_back(" 复相关系数=" + f3(r) + "    回归平方和=" + f3(stats[2]));
  }
  out.push_back("     拟合度=" + f3(fit));
}

// ---- methods 1 and 2 -----------------------------------------------------------------------

void headLines(const RegressionJob& job, std::int32_t n, const std::string& countLead,
               std::vector<std::string>& out) {
  out.push_back(countLead + std::to_string(n));
  out.push_back("    因变量: " + job.yField);
  out.push_back("    自变量: " + joined(job.xFields, "  "));
}

void reportMultiple(const RegressionJob& job, Samples& s, std::vector<std::string>& out) {
  const int m = static_cast<int>(job.xFields.size());
  const std::int32_t n = s.n();
  std::vector<float> b(static_cast<std::size_t>(m) + 1), stats(vlq::kRegressionStats),
      partial(static_cast<std::size_t>(m));
  checkStatus(vlq::GEO_ProcessRegression2(columns(s.x), s.y, m, n, b, stats, partial), job.xFields);
  out.push_back("多元线性回归分析");
  headLines(job, n, "   样品数=", out);
  out.push_back("  回归系数: ");
  out.push_back("            b0=" + st(b[static_cast<std::size_t>(m)]));
  for (int i = 1; i <= m; ++i)
    out.push_back("            b" + std::to_string(i) + "=" +
                  st(b[static_cast<std::size_t>(i - 1)]));
  const double total = static_cast<double>(stats[0]) + stats[2];
  const double r = total > 0 ? std::sqrt(stats[2] / total) : 0.0;
  out.push_back(" 偏差平方和=" + st(stats[0]) + " 平均标准偏差=" + st(stats[1]));
  out.push_back(" 复相关系数=" + st(r) + " 回归平方和=" + st(stats[2]));
  std::vector<std::string> pc;
  for (float v : partial) pc.push_back(st(v));
  out.push_back(" 偏相关系数:" + joined(pc, "  "));
}

void reportStepwise(const RegressionJob& job, Samples& s, std::vector<std::string>& out) {
  const int m = static_cast<int>(job.xFields.size());
  const auto mm = static_cast<std::size_t>(m);
  const std::int32_t n = s.n();
  std::vector<float> b(mm + 1), means(mm + 1), pss(mm), se(mm), stats(4), corr((mm + 1) * (mm + 1));
  std::vector<std::int32_t> sel(mm);
  checkStatus(vlq::GEO_ProcessRegression3(columns(s.x), s.y, m, n, job.fValues[0], job.fValues[1],
                                          b, means, pss, se, stats, corr, sel),
              job.xFields);
  out.push_back("        逐步回归分析");
  out.push_back(" 样品数=" + std::to_string(n));
  out.push_back(" 回归方程:  " + job.yField + "=" + st(b[mm]));
  for (std::size_t j = 0; j < mm; ++j)
    if (sel[j]) out.push_back("          +" + st(b[j]) + "*" + job.xFields[j]);
  std::vector<std::string> items{job.yField + "=" + st(means[mm])};
  for (std::size_t j = 0; j < mm; ++j) items.push_back(job.xFields[j] + "=" + st(means[j]));
  out.push_back(" 因变量和自变量平均值: " + joined(items, "  "));
  std::vector<std::string> v, sd;
  for (std::size_t j = 0; j < mm; ++j) {
    v.push_back(st(pss[j]));
    sd.push_back(st(se[j]));
  }
  out.push_back(" 因变量偏回归平方和: " + joined(v, "  "));
  out.push_back(" 残差平方和=" + st(stats[0]));
  out.push_back(" 回归系数标准差: " + joined(sd, "  "));
  out.push_back(" 估计标准偏差=" + st(stats[1]));
  out.push_back(" 复相关系数=" + st(stats[2]) + "  F_检验值=" + st(stats[3]));
  out.push_back(" 归则化系数相关矩阵:");
  for (std::size_t i = 0; i <= mm; ++i) {
    std::vector<std::string> row;
    for (std::size_t j = 0; j <= mm; ++j) row.push_back(st(corr[i * (mm + 1) + j]));
    out.push_back(joined(row, "  "));
  }
}

// ---- method 3: ridge -----------------------------------------------------------------------

struct RidgeStep {
  std::vector<float> b;  // b0, then b1..bm
  std::vector<float> t;  // per coefficient b1..bm
  float u = 0, q = 0, syy = 0, f = 0;
};

// One ridge solution at K, from the data as stored (copied, centred, solved).
RidgeStep ridgeSolve(const SingleMatrix& data, const std::vector<float>& means, float k) {
  const int m = data.cols() - 1, n = data.rows();
  SingleMatrix work, s;
  copyMatrix(data, work);
  centreCrossProducts(work, s);
  SingleMatrix a(m, m);
  std::vector<float> c(static_cast<std::size_t>(m));
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < m; ++j) a(i, j) = s(i, j);
    a(i, i) += k;
    c[static_cast<std::size_t>(i)] = s(i, m);
  }
  SingleMatrix solveA;
  copyMatrix(a, solveA);
  std::vector<float> b = c;
  solveLinearSystem(solveA, b);

  RidgeStep r;
  r.syy = s(m, m);
  float bsb = 0, bc = 0;
  for (int i = 0; i < m; ++i) {
    bc += b[static_cast<std::size_t>(i)] * c[static_cast<std::size_t>(i)];
    for (int j = 0; j < m; ++j)
      bsb += b[static_cast<std::size_t>(i)] * s(i, j) * b[static_cast<std::size_t>(j)];
  }
  r.u = std::max(0.0f, bsb);
  r.q = std::max(0.0f, r.syy - 2.0f * bc + bsb);  // rounding may leave a perfect fit below 0
  const float dof = static_cast<float>(n - m - 1);
  const float sigma2 = r.q / dof;
  // A perfect fit has no residual variance: its statistics are infinite, not undefined.
  const auto ratio = [](float num, float den) {
    if (den > 0.0f) return num / den;
    if (num == 0.0f) return 0.0f;
    return num > 0 ? std::numeric_limits<float>::infinity()
                   : -std::numeric_limits<float>::infinity();
  };
  r.f = ratio(r.u / static_cast<float>(m), sigma2);
  // Var(b) = σ²·(S + KI)⁻¹ S (S + KI)⁻¹: the inverse column by column.
  SingleMatrix inv(m, m);
  for (int j = 0; j < m; ++j) {
    SingleMatrix w;
    copyMatrix(a, w);
    std::vector<float> e(static_cast<std::size_t>(m), 0.0f);
    e[static_cast<std::size_t>(j)] = 1.0f;
    solveLinearSystem(w, e);
    for (int i = 0; i < m; ++i) inv(i, j) = e[static_cast<std::size_t>(i)];
  }
  float b0 = means[static_cast<std::size_t>(m)];
  r.b.push_back(0.0f);
  for (int i = 0; i < m; ++i) {
    float v = 0;
    for (int p = 0; p < m; ++p)
      for (int q = 0; q < m; ++q) v += inv(i, p) * s(p, q) * inv(q, i);
    const float bi = b[static_cast<std::size_t>(i)];
    r.b.push_back(bi);
    r.t.push_back(ratio(bi, std::sqrt(std::max(0.0f, sigma2 * v))));
    b0 -= bi * means[static_cast<std::size_t>(i)];
  }
  r.b[0] = b0;
  return r;
}

void ridgeBlock(const RidgeStep& r, std::vector<std::string>& out) {
  std::vector<std::string> bs, ts;
  for (float v : r.b) bs.push_back(f4(v));
  for (float v : r.t) ts.push_back(f4(v));
  out.push_back(" ************ 岭回归系数 B ***************");
  out.push_back(joined(bs, "  "));
  out.push_back(" ************ 显著性检验值 ***************");
  out.push_back(joined(ts, "  "));
  out.push_back(" 回归平方和 U=" + f4(r.u));
  out.push_back(" 残差平方和 Q=" + f4(r.q));
  out.push_back(" 总平方和 Syy=" + f4(r.syy));
  out.push_back(" 回归方程显著性检验量 F=" + f4(r.f));
}

void reportRidge(const RegressionJob& job, Samples& s, std::vector<std::string>& out,
                 Progress& progress) {
  const int m = static_cast<int>(job.xFields.size());
  const std::int32_t n = s.n();
  const long long times = toWhole(job.kTimesText);
  const float factor = toSingle(job.kFactorText);
  SingleMatrix data(n, m + 1);
  std::vector<float> means(static_cast<std::size_t>(m) + 1);
  for (int j = 0; j <= m; ++j) {
    const std::vector<float>& col = j < m ? s.x[static_cast<std::size_t>(j)] : s.y;
    float sum = 0;
    for (std::int32_t i = 0; i < n; ++i) {
      data(i, j) = col[static_cast<std::size_t>(i)];
      sum += col[static_cast<std::size_t>(i)];
    }
    means[static_cast<std::size_t>(j)] = sum / static_cast<float>(n);
  }
  out.push_back("   岭回归分析");
  headLines(job, n, "   样品数=", out);
  out.push_back("   初始迭代");
  RidgeStep first = ridgeSolve(data, means, 0.0f);
  ridgeBlock(first, out);

  // The starting K: the residual variance over the largest squared canonical coefficient,
  // times the shrink factor.
  SingleMatrix work, s0, e, v;
  copyMatrix(data, work);
  centreCrossProducts(work, s0);
  SingleMatrix sxx(m, m);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j) sxx(i, j) = s0(i, j);
  copyMatrix(sxx, e);
  jacobiEigen(m, v, e);
  float alphaMax = 0;
  for (int j = 0; j < m; ++j) {
    float alpha = 0;
    for (int i = 0; i < m; ++i) alpha += v(i, j) * first.b[static_cast<std::size_t>(i) + 1];
    alphaMax = std::max(alphaMax, alpha * alpha);
  }
  const float sigma2 = first.q / static_cast<float>(n - m - 1);
  if (alphaMax == 0.0f || factor == 0.0f) throw NumericFault(kFaultDivideByZero);
  float k = sigma2 / alphaMax * factor;
  for (long long i = 1; i <= times; ++i) {
    out.push_back(" 第 " + std::to_string(i) + " 次迭代, K=" + singleText(k));
    ridgeBlock(ridgeSolve(data, means, k), out);
    k /= factor;
    if (!progress.pump()) throw Stop{""};
  }
}

// ---- method 4: orthogonalised regression ------------------------------------------------------

void reportOrthogonal(const RegressionJob& job, Samples& s, std::vector<std::string>& out) {
  const int m = static_cast<int>(job.xFields.size());
  const std::int32_t n = s.n();
  const double cut = toSingle(job.cutText);
  const auto nn = static_cast<std::size_t>(n);
  // Means and standard deviations (n − 1), then the centred columns.
  std::vector<std::vector<double>> z(static_cast<std::size_t>(m), std::vector<double>(nn));
  std::vector<double> yc(nn), mean(static_cast<std::size_t>(m) + 1),
      sd(static_cast<std::size_t>(m) + 1);
  for (int j = 0; j <= m; ++j) {
    const std::vector<float>& col = j < m ? s.x[static_cast<std::size_t>(j)] : s.y;
    double sum = 0;
    for (float v : col) sum += v;
    const double mu = sum / n;
    double ss = 0;
    std::vector<double>& dst = j < m ? z[static_cast<std::size_t>(j)] : yc;
    for (std::size_t i = 0; i < nn; ++i) {
      dst[i] = col[i] - mu;
      ss += dst[i] * dst[i];
    }
    mean[static_cast<std::size_t>(j)] = mu;
    sd[static_cast<std::size_t>(j)] = std::sqrt(ss / (n - 1));
  }
  out.push_back("   正交回归分析");
  headLines(job, n, "   样品数=", out);
  out.push_back("自变量、因变量平均值  XX       标准离差  SS");
  for (int j = 0; j <= m; ++j)
    out.push_back("        " + fixedText(mean[static_cast<std::size_t>(j)], 5) + "   " +
                  fixedText(sd[static_cast<std::size_t>(j)], 5));

  auto dot = [&](const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < nn; ++i) sum += a[i] * b[i];
    return sum;
  };
  const double syy = dot(yc, yc);
  // Modified Gram–Schmidt: t(i, j) the weight of factor i in field j, so x_j = Σ t(i, j)·z_i.
  std::vector<std::vector<double>> t(static_cast<std::size_t>(m),
                                     std::vector<double>(static_cast<std::size_t>(m), 0.0));
  std::vector<double> a;
  double u = 0;
  out.push_back(" ------- 挑选 k 个正交因子变量的 Fa(i)值 i=1,2,...k-1 --------");
  int kept = 0;
  for (int j = 0; j < m; ++j) {
    std::vector<double>& zj = z[static_cast<std::size_t>(j)];
    const double len0 = std::sqrt(dot(zj, zj));
    t[static_cast<std::size_t>(j)][static_cast<std::size_t>(j)] = 1.0;
    for (int i = 0; i < j; ++i) {
      const std::vector<double>& zi = z[static_cast<std::size_t>(i)];
      const double zz = dot(zi, zi);
      const double w = zz > 0 ? dot(zi, zj) / zz : 0.0;
      t[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] = w;
      for (std::size_t r = 0; r < nn; ++r) zj[r] -= w * zi[r];
    }
    const double zz = dot(zj, zj);
    const double rj = len0 > 0 ? std::sqrt(zz) / len0 : 0.0;
    if (job.scheme == 0 && rj < cut) {
      out.push_back(" R<e  STOP ");
      break;
    }
    const double aj = zz > 0 ? dot(zj, yc) / zz : 0.0;
    const double uj = aj * aj * zz;
    const double qj = syy - u - uj;
    const double dof = static_cast<double>(n - j - 2);
    const double fj =
        qj > 0 ? uj / (qj / dof) : (uj > 0 ? std::numeric_limits<double>::infinity() : 0.0);
    out.push_back(" F " + std::to_string(j + 1) + "=" + st(fj));
    if (job.scheme == 1 && fj < cut) {
      out.push_back(" F<Fa STOP ");
      break;
    }
    a.push_back(aj);
    u += uj;
    ++kept;
  }
  if (job.scheme == 0)
    for (int i = 0; i < kept; ++i)
      out.push_back("a(" + std::to_string(i + 1) + ")= " + st(a[static_cast<std::size_t>(i)]));
  // Back to the fields: y_c ≈ Σ a_i z_i with z = X_c T⁻¹ (T unit upper triangular), so the
  // coefficients B solve T·B = a over the kept factors.
  std::vector<double> coef(static_cast<std::size_t>(m), 0.0);
  for (int i = kept - 1; i >= 0; --i) {
    double v = a[static_cast<std::size_t>(i)];
    for (int j = i + 1; j < kept; ++j)
      v -= t[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] *
           coef[static_cast<std::size_t>(j)];
    coef[static_cast<std::size_t>(i)] = v;
  }
  double b0 = mean[static_cast<std::size_t>(m)];
  for (int j = 0; j < m; ++j)
    b0 -= coef[static_cast<std::size_t>(j)] * mean[static_cast<std::size_t>(j)];
  out.push_back(" B(0)= " + st(b0));
  for (int j = 0; j < m; ++j)
    out.push_back(" B(" + std::to_string(j + 1) + ")= " + st(coef[static_cast<std::size_t>(j)]));
  const double qq = std::max(0.0, syy - u);
  out.push_back("回归平方和 U= " + st(u));
  out.push_back("残差平方和 QQ= " + st(qq));
  out.push_back("复相关系数 RA= " + st(syy > 0 ? std::sqrt(u / syy) : 0.0));
  out.push_back("剩余标准离差 SS= " + st(std::sqrt(qq / static_cast<double>(n - kept - 1))));
}

void writeReport(const std::string& path, const std::vector<std::string>& lines) {
  std::string text = std::string(kRegressionFileHead) + "\r\n";
  for (const auto& l : lines) text += l + "\r\n";
  text += std::string(kRegressionFileEnd) + "\r\n";
  if (!filetext::writeWholeFile(resolvePath(path), utf8ToGbk(text)))
    throw Stop{std::string(kMsgRegressionFailed) + "不能写文件 " + path};
}

int coefficientCount(const RegressionJob& job, int power) {
  const int m = static_cast<int>(job.xFields.size());
  if (job.method != RegressionMethod::OneVariable) return m + 1;
  if (job.model == kParabola) return 3;
  if (job.model == kPolynomial) return power + 1;
  return 2;
}

}  // namespace

const std::vector<std::string>& regressionMethodCaptions() {
  static const std::vector<std::string> c = {"一元回归", "多元线性回归", "逐步回归", "岭回归",
                                             "正交化回归"};
  return c;
}

const std::vector<std::string>& regressionModelCaptions() {
  static const std::vector<std::string> c = {"线性函数",   "幂函数",       "指数函数",
                                             "倒指数函数", "对数函数",     "抛物线函数",
                                             "双曲线函数", "Logistic回归", "多项式函数"};
  return c;
}

const std::vector<std::string>& orthogonalSchemeCaptions() {
  static const std::vector<std::string> c = {"方案1(e截止)", "方案2(Fa截止)"};
  return c;
}

bool parseFValues(const std::string& text, float& fIn, float& fOut) {
  std::vector<std::string> items = filetext::splitAt(text, ',');
  std::vector<float> v;
  for (const auto& i : items) {
    float f = 0;
    if (filetext::parseFloat(i, f) && std::isfinite(f)) v.push_back(f);
  }
  if (v.size() < 2) return false;
  fIn = v[0];
  fOut = v[1];
  return true;
}

std::string checkRegressionJob(const RegressionJob& job) {
  if (job.xFields.empty()) return kMsgNoIndependent;
  if (job.method == RegressionMethod::Ridge && job.xFields.size() < 2) return kMsgRidgeNeedsTwo;
  if (job.method == RegressionMethod::OneVariable && job.xFields.size() > 1)
    return kMsgOneVariableOnly;
  if (job.method == RegressionMethod::OneVariable && job.model == kPolynomial) {
    double p = 0;
    if (!filetext::parseDouble(job.powerText, p) || !(p >= 3)) return kMsgPolynomialPower;
  }
  if (job.method == RegressionMethod::Stepwise && job.fValues.size() < 2) return kMsgTwoFValues;
  return {};
}

Outcome runRegression(Database& db, const RegressionJob& job, const std::string& reportPath,
                      std::vector<std::string>& lines, Progress& progress) {
  if (std::string why = checkRegressionJob(job); !why.empty()) return Outcome::failure(why);
  std::vector<std::string> out;
  try {
    const int power = job.model == kPolynomial ? static_cast<int>(toWhole(job.powerText)) : 0;
    if (job.method == RegressionMethod::OneVariable && job.model == kPolynomial && power > 64)
      throw Stop{kMsgTooFewSamples};
    Samples s = readSamples(db, job, job.xFields, progress);
    if (s.n() < 3 || s.n() <= coefficientCount(job, power)) throw Stop{kMsgTooFewSamples};
    if (job.method != RegressionMethod::OneVariable && constant(s.y))
      throw Stop{constantYText(job.yField)};
    if (job.method == RegressionMethod::Ridge || job.method == RegressionMethod::Orthogonal)
      for (std::size_t j = 0; j < s.x.size(); ++j)
        if (constant(s.x[j])) throw Stop{dependentText(job.xFields[j])};
    switch (job.method) {
      case RegressionMethod::OneVariable:
        reportOneVariable(job, power, s, out);
        break;
      case RegressionMethod::Multiple:
        reportMultiple(job, s, out);
        break;
      case RegressionMethod::Stepwise:
        reportStepwise(job, s, out);
        break;
      case RegressionMethod::Ridge:
        reportRidge(job, s, out, progress);
        break;
      case RegressionMethod::Orthogonal:
        reportOrthogonal(job, s, out);
        break;
    }
    if (!reportPath.empty()) writeReport(reportPath, out);
  } catch (const Stop& e) {
    return Outcome::failure(e.text);
  } catch (const NumericFault& e) {
    return Outcome::failure(std::string(kMsgRegressionFailed) + e.what());
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgRegressionFailed) + e.what());
  }
  lines = std::move(out);
  return Outcome::success();
}

PlotAxis linearAxis(double min, double max) {
  PlotAxis a;
  const double v = std::trunc(min);
  a.lower = (v < 0 || v >= 10) ? std::trunc(v / 10 - 1) * 10 : 0;
  const double w = std::floor(max);
  a.upper = w >= 10 ? std::trunc(w / 100 + 1) * 100 : w + 1;
  a.ticks = 10;
  if (a.lower <= min && a.upper >= max) return a;
  // The rule leaves data off the axis (a minimum between -1 and 0 truncates to 0): ten 1-2-5
  // steps that cover the data instead.
  double lo = min, hi = max > min ? max : min + 1;
  const std::vector<double> t = chart::niceTicks(lo, hi, 10, true);
  a.lower = lo;
  a.upper = hi;
  a.ticks = t.size() > 1 ? static_cast<int>(t.size()) - 1 : 10;
  return a;
}

Outcome regressionPlot(Database& db, const RegressionJob& job, RegressionPlot& plot) {
  if (job.xFields.size() > 1) return Outcome::failure(kMsgPlotOneVariable);
  if (job.xFields.empty()) return Outcome::failure(kMsgNoIndependent);
  if (job.model == kParabola || job.model == kPolynomial)
    return Outcome::failure(kMsgPlotNoPolynomial);
  try {
    Samples s = readSamples(db, job, job.xFields, noProgress());
    if (s.n() < 3) throw Stop{kMsgTooFewSamples};
    std::vector<std::vector<float>> cols = transformOneVariable(job.model, 0, s.x[0], s.y);
    std::vector<float> b(2), stats(vlq::kRegressionStats);
    checkStatus(vlq::GEO_ProcessRegression1(cols[0], s.y, s.n(), b, stats), job.xFields);
    plot.x = std::move(cols[0]);
    plot.y = std::move(s.y);
    plot.b0 = b[0];
    plot.b1 = b[1];
  } catch (const Stop& e) {
    return Outcome::failure(e.text);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgRegressionFailed) + e.what());
  }
  const auto [xmin, xmax] = std::minmax_element(plot.x.begin(), plot.x.end());
  const auto [ymin, ymax] = std::minmax_element(plot.y.begin(), plot.y.end());
  plot.xAxis = linearAxis(*xmin, *xmax);
  plot.yAxis = linearAxis(*ymin, *ymax);
  const std::string& xn = job.xFields.front();
  const std::string& yn = job.yField;
  switch (job.model) {
    case kPower:
      plot.xAxis.label = "log(" + xn + ")";
      plot.yAxis.label = "log(" + yn + ")";
      break;
    case kExponential:
      plot.xAxis.label = xn;
      plot.yAxis.label = "log(" + yn + ")";
      break;
    case kInverseExp:
      plot.xAxis.label = "1/" + xn;
      plot.yAxis.label = "log(" + yn + ")";
      break;
    case kLogarithmic:
      plot.xAxis.label = "log(" + xn + ")";
      plot.yAxis.label = yn;
      break;
    case kHyperbola:
      plot.xAxis.label = "1/" + xn;
      plot.yAxis.label = "1/" + yn;
      break;
    case kLogistic:
      plot.xAxis.label = "Exp(-" + xn + ")";
      plot.yAxis.label = "1/" + yn;
      break;
    default:
      plot.xAxis.label = xn;
      plot.yAxis.label = yn;
      break;
  }
  return Outcome::success();
}

chart::Chart regressionChart(const RegressionPlot& plot) {
  chart::Chart c;
  auto axisOf = [](const PlotAxis& a, chart::Axis& out) {
    out.label = a.label;
    out.autoRange = false;
    out.lo = a.lower;
    out.hi = a.upper;
    for (int i = 0; i <= a.ticks; ++i) {
      const double v = a.lower + (a.upper - a.lower) * i / a.ticks;
      out.ticks.push_back(v);
      out.tickLabels.push_back(formatAxisNumber(static_cast<float>(v)));
    }
  };
  axisOf(plot.xAxis, c.x);
  axisOf(plot.yAxis, c.y);
  chart::Series points = chart::Series::of(chart::SeriesKind::Markers, {}, {}, chart::kBlack);
  for (std::size_t i = 0; i < plot.x.size(); ++i) {
    points.x.push_back(plot.x[i]);
    points.y.push_back(plot.y[i]);
  }
  points.marker = chart::Marker::Square;
  points.markerSize = 4;
  c.series.push_back(std::move(points));
  const double x0 = plot.xAxis.lower, x1 = plot.xAxis.upper;
  c.series.push_back(chart::Series::of(chart::SeriesKind::Line, {x0, x1},
                                       {plot.b0 + plot.b1 * x0, plot.b0 + plot.b1 * x1},
                                       chart::kRed));
  return c;
}

std::string plotPointText(float x, float y) {
  return "当前数据：X=" + singleText(x) + "  Y=" + singleText(y);
}

}  // namespace sarnoth::geochem
