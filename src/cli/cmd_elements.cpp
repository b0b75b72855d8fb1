// superpose and normalise: the multi-element tools "多变量叠加处理" and "数据正则化处理".
#include <cmath>
#include <cstdio>
#include <iostream>
#include <optional>

#include "cli/cli.h"
#include "geochem/normalisation.h"
#include "geochem/superposition.h"
#include "workarea/file_text.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kSuperposeUsage =
    "usage: sarnoth-cli superpose --table T --fields A,B,... [--weights 1,1,...]\n"
    "         [--standard z|background|threshold] [--index add|mul]\n"
    "         [--estimate normal|lognormal|robust] [--background b1,b2,...]\n"
    "         [--threshold t1,t2,...] [--new NAME] [--yes] [--workarea DIR]\n"
    "\n"
    "  One index field NAME (SumIndex) in T from the elements: each standardised by its mean and\n"
    "  deviation (z), or divided by its background or anomaly threshold (contrasts; background is\n"
    "  the default), then added with the weights (add: Σ w·s) or multiplied (mul: Π s^w, for\n"
    "  contrasts only). Backgrounds and thresholds are estimated from the data (normal: mean and\n"
    "  mean + 2s after rejecting beyond 2.5s; lognormal: the same on log10; robust: median and\n"
    "  median + 2·MAD) unless given. --yes replaces an existing field. The report is printed.";

const char* kNormaliseUsage =
    "usage: sarnoth-cli normalise --table T --fields A,B,...\n"
    "         [--method z|range|log|boxcox|background|threshold] [--lambda L]\n"
    "         [--estimate normal|lognormal|robust] [--yes] [--workarea DIR]\n"
    "\n"
    "  A new field per element in T, named after it with the method's suffix: z-score _Z,\n"
    "  range 0-1 _R, log10 _L, Box-Cox _BC (λ by maximum likelihood unless --lambda), background\n"
    "  contrast _B, threshold contrast _T (levels estimated as for superpose). Nulls stay null,\n"
    "  as do values at or below 0 for log and Box-Cox. --yes replaces existing fields.";

std::vector<std::string> list(const std::string& text) {
  std::vector<std::string> out;
  for (const auto& s : filetext::splitAt(text, ','))
    if (!filetext::trim(s).empty()) out.push_back(filetext::trim(s));
  return out;
}

// A list of numbers, one per element; nullopt (after the message) when it is malformed.
std::optional<std::vector<double>> numbers(const Args& a, const std::string& name,
                                           std::size_t count) {
  std::vector<double> out;
  for (const std::string& s : list(a.get(name))) {
    double v = 0;
    if (!filetext::parseDouble(s, v) || !std::isfinite(v)) return std::nullopt;
    out.push_back(v);
  }
  if (out.size() != count) return std::nullopt;
  return out;
}

bool parseEstimate(const std::string& s, geochem::LevelEstimate& e) {
  if (s == "normal")
    e = geochem::LevelEstimate::Normal;
  else if (s == "lognormal")
    e = geochem::LevelEstimate::LogNormal;
  else if (s == "robust")
    e = geochem::LevelEstimate::Robust;
  else
    return false;
  return true;
}

int runSuperposeCommand(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::SuperposeJob job;
  job.table = a.get("table");
  const std::vector<std::string> names = list(a.get("fields"));
  if (job.table.empty()) return failWith(kSuperposeUsage);
  job.newField = a.get("new", "SumIndex");
  const std::string st = a.get("standard", "background");
  if (st == "z")
    job.standardise = geochem::Standardise::ZScore;
  else if (st == "background")
    job.standardise = geochem::Standardise::Background;
  else if (st == "threshold")
    job.standardise = geochem::Standardise::Threshold;
  else
    return failWith("unknown --standard: " + st);
  const std::string ix = a.get("index", "add");
  if (ix == "add")
    job.index = geochem::IndexKind::Additive;
  else if (ix == "mul")
    job.index = geochem::IndexKind::Multiplicative;
  else
    return failWith("unknown --index: " + ix);
  geochem::LevelEstimate estimate = geochem::LevelEstimate::Normal;
  if (!parseEstimate(a.get("estimate", "normal"), estimate))
    return failWith("unknown --estimate: " + a.get("estimate"));
  try {
    Database db = openWorkTable(work, job.table);
    job.elements = geochem::superposeParameters(db, job.table, names, estimate);
    for (const char* opt : {"weights", "background", "threshold"}) {
      if (!a.has(opt)) continue;
      const auto v = numbers(a, opt, names.size());
      if (!v) return failWith(std::string("--") + opt + " takes one number per element");
      for (std::size_t i = 0; i < names.size(); ++i) {
        geochem::SuperposeElement& e = job.elements[i];
        (std::string(opt) == "weights"      ? e.weight
         : std::string(opt) == "background" ? e.levels.background
                                            : e.levels.threshold) = (*v)[i];
      }
    }
    CliInteraction ui(a);
    CliProgress progress("superpose");
    const geochem::SuperposeResult r = geochem::runSuperpose(db, job, ui, progress);
    if (!r.outcome) return r.outcome.message.empty() ? 1 : failWith(r.outcome.message);
    std::cout << r.report;
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

int runNormaliseCommand(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::NormaliseJob job;
  job.table = a.get("table");
  job.elements = list(a.get("fields"));
  if (job.table.empty()) return failWith(kNormaliseUsage);
  static const std::pair<const char*, geochem::NormaliseMethod> methods[] = {
      {"z", geochem::NormaliseMethod::ZScore},
      {"range", geochem::NormaliseMethod::Range},
      {"log", geochem::NormaliseMethod::Log10},
      {"boxcox", geochem::NormaliseMethod::BoxCox},
      {"background", geochem::NormaliseMethod::Background},
      {"threshold", geochem::NormaliseMethod::Threshold}};
  const std::string m = a.get("method", "z");
  bool known = false;
  for (const auto& [name, method] : methods)
    if (m == name) {
      job.method = method;
      known = true;
    }
  if (!known) return failWith("unknown --method: " + m);
  if (!parseEstimate(a.get("estimate", "normal"), job.estimate))
    return failWith("unknown --estimate: " + a.get("estimate"));
  if (a.has("lambda")) {
    double l = 0;
    if (!filetext::parseDouble(a.get("lambda"), l)) return failWith(geochem::kMsgBadLambda);
    job.lambda = l;
  }
  try {
    Database db = openWorkTable(work, job.table);
    CliInteraction ui(a);
    CliProgress progress("normalise");
    const geochem::NormaliseResult r = geochem::runNormalise(db, job, ui, progress);
    if (!r.outcome) return r.outcome.message.empty() ? 1 : failWith(r.outcome.message);
    std::cout << r.report;
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar regSuperpose{{"superpose",
                               "multi-element additive/multiplicative index (多变量叠加处理)",
                               kSuperposeUsage, runSuperposeCommand}};
CommandRegistrar regNormalise{{"normalise",
                               "z-score, range, log, Box-Cox, contrast fields (数据正则化处理)",
                               kNormaliseUsage, runNormaliseCommand}};

}  // namespace
}  // namespace sarnoth::cli
