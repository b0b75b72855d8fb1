// MASKPROLib.MaskPro: the section modelling control that fills the 2-D gravity and magnetic
// modelling window frmWTGm2DInverse (instance MaskPro1). The window is its host: it forwards
// every command by method id, keeps the control's size and answers its requests for file names.
// The control owns the model, the observed profile, the forward calculation and the inversion
// (gravmag/section_model.h, gm2d_forward.h, gm2d_inversion.h), the drawing, printing and the
// file bodies (gm2d_files.h); our control is gravmag/forms/MaskPro.
//
// Calls as the host makes them:
//   invoke(id)          a command of the table below, without arguments (late binding)
//   invoke(id, path)    the answer to a file request: 72–85, the full path or "" (nothing chosen)
//   printPreviewActive  whether the control stands in print preview (the host's guard)
// Events (MaskProEvents): commandState(key, enabled, checked) for a command key whose state
// changed; fileRequest(request) for the host to ask for a name; status(panel, text) with panel
// 1–3 or 0 for the general request; printPreview(active) when the preview opens or closes.
#pragma once

#include <string>
#include <vector>

namespace sarnoth::closed {

// A command of the host: its key (the menu entry's name), its caption ("" for a tool button
// only) and the control's method id (0: the host handles it itself).
struct MaskProCommand {
  const char* key;
  const char* caption;
  int method;
};
const std::vector<MaskProCommand>& maskProCommands();
// The method id of a key, 0 when it has none or is unknown.
int maskProMethodOf(const std::string& key);

// Method ids the host calls outside the table.
inline constexpr int kMaskProOpen = 70;      // on opening the form
inline constexpr int kMaskProHelpKeys = 71;  // mnuHelpFunctionKey

// The file requests of the control, and the answer method of each.
enum class MaskProRequest {
  OpenPrintSet,       // 72
  SavePrintSet,       // 73
  OpenColours,        // 74
  SaveColours,        // 75
  OpenObserved,       // 76
  OpenTerrain,        // 77
  OpenModel,          // 78  models inserted from a file (paste with an empty clipboard)
  SaveModel,          // 79  "剖面模型存盘为..."
  SaveChosenModels,   // 80  the chosen bodies alone
  SaveData,           // 81  the profile panel's data
  SaveProfileData,    // 82  "剖面原始数据存盘"
  SaveInvertedModel,  // 83  offered at the end of an inversion
  SaveCalculated,     // 84  "剖面计算数据存盘为..."
  OpenInitialModel,   // 85  "装载初始模型"
};

struct MaskProRequestInfo {
  MaskProRequest request;
  int mode;               // frmSelectFiles: 100 picks an existing file, 200 names a new one
  const char* pattern;    // "*.set"
  const char* extension;  // added to a new name ("" when picking)
  const char* title;
  int answer;  // the control's answer method
};
const MaskProRequestInfo& maskProRequestInfo(MaskProRequest request);
const std::vector<MaskProRequestInfo>& maskProRequests();

class MaskProEvents {
 public:
  virtual ~MaskProEvents() = default;
  virtual void commandState(const std::string& key, bool enabled, bool checked) = 0;
  virtual void fileRequest(MaskProRequest request) = 0;
  virtual void status(int panel, const std::string& text) = 0;
  virtual void printPreview(bool active) = 0;
};

class MaskProApi {
 public:
  virtual ~MaskProApi() = default;
  virtual void setEvents(MaskProEvents* events) = 0;
  // A command by id; false for an id the control does not know.
  virtual bool invoke(int method) = 0;
  // A file answer (72–85) with its path; false for another id.
  virtual bool invoke(int method, const std::string& path) = 0;
  virtual bool printPreviewActive() const = 0;
};

}  // namespace sarnoth::closed
