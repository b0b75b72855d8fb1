// background: the robust polynomial background fit of a gravity item ("重力背景场稳健多项式拟合"),
// writing the new table with the background and the residual.
#include <cstdio>

#include "cli/cli.h"
#include "gravmag/background_fit.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli background --table T --field F --x X --y Y [--degree N]\n"
    "         [--iterations N] [--precision ER] [--new NAME] [--par FILE] [--report] [--single]\n"
    "         [--workarea DIR]\n"
    "\n"
    "  Fits a polynomial surface of degree N (1..10, default 3) in the coordinates X and Y to the\n"
    "  field F by iteratively reweighted least squares (at most --iterations steps after the\n"
    "  ordinary fit, default 10; stop when the mean residual changes by less than ER, default\n"
    "  0.01), keeps the step with the best goodness of fit ND, and writes the table NAME\n"
    "  (default T_T) with X, Y, F, F_T (background) and F_R (residual). --par writes the\n"
    "  parameter file; --report prints its lines. Prints n, the best step and ND. The fit runs\n"
    "  in double precision; --single runs the original single-precision arithmetic, which\n"
    "  holds only for small cases.";

int runBackground(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  gravmag::TrendJob job;
  job.table = a.get("table");
  job.item = a.get("field");
  job.xField = a.get("x");
  job.yField = a.get("y");
  if (job.table.empty() || job.item.empty() || job.xField.empty() || job.yField.empty())
    return failWith(kUsage);
  job.newTable = a.get("new", job.table + "_T");
  job.degreeText = a.get("degree", "3");
  job.maxIterText = a.get("iterations", "10");
  job.precisionText = a.get("precision", "0.01");
  job.parFile = a.get("par");
  if (a.has("single")) job.precision = gravmag::TrendPrecision::Single;
  try {
    Database db = openWorkTable(work, job.table);
    CliInteraction ui(a);
    CliProgress progress("background");
    gravmag::TrendReport report;
    Outcome o = gravmag::runBackgroundFit(db, job, ui, report, progress);
    if (!o.ok) return failWith(o.message.empty() ? gravmag::kMsgTrendNameExists : o.message);
    if (a.has("report"))
      for (const auto& l : report.lines) std::printf("%s\n", l.c_str());
    std::printf("n=%lld m1=%d L=%d ND=%.7g table=%s\n", static_cast<long long>(report.n),
                report.coefficients, report.bestL, static_cast<double>(report.bestNd),
                job.newTable.c_str());
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{{"background",
                      "robust polynomial background fit of a gravity item (重力背景场稳健拟合)",
                      kUsage, runBackground}};

}  // namespace
}  // namespace sarnoth::cli
