#include "electric/dc2d_auto.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "display/chart_image.h"
#include "electric/dc2d_field.h"
#include "electric/dc2d_session.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {

double estimateDc2dDataError(const Dc2dSurvey& s) {
  // Data by level (pseudo-depth), along the profile.
  std::map<long long, std::vector<std::pair<double, double>>> levels;
  for (const Dc2dDatum& d : s.data) {
    if (!(d.rho > 0)) continue;
    const PseudoPosition p = pseudoPosition(s, d);
    levels[std::llround(p.depth * 1e4)].push_back({p.x, std::log(d.rho)});
  }
  std::vector<double> r;
  for (auto& [key, row] : levels) {
    std::sort(row.begin(), row.end());
    for (std::size_t i = 1; i + 1 < row.size(); ++i) {
      const double h0 = row[i].first - row[i - 1].first, h1 = row[i + 1].first - row[i].first;
      if (!(h0 > 0) || std::abs(h0 - h1) > 1e-6 * h0) continue;  // evenly spaced neighbours
      r.push_back(std::abs(row[i].second - (row[i - 1].second + row[i + 1].second) / 2));
    }
  }
  if (r.empty()) return 0;
  std::nth_element(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(r.size() / 2), r.end());
  return 100 * 1.4826 * r[r.size() / 2] / std::sqrt(1.5);
}

Dc2dAutoSettings dc2dAutoDefaults(const Dc2dFile& f) {
  Dc2dAutoSettings st;
  st.errorPercent = std::clamp(estimateDc2dDataError(f.survey), 2.0, 5.0);
  double lo = 1e300, hi = 0;
  for (const Dc2dDatum& d : f.survey.data)
    if (d.rho > 0) lo = std::min(lo, d.rho), hi = std::max(hi, d.rho);
  st.iterations = hi > 10 * lo ? 8 : 6;
  const std::size_t n = f.survey.electrodes.size();
  st.cellsPerSpacing = n <= 40 ? 4 : n <= 100 ? 3 : 2;
  return st;
}

bool loadDc2dAuto(const std::string& path, const std::vector<XZ>& terrain, Dc2dFile& file,
                  std::string& error) {
  Dc2dFile f;
  if (!readMeasuredFile(path, f, error)) return false;
  if (!terrain.empty()) {
    f.survey.terrain = terrain;
    f.head.terrain = 1;
  }
  file = std::move(f);
  return true;
}

