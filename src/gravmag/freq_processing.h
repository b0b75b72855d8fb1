// The frequency-domain gravity and magnetic processing tool ("频率域重磁数据处理"): one job per
// mode, from a grid of the work area to a new grid, as frmGMFreqProcs and `sarnoth-cli fft` run
// it.
//
// Modes: 200 filtering (matched, Hanning, strike here; compensated smoothing and regularised
// filtering by the filter component, codes 8 and 5), 210 derivatives (vertical of any order,
// X = along the rows' axis (north), Y = along a row (east), in a direction), 220 continuation,
// 230 apparent susceptibility, 231/232/233 the filter component's conversions (codes 10, 3, 7),
// 240 pseudo-gravity, 250 total gradient modulus, 500 reduction to the pole; and the additions
// 260 tilt angle, 270 analytic signal amplitude, 280 horizontal-gradient magnitude, which work in
// units of the grid's coordinates rather than in row spacings.
//
// A run (runFreqProcessing) reads the grid, reads the boxes as the tool reads them (an empty or
// non-numeric box is 0), builds the mode's row filters (freq_filters.h) and hands them to the
// apply routine (spectral_grid.h), restores the input's nulls, and writes
// "#SRNTHGRIDB#", the method text, the header (note "重力布格", "总场梯度" or "垂直磁测" after the
// field option, extremes of the data nodes) and the nodes, without an overwrite question.
// Mode 220 divides x0, y0, dx, dy by the work area's unit factor for the run and multiplies
// them back for the header; the continuation height then counts h·(dx/UnitF) row spacings.
// Mode 250 runs three stages (vertical, X and Y derivatives of order 1) and writes
// (gx² + gz² + gy²)^0.5. Mode 500 uses order 1 for ΔZ and order 2 for ΔT (the options' orders
// swapped, as the tool does), I = txtII and azim = 90 − txtDD − txtAA.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "workarea/grid_file.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::gravmag {

inline constexpr const char* kFreqCaption = "频率域重磁数据处理";
inline constexpr const char* kMsgFreqDone = "数据处理成功！";
inline constexpr const char* kMsgComponentDone = "重磁数据处理成功！";
inline constexpr const char* kMsgNoGridFiles = "工作区中无网格数据文件.";
inline constexpr const char* kMsgChooseFile = "请选择数据文件.";
inline constexpr const char* kMsgNotSarnothGrid = "非Sarnoth网格数据.";
// Reduction to the pole with the field horizontal divides by zero along the strike: refused.
inline constexpr const char* kMsgPoleAtEquator =
    "地磁倾角为0, 频率域化极不稳定, 请使用\"低纬度磁场化极\".";

// The modes, and the additions beside them.
enum FreqMode : int {
  kModeFilter = 200,
  kModeDerivative = 210,
  kModeContinuation = 220,
  kModeSusceptibility = 230,
  kModeThreeComponents = 231,
  kModeLinearEnhance = 232,
  kModeAnyDirection = 233,
  kModePseudoGravity = 240,
  kModeTotalGradient = 250,
  kModeTilt = 260,
  kModeAnalyticSignal = 270,
  kModeHorizontalGradient = 280,
  kModePole = 500,
};

bool isFreqMode(int mode);
// " -- 滤波" and the like.
std::string freqTitleSuffix(int mode);
// The entries of cboCalMode in modes 200 and 210 (empty otherwise).
std::vector<std::string> freqMethods(int mode);
// The filter component's code for a mode and method, 0 when this tool computes it itself.
int freqComponentCode(int mode, int method);
// The method text written into the output file.
std::string freqMethodText(int mode, int method);

// One parameter box of the window: shown or not, its label and the text it takes.
struct ParamBox {
  bool shown = false;
  std::string label;
  std::string text;
};

// The parameter boxes for a mode and method: txtPar1, txtPar2, txtPar3 (with Label7, Label8,
// Label9) and txtPar11, txtPar22; boxes not shown are emptied.
struct FreqLayout {
  std::array<ParamBox, 3> par;  // txtPar1..3
  bool parExtraShown = false;   // txtPar11, txtPar22
  std::string par11, par22;
  bool methodsShown = false;  // cboCalMode and Label6
  bool chkShown = false;      // chkPar
  bool frameShown = true;     // frmCC
  bool gravityShown = true;   // optGG
};
FreqLayout freqLayout(int mode, int method);
// chkPar's caption for a method and state ("提取深源场", "低通滤波", …).
std::string freqCheckCaption(int mode, int method, bool checked);
inline constexpr const char* kCheckCaptionInitial = "提取深源信息";

enum class FieldKind { Gravity, DeltaT, DeltaZ };  // optGG, optDT, optDZ
// The header's note for the field option.
std::string freqFieldNote(FieldKind field);

// A run as the boxes state it. The texts are read as the tool reads them.
struct FreqJob {
  int mode = 0;
  int method = 0;          // cboCalMode's index in modes 200 and 210
  std::string inputPath;   // the grid to process
  std::string outputPath;  // the grid written
  std::string par1, par2, par3, par11, par22;
  std::string ii = "57.4", dd = "-6", aa = "0";  // inclination, declination, line azimuth
  FieldKind field = FieldKind::Gravity;
  bool chk = false;         // chkPar
  float unitFactor = 1.0f;  // UnitF of the work area
  int threads = 0;          // 0: one per core
};

struct FreqRunResult {
  Outcome outcome;  // kMsgFreqDone, or the failure's text
  bool cancelled = false;
  std::string formNote;  // "MAX(A)=0" when the fill had no pivot
};

// A box's number as the tool reads it: leading blanks skipped, the longest numeric prefix
// taken, 0 when there is none.
float boxValue(const std::string& text);

// The information view of cboGrdInfo: "--------- 网格数据特征信息 --------", then "数据文件名:  ",
// "处理方法:  ", the header's fields and "参数信息:  " (the note), each followed by a line of
// asterisks; lines end in "\r\n".
std::string freqGridInfoText(const std::string& fileName, const GridHeader& header);
// Reads the head of `gridPath` and writes the view as GBK to `infoPath`. Fails with
// "非Sarnoth网格数据." when the magic does not end in "GRIDB#".
Outcome writeFreqGridInfo(const std::string& gridPath, const std::string& fileName,
                          const std::string& infoPath);

// The run-time text of a failed grid read ("非Sarnoth网格数据.", "文件未找到", …), shared by the
// gravity and magnetic tools.
const char* gridReadFailure(GridError error);

// Runs a mode this tool computes (not the filter component's). Nothing is written on failure.
FreqRunResult runFreqProcessing(const FreqJob& job, Progress& progress = noProgress());

}  // namespace sarnoth::gravmag
