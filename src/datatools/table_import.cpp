#include "datatools/table_import.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <gdal.h>
#include <ogr_api.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <unordered_set>

#include "workarea/jet_import.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace fs = std::filesystem;
namespace {

std::string lowerExt(const std::string& path) {
  std::string e = fs::path(path).extension().string();
  for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return e;
}

std::string trimBlanks(std::string_view s) {
  std::size_t b = 0, e = s.size();
  while (b < e && (s[b] == ' ' || s[b] == '\t' || s[b] == '\r')) ++b;
  while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r')) --e;
  return std::string(s.substr(b, e - b));
}

// The items of "a,b,c", empty items dropped.
std::vector<std::string> splitCsvList(const std::string& text) {
  std::vector<std::string> items;
  std::size_t at = 0;
  while (at <= text.size()) {
    std::size_t comma = text.find(',', at);
    if (comma == std::string::npos) comma = text.size();
    if (std::string item = text.substr(at, comma - at); !trimBlanks(item).empty())
      items.push_back(item);
    at = comma + 1;
  }
  return items;
}

std::size_t utf8Length(const std::string& s) {
  std::size_t n = 0;
  for (unsigned char c : s)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

enum class CellNumber { Number, NoData, Text };

// A number cell: blanks trimmed, the decimal comma taken as a point. NaN and infinities
// ("nan", "inf", "-Infinity", or beyond the double range) are numbers that hold no data.
CellNumber classifyNumber(const std::string& cell, char decimal, double& v) {
  std::string t = trimBlanks(cell);
  if (t.empty()) return CellNumber::Text;
  if (decimal == ',') std::replace(t.begin(), t.end(), ',', '.');
  const char* b = t.data();
  if (*b == '+') ++b;
  auto r = std::from_chars(b, t.data() + t.size(), v);
  if (r.ptr != t.data() + t.size()) return CellNumber::Text;
  if (r.ec == std::errc::result_out_of_range) return CellNumber::NoData;
  if (r.ec != std::errc()) return CellNumber::Text;
  return std::isfinite(v) ? CellNumber::Number : CellNumber::NoData;
}

// A finite number; false for anything else.
bool parseNumber(const std::string& cell, char decimal, double& v) {
  return classifyNumber(cell, decimal, v) == CellNumber::Number;
}

// Digits that carry the value: leading zeros and the trailing zeros of a fraction do not
// ("2.3300000" as a fixed-width file writes 2.33 has three).
int significantDigits(const std::string& cell) {
  std::string_view m(cell);
  if (std::size_t e = m.find_first_of("eE"); e != std::string_view::npos) m = m.substr(0, e);
  if (m.find_first_of(".,") != std::string_view::npos)
    while (!m.empty() && (m.back() == '0' || m.back() == ' ')) m.remove_suffix(1);
  int n = 0;
  bool leading = true;
  for (char c : m) {
    if (c >= '0' && c <= '9') {
      if (c == '0' && leading) continue;
      leading = false;
      ++n;
    }
  }
  return n;
}

// ---- delimited text ---------------------------------------------------------------------------

class DelimitedSource : public RowSource {
 public:
  DelimitedSource(std::string text, DelimitedOptions opt) : text_(std::move(text)), opt_(opt) {
    std::vector<std::string> first;
    if (opt_.headerRow) {
      if (parseRecord(first)) header_ = first;
      dataStart_ = pos_;
    } else {
      std::size_t save = pos_;
      if (parseRecord(first))
        for (std::size_t i = 0; i < first.size(); ++i)
          header_.push_back("F" + std::to_string(i + 1));
      pos_ = save;
      dataStart_ = pos_;
    }
    for (auto& h : header_) h = trimBlanks(h);
    makeColumnNamesUnique(header_);
  }

  const std::vector<std::string>& header() const override { return header_; }
  void rewind() override { pos_ = dataStart_; }
  bool next(std::vector<std::string>& cells) override {
    while (parseRecord(cells)) {
      bool blank = std::all_of(cells.begin(), cells.end(),
                               [](const std::string& c) { return trimBlanks(c).empty(); });
      if (!blank) return true;
    }
    return false;
  }
  std::int64_t approxRows() const override { return std::count(text_.begin(), text_.end(), '\n'); }
  char decimal() const override { return opt_.decimal; }

 private:
  // One record; quoted cells may hold delimiters, doubled quotes and line breaks.
  bool parseRecord(std::vector<std::string>& cells) {
    cells.clear();
    if (pos_ >= text_.size()) return false;
    std::string cell;
    bool quoted = false;
    const char d = opt_.delimiter;
    while (pos_ < text_.size()) {
      char c = text_[pos_];
      if (quoted) {
        if (c == '"') {
          if (pos_ + 1 < text_.size() && text_[pos_ + 1] == '"') {
            cell += '"';
            pos_ += 2;
            continue;
          }
          quoted = false;
          ++pos_;
          continue;
        }
        cell += c;
        ++pos_;
        continue;
      }
      if (c == '"' && trimBlanks(cell).empty()) {
        cell.clear();
        quoted = true;
        ++pos_;
        continue;
      }
      if (c == '\n') {
        ++pos_;
        break;
      }
      if (c == '\r') {
        ++pos_;
        continue;
      }
      if (d == ' ' ? (c == ' ' || c == '\t') : c == d) {
        if (d == ' ') {
          while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t')) ++pos_;
          if (cells.empty() && cell.empty()) continue;  // leading blanks
          if (pos_ >= text_.size() || text_[pos_] == '\n' || text_[pos_] == '\r') continue;
        } else {
          ++pos_;
        }
        cells.push_back(std::move(cell));
        cell.clear();
        continue;
      }
      cell += c;
      ++pos_;
    }
    cells.push_back(std::move(cell));
    return true;
  }

  std::string text_;
  DelimitedOptions opt_;
  std::vector<std::string> header_;
  std::size_t pos_ = 0, dataStart_ = 0;
};

// ---- OGR layers (spreadsheets, dBASE) ---------------------------------------------------------

struct GdalInit {
  GdalInit() {
    GDALAllRegister();
    CPLSetConfigOption("OGR_XLSX_HEADERS", "FORCE");
    CPLSetConfigOption("OGR_XLS_HEADERS", "FORCE");
    CPLSetConfigOption("OGR_ODS_HEADERS", "FORCE");
    CPLSetConfigOption("OGR_XLSX_FIELD_TYPES", "STRING");
    CPLSetConfigOption("OGR_ODS_FIELD_TYPES", "STRING");
    CPLSetConfigOption("OGR_XLS_FIELD_TYPES", "STRING");
    CPLSetConfigOption("SHAPE_ENCODING", "");
  }
};
void ensureGdal() { static GdalInit init; }

class OgrSource : public RowSource {
 public:
  OgrSource(GDALDatasetH ds, OGRLayerH layer, bool dbf) : ds_(ds), layer_(layer), dbf_(dbf) {
    OGRFeatureDefnH defn = OGR_L_GetLayerDefn(layer_);
    for (int i = 0; i < OGR_FD_GetFieldCount(defn); ++i) {
      OGRFieldDefnH fd = OGR_FD_GetFieldDefn(defn, i);
      header_.push_back(text(OGR_Fld_GetNameRef(fd)));
      if (dbf_) types_.push_back(dbfFieldType(header_.back(), fd));
    }
    makeColumnNamesUnique(header_);
    for (std::size_t i = 0; i < types_.size(); ++i) types_[i].name = header_[i];
    // A dBASE header states its record count; the other drivers only estimate.
    promised_ = dbf_ ? OGR_L_GetFeatureCount(layer_, 1) : -1;
    rewind();
  }
  ~OgrSource() override { GDALClose(ds_); }
  const std::vector<std::string>& header() const override { return header_; }
  std::vector<FieldDef> declaredTypes() const override { return types_; }
  void rewind() override {
    OGR_L_ResetReading(layer_);
    read_ = 0;
    error_.clear();
  }
  std::int64_t approxRows() const override { return OGR_L_GetFeatureCount(layer_, 0); }
  bool next(std::vector<std::string>& cells) override {
    CPLErrorReset();
    OGRFeatureH f = OGR_L_GetNextFeature(layer_);
    if (!f) {
      // The end of the features, or a read that failed: a damaged or truncated file must not
      // pass for a shorter table.
      if (CPLGetLastErrorType() >= CE_Failure)
        error_ = CPLGetLastErrorMsg();
      else if (promised_ >= 0 && read_ < promised_)
        error_ = "文件只有 " + std::to_string(read_) + " 条记录, 少于文件头所记的 " +
                 std::to_string(promised_) + " 条 (文件不完整)";
      return false;
    }
    ++read_;
    cells.assign(header_.size(), {});
    for (std::size_t i = 0; i < header_.size(); ++i)
      if (OGR_F_IsFieldSetAndNotNull(f, static_cast<int>(i)))
        cells[i] = text(OGR_F_GetFieldAsString(f, static_cast<int>(i)));
    OGR_F_Destroy(f);
    if (CPLGetLastErrorType() >= CE_Failure) {
      error_ = CPLGetLastErrorMsg();
      return false;
    }
    return true;
  }
  std::string readError() const override {
    if (error_.empty()) return {};
    return (dbf_ ? "读DBase DBF数据表错 -- " : "读Excel XSL 数据表错 -- ") + error_;
  }

 private:
  // dBASE files of the system carry GBK text; spreadsheets are Unicode.
  std::string text(const char* s) const {
    std::string t = s ? s : "";
    return dbf_ ? decodeFileText(t) : t;
  }
  // A dBASE field declares its type: N without decimals is a whole number, N with up to 7
  // decimals a single (as our export writes SINGLE), more decimals a double; C is text.
  static FieldDef dbfFieldType(const std::string& name, OGRFieldDefnH fd) {
    FieldDef f;
    f.name = name;
    const int width = OGR_Fld_GetWidth(fd), prec = OGR_Fld_GetPrecision(fd);
    switch (OGR_Fld_GetType(fd)) {
      case OFTInteger:
        f.type = JetType::Long;
        break;
      case OFTInteger64:
        f.type = JetType::Double;
        break;
      case OFTReal:
        f.type = prec == 0 ? JetType::Double : prec <= 7 ? JetType::Single : JetType::Double;
        break;
      case OFTDate:
      case OFTDateTime:
        f.type = JetType::Date;
        break;
      default:
        f.type = width > 255 ? JetType::Memo : JetType::Text;
        f.size = f.type == JetType::Text ? std::max(width, 1) : 0;
        break;
    }
    return f;
  }
  GDALDatasetH ds_;
  OGRLayerH layer_;
  bool dbf_;
  std::vector<std::string> header_;
  std::vector<FieldDef> types_;
  std::int64_t promised_ = -1, read_ = 0;
  std::string error_;
};

// ---- Jet tables, read from a scratch import of the file --------------------------------------

class StoreSource : public RowSource {
 public:
  StoreSource(std::string scratch, const std::string& table) : scratch_(std::move(scratch)) {
    db_ = Database::open(scratch_);
    types_ = db_.fields(table);
    for (const auto& f : types_) header_.push_back(f.name);
    sql_ = "Select * From " + bracket(table);
    rows_ = db_.rowCount(table);
    rewind();
  }
  ~StoreSource() override {
    cursor_ = Cursor();
    db_.close();
    std::error_code ec;
    fs::remove(scratch_, ec);
  }
  const std::vector<std::string>& header() const override { return header_; }
  std::vector<FieldDef> declaredTypes() const override { return types_; }
  void rewind() override { cursor_ = db_.query(sql_); }
  std::int64_t approxRows() const override { return rows_; }
  bool next(std::vector<std::string>& cells) override {
    if (!cursor_.next()) return false;
    cells.resize(header_.size());
    for (std::size_t i = 0; i < header_.size(); ++i) {
      Value v = cursor_.get(static_cast<int>(i));
      cells[i] =
          std::holds_alternative<double>(v) ? numberText(std::get<double>(v)) : valueToText(v);
    }
    return true;
  }

 private:
  std::string scratch_;
  Database db_;
  Cursor cursor_;
  std::string sql_;
  std::vector<std::string> header_;
  std::vector<FieldDef> types_;
  std::int64_t rows_ = 0;
};

bool isJetFile(const std::string& path) {
  std::string e = lowerExt(path);
  return e == ".mdb" || e == ".accdb";
}

bool isTextFile(const std::string& path) {
  std::string e = lowerExt(path);
  return e == ".csv" || e == ".txt" || e == ".tsv" || e == ".prn" || e == ".dat" || e.empty();
}

std::string scratchPath() {
  std::random_device rd;
  return (fs::temp_directory_path() /
          ("sarnoth-jet-" + std::to_string(rd()) + std::to_string(rd()) + ".sqlite"))
      .string();
}

}  // namespace

// ---- public -----------------------------------------------------------------------------------

std::string numberText(double v) {
  char buf[64];
  float f = static_cast<float>(v);
  if (f == NULL_VALUE) return NULL_TEXT;
  auto r = static_cast<double>(f) == v ? std::to_chars(buf, buf + sizeof buf, f)
                                       : std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

std::string numberText(double v, JetType type) {
  if (static_cast<float>(v) == NULL_VALUE) return NULL_TEXT;
  if (type == JetType::Single) return numberText(static_cast<double>(static_cast<float>(v)));
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

std::vector<std::string> dbfFieldNames(const std::vector<std::string>& names) {
  constexpr std::size_t kWidth = 10;
  std::vector<std::string> out;
  std::unordered_set<std::string> used;
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string g = utf8ToGbk(names[i]);
    // Blanks and the signs dBASE names cannot hold become "_".
    for (char& c : g)
      if (c == ' ' || c == '.' || c == ',' || c == '\t' || c == '"' || c == '\'') c = '_';
    if (g.empty()) g = "F" + std::to_string(i + 1);
    // Cut on a character boundary: a lead byte from 0x81 starts a two-byte character.
    auto cut = [](const std::string& b, std::size_t width) {
      std::size_t k = 0;
      while (k < b.size()) {
        std::size_t len = static_cast<unsigned char>(b[k]) >= 0x81 ? 2 : 1;
        if (k + len > width) break;
        k += len;
      }
      return b.substr(0, k);
    };
    std::string name = cut(g, kWidth);
    // dBASE compares names case-blind.
    auto key = [](std::string k) {
      for (char& c : k)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
      return k;
    };
    for (int n = 1; used.count(key(name)); ++n) {
      std::string suffix = std::to_string(n);
      name = cut(g, kWidth - suffix.size()) + suffix;
    }
    used.insert(key(name));
    out.push_back(name);
  }
  return out;
}

std::unique_ptr<RowSource> openDelimited(const std::string& path, const DelimitedOptions& opt,
                                         std::string& error) {
  std::ifstream f(resolvePath(path), std::ios::binary);
  if (!f) {
    error = "打开文本数据表错 -- 找不到文件: " + path;
    return nullptr;
  }
  std::string bytes((std::istreambuf_iterator<char>(f)), {});
  if (bytes.find('\0') != std::string::npos) {
    error = "打开文本数据表错 -- 文件不是文本数据: " + path;
    return nullptr;
  }
  std::string text;
  switch (opt.encoding) {
    case TextEncoding::Auto:
      text = decodeFileText(bytes);
      break;
    case TextEncoding::Gbk:
      text = gbkToUtf8(bytes);
      break;
    case TextEncoding::Utf8:
      text =
          bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? bytes.substr(3) : bytes;
      break;
  }
  auto src = std::make_unique<DelimitedSource>(std::move(text), opt);
  if (src->header().empty()) {
    error = "文件中没有数据: " + path;
    return nullptr;
  }
  return src;
}

std::vector<std::string> listLayers(const std::string& pathIn, std::string& error) {
  std::string path = resolvePath(pathIn);
  if (isJetFile(path)) return listJetTables(path, error);
  ensureGdal();
  const char* drivers[] = {"XLSX", "XLS", "ODS", "ESRI Shapefile", nullptr};
  GDALDatasetH ds =
      GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY, drivers, nullptr, nullptr);
  std::vector<std::string> out;
  if (!ds) {
    std::string e = lowerExt(path);
    error = (e == ".dbf" ? "打开DBase DBF数据表错 -- " : "打开Excel XSL 数据表错 -- ") +
            std::string(CPLGetLastErrorMsg());
    return out;
  }
  for (int i = 0; i < GDALDatasetGetLayerCount(ds); ++i)
    out.emplace_back(OGR_L_GetName(GDALDatasetGetLayer(ds, i)));
  GDALClose(ds);
  return out;
}

std::unique_ptr<RowSource> openLayer(const std::string& pathIn, const std::string& layer,
                                     std::string& error) {
  std::string path = resolvePath(pathIn);
  if (isJetFile(path)) {
    std::string scratch = scratchPath();
    Outcome o = importJetDatabase(path, scratch);
    if (!o) {
      error = o.message;
      return nullptr;
    }
    try {
      Database probe = Database::open(scratch);
      std::string name = layer;
      if (name.empty()) {
        auto names = probe.tableNames();
        if (names.empty()) throw StoreError("数据库中没有数据表");
        name = names.front();
      }
      if (!probe.tableExists(name)) throw StoreError("数据表不存在: " + name);
      probe.close();
      return std::make_unique<StoreSource>(scratch, name);
    } catch (const StoreError& e) {
      std::error_code ec;
      fs::remove(scratch, ec);
      error = e.what();
      return nullptr;
    }
  }
  ensureGdal();
  const char* drivers[] = {"XLSX", "XLS", "ODS", "ESRI Shapefile", nullptr};
  GDALDatasetH ds =
      GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY, drivers, nullptr, nullptr);
  bool dbf = lowerExt(path) == ".dbf";
  if (!ds) {
    error = (dbf ? "打开DBase DBF数据表错 -- " : "打开Excel XSL 数据表错 -- ") +
            std::string(CPLGetLastErrorMsg());
    return nullptr;
  }
  OGRLayerH l =
      layer.empty() ? GDALDatasetGetLayer(ds, 0) : GDALDatasetGetLayerByName(ds, layer.c_str());
  if (!l) {
    GDALClose(ds);
    error = "数据表不存在: " + layer;
    return nullptr;
  }
  return std::make_unique<OgrSource>(ds, l, dbf);
}

