// scatter info|convert|export, gph info: the work area's scatter and coordinate files.
#include <algorithm>
#include <iostream>

#include "cli/cli.h"
#include "workarea/scatter_file.h"
#include "workarea/session.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

const char* kindName(ScatterKind k) {
  switch (k) {
    case ScatterKind::Binary:
      return "binary";
    case ScatterKind::Ascii:
      return "ascii";
    case ScatterKind::Vlq2:
      return "vlq2 (older format)";
    case ScatterKind::Csv:
      return "csv";
    default:
      return "unknown";
  }
}

std::vector<std::string> splitList(const std::string& s) {
  std::vector<std::string> out;
  std::size_t pos = 0;
  while (pos <= s.size()) {
    std::size_t c = s.find(',', pos);
    std::string item = s.substr(pos, c == std::string::npos ? std::string::npos : c - pos);
    if (!item.empty()) out.push_back(item);
    if (c == std::string::npos) break;
    pos = c + 1;
  }
  return out;
}

int readFailure(ScatterError e) { return failWith(scatterMessage(ScatterReader::ClipExternal, e)); }

// Writes `f` in the form named by `to`; `endMark` for the binary form.
int writeAs(const std::string& to, const std::string& path, const ScatterFile& f,
            const char* endMark, bool nullsEmpty) {
  ScatterError e = ScatterError::None;
  if (to == "binary" || to == "bin")
    e = writeBinaryScatter(path, asBinaryForm(f), endMark);
  else if (to == "ascii")
    e = writeAsciiScatter(path, asAsciiForm(f));
  else if (to == "mapgis")
    e = writeMapGisScatter(path, f);
  else if (to == "csv")
    e = writeCsvScatter(path, f, nullsEmpty);
  else
    return failWith("--to binary|ascii|mapgis|csv");
  if (e != ScatterError::None) return failWith(kMsgConvCreateFailed);
  std::cout << path << ": " << f.recordCount << " points, " << f.fieldCount() << " fields (" << to
            << ")\n";
  return 0;
}

int runScatter(Args& a) {
  std::string sub = a.pos(0);
  if (sub == "info") {
    std::string path = a.pos(1);
    if (path.empty()) return failWith("usage: sarnoth-cli scatter info FILE");
    ScatterKind kind = detectScatterKind(path);
    ScatterReadResult r = readScatter(path);
    if (!r.ok()) return readFailure(r.error);
    const ScatterFile& f = r.file;
    std::cout << "kind:        " << kindName(kind) << "\nmagic:       " << f.magic
              << "\norigin:      " << f.origin << "\npoints:      " << f.recordCount
              << "\nnull value:  " << floatText(f.nullValue) << "\nfields:      " << f.fieldCount()
              << "\n";
    for (int c = 0; c < f.fieldCount(); ++c) {
      float lo = 1e38f, hi = -1e38f;
      std::int64_t valid = 0;
      for (std::int64_t p = 0; p < f.recordCount; ++p) {
        float v = f.at(p, c);
        if (v == f.nullValue) continue;
        lo = std::min(lo, v);
        hi = std::max(hi, v);
        ++valid;
      }
      std::cout << "  " << f.names[static_cast<std::size_t>(c)] << "\t" << valid << " values";
      if (valid) std::cout << "\t" << floatText(lo) << " .. " << floatText(hi);
      std::cout << "\n";
    }
    return 0;
  }
  if (sub == "convert") {
    std::string in = a.pos(1), out = a.pos(2);
    std::string to = a.get("to");
    if (in.empty() || out.empty() || to.empty())
      return failWith(
          "usage: sarnoth-cli scatter convert IN OUT --to binary|ascii|mapgis|csv "
          "[--from csv] [--nulls-empty]");
    ScatterReadResult r = a.get("from") == "csv" ? readCsvScatter(in) : readScatter(in);
    if (!r.ok()) return readFailure(r.error);
    return writeAs(to, out, r.file, kEndData, a.has("nulls-empty"));
  }
  if (sub == "export") {
    std::string out = a.pos(1);
    std::string table = a.get("table");
    if (out.empty() || table.empty())
      return failWith(
          "usage: sarnoth-cli scatter export OUT --table T [--fields A,B,…] "
          "[--to binary|ascii|mapgis|csv] [--workarea DIR]");
    std::string work = workPath(a);
    if (work.empty()) return failWith(kRefusalText);
    try {
      Database db = openWorkDatabase(work);
      ScatterFile f = scatterFromTable(db, table, splitList(a.get("fields")));
      return writeAs(a.get("to", "binary"), out, f, kEndDataShort, a.has("nulls-empty"));
    } catch (const StoreError& e) {
      return failWith(e.what());
    }
  }
  return failWith("usage: sarnoth-cli scatter info|convert|export …  (--help for details)");
}

const char* gphKindName(GphKind k) {
  switch (k) {
    case GphKind::Point:
      return "point";
    case GphKind::Text:
      return "text";
    case GphKind::Area:
      return "area";
    case GphKind::Line:
      return "line";
  }
  return "";
}

int runGph(Args& a) {
  std::string sub = a.pos(0), path = a.pos(1);
  if (sub != "info" || path.empty())
    return failWith("usage: sarnoth-cli gph info FILE [--polygons]");
  if (a.has("polygons")) {
    PolygonReadResult p = readGphPolygons(path);
    if (!p.ok()) return failWith(gphMessage(GphReader::ClipGrid, p.error));
    std::cout << "polygons: " << p.polygons.polygonCount()
              << "\nvertices: " << p.polygons.vertexTotal() << "\n";
    return 0;
  }
  GphReadResult r = readGph(path);
  if (!r.ok()) return failWith(gphMessage(GphReader::CoordConversion, r.error));
  std::size_t counts[4] = {};
  std::size_t vertices = 0;
  double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
  for (const auto& e : r.file.elements) {
    ++counts[static_cast<int>(e.kind)];
    vertices += e.vertexCount();
    for (std::size_t v = 0; v < e.vertexCount(); ++v) {
      x0 = std::min(x0, e.xy[2 * v]);
      x1 = std::max(x1, e.xy[2 * v]);
      y0 = std::min(y0, e.xy[2 * v + 1]);
      y1 = std::max(y1, e.xy[2 * v + 1]);
    }
  }
  std::cout << "magic:     " << r.file.magic << "\nelements:  " << r.file.elements.size() << "\n";
  for (int k = 0; k < 4; ++k)
    std::cout << "  " << gphKindName(static_cast<GphKind>(k)) << "\t" << counts[k] << "\n";
  std::cout << "vertices:  " << vertices << "\n";
  if (vertices) std::cout << "extent:    " << x0 << " " << y0 << " .. " << x1 << " " << y1 << "\n";
  return 0;
}

CommandRegistrar regScatter{
    {"scatter", "scatter files (*.dat): info, convert between forms, export a table",
     "usage: sarnoth-cli scatter info FILE\n"
     "       sarnoth-cli scatter convert IN OUT --to binary|ascii|mapgis|csv [--from csv]\n"
     "                   [--nulls-empty]   (IN: binary, ASCII, older VLQ2SCAT or .csv)\n"
     "       sarnoth-cli scatter export OUT --table T [--fields A,B,…] [--to binary|ascii|…]\n"
     "                   [--workarea DIR]",
     runScatter}};
CommandRegistrar regGph{{"gph", "coordinate files (*.gph): info",
                         "usage: sarnoth-cli gph info FILE [--polygons]\n"
                         "  --polygons reads the file as the clipping tool reads its polygons",
                         runGph}};

}  // namespace
}  // namespace sarnoth::cli
