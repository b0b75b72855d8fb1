// Source depths from a magnetic profile ("二维磁源深度计算"): Euler deconvolution, Werner
// deconvolution and the analytic-signal width, each solution with the window it came from.
//
// The profile. A profile file (*.prf under Prof_Dat\) holds points as the scatter files do:
// "#SRNTHPROFA#" and the ASCII scatter layout (format tag, point count, null value, field count,
// names, one point a line, "#ENDDATA#"), or "#SRNTHPROFB#" and the binary one. The user names
// the field of the distance along the line (or two coordinate fields, whose cumulative
// distance is used), the anomaly field (ΔT or ΔZ, nT), and optionally a measured vertical
// gradient. Points with a null in any of them are left out; the rest are sorted by distance
// and resampled at their median spacing by linear interpolation (regularProfile). A stretch
// between two points more than kGapFactor spacings apart is a gap: no window that covers it
// gives a solution, so nulls never make one up.
//
// Derivatives: ∂T/∂x by central differences (one-sided at the ends); ∂T/∂z, where no gradient
// is measured, as the Hilbert transform of ∂T/∂x (for a two-dimensional field, z downwards,
// F[T_z](k) = −i·sgn(k)·F[T_x](k)), computed with the tool's radix-2 transform on a series
// padded with zeros to at least twice its length. This relation holds for sources of infinite
// strike across the profile; over a compact (three-dimensional) source it does not, and the
// vertical gradient must be measured or computed from a grid.
//
// Euler deconvolution (Thompson 1982; Reid et al. 1990). For a field homogeneous of degree −N
// (structural index N: 0 contact, 1 thin dike or sill edge, 2 horizontal cylinder or vertical
// pipe, 3 sphere or dipole), Euler's equation at a point x of the line (z = 0, z downwards) is
//   x0·T_x + z0·T_z + C = x·T_x + N·T,   C = N·B,
// with B the background; for N = 0 the constant C absorbs the contact's offset. In each moving
// window of `window` points the three unknowns are solved by least squares; a solution is kept
// when z0 > 0, its standard error σ_z0 (from the residuals and (AᵀA)⁻¹) is at most `tolerance`
// times z0, and x0 lies within one window length of the window.
//
// Werner deconvolution (Werner 1953; Hartman, Teskey & Friedberg 1971). A thin dike's anomaly is
// T = (A·(x − x0) + B·z)/((x − x0)² + z²); multiplied out,
//   x²·T = a0 + a1·x + b0·T + b1·x·T,   x0 = b1/2,  z² = −b0 − x0²,
// and an interfering background c0 (+ c1·x) adds the terms x² (and x³). Each window (x taken
// from its centre for conditioning) is solved by least squares; a solution is kept when z² > 0
// and x0 lies within the window. On ∂T/∂x the same model finds contacts (the horizontal
// derivative of a contact has the dike's form).
//
// Analytic signal (Nabighian 1972; Roest, Verhoef & Pilkington 1992): |A| = √(T_x² + T_z²) peaks
// over the source; its width at half maximum is 2√3·z for a contact, 2·z for a thin dike and
// 2·√(2^(2/3) − 1)·z ≈ 1.533·z for a horizontal cylinder. Every local maximum above 5 % of the
// largest gives a depth from its half-maximum width (both sides interpolated linearly) and a
// position from a parabola through the peak; the half-maximum interval is its window.
//
// Accuracy: exact for noise-free fields of the model's form, apart from the discretisation of
// the derivatives (central differences err by T_xxx·dx²/6) and, for the Hilbert transform, the
// truncation of the profile. On the synthetic fields of the tests (dipole with SI 3, contact with
// SI 0, dike, cylinder) the median of the solutions is within 2 % of the true depth when the
// depth is 5 spacings or more.
//
// Units: distances in the profile's units, depths in the same; the anomaly in nT (only ratios
// matter).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "display/chart.h"
#include "workarea/interaction.h"
#include "workarea/scatter_file.h"

namespace sarnoth {
class Database;
}

