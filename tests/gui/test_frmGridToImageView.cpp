// The grid image viewer driven headless: opening, the colour panel, its refusals, a graded and a
// relief render, coordinates, export and the scratch files.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTreeWidget>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "app/messages.h"
#include "display/forms/frmGridToImageView.h"
#include "display/forms/map_view.h"
#include "test_support.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

namespace fs = std::filesystem;
using display::kDefaultBackColour;
using display::kMsgNotGrid;
using display::kMsgOver256;
using display::kMsgPaletteCount;

class GridViewerWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    savedWork = gWorkPath;
    savedSys = gSysPath;
    gWorkPath = work.dir();
    gSysPath = std::string(SARNOTH_BIN_DIR) + "/";
    fs::create_directories(work.dir() + "Grid_dat");
    // A magnetic-looking field: a positive lobe to the south, a negative one to the north, and a
    // corner of nulls.
    Grid g;
    GridHeader& h = g.header;
    h.nx = 120, h.ny = 90, h.dx = 50, h.dy = 50, h.x0 = 500000, h.y0 = 3200000;
    for (int r = 0; r < h.ny; ++r)
      for (int c = 0; c < h.nx; ++c) {
        double x = (c - 60) * 50.0, y = (r - 45) * 50.0;
        double v = 300 * std::exp(-(x * x + (y + 400) * (y + 400)) / 6e5) -
                   150 * std::exp(-(x * x + (y - 500) * (y - 500)) / 6e5) + 0.02 * x;
        g.nodes.push_back(c < 10 && r > 80 ? NULL_VALUE : static_cast<float>(v));
      }
    recomputeGridStats(h, g.nodes);
    grid = work.dir() + "Grid_dat/dtmag.grd";
    ASSERT_TRUE(writeGrid(grid, kGridMagicB, "TEST", h, g.nodes));
  }
  void TearDown() override {
    gWorkPath = savedWork;
    gSysPath = savedSys;
  }
  std::string bitmap() const { return work.dir() + "temp/map/GridData.bmp"; }

  test::TempDir work;
  std::string grid, savedWork, savedSys;
};

TEST_F(GridViewerWindow, OpeningRefusesOtherFilesAndDefaultsThePanel) {
  ScriptedMessages msgs;
  frmGridToImageView w;
  EXPECT_EQ(w.windowTitle(), "数据图像浏览 ");
  test::writeFile(work.file("x.grd"), "#SRNTHPALTI#not a grid at all");
  EXPECT_FALSE(w.openGrid(work.file("x.grd")));
  ASSERT_EQ(msgs.texts.size(), 1u);
  EXPECT_EQ(msgs.texts[0], kMsgNotGrid);

  ASSERT_TRUE(w.openGrid(grid));
  EXPECT_EQ(w.lsvColrs->topLevelItemCount(), kDefaultLevelCount);
  EXPECT_FLOAT_EQ(w.txtMax->text().toFloat(), w.scale().max);
  EXPECT_TRUE(fs::is_directory(work.dir() + "temp/map"));
  EXPECT_TRUE(fs::exists(work.dir() + "temp/syslib/syscolor.tbl"));
  EXPECT_TRUE(fs::exists(work.dir() + "temp/retrmap.map"));
  for (const char* name :
       {"optSelM_0", "optMode_3", "txtDesM", "btnSetColr_5", "lblBColr", "txtColrSt", "txtColrGap",
        "txtColrn", "hsclbSatua", "hsclbTipA", "hsclbDiva", "txtWid", "btnApply", "btnReturn",
        "edViewCtrl", "sbrCoord", "frameColr", "frameParSet"})
    EXPECT_NE(w.findChild<QWidget*>(name), nullptr) << name;
}

