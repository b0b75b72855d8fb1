// Table merge (the tool "数据表合并"): the fields of a second table beside those of the master
// ("右合并", right merge), or the records of further tables below the master's ("下合并", down
// merge), into a new registered table or, with "追加到主表", into the master itself.
//
// Right merge. Records are matched by position (record i with record i) or through an index
// field: for each driving record the first record of table 2 that meets the criterion
// "<field>=<value as text>" (no brackets, no quotes) is taken, so duplicate keys in table 2 bring
// no further rows and a text key is a database error. A numeric criterion is answered from a
// table of table 2's key values built once (the first record of each value, compared as the
// database compares a numeric literal: the text of the driving value read back as a number); a
// text key goes to the store's find, which reports the error the system shows.
//   index, append     each master record found in table 2 gets table 2's fields; others stay.
//   index, new        every record of table 1, with table 2's fields where found (else null).
//   position, append  min(n1, n2) master records get table 2's fields.
//   position, new     every record of table 1 beside the record of table 2 at its position; a
//                     shorter table 2 ends the run in "数据合并错. " with the rows so far kept.
//                     With a condition field, a record of table 1 whose value in it lies below
//                     -1E+35 or above 1E+35 is skipped (both tables move on).
// Down merge. The master's selected fields (types and sizes copied) receive the master's records
// (new table only) and then the records of each further table, fields looked up by name; a table
// lacking one ends the run in "数据合并错. ". With a condition field, a record whose value in it
// lies outside [-1E+35, 1E+35] is not copied.
//
// New fields copy the type and size of their source fields. A failure while copying keeps the new
// table or the appended fields with the records done so far, unregistered; a new table is
// registered under the refuse rule ("OutDataJoin", "数据表合并") only after a complete run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kJoinCaption = "数据表合并";
inline constexpr const char* kJoinDefaultName = "JoinTbl";
inline constexpr const char* kJoinOrigin = "OutDataJoin";
inline constexpr const char* kJoinNote = "数据表合并";

inline constexpr const char* kMsgJoinSameTableChoice = "同表不能合并操作，请重选。";
inline constexpr const char* kMsgJoinNoIndex = "无索引项，不能按索引方式搜索合并。";
inline constexpr const char* kMsgJoinFieldTaken = "所选数据项已在另一表中被选，请重选";
inline constexpr const char* kMsgJoinSameTable = "合并表不能是同一个表.";
inline constexpr const char* kMsgJoinNoFields = "请在两表中选责合并数据项.";
inline constexpr const char* kMsgJoinNameExists = "新数据表名已存在, 请另输一个表名.";
inline constexpr const char* kMsgJoinNoMasterFields = "请在主表中选责合并数据项.";
inline constexpr const char* kMsgJoinOpenFailed = "打开数据表错. ";
inline constexpr const char* kMsgJoinFailed = "数据合并错. ";
inline constexpr const char* kMsgJoinDone = "合并成功";

// The bounds of the condition field: a value below the first or above the second is empty.
inline constexpr double kJoinEmptyBelow = -1e35;
inline constexpr double kJoinEmptyAbove = 1e35;

// The fields of table 1 that table 2 holds under the same name (case-blind) with the same type:
// the choices of cboIndex.
std::vector<std::string> commonIndexFields(Database& db, const std::string& table1,
                                           const std::string& table2);

struct MergeReport {
  std::int64_t records = 0;  // records written or edited
  std::int64_t matched = 0;  // index merges: driving records found in table 2
  bool registered = false;
};

struct RightMergeJob {
  std::string table1, table2;                 // the master and table 2
  std::vector<std::string> fields1, fields2;  // selected fields, in list order
  bool byIndex = false;                       // chkIndex
  std::string indexField;                     // cboIndex
  bool addIn = false;                         // chkAddIn
  std::string condition;                      // txtCondition
  std::string newName;                        // txtNewTbl
  std::vector<std::string> tableList;         // the names of cboTables 0, for the name check
};

// The whole right merge: the checks in the window's order, preparation, matching, registration.
// "合并成功" on success.
Outcome rightMerge(Database& db, const RightMergeJob& job, Interaction& ui,
                   Progress& progress = noProgress(), MergeReport* report = nullptr);

struct DownMergeJob {
  std::string master;
  std::vector<std::string> fields;  // selected fields of the master
  std::vector<std::string> tables;  // lstTable2 selection, in list order
  bool addIn = false;
  std::string condition;
  std::string newName;
  std::vector<std::string> tableList;
};

// `inWork` is told the name of each table as its records are copied (lblProc).
Outcome downMerge(Database& db, const DownMergeJob& job, Interaction& ui,
                  Progress& progress = noProgress(), MergeReport* report = nullptr,
                  const std::function<void(const std::string&)>& inWork = {});

// The text a value takes in a criterion, as the system concatenated it: a Single in seven
// significant digits, a Double in fifteen, a whole number as it is, a text as it is.
std::string criterionText(const Value& v, JetType type);

}  // namespace sarnoth
