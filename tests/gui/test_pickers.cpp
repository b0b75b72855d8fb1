// The shared pickers through their success, cancel and refusal paths, mode by mode.
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

#include "app/frmSelFiles.h"
#include "app/frmSelectFiles.h"
#include "app/frmSelectTbl.h"
#include "app/messages.h"
#include "gui_support.h"
#include "workarea/grid_info.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;
using sarnoth::testing::SessionFixture;

class PickerTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    writeGridFile(area("Grid_dat/b_au.grd"), "#SRNTHGRIDB#", 4, 3, 100, 200, 10, 20, "Au ppb");
    writeGridFile(area("Grid_dat/A_cu.GRD"), "#OLDGNGRIDB#", 2, 2, 0, 0, 1, 1);
    writeFile(area("Grid_dat/text.grd"), "#SRNTHGRIDA#\n2 2\n");
    writeFile(area("Grid_dat/notes.txt"), "x");
  }
  static QStringList items(QListWidget* l) {
    QStringList s;
    for (int i = 0; i < l->count(); ++i) s << l->item(i)->text();
    return s;
  }
  static void select(QListWidget* l, const QString& name) {
    auto found = l->findItems(name, Qt::MatchExactly);
    ASSERT_FALSE(found.isEmpty()) << name.toStdString();
    l->setCurrentItem(found.front());
  }
};

TEST_F(PickerTest, SelFilesPicksAGridAndFramesIt) {
  frmSelFiles p;
  p.mode = 100;
  std::vector<GridFrame> frames;
  p.frameOnMap = [&](const GridFrame& f) { frames.push_back(f); };
  ScriptedMessages boxes;
  ASSERT_TRUE(p.load());
  EXPECT_EQ(p.windowTitle(), QString::fromUtf8("请选择您要打开数据的文件名"));
  // Only *.grd, any case, sorted case-blind; the first is selected and txtFile is empty.
  EXPECT_EQ(items(p.flstGridFiles).join(","), "A_cu.GRD,b_au.grd,text.grd");
  EXPECT_EQ(p.flstGridFiles->currentRow(), 0);
  EXPECT_TRUE(p.txtFile->text().isEmpty());

  select(p.flstGridFiles, "b_au.grd");
  p.flstGridFiles_Click();
  EXPECT_EQ(p.txtFile->text(), "b_au.grd");
  EXPECT_EQ(p.record().nx, 4);
  EXPECT_EQ(p.record().note, "Au ppb");
  p.btnSure->click();
  EXPECT_EQ(p.result(), QDialog::Accepted);
  EXPECT_EQ(gPickedFile, "b_au.grd");
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].edges.size(), 4u);
  EXPECT_DOUBLE_EQ(frames[0].xMax, 130.0);
  EXPECT_DOUBLE_EQ(frames[0].yMax, 240.0);
  EXPECT_EQ(frames[0].labels.size(), 12u);
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(PickerTest, SelFilesMagicIsTestedOnAListClickOnly) {
  frmSelFiles p;
  p.mode = 300;
  ASSERT_TRUE(p.load());
  EXPECT_EQ(p.windowTitle(), QString::fromUtf8("装载重磁数据"));  // as designed
  ScriptedMessages boxes;
  // An older generation's magic reads alike: only characters 7 to 12 count.
  select(p.flstGridFiles, "A_cu.GRD");
  p.flstGridFiles_Click();
  EXPECT_TRUE(boxes.texts.empty());
  select(p.flstGridFiles, "text.grd");
  p.flstGridFiles_Click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "非Sarnoth二进制网格数据.");
  EXPECT_TRUE(p.txtFile->text().isEmpty());  // 300 copies nothing
  // btnSure does not test again: the ASCII grid passes in 300.
  p.btnSure->click();
  EXPECT_EQ(gPickedFile, "text.grd");
  EXPECT_EQ(boxes.texts.size(), 1u);
}

