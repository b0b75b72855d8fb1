#include "closed/csamt3d_fwd_com.h"

namespace sarnoth::closed {
namespace {

ComponentWork& installed() {
  static ComponentWork work;
  return work;
}

}  // namespace

const std::vector<FileRequest>& csamt3dFileRequests() {
  static const std::vector<FileRequest> table = {
      {1, PickerKind::SelectFiles, 100, "*.fwd", "请选择正演数据文件", "Prof_dat\\", "",
       "forward data"},
      {2, PickerKind::SelectFiles, 200, "*.dat", "请输入正演结果Rxy数据文件名", "Prof_dat\\",
       ".dat", "Rxy result"},
      {3, PickerKind::SelectFiles, 200, "*.dat", "请输入正演结果Ryx数据文件名", "Prof_dat\\",
       ".dat", "Ryx result"},
      {4, PickerKind::SelectFiles, 200, "*.dat", "请输入正演结果Pxy数据文件名", "Prof_dat\\",
       ".dat", "Pxy result"},
      {5, PickerKind::SelectFiles, 200, "*.dat", "请输入正演结果Pyx数据文件名", "Prof_dat\\",
       ".dat", "Pyx result"},
  };
  return table;
}

void installCSAMT3DFwdCom(ComponentWork work) { installed() = std::move(work); }

std::unique_ptr<RequestingComponent> createCSAMT3DFwdCom(FileAnswer answer) {
  return std::make_unique<RequestingComponent>(kCSAMT3DFwdComName, csamt3dFileRequests(),
                                               installed(), std::move(answer));
}

}  // namespace sarnoth::closed
