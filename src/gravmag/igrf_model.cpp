#include "gravmag/igrf_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <numbers>

#include "prep/parallel_rows.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"

namespace sarnoth::gravmag {
namespace {

constexpr double kDeg = std::numbers::pi / 180.0;
// The largest table the reader accepts: 5-year epochs from antiquity would still fit.
constexpr int kMaxEpochs = 400;
// Within this of the pole sin θ is held at it (see the header).
constexpr double kPoleSine = 1e-10;

[[noreturn]] void fail(const std::string& path, std::size_t line, const std::string& what) {
  throw IgrfError("IGRF coefficient table " + path + ", line " + std::to_string(line) + ": " +
                  what);
}

std::vector<double> numbersOf(const std::string& line, bool& ok) {
  std::vector<double> v;
  ok = true;
  for (const std::string& item : filetext::splitBlanks(line)) {
    double d = 0;
    if (!filetext::parseDouble(item, d) || !std::isfinite(d)) {
      ok = false;
      return v;
    }
    v.push_back(d);
  }
  return v;
}

}  // namespace

IgrfModel readShcFile(const std::string& path) {
  std::string bytes;
  if (!filetext::readWholeFile(resolvePath(path), bytes))
    throw IgrfError("IGRF coefficient table " + path + " cannot be read");
  const std::vector<std::string> lines = filetext::splitLines(bytes);
  IgrfModel model;
  int nmin = 0, nepochs = 0;
  bool haveHead = false, haveEpochs = false;
  // How often each (n, m) was given: 1 after its g row, 2 after its h row.
  std::vector<int> seen;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string t = filetext::trim(lines[i]);
    if (t.empty() || t[0] == '#') continue;
    bool ok = false;
    const std::vector<double> v = numbersOf(t, ok);
    if (!ok) fail(path, i + 1, "a value that is not a number");
    if (!haveHead) {
      if (v.size() < 7) fail(path, i + 1, "the head needs nmin nmax nepochs order step start end");
      nmin = static_cast<int>(v[0]);
      model.maxDegree = static_cast<int>(v[1]);
      nepochs = static_cast<int>(v[2]);
      if (nmin != 1 || model.maxDegree < 1 || model.maxDegree > kIgrfMaxDegree)
        fail(path, i + 1, "degrees out of range");
      if (nepochs < 2 || nepochs > kMaxEpochs) fail(path, i + 1, "epoch count out of range");
      const int count = coefficientCount(model.maxDegree);
      model.g.assign(static_cast<std::size_t>(nepochs), std::vector<double>(count, 0.0));
      model.h = model.g;
      seen.assign(static_cast<std::size_t>(count), 0);
      haveHead = true;
      continue;
    }
    if (!haveEpochs) {
      if (static_cast<int>(v.size()) != nepochs) fail(path, i + 1, "wrong number of epochs");
      for (std::size_t e = 1; e < v.size(); ++e)
        if (!(v[e] > v[e - 1])) fail(path, i + 1, "epochs not ascending");
      model.epochs = v;
      haveEpochs = true;
      continue;
    }
    if (static_cast<int>(v.size()) != nepochs + 2) fail(path, i + 1, "wrong number of values");
    const int n = static_cast<int>(v[0]), m = static_cast<int>(v[1]);
    if (v[0] != n || v[1] != m || n < 1 || n > model.maxDegree || m < 0 || m > n)
      fail(path, i + 1, "degree or order out of range");
    const int k = coefficientIndex(n, m);
    int& count = seen[static_cast<std::size_t>(k)];
    if (count >= (m == 0 ? 1 : 2)) fail(path, i + 1, "coefficient given twice");
    auto& columns = count == 0 ? model.g : model.h;
    for (int e = 0; e < nepochs; ++e)
      columns[static_cast<std::size_t>(e)][static_cast<std::size_t>(k)] =
          v[static_cast<std::size_t>(e) + 2];
    ++count;
  }
  if (!haveEpochs) fail(path, lines.size(), "no epochs");
  for (int n = 1; n <= model.maxDegree; ++n)
    for (int m = 0; m <= n; ++m)
      if (seen[static_cast<std::size_t>(coefficientIndex(n, m))] != (m == 0 ? 1 : 2))
        fail(path, lines.size(),
             "coefficient n=" + std::to_string(n) + " m=" + std::to_string(m) + " missing");
  return model;
}

