// Special merge: a full outer join of two work-area tables on key fields. See special_merge.h.
#include "datatools/special_merge.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "prep/table_merge.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {

namespace {

constexpr std::int64_t kPumpEvery = 4096;

std::string lowerAscii(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return s;
}

bool sameName(const std::string& a, const std::string& b) { return lowerAscii(a) == lowerAscii(b); }

int indexOf(const std::vector<FieldDef>& defs, const std::string& name) {
  for (std::size_t i = 0; i < defs.size(); ++i)
    if (sameName(defs[i].name, name)) return static_cast<int>(i);
  return -1;
}

bool isText(const FieldDef& f) { return f.type == JetType::Text || f.type == JetType::Memo; }
bool isNumber(const FieldDef& f) {
  return f.isNumeric() || f.type == JetType::Byte || f.type == JetType::Currency;
}

std::vector<Value> rowOf(const Cursor& c) {
  std::vector<Value> row(static_cast<std::size_t>(c.columnCount()));
  for (int i = 0; i < c.columnCount(); ++i) row[static_cast<std::size_t>(i)] = c.get(i);
  return row;
}

// How the keys of one table are read into a comparable text: a tag per part, then the number's
// bits (as a single when either side is a SINGLE field) or the lower-cased text. False for a
// record whose key holds an empty part.
struct KeyReader {
  std::vector<int> cols;
  std::vector<bool> text, asSingle;

  bool read(const std::vector<Value>& row, std::string& key) const {
    key.clear();
    for (std::size_t k = 0; k < cols.size(); ++k) {
      const Value& v = row[static_cast<std::size_t>(cols[k])];
      if (isNull(v)) return false;
      if (text[k]) {
        std::string s = lowerAscii(valueToText(v));
        if (s.empty()) return false;
        key += 'T';
        key += std::to_string(s.size());
        key += ':';
        key += s;
      } else {
        double d = valueToDouble(v);
        if (isNullValue(d) || d != d) return false;
        if (asSingle[k]) d = static_cast<double>(static_cast<float>(d));
        if (d == 0) d = 0;  // -0 and +0 are one key
        char bits[sizeof d];
        std::memcpy(bits, &d, sizeof d);
        key += 'N';
        key.append(bits, sizeof bits);
      }
    }
    return true;
  }
};

}  // namespace

std::vector<std::string> specialKeyFields(Database& db, const std::string& table1,
                                          const std::string& table2) {
  std::vector<std::string> out;
  try {
    auto a = db.fields(table1);
    auto b = db.fields(table2);
    for (const auto& f : a) {
      int j = indexOf(b, f.name);
      if (j < 0) continue;
      const FieldDef& g = b[static_cast<std::size_t>(j)];
      if ((isNumber(f) && isNumber(g)) || (isText(f) && isText(g))) out.push_back(f.name);
    }
  } catch (const StoreError&) {
  }
  return out;
}

