// Class statistics and correction (the tool "分类统计与校正"): numeric fields of a work-area
// table summarised class by class (a rock unit, a map sheet, a batch), and a field rescaled
// class by class to a common level (a background correction).
//
// What is computed, per checked field F of table T with class field C:
//  - by SQL aggregates on the store, in the Jet dialect and in this order:
//      Select [C],Count([F]),Avg([F]),StDev([F]),Max([F]),Min([F]) From [T]
//        Where [F] <> -1e+38 Group By [C]                                     (one row per class)
//      Select Count([F]),Avg([F]),StDev([F]),Max([F]),Min([F]) From [T] Where [F] <> -1e+38
//                                                              (the whole table, code 999999999)
//    StDev is the sample standard deviation (n − 1), shown under the header "方差" as it always
//    was; a Null aggregate shows -9999.
//  - for every row with at least 6 values, with the class condition <c> ("[C] = 3 And ",
//    "[C] = '奥陶系' And ", nothing for the whole table):
//      percentiles 25, 50, 75, 85, 95 by the sorted walk of
//        Select [F] From [T] Where <c>[F] <> -1e+38 Order by [F]
//        taking record i = n·p rounded half to even (1-based): no interpolation, so the median
//        of 1..6 is 3, not 3.5;
//      the geometric mean, exp of Select Avg(log([F])) From [T] Where <c>[F] > 0, in single
//        precision (values ≤ 0 do not enter);
//      the coefficient of variation s ÷ m in single precision (a mean of 0 stops the run);
//      the statistics after rejection, Select Count([F]),Avg([F]),StDev([F]) From [T] Where
//        <c>[F] <= <m + k·s> And [F] >= <m − k·s>, the limits as single-precision text, and
//        their coefficient of variation;
//    rows with fewer values show -9999 in all of these.
// Rows are kept as text (the list shows them so); the result table is written from that text.
//
// Correction: each list row's text (the field name, as the list holds it) is taken as the class
// code; a text that is not a number stops the correction with "数据计算错:类型不匹配" after the
// new field was made, as the tool has always done. For a numeric row text, the records of that
// class get new = value × c ÷ p in single precision, p the row's parameter (the sub-item the
// parameter list maps to, two places behind its own words: "最大值" reads the record count),
// and the null where the value is at most -1E+36. A row with p = 0 is passed over.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kClassStatCaption = "分类统计与校正";
inline constexpr const char* kMsgNoClassField = "请选择分类项,无分类代码不能进行统计！";
inline constexpr const char* kMsgNoStatItem = "请数据统计项！";
inline constexpr const char* kMsgClassIsItem = "分类项与数据项不能是同一项。";
inline constexpr const char* kMsgStatOverwrite = "检索结果表名已存在,是否覆盖?";
inline constexpr const char* kMsgNoStatResult = "无统计结果！";
inline constexpr const char* kMsgNoRecords = "数据表中无记录.";
inline constexpr const char* kMsgNoDataItem = "请选择计算数据项！";
inline constexpr const char* kMsgNoParameter = "请选择校正参数项！";
inline constexpr const char* kMsgNoNewField = "请输入存放校正结果字段名。";
inline constexpr const char* kMsgCorrected = "数据校正成功！";
inline constexpr const char* kMsgComputeFailed = "数据计算错:";
inline constexpr const char* kMsgCreateFailed = "创建新数据表错误, ";
inline constexpr const char* kMsgTypeMismatch = "类型不匹配";
inline constexpr const char* kStatNote = "统计计算";
inline constexpr const char* kWholeTableCode = "999999999";
inline constexpr const char* kClassStatTextHeader =
    " 统计项名 分类编码  记录 最大值 最小值 平均值 几何均值 百分25 中位数 百分75 百分85 百分95 "
    "方差 "
    "D记录 D均值 D方差 变异系数 D变异系数";

// The value a Null aggregate or an uncomputed statistic shows.
inline constexpr float kNoStatistic = -9999.0f;
// Rows with fewer values get no percentiles, geometric mean or rejection.
inline constexpr long long kMinClassCount = 6;

// The list's eighteen columns: the headers on opening, and the result table's fields.
const std::array<std::string, 18>& classStatHeaders();
const std::array<std::string, 18>& classStatFieldNames();
// The result table's field definitions: "统计项名" TEXT(15), "分类编码" LONG DEFAULT -1,
// "记录数" and "D记录" LONG, the others SINGLE DEFAULT -1E+38.
std::string classStatCreateSql(const std::string& table);

// The correction parameters (cboParI) and the sub-item each reads.
const std::vector<std::string>& correctionParameterNames();
int correctionSubItem(int parameterIndex);  // index + 2 below 9, index + 3 from 9

// One list row: cells[0] the field name, cells[1..17] the sub-items as text.
using ClassStatRow = std::array<std::string, 18>;

struct ClassStatJob {
  std::string table;
  std::string classField;
  bool classIsText = false;           // lstType "TEXT"; numeric codes are compared unquoted
  std::vector<std::string> items;     // the checked fields, in list order
  std::string deviationText = "2.5";  // txtDelN: k of the rejection limits m ± k·s
  bool save = false;                  // chkSave
  std::string newTable = "StatTbl";   // txtNewTbl
};

// "NUM" for a field of type Integer, Long, Single or Double, "TEXT" for any other.
std::string classFieldKind(const FieldDef& f);

// The statistics run. Fills `rows` as far as it comes; on a failing statement or a numeric fault
// the outcome carries the text shown and the rows stay as they came. The overwrite question of
// the result table goes through `ui`; answering No ends the run with nothing changed.
Outcome runClassStatistics(Database& db, const ClassStatJob& job, std::vector<ClassStatRow>& rows,
                           Interaction& ui, Progress& progress);

struct CorrectionJob {
  std::string table;
  std::string classField;
  std::string dataField;    // cboDataI
  int parameterIndex = -1;  // cboParI
  std::string constText = "1";
  std::string newField = "NewField";
};

// The correction. On success the outcome's text is "数据校正成功！"; on failure it carries
// "数据计算错:" and the description, leaving the new field and the records already changed.
Outcome runCorrection(Database& db, const CorrectionJob& job, const std::vector<ClassStatRow>& rows,
                      Progress& progress);

// The text save: the header line, then per row its text, sub-item 1 and sub-items 2 to 17, each
// followed by a blank. UTF-8 here; the caller writes it through the codec.
std::string classStatText(const std::vector<ClassStatRow>& rows);

}  // namespace sarnoth::geochem
