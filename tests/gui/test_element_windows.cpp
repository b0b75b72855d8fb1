// The element analysis windows headless: distribution test with its plots and saves,
// neighbourhood analysis into a registered table, superposition and normalisation into new
// fields, and the zoning sequence. The numbers are checked against hand-worked values and the
// R results of tests/geochem (shapiro.test on the same twenty values).
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <cmath>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "geochem/distribution_test.h"
#include "geochem/forms/frmDataNormalize.h"
#include "geochem/forms/frmDataProcSingleHis.h"
#include "geochem/forms/frmDataProcess.h"
#include "geochem/forms/frmElemsClassify.h"
#include "geochem/forms/frmSingleVarProcess.h"
#include "geochem/neighbourhood.h"
#include "geochem/normalisation.h"
#include "geochem/superposition.h"
#include "geochem/zoning.h"
#include "gui_support.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::SessionFixture;

// The twenty values of the R comparisons (tests/geochem/test_normality_tests.cpp).
const double kX20[] = {12.1, 15.3, 9.8,  22.4, 18.7, 11.2, 14.9, 30.5, 16.8, 13.3,
                       19.6, 10.4, 25.1, 17.2, 12.9, 14.1, 21.3, 15.8, 45.2, 13.7};

QString u(const char* s) { return QString::fromUtf8(s); }

