#include "app/frm_main.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QEventLoop>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <cstdlib>

#include "app/frmAbout.h"
#include "app/frmSelFiles.h"
#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "closed/csamt3d_fwd_com.h"
#include "closed/geomg_inv.h"
#include "closed/gmc.h"
#include "closed/help_viewer.h"
#include "closed/invs3d_com.h"
#include "closed/low_latitude_reduction.h"
#include "closed/sarnoth_ax.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

void (*gEndHook)(int) = nullptr;

void endProcess() {
  if (gEndHook)
    gEndHook(0);
  else
    std::exit(0);
}

FrmMain::Presenter& presenter() {
  static FrmMain::Presenter p;
  return p;
}

// Shows a tool window as the menu says and, for a modal one, waits until it is closed; then the
// reference is dropped.
void present(QWidget* w, bool modal) {
  if (presenter()) {
    presenter()(w, modal);
    return;
  }
  if (!modal) {
    w->setAttribute(Qt::WA_DeleteOnClose);
    w->show();
    return;
  }
  QPointer<QWidget> guard(w);
  if (auto* dialog = qobject_cast<QDialog*>(w)) {
    dialog->exec();
  } else {
    w->setWindowModality(Qt::ApplicationModal);
    w->setAttribute(Qt::WA_DeleteOnClose);
    QEventLoop loop;
    QObject::connect(w, &QObject::destroyed, &loop, &QEventLoop::quit);
    w->show();
    loop.exec();
  }
  delete guard.data();
}

}  // namespace

void setProcessEndHook(void (*hook)(int)) { gEndHook = hook; }

FrmMain::Presenter FrmMain::setPresenter(Presenter p) {
  Presenter old = std::move(presenter());
  presenter() = std::move(p);
  return old;
}

bool activateMainProgramWindow() {
  // The main program of the system is not a program of this machine; when a window of that
  // title belongs to this process it is shown again.
  for (QWidget* w : QApplication::topLevelWidgets())
    if (w->windowTitle() == QString::fromUtf8(kMainProgramTitle)) {
      w->show();
      return true;
    }
  return false;
}

FrmMain::FrmMain(QWidget* parent) : QMainWindow(parent) {
  setObjectName("FrmMain");
  setWindowTitle(QString::fromUtf8(kMainWindowTitle));
  resize(900, 600);
  auto* bar = new QStatusBar(this);
  bar->setObjectName("StatusBar");
  statusPanel_ = new QLabel(bar);
  statusPanel_->setObjectName(QString::fromUtf8(kStatusPanelKey));
  bar->addWidget(statusPanel_, 1);
  // The work area the workbench works on, with its tables and grids, beside the panel "提示".
  workAreaPanel_ = new QLabel(bar);
  workAreaPanel_->setObjectName("lblWorkArea");
  bar->addPermanentWidget(workAreaPanel_);
  setStatusBar(bar);
  buildMenus();
  refreshWorkArea();
}

void FrmMain::refreshWorkArea() {
  workAreaPanel_->setText(gWorkPath.empty() ? QString()
                                            : QString::fromStdString(workAreaSummary(gWorkPath)));
}

FrmMain::~FrmMain() {
  // Modeless tools close with the main window; their closing must not call back into it.
  for (const QPointer<QWidget>& w : modeless_)
    if (w) QObject::disconnect(w, nullptr, this, nullptr);
}

void FrmMain::buildMenus() {
  QMenuBar* bar = menuBar();
  bar->setObjectName("MenuBar");
  for (const MenuEntry& e : menuTable()) {
    const QString name = QString::fromUtf8(e.name);
    QMenu* parentMenu = e.parent ? menus_.value(QString::fromUtf8(e.parent)) : nullptr;
    QAction* action = nullptr;
    switch (e.kind) {
      case MenuKind::Submenu: {
        QMenu* m = parentMenu ? parentMenu->addMenu(QString::fromUtf8(e.caption))
                              : bar->addMenu(QString::fromUtf8(e.caption));
        m->setObjectName(name);
        menus_.insert(name, m);
        action = m->menuAction();
        break;
      }
      case MenuKind::Separator:
        action = parentMenu ? parentMenu->addSeparator() : bar->addSeparator();
        break;
      case MenuKind::Leaf:
        action = parentMenu ? parentMenu->addAction(QString::fromUtf8(e.caption))
                            : bar->addAction(QString::fromUtf8(e.caption));
        if (e.action != MenuAction::None) {
          const std::string key = e.name;
          connect(action, &QAction::triggered, this, [this, key] { runCommand(key); });
        }
        break;
    }
    action->setObjectName(name);
    action->setVisible(!e.hidden);
    actions_.insert(name, action);
  }
}

QAction* FrmMain::menuAction(const std::string& name) const {
  return actions_.value(QString::fromStdString(name));
}

QMenu* FrmMain::subMenu(const std::string& name) const {
  return menus_.value(QString::fromStdString(name));
}

QWidget* FrmMain::openModeless(const std::string& toolName) const {
  return modeless_.value(QString::fromStdString(toolName)).data();
}

void FrmMain::setStatusText(const QString& text) { statusPanel_->setText(text); }
QString FrmMain::statusText() const { return statusPanel_->text(); }

void FrmMain::say(const std::string& text) { notify(this, text); }

void FrmMain::runCommand(const std::string& name) {
  const MenuEntry* e = findMenuEntry(name);
  if (e && e->kind == MenuKind::Leaf) dispatch(*e);
}

