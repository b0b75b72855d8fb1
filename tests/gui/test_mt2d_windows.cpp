// The 2-D magnetotelluric windows headless: the file buttons' tag checks and what the basic and
// point files fill in, the run with its outputs moved into Prof_Dat\2DMT\, the pseudo-section
// and profile files with their pictures, the iteration chooser, and the point-file writer from
// an imported table.
#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "electric/forms/frmWT2DMTDataInput.h"
#include "electric/forms/frmWT2DMTInversion.h"
#include "electric/mt2d_demo.h"
#include "electric/mt2d_files.h"
#include "gui/gui_support.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;
using namespace sarnoth::electric;

// Picks `name` in a picker, types it into a naming picker, or cancels when empty; notes the
// caption and the mask.
ModalScript::Step answer(const QString& name, std::vector<std::string>* seen = nullptr) {
  return [name, seen](QWidget* w) {
    if (seen) seen->push_back(ss(w->windowTitle()));
    auto* list = w->findChild<QListWidget*>("flstGridFiles");
    auto* text = w->findChild<QLineEdit*>("txtFile");
    if (name.isEmpty()) {
      w->findChild<QPushButton*>("btnCancel")->click();
      return;
    }
    auto items = list->findItems(name, Qt::MatchExactly);
    if (!items.isEmpty())
      list->setCurrentItem(items.front());
    else
      text->setText(name);
    w->findChild<QPushButton*>("btnSure")->click();
  };
}

class Mt2dWindows : public testing::SessionFixture {
 protected:
  std::string dir(const std::string& name = {}) const { return area("Prof_Dat/2DMT/" + name); }
  // A small joint set, quick to invert: 5 sites, 4 frequencies.
  void writeTinySet(const std::string& stem) {
    Mt2dDemoSize z;
    z.sites = 5;
    z.frequencies = 4;
    z.siteSpacing = 1000;
    z.padColumns = 5;
    z.earthRows = 12;
    z.airRows = 4;
    z.blockSize = 3;
    Mt2dDemoSet s = makeMt2dDemoSet(z);
    s.basic.maxIterations = 2;
    ASSERT_TRUE(writeMt2dBasic(dir(stem + ".mt1"), s.basic));
    ASSERT_TRUE(writeMt2dGrids(dir(stem + ".mt2"), s.mesh));
    ASSERT_TRUE(writeMt2dModel(dir(stem + ".mt3"), s.start));
    ASSERT_TRUE(writeMt2dPoints(dir(stem + ".mt4"), s.data));
    Mt2dData te = s.data;
    te.mode = MtMode::TE;
    te.tm = {};
    ASSERT_TRUE(writeMt2dPoints(dir(stem + "_te.mt4"), te));
  }
};

TEST_F(Mt2dWindows, FileButtonsCheckTheFirstLine) {
  writeTinySet("t");
  // Every input kind under the wrong tag: its own message, the box left empty.
  writeFile(dir("wrong.mt1"), std::string(kMt2Tag) + "\r\n");
  writeFile(dir("wrong.mt2"), std::string(kMt1Tag) + "\r\n");
  writeFile(dir("wrong.mt3"), std::string(kMt4Tag) + "\r\n");
  writeFile(dir("wrong.mt4"), std::string(kMt3Tag) + "\r\n");
  frmWT2DMTInversion w;
  ScriptedMessages boxes;
  std::vector<std::string> titles;
  QLineEdit* const boxesOf[4] = {w.Text_BasedInfoFile, w.Text_GridsInfoFile, w.Text_ModelInfoFile,
                                 w.Text_PointInfoFile};
  QPushButton* const buttons[4] = {w.Cmd_BasedInfoFile, w.Cmd_GridsInfoFile, w.Cmd_ModelInfoFile,
                                   w.Cmd_PointInfoFile};
  const char* suffix[4] = {".mt1", ".mt2", ".mt3", ".mt4"};
  for (int i = 0; i < 4; ++i) {
    boxesOf[i]->setText("old");
    {
      ModalScript script({answer(QString("wrong") + suffix[i], &titles)});
      buttons[i]->click();
    }
    EXPECT_EQ(boxes.texts.back(), mt2dInputKind(i).wrongMessage);
    EXPECT_EQ(boxes.titles.back(), "Sarnoth提示信息");
    EXPECT_TRUE(boxesOf[i]->text().isEmpty());
    EXPECT_EQ(titles.back(), mt2dInputKind(i).title);
    {
      ModalScript script({answer(QString("t") + suffix[i])});
      buttons[i]->click();
    }
    EXPECT_EQ(ss(boxesOf[i]->text()), gWorkPath + "Prof_Dat\\2DMT\\t" + suffix[i]);
  }
  EXPECT_EQ(boxes.texts[0], "您读入的基本信息数据文件不正确，请重新确认！");
  // The basic file's six items.
  EXPECT_TRUE(w.Option_UN->isChecked());
  EXPECT_EQ(w.Text_nSite->text(), "5");
  EXPECT_EQ(w.Text_nFreq->text(), "4");
  EXPECT_EQ(w.Text_uGrid->text(), "4");
  EXPECT_EQ(w.Text_dGrid->text(), "13");
  // A TE point file sets its option; an empty choice says which file is missing.
  {
    ModalScript script({answer("t_te.mt4")});
    w.Cmd_PointInfoFile->click();
  }
  EXPECT_TRUE(w.Option_TE->isChecked());
  {
    ModalScript script({answer("")});
    w.Cmd_ModelInfoFile->click();
  }
  EXPECT_EQ(boxes.texts.back(), "请您选择大地电磁二维反演程序初始模型数据文件！");
}

