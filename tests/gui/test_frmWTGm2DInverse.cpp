// frmWTGm2DInverse and its MaskPro control, headless: every command key reaches the control by
// its method id, file requests are answered through the picker with Prof_Dat\ paths, the print
// preview guard stops commands, status texts land in their panels, and a model is loaded,
// edited with the mouse, inverted and saved on the demo files.
#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QToolBar>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "closed/mask_pro.h"
#include "gravmag/forms/MaskPro.h"
#include "gravmag/forms/frmWTGm2DInverse.h"
#include "gravmag/gm2d_demo.h"
#include "gravmag/gm2d_files.h"
#include "gui/gui_support.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;
using sarnoth::testing::SessionFixture;

// Picks `name` in the picker (or types it in a naming mode); "" cancels. Records the title.
ModalScript::Step pick(const QString& name, std::vector<QString>* titles = nullptr) {
  return [name, titles](QWidget* w) {
    if (titles) titles->push_back(w->windowTitle());
    if (name.isEmpty()) {
      w->findChild<QPushButton*>("btnCancel")->click();
      return;
    }
    auto* list = w->findChild<QListWidget*>("flstGridFiles");
    auto items = list->findItems(name, Qt::MatchExactly);
    if (!items.isEmpty())
      list->setCurrentItem(items.front());
    else
      w->findChild<QLineEdit*>("txtFile")->setText(name);
    w->findChild<QPushButton*>("btnSure")->click();
  };
}

QAction* toolButton(QToolBar* bar, const QString& key) {
  for (QAction* a : bar->actions())
    if (a->data().toString() == key) return a;
  return nullptr;
}

class Gm2DInverseTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    ASSERT_TRUE(gm2d::writeGm2dDemo(gWorkPath));
  }
  // Loads the demo profile (and its terrain) and the starting model through the requests.
  void loadDemo(frmWTGm2DInverse& w) {
    std::vector<QString> titles;
    {
      ModalScript s({pick(gm2d::kDemoProfile, &titles), pick(gm2d::kDemoTerrain, &titles)});
      w.dispatch("mnuFileLoadOriData");
      ASSERT_EQ(s.done(), 2u);
    }
    {
      ModalScript s({pick(gm2d::kDemoStartModel, &titles)});
      w.dispatch("mnuFileOpen");
      ASSERT_EQ(s.done(), 1u);
    }
    EXPECT_EQ(titles, (std::vector<QString>{"请选择您要打开的原始观测数据文件名",
                                            "请选择您要的原始观测数据对应的地形数据文件名",
                                            "请选择您要打开的初始模型数据文件名"}));
  }
};

