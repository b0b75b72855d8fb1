// The lists of coordinate conversion: the 30 projections with the PROJ operation each one maps
// to, the ellipsoids with their axes, the rules that say which parameters a projection takes,
// and the ready-made coordinate systems of China offered beside the parameter frames.
//
// Projection numbers follow the output list. The input list shows rows 11 and 16 the other way
// round ("等矩形投影" at 11, "等距方位投影" at 16); the number sent for a row follows its text,
// so the same text means the same projection on both sides. The parameter rules (which boxes are
// enabled, whether the sphere is forced) belong to the row as shown, whatever its number.
#pragma once

#include <string>
#include <vector>

namespace sarnoth::projtable {

inline constexpr int kInputSide = 0;
inline constexpr int kOutputSide = 1;
inline constexpr int kSphereEllipsoid = 23;   // "球体(R)"
inline constexpr int kUserEllipsoid = 24;     // "用户定义"
inline constexpr int kEverestGrowthRow = 19;  // selecting it appends kEverestGrowthText
inline constexpr const char* kEverestGrowthText = "埃维而尔斯特(Everest)1930/48";

// Parameters a row takes (the boxes it enables).
enum Use : unsigned {
  kUseCentralMeridian = 1u << 0,
  kUseOriginLatitude = 1u << 1,
  kUseParallels = 1u << 2,  // both standard parallels (m and n at row 28)
  kUseMore = 1u << 3,       // the false easting and northing of framMore
  kUseScale = 1u << 4,
  kUseAA = 1u << 5,  // txtAA: height (14), azimuth (20), rotation (28)
};

struct ProjectionRow {
  unsigned uses = 0;
  bool sphere = false;            // the ellipsoid list is set to the sphere and locked
  const char* aaCaption = "";     // the label of txtAA where it shows
  const char* scaleDefault = "";  // written into txtScaleF on selection ("" leaves it)
  const char* eastDefault = "";   // written into txtEE on selection ("" leaves it)
};

// The rules of list row 0..29 (nullptr outside).
const ProjectionRow* projectionRow(int index);
// The text of a row in a side's list, exactly as the list shows it.
std::string projectionCaption(int side, int index);
std::vector<std::string> projectionCaptions(int side);
// The projection number a row of a side's list stands for; -1 outside 0..29.
int projectionNumber(int side, int index);
// The list row of a number on a side (the inverse of projectionNumber).
int projectionIndex(int side, int number);

// One PROJ operation per projection number: the template of its PROJ string with the record
// values it takes in braces ({cm} central meridian, {lat0} origin latitude, {p1} {p2} standard
// parallels, {lon1} {lon2} the two longitudes of the two-point form, {k} scale, {fe} {fn} false
// easting and northing, {h} height, {az} azimuth, {theta} {m} {n} the oblated equal-area
// parameters, {pole} ±90 by the sign of the origin latitude, {lat_ts} the latitude of true scale
// of the polar stereographic). The ellipsoid is appended: "+R=a" when both axes are equal,
// "+a= +b=" otherwise. Number 0 (geographic) has no operation.
struct ProjectionOperation {
  int number;
  const char* name;    // English name of the projection
  const char* templ;   // PROJ string template
  const char* remark;  // how the window's parameters reach PROJ where it is not plain
};
const ProjectionOperation* projectionOperation(int number);

// The ellipsoid list: the text and the two axes as the list writes them into the boxes. Rows 23
// and 24 leave the boxes open for typing, row 24 leaves the axes as they are (empty texts).
struct EllipsoidRow {
  const char* caption;
  const char* semiMajor;
  const char* semiMinor;
};
const std::vector<EllipsoidRow>& ellipsoidRows();

// The unit options of a side: degrees for the geographic row 0, lengths for all others.
const std::vector<std::string>& angleUnitCaptions();  // " DDD.dd(度)", " DDD.MMSSss", " DDDMMSS.s"
const std::vector<std::string>& lengthUnitCaptions();  // " 公里 (km)", " 米 (m)", " 单位因子"

// --- ready-made coordinate systems ----------------------------------------------------------
//
// Geographic Beijing 1954, Xian 1980, CGCS2000 and WGS 84; their Gauss-Krüger 3° zones 25 to 45
// and 6° zones 13 to 23, each with the zone number in front of x ("zone 39", false easting
// 39 500 000 m) and without it ("CM 117E", false easting 500 000 m); WGS 84 UTM zones 1 to 60,
// north and south. Each is named as the EPSG registry names it, with its code (the codes run in
// blocks: Beijing 1954 3° 2401.., CM 2422.., 6° 21413.., CM 21453..; Xian 1980 3° 2349.., CM
// 2370.., 6° 2327.., CM 2338..; CGCS2000 3° 4513.., CM 4534.., 6° 4491.., CM 4502..; UTM 32601..
// and 32701..); any "EPSG:n" code may be given as well.
struct ReadyMadeSystem {
  std::string name;     // the registry's name, "CGCS2000 / 3-degree Gauss-Kruger zone 39"
  std::string caption;  // as the list shows it, "CGCS2000 3度带 39带 (带号+横坐标)"
  int epsg = 0;         // its EPSG code, 4527
};
const std::vector<ReadyMadeSystem>& readyMadeSystems();
// The caption of the list entry that stands for "use the parameter frames".
inline constexpr const char* kFramesEntry = "按投影参数";

}  // namespace sarnoth::projtable
