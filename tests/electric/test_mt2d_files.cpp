// The files of the 2-D magnetotelluric inversion: each layout read back as written, small broken
// files refused with a message that names the file and the item, the library call refusing
// mismatched inputs without writing, its outputs moved into place, and the section text lines.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "closed/mt2d.h"
#include "electric/mt2d_demo.h"
#include "electric/mt2d_files.h"
#include "electric/mt2d_run.h"
#include "electric/mt2d_sections.h"
#include "test_support.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

class Mt2dFiles : public ::testing::Test, protected test::ScratchFiles {
 protected:
  // A tiny but complete set: 5 sites, 4 frequencies, 20 × 12 cells.
  static Mt2dDemoSet tinySet() {
    Mt2dDemoSize z;
    z.sites = 5;
    z.frequencies = 4;
    z.siteSpacing = 1000;
    z.padColumns = 5;
    z.earthRows = 12;
    z.airRows = 4;
    z.blockSize = 3;
    return makeMt2dDemoSet(z);
  }
  void writeSet(const Mt2dDemoSet& s, const std::string& stem) {
    ASSERT_TRUE(writeMt2dBasic(path(stem + ".mt1"), s.basic));
    ASSERT_TRUE(writeMt2dGrids(path(stem + ".mt2"), s.mesh));
    ASSERT_TRUE(writeMt2dModel(path(stem + ".mt3"), s.start));
    ASSERT_TRUE(writeMt2dPoints(path(stem + ".mt4"), s.data));
  }
};

TEST_F(Mt2dFiles, EveryInputReadsBackAsWritten) {
  Mt2dDemoSet s = tinySet();
  s.start.fixed[1] = 1;                 // a block held
  s.data.sites[2].name = "测点 3, 北";  // GBK, a blank and a comma inside the quotes
  s.data.te.rho[5] = -1;                // not measured
  writeSet(s, "a");
  EXPECT_EQ(mtFirstLine(path("a.mt4")), kMt4Tag);
  // The names are GBK on disk.
  EXPECT_NE(get("a.mt4").find(utf8ToGbk("测点 3, 北")), std::string::npos);

  const auto b = readMt2dBasic(path("a.mt1"));
  ASSERT_TRUE(b) << b.message;
  EXPECT_EQ(b.value->mode, MtMode::Joint);
  EXPECT_EQ(b.value->sites, 5);
  EXPECT_EQ(b.value->horizontalNodes, s.mesh.columns() + 1);
  EXPECT_EQ(b.value->airNodes, s.mesh.airRows());
  EXPECT_EQ(b.value->earthNodes, s.mesh.earthRows() + 1);
  EXPECT_DOUBLE_EQ(b.value->phaseFloor, s.basic.phaseFloor);

  const auto m = readMt2dGrids(path("a.mt2"));
  ASSERT_TRUE(m) << m.message;
  EXPECT_DOUBLE_EQ(m.value->y0, s.mesh.y0);
  ASSERT_EQ(m.value->widths.size(), s.mesh.widths.size());
  for (std::size_t i = 0; i < s.mesh.widths.size(); ++i)
    EXPECT_NEAR(m.value->widths[i], s.mesh.widths[i], 1e-6 * s.mesh.widths[i]);
  EXPECT_EQ(m.value->air.size(), s.mesh.air.size());
  EXPECT_EQ(m.value->earth.size(), s.mesh.earth.size());

  const auto mo = readMt2dModel(path("a.mt3"));
  ASSERT_TRUE(mo) << mo.message;
  EXPECT_EQ(mo.value->columnSpans, s.start.columnSpans);
  EXPECT_EQ(mo.value->rowSpans, s.start.rowSpans);
  EXPECT_EQ(mo.value->fixed, s.start.fixed);
  EXPECT_EQ(mo.value->resistivity, s.start.resistivity);  // positive, the sign read as the flag

  const auto d = readMt2dPoints(path("a.mt4"));
  ASSERT_TRUE(d) << d.message;
  EXPECT_EQ(d.value->mode, MtMode::Joint);
  EXPECT_EQ(d.value->sites[2].name, "测点 3, 北");
  EXPECT_NEAR(d.value->sites[4].position, s.data.sites[4].position, 1e-6);
  EXPECT_FALSE(isMeasured(d.value->te.rho[5]));
  for (std::size_t i = 0; i < s.data.tm.rho.size(); ++i) {
    EXPECT_NEAR(d.value->tm.rho[i], s.data.tm.rho[i], 1e-6 * s.data.tm.rho[i]);
    EXPECT_NEAR(d.value->tm.phase[i], s.data.tm.phase[i], 1e-4);
    EXPECT_DOUBLE_EQ(d.value->tm.rhoErr[i], s.data.tm.rhoErr[i]);
  }
}

