// Normalisation of elements (the tool "数据正则化处理", frmDataNormalize; command `normalise`), and
// the background and threshold levels of an element that it shares with the multi-element
// superposition (superposition.h).
//
// Levels of an element, from its values above -1E+30 (the common null test), by one of:
//   Normal     outliers rejected beyond x̄ ± 2.5·s until none remain (GEO_NormalDistribution,
//              anomaly_stats.h); background x̄, threshold x̄ + 2·s.
//   LogNormal  the same on log10 x (values above 0); background 10^x̄, threshold 10^(x̄ + 2·s).
//   Robust     background the median, threshold median + 2·MAD (medianMadThreshold: on log10 x
//              where the data look log-normal, returned in data units).
// Beside them the plain mean and sample deviation (n − 1), minimum and maximum of all values.
//
// Methods, each a new field named element + suffix in the same table:
//   "_Z"  z-score             (x − x̄)/s, x̄ and s of all values (s with divisor n − 1)
//   "_R"  range, 0 to 1       (x − min)/(max − min)
//   "_L"  logarithm           log10 x, for x > 0
//   "_BC" Box–Cox             (x^λ − 1)/λ, ln x at λ = 0, for x > 0; λ typed or estimated
//   "_B"  background contrast x / background
//   "_T"  threshold contrast  x / threshold
// Box–Cox λ by profile likelihood (Box, G. E. P. & Cox, D. R. (1964), An analysis of
// transformations, J. Royal Statist. Soc. B 26, 211–252): λ maximises
//   l(λ) = −(n/2)·ln σ̂²(λ) + (λ − 1)·Σ ln x,  σ̂² the variance (divisor n) of the transformed x,
// over −5 ≤ λ ≤ 5: a scan at steps of 0.05, then golden-section search to 1e-9 around the best
// step. The values are divided by their geometric mean first, which moves l by a constant only
// and keeps x^λ within range; (x^λ − 1)/λ is formed as expm1(λ ln x)/λ, exact as λ → 0. A
// maximum at an end of the range is reported as that end. Agrees with MASS::boxcox in R to 1e-4
// (the step of its grid).
//
// Writing. Each new field is a SINGLE column of the source table: the field is added (an
// existing one is asked about, "数据项 <name> 已存在, 是否覆盖?", and on Yes dropped and made
// anew), first set to the null where the input is null (or, for the logarithm and Box–Cox, at
// or below 0) by "Update [T] Set [F]= -1E+38  Where [x] Is Null Or [x] <= -1E+30", then computed
// by one Update over the rest. All fields of one run are written in one transaction: a failure
// leaves the table as it was.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

// ---- levels --------------------------------------------------------------------------------

enum class LevelEstimate : int { Normal = 0, LogNormal = 1, Robust = 2 };
inline constexpr int kLevelEstimateCount = 3;
const std::array<const char*, kLevelEstimateCount>& levelEstimateCaptions();

// Rejection multiple and threshold multiple of the Normal and LogNormal levels.
inline constexpr float kLevelRejectMultiple = 2.5f;
inline constexpr double kLevelThresholdMultiple = 2.0;

struct ElementLevels {
  std::int64_t n = 0;  // values above -1E+30
  double mean = 0, sd = 0, minimum = 0, maximum = 0;
  double background = 0, threshold = 0;  // 0 when they cannot be told (no value, or none > 0)
};
ElementLevels elementLevels(std::span<const float> values, LevelEstimate how);

// ---- Box–Cox -------------------------------------------------------------------------------

inline constexpr double kBoxCoxLambdaLimit = 5.0;
// The profile log-likelihood l(λ) of positive values (without the constant).
double boxCoxLogLikelihood(std::span<const double> positive, double lambda);
// The λ of largest l in [−5, 5]; values must be above 0 and not all equal (else 1).
double boxCoxLambda(std::span<const double> positive);
// (x^λ − 1)/λ, or ln x at λ = 0.
double boxCox(double x, double lambda);

// ---- the tool ------------------------------------------------------------------------------

inline constexpr const char* kNormaliseCaption = "数据正则化处理";
inline constexpr const char* kNormaliseReportTitle = "     ----- 数据正则化处理结果 ------";
inline constexpr const char* kMsgNormaliseChooseItems = "请选择元素项!";
inline constexpr const char* kMsgNormaliseNoSpread = "数据项的值全部相同, 不能处理: ";
inline constexpr const char* kMsgNormaliseNoValues = "数据项中无有效数据: ";
inline constexpr const char* kMsgNormaliseNoPositive = "数据项中无大于 0 的数据: ";
inline constexpr const char* kMsgNormaliseNoLevel = "数据项的背景值或异常下限不大于 0: ";
inline constexpr const char* kMsgBadLambda = "Box-Cox 参数 λ 必须在 -5 与 5 之间。";
inline constexpr const char* kMsgWriteFieldFailed = "数据项写入错误, ";
inline constexpr const char* kMsgNormaliseDone = "数据正则化处理完成。";

enum class NormaliseMethod : int {
  ZScore = 0,
  Range = 1,
  Log10 = 2,
  BoxCox = 3,
  Background = 4,
  Threshold = 5,
};
inline constexpr int kNormaliseMethodCount = 6;
const std::array<const char*, kNormaliseMethodCount>& normaliseMethodCaptions();
// "_Z", "_R", "_L", "_BC", "_B", "_T".
const char* normaliseSuffix(NormaliseMethod m);

// The question asked before an existing field is replaced.
std::string fieldOverwriteQuestion(const std::string& field);

struct NormaliseJob {
  std::string table;
  std::vector<std::string> elements;  // in list order
  NormaliseMethod method = NormaliseMethod::ZScore;
  LevelEstimate estimate = LevelEstimate::Normal;  // Background and Threshold
  std::optional<double> lambda;                    // Box–Cox: typed; none: estimated
};

struct NormaliseRow {
  std::string element, field;
  ElementLevels levels;
  double lambda = 1;         // Box–Cox
  std::int64_t written = 0;  // records given a value (not the null)
};

struct NormaliseResult {
  Outcome outcome;
  std::vector<NormaliseRow> rows;
  std::string report;
};

// Checks, asks about existing fields (No: nothing changes, an empty failure text), computes
// the parameters and writes the fields.
NormaliseResult runNormalise(Database& db, const NormaliseJob& job, Interaction& ui,
                             Progress& progress = noProgress());

// ---- shared by the two tools ---------------------------------------------------------------

// A double as SQL text that reads back to the same double ("%.17g").
std::string sqlNumber(double v);
// Whether the table has a field of that name (case-blind, as Jet matches names).
bool tableHasField(const std::vector<FieldDef>& fields, const std::string& name);
// Makes `field` a fresh SINGLE column of `table`: dropped first when it exists.
void addSingleField(Database& db, const std::string& table, const std::string& field, bool exists);

}  // namespace sarnoth::geochem
