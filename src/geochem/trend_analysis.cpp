// Trend surfaces by least squares; the method and its tests are described in trend_analysis.h.
#include "geochem/trend_analysis.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "geochem/f_distribution.h"
#include "geochem/least_squares.h"
#include "geochem/report_format.h"
#include "prep/gridding.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

int termCount(int degree) { return (degree + 1) * (degree + 2) / 2 - 1; }

double termValue(const TrendTerm& t, double u, double v) {
  double r = 1;
  for (int k = 0; k < t.i; ++k) r *= u;
  for (int k = 0; k < t.j; ++k) r *= v;
  return r;
}

std::string termName(const TrendTerm& t) {
  auto part = [](const char* name, int p) -> std::string {
    if (p == 0) return "";
    if (p == 1) return name;
    return std::string(name) + "^" + std::to_string(p);
  };
  std::string a = part("u", t.i), b = part("v", t.j);
  return a.empty() ? b : b.empty() ? a : a + "·" + b;
}

bool present(double v) { return !std::isnan(v) && static_cast<float>(v) != NULL_VALUE; }

struct Stop {
  std::string text;
};

}  // namespace

std::vector<TrendTerm> trendTerms(int degree) {
  std::vector<TrendTerm> t;
  for (int e = 1; e <= degree; ++e)
    for (int i = e; i >= 0; --i) t.push_back({i, e - i});
  return t;
}

TrendFrame trendFrame(const std::vector<double>& x, const std::vector<double>& y) {
  TrendFrame f;
  if (x.empty()) return f;
  auto [x0, x1] = std::minmax_element(x.begin(), x.end());
  auto [y0, y1] = std::minmax_element(y.begin(), y.end());
  f.xc = (*x0 + *x1) / 2;
  f.yc = (*y0 + *y1) / 2;
  f.scale = std::max(*x1 - *x0, *y1 - *y0) / 2;
  if (!(f.scale > 0)) f.scale = 1;
  return f;
}

double TrendDegreeFit::value(const TrendFrame& frame, double x, double y) const {
  const double u = frame.u(x), v = frame.v(y);
  const auto terms = trendTerms(degree);
  double s = coefficients.empty() ? 0 : coefficients[0];
  for (std::size_t k = 0; k < terms.size() && k + 1 < coefficients.size(); ++k)
    s += coefficients[k + 1] * termValue(terms[k], u, v);
  return s;
}

TrendFits fitTrendSurfaces(const std::vector<double>& x, const std::vector<double>& y,
                           const std::vector<double>& z, int maxDegree) {
  TrendFits out;
  const std::size_t n = std::min({x.size(), y.size(), z.size()});
  out.n = static_cast<std::int64_t>(n);
  out.frame = trendFrame(x, y);
  maxDegree = std::clamp(maxDegree, 1, kTrendMaxDegree);
  if (static_cast<std::int64_t>(n) <= termCount(maxDegree) + 1) {
    out.failure = kMsgTrendTooFew;
    return out;
  }
  std::vector<double> u(n), v(n);
  for (std::size_t i = 0; i < n; ++i) {
    u[i] = out.frame.u(x[i]);
    v[i] = out.frame.v(y[i]);
  }
  double mean = 0;
  for (std::size_t i = 0; i < n; ++i) mean += z[i];
  mean /= static_cast<double>(n);
  double syy = 0;
  for (std::size_t i = 0; i < n; ++i) syy += (z[i] - mean) * (z[i] - mean);
  double prevSse = syy;
  int prevTerms = 0;
  for (int d = 1; d <= maxDegree; ++d) {
    const auto terms = trendTerms(d);
    const int m = static_cast<int>(terms.size());
    std::vector<double> cols(static_cast<std::size_t>(m) * n);
    for (int k = 0; k < m; ++k)
      for (std::size_t i = 0; i < n; ++i)
        cols[static_cast<std::size_t>(k) * n + i] =
            termValue(terms[static_cast<std::size_t>(k)], u[i], v[i]);
    DesignColumns<double> design{cols, std::span<const double>(z.data(), n), m,
                                 static_cast<std::int64_t>(n)};
    LeastSquaresFit fit = fitLeastSquares(design);
    if (fit.status == FitStatus::Dependent) {
      out.failure = "第" + std::to_string(d) + kMsgTrendDependent;
      return out;
    }
    if (!fit.ok()) {
      out.failure = fit.status == FitStatus::TooFewSamples ? kMsgTrendTooFew
                                                           : std::string(kMsgTrendFailed) + "NaN";
      return out;
    }
    TrendDegreeFit f;
    f.degree = d;
    f.terms = m;
    f.coefficients.push_back(fit.intercept);
    f.stdErr.push_back(fit.interceptStdErr);
    for (int k = 0; k < m; ++k) {
      f.coefficients.push_back(fit.b[static_cast<std::size_t>(k)]);
      f.stdErr.push_back(fit.stdErr[static_cast<std::size_t>(k)]);
    }
    f.sse = fit.sse;
    f.regressionSS = fit.regressionSS;
    f.totalSS = fit.totalSS;
    f.rSquared = fit.rSquared;
    f.dfResidual = static_cast<int>(static_cast<std::int64_t>(n) - m - 1);
    const double s2 = f.sse / f.dfResidual;
    f.f = s2 > 0 ? (f.regressionSS / m) / s2 : std::numeric_limits<double>::infinity();
    f.fP = fUpperTail(f.f, m, f.dfResidual);
    f.gainDf1 = m - prevTerms;
    f.fGain = s2 > 0 ? std::max(0.0, prevSse - f.sse) / f.gainDf1 / s2
                     : std::numeric_limits<double>::infinity();
    f.fGainP = fUpperTail(f.fGain, f.gainDf1, f.dfResidual);
    prevSse = f.sse;
    prevTerms = m;
    out.degrees.push_back(std::move(f));
  }
  return out;
}

