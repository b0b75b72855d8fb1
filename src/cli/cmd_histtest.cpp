// histtest: the distribution test of the tool "分布检验" (histogram, fits, normality tests).
#include <cmath>
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/distribution_test.h"
#include "workarea/file_text.h"
#include "workarea/rtf_text.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli histtest --table T --field F [--log] [--rule sturges|scott|fd]\n"
    "         [--classes N] [--alpha A] [--rtf FILE] [--hist FILE.png|FILE.svg]\n"
    "         [--qq FILE.png|FILE.svg] [--size WxH] [--workarea DIR]\n"
    "\n"
    "  The distribution of one element: minimum, maximum, mean, deviation, median, skewness,\n"
    "  kurtosis, geometric mean; the histogram in N classes (by the rule, Sturges by default);\n"
    "  the Kolmogorov-Smirnov, Shapiro-Wilk (3 to 5000 values) and chi-square tests against the\n"
    "  fitted normal, with their p-values and the verdict at level A (0.05). --log tests log10 of\n"
    "  the values (log-normality; values at or below 0 are left out). The report is printed;\n"
    "  --rtf saves it as rich text, --hist draws the histogram with the normal and log-normal\n"
    "  fits, --qq the normal probability plot; --size sets the pictures (800x600).";

int runHistTest(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::DistributionJob job;
  job.table = a.get("table");
  job.field = a.get("field");
  if (job.table.empty()) return failWith(kUsage);
  job.logScale = a.has("log");
  const std::string rule = a.get("rule", "sturges");
  if (rule == "sturges")
    job.rule = geochem::ClassRule::Sturges;
  else if (rule == "scott")
    job.rule = geochem::ClassRule::Scott;
  else if (rule == "fd")
    job.rule = geochem::ClassRule::FreedmanDiaconis;
  else
    return failWith("unknown rule: " + rule);
  if (a.has("classes")) {
    double k = 0;
    if (!filetext::parseDouble(a.get("classes"), k) || k != std::floor(k) || k < 1 ||
        k > geochem::kMaxClasses)
      return failWith(geochem::kMsgHistBadClasses);
    job.classes = static_cast<int>(k);
  }
  if (a.has("alpha") && !filetext::parseDouble(a.get("alpha"), job.alpha))
    return failWith(geochem::kMsgHistBadAlpha);
  int width = 800, height = 600;
  if (a.has("size") && std::sscanf(a.get("size").c_str(), "%dx%d", &width, &height) != 2)
    return failWith("--size takes WxH");
  if (width < 100 || height < 100 || width > 20000 || height > 20000)
    return failWith("--size takes WxH between 100 and 20000");
  geochem::DistributionResult r;
  try {
    Database db = openWorkTable(work, job.table);
    r = geochem::runDistributionTest(db, job);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  if (!r.outcome) return failWith(r.outcome.message);
  std::cout << r.report;
  if (a.has("rtf") && !writeRtfFile(a.get("rtf"), r.report))
    return failWith("不能写入文件: " + a.get("rtf"));
  if (a.has("hist") &&
      !chart::writeChartFile(geochem::histogramChart(job, r), a.get("hist"), width, height))
    return failWith("不能写入文件: " + a.get("hist"));
  if (a.has("qq") && !chart::writeChartFile(geochem::qqChart(job, r), a.get("qq"), width, height))
    return failWith("不能写入文件: " + a.get("qq"));
  return 0;
}

CommandRegistrar reg{{"histtest",
                      "distribution test: histogram, normality tests, Q-Q plot (分布检验)", kUsage,
                      runHistTest}};

}  // namespace
}  // namespace sarnoth::cli