Outcome runDc2dAuto(const Dc2dFile& file, const Dc2dAutoSettings& st, Dc2dAutoRun& run,
                    Progress& progress, int threads) {
  if (st.iterations < 1 || st.iterations > 50) return Outcome::failure("迭代次数错误");
  if (!(st.errorPercent > 0 && st.errorPercent < 100)) return Outcome::failure("数据误差错误");
  if (st.cellsPerSpacing < 1 || st.cellsPerSpacing > 16) return Outcome::failure("网格剖分数错误");
  Dc2dFile f = file;
  f.head.calcMode = 2;
  f.hasModel = false;
  f.model = {};
  f.control.iterations = st.iterations;
  f.control.errorPercent = st.errorPercent;
  Dc2dSession s;
  s.setFile(f);
  Dc2dMeshSettings mesh;
  mesh.cellsPerSpacing = st.cellsPerSpacing;
  for (Outcome o : {s.createRegions(), s.buildMesh(mesh), s.fetchMeshData()})
    if (!o) return o;
  const Outcome o = s.compute(progress, threads);
  if (!o) return o;
  Dc2dAutoRun out;
  out.file = s.file();
  out.settings = st;
  out.inversion = *s.inversion();
  out.resultText = s.resultText();

  const Dc2dSurvey& sv = out.file.survey;
  const Dc2dCells& c = *s.cells();
  const bool ip = out.file.chargeability() && !out.inversion.cellEta.empty();
  SectionData& m = out.model;
  m.title = out.file.name.empty() ? "反演模型" : out.file.name + " 反演模型";
  m.dx = out.file.stationInterval;
  m.x0 = out.file.x0;
  m.kind = 2;
  m.terrain = sv.terrain;
  m.names = {"电阻率(Ω·m)"};
  if (ip) m.names.push_back("极化率(%)");
  m.values.assign(m.names.size(), {});
  // Cell centres; the outer columns and the bottom layer reach into the padding, so their
  // points stand half an inner column outside the inner edges; the bottom layer is left out.
  const auto& xe = c.xEdges;
  const double inner = c.columns > 2 ? xe[2] - xe[1] : 1;
  // The first layer's values stand at the surface as well, so that the section reaches it.
  for (int l = -1; l + 1 < c.layers; ++l) {
    const int layer = std::max(l, 0);
    const double depth = l < 0 ? 0
                               : (c.depthEdges[static_cast<std::size_t>(l)] +
                                  c.depthEdges[static_cast<std::size_t>(l) + 1]) /
                                     2;
    for (int col = 0; col < c.columns; ++col) {
      const auto i = static_cast<std::size_t>(col);
      double x = (xe[i] + xe[i + 1]) / 2;
      if (col == 0) x = xe[1] - inner / 2;
      if (col == c.columns - 1) x = xe[i] + inner / 2;
      m.x.push_back(x);
      m.z.push_back(sv.surfaceAt(x) - depth);
      const auto k = static_cast<std::size_t>(c.index(col, layer));
      m.values[0].push_back(out.inversion.cellRho[k]);
      if (ip) m.values[1].push_back(out.inversion.cellEta[k]);
    }
  }
  SectionData& p = out.pseudo;
  p = measuredSection(sv, out.file.name.empty() ? "视参数断面" : out.file.name + " 视参数断面",
                      m.dx, m.x0);
  const bool obsEta = p.columns() > 1;
  p.names = {"实测视电阻率(Ω·m)", "计算视电阻率(Ω·m)"};
  std::vector<std::vector<double>> v = {p.values[0], out.inversion.response.rho};
  if (obsEta && !out.inversion.response.eta.empty()) {
    p.names.push_back("实测视极化率(%)");
    p.names.push_back("计算视极化率(%)");
    v.push_back(p.values[1]);
    v.push_back(out.inversion.response.eta);
  }
  p.values = std::move(v);
  run = std::move(out);
  return o;
}

bool writeDc2dAutoRun(const Dc2dAutoRun& run, const std::string& stem, bool images,
                      std::string& error) {
  const std::string inv = stem + "_inv.dat", mod = stem + "_mod.sec", ps = stem + "_ps.sec";
  if (!filetext::writeWholeFile(inv, utf8ToGbk(run.resultText))) {
    error = "文件无法写入: " + inv;
    return false;
  }
  for (const auto& [path, data] : {std::pair{mod, &run.model}, {ps, &run.pseudo}})
    if (!writeSectionFile(path, *data)) {
      error = "文件无法写入: " + path;
      return false;
    }
  if (images) {
    SectionStyle st;
    if (!chart::writeChartFile(sectionPlot(run.model, st), stem + "_mod.png", 1000, 420)) {
      error = "文件无法写入: " + stem + "_mod.png";
      return false;
    }
    if (!chart::writeChartFile(sectionPlot(run.pseudo, st), stem + "_ps.png", 1000, 380)) {
      error = "文件无法写入: " + stem + "_ps.png";
      return false;
    }
  }
  return true;
}

chart::Chart dc2dMisfitChart(const Dc2dInversionResult& r) {
  chart::Chart c;
  c.title = "反演拟合差";
  c.x.label = "迭代次数";
  c.y.label = "均方根拟合差 (%)";
  c.fitFrame = true;
  std::vector<double> it, rms;
  for (std::size_t i = 0; i < r.rmsPerIteration.size(); ++i) {
    it.push_back(static_cast<double>(i));
    rms.push_back(r.rmsPerIteration[i]);
  }
  c.series.push_back(chart::Series::of(chart::SeriesKind::LineMarkers, it, rms, chart::kBlue));
  return c;
}

}  // namespace sarnoth::electric
