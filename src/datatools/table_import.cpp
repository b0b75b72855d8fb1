#include "datatools/table_import.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <gdal.h>
#include <ogr_api.h>
#include <sqlite3.h>

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

std::string_view trimView(std::string_view s) {
  std::size_t b = 0, e = s.size();
  while (b < e && (s[b] == ' ' || s[b] == '\t' || s[b] == '\r')) ++b;
  while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r')) --e;
  return s.substr(b, e - b);
}

std::string trimBlanks(std::string_view s) { return std::string(trimView(s)); }

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

std::size_t utf8Length(std::string_view s) {
  std::size_t n = 0;
  for (unsigned char c : s)
    if ((c & 0xC0) != 0x80) ++n;
  return n;
}

enum class CellNumber { Text = 0, Number = 1, NoData = 2 };

// A number cell: blanks trimmed, the decimal comma taken as a point. NaN and infinities
// ("nan", "inf", "-Infinity", or beyond the double range) are numbers that hold no data.
// `t` is trimmed already.
CellNumber classifyTrimmed(std::string_view t, char decimal, double& v) {
  if (t.empty()) return CellNumber::Text;
  std::string swapped;
  if (decimal == ',' && t.find(',') != std::string_view::npos) {
    swapped.assign(t);
    std::replace(swapped.begin(), swapped.end(), ',', '.');
    t = swapped;
  }
  const char* b = t.data();
  const char* e = t.data() + t.size();
  if (*b == '+') ++b;
  auto r = std::from_chars(b, e, v);
  if (r.ptr != e) return CellNumber::Text;
  if (r.ec == std::errc::result_out_of_range) return CellNumber::NoData;
  if (r.ec != std::errc()) return CellNumber::Text;
  return std::isfinite(v) ? CellNumber::Number : CellNumber::NoData;
}

CellNumber classifyNumber(std::string_view cell, char decimal, double& v) {
  return classifyTrimmed(trimView(cell), decimal, v);
}

// Digits that carry the value: leading zeros and the trailing zeros of a fraction do not
// ("2.3300000" as a fixed-width file writes 2.33 has three). One pass over the mantissa.
int significantDigits(std::string_view cell) {
  int n = 0, trailing = 0;
  bool leading = true, fraction = false;
  for (char c : cell) {
    if (c == 'e' || c == 'E') break;
    if (c == '.' || c == ',') {
      fraction = true;
      trailing = 0;
      continue;
    }
    if (c < '0' || c > '9') continue;
    if (c == '0' && leading) continue;
    leading = false;
    ++n;
    trailing = fraction && c == '0' ? trailing + 1 : 0;
  }
  return n - trailing;
}

// ---- delimited text ---------------------------------------------------------------------------

// The file is read in blocks of kChunk bytes, each cut after its last line break and decoded on
// its own (a line break is never part of a GBK or UTF-8 character), so that only a block and
// the record being parsed are ever held, whatever the size of the file.
class DelimitedSource : public RowSource {
 public:
  static constexpr std::size_t kChunk = 1 << 20;
  static constexpr std::size_t kMaxRecord = 16 << 20;

  DelimitedSource(std::string path, DelimitedOptions opt) : path_(std::move(path)), opt_(opt) {}
  ~DelimitedSource() override {
    if (file_) std::fclose(file_);
  }

  // Opens the file and reads the header; the system's message in `error` when it cannot.
  bool open(std::string& error) {
    file_ = std::fopen(resolvePath(path_).c_str(), "rb");
    if (!file_) {
      error = "打开文本数据表错 -- 找不到文件: " + path_;
      return false;
    }
    std::error_code ec;
    auto size = fs::file_size(resolvePath(path_), ec);
    size_ = ec ? 0 : static_cast<std::int64_t>(size);
    if (!start()) {
      error = error_.empty() ? "文件中没有数据: " + path_ : error_;
      return false;
    }
    for (auto& h : header_) h = trimBlanks(h);
    makeColumnNamesUnique(header_);
    if (header_.empty()) {
      error = "文件中没有数据: " + path_;
      return false;
    }
    return true;
  }

