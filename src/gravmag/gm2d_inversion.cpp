#include "gravmag/gm2d_inversion.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "gravmag/gm2d_forward.h"
#include "prep/parallel_rows.h"

namespace sarnoth::gm2d {
namespace {

bool samePlace(const Point2& a, const Point2& b) {
  return std::abs(a.x - b.x) <= 1e-6 && std::abs(a.z - b.z) <= 1e-6;
}

bool concerns(ParamKind k, const std::vector<FieldKind>& fields) {
  auto has = [&](FieldKind f) {
    return std::find(fields.begin(), fields.end(), f) != fields.end();
  };
  if (k == ParamKind::Density) return has(FieldKind::Gravity);
  if (k == ParamKind::Susceptibility || k == ParamKind::Remanence) return has(FieldKind::Magnetic);
  return true;
}

// The stacked readings: for each field the stations with a reading, and a weight that puts the
// fields of a joint inversion on one footing (1 / the spread of the observed values).
struct Rows {
  std::vector<FieldKind> field;
  std::vector<std::size_t> station;
  std::vector<double> observed, weight;
};

Rows rowsOf(const Profile& p, const std::vector<FieldKind>& fields) {
  Rows r;
  for (FieldKind f : fields) {
    const auto& obs = p.observed(f);
    double lo = 1e300, hi = -1e300;
    for (double v : obs)
      if (!isMissing(v)) {
        lo = std::min(lo, v);
        hi = std::max(hi, v);
      }
    const double w = fields.size() > 1 && hi > lo ? 1.0 / (hi - lo) : 1.0;
    for (std::size_t i = 0; i < obs.size() && i < p.size(); ++i)
      if (!isMissing(obs[i])) {
        r.field.push_back(f);
        r.station.push_back(i);
        r.observed.push_back(obs[i]);
        r.weight.push_back(w);
      }
  }
  return r;
}

Eigen::VectorXd computedRows(const Model& m, const Profile& p, const std::vector<FieldKind>& fields,
                             const Rows& rows, int threads) {
  Eigen::VectorXd out(static_cast<Eigen::Index>(rows.observed.size()));
  Eigen::Index k = 0;
  for (FieldKind f : fields) {
    ForwardOptions o;
    o.threads = threads;
    const ForwardResult fr = computeField(m, p.x, p.elevation, f, o);
    for (std::size_t i = 0; i < rows.field.size(); ++i)
      if (rows.field[i] == f) out[k++] = fr.total[rows.station[i]];
  }
  return out;
}

Eigen::VectorXd residual(const Model& m, const Profile& p, const std::vector<FieldKind>& fields,
                         const Rows& rows, int threads) {
  const Eigen::VectorXd c = computedRows(m, p, fields, rows, threads);
  Eigen::VectorXd r(c.size());
  for (Eigen::Index i = 0; i < c.size(); ++i) {
    const auto u = static_cast<std::size_t>(i);
    r[i] = (rows.observed[u] - c[i]) * rows.weight[u];
  }
  return r;
}

double rmsOf(const Eigen::VectorXd& r, const Rows& rows) {
  // In the units of the first field: the weights divided out again.
  if (r.size() == 0) return 0;
  double s = 0;
  for (Eigen::Index i = 0; i < r.size(); ++i) {
    const double u = r[i] / rows.weight[static_cast<std::size_t>(i)] * rows.weight[0];
    s += u * u;
  }
  return std::sqrt(s / static_cast<double>(r.size())) / rows.weight[0];
}

}  // namespace

std::vector<Parameter> inversionParameters(const Model& model, const Profile& profile,
                                           const std::vector<FieldKind>& fields) {
  std::vector<Parameter> ps;
  std::vector<Point2> taken;  // vertex places already parameterised, per axis
  std::vector<Point2> takenZ;
  for (std::size_t b = 0; b < model.bodies.size(); ++b) {
    const Body& body = model.bodies[b];
    if (!body.chosen) continue;
    for (std::size_t v = 0; v < body.vertices.size(); ++v) {
      const std::uint8_t fr = body.freedom(v);
      const Point2 at = body.vertices[v];
      for (int axis = 0; axis < 2; ++axis) {
        if (!(fr & (axis == 0 ? kFreeX : kFreeZ))) continue;
        auto& seen = axis == 0 ? taken : takenZ;
        if (std::any_of(seen.begin(), seen.end(),
                        [&](const Point2& q) { return samePlace(q, at); }))
          continue;
        seen.push_back(at);
        Parameter p;
        p.kind = axis == 0 ? ParamKind::VertexX : ParamKind::VertexZ;
        p.body = b;
        p.index = v;
        for (std::size_t ob = 0; ob < model.bodies.size(); ++ob)
          for (std::size_t ov = 0; ov < model.bodies[ob].vertices.size(); ++ov)
            if (samePlace(model.bodies[ob].vertices[ov], at)) p.linked.emplace_back(ob, ov);
        if (axis == 0) {
          p.lo = at.x - body.moveX;
          p.hi = at.x + body.moveX;
        } else {
          const double top = -surfaceElevation(profile.x, profile.elevation, at.x);
          p.lo = std::max(at.z - body.moveZ, profile.x.empty() ? -1e30 : top);
          p.hi = at.z + body.moveZ;
          p.lo = std::min(p.lo, at.z);
        }
        ps.push_back(std::move(p));
      }
    }
    auto property = [&](bool on, ParamKind k, double lo, double hi) {
      if (!on || !concerns(k, fields)) return;
      Parameter p;
      p.kind = k;
      p.body = b;
      p.lo = lo;
      p.hi = hi;
      ps.push_back(p);
    };
    property(body.invertDensity, ParamKind::Density, body.densityMin, body.densityMax);
    property(body.invertSusceptibility, ParamKind::Susceptibility, body.susceptibilityMin,
             body.susceptibilityMax);
    property(body.invertRemanence, ParamKind::Remanence, body.remanenceMin, body.remanenceMax);
  }
  for (FieldKind f : fields) {
    const Trend& t = model.trend(f);
    if (!t.invert) continue;
    for (std::size_t k = 0; k < t.c.size(); ++k) {
      Parameter p;
      p.kind = ParamKind::TrendCoefficient;
      p.trendField = f;
      p.index = k;
      ps.push_back(p);
    }
  }
  return ps;
}

double parameterValue(const Model& m, const Parameter& p) {
  switch (p.kind) {
    case ParamKind::VertexX:
      return m.bodies[p.body].vertices[p.index].x;
    case ParamKind::VertexZ:
      return m.bodies[p.body].vertices[p.index].z;
    case ParamKind::Density:
      return m.bodies[p.body].density;
    case ParamKind::Susceptibility:
      return m.bodies[p.body].susceptibility;
    case ParamKind::Remanence:
      return m.bodies[p.body].remanence;
    case ParamKind::TrendCoefficient:
      return m.trend(p.trendField).c[p.index];
  }
  return 0;
}

void setParameter(Model& m, const Parameter& p, double v) {
  switch (p.kind) {
    case ParamKind::VertexX:
      for (auto [b, k] : p.linked) m.bodies[b].vertices[k].x = v;
      return;
    case ParamKind::VertexZ:
      for (auto [b, k] : p.linked) m.bodies[b].vertices[k].z = v;
      return;
    case ParamKind::Density:
      m.bodies[p.body].density = v;
      return;
    case ParamKind::Susceptibility:
      m.bodies[p.body].susceptibility = v;
      return;
    case ParamKind::Remanence:
      m.bodies[p.body].remanence = v;
      return;
    case ParamKind::TrendCoefficient:
      m.trend(p.trendField).c[p.index] = v;
      return;
  }
}

Eigen::MatrixXd jacobian(const Model& model, const Profile& profile,
                         const std::vector<FieldKind>& fields, const std::vector<Parameter>& params,
                         bool analytic, int threads) {
  const Rows rows = rowsOf(profile, fields);
  const auto nr = static_cast<Eigen::Index>(rows.observed.size());
  const auto np = static_cast<Eigen::Index>(params.size());
  Eigen::MatrixXd j = Eigen::MatrixXd::Zero(nr, np);
  if (!analytic) {
    for (Eigen::Index c = 0; c < np; ++c) {
      const Parameter& p = params[static_cast<std::size_t>(c)];
      const double v = parameterValue(model, p);
      const bool vertex = p.kind == ParamKind::VertexX || p.kind == ParamKind::VertexZ;
      const double h = std::max(std::abs(v) * 1e-4, vertex ? 1e-3 : 1e-6);
      Model plus = model, minus = model;
      setParameter(plus, p, v + h);
      setParameter(minus, p, v - h);
      // The residual carries observed − computed: its difference has the opposite sign.
      const Eigen::VectorXd rp = residual(plus, profile, fields, rows, threads);
      const Eigen::VectorXd rm = residual(minus, profile, fields, rows, threads);
      j.col(c) = -(rp - rm) / (2 * h);
    }
    return j;
  }
  // Analytic: property and trend columns are linear; vertex columns from the tensor gradients.
  std::vector<double> drho(model.bodies.size());
  std::vector<Vec3> mag(model.bodies.size());
  for (std::size_t b = 0; b < model.bodies.size(); ++b) {
    drho[b] = densityContrast(model.bodies[b], model);
    mag[b] = magnetisation(model.bodies[b], model);
  }
  const Vec3 dir = componentDirection(model);
  const Vec3 fdir =
      directionInProfile(model.field.inclination, model.field.declination, model.azimuth);
  const double inducedPerChi = model.field.intensity / (400.0 * M_PI);
  // Bodies whose vertices some parameter moves.
  std::vector<char> moved(model.bodies.size(), 0);
  for (const Parameter& p : params)
    for (auto [b, k] : p.linked) moved[b] = 1;
  detail::forRowBands(
      static_cast<int>(nr),
      [&](int begin, int end, int) {
        std::vector<VertexGradient> grad;
        std::vector<std::vector<VertexGradient>> grads(model.bodies.size());
        for (int row = begin; row < end; ++row) {
          const auto u = static_cast<std::size_t>(row);
          const FieldKind f = rows.field[u];
          const std::size_t s = rows.station[u];
          const double xs = profile.x[s], zs = -profile.elevation[s];
          const double w = rows.weight[u];
          for (std::size_t b = 0; b < model.bodies.size(); ++b)
            if (moved[b])
              polygonTensorGradient(model.bodies[b].vertices, xs, zs, model.bodies[b].halfStrike,
                                    needFor(f), grads[b]);
          for (Eigen::Index c = 0; c < np; ++c) {
            const Parameter& p = params[static_cast<std::size_t>(c)];
            double d = 0;
            switch (p.kind) {
              case ParamKind::VertexX:
              case ParamKind::VertexZ:
                for (auto [b, k] : p.linked) {
                  const Tensor& t = p.kind == ParamKind::VertexX ? grads[b][k].dx : grads[b][k].dz;
                  d += bodyValue(t, drho[b], mag[b], dir, f, model.component);
                }
                break;
              case ParamKind::Density:
              case ParamKind::Susceptibility:
              case ParamKind::Remanence: {
                if ((p.kind == ParamKind::Density) != (f == FieldKind::Gravity)) break;
                const Body& body = model.bodies[p.body];
                const Tensor t = polygonTensor(body.vertices, xs, zs, body.halfStrike, needFor(f));
                if (p.kind == ParamKind::Density) {
                  d = bodyValue(t, 1.0, {}, dir, f, model.component);
                } else if (p.kind == ParamKind::Susceptibility) {
                  const Vec3 m{fdir.x * inducedPerChi, fdir.y * inducedPerChi,
                               fdir.z * inducedPerChi};
                  d = bodyValue(t, 0, m, dir, f, model.component);
                } else {
                  const Vec3 m =
                      directionInProfile(body.remInclination, body.remDeclination, model.azimuth);
                  d = bodyValue(t, 0, m, dir, f, model.component);
                }
                break;
              }
              case ParamKind::TrendCoefficient:
                if (p.trendField == f)
                  d = std::pow((xs - model.trend(f).x0) / 1000.0, static_cast<double>(p.index));
                break;
            }
            j(row, c) = d * w;
          }
        }
      },
      8, threads);
  return j;
}

InversionResult invert(const Model& start, const Profile& profile, const InversionSettings& s,
                       const IterationObserver& observer) {
  InversionResult res;
  res.model = start;
  std::vector<FieldKind> fields;
  for (FieldKind f : s.fields)
    if (profile.has(f)) fields.push_back(f);
  if (profile.size() == 0 || fields.empty()) {
    res.outcome = Outcome::failure(kMsgNoObserved);
    return res;
  }
  if (std::none_of(start.bodies.begin(), start.bodies.end(),
                   [](const Body& b) { return b.chosen; }) &&
      std::none_of(fields.begin(), fields.end(),
                   [&](FieldKind f) { return start.trend(f).invert; })) {
    res.outcome = Outcome::failure(kMsgNoBodyChosen);
    return res;
  }
  const std::vector<Parameter> params = inversionParameters(start, profile, fields);
  if (params.empty()) {
    res.outcome = Outcome::failure(kMsgNoParameters);
    return res;
  }
  if (Outcome o = checkModel(start, profile.x, profile.elevation); !o) {
    res.outcome = o;
    return res;
  }
  const Rows rows = rowsOf(profile, fields);
  const auto np = static_cast<Eigen::Index>(params.size());
  Model m = start;
  // Start inside the bounds.
  Eigen::VectorXd p(np);
  for (Eigen::Index c = 0; c < np; ++c) {
    const Parameter& q = params[static_cast<std::size_t>(c)];
    p[c] = std::clamp(parameterValue(m, q), q.lo, q.hi);
    setParameter(m, q, p[c]);
  }
  Eigen::VectorXd r = residual(m, profile, fields, rows, s.threads);
  double rms = rmsOf(r, rows);
  res.startRms = rms;
  double lambda = s.damping > 0 ? s.damping : 0.01;
  auto tryStep = [&](const Eigen::VectorXd& delta, Model& trial, Eigen::VectorXd& rt,
                     double& rmsT) {
    trial = m;
    for (Eigen::Index c = 0; c < np; ++c) {
      const Parameter& q = params[static_cast<std::size_t>(c)];
      setParameter(trial, q, std::clamp(p[c] + delta[c], q.lo, q.hi));
    }
    if (!checkModel(trial, profile.x, profile.elevation)) return false;
    rt = residual(trial, profile, fields, rows, s.threads);
    rmsT = rmsOf(rt, rows);
    return rmsT < rms;
  };
  for (int it = 1; it <= s.maxIterations; ++it) {
    const Eigen::MatrixXd j = jacobian(m, profile, fields, params, s.analyticJacobian, s.threads);
    Eigen::VectorXd scale = j.colwise().norm().transpose();
    for (Eigen::Index c = 0; c < np; ++c)
      if (!(scale[c] > 0)) scale[c] = 1;
    const Eigen::MatrixXd js = j * scale.cwiseInverse().asDiagonal();
    const Eigen::VectorXd g = js.transpose() * r;
    IterationReport rep;
    rep.iteration = it;
    Model trial;
    Eigen::VectorXd rt;
    double rmsT = rms;
    bool accepted = false;
    if (s.method == InversionMethod::Cholesky) {
      const Eigen::MatrixXd jtj = js.transpose() * js;
      for (int tries = 0; tries < 10 && !accepted; ++tries) {
        Eigen::MatrixXd a = jtj;
        a.diagonal().array() += lambda;
        Eigen::LLT<Eigen::MatrixXd> llt(a);
        if (llt.info() == Eigen::Success) {
          const Eigen::VectorXd delta = (llt.solve(g).array() / scale.array()).matrix();
          accepted = tryStep(delta, trial, rt, rmsT);
        }
        rep.lambda = lambda;
        if (accepted)
          lambda = std::max(lambda / 5.0, 1e-9);
        else
          lambda *= 10.0;
      }
    } else {
      Eigen::JacobiSVD<Eigen::MatrixXd> svd(js, Eigen::ComputeThinU | Eigen::ComputeThinV);
      const Eigen::VectorXd sv = svd.singularValues();
      const Eigen::VectorXd ur = svd.matrixU().transpose() * r;
      Eigen::VectorXd ds = Eigen::VectorXd::Zero(np);
      int rank = 0;
      for (Eigen::Index k = 0; k < sv.size(); ++k)
        if (sv[k] > s.svdCutoff * sv[0]) {
          ds += svd.matrixV().col(k) * (ur[k] / sv[k]);
          ++rank;
        }
      rep.rank = rank;
      double step = 1.0;
      for (int tries = 0; tries < 10 && !accepted; ++tries, step *= 0.5) {
        const Eigen::VectorXd delta = (ds.array() * step / scale.array()).matrix();
        accepted = tryStep(delta, trial, rt, rmsT);
      }
    }
    if (!accepted) break;  // no step lowers the misfit: as good as it gets
    const double before = rms;
    m = std::move(trial);
    r = rt;
    rms = rmsT;
    for (Eigen::Index c = 0; c < np; ++c)
      p[c] = parameterValue(m, params[static_cast<std::size_t>(c)]);
    rep.rms = rms;
    res.iterations.push_back(rep);
    if (observer && !observer(rep, m)) break;
    if (before - rms < s.tolerance * before) break;
  }
  res.model = std::move(m);
  res.finalRms = rms;
  char text[160];
  std::snprintf(text, sizeof text, "反演结束：迭代 %d 次，均方误差由 %.6g 降至 %.6g。",
                static_cast<int>(res.iterations.size()), res.startRms, res.finalRms);
  res.outcome = Outcome::success(text);
  return res;
}

Outcome fitTrend(Model& model, const Profile& profile, FieldKind field, int order) {
  if (!profile.has(field) || profile.size() == 0) return Outcome::failure(kMsgNoObserved);
  if (order < 0 || order > 3) return Outcome::failure("趋势阶次应在 0 到 3 之间。");
  Model bare = model;
  bare.trend(field).c.clear();
  const ForwardResult fr = computeField(bare, profile.x, profile.elevation, field);
  const auto& obs = profile.observed(field);
  std::vector<std::size_t> use;
  for (std::size_t i = 0; i < profile.size(); ++i)
    if (!isMissing(obs[i])) use.push_back(i);
  const auto nc = static_cast<Eigen::Index>(order + 1);
  if (static_cast<Eigen::Index>(use.size()) < nc)
    return Outcome::failure("观测点太少，不能拟合趋势。");
  Trend t = model.trend(field);
  t.x0 = profile.x.front();
  Eigen::MatrixXd a(static_cast<Eigen::Index>(use.size()), nc);
  Eigen::VectorXd b(static_cast<Eigen::Index>(use.size()));
  for (std::size_t k = 0; k < use.size(); ++k) {
    const double u = (profile.x[use[k]] - t.x0) / 1000.0;
    double pw = 1;
    for (Eigen::Index c = 0; c < nc; ++c, pw *= u) a(static_cast<Eigen::Index>(k), c) = pw;
    b[static_cast<Eigen::Index>(k)] = obs[use[k]] - fr.total[use[k]];
  }
  const Eigen::VectorXd c = a.colPivHouseholderQr().solve(b);
  t.c.assign(c.data(), c.data() + c.size());
  model.trend(field) = t;
  return Outcome::success();
}

}  // namespace sarnoth::gm2d
