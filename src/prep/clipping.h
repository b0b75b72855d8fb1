// Data clipping (the tool "数据剪裁"): a grid or a table of points cut by the closed polygons of
// a coordinate file (*.gph), keeping what lies inside or what lies outside.
//
// Polygons: every element line of the coordinate file heads a polygon whose third item is its
// vertex count (at most 1001 polygons, each of at least 3 vertices); the set is tested by the map
// library's isPointInRegExt (closed/map_library.h): even-odd over all polygons together, so a ring
// inside a ring is a hole and an overlap of two polygons is outside, and a point on an edge or a
// vertex is inside.
//
// Grid: node (r, c) stands at x = x0 + c·dx, y = y0 + r·dy (the mesh angle is not applied),
// both computed in double and rounded to single as the library takes them. A node whose test
// disagrees with the choice becomes the header's null value; every other node keeps its value.
// The magic, the method and the whole header are copied byte for byte, so the minimum, maximum
// and valid-node count stand as they were. With "save under a new name" cleared the result is
// copied over the grid named for replacement and the new file removed.
//
// Table: with a new name, "Select [x],[y],[v…]Into [name] From [source]" makes the result (source
// TempOutDBFileIn for the dBASE and Excel kinds), and the records whose test disagrees with the
// choice are then deleted from it; scatter files (kinds 1 and 2) go into a new table of SINGLE
// fields, kept records only (tested on all cores). With the new name cleared the deletion runs on
// the chosen work-area table itself, removing its records for good. The deletion goes in blocks of
// records; a run stopped midway keeps its new table, registry row and the deletions done.
//
// The dBASE and Excel files are read through GDAL/OGR into the table "TempOutDBFileIn" of the work
// database, which stands for the linked table of the original: number columns as DOUBLE and text
// columns as TEXT(n), as the dBASE and Excel drivers of the Jet engine present them. It is not
// registered, it is replaced by the next load, and the window drops it on closing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "closed/map_library.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/scatter_file.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kClipCaption = "数据剪裁";
inline constexpr const char* kClipDefaultName = "DataCutTbl";
inline constexpr const char* kClipTempTable = "TempOutDBFileIn";
inline constexpr const char* kClipOrigin = "DataCut";
inline constexpr const char* kClipNote = "数据剪裁";
inline constexpr const char* kClipOverwriteQuestion = "结果表名已存在,是否覆盖?";
inline constexpr const char* kClipKeepInside = "保留区内数据";
inline constexpr const char* kClipKeepOutside = "保留区外数据";

inline constexpr const char* kMsgClipNoName = "请输入数据剪裁结果表名.";
inline constexpr const char* kMsgClipNoVariable = "变量不能少于1个.";
inline constexpr const char* kMsgClipFewFields = "数据项少于3不能剪裁.";
inline constexpr const char* kMsgClipNoCoordinates =
    "数据剪裁需要空间坐标（数字型），所选数据表不符合剪裁条件，请检查!";
inline constexpr const char* kMsgClipCoordinateChosen = "已选为坐标项，不能再选";
inline constexpr const char* kMsgClipNotBinaryGrid = "非Sarnoth 二进制网格数据.";

// The kinds of cboFileType for scatter data, in list order.
enum class ClipSourceKind : int {
  Table = 0,          // 检索数据表
  AsciiScatter = 1,   // Sarnoth离散数据(ASCII)
  BinaryScatter = 2,  // Sarnoth离散数据(二进制)
  FoxPro30 = 3,
  FoxPro26 = 4,
  FoxPro25 = 5,
  DBase5 = 6,
  DBaseIV = 7,
  DBaseIII = 8,
  Excel5 = 9,
  Excel7 = 10,
  Excel8 = 11,
};
inline bool isLinkedKind(ClipSourceKind k) { return static_cast<int>(k) >= 3; }
inline bool isExcelKind(ClipSourceKind k) { return static_cast<int>(k) >= 9; }

const std::vector<std::string>& clipScatterKindCaptions();  // the 12 scatter kinds
const std::vector<std::string>& clipGridKindCaptions();     // "工作区数据", "外部数据"
// The connect string the kind's linked table is made with: "Dbase IV;DATABASE=" + the directory,
// "Excel 8.0;DATABASE=" + the whole path, and so on; empty for kinds 0 to 2.
std::string clipConnectString(ClipSourceKind kind, const std::string& directory,
                              const std::string& fullPath);
// The picker filter of btnFileIn.
std::string clipFileFilter(bool grid);

// ---- polygons ---------------------------------------------------------------------------------

struct ClipPolygons {
  PolygonSet raw;
  MapRegionSet region;
};
enum class ClipPath { Grid, Table };
// Reads the polygon file; on failure the path's message (the blank-less or the blank spelling
// of the wrong-magic text, "读数据文件错." or the run-time description).
Outcome readClipPolygons(const std::string& path, ClipPath which, ClipPolygons& out);

