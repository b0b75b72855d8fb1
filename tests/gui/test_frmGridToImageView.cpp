// The grid image viewer driven headless: opening, the colour panel, its refusals, a graded and a
// relief render, coordinates, export and the scratch files.
#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTimer>
#include <QTreeWidget>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "app/file_dialogs.h"
#include "app/messages.h"
#include "display/forms/frmGridToImageView.h"
#include "display/forms/map_view.h"
#include "gui_support.h"
#include "test_support.h"
#include "workarea/path_resolver.h"
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
  // The image made on opening stays as it was through the refusals.
  const std::string opened = test::readFile(bitmap());
  w.btnApply->click();
  EXPECT_EQ(msgs.texts.back(), kMsgOver256);
  EXPECT_TRUE(w.hasImage());
  EXPECT_EQ(test::readFile(bitmap()), opened);

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

// What a viewer of maps offers: the image on opening, the value under the cursor, zoom by buttons
// and keys, a scale bar, and a view that stays put when the window is resized.
TEST_F(GridViewerWindow, OpensRenderedZoomsAndShowsTheValueUnderTheCursor) {
  ScriptedMessages msgs;
  frmGridToImageView w;
  ASSERT_TRUE(w.openGrid(grid));
  EXPECT_TRUE(w.hasImage());  // rendered on opening, no button pressed
  EXPECT_TRUE(fs::exists(bitmap()));
  EXPECT_TRUE(msgs.texts.empty());
  w.resize(1150, 760);
  w.show();
  QApplication::processEvents();

  // The node under the cursor: (c, r) = (60, 45) holds the field's value there.
  MapView* map = w.edViewCtrl;
  auto pointOf = [&](double x, double y) {
    // Bisect nothing: the view maps linearly, so two map positions give the transform.
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    map->mapPosition(QPointF(0, 0), x0, y0);
    map->mapPosition(QPointF(100, 100), x1, y1);
    return QPointF((x - x0) / (x1 - x0) * 100, (y - y0) / (y1 - y0) * 100);
  };
  const GridReadResult g = readGrid(grid);
  const float expected = g.grid.at(45, 60);
  const QPointF at = pointOf(500000 + 60 * 50, 3200000 + 45 * 50);
  QMouseEvent move(QEvent::MouseMove, at, map->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                   Qt::NoModifier);
  QApplication::sendEvent(map, &move);
  const QString status = w.sbrCoord->currentMessage();
  EXPECT_TRUE(status.contains(QString("值: %1").arg(static_cast<double>(expected), 0, 'g', 7)))
      << status.toStdString();
  // Over the null corner the value says so.
  const QPointF nullCorner = pointOf(500000 + 2 * 50, 3200000 + 88 * 50);
  QMouseEvent moveNull(QEvent::MouseMove, nullCorner, map->mapToGlobal(nullCorner), Qt::NoButton,
                       Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(map, &moveNull);
  EXPECT_TRUE(w.sbrCoord->currentMessage().contains("值: 空值"))
      << w.sbrCoord->currentMessage().toStdString();

  // Zoom: the buttons and the keys + - 0.
  const double fitted = map->scale();
  w.findChild<QPushButton*>("btnZoomIn")->click();
  EXPECT_NEAR(map->scale(), fitted * MapView::kZoomStep, 1e-9);
  QKeyEvent minus(QEvent::KeyPress, Qt::Key_Minus, Qt::NoModifier, "-");
  QApplication::sendEvent(map, &minus);
  EXPECT_NEAR(map->scale(), fitted, 1e-9);
  QKeyEvent plus(QEvent::KeyPress, Qt::Key_Plus, Qt::NoModifier, "+");
  QApplication::sendEvent(map, &plus);
  QApplication::sendEvent(map, &plus);
  const double zoomed = map->scale();
  EXPECT_NEAR(zoomed, fitted * MapView::kZoomStep * MapView::kZoomStep, 1e-9);

  // A resize keeps the zoom and the map point at the centre.
  double cx = 0, cy = 0;
  ASSERT_TRUE(map->centre(cx, cy));
  w.resize(1300, 900);
  QApplication::processEvents();
  EXPECT_NEAR(map->scale(), zoomed, 1e-9);
  double nx = 0, ny = 0;
  ASSERT_TRUE(map->centre(nx, ny));
  EXPECT_NEAR(nx, cx, map->unitsPerScreenPixel());
  EXPECT_NEAR(ny, cy, map->unitsPerScreenPixel());
  QKeyEvent zero(QEvent::KeyPress, Qt::Key_0, Qt::NoModifier, "0");
  QApplication::sendEvent(map, &zero);
  EXPECT_NE(map->scale(), zoomed);
  w.findChild<QPushButton*>("btnZoomFit")->click();
  const double refit = map->scale();
  w.resize(1150, 760);  // a fitted view stays fitted
  QApplication::processEvents();
  EXPECT_LT(map->scale(), refit);

  // The scale bar the map draws: a round length of about 100 pixels.
  const display::ScaleBar bar = display::scaleBarFor(map->unitsPerScreenPixel(), 100);
  EXPECT_GT(bar.pixels, 40);
  EXPECT_LE(bar.pixels, 100);
  w.close();
}

// An export named without an extension gets the extension of the filter chosen, through the
// handler that stands for the dialog as through Qt's own dialog itself.
TEST_F(GridViewerWindow, ExportAndPaletteNamesGetTheFiltersExtension) {
  ScriptedMessages msgs;
  frmGridToImageView w;
  ASSERT_TRUE(w.openGrid(grid));
  {
    ScriptedSaveDialogs dialogs({work.file("图像")});
    w.btnExport->click();
    EXPECT_TRUE(fs::exists(work.file("图像.png")));
    EXPECT_TRUE(msgs.texts.empty()) << msgs.texts.front();
    ASSERT_EQ(dialogs.titles.size(), 1u);
  }
  {
    ScriptedSaveDialogs dialogs({work.file("色阶")});
    w.findChild<QPushButton*>("btnSetColr_0")->click();
    EXPECT_TRUE(fs::exists(work.file("色阶.pal")));
  }
  // Qt's dialog, driven as a user would: the GeoTIFF filter and a bare name.
  forgetDialogFolders();
  bool seen = false;
  sarnoth::testing::ModalScript script({[&](QWidget* dialog) {
    auto* d = qobject_cast<QFileDialog*>(dialog);
    ASSERT_NE(d, nullptr);
    seen = true;
    // It opens in the work area's image folder.
    EXPECT_EQ(fs::path(d->directory().absolutePath().toStdString()),
              fs::path(resolvePath(work.dir() + "Imag_Dat")));
    d->selectNameFilter(d->nameFilters().at(1));
    d->selectFile(QString::fromStdString(work.file("地形")));
    QMetaObject::invokeMethod(d, "accept", Qt::DirectConnection);
  }});
  fs::create_directories(work.dir() + "Imag_Dat");
  w.btnExport->click();
  EXPECT_TRUE(seen);
  EXPECT_TRUE(fs::exists(work.file("地形.tif")));
  // The folder is remembered for images within the session.
  EXPECT_EQ(dialogFolder(FileKind::Image), fs::path(work.file("地形")).parent_path().string());
  EXPECT_TRUE(msgs.texts.empty());
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
