#include "display/grid_render.h"

#include <cpl_string.h>
#include <gdal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <mutex>
#include <numbers>
#include <thread>

#include "workarea/null_value.h"
#include "workarea/path_resolver.h"

namespace sarnoth::display {

namespace {

constexpr double kDeg = std::numbers::pi / 180.0;

bool unrotated(float angle) { return std::fmod(static_cast<double>(angle), 360.0) == 0.0; }

// Runs f(first, last) over bands of rows [first, last), one band a thread.
template <class F>
void forRowBands(int rows, int threads, F&& f) {
  if (threads <= 0) threads = static_cast<int>(std::min(2u, std::thread::hardware_concurrency()));
  threads = std::clamp(threads, 1, std::max(1, rows));
  if (threads == 1) {
    f(0, rows);
    return;
  }
  std::vector<std::thread> pool;
  for (int t = 1; t < threads; ++t) {
    int a = static_cast<int>(static_cast<long long>(rows) * t / threads);
    int b = static_cast<int>(static_cast<long long>(rows) * (t + 1) / threads);
    pool.emplace_back([&f, a, b] { f(a, b); });
  }
  f(0, static_cast<int>(static_cast<long long>(rows) / threads));
  for (auto& th : pool) th.join();
}

// Runs f(first, last) over stripes of `stripe` rows taken in turn from a shared counter by
// `threads` threads (0: both cores), so that the threads finish together whatever each stripe
// costs. What a stripe computes depends on its rows only.
template <class F>
void forRowStripes(int rows, int stripe, int threads, F&& f) {
  if (threads <= 0) threads = static_cast<int>(std::min(2u, std::thread::hardware_concurrency()));
  const int stripes = (rows + stripe - 1) / stripe;
  threads = std::clamp(threads, 1, std::max(1, stripes));
  std::atomic<int> next{0};
  auto run = [&] {
    for (int s; (s = next.fetch_add(1)) < stripes;) f(s * stripe, std::min(rows, (s + 1) * stripe));
  };
  std::vector<std::thread> pool;
  for (int t = 1; t < threads; ++t) pool.emplace_back(run);
  run();
  for (auto& th : pool) th.join();
}

// Pixel (i, j) to fractional mesh column u and row v: u = u0 + i·ui + j·uj, v likewise.
struct PixelToMesh {
  double u0 = 0, ui = 0, uj = 0, v0 = 0, vi = 0, vj = 0;
};

PixelToMesh pixelToMesh(const GridHeader& h, const ImageFrame& f) {
  PixelToMesh m;
  if (unrotated(h.angle)) {
    // Straight in index terms, so that a pixel on a node lands on it exactly.
    double sx = static_cast<double>(h.nx) / f.width;
    double sy = f.pixelSize / h.dy;
    m.ui = sx;
    m.u0 = 0.5 * sx - 0.5;
    m.vj = -sy;
    m.v0 = (h.ny - 0.5) - 0.5 * sy;
    return m;
  }
  double c = std::cos(h.angle * kDeg), s = std::sin(h.angle * kDeg);
  double ps = f.pixelSize;
  // Pixel centre relative to the first node.
  double X0 = f.xMin + 0.5 * ps - h.x0, Y0 = f.yMax - 0.5 * ps - h.y0;
  // a = X cos + Y sin, b = -X sin + Y cos; X grows with i, Y falls with j.
  m.u0 = (X0 * c + Y0 * s) / h.dx;
  m.ui = ps * c / h.dx;
  m.uj = -ps * s / h.dx;
  m.v0 = (-X0 * s + Y0 * c) / h.dy;
  m.vi = -ps * s / h.dy;
  m.vj = -ps * c / h.dy;
  return m;
}

// Bilinear interpolation between z00, z10 (lower row) and z01, z11 (upper row), written so that
// a weight of exactly 0 or 1 reproduces a node.
inline float bilinear(float z00, float z10, float z01, float z11, float fx, float fy) {
  float lo = z00 + fx * (z10 - z00);
  float hi = z01 + fx * (z11 - z01);
  if (fx == 0) lo = z00, hi = z01;
  if (fy == 0) return lo;
  if (fy == 1) return hi;
  return lo + fy * (hi - lo);
}

// Where a pixel takes its value from: up to four nodes and weights, or one node, or nothing.
struct Sample {
  int kind = 0;  // 0 background, 1 one node, 4 bilinear
  std::size_t idx[4]{};
  float fx = 0, fy = 0;  // column and row fractions of a bilinear sample
};

class Sampler {
 public:
  Sampler(const Grid& g, float upper) : g_(g), h_(g.header), upper_(upper) {}

  bool isNull(float v) const {
    return !isDataValue(v) || v == h_.nullValue || v > upper_;  // NaN counts as null
  }
  // !isNull without branches, for whole rows.
  bool isData(float v) const { return isDataValue(v) & (v != h_.nullValue) & !(v > upper_); }

  // Where a fractional mesh coordinate falls along one axis of `count` nodes.
  struct Axis {
    bool inside = false;
    int lo = 0, hi = 0, nearest = 0;
    float frac = 0;
  };
  static Axis axis(double u, int count) {
    Axis a;
    a.inside = u >= -0.5 && u < count - 0.5;
    if (!a.inside) return a;
    double cu = std::clamp(u, 0.0, count - 1.0);
    a.lo = std::min(static_cast<int>(cu), std::max(0, count - 2));
    a.hi = std::min(a.lo + 1, count - 1);
    a.frac = static_cast<float>(cu - a.lo);
    a.nearest = std::clamp(static_cast<int>(std::floor(u + 0.5)), 0, count - 1);
    return a;
  }

  Sample at(double u, double v) const { return at(axis(u, h_.nx), axis(v, h_.ny)); }