TEST_F(GridViewerWindow, RefusalsThenRenders) {
  ScriptedMessages msgs;
  frmGridToImageView w;
  ASSERT_TRUE(w.openGrid(grid));
  // Hand edits make the scale custom; without a selection the panel says so.
  w.findChild<QPushButton*>("btnSetColr_2")->click();
  ASSERT_EQ(msgs.texts.size(), 1u);
  EXPECT_EQ(msgs.texts[0], "请选择删除项. ");

  w.optSelM[2]->setChecked(true);
  ColourScale none;
  none.backColour = kDefaultBackColour;
  w.setScale(none);
  w.btnApply->click();
  EXPECT_EQ(msgs.texts.back(), kMsgPaletteCount);
  ColourScale big = none;
  for (int i = 0; i < 500; ++i) big.levels.push_back({static_cast<float>(i), 260});
  w.setScale(big);
  w.btnApply->click();
  EXPECT_EQ(msgs.texts.back(), kMsgOver256);
  EXPECT_FALSE(w.hasImage());
  EXPECT_FALSE(fs::exists(bitmap()));

  // Automatic grading regrades from the panel: 20 equal intervals over the range.
  w.optSelM[1]->setChecked(true);
  float lo = w.txtMin->text().toFloat(), hi = w.txtMax->text().toFloat();
  w.txtPar->setText(QString::number((hi - lo) / 20));
  w.txtWid->setText("600");
  std::size_t before = msgs.texts.size();
  w.btnApply->click();
  EXPECT_EQ(msgs.texts.size(), before) << msgs.texts.back();
  ASSERT_TRUE(w.hasImage());
  EXPECT_EQ(w.lsvColrs->topLevelItemCount(), 20);
  EXPECT_EQ(w.edViewCtrl->image().width(), 600);
  EXPECT_EQ(w.edViewCtrl->image().height(), 450);
  EXPECT_TRUE(fs::exists(work.dir() + "temp/map/GridData.btf"));
  // The null corner (north-west) is in the background colour, white.
  EXPECT_EQ(w.edViewCtrl->image().pixelColor(5, 5), QColor(Qt::white));

  // The mouse over the map shows map coordinates.
  w.resize(1150, 760);
  w.show();
  QApplication::processEvents();
  QPointF centre(w.edViewCtrl->width() / 2.0, w.edViewCtrl->height() / 2.0);
  QMouseEvent move(QEvent::MouseMove, centre, w.edViewCtrl->mapToGlobal(centre), Qt::NoButton,
                   Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(w.edViewCtrl, &move);
  QString status = w.sbrCoord->currentMessage();
  EXPECT_TRUE(status.startsWith("X: 50")) << status.toStdString();
  EXPECT_TRUE(status.contains("Y: 32")) << status.toStdString();

  // Relief: a 24-bit bitmap lit from the sliders' azimuth.
  w.optSelM[0]->setChecked(true);
  w.btnApply->click();
  EXPECT_EQ(msgs.texts.size(), before);
  std::string b = test::readFile(bitmap());
  ASSERT_GT(b.size(), 30u);
  EXPECT_EQ(static_cast<int>(b[28]), 24);

  if (const char* shots = std::getenv("SARNOTH_SCREENSHOT_DIR")) {
    w.txtWid->setText("1000");
    w.optSelM[1]->setChecked(true);
    w.btnApply->click();
    QApplication::processEvents();
    w.grab().save(QString(shots) + "/frmGridToImageView.png");
  }

  ASSERT_TRUE(w.exportTo(work.file("shown.png")));
  EXPECT_TRUE(fs::exists(work.file("shown.png")));
  w.close();
  EXPECT_FALSE(fs::exists(bitmap()));
  EXPECT_FALSE(fs::exists(work.dir() + "temp/retrmap.map"));
}

TEST_F(GridViewerWindow, ColourPanelEditsAndPaletteFiles) {
  ScriptedMessages msgs;
  frmGridToImageView w;
  ASSERT_TRUE(w.openGrid(grid));
  w.lsvColrs->setCurrentItem(w.lsvColrs->topLevelItem(3));
  w.findChild<QPushButton*>("btnSetColr_3")->click();  // add a level
  EXPECT_EQ(w.lsvColrs->topLevelItemCount(), kDefaultLevelCount + 1);
  EXPECT_TRUE(w.optSelM[2]->isChecked());
  w.chooseColourIndex = [](int) { return std::optional<int>(2); };
  w.lsvColrs->setCurrentItem(w.lsvColrs->topLevelItem(0));
  w.findChild<QPushButton*>("btnSetColr_4")->click();
  EXPECT_EQ(w.lsvColrs->topLevelItem(0)->text(2), "2");

  std::string pal = work.file("mine.pal");
  w.choosePaletteFile = [&](bool) { return pal; };
  w.findChild<QPushButton*>("btnSetColr_0")->click();
  ASSERT_TRUE(fs::exists(pal));
  w.findChild<QPushButton*>("btnSetColr_5")->click();  // back to the default grading
  EXPECT_EQ(w.lsvColrs->topLevelItemCount(), kDefaultLevelCount);
  w.findChild<QPushButton*>("btnSetColr_1")->click();  // load what was saved
  EXPECT_EQ(w.lsvColrs->topLevelItemCount(), kDefaultLevelCount + 1);
  EXPECT_EQ(w.scale().levels[0].colourIndex, 2);
  EXPECT_TRUE(msgs.texts.empty());
  w.setScale(ColourScale{});
  w.findChild<QPushButton*>("btnSetColr_0")->click();
  ASSERT_EQ(msgs.texts.size(), 1u);
  EXPECT_EQ(msgs.texts[0], kMsgPaletteEmpty);
}

}  // namespace
}  // namespace sarnoth::gui
