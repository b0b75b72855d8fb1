// frmGravityTrend and frmWTIgrf10th driven headless: the lists and proposals, a run of each mode
// with its results in the boxes, the table or the file, and the messages of bad input.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <filesystem>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "gravmag/background_fit.h"
#include "gravmag/forms/frmGravityTrend.h"
#include "gravmag/forms/frmWTIgrf10th.h"
#include "gravmag/geomag_elements.h"
#include "gui_support.h"
#include "workarea/grid_file.h"
#include "workarea/null_value.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;

QString u8(const char* s) { return QString::fromUtf8(s); }

// Picks `name` in a picker, or types it into a naming picker.
ModalScript::Step answer(const QString& name, std::vector<QString>* captions = nullptr) {
  return [name, captions](QWidget* w) {
    if (captions) captions->push_back(w->windowTitle());
    auto* list = w->findChild<QListWidget*>("flstGridFiles");
    auto items = list->findItems(name, Qt::MatchExactly);
    if (!items.isEmpty())
      list->setCurrentItem(items.front());
    else
      w->findChild<QLineEdit*>("txtFile")->setText(name);
    w->findChild<QPushButton*>("btnSure")->click();
  };
}

class GravmagFitWindows : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    // The coefficient tables beside the program, as the build puts them.
    std::filesystem::create_directories(sys("igrf"));
    for (const char* f : {"IGRF10.SHC", "IGRF14.SHC"})
      std::filesystem::copy_file(std::string(SARNOTH_SOURCE_DIR) + "/resources/igrf/" + f,
                                 sys(std::string("igrf/") + f));
  }
  // A registered table of gravity points on a 6 × 5 lattice with a few highs.
  void gravityTable(const std::string& name) {
    Database db = openWorkDatabase(gWorkPath);
    db.execute("Create Table [" + name + "] ([X] Single, [Y] Single, [Bouguer] Single)");
    TableWriter w(db, name, {"X", "Y", "Bouguer"});
    for (int i = 0; i < 6; ++i)
      for (int j = 0; j < 5; ++j) {
        w.setDouble(0, 1000.0 * i);
        w.setDouble(1, 500.0 * j);
        w.setDouble(2, -20.0 + 0.8 * i - 0.3 * j + 0.05 * i * j + ((i + j) % 4 == 0 ? 3.0 : 0.0));
        w.addRow();
      }
    w.commit();
    ScriptedInteraction ui;
    registerTable(db, name, {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, ui);
  }
};

TEST_F(GravmagFitWindows, TrendWindowRefusesAnEmptyWorkArea) {
  ScriptedMessages boxes;
  frmGravityTrend w;
  EXPECT_FALSE(w.load());
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"工作区中无数据表。"});
  EXPECT_TRUE(toolWindowAvailable("frmGravityTrend"));
  EXPECT_TRUE(toolWindowAvailable("frmWTIgrf10th"));
}

