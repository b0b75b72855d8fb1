#include "workarea/scatter_file.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/table_store.h"
#include "workarea/text_codec.h"

namespace sarnoth {

using namespace filetext;

namespace {

template <typename T>
T getLe(const std::string& b, std::size_t off) {
  T v;
  std::memcpy(&v, b.data() + off, sizeof v);
  return v;
}

template <typename T>
void putLe(std::string& b, T v) {
  char buf[sizeof v];
  std::memcpy(buf, &v, sizeof v);
  b.append(buf, sizeof v);
}

// A fixed 20-byte name block: cut at the first blank, then the bytes up to a NUL, GBK decoded.
std::string nameFromBlock(const std::string& bytes, std::size_t off) {
  std::string block = bytes.substr(off, kScatNameWidth);
  std::size_t blank = block.find(' ');
  if (blank != std::string::npos) block.resize(blank);
  return readGbkField(block);
}

// Names and values of a binary layout from `namesAt` on, counts checked against the size.
ScatterError readNamesAndValues(const std::string& bytes, std::size_t namesAt, ScatterFile& f,
                                int fieldCount) {
  if (f.recordCount < 0 || fieldCount < 0) return ScatterError::BadHeader;
  std::uint64_t need =
      static_cast<std::uint64_t>(namesAt) +
      static_cast<std::uint64_t>(kScatNameWidth) * fieldCount +
      4ull * static_cast<std::uint64_t>(fieldCount) * static_cast<std::uint64_t>(f.recordCount);
  if (need > bytes.size()) return ScatterError::Truncated;
  f.names.clear();
  for (int i = 0; i < fieldCount; ++i)
    f.names.push_back(nameFromBlock(bytes, namesAt + static_cast<std::size_t>(i) * kScatNameWidth));
  std::size_t n = static_cast<std::size_t>(fieldCount) * static_cast<std::size_t>(f.recordCount);
  f.values.resize(n);
  if (n > 0)
    std::memcpy(f.values.data(),
                bytes.data() + namesAt + static_cast<std::size_t>(kScatNameWidth) * fieldCount,
                n * sizeof(float));
  return ScatterError::None;
}

bool sizesAgree(const ScatterFile& f) {
  return f.recordCount >= 0 &&
         f.values.size() == static_cast<std::size_t>(f.recordCount) * f.names.size();
}

// Line-by-line ASCII output in GBK with CR LF.
class TextOut {
 public:
  void line(const std::string& utf8) {
    buf_ += utf8ToGbk(utf8);
    buf_ += "\r\n";
  }
  void raw(const std::string& ascii) {
    buf_ += ascii;
    buf_ += "\r\n";
  }
  std::string& bytes() { return buf_; }

 private:
  std::string buf_;
};

std::string joinValues(const ScatterFile& f, std::int64_t r, char sep) {
  std::string s;
  for (int c = 0; c < f.fieldCount(); ++c) {
    if (c) s += sep;
    s += floatText(f.at(r, c));
  }
  return s;
}

bool endsWithCi(const std::string& s, const std::string& suffix) {
  if (s.size() < suffix.size()) return false;
  for (std::size_t i = 0; i < suffix.size(); ++i) {
    char a = s[s.size() - suffix.size() + i];
    if (a >= 'A' && a <= 'Z') a = static_cast<char>(a - 'A' + 'a');
    if (a != suffix[i]) return false;
  }
  return true;
}

// CSV cells of one line, with double quotes around cells that hold the separator or quotes.
std::vector<std::string> csvCells(const std::string& line) {
  std::vector<std::string> cells;
  std::string cur;
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    char ch = line[i];
    if (quoted) {
      if (ch == '"' && i + 1 < line.size() && line[i + 1] == '"') {
        cur += '"';
        ++i;
      } else if (ch == '"') {
        quoted = false;
      } else {
        cur += ch;
      }
    } else if (ch == '"') {
      quoted = true;
    } else if (ch == ',') {
      cells.push_back(cur);
      cur.clear();
    } else {
      cur += ch;
    }
  }
  cells.push_back(cur);
  return cells;
}

std::string csvQuote(const std::string& s) {
  if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
  std::string q = "\"";
  for (char ch : s) {
    if (ch == '"') q += '"';
    q += ch;
  }
  return q + "\"";
}

// Replaces characters 7 to 12 of a 12-character magic, keeping the generation of its first six.
std::string withTag(const std::string& magic, const char* tag, const char* fallback) {
  if (magic.size() == 12 && magic.compare(0, 6, "#VLQ30") == 0) return magic.substr(0, 6) + tag;
  return fallback;
}

}  // namespace

