#include "workarea/table_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unordered_map>
#include <unordered_set>

#include "workarea/jet_runtime.h"
#include "workarea/jet_sql.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"

namespace sarnoth {
namespace {

std::string lower(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}

bool iequals(const std::string& a, const std::string& b) { return lower(a) == lower(b); }

[[noreturn]] void fail(sqlite3* db, const std::string& what) {
  std::string msg = db ? sqlite3_errmsg(db) : "database is not open";
  throw StoreError(what.empty() ? msg : what + ": " + msg);
}

// A name quoted for SQLite itself: "a""b". Jet text uses brackets, which SQLite reads too but
// without any escape for ']'; translateJetSql turns brackets into this form.
std::string qid(const std::string& name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

// Converts a value to a field's type as Jet does when a field is written; throws StoreError
// with Jet's text. `checkWidth` refuses text longer than a TEXT(n) field holds.
Value toFieldType(const FieldDef& f, Value v, bool checkWidth) {
  if (isNull(v)) return v;
  auto number = [&]() {
    if (auto* d = std::get_if<double>(&v)) return *d;
    if (auto* i = std::get_if<std::int64_t>(&v)) return static_cast<double>(*i);
    double d;
    if (!jet::parseNumber(std::get<std::string>(v), d))
      throw StoreError("Data type conversion error.");
    return d;
  };
  auto integer = [&](double lo, double hi) -> Value {
    if (auto* i = std::get_if<std::int64_t>(&v)) {
      if (static_cast<double>(*i) < lo || static_cast<double>(*i) > hi)
        throw StoreError("Overflow");
      return v;
    }
    double d = number();
    if (static_cast<float>(d) == NULL_VALUE) return d;  // the tools' null in any numeric field
    d = jet::roundHalfEven(d);
    if (!(d >= lo && d <= hi)) throw StoreError("Overflow");
    return static_cast<std::int64_t>(d);
  };
  switch (f.type) {
    case JetType::Single: {
      double d = number();
      if (std::fabs(d) > 3.4028234663852886e38) throw StoreError("Overflow");
      return static_cast<double>(static_cast<float>(d));
    }
    case JetType::Double:
      return std::holds_alternative<std::string>(v) ? Value(number()) : v;
    case JetType::Long:
      return integer(-2147483648.0, 2147483647.0);
    case JetType::Integer:
      return integer(-32768.0, 32767.0);
    case JetType::Byte:
      return integer(0.0, 255.0);
    case JetType::Bit: {
      if (auto* t = std::get_if<std::string>(&v)) {
        std::string l = jet::lowerText(*t);
        if (l == "true" || l == "yes" || l == "on") return std::int64_t{-1};
        if (l == "false" || l == "no" || l == "off") return std::int64_t{0};
      }
      return std::int64_t{number() != 0 ? -1 : 0};
    }
    case JetType::Currency: {
      double d = number();
      if (static_cast<float>(d) == NULL_VALUE) return d;
      return jet::roundHalfEven(d * 10000.0) / 10000.0;
    }
    case JetType::Date: {
      double linear;
      if (auto* t = std::get_if<std::string>(&v)) {
        if (!jet::parseDate(*t, linear)) throw StoreError("Data type conversion error.");
      } else {
        linear = jet::linearOfSerial(number());
      }
      std::string out;
      if (!jet::dateText(linear, out)) throw StoreError("Overflow");
      return out;
    }
    case JetType::Text:
    case JetType::Memo: {
      std::string t;
      if (auto* d = std::get_if<double>(&v))
        t = jet::numberText(*d, false);
      else
        t = valueToText(v);
      if (checkWidth && f.type == JetType::Text && f.size > 0) {
        std::size_t chars = 0;
        for (unsigned char c : t) chars += (c & 0xC0) != 0x80;
        if (chars > static_cast<std::size_t>(f.size))
          throw StoreError(
              "The field is too small to accept the amount of data you attempted to add.");
      }
      return t;
    }
    default:
      return v;
  }
}
}  // namespace

// ---- FieldDef --------------------------------------------------------------------------------

std::string FieldDef::declared() const {
  switch (type) {
    case JetType::Bit:
      return "BIT";
    case JetType::Byte:
      return "BYTE";
    case JetType::Integer:
      return "INTEGER";
    case JetType::Long:
      return "LONG";
    case JetType::Currency:
      return "CURRENCY";
    case JetType::Single:
      return "SINGLE";
    case JetType::Double:
      return "DOUBLE";
    case JetType::Date:
      return "DATE";
    case JetType::Text:
      return "TEXT(" + std::to_string(size > 0 ? size : 255) + ")";
    case JetType::Memo:
      return "MEMO";
    case JetType::Other:
      return "BLOB";
  }
  return "DOUBLE";
}

bool FieldDef::isNumeric() const {
  return type == JetType::Integer || type == JetType::Long || type == JetType::Single ||
         type == JetType::Double;
}

FieldDef FieldDef::parse(const std::string& name, const std::string& declaredType) {
  FieldDef f;
  f.name = name;
  std::string t = lower(declaredType);
  std::size_t paren = t.find('(');
  std::string base = t.substr(0, paren);
  while (!base.empty() && base.back() == ' ') base.pop_back();
  int size = 0;
  if (paren != std::string::npos) size = std::atoi(t.c_str() + paren + 1);
  if (base == "single" || base == "real" || base == "float4" || base == "ieeesingle")
    f.type = JetType::Single;
  else if (base == "double" || base == "float" || base == "float8" || base == "ieeedouble" ||
           base == "number" || base == "numeric" || base == "decimal")
    f.type = JetType::Double;
  else if (base == "long" || base == "counter" || base == "autoincrement" || base == "int" ||
           base == "integer4" || base == "bigint")
    f.type = JetType::Long;
  else if (base == "integer" || base == "short" || base == "smallint" || base == "integer2")
    f.type = JetType::Integer;
  else if (base == "byte" || base == "tinyint")
    f.type = JetType::Byte;
  else if (base == "bit" || base == "yesno" || base == "logical" || base == "boolean")
    f.type = JetType::Bit;
  else if (base == "currency" || base == "money")
    f.type = JetType::Currency;
  else if (base == "date" || base == "datetime" || base == "time" || base == "timestamp")
    f.type = JetType::Date;
  else if (base == "text" || base == "varchar" || base == "char" || base == "string" ||
           base == "nvarchar" || base == "alphanumeric") {
    f.type = JetType::Text;
    f.size = size > 0 ? size : 255;
  } else if (base == "memo" || base == "longtext" || base == "note")
    f.type = JetType::Memo;
  else
    f.type = JetType::Other;
  return f;
}

double valueToDouble(const Value& v) {
  if (auto* d = std::get_if<double>(&v)) return *d;
  if (auto* i = std::get_if<std::int64_t>(&v)) return static_cast<double>(*i);
  if (auto* s = std::get_if<std::string>(&v)) return std::strtod(s->c_str(), nullptr);
  return 0.0;
}

std::string valueToText(const Value& v) {
  if (auto* s = std::get_if<std::string>(&v)) return *s;
  if (auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
  if (auto* d = std::get_if<double>(&v)) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.9g", *d);
    return buf;
  }
  return {};
}

std::string bracket(const std::string& name) {
  std::string out = "[";
  for (char c : name) {
    out += c;
    if (c == ']') out += ']';
  }
  return out + "]";
}

// ---- dialect ---------------------------------------------------------------------------------

std::string translateJetSql(const std::string& s) { return translateJet(s).sql; }

// ---- Database --------------------------------------------------------------------------------

// The fields of the tables the translator has asked about, kept while the schema is unchanged.
struct Database::SchemaCache {
  sqlite3_stmt* version = nullptr;
  std::int64_t seen = -1;
  std::unordered_map<std::string, std::vector<FieldDef>> tables;
  std::unordered_set<std::string> missing;
  ~SchemaCache() { sqlite3_finalize(version); }
};

Database::Database() = default;
Database::~Database() { close(); }
Database::Database(Database&& o) noexcept
    : db_(o.db_), path_(std::move(o.path_)), schema_(std::move(o.schema_)) {
  o.db_ = nullptr;
}
Database& Database::operator=(Database&& o) noexcept {
  if (this != &o) {
    close();
    db_ = o.db_;
    path_ = std::move(o.path_);
    schema_ = std::move(o.schema_);
    o.db_ = nullptr;
  }
  return *this;
}

Database Database::open(const std::string& path, bool create) {
  Database d;
  d.path_ = resolvePath(path);
  if (!create && !std::filesystem::exists(d.path_)) throw StoreError("找不到数据库文件: " + path);
  int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0);
  if (sqlite3_open_v2(d.path_.c_str(), &d.db_, flags, nullptr) != SQLITE_OK) {
    std::string msg = d.db_ ? sqlite3_errmsg(d.db_) : "cannot open";
    sqlite3_close(d.db_);
    d.db_ = nullptr;
    throw StoreError(msg);
  }
  // A second writer waits for the first instead of failing at once.
  sqlite3_busy_timeout(d.db_, 30000);
  // A quoted name that matches no column must be an error, never a string: the dialect's
  // [names] arrive here quoted.
  sqlite3_db_config(d.db_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(d.db_, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  sqlite3_extended_result_codes(d.db_, 0);
  // Touch the catalogue so that a file that is not a database fails here, not in a tool.
  char* err = nullptr;
  if (sqlite3_exec(d.db_, "PRAGMA synchronous=NORMAL; SELECT count(*) FROM sqlite_master;", nullptr,
                   nullptr, &err) != SQLITE_OK) {
    std::string msg = err ? err : sqlite3_errmsg(d.db_);
    sqlite3_free(err);
    sqlite3_close(d.db_);
    d.db_ = nullptr;
    throw StoreError(msg);
  }
  sqlite3_exec(d.db_, "PRAGMA cache_size=-65536;", nullptr, nullptr, nullptr);
  jet::registerRuntime(d.db_);
  d.schema_ = std::make_unique<SchemaCache>();
  return d;
}

void Database::close() {
  schema_.reset();
  if (db_) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
  }
}

namespace {

sqlite3_stmt* prepare(sqlite3* db, const std::string& sql) {
  if (!db) throw StoreError("database is not open");
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &st, nullptr) !=
      SQLITE_OK) {
    std::string msg = sqlite3_errmsg(db);
    sqlite3_finalize(st);
    // Jet's own words for a table that is not there.
    const std::string noTable = "no such table: ";
    if (msg.rfind(noTable, 0) == 0)
      msg = "The Microsoft Jet database engine cannot find the input table or query '" +
            msg.substr(noTable.size()) + "'.";
    throw StoreError(msg);
  }
  if (!st) throw StoreError("empty statement");
  return st;
}

void bindValue(sqlite3_stmt* st, int idx, const Value& v) {
  if (auto* d = std::get_if<double>(&v))
    sqlite3_bind_double(st, idx, *d);
  else if (auto* i = std::get_if<std::int64_t>(&v))
    sqlite3_bind_int64(st, idx, *i);
  else if (auto* s = std::get_if<std::string>(&v))
    sqlite3_bind_text(st, idx, s->c_str(), static_cast<int>(s->size()), SQLITE_TRANSIENT);
  else
    sqlite3_bind_null(st, idx);
}

void bindAll(sqlite3_stmt* st, const std::vector<Value>& params) {
  int n = sqlite3_bind_parameter_count(st);
  if (static_cast<int>(params.size()) < n)
    throw StoreError("Too few parameters. Expected " + std::to_string(n) + ".");
  for (std::size_t i = 0; i < params.size() && static_cast<int>(i) < n; ++i)
    bindValue(st, static_cast<int>(i) + 1, params[i]);
}

Value columnValue(sqlite3_stmt* st, int i) {
  switch (sqlite3_column_type(st, i)) {
    case SQLITE_INTEGER:
      return static_cast<std::int64_t>(sqlite3_column_int64(st, i));
    case SQLITE_FLOAT:
      return sqlite3_column_double(st, i);
    case SQLITE_NULL:
      return std::monostate{};
    default: {
      const unsigned char* t = sqlite3_column_text(st, i);
      return std::string(t ? reinterpret_cast<const char*>(t) : "",
                         static_cast<std::size_t>(sqlite3_column_bytes(st, i)));
    }
  }
}

struct StmtGuard {
  sqlite3_stmt* st;
  ~StmtGuard() { sqlite3_finalize(st); }
};

void exec(sqlite3* db, const std::string& sql) {
  char* err = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
    std::string msg = err ? err : sqlite3_errmsg(db);
    sqlite3_free(err);
    throw StoreError(msg);
  }
}

}  // namespace

