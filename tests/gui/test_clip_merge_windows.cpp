// The clipping, merge, special merge and grid smoothing windows headless: opening state, the
// refusals each window makes while fields are chosen, and a run of each job.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include "app/frm_main.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "datatools/forms/frmGridSmoth.h"
#include "datatools/forms/frmTableJoinS.h"
#include "datatools/table_import.h"
#include "gui_support.h"
#include "prep/forms/frmBaseDataCutDown.h"
#include "prep/forms/frmTableJoin.h"
#include "workarea/grid_file.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;
using sarnoth::testing::SessionFixture;

template <class T>
T* child(QWidget* w, const char* name) {
  T* c = w->findChild<T*>(QString::fromLatin1(name));
  EXPECT_NE(c, nullptr) << name;
  return c;
}

QString u8(const char* s) { return QString::fromUtf8(s); }

void pick(QListWidget* list, const char* name) {
  auto items = list->findItems(u8(name), Qt::MatchExactly);
  ASSERT_EQ(items.size(), 1) << name;
  list->setCurrentItem(items[0]);
  items[0]->setSelected(true);
}

class ClipMergeWindows : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    Database d = db();
    d.execute(
        "Create Table [点] ([横坐标] SINGLE, [纵坐标] SINGLE, [Au] SINGLE, [Cu] SINGLE, "
        "[样号] TEXT(8))");
    d.begin();
    for (int i = 0; i < 100; ++i)
      d.execute("Insert Into [点] Values (?, ?, ?, ?, ?)",
                {Value(double(i % 10)), Value(double(i / 10)), Value(double(i)), Value(2.0 * i),
                 Value("s" + std::to_string(i))});
    d.commit();
    d.execute("Create Table [两项] ([a] SINGLE, [b] SINGLE)");
    d.execute("Create Table [分析] ([样号] TEXT(8), [Zn] DOUBLE, [Au] SINGLE)");
    d.execute("Insert Into [分析] Values ('s1', 11, 0.1), ('s0', 10, 0.2)");
    for (const char* t : {"点", "两项", "分析"}) {
      ScriptedInteraction q;
      registerTable(d, t, {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
    }
    // A square around x, y in 2 … 5 (5 on its edge).
    writeFile(area("cut.gph"), "#SRNTHCRDGP#\nPR 1 4\n1.5 1.5\n5 1.5\n5 5\n1.5 5\n#ENDDATA#\n");
  }
  Database db() { return openWorkDatabase(gWorkPath); }
  std::vector<std::string> registered() {
    Database d = db();
    std::vector<std::string> l;
    listRegisteredTables(d, l);
    return l;
  }
};

TEST_F(ClipMergeWindows, EveryWindowOpensFromItsMenuEntry) {
  const std::pair<const char*, const char*> entries[] = {
      {"mnuDataPrevProc80", "frmBaseDataCutDown"},
      {"mnuDataPrevProc82", "frmTableJoin"},
      {"mnuDataPrevProc83", "frmTableJoinS"}};
  writeGridFile(area("Grid_dat/g.grd"), "#SRNTHGRIDB#", 5, 5, 0, 0, 1, 1);
  for (auto [menu, name] : entries) {
    FrmMain main;
    std::string opened;
    auto previous = FrmMain::setPresenter([&opened](QWidget* w, bool) {
      opened = w->objectName().toStdString();
      delete w;
    });
    main.runCommand(menu);
    FrmMain::setPresenter(std::move(previous));
    EXPECT_EQ(opened, name) << menu;
  }
  QWidget* w = createToolWindow("frmGridSmoth", nullptr, 200);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u8("网格数据圆滑处理"));
  delete w;
  w = createToolWindow("frmGridSmoth", nullptr, 100);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->windowTitle(), u8("网格数据叠置处理"));
  delete w;
}

