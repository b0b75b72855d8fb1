// trend: polynomial trend surfaces of the tool "趋势分析", the report printed, the trend and
// residual written to a new table and, when asked, gridded.
#include <cstdio>

#include "cli/cli.h"
#include "geochem/trend_analysis.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli trend --table T --x X --y Y --field F --out NEW [--degree 2]\n"
    "         [--grid trend,residual] [--spacing D] [--overwrite] [--workarea DIR]\n"
    "\n"
    "  Fits trend surfaces of degree 1 to --degree (at most 6) to field F over the coordinates\n"
    "  X, Y by least squares, prints R², the overall F and the F of each degree's own terms with\n"
    "  their probabilities and the chosen degree's coefficients (in u = (x − xc)/s, v = (y − "
    "yc)/s),\n"
    "  and writes X, Y, F, F_T (trend) and F_R (residual) to the new registered table NEW (a name\n"
    "  in use is refused). --grid grids the trend and/or the residual into Grid_Dat\\F_T.grd and\n"
    "  F_R.grd by inverse distance, node spacing --spacing (default a hundredth of the longer\n"
    "  side); --overwrite replaces existing grid files.";

int runTrend(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::TrendJob job;
  job.table = a.get("table");
  job.xField = a.get("x");
  job.yField = a.get("y");
  job.valueField = a.get("field");
  job.newTable = a.get("out");
  job.degreeText = a.get("degree", "2");
  job.gridSpacingText = a.get("spacing");
  const std::string grids = a.get("grid");
  job.gridTrend = grids.find("trend") != std::string::npos;
  job.gridResidual = grids.find("residual") != std::string::npos;
  if (job.table.empty() || job.valueField.empty()) return failWith(kUsage);
  if (std::string why = geochem::checkTrendJob(job); !why.empty()) return failWith(why);
  try {
    Database db = openWorkTable(work, job.table);
    CliInteraction ui(a);
    CliProgress progress("trend");
    geochem::TrendResult result;
    Outcome o = geochem::runTrendAnalysis(db, work, job, ui, result, progress);
    if (!o.ok) return o.message.empty() ? 1 : failWith(o.message);
    for (const auto& l : result.report) std::printf("%s\n", l.c_str());
    std::printf("结果数据表 %s: %lld 条记录\n", job.newTable.c_str(),
                static_cast<long long>(result.rowsWritten));
    for (const auto& p : result.gridPaths) std::printf("网格数据文件: %s\n", p.c_str());
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{{"trend", "trend analysis (趋势分析): polynomial trend surfaces of degree 1–6",
                      kUsage, runTrend}};

}  // namespace
}  // namespace sarnoth::cli