const std::vector<FieldDef>* Database::cachedFields(const std::string& table) {
  if (!schema_ || !db_) return nullptr;
  if (!schema_->version) schema_->version = prepare(db_, "PRAGMA schema_version");
  sqlite3_reset(schema_->version);
  std::int64_t v =
      sqlite3_step(schema_->version) == SQLITE_ROW ? sqlite3_column_int64(schema_->version, 0) : -2;
  sqlite3_reset(schema_->version);
  if (v != schema_->seen) {
    schema_->tables.clear();
    schema_->missing.clear();
    schema_->seen = v;
  }
  std::string key = jet::lowerText(table);
  auto it = schema_->tables.find(key);
  if (it != schema_->tables.end()) return &it->second;
  if (schema_->missing.count(key)) return nullptr;
  if (!tableExists(table)) {
    schema_->missing.insert(key);
    return nullptr;
  }
  return &(schema_->tables[key] = fields(table));
}

JetTranslation Database::translate(const std::string& jetSql) {
  return translateJet(jetSql, [this](const std::string& t) { return cachedFields(t); });
}

std::int64_t Database::execute(const std::string& jetSql, const std::vector<Value>& params) {
  JetTranslation tr = translate(jetSql);
  switch (tr.kind) {
    case JetStatementKind::SelectInto:
      return executeSelectInto(tr, params);
    case JetStatementKind::AlterColumn:
      alterColumn(tr);
      return 0;
    case JetStatementKind::CreateTable:
      if (tableExists(tr.target)) throw StoreError("Table '" + tr.target + "' already exists.");
      break;
    case JetStatementKind::DropTable:
    case JetStatementKind::AddColumn:
    case JetStatementKind::DropColumn:
    case JetStatementKind::CreateIndex:
      if (!tableExists(tr.target)) throw StoreError("Table '" + tr.target + "' does not exist.");
      break;
    default:
      break;
  }
  sqlite3_stmt* st = prepare(db_, tr.sql);
  StmtGuard g{st};
  bindAll(st, params);
  int rc;
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) fail(db_, "");
  return tr.writesRows() ? sqlite3_changes64(db_) : 0;
}

