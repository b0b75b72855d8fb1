#include "electric/dc2d_field.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "datatools/method_import.h"
#include "electric/numbered_lines.h"
#include "electric/sounding_file.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

// Electrode stations and ρa readings on a data line of a device.
std::pair<int, int> columnsOf(Dc2dDevice d) {
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

// 2 when the data line carries ηa beside ρa, else 1.
int paramModeOf(const std::vector<std::string>& lines, std::size_t firstData, Dc2dDevice d) {
  if (firstData >= lines.size()) return 1;
  const auto [electrodes, readings] = columnsOf(d);
  return static_cast<int>(lineItems(lines[firstData]).size()) >= electrodes + 2 * readings ? 2 : 1;
}

bool checkTag(const std::vector<std::string>& lines, const char* tag, std::string& error) {
  if (lines.empty() || filetext::trim(lines[0]) != tag) {
    error = std::string(kMsgMethodWrongHead) + tag;
    return false;
  }
  return true;
}

// "第n行: …" of the 2-D parser moved down by `shift` lines.
std::string shiftLines(const std::string& error, int shift) {
  const std::string pre = "第";
  if (error.rfind(pre, 0) != 0) return error;
  std::size_t i = pre.size();
  long long n = 0;
  while (i < error.size() && std::isdigit(static_cast<unsigned char>(error[i])))
    n = n * 10 + (error[i++] - '0');
  if (i == pre.size()) return error;
  return pre + std::to_string(n + shift) + error.substr(i);
}

std::string joinFrom(const std::vector<std::string>& lines, std::size_t from) {
  std::string t;
  for (std::size_t i = from; i < lines.size(); ++i) t += lines[i] + "\n";
  return t;
}

std::string exact(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.10g", v);
  return buf;
}

std::string readText(const std::string& path, std::string& error, bool& ok) {
  std::string bytes;
  ok = filetext::readWholeFile(path, bytes);
  if (!ok) error = "文件无法打开: " + path;
  return ok ? decodeFileText(bytes) : std::string();
}

}  // namespace

const std::vector<MeasuredKind>& measuredKinds() {
  static const std::vector<MeasuredKind> k = {
      {".hd2", "二极实测数据", Dc2dDevice::PolePoleSounding, "二极装置"},
      {".hd3", "三极实测数据", Dc2dDevice::PoleDipoleSounding, "三极装置"},
      {".hd4", "对称四极实测数据", Dc2dDevice::SymmetricSounding, "对称四极装置"},
      {".hdo", "偶极偶极实测数据", Dc2dDevice::DipoleSounding, "偶极偶极装置"},
  };
  return k;
}

const MeasuredKind* measuredKindOf(const std::string& path) {
  const auto dot = path.find_last_of('.');
  if (dot == std::string::npos) return nullptr;
  std::string ext = path.substr(dot);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const auto& k : measuredKinds())
    if (ext == k.suffix) return &k;
  return nullptr;
}

bool parseMeasuredFile(const std::string& text, const MeasuredKind& kind, Dc2dFile& file,
                       std::string& error) {
  const auto lines = filetext::splitLines(text);
  if (!checkTag(lines, kind.tag, error)) return false;
  const int device = static_cast<int>(kind.device);
  const int param = paramModeOf(lines, 4, kind.device);
  const std::string head = "2 " + std::to_string(param) + " 0 " + std::to_string(device) + "\n";
  Dc2dFile f;
  if (!parseDc2dFile(head + joinFrom(lines, 1), f, error)) return false;
  file = std::move(f);
  return true;
}

bool readMeasuredFile(const std::string& path, Dc2dFile& file, std::string& error) {
  const MeasuredKind* kind = measuredKindOf(path);
  if (!kind) {
    error = "文件类型错误: " + path;
    return false;
  }
  bool ok = false;
  const std::string text = readText(path, error, ok);
  return ok && parseMeasuredFile(text, *kind, file, error);
}

