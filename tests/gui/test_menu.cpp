// FrmMain's menu against the system's table of contents, and its dispatch: every entry opens its
// window with its mode and status text, or says plainly that its tool is not yet available.
#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <map>
#include <sstream>

#include "app/frm_main.h"
#include "app/menu_table.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "closed/low_latitude_reduction.h"
#include "gui_support.h"
#include "workarea/table_store.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::SessionFixture;

// The menu as the users know it, typed from the design: name|parent|caption|kind, where kind is
// M submenu, S separator, H never-shown separator, N never-shown entry, I file import,
// X a closed piece or program, T:tool:mode modal tool, L:tool modeless tool.
const char* kExpectedMenu = R"(mnuDataPrevProc||数据预处理(&P)|M
mnuDataPrevProc11|mnuDataPrevProc|地理坐标投影变换(&N)|T:frmGeoCoordConv:0
mnuDataPrevProc15|mnuDataPrevProc|坐标组转换(&Z)|T:frmDataP:0
mnuDataPrevProc20|mnuDataPrevProc|图像格式转换(&M)|T:frmFormatConvert:100
mnuDataPrevProc30|mnuDataPrevProc|数据格式转换(&F)|T:frmFormatConvert:200
mnuDataPrevProc45|mnuDataPrevProc||S
mnuDataPrevProc50|mnuDataPrevProc|离散数据网格化(&G)|T:frmVLQScatToGrid:0
mnuDataPrevProc60|mnuDataPrevProc|网格数据圆滑处理(&S)|T:frmGridSmoth:200
mnuDataPrevProc70|mnuDataPrevProc|网格数据叠置处理(&O)|T:frmGridSmoth:100
mnuDataPrevProc72|mnuDataPrevProc|网格数据转换为表数据(&T)|T:frmGridToTbl:0
mnuDataPrevProc75|mnuDataPrevProc||S
mnuDataPrevProc80|mnuDataPrevProc|数据剪裁(&C)|T:frmBaseDataCutDown:0
mnuDataPrevProc82|mnuDataPrevProc|数据表合并(&Y)|T:frmTableJoin:0
mnuDataPrevProc83|mnuDataPrevProc|数据表专项合并(&V)|T:frmTableJoinS:0
mnuDataPrevProc86|mnuDataPrevProc|数据表SQL整理(&Q)|T:frmSQLProcess:0
mnuDataPrevProc90|mnuDataPrevProc||S
mnuDataPrevProc92|mnuDataPrevProc|工作区数据整理(&H)|T:frmClearTableM:0
mnuDataPrevProc94|mnuDataPrevProc|工作区数据表转出(&U)|T:frmSaveDataTo:0
Rip07|mnuDataPrevProc||S
mnuDataPrevProc100|mnuDataPrevProc|通用数据导入(&N)|M
mnuDataPrevProc101|mnuDataPrevProc100|表数据导入(&T)|T:frmOutTblToWorkBase:0
mnuDataPrevProc102|mnuDataPrevProc100|网格数据导入(&G)|T:frmGridDataIn:0
mnuDataPrevProc103|mnuDataPrevProc100|图像数据导入(&M)|T:frmGridDataIn:100
mnuDataPrevProc104|mnuDataPrevProc100|剖面数据导入(&P)|I
mnuDataPrevProc110|mnuDataPrevProc|物探数据导入(&W)|M
mnuGM2DDataLoad|mnuDataPrevProc110|二维重磁反演|M
mnuGM2DProfDataLoad|mnuGM2DDataLoad|实测数据导入|I
mnuGM2DModeDataLoad|mnuGM2DDataLoad|模型数据导入|I
mnuGM3DDataLoad|mnuDataPrevProc110|三维重磁反演|M
mnuGM3DSurfDataLoad|mnuGM3DDataLoad|实测数据导入|I
mnuGM3DModeDataLoad|mnuGM3DDataLoad|模型数据导入|I
Rip06|mnuDataPrevProc110||S
mnuResIP1DSoundDataLoad|mnuDataPrevProc110|一维电阻率极化率测深正反演|M
mnuResIP1DSoundForDataLoad|mnuResIP1DSoundDataLoad|正演数据导入|M
mnuResIP1D2J0SoundForDataLoad|mnuResIP1DSoundForDataLoad|二极装置数据|I
mnuResIP1D4J1SoundForDataLoad|mnuResIP1DSoundForDataLoad|对称四极装置(MN>0)数据|I
mnuResIP1D4J0SoundForDataLoad|mnuResIP1DSoundForDataLoad|对称四极装置(MN=0)数据|I
mnuResIP1DOJ1SoundForDataLoad|mnuResIP1DSoundForDataLoad|偶极偶极装置(MN>0)数据|I
mnuResIP1DOJ0SoundForDataLoad|mnuResIP1DSoundForDataLoad|偶极偶极装置(MN=0)数据|I
mnuResIP1DSoundInvDataLoad|mnuResIP1DSoundDataLoad|反演数据导入|M
mnuResIP1DPosFileDataLoad|mnuResIP1DSoundInvDataLoad|位置文件数据|I
Rip00|mnuResIP1DSoundInvDataLoad||S
mnuResIP1D2J0SoundInvDataLoad|mnuResIP1DSoundInvDataLoad|二极装置数据|I
mnuResIP1D4J1SoundInvDataLoad|mnuResIP1DSoundInvDataLoad|对称四极装置(MN>0)数据|I
mnuResIP1D4J0SoundInvDataLoad|mnuResIP1DSoundInvDataLoad|对称四极装置(MN=0)数据|I
mnuResIP1DOJ1SoundInvDataLoad|mnuResIP1DSoundInvDataLoad|偶极偶极装置(MN>0)数据|I
mnuResIP1DOJ0SoundInvDataLoad|mnuResIP1DSoundInvDataLoad|偶极偶极装置(MN=0)数据|I
mnuResIP2DManDataLoad|mnuDataPrevProc110|二维电阻率极化率交互正反演|M
mnuResIP2DManForDataLoad|mnuResIP2DManDataLoad|正演数据导入|M
mnuResIP2DPmForDataLoad|mnuResIP2DManForDataLoad|充电装置|I
mnuResIP2DPgForDataLoad|mnuResIP2DManForDataLoad|中间梯度装置|I
mnuResIP2DP2ForDataLoad|mnuResIP2DManForDataLoad|二极剖面装置|I
mnuResIP2DP3ForDataLoad|mnuResIP2DManForDataLoad|联合剖面装置|I
mnuResIP2DP4ForDataLoad|mnuResIP2DManForDataLoad|对称四极剖面装置|I
mnuResIP2DPoForDataLoad|mnuResIP2DManForDataLoad|偶极剖面装置|I
Rip01|mnuResIP2DManForDataLoad||S
mnuResIP2DS2ForDataLoad|mnuResIP2DManForDataLoad|二极测深装置|I
mnuResIP2DS3ForDataLoad|mnuResIP2DManForDataLoad|三极测深装置|I
mnuResIP2DS4ForDataLoad|mnuResIP2DManForDataLoad|对称四极测深装置|I
mnuResIP2DSoForDataLoad|mnuResIP2DManForDataLoad|偶极测深装置|I
mnuResIP2DManInvDataLoad|mnuResIP2DManDataLoad|反演数据导入|M
mnuResIP2DPmInvDataLoad|mnuResIP2DManInvDataLoad|充电装置|I
mnuResIP2DPgInvDataLoad|mnuResIP2DManInvDataLoad|中间梯度装置|I
mnuResIP2DP2InvDataLoad|mnuResIP2DManInvDataLoad|二极剖面装置|I
mnuResIP2DP3InvDataLoad|mnuResIP2DManInvDataLoad|联合剖面装置|I
mnuResIP2DP4InvDataLoad|mnuResIP2DManInvDataLoad|对称四极剖面装置|I
mnuResIP2DPoInvDataLoad|mnuResIP2DManInvDataLoad|偶极剖面装置|I
Rip02|mnuResIP2DManInvDataLoad||S
mnuResIP2DS2InvDataLoad|mnuResIP2DManInvDataLoad|二极测深装置|I
mnuResIP2DS3InvDataLoad|mnuResIP2DManInvDataLoad|三极测深装置|I
mnuResIP2DS4InvDataLoad|mnuResIP2DManInvDataLoad|对称四极测深装置|I
mnuResIP2DSoInvDataLoad|mnuResIP2DManInvDataLoad|偶极测深装置|I
mnuResIP2DAutoDataLoad|mnuDataPrevProc110|二维电阻率极化率自动反演|M
mnuHDTopoDataLoad|mnuResIP2DAutoDataLoad|地形数据导入|I
Rip05|mnuResIP2DAutoDataLoad||S
mnuHD2ADataLoad|mnuResIP2DAutoDataLoad|二极实测数据导入|I
mnuHD3ADataLoad|mnuResIP2DAutoDataLoad|三极实测数据导入|I
mnuHD4ADataLoad|mnuResIP2DAutoDataLoad|对称四极实测数据导入|I
mnuHDOADataLoad|mnuResIP2DAutoDataLoad|偶极偶极实测数据导入|I
mnuMT2DInverseDataLoad|mnuDataPrevProc110|二维大地电磁测深反演|M
mnuMT2DBasedInfoFileLoad|mnuMT2DInverseDataLoad|基本信息数据导入|I
mnuMT2DGridsInfoFileLoad|mnuMT2DInverseDataLoad|网格剖分数据导入|I
mnuMT2DModelInfoFileLoad|mnuMT2DInverseDataLoad|初始模型数据导入|I
mnuMT2DPointInfoFileLoad|mnuMT2DInverseDataLoad|测点数据文件导入|L:frmWT2DMTDataInput
mnuSp555|mnuDataPrevProc110||S
mnuDC2DTopoDataLoad|mnuDataPrevProc110|二维直流电阻率法地形改正|I
mnuMultiAnan||多元分析(&M)|M
mnuMultiAnan20|mnuMultiAnan|因子分析(&F)|X
mnuMultiAnan30|mnuMultiAnan|普通聚类分析(&N)|T:frmClusterAnalysis:0
mnuMultiAnan32|mnuMultiAnan|Koh聚类分析(&O)|X
mnuMultiAnan34|mnuMultiAnan|Tfi聚类分析(&I)|X
mnuMultiAnan40|mnuMultiAnan|趋势分析(&T)|T:frmDataTrens:0
mnuMultiAnan50|mnuMultiAnan|回归分析(&R)|T:frmDataProcRegression:0
mnuMultiAnan10|mnuMultiAnan|协同克吕格分析(&K)|T:frmVLQCoKrigAnal:100
spc10|mnuMultiAnan||S
mnuMultiAnan60|mnuMultiAnan|分布检验(&H)|T:frmDataProcSingleHis:0
sp20|mnuMultiAnan||S
mnuMultiAnan62|mnuMultiAnan|BP神经网络分类(&B)|X
mnuMultiAnan64|mnuMultiAnan|遗传神经网络分类(&G)|X
mnuMultiAnan65|mnuMultiAnan|BP神经网络预测(&P)|T:FrmBP:0
mnuMultiAnan66|mnuMultiAnan|多级逐步判别预测(&D)|T:FrmDJZBPB:0
sp30|mnuMultiAnan||S
mnuMultiAnan70|mnuMultiAnan|分类统计及校正(&S)|T:frmSetGchmBlock:0
mnuAnmalAna||异常分析(&A)|M
mnuAnmalAna10|mnuAnmalAna|异常下限与特征值(&F)|T:frmScatDataYCXX:100
mnuAnmalAna20|mnuAnmalAna|邻域数据分析(&N)|T:frmSingleVarProcess:0
mnuAnmalAna30|mnuAnmalAna|多变量叠加处理(&M)|T:frmDataProcess:0
mnuAnmalAna40|mnuAnmalAna|数据正则化处理(&Z)|T:frmDataNormalize:0
mnuAnmalAna41|mnuAnmalAna||S
mnuAnmalAna45|mnuAnmalAna|分带序列(&E)|T:frmElemsClassify:0
mnuAnmalAna47|mnuAnmalAna||S
mnuAnmalAna50|mnuAnmalAna|分形分维数计算(&W)|T:frmScatDataYCXX:200
mnuAnmalAna60|mnuAnmalAna|二维分形处理(&T)|T:frmVLQCoKrigAnal:200
mnuAnmalAna65|mnuAnmalAna||H
mnuAnmalAna80|mnuAnmalAna|资源量估算|N
mnuGravMagn||重磁数据处理(&G)|M
mnuCompensatedFilter|mnuGravMagn|滤波(&F)|T:frmGMFreqProcs:200
mnuOneOrderDeriv|mnuGravMagn|导数(&Y)|T:frmGMFreqProcs:210
mnuUpward|mnuGravMagn|延拓(&W)|T:frmGMFreqProcs:220
mnuComponents|mnuGravMagn|视磁化率(&B)|T:frmGMFreqProcs:230
mnuTotalGradNorm|mnuGravMagn|总梯度模(&M)|T:frmGMFreqProcs:250
mnuToPole|mnuGravMagn|磁场化极(&P)|T:frmGMFreqProcs:500
mnuToPoleLower|mnuGravMagn|低纬度磁场化极(&L)|X
mnuThreeComponents|mnuGravMagn|三分量转换(&T)|T:frmGMFreqProcs:231
mnuThreeComponentsR|mnuGravMagn|任意方向转换(&C)|T:frmGMFreqProcs:233
mnuStructure|mnuGravMagn|线性增强(&I)|T:frmGMFreqProcs:232
mnuPseudoGravity|mnuGravMagn|磁源重力异常(&A)|T:frmGMFreqProcs:240
mnuTiltAngle|mnuGravMagn|倾斜角(&N)|T:frmGMFreqProcs:260
mnuAnalyticSignal|mnuGravMagn|解析信号振幅(&J)|T:frmGMFreqProcs:270
mnuHorizGradient|mnuGravMagn|水平梯度模(&O)|T:frmGMFreqProcs:280
mnuGravMagn60|mnuGravMagn||S
mnuGravityTrr|mnuGravMagn|重力地形改正(&K)|T:frmGravTrr:0
mnuGravityBack|mnuGravMagn|重力背景场稳健拟合(&Z)|T:frmGravityTrend:0
mnuGravMagn80|mnuGravMagn||H
mnuGravMagn90|mnuGravMagn|匹配滤波异常分解(&P)|N
mnuGravMagn100|mnuGravMagn|延拓与求导(&Q)|N
mnuGravMagn110|mnuGravMagn|磁三分量换算与化极(&H)|N
mnuGravMagn112|mnuGravMagn||S
mnuGravMagn120|mnuGravMagn|地磁要素计算(&R)|L:frmWTIgrf10th
mnuGravMagn122|mnuGravMagn||S
mnuGravMagn125|mnuGravMagn|空间域重磁处理(&S)|M
mnuGravMagn140|mnuGravMagn125|垂直二阶导数(&E)|T:frmGMDataProcs:100
mnuGravMagn150|mnuGravMagn125|水平方向导数(&D)|T:frmGMDataProcs:200
mnuGravMagn160|mnuGravMagn125|上下延拓(&U)|T:frmGMDataProcs:300
mnuGravMagA||重磁正反演(&S)|M
frmGm2DInverse|mnuGravMagA|二维重磁异常反演(&E)|T:frmWTGm2DInverse:0
frmGm3DInverse|mnuGravMagA|三维重磁异常反演(&S)|X
frmGm3DWXInverse|mnuGravMagA|三维重磁物性反演(&W)|X
mnuGravMagA35|mnuGravMagA||S
mnuGravMagA40|mnuGravMagA|二维磁源深度计算(&H)|T:frmWTProfMagnSrcDepth:0
mnuGravMagA50|mnuGravMagA|三维磁性界面反演(&J)|L:FrmWTMagnInterfaceInverse
mnuGravMagA55|mnuGravMagA|三维密度界面反演(&G)|L:FrmWTGravInterfaceInverse
mnuGravMagA60|mnuGravMagA|重磁化综合剖面反演(&P)|X
mnuElectricMethod||电法数据处理(&E)|M
mnuResIP1DSound|mnuElectricMethod|一维电阻率极化率测深正反演(&I)|L:FrmWTResIP1DSound
mnuMT2DInverse|mnuElectricMethod|二维大地电磁测深反演(&P)|L:frmWT2DMTInversion
mnuResIP2DMan|mnuElectricMethod|二维电阻率极化率人机交互反演(&C)|L:FrmWTResIP2DMan
mnuResIP2DAuto|mnuElectricMethod|二维电阻率极化率自动反演(&D)|L:FrmWTResIP2DAuto
mnuEM3DSource|mnuElectricMethod|三维可控源音频大地电磁法正演(&Y)|X
Rip11|mnuElectricMethod||S
mnuDC2DTopoCorrect|mnuElectricMethod|二维直流电阻率法地形改正(&N)|T:frmWTDC2DTopoCorrect:0
mnuHelp||帮助(&H)|M
mnuHelpI_10|mnuHelp|系统帮助(&H)|X
mnuHelpI_20|mnuHelp|关于数据处理子系统|X
mnuExitM||退出(&X)|X)";