class ElementWindowTest : public SessionFixture {
 protected:
  // [样品]: twenty samples on a 5 × 4 net of 10 m, record i at X = 10·(i mod 5), Y = 10·(i div 5),
  // Cu the twenty values above, Au = i + 1, As = 10·(i mod 5 + 1).
  // [坑道]: samples of three levels (300, 200, 100 m) with lengths, for the zoning sequence.
  void SetUp() override {
    SessionFixture::SetUp();
    db = openWorkDatabase(gWorkPath);
    db.execute(
        "Create Table [样品] ([点号] TEXT(6), [X] SINGLE, [Y] SINGLE, [Cu] SINGLE, "
        "[Au] SINGLE, [As] SINGLE)");
    {
      TableWriter w(db, "样品", {"点号", "X", "Y", "Cu", "Au", "As"});
      for (int i = 0; i < 20; ++i) {
        w.setText(0, "P" + std::to_string(i + 1));
        w.setDouble(1, 10.0 * (i % 5));
        w.setDouble(2, 10.0 * (i / 5));
        w.setDouble(3, kX20[i]);
        w.setDouble(4, i + 1);
        w.setDouble(5, 10.0 * (i % 5 + 1));
        w.addRow();
      }
      w.commit();
    }
    db.execute(
        "Create Table [坑道] ([标高] SINGLE, [长度] SINGLE, [A] SINGLE, [B] SINGLE, "
        "[C] SINGLE, [D] SINGLE)");
    {
      TableWriter w(db, "坑道", {"标高", "长度", "A", "B", "C", "D"});
      const double rows[6][6] = {{300, 2, 20, 0.3, 1, 40},  {300, 1, 10, 0.2, 0, 20},
                                 {200, 2, 5, 0.2, 4, 100},  {200, 1, 10, 0.2, 2, 100},
                                 {100, 2, 2, 0.05, 1, 400}, {100, 1, 1, 0, 2, 100}};
      for (const auto& r : rows) {
        for (int i = 0; i < 6; ++i) w.setDouble(i, r[i]);
        w.addRow();
      }
      w.commit();
    }
    ScriptedInteraction q;
    for (const char* t : {"样品", "坑道"})
      registerTable(db, t, {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }
  void TearDown() override {
    db.close();
    SessionFixture::TearDown();
  }
  template <class W>
  W* open(const char* name) {
    QWidget* w = createToolWindow(name, nullptr, 0);
    EXPECT_NE(w, nullptr) << name;
    return dynamic_cast<W*>(w);
  }
  static void select(QListWidget* list, std::initializer_list<const char*> names) {
    list->clearSelection();
    for (const char* n : names) {
      const auto found = list->findItems(u(n), Qt::MatchExactly);
      ASSERT_EQ(found.size(), 1) << n;
      found[0]->setSelected(true);
    }
  }
  static void choose(QListWidget* list, const char* name) {
    const auto found = list->findItems(u(name), Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << name;
    list->setCurrentItem(found[0]);
  }
  static void choose(QComboBox* box, const char* name) {
    const int i = box->findText(u(name));
    ASSERT_GE(i, 0) << name;
    box->setCurrentIndex(i);
    emit box->activated(i);
  }
  double value(const std::string& sql) { return valueToDouble(db.scalar(sql)); }
  std::string report(const QTextEdit* box) { return box->toPlainText().toStdString(); }

  Database db;
};

TEST_F(ElementWindowTest, DistributionTestProposesClassesTestsAndSavesReportAndPlots) {
  auto* w = open<frmDataProcSingleHis>("frmDataProcSingleHis");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u("分布检验"));
  ASSERT_EQ(w->lstTbls->count(), 2);
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgHistChooseItem});
  }
  choose(w->lstTbls, "样品");
  ASSERT_EQ(w->lstVVItem->count(), 5);  // the text field is left out
  choose(w->lstVVItem, "Cu");
  EXPECT_EQ(w->txtClasses->text(), "6");  // nclass.Sturges of twenty values
  w->cboRule->setCurrentIndex(1);
  EXPECT_EQ(w->txtClasses->text(), "4");  // nclass.scott
  w->cboRule->setCurrentIndex(0);

  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_TRUE(m.texts.empty()) << m.texts[0];
  }
  // shapiro.test(x20): W = 0.79277; the six classes 10 6 2 1 0 1 drawn as bars.
  std::string text = report(w->rchBox);
  EXPECT_NE(text.find("W=0.7928"), std::string::npos) << text;
  EXPECT_NE(text.find("分组数: 6 (Sturges"), std::string::npos) << text;
  EXPECT_EQ(w->result().histogram.counts, (std::vector<std::int64_t>{10, 6, 2, 1, 0, 1}));
  ASSERT_FALSE(w->picDraw->chart().series.empty());
  EXPECT_EQ(w->picDraw->chart().series[0].y.size(), 6u);
  ASSERT_FALSE(w->picQQ->chart().series.empty());
  EXPECT_EQ(w->picQQ->chart().series[0].x.size(), 20u);
  EXPECT_TRUE(w->btnSave->isEnabled());

  // A typed count stands; a bad one or a bad level is refused and keeps the last report.
  w->txtClasses->setText("5");
  w->btnApply->click();
  EXPECT_NE(report(w->rchBox).find("分组数: 5 (给定)"), std::string::npos);
  {
    ScriptedMessages m;
    w->txtClasses->setText("0");
    w->btnApply->click();
    w->txtClasses->setText("5");
    w->txtAlpha->setText("1.5");
    w->btnApply->click();
    EXPECT_EQ(m.texts,
              (std::vector<std::string>{geochem::kMsgHistBadClasses, geochem::kMsgHistBadAlpha}));
    EXPECT_NE(report(w->rchBox).find("分组数: 5 (给定)"), std::string::npos);
    w->txtAlpha->setText("0.05");
  }
  // Log scale: shapiro.test(log10(x20)) W = 0.94333.
  w->optData[1]->setChecked(true);
  EXPECT_EQ(w->txtClasses->text(), "6");
  w->btnApply->click();
  text = report(w->rchBox);
  EXPECT_NE(text.find("W=0.9433"), std::string::npos) << text;
  EXPECT_NE(text.find("对数正态性检验"), std::string::npos);

  // The report as RTF, the probability plot as PNG (the name given without extension).
  ScriptedSaveDialogs dialogs({area("分布.rtf"), area("qq")});
  w->btnSave->click();
  w->tabPlot->setCurrentIndex(1);
  w->btnSavePic->click();
  EXPECT_EQ(dialogs.titles, (std::vector<std::string>{"保存处理结果...", "保存图形"}));
  EXPECT_EQ(readFile(area("分布.rtf")).rfind("{\\rtf", 0), 0u);
  EXPECT_EQ(readFile(area("qq.png")).substr(1, 3), "PNG");
  delete w;
}

