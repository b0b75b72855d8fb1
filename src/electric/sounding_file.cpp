#include "electric/sounding_file.h"

#include <cmath>
#include <cstdio>

#include "electric/numbered_lines.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

using filetext::parseDouble;
using filetext::parseInt;

// The file's lines: the numbers of a line are any that read (infinities pass, NaN does not).
class Lines : public NumberedLines {
 public:
  using NumberedLines::NumberedLines;
  bool numbers(std::size_t need, std::vector<double>& out, std::string& error,
               std::size_t optional = 0) {
    return NumberedLines::numbers(need, optional, out, error,
                                  [](double v) { return !std::isnan(v); });
  }
  bool counts(std::size_t need, std::vector<long long>& out, std::string& error) {
    std::vector<std::string> it;
    if (!items(need, it, error)) return false;
    out.clear();
    for (std::size_t i = 0; i < need; ++i) {
      long long v = 0;
      if (!parseInt(it[i], v)) {
        error = lineLabel(index()) + kMsgBadInput;
        return false;
      }
      if (v < 0 || v > kMaxSoundingRows) {
        error = lineLabel(index()) + "数目超出范围";
        return false;
      }
      out.push_back(v);
    }
    return true;
  }
};

bool readText(const std::string& path, std::string& text, std::string& error) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    error = "文件无法打开: " + path;
    return false;
  }
  text = decodeFileText(bytes);
  return true;
}

bool headFits(const SoundingHead& h) {
  return (h.calcMode == 1 || h.calcMode == 2) && (h.paramMode == 1 || h.paramMode == 2) &&
         isSoundDevice(h.device);
}

const char* spacingLabels(SoundDevice d) {
  switch (d) {
    case SoundDevice::PolePole:
      return "AM(m)";
    case SoundDevice::SymmetricMN:
      return "AB/2(m)\tMN/2(m)";
    case SoundDevice::Symmetric:
      return "AB/2(m)";
    case SoundDevice::DipoleMN:
      return "OO'(m)\tAB/2(m)\tMN/2(m)";
    case SoundDevice::DipoleField:
      return "OO'(m)\tAB/2(m)";
  }
  return "";
}

std::vector<double> spacingValues(SoundDevice d, const Spacing& s) {
  switch (d) {
    case SoundDevice::PolePole:
    case SoundDevice::Symmetric:
      return {s.r};
    case SoundDevice::SymmetricMN:
      return {s.r, s.mn2};
    case SoundDevice::DipoleMN:
      return {s.r, s.ab2, s.mn2};
    case SoundDevice::DipoleField:
      return {s.r, s.ab2};
  }
  return {s.r};
}

Spacing spacingFrom(SoundDevice d, const std::vector<double>& v) {
  Spacing s;
  s.r = v[0];
  switch (d) {
    case SoundDevice::PolePole:
    case SoundDevice::Symmetric:
      break;
    case SoundDevice::SymmetricMN:
      s.mn2 = v[1];
      break;
    case SoundDevice::DipoleMN:
      s.ab2 = v[1];
      s.mn2 = v[2];
      break;
    case SoundDevice::DipoleField:
      s.ab2 = v[1];
      break;
  }
  return s;
}

}  // namespace

bool SoundingFile::fullyObserved() const {
  if (rho.size() != spacings.size() || rho.empty()) return false;
  for (double v : rho)
    if (isNullValue(v)) return false;
  return true;
}

SoundingData SoundingFile::observed() const {
  SoundingData d;
  d.device = device();
  for (std::size_t j = 0; j < spacings.size() && j < rho.size(); ++j) {
    if (isNullValue(rho[j])) continue;
    d.spacings.push_back(spacings[j]);
    d.rho.push_back(rho[j]);
    if (chargeability()) d.eta.push_back(j < eta.size() && !isNullValue(eta[j]) ? eta[j] : 0.0);
  }
  return d;
}

std::string soundingSuffix(int calcMode, int device) {
  return ".s" + std::to_string(device) + (calcMode == 2 ? "i" : "f");
}

