#include "gravmag/background_fit.h"

#include <algorithm>
#include <cmath>

#include "geochem/report_format.h"
#include "prep/parallel_rows.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

using geochem::SingleMatrix;
using geochem::singleText;

bool parseNumber(const std::string& text, double& v) {
  return filetext::parseDouble(filetext::trim(text), v) && std::isfinite(v);
}

}  // namespace

int trendCoefficientCount(int degree) {
  return degree >= 1 && degree <= 10 ? (degree + 1) * (degree + 2) / 2 : 0;
}

void normaliseAxis(std::span<float> v, float& min, float& max) {
  min = 1e38f;
  max = -1e38f;
  for (float x : v) {
    if (x > max) max = x;
    if (x < min) min = x;
  }
  const float range = max - min;
  for (float& x : v) x = (x - min) / range;
}

void restoreAxis(std::span<float> v, float min, float max) {
  const float range = max - min;
  for (float& x : v) x = range * x + min;
}

namespace {

// invertMatrix on a row-major n × n array of Real.
template <class Real>
Real invertInPlace(Real* a, int n, Real tolerance) {
  const auto nn = static_cast<std::size_t>(n);
  std::vector<Real> b(nn), q(nn);
  for (std::size_t i = 0; i < nn; ++i) {
    Real sum = 0;
    for (std::size_t j = 0; j < nn; ++j) sum += a[i * nn + j];
    q[i] = sum;
    a[i * nn + i] -= Real(1);
  }
  for (std::size_t k = 0; k < nn; ++k) {
    for (std::size_t j = 0; j < nn; ++j) {
      b[j] = a[k * nn + j];
      a[k * nn + j] = 0;
    }
    a[k * nn + k] = 1;
    const Real p = b[k] + Real(1);
    if (std::abs(p) < tolerance) return Real(-1);
    for (std::size_t i = 0; i < nn; ++i) {
      const Real f = a[i * nn + k] / p;
      Real* row = a + i * nn;
      for (std::size_t j = 0; j < nn; ++j) row[j] -= f * b[j];
    }
  }
  Real check = 0;
  for (std::size_t i = 0; i < nn; ++i) {
    Real row = 0;
    for (std::size_t j = 0; j < nn; ++j) row += a[i * nn + j];
    check += row * q[i];
  }
  return check;
}

template <class Real>
Real weightOf(Real r, Real s, Real rmax, bool anyNegative) {
  const Real u = r * Real(0.6745) / s;
  const Real tail = Real(5.48);
  if (anyNegative && u >= tail) {
    const Real t = (u - tail) / rmax;
    return Real(-0.1) * (t * t);
  }
  return std::exp(-(u * u));
}

template <class Real>
Real powerOfT(float v, int p) {
  if (p == 0) return Real(1);
  if (p == 1) return Real(v);
  return static_cast<Real>(std::pow(static_cast<double>(v), static_cast<double>(p)));
}

template <class Real>
void designRowT(float x, float y, int degree, Real* row) {
  std::size_t k = 0;
  for (int d = 0; d <= degree; ++d)
    for (int j = 0; j <= d; ++j) row[k++] = powerOfT<Real>(x, d - j) * powerOfT<Real>(y, j);
}

// The iteration in one precision. Every sum runs in the order of the stated triple loops;
// loops run across independent accumulators (and threads split those, never one sum).
}  // namespace

void designRow(float x, float y, int degree, std::span<float> row) {
  designRowT<float>(x, y, degree, row.data());
}

