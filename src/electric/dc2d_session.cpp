#include "electric/dc2d_session.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace sarnoth::electric {
namespace {

double distance(XZ a, XZ b) { return std::hypot(a.x - b.x, a.z - b.z); }

double median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  const std::size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

bool sameOutline(const std::vector<XZ>& a, const std::vector<XZ>& b, double tol) {
  if (a.size() != b.size()) return false;
  for (std::size_t s = 0; s < b.size(); ++s) {  // any starting vertex, either direction
    bool fwd = true, back = true;
    for (std::size_t i = 0; i < a.size() && (fwd || back); ++i) {
      fwd = fwd && distance(a[i], b[(s + i) % b.size()]) < tol;
      back = back && distance(a[i], b[(s + b.size() - i) % b.size()]) < tol;
    }
    if (fwd || back) return true;
  }
  return false;
}

// Rectangle edges around sorted distinct values: halfway to the neighbours.
std::map<long long, std::pair<double, double>> spans(std::vector<double> v, double fallback) {
  std::sort(v.begin(), v.end());
  v.erase(
      std::unique(v.begin(), v.end(), [](double a, double b) { return std::abs(a - b) < 1e-6; }),
      v.end());
  std::map<long long, std::pair<double, double>> out;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const double lo =
        i > 0 ? (v[i - 1] + v[i]) / 2 : v[i] - (v.size() > 1 ? (v[1] - v[0]) / 2 : fallback);
    const double hi = i + 1 < v.size() ? (v[i] + v[i + 1]) / 2
                                       : v[i] + (v.size() > 1 ? (v[i] - v[i - 1]) / 2 : fallback);
    out[std::llround(v[i] * 1e6)] = {lo, hi};
  }
  return out;
}

chart::ColourBar barFor(const std::vector<double>& values, bool log, const std::string& label) {
  double lo = 1e300, hi = -1e300;
  for (double v : values)
    if (std::isfinite(v) && (!log || v > 0)) {
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
  if (!(lo <= hi)) lo = hi = log ? 1 : 0;
  if (hi - lo < 1e-9 * std::max(1.0, std::abs(hi))) {
    lo = log ? lo / 1.5 : lo - 0.5;
    hi = log ? hi * 1.5 : hi + 0.5;
  }
  return chart::makeColourBar(lo, hi, 12, log, label);
}

chart::Chart sectionChart(const std::string& title, const std::string& ylabel) {
  chart::Chart c;
  c.title = title;
  c.x.label = "X (m)";
  c.y.label = ylabel;
  c.fitFrame = true;
  c.fontSize = 11;
  return c;
}

}  // namespace

Dc2dSession::Dc2dSession() = default;
Dc2dSession::~Dc2dSession() = default;

bool Dc2dSession::load(const std::string& path, std::string& error) {
  Dc2dFile f;
  if (!readDc2dFile(path, f, error)) return false;
  setFile(std::move(f));
  path_ = path;
  return true;
}

void Dc2dSession::setFile(Dc2dFile file) {
  file_ = std::move(file);
  loaded_ = true;
  path_.clear();
  newSection();
}

void Dc2dSession::newSection() {
  curves_.clear();
  for (const Dc2dRegion& r : file_.model.regions) {
    Dc2dCurve c{r.outline};
    if (!c.points.empty()) c.points.push_back(c.points.front());
    curves_.push_back(std::move(c));
  }
  dropMesh();
}

void Dc2dSession::dropMesh() {
  forward_.reset();
  mesh_.reset();
  data_ = {};
  computed_ = inverted_ = false;
  response_ = {};
  inversion_ = {};
}

int Dc2dSession::addCurve(std::vector<XZ> points, double snap) {
  if (points.size() < 2) return -1;
  if (snap > 0) {
    for (XZ* end : {&points.front(), &points.back()}) {
      double best = snap;
      XZ to = *end;
      for (const Dc2dCurve& c : curves_)
        for (const XZ& p : {c.points.front(), c.points.back()})
          if (distance(*end, p) < best) {
            best = distance(*end, p);
            to = p;
          }
      if (best >= snap && std::abs(end->z - file_.survey.surfaceAt(end->x)) < snap)
        to = {end->x, file_.survey.surfaceAt(end->x)};
      *end = to;
    }
    if (points.size() > 2 && distance(points.front(), points.back()) < snap)
      points.back() = points.front();
  }
  curves_.push_back({std::move(points)});
  return static_cast<int>(curves_.size()) - 1;
}

