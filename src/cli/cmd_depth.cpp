// depth: source depths from a magnetic profile ("二维磁源深度计算") by Euler deconvolution,
// Werner deconvolution or the analytic-signal width; the solutions listed, written to a table
// of the work area and plotted.
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "gravmag/profile_depth.h"
#include "workarea/path_resolver.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli depth PROFILE.prf --x FIELD [--y FIELD] --value FIELD [--tz FIELD]\n"
    "         [--method euler|werner|signal] [--window N] [--index N] [--tolerance T]\n"
    "         [--interference 0|1|2] [--table NAME --workarea DIR [--yes]]\n"
    "         [--plot SOLUTIONS.png|svg] [--plot-profile PROFILE.png|svg]\n"
    "\n"
    "  PROFILE is a path or a profile of the work area's Prof_Dat. --x names the distance field\n"
    "  (with --y, the two are coordinates and the distance is cumulative along the points);\n"
    "  --value the anomaly (nT); --tz a measured vertical gradient (else computed from the\n"
    "  horizontal derivative by the Hilbert transform, valid for two-dimensional sources).\n"
    "  --window points per moving window (9), --index the structural index (Euler 0..3,\n"
    "  Werner 0 contact / 1 dike, analytic signal 0 contact / 1 dike / 2 cylinder; 1),\n"
    "  --tolerance the largest σz/z of an Euler solution (0.15), --interference Werner's\n"
    "  background terms (1). The solutions go to stdout (window, position, depth, index, error)\n"
    "  and, with --table, into a new table of the work area (--yes replaces an existing one).";

std::string profilePath(const Args& a, const std::string& in) {
  if (pathExists(in)) return in;
  const std::string work = workPath(a);
  if (!work.empty()) {
    const std::string p = work + "Prof_Dat/" + in;
    if (pathExists(p)) return p;
    if (pathExists(p + ".prf")) return p + ".prf";
  }
  return in;
}

int runDepth(Args& a) {
  using namespace gravmag;
  const std::string in = a.pos(0);
  if (in.empty() || !a.has("x") || !a.has("value")) return failWith(kUsage);
  DepthJob job;
  job.profilePath = profilePath(a, in);
  job.xField = a.get("x");
  job.yField = a.get("y");
  job.valueField = a.get("value");
  job.tzField = a.get("tz");
  const std::string method = a.get("method", "euler");
  if (method == "euler")
    job.params.method = DepthMethod::Euler;
  else if (method == "werner")
    job.params.method = DepthMethod::Werner;
  else if (method == "signal")
    job.params.method = DepthMethod::AnalyticSignal;
  else
    return failWith("unknown --method " + method + " (euler|werner|signal)");
  job.params.window = static_cast<int>(a.getInt("window", job.params.window));
  job.params.index = a.getDouble("index", job.params.index);
  job.params.tolerance = a.getDouble("tolerance", job.params.tolerance);
  job.params.interference = static_cast<int>(a.getInt("interference", job.params.interference));
  job.table = a.get("table");
  CliInteraction ui(a);
  DepthRunResult r;
  try {
    if (!job.table.empty()) {
      const std::string work = workPath(a);
      if (work.empty()) return failWith("--table needs a work area (--workarea DIR)");
      Database db = openWorkDatabase(work);
      r = runProfileDepth(job, &db, ui);
    } else {
      r = runProfileDepth(job, nullptr, ui);
    }
  } catch (const StoreError& e) {
    return failWith(std::string("打开数据库错: ") + e.what());
  }
  if (!r.outcome) return failWith(r.outcome.message);
  std::printf("WINX1\tWINX2\tX0\tDEPTH\tSI\tERR\n");
  for (const DepthSolution& d : r.solutions)
    std::printf("%.6g\t%.6g\t%.6g\t%.6g\t%g\t%.4g\n", d.x1, d.x2, d.x0, d.z0, d.index, d.error);
  std::cerr << depthReport(r) << "\n";
  if (a.has("plot") && !chart::writeChartFile(solutionChart(r), a.get("plot"), 900, 360))
    return failWith("cannot write " + a.get("plot"));
  if (a.has("plot-profile") &&
      !chart::writeChartFile(profileChart(r), a.get("plot-profile"), 900, 360))
    return failWith("cannot write " + a.get("plot-profile"));
  std::cerr << r.outcome.message << "\n";
  return 0;
}

const CommandRegistrar reg{
    {"depth", "source depths from a magnetic profile (二维磁源深度计算)", kUsage, runDepth}};

}  // namespace
}  // namespace sarnoth::cli
