// Around the 2-D magnetotelluric inversion: the four input files read and checked against each
// other into one setup, and the moving of the library's outputs into Prof_Dat\2DMT\ that the
// window (and the command line) do after the call:
//   1. Field.te, Field.tm, Field.tetm: each that has a length above 0 is copied over into the
//      target directory and the source deleted;
//   2. the non-empty lines of Iteration.log give the number of iterations n;
//   3. mt2dinvout.1 … mt2dinvout.n become Mt2DInvOut.01 … in the target, and Iteration.log
//      moves there too.
#pragma once

#include <string>

#include "electric/mt2d_files.h"
#include "electric/mt2d_inversion.h"

namespace sarnoth::electric {

// The setup of a run from its four files; the refusal names the file and what does not match.
MtRead<Mt2dInversionSetup> loadMt2dRun(const std::string& basicFile, const std::string& gridsFile,
                                       const std::string& modelFile, const std::string& pointFile);

// Steps 1 to 3; returns n (0 when the library left no Iteration.log).
int collectMt2dOutputs(const std::string& workingDirectory, const std::string& targetDirectory);

// The field file of a mode: "Field.te", "Field.tm", "Field.tetm".
std::string fieldFileName(MtMode mode);

}  // namespace sarnoth::electric
