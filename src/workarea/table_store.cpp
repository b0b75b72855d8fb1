#include "workarea/table_store.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unordered_set>

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

bool isWordChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

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

// The float null as SQL text: the double nearest the float, which round-trips exactly.
std::string nullLiteral() {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", NULL_VALUE_D);
  return buf;
}

// ---- SQL functions the Jet dialect has and SQLite lacks ------------------------------------

struct VarianceAcc {
  std::int64_t n;
  double mean;
  double m2;
};

void varianceStep(sqlite3_context* ctx, int, sqlite3_value** argv) {
  auto* acc = static_cast<VarianceAcc*>(sqlite3_aggregate_context(ctx, sizeof(VarianceAcc)));
  if (!acc || sqlite3_value_type(argv[0]) == SQLITE_NULL) return;
  double x = sqlite3_value_double(argv[0]);
  acc->n += 1;
  double d = x - acc->mean;
  acc->mean += d / static_cast<double>(acc->n);
  acc->m2 += d * (x - acc->mean);
}

template <bool Sample, bool Root>
void varianceFinal(sqlite3_context* ctx) {
  auto* acc = static_cast<VarianceAcc*>(sqlite3_aggregate_context(ctx, 0));
  std::int64_t need = Sample ? 2 : 1;
  if (!acc || acc->n < need) {
    sqlite3_result_null(ctx);
    return;
  }
  double v = acc->m2 / static_cast<double>(Sample ? acc->n - 1 : acc->n);
  sqlite3_result_double(ctx, Root ? std::sqrt(v) : v);
}

bool anyNull(int argc, sqlite3_value** argv) {
  for (int i = 0; i < argc; ++i)
    if (sqlite3_value_type(argv[i]) == SQLITE_NULL) return true;
  return false;
}

template <double (*F)(double), bool PositiveOnly, bool NonNegative>
void mathFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  double x = sqlite3_value_double(argv[0]);
  if ((PositiveOnly && !(x > 0)) || (NonNegative && x < 0))
    return sqlite3_result_error(ctx, "Invalid procedure call or argument", -1);
  sqlite3_result_double(ctx, F(x));
}
double lnFn(double x) { return std::log(x); }
double sqrtFn(double x) { return std::sqrt(x); }
double expFn(double x) { return std::exp(x); }

void intFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  sqlite3_result_double(ctx, std::floor(sqlite3_value_double(argv[0])));
}
void fixFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  sqlite3_result_double(ctx, std::trunc(sqlite3_value_double(argv[0])));
}
void sgnFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  double x = sqlite3_value_double(argv[0]);
  sqlite3_result_int(ctx, x > 0 ? 1 : x < 0 ? -1 : 0);
}
void singleFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  int t = sqlite3_value_type(argv[0]);
  if (t == SQLITE_TEXT || t == SQLITE_BLOB) return sqlite3_result_value(ctx, argv[0]);
  double x = sqlite3_value_double(argv[0]);
  sqlite3_result_double(ctx, static_cast<double>(static_cast<float>(x)));
}
void iifFn(sqlite3_context* ctx, int, sqlite3_value** argv) {
  bool cond = sqlite3_value_type(argv[0]) != SQLITE_NULL && sqlite3_value_double(argv[0]) != 0.0;
  sqlite3_result_value(ctx, argv[cond ? 1 : 2]);
}
void nzFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (sqlite3_value_type(argv[0]) != SQLITE_NULL) return sqlite3_result_value(ctx, argv[0]);
  if (argc > 1) return sqlite3_result_value(ctx, argv[1]);
  sqlite3_result_int(ctx, 0);
}
void valFn(sqlite3_context* ctx, int, sqlite3_value** argv) {
  const unsigned char* t = sqlite3_value_text(argv[0]);
  sqlite3_result_double(ctx, t ? std::strtod(reinterpret_cast<const char*>(t), nullptr) : 0.0);
}

