#include "electric/dc2d_topo.h"

#include <algorithm>
#include <cstdio>

#include "electric/dc2d_forward.h"

namespace sarnoth::electric {
namespace {

std::string fixed(double v, int decimals) {
  if (isNullValue(v)) return NULL_TEXT;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

// ρa of the unit half-space below the survey's surface.
bool unitResponse(const Dc2dSurvey& survey, const Dc2dMeshSettings& settings,
                  std::vector<double>& rho, std::string& error, Progress& progress, int threads) {
  Dc2dModel unit;
  unit.rho0 = 1;
  Dc2dMesh mesh;
  if (!buildDc2dMesh(survey, unit, settings, mesh, error)) return false;
  Dc2dForwardSettings fs;
  fs.threads = threads;
  Dc2dForward fwd(mesh, survey, fs);
  const std::vector<double> ones(mesh.elements(), 1.0);
  Dc2dSolution sol;
  if (!fwd.solve(ones, sol, false, progress)) {
    error = "计算被中止";
    return false;
  }
  rho = fwd.apparentResistivity(sol);
  return true;
}

}  // namespace

Outcome dc2dTopoCorrect(const Dc2dFile& file, const Dc2dMeshSettings& mesh, Dc2dTopoCorrection& out,
                        Progress& progress, int threads) {
  const Dc2dSurvey& s = file.survey;
  if (s.data.empty()) return Outcome::failure("文件中没有数据");
  Dc2dTopoCorrection tc;
  std::string error;
  Dc2dSurvey flat = s;
  flat.terrain.clear();
  if (!unitResponse(flat, mesh, tc.flat, error, progress, threads)) return Outcome::failure(error);
  if (s.flat()) {
    tc.relief = tc.flat;
  } else if (!unitResponse(s, mesh, tc.relief, error, progress, threads)) {
    return Outcome::failure(error);
  }
  double lo = 1e300, hi = -1e300;
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    const double t = tc.relief[i] / tc.flat[i];
    tc.factor.push_back(t);
    lo = std::min(lo, t);
    hi = std::max(hi, t);
    tc.corrected.push_back(s.data[i].rho > 0 ? s.data[i].rho / t : NULL_VALUE_D);
  }
  out = std::move(tc);
  char buf[128];
  std::snprintf(buf, sizeof buf, "地形改正完成: %zu 个数据, 地形改正系数 %.4f ~ %.4f",
                s.data.size(), lo, hi);
  return Outcome::success(buf);
}

std::string formatDc2dTopoCorrection(const Dc2dFile& f, const Dc2dTopoCorrection& tc) {
  const Dc2dSurvey& s = f.survey;
  const bool ip = f.chargeability();
  std::string t = "二维直流电阻率法地形改正结果\t" + f.name + "\r\n";
  t += std::string("装置: ") + dc2dDeviceText(s.device) +
       "\t数据: " + std::to_string(s.data.size()) + "\r\n";
  t += "序号\tA\tB\tM\tN\tX\t伪深度\t实测视电阻率\t地形改正系数\t改正后视电阻率";
  if (ip) t += "\t实测视极化率";
  t += "\r\n";
  auto st = [&](int e) {
    return e == kRemote2d ? std::string("-")
                          : fixed(f.stationOf(s.electrodes[static_cast<std::size_t>(e)].x), 2);
  };
  for (std::size_t i = 0; i < s.data.size() && i < tc.factor.size(); ++i) {
    const Dc2dDatum& d = s.data[i];
    const PseudoPosition p = pseudoPosition(s, d);
    t += std::to_string(i + 1) + "\t" + st(d.a) + "\t" + st(d.b) + "\t" + st(d.m) + "\t" + st(d.n) +
         "\t" + fixed(p.x, 2) + "\t" + fixed(p.depth, 2) + "\t" + fixed(d.rho, 3) + "\t" +
         fixed(tc.factor[i], 5) + "\t" + fixed(tc.corrected[i], 3);
    if (ip) t += "\t" + fixed(d.eta, 3);
    t += "\r\n";
  }
  return t;
}

Dc2dFile correctedDc2dFile(const Dc2dFile& file, const Dc2dTopoCorrection& tc) {
  Dc2dFile f = file;
  f.head.calcMode = 2;
  f.head.terrain = 0;
  f.survey.terrain.clear();
  f.hasModel = false;
  for (std::size_t i = 0; i < f.survey.data.size() && i < tc.corrected.size(); ++i)
    f.survey.data[i].rho = tc.corrected[i];
  return f;
}

SectionData topoSection(const Dc2dFile& file, const Dc2dTopoCorrection& tc) {
  SectionData d =
      measuredSection(file.survey, file.name.empty() ? "地形改正" : file.name + " 地形改正",
                      file.stationInterval, file.x0);
  std::vector<std::vector<double>> v = {d.values[0], tc.factor, tc.corrected};
  d.names = {"实测视电阻率(Ω·m)", "地形改正系数", "改正后视电阻率(Ω·m)"};
  d.values = std::move(v);
  return d;
}

}  // namespace sarnoth::electric
