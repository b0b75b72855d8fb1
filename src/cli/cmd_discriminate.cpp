// discriminate: multi-level stepwise discriminant analysis of the tool "多级逐步判别预测".
#include <cstdio>

#include "cli/cli.h"
#include "geochem/stepwise_discriminant.h"
#include "workarea/file_text.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli discriminate --table T --group G --vars A,B,… [--predict T2]\n"
    "         [--fin 3.84] [--fout 2.71] [--backward] [--priors equal|proportional]\n"
    "         [--levels single|auto|TREE] [--workarea DIR]\n"
    "\n"
    "  Teaches linear discriminant functions from the records of T whose group G is known,\n"
    "  choosing variables stepwise by Wilks' lambda (F to enter --fin, to remove --fout; forward,\n"
    "  or --backward from all). --levels auto splits the groups in two step by step; a TREE such\n"
    "  as \"(1,2),(3)\" gives the split (nested parentheses of group names). Prints the steps,\n"
    "  the functions and the resubstitution and leave-one-out error rates; with --predict writes\n"
    "  the groups of T2's records into its field G_P.";

int runDiscriminate(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::DiscriminantJob job;
  job.modelTable = a.get("table");
  job.groupField = a.get("group");
  for (const auto& s : filetext::splitAt(a.get("vars"), ','))
    if (!filetext::trim(s).empty()) job.variables.push_back(filetext::trim(s));
  job.predictionTable = a.get("predict");
  job.options.fEnter = a.getDouble("fin", 3.84);
  job.options.fRemove = a.getDouble("fout", 2.71);
  job.options.backward = a.has("backward");
  const std::string priors = a.get("priors", "equal");
  if (priors != "equal" && priors != "proportional") return failWith("--priors equal|proportional");
  job.options.proportionalPriors = priors == "proportional";
  const std::string levels = a.get("levels", "single");
  if (levels == "single") {
    job.scheme = geochem::LevelScheme::Single;
  } else if (levels == "auto") {
    job.scheme = geochem::LevelScheme::Automatic;
  } else {
    job.scheme = geochem::LevelScheme::Given;
    job.tree = levels;
  }
  if (job.modelTable.empty()) return failWith(kUsage);
  try {
    Database db = openWorkTable(work, job.modelTable);
    if (!job.predictionTable.empty() && !db.tableExists(job.predictionTable))
      return failWith("数据表不存在: " + job.predictionTable);
    CliProgress progress("discriminate");
    geochem::DiscriminantResult r;
    Outcome o = geochem::runDiscriminant(db, job, r, progress);
    if (!o.ok) return o.message.empty() ? 1 : failWith(o.message);
    for (const auto& l : r.report) std::printf("%s\n", l.c_str());
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{
    {"discriminate", "stepwise discrimination (多级逐步判别预测): multi-level LDA by Wilks' lambda",
     kUsage, runDiscriminate}};

}  // namespace
}  // namespace sarnoth::cli
