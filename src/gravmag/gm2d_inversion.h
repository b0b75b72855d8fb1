// Inversion of a section model: the chosen vertices and properties of the chosen bodies (and,
// when asked, the trend's coefficients) are adjusted within their constraint ranges until the
// computed field fits the observed one in the least-squares sense.
//
// Parameters. A free vertex coordinate (x, z or both, section_model.h VertexFree) moves within
// ± moveX / moveZ of where it stood at the start and never above the observation surface; a vertex
// of another body at the same place moves with it, so contacts stay closed. Density,
// susceptibility and remanent intensity vary within [min, max] of their body. Columns of the
// Jacobian are scaled to unit length before solving (Marquardt 1963), so metres and g/cm³ mix.
//
// Methods (r the residual observed − computed, J the scaled Jacobian):
//  * damped least squares (Levenberg 1944; Marquardt 1963): (JᵀJ + λI) δ = Jᵀr solved by
//    Cholesky factorisation (Eigen LLT); λ falls by 5 after a step that lowers the misfit and rises
//    by 10 after one that does not (up to ten tries per iteration);
//  * generalised inverse by truncated singular value decomposition (Lanczos 1961; Jupp &
//    Vozoff 1975): δ = Σ_{σi > c·σ1} (uiᵀ r / σi) vi with the relative cut-off c, the step halved
//    while it does not lower the misfit.
// A step is projected onto the bounds; a step that would make a body cross itself or rise above
// the stations counts as one that does not lower the misfit.
//
// Jacobian: analytic (the exact vertex derivatives of talwani.h and the linear property
// columns), or by central differences (step 1e-4 of the parameter's size, at least 1e-3 m or
// 1e-6 of a property) for checking.
//
// Stops after `maxIterations`, when an iteration lowers the misfit by less than `tolerance` of it,
// when no step lowers it, or when the observer says stop. Accuracy: on noise-free synthetic data
// a perturbed vertex comes back to within 1e-3 of its depth in a few iterations.
#pragma once

#include <Eigen/Dense>
#include <functional>
#include <string>
#include <vector>

#include "gravmag/section_model.h"

namespace sarnoth::gm2d {

enum class InversionMethod { Cholesky, GeneralisedInverse };

enum class ParamKind { VertexX, VertexZ, Density, Susceptibility, Remanence, TrendCoefficient };

struct Parameter {
  ParamKind kind = ParamKind::VertexZ;
  std::size_t body = 0, index = 0;  // the vertex or the trend coefficient; body for properties
  FieldKind trendField = FieldKind::Gravity;
  double lo = -1e30, hi = 1e30;
  std::vector<std::pair<std::size_t, std::size_t>> linked;  // (body, vertex) moving together
};

struct InversionSettings {
  InversionMethod method = InversionMethod::Cholesky;
  std::vector<FieldKind> fields{FieldKind::Gravity};  // both for a joint inversion
  int maxIterations = 20;
  double damping = 0.01;    // starting λ (Cholesky)
  double svdCutoff = 1e-4;  // relative singular-value cut-off (generalised inverse)
  double tolerance = 1e-4;  // relative misfit decrease below which the iterations stop
  bool analyticJacobian = true;
  int threads = 0;
};

struct IterationReport {
  int iteration = 0;
  double rms = 0;     // misfit after the iteration (in the units of the first field)
  double lambda = 0;  // damping used (Cholesky)
  int rank = 0;       // singular values kept (generalised inverse)
};

struct InversionResult {
  Outcome outcome;
  Model model;
  double startRms = 0, finalRms = 0;
  std::vector<IterationReport> iterations;
};

// Returns false to stop the inversion; the model is the one after the iteration.
using IterationObserver = std::function<bool(const IterationReport&, const Model&)>;

inline constexpr const char* kMsgNoBodyChosen = "请先选择参加反演的模型。";
inline constexpr const char* kMsgNoParameters = "所选模型没有可反演的角点或物性，请调整约束范围。";
inline constexpr const char* kMsgNoObserved = "请先装载原始观测数据。";

// The parameters of the chosen bodies for the fields inverted.
std::vector<Parameter> inversionParameters(const Model& model, const Profile& profile,
                                           const std::vector<FieldKind>& fields);
double parameterValue(const Model& model, const Parameter& p);
void setParameter(Model& model, const Parameter& p, double value);

// The Jacobian of the stacked readings (fields in order, stations with a reading) with respect
// to the parameters: analytic or by central differences.
Eigen::MatrixXd jacobian(const Model& model, const Profile& profile,
                         const std::vector<FieldKind>& fields, const std::vector<Parameter>& params,
                         bool analytic, int threads = 0);

InversionResult invert(const Model& start, const Profile& profile, const InversionSettings& s,
                       const IterationObserver& observer = {});

// Least-squares fit of a trend of `order` (0–3) to observed − bodies, x0 at the first station.
Outcome fitTrend(Model& model, const Profile& profile, FieldKind field, int order);

}  // namespace sarnoth::gm2d
