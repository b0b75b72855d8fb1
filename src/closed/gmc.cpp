#include "closed/gmc.h"

namespace sarnoth::closed {

LaunchResult startGmc(const std::string& sysPath) {
  LaunchResult r = launchDetached(sysPath + kGmcProgram);
  if (!r.outcome.ok)
    r.outcome.message = "重磁化综合剖面反演程序 gmc.exe 尚不可用。\n" + r.outcome.message;
  return r;
}

}  // namespace sarnoth::closed
