#include "gravmag/freq_processing.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>

#include "gravmag/freq_filters.h"
#include "gravmag/spectral_grid.h"
#include "workarea/grid_file.h"
#include "workarea/grid_info.h"
#include "workarea/grid_text.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth::gravmag {
namespace {

constexpr double kRadToDeg = 57.29577951308232;

struct ModeInfo {
  int mode;
  const char* suffix;
  const char* methodText;
};

constexpr ModeInfo kModes[] = {
    {kModeFilter, " -- 滤波", ""},
    {kModeDerivative, " -- 求导", "求导"},
    {kModeContinuation, " -- 延拓", "重磁延拓"},
    {kModeSusceptibility, " -- 计算视磁化率", "视磁化率"},
    {kModeThreeComponents, " -- 磁三分量转换", ""},
    {kModeLinearEnhance, " -- 线性增强", ""},
    {kModeAnyDirection, " -- 任意方向转换", ""},
    {kModePseudoGravity, " -- 计算磁源重力异常", "磁源重力"},
    {kModeTotalGradient, " -- 总梯度模", "总梯度模"},
    {kModeTilt, " -- 倾斜角", "倾斜角"},
    {kModeAnalyticSignal, " -- 解析信号振幅", "解析信号振幅"},
    {kModeHorizontalGradient, " -- 水平梯度模", "水平梯度模"},
    {kModePole, " -- 化极", "磁场化极"},
};

const ModeInfo* modeInfo(int mode) {
  for (const auto& m : kModes)
    if (m.mode == mode) return &m;
  return nullptr;
}

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

// The derivative kernels of the additions, in units of the grid's coordinates: ∂/∂z downward
// (|k|), ∂/∂x east (i·kx), ∂/∂y north (i·ky). The odd ones vanish on the Nyquist lines, where
// their sign is undefined.
Kernel verticalKernel() {
  return [](double kx, double ky) { return std::complex<double>(std::hypot(kx, ky), 0.0); };
}
Kernel eastKernel(double nyquist) {
  return [nyquist](double kx, double) {
    return std::fabs(kx) >= nyquist ? std::complex<double>{} : std::complex<double>(0.0, kx);
  };
}
Kernel northKernel(double nyquist) {
  return [nyquist](double, double ky) {
    return std::fabs(ky) >= nyquist ? std::complex<double>{} : std::complex<double>(0.0, ky);
  };
}

}  // namespace

bool isFreqMode(int mode) { return modeInfo(mode) != nullptr; }

std::string freqTitleSuffix(int mode) {
  const ModeInfo* m = modeInfo(mode);
  return m ? m->suffix : "";
}

std::vector<std::string> freqMethods(int mode) {
  if (mode == kModeFilter)
    return {"匹配滤波", "普通汉宁滤波", "走向滤波", "补偿圆滑滤波", "正则化滤波"};
  if (mode == kModeDerivative)
    return {"垂向导数", "X方向水平导数", "Y方向水平导数", "任意方向水平导数"};
  return {};
}

int freqComponentCode(int mode, int method) {
  switch (mode) {
    case kModeFilter:
      return method == 3 ? 8 : method == 4 ? 5 : 0;
    case kModeThreeComponents:
      return 10;
    case kModeLinearEnhance:
      return 3;
    case kModeAnyDirection:
      return 7;
    default:
      return 0;
  }
}

std::string freqMethodText(int mode, int method) {
  if (mode == kModeFilter) {
    static const char* texts[] = {"频率域匹配滤波", "普通汉宁滤波", "走向滤波"};
    return method >= 0 && method < 3 ? texts[method] : "";
  }
  const ModeInfo* m = modeInfo(mode);
  return m ? m->methodText : "";
}

