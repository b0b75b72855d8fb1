#include "workarea/jet_sql.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

#include "workarea/jet_runtime.h"
#include "workarea/null_value.h"

namespace sarnoth {
namespace {

// ---- small helpers
// -------------------------------------------------------------------------------

std::string lower(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}
bool ieq(const std::string& a, const char* b) {
  std::size_t n = std::strlen(b);
  if (a.size() != n) return false;
  for (std::size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != b[i]) return false;
  return true;
}
bool ieqs(const std::string& a, const std::string& b) { return jet::compareText(a, b) == 0; }

// A name quoted for SQLite.
std::string q(const std::string& name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}
std::string sqlString(const std::string& s) {
  std::string out = "'";
  for (char c : s) {
    out += c;
    if (c == '\'') out += '\'';
  }
  return out + "'";
}

[[noreturn]] void refuse(const std::string& what) { throw StoreError(what); }

// ---- tokens
// --------------------------------------------------------------------------------------

enum class Tok { End, Name, QName, String, Number, Date, Param, Op };

struct Token {
  Tok kind = Tok::End;
  std::string text;  // name, string body, number text, canonical date text or operator
  std::size_t pos = 0;
};

bool nameChar(unsigned char c) { return std::isalnum(c) || c == '_' || c == '$' || c >= 0x80; }

std::vector<Token> tokenize(const std::string& s) {
  std::vector<Token> out;
  std::size_t i = 0;
  while (i < s.size()) {
    auto c = static_cast<unsigned char>(s[i]);
    if (std::isspace(c)) {
      ++i;
      continue;
    }
    Token t;
    t.pos = i;
    if (c == '[' || c == '`') {
      char close = c == '[' ? ']' : '`';
      std::size_t j = i + 1;
      while (true) {
        if (j >= s.size())
          refuse("Syntax error: a name opened with '" + std::string(1, c) + "' is not closed.");
        if (s[j] == close) {
          if (j + 1 < s.size() && s[j + 1] == close) {
            t.text += close;
            j += 2;
            continue;
          }
          break;
        }
        t.text += s[j++];
      }
      if (t.text.empty()) refuse("Syntax error: an empty name [].");
      t.kind = Tok::QName;
      i = j + 1;
    } else if (c == '\'' || c == '"') {
      std::size_t j = i + 1;
      while (true) {
        if (j >= s.size())
          refuse("Syntax error in string in query expression: a string is not closed.");
        if (s[j] == static_cast<char>(c)) {
          if (j + 1 < s.size() && s[j + 1] == static_cast<char>(c)) {
            t.text += static_cast<char>(c);
            j += 2;
            continue;
          }
          break;
        }
        t.text += s[j++];
      }
      t.kind = Tok::String;
      i = j + 1;
    } else if (c == '#') {
      std::size_t j = s.find('#', i + 1);
      if (j == std::string::npos)
        refuse("Syntax error in date in query expression: '#' is not closed.");
      std::string body = s.substr(i + 1, j - i - 1);
      double l;
      if (!jet::parseDate(body, l) || !jet::dateText(l, t.text))
        refuse("Syntax error in date in query expression '#" + body + "#'.");
      t.kind = Tok::Date;
      i = j + 1;
    } else if (std::isdigit(c) || (c == '.' && i + 1 < s.size() &&
                                   std::isdigit(static_cast<unsigned char>(s[i + 1])))) {
      std::size_t j = i;
      while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) ++j;
      if (j < s.size() && s[j] == '.') {
        ++j;
        while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) ++j;
      }
      if (j < s.size() && (s[j] == 'e' || s[j] == 'E')) {
        std::size_t k = j + 1;
        if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
        if (k < s.size() && std::isdigit(static_cast<unsigned char>(s[k]))) {
          while (k < s.size() && std::isdigit(static_cast<unsigned char>(s[k]))) ++k;
          j = k;
        }
      }
      if (j < s.size() && nameChar(static_cast<unsigned char>(s[j])))
        refuse("Syntax error: '" + s.substr(i, j - i + 1) + "' is not a number.");
      t.kind = Tok::Number;
      t.text = s.substr(i, j - i);
      i = j;
    } else if (c == '&' && i + 2 < s.size() &&
               (s[i + 1] == 'H' || s[i + 1] == 'h' || s[i + 1] == 'O' || s[i + 1] == 'o') &&
               std::isxdigit(static_cast<unsigned char>(s[i + 2]))) {
      int base = (s[i + 1] == 'H' || s[i + 1] == 'h') ? 16 : 8;
      std::size_t j = i + 2;
      while (j < s.size() && std::isxdigit(static_cast<unsigned char>(s[j]))) ++j;
      long long v = std::strtoll(s.substr(i + 2, j - i - 2).c_str(), nullptr, base);
      t.kind = Tok::Number;
      t.text = std::to_string(v);
      i = j;
    } else if (nameChar(c)) {
      std::size_t j = i;
      while (j < s.size() && nameChar(static_cast<unsigned char>(s[j]))) ++j;
      t.kind = Tok::Name;
      t.text = s.substr(i, j - i);
      i = j;
    } else if (c == '?') {
      t.kind = Tok::Param;
      ++i;
    } else {
      static const char* two[] = {"<>", "<=", ">=", "!=", "=<", "=>"};
      t.kind = Tok::Op;
      for (const char* op : two)
        if (s.compare(i, 2, op) == 0) t.text = op;
      if (t.text == "!=") refuse("Syntax error: '!=' is not Jet's; write '<>'.");
      if (t.text == "=<") t.text = "<=";
      if (t.text == "=>") t.text = ">=";
      if (t.text.empty()) {
        if (!std::strchr("=<>+-*/\\^&(),.;!", static_cast<char>(c)))
          refuse(std::string("Syntax error: unexpected character '") + static_cast<char>(c) + "'.");
        t.text = std::string(1, static_cast<char>(c));
      }
      i += t.text.size();
    }
    out.push_back(std::move(t));
  }
  out.push_back(Token{Tok::End, "", s.size()});
  return out;
}

// ---- the tree
// ------------------------------------------------------------------------------------

struct Query;

enum class EK {
  Number,
  String,
  Date,
  Bool,
  Null,
  Param,
  Column,
  Star,
  Unary,
  Binary,
  Call,
  Like,
  InList,
  InQuery,
  Between,
  IsNull,
  Exists,
  Subquery
};

struct Expr;
using ExprP = std::unique_ptr<Expr>;

struct Expr {
  EK k;
  std::string text;  // literal text, operator, lower-case function name or column name
  std::string qual;  // table qualifier of a column or star
  bool neg = false;  // Not Like / Not In / Not Between / Is Not Null
  int param = 0;     // number of a '?'
  std::vector<ExprP> a;
  std::unique_ptr<Query> sub;
};

ExprP mk(EK k, std::string text = {}) {
  auto e = std::make_unique<Expr>();
  e->k = k;
  e->text = std::move(text);
  return e;
}

struct Source {
  enum Kind { Table, Derived, Join } k = Table;
  std::string name, alias;
  std::unique_ptr<Query> sub;
  std::string join;  // INNER, LEFT, RIGHT
  std::unique_ptr<Source> l, r;
  ExprP on;
};
using SourceP = std::unique_ptr<Source>;

struct Item {
  ExprP e;
  std::string alias;
};

struct OrderKey {
  ExprP e;
  bool desc = false;
};

struct Core {
  bool distinct = false;
  bool distinctRow = false;
  bool top = false;
  long long topN = 0;
  bool percent = false;
  std::vector<Item> items;
  std::string into;
  std::vector<SourceP> from;
  ExprP where;
  std::vector<ExprP> group;
  ExprP having;
};

struct Query {
  std::vector<Core> cores;
  std::vector<bool> unionAll;  // between core i and i+1
  std::vector<OrderKey> order;
  ExprP limit, offset;
};

struct Assign {
  std::string qual, col;
  ExprP e;
};

struct ColumnDef {
  FieldDef f;
  bool notNull = false, primary = false, unique = false;
  std::string defaultSql;
};

struct Statement {
  JetStatementKind kind = JetStatementKind::Select;
  std::unique_ptr<Query> query;
  std::string table;
  std::vector<std::string> columns;      // Insert column list / index columns
  std::vector<bool> desc;                // index column order
  std::vector<std::vector<ExprP>> rows;  // Insert … Values
  SourceP source;                        // Update / Delete
  std::vector<Assign> sets;
  ExprP where;
  std::string deleteQual;
  std::vector<ColumnDef> defs;  // Create Table / Add / Alter Column
  std::vector<std::string> tableConstraints;
  std::string index;
  bool unique = false;
};

// ---- the parser
// ----------------------------------------------------------------------------------

const char* const kReserved[] = {
    "select",      "from",  "where",   "group",   "order", "having", "union",  "into",  "on",
    "join",        "inner", "left",    "right",   "outer", "as",     "and",    "or",    "not",
    "like",        "in",    "between", "is",      "null",  "set",    "values", "top",   "distinct",
    "distinctrow", "by",    "asc",     "desc",    "xor",   "eqv",    "imp",    "mod",   "exists",
    "all",         "limit", "offset",  "percent", "any",   "some",   "true",   "false", "yes",
    "no",          "with",  "full",    "cross"};

bool reserved(const std::string& w) {
  for (const char* r : kReserved)
    if (ieq(w, r)) return true;
  return false;
}

class Parser {
 public:
  explicit Parser(const std::string& text) : toks_(tokenize(text)) {}