TEST_F(Gm2DInverseTest, EveryCommandKeyHasItsEntryOrButtonAndReachesTheControl) {
  frmWTGm2DInverse w;
  EXPECT_EQ(w.windowTitle(), "二维重磁异常反演");
  EXPECT_TRUE(toolWindowAvailable("frmWTGm2DInverse"));
  for (const closed::MaskProCommand& c : closed::maskProCommands()) {
    QAction* m = w.menuAction(c.key);
    QAction* b = toolButton(w.ToolbarFile, c.key);
    EXPECT_TRUE(m || b) << c.key;
    if (*c.caption) {
      ASSERT_TRUE(m) << c.key;
      EXPECT_EQ(m->text(), QString::fromUtf8(c.caption)) << c.key;
    } else if (!b) {
      // Tool-button-only keys stand on the bar (the capture range in its drop-down).
      EXPECT_TRUE(QString(c.key).startsWith("mnuSetStep")) << c.key;
    }
  }
  // The control knows every id of the table, and no other.
  for (const closed::MaskProCommand& c : closed::maskProCommands()) {
    if (c.method) {
      EXPECT_NE(closed::maskProMethodOf(c.key), 0);
    }
  }
  EXPECT_FALSE(w.MaskPro1->invoke(59));
  EXPECT_FALSE(w.MaskPro1->invoke(86, "x"));

  // State events reach the tool bar through the shared routine: moving property, looks, steps.
  w.dispatch("mnuSetModelMovingPropertyWhole");
  EXPECT_EQ(w.MaskPro1->moveMode(), gm2d::MoveMode::Whole);
  EXPECT_TRUE(toolButton(w.ToolbarFile, "mnuSetModelMovingPropertyWhole")->isChecked());
  EXPECT_FALSE(toolButton(w.ToolbarFile, "mnuSetModelMovingPropertyNo")->isChecked());
  w.dispatch("mnuSetModelMPStretch");
  EXPECT_EQ(w.MaskPro1->moveMode(), gm2d::MoveMode::Stretch);
  EXPECT_FALSE(toolButton(w.ToolbarFile, "mnuSetModelMovingPropertyWhole")->isChecked());
  w.dispatch("mnuSetStep8");
  EXPECT_EQ(w.MaskPro1->captureRange(), 8);
  w.dispatch("mnuSetOriDataLooksPoint");
  EXPECT_EQ(w.MaskPro1->looks(), MaskPro::Looks::Point);
  EXPECT_TRUE(toolButton(w.ToolbarFile, "mnuSetOriDataLooksPoint")->isChecked());
  const double z = w.MaskPro1->zScale();
  w.dispatch("mnuSetZScaleTwoTimes");
  EXPECT_DOUBLE_EQ(w.MaskPro1->zScale(), 2 * z);
  w.dispatch("mnuSetZScaleOneHalf");
  EXPECT_DOUBLE_EQ(w.MaskPro1->zScale(), z);
  w.dispatch("mnuSetNoVertFlag");
  EXPECT_FALSE(w.MaskPro1->vertexMarks());
  w.dispatch("mnuEditAddMod");
  EXPECT_EQ(w.MaskPro1->editMode(), MaskPro::EditMode::AddModel);
  // Without observed data the inversion says so.
  ScriptedMessages boxes;
  w.dispatch("mnuInversionMethodUAV");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], gm2d::kMsgNoObserved);
  EXPECT_EQ(w.MaskPro1->inversionMethod(), gm2d::InversionMethod::GeneralisedInverse);
}

TEST_F(Gm2DInverseTest, BarsStatusPanelsAndTheControlsSize) {
  frmWTGm2DInverse w;
  w.show();
  QApplication::processEvents();
  auto fits = [&] {
    int bars = w.menuBar()->height();
    if (w.ToolbarFile->isVisible()) bars += w.ToolbarFile->height();
    if (w.statusBar()->isVisible()) bars += w.statusBar()->height();
    return w.MaskPro1->height() == w.height() - bars;
  };
  EXPECT_TRUE(fits());
  w.resize(900, 600);
  QApplication::processEvents();
  EXPECT_TRUE(fits());
  w.dispatch("mnuViewStatusBar");
  QApplication::processEvents();
  EXPECT_FALSE(w.statusBar()->isVisible());
  EXPECT_FALSE(w.menuAction("mnuViewStatusBar")->isChecked());
  EXPECT_TRUE(fits());
  w.dispatch("mnuViewToolbarFile");
  QApplication::processEvents();
  EXPECT_FALSE(w.ToolbarFile->isVisible());
  EXPECT_TRUE(fits());
  w.dispatch("mnuViewStatusBar");
  // Status requests: 1–3 to their panels; the general one to panel 1, or the simple text.
  closed::MaskProEvents& ev = w;
  ev.status(2, "x 10");
  EXPECT_EQ(w.statusPanel[2]->text(), "x 10");
  ev.status(0, "总");
  EXPECT_EQ(w.statusPanel[1]->text(), "总");
  w.statusFlag = false;
  ev.status(0, "");
  EXPECT_EQ(w.statusBar()->currentMessage(), "Ready");
  ev.status(0, "简单");
  EXPECT_EQ(w.statusBar()->currentMessage(), "简单");
}

