// Multi-element superposition (the tool "多变量叠加处理", frmDataProcess; command `superpose`):
// one index field from several elements of a table, after each element is brought to a common
// scale, for outlining the anomalies of an element association (Au-As-Sb-Hg, Cu-Mo-W …).
//
// Standardisation of element i with value x_i:
//   ZScore      s_i = (x_i − x̄_i)/σ_i, x̄ and σ the mean and sample deviation of the element
//   Background  s_i = x_i / b_i, the contrast over the background b_i
//   Threshold   s_i = x_i / t_i, the contrast over the anomaly threshold t_i
// with the levels of normalisation.h (elementLevels: mean and deviation of all values; background
// and threshold by the chosen estimate), which the window shows and lets the user change.
// Index with weights w_i (1 each unless given):
//   Additive        I = Σ w_i·s_i           (the additive halo, 累加衬度 with contrasts)
//   Multiplicative  I = Π s_i^(w_i)         (the multiplicative halo, 累乘衬度), contrasts only:
//                   with z-scores, which change sign, a product means nothing and is refused.
// References: Beus, A. A. & Grigorian, S. V. (1977), Geochemical Exploration Methods for Mineral
// Deposits, Applied Publishing, ch. 5 (additive and multiplicative haloes); Rose, A. W., Hawkes,
// H. E. & Webb, J. S. (1979), Geochemistry in Mineral Exploration, 2nd ed., Academic Press, §3.
//
// Writing. The index is a SINGLE field of the same table (an existing field is asked about with
// "数据项 <name> 已存在, 是否覆盖?"): first the null "=-1E+38 Where [" any input is null (for the
// multiplicative index also at or below 0), then one Update over the records where every input
// counts as data (above -1E+30), in one transaction. The arithmetic is the store's, in double
// precision, rounded to single on writing.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "geochem/normalisation.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kSuperposeCaption = "多变量叠加处理";
inline constexpr const char* kSuperposeReportTitle = "     ----- 多变量叠加处理结果 ------";
inline constexpr const char* kMsgSuperposeTwoItems = "请选择两个以上元素项!";
inline constexpr const char* kMsgSuperposeNoField = "请输入新数据项名。";
inline constexpr const char* kMsgSuperposeFieldIsInput = "新数据项名不能与参加计算的数据项相同。";
inline constexpr const char* kMsgSuperposeProductOfZ = "累乘指数须采用背景值或异常下限标准化。";
inline constexpr const char* kMsgSuperposeBadWeight = "权重必须是数值: ";
inline constexpr const char* kMsgSuperposeBadLevel = "标准化参数必须大于 0: ";
inline constexpr const char* kMsgSuperposeDone = "多变量叠加处理完成。";

enum class Standardise : int { ZScore = 0, Background = 1, Threshold = 2 };
inline constexpr int kStandardiseCount = 3;
const std::array<const char*, kStandardiseCount>& standardiseCaptions();

enum class IndexKind : int { Additive = 0, Multiplicative = 1 };
inline constexpr int kIndexKindCount = 2;
const std::array<const char*, kIndexKindCount>& indexKindCaptions();

struct SuperposeElement {
  std::string name;
  double weight = 1;
  ElementLevels levels;  // mean, sd, background and threshold as used
};

struct SuperposeJob {
  std::string table;
  std::vector<SuperposeElement> elements;
  Standardise standardise = Standardise::Background;
  IndexKind index = IndexKind::Additive;
  std::string newField = "SumIndex";
};

// The levels of each named element from the table's values (for the window's grid and the CLI's
// defaults); the weights are 1.
std::vector<SuperposeElement> superposeParameters(Database& db, const std::string& table,
                                                  const std::vector<std::string>& names,
                                                  LevelEstimate estimate);

// The index as an expression of the bracketed fields, in the store's dialect.
std::string superposeExpression(const SuperposeJob& job);

struct SuperposeResult {
  Outcome outcome;
  std::int64_t written = 0;  // records given a value
  std::int64_t count = 0;    // of the index: values, minimum, maximum, mean
  double minimum = 0, maximum = 0, mean = 0;
  std::string report;
};

// Checks the job, asks about an existing field (No: nothing changes, an empty failure text) and
// writes the index.
SuperposeResult runSuperpose(Database& db, const SuperposeJob& job, Interaction& ui,
                             Progress& progress = noProgress());

}  // namespace sarnoth::geochem