  Statement statement() {
    Statement st;
    const Token& t = peek();
    if (t.kind != Tok::Name)
      fail("a statement must begin with Select, Insert, Update, Delete, Create, Alter or Drop");
    std::string w = lower(t.text);
    if (w == "select") {
      st.query = query();
      st.kind =
          st.query->cores[0].into.empty() ? JetStatementKind::Select : JetStatementKind::SelectInto;
      for (std::size_t i = 1; i < st.query->cores.size(); ++i)
        if (!st.query->cores[i].into.empty()) fail("Into belongs to the first Select of a Union");
      if (st.kind == JetStatementKind::SelectInto) st.table = st.query->cores[0].into;
    } else if (w == "insert") {
      insert(st);
    } else if (w == "update") {
      update(st);
    } else if (w == "delete") {
      del(st);
    } else if (w == "create") {
      create(st);
    } else if (w == "alter") {
      alter(st);
    } else if (w == "drop") {
      drop(st);
    } else if (w == "transform" || w == "pivot") {
      refuse("Crosstab queries (TRANSFORM … PIVOT) are not supported by the store.");
    } else if (w == "parameters") {
      refuse("PARAMETERS declarations are not supported by the store; bind values with '?'.");
    } else if (w == "procedure") {
      refuse("PROCEDURE clauses are not supported by the store.");
    } else {
      refuse("The statement '" + t.text + "' is not part of the store's Jet dialect.");
    }
    acceptOp(";");
    if (peek().kind != Tok::End)
      refuse("Characters found after end of SQL statement: '" + peek().text + "'.");
    return st;
  }

 private:
  std::vector<Token> toks_;
  std::size_t i_ = 0;
  int params_ = 0;

  const Token& peek(std::size_t k = 0) const { return toks_[std::min(i_ + k, toks_.size() - 1)]; }
  const Token& take() { return toks_[std::min(i_++, toks_.size() - 1)]; }
  bool isKw(const char* kw, std::size_t k = 0) const {
    return peek(k).kind == Tok::Name && ieq(peek(k).text, kw);
  }
  bool acceptKw(const char* kw) {
    if (!isKw(kw)) return false;
    ++i_;
    return true;
  }
  void expectKw(const char* kw) {
    if (!acceptKw(kw)) fail(std::string("expected ") + kw);
  }
  bool isOp(const char* op, std::size_t k = 0) const {
    return peek(k).kind == Tok::Op && peek(k).text == op;
  }
  bool acceptOp(const char* op) {
    if (!isOp(op)) return false;
    ++i_;
    return true;
  }
  void expectOp(const char* op) {
    if (!acceptOp(op)) fail(std::string("expected '") + op + "'");
  }
  [[noreturn]] void fail(const std::string& what) const {
    const Token& t = peek();
    std::string near = t.kind == Tok::End ? "the end of the statement" : "'" + t.text + "'";
    refuse("Syntax error: " + what + " near " + near + ".");
  }

  // A table, column or alias name: bracketed, `quoted`, or a bare word that is not reserved.
  bool isName(std::size_t k = 0) const {
    const Token& t = peek(k);
    return t.kind == Tok::QName || (t.kind == Tok::Name && !reserved(t.text));
  }
  std::string name(const char* what) {
    if (!isName()) fail(std::string("expected ") + what);
    return take().text;
  }

  // ---- Select ----

  std::unique_ptr<Query> query() {
    auto qy = std::make_unique<Query>();
    qy->cores.push_back(core());
    while (acceptKw("union")) {
      qy->unionAll.push_back(acceptKw("all"));
      if (acceptOp("(")) {
        qy->cores.push_back(core());
        expectOp(")");
      } else {
        qy->cores.push_back(core());
      }
    }
    if (acceptKw("order")) {
      expectKw("by");
      do {
        OrderKey k;
        k.e = expr();
        if (acceptKw("desc"))
          k.desc = true;
        else
          acceptKw("asc");
        qy->order.push_back(std::move(k));
      } while (acceptOp(","));
    }
    if (acceptKw("limit")) {
      qy->limit = expr();
      if (acceptKw("offset")) qy->offset = expr();
    }
    return qy;
  }

  Core core() {
    Core c;
    expectKw("select");
    if (acceptKw("distinct")) {
      c.distinct = true;
    } else if (acceptKw("distinctrow")) {
      c.distinctRow = true;
    } else {
      acceptKw("all");
    }
    if (acceptKw("top")) {
      if (peek().kind != Tok::Number) fail("Top needs a number");
      std::string n = take().text;
      char* end = nullptr;
      double v = std::strtod(n.c_str(), &end);
      if (!(v >= 1) || v != std::floor(v) || v > 2e9)
        refuse("The Top count must be a whole number above 0 (found " + n + ").");
      c.top = true;
      c.topN = static_cast<long long>(v);
      c.percent = acceptKw("percent");
      if (c.percent && c.topN > 100) refuse("Top " + n + " Percent is more than 100 percent.");
    }
    do {
      Item it;
      if (isOp("*")) {
        ++i_;
        it.e = mk(EK::Star);
      } else {
        it.e = expr();
        if (acceptKw("as"))
          it.alias = name("an alias");
        else if (isName() && !isKw("into") && !isKw("from"))
          it.alias = take().text;
      }
      c.items.push_back(std::move(it));
    } while (acceptOp(","));
    if (acceptKw("into")) {
      c.into = name("the new table's name");
      if (isKw("in"))
        refuse("Select … Into … In <external database> is not supported by the store.");
    }
    if (acceptKw("from")) {
      do c.from.push_back(joined());
      while (acceptOp(","));
      if (isKw("in")) refuse("From … In <external database> is not supported by the store.");
    }
    if (acceptKw("where")) c.where = expr();
    if (acceptKw("group")) {
      expectKw("by");
      do c.group.push_back(expr());
      while (acceptOp(","));
    }
    if (acceptKw("having")) c.having = expr();
    return c;
  }

  SourceP primarySource() {
    if (acceptOp("(")) {
      if (isKw("select")) {
        auto s = std::make_unique<Source>();
        s->k = Source::Derived;
        s->sub = query();
        expectOp(")");
        if (acceptKw("as"))
          s->alias = name("an alias");
        else if (isName())
          s->alias = take().text;
        return s;
      }
      SourceP inner = joined();
      expectOp(")");
      return inner;
    }
    auto s = std::make_unique<Source>();
    s->name = name("a table name");
    if (acceptOp("."))
      refuse("Tables of other databases ('" + s->name + "'.…) are not supported by the store.");
    if (acceptKw("as"))
      s->alias = name("an alias");
    else if (isName())
      s->alias = take().text;
    return s;
  }

  SourceP joined() {
    SourceP left = primarySource();
    while (true) {
      std::string kind;
      if (isKw("inner") && isKw("join", 1)) {
        kind = "INNER";
        i_ += 2;
      } else if ((isKw("left") || isKw("right")) &&
                 (isKw("join", 1) || (isKw("outer", 1) && isKw("join", 2)))) {
        kind = isKw("left") ? "LEFT" : "RIGHT";
        i_ += isKw("outer", 1) ? 3 : 2;
      } else if (isKw("join")) {
        fail("Jet needs Inner, Left or Right before Join");
      } else if (isKw("full") || isKw("cross")) {
        refuse("FULL and CROSS joins are not part of Jet's SQL.");
      } else {
        break;
      }
      auto j = std::make_unique<Source>();
      j->k = Source::Join;
      j->join = kind;
      j->l = std::move(left);
      j->r = primarySource();
      expectKw("on");
      j->on = expr();
      left = std::move(j);
    }
    return left;
  }

  // ---- expressions, by Jet's precedence ----

 public:
  ExprP expr() { return imp(); }

 private:
  ExprP binary(std::string op, ExprP l, ExprP r) {
    auto e = mk(EK::Binary, std::move(op));
    e->a.push_back(std::move(l));
    e->a.push_back(std::move(r));
    return e;
  }
  ExprP imp() {
    ExprP l = eqv();
    if (isKw("imp")) refuse("The operator Imp is not supported by the store.");
    return l;
  }
  ExprP eqv() {
    ExprP l = xorE();
    if (isKw("eqv")) refuse("The operator Eqv is not supported by the store.");
    return l;
  }
  ExprP xorE() {
    ExprP l = orE();
    while (acceptKw("xor")) l = binary("xor", std::move(l), orE());
    return l;
  }
  ExprP orE() {
    ExprP l = andE();
    while (acceptKw("or")) l = binary("or", std::move(l), andE());
    return l;
  }
  ExprP andE() {
    ExprP l = notE();
    while (acceptKw("and")) l = binary("and", std::move(l), notE());
    return l;
  }
  ExprP notE() {
    if (acceptKw("not")) {
      auto e = mk(EK::Unary, "not");
      e->a.push_back(notE());
      return e;
    }
    return compare();
  }
  ExprP compare() {
    ExprP l = concat();
    while (true) {
      if (peek().kind == Tok::Op &&
          (isOp("=") || isOp("<>") || isOp("<") || isOp(">") || isOp("<=") || isOp(">="))) {
        std::string op = take().text;
        if (isKw("any") || isKw("all") || isKw("some"))
          refuse("Comparisons with " + peek().text + " (subquery) are not supported by the store.");
        l = binary(op, std::move(l), concat());
        continue;
      }
      bool neg = false;
      if (isKw("not") && (isKw("like", 1) || isKw("in", 1) || isKw("between", 1))) {
        ++i_;
        neg = true;
      }
      if (acceptKw("like")) {
        auto e = mk(EK::Like);
        e->neg = neg;
        e->a.push_back(std::move(l));
        e->a.push_back(concat());
        l = std::move(e);
      } else if (acceptKw("in")) {
        expectOp("(");
        if (isKw("select")) {
          auto e = mk(EK::InQuery);
          e->neg = neg;
          e->a.push_back(std::move(l));
          e->sub = query();
          l = std::move(e);
        } else {
          auto e = mk(EK::InList);
          e->neg = neg;
          e->a.push_back(std::move(l));
          do e->a.push_back(expr());
          while (acceptOp(","));
          l = std::move(e);
        }
        expectOp(")");
      } else if (acceptKw("between")) {
        auto e = mk(EK::Between);
        e->neg = neg;
        e->a.push_back(std::move(l));
        e->a.push_back(concat());
        expectKw("and");
        e->a.push_back(concat());
        l = std::move(e);
      } else if (!neg && acceptKw("is")) {
        auto e = mk(EK::IsNull);
        e->neg = acceptKw("not");
        expectKw("null");
        e->a.push_back(std::move(l));
        l = std::move(e);
      } else if (isKw("alike")) {
        refuse("ALike is not supported by the store; use Like with * and ?.");
      } else {
        if (neg) fail("expected Like, In or Between after Not");
        return l;
      }
    }
  }
  ExprP concat() {
    ExprP l = add();
    while (acceptOp("&")) l = binary("&", std::move(l), add());
    return l;
  }
  ExprP add() {
    ExprP l = mod();
    while (isOp("+") || isOp("-")) {
      std::string op = take().text;
      l = binary(op, std::move(l), mod());
    }
    return l;
  }
  ExprP mod() {
    ExprP l = intdiv();
    while (acceptKw("mod")) l = binary("mod", std::move(l), intdiv());
    return l;
  }
  ExprP intdiv() {
    ExprP l = mul();
    while (acceptOp("\\")) l = binary("\\", std::move(l), mul());
    return l;
  }
  ExprP mul() {
    ExprP l = unary();
    while (isOp("*") || isOp("/")) {
      std::string op = take().text;
      l = binary(op, std::move(l), unary());
    }
    return l;
  }
  ExprP unary() {
    if (isOp("-") || isOp("+")) {
      std::string op = take().text;
      auto e = mk(EK::Unary, op);
      e->a.push_back(unary());
      return e;
    }
    return power();
  }
  ExprP power() {
    ExprP l = primary();
    while (acceptOp("^")) {
      ExprP r;
      if (isOp("-") || isOp("+")) {
        std::string op = take().text;
        r = mk(EK::Unary, op);
        r->a.push_back(primary());
      } else {
        r = primary();
      }
      l = binary("^", std::move(l), std::move(r));
    }
    return l;
  }

