// Import of geophysical method files into the work area: the leaves of the menu "物探数据导入"
// and the profile import "剖面数据导入" copy a method file byte for byte into the work area
// (Prof_Dat\ or Prof_Dat\2DMT\), after a check of its form where the entry has one.
//
// One table drives every entry: its suffixes in filter order, the first line the file must
// have (trimmed), the suffix offered when the file is renamed, the target directory and the
// final message. The rename suffix of mnuHD2ADataLoad is the three-electrode ".hd3" although it
// imports ".hd2" files; the entry keeps that.
//
// Steps, after the open dialog chose `source`:
//   1. the form check: the first line against the entry's text (a difference: kMsgMethodWrongHead
//      under "Sarnoth提示信息", stop), or for profile files the PROFA#/PROFB# magic
//      ("数据格式不正确，请检查", stop);
//   2. the target: work path + directory + the source's bare name;
//   3. a target that exists: "数据文件 <name> 已经存在，您要替换它吗？" Yes/No/Cancel. Yes copies
//   over
//      it; No asks for a new name (the picker in mode 200 with the rename suffix, or for profile
//      files an input box whose text gets ".prf"); Cancel, or no new name, ends without copying;
//   4. the copy (overwriting), whose failure is ignored as the system ignores it;
//   5. the final message.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth {

enum class MethodCheck { None, FirstLine, ProfileMagic };
enum class RenameBy { Picker, InputBox };

struct MethodImportEntry {
  const char* menu;                   // the menu entry's system name
  std::vector<const char*> suffixes;  // in filter order, with the dot
  const char* firstLine;              // required first line, "" for none
  const char* renameSuffix;
  const char* targetDir;  // below the work path, as the system spells it
  const char* finalMessage;
  MethodCheck check = MethodCheck::None;
  RenameBy rename = RenameBy::Picker;
};

inline constexpr const char* kMethodImportTitle = "请选择请选择您要导入的数据文件名";
inline constexpr const char* kMethodRenameTitle = "请输入您要重新命名的数据文件名";
inline constexpr const char* kProfileRenameTitle = "给定新的文件名称";
inline constexpr const char* kProfileRenamePrompt = "输入文件名";
inline constexpr const char* kProfileRenameDefault = "newfile";
inline constexpr const char* kMsgMethodWrongHead = "您选择的数据文件格式不正确，首行应为：";

const std::vector<MethodImportEntry>& methodImportTable();
const MethodImportEntry* findMethodImport(const std::string& menu);
// The open dialog's filter: "数据文件(*.p24)|*.p24|…" in suffix order; the profile entry's is
// "剖面数据文件(*.PRF)|*.prf|所有文件(*.*)|*.*".
std::string methodImportFilter(const MethodImportEntry& e);
// "数据文件 " + name + " 已经存在，您要替换它吗？"
std::string methodClashQuestion(const std::string& name);

// What the import asks for a new name: for the picker, the name with the rename suffix as the
// picker makes it (its gPickedFile); for the input box, the text typed. "" when cancelled.
struct RenameRequest {
  RenameBy by = RenameBy::Picker;
  std::string title;
  std::string mask;       // picker: "*" + rename suffix
  std::string extension;  // picker: the rename suffix
  std::string prompt;     // input box
  std::string defaultText;
};
using RenameAsker = std::function<std::string(const RenameRequest&)>;

enum class MethodImportResult { Imported, Refused, Cancelled };

// Steps 1 to 5 for a chosen source. `target` (when given) receives the path copied to.
MethodImportResult importMethodFile(const MethodImportEntry& e, const std::string& source,
                                    const std::string& workPath, Interaction& ui,
                                    const RenameAsker& askNewName, std::string* target = nullptr);

}  // namespace sarnoth
