#include "datatools/data_convert.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <gdal.h>
#include <gdal_alg.h>
#include <gdal_utils.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>

#include "workarea/grid_exchange.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"

namespace sarnoth {
namespace fs = std::filesystem;
namespace {

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string lowerExt(const std::string& path) { return lower(fs::path(path).extension().string()); }

const char* scatterErrorText(ScatterError e) {
  switch (e) {
    case ScatterError::None:
      return "";
    case ScatterError::OpenFailed:
      return kConvOpenInput;
    case ScatterError::WriteFailed:
      return kConvOpenOutput;
    case ScatterError::BadMagic:
    case ScatterError::BadHeader:
      return kConvBadInput;
    case ScatterError::Truncated:
    case ScatterError::BadNumber:
    case ScatterError::ShortRow:
      return kConvFailed;
  }
  return kConvFailed;
}

// A scatter file held whole; its points are the rows.
class ScatterSource : public RowSource {
 public:
  explicit ScatterSource(ScatterFile f) : f_(std::move(f)) {
    // Blank or repeated names would make columns the store cannot hold apart.
    header_ = f_.names;
    makeColumnNamesUnique(header_);
  }
  const std::vector<std::string>& header() const override { return header_; }
  std::vector<FieldDef> declaredTypes() const override {
    std::vector<FieldDef> t;
    for (const auto& h : header_) t.push_back({h, JetType::Single, 0});
    return t;
  }
  bool next(std::vector<std::string>& cells) override {
    if (row_ >= f_.recordCount) return false;
    cells.resize(header_.size());
    for (int c = 0; c < f_.fieldCount(); ++c) {
      float v = f_.at(row_, c);
      // The file's own null, whatever it is, is the store's -1E+38.
      // NaN and infinities hold no data either.
      cells[static_cast<std::size_t>(c)] =
          v == f_.nullValue || !std::isfinite(v) ? NULL_TEXT : floatText(v);
    }
    ++row_;
    return true;
  }
  void rewind() override { row_ = 0; }
  std::int64_t approxRows() const override { return f_.recordCount; }