std::string igrfTablePath(const std::string& sysPath, IgrfGeneration generation) {
  std::string dir = sysPath;
  if (!dir.empty() && dir.back() != '/' && dir.back() != '\\') dir += '/';
  return dir + (generation == IgrfGeneration::Tenth ? "igrf/IGRF10.SHC" : "igrf/IGRF14.SHC");
}

const IgrfModel& igrfModel(const std::string& sysPath, IgrfGeneration generation) {
  static std::mutex lock;
  static std::map<std::string, std::unique_ptr<IgrfModel>> loaded;
  const std::string path = igrfTablePath(sysPath, generation);
  std::lock_guard<std::mutex> guard(lock);
  auto it = loaded.find(path);
  if (it != loaded.end()) return *it->second;
  auto model = std::make_unique<IgrfModel>(readShcFile(path));
  model->generation = static_cast<int>(generation);
  return *loaded.emplace(path, std::move(model)).first->second;
}

std::string igrfGenerationName(IgrfGeneration generation) {
  return generation == IgrfGeneration::Tenth ? "IGRF 10th (1900–2010)" : "IGRF 14th (1900–2030)";
}

IgrfCoefficients coefficientsAt(const IgrfModel& model, double year) {
  if (!model.covers(year))
    throw IgrfError("date " + std::to_string(year) + " outside the model's span");
  const auto& ep = model.epochs;
  // The interval [ep[e], ep[e+1]] holding the date; the last one includes its end.
  std::size_t e =
      static_cast<std::size_t>(std::upper_bound(ep.begin(), ep.end(), year) - ep.begin());
  e = std::min(e == 0 ? 0 : e - 1, ep.size() - 2);
  const double span = ep[e + 1] - ep[e], w = (year - ep[e]) / span;
  const auto &g0 = model.g[e], &g1 = model.g[e + 1], &h0 = model.h[e], &h1 = model.h[e + 1];
  IgrfCoefficients c;
  const std::size_t count = g0.size();
  c.g.resize(count);
  c.h.resize(count);
  c.dg.resize(count);
  c.dh.resize(count);
  for (std::size_t k = 0; k < count; ++k) {
    c.g[k] = g0[k] + w * (g1[k] - g0[k]);
    c.h[k] = h0[k] + w * (h1[k] - h0[k]);
    c.dg[k] = (g1[k] - g0[k]) / span;
    c.dh[k] = (h1[k] - h0[k]) / span;
  }
  // The degree that carries anything at this date: 10 before 1995 in the published tables.
  c.maxDegree = 0;
  for (int n = model.maxDegree; n >= 1 && c.maxDegree == 0; --n)
    for (int m = 0; m <= n; ++m) {
      const auto k = static_cast<std::size_t>(coefficientIndex(n, m));
      if (g0[k] != 0 || g1[k] != 0 || h0[k] != 0 || h1[k] != 0) {
        c.maxDegree = n;
        break;
      }
    }
  return c;
}

IgrfSynthesis::IgrfSynthesis(int maxDegree) : maxDegree_(std::max(1, maxDegree)) {
  const int count = coefficientCount(maxDegree_);
  a_.assign(static_cast<std::size_t>(count), 0.0);
  b_.assign(static_cast<std::size_t>(count), 0.0);
  diag_.assign(static_cast<std::size_t>(maxDegree_) + 1, 1.0);
  for (int n = 1; n <= maxDegree_; ++n) {
    if (n >= 2) diag_[static_cast<std::size_t>(n)] = std::sqrt(1.0 - 1.0 / (2.0 * n));
    for (int m = 0; m < n; ++m) {
      const double d = std::sqrt(static_cast<double>(n * n - m * m));
      const auto k = static_cast<std::size_t>(coefficientIndex(n, m));
      a_[k] = (2.0 * n - 1.0) / d;
      b_[k] = std::sqrt(static_cast<double>((n - 1) * (n - 1) - m * m)) / d;
    }
  }
  p_.assign(static_cast<std::size_t>(count), 0.0);
  dp_ = p_;
  cosm_.assign(static_cast<std::size_t>(maxDegree_) + 1, 0.0);
  sinm_ = cosm_;
}

