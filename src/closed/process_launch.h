// Starting the external programs of the system (GeoMGInvS.exe, gmc.exe, the help viewer) without
// waiting for them, and asking whether one of them runs.
//
// A program is started detached (its own session, reparented away from us) so that nothing is
// left behind when it ends and closing the workbench does not end it. Whether a program runs is
// read from the process table by the program's file name, the nearest thing here to looking for
// its top-level window by title.
#pragma once

#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth::closed {

struct LaunchResult {
  Outcome outcome;              // failure text when the program could not be started
  long pid = -1;                // the started process, -1 when none was started
  bool alreadyRunning = false;  // a running instance was found and nothing was started
};

// Starts `program` with `args`, detached, without waiting. A missing file, a file that cannot be
// executed or a failed start gives a failure with the system's text.
LaunchResult launchDetached(const std::string& program, const std::vector<std::string>& args = {});

// True when a live process whose name (the executable's file name) starts with `namePrefix`
// exists. Zombies do not count.
bool isProgramRunning(const std::string& namePrefix);

// The full path of `name` found in PATH, or "".
std::string findInPath(const std::string& name);

}  // namespace sarnoth::closed
