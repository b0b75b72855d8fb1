// ProjConv over the PROJ library: records to PROJ strings, one transformation object per
// distinct string, zones and angle forms. Declarations and the method card in closed/proj_conv.h.
#include "closed/proj_conv.h"

#include <proj.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "prep/projection_table.h"

namespace sarnoth::projconv {
namespace {

constexpr double kDegToRad = M_PI / 180.0;
constexpr double kRadToDeg = 180.0 / M_PI;

// A number as PROJ reads it back to the same double.
std::string num(double v) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.17g", v);
  return buf;
}

bool validAxes(double a, double b) {
  return std::isfinite(a) && std::isfinite(b) && a > 0 && b > 0 && b <= a;
}

}  // namespace

std::string projString(const ProjRecord& r) {
  const projtable::ProjectionOperation* op = projtable::projectionOperation(r.number());
  if (!op || !*op->templ) return {};
  const double lat0 = r[kOriginLatitude];
  std::string out;
  for (const char* p = op->templ; *p; ++p) {
    if (*p != '{') {
      out += *p;
      continue;
    }
    const char* end = p;
    while (*end && *end != '}') ++end;
    const std::string key(p + 1, end);
    double v = 0;
    if (key == "cm")
      v = r[kCentralMeridian];
    else if (key == "lat0")
      v = lat0;
    else if (key == "p1")
      v = r[kParallel1];
    else if (key == "p2")
      v = r[kParallel2];
    else if (key == "lon1")
      v = r[kLongitude1];
    else if (key == "lon2")
      v = r[kLongitude2];
    else if (key == "k")
      v = r[kScale];
    else if (key == "fe")
      v = r[kFalseEasting];
    else if (key == "fn")
      v = r[kFalseNorthing];
    else if (key == "h")
      v = r[kHeight];
    else if (key == "az")
      v = r[kAzimuth];
    else if (key == "theta")
      v = r[kRotation];
    else if (key == "m")
      v = r[kShapeM];
    else if (key == "n")
      v = r[kShapeN];
    else if (key == "pole")
      v = lat0 < 0 ? -90.0 : 90.0;
    else if (key == "lat_ts")
      v = lat0 != 0 ? lat0 : 90.0;
    out += num(v);
    p = *end ? end : end - 1;
  }
  const double a = r[kSemiMajor], b = r[kSemiMinor];
  if (a == b)
    out += " +R=" + num(a);
  else
    out += " +a=" + num(a) + " +b=" + num(b);
  return out;
}

ProjConv::ProjConv() : ctx_(proj_context_create()) {
  // Everything a record needs is in its string: no database or grid files are looked up.
  proj_log_level(ctx_, PJ_LOG_NONE);
}

ProjConv::~ProjConv() {
  for (auto& [key, pj] : cache_) proj_destroy(pj);
  proj_context_destroy(ctx_);
}

std::int16_t ProjConv::Geo_SetProjParam(const ProjRecord& r) {
  set_ = false;
  current_ = nullptr;
  error_.clear();
  const int number = r.number();
  if (number < 0 || number >= kProjectionCount || r[kNumber] != number) return kBadNumber;
  if (!validAxes(r[kSemiMajor], r[kSemiMinor])) return kBadAxes;
  record_ = r;
  geographic_ = number == 0;
  if (geographic_) {
    set_ = true;
    return kOk;
  }
  const std::string templ = projtable::projectionOperation(number)->templ;
  if (templ.find("{k}") != std::string::npos && !(std::isfinite(r[kScale]) && r[kScale] > 0))
    return kBadScale;
  const std::string def = projString(r);
  auto it = cache_.find(def);
  if (it == cache_.end()) {
    PJ* pj = proj_create(ctx_, def.c_str());
    if (!pj) {
      error_ = proj_context_errno_string(ctx_, proj_context_errno(ctx_));
      proj_context_errno(ctx_);
      return kBadParameters;
    }
    it = cache_.emplace(def, pj).first;
  }
  current_ = it->second;
  set_ = true;
  return kOk;
}

