#include "closed/gm_filter_com.h"

namespace sarnoth::closed {
namespace {

gravmag::ParamDialog& installed() {
  static gravmag::ParamDialog dialog;
  return dialog;
}

}  // namespace

void installComponentParamDialog(gravmag::ParamDialog dialog) { installed() = std::move(dialog); }
const gravmag::ParamDialog& componentParamDialog() { return installed(); }

Outcome GMFilterComponent::setOutputGrid(const std::string& path) {
  gravmag::FilterParams params = gravmag::filterDefaults(code_);
  if (params.empty() && gravmag::filterMethodName(code_).empty())
    return Outcome::failure("无此滤波功能号: " + std::to_string(code_));
  for (auto& p : params) p.value = gravmag::paramValue(preset_, p.key, p.value);
  if (const auto& dialog = componentParamDialog())
    if (!dialog(gravmag::filterMethodName(code_), params)) return Outcome::failure({});
  return gravmag::runFilterMethod(code_, input_, path, params, progress_);
}

}  // namespace sarnoth::closed
