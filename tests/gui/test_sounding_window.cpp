// The sounding window headless: the run dialog's last choices, the head check loop of the open
// dialog, the compute guard, and a geophysical file import through its menu entry.
#include <QAction>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTableWidget>
#include <QToolBar>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "electric/forms/FrmWTResIP1DSound.h"
#include "electric/forms/SoundControl.h"
#include "electric/sounding_demo.h"
#include "gui/gui_support.h"

namespace sarnoth::gui {
namespace {

class SoundingWindow : public testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    ASSERT_TRUE(electric::writeDemoSoundings(gWorkPath).ok);
    soundCalcMode = 1;
    soundParamMode = 2;
    soundDevice = 3;
  }
};

using sarnoth::testing::ScriptedOpen;

TEST_F(SoundingWindow, RunDialogOpensOnTheLastChoices) {
  FrmWTResIP1DData dlg;
  EXPECT_TRUE(dlg.Option[1]->isChecked());
  EXPECT_TRUE(dlg.Option[4]->isChecked());
  EXPECT_TRUE(dlg.Option[7]->isChecked());
  dlg.Option[2]->setChecked(true);
  dlg.Option[9]->setChecked(true);
  dlg.Cmd_OK->click();
  EXPECT_EQ(soundCalcMode, 2);
  EXPECT_EQ(soundDevice, 5);
  FrmWTResIP1DData again;
  EXPECT_TRUE(again.Option[2]->isChecked());
  EXPECT_TRUE(again.Option[9]->isChecked());
  EXPECT_EQ(soundWindowTitle(1, 1, 1), "一维电阻率测深正演计算－－二极装置");
  EXPECT_EQ(soundWindowTitle(2, 2, 4), "一维电阻率极化率测深反演计算－－偶极装置(MN>0)");
}

TEST_F(SoundingWindow, HeadCheckLoopsUntilAFileFits) {
  FrmWTResIP1DSound w;
  EXPECT_EQ(w.windowTitle().toStdString(), "一维电阻率极化率测深正演计算－－对称四极装置(MN=0)");
  ScriptedMessages boxes;
  {
    // Compute before a file: the guard's message.
    w.runCommand("mnuForwardCompute");
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "您没有输入正确的正演数据文件！");
  }
  const std::string prof = gWorkPath + "Prof_Dat/";
  SessionFixture::writeFile(prof + "wrong.s3f", "1,1,3\nx\n1,1\n2,50\n0,10\n");  // ρa only
  ScriptedOpen open({prof + "wrong.s3f", prof + "demo_sound3.s3f"});
  ScriptedSaveDialogs saves({area("fwd")});
  w.runCommand("mnuForwardInput");
  ASSERT_EQ(open.titles.size(), 2u);
  EXPECT_EQ(open.titles[0], "请选择您要打开的正演数据文件名");
  EXPECT_EQ(open.filters[0], "*.s3f|*.s3f");
  EXPECT_EQ(open.dirs[0], gWorkPath + "Prof_Dat\\");
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1], "您选择的正演文件和您输入的正演参数不相符！");
  EXPECT_EQ(boxes.titles[1], "Sarnoth提示信息");
  EXPECT_TRUE(w.soundControl->fileLoaded());
  EXPECT_EQ(w.soundControl->tblLayers->rowCount(), 3);
  w.runCommand("mnuForwardCompute");
  EXPECT_TRUE(w.soundControl->session().computed());
  ASSERT_EQ(saves.titles.size(), 1u);
  EXPECT_EQ(saves.titles[0], "请输入您要保存的正演结果数据文件名");
  EXPECT_FALSE(SessionFixture::readFile(area("fwd.dat")).empty());  // the suffix added
  // The toolbar follows the control's state; the pointer feeds the status bar.
  for (QAction* a : w.tbrSound->actions())
    if (a->data().toString() == "mnuInverseCompute") {
      EXPECT_FALSE(a->isEnabled());
    }
  w.pointerMoved(12.5, 230);
  EXPECT_EQ(w.statusBar()->currentMessage(), "X = 12.5, Y = 230");
}

TEST_F(SoundingWindow, BadHeadEndsTheHandlerAndCancelLoadsNothing) {
  FrmWTResIP1DSound w;
  ScriptedMessages boxes;
  const std::string prof = gWorkPath + "Prof_Dat/";
  SessionFixture::writeFile(prof + "junk.s3f", "not a head\n");
  {
    ScriptedOpen open({prof + "junk.s3f", prof + "demo_sound3.s3f"});
    w.runCommand("mnuForwardInput");
    EXPECT_EQ(open.titles.size(), 1u);  // no second dialog
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "类型不匹配");
    EXPECT_FALSE(w.soundControl->fileLoaded());
  }
  {
    ScriptedOpen open({""});
    w.runCommand("mnuForwardInput");
    EXPECT_FALSE(w.soundControl->fileLoaded());
  }
}

TEST_F(SoundingWindow, InverseRunWithPositionFileAndSavedResult) {
  soundCalcMode = 2;
  soundDevice = 2;
  FrmWTResIP1DSound w;
  ScriptedMessages boxes;
  const std::string prof = gWorkPath + "Prof_Dat/";
  ScriptedOpen open({prof + "demo_sound2.s2i", prof + "demo_sound.pos"});
  ScriptedSaveDialogs saves({area("inv.dat"), area("curve.png")});
  w.runCommand("mnuInverseInput");
  ASSERT_TRUE(w.soundControl->fileLoaded());
  EXPECT_EQ(open.titles[1], "请选择您要打开的位置数据文件名");
  EXPECT_EQ(w.soundControl->session().file().position.x, 504700.0);
  w.runCommand("mnuInverseCompute");
  ASSERT_NE(w.soundControl->session().inversion(), nullptr);
  EXPECT_LT(w.soundControl->session().inversion()->rmsPercent, 4.0);
  EXPECT_NE(SessionFixture::readFile(area("inv.dat")).size(), 0u);
  w.runCommand("mnuInverseJiDianJiaoZ");
  ASSERT_FALSE(boxes.texts.empty());
  EXPECT_EQ(boxes.texts.back().rfind("电极校正系数", 0), 0u);
  w.runCommand("mnuFileSave");
  EXPECT_EQ(SessionFixture::readFile(area("curve.png")).substr(1, 3), "PNG");
}

TEST_F(SoundingWindow, MenuImportCopiesIntoTheWorkArea) {
  ASSERT_TRUE(menuCommandAvailable("mnuResIP1D2J0SoundInvDataLoad"));
  SessionFixture::writeFile(area("outside.s1i"), "2,1,1\n");
  ScriptedMessages boxes;
  ScriptedOpen open({area("outside.s1i")});
  ASSERT_TRUE(runMenuCommand("mnuResIP1D2J0SoundInvDataLoad", nullptr));
  EXPECT_EQ(open.titles[0], "请选择请选择您要导入的数据文件名");
  EXPECT_EQ(open.filters[0], "数据文件(*.s1i)|*.s1i");
  EXPECT_EQ(SessionFixture::readFile(area("Prof_Dat/outside.s1i")), "2,1,1\n");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "您选择的反演数据已经导入到工作区中!");
}

}  // namespace
}  // namespace sarnoth::gui
