// The viewers: the text box's sources and files, the table viewer over a million rows, the
// drawing window's pictures and the about box.
#include <QImage>
#include <QPainter>
#include <QPrinter>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QTableWidget>
#include <QTextEdit>

#include "app/frmAbout.h"
#include "app/frmDataView.h"
#include "app/frmDraw.h"
#include "app/frmGridView.h"
#include "app/frmInfoBox.h"
#include "app/messages.h"
#include "gui_support.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::SessionFixture;

using ViewerTest = SessionFixture;

TEST_F(ViewerTest, InfoBoxLoadsEachModesSource) {
  std::filesystem::create_directories(sys("Ini_stru"));
  writeFile(sys("Ini_stru/basicelem.txt"), utf8ToGbk("元素 Au 金\r\n"));
  writeFile(sys("gprocessmdp.gnf"), "developers\r\n");
  writeFile(area("temp/Errorinfo.txt"), utf8ToGbk("错误: 除数为零\r\n"));
  writeFile(area("picked.txt"), "picked file");
  writeFile(area("own.txt"), "own file");

  struct Case {
    int mode;
    const char* expected;
  };
  gPickedFile = area("picked.txt");
  for (const Case& c : {Case{1001, "元素 Au 金"}, Case{3000, "picked file"}, Case{5000, "developers"},
                        Case{7, "错误: 除数为零"}, Case{0, "错误: 除数为零"}}) {
    frmInfoBox box;
    box.mode = c.mode;
    ASSERT_TRUE(box.load()) << c.mode;
    EXPECT_EQ(box.rtbInfo->toPlainText().trimmed().toStdString(), c.expected) << c.mode;
  }
  frmInfoBox own;
  own.mode = 4000;
  own.filePath = QString::fromStdString(area("own.txt"));
  ASSERT_TRUE(own.load());
  EXPECT_EQ(own.rtbInfo->toPlainText(), "own file");

  frmInfoBox dev;
  dev.mode = 5000;
  ASSERT_TRUE(dev.load());
  EXPECT_EQ(dev.windowTitle(), QString::fromUtf8("模块开发单位与开发者信息"));
  frmInfoBox plain;
  EXPECT_EQ(plain.windowTitle(), QString::fromUtf8("信息提示窗 -- 按右键打开菜单"));

  // 20000 loads nothing: the opener fills the box.
  frmInfoBox filled;
  filled.mode = 20000;
  filled.rtbInfo->setPlainText("report");
  EXPECT_TRUE(filled.load());
  EXPECT_EQ(filled.rtbInfo->toPlainText(), "report");

  // A missing file is said, not shown empty.
  std::filesystem::remove(area("temp/Errorinfo.txt"));
  ScriptedMessages boxes;
  frmInfoBox missing;
  missing.mode = 1;
  EXPECT_FALSE(missing.load());
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find("Errorinfo.txt"), std::string::npos);
}

TEST_F(ViewerTest, InfoBoxSavesRtfOrTextAndPrints) {
  frmInfoBox box;
  box.mode = 20000;
  box.rtbInfo->setPlainText(QString::fromUtf8("异常下限 {Au}\nline 2\\"));
  const std::string rtf = area("out.rtf"), txt = area("out.txt");
  ScriptedSaveDialogs dialogs({rtf, txt, ""});
  box.mnuFileSave->trigger();
  box.mnuFileSave->trigger();
  box.mnuFileSave->trigger();  // cancelled: nothing written
  ASSERT_EQ(dialogs.filters.size(), 3u);
  EXPECT_EQ(dialogs.filters[0], "文本文件(*.RTF)|*.rtf|所有文件(*.*)|*.*");

  const std::string r = readFile(rtf);
  EXPECT_EQ(r.rfind("{\\rtf1\\ansi\\ansicpg936", 0), 0u);
  EXPECT_NE(r.find("\\u24322?"), std::string::npos);  // 异 is U+5F02
  EXPECT_NE(r.find("\\{Au\\}\\par"), std::string::npos);
  EXPECT_NE(r.find("line 2\\\\"), std::string::npos);
  EXPECT_EQ(r.back(), '}');
  EXPECT_EQ(gbkToUtf8(readFile(txt)), "异常下限 {Au}\r\nline 2\\");

  QPrinter printer(QPrinter::HighResolution);
  printer.setOutputFormat(QPrinter::PdfFormat);
  printer.setOutputFileName(QString::fromStdString(area("print.pdf")));
  box.printTo(printer);
  EXPECT_EQ(readFile(area("print.pdf")).rfind("%PDF", 0), 0u);
}

