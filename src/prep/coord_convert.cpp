// Coordinate conversion: sides, the transformation of a run, and its sources. Declarations and
// the method card in prep/coord_convert.h.
#include "prep/coord_convert.h"

#include <proj.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <thread>

#include "prep/parallel_rows.h"
#include "prep/projection_table.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/scatter_file.h"
#include "workarea/table_store.h"

namespace sarnoth {

using namespace projconv;
namespace pt = projtable;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kBlock = 4096;         // points through PROJ at a time
constexpr std::int64_t kTableChunk = 65536;  // records read, converted and committed at a time
constexpr double kZoneWidth = 1e6;           // metres: the zone number stands above them in x

std::string trimmed(const std::string& s) { return filetext::trim(s); }

bool readNumber(const std::string& text, double& v) {
  return filetext::parseDouble(trimmed(text), v) && std::isfinite(v);
}

std::string lower(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}

// The zone kind of an entry: 3 for 3° Gauss-Krüger, 6 for 6°, 1 for UTM, 0 for none.
int zoneKind(int number) {
  switch (number) {
    case 1:
      return 3;
    case 2:
      return 6;
    case 3:
      return 1;
    default:
      return 0;
  }
}

int zoneOf(int kind, double lng) {
  switch (kind) {
    case 3:
      return Geo_calcGS3Zone(lng);
    case 6:
      return Geo_calcGS6Zone(lng);
    case 1:
      return Geo_calcUTMZone(lng);
    default:
      return 0;
  }
}

double zoneMeridian(int kind, int zone) {
  switch (kind) {
    case 3:
      return Geo_calcGS3ZoneC(zone);
    case 6:
      return Geo_calcGS6ZoneC(zone);
    default:
      return Geo_calcUTMZoneC(zone);
  }
}

int zoneCount(int kind) { return kind == 3 ? 120 : 60; }

// PROJ objects released with their owner.
struct PjDeleter {
  void operator()(PJ* p) const { proj_destroy(p); }
};
using PjPtr = std::unique_ptr<PJ, PjDeleter>;
struct CtxDeleter {
  void operator()(PJ_CONTEXT* c) const { proj_context_destroy(c); }
};
using CtxPtr = std::unique_ptr<PJ_CONTEXT, CtxDeleter>;

std::string pjError(PJ_CONTEXT* ctx) {
  const char* t = proj_context_errno_string(ctx, proj_context_errno(ctx));
  return t ? t : "";
}

// A CRS of the database by name, exact; null when there is none.
PjPtr crsByName(PJ_CONTEXT* ctx, const std::string& name) {
  PJ_TYPE types[] = {PJ_TYPE_GEOGRAPHIC_2D_CRS, PJ_TYPE_PROJECTED_CRS};
  PJ_OBJ_LIST* list = proj_create_from_name(ctx, "EPSG", name.c_str(), types, 2, 0, 0, nullptr);
  PjPtr found;
  if (!list) return found;
  for (int i = 0; i < proj_list_get_count(list) && !found; ++i) {
    PjPtr obj(proj_list_get(ctx, list, i));
    const char* n = obj ? proj_get_name(obj.get()) : nullptr;
    if (n && name == n) found = std::move(obj);
  }
  proj_list_destroy(list);
  return found;
}

struct Ellipsoid {
  double a = 0, b = 0;
};

Ellipsoid ellipsoidOf(PJ_CONTEXT* ctx, PJ* crs) {
  Ellipsoid e;
  PjPtr ell(proj_get_ellipsoid(ctx, crs));
  if (!ell) return e;
  int computed = 0;
  double invf = 0;
  proj_ellipsoid_get_parameters(ctx, ell.get(), &e.a, &e.b, &computed, &invf);
  return e;
}

bool sameEllipsoid(const Ellipsoid& x, const Ellipsoid& y) {
  return std::fabs(x.a - y.a) < 1e-3 && std::fabs(x.b - y.b) < 1e-3;
}

// The shortest text that reads back to the same double, at most 12 significant digits (0.1 mm
// on a prefixed Gauss-Krüger x, 1e-9° on a longitude).
std::string coordinateText(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.12g", v);
  return buf;
}

}  // namespace

const std::vector<std::string>& coordSourceCaptions() {
  static const std::vector<std::string> v = {"单点坐标转换", "工作区数据表",
                                             "Sarnoth 离散数据(ASCII)", "Sarnoth 离散数据(二进制)",
                                             "Sarnoth 图形数据(GPH)"};
  return v;
}

// --- systems of the database -----------------------------------------------------------------

SystemInfo describeSystem(const std::string& text) {
  SystemInfo info;
  std::string t = trimmed(text);
  if (t.empty()) return info;
  for (const auto& s : pt::readyMadeSystems())
    if (t == s.caption || t == s.name) t = "EPSG:" + std::to_string(s.epsg);
  // One context per thread for the look-ups: opening PROJ's database is the costly part.
  thread_local CtxPtr ctx = [] {
    CtxPtr c(proj_context_create());
    proj_log_level(c.get(), PJ_LOG_NONE);
    return c;
  }();
  PjPtr crs;
  std::string code = t;
  if (std::all_of(t.begin(), t.end(), [](char c) { return c >= '0' && c <= '9'; }))
    code = "EPSG:" + t;
  if (lower(code).rfind("epsg:", 0) == 0) {
    code = "EPSG:" + code.substr(5);
    crs.reset(proj_create(ctx.get(), code.c_str()));
  } else {
    crs = crsByName(ctx.get(), t);
  }
  if (!crs) return info;
  const PJ_TYPE type = proj_get_type(crs.get());
  if (type != PJ_TYPE_GEOGRAPHIC_2D_CRS && type != PJ_TYPE_PROJECTED_CRS) return info;
  const char* auth = proj_get_id_auth_name(crs.get(), 0);
  const char* id = proj_get_id_code(crs.get(), 0);
  if (!auth || !id) return info;
  info.ok = true;
  info.code = std::string(auth) + ":" + id;
  info.name = proj_get_name(crs.get());
  info.geographic = type == PJ_TYPE_GEOGRAPHIC_2D_CRS;
  return info;
}

// --- sides ----------------------------------------------------------------------------------

void applyEllipsoidRow(CoordSideTexts& t, int row) {
  const auto& rows = pt::ellipsoidRows();
  if (row < 0 || row >= static_cast<int>(rows.size())) return;
  t.ellipsoid = row;
  if (row == pt::kUserEllipsoid) return;
  t.semiMajor = rows[static_cast<std::size_t>(row)].semiMajor;
  t.semiMinor = rows[static_cast<std::size_t>(row)].semiMinor;
}

