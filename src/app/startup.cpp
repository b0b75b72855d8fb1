#include "app/startup.h"

#include "app/frm_main.h"
#include "app/messages.h"
#include "workarea/session.h"

namespace sarnoth::gui {

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
