// Ordinary co-kriging (the tool "协同克吕格分析"): a primary element of a work-area table estimated
// on a grid from its own samples and those of one or two secondary elements of the same table,
// under the linear model of coregionalisation.
//
// What is computed. Variables 0 (primary), 1 and 2 (secondaries) are sampled at records of one
// table, each where its value is there (> -1E+35 and > -1E+30, the co-kriging tool's filters): a
// secondary may be denser than the primary, and samples of two variables on one record are
// collocated. The node (x0, y0) gets
//     Z0*(x0) = Σ_v Σ_a λ_va · Z_v(x_va),   Σ_a λ_0a = 1,  Σ_a λ_va = 0 (v ≥ 1),
// the unbiased estimator of minimum variance (Wackernagel, Multivariate Geostatistics, 3rd ed.,
// 2003, ch. 24; Goovaerts, Geostatistics for Natural Resources Evaluation, 1997, §6.2), with
// the k nearest samples of each variable (k_0 for the primary, k_s for each secondary).
//
// The model. The linear model of coregionalisation with two basic structures, a nugget and a
// spherical scheme of range a:
//     γ_ij(h) = B0_ij · [h > 0] + B1_ij · sph(h/a),   C_ij(h) = B0_ij·[h = 0] + B1_ij·(1 −
//     sph(h/a)),
// which is a valid (positive definite) model exactly when the sill matrices B0 and B1 are
// positive semi-definite. The range is that of the primary's own spherical fit (the fit of the
// kriging seam, closed/kriging.h), so that the primary's structure, the one being estimated,
// governs; a range may also be given. The experimental variograms are the kriging seam's for the
// direct ones (classical estimator, 15 classes to a third of the primary's diagonal, at most
// 4000 samples) and, for the cross ones, γ_ij(h) = Σ (z_i(a) − z_i(b))(z_j(a) − z_j(b)) / (2 N(h))
// over the records where both are present, sampled alike. The sills are fitted by the iterative
// algorithm of Goulard & Voltz (1992, Mathematical Geology 24, 269–286): each B_k in turn takes
// the weighted least-squares fit of every direct and cross variogram given the other structure
// (weights N(h)/h², gstat's), and is then replaced by its nearest positive semi-definite matrix
// (negative eigenvalues set to zero); repeated until the sills move by less than 1e-12 of the
// largest. The fit reports whether that correction was needed.
// A variable with no pairs for a cross variogram (no collocated records) gets B_ij = 0: no
// correlation is assumed where the data cannot show one.
//
// How it is solved. Per node, the system [C F; Fᵀ 0][λ; μ] = [c0; f0], F the indicator columns
// of the variables, f0 = (1, 0, 0), is built in double precision and solved by LU with partial
// pivoting; a residual above 1e-8 of the total sill (coincident samples, or secondaries that
// duplicate the primary exactly, which make the system singular) sends it to a complete
// orthogonal decomposition (the minimum-norm weights). A secondary without samples near enough
// drops out of the system with its constraint.
//
// Accuracy and checks (tests/geochem/test_cokriging.cpp): with a secondary whose cross variogram
// is zero the weights of the secondary vanish and the grid equals ordinary kriging of the
// primary by the kriging seam to 1e-6; with a denser secondary that is an exact linear function of
// the primary, leave-one-out cross-validation errors fall far below those of ordinary kriging.
// Nodes are solved in row bands on all cores; the result does not depend on the number of
// threads.
// Units: coordinates in map units (the range in the same), values in those of each element.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "closed/kriging.h"
#include "display/chart.h"
#include "prep/gridding.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kCoKrigCaption = "协同克吕格分析";
inline constexpr const char* kCoKrigMethod = "CoKriging";
inline constexpr int kCoKrigMaxVariables = 3;

// The samples of one table: coordinates per record, and per variable its value or NaN.
struct CoSamples {
  std::vector<double> x, y;
  std::vector<std::vector<double>> z;  // z[v][record]
  int variables() const { return static_cast<int>(z.size()); }
};

// Index of the pair (i, j), i ≤ j, in the upper triangle of nvar variables, row by row.
int coPairIndex(int i, int j, int nvar);

struct CoVariograms {
  int nvar = 0;
  double cutoff = 0;
  std::vector<krig::ExperimentalVariogram> pairs;  // coPairIndex order
  std::vector<double> variance;                    // sample variance of each variable
  krig::FittedVariogram primaryFit;                // the primary's own spherical fit
};

// The cross variogram over the records where both values are present.
krig::ExperimentalVariogram experimentalCrossVariogram(std::span<const double> x,
                                                       std::span<const double> y,
                                                       std::span<const double> za,
                                                       std::span<const double> zb, double cutoff);
CoVariograms experimentalCoVariograms(const CoSamples& s);