TEST_F(Gm2DInverseTest, PrintPreviewGuardStopsEveryForwardedCommand) {
  frmWTGm2DInverse w;
  w.dispatch("mnuFilePrintPreview");
  ASSERT_TRUE(w.previewActive());
  ASSERT_TRUE(w.MaskPro1->printPreviewActive());
  ScriptedMessages boxes;
  ModalScript none({});  // a picker opening would hang here
  w.dispatch("mnuFileSave");
  w.dispatch("mnuSetStep9");
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[0], kGm2dPreviewGuard);
  EXPECT_EQ(boxes.titles[0], kTitleInfo);
  EXPECT_NE(w.MaskPro1->captureRange(), 9);  // nothing reached the control
  // Bars still toggle: they are not forwarded.
  w.dispatch("mnuViewToolbarFile");
  EXPECT_EQ(boxes.texts.size(), 2u);
  // Closing the preview lifts the guard.
  QWidget* preview = w.MaskPro1->findChild<QWidget*>("dlgPrintPreview");
  ASSERT_TRUE(preview);
  preview->close();
  QApplication::processEvents();
  EXPECT_FALSE(w.previewActive());
  w.dispatch("mnuSetStep9");
  EXPECT_EQ(w.MaskPro1->captureRange(), 9);
}

TEST_F(Gm2DInverseTest, DemoLoadsEditsInvertsAndSaves) {
  frmWTGm2DInverse w;
  w.resize(1000, 700);
  w.show();
  QApplication::processEvents();
  loadDemo(w);
  MaskPro& c = *w.MaskPro1;
  ASSERT_TRUE(c.hasProfile());
  ASSERT_EQ(c.model().bodies.size(), 3u);
  EXPECT_EQ(c.profile().size(), 201u);
  EXPECT_TRUE(w.statusPanel[3]->text().startsWith("重力均方误差"));
  EXPECT_TRUE(toolButton(w.ToolbarFile, "mnuSetBaseField")->isEnabled());

  // Drag the intrusion's first vertex 40 px down with the mouse; undo puts it back.
  const QRectF f = MaskPro::frameOf(QSizeF(c.sectionPanel()->size()), false);
  const gm2d::Point2 v0 = c.model().bodies[0].vertices[0];
  const QPointF at = c.toPixel(v0, f);
  c.sectionPress(at, Qt::LeftButton, Qt::NoModifier);
  EXPECT_EQ(c.selectedBody(), 0);
  EXPECT_EQ(c.selectedVertex(), 0);
  c.sectionMove(at + QPointF(0, 20), Qt::LeftButton);
  c.sectionMove(at + QPointF(0, 40), Qt::LeftButton);
  c.sectionRelease(at + QPointF(0, 40));
  const gm2d::Point2 moved = c.model().bodies[0].vertices[0];
  EXPECT_NEAR(moved.z, c.toModel(at + QPointF(0, 40), f).z, 1e-6);
  EXPECT_NEAR(moved.x, v0.x, 1e-6);
  ASSERT_TRUE(c.undo());
  EXPECT_EQ(c.model().bodies[0].vertices[0], v0);
  // A drag above the stations is refused; the vertex stays and the panel says why.
  const QPointF sky = c.toPixel({v0.x, -2000}, f);
  c.sectionPress(at, Qt::LeftButton, Qt::NoModifier);
  c.sectionMove(sky, Qt::LeftButton);
  c.sectionRelease(sky);
  EXPECT_EQ(c.model().bodies[0].vertices[0], v0);
  EXPECT_EQ(w.statusPanel[1]->text(), gm2d::kMsgAboveStations);

  // Invert by Cholesky; the question at the end is answered No.
  const double before = gm2d::rmsMisfit(c.profile().gravity, c.computed().total);
  {
    ScriptedMessages boxes({Answer::No});
    w.dispatch("mnuInversionMethodCloleSky");
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_NE(boxes.texts[0].find("反演结束"), std::string::npos);
  }
  const double after = gm2d::rmsMisfit(c.profile().gravity, c.computed().total);
  EXPECT_LT(after, 0.2 * before);
  EXPECT_TRUE(toolButton(w.ToolbarFile, "mnuInversionChoose"));
  ASSERT_TRUE(c.canUndo());

  // Save the model through the naming picker: Prof_Dat\ + name + ".mo2".
  std::vector<QString> titles;
  {
    ModalScript s({pick("反演结果", &titles)});
    w.dispatch("mnuFileSave");
  }
  EXPECT_EQ(titles.back(), "请输入您要保存的模型数据文件名");
  gm2d::Model saved;
  ASSERT_TRUE(gm2d::readModel(area("Prof_Dat/反演结果.mo2"), saved));
  EXPECT_EQ(gm2d::modelText(saved), gm2d::modelText(c.model()));
  // The calculated data as a scatter file; a cancelled request writes nothing.
  {
    ModalScript s({pick("计算")});
    w.dispatch("mnuFileSaveAs");
  }
  EXPECT_FALSE(readFile(area("Prof_Dat/计算.dat")).empty());
  {
    ModalScript s({pick("")});
    w.dispatch("mnuFileSaveAsGridData");
    EXPECT_EQ(s.done(), 1u);
  }
  // Switching to the magnetic field redraws the profile panel with nT.
  w.dispatch("mnuSetBaseField");
  EXPECT_EQ(c.field(), gm2d::FieldKind::Magnetic);
  EXPECT_EQ(c.profilePanel()->chart().y.label, "磁异常 (nT)");
}