TEST_F(ClipMergeWindows, ClipWindowOffersFieldsAndRefusesCoordinatesAsVariables) {
  frmBaseDataCutDown f;
  ASSERT_TRUE(f.load());
  EXPECT_EQ(f.windowTitle(), u8("数据剪裁"));
  EXPECT_TRUE(child<QRadioButton>(&f, "optDataType_0")->isChecked());
  auto* cut = child<QCheckBox>(&f, "chkCut");
  EXPECT_TRUE(cut->isChecked());
  EXPECT_EQ(cut->text(), u8("保留区内数据"));
  cut->setChecked(false);
  EXPECT_EQ(cut->text(), u8("保留区外数据"));
  cut->setChecked(true);
  EXPECT_EQ(child<QLineEdit>(&f, "txtTblName")->text(), "DataCutTbl");
  auto* kinds = child<QComboBox>(&f, "cboFileType");
  ASSERT_EQ(kinds->count(), 12);
  EXPECT_EQ(kinds->itemText(11), u8("Excel(8.0/98) 表数据文件"));
  auto* tables = child<QListWidget>(&f, "lstTbls");
  EXPECT_EQ(tables->count(), 3);

  ScriptedMessages boxes;
  pick(tables, "两项");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "数据项少于3不能剪裁.");
  pick(tables, "点");
  EXPECT_EQ(child<QComboBox>(&f, "cboXXCrd")->currentText(), u8("横坐标"));
  EXPECT_EQ(child<QComboBox>(&f, "cboYYCrd")->currentText(), u8("纵坐标"));
  auto* vars = child<QListWidget>(&f, "lstVars");
  EXPECT_EQ(vars->count(), 4);  // the text field is not offered
  vars->item(0)->setSelected(true);
  EXPECT_FALSE(vars->item(0)->isSelected());
  EXPECT_EQ(boxes.texts.back(), "已选为坐标项，不能再选");
  child<QCheckBox>(&f, "chkSelAll")->setChecked(true);
  EXPECT_EQ(child<QLabel>(&f, "lblVarCount")->text(), "2");
  EXPECT_EQ(boxes.texts.size(), 2u);

  // The grid type lists the grids and only two source kinds.
  writeGridFile(area("Grid_dat/g.grd"), "#SRNTHGRIDB#", 5, 5, 0, 0, 1, 1);
  child<QRadioButton>(&f, "optDataType_1")->setChecked(true);
  EXPECT_EQ(kinds->count(), 2);
  EXPECT_EQ(kinds->itemText(1), u8("外部数据"));
  EXPECT_EQ(child<QListWidget>(&f, "flstGrd")->count(), 1);
  EXPECT_TRUE(tables->isHidden());
}

TEST_F(ClipMergeWindows, ClipWindowCutsATableAndAsksBeforeReplacingTheResult) {
  frmBaseDataCutDown f;
  ASSERT_TRUE(f.load());
  auto previous = setOpenDialogHandler([this](const std::string&, const std::string&,
                                              const std::string&) { return area("cut.gph"); });
  child<QPushButton>(&f, "btnCutFile")->click();
  setOpenDialogHandler(previous);
  EXPECT_EQ(child<QLineEdit>(&f, "txtCutFile")->text().toStdString(), area("cut.gph"));
  pick(child<QListWidget>(&f, "lstTbls"), "点");
  child<QCheckBox>(&f, "chkSelAll")->setChecked(true);
  child<QLineEdit>(&f, "txtTblName")->setText(u8("区内"));
  {
    ScriptedMessages boxes;
    child<QPushButton>(&f, "btnApply")->click();
    EXPECT_TRUE(boxes.texts.empty());
  }
  EXPECT_EQ(db().rowCount("区内"), 16);
  EXPECT_EQ(child<QListWidget>(&f, "lstTbls")->count(), 4);
  {
    ScriptedMessages boxes({Answer::No});
    child<QCheckBox>(&f, "chkCut")->setChecked(false);
    child<QPushButton>(&f, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0], "结果表名已存在,是否覆盖?");
  }
  EXPECT_EQ(db().rowCount("区内"), 16);
  // Save cleared: the table itself loses the records, and keeps its registry row.
  child<QCheckBox>(&f, "chkSave")->setChecked(false);
  child<QCheckBox>(&f, "chkCut")->setChecked(true);
  pick(child<QListWidget>(&f, "lstTbls"), "点");
  child<QPushButton>(&f, "btnApply")->click();
  EXPECT_EQ(db().rowCount("点"), 16);
  EXPECT_NE(findListItem("点", registered()), -1);
}

