// The seven data tool windows headless: each through a success and a refusal, controls found by
// their system names, boxes answered by a script.
#include <gdal.h>
#include <ogr_api.h>

#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/data_tools.h"
#include "datatools/forms/frmClearTableM.h"
#include "datatools/forms/frmFormatConvert.h"
#include "datatools/forms/frmGridDataIn.h"
#include "datatools/forms/frmGridToTbl.h"
#include "datatools/forms/frmOutTblToWorkBase.h"
#include "datatools/forms/frmSQLProcess.h"
#include "datatools/forms/frmSaveDataTo.h"
#include "gui_support.h"
#include "workarea/grid_file.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"
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

class DataWindowTest : public SessionFixture {
 protected:
  Database db() { return openWorkDatabase(gWorkPath); }
  // A registered table 样品 of three rows, one Au null.
  void makeSampleTable() {
    Database d = db();
    d.execute("Create Table [样品] ([点号] TEXT(8), [X] DOUBLE, [Y] DOUBLE, [Au] SINGLE)");
    d.execute(
        "Insert Into [样品] Values ('P1', 100, 200, 1.5), ('P2', 110, 210, -1E+38), "
        "('P3', 120, 220, 2.25)");
    ScriptedInteraction q;
    registerTable(d, "样品", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "?", "", false}, q);
  }
  std::string registryOrigin(const std::string& table) {
    Database d = db();
    Recordset rs = Recordset::openTable(d, kRegistryTable);
    return rs.findFirst("[查询表名] = ?", {table}) ? rs.getText("查询库名") : "(none)";
  }
};

TEST_F(DataWindowTest, EveryWindowIsRegisteredUnderItsSystemName) {
  for (const char* name : {"frmOutTblToWorkBase", "frmSaveDataTo", "frmGridDataIn",
                           "frmFormatConvert", "frmGridToTbl", "frmSQLProcess", "frmClearTableM"})
    EXPECT_TRUE(toolWindowAvailable(name)) << name;
  QWidget* w = createToolWindow("frmFormatConvert", nullptr, 200);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->objectName(), "frmFormatConvert");
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("数据格式转换"));
  delete w;
  w = createToolWindow("frmGridDataIn", nullptr, 100);
  EXPECT_EQ(w->windowTitle(), QString::fromUtf8("图像数据导入工作区"));
  delete w;
}

// ---- table import -----------------------------------------------------------------------------

TEST_F(DataWindowTest, ImportWindowBringsAGbkCsvInWithTheTypesAsSet) {
  // Twelve samples; one Au cell empty and one a remark, which leave Au a number column.
  std::string csv = "样号,东坐标,北坐标,Au,岩性\r\n";
  for (int i = 1; i <= 12; ++i)
    csv += "S" + std::to_string(i) + ",5001" + std::to_string(10 + i) + ".25,3200000.5," +
           (i == 2   ? ""
            : i == 3 ? "<0.5"
                     : "1.5") +
           ",花岗岩\r\n";
  writeFile(area("campaign.csv"), utf8ToGbk(csv));
  frmOutTblToWorkBase w;
  ASSERT_TRUE(w.load());
  EXPECT_EQ(w.windowTitle(), QString::fromUtf8("外部表格数据导入工作区"));
  w.setFileName(QString::fromStdString(area("campaign.csv")));
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnPreview")->click();
  ASSERT_TRUE(boxes.texts.empty()) << boxes.texts[0];
  QTableWidget* fields = child<QTableWidget>(&w, "grdFields");
  ASSERT_EQ(fields->rowCount(), 5);
  EXPECT_EQ(fields->item(3, 1)->text(), "Au");
  EXPECT_EQ(w.typeCombo(3)->currentText(), "SINGLE");
  EXPECT_EQ(w.typeCombo(1)->currentText(), "DOUBLE");
  EXPECT_EQ(child<QTableWidget>(&w, "grdPreview")->rowCount(), 12);
  EXPECT_EQ(child<QLineEdit>(&w, "txtNewTbl")->text(), "campaign");
  // The geologist keeps Au as DOUBLE and leaves the rock names out.
  w.typeCombo(3)->setEditText("DOUBLE");
  fields->item(4, 0)->setCheckState(Qt::Unchecked);
  child<QLineEdit>(&w, "txtNewTbl")->setText(QString::fromUtf8("野外样品"));
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.titles[0], "Sarnoth 提示");
  EXPECT_EQ(boxes.texts[0], "已导入 12 条记录, 其中 2 个空值或非数值写为 -1E+38.");
  Database d = db();
  auto defs = d.fields("野外样品");
  ASSERT_EQ(defs.size(), 4u);
  EXPECT_EQ(defs[3].declared(), "DOUBLE");
  EXPECT_EQ(registryOrigin("野外样品"), "OutDataIn");
}

