#include "gravmag/section_model.h"

#include <algorithm>
#include <cmath>

namespace sarnoth::gm2d {
namespace {

constexpr double kDeg = M_PI / 180.0;

// Orientation of the triangle p, q, r: > 0 anticlockwise, < 0 clockwise, 0 collinear.
double orient(const Point2& p, const Point2& q, const Point2& r) {
  return (q.x - p.x) * (r.z - p.z) - (q.z - p.z) * (r.x - p.x);
}

bool onSegment(const Point2& p, const Point2& q, const Point2& r) {
  return std::min(p.x, r.x) <= q.x && q.x <= std::max(p.x, r.x) && std::min(p.z, r.z) <= q.z &&
         q.z <= std::max(p.z, r.z);
}

bool segmentsMeet(const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
  const double o1 = orient(a, b, c), o2 = orient(a, b, d);
  const double o3 = orient(c, d, a), o4 = orient(c, d, b);
  if (((o1 > 0 && o2 < 0) || (o1 < 0 && o2 > 0)) && ((o3 > 0 && o4 < 0) || (o3 < 0 && o4 > 0)))
    return true;
  if (o1 == 0 && onSegment(a, c, b)) return true;
  if (o2 == 0 && onSegment(a, d, b)) return true;
  if (o3 == 0 && onSegment(c, a, d)) return true;
  if (o4 == 0 && onSegment(c, b, d)) return true;
  return false;
}

bool near(const Point2& a, const Point2& b, double tol) {
  return std::abs(a.x - b.x) <= tol && std::abs(a.z - b.z) <= tol;
}

void reverseBody(Body& b) {
  std::reverse(b.vertices.begin(), b.vertices.end());
  if (!b.free.empty()) {
    b.free.resize(b.vertices.size(), kFixed);
    std::reverse(b.free.begin(), b.free.end());
  }
}

void ensureFlags(Body& b) { b.free.resize(b.vertices.size(), kFixed); }

}  // namespace

double Trend::at(double x) const {
  double v = 0, p = 1;
  const double t = (x - x0) / 1000.0;
  for (double ck : c) {
    v += ck * p;
    p *= t;
  }
  return v;
}

double surfaceElevation(const std::vector<double>& x, const std::vector<double>& h, double at) {
  const std::size_t n = std::min(x.size(), h.size());
  if (n == 0) return 0;
  if (at <= x[0]) return h[0];
  if (at >= x[n - 1]) return h[n - 1];
  const auto it = std::upper_bound(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(n), at);
  const std::size_t j = static_cast<std::size_t>(it - x.begin());
  const std::size_t i = j - 1;
  const double span = x[j] - x[i];
  if (span <= 0) return h[i];
  return h[i] + (h[j] - h[i]) * (at - x[i]) / span;
}

bool selfIntersects(const std::vector<Point2>& p) {
  const std::size_t n = p.size();
  if (n < 3) return false;
  for (std::size_t i = 0; i < n; ++i) {
    const Point2& a = p[i];
    const Point2& b = p[(i + 1) % n];
    if (near(a, b, 0)) return true;  // a repeated vertex makes an edge of no length
    for (std::size_t j = i + 1; j < n; ++j) {
      if (j == i + 1 || (i == 0 && j == n - 1)) continue;  // neighbours share a vertex
      if (segmentsMeet(a, b, p[j], p[(j + 1) % n])) return true;
    }
  }
  // Neighbouring edges folding back onto each other.
  for (std::size_t i = 0; i < n; ++i) {
    const Point2& a = p[(i + n - 1) % n];
    const Point2& b = p[i];
    const Point2& c = p[(i + 1) % n];
    if (orient(a, b, c) == 0 && (c.x - b.x) * (a.x - b.x) + (c.z - b.z) * (a.z - b.z) > 0)
      return true;
  }
  return false;
}

Outcome checkBody(const Body& body) {
  if (body.vertices.size() < 3) return Outcome::failure(kMsgTooFewVertices);
  for (const Point2& v : body.vertices)
    if (!std::isfinite(v.x) || !std::isfinite(v.z)) return Outcome::failure(kMsgBadCoordinate);
  if (selfIntersects(body.vertices)) return Outcome::failure(kMsgSelfIntersect);
  return Outcome::success();
}

Outcome checkModel(const Model& model, const std::vector<double>& sx,
                   const std::vector<double>& sh) {
  for (const Body& b : model.bodies)
    if (Outcome o = checkBody(b); !o) return o;
  if (sx.empty()) return Outcome::success();
  for (const Body& b : model.bodies)
    for (const Point2& v : b.vertices)
      if (-v.z > surfaceElevation(sx, sh, v.x) + 1e-6) return Outcome::failure(kMsgAboveStations);
  return Outcome::success();
}

Vec3 directionInProfile(double inc, double dec, double azimuth) {
  const double ci = std::cos(inc * kDeg);
  return {ci * std::cos((dec - azimuth) * kDeg), ci * std::sin((dec - azimuth) * kDeg),
          std::sin(inc * kDeg)};
}

Vec3 magnetisation(const Body& body, const Model& model) {
  const double chi = body.susceptibility - model.backgroundSusceptibility;
  const double induced = chi * model.field.intensity / (400.0 * M_PI);  // F/μ0, A/m
  const Vec3 f =
      directionInProfile(model.field.inclination, model.field.declination, model.azimuth);
  const Vec3 r = directionInProfile(body.remInclination, body.remDeclination, model.azimuth);
  return {induced * f.x + body.remanence * r.x, induced * f.y + body.remanence * r.y,
          induced * f.z + body.remanence * r.z};
}

double densityContrast(const Body& body, const Model& model) {
  return body.density - model.backgroundDensity;
}

Point2 centroid(const std::vector<Point2>& p) {
  const double a2 = signedArea2(p);
  if (p.empty()) return {};
  if (std::abs(a2) < 1e-12) {
    Point2 m;
    for (const Point2& v : p) {
      m.x += v.x / static_cast<double>(p.size());
      m.z += v.z / static_cast<double>(p.size());
    }
    return m;
  }
  double cx = 0, cz = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const Point2& a = p[i];
    const Point2& b = p[(i + 1) % p.size()];
    const double c = a.x * b.z - b.x * a.z;
    cx += (a.x + b.x) * c;
    cz += (a.z + b.z) * c;
  }
  return {cx / (3.0 * a2), cz / (3.0 * a2)};
}

