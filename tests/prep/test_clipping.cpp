// Data clipping: grids (nodes kept or nulled, header copied byte for byte, replacement of the
// source), tables (Select … Into then deletion, in place, scatter files, dBASE and Excel through
// TempOutDBFileIn) and the refusals that leave the work area as it was.
#include <gdal.h>
#include <gtest/gtest.h>
#include <ogr_api.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "datatools/table_import.h"
#include "prep/clipping.h"
#include "test_support.h"
#include "workarea/grid_file.h"
#include "workarea/jet_sql.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

namespace fs = std::filesystem;

// Two polygons: a rectangle whose east edge runs through a column of nodes, and a triangle.
constexpr const char* kTwoPolygons =
    "#SRNTHCRDGP#\r\nPR 1 4\r\n105,205\r\n130 205\r\n130,225\r\n105,225\r\n"
    "pr 2 3 extra\r\n145 235\r\n160 235\r\n150 250\r\n#ENDDATA#\r\n";

class GridClipTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    work = tmp.dir();
    test::writeFile(tmp.file("cut.gph"), kTwoPolygons);
    // 6 columns × 5 rows from (100, 200), spacing 10; node (r, c) holds r·6 + c, one null. The
    // statistics in the header are stale on purpose: clipping copies them as they stand.
    GridHeader h;
    h.x0 = 100, h.y0 = 200, h.dx = 10, h.dy = 10, h.nx = 6, h.ny = 5;
    h.note = "stale header";
    h.zMin = -5, h.zMax = 999, h.validCount = 12345;
    std::vector<float> nodes(30);
    for (int i = 0; i < 30; ++i) nodes[static_cast<std::size_t>(i)] = static_cast<float>(i);
    nodes[8] = NULL_VALUE;  // (1, 2), inside the rectangle
    ASSERT_TRUE(writeGrid(src(), "#VLQ30GRIDB#", "kriging", h, nodes));
  }
  std::string src() const { return tmp.file("Grid_dat/src.grd"); }
  std::string out(const std::string& name = "DataCutTbl") const {
    return tmp.file("Grid_dat/" + name + ".grd");
  }
  GridClipJob job(bool inside = true) const {
    GridClipJob j;
    j.source = src();
    j.workPath = work;
    j.resultName = "DataCutTbl";
    j.polygonFile = tmp.file("cut.gph");
    j.keepInside = inside;
    return j;
  }
  test::TempDir tmp;
  std::string work;
};

// Nodes inside the two polygons, as (r, c): the rectangle covers columns 1 to 3 (x = 130 on its
// edge) of rows 1 and 2, the triangle holds (4, 5).
const std::set<int> kInside = {1 * 6 + 1, 1 * 6 + 2, 1 * 6 + 3, 2 * 6 + 1,
                               2 * 6 + 2, 2 * 6 + 3, 4 * 6 + 5};

TEST_F(GridClipTest, KeepsExactlyTheNodesInsideAndCopiesTheHeader) {
  for (bool inside : {true, false}) {
    ClipReport rep;
    ASSERT_TRUE(clipGrid(job(inside), noProgress(), &rep).ok);
    EXPECT_EQ(rep.tested, 30);
    EXPECT_EQ(rep.removed, inside ? 23 : 7);
    const std::string a = test::readFile(src()), b = test::readFile(out());
    ASSERT_EQ(b.size(), a.size());
    EXPECT_EQ(b.substr(0, 100), a.substr(0, 100)) << "magic, method and header copied unchanged";
    EXPECT_EQ(b.substr(b.size() - 9), "#ENDDATA#");
    GridReadResult r = readGrid(out());
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.grid.header.validCount, 12345);
    EXPECT_EQ(r.grid.header.zMax, 999.0f);
    for (int i = 0; i < 30; ++i) {
      const bool keep = (kInside.count(i) > 0) == inside;
      const float expected = i == 8 ? NULL_VALUE : keep ? static_cast<float>(i) : NULL_VALUE;
      EXPECT_EQ(r.grid.nodes[static_cast<std::size_t>(i)], expected) << "node " << i;
    }
  }
}

