// Coordinate conversion between two coordinate systems, and the sources it reads and writes.
//
// What it computes
//   Each point goes from the input side to the output side through geographic coordinates:
//   input units to metres (or the angle form to decimal degrees), the zone in front of x taken
//   off, the inverse projection of the input side, a datum transformation where one is known, the
//   forward projection of the output side (Gauss-Krüger and UTM on the central meridian of each
//   point's zone), the zone put in front of x, metres to the output units. A side is either the
//   window's parameter frames (a ProjConv record, closed/proj_conv.h) or a coordinate system of
//   PROJ's database: a ready-made system of China (prep/projection_table.h) or any EPSG code.
//
// Datums
//   Two systems of the database are joined by the operation PROJ ranks first for them; where it
//   knows several with limited areas (Beijing 1954 to WGS 84 has seven) it chooses per point, and
//   where it knows none (Xian 1980 to CGCS2000) longitude and latitude pass unchanged, which is
//   only a change of ellipsoid. The parameter frames carry no datum, so a frames side is always
//   joined to the other by an ellipsoid change. note() tells which of these happened.
//
// Speed and threads
//   One set of transformation objects per run and thread, made when the run starts (Gauss-Krüger
//   output adds one per zone met); points go through PROJ in blocks. convertAll splits the points
//   over the cores; every point is independent, so the result equals the serial one bit for bit.
//
// Bad points
//   A point whose input is null (NaN here, -1E+38 in tables and files), whose latitude lies beyond
//   ±90°, or that a projection cannot map (the far side of an orthographic view) comes out NaN and
//   the run goes on; the sources write NaN as -1E+38.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "closed/proj_conv.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth {

class Database;

// --- the system's texts ---------------------------------------------------------------------

inline constexpr const char* kGeoCoordConvCaption = "坐标转换";
inline constexpr const char* kMsgNoInputModel = "请选择输入坐标投影模型";
inline constexpr const char* kMsgNoOutputModel = "请选择输出坐标投影模型";
inline constexpr const char* kMsgInputUnitFactor = "输入单位比例因子不能小于等于 0。";
inline constexpr const char* kMsgOutputUnitFactor = "输出单位比例因子不能小于等于 0。";
inline constexpr const char* kMsgInputAxes = "输入坐标椭球参数不正确。";
inline constexpr const char* kMsgOutputAxes = "输出坐标椭球参数不正确。";
inline constexpr const char* kMsgInputScale = "输入投影长度比参数不能小于等于 0。";
inline constexpr const char* kMsgOutputScale = "输出投影长度比参数不能小于等于 0。";
inline constexpr const char* kMsgConvBadParameter = "参数不正确, 请检查: ";  // + the box's label
inline constexpr const char* kMsgConvProjRefused = "投影参数不正确: ";       // + PROJ's text
inline constexpr const char* kMsgConvUnknownSystem = "未知坐标系统: ";       // + what was given
inline constexpr const char* kMsgConvPointFailed = "该点超出投影范围, 不能转换.";
inline constexpr const char* kMsgConvNoTable = "请选择转换数据表.";
inline constexpr const char* kMsgConvNoXField = "请选择横坐标数据项.";
inline constexpr const char* kMsgConvNoYField = "请选择纵坐标数据项.";
inline constexpr const char* kMsgConvNoNewField = "请输入新数据项名称.";
inline constexpr const char* kMsgConvEmptyTable = "无检索或查询数据.";
inline constexpr const char* kMsgConvNoInputFile = "请选择转换数据文件.";
inline constexpr const char* kMsgConvNoOutputFile = "请输入输出文件名.";
inline constexpr const char* kStatusConverting = "正在转换...";
inline constexpr const char* kStatusTableDone = "坐标转换成功 !!";
inline constexpr const char* kMsgFileDone = "坐标转换成功";
inline constexpr const char* kNoteEllipsoidOnly = "只作椭球转换 (无已知基准转换参数)";
inline constexpr const char* kNoteDatumShift = "基准转换: ";  // + the operation's name