std::int64_t Database::executeSelectInto(const JetTranslation& tr,
                                         const std::vector<Value>& params) {
  if (tableExists(tr.target)) throw StoreError("Table '" + tr.target + "' already exists.");
  std::vector<FieldDef> defs = tr.columns;
  bool unknown = false;
  for (const auto& d : defs) unknown |= d.type == JetType::Other;
  if (unknown) {
    // Types the statement does not tell are taken from the first row's values.
    sqlite3_stmt* st = prepare(db_, tr.sql);
    StmtGuard g{st};
    bindAll(st, params);
    int rc = sqlite3_step(st);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) fail(db_, "");
    for (std::size_t i = 0; i < defs.size(); ++i) {
      if (defs[i].type != JetType::Other) continue;
      int t = rc == SQLITE_ROW ? sqlite3_column_type(st, static_cast<int>(i)) : SQLITE_NULL;
      defs[i].type = t == SQLITE_TEXT      ? JetType::Text
                     : t == SQLITE_INTEGER ? JetType::Long
                                           : JetType::Double;
      if (defs[i].type == JetType::Text) defs[i].size = 255;
    }
  }
  bool own = sqlite3_get_autocommit(db_) != 0;
  if (own) begin();
  try {
    createTable(tr.target, defs);
    sqlite3_stmt* is = prepare(db_, "INSERT INTO " + qid(tr.target) + " " + tr.sql);
    StmtGuard ig{is};
    bindAll(is, params);
    if (sqlite3_step(is) != SQLITE_DONE) fail(db_, "");
    std::int64_t changed = sqlite3_changes64(db_);
    if (own) commit();
    return changed;
  } catch (...) {
    if (own) rollback();
    throw;
  }
}

