#include "gravmag/background_fit.h"

#include <algorithm>
#include <cmath>

#include "geochem/report_format.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

using geochem::SingleMatrix;
using geochem::singleText;

// The x and y powers of design column k: degree by degree, the x power falling.
void columnPowers(int degree, std::vector<int>& px, std::vector<int>& py) {
  px.clear();
  py.clear();
  for (int d = 0; d <= degree; ++d)
    for (int k = 0; k <= d; ++k) {
      px.push_back(d - k);
      py.push_back(k);
    }
}

float powerOf(float v, int p) {
  if (p == 0) return 1.0f;
  if (p == 1) return v;
  return static_cast<float>(std::pow(static_cast<double>(v), static_cast<double>(p)));
}

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

void designRow(float x, float y, int degree, std::span<float> row) {
  std::size_t k = 0;
  for (int d = 0; d <= degree; ++d)
    for (int j = 0; j <= d; ++j) row[k++] = powerOf(x, d - j) * powerOf(y, j);
}

float invertMatrix(SingleMatrix& a, float tolerance) {
  const int n = a.rows();
  std::vector<float> b(static_cast<std::size_t>(n)), q(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    float sum = 0;
    for (int j = 0; j < n; ++j) sum += a(i, j);
    q[static_cast<std::size_t>(i)] = sum;
    a(i, i) -= 1.0f;
  }
  for (int k = 0; k < n; ++k) {
    for (int j = 0; j < n; ++j) {
      b[static_cast<std::size_t>(j)] = a(k, j);
      a(k, j) = 0.0f;
    }
    a(k, k) = 1.0f;
    const float p = b[static_cast<std::size_t>(k)] + 1.0f;
    if (std::abs(p) < tolerance) return -1.0f;
    for (int i = 0; i < n; ++i) {
      const float f = a(i, k) / p;
      for (int j = 0; j < n; ++j) a(i, j) -= f * b[static_cast<std::size_t>(j)];
    }
  }
  float check = 0;
  for (int i = 0; i < n; ++i) {
    float row = 0;
    for (int j = 0; j < n; ++j) row += a(i, j);
    check += row * q[static_cast<std::size_t>(i)];
  }
  return check;
}

float robustWeight(float r, float s, float rmax, bool anyNegative) {
  const float u = r * 0.6745f / s;
  if (anyNegative && u >= kTrendOutlierU) {
    const float t = (u - kTrendOutlierU) / rmax;
    return -0.1f * (t * t);
  }
  return std::exp(-(u * u));
}

float trendValue(std::span<const float> c, int degree, float x, float y) {
  std::vector<float> row(c.size());
  designRow(x, y, degree, row);
  float sum = 0;
  for (std::size_t j = 0; j < c.size(); ++j) sum += c[j] * row[j];
  return sum;
}

TrendFit robustTrendFit(std::span<const float> x, std::span<const float> y,
                        std::span<const float> g, int degree, int maxIter, float er,
                        Progress& progress) {
  const std::size_t n = g.size();
  const int m = trendCoefficientCount(degree);
  const auto mm = static_cast<std::size_t>(m);
  TrendFit fit;
  if (n == 0 || m == 0) return fit;

  // The design, row-major n × m.
  std::vector<float> a(n * mm);
  for (std::size_t i = 0; i < n; ++i) designRow(x[i], y[i], degree, {a.data() + i * mm, mm});

  {
    float mean = 0;
    for (float v : g) mean += v;
    mean /= static_cast<float>(n);
    float st = 0;
    for (float v : g) st += (v - mean) * (v - mean);
    fit.st = st;
  }

  std::vector<float> w(n, 1.0f), r(n, 0.0f), t1(mm), t4(mm);
  SingleMatrix t2(m, m), t3(m, m);
  std::vector<float> t3cols(mm * mm);
  std::vector<float> sHistory;
  float bestNd = 0;
  TrendStep prev;
  for (int L = 0; L <= maxIter; ++L) {
    // a. The weights from the step before.
    if (L > 0)
      for (std::size_t i = 0; i < n; ++i)
        w[i] = robustWeight(r[i], prev.s, prev.rmax, prev.anyNegative);

    // b. T2 = (AᵀW)·A, every accumulator summed over i in order.
    std::fill(t2.data().begin(), t2.data().end(), 0.0f);
    float* t2d = t2.data().data();
    for (std::size_t i = 0; i < n; ++i) {
      const float* ai = a.data() + i * mm;
      for (std::size_t j = 0; j < mm; ++j) {
        const float t1ji = ai[j] * w[i];
        float* acc = t2d + j * mm;
        for (std::size_t l = 0; l < mm; ++l) acc[l] += t1ji * ai[l];
      }
    }
    geochem::copyMatrix(t2, t3);
    invertMatrix(t3, kTrendInvertTolerance);
    // T3 by columns, so that the sums over l below run across j.
    for (std::size_t j = 0; j < mm; ++j)
      for (std::size_t l = 0; l < mm; ++l)
        t3cols[l * mm + j] = t3(static_cast<int>(j), static_cast<int>(l));
    // C = (T3·T1)·g: column i of T3·T1 summed over l in order, then C_j over i in order.
    TrendStep step;
    step.L = L;
    step.c.assign(mm, 0.0f);
    for (std::size_t i = 0; i < n; ++i) {
      const float* ai = a.data() + i * mm;
      for (std::size_t l = 0; l < mm; ++l) t1[l] = ai[l] * w[i];
      std::fill(t4.begin(), t4.end(), 0.0f);
      for (std::size_t l = 0; l < mm; ++l) {
        const float* col = t3cols.data() + l * mm;
        const float t1l = t1[l];
        for (std::size_t j = 0; j < mm; ++j) t4[j] += col[j] * t1l;
      }
      const float gi = g[i];
      for (std::size_t j = 0; j < mm; ++j) step.c[j] += t4[j] * gi;
    }

    // d, e. Residuals, their extremes and sums.
    step.rmax = 1.0e-16f;
    step.anyNegative = false;
    float sy = 0, sabs = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const float* ai = a.data() + i * mm;
      float sum = 0;
      for (std::size_t j = 0; j < mm; ++j) sum += step.c[j] * ai[j];
      r[i] = g[i] - sum;
      if (r[i] < 0) step.anyNegative = true;
      if (std::abs(r[i]) >= step.rmax) step.rmax = std::abs(r[i]);
      sy += r[i] * r[i];
      sabs += std::abs(r[i]);
    }
    step.sy = sy;
    step.s = sabs / static_cast<float>(n);
    step.nd = (fit.st - sy) / fit.st;
    // f. The best ND so far.
    if (step.nd > bestNd) {
      bestNd = step.nd;
      fit.bestL = L;
    }
    sHistory.push_back(step.s);
    fit.steps.push_back(step);
    prev = step;

    // g. The stop test, and the end of what can be reweighted.
    if (L >= 3) {
      const float s0 = sHistory[static_cast<std::size_t>(L) - 2];
      const float s1 = sHistory[static_cast<std::size_t>(L) - 1];
      const float s2 = sHistory[static_cast<std::size_t>(L)];
      const float e1 = std::abs(s1 - s0) / ((s0 + s1) / 2.0f);
      const float e2 = std::abs(s2 - s1) / ((s1 + s2) / 2.0f);
      if (e1 < er && e2 < er) break;
    }
    if (!(step.s > 0)) break;
    progress.setValue(L + 1);
    if (!progress.pump()) break;
  }
  fit.bestNd = bestNd;
  return fit;
}

