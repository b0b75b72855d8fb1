// The work area's table store: SQLite speaking the Jet dialect the tools use.
//
// Every statement given to execute(), query() and scalar() is Jet SQL. It is parsed and translated
// with Jet's semantics by the translator in jet_sql.h, whose header lists the supported subset and
// how each Jet semantic is mapped; anything else is refused with a StoreError naming it.
//  - Names with quotes, brackets or CJK characters work everywhere: bind values, bracket names.
//  - CREATE TABLE keeps Jet type names (SINGLE, DOUBLE, LONG, INTEGER, TEXT(n), DATE …), so the
//    question "numeric field of type Integer, Long, Single or Double" can be asked of any table.
//  - Values are converted to their field's type on write (SINGLE rounded to float, LONG rounded
//    half to even and range-checked, dates to one stored form …), touching only the rows written.
//  - The literal -1E+38 means the float null: " <> -1E+38" finds what the tools wrote.
// Writers take the write lock at once (BEGIN IMMEDIATE) and queue behind another writer for up to
// 30 s. Bulk writes run in one transaction; reads stream through a Cursor.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace sarnoth {

class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class JetType { Bit, Byte, Integer, Long, Currency, Single, Double, Date, Text, Memo, Other };

struct FieldDef {
  std::string name;
  JetType type = JetType::Single;
  int size = 0;  // TEXT(n) width; 0 otherwise

  // The declared type as written in CREATE TABLE: "SINGLE", "TEXT(20)" …
  std::string declared() const;
  // Integer, Long, Single or Double: the fields the statistical tools offer.
  bool isNumeric() const;
  static FieldDef parse(const std::string& name, const std::string& declaredType);
};

using Value = std::variant<std::monostate, std::int64_t, double, std::string>;
inline bool isNull(const Value& v) { return std::holds_alternative<std::monostate>(v); }
double valueToDouble(const Value& v);
std::string valueToText(const Value& v);

// The SQLite text of a Jet-dialect statement, translated without the store's schema (see
// jet_sql.h for the typed translation the Database uses).
std::string translateJetSql(const std::string& jet);
// Wraps a name in brackets for SQL text: "Au]x" → "[Au]]x]".
std::string bracket(const std::string& name);

class Cursor;
struct JetTranslation;

class Database {
 public:
  Database();
  ~Database();
  Database(Database&& o) noexcept;
  Database& operator=(Database&& o) noexcept;
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Opens an existing store; with create, makes it when absent. Throws StoreError with the
  // engine's text when the file is missing, locked or not a database.
  static Database open(const std::string& path, bool create = false);

  bool isOpen() const { return db_ != nullptr; }
  void close();
  const std::string& path() const { return path_; }
  sqlite3* handle() const { return db_; }

  // Runs one Jet-dialect statement; returns the rows it changed.
  std::int64_t execute(const std::string& jetSql, const std::vector<Value>& params = {});
  // Streams the rows of a Jet-dialect query.
  Cursor query(const std::string& jetSql, const std::vector<Value>& params = {});
  // First column of the first row, or a null Value.
  Value scalar(const std::string& jetSql, const std::vector<Value>& params = {});

  // Every user table in catalogue order (no engine tables).
  std::vector<std::string> tableNames() const;
  bool tableExists(const std::string& name) const;  // case-blind, as Jet matches names
  std::vector<FieldDef> fields(const std::string& table) const;
  void createTable(const std::string& name, const std::vector<FieldDef>& fields);
  void dropTable(const std::string& name);
  std::int64_t rowCount(const std::string& table);
  // Rounds the table's SINGLE columns to float where an SQL statement left doubles.
  void roundSingles(const std::string& table);
  // Rewrites the file without free pages (the compaction of the clean-up tool).
  void compact();

  // BEGIN IMMEDIATE: the write lock is taken here, waiting up to 30 s for another writer.
  void begin();
  void commit();
  void rollback();

  // The translation of a statement against this store's schema (for tools that show or check SQL).
  JetTranslation translate(const std::string& jetSql);

 private:
  struct SchemaCache;
  sqlite3* db_ = nullptr;
  std::string path_;
  std::unique_ptr<SchemaCache> schema_;
  const std::vector<FieldDef>* cachedFields(const std::string& table);
  std::int64_t executeSelectInto(const JetTranslation& tr, const std::vector<Value>& params);
  void alterColumn(const JetTranslation& tr);
};