bool parseSoundingHead(const std::string& line, SoundingHead& head) {
  const auto it = lineItems(line);
  if (it.size() != 3) return false;
  long long v[3];
  for (int i = 0; i < 3; ++i)
    if (!parseInt(it[static_cast<std::size_t>(i)], v[i]) || v[i] < -32768 || v[i] > 32767)
      return false;
  head = {static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2])};
  return true;
}

bool readSoundingHead(const std::string& path, SoundingHead& head, std::string& error) {
  std::string text;
  if (!readText(path, text, error)) return false;
  const auto lines = filetext::splitLines(text);
  if (lines.empty() || !parseSoundingHead(lines[0], head)) {
    error = kMsgBadInput;
    return false;
  }
  return true;
}

bool parseSoundingFile(const std::string& text, SoundingFile& out, std::string& error) {
  Lines in(text);
  std::string line;
  SoundingFile f;
  if (!in.take(line, error) || !parseSoundingHead(line, f.head)) {
    error = kMsgBadInput;
    return false;
  }
  if (!headFits(f.head)) {
    error = lineLabel(0) + "文件头不是测深数据文件的计算方式、参数和装置";
    return false;
  }
  const SoundDevice device = f.device();
  const bool ip = f.chargeability(), inverse = f.inverse();
  if (!in.take(line, error)) return false;
  f.name = filetext::trim(line);
  if (f.name.size() >= 2 && f.name.front() == '"' && f.name.back() == '"')
    f.name = f.name.substr(1, f.name.size() - 2);
  std::vector<long long> n;
  if (!in.counts(2, n, error)) return false;
  if (n[1] < 1) {
    error = lineLabel(in.index()) + "地电模型至少要有一层";
    return false;
  }
  const std::size_t cols = static_cast<std::size_t>(spacingColumns(device));
  std::vector<double> v;
  for (long long j = 0; j < n[0]; ++j) {
    // Forward files may leave the observation off; inverse files need it.
    if (!in.numbers(inverse ? cols + 1 : cols, v, error, inverse ? (ip ? 1 : 0) : (ip ? 2 : 1)))
      return false;
    const Spacing s = spacingFrom(device, v);
    const std::string why = validateSpacing(device, s);
    if (!why.empty()) {
      error = lineLabel(in.index()) + why;
      return false;
    }
    const double rho = v.size() > cols ? v[cols] : NULL_VALUE_D;
    if (!isNullValue(rho) && !(std::isfinite(rho) && rho > 0)) {
      error = lineLabel(in.index()) + "视电阻率必须大于零";
      return false;
    }
    f.spacings.push_back(s);
    f.rho.push_back(rho);
    if (ip) f.eta.push_back(v.size() > cols + 1 ? v[cols + 1] : NULL_VALUE_D);
  }
  for (long long i = 0; i < n[1]; ++i) {
    const std::size_t need = 2 + (ip ? 1 : 0) + (inverse ? 1 : 0);
    if (!in.numbers(need, v, error)) return false;
    const bool last = i + 1 == n[1];
    if (!last) {
      if (!(std::isfinite(v[0]) && v[0] > 0)) {
        error = lineLabel(in.index()) + "层厚必须大于零";
        return false;
      }
      f.model.thickness.push_back(v[0]);
    }
    if (!(std::isfinite(v[1]) && v[1] > 0)) {
      error = lineLabel(in.index()) + "电阻率必须大于零";
      return false;
    }
    f.model.resistivity.push_back(v[1]);
    if (ip) {
      if (!(v[2] >= 0 && v[2] < 100)) {
        error = lineLabel(in.index()) + "极化率必须在0到100之间";
        return false;
      }
      f.model.chargeability.push_back(v[2]);
    }
    f.fixed.push_back(inverse ? static_cast<int>(v[ip ? 3 : 2]) & 7 : 0);
  }
  if (inverse) {
    if (!in.numbers(3, v, error)) return false;
    f.position = {f.name, v[0], v[1], v[2]};
    if (in.more()) {
      std::string control;
      in.take(control, error);
      const auto it = lineItems(control);
      long long method = 1, iterations = 30;
      double percent = 5;
      if (!it.empty()) {
        if (it.size() < 3 || !parseInt(it[0], method) || !parseInt(it[1], iterations) ||
            !parseDouble(it[2], percent) || (method != 1 && method != 2) || iterations < 1 ||
            iterations > 1000 || !(percent > 0 && percent < 100)) {
          error = lineLabel(in.index()) + "反演控制参数不正确";
          return false;
        }
      }
      f.settings.method = method == 2 ? InversionMethod::Occam : InversionMethod::Marquardt;
      f.settings.maxIterations = static_cast<int>(iterations);
      f.settings.relativeError = percent / 100.0;
    }
  }
  out = std::move(f);
  return true;
}