// ------------------------------------------------------------------ magic and kind

bool magicMatches(const std::string& head, const char* tag) {
  return head.size() >= 12 && head.compare(6, 6, tag) == 0;
}

ScatterKind detectScatterKind(const std::string& path) {
  std::ifstream in(resolvePath(path), std::ios::binary);
  if (!in) return ScatterKind::Unknown;
  char buf[12] = {};
  in.read(buf, sizeof buf);
  std::string head(buf, static_cast<std::size_t>(in.gcount()));
  if (head.compare(0, 8, kScatMagicVlq2) == 0) return ScatterKind::Vlq2;
  if (magicMatches(head, "SCATB#")) return ScatterKind::Binary;
  if (magicMatches(head, "SCATA#")) return ScatterKind::Ascii;
  if (endsWithCi(path, ".csv")) return ScatterKind::Csv;
  return ScatterKind::Unknown;
}

// ------------------------------------------------------------------ binary

ScatterReadResult readBinaryScatter(const std::string& path, int headerOffset, const char* tag) {
  ScatterReadResult r;
  std::string bytes;
  if (!readWholeFile(path, bytes)) {
    r.error = ScatterError::OpenFailed;
    return r;
  }
  if (!magicMatches(bytes.substr(0, 12), tag)) {
    r.error = ScatterError::BadMagic;
    return r;
  }
  std::size_t h = static_cast<std::size_t>(std::max(headerOffset, 12));
  if (bytes.size() < h + 10) {
    r.error = ScatterError::Truncated;
    return r;
  }
  ScatterFile& f = r.file;
  f.magic = bytes.substr(0, 12);
  f.origin = readGbkField(bytes.substr(12, std::min<std::size_t>(kScatOriginWidth, h - 12)));
  if (h >= 12 + kScatOriginWidth + kScatNoteWidth)
    f.note = readGbkField(bytes.substr(12 + kScatOriginWidth, kScatNoteWidth));
  f.recordCount = getLe<std::int32_t>(bytes, h);
  f.nullValue = getLe<float>(bytes, h + 4);
  int fieldCount = getLe<std::int16_t>(bytes, h + 8);
  r.error = readNamesAndValues(bytes, h + 10, f, fieldCount);
  return r;
}

ScatterReadResult readVlq2Scatter(const std::string& path) {
  constexpr std::size_t kCountsAt = 36;  // position 37 counted from 1
  constexpr std::size_t kFieldCountAt = kCountsAt + 8 + 26;
  ScatterReadResult r;
  std::string bytes;
  if (!readWholeFile(path, bytes)) {
    r.error = ScatterError::OpenFailed;
    return r;
  }
  if (bytes.size() < 8 || bytes.compare(0, 8, kScatMagicVlq2) != 0) {
    r.error = ScatterError::BadMagic;
    return r;
  }
  if (bytes.size() < kFieldCountAt + 4) {
    r.error = ScatterError::Truncated;
    return r;
  }
  ScatterFile& f = r.file;
  f.magic = kScatMagicBVlq30;
  f.origin = kScatOriginVlq2;
  f.note.clear();
  f.recordCount = getLe<std::int32_t>(bytes, kCountsAt);
  f.nullValue = getLe<float>(bytes, kCountsAt + 4);
  // The count is a 32-bit value of which the file's reader keeps the low 16 bits.
  int fieldCount = static_cast<std::int16_t>(getLe<std::int32_t>(bytes, kFieldCountAt) & 0xFFFF);
  r.error = readNamesAndValues(bytes, kFieldCountAt + 4, f, fieldCount);
  return r;
}

