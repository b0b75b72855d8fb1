#include "workarea/grid_info.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

// Numbers as the system prints a single: up to seven significant digits, no exponent for
// ordinary magnitudes.
std::string number(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.7G", v);
  return buf;
}

}  // namespace

bool isBinaryGridMagic(const std::string& magic) {
  return magic.size() >= 12 && magic.compare(6, 6, "GRIDB#") == 0;
}

GridHeadResult readBinaryGridHead(const std::string& path) {
  GridReadResult g = readGridHeader(path);
  GridHeadResult r;
  r.header = std::move(g.grid.header);
  switch (g.error) {
    case GridError::None:
    case GridError::BadHeader:  // the picker shows any head as it stands
      r.status = GridHeadStatus::Ok;
      break;
    case GridError::BadMagic:
      r.status = GridHeadStatus::BadMagic;
      break;
    case GridError::Truncated:
      r.status = GridHeadStatus::Truncated;
      break;
    default:
      r.status = GridHeadStatus::OpenFailed;
      break;
  }
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
