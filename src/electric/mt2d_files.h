// Files of the 2-D magnetotelluric inversion (Prof_Dat\2DMT\ of the work area): the four inputs
// *.mt1 (basic information), *.mt2 (grid division), *.mt3 (initial model), *.mt4 (point paths),
// and what the inversion writes: Field.te / Field.tm / Field.tetm, Iteration.log and one
// Mt2DInvOut.NN per iteration. Text, GBK at the boundary (UTF-8 read as well); items are separated
// by commas and/or blanks and may run over any number of lines, as stream input reads them; a
// site name may stand in double quotes. A copy of this description lies in
// resources/help/mt2d_files.txt.
//
// *.mt1   "2DMT Inverse Based Information File"
//         mode, nSite, nFreq, uGrid, hGrid, dGrid     the six items the window shows:
//             mode 1 TE, 2 TM, 3 joint; uGrid the air nodes above the surface (= air cells),
//             hGrid the horizontal nodes (= columns + 1), dGrid the earth nodes from the surface
//             down, the surface included (= earth rows + 1)
//         maxIterations, targetRMS, rhoFloor, phaseFloor   optional (10, 1.0, 5 %, 1.5°):
//             the error floors are the smallest errors the data are given, in percent of the
//             apparent resistivity and in degrees of phase
// *.mt2   "2DMT Inverse Grids Information File"
//         hGrid, uGrid, dGrid                          as in the basic file
//         y0                                           profile distance of the first node, m
//         hGrid−1 column widths (m, left to right), uGrid air cell heights (m, from the surface
//         upwards), dGrid−1 earth cell heights (m, from the surface downwards)
// *.mt3   "2DMT Inverse Model Information File"
//         nBlockColumns, nBlockRows
//         nBlockColumns spans (mesh columns per block, summing to hGrid−1), nBlockRows spans
//         (earth rows per block, summing to dGrid−1)
//         nBlockRows × nBlockColumns resistivities (Ω·m), top row first: the starting model and
//         the parameters of the inversion; a value written negative is held at its magnitude
//         (sea water, a known layer)
// *.mt4   "2DMT Inverse Point Information File"
//         "TE", "TM" or "TETM"                         the modes the data hold
//         nSite, nFreq
//         nFreq frequencies, Hz
//         per site: name, profile distance (m); then nFreq lines of
//             ρa, phase, ρa error (%), phase error (°)                     (TE or TM)
//             ρa TE, phase TE, errors TE, ρa TM, phase TM, errors TM         (TETM)
//         ρa ≤ 0 or -1E+38 marks a value not measured; an error of 0 takes the floor. Each site
//         sits on the node nearest to its distance; two sites on one node are refused.
//
// Field.te|tm|tetm   "2DMT Inverse Field Data File", the mode line, nSite, nFreq, the
//         frequencies, the site distances, then per site and frequency one line:
//             distance, frequency, ρa, phase (the data as inverted, missing as -1E+38), and
//             ρa, phase of the starting model; for TETM TE then TM in each pair.
// Iteration.log   one line per iteration:
//         "Iteration   3   RMS=   1.234   Roughness=  5.678E+01   Lagrange=  1.000E+02"
// Mt2DInvOut.NN (NN the iteration, two digits below 100)
//         line 1  "2DMT Inverse Result File  Iteration 3  RMS 1.234"
//         line 2  "resistivity model(log10)"
//         columns, rows; columns+1 node distances (m); rows+1 node depths (m); then rows lines of
//         columns values: log10 ρ of every earth cell, top row first
//         "the response of the model", the mode line, nSite, nFreq, the frequencies, the site
//         distances, then for each mode inverted the blocks "TE res", "TE phase" (or "TM res",
//         "TM phase"), each nFreq lines of nSite values (ρa in Ω·m, phase in degrees).
//
// Readers refuse, naming the file and the item: a wrong first line (the window's own message),
// counts that are missing, not positive or above the limits below, a spacing or resistivity
// that is not a positive number, spans that do not add up, a frequency ≤ 0, a line cut short.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "electric/mt2d_forward.h"