const std::map<std::string, std::string> kExpectedStatus = {
    {"mnuDataPrevProc11", "正在打开坐标转换窗体，并装载数据"},
    {"mnuDataPrevProc15", "坐标组转换"},
    {"mnuDataPrevProc20", "图像格式转换，选择转换文件及转换格式"},
    {"mnuDataPrevProc30", "数据格式转换，选择转换文件及转换格式"},
    {"mnuDataPrevProc50", "离散数据转换为网格数据"},
    {"mnuDataPrevProc60", "网格数据圆滑处理"},
    {"mnuDataPrevProc70", "网格数据叠置处理"},
    {"mnuDataPrevProc72", "网格数据转换为数据表"},
    {"mnuDataPrevProc80", "通过剪裁坐标剪裁网格数据与离散数据"},
    {"mnuDataPrevProc82", "数据表合并"},
    {"mnuDataPrevProc83", "数据表专项合并"},
    {"mnuDataPrevProc86", "利用SQL语言指令集整理数据表"},
    {"mnuDataPrevProc92", "清理工作区数据"},
    {"mnuDataPrevProc94", "工作区数据转出"},
    {"mnuDataPrevProc101", "外部表格数据导入工作区"},
    {"mnuDataPrevProc102", "外部网格数据导入工作区"},
    {"mnuDataPrevProc103", "图像数据导入工作区"},
    {"mnuAnmalAna10", "正在打开异常计算窗体，并装载数据，请等待 ..."},
};

