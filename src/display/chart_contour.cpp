#include "display/chart_contour.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>
#include <unordered_map>

#include "workarea/null_value.h"

namespace sarnoth::chart {
namespace {

struct Circle {
  double cx = 0, cy = 0, r2 = -1;
};

Circle circumcircle(const std::vector<double>& x, const std::vector<double>& y, int a, int b,
                    int c) {
  const double ax = x[a], ay = y[a], bx = x[b], by = y[b], cx = x[c], cy = y[c];
  const double d = 2 * (ax * (by - cy) + bx * (cy - ay) + cx * (ay - by));
  Circle o;
  if (d == 0) return o;
  const double a2 = ax * ax + ay * ay, b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  o.cx = (a2 * (by - cy) + b2 * (cy - ay) + c2 * (ay - by)) / d;
  o.cy = (a2 * (cx - bx) + b2 * (ax - cx) + c2 * (bx - ax)) / d;
  o.r2 = (ax - o.cx) * (ax - o.cx) + (ay - o.cy) * (ay - o.cy);
  return o;
}

double cross(const std::vector<double>& x, const std::vector<double>& y, int a, int b, int c) {
  return (x[b] - x[a]) * (y[c] - y[a]) - (y[b] - y[a]) * (x[c] - x[a]);
}

std::uint64_t edgeKey(int i, int j) {
  if (i > j) std::swap(i, j);
  return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(i)) << 32) |
         static_cast<std::uint32_t>(j);
}

// The field's values as interpolated: log10 on a log field.
std::vector<double> working(const TriField& f, bool log) {
  std::vector<double> w(f.v.size());
  for (std::size_t i = 0; i < w.size(); ++i)
    w[i] =
        log ? (f.v[i] > 0 ? std::log10(f.v[i]) : -std::numeric_limits<double>::infinity()) : f.v[i];
  return w;
}

struct KeyedSegment {
  std::array<double, 4> xy;
  std::uint64_t k0, k1;
};

std::vector<KeyedSegment> keyedSegments(const TriField& f, const std::vector<double>& w,
                                        double level) {
  std::vector<KeyedSegment> out;
  for (const auto& t : f.triangles) {
    const bool up[3] = {w[t[0]] >= level, w[t[1]] >= level, w[t[2]] >= level};
    if (up[0] == up[1] && up[1] == up[2]) continue;
    double px[2], py[2];
    std::uint64_t key[2];
    int found = 0;
    for (int e = 0; e < 3 && found < 2; ++e) {
      int i = t[e], j = t[(e + 1) % 3];
      if (up[e] == up[(e + 1) % 3]) continue;
      if (i > j) std::swap(i, j);  // the same edge interpolates alike from both its triangles
      const double s = (level - w[i]) / (w[j] - w[i]);
      px[found] = f.x[i] + s * (f.x[j] - f.x[i]);
      py[found] = f.y[i] + s * (f.y[j] - f.y[i]);
      key[found] = edgeKey(i, j);
      ++found;
    }
    if (found == 2) out.push_back({{px[0], py[0], px[1], py[1]}, key[0], key[1]});
  }
  return out;
}

struct ClipVertex {
  double x, y, w;
};

// The part of a polygon where w ≥ bound (keepAbove) or w ≤ bound.
std::vector<ClipVertex> clipPolygon(const std::vector<ClipVertex>& in, double bound,
                                    bool keepAbove) {
  std::vector<ClipVertex> out;
  const std::size_t n = in.size();
  auto inside = [&](const ClipVertex& p) { return keepAbove ? p.w >= bound : p.w <= bound; };
  for (std::size_t i = 0; i < n; ++i) {
    const ClipVertex& a = in[i];
    const ClipVertex& b = in[(i + 1) % n];
    const bool ia = inside(a), ib = inside(b);
    if (ia) out.push_back(a);
    if (ia != ib) {
      const double s = (bound - a.w) / (b.w - a.w);
      out.push_back({a.x + s * (b.x - a.x), a.y + s * (b.y - a.y), bound});
    }
  }
  return out;
}

}  // namespace

