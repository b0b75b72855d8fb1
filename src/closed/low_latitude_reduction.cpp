#include "closed/low_latitude_reduction.h"

namespace sarnoth::closed {
namespace {

LowLatitudeWork& installed() {
  static LowLatitudeWork work;
  return work;
}

}  // namespace

void installLowLatitudeReduction(LowLatitudeWork work) { installed() = std::move(work); }

Outcome runLowLatitudeReduction(const LowLatitudeCallbacks& callbacks) {
  if (!installed())
    return Outcome::failure(std::string(kLowLatitudeName) + " 尚未提供, 此功能暂不可用。");
  return installed()(callbacks);
}

}  // namespace sarnoth::closed