// Character-based helpers over UTF-8 text.
std::vector<std::size_t> charStarts(const std::string& s) {
  std::vector<std::size_t> v;
  for (std::size_t i = 0; i < s.size(); ++i)
    if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) v.push_back(i);
  return v;
}
std::string textArg(sqlite3_value* v) {
  const unsigned char* t = sqlite3_value_text(v);
  return t ? std::string(reinterpret_cast<const char*>(t)) : std::string();
}
void substrChars(sqlite3_context* ctx, const std::string& s, std::int64_t start, std::int64_t len) {
  auto starts = charStarts(s);
  auto n = static_cast<std::int64_t>(starts.size());
  start = std::clamp<std::int64_t>(start, 0, n);
  std::int64_t end = std::clamp<std::int64_t>(start + std::max<std::int64_t>(len, 0), start, n);
  std::size_t b = start < n ? starts[static_cast<std::size_t>(start)] : s.size();
  std::size_t e = end < n ? starts[static_cast<std::size_t>(end)] : s.size();
  std::string r = s.substr(b, e - b);
  sqlite3_result_text(ctx, r.c_str(), static_cast<int>(r.size()), SQLITE_TRANSIENT);
}
void leftFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  substrChars(ctx, textArg(argv[0]), 0, sqlite3_value_int64(argv[1]));
}
void rightFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  std::string s = textArg(argv[0]);
  auto n = static_cast<std::int64_t>(charStarts(s).size());
  std::int64_t k = std::min<std::int64_t>(sqlite3_value_int64(argv[1]), n);
  substrChars(ctx, s, n - k, k);
}
void midFn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
  std::string s = textArg(argv[0]);
  std::int64_t len = argc > 2 ? sqlite3_value_int64(argv[2]) : INT64_MAX / 2;
  substrChars(ctx, s, sqlite3_value_int64(argv[1]) - 1, len);
}

void registerFunctions(sqlite3* db) {
  const int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
  sqlite3_create_function(db, "stdev", 1, flags, nullptr, nullptr, varianceStep,
                          varianceFinal<true, true>);
  sqlite3_create_function(db, "stdevp", 1, flags, nullptr, nullptr, varianceStep,
                          varianceFinal<false, true>);
  sqlite3_create_function(db, "var", 1, flags, nullptr, nullptr, varianceStep,
                          varianceFinal<true, false>);
  sqlite3_create_function(db, "varp", 1, flags, nullptr, nullptr, varianceStep,
                          varianceFinal<false, false>);
  sqlite3_create_function(db, "log", 1, flags, nullptr, mathFn<lnFn, true, false>, nullptr,
                          nullptr);
  sqlite3_create_function(db, "sqr", 1, flags, nullptr, mathFn<sqrtFn, false, true>, nullptr,
                          nullptr);
  sqlite3_create_function(db, "exp", 1, flags, nullptr, mathFn<expFn, false, false>, nullptr,
                          nullptr);
  sqlite3_create_function(db, "int", 1, flags, nullptr, intFn, nullptr, nullptr);
  sqlite3_create_function(db, "fix", 1, flags, nullptr, fixFn, nullptr, nullptr);
  sqlite3_create_function(db, "sgn", 1, flags, nullptr, sgnFn, nullptr, nullptr);
  sqlite3_create_function(db, "csng", 1, flags, nullptr, singleFn, nullptr, nullptr);
  sqlite3_create_function(db, "sarnoth_single", 1, flags, nullptr, singleFn, nullptr, nullptr);
  sqlite3_create_function(db, "iif", 3, flags, nullptr, iifFn, nullptr, nullptr);
  sqlite3_create_function(db, "nz", 1, flags, nullptr, nzFn, nullptr, nullptr);
  sqlite3_create_function(db, "nz", 2, flags, nullptr, nzFn, nullptr, nullptr);
  sqlite3_create_function(db, "val", 1, flags, nullptr, valFn, nullptr, nullptr);
  sqlite3_create_function(db, "left", 2, flags, nullptr, leftFn, nullptr, nullptr);
  sqlite3_create_function(db, "right", 2, flags, nullptr, rightFn, nullptr, nullptr);
  sqlite3_create_function(db, "mid", 2, flags, nullptr, midFn, nullptr, nullptr);
  sqlite3_create_function(db, "mid", 3, flags, nullptr, midFn, nullptr, nullptr);
}

