#include "electric/dc2d_file.h"

#include <cmath>
#include <cstdio>
#include <map>

#include "electric/sounding_file.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

using filetext::parseDouble;
using filetext::parseInt;

std::vector<std::string> items(const std::string& line) {
  std::string s = line;
  for (char& c : s)
    if (c == ',') c = ' ';
  return filetext::splitBlanks(filetext::trim(s));
}

std::string at(std::size_t index) { return "第" + std::to_string(index + 1) + "行: "; }

std::string exact(double v) {
  if (isNullValue(v)) return NULL_TEXT;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.10g", v);
  double back = 0;
  if (parseDouble(buf, back) && back == v) return buf;
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

std::string fixed(double v, int decimals) {
  if (isNullValue(v)) return NULL_TEXT;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

class Lines {
 public:
  explicit Lines(const std::string& text) : lines_(filetext::splitLines(text)) {
    while (!lines_.empty() && filetext::trim(lines_.back()).empty()) lines_.pop_back();
  }
  bool more() const { return next_ < lines_.size(); }
  std::size_t index() const { return next_ == 0 ? 0 : next_ - 1; }
  bool take(std::string& line, std::string& error) {
    if (next_ >= lines_.size()) {
      error = at(lines_.size()) + "数据不完整";
      return false;
    }
    line = lines_[next_++];
    return true;
  }
  // `need` numbers and up to `optional` more; a missing optional one is NULL_VALUE.
  bool numbers(std::size_t need, std::vector<double>& out, std::string& error,
               std::size_t optional = 0) {
    std::string line;
    if (!take(line, error)) return false;
    const auto it = items(line);
    if (it.size() < need) {
      error = at(index()) + "数据不完整";
      return false;
    }
    out.assign(need + optional, NULL_VALUE_D);
    for (std::size_t i = 0; i < it.size() && i < need + optional; ++i) {
      double v = 0;
      if (!parseDouble(it[i], v) || !std::isfinite(v)) {
        error = at(index()) + kMsgBadInput;
        return false;
      }
      out[i] = v;
    }
    return true;
  }
  bool count(long long& n, std::string& error) {
    std::string line;
    if (!take(line, error)) return false;
    const auto it = items(line);
    if (it.empty() || !parseInt(it[0], n) || n < 0 || n > kMaxDc2dRows) {
      error = at(index()) + "数据个数错误";
      return false;
    }
    return true;
  }

 private:
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
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
    error = at(line) + "视电阻率必须大于 0";
    return false;
  }
  return true;
}

bool checkEta(double v, bool forward, std::size_t line, std::string& error) {
  if (isNullValue(v) && forward) return true;
  if (!(v >= 0 && v < 100)) {
    error = at(line) + "极化率必须在 0 到 100 之间";
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
  const auto it = items(line);
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
    error = at(0) + "文件头错误";
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
    error = at(L.index()) + "点距必须大于 0";
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
      error = at(L.index()) + "充电点深度必须大于 0";
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
        error = at(ln) + why;
        return false;
      }
      f.survey.data.push_back(d);
    }
  }
  if (h.terrain == 1) {
    if (!L.count(n, error)) return false;
    if (n < 2) {
      error = at(L.index()) + "地形点数不足";
      return false;
    }
    for (long long i = 0; i < n; ++i) {
      if (!L.numbers(2, v, error)) return false;
      const XZ p{f.xOf(v[0]), v[1]};
      if (!f.survey.terrain.empty() && !(p.x > f.survey.terrain.back().x)) {
        error = at(L.index()) + "地形点号必须递增";
        return false;
      }
      f.survey.terrain.push_back(p);
    }
  }
  if (forward) {
    if (!L.numbers(1, v, error, 1)) return false;
    if (!(v[0] > 0)) {
      error = at(L.index()) + "背景电阻率必须大于 0";
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
        error = at(ln) + "区域顶点数错误";
        return false;
      }
      region.rho = v[1];
      region.eta = isNullValue(v[2]) ? 0 : v[2];
      if (isNullValue(region.rho) || !(region.rho > 0)) {
        error = at(ln) + "区域 " + std::to_string(r + 1) + " 没有给定电阻率";
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
      error = at(L.index()) + "迭代次数错误";
      return false;
    }
    f.control.iterations = static_cast<int>(v[0]);
    if (!isNullValue(v[1])) {
      if (!(v[1] > 0 && v[1] < 100)) {
        error = at(L.index()) + "数据误差错误";
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
  auto st = [&](int e) { return exact(f.stationOf(s.electrodes[static_cast<std::size_t>(e)].x)); };
  line({std::to_string(h.calcMode), std::to_string(h.paramMode), std::to_string(h.terrain),
        std::to_string(h.device)});
  t += f.name + "\r\n";
  line({exact(f.stationInterval), exact(f.x0)});
  const auto device = s.device;
  if (device == Dc2dDevice::Charged && !s.data.empty()) {
    const Dc2dElectrode& a = s.electrodes[static_cast<std::size_t>(s.data[0].a)];
    line({exact(f.stationOf(a.x)), exact(a.depth)});
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
    p.push_back(exact(d.rho));
    if (combined) p.push_back(exact(s.data[i + 1].rho));
    if (ip) {
      p.push_back(exact(d.eta));
      if (combined) p.push_back(exact(s.data[i + 1].eta));
    }
    for (std::size_t k = 0; k < p.size(); ++k) t += (k ? ", " : "") + p[k];
    t += "\r\n";
  }
  if (h.terrain == 1) {
    line({std::to_string(s.terrain.size())});
    for (const XZ& p : s.terrain) line({exact(f.stationOf(p.x)), exact(p.z)});
  }
  if (h.calcMode == 1) {
    if (ip)
      line({exact(f.model.rho0), exact(f.model.eta0)});
    else
      line({exact(f.model.rho0)});
    line({std::to_string(f.model.regions.size())});
    for (const Dc2dRegion& r : f.model.regions) {
      if (ip)
        line({std::to_string(r.outline.size()), exact(r.rho), exact(r.eta)});
      else
        line({std::to_string(r.outline.size()), exact(r.rho)});
      for (const XZ& p : r.outline) line({exact(p.x), exact(p.z)});
    }
  } else {
    line({std::to_string(f.control.iterations), exact(f.control.errorPercent)});
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
      t += std::to_string(i) + "\t" + fixed(inv->rmsPerIteration[i], 2) + "\r\n";
    if (ip) t += "极化率拟合差(%)\t" + fixed(inv->etaRms, 3) + "\r\n";
  }
  t += "序号\tA\tB\tM\tN\tX\t伪深度\t实测视电阻率\t计算视电阻率\t相对误差(%)";
  if (ip) t += "\t实测视极化率\t计算视极化率";
  t += "\r\n";
  auto st = [&](int e) {
    return e == kRemote2d ? std::string("-")
                          : fixed(f.stationOf(s.electrodes[static_cast<std::size_t>(e)].x), 2);
  };
  for (std::size_t i = 0; i < s.data.size(); ++i) {
    const Dc2dDatum& d = s.data[i];
    const PseudoPosition p = pseudoPosition(s, d);
    const double calc = i < computed.rho.size() ? computed.rho[i] : NULL_VALUE_D;
    const double diff = d.rho > 0 && calc > 0 ? 100 * (calc - d.rho) / d.rho : NULL_VALUE_D;
    t += std::to_string(i + 1) + "\t" + st(d.a) + "\t" + st(d.b) + "\t" + st(d.m) + "\t" + st(d.n) +
         "\t" + fixed(p.x, 2) + "\t" + fixed(p.depth, 2) + "\t" + fixed(d.rho, 3) + "\t" +
         fixed(calc, 3) + "\t" + fixed(diff, 2);
    if (ip)
      t += "\t" + fixed(d.eta, 3) + "\t" +
           fixed(i < computed.eta.size() ? computed.eta[i] : NULL_VALUE_D, 3);
    t += "\r\n";
  }
  if (inv && cells) {
    t += "模型单元\tX1\tX2\t深度1\t深度2\t电阻率\t极化率\r\n";
    for (int l = 0; l < cells->layers; ++l)
      for (int c = 0; c < cells->columns; ++c) {
        const auto k = static_cast<std::size_t>(cells->index(c, l));
        t += std::to_string(k + 1) + "\t" + fixed(cells->xEdges[static_cast<std::size_t>(c)], 2) +
             "\t" + fixed(cells->xEdges[static_cast<std::size_t>(c) + 1], 2) + "\t" +
             fixed(cells->depthEdges[static_cast<std::size_t>(l)], 2) + "\t" +
             fixed(cells->depthEdges[static_cast<std::size_t>(l) + 1], 2) + "\t" +
             fixed(inv->cellRho[k], 3) + "\t" +
             fixed(k < inv->cellEta.size() ? inv->cellEta[k] : 0.0, 3) + "\r\n";
      }
  } else {
    t += "模型区域\t电阻率\t极化率\t顶点数\r\n";
    t += "0\t" + fixed(f.model.rho0, 3) + "\t" + fixed(f.model.eta0, 3) + "\t0\r\n";
    for (std::size_t r = 0; r < f.model.regions.size(); ++r)
      t += std::to_string(r + 1) + "\t" + fixed(f.model.regions[r].rho, 3) + "\t" +
           fixed(f.model.regions[r].eta, 3) + "\t" +
           std::to_string(f.model.regions[r].outline.size()) + "\r\n";
  }
  return t;
}

std::string formatDc2dMeshData(const Dc2dMesh& mesh, const Dc2dMeshData& data) {
  std::string t = "二维直流电法地电断面剖分数据\r\n";
  t += std::to_string(mesh.nodes.size()) + "\t" + std::to_string(mesh.elements()) + "\r\n";
  for (std::size_t i = 0; i < mesh.nodes.size(); ++i)
    t += std::to_string(i + 1) + "\t" + fixed(mesh.nodes[i].x, 3) + "\t" +
         fixed(mesh.nodes[i].z, 3) + "\r\n";
  for (std::size_t e = 0; e < mesh.elements(); ++e) {
    const auto& tr = mesh.triangles[e];
    t += std::to_string(e + 1) + "\t" + std::to_string(tr[0] + 1) + "\t" +
         std::to_string(tr[1] + 1) + "\t" + std::to_string(tr[2] + 1) + "\t" +
         fixed(e < data.rho.size() ? data.rho[e] : 0.0, 3) + "\t" +
         fixed(e < data.eta.size() ? data.eta[e] : 0.0, 3) + "\t" +
         std::to_string(e < data.region.size() ? data.region[e] + 1 : 0) + "\r\n";
  }
  return t;
}

}  // namespace sarnoth::electric