void applyProjectionRow(CoordSideTexts& t, int /*side*/, int row) {
  const pt::ProjectionRow* r = pt::projectionRow(row);
  if (!r) return;
  const int previous = t.projection;
  t.projection = row;
  // Degrees and lengths have their own options: a change of kind starts from the usual one.
  if (previous < 0 || (previous == 0) != (row == 0)) t.unit = row == 0 ? 0 : 1;
  t.parallel1 = row == 28 ? "3.5" : "25";
  t.parallel2 = row == 28 ? "1.4" : "47";
  if (*r->scaleDefault) t.scale = r->scaleDefault;
  if (*r->eastDefault) t.falseEasting = r->eastDefault;
  if (row == 1 || row == 2) t.falseNorthing = "0.0";
  if (row == 3) t.falseNorthing = t.south ? "10000000.0" : "0.0";
  if (row != 1 && row != 2 && row != 3) t.zonePrefix = false;
  if (row != 3) t.south = false;
  t.meridians = row == 19;  // chkLL starts cleared: the frame shows the two meridians
  if (r->sphere) applyEllipsoidRow(t, pt::kSphereEllipsoid);
}

CoordSideResult buildCoordSide(const CoordSideTexts& t, int side) {
  CoordSideResult res;
  const bool in = side == pt::kInputSide;
  auto fail = [&res](std::string text) {
    res.outcome = Outcome::failure(std::move(text));
    return res;
  };
  ProjRecord& r = res.side.record;
  r[kListSide] = side;

  if (!trimmed(t.system).empty()) {
    SystemInfo info = describeSystem(t.system);
    if (!info.ok) return fail(kMsgConvUnknownSystem + trimmed(t.system));
    res.side.system = info.code;
    r[kNumber] = -1;
    const int unit = t.unit < 0 ? (info.geographic ? 0 : 1) : t.unit;
    r[kUnit] = unit;
    if (unit > 2) return fail(kMsgConvBadParameter + std::string("单位"));
    if (!info.geographic && unit == 2) {
      double f = 0;
      if (!readNumber(t.unitFactor, f) || !(f > 0))
        return fail(in ? kMsgInputUnitFactor : kMsgOutputUnitFactor);
      r[kUnitFactor] = f;
    } else {
      r[kUnitFactor] = 1;
    }
    return res;
  }

  const pt::ProjectionRow* row = pt::projectionRow(t.projection);
  if (!row) return fail(in ? kMsgNoInputModel : kMsgNoOutputModel);
  const int number = pt::projectionNumber(side, t.projection);
  r[kNumber] = number;
  r[kListIndex] = t.projection;
  r[kEllipsoid] = t.ellipsoid;
  r[kMeridianPair] = t.meridians ? 1 : 0;

  // Axes, as doubles. The sphere (its row, or a row that forces it) takes the first box as the
  // radius: both boxes read "球体半径(米)".
  double a = 0, b = 0;
  const bool sphere = row->sphere || t.ellipsoid == pt::kSphereEllipsoid;
  if (!readNumber(t.semiMajor, a) || !(a > 0)) return fail(in ? kMsgInputAxes : kMsgOutputAxes);
  if (sphere) {
    b = a;
  } else if (!readNumber(t.semiMinor, b) || !(b > 0) || b > a) {
    return fail(in ? kMsgInputAxes : kMsgOutputAxes);
  }
  r[kSemiMajor] = a;
  r[kSemiMinor] = b;

  // The angles, D.MMSS. A box the row takes must hold a number; the others (locked, with their
  // defaults) count as read.
  auto angle = [&](const std::string& text, bool used, Slot slot, bool dms) -> bool {
    double v = 0;
    if (!readNumber(text, v)) {
      if (used) return false;
      v = 0;
    }
    r[slot] = dms ? Geo_DMS2toDecimalD(v) : v;
    return true;
  };
  const bool usesCm = row->uses & pt::kUseCentralMeridian;
  const bool usesLat0 = row->uses & pt::kUseOriginLatitude;
  const bool usesPar = row->uses & pt::kUseParallels;
  const bool usesMore = row->uses & pt::kUseMore;
  const bool usesScale = row->uses & pt::kUseScale;
  const bool usesAA = row->uses & pt::kUseAA;
  const bool oea = t.projection == 28;
  const bool twoPoint = number == 19;
  struct Box {
    const std::string& text;
    bool used;
    const char* label;
    Slot slot;
    bool dms;
  };
  const Box boxes[] = {
      {t.centralMeridian, usesCm, "中央经线", kCentralMeridian, true},
      {t.originLatitude, usesLat0, "起算纬度", kOriginLatitude, true},
      {t.parallel1, usesPar, oea ? "参数 m" : "第一标准纬线", oea ? kShapeM : kParallel1, !oea},
      {t.parallel2, usesPar, oea ? "参数 n" : "第二标准纬线", oea ? kShapeN : kParallel2, !oea},
      {t.longitude1, twoPoint, "第一标准经线", kLongitude1, true},
      {t.longitude2, twoPoint, "第二标准经线", kLongitude2, true},
  };
  for (const Box& bx : boxes)
    if (!angle(bx.text, bx.used, bx.slot, bx.dms))
      return fail(kMsgConvBadParameter + std::string(bx.label));
  // txtAA: height in metres (14), an azimuth (20) or a rotation (28) in D.MMSS.
  {
    double v = 0;
    if (!readNumber(t.aa, v)) {
      if (usesAA) return fail(kMsgConvBadParameter + std::string(row->aaCaption));
      v = 0;
    }
    if (number == 14) r[kHeight] = v;
    if (number == 20) r[kAzimuth] = Geo_DMS2toDecimalD(v);
    if (number == 28) r[kRotation] = Geo_DMS2toDecimalD(v);
  }
  // False easting and northing: Gauss-Krüger and UTM take the defaults their rows write.
  const bool usesOffsets = usesMore || zoneKind(number) != 0;
  double fe = 0, fn = 0;
  if (!readNumber(t.falseEasting, fe)) {
    if (usesOffsets) return fail(kMsgConvBadParameter + std::string("东偏移量(米)"));
    fe = 0;
  }
  if (!readNumber(t.falseNorthing, fn)) {
    if (usesOffsets) return fail(kMsgConvBadParameter + std::string("北偏移量(米)"));
    fn = 0;
  }
  r[kFalseEasting] = fe;
  r[kFalseNorthing] = fn;

  // Units.
  const int unit = t.unit < 0 ? (number == 0 ? 0 : 1) : t.unit;
  if (unit > 2) return fail(kMsgConvBadParameter + std::string("单位"));
  r[kUnit] = unit;
  r[kUnitFactor] = 1;
  if (number != 0 && unit == 2) {
    double f = 0;
    if (!readNumber(t.unitFactor, f) || !(f > 0))
      return fail(in ? kMsgInputUnitFactor : kMsgOutputUnitFactor);
    r[kUnitFactor] = f;
  }

  // The scale, read as a single.
  {
    double k = 1;
    if (!readNumber(t.scale, k)) {
      if (usesScale) return fail(in ? kMsgInputScale : kMsgOutputScale);
      k = 1;
    }
    k = static_cast<double>(static_cast<float>(k));
    if (usesScale && !(k > 0)) return fail(in ? kMsgInputScale : kMsgOutputScale);
    r[kScale] = usesScale ? k : 1.0;
  }
  r[kZonePrefix] = t.zonePrefix && zoneKind(number) != 0 ? 1 : 0;
  r[kSouth] = t.south && number == 3 ? 1 : 0;
  return res;
}