TEST_F(GravmagFitWindows, TrendWindowFitsWritesAndShowsTheBestNd) {
  gravityTable("grav");
  frmGravityTrend w;
  ASSERT_TRUE(w.load());
  EXPECT_EQ(w.windowTitle(), u8("重力背景场稳健多项式拟合"));
  EXPECT_EQ(w.Text6->text(), "3");
  EXPECT_EQ(w.Text2->text(), "10");
  EXPECT_EQ(w.Text5->text(), "0.01");
  w.lstTbls->setCurrentRow(0);
  EXPECT_EQ(w.txtNewtbl->text(), "grav_T");
  ASSERT_EQ(w.cboVVItem->count(), 3);
  EXPECT_EQ(w.cboVVItem->currentIndex(), -1);

  // The parameter file is named through the save dialog.
  const std::string par = area("fit.par");
  {
    ScriptedSaveDialogs dialogs({par});
    w.chkFile->click();
    EXPECT_EQ(dialogs.titles, std::vector<std::string>{"存入文件名..."});
    EXPECT_EQ(dialogs.filters, std::vector<std::string>{"Sarnoth参数文件(*.PAR)|*.par|"});
  }
  EXPECT_TRUE(w.txtPar->isEnabled());
  EXPECT_EQ(w.txtPar->text(), qs(par));

  w.Text6->setText("2");
  {
    ScriptedMessages boxes;
    w.btnApply->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"请选择坐标和处理项。"});
  }
  w.cboXXCrd->setCurrentIndex(0);
  w.cboYYCrd->setCurrentIndex(1);
  w.cboVVItem->setCurrentIndex(2);
  {
    ScriptedMessages boxes;
    w.btnApply->click();
    EXPECT_TRUE(boxes.texts.empty()) << boxes.texts.front();
  }
  EXPECT_EQ(w.Label7->text(), u8("处理成功！"));
  const float nd = w.Label11->text().toFloat();
  EXPECT_GT(nd, 0.5f);
  EXPECT_LE(nd, 1.0f);
  Database db = openWorkDatabase(gWorkPath);
  EXPECT_EQ(db.rowCount("grav_T"), 30);
  EXPECT_EQ(gbkToUtf8(readFile(par)).rfind("**** 稳健多项式拟合分析预先给定的参数 ****", 0), 0u);

  // Again under the same name: refused, nothing changes.
  ScriptedMessages boxes;
  w.btnApply->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"新数据表名已存在, 请另输一个表名."});
  EXPECT_EQ(db.rowCount("grav_T"), 30);

  // chkSingle runs the single-precision arithmetic: the table the engine writes with it, which
  // differs from the double fit in the last bits.
  w.chkFile->setChecked(false);
  w.chkSingle->setChecked(true);
  w.txtNewtbl->setText("grav_S");
  {
    ScriptedMessages again;
    w.btnApply->click();
    EXPECT_TRUE(again.texts.empty()) << again.texts.front();
  }
  gravmag::TrendJob job;
  job.table = "grav";
  job.xField = "X";
  job.yField = "Y";
  job.item = "Bouguer";
  job.newTable = "grav_E";
  job.degreeText = "2";
  job.precision = gravmag::TrendPrecision::Single;
  ScriptedInteraction ui;
  gravmag::TrendReport report;
  ASSERT_TRUE(gravmag::runBackgroundFit(db, job, ui, report).ok);
  auto fitted = [&](const std::string& table) {
    std::vector<float> v;
    Cursor c = db.query("Select [Bouguer_T] From [" + table + "]");
    while (c.next()) v.push_back(c.getFloat(0));
    return v;
  };
  EXPECT_EQ(fitted("grav_S"), fitted("grav_E"));
  EXPECT_NE(fitted("grav_S"), fitted("grav_T"));
}

