#include "workarea/grid_gdal.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <gdal.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "workarea/path_resolver.h"

namespace sarnoth {

namespace {

void registerDrivers() {
  static std::once_flag once;
  std::call_once(once, [] { GDALAllRegister(); });
}

// GDAL's errors go to `detail` instead of stderr while one call runs.
class QuietGdal {
 public:
  QuietGdal() {
    CPLPushErrorHandler(CPLQuietErrorHandler);
    CPLErrorReset();
  }
  ~QuietGdal() { CPLPopErrorHandler(); }
  void fill(std::string* detail, const char* fallback) const {
    if (!detail) return;
    const char* m = CPLGetLastErrorMsg();
    *detail = (m && *m) ? m : fallback;
  }
};

struct DatasetCloser {
  void operator()(void* ds) const {
    if (ds) GDALClose(ds);
  }
};
using Dataset = std::unique_ptr<void, DatasetCloser>;

void flipRows(std::vector<float>& nodes, int nx, int ny) {
  for (int r = 0, s = ny - 1; r < s; ++r, --s)
    std::swap_ranges(nodes.begin() + static_cast<std::ptrdiff_t>(r) * nx,
                     nodes.begin() + static_cast<std::ptrdiff_t>(r + 1) * nx,
                     nodes.begin() + static_cast<std::ptrdiff_t>(s) * nx);
}

}  // namespace

int readGdalRaster(const std::string& path, Grid& out, std::string* detail) {
  registerDrivers();
  QuietGdal quiet;
  Dataset ds(GDALOpen(resolvePath(path).c_str(), GA_ReadOnly));
  if (!ds) {
    quiet.fill(detail, "GDAL cannot open the file");
    return kGridOpenInputFailed;
  }
  int nx = GDALGetRasterXSize(ds.get());
  int ny = GDALGetRasterYSize(ds.get());
  if (GDALGetRasterCount(ds.get()) < 1) {
    if (detail) *detail = "the raster has no band";
    return kGridBadFormat;
  }
  if (nx < 1 || ny < 1 || nx > kGridMaxSide || ny > kGridMaxSide) {
    if (detail) *detail = "a grid holds at most 32767 columns and 32767 rows";
    return kGridConvertFailed;
  }
  double gt[6];
  bool northUp = true;
  if (GDALGetGeoTransform(ds.get(), gt) != CE_None) {
    gt[0] = 0;
    gt[1] = 1;
    gt[2] = 0;
    gt[3] = ny;
    gt[4] = 0;
    gt[5] = -1;
  }
  if (gt[2] != 0 || gt[4] != 0 || !(gt[1] > 0) || gt[5] == 0) {
    if (detail) *detail = "rotated or mirrored geotransforms are not supported";
    return kGridBadFormat;
  }
  northUp = gt[5] < 0;
  GridHeader h;
  h.dx = static_cast<float>(gt[1]);
  h.dy = static_cast<float>(std::fabs(gt[5]));
  h.x0 = static_cast<float>(gt[0] + gt[1] / 2);
  h.y0 = static_cast<float>(northUp ? gt[3] + gt[5] * ny - gt[5] / 2 : gt[3] + gt[5] / 2);
  h.nx = nx;
  h.ny = ny;
  h.nullValue = NULL_VALUE;
  if (!gridGeometryValid(h)) {
    if (detail) *detail = "the raster's pixel size or origin is not a finite positive number";
    return kGridBadFormat;
  }
  const char* angle = GDALGetMetadataItem(ds.get(), "GRID_ANGLE", nullptr);
  h.angle = angle ? static_cast<float>(CPLAtof(angle)) : 0.0f;

  GDALRasterBandH band = GDALGetRasterBand(ds.get(), 1);
  int hasNoData = 0;
  double noData = GDALGetRasterNoDataValue(band, &hasNoData);
  // A header may claim far more than the file holds: the last and the first row are read
  // into a one-row buffer first, so that such a file fails before the grid is allocated.
  {
    std::vector<float> row(static_cast<std::size_t>(nx));
    for (int probe : {ny - 1, 0})
      if (GDALRasterIO(band, GF_Read, 0, probe, nx, 1, row.data(), nx, 1, GDT_Float32, 0, 0) !=
          CE_None) {
        quiet.fill(detail, "the raster cannot be read");
        return kGridConvertFailed;
      }
  }
  std::vector<float> nodes(static_cast<std::size_t>(nx) * ny);
  if (GDALRasterIO(band, GF_Read, 0, 0, nx, ny, nodes.data(), nx, ny, GDT_Float32, 0, 0) !=
      CE_None) {
    quiet.fill(detail, "the raster cannot be read");
    return kGridConvertFailed;
  }
  if (northUp) flipRows(nodes, nx, ny);
  const float nd = static_cast<float>(noData);
  // NaN and infinities are no data in every raster, as is the band's own no-data value.
  for (float& v : nodes)
    if (!std::isfinite(v) || (hasNoData && v == nd)) v = NULL_VALUE;
  recomputeGridStats(h, nodes);
  h.magic = kGridMagicB;
  h.method = kMethodGdal;
  out.header = std::move(h);
  out.nodes = std::move(nodes);
  return kGridOk;
}

bool gdalCanWrite(const std::string& driver) {
  registerDrivers();
  GDALDriverH d = GDALGetDriverByName(driver.c_str());
  if (!d) return false;
  return GDALGetMetadataItem(d, GDAL_DCAP_CREATECOPY, nullptr) != nullptr ||
         GDALGetMetadataItem(d, GDAL_DCAP_CREATE, nullptr) != nullptr;
}

int writeGdalRaster(const std::string& path, const Grid& g, const std::string& driver,
                    std::string* detail) {
  registerDrivers();
  QuietGdal quiet;
  const GridHeader& h = g.header;
  if (h.nx <= 0 || h.ny <= 0 || g.nodes.size() != static_cast<std::size_t>(h.nx) * h.ny) {
    if (detail) *detail = "the grid's nodes do not match its header";
    return kGridConvertFailed;
  }
  GDALDriverH target = GDALGetDriverByName(driver.c_str());
  GDALDriverH mem = GDALGetDriverByName("MEM");
  if (!target || !mem) {
    if (detail) *detail = "GDAL has no driver \"" + driver + "\"";
    return kGridOpenOutputFailed;
  }
  // Built in memory first, then copied: every writing driver supports the copy.
  Dataset src(GDALCreate(mem, "", h.nx, h.ny, 1, GDT_Float32, nullptr));
  if (!src) {
    quiet.fill(detail, "GDAL cannot hold the raster in memory");
    return kGridWriteFailed;
  }
  double gt[6] = {
      static_cast<double>(h.x0) - h.dx / 2.0,          h.dx, 0,
      static_cast<double>(h.y0) + (h.ny - 0.5) * h.dy, 0,    -static_cast<double>(h.dy)};
  GDALSetGeoTransform(src.get(), gt);
  if (h.angle != 0)
    GDALSetMetadataItem(src.get(), "GRID_ANGLE", std::to_string(h.angle).c_str(), nullptr);
  GDALRasterBandH band = GDALGetRasterBand(src.get(), 1);
  GDALSetRasterNoDataValue(band, static_cast<double>(NULL_VALUE));
  for (int r = 0; r < h.ny; ++r) {
    // Raster row r is grid row ny-1-r: rasters stand north-up.
    float* row = const_cast<float*>(g.nodes.data()) + static_cast<std::size_t>(h.ny - 1 - r) * h.nx;
    if (GDALRasterIO(band, GF_Write, 0, r, h.nx, 1, row, h.nx, 1, GDT_Float32, 0, 0) != CE_None) {
      quiet.fill(detail, "the raster cannot be written");
      return kGridWriteFailed;
    }
  }
  Dataset out(GDALCreateCopy(target, resolvePath(path).c_str(), src.get(), FALSE, nullptr, nullptr,
                             nullptr));
  if (!out) {
    quiet.fill(detail, "GDAL cannot write the file");
    return kGridOpenOutputFailed;
  }
  return kGridOk;
}

}  // namespace sarnoth
