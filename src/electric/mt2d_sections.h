// Pseudo-section and section files of the 2-D magnetotelluric inversion: the text files (*.xyz)
// that the window's graph menus write from the field data and from an iteration's result, and
// the picture (PNG, same name) written beside each.
//
// Lines "x   y   v": three values in the form "##0.000" (three decimals, at least one integer
// digit) separated by three blanks, one line per datum or cell:
//   pseudo-sections   x the site's profile distance, y = log10 of the frequency (high
//                     frequencies, the shallow part, above), v = log10 ρa (Ω·m) or the phase
//                     (degrees); values not measured are left out;
//   resistivity       x the cell centre's profile distance, y = −depth of the cell centre,
//   profile           v = ρ (Ω·m, ten raised to the result's log10 value); every earth cell.
// Distances and depths are in metres or kilometres as the window's length unit says.
//
// The picture: the same values colour-graded over distance and log10 f (pseudo-sections, 16
// levels between the rounded extremes) or over distance and depth (the profile, coloured by
// log10 ρ, red conductive to blue resistive; the frame spans the sites and reaches the largest
// Bostick depth 356 √(ρa T) m of the lowest frequency, but no deeper than the line of sites is
// long nor than the mesh).
#pragma once

#include <string>
#include <vector>

#include "electric/mt2d_files.h"
#include "electric/mt2d_forward.h"

namespace sarnoth::electric {

enum class LengthUnit { Metre, Kilometre };

struct XyzLine {
  double x = 0, y = 0, v = 0;
};

// "##0.000": three decimals, "-0.000" written as "0.000".
std::string formatSectionValue(double v);
// The three values separated by three blanks.
std::string formatXyzLine(const XyzLine& l);

std::vector<XyzLine> pseudoSectionLines(const std::vector<double>& sitePositions,
                                        const std::vector<double>& frequencies,
                                        const MtCurves& curves, bool phase, LengthUnit unit);
std::vector<XyzLine> modelProfileLines(const Mt2dResult& r, LengthUnit unit);

// The picture's name beside a text file: the suffix replaced by ".png".
std::string pictureBeside(const std::string& xyzPath);

// The window's jobs: the text file and the picture beside it. False when the text file cannot
// be written (a picture that cannot be written is not an error of the job).
bool writePseudoSection(const std::string& path, const std::vector<double>& sitePositions,
                        const std::vector<double>& frequencies, const MtCurves& curves, bool phase,
                        LengthUnit unit, const std::string& title);
bool writeModelProfile(const std::string& path, const Mt2dResult& r, LengthUnit unit,
                       const std::string& title);

// Titles of the pictures: "TE 视电阻率拟断面", "反演后 TM 相位拟断面", "反演电阻率剖面 (第 3
// 次迭代)".
std::string sectionTitle(Polarisation mode, bool phase, bool inverted);
std::string profileTitle(int iteration);

}  // namespace sarnoth::electric