std::vector<std::string> trendReportLines(const TrendFit& fit, std::span<const float> g, int degree,
                                          float er) {
  std::vector<std::string> lines;
  lines.push_back("**** 稳健多项式拟合分析预先给定的参数 ****");
  lines.push_back(" 总样品数(去掉空区点) n= " + std::to_string(g.size()));
  lines.push_back(" 给定的多项式拟合面次数 p2 = " + std::to_string(degree));
  lines.push_back("拟合多项式系数个数 m1 = (p2 + 1) * (p2 + 2) / 2=" +
                  std::to_string(trendCoefficientCount(degree)));
  lines.push_back(" 给定的拟合多项式迭代精度 ER = " + singleText(er));
  lines.push_back("---输出原始数据g0---：");
  for (float v : g) lines.push_back(singleText(v));
  lines.push_back("***总离差平方和 st = " + singleText(fit.st));
  // Pass 2: the steps up to the best one, as reported (L = 0 is not).
  for (int L = 1; L <= fit.bestL && L < static_cast<int>(fit.steps.size()); ++L) {
    const TrendStep& s = fit.steps[static_cast<std::size_t>(L)];
    const std::string l = std::to_string(L);
    lines.push_back("=================================");
    lines.push_back("L=" + l + "------稳健拟合多项式系数 C ------");
    for (float c : s.c) lines.push_back(singleText(c));
    lines.push_back("L=" + l + "n个测点剩余异常r的极大值rmax=" + singleText(s.rmax));
    lines.push_back("n个测点剩余异常r的绝对值的平均值 s=" + singleText(s.s));
    lines.push_back("---剩余值平方和 sy = " + singleText(s.sy));
    lines.push_back("---回归离差平方和 huigui = " + singleText(fit.st - s.sy));
    lines.push_back("L=" + l + "拟合优度 ND=回归离差平方和 /总离差平方和 =" + singleText(s.nd));
  }
  lines.push_back("=================================");
  lines.push_back("最佳拟合迭代次数 L=" + std::to_string(fit.bestL));
  lines.push_back("最佳拟合优度 ND=" + singleText(fit.bestNd));
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
  const TrendFit fit = robustTrendFit(xs, ys, g, degree, maxIter, er, progress);
  report.n = n;
  report.degree = degree;
  report.coefficients = m;
  report.bestL = fit.bestL;
  report.bestNd = fit.bestNd;
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
  const std::vector<float>& c = fit.best().c;
  try {
    db.begin();
    TableWriter w(db, job.newTable, {job.xField, job.yField, job.item, tName, rName});
    progress.setMaximum(n);
    for (std::int64_t i = 0; i < n; ++i) {
      const auto k = static_cast<std::size_t>(i);
      const float t = trendValue(c, degree, xn[k], yn[k]);
      w.setDouble(0, xs[k]);
      w.setDouble(1, ys[k]);
      w.setDouble(2, g[k]);
      w.setDouble(3, t);
      w.setDouble(4, g[k] - t);
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