struct Expected {
  std::string name, parent, caption, kind, target;
  int mode = 0;
};

std::vector<Expected> expectedMenu() {
  std::vector<Expected> out;
  std::istringstream in(kExpectedMenu);
  std::string line;
  while (std::getline(in, line)) {
    Expected e;
    std::vector<std::string> f;
    std::size_t start = 0;
    for (std::size_t bar; (bar = line.find('|', start)) != std::string::npos; start = bar + 1)
      f.push_back(line.substr(start, bar - start));
    f.push_back(line.substr(start));
    e.name = f.at(0);
    e.parent = f.at(1);
    e.caption = f.at(2);
    std::string kind = f.at(3);
    e.kind = kind.substr(0, 1);
    if (e.kind == "T") {
      std::size_t c = kind.find(':', 2);
      e.target = kind.substr(2, c - 2);
      e.mode = std::stoi(kind.substr(c + 1));
    } else if (e.kind == "L") {
      e.target = kind.substr(2);
    }
    out.push_back(e);
  }
  return out;
}

// Every tool name of the menu registered with a factory that records what it was asked for;
// the previous factories come back at the end.
class RecordingTools {
 public:
  struct Opened {
    std::string tool;
    int mode;
    bool modal;
    QString status;
  };
  explicit RecordingTools(FrmMain& main) : main_(main) {
    for (const auto& e : menuTable())
      if (*e.target && !saved_.count(e.target)) {
        const std::string tool = e.target;
        saved_[tool] = registerToolWindow(tool, [this, tool](QWidget* parent, int mode) {
          auto* w = new QWidget(parent, Qt::Window);
          w->setObjectName(QString::fromStdString(tool));
          pendingMode_ = mode;
          ++created[tool];
          return w;
        });
      }
    previousPresenter_ = FrmMain::setPresenter([this](QWidget* w, bool modal) {
      opened.push_back({w->objectName().toStdString(), pendingMode_, modal, main_.statusText()});
      if (modal) delete w;  // a modal window is closed when the command returns
    });
  }
  ~RecordingTools() {
    FrmMain::setPresenter(std::move(previousPresenter_));
    for (auto& [tool, f] : saved_) registerToolWindow(tool, std::move(f));
  }
  std::vector<Opened> opened;
  std::map<std::string, int> created;

