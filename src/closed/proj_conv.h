// ProjConv: the projection library of coordinate conversion (Geo_SetProjParam and its partners).
//
// What it computes
//   The forward (longitude, latitude → x, y) and inverse (x, y → longitude, latitude) mapping of
//   one of 30 projections on the ellipsoid (or sphere) given by its two axes, with false easting
//   and northing; the zone numbers and central meridians of the UTM and the 6° and 3°
//   Gauss-Krüger zones; the angle text forms D.MMSS and DDDMMSS.s; the length unit of a side.
//   Longitudes and latitudes are decimal degrees (radians when the flag argument is 0), x and y
//   metres, x to the east.
//
// How
//   Every projection number maps to one operation of the PROJ library (one table row each,
//   prep/projection_table.cpp, stating the operation and which record values reach it). A
//   record is turned into a PROJ string and one transformation object is made for it; objects are
//   kept by their string, so setting the same record again (as a caller does per point when the
//   central meridian follows each point's zone) reuses the object. Batches go through
//   proj_trans_generic. A ProjConv owns its own PROJ context: use one per thread.
//   PROJ 9.1 has an operation for every entry, the oblated equal-area (oea, Snyder 1988) and
//   the interrupted Mollweide (imoll, Goode's lobes) included; only the inverse of Wagner VII is
//   missing there and is ours.
//
// How exact
//   As PROJ: the transverse Mercator (entries 1 to 4) is the Poder/Engsager extended Krüger
//   series, a few nanometres within 3900 km of the central meridian; the others are the closed
//   forms of Snyder (1987) or their iterative inverses to 1e-10 rad or better. PROJ has no inverse
//   of Wagner VII (27); ours inverts its azimuthal construction in closed form (proj_conv.cpp).
//   Round trips return longitude and latitude to 1e-9° inside each projection's domain.
//
// Where it fails
//   A point the projection cannot map (latitude beyond ±90°, the far side of an orthographic or
//   perspective view, beyond 90° of a gnomonic centre, an x, y outside the image where the
//   inverse can tell: the orthographic disc, the Wagner VII outline) gives HUGE_VAL in both
//   outputs and a non-zero status; the next point is independent of it. A record PROJ refuses
//   (two standard parallels on opposite sides at equal distance, a perspective point on the
//   surface) makes Geo_SetProjParam return non-zero, with PROJ's own text in lastError().
//
// References
//   J. P. Snyder, Map Projections — A Working Manual, USGS Professional Paper 1395, 1987.
//   J. P. Snyder and P. M. Voxland, An Album of Map Projections, USGS Professional Paper 1453,
//   1989 (Wagner VII).
//   J. P. Snyder, Oblated equal-area projections for regions of oval shape, The American
//   Cartographer 15(1), 1988.
//   PROJ contributors, PROJ coordinate transformation software library, https://proj.org (9.1).
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

typedef struct pj_ctx PJ_CONTEXT;
typedef struct PJconsts PJ;

namespace sarnoth::projconv {

inline constexpr int kProjectionCount = 30;
inline constexpr int kRecordSize = 26;

// The 26 values of a projection record, in this order. Angles are decimal degrees, lengths
// metres. The last values are the side's unit and window state, kept so that a record restores
// the frames it came from.
enum Slot : int {
  kNumber = 0,     // projection number 0..29 (the output list's order)
  kSemiMajor = 1,  // a; for a sphere the radius
  kSemiMinor = 2,  // b; equal to a for a sphere
  kScale = 3,      // k0 on the central meridian or centre line
  kCentralMeridian = 4,
  kOriginLatitude = 5,  // latitude of origin; of true scale for 16 and 29
  kParallel1 = 6,       // first standard parallel; latitude of the first point of 19
  kParallel2 = 7,       // second standard parallel; latitude of the second point of 19
  kLongitude1 = 8,      // longitude of the first point of 19
  kLongitude2 = 9,      // longitude of the second point of 19
  kFalseEasting = 10,
  kFalseNorthing = 11,
  kHeight = 12,       // height of the perspective point above the surface (14)
  kAzimuth = 13,      // azimuth of the centre line, east of north (20)
  kRotation = 14,     // rotation θ of the oblated equal-area projection (28)
  kShapeM = 15,       // shape parameter m of the oblated equal-area projection (28)
  kShapeN = 16,       // shape parameter n (28)
  kUnit = 17,         // 0 km, 1 m, 2 unit factor; geographic: 0 DDD.dd, 1 D.MMSS, 2 DDDMMSS.s
  kUnitFactor = 18,   // units in a metre, for unit 2
  kZonePrefix = 19,   // 1: x carries the zone number in front (entries 1 to 3)
  kSouth = 20,        // 1: southern hemisphere (UTM)
  kZone = 21,         // zone whose central meridian stands in kCentralMeridian; 0 none
  kEllipsoid = 22,    // index in the ellipsoid list, -1 none
  kListSide = 23,     // 0 the input list, 1 the output list
  kListIndex = 24,    // the row chosen in that list (the number differs at rows 11 and 16)
  kMeridianPair = 25  // 1: the two-point frame shows the meridians (chkLL cleared at 19)
};

struct ProjRecord {
  std::array<double, kRecordSize> v{};
  double operator[](Slot s) const { return v[static_cast<std::size_t>(s)]; }
  double& operator[](Slot s) { return v[static_cast<std::size_t>(s)]; }
  int number() const { return static_cast<int>(v[kNumber]); }
};

// Statuses of Geo_SetProjParam and the point calls.
enum Status : std::int16_t {
  kOk = 0,
  kBadNumber = 1,      // no such projection
  kBadAxes = 2,        // axes not finite, not positive, or the short above the long
  kBadScale = 3,       // scale not finite or not above 0
  kBadParameters = 4,  // PROJ refused the record (see lastError)
  kNotSet = 5,         // no record set yet
  kPointFailed = 6,    // this point cannot be mapped (outputs HUGE_VAL)
};

// The PROJ string of a record: "+proj=tmerc +lat_0=0 +lon_0=117 …". Empty for the geographic
// entry 0 and for a number outside 0..29.
std::string projString(const ProjRecord& r);

// One caller's projection library. Not shared between threads.
class ProjConv {
 public:
  ProjConv();
  ~ProjConv();
  ProjConv(const ProjConv&) = delete;
  ProjConv& operator=(const ProjConv&) = delete;

