#include "gravmag/profile_depth.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numeric>

#include "gravmag/fft.h"
#include "workarea/null_value.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::gravmag {
namespace {

constexpr int kMinWindow = 3, kMaxWindow = 201;
// Width at half maximum of |A| over depth, by model: contact, thin dike, horizontal cylinder.
const double kHalfWidthFactor[] = {2.0 * std::sqrt(3.0), 2.0,
                                   2.0 * std::sqrt(std::pow(2.0, 2.0 / 3.0) - 1.0)};

bool usable(double v) { return std::isfinite(v) && !isNullValue(v); }

int fieldIndex(const ScatterFile& f, const std::string& name) {
  if (name.empty()) return -1;
  for (int i = 0; i < f.fieldCount(); ++i)
    if (f.names[static_cast<std::size_t>(i)] == name) return i;
  return -1;
}

double median(std::vector<double> v) {
  if (v.empty()) return 0;
  const std::size_t m = v.size() / 2;
  std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(m), v.end());
  const double hi = v[m];
  if (v.size() % 2) return hi;
  const double lo = *std::max_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(m));
  return 0.5 * (lo + hi);
}

// A window of the profile that touches no gap.
bool clearWindow(const RegularProfile& p, std::size_t i0, std::size_t n) {
  for (std::size_t i = i0; i < i0 + n; ++i)
    if (p.gap[i]) return false;
  return true;
}

// Central differences of a regular series: five points inside, three near the ends, two at them.
std::vector<double> derivative(const std::vector<double>& t, double dx) {
  const std::size_t n = t.size();
  std::vector<double> d(n, 0.0);
  if (n < 2) return d;
  for (std::size_t i = 0; i < n; ++i) {
    if (i >= 2 && i + 2 < n)
      d[i] = (-t[i + 2] + 8.0 * t[i + 1] - 8.0 * t[i - 1] + t[i - 2]) / (12.0 * dx);
    else if (i >= 1 && i + 1 < n)
      d[i] = (t[i + 1] - t[i - 1]) / (2.0 * dx);
    else if (i == 0)
      d[i] = (t[1] - t[0]) / dx;
    else
      d[i] = (t[n - 1] - t[n - 2]) / dx;
  }
  return d;
}

}  // namespace

ScatterReadResult readProfileFile(const std::string& path) {
  ScatterReadResult r = readAsciiScatter(path, "PROFA#");
  if (r.error == ScatterError::BadMagic) r = readBinaryScatter(path, kScatHeaderOffset, "PROFB#");
  return r;
}

ProfileSeries profileSeries(const ScatterFile& f, const std::string& xField,
                            const std::string& yField, const std::string& valueField,
                            const std::string& tzField) {
  ProfileSeries s;
  const int ix = fieldIndex(f, xField), iy = fieldIndex(f, yField);
  const int iv = fieldIndex(f, valueField), iz = fieldIndex(f, tzField);
  if (ix < 0 || iv < 0) return s;
  double along = 0, px = 0, py = 0;
  bool first = true;
  for (std::int64_t r = 0; r < f.recordCount; ++r) {
    const double x = f.at(r, ix), t = f.at(r, iv);
    const double y = iy >= 0 ? f.at(r, iy) : 0.0;
    const double tz = iz >= 0 ? f.at(r, iz) : 0.0;
    if (!usable(x) || !usable(t) || !usable(y) || !usable(tz)) continue;
    if (iy >= 0) {
      if (!first) along += std::hypot(x - px, y - py);
      px = x;
      py = y;
      first = false;
      s.x.push_back(along);
    } else {
      s.x.push_back(x);
    }
    s.t.push_back(t);
    if (iz >= 0) s.tz.push_back(tz);
  }
  return s;
}

