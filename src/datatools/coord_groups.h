// Coordinate group conversion (坐标组转换, the tool frmDataP): several pairs of coordinate fields
// of one table — a sample's x and y, a line's start and end — converted in one run, each pair
// into two new fields, by one of three conversions:
//   - the angle text forms: DDD.dd, D.MMSS and DDDMMSS.s (Geo_DMS2toDecimalD and partners,
//     closed/proj_conv.h), both fields of a pair being angles (longitude and latitude);
//   - the length units: kilometres, metres or a unit factor (units in a metre, Geo_unitfz);
//   - a projection conversion between two sides (prep/coord_convert.h), with its datum note.
// The new fields are DOUBLE (a prefixed Gauss-Krüger x needs more than a single's 24 bits), made
// where missing and overwritten where present. Nulls (-1E+38 and below -1E+30) stay null; a
// point that cannot be converted becomes null. Records are converted in the table's order and
// committed in blocks, so a stop leaves the records done converted.
#pragma once

#include <string>
#include <vector>

#include "prep/coord_convert.h"
#include "workarea/table_store.h"

namespace sarnoth {

inline constexpr const char* kDataPCaption = "坐标组转换";
inline constexpr const char* kMsgGroupNoPairs = "请添加坐标数据项对.";
inline constexpr const char* kMsgGroupDuplicateField = "新数据项名称重复: ";  // + the name

enum class GroupConversion { Angle = 0, Unit = 1, Projection = 2 };
// "角度格式转换", "长度单位转换", "投影坐标转换"
const std::vector<std::string>& groupConversionCaptions();
// The pair a window proposes for two fields: new names field + "_X" and field + "_Y", the rule
// of the coordinate conversion window.
FieldPair proposePair(const std::string& x, const std::string& y);

struct CoordGroupJob {
  std::string table;
  std::vector<FieldPair> pairs;
  GroupConversion kind = GroupConversion::Projection;
  int angleFrom = 1, angleTo = 0;  // 0 DDD.dd, 1 D.MMSS, 2 DDDMMSS.s
  int unitFrom = 0, unitTo = 1;    // 0 km, 1 m, 2 factor
  double factorFrom = 1, factorTo = 1;
  CoordSide from, to;  // the projection conversion's sides
};

// Checks the job (table, pairs, distinct new names, factors) and runs it. `threads` as
// CoordTransform::convertAll.
Outcome runCoordGroups(Database& db, const CoordGroupJob& job, Progress& progress,
                       CoordRunReport& report, int threads = 0);

}  // namespace sarnoth
