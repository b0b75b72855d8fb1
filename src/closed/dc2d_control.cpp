#include "closed/dc2d_control.h"

namespace sarnoth::closed {

const std::vector<std::string>& dc2dControlCommands() {
  static const std::vector<std::string> names{"mnuFileNew",
                                              "mnuFileClose",
                                              "mnuDotSign",
                                              "mnuEditSelect",
                                              "mnuEditDelete",
                                              "mnuEditRemoveRegn",
                                              "mnuViewRuler",
                                              "mnuViewGrid",
                                              "mnuViewOutLine",
                                              "mnuResultAdjust",
                                              "mnuViewZoomIn",
                                              "mnuViewZoomOut",
                                              "mnuDrawLine",
                                              "mnuDrawBow",
                                              "mnuShowDiZhu",
                                              "mnuShowJiHua",
                                              "mnuFYCreateRgn",
                                              "mnuFYCreateNet",
                                              "mnuFYPositiVeinVolve",
                                              "mnuFYComputeAndShow",
                                              "mnuFYNetDataModify",
                                              "mnuFYReParam",
                                              "mnuResultDraftPs",
                                              "mnuResultSerial",
                                              "mnuSaveResultDataFile",
                                              "mnuSaveDMDataFile"};
  return names;
}

const std::vector<std::string>& dc2dControlStatefulCommands() {
  static const std::vector<std::string> names{
      "mnuFYCreateNet",        "mnuFYPositiVeinVolve", "mnuFYComputeAndShow", "mnuFYNetDataModify",
      "mnuFYReParam",          "mnuShowDiZhu",         "mnuShowJiHua",        "mnuResultDraftPs",
      "mnuSaveResultDataFile", "mnuSaveDMDataFile"};
  return names;
}

}  // namespace sarnoth::closed
