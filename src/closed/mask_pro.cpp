#include "closed/mask_pro.h"

namespace sarnoth::closed {

const std::vector<MaskProCommand>& maskProCommands() {
  static const std::vector<MaskProCommand> k = {
      {"mnuHelpFunctionKey", "功能键...", 71},
      {"mnuHelpAbout", "关于 Mask", 0},
      {"mnuSetEarthMagnaticParam", "地磁场方向...", 24},
      {"mnuSetNoVertFlag", "角点不加标志", 27},
      {"mnuInversionMethodCloleSky", "Cholesky", 39},
      {"mnuInversionMethodUAV", "广义逆", 40},
      {"mnuSetColorDataReg", "数据区", 13},
      {"mnuSetColorModelReg", "模型区", 14},
      {"mnuSetColorModelsInvers", "所选模型", 15},
      {"mnuModGradColor", "", 46},
      {"mnuSetSomeOthers", "", 44},
      {"mnuInversionChooseVertices", "", 45},
      {"mnuSetModelMPDisintegrate", "分离", 19},
      {"mnuSetModelMPStretch", "拉伸", 20},
      {"mnuSetModelMovingPropertyNo", "", 43},
      {"mnuViewToolbarFile", "主工具条", 0},
      {"mnuViewStatusBar", "状态条", 0},
      {"mnuFileClose", "退出", 0},
      {"mnuBfreshModColors", "", 46},
      {"mnuCopyThese", "", 41},
      {"mnuEditAddMod", "", 54},
      {"mnuEditAddVertex", "", 55},
      {"mnuEditMergeMod", "", 53},
      {"mnuEditModelExpand", "模型比例变化...", 10},
      {"mnuEditSplitMod", "", 52},
      {"mnuEditTrend", "趋势背景场...", 35},
      {"mnuFileLoadOriData", "装载原始数据", 1},
      {"mnuFileMapSetup", "图形打印参数...", 6},
      {"mnuFileOpen", "装载初始模型", 3},
      {"mnuFilePrint", "打印...", 7},
      {"mnuFilePrintPreview", "打印预览", 8},
      {"mnuFilePrintSetup", "打印设置", 9},
      {"mnuFileSave", "剖面模型存盘为...", 4},
      {"mnuFileSaveAs", "剖面计算数据存盘为...", 5},
      {"mnuFileSaveAsGridData", "剖面原始数据存盘", 2},
      {"mnuInversionChoose", "选择模型", 37},
      {"mnuInversionVaryStep", "调整约束范围...", 38},
      {"mnuPasteHere", "", 42},
      {"mnuSetAddVertFlag", "角点加标志", 26},
      {"mnuSetBackgroundDens", "设置背景物性...", 36},
      {"mnuSetBaseField", "", 48},
      {"mnuSetColorCalcuData", "计算数据", 12},
      {"mnuSetColorOrignData", "原始数据", 11},
      {"mnuSetColorPrint", "彩色等值线", 16},
      {"mnuSetDynShow", "动态比例显示剖面", 25},
      {"mnuSetModelMovingPropertyWhole", "", 18},
      {"mnuSetModGradColor", "设置模型渐变颜色...", 17},
      {"mnuSetModTitlePos", "", 57},
      {"mnuSetOriDataLooksPointLine", "线+点", 23},
      {"mnuSetOriDataLooksPoint", "", 22},
      {"mnuSetOriDataLooksLine", "", 21},
      {"mnuSetStep3", "", 28},
      {"mnuSetStep4", "", 29},
      {"mnuSetStep5", "", 30},
      {"mnuSetStep6", "", 31},
      {"mnuSetStep7", "", 32},
      {"mnuSetStep8", "", 33},
      {"mnuSetStep9", "", 34},
      {"mnuSetValueToTitle", "", 58},
      {"mnuSetZScaleOneHalf", "", 50},
      {"mnuSetZScaleTwoTimes", "", 49},
      {"mnuVertexMoving", "", 56},
      {"mnuViewSomeModel", "", 47},
      {"mnuViewZoomInData", "", 51},
  };
  return k;
}

int maskProMethodOf(const std::string& key) {
  for (const MaskProCommand& c : maskProCommands())
    if (key == c.key) return c.method;
  return 0;
}

const std::vector<MaskProRequestInfo>& maskProRequests() {
  using R = MaskProRequest;
  static const std::vector<MaskProRequestInfo> k = {
      {R::OpenPrintSet, 100, "*.set", "", "请选择您要打开的打印参数数据文件名", 72},
      {R::SavePrintSet, 200, "*.set", ".set", "请输入您要保存的打印参数数据文件名", 73},
      {R::OpenColours, 100, "*.clr", "", "请选择您要打开的色标数据的文件名", 74},
      {R::SaveColours, 200, "*.clr", ".clr", "请输入您要保存的色标数据的文件名", 75},
      {R::OpenObserved, 100, "*.gm2", "", "请选择您要打开的原始观测数据文件名", 76},
      {R::OpenTerrain, 100, "*.grd", "", "请选择您要的原始观测数据对应的地形数据文件名", 77},
      {R::OpenModel, 100, "*.mo2", "", "请选择您要打开的模型数据的文件名", 78},
      {R::SaveModel, 200, "*.mo2", ".mo2", "请输入您要保存的模型数据文件名", 79},
      {R::SaveChosenModels, 200, "*.mo2", ".mo2", "请输入您要保存的模型数据文件名", 80},
      {R::SaveData, 200, "*.dat", ".dat", "请输入您要保存数据的文件名", 81},
      {R::SaveProfileData, 200, "*.dat", ".dat", "请输入您要保存的剖面原始数据文件名", 82},
      {R::SaveInvertedModel, 200, "*.mo2", ".mo2", "请输入您要保存的模型数据文件名", 83},
      {R::SaveCalculated, 200, "*.dat", ".dat", "请输入您要保存计算数据的文件名", 84},
      {R::OpenInitialModel, 100, "*.mo2", "", "请选择您要打开的初始模型数据文件名", 85},
  };
  return k;
}

const MaskProRequestInfo& maskProRequestInfo(MaskProRequest request) {
  for (const MaskProRequestInfo& r : maskProRequests())
    if (r.request == request) return r;
  return maskProRequests().front();
}

}  // namespace sarnoth::closed
