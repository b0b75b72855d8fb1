// gmc.exe: the combined gravity, magnetic and electrical section inversion, an external program
// beside the workbench (gSysPath). Each command starts a new instance; there is no check for a
// running one.
#pragma once

#include <string>

#include "closed/process_launch.h"

namespace sarnoth::closed {

inline constexpr const char* kGmcProgram = "gmc.exe";

// Starts sysPath + "gmc.exe" without waiting. A program that is not installed gives a failure
// that says so.
LaunchResult startGmc(const std::string& sysPath);

}  // namespace sarnoth::closed