std::int16_t ProjConv::Geo_LngLatToXY(double lng, double lat, double& x, double& y, int flag) {
  if (!set_) return kNotSet;
  double xs[1] = {flag == 1 ? lng : lng * kRadToDeg};
  double ys[1] = {flag == 1 ? lat : lat * kRadToDeg};
  const bool failed = run(xs, ys, true) > 0 || !std::isfinite(xs[0]) || !std::isfinite(ys[0]);
  x = failed ? HUGE_VAL : xs[0];
  y = failed ? HUGE_VAL : ys[0];
  return failed ? kPointFailed : kOk;
}

std::int16_t ProjConv::Geo_XYToLngLat(double x, double y, double& lng, double& lat, int flag) {
  if (!set_) return kNotSet;
  double xs[1] = {x}, ys[1] = {y};
  const bool failed = run(xs, ys, false) > 0 || !std::isfinite(xs[0]) || !std::isfinite(ys[0]);
  if (failed) {
    lng = lat = HUGE_VAL;
    return kPointFailed;
  }
  lng = flag == 1 ? xs[0] : xs[0] * kDegToRad;
  lat = flag == 1 ? ys[0] : ys[0] * kDegToRad;
  return kOk;
}

std::size_t ProjConv::Geo_LngLatToXY(std::span<double> xs, std::span<double> ys) {
  return set_ ? run(xs, ys, true) : xs.size();
}

std::size_t ProjConv::Geo_XYToLngLat(std::span<double> xs, std::span<double> ys) {
  return set_ ? run(xs, ys, false) : xs.size();
}

namespace {

// Wagner VII, whose inverse PROJ lacks. The forward mapping (PROJ's wag7; K. Wagner 1941, in
// J. P. Snyder and P. M. Voxland, An Album of Map Projections, USGS PP 1453, 1989, p. 228) is
// the equatorial Lambert azimuthal equal-area projection of the point (θ, λ/3), sin θ =
// sin 65° sin φ, stretched by 2.66723 in x and 1.24104 in y:
//   x = 2.66723 R X,  y = 1.24104 R Y,  (X, Y) = √(2 / (1 + cos θ cos(λ/3))) (cos θ sin(λ/3), sin
//   θ).
// So the inverse undoes the stretch and inverts the azimuthal projection (Snyder 1987,
// eqs. 20-14, 20-15 and 24-16 with φ1 = 0): ρ = √(X² + Y²), c = 2 asin(ρ / 2),
// sin θ = Y sin c / ρ, λ/3 = atan2(X sin c, ρ cos c); then φ = asin(sin θ / sin 65°). A point
// outside the map's outline (|sin θ| > sin 65°, |λ| > 180°) fails.
constexpr double kWag7SinMax = 0.90630778703664996;  // sin 65°, as PROJ's forward uses it
constexpr double kWag7Cx = 2.66723, kWag7Cy = 1.24104;

bool wagner7Inverse(double x, double y, double& lam, double& phi) {
  const double X = x / kWag7Cx, Y = y / kWag7Cy;
  const double rho = std::hypot(X, Y);
  if (rho > 2.0) return false;
  if (rho == 0) {
    lam = phi = 0;
    return true;
  }
  const double c = 2.0 * std::asin(rho / 2.0);
  const double sinTheta = Y * std::sin(c) / rho;
  const double mu = std::atan2(X * std::sin(c), rho * std::cos(c));
  if (std::fabs(sinTheta) > kWag7SinMax * (1 + 1e-12) || std::fabs(mu) > M_PI / 3 * (1 + 1e-12))
    return false;
  phi = std::asin(std::clamp(sinTheta / kWag7SinMax, -1.0, 1.0));
  lam = 3.0 * mu;
  return true;
}

}  // namespace