std::vector<std::array<int, 3>> delaunay(std::span<const double> xs, std::span<const double> ys) {
  std::vector<std::array<int, 3>> result;
  const std::size_t n = std::min(xs.size(), ys.size());
  if (n < 3 || n > kMaxContourPoints) return result;
  double xmin = xs[0], xmax = xs[0], ymin = ys[0], ymax = ys[0];
  for (std::size_t i = 0; i < n; ++i) {
    xmin = std::min(xmin, xs[i]);
    xmax = std::max(xmax, xs[i]);
    ymin = std::min(ymin, ys[i]);
    ymax = std::max(ymax, ys[i]);
  }
  const double span = std::max(xmax - xmin, ymax - ymin);
  if (!(span > 0) || !std::isfinite(span)) return result;
  // Work on the unit square, with the super-triangle's three vertices after the points.
  std::vector<double> x(n + 3), y(n + 3);
  for (std::size_t i = 0; i < n; ++i) {
    x[i] = (xs[i] - xmin) / span;
    y[i] = (ys[i] - ymin) / span;
  }
  // Far enough that the thin triangles along a nearly straight hull keep their circumcircles
  // clear of it.
  x[n] = -2000, y[n] = -1000;
  x[n + 1] = 2001, y[n + 1] = -1000;
  x[n + 2] = 0.5, y[n + 2] = 3000;
  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](int a, int b) { return x[a] != x[b] ? x[a] < x[b] : y[a] < y[b]; });
  struct Tri {
    std::array<int, 3> v;
    Circle c;
  };
  std::vector<Tri> tris;
  const int S = static_cast<int>(n);
  tris.push_back({{S, S + 1, S + 2}, circumcircle(x, y, S, S + 1, S + 2)});
  std::vector<std::array<int, 2>> edges;
  std::vector<Tri> kept;
  int last = -1;
  for (int p : order) {
    if (last >= 0 && std::abs(x[p] - x[last]) < 1e-9 && std::abs(y[p] - y[last]) < 1e-9)
      continue;  // a duplicate takes part once
    last = p;
    edges.clear();
    kept.clear();
    for (const Tri& t : tris) {
      const double dx = x[p] - t.c.cx, dy = y[p] - t.c.cy;
      if (t.c.r2 >= 0 && dx * dx + dy * dy < t.c.r2 * (1 - 1e-12)) {
        for (int e = 0; e < 3; ++e) edges.push_back({t.v[e], t.v[(e + 1) % 3]});
      } else {
        kept.push_back(t);
      }
    }
    // The cavity's boundary: edges of exactly one removed triangle.
    for (std::size_t i = 0; i < edges.size(); ++i) {
      bool shared = false;
      for (std::size_t j = 0; j < edges.size(); ++j)
        if (i != j && edges[i][0] == edges[j][1] && edges[i][1] == edges[j][0]) {
          shared = true;
          break;
        }
      if (!shared)
        kept.push_back(
            {{edges[i][0], edges[i][1], p}, circumcircle(x, y, edges[i][0], edges[i][1], p)});
    }
    tris.swap(kept);
  }
  for (const Tri& t : tris) {
    if (t.v[0] >= S || t.v[1] >= S || t.v[2] >= S) continue;
    std::array<int, 3> v = t.v;
    const double c = cross(x, y, v[0], v[1], v[2]);
    if (std::abs(c) < 1e-14) continue;  // a sliver of collinear points
    if (c < 0) std::swap(v[1], v[2]);
    result.push_back(v);
  }
  return result;
}

