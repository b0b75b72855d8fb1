// The geomagnetic elements tool ("地磁要素计算", frmWTIgrf10th): the checks, runs and result file
// of its single-point and multi-point modes, and the reduction of total-field measurements by
// the reference field of each point's date and position.
//
// Single point. The boxes are read as the window reads them: the date and the height (metres)
// as numbers from their leading text (an empty or non-numeric box is 0), the degree and minute
// boxes as integers rounded to the nearest (half to even). Checks in order, each ending the
// run: the date in the generation's span, latitude degrees 0..90, latitude minutes 0..60,
// longitude degrees −180..180, longitude minutes 0..60, then the height not below −1000 km.
// The call is closed::IGRFDLL with the height in km.
//
// Multi point. The input is an ASCII scatter file whose first line is exactly "#SRNTHSCATA#",
// whose second line begins "S" or "C", then the point count, the null value and the column
// count (which must be 4), a line of names, and per point longitude, latitude, height (m),
// date, in the degrees.minutes form (116.30 is 116°30′). Values are read as a stream, separated
// by commas, blanks or line ends, so "S" and "C" files read alike. Every row is checked before
// any is computed: the date; the integer part (towards zero) of the longitude −180..180 and of
// the latitude 0..90; the minutes, the fractional part × 100 truncated, 0..60 for both (so
// −179.30 has the minutes −30 and is refused); the height. A file that ends early or holds a
// value that is not a number gives "计算参数错误。". Minutes are truncated after allowing 1e-4
// for the binary form of the typed decimals, so that 100.57 gives 57 minutes and not 56.
//
// Result file (Prof_Dat\ of the work area), text, CR LF, GBK: "#SRNTHSCATA#", "S", the point
// count (1 for a single point), "-1E+38", "11", the column line, one line a point, "#ENDDATA#".
// A line: longitude "####.0000", latitude "###.0000", height (m) "####.00", date "####.00",
// inclination "####.00", declination "###.00" (these four as degrees + minutes/100), total
// field, north, east, vertical and horizontal "#####"; six blanks between the first seven
// columns, then ten, fourteen, twelve and eight. The pictures are those of the original
// formats: rounded half away from zero, no digit before the point when the integer part is 0
// (".50", "-.25"). Where a "#####" picture would leave nothing (a value that rounds to 0) the
// line carries "0" instead, so that every line keeps its eleven columns.
//
// Reduction. For each point of a work-area table with longitude and latitude in decimal
// degrees, a total-field value T (nT), a date (a field, or one date for all) and a height
// (a field in metres, or one height): F of the chosen generation and ΔT = T − F. The new table
// holds the longitude, latitude and T, then T + "_F" and T + "_DT"; rows whose T, position or
// date is null or out of range get -1E+38 in both. The same for a grid whose nodes are in
// decimal degrees (x the longitude, y the latitude) at one date and height.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "closed/igrf.h"
#include "gravmag/igrf_model.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::gravmag {

inline constexpr const char* kGeomagCaption = "地磁要素计算";
inline constexpr const char* kGeomagSaveTitle = "请输入地磁要素计算结果文件名";
inline constexpr const char* kGeomagOpenTitle = "请选择您要计算的地磁要素的数据文件";
inline constexpr const char* kMsgGeomagNoResultFile = "您还没有输入地磁要素计算结果文件名!";
inline constexpr const char* kMsgGeomagLatDegrees = "测区纬度度数输入错误。";
inline constexpr const char* kMsgGeomagLatMinutes = "测区纬度分数输入错误。";
inline constexpr const char* kMsgGeomagLonDegrees = "测区经度度数输入错误。";
inline constexpr const char* kMsgGeomagLonDegreesFile = "测区经度度数格式错误。";
inline constexpr const char* kMsgGeomagLonMinutes = "测区经度分数输入错误。";
inline constexpr const char* kMsgGeomagHeight = "地形高程输入错误。";
inline constexpr const char* kMsgGeomagBadMagic = "您读入的Sarnoth离散点数据文件格式错误。";
inline constexpr const char* kMsgGeomagBadSeparator =
    "您读入的Sarnoth离散点数据文件数据分隔方式错误。";
