// sa-fractal: the tool "二维分形处理", concentration–area or spectrum–area separation of a grid
// into background and anomaly grids.
#include <cstdio>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/fractal_separation.h"
#include "prep/gridding.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli sa-fractal --grid NAME [--method sa|ca] [--levels 40] [--breaks B1[,B2]]\n"
    "         [--break-count 1|2] [--out NAME] [--plot FILE.png|FILE.svg] [--overwrite]\n"
    "         [--workarea DIR]\n"
    "\n"
    "  Plots the area above each threshold against the threshold, log–log: the power spectrum\n"
    "  of the grid for S–A (default), its values for C–A; fits straight runs with one or two\n"
    "  breaks (--break-count), or takes the breaks given, and prints the runs and breaks. With\n"
    "  --out writes Grid_Dat\\NAME_B.grd (background) and NAME_A.grd (anomaly): S–A filters the\n"
    "  spectrum above the highest break (background) and below it (anomaly; between the breaks\n"
    "  when two are given), C–A keeps the nodes below the lowest break and at or above the\n"
    "  highest. NAME for --grid is a file of Grid_Dat (\".grd\" may be left out) or a path.";

int runSaFractal(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::FractalJob job;
  std::string grid = a.get("grid");
  if (grid.empty()) return failWith(kUsage);
  if (grid.find('/') == std::string::npos && grid.find('\\') == std::string::npos) {
    if (grid.size() < 4 || grid.substr(grid.size() - 4) != ".grd") grid += ".grd";
    job.gridPath = resolvePath(work + "Grid_Dat\\" + grid);
  } else {
    job.gridPath = resolvePath(grid);
  }
  const std::string method = a.get("method", "sa");
  if (method != "sa" && method != "ca") return failWith("unknown method: " + method);
  job.method = method == "ca" ? geochem::FractalMethod::ConcentrationArea
                              : geochem::FractalMethod::SpectrumArea;
  job.levels = static_cast<int>(a.getInt("levels", 40));
  job.breakCount = static_cast<int>(a.getInt("break-count", 1));
  job.breaksText = a.get("breaks");
  job.outputName = a.get("out");
  CliProgress progress("sa-fractal");
  CliInteraction ui(a);
  geochem::FractalRunResult r = job.outputName.empty()
                                    ? geochem::analyseFractal(job, progress)
                                    : geochem::runFractalSeparation(work, job, ui, progress);
  if (!r.outcome.ok) return r.outcome.message.empty() ? 1 : failWith(r.outcome.message);
  for (const auto& l : r.report) std::printf("%s\n", l.c_str());
  if (a.has("plot") && !chart::writeChartFile(geochem::fractalChart(r.series, r.fit, job.method),
                                              resolvePath(a.get("plot")), 800, 600))
    return failWith("不能写入文件: " + a.get("plot"));
  return 0;
}

CommandRegistrar reg{
    {"sa-fractal",
     "2-D fractal processing (二维分形处理): S–A or C–A background/anomaly separation", kUsage,
     runSaFractal}};

}  // namespace
}  // namespace sarnoth::cli
