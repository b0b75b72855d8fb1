#include "app/menu_table.h"

#include <cstring>

namespace sarnoth::gui {
namespace {

using K = MenuKind;
using A = MenuAction;

MenuEntry top(const char* name, const char* caption) {
  return {name, nullptr, caption, K::Submenu};
}
MenuEntry sub(const char* name, const char* parent, const char* caption) {
  return {name, parent, caption, K::Submenu};
}
MenuEntry sep(const char* name, const char* parent, bool hidden = false) {
  return {name, parent, "", K::Separator, A::None, "", kNoMode, false, "", hidden};
}
MenuEntry tool(const char* name, const char* parent, const char* caption, const char* target,
               int mode = kNoMode, const char* status = "", bool modeless = false) {
  return {name, parent, caption, K::Leaf, A::Tool, target, mode, modeless, status};
}
MenuEntry modeless(const char* name, const char* parent, const char* caption, const char* target) {
  return {name, parent, caption, K::Leaf, A::Tool, target, kNoMode, true};
}
MenuEntry act(const char* name, const char* parent, const char* caption, MenuAction a,
              int mode = kNoMode) {
  return {name, parent, caption, K::Leaf, a, "", mode};
}
MenuEntry imp(const char* name, const char* parent, const char* caption) {
  return {name, parent, caption, K::Leaf, A::FileImport};
}
MenuEntry never(const char* name, const char* parent, const char* caption) {
  return {name, parent, caption, K::Leaf, A::None, "", kNoMode, false, "", true};
}

std::vector<MenuEntry> build() {
  std::vector<MenuEntry> m;
  auto add = [&m](MenuEntry e) { m.push_back(e); };

  // ---------------------------------------------------------------- 数据预处理
  const char* P = "mnuDataPrevProc";
  add(top(P, "数据预处理(&P)"));
  add(tool("mnuDataPrevProc11", P, "地理坐标投影变换(&N)", "frmGeoCoordConv", kNoMode,
           "正在打开坐标转换窗体，并装载数据"));
  add(tool("mnuDataPrevProc15", P, "坐标组转换(&Z)", "frmDataP", kNoMode, "坐标组转换"));
  add(tool("mnuDataPrevProc20", P, "图像格式转换(&M)", "frmFormatConvert", 100,
           "图像格式转换，选择转换文件及转换格式"));
  add(tool("mnuDataPrevProc30", P, "数据格式转换(&F)", "frmFormatConvert", 200,
           "数据格式转换，选择转换文件及转换格式"));
  add(sep("mnuDataPrevProc45", P));
  add(tool("mnuDataPrevProc50", P, "离散数据网格化(&G)", "frmVLQScatToGrid", kNoMode,
           "离散数据转换为网格数据"));
  add(tool("mnuDataPrevProc60", P, "网格数据圆滑处理(&S)", "frmGridSmoth", 200,
           "网格数据圆滑处理"));
  add(tool("mnuDataPrevProc70", P, "网格数据叠置处理(&O)", "frmGridSmoth", 100,
           "网格数据叠置处理"));
  add(tool("mnuDataPrevProc72", P, "网格数据转换为表数据(&T)", "frmGridToTbl", kNoMode,
           "网格数据转换为数据表"));
  add(sep("mnuDataPrevProc75", P));
  add(tool("mnuDataPrevProc80", P, "数据剪裁(&C)", "frmBaseDataCutDown", kNoMode,
           "通过剪裁坐标剪裁网格数据与离散数据"));
  add(tool("mnuDataPrevProc82", P, "数据表合并(&Y)", "frmTableJoin", kNoMode, "数据表合并"));
  add(tool("mnuDataPrevProc83", P, "数据表专项合并(&V)", "frmTableJoinS", kNoMode,
           "数据表专项合并"));
  add(tool("mnuDataPrevProc86", P, "数据表SQL整理(&Q)", "frmSQLProcess", kNoMode,
           "利用SQL语言指令集整理数据表"));
  add(sep("mnuDataPrevProc90", P));
  add(tool("mnuDataPrevProc92", P, "工作区数据整理(&H)", "frmClearTableM", kNoMode,
           "清理工作区数据"));
  {
    MenuEntry e = tool("mnuDataPrevProc94", P, "工作区数据表转出(&U)", "frmSaveDataTo", kNoMode,
                       "工作区数据转出");
    e.action = A::SaveDataTo;
    add(e);
  }
  add(sep("Rip07", P));
  const char* G = "mnuDataPrevProc100";
  add(sub(G, P, "通用数据导入(&N)"));
  add(tool("mnuDataPrevProc101", G, "表数据导入(&T)", "frmOutTblToWorkBase", kNoMode,
           "外部表格数据导入工作区"));
  add(tool("mnuDataPrevProc102", G, "网格数据导入(&G)", "frmGridDataIn", kNoMode,
           "外部网格数据导入工作区"));
  add(tool("mnuDataPrevProc103", G, "图像数据导入(&M)", "frmGridDataIn", 100,
           "图像数据导入工作区"));
  add(imp("mnuDataPrevProc104", G, "剖面数据导入(&P)"));

  // ---------------------------------------------------------------- 物探数据导入
  const char* W = "mnuDataPrevProc110";
  add(sub(W, P, "物探数据导入(&W)"));
  add(sub("mnuGM2DDataLoad", W, "二维重磁反演"));
  add(imp("mnuGM2DProfDataLoad", "mnuGM2DDataLoad", "实测数据导入"));
  add(imp("mnuGM2DModeDataLoad", "mnuGM2DDataLoad", "模型数据导入"));
  add(sub("mnuGM3DDataLoad", W, "三维重磁反演"));
  add(imp("mnuGM3DSurfDataLoad", "mnuGM3DDataLoad", "实测数据导入"));
  add(imp("mnuGM3DModeDataLoad", "mnuGM3DDataLoad", "模型数据导入"));
  add(sep("Rip06", W));

  const char* S1 = "mnuResIP1DSoundDataLoad";
  add(sub(S1, W, "一维电阻率极化率测深正反演"));
  const char* S1F = "mnuResIP1DSoundForDataLoad";
  add(sub(S1F, S1, "正演数据导入"));
  add(imp("mnuResIP1D2J0SoundForDataLoad", S1F, "二极装置数据"));
  add(imp("mnuResIP1D4J1SoundForDataLoad", S1F, "对称四极装置(MN>0)数据"));
  add(imp("mnuResIP1D4J0SoundForDataLoad", S1F, "对称四极装置(MN=0)数据"));
  add(imp("mnuResIP1DOJ1SoundForDataLoad", S1F, "偶极偶极装置(MN>0)数据"));
  add(imp("mnuResIP1DOJ0SoundForDataLoad", S1F, "偶极偶极装置(MN=0)数据"));
  const char* S1I = "mnuResIP1DSoundInvDataLoad";
  add(sub(S1I, S1, "反演数据导入"));
  add(imp("mnuResIP1DPosFileDataLoad", S1I, "位置文件数据"));
  add(sep("Rip00", S1I));
  add(imp("mnuResIP1D2J0SoundInvDataLoad", S1I, "二极装置数据"));
  add(imp("mnuResIP1D4J1SoundInvDataLoad", S1I, "对称四极装置(MN>0)数据"));
  add(imp("mnuResIP1D4J0SoundInvDataLoad", S1I, "对称四极装置(MN=0)数据"));
  add(imp("mnuResIP1DOJ1SoundInvDataLoad", S1I, "偶极偶极装置(MN>0)数据"));
  add(imp("mnuResIP1DOJ0SoundInvDataLoad", S1I, "偶极偶极装置(MN=0)数据"));

  const char* S2 = "mnuResIP2DManDataLoad";
  add(sub(S2, W, "二维电阻率极化率交互正反演"));
  struct Array2D {
    const char* code;
    const char* caption;
  };
  static const Array2D arrays2d[] = {{"Pm", "充电装置"},         {"Pg", "中间梯度装置"},
                                     {"P2", "二极剖面装置"},     {"P3", "联合剖面装置"},
                                     {"P4", "对称四极剖面装置"}, {"Po", "偶极剖面装置"},
                                     {"S2", "二极测深装置"},     {"S3", "三极测深装置"},
                                     {"S4", "对称四极测深装置"}, {"So", "偶极测深装置"}};
  static std::vector<std::string> names2d;  // the generated names live as long as the table
  names2d.reserve(2 * std::size(arrays2d));
  struct Half2D {
    const char* parent;
    const char* caption;
    const char* suffix;
    const char* separator;
  };
  const Half2D halves[] = {{"mnuResIP2DManForDataLoad", "正演数据导入", "ForDataLoad", "Rip01"},
                           {"mnuResIP2DManInvDataLoad", "反演数据导入", "InvDataLoad", "Rip02"}};
  for (const auto& h : halves) {
    add(sub(h.parent, S2, h.caption));
    for (const auto& a : arrays2d) {
      if (std::strcmp(a.code, "S2") == 0) add(sep(h.separator, h.parent));
      names2d.push_back(std::string("mnuResIP2D") + a.code + h.suffix);
      add(imp(names2d.back().c_str(), h.parent, a.caption));
    }
  }

  const char* SA = "mnuResIP2DAutoDataLoad";
  add(sub(SA, W, "二维电阻率极化率自动反演"));
  add(imp("mnuHDTopoDataLoad", SA, "地形数据导入"));
  add(sep("Rip05", SA));
  add(imp("mnuHD2ADataLoad", SA, "二极实测数据导入"));
  add(imp("mnuHD3ADataLoad", SA, "三极实测数据导入"));
  add(imp("mnuHD4ADataLoad", SA, "对称四极实测数据导入"));
  add(imp("mnuHDOADataLoad", SA, "偶极偶极实测数据导入"));

  const char* MT = "mnuMT2DInverseDataLoad";
  add(sub(MT, W, "二维大地电磁测深反演"));
  add(imp("mnuMT2DBasedInfoFileLoad", MT, "基本信息数据导入"));
  add(imp("mnuMT2DGridsInfoFileLoad", MT, "网格剖分数据导入"));
  add(imp("mnuMT2DModelInfoFileLoad", MT, "初始模型数据导入"));
  add(modeless("mnuMT2DPointInfoFileLoad", MT, "测点数据文件导入", "frmWT2DMTDataInput"));
  add(sep("mnuSp555", W));
  add(imp("mnuDC2DTopoDataLoad", W, "二维直流电阻率法地形改正"));

  // ---------------------------------------------------------------- 多元分析
  const char* M = "mnuMultiAnan";
  add(top(M, "多元分析(&M)"));
  add(act("mnuMultiAnan20", M, "因子分析(&F)", A::FactorAnalysis));
  add(tool("mnuMultiAnan30", M, "普通聚类分析(&N)", "frmClusterAnalysis"));
  add(act("mnuMultiAnan32", M, "Koh聚类分析(&O)", A::Korva, 4));
  add(act("mnuMultiAnan34", M, "Tfi聚类分析(&I)", A::Korva, 5));
  add(tool("mnuMultiAnan40", M, "趋势分析(&T)", "frmDataTrens"));
  add(tool("mnuMultiAnan50", M, "回归分析(&R)", "frmDataProcRegression"));
  add(tool("mnuMultiAnan10", M, "协同克吕格分析(&K)", "frmVLQCoKrigAnal", 100));
  add(sep("spc10", M));
  add(tool("mnuMultiAnan60", M, "分布检验(&H)", "frmDataProcSingleHis"));
  add(sep("sp20", M));
  add(act("mnuMultiAnan62", M, "BP神经网络分类(&B)", A::Korva, 2));
  add(act("mnuMultiAnan64", M, "遗传神经网络分类(&G)", A::Korva, 3));
  add(tool("mnuMultiAnan65", M, "BP神经网络预测(&P)", "FrmBP"));
  add(tool("mnuMultiAnan66", M, "多级逐步判别预测(&D)", "FrmDJZBPB"));
  add(sep("sp30", M));
  add(tool("mnuMultiAnan70", M, "分类统计及校正(&S)", "frmSetGchmBlock"));

  // ---------------------------------------------------------------- 异常分析
  const char* N = "mnuAnmalAna";
  add(top(N, "异常分析(&A)"));
  add(tool("mnuAnmalAna10", N, "异常下限与特征值(&F)", "frmScatDataYCXX", 100,
           "正在打开异常计算窗体，并装载数据，请等待 ..."));
  add(tool("mnuAnmalAna20", N, "邻域数据分析(&N)", "frmSingleVarProcess"));
  add(tool("mnuAnmalAna30", N, "多变量叠加处理(&M)", "frmDataProcess"));
  add(tool("mnuAnmalAna40", N, "数据正则化处理(&Z)", "frmDataNormalize"));
  add(sep("mnuAnmalAna41", N));
  add(tool("mnuAnmalAna45", N, "分带序列(&E)", "frmElemsClassify"));
  add(sep("mnuAnmalAna47", N));
  add(tool("mnuAnmalAna50", N, "分形分维数计算(&W)", "frmScatDataYCXX", 200));
  add(tool("mnuAnmalAna60", N, "二维分形处理(&T)", "frmVLQCoKrigAnal", 200));
  add(sep("mnuAnmalAna65", N, true));
  add(never("mnuAnmalAna80", N, "资源量估算"));

  // ---------------------------------------------------------------- 重磁数据处理
  const char* R = "mnuGravMagn";
  add(top(R, "重磁数据处理(&G)"));
  add(tool("mnuCompensatedFilter", R, "滤波(&F)", "frmGMFreqProcs", 200));
  add(tool("mnuOneOrderDeriv", R, "导数(&Y)", "frmGMFreqProcs", 210));
  add(tool("mnuUpward", R, "延拓(&W)", "frmGMFreqProcs", 220));
  add(tool("mnuComponents", R, "视磁化率(&B)", "frmGMFreqProcs", 230));
  add(tool("mnuTotalGradNorm", R, "总梯度模(&M)", "frmGMFreqProcs", 250));
  add(tool("mnuToPole", R, "磁场化极(&P)", "frmGMFreqProcs", 500));
  add(act("mnuToPoleLower", R, "低纬度磁场化极(&L)", A::LowLatitude));
  add(tool("mnuThreeComponents", R, "三分量转换(&T)", "frmGMFreqProcs", 231));
  add(tool("mnuThreeComponentsR", R, "任意方向转换(&C)", "frmGMFreqProcs", 233));
  add(tool("mnuStructure", R, "线性增强(&I)", "frmGMFreqProcs", 232));
  add(tool("mnuPseudoGravity", R, "磁源重力异常(&A)", "frmGMFreqProcs", 240));
  // Additions beyond the old tool: the edge detectors in use today, beside the old ones.
  add(tool("mnuTiltAngle", R, "倾斜角(&N)", "frmGMFreqProcs", 260));
  add(tool("mnuAnalyticSignal", R, "解析信号振幅(&J)", "frmGMFreqProcs", 270));
  add(tool("mnuHorizGradient", R, "水平梯度模(&O)", "frmGMFreqProcs", 280));
  add(sep("mnuGravMagn60", R));
  add(tool("mnuGravityTrr", R, "重力地形改正(&K)", "frmGravTrr"));
  add(tool("mnuGravityBack", R, "重力背景场稳健拟合(&Z)", "frmGravityTrend"));
  add(sep("mnuGravMagn80", R, true));
  add(never("mnuGravMagn90", R, "匹配滤波异常分解(&P)"));
  add(never("mnuGravMagn100", R, "延拓与求导(&Q)"));
  add(never("mnuGravMagn110", R, "磁三分量换算与化极(&H)"));
  add(sep("mnuGravMagn112", R));
  add(modeless("mnuGravMagn120", R, "地磁要素计算(&R)", "frmWTIgrf10th"));
  add(sep("mnuGravMagn122", R));
  const char* SD = "mnuGravMagn125";
  add(sub(SD, R, "空间域重磁处理(&S)"));
  add(tool("mnuGravMagn140", SD, "垂直二阶导数(&E)", "frmGMDataProcs", 100));
  add(tool("mnuGravMagn150", SD, "水平方向导数(&D)", "frmGMDataProcs", 200));
  add(tool("mnuGravMagn160", SD, "上下延拓(&U)", "frmGMDataProcs", 300));

  // ---------------------------------------------------------------- 重磁正反演
  const char* I = "mnuGravMagA";
  add(top(I, "重磁正反演(&S)"));
  add(tool("frmGm2DInverse", I, "二维重磁异常反演(&E)", "frmWTGm2DInverse"));
  add(act("frmGm3DInverse", I, "三维重磁异常反演(&S)", A::GeoMGInv));
  add(act("frmGm3DWXInverse", I, "三维重磁物性反演(&W)", A::Invs3D));
  add(sep("mnuGravMagA35", I));
  add(tool("mnuGravMagA40", I, "二维磁源深度计算(&H)", "frmWTProfMagnSrcDepth"));
  add(modeless("mnuGravMagA50", I, "三维磁性界面反演(&J)", "FrmWTMagnInterfaceInverse"));
  add(modeless("mnuGravMagA55", I, "三维密度界面反演(&G)", "FrmWTGravInterfaceInverse"));
  add(act("mnuGravMagA60", I, "重磁化综合剖面反演(&P)", A::Gmc));

  // ---------------------------------------------------------------- 电法数据处理
  const char* E = "mnuElectricMethod";
  add(top(E, "电法数据处理(&E)"));
  add(modeless("mnuResIP1DSound", E, "一维电阻率极化率测深正反演(&I)", "FrmWTResIP1DSound"));
  add(modeless("mnuMT2DInverse", E, "二维大地电磁测深反演(&P)", "frmWT2DMTInversion"));
  add(modeless("mnuResIP2DMan", E, "二维电阻率极化率人机交互反演(&C)", "FrmWTResIP2DMan"));
  add(modeless("mnuResIP2DAuto", E, "二维电阻率极化率自动反演(&D)", "FrmWTResIP2DAuto"));
  add(act("mnuEM3DSource", E, "三维可控源音频大地电磁法正演(&Y)", A::CSAMT3D));
  add(sep("Rip11", E));
  add(tool("mnuDC2DTopoCorrect", E, "二维直流电阻率法地形改正(&N)", "frmWTDC2DTopoCorrect"));

  // ---------------------------------------------------------------- 帮助, 退出
  add(top("mnuHelp", "帮助(&H)"));
  add(act("mnuHelpI_10", "mnuHelp", "系统帮助(&H)", A::Help));
  add(act("mnuHelpI_20", "mnuHelp", "关于数据处理子系统", A::About));
  add(act("mnuExitM", nullptr, "退出(&X)", A::Exit));
  return m;
}

}  // namespace

const std::vector<MenuEntry>& menuTable() {
  static const std::vector<MenuEntry> table = build();
  return table;
}

const MenuEntry* findMenuEntry(const std::string& name) {
  for (const auto& e : menuTable())
    if (name == e.name) return &e;
  return nullptr;
}

char menuAccelerator(const char* caption) {
  const char* amp = std::strchr(caption, '&');
  while (amp && amp[1] == '&') amp = std::strchr(amp + 2, '&');
  if (!amp || amp[1] == '\0' || amp[1] == ')') return '\0';
  return amp[1];
}

}  // namespace sarnoth::gui
