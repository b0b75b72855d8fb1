// Outside tables into the work area and back out: text, spreadsheets, dBASE, Jet.
#include <cpl_conv.h>
#include <gdal.h>
#include <gtest/gtest.h>
#include <ogr_api.h>

#include <algorithm>

#include "datatools/table_import.h"
#include "test_support.h"
#include "workarea/null_value.h"
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

// NaN and infinities are numbers that hold no data: the column stays numeric and they become the
// null, counted with the empty cells.
TEST_F(ImportTest, NanAndInfinityCellsBecomeTheNull) {
  test::writeFile(tmp.file("nan.csv"), "a,b\n1,nan\n2,inf\n3,-Infinity\n4,5.5\n5,1e999\n");
  ImportReport rep;
  ASSERT_TRUE(run(tmp.file("nan.csv"), "t", none, &rep).ok);
  EXPECT_EQ(db.fields("t")[1].type, JetType::Single);
  EXPECT_EQ(rep.nullsWritten, 4);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [t] Where [b] = -1E+38")), 4);
  EXPECT_EQ(valueToDouble(db.scalar("Select Max([b]) From [t]")), 5.5);
}

// A dBASE file cut short is a read error: the import fails and leaves no table and no registry
// row, where it used to register the readable half.
TEST_F(ImportTest, TruncatedDbfFailsAndLeavesNothing) {
  db.execute("Create Table [样品] ([点号] LONG, [Cu] SINGLE, [岩性] TEXT(10))");
  {
    TableWriter w(db, "样品", {"点号", "Cu", "岩性"});
    for (int i = 0; i < 400; ++i) {
      w.setInt(0, i);
      w.setDouble(1, 0.25 * i);
      w.setText(2, "花岗岩");
      w.addRow();
    }
    w.commit();
  }
  ExportOptions d;
  d.format = ExportFormat::Dbf;
  ASSERT_TRUE(exportTable(db, "样品", tmp.file("s.dbf"), d, noProgress()).ok);
  std::string bytes = test::readFile(tmp.file("s.dbf"));
  test::writeFile(tmp.file("half.dbf"), bytes.substr(0, bytes.size() / 2));
  Outcome o = run(tmp.file("half.dbf"), "半", none);
  EXPECT_FALSE(o.ok);
  EXPECT_NE(o.message.find("DBF"), std::string::npos) << o.message;
  EXPECT_FALSE(db.tableExists("半"));
  EXPECT_EQ(registered(), 0u);
  // The whole file imports.
  ImportReport rep;
  ASSERT_TRUE(run(tmp.file("s.dbf"), "全", none, &rep).ok);
  EXPECT_EQ(rep.rows, 400);
}

// dBASE names are GBK bytes, at most 10: a Chinese name is cut on a character boundary and kept
// apart from its neighbours; SINGLE and DOUBLE fields come back as they went.
TEST_F(ImportTest, DbfKeepsChineseNamesAndNumericTypes) {
  db.execute(
      "Create Table [重力] ([布格异常] SINGLE, [布格异常校正值] SINGLE, [布格异常校正后] DOUBLE, "
      "[X] DOUBLE, [点号] LONG)");
  db.execute("Insert Into [重力] Values (1.25, 2.5, 3.125, 431250.123456, 7)");
  ExportOptions d;
  d.format = ExportFormat::Dbf;
  Outcome o = exportTable(db, "重力", tmp.file("g.dbf"), d, noProgress());
  ASSERT_TRUE(o.ok);
  EXPECT_NE(o.message.find("布格异常校正值"), std::string::npos) << o.message;
  // The field descriptors: 32 bytes each from byte 32, the name in the first 11, NUL-padded.
  const std::string bytes = test::readFile(tmp.file("g.dbf"));
  std::vector<std::string> names;
  for (std::size_t at = 32; at + 32 <= bytes.size() && bytes[at] != '\x0D'; at += 32)
    names.push_back(gbkToUtf8(std::string(bytes.c_str() + at)));
  EXPECT_EQ(names, (std::vector<std::string>{"布格异常", "布格异常校", "布格异常1", "X", "点号"}));
  EXPECT_EQ(dbfFieldNames({"a", "A", "a b", ""}),
            (std::vector<std::string>{"a", "A1", "a_b", "F4"}));

  ASSERT_TRUE(run(tmp.file("g.dbf"), "回读", none).ok);
  std::vector<FieldDef> f = db.fields("回读");
  ASSERT_EQ(f.size(), 5u);
  EXPECT_EQ(f[0].name, "布格异常");
  EXPECT_EQ(f[0].type, JetType::Single);
  EXPECT_EQ(f[1].type, JetType::Single);
  EXPECT_EQ(f[2].type, JetType::Double);
  EXPECT_EQ(f[3].type, JetType::Double);
  EXPECT_EQ(f[4].type, JetType::Long);
  EXPECT_EQ(valueToDouble(db.scalar("Select [X] From [回读]")), 431250.123456);
  EXPECT_EQ(valueToDouble(db.scalar("Select [布格异常] From [回读]")), 1.25);
}