TriField triField(std::span<const double> x, std::span<const double> y, std::span<const double> v,
                  bool log, double maxEdge) {
  TriField f;
  const std::size_t n = std::min({x.size(), y.size(), v.size()});
  for (std::size_t i = 0; i < n; ++i) {
    if (isNullValue(v[i]) || !std::isfinite(v[i]) || !std::isfinite(x[i]) || !std::isfinite(y[i]) ||
        (log && !(v[i] > 0)))
      continue;
    f.x.push_back(x[i]);
    f.y.push_back(y[i]);
    f.v.push_back(v[i]);
  }
  f.triangles = delaunay(f.x, f.y);
  if (f.triangles.empty()) return f;
  auto len2 = [&](int a, int b) {
    const double dx = f.x[a] - f.x[b], dy = f.y[a] - f.y[b];
    return dx * dx + dy * dy;
  };
  auto longest2 = [&](const std::array<int, 3>& t) {
    return std::max({len2(t[0], t[1]), len2(t[1], t[2]), len2(t[2], t[0])});
  };
  if (maxEdge > 0) {
    const double m2 = maxEdge * maxEdge;
    std::erase_if(f.triangles, [&](const std::array<int, 3>& t) { return longest2(t) > m2; });
  }
  // Peel the slivers the hull stretches across the bays of a curved outline (a section under
  // a hill): a triangle on the outline whose longest edge is long against the typical edge and
  // which is thin, or which is a needle whatever its length.
  std::vector<double> edges;
  for (const auto& t : f.triangles)
    for (int e = 0; e < 3; ++e) edges.push_back(len2(t[e], t[(e + 1) % 3]));
  std::nth_element(edges.begin(), edges.begin() + static_cast<std::ptrdiff_t>(edges.size() / 2),
                   edges.end());
  const double typical2 = edges[edges.size() / 2];
  for (bool peeled = true; peeled;) {
    peeled = false;
    std::unordered_map<std::uint64_t, int> uses;
    for (const auto& t : f.triangles)
      for (int e = 0; e < 3; ++e) ++uses[edgeKey(t[e], t[(e + 1) % 3])];
    std::erase_if(f.triangles, [&](const std::array<int, 3>& t) {
      bool outer = false;
      for (int e = 0; e < 3; ++e) outer = outer || uses[edgeKey(t[e], t[(e + 1) % 3])] == 1;
      if (!outer) return false;
      const double l2 = longest2(t);
      const double a = std::abs(cross(f.x, f.y, t[0], t[1], t[2])) / 2;
      const double thin = a / l2;
      const bool drop = thin < 0.01 || (l2 > 6.25 * typical2 && thin < 0.1);
      peeled = peeled || drop;
      return drop;
    });
  }
  return f;
}

std::vector<double> contourLevels(double lo, double hi, int count, bool log) {
  std::vector<double> out;
  if (!std::isfinite(lo) || !std::isfinite(hi) || count < 1) return out;
  if (lo > hi) std::swap(lo, hi);
  if (log) {
    if (!(lo > 0)) return out;
    const int d0 = static_cast<int>(std::floor(std::log10(lo))),
              d1 = static_cast<int>(std::ceil(std::log10(hi)));
    const int decades = std::max(1, d1 - d0);
    std::vector<double> mult = {1};
    if (decades < count) mult = {1, 2, 5};
    if (3 * decades < count) mult = {1, 1.5, 2, 3, 5, 7};
    for (int d = d0; d <= d1; ++d)
      for (double m : mult) {
        const double v = m * std::pow(10.0, d);
        if (v >= lo * (1 - 1e-12) && v <= hi * (1 + 1e-12)) out.push_back(v);
      }
    return out;
  }
  if (hi == lo) return {lo};
  double a = lo, b = hi;
  for (double t : niceTicks(a, b, count, false))
    if (t >= lo - 1e-12 * (hi - lo) && t <= hi + 1e-12 * (hi - lo)) out.push_back(t);
  return out;
}

std::vector<std::array<double, 4>> contourSegments(const TriField& f, double level, bool log) {
  const auto w = working(f, log);
  std::vector<std::array<double, 4>> out;
  for (const auto& s : keyedSegments(f, w, log ? std::log10(level) : level)) out.push_back(s.xy);
  return out;
}

std::string levelText(double level) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.6g", level);
  return buf;
}