ScatterError writeBinaryScatter(const std::string& path, const ScatterFile& f,
                                const char* endMark) {
  if (!sizesAgree(f) || f.names.size() > 32767) return ScatterError::BadHeader;
  std::string b;
  b.reserve(70 + 20 * f.names.size() + 4 * f.values.size() + 9);
  std::string magic = f.magic.substr(0, 12);
  magic.append(12 - magic.size(), ' ');
  b += magic;
  b += gbkFixedField(f.origin, kScatOriginWidth);
  b += gbkFixedField(f.note, kScatNoteWidth);
  putLe<std::int32_t>(b, f.recordCount);
  putLe<float>(b, f.nullValue);
  putLe<std::int16_t>(b, static_cast<std::int16_t>(f.names.size()));
  for (const auto& n : f.names) b += gbkFixedField(n, kScatNameWidth);
  b.append(reinterpret_cast<const char*>(f.values.data()), f.values.size() * sizeof(float));
  b += endMark;
  return writeWholeFile(path, b) ? ScatterError::None : ScatterError::WriteFailed;
}

ScatterError convertVlq2Scatter(const std::string& source, const std::string& target) {
  ScatterReadResult r = readVlq2Scatter(source);
  if (!r.ok()) return r.error;
  return writeBinaryScatter(target, r.file, kEndData);
}

// ------------------------------------------------------------------ ASCII

ScatterReadResult readAsciiScatter(const std::string& path, const char* tag) {
  ScatterReadResult r;
  std::string bytes;
  if (!readWholeFile(path, bytes)) {
    r.error = ScatterError::OpenFailed;
    return r;
  }
  std::vector<std::string> lines = splitLines(decodeFileText(bytes));
  if (lines.empty() || !magicMatches(lines[0], tag)) {
    r.error = ScatterError::BadMagic;
    return r;
  }
  if (lines.size() < 6) {
    r.error = ScatterError::Truncated;
    return r;
  }
  ScatterFile& f = r.file;
  f.magic = lines[0].substr(0, 12);
  f.origin = trim(lines[1]);
  bool blankSeparated = !f.origin.empty() && (f.origin[0] == 'S' || f.origin[0] == 's');
  long long count = 0, fields = 0;
  if (!parseInt(lines[2], count) || !parseFloat(lines[3], f.nullValue) ||
      !parseInt(lines[4], fields)) {
    r.error = ScatterError::BadNumber;
    return r;
  }
  if (count < 0 || fields < 0 || fields > 32767 || count > INT32_MAX) {
    r.error = ScatterError::BadHeader;
    return r;
  }
  // Every point stands on a line of its own, so the count cannot exceed the lines left.
  if (static_cast<std::size_t>(count) > lines.size() - 6) {
    r.error = ScatterError::Truncated;
    return r;
  }
  f.recordCount = static_cast<std::int32_t>(count);
  std::vector<std::string> names = blankSeparated ? splitBlanks(lines[5]) : splitAt(lines[5], ',');
  f.names.clear();
  for (const auto& n : names) f.names.push_back(trim(n));
  if (fields == 0 && f.names.size() == 1 && f.names[0].empty()) f.names.clear();
  if (static_cast<long long>(f.names.size()) < fields) {
    r.error = ScatterError::ShortRow;
    return r;
  }
  f.names.resize(static_cast<std::size_t>(fields));
  // Every value takes at least one byte of the file, so the file's size bounds what a header
  // may make us hold; the values grow as the rows prove to be there.
  f.values.reserve(std::min<std::size_t>(
      static_cast<std::size_t>(count) * static_cast<std::size_t>(fields), bytes.size()));
  for (long long p = 0; p < count; ++p) {
    const std::string& line = lines[6 + static_cast<std::size_t>(p)];
    if (trim(line) == kEndData) {
      r.error = ScatterError::Truncated;
      return r;
    }
    std::vector<std::string> items = blankSeparated ? splitBlanks(line) : splitAt(line, ',');
    if (static_cast<long long>(items.size()) < fields) {
      r.error = ScatterError::ShortRow;
      return r;
    }
    for (long long c = 0; c < fields; ++c) {
      float v = 0;
      if (!parseFloat(items[static_cast<std::size_t>(c)], v)) {
        r.error = ScatterError::BadNumber;
        return r;
      }
      f.values.push_back(v);
    }
  }
  return r;
}

