#include "workarea/grid_exchange.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

#include "workarea/grid_text.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth {

namespace {

bool shapeOk(const Grid& g) {
  const GridHeader& h = g.header;
  return h.nx > 0 && h.ny > 0 && g.nodes.size() == static_cast<std::size_t>(h.nx) * h.ny;
}

// A count read into a 16-bit integer: rounded, 1 to 32767.
bool toSide(double v, int& out) {
  if (!std::isfinite(v)) return false;
  double r = std::nearbyint(v);
  if (r < 1 || r > kGridMaxSide) return false;
  out = static_cast<int>(r);
  return true;
}

// Every text value takes at least a character and a separator.
bool fitsInText(const ItemReader& in, int nx, int ny) {
  return static_cast<std::int64_t>(nx) * ny <= in.remaining() / 2 + 1;
}

int finish(TextWriter& w, Progress& progress) {
  progress.setValue(0);
  return w.close() ? kGridOk : kGridWriteFailed;
}

int writeImported(const std::string& target, const char* magic, const char* method, Grid& g) {
  g.header.magic = magic;
  g.header.method = method;
  return writeGrid(target, magic, method, g.header, g.nodes) ? kGridOk : kGridOpenOutputFailed;
}

// One value per line in node order: the body of both flat exports.
void writeFlatValues(TextWriter& w, const Grid& g, Progress& progress) {
  progress.setMaximum(g.header.ny);
  const float* p = g.nodes.data();
  for (int r = 0; r < g.header.ny; ++r) {
    progress.setValue(r);
    for (int c = 0; c < g.header.nx; ++c) w.num(*p++).eol();
  }
}

}  // namespace

// --- Surfer DSAA ---------------------------------------------------------------------------------

int readSurferGrid(const std::string& path, Grid& out, Progress& progress) {
  ItemReader in;
  if (!in.open(resolvePath(path))) return kGridOpenInputFailed;
  std::string tag;
  if (!in.readText(tag) || tag.compare(0, 4, "DSAA") != 0) return kGridBadFormat;
  GridHeader h;
  double nx = 0, ny = 0;
  float xmin, xmax, ymin, ymax;
  if (!in.readDouble(nx) || !in.readDouble(ny) || !in.readFloat(xmin) || !in.readFloat(xmax) ||
      !in.readFloat(ymin) || !in.readFloat(ymax) || !in.readFloat(h.zMin) || !in.readFloat(h.zMax))
    return kGridConvertFailed;
  if (!toSide(nx, h.nx) || !toSide(ny, h.ny)) return kGridConvertFailed;
  // A single column or row: the spacing divides by zero.
  if (h.nx == 1 || h.ny == 1) return kGridConvertFailed;
  h.dx = (xmax - xmin) / static_cast<float>(h.nx - 1);
  h.dy = (ymax - ymin) / static_cast<float>(h.ny - 1);
  h.x0 = xmin;
  h.y0 = ymin;
  // Equal or reversed bounds, or bounds beyond the single range, give no spacing.
  if (!gridGeometryValid(h)) return kGridConvertFailed;
  h.angle = 0;
  h.nullValue = NULL_VALUE;
  h.validCount = 0;
  if (!fitsInText(in, h.nx, h.ny)) return kGridConvertFailed;
  std::vector<float> nodes(static_cast<std::size_t>(h.nx) * h.ny);
  progress.setMaximum(h.ny);
  float* p = nodes.data();
  for (int r = 0; r < h.ny; ++r) {
    progress.setValue(r);
    for (int c = 0; c < h.nx; ++c, ++p) {
      if (!in.readFloat(*p)) {
        progress.setValue(0);
        return kGridConvertFailed;
      }
      if (*p == kSurferBlank || !std::isfinite(*p))
        *p = NULL_VALUE;
      else
        ++h.validCount;
    }
    if (!progress.pump()) return kGridConvertFailed;
  }
  progress.setValue(0);
  out.header = std::move(h);
  out.nodes = std::move(nodes);
  return kGridOk;
}

int importSurferGrid(const std::string& sourcePath, const std::string& targetPath,
                     Progress& progress) {
  Grid g;
  int st = readSurferGrid(sourcePath, g, progress);
  if (st != kGridOk) return st;
  return writeImported(resolvePath(targetPath), kGridMagicImport, kMethodSurfer, g);
}

