// The data tools' remaining jobs over files: scatter files read as tables for the import window,
// registered tables written as scatter files by the export window, and the two modes of the
// format conversion window (images; grids and scatter files).
//
// Scatter files as a table: every field becomes a SINGLE column, values pass as the shortest
// text of their single, so -1E+38 arrives as the float null.
//
// Tables as scatter files: the numeric fields (Integer, Long, Single, Double) in table order,
// null cells as -1E+38; binary "#SRNTHSCATB#" with origin "B_FromBase" and the end mark
// "#ENDDATA", ASCII "#SRNTHSCATA#" with the tag "C_FROMBASE". A scatter file holds floats only:
// its nulls are -1E+38; with "nulls empty" the points that hold a null in any written field are
// left out (and counted in the outcome's text).
//
// Image conversion: any raster GDAL reads to BMP, PNG, JPEG, TIFF or GIF through the drivers'
// copy creation. Each target is given what its driver takes: 8-bit samples (16-bit kept for PNG
// and TIFF; other types stretched linearly from their range), at most three bands for BMP and
// JPEG (a palette expanded to RGB for JPEG), one band for GIF (colour images reduced to a
// 256-colour palette by median cut and dithered).
//
// Data conversion: a grid in any form loadAnyGrid reads (ASCII grids get "GEOMTOSRNPTH") to any
// form saveGridAs writes; a scatter file (binary, ASCII, "VLQ2SCAT") to binary, ASCII, MapGIS or
// CSV. Targets are overwritten without a question.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "workarea/grid_convert.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/scatter_file.h"
#include "datatools/table_import.h"
#include "workarea/table_store.h"

namespace sarnoth {

// The texts of the conversion stages, shared with the grid conversions.
inline constexpr const char* kConvOpenInput = "打开输入文件错误。";
inline constexpr const char* kConvOpenOutput = "打开输出文件错误。";
inline constexpr const char* kConvBadInput = "输入文件格式不正确错误。";
inline constexpr const char* kConvBadOutput = "输出文件格式不正确错误。";
inline constexpr const char* kConvFailed = "文件转换错误。";

// ---- scatter files as tables ------------------------------------------------------------------

// True for a binary, ASCII or "VLQ2SCAT" scatter file (told by its first bytes, not its name).
bool isScatterFile(const std::string& path);
// A scatter file as a row source; null with the conversion text in `error` when unreadable.
std::unique_ptr<RowSource> openScatterSource(const std::string& path, std::string& error);
// What the import window and the CLI open: a scatter file by its magic, else openSource.
std::unique_ptr<RowSource> openTableFile(const std::string& path, const std::string& layer,
                                         const DelimitedOptions& opt, std::string& error);

// ---- table export in every form ---------------------------------------------------------------

enum class SaveFormat { Csv, Xlsx, Dbf, ScatterBinary, ScatterAscii };

struct SaveOptions {
  SaveFormat format = SaveFormat::Csv;
  bool nullsEmpty = false;  // text forms: empty cells; scatter forms: points with nulls left out
  char delimiter = ',';
  TextEncoding encoding = TextEncoding::Gbk;
  bool crlf = true;
  std::vector<std::string> fields;  // scatter forms: the fields to write, empty for all numeric
};

// "csv", "xlsx", "dbf", "scatter-binary", "scatter-ascii".
bool parseSaveFormat(const std::string& word, SaveFormat& format);
// The form a file name suggests (".xlsx", ".dbf", else CSV; scatter files are never guessed).
SaveFormat saveFormatForPath(const std::string& path);

// A table as a scatter file in `form` (ScatterBinary or ScatterAscii). `points` gets the number
// of points written.
Outcome exportTableAsScatter(Database& db, const std::string& table, const std::string& path,
                             const SaveOptions& opt, std::int64_t* points = nullptr);
// Any form: exportTable for the text and GDAL forms, exportTableAsScatter for the scatter ones.
Outcome saveTableAs(Database& db, const std::string& table, const std::string& path,
                    const SaveOptions& opt, Progress& progress = noProgress(),
                    std::int64_t* rows = nullptr);

// ---- image conversion (format conversion, mode 100) -------------------------------------------

enum class ImageFormat { Bmp, Png, Jpeg, Tiff, Gif };

const char* imageDriver(ImageFormat f);     // "BMP", "PNG", "JPEG", "GTiff", "GIF"
const char* imageExtension(ImageFormat f);  // ".bmp", ".png", ".jpg", ".tif", ".gif"
// "bmp", "png", "jpg"/"jpeg", "tif"/"tiff", "gif" (case-blind, a leading dot allowed).
bool parseImageFormat(const std::string& word, ImageFormat& f);

Outcome convertImage(const std::string& source, const std::string& target, ImageFormat format,
                     Progress& progress = noProgress());

// ---- data conversion (format conversion, mode 200) --------------------------------------------

enum class DataKind { Unknown, Grid, Scatter };
// Scatter files by their magic; anything loadAnyGrid might read (grid forms, GDAL rasters) is a
// grid; a file that does not exist is Unknown.
DataKind detectDataKind(const std::string& path);

enum class ConvertTarget {
  GridBinary,
  GridAscii,
  GridSurfer,
  GridArcViewAscii,
  GridArcViewFlat,
  GridMapgis,
  GridScatterAscii,
  GridGeoTiff,
  ScatterBinary,
  ScatterAscii,
  ScatterMapgis,
  ScatterCsv
};

struct ConvertChoice {
  ConvertTarget target;
  DataKind from;
  const char* caption;    // what the window lists
  const char* extension;  // the suffix a new target gets
  const char* word;       // the CLI's name
};
// Every target, grids first, in the order the window lists them.
const std::vector<ConvertChoice>& conversionChoices();
const ConvertChoice& conversionChoice(ConvertTarget t);

// Converts `source` into `target`; the target is overwritten without a question. A source of the
// wrong kind for the target gives "输入文件格式不正确错误。".
Outcome convertDataFile(const std::string& source, const std::string& target, ConvertTarget to,
                        Progress& progress = noProgress(), bool nullsEmpty = false);

}  // namespace sarnoth
