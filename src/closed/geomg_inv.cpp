#include "closed/geomg_inv.h"

namespace sarnoth::closed {

bool geoMGInvRunning() { return isProgramRunning(kGeoMGInvTitle); }

LaunchResult startGeoMGInv(const std::string& sysPath) {
  if (geoMGInvRunning()) {
    LaunchResult r;
    r.alreadyRunning = true;
    r.outcome = Outcome::success();
    return r;
  }
  LaunchResult r = launchDetached(sysPath + kGeoMGInvProgram);
  if (!r.outcome.ok)
    r.outcome.message = "三维重磁异常反演程序 GeoMGInvS.exe 尚不可用。\n" + r.outcome.message;
  return r;
}

}  // namespace sarnoth::closed