bool readSoundingFile(const std::string& path, SoundingFile& file, std::string& error) {
  std::string text;
  if (!readText(path, text, error)) return false;
  return parseSoundingFile(text, file, error);
}

std::string formatSoundingFile(const SoundingFile& f) {
  const SoundDevice device = f.device();
  const bool ip = f.chargeability(), inverse = f.inverse();
  std::string out = std::to_string(f.head.calcMode) + "," + std::to_string(f.head.paramMode) + "," +
                    std::to_string(f.head.device) + "\n";
  out += f.name + "\n";
  out += std::to_string(f.spacings.size()) + "," + std::to_string(f.model.layers()) + "\n";
  for (std::size_t j = 0; j < f.spacings.size(); ++j) {
    std::string line;
    for (double v : spacingValues(device, f.spacings[j]))
      line += (line.empty() ? "" : ",") + exactText(v);
    const double rho = j < f.rho.size() ? f.rho[j] : NULL_VALUE_D;
    const double eta = j < f.eta.size() ? f.eta[j] : NULL_VALUE_D;
    if (!isNullValue(rho) || inverse) {
      line += "," + exactText(rho);
      if (ip) line += "," + exactText(eta);
    }
    out += line + "\n";
  }
  for (std::size_t i = 0; i < f.model.layers(); ++i) {
    out += exactText(i < f.model.thickness.size() ? f.model.thickness[i] : 0.0) + "," +
           exactText(f.model.resistivity[i]);
    if (ip) out += "," + exactText(f.model.polarisable() ? f.model.chargeability[i] : 0.0);
    if (inverse) out += "," + std::to_string(i < f.fixed.size() ? f.fixed[i] : 0);
    out += "\n";
  }
  if (inverse) {
    out += exactText(f.position.x) + "," + exactText(f.position.y) + "," + exactText(f.position.z) +
           "\n";
    out += std::to_string(static_cast<int>(f.settings.method)) + "," +
           std::to_string(f.settings.maxIterations) + "," +
           exactText(f.settings.relativeError * 100.0) + "\n";
  }
  return out;
}

bool writeSoundingFile(const std::string& path, const SoundingFile& file) {
  return filetext::writeWholeFile(path, utf8ToGbk(formatSoundingFile(file)));
}

bool readPositionFile(const std::string& path, std::vector<StationPosition>& stations,
                      SoundingHead& head, std::string& error) {
  std::string text;
  if (!readText(path, text, error)) return false;
  Lines in(text);
  std::string line;
  if (!in.take(line, error) || !parseSoundingHead(line, head)) {
    error = kMsgBadInput;
    return false;
  }
  std::vector<long long> n;
  if (!in.counts(1, n, error)) return false;
  std::vector<StationPosition> out;
  for (long long i = 0; i < n[0]; ++i) {
    if (!in.take(line, error)) return false;
    const auto it = lineItems(line);
    StationPosition p;
    if (it.size() < 4 || !parseDouble(it[1], p.x) || !parseDouble(it[2], p.y) ||
        !parseDouble(it[3], p.z)) {
      error = lineLabel(in.index()) + kMsgBadInput;
      return false;
    }
    p.name = it[0];
    if (p.name.size() >= 2 && p.name.front() == '"' && p.name.back() == '"')
      p.name = p.name.substr(1, p.name.size() - 2);
    out.push_back(p);
  }
  stations = std::move(out);
  return true;
}