namespace {

template <class Real>
TrendFit iterate(std::span<const float> x, std::span<const float> y, std::span<const float> g,
                 int degree, int maxIter, float er, int threads, Progress& progress) {
  const std::size_t n = g.size();
  const int m = trendCoefficientCount(degree);
  const auto mm = static_cast<std::size_t>(m);
  TrendFit fit;
  if (n == 0 || m == 0) return fit;
  const int rowsBands = static_cast<int>(std::min<std::size_t>(n, 1u << 30) / 4096 + 1);
  auto bandsOfSamples = [&](auto&& fn) {
    detail::forRowBands(
        rowsBands,
        [&](int b, int e, int) {
          const std::size_t from = static_cast<std::size_t>(b) * 4096;
          const std::size_t to = std::min(n, static_cast<std::size_t>(e) * 4096);
          for (std::size_t i = from; i < to; ++i) fn(i);
        },
        1, threads);
  };

  // The design, row-major n × m, and the item.
  std::vector<Real> a(n * mm), gv(n);
  bandsOfSamples([&](std::size_t i) {
    designRowT<Real>(x[i], y[i], degree, a.data() + i * mm);
    gv[i] = Real(g[i]);
  });
  Real st = 0;
  {
    Real mean = 0;
    for (std::size_t i = 0; i < n; ++i) mean += gv[i];
    mean /= static_cast<Real>(n);
    for (std::size_t i = 0; i < n; ++i) st += (gv[i] - mean) * (gv[i] - mean);
  }
  fit.st = st;

  std::vector<Real> w(n, Real(1)), r(n, Real(0)), t2(mm * mm), t3cols(mm * mm), v(mm);
  std::vector<Real> sHistory;
  Real bestNd = 0, prevS = 0, prevRmax = 0;
  bool prevNegative = false;
  for (int L = 0; L <= maxIter; ++L) {
    // a. The weights from the residuals of the step before.
    if (L > 0)
      bandsOfSamples([&](std::size_t i) { w[i] = weightOf(r[i], prevS, prevRmax, prevNegative); });

    // b. T2 = (AᵀW)·A: T1(j, i) = A(i, j)·w_i, each T2(j, l) summed over i in order; the rows
    // j are shared out between the threads.
    std::fill(t2.begin(), t2.end(), Real(0));
    detail::forRowBands(
        m,
        [&](int jb, int je, int) {
          for (std::size_t i = 0; i < n; ++i) {
            const Real* ai = a.data() + i * mm;
            const Real wi = w[i];
            for (auto j = static_cast<std::size_t>(jb); j < static_cast<std::size_t>(je); ++j) {
              const Real t1ji = ai[j] * wi;
              Real* acc = t2.data() + j * mm;
              for (std::size_t l = 0; l < mm; ++l) acc[l] += t1ji * ai[l];
            }
          }
        },
        1, threads);
    // T3 = T2⁻¹, then C = (T3·T1)·g: column i of T3·T1 summed over l in order, then each C_j
    // over i in order (T3 held by columns so that the sums run across j).
    invertInPlace(t2.data(), m, Real(kTrendInvertTolerance));
    for (std::size_t j = 0; j < mm; ++j)
      for (std::size_t l = 0; l < mm; ++l) t3cols[l * mm + j] = t2[j * mm + l];
    std::vector<Real> c(mm, Real(0));
    for (std::size_t i = 0; i < n; ++i) {
      const Real* ai = a.data() + i * mm;
      const Real wi = w[i];
      std::fill(v.begin(), v.end(), Real(0));
      for (std::size_t l = 0; l < mm; ++l) {
        const Real* col = t3cols.data() + l * mm;
        const Real t1l = ai[l] * wi;
        for (std::size_t j = 0; j < mm; ++j) v[j] += col[j] * t1l;
      }
      const Real gi = gv[i];
      for (std::size_t j = 0; j < mm; ++j) c[j] += v[j] * gi;
    }

    // d, e. Residuals (in parallel), then their extremes and sums in order.
    bandsOfSamples([&](std::size_t i) {
      const Real* ai = a.data() + i * mm;
      Real sum = 0;
      for (std::size_t j = 0; j < mm; ++j) sum += c[j] * ai[j];
      r[i] = gv[i] - sum;
    });
    TrendStep step;
    step.L = L;
    step.c.assign(c.begin(), c.end());
    Real rmax = Real(1.0e-16), sy = 0, sabs = 0;
    bool negative = false;
    for (std::size_t i = 0; i < n; ++i) {
      if (r[i] < 0) negative = true;
      if (std::abs(r[i]) >= rmax) rmax = std::abs(r[i]);
      sy += r[i] * r[i];
      sabs += std::abs(r[i]);
    }
    const Real s = sabs / static_cast<Real>(n);
    const Real nd = (st - sy) / st;
    step.rmax = rmax;
    step.s = s;
    step.sy = sy;
    step.nd = nd;
    step.anyNegative = negative;
    // f. The best ND so far.
    if (nd > bestNd) {
      bestNd = nd;
      fit.bestL = L;
    }
    sHistory.push_back(s);
    fit.steps.push_back(std::move(step));
    prevS = s;
    prevRmax = rmax;
    prevNegative = negative;

    // g. The stop test, and the end of what can be reweighted.
    if (L >= 3) {
      const Real s0 = sHistory[static_cast<std::size_t>(L) - 2];
      const Real s1 = sHistory[static_cast<std::size_t>(L) - 1];
      const Real s2 = sHistory[static_cast<std::size_t>(L)];
      const Real e1 = std::abs(s1 - s0) / ((s0 + s1) / Real(2));
      const Real e2 = std::abs(s2 - s1) / ((s1 + s2) / Real(2));
      if (e1 < Real(er) && e2 < Real(er)) break;
    }
    if (!(s > 0)) break;
    progress.setValue(L + 1);
    if (!progress.pump()) break;
  }
  fit.bestNd = bestNd;
  return fit;
}

}  // namespace