 private:
  ScatterFile f_;
  std::vector<std::string> header_;
  std::int64_t row_ = 0;
};

void ensureGdal() {
  static const bool once = [] {
    GDALAllRegister();
    return true;
  }();
  (void)once;
}

// Keeps GDAL from leaving .aux.xml files beside what it writes, for the length of a job.
struct NoSideFiles {
  NoSideFiles() { CPLSetThreadLocalConfigOption("GDAL_PAM_ENABLED", "NO"); }
  ~NoSideFiles() { CPLSetThreadLocalConfigOption("GDAL_PAM_ENABLED", nullptr); }
};

int progressHook(double done, const char*, void* arg) {
  auto* p = static_cast<Progress*>(arg);
  p->setValue(static_cast<std::int64_t>(done * 100.0));
  return p->pump() ? TRUE : FALSE;
}

// A colour image reduced to one band with a 256-colour palette, in memory, for the GIF driver.
GDALDatasetH paletteCopy(GDALDatasetH rgb) {
  const int w = GDALGetRasterXSize(rgb), h = GDALGetRasterYSize(rgb);
  GDALDriverH mem = GDALGetDriverByName("MEM");
  if (!mem) return nullptr;
  GDALDatasetH out = GDALCreate(mem, "", w, h, 1, GDT_Byte, nullptr);
  if (!out) return nullptr;
  GDALRasterBandH r = GDALGetRasterBand(rgb, 1), g = GDALGetRasterBand(rgb, 2),
                  b = GDALGetRasterBand(rgb, 3);
  GDALColorTableH ct = GDALCreateColorTable(GPI_RGB);
  bool ok =
      GDALComputeMedianCutPCT(r, g, b, nullptr, 256, ct, nullptr, nullptr) == CE_None &&
      GDALDitherRGB2PCT(r, g, b, GDALGetRasterBand(out, 1), ct, nullptr, nullptr) == CE_None &&
      GDALSetRasterColorTable(GDALGetRasterBand(out, 1), ct) == CE_None;
  GDALDestroyColorTable(ct);
  if (!ok) {
    GDALClose(out);
    return nullptr;
  }
  return out;
}

Outcome gridStatusOutcome(int st, const std::string& detail) {
  if (st == kGridOk) return Outcome::success();
  return Outcome::failure(std::string(gridStatusText(st)) +
                          (detail.empty() ? "" : " (" + detail + ")"));
}

}  // namespace

// ---- scatter files as tables ------------------------------------------------------------------

bool isScatterFile(const std::string& path) {
  ScatterKind k = detectScatterKind(path);
  return k == ScatterKind::Binary || k == ScatterKind::Ascii || k == ScatterKind::Vlq2;
}

std::unique_ptr<RowSource> openScatterSource(const std::string& path, std::string& error) {
  if (!isScatterFile(path)) {
    error = pathExists(path) ? kConvBadInput : kConvOpenInput;
    return nullptr;
  }
  ScatterReadResult r = readScatter(path);
  if (!r.ok()) {
    error = scatterErrorText(r.error);
    return nullptr;
  }
  if (r.file.fieldCount() == 0) {
    error = "文件中没有数据";
    return nullptr;
  }
  return std::make_unique<ScatterSource>(std::move(r.file));
}

std::unique_ptr<RowSource> openTableFile(const std::string& path, const std::string& layer,
                                         const DelimitedOptions& opt, std::string& error) {
  if (isScatterFile(path)) return openScatterSource(path, error);
  return openSource(path, layer, opt, error);
}

// ---- table export -----------------------------------------------------------------------------

bool parseSaveFormat(const std::string& word, SaveFormat& format) {
  static const std::pair<const char*, SaveFormat> kWords[] = {
      {"csv", SaveFormat::Csv},
      {"xlsx", SaveFormat::Xlsx},
      {"dbf", SaveFormat::Dbf},
      {"scatter-binary", SaveFormat::ScatterBinary},
      {"scatter-ascii", SaveFormat::ScatterAscii}};
  for (const auto& [w, f] : kWords)
    if (lower(word) == w) {
      format = f;
      return true;
    }
  return false;
}

SaveFormat saveFormatForPath(const std::string& path) {
  std::string e = lowerExt(path);
  return e == ".xlsx" ? SaveFormat::Xlsx : e == ".dbf" ? SaveFormat::Dbf : SaveFormat::Csv;
}

Outcome exportTableAsScatter(Database& db, const std::string& table, const std::string& path,
                             const SaveOptions& opt, std::int64_t* points) {
  if (opt.format != SaveFormat::ScatterBinary && opt.format != SaveFormat::ScatterAscii)
    return Outcome::failure(kConvBadOutput);
  ScatterFile f;
  try {
    f = scatterFromTable(db, table, opt.fields);
  } catch (const StoreError& e) {
    return Outcome::failure(e.what());
  }
  // A scatter file holds floats only: "nulls empty" leaves out the points holding a null.
  std::int64_t left = 0;
  if (opt.nullsEmpty && f.fieldCount() > 0) {
    const std::size_t w = static_cast<std::size_t>(f.fieldCount());
    std::size_t kept = 0;
    for (std::int64_t r = 0; r < f.recordCount; ++r) {
      const float* p = f.values.data() + static_cast<std::size_t>(r) * w;
      if (std::any_of(p, p + w, [&f](float v) { return v == f.nullValue; })) {
        ++left;
        continue;
      }
      std::copy(p, p + w, f.values.begin() + static_cast<std::ptrdiff_t>(kept * w));
      ++kept;
    }
    f.values.resize(kept * w);
    f.recordCount = static_cast<std::int32_t>(kept);
  }
  ScatterError e = opt.format == SaveFormat::ScatterBinary
                       ? writeBinaryScatter(path, f, kEndDataShort)
                       : writeAsciiScatter(path, asAsciiForm(f));
  if (e != ScatterError::None) return Outcome::failure(kConvOpenOutput);
  if (points) *points = f.recordCount;
  return Outcome::success(left ? "有 " + std::to_string(left) + " 个含空值的点未写出." : "");
}

Outcome saveTableAs(Database& db, const std::string& table, const std::string& path,
                    const SaveOptions& opt, Progress& progress, std::int64_t* rows) {
  if (table.empty()) return Outcome::failure("请选择数据表.");
  if (path.empty()) return Outcome::failure("请给定保存数据文件名。");
  if (!db.tableExists(table)) return Outcome::failure("数据表不存在: " + table);
  if (opt.format == SaveFormat::ScatterBinary || opt.format == SaveFormat::ScatterAscii)
    return exportTableAsScatter(db, table, path, opt, rows);
  ExportOptions e;
  e.format = opt.format == SaveFormat::Xlsx  ? ExportFormat::Xlsx
             : opt.format == SaveFormat::Dbf ? ExportFormat::Dbf
                                             : ExportFormat::Csv;
  e.nullsEmpty = opt.nullsEmpty;
  e.delimiter = opt.delimiter;
  e.encoding = opt.encoding;
  e.crlf = opt.crlf;
  return exportTable(db, table, path, e, progress, rows);
}

// ---- image conversion -------------------------------------------------------------------------

const char* imageDriver(ImageFormat f) {
  switch (f) {
    case ImageFormat::Bmp:
      return "BMP";
    case ImageFormat::Png:
      return "PNG";
    case ImageFormat::Jpeg:
      return "JPEG";
    case ImageFormat::Tiff:
      return "GTiff";
    case ImageFormat::Gif:
      return "GIF";
  }
  return "";
}

const char* imageExtension(ImageFormat f) {
  switch (f) {
    case ImageFormat::Bmp:
      return ".bmp";
    case ImageFormat::Png:
      return ".png";
    case ImageFormat::Jpeg:
      return ".jpg";
    case ImageFormat::Tiff:
      return ".tif";
    case ImageFormat::Gif:
      return ".gif";
  }
  return "";
}

bool parseImageFormat(const std::string& wordIn, ImageFormat& f) {
  std::string w = lower(wordIn);
  if (!w.empty() && w[0] == '.') w.erase(0, 1);
  if (w == "bmp")
    f = ImageFormat::Bmp;
  else if (w == "png")
    f = ImageFormat::Png;
  else if (w == "jpg" || w == "jpeg")
    f = ImageFormat::Jpeg;
  else if (w == "tif" || w == "tiff" || w == "gtiff")
    f = ImageFormat::Tiff;
  else if (w == "gif")
    f = ImageFormat::Gif;
  else
    return false;
  return true;
}

Outcome convertImage(const std::string& source, const std::string& targetIn, ImageFormat format,
                     Progress& progress) {
  ensureGdal();
  NoSideFiles noAux;
  const std::string src = resolvePath(source);
  const std::string target = resolvePath(targetIn);
  if (src == target) return Outcome::failure(kConvOpenOutput);
  GDALDatasetH ds =
      GDALOpenEx(src.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr);
  if (!ds) return Outcome::failure(pathExists(source) ? kConvBadInput : kConvOpenInput);
  const int bands = GDALGetRasterCount(ds);
  if (bands < 1 || GDALGetRasterXSize(ds) < 1 || GDALGetRasterYSize(ds) < 1) {
    GDALClose(ds);
    return Outcome::failure(kConvBadInput);
  }
  GDALRasterBandH first = GDALGetRasterBand(ds, 1);
  const GDALDataType type = GDALGetRasterDataType(first);
  const bool palette = bands == 1 && GDALGetRasterColorTable(first) != nullptr;
  const bool wideOk =
      (format == ImageFormat::Png && type == GDT_UInt16) || format == ImageFormat::Tiff;

  // What the target driver takes: the band list, the sample type, palettes.
  int keep = bands;
  switch (format) {
    case ImageFormat::Bmp:
    case ImageFormat::Jpeg:
      keep = bands >= 3 ? 3 : 1;
      break;
    case ImageFormat::Png:
      keep = bands > 4 ? 3 : bands;
      break;
    case ImageFormat::Gif:
      keep = bands >= 3 ? 3 : 1;
      break;
    case ImageFormat::Tiff:
      break;
  }
  // A colour GIF goes through memory first; the palette is made from the bands there.
  const bool reduce = format == ImageFormat::Gif && keep == 3;
  CPLStringList args;
  args.AddString("-of");
  args.AddString(reduce ? "MEM" : imageDriver(format));
  if (keep != bands)
    for (int b = 1; b <= keep; ++b) {
      args.AddString("-b");
      args.AddString(std::to_string(b).c_str());
    }
  if (type != GDT_Byte && !wideOk) {
    args.AddString("-ot");
    args.AddString("Byte");
    args.AddString("-scale");
  }
  if (palette && format == ImageFormat::Jpeg) {
    args.AddString("-expand");
    args.AddString("rgb");
  }
  GDALTranslateOptions* opts = GDALTranslateOptionsNew(args.List(), nullptr);
  if (!opts) {
    GDALClose(ds);
    return Outcome::failure(kConvFailed);
  }
  GDALTranslateOptionsSetProgress(opts, progressHook, &progress);
  progress.setMaximum(100);
  std::error_code ec;
  fs::remove(target, ec);  // overwritten without a question
  CPLErrorReset();
  GDALDatasetH out = GDALTranslate(reduce ? "" : target.c_str(), ds, opts, nullptr);
  GDALTranslateOptionsFree(opts);
  if (out && reduce) {
    GDALDatasetH pct = paletteCopy(out);
    GDALClose(out);
    out = nullptr;
    if (pct) {
      GDALDriverH gif = GDALGetDriverByName("GIF");
      out = gif ? GDALCreateCopy(gif, target.c_str(), pct, FALSE, nullptr, progressHook, &progress)
                : nullptr;
      GDALClose(pct);
    }
  }
  GDALClose(ds);
  progress.setValue(0);
  if (!out) {
    std::string why = CPLGetLastErrorMsg();
    fs::remove(target, ec);
    return Outcome::failure(std::string(kConvFailed) + (why.empty() ? "" : " (" + why + ")"));
  }
  GDALClose(out);
  return Outcome::success(target);
}

// ---- data conversion --------------------------------------------------------------------------

DataKind detectDataKind(const std::string& path) {
  if (!pathExists(path)) return DataKind::Unknown;
  if (isScatterFile(path)) return DataKind::Scatter;
  if (detectGridFormat(path) != GridFormat::Unknown) return DataKind::Grid;
  if (lowerExt(path) == ".csv") return DataKind::Scatter;
  ensureGdal();
  NoSideFiles noAux;
  const std::string p = resolvePath(path);
  CPLPushErrorHandler(CPLQuietErrorHandler);
  GDALDatasetH ds =
      GDALOpenEx(p.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr);
  CPLPopErrorHandler();
  if (!ds) return DataKind::Unknown;
  GDALClose(ds);
  return DataKind::Grid;
}

const std::vector<ConvertChoice>& conversionChoices() {
  static const std::vector<ConvertChoice> kChoices = {
      {ConvertTarget::GridBinary, DataKind::Grid, "网格数据(二进制)", ".grd", "binary"},
      {ConvertTarget::GridAscii, DataKind::Grid, "网格数据(ASCII)", ".grd", "ascii"},
      {ConvertTarget::GridSurfer, DataKind::Grid, "Surfer网格数据", ".grd", "surfer"},
      {ConvertTarget::GridArcViewAscii, DataKind::Grid, "ArcView ASCII网格数据", ".asc",
       "arcview-ascii"},
      {ConvertTarget::GridArcViewFlat, DataKind::Grid, "ArcView网格数据", ".txt", "arcview-flat"},
      {ConvertTarget::GridMapgis, DataKind::Grid, "MapGIS网格数据", ".txt", "mapgis"},
      {ConvertTarget::GridScatterAscii, DataKind::Grid, "离散数据(ASCII)", ".dat", "scatter-ascii"},
      {ConvertTarget::GridGeoTiff, DataKind::Grid, "GeoTIFF网格数据", ".tif", "gtiff"},
      {ConvertTarget::ScatterBinary, DataKind::Scatter, "离散数据(二进制)", ".dat", "binary"},
      {ConvertTarget::ScatterAscii, DataKind::Scatter, "离散数据(ASCII)", ".dat", "ascii"},
      {ConvertTarget::ScatterMapgis, DataKind::Scatter, "MapGIS离散数据", ".txt", "mapgis"},
      {ConvertTarget::ScatterCsv, DataKind::Scatter, "CSV表格文件", ".csv", "csv"},
  };
  return kChoices;
}

const ConvertChoice& conversionChoice(ConvertTarget t) {
  for (const auto& c : conversionChoices())
    if (c.target == t) return c;
  return conversionChoices().front();
}

Outcome convertDataFile(const std::string& source, const std::string& target, ConvertTarget to,
                        Progress& progress, bool nullsEmpty) {
  if (source.empty()) return Outcome::failure("请选择数据文件。");
  if (target.empty()) return Outcome::failure("请给定保存数据文件名。");
  if (!pathExists(source)) return Outcome::failure(kConvOpenInput);
  if (resolvePath(source) == resolvePath(target)) return Outcome::failure(kConvOpenOutput);
  const ConvertChoice& choice = conversionChoice(to);
  const DataKind kind = detectDataKind(source);
  if (kind != choice.from) return Outcome::failure(kConvBadInput);

  if (kind == DataKind::Scatter) {
    ScatterReadResult r = isScatterFile(source) ? readScatter(source) : readCsvScatter(source);
    if (!r.ok()) return Outcome::failure(scatterErrorText(r.error));
    ScatterError e = ScatterError::None;
    switch (to) {
      case ConvertTarget::ScatterBinary:
        e = writeBinaryScatter(target, asBinaryForm(r.file), kEndData);
        break;
      case ConvertTarget::ScatterAscii:
        e = writeAsciiScatter(target, asAsciiForm(r.file));
        break;
      case ConvertTarget::ScatterMapgis:
        e = writeMapGisScatter(target, r.file);
        break;
      case ConvertTarget::ScatterCsv:
        e = writeCsvScatter(target, r.file, nullsEmpty);
        break;
      default:
        return Outcome::failure(kConvBadInput);
    }
    if (e != ScatterError::None) return Outcome::failure(scatterErrorText(e));
    return Outcome::success(target);
  }

  LoadedGrid g;
  std::string detail;
  int st = loadAnyGrid(source, GridPurpose::FormatConvert, ArcOrigin::AsNode, g, detail, progress);
  if (st != kGridOk) return gridStatusOutcome(st, detail);
  GridTarget gt = GridTarget::Binary;
  std::string driver;
  switch (to) {
    case ConvertTarget::GridBinary:
      gt = GridTarget::Binary;
      break;
    case ConvertTarget::GridAscii:
      gt = GridTarget::Ascii;
      break;
    case ConvertTarget::GridSurfer:
      gt = GridTarget::Surfer;
      break;
    case ConvertTarget::GridArcViewAscii:
      gt = GridTarget::ArcViewAscii;
      break;
    case ConvertTarget::GridArcViewFlat:
      gt = GridTarget::ArcViewFlat;
      break;
    case ConvertTarget::GridMapgis:
      gt = GridTarget::Mapgis;
      break;
    case ConvertTarget::GridScatterAscii:
      gt = GridTarget::ScatterAscii;
      break;
    case ConvertTarget::GridGeoTiff:
      gt = GridTarget::Gdal;
      driver = "GTiff";
      break;
    default:
      return Outcome::failure(kConvBadInput);
  }
  NoSideFiles noAux;
  st = saveGridAs(target, g, gt, driver, detail, progress);
  progress.setValue(0);
  if (st != kGridOk) return gridStatusOutcome(st, detail);
  return Outcome::success(target);
}

}  // namespace sarnoth