  Sample at(const Axis& col, const Axis& row) const {
    Sample s;
    if (!col.inside || !row.inside) return s;
    const std::size_t nx = static_cast<std::size_t>(h_.nx);
    const std::size_t r0 = row.lo * nx, r1 = row.hi * nx;
    const float* z = g_.nodes.data();
    const std::size_t i00 = r0 + col.lo, i10 = r0 + col.hi, i01 = r1 + col.lo, i11 = r1 + col.hi;
    if (!isNull(z[i00]) && !isNull(z[i10]) && !isNull(z[i01]) && !isNull(z[i11])) {
      s.kind = 4;
      s.idx[0] = i00, s.idx[1] = i10, s.idx[2] = i01, s.idx[3] = i11;
      s.fx = col.frac, s.fy = row.frac;
      return s;
    }
    std::size_t i = row.nearest * nx + col.nearest;
    if (isNull(z[i])) return s;
    s.kind = 1;
    s.idx[0] = i;
    return s;
  }

  // The interpolated value; written so that a weight of exactly 0 or 1 reproduces a node.
  static float value(const Sample& s, const float* z) {
    if (s.kind == 1) return z[s.idx[0]];
    return bilinear(z[s.idx[0]], z[s.idx[1]], z[s.idx[2]], z[s.idx[3]], s.fx, s.fy);
  }

 private:
  const Grid& g_;
  const GridHeader& h_;
  float upper_;
};

// The sample of every pixel: on an unrotated mesh the column and row positions are worked out
// once per column and once per row, otherwise per pixel; the arithmetic is the same.
class PixelSampler {
 public:
  PixelSampler(const Sampler& s, const GridHeader& h, const ImageFrame& f)
      : s_(s), m_(pixelToMesh(h, f)), straight_(unrotated(h.angle)) {
    if (!straight_) return;
    for (int i = 0; i < f.width; ++i) cols_.push_back(Sampler::axis(m_.u0 + i * m_.ui, h.nx));
    for (int j = 0; j < f.height; ++j) rows_.push_back(Sampler::axis(m_.v0 + j * m_.vj, h.ny));
  }
  Sample at(int i, int j) const {
    if (straight_)
      return s_.at(cols_[static_cast<std::size_t>(i)], rows_[static_cast<std::size_t>(j)]);
    return s_.at(m_.u0 + i * m_.ui + j * m_.uj, m_.v0 + i * m_.vi + j * m_.vj);
  }

 private:
  const Sampler& s_;
  PixelToMesh m_;
  bool straight_;
  std::vector<Sampler::Axis> cols_, rows_;
};

bool gridUsable(const Grid& g, std::string& error) {
  const GridHeader& h = g.header;
  if (h.nx < 1 || h.ny < 1 || !(h.dx > 0) || !(h.dy > 0) || !std::isfinite(h.dx) ||
      !std::isfinite(h.dy)) {
    error = "grid header unusable (counts or spacing)";
    return false;
  }
  if (g.nodes.size() != static_cast<std::size_t>(h.nx) * h.ny) {
    error = "grid nodes do not match the header";
    return false;
  }
  return true;
}

// Bisection when the levels rise, list order otherwise.
class LevelFinder {
 public:
  explicit LevelFinder(std::span<const float> levels)
      : levels_(levels), sorted_(std::is_sorted(levels.begin(), levels.end())) {}
  int find(float v) const {
    int n = static_cast<int>(levels_.size());
    if (sorted_) {
      auto it = std::lower_bound(levels_.begin(), levels_.end(), v);
      return it == levels_.end() ? n - 1 : static_cast<int>(it - levels_.begin());
    }
    for (int i = 0; i < n; ++i)
      if (!(levels_[i] < v)) return i;
    return n - 1;
  }