// Characters GBK cannot hold are counted and named, not dropped in silence; UTF-8 keeps them.
TEST_F(ImportTest, GbkExportCountsWhatItCannotHold) {
  db.execute("Create Table [注记] ([名称] TEXT(20))");
  db.execute("Insert Into [注记] Values ('Straße'), ('矿点😀'), ('花岗岩')");
  ExportOptions gbk;
  Outcome o = exportTable(db, "注记", tmp.file("g.csv"), gbk, noProgress());
  ASSERT_TRUE(o.ok);
  EXPECT_NE(o.message.find("有 2 个字符无法用 GBK 编码表示"), std::string::npos) << o.message;
  EXPECT_NE(test::readFile(tmp.file("g.csv")).find("Stra?e"), std::string::npos);
  ExportOptions utf8;
  utf8.encoding = TextEncoding::Utf8;
  o = exportTable(db, "注记", tmp.file("u.csv"), utf8, noProgress());
  ASSERT_TRUE(o.ok);
  EXPECT_TRUE(o.message.empty());
  EXPECT_NE(test::readFile(tmp.file("u.csv")).find("矿点😀"), std::string::npos);
}

TEST(ImportChoices, UnknownColumnsAndTypesAreRefusedAndChangeNothing) {
  std::vector<ImportColumn> cols{{"x", {"x", JetType::Double, 0}, true},
                                 {"Au", {"Au", JetType::Single, 0}, true}};
  EXPECT_EQ(applyColumnChoices(cols, "x=BOGUS", "").message,
            "不支持的字段类型: BOGUS (SINGLE, DOUBLE, LONG, INTEGER, TEXT(n), MEMO, DATE ...)");
  EXPECT_EQ(applyColumnChoices(cols, "y=SINGLE", "").message, "源数据中没有字段: y");
  EXPECT_EQ(applyColumnChoices(cols, "x=LONG", "Cu").message, "源数据中没有字段: Cu");
  EXPECT_EQ(cols[0].type.type, JetType::Double);  // the refused choices left nothing behind
  ASSERT_TRUE(applyColumnChoices(cols, "x=LONG, Au=TEXT(12)", "x").ok);
  EXPECT_EQ(cols[0].type.type, JetType::Long);
  EXPECT_FALSE(cols[0].import);
  EXPECT_EQ(cols[1].type.declared(), "TEXT(12)");
}

// Names are made unique in linear time: 200,000 repeated headers take milliseconds, not minutes.
TEST(ColumnNames, RepeatedAndEmptyNamesAreMadeUnique) {
  std::vector<std::string> names{"Au", "", "Au", "Au_3", "Au"};
  makeColumnNamesUnique(names);
  EXPECT_EQ(names, (std::vector<std::string>{"Au", "F2", "Au_3", "Au_3_4", "Au_5"}));
  std::vector<std::string> many(200000, "v");
  makeColumnNamesUnique(many);
  EXPECT_EQ(many[199999], "v_200000");
  std::sort(many.begin(), many.end());
  EXPECT_EQ(std::adjacent_find(many.begin(), many.end()), many.end());
}

