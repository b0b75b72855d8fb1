// The program's start-up routine: session, refusal, main window, operation log.
#pragma once

#include <memory>
#include <string>

namespace sarnoth::gui {

class FrmMain;

// Runs the start-up steps for a program lying in `sysPath`. Returns the shown main window, or
// null after the refusal "请运行主程序设置当前工作区." (nothing logged).
std::unique_ptr<FrmMain> startWorkbench(const std::string& sysPath);

}  // namespace sarnoth::gui
