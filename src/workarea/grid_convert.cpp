#include "workarea/grid_convert.h"

#include <gdal.h>

#include <cmath>
#include <filesystem>

#include "workarea/grid_gdal.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace fs = std::filesystem;

int loadAnyGrid(const std::string& path, GridPurpose purpose, ArcOrigin origin, LoadedGrid& out,
                std::string& detail, Progress& progress) {
  if (!pathExists(path)) return kGridOpenInputFailed;
  switch (detectGridFormat(path)) {
    case GridFormat::Binary: {
      GridReadResult r = readGrid(path);
      if (!r.ok()) {
        detail = gridErrorDetail(r.error);
        return gridStatusOf(r.error);
      }
      out.grid = std::move(r.grid);
      out.magic = out.grid.header.magic;
      out.method = out.grid.header.method;
      // A binary grid from elsewhere may hold NaN or infinities: they come in as the null.
      bool changed = false;
      for (float& v : out.grid.nodes)
        if (!std::isfinite(v)) {
          v = NULL_VALUE;
          changed = true;
        }
      if (changed) recomputeGridStats(out.grid.header, out.grid.nodes);
      return kGridOk;
    }
    case GridFormat::Ascii:
      out.magic = kGridMagicB;
      out.method = purpose == GridPurpose::Import ? kMethodAsciiToBinary : kMethodFormatConvert;
      return readAsciiGrid(path, out.grid, progress);
    case GridFormat::Surfer:
      out.magic = kGridMagicImport;
      out.method = kMethodSurfer;
      return readSurferGrid(path, out.grid, progress);
    case GridFormat::ArcViewAscii:
      out.magic = kGridMagicImport;
      out.method = kMethodArcView;
      return readArcViewGrid(path, out.grid, progress, origin);
    case GridFormat::Vlq2:
      out.magic = kGridMagicVlq30;
      out.method = kMethodVlq2;
      return readVlq2Grid(path, out.grid);
    case GridFormat::Unknown:
      break;
  }
  out.magic = kGridMagicB;
  out.method = kMethodGdal;
  int st = readGdalRaster(path, out.grid, &detail);
  // A file neither we nor GDAL can open is of the wrong format, not unreadable.
  return st == kGridOpenInputFailed ? kGridBadFormat : st;
}

bool parseGridTarget(const std::string& word, GridTarget& target, std::string& driver) {
  static const std::pair<const char*, GridTarget> kWords[] = {
      {"binary", GridTarget::Binary},
      {"ascii", GridTarget::Ascii},
      {"surfer", GridTarget::Surfer},
      {"arcview-ascii", GridTarget::ArcViewAscii},
      {"arcview-flat", GridTarget::ArcViewFlat},
      {"mapgis", GridTarget::Mapgis},
      {"scatter-ascii", GridTarget::ScatterAscii}};
  for (const auto& [w, t] : kWords)
    if (word == w) {
      target = t;
      return true;
    }
  if (word == "gtiff" || word.rfind("gdal:", 0) == 0) {
    target = GridTarget::Gdal;
    driver = word == "gtiff" ? "GTiff" : word.substr(5);
    return true;
  }
  return false;
}

int saveGridAs(const std::string& path, const LoadedGrid& g, GridTarget target,
               const std::string& driver, std::string& detail, Progress& progress,
               const std::string& asciiMagic) {
  switch (target) {
    case GridTarget::Binary:
      return writeGrid(path, g.magic, g.method, g.grid.header, g.grid.nodes)
                 ? kGridOk
                 : kGridOpenOutputFailed;
    case GridTarget::Ascii:
      return writeAsciiGrid(path, g.grid, progress, asciiMagic);
    case GridTarget::Surfer:
      return writeSurferGrid(path, g.grid, progress);
    case GridTarget::ArcViewAscii:
      return writeArcViewAscii(path, g.grid, progress);
    case GridTarget::ArcViewFlat:
      return writeArcViewFlat(path, g.grid, progress);
    case GridTarget::Mapgis:
      return writeMapgisGrid(path, g.grid, progress);
    case GridTarget::ScatterAscii:
      return writeGridScatterAscii(path, g.grid, progress);
    case GridTarget::Gdal:
      if (!gdalCanWrite(driver)) {
        detail = "GDAL has no writing driver \"" + driver + "\"";
        return kGridOpenOutputFailed;
      }
      return writeGdalRaster(path, g.grid, driver, &detail);
  }
  return kGridConvertFailed;
}

Outcome importGridToWorkArea(const std::string& source, const std::string& workPath,
                             const std::string& name, ArcOrigin origin, Interaction& ui,
                             Progress& progress, std::string* target) {
  if (std::string why = newNameRefusal(name, NewNameKind::GridFile); !why.empty())
    return Outcome::failure(why);
  std::string out = workPath + "Grid_dat\\" + name + ".grd";
  if (pathExists(out) &&
      ui.ask(kTitle, kGridExistsQuestion, Buttons::YesNo, Icon::Question) != Answer::Yes)
    return Outcome::failure("");
  LoadedGrid g;
  std::string detail;
  int st = loadAnyGrid(source, GridPurpose::Import, origin, g, detail, progress);
  if (st != kGridOk)
    return Outcome::failure(std::string(gridStatusText(st)) +
                            (detail.empty() ? "" : " (" + detail + ")"));
  // Written beside the target first, so a failure leaves an old grid of that name intact.
  std::string resolved = resolvePath(out);
  std::string scratch = resolved + ".part";
  if (!writeGrid(scratch, g.magic, g.method, g.grid.header, g.grid.nodes)) {
    std::error_code ec;
    fs::remove(scratch, ec);
    return Outcome::failure(gridStatusText(kGridOpenOutputFailed));
  }
  std::error_code ec;
  fs::rename(scratch, resolved, ec);
  if (ec) return Outcome::failure(gridStatusText(kGridOpenOutputFailed));
  if (target) *target = resolved;
  return Outcome::success(resolved);
}

Outcome importImageToWorkArea(const std::string& source, const std::string& workPath,
                              Interaction& ui, std::string* target) {
  std::string src = resolvePath(source);
  GDALAllRegister();
  GDALDatasetH ds =
      GDALOpenEx(src.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr);
  if (!ds) return Outcome::failure("打开输入文件错误。");
  bool image = GDALGetRasterXSize(ds) > 0 && GDALGetRasterYSize(ds) > 0;
  GDALClose(ds);
  if (!image) return Outcome::failure("输入文件格式不正确错误。");
  std::string out = resolvePath(workPath + "Imag_Dat\\" + fs::path(src).filename().string());
  std::error_code ec;
  fs::create_directories(fs::path(out).parent_path(), ec);
  if (fs::exists(out, ec) &&
      ui.ask(kTitle, "图像文件已存在,是否覆盖?", Buttons::YesNo, Icon::Question) != Answer::Yes)
    return Outcome::failure("");
  fs::copy_file(src, out, fs::copy_options::overwrite_existing, ec);
  if (ec) return Outcome::failure("打开输出文件错误。");
  if (target) *target = out;
  return Outcome::success(out);
}

}  // namespace sarnoth
