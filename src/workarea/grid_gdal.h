// GeoTIFF and every other raster GDAL reads or writes, as work area grids.
//
// A grid's nodes are cell centres to GDAL: the raster's outer corner is half a cell outside the
// lower-left node, x0 - dx/2, and rasters stand north-up (row 0 at the north), so rows are flipped
// both ways. Null nodes (-1E+38) are the band's NoData value; on reading, NoData and NaN become
// -1E+38. Band 1 is read as single precision; zMin, zMax and validCount are computed afresh and
// the grid is written with "#SRNTHGRIDB#" and "GDALToGrid". A geotransform with rotation terms is
// refused; a raster without one reads with origin 0 and spacing 1. A grid's rotation angle, when
// not 0, travels as the metadata item GRID_ANGLE.
#pragma once

#include <string>

#include "workarea/grid_file.h"

namespace sarnoth {

// Reads band 1 of a raster. `detail` receives GDAL's own text on a failure.
int readGdalRaster(const std::string& path, Grid& out, std::string* detail = nullptr);

// Writes a Float32 raster through the named GDAL driver ("GTiff", "HFA", "netCDF", ...); any
// driver that can copy a raster serves.
int writeGdalRaster(const std::string& path, const Grid& grid, const std::string& driver = "GTiff",
                    std::string* detail = nullptr);

// True when GDAL knows a driver of that short name that can write.
bool gdalCanWrite(const std::string& driver);

}  // namespace sarnoth