std::size_t ProjConv::run(std::span<double> xs, std::span<double> ys, bool forward) {
  const std::size_t n = std::min(xs.size(), ys.size());
  std::size_t failed = 0;
  auto isNull = [&](std::size_t i) { return std::isnan(xs[i]) || std::isnan(ys[i]); };
  // A latitude beyond the poles fails before PROJ sees it (PROJ lets 1e-12 rad through).
  auto checkLatitude = [&](std::size_t i) {
    if (isNull(i)) return;
    if (!(std::fabs(ys[i]) <= 90.0) || !std::isfinite(xs[i])) {
      xs[i] = ys[i] = HUGE_VAL;
      ++failed;
    }
  };
  if (geographic_) {
    for (std::size_t i = 0; i < n; ++i) checkLatitude(i);
    return failed;
  }
  // Nulls (NaN) are kept apart: PROJ would report them as failures.
  nulls_.assign(n, 0);
  for (std::size_t i = 0; i < n; ++i)
    if (isNull(i)) {
      nulls_[i] = 1;
      xs[i] = ys[i] = HUGE_VAL;
    }
  if (forward) {
    for (std::size_t i = 0; i < n; ++i) {
      checkLatitude(i);
      if (std::isfinite(xs[i])) {
        xs[i] *= kDegToRad;
        ys[i] *= kDegToRad;
      }
    }
  }
  if (!forward && record_.number() == 27) {
    const double R = record_[kSemiMajor], x0 = record_[kFalseEasting], y0 = record_[kFalseNorthing],
                 lam0 = record_[kCentralMeridian] * kDegToRad;
    for (std::size_t i = 0; i < n; ++i) {
      double lam = 0, phi = 0;
      if (std::isfinite(xs[i]) && std::isfinite(ys[i]) &&
          wagner7Inverse((xs[i] - x0) / R, (ys[i] - y0) / R, lam, phi)) {
        lam = std::remainder(lam + lam0, 2 * M_PI);
        xs[i] = lam;
        ys[i] = phi;
      } else {
        xs[i] = ys[i] = HUGE_VAL;
      }
    }
  } else {
    // proj_trans_generic maps every point on its own: one that fails gets HUGE_VAL and the rest
    // go on. Points already failed pass as HUGE_VAL.
    proj_trans_generic(current_, forward ? PJ_FWD : PJ_INV, xs.data(), sizeof(double), n, ys.data(),
                       sizeof(double), n, nullptr, 0, 0, nullptr, 0, 0);
    proj_errno_reset(current_);
  }
  failed = 0;
  for (std::size_t i = 0; i < n; ++i) {
    if (nulls_[i]) {
      xs[i] = ys[i] = std::numeric_limits<double>::quiet_NaN();
      continue;
    }
    if (!std::isfinite(xs[i]) || !std::isfinite(ys[i])) {
      xs[i] = ys[i] = HUGE_VAL;
      ++failed;
      continue;
    }
    if (!forward) {
      xs[i] *= kRadToDeg;
      ys[i] *= kRadToDeg;
    }
  }
  return failed;
}

// --- zones ----------------------------------------------------------------------------------

namespace {
// lng into [lo, lo + 360).
double wrap(double lng, double lo) {
  double v = std::fmod(lng - lo, 360.0);
  if (v < 0) v += 360.0;
  return v + lo;
}
}  // namespace

int Geo_calcUTMZone(double lng) {
  if (!std::isfinite(lng)) return 0;
  const int z = static_cast<int>(std::floor((wrap(lng, -180.0) + 180.0) / 6.0)) + 1;
  return std::clamp(z, 1, 60);
}

int Geo_calcGS6Zone(double lng) {
  if (!std::isfinite(lng)) return 0;
  const int z = static_cast<int>(std::floor(wrap(lng, 0.0) / 6.0)) + 1;
  return std::clamp(z, 1, 60);
}

