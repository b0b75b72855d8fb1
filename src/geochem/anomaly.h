// Anomaly thresholds and characteristic values of the elements of a work-area table (the tool
// "异常下限与特征值", frmScatDataYCXX in mode 100).
//
// For each chosen element the table is walked in its natural order and the values strictly
// above -1E+30 are kept (for the log-normal method only those strictly above 0; values that are
// not finite numbers are never kept). The kept values go to one statistic:
//   0 mean and deviation            lower limit = x̄ + k·s                GEO_GetAverageStdDev
//   1 normal, outliers rejected     lower limit = x̄ + k·s                GEO_NormalDistribution
//   2 log-normal, outliers rejected lower limit = x̄ + k·s in log10 units GEO_LogNormalDistribution
//   3 percentage                    the value exceeded by p = 100 − P %  GEO_PercentAnomaly
//   4 median + 2·MAD, 5 boxplot inner fence, 6 98th percentile (the robust thresholds of
//     anomaly_stats.h, on logs where the data are log-normal, limits in data units)
// k is the window's txtTms, the rejection multiple m and the percentage P its txtPar. Every
// statistic and its results on empty or degenerate input are stated in anomaly_stats.h; an
// element without a kept value reports a count of 0 and zeros, never NaN.
//
// The report is the rich-text box's text: a title, one header line for the method, one row per
// element. A row is the element name left-aligned in 10 characters, then columns right-aligned by
// blanks to their widths (widths count characters, not bytes), integers as "#", values as
// "0.000" (three decimals; a negative value that rounds to zero shows as 0.000).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "geochem/anomaly_stats.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth {

// ---- captions and messages ---------------------------------------------------------------------

inline constexpr const char* kAnomalyCaption = "数据异常下限与特征值计算";
inline constexpr const char* kFractalCaption = "数据分形分维数计算";
inline constexpr const char* kMsgNoWorkTables =
    "工作区中无数据表，请从数据库中检索或从外部表数据导入。";
inline constexpr const char* kMsgChooseElement = "请选择元素项!";
inline constexpr const char* kMsgSingleElementFractal = "分维统计只能进行单元素计算。";
inline constexpr const char* kMsgChooseDataFile = "请选择数据文件。";
// A number box that holds no usable number (the old window stopped on a conversion error).
inline constexpr const char* kMsgBadParameter = "计算参数错误。";
inline constexpr const char* kMsgNoSuchElement = "数据表中没有数据项: ";
inline constexpr const char* kAnomalyReportTitle = "     ----- 元素异常处理结果 ------";

enum class AnomalyMethod : int {
  MeanSd = 0,        // 数据平均值与标准差
  Normal = 1,        // 剔除异点的正态分布异常下限
  LogNormal = 2,     // 剔除异点的对数正态分布异常下限
  Percent = 3,       // 百分比确定异常下限
  MedianMad = 4,     // 中位数加2倍MAD异常下限
  BoxplotFence = 5,  // 箱线图内限异常下限
  Percentile98 = 6,  // 98%分位数异常下限
};
inline constexpr int kAnomalyMethodCount = 7;

// optSelMD captions in mode 100, by method.
const std::array<const char*, kAnomalyMethodCount>& anomalyMethodCaptions();

// Label and default of txtPar for a method ("" when the method has no parameter).
const char* anomalyParameterLabel(AnomalyMethod m);
const char* anomalyParameterDefault(AnomalyMethod m);
// True for the methods whose lower limit is x̄ + k·s (txtTms shown).
bool anomalyUsesMultiple(AnomalyMethod m);

struct AnomalyJob {
  std::string table;
  std::vector<std::string> elements;  // in the order of the field list
  AnomalyMethod method = AnomalyMethod::MeanSd;
  float k = 2;           // txtTms
  float multiple = 2.5;  // txtPar of methods 1 and 2
  int percent = 85;      // txtPar of method 3; the tail is 100 − percent
};

struct AnomalyRow {
  std::string element;
  std::int32_t n = 0;         // kept values ("记录数", before rejection)
  std::int32_t rejected = 0;  // methods 1 and 2
  float average = 0, stdDev = 0, limit = 0;
  std::array<float, 6> percent{};  // method 3: limit, minimum, Q1, median, Q3, maximum
  RobustThreshold robust;          // methods 4 to 6
};

struct AnomalyRunResult {
  Outcome outcome;
  std::vector<AnomalyRow> rows;
  std::string report;  // the whole rich-text box text, lines ended by '\n'
};

// The values of one field as the tool keeps them: above -1E+30, or above 0 with positiveOnly.
// Throws StoreError when the table or the field cannot be read.
std::vector<float> readElementValues(Database& db, const std::string& table,
                                     const std::string& field, bool positiveOnly);

// A field of the list by name, case-blind as Jet matches names.
bool hasField(const std::vector<FieldDef>& fields, const std::string& name);

// One row from the kept values.
AnomalyRow anomalyRow(const std::string& element, std::vector<float> values, const AnomalyJob& job);

// The report's parts: the header line of a method and one row (both without the line end).
std::string anomalyReportHeader(AnomalyMethod m);
std::string anomalyReportRow(AnomalyMethod m, const AnomalyRow& row);

// Checks the job (an element chosen, parameters finite, k and m as the method needs), reads each
// element and builds rows and report. Failures carry the system's text.
AnomalyRunResult runAnomaly(Database& db, const AnomalyJob& job, Progress& progress = noProgress());

// --- report text helpers (shared with the fractal report) ----------------------------------------

// Characters of a UTF-8 text (code points).
std::size_t textWidth(const std::string& utf8);
// Blanks before `text` up to `width` characters; longer text stands as it is.
std::string padLeft(const std::string& text, std::size_t width);
std::string padRight(const std::string& text, std::size_t width);
// "0.000": three decimals, no thousands separator; -0.000 shows as 0.000.
std::string fixed3(double v);

}  // namespace sarnoth