TEST_F(GridClipTest, SaveClearedReplacesTheGridAndRemovesTheNewFile) {
  const std::string before = test::readFile(src());
  GridClipJob j = job();
  j.replace = src();
  ASSERT_TRUE(clipGrid(j).ok);
  EXPECT_FALSE(fs::exists(out()));
  GridReadResult r = readGrid(src());
  ASSERT_TRUE(r.ok());
  EXPECT_EQ(test::readFile(src()).substr(0, 100), before.substr(0, 100));
  EXPECT_EQ(r.grid.nodes[0], NULL_VALUE);
  EXPECT_EQ(r.grid.nodes[7], 7.0f);
  // A result named like its source is cut in place too.
  j.resultName = "src";
  j.replace.clear();
  ASSERT_TRUE(clipGrid(j).ok);
  EXPECT_EQ(readGrid(src()).grid.nodes[7], 7.0f);
  EXPECT_FALSE(fs::exists(src() + ".part"));
}

TEST_F(GridClipTest, BadInputGivesTheMessageAndWritesNoResult) {
  auto polygons = [](int n, int vertices) {
    std::string t = "#SRNTHCRDGP#\n";
    for (int i = 0; i < n; ++i) {
      t += "PR " + std::to_string(i) + " " + std::to_string(vertices) + "\n";
      for (int v = 0; v < vertices; ++v)
        t += std::to_string(v) + " " + std::to_string(v * v) + "\n";
    }
    return t + "#ENDDATA#\n";
  };
  test::writeFile(tmp.file("many.gph"), polygons(kMaxClipPolygons + 1, 3));
  test::writeFile(tmp.file("short.gph"), polygons(2, 2));
  test::writeFile(tmp.file("magic.gph"), "#SRNTHSCATA#\nPR 1 3\n0 0\n1 0\n0 1\n#ENDDATA#\n");
  const struct {
    const char* gph;
    const char* message;
  } cases[] = {{"many.gph", "读数据文件错."},
               {"short.gph", "读数据文件错."},
               {"missing.gph", "打开或创建数据文件错."},
               {"magic.gph", "非Sarnoth 坐标数据文件,请检查."}};
  const std::string source = test::readFile(src());
  for (const auto& c : cases) {
    GridClipJob j = job();
    j.polygonFile = tmp.file(c.gph);
    Outcome o = clipGrid(j);
    EXPECT_FALSE(o.ok);
    EXPECT_EQ(o.message, c.message) << c.gph;
    // The target was opened, so it exists, empty; the source is as it was.
    EXPECT_EQ(fs::file_size(out()), 0u) << c.gph;
    EXPECT_EQ(test::readFile(src()), source);
  }
  // A target that stood before keeps its bytes.
  test::writeFile(out("old"), "old bytes");
  GridClipJob j = job();
  j.resultName = "old";
  j.polygonFile = tmp.file("magic.gph");
  EXPECT_FALSE(clipGrid(j).ok);
  EXPECT_EQ(test::readFile(out("old")), "old bytes");

  test::writeFile(tmp.file("Grid_dat/notgrid.grd"), "#SRNTHSCATB#" + std::string(200, '\0'));
  test::writeFile(tmp.file("Grid_dat/short.grd"), source.substr(0, 150));
  j = job();
  j.source = tmp.file("Grid_dat/notgrid.grd");
  EXPECT_EQ(clipGrid(j).message, "非Sarnoth 二进制网格数据.");
  j.source = tmp.file("Grid_dat/short.grd");
  EXPECT_EQ(clipGrid(j).message, "读数据文件错.");
  j.source = tmp.file("Grid_dat/none.grd");
  EXPECT_EQ(clipGrid(j).message, "打开或创建数据文件错.");
  j = job();
  j.resultName.clear();
  EXPECT_EQ(clipGrid(j).message, "请输入数据剪裁结果表名.");
  EXPECT_FALSE(fs::exists(out() + ".part"));
}