int writeSurferGrid(const std::string& path, const Grid& g, Progress& progress) {
  if (!shapeOk(g)) return kGridConvertFailed;
  const GridHeader& h = g.header;
  TextWriter w;
  if (!w.open(resolvePath(path))) return kGridOpenOutputFailed;
  float xmax = h.x0 + static_cast<float>(h.nx - 1) * h.dx;
  float ymax = h.y0 + static_cast<float>(h.ny - 1) * h.dy;
  w.text("DSAA").eol();
  w.integer(h.nx).ch(' ').integer(h.ny).eol();
  w.num(h.x0).ch(' ').num(xmax).eol();
  w.num(h.y0).ch(' ').num(ymax).eol();
  w.num(h.zMin).ch(' ').num(h.zMax).eol();
  progress.setMaximum(h.ny);
  const float* p = g.nodes.data();
  for (int r = 0; r < h.ny; ++r) {
    progress.setValue(r);
    for (int c = 0; c < h.nx; ++c, ++p) {
      if (c) w.ch(' ');
      w.num(*p == NULL_VALUE ? kSurferBlank : *p);
    }
    w.eol();
  }
  return finish(w, progress);
}

// --- ArcView ASCII -------------------------------------------------------------------------------

namespace {

// Header keys of an ArcView ASCII grid, compared case-blind as GIS programs read them.
enum class ArcKey {
  None,
  Ncols,
  Nrows,
  XllCorner,
  YllCorner,
  XllCenter,
  YllCenter,
  CellSize,
  Dx,
  Dy,
  NoData
};

ArcKey arcKey(std::string word) {
  for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  static const std::pair<const char*, ArcKey> kKeys[] = {{"ncols", ArcKey::Ncols},
                                                         {"nrows", ArcKey::Nrows},
                                                         {"xllcorner", ArcKey::XllCorner},
                                                         {"yllcorner", ArcKey::YllCorner},
                                                         {"xllcenter", ArcKey::XllCenter},
                                                         {"yllcenter", ArcKey::YllCenter},
                                                         {"cellsize", ArcKey::CellSize},
                                                         {"dx", ArcKey::Dx},
                                                         {"dy", ArcKey::Dy},
                                                         {"nodata_value", ArcKey::NoData},
                                                         {"nodata", ArcKey::NoData}};
  for (const auto& [k, key] : kKeys)
    if (word == k) return key;
  return ArcKey::None;
}

}  // namespace

int readArcViewGrid(const std::string& path, Grid& out, Progress& progress, ArcOrigin origin) {
  ItemReader in;
  if (!in.open(resolvePath(path))) return kGridOpenInputFailed;
  double ncols = -1, nrows = -1, xll = 0, yll = 0, cell = -1, dx = -1, dy = -1;
  bool xCentre = false, yCentre = false, haveNull = false;
  float fileNull = 0;
  // Header lines stand as long as a line begins with a known key: six as the system writes
  // them, seven with "dx" and "dy" in place of "cellsize", five without a null line. A data
  // row may begin with a word too ("nan"), so the key decides, not the first letter.
  for (int line = 0; line < 12; ++line) {
    ArcKey key = arcKey(in.peekWord());
    if (line == 0 && key != ArcKey::Ncols) return kGridBadFormat;
    if (key == ArcKey::None) break;
    std::string text;
    if (!in.readLine(text)) return kGridConvertFailed;
    std::istringstream ls(text);
    std::string word, value;
    ls >> word >> value;
    char* end = nullptr;
    double v = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0') return kGridConvertFailed;
    switch (key) {
      case ArcKey::Ncols:
        ncols = v;
        break;
      case ArcKey::Nrows:
        nrows = v;
        break;
      case ArcKey::XllCorner:
        xll = v;
        xCentre = false;
        break;
      case ArcKey::XllCenter:
        xll = v;
        xCentre = true;
        break;
      case ArcKey::YllCorner:
        yll = v;
        yCentre = false;
        break;
      case ArcKey::YllCenter:
        yll = v;
        yCentre = true;
        break;
      case ArcKey::CellSize:
        cell = v;
        break;
      case ArcKey::Dx:
        dx = v;
        break;
      case ArcKey::Dy:
        dy = v;
        break;
      case ArcKey::NoData:
        fileNull = static_cast<float>(v);
        haveNull = true;
        break;
      case ArcKey::None:
        break;
    }
  }
  GridHeader h;
  if (!toSide(ncols, h.nx) || !toSide(nrows, h.ny)) return kGridConvertFailed;
  if (dx < 0) dx = cell;
  if (dy < 0) dy = cell;
  if (!(std::isfinite(dx) && dx > 0) || !(std::isfinite(dy) && dy > 0)) return kGridConvertFailed;
  if (!std::isfinite(xll) || !std::isfinite(yll)) return kGridConvertFailed;
  h.dx = static_cast<float>(dx);
  h.dy = static_cast<float>(dy);
  if (!gridSpacingValid(h.dx, h.dy)) return kGridConvertFailed;
  // "xllcorner" sets x0 as the system reads it; the GIS reading takes it as the outer corner of
  // the lower-left cell, half a cell outside the node. "xllcenter" is the node either way.
  bool shift = origin == ArcOrigin::CellCorner;
  h.x0 = static_cast<float>(shift && !xCentre ? xll + dx / 2 : xll);
  h.y0 = static_cast<float>(shift && !yCentre ? yll + dy / 2 : yll);
  h.angle = 0;
  h.nullValue = NULL_VALUE;
  h.zMin = 1e30f;
  h.zMax = -1e30f;
  h.validCount = 0;
  if (!fitsInText(in, h.nx, h.ny)) return kGridConvertFailed;
  std::vector<float> nodes(static_cast<std::size_t>(h.nx) * h.ny);
  progress.setMaximum(h.ny);
  // Rows stand from north to south: the first row of the file is the top row of the grid.
  for (int r = h.ny - 1; r >= 0; --r) {
    progress.setValue(h.ny - 1 - r);
    float* p = nodes.data() + static_cast<std::size_t>(r) * h.nx;
    for (int c = 0; c < h.nx; ++c, ++p) {
      if (!in.readFloat(*p)) {
        progress.setValue(0);
        return kGridConvertFailed;
      }
      // NaN and infinities are no data, whatever the null value says (a "nan" null included).
      if ((haveNull && *p == fileNull) || !std::isfinite(*p)) {
        *p = NULL_VALUE;
      } else {
        if (*p < h.zMin) h.zMin = *p;
        if (*p > h.zMax) h.zMax = *p;
        ++h.validCount;
      }
    }
    if (!progress.pump()) return kGridConvertFailed;
  }
  progress.setValue(0);
  out.header = std::move(h);
  out.nodes = std::move(nodes);
  return kGridOk;
}