TEST_F(DataWindowTest, ImportWindowRefusesRaggedFilesAndKeepsATableOnNo) {
  writeFile(area("ragged.csv"), "a,b\n1,2\n3,4,5\n");
  frmOutTblToWorkBase w;
  ASSERT_TRUE(w.load());
  w.setFileName(QString::fromStdString(area("ragged.csv")));
  {
    ScriptedMessages boxes;
    child<QPushButton>(&w, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_NE(boxes.texts[0].find("数据格式不正确"), std::string::npos) << boxes.texts[0];
  }
  EXPECT_FALSE(db().tableExists("ragged"));

  makeSampleTable();
  writeFile(area("good.csv"), "a,b\n1,2\n");
  w.setFileName(QString::fromStdString(area("good.csv")));
  child<QLineEdit>(&w, "txtNewTbl")->setText(QString::fromUtf8("样品"));
  ScriptedMessages boxes({Answer::No});
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);  // the question only: No stops quietly
  EXPECT_EQ(boxes.texts[0], "检索结果表名已存在,是否覆盖?");
  EXPECT_EQ(db().rowCount("样品"), 3);
}

TEST_F(DataWindowTest, ImportWindowOffersTheSheetsOfAWorkbookThroughTheTablePicker) {
  GDALAllRegister();
  const std::string xlsx = area("survey.xlsx");
  GDALDatasetH ds =
      GDALCreate(GDALGetDriverByName("XLSX"), xlsx.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
  ASSERT_NE(ds, nullptr);
  for (const char* sheet : {"一月", "二月"}) {
    OGRLayerH l = GDALDatasetCreateLayer(ds, sheet, nullptr, wkbNone, nullptr);
    for (const char* f : {"X", "Au"}) {
      OGRFieldDefnH def = OGR_Fld_Create(f, OFTReal);
      OGR_L_CreateField(l, def, 1);
      OGR_Fld_Destroy(def);
    }
    const int rows = std::string(sheet) == "一月" ? 2 : 4;
    for (int r = 0; r < rows; ++r) {
      OGRFeatureH ft = OGR_F_Create(OGR_L_GetLayerDefn(l));
      OGR_F_SetFieldDouble(ft, 0, 100.0 + r);
      OGR_F_SetFieldDouble(ft, 1, 0.5 * r);
      EXPECT_EQ(OGR_L_CreateFeature(l, ft), OGRERR_NONE);
      OGR_F_Destroy(ft);
    }
  }
  GDALClose(ds);

  frmOutTblToWorkBase w;
  ASSERT_TRUE(w.load());
  w.setFileName(QString::fromStdString(xlsx));
  QStringList offered;
  ModalScript picker({[&](QWidget* dlg) {
    EXPECT_EQ(dlg->objectName(), "frmSelectTbl");
    auto* list = dlg->findChild<QListWidget*>("lstTbls");
    for (int i = 0; i < list->count(); ++i) offered << list->item(i)->text();
    list->setCurrentRow(1);
    dlg->findChild<QPushButton*>("btnSure")->click();
  }});
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  EXPECT_EQ(offered.join(","), QString::fromUtf8("一月,二月"));
  EXPECT_EQ(child<QLineEdit>(&w, "txtLayer")->text(), QString::fromUtf8("二月"));
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(db().rowCount("二月"), 4);
}

// ---- table export -----------------------------------------------------------------------------

TEST_F(DataWindowTest, ExportWindowWritesTextAndScatterFiles) {
  {
    ScriptedMessages boxes;
    frmSaveDataTo empty;
    EXPECT_FALSE(empty.load());
    EXPECT_EQ(boxes.texts, std::vector<std::string>{kNoTablesToSave});
  }
  makeSampleTable();
  frmSaveDataTo w;
  ASSERT_TRUE(w.load());
  EXPECT_EQ(child<QComboBox>(&w, "cboTables")->currentText(), QString::fromUtf8("样品"));
  child<QRadioButton>(&w, "optNullEmpty")->setChecked(true);
  child<QComboBox>(&w, "cboEncoding")->setCurrentIndex(1);  // UTF-8
  child<QLineEdit>(&w, "txtFileName")->setText(QString::fromStdString(area("out.csv")));
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find("3 条记录"), std::string::npos) << boxes.texts[0];
  EXPECT_EQ(readFile(area("out.csv")),
            "点号,X,Y,Au\r\nP1,100,200,1.5\r\nP2,110,210,\r\nP3,120,220,2.25\r\n");

  // The scatter form through the save dialog; with empty nulls chosen, the point that holds one
  // stays out of the scatter file, and the message says so.
  child<QComboBox>(&w, "cboFormat")->setCurrentIndex(static_cast<int>(SaveFormat::ScatterBinary));
  EXPECT_EQ(child<QLineEdit>(&w, "txtFileName")->text(), QString::fromStdString(area("out.dat")));
  ScriptedSaveDialogs dialogs({area("pts.dat")});
  child<QPushButton>(&w, "btnBrowse")->click();
  child<QPushButton>(&w, "btnApply")->click();
  ScatterReadResult r = readBinaryScatter(area("pts.dat"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.file.origin.substr(0, 10), "B_FromBase");
  EXPECT_EQ(r.file.recordCount, 2);
  EXPECT_NE(boxes.texts.back().find("有 1 个含空值的点未写出."), std::string::npos)
      << boxes.texts.back();
}

TEST_F(DataWindowTest, ExportWindowRefusesAMissingFileName) {
  makeSampleTable();
  frmSaveDataTo w;
  ASSERT_TRUE(w.load());
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"请给定保存数据文件名。"});
  child<QLineEdit>(&w, "txtFileName")->setText(QString::fromStdString(area("no/such/dir/x.csv")));
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1], "打开输出文件错误。");
}