// The file streams in blocks of 1 MB and the types come from the first 10,000 rows; where later
// rows need a wider type the table gets it, as a guess over the whole file would give it, and the
// values come through as written.
TEST_F(ImportTest, LaterRowsWidenTheTypesOfTheFirstRows) {
  std::string csv = "点号,整数,小数,备注,岩性,空列\n";
  std::vector<std::vector<std::string>> cols(5);
  for (int i = 1; i <= 30000; ++i) {
    std::string whole = std::to_string(i % 997);
    // After the sample: fractions, then digits a single cannot hold.
    std::string frac = i <= 12000 ? std::to_string(i % 500) : i <= 20000 ? "2.5" : "3.14159265";
    // Numbers in the sample, then remarks in more than one cell in ten.
    std::string remark = i <= 10000 ? std::to_string(i) : (i % 3 ? "n.d." : "12.50");
    std::string rock = i < 25000 ? "花岗岩" : "含石榴子石黑云母斜长片麻岩夹大理岩";
    std::string empty = i <= 10000 ? "" : std::to_string(i % 7);
    csv += "P" + std::to_string(i) + "," + whole + "," + frac + "," + remark + "," + rock + "," +
           empty + "\n";
    for (auto [k, v] : {std::pair{0, whole}, {1, frac}, {2, remark}, {3, rock}, {4, empty}})
      cols[static_cast<std::size_t>(k)].push_back(v);
  }
  test::writeFile(tmp.file("wide.csv"), utf8ToGbk(csv));
  ImportReport rep;
  ASSERT_TRUE(run(tmp.file("wide.csv"), "宽", none, &rep).ok);
  // The guess of the first rows, and the types the whole file called for.
  EXPECT_EQ(preview.columns[2].type.type, JetType::Long);
  EXPECT_EQ(preview.columns[3].type.type, JetType::Long);
  const char* names[] = {"整数", "小数", "备注", "岩性", "空列"};
  std::vector<FieldDef> f = db.fields("宽");
  ASSERT_EQ(f.size(), 6u);
  for (std::size_t k = 0; k < 5; ++k) {
    const FieldDef whole = guessColumnType(names[k], cols[k]);
    EXPECT_EQ(f[k + 1].declared(), whole.declared()) << names[k];
  }
  EXPECT_EQ(f[2].type, JetType::Double);
  EXPECT_EQ(f[3].type, JetType::Text);
  EXPECT_EQ(f[4].declared(), "TEXT(17)");
  EXPECT_EQ(f[5].type, JetType::Long);
  EXPECT_EQ(rep.rows, 30000);
  // Empty cells of the number columns, and the remarks that became text again, counted as the
  // whole-file import counts them: 10,000 empty cells of 空列.
  EXPECT_EQ(rep.nullsWritten, 10000);
  EXPECT_EQ(valueToDouble(db.scalar("Select Sum([小数]) From [宽] Where [点号] = 'P29999'")),
            3.14159265);
  EXPECT_EQ(valueToDouble(db.scalar("Select [小数] From [宽] Where [点号] = 'P15000'")), 2.5);
  EXPECT_EQ(valueToDouble(db.scalar("Select [小数] From [宽] Where [点号] = 'P499'")), 499);
  EXPECT_EQ(valueToText(db.scalar("Select [备注] From [宽] Where [点号] = 'P10001'")), "n.d.");
  EXPECT_EQ(valueToText(db.scalar("Select [备注] From [宽] Where [点号] = 'P10004'")), "n.d.");
  // A number in a column that turned text keeps its shortest text: "12.50" reads "12.5".
  EXPECT_EQ(valueToText(db.scalar("Select [备注] From [宽] Where [点号] = 'P10002'")), "12.5");
  EXPECT_EQ(valueToText(db.scalar("Select [备注] From [宽] Where [点号] = 'P9999'")), "9999");
  EXPECT_EQ(valueToText(db.scalar("Select [岩性] From [宽] Where [点号] = 'P29000'")),
            "含石榴子石黑云母斜长片麻岩夹大理岩");
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [宽] Where [空列] = -1E+38")), 10000);
  EXPECT_EQ(registered(), 1u);
}

// Records that straddle the blocks: a quoted cell with a line break and GBK text across the
// 1 MB mark, and a last line without its line break.
TEST_F(ImportTest, RecordsAcrossBlockBoundariesReadWhole) {
  std::string csv = "a,说明\n";
  int rows = 0;
  while (csv.size() < (1 << 20) - 40) csv += std::to_string(++rows) + ",矿化蚀变带\n";
  csv += std::to_string(++rows) + ",\"跨越\n两块的\"\"注记\"\"，含逗号,分隔\"\n";
  while (csv.size() < (3 << 20)) csv += std::to_string(++rows) + ",石英脉\n";
  csv += std::to_string(++rows) + ",末行";
  test::writeFile(tmp.file("blocks.csv"), utf8ToGbk(csv));
  ImportReport rep;
  ASSERT_TRUE(run(tmp.file("blocks.csv"), "块", none, &rep).ok);
  EXPECT_EQ(rep.rows, rows);
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [块] Where [说明] = '矿化蚀变带'")),
            static_cast<double>(db.rowCount("块") - 2) -
                valueToDouble(db.scalar("Select Count(*) From [块] Where [说明] = '石英脉'")));
  EXPECT_EQ(valueToText(db.scalar("Select [说明] From [块] Where [说明] Like '跨越*'")),
            "跨越\n两块的\"注记\"，含逗号,分隔");
  EXPECT_EQ(valueToText(db.scalar("Select [说明] From [块] Where [a] = ?", {Value(double(rows))})),
            "末行");
}

// A ragged row after the rows the preview looked at is refused in the preview's words, and the
// import leaves nothing behind.
TEST_F(ImportTest, RaggedRowsBeyondTheSampleLeaveNothing) {
  std::string csv = "x,y\n";
  for (int i = 0; i < 12000; ++i) csv += std::to_string(i) + "," + std::to_string(2 * i) + "\n";
  csv += "1,2,3\n";
  test::writeFile(tmp.file("ragged.csv"), csv);
  Outcome o = run(tmp.file("ragged.csv"), "r", none);
  EXPECT_FALSE(o.ok);
  EXPECT_EQ(o.message, "第12001行数据有3列, 多于表头的2列, 数据格式不正确.");
  EXPECT_FALSE(db.tableExists("r"));
  EXPECT_EQ(registered(), 0u);
}

TEST(GuessColumnType, Rules) {
  EXPECT_EQ(guessColumnType("a", {"1", "20", ""}).type, JetType::Long);
  EXPECT_EQ(guessColumnType("a", {"1.5", "2"}).type, JetType::Single);
  EXPECT_EQ(guessColumnType("a", {"1.2345678", "2"}).type, JetType::Double);
  // Trailing zeros of a fraction carry nothing: "2.3300000" is a single's 2.33.
  EXPECT_EQ(guessColumnType("a", {"2.3300000", "10.5000000"}).type, JetType::Single);
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
