#include "electric/dc2d_file.h"

#include <cmath>
#include <cstdio>
#include <map>

#include "electric/numbered_lines.h"
#include "electric/sounding_file.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

using filetext::parseDouble;
using filetext::parseInt;

// The file's lines, blank ones at the end left out: a line's numbers must be finite, and a
// missing optional one is the null value.
class Lines : public NumberedLines {
 public:
  explicit Lines(const std::string& text) : NumberedLines(text, true) {}
  bool numbers(std::size_t need, std::vector<double>& out, std::string& error,
               std::size_t optional = 0) {
    return NumberedLines::numbers(
        need, optional, out, error, [](double v) { return std::isfinite(v); }, true, NULL_VALUE_D);
  }
  bool count(long long& n, std::string& error) {
    std::vector<std::string> it;
    if (!items(0, it, error)) return false;
    if (it.empty() || !parseInt(it[0], n) || n < 0 || n > kMaxDc2dRows) {
      error = lineLabel(index()) + "数据个数错误";
      return false;
    }
    return true;
  }
};

// Electrode stations of each device's data lines, in file order.
struct Columns {
  int electrodes;  // stations on the line
  int readings;    // ρa values (2 for the combined device)
};
Columns columnsOf(Dc2dDevice d) {
  switch (d) {
    case Dc2dDevice::Charged:
      return {1, 1};
    case Dc2dDevice::Gradient:
    case Dc2dDevice::PolePoleProfile:
    case Dc2dDevice::PolePoleSounding:
      return {2, 1};
    case Dc2dDevice::Combined:
      return {4, 2};
    case Dc2dDevice::PoleDipoleSounding:
      return {3, 1};
    default:
      return {4, 1};
  }
}

bool checkRho(double v, bool forward, std::size_t line, std::string& error) {
  if (isNullValue(v) && forward) return true;
  if (!(v > 0)) {
    error = lineLabel(line) + "视电阻率必须大于 0";
    return false;
  }
  return true;
}

bool checkEta(double v, bool forward, std::size_t line, std::string& error) {
  if (isNullValue(v) && forward) return true;
  if (!(v >= 0 && v < 100)) {
    error = lineLabel(line) + "极化率必须在 0 到 100 之间";
    return false;
  }
  return true;
}

}  // namespace

int dc2dSuffixDigit(int calcMode, int paramMode, int terrain) {
  return 1 + 4 * (calcMode - 1) + 2 * (paramMode - 1) + terrain;
}

std::string dc2dSuffix(const Dc2dHead& h) {
  if (!isDc2dDevice(h.device)) return {};
  return std::string(".") + dc2dSuffixStem(static_cast<Dc2dDevice>(h.device)) +
         std::to_string(dc2dSuffixDigit(h.calcMode, h.paramMode, h.terrain));
}

bool parseDc2dHead(const std::string& line, Dc2dHead& head) {
  const auto it = lineItems(line);
  if (it.size() < 4) return false;
  long long v[4];
  for (int i = 0; i < 4; ++i)
    if (!parseInt(it[static_cast<std::size_t>(i)], v[i]) || v[i] < -1000000 || v[i] > 1000000)
      return false;
  head = {static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2]),
          static_cast<int>(v[3])};
  return true;
}

bool readDc2dHead(const std::string& path, Dc2dHead& head, std::string& error) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    error = kMsgBadInput;
    return false;
  }
  const std::string text =
      decodeFileText(bytes.substr(0, std::min<std::size_t>(bytes.size(), 4096)));
  const auto lines = filetext::splitLines(text);
  if (lines.empty() || !parseDc2dHead(lines[0], head)) {
    error = kMsgBadInput;
    return false;
  }
  return true;
}