namespace sarnoth::gravmag {

inline constexpr const char* kDepthCaption = "二维磁源深度计算";
inline constexpr const char* kProfileOpenTitle = "请选择您要打开的剖面磁测数据文件名";
inline constexpr const char* kMsgDepthDone = "磁源深度计算完成！";
inline constexpr const char* kMsgDepthNoFile = "请选择剖面磁测数据文件.";
inline constexpr const char* kMsgDepthBadFile = "剖面数据文件格式不正确，请检查.";
inline constexpr const char* kMsgDepthNoX = "请选择测点距离(或横坐标)字段.";
inline constexpr const char* kMsgDepthNoValue = "请选择磁异常字段.";
inline constexpr const char* kMsgDepthFewPoints = "剖面有效测点太少(不少于窗口点数的两倍).";
inline constexpr const char* kMsgDepthBadWindow = "窗口点数应为3至201之间的整数.";
inline constexpr const char* kMsgDepthBadIndex = "构造指数应在0至3之间.";
inline constexpr const char* kMsgDepthBadTolerance = "深度容差应为大于0的数.";
inline constexpr const char* kMsgDepthNoTable = "请输入新数据表名.";

// A stretch this many median spacings long between two points is a gap.
inline constexpr double kGapFactor = 3.0;
// Local maxima of |A| below this fraction of the largest are not read.
inline constexpr double kSignalPeakFraction = 0.05;

// Reads a profile file: "PROFA#" (ASCII layout) or "PROFB#" (binary layout) at characters 7 to 12.
ScatterReadResult readProfileFile(const std::string& path);

// The raw series of a profile: distance, anomaly, and the measured vertical gradient if any.
struct ProfileSeries {
  std::vector<double> x, t, tz;  // tz empty: computed
};
// The series from a profile file's fields (yField and tzField may be empty; with yField the
// distance is cumulative along the points in file order). Points with a null are left out.
ProfileSeries profileSeries(const ScatterFile& f, const std::string& xField,
                            const std::string& yField, const std::string& valueField,
                            const std::string& tzField);

// The profile on a regular spacing with its derivatives.
struct RegularProfile {
  double x0 = 0, dx = 1;
  std::vector<double> t, tx, tz;
  std::vector<std::uint8_t> gap;  // 1 where the sample lies in a gap of the data
  bool measuredTz = false;
  std::size_t size() const { return t.size(); }
  double x(std::size_t i) const { return x0 + static_cast<double>(i) * dx; }
};
// Empty (size 0) when fewer than two distinct points remain.
RegularProfile regularProfile(const ProfileSeries& s);
// The Hilbert transform of a series (z downwards: the vertical derivative from the horizontal).
std::vector<double> hilbertTransform(const std::vector<double>& v);

enum class DepthMethod { Euler = 0, Werner = 1, AnalyticSignal = 2 };

struct DepthParams {
  DepthMethod method = DepthMethod::Euler;
  int window = 9;             // points of a moving window (Euler, Werner)
  double index = 1;           // Euler: N 0..3; Werner: 0 contact (on T_x), 1 dike;
                              // analytic signal: 0 contact, 1 dike, 2 cylinder
  double tolerance = 0.15;    // Euler: largest σ_z0 / z0
  int interference = 1;       // Werner: background terms 0 none, 1 constant, 2 linear
};

struct DepthSolution {
  double x1 = 0, x2 = 0;  // the window
  double x0 = 0, z0 = 0;  // position and depth
  double index = 0;       // the structural index or model
  double error = 0;       // Euler: σ_z0; Werner: RMS residual of the window; |A|: the peak
};

std::vector<DepthSolution> eulerSolutions(const RegularProfile& p, int window, double index,
                                          double tolerance);
std::vector<DepthSolution> wernerSolutions(const RegularProfile& p, int window, int model,
                                           int interference);
std::vector<DepthSolution> analyticSignalSolutions(const RegularProfile& p, int model);
// The method's solutions.
std::vector<DepthSolution> depthSolutions(const RegularProfile& p, const DepthParams& params);

// Medians of the solutions' positions and depths.
struct DepthSummary {
  std::size_t count = 0;
  double x0 = 0, z0 = 0;
};
DepthSummary summarizeDepths(const std::vector<DepthSolution>& s);

// --- the tool's job -----------------------------------------------------------------------------

struct DepthJob {
  std::string profilePath;
  std::string xField, yField, valueField, tzField;
  DepthParams params;
  std::string table;  // the solutions' table; empty: none written
};

struct DepthRunResult {
  Outcome outcome;
  RegularProfile profile;
  std::vector<DepthSolution> solutions;
  DepthSummary summary;
  DepthParams params;
  std::string method;  // "欧拉反褶积" and the like
};

// The names of the methods as the window lists them.
std::vector<std::string> depthMethodNames();
// The choices of the index box for a method ("0 接触带", …).
std::vector<std::string> depthIndexChoices(DepthMethod m);

// Validates the job, reads the profile, computes, and writes the table when one is named
// (registered, with the question before an existing one is replaced). `db` may be null when
// no table is asked for.
DepthRunResult runProfileDepth(const DepthJob& job, Database* db, Interaction& ui);

// The solutions' table: METHOD, WINX1, WINX2, X0, DEPTH, SI, ERR.
Outcome writeDepthTable(Database& db, const std::string& table, const std::string& origin,
                        const std::string& method, const std::vector<DepthSolution>& s,
                        Interaction& ui);

// The profile (anomaly, and |A| or T_x as the method uses) and, under it, the solutions at their
// depths with their windows as segments; the two charts share the distance axis.
chart::Chart profileChart(const DepthRunResult& r);
chart::Chart solutionChart(const DepthRunResult& r);
// "解的个数: …, 深度中值: …, 位置中值: …".
std::string depthReport(const DepthRunResult& r);

}  // namespace sarnoth::gravmag