Outcome insertVertex(Body& body, std::size_t edge, Point2 at) {
  if (edge >= body.vertices.size()) return Outcome::failure(kMsgBadCoordinate);
  Body b = body;
  ensureFlags(b);
  b.vertices.insert(b.vertices.begin() + static_cast<std::ptrdiff_t>(edge + 1), at);
  b.free.insert(b.free.begin() + static_cast<std::ptrdiff_t>(edge + 1), kFixed);
  if (Outcome o = checkBody(b); !o) return o;
  body = std::move(b);
  return Outcome::success();
}

Outcome deleteVertex(Body& body, std::size_t vertex) {
  if (vertex >= body.vertices.size()) return Outcome::failure(kMsgBadCoordinate);
  if (body.vertices.size() <= 3) return Outcome::failure(kMsgTooFewVertices);
  Body b = body;
  ensureFlags(b);
  b.vertices.erase(b.vertices.begin() + static_cast<std::ptrdiff_t>(vertex));
  b.free.erase(b.free.begin() + static_cast<std::ptrdiff_t>(vertex));
  if (Outcome o = checkBody(b); !o) return o;
  body = std::move(b);
  return Outcome::success();
}

Outcome splitBody(Model& model, std::size_t bi, std::size_t v1, std::size_t v2) {
  if (bi >= model.bodies.size()) return Outcome::failure(kMsgBadCoordinate);
  Body src = model.bodies[bi];
  ensureFlags(src);
  const std::size_t n = src.vertices.size();
  if (v1 > v2) std::swap(v1, v2);
  if (v2 >= n || v2 - v1 < 2 || (v1 == 0 && v2 == n - 1))
    return Outcome::failure("请选择同一模型上两个不相邻的角点作为分割线。");
  Body first = src, second = src;
  first.vertices.assign(src.vertices.begin() + static_cast<std::ptrdiff_t>(v1),
                        src.vertices.begin() + static_cast<std::ptrdiff_t>(v2 + 1));
  first.free.assign(src.free.begin() + static_cast<std::ptrdiff_t>(v1),
                    src.free.begin() + static_cast<std::ptrdiff_t>(v2 + 1));
  second.vertices.clear();
  second.free.clear();
  for (std::size_t k = v2; k != v1; k = (k + 1) % n) {
    second.vertices.push_back(src.vertices[k]);
    second.free.push_back(src.free[k]);
  }
  second.vertices.push_back(src.vertices[v1]);
  second.free.push_back(src.free[v1]);
  // The chord lies inside when both parts are simple and their areas make up the whole.
  const double whole = std::abs(signedArea2(src.vertices));
  const double a1 = std::abs(signedArea2(first.vertices));
  const double a2 = std::abs(signedArea2(second.vertices));
  if (!checkBody(first) || !checkBody(second) || std::abs(a1 + a2 - whole) > 1e-9 * whole ||
      a1 <= 0 || a2 <= 0)
    return Outcome::failure("分割线不在模型内部，不能分割。");
  first.label.reset();
  second.label.reset();
  second.name = src.name + "-2";
  second.chosen = false;
  model.bodies[bi] = std::move(first);
  model.bodies.push_back(std::move(second));
  return Outcome::success();
}