std::vector<double> hilbertTransform(const std::vector<double>& v) {
  const int n = static_cast<int>(v.size());
  if (n < 2) return std::vector<double>(v.size(), 0.0);
  const PaddedSize ps = paddedSize(2 * n);
  const int m = ps.size;
  std::vector<float> re(static_cast<std::size_t>(m), 0.0f), im(re.size(), 0.0f);
  for (int i = 0; i < n; ++i) re[static_cast<std::size_t>(i)] = static_cast<float>(v[static_cast<std::size_t>(i)]);
  fft1d(re.data(), im.data(), m, ps.power);
  // −i·sgn(k); the zero and Nyquist bins vanish.
  for (int k = 0; k < m; ++k) {
    const float a = re[static_cast<std::size_t>(k)], b = im[static_cast<std::size_t>(k)];
    if (k == 0 || 2 * k == m) {
      re[static_cast<std::size_t>(k)] = im[static_cast<std::size_t>(k)] = 0.0f;
    } else if (2 * k < m) {
      re[static_cast<std::size_t>(k)] = b;
      im[static_cast<std::size_t>(k)] = -a;
    } else {
      re[static_cast<std::size_t>(k)] = -b;
      im[static_cast<std::size_t>(k)] = a;
    }
  }
  // The inverse as the conjugate of the forward transform of the conjugate, over m.
  for (float& x : im) x = -x;
  fft1d(re.data(), im.data(), m, ps.power);
  std::vector<double> out(v.size());
  for (int i = 0; i < n; ++i) out[static_cast<std::size_t>(i)] = static_cast<double>(re[static_cast<std::size_t>(i)]) / m;
  return out;
}

RegularProfile regularProfile(const ProfileSeries& s) {
  RegularProfile p;
  std::vector<std::size_t> order(s.x.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return s.x[a] < s.x[b]; });
  std::vector<double> x, t, tz;
  const bool hasTz = !s.tz.empty() && s.tz.size() == s.x.size();
  for (std::size_t k : order) {
    if (!x.empty() && s.x[k] == x.back()) continue;  // a repeated station: the first counts
    x.push_back(s.x[k]);
    t.push_back(s.t[k]);
    if (hasTz) tz.push_back(s.tz[k]);
  }
  if (x.size() < 2) return p;
  std::vector<double> steps;
  for (std::size_t i = 1; i < x.size(); ++i) steps.push_back(x[i] - x[i - 1]);
  const double dx = median(steps);
  const std::size_t n = static_cast<std::size_t>(std::floor((x.back() - x.front()) / dx + 1e-9)) + 1;
  p.x0 = x.front();
  p.dx = dx;
  p.measuredTz = hasTz;
  p.t.resize(n);
  p.gap.assign(n, 0);
  if (hasTz) p.tz.resize(n);
  std::size_t seg = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double xi = p.x(i);
    while (seg + 2 < x.size() && x[seg + 1] < xi) ++seg;
    const double a = x[seg], b = x[seg + 1];
    const double w = std::clamp((xi - a) / (b - a), 0.0, 1.0);
    p.t[i] = t[seg] + w * (t[seg + 1] - t[seg]);
    if (hasTz) p.tz[i] = tz[seg] + w * (tz[seg + 1] - tz[seg]);
    if (b - a > kGapFactor * dx && xi > a && xi < b) p.gap[i] = 1;
  }
  p.tx = derivative(p.t, dx);
  if (!hasTz) p.tz = hilbertTransform(p.tx);
  return p;
}

std::vector<DepthSolution> eulerSolutions(const RegularProfile& p, int window, double index,
                                          double tolerance) {
  std::vector<DepthSolution> out;
  const std::size_t n = p.size(), w = static_cast<std::size_t>(window);
  if (window < kMinWindow || n < w) return out;
  for (std::size_t i0 = 0; i0 + w <= n; ++i0) {
    if (!clearWindow(p, i0, w)) continue;
    const double xc = p.x(i0 + w / 2);
    Eigen::MatrixXd A(static_cast<Eigen::Index>(w), 3);
    Eigen::VectorXd b(static_cast<Eigen::Index>(w));
    for (std::size_t k = 0; k < w; ++k) {
      const std::size_t i = i0 + k;
      const auto r = static_cast<Eigen::Index>(k);
      A(r, 0) = p.tx[i];
      A(r, 1) = p.tz[i];
      A(r, 2) = 1.0;
      b(r) = (p.x(i) - xc) * p.tx[i] + index * p.t[i];
    }
    const Eigen::Matrix3d N = A.transpose() * A;
    Eigen::FullPivLU<Eigen::Matrix3d> lu(N);
    if (!lu.isInvertible()) continue;
    const Eigen::Matrix3d inv = lu.inverse();
    const Eigen::Vector3d s = inv * (A.transpose() * b);
    const double z0 = s(1);
    if (!(z0 > 0) || !std::isfinite(z0)) continue;
    const double rss = (A * s - b).squaredNorm();
    const double var = w > 3 ? rss / static_cast<double>(w - 3) : 0.0;
    const double sz = std::sqrt(std::max(0.0, var * inv(1, 1)));
    if (sz > tolerance * z0) continue;
    DepthSolution d;
    d.x1 = p.x(i0);
    d.x2 = p.x(i0 + w - 1);
    d.x0 = xc + s(0);
    const double len = d.x2 - d.x1;
    if (d.x0 < d.x1 - len || d.x0 > d.x2 + len) continue;
    d.z0 = z0;
    d.index = index;
    d.error = sz;
    out.push_back(d);
  }
  return out;
}