  // Loads a record; the transformation object for its string is made once and kept.
  std::int16_t Geo_SetProjParam(const ProjRecord& r);
  const ProjRecord& record() const { return record_; }

  // One point. flag 1: longitude and latitude in degrees, 0: radians. Returns kOk, or
  // kPointFailed with HUGE_VAL in both outputs. The geographic entry 0 copies through.
  std::int16_t Geo_LngLatToXY(double lng, double lat, double& x, double& y, int flag = 1);
  std::int16_t Geo_XYToLngLat(double x, double y, double& lng, double& lat, int flag = 1);

  // Many points in place (degrees in and out). Points that fail hold HUGE_VAL; a NaN input
  // stays NaN. Returns the number of points that failed.
  std::size_t Geo_LngLatToXY(std::span<double> xs, std::span<double> ys);
  std::size_t Geo_XYToLngLat(std::span<double> xs, std::span<double> ys);

  // PROJ's text for the last refusal.
  const std::string& lastError() const { return error_; }
  // Transformation objects made so far (one per distinct record string).
  std::size_t objectCount() const { return cache_.size(); }

 private:
  std::size_t run(std::span<double> xs, std::span<double> ys, bool forward);

  PJ_CONTEXT* ctx_ = nullptr;
  std::map<std::string, PJ*> cache_;
  PJ* current_ = nullptr;
  bool geographic_ = false;
  bool set_ = false;
  ProjRecord record_;
  std::string error_;
  std::vector<unsigned char> nulls_;
};

// Zones. UTM zone n spans 6° from −180° + 6(n−1), central meridian 6n − 183. Gauss-Krüger 6°
// zone n spans 6(n−1)..6n east of Greenwich, central meridian 6n − 3; 3° zone n is centred on
// 3n and spans 3n ± 1.5°. Longitudes are normalised into −180..180 (UTM) or 0..360 (GK) first; a
// longitude on a border belongs to the zone to its east.
int Geo_calcUTMZone(double lng);
int Geo_calcGS6Zone(double lng);
int Geo_calcGS3Zone(double lng);
double Geo_calcUTMZoneC(int zone);
double Geo_calcGS6ZoneC(int zone);
double Geo_calcGS3ZoneC(int zone);

// Angle forms. D.MMSS: 102.3045 is 102°30'45" (fraction digits after the fourth are decimals of
// seconds). DDDMMSS.s: 1023045.5 is 102°30'45.5". The sign applies to the whole angle. The
// conversions to the text forms carry seconds up into minutes and degrees at 60, so 29.99999999°
// gives 30.0000, never 29.5960.
double Geo_DMS2toDecimalD(double dms);
double Geo_DMS3toDecimalD(double dms);
double Geo_DecimalDtoDMS2(double degrees);
double Geo_DecimalDtoDMS3(double degrees);

// Metres in one unit of a side: unit 0 kilometres (1000), 1 metres (1), 2 a unit factor, the
// number of units in a metre (a value is divided by it on the way in and multiplied on the way
// out: 10 for decimetres), giving 1 / factor. NaN for a factor not above 0 or another unit.
double Geo_unitfz(int unit, double factor);

}  // namespace sarnoth::projconv
