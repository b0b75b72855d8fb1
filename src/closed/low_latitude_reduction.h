// The closed low-latitude reduction-to-the-pole component ("低纬度磁场化极").
//
// The main window creates the component, hands it four routines of its own as call-backs and runs
// it. Each call-back asks for a grid file with frmSelFiles, in the modes 100, 200, 100 and 100
// in the order they are handed over, and passes back gWorkPath + "Grid_dat\" + the picked name,
// or "" when the picker was cancelled.
#pragma once

#include <array>
#include <functional>
#include <string>

#include "workarea/interaction.h"

namespace sarnoth::closed {

inline constexpr const char* kLowLatitudeName = "低纬度磁场化极组件";

// The frmSelFiles mode each call-back uses, in the order they are handed over.
inline constexpr std::array<int, 4> kLowLatitudeCallbackModes = {100, 200, 100, 100};

using GridFileCallback = std::function<std::string()>;
using LowLatitudeCallbacks = std::array<GridFileCallback, 4>;

// The component's work, given the four call-backs. Installed where its implementation lands.
using LowLatitudeWork = std::function<Outcome(const LowLatitudeCallbacks& callbacks)>;
void installLowLatitudeReduction(LowLatitudeWork work);

// Runs the component. Without an implementation: a failure that says it is not yet available.
Outcome runLowLatitudeReduction(const LowLatitudeCallbacks& callbacks);

}  // namespace sarnoth::closed
