// frmWTProfMagnSrcDepth and the two interface inversion windows driven headless: a profile
// opened through the open dialog, the boxes following the method, a run that writes the table
// and draws the profile over its solutions; the interface windows prepared from the menu as
// modeless windows, a run that writes the interface and its fit and draws the map and the row,
// a run stopped with Cmd_Cancel, and the refusals.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTableWidget>
#include <cmath>
#include <fstream>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/forms/FrmWTInterfaceInverse.h"
#include "gravmag/forms/frmWTProfMagnSrcDepth.h"
#include "gui_support.h"
#include "workarea/grid_file.h"
#include "workarea/path_resolver.h"
#include "workarea/scatter_file.h"
#include "workarea/table_store.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::gravmag;

using sarnoth::testing::ScriptedOpen;

class DepthWindow : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    // A thin dike 10 m down under distance 150, on a profile of 301 points at 1 m.
    ScatterFile f;
    f.magic = "#SRNTHPROFA#";
    f.origin = "C-Data";
    f.names = {"DIST", "DT"};
    for (int i = 0; i <= 300; ++i) {
      const double u = i - 150.0;
      f.values.insert(
          f.values.end(),
          {static_cast<float>(i), static_cast<float>(500 * (0.6 * u + 0.8 * 10) / (u * u + 100))});
      ++f.recordCount;
    }
    ASSERT_EQ(writeAsciiScatter(area("Prof_Dat/dike.prf"), f), ScatterError::None);
  }
  ScriptedMessages messages_;
};

TEST_F(DepthWindow, OpensAProfileComputesAndWritesTheSolutions) {
  frmWTProfMagnSrcDepth w;
  ASSERT_TRUE(w.load());
  EXPECT_EQ(w.windowTitle(), QString::fromUtf8("二维磁源深度计算"));
  // Computing before a profile is open is refused.
  w.Cmd_OK->click();
  ASSERT_EQ(messages_.texts.size(), 1u);
  EXPECT_EQ(messages_.texts[0], kMsgDepthNoFile);
  {
    ScriptedOpen open({area("Prof_Dat/dike.prf")});
    w.btnOpen->click();
    ASSERT_EQ(open.titles.size(), 1u);
    EXPECT_EQ(open.titles[0], kProfileOpenTitle);
    EXPECT_EQ(open.dirs[0], gWorkPath + "Prof_Dat\\");
  }
  EXPECT_EQ(w.txtFile->text(), "dike.prf");
  EXPECT_EQ(w.cboXX->currentText(), "DIST");
  EXPECT_EQ(w.cboVal->currentText(), "DT");
  EXPECT_EQ(w.cboTz->currentIndex(), 0);  // computed
  // The boxes follow the method.
  w.cboMethod->setCurrentIndex(2);
  EXPECT_FALSE(w.txtPar[0]->isEnabled());
  EXPECT_EQ(w.cboIndex->count(), 3);
  w.cboMethod->setCurrentIndex(1);  // Werner
  EXPECT_TRUE(w.cboInterf->isEnabled());
  EXPECT_FALSE(w.txtPar[1]->isEnabled());
  EXPECT_EQ(w.cboIndex->count(), 2);
  w.cboIndex->setCurrentIndex(1);  // dike
  w.txtNewTbl->setText("DIKE1");
  w.Cmd_OK->click();
  ASSERT_EQ(messages_.texts.size(), 2u);
  EXPECT_EQ(messages_.texts[1], kMsgDepthDone);
  const DepthRunResult& r = w.lastRun();
  ASSERT_FALSE(r.solutions.empty());
  EXPECT_NEAR(r.summary.z0, 10.0, 0.5);
  EXPECT_NEAR(r.summary.x0, 150.0, 0.5);
  EXPECT_EQ(w.grdSolutions->rowCount(), static_cast<int>(r.solutions.size()));
  EXPECT_TRUE(w.lblReport->text().contains(QString::fromUtf8("深度中值")));
  // The two charts share the distance axis; the lower one holds the windows and the solutions.
  EXPECT_EQ(w.chtProfile->chart().x.lo, w.chtDepth->chart().x.lo);
  EXPECT_EQ(w.chtDepth->chart().series.back().x.size(), r.solutions.size());
  Database db = openWorkDatabase(gWorkPath);
  EXPECT_EQ(valueToDouble(db.scalar("SELECT Count(*) FROM [DIKE1]")),
            static_cast<double>(r.solutions.size()));
  // A bad window is refused with the engine's text.
  w.txtPar[0]->setText("2");
  w.Cmd_OK->click();
  EXPECT_EQ(messages_.texts.back(), kMsgDepthBadWindow);
}

TEST_F(DepthWindow, AFileThatIsNotAProfileIsRefused) {
  frmWTProfMagnSrcDepth w;
  ASSERT_TRUE(w.load());
  std::ofstream(area("Prof_Dat/bad.prf"), std::ios::binary) << "#SRNTHGRIDA#\nnothing";
  EXPECT_FALSE(w.openProfile(area("Prof_Dat/bad.prf")));
  EXPECT_EQ(messages_.texts.back(), kMsgDepthBadFile);
  EXPECT_EQ(w.cboXX->count(), 0);
}