Outcome mergeBodies(Model& model, std::size_t ai, std::size_t bi, double tol) {
  if (ai >= model.bodies.size() || bi >= model.bodies.size() || ai == bi)
    return Outcome::failure("请选择两个模型进行合并。");
  Body a = model.bodies[ai], b = model.bodies[bi];
  ensureFlags(a);
  ensureFlags(b);
  if (signedArea2(a.vertices) < 0) reverseBody(a);
  if (signedArea2(b.vertices) < 0) reverseBody(b);
  const std::size_t na = a.vertices.size(), nb = b.vertices.size();
  // Edge i of a (a_i → a_i+1) is shared when b runs it the other way: b_k = a_i+1, b_k+1 = a_i.
  std::vector<long> partner(na, -1);  // k of b for each shared edge of a
  std::size_t shared = 0;
  for (std::size_t i = 0; i < na; ++i)
    for (std::size_t k = 0; k < nb; ++k)
      if (near(b.vertices[k], a.vertices[(i + 1) % na], tol) &&
          near(b.vertices[(k + 1) % nb], a.vertices[i], tol)) {
        partner[i] = static_cast<long>(k);
        ++shared;
        break;
      }
  const char* kNoCommon = "所选的两个模型没有公共边，不能合并。";
  if (shared == 0 || shared >= na || shared >= nb) return Outcome::failure(kNoCommon);
  // The run of shared edges s … e (cyclic) must be the only one.
  std::size_t s = 0;
  while (!(partner[s] >= 0 && partner[(s + na - 1) % na] < 0)) ++s;
  std::size_t len = 0;
  while (partner[(s + len) % na] >= 0) ++len;
  if (len != shared) return Outcome::failure("所选的两个模型的公共边不连续，不能合并。");
  const std::size_t e = (s + len - 1) % na;
  // b's vertex at a_s is the end of the partner edge of s; at a_e+1 the start of e's partner.
  const std::size_t bAtS = (static_cast<std::size_t>(partner[s]) + 1) % nb;
  const std::size_t bAtE = static_cast<std::size_t>(partner[e]);
  Body merged = a;
  merged.vertices.clear();
  merged.free.clear();
  for (std::size_t k = (e + 1) % na;; k = (k + 1) % na) {  // a from a_e+1 round to a_s
    merged.vertices.push_back(a.vertices[k]);
    merged.free.push_back(a.free[k]);
    if (k == s) break;
  }
  for (std::size_t k = (bAtS + 1) % nb; k != bAtE; k = (k + 1) % nb) {
    merged.vertices.push_back(b.vertices[k]);
    merged.free.push_back(b.free[k]);
  }
  merged.label.reset();
  if (Outcome o = checkBody(merged); !o) return o;
  model.bodies[ai] = std::move(merged);
  model.bodies.erase(model.bodies.begin() + static_cast<std::ptrdiff_t>(bi));
  return Outcome::success();
}

