#include "electric/forms/FrmWTResIP1DSound.h"

#include <QAction>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

#include "app/command_state.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "electric/forms/SoundControl.h"
#include "electric/sounding_file.h"
#include "workarea/session.h"

namespace sarnoth::gui {

int soundCalcMode = 1;
int soundParamMode = 1;
int soundDevice = 1;

std::string soundWindowTitle(int calcMode, int paramMode, int device) {
  if (!electric::isSoundDevice(device)) return {};
  return std::string(paramMode == 2 ? "一维电阻率极化率测深" : "一维电阻率测深") +
         (calcMode == 2 ? "反演计算" : "正演计算") + "－－" +
         electric::soundDeviceText(static_cast<electric::SoundDevice>(device));
}

// --- the run dialog -----------------------------------------------------------------------

FrmWTResIP1DData::FrmWTResIP1DData(QWidget* parent) : QDialog(parent) {
  setObjectName("FrmWTResIP1DData");
  setWindowTitle(QString::fromUtf8(kSoundCaption));
  const char* texts[10] = {"",
                           "正演计算",
                           "反演计算",
                           "视电阻率",
                           "视电阻率和视极化率",
                           "二极装置",
                           "对称四极装置(MN>0)",
                           "对称四极装置(MN=0)",
                           "偶极装置(MN>0)",
                           "偶极装置(MN=0)"};
  auto group = [&](const char* title, int from, int to) {
    auto* box = new QGroupBox(QString::fromUtf8(title), this);
    auto* lay = new QVBoxLayout(box);
    for (int i = from; i <= to; ++i) {
      Option[i] = new QRadioButton(QString::fromUtf8(texts[i]), box);
      Option[i]->setObjectName(QString("Option%1").arg(i));
      lay->addWidget(Option[i]);
    }
    return box;
  };
  auto* lay = new QVBoxLayout(this);
  auto* top = new QHBoxLayout;
  top->addWidget(group("计算方式选择", 1, 2));
  top->addWidget(group("计算参数选择", 3, 4));
  lay->addLayout(top);
  lay->addWidget(group("装置类型选择", 5, 9));
  Cmd_OK = new QPushButton("确定", this);
  Cmd_OK->setObjectName("Cmd_OK");
  Cmd_Cancel = new QPushButton("取消", this);
  Cmd_Cancel->setObjectName("Cmd_Cancel");
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(Cmd_OK);
  row->addWidget(Cmd_Cancel);
  lay->addLayout(row);
  // The last used choices.
  Option[soundCalcMode == 2 ? 2 : 1]->setChecked(true);
  Option[soundParamMode == 2 ? 4 : 3]->setChecked(true);
  Option[4 + std::clamp(soundDevice, 1, 5)]->setChecked(true);
  connect(Cmd_OK, &QPushButton::clicked, this, &FrmWTResIP1DData::ok);
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::reject);
}

void FrmWTResIP1DData::ok() {
  soundCalcMode = Option[2]->isChecked() ? 2 : 1;
  soundParamMode = Option[4]->isChecked() ? 2 : 1;
  for (int d = 1; d <= 5; ++d)
    if (Option[4 + d]->isChecked()) soundDevice = d;
  accept();
}

// --- the window -----------------------------------------------------------------------------

namespace {

struct MenuItem {
  const char* name;
  const char* caption;
};

const MenuItem kFileMenu[] = {{"mnuFileNew", "新建(&N)"},
                              {"mnuFileOpen", "打开文本数据(&O)"},
                              {"mnuFileSave", "保存图形(&S)"},
                              {"mnuFileClose", "关闭(&C)"}};
const MenuItem kForwardMenu[] = {{"mnuForwardInput", "正演数据输入(&I)"},
                                 {"mnuForwardCompute", "正演计算(&C)"},
                                 {"mnuForwardDraw", "正演绘图(&D)"},
                                 {"mnuForwardQuit", "退出正演(&Q)"}};
const MenuItem kInverseMenu[] = {
    {"mnuInverseInput", "反演数据输入(&I)"},   {"mnuInverseDraw", "反演绘图(&D)"},
    {"mnuInverseJiDianJiaoZ", "电极校正(&J)"}, {"mnuInverseDataChang", "数据修改(&M)"},
    {"mnuInverseCengWei", "层位设置(&L)"},     {"mnuInverseCompute", "反演计算(&C)"},
    {"mnuInverseQuit", "退出反演(&Q)"}};
const MenuItem kHelpMenu[] = {{"mnuHelpAbout", "关于(&A)"}};

}  // namespace

