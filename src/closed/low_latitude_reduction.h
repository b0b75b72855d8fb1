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

// The call-backs, in order, hand over: the ΔT grid to reduce, the grid to write, a grid of the
// geomagnetic inclination over the area and one of the declination (the means of their data
// give I and D; a cancelled request leaves them to the component's dialog). The reduction is
// gravmag/filter_methods.h runLowLatitudePole; its parameters go through the components'
// dialog (closed/gm_filter_com.h).

// The component's work, given the four call-backs.
using LowLatitudeWork = std::function<Outcome(const LowLatitudeCallbacks& callbacks)>;
// Replaces the work (an empty one: the component is not available); returns the previous one.
LowLatitudeWork installLowLatitudeReduction(LowLatitudeWork work);

// Runs the component: our reduction unless another work was installed. A request left
// unanswered ends it quietly (success without a text); success after a run carries
// "重磁数据处理成功！". Without a work: a failure that says it is not available.
Outcome runLowLatitudeReduction(const LowLatitudeCallbacks& callbacks);

// Our work: the four requests, the dialog, the reduction.
Outcome lowLatitudeWork(const LowLatitudeCallbacks& callbacks);

}  // namespace sarnoth::closed
