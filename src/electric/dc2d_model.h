// The 2-D resistivity/IP section as the engines see it: the survey (electrodes along a profile,
// the arrays measured on them, the terrain) and the geoelectric model (a background half-space
// with polygonal regions of their own resistivity and chargeability).
//
// Coordinates: x along the profile (m), z elevation (m, up). On flat terrain the surface is
// z = 0, so underground points have z < 0. An electrode stands on the surface unless it has a
// depth (the buried current electrode of the charged-body device); its z is then the surface
// elevation at its x minus the depth.
//
// Apparent resistivity of an array A B M N (a missing electrode is remote):
//     ρa = ΔV / I · K,   1/K = G(A,M) − G(A,N) − G(B,M) + G(B,N)
// with the half-space Green's function of a point source at depth d_P seen at depth d_Q,
// horizontal distance s between them:
//     G(P,Q) = [1/r + 1/r'] / (4π),  r = √(s² + (d_P − d_Q)²),  r' = √(s² + (d_P + d_Q)²),
// which is 1/(2πs) for two surface electrodes. Distances are horizontal along the profile, as
// the field crew measures them, so terrain effects stay in ρa (the forward engine models them).
//
// Units: metres, Ω·m, chargeability in percent (0 ≤ η < 100).
#pragma once

#include <string>
#include <vector>

#include "workarea/null_value.h"

namespace sarnoth::electric {

// The ten devices of the 2-D tool, numbered as the files number them.
enum class Dc2dDevice : int {
  Charged = 1,           // "充电装置": A buried in the body, B and N remote; M moves
  Gradient = 2,          // "中间梯度装置": A, B fixed far apart; M N move between them
  PolePoleProfile = 3,   // "二极剖面装置": A M, B and N remote
  Combined = 4,          // "联合剖面装置": A M N and M N B, the far current electrode remote
  SymmetricProfile = 5,  // "对称四极剖面装置": A M N B
  DipoleProfile = 6,     // "偶极剖面装置": A B M N
  PolePoleSounding = 7,  // "二极测深装置": A M
  PoleDipoleSounding = 8,  // "三极测深装置": A M N, B remote
  SymmetricSounding = 9,   // "对称四极测深装置": A M N B
  DipoleSounding = 10,     // "偶极测深装置": A B M N
};
inline constexpr int kDc2dDevices = 10;
bool isDc2dDevice(int code);
// The text of the dialog's list ("偶极测深装置").
const char* dc2dDeviceText(Dc2dDevice d);
// The method's name in window titles: the device text with "装置" made "法" ("偶极测深法").
std::string dc2dMethodText(Dc2dDevice d);
// The two letters of the suffix family: "pm", "pg", "p2", "p3", "p4", "po", "s2", "s3", "s4", "so".
const char* dc2dSuffixStem(Dc2dDevice d);

struct XZ {
  double x = 0, z = 0;
  friend bool operator==(const XZ&, const XZ&) = default;
};

struct Dc2dElectrode {
  double x = 0;      // m along the profile
  double depth = 0;  // m below the surface; 0 on the surface
};

inline constexpr int kRemote2d = -1;

// One measurement: electrode indices (kRemote2d for a remote electrode) and the observations.
struct Dc2dDatum {
  int a = kRemote2d, b = kRemote2d, m = kRemote2d, n = kRemote2d;
  double rho = NULL_VALUE_D;  // observed ρa, Ω·m; NULL_VALUE where not observed
  double eta = NULL_VALUE_D;  // observed ηa, %; NULL_VALUE where not observed
};

struct Dc2dSurvey {
  Dc2dDevice device = Dc2dDevice::DipoleSounding;
  std::vector<Dc2dElectrode> electrodes;
  std::vector<Dc2dDatum> data;
  std::vector<XZ> terrain;  // surface points (x, elevation), ascending x; empty: flat at z = 0

  bool flat() const { return terrain.empty(); }
  // Elevation of the surface at x: linear between terrain points, constant beyond the ends.
  double surfaceAt(double x) const;
  XZ position(int electrode) const;
  // Extent of the electrodes along the profile.
  double xMin() const;
  double xMax() const;
  // The smallest distance between two electrodes along the profile (the unit spacing).
  double unitSpacing() const;
};

// 1/K of an array: the combination of Green's functions above, in 1/m.
double inverseGeometricFactor(const Dc2dSurvey& s, const Dc2dDatum& d);
// Where a datum is plotted in a pseudo-section: x at the centre of its electrodes and a
// pseudo-depth of half the distance between the centres of its current and potential
// electrodes (for arrays whose centres coincide, a quarter of the current spacing).
struct PseudoPosition {
  double x = 0, depth = 0;
};
PseudoPosition pseudoPosition(const Dc2dSurvey& s, const Dc2dDatum& d);
// "" when the datum's electrodes stand in the order its device needs, else the reason.
std::string checkArrayOrder(const Dc2dSurvey& s, const Dc2dDatum& d);

// A region of the section: a closed outline (first point not repeated) and its properties.
// rho ≤ 0 means "not given yet": the region exists but has no resistivity.
struct Dc2dRegion {
  std::vector<XZ> outline;
  double rho = 0;  // Ω·m
  double eta = 0;  // %
  bool hasProperties() const { return rho > 0; }
};

struct Dc2dModel {
  double rho0 = 100;  // background half-space, Ω·m
  double eta0 = 0;    // %
  std::vector<Dc2dRegion> regions;
  // The region holding a point (the last one drawn wins where regions overlap); -1 for the
  // background.
  int regionAt(XZ p) const;
};

// Point in polygon by the even-odd rule.
bool insidePolygon(const std::vector<XZ>& outline, XZ p);
// Twice the signed area of a polygon (positive anticlockwise).
double signedArea2(const std::vector<XZ>& outline);

}  // namespace sarnoth::electric
