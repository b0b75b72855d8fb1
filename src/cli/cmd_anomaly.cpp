// anomaly and fractal: the two jobs of the tool "异常下限与特征值" / "分形分维数计算".
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <optional>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/anomaly.h"
#include "geochem/fractal.h"
#include "workarea/file_text.h"
#include "workarea/rtf_text.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kAnomalyUsage =
    "usage: sarnoth-cli anomaly --table T --fields A,B,...\n"
    "         [--method mean|normal|lognormal|percent|mad|fence|p98] [--k K] [--m M]\n"
    "         [--percent P] [--rtf FILE] [--workarea DIR]\n"
    "\n"
    "  Characteristic values and the anomaly lower limit of each element, printed as the\n"
    "  window's report. mean: average and deviation, limit = average + K·deviation (K 2);\n"
    "  normal / lognormal: outliers beyond M deviations (2.5) rejected until none remain, on the\n"
    "  values or their log10 (limit in log10 units); percent: quartiles and the value exceeded by\n"
    "  100 − P per cent of the data (P 85); mad: median + 2·MAD; fence: the boxplot's inner fence\n"
    "  Q3 + 1.5·IQR; p98: the 98th percentile (mad and fence on log10 when the data are\n"
    "  log-normal, limits in data units). --rtf also saves the report as rich text.";

const char* kFractalUsage =
    "usage: sarnoth-cli fractal (--table T --field F | --grid G) --method 0..5\n"
    "         [--grades G] [--axis 0..3] [--plot FILE.png|FILE.svg] [--size WxH]\n"
    "         [--rtf FILE] [--workarea DIR]\n"
    "\n"
    "  The fractal series of one element or one grid of Grid_Dat and its straight fit in\n"
    "  log-log, printed as the window's report. Methods: 0 concentration-number, 1\n"
    "  concentration-total (--grades levels, 10), 2 box counting and 3 divider of the element as\n"
    "  a profile, 4 box counting and 5 triangular prism of the grid. --plot draws the series on\n"
    "  the axes --axis: 0 both logarithmic, 1 X logarithmic (default), 2 Y logarithmic, 3\n"
    "  linear; --size sets the picture (800x600).";

bool parseMethod(const std::string& s, AnomalyMethod& m) {
  static const std::pair<const char*, AnomalyMethod> k[] = {
      {"mean", AnomalyMethod::MeanSd},         {"normal", AnomalyMethod::Normal},
      {"lognormal", AnomalyMethod::LogNormal}, {"percent", AnomalyMethod::Percent},
      {"mad", AnomalyMethod::MedianMad},       {"fence", AnomalyMethod::BoxplotFence},
      {"p98", AnomalyMethod::Percentile98}};
  for (const auto& [name, method] : k)
    if (s == name) {
      m = method;
      return true;
    }
  return false;
}

// A number option: its value, `def` when absent, nullopt when it is no number.
std::optional<double> number(const Args& a, const std::string& name, double def) {
  if (!a.has(name)) return def;
  double v = 0;
  if (!filetext::parseDouble(a.get(name), v) || !std::isfinite(v)) return std::nullopt;
  return v;
}

int saveRtf(const Args& a, const std::string& report) {
  if (!a.has("rtf")) return 0;
  if (!writeRtfFile(a.get("rtf"), report)) return failWith("不能写入文件: " + a.get("rtf"));
  return 0;
}

int runAnomalyCommand(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  AnomalyJob job;
  job.table = a.get("table");
  if (job.table.empty()) return failWith(kAnomalyUsage);
  for (const auto& f : filetext::splitAt(a.get("fields", a.get("field")), ','))
    if (!filetext::trim(f).empty()) job.elements.push_back(filetext::trim(f));
  if (!parseMethod(a.get("method", "mean"), job.method))
    return failWith("unknown method: " + a.get("method"));
  auto k = number(a, "k", 2), m = number(a, "m", 2.5), p = number(a, "percent", 85);
  if (!k || !m || !p) return failWith(kMsgBadParameter);
  job.k = static_cast<float>(*k);
  job.multiple = static_cast<float>(*m);
  job.percent = static_cast<int>(std::nearbyint(std::clamp(*p, -1e6, 1e6)));
  AnomalyRunResult r;
  try {
    Database db = openWorkTable(work, job.table);
    r = runAnomaly(db, job);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  if (!r.outcome) return failWith(r.outcome.message);
  std::cout << r.report;
  return saveRtf(a, r.report);
}

int runFractalCommand(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  FractalJob job;
  const auto method = number(a, "method", 0);
  if (!method || *method < 0 || *method > 5 || *method != std::floor(*method))
    return failWith("--method takes 0 to 5");
  job.method = static_cast<FractalMethod>(static_cast<int>(*method));
  job.table = a.get("table");
  job.element = a.get("field");
  job.gridFile = a.get("grid");
  if (fractalUsesGrid(job.method) ? job.gridFile.empty() : job.table.empty())
    return failWith(kFractalUsage);
  const auto grades = number(a, "grades", 10), axis = number(a, "axis", 1);
  if (!grades || !axis || *axis < 0 || *axis > 3) return failWith(kMsgBadParameter);
  job.grades = static_cast<int>(std::clamp(*grades, -1.0, 1e9));
  int width = 800, height = 600;
  if (a.has("size") && std::sscanf(a.get("size").c_str(), "%dx%d", &width, &height) != 2)
    return failWith("--size takes WxH");
  if (width < 100 || height < 100 || width > 20000 || height > 20000)
    return failWith("--size takes WxH between 100 and 20000");

  FractalRunResult r;
  try {
    Database db = openWorkDatabase(work);
    if (!fractalUsesGrid(job.method) && !db.tableExists(job.table))
      return failWith("数据表不存在: " + job.table);
    r = runFractal(db, work, job);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  if (!r.outcome) return failWith(r.outcome.message);
  std::cout << r.report;
  if (a.has("plot")) {
    const FractalPlot plot = buildFractalPlot(
        r.seriesX(), r.seriesY(), static_cast<AxisType>(static_cast<int>(*axis)), job.method);
    if (!chart::writeChartFile(fractalChart(plot), a.get("plot"), width, height))
      return failWith("不能写入文件: " + a.get("plot"));
  }
  return saveRtf(a, r.report);
}

CommandRegistrar regAnomaly{{"anomaly",
                             "anomaly lower limits and characteristic values of elements "
                             "(异常下限与特征值)",
                             kAnomalyUsage, runAnomalyCommand}};
CommandRegistrar regFractal{{"fractal",
                             "fractal dimension of an element or a grid (分形分维数计算)",
                             kFractalUsage, runFractalCommand}};

}  // namespace
}  // namespace sarnoth::cli
