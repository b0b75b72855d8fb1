// frmGMFreqProcs driven headless: the boxes, captions and visibility of every mode, the file
// list and its name proposal, a run of the engine and one of the filter component (its dialog
// answered), the information view, and the refusals.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include "app/frm_main.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "gravmag/forms/frmGMFilterPars.h"
#include "gravmag/forms/frmGMFreqProcs.h"
#include "gravmag/freq_processing.h"
#include "gui_support.h"
#include "workarea/grid_file.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;

QString u8(const char* s) { return QString::fromUtf8(s); }

class FreqProcsWindow : public sarnoth::testing::SessionFixture {
 protected:
  void addGrid(const std::string& name, int side = 20) {
    writeGridFile(area("Grid_dat/" + name), "#SRNTHGRIDB#", side, side, 0, 0, 1, 1, "note");
  }
  std::unique_ptr<frmGMFreqProcs> open(int mode) {
    auto w = std::make_unique<frmGMFreqProcs>(nullptr, mode);
    w->load();
    return w;
  }
  // A box nobody scripted must not wait for a click.
  ScriptedMessages unexpected_;
};

TEST_F(FreqProcsWindow, FilterModeFollowsTheMethodAndTheCheckBox) {
  addGrid("a.grd");
  auto w = open(200);
  EXPECT_EQ(w->windowTitle(), u8("频率域重磁数据处理 -- 滤波"));
  ASSERT_EQ(w->cboCalcM->count(), 5);
  EXPECT_FALSE(w->cboCalcM->isHidden());
  EXPECT_EQ(w->Label7->text(), u8("深源深度"));
  EXPECT_EQ(w->txtPar1->text(), "10");
  EXPECT_EQ(w->txtPar2->text(), "1");
  EXPECT_EQ(w->txtPar3->text(), "0.1");
  EXPECT_TRUE(w->txtPar11->isHidden());
  EXPECT_EQ(w->chkPar->text(), u8("提取浅源场"));
  w->chkPar->click();
  EXPECT_EQ(w->chkPar->text(), u8("提取深源场"));

  w->cboCalcM->setCurrentIndex(2);  // strike
  EXPECT_EQ(w->Label9->text(), u8("长轴方向的夹角(>=0 <=180)"));
  EXPECT_EQ(w->txtPar3->text(), "45");
  EXPECT_EQ(w->txtPar11->text(), "0.031");
  EXPECT_EQ(w->txtPar22->text(), "0.02325");
  EXPECT_FALSE(w->txtPar11->isHidden());
  EXPECT_EQ(w->chkPar->text(), u8("低通滤波"));  // still checked

  w->cboCalcM->setCurrentIndex(3);  // compensated smoothing: the component's
  EXPECT_TRUE(w->txtPar1->isHidden());
  EXPECT_TRUE(w->txtPar1->text().isEmpty());
  EXPECT_TRUE(w->chkPar->isHidden());
  EXPECT_FALSE(w->frmCC->isHidden());
}

