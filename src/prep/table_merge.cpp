// Table merge: right and down merges of work-area tables. See table_merge.h.
#include "prep/table_merge.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <unordered_map>

#include "workarea/file_text.h"
#include "workarea/work_area.h"

namespace sarnoth {

namespace {

// The descriptions the system's handlers show after "数据合并错. ".
constexpr const char* kNoCurrentRecord = "No current record.";
constexpr const char* kItemNotFound = "Item not found in this collection.";
constexpr const char* kTypeMismatch = "类型不匹配";

constexpr std::int64_t kPumpEvery = 4096;

bool sameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto lo = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    if (lo(static_cast<unsigned char>(a[i])) != lo(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

// A failure in the copying stage: the description joins the system's text.
struct MergeError {
  std::string description;
};

// The fields of a table by name, case-blind, as a recordset finds them.
class FieldMap {
 public:
  FieldMap() = default;
  explicit FieldMap(std::vector<FieldDef> defs) : defs_(std::move(defs)) {}
  int index(const std::string& name) const {
    for (std::size_t i = 0; i < defs_.size(); ++i)
      if (sameName(defs_[i].name, name)) return static_cast<int>(i);
    return -1;
  }
  int require(const std::string& name) const {
    int i = index(name);
    if (i < 0) throw MergeError{kItemNotFound};
    return i;
  }
  const FieldDef& def(int i) const { return defs_[static_cast<std::size_t>(i)]; }
  const std::vector<FieldDef>& defs() const { return defs_; }

 private:
  std::vector<FieldDef> defs_;
};

// A record read whole from a cursor.
std::vector<Value> rowOf(const Cursor& c) {
  std::vector<Value> row(static_cast<std::size_t>(c.columnCount()));
  for (int i = 0; i < c.columnCount(); ++i) row[static_cast<std::size_t>(i)] = c.get(i);
  return row;
}

// The condition test: a number below -1E+35 or above 1E+35 marks an empty record. A null is not
// empty (a comparison with Null is never true); a text that is no number cannot be compared.
bool isEmptyByCondition(const Value& v) {
  if (isNull(v)) return false;
  double d = 0;
  if (const auto* s = std::get_if<std::string>(&v)) {
    if (!filetext::parseDouble(*s, d)) throw MergeError{kTypeMismatch};
  } else {
    d = valueToDouble(v);
  }
  return d < kJoinEmptyBelow || d > kJoinEmptyAbove;
}

// "Alter Table [t] Add Column [f] TYPE": a field created in a table with its source's type and
// size.
void appendField(Database& db, const std::string& table, const FieldDef& f) {
  db.execute("Alter Table " + bracket(table) + " Add Column " + bracket(f.name) + " " +
             f.declared());
}

// Keeps what was written when the run stops: a writer commits in every case.
struct KeptWriter {
  std::optional<TableWriter> w;
  ~KeptWriter() {
    if (w) try {
        w->commit();
      } catch (const StoreError&) {
      }
  }
};

// The table of table 2's key values: the position of the first record holding each value.
class KeyTable {
 public:
  void add(const Value& v, std::size_t pos) {
    if (isNull(v) || std::holds_alternative<std::string>(v)) return;
    first_.try_emplace(valueToDouble(v), pos);
  }
  // The record a numeric criterion "<field>=<text>" finds, or none.
  std::optional<std::size_t> find(const std::string& literal) const {
    double d = 0;
    if (!filetext::parseDouble(literal, d)) return std::nullopt;
    auto it = first_.find(d);
    if (it == first_.end()) return std::nullopt;
    return it->second;
  }

 private:
  std::unordered_map<double, std::size_t> first_;
};

// Table 2 of an index merge, held as the dynaset would hold it, with its key table.
struct IndexedTable {
  std::vector<std::vector<Value>> rows;
  FieldMap fields;
  KeyTable keys;
  bool numericKey = false;
  std::string table, keyField;

  // The criterion search. A numeric key is answered from the key table; any other goes to the
  // store, which raises the database's error for an unquoted text.
  std::optional<std::size_t> findFirst(Database& db, const Value& driving, JetType drivingType) {
    const std::string text = criterionText(driving, drivingType);
    if (numericKey && !std::holds_alternative<std::string>(driving) && !isNull(driving))
      return keys.find(text);
    try {
      Recordset rs = Recordset::openTable(db, table);
      if (!rs.findFirst(keyField + "=" + text)) return std::nullopt;
      return static_cast<std::size_t>(rs.position());
    } catch (const StoreError& e) {
      throw MergeError{e.what()};
    }
  }
};

IndexedTable loadIndexed(Database& db, const std::string& table, const std::string& keyField) {
  IndexedTable t;
  t.table = table;
  t.keyField = keyField;
  t.fields = FieldMap(db.fields(table));
  const int k = t.fields.require(keyField);
  t.numericKey = t.fields.def(k).isNumeric() || t.fields.def(k).type == JetType::Byte ||
                 t.fields.def(k).type == JetType::Currency;
  Cursor c = db.query("Select * From " + bracket(table));
  while (c.next()) {
    t.rows.push_back(rowOf(c));
    t.keys.add(t.rows.back()[static_cast<std::size_t>(k)], t.rows.size() - 1);
  }
  return t;
}

void step(Progress& progress, std::int64_t done) {
  if (done % kPumpEvery == 0) {
    progress.setValue(done);
    progress.pump();
  }
}

std::vector<FieldDef> defsFor(const FieldMap& map, const std::vector<std::string>& names) {
  std::vector<FieldDef> out;
  for (const auto& n : names) out.push_back(map.def(map.require(n)));
  return out;
}

}  // namespace

std::string criterionText(const Value& v, JetType type) {
  if (isNull(v)) return {};
  if (const auto* s = std::get_if<std::string>(&v)) return *s;
  if (const auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
  const double d = std::get<double>(v);
  char buf[40];
  std::snprintf(buf, sizeof buf, type == JetType::Single ? "%.7G" : "%.15G", d);
  return buf;
}

std::vector<std::string> commonIndexFields(Database& db, const std::string& table1,
                                           const std::string& table2) {
  std::vector<std::string> out;
  try {
    auto a = db.fields(table1);
    auto b = db.fields(table2);
    for (const auto& f : a)
      for (const auto& g : b)
        if (sameName(f.name, g.name) && f.type == g.type) {
          out.push_back(f.name);
          break;
        }
  } catch (const StoreError&) {
  }
  return out;
}

// ---- right merge --------------------------------------------------------------------------------

Outcome rightMerge(Database& db, const RightMergeJob& job, Interaction& ui, Progress& progress,
                   MergeReport* report) {
  if (job.table1 == job.table2) return Outcome::failure(kMsgJoinSameTable);
  if (job.fields1.empty() || job.fields2.empty()) return Outcome::failure(kMsgJoinNoFields);
  if (!job.addIn &&
      std::find(job.tableList.begin(), job.tableList.end(), job.newName) != job.tableList.end())
    return Outcome::failure(kMsgJoinNameExists);
  if (job.byIndex && job.indexField.empty()) return Outcome::failure(kMsgJoinNoIndex);

  // Opening: the tables and their fields.
  FieldMap map1, map2;
  std::vector<FieldDef> defs1, defs2;
  try {
    if (!job.addIn && job.newName.empty()) throw StoreError("Invalid argument.");
    map1 = FieldMap(db.fields(job.table1));
    map2 = FieldMap(db.fields(job.table2));
    if (map1.defs().empty() || map2.defs().empty())
      throw StoreError("The Microsoft Jet database engine cannot find the input table or query '" +
                       (map1.defs().empty() ? job.table1 : job.table2) + "'.");
    defs1 = defsFor(map1, job.fields1);
    defs2 = defsFor(map2, job.fields2);
    if (job.byIndex) {
      map1.require(job.indexField);
      map2.require(job.indexField);
    }
    if (!job.condition.empty() && !job.byIndex && !job.addIn) map1.require(job.condition);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgJoinOpenFailed) + e.what());
  } catch (const MergeError& e) {
    return Outcome::failure(std::string(kMsgJoinOpenFailed) + e.description);
  }

  MergeReport rep;
  std::vector<int> cols1, cols2;
  for (const auto& n : job.fields1) cols1.push_back(map1.require(n));
  for (const auto& n : job.fields2) cols2.push_back(map2.require(n));
  bool ownTx = false;
  try {
    db.begin();
    ownTx = true;
    if (job.addIn) {
      // Table 2's fields are created in the master first; they stay whatever follows.
      for (const auto& f : defs2) appendField(db, job.table1, f);
      Recordset master = Recordset::openTable(db, job.table1);
      std::vector<int> into;
      for (const auto& f : defs2) into.push_back(master.fieldIndex(f.name));
      const int key1 = job.byIndex ? master.fieldIndex(job.indexField) : -1;
      auto copyInto = [&](const std::vector<Value>& src) {
        master.edit();
        for (std::size_t k = 0; k < cols2.size(); ++k)
          master.set(into[k], src[static_cast<std::size_t>(cols2[k])]);
        master.update();
        ++rep.records;
      };
      if (job.byIndex) {
        IndexedTable t2 = loadIndexed(db, job.table2, job.indexField);
        progress.setMaximum(std::max<std::int64_t>(master.recordCount(), 1));
        std::int64_t done = 0;
        for (master.moveFirst(); !master.eof(); master.moveNext()) {
          auto hit = t2.findFirst(db, master.value(key1), master.field(key1).type);
          if (hit) {
            copyInto(t2.rows[*hit]);
            ++rep.matched;
          }
          step(progress, ++done);
        }
      } else {
        Cursor c2 = db.query("Select * From " + bracket(job.table2));
        const std::int64_t n = std::min(master.recordCount(), db.rowCount(job.table2));
        progress.setMaximum(std::max<std::int64_t>(n, 1));
        master.moveFirst();
        for (std::int64_t i = 0; i < n && c2.next(); ++i, master.moveNext()) {
          copyInto(rowOf(c2));
          step(progress, i + 1);
        }
      }
    } else {
      std::vector<FieldDef> defs = defs1;
      defs.insert(defs.end(), defs2.begin(), defs2.end());
      db.createTable(job.newName, defs);
      std::vector<std::string> names;
      for (const auto& d : defs) names.push_back(d.name);
      KeptWriter out;
      out.w.emplace(db, job.newName, names);
      TableWriter& w = *out.w;
      const std::size_t n1 = cols1.size();
      auto put = [&](const std::vector<Value>& r1, const std::vector<Value>* r2) {
        for (std::size_t k = 0; k < n1; ++k)
          w.set(static_cast<int>(k), r1[static_cast<std::size_t>(cols1[k])]);
        for (std::size_t k = 0; k < cols2.size(); ++k)
          r2 ? w.set(static_cast<int>(n1 + k), (*r2)[static_cast<std::size_t>(cols2[k])])
             : w.setNull(static_cast<int>(n1 + k));
        w.addRow();
        ++rep.records;
      };
      progress.setMaximum(std::max<std::int64_t>(db.rowCount(job.table1), 1));
      Cursor c1 = db.query("Select * From " + bracket(job.table1));
      std::int64_t done = 0;
      if (job.byIndex) {
        IndexedTable t2 = loadIndexed(db, job.table2, job.indexField);
        const int key1 = map1.require(job.indexField);
        const JetType keyType = map1.def(key1).type;
        while (c1.next()) {
          std::vector<Value> r1 = rowOf(c1);
          std::optional<std::size_t> hit;
          try {
            hit = t2.findFirst(db, r1[static_cast<std::size_t>(key1)], keyType);
          } catch (const MergeError&) {
            // The record of table 1 was added before the search failed.
            put(r1, nullptr);
            throw;
          }
          put(r1, hit ? &t2.rows[*hit] : nullptr);
          if (hit) ++rep.matched;
          step(progress, ++done);
        }
      } else {
        Cursor c2 = db.query("Select * From " + bracket(job.table2));
        const int cond = job.condition.empty() ? -1 : map1.require(job.condition);
        while (c1.next()) {
          std::vector<Value> r1 = rowOf(c1);
          // Table 2 is not checked for its end: a shorter one ends the run here.
          if (!c2.next()) throw MergeError{kNoCurrentRecord};
          if (cond < 0 || !isEmptyByCondition(r1[static_cast<std::size_t>(cond)])) {
            std::vector<Value> r2 = rowOf(c2);
            put(r1, &r2);
          }
          step(progress, ++done);
        }
      }
    }
    db.commit();
    ownTx = false;
  } catch (const StoreError& e) {
    if (ownTx) db.commit();
    progress.setValue(0);
    if (report) *report = rep;
    return Outcome::failure(std::string(kMsgJoinFailed) + e.what());
  } catch (const MergeError& e) {
    if (ownTx) db.commit();
    progress.setValue(0);
    if (report) *report = rep;
    return Outcome::failure(std::string(kMsgJoinFailed) + e.description);
  }
  progress.setValue(0);
  if (!job.addIn) {
    try {
      Registration how{kJoinOrigin,        kJoinNote, OverwriteRule::Refuse,
                       kMsgJoinNameExists, "",        false};
      rep.registered = registerTable(db, job.newName, how, ui) != RegisterResult::Refused;
    } catch (const StoreError& e) {
      if (report) *report = rep;
      return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
    }
  }
  if (report) *report = rep;
  return Outcome::success(kMsgJoinDone);
}

// ---- down merge ---------------------------------------------------------------------------------

Outcome downMerge(Database& db, const DownMergeJob& job, Interaction& ui, Progress& progress,
                  MergeReport* report, const std::function<void(const std::string&)>& inWork) {
  if (job.fields.empty()) return Outcome::failure(kMsgJoinNoMasterFields);
  for (const auto& t : job.tables)
    if (t == job.master) return Outcome::failure(kMsgJoinSameTableChoice);
  if (!job.addIn &&
      std::find(job.tableList.begin(), job.tableList.end(), job.newName) != job.tableList.end())
    return Outcome::failure(kMsgJoinNameExists);

  FieldMap master;
  std::vector<FieldDef> defs;
  try {
    if (!job.addIn && job.newName.empty()) throw StoreError("Invalid argument.");
    master = FieldMap(db.fields(job.master));
    if (master.defs().empty())
      throw StoreError("The Microsoft Jet database engine cannot find the input table or query '" +
                       job.master + "'.");
    defs = defsFor(master, job.fields);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgJoinOpenFailed) + e.what());
  } catch (const MergeError& e) {
    return Outcome::failure(std::string(kMsgJoinOpenFailed) + e.description);
  }

