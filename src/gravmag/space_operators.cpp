#include "gravmag/space_operators.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>

#include "prep/parallel_rows.h"
#include "workarea/null_value.h"

namespace sarnoth::gravmag {
namespace {

// The tool's degree-to-radian factor.
constexpr double kDegToRad = 3.141592654 / 180.0;

// Sweeps of the harmonic relaxation at each level of the fill's pyramid. The coarse level
// already holds the long wavelengths, so a few sweeps settle each finer one.
constexpr int kFillSweeps = 12;

bool isData(float v) { return !isNullValue(v); }

void addPoint(PointOperator& op, int dc, int dr, double w) {
  for (auto& p : op.points)
    if (p.dc == dc && p.dr == dr) {
      p.weight += w;
      return;
    }
  op.points.push_back({dc, dr, w});
}

// The points of the ring of squared radius q (in spacings) on a square grid: (±1,0),(0,±1) for 1,
// the diagonals for 2, the eight knight's moves for 5.
std::vector<std::pair<int, int>> ringPoints(int q) {
  std::vector<std::pair<int, int>> pts;
  for (int dr = -3; dr <= 3; ++dr)
    for (int dc = -3; dc <= 3; ++dc)
      if (dc * dc + dr * dr == q) pts.emplace_back(dc, dr);
  return pts;
}

// The harmonic fill of the unknown nodes of a W × H array, Neumann at the array's border.
void harmonicFill(std::vector<float>& v, std::vector<std::uint8_t>& known, int W, int H) {
  const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
  std::vector<std::size_t> unknown;
  for (std::size_t i = 0; i < n; ++i)
    if (!known[i]) unknown.push_back(i);
  if (unknown.empty()) return;
  if (W <= 2 && H <= 2) {
    double s = 0;
    int c = 0;
    for (std::size_t i = 0; i < n; ++i)
      if (known[i]) {
        s += v[i];
        ++c;
      }
    for (std::size_t i : unknown) v[i] = c ? static_cast<float>(s / c) : 0.0f;
    return;
  }
  // The coarser level: the mean of the known nodes of each 2 × 2 block.
  const int W2 = (W + 1) / 2, H2 = (H + 1) / 2;
  std::vector<double> sum(static_cast<std::size_t>(W2) * H2, 0.0);
  std::vector<int> cnt(sum.size(), 0);
  for (int r = 0; r < H; ++r)
    for (int c = 0; c < W; ++c) {
      const std::size_t i = static_cast<std::size_t>(r) * W + c;
      if (!known[i]) continue;
      const std::size_t j = static_cast<std::size_t>(r / 2) * W2 + c / 2;
      sum[j] += v[i];
      ++cnt[j];
    }
  std::vector<float> coarse(sum.size(), 0.0f);
  std::vector<std::uint8_t> coarseKnown(sum.size(), 0);
  for (std::size_t j = 0; j < sum.size(); ++j)
    if (cnt[j]) {
      coarse[j] = static_cast<float>(sum[j] / cnt[j]);
      coarseKnown[j] = 1;
    }
  harmonicFill(coarse, coarseKnown, W2, H2);
  // Back to this level: bilinear between the coarse nodes (whose centres sit at 2j + 0.5).
  auto coarseAt = [&](int r, int c) {
    r = std::clamp(r, 0, H2 - 1);
    c = std::clamp(c, 0, W2 - 1);
    return static_cast<double>(coarse[static_cast<std::size_t>(r) * W2 + c]);
  };
  for (std::size_t i : unknown) {
    const int r = static_cast<int>(i / static_cast<std::size_t>(W));
    const int c = static_cast<int>(i % static_cast<std::size_t>(W));
    const double fr = (r - 0.5) / 2.0, fc = (c - 0.5) / 2.0;
    const int r0 = static_cast<int>(std::floor(fr)), c0 = static_cast<int>(std::floor(fc));
    const double tr = fr - r0, tc = fc - c0;
    v[i] =
        static_cast<float>((1 - tr) * ((1 - tc) * coarseAt(r0, c0) + tc * coarseAt(r0, c0 + 1)) +
                           tr * ((1 - tc) * coarseAt(r0 + 1, c0) + tc * coarseAt(r0 + 1, c0 + 1)));
  }
  // Relaxation: each unknown node takes the mean of its neighbours inside the array.
  for (int sweep = 0; sweep < kFillSweeps; ++sweep)
    for (std::size_t i : unknown) {
      const int r = static_cast<int>(i / static_cast<std::size_t>(W));
      const int c = static_cast<int>(i % static_cast<std::size_t>(W));
      double s = 0;
      int k = 0;
      if (c > 0) s += v[i - 1], ++k;
      if (c + 1 < W) s += v[i + 1], ++k;
      if (r > 0) s += v[i - static_cast<std::size_t>(W)], ++k;
      if (r + 1 < H) s += v[i + static_cast<std::size_t>(W)], ++k;
      if (k) v[i] = static_cast<float>(s / k);
    }
}

}  // namespace

int PointOperator::radius() const {
  int r = 0;
  for (const auto& p : points) r = std::max({r, std::abs(p.dc), std::abs(p.dr)});
  return r;
}

double PointOperator::sum() const {
  double s = 0;
  for (const auto& p : points) s += p.weight;
  return s;
}

void PointOperator::add(const PointOperator& other, double f) {
  for (const auto& p : other.points) addPoint(*this, p.dc, p.dr, f * p.weight);
}

RingTable gmFilterTable(SecondDerivative method) {
  switch (method) {
    case SecondDerivative::Elkins:
      return {44.0 / 62.0, 16.0 / 62.0, -12.0 / 62.0, -48.0 / 62.0};
    case SecondDerivative::Rosenbach:
      return {96.0 / 24.0, -72.0 / 24.0, -32.0 / 24.0, 8.0 / 24.0};
    case SecondDerivative::HendersonZietz:
      return {6.0, -8.0, 2.0, 0.0};
  }
  return {};
}

PointOperator secondDerivativeOperator(SecondDerivative method) {
  const RingTable t = gmFilterTable(method);
  PointOperator op;
  addPoint(op, 0, 0, t.c0);
  const std::pair<int, double> rings[] = {{1, t.c1}, {2, t.c2}, {5, t.c5}};
  for (const auto& [q, c] : rings) {
    if (c == 0) continue;
    const auto pts = ringPoints(q);
    for (const auto& [dc, dr] : pts) addPoint(op, dc, dr, c / static_cast<double>(pts.size()));
  }
  return op;
}

PointOperator upwardOperator(double h, double xScale, int radius) {
  // The points within the radius grouped by their distance (equal within rounding).
  std::map<long long, std::vector<std::pair<int, int>>> rings;
  const double unit = 1e-9;  // distances are keyed to a billionth of a spacing
  const int rc = std::max(0, static_cast<int>(std::floor(radius / xScale)));
  for (int dr = -radius; dr <= radius; ++dr)
    for (int dc = -rc; dc <= rc; ++dc) {
      const double d = std::hypot(dc * xScale, static_cast<double>(dr));
      if (d > radius + 1e-9) continue;
      rings[std::llround(d / unit)].emplace_back(dc, dr);
    }
  std::vector<double> radii;
  std::vector<std::vector<std::pair<int, int>>> members;
  for (auto& [key, pts] : rings) {
    radii.push_back(static_cast<double>(key) * unit);
    members.push_back(std::move(pts));
  }
  // ∫K dr and ∫K·r dr of the kernel K(r) = h·r/(r² + h²)^(3/2).
  auto i0 = [h](double r) { return -h / std::sqrt(r * r + h * h); };
  auto i1 = [h](double r) { return h * (std::asinh(r / h) - r / std::sqrt(r * r + h * h)); };
  std::vector<double> w(radii.size(), 0.0);
  for (std::size_t k = 0; k + 1 < radii.size(); ++k) {
    const double a = radii[k], b = radii[k + 1], len = b - a;
    const double I0 = i0(b) - i0(a), I1 = i1(b) - i1(a);
    w[k] += (b * I0 - I1) / len;
    w[k + 1] += (I1 - a * I0) / len;
  }
  w.back() += h / std::sqrt(radii.back() * radii.back() + h * h);  // the field beyond R
  PointOperator op;
  for (std::size_t k = 0; k < radii.size(); ++k)
    for (const auto& [dc, dr] : members[k])
      op.points.push_back({dc, dr, w[k] / static_cast<double>(members[k].size())});
  return op;
}

int autoContinuationRadius(double h) {
  const double r = std::ceil(16.0 * std::fabs(h));
  return static_cast<int>(std::clamp(r, double(kAutoRadiusMin), double(kAutoRadiusMax)));
}

PointOperator gmDerivOperators(double h, double xScale, int radius) {
  if (h == 0) return PointOperator{{{0, 0, 1.0}}};
  if (h < 0) return upwardOperator(-h, xScale, radius);
  // g(−h) = 2·g0 − g(h) + h²·g_zz.
  PointOperator op{{{0, 0, 2.0}}};
  op.add(upwardOperator(h, xScale, radius), -1.0);
  op.add(secondDerivativeOperator(SecondDerivative::Rosenbach), h * h);
  return op;
}

PointOperator gmDirectionOp(double alphaDegrees, double xScale) {
  const double a = alphaDegrees * kDegToRad;
  const double cx = std::cos(a) / xScale, cy = std::sin(a);
  PointOperator op;
  const double fd[2] = {8.0 / 12.0, -1.0 / 12.0};  // weights of steps 1 and 2
  for (int s = 1; s <= 2; ++s) {
    const double w = fd[s - 1];
    if (cx != 0) {
      addPoint(op, s, 0, w * cx);
      addPoint(op, -s, 0, -w * cx);
    }
    if (cy != 0) {
      addPoint(op, 0, s, w * cy);
      addPoint(op, 0, -s, -w * cy);
    }
  }
  return op;
}

SmoothStats gmSmoothStats(const std::vector<float>& grid, int nx, int ny, int halfWidth) {
  SmoothStats out;
  const std::size_t n = static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny);
  out.mean.assign(n, NULL_VALUE);
  out.stddev.assign(n, NULL_VALUE);
  if (nx <= 0 || ny <= 0 || grid.size() < n) return out;
  // Summed-area tables of count, value and value², one row and column larger.
  const std::size_t W = static_cast<std::size_t>(nx) + 1;
  std::vector<double> s1(W * (static_cast<std::size_t>(ny) + 1), 0.0), s2(s1.size(), 0.0);
  std::vector<std::int64_t> sc(s1.size(), 0);
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) {
      const float v = grid[static_cast<std::size_t>(r) * nx + c];
      const std::size_t i = (r + 1) * W + (c + 1);
      const bool d = isData(v);
      s1[i] = s1[i - 1] + s1[i - W] - s1[i - W - 1] + (d ? v : 0.0);
      s2[i] = s2[i - 1] + s2[i - W] - s2[i - W - 1] + (d ? double(v) * v : 0.0);
      sc[i] = sc[i - 1] + sc[i - W] - sc[i - W - 1] + (d ? 1 : 0);
    }
  const int w = std::max(0, halfWidth);
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) {
      const std::size_t o = static_cast<std::size_t>(r) * nx + c;
      if (!isData(grid[o])) {
        out.mean[o] = out.stddev[o] = grid[o];
        continue;
      }
      const std::size_t r0 = static_cast<std::size_t>(std::max(0, r - w));
      const std::size_t r1 = static_cast<std::size_t>(std::min(ny, r + w + 1));
      const std::size_t c0 = static_cast<std::size_t>(std::max(0, c - w));
      const std::size_t c1 = static_cast<std::size_t>(std::min(nx, c + w + 1));
      auto box = [&](const auto& t) {
        return t[r1 * W + c1] - t[r0 * W + c1] - t[r1 * W + c0] + t[r0 * W + c0];
      };
      const double k = static_cast<double>(box(sc));
      const double m = box(s1) / k;
      const double var = box(s2) / k - m * m;
      const double tol = static_cast<double>(kSmoothTolerance);
      out.mean[o] = static_cast<float>(m);
      out.stddev[o] = var < tol * tol ? 0.0f : static_cast<float>(std::sqrt(var));
    }
  return out;
}

