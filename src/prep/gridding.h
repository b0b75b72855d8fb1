// Gridding: one numeric field of a work-area table, with two coordinate fields, turned into a
// regular grid file in the work area's Grid_Dat directory (the tool "离散数据网格化").
//
// Seven methods, in the order of the tool's method list: "最近点", "平均值", "中位数",
// "距离倒数加权", "指数加权", "累加", "克里格插值".
//
//  - Five of them are a point-driven accumulation: each record is visited once, in table order,
//    and scattered into every node of its search window (circle of radius Rx, or rectangle of
//    half-widths Rx, Ry), clipped to the grid before the node loop. Run time grows with records
//    times window area, never with a neighbour search. Working arrays, one entry per node:
//    nodeValue (single), nodeWeight (single), nodeCount (16-bit; a count beyond 32767 is the
//    tool's overflow and fails the run).
//  - The azimuth search keeps per node the nearest point in each of 4, 8, 16 or 32 sectors
//    (sectorValue, sectorDistance: Columns·Rows·S singles each) and combines the filled sectors.
//  - Median and kriging hand the points (x, y, value triples) to Geo_IMMedian and
//    GEO_ScatToGridWithKrig (src/closed/).
//
// Everything is computed in single precision, node rules and index mappings exactly as the tool
// has always had them (an inverse-distance exponent that is 1 or else 2, the early end of a
// record on an exact node hit, the sector index that stands one place behind the method list).
// The result array holds Columns·Rows + 1 singles: the last one is a spare of value 0 that goes
// into the file with the nodes while there are at most 1,000,000 valid nodes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "closed/kriging.h"
#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/null_value.h"
#include "workarea/progress.h"
#include "workarea/table_reader.h"
#include "workarea/table_store.h"

namespace sarnoth {

// ---- captions and messages ---------------------------------------------------------------------

inline constexpr const char* kScatToGridCaption = "离散数据网格化";
inline constexpr const char* kScatToGridMethod = "ScatToGrid";

inline constexpr const char* kMsgFewFields = "数据项少于3不能进行趋势分析处理。.";
inline constexpr const char* kMsgNotGriddable =
    "离散数据网格化是针对空间坐标、与数据项（数字型）的处理，所选数据表不符合处理条件，请检查!";
inline constexpr const char* kMsgNoCoordinateData = "所选坐标项无数据";
inline constexpr const char* kMsgSpacing = "网格距必需是大于 0 的数.";
inline constexpr const char* kMsgOverwritePrefix = "工作区网格数据文件:";
inline constexpr const char* kMsgOverwriteSuffix = " 已存在,要覆盖吗??";
inline constexpr const char* kMsgCannotCreate = "不能创建输出文件: ";
inline constexpr const char* kMsgWriteFailed = "写数据文件错. ";
inline constexpr const char* kMsgGriddingFailed = "网格化数据处理错,请检查. ";
inline constexpr const char* kMsgMedianFailed = "中位数网格化错误，请检查数据是否符合要求！";
inline constexpr const char* kMsgTooFewForKriging = "数据太少(<10),不能处理.";
inline constexpr const char* kMsgTooFewSearchPoints = "搜索数据点数不能少于3个。";
inline constexpr const char* kMsgThreeParams = "请输入三个参数！";
inline constexpr const char* kMsgAtLeastThreeParams = "请输入至少三个参数！";
inline constexpr const char* kMsgNoResultFile = "结果数据文件不存在，请先处理。";

enum class GridMethod : int {
  Nearest = 0,          // 最近点
  Mean = 1,             // 平均值
  Median = 2,           // 中位数
  InverseDistance = 3,  // 距离倒数加权
  Exponential = 4,      // 指数加权
  Sum = 5,              // 累加
  Kriging = 6,          // 克里格插值
};

enum class KrigingKind : int {
  Ordinary = 0,    // 普通克里格
  Universal = 1,   // 泛克里格
  Lognormal = 2,   // 对数正态克里格
  Lognormal3 = 3,  // 三参数对数正态克里格
  Indicator = 4,   // 指示克里格
};

// The lists of the window, in their order.
const std::vector<std::string>& gridMethodCaptions();   // cboCalMode
const std::vector<std::string>& krigingKindCaptions();  // cboKrig
const std::vector<std::string>& driftCaptions();        // cboMoveM
const std::vector<std::string>& sectorCaptions();       // cboAzimuth: "4", "8", "16", "32"

// The parameter a method proposes when it is chosen (txtPar): 2 for "距离倒数加权", 5 for
// "指数加权", 6 search points for "克里格插值"; nothing for the others, which leave the box as it
// stands.
std::optional<float> methodDefaultParameter(GridMethod m);
// The kriging parameters of txtPars: one single per comma-separated item, an empty text no item
// at all. Nothing when an item is not a number (the run is then refused with
// "网格化数据处理错,请检查. ").
std::optional<std::vector<float>> parseKrigingParams(const std::string& text);

// ---- per-form settings
// ---------------------------------------------------------------------------

// Kept between runs while the window is open. Read from their boxes at the start of a run only
// when "特征数据设置" is checked.
struct GriddingSettings {
  std::int32_t maxNodePoints = 6;   // read and kept; no method applies it
  std::int32_t minNodePoints = 3;   // a node that collected fewer points becomes null
  float highValueCap = NULL_VALUE;  // values above it are replaced by it
  std::int16_t roundDecimals = -1;  // 0 to 4 rounds on output, anything else does not