// The sources of cboFileType.
enum class CoordSource { Point = 0, Table = 1, AsciiScatter = 2, BinaryScatter = 3, Gph = 4 };
const std::vector<std::string>& coordSourceCaptions();

// --- one side -------------------------------------------------------------------------------

// What a side of the window states: its list rows, boxes and checks as text, or a coordinate
// system in place of the frames. The defaults are the window's on opening.
struct CoordSideTexts {
  std::string system;   // a ready-made system, its caption or "EPSG:n"; empty: the frames
  int projection = -1;  // row of this side's cboProj
  int ellipsoid = -1;   // row of cboEPar
  std::string semiMajor, semiMinor;
  std::string scale = "1";
  std::string centralMeridian = "105";
  std::string originLatitude = "0";
  std::string parallel1 = "25", parallel2 = "47";
  std::string longitude1 = "100", longitude2 = "110";
  std::string falseEasting = "0.0", falseNorthing = "0.0";
  std::string aa = "0";
  // Option of framUnit: 0 km | DDD.dd, 1 m | D.MMSS, 2 factor | DDDMMSS.s; -1 the usual one of
  // the side's kind (DDD.dd for degrees, metres for lengths).
  int unit = -1;
  std::string unitFactor = "1";
  bool zonePrefix = false;  // chkGauss
  bool south = false;       // chkNSH
  bool meridians = false;   // the two-point frame shows meridians (chkLL cleared at row 19)
};

// What selecting a projection row writes into a side (the rules of the list): the scale and
// false easting defaults, the parallels back to 25 and 47 (m and n 3.5 and 1.4 at row 28), the
// north offset of the hemisphere for UTM and 0 for Gauss-Krüger, the sphere for sphere rows.
void applyProjectionRow(CoordSideTexts& t, int side, int row);
// What selecting an ellipsoid row writes into the axis boxes (row 24 leaves them).
void applyEllipsoidRow(CoordSideTexts& t, int row);

// A side checked and turned into numbers.
struct CoordSide {
  std::string system;           // resolved registry code ("EPSG:4527"); empty for the frames
  projconv::ProjRecord record;  // the frames' record; for a system only unit and factor count
  int number() const { return system.empty() ? record.number() : -1; }
};

struct CoordSideResult {
  Outcome outcome;
  CoordSide side;
};

// Checks the texts of a side in the window's order and builds its record: a row chosen, axes
// (doubles, positive, short not above long), the scale (read as a single, above 0 where the
// row takes one), the angles through Geo_DMS2toDecimalD, the unit factor above 0 with the third
// unit option. `side` 0 input, 1 output chooses the texts of the messages.
CoordSideResult buildCoordSide(const CoordSideTexts& t, int side);

// A side from the command line: "EPSG:4527", a ready-made name, or key=value items separated by
// commas: proj= (a row of the side's list or a short name: geo gk3 gk6 utm tm lcc aea poly eqdc
// stere laea aeqd gnom ortho nsper sinu eqc mill vandg omerc1 omerc2 robin goode moll imoll
// hammer wag4 wag7 oea pstere), ellps= (a row of the ellipsoid list), a=, b= (or R=), k=, cm=,
// lat0=, lat1=, lat2=, lon1=, lon2=, fe=, fn=, aa= (also h=, az=, theta=), unit= (km, m, dm,
// f:N, or dd, dms, dddmmss), prefix, south, sys=. Selecting proj= applies the row's defaults.
// Returns false with the reason in `error`.
bool parseCoordSideSpec(const std::string& sideText, int side, CoordSideTexts& t,
                        std::string& error);

// A coordinate system of PROJ's database as a side may name it.
struct SystemInfo {
  bool ok = false;
  std::string code;  // "EPSG:4527"
  std::string name;  // "CGCS2000 / 3-degree Gauss-Kruger zone 39"
  bool geographic = false;
};
// Finds a ready-made system by its name or caption, or any "EPSG:n" (also "n" alone).
SystemInfo describeSystem(const std::string& text);

// --- the transformation ---------------------------------------------------------------------

