#include "gravmag/forms/frmWTGm2DInverse.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QResizeEvent>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>

#include "app/command_state.h"
#include "app/frmAbout.h"
#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "gravmag/forms/MaskPro.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

// The tool buttons: key and short text, in the bar's order; "" is a separator.
struct Button {
  const char* key;
  const char* text;
  const char* tip;
};
const Button kButtons[] = {
    {"mnuFileLoadOriData", "数据", "装载原始数据"},
    {"mnuFileOpen", "模型", "装载初始模型"},
    {"mnuFileSave", "存盘", "剖面模型存盘"},
    {"mnuFilePrintPreview", "预览", "打印预览"},
    {"", "", ""},
    {"mnuVertexMoving", "移点", "移动角点"},
    {"mnuEditAddMod", "加体", "增加模型"},
    {"mnuEditAddVertex", "加点", "增加角点"},
    {"mnuEditSplitMod", "分割", "分割模型"},
    {"mnuEditMergeMod", "合并", "合并模型"},
    {"mnuCopyThese", "复制", "复制所选模型"},
    {"mnuPasteHere", "粘贴", "粘贴模型"},
    {"", "", ""},
    {"mnuSetModelMovingPropertyWhole", "整体", "模型整体移动"},
    {"mnuSetModelMovingPropertyNo", "联动", "角点联动（不设移动属性）"},
    {"mnuSetOriDataLooksLine", "线", "原始数据画线"},
    {"mnuSetOriDataLooksPoint", "点", "原始数据画点"},
    {"", "", ""},
    {"mnuSetZScaleTwoTimes", "纵×2", "垂向比例放大一倍"},
    {"mnuSetZScaleOneHalf", "纵×½", "垂向比例缩小一半"},
    {"mnuViewZoomInData", "放大", "拖出放大范围"},
    {"mnuViewSomeModel", "全图", "显示全部模型"},
    {"", "", ""},
    {"mnuSetBaseField", "重/磁", "切换重力场与磁场"},
    {"mnuSetValueToTitle", "标值", "模型标题加物性值"},
    {"mnuSetModTitlePos", "标题", "设置模型标题位置"},
    {"mnuModGradColor", "渐变", "按物性渐变颜色"},
    {"mnuBfreshModColors", "刷色", "刷新模型颜色"},
    {"mnuSetSomeOthers", "其它", "其它设置"},
    {"", "", ""},
    {"mnuInversionChoose", "选体", "选择反演模型"},
    {"mnuInversionChooseVertices", "选点", "选择反演角点"},
};

const char* kSteps[] = {"mnuSetStep3", "mnuSetStep4", "mnuSetStep5", "mnuSetStep6",
                        "mnuSetStep7", "mnuSetStep8", "mnuSetStep9"};

const char* captionOf(const char* key) {
  for (const closed::MaskProCommand& c : closed::maskProCommands())
    if (std::string(key) == c.key) return c.caption;
  return "";
}

}  // namespace

frmWTGm2DInverse::frmWTGm2DInverse(QWidget* parent) : QMainWindow(parent) {
  setObjectName("frmWTGm2DInverse");
  setWindowTitle("二维重磁异常反演");
  MaskPro1 = new MaskPro(this);
  MaskPro1->setObjectName("MaskPro1");
  setCentralWidget(MaskPro1);
  ToolbarFile = new QToolBar("主工具条", this);
  ToolbarFile->setObjectName("ToolbarFile");
  ToolbarFile->setToolButtonStyle(Qt::ToolButtonTextOnly);
  addToolBar(Qt::TopToolBarArea, ToolbarFile);
  auto* bar = new QStatusBar(this);
  bar->setObjectName("StatusBar");
  setStatusBar(bar);
  for (int k = 1; k <= 3; ++k) {
    statusPanel[k] = new QLabel(bar);
    statusPanel[k]->setObjectName(QString("StatusBar_Panel%1").arg(k));
    bar->addPermanentWidget(statusPanel[k], k == 1 ? 3 : k == 2 ? 1 : 2);
  }
  buildMenus();
  buildToolbar();
  MaskPro1->setEvents(this);
  resize(1100, 760);
  // On opening: the control's method 70 and both bars shown.
  MaskPro1->invoke(closed::kMaskProOpen);
  ToolbarFile->setVisible(true);
  statusBar()->setVisible(true);
}

