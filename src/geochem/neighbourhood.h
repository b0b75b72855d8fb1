// Neighbourhood analysis of one element (the tool "邻域数据分析", frmSingleVarProcess; command
// `neighbour`): for every sample, statistics of the element over its neighbours and the sample's
// departure from them, written with the table's own fields into a new registered table.
//
// What is computed, per sample i with coordinates (x, y) and value v:
//  - the neighbours: the k nearest other samples (Nearest), or every other sample within the
//    radius r (Radius), among the samples with coordinates and a value; with includeSelf the
//    sample itself counts as well. Ties at equal distance go to the lower record number.
//  - over their values: the count n, the mean m, the median (the middle value, or the mean of the
//    two middle values), the sample standard deviation s (divisor n − 1);
//  - the local values: the difference v − m, the ratio v ÷ m and the local z-score (v − m) ÷ s.
// Statistics of a sample with fewer than minCount neighbours are the null, as are s with fewer
// than two, the ratio where m = 0, the z-score where s = 0, and the local values of a sample
// without a value. A sample without coordinates gets the null everywhere and a count of 0.
// Coordinates and values count as data when they are greater than -1E+30; sums in double
// precision in the neighbours' order, results rounded to single precision as the table stores
// them. The neighbour search is point_grid.h (exact, not approximate).
//
// The result table (registered with origin "DataProcess", note "单变量数据处理"; an existing
// name is asked about with "结果表名已存在,是否覆盖?") holds every field of the source table in
// its order and records in theirs, then the new fields, named after the element:
//   _M mean, _Md median, _S standard deviation, _N count (LONG), _D difference, _R ratio,
//   _Z local z-score (SINGLE). A source field of one of these names is replaced.
//
// Threads: the samples are dealt out in bands to all cores (prep/parallel_rows.h); each sample's
// result depends only on the data, so the table is the same on any number of threads.
// Speed: one million samples with 30 nearest neighbours each take 3.0 s of processor time, split
// evenly over two threads (1.5 s each), so about 1.5 s on two free cores
// (bench/bench_neighbourhood.cpp).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kNeighbourCaption = "邻域数据分析";
inline constexpr const char* kNeighbourOrigin = "DataProcess";
inline constexpr const char* kNeighbourNote = "单变量数据处理";
inline constexpr const char* kMsgNeighbourOverwrite = "结果表名已存在,是否覆盖?";
inline constexpr const char* kMsgChooseCoordinates = "请选择坐标数据项。";
inline constexpr const char* kMsgChooseValueItem = "请选择数据项!";
inline constexpr const char* kMsgNoResultTable = "请输入结果表名。";
inline constexpr const char* kMsgResultIsSource = "结果表名不能与原数据表相同。";
inline constexpr const char* kMsgBadRadius = "搜索半径必须大于 0。";
inline constexpr const char* kMsgBadNeighbourCount = "邻域点数必须是 1 至 1000 之间的整数。";
inline constexpr const char* kMsgBadMinCount = "最少点数必须是不大于邻域点数的正整数。";
inline constexpr const char* kMsgNoValidSamples = "数据表中无有效样品。";
inline constexpr const char* kMsgCreateTableFailed = "创建新数据表错误, ";
inline constexpr const char* kMsgCancelled = "已取消";
inline constexpr const char* kMsgNeighbourDone = "邻域数据分析完成, 结果存入数据表: ";

inline constexpr int kMaxNeighbourCount = 1000;

enum class NeighbourMode : int { Radius = 0, Nearest = 1 };

struct NeighbourSearch {
  NeighbourMode mode = NeighbourMode::Nearest;
  double radius = 0;  // Radius: in the coordinates' units
  int count = 8;      // Nearest: k
  int minCount = 3;   // fewer neighbours: the statistics are the null
  bool includeSelf = false;
};

// Per sample; NULL_VALUE where there is no statistic.
struct NeighbourStats {
  std::vector<float> mean, median, sd;
  std::vector<std::int32_t> count;
  std::size_t size() const { return count.size(); }
};

// The statistics for samples at (x, y) with values v; a NaN coordinate marks a sample without
// place, a NaN value one without value. Runs on `threads` cores (0: all). Stops early (returning
// what was done, with `cancelled` set) when progress.pump() says stop.
NeighbourStats neighbourStatistics(std::span<const double> x, std::span<const double> y,
                                   std::span<const double> v, const NeighbourSearch& search,
                                   Progress& progress = noProgress(), int threads = 0,
                                   bool* cancelled = nullptr);

struct LocalValues {
  float difference, ratio, zscore;  // NULL_VALUE where undefined
};
// The local values of a sample's value (NaN: none) against its neighbourhood.
LocalValues localValues(double v, float mean, float sd);

// The new fields' names for an element, in the order _M, _Md, _S, _N, _D, _R, _Z.
std::array<std::string, 7> neighbourFieldNames(const std::string& element);

// A radius that holds about `count` samples around a sample of the table on average (the
// samples' bounding box shared evenly), rounded to two significant digits; 0 when it cannot
// be told.
double proposedNeighbourRadius(Database& db, const std::string& table, const std::string& xField,
                               const std::string& yField, int count);

struct NeighbourJob {
  std::string table;
  std::string xField, yField, valueField;
  NeighbourSearch search;
  std::string newTable;
  int threads = 0;  // 0: all cores
};

// The checks before reading (fields chosen, parameters, result name).
Outcome checkNeighbourJob(const NeighbourJob& job);
// Reads, computes, registers and writes the result table. The overwrite question goes through
// `ui`; No ends the run with nothing changed (an empty failure text). On success the outcome's
// text is kMsgNeighbourDone and the table's name.
Outcome runNeighbourAnalysis(Database& db, const NeighbourJob& job, Interaction& ui,
                             Progress& progress = noProgress());

}  // namespace sarnoth::geochem