int Geo_calcGS3Zone(double lng) {
  if (!std::isfinite(lng)) return 0;
  const int z = static_cast<int>(std::floor((wrap(lng, 0.0) + 1.5) / 3.0));
  return z == 0 ? 120 : std::clamp(z, 1, 120);
}

double Geo_calcUTMZoneC(int zone) { return 6.0 * zone - 183.0; }
double Geo_calcGS6ZoneC(int zone) { return 6.0 * zone - 3.0; }
double Geo_calcGS3ZoneC(int zone) { return 3.0 * zone; }

// --- angle forms ----------------------------------------------------------------------------
//
// Each form is split in integers at a fixed resolution so that a value typed as 102.30 reads as
// 30 minutes (the double just below it would otherwise give 29 minutes and 99.99 seconds).

namespace {
constexpr double kMicro = 1e6;  // resolution: a millionth of an arc second
}

double Geo_DMS2toDecimalD(double dms) {
  if (!std::isfinite(dms)) return dms;
  const double a = std::fabs(dms);
  if (a > 1e7) return std::copysign(a, dms);  // no room for the fraction digits; taken as degrees
  // D.MMSSssssss → integer DMMSSssssss (seconds to 1e-6).
  const auto t = static_cast<std::int64_t>(std::llround(a * 1e10));
  const std::int64_t d = t / 10000000000LL;
  const std::int64_t mm = t / 100000000LL % 100;
  const double ss = static_cast<double>(t % 100000000LL) / kMicro;
  return std::copysign(static_cast<double>(d) + static_cast<double>(mm) / 60.0 + ss / 3600.0, dms);
}

double Geo_DMS3toDecimalD(double dms) {
  if (!std::isfinite(dms)) return dms;
  const double a = std::fabs(dms);
  if (a > 1e12) return std::copysign(a, dms);
  const auto t = static_cast<std::int64_t>(std::llround(a * kMicro));  // DDDMMSS·1e6
  const std::int64_t d = t / 10000000000LL;
  const std::int64_t mm = t / 100000000LL % 100;
  const double ss = static_cast<double>(t % 100000000LL) / kMicro;
  return std::copysign(static_cast<double>(d) + static_cast<double>(mm) / 60.0 + ss / 3600.0, dms);
}

namespace {
struct Dms {
  std::int64_t d, m;
  double s;
};
Dms splitDegrees(double a) {
  const auto t = static_cast<std::int64_t>(std::llround(a * 3600.0 * kMicro));
  const std::int64_t perDegree = static_cast<std::int64_t>(3600 * kMicro);
  const std::int64_t perMinute = static_cast<std::int64_t>(60 * kMicro);
  return {t / perDegree, t % perDegree / perMinute, static_cast<double>(t % perMinute) / kMicro};
}
}  // namespace

double Geo_DecimalDtoDMS2(double degrees) {
  if (!std::isfinite(degrees) || std::fabs(degrees) > 1e6) return degrees;
  const Dms p = splitDegrees(std::fabs(degrees));
  return std::copysign(static_cast<double>(p.d) + static_cast<double>(p.m) / 100.0 + p.s / 10000.0,
                       degrees);
}

double Geo_DecimalDtoDMS3(double degrees) {
  if (!std::isfinite(degrees) || std::fabs(degrees) > 1e6) return degrees;
  const Dms p = splitDegrees(std::fabs(degrees));
  return std::copysign(static_cast<double>(p.d) * 10000.0 + static_cast<double>(p.m) * 100.0 + p.s,
                       degrees);
}

double Geo_unitfz(int unit, double factor) {
  switch (unit) {
    case 0:
      return 1000.0;
    case 1:
      return 1.0;
    case 2:
      return std::isfinite(factor) && factor > 0 ? 1.0 / factor
                                                 : std::numeric_limits<double>::quiet_NaN();
    default:
      return std::numeric_limits<double>::quiet_NaN();
  }
}

}  // namespace sarnoth::projconv
