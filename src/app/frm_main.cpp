#include "app/frm_main.h"

#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QStatusBar>
#include <cstdlib>

#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

void (*gEndHook)(int) = nullptr;

}  // namespace

void setProcessEndHook(void (*hook)(int)) { gEndHook = hook; }

bool activateMainProgramWindow() {
  // The main program of the system is not a Linux program; when a window of that title belongs
  // to this process (it never does) it would be raised here.
  for (QWidget* w : QApplication::topLevelWidgets())
    if (w->windowTitle() == QString::fromUtf8(kMainProgramTitle)) {
      w->show();
      w->raise();
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
  statusPanel_->setObjectName(QString::fromUtf8("提示"));
  bar->addWidget(statusPanel_, 1);
  setStatusBar(bar);
}

void FrmMain::setStatusText(const QString& text) { statusPanel_->setText(text); }
QString FrmMain::statusText() const { return statusPanel_->text(); }

void FrmMain::closeEvent(QCloseEvent* event) {
  // Show the main program again if it runs, then end the process whatever tools stand open.
  activateMainProgramWindow();
  event->accept();
  if (gEndHook)
    gEndHook(0);
  else
    std::exit(0);
}

}  // namespace sarnoth::gui
