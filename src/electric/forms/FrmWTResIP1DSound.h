// FrmWTResIP1DSound "一维电阻率极化率测深正反演": the shell round the sounding control. The dialog
// FrmWTResIP1DData chooses the run (calculation mode, parameter mode, device); the window sets
// its title from the run, answers the control's file requests (the open dialog in Prof_Dat\ with
// the device's suffix and the head check loop, the save dialogs), shows the pointer position in
// the status bar, and keeps its toolbar in step with the control's state (setCommandState).
#pragma once

#include <QDialog>
#include <QMainWindow>
#include <string>

#include "closed/sound_control.h"

class QRadioButton;
class QPushButton;
class QToolBar;

namespace sarnoth::gui {

class SoundControl;

// The run shared by the dialog and the window; the dialog opens on the last used.
extern int soundCalcMode;   // 1 "正演计算", 2 "反演计算"
extern int soundParamMode;  // 1 "视电阻率", 2 "视电阻率和视极化率"
extern int soundDevice;     // 1..5

inline constexpr const char* kSoundCaption = "一维电阻率极化率测深正反演";
inline constexpr const char* kMsgForwardMismatch = "您选择的正演文件和您输入的正演参数不相符！";
inline constexpr const char* kMsgInverseMismatch = "您选择的反演文件和您输入的反演参数不相符！";
inline constexpr const char* kMsgNoForwardFile = "您没有输入正确的正演数据文件！";
inline constexpr const char* kMsgNoInverseFile = "您没有输入正确的反演数据文件！";
inline constexpr const char* kMsgBadDevice = "装置选择错误！";
inline constexpr const char* kForwardOpenTitle = "请选择您要打开的正演数据文件名";
inline constexpr const char* kInverseOpenTitle = "请选择您要打开的反演数据文件名";
inline constexpr const char* kPositionOpenTitle = "请选择您要打开的位置数据文件名";
inline constexpr const char* kForwardSaveTitle = "请输入您要保存的正演结果数据文件名";
inline constexpr const char* kInverseSaveTitle = "请输入您要保存的反演结果数据文件名";
inline constexpr const char* kImageSaveTitle = "请输入您要保存的图形数据文件名";

// The window title of a run: "一维电阻率测深正演计算－－二极装置" and its kin; "" for a device
// outside 1..5.
std::string soundWindowTitle(int calcMode, int paramMode, int device);

class FrmWTResIP1DData : public QDialog {
  Q_OBJECT
 public:
  explicit FrmWTResIP1DData(QWidget* parent = nullptr);
  QRadioButton* Option[10] = {};  // Option1..Option9 (index 0 unused)
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;

 private:
  void ok();
};

class FrmWTResIP1DSound : public QMainWindow, public closed::SoundControlHost {
  Q_OBJECT
 public:
  explicit FrmWTResIP1DSound(QWidget* parent = nullptr);

  // The window's answers to the control.
  std::string requestFile(closed::SoundRequest request) override;
  void pointerMoved(double x, double y) override;
  void commandState(const std::string& command, bool enabled) override;

  // A menu entry or toolbar key: the form's own checks, then the one-line forward.
  void runCommand(const std::string& name);

  SoundControl* soundControl = nullptr;
  QToolBar* tbrSound = nullptr;

 private:
  void applyRun();
  std::string openChecked(bool inverse);
  std::string saveName(const char* title, const char* suffix);
  bool forwardFileGiven_ = false;
  bool inverseFileGiven_ = false;
};

}  // namespace sarnoth::gui
