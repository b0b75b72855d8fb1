// Column-typed bulk reads of a table, for the engines that take whole columns of numbers
// (gridding, kriging, median): the points of a million-row table in blocks, as plain arrays.
//
// Where the general cursor asks SQLite for each cell's type and converts it, this reader states
// the type of its columns once: every column is read as a number, an SQL NULL arrives as the
// float null -1E+38 (a NULL reads as 0, so only a zero is asked whether it was one), and a block
// of rows is copied into the caller's array in one loop. It reads either through an open store's
// connection, or through a read-only connection of its own opened without SQLite's mutexes
// (SQLITE_OPEN_NOMUTEX) and with the file memory-mapped: the connection is used by the one
// thread that reads.
//
// Numbers are what sqlite3_column_double gives: a text cell holding a number reads as that
// number, any other text as 0, as the cursor's getFloat reads them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace sarnoth {

class Database;

// Sets SQLite to open connections without their own mutexes (SQLITE_CONFIG_MULTITHREAD): every
// connection of the program is used by one thread at a time (worker threads compute, they never
// touch the store). To be called at the start of main, before any connection is opened; false
// when SQLite was already initialised and keeps its mode.
bool useStoreConnectionsWithoutMutexes();

class TableReader {
 public:
  // Reads `columns` of `table` through the connection of an open store.
  TableReader(Database& db, const std::string& table, const std::vector<std::string>& columns);
  // Opens a read-only connection of its own on the store file at `storePath`. Throws StoreError
  // when the file, the table or a column is not there.
  TableReader(const std::string& storePath, const std::string& table,
              const std::vector<std::string>& columns);
  ~TableReader();
  TableReader(const TableReader&) = delete;
  TableReader& operator=(const TableReader&) = delete;

  int columnCount() const { return columns_; }
  // The number of rows of the table (Count(*)).
  std::int64_t rowCount();
  // Reads up to `maxRows` rows into `out`, row after row, columnCount() values a row, SQL NULL
  // as -1E+38. Returns the number of rows read, 0 at the end; throws StoreError on a read error.
  std::size_t readFloats(float* out, std::size_t maxRows);
  std::size_t readDoubles(double* out, std::size_t maxRows);

 private:
  void prepare(const std::string& table, const std::vector<std::string>& columns);
  template <typename T>
  std::size_t read(T* out, std::size_t maxRows);

  sqlite3* db_ = nullptr;
  bool own_ = false;  // the connection is ours to close
  sqlite3_stmt* st_ = nullptr;
  std::string table_;
  int columns_ = 0;
  bool done_ = false;
};

}  // namespace sarnoth
