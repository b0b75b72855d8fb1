// FrmMain: the workbench's only top-level window. It holds no data; it dispatches.
//
// The menu bar is built from the menu table (menu_table.h). A tool command writes its status text
// into the panel "提示" and lets pending events run, creates the window through the tool
// registry, sets its mode, shows it (modal unless the table says modeless) and drops the
// reference. A command whose tool has not landed says so in a message box. The closed controls,
// components and external programs are reached through their seams in src/closed/, and the main
// window answers the components' file requests with the pickers.
#pragma once

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <memory>
#include <string>

#include "app/menu_table.h"
#include "closed/file_request.h"
#include "closed/korva_ocx.h"

class QLabel;
class QMenu;
class QAction;

namespace sarnoth::gui {

class FrmMain : public QMainWindow {
  Q_OBJECT
 public:
  explicit FrmMain(QWidget* parent = nullptr);
  ~FrmMain() override;

  // The panel "提示" of the status bar.
  void setStatusText(const QString& text);
  QString statusText() const;

  // The status bar's account of the work area (path, tables, grids), made afresh.
  void refreshWorkArea();

  // Runs the command of a menu entry as its menu item does.
  void runCommand(const std::string& name);

  // The menu item or submenu of an entry, found by its system name.
  QAction* menuAction(const std::string& name) const;
  QMenu* subMenu(const std::string& name) const;

  // Answers a component's file request as its table says: the picker, then the work-area path,
  // or "" when the picker was cancelled.
  std::string answerFileRequest(const closed::FileRequest& request);
  // One call-back of the low-latitude reduction: frmSelFiles in `mode`, then
  // gWorkPath + "Grid_dat\" + the name, or "".
  std::string askGridFile(int mode);

  // The modeless tool window open for a tool name, if any.
  QWidget* openModeless(const std::string& toolName) const;

  // How a tool window is shown; tests replace it. Modal: exec() for a dialog, else an
  // application-modal window waited for; modeless: show().
  using Presenter = std::function<void(QWidget* window, bool modal)>;
  static Presenter setPresenter(Presenter presenter);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void buildMenus();
  void dispatch(const MenuEntry& entry);
  void openTool(const MenuEntry& entry);
  void runKorva(const MenuEntry& entry);
  void runComponent(const MenuEntry& entry);
  void exitProgram();
  void say(const std::string& text);

  QLabel* statusPanel_ = nullptr;
  QLabel* workAreaPanel_ = nullptr;
  QHash<QString, QAction*> actions_;
  QHash<QString, QMenu*> menus_;
  QHash<QString, QPointer<QWidget>> modeless_;
  closed::KorvaOcx korvaO_;
  std::unique_ptr<closed::RequestingComponent> component_;
};

// The close handler's first step: bring the main program's window (" Sarnoth 2005") forward
// when it runs. Returns whether it was found. Replaceable for tests.
bool activateMainProgramWindow();

// Called when FrmMain closes: ends the process at once. Tests replace it.
void setProcessEndHook(void (*hook)(int));

}  // namespace sarnoth::gui
