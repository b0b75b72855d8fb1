#include "workarea/grid_info.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

float floatAt(const char* p) {
  float f;
  std::memcpy(&f, p, sizeof f);
  return f;
}

std::int32_t int32At(const char* p) {
  std::int32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

std::int16_t int16At(const char* p) {
  std::int16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Numbers as the system prints a single: up to seven significant digits, no exponent for
// ordinary magnitudes.
std::string number(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.7g", v);
  return buf;
}

}  // namespace

bool isBinaryGridMagic(const std::string& magic) {
  return magic.size() >= 12 && magic.compare(6, 6, "GRIDB#") == 0;
}

GridHeadResult readBinaryGridHead(const std::string& path) {
  GridHeadResult r;
  std::ifstream f(resolvePath(path), std::ios::binary);
  if (!f) return r;
  char head[kGridHeadBytes];
  f.read(head, sizeof head);
  std::size_t got = static_cast<std::size_t>(f.gcount());
  r.header.magic.assign(head, got < 12 ? got : 12);
  if (!isBinaryGridMagic(r.header.magic)) {  // also a file shorter than its magic
    r.status = GridHeadStatus::BadMagic;
    return r;
  }
  if (got < kGridHeadBytes) {
    r.status = GridHeadStatus::Truncated;
    return r;
  }
  const char* h = head + 32;
  GridHeader& g = r.header;
  g.method = readGbkField(std::string_view(head + 12, 20));
  g.x0 = floatAt(h);
  g.y0 = floatAt(h + 4);
  g.angle = floatAt(h + 8);
  g.note = readGbkField(std::string_view(h + 12, 28));
  g.nx = int16At(h + 40);
  g.ny = int16At(h + 42);
  g.dx = floatAt(h + 44);
  g.dy = floatAt(h + 48);
  g.nullValue = floatAt(h + 52);
  g.zMin = floatAt(h + 56);
  g.zMax = floatAt(h + 60);
  g.validCount = int32At(h + 64);
  r.status = GridHeadStatus::Ok;
  return r;
}

std::string gridInfoText(const GridHeader& g) {
  std::string t;
  auto line = [&t](const std::string& s) { t += s + "\r\n"; };
  line("  ");
  line("--------- 网格数据特征信息 --------");
  line("  ");
  line("  左下角横坐标: " + number(g.x0));
  line("  左下角纵坐标: " + number(g.y0));
  line("  数据列数:     " + std::to_string(g.nx));
  line("  数据行数:     " + std::to_string(g.ny));
  line("  横向网格距:   " + number(g.dx));
  line("  纵向网格距:   " + number(g.dy));
  line("  方位角:       " + number(g.angle));
  line("  特征值:       " + number(g.nullValue));
  line("  有效数据点数: " + std::to_string(g.validCount));
  line("  最大值:       " + number(g.zMax));
  line("  最小值:       " + number(g.zMin));
  line("  数据注释:  " + g.note);
  line("-------------------------------------");
  return t;
}

bool writeGridInfoFile(const std::string& path, const GridHeader& header) {
  std::ofstream f(resolvePath(path), std::ios::binary | std::ios::trunc);
  if (!f) return false;
  f << utf8ToGbk(gridInfoText(header));
  return static_cast<bool>(f);
}

}  // namespace sarnoth
