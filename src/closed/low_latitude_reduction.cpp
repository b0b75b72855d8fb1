#include "closed/low_latitude_reduction.h"

#include "closed/gm_filter_com.h"
#include "gravmag/filter_methods.h"
#include "gravmag/freq_processing.h"
#include "workarea/path_resolver.h"

namespace sarnoth::closed {
namespace {

LowLatitudeWork& installed() {
  static LowLatitudeWork work = lowLatitudeWork;
  return work;
}

}  // namespace

LowLatitudeWork installLowLatitudeReduction(LowLatitudeWork work) {
  LowLatitudeWork previous = std::move(installed());
  installed() = std::move(work);
  return previous;
}

Outcome runLowLatitudeReduction(const LowLatitudeCallbacks& callbacks) {
  if (!installed())
    return Outcome::failure(std::string(kLowLatitudeName) + " 尚未提供, 此功能暂不可用。");
  return installed()(callbacks);
}

Outcome lowLatitudeWork(const LowLatitudeCallbacks& callbacks) {
  std::array<std::string, 4> paths;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    paths[i] = callbacks[i] ? callbacks[i]() : std::string();
    // The field and the result are needed; the inclination and declination grids are not.
    if (i < 2 && paths[i].empty()) return Outcome::success();
  }
  double inclination = 0, declination = 0;
  if (!paths[2].empty()) gravmag::gridMean(resolvePath(paths[2]), inclination);
  if (!paths[3].empty()) gravmag::gridMean(resolvePath(paths[3]), declination);
  gravmag::FilterParams params = gravmag::lowLatitudeDefaults(inclination, declination);
  if (const auto& dialog = componentParamDialog())
    if (!dialog("低纬度磁场化极", params)) return Outcome::success();
  Outcome o = gravmag::runLowLatitudePole(
      resolvePath(paths[0]), resolvePath(paths[1]), gravmag::paramValue(params, "ii"),
      gravmag::paramValue(params, "dd"), gravmag::paramValue(params, "amp-ii"));
  if (!o.ok) return o;
  return Outcome::success(gravmag::kMsgComponentDone);
}

}  // namespace sarnoth::closed
