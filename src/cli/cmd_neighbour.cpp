// neighbour: the neighbourhood analysis of the tool "邻域数据分析".
#include <cmath>
#include <cstdio>

#include "cli/cli.h"
#include "geochem/neighbourhood.h"
#include "workarea/file_text.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli neighbour --table T --x X --y Y --field F [--count K | --radius R]\n"
    "         [--min M] [--self] [--new NAME] [--threads N] [--yes] [--workarea DIR]\n"
    "\n"
    "  For every sample, the mean, median, standard deviation and count of F over its K nearest\n"
    "  neighbours (8 by default) or over all neighbours within the radius R, and the sample's\n"
    "  difference, ratio and local z-score against them. The table NAME (T_邻域 by default) gets\n"
    "  the fields of T and F_M, F_Md, F_S, F_N, F_D, F_R, F_Z, and is registered (origin\n"
    "  DataProcess); --yes overwrites an existing one. Fewer than M neighbours (3) give the null;\n"
    "  --self counts the sample among its neighbours. All cores unless --threads.";

bool wholeNumber(const std::string& text, long long lo, long long hi, int& out) {
  double v = 0;
  if (!filetext::parseDouble(text, v) || v != std::floor(v) || v < static_cast<double>(lo) ||
      v > static_cast<double>(hi))
    return false;
  out = static_cast<int>(v);
  return true;
}

int runNeighbour(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::NeighbourJob job;
  job.table = a.get("table");
  job.xField = a.get("x");
  job.yField = a.get("y");
  job.valueField = a.get("field");
  if (job.table.empty()) return failWith(kUsage);
  job.newTable = a.get("new", job.table + "_邻域");
  geochem::NeighbourSearch& s = job.search;
  if (a.has("radius")) {
    s.mode = geochem::NeighbourMode::Radius;
    if (!filetext::parseDouble(a.get("radius"), s.radius)) return failWith(geochem::kMsgBadRadius);
  } else if (a.has("count") &&
             !wholeNumber(a.get("count"), 1, geochem::kMaxNeighbourCount, s.count)) {
    return failWith(geochem::kMsgBadNeighbourCount);
  }
  if (a.has("min") && !wholeNumber(a.get("min"), 1, 1000000, s.minCount))
    return failWith(geochem::kMsgBadMinCount);
  s.includeSelf = a.has("self");
  if (a.has("threads") && !wholeNumber(a.get("threads"), 1, 64, job.threads))
    return failWith("--threads takes 1 to 64");
  try {
    Database db = openWorkTable(work, job.table);
    CliInteraction ui(a);
    CliProgress progress("neighbour");
    const Outcome o = geochem::runNeighbourAnalysis(db, job, ui, progress);
    if (!o) return o.message.empty() ? 1 : failWith(o.message);
    std::printf("%s\n", o.message.c_str());
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{
    {"neighbour", "neighbourhood statistics of an element (邻域数据分析)", kUsage, runNeighbour}};

}  // namespace
}  // namespace sarnoth::cli