std::string formatMeasuredFile(const Dc2dFile& file) {
  const MeasuredKind* kind = nullptr;
  for (const auto& k : measuredKinds())
    if (k.device == file.survey.device) kind = &k;
  if (!kind) return {};
  Dc2dFile f = file;
  f.head = {2, file.head.paramMode, 0, static_cast<int>(kind->device)};
  const std::string body = formatDc2dFile(f);
  return std::string(kind->tag) + "\r\n" + body.substr(body.find('\n') + 1);
}

bool parseTerrainFile(const std::string& text, std::vector<XZ>& terrain, std::string& error) {
  auto lines = filetext::splitLines(text);
  while (!lines.empty() && filetext::trim(lines.back()).empty()) lines.pop_back();
  if (!checkTag(lines, kTerrainTag, error)) return false;
  auto at = [](std::size_t i) { return "第" + std::to_string(i + 1) + "行: "; };
  long long n = 0;
  if (lines.size() < 2 || lineItems(lines[1]).empty() ||
      !filetext::parseInt(lineItems(lines[1])[0], n) || n < 2 || n > kMaxDc2dRows) {
    error = at(1) + "地形点数错误";
    return false;
  }
  std::vector<XZ> t;
  for (long long i = 0; i < n; ++i) {
    const std::size_t ln = 2 + static_cast<std::size_t>(i);
    if (ln >= lines.size()) {
      error = at(lines.size()) + "数据不完整";
      return false;
    }
    const auto it = lineItems(lines[ln]);
    XZ p;
    if (it.size() < 2 || !filetext::parseDouble(it[0], p.x) || !filetext::parseDouble(it[1], p.z) ||
        !std::isfinite(p.x) || !std::isfinite(p.z)) {
      error = at(ln) + kMsgBadInput;
      return false;
    }
    if (!t.empty() && !(p.x > t.back().x)) {
      error = at(ln) + "地形点号必须递增";
      return false;
    }
    t.push_back(p);
  }
  terrain = std::move(t);
  return true;
}

bool readTerrainFile(const std::string& path, std::vector<XZ>& terrain, std::string& error) {
  bool ok = false;
  const std::string text = readText(path, error, ok);
  return ok && parseTerrainFile(text, terrain, error);
}

std::string formatTerrainFile(const std::vector<XZ>& terrain) {
  std::string t = std::string(kTerrainTag) + "\r\n" + std::to_string(terrain.size()) + "\r\n";
  for (const XZ& p : terrain) t += exact(p.x) + ", " + exact(p.z) + "\r\n";
  return t;
}

bool parseTopoFile(const std::string& text, Dc2dFile& file, std::string& error) {
  const auto lines = filetext::splitLines(text);
  if (!checkTag(lines, kTopoTag, error)) return false;
  long long device = 0;
  if (lines.size() < 2 || lineItems(lines[1]).empty() ||
      !filetext::parseInt(lineItems(lines[1])[0], device) ||
      !isDc2dDevice(static_cast<int>(device))) {
    error = "装置选择错误！";
    return false;
  }
  const auto d = static_cast<Dc2dDevice>(device);
  // tag, device, name, DX X0, [fixed electrodes], N, first data line
  const std::size_t firstData = d == Dc2dDevice::Charged || d == Dc2dDevice::Gradient ? 6 : 5;
  const int param = paramModeOf(lines, firstData, d);
  const std::string head = "2 " + std::to_string(param) + " 1 " + std::to_string(device) + "\n";
  Dc2dFile f;
  if (!parseDc2dFile(head + joinFrom(lines, 2), f, error)) {
    error = shiftLines(error, 1);
    return false;
  }
  file = std::move(f);
  return true;
}

bool readTopoFile(const std::string& path, Dc2dFile& file, std::string& error) {
  bool ok = false;
  const std::string text = readText(path, error, ok);
  return ok && parseTopoFile(text, file, error);
}

std::string formatTopoFile(const Dc2dFile& file) {
  Dc2dFile f = file;
  f.head = {2, file.head.paramMode, 1, static_cast<int>(file.survey.device)};
  const std::string body = formatDc2dFile(f);
  return std::string(kTopoTag) + "\r\n" + std::to_string(f.head.device) + "\r\n" +
         body.substr(body.find('\n') + 1);
}

}  // namespace sarnoth::electric
