#include "gravmag/filter_methods.h"

#include <cmath>
#include <filesystem>

#include "gravmag/freq_processing.h"
#include "workarea/grid_file.h"

namespace sarnoth::gravmag {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;
// Below this |Θ|² a division by Θ is not made.
constexpr double kThetaFloor = 1e-6;

const char* readFailure(GridError e) {
  switch (e) {
    case GridError::BadMagic:
      return kMsgNotSarnothGrid;
    case GridError::OpenFailed:
      return "文件未找到";
    case GridError::BadHeader:
      return "下标越界";
    default:
      return "输入超出文件尾";
  }
}

// One response of the moving average over 2m+1 nodes at ω radians per node.
double movingAverage(double w, int m) {
  const double n = 2.0 * m + 1.0;
  const double d = n * std::sin(0.5 * w);
  if (std::fabs(d) < 1e-12) return 1.0;
  return std::sin(0.5 * n * w) / d;
}

// Reads, applies one kernel per output and writes each with the input's header and nulls.
Outcome applyKernels(const std::string& input, const std::vector<std::string>& outputs,
                     const std::string& method,
                     const std::function<std::vector<Kernel>(const GridHeader&)>& kernels,
                     Progress& progress, int threads) {
  GridReadResult head = readGridHeader(input);
  if (!head.ok()) return Outcome::failure(readFailure(head.error));
  if (static_cast<long long>(paddedSize(head.grid.header.nx).size) *
          paddedSize(head.grid.header.ny).size >
      kMaxSpectrumElements)
    return Outcome::failure(kErrOutOfMemory);
  GridReadResult in = readGrid(input);
  if (!in.ok()) return Outcome::failure(readFailure(in.error));
  const GridHeader& h = in.grid.header;
  if (!(h.dx > 0 && h.dy > 0 && std::isfinite(h.dx) && std::isfinite(h.dy)))
    return Outcome::failure(kErrDivideByZero);
  const std::vector<Kernel> ks = kernels(h);
  const double dx = h.dx, dy = h.dy;
  StageMaker make = [&](const SpectrumFrame& f) {
    std::vector<SpectralStage> stages;
    for (const Kernel& k : ks) stages.push_back({kernelRows(f, dx, dy, k), false});
    return stages;
  };
  ApplyOptions options;
  options.threads = threads;
  SpectralResult sr =
      applySpectral(in.grid.nodes, h.nx, h.ny, h.dy / h.dx, make, progress, options);
  if (sr.cancelled) return Outcome::failure({});
  if (!sr.failure.empty()) return Outcome::failure(sr.failure);
  std::string written;
  for (std::size_t i = 0; i < outputs.size() && i < sr.out.size(); ++i) {
    GridHeader out = h;
    out.magic = kGridMagicB;
    out.method = method;
    restoreNulls(in.grid.nodes, sr.out[i], out.zMin, out.zMax);
    if (!writeGrid(outputs[i], kGridMagicB, method, out, sr.out[i]))
      return Outcome::failure("路径/文件访问错误");
    written += (written.empty() ? "" : "\n") + outputs[i];
  }
  return Outcome::success(written);
}

}  // namespace

std::string filterMethodName(long code) {
  switch (code) {
    case kCodeCompensated:
      return "补偿圆滑滤波";
    case kCodeRegularised:
      return "正则化滤波";
    case kCodeThreeComponents:
      return "磁三分量转换";
    case kCodeLinearEnhance:
      return "线性增强";
    case kCodeAnyDirection:
      return "任意方向转换";
    default:
      return {};
  }
}

FilterParams filterDefaults(long code) {
  switch (code) {
    case kCodeCompensated:
      return {{"half-width", "圆滑窗口半宽(点数)", 2}, {"passes", "补偿次数", 3}};
    case kCodeRegularised:
      return {{"alpha", "正则化参数(点距平方)", 1}, {"depth", "下延深度(点距, 0为圆滑)", 0}};
    case kCodeThreeComponents:
      return {{"ii", "地磁倾角(I)", 57.4}, {"dd", "地磁偏角(D0)", -6}};
    case kCodeLinearEnhance:
      return {{"strike", "增强构造走向(北起顺时针, 度)", 45},
              {"order", "导数次数(1或2)", 1},
              {"height", "上延高度(点距)", 0}};
    case kCodeAnyDirection:
      return {{"ii", "地磁倾角(I)", 57.4},
              {"dd", "地磁偏角(D0)", -6},
              {"target-ii", "转换方向倾角", 90},
              {"target-dd", "转换方向偏角", 0}};
    default:
      return {};
  }
}

double paramValue(const FilterParams& params, const std::string& key, double def) {
  for (const auto& p : params)
    if (p.key == key) return p.value;
  return def;
}

Direction directionOf(double inclinationDeg, double declinationDeg) {
  const double I = inclinationDeg * kDeg, D = declinationDeg * kDeg;
  return {std::cos(I) * std::cos(D), std::cos(I) * std::sin(D), std::sin(I)};
}

std::complex<double> theta(const Direction& a, double kx, double ky) {
  const double k = std::hypot(kx, ky);
  if (k == 0.0) return {a.down, 0.0};
  return {a.down, (a.north * ky + a.east * kx) / k};
}

Kernel compensatedSmoothingKernel(double dx, double dy, int halfWidth, int passes) {
  return [=](double kx, double ky) {
    const double S = movingAverage(kx * dx, halfWidth) * movingAverage(ky * dy, halfWidth);
    return std::complex<double>(1.0 - std::pow(1.0 - S, passes), 0.0);
  };
}