  const std::vector<std::string>& header() const override { return header_; }
  void rewind() override { start(); }
  bool next(std::vector<std::string>& cells) override {
    while (parseRecord(cells)) {
      bool blank = std::all_of(cells.begin(), cells.end(),
                               [](const std::string& c) { return trimView(c).empty(); });
      if (!blank) return true;
    }
    return false;
  }
  std::string readError() const override { return error_; }
  std::int64_t approxRows() const override { return estimatedRows_; }
  char decimal() const override { return opt_.decimal; }

 private:
  enum class Encoding { Undecided, Utf8, Gbk };

  // Back to the first byte: the header is read (or, without one, the first record's width
  // taken) and the data start after it.
  bool start() {
    std::rewind(file_);
    raw_.clear();
    text_.clear();
    pos_ = 0;
    eof_ = false;
    first_ = true;
    error_.clear();
    std::vector<std::string> first;
    if (opt_.headerRow) {
      if (!parseRecord(first)) return false;
      if (header_.empty()) header_ = first;
    } else {
      const std::size_t save = pos_;
      if (!parseRecord(first)) return false;
      if (header_.empty())
        for (std::size_t i = 0; i < first.size(); ++i)
          header_.push_back("F" + std::to_string(i + 1));
      pos_ = save;
    }
    return true;
  }

  // Reads, cuts and decodes the next block onto the text not yet parsed. False at the end of
  // the file or on a file that is not text.
  bool more() {
    if (eof_ || !error_.empty()) return false;
    const std::size_t carried = raw_.size();
    raw_.resize(carried + kChunk);
    const std::size_t got = std::fread(raw_.data() + carried, 1, kChunk, file_);
    raw_.resize(carried + got);
    if (got < kChunk) eof_ = true;
    if (std::memchr(raw_.data() + carried, '\0', got)) {
      error_ = "打开文本数据表错 -- 文件不是文本数据: " + path_;
      eof_ = true;
      return false;
    }
    std::size_t cut = raw_.size();
    if (!eof_) {
      const std::size_t nl = raw_.rfind('\n');
      // A line longer than a block goes whole into the next round.
      if (nl == std::string::npos) {
        if (raw_.size() > kMaxRecord) {
          error_ = "打开文本数据表错 -- 一行超过 16 MB: " + path_;
          return false;
        }
        return more();
      }
      cut = nl + 1;
    }
    std::string_view chunk(raw_.data(), cut);
    if (first_) {
      first_ = false;
      if (chunk.size() >= 3 && chunk.substr(0, 3) == "\xEF\xBB\xBF") {
        chunk.remove_prefix(3);
        if (opt_.encoding == TextEncoding::Auto) encoding_ = Encoding::Utf8;
      }
      estimateRows(chunk);
    }
    text_.erase(0, pos_);
    pos_ = 0;
    appendDecoded(chunk);
    raw_.erase(0, cut);
    return true;
  }

  void appendDecoded(std::string_view chunk) {
    switch (opt_.encoding) {
      case TextEncoding::Gbk:
        text_ += gbkToUtf8(chunk);
        return;
      case TextEncoding::Utf8:
        text_ += chunk;
        return;
      case TextEncoding::Auto:
        break;
    }
    const bool ascii = std::all_of(chunk.begin(), chunk.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
      text_ += chunk;
      return;
    }
    // The first block that is not plain ASCII decides, as the whole file's text would.
    if (encoding_ == Encoding::Undecided)
      encoding_ = decodesAsUtf8(chunk) ? Encoding::Utf8 : Encoding::Gbk;
    if (encoding_ == Encoding::Utf8 && isValidUtf8(chunk))
      text_ += chunk;
    else
      text_ += gbkToUtf8(chunk);
  }

  void estimateRows(std::string_view chunk) {
    const auto lines = std::count(chunk.begin(), chunk.end(), '\n');
    estimatedRows_ = eof_ || lines == 0
                         ? std::max<std::int64_t>(lines, 1)
                         : static_cast<std::int64_t>(static_cast<double>(size_) * lines /
                                                     static_cast<double>(chunk.size()));
  }

