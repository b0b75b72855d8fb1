// Grid smoothing and overlay. See grid_smooth.h.
#include "datatools/grid_smooth.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "prep/gridding.h"
#include "prep/parallel_rows.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"

namespace sarnoth {

namespace {

// Rows are smoothed in chunks of this many, so that the progress bar moves on large grids.
constexpr int kRowChunk = 64;
constexpr double kPi = 3.14159265358979323846;

std::vector<double> outer(const std::vector<double>& w) {
  std::vector<double> k(w.size() * w.size());
  for (std::size_t i = 0; i < w.size(); ++i)
    for (std::size_t j = 0; j < w.size(); ++j) k[i * w.size() + j] = w[i] * w[j];
  return k;
}

std::string fileNameOf(const std::string& path) {
  auto cut = path.find_last_of("\\/");
  return cut == std::string::npos ? path : path.substr(cut + 1);
}

// Asks before a grid is overwritten; false when the answer is No.
bool mayWrite(const std::string& target, Interaction& ui) {
  std::error_code ec;
  if (!std::filesystem::exists(resolvePath(target), ec)) return true;
  std::string name = fileNameOf(target);
  return ui.ask(kTitle, kMsgOverwritePrefix + name + kMsgOverwriteSuffix, Buttons::YesNo,
                Icon::Question) == Answer::Yes;
}

Outcome readSource(const std::string& path, Grid& g) {
  GridReadResult r = readGrid(path);
  if (r.error == GridError::BadMagic) return Outcome::failure(kMsgNotBinaryGrid);
  if (!r.ok()) return Outcome::failure(kMsgGridRead);
  g = std::move(r.grid);
  return Outcome::success();
}

Outcome writeResult(const std::string& target, GridHeader header, std::vector<float>& nodes) {
  for (float& v : nodes)
    if (isNullValue(v)) v = NULL_VALUE;
  header.nullValue = NULL_VALUE;
  recomputeGridStats(header, nodes);
  if (!writeGrid(target, kGridMagicDmx10, kMethodGridToGrid, header, nodes))
    return Outcome::failure(kMsgCannotCreate + fileNameOf(target));
  return Outcome::success();
}

}  // namespace

const std::vector<std::string>& smoothMethodCaptions() {
  static const std::vector<std::string> k = {"滑动平均", "3×3加权平均", "5×5加权平均", "中值滤波",
                                             "汉宁窗圆滑"};
  return k;
}

const std::vector<std::string>& overlayOpCaptions() {
  static const std::vector<std::string> k = {"求和",     "求差",   "乘积",  "比值",
                                             "加权求和", "最大值", "最小值"};
  return k;
}

bool smoothUsesWindow(SmoothMethod m) {
  return m == SmoothMethod::MovingAverage || m == SmoothMethod::Median ||
         m == SmoothMethod::Hanning;
}

std::vector<double> smoothKernel(const SmoothOptions& opt) {
  switch (opt.method) {
    case SmoothMethod::MovingAverage:
      return std::vector<double>(static_cast<std::size_t>(opt.window * opt.window), 1.0);
    case SmoothMethod::Weighted3:
      return outer({1, 2, 1});
    case SmoothMethod::Weighted5:
      return outer({1, 4, 6, 4, 1});
    case SmoothMethod::Hanning: {
      std::vector<double> w(static_cast<std::size_t>(opt.window));
      for (int i = 0; i < opt.window; ++i)
        w[static_cast<std::size_t>(i)] = 0.5 * (1 - std::cos(2 * kPi * (i + 1) / (opt.window + 1)));
      return outer(w);
    }
    case SmoothMethod::Median:
      break;
  }
  return {};
}

void smoothNodes(std::vector<float>& nodes, int nx, int ny, const SmoothOptions& opt,
                 Progress& progress, int threads) {
  const std::vector<double> kernel = smoothKernel(opt);
  const int k = opt.method == SmoothMethod::Weighted3   ? 3
                : opt.method == SmoothMethod::Weighted5 ? 5
                                                        : opt.window;
  const int h = k / 2;
  std::vector<float> prev(nodes.size());
  progress.setMaximum(static_cast<std::int64_t>(opt.passes) * ny);
  for (int pass = 0; pass < opt.passes; ++pass) {
    prev.swap(nodes);
    for (int r0 = 0; r0 < ny; r0 += kRowChunk) {
      const int rows = std::min(kRowChunk, ny - r0);
      detail::forRowBands(
          rows,
          [&](int b, int e, int) {
            std::vector<float> window;
            window.reserve(static_cast<std::size_t>(k) * k);
            for (int r = r0 + b; r < r0 + e; ++r)
              for (int c = 0; c < nx; ++c) {
                const std::size_t at = static_cast<std::size_t>(r) * nx + c;
                const float centre = prev[at];
                if (isNullValue(centre)) {
                  nodes[at] = NULL_VALUE;
                  continue;
                }
                const int i0 = std::max(0, r - h), i1 = std::min(ny - 1, r + h);
                const int j0 = std::max(0, c - h), j1 = std::min(nx - 1, c + h);
                if (kernel.empty()) {
                  window.clear();
                  for (int i = i0; i <= i1; ++i)
                    for (int j = j0; j <= j1; ++j) {
                      const float v = prev[static_cast<std::size_t>(i) * nx + j];
                      if (!isNullValue(v)) window.push_back(v);
                    }
                  const std::size_t n = window.size(), mid = n / 2;
                  std::nth_element(window.begin(), window.begin() + mid, window.end());
                  double m = window[mid];
                  if (n % 2 == 0) {
                    const float below = *std::max_element(window.begin(), window.begin() + mid);
                    m = (m + below) / 2;
                  }
                  nodes[at] = static_cast<float>(m);
                } else {
                  double sum = 0, weight = 0;
                  for (int i = i0; i <= i1; ++i)
                    for (int j = j0; j <= j1; ++j) {
                      const float v = prev[static_cast<std::size_t>(i) * nx + j];
                      if (isNullValue(v)) continue;
                      const double w =
                          kernel[static_cast<std::size_t>(i - r + h) * k + (j - c + h)];
                      sum += w * v;
                      weight += w;
                    }
                  nodes[at] = static_cast<float>(sum / weight);
                }
              }
          },
          1, threads);
      progress.setValue(static_cast<std::int64_t>(pass) * ny + r0 + rows);
      progress.pump();
    }
  }
  progress.setValue(0);
}

std::vector<float> overlayNodes(const std::vector<const std::vector<float>*>& grids, OverlayOp op,
                                const std::vector<double>& weights) {
  const std::size_t n = grids.empty() ? 0 : grids[0]->size();
  std::vector<float> out(n, NULL_VALUE);
  for (std::size_t i = 0; i < n; ++i) {
    bool empty = false;
    for (const auto* g : grids)
      if (isNullValue((*g)[i])) empty = true;
    if (empty) continue;
    double acc = (*grids[0])[i];
    if (op == OverlayOp::WeightedSum) acc *= weights.at(0);
    for (std::size_t g = 1; g < grids.size() && !empty; ++g) {
      const double v = (*grids[g])[i];
      switch (op) {
        case OverlayOp::Sum:
          acc += v;
          break;
        case OverlayOp::Difference:
          acc -= v;
          break;
        case OverlayOp::Product:
          acc *= v;
          break;
        case OverlayOp::Ratio:
          if (v == 0)
            empty = true;
          else
            acc /= v;
          break;
        case OverlayOp::WeightedSum:
          acc += weights.at(g) * v;
          break;
        case OverlayOp::Maximum:
          acc = std::max(acc, v);
          break;
        case OverlayOp::Minimum:
          acc = std::min(acc, v);
          break;
      }
    }
    const float f = static_cast<float>(acc);
    if (!empty && std::isfinite(f) && !isNullValue(f)) out[i] = f;
  }
  return out;
}

bool sameGridGeometry(const GridHeader& a, const GridHeader& b) {
  auto near = [](double p, double q, double tol) { return std::fabs(p - q) <= tol; };
  const double sx = std::fabs(static_cast<double>(a.dx)), sy = std::fabs(static_cast<double>(a.dy));
  return a.nx == b.nx && a.ny == b.ny && near(a.dx, b.dx, 1e-5 * sx) &&
         near(a.dy, b.dy, 1e-5 * sy) && near(a.x0, b.x0, 1e-3 * sx) &&
         near(a.y0, b.y0, 1e-3 * sy) && near(a.angle, b.angle, 1e-4);
}

Outcome runGridSmooth(const std::string& source, const std::string& target,
                      const SmoothOptions& opt, Interaction& ui, Progress& progress, int threads) {
  if (smoothUsesWindow(opt.method) && (opt.window < 3 || opt.window > 99 || opt.window % 2 == 0))
    return Outcome::failure(kMsgSmoothWindow);
  if (opt.passes < 1 || opt.passes > 100) return Outcome::failure(kMsgSmoothPasses);
  if (fileNameOf(target).empty() || fileNameOf(target) == ".grd")
    return Outcome::failure(kMsgGridOutName);
  Grid g;
  if (Outcome o = readSource(source, g); !o) return o;
  if (!mayWrite(target, ui)) return Outcome::failure("");
  smoothNodes(g.nodes, g.header.nx, g.header.ny, opt, progress, threads);
  return writeResult(target, g.header, g.nodes);
}

Outcome runGridOverlay(const std::vector<std::string>& sources, const std::string& target,
                       OverlayOp op, const std::vector<double>& weights, Interaction& ui,
                       Progress& progress) {
  if (sources.size() < 2) return Outcome::failure(kMsgOverlayFewGrids);
  if (op == OverlayOp::WeightedSum && weights.size() != sources.size())
    return Outcome::failure(kMsgOverlayWeights);
  if (fileNameOf(target).empty() || fileNameOf(target) == ".grd")
    return Outcome::failure(kMsgGridOutName);
  std::vector<Grid> grids(sources.size());
  progress.setMaximum(static_cast<std::int64_t>(sources.size()) + 1);
  for (std::size_t i = 0; i < sources.size(); ++i) {
    if (Outcome o = readSource(sources[i], grids[i]); !o)
      return Outcome::failure(o.message + " " + fileNameOf(sources[i]));
    if (i > 0 && !sameGridGeometry(grids[0].header, grids[i].header))
      return Outcome::failure(kMsgOverlayGeometry + fileNameOf(sources[i]));
    progress.setValue(static_cast<std::int64_t>(i) + 1);
    progress.pump();
  }
  if (!mayWrite(target, ui)) {
    progress.setValue(0);
    return Outcome::failure("");
  }
  std::vector<const std::vector<float>*> nodes;
  for (const auto& g : grids) nodes.push_back(&g.nodes);
  std::vector<float> out = overlayNodes(nodes, op, weights);
  progress.setValue(0);
  return writeResult(target, grids[0].header, out);
}

}  // namespace sarnoth