bool parseDc2dFile(const std::string& text, Dc2dFile& out, std::string& error) {
  Lines L(text);
  Dc2dFile f;
  std::string line;
  if (!L.take(line, error) || !parseDc2dHead(line, f.head)) {
    error = kMsgBadInput;
    return false;
  }
  const Dc2dHead& h = f.head;
  if (h.calcMode < 1 || h.calcMode > 2 || h.paramMode < 1 || h.paramMode > 2 || h.terrain < 0 ||
      h.terrain > 1) {
    error = lineLabel(0) + "文件头错误";
    return false;
  }
  if (!isDc2dDevice(h.device)) {
    error = "装置选择错误！";
    return false;
  }
  const auto device = static_cast<Dc2dDevice>(h.device);
  const bool forward = h.calcMode == 1, ip = h.paramMode == 2;
  f.survey.device = device;
  if (!L.take(line, error)) return false;
  f.name = filetext::trim(line);
  std::vector<double> v;
  if (!L.numbers(2, v, error)) return false;
  if (!(v[0] > 0)) {
    error = lineLabel(L.index()) + "点距必须大于 0";
    return false;
  }
  f.stationInterval = v[0];
  f.x0 = v[1];

  std::map<long long, int> byStation;
  auto surfaceElectrode = [&](double station) {
    const long long key = std::llround(station * 1e6);
    const auto it = byStation.find(key);
    if (it != byStation.end()) return it->second;
    const int idx = static_cast<int>(f.survey.electrodes.size());
    f.survey.electrodes.push_back({f.xOf(station), 0});
    byStation[key] = idx;
    return idx;
  };
  int fixedA = kRemote2d, fixedB = kRemote2d;
  if (device == Dc2dDevice::Charged) {
    if (!L.numbers(2, v, error)) return false;
    if (!(v[1] > 0)) {
      error = lineLabel(L.index()) + "充电点深度必须大于 0";
      return false;
    }
    fixedA = static_cast<int>(f.survey.electrodes.size());
    f.survey.electrodes.push_back({f.xOf(v[0]), v[1]});
  } else if (device == Dc2dDevice::Gradient) {
    if (!L.numbers(2, v, error)) return false;
    fixedA = surfaceElectrode(v[0]);
    fixedB = surfaceElectrode(v[1]);
  }
  long long n = 0;
  if (!L.count(n, error)) return false;
  const Columns cols = columnsOf(device);
  const auto values = static_cast<std::size_t>(cols.readings * (ip ? 2 : 1));
  for (long long i = 0; i < n; ++i) {
    // Observations may be left off in a forward file.
    if (!L.numbers(static_cast<std::size_t>(cols.electrodes) + (forward ? 0 : values), v, error,
                   forward ? values : 0))
      return false;
    const std::size_t ln = L.index();
    std::vector<int> e;
    for (int k = 0; k < cols.electrodes; ++k)
      e.push_back(surfaceElectrode(v[static_cast<std::size_t>(k)]));
    const double* obs = v.data() + cols.electrodes;
    std::vector<Dc2dDatum> made;
    const int R = kRemote2d;
    switch (device) {
      case Dc2dDevice::Charged:
        made.push_back({fixedA, R, e[0], R});
        break;
      case Dc2dDevice::Gradient:
        made.push_back({fixedA, fixedB, e[0], e[1]});
        break;
      case Dc2dDevice::PolePoleProfile:
      case Dc2dDevice::PolePoleSounding:
        made.push_back({e[0], R, e[1], R});
        break;
      case Dc2dDevice::Combined:
        made.push_back({e[0], R, e[1], e[2]});
        made.push_back({R, e[3], e[1], e[2]});
        break;
      case Dc2dDevice::PoleDipoleSounding:
        made.push_back({e[0], R, e[1], e[2]});
        break;
      case Dc2dDevice::SymmetricProfile:
      case Dc2dDevice::SymmetricSounding:
        made.push_back({e[0], e[3], e[1], e[2]});
        break;
      case Dc2dDevice::DipoleProfile:
      case Dc2dDevice::DipoleSounding:
        made.push_back({e[0], e[1], e[2], e[3]});
        break;
    }
    for (std::size_t r = 0; r < made.size(); ++r) {
      Dc2dDatum& d = made[r];
      d.rho = obs[r];
      if (!checkRho(d.rho, forward, ln, error)) return false;
      if (ip) {
        d.eta = obs[made.size() + r];
        if (!checkEta(d.eta, forward, ln, error)) return false;
      }
      const std::string why = checkArrayOrder(f.survey, d);
      if (!why.empty()) {
        error = lineLabel(ln) + why;
        return false;
      }
      f.survey.data.push_back(d);
    }
  }
  if (h.terrain == 1) {
    if (!L.count(n, error)) return false;
    if (n < 2) {
      error = lineLabel(L.index()) + "地形点数不足";
      return false;
    }
    for (long long i = 0; i < n; ++i) {
      if (!L.numbers(2, v, error)) return false;
      const XZ p{f.xOf(v[0]), v[1]};
      if (!f.survey.terrain.empty() && !(p.x > f.survey.terrain.back().x)) {
        error = lineLabel(L.index()) + "地形点号必须递增";
        return false;
      }
      f.survey.terrain.push_back(p);
    }
  }
  if (forward) {
    if (!L.numbers(1, v, error, 1)) return false;
    if (!(v[0] > 0)) {
      error = lineLabel(L.index()) + "背景电阻率必须大于 0";
      return false;
    }
    f.model.rho0 = v[0];
    f.model.eta0 = isNullValue(v[1]) ? 0 : v[1];
    if (ip && !checkEta(f.model.eta0, false, L.index(), error)) return false;
    if (!L.count(n, error)) return false;
    for (long long r = 0; r < n; ++r) {
      if (!L.numbers(1, v, error, 2)) return false;
      const std::size_t ln = L.index();
      Dc2dRegion region;
      const double nv = v[0];
      if (!(nv >= 3 && nv <= kMaxDc2dRows && nv == std::floor(nv))) {
        error = lineLabel(ln) + "区域顶点数错误";
        return false;
      }
      region.rho = v[1];
      region.eta = isNullValue(v[2]) ? 0 : v[2];
      if (isNullValue(region.rho) || !(region.rho > 0)) {
        error = lineLabel(ln) + "区域 " + std::to_string(r + 1) + " 没有给定电阻率";
        return false;
      }
      if (!checkEta(region.eta, false, ln, error)) return false;
      for (int k = 0; k < static_cast<int>(nv); ++k) {
        if (!L.numbers(2, v, error)) return false;
        region.outline.push_back({v[0], v[1]});
      }
      f.model.regions.push_back(std::move(region));
    }
    f.hasModel = true;
  } else if (L.more()) {
    if (!L.numbers(1, v, error, 1)) return false;
    if (!(v[0] >= 1 && v[0] <= 50)) {
      error = lineLabel(L.index()) + "迭代次数错误";
      return false;
    }
    f.control.iterations = static_cast<int>(v[0]);
    if (!isNullValue(v[1])) {
      if (!(v[1] > 0 && v[1] < 100)) {
        error = lineLabel(L.index()) + "数据误差错误";
        return false;
      }
      f.control.errorPercent = v[1];
    }
  }
  if (f.survey.data.empty()) {
    error = "文件中没有数据";
    return false;
  }
  f.control.chargeability = ip;
  out = std::move(f);
  return true;
}