// --- command-line sides ------------------------------------------------------------------------

namespace {

const std::map<std::string, int>& shortProjectionNames() {
  static const std::map<std::string, int> m = {
      {"geo", 0},    {"gk3", 1},     {"gk6", 2},     {"utm", 3},    {"tm", 4},     {"lcc", 5},
      {"aea", 6},    {"poly", 7},    {"eqdc", 8},    {"stere", 9},  {"laea", 10},  {"aeqd", 11},
      {"gnom", 12},  {"ortho", 13},  {"nsper", 14},  {"sinu", 15},  {"eqc", 16},   {"mill", 17},
      {"vandg", 18}, {"omerc1", 19}, {"omerc2", 20}, {"robin", 21}, {"goode", 22}, {"moll", 23},
      {"imoll", 24}, {"hammer", 25}, {"wag4", 26},   {"wag7", 27},  {"oea", 28},   {"pstere", 29}};
  return m;
}

}  // namespace

bool parseCoordSideSpec(const std::string& sideText, int side, CoordSideTexts& t,
                        std::string& error) {
  t = CoordSideTexts{};
  const std::string s = trimmed(sideText);
  if (s.empty()) {
    error = "empty coordinate system";
    return false;
  }
  if (s.find('=') == std::string::npos && s.find(',') == std::string::npos) {
    t.system = s;
    return true;
  }
  std::vector<std::pair<std::string, std::string>> items;
  for (const std::string& item : filetext::splitAt(s, ',')) {
    const std::string it = trimmed(item);
    if (it.empty()) continue;
    const auto eq = it.find('=');
    if (eq == std::string::npos)
      items.push_back({lower(it), ""});
    else
      items.push_back({lower(trimmed(it.substr(0, eq))), trimmed(it.substr(eq + 1))});
  }
  // The projection row first: selecting it writes its defaults, which the other items override.
  for (const auto& [key, value] : items) {
    if (key != "proj") continue;
    int number = -1;
    auto named = shortProjectionNames().find(lower(value));
    long long n = 0;
    if (named != shortProjectionNames().end())
      number = named->second;
    else if (filetext::parseInt(value, n) && n >= 0 && n < kProjectionCount)
      number = pt::projectionNumber(side, static_cast<int>(n));  // a row of this side's list
    if (number < 0) {
      error = "unknown projection: " + value;
      return false;
    }
    applyProjectionRow(t, side, pt::projectionIndex(side, number));
  }
  for (const auto& [key, value] : items) {
    if (key == "proj") continue;
    if (key == "sys" || key == "epsg") {
      t.system = key == "epsg" ? "EPSG:" + value : value;
    } else if (key == "ellps") {
      long long n = 0;
      if (!filetext::parseInt(value, n) || n < 0 ||
          n >= static_cast<long long>(pt::ellipsoidRows().size())) {
        error = "unknown ellipsoid row: " + value;
        return false;
      }
      applyEllipsoidRow(t, static_cast<int>(n));
    } else if (key == "a" || key == "r") {
      t.semiMajor = value;
      if (key == "r") t.semiMinor = value;
    } else if (key == "b") {
      t.semiMinor = value;
    } else if (key == "k") {
      t.scale = value;
    } else if (key == "cm") {
      t.centralMeridian = value;
    } else if (key == "lat0") {
      t.originLatitude = value;
    } else if (key == "lat1" || key == "m") {
      t.parallel1 = value;
    } else if (key == "lat2" || key == "n") {
      t.parallel2 = value;
    } else if (key == "lon1") {
      t.longitude1 = value;
    } else if (key == "lon2") {
      t.longitude2 = value;
    } else if (key == "fe") {
      t.falseEasting = value;
    } else if (key == "fn") {
      t.falseNorthing = value;
    } else if (key == "aa" || key == "h" || key == "az" || key == "theta") {
      t.aa = value;
    } else if (key == "prefix") {
      t.zonePrefix = true;
    } else if (key == "south") {
      t.south = true;
      if (t.projection == 3) t.falseNorthing = "10000000.0";
    } else if (key == "unit") {
      const std::string u = lower(value);
      if (u == "km" || u == "dd") {
        t.unit = 0;
      } else if (u == "m" || u == "dms") {
        t.unit = 1;
      } else if (u == "dddmmss") {
        t.unit = 2;
      } else if (u == "dm") {
        t.unit = 2;
        t.unitFactor = "10";
      } else if (u.rfind("f:", 0) == 0) {
        t.unit = 2;
        t.unitFactor = value.substr(2);
      } else {
        error = "unknown unit: " + value;
        return false;
      }
    } else {
      error = "unknown item: " + key;
      return false;
    }
  }
  // A geographic frame reads decimal degrees unless told otherwise; "unit=dms" is D.MMSS there.
  return true;
}

// --- the plan and the workers of a run --------------------------------------------------------

struct CoordTransform::Plan {
  struct Side {
    bool frames = true;
    ProjRecord record;
    int number = 0;
    bool geographic = false;
    int zoneKind = 0;  // zones followed: output Gauss-Krüger/UTM, or input with the prefix
    bool prefix = false;
    double metresPerUnit = 1;
    int angleForm = 0;  // geographic: 0 DDD.dd, 1 D.MMSS, 2 DDDMMSS.s
    std::string code;   // a system of the database
    double crsUnitToMetre = 1;
    Ellipsoid ellipsoid;
  };
  Side in, out;
  bool datum = false;       // a datum operation joins two systems of the database
  bool datumKnown = false;  // PROJ knows a shift for them (not only the ballpark)
  std::string note;
};

struct CoordTransform::Worker {
  CtxPtr ctx;
  PjPtr inOp, outOp, datumOp;  // lon/lat (degrees) ↔ the systems' easting, northing
  ProjConv inConv, outConv;
  std::vector<double> gx, gy, lng0, lat0;
  std::vector<int> zones;
  std::vector<std::size_t> idx;
  std::vector<unsigned char> wasNull;
  std::size_t objects = 0;
  bool ready = false;  // init succeeded; a worker that could not be made fails its points