  ExprP column(std::string first) {
    if (acceptOp(".") || acceptOp("!")) {
      if (acceptOp("*")) {
        auto e = mk(EK::Star);
        e->qual = std::move(first);
        return e;
      }
      auto e = mk(EK::Column, name("a field name"));
      e->qual = std::move(first);
      return e;
    }
    return mk(EK::Column, std::move(first));
  }

  ExprP primary() {
    const Token& t = peek();
    switch (t.kind) {
      case Tok::Number:
        return mk(EK::Number, take().text);
      case Tok::String:
        return mk(EK::String, take().text);
      case Tok::Date:
        return mk(EK::Date, take().text);
      case Tok::Param: {
        take();
        auto e = mk(EK::Param);
        e->param = ++params_;
        return e;
      }
      case Tok::QName:
        return column(take().text);
      case Tok::Op:
        if (acceptOp("(")) {
          if (isKw("select")) {
            auto e = mk(EK::Subquery);
            e->sub = query();
            expectOp(")");
            return e;
          }
          ExprP e = expr();
          expectOp(")");
          return e;
        }
        fail("expected an expression");
      case Tok::Name: {
        std::string w = lower(t.text);
        if (w == "null") {
          take();
          return mk(EK::Null);
        }
        if (w == "true" || w == "yes") {
          take();
          return mk(EK::Bool, "-1");
        }
        if (w == "false" || w == "no") {
          take();
          return mk(EK::Bool, "0");
        }
        if (w == "exists") {
          take();
          expectOp("(");
          if (!isKw("select")) fail("Exists needs a subquery");
          auto e = mk(EK::Exists);
          e->sub = query();
          expectOp(")");
          return e;
        }
        if (isOp("(", 1)) {
          std::string original = take().text;
          take();
          auto e = mk(EK::Call, w);
          e->qual = original;
          if (acceptOp(")")) return e;
          if (isKw("distinct") || isKw("distinctrow"))
            refuse("Aggregates over Distinct values (" + t.text +
                   "(Distinct …)) are not part of Jet's SQL.");
          do {
            if (isOp("*") && isOp(")", 1)) {
              take();
              e->a.push_back(mk(EK::Star));
            } else {
              e->a.push_back(expr());
            }
          } while (acceptOp(","));
          expectOp(")");
          return e;
        }
        if (reserved(t.text)) fail("'" + t.text + "' cannot stand here");
        return column(take().text);
      }
      default:
        fail("expected an expression");
    }
  }

  // ---- writes ----

  void insert(Statement& st) {
    st.kind = JetStatementKind::Insert;
    expectKw("insert");
    expectKw("into");
    st.table = name("the table to insert into");
    if (isKw("in")) refuse("Insert Into … In <external database> is not supported by the store.");
    if (acceptOp("(")) {
      do {
        std::string first = name("a field name");
        if (acceptOp(".")) first = name("a field name");
        st.columns.push_back(first);
      } while (acceptOp(","));
      expectOp(")");
    }
    if (acceptKw("values")) {
      do {
        expectOp("(");
        std::vector<ExprP> row;
        do row.push_back(expr());
        while (acceptOp(","));
        expectOp(")");
        st.rows.push_back(std::move(row));
      } while (acceptOp(","));
    } else if (isKw("select")) {
      st.query = query();
      if (!st.query->cores[0].into.empty()) fail("Into cannot stand in the Select of an Insert");
    } else {
      fail("expected Values or Select");
    }
  }

  void update(Statement& st) {
    st.kind = JetStatementKind::Update;
    expectKw("update");
    st.source = joined();
    expectKw("set");
    do {
      Assign a;
      std::string first = name("a field name");
      if (acceptOp(".") || acceptOp("!")) {
        a.qual = first;
        a.col = name("a field name");
      } else {
        a.col = first;
      }
      expectOp("=");
      a.e = expr();
      st.sets.push_back(std::move(a));
    } while (acceptOp(","));
    if (acceptKw("where")) st.where = expr();
  }

  void del(Statement& st) {
    st.kind = JetStatementKind::Delete;
    expectKw("delete");
    if (acceptOp("*")) {
    } else if (isName() && (isOp(".", 1) || isOp("!", 1)) && isOp("*", 2)) {
      st.deleteQual = take().text;
      i_ += 2;
    }
    expectKw("from");
    st.source = joined();
    if (acceptKw("where")) st.where = expr();
  }

  FieldDef fieldType(const std::string& col) {
    const Token& t = peek();
    if (t.kind != Tok::Name) fail("expected a field type");
    std::string type = take().text;
    std::string lt = lower(type);
    if (lt == "counter" || lt == "autoincrement" || lt == "identity")
      refuse("Field type " + type + " (AutoNumber) is not supported by the store; use LONG.");
    if (lt == "double" && isKw("precision")) take();
    // Binary fields (OLE objects, the store's BLOB) keep their bytes.
    bool binary = lt == "binary" || lt == "varbinary" || lt == "image" || lt == "longbinary" ||
                  lt == "oleobject" || lt == "general" || lt == "blob";
    if (lt == "long" && isKw("binary")) {
      take();
      binary = true;
    }
    if (lt == "guid" || lt == "uniqueidentifier")
      refuse("Field type " + type + " is not supported by the store.");
    std::string decl = type;
    if (acceptOp("(")) {
      if (peek().kind != Tok::Number) fail("expected a size");
      decl += "(" + take().text;
      if (acceptOp(",")) {
        if (peek().kind != Tok::Number) fail("expected a scale");
        take();
      }
      expectOp(")");
      decl += ")";
    }
    FieldDef f = FieldDef::parse(col, decl);
    if (binary) return FieldDef{col, JetType::Other, 0};
    if (f.type == JetType::Other) refuse("Field type '" + decl + "' is not part of Jet's SQL.");
    if (f.type == JetType::Text && (f.size < 1 || f.size > 255))
      refuse("A TEXT field holds 1 to 255 characters (" + decl + ").");
    return f;
  }

  ColumnDef columnDef() {
    ColumnDef d;
    std::string n = name("a field name");
    d.f = fieldType(n);
    while (true) {
      if (acceptKw("not")) {
        expectKw("null");
        d.notNull = true;
      } else if (acceptKw("null")) {
      } else if (acceptKw("primary")) {
        expectKw("key");
        d.primary = true;
      } else if (acceptKw("unique")) {
        d.unique = true;
      } else if (acceptKw("default")) {
        const Token& t = peek();
        if (t.kind == Tok::Number) {
          d.defaultSql = take().text;
        } else if (t.kind == Tok::String) {
          d.defaultSql = sqlString(take().text);
        } else if (isOp("-") && peek(1).kind == Tok::Number) {
          take();
          d.defaultSql = "-" + take().text;
        } else {
          fail("Default needs a literal");
        }
        // A number is stored as the field would store it: -1E+38 in a SINGLE is the float null.
        double v;
        if (d.defaultSql[0] != '\'' && d.f.type == JetType::Single &&
            jet::parseNumber(d.defaultSql, v) && std::fabs(v) <= 3.4028234663852886e38) {
          char buf[40];
          std::snprintf(buf, sizeof buf, "%.17g", static_cast<double>(static_cast<float>(v)));
          d.defaultSql = buf;
        }
      } else if (acceptKw("constraint")) {
        name("a constraint name");
        if (acceptKw("primary")) {
          expectKw("key");
          d.primary = true;
        } else if (acceptKw("unique")) {
          d.unique = true;
        } else if (isKw("references") || isKw("foreign")) {
          refuse("Foreign keys (REFERENCES) are not supported by the store.");
        } else {
          fail("expected Primary Key or Unique");
        }
      } else if (isKw("references")) {
        refuse("Foreign keys (REFERENCES) are not supported by the store.");
      } else if (isKw("with")) {
        refuse("WITH COMPRESSION is not supported by the store.");
      } else {
        break;
      }
    }
    return d;
  }

  std::vector<std::string> nameList() {
    std::vector<std::string> v;
    expectOp("(");
    do v.push_back(name("a field name"));
    while (acceptOp(","));
    expectOp(")");
    return v;
  }

