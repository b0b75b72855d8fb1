// Coordinate files (*.gph) and the magic check of profile files (*.prf). Declarations in
// scatter_file.h.
#include <charconv>
#include <fstream>

#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/scatter_file.h"
#include "workarea/text_codec.h"

namespace sarnoth {

using namespace filetext;

namespace {

// The element lines of a coordinate file, read line by line for heads and as a stream of
// numbers for vertices.
class GphLines {
 public:
  explicit GphLines(std::vector<std::string> lines) : lines_(std::move(lines)) {}

  // The items of the next line that holds any, or false at the end of the file.
  bool nextItems(std::vector<std::string>& items) {
    while (next_ < lines_.size()) {
      items = splitBlanks(lines_[next_++]);
      if (!items.empty()) return true;
    }
    return false;
  }

  // `pairs` x, y pairs separated by commas or blanks, across as many lines as they take; the
  // rest of the line that holds the last number is dropped.
  GphError readPairs(std::size_t pairs, std::vector<double>& xy) {
    std::size_t want = 2 * pairs;
    std::size_t got = 0;
    while (got < want) {
      if (next_ >= lines_.size()) return GphError::MissingEnd;
      std::string line = lines_[next_++];
      for (char& ch : line)
        if (ch == ',') ch = ' ';
      for (const auto& item : splitBlanks(line)) {
        if (got == want) break;
        double v = 0;
        if (!parseDouble(item, v)) return GphError::BadNumber;
        xy.push_back(v);
        ++got;
      }
    }
    return GphError::None;
  }

  std::size_t lineNumber() const { return next_; }

