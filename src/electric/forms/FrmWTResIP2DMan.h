// FrmWTResIP2DMan: the shell round the 2-D section control (My2D_DCControl), and its dialog
// FrmWTResIP2DManData "二维常规直流电法正反演", which chooses the run (calculation mode,
// parameters, terrain, device) and loads the data file: the open dialog at Prof_Dat\ with the
// suffix of the run, the file's head of four integers checked against the run, again until a
// file fits or the dialog is cancelled. The window sets its title from the run, forwards every
// menu entry to the control, answers the control's four file requests, shows the pointer's
// section position in the status bar and enables the entries the control reports.
#pragma once

#include <QDialog>
#include <QMainWindow>
#include <string>

#include "closed/dc2d_control.h"

class QComboBox;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

class Dc2dControl;

// The run shared by the dialog and the window; the dialog opens on the last used.
extern int dcCalcMode;   // 1 forward, 2 inverse
extern int dcParamMode;  // 1 ρa, 2 ρa and ηa
extern int dcTerrain;    // 0 flat, 1 relief
extern int dcDevice;     // 1..10

inline constexpr const char* kDc2dDataCaption = "二维常规直流电法正反演";
inline constexpr const char* kDc2dOpenTitle = "请选择您要打开的数据文件名";
inline constexpr const char* kMsgDc2dMismatch = "您选择的文件和您输入的参数不相符，文件输入错误！";
inline constexpr const char* kMsgDc2dBadDevice = "装置选择错误！";
inline constexpr const char* kDc2dTextTitle = "请选择您要打开数据的文件名";
inline constexpr const char* kDc2dResultTitle = "请输入您要保存的正演反演结果数据文件名";
inline constexpr const char* kDc2dMeshTitle = "请输入您要保存的地电断面剖分数据文件名";
inline constexpr const char* kDc2dImageTitle = "请输入您要保存的正反演结果图形文件名";

// "二维电阻率人机交互式正演计算－－偶极测深法" and its kin; "" for a device outside 1..10.
std::string dc2dWindowTitle(int calcMode, int paramMode, int device);
// "*.po1" and the like for the run.
std::string dc2dFileMask(int calcMode, int paramMode, int terrain, int device);

class FrmWTResIP2DManData : public QDialog {
  Q_OBJECT
 public:
  explicit FrmWTResIP2DManData(QWidget* parent = nullptr);
  QRadioButton* Option_Forward = nullptr;
  QRadioButton* Option_Inverse = nullptr;
  QRadioButton* Option_AppRes = nullptr;
  QRadioButton* Option_AppResAndIP = nullptr;
  QRadioButton* Option_Flat = nullptr;
  QRadioButton* Option_Even = nullptr;
  QComboBox* Combo1 = nullptr;
  QPushButton* Cmd_DataFileLoad = nullptr;
  QPushButton* Cmd_Cancel = nullptr;
  // The checked file after a successful load.
  std::string dataPath;

  // "装载数据文件": stores the run, then the open dialog and head check loop; accepts the
  // dialog when a file fits.
  void loadDataFile();
};

class FrmWTResIP2DMan : public QMainWindow, public closed::Dc2dControlHost {
  Q_OBJECT
 public:
  explicit FrmWTResIP2DMan(const std::string& dataPath = {}, QWidget* parent = nullptr);

  std::string requestFile(closed::Dc2dRequest request) override;
  void pointerMoved(double x, double z) override;
  void commandState(const std::string& command, bool enabled) override;

  // A menu entry: the window's own part (title, close), then the one-line forward.
  void runCommand(const std::string& name);

  Dc2dControl* My2D_DCControl = nullptr;

 private:
  void applyTitle();
  std::string saveName(const char* title, const char* suffix);
};

}  // namespace sarnoth::gui