TEST_F(Mt2dWindows, RunMovesTheOutputsAndTheGraphMenusWriteSections) {
  writeTinySet("t");
  frmWT2DMTInversion w;
  ScriptedMessages boxes;
  // A missing item stops the run with its message.
  w.Cmd_OK->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请您选择大地电磁二维反演程序基本信息数据文件！");
  {
    ModalScript script({answer("t.mt1"), answer("t.mt2"), answer("t.mt3"), answer("t.mt4")});
    for (QPushButton* b :
         {w.Cmd_BasedInfoFile, w.Cmd_GridsInfoFile, w.Cmd_ModelInfoFile, w.Cmd_PointInfoFile})
      b->click();
  }
  w.Text_nFreq->clear();
  w.Cmd_OK->click();
  EXPECT_EQ(boxes.texts.back(), "请您输入频点数目！");
  w.Text_nFreq->setText("4");
  w.Cmd_OK->click();
  EXPECT_EQ(boxes.texts.back().rfind("大地电磁二维反演计算结束，共迭代 2 次", 0), 0u)
      << boxes.texts.back();
  for (const char* f : {"Field.tetm", "Iteration.log", "Mt2DInvOut.01", "Mt2DInvOut.02"})
    EXPECT_TRUE(std::filesystem::exists(dir(f))) << f;
  EXPECT_FALSE(std::filesystem::exists(area("temp/mt2d/mt2dinvout.1")));

  // Original data: the joint field file gives the TE file, then the TM file.
  std::vector<std::string> titles;
  {
    ModalScript script(
        {answer("Field.tetm", &titles), answer("ote", &titles), answer("otm", &titles)});
    w.findChild<QAction*>("mnuOriResSection")->trigger();
  }
  ASSERT_EQ(titles.size(), 3u);
  EXPECT_EQ(titles[0], "请选择您要打开的大地电磁二维反演初始数据文件名");
  EXPECT_EQ(titles[1], "请输入您要保存的TE反演模式视电阻率拟断面数据文件名");
  EXPECT_EQ(titles[2], "请输入您要保存的TM反演模式视电阻率拟断面数据文件名");
  const std::string ote = readFile(dir("ote.xyz"));
  ASSERT_FALSE(ote.empty());
  EXPECT_EQ(ote.rfind("-2000.000   2.477   ", 0), 0u) << ote.substr(0, 40);
  EXPECT_EQ(readFile(dir("ote.png")).substr(1, 3), "PNG");
  EXPECT_EQ(readFile(dir("otm.png")).substr(1, 3), "PNG");

  // The iteration chooser lists the outputs; the result menus open the chosen one.
  {
    frmWT2DMTInveTimes t;
    ASSERT_TRUE(t.load());
    ASSERT_EQ(t.lstTimes->count(), 2);
    EXPECT_EQ(t.lstTimes->item(0)->text(), "Mt2DInvOut.01");
  }
  {
    ModalScript script({[](QWidget* d) {
      auto* t = qobject_cast<frmWT2DMTInveTimes*>(d);
      t->lstTimes->setCurrentRow(0);
      t->Cmd_OK->click();
    }});
    w.findChild<QAction*>("mnuInverseTimes")->trigger();
  }
  EXPECT_EQ(w.inversePass(), 1);
  titles.clear();
  std::vector<std::string> masks;
  {
    ModalScript script({[&](QWidget* d) {
                          masks.push_back(ss(qobject_cast<frmSelectFiles*>(d)->fileMask));
                          answer("Mt2DInvOut.01", &titles)(d);
                        },
                        answer("ipha_te", &titles), answer("ipha_tm", &titles)});
    w.findChild<QAction*>("mnuInvPhaSection")->trigger();
  }
  EXPECT_EQ(masks, std::vector<std::string>{"*.01"});
  ASSERT_EQ(titles.size(), 3u);
  EXPECT_EQ(titles[0], "请选择您要打开的大地电磁二维反演结果数据文件名");
  EXPECT_EQ(titles[1], "请输入您要保存的反演后的TE模式相位拟断面数据文件名");
  EXPECT_EQ(titles[2], "请输入您要保存的反演后的TM模式相位拟断面数据文件名");
  EXPECT_FALSE(readFile(dir("ipha_tm.xyz")).empty());
  w.Option_Kilometre->setChecked(true);
  titles.clear();
  {
    ModalScript script({answer("Mt2DInvOut.01"), answer("prof", &titles)});
    w.findChild<QAction*>("mnuInvResProfile")->trigger();
  }
  EXPECT_EQ(titles, std::vector<std::string>{"请输入您要保存的反演后的电阻率剖面数据文件名"});
  // Distances and depths in kilometres: the first cell's centre lies within the mesh's 20 km.
  const std::string prof = readFile(dir("prof.xyz"));
  const double firstX = std::stod(prof.substr(0, prof.find(' ')));
  EXPECT_LT(std::abs(firstX), 20.0);
  EXPECT_NE(prof.find("   -0.013   "), std::string::npos);
  EXPECT_EQ(readFile(dir("prof.png")).substr(1, 3), "PNG");
  // A file that is not a result: the wrong-file message.
  writeFile(dir("Bad.01"), "x\r\ny\r\n");
  {
    ModalScript script({answer("Bad.01")});
    w.findChild<QAction*>("mnuInvResSection")->trigger();
  }
  EXPECT_EQ(boxes.texts.back(), "您选择的不是大地电磁二维反演结果数据文件，请重新确认！");
}

