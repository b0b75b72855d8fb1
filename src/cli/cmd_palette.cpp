// palette grade|show: the colour scale of grid images.
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "workarea/file_text.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/palette.h"
#include "workarea/scatter_file.h"
#include "workarea/session.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

std::string hexColour(Rgb c) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "#%02X%02X%02X", c.r, c.g, c.b);
  return buf;
}

// The values to grade: --values FILE (numbers separated by blanks, commas or line breaks),
// --scatter FILE --field F, or --table T --field F from the work area's store.
bool loadValues(const Args& a, std::vector<float>& values, std::string& error) {
  using namespace filetext;
  if (a.has("values")) {
    std::string bytes;
    if (!readWholeFile(a.get("values"), bytes)) {
      error = "打开数据文件或读文件信息错误!!";
      return false;
    }
    for (char& ch : bytes)
      if (ch == ',' || ch == '\r' || ch == '\n' || ch == ';') ch = ' ';
    for (const auto& item : splitBlanks(bytes)) {
      float v = 0;
      if (!parseFloat(item, v)) {
        error = "读数据错误.";
        return false;
      }
      values.push_back(v);
    }
    return true;
  }
  if (a.has("grid")) {
    GridReadResult r = readGrid(a.get("grid"));
    if (!r.ok()) {
      error = r.error == GridError::BadMagic ? kMsgNotBinaryGrid : gridErrorDetail(r.error);
      return false;
    }
    values = std::move(r.grid.nodes);
    return true;
  }
  std::string field = a.get("field");
  if (a.has("scatter")) {
    ScatterReadResult r = readScatter(a.get("scatter"));
    if (!r.ok()) {
      error = scatterMessage(ScatterReader::ClipExternal, r.error);
      return false;
    }
    int col = -1;
    for (int c = 0; c < r.file.fieldCount(); ++c)
      if (r.file.names[static_cast<std::size_t>(c)] == field) col = c;
    if (col < 0) {
      error = "数据项不存在: " + field;
      return false;
    }
    for (std::int64_t p = 0; p < r.file.recordCount; ++p) {
      float v = r.file.at(p, col);
      values.push_back(v == r.file.nullValue ? NULL_VALUE : v);
    }
    return true;
  }
  if (a.has("table")) {
    std::string work = workPath(a);
    if (work.empty()) {
      error = kRefusalText;
      return false;
    }
    try {
      Database db = openWorkDatabase(work);
      Cursor c = db.query("Select " + bracket(field) + " From " + bracket(a.get("table")));
      while (c.next()) values.push_back(c.isNull(0) ? NULL_VALUE : c.getFloat(0));
    } catch (const StoreError& e) {
      error = e.what();
      return false;
    }
    return true;
  }
  error = "--grid FILE | --values FILE | --scatter FILE --field F | --table T --field F";
  return false;
}

void printScale(const ColourScale& s, const std::optional<SysColourTable>& table, int desM) {
  std::cout << "MIN: " << floatText(s.min) << "\nMAX: " << floatText(s.max) << "\n"
            << s.levels.size() << " levels\n";
  for (std::size_t i = 0; i < s.levels.size(); ++i) {
    const ColourLevel& lv = s.levels[i];
    std::cout << i << "\t" << formatLevelValue(lv.value, desM) << "\t" << lv.colourIndex;
    if (table) std::cout << "\t" << hexColour(table->colour(lv.colourIndex));
    std::cout << "\n";
  }
  std::cout << "BCOLR: " << s.backColour << "\n";
}

std::optional<SysColourTable> colourTable(const Args& a) {
  return SysColourTable::load(a.get("colours", executableDir() + kSysColourTableFile));
}

int runPalette(Args& a) {
  std::string sub = a.pos(0);
  int desM = static_cast<int>(a.getInt("decimals", 0));
  if (sub == "show") {
    std::string path = a.pos(1);
    if (path.empty()) return failWith("usage: sarnoth-cli palette show FILE.pal [--colours TBL]");
    ColourScale s;
    PaletteReadResult r = readPalette(path);
    if (!r.ok()) {
      std::string m = paletteMessage(r.error);
      return failWith(m.empty() ? "打开调色板索引文件错误: " + path : m);
    }
    printScale(r.scale, colourTable(a), desM);
    return 0;
  }
  if (sub != "grade")
    return failWith("usage: sarnoth-cli palette grade|show …  (--help for details)");

  std::string mode = a.get("mode", "equal");
  bool needsData = mode == "variance" || mode == "cumulative";
  if (mode != "equal" && mode != "log" && !needsData)
    return failWith("--mode equal|log|variance|cumulative");
  std::vector<float> values;
  std::string error;
  bool haveData = a.has("grid") || a.has("values") || a.has("scatter") || a.has("table");
  if (haveData && !loadValues(a, values, error)) return failWith(error);
  if (needsData && !haveData)
    return failWith(
        mode + ": --grid FILE | --values FILE | --scatter FILE --field F | --table T --field F");

  // The range defaults to that of the valid values, as the panel defaults it from the grid.
  float lo = 1e38f, hi = -1e38f;
  for (float v : values)
    if (!isNullValue(v)) {
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
  if (!a.has("min") && lo > hi) return failWith("--min and --max, or values to grade");
  float min = static_cast<float>(a.getDouble("min", lo));
  float max = static_cast<float>(a.getDouble("max", hi));
  if (!a.has("interval")) return failWith("--interval P");
  float interval = static_cast<float>(a.getDouble("interval", 0));

  std::string rampPath = a.get("ramp", executableDir() + kDefaultRampFile);
  std::optional<std::vector<std::int32_t>> ramp = readDefaultRamp(rampPath);
  if (!ramp) std::cerr << "datdefcolr.pal: " << rampPath << " 不能读取, 颜色为 0\n";
  std::vector<std::int32_t> r = ramp.value_or(std::vector<std::int32_t>{});

  Grading g;
  if (mode == "equal")
    g = gradeEqualInterval(min, max, interval, r);
  else if (mode == "log")
    g = gradeLogarithmic(min, max, interval, r);
  else if (mode == "variance")
    g = gradeVariance(values, min, max, interval, r);
  else
    g = gradeCumulative(values, interval, r);
  if (!g.message.empty()) return failWith(g.message);

  ColourScale s =
      scaleFromGrading(g, min, max, static_cast<std::int32_t>(a.getInt("back", 0)), desM);
  printScale(s, colourTable(a), desM);
  if (a.has("save")) {
    Outcome o = savePalette(a.get("save"), s, desM);
    if (!o) return failWith(o.message);
    std::cerr << "saved " << a.get("save") << "\n";
  }
  return 0;
}

CommandRegistrar regPalette{
    {"palette", "colour scales: grade levels by the four rules, show a *.pal file",
     "usage: sarnoth-cli palette grade --mode equal|log|variance|cumulative --interval P\n"
     "                   [--min A --max B] [--grid FILE | --values FILE | --scatter FILE --field F "
     "|\n"
     "                    --table T --field F [--workarea DIR]] [--decimals 1..4]\n"
     "                   [--ramp datdefcolr.pal] [--colours syscolor.tbl] [--back N]\n"
     "                   [--save OUT.pal]\n"
     "         equal/log take min, max and the interval; variance takes the multiple p of the\n"
     "         standard deviation, cumulative the step in percent, both over the values.\n"
     "       sarnoth-cli palette show FILE.pal [--colours syscolor.tbl] [--decimals N]",
     runPalette}};

}  // namespace
}  // namespace sarnoth::cli
