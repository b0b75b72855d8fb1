// 1-D direct-current forward modelling: apparent resistivity and apparent chargeability of a
// horizontally layered earth for any collinear array of surface electrodes.
//
// What is computed
//   The potential of a point current I on the surface of n layers (thicknesses h_1..h_{n-1},
//   resistivities ρ_1..ρ_n, the last a half-space) at a distance r is
//       V(r) = I/(2π) · G(r),   G(r) = ∫₀^∞ T(λ) J₀(λr) dλ            (Koefoed 1979, ch. 2)
//   with the resistivity transform T from Pekeris' recurrence, bottom up:
//       T_n = ρ_n,  T_i = (T_{i+1} + ρ_i t_i) / (1 + T_{i+1} t_i / ρ_i),  t_i = tanh(λ h_i),  T =
//       T_1.
//   An array A, B (current) and M, N (potential) gives
//       ρa = [G(AM) − G(BM) − G(AN) + G(BN)] / [1/AM − 1/BM − 1/AN + 1/BN]
//   (a remote electrode drops its terms). Where MN shrinks to nothing (the "MN=0" devices) the
//   potential difference becomes the field along the line, and G(r) becomes
//       F(r) = −dG/dr = ∫₀^∞ T(λ) λ J₁(λr) dλ,  with 1/r → 1/r² and a sign for the side:
//       ρa = Σ_S ±sgn(x_M − x_S) F(r_S) / Σ_S ±sgn(x_M − x_S) / r_S².
//
// How
//   The integrals are evaluated by digital linear filtering (hankel_filter.h: Guptasarma & Singh
//   1997, 120-point J0 and 140-point J1) on the remainder T(λ) − ρ_1, which vanishes
//   exponentially at large λ; the half-space part ρ_1/r (or ρ_1/r²) is added exactly. Distances
//   shared by several electrode pairs or data are transformed once (SoundingPlan).
//
//   Apparent chargeability follows Seigel (1959), "Mathematical formulation and type curves for
//   induced polarization", Geophysics 24(3), 547–565: a polarisable layer behaves as if its
//   resistivity were ρ* = ρ / (1 − η), and
//       ηa = 1 − ρa(ρ_1..ρ_n) / ρa(ρ*_1..ρ*_n).
//   A uniformly polarisable earth gives ηa = η exactly; for small η this is the sensitivity sum
//   ηa ≈ Σ (∂ ln ρa / ∂ ln ρ_i) η_i.
//
//   Sensitivities ∂ ln ρa / ∂ ln ρ_i and ∂ ln ρa / ∂ ln h_i are exact derivatives of the filtered
//   sum (the recurrence differentiated bottom-up, then chained top-down), at the cost of about
//   two forward evaluations for all parameters together.
//
// Accuracy
//   Half-space: exact to rounding (the filter sees a zero kernel). Layered earth: relative error
//   below 1e-6 for contrasts up to 1:1000 against the image series of a two-layer earth and a
//   direct quadrature of the Hankel integrals (see the tests), for r/h_1 from 0.05 to 1000.
//   Differences G(L−l) − G(L+l) lose digits as MN/AB shrinks: with MN/AB = 1/100 expect ~1e-5.
//
// Where it fails
//   A geometry whose denominator is zero (M midway between A and B with N remote) has no
//   apparent resistivity; SoundingPlan refuses it.
//   Electrodes that coincide are refused. Chargeability must stay below 100 %.
//
// Units
//   Lengths in metres, resistivity in Ω·m, chargeability in percent (0 ≤ η < 100), as the
//   sounding files and the display carry them.
#pragma once

#include <Eigen/Dense>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace sarnoth::electric {

// A horizontally layered earth. The last layer is the half-space.
struct LayeredEarth {
  std::vector<double> thickness;      // m, one fewer than layers, each > 0
  std::vector<double> resistivity;    // Ω·m, each > 0
  std::vector<double> chargeability;  // %, one per layer in [0, 100), or empty (no polarisation)

  std::size_t layers() const { return resistivity.size(); }
  bool polarisable() const { return !chargeability.empty(); }
  // Depth of the bottom of layer i (0-based), m.
  double depthOf(std::size_t i) const;
};

// "" when the earth is fit to model, else the reason (a resistivity ≤ 0, a thickness ≤ 0, …).
std::string validateEarth(const LayeredEarth& earth);

