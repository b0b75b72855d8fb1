// SOUNDCONTROLLib.SoundControl: the sounding control that fills the 1-D resistivity/IP sounding
// window FrmWTResIP1DSound. The window is its host: it forwards the menu commands, one line each,
// and answers the control's requests for files; the control owns the sounding, its modelling
// (electric/sounding_session.h over the forward and inversion engines), its display (curves on
// log–log axes, the model as a staircase, the layer table) and its own dialogs (data change,
// layer positions).
//
// Calls as the host makes them:
//   setRun(calcMode, paramMode, device)   the run chosen in FrmWTResIP1DData
//   command(name)                         a menu entry or toolbar key, e.g. "mnuForwardCompute"
//   Requests come back through SoundControlHost::requestFile; the host's answer is a full path,
//   or "" (a cancelled dialog), which the control takes as "no file".
// Events: requestFile for the five files of the table below and the image; pointerMoved with
// the curve coordinates under the pointer (spacing m, apparent resistivity Ω·m); commandState
// for each of the eleven forward and inverse commands when the control's state changes.
#pragma once

#include <string>
#include <vector>

namespace sarnoth::closed {

// The requests the control raises. The host shows the dialog and answers with a path.
enum class SoundRequest {
  OpenForwardFile,    // *.s?f of the run's device, head checked against the run
  SaveForwardResult,  // *.dat
  OpenInverseFile,    // *.s?i of the run's device, head checked against the run
  OpenPositionFile,   // *.pos
  SaveInverseResult,  // *.dat
  SaveImage,          // *.bmp (a .png name saves PNG)
};

// The menu entries the control obeys, as named on the host's menu and toolbar.
const std::vector<std::string>& soundControlCommands();
// The eleven whose state the control reports.
const std::vector<std::string>& soundControlStatefulCommands();

class SoundControlHost {
 public:
  virtual ~SoundControlHost() = default;
  virtual std::string requestFile(SoundRequest request) = 0;
  virtual void pointerMoved(double x, double y) = 0;
  virtual void commandState(const std::string& command, bool enabled) = 0;
};

class SoundControlApi {
 public:
  virtual ~SoundControlApi() = default;
  virtual void setHost(SoundControlHost* host) = 0;
  virtual void setRun(int calcMode, int paramMode, int device) = 0;
  // Runs a command; false when the name is not one of soundControlCommands().
  virtual bool command(const std::string& name) = 0;
  // True once a file fitting the run has been loaded.
  virtual bool fileLoaded() const = 0;
};

}  // namespace sarnoth::closed
