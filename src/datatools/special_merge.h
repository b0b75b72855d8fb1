// Special merge (the tool "数据表专项合并"): two work-area tables joined on one or more key fields,
// keeping every record of both sides, a full outer join.
//
// Keys are fields that both tables hold under the same name (case-blind), numeric in both or text
// in both. Two records match when every key matches: numbers by value (as singles when either
// side is a SINGLE field, so that a SINGLE 0.1 meets a DOUBLE 0.1), texts case-blind as the
// database compares them. A key that is empty (SQL null, a number at or below -1E+30, an empty
// text) matches nothing.
//
// The result holds the keys once (taken from whichever side has the record), then the chosen
// fields of table 1 and of table 2, types and sizes copied; a field name found on both sides is
// prefixed by its table's name on both ("表1_Au", "表2_Au"). Rows: each record of table 1 in its
// order, joined with every matching record of table 2 in that table's order (or alone), then the
// records of table 2 that matched nothing. A side without a record gives -1E+38 in its numeric
// fields (the work area's empty value) and null in its text fields.
//
// The new table is registered under the refuse rule ("新数据表名已存在, 请另输一个表名.",
// "OutDataJoin", "数据表专题合并"); registration, table and rows go in one transaction, so a
// failure leaves the work area as it was.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kJoinSCaption = "数据表专项合并";
inline constexpr const char* kJoinSDefaultName = "JoinTblS";
inline constexpr const char* kJoinSNote = "数据表专题合并";
inline constexpr const char* kMsgJoinSNoKey = "请选择合并关键字段.";
inline constexpr const char* kMsgJoinSNoName = "请输入新数据表名.";

// Fields both tables hold under one name, numeric in both or text in both, in table 1's order.
std::vector<std::string> specialKeyFields(Database& db, const std::string& table1,
                                          const std::string& table2);

struct SpecialMergeJob {
  std::string table1, table2;
  std::vector<std::string> keys;
  std::vector<std::string> fields1, fields2;  // fields beside the keys; keys named here are skipped
  std::string newName;
};

struct SpecialMergeReport {
  std::int64_t rows = 0;
  std::int64_t matched = 0;          // rows joining a record of each table
  std::int64_t onlyFirst = 0;        // records of table 1 without a match
  std::int64_t onlySecond = 0;       // records of table 2 without a match
  std::vector<std::string> columns;  // the result's field names
};

// "合并成功" on success; the refusals "合并表不能是同一个表.", "请选择合并关键字段.",
// "请在两表中选责合并数据项.", the refuse rule's text, or "创建新数据表错误, " with the store's
// text.
Outcome specialMerge(Database& db, const SpecialMergeJob& job, Interaction& ui,
                     Progress& progress = noProgress(), SpecialMergeReport* report = nullptr);

}  // namespace sarnoth