  // Makes the objects of a side of the database: lon/lat of its geodetic CRS to its own axes.
  static PjPtr sideOp(PJ_CONTEXT* ctx, const Plan::Side& s, std::string& error) {
    PjPtr crs(proj_create(ctx, s.code.c_str()));
    if (!crs) {
      error = pjError(ctx);
      return {};
    }
    PjPtr geod(proj_crs_get_geodetic_crs(ctx, crs.get()));
    PjPtr op(proj_create_crs_to_crs_from_pj(ctx, geod.get(), crs.get(), nullptr, nullptr));
    if (!op) {
      error = pjError(ctx);
      return {};
    }
    return PjPtr(proj_normalize_for_visualization(ctx, op.get()));
  }

  bool init(const Plan& p, std::string& error) {
    ctx.reset(proj_context_create());
    proj_log_level(ctx.get(), PJ_LOG_NONE);
    auto setup = [&](const Plan::Side& s, PjPtr& op, ProjConv& conv) -> bool {
      if (!s.frames) {
        if (s.geographic) return true;
        op = sideOp(ctx.get(), s, error);
        if (!op) return false;
        ++objects;
        return true;
      }
      const std::int16_t st = conv.Geo_SetProjParam(s.record);
      if (st != kOk) {
        error = conv.lastError();
        return false;
      }
      return true;
    };
    if (!setup(p.in, inOp, inConv) || !setup(p.out, outOp, outConv)) return false;
    if (p.datum) {
      PjPtr a(proj_create(ctx.get(), p.in.code.c_str()));
      PjPtr b(proj_create(ctx.get(), p.out.code.c_str()));
      PjPtr ga(proj_crs_get_geodetic_crs(ctx.get(), a.get()));
      PjPtr gb(proj_crs_get_geodetic_crs(ctx.get(), b.get()));
      PjPtr op(proj_create_crs_to_crs_from_pj(ctx.get(), ga.get(), gb.get(), nullptr, nullptr));
      if (!op) {
        error = pjError(ctx.get());
        return false;
      }
      datumOp.reset(proj_normalize_for_visualization(ctx.get(), op.get()));
      ++objects;
    }
    return true;
  }

  // Calls fn(zone, xs, ys) for the points of each zone, gathered, and scatters the results back.
  // Points with zone 0 (already failed or null) are left alone.
  template <class Fn>
  void byZone(double* x, double* y, std::size_t n, Fn&& fn) {
    int first = 0;
    bool one = true;
    for (std::size_t i = 0; i < n; ++i) {
      if (zones[i] == 0) continue;
      if (!first) first = zones[i];
      if (zones[i] != first) one = false;
    }
    if (!first) return;
    if (one) {
      // The usual case: the whole block lies in one zone (failed points pass through PROJ as
      // HUGE_VAL or NaN and stay so).
      fn(first, std::span<double>(x, n), std::span<double>(y, n));
      return;
    }
    std::vector<int> seen;
    for (std::size_t i = 0; i < n; ++i)
      if (zones[i] != 0 && std::find(seen.begin(), seen.end(), zones[i]) == seen.end())
        seen.push_back(zones[i]);
    for (int z : seen) {
      idx.clear();
      for (std::size_t i = 0; i < n; ++i)
        if (zones[i] == z) idx.push_back(i);
      gx.resize(idx.size());
      gy.resize(idx.size());
      for (std::size_t k = 0; k < idx.size(); ++k) {
        gx[k] = x[idx[k]];
        gy[k] = y[idx[k]];
      }
      fn(z, std::span<double>(gx), std::span<double>(gy));
      for (std::size_t k = 0; k < idx.size(); ++k) {
        x[idx[k]] = gx[k];
        y[idx[k]] = gy[k];
      }
    }
  }

  // Points failed so far hold HUGE_VAL; null inputs NaN.
  static void fail(double& x, double& y) { x = y = HUGE_VAL; }