  MergeReport rep;
  const std::string target = job.addIn ? job.master : job.newName;
  bool ownTx = false;
  try {
    db.begin();
    ownTx = true;
    if (!job.addIn) db.createTable(job.newName, defs);
    std::vector<std::string> names;
    for (const auto& d : defs) names.push_back(d.name);
    KeptWriter out;
    out.w.emplace(db, target, names);
    TableWriter& w = *out.w;

    // Copies the records of one table, the selected fields looked up by name.
    auto copyTable = [&](const std::string& table) {
      if (inWork) inWork(table);
      FieldMap src(db.fields(table));
      if (src.defs().empty())
        throw StoreError(
            "The Microsoft Jet database engine cannot find the input table or query '" + table +
            "'.");
      Cursor c = db.query("Select * From " + bracket(table));
      const int cond = job.condition.empty() ? -1 : src.index(job.condition);
      std::vector<int> cols;
      for (const auto& n : names) cols.push_back(src.index(n));
      progress.setMaximum(std::max<std::int64_t>(db.rowCount(table), 1));
      std::int64_t done = 0;
      while (c.next()) {
        std::vector<Value> r = rowOf(c);
        bool abandon = false;
        for (std::size_t k = 0; k < cols.size() && !abandon; ++k) {
          // The condition is tested before every field copied; an empty value abandons the
          // pending record.
          if (!job.condition.empty()) {
            if (cond < 0) throw MergeError{kItemNotFound};
            if (isEmptyByCondition(r[static_cast<std::size_t>(cond)])) abandon = true;
          }
          if (abandon) break;
          if (cols[k] < 0) throw MergeError{kItemNotFound};
          w.set(static_cast<int>(k), r[static_cast<std::size_t>(cols[k])]);
        }
        if (!abandon) {
          w.addRow();
          ++rep.records;
        }
        step(progress, ++done);
      }
      progress.setValue(0);
    };
    if (!job.addIn) copyTable(job.master);
    for (const auto& t : job.tables) copyTable(t);
    w.commit();
    db.commit();
    ownTx = false;
  } catch (const StoreError& e) {
    if (ownTx) db.commit();
    progress.setValue(0);
    if (report) *report = rep;
    return Outcome::failure(std::string(kMsgJoinFailed) + e.what());
  } catch (const MergeError& e) {
    if (ownTx) db.commit();
    progress.setValue(0);
    if (report) *report = rep;
    return Outcome::failure(std::string(kMsgJoinFailed) + e.description);
  }
  if (!job.addIn) {
    try {
      Registration how{kJoinOrigin,        kJoinNote, OverwriteRule::Refuse,
                       kMsgJoinNameExists, "",        false};
      rep.registered = registerTable(db, job.newName, how, ui) != RegisterResult::Refused;
    } catch (const StoreError& e) {
      if (report) *report = rep;
      return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
    }
  }
  if (report) *report = rep;
  return Outcome::success(kMsgJoinDone);
}

}  // namespace sarnoth
