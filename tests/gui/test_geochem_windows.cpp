// The statistics windows headless: class statistics with its correction and text save, and the
// regression window with its methods, report, plot and input box.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QTableWidget>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>
#include <filesystem>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "geochem/forms/FrmBP.h"
#include "geochem/forms/frmClusterAnalysis.h"
#include "geochem/forms/frmDataProcRegression.h"
#include "geochem/forms/frmSetGchmBlock.h"
#include "geochem/forms/geochem_form_support.h"
#include "gui_support.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::SessionFixture;

class GeochemWindowTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    Database d = openWorkDatabase(gWorkPath);
    d.execute("Create Table [样品] ([岩性] LONG, [地层] TEXT(10), [X] SINGLE, [Cu] SINGLE)");
    TableWriter w(d, "样品", {"岩性", "地层", "X", "Cu"});
    for (int i = 1; i <= 14; ++i) {
      w.setInt(0, i <= 7 ? 1 : 2);
      w.setText(1, i <= 7 ? "寒武系" : "奥陶系");
      w.setDouble(2, i);
      w.setDouble(3, 2 + 3 * i + (i % 3) * 0.5);
      w.addRow();
    }
    w.commit();
    ScriptedInteraction q;
    registerTable(d, "样品", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }
  template <class W>
  W* open(const char* name) {
    QWidget* w = createToolWindow(name, nullptr, 0);
    EXPECT_NE(w, nullptr) << name;
    return dynamic_cast<W*>(w);
  }
};

TEST_F(GeochemWindowTest, ClassStatisticsRunsCorrectsAndSavesTheList) {
  auto* w = open<frmSetGchmBlock>("frmSetGchmBlock");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("分类统计与校正"));
  EXPECT_EQ(w->lsvRest->headerItem()->text(12), QString::fromUtf8("方差"));
  EXPECT_FALSE(w->framI->isEnabled());
  w->lstTbls->setCurrentRow(0);
  ASSERT_EQ(w->cboCLSItem->count(), 4);
  EXPECT_EQ(w->lstType->item(1)->text(), "TEXT");
  EXPECT_EQ(w->lstType->item(0)->text(), "NUM");
  ASSERT_EQ(w->cboVVItem->count(), 3);  // the numeric fields

  {
    ScriptedMessages m;
    w->btnStat->click();
    ASSERT_EQ(m.texts.size(), 1u);
    EXPECT_EQ(m.texts[0], "请选择分类项,无分类代码不能进行统计！");
  }
  w->cboCLSItem->setCurrentIndex(0);
  w->chkSel->setChecked(true);
  w->cboVVItem->item(0)->setCheckState(Qt::Unchecked);  // 岩性 itself
  {
    ScriptedMessages m;
    w->btnStat->click();
    EXPECT_TRUE(m.texts.empty()) << m.texts[0];
  }
  ASSERT_EQ(w->lsvRest->topLevelItemCount(), 6);  // two items × (two classes + whole table)
  EXPECT_EQ(w->lsvRest->topLevelItem(2)->text(1), "999999999");
  EXPECT_EQ(w->lsvRest->topLevelItem(0)->text(2), "7");
  EXPECT_TRUE(w->framI->isEnabled());

  // Clicking an item names the new field after it.
  emit w->cboVVItem->itemClicked(w->cboVVItem->item(2));
  EXPECT_EQ(w->txtNewField->text(), "Cu_N");
  EXPECT_EQ(w->cboDataI->currentText(), "Cu");
  {
    ScriptedMessages m;
    w->btnCal->click();
    EXPECT_EQ(m.texts.at(0), "请选择校正参数项！");
    w->cboParI->setCurrentIndex(2);
    w->btnCal->click();  // the rows' text "X" is no class code
    EXPECT_EQ(m.texts.at(1), "数据计算错:类型不匹配");
  }

  // A right-button release on the list saves it as text.
  ScriptedSaveDialogs dialogs({area("stat.txt")});
  QMouseEvent release(QEvent::MouseButtonRelease, QPointF(5, 5), QPointF(5, 5), Qt::RightButton,
                      Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(w->lsvRest->viewport(), &release);
  ASSERT_EQ(dialogs.titles.size(), 1u);
  EXPECT_EQ(dialogs.titles[0], "结果存入文件名...");
  const std::string text = gbkToUtf8(readFile(area("stat.txt")));
  EXPECT_EQ(text.rfind(" 统计项名 分类编码  记录", 0), 0u);
  EXPECT_NE(text.find("\r\nCu 2 7 "), std::string::npos) << text;
  delete w;
}

