// The one path resolver every open goes through. Paths in the system are Windows-spelled:
// backslashes, and letter case that varies between tools ("Grid_dat" and "Grid_Dat"). The
// resolver turns '\' into '/', folds doubled separators, and matches each component case-blind
// against what exists on disk. Components that do not exist yet are kept as written, so a path
// for a new file resolves to where it will be made.
#pragma once

#include <string>

namespace sarnoth {

std::string resolvePath(const std::string& path);
// True when the resolved path names an existing file or directory.
bool pathExists(const std::string& path);

}  // namespace sarnoth