TEST_F(FreqProcsWindow, EachModeShowsItsBoxes) {
  addGrid("a.grd");
  auto d = open(210);
  d->cboCalcM->setCurrentIndex(3);
  EXPECT_EQ(d->Label7->text(), u8("求导方向(按正东为0度，逆时针转到正西为180)"));
  EXPECT_EQ(d->txtPar1->text(), "45");
  EXPECT_EQ(d->Label8->text(), u8("求导次数(1或2)"));
  EXPECT_TRUE(d->chkPar->isHidden());
  EXPECT_TRUE(d->txtPar3->isHidden());

  auto c = open(220);
  EXPECT_EQ(c->windowTitle(), u8("频率域重磁数据处理 -- 延拓"));
  EXPECT_EQ(c->Label7->text(), u8("延拓高度(上延为负下延为正，以点距为单位)"));
  EXPECT_EQ(c->txtPar1->text(), "-1");
  EXPECT_TRUE(c->cboCalcM->isHidden());
  EXPECT_TRUE(c->Label6->isHidden());
  EXPECT_EQ(c->txtII->text(), "57.4");
  EXPECT_EQ(c->txtDD->text(), "-6");
  EXPECT_EQ(c->txtAA->toolTip(), u8("测线与地理北的夹角"));

  auto s = open(230);
  EXPECT_TRUE(s->optGG->isHidden());
  EXPECT_TRUE(s->optDT->isChecked());
  EXPECT_EQ(s->Label8->text(), u8("磁性体下延厚度(点距为单位)"));

  for (int mode : {231, 232, 233}) {
    auto k = open(mode);
    EXPECT_TRUE(k->frmCC->isHidden()) << mode;
    EXPECT_TRUE(k->txtPar1->isHidden()) << mode;
  }
  auto p = open(500);
  EXPECT_EQ(p->windowTitle(), u8("频率域重磁数据处理 -- 化极"));
  EXPECT_TRUE(p->optGG->isHidden());
  EXPECT_TRUE(p->txtPar1->isHidden());
  EXPECT_FALSE(p->frmCC->isHidden());

  // The form does nothing without a mode: the registry makes none.
  EXPECT_EQ(createToolWindow("frmGMFreqProcs", nullptr, 0), nullptr);
}

TEST_F(FreqProcsWindow, ListsGridsAndProposesTheOutputName) {
  {
    ScriptedMessages boxes;
    auto w = open(220);
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "工作区中无网格数据文件.");
    boxes.texts.clear();
    w->btnProc->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"请选择数据文件."});
  }
  addGrid("field.grd");
  addGrid("mag.grd");
  auto w = open(220);
  ASSERT_EQ(w->flstGrd->count(), 2);
  EXPECT_EQ(w->flstGrd->currentRow(), 0);
  EXPECT_EQ(w->txtNewGrd->text(), "fieldP");
  w->flstGrd->setCurrentRow(1);
  EXPECT_EQ(w->txtNewGrd->text(), "magP");
}

TEST_F(FreqProcsWindow, RunsTheEngineAndRefreshesTheList) {
  addGrid("a.grd");
  auto w = open(220);
  w->txtPar1->setText("-2");
  ScriptedMessages boxes;
  w->btnProc->click();
  ASSERT_EQ(boxes.texts, std::vector<std::string>{"数据处理成功！"});
  GridReadResult out = readGrid(area("Grid_dat/aP.grd"));
  ASSERT_TRUE(out.ok());
  EXPECT_EQ(out.grid.header.method, "重磁延拓");
  EXPECT_EQ(out.grid.header.note, "重力布格");
  EXPECT_EQ(w->flstGrd->count(), 2);
  EXPECT_EQ(w->flstGrd->currentItem()->text(), "a.grd");

  // Inclination 0 cannot be reduced here: the message, nothing written.
  auto p = open(500);
  p->txtII->setText("0");
  p->txtNewGrd->setText("pole");
  boxes.texts.clear();
  p->btnProc->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], gravmag::kMsgPoleAtEquator);
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/pole.grd")));
}

TEST_F(FreqProcsWindow, HandsTheComponentsMethodsToTheComponent) {
  addGrid("a.grd", 32);
  auto w = open(231);
  std::vector<QString> titles;
  ModalScript script({[&](QWidget* d) {
    titles.push_back(d->windowTitle());
    auto* pars = qobject_cast<frmGMFilterPars*>(d);
    ASSERT_NE(pars, nullptr);
    pars->txtPar[0]->setText("45");
    pars->btnSure->click();
  }});
  ScriptedMessages boxes;
  w->btnProc->click();
  EXPECT_EQ(titles, std::vector<QString>{u8("磁三分量转换")});
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"重磁数据处理成功！"});
  for (const char* c : {"Hax", "Hay", "Za"})
    EXPECT_TRUE(std::filesystem::exists(area(std::string("Grid_dat/aP_") + c + ".grd"))) << c;
  EXPECT_EQ(w->flstGrd->count(), 4);

  // Cancelling the component's dialog ends quietly.
  auto f = open(200);
  f->cboCalcM->setCurrentIndex(4);
  f->txtNewGrd->setText("reg");
  ModalScript cancel({[](QWidget* d) { qobject_cast<frmGMFilterPars*>(d)->btnCancel->click(); }});
  boxes.texts.clear();
  f->btnProc->click();
  EXPECT_TRUE(boxes.texts.empty());
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/reg.grd")));
}