// ---- statement scanning ----------------------------------------------------------------------

// A top-level word of a statement: its text and where it stands in the source.
struct Word {
  std::string lowerText;
  std::size_t begin, end;
  int depth;
};

// Where a quoted run that opens at `open` ends: the index of its closing `close`, a doubled
// closer standing for the character itself; s.size() when it never closes.
std::size_t closingOf(const std::string& s, std::size_t open, char close) {
  std::size_t j = open + 1;
  while (j < s.size()) {
    if (s[j] == close) {
      if (j + 1 < s.size() && s[j + 1] == close) {
        j += 2;
        continue;
      }
      return j;
    }
    ++j;
  }
  return s.size();
}

// Words outside strings, brackets and date literals, with their parenthesis depth.
std::vector<Word> scanWords(const std::string& s) {
  std::vector<Word> words;
  int depth = 0;
  std::size_t i = 0;
  while (i < s.size()) {
    char c = s[i];
    if (c == '\'' || c == '"') {
      i = closingOf(s, i, c) + 1;
    } else if (c == '[') {
      std::size_t j = closingOf(s, i, ']');
      words.push_back({"[", i, std::min(j + 1, s.size()), depth});
      i = j + 1;
    } else if (c == '(') {
      ++depth;
      ++i;
    } else if (c == ')') {
      --depth;
      ++i;
    } else if (isWordChar(c)) {
      std::size_t j = i;
      while (j < s.size() && isWordChar(s[j])) ++j;
      words.push_back({lower(s.substr(i, j - i)), i, j, depth});
      i = j;
    } else {
      ++i;
    }
  }
  return words;
}

// Bracketed or bare name at a word: "[a b]" → "a b".
std::string nameAt(const std::string& s, const Word& w) {
  std::string t = s.substr(w.begin, w.end - w.begin);
  if (t.size() >= 2 && t.front() == '[') {
    std::string inner = t.substr(1, t.size() - 2);
    std::string out;
    for (std::size_t i = 0; i < inner.size(); ++i) {
      out += inner[i];
      if (inner[i] == ']' && i + 1 < inner.size() && inner[i + 1] == ']') ++i;
    }
    return out;
  }
  return t;
}

bool looksLikeDate(const std::string& s) {
  if (s.empty() || s.size() > 30) return false;
  for (char c : s)
    if (!(std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '/' || c == ':' ||
          c == ' ' || c == '.'))
      return false;
  return true;
}

// Date literal text "2024/3/5 …" → "2024-03-05 …" when it is year-first; else kept.
std::string isoDate(const std::string& d) {
  int y, m, day;
  char rest[32] = {0};
  if (std::sscanf(d.c_str(), "%d%*[-/]%d%*[-/]%d%31[^\n]", &y, &m, &day, rest) >= 3 && y > 31) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d%s", y, m, day, rest);
    return buf;
  }
  return d;
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

