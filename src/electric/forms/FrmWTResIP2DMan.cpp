#include "electric/forms/FrmWTResIP2DMan.h"

#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "electric/dc2d_file.h"
#include "electric/forms/Dc2dControl.h"
#include "electric/sounding_file.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::gui {

int dcCalcMode = 1;
int dcParamMode = 1;
int dcTerrain = 0;
int dcDevice = 1;

std::string dc2dWindowTitle(int calcMode, int paramMode, int device) {
  if (!electric::isDc2dDevice(device)) return {};
  return std::string(paramMode == 2 ? "二维电阻率/极化率" : "二维电阻率") + "人机交互式" +
         (calcMode == 2 ? "反演计算" : "正演计算") + "－－" +
         electric::dc2dMethodText(static_cast<electric::Dc2dDevice>(device));
}

std::string dc2dFileMask(int calcMode, int paramMode, int terrain, int device) {
  const std::string suffix = electric::dc2dSuffix({calcMode, paramMode, terrain, device});
  return suffix.empty() ? std::string() : "*" + suffix;
}

// --- the dialog ---------------------------------------------------------------------------

FrmWTResIP2DManData::FrmWTResIP2DManData(QWidget* parent) : QDialog(parent) {
  setObjectName("FrmWTResIP2DManData");
  setWindowTitle(QString::fromUtf8(kDc2dDataCaption));
  auto radio = [&](QWidget* box, QLayout* lay, const char* name, const char* text) {
    auto* r = new QRadioButton(QString::fromUtf8(text), box);
    r->setObjectName(name);
    lay->addWidget(r);
    return r;
  };
  auto* lay = new QVBoxLayout(this);
  auto* row = new QHBoxLayout;
  auto* calc = new QGroupBox(QString::fromUtf8("计算方式"), this);
  auto* cl = new QVBoxLayout(calc);
  Option_Forward = radio(calc, cl, "Option_Forward", "正演");
  Option_Inverse = radio(calc, cl, "Option_Inverse", "反演");
  auto* par = new QGroupBox(QString::fromUtf8("计算参数"), this);
  auto* pl = new QVBoxLayout(par);
  Option_AppRes = radio(par, pl, "Option_AppRes", "视电阻率");
  Option_AppResAndIP = radio(par, pl, "Option_AppResAndIP", "视电阻率与视极化率");
  auto* ter = new QGroupBox(QString::fromUtf8("地形"), this);
  auto* tl = new QVBoxLayout(ter);
  Option_Flat = radio(ter, tl, "Option_Flat", "平坦地形");
  Option_Even = radio(ter, tl, "Option_Even", "起伏地形");
  row->addWidget(calc);
  row->addWidget(par);
  row->addWidget(ter);
  lay->addLayout(row);
  auto* dev = new QGroupBox(QString::fromUtf8("装置类型"), this);
  auto* dl = new QVBoxLayout(dev);
  Combo1 = new QComboBox(dev);
  Combo1->setObjectName("Combo1");
  for (int d = 1; d <= electric::kDc2dDevices; ++d)
    Combo1->addItem(
        QString::fromUtf8(electric::dc2dDeviceText(static_cast<electric::Dc2dDevice>(d))));
  dl->addWidget(Combo1);
  lay->addWidget(dev);
  Cmd_DataFileLoad = new QPushButton(QString::fromUtf8("装载数据文件"), this);
  Cmd_DataFileLoad->setObjectName("Cmd_DataFileLoad");
  Cmd_Cancel = new QPushButton(QString::fromUtf8("取消"), this);
  Cmd_Cancel->setObjectName("Cmd_Cancel");
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(Cmd_DataFileLoad);
  buttons->addWidget(Cmd_Cancel);
  lay->addLayout(buttons);
  // The last used run.
  (dcCalcMode == 2 ? Option_Inverse : Option_Forward)->setChecked(true);
  (dcParamMode == 2 ? Option_AppResAndIP : Option_AppRes)->setChecked(true);
  (dcTerrain == 1 ? Option_Even : Option_Flat)->setChecked(true);
  Combo1->setCurrentIndex(std::clamp(dcDevice, 1, electric::kDc2dDevices) - 1);
  connect(Cmd_DataFileLoad, &QPushButton::clicked, this, &FrmWTResIP2DManData::loadDataFile);
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::reject);
}

