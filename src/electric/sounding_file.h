// Sounding files of the work area (Prof_Dat\): forward data *.s1f–*.s5f, inverse data
// *.s1i–*.s5i, station positions *.pos, and the result text *.dat written after a computation.
// GBK text at the boundary (text_codec.h); items on a line are separated by commas and/or blanks,
// as stream input reads them. A copy of this description lies in resources/help/sounding_files.txt.
//
// Head (every file, line 1): three integers — calculation mode (1 forward, 2 inverse),
// parameter mode (1 apparent resistivity, 2 apparent resistivity and chargeability) and device
// (1 pole-pole, 2 symmetric MN>0, 3 symmetric MN=0, 4 dipole-dipole MN>0, 5 dipole-dipole MN=0).
// The suffix digit is the device; f or i the calculation mode.
//
// Forward and inverse files (*.s?f, *.s?i), after the head:
//   line 2   the sounding's name (free text; may be empty)
//   line 3   N, L: the number of spacings and of layers
//   N lines  the spacing columns of the device, then ρa (Ω·m), then ηa (%) in parameter mode 2:
//              1  AM                    ρa [ηa]
//              2  AB/2  MN/2            ρa [ηa]
//              3  AB/2                  ρa [ηa]
//              4  OO'   AB/2  MN/2      ρa [ηa]
//              5  OO'   AB/2            ρa [ηa]
//            In forward files the observed values may be left off (or written as -1E+38): the
//            spacing is then computed and drawn without an observation.
//   L lines  the layer model from the top: thickness (m; the last layer's, the half-space, is 0),
//            resistivity (Ω·m), chargeability (%) in parameter mode 2. Inverse files add a fourth
//            item, the fixed-layer flag: 0 free, 1 resistivity fixed, 2 thickness fixed, 3 both
//            (+4: chargeability fixed). In an inverse file this is the starting model.
//   inverse files only:
//   1 line   the station's position: X, Y (map units), elevation (m)
//   1 line   optional inversion control: method (1 Marquardt, 2 Occam), iteration limit,
//            relative error of the data (%). Missing: 1, 30, 5.
//
// Position file (*.pos), after a head like an inverse file's:
//   line 2   M, the number of stations
//   M lines  name, X, Y, elevation
//
// Refused, with nothing loaded: a head that is not three integers ("类型不匹配", the message of
// a bad input); a head that is not a sounding's; counts that are missing, negative or larger than
// kMaxSoundingRows; a spacing ≤ 0 or a geometry the device does not allow; a resistivity ≤ 0; a
// thickness ≤ 0 above the half-space; a chargeability outside [0, 100); a line cut short. The
// message names the line.
#pragma once

#include <string>
#include <vector>

#include "electric/sounding_inversion.h"

namespace sarnoth::electric {

inline constexpr const char* kMsgBadInput = "类型不匹配";
inline constexpr int kMaxSoundingRows = 100000;

struct SoundingHead {
  int calcMode = 1;   // 1 forward, 2 inverse
  int paramMode = 1;  // 1 ρa, 2 ρa and ηa
  int device = 1;     // 1..5
};

struct StationPosition {
  std::string name;
  double x = 0, y = 0, z = 0;
};

struct SoundingFile {
  SoundingHead head;
  std::string name;
  std::vector<Spacing> spacings;
  std::vector<double> rho;  // observed ρa; NULL_VALUE where not observed (forward files)
  std::vector<double> eta;  // observed ηa, parameter mode 2 only; NULL_VALUE where not observed
  LayeredEarth model;
  std::vector<int> fixed;  // per layer (inverse files), else zeros
  StationPosition position;
  InversionSettings settings;

  SoundDevice device() const { return static_cast<SoundDevice>(head.device); }
  bool chargeability() const { return head.paramMode == 2; }
  bool inverse() const { return head.calcMode == 2; }
  // True when every spacing has an observed ρa (an inversion needs them all).
  bool fullyObserved() const;
  // The observed data as the inversion takes them (points without observation left out).
  SoundingData observed() const;
};

// The suffix of a sounding file: ".s" + device + "f" or "i".
std::string soundingSuffix(int calcMode, int device);

// Reads the head: false with kMsgBadInput when line 1 is not three integers (or the file cannot
// be read).
bool readSoundingHead(const std::string& path, SoundingHead& head, std::string& error);
// Parses the head from the first line of a text.
bool parseSoundingHead(const std::string& line, SoundingHead& head);

// Reads a whole sounding file; false with the reason (naming the line) on any fault above.
bool readSoundingFile(const std::string& path, SoundingFile& file, std::string& error);
bool parseSoundingFile(const std::string& text, SoundingFile& file, std::string& error);
// The file's text (UTF-8; the writer encodes GBK).
std::string formatSoundingFile(const SoundingFile& file);
bool writeSoundingFile(const std::string& path, const SoundingFile& file);

bool readPositionFile(const std::string& path, std::vector<StationPosition>& stations,
                      SoundingHead& head, std::string& error);
bool writePositionFile(const std::string& path, const SoundingHead& head,
                       const std::vector<StationPosition>& stations);

// The result text (*.dat) of a forward or inverse computation: head lines, the layer table
// (layer, thickness, depth of the bottom, resistivity, chargeability) and the curve table
// (spacings, observed, computed, relative misfit %), tab-separated with fixed number formats.
std::string formatSoundingResult(const SoundingFile& file, const LayeredEarth& earth,
                                 const SoundingResponse& computed,
                                 const InversionResult* inversion);

}  // namespace sarnoth::electric