float invertMatrix(SingleMatrix& a, float tolerance) {
  return invertInPlace(a.data().data(), a.rows(), tolerance);
}

float robustWeight(float r, float s, float rmax, bool anyNegative) {
  return weightOf(r, s, rmax, anyNegative);
}

double trendValue(std::span<const double> c, int degree, float x, float y,
                  TrendPrecision precision) {
  if (precision == TrendPrecision::Single) {
    std::vector<float> row(c.size());
    designRowT<float>(x, y, degree, row.data());
    float sum = 0;
    for (std::size_t j = 0; j < c.size(); ++j) sum += static_cast<float>(c[j]) * row[j];
    return sum;
  }
  std::vector<double> row(c.size());
  designRowT<double>(x, y, degree, row.data());
  double sum = 0;
  for (std::size_t j = 0; j < c.size(); ++j) sum += c[j] * row[j];
  return sum;
}

TrendFit robustTrendFit(std::span<const float> x, std::span<const float> y,
                        std::span<const float> g, int degree, int maxIter, float er,
                        const TrendOptions& options, Progress& progress) {
  TrendFit fit = options.precision == TrendPrecision::Single
                     ? iterate<float>(x, y, g, degree, maxIter, er, options.threads, progress)
                     : iterate<double>(x, y, g, degree, maxIter, er, options.threads, progress);
  fit.precision = options.precision;
  return fit;
}

std::vector<std::string> trendReportLines(const TrendFit& fit, std::span<const float> g, int degree,
                                          float er) {
  // Numbers as the tool prints its singles.
  auto single = [](double v) { return singleText(static_cast<float>(v)); };
  std::vector<std::string> lines;
  lines.push_back("**** 稳健多项式拟合分析预先给定的参数 ****");
  lines.push_back(" 总样品数(去掉空区点) n= " + std::to_string(g.size()));
  lines.push_back(" 给定的多项式拟合面次数 p2 = " + std::to_string(degree));
  lines.push_back("拟合多项式系数个数 m1 = (p2 + 1) * (p2 + 2) / 2=" +
                  std::to_string(trendCoefficientCount(degree)));
  lines.push_back(" 给定的拟合多项式迭代精度 ER = " + singleText(er));
  lines.push_back("---输出原始数据g0---：");
  for (float v : g) lines.push_back(singleText(v));
  lines.push_back("***总离差平方和 st = " + single(fit.st));
  // Pass 2: the steps up to the best one, as reported (L = 0 is not).
  for (int L = 1; L <= fit.bestL && L < static_cast<int>(fit.steps.size()); ++L) {
    const TrendStep& s = fit.steps[static_cast<std::size_t>(L)];
    const std::string l = std::to_string(L);
    lines.push_back("=================================");
    lines.push_back("L=" + l + "------稳健拟合多项式系数 C ------");
    for (double c : s.c) lines.push_back(single(c));
    lines.push_back("L=" + l + "n个测点剩余异常r的极大值rmax=" + single(s.rmax));
    lines.push_back("n个测点剩余异常r的绝对值的平均值 s=" + single(s.s));
    lines.push_back("---剩余值平方和 sy = " + single(s.sy));
    lines.push_back("---回归离差平方和 huigui = " + single(fit.st - s.sy));
    lines.push_back("L=" + l + "拟合优度 ND=回归离差平方和 /总离差平方和 =" + single(s.nd));
  }
  lines.push_back("=================================");
  lines.push_back("最佳拟合迭代次数 L=" + std::to_string(fit.bestL));
  lines.push_back("最佳拟合优度 ND=" + single(fit.bestNd));
  return lines;
}