 private:
  std::span<const float> levels_;
  bool sorted_;
};

}  // namespace

Rgb Image::at(int col, int row) const {
  std::size_t p = static_cast<std::size_t>(row) * frame.width + col;
  if (indexed) return palette[pixels[p]];
  return {pixels[3 * p], pixels[3 * p + 1], pixels[3 * p + 2]};
}

bool isGridNull(const GridHeader& h, float v) { return !isDataValue(v) || v == h.nullValue; }

ImageFrame imageFrame(const GridHeader& h, int width) {
  ImageFrame f;
  if (width < 1 || width > kMaxImageSide || h.nx < 1 || h.ny < 1 || !(h.dx > 0) || !(h.dy > 0) ||
      !std::isfinite(h.dx) || !std::isfinite(h.dy) || !std::isfinite(h.angle))
    return f;
  double x0 = h.x0, y0 = h.y0;
  double aLo = -0.5 * h.dx, aHi = (h.nx - 0.5) * h.dx;
  double bLo = -0.5 * h.dy, bHi = (h.ny - 0.5) * h.dy;
  double xmin, xmax, ymin, ymax;
  if (unrotated(h.angle)) {
    xmin = x0 + aLo, xmax = x0 + aHi, ymin = y0 + bLo, ymax = y0 + bHi;
  } else {
    double c = std::cos(h.angle * kDeg), s = std::sin(h.angle * kDeg);
    xmin = ymin = INFINITY;
    xmax = ymax = -INFINITY;
    for (double a : {aLo, aHi})
      for (double b : {bLo, bHi}) {
        double x = x0 + a * c - b * s, y = y0 + a * s + b * c;
        xmin = std::min(xmin, x), xmax = std::max(xmax, x);
        ymin = std::min(ymin, y), ymax = std::max(ymax, y);
      }
  }
  double ps = (xmax - xmin) / width;
  if (!(ps > 0) || !std::isfinite(ps)) return f;
  double hgt = std::round((ymax - ymin) / ps);
  if (!(hgt <= kMaxImageSide)) return f;
  f.width = width;
  f.height = std::max(1, static_cast<int>(hgt));
  f.xMin = xmin;
  f.yMax = ymax;
  f.pixelSize = ps;
  return f;
}

// ------------------------------------------------------------------ graded image

RenderResult renderGraded(const Grid& grid, std::span<const float> levels,
                          std::span<const Rgb> colours, Rgb background, int width, int threads) {
  RenderResult r;
  if (!gridUsable(grid, r.error)) return r;
  if (levels.empty() || colours.size() < levels.size()) {
    r.error = "no levels, or fewer colours than levels";
    return r;
  }
  // Palette: background first, then each new level colour. When the levels alone fill all 256
  // entries, the background shares the entry of the level colour nearest to it.
  std::vector<Rgb> distinct;
  for (std::size_t i = 0; i < levels.size(); ++i)
    if (std::find(distinct.begin(), distinct.end(), colours[i]) == distinct.end())
      distinct.push_back(colours[i]);
  if (distinct.size() > kMaxPaletteColours) {
    r.error = "more than 256 colours";
    return r;
  }
  std::vector<Rgb> palette;
  std::uint8_t backEntry = 0;
  bool backShared = distinct.size() == kMaxPaletteColours &&
                    std::find(distinct.begin(), distinct.end(), background) == distinct.end();
  if (backShared) {
    long best = -1;
    for (std::size_t k = 0; k < distinct.size(); ++k) {
      long dr = distinct[k].r - background.r, dg = distinct[k].g - background.g,
           db = distinct[k].b - background.b;
      long d = dr * dr + dg * dg + db * db;
      if (best < 0 || d < best) best = d, backEntry = static_cast<std::uint8_t>(k);
    }
  } else {
    palette.push_back(background);
  }
  std::vector<std::uint8_t> levelEntry(levels.size());
  for (std::size_t i = 0; i < levels.size(); ++i) {
    auto it = std::find(palette.begin(), palette.end(), colours[i]);
    if (it == palette.end()) {
      palette.push_back(colours[i]);
      it = palette.end() - 1;
    }
    levelEntry[i] = static_cast<std::uint8_t>(it - palette.begin());
  }
  ImageFrame f = imageFrame(grid.header, width);
  if (f.width == 0) {
    r.error = "image width out of range";
    return r;
  }
  Image& img = r.image;
  img.frame = f;
  img.indexed = true;
  img.palette = std::move(palette);
  std::size_t np = static_cast<std::size_t>(f.width) * f.height;
  img.pixels.assign(np, backEntry);
  img.mask.assign(np, 0);

  Sampler sampler(grid, INFINITY);
  LevelFinder finder(levels);
  PixelSampler pixels(sampler, grid.header, f);
  const float* z = grid.nodes.data();
  forRowBands(f.height, threads, [&](int j0, int j1) {
    for (int j = j0; j < j1; ++j) {
      std::uint8_t* px = img.pixels.data() + static_cast<std::size_t>(j) * f.width;
      std::uint8_t* mk = img.mask.data() + static_cast<std::size_t>(j) * f.width;
      for (int i = 0; i < f.width; ++i) {
        Sample s = pixels.at(i, j);
        if (s.kind == 0) continue;
        px[i] = levelEntry[static_cast<std::size_t>(finder.find(Sampler::value(s, z)))];
        mk[i] = 1;
      }
    }
  });
  r.ok = true;
  return r;
}

// ------------------------------------------------------------------ shaded relief

namespace {

// Horn's gradient at node (r, c) in map axes, before the vertical factor. A neighbour outside
// the grid or null is extrapolated through the centre from its opposite, a corner neighbour
// without its opposite from its two edge neighbours (both exact on a plane); what is left takes
// the centre's value.
struct Gradient {
  const Grid& g;
  const Sampler& nulls;
  double cosA, sinA;

  bool at(int r, int c, double& gx, double& gy) const {
    const GridHeader& h = g.header;
    const float* z = g.nodes.data();
    if (r > 0 && c > 0 && r < h.ny - 1 && c < h.nx - 1) {
      // Inside the grid with all nine nodes present: the common case, without the repairs.
      const float* p = z + static_cast<std::size_t>(r) * h.nx + c;
      const float* s = p - h.nx;  // the row to the south
      const float* n = p + h.nx;
      if (!nulls.isNull(p[0]) && !nulls.isNull(p[-1]) && !nulls.isNull(p[1]) &&
          !nulls.isNull(s[-1]) && !nulls.isNull(s[0]) && !nulls.isNull(s[1]) &&
          !nulls.isNull(n[-1]) && !nulls.isNull(n[0]) && !nulls.isNull(n[1])) {
        double gu = ((static_cast<double>(s[1]) + 2.0 * p[1] + n[1]) -
                     (static_cast<double>(s[-1]) + 2.0 * p[-1] + n[-1])) /
                    (8.0 * h.dx);
        double gv = ((static_cast<double>(n[-1]) + 2.0 * n[0] + n[1]) -
                     (static_cast<double>(s[-1]) + 2.0 * s[0] + s[1])) /
                    (8.0 * h.dy);
        gx = gu * cosA - gv * sinA;
        gy = gu * sinA + gv * cosA;
        return true;
      }
    }
    auto node = [&](int rr, int cc, double& out) {
      if (rr < 0 || cc < 0 || rr >= h.ny || cc >= h.nx) return false;
      float v = z[static_cast<std::size_t>(rr) * h.nx + cc];
      if (nulls.isNull(v)) return false;
      out = v;
      return true;
    };
    double z0;
    if (!node(r, c, z0)) return false;
    double w[3][3];
    bool have[3][3];
    for (int dr = -1; dr <= 1; ++dr)
      for (int dc = -1; dc <= 1; ++dc)
        have[dr + 1][dc + 1] = node(r + dr, c + dc, w[dr + 1][dc + 1]);
    bool known[3][3];
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) {
        known[a][b] = have[a][b] || have[2 - a][2 - b];
        if (!have[a][b] && have[2 - a][2 - b]) w[a][b] = 2 * z0 - w[2 - a][2 - b];
      }
    // A corner whose opposite is missing too: from its two edge neighbours, as on a plane.
    for (int a = 0; a < 3; a += 2)
      for (int b = 0; b < 3; b += 2)
        if (!known[a][b]) w[a][b] = known[a][1] && known[1][b] ? w[a][1] + w[1][b] - z0 : z0;
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b)
        if (!known[a][b] && (a == 1 || b == 1)) w[a][b] = z0;
    // w[row offset + 1][column offset + 1]; rows go north.
    double gu =
        ((w[0][2] + 2 * w[1][2] + w[2][2]) - (w[0][0] + 2 * w[1][0] + w[2][0])) / (8.0 * h.dx);
    double gv =
        ((w[2][0] + 2 * w[2][1] + w[2][2]) - (w[0][0] + 2 * w[0][1] + w[0][2])) / (8.0 * h.dy);
    gx = gu * cosA - gv * sinA;
    gy = gu * sinA + gv * cosA;
    return true;
  }
};

