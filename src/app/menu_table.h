// The main window's whole menu as data: every entry under its system name, with its caption,
// accelerator (the letter after '&' in the caption), separators, entries that are never shown,
// its action, the tool's mode and the status text written before the tool opens.
//
// Entries are listed in menu order; each names its parent (nullptr for the menu bar). FrmMain
// builds its menu bar from this table and dispatches on `action`.
#pragma once

#include <string>
#include <vector>

namespace sarnoth::gui {

enum class MenuKind { Leaf, Separator, Submenu };

enum class MenuAction {
  None,            // separators, submenus, entries without handler
  Tool,            // opens the tool window `target`
  SaveDataTo,      // frmSaveDataTo, after the check that a work area is set
  FactorAnalysis,  // SarnAX operation 60030001
  Korva,           // KorvaO operation 1, then operation `mode`
  LowLatitude,     // the low-latitude reduction component with its four call-backs
  GeoMGInv,        // GeoMGInvS.exe unless it runs
  Gmc,             // gmc.exe
  Invs3D,          // Invs3DCom.dll and its file requests
  CSAMT3D,         // CSAMT3DFwdCom.dll and its file requests
  FileImport,      // a file import into the work area, registered under the entry's name
  Help,            // the help viewer on help\SarnHelp.chm
  About,           // frmAbout
  Exit,            // closes the main window
};

inline constexpr int kNoMode = 0;

struct MenuEntry {
  const char* name;
  const char* parent;   // nullptr: the menu bar
  const char* caption;  // "" for separators
  MenuKind kind = MenuKind::Leaf;
  MenuAction action = MenuAction::None;
  const char* target = "";  // the tool window's system name
  int mode = kNoMode;       // the tool's mode, or the KorvaO operation
  bool modeless = false;
  const char* status = "";  // written into the panel "提示" first, when not empty
  bool hidden = false;      // in the menu, never shown
};

// The window title and the status panel's key.
inline constexpr const char* kStatusPanelKey = "提示";
inline constexpr const char* kSaveDataNoWorkArea = "请先选择工作区。";

const std::vector<MenuEntry>& menuTable();
// The entry of a name, or null.
const MenuEntry* findMenuEntry(const std::string& name);
// The accelerator letter of a caption ('\0' when none): "数据剪裁(&C)" → 'C'.
char menuAccelerator(const char* caption);

}  // namespace sarnoth::gui