TEST_F(ClipMergeWindows, ClipWindowReadsADbaseFileAndDropsItsTableOnClosing) {
  ExportOptions dbf;
  dbf.format = ExportFormat::Dbf;
  {
    Database d = db();
    d.execute("Create Table [pts] ([X] DOUBLE, [Y] DOUBLE, [V] DOUBLE)");
    d.execute("Insert Into [pts] Values (3, 3, 1), (8, 8, 2), (4, 5, 3)");
    ASSERT_TRUE(exportTable(d, "pts", area("temp/pts.dbf"), dbf, noProgress()).ok);
  }
  {
    frmBaseDataCutDown f;
    ASSERT_TRUE(f.load());
    child<QComboBox>(&f, "cboFileType")->setCurrentIndex(7);  // DBase IV
    EXPECT_TRUE(child<QPushButton>(&f, "btnFileIn")->isEnabled());
    auto previous = setOpenDialogHandler([this](const std::string& title, const std::string& filter,
                                                const std::string&) {
      EXPECT_EQ(title, "外部数据文件...");
      EXPECT_EQ(
          filter,
          "Sarnoth离散数据(*.DAT)|*.dat|数据库(.DBF)|*.dbf|EXCEL(*.XLS)|*.xls|所有文件 (*.*)|*.*|");
      return area("temp/pts.dbf");
    });
    child<QPushButton>(&f, "btnFileIn")->click();
    setOpenDialogHandler(previous);
    EXPECT_TRUE(db().tableExists("TempOutDBFileIn"));
    EXPECT_EQ(child<QComboBox>(&f, "cboXXCrd")->currentText(), "X");
    EXPECT_EQ(child<QComboBox>(&f, "cboYYCrd")->currentText(), "Y");
    child<QListWidget>(&f, "lstVars")->item(2)->setSelected(true);
    child<QLineEdit>(&f, "txtCutFile")->setText(QString::fromStdString(area("cut.gph")));
    child<QLineEdit>(&f, "txtTblName")->setText("fromdbf");
    ScriptedMessages boxes;
    child<QPushButton>(&f, "btnApply")->click();
    EXPECT_TRUE(boxes.texts.empty());
    EXPECT_EQ(db().rowCount("fromdbf"), 2);
    f.reject();
  }
  EXPECT_FALSE(db().tableExists("TempOutDBFileIn"));
}

