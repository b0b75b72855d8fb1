// Invs3DCom.dll: the closed three-dimensional gravity and magnetic property inversion
// ("三维重磁物性反演"). The main window creates the component, keeps it while it runs and calls
// its start operation; the component then asks for its six files by order:
//
//   1  frmSelFiles 100                                         Grid_dat\  observed grid 1
//   2  frmSelFiles 100                                         Grid_dat\  observed grid 2
//   3  frmSelectFiles 100  "*.vol" "请选择反演初始模型文件"     Prof_dat\  starting model
//   4  frmSelectFiles 100  "*.par" "请选择反演控制参数文件"     Prof_dat\  control parameters
//   5  frmSelFiles 200                                         Grid_dat\  result grid
//   6  frmSelectFiles 200 ".vol" "*.vol" "请输入模型体数据文件名" Prof_dat\ model body file
#pragma once

#include <memory>

#include "closed/file_request.h"

namespace sarnoth::closed {

inline constexpr const char* kInvs3DComName = "三维重磁物性反演组件 (Invs3DCom.dll)";

const std::vector<FileRequest>& invs3dFileRequests();

// Where the inversion's implementation lands; an empty work removes it.
void installInvs3DCom(ComponentWork work);

// A new component object whose requests go to `answer`.
std::unique_ptr<RequestingComponent> createInvs3DCom(FileAnswer answer);

}  // namespace sarnoth::closed