TEST_F(Mt2dWindows, PointWriterRefusesAnEmptyDatabaseAndConvertsATable) {
  {
    ScriptedMessages boxes;
    EXPECT_EQ(createToolWindow("frmWT2DMTDataInput", nullptr, 1), nullptr);
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "您还没有导入数据到数据库中!");
  }
  ASSERT_TRUE(writeDemoMt2d(gWorkPath).ok);
  frmWT2DMTDataInput w(nullptr, 2);
  ASSERT_TRUE(w.load());
  EXPECT_TRUE(w.Option_TM->isChecked());
  EXPECT_EQ(ss(w.cboRes->currentText()), "TM视电阻率");
  EXPECT_EQ(ss(w.cboFreq->currentText()), "频率");
  ScriptedMessages boxes;
  std::vector<std::string> titles;
  {
    ModalScript script({answer("line_tm", &titles)});
    w.Cmd_OK->click();
  }
  EXPECT_EQ(titles, std::vector<std::string>{"请输入您要保存的 TM 模式实测数据路径文件名"});
  const auto tm = readMt2dPoints(dir("line_tm.mt4"));
  ASSERT_TRUE(tm) << tm.message;
  EXPECT_EQ(tm.value->mode, MtMode::TM);
  EXPECT_EQ(tm.value->siteCount(), 21);
  EXPECT_EQ(tm.value->frequencyCount(), 16);
  w.Option_TE->setChecked(true);
  EXPECT_EQ(ss(w.cboPhase->currentText()), "TE相位");
  {
    ModalScript script({answer("line_te")});
    w.Cmd_OK->click();
  }
  // Joint: the TM file offered as the TE one is the wrong mode.
  w.Option_UN->setChecked(true);
  {
    ModalScript script({answer("line_tm.mt4")});
    w.Cmd_OK->click();
  }
  EXPECT_EQ(boxes.texts.back(), "反演模式选择错误!");
  titles.clear();
  {
    ModalScript script({answer("line_te.mt4", &titles), answer("line_tm.mt4", &titles),
                        answer("line_tetm", &titles)});
    w.Cmd_OK->click();
  }
  ASSERT_EQ(titles.size(), 3u);
  EXPECT_EQ(titles[0], "请输入您要打开的 TE 模式实测数据路径文件名");
  EXPECT_EQ(titles[1], "请输入您要打开的 TM 模式实测数据路径文件名");
  EXPECT_EQ(titles[2], "请输入您要保存的联合模式实测数据路径文件名");
  const auto joint = readMt2dPoints(dir("line_tetm.mt4"));
  ASSERT_TRUE(joint) << joint.message;
  EXPECT_EQ(joint.value->mode, MtMode::Joint);
  const auto demo = readMt2dPoints(dir("demo_mt2d.mt4"));
  ASSERT_TRUE(demo);
  EXPECT_EQ(joint.value->sites[3].name, demo.value->sites[3].name);
  EXPECT_NEAR(joint.value->te.rho[7], demo.value->te.rho[7], 1e-3 * demo.value->te.rho[7]);
  EXPECT_NEAR(joint.value->tm.phase[9], demo.value->tm.phase[9], 1e-3);
}

}  // namespace
}  // namespace sarnoth::gui
