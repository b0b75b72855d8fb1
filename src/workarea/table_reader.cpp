#include "workarea/table_reader.h"

#include <sqlite3.h>

#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/table_store.h"

namespace sarnoth {

namespace {

// An SQLite identifier in double quotes (a bracketed name cannot hold "]").
std::string quoted(const std::string& name) {
  std::string q = "\"";
  for (char c : name) {
    if (c == '"') q += '"';
    q += c;
  }
  return q + "\"";
}

}  // namespace

bool useStoreConnectionsWithoutMutexes() {
  return sqlite3_config(SQLITE_CONFIG_MULTITHREAD) == SQLITE_OK;
}

TableReader::TableReader(Database& db, const std::string& table,
                         const std::vector<std::string>& columns)
    : db_(db.handle()) {
  if (!db_) throw StoreError("数据库未打开");
  prepare(table, columns);
}

TableReader::TableReader(const std::string& storePath, const std::string& table,
                         const std::vector<std::string>& columns)
    : own_(true) {
  const std::string path = resolvePath(storePath);
  if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    std::string msg = db_ ? sqlite3_errmsg(db_) : "cannot open";
    sqlite3_close(db_);
    db_ = nullptr;
    throw StoreError("找不到数据库文件: " + storePath + " (" + msg + ")");
  }
  sqlite3_busy_timeout(db_, 3000);
  // A quoted name that matches no column is an error, never a string.
  sqlite3_db_config(db_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(db_, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  // Pages straight from the mapped file rather than copied through the page cache.
  sqlite3_exec(db_, "PRAGMA mmap_size=1073741824;", nullptr, nullptr, nullptr);
  try {
    prepare(table, columns);
  } catch (...) {
    sqlite3_close(db_);
    db_ = nullptr;
    throw;
  }
}

TableReader::~TableReader() {
  sqlite3_finalize(st_);
  if (own_) sqlite3_close(db_);
}

void TableReader::prepare(const std::string& table, const std::vector<std::string>& columns) {
  table_ = table;
  columns_ = static_cast<int>(columns.size());
  std::string sql = "SELECT ";
  for (std::size_t i = 0; i < columns.size(); ++i) sql += (i ? ", " : "") + quoted(columns[i]);
  sql += " FROM " + quoted(table);
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &st_, nullptr) != SQLITE_OK)
    throw StoreError(sqlite3_errmsg(db_));
}

std::int64_t TableReader::rowCount() {
  sqlite3_stmt* st = nullptr;
  const std::string sql = "SELECT count(*) FROM " + quoted(table_);
  if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &st, nullptr) != SQLITE_OK)
    throw StoreError(sqlite3_errmsg(db_));
  std::int64_t n = sqlite3_step(st) == SQLITE_ROW ? sqlite3_column_int64(st, 0) : 0;
  sqlite3_finalize(st);
  return n;
}

template <typename T>
std::size_t TableReader::read(T* out, std::size_t maxRows) {
  if (done_) return 0;
  std::size_t rows = 0;
  const int n = columns_;
  while (rows < maxRows) {
    const int rc = sqlite3_step(st_);
    if (rc == SQLITE_DONE) {
      done_ = true;
      break;
    }
    if (rc != SQLITE_ROW) throw StoreError(sqlite3_errmsg(db_));
    for (int c = 0; c < n; ++c) {
      // An SQL NULL reads as 0: only a zero is asked whether it was a NULL.
      const double v = sqlite3_column_double(st_, c);
      *out++ = v == 0 && sqlite3_column_type(st_, c) == SQLITE_NULL ? static_cast<T>(NULL_VALUE)
                                                                    : static_cast<T>(v);
    }
    ++rows;
  }
  return rows;
}

std::size_t TableReader::readFloats(float* out, std::size_t maxRows) { return read(out, maxRows); }
std::size_t TableReader::readDoubles(double* out, std::size_t maxRows) {
  return read(out, maxRows);
}

}  // namespace sarnoth