std::unique_ptr<RowSource> openSource(const std::string& path, const std::string& layer,
                                      const DelimitedOptions& opt, std::string& error) {
  if (isTextFile(path)) return openDelimited(path, opt, error);
  return openLayer(path, layer, error);
}

void makeColumnNamesUnique(std::vector<std::string>& names) {
  std::unordered_set<std::string> seen;
  seen.reserve(names.size() * 2);
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string& n = names[i];
    if (n.empty()) n = "F" + std::to_string(i + 1);
    while (!seen.insert(n).second) n += "_" + std::to_string(i + 1);
  }
}

Outcome applyColumnChoices(std::vector<ImportColumn>& columns, const std::string& types,
                           const std::string& skip) {
  std::vector<ImportColumn> out = columns;
  auto find = [&out](const std::string& name) -> ImportColumn* {
    for (auto& c : out)
      if (c.name == name) return &c;
    return nullptr;
  };
  // TEXT(n) holds no comma, so a plain split at commas serves.
  for (const std::string& item : splitCsvList(types)) {
    std::size_t eq = item.find('=');
    std::string name = trimBlanks(item.substr(0, eq));
    if (eq == std::string::npos || name.empty())
      return Outcome::failure("字段类型应写为 字段名=类型: " + item);
    ImportColumn* c = find(name);
    if (!c) return Outcome::failure("源数据中没有字段: " + name);
    std::string word = trimBlanks(item.substr(eq + 1));
    FieldDef f = FieldDef::parse(name, word);
    if (f.type == JetType::Other || word.empty())
      return Outcome::failure("不支持的字段类型: " + word +
                              " (SINGLE, DOUBLE, LONG, INTEGER, TEXT(n), MEMO, DATE ...)");
    c->type = f;
  }
  for (const std::string& name : splitCsvList(skip)) {
    ImportColumn* c = find(trimBlanks(name));
    if (!c) return Outcome::failure("源数据中没有字段: " + trimBlanks(name));
    c->import = false;
  }
  columns = std::move(out);
  return Outcome::success();
}

