#include "electric/dc2d_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace sarnoth::electric {

bool isDc2dDevice(int code) { return code >= 1 && code <= kDc2dDevices; }

const char* dc2dDeviceText(Dc2dDevice d) {
  static const char* texts[] = {"充电装置",         "中间梯度装置", "二极剖面装置", "联合剖面装置",
                                "对称四极剖面装置", "偶极剖面装置", "二极测深装置", "三极测深装置",
                                "对称四极测深装置", "偶极测深装置"};
  const int i = static_cast<int>(d);
  return isDc2dDevice(i) ? texts[i - 1] : "";
}

std::string dc2dMethodText(Dc2dDevice d) {
  std::string t = dc2dDeviceText(d);
  const std::string word = "装置";
  const auto at = t.rfind(word);
  if (at != std::string::npos) t.replace(at, word.size(), "法");
  return t;
}

const char* dc2dSuffixStem(Dc2dDevice d) {
  static const char* stems[] = {"pm", "pg", "p2", "p3", "p4", "po", "s2", "s3", "s4", "so"};
  const int i = static_cast<int>(d);
  return isDc2dDevice(i) ? stems[i - 1] : "";
}

double Dc2dSurvey::surfaceAt(double x) const {
  if (terrain.empty()) return 0;
  if (x <= terrain.front().x) return terrain.front().z;
  if (x >= terrain.back().x) return terrain.back().z;
  const auto it = std::upper_bound(terrain.begin(), terrain.end(), x,
                                   [](double v, const XZ& p) { return v < p.x; });
  const XZ& b = *it;
  const XZ& a = *(it - 1);
  const double t = b.x > a.x ? (x - a.x) / (b.x - a.x) : 0;
  return a.z + t * (b.z - a.z);
}

XZ Dc2dSurvey::position(int e) const {
  const Dc2dElectrode& el = electrodes[static_cast<std::size_t>(e)];
  return {el.x, surfaceAt(el.x) - el.depth};
}

double Dc2dSurvey::xMin() const {
  double v = std::numeric_limits<double>::infinity();
  for (const auto& e : electrodes) v = std::min(v, e.x);
  return electrodes.empty() ? 0 : v;
}

double Dc2dSurvey::xMax() const {
  double v = -std::numeric_limits<double>::infinity();
  for (const auto& e : electrodes) v = std::max(v, e.x);
  return electrodes.empty() ? 0 : v;
}

double Dc2dSurvey::unitSpacing() const {
  std::vector<double> xs;
  for (const auto& e : electrodes) xs.push_back(e.x);
  std::sort(xs.begin(), xs.end());
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 1; i < xs.size(); ++i)
    if (xs[i] - xs[i - 1] > 1e-9) best = std::min(best, xs[i] - xs[i - 1]);
  return std::isfinite(best) ? best : 1.0;
}

namespace {

double green(const Dc2dSurvey& s, int p, int q) {
  const Dc2dElectrode& P = s.electrodes[static_cast<std::size_t>(p)];
  const Dc2dElectrode& Q = s.electrodes[static_cast<std::size_t>(q)];
  const double h = P.x - Q.x;
  const double r = std::hypot(h, P.depth - Q.depth);
  const double ri = std::hypot(h, P.depth + Q.depth);
  return (1 / r + 1 / ri) / (4 * std::numbers::pi);
}

}  // namespace

double inverseGeometricFactor(const Dc2dSurvey& s, const Dc2dDatum& d) {
  double g = 0;
  auto term = [&](int src, int rec, double sign) {
    if (src != kRemote2d && rec != kRemote2d) g += sign * green(s, src, rec);
  };
  term(d.a, d.m, 1);
  term(d.a, d.n, -1);
  term(d.b, d.m, -1);
  term(d.b, d.n, 1);
  return g;
}