  // Choosing a method resets the point limits; "累加" then takes 1 as its minimum.
  void onMethodSelected(GridMethod m);
  // Choosing a value field forgets the cap.
  void onValueFieldSelected() { highValueCap = NULL_VALUE; }
};

// ---- geometry
// ------------------------------------------------------------------------------------

// Columns = Fix((max - min) / spacing + 1.9999), in single precision. Returns nothing when the
// spacing is not above 0 or the count does not fit the 16-bit field.
std::optional<int> gridCount(float min, float max, float spacing);
// The adjusted far bound: min + spacing · (count - 1).
float adjustedBound(float min, float spacing, int count);

struct GridGeometry {
  float xLeft = 0, yBottom = 0;  // x of column 0 and y of row 0
  float xJust = 0, yJust = 0;    // adjusted right and top bounds
  float dx = 1, dy = 1;
  int columns = 0, rows = 0;
  std::size_t nodeCount() const {
    return static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
  }
};

// The axis part of the automatic extents: the field's range over non-null records, formatted
// "0.00", a spacing of 2000 above 100000 and 2 otherwise, the count and the adjusted bound.
struct AxisExtent {
  float min = 0, max = 0;  // as "0.00" text read back
  std::string minText, maxText;
  float spacing = 0;
  int count = 0;
  float just = 0;
};
// Runs "Select MIN(f),MAX(f) From t Where f <> -1E+38". Fails with "所选坐标项无数据" on an
// empty answer, with the store's text when the query fails.
struct AxisExtentResult {
  Outcome outcome;
  AxisExtent extent;
};
AxisExtentResult autoAxisExtent(Database& db, const std::string& table, const std::string& field);

// The three field lists of the window for a table, and the positions chosen for x, y, value.
struct FieldChoice {
  Outcome outcome;  // failure: kMsgFewFields or kMsgNotGriddable
  std::vector<std::string> numericFields;
  int x = 0, y = 1, value = 2;
};
FieldChoice chooseGridFields(const std::vector<FieldDef>& fields);

// The largest non-null value of a field: "Select MAX(f) From t Where f <> -1E+38", proposed as
// the cap of high values when a value field is chosen. Nothing when the field has no value;
// the store's text when the query fails.
struct FieldMaximumResult {
  Outcome outcome;
  std::optional<float> maximum;
};
FieldMaximumResult fieldMaximum(Database& db, const std::string& table, const std::string& field);

// ---- geometry edits of the window
// ----------------------------------------------------------------

// The boxes of one axis in the geometry array: XLeft, XRight, DX, Columns (or YBottom, YTop, DY,
// Rows). A box whose text is no number reads as nothing.
enum class AxisBox { Low, High, Spacing, Count };
struct AxisBoxes {
  std::optional<float> low, high, spacing;
  std::optional<int> count;
};
// What an edit rewrites. A failure of the computation rewrites nothing and says nothing.
struct AxisEdit {
  bool spacingMessage = false;  // show "网格距必需是大于 0 的数."
  std::optional<int> count;     // Columns / Rows
  std::optional<float> just;    // XJust / YJust
  std::optional<float> radius;  // both search half-widths
};
// The rules of the window, x and y alike but for the spacing: an x spacing that is not above 0
// passes silently and any readable x spacing sets both radii to 2.5 spacings; a y spacing that
// is not above 0 gets the message and the radii stay. Low or high edits recompute the count
// and the adjusted bound (message when the spacing is not above 0); a count edit of at least 2
// rewrites the adjusted bound.
AxisEdit editAxis(bool xAxis, AxisBox edited, const AxisBoxes& boxes);

// ---- the run
// -------------------------------------------------------------------------------------

struct GriddingJob {
  std::string table, xField, yField, valueField;
  std::string outputName;  // txtFileOut, without directory and suffix
  GridGeometry geometry;
  float angle = 0;  // txtAngle: written to the header only
  GridMethod method = GridMethod::Nearest;
  float par = 0;                 // txtPar: the exponent / factor; search points for kriging
  bool circle = true;            // optType: circle, or rectangle
  float rx = 0, ry = 0;          // search half-widths; the circle takes ry := rx
  bool azimuth = false;          // chkAzimuth
  int sectors = 8;               // 4, 8, 16 or 32
  bool settingsChecked = false;  // chkSet: the kriging and azimuth cap apply only then
  KrigingKind krigingKind = KrigingKind::Ordinary;
  int drift = 0;                     // cboMoveM index, 0 to 5
  std::vector<float> krigingParams;  // txtPars items
  int threads = 0;                   // worker threads, 0 for one per core; the grid is the same
  int subBandRows =
      0;  // rows a thread scatters together, 0 from the cache size; the grid is the same
};

// One point of the median and kriging arrays.
struct ScatterPoint {
  float x, y, v;
};

// A computed grid in memory: Columns·Rows nodes plus the spare last element (0).
struct GridComputation {
  Outcome outcome;
  std::vector<float> nodes;
  float zMin = 1e38f, zMax = -1e38f;
  std::int32_t validCount = 0;
  std::vector<krig::FittedVariogram> variograms;  // kriging only: the models fitted
};

// The sector of a point seen from a node in the azimuth search, with offsets sx ≠ 0 and sy:
// angle = atan(sy / sx) · 180 / 3.14159 (that five-digit pi), plus 180 when sx is not above 0,
// else plus 360 when negative; sector Int((angle − 0.001) / (360 / S)) from 0.001° on, else 0.
// direct() evaluates the rule; lookup() gives the same sector from thresholds on sy / sx found
// once by bisection of the rule over the floats, without a trigonometric call per node.
class SectorRule {
 public:
  explicit SectorRule(int sectors);
  int direct(float sx, float sy) const;
  int lookup(float sx, float sy) const;

