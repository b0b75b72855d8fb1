// The measured-section files of the automatic 2-D inversion and of the topographic correction,
// as the work area's imports bring them into Prof_Dat\. GBK text; items separated by commas
// and/or blanks. A copy of this description lies in resources/help/dc2d_field_files.txt.
//
// Measured sections (one array each; the first line is the tag the import checks):
//   ".hd2" "二极实测数据"      pole-pole          data lines  A M      ρa [ηa]
//   ".hd3" "三极实测数据"      pole-dipole        data lines  A M N    ρa [ηa]
//   ".hd4" "对称四极实测数据"  Wenner/Schlumberger data lines  A M N B  ρa [ηa]
//   ".hdo" "偶极偶极实测数据"  dipole-dipole      data lines  A B M N  ρa [ηa]
//   line 2   the profile's name
//   line 3   DX, X0: the station interval (m) and the profile coordinate of station 0 (m)
//   line 4   N, the number of data lines; then N data lines, electrode positions as station
//            numbers (fractions allowed), ρa in Ω·m and, when every line has it, ηa in %
//   optional last line "iterations, relative error of the data (%)" for the inversion.
//   The remote electrodes (B and N of pole-pole, B of pole-dipole) are not written.
//   These are the 2-D tool's sounding devices 7–10 (dc2d_model.h), read by its own parser.
//
// Terrain ".ter", first line "地形数据": line 2 NT, then NT lines "x, elevation" — x the profile
//   coordinate in metres (the same axis as X0 + station·DX), ascending; elevation in metres.
//
// Topographic-correction data ".top", first line "二维电阻率法地形改正数据文件":
//   line 2   the device, 1..10 as the 2-D tool numbers them (dc2d_model.h)
//   then the body of a 2-D inverse data file on relief (dc2d_file.h): the name, DX X0, the
//   device's fixed electrodes, N and the data lines with observed ρa [ηa], NT and NT lines
//   "station, elevation".
//
// Refused with nothing loaded: a first line other than the tag ("您选择的数据文件格式不正确，首行
// 应为：" and the tag), and everything the 2-D parser refuses, with the line numbers of the file.
#pragma once

#include <string>
#include <vector>

#include "electric/dc2d_file.h"

namespace sarnoth::electric {

struct MeasuredKind {
  const char* suffix;  // ".hd2"
  const char* tag;     // "二极实测数据"
  Dc2dDevice device;
  const char* text;  // "二极装置"
};
// The four measured-section kinds in menu order.
const std::vector<MeasuredKind>& measuredKinds();
// The kind of a file name by its suffix (case-insensitive); nullptr for another suffix.
const MeasuredKind* measuredKindOf(const std::string& path);

inline constexpr const char* kTerrainTag = "地形数据";
inline constexpr const char* kTopoTag = "二维电阻率法地形改正数据文件";

// A measured section as a 2-D inverse data file (flat, parameter mode from the data lines).
bool parseMeasuredFile(const std::string& text, const MeasuredKind& kind, Dc2dFile& file,
                       std::string& error);
bool readMeasuredFile(const std::string& path, Dc2dFile& file, std::string& error);
std::string formatMeasuredFile(const Dc2dFile& file);  // the device must be one of 7..10

bool parseTerrainFile(const std::string& text, std::vector<XZ>& terrain, std::string& error);
bool readTerrainFile(const std::string& path, std::vector<XZ>& terrain, std::string& error);
std::string formatTerrainFile(const std::vector<XZ>& terrain);

// A topographic-correction file as a 2-D inverse data file on relief.
bool parseTopoFile(const std::string& text, Dc2dFile& file, std::string& error);
bool readTopoFile(const std::string& path, Dc2dFile& file, std::string& error);
std::string formatTopoFile(const Dc2dFile& file);

}  // namespace sarnoth::electric
