// 2D_DCControl: the section control that fills the 2-D interactive resistivity/IP window
// FrmWTResIP2DMan (on the form as My2D_DCControl). The window is its host: it forwards the menu
// commands, one line each, and answers the control's requests for files; the control owns the
// section (curves drawn as lines and polylines, the regions closed from them and their
// properties), the mesh and its data, the finite-element forward and the inversion
// (electric/dc2d_session.h), the pseudo-sections and model images, and its own dialogs (region
// properties, station numbering, display scale, curve numbering).
//
// Calls as the host makes them:
//   setRun(calcMode, paramMode, terrain, device)   the run chosen in FrmWTResIP2DManData
//   openFile(path)                                 the data file the dialog checked; false (with
//                                                  the reason shown) when its body is refused
//   command(name)                                  a menu entry, e.g. "mnuFYComputeAndShow"
//   Requests come back through Dc2dControlHost::requestFile; the host's answer is a full path,
//   or "" (a cancelled dialog), which the control takes as "no file".
// Events: requestFile for the four kinds of file below; pointerMoved with the section
// coordinates under the pointer (x m, elevation m); commandState for each command whose
// availability follows the control's state (the mnuInverse steps, the results).
#pragma once

#include <string>
#include <vector>

namespace sarnoth::closed {

enum class Dc2dRequest {
  OpenTextData,     // *.txt: curves of a new section
  SaveResultData,   // *.dat: the forward or inverse result data file
  SaveMeshData,     // *.dat: the section-mesh data file
  SaveResultImage,  // *.bmp (a .png name saves PNG): the result pictures
};

// The menu entries the control obeys, as named on the host's menu.
const std::vector<std::string>& dc2dControlCommands();
// Those whose state the control reports.
const std::vector<std::string>& dc2dControlStatefulCommands();

class Dc2dControlHost {
 public:
  virtual ~Dc2dControlHost() = default;
  virtual std::string requestFile(Dc2dRequest request) = 0;
  virtual void pointerMoved(double x, double z) = 0;
  virtual void commandState(const std::string& command, bool enabled) = 0;
};

class Dc2dControlApi {
 public:
  virtual ~Dc2dControlApi() = default;
  virtual void setHost(Dc2dControlHost* host) = 0;
  virtual void setRun(int calcMode, int paramMode, int terrain, int device) = 0;
  virtual bool openFile(const std::string& path) = 0;
  // Runs a command; false when the name is not one of dc2dControlCommands().
  virtual bool command(const std::string& name) = 0;
  virtual bool fileLoaded() const = 0;
};

}  // namespace sarnoth::closed
