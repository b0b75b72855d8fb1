#include "closed/file_request.h"

namespace sarnoth::closed {

const FileRequest* findRequest(const std::vector<FileRequest>& table, int order) {
  for (const auto& r : table)
    if (r.order == order) return &r;
  return nullptr;
}

RequestingComponent::RequestingComponent(std::string displayName,
                                         const std::vector<FileRequest>& table, ComponentWork work,
                                         FileAnswer answer)
    : displayName_(std::move(displayName)),
      table_(table),
      work_(std::move(work)),
      answer_(std::move(answer)) {}

Outcome RequestingComponent::start() {
  if (!work_) return Outcome::failure(displayName_ + " 尚未提供, 此功能暂不可用。");
  return work_(*this);
}

std::string RequestingComponent::requestFile(int order) {
  const FileRequest* r = findRequest(table_, order);
  std::string path = (r && answer_) ? answer_(*r) : std::string();
  answers_.emplace_back(order, path);
  return path;
}

}  // namespace sarnoth::closed
