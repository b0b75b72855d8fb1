#include "app/frmAbout.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/messages.h"
#include "closed/process_launch.h"

namespace sarnoth::gui {

std::string systemInfoProgram() {
  for (const char* name : {"hardinfo2", "hardinfo", "kinfocenter", "gnome-system-monitor"}) {
    std::string path = closed::findInPath(name);
    if (!path.empty()) return path;
  }
  return {};
}

frmAbout::frmAbout(QWidget* parent) : QDialog(parent) {
  setObjectName("frmAbout");
  setWindowTitle(QString::fromUtf8("关于 数据处理与分析"));
  lblTitle = new QLabel(QString::fromUtf8("Sarnoth -- 数据处理与分析"), this);
  lblTitle->setObjectName("lblTitle");
  QFont big = lblTitle->font();
  big.setPointSizeF(big.pointSizeF() * 1.5);
  big.setBold(true);
  lblTitle->setFont(big);
  lblVersion = new QLabel(QString::fromUtf8("版本 2012"), this);
  lblVersion->setObjectName("lblVersion");
  lblDescription =
      new QLabel(QString::fromUtf8("地质、地球化学与地球物理数据的预处理、多元分析、异常分析、"
                                   "重磁数据处理与正反演以及电法数据处理。"),
                 this);
  lblDescription->setObjectName("lblDescription");
  lblDescription->setWordWrap(true);
  cmdOK = new QPushButton(QString::fromUtf8("返回(&R)"), this);
  cmdOK->setObjectName("cmdOK");
  cmdSysInfo = new QPushButton(QString::fromUtf8("系统信息(&S)..."), this);
  cmdSysInfo->setObjectName("cmdSysInfo");
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(cmdOK);
  buttons->addWidget(cmdSysInfo);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblTitle);
  layout->addWidget(lblVersion);
  layout->addWidget(lblDescription, 1);
  layout->addLayout(buttons);
  resize(420, 220);
  connect(cmdOK, &QPushButton::clicked, this, &QDialog::accept);
  connect(cmdSysInfo, &QPushButton::clicked, this, &frmAbout::cmdSysInfo_Click);
}

void frmAbout::cmdSysInfo_Click() {
  const std::string program = systemInfoProgram();
  if (program.empty() || !closed::launchDetached(program).outcome.ok)
    notify(this, kSysInfoUnavailable);
}

}  // namespace sarnoth::gui