std::string translateJetSql(const std::string& s) {
  static const std::string kNull = nullLiteral();
  std::string out;
  out.reserve(s.size() + 16);
  std::string limit;
  bool likePending = false;
  std::string prevWord;
  std::size_t i = 0;
  auto emitString = [&](const std::string& body) {
    std::string b = body;
    if (likePending) {
      for (char& c : b) {
        if (c == '*')
          c = '%';
        else if (c == '?')
          c = '_';
      }
      likePending = false;
    }
    out += '\'';
    for (char c : b) {
      out += c;
      if (c == '\'') out += '\'';
    }
    out += '\'';
  };
  while (i < s.size()) {
    char c = s[i];
    if (c == '\'' || c == '"') {
      std::string body;
      std::size_t j = i + 1;
      while (j < s.size()) {
        if (s[j] == c) {
          if (j + 1 < s.size() && s[j + 1] == c) {
            body += c;
            j += 2;
            continue;
          }
          break;
        }
        body += s[j++];
      }
      emitString(body);
      i = j + 1;
      continue;
    }
    if (c == '[') {
      std::size_t j = closingOf(s, i, ']');
      std::string name;
      for (std::size_t k = i + 1; k < std::min(j, s.size()); ++k) {
        name += s[k];
        if (s[k] == ']' && k + 1 < s.size() && s[k + 1] == ']') ++k;
      }
      out += qid(name);
      i = j + 1;
      prevWord.clear();
      continue;
    }
    if (c == '#') {
      std::size_t j = s.find('#', i + 1);
      if (j != std::string::npos && looksLikeDate(s.substr(i + 1, j - i - 1))) {
        emitString(isoDate(s.substr(i + 1, j - i - 1)));
        i = j + 1;
        continue;
      }
    }
    if (c == '&') {
      out += " || ";
      ++i;
      continue;
    }
    if (c == '-') {
      // -1E+38 in any spelling of the exponent, with blanks allowed after the sign.
      std::size_t j = i + 1;
      while (j < s.size() && s[j] == ' ') ++j;
      std::size_t k = j;
      if (k < s.size() && s[k] == '1') {
        ++k;
        if (k < s.size() && s[k] == '.') {
          ++k;
          while (k < s.size() && s[k] == '0') ++k;
        }
        if (k < s.size() && (s[k] == 'e' || s[k] == 'E')) {
          ++k;
          if (k < s.size() && s[k] == '+') ++k;
          if (k + 1 < s.size() + 1 && s.compare(k, 2, "38") == 0 &&
              (k + 2 >= s.size() || !isWordChar(s[k + 2]))) {
            out += kNull;
            i = k + 2;
            continue;
          }
        }
      }
      out += c;
      ++i;
      continue;
    }
    if (isWordChar(c)) {
      std::size_t j = i;
      while (j < s.size() && isWordChar(s[j])) ++j;
      std::string word = s.substr(i, j - i);
      std::string lw = lower(word);
      if (lw == "top" && (prevWord == "select" || prevWord == "distinct")) {
        std::size_t k = j;
        while (k < s.size() && s[k] == ' ') ++k;
        std::size_t e = k;
        while (e < s.size() && std::isdigit(static_cast<unsigned char>(s[e]))) ++e;
        if (e > k) {
          limit = s.substr(k, e - k);
          i = e;
          continue;
        }
      }
      if (lw == "distinctrow") {
        out += "DISTINCT";
      } else if (lw == "mod") {
        out += "%";
      } else {
        out += word;
      }
      if (lw == "like") likePending = true;
      prevWord = lw;
      i = j;
      continue;
    }
    out += c;
    ++i;
  }
  if (!limit.empty()) {
    while (!out.empty() && (out.back() == ';' || out.back() == ' ' || out.back() == '\n'))
      out.pop_back();
    out += " LIMIT " + limit;
  }
  return out;
}

// ---- Database --------------------------------------------------------------------------------

Database::~Database() { close(); }
Database::Database(Database&& o) noexcept : db_(o.db_), path_(std::move(o.path_)) {
  o.db_ = nullptr;
}
Database& Database::operator=(Database&& o) noexcept {
  if (this != &o) {
    close();
    db_ = o.db_;
    path_ = std::move(o.path_);
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
  sqlite3_busy_timeout(d.db_, 3000);
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
  registerFunctions(d.db_);
  return d;
}

void Database::close() {
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
  for (std::size_t i = 0; i < params.size(); ++i) bindValue(st, static_cast<int>(i) + 1, params[i]);
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

}  // namespace

std::int64_t Database::execute(const std::string& jetSql, const std::vector<Value>& params) {
  auto words = scanWords(jetSql);
  if (!words.empty() && words[0].lowerText == "select") {
    for (const auto& w : words)
      if (w.depth == 0 && w.lowerText == "into") return executeSelectInto(jetSql, params);
  }
  std::string sql = translateJetSql(jetSql);
  sqlite3_stmt* st = prepare(db_, sql);
  StmtGuard g{st};
  bindAll(st, params);
  int rc;
  while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) fail(db_, "");
  std::int64_t changed = sqlite3_changes64(db_);
  // Statements that write values into a table get their SINGLE columns rounded to float.
  if (!words.empty()) {
    std::string target;
    if (words[0].lowerText == "update" && words.size() > 1)
      target = nameAt(jetSql, words[1]);
    else if (words[0].lowerText == "insert" && words.size() > 2 && words[1].lowerText == "into")
      target = nameAt(jetSql, words[2]);
    if (!target.empty() && changed > 0) roundSingles(target);
  }
  return changed;
}

