// Demo files of the 2-D resistivity/IP tool for the demo work area, of two devices:
//   Prof_Dat/demo_dc2d.so3   dipole-dipole sounding, forward, ρ and η, flat: 30 electrodes 10 m
//                            apart, n = 1..6, a polarisable conductive block and a resistive
//                            dyke in a 200 Ω·m half-space
//   Prof_Dat/demo_dc2d.so7   the same survey as inverse data: the block model's response
//                            (computed on a coarse mesh) with 3 % noise in ρa and 0.3 % in ηa
//   Prof_Dat/demo_dc2d.s42   symmetric four-pole sounding, forward, ρ, relief: a hill over a
//                            conductive layer
// Same seed, same numbers.
#pragma once

#include <string>

#include "electric/dc2d_file.h"
#include "workarea/interaction.h"

namespace sarnoth::electric {

// The demo's dipole-dipole forward file (the model and the arrays, no observations).
Dc2dFile demoDipoleFile();
// Writes the three files under `workPath` (a work path with its trailing separator).
Outcome writeDemoDc2d(const std::string& workPath, unsigned seed = 20261121);

}  // namespace sarnoth::electric
