// IGRFDll.dll: the geomagnetic elements of one point, the call _IGRFDLL@60 of the geomagnetic
// elements tool (frmWTIgrf10th).
//
// The call as the tool makes it: fifteen by-reference arguments, six in and nine out:
//   date (year with fraction), heightKm (above the ellipsoid), lonDeg, lonMin, latDeg, latMin
//   → incDeg, incMin, decDeg, decMin, northX, eastY, vertZ, horizH, totalT (nT).
// Here the inputs are arguments and the nine outputs one result.
//
// Angles in. A position is degrees and whole minutes; the sign of the degrees is the sign of
// the angle (lonDeg −120, lonMin 30 is 120°30′ W). Minutes of 60 are accepted and mean one
// more degree. A point on 0° with a negative minute part cannot be written this way; the tool
// refuses negative minutes before it calls.
// Angles out. Inclination and declination are rounded to the nearest minute and split into
// degrees and minutes that both carry the angle's sign (−3°37′ is decDeg −3, decMin −37), so
// that degrees + minutes/100 is the angle in the D.MM form the tool writes.
//
// The computation is the synthesis of gravmag/igrf_model.h (spherical harmonics to degree 13,
// geodetic to geocentric on WGS 84, the vector rotated back) with the coefficient table of the
// chosen generation beside the program (gSysPath + "igrf/"): the 10th generation, as the tool
// names it, unless the caller asks for another. A date outside the generation's span, or a
// missing table, throws gravmag::IgrfError; the tool checks dates before it calls.
#pragma once

#include <cstdint>

#include "gravmag/igrf_model.h"

namespace sarnoth::closed {

struct IgrfDllResult {
  std::int32_t incDeg = 0, incMin = 0;                             // inclination I, down positive
  std::int32_t decDeg = 0, decMin = 0;                             // declination D, east positive
  float northX = 0, eastY = 0, vertZ = 0, horizH = 0, totalT = 0;  // nT
};

IgrfDllResult IGRFDLL(float date, float heightKm, std::int32_t lonDeg, std::int32_t lonMin,
                      std::int32_t latDeg, std::int32_t latMin,
                      gravmag::IgrfGeneration generation = gravmag::IgrfGeneration::Tenth);

// Degrees and minutes to decimal degrees, the sign taken from the degrees.
double anglePartsToDegrees(std::int32_t degrees, std::int32_t minutes);
// Decimal degrees to degrees and minutes, rounded to the nearest minute, both with its sign.
void degreesToAngleParts(double degrees, std::int32_t& wholeDegrees, std::int32_t& minutes);

}  // namespace sarnoth::closed