bool readDc2dFile(const std::string& path, Dc2dFile& file, std::string& error) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    error = "文件无法打开: " + path;
    return false;
  }
  return parseDc2dFile(decodeFileText(bytes), file, error);
}

std::string formatDc2dFile(const Dc2dFile& f) {
  std::string t;
  auto line = [&](std::initializer_list<std::string> parts) {
    bool first = true;
    for (const auto& p : parts) {
      if (!first) t += ", ";
      t += p;
      first = false;
    }
    t += "\r\n";
  };
  const Dc2dHead& h = f.head;
  const Dc2dSurvey& s = f.survey;
  const bool ip = h.paramMode == 2;
  auto st = [&](int e) {
    return exactText(f.stationOf(s.electrodes[static_cast<std::size_t>(e)].x));
  };
  line({std::to_string(h.calcMode), std::to_string(h.paramMode), std::to_string(h.terrain),
        std::to_string(h.device)});
  t += f.name + "\r\n";
  line({exactText(f.stationInterval), exactText(f.x0)});
  const auto device = s.device;
  if (device == Dc2dDevice::Charged && !s.data.empty()) {
    const Dc2dElectrode& a = s.electrodes[static_cast<std::size_t>(s.data[0].a)];
    line({exactText(f.stationOf(a.x)), exactText(a.depth)});
  } else if (device == Dc2dDevice::Gradient && !s.data.empty()) {
    line({st(s.data[0].a), st(s.data[0].b)});
  }
  const bool combined = device == Dc2dDevice::Combined;
  line({std::to_string(combined ? s.data.size() / 2 : s.data.size())});
  for (std::size_t i = 0; i < s.data.size(); i += combined ? 2 : 1) {
    const Dc2dDatum& d = s.data[i];
    std::vector<std::string> p;
    switch (device) {
      case Dc2dDevice::Charged:
        p = {st(d.m)};
        break;
      case Dc2dDevice::Gradient:
        p = {st(d.m), st(d.n)};
        break;
      case Dc2dDevice::PolePoleProfile:
      case Dc2dDevice::PolePoleSounding:
        p = {st(d.a), st(d.m)};
        break;
      case Dc2dDevice::Combined:
        p = {st(d.a), st(d.m), st(d.n), st(s.data[i + 1].b)};
        break;
      case Dc2dDevice::PoleDipoleSounding:
        p = {st(d.a), st(d.m), st(d.n)};
        break;
      case Dc2dDevice::SymmetricProfile:
      case Dc2dDevice::SymmetricSounding:
        p = {st(d.a), st(d.m), st(d.n), st(d.b)};
        break;
      default:
        p = {st(d.a), st(d.b), st(d.m), st(d.n)};
    }
    p.push_back(exactText(d.rho));
    if (combined) p.push_back(exactText(s.data[i + 1].rho));
    if (ip) {
      p.push_back(exactText(d.eta));
      if (combined) p.push_back(exactText(s.data[i + 1].eta));
    }
    for (std::size_t k = 0; k < p.size(); ++k) t += (k ? ", " : "") + p[k];
    t += "\r\n";
  }
  if (h.terrain == 1) {
    line({std::to_string(s.terrain.size())});
    for (const XZ& p : s.terrain) line({exactText(f.stationOf(p.x)), exactText(p.z)});
  }
  if (h.calcMode == 1) {
    if (ip)
      line({exactText(f.model.rho0), exactText(f.model.eta0)});
    else
      line({exactText(f.model.rho0)});
    line({std::to_string(f.model.regions.size())});
    for (const Dc2dRegion& r : f.model.regions) {
      if (ip)
        line({std::to_string(r.outline.size()), exactText(r.rho), exactText(r.eta)});
      else
        line({std::to_string(r.outline.size()), exactText(r.rho)});
      for (const XZ& p : r.outline) line({exactText(p.x), exactText(p.z)});
    }
  } else {
    line({std::to_string(f.control.iterations), exactText(f.control.errorPercent)});
  }
  return t;
}