  void create(Statement& st) {
    expectKw("create");
    if (acceptKw("table")) {
      st.kind = JetStatementKind::CreateTable;
      st.table = name("the table's name");
      expectOp("(");
      do {
        if (acceptKw("constraint")) {
          name("a constraint name");
          std::string kind;
          if (acceptKw("primary")) {
            expectKw("key");
            kind = "PRIMARY KEY";
          } else if (acceptKw("unique")) {
            kind = "UNIQUE";
          } else if (isKw("foreign") || isKw("references")) {
            refuse("Foreign keys (REFERENCES) are not supported by the store.");
          } else {
            fail("expected Primary Key or Unique");
          }
          std::string c = kind + " (";
          auto cols = nameList();
          for (std::size_t k = 0; k < cols.size(); ++k) c += (k ? ", " : "") + q(cols[k]);
          st.tableConstraints.push_back(c + ")");
        } else {
          st.defs.push_back(columnDef());
        }
      } while (acceptOp(","));
      expectOp(")");
      return;
    }
    st.unique = acceptKw("unique");
    if (!acceptKw("index")) fail("expected Table or Index");
    st.kind = JetStatementKind::CreateIndex;
    st.index = name("the index's name");
    expectKw("on");
    st.table = name("a table name");
    expectOp("(");
    do {
      st.columns.push_back(name("a field name"));
      bool d = acceptKw("desc");
      if (!d) acceptKw("asc");
      st.desc.push_back(d);
    } while (acceptOp(","));
    expectOp(")");
    if (acceptKw("with")) {
      do {
        if (acceptKw("primary")) {
          st.unique = true;
        } else if (acceptKw("ignore")) {
          expectKw("null");
        } else if (isKw("disallow")) {
          refuse("Indexes WITH DISALLOW NULL are not supported by the store.");
        } else {
          fail("expected Primary or Ignore Null");
        }
      } while (acceptKw("and") || acceptOp(","));
    }
  }

  void alter(Statement& st) {
    expectKw("alter");
    expectKw("table");
    st.table = name("the table's name");
    if (acceptKw("add")) {
      if (isKw("constraint") || isKw("primary") || isKw("foreign"))
        refuse("Alter Table … Add Constraint is not supported by the store.");
      acceptKw("column");
      st.kind = JetStatementKind::AddColumn;
      st.defs.push_back(columnDef());
    } else if (acceptKw("drop")) {
      if (isKw("constraint"))
        refuse("Alter Table … Drop Constraint is not supported by the store.");
      acceptKw("column");
      st.kind = JetStatementKind::DropColumn;
      ColumnDef d;
      d.f.name = name("a field name");
      st.defs.push_back(std::move(d));
    } else if (acceptKw("alter")) {
      acceptKw("column");
      st.kind = JetStatementKind::AlterColumn;
      st.defs.push_back(columnDef());
    } else {
      fail("expected Add, Drop or Alter");
    }
  }

  void drop(Statement& st) {
    expectKw("drop");
    if (acceptKw("table")) {
      st.kind = JetStatementKind::DropTable;
      st.table = name("a table name");
    } else if (acceptKw("index")) {
      st.kind = JetStatementKind::DropIndex;
      st.index = name("an index name");
      expectKw("on");
      st.table = name("a table name");
    } else if (isKw("view") || isKw("procedure") || isKw("user") || isKw("group")) {
      refuse("Drop " + peek().text + " is not supported by the store.");
    } else {
      fail("expected Table or Index");
    }
  }
};

// ---- types
// ----------------------------------------------------------------------------------------

enum class T { Unknown, Null, Bool, Byte, Int, Long, Currency, Single, Double, Date, Text, Memo };

T typeOf(const FieldDef& f) {
  switch (f.type) {
    case JetType::Bit:
      return T::Bool;
    case JetType::Byte:
      return T::Byte;
    case JetType::Integer:
      return T::Int;
    case JetType::Long:
      return T::Long;
    case JetType::Currency:
      return T::Currency;
    case JetType::Single:
      return T::Single;
    case JetType::Double:
      return T::Double;
    case JetType::Date:
      return T::Date;
    case JetType::Text:
      return T::Text;
    case JetType::Memo:
      return T::Memo;
    default:
      return T::Unknown;
  }
}

FieldDef fieldOf(const std::string& name, T t, int size) {
  FieldDef f;
  f.name = name;
  switch (t) {
    case T::Bool:
      f.type = JetType::Bit;
      break;
    case T::Byte:
      f.type = JetType::Byte;
      break;
    case T::Int:
      f.type = JetType::Integer;
      break;
    case T::Long:
      f.type = JetType::Long;
      break;
    case T::Currency:
      f.type = JetType::Currency;
      break;
    case T::Single:
      f.type = JetType::Single;
      break;
    case T::Double:
      f.type = JetType::Double;
      break;
    case T::Date:
      f.type = JetType::Date;
      break;
    case T::Text:
      f.type = JetType::Text;
      f.size = size > 0 ? size : 255;
      break;
    case T::Memo:
      f.type = JetType::Memo;
      break;
    default:
      f.type = JetType::Other;
      break;
  }
  return f;
}

bool numeric(T t) {
  return t == T::Bool || t == T::Byte || t == T::Int || t == T::Long || t == T::Currency ||
         t == T::Single || t == T::Double;
}
bool textual(T t) { return t == T::Text || t == T::Memo; }
bool maybeText(T t) { return t == T::Text || t == T::Memo || t == T::Unknown || t == T::Date; }

int rank(T t) {
  switch (t) {
    case T::Bool:
    case T::Byte:
      return 1;
    case T::Int:
      return 2;
    case T::Long:
      return 3;
    case T::Single:
      return 4;
    case T::Currency:
      return 5;
    case T::Double:
      return 6;
    default:
      return 0;
  }
}

// The type of arithmetic on two numbers, as Jet widens: a SINGLE with a LONG is a DOUBLE.
T widen(T a, T b) {
  if (a == T::Null) return b;
  if (b == T::Null) return a;
  if (!numeric(a) || !numeric(b))
    return (a == T::Unknown || b == T::Unknown) ? T::Unknown : T::Double;
  if (a == T::Double || b == T::Double) return T::Double;
  if (a == T::Currency || b == T::Currency) return T::Currency;
  if (a == T::Single || b == T::Single) {
    T o = a == T::Single ? b : a;
    return (o == T::Long) ? T::Double : T::Single;
  }
  T r = rank(a) >= rank(b) ? a : b;
  return r == T::Bool ? T::Int : r;
}

// ---- the emitter
// ---------------------------------------------------------------------------------

struct Col {
  std::string name;
  T t = T::Unknown;
  int size = 0;
};

struct Src {
  std::string alias;  // the name the source is known by in the statement
  std::vector<Col> cols;
  bool known = false;
};

struct Scope {
  std::vector<Src> srcs;
  const Scope* outer = nullptr;
};

struct Out {
  std::string sql;
  T t = T::Unknown;
  bool cond = false;  // a SQLite truth value (1/0) that Jet shows as -1/0
  int size = 0;
};

std::string value(const Out& o) { return o.cond ? "(-(" + o.sql + "))" : o.sql; }

const std::string& floatNull() {
  static const std::string s = [] {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", NULL_VALUE_D);
    return std::string(buf);
  }();
  return s;
}

struct FnInfo {
  const char* jet;
  const char* sql;
  int minA, maxA;
  T result;  // T::Unknown: the first argument's type
};

const FnInfo kFunctions[] = {
    {"abs", "jet_abs", 1, 1, T::Unknown},
    {"sgn", "jet_sgn", 1, 1, T::Int},
    {"int", "jet_int", 1, 1, T::Unknown},
    {"fix", "jet_fix", 1, 1, T::Unknown},
    {"round", "jet_round", 1, 2, T::Unknown},
    {"sqr", "jet_sqr", 1, 1, T::Double},
    {"exp", "jet_exp", 1, 1, T::Double},
    {"log", "jet_log", 1, 1, T::Double},
    {"sin", "jet_sin", 1, 1, T::Double},
    {"cos", "jet_cos", 1, 1, T::Double},
    {"tan", "jet_tan", 1, 1, T::Double},
    {"atn", "jet_atn", 1, 1, T::Double},
    {"val", "jet_val", 1, 1, T::Double},
    {"hex", "jet_hex", 1, 1, T::Text},
    {"oct", "jet_oct", 1, 1, T::Text},
    {"cint", "jet_integer", 1, 1, T::Int},
    {"clng", "jet_long", 1, 1, T::Long},
    {"cbyte", "jet_byte", 1, 1, T::Byte},
    {"csng", "jet_single", 1, 1, T::Single},
    {"cdbl", "jet_double", 1, 1, T::Double},
    {"ccur", "jet_currency", 1, 1, T::Currency},
    {"cbool", "jet_bit", 1, 1, T::Bool},
    {"cstr", "jet_cstr", 1, 1, T::Text},
    {"cdate", "jet_date", 1, 1, T::Date},
    {"cvdate", "jet_date", 1, 1, T::Date},
    {"len", "jet_len", 1, 1, T::Long},
    {"left", "jet_left", 2, 2, T::Text},
    {"right", "jet_right", 2, 2, T::Text},
    {"mid", "jet_mid", 2, 3, T::Text},
    {"instr", "jet_instr", 2, 4, T::Long},
    {"ucase", "jet_ucase", 1, 1, T::Text},
    {"lcase", "jet_lcase", 1, 1, T::Text},
    {"trim", "jet_trim", 1, 1, T::Text},
    {"ltrim", "jet_ltrim", 1, 1, T::Text},
    {"rtrim", "jet_rtrim", 1, 1, T::Text},
    {"space", "jet_space", 1, 1, T::Text},
    {"string", "jet_string", 2, 2, T::Text},
    {"str", "jet_str", 1, 1, T::Text},
    {"replace", "jet_replace", 3, 3, T::Text},
    {"strreverse", "jet_strreverse", 1, 1, T::Text},
    {"format", "jet_format", 1, 2, T::Text},
    {"now", "jet_now", 0, 0, T::Date},
    {"date", "jet_today", 0, 0, T::Date},
    {"time", "jet_time", 0, 0, T::Date},
    {"year", "jet_year", 1, 1, T::Int},
    {"month", "jet_month", 1, 1, T::Int},
    {"day", "jet_day", 1, 1, T::Int},
    {"hour", "jet_hour", 1, 1, T::Int},
    {"minute", "jet_minute", 1, 1, T::Int},
    {"second", "jet_second", 1, 1, T::Int},
    {"weekday", "jet_weekday", 1, 2, T::Int},
    {"dateadd", "jet_dateadd", 3, 3, T::Date},
    {"datediff", "jet_datediff", 3, 4, T::Long},
    {"datepart", "jet_datepart", 2, 3, T::Int},
    {"dateserial", "jet_dateserial", 3, 3, T::Date},
    {"timeserial", "jet_timeserial", 3, 3, T::Date},
    {"datevalue", "jet_datevalue", 1, 1, T::Date},
    {"timevalue", "jet_timevalue", 1, 1, T::Date},
};

