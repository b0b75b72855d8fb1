// Data clipping: grids and tables cut by the polygons of a coordinate file. See clipping.h.
#include "prep/clipping.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include "datatools/table_import.h"
#include "prep/parallel_rows.h"
#include "workarea/file_text.h"
#include "workarea/grid_file.h"
#include "workarea/jet_sql.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth {

namespace fs = std::filesystem;

namespace {

// Records are tested and deleted in blocks of this many: big enough for both cores, small enough
// that the progress bar moves and a stop comes quickly.
constexpr std::int64_t kRecordBlock = 1 << 16;
// Grid rows are read, tested and written in blocks of about this many nodes.
constexpr std::int64_t kNodeBlock = 1 << 20;
// The least work worth a thread of its own.
constexpr int kMinPointsPerThread = 4096;

constexpr const char* kMsgNoTableChosen = "请选择数据表.";

// An identifier for SQLite text: double quotes, inner quotes doubled.
std::string quoteId(const std::string& name) {
  std::string q = "\"";
  for (char ch : name) {
    q += ch;
    if (ch == '"') q += '"';
  }
  return q + "\"";
}

bool sameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    auto lo = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    if (lo(static_cast<unsigned char>(a[i])) != lo(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

// Tests points [0, n) on up to `threads` threads: flag 1 where the record or node goes.
template <class PointAt>
void markRemovals(const MapRegionSet& region, bool keepInside, std::int64_t n, PointAt pointAt,
                  std::vector<std::uint8_t>& remove, int threads) {
  remove.assign(static_cast<std::size_t>(n), 0);
  detail::forRowBands(
      static_cast<int>(n),
      [&](int b, int e, int) {
        for (int i = b; i < e; ++i) {
          MapPoint p = pointAt(i);
          const bool inside = region.isPointInRegExt(p) == 1;
          remove[static_cast<std::size_t>(i)] = inside != keepInside;
        }
      },
      kMinPointsPerThread, threads);
}

std::string dbfPrefix(ClipSourceKind k) {
  if (isExcelKind(k)) return "打开Excel XSL 数据表错 -- ";
  if (static_cast<int>(k) <= 5) return "打开FoxPro DBF数据表错 -- ";
  return "打开DBase DBF数据表错 -- ";
}

// The description part of a text like "打开DBase DBF数据表错 -- description".
std::string descriptionOf(const std::string& error) {
  auto at = error.find(" -- ");
  return at == std::string::npos ? error : error.substr(at + 4);
}

}  // namespace

// ---- lists and strings ------------------------------------------------------------------------

const std::vector<std::string>& clipScatterKindCaptions() {
  static const std::vector<std::string> k = {"检索数据表",
                                             "Sarnoth离散数据(ASCII)",
                                             "Sarnoth离散数据(二进制)",
                                             "FoxPro 3.0 DBF文件",
                                             "FoxPro 2.6 DBF文件",
                                             "FoxPro 2.5 DBF文件",
                                             "DBase 5.0 DBF文件",
                                             "DBase IV DBF文件",
                                             "DBase III DBF文件",
                                             "Excel(5.0/95) 表数据文件",
                                             "Excel(7.0/97) 表数据文件",
                                             "Excel(8.0/98) 表数据文件"};
  return k;
}

const std::vector<std::string>& clipGridKindCaptions() {
  static const std::vector<std::string> k = {"工作区数据", "外部数据"};
  return k;
}

std::string clipConnectString(ClipSourceKind kind, const std::string& directory,
                              const std::string& fullPath) {
  static const char* const prefix[] = {
      "FoxPro 3.0;DATABASE=", "FoxPro 2.6;DATABASE=", "FoxPro 2.5;DATABASE=",
      "Dbase 5.0;DATABASE=",  "Dbase IV;DATABASE=",   "Dbase III;DATABASE=",
      "Excel 5.0;DATABASE=",  "Excel 7.0;DATABASE=",  "Excel 8.0;DATABASE="};
  if (!isLinkedKind(kind)) return {};
  const int k = static_cast<int>(kind) - 3;
  return std::string(prefix[k]) + (isExcelKind(kind) ? fullPath : directory);
}

std::string clipFileFilter(bool grid) {
  return grid ? "Sarnoth网格数据(*.GRD)|*.grd|所有文件 (*.*)|*.*|"
              : "Sarnoth离散数据(*.DAT)|*.dat|数据库(.DBF)|*.dbf|EXCEL(*.XLS)|*.xls|所有文件 "
                "(*.*)|*.*|";
}

// ---- polygons ---------------------------------------------------------------------------------

Outcome readClipPolygons(const std::string& path, ClipPath which, ClipPolygons& out) {
  PolygonReadResult r = readGphPolygons(path);
  if (!r.ok())
    return Outcome::failure(
        gphMessage(which == ClipPath::Grid ? GphReader::ClipGrid : GphReader::ClipTable, r.error));
  out.raw = std::move(r.polygons);
  out.region = MapRegionSet(out.raw.counts, out.raw.vertices);
  return Outcome::success();
}

// ---- grids ------------------------------------------------------------------------------------

std::string clipGridTarget(const std::string& workPath, const std::string& name) {
  return workPath + "Grid_Dat\\" + name + ".grd";
}

Outcome clipGrid(const GridClipJob& job, Progress& progress, ClipReport* report, int threads) {
  ClipReport rep;
  if (job.resultName.empty()) return Outcome::failure(kMsgClipNoName);

  // Source, target and polygon file are opened together; the target is made when missing.
  const std::string source = resolvePath(job.source);
  const std::string target = resolvePath(clipGridTarget(job.workPath, job.resultName));
  std::ifstream in(source, std::ios::binary);
  if (job.source.empty() || !in || fs::is_directory(source))
    return Outcome::failure(kMsgGphClipOpenFailed);
  std::error_code ec;
  if (!fs::exists(target, ec)) {
    std::ofstream made(target, std::ios::binary);
    if (!made) return Outcome::failure(kMsgGphClipOpenFailed);
  }
  ClipPolygons polygons;
  if (Outcome o = readClipPolygons(job.polygonFile, ClipPath::Grid, polygons); !o) return o;

  char head[kGridHeaderSize];
  in.read(head, sizeof head);
  const std::streamsize got = in.gcount();
  if (got < kGridMagicSize || !gridMagicMatches(std::string_view(head, kGridMagicSize), kGridTagB))
    return Outcome::failure(kMsgClipNotBinaryGrid);
  if (got < kGridHeaderSize) return Outcome::failure(kMsgGphClipReadFailed);
  float x0, y0, dx, dy, nullValue;
  std::int16_t nx16, ny16;
  std::memcpy(&x0, head + 32, 4);
  std::memcpy(&y0, head + 36, 4);
  std::memcpy(&nx16, head + 72, 2);
  std::memcpy(&ny16, head + 74, 2);
  std::memcpy(&dx, head + 76, 4);
  std::memcpy(&dy, head + 80, 4);
  std::memcpy(&nullValue, head + 84, 4);
  const std::int64_t nx = nx16, ny = ny16;
  if (nx <= 0 || ny <= 0) return Outcome::failure(kMsgGphClipReadFailed);
  // The nodes the header announces must be there before anything is read into memory.
  const auto size = fs::file_size(source, ec);
  if (ec || size < static_cast<std::uintmax_t>(kGridHeaderSize + 4 * nx * ny))
    return Outcome::failure(kMsgGphClipReadFailed);

  // The result goes to a scratch file beside the target and replaces it when complete, so that a
  // target that is also the source is read to the end before it changes.
  const std::string part = target + ".part";
  std::ofstream out(part, std::ios::binary | std::ios::trunc);
  if (!out) return Outcome::failure(kMsgGphClipOpenFailed);
  out.write(head, kGridHeaderSize);

  const std::int64_t rowsPerBlock = std::max<std::int64_t>(1, kNodeBlock / nx);
  std::vector<float> nodes;
  std::vector<std::uint8_t> remove;
  progress.setMaximum(ny);
  for (std::int64_t r0 = 0; r0 < ny; r0 += rowsPerBlock) {
    const std::int64_t rows = std::min(rowsPerBlock, ny - r0);
    nodes.resize(static_cast<std::size_t>(rows * nx));
    in.read(reinterpret_cast<char*>(nodes.data()), static_cast<std::streamsize>(4 * nodes.size()));
    if (in.gcount() != static_cast<std::streamsize>(4 * nodes.size())) {
      out.close();
      fs::remove(part, ec);
      return Outcome::failure(kMsgGphClipReadFailed);
    }
    markRemovals(
        polygons.region, job.keepInside, rows * nx,
        [&](int i) {
          const std::int64_t r = r0 + i / nx, c = i % nx;
          return MapPoint{
              static_cast<float>(static_cast<double>(x0) + c * static_cast<double>(dx)),
              static_cast<float>(static_cast<double>(y0) + r * static_cast<double>(dy))};
        },
        remove, threads);
    for (std::size_t i = 0; i < nodes.size(); ++i)
      if (remove[i]) {
        nodes[i] = nullValue;
        ++rep.removed;
      }
    out.write(reinterpret_cast<const char*>(nodes.data()),
              static_cast<std::streamsize>(4 * nodes.size()));
    rep.tested += static_cast<std::int64_t>(nodes.size());
    progress.setValue(r0 + rows);
    if (!progress.pump()) {
      rep.stopped = true;
      out.close();
      fs::remove(part, ec);
      progress.setValue(0);
      if (report) *report = rep;
      return Outcome::failure("");
    }
  }
  out.write(kGridEndMark, 9);
  out.close();
  in.close();
  progress.setValue(0);
  if (!out) {
    fs::remove(part, ec);
    return Outcome::failure(kMsgGphClipOpenFailed);
  }
  fs::rename(part, target, ec);
  if (ec) {
    fs::remove(part, ec);
    return Outcome::failure(kMsgGphClipOpenFailed);
  }

  // Save cleared: the result goes over the grid named for replacement, and the new file goes.
  if (!job.replace.empty()) {
    const std::string replace = resolvePath(job.replace);
    if (!fs::equivalent(replace, target, ec)) {
      fs::copy_file(target, replace, fs::copy_options::overwrite_existing, ec);
      if (ec) return Outcome::failure(kMsgGphClipOpenFailed);
      fs::remove(target, ec);
    }
  }
  if (report) *report = rep;
  return Outcome::success();
}

// ---- tables: fields and sources ----------------------------------------------------------------

Outcome clipFieldsOfTable(Database& db, const std::string& table, ClipFields& out) {
  out = {};
  std::vector<FieldDef> defs;
  try {
    defs = db.fields(table);
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  if (defs.size() < 3) return Outcome::failure(kMsgClipFewFields);
  for (const auto& f : defs)
    if (f.isNumeric()) {
      out.coordinates.push_back(f.name);
      out.variables.push_back(f.name);
    }
  if (out.coordinates.size() < 2) return Outcome::failure(kMsgClipNoCoordinates);
  out.x = out.coordinates[0];
  out.y = out.coordinates[1];
  for (const auto& n : out.coordinates) {
    if (n == "横坐标") out.x = n;
    if (n == "纵坐标") out.y = n;
  }
  return Outcome::success();
}

void dropExternalTable(Database& db) {
  try {
    if (db.isOpen() && db.tableExists(kClipTempTable)) db.dropTable(kClipTempTable);
  } catch (const StoreError&) {
    // Dropped with errors ignored, as the linked table always was.
  }
}

namespace {

// The field kinds a linked table offers: numbers 3 to 11 as variables, Single and Double as
// coordinates.
void listLinkedFields(const std::vector<FieldDef>& defs, ClipFields& out) {
  for (const auto& f : defs) {
    switch (f.type) {
      case JetType::Single:
      case JetType::Double:
        out.coordinates.push_back(f.name);
        [[fallthrough]];
      case JetType::Integer:
      case JetType::Long:
      case JetType::Currency:
      case JetType::Date:
      case JetType::Text:
        out.variables.push_back(f.name);
        break;
      default:
        break;
    }
  }
  if (!out.coordinates.empty()) out.x = out.coordinates[0];
  if (out.coordinates.size() > 1) out.y = out.coordinates[1];
}

// Reads the dBASE or Excel file into TempOutDBFileIn.
Outcome linkOutsideTable(Database& db, ClipSourceKind kind, const std::string& path,
                         ExternalSource& out) {
  const auto cut = path.find_last_of("\\/");
  if (cut == std::string::npos) return Outcome::failure(kMsgClipExternalPath);
  const std::string directory = path.substr(0, cut);
  const std::string file = path.substr(cut + 1);
  // The table is the file name less its last four characters (".dbf", ".xls"); an Excel sheet
  // is expected to bear that name.
  const std::string table = file.size() > 4 ? file.substr(0, file.size() - 4) : std::string();
  out.connect = clipConnectString(kind, directory, path);

  std::string error;
  std::unique_ptr<RowSource> src;
  if (isExcelKind(kind)) {
    std::vector<std::string> sheets = listLayers(path, error);
    if (!error.empty()) return Outcome::failure(dbfPrefix(kind) + descriptionOf(error));
    std::string sheet;
    for (const auto& s : sheets)
      if (sameName(s, table) || sameName(s, fs::path(file).stem().string())) sheet = s;
    if (sheet.empty())
      return Outcome::failure(dbfPrefix(kind) + "'" + table + "$' 不是一个有效名称。");
    src = openLayer(path, sheet, error);
  } else {
    src = openLayer(path, "", error);
  }
  if (!src) return Outcome::failure(dbfPrefix(kind) + descriptionOf(error));
  ImportPreview preview;
  if (Outcome o = previewSource(*src, preview, 0); !o)
    return Outcome::failure(dbfPrefix(kind) + o.message);

  // Number columns as DOUBLE, text as TEXT(n), as the Jet drivers show these files.
  std::vector<FieldDef> defs;
  for (const auto& c : preview.columns) {
    FieldDef f = c.type;
    f.name = c.name;
    if (f.type != JetType::Text && f.type != JetType::Memo) {
      f.type = JetType::Double;
      f.size = 0;
    }
    defs.push_back(f);
  }
  try {
    db.begin();
  } catch (const StoreError& e) {
    return Outcome::failure(dbfPrefix(kind) + e.what());
  }
  try {
    db.createTable(kClipTempTable, defs);
    std::vector<std::string> names;
    for (const auto& d : defs) names.push_back(d.name);
    TableWriter w(db, kClipTempTable, names);
    std::vector<std::string> cells;
    src->rewind();
    while (src->next(cells)) {
      for (std::size_t k = 0; k < defs.size(); ++k) {
        const std::string cell = k < cells.size() ? filetext::trim(cells[k]) : std::string();
        const int col = static_cast<int>(k);
        double v = 0;
        if (cell.empty())
          w.setNull(col);
        else if (defs[k].type == JetType::Double)
          filetext::parseDouble(cell, v) ? w.setDouble(col, v) : w.setNull(col);
        else
          w.setText(col, cell);
      }
      w.addRow();
    }
    w.commit();
    db.commit();
  } catch (const StoreError& e) {
    db.rollback();
    dropExternalTable(db);
    return Outcome::failure(dbfPrefix(kind) + e.what());
  }
  listLinkedFields(defs, out.fields);
  return Outcome::success();
}

}  // namespace

Outcome loadExternalSource(Database& db, ClipSourceKind kind, const std::string& path,
                           ExternalSource& out) {
  out = {};
  out.kind = kind;
  out.path = path;
  dropExternalTable(db);
  if (kind == ClipSourceKind::AsciiScatter || kind == ClipSourceKind::BinaryScatter) {
    ScatterReadResult r =
        kind == ClipSourceKind::AsciiScatter ? readAsciiScatter(path) : readBinaryScatter(path);
    if (r.error == ScatterError::OpenFailed)
      return Outcome::failure(std::string("打开文本数据表错 -- ") + "文件未找到");
    if (!r.ok()) return Outcome::failure(scatterMessage(ScatterReader::ClipExternal, r.error));
    out.scatter = std::move(r.file);
    // Every field of a scatter file enters all three lists.
    out.fields.coordinates = out.scatter.names;
    out.fields.variables = out.scatter.names;
    if (!out.scatter.names.empty()) out.fields.x = out.scatter.names[0];
    if (out.scatter.names.size() > 1) out.fields.y = out.scatter.names[1];
    return Outcome::success();
  }
  if (!isLinkedKind(kind)) return Outcome::failure(kMsgClipExternalPath);
  return linkOutsideTable(db, kind, path, out);
}

// ---- tables: the run ---------------------------------------------------------------------------

std::string clipSelectInto(const TableClipJob& job) {
  std::string sql = "Select " + bracket(job.x) + "," + bracket(job.y);
  for (const auto& v : job.variables) sql += "," + bracket(v);
  sql += "Into " + bracket(job.resultName) + " From ";
  sql += isLinkedKind(job.kind) ? std::string(kClipTempTable) : bracket(job.table);
  return sql;
}

namespace {

// The test of the deletion loop as an SQL function of the store's connection: 1 for a record that
// goes. It counts the records it tested.
struct RegionTest {
  const MapRegionSet* region = nullptr;
  bool keepInside = true;
  std::int64_t tested = 0;
};

void regionRemoves(sqlite3_context* ctx, int, sqlite3_value** argv) {
  auto* t = static_cast<RegionTest*>(sqlite3_user_data(ctx));
  auto coord = [](sqlite3_value* v) {
    return sqlite3_value_type(v) == SQLITE_NULL ? std::numeric_limits<float>::quiet_NaN()
                                                : static_cast<float>(sqlite3_value_double(v));
  };
  ++t->tested;
  const bool inside = t->region->isPointInRegExt({coord(argv[0]), coord(argv[1])}) == 1;
  sqlite3_result_int(ctx, inside != t->keepInside ? 1 : 0);
}

constexpr const char* kRegionFunction = "sarnoth_clip_removes";

}  // namespace

namespace {

// The region test registered on the store's connection for as long as it lives.
class RegionFunction {
 public:
  RegionFunction(sqlite3* h, const MapRegionSet& region, bool keepInside)
      : h_(h), test_{&region, keepInside, 0} {
    if (sqlite3_create_function(h, kRegionFunction, 2, SQLITE_UTF8, &test_, regionRemoves, nullptr,
                                nullptr) != SQLITE_OK)
      throw StoreError(sqlite3_errmsg(h));
  }
  ~RegionFunction() {
    sqlite3_create_function(h_, kRegionFunction, 2, SQLITE_UTF8, nullptr, nullptr, nullptr,
                            nullptr);
  }
  RegionFunction(const RegionFunction&) = delete;
  RegionFunction& operator=(const RegionFunction&) = delete;
  std::int64_t tested() const { return test_.tested; }
  // The call that says 1 for a record that goes.
  static std::string call(const std::string& x, const std::string& y) {
    return std::string(kRegionFunction) + "(" + quoteId(x) + ", " + quoteId(y) + ")";
  }

 private:
  sqlite3* h_;
  RegionTest test_;
};

struct Statement {
  sqlite3_stmt* st = nullptr;
  Statement(sqlite3* h, const std::string& sql) {
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &st, nullptr) != SQLITE_OK) {
      std::string msg = sqlite3_errmsg(h);
      sqlite3_finalize(st);
      throw StoreError(msg);
    }
  }
  ~Statement() { sqlite3_finalize(st); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  // Runs with ?1 = lo and ?2 = hi (as far as it has them); the rows it changed.
  std::int64_t run(sqlite3* h, std::int64_t lo, std::int64_t hi = 0) {
    sqlite3_bind_int64(st, 1, lo);
    if (sqlite3_bind_parameter_count(st) > 1) sqlite3_bind_int64(st, 2, hi);
    const int rc = sqlite3_step(st);
    sqlite3_reset(st);
    if (rc != SQLITE_DONE) throw StoreError(sqlite3_errmsg(h));
    return sqlite3_changes64(h);
  }
};

// Calls block(lo, hi) for the rowids of `table` in blocks [lo, hi) of kRecordBlock, showing the
// records tested so far, until the blocks end (true) or the user stops (false; `next` is then
// the first rowid not done).
template <class Block>
bool forRowidBlocks(Database& db, const std::string& table, Progress& progress, Block&& block,
                    std::int64_t& next) {
  std::int64_t first = 0, last = -1;
  {
    Statement bounds(db.handle(), "SELECT min(rowid), max(rowid) FROM " + quoteId(table));
    if (sqlite3_step(bounds.st) == SQLITE_ROW && sqlite3_column_type(bounds.st, 0) != SQLITE_NULL) {
      first = sqlite3_column_int64(bounds.st, 0);
      last = sqlite3_column_int64(bounds.st, 1);
    }
  }
  progress.setMaximum(std::max<std::int64_t>(db.rowCount(table), 1));
  for (std::int64_t lo = first; lo <= last; lo += kRecordBlock) {
    const std::int64_t hi = lo > last - kRecordBlock ? last + 1 : lo + kRecordBlock;
    progress.setValue(block(lo, hi));
    if (!progress.pump()) {
      next = hi;
      return false;
    }
  }
  return true;
}

}  // namespace

ClipReport deleteByRegion(Database& db, const std::string& table, const std::string& x,
                          const std::string& y, const MapRegionSet& region, bool keepInside,
                          Progress& progress) {
  // The dynaset's delete-as-you-go, at the store's level: one DELETE per block of rowids whose
  // condition calls the library's test for each record, so that a record is read, tested and
  // removed in one pass inside the engine. All blocks go in one transaction, which keeps what was
  // done when the run stops or fails.
  ClipReport rep;
  sqlite3* h = db.handle();
  RegionFunction test(h, region, keepInside);
  Statement erase(h, "DELETE FROM " + quoteId(table) + " WHERE rowid >= ?1 AND rowid < ?2 AND " +
                         RegionFunction::call(x, y));
  const bool ownTx = sqlite3_get_autocommit(h) != 0;
  if (ownTx) db.begin();
  try {
    std::int64_t next = 0;
    rep.stopped = !forRowidBlocks(
        db, table, progress,
        [&](std::int64_t lo, std::int64_t hi) {
          rep.removed += erase.run(h, lo, hi);
          return rep.tested = test.tested();
        },
        next);
  } catch (...) {
    if (ownTx) db.commit();
    progress.setValue(0);
    throw;
  }
  if (ownTx) db.commit();
  progress.setValue(0);
  return rep;
}

ClipReport copyByRegion(Database& db, const std::string& select, const std::string& source,
                        const std::string& target, const std::string& x, const std::string& y,
                        const MapRegionSet& region, bool keepInside, Progress& progress) {
  ClipReport rep;
  sqlite3* h = db.handle();
  RegionFunction test(h, region, keepInside);
  const std::string insert = "INSERT INTO " + quoteId(target) + " " + select;
  Statement keep(
      h, insert + " WHERE rowid >= ?1 AND rowid < ?2 AND NOT " + RegionFunction::call(x, y));
  std::int64_t next = 0;
  rep.stopped = !forRowidBlocks(
      db, source, progress,
      [&](std::int64_t lo, std::int64_t hi) {
        const std::int64_t before = test.tested();
        const std::int64_t kept = keep.run(h, lo, hi);
        rep.removed += test.tested() - before - kept;
        return rep.tested = test.tested();
      },
      next);
  // Stopped: the records not reached yet stay, as they would in the copy.
  if (rep.stopped) Statement(h, insert + " WHERE rowid >= ?1").run(h, next);
  progress.setValue(0);
  return rep;
}

namespace {

// Kinds 1 and 2: the kept points of the matrix, reduced to x, y and the variables, into a new
// table of SINGLE fields.
ClipReport writeKeptScatter(Database& db, const TableClipJob& job, const MapRegionSet& region,
                            Progress& progress, int threads) {
  const ScatterFile& s = *job.scatter;
  auto column = [&](const std::string& name) {
    auto it = std::find(s.names.begin(), s.names.end(), name);
    if (it == s.names.end()) throw StoreError(kMsgClipReadFailed);
    return static_cast<int>(it - s.names.begin());
  };
  std::vector<int> cols = {column(job.x), column(job.y)};
  std::vector<std::string> names = {job.x, job.y};
  for (const auto& v : job.variables) {
    cols.push_back(column(v));
    names.push_back(v);
  }
  std::vector<FieldDef> defs;
  for (const auto& n : names) defs.push_back({n, JetType::Single, 0});
  db.createTable(job.resultName, defs);

  ClipReport rep;
  const std::int64_t records = s.recordCount;
  std::vector<std::uint8_t> remove;
  markRemovals(
      region, job.keepInside, records,
      [&](int i) {
        return MapPoint{s.at(i, cols[0]), s.at(i, cols[1])};
      },
      remove, threads);
  TableWriter w(db, job.resultName, names);
  progress.setMaximum(std::max<std::int64_t>(records, 1));
  for (std::int64_t i = 0; i < records; ++i) {
    ++rep.tested;
    if (remove[static_cast<std::size_t>(i)]) {
      ++rep.removed;
      continue;
    }
    for (std::size_t k = 0; k < cols.size(); ++k)
      w.setDouble(static_cast<int>(k), static_cast<double>(s.at(i, cols[k])));
    w.addRow();
    if (i % kRecordBlock == 0) {
      progress.setValue(i);
      if (!progress.pump()) {
        rep.stopped = true;
        break;
      }
    }
  }
  w.commit();
  progress.setValue(0);
  return rep;
}

}  // namespace

Outcome clipTable(Database& db, const TableClipJob& job, Interaction& ui, Progress& progress,
                  ClipReport* report, int threads) {
  if (job.saveAs) {
    if (job.variables.empty()) return Outcome::failure(kMsgClipNoVariable);
    if (job.resultName.empty()) return Outcome::failure(kMsgClipNoName);
  }
  // The polygons are read before anything is written, so that a bad coordinate file leaves the
  // work area as it was.
  ClipPolygons polygons;
  if (Outcome o = readClipPolygons(job.polygonFile, ClipPath::Table, polygons); !o) return o;

  ClipReport rep;
  try {
    if (!job.saveAs) {
      // The deletion runs on the chosen table itself, whatever the source kind says.
      if (job.table.empty()) return Outcome::failure(kMsgNoTableChosen);
      rep = deleteByRegion(db, job.table, job.x, job.y, polygons.region, job.keepInside, progress);
    } else {
      switch (job.kind) {
        case ClipSourceKind::Table:
          if (job.table.empty()) return Outcome::failure(kMsgNoTableChosen);
          // Jet refuses to make a table over the one it reads; the registry is left alone.
          if (sameName(job.table, job.resultName))
            return Outcome::failure("Table '" + job.resultName + "' already exists.");
          break;
        case ClipSourceKind::AsciiScatter:
        case ClipSourceKind::BinaryScatter:
          if (!job.scatter) return Outcome::failure(kMsgClipReadFailed);
          break;
        default:
          if (!db.tableExists(kClipTempTable)) return Outcome::failure(kMsgClipReadFailed);
          break;
      }
      Registration how{kClipOrigin, kClipNote, OverwriteRule::Ask, kClipOverwriteQuestion,
                       "",          false};
      if (registerTable(db, job.resultName, how, ui) == RegisterResult::Declined)
        return Outcome::failure("");
      if (job.kind == ClipSourceKind::AsciiScatter || job.kind == ClipSourceKind::BinaryScatter) {
        rep = writeKeptScatter(db, job, polygons.region, progress, threads);
      } else {
        // The copy less the records that go, in one pass: the new table is made as the
        // Select … Into makes it (fields typed after their source), and only the records the
        // test keeps are written into it, block by block. A run stopped midway keeps the
        // records it has not reached, as the copy would; a failure leaves no table.
        const std::string into = clipSelectInto(job);
        const std::string source = isLinkedKind(job.kind) ? std::string(kClipTempTable) : job.table;
        db.begin();
        try {
          db.execute(into + " Where False");
          const JetTranslation copy = db.translate(into);
          rep = copyByRegion(db, copy.sql, source, job.resultName, job.x, job.y, polygons.region,
                             job.keepInside, progress);
        } catch (const StoreError&) {
          db.rollback();
          throw;
        }
        db.commit();
      }
    }
  } catch (const StoreError& e) {
    progress.setValue(0);
    return Outcome::failure(e.what());
  }
  if (report) *report = rep;
  if (rep.stopped) return Outcome::failure("");
  return Outcome::success();
}

}  // namespace sarnoth
