// Outside tables into the work area and back out: text, spreadsheets, dBASE, Jet.
#include <cpl_conv.h>
#include <gdal.h>
#include <gtest/gtest.h>
#include <ogr_api.h>

#include "test_support.h"
#include "workarea/null_value.h"
#include "datatools/table_import.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class ImportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.file("wa")).ok);
    db = openWorkDatabase(tmp.file("wa") + "/");
  }
  // Opens, previews and imports a file with the guessed columns.
  Outcome run(const std::string& file, const std::string& name, Interaction& ui,
              ImportReport* rep = nullptr, DelimitedOptions opt = {},
              const std::string& layer = "") {
    std::string error;
    auto src = openSource(file, layer, opt, error);
    if (!src) return Outcome::failure(error);
    ImportPreview p;
    Outcome o = previewSource(*src, p);
    if (!o) return o;
    preview = p;
    return importTable(db, *src, p.columns, name, ui, noProgress(), rep);
  }
  std::size_t registered() {
    std::vector<std::string> l;
    return static_cast<std::size_t>(listRegisteredTables(db, l));
  }
  test::TempDir tmp;
  Database db;
  ImportPreview preview;
  ScriptedInteraction none;
};

TEST_F(ImportTest, GbkCsvWithTypesNullsAndQuotes) {
  std::string text =
      "样号,横坐标,纵坐标,地层,Au,Cu,备注\r\n"
      "S1,500206.56,3350221.5,寒武系,2.33,n.d.,\"a,b\"\r\n"
      "S2,500465.16,3350221.75,奥陶系,,60.07,\"say \"\"hi\"\"\"\r\n";
  for (int i = 3; i <= 12; ++i)
    text += "S" + std::to_string(i) + ",500901.5,3350228.5,奥陶系,1.5,31.82,\r\n";
  test::writeFile(tmp.file("a.csv"), utf8ToGbk(text + "\r\n"));
  ImportReport rep;
  Outcome o = run(tmp.file("a.csv"), "化探", none, &rep);
  ASSERT_TRUE(o.ok) << o.message;
  EXPECT_EQ(rep.rows, 12);
  EXPECT_EQ(rep.nullsWritten, 2);  // the empty Au and "n.d."
  auto f = db.fields("化探");
  ASSERT_EQ(f.size(), 7u);
  EXPECT_EQ(f[1].type, JetType::Double) << "eight digits do not fit a float";
  EXPECT_EQ(f[3].type, JetType::Text);
  EXPECT_EQ(f[4].type, JetType::Single);
  EXPECT_EQ(f[5].type, JetType::Single) << "one remark in a number column";
  EXPECT_EQ(valueToDouble(db.scalar("Select [横坐标] From [化探] Where [样号]='S2'")), 500465.16);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [化探] Where [Au] = -1E+38")), 1);
  EXPECT_EQ(valueToText(db.scalar("Select [备注] From [化探] Where [样号]='S2'")), "say \"hi\"");
  EXPECT_EQ(valueToText(db.scalar("Select [查询库名] From [TableInfo] Where [查询表名]='化探'")),
            "OutDataIn");

  // Out again: the same values, nulls kept or emptied as chosen.
  ExportOptions opt;
  opt.crlf = false;
  ASSERT_TRUE(exportTable(db, "化探", tmp.file("b.csv"), opt, noProgress()).ok);
  std::string back = gbkToUtf8(test::readFile(tmp.file("b.csv")));
  EXPECT_NE(back.find("S1,500206.56,3350221.5,寒武系,2.33,-1E+38,\"a,b\"\n"), std::string::npos)
      << back;
  opt.nullsEmpty = true;
  ASSERT_TRUE(exportTable(db, "化探", tmp.file("c.csv"), opt, noProgress()).ok);
  EXPECT_NE(
      gbkToUtf8(test::readFile(tmp.file("c.csv"))).find("S2,500465.16,3350221.75,奥陶系,,60.07"),
      std::string::npos);
}