// SQLite cannot change a column's type: the table is rebuilt with the new definition and its
// values converted as Jet converts them (a value that does not fit fails the whole statement).
void Database::alterColumn(const JetTranslation& tr) {
  if (!tableExists(tr.target)) throw StoreError("Table '" + tr.target + "' does not exist.");
  std::vector<FieldDef> defs = fields(tr.target);
  std::size_t at = defs.size();
  for (std::size_t i = 0; i < defs.size(); ++i)
    if (iequals(defs[i].name, tr.column.name)) at = i;
  if (at == defs.size())
    throw StoreError("Field '" + tr.column.name + "' does not exist in table '" + tr.target + "'.");
  FieldDef changed = tr.column;
  changed.name = defs[at].name;
  std::vector<std::string> indexes;
  {
    sqlite3_stmt* st = prepare(
        db_, "SELECT sql FROM sqlite_master WHERE type='index' AND tbl_name=? AND sql NOT NULL");
    StmtGuard g{st};
    sqlite3_bind_text(st, 1, tr.target.c_str(), -1, SQLITE_TRANSIENT);
    while (sqlite3_step(st) == SQLITE_ROW)
      indexes.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
  }
  std::string select;
  for (std::size_t i = 0; i < defs.size(); ++i) {
    std::string c = qid(defs[i].name);
    if (i == at) {
      std::string fn = writeConversion(changed);
      if (fn == "jet_text")
        c = "jet_text(" + c + ", " +
            std::to_string(changed.type == JetType::Text ? changed.size : 0) + ")";
      else if (!fn.empty())
        c = fn + "(" + c + ")";
    }
    select += (i ? ", " : "") + c;
  }
  defs[at] = changed;
  std::string scratch = tr.target + "__altering";
  bool own = sqlite3_get_autocommit(db_) != 0;
  if (own) begin();
  try {
    createTable(scratch, defs);
    exec(db_, "INSERT INTO " + qid(scratch) + " SELECT " + select + " FROM " + qid(tr.target) +
                  " ORDER BY rowid");
    exec(db_, "DROP TABLE " + qid(tr.target));
    exec(db_, "ALTER TABLE " + qid(scratch) + " RENAME TO " + qid(tr.target));
    for (const auto& ix : indexes) exec(db_, ix);
    if (own) commit();
  } catch (...) {
    if (own) rollback();
    throw;
  }
}

