// frmAbout "关于 数据处理与分析": title, version "版本 2012", description; cmdSysInfo starts the
// machine's system information program when one is installed.
#pragma once

#include <QDialog>
#include <string>

class QLabel;
class QPushButton;

namespace sarnoth::gui {

inline constexpr const char* kSysInfoUnavailable = "此时系统信息不可用";

// The system information program of this machine, or "" when none is installed.
std::string systemInfoProgram();

class frmAbout : public QDialog {
  Q_OBJECT
 public:
  explicit frmAbout(QWidget* parent = nullptr);

  QLabel* lblTitle = nullptr;
  QLabel* lblVersion = nullptr;
  QLabel* lblDescription = nullptr;
  QPushButton* cmdOK = nullptr;
  QPushButton* cmdSysInfo = nullptr;

 public slots:
  void cmdSysInfo_Click();
};

}  // namespace sarnoth::gui
