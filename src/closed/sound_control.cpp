#include "closed/sound_control.h"

namespace sarnoth::closed {

const std::vector<std::string>& soundControlCommands() {
  static const std::vector<std::string> names{
      "mnuFileNew",        "mnuFileOpen",       "mnuFileSave",           "mnuFileClose",
      "mnuForwardInput",   "mnuForwardCompute", "mnuForwardDraw",        "mnuForwardQuit",
      "mnuInverseInput",   "mnuInverseDraw",    "mnuInverseJiDianJiaoZ", "mnuInverseDataChang",
      "mnuInverseCengWei", "mnuInverseCompute", "mnuInverseQuit",        "mnuHelpAbout"};
  return names;
}

const std::vector<std::string>& soundControlStatefulCommands() {
  static const std::vector<std::string> names{
      "mnuForwardInput",   "mnuForwardCompute", "mnuForwardDraw",        "mnuForwardQuit",
      "mnuInverseInput",   "mnuInverseDraw",    "mnuInverseJiDianJiaoZ", "mnuInverseDataChang",
      "mnuInverseCengWei", "mnuInverseCompute", "mnuInverseQuit"};
  return names;
}

}  // namespace sarnoth::closed
