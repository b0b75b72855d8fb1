// bp: the back-propagation network of the tool "BP神经网络预测模型".
#include <cstdio>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "geochem/bp_network.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli bp train --table T --inputs A,B,… --output Y [options]\n"
    "       sarnoth-cli bp predict --table T --inputs A,B,… --output Y --predict P [options]\n"
    "  options: [--hidden 15] [--rounds 1000] [--l1 0.9] [--l2 0.1] [--seed 1] [--par FILE]\n"
    "           [--limit L] [--curve FILE.png|.svg] [--quiet] [--workarea DIR]\n"
    "\n"
    "  train learns on table T and prints the parameter file's lines (the simulation of the\n"
    "  learning patterns included); predict also predicts Y for every record of P and writes\n"
    "  it into the field Y_B of P. --seed chooses the starting weights (the same seed, the same\n"
    "  network); --par writes the parameter file; --limit flags predictions whose nearest\n"
    "  learning pattern was fitted worse than L (0..1 of Y's range), written as -1E+38;\n"
    "  --curve draws the error curve. Every 100th round's error goes to stderr.";

int runBp(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  const std::string what = a.pos(0);
  if (what != "train" && what != "predict") return failWith(kUsage);
  geochem::BpJob job;
  job.modelTable = a.get("table");
  for (const auto& s : filetext::splitAt(a.get("inputs"), ','))
    if (!filetext::trim(s).empty()) job.inputs.push_back(filetext::trim(s));
  job.output = a.get("output");
  if (what == "predict") {
    job.predictionTable = a.get("predict");
    if (job.predictionTable.empty()) return failWith(kUsage);
  }
  job.hiddenText = a.get("hidden", "15");
  job.roundsText = a.get("rounds", "1000");
  job.l1Text = a.get("l1", "0.9");
  job.l2Text = a.get("l2", "0.1");
  job.parFile = a.has("par") ? resolvePath(a.get("par")) : std::string();
  job.flagError = a.has("limit");
  job.limitText = a.get("limit", "0.2");
  int ii = 0, jj = 0, kk = 0;
  std::string why;
  if (!geochem::bpSizes(job, ii, jj, kk, why)) return failWith(why);
  const auto seed = static_cast<std::uint32_t>(a.getInt("seed", 1));
  try {
    Database db = openWorkDatabase(work);
    for (const std::string& t : {job.modelTable, job.predictionTable})
      if (!t.empty() && !db.tableExists(t)) return failWith("数据表不存在: " + t);
    geochem::BpResult r;
    CliProgress progress("bp");
    long long rounds = a.getInt("rounds", 1000);
    Outcome o = geochem::runBpNetwork(
        db, job, geochem::initialWeights(ii, jj, kk, seed), r,
        [&](int round, double mse) {
          if (geochem::bpShowsRound(round, static_cast<int>(rounds)))
            std::fprintf(stderr, "%s\n", geochem::bpErrorText(round, mse).c_str());
          return true;
        },
        progress);
    if (!o.ok) return o.message.empty() ? 1 : failWith(o.message);
    if (!a.has("quiet"))
      for (const auto& l : r.report) std::printf("%s\n", l.c_str());
    if (!r.resultField.empty())
      std::fprintf(stderr, "%s: %d 条记录写入 %s%s\n", job.predictionTable.c_str(), r.ny,
                   r.resultField.c_str(),
                   r.flagged ? (", " + std::to_string(r.flagged) + " 条超限").c_str() : "");
    if (a.has("curve") &&
        !chart::writeChartFile(geochem::bpErrorChart(r.curve, static_cast<int>(rounds)),
                               resolvePath(a.get("curve")), 800, 500))
      return failWith("不能写入文件: " + a.get("curve"));
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{
    {"bp", "back-propagation network: train, predict (BP神经网络预测)", kUsage, runBp}};

}  // namespace
}  // namespace sarnoth::cli