bool Dc2dSession::removeCurve(int index) {
  if (index < 0 || index >= static_cast<int>(curves_.size())) return false;
  curves_.erase(curves_.begin() + index);
  return true;
}

Outcome Dc2dSession::createRegions() {
  if (!loaded_) return Outcome::failure("没有装载数据文件");
  const double tol = 1e-6 * std::max(1.0, file_.survey.unitSpacing());
  if (file_.inverse() && file_.model.regions.empty()) {
    std::vector<double> rho, eta;
    for (const Dc2dDatum& d : file_.survey.data) {
      if (d.rho > 0) rho.push_back(d.rho);
      if (d.eta >= 0) eta.push_back(d.eta);
    }
    file_.model.rho0 = rho.empty() ? 100 : median(rho);
    file_.model.eta0 = eta.empty() ? 0 : median(eta);
  }
  std::vector<std::vector<XZ>> loops;
  std::vector<int> open;
  for (int i = 0; i < static_cast<int>(curves_.size()); ++i) {
    const auto& p = curves_[static_cast<std::size_t>(i)].points;
    if (p.size() >= 4 && distance(p.front(), p.back()) < tol)
      loops.emplace_back(p.begin(), p.end() - 1);
    else
      open.push_back(i);
  }
  // Chains of open curves meeting end to end.
  std::vector<char> used(curves_.size(), 0);
  auto onSurface = [&](XZ p) { return std::abs(p.z - file_.survey.surfaceAt(p.x)) < tol; };
  for (int start : open) {
    if (used[static_cast<std::size_t>(start)]) continue;
    used[static_cast<std::size_t>(start)] = 1;
    std::vector<XZ> chain = curves_[static_cast<std::size_t>(start)].points;
    for (bool grown = true; grown && distance(chain.front(), chain.back()) >= tol;) {
      grown = false;
      for (int j : open) {
        if (used[static_cast<std::size_t>(j)]) continue;
        auto pts = curves_[static_cast<std::size_t>(j)].points;
        if (distance(pts.back(), chain.back()) < tol) std::reverse(pts.begin(), pts.end());
        if (distance(pts.front(), chain.back()) < tol) {
          chain.insert(chain.end(), pts.begin() + 1, pts.end());
          used[static_cast<std::size_t>(j)] = 1;
          grown = true;
          break;
        }
      }
    }
    if (distance(chain.front(), chain.back()) < tol && chain.size() >= 4) {
      chain.pop_back();
      loops.push_back(chain);
    } else if (chain.size() >= 2 && onSurface(chain.front()) && onSurface(chain.back())) {
      // Closed along the ground surface, through the terrain points between the two ends.
      const double xa = chain.back().x, xb = chain.front().x;
      std::vector<XZ> along;
      for (const XZ& t : file_.survey.terrain)
        if ((t.x - xa) * (t.x - xb) < 0) along.push_back(t);
      if (xa > xb) std::reverse(along.begin(), along.end());
      chain.insert(chain.end(), along.begin(), along.end());
      if (chain.size() >= 3) loops.push_back(chain);
    }
  }
  int added = 0;
  for (auto& loop : loops) {
    if (std::abs(signedArea2(loop)) < tol) continue;
    bool known = false;
    for (const Dc2dRegion& r : file_.model.regions)
      known = known || sameOutline(r.outline, loop, tol * 10);
    if (known) continue;
    Dc2dRegion r;
    r.outline = std::move(loop);
    file_.model.regions.push_back(std::move(r));
    ++added;
  }
  dropMesh();
  return Outcome::success("构造区域 " + std::to_string(added) + " 个，共 " +
                          std::to_string(file_.model.regions.size()) + " 个");
}

bool Dc2dSession::removeRegion(int index) {
  if (index < 0 || index >= static_cast<int>(file_.model.regions.size())) return false;
  file_.model.regions.erase(file_.model.regions.begin() + index);
  dropMesh();
  return true;
}