TEST_F(PickerTest, SelFilesRefusalsAndCancel) {
  {
    frmSelFiles p;
    p.mode = 300;
    ASSERT_TRUE(p.load());
    ScriptedMessages boxes;
    p.btnSure->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "请选择数据文件。");
    EXPECT_EQ(p.result(), 0);
    EXPECT_FALSE(p.isVisible());
  }
  // A successful pick, then a cancelled one: the answer is gone.
  gPickedFile = "b_au.grd";
  frmSelFiles p;
  p.mode = 100;
  ASSERT_TRUE(p.load());
  p.btnCancel->click();
  EXPECT_EQ(p.result(), QDialog::Rejected);
  EXPECT_TRUE(gPickedFile.empty());

  // An empty grid directory closes the window in 100.
  std::filesystem::remove_all(area("Grid_dat"));
  std::filesystem::create_directories(area("Grid_dat"));
  gPickedFile = "stale";
  frmSelFiles empty;
  empty.mode = 100;
  ScriptedMessages boxes;
  EXPECT_FALSE(empty.load());
  EXPECT_EQ(boxes.texts.size(), 1u);
  EXPECT_TRUE(gPickedFile.empty());
}

TEST_F(PickerTest, SelFilesNamesANewGrid) {
  frmSelFiles p;
  p.mode = 200;
  ASSERT_TRUE(p.load());
  EXPECT_EQ(p.windowTitle(), QString::fromUtf8("请输入您要保存数据的文件名"));
  EXPECT_EQ(p.txtFile->text(), "NewGrid");
  EXPECT_FALSE(p.btnDInfo->isEnabled());
  // A list click does nothing in 200.
  select(p.flstGridFiles, "b_au.grd");
  p.flstGridFiles_Click();
  EXPECT_EQ(p.txtFile->text(), "NewGrid");
  EXPECT_FALSE(p.recordRead());

  ScriptedMessages boxes({Answer::Ok, Answer::No, Answer::Yes});
  p.txtFile->setText(" ,b_au");
  p.btnSure->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请给定保存数据文件名。");
  // An existing name: No leaves the window open, Yes takes it.
  p.txtFile->setText("B_AU,extra");
  p.btnSure->click();
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(p.result(), 0);
  p.btnSure->click();
  EXPECT_EQ(p.result(), QDialog::Accepted);
  EXPECT_EQ(gPickedFile, "B_AU.grd");
  // A new name with a comma is cut at the comma, without a question.
  frmSelFiles q;
  q.mode = 200;
  ASSERT_TRUE(q.load());
  q.txtFile->setText("fresh,old");
  q.btnSure->click();
  EXPECT_EQ(gPickedFile, "fresh.grd");
  EXPECT_EQ(boxes.texts.size(), 3u);
}

TEST_F(PickerTest, SelFilesDataInfoShowsTheHeader) {
  frmSelFiles p;
  p.mode = 300;
  ASSERT_TRUE(p.load());
  select(p.flstGridFiles, "b_au.grd");
  p.flstGridFiles_Click();
  std::vector<QString> shown;
  ModalScript script({[&shown](QWidget* box) {
    auto* text = box->findChild<QWidget*>("rtbInfo");
    shown.push_back(box->windowTitle());
    shown.push_back(text->property("plainText").toString());
    box->close();
  }});
  p.btnDInfo->click();
  ASSERT_EQ(shown.size(), 2u);
  const std::string file = gbkToUtf8(readFile(area("tempfile.txt")));
  EXPECT_NE(file.find("--------- 网格数据特征信息 --------\r\n"), std::string::npos);
  EXPECT_NE(file.find("  左下角横坐标: 100\r\n"), std::string::npos);
  EXPECT_NE(file.find("  数据列数:     4\r\n"), std::string::npos);
  EXPECT_NE(file.find("  纵向网格距:   20\r\n"), std::string::npos);
  EXPECT_NE(file.find("  有效数据点数: 12\r\n"), std::string::npos);
  EXPECT_NE(file.find("  最大值:       99.25\r\n"), std::string::npos);
  EXPECT_NE(file.find("  数据注释:  Au ppb\r\n"), std::string::npos);
  EXPECT_NE(shown[1].indexOf(QString::fromUtf8("数据行数:     3")), -1);
}

