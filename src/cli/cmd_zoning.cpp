// zoning: the vertical zoning sequence of the tool "分带序列".
#include <cmath>
#include <iostream>

#include "cli/cli.h"
#include "geochem/zoning.h"
#include "workarea/file_text.h"
#include "workarea/rtf_text.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli zoning --table T --level L --fields A,B,... [--length F]\n"
    "         [--background b1,b2,...] [--method index|gradient] [--order elevation|number]\n"
    "         [--rtf FILE] [--workarea DIR]\n"
    "\n"
    "  The vertical zoning sequence of the elements from the samples of several levels (field L):\n"
    "  linear productivities Σ(C − Cb)·length per level (length F, 1 each without it; Cb the\n"
    "  backgrounds, 0 without them), then Grigorian's zoning indices (index, the default) or the\n"
    "  variability gradient of upper against lower levels (gradient). --order elevation puts the\n"
    "  largest L on top (default), number the smallest. The report is printed; --rtf saves it.";

int runZoningCommand(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::ZoningJob job;
  job.table = a.get("table");
  job.levelField = a.get("level");
  job.lengthField = a.get("length");
  if (job.table.empty()) return failWith(kUsage);
  for (const auto& s : filetext::splitAt(a.get("fields"), ','))
    if (!filetext::trim(s).empty()) job.elements.push_back(filetext::trim(s));
  if (a.has("background")) {
    for (const auto& s : filetext::splitAt(a.get("background"), ',')) {
      double v = 0;
      if (!filetext::parseDouble(filetext::trim(s), v))
        return failWith("--background takes one number per element");
      job.backgrounds.push_back(v);
    }
    if (job.backgrounds.size() != job.elements.size())
      return failWith("--background takes one number per element");
  }
  const std::string m = a.get("method", "index");
  if (m == "index")
    job.method = geochem::ZoningMethod::ZoningIndex;
  else if (m == "gradient")
    job.method = geochem::ZoningMethod::Gradient;
  else
    return failWith("unknown --method: " + m);
  const std::string o = a.get("order", "elevation");
  if (o == "elevation")
    job.order = geochem::LevelOrder::Elevation;
  else if (o == "number")
    job.order = geochem::LevelOrder::Number;
  else
    return failWith("unknown --order: " + o);
  geochem::ZoningResult r;
  try {
    Database db = openWorkTable(work, job.table);
    r = geochem::runZoning(db, job);
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  if (!r.outcome) return failWith(r.outcome.message);
  std::cout << r.report;
  if (a.has("rtf") && !writeRtfFile(a.get("rtf"), r.report))
    return failWith("不能写入文件: " + a.get("rtf"));
  return 0;
}

CommandRegistrar reg{{"zoning", "vertical zoning sequence of elements by levels (分带序列)", kUsage,
                      runZoningCommand}};

}  // namespace
}  // namespace sarnoth::cli
