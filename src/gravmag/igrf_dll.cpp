// Our implementation of the seam closed/igrf.h over the synthesis of igrf_model.h.
#include <cmath>
#include <string>

#include "closed/igrf.h"
#include "workarea/session.h"

namespace sarnoth::closed {

double anglePartsToDegrees(std::int32_t degrees, std::int32_t minutes) {
  const double size = std::abs(static_cast<double>(degrees)) + minutes / 60.0;
  return degrees < 0 ? -size : size;
}

void degreesToAngleParts(double degrees, std::int32_t& wholeDegrees, std::int32_t& minutes) {
  const double totalMinutes = std::round(std::abs(degrees) * 60.0);
  const auto d = static_cast<std::int32_t>(totalMinutes / 60.0);
  const auto m = static_cast<std::int32_t>(totalMinutes - 60.0 * d);
  const int sign = degrees < 0 ? -1 : 1;
  wholeDegrees = sign * d;
  minutes = sign * m;
}

IgrfDllResult IGRFDLL(float date, float heightKm, std::int32_t lonDeg, std::int32_t lonMin,
                      std::int32_t latDeg, std::int32_t latMin,
                      gravmag::IgrfGeneration generation) {
  // A file of points calls once a point, mostly with the date of the point before: each
  // thread keeps the table it used, the coefficients of its last date and its work arrays.
  // The result is the same as without them.
  struct Last {
    std::string sysPath;
    gravmag::IgrfGeneration generation{};
    const gravmag::IgrfModel* model = nullptr;
    float date = 0;
    bool haveDate = false;
    gravmag::IgrfCoefficients coefficients;
    gravmag::IgrfSynthesis synthesis;
  };
  thread_local Last last;
  if (!last.model || last.sysPath != gSysPath || last.generation != generation) {
    last.model = &gravmag::igrfModel(gSysPath, generation);  // kept for the program's life
    last.sysPath = gSysPath;
    last.generation = generation;
    last.haveDate = false;
  }
  if (!last.haveDate || last.date != date) {
    last.haveDate = false;
    last.coefficients = gravmag::coefficientsAt(*last.model, date);
    last.date = date;
    last.haveDate = true;
  }
  const gravmag::GeomagField f =
      last.synthesis.at(last.coefficients, anglePartsToDegrees(latDeg, latMin),
                        anglePartsToDegrees(lonDeg, lonMin), heightKm);
  IgrfDllResult r;
  degreesToAngleParts(f.main.inclination, r.incDeg, r.incMin);
  degreesToAngleParts(f.main.declination, r.decDeg, r.decMin);
  r.northX = static_cast<float>(f.main.x);
  r.eastY = static_cast<float>(f.main.y);
  r.vertZ = static_cast<float>(f.main.z);
  r.horizH = static_cast<float>(f.main.h);
  r.totalT = static_cast<float>(f.main.f);
  return r;
}

}  // namespace sarnoth::closed
