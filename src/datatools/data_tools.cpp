#include "datatools/data_tools.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>

#include "workarea/jet_sql.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace fs = std::filesystem;

namespace {

// A query is a Select without Into: it returns rows and changes nothing.
bool isQuery(Database& db, const std::string& sql) {
  return db.translate(sql).kind == JetStatementKind::Select;
}

}  // namespace

Outcome runStatement(Database& db, const std::string& sql, QueryResult& out, std::size_t rowLimit) {
  out = QueryResult{};
  if (sql.find_first_not_of(" \t\r\n;") == std::string::npos)
    return Outcome::failure("请输入SQL语句.");
  try {
    JetTranslation tr = db.translate(sql);
    if (tr.kind == JetStatementKind::Select) {
      Cursor c = db.query(sql);
      for (int i = 0; i < c.columnCount(); ++i) out.columns.push_back(c.columnName(i));
      while (c.next()) {
        if (out.rows.size() >= rowLimit) {
          out.truncated = true;
          break;
        }
        std::vector<Value> row;
        row.reserve(out.columns.size());
        for (int i = 0; i < c.columnCount(); ++i) row.push_back(c.get(i));
        out.rows.push_back(std::move(row));
      }
    } else if (tr.kind == JetStatementKind::SelectInto) {
      // A new table from a statement is registered as the SQL tool registers what it saves.
      db.begin();
      try {
        ScriptedInteraction quiet;
        Registration how{kSqlOrigin, "", OverwriteRule::Refuse, kSqlTableExists, "", true};
        if (registerTable(db, tr.target, how, quiet) == RegisterResult::Refused ||
            db.tableExists(tr.target)) {
          db.rollback();
          return Outcome::failure(kSqlTableExists);
        }
        out.changed = db.execute(sql);
        db.commit();
      } catch (...) {
        db.rollback();
        throw;
      }
    } else {
      out.changed = db.execute(sql);
    }
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  return Outcome::success();
}

Outcome saveQueryAsTable(Database& db, const std::string& query, const std::string& newName,
                         Interaction& ui) {
  if (std::string why = newNameRefusal(newName, NewNameKind::Table); !why.empty())
    return Outcome::failure(why);
  try {
    if (!isQuery(db, query)) return Outcome::failure("只有查询语句的结果可以存为数据表.");
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  std::string body = query;
  while (!body.empty() && (body.back() == ';' || body.back() == ' ' || body.back() == '\n'))
    body.pop_back();
  try {
    db.begin();
    Registration how{kSqlOrigin, "", OverwriteRule::Refuse, kSqlTableExists, "", true};
    RegisterResult r = registerTable(db, newName, how, ui);
    if (r == RegisterResult::Refused) {
      db.rollback();
      return Outcome::failure(kSqlTableExists);
    }
    if (db.tableExists(newName)) {
      // Not registered but present: the name is taken all the same.
      db.rollback();
      ui.inform(kTitle, kSqlTableExists, Icon::Information);
      return Outcome::failure(kSqlTableExists);
    }
    std::int64_t n = db.execute("Select * Into " + bracket(newName) + " From (" + body + ")");
    db.commit();
    return Outcome::success("已存为数据表 " + newName + ", 共 " + std::to_string(n) + " 条记录.");
  } catch (const StoreError& e) {
    db.rollback();
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
}

std::vector<std::string> unregisteredTables(Database& db) {
  std::vector<std::string> reg, all, out;
  listRegisteredTables(db, reg);
  listDatabaseTables(db, all);
  auto sameName = [](const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
             return std::tolower(static_cast<unsigned char>(x)) ==
                    std::tolower(static_cast<unsigned char>(y));
           });
  };
  for (const auto& t : all)
    if (std::none_of(reg.begin(), reg.end(), [&](const std::string& r) { return sameName(r, t); }))
      out.push_back(t);
  return out;
}

std::vector<std::string> orphanRegistryRows(Database& db) {
  std::vector<std::string> reg, out;
  listRegisteredTables(db, reg);
  for (const auto& r : reg)
    if (!db.tableExists(r)) out.push_back(r);
  return out;
}

Outcome registerExistingTable(Database& db, const std::string& name) {
  if (!db.tableExists(name)) return Outcome::failure("数据表不存在: " + name);
  ScriptedInteraction quiet;
  try {
    Registration how{kCleanOrigin, kCleanNote, OverwriteRule::Refuse, "", "", false};
    if (registerTable(db, name, how, quiet) == RegisterResult::Refused)
      return Outcome::failure("数据表已登记: " + name);
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  return Outcome::success();
}

Outcome tablesFromList(Database& db, const std::string& text, std::vector<std::string>& names) {
  names.clear();
  std::vector<std::string> registered;
  try {
    listRegisteredTables(db, registered);
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  std::vector<std::string> parts;
  for (std::size_t at = 0;;) {
    std::size_t c = text.find(',', at);
    parts.push_back(text.substr(at, c == std::string::npos ? std::string::npos : c - at));
    if (c == std::string::npos) break;
    at = c + 1;
  }
  // The longest run of items that names a table wins, so "Cu,Pb 结果" stays one name.
  for (std::size_t i = 0; i < parts.size();) {
    std::size_t take = 0;
    std::string name;
    for (std::size_t j = parts.size(); j > i && take == 0; --j) {
      std::string candidate = parts[i];
      for (std::size_t k = i + 1; k < j; ++k) candidate += "," + parts[k];
      if (db.tableExists(candidate) ||
          std::find(registered.begin(), registered.end(), candidate) != registered.end()) {
        take = j - i;
        name = candidate;
      }
    }
    if (take == 0) {
      if (parts[i].find_first_not_of(" \t") == std::string::npos) {
        ++i;  // an empty item between two commas
        continue;
      }
      return Outcome::failure("数据表不存在: " + parts[i]);
    }
    names.push_back(name);
    i += take;
  }
  if (names.empty()) return Outcome::failure("请选择数据表.");
  return Outcome::success();
}

Outcome removeTables(Database& db, const std::vector<std::string>& names, Interaction& ui) {
  if (names.empty()) return Outcome::failure("请选择数据表.");
  // A name that is neither a table nor a registry row is said before anything is asked or
  // removed (a registry row whose table is gone may be removed).
  std::vector<std::string> registered;
  try {
    listRegisteredTables(db, registered);
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  for (const auto& n : names)
    if (!db.tableExists(n) &&
        std::find(registered.begin(), registered.end(), n) == registered.end())
      return Outcome::failure("数据表不存在: " + n);
  if (ui.ask(kTitle, kConfirmRemoveText, Buttons::YesNo, Icon::Question) != Answer::Yes)
    return Outcome::failure("");
  try {
    db.begin();
    for (const auto& n : names) removeWorkTable(db, n);
    db.commit();
  } catch (const StoreError& e) {
    db.rollback();
    return Outcome::failure(e.what());
  }
  ui.inform(kTitle, kRemovedText, Icon::Information);
  return Outcome::success(kRemovedText);
}

Outcome compactWorkDatabase(const std::string& workPath, Database& db) {
  std::string store = storePathFor(workPath + "\\Qury_Dat\\QueryDB.mdb");
  std::string scratch = storePathFor(workPath + "\\Qury_Dat\\QueryDBNN.mdb");
  db.close();
  std::error_code ec;
  fs::remove(scratch, ec);
  try {
    {
      Database d = Database::open(store);
      sqlite3_stmt* st = nullptr;
      if (sqlite3_prepare_v2(d.handle(), "VACUUM INTO ?", -1, &st, nullptr) != SQLITE_OK)
        throw StoreError(sqlite3_errmsg(d.handle()));
      sqlite3_bind_text(st, 1, scratch.c_str(), -1, SQLITE_TRANSIENT);
      int rc = sqlite3_step(st);
      std::string msg = sqlite3_errmsg(d.handle());
      sqlite3_finalize(st);
      if (rc != SQLITE_DONE) throw StoreError(msg);
    }
    fs::copy_file(scratch, store, fs::copy_options::overwrite_existing, ec);
    if (ec) throw StoreError(ec.message());
    fs::remove(scratch, ec);
    db = Database::open(store);
  } catch (const StoreError& e) {
    fs::remove(scratch, ec);
    try {
      db = Database::open(store);
    } catch (const StoreError&) {
    }
    return Outcome::failure(std::string("数据库压缩错误: ") + e.what());
  }
  return Outcome::success(kCompactedText);
}

}  // namespace sarnoth