std::int64_t Database::executeSelectInto(const std::string& jetSql,
                                         const std::vector<Value>& params) {
  auto words = scanWords(jetSql);
  std::size_t intoIdx = 0;
  for (std::size_t k = 0; k < words.size(); ++k)
    if (words[k].depth == 0 && words[k].lowerText == "into") {
      intoIdx = k;
      break;
    }
  if (intoIdx + 1 >= words.size()) throw StoreError("Syntax error in SELECT … INTO statement.");
  const Word& target = words[intoIdx + 1];
  std::string table = nameAt(jetSql, target);
  std::string select = jetSql.substr(0, words[intoIdx].begin) + " " + jetSql.substr(target.end);
  std::string sql = translateJetSql(select);
  if (tableExists(table)) throw StoreError("Table '" + table + "' already exists.");

  sqlite3_stmt* st = prepare(db_, sql);
  StmtGuard g{st};
  bindAll(st, params);
  int n = sqlite3_column_count(st);
  int rc = sqlite3_step(st);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) fail(db_, "");
  std::vector<FieldDef> defs;
  std::unordered_set<std::string> seen;
  for (int i = 0; i < n; ++i) {
    std::string name = sqlite3_column_name(st, i);
    std::string base = name;
    for (int k = 1; seen.count(lower(name)); ++k) name = base + "_" + std::to_string(k);
    seen.insert(lower(name));
    const char* decl = sqlite3_column_decltype(st, i);
    FieldDef f;
    if (decl) {
      f = FieldDef::parse(name, decl);
    } else {
      f.name = name;
      std::string ln = lower(base);
      if (ln.rfind("count(", 0) == 0)
        f.type = JetType::Long;
      else if (rc == SQLITE_ROW && sqlite3_column_type(st, i) == SQLITE_TEXT) {
        f.type = JetType::Text;
        f.size = 255;
      } else
        f.type = JetType::Double;
    }
    defs.push_back(f);
  }
  sqlite3_reset(st);

  bool own = sqlite3_get_autocommit(db_) != 0;
  if (own) begin();
  try {
    createTable(table, defs);
    std::string ins = "INSERT INTO " + qid(table) + " " + sql;
    sqlite3_stmt* is = prepare(db_, ins);
    StmtGuard ig{is};
    bindAll(is, params);
    if (sqlite3_step(is) != SQLITE_DONE) fail(db_, "");
    std::int64_t changed = sqlite3_changes64(db_);
    roundSingles(table);
    if (own) commit();
    return changed;
  } catch (...) {
    if (own) rollback();
    throw;
  }
}

Cursor Database::query(const std::string& jetSql, const std::vector<Value>& params) {
  sqlite3_stmt* st = prepare(db_, translateJetSql(jetSql));
  bindAll(st, params);
  return Cursor(db_, st);
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
    sql += qid(fields[i].name) + " " + fields[i].declared();
  }
  sql += ")";
  char* err = nullptr;
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
    std::string msg = err ? err : "CREATE TABLE failed";
    sqlite3_free(err);
    throw StoreError(msg);
  }
}

