// The program's start-up routine: session, refusal, main window, operation log.
#pragma once

#include <memory>
#include <string>

namespace sarnoth::gui {

class FrmMain;

// Runs the start-up steps for a program lying in `sysPath`. Returns the shown main window, or
// null after the refusal "请运行主程序设置当前工作区." (nothing logged).
std::unique_ptr<FrmMain> startWorkbench(const std::string& sysPath);

// Loads Qt's own Simplified Chinese translations (qtbase_zh_CN from Qt's translations folder,
// the Debian package qt6-translations-l10n), so that the standard dialogs and buttons ("取消",
// "查找范围") speak as the rest of the program. False when they are not installed; the program
// then runs with Qt's English texts.
bool installQtTranslations();

}  // namespace sarnoth::gui