  enum class Parsed { Record, End, NeedMore };

  // One record; quoted cells may hold delimiters, doubled quotes and line breaks. A record that
  // runs into the end of the text read so far is read again with the next block.
  bool parseRecord(std::vector<std::string>& cells) {
    for (;;) {
      const std::size_t start = pos_;
      const Parsed r = tryParse(cells);
      if (r == Parsed::Record) return true;
      pos_ = start;
      // A quote that is never closed would take the rest of the file into one record.
      if (text_.size() - start > kMaxRecord) {
        error_ = "打开文本数据表错 -- 一条记录超过 16 MB, 引号可能不配对: " + path_;
        return false;
      }
      if (!more()) {
        if (r == Parsed::End || !error_.empty()) return false;
        // The last record of the file, without a line break.
        eof_ = true;
        return tryParse(cells) == Parsed::Record;
      }
      // more() dropped the text before pos_: the record starts at 0 again.
    }
  }

  Parsed tryParse(std::vector<std::string>& cells) {
    cells.clear();
    const std::size_t n = text_.size();
    if (pos_ >= n) return eof_ ? Parsed::End : Parsed::NeedMore;
    std::string cell;
    bool quoted = false;
    const char d = opt_.delimiter;
    const bool blanks = d == ' ';
    while (pos_ < n) {
      const char c = text_[pos_];
      if (quoted) {
        if (c == '"') {
          if (pos_ + 1 >= n && !eof_) return Parsed::NeedMore;
          if (pos_ + 1 < n && text_[pos_ + 1] == '"') {
            cell += '"';
            pos_ += 2;
            continue;
          }
          quoted = false;
          ++pos_;
          continue;
        }
        // Up to the next quote in one go.
        const std::size_t q = text_.find('"', pos_);
        const std::size_t e = q == std::string::npos ? n : q;
        cell.append(text_, pos_, e - pos_);
        pos_ = e;
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
        cells.push_back(std::move(cell));
        return Parsed::Record;
      }
      if (c == '\r') {
        ++pos_;
        continue;
      }
      if (blanks ? (c == ' ' || c == '\t') : c == d) {
        if (blanks) {
          while (pos_ < n && (text_[pos_] == ' ' || text_[pos_] == '\t')) ++pos_;
          if (pos_ >= n && !eof_) return Parsed::NeedMore;
          if (cells.empty() && cell.empty()) continue;  // leading blanks
          if (pos_ >= n || text_[pos_] == '\n' || text_[pos_] == '\r') continue;
        } else {
          ++pos_;
        }
        cells.push_back(std::move(cell));
        cell.clear();
        continue;
      }
      // The plain run of a cell up to its next special character.
      std::size_t e = pos_ + 1;
      while (e < n) {
        const char x = text_[e];
        if (x == '\n' || x == '\r' || x == '"' || (blanks ? (x == ' ' || x == '\t') : x == d))
          break;
        ++e;
      }
      cell.append(text_, pos_, e - pos_);
      pos_ = e;
    }
    if (!eof_) return Parsed::NeedMore;
    cells.push_back(std::move(cell));
    return Parsed::Record;
  }

  std::string path_;
  DelimitedOptions opt_;
  std::FILE* file_ = nullptr;
  std::int64_t size_ = 0, estimatedRows_ = 0;
  std::string raw_;   // bytes read and not yet decoded (the part after the last line break)
  std::string text_;  // decoded text; parsing stands at pos_
  std::size_t pos_ = 0;
  bool eof_ = false, first_ = true;
  Encoding encoding_ = Encoding::Undecided;
  std::string error_;
  std::vector<std::string> header_;
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
  auto src = std::make_unique<DelimitedSource>(path, opt);
  if (!src->open(error)) return nullptr;
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
    c->guessed = false;  // the user's type stands
  }
  for (const std::string& name : splitCsvList(skip)) {
    ImportColumn* c = find(trimBlanks(name));
    if (!c) return Outcome::failure("源数据中没有字段: " + trimBlanks(name));
    c->import = false;
  }
  columns = std::move(out);
  return Outcome::success();
}