TEST_F(ClipMergeWindows, ClipWindowReplacesTheChosenGridWithSaveCleared) {
  writeGridFile(area("Grid_dat/a.grd"), "#SRNTHGRIDB#", 10, 10, 0, 0, 1, 1);
  writeGridFile(area("Grid_dat/b.grd"), "#SRNTHGRIDB#", 10, 10, 0, 0, 1, 1);
  const std::string before = readFile(area("Grid_dat/b.grd"));
  frmBaseDataCutDown f;
  ASSERT_TRUE(f.load());
  child<QRadioButton>(&f, "optDataType_1")->setChecked(true);
  pick(child<QListWidget>(&f, "flstGrd"), "b.grd");
  child<QLineEdit>(&f, "txtCutFile")->setText(QString::fromStdString(area("cut.gph")));
  child<QCheckBox>(&f, "chkSave")->setChecked(false);
  ScriptedMessages boxes;
  child<QPushButton>(&f, "btnApply")->click();
  EXPECT_TRUE(boxes.texts.empty());
  GridReadResult r = readGrid(area("Grid_dat/b.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(readFile(area("Grid_dat/b.grd")).substr(0, 100), before.substr(0, 100));
  EXPECT_EQ(r.grid.at(3, 3), 33.0f);
  EXPECT_EQ(r.grid.at(0, 0), -1e38f);
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/DataCutTbl.grd")));
  EXPECT_EQ(readGrid(area("Grid_dat/a.grd")).grid.at(0, 0), 0.0f);
  // A polygon file of another kind is refused with the grid path's spelling.
  writeFile(area("bad.gph"), "#SRNTHSCATA#\n#ENDDATA#\n");
  child<QLineEdit>(&f, "txtCutFile")->setText(QString::fromStdString(area("bad.gph")));
  child<QPushButton>(&f, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "非Sarnoth 坐标数据文件,请检查.");
}

TEST_F(ClipMergeWindows, MergeWindowKeepsTheSidesApartAndMergesByPosition) {
  frmTableJoin f;
  ASSERT_TRUE(f.load());
  EXPECT_EQ(f.windowTitle(), u8("数据表合并"));
  EXPECT_TRUE(child<QRadioButton>(&f, "optRight")->isChecked());
  EXPECT_EQ(child<QLineEdit>(&f, "txtNewTbl")->text(), "JoinTbl");
  auto* t1 = child<QComboBox>(&f, "cboTables_0");
  auto* t2 = child<QComboBox>(&f, "cboTables_1");
  ScriptedMessages boxes;
  t1->setCurrentText(u8("两项"));
  t2->setCurrentText(u8("两项"));
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "同表不能合并操作，请重选。");
  EXPECT_EQ(t2->currentIndex(), -1);
  t2->setCurrentText(u8("分析"));
  child<QCheckBox>(&f, "chkIndex")->setChecked(true);
  EXPECT_EQ(boxes.texts.back(), "无索引项，不能按索引方式搜索合并。");
  EXPECT_FALSE(child<QCheckBox>(&f, "chkIndex")->isChecked());
  t1->setCurrentText(u8("点"));
  // 样号 (TEXT(8)) and Au (SINGLE) stand in both tables under one name and type.
  EXPECT_EQ(child<QComboBox>(&f, "cboIndex")->count(), 2);
  auto* items1 = child<QListWidget>(&f, "lstItems_0");
  auto* items2 = child<QListWidget>(&f, "lstItems_1");
  pick(items1, "Au");
  pick(items2, "Au");
  EXPECT_FALSE(items2->findItems("Au", Qt::MatchExactly)[0]->isSelected());
  EXPECT_EQ(boxes.texts.back(), "所选数据项已在另一表中被选，请重选");
  items1->item(0)->setSelected(true);
  pick(items2, "Zn");
  child<QLineEdit>(&f, "txtNewTbl")->setText(u8("并"));
  child<QPushButton>(&f, "btnJoin")->click();
  // Table 2 is shorter: the new table keeps its two rows and the error is shown.
  EXPECT_EQ(boxes.texts.back(), "数据合并错. No current record.");
  EXPECT_EQ(db().rowCount("并"), 2);
  child<QCheckBox>(&f, "chkAddIn")->setChecked(true);
  child<QPushButton>(&f, "btnJoin")->click();
  EXPECT_EQ(boxes.texts.back(), "合并成功");
  EXPECT_EQ(valueToDouble(db().scalar("Select [Zn] From [点] Where [样号]='s1'")), 10.0);

  // The table viewer gets the work database and the master.
  ModalScript viewer({[](QWidget* dlg) {
    EXPECT_EQ(dlg->objectName(), "frmGridView");
    dlg->close();
  }});
  child<QPushButton>(&f, "btnView")->click();
  EXPECT_EQ(viewer.done(), 1u);
  EXPECT_EQ(gViewSource, "点");
  EXPECT_NE(gViewConnect.find("Data Source="), std::string::npos);

  // The down merge shows the table list and drops the index search.
  child<QRadioButton>(&f, "optBottun")->setChecked(true);
  EXPECT_TRUE(t2->isHidden());
  EXPECT_FALSE(child<QListWidget>(&f, "lstTable2")->isHidden());
  EXPECT_FALSE(child<QCheckBox>(&f, "chkIndex")->isEnabled());
  pick(child<QListWidget>(&f, "lstTable2"), "点");
  EXPECT_EQ(boxes.texts.back(), "同表不能合并操作，请重选。");
}

TEST_F(ClipMergeWindows, SpecialMergeWindowJoinsOnKeys) {
  frmTableJoinS f;
  ASSERT_TRUE(f.load());
  EXPECT_EQ(f.windowTitle(), u8("数据表专项合并"));
  child<QComboBox>(&f, "cboTables_0")->setCurrentText(u8("点"));
  child<QComboBox>(&f, "cboTables_1")->setCurrentText(u8("分析"));
  auto* keys = child<QListWidget>(&f, "lstKeys");
  ASSERT_EQ(keys->count(), 2);  // Au and 样号, in table 1's order; the first is proposed
  EXPECT_TRUE(keys->item(0)->isSelected());
  keys->item(0)->setSelected(false);
  ASSERT_EQ(keys->item(1)->text(), u8("样号"));
  keys->item(1)->setSelected(true);
  child<QCheckBox>(&f, "chkSel_0")->setChecked(true);
  child<QCheckBox>(&f, "chkSel_1")->setChecked(true);
  ScriptedMessages boxes;
  child<QPushButton>(&f, "btnJoin")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "合并成功");
  EXPECT_EQ(db().rowCount("JoinTblS"), 100);
  EXPECT_EQ(valueToDouble(db().scalar("Select [Zn] From [JoinTblS] Where [样号]='s0'")), 10.0);
  EXPECT_NE(findListItem("JoinTblS", registered()), -1);
  child<QPushButton>(&f, "btnJoin")->click();
  EXPECT_EQ(boxes.texts.back(), "新数据表名已存在, 请另输一个表名.");
}