void FrmMain::dispatch(const MenuEntry& e) {
  switch (e.action) {
    case MenuAction::None:
      return;
    case MenuAction::Tool:
      openTool(e);
      return;
    case MenuAction::SaveDataTo:
      if (gWorkPath.empty()) {
        say(kSaveDataNoWorkArea);
        return;
      }
      openTool(e);
      return;
    case MenuAction::FactorAnalysis: {
      Outcome o = closed::runFactorAnalysis(gWorkPath + "Qury_Dat\\queryDB.mdb", gWorkPath);
      if (!o.ok) say(o.message);
      return;
    }
    case MenuAction::Korva:
      runKorva(e);
      return;
    case MenuAction::LowLatitude: {
      closed::LowLatitudeCallbacks callbacks;
      for (std::size_t i = 0; i < callbacks.size(); ++i) {
        const int mode = closed::kLowLatitudeCallbackModes[i];
        callbacks[i] = [this, mode] { return askGridFile(mode); };
      }
      Outcome o = closed::runLowLatitudeReduction(callbacks);
      if (!o.message.empty()) say(o.message);
      return;
    }
    case MenuAction::GeoMGInv: {
      closed::LaunchResult r = closed::startGeoMGInv(gSysPath);
      if (!r.outcome.ok) say(r.outcome.message);
      return;
    }
    case MenuAction::Gmc: {
      closed::LaunchResult r = closed::startGmc(gSysPath);
      if (!r.outcome.ok) say(r.outcome.message);
      return;
    }
    case MenuAction::Invs3D:
    case MenuAction::CSAMT3D:
      runComponent(e);
      return;
    case MenuAction::FileImport:
      if (!runMenuCommand(e.name, this)) say(notYetAvailableText(e.caption));
      return;
    case MenuAction::Help: {
      closed::LaunchResult r = closed::showSystemHelp(gSysPath);
      if (!r.outcome.ok) say(r.outcome.message);
      return;
    }
    case MenuAction::About: {
      auto* about = new frmAbout(this);
      present(about, true);
      return;
    }
    case MenuAction::Exit:
      exitProgram();
      return;
  }
}

void FrmMain::openTool(const MenuEntry& e) {
  if (*e.status) {
    setStatusText(QString::fromUtf8(e.status));
    QCoreApplication::processEvents();
  }
  const QString key = QString::fromUtf8(e.target);
  if (e.modeless) {
    // A modeless window already open is shown again; nothing is replaced.
    if (QWidget* open = modeless_.value(key).data()) {
      open->show();
      open->raise();
      open->activateWindow();
      return;
    }
  }
  if (!toolWindowAvailable(e.target)) {
    say(notYetAvailableText(e.caption));
    return;
  }
  QWidget* w = createToolWindow(e.target, this, e.mode);
  if (!w) return;  // a window that cannot open does not appear
  if (!w->isWindow()) w->setWindowFlag(Qt::Window);
  if (e.modeless) {
    modeless_.insert(key, w);
    connect(w, &QObject::destroyed, this, [this] { refreshWorkArea(); });
  }
  present(w, !e.modeless);
  // A tool may have made tables or grids.
  if (!e.modeless) refreshWorkArea();
}

void FrmMain::runKorva(const MenuEntry& e) {
  Outcome o =
      korvaO_.call(closed::kKorvaSetWorkArea, gWorkPath, gWorkPath + "Qury_Dat\\QueryDB.mdb");
  if (o.ok) o = korvaO_.call(e.mode);
  if (!o.ok) say(o.message);
}

void FrmMain::runComponent(const MenuEntry& e) {
  closed::FileAnswer answer = [this](const closed::FileRequest& r) { return answerFileRequest(r); };
  component_ = e.action == MenuAction::Invs3D ? closed::createInvs3DCom(answer)
                                              : closed::createCSAMT3DFwdCom(answer);
  Outcome o = component_->start();
  if (!o.ok) say(o.message);
}

std::string FrmMain::answerFileRequest(const closed::FileRequest& r) {
  if (r.picker == closed::PickerKind::SelFiles) {
    frmSelFiles picker(this);
    picker.mode = r.mode;
    picker.run();
  } else {
    frmSelectFiles picker(this);
    picker.mode = r.mode;
    picker.fileMask = QString::fromStdString(r.mask);
    picker.fileExt = QString::fromStdString(r.extension);
    if (!r.title.empty()) picker.setWindowTitle(QString::fromStdString(r.title));
    picker.run();
  }
  if (gPickedFile.empty()) return {};  // the request is not answered
  return gWorkPath + r.baseDir + gPickedFile;
}

std::string FrmMain::askGridFile(int mode) {
  frmSelFiles picker(this);
  picker.mode = mode;
  picker.run();
  if (gPickedFile.empty()) return {};
  return gWorkPath + "Grid_dat\\" + gPickedFile;
}

void FrmMain::exitProgram() {
  // The order stays: the window closes first (which ends the process), and only then come the
  // "退出" record and the end.
  close();
  writeOperationLog(kLogCode, kLogSubsystem, kLogLeave);
  endProcess();
}

void FrmMain::closeEvent(QCloseEvent* event) {
  // Show the main program again if it runs, then end the process whatever tools stand open.
  activateMainProgramWindow();
  event->accept();
  endProcess();
}

}  // namespace sarnoth::gui
