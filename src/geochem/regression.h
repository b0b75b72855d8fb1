// Regression analysis (the tool " 回归分析"): a dependent field of a work-area table fitted to
// independent fields by five methods, reported line by line into temp\regressprs.txt.
//
//  0 "一元回归"      one x, nine models; the data are transformed in place in single precision
//                    (log is ln ÷ 2.302585) and fitted by GEO_ProcessRegression1 (straight-line
//                    models) or GEO_ProcessRegression2 (the parabola x, x² and the polynomial
//                    x … x^k).
//  1 "多元线性回归"  GEO_ProcessRegression2 on the chosen fields.
//  2 "逐步回归"      GEO_ProcessRegression3 with the two F values (to enter, to remove).
//  3 "岭回归"        ridge regression in single precision on the shared routines: the centred
//                    cross products S of [X y] (centreCrossProducts), (S_xx + K·I)·b = S_xy
//                    (solveLinearSystem), first with K = 0; then the eigenvalues λ and vectors V
//                    of S_xx (jacobiEigen), and the starting K = txtKB · σ² ÷ max αᵢ², σ² = Q ÷
//                    (n − m − 1) the residual variance and α = V'·b the canonical coefficients of
//                    the K = 0 solution: Hoerl and Kennard's K (Technometrics 12, 1970, 55–67)
//                    times the shrink factor, so the txtKZ iterations, each K divided by txtKB,
//                    step from above that K down through it. Per K: the coefficients, their
//                    t values b_i ÷ sqrt(σ²·[(S+KI)⁻¹ S (S+KI)⁻¹]_ii), U = b'S_xx b,
//                    Q = Syy − 2b'S_xy + b'S_xx b, Syy and F = (U/m) ÷ (Q/(n − m − 1)).
//  4 "正交化回归"    the centred fields orthogonalised in their order by modified Gram–Schmidt
//                    (in double precision), z_j the part of x_j not explained by x_1..x_(j−1).
//                    Per factor: a_j = z_j'y ÷ z_j'z_j, its regression sum of squares
//                    U_j = a_j²·z_j'z_j, F_j = U_j ÷ (Q_j ÷ (n − j − 1)) with Q_j what is left
//                    after j factors, and R_j = |z_j| ÷ |x_j| (1 for a field unrelated to the
//                    ones before it, 0 for one they explain). Scheme 1 ("e截止") stops before a
//                    factor with R_j < e (a near-dependent field); scheme 2 ("Fa截止") stops at
//                    the first factor with F_j < Fa. The factors kept are turned back into
//                    coefficients of the original fields.
//
// Samples enter when the dependent and every chosen independent value exceed -1E+30; fewer than
// 3 samples, or no more samples than coefficients, stop with "样品数太少,不能进行分析!!!".
// Report numbers follow the tool's formats: "#0.0000" for the coefficients of method 0 and
// "#0.000" for its statistics, "0.0000" for ridge, "0.00000" for the orthogonal table, and the
// shortest single text elsewhere (methods 1, 2 and the orthogonal coefficients).
#pragma once

#include <string>
#include <vector>

#include "display/chart.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kRegressionCaption = " 回归分析";
inline constexpr const char* kRegressionReportFile = "temp\\regressprs.txt";
inline constexpr const char* kRegressionFileHead = "#SRNTHDATPROC#";
inline constexpr const char* kRegressionFileEnd = "#ENDDATA#";

inline constexpr const char* kMsgNoIndependent = "请选择因变量.";
inline constexpr const char* kMsgRidgeNeedsTwo = "岭回归须选择两个以上因变量,请重选.";
inline constexpr const char* kMsgOneVariableOnly = "一元回归只须一个因变量,请重选.";
inline constexpr const char* kMsgPolynomialPower = "多项式幂次必须 > 2,请重新给定。";
inline constexpr const char* kMsgTooFewSamples = "样品数太少,不能进行分析!!!";
inline constexpr const char* kMsgTwoFValues = "需要2个数据,请重输.";
inline constexpr const char* kMsgAskFValues =
    "请输入选入和剔除因子时显著性检验的F-分布值,如1.46,1.45";