  std::size_t run(const Plan& p, double* x, double* y, std::size_t n,
                  std::atomic<std::int64_t>& unshifted) {
    if (!ready) {
      std::size_t failed = 0;
      for (std::size_t i = 0; i < n; ++i) {
        failed += !(std::isnan(x[i]) || std::isnan(y[i]));
        x[i] = y[i] = kNaN;
      }
      return failed;
    }
    wasNull.assign(n, 0);
    zones.assign(n, 0);
    for (std::size_t i = 0; i < n; ++i)
      if (std::isnan(x[i]) || std::isnan(y[i])) {
        wasNull[i] = 1;
        x[i] = y[i] = kNaN;
      } else if (!std::isfinite(x[i]) || !std::isfinite(y[i])) {
        fail(x[i], y[i]);
      }

    // Input side to longitude and latitude in degrees.
    const Plan::Side& in = p.in;
    if (in.geographic) {
      for (std::size_t i = 0; i < n; ++i) {
        if (!std::isfinite(x[i])) continue;
        if (in.angleForm == 1) {
          x[i] = Geo_DMS2toDecimalD(x[i]);
          y[i] = Geo_DMS2toDecimalD(y[i]);
        } else if (in.angleForm == 2) {
          x[i] = Geo_DMS3toDecimalD(x[i]);
          y[i] = Geo_DMS3toDecimalD(y[i]);
        }
        if (!(std::fabs(y[i]) <= 90.0)) fail(x[i], y[i]);
      }
    } else {
      for (std::size_t i = 0; i < n; ++i) {
        if (!std::isfinite(x[i])) continue;
        x[i] *= in.metresPerUnit;
        y[i] *= in.metresPerUnit;
        if (in.prefix) {
          const double zone = std::floor(x[i] / kZoneWidth);
          if (zone >= 1 && zone <= zoneCount(in.zoneKind)) {
            zones[i] = static_cast<int>(zone);
            x[i] -= zone * kZoneWidth;
          } else if (zone == 0) {
            zones[i] = -1;  // no zone in front: the central meridian of the frame
          } else {
            fail(x[i], y[i]);
          }
        } else {
          zones[i] = -1;
        }
      }
      if (in.frames) {
        byZone(x, y, n, [&](int zone, std::span<double> xs, std::span<double> ys) {
          ProjRecord r = in.record;
          if (zone > 0) {
            r[kCentralMeridian] = zoneMeridian(in.zoneKind, zone);
            r[kZone] = zone;
          }
          if (inConv.Geo_SetProjParam(r) != kOk) {
            for (std::size_t k = 0; k < xs.size(); ++k) fail(xs[k], ys[k]);
            return;
          }
          inConv.Geo_XYToLngLat(xs, ys);
        });
      } else {
        if (in.crsUnitToMetre != 1)
          for (std::size_t i = 0; i < n; ++i) {
            x[i] /= in.crsUnitToMetre;
            y[i] /= in.crsUnitToMetre;
          }
        proj_trans_generic(inOp.get(), PJ_INV, x, sizeof(double), n, y, sizeof(double), n, nullptr,
                           0, 0, nullptr, 0, 0);
        proj_errno_reset(inOp.get());
      }
    }

    // The datum, where two systems of the database meet.
    if (datumOp) {
      if (p.datumKnown) {
        lng0.assign(x, x + n);
        lat0.assign(y, y + n);
      }
      proj_trans_generic(datumOp.get(), PJ_FWD, x, sizeof(double), n, y, sizeof(double), n, nullptr,
                         0, 0, nullptr, 0, 0);
      proj_errno_reset(datumOp.get());
      if (p.datumKnown) {
        std::int64_t same = 0;
        for (std::size_t i = 0; i < n; ++i)
          if (std::isfinite(x[i]) && x[i] == lng0[i] && y[i] == lat0[i]) ++same;
        if (same) unshifted += same;
      }
    }

    // Longitude and latitude to the output side.
    const Plan::Side& out = p.out;
    if (out.geographic) {
      for (std::size_t i = 0; i < n; ++i) {
        if (!std::isfinite(x[i])) continue;
        if (!(std::fabs(y[i]) <= 90.0)) {
          fail(x[i], y[i]);
          continue;
        }
        if (out.angleForm == 1) {
          x[i] = Geo_DecimalDtoDMS2(x[i]);
          y[i] = Geo_DecimalDtoDMS2(y[i]);
        } else if (out.angleForm == 2) {
          x[i] = Geo_DecimalDtoDMS3(x[i]);
          y[i] = Geo_DecimalDtoDMS3(y[i]);
        }
      }
    } else {
      if (out.frames) {
        for (std::size_t i = 0; i < n; ++i)
          zones[i] = !std::isfinite(x[i]) ? 0 : out.zoneKind ? zoneOf(out.zoneKind, x[i]) : -1;
        byZone(x, y, n, [&](int zone, std::span<double> xs, std::span<double> ys) {
          ProjRecord r = out.record;
          if (zone > 0) {
            r[kCentralMeridian] = zoneMeridian(out.zoneKind, zone);
            r[kZone] = zone;
          }
          if (outConv.Geo_SetProjParam(r) != kOk) {
            for (std::size_t k = 0; k < xs.size(); ++k) fail(xs[k], ys[k]);
            return;
          }
          outConv.Geo_LngLatToXY(xs, ys);
          if (out.prefix && zone > 0)
            for (double& v : xs)
              if (std::isfinite(v)) v += zone * kZoneWidth;
        });
      } else {
        for (std::size_t i = 0; i < n; ++i)
          if (std::isfinite(y[i]) && !(std::fabs(y[i]) <= 90.0)) fail(x[i], y[i]);
        proj_trans_generic(outOp.get(), PJ_FWD, x, sizeof(double), n, y, sizeof(double), n, nullptr,
                           0, 0, nullptr, 0, 0);
        proj_errno_reset(outOp.get());
        if (out.crsUnitToMetre != 1)
          for (std::size_t i = 0; i < n; ++i) {
            x[i] *= out.crsUnitToMetre;
            y[i] *= out.crsUnitToMetre;
          }
      }
      for (std::size_t i = 0; i < n; ++i) {
        x[i] /= out.metresPerUnit;
        y[i] /= out.metresPerUnit;
      }
    }

    std::size_t failed = 0;
    for (std::size_t i = 0; i < n; ++i) {
      if (wasNull[i]) {
        x[i] = y[i] = kNaN;
      } else if (!std::isfinite(x[i]) || !std::isfinite(y[i])) {
        x[i] = y[i] = kNaN;
        ++failed;
      }
    }
    return failed;
  }
};

CoordTransform::CoordTransform() = default;
CoordTransform::~CoordTransform() = default;

std::unique_ptr<CoordTransform> CoordTransform::create(const CoordSide& in, const CoordSide& out,
                                                       std::string& message) {
  std::unique_ptr<CoordTransform> t(new CoordTransform);
  t->plan_ = std::make_unique<Plan>();
  Plan& p = *t->plan_;
  CtxPtr ctx(proj_context_create());
  proj_log_level(ctx.get(), PJ_LOG_NONE);
  PjPtr crsIn, crsOut;

  auto describe = [&](const CoordSide& s, Plan::Side& d, PjPtr& crs, bool output) -> bool {
    d.record = s.record;
    const int unit = static_cast<int>(s.record[kUnit]);
    if (!s.system.empty()) {
      d.frames = false;
      d.code = s.system;
      crs.reset(proj_create(ctx.get(), d.code.c_str()));
      if (!crs) {
        message = kMsgConvUnknownSystem + s.system;
        return false;
      }
      d.geographic = proj_get_type(crs.get()) == PJ_TYPE_GEOGRAPHIC_2D_CRS;
      d.ellipsoid = ellipsoidOf(ctx.get(), crs.get());
      if (!d.geographic) {
        PjPtr cs(proj_crs_get_coordinate_system(ctx.get(), crs.get()));
        double factor = 1;
        if (cs &&
            proj_cs_get_axis_info(ctx.get(), cs.get(), 0, nullptr, nullptr, nullptr, &factor,
                                  nullptr, nullptr, nullptr) &&
            factor > 0)
          d.crsUnitToMetre = factor;
      }
    } else {
      d.number = s.record.number();
      d.geographic = d.number == 0;
      d.ellipsoid = {s.record[kSemiMajor], s.record[kSemiMinor]};
      d.prefix = s.record[kZonePrefix] != 0;
      d.zoneKind = (output || d.prefix) ? zoneKind(d.number) : 0;
    }
    if (d.geographic) {
      d.angleForm = unit;
    } else {
      d.metresPerUnit = Geo_unitfz(unit, s.record[kUnitFactor]);
      if (!(d.metresPerUnit > 0)) {
        message = output ? kMsgOutputUnitFactor : kMsgInputUnitFactor;
        return false;
      }
    }
    return true;
  };
  if (!describe(in, p.in, crsIn, false) || !describe(out, p.out, crsOut, true)) return nullptr;

  // The datum: only two systems of the database carry one.
  if (crsIn && crsOut) {
    PjPtr ga(proj_crs_get_geodetic_crs(ctx.get(), crsIn.get()));
    PjPtr gb(proj_crs_get_geodetic_crs(ctx.get(), crsOut.get()));
    if (!proj_is_equivalent_to(ga.get(), gb.get(), PJ_COMP_EQUIVALENT)) {
      p.datum = true;
      PJ_OPERATION_FACTORY_CONTEXT* oc = proj_create_operation_factory_context(ctx.get(), nullptr);
      proj_operation_factory_context_set_spatial_criterion(
          ctx.get(), oc, PROJ_SPATIAL_CRITERION_PARTIAL_INTERSECTION);
      proj_operation_factory_context_set_grid_availability_use(
          ctx.get(), oc, PROJ_GRID_AVAILABILITY_DISCARD_OPERATION_IF_MISSING_GRID);
      PJ_OBJ_LIST* ops = proj_create_operations(ctx.get(), ga.get(), gb.get(), oc);
      int known = 0;
      std::string first;
      for (int i = 0; ops && i < proj_list_get_count(ops); ++i) {
        PjPtr op(proj_list_get(ctx.get(), ops, i));
        if (!op || proj_coordoperation_has_ballpark_transformation(ctx.get(), op.get())) continue;
        if (!known++) {
          first = proj_get_name(op.get());
          const char* auth = proj_get_id_auth_name(op.get(), 0);
          const char* code = proj_get_id_code(op.get(), 0);
          if (auth && code) first += std::string(" (") + auth + ":" + code + ")";
        }
      }
      if (ops) proj_list_destroy(ops);
      proj_operation_factory_context_destroy(oc);
      p.datumKnown = known > 0;
      p.note = known ? kNoteDatumShift + first + (known > 1 ? " 等 (按点位选用)" : "")
                     : std::string(kNoteEllipsoidOnly);
    }
  } else if (!sameEllipsoid(p.in.ellipsoid, p.out.ellipsoid)) {
    p.note = kNoteEllipsoidOnly;
  }

  t->workers_.resize(detail::kMaxBandThreads);
  std::string error;
  auto w = std::make_unique<Worker>();
  if (!w->init(p, error)) {
    message = kMsgConvProjRefused + error;
    return nullptr;
  }
  w->ready = true;
  t->workers_[0] = std::move(w);
  return t;
}