TEST_F(ImportTest, OtherDelimitersDecimalCommaAndNoHeader) {
  test::writeFile(tmp.file("s.txt"), "x;y;v\n1,5;2;3,25\n4;5;6\n");
  DelimitedOptions semi;
  semi.delimiter = ';';
  semi.decimal = ',';
  ASSERT_TRUE(run(tmp.file("s.txt"), "semi", none, nullptr, semi).ok);
  EXPECT_EQ(valueToDouble(db.scalar("Select Sum([v]) From [semi]")), 9.25);
  test::writeFile(tmp.file("b.dat"), "  1   2.5  a\n\t3 4.5 b\n");
  DelimitedOptions blank;
  blank.delimiter = ' ';
  blank.headerRow = false;
  ASSERT_TRUE(run(tmp.file("b.dat"), "blank", none, nullptr, blank).ok);
  EXPECT_EQ(preview.columns.size(), 3u);
  EXPECT_EQ(preview.columns[0].name, "F1");
  EXPECT_EQ(valueToDouble(db.scalar("Select Sum([F2]) From [blank]")), 7.0);
}

TEST_F(ImportTest, BadFilesLeaveTheWorkAreaAsItWas) {
  test::writeFile(tmp.file("ragged.csv"), "a,b\n1,2\n3,4,5\n");
  test::writeFile(tmp.file("bin.csv"), std::string("a,b\n\0\x01\x02", 7));
  test::writeFile(tmp.file("empty.csv"), "");
  test::writeFile(tmp.file("head.csv"), "a,b\n");
  test::writeFile(tmp.file("junk.xlsx"), "not a zip at all");
  for (const char* f :
       {"ragged.csv", "bin.csv", "empty.csv", "head.csv", "junk.xlsx", "none.csv"}) {
    Outcome o = run(tmp.file(f), "t", none);
    EXPECT_FALSE(o.ok) << f;
    EXPECT_FALSE(o.message.empty()) << f;
  }
  EXPECT_NE(run(tmp.file("ragged.csv"), "t", none).message.find("第2行"), std::string::npos);
  EXPECT_EQ(registered(), 0u);
  EXPECT_FALSE(db.tableExists("t"));

  // An existing name: No changes nothing, Yes replaces.
  test::writeFile(tmp.file("ok.csv"), "a\n1\n2\n");
  ASSERT_TRUE(run(tmp.file("ok.csv"), "t", none).ok);
  test::writeFile(tmp.file("ok2.csv"), "a\n7\n");
  ScriptedInteraction no({Answer::No});
  EXPECT_FALSE(run(tmp.file("ok2.csv"), "t", no).ok);
  EXPECT_EQ(no.asked, (std::vector<std::string>{"检索结果表名已存在,是否覆盖?"}));
  EXPECT_EQ(db.rowCount("t"), 2);
  ScriptedInteraction yes({Answer::Yes});
  ImportReport rep;
  ASSERT_TRUE(run(tmp.file("ok2.csv"), "t", yes, &rep).ok);
  EXPECT_TRUE(rep.overwritten);
  EXPECT_EQ(db.rowCount("t"), 1);
  EXPECT_EQ(registered(), 1u);
}