inline constexpr const char* kMsgPlotOneVariable = "散点图只须一个因变量,请重选.";
inline constexpr const char* kMsgPlotNoPolynomial = "抛物线和高次多项式模型不能绘制散点图。";
inline constexpr const char* kMsgRegressionFailed = "数据计算错:";
inline constexpr const char* kRegressionSaveTitle = "处理结果保存为...";
inline constexpr const char* kRegressionSaveFilter = "文本文件(*.TXT)|*.txt|";

enum class RegressionMethod {
  OneVariable = 0,
  Multiple = 1,
  Stepwise = 2,
  Ridge = 3,
  Orthogonal = 4
};

enum RegressionModel : int {
  kLinear = 0,       // 线性函数
  kPower = 1,        // 幂函数
  kExponential = 2,  // 指数函数
  kInverseExp = 3,   // 倒指数函数
  kLogarithmic = 4,  // 对数函数
  kParabola = 5,     // 抛物线函数
  kHyperbola = 6,    // 双曲线函数
  kLogistic = 7,     // Logistic回归
  kPolynomial = 8,   // 多项式函数
};

const std::vector<std::string>& regressionMethodCaptions();  // optSelReg(0..4)
const std::vector<std::string>& regressionModelCaptions();   // cboMD
const std::vector<std::string>& orthogonalSchemeCaptions();  // cboJZ

// "1.46,1.45" → the two F values; false when fewer than two numbers stand there.
bool parseFValues(const std::string& text, float& fIn, float& fOut);

struct RegressionJob {
  std::string table;
  std::string yField;                // cboVarY
  std::vector<std::string> xFields;  // lstVars, the selected entries in list order
  RegressionMethod method = RegressionMethod::OneVariable;
  int model = kLinear;             // cboMD
  std::string powerText = "3";     // txtDX
  std::vector<float> fValues;      // the two F values asked for method 2
  std::string kTimesText = "7";    // txtKZ
  std::string kFactorText = "10";  // txtKB
  int scheme = 0;                  // cboJZ
  std::string cutText = "0.2";     // txtJZ
};

// The checks of btnApply before any data are read; an empty text when the job may run.
std::string checkRegressionJob(const RegressionJob& job);

// Runs the job: reads the table, fits, and returns the report lines (what rtbText shows).
// When `reportPath` is not empty the file is written there (GBK): "#SRNTHDATPROC#", the lines,
// "#ENDDATA#". A failure carries the system's text, and nothing is written.
Outcome runRegression(Database& db, const RegressionJob& job, const std::string& reportPath,
                      std::vector<std::string>& lines, Progress& progress);

// The scatter plot of method 0: the transformed points, the line fitted to them, and the axes
// built as the threshold tool builds its linear axes: lower = 0 unless Fix(min) is negative or
// at least 10 (then Fix(Fix(min)/10 − 1)·10), upper = Int(max) + 1 below 10, else
// Fix(Int(max)/100 + 1)·100; ten ticks. Where that rule would leave points off the axis (a
// minimum between -1 and 0 truncates to 0, so transformed data below 0 would vanish), the axis
// takes about ten 1-2-5 steps covering the data instead.
struct PlotAxis {
  double lower = 0, upper = 1;
  int ticks = 10;
  std::string label;
};
struct RegressionPlot {
  std::vector<float> x, y;  // the points as fitted
  float b0 = 0, b1 = 0;     // y = b0 + b1·x on the transformed scales
  PlotAxis xAxis, yAxis;
};
PlotAxis linearAxis(double min, double max);
// The plot for btnGraph; its refusals first ("散点图只须一个因变量,请重选." …).
Outcome regressionPlot(Database& db, const RegressionJob& job, RegressionPlot& plot);
// The plot as a chart: the frame 6/8 of the picture, 1/8 from the left and the bottom; the points
// as square markers (series 0), the fitted line across the axis (series 1); ten ticks per axis
// labelled by formatAxisNumber; the axis captions the field names as transformed.
chart::Chart regressionChart(const RegressionPlot& plot);
// The hover text of a point: "当前数据：X=" x "  Y=" y.
std::string plotPointText(float x, float y);

}  // namespace sarnoth::geochem