CoordTransform::Worker& CoordTransform::worker(int t) {
  auto& slot = workers_[static_cast<std::size_t>(t)];
  if (!slot) {
    // The first run has proved the parameters, so a further thread's objects are made alike.
    auto w = std::make_unique<Worker>();
    std::string error;
    w->ready = w->init(*plan_, error);
    slot = std::move(w);
  }
  return *slot;
}

bool CoordTransform::convert(double& x, double& y) {
  return worker(0).run(*plan_, &x, &y, 1, unshifted_) == 0 && !std::isnan(x);
}

std::size_t CoordTransform::convertAll(std::span<double> xs, std::span<double> ys, int threads) {
  const std::size_t n = std::min(xs.size(), ys.size());
  std::atomic<std::size_t> failed{0};
  detail::forRowBands(
      static_cast<int>(n),
      [&](int b, int e, int t) {
        Worker& w = worker(t);
        std::size_t f = 0;
        for (std::size_t i = static_cast<std::size_t>(b); i < static_cast<std::size_t>(e);
             i += kBlock) {
          const std::size_t m = std::min(kBlock, static_cast<std::size_t>(e) - i);
          f += w.run(*plan_, xs.data() + i, ys.data() + i, m, unshifted_);
        }
        failed += f;
      },
      static_cast<int>(2 * kBlock), threads);
  return failed;
}

bool CoordTransform::inputGeographic() const { return plan_->in.geographic; }
bool CoordTransform::outputGeographic() const { return plan_->out.geographic; }

std::string CoordTransform::note() const {
  std::string n = plan_->note;
  const std::int64_t u = unshifted_;
  if (plan_->datumKnown && u > 0)
    n += "; " + std::to_string(u) + " 点在基准转换参数的适用范围之外, 只作椭球转换";
  return n;
}

std::size_t CoordTransform::objectCount() const {
  std::size_t c = 0;
  for (const auto& w : workers_)
    if (w) c += w->objects + w->inConv.objectCount() + w->outConv.objectCount();
  return c;
}

// --- sources ----------------------------------------------------------------------------------

PointConversion convertPointTexts(CoordTransform& t, const std::string& xText,
                                  const std::string& yText) {
  PointConversion pc;
  double x = 0, y = 0;
  if (!readNumber(xText, x)) {
    pc.outcome = Outcome::failure(kMsgConvBadParameter + std::string("横坐标"));
    return pc;
  }
  if (!readNumber(yText, y)) {
    pc.outcome = Outcome::failure(kMsgConvBadParameter + std::string("纵坐标"));
    return pc;
  }
  if (!t.convert(x, y)) {
    pc.outcome = Outcome::failure(kMsgConvPointFailed);
    return pc;
  }
  pc.x = coordinateText(x);
  pc.y = coordinateText(y);
  pc.note = t.note();
  return pc;
}

namespace {

// An identifier quoted for SQLite.
std::string qid(const std::string& name) {
  std::string s = "\"";
  for (char c : name) {
    if (c == '"') s += '"';
    s += c;
  }
  return s + "\"";
}

int fieldIndex(const std::vector<FieldDef>& fields, const std::string& name) {
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (lower(fields[i].name) == lower(name)) return static_cast<int>(i);
  return -1;
}

struct Stmt {
  sqlite3_stmt* st = nullptr;
  ~Stmt() { sqlite3_finalize(st); }
};

// A value read for conversion: nulls of the table (-1E+38 and below -1E+30, SQL NULL, text that
// is not a number) become NaN.
double readCell(sqlite3_stmt* st, int col) {
  // One call into the statement per cell; the value is read without taking the lock again.
  sqlite3_value* v = sqlite3_column_value(st, col);
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER:
    case SQLITE_FLOAT: {
      const double d = sqlite3_value_double(v);
      return isNullValue(d) ? kNaN : d;
    }
    case SQLITE_TEXT: {
      double d = 0;
      const char* t = reinterpret_cast<const char*>(sqlite3_value_text(v));
      return t && filetext::parseDouble(t, d) && !isNullValue(d) ? d : kNaN;
    }
    default:
      return kNaN;
  }
}

}  // namespace

namespace {

// The records of one chunk: their ids, the values read (x, y per pair) and, once converted, the
// values to write.
struct TableChunk {
  std::vector<std::int64_t> ids;
  std::vector<std::vector<double>> xs, ys;  // per pair
  std::int64_t failed = 0;
  std::size_t cursor = 0;  // where the edit of the chunk stands