const char* const kAggregates[] = {"count",  "sum", "avg",  "min",   "max", "stdev",
                                   "stdevp", "var", "varp", "first", "last"};

bool isAggregate(const std::string& f) {
  for (const char* a : kAggregates)
    if (f == a) return true;
  return false;
}

std::string aggName(const std::string& f) {
  static const std::map<std::string, std::string> n = {
      {"count", "Count"}, {"sum", "Sum"},     {"avg", "Avg"},       {"min", "Min"},
      {"max", "Max"},     {"stdev", "StDev"}, {"stdevp", "StDevP"}, {"var", "Var"},
      {"varp", "VarP"},   {"first", "First"}, {"last", "Last"}};
  return n.at(f);
}

struct QueryOut {
  std::string sql;
  std::vector<Col> cols;
};

class Emitter {
 public:
  explicit Emitter(const JetSchemaLookup& schema) : schema_(schema) {}

  const std::vector<FieldDef>* table(const std::string& name) const {
    return schema_ ? schema_(name) : nullptr;
  }

  Src tableSource(const std::string& name, const std::string& alias) const {
    Src s;
    s.alias = alias.empty() ? name : alias;
    if (const auto* f = table(name)) {
      s.known = true;
      for (const auto& d : *f) s.cols.push_back({d.name, typeOf(d), d.size});
    }
    return s;
  }

  // ---- expressions ----

  Out expr(const Expr& e, const Scope& sc) {
    switch (e.k) {
      case EK::Number: {
        Out o;
        o.sql = e.text;
        bool integral = e.text.find_first_of(".eE") == std::string::npos;
        double v = std::strtod(e.text.c_str(), nullptr);
        o.t = integral && std::fabs(v) <= 2147483647.0 ? T::Long : T::Double;
        if (integral && std::fabs(v) > 9.2e18) o.sql = e.text + ".0";
        return o;
      }
      case EK::String:
        return {sqlString(e.text), T::Text, false, 255};
      case EK::Date:
        return {sqlString(e.text), T::Date, false, 0};
      case EK::Bool:
        return {"(" + e.text + ")", T::Bool, false, 0};
      case EK::Null:
        return {"NULL", T::Null, false, 0};
      case EK::Param:
        return {"?" + std::to_string(e.param), T::Unknown, false, 0};
      case EK::Column:
        return column(e, sc);
      case EK::Star:
        refuse("Syntax error: '*' cannot stand in an expression.");
      case EK::Unary:
        return unary(e, sc);
      case EK::Binary:
        return binary(e, sc);
      case EK::Call:
        return call(e, sc);
      case EK::Like: {
        Out a = expr(*e.a[0], sc), p = expr(*e.a[1], sc);
        return {std::string(e.neg ? "NOT " : "") + "jet_like(" + value(a) + ", " + value(p) + ")",
                T::Bool, true, 0};
      }
      case EK::InList: {
        Out a = expr(*e.a[0], sc);
        bool date = a.t == T::Date;
        std::vector<Out> items;
        for (std::size_t i = 1; i < e.a.size(); ++i) {
          items.push_back(expr(*e.a[i], sc));
          date |= items.back().t == T::Date;
        }
        std::string s = "(" + cmpOperand(a, date, items[0].t) + (e.neg ? " NOT IN (" : " IN (");
        for (std::size_t i = 0; i < items.size(); ++i)
          s += (i ? ", " : "") + (date ? "jet_datekey(" + value(items[i]) + ")" : value(items[i]));
        return {s + "))", T::Bool, true, 0};
      }
      case EK::InQuery: {
        Out a = expr(*e.a[0], sc);
        QueryOut sub = query(*e.sub, &sc);
        T st = sub.cols.empty() ? T::Unknown : sub.cols[0].t;
        bool date = a.t == T::Date && st == T::Date;
        std::string subSql = sub.sql;
        if (date) subSql = "SELECT jet_datekey(" + q(sub.cols[0].name) + ") FROM (" + sub.sql + ")";
        return {"(" + cmpOperand(a, date, st) + (e.neg ? " NOT IN (" : " IN (") + subSql + "))",
                T::Bool, true, 0};
      }
      case EK::Between: {
        Out a = expr(*e.a[0], sc), lo = expr(*e.a[1], sc), hi = expr(*e.a[2], sc);
        bool date = a.t == T::Date || lo.t == T::Date || hi.t == T::Date;
        std::string l = date ? "jet_datekey(" + value(lo) + ")" : value(lo);
        std::string h = date ? "jet_datekey(" + value(hi) + ")" : value(hi);
        return {"(" + cmpOperand(a, date, lo.t) + (e.neg ? " NOT BETWEEN " : " BETWEEN ") + l +
                    " AND " + h + ")",
                T::Bool, true, 0};
      }
      case EK::IsNull: {
        Out a = expr(*e.a[0], sc);
        return {"(" + value(a) + (e.neg ? " IS NOT NULL)" : " IS NULL)"), T::Bool, true, 0};
      }
      case EK::Exists: {
        QueryOut sub = query(*e.sub, &sc);
        return {"EXISTS (" + sub.sql + ")", T::Bool, true, 0};
      }
      case EK::Subquery: {
        QueryOut sub = query(*e.sub, &sc);
        Out o{"(" + sub.sql + ")", T::Unknown, false, 0};
        if (!sub.cols.empty()) {
          o.t = sub.cols[0].t;
          o.size = sub.cols[0].size;
        }
        return o;
      }
    }
    return {};
  }

  // The left operand of a comparison: case-blind for text, an instant for dates.
  std::string cmpOperand(const Out& a, bool date, T other) {
    if (date) return "jet_datekey(" + value(a) + ")";
    if ((maybeText(a.t) && a.t != T::Date) || (a.t == T::Null && maybeText(other)) ||
        (numeric(a.t) && textual(other)))
      return "(" + value(a) + ") COLLATE " + jet::kCollation;
    if (a.t == T::Unknown || textual(other)) return "(" + value(a) + ") COLLATE " + jet::kCollation;
    return value(a);
  }

  Out column(const Expr& e, const Scope& sc) {
    Out o;
    o.sql = e.qual.empty() ? q(e.text) : q(e.qual) + "." + q(e.text);
    for (const Scope* s = &sc; s; s = s->outer) {
      for (const auto& src : s->srcs) {
        if (!e.qual.empty() && !ieqs(src.alias, e.qual)) continue;
        for (const auto& c : src.cols)
          if (ieqs(c.name, e.text)) {
            o.t = c.t;
            o.size = c.size;
            return o;
          }
      }
    }
    return o;
  }

  Out unary(const Expr& e, const Scope& sc) {
    Out a = expr(*e.a[0], sc);
    if (e.text == "not") return {"NOT (" + a.sql + ")", T::Bool, true, 0};
    if (e.text == "+") return a;
    // The float null: -1E+38 in any spelling stands for the float's exact value.
    if (e.a[0]->k == EK::Number && std::strtod(e.a[0]->text.c_str(), nullptr) == 1e38)
      return {floatNull(), T::Double, false, 0};
    T t = a.t == T::Bool ? T::Int : (numeric(a.t) ? a.t : (a.t == T::Null ? T::Null : T::Double));
    return {"(-" + value(a) + ")", t, false, 0};
  }

  Out binary(const Expr& e, const Scope& sc) {
    const std::string& op = e.text;
    Out a = expr(*e.a[0], sc), b = expr(*e.a[1], sc);
    if (op == "and" || op == "or")
      return {"(" + a.sql + (op == "and" ? " AND " : " OR ") + b.sql + ")", T::Bool, true, 0};
    if (op == "xor")
      return {"(((" + a.sql + ") <> 0) <> ((" + b.sql + ") <> 0))", T::Bool, true, 0};
    if (op == "=" || op == "<>" || op == "<" || op == ">" || op == "<=" || op == ">=") {
      bool date = (a.t == T::Date && b.t != T::Null) || (b.t == T::Date && a.t != T::Null);
      std::string r = date ? "jet_datekey(" + value(b) + ")" : value(b);
      return {"(" + cmpOperand(a, date, b.t) + " " + op + " " + r + ")", T::Bool, true, 0};
    }
    std::string x = value(a), y = value(b);
    if (op == "&") {
      if (a.t == T::Single) x = "jet_single_text(" + x + ")";
      if (b.t == T::Single) y = "jet_single_text(" + y + ")";
      return {"jet_cat(" + x + ", " + y + ")",
              (a.t == T::Memo || b.t == T::Memo) ? T::Memo : T::Text, false, 255};
    }
    if (op == "+") {
      if (a.t == T::Date && b.t != T::Date)
        return {"jet_date_plus(" + x + ", " + y + ")", T::Date, false, 0};
      if (b.t == T::Date && a.t != T::Date)
        return {"jet_date_plus(" + y + ", " + x + ")", T::Date, false, 0};
      if (numeric(a.t) && numeric(b.t))
        return {"(" + x + " + " + y + ")", widen(a.t, b.t), false, 0};
      if (textual(a.t) && textual(b.t))
        return {"(" + x + " || " + y + ")", (a.t == T::Memo || b.t == T::Memo) ? T::Memo : T::Text,
                false, 255};
      T t = textual(a.t) || textual(b.t) ? T::Unknown : widen(a.t, b.t);
      return {"jet_add(" + x + ", " + y + ")", t, false, 0};
    }
    if (op == "-") {
      if (a.t == T::Date)
        return {"jet_date_minus(" + x + ", " + y + ")", b.t == T::Date ? T::Double : T::Date, false,
                0};
      return {"(" + x + " - " + y + ")", widen(a.t, b.t), false, 0};
    }
    if (op == "*") return {"(" + x + " * " + y + ")", widen(a.t, b.t), false, 0};
    if (op == "/") {
      T t = widen(a.t, b.t);
      return {"jet_div(" + x + ", " + y + ")",
              t == T::Single && a.t == T::Single && b.t == T::Single ? T::Single
              : t == T::Currency                                     ? T::Currency
                                                                     : T::Double,
              false, 0};
    }
    if (op == "\\" || op == "mod") {
      T t = widen(a.t, b.t);
      T r = (t == T::Byte || t == T::Int) ? t : T::Long;
      return {std::string(op == "mod" ? "jet_mod(" : "jet_idiv(") + x + ", " + y + ")", r, false,
              0};
    }
    if (op == "^") return {"jet_pow(" + x + ", " + y + ")", T::Double, false, 0};
    refuse("The operator " + op + " is not supported by the store.");
  }