namespace sarnoth::electric {

inline constexpr const char* kMt1Tag = "2DMT Inverse Based Information File";
inline constexpr const char* kMt2Tag = "2DMT Inverse Grids Information File";
inline constexpr const char* kMt3Tag = "2DMT Inverse Model Information File";
inline constexpr const char* kMt4Tag = "2DMT Inverse Point Information File";
inline constexpr const char* kFieldTag = "2DMT Inverse Field Data File";
inline constexpr const char* kResultModelLine = "resistivity model(log10)";
inline constexpr const char* kResultResponseLine = "the response of the model";
inline constexpr const char* kIterationLog = "Iteration.log";

// Limits a file may claim before anything is allocated for it.
inline constexpr int kMaxMtColumns = 4000;
inline constexpr int kMaxMtRows = 2000;
inline constexpr int kMaxMtSites = 2000;
inline constexpr int kMaxMtFrequencies = 500;

enum class MtMode { TE = 1, TM = 2, Joint = 3 };

// "TE", "TM", "TETM"; the suffixes of the field files "te", "tm", "tetm".
std::string modeLine(MtMode mode);
std::optional<MtMode> modeFromLine(const std::string& line);
bool hasTE(MtMode m);
bool hasTM(MtMode m);

struct Mt2dBasic {
  MtMode mode = MtMode::Joint;
  int sites = 0, frequencies = 0;
  int airNodes = 0, horizontalNodes = 0, earthNodes = 0;  // uGrid, hGrid, dGrid
  int maxIterations = 10;
  double targetRms = 1.0;
  double rhoFloor = 5.0;    // %
  double phaseFloor = 1.5;  // degrees
};

struct Mt2dModel {
  std::vector<int> columnSpans;      // mesh columns per block column
  std::vector<int> rowSpans;         // earth rows per block row
  std::vector<double> resistivity;   // blocks, top row first, Ω·m (> 0)
  std::vector<unsigned char> fixed;  // 1 where the block is held
  int blockColumns() const { return static_cast<int>(columnSpans.size()); }
  int blockRows() const { return static_cast<int>(rowSpans.size()); }
  // The block of every earth cell (row-major from the surface), for a mesh of the spans' size.
  std::vector<int> cellBlocks() const;
  // The block values spread over the cells.
  std::vector<double> cellResistivity() const;
};

// One mode's data at every site and frequency, index s·nFreq + f (site-major, as the file).
struct MtCurves {
  std::vector<double> rho, phase;        // Ω·m, degrees; rho ≤ 0 where not measured
  std::vector<double> rhoErr, phaseErr;  // %, degrees; 0 takes the floor
};

struct MtSite {
  std::string name;
  double position = 0;  // profile distance, m
};

struct Mt2dData {
  MtMode mode = MtMode::TE;
  std::vector<double> frequencies;  // Hz
  std::vector<MtSite> sites;
  MtCurves te, tm;  // the modes the file holds; the other left empty
  int siteCount() const { return static_cast<int>(sites.size()); }
  int frequencyCount() const { return static_cast<int>(frequencies.size()); }
};

bool isMeasured(double rho);

// A reader's answer: the value, or the message that refused it.
template <class T>
struct MtRead {
  std::optional<T> value;
  std::string message;
  explicit operator bool() const { return value.has_value(); }
};

// The first line of a file, trimmed (GBK or UTF-8); "" when it cannot be read.
std::string mtFirstLine(const std::string& path);

MtRead<Mt2dBasic> readMt2dBasic(const std::string& path);
MtRead<Mt2dMesh> readMt2dGrids(const std::string& path);
MtRead<Mt2dModel> readMt2dModel(const std::string& path);
MtRead<Mt2dData> readMt2dPoints(const std::string& path);

bool writeMt2dBasic(const std::string& path, const Mt2dBasic& b);
bool writeMt2dGrids(const std::string& path, const Mt2dMesh& m);
bool writeMt2dModel(const std::string& path, const Mt2dModel& m);
bool writeMt2dPoints(const std::string& path, const Mt2dData& d);

// The inversion's outputs.
struct MtResponses {
  MtCurves te, tm;  // rho and phase only, index s·nFreq + f
};

struct Mt2dFieldFile {
  Mt2dData data;        // the data as inverted (errors not kept)
  MtResponses initial;  // responses of the starting model
};
bool writeMt2dField(const std::string& path, const Mt2dFieldFile& f);
MtRead<Mt2dFieldFile> readMt2dField(const std::string& path);

struct Mt2dResult {
  int iteration = 0;
  double rms = 0;
  std::vector<double> nodePositions, nodeDepths;  // m
  std::vector<double> log10Rho;                   // earth cells, top row first
  MtMode mode = MtMode::TE;
  std::vector<double> frequencies;
  std::vector<double> sitePositions;
  MtResponses response;
  int columns() const { return static_cast<int>(nodePositions.size()) - 1; }
  int rows() const { return static_cast<int>(nodeDepths.size()) - 1; }
};
bool writeMt2dResult(const std::string& path, const Mt2dResult& r);
// Reads the model part and, with `withResponse`, the response blocks. A file whose second line is
// not "resistivity model(log10)" is refused.
MtRead<Mt2dResult> readMt2dResult(const std::string& path, bool withResponse = true);

// "Mt2DInvOut.03", "Mt2DInvOut.12": the result file of an iteration.
std::string mt2dResultName(int iteration);
// The line of Iteration.log.
std::string iterationLogLine(int iteration, double rms, double roughness, double lagrange);
// The iterations listed in an Iteration.log (its non-empty lines, numbered from 1).
int countIterationLines(const std::string& path);

}  // namespace sarnoth::electric
