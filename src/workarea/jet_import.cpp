#include "workarea/jet_import.h"

#include <mdbtools.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>

#include "workarea/path_resolver.h"
#include "workarea/table_store.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace fs = std::filesystem;
namespace {

struct MdbCloser {
  void operator()(MdbHandle* h) const { mdb_close(h); }
};
using MdbPtr = std::unique_ptr<MdbHandle, MdbCloser>;

// Opens the file with the Jet 3 code page given; returns null when mdbtools cannot read it.
MdbPtr openMdb(const std::string& path, const char* jet3Charset) {
  setenv("MDB_JET3_CHARSET", jet3Charset, 1);
  MdbHandle* h = mdb_open(path.c_str(), MDB_NOFLAGS);
  unsetenv("MDB_JET3_CHARSET");
  return MdbPtr(h);
}

FieldDef fieldOf(const MdbHandle* mdb, const MdbColumn* col) {
  FieldDef f;
  f.name = col->name;
  switch (col->col_type) {
    case MDB_BOOL:
      f.type = JetType::Bit;
      break;
    case MDB_BYTE:
      f.type = JetType::Byte;
      break;
    case MDB_INT:
      f.type = JetType::Integer;
      break;
    case MDB_LONGINT:
      f.type = JetType::Long;
      break;
    case MDB_MONEY:
      f.type = JetType::Currency;
      break;
    case MDB_FLOAT:
      f.type = JetType::Single;
      break;
    case MDB_DOUBLE:
      f.type = JetType::Double;
      break;
    case MDB_NUMERIC:
      f.type = JetType::Double;
      break;
    case MDB_DATETIME:
      f.type = JetType::Date;
      break;
    case MDB_TEXT:
      f.type = JetType::Text;
      f.size = mdb->f->jet_version == MDB_VER_JET3 ? col->col_size : col->col_size / 2;
      if (f.size <= 0) f.size = 255;
      break;
    case MDB_MEMO:
      f.type = JetType::Memo;
      break;
    default:
      f.type = JetType::Other;
      break;
  }
  return f;
}

template <typename T>
T readLE(const unsigned char* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Jet dates: days since 1899-12-30; the integer part is the day (negative before it), the
// fraction's magnitude the time of day.
std::string jetDate(double days) {
  double whole = std::trunc(days);
  double frac = std::fabs(days - whole);
  // 1899-12-30 is 25569 days before 1970-01-01.
  auto secs = static_cast<long long>((whole - 25569.0) * 86400.0) +
              static_cast<long long>(std::llround(frac * 86400.0));
  std::time_t t = static_cast<std::time_t>(secs);
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buf[48];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1,
                tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
  return buf;
}

// The raw bytes of the current value of a fixed-width column, or null.
const unsigned char* rawValue(MdbHandle* mdb, const MdbColumn* col, int want) {
  if (col->cur_value_len != want || col->cur_value_start < 0 ||
      col->cur_value_start + want > static_cast<int>(sizeof mdb->pg_buf))
    return nullptr;
  return mdb->pg_buf + col->cur_value_start;
}

// Whether every table name of a Jet 3 file decodes without loss as GBK.
bool namesReadAsGbk(const std::string& path) {
  MdbPtr mdb = openMdb(path, "CP936");
  if (!mdb || mdb->f->jet_version != MDB_VER_JET3) return true;
  if (!mdb_read_catalog(mdb.get(), MDB_TABLE)) return true;
  for (unsigned i = 0; i < mdb->num_catalog; ++i) {
    auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
    std::string n = e->object_name;
    if (!isValidUtf8(n) || n.find("\xEF\xBF\xBD") != std::string::npos ||
        n.find('?') != std::string::npos)
      return false;
  }
  return true;
}

// mdbtools trusts the file header; refuse files too short to hold a page or without the tag.
bool looksLikeJet(const std::string& path) {
  std::error_code ec;
  std::ifstream f(path, std::ios::binary);
  char head[32] = {0};
  f.read(head, sizeof head);
  return f.gcount() == 32 && fs::file_size(path, ec) >= 2048 &&
         (std::memcmp(head + 4, "Standard Jet DB", 15) == 0 ||
          std::memcmp(head + 4, "Standard ACE DB", 15) == 0);
}

}  // namespace

std::vector<std::string> listJetTables(const std::string& mdbPathIn, std::string& error) {
  std::vector<std::string> out;
  std::string mdbPath = resolvePath(mdbPathIn);
  if (!looksLikeJet(mdbPath)) {
    error = "不是有效的Jet数据库文件: " + mdbPathIn;
    return out;
  }
  MdbPtr mdb = openMdb(mdbPath, namesReadAsGbk(mdbPath) ? "CP936" : "CP1252");
  if (!mdb || !mdb_read_catalog(mdb.get(), MDB_TABLE)) {
    error = "无法读取Jet数据库文件: " + mdbPathIn;
    return out;
  }
  for (unsigned i = 0; i < mdb->num_catalog; ++i) {
    auto* e = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
    if (e->object_type == MDB_TABLE && !mdb_is_system_table(e)) out.emplace_back(e->object_name);
  }
  return out;
}

Outcome importJetDatabase(const std::string& mdbPathIn, const std::string& sqlitePathIn,
                          JetImportReport* report) {
  std::string mdbPath = resolvePath(mdbPathIn);
  std::string sqlitePath = resolvePath(sqlitePathIn);
  std::error_code ec;
  if (!fs::is_regular_file(mdbPath, ec)) return Outcome::failure("找不到数据库文件: " + mdbPathIn);
  if (!looksLikeJet(mdbPath)) return Outcome::failure("不是有效的Jet数据库文件: " + mdbPathIn);
  const char* charset = namesReadAsGbk(mdbPath) ? "CP936" : "CP1252";
  MdbPtr mdb = openMdb(mdbPath, charset);
  if (!mdb) return Outcome::failure("无法读取Jet数据库文件: " + mdbPathIn);
  mdb_set_date_fmt(mdb.get(), "%Y-%m-%d %H:%M:%S");
  mdb_set_bind_size(mdb.get(), 1 << 16);
  if (!mdb_read_catalog(mdb.get(), MDB_TABLE))
    return Outcome::failure("无法读取Jet数据库的目录: " + mdbPathIn);

  std::string scratch = sqlitePath + ".importing";
  fs::remove(scratch, ec);
  JetImportReport rep;
  try {
    Database db = Database::open(scratch, true);
    db.begin();
    for (unsigned i = 0; i < mdb->num_catalog; ++i) {
      auto* entry = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
      if (entry->object_type != MDB_TABLE || mdb_is_system_table(entry)) continue;
      MdbTableDef* table = mdb_read_table(entry);
      if (!table) continue;
      std::unique_ptr<MdbTableDef, void (*)(MdbTableDef*)> tguard(table, mdb_free_tabledef);
      if (!mdb_read_columns(table)) continue;
      std::vector<FieldDef> defs;
      std::vector<std::string> names;
      const unsigned ncols = table->num_cols;
      std::vector<std::unique_ptr<char[]>> bufs(ncols);
      std::vector<int> lens(ncols, 0);
      for (unsigned c = 0; c < ncols; ++c) {
        auto* col = static_cast<MdbColumn*>(g_ptr_array_index(table->columns, c));
        defs.push_back(fieldOf(mdb.get(), col));
        names.push_back(col->name);
        bufs[c] = std::make_unique<char[]>(1 << 16);
        mdb_bind_column(table, static_cast<int>(c) + 1, bufs[c].get(), &lens[c]);
      }
      if (defs.empty()) continue;
      std::string name = table->name;
      db.createTable(name, defs);
      rep.tables.push_back(name);
      TableWriter w(db, name, names);
      mdb_rewind_table(table);
      while (mdb_fetch_row(table)) {
        for (unsigned c = 0; c < ncols; ++c) {
          auto* col = static_cast<MdbColumn*>(g_ptr_array_index(table->columns, c));
          int ci = static_cast<int>(c);
          const FieldDef& d = defs[c];
          if (col->col_type == MDB_BOOL) {
            w.setInt(ci, bufs[c][0] == '1' ? -1 : 0);
            continue;
          }
          if (lens[c] == 0 && col->cur_value_len == 0) {
            w.setNull(ci);
            continue;
          }
          const unsigned char* raw = nullptr;
          switch (col->col_type) {
            case MDB_BYTE:
              if ((raw = rawValue(mdb.get(), col, 1))) w.setInt(ci, raw[0]);
              break;
            case MDB_INT:
              if ((raw = rawValue(mdb.get(), col, 2))) w.setInt(ci, readLE<std::int16_t>(raw));
              break;
            case MDB_LONGINT:
              if ((raw = rawValue(mdb.get(), col, 4))) w.setInt(ci, readLE<std::int32_t>(raw));
              break;
            case MDB_FLOAT:
              if ((raw = rawValue(mdb.get(), col, 4))) w.setDouble(ci, readLE<float>(raw));
              break;
            case MDB_DOUBLE:
              if ((raw = rawValue(mdb.get(), col, 8))) w.setDouble(ci, readLE<double>(raw));
              break;
            case MDB_MONEY:
              if ((raw = rawValue(mdb.get(), col, 8)))
                w.setDouble(ci, static_cast<double>(readLE<std::int64_t>(raw)) / 10000.0);
              break;
            case MDB_DATETIME:
              if ((raw = rawValue(mdb.get(), col, 8))) w.setText(ci, jetDate(readLE<double>(raw)));
              break;
            default:
              break;
          }
          if (raw) continue;
          std::string text(bufs[c].get(), static_cast<std::size_t>(std::max(lens[c], 0)));
          if (d.type == JetType::Text || d.type == JetType::Memo || d.type == JetType::Other ||
              d.type == JetType::Date)
            w.setText(ci, text);
          else
            w.setDouble(ci, std::strtod(text.c_str(), nullptr));
        }
        w.addRow();
        ++rep.rows;
      }
      w.commit();
    }
    db.commit();
    db.close();
  } catch (const StoreError& e) {
    fs::remove(scratch, ec);
    return Outcome::failure(std::string("导入Jet数据库错误, ") + e.what());
  }
  fs::rename(scratch, sqlitePath, ec);
  if (ec) {
    fs::remove(scratch, ec);
    return Outcome::failure("无法写入数据库文件: " + sqlitePathIn);
  }
  if (report) *report = std::move(rep);
  return Outcome::success();
}

}  // namespace sarnoth