void FrmWTResIP2DManData::loadDataFile() {
  dcCalcMode = Option_Inverse->isChecked() ? 2 : 1;
  dcParamMode = Option_AppResAndIP->isChecked() ? 2 : 1;
  dcTerrain = Option_Even->isChecked() ? 1 : 0;
  dcDevice = Combo1->currentIndex() + 1;
  if (!electric::isDc2dDevice(dcDevice)) {
    showMessage(this, kTitleInfo, kMsgDc2dBadDevice);
    return;
  }
  const std::string mask = dc2dFileMask(dcCalcMode, dcParamMode, dcTerrain, dcDevice);
  for (;;) {
    const std::string path =
        askOpenFileName(this, kDc2dOpenTitle, mask + "|" + mask, gWorkPath + "Prof_Dat\\");
    if (path.size() < 4) return;
    electric::Dc2dHead head;
    std::string error;
    if (!electric::readDc2dHead(path, head, error)) {
      // A first line that is not four integers: the error of a bad input; nothing is loaded.
      showMessage(this, kTitleInfo, error);
      return;
    }
    if (head == electric::Dc2dHead{dcCalcMode, dcParamMode, dcTerrain, dcDevice}) {
      dataPath = path;
      accept();
      return;
    }
    showMessage(this, kTitleInfo, kMsgDc2dMismatch);
  }
}

// --- the window -----------------------------------------------------------------------------

namespace {

struct MenuItem {
  const char* name;
  const char* caption;
};
struct Menu {
  const char* name;
  const char* caption;
  std::vector<MenuItem> items;
};

const std::vector<Menu>& menus() {
  static const std::vector<Menu> m{
      {"mnuFile", "文件", {{"mnuFileNew", "新建"}, {"mnuFileClose", "退出"}}},
      {"mnuEdit",
       "编辑",
       {{"mnuDotSign", "点号标定"},
        {"mnuEditSelect", "选择曲线"},
        {"mnuEditDelete", "删除曲线"},
        {"mnuEditRemoveRegn", "删除区域"}}},
      {"mnuView",
       "视图",
       {{"mnuViewRuler", "显示刻度"},
        {"mnuViewGrid", "显示网格"},
        {"mnuViewOutLine", "显示区域边界线"},
        {"mnuResultAdjust", "显示比例调整"},
        {"mnuViewZoomIn", "放大"},
        {"mnuViewZoomOut", "缩小"}}},
      {"mnuDrawTools", "绘图工具", {{"mnuDrawLine", "直线"}, {"mnuDrawBow", "折线"}}},
      {"mnuGraphicShow", "图形显示", {{"mnuShowDiZhu", "电阻率图"}, {"mnuShowJiHua", "极化率图"}}},
      {"mnuInverse",
       "正反演计算",
       {{"mnuFYCreateRgn", "构造初始模型"},
        {"mnuFYCreateNet", "建立算区网格"},
        {"mnuFYPositiVeinVolve", "获取网格数据"},
        {"mnuFYComputeAndShow", "正反演计算"},
        {"mnuFYNetDataModify", "修改网格数据"},
        {"mnuFYReParam", "重设网格数据"}}},
      {"mnuResultOutput",
       "结果输出",
       {{"mnuResultDraftPs", "正演反演结果图形文件"},
        {"mnuResultSerial", "偶极剖面曲线起始编号"},
        {"mnuSaveResultDataFile", "正演反演结果数据文件"},
        {"mnuSaveDMDataFile", "地电断面剖分数据文件"}}}};
  return m;
}

}  // namespace

