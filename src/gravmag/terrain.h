// Gravity terrain correction ("重力地形改正") of stations from a digital elevation model.
//
// What: for a station at (x, y) and elevation h_s, the attraction of the terrain's departure
// from the horizontal plane through the station, as a positive correction in mGal added to the
// simple Bouguer anomaly to give the complete Bouguer anomaly: hills above the plane pull up,
// valleys below it are mass the Bouguer slab assumed, and both make the correction positive.
// Only the ground between the inner zone's start (2 m, Hammer's zone A being left out) and the
// outer radius counts; ground off the model counts as level with the station.
//
// How:
//   - Inner zones, from 2 m to the inner radius, by Hammer's (1939) rings: zones B to M with
//     radii 2, 16.6, 53.3, 170.1, 390.1, 894.9, 1529.5, 2614.6, 4453.8, 6652.7, 9902.8, 14741.8,
//     21944.2 m and 4, 6, 6, 8, 8, 12, 12, 12, 16, 16, 16, 16 compartments, the last zone cut at
//     the inner radius. A compartment's mean elevation comes from the model, sampled bilinearly at
//     points that split it into equal areas (two to eight radii, two to sixteen angles, about
//     half a cell apart); with h its difference from the station, a compartment of one n-th of
//     the annulus r1..r2 contributes (2πGρ/n)·(r2 − r1 + √(r1² + h²) − √(r2² + h²)).
//   - From the inner to the outer radius, each cell of the model is a prism from the station's
//     plane to its elevation (Nagy's closed form, prism.h), taken whole when its centre lies in
//     the ring. Far cells are grouped: the cells form a quadtree of 2^L × 2^L blocks, and a block
//     whose centre is at least kFarRatio times its size away (and that lies wholly outside the
//     inner radius; at the outer radius, like a cell, by its centre) counts as one vertical
//     column (columnGz: a line mass with its footprint's second-order term) of its cells' area
//     whose squared height is the mean of (h − h_s)² over its cells (kept as mean and variance,
//     so it serves every station); nearer blocks are split. A single cell that far is a column.
// The stations are independent and are shared over the cores; the result does not depend on
// their number.
//
// Accuracy: the prism sum is exact for a terrain of flat-topped cells. A column for a block of
// size a at distance R ≥ 8a errs by a part in (a/R)⁴ of its part (the bare line mass would err
// by (3/8)·(a/R)², 0.6 %), and a block's mean squared height misstates the mean of its columns'
// attractions by a part in (Δh/R)², tiny where blocks are used. Hammer's compartments assume the
// compartment's mean elevation all over it. Measured against the exact prism sum of a rough
// model (1500 m of relief on 100 m cells): 0.01 % where the correction is 3 mGal, 0.12 % where
// it is 0.2 mGal. A flat model through the station gives exactly 0.
//
// Where it fails: a rotated model is refused; a station off the model with no elevation of its
// own has no correction (null). Elevations and coordinates in metres, density in g/cm³.
//
// References: Hammer, S. (1939) Terrain corrections for gravimeter stations. Geophysics 4,
// 184–194. Nagy, D. (1966) Geophysics 31, 362–371; Nagy, Papp & Benedek (2000) J. Geodesy 74,
// 552–560. Kane, M.F. (1962) A comprehensive system of terrain corrections using a digital
// computer. Geophysics 27, 455–462 (prisms near, line masses far).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth {
class Database;
}

namespace sarnoth::gravmag {

// Hammer's zone radii in metres (B starts at the first, M ends at the last) and compartments.
inline constexpr double kHammerRadii[] = {2.0,    16.6,   53.3,   170.1,  390.1,   894.9,  1529.5,
                                          2614.6, 4453.8, 6652.7, 9902.8, 14741.8, 21944.2};
inline constexpr int kHammerCompartments[] = {4, 6, 6, 8, 8, 12, 12, 12, 16, 16, 16, 16};
// Ratio of distance to block size beyond which a block counts as one column.
inline constexpr double kFarRatio = 8.0;

struct TerrainParams {
  double density = 2.67;         // g/cm³
  double innerRadius = 170.1;    // m; Hammer's rings inside, prisms outside (0: prisms only)
  double outerRadius = 21944.2;  // m; Hammer's zone M
};

// The inner radius a model suggests: the first Hammer radius at least three cells wide.
double defaultInnerRadius(double dx, double dy);

// A model ready for many stations: the grid (nodes are cell centres, elevations in metres,
// nulls are unknown ground) and its quadtree of block moments.
class TerrainModel {
 public:
  explicit TerrainModel(Grid dem);
  const Grid& grid() const { return dem_; }
  // The model's elevation at a point, bilinear between the nodes that hold data; NaN off the
  // model or where none of the four nodes holds data.
  double elevationAt(double x, double y) const;
  // The correction in mGal, and its two parts.
  struct Parts {
    double hammer = 0, prisms = 0;
    double total() const { return hammer + prisms; }
  };
  Parts correction(double x, double y, double stationElevation, const TerrainParams& p) const;