Outcome runBackgroundFit(Database& db, const TrendJob& job, Interaction& ui, TrendReport& report,
                         Progress& progress) {
  report = {};
  if (job.xField.empty() || job.yField.empty() || job.item.empty())
    return Outcome::failure(kMsgTrendChooseFields);
  if (job.newTable.empty() || db.tableExists(job.newTable))
    return Outcome::failure(kMsgTrendNameExists);
  {
    std::vector<std::string> registered;
    listRegisteredTables(db, registered);
    if (findListItem(job.newTable, registered) >= 0) return Outcome::failure(kMsgTrendNameExists);
  }
  double degreeV = 0, iterV = 0, erV = 0;
  if (!parseNumber(job.degreeText, degreeV) || degreeV != std::floor(degreeV) ||
      trendCoefficientCount(static_cast<int>(degreeV)) == 0)
    return Outcome::failure(kMsgTrendDegree);
  if (!parseNumber(job.maxIterText, iterV) || iterV != std::floor(iterV) || iterV < 0 ||
      iterV > kTrendMaxIterations)
    return Outcome::failure(kMsgTrendIterations);
  if (!parseNumber(job.precisionText, erV)) erV = 0;
  const int degree = static_cast<int>(degreeV), maxIter = static_cast<int>(iterV);
  const auto er = static_cast<float>(erV);
  const int m = trendCoefficientCount(degree);

  // 4. The samples whose item is not the null.
  std::vector<float> xs, ys, g;
  try {
    Cursor c = db.query("Select " + bracket(job.xField) + ", " + bracket(job.yField) + ", " +
                        bracket(job.item) + " From " + bracket(job.table));
    while (c.next()) {
      if (c.isNull(2)) continue;
      const float v = c.getFloat(2);
      if (v == NULL_VALUE) continue;
      xs.push_back(c.isNull(0) ? NULL_VALUE : c.getFloat(0));
      ys.push_back(c.isNull(1) ? NULL_VALUE : c.getFloat(1));
      g.push_back(v);
    }
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgTrendFailed) + e.what());
  }
  const auto n = static_cast<std::int64_t>(g.size());
  if (n < m) return Outcome::failure(kMsgTrendTooFew);
  float xMin = 0, xMax = 0, yMin = 0, yMax = 0;
  normaliseAxis(xs, xMin, xMax);
  normaliseAxis(ys, yMin, yMax);
  if (!(xMax > xMin) || !(yMax > yMin)) return Outcome::failure(kMsgTrendNoSpread);

  // 2. The registry row and the empty table.
  const std::string tName = job.item + "_T", rName = job.item + "_R";
  try {
    Registration how{kTrendOrigin,        kTrendNote, OverwriteRule::Refuse,
                     kMsgTrendNameExists, "",         false};
    if (registerTable(db, job.newTable, how, ui) == RegisterResult::Refused)
      return Outcome::failure({});
    std::vector<FieldDef> defs;
    for (const std::string& name : {job.xField, job.yField, job.item, tName, rName})
      defs.push_back({name, JetType::Single, 0});
    db.createTable(job.newTable, defs);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }

  // 7, 8. The fit.
  progress.setMaximum(maxIter + 1);
  progress.setValue(0);
  TrendOptions options;
  options.precision = job.precision;
  const TrendFit fit = robustTrendFit(xs, ys, g, degree, maxIter, er, options, progress);
  report.n = n;
  report.degree = degree;
  report.coefficients = m;
  report.bestL = fit.bestL;
  report.bestNd = static_cast<float>(fit.bestNd);
  report.lines = trendReportLines(fit, g, degree, er);
  if (!job.parFile.empty()) {
    std::string text;
    for (const std::string& l : report.lines) text += l + "\r\n";
    if (!filetext::writeWholeFile(resolvePath(job.parFile), utf8ToGbk(text)))
      return Outcome::failure(std::string(kMsgTrendFailed) + "不能写文件 " + job.parFile);
  }

  // 9, 10. Back to the table's coordinates, and one record a sample.
  const std::vector<float> xn = xs, yn = ys;
  restoreAxis(xs, xMin, xMax);
  restoreAxis(ys, yMin, yMax);
  const std::vector<double>& c = fit.best().c;
  try {
    db.begin();
    TableWriter w(db, job.newTable, {job.xField, job.yField, job.item, tName, rName});
    progress.setMaximum(n);
    for (std::int64_t i = 0; i < n; ++i) {
      const auto k = static_cast<std::size_t>(i);
      const double fitted = trendValue(c, degree, xn[k], yn[k], job.precision);
      // The residual in the arithmetic of the fit: single g − single fit, or double.
      const auto t = static_cast<float>(fitted);
      const double residual = job.precision == TrendPrecision::Single
                                  ? static_cast<double>(g[k] - t)
                                  : static_cast<double>(g[k]) - fitted;
      w.setDouble(0, xs[k]);
      w.setDouble(1, ys[k]);
      w.setDouble(2, g[k]);
      w.setDouble(3, t);
      w.setDouble(4, residual);
      w.addRow();
      if ((i & 4095) == 4095) {
        progress.setValue(i + 1);
        progress.pump();
      }
    }
    w.commit();
    db.commit();
  } catch (const StoreError& e) {
    try {
      db.rollback();
    } catch (const StoreError&) {
    }
    return Outcome::failure(std::string(kMsgTrendFailed) + e.what());
  }
  progress.setValue(n);
  return Outcome::success(kTrendDone);
}

}  // namespace sarnoth::gravmag