// One prepared statement stepped row by row. Move-only.
class Cursor {
 public:
  Cursor() = default;
  Cursor(sqlite3* db, sqlite3_stmt* st) : db_(db), st_(st) {}
  ~Cursor();
  Cursor(Cursor&& o) noexcept;
  Cursor& operator=(Cursor&& o) noexcept;
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  bool next();  // false at the end; throws StoreError on an engine error
  int columnCount() const;
  std::string columnName(int i) const;
  int columnIndex(const std::string& name) const;  // case-blind; -1 when absent
  FieldDef columnField(int i) const;               // the declared type of the source column, if any
  bool isNull(int i) const;
  double getDouble(int i) const;
  float getFloat(int i) const { return static_cast<float>(getDouble(i)); }
  std::int64_t getInt(int i) const;
  std::string getText(int i) const;
  Value get(int i) const;

 private:
  friend class Database;
  sqlite3* db_ = nullptr;
  sqlite3_stmt* st_ = nullptr;
  std::vector<FieldDef> types_;  // Jet's result types where the translator knows them
};

// A dynaset over a table (editable) or a query (read-only): rows held in memory with move,
// find-first, add, edit, update and delete. For the registry and tools that edit row by row;
// bulk reads go through Cursor, bulk writes through TableWriter.
class Recordset {
 public:
  Recordset() = default;
  static Recordset openTable(Database& db, const std::string& table);
  static Recordset openQuery(Database& db, const std::string& jetSql,
                             const std::vector<Value>& params = {});

  bool isOpen() const { return open_; }
  void close();
  bool editable() const { return !table_.empty(); }

  std::int64_t recordCount() const { return static_cast<std::int64_t>(rows_.size()); }
  bool eof() const { return pos_ >= static_cast<std::int64_t>(rows_.size()); }
  bool bof() const { return pos_ < 0; }
  void moveFirst();
  void moveLast();
  void moveNext();
  void movePrevious();
  std::int64_t position() const { return pos_; }

  int fieldCount() const { return static_cast<int>(fields_.size()); }
  const FieldDef& field(int i) const { return fields_.at(static_cast<std::size_t>(i)); }
  int fieldIndex(const std::string& name) const;  // case-blind; -1 when absent
  const Value& value(int i) const;
  const Value& value(const std::string& name) const;
  double getDouble(const std::string& name) const { return valueToDouble(value(name)); }
  std::string getText(const std::string& name) const { return valueToText(value(name)); }

  // Moves to the first row that meets a Jet criterion such as "查询表名='Au'"; values may be
  // bound with '?'. Returns false (no match) and leaves the position past the end.
  bool findFirst(const std::string& criterion, const std::vector<Value>& params = {});

  void addNew();
  void edit();
  void set(int i, Value v);
  void set(const std::string& name, Value v);  // converted to the field's type, as Jet does
  void update();
  void cancelUpdate();
  void remove();  // deletes the current row; the position stays on the next row

 private:
  Database* db_ = nullptr;
  std::string table_;
  std::vector<FieldDef> fields_;
  std::vector<std::int64_t> rowids_;
  std::vector<std::vector<Value>> rows_;
  std::int64_t pos_ = 0;
  bool open_ = false;
  enum class EditMode { None, Add, Edit } mode_ = EditMode::None;
  std::vector<Value> buffer_;
  std::vector<bool> touched_;
};

// Bulk insert into one table inside one transaction. Values are converted to their column's type
// as Jet does (SINGLE rounded to float, LONG/INTEGER/BYTE rounded and range-checked, dates to
// their stored text); text widths are trusted.
class TableWriter {
 public:
  TableWriter(Database& db, const std::string& table, const std::vector<std::string>& columns);
  ~TableWriter();
  TableWriter(const TableWriter&) = delete;
  TableWriter& operator=(const TableWriter&) = delete;

  void setDouble(int col, double v);
  void setInt(int col, std::int64_t v);
  void setText(int col, const std::string& v);
  void setNull(int col);
  void set(int col, const Value& v);
  void addRow();
  void commit();
  std::int64_t rowsWritten() const { return rows_; }

 private:
  Database& db_;
  sqlite3_stmt* st_ = nullptr;
  std::vector<FieldDef> fields_;  // the type of each written column
  std::int64_t rows_ = 0;
  bool done_ = false;
  bool ownTransaction_ = false;
};

}  // namespace sarnoth