TEST_F(PickerTest, SelectFilesPickingModes) {
  writeFile(area("Prof_Dat/m1.vol"), "1");
  writeFile(area("Prof_Dat/m2.VOL"), "2");
  writeFile(area("Prof_Dat/c.par"), "3");
  frmSelectFiles p;
  p.mode = 100;
  p.fileMask = "*.vol";
  p.setWindowTitle(QString::fromUtf8("请选择反演初始模型文件"));
  ASSERT_TRUE(p.load());
  EXPECT_EQ(items(p.flstGridFiles).join(","), "m1.vol,m2.VOL");
  EXPECT_EQ(p.flstGridFiles->currentRow(), 0);
  select(p.flstGridFiles, "m2.VOL");
  p.flstGridFiles_Click();
  EXPECT_EQ(p.txtFile->text(), "m2.VOL");
  p.btnSure->click();
  EXPECT_EQ(gPickedFile, "m2.VOL");  // the name alone

  // 400: nothing selected, an empty list allowed, the whole path answered.
  frmSelectFiles g;
  g.mode = 400;
  g.fileMask = "*.grd";
  ASSERT_TRUE(g.load());
  EXPECT_EQ(g.flstGridFiles->currentRow(), -1);
  ScriptedMessages boxes;
  g.btnSure->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请选择数据文件名。");
  select(g.flstGridFiles, "b_au.grd");
  g.btnSure->click();
  EXPECT_EQ(gPickedFile, gWorkPath + "Grid_Dat\\b_au.grd");

  frmSelectFiles none;
  none.mode = 500;
  none.fileMask = "*.xyz";
  EXPECT_TRUE(none.load());
  none.btnCancel->click();
  EXPECT_TRUE(gPickedFile.empty());
}

TEST_F(PickerTest, SelectFilesRefusesOnOpening) {
  ScriptedMessages boxes;
  frmSelectFiles p;
  p.mode = 110;
  p.fileMask = "*.vol";
  EXPECT_FALSE(p.load());
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "工作区中没有数据，请检查!!");

  std::filesystem::remove_all(area("Prof_Dat"));
  frmSelectFiles q;
  q.mode = 200;
  EXPECT_FALSE(q.load());
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1].rfind("装载数据文件错：", 0), 0u) << boxes.texts[1];
}

TEST_F(PickerTest, SelectFilesNamingModes) {
  writeFile(area("Prof_Dat/rxy.dat"), "1");
  frmSelectFiles p;
  p.mode = 200;
  p.fileMask = "*.dat";
  p.fileExt = ".dat";
  ASSERT_TRUE(p.load());
  EXPECT_EQ(p.txtFile->text(), "NewFile");
  select(p.flstGridFiles, "rxy.dat");
  p.flstGridFiles_Click();
  EXPECT_EQ(p.txtFile->text(), "NewFile");  // no copy in 200

  ScriptedMessages boxes({Answer::No});
  p.txtFile->setText("rxy");
  p.btnSure->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find("rxy.dat"), std::string::npos);
  EXPECT_TRUE(gPickedFile.empty());
  p.txtFile->setText("ryx,rxy");
  p.btnSure->click();
  EXPECT_EQ(gPickedFile, "ryx.dat");
  EXPECT_EQ(boxes.texts.size(), 1u);

  // 300 names a file of Grid_Dat and copies a clicked name.
  frmSelectFiles g;
  g.mode = 300;
  g.fileMask = "*.grd";
  ASSERT_TRUE(g.load());
  EXPECT_EQ(g.directory(), gWorkPath + "Grid_Dat\\");
  select(g.flstGridFiles, "b_au.grd");
  g.flstGridFiles_Click();
  EXPECT_EQ(g.txtFile->text(), "b_au.grd");
}

TEST_F(PickerTest, Sel2DmtFilesWorksOverItsOwnDirectory) {
  writeFile(area("Prof_Dat/2DMT/line1.03"), "x");
  writeFile(area("Prof_Dat/2DMT/line1.3"), "y");
  writeFile(area("Prof_Dat/2DMT/line1.04"), "z");
  EXPECT_EQ(frmSel2DmtFiles::passMask(3, true), "*.03");
  EXPECT_EQ(frmSel2DmtFiles::passMask(3, false), "*.3");
  frmSel2DmtFiles p;
  p.fileMask = frmSel2DmtFiles::passMask(3, true);
  p.setWindowTitle(QString::fromUtf8(k2DmtOpenTitle));
  ASSERT_TRUE(p.load());
  EXPECT_EQ(items(p.flstGridFiles).join(","), "line1.03");
  p.btnSure->click();
  EXPECT_EQ(gPickedFile, "line1.03");

  frmSel2DmtFiles n;
  n.mode = 200;
  n.fileMask = frmSel2DmtFiles::passMask(3, false);
  ASSERT_TRUE(n.load());
  EXPECT_EQ(n.txtFile->text(), "NewFile");
  n.btnCancel->click();
  EXPECT_TRUE(gPickedFile.empty());
}