frmWTGm2DInverse::~frmWTGm2DInverse() {
  if (MaskPro1) MaskPro1->setEvents(nullptr);
}

QAction* frmWTGm2DInverse::entry(QMenu* menu, const char* key, const char* caption) {
  QAction* a = menu->addAction(QString::fromUtf8(caption ? caption : captionOf(key)));
  a->setObjectName(key);
  a->setData(QString(key));
  menuActions_[QString(key)] = a;
  const QString k(key);
  connect(a, &QAction::triggered, this, [this, k] { dispatch(k); });
  return a;
}

QAction* frmWTGm2DInverse::menuAction(const QString& key) const {
  auto it = menuActions_.find(key);
  return it == menuActions_.end() ? nullptr : it->second;
}

void frmWTGm2DInverse::buildMenus() {
  QMenuBar* mb = menuBar();
  QMenu* file = mb->addMenu("文件(&F)");
  file->setObjectName("mnuFile");
  entry(file, "mnuFileLoadOriData");
  entry(file, "mnuFileOpen");
  file->addSeparator();
  entry(file, "mnuFileSave");
  entry(file, "mnuFileSaveAs");
  entry(file, "mnuFileSaveAsGridData");
  file->addSeparator();
  entry(file, "mnuFileMapSetup");
  entry(file, "mnuFilePrintSetup");
  entry(file, "mnuFilePrintPreview");
  entry(file, "mnuFilePrint");
  file->addSeparator();
  entry(file, "mnuFileClose");

  QMenu* edit = mb->addMenu("编辑修改(&E)");
  edit->setObjectName("mnuEdit");
  entry(edit, "mnuEditModelExpand");
  entry(edit, "mnuEditTrend");

  QMenu* set = mb->addMenu("设置(&S)");
  set->setObjectName("mnuSet");
  entry(set, "mnuSetEarthMagnaticParam");
  entry(set, "mnuSetBackgroundDens");
  QMenu* colour = set->addMenu("颜色");
  colour->setObjectName("mnuSetColor");
  entry(colour, "mnuSetColorOrignData");
  entry(colour, "mnuSetColorCalcuData");
  entry(colour, "mnuSetColorDataReg");
  entry(colour, "mnuSetColorModelReg");
  entry(colour, "mnuSetColorModelsInvers");
  colour->addSeparator();
  entry(colour, "mnuSetColorPrint")->setCheckable(true);
  entry(set, "mnuSetModGradColor");
  QMenu* moving = set->addMenu("模型移动属性");
  moving->setObjectName("mnuSetModelMP");
  entry(moving, "mnuSetModelMovingPropertyWhole", "整体");
  entry(moving, "mnuSetModelMPDisintegrate");
  entry(moving, "mnuSetModelMPStretch");
  QMenu* looks = set->addMenu("原始数据外观");
  looks->setObjectName("mnuSetOriDataLooks");
  entry(looks, "mnuSetOriDataLooksPointLine");
  QMenu* steps = set->addMenu("角点有效范围");
  steps->setObjectName("mnuSetStep");
  for (int k = 0; k < 7; ++k)
    entry(steps, kSteps[k], QString("%1 像素").arg(k + 3).toUtf8().constData());
  set->addSeparator();
  entry(set, "mnuSetAddVertFlag");
  entry(set, "mnuSetNoVertFlag");
  entry(set, "mnuSetDynShow")->setCheckable(true);

  QMenu* inv = mb->addMenu("反演(&I)");
  inv->setObjectName("mnuInversion");
  QMenu* method = inv->addMenu("选择反演方法");
  method->setObjectName("mnuInversionMethod");
  entry(method, "mnuInversionMethodCloleSky");
  entry(method, "mnuInversionMethodUAV");
  entry(inv, "mnuInversionChoose");
  entry(inv, "mnuInversionVaryStep");

  QMenu* view = mb->addMenu("显示工具(&V)");
  view->setObjectName("mnuView");
  QAction* tb = entry(view, "mnuViewToolbarFile");
  tb->setCheckable(true);
  tb->setChecked(true);
  QAction* sb = entry(view, "mnuViewStatusBar");
  sb->setCheckable(true);
  sb->setChecked(true);

  QMenu* help = mb->addMenu("帮助(&H)");
  help->setObjectName("mnuHelp");
  entry(help, "mnuHelpFunctionKey");
  entry(help, "mnuHelpAbout");
}

