// Files of the 2-D resistivity/IP tool in the work area (Prof_Dat\): the data files of the ten
// devices (forward and inverse, flat or relief), the result data file and the section-mesh data
// file. GBK text at the boundary; items on a line are separated by commas and/or blanks. A copy
// of this description lies in resources/help/dc2d_files.txt.
//
// Head (line 1): four integers — calculation mode (1 forward, 2 inverse), parameter mode
// (1 apparent resistivity, 2 apparent resistivity and chargeability), terrain (0 flat, 1
// relief) and device (1..10, dc2d_model.h). The suffix is "." + the device's two letters + the
// digit 1 + 4·(calc − 1) + 2·(param − 1) + terrain: ".po1" … ".po8", ".s41" … ".s48".
//
// Body:
//   line 2   the profile's name (free text; may be empty)
//   line 3   DX, X0: the station interval (m) and the profile coordinate of station 0 (m);
//            electrode positions in the data lines are station numbers (fractions allowed),
//            the electrode of station s standing at x = X0 + s·DX
//   device 1 only: A, depth — the station of the current electrode in the body and its depth
//            below the surface (m); B and N are remote
//   device 2 only: A, B — the stations of the fixed current electrodes
//   line     N, the number of data lines
//   N lines  the device's electrode stations, then ρa (Ω·m), then ηa (%) in parameter mode 2:
//              1        M              ρa [ηa]
//              2        M N            ρa [ηa]
//              3, 7     A M            ρa [ηa]          (B, N remote)
//              4        A M N B        ρaA ρaB [ηaA ηaB] (the A reading with B remote, the B
//                                                         reading with A remote)
//              5, 9     A M N B        ρa [ηa]
//              6, 10    A B M N        ρa [ηa]
//              8        A M N          ρa [ηa]          (B remote)
//            In forward files the observed values may be left off (or written as -1E+38): the
//            array is computed without an observation.
//   relief only:  line NT, then NT lines "station, elevation (m)" in ascending station order
//   forward files: the model —
//            line "ρ0 [η0]": the background half-space
//            line NR, the number of regions, then for each region a line "NV, ρ [, η]" and NV
//            lines "x, z" of its outline (x in m along the profile, z the elevation in m; on
//            flat terrain the surface is z = 0)
//   inverse files: an optional last line "iterations, relative error of the data (%)";
//            missing: 6, 3.
//
// Refused, with nothing loaded ("第n行: " and the reason): a head that is not four integers
// ("类型不匹配", the message of a bad input), a device outside 1..10, counts missing, negative or
// larger than kMaxDc2dRows, a station interval ≤ 0, electrodes of a datum out of the device's
// order, a resistivity ≤ 0 (a region without properties), a chargeability outside [0, 100),
// terrain stations not ascending, a line cut short.
//
// Result data file (*.dat), tab-separated: a title line, a line with the device and counts, for
// an inversion the misfit of each iteration, then one line per datum (stations A B M N, "-" for
// remote, plot position and pseudo-depth, observed and computed ρa and their relative
// difference %, in parameter mode 2 observed and computed ηa), then the model (cells of the
// inversion or regions of the forward model).
//
// Section-mesh data file (*.dat): "二维直流电法地电断面剖分数据", the node and element counts,
// one line per node (number, x, z) and per element (number, three nodes, ρ, η, region; region 0
// is the background).
#pragma once

#include <string>
#include <vector>

#include "electric/dc2d_inversion.h"
#include "electric/dc2d_model.h"

namespace sarnoth::electric {

inline constexpr int kMaxDc2dRows = 200000;

struct Dc2dHead {
  int calcMode = 1;   // 1 forward, 2 inverse
  int paramMode = 1;  // 1 ρa, 2 ρa and ηa
  int terrain = 0;    // 0 flat, 1 relief
  int device = 6;     // 1..10
  friend bool operator==(const Dc2dHead&, const Dc2dHead&) = default;
};

// 1 + 4·(calc − 1) + 2·(param − 1) + terrain.
int dc2dSuffixDigit(int calcMode, int paramMode, int terrain);
// ".po1" and the like; "" for a device outside 1..10.
std::string dc2dSuffix(const Dc2dHead& head);

bool parseDc2dHead(const std::string& line, Dc2dHead& head);
// False with "类型不匹配" when line 1 is not four integers or the file cannot be read.
bool readDc2dHead(const std::string& path, Dc2dHead& head, std::string& error);

struct Dc2dFile {
  Dc2dHead head;
  std::string name;
  double stationInterval = 1;  // DX, m
  double x0 = 0;               // X0, m
  Dc2dSurvey survey;
  Dc2dModel model;
  bool hasModel = false;
  Dc2dInversionSettings control;

  bool chargeability() const { return head.paramMode == 2; }
  bool inverse() const { return head.calcMode == 2; }
  double stationOf(double x) const { return (x - x0) / stationInterval; }
  double xOf(double station) const { return x0 + station * stationInterval; }
};

bool parseDc2dFile(const std::string& text, Dc2dFile& file, std::string& error);
bool readDc2dFile(const std::string& path, Dc2dFile& file, std::string& error);
// The file's text (UTF-8; the writer encodes GBK). Data lines are written per datum, except
// device 4 whose A and B readings of a station share a line as they were read.
std::string formatDc2dFile(const Dc2dFile& file);
bool writeDc2dFile(const std::string& path, const Dc2dFile& file);

// The result data text. `inversion` and `cells` for an inverse run, else the file's model is
// listed region by region.
std::string formatDc2dResult(const Dc2dFile& file, const Dc2dResponse& computed,
                             const Dc2dInversionResult* inversion, const Dc2dCells* cells);
// The section-mesh data text.
std::string formatDc2dMeshData(const Dc2dMesh& mesh, const Dc2dMeshData& data);

}  // namespace sarnoth::electric
