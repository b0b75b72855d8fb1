#include "closed/korva_ocx.h"

#include <map>

namespace sarnoth::closed {
namespace {

std::map<int, KorvaOperation>& operations() {
  static std::map<int, KorvaOperation> ops;
  return ops;
}

}  // namespace

std::string korvaOperationName(int op) {
  switch (op) {
    case kKorvaSetWorkArea:
      return "设置工作区";
    case kKorvaBPClassify:
      return "BP神经网络分类";
    case kKorvaGeneticClassify:
      return "遗传神经网络分类";
    case kKorvaKohCluster:
      return "Koh聚类分析";
    case kKorvaTfiCluster:
      return "Tfi聚类分析";
    default:
      return {};
  }
}

void installKorvaOperation(int op, KorvaOperation impl) {
  if (impl)
    operations()[op] = std::move(impl);
  else
    operations().erase(op);
}

Outcome KorvaOcx::call(int op, const std::string& workPath, const std::string& databasePath) {
  if (op != kKorvaSetWorkArea) return call(op);
  workPath_ = workPath;
  databasePath_ = databasePath;
  return Outcome::success();
}

Outcome KorvaOcx::call(int op) {
  std::string name = korvaOperationName(op);
  if (name.empty() || op == kKorvaSetWorkArea)
    return Outcome::failure("KorvaOcx 没有操作 " + std::to_string(op) + "。");
  if (workPath_.empty()) return Outcome::failure(name + ": 未设置工作区。");
  auto it = operations().find(op);
  if (it == operations().end())
    return Outcome::failure(name + " (KorvaOcx 操作 " + std::to_string(op) +
                            ") 尚未提供, 此功能暂不可用。");
  return it->second(workPath_, databasePath_);
}

}  // namespace sarnoth::closed
