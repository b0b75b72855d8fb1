// Colour-graded pictures of sections: a value over (profile distance, depth-like axis) drawn as
// a graded image inside the frame of a chart (display/chart.h, with its axes, ticks and
// captions), a colour bar with the level values beside it, written as PNG. Pseudo-sections of
// apparent resistivity and phase and inverted resistivity sections of the electrical methods
// use it.
//
// The section is a function of the two axis values that returns NaN where it has no value;
// two ready-made ones cover the usual cases: cells of a rectilinear mesh (piecewise constant)
// and values at the nodes of a rectilinear lattice (bilinear inside each lattice cell; a
// lattice cell with a missing corner takes the nearest of its valid corners, and none gives no
// value). Each pixel centre inside the frame is sampled once and coloured by the level it falls
// in: `levels` equal intervals between vmin and vmax, coloured along `ramp` from low to high (a
// value below vmin takes the first colour, above vmax the last). Pixels with no value stay white.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "display/chart.h"
#include "display/chart_image.h"

namespace sarnoth::display {

using SectionSampler = std::function<double(double x, double y)>;

struct SectionPlot {
  std::string title;
  std::string xLabel, yLabel, valueLabel;
  double xlo = 0, xhi = 1, ylo = 0, yhi = 1;  // the frame, axis units
  bool yReversed = false;                     // values grow downwards (depth)
  SectionSampler value;
  double vmin = 0, vmax = 1;
  int levels = 16;
  std::vector<chart::Rgb> ramp;  // low to high; empty: blue to red
  int width = 960, height = 540;
};

// Cells: edges along x (nx + 1) and y (ny + 1), values row by row (ny rows of nx), NaN for none.
SectionSampler cellSampler(std::vector<double> xEdges, std::vector<double> yEdges,
                           std::vector<double> values);
// Lattice nodes: coordinates along x (nx) and y (ny), each rising, values row by row (ny rows of
// nx), NaN where missing. Outside the lattice there is no value.
SectionSampler latticeSampler(std::vector<double> x, std::vector<double> y,
                              std::vector<double> values);

// The colour of a value: its level along the ramp.
chart::Rgb sectionColour(const SectionPlot& p, double v);
// The picture, section and colour bar side by side.
chart::Image renderSection(const SectionPlot& p);
// Writes renderSection as PNG; false when the file cannot be written.
bool writeSectionPng(const SectionPlot& p, const std::string& path);
// A PNG of any rendered picture.
bool writeImagePng(const chart::Image& img, const std::string& path);

// The ramp that electrical sections use: dark red (conductive) through yellow and green to dark
// blue (resistive).
std::vector<chart::Rgb> resistivityRamp();

}  // namespace sarnoth::display
