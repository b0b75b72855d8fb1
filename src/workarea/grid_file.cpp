#include "workarea/grid_file.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "workarea/grid_text.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth {

static_assert(std::endian::native == std::endian::little,
              "grid files are little-endian and are read and written as blocks");

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// Offsets of the header record, counted from the start of the file.
constexpr int kOffX0 = 32, kOffY0 = 36, kOffAngle = 40, kOffNote = 44, kOffNx = 72, kOffNy = 74,
              kOffDx = 76, kOffDy = 80, kOffNull = 84, kOffZMin = 88, kOffZMax = 92, kOffValid = 96;

template <typename T>
T get(const unsigned char* b, int off) {
  T v;
  std::memcpy(&v, b + off, sizeof v);
  return v;
}

template <typename T>
void put(unsigned char* b, int off, T v) {
  std::memcpy(b + off, &v, sizeof v);
}

std::int64_t fileSize(std::FILE* f) {
  if (std::fseek(f, 0, SEEK_END) != 0) return -1;
  long n = std::ftell(f);
  std::fseek(f, 0, SEEK_SET);
  return n;
}

// Reads the first 100 bytes into `h`; leaves the file after the header.
GridError readHeaderFrom(std::FILE* f, std::int64_t size, GridHeader& h) {
  unsigned char b[kGridHeaderSize] = {};
  if (size < kGridMagicSize) {
    // Too short even for a magic: the system's reader compares what it got and refuses.
    return GridError::BadMagic;
  }
  std::size_t got = std::fread(b, 1, kGridHeaderSize, f);
  h.magic.assign(reinterpret_cast<const char*>(b), kGridMagicSize);
  if (!gridMagicMatches(h.magic, kGridTagB)) return GridError::BadMagic;
  if (got < static_cast<std::size_t>(kGridHeaderSize)) return GridError::Truncated;
  h.method = readGbkField(
      std::string_view(reinterpret_cast<const char*>(b) + kGridMagicSize, kGridMethodSize));
  h.x0 = get<float>(b, kOffX0);
  h.y0 = get<float>(b, kOffY0);
  h.angle = get<float>(b, kOffAngle);
  h.note =
      readGbkField(std::string_view(reinterpret_cast<const char*>(b) + kOffNote, kGridNoteSize));
  h.nx = get<std::int16_t>(b, kOffNx);
  h.ny = get<std::int16_t>(b, kOffNy);
  h.dx = get<float>(b, kOffDx);
  h.dy = get<float>(b, kOffDy);
  h.nullValue = get<float>(b, kOffNull);
  h.zMin = get<float>(b, kOffZMin);
  h.zMax = get<float>(b, kOffZMax);
  h.validCount = get<std::int32_t>(b, kOffValid);
  if (h.nx <= 0 || h.ny <= 0) return GridError::BadHeader;
  if (!gridGeometryValid(h)) return GridError::BadSpacing;
  return GridError::None;
}

// One data node into the running extremes and the count.
void addToStats(GridHeader& h, float v) {
  if (v > h.zMax) h.zMax = v;
  if (v < h.zMin) h.zMin = v;
  ++h.validCount;
}

}  // namespace

bool gridGeometryValid(const GridHeader& h) {
  return gridSpacingValid(h.dx, h.dy) && std::isfinite(h.x0) && std::isfinite(h.y0) &&
         std::isfinite(h.angle);
}

std::string gridReadMessage(GridError error, const std::string& badMagic) {
  switch (error) {
    case GridError::None:
      return {};
    case GridError::BadMagic:
      return badMagic;
    case GridError::Truncated:
      return kMsgGridTruncated;
    case GridError::BadHeader:
    case GridError::BadSpacing:
      return kMsgGridBadHeader;
    case GridError::OpenFailed:
      return "打开输入文件错误。";
    case GridError::WriteFailed:
      return "打开输出文件错误。";
  }
  return badMagic;
}

bool gridMagicMatches(std::string_view magic, std::string_view tag) {
  return magic.size() >= 12 && magic.substr(6, 6) == tag;
}

GridReadResult readGridHeader(const std::string& path, bool requireNodes) {
  GridReadResult r;
  FilePtr f(std::fopen(resolvePath(path).c_str(), "rb"));
  if (!f) {
    r.error = GridError::OpenFailed;
    return r;
  }
  const std::int64_t size = fileSize(f.get());
  r.error = readHeaderFrom(f.get(), size, r.grid.header);
  const GridHeader& h = r.grid.header;
  if (r.ok() && requireNodes && size - kGridHeaderSize < static_cast<std::int64_t>(h.nx) * h.ny * 4)
    r.error = GridError::Truncated;
  return r;
}

