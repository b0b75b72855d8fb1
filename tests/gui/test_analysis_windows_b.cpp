// The trend, co-kriging / 2-D fractal and stepwise discrimination windows headless: fields
// proposed on choosing a table, refusals through the message boxes, runs that write their
// tables and grids, and the mode that chooses the job of frmVLQCoKrigAnal.
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTextEdit>
#include <cmath>
#include <filesystem>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "geochem/forms/FrmDJZBPB.h"
#include "geochem/forms/frmDataTrens.h"
#include "geochem/forms/frmVLQCoKrigAnal.h"
#include "gui_support.h"
#include "workarea/grid_file.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::SessionFixture;

class AnalysisWindowTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    Database d = openWorkDatabase(gWorkPath);
    d.execute(
        "Create Table [样品] ([样号] TEXT(10), [横坐标] SINGLE, [纵坐标] SINGLE, [Cu] SINGLE, "
        "[Mo] SINGLE, [岩性] LONG)");
    TableWriter w(d, "样品", {"样号", "横坐标", "纵坐标", "Cu", "Mo", "岩性"});
    for (int i = 0; i < 120; ++i) {
      const double x = 1000 + (i * 61) % 211, y = 5000 + (i * 89) % 197;
      const double cu = 50 + 10 * std::sin((x - 1000) / 23) * std::cos((y - 5000) / 31);
      w.setText(0, "S" + std::to_string(i));
      w.setDouble(1, x);
      w.setDouble(2, y);
      w.setDouble(3, i % 3 == 0 ? cu : -1e38);
      w.setDouble(4, 2 * cu + 5 + (i % 7) * 0.1);
      w.setInt(5, cu > 50 ? 2 : 1);
      w.addRow();
    }
    w.commit();
    ScriptedInteraction q;
    registerTable(d, "样品", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }
  template <class W>
  W* open(const char* name, int mode = 0) {
    QWidget* w = createToolWindow(name, nullptr, mode);
    EXPECT_NE(w, nullptr) << name;
    return dynamic_cast<W*>(w);
  }
};

TEST_F(AnalysisWindowTest, TrendWindowWritesItsTableAndRefusesANameInUse) {
  auto* w = open<frmDataTrens>("frmDataTrens");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("趋势分析"));
  w->lstTbls->setCurrentRow(0);
  EXPECT_EQ(w->cboXXItem->currentText(), QString::fromUtf8("横坐标"));
  EXPECT_EQ(w->cboYYItem->currentText(), QString::fromUtf8("纵坐标"));
  EXPECT_EQ(w->cboVVItem->currentText(), QString::fromUtf8("Cu"));
  EXPECT_EQ(w->txtNewTbl->text(), QString::fromUtf8("Cu趋势"));
  {
    ScriptedMessages m;
    w->txtTrendN->setText("9");
    w->btnApply->click();
    EXPECT_EQ(m.texts.at(0), "趋势面次数必须是1到6的整数。");
  }
  w->txtTrendN->setText("2");
  w->chkGridR->setChecked(true);
  w->txtDX->setText("10");
  w->btnApply->click();
  EXPECT_TRUE(w->rtbText->toPlainText().startsWith(QString::fromUtf8("   趋势面分析")));
  Database d = openWorkDatabase(gWorkPath);
  EXPECT_EQ(d.rowCount("Cu趋势"), 120);
  ASSERT_EQ(w->gridPaths().size(), 1u);
  EXPECT_TRUE(std::filesystem::exists(w->gridPaths()[0]));
  {
    ScriptedMessages m;
    w->btnApply->click();
    ASSERT_EQ(m.texts.size(), 1u);
    EXPECT_EQ(m.texts[0], "新数据表名已存在, 请另输一个表名.");
  }
  delete w;
}