Cursor Database::query(const std::string& jetSql, const std::vector<Value>& params) {
  JetTranslation tr = translate(jetSql);
  if (tr.kind != JetStatementKind::Select)
    throw StoreError("Only a Select returns rows; run other statements with execute.");
  sqlite3_stmt* st = prepare(db_, tr.sql);
  try {
    bindAll(st, params);
  } catch (...) {
    sqlite3_finalize(st);
    throw;
  }
  Cursor c(db_, st);
  c.types_ = std::move(tr.columns);
  return c;
}

Value Database::scalar(const std::string& jetSql, const std::vector<Value>& params) {
  Cursor c = query(jetSql, params);
  if (!c.next() || c.columnCount() == 0) return std::monostate{};
  return c.get(0);
}

std::vector<std::string> Database::tableNames() const {
  std::vector<std::string> names;
  sqlite3_stmt* st =
      prepare(db_,
              "SELECT name FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite\\_%' "
              "ESCAPE '\\' ORDER BY rowid");
  StmtGuard g{st};
  while (sqlite3_step(st) == SQLITE_ROW)
    names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
  return names;
}

bool Database::tableExists(const std::string& name) const {
  sqlite3_stmt* st =
      prepare(db_, "SELECT 1 FROM sqlite_master WHERE type='table' AND name=? COLLATE NOCASE");
  StmtGuard g{st};
  sqlite3_bind_text(st, 1, name.c_str(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
  return sqlite3_step(st) == SQLITE_ROW;
}

std::vector<FieldDef> Database::fields(const std::string& table) const {
  std::vector<FieldDef> out;
  sqlite3_stmt* st = prepare(db_, "SELECT name, type FROM pragma_table_info(?)");
  StmtGuard g{st};
  sqlite3_bind_text(st, 1, table.c_str(), static_cast<int>(table.size()), SQLITE_TRANSIENT);
  while (sqlite3_step(st) == SQLITE_ROW) {
    const char* n = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    const char* t = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
    out.push_back(FieldDef::parse(n ? n : "", t ? t : ""));
  }
  return out;
}

void Database::createTable(const std::string& name, const std::vector<FieldDef>& fields) {
  if (fields.empty()) throw StoreError("Table '" + name + "' must have at least one field.");
  std::string sql = "CREATE TABLE " + qid(name) + " (";
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i) sql += ", ";
    sql += qid(fields[i].name) + " " + storageDeclaration(fields[i]);
  }
  sql += ")";
  exec(db_, sql);
}

void Database::dropTable(const std::string& name) { exec(db_, "DROP TABLE " + qid(name)); }

std::int64_t Database::rowCount(const std::string& table) {
  return static_cast<std::int64_t>(valueToDouble(scalar("SELECT count(*) FROM " + bracket(table))));
}

void Database::roundSingles(const std::string& table) {
  for (const auto& f : fields(table)) {
    if (f.type != JetType::Single) continue;
    std::string c = qid(f.name);
    exec(db_, "UPDATE " + qid(table) + " SET " + c + " = jet_single(" + c + ") WHERE typeof(" + c +
                  ")='real' AND " + c + " <> jet_single(" + c + ")");
  }
}

void Database::compact() { exec(db_, "VACUUM"); }

void Database::begin() { exec(db_, "BEGIN IMMEDIATE"); }
void Database::commit() { exec(db_, "COMMIT"); }
void Database::rollback() { sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr); }

// ---- Cursor ----------------------------------------------------------------------------------

Cursor::~Cursor() { sqlite3_finalize(st_); }
Cursor::Cursor(Cursor&& o) noexcept : db_(o.db_), st_(o.st_), types_(std::move(o.types_)) {
  o.st_ = nullptr;
}
Cursor& Cursor::operator=(Cursor&& o) noexcept {
  if (this != &o) {
    sqlite3_finalize(st_);
    db_ = o.db_;
    st_ = o.st_;
    types_ = std::move(o.types_);
    o.st_ = nullptr;
  }
  return *this;
}