  Out call(const Expr& e, const Scope& sc) {
    const std::string& f = e.text;
    auto argc = static_cast<int>(e.a.size());
    auto needArgs = [&](int lo, int hi) {
      if (argc < lo || argc > hi)
        refuse("Wrong number of arguments used with function in query expression '" + f + "'.");
    };
    if (isAggregate(f)) {
      needArgs(1, 1);
      if (e.a[0]->k == EK::Star) {
        if (f != "count") refuse("Only Count takes '*' (" + aggName(f) + "(*)).");
        return {"count(*)", T::Long, false, 0};
      }
      Out a = expr(*e.a[0], sc);
      std::string x = value(a);
      if (f == "count") return {"count(" + x + ")", T::Long, false, 0};
      if (f == "sum") {
        T t = (a.t == T::Byte || a.t == T::Int || a.t == T::Long || a.t == T::Bool) ? T::Long
              : a.t == T::Currency                                                  ? T::Currency
                                                                                    : T::Double;
        return {"sum(" + x + ")", t, false, 0};
      }
      if (f == "avg")
        return {"avg(" + x + ")", a.t == T::Currency ? T::Currency : T::Double, false, 0};
      if (f == "min" || f == "max") {
        std::string arg =
            maybeText(a.t) && a.t != T::Date ? "(" + x + ") COLLATE " + jet::kCollation : x;
        T t = a.t == T::Bool ? T::Int : a.t;
        return {f + "(" + arg + ")", t, false, a.size};
      }
      if (f == "first" || f == "last") return {"jet_" + f + "(" + x + ")", a.t, false, a.size};
      return {"jet_" + f + "(" + x + ")", T::Double, false, 0};
    }
    if (f == "iif") {
      needArgs(3, 3);
      Out c = expr(*e.a[0], sc), x = expr(*e.a[1], sc), y = expr(*e.a[2], sc);
      T t = x.t == y.t                     ? x.t
            : x.t == T::Null               ? y.t
            : y.t == T::Null               ? x.t
            : numeric(x.t) && numeric(y.t) ? widen(x.t, y.t)
            : textual(x.t) && textual(y.t) ? T::Text
                                           : T::Unknown;
      return {"(CASE WHEN " + c.sql + " THEN " + value(x) + " ELSE " + value(y) + " END)", t, false,
              std::max(x.size, y.size)};
    }
    if (f == "nz") {
      needArgs(1, 2);
      Out x = expr(*e.a[0], sc);
      if (argc == 1) return {"coalesce(" + value(x) + ", '')", x.t, false, x.size};
      Out y = expr(*e.a[1], sc);
      return {"coalesce(" + value(x) + ", " + value(y) + ")", x.t, false, x.size};
    }
    if (f == "isnull") {
      needArgs(1, 1);
      Out x = expr(*e.a[0], sc);
      return {"(" + value(x) + " IS NULL)", T::Bool, true, 0};
    }
    for (const auto& fn : kFunctions) {
      if (f != fn.jet) continue;
      needArgs(fn.minA, fn.maxA);
      std::string s = std::string(fn.sql) + "(";
      T first = T::Unknown;
      for (int i = 0; i < argc; ++i) {
        if (e.a[static_cast<std::size_t>(i)]->k == EK::Star)
          refuse("Syntax error: '*' cannot stand in " + f + "().");
        Out a = expr(*e.a[static_cast<std::size_t>(i)], sc);
        if (i == 0) first = a.t;
        std::string v = value(a);
        bool toNumber = f == "cdbl" || f == "csng" || f == "clng" || f == "cint" || f == "ccur" ||
                        f == "cbyte" || f == "int" || f == "fix";
        if (a.t == T::Date && i == 0 && toNumber) v = "jet_serial(" + v + ")";
        if (a.t == T::Single && (f == "cstr" || (f == "format" && argc == 1)))
          v = "jet_single_text(" + v + ")";
        s += (i ? ", " : "") + v;
      }
      s += ")";
      T t = fn.result;
      if (t == T::Unknown) {
        t = first == T::Bool ? T::Int : first;
        if (f == "round" && first == T::Single) t = T::Double;
        if (!numeric(t) && t != T::Unknown) t = T::Double;
      }
      return {s, t, false, t == T::Text ? 255 : 0};
    }
    refuse("Undefined function '" + e.qual + "' in expression.");
  }

  // ---- sources ----

  std::string source(const Source& s, Scope& sc) {
    switch (s.k) {
      case Source::Table: {
        sc.srcs.push_back(tableSource(s.name, s.alias));
        return q(s.name) + (s.alias.empty() ? "" : " AS " + q(s.alias));
      }
      case Source::Derived: {
        QueryOut sub = query(*s.sub, sc.outer);
        Src src;
        src.alias = s.alias;
        src.known = true;
        src.cols = sub.cols;
        sc.srcs.push_back(std::move(src));
        return "(" + sub.sql + ")" + (s.alias.empty() ? "" : " AS " + q(s.alias));
      }
      case Source::Join: {
        std::string l = source(*s.l, sc);
        std::string r = source(*s.r, sc);
        if (s.r->k == Source::Join) r = "(" + r + ")";
        Out on = expr(*s.on, sc);
        return l + " " + s.join + " JOIN " + r + " ON " + on.sql;
      }
    }
    return {};
  }

  // ---- select ----

  // The text of the From … Having part of a core, and its scope.
  std::string body(const Core& c, Scope& sc) {
    std::string s;
    if (!c.from.empty()) {
      s += " FROM ";
      for (std::size_t i = 0; i < c.from.size(); ++i) s += (i ? ", " : "") + source(*c.from[i], sc);
    }
    if (c.where) s += " WHERE " + expr(*c.where, sc).sql;
    if (!c.group.empty()) {
      s += " GROUP BY ";
      for (std::size_t i = 0; i < c.group.size(); ++i) {
        Out g = expr(*c.group[i], sc);
        s += (i ? ", " : "") + value(g);
        if (maybeText(g.t) && g.t != T::Date) s += std::string(" COLLATE ") + jet::kCollation;
      }
    }
    if (c.having) s += " HAVING " + expr(*c.having, sc).sql;
    return s;
  }

  // Output names as Jet gives them.
  std::string itemName(const Item& it, std::size_t index) {
    if (!it.alias.empty()) return it.alias;
    const Expr& e = *it.e;
    if (e.k == EK::Column) return e.text;
    if (e.k == EK::Call && isAggregate(e.text) && e.a.size() == 1 && e.a[0]->k == EK::Column)
      return aggName(e.text) + "Of" + e.a[0]->text;
    return "Expr" + std::to_string(1000 + index);
  }

  // Conversion of the values a write puts into a field of the given type.
  static std::string convert(const std::string& v, const FieldDef& f) {
    std::string fn = writeConversion(f);
    if (fn.empty()) return v;
    if (fn == "jet_text")
      return "jet_text(" + v + ", " + std::to_string(f.type == JetType::Text ? f.size : 0) + ")";
    return fn + "(" + v + ")";
  }

  struct Wrap {
    const std::vector<FieldDef>* targets;  // per output column; null: no conversion
  };

  std::string orderKey(const OrderKey& k, const Scope& sc) {
    // SQLite reads a number here as a column's position; Jet does not: refused, not reread.
    if (k.e->k == EK::Number)
      refuse("Order By " + k.e->text + ": name the field; column numbers are not Jet's SQL.");
    Out o = expr(*k.e, sc);
    std::string s = value(o);
    if (o.t == T::Date)
      s = "jet_datekey(" + s + ")";
    else if (maybeText(o.t))
      s += std::string(" COLLATE ") + jet::kCollation;
    return s + (k.desc ? " DESC" : "");
  }

