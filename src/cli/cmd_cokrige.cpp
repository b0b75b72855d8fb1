// cokrige: ordinary co-kriging of the tool "协同克吕格分析", the model and cross-validation
// printed, the grid written with "#HLTWRGRIDB#".
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/cokriging.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli cokrige --table T --x X --y Y --primary P --secondary S1[,S2] --out NAME\n"
    "         [--extent XMIN,XMAX,YMIN,YMAX] [--spacing D] [--neighbours K0[,KS]] [--range A]\n"
    "         [--no-cv] [--threads N] [--plot FILE.png|FILE.svg] [--overwrite] [--workarea DIR]\n"
    "\n"
    "  Estimates P on a grid from its own samples and those of one or two secondary fields of the\n"
    "  same table (a secondary may be denser), under the linear model of coregionalisation\n"
    "  (nugget + spherical of range A, default the primary's own fit; sills by Goulard & Voltz,\n"
    "  corrected to positive definite). The extent defaults to the samples' box, the spacing to\n"
    "  a hundredth of its longer side; K0 and KS (default 12) are the nearest samples of the\n"
    "  primary and of each secondary. Prints the model and the leave-one-out cross-validation of\n"
    "  ordinary kriging and co-kriging (--no-cv skips it) and writes Grid_Dat\\NAME.grd. --plot\n"
    "  draws the experimental and fitted direct and cross variograms.";

int runCoKrige(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::CoKrigingJob job;
  job.table = a.get("table");
  job.xField = a.get("x");
  job.yField = a.get("y");
  job.primaryField = a.get("primary");
  for (const auto& s : filetext::splitAt(a.get("secondary"), ','))
    if (!filetext::trim(s).empty()) job.secondaryFields.push_back(filetext::trim(s));
  job.outputName = a.get("out");
  if (job.table.empty() || job.primaryField.empty()) return failWith(kUsage);
  const auto nb = filetext::splitAt(a.get("neighbours", "12"), ',');
  long long k0 = 12, ks = 12;
  if (!filetext::parseInt(filetext::trim(nb[0]), k0) ||
      (nb.size() > 1 && !filetext::parseInt(filetext::trim(nb[1]), ks)))
    return failWith(geochem::kMsgCoKrigNeighbours);
  if (nb.size() == 1) ks = k0;
  job.options.primaryNeighbours = static_cast<int>(std::clamp(k0, 0LL, 1000LL));
  job.options.secondaryNeighbours = static_cast<int>(std::clamp(ks, 0LL, 1000LL));
  job.options.threads = static_cast<int>(a.getInt("threads", 0));
  job.range = a.getDouble("range", 0);
  job.crossValidate = !a.has("no-cv");
  try {
    Database db = openWorkTable(work, job.table);
    // The extent: given, or the box of the samples.
    double x0 = 0, x1 = 0, y0 = 0, y1 = 0;
    if (a.has("extent")) {
      const auto e = filetext::splitAt(a.get("extent"), ',');
      if (e.size() != 4 || !filetext::parseDouble(e[0], x0) || !filetext::parseDouble(e[1], x1) ||
          !filetext::parseDouble(e[2], y0) || !filetext::parseDouble(e[3], y1))
        return failWith("--extent: XMIN,XMAX,YMIN,YMAX");
    } else {
      geochem::CoSamples s = geochem::readCoSamples(db, job);
      if (s.x.empty()) return failWith(geochem::kMsgCoKrigTooFew);
      auto [xa, xb] = std::minmax_element(s.x.begin(), s.x.end());
      auto [ya, yb] = std::minmax_element(s.y.begin(), s.y.end());
      x0 = *xa, x1 = *xb, y0 = *ya, y1 = *yb;
    }
    double spacing = a.getDouble("spacing", std::max(x1 - x0, y1 - y0) / 100);
    if (!(spacing > 0)) return failWith(kMsgSpacing);
    GridGeometry& g = job.geometry;
    g.xLeft = static_cast<float>(x0);
    g.yBottom = static_cast<float>(y0);
    g.dx = g.dy = static_cast<float>(spacing);
    g.columns = gridCount(g.xLeft, static_cast<float>(x1), g.dx).value_or(0);
    g.rows = gridCount(g.yBottom, static_cast<float>(y1), g.dy).value_or(0);
    g.xJust = adjustedBound(g.xLeft, g.dx, g.columns);
    g.yJust = adjustedBound(g.yBottom, g.dy, g.rows);
    CliInteraction ui(a);
    CliProgress progress("cokrige");
    geochem::CoKrigingRunResult r = geochem::runCoKriging(db, work, job, ui, progress);
    if (!r.outcome.ok) return r.outcome.message.empty() ? 1 : failWith(r.outcome.message);
    for (const auto& l : r.report) std::printf("%s\n", l.c_str());
    std::printf("网格数据文件: %s\n", r.path.c_str());
    if (a.has("plot")) {
      std::vector<std::string> names{job.primaryField};
      names.insert(names.end(), job.secondaryFields.begin(), job.secondaryFields.end());
      if (!chart::writeChartFile(geochem::coVariogramChart(r.variograms, r.model, names),
                                 resolvePath(a.get("plot")), 800, 600))
        return failWith("不能写入文件: " + a.get("plot"));
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{{"cokrige",
                      "co-kriging (协同克吕格分析): a primary element with one or two secondaries",
                      kUsage, runCoKrige}};

}  // namespace
}  // namespace sarnoth::cli
