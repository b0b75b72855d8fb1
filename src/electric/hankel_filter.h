// Digital linear filters for the Hankel transforms of 1-D direct-current modelling.
//
// What: ∫₀^∞ K(λ) J_ν(λ r) dλ ≈ (1/r) Σ_i K(b_i / r) W_i, ν = 0 or 1, for a kernel K that is
// smooth in ln λ and decays (or is bounded) at both ends.
//
// Which filters: Guptasarma, D. and Singh, B. (1997), "New digital linear filters for Hankel J0
// and J1 transforms", Geophysical Prospecting 45(5), 745–762,
// doi:10.1046/j.1365-2478.1997.500292.x: the 120-point J0 and the 140-point J1 filter (coefficients
// in hankel_filter_coefficients.cpp, published under CC BY 4.0, attribution kept there).
//
// Why these: on the layered-earth kernels of resistivity sounding (two-layer earth against the
// image series, contrasts 1:100 to 100:1, r/h from 0.1 to 400) they keep the relative error below
// 1e-6, where the 61/47-point pair of the same paper reaches 1e-3 over a conductive basement and
// Key's 201-point filter (2012) 7e-4 in J0. They are also short: 120 and 140 kernel values a
// distance.
//
// Where they fail: kernels that neither decay nor stay bounded (K ~ λ at large λ); subtract the
// half-space part first and transform only the remainder, as the sounding engine does.
#pragma once

#include <span>

namespace sarnoth::electric {

struct HankelFilterPoint {
  double base;    // b_i, dimensionless abscissa: λ = b_i / r
  double weight;  // W_i
};

// 120 points, b from 4.09e-9 to 235.4, ln-spacing 0.2082.
std::span<const HankelFilterPoint> guptasarmaSinghJ0();
// 140 points, b from 1.23e-8 to 20769, ln-spacing 0.2026.
std::span<const HankelFilterPoint> guptasarmaSinghJ1();

}  // namespace sarnoth::electric
