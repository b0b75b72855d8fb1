// section: the contoured, colour-filled picture of a section — a section file (*.sec) written
// by the automatic inversion or the topographic correction, or the pseudo-section of a measured
// file (*.hd2, *.hd3, *.hd4, *.hdo, *.top) — as PNG or SVG.
#include <iostream>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "electric/dc2d_section.h"

namespace sarnoth::cli {
namespace {

bool yesNo(const Args& a, const std::string& name, bool def, bool& out) {
  if (!a.has(name)) {
    out = def;
    return true;
  }
  const std::string v = a.get(name);
  if (v != "yes" && v != "no") return false;
  out = v == "yes";
  return true;
}

int runSection(Args& a) {
  using namespace sarnoth::electric;
  const std::string path = a.pos(0), out = a.get("o", a.get("output"));
  if (path.empty() || out.empty())
    return failWith("usage: sarnoth-cli section FILE -o PIC.png|PIC.svg");
  SectionData d;
  std::string error;
  if (!readAnySection(path, d, error)) return failWith(error);
  SectionStyle st;
  const std::string col = a.get("column", "1");
  long long n = -1;
  for (int k = 0; k < d.columns(); ++k)
    if (d.names[static_cast<std::size_t>(k)] == col) n = k + 1;
  if (n < 0) {
    // Not a column's name: its number.
    const bool digits = !col.empty() && col.find_first_not_of("0123456789") == std::string::npos;
    n = digits ? std::stoll(col.substr(0, 9)) : 0;
  }
  if (n < 1 || n > d.columns())
    return failWith("--column: 1 to " + std::to_string(d.columns()) + " or a column's name");
  st.column = static_cast<int>(n - 1);
  const std::string scale = a.get(
      "scale", n == 1 || d.names[st.column].find("电阻率") != std::string::npos ? "log" : "linear");
  if (scale != "log" && scale != "linear") return failWith("--scale: log or linear");
  st.log = scale == "log";
  st.levels = static_cast<int>(a.getInt("levels", 10));
  if (st.levels < 2 || st.levels > 50) return failWith("--levels: 2 to 50");
  if (!yesNo(a, "fill", true, st.filled) || !yesNo(a, "contours", true, st.contours) ||
      !yesNo(a, "labels", true, st.labels) || !yesNo(a, "points", true, st.points) ||
      !yesNo(a, "stations", true, st.stations))
    return failWith("--fill, --contours, --labels, --points, --stations: yes or no");
  const int w = static_cast<int>(a.getInt("width", 1000)),
            h = static_cast<int>(a.getInt("height", 420));
  if (w < 100 || h < 100 || w > 10000 || h > 10000)
    return failWith("--width, --height: 100 to 10000");
  const chart::Chart c = sectionPlot(d, st);
  if (c.series.empty()) return failWith("断面数据不足, 无法绘图");
  if (!chart::writeChartFile(c, out, w, h)) return failWith("文件无法写入: " + out);
  return 0;
}

CommandRegistrar reg{
    {"section", "contoured, colour-filled section of pseudo-section or model data (PNG/SVG)",
     "sarnoth-cli section FILE -o PIC.png|PIC.svg [--column N|NAME] [--scale log|linear]\n"
     "                    [--levels N] [--fill yes|no] [--contours yes|no] [--labels yes|no]\n"
     "                    [--points yes|no] [--stations yes|no] [--width W] [--height H]\n"
     "  FILE is a section file (*.sec) or a measured file (*.hd2, *.hd3, *.hd4, *.hdo, *.top)\n"
     "  drawn as its pseudo-section. The scale is log for resistivities, else linear.",
     runSection}};

}  // namespace
}  // namespace sarnoth::cli