// Electrode positions along one surface line, metres. A remote electrode is kRemote. M == N
// stands for the field measured at M (a potential dipole shrunk to nothing).
inline constexpr double kRemote = std::numeric_limits<double>::infinity();
struct Quadripole {
  double a = 0;
  double b = kRemote;
  double m = 0;
  double n = kRemote;
};

// The five sounding devices of the sounding tool, numbered as the files number them.
enum class SoundDevice : int {
  PolePole = 1,     // "二极装置": A, M; B and N remote. Spacing AM.
  SymmetricMN = 2,  // "对称四极装置(MN>0)": AMNB about one centre. Spacings AB/2, MN/2.
  Symmetric = 3,    // "对称四极装置(MN=0)": ideal Schlumberger. Spacing AB/2.
  DipoleMN = 4,     // "偶极装置(MN>0)": axial dipole-dipole A B M N. Spacings OO', AB/2, MN/2.
  DipoleField = 5,  // "偶极装置(MN=0)": the same with the field at O'. Spacings OO', AB/2.
};
bool isSoundDevice(int code);
// The device's name as the dialog and the window titles write it.
const char* soundDeviceText(SoundDevice d);

// One sounding spacing. `r` is the distance the curve is plotted against: AM (pole-pole),
// AB/2 (symmetric), OO' between the dipole centres (dipole-dipole).
struct Spacing {
  double r = 0;
  double ab2 = 0;  // the current dipole's half length (devices 4 and 5)
  double mn2 = 0;  // the potential dipole's half length (devices 2 and 4)
};
// How many numbers a spacing takes in a file: 1, 2, 1, 3, 2 for devices 1..5.
int spacingColumns(SoundDevice d);
// The electrodes of a spacing: pole-pole A=0, M=r; symmetric A=−r, B=r, M=−mn2, N=mn2 (M=N=0
// for device 3); dipole A=−ab2, B=ab2, M=r−mn2, N=r+mn2 (M=N=r for device 5).
Quadripole electrodesOf(SoundDevice d, const Spacing& s);
// "" when the spacing is valid for the device (finite, positive, electrodes apart), else why.
std::string validateSpacing(SoundDevice d, const Spacing& s);

// The transform work of a set of arrays, prepared once and reused for many earths (an inversion
// evaluates the same arrays hundreds of times). Throws std::invalid_argument on a geometry
// without apparent resistivity.
class SoundingPlan {
 public:
  explicit SoundingPlan(std::span<const Quadripole> arrays);
  SoundingPlan(SoundDevice d, std::span<const Spacing> spacings);

  std::size_t size() const { return data_.size(); }

  // Apparent resistivities, Ω·m.
  std::vector<double> apparentResistivity(const LayeredEarth& earth) const;
  // The same with the sensitivities: row j holds ∂ ln ρa_j / ∂ ln ρ_i (first n columns) and
  // ∂ ln ρa_j / ∂ ln h_i (the n−1 columns after).
  std::vector<double> apparentResistivity(const LayeredEarth& earth,
                                          Eigen::MatrixXd& jacobian) const;

 private:
  struct Term {
    std::size_t transform;  // index into transforms_
    double coefficient;     // ±1 (summed where electrode pairs share a distance)
  };
  struct Datum {
    std::vector<Term> terms;
    double geometry = 0;  // Σ coefficient / r^(ν+1)
  };
  struct Transform {
    double r;
    int order;  // 0: potential (J0), 1: field (J1)
  };
  std::size_t transformOf(double r, int order);
  void addArray(const Quadripole& q);

  std::vector<Transform> transforms_;
  std::vector<Datum> data_;
};

// Apparent resistivity and, for a polarisable earth, apparent chargeability of a sounding.
struct SoundingResponse {
  std::vector<double> rho;  // Ω·m
  std::vector<double> eta;  // %, empty when the earth is not polarisable
};
SoundingResponse soundingResponse(const LayeredEarth& earth, const SoundingPlan& plan);
SoundingResponse soundingResponse(const LayeredEarth& earth, SoundDevice d,
                                  std::span<const Spacing> spacings);
// Apparent chargeability alone by Seigel's rule, % (the earth must be polarisable). With
// `jacobian`, row j holds ∂ηa_j / ∂η_i (both in %).
std::vector<double> apparentChargeability(const LayeredEarth& earth, const SoundingPlan& plan,
                                          Eigen::MatrixXd* jacobian = nullptr);

// One array alone, for callers outside the sounding tool (a 2-D section's check against 1-D).
double apparentResistivity(const LayeredEarth& earth, const Quadripole& q);

}  // namespace sarnoth::electric