 private:
  struct Piece {
    int base = 0;                      // sector at the lowest key of the piece
    std::vector<std::uint32_t> start;  // keys where the sector steps up by one
  };
  int sectors_;
  float width_;
  Piece pieces_[3];
};

// Reads points in table order, one record or a block at a time.
class PointSource {
 public:
  virtual ~PointSource() = default;
  virtual std::int64_t count() = 0;        // for the progress maximum
  virtual bool next(ScatterPoint& p) = 0;  // false at the end
  // Up to `max` records into `out`; the number read, 0 at the end.
  virtual std::size_t nextBlock(ScatterPoint* out, std::size_t max) {
    std::size_t n = 0;
    while (n < max && next(out[n])) ++n;
    return n;
  }
};

// Points held in memory (tests, benchmarks).
class VectorPointSource : public PointSource {
 public:
  explicit VectorPointSource(std::vector<ScatterPoint> pts) : pts_(std::move(pts)) {}
  std::int64_t count() override { return static_cast<std::int64_t>(pts_.size()); }
  bool next(ScatterPoint& p) override {
    if (pos_ >= pts_.size()) return false;
    p = pts_[pos_++];
    return true;
  }
  void rewind() { pos_ = 0; }

 private:
  std::vector<ScatterPoint> pts_;
  std::size_t pos_ = 0;
};

// Streams the x, y and value columns of a table in blocks through a column-typed TableReader;
// an SQL NULL reads as -1E+38.
class TablePointSource : public PointSource {
 public:
  // Through the open store's connection.
  TablePointSource(Database& db, const std::string& table, const std::string& x,
                   const std::string& y, const std::string& v);
  // Through a read-only connection of its own on the store file, for a run that reads from one
  // thread.
  TablePointSource(const std::string& storePath, const std::string& table, const std::string& x,
                   const std::string& y, const std::string& v);
  ~TablePointSource() override;
  std::int64_t count() override;
  bool next(ScatterPoint& p) override;
  std::size_t nextBlock(ScatterPoint* out, std::size_t max) override;

 private:
  std::unique_ptr<TableReader> reader_;
};

// The computation of a run on its points: the plain accumulation, the azimuth search, median or
// kriging by method, then rounding. Does not touch any file. Progress moves and its pump runs at
// least every 100 ms whatever the table's size; a pump that returns false stops the run, which
// then fails with an empty message (nothing to show).
GridComputation computeGrid(PointSource& points, const GriddingJob& job,
                            const GriddingSettings& settings, Progress& progress = noProgress());

// Rounds every node above -1E+30 and the limits through the text format "0", "0.0" … "0.0000"
// (half away from zero) and back to single, for 0 to 4 decimals; other values do nothing.
void roundGrid(GridComputation& g, int decimals);
float roundThroughText(float v, int decimals);

// The output path: work path + "Grid_Dat\" + name + ".grd", resolved.
std::string gridOutputPath(const std::string& workPath, const std::string& name);

struct GriddingRunResult {
  Outcome outcome;        // failure: the system's message
  bool declined = false;  // the overwrite question was answered No
  std::string path;
  Grid grid;  // header and nodes as written (nodes include the spare when it was written)
  std::vector<krig::FittedVariogram> variograms;
};

// A whole run of the tool: the overwrite question (Yes deletes the old file first), reading the
// table, the computation and the file with magic "#SRNTHGRIDB#" and method "ScatToGrid".
GriddingRunResult runGridding(const std::string& workPath, const GriddingJob& job,
                              const GriddingSettings& settings, Interaction& ui,
                              Progress& progress = noProgress());

// The status line of a finished run, what it made: "已生成 Cu.grd: 201 列 × 151 行, 有效节点
// 30351, 最小值 1.25, 最大值 98.5, 用时 0.42 秒" (values with 7 significant digits; without a
// valid node the limits are left out).
std::string griddingSummary(const GriddingRunResult& r, double seconds);

}  // namespace sarnoth