TEST_F(ClipMergeWindows, GridSmoothingAndOverlayWindowsWriteTheirGrids) {
  writeGridFile(area("Grid_dat/a.grd"), "#SRNTHGRIDB#", 6, 5, 0, 0, 1, 1);
  writeGridFile(area("Grid_dat/b.grd"), "#SRNTHGRIDB#", 6, 5, 0, 0, 1, 1);
  {
    frmGridSmoth f(nullptr, 200);
    ASSERT_TRUE(f.load());
    EXPECT_EQ(child<QComboBox>(&f, "cboMethod")->count(), 5);
    pick(child<QListWidget>(&f, "lstGrids"), "a.grd");
    EXPECT_FALSE(child<QLabel>(&f, "lblGridInfo")->text().isEmpty());
    child<QComboBox>(&f, "cboMethod")->setCurrentIndex(1);  // weighted 3×3
    EXPECT_FALSE(child<QLineEdit>(&f, "txtWindow")->isEnabled());
    ScriptedMessages boxes;
    child<QPushButton>(&f, "btnApply")->click();
    EXPECT_TRUE(boxes.texts.empty());
    EXPECT_EQ(readFile(area("Grid_dat/SmoothGrid.grd")).substr(0, 22), "#DMX10GRIDB#GridToGrid");
    child<QLineEdit>(&f, "txtPasses")->setText("0");
    child<QPushButton>(&f, "btnApply")->click();
    EXPECT_EQ(boxes.texts.back(), "圆滑次数必须是1到100之间的整数.");
  }
  frmGridSmoth f(nullptr, 100);
  ASSERT_TRUE(f.load());
  EXPECT_EQ(child<QComboBox>(&f, "cboMethod")->count(), 7);
  auto* grids = child<QListWidget>(&f, "lstGrids");
  ScriptedMessages boxes;
  pick(grids, "a.grd");
  child<QPushButton>(&f, "btnApply")->click();
  EXPECT_EQ(boxes.texts.back(), "叠置处理至少需要两个网格数据文件.");
  pick(grids, "b.grd");
  child<QPushButton>(&f, "btnApply")->click();
  GridReadResult r = readGrid(area("Grid_dat/OverlayGrid.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.at(1, 2), 16.0f);  // 8 + 8
  EXPECT_EQ(grids->count(), 4);       // the result joins the list
}

}  // namespace
}  // namespace sarnoth::gui
