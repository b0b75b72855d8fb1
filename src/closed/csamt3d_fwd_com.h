// CSAMT3DFwdCom.dll: the closed three-dimensional controlled-source audio-frequency
// magnetotelluric forward model ("三维可控源音频大地电磁法正演"). Created, kept and started by
// the main window like Invs3DCom; its five requests by order:
//
//   1  frmSelectFiles 100        "*.fwd" "请选择正演数据文件"            Prof_dat\  forward data
//   2  frmSelectFiles 200 ".dat" "*.dat" "请输入正演结果Rxy数据文件名"   Prof_dat\  Rxy result
//   3  frmSelectFiles 200 ".dat" "*.dat" "请输入正演结果Ryx数据文件名"   Prof_dat\  Ryx result
//   4  frmSelectFiles 200 ".dat" "*.dat" "请输入正演结果Pxy数据文件名"   Prof_dat\  Pxy result
//   5  frmSelectFiles 200 ".dat" "*.dat" "请输入正演结果Pyx数据文件名"   Prof_dat\  Pyx result
#pragma once

#include <memory>

#include "closed/file_request.h"

namespace sarnoth::closed {

inline constexpr const char* kCSAMT3DFwdComName =
    "三维可控源音频大地电磁法正演组件 (CSAMT3DFwdCom.dll)";

const std::vector<FileRequest>& csamt3dFileRequests();

// Where the forward model's implementation lands; an empty work removes it.
void installCSAMT3DFwdCom(ComponentWork work);

std::unique_ptr<RequestingComponent> createCSAMT3DFwdCom(FileAnswer answer);

}  // namespace sarnoth::closed