TEST_F(GravmagFitWindows, GeomagSinglePointFillsTheBoxesAndWritesOneLine) {
  frmWTIgrf10th w;
  ASSERT_TRUE(w.load());
  EXPECT_EQ(w.windowTitle(), u8("地磁要素计算"));
  EXPECT_EQ(w.Text_Date->text(), "2000.00");
  EXPECT_EQ(w.Text_Date->toolTip(), u8("取值范围1900.0到2015.0之间"));
  EXPECT_TRUE(w.lblNotes->text().contains(u8("IGRF 10th")));
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"您还没有输入地磁要素计算结果文件名!"});
  }
  std::vector<QString> captions;
  {
    ModalScript script({answer("one", &captions)});
    w.Cmd_FileSave->click();
  }
  EXPECT_EQ(captions, std::vector<QString>{u8("请输入地磁要素计算结果文件名")});
  EXPECT_EQ(w.Text_FileSave->text(), "one.dat");

  w.Text_Date->setText("2003.7");
  w.Text_Heigh->setText("500");
  w.Text_LongDegree->setText("114");
  w.Text_LongMinute->setText("18");
  w.Text_LatiDegree->setText("95");
  w.Text_LatiMinute->setText("30");
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"测区纬度度数输入错误。"});
  }
  EXPECT_FALSE(std::filesystem::exists(area("Prof_Dat/one.dat")));
  w.Text_LatiDegree->setText("30");
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_TRUE(boxes.texts.empty());
  }
  const closed::IgrfDllResult r = closed::IGRFDLL(2003.7f, 0.5f, 114, 18, 30, 30);
  EXPECT_EQ(w.Text_TotalIntensity->text(), qs(gravmag::geomagResultTexts(r)[4]));
  EXPECT_EQ(w.Text_InclinationDegree->text(), QString::number(r.incDeg));
  EXPECT_EQ(w.Text_DeclinationMinute->text(), QString::number(r.decMin));
  EXPECT_TRUE(w.Text_TotalIntensity->text().startsWith("4933"));
  const std::string file = gbkToUtf8(readFile(area("Prof_Dat/one.dat")));
  EXPECT_EQ(file.rfind("#SRNTHSCATA#\r\nS\r\n1\r\n-1E+38\r\n11\r\n", 0), 0u);
  EXPECT_NE(file.find("\r\n114.1800      30.3000      500.00      2003.70      "),
            std::string::npos);

  // The 14th generation takes a date the 10th refuses.
  w.Text_Date->setText("2024.5");
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"此程序只能计算公元1900到2010年的地磁要素。"});
  }
  w.cboModel->setCurrentIndex(1);
  ScriptedMessages boxes;
  w.Cmd_OK->click();
  EXPECT_TRUE(boxes.texts.empty());
  EXPECT_EQ(w.Text_TotalIntensity->text(),
            qs(gravmag::geomagResultTexts(closed::IGRFDLL(
                2024.5f, 0.5f, 114, 18, 30, 30, gravmag::IgrfGeneration::Fourteenth))[4]));
}

TEST_F(GravmagFitWindows, GeomagMultiPointPicksTheFileAndWritesEveryPoint) {
  writeFile(area("Prof_Dat/pts.dat"),
            utf8ToGbk("#SRNTHSCATA#\r\nS\r\n2\r\n-1E+38\r\n4\r\n经度 纬度 高程 时间\r\n"
                      "116.30 39.54 50 2005.5\r\n100.57 30.00 0 2000.0\r\n#ENDDATA#\r\n"));
  frmWTIgrf10th w;
  ASSERT_TRUE(w.load());
  w.Text_LongDegree->setText("100");
  std::vector<QString> captions;
  {
    ModalScript script({answer("pts.dat", &captions)});
    w.Option_MultiPoint->click();
  }
  EXPECT_EQ(captions, std::vector<QString>{u8("请选择您要计算的地磁要素的数据文件")});
  EXPECT_EQ(w.inputFile(), "pts.dat");
  EXPECT_FALSE(w.Text_LongDegree->isEnabled());
  EXPECT_TRUE(w.Text_LongDegree->text().isEmpty());
  EXPECT_FALSE(w.Text_TotalIntensity->isEnabled());
  w.Text_FileSave->setText("many.dat");
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"地磁要素计算完毕。"});
  }
  const auto lines = [](const std::string& t) {
    std::vector<std::string> v;
    std::size_t p = 0;
    while (p < t.size()) {
      const std::size_t e = t.find("\r\n", p);
      v.push_back(t.substr(p, e - p));
      p = e + 2;
    }
    return v;
  }(gbkToUtf8(readFile(area("Prof_Dat/many.dat"))));
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[2], "2");
  EXPECT_EQ(lines[7].rfind("100.5700      30.0000      .00      2000.00      ", 0), 0u);
  EXPECT_EQ(lines[8], "#ENDDATA#");

  // Back to one point: the boxes come back.
  w.Option_SinglePoint->click();
  EXPECT_TRUE(w.Text_LongDegree->isEnabled());
  EXPECT_TRUE(w.Text_TotalIntensity->isEnabled());
}

