// Demo soundings for the demo work area: for each of the five devices a forward file (a
// three-layer model with its spacings, parameter mode 2) and an inverse file (the same earth's
// curve with 3 % noise, a rough starting model), plus a position file for the five stations.
// Same seed, same numbers.
#pragma once

#include <string>

#include "workarea/interaction.h"

namespace sarnoth::electric {

// Writes Prof_Dat/demo_sound<d>.s<d>f, .s<d>i (d = 1..5) and demo_sound.pos under `workPath`
// (a work path with its trailing separator).
Outcome writeDemoSoundings(const std::string& workPath, unsigned seed = 20261121);

}  // namespace sarnoth::electric
