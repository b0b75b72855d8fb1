// The files of the 2-D gravity and magnetic modeller, all under the work area's Prof_Dat\:
// observed profiles (*.gm2), section models (*.mo2), colour scales (*.clr), print parameters
// (*.set) and the exported data (*.dat). The full description with examples stands in
// resources/help/gm2d_files.txt.
//
// Text files, GBK at the boundary (UTF-8 accepted on reading), CR LF written. The first line is a
// 12-character magic whose characters 7 to 12 name the kind, as every file of the system does:
//   *.gm2  "#SRNTHGMOBS#"   *.mo2  "#SRNTHGMMOD#"   *.clr  "#SRNTHGMCLR#"   *.set  "#SRNTHGMSET#"
// Then lines "KEYWORD values…" (blank-separated; a line starting with ';' is a comment; keywords
// are case-blind). Counts are checked against the lines that follow before anything is kept, and
// a file of another kind, a truncated file or a malformed number is refused with a message that
// names the line.
//
// *.gm2: TITLE text; ORIGIN easting northing azimuth (the map place of x = 0 and the direction of
// the profile, degrees from north: needed to take the elevations from a terrain grid); COMPONENT
// DT|ZA|HAX (the magnetic reading: total-field anomaly, vertical, horizontal along the profile);
// COLUMNS X H [G] [T] (station x m, elevation m, gravity mGal, magnetic nT, in any order, X and H
// required); DATA n followed by n lines of values; -1E+38 marks a missing reading.
//
// *.mo2: TITLE; FIELD intensity inclination declination (nT, degrees); AZIMUTH degrees;
// COMPONENT; BACKGROUND density susceptibility; TREND G|T x0 c0 c1 … [INVERT]; BODIES n and n
// blocks of BODY name / DENSITY value min max invert / SUSCEPTIBILITY value min max invert /
// REMANENCE intensity inclination declination min max invert / STRIKE half-length (0 infinite) /
// COLOUR r g b / MOVE dx dz / CHOSEN 0|1 / LABEL x z (optional) / VERTICES n and n lines "x z free"
// (free: 0 fixed, 1 x, 2 z, 3 both); END closes the file.
//
// *.clr: PROPERTY DENSITY|SUSCEPTIBILITY; LEVELS n and n lines "value r g b" in ascending value.
// *.set: TITLE; ORIENTATION LANDSCAPE|PORTRAIT; MARGINS left top right bottom (mm); PROFILE
// fraction of the drawing for the profile panel; COLOUR 0|1; FONT points.
// *.dat: the system's ASCII scatter file ("#SRNTHSCATA#", "C-Data"), one point per station.
#pragma once

#include <string>
#include <vector>

#include "gravmag/section_model.h"
#include "workarea/interaction.h"

namespace sarnoth {
struct Grid;
}

namespace sarnoth::gm2d {

inline constexpr const char* kObsMagic = "#SRNTHGMOBS#";
inline constexpr const char* kModelMagic = "#SRNTHGMMOD#";
inline constexpr const char* kClrMagic = "#SRNTHGMCLR#";
inline constexpr const char* kSetMagic = "#SRNTHGMSET#";

inline constexpr const char* kMsgNotObserved = "该文件不是二维重磁观测数据文件(*.gm2)。";
inline constexpr const char* kMsgNotModel = "该文件不是二维重磁模型数据文件(*.mo2)。";
inline constexpr const char* kMsgNotColour = "该文件不是色标数据文件(*.clr)。";
inline constexpr const char* kMsgNotPrintSet = "该文件不是打印参数数据文件(*.set)。";
inline constexpr const char* kMsgCannotOpen = "打开数据文件错误：";
inline constexpr const char* kMsgCannotWrite = "保存数据文件错误：";

// A colour scale for filling bodies by a property.
struct ColourScale {
  bool bySusceptibility = false;  // else by density
  std::vector<double> values;     // ascending
  std::vector<Rgb> colours;
  Rgb at(double v) const;
  // The default: blue through green and yellow to red over densities 2.0–3.4 g/cm³.
  static ColourScale defaultDensity();
};

struct PrintSettings {
  std::string title = "二维重磁剖面反演";
  bool landscape = true;
  double margins[4] = {20, 20, 20, 20};  // mm: left, top, right, bottom
  double profileFraction = 0.4;
  bool colour = true;
  double fontPoints = 9;
};

Outcome readObserved(const std::string& path, Profile& out);
Outcome writeObserved(const std::string& path, const Profile& p);
Outcome readModel(const std::string& path, Model& out);
Outcome writeModel(const std::string& path, const Model& m);
Outcome readColourScale(const std::string& path, ColourScale& out);
Outcome writeColourScale(const std::string& path, const ColourScale& s);
Outcome readPrintSettings(const std::string& path, PrintSettings& out);
Outcome writePrintSettings(const std::string& path, const PrintSettings& s);

// The text bodies, for the clipboard and the tests.
std::string modelText(const Model& m);
Outcome parseModel(const std::string& text, Model& out);

// Takes the station elevations from a terrain grid: each station's map place is the profile's
// origin plus x along the azimuth; the grid is interpolated bilinearly (a rotated grid is turned
// back first). Refused when the profile has no map place or a station falls off the grid or on
// an empty node; the profile is then unchanged.
Outcome applyTerrain(Profile& p, const Grid& terrain);

// Exports, as ASCII scatter files: the observed data (X, H, G, T and, on the map, E and N),
// and the calculated data (X, H, then per field observed, computed, residual and trend, then one
// column per body).
Outcome writeObservedDat(const std::string& path, const Profile& p);
Outcome writeCalculatedDat(const std::string& path, const Model& m, const Profile& p,
                           const std::vector<FieldKind>& fields);

}  // namespace sarnoth::gm2d