Kernel regularisedKernel(double alpha, double depth) {
  return [=](double kx, double ky) {
    const double k2 = kx * kx + ky * ky, k = std::sqrt(k2);
    const double e = std::exp(-std::min(k * depth, 700.0));
    return std::complex<double>(e / (e * e + alpha * k2), 0.0);
  };
}

Kernel componentKernel(const Direction& from, const Direction& to) {
  return [=](double kx, double ky) {
    const std::complex<double> tf = theta(from, kx, ky);
    if (std::norm(tf) < kThetaFloor) return std::complex<double>{};
    return theta(to, kx, ky) / tf;
  };
}

Kernel linearEnhancementKernel(double strikeDeg, int order, double height) {
  const double nN = -std::sin(strikeDeg * kDeg), nE = std::cos(strikeDeg * kDeg);
  return [=](double kx, double ky) {
    const double w = nN * ky + nE * kx;
    std::complex<double> f(1.0, 0.0);
    for (int i = 0; i < order; ++i) f *= std::complex<double>(0.0, w);
    return f * std::exp(-std::hypot(kx, ky) * height);
  };
}

Kernel lowLatitudePoleKernel(const Direction& field, double inclinationDeg,
                             double ampInclinationDeg) {
  const double declination =
      std::atan2(field.east, field.north) / kDeg;  // the horizontal direction of the field
  const double ia = std::max(std::fabs(ampInclinationDeg), std::fabs(inclinationDeg));
  const Direction amp = directionOf(ia, declination);
  return [=](double kx, double ky) {
    const std::complex<double> t = theta(field, kx, ky);
    const double n = std::norm(t);
    if (n == 0.0) return std::complex<double>{};
    const double na = std::norm(theta(amp, kx, ky));
    return std::conj(t) * std::conj(t) / (n * na);
  };
}

std::vector<std::string> threeComponentPaths(const std::string& outputPath) {
  std::filesystem::path p(outputPath);
  const std::string stem = (p.parent_path() / p.stem()).string();
  return {stem + "_Hax.grd", stem + "_Hay.grd", stem + "_Za.grd"};
}

Outcome runFilterMethod(long code, const std::string& input, const std::string& output,
                        const FilterParams& params, Progress& progress, int threads) {
  const std::string method = filterMethodName(code);
  if (method.empty()) return Outcome::failure("无此滤波功能号: " + std::to_string(code));
  auto value = [&](const char* key) {
    const FilterParams d = filterDefaults(code);
    return paramValue(params, key, paramValue(d, key));
  };
  std::vector<std::string> outputs{output};
  std::function<std::vector<Kernel>(const GridHeader&)> kernels;
  switch (code) {
    case kCodeCompensated: {
      const int m = static_cast<int>(std::lround(value("half-width")));
      const int n = static_cast<int>(std::lround(value("passes")));
      if (m < 1 || n < 1) return Outcome::failure("圆滑窗口半宽和补偿次数须为正整数.");
      kernels = [=](const GridHeader& h) {
        return std::vector<Kernel>{compensatedSmoothingKernel(h.dx, h.dy, m, n)};
      };
      break;
    }
    case kCodeRegularised: {
      const double a = value("alpha"), depth = value("depth");
      if (!(a > 0)) return Outcome::failure("正则化参数须大于0.");
      kernels = [=](const GridHeader& h) {
        return std::vector<Kernel>{regularisedKernel(a * h.dx * h.dx, depth * h.dx)};
      };
      break;
    }
    case kCodeThreeComponents: {
      const Direction f = directionOf(value("ii"), value("dd"));
      outputs = threeComponentPaths(output);
      kernels = [=](const GridHeader&) {
        return std::vector<Kernel>{componentKernel(f, {1, 0, 0}), componentKernel(f, {0, 1, 0}),
                                   componentKernel(f, {0, 0, 1})};
      };
      break;
    }
    case kCodeLinearEnhance: {
      const double strike = value("strike"), height = value("height");
      const int order = static_cast<int>(std::lround(value("order")));
      if (order < 1 || order > 2) return Outcome::failure("导数次数须为1或2.");
      kernels = [=](const GridHeader& h) {
        return std::vector<Kernel>{linearEnhancementKernel(strike, order, height * h.dx)};
      };
      break;
    }
    case kCodeAnyDirection: {
      const Direction f = directionOf(value("ii"), value("dd"));
      const Direction to = directionOf(value("target-ii"), value("target-dd"));
      kernels = [=](const GridHeader&) { return std::vector<Kernel>{componentKernel(f, to)}; };
      break;
    }
    default:
      break;
  }
  return applyKernels(input, outputs, method, kernels, progress, threads);
}

FilterParams lowLatitudeDefaults(double inclination, double declination) {
  return {{"ii", "地磁倾角(I)", inclination},
          {"dd", "地磁偏角(D0)", declination},
          {"amp-ii", "振幅校正倾角(度)", 20}};
}

Outcome runLowLatitudePole(const std::string& input, const std::string& output, double inclination,
                           double declination, double ampInclination, Progress& progress,
                           int threads) {
  const Direction f = directionOf(inclination, declination);
  return applyKernels(
      input, {output}, kLowLatitudeMethod,
      [=](const GridHeader&) {
        return std::vector<Kernel>{lowLatitudePoleKernel(f, inclination, ampInclination)};
      },
      progress, threads);
}

bool gridMean(const std::string& path, double& mean) {
  GridReadResult g = readGrid(path);
  if (!g.ok()) return false;
  double sum = 0;
  long long n = 0;
  for (float v : g.grid.nodes)
    if (!isNullValue(v)) {
      sum += v;
      ++n;
    }
  if (n == 0) return false;
  mean = sum / static_cast<double>(n);
  return true;
}

}  // namespace sarnoth::gravmag
