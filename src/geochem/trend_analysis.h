// Trend analysis (the tool "趋势分析"): polynomial trend surfaces of degree 1 to 6 fitted to one
// numeric field of a work-area table over its two coordinates, with their fit statistics, and the
// trend and residual of the chosen degree written to a new registered table (and, when asked,
// gridded through the gridding engine).
//
// What is computed. With u = (x − xc)/s and v = (y − yc)/s, (xc, yc) the middle of the samples'
// bounding box and s half its longer side (1 when the samples share one point), the surface of
// degree d is
//     T_d(u, v) = b0 + Σ_{1 ≤ i+j ≤ d} b_ij · u^i · v^j,
// its terms ordered by degree and within a degree from u^e down to v^e (u, v, u², uv, v², u³, …);
// m_d = (d + 1)(d + 2)/2 − 1 terms beside b0. The coordinates are centred and scaled so that the
// powers stay near 1: a sixth-degree surface in raw map coordinates of 10^5 to 10^6 metres would
// put 10^36 in one column and lose every digit. Coefficients are reported in u and v.
// How. Each degree is its own least-squares fit by Householder QR (geochem/least_squares.h, with
// its refinement step), never through the normal equations. Per degree:
//     R² = U/Syy,  F = (U/m_d) / (Q_d/(n − m_d − 1)),
// and the F test of the degree's own terms, the gain over degree d − 1 (degree 0 being the mean),
//     F_d = ((Q_{d−1} − Q_d)/(m_d − m_{d−1})) / (Q_d/(n − m_d − 1)),
// each with its upper-tail probability (geochem/f_distribution.h). This is the classical
// sequence of trend-surface tests (Davis, Statistics and Data Analysis in Geology, 3rd ed., 2002,
// §5: trend surfaces; Krumbein & Graybill 1965).
// Samples: x, y and the value each not exactly -1E+38 (and not empty); the trend is evaluated at
// every sample whose coordinates are there, the residual value − trend where the value is there
// too, else -1E+38.
// Accuracy: that of the QR fit (9 digits or better on designs of condition up to 1e6; a sixth
// degree on scattered samples is near that). Agreement with R's lm on the same terms is tested.
// Where it fails: n ≤ m_d + 1 ("样品数太少,不能进行分析!!!"), or samples that do not determine
// the surface (all on one line, on too few distinct points): the terms are dependent and the run
// stops naming the degree.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kTrendCaption = "趋势分析";
inline constexpr const char* kTrendOrigin = "TrendProc";
inline constexpr const char* kTrendNote = "趋势分析";
inline constexpr const char* kMsgTrendNameExists = "新数据表名已存在, 请另输一个表名.";
inline constexpr const char* kMsgTrendNoTable = "请选择数据表。";
inline constexpr const char* kMsgTrendNoFields = "请选择横坐标、纵坐标与数据项。";
inline constexpr const char* kMsgTrendNoNewTable = "请输入结果数据表名。";
inline constexpr const char* kMsgTrendDegree = "趋势面次数必须是1到6的整数。";
inline constexpr const char* kMsgTrendTooFew = "样品数太少,不能进行分析!!!";
inline constexpr const char* kMsgTrendDependent =
    "次趋势面的项线性相关, 样品分布不能确定该趋势面。";
inline constexpr const char* kMsgTrendFailed = "趋势分析计算错: ";
inline constexpr const char* kTrendSuffix = "_T";     // the trend field: value field + "_T"
inline constexpr const char* kResidualSuffix = "_R";  // the residual field
inline constexpr int kTrendMaxDegree = 6;

// One term u^i · v^j.
struct TrendTerm {
  int i = 0, j = 0;
};
// The terms of degree d beside the constant, in their order.
std::vector<TrendTerm> trendTerms(int degree);

// The frame of the scaled coordinates.
struct TrendFrame {
  double xc = 0, yc = 0, scale = 1;
  double u(double x) const { return (x - xc) / scale; }
  double v(double y) const { return (y - yc) / scale; }
};
TrendFrame trendFrame(const std::vector<double>& x, const std::vector<double>& y);

struct TrendDegreeFit {
  int degree = 0;
  int terms = 0;                     // m_d
  std::vector<double> coefficients;  // b0 then the terms in order
  std::vector<double> stdErr;        // same order
  double sse = 0, regressionSS = 0, totalSS = 0, rSquared = 0;
  double f = 0, fP = 0;          // overall F and its probability
  double fGain = 0, fGainP = 0;  // the degree's own terms
  int gainDf1 = 0, dfResidual = 0;
  double value(const TrendFrame& frame, double x, double y) const;
};

struct TrendFits {
  std::string failure;  // empty, or the text that stopped the fits
  TrendFrame frame;
  std::vector<TrendDegreeFit> degrees;  // 1 … maxDegree
  std::int64_t n = 0;
  bool ok() const { return failure.empty(); }
};
// Fits degrees 1 … maxDegree (1 to 6) to the samples.
TrendFits fitTrendSurfaces(const std::vector<double>& x, const std::vector<double>& y,
                           const std::vector<double>& z, int maxDegree);

struct TrendJob {
  std::string table, xField, yField, valueField;
  std::string degreeText = "2";  // the degree of the surface kept (1 … 6)
  std::string newTable;          // the result table
  bool gridTrend = false, gridResidual = false;
  std::string gridSpacingText;  // node spacing of the grids; empty: a hundredth of the longer side
};

// The checks before any data are read; empty when the job may run.
std::string checkTrendJob(const TrendJob& job);

struct TrendResult {
  TrendFits fits;
  int degree = 0;
  std::vector<std::string> report;  // what rtbText shows
  std::int64_t rowsWritten = 0;
  std::vector<std::string> gridPaths;  // grids written
};

// Reads the table, fits, registers the new table (rule refuse: "新数据表名已存在, 请另输一个表名.")
// and writes x, y, the value, value_T and value_R for every sample with coordinates; then the
// grids asked for, through the gridding engine (inverse distance squared, circle of 2.5 node
// spacings or two mean sample spacings, whichever is larger), named value_T and value_R. A grid
// file that exists is overwritten only when `ui` answers Yes.
Outcome runTrendAnalysis(Database& db, const std::string& workPath, const TrendJob& job,
                         Interaction& ui, TrendResult& result, Progress& progress = noProgress());

// The report lines of the fits, the chosen degree's coefficients in full.
std::vector<std::string> trendReport(const TrendJob& job, const TrendFits& fits, int degree);

}  // namespace sarnoth::geochem