int importArcViewGrid(const std::string& sourcePath, const std::string& targetPath,
                      Progress& progress, ArcOrigin origin) {
  Grid g;
  int st = readArcViewGrid(sourcePath, g, progress, origin);
  if (st != kGridOk) return st;
  return writeImported(resolvePath(targetPath), kGridMagicImport, kMethodArcView, g);
}

int writeArcViewAscii(const std::string& path, const Grid& g, Progress& progress) {
  if (!shapeOk(g)) return kGridConvertFailed;
  const GridHeader& h = g.header;
  TextWriter w;
  if (!w.open(resolvePath(path))) return kGridOpenOutputFailed;
  // The lower-left node as "xllcenter"/"yllcenter": a node position that GIS programs and both
  // readings of our import take alike, so the grid keeps its place everywhere.
  w.text("ncols        ").integer(h.nx).eol();
  w.text("nrows        ").integer(h.ny).eol();
  w.text("xllcenter    ").num(h.x0).eol();
  w.text("yllcenter    ").num(h.y0).eol();
  if (h.dx == h.dy) {
    w.text("cellsize     ").num(h.dx).eol();
  } else {
    // Unequal spacings as GDAL writes and reads them.
    w.text("dx           ").num(h.dx).eol();
    w.text("dy           ").num(h.dy).eol();
  }
  w.text("NODATA_value ").num(NULL_VALUE).eol();
  progress.setMaximum(h.ny);
  for (int r = h.ny - 1; r >= 0; --r) {
    progress.setValue(h.ny - 1 - r);
    const float* p = g.nodes.data() + static_cast<std::size_t>(r) * h.nx;
    for (int c = 0; c < h.nx; ++c) {
      if (c) w.ch(' ');
      w.num(p[c]);
    }
    w.eol();
  }
  return finish(w, progress);
}

// --- flat exports and scatter text --------------------------------------------------------------

int writeArcViewFlat(const std::string& path, const Grid& g, Progress& progress) {
  if (!shapeOk(g)) return kGridConvertFailed;
  const GridHeader& h = g.header;
  TextWriter w;
  if (!w.open(resolvePath(path))) return kGridOpenOutputFailed;
  w.integer(h.nx).ch(',').integer(h.ny).ch(',');
  w.num(static_cast<float>(h.nx - 1) * h.dx).ch(',').num(static_cast<float>(h.ny - 1) * h.dy);
  w.ch('2').eol();
  writeFlatValues(w, g, progress);
  return finish(w, progress);
}

int writeMapgisGrid(const std::string& path, const Grid& g, Progress& progress) {
  if (!shapeOk(g)) return kGridConvertFailed;
  const GridHeader& h = g.header;
  TextWriter w;
  if (!w.open(resolvePath(path))) return kGridOpenOutputFailed;
  w.integer(h.nx).ch(',').integer(h.ny).ch(',').num(h.x0).ch(',').num(h.y0).eol();
  writeFlatValues(w, g, progress);
  return finish(w, progress);
}

