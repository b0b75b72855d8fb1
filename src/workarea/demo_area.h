// The bundled demo work area: a seeded, realistic survey to try every tool on.
//
// Stream sediments (a few thousand samples on a jittered 350 m net over 20 × 20 km, four
// stratigraphic units, twelve elements with log-normal backgrounds by unit, an epithermal
// Au-Ag-As-Sb-Hg anomaly and a porphyry Cu-Mo-W-Sn-Bi anomaly with a Pb-Zn halo, about 1 % of
// values missing as -1E+38), Bouguer gravity (a regional trend with a dense body and a basin),
// and ΔT magnetics along east-west lines (an induced dipole anomaly), and a resistivity/IP
// sounding of each device in Prof_Dat (electric/sounding_demo.h), and a 2-D magnetotelluric
// inversion set with its measurements (electric/mt2d_demo.h). Same seed, same numbers.
#pragma once

#include <string>

#include "workarea/interaction.h"

namespace sarnoth {

struct DemoSummary {
  int sediments = 0;
  int gravity = 0;
  int magnetic = 0;
};

inline constexpr const char* kDemoSedimentTable = "水系沉积物测量";
inline constexpr const char* kDemoGravityTable = "布格重力异常";
inline constexpr const char* kDemoMagneticTable = "航磁ΔT";

// Makes (or refreshes) the demo in `dir`: an empty work area plus the three registered tables.
Outcome createDemoWorkArea(const std::string& dir, unsigned seed = 20261121,
                           DemoSummary* summary = nullptr);

}  // namespace sarnoth
