// The anomaly and fractal window in both modes: the controls each method shows with their
// defaults, a run's report in the rich-text box, the refusals, the RTF that reopens as the same
// text, the plot with its axes, the hover read-out and the picture saved.
#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QTextEdit>

#include "app/chart_view.h"
#include "app/frm_main.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "geochem/forms/frmScatDataYCXX.h"
#include "gui_support.h"
#include "workarea/rtf_text.h"
#include "workarea/scatter_file.h"

namespace sarnoth::gui {
namespace {

class ScatDataWindow : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    Database db = openWorkDatabase(gWorkPath);
    db.execute(
        "Create Table [样品] ([样号] TEXT(10), [Au] SINGLE, [Cu] DOUBLE, [n] LONG, [地层] "
        "TEXT(4))");
    // Au 1 … 5 and nulls; Cu rises by two a record (a straight profile of 64 samples).
    for (int i = 1; i <= 64; ++i)
      db.execute(
          "Insert Into [样品] Values ('s', ?, ?, ?, 'T')",
          {Value(i <= 5 ? double(i) : NULL_VALUE_D), Value(2.0 * i), Value(std::int64_t{i})});
    ScriptedInteraction yes({}, Answer::Yes);
    Registration how;
    how.origin = "OutDataIn";
    how.note = "外部数据导入";
    registerTable(db, "样品", how, yes);
  }

  static void pick(QListWidget* list, const char* name, bool select = true) {
    auto items = list->findItems(QString::fromUtf8(name), Qt::MatchExactly);
    ASSERT_EQ(items.size(), 1) << name;
    list->setCurrentItem(items[0]);
    items[0]->setSelected(select);
  }
  static QStringList texts(const QListWidget* list) {
    QStringList l;
    for (int i = 0; i < list->count(); ++i) l << list->item(i)->text();
    return l;
  }
  static std::string report(const frmScatDataYCXX& f) { return ss(f.rchBox->toPlainText()); }
};

TEST_F(ScatDataWindow, MenuOpensBothModesAndAnEmptyWorkAreaIsRefused) {
  FrmMain main;
  std::vector<std::pair<int, QString>> opened;
  auto previous = FrmMain::setPresenter([&opened](QWidget* w, bool) {
    if (auto* f = qobject_cast<frmScatDataYCXX*>(w)) opened.emplace_back(f->mode, f->windowTitle());
    delete w;
  });
  main.runCommand("mnuAnmalAna10");
  main.runCommand("mnuAnmalAna50");
  FrmMain::setPresenter(std::move(previous));
  ASSERT_EQ(opened.size(), 2u);
  EXPECT_EQ(opened[0].first, 100);
  EXPECT_EQ(opened[1], std::make_pair(200, QString::fromUtf8("数据分形分维数计算")));

  Database db = openWorkDatabase(gWorkPath);
  removeWorkTable(db, "样品");
  ScriptedMessages boxes;
  EXPECT_EQ(createToolWindow("frmScatDataYCXX", nullptr, 100), nullptr);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "工作区中无数据表，请从数据库中检索或从外部表数据导入。");
}