// ---- grid import ------------------------------------------------------------------------------

TEST_F(DataWindowTest, GridImportWindowBringsAnAsciiGridInAndAsksBeforeReplacing) {
  writeFile(area("field.grd"),
            "#SRNTHGRIDA#\nC-Data\n10,20\n0\n2,2\n5,5\n-99999\n1,4\n1,2\n3,-99999\n#ENDDATA#\n");
  frmGridDataIn w;
  w.setMode(0);
  w.setFileName(QString::fromStdString(area("field.grd")));
  EXPECT_FALSE(child<QPlainTextEdit>(&w, "txtInfo")->toPlainText().isEmpty());
  EXPECT_EQ(child<QLineEdit>(&w, "txtNewName")->text(), "field");
  {
    ScriptedMessages boxes;
    child<QPushButton>(&w, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_NE(boxes.texts[0].find("网格数据已导入工作区"), std::string::npos);
  }
  GridReadResult r = readGrid(area("Grid_dat/field.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.method.substr(0, 13), "ASCIITOBINARY");
  EXPECT_EQ(r.grid.header.validCount, 3);

  // The same name again: No leaves the grid there as it was.
  writeFile(area("field.grd"),
            "#SRNTHGRIDA#\nC-Data\n0,0\n0\n1,1\n1,1\n-99999\n7,7\n7\n#ENDDATA#\n");
  {
    ScriptedMessages boxes({Answer::No});
    child<QPushButton>(&w, "btnApply")->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"网格数据文件已存在,是否覆盖?"});
  }
  EXPECT_EQ(readGrid(area("Grid_dat/field.grd")).grid.header.nx, 2);

  // The exchange file of this window carries "#VLQ30GRIDA#".
  ScriptedSaveDialogs dialogs({area("export.grd")});
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnExport")->click();
  EXPECT_EQ(readFile(area("export.grd")).substr(0, 12), "#VLQ30GRIDA#");
}

TEST_F(DataWindowTest, GridImportWindowRefusesGarbageAndImportsImages) {
  writeFile(area("junk.grd"), std::string("\x01\x02garbage\xff", 11));
  frmGridDataIn w;
  w.setMode(0);
  w.setFileName(QString::fromStdString(area("junk.grd")));
  {
    ScriptedMessages boxes;
    child<QPushButton>(&w, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
    EXPECT_EQ(boxes.texts[0].rfind("输入文件格式不正确错误。", 0), 0u) << boxes.texts[0];
  }
  EXPECT_FALSE(pathExists(area("Grid_dat/junk.grd")));

  QImage img(8, 6, QImage::Format_RGB32);
  img.fill(Qt::darkGreen);
  ASSERT_TRUE(img.save(QString::fromStdString(area("map.png"))));
  frmGridDataIn images;
  images.setMode(100);
  EXPECT_FALSE(child<QLineEdit>(&images, "txtNewName")->isVisibleTo(&images));
  images.setFileName(QString::fromStdString(area("map.png")));
  ScriptedMessages boxes;
  child<QPushButton>(&images, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_TRUE(pathExists(area("Imag_Dat/map.png")));
}

// An ArcView file: "xllcorner" is the first node unless chkCellCorner asks for the GIS reading,
// the outer corner of the lower-left cell (the node half a cell inside).
TEST_F(DataWindowTest, GridImportWindowReadsXllcornerAsTheNodeUnlessTheCornerIsChecked) {
  writeFile(area("dem.asc"),
            "ncols 3\nnrows 2\nxllcorner 1000\nyllcorner 2000\ncellsize 10\nNODATA_value -9999\n"
            "1 2 3\n4 5 -9999\n");
  frmGridDataIn w;
  w.setMode(0);
  w.setFileName(QString::fromStdString(area("dem.asc")));
  EXPECT_FALSE(child<QCheckBox>(&w, "chkCellCorner")->isChecked());
  {
    ScriptedMessages boxes;
    child<QPushButton>(&w, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
  }
  GridReadResult r = readGrid(area("Grid_dat/dem.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.x0, 1000);
  EXPECT_EQ(r.grid.header.y0, 2000);
  EXPECT_EQ(r.grid.header.validCount, 5);

  child<QCheckBox>(&w, "chkCellCorner")->setChecked(true);
  child<QLineEdit>(&w, "txtNewName")->setText("dem_gis");
  {
    ScriptedMessages boxes;
    child<QPushButton>(&w, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
  }
  r = readGrid(area("Grid_dat/dem_gis.grd"));
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(r.grid.header.x0, 1005);
  EXPECT_EQ(r.grid.header.y0, 2005);
}

// ---- format conversion ------------------------------------------------------------------------

TEST_F(DataWindowTest, FormatConvertWindowConvertsGridsAndImagesWithoutAsking) {
  writeFile(area("a.grd"), "#SRNTHGRIDA#\nC-Data\n0,0\n0\n2,1\n1,1\n-1E+38\n1,2\n1,2\n#ENDDATA#\n");
  frmFormatConvert w;
  w.setMode(200);
  w.setSourceFile(QString::fromStdString(area("a.grd")));
  EXPECT_EQ(child<QLabel>(&w, "lblKind")->text(), QString::fromUtf8("网格数据"));
  QComboBox* format = child<QComboBox>(&w, "cboFormat");
  EXPECT_EQ(format->itemText(0), QString::fromUtf8("网格数据(二进制)"));
  EXPECT_EQ(child<QLineEdit>(&w, "txtTarget")->text(), QString::fromStdString(area("a_new.grd")));
  writeFile(area("a_new.grd"), "old");
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);  // no question about the old target
  EXPECT_EQ(boxes.texts[0].rfind("转换完成", 0), 0u);
  EXPECT_EQ(readGrid(area("a_new.grd")).grid.header.method.substr(0, 12), "GEOMTOSRNPTH");

  QImage img(8, 6, QImage::Format_RGB32);
  img.fill(Qt::red);
  ASSERT_TRUE(img.save(QString::fromStdString(area("pic.png"))));
  frmFormatConvert images;
  images.setMode(100);
  images.setSourceFile(QString::fromStdString(area("pic.png")));
  child<QComboBox>(&images, "cboFormat")->setCurrentIndex(4);  // GIF
  child<QPushButton>(&images, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 2u);
  GDALAllRegister();
  GDALDatasetH gif = GDALOpen(area("pic_new.gif").c_str(), GA_ReadOnly);
  ASSERT_NE(gif, nullptr);
  EXPECT_STREQ(GDALGetDriverShortName(GDALGetDatasetDriver(gif)), "GIF");
  EXPECT_EQ(GDALGetRasterXSize(gif), 8);
  GDALColorTableH ct = GDALGetRasterColorTable(GDALGetRasterBand(gif, 1));
  ASSERT_NE(ct, nullptr);
  std::uint8_t index = 0;
  EXPECT_EQ(
      GDALRasterIO(GDALGetRasterBand(gif, 1), GF_Read, 3, 3, 1, 1, &index, 1, 1, GDT_Byte, 0, 0),
      CE_None);
  const GDALColorEntry* red = GDALGetColorEntry(ct, index);
  EXPECT_GT(red->c1, 240);
  EXPECT_LT(red->c2 + red->c3, 16);
  GDALClose(gif);
}

TEST_F(DataWindowTest, FormatConvertWindowRefusesFilesOfNoKnownKind) {
  writeFile(area("notes.bin"), std::string("\x00\x01\x02 not data", 12));
  frmFormatConvert w;
  w.setMode(200);
  w.setSourceFile(QString::fromStdString(area("notes.bin")));
  EXPECT_EQ(child<QComboBox>(&w, "cboFormat")->count(), 0);
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"输入文件格式不正确错误。"});
  EXPECT_FALSE(pathExists(area("notes_new.grd")));
}

// ---- grid to table ----------------------------------------------------------------------------

TEST_F(DataWindowTest, GridToTableWindowWritesTheNodesAndRefusesOtherFiles) {
  writeGridFile(area("Grid_dat/au.grd"), "#SRNTHGRIDB#", 3, 2, 100, 200, 10, 10);
  writeFile(area("Grid_dat/bad.grd"), "#SRNTHGRIDA#\nC-Data\n");
  frmGridToTbl w;
  ASSERT_TRUE(w.load());
  QComboBox* grids = child<QComboBox>(&w, "cboGrid");
  EXPECT_EQ(grids->currentText(), "au.grd");
  EXPECT_EQ(child<QLineEdit>(&w, "txtValueField")->text(), "au");
  EXPECT_EQ(child<QLineEdit>(&w, "txtNewTbl")->text(), "au");
  {
    ScriptedMessages boxes;
    child<QPushButton>(&w, "btnApply")->click();
    ASSERT_EQ(boxes.texts.size(), 1u);
  }
  EXPECT_EQ(db().rowCount("au"), 6);
  EXPECT_EQ(registryOrigin("au"), "GridDataIn");
  {
    ScriptedMessages boxes({Answer::No});
    child<QPushButton>(&w, "btnApply")->click();
    EXPECT_EQ(boxes.texts, std::vector<std::string>{"新数据表名已存在,是否覆盖?"});
  }
  grids->setCurrentText("bad.grd");
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"非Sarnoth 2000网格数据."});
  EXPECT_FALSE(db().tableExists("bad"));
}

// ---- SQL --------------------------------------------------------------------------------------

TEST_F(DataWindowTest, SqlWindowClosesOnAnEmptyRegistry) {
  ScriptedMessages boxes;
  EXPECT_EQ(createToolWindow("frmSQLProcess", nullptr, 0), nullptr);
  EXPECT_EQ(boxes.texts, std::vector<std::string>{"工作区中无检索或查询数据."});
  EXPECT_EQ(boxes.titles[0], "Sarnoth 提示");
}

TEST_F(DataWindowTest, SqlWindowRunsShowsAndSavesAQuery) {
  makeSampleTable();
  frmSQLProcess w;
  ASSERT_TRUE(w.load());
  QListWidget* fields = child<QListWidget>(&w, "lstFields");
  ASSERT_EQ(fields->count(), 4);
  EXPECT_EQ(fields->item(3)->text(), "Au  SINGLE");
  auto* sql = child<QPlainTextEdit>(&w, "txtSQL");
  sql->setPlainText("Select [点号], [Au] From [样品] Where ");
  sql->moveCursor(QTextCursor::End);
  emit fields->itemDoubleClicked(fields->item(3));
  sql->insertPlainText(" > 1 Order By [Au] Desc");
  EXPECT_EQ(sql->toPlainText(),
            "Select [点号], [Au] From [样品] Where [Au] > 1 Order By [Au] Desc");
  ScriptedMessages boxes;
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_TRUE(boxes.texts.empty()) << boxes.texts[0];
  QTableWidget* grid = child<QTableWidget>(&w, "grdResult");
  ASSERT_EQ(grid->rowCount(), 2);
  EXPECT_EQ(grid->item(0, 1)->text(), "2.25");
  child<QLineEdit>(&w, "txtNewTbl")->setText(QString::fromUtf8("高值"));
  child<QPushButton>(&w, "btnSave")->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(db().rowCount("高值"), 2);
  EXPECT_EQ(registryOrigin("高值"), "数据表变换");
  EXPECT_EQ(child<QListWidget>(&w, "lstTbls")->count(), 2);

  // The same name is refused once, and a bad statement shows the engine's words.
  child<QPushButton>(&w, "btnSave")->click();
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1], "数据表已存在, 请输入新名称.");
  sql->setPlainText("Selec nonsense");
  child<QPushButton>(&w, "btnApply")->click();
  ASSERT_EQ(boxes.texts.size(), 3u);
  EXPECT_EQ(grid->rowCount(), 0);
}

