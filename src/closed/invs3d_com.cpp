#include "closed/invs3d_com.h"

namespace sarnoth::closed {
namespace {

ComponentWork& installed() {
  static ComponentWork work;
  return work;
}

}  // namespace

const std::vector<FileRequest>& invs3dFileRequests() {
  static const std::vector<FileRequest> table = {
      {1, PickerKind::SelFiles, 100, "", "", "Grid_dat\\", "", "observed grid 1"},
      {2, PickerKind::SelFiles, 100, "", "", "Grid_dat\\", "", "observed grid 2"},
      {3, PickerKind::SelectFiles, 100, "*.vol", "请选择反演初始模型文件", "Prof_dat\\", "",
       "starting model"},
      {4, PickerKind::SelectFiles, 100, "*.par", "请选择反演控制参数文件", "Prof_dat\\", "",
       "control parameters"},
      {5, PickerKind::SelFiles, 200, "", "", "Grid_dat\\", "", "result grid"},
      {6, PickerKind::SelectFiles, 200, "*.vol", "请输入模型体数据文件名", "Prof_dat\\", ".vol",
       "model body file"},
  };
  return table;
}

void installInvs3DCom(ComponentWork work) { installed() = std::move(work); }

std::unique_ptr<RequestingComponent> createInvs3DCom(FileAnswer answer) {
  return std::make_unique<RequestingComponent>(kInvs3DComName, invs3dFileRequests(), installed(),
                                               std::move(answer));
}

}  // namespace sarnoth::closed
