#include "geochem/superposition.h"

#include <cmath>

#include "geochem/anomaly.h"
#include "geochem/report_format.h"

namespace sarnoth::geochem {
namespace {

std::string fx(double v, int decimals = 4) { return fixedText(v, decimals); }

bool usesLevels(Standardise s) { return s != Standardise::ZScore; }

double levelOf(const SuperposeElement& e, Standardise s) {
  return s == Standardise::Background ? e.levels.background : e.levels.threshold;
}

// The standardised value of one element as SQL.
std::string standardised(const SuperposeElement& e, Standardise s) {
  const std::string x = bracket(e.name);
  if (s == Standardise::ZScore)
    return "(" + x + "-" + sqlNumber(e.levels.mean) + ")/" + sqlNumber(e.levels.sd);
  return "(" + x + "/" + sqlNumber(levelOf(e, s)) + ")";
}

std::string report(const SuperposeJob& job, const SuperposeResult& r) {
  std::string s;
  auto line = [&s](const std::string& l = {}) { s += l + "\n"; };
  line(kSuperposeReportTitle);
  line();
  line("  数据表: " + job.table + "    新数据项: " + job.newField);
  line(
      "  标准化: " + std::string(standardiseCaptions()[static_cast<std::size_t>(job.standardise)]) +
      "    叠加方式: " + indexKindCaptions()[static_cast<std::size_t>(job.index)]);
  line();
  line("  元素          权重      平均值      标准差      背景值    异常下限");
  for (const SuperposeElement& e : job.elements)
    line("  " + padRight(e.name, 10) + padLeft(fx(e.weight, 3), 8) +
         padLeft(fx(e.levels.mean), 12) + padLeft(fx(e.levels.sd), 12) +
         padLeft(fx(e.levels.background), 12) + padLeft(fx(e.levels.threshold), 12));
  line();
  line("  叠加指数 = " + superposeExpression(job));
  line();
  line("  有效记录数: " + std::to_string(r.count) + "    最小值: " + fx(r.minimum) +
       "    最大值: " + fx(r.maximum) + "    平均值: " + fx(r.mean));
  return s;
}

}  // namespace

const std::array<const char*, kStandardiseCount>& standardiseCaptions() {
  static const std::array<const char*, kStandardiseCount> c{
      "均值标准差标准化", "背景值标准化(衬度)", "异常下限标准化(衬度)"};
  return c;
}

const std::array<const char*, kIndexKindCount>& indexKindCaptions() {
  static const std::array<const char*, kIndexKindCount> c{"累加指数", "累乘指数"};
  return c;
}

std::vector<SuperposeElement> superposeParameters(Database& db, const std::string& table,
                                                  const std::vector<std::string>& names,
                                                  LevelEstimate estimate) {
  std::vector<SuperposeElement> out;
  for (const std::string& n : names) {
    const std::vector<float> v = readElementValues(db, table, n, false);
    out.push_back({n, 1.0, elementLevels(v, estimate)});
  }
  return out;
}

std::string superposeExpression(const SuperposeJob& job) {
  std::string e;
  for (const SuperposeElement& el : job.elements) {
    const std::string s = standardised(el, job.standardise);
    if (job.index == IndexKind::Additive) {
      if (!e.empty()) e += "+";
      e += el.weight == 1 ? s : s + "*" + sqlNumber(el.weight);
    } else {
      if (!e.empty()) e += "*";
      e += el.weight == 1 ? s : s + "^" + sqlNumber(el.weight);
    }
  }
  return e;
}

SuperposeResult runSuperpose(Database& db, const SuperposeJob& job, Interaction& ui,
                             Progress& progress) {
  SuperposeResult r;
  auto fail = [&r](std::string text) {
    r.outcome = Outcome::failure(std::move(text));
    return r;
  };
  if (job.elements.size() < 2) return fail(kMsgSuperposeTwoItems);
  if (job.newField.empty()) return fail(kMsgSuperposeNoField);
  if (job.index == IndexKind::Multiplicative && job.standardise == Standardise::ZScore)
    return fail(kMsgSuperposeProductOfZ);
  for (const SuperposeElement& e : job.elements) {
    if (tableHasField({FieldDef{e.name, JetType::Single, 0}}, job.newField))
      return fail(kMsgSuperposeFieldIsInput);
    if (!std::isfinite(e.weight)) return fail(kMsgSuperposeBadWeight + e.name);
    const double level = usesLevels(job.standardise) ? levelOf(e, job.standardise) : e.levels.sd;
    if (!(level > 0) || !std::isfinite(level) || !std::isfinite(e.levels.mean))
      return fail(kMsgSuperposeBadLevel + e.name);
  }
  bool exists = false;
  try {
    const std::vector<FieldDef> fields = db.fields(job.table);
    for (const SuperposeElement& e : job.elements)
      if (!hasField(fields, e.name)) return fail(kMsgNoSuchElement + e.name);
    exists = hasField(fields, job.newField);
  } catch (const StoreError& e) {
    return fail(e.what());
  }
  if (exists && ui.ask(kTitle, fieldOverwriteQuestion(job.newField), Buttons::YesNo) != Answer::Yes)
    return fail("");

  const bool product = job.index == IndexKind::Multiplicative;
  std::string nullWhere, valueWhere;
  for (const SuperposeElement& e : job.elements) {
    const std::string x = bracket(e.name);
    if (!nullWhere.empty()) nullWhere += " Or ";
    if (!valueWhere.empty()) valueWhere += " And ";
    nullWhere += x + " Is Null Or " + x + (product ? " <= 0" : " <= -1E+30");
    valueWhere += x + (product ? " > 0" : " > -1E+30");
  }
  const std::string t = bracket(job.table), f = bracket(job.newField);
  progress.setMaximum(3);
  try {
    db.begin();
    addSingleField(db, job.table, job.newField, exists);
    progress.setValue(1);
    progress.pump();
    db.execute("Update " + t + " Set " + f + "=-1E+38 Where " + nullWhere);
    r.written = db.execute("Update " + t + " Set " + f + "=" + superposeExpression(job) +
                           " Where " + valueWhere);
    progress.setValue(2);
    progress.pump();
    db.commit();
    Cursor c = db.query("Select Count(" + f + "),Min(" + f + "),Max(" + f + "),Avg(" + f +
                        ") From " + t + " Where " + f + " > -1E+30");
    if (c.next() && !c.isNull(1)) {
      r.count = c.getInt(0);
      r.minimum = c.getDouble(1);
      r.maximum = c.getDouble(2);
      r.mean = c.getDouble(3);
    }
  } catch (const StoreError& e) {
    try {
      db.rollback();
    } catch (const StoreError&) {
    }
    return fail(std::string(kMsgWriteFieldFailed) + e.what());
  }
  progress.setValue(0);
  r.report = report(job, r);
  r.outcome = Outcome::success(kMsgSuperposeDone);
  return r;
}

}  // namespace sarnoth::geochem