std::string checkTrendJob(const TrendJob& job) {
  if (job.table.empty()) return kMsgTrendNoTable;
  if (job.xField.empty() || job.yField.empty() || job.valueField.empty()) return kMsgTrendNoFields;
  long long d = 0;
  if (!filetext::parseInt(filetext::trim(job.degreeText), d) || d < 1 || d > kTrendMaxDegree)
    return kMsgTrendDegree;
  if (filetext::trim(job.newTable).empty()) return kMsgTrendNoNewTable;
  if (!filetext::trim(job.gridSpacingText).empty()) {
    double s = 0;
    if (!filetext::parseDouble(filetext::trim(job.gridSpacingText), s) || !(s > 0))
      return kMsgSpacing;
  }
  return {};
}

std::vector<std::string> trendReport(const TrendJob& job, const TrendFits& fits, int degree) {
  std::vector<std::string> r;
  r.push_back("   趋势面分析");
  r.push_back("   数据表: " + job.table + "    数据项: " + job.valueField);
  r.push_back("   样品数=" + std::to_string(fits.n));
  r.push_back("   坐标变换: u=(" + job.xField + "-" + doubleText(fits.frame.xc) + ")/" +
              doubleText(fits.frame.scale) + "   v=(" + job.yField + "-" +
              doubleText(fits.frame.yc) + ")/" + doubleText(fits.frame.scale));
  r.push_back("");
  r.push_back("  次数  项数    拟合度R²      F值        概率P     本次项F值    概率P");
  for (const auto& f : fits.degrees) {
    char line[200];
    std::snprintf(line, sizeof line, "  %3d  %4d  %10.6f  %11.4f  %10.4g  %11.4f  %10.4g", f.degree,
                  f.terms, f.rSquared, f.f, f.fP, f.fGain, f.fGainP);
    r.push_back(line);
  }
  for (const auto& f : fits.degrees) {
    if (f.degree != degree) continue;
    r.push_back("");
    r.push_back("   " + std::to_string(degree) + " 次趋势面回归系数:");
    const auto terms = trendTerms(degree);
    r.push_back("            b0=" + doubleText(f.coefficients[0]) +
                "   标准差=" + doubleText(f.stdErr[0]));
    for (std::size_t k = 0; k < terms.size(); ++k)
      r.push_back("    " + termName(terms[k]) + ": b=" + doubleText(f.coefficients[k + 1]) +
                  "   标准差=" + doubleText(f.stdErr[k + 1]));
    r.push_back(" 残差平方和=" + doubleText(f.sse) + "   回归平方和=" + doubleText(f.regressionSS) +
                "   总平方和=" + doubleText(f.totalSS));
  }
  return r;
}