FrmWTResIP1DSound::FrmWTResIP1DSound(QWidget* parent) : QMainWindow(parent) {
  setObjectName("FrmWTResIP1DSound");
  setAttribute(Qt::WA_DeleteOnClose);
  soundControl = new SoundControl(this);
  setCentralWidget(soundControl);
  tbrSound = addToolBar("tbrSound");
  tbrSound->setObjectName("tbrSound");
  auto menu = [&](const char* name, const char* caption, const auto& items, bool toolbar) {
    QMenu* m = menuBar()->addMenu(QString::fromUtf8(caption));
    m->setObjectName(name);
    for (const MenuItem& it : items) {
      QAction* a = m->addAction(QString::fromUtf8(it.caption));
      a->setObjectName(it.name);
      const std::string key = it.name;
      connect(a, &QAction::triggered, this, [this, key] { runCommand(key); });
      if (toolbar) {
        // The toolbar's buttons carry the same keys and lead to the same commands.
        QAction* b = tbrSound->addAction(QString(a->text()).remove('&'));
        b->setData(QString::fromUtf8(it.name));
        connect(b, &QAction::triggered, this, [this, key] { runCommand(key); });
      }
    }
  };
  menu("mnuFile", "文件(&F)", kFileMenu, false);
  menu("mnuForward", "正演(&W)", kForwardMenu, true);
  menu("mnuInverse", "反演(&I)", kInverseMenu, true);
  menu("mnuHelp", "帮助(&H)", kHelpMenu, false);
  statusBar()->setObjectName("StatusBar");
  soundControl->setHost(this);
  resize(960, 680);
  applyRun();
}

void FrmWTResIP1DSound::applyRun() {
  setWindowTitle(
      QString::fromStdString(soundWindowTitle(soundCalcMode, soundParamMode, soundDevice)));
  forwardFileGiven_ = inverseFileGiven_ = false;
  soundControl->setRun(soundCalcMode, soundParamMode, soundDevice);
}

void FrmWTResIP1DSound::runCommand(const std::string& name) {
  if (name == "mnuFileNew") {
    FrmWTResIP1DData dlg(this);
    if (dlg.exec() != QDialog::Accepted) return;
    applyRun();
    return;
  }
  if (name == "mnuForwardCompute" && !forwardFileGiven_) {
    showMessage(this, kTitleInfo, kMsgNoForwardFile);
    return;
  }
  if (name == "mnuInverseCompute" && !inverseFileGiven_) {
    showMessage(this, kTitleInfo, kMsgNoInverseFile);
    return;
  }
  if (name == "mnuForwardQuit" || name == "mnuInverseQuit")
    forwardFileGiven_ = inverseFileGiven_ = false;
  soundControl->command(name);
}

std::string FrmWTResIP1DSound::openChecked(bool inverse) {
  const int calc = inverse ? 2 : 1;
  const std::string title = soundWindowTitle(calc, soundParamMode, soundDevice);
  if (title.empty()) {
    showMessage(this, kTitleInfo, kMsgBadDevice);
    return {};
  }
  setWindowTitle(QString::fromStdString(title));
  const std::string mask = "*" + electric::soundingSuffix(calc, soundDevice);
  for (;;) {
    const std::string path = askOpenFileName(this, inverse ? kInverseOpenTitle : kForwardOpenTitle,
                                             mask + "|" + mask, gWorkPath + "Prof_Dat\\");
    if (path.size() < 4) return {};
    electric::SoundingHead head;
    std::string error;
    if (!electric::readSoundingHead(path, head, error)) {
      // A first line that is not three integers: the error of a bad input ends the handler.
      showMessage(this, kTitleInfo, error);
      return {};
    }
    if (head.calcMode == calc && head.paramMode == soundParamMode && head.device == soundDevice) {
      (inverse ? inverseFileGiven_ : forwardFileGiven_) = true;
      return path;
    }
    showMessage(this, kTitleInfo, inverse ? kMsgInverseMismatch : kMsgForwardMismatch);
  }
}

std::string FrmWTResIP1DSound::saveName(const char* title, const char* suffix) {
  const std::string mask = std::string("*") + suffix;
  std::string path = askSaveFileName(this, title, mask + "|" + mask);
  if (path.empty()) return {};
  const auto slash = path.find_last_of("/\\");
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (name.find('.') == std::string::npos) path += suffix;
  return path;
}

std::string FrmWTResIP1DSound::requestFile(closed::SoundRequest request) {
  using closed::SoundRequest;
  switch (request) {
    case SoundRequest::OpenForwardFile:
      return openChecked(false);
    case SoundRequest::OpenInverseFile:
      return openChecked(true);
    case SoundRequest::OpenPositionFile: {
      const std::string path =
          askOpenFileName(this, kPositionOpenTitle, "*.pos|*.pos", gWorkPath + "Prof_Dat\\");
      return path.size() < 4 ? std::string() : path;
    }
    case SoundRequest::SaveForwardResult:
      return saveName(kForwardSaveTitle, ".dat");
    case SoundRequest::SaveInverseResult:
      return saveName(kInverseSaveTitle, ".dat");
    case SoundRequest::SaveImage:
      return saveName(kImageSaveTitle, ".bmp");
  }
  return {};
}

void FrmWTResIP1DSound::pointerMoved(double x, double y) {
  statusBar()->showMessage(QString("X = %1, Y = %2").arg(x, 0, 'g', 5).arg(y, 0, 'g', 5));
}

void FrmWTResIP1DSound::commandState(const std::string& command, bool enabled) {
  setCommandState(this, tbrSound, QString::fromStdString(command), enabled, false);
}

namespace {

// The sounding command: the run dialog first; its Cancel leaves no window.
const ToolWindowRegistrar registerSound{"FrmWTResIP1DSound", [](QWidget* parent, int) -> QWidget* {
                                          FrmWTResIP1DData dlg(parent);
                                          if (dlg.exec() != QDialog::Accepted) return nullptr;
                                          return new FrmWTResIP1DSound(parent);
                                        }};

}  // namespace

}  // namespace sarnoth::gui
