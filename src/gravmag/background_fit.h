// Robust polynomial background fit ("重力背景场稳健多项式拟合", frmGravityTrend): a polynomial
// surface of degree p in the two coordinates fitted to an item of a work-area table by
// iteratively reweighted least squares, the iteration with the best goodness of fit kept, and a
// new table with the coordinates, the item, the background (item + "_T") and the residual
// (item + "_R").
//
// What is computed
//   Coordinates are normalised to 0..1 (v − min)/(max − min). The design A has m = (p+1)(p+2)/2
//   columns 1, x, y, x², xy, y², x³, x²y, xy², y³, … (degree by degree, the x power falling);
//   each power above 1 is pow() of the single value, rounded to single, and x^a·y^b the single
//   product of the two. Step L = 0 is ordinary least squares (W = I). Step L > 0 weighs sample i
//   by u = r_i·0.6745/s from the residuals r of the step before (s the mean |r|, rmax the
//   largest |r|): w_i = exp(−u²); but when some residual of the step before was negative, a
//   sample with u ≥ 5.48 (a large positive residual) gets w_i = −0.1·((u − 5.48)/rmax)², a
//   negative weight on purpose, which pushes the surface away from positive outliers (the
//   gravity highs that are anomaly, not background). Each step solves
//     C = (AᵀWA)⁻¹·(AᵀW)·g
//   with the inverse by rank-one corrections (invertMatrix, tolerance 1e-10), then r = g − A·C,
//   sy = Σr², s = Σ|r|/n and the goodness of fit ND = (st − sy)/st with st = Σ(g − ḡ)². The
//   loop runs L = 0..maxIter and ends early when, for L ≥ 3, both relative changes of s,
//   |s_(L−1) − s_(L−2)|/mean and |s_L − s_(L−1)|/mean, fall below the precision ER. The
//   coefficients kept are those of the step with the largest ND (the first of equals, and L = 0
//   when no ND is above 0). Since step 0 minimises Σr², no reweighted step can have a larger
//   ND except by rounding: the surface kept is in practice the ordinary least-squares one, and
//   the reweighted steps show in the parameter file how far the robust surfaces lie from it.
//
// How (and how it stays exact)
//   The stated arithmetic is single precision with a full n × n diagonal weight matrix and
//   plain triple-loop products with float accumulators (T1 = AᵀW, T2 = T1·A, T3 = T2⁻¹,
//   C = (T3·T1)·g). Here W is kept as its diagonal: T1(j, i) = A(i, j)·w_i exactly (the other
//   n − 1 products of the row are exact zeros and leave a float sum unchanged), and every
//   accumulator of T2, T3·T1 and C is summed in the same order as the triple loop, so the
//   results are the stated arithmetic's bit for bit (tests/gravmag/test_background_fit.cpp
//   compares with the literal n × n products), in O(n·m) memory and O(n·m²) time a step.
//   Loops run across independent accumulators (and vectorise), and the two threads share out
//   the rows of T2 and the samples of the residuals, never one sum, so the result does not
//   depend on the number of threads. The reporting pass of the tool repeats pass 1 up to the
//   best L with the same data, so its numbers are taken from pass 1's history.
//   TrendPrecision::Double runs the same steps, formulas and orders in double precision, the
//   design taken from the same single coordinates; the table receives singles either way.
//
// How exact
//   Double precision (the default): about cond(AᵀWA)·1e-16 relative, enough for every degree
//   the tool offers on any number of samples the store holds (the monomials on 0..1 are
//   ill-conditioned, so degree 10 keeps only a few digits).
//   Single precision (the arithmetic as first stated, kept for comparison with old results):
//   the ill-conditioning together with float sums over n samples ruins it beyond small cases.
//   Measured on a degree-3 surface with noise and highs (double ND 0.72): 1,000 samples of
//   degree 5 give ND 0.43; 100,000 of degree 2 give 0.65; 100,000 of degree 3, or 10,000 of
//   degree 5, give a negative ND, a "least-squares" surface worse than the mean. On small,
//   well-conditioned cases the two agree to single precision.
//   The inverse by rank-one corrections has no pivoting; AᵀWA is positive definite while the
//   weights are, and the few small negative tail weights keep it so in practice.
//
// Where it fails
//   A singular AᵀWA (too few or collinear samples) leaves the inverse as far as it got (the
//   check number −1 is not tested, as in the tool); the tool refuses fewer samples than
//   coefficients and coordinates without spread before it starts. A step whose s is 0 (an exact
//   fit) cannot be reweighted: the loop ends there.
//
// Units: coordinates and the item in the table's units; ND dimensionless; ER relative.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "geochem/numeric_routines.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::gravmag {

