#include "electric/sounding_forward.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>

#include "electric/hankel_filter.h"
#include "prep/parallel_rows.h"

namespace sarnoth::electric {
namespace {

// Below this λh a layer is opaque to what lies beneath: tanh(λh) = 1 − 2e^{−2λh} rounds to 1
// in double precision once 2λh > 37, and T_i is then ρ_i whatever the layers below hold.
constexpr double kOpaque = 20.0;

std::size_t firstOpaqueLayer(double lambda, const LayeredEarth& e) {
  const std::size_t n = e.layers();
  for (std::size_t i = 0; i + 1 < n; ++i)
    if (lambda * e.thickness[i] > kOpaque) return i;
  return n - 1;
}

// T(λ) − ρ₁ by Pekeris' recurrence.
double kernelRemainder(double lambda, const LayeredEarth& e) {
  const std::size_t k = firstOpaqueLayer(lambda, e);
  double T = e.resistivity[k];
  for (std::size_t i = k; i-- > 0;) {
    // The recurrence with t = (1 − x)/(1 + x), x = e^{−2λh}, cleared of fractions.
    const double x = std::exp(-2.0 * lambda * e.thickness[i]);
    const double rho = e.resistivity[i];
    T = rho * (T * (1.0 + x) + rho * (1.0 - x)) / (rho * (1.0 + x) + T * (1.0 - x));
  }
  return T - e.resistivity[0];
}

// The same at four abscissas at once. Each recurrence waits on its own division layer after
// layer; four of them interleaved keep the divider busy. Every value is computed exactly as
// kernelRemainder computes it alone.
void kernelRemainder4(const double* lambda, const LayeredEarth& e, double* out) {
  std::size_t k[4];
  double T[4];
  std::size_t top = 0;
  for (int a = 0; a < 4; ++a) {
    k[a] = firstOpaqueLayer(lambda[a], e);
    T[a] = e.resistivity[k[a]];
    top = std::max(top, k[a]);
  }
  for (std::size_t i = top; i-- > 0;) {
    const double rho = e.resistivity[i], h = e.thickness[i];
    for (int a = 0; a < 4; ++a) {
      if (i >= k[a]) continue;
      const double x = std::exp(-2.0 * lambda[a] * h);
      T[a] = rho * (T[a] * (1.0 + x) + rho * (1.0 - x)) / (rho * (1.0 + x) + T[a] * (1.0 - x));
    }
  }
  for (int a = 0; a < 4; ++a) out[a] = T[a] - e.resistivity[0];
}

// T(λ) − ρ₁ and its derivatives by ln ρ_i (g[0..n-1]) and ln h_i (g[n..2n-2]).
double kernelRemainder(double lambda, const LayeredEarth& e, double* g,
                       std::vector<double>& scratch) {
  const std::size_t n = e.layers();
  const std::size_t k = firstOpaqueLayer(lambda, e);
  scratch.resize(4 * n);
  double* U = scratch.data();  // T_{i+1}
  double* tt = U + n;          // t_i
  double* num = tt + n;
  double* den = num + n;
  double T = e.resistivity[k];
  for (std::size_t i = k; i-- > 0;) {
    const double x = std::exp(-2.0 * lambda * e.thickness[i]);
    const double t = (1.0 - x) / (1.0 + x);
    const double rho = e.resistivity[i];
    U[i] = T;
    tt[i] = t;
    num[i] = T + rho * t;
    den[i] = 1.0 + T * t / rho;
    T = num[i] / den[i];
  }
  for (std::size_t i = 0; i < 2 * n - 1; ++i) g[i] = 0.0;
  double P = 1.0;  // ∂T₁/∂T_i
  for (std::size_t i = 0; i < k; ++i) {
    const double rho = e.resistivity[i], t = tt[i], u = U[i], d2 = den[i] * den[i];
    const double dRho = (t * den[i] + num[i] * u * t / (rho * rho)) / d2;
    const double dT = (rho - u * u / rho) / d2;
    const double dh = lambda * (1.0 - t * t);
    g[i] = P * dRho * rho;
    g[n + i] = P * dT * dh * e.thickness[i];
    P *= (1.0 - t * t) / d2;
  }
  g[k] = P * e.resistivity[k];
  g[0] -= e.resistivity[0];
  return T - e.resistivity[0];
}

double sign(double v) { return v > 0 ? 1.0 : (v < 0 ? -1.0 : 0.0); }

// The filter points that matter: abscissa b and effective weight (W for J0, b·W for J1, the λ
// of the field kernel folded in). Points whose effective weight is below 1e-14 are left out:
// with |T − ρ₁| < ρ_max and 40-odd such points the sum moves by less than 1e-12 ρ_max, a
// relative 1e-8 of ρa at a contrast of 10⁴. The J1 filter has some 40 of them at small b.
struct FilterTerms {
  std::vector<double> base, weight;
};

FilterTerms significant(std::span<const HankelFilterPoint> filter, bool field) {
  FilterTerms f;
  for (const auto& p : filter) {
    const double w = field ? p.base * p.weight : p.weight;
    if (std::fabs(w) < 1e-14) continue;
    f.base.push_back(p.base);
    f.weight.push_back(w);
  }
  return f;
}

const FilterTerms& filterTerms(int order) {
  static const FilterTerms j0 = significant(guptasarmaSinghJ0(), false);
  static const FilterTerms j1 = significant(guptasarmaSinghJ1(), true);
  return order == 0 ? j0 : j1;
}

}  // namespace

double LayeredEarth::depthOf(std::size_t i) const {
  double z = 0;
  for (std::size_t k = 0; k <= i && k < thickness.size(); ++k) z += thickness[k];
  return z;
}

std::string validateEarth(const LayeredEarth& e) {
  const std::size_t n = e.resistivity.size();
  if (n == 0) return "地电模型没有层";
  if (e.thickness.size() != n - 1) return "地电模型的层厚数目不对";
  for (double r : e.resistivity)
    if (!(std::isfinite(r) && r > 0)) return "电阻率必须大于零";
  for (double h : e.thickness)
    if (!(std::isfinite(h) && h > 0)) return "层厚必须大于零";
  if (!e.chargeability.empty()) {
    if (e.chargeability.size() != n) return "极化率数目与层数不符";
    for (double m : e.chargeability)
      if (!(std::isfinite(m) && m >= 0 && m < 100)) return "极化率必须在0到100之间";
  }
  return {};
}

bool isSoundDevice(int code) { return code >= 1 && code <= 5; }

const char* soundDeviceText(SoundDevice d) {
  switch (d) {
    case SoundDevice::PolePole:
      return "二极装置";
    case SoundDevice::SymmetricMN:
      return "对称四极装置(MN>0)";
    case SoundDevice::Symmetric:
      return "对称四极装置(MN=0)";
    case SoundDevice::DipoleMN:
      return "偶极装置(MN>0)";
    case SoundDevice::DipoleField:
      return "偶极装置(MN=0)";
  }
  return "";
}

int spacingColumns(SoundDevice d) {
  switch (d) {
    case SoundDevice::PolePole:
    case SoundDevice::Symmetric:
      return 1;
    case SoundDevice::SymmetricMN:
    case SoundDevice::DipoleField:
      return 2;
    case SoundDevice::DipoleMN:
      return 3;
  }
  return 1;
}

Quadripole electrodesOf(SoundDevice d, const Spacing& s) {
  switch (d) {
    case SoundDevice::PolePole:
      return {0.0, kRemote, s.r, kRemote};
    case SoundDevice::SymmetricMN:
      return {-s.r, s.r, -s.mn2, s.mn2};
    case SoundDevice::Symmetric:
      return {-s.r, s.r, 0.0, 0.0};
    case SoundDevice::DipoleMN:
      return {-s.ab2, s.ab2, s.r - s.mn2, s.r + s.mn2};
    case SoundDevice::DipoleField:
      return {-s.ab2, s.ab2, s.r, s.r};
  }
  return {};
}

std::string validateSpacing(SoundDevice d, const Spacing& s) {
  auto positive = [](double v) { return std::isfinite(v) && v > 0; };
  if (!positive(s.r)) return "电极距必须大于零";
  switch (d) {
    case SoundDevice::PolePole:
    case SoundDevice::Symmetric:
      return {};
    case SoundDevice::SymmetricMN:
      if (!positive(s.mn2)) return "MN/2必须大于零";
      if (s.mn2 >= s.r) return "MN/2必须小于AB/2";
      return {};
    case SoundDevice::DipoleMN:
      if (!positive(s.ab2) || !positive(s.mn2)) return "AB/2和MN/2必须大于零";
      if (s.r <= s.ab2 + s.mn2) return "偶极距OO'必须大于AB/2与MN/2之和";
      return {};
    case SoundDevice::DipoleField:
      if (!positive(s.ab2)) return "AB/2必须大于零";
      if (s.r <= s.ab2) return "偶极距OO'必须大于AB/2";
      return {};
  }
  return {};
}

// --- SoundingPlan -------------------------------------------------------------------------

std::size_t SoundingPlan::transformOf(double r, int order) {
  for (std::size_t i = 0; i < transforms_.size(); ++i)
    if (transforms_[i].r == r && transforms_[i].order == order) return i;
  transforms_.push_back({r, order});
  return transforms_.size() - 1;
}

void SoundingPlan::addArray(const Quadripole& q) {
  struct Pole {
    double x;
    double s;
  };
  std::vector<Pole> sources;
  if (std::isfinite(q.a)) sources.push_back({q.a, 1.0});
  if (std::isfinite(q.b)) sources.push_back({q.b, -1.0});
  if (sources.empty() || !std::isfinite(q.m))
    throw std::invalid_argument("装置没有供电电极或测量电极");
  const bool field = q.n == q.m;
  std::vector<Pole> receivers;
  if (field) {
    receivers.push_back({q.m, 1.0});
  } else {
    receivers.push_back({q.m, 1.0});
    if (std::isfinite(q.n)) receivers.push_back({q.n, -1.0});
  }
  Datum d;
  double scale = 0;
  std::map<std::size_t, double> merged;
  for (const Pole& src : sources) {
    for (const Pole& rec : receivers) {
      const double r = std::fabs(rec.x - src.x);
      if (!(r > 0) || !std::isfinite(r)) throw std::invalid_argument("电极重合");
      const double c = field ? src.s * sign(rec.x - src.x) : src.s * rec.s;
      const double inv = field ? 1.0 / (r * r) : 1.0 / r;
      d.geometry += c * inv;
      scale += inv;
      merged[transformOf(r, field ? 1 : 0)] += c;
    }
  }
  if (!(std::fabs(d.geometry) > 1e-12 * scale)) throw std::invalid_argument("装置系数为零");
  for (auto [t, c] : merged)
    if (c != 0) d.terms.push_back({t, c});
  data_.push_back(std::move(d));
}

SoundingPlan::SoundingPlan(std::span<const Quadripole> arrays) {
  for (const Quadripole& q : arrays) addArray(q);
}

SoundingPlan::SoundingPlan(SoundDevice device, std::span<const Spacing> spacings) {
  for (const Spacing& s : spacings) {
    std::string why = validateSpacing(device, s);
    if (!why.empty()) throw std::invalid_argument(why);
    addArray(electrodesOf(device, s));
  }
}

std::vector<double> SoundingPlan::apparentResistivity(const LayeredEarth& earth) const {
  std::vector<double> S(transforms_.size());
  for (std::size_t k = 0; k < transforms_.size(); ++k) {
    const double r = transforms_[k].r;
    const FilterTerms& f = filterTerms(transforms_[k].order);
    double sum = 0;
    const std::size_t m = f.base.size();
    std::size_t i = 0;
    for (; i + 4 <= m; i += 4) {
      const double lambda[4] = {f.base[i] / r, f.base[i + 1] / r, f.base[i + 2] / r,
                                f.base[i + 3] / r};
      double t[4];
      kernelRemainder4(lambda, earth, t);
      for (int a = 0; a < 4; ++a) sum += t[a] * f.weight[i + static_cast<std::size_t>(a)];
    }
    for (; i < m; ++i) sum += kernelRemainder(f.base[i] / r, earth) * f.weight[i];
    S[k] = transforms_[k].order == 0 ? sum / r : sum / (r * r);
  }
  std::vector<double> rho(data_.size());
  for (std::size_t j = 0; j < data_.size(); ++j) {
    double x = 0;
    for (const Term& t : data_[j].terms) x += t.coefficient * S[t.transform];
    rho[j] = earth.resistivity[0] + x / data_[j].geometry;
  }
  return rho;
}

std::vector<double> SoundingPlan::apparentResistivity(const LayeredEarth& earth,
                                                      Eigen::MatrixXd& jacobian) const {
  const std::size_t n = earth.layers();
  const std::size_t np = 2 * n - 1;
  std::vector<double> S(transforms_.size());
  Eigen::MatrixXd dS = Eigen::MatrixXd::Zero(static_cast<Eigen::Index>(transforms_.size()),
                                             static_cast<Eigen::Index>(np));
  // Each transform is summed on its own, so the work splits over both cores with the same
  // result whatever the split.
  detail::forRowBands(
      static_cast<int>(transforms_.size()),
      [&](int kBegin, int kEnd, int) {
        std::vector<double> g(np), scratch;
        for (auto k = static_cast<std::size_t>(kBegin); k < static_cast<std::size_t>(kEnd); ++k) {
          const double r = transforms_[k].r;
          const FilterTerms& f = filterTerms(transforms_[k].order);
          double sum = 0;
          for (std::size_t q = 0; q < f.base.size(); ++q) {
            const double w = f.weight[q];
            sum += kernelRemainder(f.base[q] / r, earth, g.data(), scratch) * w;
            for (std::size_t i = 0; i < np; ++i)
              dS(static_cast<Eigen::Index>(k), static_cast<Eigen::Index>(i)) += g[i] * w;
          }
          const double scale = transforms_[k].order == 1 ? 1.0 / (r * r) : 1.0 / r;
          S[k] = sum * scale;
          dS.row(static_cast<Eigen::Index>(k)) *= scale;
        }
      },
      8);
  std::vector<double> rho(data_.size());
  jacobian.resize(static_cast<Eigen::Index>(data_.size()), static_cast<Eigen::Index>(np));
  for (std::size_t j = 0; j < data_.size(); ++j) {
    const auto row = static_cast<Eigen::Index>(j);
    double x = 0;
    jacobian.row(row).setZero();
    for (const Term& t : data_[j].terms) {
      x += t.coefficient * S[t.transform];
      jacobian.row(row) += t.coefficient * dS.row(static_cast<Eigen::Index>(t.transform));
    }
    const double G = data_[j].geometry;
    rho[j] = earth.resistivity[0] + x / G;
    jacobian.row(row) /= G;
    jacobian(row, 0) += earth.resistivity[0];
    jacobian.row(row) /= rho[j];
  }
  return rho;
}

// --- responses ----------------------------------------------------------------------------

namespace {

LayeredEarth seigelEarth(const LayeredEarth& e) {
  LayeredEarth star = e;
  star.chargeability.clear();
  for (std::size_t i = 0; i < e.layers(); ++i)
    star.resistivity[i] = e.resistivity[i] / (1.0 - e.chargeability[i] / 100.0);
  return star;
}

}  // namespace

std::vector<double> apparentChargeability(const LayeredEarth& earth, const SoundingPlan& plan,
                                          Eigen::MatrixXd* jacobian) {
  const std::vector<double> rho = plan.apparentResistivity(earth);
  const LayeredEarth star = seigelEarth(earth);
  std::vector<double> rhoStar;
  Eigen::MatrixXd J;
  if (jacobian)
    rhoStar = plan.apparentResistivity(star, J);
  else
    rhoStar = plan.apparentResistivity(star);
  std::vector<double> eta(rho.size());
  for (std::size_t j = 0; j < rho.size(); ++j) eta[j] = 100.0 * (1.0 - rho[j] / rhoStar[j]);
  if (jacobian) {
    const std::size_t n = earth.layers();
    jacobian->resize(static_cast<Eigen::Index>(rho.size()), static_cast<Eigen::Index>(n));
    for (std::size_t j = 0; j < rho.size(); ++j)
      for (std::size_t i = 0; i < n; ++i)
        (*jacobian)(static_cast<Eigen::Index>(j), static_cast<Eigen::Index>(i)) =
            rho[j] / rhoStar[j] * J(static_cast<Eigen::Index>(j), static_cast<Eigen::Index>(i)) /
            (1.0 - earth.chargeability[i] / 100.0);
  }
  return eta;
}

SoundingResponse soundingResponse(const LayeredEarth& earth, const SoundingPlan& plan) {
  SoundingResponse r;
  r.rho = plan.apparentResistivity(earth);
  if (earth.polarisable()) {
    const std::vector<double> rhoStar = plan.apparentResistivity(seigelEarth(earth));
    r.eta.resize(r.rho.size());
    for (std::size_t j = 0; j < r.rho.size(); ++j) r.eta[j] = 100.0 * (1.0 - r.rho[j] / rhoStar[j]);
  }
  return r;
}

SoundingResponse soundingResponse(const LayeredEarth& earth, SoundDevice d,
                                  std::span<const Spacing> spacings) {
  return soundingResponse(earth, SoundingPlan(d, spacings));
}

double apparentResistivity(const LayeredEarth& earth, const Quadripole& q) {
  return SoundingPlan(std::span<const Quadripole>(&q, 1)).apparentResistivity(earth)[0];
}

}  // namespace sarnoth::electric
