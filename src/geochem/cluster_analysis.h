// Cluster analysis (the tool " 聚类分析"): hierarchical grouping of the variables (R type) or
// the samples (Q type) of a work-area table, reported in a text file and drawn as a dendrogram
// ("谱系图").
//
// What is computed. The working matrix holds one row per object (a variable for R type, a
// sample for Q type) and one column per value, in single precision:
//  1. samples enter when every chosen value exceeds -1E+37;
//  2. ilog = 1 replaces each value by ln(x) ÷ 2.302585 (values must be above 0);
//  3. each row is transformed by icsr: 1 unchanged, 2 (x − min) ÷ (max − min), 3 (x − mean) ÷ s
//     with s the population deviation (Σ(x − mean)² ÷ n)^½;
//  4. rounds until one group is left: the similarity of every pair of rows by isim —
//       1 correlation     (Sxy − Sx·Sy/n) ÷ sqrt((Sxx − Sx²/n)(Syy − Sy²/n)),
//       2 reciprocal Euclidean distance 1 ÷ d, d = sqrt(Σ(a − b)² ÷ n) (identical rows: +∞),
//       3 similarity coefficient Σab ÷ sqrt(Σa²·Σb²), the cosine of the angle —
//     the pair with the largest similarity (the first met scanning row by row) is joined: the
//     two rows are added element by element into the place of the first, the second leaves,
//     and the similarities of the new row are computed afresh. Adding, not averaging, is this
//     tool's way of linking groups: for correlation and the cosine it is centroid linkage on
//     the profiles; for the distance the summed row moves away from the origin, so groups far
//     from each other in direction (different element associations) still join group by group,
//     while groups that differ only in level may not.
// Sums are taken in double precision from the single rows.
//
// How it runs in O(n²) memory and about O(n²·m) time. The similarities of the n rows are kept
// once, as the upper triangle in doubles (n(n−1)/2 values: 100 MB for 5,000 samples, half an
// n × n matrix), with each row's best partner further along. A join recomputes only the new
// row's similarities (O(n·m)) and the best partners of rows that pointed at the two rows joined
// or are beaten by the new row, so a round costs O(n) unless many rows pointed at the pair. The
// first matrix is filled on all cores; every value is computed alone, so the result does not
// depend on the number of threads.
//
// Where it fails: a constant variable, a sample or variable whose row has no spread under
// icsr 2 or 3 or correlation, an all-zero row under the cosine, and ilog on values ≤ 0 stop
// with the tool's error text naming the row. Fewer than 3 samples, or for R type fewer samples
// than variables, stop with "样品数太少,不能进行分析!!!".
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "display/chart.h"
#include "geochem/numeric_routines.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kClusterCaption = " 聚类分析";
inline constexpr const char* kClusterReportFile = "Temp\\ClustInfo.txt";
inline constexpr const char* kMsgClusterNoFile = "请给定保存文件名。";
inline constexpr const char* kMsgClusterFewVariables = "变量不能少于3个.";
inline constexpr const char* kMsgClusterNoTables = "工作区无数据表。";
inline constexpr const char* kClusterFileTitle = "存入文件名...";
inline constexpr const char* kClusterFileFilter =
    "Sarnoth参数文件(*.CLT)|*.clt|所有文件 (*.*)|*.*|";

// The lists of the window: cboDataCov (index + 1 is icsr) and cboCalMode (index + 1 is isim).
const std::vector<std::string>& clusterTransformCaptions();
const std::vector<std::string>& clusterMeasureCaptions();

struct ClusterJob {
  std::string table;
  std::vector<std::string> fields;  // lstVars, the selected entries in list order
  int itype = 2;                    // 1 R type, 2 Q type
  int ilog = 0;
  int icsr = 1;
  int isim = 1;
  std::string outputFile;  // txtFileOut; the report is written there
  int threads = 0;         // 0: all cores
};

// One join: the two rows (by their first object, 0-based) and their similarity.
struct ClusterJoin {
  int first = 0, second = 0;
  double similarity = 0;
};

struct ClusterTree {
  std::vector<ClusterJoin> joins;  // objects − 1 of them, in order
  std::vector<int> order;          // the drawing order of the objects, 0-based
};

// The clustering of the rows of a working matrix (already transformed), by measure isim.
// Throws NumericFault (its text naming no row) when a similarity divides by zero.
ClusterTree clusterRows(SingleMatrix rows, int isim, Progress& progress, int threads = 0);
// The similarity of two rows by measure isim (1, 2, 3), in double precision.
double rowSimilarity(std::span<const float> a, std::span<const float> b, int isim);
// The icsr transform of one row in place (1, 2, 3); false when the row has no spread.
bool transformRow(std::span<float> row, int icsr);

struct ClusterResult {
  std::int64_t records = 0;         // records read
  std::int64_t dropped = 0;         // samples with a null
  std::int64_t samples = 0;         // samples that entered
  std::vector<std::string> labels;  // per object: the variable's name, or the sample's number
  ClusterTree tree;
  std::vector<std::string> report;  // the lines written to the report file
};

// The checks of btnApply before reading ("请给定保存文件名。", "变量不能少于3个.").
std::string checkClusterJob(const ClusterJob& job);
// The run: reads, transforms, clusters and writes the report to job.outputFile (GBK). A failure
// carries the system's text; the report is not written then.
Outcome runClusterAnalysis(Database& db, const ClusterJob& job, ClusterResult& result,
                           Progress& progress);

// The dendrogram ("谱系图"): the objects in the drawing order down the left, the similarity of
// each join along the bottom (largest at the left), the title "R 型聚类图" or "Q 型聚类图" and
// the three option lines at the top. Joins are drawn as segments (series 0); leaves are the
// y-axis tick labels. A height of about 14 pixels per object keeps 500 objects readable.
chart::Chart dendrogramChart(const ClusterJob& job, const ClusterResult& result);
// The picture size that keeps every label readable: at least 800 × 600.
std::pair<int, int> dendrogramSize(const ClusterResult& result);

}  // namespace sarnoth::geochem