TEST_F(ElementWindowTest, NeighbourhoodAnalysisWritesARegisteredTableAndAsksBeforeReplacingIt) {
  auto* w = open<frmSingleVarProcess>("frmSingleVarProcess");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u("邻域数据分析"));
  choose(w->lstTbls, "样品");
  EXPECT_EQ(w->txtNewTbl->text(), u("样品_邻域"));
  ASSERT_EQ(w->cboVV->count(), 5);
  {
    ScriptedMessages m;
    w->btnApply->click();
    choose(w->cboXX, "X");
    choose(w->cboYY, "Y");
    w->btnApply->click();
    EXPECT_EQ(m.texts, (std::vector<std::string>{geochem::kMsgChooseCoordinates,
                                                 geochem::kMsgChooseValueItem}));
  }
  // 40 × 30 m shared by twenty samples, eight in the circle: √(1200·8/(20π)) = 12.4 → 12.
  EXPECT_EQ(w->txtRadius->text(), "12");
  choose(w->cboVV, "Cu");
  w->optMode[0]->setChecked(true);
  EXPECT_TRUE(w->txtRadius->isEnabled());
  EXPECT_FALSE(w->txtCount->isEnabled());
  {
    ScriptedMessages m;
    w->txtRadius->setText("-1");
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgBadRadius});
  }
  // Radius 10.5: an inner sample sees its four net neighbours, a corner two (fewer than 3).
  w->txtRadius->setText("10.5");
  {
    ScriptedMessages m;
    w->btnApply->click();
    ASSERT_EQ(m.texts.size(), 1u);
    EXPECT_EQ(m.texts[0], std::string(geochem::kMsgNeighbourDone) + "样品_邻域");
  }
  // P7 (10, 10), Cu 14.9: neighbours 15.3, 11.2, 30.5, 10.4 → mean 16.85, median 13.25.
  const std::string p7 = " From [样品_邻域] Where [点号]='P7'";
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Cu_M]" + p7)), 16.85f);
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Cu_Md]" + p7)), 13.25f);
  EXPECT_EQ(value("Select [Cu_N]" + p7), 4);
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Cu_D]" + p7)), 14.9f - 16.85f);
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Au]" + p7)), 7.0f);
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Cu_M] From [样品_邻域] Where [点号]='P1'")),
                  NULL_VALUE);
  EXPECT_EQ(db.rowCount("样品_邻域"), 20);
  Recordset reg = Recordset::openTable(db, "TableInfo");
  ASSERT_TRUE(reg.findFirst("[查询表名] = '样品_邻域'"));
  EXPECT_EQ(reg.getText("查询库名"), "DataProcess");
  EXPECT_EQ(reg.getText("说明"), "单变量数据处理");
  reg.close();
  EXPECT_EQ(w->lstTbls->findItems(u("样品_邻域"), Qt::MatchExactly).size(), 1);
  EXPECT_TRUE(w->btnViewData->isEnabled());

  // Again with the sample itself counted: No keeps the table, Yes replaces it.
  w->chkSelf->setChecked(true);
  {
    ScriptedMessages m({Answer::No});
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgNeighbourOverwrite});
    EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Cu_M]" + p7)), 16.85f);
  }
  {
    ScriptedMessages m({Answer::Yes});
    w->btnApply->click();
    EXPECT_EQ(m.texts.size(), 2u);
    EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Cu_M]" + p7)), (67.4f + 14.9f) / 5);
  }
  delete w;
}

TEST_F(ElementWindowTest, SuperpositionUsesTheLevelsAndWeightsOfItsGrid) {
  auto* w = open<frmDataProcess>("frmDataProcess");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u("多变量叠加处理"));
  choose(w->lstTbls, "样品");
  select(w->lstItems, {"Au", "As"});
  w->fillParameters();
  ASSERT_EQ(w->grdElems->rowCount(), 2);
  // Au = 1 … 20: mean 10.5 shown beside its weight 1.
  EXPECT_EQ(w->grdElems->item(0, 0)->text(), "Au");
  EXPECT_EQ(w->grdElems->item(0, 1)->text(), "1");
  EXPECT_DOUBLE_EQ(w->grdElems->item(0, 2)->text().toDouble(), 10.5);

  // Contrasts over typed backgrounds, As weighted twice: I = Au/2 + 2·As/10.
  const int bg = 4;
  ASSERT_EQ(w->grdElems->horizontalHeaderItem(bg)->text(), u("背景值"));
  w->grdElems->item(0, bg)->setText("2");
  w->grdElems->item(1, bg)->setText("10");
  w->grdElems->item(1, 1)->setText("2");
  w->optStand[1]->setChecked(true);
  w->optIndex[0]->setChecked(true);
  w->txtNewField->setText("AuAs");
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgSuperposeDone});
  }
  // P8: Au 8, As 30 → 4 + 6 = 10.
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [AuAs] From [样品] Where [点号]='P8'")), 10.0f);
  EXPECT_NE(report(w->rchBox).find("AuAs"), std::string::npos);

  // A typed weight survives a new selection.
  select(w->lstItems, {"Cu"});
  select(w->lstItems, {"Au", "As"});
  ASSERT_EQ(w->grdElems->rowCount(), 2);
  EXPECT_EQ(w->grdElems->item(1, 1)->text(), "2");

  // A product of z-scores is refused; a weight that is no number names its element.
  {
    ScriptedMessages m;
    w->optStand[0]->setChecked(true);
    w->optIndex[1]->setChecked(true);
    w->btnApply->click();
    w->grdElems->item(1, 1)->setText("x");
    w->btnApply->click();
    ASSERT_EQ(m.texts.size(), 2u);
    EXPECT_EQ(m.texts[0], geochem::kMsgSuperposeProductOfZ);
    EXPECT_NE(m.texts[1].find("As"), std::string::npos) << m.texts[1];
  }
  delete w;
}