TEST_F(GridClipTest, TwoThreadsWriteTheSameBytesAsOne) {
  GridHeader h;
  h.x0 = 0, h.y0 = 0, h.dx = 1.5f, h.dy = 2.5f, h.nx = 700, h.ny = 1600;
  std::vector<float> nodes(700u * 1600u);
  for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = static_cast<float>(i % 977);
  ASSERT_TRUE(writeGrid(src(), kGridMagicB, "x", h, nodes));
  std::string gph = "#SRNTHCRDGP#\n";
  for (int p = 0; p < 40; ++p) {
    gph += "PR " + std::to_string(p) + " 60\n";
    for (int k = 0; k < 60; ++k) {
      const double a = 6.283185307 * k / 60, r = 60 + 25 * ((k * 7 + p) % 5);
      gph += std::to_string(100 + (p % 8) * 120 + r * std::cos(a)) + " " +
             std::to_string(200 + (p / 8) * 700 + r * std::sin(a)) + "\n";
    }
  }
  test::writeFile(tmp.file("many.gph"), gph + "#ENDDATA#\n");
  GridClipJob j = job();
  j.polygonFile = tmp.file("many.gph");
  j.resultName = "one";
  ClipReport r1, r2;
  ASSERT_TRUE(clipGrid(j, noProgress(), &r1, 1).ok);
  j.resultName = "two";
  ASSERT_TRUE(clipGrid(j, noProgress(), &r2, 2).ok);
  EXPECT_EQ(test::readFile(out("one")), test::readFile(out("two")));
  EXPECT_GT(r1.removed, 0);
  EXPECT_LT(r1.removed, r1.tested);
}

// ---- tables -------------------------------------------------------------------------------------

// Two polygons over a 10 × 10 lattice of points (x, y = 0 … 9): a square holding x, y in 2 … 5
// (5 on its edge) and a square whose edges run through x, y = 7 and 9.
constexpr const char* kLatticePolygons =
    "#SRNTHCRDGP#\nPR 1 4\n1.5 1.5\n5 1.5\n5 5\n1.5 5\nPR 2 4\n7 7\n9 7\n9 9\n7 9\n#ENDDATA#\n";

bool latticeInside(int x, int y) {
  return (x >= 2 && x <= 5 && y >= 2 && y <= 5) || (x >= 7 && y >= 7);
}

class TableClipTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(tmp.str()).ok);
    db = openWorkDatabase(tmp.dir());
    db.execute(
        "Create Table [点] ([横坐标] SINGLE, [纵坐标] SINGLE, [名称] TEXT(10), [Au] SINGLE, "
        "[Cu] DOUBLE, [编号] LONG)");
    db.begin();
    for (int i = 0; i < 100; ++i)
      db.execute("Insert Into [点] Values (?, ?, ?, ?, ?, ?)",
                 {Value(double(i % 10)), Value(double(i / 10)), Value("p" + std::to_string(i)),
                  Value(i * 0.5), Value(i * 1.25), Value(std::int64_t(i))});
    db.commit();
    ScriptedInteraction yes({}, Answer::Yes);
    registerTable(db, "点", {"OutDataIn", "外部数据导入", OverwriteRule::Ask, "", "", false}, yes);
    test::writeFile(tmp.file("cut.gph"), kLatticePolygons);
  }
  TableClipJob job(bool inside = true) const {
    TableClipJob j;
    j.table = "点";
    j.x = "横坐标";
    j.y = "纵坐标";
    j.variables = {"Au", "编号"};
    j.resultName = "剪裁结果";
    j.keepInside = inside;
    j.polygonFile = tmp.file("cut.gph");
    return j;
  }
  // The (x, y) of every row of a table, as lattice indices y·10 + x.
  std::set<int> lattice(const std::string& table, const char* x = "横坐标",
                        const char* y = "纵坐标") {
    std::set<int> s;
    Cursor c = db.query("Select " + bracket(x) + ", " + bracket(y) + " From " + bracket(table));
    while (c.next())
      s.insert(static_cast<int>(c.getDouble(1)) * 10 + static_cast<int>(c.getDouble(0)));
    return s;
  }
  static std::set<int> expected(bool inside) {
    std::set<int> s;
    for (int i = 0; i < 100; ++i)
      if (latticeInside(i % 10, i / 10) == inside) s.insert(i);
    return s;
  }
  std::string registryOrigin(const std::string& name) {
    return valueToText(db.scalar("Select [查询库名] From [TableInfo] Where [查询表名]=?", {name}));
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(TableClipTest, OffersNumericFieldsAndProposesTheCoordinates) {
  ClipFields f;
  ASSERT_TRUE(clipFieldsOfTable(db, "点", f).ok);
  EXPECT_EQ(f.coordinates, (std::vector<std::string>{"横坐标", "纵坐标", "Au", "Cu", "编号"}));
  EXPECT_EQ(f.variables, f.coordinates);
  EXPECT_EQ(f.x, "横坐标");
  EXPECT_EQ(f.y, "纵坐标");
  db.execute("Create Table [两项] ([a] SINGLE, [b] SINGLE)");
  EXPECT_EQ(clipFieldsOfTable(db, "两项", f).message, "数据项少于3不能剪裁.");
  db.execute("Create Table [文字] ([a] SINGLE, [b] TEXT(5), [c] TEXT(5))");
  EXPECT_EQ(clipFieldsOfTable(db, "文字", f).message,
            "数据剪裁需要空间坐标（数字型），所选数据表不符合剪裁条件，请检查!");
  EXPECT_EQ(clipSelectInto(job()), "Select [横坐标],[纵坐标],[Au],[编号]Into [剪裁结果] From [点]");
  TableClipJob linked = job();
  linked.kind = ClipSourceKind::DBaseIV;
  EXPECT_EQ(clipSelectInto(linked),
            "Select [横坐标],[纵坐标],[Au],[编号]Into [剪裁结果] From TempOutDBFileIn");
}

TEST_F(TableClipTest, NewTableKeepsTheRecordsInsideWithTheirTypes) {
  for (bool inside : {true, false}) {
    ScriptedInteraction yes({}, Answer::Yes);
    ClipReport rep;
    ASSERT_TRUE(clipTable(db, job(inside), yes, noProgress(), &rep).ok);
    EXPECT_EQ(lattice("剪裁结果"), expected(inside));
    EXPECT_EQ(rep.tested, 100);
    EXPECT_EQ(rep.removed, inside ? 75 : 25);
    auto f = db.fields("剪裁结果");
    ASSERT_EQ(f.size(), 4u);
    EXPECT_EQ(f[2].name, "Au");
    EXPECT_EQ(f[2].type, JetType::Single);
    EXPECT_EQ(f[3].type, JetType::Long);
    EXPECT_EQ(registryOrigin("剪裁结果"), "DataCut");
    EXPECT_EQ(db.rowCount("点"), 100);
    // Values travel with their records.
    EXPECT_EQ(valueToDouble(db.scalar("Select [Au] From [剪裁结果] Where [编号]=88")),
              inside ? 44.0 : valueToDouble(Value()));
  }
  // The question when the name stands: No leaves everything as it was.
  ScriptedInteraction no({Answer::No});
  TableClipJob j = job();
  EXPECT_EQ(clipTable(db, j, no).message, "");
  EXPECT_EQ(no.asked, (std::vector<std::string>{"结果表名已存在,是否覆盖?"}));
  EXPECT_EQ(lattice("剪裁结果"), expected(false));
  // A result named like its source is refused before anything changes.
  ScriptedInteraction yes({}, Answer::Yes);
  j.resultName = "点";
  EXPECT_FALSE(clipTable(db, j, yes).ok);
  EXPECT_TRUE(yes.asked.empty());
  EXPECT_EQ(db.rowCount("点"), 100);
  j = job();
  j.variables.clear();
  EXPECT_EQ(clipTable(db, j, yes).message, "变量不能少于1个.");
  j = job();
  j.resultName.clear();
  EXPECT_EQ(clipTable(db, j, yes).message, "请输入数据剪裁结果表名.");
}

TEST_F(TableClipTest, SaveClearedRemovesRecordsFromTheSourceForGood) {
  TableClipJob j = job();
  j.saveAs = false;
  j.variables.clear();                    // no variables are chosen in place
  j.kind = ClipSourceKind::AsciiScatter;  // whatever the kind says, the chosen table is cut
  ScriptedInteraction none;
  ClipReport rep;
  ASSERT_TRUE(clipTable(db, j, none, noProgress(), &rep).ok);
  EXPECT_EQ(lattice("点"), expected(true));
  EXPECT_EQ(rep.removed, 75);
  EXPECT_EQ(registryOrigin("点"), "OutDataIn");
  EXPECT_FALSE(db.tableExists("剪裁结果"));
  EXPECT_TRUE(none.shown.empty());
}

TEST_F(TableClipTest, ABadCoordinateFileWritesNothing) {
  const struct {
    std::string text;
    const char* message;
  } cases[] = {
      {"#SRNTHCRDGX#\nPR 1 3\n0 0\n1 0\n0 1\n#ENDDATA#\n", "非 Sarnoth 坐标数据文件,请检查."},
      {"#SRNTHCRDGP#\nPR 1 2\n0 0\n1 0\n#ENDDATA#\n", "读数据文件错."},
      {"#SRNTHCRDGP#\nPR 1 3\n0 0\n1 0\n", "输入超出文件尾"},
  };
  for (const auto& c : cases) {
    test::writeFile(tmp.file("bad.gph"), c.text);
    for (bool saveAs : {true, false}) {
      TableClipJob j = job();
      j.polygonFile = tmp.file("bad.gph");
      j.saveAs = saveAs;
      ScriptedInteraction yes({}, Answer::Yes);
      EXPECT_EQ(clipTable(db, j, yes).message, c.message);
      EXPECT_FALSE(db.tableExists("剪裁结果"));
      EXPECT_EQ(registryOrigin("剪裁结果"), "");
      EXPECT_EQ(db.rowCount("点"), 100);
    }
  }
}

TEST_F(TableClipTest, AStoppedRunKeepsItsTableAndRegistryRow) {
  struct Stop : Progress {
    bool pump() override { return false; }
  } stop;
  ScriptedInteraction yes({}, Answer::Yes);
  ClipReport rep;
  Outcome o = clipTable(db, job(), yes, stop, &rep);
  EXPECT_FALSE(o.ok);
  EXPECT_TRUE(rep.stopped);
  EXPECT_TRUE(db.tableExists("剪裁结果"));
  EXPECT_EQ(registryOrigin("剪裁结果"), "DataCut");
}

TEST_F(TableClipTest, TheDeletionLoopRemovesEveryRecordOutsideAcrossBlocks) {
  // More records than one block, with null and text coordinates among them.
  db.execute("Create Table [多] ([x] DOUBLE, [y] DOUBLE)");
  std::int64_t inside = 0, insideFirstBlock = 0;
  ClipPolygons p;
  ASSERT_TRUE(readClipPolygons(tmp.file("cut.gph"), ClipPath::Table, p).ok);
  {
    TableWriter w(db, "多", {"x", "y"});
    for (long long i = 0; i < 200000; ++i) {
      const double x = static_cast<double>((i * 7919) % 1000) * 0.01;
      const double y = static_cast<double>((i * 104729) % 1000) * 0.01;
      w.setDouble(0, x);
      i % 1000 == 7 ? w.setNull(1) : w.setDouble(1, y);
      if (i % 1000 != 7) {
        const bool in = p.region.contains(static_cast<float>(x), static_cast<float>(y));
        inside += in;
        if (i < 65536) insideFirstBlock += in;
      }
      w.addRow();
    }
    w.commit();
  }
  // The copy with the test folded in (what a run with a new name does): the same records as
  // copying and deleting. Stopped after its first block, it keeps the rest untested.
  const std::string select = db.translate("Select [x], [y] Into [复] From [多]").sql;
  db.execute("Select [x], [y] Into [复] From [多] Where False");
  ClipReport copied = copyByRegion(db, select, "多", "复", "x", "y", p.region, true);
  EXPECT_EQ(copied.tested, 200000);
  EXPECT_EQ(copied.removed, 200000 - inside);
  EXPECT_FALSE(copied.stopped);
  struct StopAfterOneBlock : Progress {
    bool pump() override { return false; }
  } stop;
  db.execute("Select [x], [y] Into [停] From [多] Where False");
  ClipReport halted = copyByRegion(db, select, "多", "停", "x", "y", p.region, true, stop);
  EXPECT_TRUE(halted.stopped);
  EXPECT_EQ(halted.tested, 65536);
  EXPECT_EQ(db.rowCount("停"), insideFirstBlock + (200000 - 65536));

  ClipReport rep = deleteByRegion(db, "多", "x", "y", p.region, true);
  EXPECT_EQ(rep.tested, 200000);
  EXPECT_EQ(db.rowCount("多"), inside);
  EXPECT_EQ(rep.removed, 200000 - inside);
  Cursor c = db.query("Select [x], [y] From [多]");
  Cursor d = db.query("Select [x], [y] From [复]");
  while (c.next()) {
    ASSERT_FALSE(c.isNull(1));
    EXPECT_TRUE(p.region.contains(c.getFloat(0), c.getFloat(1)));
    ASSERT_TRUE(d.next());
    ASSERT_EQ(c.getDouble(0), d.getDouble(0));
    ASSERT_EQ(c.getDouble(1), d.getDouble(1));
  }
  EXPECT_FALSE(d.next());
  // Keeping the outside takes the complement, the records without y among it.
  db.execute("Select * Into [多2] From [多]");
  rep = deleteByRegion(db, "多2", "x", "y", p.region, false);
  EXPECT_EQ(db.rowCount("多2"), 0);
  EXPECT_EQ(rep.removed, inside);
}

TEST_F(TableClipTest, ScatterFilesGoIntoSingleFieldsKeptRecordsOnly) {
  ScatterFile s;
  s.names = {"X", "Y", "V", "W"};
  s.recordCount = 100;
  for (int i = 0; i < 100; ++i)
    for (float v : {float(i % 10), float(i / 10), i == 33 ? NULL_VALUE : float(i), 2.5f * i})
      s.values.push_back(v);
  s.origin = "C-Data";
  s.magic = kScatMagicA;
  ASSERT_EQ(writeAsciiScatter(tmp.file("pts.txt"), s), ScatterError::None);
  s.magic = kScatMagicB;
  ASSERT_EQ(writeBinaryScatter(tmp.file("pts.dat"), s), ScatterError::None);
  for (auto [kind, file] : {std::pair{ClipSourceKind::AsciiScatter, "pts.txt"},
                            std::pair{ClipSourceKind::BinaryScatter, "pts.dat"}}) {
    ExternalSource ext;
    ASSERT_TRUE(loadExternalSource(db, kind, tmp.file(file), ext).ok);
    EXPECT_EQ(ext.fields.coordinates, s.names);
    EXPECT_EQ(ext.fields.x, "X");
    EXPECT_EQ(ext.fields.y, "Y");
    TableClipJob j = job();
    j.kind = kind;
    j.scatter = &ext.scatter;
    j.x = "X";
    j.y = "Y";
    j.variables = {"V"};
    ScriptedInteraction yes({}, Answer::Yes);
    ASSERT_TRUE(clipTable(db, j, yes).ok);
    EXPECT_EQ(lattice("剪裁结果", "X", "Y"), expected(true));
    auto f = db.fields("剪裁结果");
    ASSERT_EQ(f.size(), 3u);
    for (const auto& d : f) EXPECT_EQ(d.type, JetType::Single);
    // The null test is not applied: a null value travels as it is.
    EXPECT_EQ(valueToDouble(db.scalar("Select [V] From [剪裁结果] Where [X]=3 And [Y]=3")),
              static_cast<double>(NULL_VALUE));
  }
  ExternalSource ext;
  EXPECT_EQ(loadExternalSource(db, ClipSourceKind::BinaryScatter, tmp.file("pts.txt"), ext).message,
            "文件格式不正确!! 请检查.");
  EXPECT_EQ(loadExternalSource(db, ClipSourceKind::AsciiScatter, tmp.file("none.txt"), ext).message,
            "打开文本数据表错 -- 文件未找到");
}

TEST_F(TableClipTest, DbaseFilesAreReadIntoTheTemporaryTable) {
  db.execute("Create Table [pts] ([X] SINGLE, [Y] SINGLE, [AU] SINGLE, [NAME] TEXT(8))");
  db.begin();
  for (int i = 0; i < 100; ++i)
    db.execute("Insert Into [pts] Values (?, ?, ?, ?)",
               {Value(double(i % 10)), Value(double(i / 10)), Value(i * 0.5),
                Value("s" + std::to_string(i))});
  db.commit();
  ExportOptions dbf;
  dbf.format = ExportFormat::Dbf;
  ASSERT_TRUE(exportTable(db, "pts", tmp.file("pts.dbf"), dbf, noProgress()).ok);
  ExternalSource ext;
  ASSERT_TRUE(loadExternalSource(db, ClipSourceKind::DBaseIV, tmp.file("pts.dbf"), ext).ok);
  EXPECT_EQ(ext.connect, "Dbase IV;DATABASE=" + tmp.str());
  ASSERT_TRUE(db.tableExists("TempOutDBFileIn"));
  EXPECT_EQ(db.rowCount("TempOutDBFileIn"), 100);
  EXPECT_EQ(ext.fields.coordinates, (std::vector<std::string>{"X", "Y", "AU"}));
  EXPECT_EQ(ext.fields.variables, (std::vector<std::string>{"X", "Y", "AU", "NAME"}));
  std::vector<std::string> registered;
  listRegisteredTables(db, registered);
  EXPECT_EQ(findListItem("TempOutDBFileIn", registered), -1);

  TableClipJob j = job();
  j.kind = ClipSourceKind::DBaseIV;
  j.x = "X";
  j.y = "Y";
  j.variables = {"AU", "NAME"};
  ScriptedInteraction yes({}, Answer::Yes);
  ASSERT_TRUE(clipTable(db, j, yes).ok);
  EXPECT_EQ(lattice("剪裁结果", "X", "Y"), expected(true));
  EXPECT_EQ(valueToText(db.scalar("Select [NAME] From [剪裁结果] Where [X]=8 And [Y]=9")), "s98");

  // Loading again replaces the table; dropping it leaves nothing behind.
  ASSERT_TRUE(loadExternalSource(db, ClipSourceKind::FoxPro26, tmp.file("pts.dbf"), ext).ok);
  EXPECT_EQ(ext.connect, "FoxPro 2.6;DATABASE=" + tmp.str());
  dropExternalTable(db);
  EXPECT_FALSE(db.tableExists("TempOutDBFileIn"));

  // A file that is no dBASE file, and a path without a directory.
  test::writeFile(tmp.file("junk.dbf"), "this is not a dBASE file at all");
  Outcome o = loadExternalSource(db, ClipSourceKind::DBaseIII, tmp.file("junk.dbf"), ext);
  EXPECT_EQ(o.message.rfind("打开DBase DBF数据表错 -- ", 0), 0u) << o.message;
  o = loadExternalSource(db, ClipSourceKind::FoxPro30, tmp.file("junk.dbf"), ext);
  EXPECT_EQ(o.message.rfind("打开FoxPro DBF数据表错 -- ", 0), 0u) << o.message;
  EXPECT_FALSE(db.tableExists("TempOutDBFileIn"));
  EXPECT_EQ(loadExternalSource(db, ClipSourceKind::DBase5, "pts.dbf", ext).message,
            "外部数据文件不正确.");
}

TEST_F(TableClipTest, ExcelSheetsBearTheFileName) {
  auto workbook = [](const std::string& path, const char* sheet) {
    GDALAllRegister();
    GDALDatasetH ds =
        GDALCreate(GDALGetDriverByName("XLSX"), path.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
    OGRLayerH l = GDALDatasetCreateLayer(ds, sheet, nullptr, wkbNone, nullptr);
    for (const char* name : {"E", "N", "Cu"}) {
      OGRFieldDefnH d = OGR_Fld_Create(name, OFTReal);
      OGR_L_CreateField(l, d, 1);
      OGR_Fld_Destroy(d);
    }
    for (int i = 0; i < 100; ++i) {
      OGRFeatureH f = OGR_F_Create(OGR_L_GetLayerDefn(l));
      OGR_F_SetFieldDouble(f, 0, i % 10);
      OGR_F_SetFieldDouble(f, 1, i / 10);
      OGR_F_SetFieldDouble(f, 2, 3.5 * i);
      EXPECT_EQ(OGR_L_CreateFeature(l, f), OGRERR_NONE);
      OGR_F_Destroy(f);
    }
    GDALClose(ds);
  };
  workbook(tmp.file("化探.xlsx"), "化探");
  workbook(tmp.file("other.xlsx"), "Sheet1");
  ExternalSource ext;
  ASSERT_TRUE(loadExternalSource(db, ClipSourceKind::Excel8, tmp.file("化探.xlsx"), ext).ok);
  EXPECT_EQ(ext.connect, "Excel 8.0;DATABASE=" + tmp.file("化探.xlsx"));
  EXPECT_EQ(ext.fields.x, "E");
  EXPECT_EQ(ext.fields.y, "N");
  TableClipJob j = job();
  j.kind = ClipSourceKind::Excel8;
  j.x = "E";
  j.y = "N";
  j.variables = {"Cu"};
  j.keepInside = false;
  ScriptedInteraction yes({}, Answer::Yes);
  ASSERT_TRUE(clipTable(db, j, yes).ok);
  EXPECT_EQ(lattice("剪裁结果", "E", "N"), expected(false));
  Outcome o = loadExternalSource(db, ClipSourceKind::Excel5, tmp.file("other.xlsx"), ext);
  EXPECT_EQ(o.message.rfind("打开Excel XSL 数据表错 -- ", 0), 0u) << o.message;
  EXPECT_FALSE(db.tableExists("TempOutDBFileIn"));
}

}  // namespace
}  // namespace sarnoth