std::vector<DepthSolution> wernerSolutions(const RegularProfile& p, int window, int model,
                                           int interference) {
  std::vector<DepthSolution> out;
  const std::size_t n = p.size(), w = static_cast<std::size_t>(window);
  const int terms = 4 + std::clamp(interference, 0, 2);
  if (window < terms + 1 || n < w) return out;
  const std::vector<double>& f = model == 0 ? p.tx : p.t;  // contacts from the derivative
  for (std::size_t i0 = 0; i0 + w <= n; ++i0) {
    if (!clearWindow(p, i0, w)) continue;
    const double xc = 0.5 * (p.x(i0) + p.x(i0 + w - 1));
    const double sc = std::max(0.5 * (p.x(i0 + w - 1) - p.x(i0)), p.dx);
    Eigen::MatrixXd A(static_cast<Eigen::Index>(w), terms);
    Eigen::VectorXd b(static_cast<Eigen::Index>(w));
    for (std::size_t k = 0; k < w; ++k) {
      const double u = (p.x(i0 + k) - xc) / sc, t = f[i0 + k];
      const auto r = static_cast<Eigen::Index>(k);
      A(r, 0) = 1.0;
      A(r, 1) = u;
      A(r, 2) = t;
      A(r, 3) = u * t;
      if (terms > 4) A(r, 4) = u * u;
      if (terms > 5) A(r, 5) = u * u * u;
      b(r) = u * u * t;
    }
    const Eigen::VectorXd s = A.colPivHouseholderQr().solve(b);
    if (!s.allFinite()) continue;
    const double u0 = 0.5 * s(3);
    const double z2 = -s(2) - u0 * u0;
    if (!(z2 > 0)) continue;
    DepthSolution d;
    d.x1 = p.x(i0);
    d.x2 = p.x(i0 + w - 1);
    d.x0 = xc + u0 * sc;
    if (d.x0 < d.x1 || d.x0 > d.x2) continue;
    d.z0 = std::sqrt(z2) * sc;
    d.index = model;
    d.error = std::sqrt((A * s - b).squaredNorm() / static_cast<double>(w));
    out.push_back(d);
  }
  return out;
}

std::vector<DepthSolution> analyticSignalSolutions(const RegularProfile& p, int model) {
  std::vector<DepthSolution> out;
  const std::size_t n = p.size();
  if (n < 3) return out;
  const double factor = kHalfWidthFactor[std::clamp(model, 0, 2)];
  std::vector<double> a(n);
  for (std::size_t i = 0; i < n; ++i) a[i] = std::hypot(p.tx[i], p.tz[i]);
  const double top = *std::max_element(a.begin(), a.end());
  if (!(top > 0)) return out;
  for (std::size_t i = 1; i + 1 < n; ++i) {
    if (!(a[i] >= a[i - 1] && a[i] > a[i + 1]) || a[i] < kSignalPeakFraction * top || p.gap[i])
      continue;
    // The peak by a parabola through three samples.
    const double den = a[i - 1] - 2.0 * a[i] + a[i + 1];
    const double delta = den < 0 ? 0.5 * (a[i - 1] - a[i + 1]) / den : 0.0;
    const double peak = a[i] - 0.25 * (a[i - 1] - a[i + 1]) * delta;
    const double half = 0.5 * peak;
    // Half maximum on each side, by linear interpolation; a gap or an end first: no solution.
    double xl = 0, xr = 0;
    bool left = false, right = false;
    for (std::size_t j = i; j-- > 0;) {
      if (p.gap[j]) break;
      if (a[j] <= half) {
        xl = p.x(j) + (half - a[j]) / (a[j + 1] - a[j]) * p.dx;
        left = true;
        break;
      }
    }
    for (std::size_t j = i + 1; j < n; ++j) {
      if (p.gap[j]) break;
      if (a[j] <= half) {
        xr = p.x(j) - (half - a[j]) / (a[j - 1] - a[j]) * p.dx;
        right = true;
        break;
      }
    }
    if (!left || !right) continue;
    DepthSolution d;
    d.x1 = xl;
    d.x2 = xr;
    d.x0 = p.x(i) + delta * p.dx;
    d.z0 = (xr - xl) / factor;
    d.index = model;
    d.error = peak;
    out.push_back(d);
  }
  return out;
}