// Writes a workbook of two sheets with GDAL, as a spreadsheet program would hand one over.
void writeWorkbook(const std::string& path) {
  GDALAllRegister();
  GDALDriverH drv = GDALGetDriverByName("XLSX");
  GDALDatasetH ds = GDALCreate(drv, path.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
  for (const char* sheet : {"测线1", "测线2"}) {
    OGRLayerH l = GDALDatasetCreateLayer(ds, sheet, nullptr, wkbNone, nullptr);
    for (const char* name : {"点号", "ΔT"}) {
      OGRFieldDefnH d = OGR_Fld_Create(name, std::string(name) == "点号" ? OFTInteger : OFTReal);
      OGR_L_CreateField(l, d, 1);
      OGR_Fld_Destroy(d);
    }
    for (int i = 0; i < 4; ++i) {
      OGRFeatureH f = OGR_F_Create(OGR_L_GetLayerDefn(l));
      OGR_F_SetFieldInteger(f, 0, i + 1);
      if (i != 2) OGR_F_SetFieldDouble(f, 1, 10.5 * i);
      EXPECT_EQ(OGR_L_CreateFeature(l, f), OGRERR_NONE);
      OGR_F_Destroy(f);
    }
  }
  GDALClose(ds);
}

TEST_F(ImportTest, WorkbookSheetBySheetAndDbfBothWays) {
  writeWorkbook(tmp.file("lines.xlsx"));
  std::string error;
  auto sheets = listLayers(tmp.file("lines.xlsx"), error);
  ASSERT_EQ(sheets, (std::vector<std::string>{"测线1", "测线2"})) << error;
  ImportReport rep;
  ASSERT_TRUE(run(tmp.file("lines.xlsx"), "磁测2", none, &rep, {}, "测线2").ok);
  EXPECT_EQ(rep.rows, 4);
  EXPECT_EQ(rep.nullsWritten, 1);
  EXPECT_EQ(db.fields("磁测2")[0].type, JetType::Long);
  EXPECT_EQ(valueToDouble(db.scalar("Select Sum([ΔT]) From [磁测2] Where [ΔT] <> -1E+38")), 42.0);

  // Out as .xlsx and .dbf, and in again.
  ExportOptions x;
  x.format = ExportFormat::Xlsx;
  x.nullsEmpty = true;
  ASSERT_TRUE(exportTable(db, "磁测2", tmp.file("out.xlsx"), x, noProgress()).ok);
  ASSERT_TRUE(run(tmp.file("out.xlsx"), "回读", none, &rep).ok);
  EXPECT_EQ(rep.nullsWritten, 1);
  ExportOptions d;
  d.format = ExportFormat::Dbf;
  ASSERT_TRUE(exportTable(db, "化探不存在", tmp.file("x.dbf"), d, noProgress()).ok == false);
  ASSERT_TRUE(exportTable(db, "磁测2", tmp.file("out.dbf"), d, noProgress()).ok);
  EXPECT_FALSE(std::filesystem::exists(tmp.file("out.shp")));
  ASSERT_TRUE(run(tmp.file("out.dbf"), "从dbf", none, &rep).ok);
  EXPECT_EQ(rep.rows, 4);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [从dbf] Where [ΔT] = -1E+38")), 1);
}

TEST_F(ImportTest, JetTableKeepsItsTypes) {
  std::string mdb = test::sharedData("jet/nwind.mdb");
  if (mdb.empty()) GTEST_SKIP() << "../shared/data/jet/nwind.mdb is not present";
  std::string error;
  auto tables = listLayers(mdb, error);
  ASSERT_EQ(tables.size(), 9u) << error;
  ImportReport rep;
  ASSERT_TRUE(run(mdb, "订单", none, &rep, {}, "Orders").ok);
  EXPECT_EQ(rep.rows, db.rowCount("订单"));
  EXPECT_GT(rep.rows, 100);
  for (const auto& f : db.fields("订单"))
    if (f.name == "OrderDate") {
      EXPECT_EQ(f.type, JetType::Date);
    }
}

TEST(GuessColumnType, Rules) {
  EXPECT_EQ(guessColumnType("a", {"1", "20", ""}).type, JetType::Long);
  EXPECT_EQ(guessColumnType("a", {"1.5", "2"}).type, JetType::Single);
  EXPECT_EQ(guessColumnType("a", {"1.2345678", "2"}).type, JetType::Double);
  EXPECT_EQ(guessColumnType("a", {"1,5"}, ',').type, JetType::Single);
  FieldDef t = guessColumnType("a", {"abc", "寒武系寒武系寒武系寒武系"});
  EXPECT_EQ(t.type, JetType::Text);
  EXPECT_EQ(t.size, 12);
  EXPECT_EQ(guessColumnType("a", {"", ""}).type, JetType::Text);
  EXPECT_EQ(numberText(static_cast<float>(2.33)), "2.33");
  EXPECT_EQ(numberText(NULL_VALUE_D), "-1E+38");
}

}  // namespace
}  // namespace sarnoth