Outcome Dc2dSession::setRegionProperties(int index, double rho, double eta) {
  if (!(rho > 0)) return Outcome::failure("电阻率必须大于 0");
  if (!(eta >= 0 && eta < 100)) return Outcome::failure("极化率必须在 0 到 100 之间");
  if (index == -1) {
    file_.model.rho0 = rho;
    file_.model.eta0 = eta;
  } else if (index >= 0 && index < static_cast<int>(file_.model.regions.size())) {
    file_.model.regions[static_cast<std::size_t>(index)].rho = rho;
    file_.model.regions[static_cast<std::size_t>(index)].eta = eta;
  } else {
    return Outcome::failure("区域不存在");
  }
  return Outcome::success();
}

Outcome Dc2dSession::buildMesh(const Dc2dMeshSettings& settings) {
  if (!loaded_) return Outcome::failure("没有装载数据文件");
  dropMesh();
  auto mesh = std::make_unique<Dc2dMesh>();
  std::string error;
  if (!buildDc2dMesh(file_.survey, file_.model, settings, *mesh, error))
    return Outcome::failure(error);
  mesh_ = std::move(mesh);
  forward_ = std::make_unique<Dc2dForward>(*mesh_, file_.survey);
  return Outcome::success("网格节点 " + std::to_string(mesh_->nodes.size()) + " 个，单元 " +
                          std::to_string(mesh_->elements()) + " 个");
}

Outcome Dc2dSession::fetchMeshData() {
  if (!mesh_) return Outcome::failure("请先建立算区网格");
  std::string error;
  Dc2dMeshData d;
  if (!assignDc2dMeshData(*mesh_, file_.model, d, error)) return Outcome::failure(error);
  data_ = std::move(d);
  computed_ = inverted_ = false;
  return Outcome::success();
}

Outcome Dc2dSession::modifyRegion(int index, double rho, double eta) {
  Outcome o = setRegionProperties(index, rho, eta);
  if (!o) return o;
  for (std::size_t e = 0; e < data_.rho.size(); ++e)
    if (data_.region[e] == index) {
      data_.rho[e] = rho;
      data_.eta[e] = eta;
    }
  return o;
}

Outcome Dc2dSession::resetMeshData() { return fetchMeshData(); }

Outcome Dc2dSession::compute(Progress& progress, int threads) {
  if (!mesh_ || !forward_) return Outcome::failure("请先建立算区网格");
  if (data_.empty()) return Outcome::failure("请先获取网格数据");
  if (threads > 0)
    forward_ = std::make_unique<Dc2dForward>(*mesh_, file_.survey, Dc2dForwardSettings{8, threads});
  computed_ = inverted_ = false;
  if (!file_.inverse()) {
    if (!dc2dResponse(*forward_, data_, file_.chargeability(), response_, progress))
      return Outcome::failure("计算被中止");
    computed_ = true;
    return Outcome::success("正演计算完成");
  }
  cells_ = makeDc2dCells(*mesh_, file_.survey);
  Dc2dInversionSettings st = file_.control;
  st.chargeability = file_.chargeability();
  std::string error;
  Dc2dMeshData d = data_;
  if (!invertDc2d(*forward_, cells_, st, d, inversion_, error, progress))
    return Outcome::failure(error.empty() ? "计算被中止" : error);
  data_ = std::move(d);
  response_ = inversion_.response;
  computed_ = inverted_ = true;
  char buf[96];
  std::snprintf(buf, sizeof buf, "反演计算完成: 迭代 %d 次, 拟合差 %.2f %%", inversion_.iterations,
                inversion_.rms());
  return Outcome::success(buf);
}

std::string Dc2dSession::resultText() const {
  if (!computed_) return {};
  return formatDc2dResult(file_, response_, inverted_ ? &inversion_ : nullptr,
                          inverted_ ? &cells_ : nullptr);
}

std::string Dc2dSession::meshText() const {
  if (!mesh_ || data_.empty()) return {};
  return formatDc2dMeshData(*mesh_, data_);
}

