#include "app/startup.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include "app/frm_main.h"
#include "app/messages.h"
#include "workarea/session.h"

namespace sarnoth::gui {

bool installQtTranslations() {
  static QTranslator* qtbase = nullptr;
  if (qtbase) return true;
  auto* t = new QTranslator(QCoreApplication::instance());
  if (!t->load(QLocale(QLocale::Chinese, QLocale::China), "qtbase", "_",
               QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    delete t;
    return false;
  }
  QCoreApplication::installTranslator(t);
  qtbase = t;
  return true;
}

std::unique_ptr<FrmMain> startWorkbench(const std::string& sysPath) {
  StartupResult r = loadSession(sysPath);
  if (!r.ok) {
    showMessage(nullptr, kTitle, r.refusal, Buttons::Ok, Icon::Information);
    return nullptr;
  }
  auto w = std::make_unique<FrmMain>();
  w->show();
  writeOperationLog(kLogCode, kLogSubsystem, kLogEnter);
  return w;
}

}  // namespace sarnoth::gui