TEST_F(GeochemWindowTest, RegressionMethodsReportPlotAndInputBox) {
  auto* w = open<frmDataProcRegression>("frmDataProcRegression");
  ASSERT_NE(w, nullptr);
  w->show();
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8(" 回归分析"));
  w->lstTbls->setCurrentRow(0);
  ASSERT_EQ(w->lstVars->count(), 3);
  w->cboVarY->setCurrentIndex(w->cboVarY->findText("Cu"));
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts.at(0), "请选择因变量.");
  }
  w->lstVars->item(1)->setSelected(true);  // X
  w->btnApply->click();
  const QString report = w->rtbText->toPlainText();
  EXPECT_TRUE(report.startsWith(QString::fromUtf8("   一元回归分析\n   线性函数:  Cu=b0+b1*X\n")))
      << report.toStdString();
  EXPECT_TRUE(std::filesystem::exists(area("temp/regressprs.txt")));

  w->btnGraph->click();
  ASSERT_EQ(w->picDraw->chart().series.size(), 2u);
  EXPECT_EQ(w->picDraw->chart().x.label, "X");
  EXPECT_EQ(w->picDraw->chart().series[0].x.size(), 14u);
  ASSERT_TRUE(w->savePlot(QString::fromStdString(area("plot.png"))));
  EXPECT_GT(std::filesystem::file_size(area("plot.png")), 1000u);

  // Method 3 shows the ridge boxes and turns the plot off; it needs two fields.
  w->optSelReg[3]->click();
  EXPECT_TRUE(w->txtKZ->isVisible());
  EXPECT_FALSE(w->cboMD->isVisible());
  EXPECT_FALSE(w->btnGraph->isEnabled());
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts.at(0), "岭回归须选择两个以上因变量,请重选.");
  }
  // Method 2 asks for the two F values.
  InputBoxHandler old = setInputBoxHandler([](const std::string& prompt) {
    EXPECT_EQ(prompt, "请输入选入和剔除因子时显著性检验的F-分布值,如1.46,1.45");
    return std::optional<std::string>("1.46");
  });
  {
    ScriptedMessages m;
    w->optSelReg[2]->click();
    EXPECT_EQ(m.texts.at(0), "需要2个数据,请重输.");
    EXPECT_TRUE(w->fValues().empty());
  }
  setInputBoxHandler([](const std::string&) { return std::optional<std::string>("4,4"); });
  w->optSelReg[2]->click();
  EXPECT_EQ(w->fValues(), (std::vector<float>{4, 4}));
  w->lstVars->item(0)->setSelected(true);  // 岩性 as well
  w->btnApply->click();
  EXPECT_TRUE(w->rtbText->toPlainText().startsWith(QString::fromUtf8("        逐步回归分析")));
  setInputBoxHandler(old);

  // The polynomial model shows its power box.
  w->optSelReg[0]->click();
  w->cboMD->setCurrentIndex(8);
  EXPECT_TRUE(w->txtDX->isVisible());
  ScriptedSaveDialogs dialogs({area("report.txt")});
  w->btnSave->click();
  EXPECT_EQ(dialogs.titles.at(0), "处理结果保存为...");
  EXPECT_NE(gbkToUtf8(readFile(area("report.txt"))).find("逐步回归分析"), std::string::npos);
  delete w;
}

TEST_F(GeochemWindowTest, ClusterAnalysisReportsAndDrawsItsDendrogram) {
  auto* w = open<frmClusterAnalysis>("frmClusterAnalysis");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8(" 聚类分析"));
  EXPECT_TRUE(w->txtFileOut->text().endsWith(QString::fromUtf8("Temp\\ClustInfo.txt")));
  w->lstTbls->setCurrentRow(0);
  ASSERT_EQ(w->lstVars->count(), 3);
  w->lstVars->item(0)->setSelected(true);
  w->lstVars->item(2)->setSelected(true);
  EXPECT_EQ(w->lblVarCount->text(), QString::fromUtf8("选择变量数 2"));
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_EQ(m.texts.at(0), "变量不能少于3个.");
  }
  w->chkSelAll->setChecked(true);
  w->chkLog->setChecked(true);
  EXPECT_EQ(w->chkLog->text(), QString::fromUtf8(" 数据取对数"));
  w->chkLog->setChecked(false);
  EXPECT_EQ(w->chkLog->text(), QString::fromUtf8(" 数据不取对数"));
  w->cboDataCov->setCurrentIndex(2);
  w->cboCalMode->setCurrentIndex(1);
  EXPECT_FALSE(w->btnClusterMap->isEnabled());
  {
    ScriptedMessages m;
    w->btnApply->click();
    EXPECT_TRUE(m.texts.empty()) << m.texts[0];
  }
  ASSERT_TRUE(w->result().has_value());
  EXPECT_EQ(w->result()->tree.joins.size(), 13u);  // fourteen samples
  EXPECT_TRUE(w->btnClusterMap->isEnabled());
  const std::string report = gbkToUtf8(readFile(area("temp/ClustInfo.txt")));
  EXPECT_NE(report.find(" icsr = 3, 对数据标准化变换"), std::string::npos);
  EXPECT_NE(report.find(" isim = 2, 欧拉距离倒数"), std::string::npos);

  DendrogramWindow* map = w->makeClusterMap();
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map->windowTitle(), QString::fromUtf8("图示窗"));
  EXPECT_EQ(map->picDraw->chart().title, "Q 型聚类图");
  EXPECT_EQ(map->picDraw->chart().y.tickLabels.size(), 14u);
  ASSERT_TRUE(map->savePicture(QString::fromStdString(area("tree.png"))));
  ASSERT_TRUE(map->savePicture(QString::fromStdString(area("tree.svg"))));
  EXPECT_NE(readFile(area("tree.svg")).find("<svg"), std::string::npos);
  delete map;

  // A *.clt file chosen by the file button takes the report.
  ScriptedSaveDialogs dialogs({area("run.clt")});
  w->btnFileOut->click();
  EXPECT_EQ(dialogs.titles.at(0), "存入文件名...");
  w->optRR->setChecked(true);
  w->btnApply->click();
  EXPECT_NE(gbkToUtf8(readFile(area("run.clt"))).find(" itype = 1 , 作 R 型聚类分析 "),
            std::string::npos);
  delete w;
}