bool writeDc2dFile(const std::string& path, const Dc2dFile& file) {
  return filetext::writeWholeFile(path, utf8ToGbk(formatDc2dFile(file)));
}

std::string formatDc2dResult(const Dc2dFile& f, const Dc2dResponse& computed,
                             const Dc2dInversionResult* inv, const Dc2dCells* cells) {
  const Dc2dSurvey& s = f.survey;
  const bool ip = f.chargeability() && !computed.eta.empty();
  std::string t;
  t += std::string(ip ? "二维电阻率/极化率" : "二维电阻率") + (inv ? "反演结果" : "正演结果") +
       "\t" + f.name + "\r\n";
  t += std::string("装置: ") + dc2dDeviceText(s.device) +
       "\t数据: " + std::to_string(s.data.size()) + "\r\n";
  if (inv) {
    t += "迭代\tRMS(%)\r\n";
    for (std::size_t i = 0; i < inv->rmsPerIteration.size(); ++i)
      t += std::to_string(i) + "\t" + fixedText(inv->rmsPerIteration[i], 2) + "\r\n";
    if (ip) t += "极化率拟合差(%)\t" + fixedText(inv->etaRms, 3) + "\r\n";
  }
  t += "序号\tA\tB\tM\tN\tX\t伪深度\t实测视电阻率\t计算视电阻率\t相对误差(%)";
  if (ip) t += "\t实测视极化率\t计算视极化率";
  t += "\r\n";
  auto st = [&](int e) {
    return e == kRemote2d ? std::string("-")
                          : fixedText(f.stationOf(s.electrodes[static_cast<std::size_t>(e)].x), 2);
  };
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    const Dc2dDatum& d = s.data[i];
    const PseudoPosition p = pseudoPosition(s, d);
    const double calc = i < computed.rho.size() ? computed.rho[i] : NULL_VALUE_D;
    const double diff = d.rho > 0 && calc > 0 ? 100 * (calc - d.rho) / d.rho : NULL_VALUE_D;
    t += std::to_string(i + 1) + "\t" + st(d.a) + "\t" + st(d.b) + "\t" + st(d.m) + "\t" + st(d.n) +
         "\t" + fixedText(p.x, 2) + "\t" + fixedText(p.depth, 2) + "\t" + fixedText(d.rho, 3) +
         "\t" + fixedText(calc, 3) + "\t" + fixedText(diff, 2);
    if (ip)
      t += "\t" + fixedText(d.eta, 3) + "\t" +
           fixedText(i < computed.eta.size() ? computed.eta[i] : NULL_VALUE_D, 3);
    t += "\r\n";
  }
  if (inv && cells) {
    t += "模型单元\tX1\tX2\t深度1\t深度2\t电阻率\t极化率\r\n";
    for (int l = 0; l < cells->layers; ++l)
      for (int c = 0; c < cells->columns; ++c) {
        const auto k = static_cast<std::size_t>(cells->index(c, l));
        t += std::to_string(k + 1) + "\t" +
             fixedText(cells->xEdges[static_cast<std::size_t>(c)], 2) + "\t" +
             fixedText(cells->xEdges[static_cast<std::size_t>(c) + 1], 2) + "\t" +
             fixedText(cells->depthEdges[static_cast<std::size_t>(l)], 2) + "\t" +
             fixedText(cells->depthEdges[static_cast<std::size_t>(l) + 1], 2) + "\t" +
             fixedText(inv->cellRho[k], 3) + "\t" +
             fixedText(k < inv->cellEta.size() ? inv->cellEta[k] : 0.0, 3) + "\r\n";
      }
  } else {
    t += "模型区域\t电阻率\t极化率\t顶点数\r\n";
    t += "0\t" + fixedText(f.model.rho0, 3) + "\t" + fixedText(f.model.eta0, 3) + "\t0\r\n";
    for (std::size_t r = 0; r < f.model.regions.size(); ++r)
      t += std::to_string(r + 1) + "\t" + fixedText(f.model.regions[r].rho, 3) + "\t" +
           fixedText(f.model.regions[r].eta, 3) + "\t" +
           std::to_string(f.model.regions[r].outline.size()) + "\r\n";
  }
  return t;
}

std::string formatDc2dMeshData(const Dc2dMesh& mesh, const Dc2dMeshData& data) {
  std::string t = "二维直流电法地电断面剖分数据\r\n";
  t += std::to_string(mesh.nodes.size()) + "\t" + std::to_string(mesh.elements()) + "\r\n";
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i)
    t += std::to_string(i + 1) + "\t" + fixedText(mesh.nodes[i].x, 3) + "\t" +
         fixedText(mesh.nodes[i].z, 3) + "\r\n";
  for (std::size_t e = 0; e < mesh.elements(); ++e) {
    const auto& tr = mesh.triangles[e];
    t += std::to_string(e + 1) + "\t" + std::to_string(tr[0] + 1) + "\t" +
         std::to_string(tr[1] + 1) + "\t" + std::to_string(tr[2] + 1) + "\t" +
         fixedText(e < data.rho.size() ? data.rho[e] : 0.0, 3) + "\t" +
         fixedText(e < data.eta.size() ? data.eta[e] : 0.0, 3) + "\t" +
         std::to_string(e < data.region.size() ? data.region[e] + 1 : 0) + "\r\n";
  }
  return t;
}

}  // namespace sarnoth::electric
