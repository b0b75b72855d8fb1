// frmGMDataProcs and frmGravTrr driven headless: the boxes of each mode and operator, a run of
// each that writes its result (checked against the physics), and the refusals.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <cmath>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/forms/frmGMDataProcs.h"
#include "gravmag/forms/frmGravTrr.h"
#include "gravmag/prism.h"
#include "gravmag/space_processing.h"
#include "gravmag/terrain.h"
#include "gui_support.h"
#include "workarea/grid_file.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

QString u8(const char* s) { return QString::fromUtf8(s); }

class SpaceProcsWindow : public sarnoth::testing::SessionFixture {
 protected:
  // A point mass 6 spacings below the centre of a 61 × 61 grid.
  void addSphere(const std::string& name) {
    Grid g;
    g.header.nx = g.header.ny = 61;
    g.header.dx = g.header.dy = 10.0f;
    for (int r = 0; r < 61; ++r)
      for (int c = 0; c < 61; ++c) g.nodes.push_back(float(sphere(c, r, 6)));
    recomputeGridStats(g.header, g.nodes);
    ASSERT_TRUE(writeGrid(area("Grid_dat/" + name), kGridMagicB, "test", g.header, g.nodes));
  }
  static double sphere(double c, double r, double depth) {
    return 1e4 * depth / std::pow((c - 30) * (c - 30) + (r - 30) * (r - 30) + depth * depth, 1.5);
  }
  std::unique_ptr<frmGMDataProcs> open(int mode) {
    auto w = std::make_unique<frmGMDataProcs>(nullptr, mode);
    w->load();
    return w;
  }
  ScriptedMessages unexpected_;
};

TEST_F(SpaceProcsWindow, EachModeShowsItsOperatorsAndBoxes) {
  addSphere("g.grd");
  auto d = open(100);
  EXPECT_EQ(d->windowTitle(), u8("空间域重磁数据处理 -- 垂直二阶导数"));
  ASSERT_EQ(d->cboCalcM->count(), 3);
  EXPECT_FALSE(d->cboCalcM->isHidden());
  EXPECT_TRUE(d->txtPar1->isHidden());
  EXPECT_FALSE(d->txtPar3->isHidden());
  EXPECT_EQ(d->txtPar3->text(), "0");
  EXPECT_EQ(d->txtNewGrd->text(), "g_Dzz");

  auto h = open(200);
  ASSERT_EQ(h->cboCalcM->count(), 5);
  EXPECT_TRUE(h->txtPar1->isHidden());
  h->cboCalcM->setCurrentIndex(4);  // any azimuth
  EXPECT_FALSE(h->txtPar1->isHidden());
  EXPECT_EQ(h->Label7->text(), u8("求导方向(按正东为0度，逆时针转到正西为180)"));
  h->cboCalcM->setCurrentIndex(1);
  EXPECT_TRUE(h->txtPar1->isHidden());
  EXPECT_TRUE(h->txtPar1->text().isEmpty());

  auto c = open(300);
  EXPECT_TRUE(c->cboCalcM->isHidden());
  EXPECT_EQ(c->Label7->text(), u8("延拓高度(上延为负下延为正，以点距为单位)"));
  EXPECT_EQ(c->txtPar1->text(), "-1");
  EXPECT_EQ(c->txtPar2->text(), "0");

  EXPECT_EQ(createToolWindow("frmGMDataProcs", nullptr, 0), nullptr);
}

TEST_F(SpaceProcsWindow, ContinuesTheGridAndShowsTheStatistics) {
  {
    ScriptedMessages boxes;
    auto w = open(300);
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"工作区中无网格数据文件."});
  }
  addSphere("g.grd");
  auto w = open(300);
  w->txtPar1->setText("-2");
  ScriptedMessages boxes;
  w->btnProc->click();
  ASSERT_EQ(boxes.texts, std::vector<std::string>{"数据处理成功！"});
  EXPECT_TRUE(w->lblNote->text().startsWith(u8("输入: 均值")));
  EXPECT_EQ(w->flstGrd->count(), 2);
  GridReadResult out = readGrid(area("Grid_dat/g_C.grd"));
  ASSERT_TRUE(out.ok());
  EXPECT_EQ(out.grid.header.method, "上下延拓");
  EXPECT_EQ(out.grid.header.dx, 10.0f);
  // The sphere seen 2 spacings higher, within the operator's 3 %.
  EXPECT_NEAR(out.grid.at(30, 30), sphere(30, 30, 8), 0.03 * sphere(30, 30, 8));

  // A smoothing half-width out of range: the message, nothing written.
  w->txtPar3->setText("99");
  w->txtNewGrd->setText("bad");
  boxes.texts.clear();
  w->btnProc->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{gravmag::kMsgBadSmoothWidth});
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/bad.grd")));
}