  // One Select: its text and output columns. `order` is the Order By of a Select that stands
  // alone (its keys also decide Top's ties).
  QueryOut core(const Core& c, const Scope* outer, const std::vector<OrderKey>* order,
                const Wrap& wrapIn, bool inUnion) {
    // DistinctRow drops duplicate records of the tables shown, and so does nothing when the rows
    // come from one table; over several tables it is not supported.
    if (c.distinctRow && !(c.from.size() == 1 && c.from[0]->k == Source::Table))
      refuse("DistinctRow over several tables is not supported by the store; use Distinct.");
    Wrap wrap = wrapIn;
    Scope sc;
    sc.outer = outer;
    std::string from = body(c, sc);
    QueryOut out;
    std::string items;
    std::size_t outIndex = 0;
    auto emitItem = [&](const std::string& sqlValue, const Col& col) {
      std::string v = sqlValue;
      if (wrap.targets && outIndex < wrap.targets->size())
        v = convert(v, (*wrap.targets)[outIndex]);
      items += (items.empty() ? "" : ", ") + v + " AS " + q(col.name);
      out.cols.push_back(col);
      ++outIndex;
    };
    for (std::size_t i = 0; i < c.items.size(); ++i) {
      const Item& it = c.items[i];
      if (it.e->k == EK::Star) {
        std::vector<const Src*> srcs;
        for (const auto& s : sc.srcs)
          if (it.e->qual.empty() || ieqs(s.alias, it.e->qual)) srcs.push_back(&s);
        if (!it.e->qual.empty() && srcs.empty())
          refuse("The table '" + it.e->qual + "' of '" + it.e->qual +
                 ".*' is not in the From clause.");
        bool allKnown =
            std::all_of(srcs.begin(), srcs.end(), [](const Src* s) { return s->known; });
        if (!allKnown || srcs.empty()) {
          wrap.targets = nullptr;  // types come with the values
          items += (items.empty() ? "" : ", ") +
                   (it.e->qual.empty() ? std::string("*") : q(it.e->qual) + ".*");
          outIndex = SIZE_MAX / 2;
          continue;
        }
        for (const Src* s : srcs)
          for (const auto& col : s->cols) {
            int dup = 0;
            for (const auto& o : sc.srcs)
              for (const auto& oc : o.cols)
                if (ieqs(oc.name, col.name)) ++dup;
            Col named = col;
            if (dup > 1 && !s->alias.empty()) named.name = s->alias + "." + col.name;
            std::string ref = (s->alias.empty() ? "" : q(s->alias) + ".") + q(col.name);
            if ((c.distinct || inUnion) && textual(col.t))
              ref += std::string(" COLLATE ") + jet::kCollation;
            emitItem(ref, named);
          }
        continue;
      }
      Out o = expr(*it.e, sc);
      Col col{itemName(it, i), o.t, o.size};
      std::string v = value(o);
      // Distinct and Union compare text case-blind, also in stores made before the collation.
      if ((c.distinct || inUnion) && maybeText(o.t) && o.t != T::Date &&
          (it.e->k != EK::Column || textual(o.t)))
        v = "(" + v + ") COLLATE " + jet::kCollation;
      emitItem(v, col);
    }
    out.sql = std::string("SELECT ") + (c.distinct ? "DISTINCT " : "") + items + from;
    if (order && !order->empty()) {
      std::string keys;
      for (const auto& k : *order) keys += (keys.empty() ? "" : ", ") + orderKey(k, sc);
      out.sql += " ORDER BY " + keys;
      if (c.top) {
        // Jet keeps the rows tied with the last one: count the rows ranked within the cut.
        std::string rankOver = "RANK() OVER (ORDER BY " + keys + ") AS __jet_rank";
        std::string total = c.percent ? ", count(*) OVER () AS __jet_rows" : "";
        std::string ranked;
        if (c.distinct) {
          // With Distinct the keys name columns of the select list: rank the distinct rows.
          std::string resultKeys;
          for (const auto& k : *order) {
            std::string name;
            if (k.e->k == EK::Column) {
              for (const auto& col : out.cols)
                if (ieqs(col.name, k.e->text)) name = col.name;
            }
            if (name.empty())
              refuse(
                  "ORDER BY clause conflicts with DISTINCT: order by fields of the select list.");
            T t = T::Unknown;
            for (const auto& col : out.cols)
              if (col.name == name) t = col.t;
            std::string key = q(name);
            if (t == T::Date)
              key = "jet_datekey(" + key + ")";
            else if (maybeText(t))
              key += std::string(" COLLATE ") + jet::kCollation;
            resultKeys += (resultKeys.empty() ? "" : ", ") + key + (k.desc ? " DESC" : "");
          }
          ranked = "SELECT RANK() OVER (ORDER BY " + resultKeys + ") AS __jet_rank" + total +
                   " FROM (SELECT DISTINCT " + items + from + ")";
        } else {
          ranked = "SELECT " + rankOver + total + from;
        }
        std::string cut = c.percent
                              ? "jet_ceil(" + std::to_string(c.topN) + " * __jet_rows / 100.0)"
                              : std::to_string(c.topN);
        out.sql += " LIMIT (SELECT count(*) FROM (" + ranked + ") WHERE __jet_rank <= " + cut + ")";
      }
    } else if (c.top) {
      if (c.percent)
        out.sql += " LIMIT (SELECT jet_ceil(" + std::to_string(c.topN) +
                   " * count(*) / 100.0) FROM (SELECT " + (c.distinct ? "DISTINCT " + items : "1") +
                   from + "))";
      else
        out.sql += " LIMIT " + std::to_string(c.topN);
    }
    return out;
  }

  QueryOut query(const Query& qy, const Scope* outer) { return query(qy, outer, Wrap{nullptr}); }

  QueryOut query(const Query& qy, const Scope* outer, const Wrap& wrap) {
    if (qy.cores.size() == 1) {
      QueryOut o = core(qy.cores[0], outer, &qy.order, wrap, false);
      return withLimit(qy, o, outer);
    }
    QueryOut out;
    for (std::size_t i = 0; i < qy.cores.size(); ++i) {
      QueryOut c = core(qy.cores[i], outer, nullptr, wrap, true);
      if (qy.cores[i].top) c.sql = "SELECT * FROM (" + c.sql + ")";
      if (i == 0) {
        out.cols = c.cols;
        out.sql = c.sql;
      } else {
        out.sql += qy.unionAll[i - 1] ? " UNION ALL " : " UNION ";
        out.sql += c.sql;
        for (std::size_t k = 0; k < out.cols.size() && k < c.cols.size(); ++k)
          if (out.cols[k].t != c.cols[k].t) {
            T a = out.cols[k].t, b = c.cols[k].t;
            out.cols[k].t = numeric(a) && numeric(b) ? widen(a, b)
                            : textual(a) && textual(b)
                                ? (a == T::Memo || b == T::Memo ? T::Memo : T::Text)
                            : a == T::Null ? b
                            : b == T::Null ? a
                                           : T::Unknown;
            out.cols[k].size = std::max(out.cols[k].size, c.cols[k].size);
          }
      }
    }
    if (!qy.order.empty()) {
      // A Union is ordered by its result columns.
      Scope sc;
      sc.outer = outer;
      Src res;
      res.known = true;
      res.cols = out.cols;
      sc.srcs.push_back(res);
      std::string keys;
      for (const auto& k : qy.order) {
        std::string key;
        if (k.e->k == EK::Number) {
          refuse("Order By " + k.e->text + ": name the field; column numbers are not Jet's SQL.");
        } else if (k.e->k == EK::Column) {
          key = q(k.e->text);
          for (const auto& c : out.cols)
            if (ieqs(c.name, k.e->text) && maybeText(c.t) && c.t != T::Date)
              key += std::string(" COLLATE ") + jet::kCollation;
        } else {
          refuse("The Order By of a Union names result columns, not expressions.");
        }
        keys += (keys.empty() ? "" : ", ") + key + (k.desc ? " DESC" : "");
      }
      out.sql += " ORDER BY " + keys;
    }
    return withLimit(qy, out, outer);
  }

  QueryOut withLimit(const Query& qy, QueryOut o, const Scope* outer) {
    if (!qy.limit) return o;
    Scope empty;
    empty.outer = outer;
    std::string lim = " LIMIT " + value(expr(*qy.limit, empty));
    if (qy.offset) lim += " OFFSET " + value(expr(*qy.offset, empty));
    bool hasTop =
        std::any_of(qy.cores.begin(), qy.cores.end(), [](const Core& c) { return c.top; });
    if (hasTop)
      o.sql = "SELECT * FROM (" + o.sql + ")" + lim;
    else
      o.sql += lim;
    return o;
  }

  // ---- statements ----

  JetTranslation translate(Statement& st) {
    JetTranslation tr;
    tr.kind = st.kind;
    tr.target = st.table;
    switch (st.kind) {
      case JetStatementKind::Select: {
        QueryOut o = query(*st.query, nullptr);
        tr.sql = o.sql;
        for (const auto& c : o.cols) tr.columns.push_back(fieldOf(c.name, c.t, c.size));
        break;
      }
      case JetStatementKind::SelectInto: {
        // First the types, then the Select again with each value converted to its field's type.
        QueryOut plain = query(*st.query, nullptr);
        std::vector<FieldDef> defs;
        std::vector<std::string> seen;
        for (const auto& c : plain.cols) {
          for (const auto& s : seen)
            if (ieqs(s, c.name)) refuse("Duplicate output destination '" + c.name + "'.");
          seen.push_back(c.name);
          defs.push_back(fieldOf(c.name, c.t == T::Null ? T::Unknown : c.t, c.size));
        }
        Wrap w{nullptr};
        w.targets = &defs;
        QueryOut conv = query(*st.query, nullptr, w);
        tr.sql = conv.sql;
        tr.columns = defs;
        break;
      }
      case JetStatementKind::Insert:
        tr.sql = insert(st);
        break;
      case JetStatementKind::Update:
        tr.sql = update(st);
        break;
      case JetStatementKind::Delete:
        tr.sql = del(st);
        break;
      case JetStatementKind::CreateTable: {
        std::string s = "CREATE TABLE " + q(st.table) + " (";
        for (std::size_t i = 0; i < st.defs.size(); ++i) {
          s += (i ? ", " : "") + columnSql(st.defs[i]);
          tr.columns.push_back(st.defs[i].f);
        }
        for (const auto& c : st.tableConstraints) s += ", " + c;
        tr.sql = s + ")";
        break;
      }
      case JetStatementKind::DropTable:
        tr.sql = "DROP TABLE " + q(st.table);
        break;
      case JetStatementKind::AddColumn:
        tr.column = st.defs[0].f;
        tr.sql = "ALTER TABLE " + q(st.table) + " ADD COLUMN " + columnSql(st.defs[0]);
        break;
      case JetStatementKind::DropColumn:
        tr.column = st.defs[0].f;
        tr.sql = "ALTER TABLE " + q(st.table) + " DROP COLUMN " + q(st.defs[0].f.name);
        break;
      case JetStatementKind::AlterColumn:
        tr.column = st.defs[0].f;
        break;
      case JetStatementKind::CreateIndex: {
        std::string s = std::string("CREATE ") + (st.unique ? "UNIQUE " : "") + "INDEX " +
                        q(st.table + "." + st.index) + " ON " + q(st.table) + " (";
        for (std::size_t i = 0; i < st.columns.size(); ++i)
          s += (i ? ", " : "") + q(st.columns[i]) + (st.desc[i] ? " DESC" : "");
        tr.sql = s + ")";
        break;
      }
      case JetStatementKind::DropIndex:
        tr.sql = "DROP INDEX " + q(st.table + "." + st.index);
        break;
    }
    return tr;
  }