FreqLayout freqLayout(int mode, int method) {
  FreqLayout l;
  auto box = [&](int i, const char* label, const char* text) {
    l.par[static_cast<std::size_t>(i)] = {true, label, text};
  };
  switch (mode) {
    case kModeFilter:
      if (method == 0) {
        box(0, "深源深度", "10");
        box(1, "浅源深度", "1");
        box(2, "浅源与深源比", "0.1");
      } else if (method == 1) {
        box(0, "低频截止频率", "0.0155");
        box(1, "高频截止频率", "0.155");
      } else if (method == 2) {
        box(0, "长轴方向高及低频截止频率", "0.155");
        box(1, "短轴方向高及低频截止频率", "0.0755");
        box(2, "长轴方向的夹角(>=0 <=180)", "45");
        l.parExtraShown = true;
        l.par11 = "0.031";
        l.par22 = "0.02325";
      }
      l.chkShown = method >= 0 && method <= 2;
      break;
    case kModeDerivative:
      if (method == 0)
        box(0, "垂向导数次数(>0高通求微分次数,<0低通求积分次数)", "1");
      else if (method == 1)
        box(0, "X方向水平导数的求导次数(1或2)", "1");
      else if (method == 2)
        box(0, "Y方向水平导数的求导次数(1或2)", "1");
      else if (method == 3) {
        box(0, "求导方向(按正东为0度，逆时针转到正西为180)", "45");
        box(1, "求导次数(1或2)", "1");
      }
      break;
    case kModeContinuation:
      box(0, "延拓高度(上延为负下延为正，以点距为单位)", "-1");
      break;
    case kModeSusceptibility:
      box(0, "输入正常场磁场强度", "0.54");
      box(1, "磁性体下延厚度(点距为单位)", "0.5");
      break;
    case kModePseudoGravity:
      box(0, "输入正常场磁场强度", "0.54");
      box(1, "请输入剩余密度", "0.45");
      break;
    default:
      break;
  }
  l.methodsShown = mode == kModeFilter || mode == kModeDerivative;
  l.frameShown =
      mode != kModeThreeComponents && mode != kModeLinearEnhance && mode != kModeAnyDirection;
  l.gravityShown = mode != kModeSusceptibility && mode != kModePseudoGravity && mode != kModePole;
  return l;
}

std::string freqCheckCaption(int mode, int method, bool checked) {
  if (mode != kModeFilter) return kCheckCaptionInitial;
  if (method == 0) return checked ? "提取深源场" : "提取浅源场";
  if (method == 1 || method == 2) return checked ? "低通滤波" : "高通滤波";
  return kCheckCaptionInitial;
}

std::string freqFieldNote(FieldKind field) {
  switch (field) {
    case FieldKind::Gravity:
      return "重力布格";
    case FieldKind::DeltaT:
      return "总场梯度";
    case FieldKind::DeltaZ:
      return "垂直磁测";
  }
  return {};
}

float boxValue(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
  const char* begin = text.c_str() + i;
  char* end = nullptr;
  const double v = std::strtod(begin, &end);
  if (end == begin || !std::isfinite(v)) return 0.0f;
  // Hexadecimal and the words strtod knows are not numbers to the boxes.
  for (const char* p = begin; p < end; ++p)
    if (std::isalpha(static_cast<unsigned char>(*p)) && *p != 'e' && *p != 'E') return 0.0f;
  return static_cast<float>(v);
}

std::string freqGridInfoText(const std::string& fileName, const GridHeader& g) {
  auto num = [](float v) {
    char buf[32];
    formatFloat(buf, v);
    return std::string(buf);
  };
  std::string t;
  const std::string stars = "************************************";
  auto line = [&](const std::string& s) { t += s + "\r\n" + stars + "\r\n"; };
  t += "--------- 网格数据特征信息 --------\r\n" + stars + "\r\n";
  line("数据文件名:  " + fileName);
  line("处理方法:  " + g.method);
  line("起点横坐标:  " + num(g.x0));
  line("起点纵坐标:  " + num(g.y0));
  line("数据列数:    " + std::to_string(g.nx));
  line("数据行数:    " + std::to_string(g.ny));
  line("网格距DX:    " + num(g.dx));
  line("网格距DY:    " + num(g.dy));
  line("旋转角度:    " + num(g.angle));
  line("空点特征值:  " + num(g.nullValue));
  line("有效数据数:  " + std::to_string(g.validCount));
  line("数据最小值:  " + num(g.zMin));
  line("数据最大值:  " + num(g.zMax));
  line("参数信息:  " + g.note);
  return t;
}