  void reset(std::size_t pairs) {
    ids.clear();
    xs.assign(pairs, {});
    ys.assign(pairs, {});
    failed = 0;
    cursor = 0;
  }
  bool empty() const { return ids.empty(); }
};

// What the edit statement asks of a record: converted_value(rowid, k) is the k-th written value
// of that record (x of pair k/2 for even k, y for odd), null written as -1E+38 and singles
// rounded as the store keeps them.
struct ChunkEdit {
  TableChunk* chunk = nullptr;
  std::vector<bool> single;  // per written value
};

constexpr const char* kEditFunction = "sarnoth_converted_value";

void convertedValue(sqlite3_context* ctx, int, sqlite3_value** argv) {
  auto* edit = static_cast<ChunkEdit*>(sqlite3_user_data(ctx));
  TableChunk& c = *edit->chunk;
  const std::int64_t id = sqlite3_value_int64(argv[0]);
  const int k = sqlite3_value_int(argv[1]);
  // The statement walks the chunk in rowid order, so the cursor is nearly always right.
  if (c.cursor >= c.ids.size() || c.ids[c.cursor] != id) {
    auto it = std::lower_bound(c.ids.begin(), c.ids.end(), id);
    if (it == c.ids.end() || *it != id) {
      sqlite3_result_error(ctx, "record outside the chunk", -1);
      return;
    }
    c.cursor = static_cast<std::size_t>(it - c.ids.begin());
  }
  const auto pair = static_cast<std::size_t>(k / 2);
  double v = (k % 2 ? c.ys : c.xs)[pair][c.cursor];
  v = std::isnan(v) ? NULL_VALUE_D : v;
  if (edit->single[static_cast<std::size_t>(k)]) v = static_cast<float>(v);
  sqlite3_result_double(ctx, v);
  if (k + 1 == static_cast<int>(edit->single.size())) ++c.cursor;
}

}  // namespace