void frmWTGm2DInverse::buildToolbar() {
  for (const Button& b : kButtons) {
    if (!*b.key) {
      ToolbarFile->addSeparator();
      continue;
    }
    QAction* a = ToolbarFile->addAction(QString::fromUtf8(b.text));
    a->setData(QString(b.key));
    a->setToolTip(QString::fromUtf8(b.tip));
  }
  // The capture range as one drop-down button.
  auto* menu = new QMenu(ToolbarFile);
  for (int k = 0; k < 7; ++k) {
    QAction* a = menu->addAction(QString("%1 像素").arg(k + 3));
    a->setData(QString(kSteps[k]));
  }
  QAction* drop = ToolbarFile->addAction("捕捉");
  drop->setToolTip("角点有效范围");
  drop->setMenu(menu);
  if (auto* tbtn = qobject_cast<QToolButton*>(ToolbarFile->widgetForAction(drop)))
    tbtn->setPopupMode(QToolButton::InstantPopup);
  connect(menu, &QMenu::triggered, this, [this](QAction* a) { dispatch(a->data().toString()); });
  connect(ToolbarFile, &QToolBar::actionTriggered, this, [this](QAction* a) {
    if (!a->menu() && !a->data().toString().isEmpty()) dispatch(a->data().toString());
  });
}

bool frmWTGm2DInverse::printPreviewGuard() {
  if (!preview_) return false;
  showMessage(this, kTitleInfo, kGm2dPreviewGuard);
  return true;
}

void frmWTGm2DInverse::dispatch(const QString& key) {
  const std::string k = key.toStdString();
  if (k == "mnuFileClose") {
    close();
    return;
  }
  if (k == "mnuViewToolbarFile" || k == "mnuViewStatusBar") {
    QWidget* bar = k == "mnuViewToolbarFile" ? static_cast<QWidget*>(ToolbarFile)
                                             : static_cast<QWidget*>(statusBar());
    bar->setVisible(!bar->isVisible());
    if (QAction* a = menuAction(key)) a->setChecked(bar->isVisible());
    return;
  }
  if (k == "mnuHelpAbout") {
    frmAbout about(this);
    about.exec();
    return;
  }
  const int method = closed::maskProMethodOf(k);
  if (method == 0) return;
  if (printPreviewGuard()) return;
  MaskPro1->invoke(method);
}

void frmWTGm2DInverse::commandState(const std::string& key, bool enabled, bool checked) {
  setCommandState(this, ToolbarFile, QString::fromStdString(key), enabled, checked);
}

void frmWTGm2DInverse::fileRequest(closed::MaskProRequest request) {
  const closed::MaskProRequestInfo& r = closed::maskProRequestInfo(request);
  frmSelectFiles picker(this);
  picker.mode = r.mode;
  picker.fileMask = QString::fromUtf8(r.pattern);
  picker.fileExt = QString::fromUtf8(r.extension);
  picker.setWindowTitle(QString::fromUtf8(r.title));
  picker.run();
  // A chosen name of at least four characters lies under Prof_Dat\.
  std::string path;
  if (QString::fromStdString(gPickedFile).size() >= 4)
    path = gWorkPath + "Prof_Dat\\" + gPickedFile;
  MaskPro1->invoke(r.answer, path);
}

void frmWTGm2DInverse::status(int panel, const std::string& text) {
  const QString t = QString::fromStdString(text);
  if (panel >= 1 && panel <= 3) {
    statusPanel[panel]->setText(t);
    return;
  }
  if (statusFlag)
    statusPanel[1]->setText(t);
  else
    statusBar()->showMessage(t.isEmpty() ? "Ready" : t);
}

void frmWTGm2DInverse::printPreview(bool active) { preview_ = active; }

void frmWTGm2DInverse::resizeEvent(QResizeEvent* e) {
  // The control takes the client area less the bars; QMainWindow lays it out so.
  QMainWindow::resizeEvent(e);
}

namespace {
const ToolWindowRegistrar registerGm2DInverse{
    "frmWTGm2DInverse",
    [](QWidget* parent, int) -> QWidget* { return new frmWTGm2DInverse(parent); }};
}  // namespace

}  // namespace sarnoth::gui