// ---- clean-up ---------------------------------------------------------------------------------

TEST_F(DataWindowTest, CleanUpWindowRegistersRemovesAndCompacts) {
  makeSampleTable();
  {
    Database d = db();
    d.execute("Create Table [散表] ([a] LONG)");
    d.execute("Create Table [旧表] ([a] LONG)");
  }
  frmClearTableM w;
  ASSERT_TRUE(w.load());
  QListWidget* unreg = child<QListWidget>(&w, "lstUnreg");
  ASSERT_EQ(unreg->count(), 2);
  unreg->item(0)->setSelected(true);
  ScriptedMessages boxes({Answer::No, Answer::Yes});
  child<QPushButton>(&w, "btnRegister")->click();
  EXPECT_EQ(unreg->count(), 1);
  EXPECT_EQ(w.registeredNames().size(), 2u);
  EXPECT_EQ(registryOrigin("散表"), "WorkClean");

  // Removal asks first: No keeps the table, Yes removes it with its row.
  QListWidget* reg = child<QListWidget>(&w, "lstTbls");
  reg->item(0)->setSelected(true);
  child<QPushButton>(&w, "btnApply")->click();
  EXPECT_TRUE(db().tableExists("样品"));
  reg->item(0)->setSelected(true);
  child<QPushButton>(&w, "btnApply")->click();
  EXPECT_FALSE(db().tableExists("样品"));
  EXPECT_EQ(registryOrigin("样品"), "(none)");
  EXPECT_EQ(boxes.texts,
            (std::vector<std::string>{"确实要删除所选数据表吗?", "确实要删除所选数据表吗?",
                                      "所选数据表已删除。"}));
  child<QPushButton>(&w, "btnCompact")->click();
  EXPECT_EQ(boxes.texts.back(), "数据库已压缩成功。");
  EXPECT_EQ(w.registeredNames(), std::vector<std::string>{"散表"});

  // Nothing selected is refused.
  child<QPushButton>(&w, "btnRegister")->click();
  EXPECT_EQ(boxes.texts.back(), "请选择数据表.");
}

}  // namespace
}  // namespace sarnoth::gui