// The 99th percentile of the slope over the valid nodes, from a regular subsample of at most
// about a million nodes (the same nodes whatever the threads, and a percentile does not depend on
// the order they are gathered in).
double steepSlope(const Grid& grid, const Gradient& grad, int threads = 0) {
  const GridHeader& h = grid.header;
  const double total = static_cast<double>(h.nx) * h.ny;
  const int step = std::max(1, static_cast<int>(std::ceil(std::sqrt(total / 1e6))));
  const int sampled = (h.ny + step - 1) / step;
  std::vector<std::vector<double>> parts((sampled + 63) / 64);
  forRowStripes(sampled, 64, threads, [&](int k0, int k1) {
    std::vector<double>& g2 = parts[static_cast<std::size_t>(k0 / 64)];
    for (int k = k0; k < k1; ++k)
      for (int c = 0; c < h.nx; c += step) {
        double gx, gy;
        if (grad.at(k * step, c, gx, gy)) g2.push_back(gx * gx + gy * gy);
      }
  });
  std::vector<double> g2;
  for (const auto& p : parts) g2.insert(g2.end(), p.begin(), p.end());
  if (g2.empty()) return 0;
  auto at = g2.begin() + static_cast<std::ptrdiff_t>(0.99 * static_cast<double>(g2.size() - 1));
  std::nth_element(g2.begin(), at, g2.end());
  return std::sqrt(*at);
}

// The light of the relief: the vertical factor and the light direction.
struct Light {
  double k, lx, ly, lz;
};

Light lightFor(const Grid& grid, const Gradient& grad, float elevation, float azimuth,
               double zFactor, int threads) {
  double k = zFactor;
  if (k == 0) {
    double steep = steepSlope(grid, grad, threads);
    k = steep > 0 ? 1.0 / steep : 1.0;
  }
  double alt = elevation * kDeg, az = azimuth * kDeg;
  return {k, std::cos(alt) * std::sin(az), std::cos(alt) * std::cos(az), std::sin(alt)};
}

// The shade of node (r, c), -1 where the node has no gradient.
inline float shadeAt(const Gradient& grad, const Light& l, int r, int c) {
  double gx, gy;
  if (!grad.at(r, c, gx, gy)) return -1.0f;
  gx *= l.k, gy *= l.k;
  double i = (l.lz - gx * l.lx - gy * l.ly) / std::sqrt(1 + gx * gx + gy * gy);
  return static_cast<float>(std::max(0.0, i));
}

// The shades of node row r into out[0, nx): the nodes whose nine neighbours are all present in
// one pass with the same arithmetic as Gradient::at, the others through it.
void shadeRow(const Gradient& grad, const Light& l, int r, float* out) {
  const GridHeader& h = grad.g.header;
  const int nx = h.nx;
  if (r <= 0 || r >= h.ny - 1 || nx < 3) {
    for (int c = 0; c < nx; ++c) out[c] = shadeAt(grad, l, r, c);
    return;
  }
  const float* p = grad.g.nodes.data() + static_cast<std::size_t>(r) * nx;
  const float* s = p - nx;
  const float* n = p + nx;
  // Columns whose three nodes are all data.
  thread_local std::vector<std::uint8_t> column;
  column.resize(static_cast<std::size_t>(nx));
  for (int c = 0; c < nx; ++c)
    column[static_cast<std::size_t>(c)] =
        grad.nulls.isData(s[c]) & grad.nulls.isData(p[c]) & grad.nulls.isData(n[c]);
  const double ex = 8.0 * h.dx, ey = 8.0 * h.dy;
  const double cosA = grad.cosA, sinA = grad.sinA;
  // Every inner node as if its neighbours were all present (a straight loop the compiler turns
  // into vector instructions), then the nodes next to a null again through Gradient::at.
  float* __restrict o = out;
  for (int c = 1; c < nx - 1; ++c) {
    const double gu = ((static_cast<double>(s[c + 1]) + 2.0 * p[c + 1] + n[c + 1]) -
                       (static_cast<double>(s[c - 1]) + 2.0 * p[c - 1] + n[c - 1])) /
                      ex;
    const double gv = ((static_cast<double>(n[c - 1]) + 2.0 * n[c] + n[c + 1]) -
                       (static_cast<double>(s[c - 1]) + 2.0 * s[c] + s[c + 1])) /
                      ey;
    const double gx = (gu * cosA - gv * sinA) * l.k;
    const double gy = (gu * sinA + gv * cosA) * l.k;
    const double i = (l.lz - gx * l.lx - gy * l.ly) / std::sqrt(1 + gx * gx + gy * gy);
    o[c] = static_cast<float>(i);
  }
  // Light from behind (or a NaN from an infinite slope) is no light; shadeAt's rule.
  out[0] = shadeAt(grad, l, r, 0);
  out[nx - 1] = shadeAt(grad, l, r, nx - 1);
  for (int c = 1; c < nx - 1; ++c) {
    if (!(column[static_cast<std::size_t>(c - 1)] & column[static_cast<std::size_t>(c)] &
          column[static_cast<std::size_t>(c + 1)]))
      out[c] = shadeAt(grad, l, r, c);
    else if (!(out[c] > 0.0f))
      out[c] = 0.0f;
  }
}

std::vector<float> shadeNodes(const Grid& grid, float elevation, float azimuth, double zFactor,
                              float upper, int threads) {
  const GridHeader& h = grid.header;
  Sampler nulls(grid, upper);
  double a = grid.header.angle * kDeg;
  Gradient grad{grid, nulls, std::cos(a), std::sin(a)};
  if (unrotated(h.angle)) grad.cosA = 1, grad.sinA = 0;
  const Light light = lightFor(grid, grad, elevation, azimuth, zFactor, threads);
  std::vector<float> out(grid.nodes.size(), -1.0f);
  forRowStripes(h.ny, 32, threads, [&](int r0, int r1) {
    for (int r = r0; r < r1; ++r)
      for (int c = 0; c < h.nx; ++c)
        out[static_cast<std::size_t>(r) * h.nx + c] = shadeAt(grad, light, r, c);
  });
  return out;
}

}  // namespace

