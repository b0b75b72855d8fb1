// The workbench executable: reads dmxsysset.log beside itself and opens FrmMain.
#include <QApplication>
#include <QFont>

#include "app/frm_main.h"
#include "app/startup.h"
#include "workarea/session.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("Sarnoth");
  auto window = sarnoth::gui::startWorkbench(sarnoth::executableDir());
  if (!window) return 0;
  return QApplication::exec();
}