std::size_t addContours(Chart& chart, const TriField& f, std::span<const double> levels,
                        const ContourStyle& style) {
  if (f.triangles.empty()) return 0;
  const auto w = working(f, style.log);
  const auto [xlo, xhi] = std::minmax_element(f.x.begin(), f.x.end());
  const double minLength = (*xhi - *xlo) / 20;
  std::size_t drawn = 0;
  for (double level : levels) {
    if (style.log && !(level > 0)) continue;
    const auto segs = keyedSegments(f, w, style.log ? std::log10(level) : level);
    if (segs.empty()) continue;
    Series s;
    s.kind = SeriesKind::Segments;
    s.colour = style.colour;
    s.width = style.width;
    for (const auto& g : segs) {
      s.x.insert(s.x.end(), {g.xy[0], g.xy[2]});
      s.y.insert(s.y.end(), {g.xy[1], g.xy[3]});
    }
    chart.series.push_back(std::move(s));
    drawn += segs.size();
    if (!style.labels) continue;
    // Chain the segments through the edges they share and label the longer lines.
    std::unordered_multimap<std::uint64_t, int> byEdge;
    for (int i = 0; i < static_cast<int>(segs.size()); ++i) {
      byEdge.emplace(segs[i].k0, i);
      byEdge.emplace(segs[i].k1, i);
    }
    std::vector<char> used(segs.size(), 0);
    struct Line {
      double length = 0;
      double mx = 0, my = 0;
    };
    std::vector<Line> lines;
    for (int start = 0; start < static_cast<int>(segs.size()); ++start) {
      if (used[start]) continue;
      std::vector<int> chain = {start};
      used[start] = 1;
      for (int dir = 0; dir < 2; ++dir) {
        std::uint64_t key = dir == 0 ? segs[start].k1 : segs[start].k0;
        for (;;) {
          int next = -1;
          const auto [b, e] = byEdge.equal_range(key);
          for (auto it = b; it != e; ++it)
            if (!used[it->second]) next = it->second;
          if (next < 0) break;
          used[next] = 1;
          if (dir == 0)
            chain.push_back(next);
          else
            chain.insert(chain.begin(), next);
          key = segs[next].k0 == key ? segs[next].k1 : segs[next].k0;
        }
      }
      Line l;
      for (int i : chain)
        l.length += std::hypot(segs[i].xy[2] - segs[i].xy[0], segs[i].xy[3] - segs[i].xy[1]);
      const auto& mid = segs[chain[chain.size() / 2]].xy;
      l.mx = (mid[0] + mid[2]) / 2;
      l.my = (mid[1] + mid[3]) / 2;
      if (l.length >= minLength) lines.push_back(l);
    }
    std::sort(lines.begin(), lines.end(),
              [](const Line& a, const Line& b) { return a.length > b.length; });
    for (int i = 0; i < static_cast<int>(lines.size()) && i < style.maxLabelsPerLevel; ++i) {
      Note n;
      n.x = lines[i].mx;
      n.y = lines[i].my;
      n.text = levelText(level);
      n.anchor = Anchor::Centre;
      n.colour = style.colour;
      n.size = style.labelSize;
      chart.notes.push_back(std::move(n));
    }
  }
  return drawn;
}

void addFilledBands(Chart& chart, const TriField& f, const ColourBar& bar) {
  if (f.triangles.empty() || bar.colours.empty() || bar.bounds.size() != bar.colours.size() + 1)
    return;
  const auto w = working(f, bar.log);
  std::vector<double> b(bar.bounds.size());
  for (std::size_t i = 0; i < b.size(); ++i)
    b[i] = bar.log ? std::log10(std::max(bar.bounds[i], 1e-300)) : bar.bounds[i];
  const int nb = static_cast<int>(bar.colours.size());
  constexpr double inf = std::numeric_limits<double>::infinity();
  Series s;
  s.kind = SeriesKind::Cells;
  s.cellCorners = 5;
  s.width = 0;
  auto emit = [&](const std::vector<ClipVertex>& poly, int band) {
    for (int k = 0; k < 5; ++k) {
      const ClipVertex& p =
          poly[std::min<std::size_t>(static_cast<std::size_t>(k), poly.size() - 1)];
      s.x.push_back(p.x);
      s.y.push_back(p.y);
    }
    s.cellColours.push_back(bar.colours[static_cast<std::size_t>(band)]);
    s.cellValues.push_back(bar.bounds[static_cast<std::size_t>(band)]);
  };
  for (const auto& t : f.triangles) {
    std::vector<ClipVertex> tri;
    double lo = inf, hi = -inf;
    for (int v : t) {
      if (!std::isfinite(w[v])) goto next;
      tri.push_back({f.x[v], f.y[v], w[v]});
      lo = std::min(lo, w[v]);
      hi = std::max(hi, w[v]);
    }
    for (int k = 0; k < nb; ++k) {
      const double blo = k == 0 ? -inf : b[static_cast<std::size_t>(k)];
      const double bhi = k == nb - 1 ? inf : b[static_cast<std::size_t>(k) + 1];
      if (hi < blo || lo > bhi) continue;
      if (lo >= blo && hi <= bhi) {
        emit(tri, k);
        break;
      }
      auto poly = tri;
      if (std::isfinite(blo)) poly = clipPolygon(poly, blo, true);
      if (poly.size() >= 3 && std::isfinite(bhi)) poly = clipPolygon(poly, bhi, false);
      if (poly.size() >= 3) emit(poly, k);
    }
  next:;
  }
  chart.series.push_back(std::move(s));
}

}  // namespace sarnoth::chart