bool Cursor::next() {
  if (!st_) return false;
  int rc = sqlite3_step(st_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  fail(db_, "");
}
int Cursor::columnCount() const { return st_ ? sqlite3_column_count(st_) : 0; }
std::string Cursor::columnName(int i) const {
  const char* n = sqlite3_column_name(st_, i);
  return n ? n : "";
}
int Cursor::columnIndex(const std::string& name) const {
  for (int i = 0; i < columnCount(); ++i)
    if (iequals(columnName(i), name)) return i;
  return -1;
}
FieldDef Cursor::columnField(int i) const {
  if (i >= 0 && static_cast<std::size_t>(i) < types_.size() &&
      types_[static_cast<std::size_t>(i)].type != JetType::Other)
    return types_[static_cast<std::size_t>(i)];
  const char* d = sqlite3_column_decltype(st_, i);
  return FieldDef::parse(columnName(i), d ? d : "DOUBLE");
}
bool Cursor::isNull(int i) const { return sqlite3_column_type(st_, i) == SQLITE_NULL; }
double Cursor::getDouble(int i) const { return sqlite3_column_double(st_, i); }
std::int64_t Cursor::getInt(int i) const { return sqlite3_column_int64(st_, i); }
std::string Cursor::getText(int i) const {
  const unsigned char* t = sqlite3_column_text(st_, i);
  return t ? std::string(reinterpret_cast<const char*>(t),
                         static_cast<std::size_t>(sqlite3_column_bytes(st_, i)))
           : std::string();
}
Value Cursor::get(int i) const { return columnValue(st_, i); }

// ---- Recordset -------------------------------------------------------------------------------

Recordset Recordset::openTable(Database& db, const std::string& table) {
  Recordset r;
  r.db_ = &db;
  if (!db.tableExists(table))
    throw StoreError("The Microsoft Jet database engine cannot find the input table or query '" +
                     table + "'.");
  r.table_ = table;
  r.fields_ = db.fields(table);
  sqlite3_stmt* st = prepare(db.handle(), "SELECT rowid, * FROM " + qid(table) + " ORDER BY rowid");
  StmtGuard g{st};
  int rc;
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
    r.rowids_.push_back(sqlite3_column_int64(st, 0));
    std::vector<Value> row;
    row.reserve(r.fields_.size());
    for (std::size_t i = 0; i < r.fields_.size(); ++i)
      row.push_back(columnValue(st, static_cast<int>(i) + 1));
    r.rows_.push_back(std::move(row));
  }
  if (rc != SQLITE_DONE) fail(db.handle(), "");
  r.open_ = true;
  r.pos_ = 0;
  return r;
}

Recordset Recordset::openQuery(Database& db, const std::string& jetSql,
                               const std::vector<Value>& params) {
  Recordset r;
  r.db_ = &db;
  Cursor c = db.query(jetSql, params);
  for (int i = 0; i < c.columnCount(); ++i) r.fields_.push_back(c.columnField(i));
  while (c.next()) {
    std::vector<Value> row;
    for (int i = 0; i < c.columnCount(); ++i) row.push_back(c.get(i));
    r.rows_.push_back(std::move(row));
  }
  r.open_ = true;
  r.pos_ = 0;
  return r;
}

void Recordset::close() {
  open_ = false;
  rows_.clear();
  rowids_.clear();
  mode_ = EditMode::None;
}

void Recordset::moveFirst() { pos_ = 0; }
void Recordset::moveLast() {
  pos_ = rows_.empty() ? 0 : static_cast<std::int64_t>(rows_.size()) - 1;
}
void Recordset::moveNext() {
  if (pos_ < static_cast<std::int64_t>(rows_.size())) ++pos_;
}
void Recordset::movePrevious() {
  if (pos_ >= 0) --pos_;
}

int Recordset::fieldIndex(const std::string& name) const {
  for (std::size_t i = 0; i < fields_.size(); ++i)
    if (iequals(fields_[i].name, name)) return static_cast<int>(i);
  return -1;
}

const Value& Recordset::value(int i) const {
  if (!open_ || eof() || bof()) throw StoreError("No current record.");
  if (i < 0 || i >= fieldCount()) throw StoreError("Item not found in this collection.");
  if (mode_ != EditMode::None && touched_[static_cast<std::size_t>(i)])
    return buffer_[static_cast<std::size_t>(i)];
  return rows_[static_cast<std::size_t>(pos_)][static_cast<std::size_t>(i)];
}