GeomagField IgrfSynthesis::at(const IgrfCoefficients& c, double latDeg, double lonDeg,
                              double heightKm) {
  if (c.maxDegree > maxDegree_) *this = IgrfSynthesis(c.maxDegree);
  const int nmax = c.maxDegree;
  // Geodetic → geocentric radius and latitude on WGS 84.
  static const double a2 = kWgs84SemiMajorKm * kWgs84SemiMajorKm;
  static const double b = kWgs84SemiMajorKm * (1.0 - 1.0 / kWgs84InverseFlattening);
  static const double b2 = b * b;
  const double slat = std::sin(latDeg * kDeg), clat = std::cos(latDeg * kDeg);
  const double aa = a2 * clat * clat, bb = b2 * slat * slat, cc = aa + bb, dd = std::sqrt(cc);
  const double r = std::sqrt(heightKm * (heightKm + 2.0 * dd) + (a2 * aa + b2 * bb) / cc);
  const double cd = (heightKm + dd) / r, sd = (a2 - b2) / dd * slat * clat / r;
  // Colatitude θ: cos θ is the sine of the geocentric latitude.
  double ct = slat * cd - clat * sd, st = clat * cd + slat * sd;
  if (st < kPoleSine) {
    st = kPoleSine;
    ct = ct < 0 ? -std::sqrt(1.0 - st * st) : std::sqrt(1.0 - st * st);
  }

  // Schmidt semi-normalised P_n^m(cos θ) and dP/dθ.
  double* p = p_.data();
  double* dp = dp_.data();
  p[0] = 1.0;
  dp[0] = 0.0;
  for (int n = 1; n <= nmax; ++n) {
    for (int m = 0; m < n; ++m) {
      const int k = coefficientIndex(n, m), k1 = coefficientIndex(n - 1, m);
      const double a = a_[static_cast<std::size_t>(k)], bf = b_[static_cast<std::size_t>(k)];
      const double p2 = n - 2 >= m ? p[coefficientIndex(n - 2, m)] : 0.0;
      const double dp2 = n - 2 >= m ? dp[coefficientIndex(n - 2, m)] : 0.0;
      p[k] = a * ct * p[k1] - bf * p2;
      dp[k] = a * (ct * dp[k1] - st * p[k1]) - bf * dp2;
    }
    const int k = coefficientIndex(n, n), k1 = coefficientIndex(n - 1, n - 1);
    const double d = diag_[static_cast<std::size_t>(n)];
    p[k] = d * st * p[k1];
    dp[k] = d * (ct * p[k1] + st * dp[k1]);
  }

  const double lon = lonDeg * kDeg, cl = std::cos(lon), sl = std::sin(lon);
  cosm_[0] = 1.0;
  sinm_[0] = 0.0;
  for (int m = 1; m <= nmax; ++m) {
    cosm_[static_cast<std::size_t>(m)] = cosm_[m - 1] * cl - sinm_[m - 1] * sl;
    sinm_[static_cast<std::size_t>(m)] = sinm_[m - 1] * cl + cosm_[m - 1] * sl;
  }

  const double ratio = kIgrfReferenceRadiusKm / r;
  double ar = ratio * ratio;  // (a/r)^(n+2) after the first step
  double x = 0, y = 0, z = 0, dx = 0, dy = 0, dz = 0;
  for (int n = 1; n <= nmax; ++n) {
    ar *= ratio;
    double sx = 0, sy = 0, sz = 0, tx = 0, ty = 0, tz = 0;
    for (int m = 0; m <= n; ++m) {
      const auto k = static_cast<std::size_t>(coefficientIndex(n, m));
      const double cm = cosm_[static_cast<std::size_t>(m)], sm = sinm_[static_cast<std::size_t>(m)];
      const double gc = c.g[k] * cm + c.h[k] * sm, dgc = c.dg[k] * cm + c.dh[k] * sm;
      sx += gc * dp[k];
      sz += gc * p[k];
      tx += dgc * dp[k];
      tz += dgc * p[k];
      if (m > 0) {
        sy += m * (c.g[k] * sm - c.h[k] * cm) * p[k];
        ty += m * (c.dg[k] * sm - c.dh[k] * cm) * p[k];
      }
    }
    x += ar * sx;
    y += ar * sy;
    z -= (n + 1) * ar * sz;
    dx += ar * tx;
    dy += ar * ty;
    dz -= (n + 1) * ar * tz;
  }
  y /= st;
  dy /= st;
  // Back to the geodetic frame.
  const double xg = x * cd + z * sd, zg = z * cd - x * sd;
  const double dxg = dx * cd + dz * sd, dzg = dz * cd - dx * sd;

  GeomagField out;
  GeomagElements& e = out.main;
  e.x = xg;
  e.y = y;
  e.z = zg;
  e.h = std::sqrt(xg * xg + y * y);
  e.f = std::sqrt(e.h * e.h + zg * zg);
  e.declination = std::atan2(y, xg) / kDeg;
  e.inclination = std::atan2(zg, e.h) / kDeg;
  SecularVariation& s = out.rate;
  s.x = dxg;
  s.y = dy;
  s.z = dzg;
  constexpr double kMinutes = 60.0 / kDeg;
  if (e.h > 0) {
    s.h = (xg * dxg + y * dy) / e.h;
    s.declination = (xg * dy - y * dxg) / (e.h * e.h) * kMinutes;
  }
  if (e.f > 0) {
    s.f = (xg * dxg + y * dy + zg * dzg) / e.f;
    s.inclination = (e.h * dzg - zg * s.h) / (e.f * e.f) * kMinutes;
  }
  return out;
}