class CoordTransform {
 public:
  struct Plan;
  struct Worker;

  // Makes the objects of a run (and so checks that PROJ accepts both sides). On failure returns
  // null with the system's message in `message`.
  static std::unique_ptr<CoordTransform> create(const CoordSide& in, const CoordSide& out,
                                                std::string& message);
  ~CoordTransform();
  CoordTransform(const CoordTransform&) = delete;
  CoordTransform& operator=(const CoordTransform&) = delete;

  // One point in place; false (x, y NaN) when it cannot be converted.
  bool convert(double& x, double& y);
  // Many points in place on up to `threads` cores (0: all). NaN stays NaN; a point that cannot
  // be converted becomes NaN. Returns the number of points that failed, NaN inputs not counted.
  std::size_t convertAll(std::span<double> xs, std::span<double> ys, int threads = 0);

  bool inputGeographic() const;
  bool outputGeographic() const;
  // The datum line: an operation's name, or that only the ellipsoid changes (empty when both
  // sides share their datum or ellipsoid). Counts the points left without a known shift so far.
  std::string note() const;
  // Transformation objects made so far, over all threads (the one set per run and thread, and
  // one per Gauss-Krüger zone met).
  std::size_t objectCount() const;

 private:
  CoordTransform();
  Worker& worker(int t);
  std::unique_ptr<Plan> plan_;
  std::vector<std::unique_ptr<Worker>> workers_;
  std::atomic<std::int64_t> unshifted_{0};
};

// --- sources --------------------------------------------------------------------------------

struct CoordRunReport {
  std::int64_t records = 0;  // records, points or vertices converted or passed
  std::int64_t failed = 0;   // of which could not be converted (written as -1E+38)
  std::string note;          // the datum line
};

// One typed point: texts in, texts out (the shortest text that reads back to the double).
struct PointConversion {
  Outcome outcome;
  std::string x, y;
  std::string note;
};
PointConversion convertPointTexts(CoordTransform& t, const std::string& xText,
                                  const std::string& yText);

// A pair of coordinate fields and the two fields that receive the result.
struct FieldPair {
  std::string x, y;
  std::string newX, newY;
};

// Converts pairs of fields of a table, record by record in the table's order, into new fields
// made as `newType` ("SINGLE" or "DOUBLE") where missing. `fn` converts a block of x and y in
// place (NaN in for a null, NaN out for a failure) and returns the failures. Blocks are committed
// as they are done, so a failure or a stop leaves the records done so far converted. Outcome:
// the system's text on failure.
using BlockConverter = std::function<std::size_t(std::span<double>, std::span<double>)>;
Outcome convertTableFields(Database& db, const std::string& table,
                           const std::vector<FieldPair>& pairs, const std::string& newType,
                           const BlockConverter& fn, Progress& progress, CoordRunReport& report);

// The work table source of the window: one pair, new fields as singles.
Outcome convertTable(Database& db, const std::string& table, const std::string& xField,
                     const std::string& yField, const std::string& newX, const std::string& newY,
                     CoordTransform& t, Progress& progress, CoordRunReport& report,
                     int threads = 0);

// Scatter files: the two fields replaced, everything else copied. ASCII keeps the separator of
// its tag and ends with "#ENDDATA#"; binary ends with "#ENDDATA". A binary file is read in the
// standard layout, or, as the old conversion wrote them, with the counts at offset 32 (no note).
Outcome convertScatterFile(const std::string& inPath, const std::string& outPath, bool binary,
                           const std::string& xField, const std::string& yField, CoordTransform& t,
                           CoordRunReport& report, int threads = 0);
// The field names of a scatter file, for the field lists; empty with the message on failure.
std::vector<std::string> scatterFieldNames(const std::string& path, bool binary,
                                           std::string& message);

// A .gph file: the coordinates of the elements coded PP, PT, TT, PR, PL (either case) converted,
// every other element passed through.
Outcome convertGphFile(const std::string& inPath, const std::string& outPath, CoordTransform& t,
                       CoordRunReport& report, int threads = 0);

}  // namespace sarnoth