inline constexpr const char* kMsgGeomagBadColumns = "您读入的Sarnoth离散点数据文件列数错误。";
inline constexpr const char* kMsgGeomagDone = "地磁要素计算完毕。";
inline constexpr const char* kMsgGeomagFailed = "计算参数错误。";
inline constexpr const char* kGeomagColumnLine =
    "  经度          纬度           高程           时间     磁化倾角   磁化偏角  地磁场总强度  "
    "北向分量  东向分量  垂直分量   水平分量 ";
// Reduction of a table.
inline constexpr const char* kReduceOrigin = "DataProc";
inline constexpr const char* kReduceNote = "地磁正常场改正";
inline constexpr const char* kMsgReduceNameExists = "新数据表名已存在, 请另输一个表名.";
inline constexpr const char* kMsgReduceNoFields = "请选择经度、纬度和总场数据项。";
inline constexpr const char* kMsgReduceDone = "地磁正常场改正完毕。";

// The date text of the refusals, with the generation's span: "此程序只能计算公元1900到2010年的
// 地磁要素。" (single point) and the same ending "地磁要素值。" (multi point).
std::string geomagDateMessage(const IgrfModel& model, bool multiPoint);

// One point as the result file writes it.
struct GeomagPoint {
  double lon = 0, lat = 0;  // degrees + minutes/100, as read or typed
  double heightM = 0;
  float date = 0;
  closed::IgrfDllResult r;
};

// The boxes of the single-point mode.
struct GeomagSingleInput {
  std::string date = "2000.00", height = "0";
  std::string lonDeg, lonMin, latDeg, latMin;
};

// The leading number of a text as the window reads a box (0 when none).
double geomagBoxValue(const std::string& text);
// A box read as an integer, rounded to the nearest (half to even).
std::int32_t geomagBoxInteger(const std::string& text);

// Checks and computes one point; the failure carries the system's text.
Outcome geomagSinglePoint(const GeomagSingleInput& in, IgrfGeneration generation,
                          GeomagPoint& point);
// The nine result texts in the order of the boxes: inclination degrees, minutes, declination
// degrees, minutes, total, north, east, vertical, horizontal.
std::vector<std::string> geomagResultTexts(const closed::IgrfDllResult& r);

// Reads, checks and computes every point of a multi-point input file.
Outcome geomagMultiPoint(const std::string& inputPath, IgrfGeneration generation,
                         std::vector<GeomagPoint>& points, Progress& progress = noProgress());

// The data line of one point, and the whole file.
std::string geomagResultLine(const GeomagPoint& p);
bool writeGeomagResultFile(const std::string& path, const std::vector<GeomagPoint>& points);

// A picture of '#' digits with `decimals` places, as the result file formats its columns.
std::string hashPicture(double v, int decimals);

// --- reduction --------------------------------------------------------------------------

struct IgrfReductionJob {
  std::string table, lonField, latField, valueField;
  std::string dateField;  // empty: `date` for every point
  double date = 2000.0;
  std::string heightField;  // empty: `heightM` for every point
  double heightM = 0;
  std::string newTable;
  IgrfGeneration generation = IgrfGeneration::Fourteenth;
  int threads = 0;
};
struct IgrfReductionReport {
  std::int64_t rows = 0, reduced = 0;  // rows written, rows with a value
};
// Reads the table, computes F and ΔT, registers and writes the new table (origin "DataProc",
// note "地磁正常场改正", refused when the name exists).
Outcome reduceTableByIgrf(Database& db, const IgrfReductionJob& job, Interaction& ui,
                          IgrfReductionReport& report, Progress& progress = noProgress());

struct IgrfGridReductionJob {
  std::string input, output;  // grid files
  double date = 2000.0, heightM = 0;
  IgrfGeneration generation = IgrfGeneration::Fourteenth;
  int threads = 0;
};
// ΔT of every node of a grid in decimal degrees; null nodes stay null. The failure text names
// the grid error or the date.
Outcome reduceGridByIgrf(const IgrfGridReductionJob& job, Progress& progress = noProgress());

}  // namespace sarnoth::gravmag
