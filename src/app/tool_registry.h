// The one place where tool windows and menu commands land.
//
// A tool window registers a factory under its system name, in its own .cpp:
//
//   static sarnoth::gui::ToolWindowRegistrar reg{"frmVLQScatToGrid",
//       [](QWidget* parent, int mode) { return new frmVLQScatToGrid(parent); }};
//
// FrmMain looks every command up here: an entry whose tool is registered opens it (mode 0 where
// the menu gives none), one whose tool has not landed says so plainly. Commands that are not a
// window (the file imports) register a handler under the menu entry's name the same way.
// The executable links the GUI library whole, so a registrar in a form file is never dropped.
#pragma once

#include <QString>
#include <functional>
#include <string>
#include <vector>

class QWidget;

namespace sarnoth::gui {

// Makes a new tool window with its mode set (0 when the menu gives none). The window is shown
// by the caller; null means it could not be made.
using ToolWindowFactory = std::function<QWidget*(QWidget* parent, int mode)>;
// Runs a command that is not a tool window, with the main window as parent.
using MenuCommandHandler = std::function<void(QWidget* mainWindow)>;

// Registers (or with an empty factory removes) a tool window; returns the previous factory.
ToolWindowFactory registerToolWindow(const std::string& name, ToolWindowFactory factory);
bool toolWindowAvailable(const std::string& name);
// Creates the window; null when not registered or when its factory failed.
QWidget* createToolWindow(const std::string& name, QWidget* parent, int mode);
std::vector<std::string> registeredToolWindows();

MenuCommandHandler registerMenuCommand(const std::string& menuName, MenuCommandHandler handler);
bool menuCommandAvailable(const std::string& menuName);
// Runs the handler; false when none is registered.
bool runMenuCommand(const std::string& menuName, QWidget* mainWindow);

struct ToolWindowRegistrar {
  ToolWindowRegistrar(const std::string& name, ToolWindowFactory factory) {
    registerToolWindow(name, std::move(factory));
  }
};

struct MenuCommandRegistrar {
  MenuCommandRegistrar(const std::string& menuName, MenuCommandHandler handler) {
    registerMenuCommand(menuName, std::move(handler));
  }
};

// The factory of a window that fills itself on opening (its load() lists tables and the like) and
// does not open when that fails, the failure having been shown by load() itself:
//
//   static sarnoth::gui::ToolWindowRegistrar reg{"frmSQLProcess", loadingWindow<frmSQLProcess>()};
template <typename Window>
ToolWindowFactory loadingWindow() {
  return [](QWidget* parent, int) -> QWidget* {
    auto* w = new Window(parent);
    if (!w->load()) {
      delete w;
      return nullptr;
    }
    return w;
  };
}

// The text shown for a command whose tool has not landed: caption without its accelerator.
std::string notYetAvailableText(const std::string& caption);

// Opens the grid image viewer on the grid file `gridPath`: modal when the viewer is a dialog,
// else a window of its own that deletes itself on closing. The viewer takes its grid from
// gPickedFile, which is set for its making and restored after. Says so when the viewer has not
// landed.
void showGridImage(QWidget* parent, const std::string& gridPath);

}  // namespace sarnoth::gui
