// hh.exe with the system's help file: "系统帮助" starts the help viewer on
// gSysPath + "help\SarnHelp.chm" without waiting.
//
// The compiled help file is opened by the first help viewer found on the machine (xchm,
// kchmviewer, chmsee, or the desktop's opener); a missing help file or a machine without a viewer
// gives a failure that says which of the two is missing.
#pragma once

#include <string>

#include "closed/process_launch.h"

namespace sarnoth::closed {

inline constexpr const char* kHelpFile = "help\\SarnHelp.chm";

// The help file's path as the system spells it: sysPath + "help\SarnHelp.chm".
std::string helpFilePath(const std::string& sysPath);

// Starts the help viewer on the help file.
LaunchResult showSystemHelp(const std::string& sysPath);

}  // namespace sarnoth::closed