class TerrainWindow : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    Database db = openWorkDatabase(gWorkPath);
    db.execute(
        "Create Table [测点] ([名称] TEXT(8), [X] DOUBLE, [Y] DOUBLE, [高程] SINGLE, "
        "[布格异常] SINGLE)");
    db.execute("Insert Into [测点] Values ('a', 500, 500, 100, -20)");
    db.execute("Insert Into [测点] Values ('b', 300, 800, 100, -22)");
    ScriptedInteraction yes(std::deque<Answer>{}, Answer::Yes);
    registerTable(db, "测点", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "", "", false},
                  yes);
    // Level at 100 m on 20 m cells, one cell raised 60 m three cells from station a.
    std::string asc = "ncols 51\nnrows 51\nxllcorner -10\nyllcorner -10\ncellsize 20\n";
    for (int r = 50; r >= 0; --r) {
      for (int c = 0; c < 51; ++c) asc += (r == 26 && c == 23) ? "160 " : "100 ";
      asc += "\n";
    }
    writeFile(area("dem.asc"), asc);
  }
  std::vector<double> column(const char* f) {
    Database db = openWorkDatabase(gWorkPath);
    std::vector<double> v;
    Cursor c = db.query(std::string("Select [") + f + "] From [测点]");
    while (c.next()) v.push_back(c.getDouble(0));
    return v;
  }
  ScriptedMessages unexpected_;
};

TEST_F(TerrainWindow, CorrectsTheStationsAndAsksBeforeOverwriting) {
  frmGravTrr w;
  ASSERT_TRUE(w.load());
  EXPECT_EQ(w.windowTitle(), u8("重力地形改正"));
  ASSERT_EQ(w.cboTable->currentText(), u8("测点"));
  EXPECT_EQ(w.cboX->currentText(), "X");
  EXPECT_EQ(w.cboY->currentText(), "Y");
  EXPECT_EQ(w.cboH->currentText(), u8("高程"));
  EXPECT_EQ(w.cboBA->currentText(), u8("布格异常"));
  EXPECT_EQ(w.cboX->count(), 4);  // the text field is not offered

  auto previous = setOpenDialogHandler([this](const std::string&, const std::string&,
                                              const std::string&) { return area("dem.asc"); });
  w.btnDem->click();
  setOpenDialogHandler(previous);
  EXPECT_EQ(w.txtDem->text().toStdString(), area("dem.asc"));
  EXPECT_TRUE(w.lblDem->text().startsWith(u8("51 × 51")));
  EXPECT_EQ(w.txtInner->text(), "170.1");  // the first Hammer radius three cells wide

  w.txtInner->setText("0");
  w.txtDensity->setText("2.0");
  {
    ScriptedMessages boxes;
    w.btnProc->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{gravmag::kMsgTrrDone});
  }
  EXPECT_FALSE(w.lblReport->text().isEmpty());
  const double want = -gravmag::prismGz(-50, -30, 10, 30, -60, 0, 2.0);
  const auto tc = column("TC"), cba = column("CBA");
  EXPECT_NEAR(tc[0], want, 1e-5);
  EXPECT_NEAR(cba[0], -20 + want, 1e-5);

  // Again with another density: declining the question leaves the fields as they were.
  w.txtDensity->setText("1.0");
  {
    ScriptedMessages boxes({Answer::No});
    w.btnProc->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_NE(boxes.texts[0].find("TC"), std::string::npos);
  }
  EXPECT_EQ(column("TC"), tc);

  // A density that is not a number is refused.
  w.txtDensity->setText("abc");
  ScriptedMessages boxes;
  w.btnProc->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{gravmag::kMsgTrrBadDensity});
}

TEST_F(TerrainWindow, OpensFromTheRegistry) {
  QWidget* w = createToolWindow("frmGravTrr", nullptr, 0);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->objectName(), "frmGravTrr");
  delete w;
}

}  // namespace
}  // namespace sarnoth::gui