void ColumnGuess::add(const std::string& cell, char decimal) {
  const std::string_view t = trimView(cell);
  double v = 0;
  const CellNumber kind = t.empty() ? CellNumber::Text : classifyTrimmed(t, decimal, v);
  addClassified(t, static_cast<int>(kind), v);
}

void ColumnGuess::addClassified(std::string_view t, int kind, double v) {
  if (t.size() > maxLength) maxLength = std::max(maxLength, utf8Length(t));
  if (t.empty()) return;
  ++filled;
  if (kind == static_cast<int>(CellNumber::Text)) return;
  ++numbers;
  if (kind == static_cast<int>(CellNumber::NoData) || static_cast<float>(v) == NULL_VALUE) return;
  if (allWhole && (v != std::trunc(v) || std::fabs(v) > 2147483647.0 ||
                   t.find_first_of(".eE") != std::string_view::npos))
    allWhole = false;
  if (fitsFloat && significantDigits(t) > 7) fitsFloat = false;
}

FieldDef ColumnGuess::type(const std::string& name) const {
  FieldDef f;
  f.name = name;
  // A column of numbers with a few remarks in it ("n.d.", "<0.5") is still a number column: the
  // remarks become -1E+38 and are counted.
  if (numbers > 0 && numbers * 10 >= filled * 9) {
    f.type = allWhole ? JetType::Long : fitsFloat ? JetType::Single : JetType::Double;
  } else if (maxLength > 255) {
    f.type = JetType::Memo;
  } else {
    f.type = JetType::Text;
    f.size = static_cast<int>(std::max<std::size_t>(maxLength, 10));
  }
  return f;
}

FieldDef guessColumnType(const std::string& name, const std::vector<std::string>& cells,
                         char decimal) {
  ColumnGuess g;
  for (const auto& c : cells) g.add(c, decimal);
  return g.type(name);
}

namespace {

std::string raggedRowText(std::int64_t row, std::size_t cells, std::size_t header) {
  return "第" + std::to_string(row) + "行数据有" + std::to_string(cells) + "列, 多于表头的" +
         std::to_string(header) + "列, 数据格式不正确.";
}

bool numericKind(JetType t) {
  return t == JetType::Long || t == JetType::Integer || t == JetType::Single ||
         t == JetType::Double || t == JetType::Currency || t == JetType::Byte || t == JetType::Bit;
}

// An SQLite identifier in double quotes (a bracketed name cannot hold "]").
std::string sqlName(const std::string& name) {
  std::string q = "\"";
  for (char c : name) {
    if (c == '"') q += '"';
    q += c;
  }
  return q + "\"";
}

// Rows into a new table through one prepared statement, inside the caller's transaction; SINGLE
// columns are rounded to float as the store keeps them.
class RowInserter {
 public:
  RowInserter(Database& db, const std::string& table, const std::vector<FieldDef>& columns)
      : db_(db.handle()) {
    std::string sql = "INSERT INTO " + sqlName(table) + " (", vals;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      sql += (i ? ", " : "") + sqlName(columns[i].name);
      vals += i ? ", ?" : "?";
      single_.push_back(columns[i].type == JetType::Single);
    }
    sql += ") VALUES (" + vals + ")";
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &st_, nullptr) != SQLITE_OK)
      throw StoreError(sqlite3_errmsg(db_));
  }
  ~RowInserter() { sqlite3_finalize(st_); }
  RowInserter(const RowInserter&) = delete;
  RowInserter& operator=(const RowInserter&) = delete;

  void setDouble(int col, double v) {
    if (single_[static_cast<std::size_t>(col)]) v = static_cast<double>(static_cast<float>(v));
    sqlite3_bind_double(st_, col + 1, v);
  }
  void setInt(int col, std::int64_t v) { sqlite3_bind_int64(st_, col + 1, v); }
  void setText(int col, const std::string& v) {
    sqlite3_bind_text(st_, col + 1, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
  }
  void setNull(int col) { sqlite3_bind_null(st_, col + 1); }
  // Every column is bound for every row, so nothing is cleared between rows.
  void addRow() {
    if (sqlite3_step(st_) != SQLITE_DONE) {
      std::string msg = sqlite3_errmsg(db_);
      sqlite3_reset(st_);
      throw StoreError(msg);
    }
    sqlite3_reset(st_);
  }

 private:
  sqlite3* db_;
  sqlite3_stmt* st_ = nullptr;
  std::vector<bool> single_;
};