TEST_F(FreqProcsWindow, ViewerButtonShowsTheSelectedGrid) {
  addGrid("a.grd");
  addGrid("b.grd");
  std::string picked;
  ToolWindowFactory previous =
      registerToolWindow("frmGridToImageView", [&](QWidget*, int) -> QWidget* {
        picked = gPickedFile;
        return nullptr;
      });
  auto w = open(220);
  w->flstGrd->setCurrentRow(1);
  w->btnImg->click();
  registerToolWindow("frmGridToImageView", std::move(previous));
  EXPECT_EQ(picked, gWorkPath + "Grid_Dat\\b.grd");
  EXPECT_TRUE(gPickedFile.empty());  // the session's answer is left as it was
}

TEST_F(FreqProcsWindow, InformationViewShowsTheHeader) {
  addGrid("a.grd");
  writeFile(area("Grid_dat/bad.grd"), std::string(120, 'x'));
  auto w = open(250);
  std::vector<QString> shown;
  ModalScript script({[&](QWidget* box) {
    shown.push_back(box->findChild<QWidget*>("rtbInfo")->property("plainText").toString());
    box->close();
  }});
  w->cboGrdInfo->click();
  ASSERT_EQ(shown.size(), 1u);
  const std::string file = gbkToUtf8(readFile(area("temp/Errorinfo.txt")));
  EXPECT_EQ(file.rfind("--------- 网格数据特征信息 --------\r\n", 0), 0u);
  EXPECT_NE(file.find("数据文件名:  a.grd\r\n****"), std::string::npos);
  EXPECT_NE(file.find("数据列数:    20\r\n"), std::string::npos);
  EXPECT_NE(file.find("参数信息:  note\r\n"), std::string::npos);
  EXPECT_NE(shown[0].indexOf(u8("网格距DX:    1")), -1);

  ScriptedMessages boxes;
  w->flstGrd->setCurrentRow(1);  // bad.grd
  w->cboGrdInfo->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"非Sarnoth网格数据."});
}

TEST_F(FreqProcsWindow, LowLatitudeCommandAsksFourGridsAndItsParameters) {
  addGrid("dt.grd", 32);
  writeGridFile(area("Grid_dat/inc.grd"), "#SRNTHGRIDB#", 2, 1, 0, 0, 1, 1);  // 0 and 1: mean 0.5
  auto pick = [](const char* name) {
    return [name](QWidget* w) {
      if (!*name) {
        w->findChild<QPushButton*>("btnCancel")->click();
        return;
      }
      auto* list = w->findChild<QListWidget*>("flstGridFiles");
      auto items = list->findItems(u8(name), Qt::MatchExactly);
      if (!items.isEmpty())
        list->setCurrentItem(items.front());
      else
        w->findChild<QLineEdit*>("txtFile")->setText(u8(name));
      w->findChild<QPushButton*>("btnSure")->click();
    };
  };
  std::vector<double> shown;
  ModalScript script({pick("dt.grd"), pick("pole"), pick("inc.grd"), pick(""), [&](QWidget* d) {
                        auto* pars = qobject_cast<frmGMFilterPars*>(d);
                        ASSERT_NE(pars, nullptr);
                        for (QLineEdit* t : pars->txtPar) shown.push_back(t->text().toDouble());
                        pars->btnSure->click();
                      }});
  FrmMain main;
  ScriptedMessages boxes;
  main.runCommand("mnuToPoleLower");
  EXPECT_EQ(shown, (std::vector<double>{0.5, 0, 20}));  // I from the grid, D not given
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"重磁数据处理成功！"});
  GridReadResult out = readGrid(area("Grid_dat/pole.grd"));
  ASSERT_TRUE(out.ok());
  EXPECT_EQ(out.grid.header.method, "低纬度化极");
}

}  // namespace
}  // namespace sarnoth::gui