TEST_F(GravmagFitWindows, GeomagReductionModeWritesTheDeltaTTable) {
  {
    Database db = openWorkDatabase(gWorkPath);
    db.execute("Create Table [mag] ([Lon] Single, [Lat] Single, [T] Single)");
    TableWriter wr(db, "mag", {"Lon", "Lat", "T"});
    const gravmag::IgrfModel& m = gravmag::igrfModel(gSysPath, gravmag::IgrfGeneration::Fourteenth);
    for (int i = 0; i < 3; ++i) {
      wr.setDouble(0, 110.0 + i);
      wr.setDouble(1, 35.0);
      wr.setDouble(2, gravmag::igrfField(m, 2021.0, 35.0, 110.0 + i, 0.0).main.f + 50.0 * i);
      wr.addRow();
    }
    wr.commit();
    ScriptedInteraction ui;
    registerTable(db, "mag", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, ui);
  }
  frmWTIgrf10th w;
  ASSERT_TRUE(w.load());
  w.Option_Reduce->click();
  EXPECT_TRUE(w.fraReduce->isEnabled());
  EXPECT_FALSE(w.Text_LatiDegree->isEnabled());
  EXPECT_TRUE(w.Text_Date->isEnabled());
  w.cboModel->setCurrentIndex(1);
  w.Text_Date->setText("2021");
  w.cboTable->setCurrentIndex(0);
  EXPECT_EQ(w.txtNewName->text(), "mag_DT");
  EXPECT_EQ(w.cboDate->itemText(0), u8("(统一时间)"));
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"请选择经度、纬度和总场数据项。"});
  }
  w.cboLon->setCurrentIndex(0);
  w.cboLat->setCurrentIndex(1);
  w.cboT->setCurrentIndex(2);
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"地磁正常场改正完毕。"});
  }
  Database db = openWorkDatabase(gWorkPath);
  Cursor c = db.query("Select [T_DT] From [mag_DT]");
  std::vector<float> dt;
  while (c.next()) dt.push_back(c.getFloat(0));
  ASSERT_EQ(dt.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(dt[static_cast<std::size_t>(i)], 50.0f * i, 0.01f);
}

TEST_F(GravmagFitWindows, GeomagReductionModeWritesTheDeltaTGrid) {
  // A 3 × 2 grid in degrees: the field of 2015 plus 40 nT, one node null.
  const gravmag::IgrfModel& m = gravmag::igrfModel(gSysPath, gravmag::IgrfGeneration::Tenth);
  GridHeader h;
  h.nx = 3;
  h.ny = 2;
  h.x0 = 100.0f;
  h.y0 = 30.0f;
  h.dx = 0.5f;
  h.dy = 1.0f;
  std::vector<float> nodes;
  for (int j = 0; j < 2; ++j)
    for (int i = 0; i < 3; ++i)
      nodes.push_back(static_cast<float>(
          gravmag::igrfField(m, 2005.0, 30.0 + j, 100.0 + 0.5 * i, 0.2).main.f + 40.0));
  nodes[2] = NULL_VALUE;
  recomputeGridStats(h, nodes);
  ASSERT_TRUE(writeGrid(area("Grid_Dat/mag.grd"), kGridMagicB, "test", h, nodes));

  frmWTIgrf10th w;
  ASSERT_TRUE(w.load());
  w.Option_Reduce->click();
  w.optReduceGrid->click();
  ASSERT_GE(w.cboGrid->findText("mag.grd"), 0);
  w.Text_Date->setText("2005");
  w.Text_Heigh->setText("200");
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"请选择网格文件并给定新网格文件名。"});
  }
  w.cboGrid->setCurrentIndex(w.cboGrid->findText("mag.grd"));
  w.txtNewName->setText("mag_dt");
  {
    ScriptedMessages boxes;
    w.Cmd_OK->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"地磁正常场改正完毕。"});
  }
  const GridReadResult out = readGrid(area("Grid_Dat/mag_dt.grd"));
  ASSERT_TRUE(out.ok());
  ASSERT_EQ(out.grid.nodes.size(), 6u);
  for (std::size_t k = 0; k < 6; ++k)
    if (k == 2)
      EXPECT_EQ(out.grid.nodes[k], NULL_VALUE);
    else
      EXPECT_NEAR(out.grid.nodes[k], 40.0f, 0.01f) << k;
}

}  // namespace
}  // namespace sarnoth::gui