TEST_F(ViewerTest, GridViewShowsAMillionRowsWithoutLoadingThem) {
  constexpr std::int64_t kRows = 1'000'000;
  {
    Database db = openWorkDatabase(gWorkPath);
    db.createTable("大表", {{"ID", JetType::Long, 0},
                            {"X", JetType::Single, 0},
                            {"名称", JetType::Text, 20}});
    TableWriter w(db, "大表", {"ID", "X", "名称"});
    for (std::int64_t i = 0; i < kRows; ++i) {
      w.setInt(0, i);
      if (i % 1000 == 7)
        w.setNull(1);
      else
        w.setDouble(1, static_cast<double>(i) / 3.0);
      w.setText(2, "样品" + std::to_string(i));
      w.addRow();
    }
    w.commit();
  }
  gViewConnect = std::string(kViewConnectPrefix) + gWorkPath + "Qury_Dat\\QueryDB.mdb";
  gViewSource = "大表";
  frmGridView v;
  ASSERT_TRUE(v.load());
  EXPECT_EQ(v.windowTitle(), QString::fromUtf8("数据浏览 -- 记录数: 1000000"));
  GridViewModel* m = v.adoGridView;
  EXPECT_EQ(m->rowCount(), kRows);
  ASSERT_EQ(m->columnCount(), 3);
  EXPECT_EQ(m->headerData(2, Qt::Horizontal).toString(), QString::fromUtf8("名称"));
  EXPECT_EQ(m->cachedRows(), 0u);

  v.show();
  auto cell = [m](int r, int c) { return m->data(m->index(r, c)).toString(); };
  EXPECT_EQ(cell(0, 2), QString::fromUtf8("样品0"));
  EXPECT_EQ(cell(999'999, 0), "999999");
  EXPECT_EQ(cell(3, 1), "1");
  EXPECT_EQ(cell(4, 1), "1.333333");  // a Single shows seven digits
  EXPECT_TRUE(m->data(m->index(7, 1)).isNull());
  // Reading on from a page continues the cursor; a jump back reads one page.
  for (int r = 256; r < 2000; ++r) ASSERT_EQ(cell(r, 0).toInt(), r);
  EXPECT_EQ(cell(500'000, 2), QString::fromUtf8("样品500000"));
  v.dgViewTable->scrollToBottom();
  QApplication::processEvents();
  EXPECT_LE(m->cachedRows(), GridViewModel::kCachedPages * GridViewModel::kPageRows);

  // A query as the record source, and a source that is not there.
  gViewSource = "Select [ID], [名称] From [大表] Where [ID] < 10 Order By [ID] Desc";
  frmGridView q;
  ASSERT_TRUE(q.load());
  EXPECT_EQ(q.adoGridView->recordCount(), 10);
  EXPECT_EQ(q.adoGridView->data(q.adoGridView->index(0, 0)).toString(), "9");
  gViewSource = "没有这个表";
  ScriptedMessages boxes;
  frmGridView bad;
  EXPECT_FALSE(bad.load());
  EXPECT_EQ(boxes.texts.size(), 1u);
}

TEST_F(ViewerTest, ConnectAndSourceTexts) {
  EXPECT_EQ(dataSourceOf("Provider=Microsoft.Jet.OLEDB.4.0;;;Data Source=C:\\a b\\Q.mdb"),
            "C:\\a b\\Q.mdb");
  EXPECT_EQ(dataSourceOf("Provider=x;data source=/w/Q.mdb;Persist=False"), "/w/Q.mdb");
  EXPECT_EQ(dataSourceOf("Provider=x"), "");
  EXPECT_EQ(recordSourceQuery("Au 样品"), "Select * From [Au 样品]");
  EXPECT_EQ(recordSourceQuery("[T]"), "Select * From [T]");
  EXPECT_EQ(recordSourceQuery(" select * from T; "), "select * from T");
  EXPECT_EQ(recordSourceQuery("Selection"), "Select * From [Selection]");
}

TEST_F(ViewerTest, DrawSavesBmpAndPng) {
  frmDraw d;
  EXPECT_EQ(d.windowTitle(), QString::fromUtf8("图示窗"));
  d.picDraw->clear(QSize(40, 30));
  {
    QPainter p(&d.picDraw->picture());
    p.fillRect(QRect(0, 0, 10, 10), Qt::red);
  }
  ScriptedSaveDialogs dialogs({area("pic"), area("pic.png"), ""});
  d.SaveBMP->trigger();
  d.SaveBMP->trigger();
  d.SaveBMP->trigger();
  ASSERT_EQ(dialogs.titles.size(), 3u);
  EXPECT_EQ(dialogs.titles[0], "保存");
  EXPECT_EQ(readFile(area("pic.bmp")).substr(0, 2), "BM");
  EXPECT_EQ(readFile(area("pic.png")).substr(1, 3), "PNG");
  QImage back(QString::fromStdString(area("pic.bmp")));
  ASSERT_EQ(back.size(), QSize(40, 30));
  EXPECT_EQ(back.pixelColor(2, 2), QColor(Qt::red));
  EXPECT_EQ(back.pixelColor(30, 20), QColor(Qt::white));

  ScriptedMessages boxes;
  EXPECT_TRUE(d.savePicture(QString::fromStdString(area("no/such/dir/x.bmp"))).isEmpty());
}

TEST_F(ViewerTest, DataViewAndAbout) {
  frmDataView v;
  v.setData({"元素", "均值"}, {{"Au", "1.5"}, {"Cu", "30", "extra"}});
  EXPECT_EQ(v.windowTitle(), QString::fromUtf8("分析数据浏览"));
  EXPECT_EQ(v.mfxGrid->rowCount(), 2);
  EXPECT_EQ(v.mfxGrid->columnCount(), 3);

  frmAbout a;
  EXPECT_EQ(a.windowTitle(), QString::fromUtf8("关于 数据处理与分析"));
  EXPECT_EQ(a.lblVersion->text(), QString::fromUtf8("版本 2012"));
  EXPECT_EQ(a.cmdOK->text(), QString::fromUtf8("返回(&R)"));
  if (systemInfoProgram().empty()) {
    ScriptedMessages boxes;
    a.cmdSysInfo->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "此时系统信息不可用");
  }
}

}  // namespace
}  // namespace sarnoth::gui