  static std::string columnSql(const ColumnDef& d) {
    std::string s = q(d.f.name) + " " + storageDeclaration(d.f);
    if (d.notNull) s += " NOT NULL";
    if (d.primary) s += " PRIMARY KEY";
    if (d.unique) s += " UNIQUE";
    if (!d.defaultSql.empty()) s += " DEFAULT " + d.defaultSql;
    return s;
  }

  const FieldDef* targetField(const std::vector<FieldDef>* defs, const std::string& col) {
    if (!defs) return nullptr;
    for (const auto& d : *defs)
      if (ieqs(d.name, col)) return &d;
    return nullptr;
  }

  std::string insert(Statement& st) {
    const auto* defs = table(st.table);
    std::vector<std::string> cols = st.columns;
    if (cols.empty() && st.query && defs && st.query->cores.size() == 1 &&
        st.query->cores[0].items.size() == 1 && st.query->cores[0].items[0].e->k == EK::Star &&
        st.query->cores[0].from.size() == 1 && st.query->cores[0].from[0]->k == Source::Table) {
      // Jet appends "Select *" by field name.
      if (const auto* src = table(st.query->cores[0].from[0]->name)) {
        for (const auto& f : *src) {
          if (!targetField(defs, f.name))
            refuse("The INSERT INTO statement contains the following unknown field name: '" +
                   f.name + "'.");
          cols.push_back(f.name);
        }
      }
    }
    if (cols.empty() && defs)
      for (const auto& d : *defs) cols.push_back(d.name);
    std::vector<FieldDef> targets;
    for (const auto& c : cols) {
      const FieldDef* f = targetField(defs, c);
      if (defs && !f)
        refuse("The INSERT INTO statement contains the following unknown field name: '" + c + "'.");
      targets.push_back(f ? *f : FieldDef{c, JetType::Other, 0});
    }
    std::string s = "INSERT INTO " + q(st.table);
    if (!cols.empty()) {
      s += " (";
      for (std::size_t i = 0; i < cols.size(); ++i) s += (i ? ", " : "") + q(cols[i]);
      s += ")";
    }
    if (st.query) {
      Wrap w{nullptr};
      w.targets = &targets;
      return s + " " + query(*st.query, nullptr, w).sql;
    }
    s += " VALUES ";
    Scope none;
    for (std::size_t r = 0; r < st.rows.size(); ++r) {
      s += r ? ", (" : "(";
      for (std::size_t i = 0; i < st.rows[r].size(); ++i) {
        std::string v = value(expr(*st.rows[r][i], none));
        if (i < targets.size()) v = convert(v, targets[i]);
        s += (i ? ", " : "") + v;
      }
      s += ")";
    }
    return s;
  }

  // Flattens an inner-join tree into its tables and On conditions.
  void flatten(const Source& s, std::vector<const Source*>& leaves, std::vector<const Expr*>& ons,
               const char* what) {
    if (s.k == Source::Join) {
      if (s.join != "INNER")
        refuse(std::string(what) + " with a " + (s.join == "LEFT" ? "Left" : "Right") +
               " Join is not supported by the store; use Inner Join.");
      flatten(*s.l, leaves, ons, what);
      flatten(*s.r, leaves, ons, what);
      ons.push_back(s.on.get());
    } else {
      leaves.push_back(&s);
    }
  }

  static std::string leafName(const Source& s) { return s.alias.empty() ? s.name : s.alias; }

  std::string update(Statement& st) {
    std::vector<const Source*> leaves;
    std::vector<const Expr*> ons;
    flatten(*st.source, leaves, ons, "Update");
    for (const Source* l : leaves)
      if (l->k != Source::Table) refuse("Update of a derived table is not supported by the store.");
    Scope sc;
    for (const Source* l : leaves) sc.srcs.push_back(tableSource(l->name, l->alias));
    // The table written: the one the Set fields belong to.
    const Source* target = leaves.size() == 1 ? leaves[0] : nullptr;
    for (const auto& a : st.sets) {
      const Source* owner = nullptr;
      for (std::size_t i = 0; i < leaves.size(); ++i) {
        if (!a.qual.empty()) {
          if (ieqs(leafName(*leaves[i]), a.qual) || ieqs(leaves[i]->name, a.qual))
            owner = leaves[i];
        } else if (leaves.size() == 1) {
          owner = leaves[0];
        } else {
          for (const auto& c : sc.srcs[i].cols)
            if (ieqs(c.name, a.col)) owner = owner ? owner : leaves[i];
        }
      }
      if (!owner)
        refuse("Cannot tell which table the field '" + a.col + "' of the Set belongs to.");
      if (target && target != owner)
        refuse("Update of fields of two tables in one statement is not supported by the store.");
      target = owner;
    }
    tr_target_ = target->name;
    const auto* defs = table(target->name);
    std::string s = "UPDATE " + q(target->name) +
                    (target->alias.empty() ? "" : " AS " + q(target->alias)) + " SET ";
    for (std::size_t i = 0; i < st.sets.size(); ++i) {
      const FieldDef* f = targetField(defs, st.sets[i].col);
      std::string v = value(expr(*st.sets[i].e, sc));
      if (f) v = convert(v, *f);
      s += (i ? ", " : "") + q(st.sets[i].col) + " = " + v;
    }
    std::string others;
    for (const Source* l : leaves)
      if (l != target)
        others += (others.empty() ? "" : ", ") + q(l->name) +
                  (l->alias.empty() ? "" : " AS " + q(l->alias));
    if (!others.empty()) s += " FROM " + others;
    std::string cond;
    for (const Expr* on : ons)
      cond += (cond.empty() ? "" : " AND ") + ("(" + expr(*on, sc).sql + ")");
    if (st.where) cond += (cond.empty() ? "" : " AND ") + ("(" + expr(*st.where, sc).sql + ")");
    if (!cond.empty()) s += " WHERE " + cond;
    return s;
  }

  std::string del(Statement& st) {
    if (st.source->k == Source::Table) {
      Scope sc;
      sc.srcs.push_back(tableSource(st.source->name, st.source->alias));
      if (!st.deleteQual.empty() && !ieqs(st.deleteQual, leafName(*st.source)) &&
          !ieqs(st.deleteQual, st.source->name))
        refuse("The table '" + st.deleteQual + "' of 'Delete " + st.deleteQual +
               ".*' is not in the From clause.");
      tr_target_ = st.source->name;
      std::string s = "DELETE FROM " + q(st.source->name) +
                      (st.source->alias.empty() ? "" : " AS " + q(st.source->alias));
      if (st.where) s += " WHERE " + expr(*st.where, sc).sql;
      return s;
    }
    if (st.source->k == Source::Derived)
      refuse("Delete from a derived table is not supported by the store.");
    // Delete t.* From t Inner Join u On …: the rows of t that the join finds.
    std::vector<const Source*> leaves;
    std::vector<const Expr*> ons;
    std::function<void(const Source&)> walk = [&](const Source& s) {
      if (s.k == Source::Join) {
        walk(*s.l);
        walk(*s.r);
      } else {
        leaves.push_back(&s);
      }
    };
    walk(*st.source);
    const Source* target = nullptr;
    for (const Source* l : leaves)
      if (l->k == Source::Table && (st.deleteQual.empty() ? target == nullptr
                                                          : (ieqs(leafName(*l), st.deleteQual) ||
                                                             ieqs(l->name, st.deleteQual))))
        target = l;
    if (!target)
      refuse("Specify the table containing the records you want to delete (Delete t.* From …).");
    tr_target_ = target->name;
    Scope sc;
    std::string from = source(*st.source, sc);
    std::string s = "DELETE FROM " + q(target->name) + " WHERE rowid IN (SELECT " +
                    q(leafName(*target)) + ".rowid FROM " + from;
    if (st.where) s += " WHERE " + expr(*st.where, sc).sql;
    return s + ")";
  }

  std::string tr_target_;

 private:
  const JetSchemaLookup& schema_;
};

}  // namespace

std::string storageDeclaration(const FieldDef& f) {
  std::string collate = std::string(" COLLATE ") + jet::kCollation;
  switch (f.type) {
    case JetType::Text:
      return f.declared() + collate;
    case JetType::Memo:
      return "LONGTEXT" + collate;
    default:
      return f.declared();
  }
}

std::string writeConversion(const FieldDef& f) {
  switch (f.type) {
    case JetType::Single:
      return "jet_single";
    case JetType::Long:
      return "jet_long";
    case JetType::Integer:
      return "jet_integer";
    case JetType::Byte:
      return "jet_byte";
    case JetType::Bit:
      return "jet_bit";
    case JetType::Currency:
      return "jet_currency";
    case JetType::Date:
      return "jet_date";
    case JetType::Double:
      return "jet_double";
    case JetType::Text:
    case JetType::Memo:
      return "jet_text";
    default:
      return "";
  }
}

JetTranslation translateJet(const std::string& jet, const JetSchemaLookup& schema) {
  Parser p(jet);
  Statement st = p.statement();
  Emitter em(schema);
  JetTranslation tr = em.translate(st);
  if (!em.tr_target_.empty()) tr.target = em.tr_target_;
  return tr;
}

}  // namespace sarnoth