TEST_F(GeochemWindowTest, BpNetworkTrainsPredictsAndStops) {
  {
    Database d = openWorkDatabase(gWorkPath);
    d.execute("Create Table [新区] ([X] SINGLE, [Cu] SINGLE)");
    d.execute("Insert Into [新区] Values (2.5, 0), (7.5, 0), (12.5, 0)");
    ScriptedInteraction q;
    registerTable(d, "新区", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }
  auto* w = open<FrmBP>("FrmBP");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("BP神经网络预测模型"));
  EXPECT_EQ(w->txtJJ->text(), "15");
  EXPECT_EQ(w->txtLN->text(), "1000");
  EXPECT_NE(w->findChild<QScrollBar*>("HScroll4"), nullptr);
  EXPECT_NE(w->findChild<QScrollBar*>("VScroll7"), nullptr);
  w->cboMTbl->setCurrentIndex(w->cboMTbl->findText(QString::fromUtf8("样品")));
  EXPECT_EQ(w->txtMNum->text(), "14");
  w->cboPTbl->setCurrentIndex(w->cboPTbl->findText(QString::fromUtf8("新区")));
  EXPECT_EQ(w->txtPNum->text(), "3");
  {
    ScriptedMessages m;
    w->Command1->click();
    EXPECT_EQ(m.texts.at(0), "请选择输入层数据项。");
  }
  w->lstMItems->item(1)->setSelected(true);  // X
  w->cboPItem->setCurrentIndex(w->cboPItem->findText("Cu"));
  w->txtJJ->setText("4");
  w->txtLN->setText("300");
  w->btnIni->click();
  EXPECT_EQ(w->grdV->rowCount(), 4);
  EXPECT_EQ(w->grdV->columnCount(), 1);
  EXPECT_EQ(w->grdR->rowCount(), 4);
  EXPECT_EQ(w->grdQ->rowCount(), 1);
  const std::vector<double> first = w->weights().v;
  ScriptedSaveDialogs dialogs({area("net.par")});
  w->chkFile->click();
  EXPECT_EQ(dialogs.titles.at(0), "存入文件名...");
  EXPECT_EQ(w->txtPar->text().toStdString(), area("net.par"));
  {
    ScriptedMessages m;
    w->Command1->click();
    EXPECT_TRUE(m.texts.empty()) << m.texts[0];
  }
  EXPECT_EQ(w->lblNote->text(), QString::fromUtf8("  预测计算已完成! "));
  EXPECT_TRUE(w->lblErr->text().startsWith(QString::fromUtf8("300次，均方差=")));
  EXPECT_EQ(w->weights().v, first);  // training starts from the grids' weights
  EXPECT_EQ(w->lastResult().curve.size(), 300u);
  EXPECT_FALSE(w->Picture15->chart().series.empty());
  EXPECT_NE(gbkToUtf8(readFile(area("net.par"))).find("学习模式数 NN=14"), std::string::npos);
  Database d = openWorkDatabase(gWorkPath);
  EXPECT_EQ(valueToDouble(d.scalar("Select Count(*) From [新区] Where [Cu_B] > 0")), 3);

  // The stop button cancels a long run: nothing more is written.
  d.execute("Delete From [新区]");
  d.execute("Insert Into [新区] ([X], [Cu]) Values (1, 0)");
  w->txtLN->setText("10000000");
  w->chkFile->setChecked(false);
  QTimer::singleShot(50, w->btnStop, &QPushButton::click);
  w->Command1->click();
  EXPECT_EQ(w->lblNote->text(), QString::fromUtf8("  预测计算已中止! "));
  EXPECT_EQ(valueToDouble(d.scalar("Select Count(*) From [新区] Where [Cu_B] <> -1E+38")), 0);
  delete w;
}

TEST_F(SessionFixture, ClusterAnalysisRefusesAnEmptyWorkArea) {
  ScriptedMessages m;
  EXPECT_EQ(createToolWindow("frmClusterAnalysis", nullptr, 0), nullptr);
  EXPECT_EQ(m.texts.at(0), "工作区无数据表。");
}

}  // namespace
}  // namespace sarnoth::gui