// What a numeric column made of a cell.
enum class Written { Number, NullLiteral, NoNumber };

// A trimmed cell, classified, into a numeric column as the import has always written it: a
// number, "-1E+38" as the null, and -1E+38 for want of a number (an empty cell, a remark, NaN).
Written writeNumber(RowInserter& w, int col, JetType type, CellNumber kind, double v) {
  if (kind != CellNumber::Number) {
    w.setDouble(col, NULL_VALUE_D);
    return Written::NoNumber;
  }
  if (static_cast<float>(v) == NULL_VALUE) {
    // "-1E+38" in any column type is the float null, as the tools test it.
    w.setDouble(col, NULL_VALUE_D);
    return Written::NullLiteral;
  }
  if (type == JetType::Long || type == JetType::Integer) {
    if (v == std::trunc(v) && std::fabs(v) <= 9.0e15)
      w.setInt(col, static_cast<std::int64_t>(v));
    else
      w.setDouble(col, v);
  } else {
    w.setDouble(col, v);
  }
  return Written::Number;
}

Written writeNumber(RowInserter& w, int col, JetType type, std::string_view cell, char decimal) {
  double v = 0;
  const CellNumber kind = classifyNumber(cell, decimal, v);
  return writeNumber(w, col, type, kind, v);
}

void writeText(RowInserter& w, int col, JetType type, const std::string& cell) {
  if (cell.empty())
    w.setNull(col);
  else
    w.setText(col, type == JetType::Text ? trimBlanks(cell) : cell);
}

void execOrThrow(sqlite3* db, const std::string& sql) {
  char* err = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &err) != SQLITE_OK) {
    std::string msg = err ? err : sqlite3_errmsg(db);
    sqlite3_free(err);
    throw StoreError(msg);
  }
}