FieldDef guessColumnType(const std::string& name, const std::vector<std::string>& cells,
                         char decimal) {
  bool allWhole = true, fitsFloat = true;
  std::size_t filled = 0, numbers = 0;
  std::size_t maxLen = 0;
  for (const auto& c : cells) {
    std::string t = trimBlanks(c);
    maxLen = std::max(maxLen, utf8Length(t));
    if (t.empty()) continue;
    ++filled;
    double v;
    CellNumber kind = classifyNumber(t, decimal, v);
    if (kind == CellNumber::Text) continue;
    ++numbers;
    if (kind == CellNumber::NoData || static_cast<float>(v) == NULL_VALUE) continue;
    if (v != std::trunc(v) || std::fabs(v) > 2147483647.0 ||
        t.find_first_of(".eE") != std::string::npos)
      allWhole = false;
    if (significantDigits(t) > 7) fitsFloat = false;
  }
  FieldDef f;
  f.name = name;
  // A column of numbers with a few remarks in it ("n.d.", "<0.5") is still a number column: the
  // remarks become -1E+38 and are counted.
  if (numbers > 0 && numbers * 10 >= filled * 9) {
    f.type = allWhole ? JetType::Long : fitsFloat ? JetType::Single : JetType::Double;
  } else if (maxLen > 255) {
    f.type = JetType::Memo;
  } else {
    f.type = JetType::Text;
    f.size = static_cast<int>(std::max<std::size_t>(maxLen, 10));
  }
  return f;
}