TEST_F(Mt2dFiles, OutputsReadBackAsWritten) {
  Mt2dResult r;
  r.iteration = 12;
  r.rms = 1.2345;
  r.nodePositions = {-100, 0, 150};
  r.nodeDepths = {0, 50, 120};
  r.log10Rho = {1, 2, 1.5, 3.25};
  r.mode = MtMode::TM;
  r.frequencies = {10, 1, 0.1};
  r.sitePositions = {-50, 75};
  r.response.tm.rho = {10, 11, 12, 20, 21, 22};
  r.response.tm.phase = {40, 41, 42, 50, 51, 52};
  ASSERT_TRUE(writeMt2dResult(path(mt2dResultName(12)), r));
  const std::vector<std::string> lines = [&] {
    std::vector<std::string> out;
    std::string t = get("Mt2DInvOut.12");
    for (std::size_t a = 0, b; a < t.size(); a = b + 1) {
      b = t.find('\n', a);
      if (b == std::string::npos) b = t.size();
      out.push_back(t.substr(a, b - a));
    }
    return out;
  }();
  EXPECT_EQ(lines[1], "resistivity model(log10)\r");
  const auto back = readMt2dResult(path("Mt2DInvOut.12"));
  ASSERT_TRUE(back) << back.message;
  EXPECT_EQ(back.value->iteration, 12);
  EXPECT_NEAR(back.value->rms, 1.2345, 1e-9);
  EXPECT_EQ(back.value->log10Rho, r.log10Rho);
  EXPECT_EQ(back.value->mode, MtMode::TM);
  EXPECT_EQ(back.value->response.tm.rho, r.response.tm.rho);
  EXPECT_EQ(back.value->response.tm.phase, r.response.tm.phase);
  EXPECT_TRUE(back.value->response.te.rho.empty());

  Mt2dFieldFile f;
  f.data.mode = MtMode::TE;
  f.data.frequencies = {8, 0.5};
  f.data.sites = {{"A", 0}, {"B", 250}};
  f.data.te.rho = {100, -1, 90, 80};
  f.data.te.phase = {45, 0, 47, 50};
  f.initial.te.rho = {100, 100, 100, 100};
  f.initial.te.phase = {45, 45, 45, 45};
  ASSERT_TRUE(writeMt2dField(path("Field.te"), f));
  const auto fb = readMt2dField(path("Field.te"));
  ASSERT_TRUE(fb) << fb.message;
  EXPECT_EQ(fb.value->data.frequencies, f.data.frequencies);
  EXPECT_FALSE(isMeasured(fb.value->data.te.rho[1]));
  EXPECT_DOUBLE_EQ(fb.value->data.te.rho[3], 80);
  EXPECT_DOUBLE_EQ(fb.value->initial.te.phase[2], 45);

  EXPECT_EQ(mt2dResultName(3), "Mt2DInvOut.03");
  EXPECT_EQ(mt2dResultName(10), "Mt2DInvOut.10");
  put("Iteration.log",
      iterationLogLine(1, 3.5, 12, 100) + "\r\n\r\n" + iterationLogLine(2, 1.0, 15, 30) + "\r\n");
  EXPECT_EQ(countIterationLines(path("Iteration.log")), 2);
}