std::vector<float> hillshade(const Grid& grid, float elevation, float azimuth, double zFactor,
                             float upper) {
  std::string err;
  if (!gridUsable(grid, err)) return {};
  return shadeNodes(grid, elevation, azimuth, zFactor, upper, 0);
}

double autoZFactor(const Grid& grid, float upper) {
  std::string err;
  if (!gridUsable(grid, err)) return 1.0;
  Sampler nulls(grid, upper);
  double a = grid.header.angle * kDeg;
  Gradient grad{grid, nulls, std::cos(a), std::sin(a)};
  if (unrotated(grid.header.angle)) grad.cosA = 1, grad.sinA = 0;
  double steep = steepSlope(grid, grad);
  return steep > 0 ? 1.0 / steep : 1.0;
}

RenderResult renderRelief(const Grid& grid, std::span<const Rgb> colours, Rgb background, int width,
                          const ReliefParams& p, int threads) {
  RenderResult r;
  if (!gridUsable(grid, r.error)) return r;
  if (colours.empty()) {
    r.error = "no colours";
    return r;
  }
  ImageFrame f = imageFrame(grid.header, width);
  if (f.width == 0) {
    r.error = "image width out of range";
    return r;
  }
  const GridHeader& h = grid.header;
  Sampler sampler(grid, p.upper);
  // The range of the data, stripe by stripe on both cores (a minimum and a maximum do not depend
  // on the order).
  float lo = INFINITY, hi = -INFINITY;
  {
    std::mutex m;
    forRowStripes(h.ny, 256, threads, [&](int r0, int r1) {
      float l = INFINITY, u = -INFINITY;
      const float* z = grid.nodes.data() + static_cast<std::size_t>(r0) * h.nx;
      const float* e = grid.nodes.data() + static_cast<std::size_t>(r1) * h.nx;
      for (; z < e; ++z)
        if (!sampler.isNull(*z)) l = std::min(l, *z), u = std::max(u, *z);
      std::lock_guard lock(m);
      lo = std::min(lo, l), hi = std::max(hi, u);
    });
  }
  double a = h.angle * kDeg;
  Gradient grad{grid, sampler, std::cos(a), std::sin(a)};
  const bool straight = unrotated(h.angle);
  if (straight) grad.cosA = 1, grad.sinA = 0;
  const Light light = lightFor(grid, grad, p.elevation, p.azimuth, p.zFactor, threads);

  // Colours washed toward white by the saturation: one table, looked up by the level of a pixel.
  double sat = std::clamp(static_cast<double>(p.saturation), 0.0, 100.0) / 100.0;
  std::vector<std::array<float, 3>> washed(colours.size());
  for (std::size_t i = 0; i < colours.size(); ++i) {
    const Rgb& c = colours[i];
    for (int k = 0; k < 3; ++k) {
      double ch = k == 0 ? c.r : k == 1 ? c.g : c.b;
      washed[i][static_cast<std::size_t>(k)] = static_cast<float>(sat * ch + (1 - sat) * 255.0);
    }
  }
  const int n = static_cast<int>(colours.size());
  const double scale = hi > lo ? n / (static_cast<double>(hi) - lo) : 0.0;

  Image& img = r.image;
  img.frame = f;
  img.indexed = false;
  std::size_t np = static_cast<std::size_t>(f.width) * f.height;
  img.pixels.assign(3 * np, 0);
  img.mask.assign(np, 0);
  PixelSampler pixels(sampler, h, f);
  const float* z = grid.nodes.data();
  // A rotated mesh samples anywhere: its shade is made for the whole grid first. An upright one
  // is drawn in stripes of pixel rows, each shading just the node rows its pixels sample, so no
  // grid-sized buffer of shades is ever held.
  std::vector<float> wholeShade;
  if (!straight) wholeShade = shadeNodes(grid, p.elevation, p.azimuth, p.zFactor, p.upper, threads);
  const PixelToMesh mesh = pixelToMesh(h, f);
  // The colour of a pixel from its value and its light.
  auto paint = [&](std::uint8_t* px, double v, float lit) {
    lit = std::clamp(lit, 0.0f, 1.0f);
    int k = scale > 0 ? static_cast<int>((v - lo) * scale) : n / 2;
    k = std::clamp(k, 0, n - 1);
    const auto& c = washed[static_cast<std::size_t>(k)];
    px[0] = static_cast<std::uint8_t>(c[0] * lit + 0.5f);
    px[1] = static_cast<std::uint8_t>(c[1] * lit + 0.5f);
    px[2] = static_cast<std::uint8_t>(c[2] * lit + 0.5f);
  };
  auto paintBackground = [&](std::uint8_t* px) {
    px[0] = background.r, px[1] = background.g, px[2] = background.b;
  };
  if (!straight) {
    forRowStripes(f.height, 64, threads, [&](int j0, int j1) {
      for (int j = j0; j < j1; ++j) {
        std::uint8_t* px = img.pixels.data() + 3 * static_cast<std::size_t>(j) * f.width;
        std::uint8_t* mk = img.mask.data() + static_cast<std::size_t>(j) * f.width;
        for (int i = 0; i < f.width; ++i) {
          Sample s = pixels.at(i, j);
          if (s.kind == 0) {
            paintBackground(px + 3 * i);
            continue;
          }
          paint(px + 3 * i, Sampler::value(s, z), Sampler::value(s, wholeShade.data()));
          mk[i] = 1;
        }
      }
    });
    r.ok = true;
    return r;
  }
  // Upright: the column positions once for the image, the row positions once a pixel row. The
  // shade is negative exactly where the node is null, so it alone tells which nodes count.
  // Columns inside the mesh form one run of pixels [inFirst, inLast).
  const std::size_t W = static_cast<std::size_t>(f.width);
  std::vector<int> colLo(W), colHi(W), colNear(W);
  std::vector<float> colFrac(W);
  int inFirst = f.width, inLast = 0;
  for (int i = 0; i < f.width; ++i) {
    const Sampler::Axis a = Sampler::axis(mesh.u0 + i * mesh.ui, h.nx);
    const std::size_t q = static_cast<std::size_t>(i);
    colLo[q] = a.lo, colHi[q] = a.hi, colNear[q] = a.nearest, colFrac[q] = a.frac;
    if (a.inside) inFirst = std::min(inFirst, i), inLast = i + 1;
  }
  const std::size_t nx = static_cast<std::size_t>(h.nx);
  forRowStripes(f.height, 64, threads, [&](int j0, int j1) {
    // The node rows of this stripe's samples, and their shades.
    int rowLo = h.ny, rowHi = -1;
    for (int j = j0; j < j1; ++j) {
      const Sampler::Axis row = Sampler::axis(mesh.v0 + j * mesh.vj, h.ny);
      if (!row.inside) continue;
      rowLo = std::min({rowLo, row.lo, row.nearest});
      rowHi = std::max({rowHi, row.hi, row.nearest});
    }
    std::vector<float> shade;
    if (rowHi >= rowLo) {
      shade.resize(static_cast<std::size_t>(rowHi - rowLo + 1) * nx);
      for (int rr = rowLo; rr <= rowHi; ++rr)
        shadeRow(grad, light, rr, shade.data() + static_cast<std::size_t>(rr - rowLo) * nx);
    }
    for (int j = j0; j < j1; ++j) {
      std::uint8_t* px = img.pixels.data() + 3 * static_cast<std::size_t>(j) * f.width;
      std::uint8_t* mk = img.mask.data() + static_cast<std::size_t>(j) * f.width;
      const Sampler::Axis row = Sampler::axis(mesh.v0 + j * mesh.vj, h.ny);
      if (!row.inside) {
        for (int i = 0; i < f.width; ++i) paintBackground(px + 3 * i);
        continue;
      }
      const float* za = z + row.lo * nx;
      const float* zb = z + row.hi * nx;
      const float* zn = z + row.nearest * nx;
      const float* sa = shade.data() + (row.lo - rowLo) * nx;
      const float* sb = shade.data() + (row.hi - rowLo) * nx;
      const float* sn = shade.data() + (row.nearest - rowLo) * nx;
      const float fy = row.frac;
      for (int i = 0; i < inFirst; ++i) paintBackground(px + 3 * i);
      for (int i = inLast; i < f.width; ++i) paintBackground(px + 3 * i);
      for (int i = inFirst; i < inLast; ++i) {
        const std::size_t q = static_cast<std::size_t>(i);
        const int c0 = colLo[q], c1 = colHi[q];
        const float s00 = sa[c0], s10 = sa[c1], s01 = sb[c0], s11 = sb[c1];
        if (std::min(std::min(s00, s10), std::min(s01, s11)) >= 0) {
          const float fx = colFrac[q];
          paint(px + 3 * i, bilinear(za[c0], za[c1], zb[c0], zb[c1], fx, fy),
                bilinear(s00, s10, s01, s11, fx, fy));
          mk[i] = 1;
        } else if (const int cn = colNear[q]; sn[cn] >= 0) {
          paint(px + 3 * i, zn[cn], sn[cn]);
          mk[i] = 1;
        } else {
          paintBackground(px + 3 * i);
        }
      }
    }
  });
  r.ok = true;
  return r;
}