 private:
  FrmMain& main_;
  int pendingMode_ = -1;
  std::map<std::string, ToolWindowFactory> saved_;
  FrmMain::Presenter previousPresenter_;
};

void noEnd(int) {}

class FrmMainTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    setProcessEndHook(&noEnd);
  }
  void TearDown() override {
    setProcessEndHook(nullptr);
    SessionFixture::TearDown();
  }
};

TEST_F(FrmMainTest, MenuTreeMatchesTheDesign) {
  FrmMain w;
  EXPECT_EQ(w.windowTitle(), QString::fromUtf8(" Sarnoth -- 数据处理与分析"));
  auto* panel = w.statusBar()->findChild<QLabel*>(QString::fromUtf8("提示"));
  ASSERT_NE(panel, nullptr);

  const auto expected = expectedMenu();
  ASSERT_EQ(expected.size(), menuTable().size()) << "entries in the table";
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const Expected& x = expected[i];
    SCOPED_TRACE(x.name);
    const MenuEntry& e = menuTable()[i];
    EXPECT_EQ(e.name, x.name) << "order of the entries";
    QAction* a = w.menuAction(x.name);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->objectName().toStdString(), x.name);
    // The entry stands in its parent, in order.
    QWidget* owner = x.parent.empty() ? static_cast<QWidget*>(w.menuBar()) : w.subMenu(x.parent);
    ASSERT_NE(owner, nullptr);
    EXPECT_TRUE(owner->actions().contains(a));
    const bool hidden = x.kind == "H" || x.kind == "N";
    EXPECT_EQ(a->isVisible(), !hidden);
    EXPECT_EQ(a->isSeparator(), x.kind == "S" || x.kind == "H");
    if (!a->isSeparator()) {
      EXPECT_EQ(a->text().toStdString(), x.caption);
    }
    if (x.kind == "M") {
      EXPECT_NE(a->menu(), nullptr);
    }
    if (x.kind == "T" || x.kind == "L") {
      EXPECT_EQ(e.target, x.target);
      EXPECT_EQ(e.mode, x.mode);
      EXPECT_EQ(e.modeless, x.kind == "L");
    }
    auto st = kExpectedStatus.find(x.name);
    EXPECT_EQ(std::string(e.status), st == kExpectedStatus.end() ? "" : st->second);
  }

  // The menu bar, left to right, ends with the exit entry that has no submenu.
  QStringList top;
  for (QAction* a : w.menuBar()->actions()) top << a->objectName();
  EXPECT_EQ(top.join(","),
            "mnuDataPrevProc,mnuMultiAnan,mnuAnmalAna,mnuGravMagn,mnuGravMagA,"
            "mnuElectricMethod,mnuHelp,mnuExitM");
  EXPECT_EQ(w.menuAction("mnuExitM")->menu(), nullptr);
  EXPECT_EQ(menuAccelerator("数据剪裁(&C)"), 'C');
  EXPECT_EQ(menuAccelerator("关于数据处理子系统"), '\0');
}

