// 2DMT.dll: the 2-D magnetotelluric inversion that frmWT2DMTInversion launches (entry _AA@32:
// four texts, each with its byte length, in the order basic file, grid file, model file, point
// file). Our implementation is electric/mt2d_inversion.h (Occam) over electric/mt2d_forward.h
// (finite differences, reciprocity sensitivities); the file layouts are electric/mt2d_files.h.
//
// Call as the window makes it: the four full paths of *.mt1, *.mt2, *.mt3, *.mt4 and the
// library's working directory, which stands in for the process's current directory where the
// library wrote its outputs. The call blocks until the inversion ends; `progress` counts
// iterations, and its pump keeps the window painted (a stop asked there ends the run after the
// iteration in hand, whose files are kept).
//
// What the library does:
//   1. reads the four files and checks them against each other: the six items of the basic
//      file against the counts of the grid, model and point files, the mode against the modes
//      the point file holds, every frequency > 0, every site on the mesh and on a node of its
//      own. Any refusal returns its message and writes nothing;
//   2. clears its own earlier outputs from the working directory and writes there
//      Field.te, Field.tm or Field.tetm (the data and the starting model's responses, by the
//      mode inverted), then per iteration a line of Iteration.log and mt2dinvout.N (N from 1,
//      no leading zero), laid out as electric/mt2d_files.h describes.
// The window then moves the outputs into Prof_Dat\2DMT\ (electric/mt2d_run.h).
#pragma once

#include <string>

#include "workarea/progress.h"

namespace sarnoth::closed {

struct Mt2dCallResult {
  bool ok = false;      // the inversion ran (outputs written)
  std::string message;  // the refusal, or how the run ended
  int iterations = 0;
};

// _AA@32.
Mt2dCallResult mt2dInverse(const std::string& basicFile, const std::string& gridsFile,
                           const std::string& modelFile, const std::string& pointFile,
                           const std::string& workingDirectory, Progress& progress);

// The library's name of an iteration's output in its working directory: "mt2dinvout.3".
std::string mt2dLibraryOutputName(int iteration);

}  // namespace sarnoth::closed