inline constexpr const char* kTrendCaption = "重力背景场稳健多项式拟合";
inline constexpr const char* kTrendOrigin = "DataProc";
inline constexpr const char* kTrendNote = "重力趋势面处理";
inline constexpr const char* kMsgTrendNameExists = "新数据表名已存在, 请另输一个表名.";
inline constexpr const char* kMsgTrendNoTables = "工作区中无数据表。";
inline constexpr const char* kTrendRunning = "正在进行处理，请等待 ...";
inline constexpr const char* kTrendDone = "处理成功！";
inline constexpr const char* kTrendParTitle = "存入文件名...";
inline constexpr const char* kTrendParFilter = "Sarnoth参数文件(*.PAR)|*.par|";
inline constexpr const char* kMsgTrendTooFew = "样品数少于拟合多项式系数个数, 不能拟合。";
inline constexpr const char* kMsgTrendDegree = "给定的拟合多项式面次数须在1到10之间。";
inline constexpr const char* kMsgTrendIterations = "给定的迭代拟合最大次数须在0到200之间。";
inline constexpr const char* kMsgTrendNoSpread = "坐标值全部相同, 不能归一化。";
inline constexpr const char* kMsgTrendChooseFields = "请选择坐标和处理项。";
inline constexpr const char* kMsgTrendFailed = "数据处理错误: ";
inline constexpr float kTrendInvertTolerance = 1.0e-10f;
inline constexpr float kTrendOutlierU = 5.48f;
inline constexpr int kTrendMaxIterations = 200;  // the history arrays hold L = 0..200

// m = (p+1)(p+2)/2 for p in 1..10; 0 outside.
int trendCoefficientCount(int degree);

// (v − min)/(max − min) in place; returns min and max. Single arithmetic.
void normaliseAxis(std::span<float> v, float& min, float& max);
// v := (max − min)·v + min in place.
void restoreAxis(std::span<float> v, float min, float max);
// One row of the design at normalised (x, y).
void designRow(float x, float y, int degree, std::span<float> row);

// The inverse of the n × n matrix `a` in place by successive rank-one corrections: q_i = Σ_j
// a(i, j), a := a − I; for k = 0..n−1: b = row k, row k := e_k, p = b_k + 1 (|p| below the
// tolerance: return −1 and stop), and for every row i a(i, ·) −= a(i, k)/p · b. Returns the
// check number Σ_i (Σ_j a(i, j))·q_i, which no caller tests. Single arithmetic throughout.
float invertMatrix(geochem::SingleMatrix& a, float tolerance);

// The weight of a residual at a step after the first.
float robustWeight(float r, float s, float rmax, bool anyNegative);

// The arithmetic of the iteration: the same steps in double precision (what the tool runs by
// default), or the single-precision arithmetic as originally stated, bit for bit.
enum class TrendPrecision { Single, Double };

struct TrendOptions {
  TrendPrecision precision = TrendPrecision::Double;
  int threads = 0;  // 0: one per core; the result does not depend on it
};

// One step's results, in the step's precision (a single's value held exactly in a double).
struct TrendStep {
  int L = 0;
  std::vector<double> c;  // the coefficients
  double rmax = 0, s = 0, sy = 0, nd = 0;
  bool anyNegative = false;
};

struct TrendFit {
  TrendPrecision precision = TrendPrecision::Single;
  double st = 0;                 // Σ(g − ḡ)²
  std::vector<TrendStep> steps;  // pass 1, L = 0, 1, …
  int bestL = 0;
  double bestNd = 0;
  const TrendStep& best() const { return steps[static_cast<std::size_t>(bestL)]; }
};

// The iteration on normalised coordinates. Needs at least one sample and a degree in 1..10.
// `progress` is pumped once a step; a stop ends the loop where it is.
TrendFit robustTrendFit(std::span<const float> x, std::span<const float> y,
                        std::span<const float> g, int degree, int maxIter, float er,
                        const TrendOptions& options = {}, Progress& progress = noProgress());

// The fit Σ C_j·A(i, j) at a normalised point, in the given precision.
double trendValue(std::span<const double> c, int degree, float x, float y,
                  TrendPrecision precision = TrendPrecision::Single);

// --- the tool job -------------------------------------------------------------------------

struct TrendJob {
  std::string table, xField, yField, item, newTable;
  std::string degreeText = "3", maxIterText = "10", precisionText = "0.01";  // Text6, Text2, Text5
  std::string parFile;                                // empty: no parameter file
  TrendPrecision precision = TrendPrecision::Double;  // chkSingle: the single arithmetic
};

struct TrendReport {
  std::int64_t n = 0;
  int degree = 0, coefficients = 0;
  int bestL = 0;
  float bestNd = 0;
  std::vector<std::string> lines;  // what the parameter file holds
};

// The parameter file's lines for a fit (the head with the data, pass 2 for L = 1..best L, the
// closing lines).
std::vector<std::string> trendReportLines(const TrendFit& fit, std::span<const float> g, int degree,
                                          float er);

// btnApply: checks, reads the table, fits, registers and writes the new table, writes the
// parameter file when asked. The failure carries the system's text.
Outcome runBackgroundFit(Database& db, const TrendJob& job, Interaction& ui, TrendReport& report,
                         Progress& progress = noProgress());

}  // namespace sarnoth::gravmag