TEST_F(ScatDataWindow, AnomalyModeControlsReportAndRichText) {
  ScriptedMessages boxes;
  frmScatDataYCXX f(nullptr, 100);
  ASSERT_TRUE(f.load());
  EXPECT_EQ(f.lstTbls->currentRow(), -1);
  EXPECT_EQ(f.optSelMD[2]->text(), QString::fromUtf8("剔除异点的对数正态分布异常下限"));
  EXPECT_TRUE(f.optSelMD[6]->isVisibleTo(&f));
  EXPECT_FALSE(f.picDraw->isVisibleTo(&f));
  EXPECT_FALSE(f.frmA->isVisibleTo(&f));
  EXPECT_FALSE(f.btnSave->isEnabled());

  // Only the numeric fields, in field order.
  pick(f.lstTbls, "样品");
  EXPECT_EQ(texts(f.lstVVItem), (QStringList{"Au", "Cu", "n"}));

  // Nothing chosen.
  f.btnApply->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请选择元素项!");

  // Method 1: parameter "剔除标准差倍数" 2.5 and the multiple k = 2.
  f.optSelMD[1]->click();
  EXPECT_EQ(f.lblPar->text(), QString::fromUtf8("剔除标准差倍数"));
  EXPECT_EQ(f.txtPar->text(), "2.5");
  EXPECT_TRUE(f.txtTms->isVisibleTo(&f));
  EXPECT_EQ(f.lblYC1->text(), QString::fromUtf8("异常下限＝平均值＋"));
  // Method 3: "异常百分数" 85, no multiple.
  f.optSelMD[3]->click();
  EXPECT_EQ(f.lblPar->text(), QString::fromUtf8("异常百分数"));
  EXPECT_EQ(f.txtPar->text(), "85");
  EXPECT_FALSE(f.txtTms->isVisibleTo(&f));
  EXPECT_EQ(f.selMethod, 3);

  pick(f.lstVVItem, "Au");
  f.btnApply->click();
  EXPECT_EQ(report(f),
            "     ----- 元素异常处理结果 ------\n\n"
            "  元素      记录数   最小值  下四分位数   中位数  上四分位数    最大值   异常下限\n"
            "Au               5   1.000     2.000     3.000     4.000       5.000     4.400\n");
  EXPECT_TRUE(f.btnSave->isEnabled());

  // Two elements in list order; a box without a number is refused and the report stays.
  f.optSelMD[0]->click();
  EXPECT_FALSE(f.txtPar->isVisibleTo(&f));
  pick(f.lstVVItem, "Cu");
  f.txtTms->setText("2.x");
  f.btnApply->click();
  EXPECT_EQ(boxes.texts.back(), "计算参数错误。");
  f.txtTms->setText("2");
  f.btnApply->click();
  const std::string text = report(f);
  EXPECT_NE(text.find("\nAu               5       3.000       1.581       6.162\nCu  "),
            std::string::npos)
      << text;

  // Saved as RTF, it reopens as the same text; a cancelled dialog writes nothing.
  {
    ScriptedSaveDialogs dialogs({area("result.rtf"), ""});
    f.btnSave->click();
    f.btnSave->click();
    ASSERT_EQ(dialogs.titles.size(), 2u);
    EXPECT_EQ(dialogs.titles[0], "保存处理结果...");
    EXPECT_EQ(dialogs.filters[0], "Sarnoth结果文件(*.RTF)|*.rtf|所有文件 (*.*)|*.*|");
  }
  const auto back = rtfToText(readFile(area("result.rtf")));
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(*back, text);
}