TEST_F(Mt2dFiles, BrokenFilesAreRefusedByName) {
  put("tag.mt1", "2DMT Inverse Grids Information File\r\n3,1,1,1,3,3\r\n");
  EXPECT_EQ(readMt2dBasic(path("tag.mt1")).message, "您读入的基本信息数据文件不正确，请重新确认！");
  put("tag.mt2", std::string(kMt1Tag) + "\r\n3,1,1,1,3,3\r\n");
  EXPECT_EQ(readMt2dGrids(path("tag.mt2")).message, "您读入的网格剖分数据文件不正确，请重新确认！");
  EXPECT_EQ(readMt2dModel(path("tag.mt1")).message, "您读入的初始模型数据文件不正确，请重新确认！");
  EXPECT_EQ(readMt2dPoints(path("tag.mt1")).message,
            "您读入的测点路径数据文件不正确，请重新确认！");

  // A count far beyond the limits is refused before anything is made of it.
  put("huge.mt2", std::string(kMt2Tag) + "\n999999999,2,3\n0\n");
  EXPECT_NE(readMt2dGrids(path("huge.mt2")).message.find("水平网格节点数目"), std::string::npos);
  // Cut short.
  put("short.mt2", std::string(kMt2Tag) + "\n4,1,3\n0\n100,100\n");
  const auto cut = readMt2dGrids(path("short.mt2"));
  EXPECT_FALSE(cut);
  EXPECT_NE(cut.message.find("网格剖分数据文件"), std::string::npos);
  // Text where a number belongs, and a spacing of 0.
  put("text.mt2", std::string(kMt2Tag) + "\n3,1,2\n0\n100,abc\n50\n20\n");
  EXPECT_NE(readMt2dGrids(path("text.mt2")).message.find("abc"), std::string::npos);
  put("zero.mt2", std::string(kMt2Tag) + "\n3,1,2\n0\n100,0\n50\n20\n");
  EXPECT_NE(readMt2dGrids(path("zero.mt2")).message.find("大于 0"), std::string::npos);
  // A frequency of 0.
  put("f0.mt4", std::string(kMt4Tag) + "\nTE\n1,2\n10,0\nA,0\n100,45,5,1\n100,45,5,1\n");
  EXPECT_NE(readMt2dPoints(path("f0.mt4")).message.find("频率必须大于 0"), std::string::npos);
  // No mode line.
  put("mode.mt4", std::string(kMt4Tag) + "\n1,2\n");
  EXPECT_NE(readMt2dPoints(path("mode.mt4")).message.find("TE、TM 或 TETM"), std::string::npos);
  // A result file without the model line.
  put("Mt2DInvOut.01", "x\ny\n");
  EXPECT_EQ(readMt2dResult(path("Mt2DInvOut.01")).message,
            "您选择的不是大地电磁二维反演结果数据文件，请重新确认！");
  // Garbage of every kind never crashes a reader.
  std::string junk(4000, '\0');
  for (std::size_t i = 0; i < junk.size(); ++i) junk[i] = static_cast<char>((i * 7919) % 251);
  for (const char* tag : {kMt1Tag, kMt2Tag, kMt3Tag, kMt4Tag}) {
    put("junk", std::string(tag) + "\n" + junk);
    EXPECT_FALSE(readMt2dBasic(path("junk")) && readMt2dGrids(path("junk")) &&
                 readMt2dModel(path("junk")) && readMt2dPoints(path("junk")));
  }
}

TEST_F(Mt2dFiles, LibraryRefusesMismatchesAndWritesNothing) {
  Mt2dDemoSet s = tinySet();
  writeSet(s, "t");
  const std::string run = path("run");
  auto call = [&] {
    return closed::mt2dInverse(path("t.mt1"), path("t.mt2"), path("t.mt3"), path("t.mt4"), run,
                               noProgress());
  };
  // The basic file's site count against the point file's.
  Mt2dBasic wrong = s.basic;
  wrong.sites = 6;
  ASSERT_TRUE(writeMt2dBasic(path("t.mt1"), wrong));
  closed::Mt2dCallResult r = call();
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.message, "基本信息数据文件的测点数目 (6) 与测点路径数据文件 (5) 不一致");
  EXPECT_FALSE(std::filesystem::exists(run + "/Iteration.log"));
  // Model spans that do not cover the mesh.
  ASSERT_TRUE(writeMt2dBasic(path("t.mt1"), s.basic));
  Mt2dModel m = s.start;
  m.columnSpans.back() += 1;
  ASSERT_TRUE(writeMt2dModel(path("t.mt3"), m));
  r = call();
  EXPECT_FALSE(r.ok);
  EXPECT_NE(r.message.find("模型块宽度之和"), std::string::npos);
  // TM asked of a TE point file.
  ASSERT_TRUE(writeMt2dModel(path("t.mt3"), s.start));
  Mt2dData te = s.data;
  te.mode = MtMode::TE;
  te.tm = {};
  ASSERT_TRUE(writeMt2dPoints(path("t.mt4"), te));
  r = call();
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.message, "测点路径数据文件中没有 TM 模式数据");
  EXPECT_FALSE(std::filesystem::exists(run + "/Field.tetm"));
}