Outcome convertTableFields(Database& db, const std::string& table,
                           const std::vector<FieldPair>& pairs, const std::string& newType,
                           const BlockConverter& fn, Progress& progress, CoordRunReport& report) {
  std::thread converting;
  sqlite3* h = db.handle();
  bool functionSet = false;
  auto finish = [&] {
    if (converting.joinable()) converting.join();
    if (functionSet)
      sqlite3_create_function_v2(h, kEditFunction, 2, SQLITE_UTF8, nullptr, nullptr, nullptr,
                                 nullptr, nullptr);
  };
  try {
    if (table.empty() || !db.tableExists(table)) return Outcome::failure(kMsgConvNoTable);
    std::vector<FieldDef> fields = db.fields(table);
    for (const auto& p : pairs) {
      if (p.x.empty() || fieldIndex(fields, p.x) < 0) return Outcome::failure(kMsgConvNoXField);
      if (p.y.empty() || fieldIndex(fields, p.y) < 0) return Outcome::failure(kMsgConvNoYField);
      if (trimmed(p.newX).empty() || trimmed(p.newY).empty())
        return Outcome::failure(kMsgConvNoNewField);
    }
    const std::int64_t total = db.rowCount(table);
    if (total == 0) return Outcome::failure(kMsgConvEmptyTable);

    // The new fields, made where missing.
    for (const auto& p : pairs)
      for (const std::string& name : {trimmed(p.newX), trimmed(p.newY)})
        if (fieldIndex(fields, name) < 0) {
          db.execute("Alter Table " + bracket(table) + " Add Column " + bracket(name) + " " +
                     newType);
          fields = db.fields(table);
        }
    ChunkEdit edit;
    for (const auto& p : pairs)
      for (const std::string& name : {trimmed(p.newX), trimmed(p.newY)})
        edit.single.push_back(fields[static_cast<std::size_t>(fieldIndex(fields, name))].type ==
                              JetType::Single);

    // Record by record in the table's order, as a dynaset walks it. A chunk is read, converted
    // on the other cores while the next is read and the one before is written, and committed
    // on its own: a failure or a stop leaves the records done so far converted. The edit takes
    // its values through a function of the record's id, so one statement edits a whole chunk.
    if (sqlite3_create_function_v2(h, kEditFunction, 2, SQLITE_UTF8, &edit, convertedValue, nullptr,
                                   nullptr, nullptr) != SQLITE_OK)
      return Outcome::failure(sqlite3_errmsg(h));
    functionSet = true;
    std::string select = "SELECT rowid";
    for (const auto& p : pairs) select += ", " + qid(p.x) + ", " + qid(p.y);
    select += " FROM " + qid(table) + " WHERE rowid > ? ORDER BY rowid LIMIT ?";
    std::string update = "UPDATE " + qid(table) + " SET ";
    for (std::size_t k = 0; k < 2 * pairs.size(); ++k) {
      const std::string& name = k % 2 ? pairs[k / 2].newY : pairs[k / 2].newX;
      update += (k ? ", " : "") + qid(trimmed(name)) + " = " + kEditFunction + "(rowid, " +
                std::to_string(k) + ")";
    }
    update += " WHERE rowid > ? AND rowid <= ?";
    Stmt rd, wr;
    if (sqlite3_prepare_v2(h, select.c_str(), -1, &rd.st, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(h, update.c_str(), -1, &wr.st, nullptr) != SQLITE_OK) {
      std::string e = sqlite3_errmsg(h);
      finish();
      return Outcome::failure(e);
    }

    const std::size_t np = pairs.size();
    std::int64_t lastRead = std::numeric_limits<std::int64_t>::min();
    auto read = [&](TableChunk& c) {
      c.reset(np);
      sqlite3_reset(rd.st);
      sqlite3_bind_int64(rd.st, 1, lastRead);
      sqlite3_bind_int64(rd.st, 2, kTableChunk);
      int rc;
      while ((rc = sqlite3_step(rd.st)) == SQLITE_ROW) {
        c.ids.push_back(sqlite3_column_int64(rd.st, 0));
        for (std::size_t k = 0; k < np; ++k) {
          c.xs[k].push_back(readCell(rd.st, static_cast<int>(1 + 2 * k)));
          c.ys[k].push_back(readCell(rd.st, static_cast<int>(2 + 2 * k)));
        }
      }
      if (rc != SQLITE_DONE) throw StoreError(sqlite3_errmsg(h));
      if (!c.empty()) lastRead = c.ids.back();
    };
    auto convert = [&fn, np](TableChunk& c) {
      for (std::size_t k = 0; k < np; ++k)
        c.failed += static_cast<std::int64_t>(fn(c.xs[k], c.ys[k]));
    };
    std::int64_t lastWritten = std::numeric_limits<std::int64_t>::min();
    auto write = [&](TableChunk& c) {
      edit.chunk = &c;
      db.begin();
      sqlite3_reset(wr.st);
      sqlite3_bind_int64(wr.st, 1, lastWritten);
      sqlite3_bind_int64(wr.st, 2, c.ids.back());
      if (sqlite3_step(wr.st) != SQLITE_DONE) {
        std::string e = sqlite3_errmsg(h);
        db.rollback();
        throw StoreError(e);
      }
      db.commit();
      lastWritten = c.ids.back();
      report.records += static_cast<std::int64_t>(c.ids.size());
      report.failed += c.failed;
    };

    progress.setMaximum(total);
    progress.setValue(0);
    TableChunk chunks[2];
    TableChunk* cur = &chunks[0];
    TableChunk* next = &chunks[1];
    read(*cur);
    converting = std::thread(convert, std::ref(*cur));
    while (true) {
      read(*next);
      converting.join();
      if (!next->empty()) converting = std::thread(convert, std::ref(*next));
      write(*cur);
      progress.setValue(report.records);
      if (!progress.pump()) {
        finish();
        return Outcome::failure("");  // stopped: the records done stay converted
      }
      if (next->empty()) break;
      std::swap(cur, next);
    }
    finish();
    return Outcome::success(kStatusTableDone);
  } catch (const StoreError& e) {
    finish();
    return Outcome::failure(e.what());
  }
}

Outcome convertTable(Database& db, const std::string& table, const std::string& xField,
                     const std::string& yField, const std::string& newX, const std::string& newY,
                     CoordTransform& t, Progress& progress, CoordRunReport& report, int threads) {
  if (table.empty()) return Outcome::failure(kMsgConvNoTable);
  if (xField.empty()) return Outcome::failure(kMsgConvNoXField);
  if (yField.empty()) return Outcome::failure(kMsgConvNoYField);
  Outcome o = convertTableFields(
      db, table, {{xField, yField, newX, newY}}, "SINGLE",
      [&](std::span<double> x, std::span<double> y) { return t.convertAll(x, y, threads); },
      progress, report);
  report.note = t.note();
  return o;
}

namespace {

int scatterField(const ScatterFile& f, const std::string& name) {
  for (int i = 0; i < f.fieldCount(); ++i)
    if (trimmed(f.names[static_cast<std::size_t>(i)]) == trimmed(name)) return i;
  return -1;
}

ScatterReadResult readScatterForConversion(const std::string& path, bool binary) {
  if (!binary) return readAsciiScatter(path);
  ScatterReadResult r = readBinaryScatter(path);
  if (r.ok() || r.error == ScatterError::OpenFailed || r.error == ScatterError::BadMagic) return r;
  // The layout the old conversion wrote: counts at offset 32, no note block.
  ScatterReadResult old = readBinaryScatter(path, 32);
  return old.ok() ? old : r;
}

}  // namespace

std::vector<std::string> scatterFieldNames(const std::string& path, bool binary,
                                           std::string& message) {
  ScatterReadResult r = readScatterForConversion(path, binary);
  if (!r.ok()) {
    message = scatterMessage(ScatterReader::CoordConversion, r.error);
    return {};
  }
  return r.file.names;
}

Outcome convertScatterFile(const std::string& inPath, const std::string& outPath, bool binary,
                           const std::string& xField, const std::string& yField, CoordTransform& t,
                           CoordRunReport& report, int threads) {
  if (trimmed(inPath).empty()) return Outcome::failure(kMsgConvNoInputFile);
  if (trimmed(outPath).empty()) return Outcome::failure(kMsgConvNoOutputFile);
  ScatterReadResult r = readScatterForConversion(inPath, binary);
  if (!r.ok()) return Outcome::failure(scatterMessage(ScatterReader::CoordConversion, r.error));
  ScatterFile& f = r.file;
  const int xi = scatterField(f, xField), yi = scatterField(f, yField);
  if (xi < 0) return Outcome::failure(kMsgConvNoXField);
  if (yi < 0) return Outcome::failure(kMsgConvNoYField);
  const std::size_t n = static_cast<std::size_t>(f.recordCount);
  const std::size_t w = static_cast<std::size_t>(f.fieldCount());
  std::vector<double> xs(n), ys(n);
  for (std::size_t i = 0; i < n; ++i) {
    const float vx = f.values[i * w + static_cast<std::size_t>(xi)];
    const float vy = f.values[i * w + static_cast<std::size_t>(yi)];
    xs[i] = isNullValue(vx) ? kNaN : vx;
    ys[i] = isNullValue(vy) ? kNaN : vy;
  }
  report.failed += static_cast<std::int64_t>(t.convertAll(xs, ys, threads));
  for (std::size_t i = 0; i < n; ++i) {
    f.values[i * w + static_cast<std::size_t>(xi)] =
        std::isnan(xs[i]) ? NULL_VALUE : static_cast<float>(xs[i]);
    f.values[i * w + static_cast<std::size_t>(yi)] =
        std::isnan(ys[i]) ? NULL_VALUE : static_cast<float>(ys[i]);
  }
  const ScatterError e =
      binary ? writeBinaryScatter(outPath, f, kEndDataShort) : writeAsciiScatter(outPath, f);
  if (e != ScatterError::None)
    return Outcome::failure(
        scatterMessage(ScatterReader::CoordConversion, ScatterError::WriteFailed));
  report.records += static_cast<std::int64_t>(n);
  report.note = t.note();
  return Outcome::success(kMsgFileDone);
}

Outcome convertGphFile(const std::string& inPath, const std::string& outPath, CoordTransform& t,
                       CoordRunReport& report, int threads) {
  if (trimmed(inPath).empty()) return Outcome::failure(kMsgConvNoInputFile);
  if (trimmed(outPath).empty()) return Outcome::failure(kMsgConvNoOutputFile);
  GphReadResult r = readGph(inPath);
  if (!r.ok()) return Outcome::failure(gphMessage(GphReader::CoordConversion, r.error));
  auto converted = [](const std::string& code) {
    const std::string c = lower(code);
    return c == "pp" || c == "pt" || c == "tt" || c == "pr" || c == "pl";
  };
  std::vector<double> xs, ys;
  for (const auto& e : r.file.elements)
    if (converted(e.code))
      for (std::size_t v = 0; v + 1 < e.xy.size(); v += 2) {
        xs.push_back(e.xy[v]);
        ys.push_back(e.xy[v + 1]);
      }
  report.failed += static_cast<std::int64_t>(t.convertAll(xs, ys, threads));
  std::size_t k = 0;
  for (auto& e : r.file.elements)
    if (converted(e.code))
      for (std::size_t v = 0; v + 1 < e.xy.size(); v += 2, ++k) {
        e.xy[v] = std::isnan(xs[k]) ? NULL_VALUE_D : xs[k];
        e.xy[v + 1] = std::isnan(ys[k]) ? NULL_VALUE_D : ys[k];
      }
  if (writeGph(outPath, r.file) != GphError::None)
    return Outcome::failure(gphMessage(GphReader::CoordConversion, GphError::WriteFailed));
  report.records += static_cast<std::int64_t>(xs.size());
  report.note = t.note();
  return Outcome::success(kMsgFileDone);
}

}  // namespace sarnoth