// The cells a numeric column could not hold as numbers, kept (on disk, in the store's temporary
// schema) while the rows stream in, so that a column that turns out to be text gets them back.
class RemarkStore {
 public:
  explicit RemarkStore(sqlite3* db) : db_(db) {
    execOrThrow(db_,
                "CREATE TEMP TABLE IF NOT EXISTS sarnoth_import_remarks (r INTEGER, c INTEGER, "
                "t TEXT); DELETE FROM temp.sarnoth_import_remarks;");
    if (sqlite3_prepare_v2(db_, "INSERT INTO temp.sarnoth_import_remarks VALUES (?, ?, ?)", -1,
                           &insert_, nullptr) != SQLITE_OK)
      throw StoreError(sqlite3_errmsg(db_));
  }
  ~RemarkStore() {
    sqlite3_finalize(insert_);
    sqlite3_exec(db_, "DROP TABLE IF EXISTS temp.sarnoth_import_remarks", nullptr, nullptr,
                 nullptr);
  }
  void add(std::int64_t row, int col, const std::string& text) {
    sqlite3_bind_int64(insert_, 1, row);
    sqlite3_bind_int(insert_, 2, col);
    sqlite3_bind_text(insert_, 3, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    if (sqlite3_step(insert_) != SQLITE_DONE) throw StoreError(sqlite3_errmsg(db_));
    sqlite3_reset(insert_);
  }

 private:
  sqlite3* db_;
  sqlite3_stmt* insert_ = nullptr;
};

// The text a stored number had in a column that turns out to be text: its shortest form in the
// type it was written as.
std::string storedNumberText(sqlite3_stmt* st, int i, JetType written) {
  if (sqlite3_column_type(st, i) == SQLITE_INTEGER)
    return std::to_string(sqlite3_column_int64(st, i));
  return numberText(sqlite3_column_double(st, i), written);
}

// Rebuilds the table with the column types the whole file called for, where they differ from
// the types the first rows suggested. The rows go over in their order; numbers widen exactly
// (a SINGLE becomes the DOUBLE of its shortest text, which is the number written for values of
// up to six significant digits), numbers that turn to text keep their shortest text and the
// remarks come back as written, text that turns to numbers is read as the import reads cells.
// Returns the change in the count of cells written as -1E+38.
std::int64_t widenTable(Database& db, const std::string& table, const std::vector<FieldDef>& made,
                        const std::vector<FieldDef>& wanted, const std::vector<std::int64_t>& nulls,
                        char decimal) {
  sqlite3* h = db.handle();
  const std::string old = table + "__sarnoth_widen";
  execOrThrow(h, "ALTER TABLE " + sqlName(table) + " RENAME TO " + sqlName(old));
  db.createTable(table, wanted);
  std::int64_t delta = 0;
  for (std::size_t k = 0; k < made.size(); ++k)
    if (numericKind(made[k].type) && !numericKind(wanted[k].type)) delta -= nulls[k];
  {
    RowInserter w(db, table, wanted);
    sqlite3_stmt* rows = nullptr;
    sqlite3_stmt* remarks = nullptr;
    const std::string sql = "SELECT rowid, * FROM " + sqlName(old) + " ORDER BY rowid";
    if (sqlite3_prepare_v2(h, sql.c_str(), -1, &rows, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(h, "SELECT r, c, t FROM temp.sarnoth_import_remarks ORDER BY r, c", -1,
                           &remarks, nullptr) != SQLITE_OK) {
      sqlite3_finalize(rows);
      throw StoreError(sqlite3_errmsg(h));
    }
    bool remark = sqlite3_step(remarks) == SQLITE_ROW;
    int rc;
    while ((rc = sqlite3_step(rows)) == SQLITE_ROW) {
      const std::int64_t row = sqlite3_column_int64(rows, 0);
      for (std::size_t k = 0; k < made.size(); ++k) {
        const int col = static_cast<int>(k), at = col + 1;
        while (remark &&
               (sqlite3_column_int64(remarks, 0) < row ||
                (sqlite3_column_int64(remarks, 0) == row && sqlite3_column_int(remarks, 1) < col)))
          remark = sqlite3_step(remarks) == SQLITE_ROW;
        const bool hasRemark = remark && sqlite3_column_int64(remarks, 0) == row &&
                               sqlite3_column_int(remarks, 1) == col;
        const JetType from = made[k].type, to = wanted[k].type;
        const bool isNull = sqlite3_column_type(rows, at) == SQLITE_NULL;
        if (from == to && made[k].size == wanted[k].size) {
          if (isNull)
            w.setNull(col);
          else if (sqlite3_column_type(rows, at) == SQLITE_INTEGER)
            w.setInt(col, sqlite3_column_int64(rows, at));
          else if (sqlite3_column_type(rows, at) == SQLITE_FLOAT)
            w.setDouble(col, sqlite3_column_double(rows, at));
          else
            w.setText(col, reinterpret_cast<const char*>(sqlite3_column_text(rows, at)));
          continue;
        }
        if (numericKind(from) && numericKind(to)) {
          if (sqlite3_column_type(rows, at) == SQLITE_INTEGER && (to == JetType::Long))
            w.setInt(col, sqlite3_column_int64(rows, at));
          else if (from == JetType::Single && to == JetType::Double)
            w.setDouble(
                col,
                std::strtod(numberText(sqlite3_column_double(rows, at), JetType::Single).c_str(),
                            nullptr));
          else
            w.setDouble(col, sqlite3_column_double(rows, at));
        } else if (numericKind(from)) {
          // A number column turned text: the remarks as written, empty cells empty.
          if (hasRemark)
            writeText(w, col, to, reinterpret_cast<const char*>(sqlite3_column_text(remarks, 2)));
          else if (isNull || static_cast<float>(sqlite3_column_double(rows, at)) == NULL_VALUE)
            w.setNull(col);
          else
            writeText(w, col, to, storedNumberText(rows, at, from));
        } else if (numericKind(to)) {
          const unsigned char* t = isNull ? nullptr : sqlite3_column_text(rows, at);
          if (writeNumber(w, col, to, t ? reinterpret_cast<const char*>(t) : "", decimal) ==
              Written::NoNumber)
            ++delta;
        } else {
          const unsigned char* t = isNull ? nullptr : sqlite3_column_text(rows, at);
          writeText(w, col, to, t ? reinterpret_cast<const char*>(t) : "");
        }
      }
      w.addRow();
    }
    sqlite3_finalize(rows);
    sqlite3_finalize(remarks);
    if (rc != SQLITE_DONE) throw StoreError(sqlite3_errmsg(h));
  }
  execOrThrow(h, "DROP TABLE " + sqlName(old));
  return delta;
}

// The page cache of the store held small while a large file streams in, then given back.
class CacheLimit {
 public:
  CacheLimit(sqlite3* db, int kib) : db_(db) {
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db_, "PRAGMA cache_size", -1, &st, nullptr) == SQLITE_OK &&
        sqlite3_step(st) == SQLITE_ROW)
      old_ = sqlite3_column_int(st, 0);
    sqlite3_finalize(st);
    sqlite3_exec(db_, ("PRAGMA cache_size=-" + std::to_string(kib)).c_str(), nullptr, nullptr,
                 nullptr);
  }
  ~CacheLimit() {
    sqlite3_exec(db_, ("PRAGMA cache_size=" + std::to_string(old_)).c_str(), nullptr, nullptr,
                 nullptr);
  }

