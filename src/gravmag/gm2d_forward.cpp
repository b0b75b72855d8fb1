#include "gravmag/gm2d_forward.h"

#include <cmath>

#include "prep/parallel_rows.h"

namespace sarnoth::gm2d {

unsigned needFor(FieldKind field) { return field == FieldKind::Gravity ? kNeedFirst : kNeedSecond; }

Vec3 componentDirection(const Model& model) {
  switch (model.component) {
    case MagComponent::Za:
      return {0, 0, 1};
    case MagComponent::Hax:
      return {1, 0, 0};
    case MagComponent::DeltaT:
      break;
  }
  return directionInProfile(model.field.inclination, model.field.declination, model.azimuth);
}

double bodyValue(const Tensor& t, double drho, const Vec3& m, const Vec3& f, FieldKind field,
                 MagComponent) {
  if (field == FieldKind::Gravity) return kGravityFactor * drho * t.gz;
  const double bx = m.x * t.xx + m.z * t.xz;
  const double bz = m.x * t.xz + m.z * t.zz;
  const double by = m.y * t.yy;
  return kMagneticFactor * (bx * f.x + by * f.y + bz * f.z);
}

ForwardResult computeField(const Model& model, const std::vector<double>& x,
                           const std::vector<double>& h, FieldKind field,
                           const ForwardOptions& options) {
  const std::size_t n = std::min(x.size(), h.size());
  const std::size_t nb = model.bodies.size();
  ForwardResult r;
  r.total.assign(n, 0.0);
  r.trend.resize(n);
  if (options.perBody) r.perBody.assign(nb, std::vector<double>(n, 0.0));
  std::vector<double> drho(nb);
  std::vector<Vec3> mag(nb);
  for (std::size_t b = 0; b < nb; ++b) {
    drho[b] = densityContrast(model.bodies[b], model);
    mag[b] = magnetisation(model.bodies[b], model);
  }
  const Vec3 dir = componentDirection(model);
  const unsigned need = needFor(field);
  const Trend& trend = model.trend(field);
  detail::forRowBands(
      static_cast<int>(n),
      [&](int begin, int end, int) {
        for (int i = begin; i < end; ++i) {
          const std::size_t s = static_cast<std::size_t>(i);
          double sum = 0;
          for (std::size_t b = 0; b < nb; ++b) {
            const Body& body = model.bodies[b];
            const bool silent = field == FieldKind::Gravity
                                    ? drho[b] == 0
                                    : (mag[b].x == 0 && mag[b].y == 0 && mag[b].z == 0);
            if (silent) continue;
            const Tensor t = polygonTensor(body.vertices, x[s], -h[s], body.halfStrike, need);
            const double v = bodyValue(t, drho[b], mag[b], dir, field, model.component);
            sum += v;
            if (options.perBody) r.perBody[b][s] = v;
          }
          r.trend[s] = trend.at(x[s]);
          r.total[s] = sum + r.trend[s];
        }
      },
      16, options.threads);
  return r;
}

double rmsMisfit(const std::vector<double>& obs, const std::vector<double>& calc) {
  double s = 0;
  std::size_t k = 0;
  for (std::size_t i = 0; i < std::min(obs.size(), calc.size()); ++i) {
    if (isMissing(obs[i])) continue;
    const double d = obs[i] - calc[i];
    s += d * d;
    ++k;
  }
  return k ? std::sqrt(s / static_cast<double>(k)) : 0.0;
}

}  // namespace sarnoth::gm2d
