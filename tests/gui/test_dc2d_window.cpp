// The 2-D interactive resistivity/IP window headless: the dialog's head check loop and its
// refusals, the window title, the mnuInverse steps through the control with the menu following
// its state, the four file requests, and a new section from a text file of curves.
#include <QAction>
#include <QComboBox>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>

#include "app/chart_view.h"
#include "app/messages.h"
#include "datatools/forms/data_form_support.h"
#include "electric/dc2d_demo.h"
#include "electric/forms/Dc2dControl.h"
#include "electric/forms/FrmWTResIP2DMan.h"
#include "gui/gui_support.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {
namespace {

class Dc2dWindow : public testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    ASSERT_TRUE(electric::writeDemoDc2d(gWorkPath).ok);
    dcCalcMode = 1;
    dcParamMode = 1;
    dcTerrain = 0;
    dcDevice = 6;
  }
};

using sarnoth::testing::ScriptedOpen;

bool enabled(QWidget& w, const char* action) {
  auto* a = w.findChild<QAction*>(action);
  return a && a->isEnabled();
}

TEST_F(Dc2dWindow, DialogChecksTheHeadUntilAFileFits) {
  FrmWTResIP2DManData dlg;
  EXPECT_EQ(dlg.windowTitle().toStdString(), "二维常规直流电法正反演");
  // The last used run: forward, ρ, flat, dipole profiling.
  EXPECT_TRUE(dlg.Option_Forward->isChecked());
  EXPECT_TRUE(dlg.Option_AppRes->isChecked());
  EXPECT_TRUE(dlg.Option_Flat->isChecked());
  EXPECT_EQ(dlg.Combo1->count(), 10);
  EXPECT_EQ(dlg.Combo1->currentText().toStdString(), "偶极剖面装置");
  dlg.Option_AppResAndIP->setChecked(true);
  dlg.Combo1->setCurrentIndex(9);
  const std::string prof = gWorkPath + "Prof_Dat/";
  // Named like the run but written for another one (inverse): refused, the dialog comes again.
  SessionFixture::writeFile(prof + "other.so3", "2,2,0,10\nx\n");
  ScriptedMessages boxes;
  ScriptedOpen open({prof + "other.so3", prof + "demo_dc2d.so3"});
  dlg.Cmd_DataFileLoad->click();
  ASSERT_EQ(open.titles.size(), 2u);
  EXPECT_EQ(open.titles[0], "请选择您要打开的数据文件名");
  EXPECT_EQ(open.filters[0], "*.so3|*.so3");
  EXPECT_EQ(open.dirs[0], gWorkPath + "Prof_Dat\\");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "您选择的文件和您输入的参数不相符，文件输入错误！");
  EXPECT_EQ(boxes.titles[0], "Sarnoth提示信息");
  EXPECT_EQ(dlg.result(), QDialog::Accepted);
  EXPECT_EQ(dlg.dataPath, prof + "demo_dc2d.so3");
  EXPECT_EQ(dcParamMode, 2);
  EXPECT_EQ(dcDevice, 10);
  // The next opening starts on these choices.
  FrmWTResIP2DManData again;
  EXPECT_TRUE(again.Option_AppResAndIP->isChecked());
  EXPECT_EQ(again.Combo1->currentIndex(), 9);
  // Suffix digits of the run.
  EXPECT_EQ(dc2dFileMask(2, 2, 1, 1), "*.pm8");
  EXPECT_EQ(dc2dFileMask(1, 1, 0, 7), "*.s21");
}

TEST_F(Dc2dWindow, BadHeadEndsTheLoadAndCancelLoadsNothing) {
  const std::string prof = gWorkPath + "Prof_Dat/";
  SessionFixture::writeFile(prof + "junk.po1", "not, a, head\n");
  FrmWTResIP2DManData dlg;
  ScriptedMessages boxes;
  {
    ScriptedOpen open({prof + "junk.po1", prof + "junk.po1"});
    dlg.Cmd_DataFileLoad->click();
    EXPECT_EQ(open.titles.size(), 1u);  // no second dialog
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "类型不匹配");
    EXPECT_NE(dlg.result(), QDialog::Accepted);
    EXPECT_TRUE(dlg.dataPath.empty());
  }
  {
    ScriptedOpen open({""});
    dlg.Cmd_DataFileLoad->click();
    EXPECT_EQ(boxes.texts.size(), 1u);
    EXPECT_TRUE(dlg.dataPath.empty());
  }
}