void Database::dropTable(const std::string& name) {
  std::string sql = "DROP TABLE " + qid(name);
  char* err = nullptr;
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
    std::string msg = err ? err : "DROP TABLE failed";
    sqlite3_free(err);
    throw StoreError(msg);
  }
}

std::int64_t Database::rowCount(const std::string& table) {
  return static_cast<std::int64_t>(valueToDouble(scalar("SELECT count(*) FROM " + bracket(table))));
}

void Database::roundSingles(const std::string& table) {
  for (const auto& f : fields(table)) {
    if (f.type != JetType::Single) continue;
    std::string c = qid(f.name);
    std::string sql = "UPDATE " + qid(table) + " SET " + c + " = sarnoth_single(" + c +
                      ") WHERE typeof(" + c + ")='real' AND " + c + " <> sarnoth_single(" + c + ")";
    char* err = nullptr;
    if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
      std::string msg = err ? err : "";
      sqlite3_free(err);
      throw StoreError(msg);
    }
  }
}

void Database::compact() {
  char* err = nullptr;
  if (sqlite3_exec(db_, "VACUUM", nullptr, nullptr, &err) != SQLITE_OK) {
    std::string msg = err ? err : "VACUUM failed";
    sqlite3_free(err);
    throw StoreError(msg);
  }
}

void Database::begin() {
  if (sqlite3_exec(db_, "BEGIN", nullptr, nullptr, nullptr) != SQLITE_OK) fail(db_, "");
}
void Database::commit() {
  if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) fail(db_, "");
}
void Database::rollback() { sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr); }

// ---- Cursor ----------------------------------------------------------------------------------

Cursor::~Cursor() { sqlite3_finalize(st_); }
Cursor::Cursor(Cursor&& o) noexcept : db_(o.db_), st_(o.st_) { o.st_ = nullptr; }
Cursor& Cursor::operator=(Cursor&& o) noexcept {
  if (this != &o) {
    sqlite3_finalize(st_);
    db_ = o.db_;
    st_ = o.st_;
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
  if (fields_[k].type == JetType::Single) {
    if (auto* d = std::get_if<double>(&v)) v = static_cast<double>(static_cast<float>(*d));
  }
  buffer_[k] = std::move(v);
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
    bool single = false;
    for (const auto& d : defs)
      if (iequals(d.name, columns[i])) single = d.type == JetType::Single;
    single_.push_back(single);
  }
  sql += ") VALUES (" + vals + ")";
  st_ = prepare(db.handle(), sql);
  // A savepoint works both alone and inside a caller's transaction.
  if (sqlite3_exec(db.handle(), "SAVEPOINT sarnoth_writer", nullptr, nullptr, nullptr) !=
      SQLITE_OK) {
    sqlite3_finalize(st_);
    st_ = nullptr;
    fail(db.handle(), "");
  }
}

TableWriter::~TableWriter() {
  sqlite3_finalize(st_);
  if (!done_)
    sqlite3_exec(db_.handle(), "ROLLBACK TO sarnoth_writer; RELEASE sarnoth_writer", nullptr,
                 nullptr, nullptr);
}

void TableWriter::setDouble(int col, double v) {
  if (single_[static_cast<std::size_t>(col)]) v = static_cast<double>(static_cast<float>(v));
  sqlite3_bind_double(st_, col + 1, v);
}
void TableWriter::setInt(int col, std::int64_t v) { sqlite3_bind_int64(st_, col + 1, v); }
void TableWriter::setText(int col, const std::string& v) {
  sqlite3_bind_text(st_, col + 1, v.c_str(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
}
void TableWriter::setNull(int col) { sqlite3_bind_null(st_, col + 1); }
void TableWriter::set(int col, const Value& v) {
  if (auto* d = std::get_if<double>(&v))
    setDouble(col, *d);
  else
    bindValue(st_, col + 1, v);
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
  if (sqlite3_exec(db_.handle(), "RELEASE sarnoth_writer", nullptr, nullptr, nullptr) != SQLITE_OK)
    fail(db_.handle(), "");
  done_ = true;
}

}  // namespace sarnoth