TEST_F(FrmMainTest, EveryToolEntryOpensItsWindowWithModeAndStatus) {
  FrmMain w;
  RecordingTools tools(w);
  for (const auto& x : expectedMenu()) {
    if (x.kind != "T" && x.kind != "L") continue;
    SCOPED_TRACE(x.name);
    w.setStatusText("before");
    const std::size_t before = tools.opened.size();
    w.menuAction(x.name)->trigger();
    ASSERT_EQ(tools.opened.size(), before + 1);
    const auto& o = tools.opened.back();
    EXPECT_EQ(o.tool, x.target);
    EXPECT_EQ(o.mode, x.mode);
    EXPECT_EQ(o.modal, x.kind == "T");
    auto st = kExpectedStatus.find(x.name);
    // The status text is written before the window opens; without one the panel keeps its text.
    EXPECT_EQ(o.status.toStdString(), st == kExpectedStatus.end() ? "before" : st->second);
  }
}

TEST_F(FrmMainTest, ModelessWindowIsShownAgainNotReplaced) {
  FrmMain w;
  RecordingTools tools(w);
  w.runCommand("mnuResIP1DSound");
  QWidget* first = w.openModeless("FrmWTResIP1DSound");
  ASSERT_NE(first, nullptr);
  w.runCommand("mnuResIP1DSound");
  EXPECT_EQ(tools.created["FrmWTResIP1DSound"], 1);
  EXPECT_EQ(w.openModeless("FrmWTResIP1DSound"), first);
  // Once closed and gone, the next command makes a new window.
  delete first;
  w.runCommand("mnuResIP1DSound");
  EXPECT_EQ(tools.created["FrmWTResIP1DSound"], 2);
}