std::vector<DepthSolution> depthSolutions(const RegularProfile& p, const DepthParams& params) {
  switch (params.method) {
    case DepthMethod::Euler:
      return eulerSolutions(p, params.window, params.index, params.tolerance);
    case DepthMethod::Werner:
      return wernerSolutions(p, params.window, static_cast<int>(params.index), params.interference);
    case DepthMethod::AnalyticSignal:
      return analyticSignalSolutions(p, static_cast<int>(params.index));
  }
  return {};
}

DepthSummary summarizeDepths(const std::vector<DepthSolution>& s) {
  DepthSummary r;
  r.count = s.size();
  std::vector<double> x, z;
  for (const auto& d : s) {
    x.push_back(d.x0);
    z.push_back(d.z0);
  }
  r.x0 = median(x);
  r.z0 = median(z);
  return r;
}

// ------------------------------------------------------------------------------ the tool's job

std::vector<std::string> depthMethodNames() { return {"欧拉反褶积", "Werner反褶积", "解析信号"}; }

std::vector<std::string> depthIndexChoices(DepthMethod m) {
  switch (m) {
    case DepthMethod::Euler:
      return {"0 接触带", "1 岩脉/岩床边缘", "2 水平圆柱体/垂直管状体", "3 球体/偶极子"};
    case DepthMethod::Werner:
      return {"0 接触带", "1 薄板状岩脉"};
    case DepthMethod::AnalyticSignal:
      return {"0 接触带", "1 薄板状岩脉", "2 水平圆柱体"};
  }
  return {};
}