GridReadResult readGrid(const std::string& path) {
  GridReadResult r;
  FilePtr f(std::fopen(resolvePath(path).c_str(), "rb"));
  if (!f) {
    r.error = GridError::OpenFailed;
    return r;
  }
  std::int64_t size = fileSize(f.get());
  r.error = readHeaderFrom(f.get(), size, r.grid.header);
  if (!r.ok()) return r;
  const GridHeader& h = r.grid.header;
  // The node count in 32 bits, as the system takes it (at most 32767² fits). The file must hold
  // them all before anything is allocated, so a garbled header never costs memory.
  std::int32_t n = static_cast<std::int32_t>(h.nx) * h.ny;
  if (size - kGridHeaderSize < static_cast<std::int64_t>(n) * 4) {
    r.error = GridError::Truncated;
    return r;
  }
  r.grid.nodes.resize(static_cast<std::size_t>(n));
  if (std::fread(r.grid.nodes.data(), 4, r.grid.nodes.size(), f.get()) != r.grid.nodes.size()) {
    r.grid.nodes.clear();
    r.error = GridError::Truncated;
  }
  return r;
}

bool writeGrid(const std::string& path, const std::string& magic, const std::string& method,
               const GridHeader& header, const std::vector<float>& nodes) {
  if (header.nx <= 0 || header.ny <= 0 || header.nx > kGridMaxSide || header.ny > kGridMaxSide ||
      nodes.size() != static_cast<std::size_t>(header.nx) * header.ny)
    return false;
  unsigned char b[kGridHeaderSize];
  std::string m = magic.substr(0, kGridMagicSize);
  m.append(kGridMagicSize - m.size(), ' ');
  std::memcpy(b, m.data(), kGridMagicSize);
  std::memcpy(b + kGridMagicSize, gbkFixedField(method, kGridMethodSize).data(), kGridMethodSize);
  put(b, kOffX0, header.x0);
  put(b, kOffY0, header.y0);
  put(b, kOffAngle, header.angle);
  std::memcpy(b + kOffNote, gbkFixedField(header.note, kGridNoteSize).data(), kGridNoteSize);
  put(b, kOffNx, static_cast<std::int16_t>(header.nx));
  put(b, kOffNy, static_cast<std::int16_t>(header.ny));
  put(b, kOffDx, header.dx);
  put(b, kOffDy, header.dy);
  put(b, kOffNull, header.nullValue);
  put(b, kOffZMin, header.zMin);
  put(b, kOffZMax, header.zMax);
  put(b, kOffValid, header.validCount);

  std::string target = resolvePath(path);
  std::FILE* f = std::fopen(target.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fwrite(b, 1, sizeof b, f) == sizeof b &&
            std::fwrite(nodes.data(), 4, nodes.size(), f) == nodes.size() &&
            std::fwrite(kGridEndMark, 1, 9, f) == 9;
  if (std::fclose(f) != 0) ok = false;
  if (!ok) {
    std::error_code ec;
    std::filesystem::remove(target, ec);
  }
  return ok;
}

void recomputeGridStats(GridHeader& header, const std::vector<float>& nodes) {
  header.zMin = 1e38f;
  header.zMax = -1e38f;
  header.validCount = 0;
  for (float v : nodes)
    if (v != NULL_VALUE) addToStats(header, v);
}

const char* gridErrorDetail(GridError error) {
  switch (error) {
    case GridError::None:
      return "";
    case GridError::OpenFailed:
      return "the file cannot be opened";
    case GridError::BadMagic:
      return "characters 7 to 12 of the magic are not \"GRIDB#\"";
    case GridError::Truncated:
      return "the file is shorter than the header or the nodes it announces";
    case GridError::BadHeader:
      return "the header holds a zero or negative column or row count";
    case GridError::BadSpacing:
      return "the header's spacing is not a positive number, or its origin is not finite";
    case GridError::WriteFailed:
      return "the file cannot be written";
  }
  return "";
}

const char* gridStatusText(int status) {
  switch (status) {
    case kGridOk:
      return "";
    case kGridOpenInputFailed:
      return "打开输入文件错误。";
    case kGridOpenOutputFailed:
      return "打开输出文件错误。";
    case kGridBadFormat:
      return "输入文件格式不正确错误。";
    case kGridWriteFailed:
      return "输出文件格式不正确错误。";
    default:
      return "文件转换错误。";
  }
}

int gridStatusOf(GridError error) {
  switch (error) {
    case GridError::None:
      return kGridOk;
    case GridError::OpenFailed:
      return kGridOpenInputFailed;
    case GridError::BadMagic:
      return kGridBadFormat;
    case GridError::WriteFailed:
      return kGridWriteFailed;
    default:
      return kGridConvertFailed;
  }
}

// --- ASCII grid ---------------------------------------------------------------------------------

namespace {

// A count read by stream input into a 16-bit integer: rounded, 1 to 32767, else the read fails.
bool toSide(double v, int& out) {
  if (!std::isfinite(v)) return false;
  double r = std::nearbyint(v);
  if (r < 1 || r > kGridMaxSide) return false;
  out = static_cast<int>(r);
  return true;
}

}  // namespace

int readAsciiGrid(const std::string& path, Grid& out, Progress& progress) {
  ItemReader in;
  if (!in.open(resolvePath(path))) return kGridOpenInputFailed;
  std::string magic, tag;
  if (!in.readText(magic)) return kGridBadFormat;
  if (magic.size() > kGridMagicSize) magic.resize(kGridMagicSize);
  if (!gridMagicMatches(magic, kGridTagA)) return kGridBadFormat;
  // The second item chooses the separator ("C…" comma, else blank); stream input takes either.
  if (!in.readText(tag)) return kGridConvertFailed;

  GridHeader h;
  h.magic = kGridMagicB;
  double nx = 0, ny = 0;
  float fileNull = NULL_VALUE, zMin = 0, zMax = 0;
  if (!in.readFloat(h.x0) || !in.readFloat(h.y0) || !in.readFloat(h.angle) || !in.readDouble(nx) ||
      !in.readDouble(ny) || !in.readFloat(h.dx) || !in.readFloat(h.dy) || !in.readFloat(fileNull) ||
      !in.readFloat(zMin) || !in.readFloat(zMax))
    return kGridConvertFailed;
  if (!toSide(nx, h.nx) || !toSide(ny, h.ny)) return kGridConvertFailed;
  if (!gridGeometryValid(h)) return kGridConvertFailed;
  // Every value takes a character and a separator: a header that promises more values than the
  // file can hold is refused before the nodes are allocated.
  std::int64_t n = static_cast<std::int64_t>(h.nx) * h.ny;
  if (n > in.remaining() / 2 + 1) return kGridConvertFailed;

  std::vector<float> nodes(static_cast<std::size_t>(n));
  progress.setMaximum(h.ny);
  h.zMax = -1e38f;
  h.zMin = 1e38f;
  h.validCount = 0;
  h.nullValue = NULL_VALUE;
  float* p = nodes.data();
  for (int r = 0; r < h.ny; ++r) {
    progress.setValue(r);
    for (int c = 0; c < h.nx; ++c, ++p) {
      float v;
      if (!in.readFloat(v)) {
        progress.setValue(0);
        return kGridConvertFailed;
      }
      if (v == fileNull || !std::isfinite(v)) {
        *p = NULL_VALUE;
      } else {
        addToStats(h, v);
        *p = v;
      }
    }
    if (!progress.pump()) {
      progress.setValue(0);
      return kGridConvertFailed;
    }
  }
  out.header = std::move(h);
  out.nodes = std::move(nodes);
  return kGridOk;
}

int convertAsciiGrid(const std::string& sourcePath, const std::string& targetPath,
                     Progress& progress, const std::string& method) {
  Grid g;
  int st = readAsciiGrid(sourcePath, g, progress);
  if (st != kGridOk) return st;
  g.header.method = method;
  std::string target = resolvePath(targetPath);
  {
    std::FILE* probe = std::fopen(target.c_str(), "ab");
    if (!probe) {
      progress.setValue(0);
      return kGridOpenOutputFailed;
    }
    std::fclose(probe);
  }
  bool ok = writeGrid(target, kGridMagicB, method, g.header, g.nodes);
  progress.setValue(0);
  return ok ? kGridOk : kGridWriteFailed;
}

int writeAsciiGrid(const std::string& path, const Grid& grid, Progress& progress,
                   const std::string& magic) {
  const GridHeader& h = grid.header;
  if (h.nx <= 0 || h.ny <= 0 || grid.nodes.size() != static_cast<std::size_t>(h.nx) * h.ny)
    return kGridConvertFailed;
  TextWriter w;
  if (!w.open(resolvePath(path))) return kGridOpenOutputFailed;
  w.text(magic).eol().text("C-Data").eol();
  w.num(h.x0).ch(',').num(h.y0).eol();
  w.num(h.angle).eol();
  w.integer(h.nx).ch(',').integer(h.ny).eol();
  w.num(h.dx).ch(',').num(h.dy).eol();
  w.num(h.nullValue).eol();
  w.num(h.zMin).ch(',').num(h.zMax).eol();
  progress.setMaximum(h.ny);
  const float* p = grid.nodes.data();
  for (int r = 0; r < h.ny; ++r) {
    progress.setValue(r);
    for (int c = 0; c < h.nx; ++c) {
      if (c) w.ch(',');
      w.num(*p++);
    }
    w.eol();
  }
  w.text(kGridEndMark).eol();
  progress.setValue(0);
  return w.close() ? kGridOk : kGridWriteFailed;
}

int convertGridToAscii(const std::string& sourcePath, const std::string& targetPath,
                       Progress& progress, const std::string& magic) {
  GridReadResult r = readGrid(sourcePath);
  if (!r.ok()) return gridStatusOf(r.error);
  return writeAsciiGrid(targetPath, r.grid, progress, magic);
}

}  // namespace sarnoth