TEST_F(ScatDataWindow, FractalModeReportPlotAndHover) {
  ScriptedMessages boxes;
  frmScatDataYCXX f(nullptr, 200);
  ASSERT_TRUE(f.load());
  f.resize(1100, 700);
  EXPECT_EQ(f.windowTitle(), QString::fromUtf8("数据分形分维数计算"));
  EXPECT_EQ(f.optSelMD[5]->text(), QString::fromUtf8("三角棱锥法二维数据分维值"));
  EXPECT_FALSE(f.optSelMD[6]->isVisibleTo(&f));
  EXPECT_FALSE(f.txtPar->isVisibleTo(&f));
  EXPECT_FALSE(f.lblYC1->isVisibleTo(&f));
  EXPECT_EQ(f.lblYC2->text(), QString::fromUtf8("分级数"));
  EXPECT_EQ(f.txtTms->text(), "10");
  EXPECT_EQ(f.axisType, 1);
  EXPECT_TRUE(f.optAxis[1]->isChecked());
  EXPECT_TRUE(f.optSelMD[0]->isChecked());
  EXPECT_TRUE(f.picDraw->isVisibleTo(&f));
  EXPECT_FALSE(f.flstGrd->isVisibleTo(&f));

  // One element only.
  pick(f.lstTbls, "样品");
  pick(f.lstVVItem, "Au");
  pick(f.lstVVItem, "Cu");
  f.btnApply->click();
  ASSERT_FALSE(boxes.texts.empty());
  EXPECT_EQ(boxes.texts.back(), "分维统计只能进行单元素计算。");

  // The divider of the straight profile Cu on both logarithmic axes.
  f.lstVVItem->item(0)->setSelected(false);
  f.optSelMD[3]->click();
  f.optAxis[0]->click();
  EXPECT_EQ(f.axisType, 0);
  f.btnApply->click();
  const std::string text = report(f);
  EXPECT_EQ(
      text.rfind("     ----- 分形分维处理结果 ------\nCu\n\n测量尺度        曲线长度\n  1     ", 0),
      0u)
      << text;
  EXPECT_NE(text.find("分维值： 1\n"), std::string::npos) << text;
  // Scales 1, 2, 4: three points, and the plot holds them on log axes of one decade.
  ASSERT_EQ(f.plotX, (std::vector<float>{1, 2, 4}));
  EXPECT_TRUE(f.plot().x.log);
  EXPECT_EQ(f.plot().x.labels, (std::vector<std::string>{"1", "10"}));
  EXPECT_EQ(f.picDraw->chart().x.label, "测量尺度");
  EXPECT_EQ(f.hoverIndex, -1);

  // The pointer over the second point: it turns blue and the read-out names it.
  f.show();
  f.picDraw->grab();
  const auto& L = f.picDraw->layout();
  const QPointF at(*L.px(2), *L.py(f.plotY[1]));
  QMouseEvent move(QEvent::MouseMove, at, f.picDraw->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                   Qt::NoModifier);
  QApplication::sendEvent(f.picDraw, &move);
  EXPECT_EQ(f.hoverIndex, 1);
  EXPECT_EQ(ss(f.picDraw->toolTip()), "当前数据：X=2  Y=" + floatText(f.plotY[1]));
  ASSERT_EQ(f.picDraw->chart().series.size(), 2u);
  EXPECT_EQ(f.picDraw->chart().series[1].x, (std::vector<double>{2}));
  EXPECT_EQ(f.picDraw->chart().series[1].colour, chart::kBlue);
  // Away from every point nothing changes; a new run clears the hover.
  const QPointF away(L.left + 2, L.top + 2);
  QMouseEvent off(QEvent::MouseMove, away, f.picDraw->mapToGlobal(away), Qt::NoButton, Qt::NoButton,
                  Qt::NoModifier);
  QApplication::sendEvent(f.picDraw, &off);
  EXPECT_EQ(f.hoverIndex, 1);
  f.btnApply->click();
  EXPECT_EQ(f.hoverIndex, -1);
  EXPECT_TRUE(f.picDraw->toolTip().isEmpty());

  // The picture as PNG.
  {
    ScriptedSaveDialogs dialogs({area("plot")});
    f.btnSavePic->click();
  }
  const std::string png = readFile(area("plot.png"));
  ASSERT_GT(png.size(), 8u);
  EXPECT_EQ(png.substr(1, 3), "PNG");
}

TEST_F(ScatDataWindow, FractalGridMethodsListTheGrids) {
  ScriptedMessages boxes;
  writeGridFile(area("Grid_dat/a.grd"), "#SRNTHGRIDB#", 33, 33, 0, 0, 1, 1);
  frmScatDataYCXX f(nullptr, 200);
  ASSERT_TRUE(f.load());
  f.optSelMD[5]->click();
  EXPECT_TRUE(f.flstGrd->isVisibleTo(&f));
  EXPECT_FALSE(f.lstVVItem->isVisibleTo(&f));
  EXPECT_EQ(texts(f.flstGrd), QStringList{"a.grd"});
  f.btnApply->click();
  ASSERT_FALSE(boxes.texts.empty());
  EXPECT_EQ(boxes.texts.back(), "请选择数据文件。");
  pick(f.flstGrd, "a.grd");
  f.btnApply->click();
  // The nodes 0, 1, 2 … row by row make a plane: dimension 2.
  EXPECT_NE(report(f).find("a.grd\n\n盒子尺度        曲线面积\n"), std::string::npos) << report(f);
  EXPECT_NE(report(f).find("分维值： 2\n"), std::string::npos) << report(f);
  EXPECT_EQ(f.picDraw->chart().x.label, "棱锥底积");
}

}  // namespace
}  // namespace sarnoth::gui