std::optional<chart::Chart> Dc2dSession::pseudoSection(bool computed, bool eta) const {
  if (!loaded_) return std::nullopt;
  const Dc2dSurvey& s = file_.survey;
  std::vector<double> values;
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    double v = NULL_VALUE_D;
    if (computed) {
      const auto& src = eta ? response_.eta : response_.rho;
      if (computed_ && i < src.size()) v = src[i];
    } else {
      v = eta ? s.data[i].eta : s.data[i].rho;
    }
    values.push_back(v);
  }
  std::vector<double> xs, ds;
  std::vector<PseudoPosition> pos;
  bool any = false;
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    pos.push_back(pseudoPosition(s, s.data[i]));
    if (isNullValue(values[i]) || (!eta && !(values[i] > 0))) continue;
    any = true;
    xs.push_back(pos.back().x);
    ds.push_back(pos.back().depth);
  }
  if (!any) return std::nullopt;
  const double a = s.unitSpacing();
  const auto dspan = spans(ds, a / 2);
  // Widths within each level, so that a level's cells meet whatever the other levels do.
  std::map<long long, std::vector<double>> levelXs;
  for (std::size_t k = 0; k < xs.size(); ++k) levelXs[std::llround(ds[k] * 1e6)].push_back(xs[k]);
  std::map<long long, std::map<long long, std::pair<double, double>>> xspan;
  for (const auto& [key, v] : levelXs) xspan[key] = spans(v, a / 2);
  chart::Chart c = sectionChart(
      std::string(computed ? "计算" : "实测") + (eta ? "视极化率拟断面" : "视电阻率拟断面"),
      "伪深度 (m)");
  c.y.reversed = true;
  c.x.autoRange = false;
  c.x.lo = s.xMin() - a;
  c.x.hi = s.xMax() + a;
  chart::Series cells;
  cells.kind = chart::SeriesKind::Cells;
  cells.cellCorners = 4;
  cells.width = 0;
  std::vector<double> shown;
  for (std::size_t i = 0; i < s.data.size(); ++i)
    if (!(isNullValue(values[i]) || (!eta && !(values[i] > 0)))) shown.push_back(values[i]);
  c.colourBar = barFor(shown, !eta, eta ? "%" : "Ω·m");
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    if (isNullValue(values[i]) || (!eta && !(values[i] > 0))) continue;
    const auto [x0, x1] =
        xspan.at(std::llround(pos[i].depth * 1e6)).at(std::llround(pos[i].x * 1e6));
    const auto [d0, d1] = dspan.at(std::llround(pos[i].depth * 1e6));
    for (auto [x, d] : {std::pair{x0, d0}, {x1, d0}, {x1, d1}, {x0, d1}}) {
      cells.x.push_back(x);
      cells.y.push_back(d);
    }
    cells.cellColours.push_back(chart::colourOf(*c.colourBar, values[i]));
    cells.cellValues.push_back(values[i]);
  }
  c.series.push_back(std::move(cells));
  // The data points themselves.
  chart::Series pts = chart::Series::of(chart::SeriesKind::Markers, xs, ds, chart::kBlack);
  pts.marker = chart::Marker::Plus;
  pts.markerSize = 3;
  c.series.push_back(std::move(pts));
  return c;
}

