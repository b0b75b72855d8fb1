// The table housekeeping of the work area: SQL on tables (the SQL tool's engine) and the
// clean-up tool's removal, registration and compaction.
#pragma once

#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kNoTablesText = "工作区中无检索或查询数据.";
inline constexpr const char* kSqlTableExists = "数据表已存在, 请输入新名称.";
inline constexpr const char* kSqlOrigin = "数据表变换";
inline constexpr const char* kCompactedText = "数据库已压缩成功。";
inline constexpr const char* kRemovedText = "所选数据表已删除。";
inline constexpr const char* kConfirmRemoveText = "确实要删除所选数据表吗?";
inline constexpr const char* kCleanOrigin = "WorkClean";
inline constexpr const char* kCleanNote = "工作区数据整理";

// The rows of one statement, as a grid shows them.
struct QueryResult {
  std::vector<std::string> columns;
  std::vector<std::vector<Value>> rows;
  std::int64_t changed = -1;  // rows changed by a statement that is not a query
  bool truncated = false;     // more rows than the limit were there
};

// Runs one Jet-dialect statement. A query returns its rows (at most `rowLimit`), anything else
// the count of rows it changed. The engine's error text comes back in the failure.
Outcome runStatement(Database& db, const std::string& sql, QueryResult& out,
                     std::size_t rowLimit = 100000);

// Saves the rows of a query as a new registered table under the refuse rule (short registry
// row, origin "数据表变换"). A name in use is refused with "数据表已存在, 请输入新名称.".
Outcome saveQueryAsTable(Database& db, const std::string& query, const std::string& newName,
                         Interaction& ui);

// Tables in the store that the registry does not list.
std::vector<std::string> unregisteredTables(Database& db);
// Registers an existing table (origin "WorkClean", "工作区数据整理").
Outcome registerExistingTable(Database& db, const std::string& name);
// The tables named by a comma-separated list. A name may hold commas itself: the longest run of
// items that names an existing table is taken whole. An item that names no table is refused
// with "数据表不存在: " and the item.
Outcome tablesFromList(Database& db, const std::string& text, std::vector<std::string>& names);
// Refuses a name that is not a table; asks, then drops the tables and their registry rows;
// reports "所选数据表已删除。".
Outcome removeTables(Database& db, const std::vector<std::string>& names, Interaction& ui);
// Registry rows whose table is missing.
std::vector<std::string> orphanRegistryRows(Database& db);

// Compaction: the store is closed, compacted into Qury_Dat/QueryDBNN, copied over the old file,
// the scratch file removed, and the store reopened into `db`. "数据库已压缩成功。" on success.
Outcome compactWorkDatabase(const std::string& workPath, Database& db);

}  // namespace sarnoth