const Value& Recordset::value(const std::string& name) const {
  int i = fieldIndex(name);
  if (i < 0) throw StoreError("Item not found in this collection.");
  return value(i);
}

bool Recordset::findFirst(const std::string& criterion, const std::vector<Value>& params) {
  if (!editable()) throw StoreError("Operation is not supported for this type of object.");
  std::unordered_set<std::int64_t> hits;
  Cursor c = db_->query("SELECT rowid FROM " + bracket(table_) + " WHERE " + criterion, params);
  while (c.next()) hits.insert(c.getInt(0));
  for (std::size_t k = 0; k < rowids_.size(); ++k)
    if (hits.count(rowids_[k])) {
      pos_ = static_cast<std::int64_t>(k);
      return true;
    }
  pos_ = static_cast<std::int64_t>(rows_.size());
  return false;
}

void Recordset::addNew() {
  if (!editable()) throw StoreError("Database or object is read-only.");
  mode_ = EditMode::Add;
  buffer_.assign(fields_.size(), std::monostate{});
  touched_.assign(fields_.size(), false);
}

void Recordset::edit() {
  if (!editable()) throw StoreError("Database or object is read-only.");
  if (eof() || bof()) throw StoreError("No current record.");
  mode_ = EditMode::Edit;
  buffer_ = rows_[static_cast<std::size_t>(pos_)];
  touched_.assign(fields_.size(), false);
}

void Recordset::set(int i, Value v) {
  if (mode_ == EditMode::None) throw StoreError("Update or CancelUpdate without AddNew or Edit.");
  if (i < 0 || i >= fieldCount()) throw StoreError("Item not found in this collection.");
  auto k = static_cast<std::size_t>(i);
  buffer_[k] = toFieldType(fields_[k], std::move(v), true);
  touched_[k] = true;
}

void Recordset::set(const std::string& name, Value v) {
  int i = fieldIndex(name);
  if (i < 0) throw StoreError("Item not found in this collection.");
  set(i, std::move(v));
}

void Recordset::update() {
  if (mode_ == EditMode::None) throw StoreError("Update or CancelUpdate without AddNew or Edit.");
  std::vector<std::size_t> cols;
  for (std::size_t k = 0; k < fields_.size(); ++k)
    if (touched_[k]) cols.push_back(k);
  sqlite3* h = db_->handle();
  if (mode_ == EditMode::Add) {
    std::string sql = "INSERT INTO " + qid(table_);
    if (cols.empty()) {
      sql += " DEFAULT VALUES";
    } else {
      sql += " (";
      std::string vals;
      for (std::size_t j = 0; j < cols.size(); ++j) {
        if (j) {
          sql += ", ";
          vals += ", ";
        }
        sql += qid(fields_[cols[j]].name);
        vals += "?";
      }
      sql += ") VALUES (" + vals + ")";
    }
    sqlite3_stmt* st = prepare(h, sql);
    StmtGuard g{st};
    for (std::size_t j = 0; j < cols.size(); ++j)
      bindValue(st, static_cast<int>(j) + 1, buffer_[cols[j]]);
    if (sqlite3_step(st) != SQLITE_DONE) fail(h, "");
    rowids_.push_back(sqlite3_last_insert_rowid(h));
    rows_.push_back(buffer_);
  } else {
    if (!cols.empty()) {
      std::string sql = "UPDATE " + qid(table_) + " SET ";
      for (std::size_t j = 0; j < cols.size(); ++j) {
        if (j) sql += ", ";
        sql += qid(fields_[cols[j]].name) + " = ?";
      }
      sql += " WHERE rowid = ?";
      sqlite3_stmt* st = prepare(h, sql);
      StmtGuard g{st};
      for (std::size_t j = 0; j < cols.size(); ++j)
        bindValue(st, static_cast<int>(j) + 1, buffer_[cols[j]]);
      sqlite3_bind_int64(st, static_cast<int>(cols.size()) + 1,
                         rowids_[static_cast<std::size_t>(pos_)]);
      if (sqlite3_step(st) != SQLITE_DONE) fail(h, "");
    }
    rows_[static_cast<std::size_t>(pos_)] = buffer_;
  }
  mode_ = EditMode::None;
}

void Recordset::cancelUpdate() { mode_ = EditMode::None; }