TEST_F(Gm2DInverseTest, ModelsAreAddedSplitMergedAndChosenWithTheMouse) {
  frmWTGm2DInverse w;
  w.resize(1000, 700);
  w.show();
  QApplication::processEvents();
  MaskPro& c = *w.MaskPro1;
  const QRectF f = MaskPro::frameOf(QSizeF(c.sectionPanel()->size()), false);
  auto px = [&](double x, double z) { return c.toPixel({x, z}, f); };
  ScriptedMessages boxes;
  // A square body, point by point; the double click closes it.
  w.dispatch("mnuEditAddMod");
  const gm2d::Point2 corners[4] = {{2000, 500}, {4000, 500}, {4000, 1500}, {2000, 1500}};
  for (const auto& p : corners) c.sectionPress(px(p.x, p.z), Qt::LeftButton, Qt::NoModifier);
  c.sectionPress(px(2000, 1500), Qt::LeftButton, Qt::NoModifier);
  c.sectionDoubleClick(px(2000, 1500));
  ASSERT_EQ(c.model().bodies.size(), 1u) << (boxes.texts.empty() ? "" : boxes.texts[0]);
  EXPECT_EQ(c.model().bodies[0].vertices.size(), 4u);
  // Split between opposite corners, then merge the halves again.
  w.dispatch("mnuEditSplitMod");
  c.sectionPress(px(2000, 500), Qt::LeftButton, Qt::NoModifier);
  c.sectionPress(px(4000, 1500), Qt::LeftButton, Qt::NoModifier);
  ASSERT_EQ(c.model().bodies.size(), 2u);
  w.dispatch("mnuEditMergeMod");
  c.sectionPress(px(3500, 700), Qt::LeftButton, Qt::NoModifier);
  c.sectionPress(px(2500, 1300), Qt::LeftButton, Qt::NoModifier);
  ASSERT_EQ(c.model().bodies.size(), 1u);
  EXPECT_NEAR(std::abs(gm2d::signedArea2(c.model().bodies[0].vertices)), 2 * 2000.0 * 1000.0, 1e-6);
  // A vertex on the top edge, then the body chosen and that vertex freed in depth.
  w.dispatch("mnuEditAddVertex");
  c.sectionPress(px(3000, 500), Qt::LeftButton, Qt::NoModifier);
  ASSERT_EQ(c.model().bodies[0].vertices.size(), 5u);
  w.dispatch("mnuInversionChoose");
  c.sectionPress(px(3000, 1000), Qt::LeftButton, Qt::NoModifier);
  EXPECT_TRUE(c.model().bodies[0].chosen);
  w.dispatch("mnuInversionChooseVertices");
  c.sectionPress(px(3000, 500), Qt::LeftButton, Qt::NoModifier);
  std::size_t k = 0;
  auto near3000 = [](const gm2d::Point2& v) {
    return std::abs(v.x - 3000) < 1 && std::abs(v.z - 500) < 1;
  };
  while (k < 5 && !near3000(c.model().bodies[0].vertices[k])) ++k;
  ASSERT_LT(k, 5u);
  EXPECT_EQ(c.model().bodies[0].freedom(k), gm2d::kFreeZ);
  // Copy and paste make a second body beside the first.
  w.dispatch("mnuCopyThese");
  w.dispatch("mnuPasteHere");
  EXPECT_EQ(c.model().bodies.size(), 2u);
  EXPECT_TRUE(boxes.texts.empty()) << boxes.texts[0];
}

}  // namespace
}  // namespace sarnoth::gui
