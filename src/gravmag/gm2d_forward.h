// Forward calculation of a section model at the stations of a profile: the gravity (mGal) or
// magnetic (nT) anomaly of every body summed with the regional trend.
//
// Each body contributes  gz = 6.674e-3 · Δρ · Φz  and  B = 100 · Φ·M  from its polygon tensor
// (gravmag/talwani.h), Δρ and M being its contrasts with the background (section_model.h). The
// magnetic value is the component the profile observes: the total-field anomaly ΔT = B·F̂ (the
// projection on the geomagnetic field's direction, exact to first order in |B|/|F|, Blakely 1995
// §4.5), the vertical Za = Bz or the horizontal Hax = Bx along the profile. Demagnetisation is
// neglected (susceptibilities below about 0.1 SI).
//
// Stations are dealt out to both cores in contiguous bands; each station's sum is formed in the
// same order whatever the number of threads, so the result does not depend on it.
//
// Speed (bench/bench_gm2d.cpp): 50 bodies of 40 vertices at 1,000 stations take about 65 ms of
// one core in 2-D (one logarithm and one arc tangent per vertex and station dominate), so about
// 35 ms on two; the 2.5-D quadrature costs about five times as much.
#pragma once

#include <vector>

#include "gravmag/section_model.h"

namespace sarnoth::gm2d {

struct ForwardResult {
  std::vector<double> total;                 // per station: the bodies plus the trend
  std::vector<double> trend;                 // per station
  std::vector<std::vector<double>> perBody;  // [body][station] when asked for
};

struct ForwardOptions {
  bool perBody = false;
  int threads = 0;  // 0: all cores
};

// The field at stations x (m) and elevations h (m).
ForwardResult computeField(const Model& model, const std::vector<double>& x,
                           const std::vector<double>& h, FieldKind field,
                           const ForwardOptions& options = {});

// One body's value at a station from its tensor.
double bodyValue(const Tensor& t, double densityContrast, const Vec3& magnetisation,
                 const Vec3& fieldDirection, FieldKind field, MagComponent component);

// What the body needs computed for a field (first derivatives for gravity, second for magnetics).
unsigned needFor(FieldKind field);

// The unit vector the magnetic value is measured along, in the profile frame.
Vec3 componentDirection(const Model& model);

// Root mean square of observed − computed over the stations where a reading exists.
double rmsMisfit(const std::vector<double>& observed, const std::vector<double>& computed);

}  // namespace sarnoth::gm2d
