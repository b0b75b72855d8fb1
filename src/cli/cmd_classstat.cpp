// classstat: class statistics and correction of the tool "分类统计与校正".
#include <cstdio>

#include "cli/cli.h"
#include "geochem/class_statistics.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli classstat --table T --class C (--items A,B,… | --all) [--k 2.5]\n"
    "         [--save NAME [--yes]] [--text FILE]\n"
    "         [--correct F --param P [--const 1] [--new NAME]] [--workarea DIR]\n"
    "\n"
    "  Statistics of each item by the classes of field C, then of the whole table (code\n"
    "  999999999): count, maximum, minimum, mean, geometric mean, percentiles 25 50 75 85 95,\n"
    "  standard deviation (headed 方差), and after rejecting values beyond mean ± k·s their\n"
    "  count, mean and deviation, with both coefficients of variation. Classes under 6 values\n"
    "  show -9999 beyond the aggregates. --all takes every numeric field but C.\n"
    "  --save writes the registered table NAME (--yes overwrites); --text writes the list as the\n"
    "  window saves it (GBK). --correct makes field NAME (default F_N) = F × const ÷ parameter\n"
    "  class by class; P is the parameter's index 0..10 or its name (最大值 … D方差), read with\n"
    "  the tool's shift (最大值 reads the record count), and each list row's text is taken as\n"
    "  the class code.";

std::vector<std::string> splitList(const std::string& text) {
  std::vector<std::string> out;
  for (const auto& s : filetext::splitAt(text, ','))
    if (!filetext::trim(s).empty()) out.push_back(filetext::trim(s));
  return out;
}

int runClassStat(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith("请运行主程序设置当前工作区.");
  geochem::ClassStatJob job;
  job.table = a.get("table");
  job.classField = a.get("class");
  if (job.table.empty()) return failWith(kUsage);
  job.deviationText = a.get("k", "2.5");
  job.save = a.has("save");
  job.newTable = a.get("save", "StatTbl");
  try {
    Database db = openWorkTable(work, job.table);
    std::vector<FieldDef> fields = db.fields(job.table);
    for (const FieldDef& f : fields)
      if (f.name == job.classField) job.classIsText = geochem::classFieldKind(f) == "TEXT";
    if (a.has("all")) {
      for (const FieldDef& f : fields)
        if (f.isNumeric() && f.name != job.classField) job.items.push_back(f.name);
    } else {
      job.items = splitList(a.get("items"));
    }
    CliInteraction ui(a);
    CliProgress progress("classstat");
    std::vector<geochem::ClassStatRow> rows;
    Outcome o = geochem::runClassStatistics(db, job, rows, ui, progress);
    const std::string text = geochem::classStatText(rows);
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (!o.ok) return o.message.empty() ? 1 : failWith(o.message);
    if (a.has("text") && !filetext::writeWholeFile(resolvePath(a.get("text")), utf8ToGbk(text)))
      return failWith("不能写文件: " + a.get("text"));
    if (a.has("correct")) {
      geochem::CorrectionJob c;
      c.table = job.table;
      c.classField = job.classField;
      c.dataField = a.get("correct");
      c.constText = a.get("const", "1");
      c.newField = a.get("new", c.dataField + "_N");
      const std::string p = a.get("param");
      const auto& names = geochem::correctionParameterNames();
      for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == p || std::to_string(i) == p) c.parameterIndex = static_cast<int>(i);
      Outcome r = geochem::runCorrection(db, c, rows, progress);
      if (!r.ok) return failWith(r.message);
      std::printf("%s\n", r.message.c_str());
    }
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar reg{
    {"classstat", "class statistics and correction (分类统计与校正)", kUsage, runClassStat}};

}  // namespace
}  // namespace sarnoth::cli