// ------------------------------------------------------------------ bitmap and georeference

namespace {
void put16(std::string& s, std::size_t at, std::uint16_t v) {
  s[at] = static_cast<char>(v & 0xFF);
  s[at + 1] = static_cast<char>(v >> 8);
}
void put32(std::string& s, std::size_t at, std::uint32_t v) {
  for (int k = 0; k < 4; ++k) s[at + k] = static_cast<char>((v >> (8 * k)) & 0xFF);
}
}  // namespace

namespace {

// The 14 + 40 header bytes and the palette of a bottom-up BMP of `img`.
std::string encodeBmpHeader(const Image& img) {
  const int w = img.width(), h = img.height();
  const int bpp = img.indexed ? 8 : 24;
  const std::size_t stride = (static_cast<std::size_t>(w) * (bpp / 8) + 3) / 4 * 4;
  const std::size_t paletteBytes = img.indexed ? 4 * img.palette.size() : 0;
  const std::size_t offBits = 14 + 40 + paletteBytes;
  const std::size_t total = offBits + stride * h;
  std::string out(offBits, '\0');
  out[0] = 'B', out[1] = 'M';
  put32(out, 2, static_cast<std::uint32_t>(total));
  put32(out, 10, static_cast<std::uint32_t>(offBits));
  put32(out, 14, 40);
  put32(out, 18, static_cast<std::uint32_t>(w));
  put32(out, 22, static_cast<std::uint32_t>(h));  // positive: rows bottom-up
  put16(out, 26, 1);
  put16(out, 28, static_cast<std::uint16_t>(bpp));
  put32(out, 30, 0);  // BI_RGB
  put32(out, 34, static_cast<std::uint32_t>(stride * h));
  put32(out, 38, 3780);  // 96 dpi
  put32(out, 42, 3780);
  put32(out, 46, img.indexed ? static_cast<std::uint32_t>(img.palette.size()) : 0);
  put32(out, 50, 0);
  std::size_t at = 54;
  if (img.indexed)
    for (const Rgb& c : img.palette) {
      out[at++] = static_cast<char>(c.b);
      out[at++] = static_cast<char>(c.g);
      out[at++] = static_cast<char>(c.r);
      out[at++] = 0;
    }
  return out;
}

// Image row `src` (top row 0) as BMP bytes into `dst` (padding left as it is).
void encodeBmpRow(const Image& img, int src, char* dst) {
  const int w = img.width();
  if (img.indexed) {
    std::memcpy(dst, img.pixels.data() + static_cast<std::size_t>(src) * w, w);
    return;
  }
  const std::uint8_t* p = img.pixels.data() + 3 * static_cast<std::size_t>(src) * w;
  for (int i = 0; i < w; ++i) {
    dst[3 * i] = static_cast<char>(p[3 * i + 2]);
    dst[3 * i + 1] = static_cast<char>(p[3 * i + 1]);
    dst[3 * i + 2] = static_cast<char>(p[3 * i]);
  }
}

}  // namespace