Outcome writeDepthTable(Database& db, const std::string& table, const std::string& origin,
                        const std::string& method, const std::vector<DepthSolution>& s,
                        Interaction& ui) {
  try {
    db.begin();
    Registration how{origin, kDepthCaption, OverwriteRule::Ask, "新数据表名已存在,是否覆盖?", "",
                     false};
    if (registerTable(db, table, how, ui) == RegisterResult::Declined) {
      db.rollback();
      return Outcome::failure("");
    }
    const std::vector<std::string> names{"METHOD", "WINX1", "WINX2", "X0", "DEPTH", "SI", "ERR"};
    db.createTable(table, {{names[0], JetType::Text, 20},
                           {names[1], JetType::Double, 0},
                           {names[2], JetType::Double, 0},
                           {names[3], JetType::Double, 0},
                           {names[4], JetType::Double, 0},
                           {names[5], JetType::Single, 0},
                           {names[6], JetType::Double, 0}});
    TableWriter wr(db, table, names);
    for (const auto& d : s) {
      wr.setText(0, method);
      wr.setDouble(1, d.x1);
      wr.setDouble(2, d.x2);
      wr.setDouble(3, d.x0);
      wr.setDouble(4, d.z0);
      wr.setDouble(5, d.index);
      wr.setDouble(6, d.error);
      wr.addRow();
    }
    wr.commit();
    db.commit();
  } catch (const StoreError& e) {
    db.rollback();
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  return Outcome::success();
}

DepthRunResult runProfileDepth(const DepthJob& job, Database* db, Interaction& ui) {
  DepthRunResult res;
  auto fail = [&](const std::string& text) {
    res.outcome = Outcome::failure(text);
    return res;
  };
  const DepthParams& p = job.params;
  if (job.profilePath.empty()) return fail(kMsgDepthNoFile);
  if (job.xField.empty()) return fail(kMsgDepthNoX);
  if (job.valueField.empty()) return fail(kMsgDepthNoValue);
  if (p.method != DepthMethod::AnalyticSignal && (p.window < kMinWindow || p.window > kMaxWindow))
    return fail(kMsgDepthBadWindow);
  const double maxIndex = p.method == DepthMethod::Euler ? 3.0 : p.method == DepthMethod::Werner ? 1.0 : 2.0;
  if (!(p.index >= 0 && p.index <= maxIndex)) return fail(kMsgDepthBadIndex);
  if (p.method == DepthMethod::Euler && !(p.tolerance > 0 && std::isfinite(p.tolerance)))
    return fail(kMsgDepthBadTolerance);
  if (db && job.table.empty()) return fail(kMsgDepthNoTable);

  ScatterReadResult file = readProfileFile(job.profilePath);
  if (!file.ok()) return fail(kMsgDepthBadFile);
  const ProfileSeries series =
      profileSeries(file.file, job.xField, job.yField, job.valueField, job.tzField);
  res.profile = regularProfile(series);
  const std::size_t need = 2 * static_cast<std::size_t>(std::max(p.window, kMinWindow));
  if (res.profile.size() < need) return fail(kMsgDepthFewPoints);
  res.solutions = depthSolutions(res.profile, p);
  res.summary = summarizeDepths(res.solutions);
  res.params = p;
  res.method = depthMethodNames()[static_cast<std::size_t>(p.method)];
  if (db) {
    const std::string origin = std::filesystem::path(job.profilePath).filename().string();
    if (Outcome o = writeDepthTable(*db, job.table, origin, res.method, res.solutions, ui); !o)
      return fail(o.message);
  }
  res.outcome = Outcome::success(kMsgDepthDone);
  return res;
}

chart::Chart profileChart(const DepthRunResult& r) {
  using namespace chart;
  Chart c;
  const RegularProfile& p = r.profile;
  c.title = r.method;
  c.x.label = "距离";
  c.y.label = "磁异常 (nT)";
  c.fitFrame = true;
  c.legend = true;
  std::vector<double> xs(p.size());
  for (std::size_t i = 0; i < p.size(); ++i) xs[i] = p.x(i);
  if (!xs.empty()) {
    c.x.autoRange = false;
    c.x.lo = xs.front();
    c.x.hi = xs.back();
  }
  c.series.push_back(Series::of(SeriesKind::Line, xs, p.t, kBlue, "ΔT"));
  // The curve the method reads, scaled to the anomaly's range so that both show.
  std::vector<double> second;
  std::string name;
  if (r.params.method == DepthMethod::AnalyticSignal) {
    for (std::size_t i = 0; i < p.size(); ++i) second.push_back(std::hypot(p.tx[i], p.tz[i]));
    name = "|A| (归一化)";
  } else if (r.params.method == DepthMethod::Werner && r.params.index == 0) {
    second = p.tx;
    name = "∂T/∂x (归一化)";
  }
  if (!second.empty()) {
    double big = 0, ref = 0;
    for (double v : second) big = std::max(big, std::fabs(v));
    for (double v : p.t) ref = std::max(ref, std::fabs(v));
    if (big > 0)
      for (double& v : second) v *= ref / big;
    Series d = Series::of(SeriesKind::Line, xs, second, kRed, name);
    d.dashed = true;
    c.series.push_back(std::move(d));
  }
  return c;
}

chart::Chart solutionChart(const DepthRunResult& r) {
  using namespace chart;
  Chart c;
  const RegularProfile& p = r.profile;
  c.x.label = "距离";
  c.y.label = "深度";
  c.y.reversed = true;
  c.fitFrame = true;
  if (p.size()) {
    c.x.autoRange = false;
    c.x.lo = p.x(0);
    c.x.hi = p.x(p.size() - 1);
  }
  double deepest = 0;
  Series windows;
  windows.kind = SeriesKind::Segments;
  windows.colour = kGrey;
  windows.name = "窗口";
  Series points;
  points.kind = SeriesKind::Markers;
  points.marker = Marker::Circle;
  points.colour = kRed;
  points.filledMarkers = true;
  points.name = "解";
  for (const auto& d : r.solutions) {
    windows.x.insert(windows.x.end(), {d.x1, d.x2});
    windows.y.insert(windows.y.end(), {d.z0, d.z0});
    points.x.push_back(d.x0);
    points.y.push_back(d.z0);
    deepest = std::max(deepest, d.z0);
  }
  c.y.autoRange = false;
  c.y.lo = 0;
  c.y.hi = deepest > 0 ? deepest * 1.15 : 1.0;
  c.series.push_back(std::move(windows));
  c.series.push_back(std::move(points));
  c.legend = true;
  if (r.summary.count) {
    Note n;
    n.inFrame = true;
    n.x = 0.02;
    n.y = 0.05;
    n.text = depthReport(r);
    c.notes.push_back(n);
  }
  return c;
}

std::string depthReport(const DepthRunResult& r) {
  char b[160];
  std::snprintf(b, sizeof b, "解的个数: %zu, 深度中值: %.4g, 位置中值: %.6g", r.summary.count,
                r.summary.z0, r.summary.x0);
  return b;
}

}  // namespace sarnoth::gravmag