Outcome runTrendAnalysis(Database& db, const std::string& workPath, const TrendJob& job,
                         Interaction& ui, TrendResult& result, Progress& progress) {
  if (std::string why = checkTrendJob(job); !why.empty()) return Outcome::failure(why);
  long long degree = 0;
  filetext::parseInt(filetext::trim(job.degreeText), degree);
  const std::string newTable = filetext::trim(job.newTable);
  TrendResult res;
  res.degree = static_cast<int>(degree);
  try {
    // Every record with coordinates; the fit takes those with a value as well.
    struct Row {
      double x, y, z;
    };
    std::vector<Row> rows;
    std::vector<double> fx, fy, fz;
    {
      Cursor c = db.query("Select " + bracket(job.xField) + "," + bracket(job.yField) + "," +
                          bracket(job.valueField) + " From " + bracket(job.table));
      while (c.next()) {
        const double x = c.isNull(0) ? NULL_VALUE_D : c.getDouble(0);
        const double y = c.isNull(1) ? NULL_VALUE_D : c.getDouble(1);
        const double z = c.isNull(2) ? NULL_VALUE_D : c.getDouble(2);
        if (!present(x) || !present(y)) continue;
        rows.push_back({x, y, z});
        if (!present(z)) continue;
        fx.push_back(x);
        fy.push_back(y);
        fz.push_back(z);
      }
    }
    res.fits = fitTrendSurfaces(fx, fy, fz, res.degree);
    if (!res.fits.ok()) return Outcome::failure(res.fits.failure);
    res.report = trendReport(job, res.fits, res.degree);
    if (!progress.pump()) return Outcome::failure({});

    Registration how{kTrendOrigin,        kTrendNote, OverwriteRule::Refuse,
                     kMsgTrendNameExists, "",         false};
    if (registerTable(db, newTable, how, ui) == RegisterResult::Refused)
      return Outcome::failure({});
    const std::string tf = job.valueField + kTrendSuffix, rf = job.valueField + kResidualSuffix;
    try {
      db.createTable(newTable, {{job.xField, JetType::Single, 0},
                                {job.yField, JetType::Single, 0},
                                {job.valueField, JetType::Single, 0},
                                {tf, JetType::Single, 0},
                                {rf, JetType::Single, 0}});
      const TrendDegreeFit& fit = res.fits.degrees.back();
      TableWriter w(db, newTable, {job.xField, job.yField, job.valueField, tf, rf});
      progress.setMaximum(static_cast<std::int64_t>(rows.size()));
      for (std::size_t i = 0; i < rows.size(); ++i) {
        const double t = fit.value(res.fits.frame, rows[i].x, rows[i].y);
        w.setDouble(0, rows[i].x);
        w.setDouble(1, rows[i].y);
        w.setDouble(2, present(rows[i].z) ? rows[i].z : NULL_VALUE_D);
        w.setDouble(3, t);
        w.setDouble(4, present(rows[i].z) ? rows[i].z - t : NULL_VALUE_D);
        w.addRow();
        if (i % 65536 == 0) progress.setValue(static_cast<std::int64_t>(i));
      }
      w.commit();
      res.rowsWritten = w.rowsWritten();
    } catch (const StoreError& e) {
      return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
    }

    // The grids, through the gridding engine on the new table.
    if (job.gridTrend || job.gridResidual) {
      auto [x0, x1] = std::minmax_element(fx.begin(), fx.end());
      auto [y0, y1] = std::minmax_element(fy.begin(), fy.end());
      double spacing = 0;
      if (!filetext::parseDouble(filetext::trim(job.gridSpacingText), spacing) || !(spacing > 0))
        spacing = std::max(*x1 - *x0, *y1 - *y0) / 100;
      if (!(spacing > 0)) spacing = 1;
      GriddingJob g;
      g.table = newTable;
      g.xField = job.xField;
      g.yField = job.yField;
      GridGeometry& geo = g.geometry;
      geo.xLeft = static_cast<float>(*x0);
      geo.yBottom = static_cast<float>(*y0);
      geo.dx = geo.dy = static_cast<float>(spacing);
      geo.columns = gridCount(geo.xLeft, static_cast<float>(*x1), geo.dx).value_or(0);
      geo.rows = gridCount(geo.yBottom, static_cast<float>(*y1), geo.dy).value_or(0);
      if (geo.columns < 2 || geo.rows < 2) return Outcome::failure(kMsgSpacing);
      geo.xJust = adjustedBound(geo.xLeft, geo.dx, geo.columns);
      geo.yJust = adjustedBound(geo.yBottom, geo.dy, geo.rows);
      g.method = GridMethod::InverseDistance;
      g.par = 2;
      g.circle = true;
      const double area = std::max((*x1 - *x0) * (*y1 - *y0), spacing * spacing);
      const double meanSpacing = std::sqrt(area / static_cast<double>(fx.size()));
      g.rx = g.ry = static_cast<float>(std::max(2.5 * spacing, 2 * meanSpacing));
      GriddingSettings settings;
      settings.onMethodSelected(g.method);
      settings.minNodePoints = 1;
      for (const auto& [wanted, field] : {std::pair{job.gridTrend, tf}, {job.gridResidual, rf}}) {
        if (!wanted) continue;
        g.valueField = field;
        g.outputName = field;
        GriddingRunResult run = runGridding(workPath, g, settings, ui, progress);
        if (run.declined) continue;
        if (!run.outcome.ok) return run.outcome;
        res.gridPaths.push_back(run.path);
      }
    }
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgTrendFailed) + e.what());
  }
  result = std::move(res);
  return Outcome::success();
}

}  // namespace sarnoth::geochem