GridStatistics gridStatistics(const std::vector<float>& grid) {
  GridStatistics s;
  double sum = 0, sum2 = 0;
  for (float v : grid) {
    if (!isData(v)) continue;
    if (s.count == 0) s.min = s.max = v;
    s.min = std::min(s.min, double(v));
    s.max = std::max(s.max, double(v));
    sum += v;
    sum2 += double(v) * v;
    ++s.count;
  }
  if (s.count) {
    s.mean = sum / static_cast<double>(s.count);
    const double var = sum2 / static_cast<double>(s.count) - s.mean * s.mean;
    s.stddev = var > 0 ? std::sqrt(var) : 0.0;
  }
  return s;
}

bool fillForOperator(const std::vector<float>& grid, int nx, int ny, int margin,
                     std::vector<float>& padded) {
  const int W = nx + 2 * margin, H = ny + 2 * margin;
  padded.assign(static_cast<std::size_t>(W) * static_cast<std::size_t>(H), 0.0f);
  std::vector<std::uint8_t> known(padded.size(), 0);
  bool any = false;
  for (int r = 0; r < ny; ++r)
    for (int c = 0; c < nx; ++c) {
      const float v = grid[static_cast<std::size_t>(r) * nx + c];
      if (!isData(v)) continue;
      const std::size_t i = static_cast<std::size_t>(r + margin) * W + (c + margin);
      padded[i] = v;
      known[i] = 1;
      any = true;
    }
  if (!any) return false;
  harmonicFill(padded, known, W, H);
  return true;
}