std::string encodeBmp(const Image& img) {
  const int w = img.width(), h = img.height();
  const int bpp = img.indexed ? 8 : 24;
  const std::size_t stride = (static_cast<std::size_t>(w) * (bpp / 8) + 3) / 4 * 4;
  std::string out = encodeBmpHeader(img);
  const std::size_t offBits = out.size();
  out.resize(offBits + stride * h, '\0');
  for (int row = 0; row < h; ++row)
    encodeBmpRow(img, h - 1 - row, out.data() + offBits + stride * row);  // bottom row first
  return out;
}

bool writeBmp(const std::string& path, const Image& img) {
  if (img.width() < 1 || img.height() < 1) return false;
  // The header and palette as encodeBmp makes them, then the rows a few at a time: the file is
  // never held whole beside the image.
  const int w = img.width(), hgt = img.height();
  const int bpp = img.indexed ? 8 : 24;
  const std::size_t stride = (static_cast<std::size_t>(w) * (bpp / 8) + 3) / 4 * 4;
  std::string top = encodeBmpHeader(img);
  std::ofstream f(resolvePath(path), std::ios::binary | std::ios::trunc);
  if (!f) return false;
  f.write(top.data(), static_cast<std::streamsize>(top.size()));
  constexpr int kRowsAtOnce = 64;
  std::string rows(stride * kRowsAtOnce, '\0');
  for (int row0 = 0; row0 < hgt && f; row0 += kRowsAtOnce) {
    const int count = std::min(kRowsAtOnce, hgt - row0);
    for (int k = 0; k < count; ++k)
      encodeBmpRow(img, hgt - 1 - (row0 + k), rows.data() + stride * k);  // bottom row first
    f.write(rows.data(), static_cast<std::streamsize>(stride * count));
  }
  return static_cast<bool>(f);
}

bool writeGeoreference(const std::string& path, const std::string& layerName,
                       const ImageFrame& frame) {
  std::ofstream f(resolvePath(path), std::ios::binary | std::ios::trunc);
  if (!f) return false;
  char line[512];
  std::snprintf(line, sizeof line, "%s 0 0 %d %d %.10g %.10g %.10g %.10g\r\n", layerName.c_str(),
                frame.width, frame.height, frame.xMin, frame.yMin(), frame.xMax(), frame.yMax);
  f << "1\r\n" << line;
  return static_cast<bool>(f);
}

// ------------------------------------------------------------------ exports through GDAL

std::string imageFormatFor(const std::string& path) {
  std::size_t dot = path.find_last_of('.');
  if (dot == std::string::npos) return {};
  std::string ext = path.substr(dot + 1);
  for (char& ch : ext) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  if (ext == "bmp") return "BMP";
  if (ext == "png") return "PNG";
  if (ext == "tif" || ext == "tiff") return "GTiff";
  return {};
}

std::string exportImage(const std::string& path, const Image& img, const std::string& format) {
  const int w = img.width(), h = img.height();
  if (w < 1 || h < 1) return "empty image";
  GDALAllRegister();
  GDALDriverH mem = GDALGetDriverByName("MEM");
  GDALDriverH out = GDALGetDriverByName(format.c_str());
  if (!mem || !out) return "GDAL driver missing: " + format;
  GDALDatasetH ds = GDALCreate(mem, "", w, h, 4, GDT_Byte, nullptr);
  if (!ds) return CPLGetLastErrorMsg();
  std::size_t np = static_cast<std::size_t>(w) * h;
  std::vector<std::uint8_t> band(np);
  CPLErr err = CE_None;
  for (int b = 0; b < 4 && err == CE_None; ++b) {
    for (std::size_t q = 0; q < np; ++q) {
      if (b == 3) {
        band[q] = img.mask[q] ? 255 : 0;
        continue;
      }
      Rgb c = img.indexed ? img.palette[img.pixels[q]]
                          : Rgb{img.pixels[3 * q], img.pixels[3 * q + 1], img.pixels[3 * q + 2]};
      band[q] = b == 0 ? c.r : b == 1 ? c.g : c.b;
    }
    GDALRasterBandH hb = GDALGetRasterBand(ds, b + 1);
    GDALSetRasterColorInterpretation(hb, static_cast<GDALColorInterp>(GCI_RedBand + b));
    err = GDALRasterIO(hb, GF_Write, 0, 0, w, h, band.data(), w, h, GDT_Byte, 0, 0);
  }
  double gt[6] = {img.frame.xMin, img.frame.pixelSize, 0, img.frame.yMax, 0, -img.frame.pixelSize};
  GDALSetGeoTransform(ds, gt);
  std::string problem;
  if (err != CE_None) problem = CPLGetLastErrorMsg();
  if (problem.empty()) {
    char** opts = nullptr;
    if (format == "PNG") opts = CSLSetNameValue(opts, "WORLDFILE", "YES");
    if (format == "GTiff") {
      opts = CSLSetNameValue(opts, "COMPRESS", "DEFLATE");
      opts = CSLSetNameValue(opts, "PHOTOMETRIC", "RGB");
      opts = CSLSetNameValue(opts, "ALPHA", "YES");
    }
    CPLErrorReset();
    GDALDatasetH copy =
        GDALCreateCopy(out, resolvePath(path).c_str(), ds, FALSE, opts, nullptr, nullptr);
    if (!copy)
      problem = CPLGetLastErrorMsg();
    else
      GDALClose(copy);
    if (!copy && problem.empty()) problem = "cannot write " + path;
    CSLDestroy(opts);
  }
  GDALClose(ds);
  return problem;
}

// ------------------------------------------------------------------ colour bar

namespace {

// A 5 × 7 font for the characters of a number; each glyph is seven rows of five bits.
struct Glyph {
  char ch;
  std::uint8_t rows[7];
};
constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
};

