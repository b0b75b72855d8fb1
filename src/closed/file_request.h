// The file requests of the in-process closed components (Invs3DCom.dll, CSAMT3DFwdCom.dll).
//
// Once started, such a component asks its host, by order number, for the files it works on. The
// host (FrmMain) answers each request by showing the picker the request names, with its mode,
// mask, title and extension, and hands back the work-area path: gWorkPath + baseDir + the picked
// name. When the picker is cancelled the request is not answered (an empty answer).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth::closed {

enum class PickerKind {
  SelFiles,     // frmSelFiles: grid files of Grid_dat\ (mask *.grd)
  SelectFiles,  // frmSelectFiles: files of the given mask
};

struct FileRequest {
  int order = 0;
  PickerKind picker = PickerKind::SelFiles;
  int mode = 100;         // 100 picks an existing file, 200 names a new one
  std::string mask;       // frmSelectFiles' fileMask
  std::string title;      // frmSelectFiles' caption
  std::string baseDir;    // under gWorkPath: "Grid_dat\" or "Prof_dat\"
  std::string extension;  // frmSelectFiles' fileExt in naming mode
  std::string purpose;    // what the component does with it
};

// The host's answer to one request: a full path, or "" when the request is not answered.
using FileAnswer = std::function<std::string(const FileRequest&)>;

// What a running component sees of its host.
class ComponentHost {
 public:
  virtual ~ComponentHost() = default;
  // Raises request `order`; returns the host's answer ("" when not answered or unknown).
  virtual std::string requestFile(int order) = 0;
};

// The component's own work, from its start operation on. Installed where the implementation of
// the component lands.
using ComponentWork = std::function<Outcome(ComponentHost& host)>;

// A component object as the main window keeps it: created per command, its requests answered
// through `answer` according to its table.
class RequestingComponent : public ComponentHost {
 public:
  RequestingComponent(std::string displayName, const std::vector<FileRequest>& table,
                      ComponentWork work, FileAnswer answer);
  // The start operation. Without an implementation: a failure that says the component is not
  // yet available.
  Outcome start();
  std::string requestFile(int order) override;
  // The answers given so far, by order (empty for requests not answered).
  const std::vector<std::pair<int, std::string>>& answers() const { return answers_; }

 private:
  std::string displayName_;
  const std::vector<FileRequest>& table_;
  ComponentWork work_;
  FileAnswer answer_;
  std::vector<std::pair<int, std::string>> answers_;
};

// Finds a request of a table by order, or null.
const FileRequest* findRequest(const std::vector<FileRequest>& table, int order);

}  // namespace sarnoth::closed
