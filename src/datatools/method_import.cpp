#include "datatools/method_import.h"

#include <deque>
#include <filesystem>

#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/scatter_file.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

constexpr const char* kProf = "Prof_Dat\\";
constexpr const char* kMt = "Prof_Dat\\2DMT\\";
constexpr const char* kFwd = "您选择的正演数据已经导入到工作区中!";
constexpr const char* kInv = "您选择的反演数据已经导入到工作区中!";
constexpr const char* kMtDone = "您选择的数据已经导入到数据库中!";
constexpr const char* kDone = "您选择的数据已经导入到工作区中!";
constexpr const char* kModel = "您选择的模型数据已经导入到工作区中!";

MethodImportEntry plain(const char* menu, std::vector<const char*> suffixes, const char* rename,
                        const char* message, const char* dir = kProf) {
  return {menu, std::move(suffixes), "", rename, dir, message};
}

MethodImportEntry tagged(const char* menu, const char* suffix, const char* firstLine,
                         const char* rename, const char* message, const char* dir = kProf) {
  return {menu, {suffix}, firstLine, rename, dir, message, MethodCheck::FirstLine};
}

// Text that the table points into; a deque keeps every string where it was made.
const char* kept(std::string text) {
  static std::deque<std::string> store;
  store.push_back(std::move(text));
  return store.back().c_str();
}

// The section files: four suffixes each, the highest digit first (".p24", ".p23", …).
MethodImportEntry section(const std::string& menu, const char* stem, bool inverse) {
  std::vector<const char*> s;
  const int top = inverse ? 8 : 4;
  for (int d = top; d > top - 4; --d)
    s.push_back(kept(std::string(".") + stem + std::to_string(d)));
  return {kept(menu), s, "", s[0], kProf, inverse ? kInv : kFwd};
}

std::vector<MethodImportEntry> buildTable() {
  std::vector<MethodImportEntry> t;
  t.reserve(64);
  t.push_back(tagged("mnuMT2DBasedInfoFileLoad", ".mt1", "2DMT Inverse Based Information File",
                     ".mt1", kMtDone, kMt));
  t.push_back(tagged("mnuMT2DGridsInfoFileLoad", ".mt2", "2DMT Inverse Grids Information File",
                     ".mt2", kMtDone, kMt));
  t.push_back(tagged("mnuMT2DModelInfoFileLoad", ".mt3", "2DMT Inverse Model Information File",
                     ".mt3", kMtDone, kMt));
  t.push_back(plain("mnuResIP1DPosFileDataLoad", {".pos"}, ".pos", kInv));
  t.push_back(plain("mnuResIP1D2J0SoundInvDataLoad", {".s1i"}, ".s1i", kInv));
  t.push_back(plain("mnuResIP1D4J0SoundInvDataLoad", {".s3i"}, ".s3i", kInv));
  t.push_back(plain("mnuResIP1D4J1SoundInvDataLoad", {".s2i"}, ".s2i", kInv));
  t.push_back(plain("mnuResIP1DOJ0SoundInvDataLoad", {".s5i"}, ".s5i", kInv));
  t.push_back(plain("mnuResIP1DOJ1SoundInvDataLoad", {".s4i"}, ".s4i", kInv));
  t.push_back(plain("mnuResIP1D2J0SoundForDataLoad", {".s1f"}, ".s1f", kFwd));
  t.push_back(plain("mnuResIP1D4J0SoundForDataLoad", {".s3f"}, ".s3f", kFwd));
  t.push_back(plain("mnuResIP1D4J1SoundForDataLoad", {".s2f"}, ".s2f", kFwd));
  t.push_back(plain("mnuResIP1DOJ0SoundForDataLoad", {".s5f"}, ".s5f", kFwd));
  t.push_back(plain("mnuResIP1DOJ1SoundForDataLoad", {".s4f"}, ".s4f", kFwd));
  // The two-electrode entry renames with the three-electrode suffix: kept as the system has it.
  t.push_back(tagged("mnuHD2ADataLoad", ".hd2", "二极实测数据", ".hd3",
                     "您选择的二极实测数据已经导入到工作区中!"));
  t.push_back(tagged("mnuHD3ADataLoad", ".hd3", "三极实测数据", ".hd3",
                     "您选择的三极实测数据已经导入到工作区中!"));
  t.push_back(tagged("mnuHD4ADataLoad", ".hd4", "对称四极实测数据", ".hd4", kDone));
  t.push_back(tagged("mnuHDOADataLoad", ".hdo", "偶极偶极实测数据", ".hdo",
                     "您选择的偶极偶极实测数据已经导入到工作区中!"));
  t.push_back(tagged("mnuHDTopoDataLoad", ".ter", "地形数据", ".ter",
                     "您选择的地形数据已经导入到工作区中!"));
  for (bool inverse : {false, true}) {
    const char* suffix = inverse ? "Inv" : "For";
    for (auto [name, stem] : {std::pair{"P2", "p2"},
                              {"P3", "p3"},
                              {"P4", "p4"},
                              {"Po", "po"},
                              {"S2", "s2"},
                              {"S3", "s3"},
                              {"S4", "s4"},
                              {"So", "so"},
                              {"Pg", "pg"},
                              {"Pm", "pm"}}) {
      t.push_back(section(std::string("mnuResIP2D") + name + suffix + "DataLoad", stem, inverse));
    }
  }
  t.push_back(plain("mnuGM2DModeDataLoad", {".mo2"}, ".mo2", kModel));
  t.push_back(plain("mnuGM2DProfDataLoad", {".gm2"}, ".gm2", kDone));
  t.push_back(plain("mnuGM3DModeDataLoad", {".mo3"}, ".mo3", kModel));
  t.push_back(plain("mnuGM3DSurfDataLoad", {".gm3"}, ".gm3", kDone));
  t.push_back(tagged("mnuDC2DTopoDataLoad", ".top", "二维电阻率法地形改正数据文件", ".top", kDone));
  MethodImportEntry profile{
      "mnuDataPrevProc104",      {".prf"},          "", ".prf", kProf, "剖面数据文件已导入。",
      MethodCheck::ProfileMagic, RenameBy::InputBox};
  t.push_back(profile);
  return t;
}