 private:
  struct Level {
    int cols = 0, rows = 0;
    std::vector<std::int32_t> count;
    std::vector<double> mean;
    std::vector<float> variance;
  };
  Grid dem_;
  std::vector<Level> levels_;  // levels_[L-1] holds the blocks of 2^L cells, L ≥ 1
  int top_ = 0;                // the level whose one block covers the grid
  double hammer(double x, double y, double hs, const TerrainParams& p) const;
  double prisms(double x, double y, double hs, const TerrainParams& p) const;
};

// Corrections of many stations (NaN where a station has no coordinates or elevation), shared
// over `threads` cores (0: all). The progress counts stations; a stop leaves the rest NaN and
// sets `stopped`.
std::vector<double> terrainCorrections(const TerrainModel& model, std::span<const double> x,
                                       std::span<const double> y, std::span<const double> h,
                                       const TerrainParams& p, int threads = 0,
                                       Progress& progress = noProgress(), bool* stopped = nullptr);

// --- the tool's job -----------------------------------------------------------------------------

inline constexpr const char* kTrrCaption = "重力地形改正";
inline constexpr const char* kMsgTrrDone = "重力地形改正完成！";
inline constexpr const char* kMsgTrrNoTable = "请选择数据表.";
inline constexpr const char* kMsgTrrNoX = "请选择测点横坐标字段.";
inline constexpr const char* kMsgTrrNoY = "请选择测点纵坐标字段.";
inline constexpr const char* kMsgTrrNoDem = "请选择数字高程模型文件.";
inline constexpr const char* kMsgTrrBadDem = "数字高程模型文件读取错误: ";
inline constexpr const char* kMsgTrrRotatedDem = "数字高程模型网格不能有旋转角.";
inline constexpr const char* kMsgTrrBadDensity = "改正密度应为大于0的数(g/cm3).";
inline constexpr const char* kMsgTrrBadRadii = "外区半径应大于内区半径, 内区半径不能为负.";
inline constexpr const char* kMsgTrrNoField = "请给定地形改正值与完全布格异常的字段名.";
inline constexpr const char* kMsgTrrFieldExists = "字段已存在, 是否覆盖其中的数据?";
inline constexpr const char* kMsgTrrNotNumeric = "所选字段不是数值型字段: ";

struct TerrainJob {
  std::string table;
  std::string xField, yField;
  std::string elevationField;  // empty: the model's elevation at the station
  std::string bouguerField;    // empty: no complete Bouguer anomaly
  std::string demPath;         // a work area grid or any raster GDAL reads
  TerrainParams params;
  std::string tcField = "TC", cbaField = "CBA";
  int threads = 0;
};

struct TerrainRunResult {
  Outcome outcome;
  bool cancelled = false;
  std::int64_t stations = 0;   // rows of the table
  std::int64_t corrected = 0;  // rows that got a correction
  double minTc = 0, maxTc = 0;
};

// Reads a model: a grid of the work area ("GRIDB#"), else any raster through GDAL.
Outcome readElevationModel(const std::string& path, Grid& out);

// Computes the correction of every row and writes it (and the complete Bouguer anomaly when a
// Bouguer field is given) into new Single fields of the table, asking before it overwrites
// existing fields. Nulls in a row's inputs give nulls.
TerrainRunResult runTerrainCorrection(Database& db, const TerrainJob& job, Interaction& ui,
                                      Progress& progress = noProgress());

// The report line of a run: stations, corrected, range.
std::string terrainReport(const TerrainRunResult& r);

}  // namespace sarnoth::gravmag