class InterfaceWindow : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    const int n = 48;
    std::vector<float>& h = relief_;
    h.resize(n * n);
    for (int r = 0; r < n; ++r)
      for (int c = 0; c < n; ++c)
        h[r * n + c] = static_cast<float>(
            400 * std::exp(-((c - 23.5) * (c - 23.5) + (r - 23.5) * (r - 23.5)) / 60.0));
    InterfaceParams p;
    p.referenceDepth = 5000;
    Grid g;
    g.header.nx = g.header.ny = n;
    g.header.dx = g.header.dy = 1000;
    g.nodes = interfaceAnomaly(h, n, n, 1000, 1000, p);
    recomputeGridStats(g.header, g.nodes);
    ASSERT_TRUE(writeGrid(area("Grid_dat/ga.grd"), kGridMagicB, "t", g.header, g.nodes));
  }
  std::vector<float> relief_;
  ScriptedMessages messages_;
};

TEST_F(InterfaceWindow, PreparedFromTheRegistryRunsAndDrawsTheResult) {
  QWidget* made = createToolWindow("FrmWTGravInterfaceInverse", nullptr, 0);
  ASSERT_NE(made, nullptr);
  std::unique_ptr<QWidget> owner(made);
  auto* w = qobject_cast<FrmWTInterfaceInverse*>(made);
  ASSERT_NE(w, nullptr);
  EXPECT_TRUE(w->isWindow());
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("三维密度界面反演"));
  ASSERT_EQ(w->flstGrd->count(), 1);
  EXPECT_EQ(w->txtNewGrd->text(), "gaZ");
  EXPECT_EQ(w->txtFitGrd->text(), "gaF");
  w->txtPar[2]->setText("12000");
  w->txtPar[3]->setText("8000");
  w->txtPar[4]->setText("0.1");
  w->Cmd_OK->click();
  ASSERT_EQ(messages_.texts.size(), 1u);
  EXPECT_EQ(messages_.texts[0], kMsgInterfaceDone);
  const GridReadResult z = readGrid(area("Grid_dat/gaZ.grd"));
  ASSERT_TRUE(z.ok());
  // Over the basin the relief about its mean (the reference depth is the mean depth) comes
  // back; the edges carry the transform's edge effects and are not compared.
  double mean = 0;
  for (float v : relief_) mean += v;
  mean /= relief_.size();
  EXPECT_NEAR(z.grid.at(24, 24) - 5000.0, relief_[24 * 48 + 24] - mean, 20.0);
  EXPECT_NEAR(z.grid.at(24, 18) - 5000.0, relief_[24 * 48 + 18] - mean, 20.0);
  EXPECT_TRUE(readGrid(area("Grid_dat/gaF.grd")).ok());
  EXPECT_EQ(w->flstGrd->count(), 3);  // the new grids are listed
  EXPECT_FALSE(w->chtMap->chart().series.empty());
  EXPECT_EQ(w->chtMap->chart().series[0].cellColours.size(), 48u * 48u);
  EXPECT_EQ(w->hsbRow->value(), 24);
  ASSERT_EQ(w->chtFit->chart().series.size(), 2u);
  EXPECT_EQ(w->chtFit->chart().series[1].y.size(), 48u);
  w->hsbRow->setValue(3);
  EXPECT_NE(w->chtFit->chart().title.find("第 4 行"), std::string::npos);
  EXPECT_TRUE(w->lblReport->text().contains(QString::fromUtf8("拟合均方差")));
}

TEST_F(InterfaceWindow, CancelStopsARunAndBadBoxesAreRefused) {
  FrmWTMagnInterfaceInverse w;
  w.prepare();
  EXPECT_EQ(w.windowTitle(), QString::fromUtf8("三维磁性界面反演"));
  w.txtPar[0]->setText("abc");
  w.Cmd_OK->click();
  ASSERT_EQ(messages_.texts.size(), 1u);
  w.txtPar[0]->setText("0");
  w.Cmd_OK->click();
  EXPECT_EQ(messages_.texts.back(), kMsgInterfaceBadContrast);
  // A run stopped at once through the progress: no file, no message, the window still open.
  w.txtPar[0]->setText("2");
  QObject::connect(w.prbProgress, &QProgressBar::valueChanged, &w, [&] {
    if (w.running()) w.Cmd_Cancel->click();
  });
  const std::size_t before = messages_.texts.size();
  w.Cmd_OK->click();
  EXPECT_EQ(messages_.texts.size(), before);
  EXPECT_FALSE(pathExists(area("Grid_dat/gaZ.grd")));
  EXPECT_FALSE(w.running());
}

}  // namespace
}  // namespace sarnoth::gui