 private:
  std::vector<std::string> lines_;
  std::size_t next_ = 1;  // the magic line is read apart
};

GphError openGph(const std::string& path, std::vector<std::string>& lines) {
  std::string bytes;
  if (!readWholeFile(path, bytes)) return GphError::OpenFailed;
  lines = splitLines(decodeFileText(bytes));
  if (lines.empty() || !magicMatches(lines[0], "CRDGP#")) return GphError::BadMagic;
  return GphError::None;
}

// A vertex count item: a whole number, not negative.
bool parseCount(const std::string& item, std::size_t& n) {
  long long v = 0;
  if (!parseInt(item, v) || v < 0) return false;
  n = static_cast<std::size_t>(v);
  return true;
}

std::string coordText(double v) {
  char buf[40];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  std::string s(buf, r.ptr);
  for (char& ch : s)
    if (ch == 'e') ch = 'E';
  return s;
}

}  // namespace

GphKind gphKindOf(const std::string& code) {
  std::string c = code;
  for (char& ch : c)
    if (ch >= 'a' && ch <= 'z') ch = static_cast<char>(ch - 'a' + 'A');
  if (c == "PT" || c == "TT") return GphKind::Text;
  if (c == "PR") return GphKind::Area;
  if (c == "PL") return GphKind::Line;
  return GphKind::Point;
}

GphReadResult readGph(const std::string& path) {
  GphReadResult r;
  std::vector<std::string> all;
  r.error = openGph(path, all);
  if (r.error != GphError::None) return r;
  r.file.magic = all[0].substr(0, 12);
  GphLines lines(std::move(all));
  std::vector<std::string> items;
  while (true) {
    if (!lines.nextItems(items)) {
      r.error = GphError::MissingEnd;
      break;
    }
    if (items[0] == kEndData) break;
    GphElement e;
    e.code = items[0];
    e.kind = gphKindOf(e.code);
    if (e.kind == GphKind::Area || e.kind == GphKind::Line) {
      std::size_t n = 0;
      if (items.size() < 3 || !parseCount(items[2], n)) {
        r.error = GphError::BadNumber;
        break;
      }
      e.id = items[1];
      e.extra.assign(items.begin() + 3, items.end());
      r.error = lines.readPairs(n, e.xy);
      if (r.error != GphError::None) break;
    } else {
      double x = 0, y = 0;
      if (items.size() < 4 || !parseDouble(items[2], x) || !parseDouble(items[3], y)) {
        r.error = GphError::BadNumber;
        break;
      }
      e.id = items[1];
      e.xy = {x, y};
      e.extra.assign(items.begin() + 4, items.end());
    }
    r.file.elements.push_back(std::move(e));
  }
  r.line = lines.lineNumber();
  return r;
}

GphError writeGph(const std::string& path, const GphFile& f) {
  std::string out;
  std::string magic = f.magic.substr(0, 12);
  out += magic + "\r\n";
  auto append = [&](const std::string& utf8) { out += utf8ToGbk(utf8); };
  for (const auto& e : f.elements) {
    bool multi = e.kind == GphKind::Area || e.kind == GphKind::Line;
    append(e.code + " " + (e.id.empty() ? std::string("0") : e.id));
    if (multi) {
      out += " " + std::to_string(e.vertexCount());
    } else {
      double x = e.xy.size() >= 2 ? e.xy[0] : 0.0;
      double y = e.xy.size() >= 2 ? e.xy[1] : 0.0;
      out += " " + coordText(x) + " " + coordText(y);
    }
    for (const auto& item : e.extra) append(" " + item);
    out += "\r\n";
    if (multi)
      for (std::size_t v = 0; v < e.vertexCount(); ++v)
        out += coordText(e.xy[2 * v]) + " " + coordText(e.xy[2 * v + 1]) + "\r\n";
  }
  out += std::string(kEndData) + "\r\n";
  return writeWholeFile(path, out) ? GphError::None : GphError::WriteFailed;
}

PolygonReadResult readGphPolygons(const std::string& path) {
  PolygonReadResult r;
  std::vector<std::string> all;
  r.error = openGph(path, all);
  if (r.error != GphError::None) return r;
  GphLines lines(std::move(all));
  std::vector<std::string> items;
  std::vector<double> xy;
  while (true) {
    if (!lines.nextItems(items)) {
      r.error = GphError::MissingEnd;
      break;
    }
    if (items[0] == kEndData) break;
    std::size_t n = 0;
    if (items.size() < 3 || !parseCount(items[2], n)) {
      r.error = GphError::BadNumber;
      break;
    }
    // The vertex counts are held in an array of positions 0 to 1000.
    if (r.polygons.counts.size() >= static_cast<std::size_t>(kMaxClipPolygons)) {
      r.error = GphError::TooManyPolygons;
      break;
    }
    if (n > static_cast<std::size_t>(INT32_MAX)) {
      r.error = GphError::BadNumber;
      break;
    }
    if (n < 3) {
      r.error = GphError::ShortPolygon;
      break;
    }
    xy.clear();
    r.error = lines.readPairs(n, xy);
    if (r.error != GphError::None) break;
    r.polygons.counts.push_back(static_cast<std::int32_t>(n));
    for (double v : xy) r.polygons.vertices.push_back(static_cast<float>(v));
  }
  if (r.error != GphError::None) r.polygons = PolygonSet{};
  return r;
}

std::string gphMessage(GphReader reader, GphError e) {
  if (e == GphError::None) return {};
  switch (reader) {
    case GphReader::ClipGrid:
      if (e == GphError::BadMagic) return kMsgGphClipGrid;
      if (e == GphError::OpenFailed) return kMsgGphClipOpenFailed;
      return kMsgGphClipReadFailed;
    case GphReader::ClipTable:
      // The table path shows the description of the run-time error that stopped it.
      switch (e) {
        case GphError::BadMagic:
          return kMsgGphClipTable;
        case GphError::OpenFailed:
          return "文件未找到";
        case GphError::MissingEnd:
          return "输入超出文件尾";
        case GphError::BadNumber:
          return "类型不匹配";
        case GphError::TooManyPolygons:
          return "下标越界";
        case GphError::ShortPolygon:
          return kMsgGphClipReadFailed;
        default:
          return "文件访问错误";
      }
    case GphReader::CoordConversion:
      if (e == GphError::BadMagic) return kMsgGphConversion;
      if (e == GphError::WriteFailed) return kMsgConvCreateFailed;
      return kMsgConvReadFailed;
  }
  return {};
}

bool isProfileFile(const std::string& path) {
  std::ifstream in(resolvePath(path), std::ios::binary);
  if (!in) return false;
  // Characters 7 to 12 of the first line: the first 12 bytes, with no line break among them.
  char buf[12];
  in.read(buf, sizeof buf);
  std::string head(buf, static_cast<std::size_t>(in.gcount()));
  if (head.find_first_of("\r\n") != std::string::npos) return false;
  return magicMatches(head, "PROFA#") || magicMatches(head, "PROFB#");
}

}  // namespace sarnoth