Outcome scaleBodies(Model& model, const std::vector<std::size_t>& which, double sx, double sz,
                    double dx, double dz) {
  if (!(std::isfinite(sx) && std::isfinite(sz) && sx > 0 && sz > 0 && std::isfinite(dx) &&
        std::isfinite(dz)))
    return Outcome::failure("比例系数必须大于零。");
  Model m = model;
  for (std::size_t bi : which) {
    if (bi >= m.bodies.size()) continue;
    Body& b = m.bodies[bi];
    const Point2 c = centroid(b.vertices);
    for (Point2& v : b.vertices) {
      v.x = c.x + (v.x - c.x) * sx + dx;
      v.z = c.z + (v.z - c.z) * sz + dz;
    }
    if (b.label) b.label = Point2{b.label->x + dx, b.label->z + dz};
    if (Outcome o = checkBody(b); !o) return o;
  }
  model = std::move(m);
  return Outcome::success();
}

Outcome dragVertex(Model& model, std::size_t bi, std::size_t vi, Point2 to, MoveMode mode,
                   double tol) {
  if (bi >= model.bodies.size() || vi >= model.bodies[bi].vertices.size())
    return Outcome::failure(kMsgBadCoordinate);
  if (!std::isfinite(to.x) || !std::isfinite(to.z)) return Outcome::failure(kMsgBadCoordinate);
  if (mode == MoveMode::Locked) return Outcome::success();
  Model m = model;
  Body& body = m.bodies[bi];
  const Point2 from = body.vertices[vi];
  std::vector<std::size_t> touched{bi};
  switch (mode) {
    case MoveMode::Joined:
      for (std::size_t k = 0; k < m.bodies.size(); ++k)
        for (Point2& v : m.bodies[k].vertices)
          if (near(v, from, tol)) {
            v = to;
            if (k != bi) touched.push_back(k);
          }
      break;
    case MoveMode::Separate:
      body.vertices[vi] = to;
      break;
    case MoveMode::Whole: {
      const double dx = to.x - from.x, dz = to.z - from.z;
      for (Point2& v : body.vertices) {
        v.x += dx;
        v.z += dz;
      }
      if (body.label) body.label = Point2{body.label->x + dx, body.label->z + dz};
      break;
    }
    case MoveMode::Stretch: {
      std::size_t far = vi;
      double best = -1;
      for (std::size_t k = 0; k < body.vertices.size(); ++k) {
        const double d = std::hypot(body.vertices[k].x - from.x, body.vertices[k].z - from.z);
        if (d > best) {
          best = d;
          far = k;
        }
      }
      const Point2 anchor = body.vertices[far];
      const double ex = from.x - anchor.x, ez = from.z - anchor.z;
      const double sx = std::abs(ex) > tol ? (to.x - anchor.x) / ex : 1.0;
      const double sz = std::abs(ez) > tol ? (to.z - anchor.z) / ez : 1.0;
      if (!(sx > 0 && sz > 0)) return Outcome::failure(kMsgSelfIntersect);
      for (Point2& v : body.vertices) {
        v.x = anchor.x + (v.x - anchor.x) * sx;
        v.z = anchor.z + (v.z - anchor.z) * sz;
      }
      break;
    }
    case MoveMode::Locked:
      break;
  }
  for (std::size_t k : touched)
    if (Outcome o = checkBody(m.bodies[k]); !o) return o;
  model = std::move(m);
  return Outcome::success();
}

void History::push(const Model& before) {
  undo_.push_back(before);
  if (undo_.size() > depth_) undo_.erase(undo_.begin());
  redo_.clear();
}

bool History::undo(Model& current) {
  if (undo_.empty()) return false;
  redo_.push_back(std::move(current));
  current = std::move(undo_.back());
  undo_.pop_back();
  return true;
}

bool History::redo(Model& current) {
  if (redo_.empty()) return false;
  undo_.push_back(std::move(current));
  current = std::move(redo_.back());
  redo_.pop_back();
  return true;
}

void History::clear() {
  undo_.clear();
  redo_.clear();
}

}  // namespace sarnoth::gm2d