Outcome previewSource(RowSource& src, ImportPreview& out, int previewRows) {
  const auto& header = src.header();
  if (header.empty()) return Outcome::failure("文件中没有数据");
  out.columns.clear();
  out.firstRows.clear();
  std::vector<std::vector<std::string>> columns(header.size());
  std::vector<std::string> cells;
  std::int64_t rows = 0;
  src.rewind();
  while (src.next(cells)) {
    ++rows;
    if (cells.size() > header.size())
      return Outcome::failure("第" + std::to_string(rows) + "行数据有" +
                              std::to_string(cells.size()) + "列, 多于表头的" +
                              std::to_string(header.size()) + "列, 数据格式不正确.");
    if (static_cast<int>(out.firstRows.size()) < previewRows) out.firstRows.push_back(cells);
    for (std::size_t i = 0; i < header.size(); ++i)
      columns[i].push_back(i < cells.size() ? std::move(cells[i]) : std::string());
  }
  if (std::string e = src.readError(); !e.empty()) return Outcome::failure(e);
  if (rows == 0) return Outcome::failure("文件中没有数据");
  auto declared = src.declaredTypes();
  for (std::size_t i = 0; i < header.size(); ++i) {
    ImportColumn c;
    c.name = header[i];
    c.type =
        i < declared.size() ? declared[i] : guessColumnType(header[i], columns[i], src.decimal());
    c.type.name = header[i];
    out.columns.push_back(c);
  }
  out.rowCount = rows;
  src.rewind();
  return Outcome::success();
}