Outcome writeFreqGridInfo(const std::string& gridPath, const std::string& fileName,
                          const std::string& infoPath) {
  const GridHeadResult head = readBinaryGridHead(gridPath);
  if (head.status == GridHeadStatus::BadMagic) return Outcome::failure(kMsgNotSarnothGrid);
  if (!head.ok()) return Outcome::failure(readFailure(GridError::Truncated));
  std::ofstream f(resolvePath(infoPath), std::ios::binary | std::ios::trunc);
  f << utf8ToGbk(freqGridInfoText(fileName, head.header));
  if (!f) return Outcome::failure("路径/文件访问错误");
  return Outcome::success();
}

const char* gridReadFailure(GridError error) { return readFailure(error); }

FreqRunResult runFreqProcessing(const FreqJob& job, Progress& progress) {
  FreqRunResult res;
  if (!isFreqMode(job.mode) || freqComponentCode(job.mode, job.method) != 0) {
    res.outcome = Outcome::failure("此方法由滤波组件计算.");
    return res;
  }
  // The size is judged from the header, before the nodes are read.
  GridReadResult head = readGridHeader(job.inputPath);
  if (!head.ok()) {
    res.outcome = Outcome::failure(readFailure(head.error));
    return res;
  }
  if (static_cast<long long>(paddedSize(head.grid.header.nx).size) *
          paddedSize(head.grid.header.ny).size >
      kMaxSpectrumElements) {
    res.outcome = Outcome::failure(kErrOutOfMemory);
    return res;
  }
  GridReadResult in = readGrid(job.inputPath);
  if (!in.ok()) {
    res.outcome = Outcome::failure(readFailure(in.error));
    return res;
  }
  GridHeader header = in.grid.header;
  const std::vector<float>& orig = in.grid.nodes;
  const int nx = header.nx, ny = header.ny;

  // 1. The header in work-area units for the continuation; the ratio of the spacings.
  const float unitF = job.unitFactor;
  const bool rescale = job.mode == kModeContinuation;
  if (rescale) {
    header.x0 /= unitF;
    header.y0 /= unitF;
    header.dx /= unitF;
    header.dy /= unitF;
  }
  const float r = header.dy / header.dx;
  const float inclination = boxValue(job.ii);
  const float decl = boxValue(job.dd);
  const float azim = 90.0f - decl - boxValue(job.aa);
  // 2. Pole-reduction order (swapped in mode 500) and the check box's sign.
  int order = job.field == FieldKind::DeltaZ ? 2 : 1;
  if (job.mode == kModePole) order = order == 1 ? 2 : 1;
  const float sign = job.chk ? 1.0f : -1.0f;
  // 3. The parameters.
  const float p1 = boxValue(job.par1), p2 = boxValue(job.par2), p3 = boxValue(job.par3);
  const float p11 = boxValue(job.par11), p22 = boxValue(job.par22);
  if (job.mode == kModePole && inclination == 0.0f) {
    res.outcome = Outcome::failure(kMsgPoleAtEquator);
    return res;
  }
  if (!(std::isfinite(r) && header.dx > 0 && header.dy > 0)) {
    res.outcome = Outcome::failure(kErrDivideByZero);
    return res;
  }

  // The run's mutable filter parameters live here, so that every run starts from the boxes.
  MatchedState matched{p3};
  StrikeState strike{p3};
  const float dxUnit = header.dx;  // already divided by UnitF in mode 220
  const double dxLen = in.grid.header.dx, dyLen = in.grid.header.dy;
  const double nyquistX = 3.14159265358979323846 / dxLen;
  const double nyquistY = 3.14159265358979323846 / dyLen;

  StageMaker makeStages = [&](const SpectrumFrame& f) -> std::vector<SpectralStage> {
    switch (job.mode) {
      case kModeFilter:
        if (job.method == 0) return {{matchedRows(f, p1, p2, matched, sign), true}};
        if (job.method == 1) return {{hanningRows(f, p1, p2, sign), false}};
        return {{strikeRows(f, p1, p11, p2, p22, strike, sign), true}};
      case kModeDerivative:
        if (job.method == 0) return {{verticalDerivativeRows(f, p1), false}};
        if (job.method == 1) return {{xDerivativeRows(f, p1), false}};
        if (job.method == 2) return {{yDerivativeRows(f, p1), false}};
        return {{directionalDerivativeRows(f, p2, p1, decl), false}};
      case kModeContinuation:
        return {{continuationRows(f, p1, dxUnit), false}};
      case kModeSusceptibility:
        return {{susceptibilityRows(f, p1, p2), false}};
      case kModePseudoGravity:
        return {{pseudoGravityRows(f, p1, p2), false}};
      case kModeTotalGradient:
        return {{verticalDerivativeRows(f, 1.0f), false},
                {xDerivativeRows(f, 1.0f), false},
                {yDerivativeRows(f, 1.0f), false}};
      case kModeTilt:
      case kModeAnalyticSignal:
        return {{kernelRows(f, dxLen, dyLen, verticalKernel()), false},
                {kernelRows(f, dxLen, dyLen, eastKernel(nyquistX)), false},
                {kernelRows(f, dxLen, dyLen, northKernel(nyquistY)), false}};
      case kModeHorizontalGradient:
        return {{kernelRows(f, dxLen, dyLen, eastKernel(nyquistX)), false},
                {kernelRows(f, dxLen, dyLen, northKernel(nyquistY)), false}};
      case kModePole:
        return {{poleRows(f, inclination, azim, order), false}};
      default:
        return {};
    }
  };

  ApplyOptions options;
  options.threads = job.threads;
  SpectralResult sr = applySpectral(orig, nx, ny, r, makeStages, progress, options);
  res.formNote = sr.formNote;
  if (sr.cancelled) {
    res.cancelled = true;
    res.outcome = Outcome::failure({});
    return res;
  }
  if (!sr.failure.empty()) {
    res.outcome = Outcome::failure(sr.failure);
    return res;
  }

  std::vector<float> result = std::move(sr.out[0]);
  const std::size_t n = result.size();
  switch (job.mode) {
    case kModeTotalGradient:  // stage 1 gz, 2 gx, 3 gy
    case kModeAnalyticSignal:
      for (std::size_t i = 0; i < n; ++i) {
        const double gz = result[i], gx = sr.out[1][i], gy = sr.out[2][i];
        result[i] = static_cast<float>(std::sqrt(gx * gx + gz * gz + gy * gy));
      }
      break;
    case kModeTilt:
      for (std::size_t i = 0; i < n; ++i) {
        const double gz = result[i], gx = sr.out[1][i], gy = sr.out[2][i];
        result[i] = static_cast<float>(std::atan2(gz, std::hypot(gx, gy)) * kRadToDeg);
      }
      break;
    case kModeHorizontalGradient:
      for (std::size_t i = 0; i < n; ++i)
        result[i] = static_cast<float>(std::hypot(double(result[i]), double(sr.out[1][i])));
      break;
    default:
      break;
  }

  if (rescale) {
    header.x0 *= unitF;
    header.y0 *= unitF;
    header.dx *= unitF;
    header.dy *= unitF;
  }
  header.magic = kGridMagicB;
  header.method = freqMethodText(job.mode, job.method);
  header.note = freqFieldNote(job.field);
  restoreNulls(orig, result, header.zMin, header.zMax);
  if (!writeGrid(job.outputPath, kGridMagicB, header.method, header, result)) {
    res.outcome = Outcome::failure("路径/文件访问错误");
    return res;
  }
  res.outcome = Outcome::success(kMsgFreqDone);
  return res;
}

}  // namespace sarnoth::gravmag