TEST_F(ElementWindowTest, NormalisationWritesSuffixedFieldsAndAsksBeforeReplacing) {
  auto* w = open<frmDataNormalize>("frmDataNormalize");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u("数据正则化处理"));
  choose(w->lstTbls, "样品");
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgNormaliseChooseItems});
  }
  // Only the methods that use them open the estimate and λ boxes.
  EXPECT_FALSE(w->cboEstimate->isEnabled());
  w->optMethod[4]->setChecked(true);
  EXPECT_TRUE(w->cboEstimate->isEnabled());
  EXPECT_FALSE(w->txtLambda->isEnabled());
  w->optMethod[3]->setChecked(true);
  EXPECT_TRUE(w->txtLambda->isEnabled());
  select(w->lstItems, {"Au"});
  {
    ScriptedMessages m;
    w->txtLambda->setText("a");
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgBadLambda});
  }
  // Box–Cox at λ = 0.5 of Au = 4 (record P4): (√4 − 1)/0.5 = 2.
  w->txtLambda->setText("0.5");
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgNormaliseDone});
  }
  EXPECT_FLOAT_EQ(static_cast<float>(value("Select [Au_BC] From [样品] Where [点号]='P4'")), 2.0f);

  // z-score of Au = 1 … 20: mean 10.5, s = √35; the new field joins the list.
  w->optMethod[0]->setChecked(true);
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgNormaliseDone});
  }
  const std::string p1 = "Select [Au_Z] From [样品] Where [点号]='P1'";
  EXPECT_FLOAT_EQ(static_cast<float>(value(p1)), static_cast<float>(-9.5 / std::sqrt(35.0)));
  EXPECT_EQ(w->lstItems->findItems("Au_Z", Qt::MatchExactly).size(), 1);
  EXPECT_TRUE(w->lstItems->findItems("Au", Qt::MatchExactly)[0]->isSelected());
  EXPECT_NE(report(w->rchBox).find("Au_Z"), std::string::npos);

  // A second z-score asks before replacing Au_Z; No leaves the field as it was.
  db.execute("Update [样品] Set [Au_Z]=7");
  {
    ScriptedMessages m({Answer::No});
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::fieldOverwriteQuestion("Au_Z")});
  }
  EXPECT_EQ(value(p1), 7);
  delete w;
}

TEST_F(ElementWindowTest, ZoningSequenceFromLevelSamples) {
  auto* w = open<frmElemsClassify>("frmElemsClassify");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u("分带序列"));
  choose(w->lstTbls, "坑道");
  ASSERT_EQ(w->cboLevel->count(), 6);
  EXPECT_EQ(w->cboLength->itemText(0), u("(无)"));
  select(w->lstItems, {"A", "B", "C", "D"});
  ASSERT_EQ(w->grdBack->rowCount(), 4);
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts, std::vector<std::string>{geochem::kMsgZoningChooseLevel});
  }
  choose(w->cboLevel, "标高");
  choose(w->cboLength, "长度");
  w->btnApply->click();
  // Productivities (Σ length·content a level): A 50 20 5, B 0.8 0.6 0.1, C 2 10 4, D 100 300 900:
  // A and B peak on top, C in the middle, D at the bottom.
  std::string text = report(w->rchBox);
  EXPECT_NE(text.find("分带序列(自上而下): A - B - C - D"), std::string::npos) << text;
  EXPECT_TRUE(w->btnSave->isEnabled());

  // Level numbers count downwards: the same samples read upside down.
  w->optOrder[1]->setChecked(true);
  w->btnApply->click();
  EXPECT_NE(report(w->rchBox).find("分带序列(自上而下): D - C - B - A"), std::string::npos);

  // A typed background survives a new selection; one that is no number is named.
  w->grdBack->item(1, 1)->setText("x");
  select(w->lstItems, {"A", "B", "C"});
  ASSERT_EQ(w->grdBack->rowCount(), 3);
  EXPECT_EQ(w->grdBack->item(1, 1)->text(), "x");
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts,
              std::vector<std::string>{std::string(geochem::kMsgZoningBadBackground) + "B"});
  }
  ScriptedSaveDialogs dialogs({area("分带.rtf")});
  w->btnSave->click();
  EXPECT_EQ(readFile(area("分带.rtf")).rfind("{\\rtf", 0), 0u);
  delete w;
}

}  // namespace
}  // namespace sarnoth::gui