// ---- grids ------------------------------------------------------------------------------------

// gWorkPath + "Grid_Dat\" + name + ".grd".
std::string clipGridTarget(const std::string& workPath, const std::string& name);

struct GridClipJob {
  std::string source;       // the grid to cut
  std::string workPath;     // gWorkPath: the result is Grid_Dat\<resultName>.grd below it
  std::string resultName;   // txtTblName
  std::string replace;      // chkSave cleared: the grid the result goes over; empty keeps target
  std::string polygonFile;  // *.gph
  bool keepInside = true;   // chkCut
};

struct ClipReport {
  std::int64_t tested = 0;   // nodes or records tested
  std::int64_t removed = 0;  // nodes set null or records deleted
  bool stopped = false;      // the user stopped the run midway
};

// Fails with "请输入数据剪裁结果表名." (no target name), "打开或创建数据文件错.", the polygon
// file's texts, "非Sarnoth 二进制网格数据." or "读数据文件错." (a grid shorter than its header
// says). The target is created on opening, as the original opened it, and holds the result only
// after a complete run.
Outcome clipGrid(const GridClipJob& job, Progress& progress = noProgress(),
                 ClipReport* report = nullptr, int threads = 0);

// ---- tables -----------------------------------------------------------------------------------

// The fields a source offers: the coordinate lists, the variable list, and the proposed x and y.
struct ClipFields {
  std::vector<std::string> coordinates;
  std::vector<std::string> variables;
  std::string x, y;
};
// A work-area table: numeric fields (Integer, Long, Single, Double) in both lists, "横坐标" and
// "纵坐标" proposed when present, else the first two. "数据项少于3不能剪裁." or the message on
// too few numeric fields.
Outcome clipFieldsOfTable(Database& db, const std::string& table, ClipFields& out);

// An outside source loaded by btnFileIn: the matrix of a scatter file, or the fields of
// TempOutDBFileIn.
struct ExternalSource {
  ClipSourceKind kind = ClipSourceKind::Table;
  std::string path;
  ScatterFile scatter;  // kinds 1 and 2
  std::string connect;  // kinds 3 to 11: the connect string of the linked table
  ClipFields fields;
};
// Loads `path` as `kind` (1 to 11). TempOutDBFileIn is dropped first and, for kinds 3 to 11,
// made anew; a failure leaves no such table behind. Messages: "外部数据文件不正确.",
// "文件格式不正确!! 请检查.", "打开数据文件或读文件信息错误!!", or "打开FoxPro DBF数据表错 -- ",
// "打开DBase DBF数据表错
// -- ", "打开Excel XSL 数据表错 -- " followed by the description.
Outcome loadExternalSource(Database& db, ClipSourceKind kind, const std::string& path,
                           ExternalSource& out);
// Drops TempOutDBFileIn, errors ignored.
void dropExternalTable(Database& db);

struct TableClipJob {
  ClipSourceKind kind = ClipSourceKind::Table;
  std::string table;                     // the table chosen in lstTbls (kind 0, or in place)
  const ScatterFile* scatter = nullptr;  // kinds 1 and 2
  std::string x, y;                      // coordinate fields
  std::vector<std::string> variables;    // fields kept beside x and y
  std::string resultName;                // txtTblName
  bool saveAs = true;                    // chkSave: a new table; cleared: cut the table itself
  bool keepInside = true;                // chkCut
  std::string polygonFile;
};

// The Jet statement of the result table.
std::string clipSelectInto(const TableClipJob& job);

// The whole run. A declined overwrite ends quietly (failure with an empty message). With a new
// name, a run stopped midway or failing in the deletion keeps its table and registry row.
// `threads` bounds the threads that test the points of a scatter file (0: every core).
Outcome clipTable(Database& db, const TableClipJob& job, Interaction& ui,
                  Progress& progress = noProgress(), ClipReport* report = nullptr, int threads = 0);

// The deletion loop alone: removes from `table` the records whose x, y test disagrees with
// `keepInside` (a record with a null coordinate tests outside), reading, testing and deleting in
// one pass of the store's engine per block of records. Commits what it did even when stopped or
// failing; throws StoreError on a store failure.
ClipReport deleteByRegion(Database& db, const std::string& table, const std::string& x,
                          const std::string& y, const MapRegionSet& region, bool keepInside,
                          Progress& progress = noProgress());

// The copy with the deletion folded in: runs `select` (a translated "SELECT … FROM source"
// without a condition) into the existing table `target` for the records of `source` whose x, y
// test agrees with `keepInside`, block by block in one pass of the engine. Stopped midway, the
// records not yet reached are copied untested. Throws StoreError on a store failure.
ClipReport copyByRegion(Database& db, const std::string& select, const std::string& source,
                        const std::string& target, const std::string& x, const std::string& y,
                        const MapRegionSet& region, bool keepInside,
                        Progress& progress = noProgress());

}  // namespace sarnoth