TEST_F(PickerTest, SelectTblPicksFromTextOrDatabase) {
  frmSelectTbl t;
  t.mode = 100;
  t.itemsText = "Sheet1,化探数据,Sheet3";
  ASSERT_TRUE(t.load());
  EXPECT_EQ(items(t.lstTbls).join("|"), QString::fromUtf8("Sheet1|化探数据|Sheet3"));
  ScriptedMessages boxes;
  t.lstTbls->clearSelection();  // the first name comes selected; without one the button refuses
  t.btnSure->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请选择数据表.");
  select(t.lstTbls, QString::fromUtf8("化探数据"));
  t.btnSure->click();
  EXPECT_EQ(gPickedFile, "化探数据");

  Database db = openWorkDatabase(gWorkPath);
  db.createTable("Au 样品", {{"X", JetType::Double, 0}});
  frmSelectTbl d;
  d.mode = 200;
  d.database = &db;
  ASSERT_TRUE(d.load());
  EXPECT_TRUE(items(d.lstTbls).contains(QString::fromUtf8("Au 样品")));
  d.btnCancel->click();
  EXPECT_TRUE(gPickedFile.empty());
}

class DeleteModeTest : public PickerTest {
 protected:
  void SetUp() override {
    PickerTest::SetUp();
    Database db = Database::open(gSysPath + "DMXManag.sqlite", true);
    db.createTable("DMXWorkBase",
                   {{"WORKNAME", JetType::Text, 50}, {"WORKPATH", JetType::Text, 200}});
    db.createTable("DMXDataBase",
                   {{"BASENAME", JetType::Text, 50}, {"BASEPATH", JetType::Text, 200}});
    std::filesystem::create_directories(root_ / "wa1" / "Grid_dat");
    writeFile((root_ / "wa1" / "Grid_dat" / "g.grd").string(), "g");
    std::filesystem::create_directories(root_ / "wa2");
    db.execute("Insert Into DMXWorkBase Values (?, ?)",
               {Value(std::string("北区")), Value((root_ / "wa1").string() + "\\")});
    db.execute("Insert Into DMXWorkBase Values (?, ?)",
               {Value(std::string("南区")), Value((root_ / "wa2").string())});
  }
};

TEST_F(DeleteModeTest, DeletingAWorkAreaRemovesTreeAndRow) {
  frmSelectTbl t;
  t.mode = 500;
  ASSERT_TRUE(t.load());
  EXPECT_EQ(t.windowTitle(), QString::fromUtf8("删除工作区"));
  EXPECT_EQ(t.btnSure->text(), QString::fromUtf8("删除&D"));
  EXPECT_EQ(t.btnCancel->text(), QString::fromUtf8("返回(&R)"));
  EXPECT_EQ(items(t.lstTbls).join("|"), QString::fromUtf8("北区|南区"));

  ScriptedMessages boxes({Answer::Ok, Answer::No, Answer::Yes});
  t.btnSure->click();
  EXPECT_EQ(boxes.texts.back(), "请选择工作区。");
  select(t.lstTbls, QString::fromUtf8("北区"));
  t.btnSure->click();  // No: nothing happens
  EXPECT_EQ(boxes.texts.back(),
            "一定要删除所选工作区工程吗? 这将从系统中彻底清除不能恢复,三思而后行!!!.");
  EXPECT_TRUE(std::filesystem::exists(root_ / "wa1"));
  t.btnSure->click();  // Yes
  EXPECT_EQ(boxes.texts.back(), "北区 已经被删除。");
  EXPECT_FALSE(std::filesystem::exists(root_ / "wa1"));
  EXPECT_TRUE(std::filesystem::exists(root_ / "wa2"));
  EXPECT_EQ(items(t.lstTbls).join("|"), QString::fromUtf8("南区"));
  Database db = openStoreFor(gSysPath + "DMXManag.mdb");
  EXPECT_EQ(db.rowCount("DMXWorkBase"), 1);
}

TEST_F(DeleteModeTest, EmptyOrMissingSystemTables) {
  ScriptedMessages boxes;
  frmSelectTbl projects;
  projects.mode = 300;
  EXPECT_FALSE(projects.load());
  EXPECT_EQ(boxes.texts.back(), "系统内无数据工程。");
  EXPECT_EQ(projects.windowTitle(), QString::fromUtf8("删除数据工程"));

  std::filesystem::remove(gSysPath + "DMXManag.sqlite");
  frmSelectTbl missing;
  missing.mode = 500;
  EXPECT_FALSE(missing.load());
  EXPECT_EQ(boxes.texts.back().rfind("打开数据库错, 或无数据表：", 0), 0u) << boxes.texts.back();
}

}  // namespace
}  // namespace sarnoth::gui
