// Sections for plotting: pseudo-sections of measured or computed data and model sections,
// as values at points of a vertical profile, and the contoured, colour-filled chart of one of
// their value columns (display/chart_contour.h).
//
// Section data file (".sec", GBK text, items separated by commas and/or blanks), written by the
// automatic inversion and the topographic correction and read by the section plotting window:
//   line 1   "二维断面数据"
//   line 2   the title
//   line 3   DX, X0, kind: the station interval and the profile coordinate of station 0 (m),
//            kind 1 a pseudo-section, 2 a model section
//   line 4   C, the number of value columns (1..16)
//   line 5   the C column names, separated by commas
//   line 6   N, the number of points; then N lines "x, z, v1 … vC": x the profile coordinate (m),
//            z the elevation (m; on flat ground the surface is 0 and z the negative depth);
//            -1E+38 for a missing value
//   then     NT and NT lines "x, elevation" of the surface (NT = 0: flat)
//
// The chart: x along the profile with the station numbers (X0 + station·DX) as tick labels, y
// the elevation (labelled as depth on flat ground), the values colour-filled in the bands of a
// linear or logarithmic colour bar, the band boundaries drawn as labelled contour lines, the
// surface and the data points on top. The field is linear on the Delaunay triangles of the
// points (on a log scale, in log10), so the picture spans the points' convex hull.
#pragma once

#include <string>
#include <vector>

#include "display/chart.h"
#include "electric/dc2d_model.h"

namespace sarnoth::electric {

inline constexpr const char* kSectionTag = "二维断面数据";
inline constexpr int kMaxSectionColumns = 16;

struct SectionData {
  std::string title;
  double dx = 1, x0 = 0;  // station axis
  int kind = 1;           // 1 pseudo-section, 2 model
  std::vector<double> x, z;
  std::vector<std::string> names;           // one per value column
  std::vector<std::vector<double>> values;  // [column][point]
  std::vector<XZ> terrain;                  // empty: flat at 0

  std::size_t points() const { return x.size(); }
  int columns() const { return static_cast<int>(names.size()); }
};

bool parseSectionFile(const std::string& text, SectionData& data, std::string& error);
bool readSectionFile(const std::string& path, SectionData& data, std::string& error);
std::string formatSectionFile(const SectionData& data);
bool writeSectionFile(const std::string& path, const SectionData& data);

struct SectionStyle {
  int column = 0;
  bool log = true;       // logarithmic colour bar and levels (values ≤ 0 left out)
  int levels = 10;       // about this many contour levels
  bool filled = true;    // colour-filled bands
  bool contours = true;  // contour lines
  bool labels = true;    // their labels
  bool colourBar = true;
  bool points = true;    // the data points
  bool stations = true;  // station numbers on the x axis (else metres)
};

// The levels a style gives for a column: round values spanning the column's range.
std::vector<double> sectionLevels(const SectionData& data, const SectionStyle& style);
// The chart; a chart without series when the column has fewer than three usable points.
chart::Chart sectionPlot(const SectionData& data, const SectionStyle& style);

// The pseudo-section of a survey's observed data: ρa (and ηa where observed) at the
// pseudo-positions, below the surface.
SectionData measuredSection(const Dc2dSurvey& survey, const std::string& title, double dx,
                            double x0);
// A section from a file by its suffix: ".sec" as above, the measured sections ".hd2", ".hd3",
// ".hd4", ".hdo" and the topographic-correction data ".top" as pseudo-sections of their data.
bool readAnySection(const std::string& path, SectionData& data, std::string& error);

}  // namespace sarnoth::electric
