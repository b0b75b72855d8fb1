// Demo files of the 2-D gravity and magnetic modeller for the demo work area: an east-west
// profile of 201 stations across the demo's dense intrusion, with Bouguer gravity and ΔT computed
// from a three-body section (an intrusion, a sedimentary basin and a dipping magnetic dyke) plus a
// little noise, the stations on the terrain of a grid; a starting model with the intrusion's
// base misplaced, ready for an inversion; the true model; a colour scale and print parameters.
//
//   Prof_Dat\示范剖面.gm2  示范初始模型.mo2  示范模型.mo2  示范色标.clr  示范打印参数.set
//   Prof_Dat\示范剖面地形.grd (the terrain under the stations, where the modeller looks for it)
#pragma once

#include <string>

#include "workarea/interaction.h"

namespace sarnoth::gm2d {

inline constexpr const char* kDemoProfile = "示范剖面.gm2";
inline constexpr const char* kDemoStartModel = "示范初始模型.mo2";
inline constexpr const char* kDemoTrueModel = "示范模型.mo2";
inline constexpr const char* kDemoColours = "示范色标.clr";
inline constexpr const char* kDemoPrintSet = "示范打印参数.set";
inline constexpr const char* kDemoTerrain = "示范剖面地形.grd";

// Writes the files into the work area `workPath` (with its trailing separator). Same seed, same
// numbers.
Outcome writeGm2dDemo(const std::string& workPath, unsigned seed = 20261121);

}  // namespace sarnoth::gm2d
