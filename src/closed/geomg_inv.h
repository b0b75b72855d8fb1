// GeoMGInvS.exe: the system's three-dimensional gravity and magnetic anomaly inversion, an
// external program beside the workbench (gSysPath). The command "三维重磁异常反演" starts it
// only when no instance runs: a running instance is not brought forward and no second one is
// started.
#pragma once

#include <string>

#include "closed/process_launch.h"

namespace sarnoth::closed {

inline constexpr const char* kGeoMGInvProgram = "GeoMGInvS.exe";
inline constexpr const char* kGeoMGInvTitle = "GeoMGInvS";

// True when an instance of GeoMGInvS runs.
bool geoMGInvRunning();

// Starts sysPath + "GeoMGInvS.exe" without waiting, unless an instance runs (then nothing is
// started and alreadyRunning is set). A program that is not installed gives a failure that says so.
LaunchResult startGeoMGInv(const std::string& sysPath);

}  // namespace sarnoth::closed