TEST_F(Dc2dWindow, StepsOfTheInverseMenuThroughTheControl) {
  dcParamMode = 2;
  dcDevice = 10;
  const std::string prof = gWorkPath + "Prof_Dat/";
  FrmWTResIP2DMan w(prof + "demo_dc2d.so3");
  EXPECT_EQ(w.windowTitle().toStdString(), "二维电阻率/极化率人机交互式正演计算－－偶极测深法");
  Dc2dControl& c = *w.My2D_DCControl;
  EXPECT_EQ(c.objectName(), "My2D_DCControl");
  ASSERT_TRUE(c.fileLoaded());
  EXPECT_EQ(c.session().model().regions.size(), 2u);
  EXPECT_TRUE(enabled(w, "mnuFYCreateNet"));
  EXPECT_FALSE(enabled(w, "mnuFYComputeAndShow"));
  EXPECT_FALSE(enabled(w, "mnuSaveResultDataFile"));
  ScriptedMessages boxes;
  // Computing before the mesh data: the control's own message.
  EXPECT_FALSE(c.command("mnuNoSuchEntry"));
  w.runCommand("mnuFYCreateRgn");
  w.runCommand("mnuFYCreateNet");
  EXPECT_TRUE(enabled(w, "mnuFYPositiVeinVolve"));
  w.runCommand("mnuFYPositiVeinVolve");
  EXPECT_TRUE(enabled(w, "mnuFYComputeAndShow"));
  w.runCommand("mnuFYComputeAndShow");
  EXPECT_TRUE(boxes.texts.empty()) << boxes.texts.front();
  ASSERT_TRUE(c.session().computed());
  EXPECT_TRUE(enabled(w, "mnuSaveResultDataFile"));
  EXPECT_TRUE(enabled(w, "mnuShowJiHua"));
  EXPECT_TRUE(c.chtComputed->isVisibleTo(&c));
  EXPECT_EQ(c.chtModel->chart().title, "正演模型电阻率图");
  w.runCommand("mnuShowJiHua");
  EXPECT_EQ(c.chtModel->chart().title, "正演模型极化率图");
  EXPECT_EQ(c.chtComputed->chart().title, "计算视极化率拟断面");
  // The three saving requests: titles, suffix added where the name has none.
  {
    ScriptedSaveDialogs saves({area("res"), area("mesh.dat"), area("pic")});
    w.runCommand("mnuSaveResultDataFile");
    w.runCommand("mnuSaveDMDataFile");
    w.runCommand("mnuResultDraftPs");
    ASSERT_EQ(saves.titles.size(), 3u);
    EXPECT_EQ(saves.titles[0], "请输入您要保存的正演反演结果数据文件名");
    EXPECT_EQ(saves.filters[0], "*.dat|*.dat");
    EXPECT_EQ(saves.titles[1], "请输入您要保存的地电断面剖分数据文件名");
    EXPECT_EQ(saves.titles[2], "请输入您要保存的正反演结果图形文件名");
    EXPECT_EQ(saves.filters[2], "*.bmp|*.bmp");
  }
  EXPECT_EQ(SessionFixture::readFile(area("res.dat")).substr(0, 4), utf8ToGbk("二维"));
  EXPECT_FALSE(SessionFixture::readFile(area("mesh.dat")).empty());
  EXPECT_EQ(SessionFixture::readFile(area("pic.bmp")).substr(0, 2), "BM");
  // A cancelled request writes nothing.
  {
    ScriptedSaveDialogs saves({""});
    w.runCommand("mnuSaveResultDataFile");
    EXPECT_EQ(saves.titles.size(), 1u);
  }
  // Reset gives the regions' data back and keeps the steps available.
  w.runCommand("mnuFYReParam");
  EXPECT_TRUE(enabled(w, "mnuFYComputeAndShow"));
  // The pointer's position in the status bar.
  w.pointerMoved(125.5, -12.25);
  EXPECT_EQ(w.statusBar()->currentMessage(), "X = 125.5, Y = -12.25");
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(Dc2dWindow, NewSectionFromATextFileOfCurves) {
  dcParamMode = 2;
  dcDevice = 10;
  dcCalcMode = 2;
  const std::string prof = gWorkPath + "Prof_Dat/";
  FrmWTResIP2DMan w(prof + "demo_dc2d.so7");
  EXPECT_EQ(w.windowTitle().toStdString(), "二维电阻率/极化率人机交互式反演计算－－偶极测深法");
  Dc2dControl& c = *w.My2D_DCControl;
  SessionFixture::writeFile(prof + "curves.txt",
                            "5\n100,-10\n150,-10\n150,-30\n100,-30\n100,-10\n2\n0,-50\n50,-60\n");
  ScriptedMessages boxes;
  {
    ScriptedOpen open({prof + "curves.txt"});
    w.runCommand("mnuFileNew");
    ASSERT_EQ(open.titles.size(), 1u);
    EXPECT_EQ(open.titles[0], "请选择您要打开数据的文件名");
    EXPECT_EQ(open.filters[0], "*.txt|*.txt");
  }
  EXPECT_EQ(c.session().curves().size(), 2u);
  // Selecting and deleting a curve; deleting without a selection says so.
  c.picSection->selectAt({0, -50});
  EXPECT_EQ(c.picSection->selectedCurve(), 1);
  w.runCommand("mnuEditDelete");
  EXPECT_EQ(c.session().curves().size(), 1u);
  w.runCommand("mnuEditDelete");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请先选择曲线");
  // A malformed curve file: its line named, the section kept.
  SessionFixture::writeFile(prof + "bad.txt", "3\n1,2\nx,y\n");
  {
    ScriptedOpen open({prof + "bad.txt"});
    w.runCommand("mnuFileNew");
  }
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1], "第3行: 类型不匹配");
  EXPECT_EQ(c.session().curves().size(), 1u);
}

}  // namespace
}  // namespace sarnoth::gui