std::vector<float> applyPointOperator(const std::vector<float>& grid, int nx, int ny,
                                      const PointOperator& op, int threads, Progress& progress,
                                      bool* stopped) {
  if (stopped) *stopped = false;
  const int m = op.radius();
  std::vector<float> padded;
  if (!fillForOperator(grid, nx, ny, m, padded)) return {};
  const std::size_t W = static_cast<std::size_t>(nx + 2 * m);
  std::vector<float> out(grid);
  // Offsets into the padded array, once.
  std::vector<std::ptrdiff_t> offset;
  std::vector<double> weight;
  for (const auto& p : op.points) {
    offset.push_back(static_cast<std::ptrdiff_t>(p.dr) * static_cast<std::ptrdiff_t>(W) + p.dc);
    weight.push_back(p.weight);
  }
  // Blocks of rows between two looks at the progress (some 2e7 products each, a few hundredths
  // of a second), each block shared over the cores.
  const double perRow =
      static_cast<double>(nx) * static_cast<double>(std::max<std::size_t>(1, offset.size()));
  const int block =
      static_cast<int>(std::clamp(2e7 / perRow, 2.0, static_cast<double>(std::max(ny, 2))));
  progress.setMaximum(ny);
  for (int b0 = 0; b0 < ny; b0 += block) {
    const int b1 = std::min(ny, b0 + block);
    detail::forRowBands(
        b1 - b0,
        [&](int r0, int r1, int) {
          for (int r = b0 + r0; r < b0 + r1; ++r)
            for (int c = 0; c < nx; ++c) {
              const std::size_t o = static_cast<std::size_t>(r) * nx + c;
              if (!isData(grid[o])) continue;
              const float* at = padded.data() + static_cast<std::size_t>(r + m) * W + (c + m);
              double s = 0;
              for (std::size_t k = 0; k < offset.size(); ++k) s += weight[k] * at[offset[k]];
              out[o] = static_cast<float>(s);
            }
        },
        1, threads);
    progress.setValue(b1);
    if (!progress.pump()) {
      if (stopped) *stopped = true;
      return {};
    }
  }
  return out;
}

}  // namespace sarnoth::gravmag