ScatterError writeAsciiScatter(const std::string& path, const ScatterFile& f) {
  if (!sizesAgree(f)) return ScatterError::BadHeader;
  bool blankSeparated = !f.origin.empty() && (f.origin[0] == 'S' || f.origin[0] == 's');
  char sep = blankSeparated ? ' ' : ',';
  TextOut out;
  std::string magic = f.magic.substr(0, 12);
  out.raw(magic);
  out.line(f.origin);
  out.raw(std::to_string(f.recordCount));
  out.raw(floatText(f.nullValue));
  out.raw(std::to_string(f.names.size()));
  std::string names;
  for (std::size_t i = 0; i < f.names.size(); ++i)
    names += (i ? std::string(1, sep) : "") + f.names[i];
  out.line(names);
  for (std::int64_t r = 0; r < f.recordCount; ++r) out.raw(joinValues(f, r, sep));
  out.raw(kEndData);
  return writeWholeFile(path, out.bytes()) ? ScatterError::None : ScatterError::WriteFailed;
}

ScatterError writeMapGisScatter(const std::string& path, const ScatterFile& f) {
  if (!sizesAgree(f)) return ScatterError::BadHeader;
  TextOut out;
  out.raw("1,1,1," + std::to_string(f.recordCount) + "," + std::to_string(f.names.size()));
  for (std::int64_t r = 0; r < f.recordCount; ++r) out.raw(joinValues(f, r, ','));
  return writeWholeFile(path, out.bytes()) ? ScatterError::None : ScatterError::WriteFailed;
}

// ------------------------------------------------------------------ CSV

ScatterReadResult readCsvScatter(const std::string& path) {
  ScatterReadResult r;
  std::string bytes;
  if (!readWholeFile(path, bytes)) {
    r.error = ScatterError::OpenFailed;
    return r;
  }
  std::vector<std::string> lines = splitLines(decodeFileText(bytes));
  while (!lines.empty() && trim(lines.back()).empty()) lines.pop_back();
  if (lines.empty()) {
    r.error = ScatterError::Truncated;
    return r;
  }
  ScatterFile& f = r.file;
  f.magic = kScatMagicB;
  f.origin = kScatTagConverted;
  for (const auto& n : csvCells(lines[0])) f.names.push_back(trim(n));
  if (f.names.size() > 32767) {
    r.error = ScatterError::BadHeader;
    return r;
  }
  std::size_t fields = f.names.size();
  // Each cell takes at least its separator: the file's size bounds the values.
  f.values.reserve(std::min((lines.size() - 1) * fields, bytes.size()));
  for (std::size_t i = 1; i < lines.size(); ++i) {
    std::vector<std::string> cells = csvCells(lines[i]);
    if (cells.size() < fields) {
      r.error = ScatterError::ShortRow;
      return r;
    }
    for (std::size_t c = 0; c < fields; ++c) {
      float v = NULL_VALUE;
      if (!trim(cells[c]).empty() && !parseFloat(cells[c], v)) {
        r.error = ScatterError::BadNumber;
        return r;
      }
      f.values.push_back(v);
    }
  }
  if (lines.size() - 1 > static_cast<std::size_t>(INT32_MAX)) {
    r.error = ScatterError::BadHeader;
    return r;
  }
  f.recordCount = static_cast<std::int32_t>(lines.size() - 1);
  return r;
}

ScatterError writeCsvScatter(const std::string& path, const ScatterFile& f, bool nullsEmpty) {
  if (!sizesAgree(f)) return ScatterError::BadHeader;
  std::string b;
  for (std::size_t i = 0; i < f.names.size(); ++i) b += (i ? "," : "") + csvQuote(f.names[i]);
  b += "\n";
  for (std::int64_t r = 0; r < f.recordCount; ++r) {
    for (int c = 0; c < f.fieldCount(); ++c) {
      if (c) b += ',';
      float v = f.at(r, c);
      if (!(nullsEmpty && v == f.nullValue)) b += floatText(v);
    }
    b += "\n";
  }
  return writeWholeFile(path, b) ? ScatterError::None : ScatterError::WriteFailed;
}

