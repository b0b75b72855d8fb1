#include "closed/help_viewer.h"

#include "workarea/path_resolver.h"

namespace sarnoth::closed {

std::string helpFilePath(const std::string& sysPath) { return sysPath + kHelpFile; }

LaunchResult showSystemHelp(const std::string& sysPath) {
  LaunchResult r;
  const std::string file = helpFilePath(sysPath);
  if (!pathExists(file)) {
    r.outcome = Outcome::failure("帮助文件不存在: " + file);
    return r;
  }
  for (const char* viewer : {"xchm", "kchmviewer", "chmsee", "xdg-open"}) {
    std::string program = findInPath(viewer);
    if (program.empty()) continue;
    return launchDetached(program, {resolvePath(file)});
  }
  r.outcome = Outcome::failure("系统中没有可用的帮助查看程序, 不能打开帮助文件: " + file);
  return r;
}

}  // namespace sarnoth::closed