FrmWTResIP2DMan::FrmWTResIP2DMan(const std::string& dataPath, QWidget* parent)
    : QMainWindow(parent) {
  setObjectName("FrmWTResIP2DMan");
  setAttribute(Qt::WA_DeleteOnClose);
  My2D_DCControl = new Dc2dControl(this);
  setCentralWidget(My2D_DCControl);
  for (const Menu& m : menus()) {
    QMenu* menu = menuBar()->addMenu(QString::fromUtf8(m.caption));
    menu->setObjectName(m.name);
    for (const MenuItem& it : m.items) {
      QAction* a = menu->addAction(QString::fromUtf8(it.caption));
      a->setObjectName(it.name);
      const std::string key = it.name;
      connect(a, &QAction::triggered, this, [this, key] { runCommand(key); });
    }
  }
  statusBar()->setObjectName("StatusBar");
  My2D_DCControl->setHost(this);
  resize(1100, 780);
  applyTitle();
  My2D_DCControl->setRun(dcCalcMode, dcParamMode, dcTerrain, dcDevice);
  for (const std::string& c : closed::dc2dControlStatefulCommands()) commandState(c, false);
  if (!dataPath.empty()) My2D_DCControl->openFile(dataPath);
}

void FrmWTResIP2DMan::applyTitle() {
  setWindowTitle(QString::fromStdString(dc2dWindowTitle(dcCalcMode, dcParamMode, dcDevice)));
}

void FrmWTResIP2DMan::runCommand(const std::string& name) {
  if (name == "mnuDotSign") applyTitle();
  My2D_DCControl->command(name);
  if (name == "mnuFileClose") close();
}

std::string FrmWTResIP2DMan::saveName(const char* title, const char* suffix) {
  const std::string mask = std::string("*") + suffix;
  std::string path =
      askSaveFileName(this, title, mask + "|" + mask, resolvePath(gWorkPath + "Prof_Dat\\") + "/");
  if (path.empty()) return {};
  const auto slash = path.find_last_of("/\\");
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (name.find('.') == std::string::npos) path += suffix;
  return path;
}

std::string FrmWTResIP2DMan::requestFile(closed::Dc2dRequest request) {
  using closed::Dc2dRequest;
  switch (request) {
    case Dc2dRequest::OpenTextData: {
      const std::string path =
          askOpenFileName(this, kDc2dTextTitle, "*.txt|*.txt", gWorkPath + "Prof_Dat\\");
      return path.size() < 4 ? std::string() : path;
    }
    case Dc2dRequest::SaveResultData:
      return saveName(kDc2dResultTitle, ".dat");
    case Dc2dRequest::SaveMeshData:
      return saveName(kDc2dMeshTitle, ".dat");
    case Dc2dRequest::SaveResultImage:
      return saveName(kDc2dImageTitle, ".bmp");
  }
  return {};
}

void FrmWTResIP2DMan::pointerMoved(double x, double z) {
  statusBar()->showMessage(QString("X = %1, Y = %2").arg(x, 0, 'g', 6).arg(z, 0, 'g', 6));
}

void FrmWTResIP2DMan::commandState(const std::string& command, bool enabled) {
  if (auto* a = findChild<QAction*>(QString::fromStdString(command))) a->setEnabled(enabled);
}

namespace {

// The interactive 2-D command: the run dialog loads the data file first; its Cancel leaves no
// window.
const ToolWindowRegistrar registerDc2d{"FrmWTResIP2DMan", [](QWidget* parent, int) -> QWidget* {
                                         FrmWTResIP2DManData dlg(parent);
                                         if (dlg.exec() != QDialog::Accepted) return nullptr;
                                         return new FrmWTResIP2DMan(dlg.dataPath, parent);
                                       }};

}  // namespace

}  // namespace sarnoth::gui
