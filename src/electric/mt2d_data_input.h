// The point-file writer of frmWT2DMTDataInput: measured data imported into a table of the work
// database become a point path file (*.mt4) of one mode, and a TE and a TM point file become
// the joint file.
//
// The table holds one row per site and frequency: the site's name, its profile distance (m),
// the frequency (Hz), apparent resistivity (Ω·m) and phase (degrees), optionally the errors
// (% and degrees). Sites are ordered by distance, frequencies from high to low; a site that
// lacks a frequency others have gets a missing value there. Rows whose name, distance or
// frequency is null or not positive (frequency) are passed over; a resistivity ≤ 0 or null is a
// missing value. Phases are brought into (−180°, 180°]; TM phases in the third quadrant (the
// sign convention of Zyx) are folded into the first, as the inversion reads them.
#pragma once

#include <string>

#include "electric/mt2d_files.h"
#include "workarea/table_store.h"

namespace sarnoth::electric {

inline constexpr const char* kMsgNoImportedData = "您还没有导入数据到数据库中!";
inline constexpr const char* kMsgWrongMode = "反演模式选择错误!";

struct PointFields {
  std::string table;
  std::string name, distance, frequency, rho, phase;
  std::string rhoError, phaseError;  // "" for none
};

// The data of one mode (TE or TM) from the table; the refusal names what is wrong.
MtRead<Mt2dData> pointDataFromTable(Database& db, const PointFields& f, MtMode mode);

// TE and TM point files joined; both must hold the same sites at the same distances and the
// same frequencies.
MtRead<Mt2dData> joinPointData(const Mt2dData& te, const Mt2dData& tm);

// A phase as the inversion reads it.
double foldPhase(double degrees, MtMode mode);

}  // namespace sarnoth::electric