int writeGridScatterAscii(const std::string& path, const Grid& g, Progress& progress) {
  if (!shapeOk(g)) return kGridConvertFailed;
  const GridHeader& h = g.header;
  TextWriter w;
  if (!w.open(resolvePath(path))) return kGridOpenOutputFailed;
  w.text("#SRNTHSCATA#").eol().text("C-Data").eol();
  w.integer(static_cast<long long>(h.nx) * h.ny).eol();
  w.text(NULL_TEXT).eol().text("3").eol().text("XX,YY,VV").eol();
  progress.setMaximum(h.ny);
  const float* p = g.nodes.data();
  for (int r = 0; r < h.ny; ++r) {
    progress.setValue(r);
    float y = h.y0 + static_cast<float>(r) * h.dy;
    for (int c = 0; c < h.nx; ++c) {
      float x = h.x0 + static_cast<float>(c) * h.dx;
      w.num(x).ch(',').num(y).ch(',').num(*p++).eol();
    }
  }
  w.text("#ENDDATA#").eol();
  return finish(w, progress);
}

// --- VLQ2GRID ------------------------------------------------------------------------------------

namespace {

constexpr int kVlq2Header = 50;  // the numbers start at position 51
constexpr int kVlq2NoteSize = 22;
constexpr int kVlq2Nodes = kVlq2Header + 36 + kVlq2NoteSize;

template <typename T>
T getAt(const unsigned char* b, int off) {
  T v;
  std::memcpy(&v, b + off, sizeof v);
  return v;
}

}  // namespace

int readVlq2Grid(const std::string& path, Grid& out) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(resolvePath(path).c_str(), "rb"),
                                                    &std::fclose);
  if (!f) return kGridOpenInputFailed;
  unsigned char b[kVlq2Nodes] = {};
  std::size_t got = std::fread(b, 1, sizeof b, f.get());
  if (got < 8 || std::memcmp(b, "VLQ2GRID", 8) != 0) return kGridBadFormat;
  if (got < sizeof b) return kGridConvertFailed;
  const unsigned char* p = b + kVlq2Header;
  GridHeader h;
  h.x0 = getAt<float>(p, 0);
  h.y0 = getAt<float>(p, 4);
  h.angle = getAt<float>(p, 8);
  h.nx = getAt<std::int16_t>(p, 12);
  h.ny = getAt<std::int16_t>(p, 14);
  h.dx = getAt<float>(p, 16);
  h.dy = getAt<float>(p, 20);
  float fileNull = getAt<float>(p, 24);
  h.note = readGbkField(std::string_view(reinterpret_cast<const char*>(p) + 36, kVlq2NoteSize));
  if (h.nx <= 0 || h.ny <= 0 || !gridGeometryValid(h)) return kGridConvertFailed;
  std::size_t n = static_cast<std::size_t>(h.nx) * h.ny;
  std::fseek(f.get(), 0, SEEK_END);
  long size = std::ftell(f.get());
  if (size < 0 || static_cast<std::size_t>(size) < kVlq2Nodes + 4 * n) return kGridConvertFailed;
  std::fseek(f.get(), kVlq2Nodes, SEEK_SET);
  std::vector<float> nodes(n);
  if (std::fread(nodes.data(), 4, n, f.get()) != n) return kGridConvertFailed;
  for (float& v : nodes)
    if (v == fileNull || !std::isfinite(v)) v = NULL_VALUE;
  h.nullValue = NULL_VALUE;
  recomputeGridStats(h, nodes);
  out.header = std::move(h);
  out.nodes = std::move(nodes);
  return kGridOk;
}

int importVlq2Grid(const std::string& sourcePath, const std::string& targetPath) {
  Grid g;
  int st = readVlq2Grid(sourcePath, g);
  if (st != kGridOk) return st;
  return writeImported(resolvePath(targetPath), kGridMagicVlq30, kMethodVlq2, g);
}

// --- detection -----------------------------------------------------------------------------------

GridFormat detectGridFormat(const std::string& path) {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(resolvePath(path).c_str(), "rb"),
                                                    &std::fclose);
  if (!f) return GridFormat::Unknown;
  char b[64] = {};
  std::size_t got = std::fread(b, 1, sizeof b, f.get());
  std::string_view s(b, got);
  if (s.substr(0, 3) == "\xEF\xBB\xBF") s.remove_prefix(3);
  if (s.substr(0, 8) == "VLQ2GRID") return GridFormat::Vlq2;
  if (gridMagicMatches(s, kGridTagB)) return GridFormat::Binary;
  std::size_t start = s.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return GridFormat::Unknown;
  s.remove_prefix(start);
  if (gridMagicMatches(s, kGridTagA)) return GridFormat::Ascii;
  if (s.substr(0, 4) == "DSAA") return GridFormat::Surfer;
  if (s.size() >= 5 && arcKey(std::string(s.substr(0, 5))) == ArcKey::Ncols)
    return GridFormat::ArcViewAscii;
  return GridFormat::Unknown;
}

}  // namespace sarnoth