struct Coregionalisation {
  int nvar = 1;
  double range = 1;
  std::vector<double> nugget, sill;  // B0 and B1, nvar × nvar, row-major, symmetric
  bool corrected = false;            // a sill matrix had to be made positive semi-definite
  int iterations = 0;
  double b0(int i, int j) const { return nugget[static_cast<std::size_t>(i * nvar + j)]; }
  double b1(int i, int j) const { return sill[static_cast<std::size_t>(i * nvar + j)]; }
  double gamma(int i, int j, double h) const;
  double cov(int i, int j, double h) const;
};

// Goulard & Voltz's fit of B0 and B1 for the range given (≤ 0: the primary's fitted range).
Coregionalisation fitCoregionalisation(const CoVariograms& ev, double range = 0);
// The nearest positive semi-definite matrix (n × n, symmetric, row-major) in the Frobenius norm:
// negative eigenvalues set to zero. True when it changed anything beyond rounding.
bool nearestPositiveSemidefinite(std::vector<double>& m, int n);
// The smallest eigenvalue of a symmetric matrix.
double smallestEigenvalue(const std::vector<double>& m, int n);

struct CoKrigingOptions {
  int primaryNeighbours = 12;    // k_0
  int secondaryNeighbours = 12;  // k_s
  int threads = 0;               // 0: one per core; the result does not depend on it
};

// The grid: node (r, c) at (xLeft + c·dx, yBottom + r·dy), -1E+38 where nothing can be solved.
// The progress counts rows; when it asks to stop, `cancelled` (if given) is set and the rows not
// reached stay -1E+38.
std::vector<float> coKrigeGrid(const CoSamples& s, const Coregionalisation& model,
                               const GridGeometry& geometry, const CoKrigingOptions& options,
                               Progress& progress = noProgress(), bool* cancelled = nullptr);

// Leave-one-out cross-validation of the primary: each primary sample estimated from the others
// (the secondaries kept, also on its own record).
struct CrossValidation {
  std::vector<double> error;  // estimate − value, per primary sample in record order
  double meanError = 0, rmse = 0;
  std::int64_t count = 0;
};
CrossValidation coKrigingCrossValidation(const CoSamples& s, const Coregionalisation& model,
                                         const CoKrigingOptions& options);
// The primary alone under its own spherical fit: ordinary kriging, for comparison.
Coregionalisation primaryOnlyModel(const CoVariograms& ev);
CoSamples primaryOnly(const CoSamples& s);

// ---- the tool's run ----------------------------------------------------------------------------

inline constexpr const char* kMsgCoKrigNoTable = "请选择数据表。";
inline constexpr const char* kMsgCoKrigNoFields = "请选择横坐标、纵坐标与主变量数据项。";
inline constexpr const char* kMsgCoKrigNoSecondary = "请选择一至两个协同变量数据项。";
inline constexpr const char* kMsgCoKrigSameField = "协同变量不能与主变量相同。";
inline constexpr const char* kMsgCoKrigNeighbours = "搜索数据点数不能少于3个。";
inline constexpr const char* kMsgCoKrigTooFew = "数据太少(<10),不能处理.";
inline constexpr const char* kMsgCoKrigNoName = "请给定保存数据文件名。";
inline constexpr const char* kMsgCoKrigFailed = "协同克里格计算错: ";

struct CoKrigingJob {
  std::string table, xField, yField, primaryField;
  std::vector<std::string> secondaryFields;  // one or two
  GridGeometry geometry;
  std::string outputName;  // Grid_Dat\<name>.grd
  CoKrigingOptions options;
  double range = 0;           // ≤ 0: the primary's fitted range
  bool crossValidate = true;  // report both cross-validations
};

std::string checkCoKrigingJob(const CoKrigingJob& job);
// Reads the samples of a job from the table.
CoSamples readCoSamples(Database& db, const CoKrigingJob& job);

struct CoKrigingRunResult {
  Outcome outcome;
  bool declined = false;  // the overwrite question was answered No
  std::string path;
  CoVariograms variograms;
  Coregionalisation model;
  CrossValidation coKriging, ordinary;
  std::vector<std::string> report;
  Grid grid;
};

// Reads, fits, cross-validates (when asked), grids and writes "#HLTWRGRIDB#" / "CoKriging".
// An existing file is replaced only when `ui` answers Yes to the gridding tool's question.
CoKrigingRunResult runCoKriging(Database& db, const std::string& workPath, const CoKrigingJob& job,
                                Interaction& ui, Progress& progress = noProgress());

// The experimental direct and cross variograms with the fitted model, one colour per pair.
chart::Chart coVariogramChart(const CoVariograms& ev, const Coregionalisation& model,
                              const std::vector<std::string>& names);

}  // namespace sarnoth::geochem