GeomagField igrfField(const IgrfModel& model, double year, double latDeg, double lonDeg,
                      double heightKm) {
  IgrfSynthesis synthesis(model.maxDegree);
  return synthesis.at(coefficientsAt(model, year), latDeg, lonDeg, heightKm);
}

void igrfFieldMany(const IgrfModel& model, std::span<const double> year,
                   std::span<const double> latDeg, std::span<const double> lonDeg,
                   std::span<const double> heightKm, std::span<GeomagField> out, int threads) {
  const std::size_t n = out.size();
  if (year.size() != n || latDeg.size() != n || lonDeg.size() != n || heightKm.size() != n)
    throw IgrfError("igrfFieldMany: spans of different lengths");
  if (n == 0) return;
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  // Bands of points; each point's value depends only on its own inputs.
  constexpr int kChunk = 1024;
  const int chunks = static_cast<int>((n + kChunk - 1) / kChunk);
  detail::forRowBands(
      chunks,
      [&](int begin, int end, int) {
        IgrfSynthesis synthesis(model.maxDegree);
        IgrfCoefficients c;
        double cachedYear = kNaN;
        const std::size_t from = static_cast<std::size_t>(begin) * kChunk;
        const std::size_t to = std::min(n, static_cast<std::size_t>(end) * kChunk);
        for (std::size_t i = from; i < to; ++i) {
          if (!model.covers(year[i])) {
            GeomagField bad;
            bad.main = {kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};
            bad.rate = {kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};
            out[i] = bad;
            continue;
          }
          if (!(year[i] == cachedYear)) {
            c = coefficientsAt(model, year[i]);
            cachedYear = year[i];
          }
          out[i] = synthesis.at(c, latDeg[i], lonDeg[i], heightKm[i]);
        }
      },
      1, threads);
}

}  // namespace sarnoth::gravmag