 private:
  sqlite3* db_;
  int old_ = -2000;
};

}  // namespace

Outcome previewSource(RowSource& src, ImportPreview& out, int previewRows) {
  const auto& header = src.header();
  if (header.empty()) return Outcome::failure("文件中没有数据");
  out.columns.clear();
  out.firstRows.clear();
  std::vector<ColumnGuess> guesses(header.size());
  std::vector<std::string> cells;
  std::int64_t rows = 0;
  src.rewind();
  const char decimal = src.decimal();
  bool ended = false;
  // The types come from the first rows; the import widens them where later rows need it.
  while (rows < kTypeSampleRows) {
    if (!src.next(cells)) {
      ended = true;
      break;
    }
    ++rows;
    if (cells.size() > header.size())
      return Outcome::failure(raggedRowText(rows, cells.size(), header.size()));
    if (static_cast<int>(out.firstRows.size()) < previewRows) out.firstRows.push_back(cells);
    for (std::size_t i = 0; i < header.size() && i < cells.size(); ++i)
      guesses[i].add(cells[i], decimal);
  }
  if (std::string e = src.readError(); !e.empty()) return Outcome::failure(e);
  if (rows == 0) return Outcome::failure("文件中没有数据");
  auto declared = src.declaredTypes();
  for (std::size_t i = 0; i < header.size(); ++i) {
    ImportColumn c;
    c.name = header[i];
    c.guessed = i >= declared.size();
    c.type = c.guessed ? guesses[i].type(header[i]) : declared[i];
    c.type.name = header[i];
    out.columns.push_back(c);
  }
  out.rowCount = ended ? rows : std::max(rows, src.approxRows());
  out.rowCountExact = ended;
  src.rewind();
  return Outcome::success();
}

std::int64_t countRows(RowSource& src) {
  std::vector<std::string> cells;
  std::int64_t rows = 0;
  src.rewind();
  while (src.next(cells)) ++rows;
  src.rewind();
  return rows;
}