Outcome specialMerge(Database& db, const SpecialMergeJob& job, Interaction& ui, Progress& progress,
                     SpecialMergeReport* report) {
  if (sameName(job.table1, job.table2)) return Outcome::failure(kMsgJoinSameTable);
  if (job.keys.empty()) return Outcome::failure(kMsgJoinSNoKey);
  if (job.newName.empty()) return Outcome::failure(kMsgJoinSNoName);

  std::vector<FieldDef> defs1, defs2;
  try {
    defs1 = db.fields(job.table1);
    defs2 = db.fields(job.table2);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string(kMsgJoinOpenFailed) + e.what());
  }
  if (defs1.empty() || defs2.empty())
    return Outcome::failure(std::string(kMsgJoinOpenFailed) +
                            "The Microsoft Jet database engine cannot find the input table or "
                            "query '" +
                            (defs1.empty() ? job.table1 : job.table2) + "'.");

  // The keys, each numeric on both sides or text on both.
  KeyReader key1, key2;
  std::vector<FieldDef> out;
  const auto keyNames = specialKeyFields(db, job.table1, job.table2);
  for (const auto& k : job.keys) {
    const int i = indexOf(defs1, k), j = indexOf(defs2, k);
    if (i < 0 || j < 0 || std::none_of(keyNames.begin(), keyNames.end(), [&](const auto& n) {
          return sameName(n, k);
        }))
      return Outcome::failure(std::string(kMsgJoinOpenFailed) + "关键字段 " + k +
                              " 不在两表中或类型不一致.");
    const FieldDef &a = defs1[static_cast<std::size_t>(i)], &b = defs2[static_cast<std::size_t>(j)];
    const bool text = isText(a);
    const bool single = !text && (a.type == JetType::Single || b.type == JetType::Single);
    key1.cols.push_back(i), key1.text.push_back(text), key1.asSingle.push_back(single);
    key2.cols.push_back(j), key2.text.push_back(text), key2.asSingle.push_back(single);
    FieldDef f = a;
    if (text) {
      f.size = std::max(a.size, b.size);
      if (a.type == JetType::Memo || b.type == JetType::Memo) f.type = JetType::Memo;
    } else if (a.type != b.type) {
      f.type = JetType::Double;
    }
    out.push_back(f);
  }

  // The fields beside the keys, prefixed with their table's name where both sides hold the name.
  auto isKey = [&](const std::string& n) {
    return std::any_of(job.keys.begin(), job.keys.end(),
                       [&](const auto& k) { return sameName(k, n); });
  };
  std::vector<int> cols1, cols2;
  for (const auto& n : job.fields1)
    if (!isKey(n)) {
      int i = indexOf(defs1, n);
      if (i < 0)
        return Outcome::failure(std::string(kMsgJoinOpenFailed) +
                                "Item not found in this collection.");
      cols1.push_back(i);
    }
  for (const auto& n : job.fields2)
    if (!isKey(n)) {
      int j = indexOf(defs2, n);
      if (j < 0)
        return Outcome::failure(std::string(kMsgJoinOpenFailed) +
                                "Item not found in this collection.");
      cols2.push_back(j);
    }
  if (cols1.empty() && cols2.empty()) return Outcome::failure(kMsgJoinNoFields);
  auto clashes = [&](const std::string& n, const std::vector<FieldDef>& other,
                     const std::vector<int>& otherCols) {
    return std::any_of(otherCols.begin(), otherCols.end(),
                       [&](int c) { return sameName(other[static_cast<std::size_t>(c)].name, n); });
  };
  for (int c : cols1) {
    FieldDef f = defs1[static_cast<std::size_t>(c)];
    if (clashes(f.name, defs2, cols2)) f.name = job.table1 + "_" + f.name;
    out.push_back(f);
  }
  for (int c : cols2) {
    FieldDef f = defs2[static_cast<std::size_t>(c)];
    if (clashes(f.name, defs1, cols1)) f.name = job.table2 + "_" + f.name;
    out.push_back(f);
  }
  // A prefixed name may still meet another field's name: number it apart.
  for (std::size_t i = 0; i < out.size(); ++i)
    for (int n = 2; std::any_of(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(i),
                                [&](const FieldDef& g) { return sameName(g.name, out[i].name); });
         ++n)
      out[i].name += "_" + std::to_string(n);

  SpecialMergeReport rep;
  for (const auto& f : out) rep.columns.push_back(f.name);
  const std::size_t nk = job.keys.size();
  try {
    db.begin();
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  try {
    Registration how{kJoinOrigin, kJoinSNote, OverwriteRule::Refuse, kMsgJoinNameExists, "", false};
    if (registerTable(db, job.newName, how, ui) == RegisterResult::Refused) {
      db.rollback();
      return Outcome::failure("");
    }
    db.createTable(job.newName, out);
    std::vector<std::string> names;
    for (const auto& f : out) names.push_back(f.name);
    TableWriter w(db, job.newName, names);

    // Table 2 is held with its keys; table 1 streams past it.
    std::vector<std::vector<Value>> rows2;
    std::unordered_map<std::string, std::vector<std::size_t>> index2;
    std::string key;
    {
      Cursor c = db.query("Select * From " + bracket(job.table2));
      while (c.next()) {
        rows2.push_back(rowOf(c));
        if (key2.read(rows2.back(), key)) index2[key].push_back(rows2.size() - 1);
      }
    }
    std::vector<bool> used(rows2.size(), false);
    auto emptyOf = [](const FieldDef& f, int col, TableWriter& tw) {
      if (isText(f) || f.type == JetType::Date)
        tw.setNull(col);
      else
        tw.setDouble(col, NULL_VALUE_D);
    };
    auto put = [&](const std::vector<Value>* r1, const std::vector<Value>* r2) {
      int col = 0;
      const std::vector<Value>& keyed = r1 ? *r1 : *r2;
      const KeyReader& kr = r1 ? key1 : key2;
      for (std::size_t k = 0; k < nk; ++k, ++col)
        w.set(col, keyed[static_cast<std::size_t>(kr.cols[k])]);
      for (int c : cols1) {
        r1 ? w.set(col, (*r1)[static_cast<std::size_t>(c)])
           : emptyOf(out[static_cast<std::size_t>(col)], col, w);
        ++col;
      }
      for (int c : cols2) {
        r2 ? w.set(col, (*r2)[static_cast<std::size_t>(c)])
           : emptyOf(out[static_cast<std::size_t>(col)], col, w);
        ++col;
      }
      w.addRow();
      ++rep.rows;
      if (rep.rows % kPumpEvery == 0) {
        progress.setValue(rep.rows);
        progress.pump();
      }
    };
    progress.setMaximum(
        std::max<std::int64_t>(db.rowCount(job.table1) + db.rowCount(job.table2), 1));
    Cursor c1 = db.query("Select * From " + bracket(job.table1));
    while (c1.next()) {
      std::vector<Value> r1 = rowOf(c1);
      auto it = key1.read(r1, key) ? index2.find(key) : index2.end();
      if (it == index2.end()) {
        put(&r1, nullptr);
        ++rep.onlyFirst;
        continue;
      }
      for (std::size_t j : it->second) {
        put(&r1, &rows2[j]);
        used[j] = true;
        ++rep.matched;
      }
    }
    for (std::size_t j = 0; j < rows2.size(); ++j)
      if (!used[j]) {
        put(nullptr, &rows2[j]);
        ++rep.onlySecond;
      }
    w.commit();
    db.commit();
  } catch (const StoreError& e) {
    db.rollback();
    progress.setValue(0);
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  progress.setValue(0);
  if (report) *report = rep;
  return Outcome::success(kMsgJoinDone);
}

}  // namespace sarnoth