TEST_F(Mt2dFiles, LibraryRunLeavesItsOutputsAndTheWindowMovesThem) {
  Mt2dDemoSet s = tinySet();
  s.basic.maxIterations = 2;
  s.basic.mode = MtMode::TM;
  writeSet(s, "t");
  const std::string run = path("run"), target = path("2DMT");
  std::filesystem::create_directories(target);
  test::writeFile(run + "/mt2dinvout.7", "stale");  // the library clears its own leftovers
  const closed::Mt2dCallResult r = closed::mt2dInverse(path("t.mt1"), path("t.mt2"), path("t.mt3"),
                                                       path("t.mt4"), run, noProgress());
  ASSERT_TRUE(r.ok) << r.message;
  ASSERT_EQ(r.iterations, 2);
  EXPECT_FALSE(std::filesystem::exists(run + "/mt2dinvout.7"));
  EXPECT_TRUE(std::filesystem::exists(run + "/mt2dinvout.2"));
  EXPECT_EQ(mtFirstLine(run + "/Field.tm"), kFieldTag);
  test::writeFile(run + "/Field.te", "");  // empty: not copied

  EXPECT_EQ(collectMt2dOutputs(run, target), 2);
  EXPECT_TRUE(std::filesystem::exists(target + "/Field.tm"));
  EXPECT_FALSE(std::filesystem::exists(run + "/Field.tm"));
  EXPECT_FALSE(std::filesystem::exists(target + "/Field.te"));
  EXPECT_TRUE(std::filesystem::exists(target + "/Iteration.log"));
  EXPECT_EQ(countIterationLines(target + "/Iteration.log"), 2);
  const auto res = readMt2dResult(target + "/Mt2DInvOut.02");
  ASSERT_TRUE(res) << res.message;
  EXPECT_EQ(res.value->iteration, 2);
  EXPECT_EQ(res.value->columns(), s.mesh.columns());
  EXPECT_EQ(res.value->response.tm.rho.size(), 5u * 4u);
  EXPECT_TRUE(res.value->response.te.rho.empty());
}

TEST(Mt2dSections, LinesAreThreeDecimalsSeparatedByThreeBlanks) {
  EXPECT_EQ(formatXyzLine({1234.5678, -0.0001, 2}), "1234.568   0.000   2.000");
  EXPECT_EQ(formatSectionValue(-0.5), "-0.500");
  MtCurves c;
  c.rho = {100, -1, 1000, 10};
  c.phase = {45, 0, 30, 60};
  // Two sites × two frequencies, the second datum not measured.
  const auto res = pseudoSectionLines({-500, 1500}, {10, 0.1}, c, false, LengthUnit::Kilometre);
  ASSERT_EQ(res.size(), 3u);
  EXPECT_EQ(formatXyzLine(res[0]), "-0.500   1.000   2.000");
  EXPECT_EQ(formatXyzLine(res[2]), "1.500   -1.000   1.000");
  const auto pha = pseudoSectionLines({-500, 1500}, {10, 0.1}, c, true, LengthUnit::Metre);
  EXPECT_EQ(formatXyzLine(pha[1]), "1500.000   1.000   30.000");

  Mt2dResult r;
  r.nodePositions = {0, 100, 300};
  r.nodeDepths = {0, 40, 100};
  r.log10Rho = {1, 2, 0.5, 3};
  const auto prof = modelProfileLines(r, LengthUnit::Metre);
  ASSERT_EQ(prof.size(), 4u);
  EXPECT_EQ(formatXyzLine(prof[1]), "200.000   -20.000   100.000");
  EXPECT_EQ(formatXyzLine(prof[2]), "50.000   -70.000   3.162");
  EXPECT_EQ(pictureBeside("C:\\w\\Prof_Dat\\2DMT\\te.xyz"), "C:\\w\\Prof_Dat\\2DMT\\te.png");
  EXPECT_EQ(pictureBeside("/a.b/noext"), "/a.b/noext.png");
}

}  // namespace
}  // namespace sarnoth::electric