std::string firstLineOf(const std::string& path, bool& ok) {
  std::string bytes;
  ok = filetext::readWholeFile(path, bytes);
  if (!ok) return {};
  const std::size_t end = bytes.find('\n');
  return filetext::trim(decodeFileText(bytes.substr(0, end)));
}

std::string bareName(const std::string& path) {
  std::string p = path;
  for (char& c : p)
    if (c == '\\') c = '/';
  return std::filesystem::path(p).filename().string();
}

void copyIgnoringErrors(const std::string& from, const std::string& to) {
  std::error_code ec;
  const std::filesystem::path src = resolvePath(from), dst = resolvePath(to);
  // A file copied onto itself stays as it is.
  if (std::filesystem::exists(dst, ec) && std::filesystem::equivalent(src, dst, ec)) return;
  std::filesystem::create_directories(dst.parent_path(), ec);
  std::filesystem::copy_file(src, dst, std::filesystem::copy_options::overwrite_existing, ec);
}

}  // namespace

const std::vector<MethodImportEntry>& methodImportTable() {
  static const std::vector<MethodImportEntry> table = buildTable();
  return table;
}

const MethodImportEntry* findMethodImport(const std::string& menu) {
  for (const auto& e : methodImportTable())
    if (menu == e.menu) return &e;
  return nullptr;
}

std::string methodImportFilter(const MethodImportEntry& e) {
  if (e.check == MethodCheck::ProfileMagic) return "剖面数据文件(*.PRF)|*.prf|所有文件(*.*)|*.*";
  std::string f;
  for (const char* s : e.suffixes) {
    if (!f.empty()) f += "|";
    f += std::string("数据文件(*") + s + ")|*" + s;
  }
  return f;
}

std::string methodClashQuestion(const std::string& name) {
  return "数据文件 " + name + " 已经存在，您要替换它吗？";
}

MethodImportResult importMethodFile(const MethodImportEntry& e, const std::string& source,
                                    const std::string& workPath, Interaction& ui,
                                    const RenameAsker& askNewName, std::string* targetOut) {
  if (e.check == MethodCheck::FirstLine) {
    bool ok = false;
    const std::string first = firstLineOf(source, ok);
    if (first != e.firstLine) {
      ui.inform(kTitleInfo, std::string(kMsgMethodWrongHead) + e.firstLine, Icon::Information);
      return MethodImportResult::Refused;
    }
  } else if (e.check == MethodCheck::ProfileMagic && !isProfileFile(source)) {
    ui.inform(kTitleInfo, kMsgProfileBadFormat, Icon::Information);
    return MethodImportResult::Refused;
  }
  const std::string name = bareName(source);
  std::string target = workPath + e.targetDir + name;
  if (pathExists(target)) {
    const Answer a =
        ui.ask(kTitleInfo, methodClashQuestion(name), Buttons::YesNoCancel, Icon::Question);
    if (a == Answer::Cancel) return MethodImportResult::Cancelled;
    if (a == Answer::No) {
      RenameRequest r;
      r.by = e.rename;
      if (e.rename == RenameBy::Picker) {
        r.title = kMethodRenameTitle;
        r.mask = std::string("*") + e.renameSuffix;
        r.extension = e.renameSuffix;
      } else {
        r.title = kProfileRenameTitle;
        r.prompt = kProfileRenamePrompt;
        r.defaultText = kProfileRenameDefault;
      }
      std::string picked = askNewName ? askNewName(r) : std::string();
      if (picked.empty()) return MethodImportResult::Cancelled;
      if (e.rename == RenameBy::InputBox) picked += e.renameSuffix;
      target = workPath + e.targetDir + picked;
    }
  }
  copyIgnoringErrors(source, target);
  if (targetOut) *targetOut = target;
  ui.inform(kTitleInfo, e.finalMessage, Icon::Information);
  return MethodImportResult::Imported;
}

}  // namespace sarnoth
