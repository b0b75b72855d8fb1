#include "closed/sarnoth_ax.h"

#include <cstdio>
#include <map>

namespace sarnoth::closed {
namespace {

std::map<std::uint32_t, SarnothAxOperation>& operations() {
  static std::map<std::uint32_t, SarnothAxOperation> ops;
  return ops;
}

}  // namespace

void installSarnothAxOperation(std::uint32_t dispatchId, SarnothAxOperation op) {
  if (op)
    operations()[dispatchId] = std::move(op);
  else
    operations().erase(dispatchId);
}

Outcome invokeSarnothAx(std::uint32_t dispatchId, const std::vector<std::string>& args) {
  auto it = operations().find(dispatchId);
  if (it == operations().end()) {
    char id[16];
    std::snprintf(id, sizeof id, "%X", static_cast<unsigned>(dispatchId));
    return Outcome::failure(std::string(kSarnothAxName) + " 的操作 " + id +
                            " 尚未提供, 此功能暂不可用。");
  }
  return it->second(args);
}

Outcome runFactorAnalysis(const std::string& databasePath, const std::string& workPath) {
  return invokeSarnothAx(kSarnothAxFactorAnalysis, {databasePath, workPath});
}

}  // namespace sarnoth::closed