Outcome importTable(Database& db, RowSource& src, const std::vector<ImportColumn>& columns,
                    const std::string& tableName, Interaction& ui, Progress& progress,
                    ImportReport* report) {
  if (std::string why = newNameRefusal(tableName, NewNameKind::Table); !why.empty())
    return Outcome::failure(why);
  std::vector<FieldDef> defs;
  std::vector<std::size_t> sourceIndex;
  std::vector<bool> guessed;
  const auto& header = src.header();
  for (const auto& c : columns) {
    if (!c.import) continue;
    auto it = std::find(header.begin(), header.end(), c.name);
    if (it == header.end()) return Outcome::failure("源数据中没有字段: " + c.name);
    FieldDef f = c.type;
    f.name = c.name;
    defs.push_back(f);
    sourceIndex.push_back(static_cast<std::size_t>(it - header.begin()));
    guessed.push_back(c.guessed);
  }
  if (defs.empty()) return Outcome::failure("请选择要导入的字段.");

  // A fault of the source itself is said in its own words.
  struct SourceFault {
    std::string text;
  };
  ImportReport rep;
  bool ownTx = true;
  CacheLimit cache(db.handle(), 16384);
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
    // Every row is also seen by the guess of its column, so that the types the whole file calls
    // for are known at the end; the remarks of number columns are kept in case one turns text.
    std::vector<ColumnGuess> seen(defs.size());
    std::vector<std::int64_t> nulls(defs.size(), 0);
    const bool anyGuessed = std::find(guessed.begin(), guessed.end(), true) != guessed.end();
    std::unique_ptr<RemarkStore> remarks;
    if (anyGuessed) remarks = std::make_unique<RemarkStore>(db.handle());
    {
      RowInserter w(db, tableName, defs);
      progress.setMaximum(std::max<std::int64_t>(src.approxRows(), 1));
      std::vector<std::string> cells;
      src.rewind();
      const char decimal = src.decimal();
      while (src.next(cells)) {
        if (cells.size() > header.size())
          throw SourceFault{raggedRowText(rep.rows + 1, cells.size(), header.size())};
        ++rep.rows;
        for (std::size_t k = 0; k < defs.size(); ++k) {
          static const std::string kEmpty;
          const std::string& cell = sourceIndex[k] < cells.size() ? cells[sourceIndex[k]] : kEmpty;
          const int col = static_cast<int>(k);
          if (numericKind(defs[k].type)) {
            // One look at the cell serves the guess and the write.
            const std::string_view t = trimView(cell);
            double v = 0;
            const CellNumber kind = classifyTrimmed(t, decimal, v);
            if (guessed[k]) seen[k].addClassified(t, static_cast<int>(kind), v);
            const Written made = writeNumber(w, col, defs[k].type, kind, v);
            if (made == Written::NoNumber) ++nulls[k];
            // What a number column could not keep as written, should it turn out text: the
            // remarks, and "-1E+38" written out.
            if (guessed[k] && made != Written::Number && !t.empty())
              remarks->add(rep.rows, col, cell);
          } else {
            if (guessed[k]) seen[k].add(cell, decimal);
            writeText(w, col, defs[k].type, cell);
          }
        }
        w.addRow();
        if (rep.rows % 4096 == 0) {
          progress.setValue(rep.rows);
          progress.pump();
        }
      }
      // A read that failed mid-way leaves nothing: no table, no registry row.
      if (std::string e = src.readError(); !e.empty()) throw SourceFault{e};
    }
    for (std::int64_t n : nulls) rep.nullsWritten += n;
    // The types the whole file calls for, where the first rows suggested less.
    std::vector<FieldDef> wanted = defs;
    bool widen = false;
    for (std::size_t k = 0; k < defs.size(); ++k) {
      if (!guessed[k]) continue;
      FieldDef f = seen[k].type(defs[k].name);
      if (f.type != defs[k].type || f.size != defs[k].size) {
        wanted[k] = f;
        widen = true;
      }
    }
    if (widen) rep.nullsWritten += widenTable(db, tableName, defs, wanted, nulls, src.decimal());
    remarks.reset();
    db.commit();
    ownTx = false;
  } catch (const SourceFault& f) {
    if (ownTx) db.rollback();
    return Outcome::failure(f.text);
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