TEST_F(AnalysisWindowTest, CoKrigingModeGridsThePrimaryWithItsSecondary) {
  auto* w = open<frmVLQCoKrigAnal>("frmVLQCoKrigAnal", 100);
  ASSERT_NE(w, nullptr);
  w->show();
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("协同克吕格分析"));
  EXPECT_TRUE(w->lstTbls->isVisible());
  EXPECT_FALSE(w->flstGridFiles->isVisible());
  w->lstTbls->setCurrentRow(0);
  EXPECT_EQ(w->cboVVItem->currentText(), QString::fromUtf8("Cu"));
  EXPECT_EQ(w->txtGPar[0]->text(), QString::fromUtf8("1000.00"));
  EXPECT_EQ(w->txtGPar[4]->text(), QString::fromUtf8("101"));
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts.at(0), "请选择一至两个协同变量数据项。");
  }
  w->lstVars->item(w->lstVars->count() - 2)->setSelected(true);  // Mo
  w->txtGPar[3]->setText("10");
  w->txtGPar[4]->setText("22");
  w->txtGPar[8]->setText("10");
  w->txtGPar[9]->setText("20");
  w->btnApply->click();
  ASSERT_FALSE(w->lastGrid().empty());
  GridReadResult g = readGrid(w->lastGrid());
  ASSERT_TRUE(g.ok());
  EXPECT_EQ(g.grid.header.magic, "#HLTWRGRIDB#");
  EXPECT_EQ(g.grid.header.nx, 22);
  EXPECT_TRUE(w->rtbText->toPlainText().contains(QString::fromUtf8("协同克里格:")));
  EXPECT_EQ(w->picDraw->chart().series.size(), 6u);  // three variograms, points and model each
  delete w;
}

TEST_F(AnalysisWindowTest, FractalModeSeparatesAGridOfTheWorkArea) {
  writeGridFile(area("Grid_dat/Cu.grd"), "#SRNTHGRIDB#", 32, 32, 0, 0, 10, 10);
  auto* w = open<frmVLQCoKrigAnal>("frmVLQCoKrigAnal", 200);
  ASSERT_NE(w, nullptr);
  w->show();
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("二维分形处理"));
  EXPECT_FALSE(w->lstTbls->isVisible());
  ASSERT_EQ(w->flstGridFiles->count(), 1);
  {
    ScriptedMessages m;
    w->btnCalc->click();
    EXPECT_EQ(m.texts.at(0), "请选择网格数据文件。");
  }
  w->flstGridFiles->setCurrentRow(0);
  EXPECT_EQ(w->txtFileOut->text(), "Cu");
  w->cboMethod->setCurrentIndex(0);  // C–A
  w->btnCalc->click();
  EXPECT_FALSE(w->txtBreaks->text().isEmpty());
  EXPECT_GE(w->picDraw->chart().series.size(), 3u);
  w->txtBreaks->setText("500");
  w->btnApply->click();
  GridReadResult a = readGrid(area("Grid_dat/Cu_A.grd"));
  ASSERT_TRUE(a.ok());
  EXPECT_EQ(a.grid.header.magic, "#HLTWRGRIDB#");
  EXPECT_EQ(a.grid.header.validCount, 1024 - 500);  // nodes 500 … 1023
  EXPECT_TRUE(std::filesystem::exists(area("Grid_dat/Cu_B.grd")));
  delete w;
}

TEST_F(AnalysisWindowTest, DiscriminationWindowReportsAndPredicts) {
  auto* w = open<FrmDJZBPB>("FrmDJZBPB");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("多级逐步判别预测"));
  w->cboMTbl->setCurrentIndex(0);
  EXPECT_EQ(w->lstMItems->count(), 5);
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts.at(0), "请选择分类(组别)数据项。");
  }
  w->cboGItem->setCurrentIndex(w->cboGItem->findText(QString::fromUtf8("岩性")));
  for (int i = 0; i < w->lstMItems->count(); ++i)
    if (w->lstMItems->item(i)->text() == "Mo") w->lstMItems->item(i)->setSelected(true);
  w->cboPTbl->setCurrentIndex(1);
  w->btnApply->click();
  const QString report = w->rtbText->toPlainText();
  EXPECT_TRUE(report.contains(QString::fromUtf8("回代判别: 错判数=")));
  Database d = openWorkDatabase(gWorkPath);
  Cursor c = d.query("Select Count(*) From [样品] Where [岩性_P] = [岩性]");
  ASSERT_TRUE(c.next());
  EXPECT_GT(c.getInt(0), 100);  // Mo follows Cu, which sets the group
  EXPECT_FALSE(w->txtLevel->isEnabled());
  w->cboLevel->setCurrentIndex(2);
  EXPECT_TRUE(w->txtLevel->isEnabled());
  delete w;
}

}  // namespace
}  // namespace sarnoth::gui