bool writePositionFile(const std::string& path, const SoundingHead& head,
                       const std::vector<StationPosition>& stations) {
  std::string out = std::to_string(head.calcMode) + "," + std::to_string(head.paramMode) + "," +
                    std::to_string(head.device) + "\n" + std::to_string(stations.size()) + "\n";
  for (const auto& s : stations)
    out += s.name + "," + exactText(s.x) + "," + exactText(s.y) + "," + exactText(s.z) + "\n";
  return filetext::writeWholeFile(path, utf8ToGbk(out));
}

std::string formatSoundingResult(const SoundingFile& f, const LayeredEarth& earth,
                                 const SoundingResponse& computed,
                                 const InversionResult* inversion) {
  const SoundDevice device = f.device();
  const bool ip = f.chargeability();
  std::string out = std::string(ip ? "一维电阻率极化率测深" : "一维电阻率测深") +
                    (inversion ? "反演结果" : "正演结果") + "－－" + soundDeviceText(device) + "\n";
  out += "测点: " + f.name;
  if (f.inverse())
    out += "\tX = " + fixedText(f.position.x, 2) + "\tY = " + fixedText(f.position.y, 2) +
           "\t高程 = " + fixedText(f.position.z, 2);
  out += "\n";
  const double rms = rmsMisfitPercent(f.rho, computed.rho, [&] {
    std::vector<bool> use;
    for (double v : f.rho) use.push_back(!isNullValue(v));
    return use;
  }());
  out += "视电阻率拟合差(%): " + fixedText(rms, 2);
  if (inversion)
    out += std::string("\t反演方法: ") +
           (f.settings.method == InversionMethod::Occam ? "Occam" : "Marquardt") +
           "\t迭代次数: " + std::to_string(inversion->iterations) +
           (inversion->converged ? "" : "\t(未收敛)");
  out += "\n\n层号\t层厚(m)\t底深(m)\t电阻率(Ω·m)";
  if (ip) out += "\t极化率(%)";
  out += "\n";
  for (std::size_t i = 0; i < earth.layers(); ++i) {
    const bool last = i + 1 == earth.layers();
    out += std::to_string(i + 1) + "\t" + (last ? "--" : fixedText(earth.thickness[i], 2)) + "\t" +
           (last ? "--" : fixedText(earth.depthOf(i), 2)) + "\t" +
           fixedText(earth.resistivity[i], 2);
    if (ip) out += "\t" + fixedText(earth.polarisable() ? earth.chargeability[i] : 0.0, 2);
    out += "\n";
  }
  out += "\n" + std::string(spacingLabels(device)) + "\t实测视电阻率\t计算视电阻率\t相对误差(%)";
  if (ip) out += "\t实测视极化率\t计算视极化率";
  out += "\n";
  for (std::size_t j = 0; j < f.spacings.size(); ++j) {
    std::string line;
    for (double v : spacingValues(device, f.spacings[j]))
      line += (line.empty() ? "" : "\t") + fixedText(v, 2);
    const double obs = j < f.rho.size() ? f.rho[j] : NULL_VALUE_D;
    const double calc = j < computed.rho.size() ? computed.rho[j] : NULL_VALUE_D;
    line += "\t" + fixedText(obs, 3) + "\t" + fixedText(calc, 3) + "\t" +
            (isNullValue(obs) ? std::string(NULL_TEXT) : fixedText(100.0 * (calc - obs) / obs, 2));
    if (ip) {
      const double eo = j < f.eta.size() ? f.eta[j] : NULL_VALUE_D;
      const double ec = j < computed.eta.size() ? computed.eta[j] : NULL_VALUE_D;
      line += "\t" + fixedText(eo, 3) + "\t" + fixedText(ec, 3);
    }
    out += line + "\n";
  }
  return out;
}

}  // namespace sarnoth::electric
