// regress: the five regression methods of the tool " 回归分析", printing the report.
#include <cstdio>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/regression.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli regress --table T --y F --x A,B,… [--method M] [--model K] [--power N]\n"
    "         [--f FIN,FOUT] [--ktimes 7] [--kfactor 10] [--scheme 1|2] [--cut 0.2]\n"
    "         [--plot FILE.png|FILE.svg] [--workarea DIR]\n"
    "\n"
    "  M: one (一元回归, default), multiple, stepwise, ridge, orthogonal (or 0..4).\n"
    "  K for one: linear, power, exp, invexp, log, parabola, hyperbola, logistic, poly (or 0..8);\n"
    "  --power is the polynomial's power (default 3). --f gives the F values to enter and to\n"
    "  remove for stepwise (such as 1.46,1.45). --ktimes and --kfactor are the ridge iterations\n"
    "  and the factor by which K shrinks; --scheme 1 cuts the orthogonal factors at R < e,\n"
    "  --scheme 2 at F < Fa, with --cut the limit. The report is printed and written to the\n"
    "  work area's temp\\regressprs.txt. --plot draws the scatter plot of a one-variable model\n"
    "  with its fitted line (800 × 600 pixels).";

int indexOf(const std::string& s, const std::vector<std::string>& names) {
  for (std::size_t i = 0; i < names.size(); ++i)
    if (s == names[i] || s == std::to_string(i)) return static_cast<int>(i);
  return -1;
}

int runRegress(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::RegressionJob job;
  job.table = a.get("table");
  job.yField = a.get("y");
  for (const auto& s : filetext::splitAt(a.get("x"), ','))
    if (!filetext::trim(s).empty()) job.xFields.push_back(filetext::trim(s));
  if (job.table.empty() || job.yField.empty()) return failWith(kUsage);
  const int method =
      indexOf(a.get("method", "one"), {"one", "multiple", "stepwise", "ridge", "orthogonal"});
  if (method < 0) return failWith("unknown method: " + a.get("method"));
  job.method = static_cast<geochem::RegressionMethod>(method);
  job.model = indexOf(a.get("model", "linear"), {"linear", "power", "exp", "invexp", "log",
                                                 "parabola", "hyperbola", "logistic", "poly"});
  if (job.model < 0) return failWith("unknown model: " + a.get("model"));
  job.powerText = a.get("power", "3");
  if (a.has("f")) {
    float fin = 0, fout = 0;
    if (!geochem::parseFValues(a.get("f"), fin, fout)) return failWith(geochem::kMsgTwoFValues);
    job.fValues = {fin, fout};
  }
  job.kTimesText = a.get("ktimes", "7");
  job.kFactorText = a.get("kfactor", "10");
  job.scheme = a.get("scheme", "1") == "2" ? 1 : 0;
  job.cutText = a.get("cut", "0.2");
  try {
    Database db = openWorkTable(work, job.table);
    std::vector<std::string> lines;
    CliProgress progress("regress");
    Outcome o =
        geochem::runRegression(db, job, work + geochem::kRegressionReportFile, lines, progress);
    if (!o.ok) return failWith(o.message);
    for (const auto& l : lines) std::printf("%s\n", l.c_str());
    if (a.has("plot")) {
      geochem::RegressionPlot plot;
      Outcome p = geochem::regressionPlot(db, job, plot);
      if (!p.ok) return failWith(p.message);
      if (!chart::writeChartFile(geochem::regressionChart(plot), resolvePath(a.get("plot")), 800,
                                 600))
        return failWith("不能写入文件: " + a.get("plot"));
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{
    {"regress", "regression analysis (回归分析): five methods, nine models", kUsage, runRegress}};

}  // namespace
}  // namespace sarnoth::cli