std::optional<chart::Chart> Dc2dSession::modelImage(bool eta) const {
  if (!mesh_ || data_.empty()) return std::nullopt;
  const Dc2dSurvey& s = file_.survey;
  const Dc2dMesh& m = *mesh_;
  const double a = m.unitSpacing;
  const double xlo = s.xMin() - 2 * a, xhi = s.xMax() + 2 * a;
  double bottom = m.depthOfInterest;
  if (inverted_ && cells_.layers > 1)
    bottom = cells_.depthEdges[static_cast<std::size_t>(cells_.layers) - 1];
  chart::Chart c = sectionChart(
      std::string(inverted_ ? "反演" : "正演") + (eta ? "模型极化率图" : "模型电阻率图"),
      "高程 (m)");
  c.x.autoRange = false;
  c.x.lo = xlo;
  c.x.hi = xhi;
  chart::Series cells;
  cells.kind = chart::SeriesKind::Cells;
  cells.cellCorners = 3;
  cells.width = 0;
  std::vector<std::size_t> shown;
  std::vector<double> values;
  for (std::size_t e = 0; e < m.elements(); ++e) {
    const int i = m.columnOf(e), j = m.rowOf(e);
    if (m.xs[static_cast<std::size_t>(i)] < xlo || m.xs[static_cast<std::size_t>(i) + 1] > xhi)
      continue;
    if (m.depths[static_cast<std::size_t>(j)] >= bottom) continue;
    shown.push_back(e);
    values.push_back(eta ? data_.eta[e] : data_.rho[e]);
  }
  c.colourBar = barFor(values, !eta, eta ? "%" : "Ω·m");
  for (std::size_t k = 0; k < shown.size(); ++k) {
    for (int v : m.triangles[shown[k]]) {
      cells.x.push_back(m.nodes[static_cast<std::size_t>(v)].x);
      cells.y.push_back(m.nodes[static_cast<std::size_t>(v)].z);
    }
    cells.cellColours.push_back(chart::colourOf(*c.colourBar, values[k]));
    cells.cellValues.push_back(values[k]);
  }
  c.series.push_back(std::move(cells));
  // The electrodes on the surface.
  std::vector<double> ex, ez;
  for (std::size_t e = 0; e < s.electrodes.size(); ++e) {
    ex.push_back(s.position(static_cast<int>(e)).x);
    ez.push_back(s.position(static_cast<int>(e)).z);
  }
  chart::Series el = chart::Series::of(chart::SeriesKind::Markers, ex, ez, chart::kBlack);
  el.marker = chart::Marker::Triangle;
  el.markerSize = 5;
  el.filledMarkers = true;
  c.series.push_back(std::move(el));
  return c;
}

std::optional<chart::Chart> Dc2dSession::profileCurves(bool eta, int first) const {
  if (!loaded_) return std::nullopt;
  const Dc2dSurvey& s = file_.survey;
  // Levels by pseudo-depth, and by side of the current electrode for the combined device.
  std::map<std::pair<long long, int>, std::vector<std::size_t>> levels;
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    const PseudoPosition p = pseudoPosition(s, s.data[i]);
    levels[{std::llround(p.depth * 1e3), s.data[i].a == kRemote2d ? 1 : 0}].push_back(i);
  }
  chart::Chart c =
      sectionChart(eta ? "视极化率剖面曲线" : "视电阻率剖面曲线", eta ? "ηa (%)" : "ρa (Ω·m)");
  if (!eta) c.y.scale = chart::Scale::Log10;
  c.legend = true;
  int n = first;
  bool any = false;
  for (const auto& [key, idx] : levels) {
    std::vector<double> x, yo, yc;
    for (std::size_t i : idx) {
      x.push_back(pseudoPosition(s, s.data[i]).x);
      yo.push_back(eta ? s.data[i].eta : s.data[i].rho);
      const auto& src = eta ? response_.eta : response_.rho;
      yc.push_back(computed_ && i < src.size() ? src[i] : NULL_VALUE_D);
    }
    for (double& v : yo)
      if (isNullValue(v)) v = std::nan("");
    for (double& v : yc)
      if (isNullValue(v)) v = std::nan("");
    const chart::Rgb colour = chart::rainbow(
        levels.size() > 1 ? static_cast<double>(n - first) / (levels.size() - 1) : 0.0);
    const std::string name = std::string(key.second ? "B " : "") + "n=" + std::to_string(n);
    chart::Series obs = chart::Series::of(chart::SeriesKind::Markers, x, yo, colour, name);
    obs.marker = chart::Marker::Circle;
    chart::Series calc = chart::Series::of(chart::SeriesKind::Line, x, yc, colour);
    any = any || std::any_of(yo.begin(), yo.end(), [](double v) { return std::isfinite(v); }) ||
          std::any_of(yc.begin(), yc.end(), [](double v) { return std::isfinite(v); });
    c.series.push_back(std::move(obs));
    c.series.push_back(std::move(calc));
    ++n;
  }
  if (!any) return std::nullopt;
  return c;
}

}  // namespace sarnoth::electric
