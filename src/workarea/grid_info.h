// What the grid picker learns of a grid file from its head alone, and the information text it
// shows for it ("网格数据特征信息").
//
// The head is the 12-byte magic, the 20-byte method and the 68-byte header record of the grid
// file layout (see grid_file.h). Only characters 7 to 12 of the magic are compared, so files of
// older product generations read alike. Reading never looks past the 100 bytes of the head.
#pragma once

#include <string>

#include "workarea/grid_file.h"

namespace sarnoth {

inline constexpr std::size_t kGridHeadBytes = 12 + 20 + 68;
inline constexpr const char* kNotBinaryGridText = "非Sarnoth二进制网格数据.";

enum class GridHeadStatus { Ok, OpenFailed, BadMagic, Truncated };

struct GridHeadResult {
  GridHeadStatus status = GridHeadStatus::OpenFailed;
  GridHeader header;  // magic, method and the header record
  bool ok() const { return status == GridHeadStatus::Ok; }
};

// True when characters 7 to 12 of a 12-byte magic are "GRIDB#".
bool isBinaryGridMagic(const std::string& magic);

// Reads the magic; on "GRIDB#" reads the method and the header record.
GridHeadResult readBinaryGridHead(const std::string& path);

// The lines of the information text, "\r\n"-separated as the file holds them.
std::string gridInfoText(const GridHeader& header);

// Writes the information text as GBK to `path`. False when the file cannot be written.
bool writeGridInfoFile(const std::string& path, const GridHeader& header);

}  // namespace sarnoth