ScatterReadResult readScatter(const std::string& path) {
  switch (detectScatterKind(path)) {
    case ScatterKind::Binary:
      return readBinaryScatter(path);
    case ScatterKind::Ascii:
      return readAsciiScatter(path);
    case ScatterKind::Vlq2:
      return readVlq2Scatter(path);
    case ScatterKind::Csv:
      return readCsvScatter(path);
    case ScatterKind::Unknown:
      break;
  }
  ScatterReadResult r;
  std::ifstream in(resolvePath(path), std::ios::binary);
  r.error = in ? ScatterError::BadMagic : ScatterError::OpenFailed;
  return r;
}

// ------------------------------------------------------------------ forms and sources

ScatterFile asAsciiForm(ScatterFile f) {
  f.magic = withTag(f.magic, "SCATA#", kScatMagicA);
  std::string origin = trim(f.origin);
  f.origin = origin == kScatOriginFromBase || origin == kScatTagFromBase ? kScatTagFromBase
                                                                         : kScatTagConverted;
  f.note.clear();
  return f;
}

ScatterFile asBinaryForm(ScatterFile f) {
  f.magic = withTag(f.magic, "SCATB#", kScatMagicB);
  if (trim(f.origin) == kScatTagFromBase) f.origin = kScatOriginFromBase;
  return f;
}

ScatterFile scatterFromGridNodes(float x0, float y0, float dx, float dy, int nx, int ny,
                                 const std::vector<float>& nodes) {
  ScatterFile f;
  f.magic = kScatMagicA;
  f.origin = kScatTagConverted;
  f.names = {"XX", "YY", "VV"};
  if (nx <= 0 || ny <= 0 || nodes.size() < static_cast<std::size_t>(nx) * ny) return f;
  f.recordCount = nx * ny;
  f.values.reserve(static_cast<std::size_t>(f.recordCount) * 3);
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) {
      f.values.push_back(x0 + static_cast<float>(c) * dx);
      f.values.push_back(y0 + static_cast<float>(r) * dy);
      f.values.push_back(nodes[static_cast<std::size_t>(r) * nx + c]);
    }
  return f;
}

ScatterFile scatterFromTable(Database& db, const std::string& table,
                             const std::vector<std::string>& fields) {
  if (!db.tableExists(table)) throw StoreError("数据表不存在: " + table);
  std::vector<FieldDef> defs = db.fields(table);
  std::vector<std::string> names;
  if (fields.empty()) {
    for (const auto& d : defs)
      if (d.isNumeric()) names.push_back(d.name);
  } else {
    for (const auto& want : fields) {
      auto it =
          std::find_if(defs.begin(), defs.end(), [&](const FieldDef& d) { return d.name == want; });
      if (it == defs.end()) throw StoreError("数据项不存在: " + want);
      names.push_back(it->name);
    }
  }
  if (names.empty()) throw StoreError("数据表无数字型数据项: " + table);
  std::string sql = "Select ";
  for (std::size_t i = 0; i < names.size(); ++i) sql += (i ? "," : "") + bracket(names[i]);
  sql += " From " + bracket(table);
  ScatterFile f;
  f.magic = kScatMagicB;
  f.origin = kScatOriginFromBase;
  f.names = names;
  Cursor c = db.query(sql);
  std::int64_t rows = 0;
  while (c.next()) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      int col = static_cast<int>(i);
      f.values.push_back(c.isNull(col) ? NULL_VALUE : c.getFloat(col));
    }
    ++rows;
  }
  if (rows > INT32_MAX) throw StoreError("数据表记录过多: " + table);
  f.recordCount = static_cast<std::int32_t>(rows);
  return f;
}

// ------------------------------------------------------------------ numbers and messages

std::string floatText(float v) {
  char buf[48];
  auto res = std::to_chars(buf, buf + sizeof buf, v);
  std::string s(buf, res.ptr);
  for (char& ch : s)
    if (ch == 'e') ch = 'E';
  return s;
}

std::string scatterMessage(ScatterReader reader, ScatterError e) {
  if (e == ScatterError::None) return {};
  switch (reader) {
    case ScatterReader::ClipExternal:
      return e == ScatterError::BadMagic ? kMsgClipBadMagic : kMsgClipReadFailed;
    case ScatterReader::CoordConversion:
      if (e == ScatterError::ShortRow) return kMsgConvShortRow;
      if (e == ScatterError::WriteFailed) return kMsgConvCreateFailed;
      return kMsgConvReadFailed;
  }
  return {};
}

}  // namespace sarnoth