const Glyph* glyphFor(char ch) {
  for (const Glyph& g : kFont)
    if (g.ch == ch) return &g;
  return nullptr;
}

}  // namespace

std::string colourBarLabel(float v, int decimals) {
  if (decimals >= 1 && decimals <= 4) return formatLevelValue(v, decimals);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.5G", static_cast<double>(v));
  return buf;
}

std::vector<std::string> colourBarLabels(std::span<const float> values, int decimals) {
  std::vector<std::string> out;
  out.reserve(values.size());
  if (decimals >= 1 && decimals <= 4) {
    for (float v : values) out.push_back(formatLevelValue(v, decimals));
    return out;
  }
  double largest = 0, smallestNonZero = HUGE_VAL, step = HUGE_VAL;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double v = std::fabs(static_cast<double>(values[i]));
    if (!std::isfinite(v)) continue;
    largest = std::max(largest, v);
    if (v > 0) smallestNonZero = std::min(smallestNonZero, v);
    if (i > 0) {
      const double d = std::fabs(static_cast<double>(values[i]) - values[i - 1]);
      if (d > 0 && std::isfinite(d)) step = std::min(step, d);
    }
  }
  char buf[48];
  const bool scientific = largest >= 1e7 || (largest > 0 && largest < 1e-4);
  if (scientific) {
    // Mantissa digits enough for the step relative to the largest value, 1 to 6.
    int digits = 2;
    if (std::isfinite(step) && largest > 0)
      digits = std::clamp(static_cast<int>(std::ceil(std::log10(largest / step))) + 1, 1, 6);
    for (float v : values) {
      std::snprintf(buf, sizeof buf, "%.*E", digits - 1, static_cast<double>(v));
      out.push_back(buf);
    }
    return out;
  }
  int places = 0;
  if (std::isfinite(step))
    places = std::clamp(static_cast<int>(std::ceil(-std::log10(step))) + 1, 0, 6);
  else if (std::isfinite(smallestNonZero) && smallestNonZero < 1)
    places = std::clamp(static_cast<int>(std::ceil(-std::log10(smallestNonZero))) + 1, 0, 6);
  for (float v : values) {
    std::snprintf(buf, sizeof buf, "%.*f", places, static_cast<double>(v));
    out.push_back(buf);
  }
  return out;
}

Image withColourBar(const Image& img, std::span<const ColourBarEntry> entries, int decimals) {
  const int w0 = img.width(), h = img.height();
  const int n = static_cast<int>(entries.size());
  if (n == 0 || w0 < 1 || h < 1) return img;
  const int s = std::max(1, h / 360);  // font scale
  const int glyphW = 6 * s, glyphH = 7 * s;
  const int margin = 8 * s, swatchW = 18 * s, gap = 4 * s;
  std::vector<float> values;
  for (const auto& e : entries) values.push_back(e.value);
  const std::vector<std::string> labels = colourBarLabels(values, decimals);
  std::size_t longest = 0;
  for (const auto& l : labels) longest = std::max(longest, l.size());
  const int barW = margin + swatchW + gap + static_cast<int>(longest) * glyphW + margin;
  Image out;
  out.frame = img.frame;
  out.frame.width = w0 + barW;
  out.indexed = false;
  const std::size_t W = static_cast<std::size_t>(out.frame.width);
  out.pixels.assign(3 * W * h, 255);
  out.mask.assign(W * h, 1);
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w0; ++i) {
      Rgb c = img.at(i, j);
      std::size_t q = j * W + i;
      out.pixels[3 * q] = c.r, out.pixels[3 * q + 1] = c.g, out.pixels[3 * q + 2] = c.b;
      out.mask[q] = img.mask[static_cast<std::size_t>(j) * w0 + i];
    }
  auto put = [&](int x, int y, Rgb c) {
    if (x < 0 || y < 0 || x >= static_cast<int>(W) || y >= h) return;
    std::size_t q = static_cast<std::size_t>(y) * W + x;
    out.pixels[3 * q] = c.r, out.pixels[3 * q + 1] = c.g, out.pixels[3 * q + 2] = c.b;
  };
  // The bar spans [top, bottom); level 0 at the bottom.
  const int top = margin + glyphH / 2, bottom = h - margin - glyphH / 2;
  if (bottom - top < 2) return out;
  const int x0 = w0 + margin;
  const double span = bottom - top;
  auto edgeY = [&](int i) {  // the upper edge of level i's swatch
    return bottom - static_cast<int>(std::lround(span * (i + 1) / n));
  };
  for (int y = top; y < bottom; ++y) {
    int lv = std::clamp(static_cast<int>((bottom - 1 - y) * n / span), 0, n - 1);
    for (int x = x0; x < x0 + swatchW; ++x) put(x, y, entries[static_cast<std::size_t>(lv)].colour);
  }
  const Rgb ink{0, 0, 0};
  for (int y = top - 1; y <= bottom; ++y) put(x0 - 1, y, ink), put(x0 + swatchW, y, ink);
  for (int x = x0 - 1; x <= x0 + swatchW; ++x) put(x, top - 1, ink), put(x, bottom, ink);
  // Labels at the swatches' upper edges, every `step`-th level so that they do not touch.
  const int step = std::max(1, static_cast<int>(std::ceil((glyphH + 3.0 * s) * n / span)));
  for (int i = n - 1; i >= 0; i -= step) {
    int y = edgeY(i);
    for (int x = x0 + swatchW; x < x0 + swatchW + gap / 2; ++x) put(x, y, ink);
    int tx = x0 + swatchW + gap, ty = y - glyphH / 2;
    for (char ch : labels[static_cast<std::size_t>(i)]) {
      if (const Glyph* g = glyphFor(ch))
        for (int gy = 0; gy < 7; ++gy)
          for (int gx = 0; gx < 5; ++gx)
            if (g->rows[gy] & (0x10 >> gx))
              for (int a = 0; a < s; ++a)
                for (int b = 0; b < s; ++b) put(tx + gx * s + b, ty + gy * s + a, ink);
      tx += glyphW;
    }
  }
  return out;
}

}  // namespace sarnoth::display
