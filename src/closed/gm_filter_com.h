// The closed filter component of the frequency-domain tool (class
// {819F3858-0CA8-40ED-8FAB-C850FA82EA06}, interface {E123F38D-D141-419C-BF67-611A94DB9E28}).
//
// Three operations behind the standard object base, in this slot order: set the input grid
// path, set the output grid path, set the function code. frmGMFreqProcs creates the object and
// calls set input, set code, set output, in that order; the last call runs the work. Then it
// lets the object go, shows "重磁数据处理成功！" and refreshes its file list. No other parameter
// crosses this border: what a method needs besides the grid it asks for in the component's own
// dialog (installComponentParamDialog), with defaults when none is installed.
//
// Codes: 8 compensated smoothing, 5 regularised filtering, 10 three-component conversion
// (three grids beside the output, <name>_Hax, _Hay, _Za), 3 linear enhancement, 7 conversion to
// any direction. The methods are gravmag/filter_methods.h.
#pragma once

#include <string>

#include "gravmag/filter_methods.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"

namespace sarnoth::closed {

inline constexpr const char* kGMFilterClassId = "{819F3858-0CA8-40ED-8FAB-C850FA82EA06}";
inline constexpr const char* kGMFilterInterfaceId = "{E123F38D-D141-419C-BF67-611A94DB9E28}";

// The dialog in which the closed components (this one and the low-latitude reduction) ask for
// their parameters. The workbench installs its window; without one the defaults (or the values
// a caller presets) stand.
void installComponentParamDialog(gravmag::ParamDialog dialog);
const gravmag::ParamDialog& componentParamDialog();

class GMFilterComponent {
 public:
  explicit GMFilterComponent(Progress& progress = noProgress()) : progress_(progress) {}

  // Slot 1.
  void setInputGrid(const std::string& path) { input_ = path; }
  // Slot 3.
  void setFunctionCode(long code) { code_ = code; }
  // Slot 2: runs the work. The outcome's text on failure is the component's; cancelling its
  // dialog gives a failure with an empty text.
  Outcome setOutputGrid(const std::string& path);

  // Values to start the dialog from (the command line's options), by key.
  void presetParams(const gravmag::FilterParams& params) { preset_ = params; }

 private:
  Progress& progress_;
  std::string input_;
  long code_ = 0;
  gravmag::FilterParams preset_;
};

}  // namespace sarnoth::closed