void Recordset::remove() {
  if (!editable()) throw StoreError("Database or object is read-only.");
  if (eof() || bof()) throw StoreError("No current record.");
  sqlite3* h = db_->handle();
  sqlite3_stmt* st = prepare(h, "DELETE FROM " + qid(table_) + " WHERE rowid = ?");
  StmtGuard g{st};
  sqlite3_bind_int64(st, 1, rowids_[static_cast<std::size_t>(pos_)]);
  if (sqlite3_step(st) != SQLITE_DONE) fail(h, "");
  rowids_.erase(rowids_.begin() + pos_);
  rows_.erase(rows_.begin() + pos_);
}

// ---- TableWriter -----------------------------------------------------------------------------

TableWriter::TableWriter(Database& db, const std::string& table,
                         const std::vector<std::string>& columns)
    : db_(db) {
  auto defs = db.fields(table);
  if (defs.empty())
    throw StoreError("The Microsoft Jet database engine cannot find the input table or query '" +
                     table + "'.");
  std::string sql = "INSERT INTO " + qid(table) + " (";
  std::string vals;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i) {
      sql += ", ";
      vals += ", ";
    }
    sql += qid(columns[i]);
    vals += "?";
    FieldDef f{columns[i], JetType::Other, 0};
    for (const auto& d : defs)
      if (iequals(d.name, columns[i])) f = d;
    fields_.push_back(f);
  }
  sql += ") VALUES (" + vals + ")";
  st_ = prepare(db.handle(), sql);
  // Alone it takes the write lock at once; inside a caller's transaction it is a savepoint.
  ownTransaction_ = sqlite3_get_autocommit(db.handle()) != 0;
  const char* open = ownTransaction_ ? "BEGIN IMMEDIATE" : "SAVEPOINT sarnoth_writer";
  if (sqlite3_exec(db.handle(), open, nullptr, nullptr, nullptr) != SQLITE_OK) {
    std::string msg = sqlite3_errmsg(db.handle());
    sqlite3_finalize(st_);
    st_ = nullptr;
    throw StoreError(msg);
  }
}

TableWriter::~TableWriter() {
  sqlite3_finalize(st_);
  if (!done_)
    sqlite3_exec(
        db_.handle(),
        ownTransaction_ ? "ROLLBACK" : "ROLLBACK TO sarnoth_writer; RELEASE sarnoth_writer",
        nullptr, nullptr, nullptr);
}

void TableWriter::setDouble(int col, double v) {
  const FieldDef& f = fields_[static_cast<std::size_t>(col)];
  if (f.type == JetType::Single) {
    sqlite3_bind_double(st_, col + 1, static_cast<double>(static_cast<float>(v)));
  } else if (f.type == JetType::Double || f.type == JetType::Other) {
    sqlite3_bind_double(st_, col + 1, v);
  } else {
    bindValue(st_, col + 1, toFieldType(f, v, false));
  }
}
void TableWriter::setInt(int col, std::int64_t v) {
  const FieldDef& f = fields_[static_cast<std::size_t>(col)];
  if (f.type == JetType::Long && v >= INT32_MIN && v <= INT32_MAX)
    sqlite3_bind_int64(st_, col + 1, v);
  else
    bindValue(st_, col + 1, toFieldType(f, v, false));
}
void TableWriter::setText(int col, const std::string& v) {
  const FieldDef& f = fields_[static_cast<std::size_t>(col)];
  if (f.type == JetType::Text || f.type == JetType::Memo || f.type == JetType::Other)
    sqlite3_bind_text(st_, col + 1, v.c_str(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
  else
    bindValue(st_, col + 1, toFieldType(f, v, false));
}
void TableWriter::setNull(int col) { sqlite3_bind_null(st_, col + 1); }
void TableWriter::set(int col, const Value& v) {
  if (auto* d = std::get_if<double>(&v))
    setDouble(col, *d);
  else if (auto* i = std::get_if<std::int64_t>(&v))
    setInt(col, *i);
  else if (auto* s = std::get_if<std::string>(&v))
    setText(col, *s);
  else
    setNull(col);
}

void TableWriter::addRow() {
  if (sqlite3_step(st_) != SQLITE_DONE) {
    std::string msg = sqlite3_errmsg(db_.handle());
    sqlite3_reset(st_);
    throw StoreError(msg);
  }
  sqlite3_reset(st_);
  sqlite3_clear_bindings(st_);
  ++rows_;
}

void TableWriter::commit() {
  if (done_) return;
  sqlite3_finalize(st_);
  st_ = nullptr;
  if (sqlite3_exec(db_.handle(), ownTransaction_ ? "COMMIT" : "RELEASE sarnoth_writer", nullptr,
                   nullptr, nullptr) != SQLITE_OK)
    fail(db_.handle(), "");
  done_ = true;
}

}  // namespace sarnoth
