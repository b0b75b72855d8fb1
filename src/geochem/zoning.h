// The vertical zoning sequence of ore-related elements (the tool "分带序列", frmElemsClassify;
// command `zoning`): which elements concentrate in the upper and which in the lower parts of a
// primary halo, from samples taken on several levels (mine levels, drill-hole depths, benches).
//
// Linear productivity. On each level j, element i has M_ij = Σ (C − C_b)·L over the level's
// samples with C > C_b: C the content, C_b the element's background (0 unless given, which
// makes M the plain linear metal amount), L the sample's length along the section (1 each
// without a length field). A table that already holds one row of productivities per level gives
// them back unchanged (C_b = 0, L = 1). Contents count as data when above -1E+30; samples
// without a level or with a length not above 0 are left out.
//
// The zoning-index method (Grigorian; Beus, A. A. & Grigorian, S. V. (1977), Geochemical
// Exploration Methods for Mineral Deposits, Applied Publishing, ch. 5; Grigorian, S. V. (1992),
// Mining Geochemistry, Nedra):
//  1. Each element's productivities are brought to one order of magnitude: M'_ij = M_ij·10^k_i,
//     k_i = −⌊log10 max_j M_ij⌋, so that every element's largest value lies in [1, 10).
//  2. The zoning index D_ij = M'_ij / Σ_i M'_ij: the element's share on the level.
//  3. An element stands at the level of its largest index (the upper one on a tie); elements
//     are ordered from the top level down.
//  4. Elements whose largest index lies on the same level are ordered by the gradient of their
//     index: on the top level by G = D_top/D_bottom, the largest G uppermost; on the bottom level
//     by G = D_bottom/D_top, the largest G lowest; on a level between by the difference
//     ΔD = D_above − D_below of the levels next to it, the largest uppermost. A D of 0 in a
//     divisor makes G infinite.
// The variability-gradient method (the option): each element's G = ΣM(upper half of the
// levels)/ΣM(lower half) (the middle level of an odd count in neither), the sequence by G from
// the largest down; a zero lower half makes G infinite, both halves zero make it 1.
// At least two levels and two elements are needed; an element without productivity on any level
// cannot be placed and stops the run with its name.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kZoningCaption = "分带序列";
inline constexpr const char* kZoningReportTitle = "     ----- 元素分带序列计算结果 ------";
inline constexpr const char* kMsgZoningChooseLevel = "请选择中段(标高)数据项。";
inline constexpr const char* kMsgZoningTwoItems = "请选择两个以上元素项!";
inline constexpr const char* kMsgZoningTwoLevels = "分带序列计算至少需要两个中段。";
inline constexpr const char* kMsgZoningNoProductivity =
    "元素在各中段的线金属量均为 0, 不能参加分带计算: ";
inline constexpr const char* kMsgZoningBadBackground = "背景值必须是不小于 0 的数值: ";
inline constexpr const char* kMsgZoningLevelIsItem = "中段数据项不能同时作为元素项。";

enum class ZoningMethod : int { ZoningIndex = 0, Gradient = 1 };
inline constexpr int kZoningMethodCount = 2;
const std::array<const char*, kZoningMethodCount>& zoningMethodCaptions();

enum class LevelOrder : int { Elevation = 0, Number = 1 };
// "标高(数值大者在上)", "中段序号(数值小者在上)".
const std::array<const char*, 2>& levelOrderCaptions();

struct ZoningJob {
  std::string table;
  std::string levelField;
  std::string lengthField;            // empty: every sample counts 1
  std::vector<std::string> elements;  // in list order
  std::vector<double> backgrounds;    // one per element, or empty for 0 each
  ZoningMethod method = ZoningMethod::ZoningIndex;
  LevelOrder order = LevelOrder::Elevation;
};

struct ZoningResult {
  Outcome outcome;
  std::vector<double> levels;         // top to bottom
  std::vector<std::int64_t> samples;  // per level
  std::int64_t skipped = 0;           // samples without a level or length
  std::vector<std::string> elements;
  std::vector<std::vector<double>> productivity;  // M [element][level]
  std::vector<int> exponent;                      // k per element
  std::vector<std::vector<double>> index;         // D [element][level]
  std::vector<int> peak;                          // level of the largest D per element
  std::vector<double> peakGradient;  // G or ΔD that orders an element within its peak level
  std::vector<double> gradient;      // the variability gradient per element
  std::vector<int> sequence;         // elements, top to bottom
  std::string report;
};

// The sequence from productivities M[element][level], levels from the top down. The names only
// label the failure text and the report.
ZoningResult zoningFromProductivity(const std::vector<std::string>& elements,
                                    const std::vector<std::vector<double>>& productivity,
                                    ZoningMethod method);

// Reads the table, forms the productivities and the sequence, and writes the report.
ZoningResult runZoning(Database& db, const ZoningJob& job);

// The report of a result (part of runZoning).
std::string zoningReport(const ZoningJob& job, const ZoningResult& r);

}  // namespace sarnoth::geochem