TEST_F(FrmMainTest, CommandsWithoutTheirToolSayPlainlyThatItIsNotAvailable) {
  FrmMain w;
  // No tool window of the menu has landed here: remove any that registered.
  std::map<std::string, ToolWindowFactory> saved;
  for (const auto& e : menuTable())
    if (*e.target) saved[e.target] = registerToolWindow(e.target, nullptr);
  closed::LowLatitudeWork lowLatitude = closed::installLowLatitudeReduction(nullptr);
  // Nor any file import.
  std::map<std::string, MenuCommandHandler> savedImports;
  for (const auto& e : menuTable())
    if (e.action == MenuAction::FileImport)
      savedImports[e.name] = registerMenuCommand(e.name, nullptr);
  int silent = 0;
  std::vector<std::string> quiet;
  for (const auto& e : menuTable()) {
    if (e.kind != MenuKind::Leaf || e.hidden) continue;
    if (e.action == MenuAction::Exit || e.action == MenuAction::About) continue;
    ScriptedMessages boxes;
    w.runCommand(e.name);
    if (boxes.texts.empty()) {
      ++silent;
      quiet.push_back(e.name);
      continue;
    }
    EXPECT_EQ(boxes.titles.front(), "Sarnoth 提示") << e.name;
    const std::string& text = boxes.texts.front();
    EXPECT_TRUE(text.find("尚未提供") != std::string::npos ||
                text.find("尚不可用") != std::string::npos ||
                text.find("不存在") != std::string::npos)
        << e.name << ": " << text;
    if (e.action == MenuAction::Tool) {
      std::string plain = e.caption;
      plain = plain.substr(0, plain.find("(&"));
      EXPECT_NE(text.find(plain), std::string::npos) << text;
    }
  }
  EXPECT_EQ(silent, 0) << "silent commands, first: " << (quiet.empty() ? "" : quiet.front());
  for (auto& [tool, f] : saved) registerToolWindow(tool, std::move(f));
  closed::installLowLatitudeReduction(std::move(lowLatitude));
  for (auto& [name, h] : savedImports) registerMenuCommand(name, std::move(h));

  // The never-shown entries have no handler at all.
  ScriptedMessages boxes;
  w.runCommand("mnuGravMagn90");
  w.runCommand("mnuAnmalAna80");
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(FrmMainTest, FileImportsLandByRegisteringUnderTheirEntry) {
  FrmMain w;
  int runs = 0;
  QWidget* seen = nullptr;
  registerMenuCommand("mnuGM2DProfDataLoad", [&](QWidget* main) {
    ++runs;
    seen = main;
  });
  ScriptedMessages boxes;
  w.menuAction("mnuGM2DProfDataLoad")->trigger();
  registerMenuCommand("mnuGM2DProfDataLoad", nullptr);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(seen, &w);
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(FrmMainTest, SaveDataToAsksForAWorkAreaFirst) {
  FrmMain w;
  RecordingTools tools(w);
  gWorkPath.clear();
  {
    ScriptedMessages boxes;
    w.runCommand("mnuDataPrevProc94");
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "请先选择工作区。");
    EXPECT_TRUE(tools.opened.empty());
  }
  gWorkPath = area("");
  w.runCommand("mnuDataPrevProc94");
  ASSERT_EQ(tools.opened.size(), 1u);
  EXPECT_EQ(tools.opened[0].tool, "frmSaveDataTo");
}

int gEnds = 0;
void countEnd(int) { ++gEnds; }

TEST_F(FrmMainTest, ExitClosesTheWindowFirstThenLogsTheLeave) {
  createSystemDatabase(gSysPath);
  writeSettingsFile(gSysPath, gWorkPath);
  setProcessEndHook(&countEnd);
  gEnds = 0;
  {
    FrmMain w;
    w.show();
    // A main program window of this process is shown again on closing.
    QWidget mainProgram;
    mainProgram.setWindowTitle(QString::fromUtf8(" Sarnoth 2005"));
    w.runCommand("mnuExitM");
    EXPECT_TRUE(mainProgram.isVisible());
    EXPECT_FALSE(w.isVisible());
  }
  // The close ended the process (first call); the record and the second end come after it and
  // are reached only because the test's end returns.
  EXPECT_EQ(gEnds, 2);
  Database db = openStoreFor(gSysPath + "DMXManag.mdb");
  Recordset rs = Recordset::openTable(db, "OPRecoords");
  ASSERT_EQ(rs.recordCount(), 1);
  EXPECT_EQ(rs.getText("备注"), "退出");
}

}  // namespace
}  // namespace sarnoth::gui