Outcome importTable(Database& db, RowSource& src, const std::vector<ImportColumn>& columns,
                    const std::string& tableName, Interaction& ui, Progress& progress,
                    ImportReport* report) {
  if (std::string why = newNameRefusal(tableName, NewNameKind::Table); !why.empty())
    return Outcome::failure(why);
  std::vector<FieldDef> defs;
  std::vector<std::size_t> sourceIndex;
  const auto& header = src.header();
  for (const auto& c : columns) {
    if (!c.import) continue;
    auto it = std::find(header.begin(), header.end(), c.name);
    if (it == header.end()) return Outcome::failure("源数据中没有字段: " + c.name);
    FieldDef f = c.type;
    f.name = c.name;
    defs.push_back(f);
    sourceIndex.push_back(static_cast<std::size_t>(it - header.begin()));
  }
  if (defs.empty()) return Outcome::failure("请选择要导入的字段.");

  ImportReport rep;
  bool ownTx = true;
  try {
    db.begin();
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  try {
    Registration how{
        "OutDataIn", "外部数据导入", OverwriteRule::Ask, "检索结果表名已存在,是否覆盖?", "", false};
    RegisterResult r = registerTable(db, tableName, how, ui);
    if (r == RegisterResult::Declined) {
      db.rollback();
      return Outcome::failure("");
    }
    rep.overwritten = r == RegisterResult::Overwritten;
    db.createTable(tableName, defs);
    std::vector<std::string> names;
    for (const auto& d : defs) names.push_back(d.name);
    TableWriter w(db, tableName, names);
    progress.setMaximum(std::max<std::int64_t>(src.approxRows(), 1));
    std::vector<std::string> cells;
    src.rewind();
    const char decimal = src.decimal();
    while (src.next(cells)) {
      if (cells.size() > header.size())
        throw StoreError("第" + std::to_string(rep.rows + 1) +
                         "行数据的列数多于表头, 数据格式不正确.");
      for (std::size_t k = 0; k < defs.size(); ++k) {
        const std::string cell =
            sourceIndex[k] < cells.size() ? cells[sourceIndex[k]] : std::string();
        int col = static_cast<int>(k);
        if (defs[k].isNumeric() || defs[k].type == JetType::Currency ||
            defs[k].type == JetType::Byte || defs[k].type == JetType::Bit) {
          double v;
          if (!parseNumber(cell, decimal, v)) {
            w.setDouble(col, NULL_VALUE_D);
            ++rep.nullsWritten;
          } else if (static_cast<float>(v) == NULL_VALUE) {
            // "-1E+38" in any column type is the float null, as the tools test it.
            w.setDouble(col, NULL_VALUE_D);
          } else if (defs[k].type == JetType::Long || defs[k].type == JetType::Integer) {
            if (v == std::trunc(v) && std::fabs(v) <= 9.0e15)
              w.setInt(col, static_cast<std::int64_t>(v));
            else
              w.setDouble(col, v);
          } else {
            w.setDouble(col, v);
          }
        } else if (cell.empty()) {
          w.setNull(col);
        } else {
          w.setText(col, defs[k].type == JetType::Text ? trimBlanks(cell) : cell);
        }
      }
      w.addRow();
      if (++rep.rows % 4096 == 0) {
        progress.setValue(rep.rows);
        progress.pump();
      }
    }
    // A read that failed mid-way leaves nothing: no table, no registry row.
    if (std::string e = src.readError(); !e.empty()) throw StoreError(e);
    w.commit();
    db.commit();
    ownTx = false;
  } catch (const StoreError& e) {
    if (ownTx) db.rollback();
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  progress.setValue(0);
  if (report) *report = rep;
  return Outcome::success("已导入 " + std::to_string(rep.rows) + " 条记录, 其中 " +
                          std::to_string(rep.nullsWritten) + " 个空值或非数值写为 -1E+38.");
}

// ---- export -----------------------------------------------------------------------------------

namespace {

std::string csvCell(const std::string& s, char delimiter) {
  if (s.find(delimiter) == std::string::npos && s.find('"') == std::string::npos &&
      s.find('\n') == std::string::npos && s.find('\r') == std::string::npos)
    return s;
  std::string out = "\"";
  for (char c : s) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

// The warning of an export in GBK that met characters GBK cannot hold.
std::string replacedWarning(std::size_t replaced) {
  if (replaced == 0) return {};
  return "有 " + std::to_string(replaced) +
         " 个字符无法用 GBK 编码表示, 已写为 \"?\"; 要保留这些字符, 请选用 UTF-8 编码转出.";
}

Outcome exportCsv(Database& db, const std::string& table, const std::string& path,
                  const ExportOptions& opt, Progress& progress, std::int64_t& rows) {
  auto fields = db.fields(table);
  std::ofstream f(resolvePath(path), std::ios::binary);
  if (!f) return Outcome::failure("打开输出文件错误。");
  const char* eol = opt.crlf ? "\r\n" : "\n";
  std::size_t replaced = 0;
  auto emit = [&](const std::string& utf8) {
    f << (opt.encoding == TextEncoding::Gbk ? utf8ToGbk(utf8, &replaced) : utf8);
  };
  std::string line;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i) line += opt.delimiter;
    line += csvCell(fields[i].name, opt.delimiter);
  }
  emit(line + eol);
  progress.setMaximum(db.rowCount(table));
  Cursor c = db.query("Select * From " + bracket(table));
  std::string block;
  while (c.next()) {
    line.clear();
    for (int i = 0; i < c.columnCount(); ++i) {
      if (i) line += opt.delimiter;
      Value v = c.get(i);
      if (auto* d = std::get_if<double>(&v)) {
        if (static_cast<float>(*d) == NULL_VALUE)
          line += opt.nullsEmpty ? "" : NULL_TEXT;
        else
          line += numberText(*d, fields[static_cast<std::size_t>(i)].type);
      } else {
        line += csvCell(valueToText(v), opt.delimiter);
      }
    }
    line += eol;
    block += line;
    if (++rows % 4096 == 0) {
      emit(block);
      block.clear();
      progress.setValue(rows);
    }
  }
  emit(block);
  progress.setValue(0);
  if (!f) return Outcome::failure("输出文件格式不正确错误。");
  return Outcome::success(replacedWarning(replaced));
}

Outcome exportOgr(Database& db, const std::string& table, const std::string& pathIn,
                  const ExportOptions& opt, Progress& progress, std::int64_t& rows) {
  ensureGdal();
  std::string path = resolvePath(pathIn);
  const char* driverName = opt.format == ExportFormat::Xlsx ? "XLSX" : "ESRI Shapefile";
  GDALDriverH drv = GDALGetDriverByName(driverName);
  if (!drv) return Outcome::failure(std::string("GDAL 不支持 ") + driverName);
  std::error_code ec;
  if (fs::exists(path, ec)) GDALDeleteDataset(drv, path.c_str());
  fs::remove(path, ec);
  GDALDatasetH ds = GDALCreate(drv, path.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
  if (!ds) return Outcome::failure("打开输出文件错误。" + std::string(CPLGetLastErrorMsg()));
  std::string layerName = opt.format == ExportFormat::Xlsx ? table : fs::path(path).stem().string();
  char** lopts = nullptr;
  if (opt.format == ExportFormat::Dbf) lopts = CSLSetNameValue(lopts, "ENCODING", "CP936");
  OGRLayerH layer = GDALDatasetCreateLayer(ds, layerName.c_str(), nullptr, wkbNone, lopts);
  CSLDestroy(lopts);
  if (!layer) {
    GDALClose(ds);
    return Outcome::failure("输出文件格式不正确错误。" + std::string(CPLGetLastErrorMsg()));
  }
  auto fields = db.fields(table);
  const bool dbf = opt.format == ExportFormat::Dbf;
  // dBASE files carry GBK bytes, names of at most 10 bytes; the driver writes what it is given.
  std::vector<std::string> names;
  for (const auto& fd : fields) names.push_back(fd.name);
  if (dbf) names = dbfFieldNames(names);
  std::size_t replaced = 0;
  auto outText = [&](const std::string& utf8) { return dbf ? utf8ToGbk(utf8, &replaced) : utf8; };
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const FieldDef& fd = fields[i];
    OGRFieldType t =
        fd.type == JetType::Long || fd.type == JetType::Integer || fd.type == JetType::Byte
            ? OFTInteger
        : fd.isNumeric() || fd.type == JetType::Currency ? OFTReal
                                                         : OFTString;
    OGRFieldDefnH def = OGR_Fld_Create(names[i].c_str(), t);
    // A GBK character takes two bytes of a dBASE width.
    if (t == OFTString)
      OGR_Fld_SetWidth(def, fd.size > 0 ? std::min(dbf ? 2 * fd.size : fd.size, 254) : 254);
    if (t == OFTReal && opt.format == ExportFormat::Dbf) {
      // Wide enough for -1E+38 written out in fixed notation.
      OGR_Fld_SetWidth(def, fd.type == JetType::Single ? 48 : 56);
      OGR_Fld_SetPrecision(def, fd.type == JetType::Single ? 7 : 15);
    }
    OGR_L_CreateField(layer, def, 1);
    OGR_Fld_Destroy(def);
  }
  progress.setMaximum(db.rowCount(table));
  Cursor c = db.query("Select * From " + bracket(table));
  // Drivers without transactions write straight through.
  bool failed = false;
  const bool tx = OGR_L_StartTransaction(layer) == OGRERR_NONE;
  OGRFeatureDefnH defn = OGR_L_GetLayerDefn(layer);
  while (c.next()) {
    OGRFeatureH feat = OGR_F_Create(defn);
    for (int i = 0; i < c.columnCount(); ++i) {
      Value v = c.get(i);
      if (isNull(v)) continue;
      if (auto* d = std::get_if<double>(&v)) {
        if (static_cast<float>(*d) == NULL_VALUE && opt.nullsEmpty) continue;
        // A float goes out as the number its shortest text names, so 2.33 stays 2.33.
        double out =
            static_cast<float>(*d) == NULL_VALUE
                ? NULL_VALUE_D
                : std::strtod(numberText(*d, fields[static_cast<std::size_t>(i)].type).c_str(),
                              nullptr);
        OGR_F_SetFieldDouble(feat, i, out);
      } else if (auto* n = std::get_if<std::int64_t>(&v)) {
        OGR_F_SetFieldInteger64(feat, i, *n);
      } else {
        OGR_F_SetFieldString(feat, i, outText(valueToText(v)).c_str());
      }
    }
    failed |= OGR_L_CreateFeature(layer, feat) != OGRERR_NONE;
    OGR_F_Destroy(feat);
    if (++rows % 4096 == 0) progress.setValue(rows);
  }
  if (tx) failed |= OGR_L_CommitTransaction(layer) != OGRERR_NONE;
  GDALClose(ds);
  if (failed) return Outcome::failure("文件转换错误。" + std::string(CPLGetLastErrorMsg()));
  progress.setValue(0);
  // The shapefile driver writes a lone .dbf when asked for one; drop any side files it made.
  if (opt.format == ExportFormat::Dbf) {
    fs::path p(path);
    for (const char* ext : {".shp", ".shx", ".prj"}) {
      fs::path side = p;
      side.replace_extension(ext);
      fs::remove(side, ec);
    }
  }
  std::string note = replacedWarning(replaced);
  for (std::size_t i = 0; dbf && i < fields.size(); ++i)
    if (gbkToUtf8(names[i]) != fields[i].name)
      note += (note.empty() ? "" : "\n") + std::string("字段 ") + fields[i].name +
              " 在 DBF 文件中名为 " + gbkToUtf8(names[i]);
  return Outcome::success(note);
}

}  // namespace

Outcome exportTable(Database& db, const std::string& table, const std::string& path,
                    const ExportOptions& opt, Progress& progress, std::int64_t* rows) {
  if (!db.tableExists(table)) return Outcome::failure("数据表不存在: " + table);
  std::int64_t n = 0;
  Outcome o;
  try {
    o = opt.format == ExportFormat::Csv ? exportCsv(db, table, path, opt, progress, n)
                                        : exportOgr(db, table, path, opt, progress, n);
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("文件转换错误。") + e.what());
  }
  if (rows) *rows = n;
  return o;
}

}  // namespace sarnoth
