// Synthetic fractal samples for the fractal tests: fractional Brownian profiles and surfaces of a
// chosen Hurst exponent H as randomised Weierstrass–Mandelbrot sums (Berry & Lewis 1980, Proc. R.
// Soc. Lond. A 370, 459–484; for surfaces Ausloos & Berman 1985, Proc. R. Soc. Lond. A 400,
// 331–350): Σ γ^(−kH) cos(2π γ^k u / L + φ_k) over frequencies γ^k / L from one cycle over the
// sample up to twenty cycles a node, u the position along one of several directions. Evaluated
// at the nodes, so that no spectrum is cut at the grid's Nyquist frequency and the increments
// scale as h^H down to one node (a cut spectrum would make the small lags too smooth). Seeded:
// the same arguments give the same numbers.
#pragma once

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace sarnoth::test {

inline constexpr double kWmGamma = 1.5;

inline int wmTerms(int n) {
  return static_cast<int>(std::ceil(std::log(20.0 * n) / std::log(kWmGamma)));
}

inline std::vector<float> fbmProfile(int n, double hurst, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> phase(0, 2 * std::numbers::pi);
  std::vector<double> acc(static_cast<std::size_t>(n), 0.0);
  for (int k = 0; k <= wmTerms(n); ++k) {
    const double f = 2 * std::numbers::pi * std::pow(kWmGamma, k) / n;
    const double amp = std::pow(kWmGamma, -k * hurst), ph = phase(rng);
    for (int i = 0; i < n; ++i) acc[static_cast<std::size_t>(i)] += amp * std::cos(f * i + ph);
  }
  return std::vector<float>(acc.begin(), acc.end());
}

// n × n nodes, row-major; twelve directions turned by a random angle.
inline std::vector<float> fbmSurface(int n, double hurst, unsigned seed) {
  constexpr int kDirections = 12;
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> phase(0, 2 * std::numbers::pi);
  const std::size_t N = static_cast<std::size_t>(n);
  std::vector<double> acc(N * N, 0.0);
  const double turn = phase(rng);
  for (int m = 0; m < kDirections; ++m) {
    const double a = turn + std::numbers::pi * m / kDirections;
    const double ca = std::cos(a), sa = std::sin(a);
    for (int k = 0; k <= wmTerms(n); ++k) {
      const double f = 2 * std::numbers::pi * std::pow(kWmGamma, k) / n;
      const double amp = std::pow(kWmGamma, -k * hurst), ph = phase(rng);
      for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j < N; ++j)
          acc[i * N + j] +=
              amp * std::cos(f * (static_cast<double>(j) * ca + static_cast<double>(i) * sa) + ph);
    }
  }
  return std::vector<float>(acc.begin(), acc.end());
}

}  // namespace sarnoth::test
