// cluster: R-type and Q-type cluster analysis of the tool " 聚类分析", with its dendrogram.
#include <cstdio>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/cluster_analysis.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli cluster --table T (--fields A,B,C,… | --all) [--type R|Q] [--log]\n"
    "         [--transform 1|2|3] [--measure 1|2|3] [--out FILE] [--dendrogram FILE.png|.svg]\n"
    "         [--quiet] [--workarea DIR]\n"
    "\n"
    "  R type groups the fields, Q type (default) the samples. --log takes logarithms first;\n"
    "  --transform: 1 none (default), 2 to 0..1 by each row's range, 3 standardised;\n"
    "  --measure: 1 correlation (default), 2 reciprocal Euclidean distance, 3 cosine.\n"
    "  The report goes to FILE (default the work area's Temp\\ClustInfo.txt) and is printed\n"
    "  unless --quiet; --dendrogram draws the 谱系图 as PNG or SVG, tall enough to read every\n"
    "  label.";

int runCluster(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::ClusterJob job;
  job.table = a.get("table");
  if (job.table.empty()) return failWith(kUsage);
  const std::string type = a.get("type", "Q");
  if (type != "R" && type != "Q" && type != "r" && type != "q")
    return failWith("--type takes R or Q");
  job.itype = (type == "R" || type == "r") ? 1 : 2;
  job.ilog = a.has("log") ? 1 : 0;
  job.icsr = static_cast<int>(a.getInt("transform", 1));
  job.isim = static_cast<int>(a.getInt("measure", 1));
  if (job.icsr < 1 || job.icsr > 3) return failWith("--transform takes 1, 2 or 3");
  if (job.isim < 1 || job.isim > 3) return failWith("--measure takes 1, 2 or 3");
  job.outputFile = a.get("out", work + geochem::kClusterReportFile);
  try {
    Database db = openWorkTable(work, job.table);
    if (a.has("all")) {
      for (const FieldDef& f : db.fields(job.table))
        if (f.isNumeric()) job.fields.push_back(f.name);
    } else {
      for (const auto& s : filetext::splitAt(a.get("fields"), ','))
        if (!filetext::trim(s).empty()) job.fields.push_back(filetext::trim(s));
    }
    CliProgress progress("cluster");
    geochem::ClusterResult r;
    Outcome o = geochem::runClusterAnalysis(db, job, r, progress);
    if (!o.ok) return o.message.empty() ? 1 : failWith(o.message);
    if (!a.has("quiet"))
      for (const auto& l : r.report) std::printf("%s\n", l.c_str());
    if (a.has("dendrogram")) {
      const auto [w, h] = geochem::dendrogramSize(r);
      if (!chart::writeChartFile(geochem::dendrogramChart(job, r), resolvePath(a.get("dendrogram")),
                                 w, h))
        return failWith("不能写入文件: " + a.get("dendrogram"));
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{{"cluster",
                      "R-type and Q-type cluster analysis with its dendrogram (聚类分析)", kUsage,
                      runCluster}};

}  // namespace
}  // namespace sarnoth::cli