PseudoPosition pseudoPosition(const Dc2dSurvey& s, const Dc2dDatum& d) {
  auto centre = [&](int p, int q, bool& any) {
    double sum = 0;
    int n = 0;
    for (int e : {p, q})
      if (e != kRemote2d) {
        sum += s.electrodes[static_cast<std::size_t>(e)].x;
        ++n;
      }
    any = n > 0;
    return n ? sum / n : 0.0;
  };
  bool hasC = false, hasP = false;
  const double c = centre(d.a, d.b, hasC);
  const double p = centre(d.m, d.n, hasP);
  PseudoPosition pos;
  if (hasC && hasP)
    pos.x = (c + p) / 2;
  else
    pos.x = hasP ? p : c;
  double sep = std::abs(c - p);
  if (sep < 1e-9 && d.a != kRemote2d && d.b != kRemote2d)
    sep = std::abs(s.electrodes[static_cast<std::size_t>(d.a)].x -
                   s.electrodes[static_cast<std::size_t>(d.b)].x) /
          2;
  pos.depth = sep / 2;
  return pos;
}

std::string checkArrayOrder(const Dc2dSurvey& s, const Dc2dDatum& d) {
  auto x = [&](int e) { return s.electrodes[static_cast<std::size_t>(e)].x; };
  auto has = [](int e) { return e != kRemote2d; };
  const char* bad = "电极排列顺序错误";
  // Every electrode of a datum stands apart from the others.
  const int all[] = {d.a, d.b, d.m, d.n};
  for (int i = 0; i < 4; ++i)
    for (int j = i + 1; j < 4; ++j)
      if (has(all[i]) && has(all[j]) && all[i] == all[j]) return "电极位置重合";
  if (!has(d.m) || (!has(d.a) && !has(d.b))) return bad;
  switch (s.device) {
    case Dc2dDevice::Charged:
    case Dc2dDevice::PolePoleProfile:
    case Dc2dDevice::PolePoleSounding:
      return {};
    case Dc2dDevice::Gradient:
    case Dc2dDevice::SymmetricProfile:
    case Dc2dDevice::SymmetricSounding:
      return has(d.a) && has(d.b) && has(d.n) && x(d.a) < x(d.m) && x(d.m) < x(d.n) &&
                     x(d.n) < x(d.b)
                 ? std::string()
                 : bad;
    case Dc2dDevice::Combined:
    case Dc2dDevice::PoleDipoleSounding: {
      const int c = has(d.a) ? d.a : d.b;
      if (!has(d.n) || !(x(d.m) < x(d.n))) return bad;
      return x(c) < x(d.m) || x(c) > x(d.n) ? std::string() : bad;
    }
    case Dc2dDevice::DipoleProfile:
    case Dc2dDevice::DipoleSounding:
      if (!has(d.a) || !has(d.b) || !has(d.n)) return bad;
      if (!(x(d.a) < x(d.b) && x(d.m) < x(d.n))) return bad;
      return x(d.b) <= x(d.m) || x(d.n) <= x(d.a) ? std::string() : bad;
  }
  return bad;
}

bool insidePolygon(const std::vector<XZ>& poly, XZ p) {
  bool in = false;
  const std::size_t n = poly.size();
  for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
    const XZ& a = poly[i];
    const XZ& b = poly[j];
    if ((a.z > p.z) != (b.z > p.z) && p.x < (b.x - a.x) * (p.z - a.z) / (b.z - a.z) + a.x) in = !in;
  }
  return in;
}

double signedArea2(const std::vector<XZ>& poly) {
  double s = 0;
  const std::size_t n = poly.size();
  for (std::size_t i = 0, j = n - 1; i < n; j = i++)
    s += poly[j].x * poly[i].z - poly[i].x * poly[j].z;
  return s;
}

int Dc2dModel::regionAt(XZ p) const {
  for (int i = static_cast<int>(regions.size()) - 1; i >= 0; --i)
    if (regions[static_cast<std::size_t>(i)].outline.size() >= 3 &&
        insidePolygon(regions[static_cast<std::size_t>(i)].outline, p))
      return i;
  return -1;
}

}  // namespace sarnoth::electric
