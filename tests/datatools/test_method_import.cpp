// The method file import: one table, the form checks, the clash question and the rename slip.
#include <gtest/gtest.h>

#include <set>

#include "datatools/method_import.h"
#include "test_support.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

class MethodImport : public ::testing::Test, protected test::ScratchFiles {
 protected:
  void SetUp() override {
    work_ = tmp_.dir() + "area/";
    ASSERT_TRUE(createWorkArea(work_).ok);
  }
  std::string work_;
  std::vector<RenameRequest> renames_;
  RenameAsker answer(std::string name) {
    return [this, name](const RenameRequest& r) {
      renames_.push_back(r);
      return name;
    };
  }
};

TEST_F(MethodImport, TableCoversEveryEntryOnce) {
  std::set<std::string> names;
  for (const auto& e : methodImportTable()) {
    EXPECT_TRUE(names.insert(e.menu).second) << e.menu;
    EXPECT_FALSE(e.suffixes.empty());
  }
  EXPECT_EQ(names.size(), 45u);  // 44 geophysical entries and the profile import
  const auto* p2 = findMethodImport("mnuResIP2DP2InvDataLoad");
  ASSERT_NE(p2, nullptr);
  EXPECT_EQ(
      methodImportFilter(*p2),
      "数据文件(*.p28)|*.p28|数据文件(*.p27)|*.p27|数据文件(*.p26)|*.p26|数据文件(*.p25)|*.p25");
  EXPECT_STREQ(p2->renameSuffix, ".p28");
  EXPECT_STREQ(findMethodImport("mnuMT2DGridsInfoFileLoad")->targetDir, "Prof_Dat\\2DMT\\");
  EXPECT_EQ(findMethodImport("mnuMT2DPointInfoFileLoad"), nullptr);  // opens a window instead
}

TEST_F(MethodImport, CopiesByteForByteWithTheFinalMessage) {
  put("ds1.s1f", std::string("1,1,1\r\nA\r\n\xff\x00 bytes", 17));
  ScriptedInteraction ui;
  std::string target;
  EXPECT_EQ(importMethodFile(*findMethodImport("mnuResIP1D2J0SoundForDataLoad"), path("ds1.s1f"),
                             work_, ui, nullptr, &target),
            MethodImportResult::Imported);
  EXPECT_EQ(test::readFile(work_ + "Prof_Dat/ds1.s1f"), get("ds1.s1f"));
  EXPECT_EQ(ui.informed, std::vector<std::string>{"您选择的正演数据已经导入到工作区中!"});
}

TEST_F(MethodImport, FirstLineMustMatch) {
  put("bad.mt1", "2DMT Inverse Grids Information File\n");
  put("good.mt1", "  2DMT Inverse Based Information File  \r\nbody\n");
  const auto& e = *findMethodImport("mnuMT2DBasedInfoFileLoad");
  ScriptedInteraction ui;
  EXPECT_EQ(importMethodFile(e, path("bad.mt1"), work_, ui, nullptr), MethodImportResult::Refused);
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].rfind("Sarnoth提示信息|", 0), 0u);
  EXPECT_FALSE(test::readFile(work_ + "Prof_Dat/2DMT/bad.mt1").size());
  EXPECT_EQ(importMethodFile(e, path("good.mt1"), work_, ui, nullptr),
            MethodImportResult::Imported);
  EXPECT_EQ(test::readFile(work_ + "Prof_Dat/2DMT/good.mt1"), get("good.mt1"));
  EXPECT_EQ(ui.informed.back(), "您选择的数据已经导入到数据库中!");
}

TEST_F(MethodImport, ClashYesNoCancel) {
  const auto& e = *findMethodImport("mnuResIP1D4J1SoundInvDataLoad");
  put("s.s2i", "new");
  test::writeFile(work_ + "Prof_Dat/s.s2i", "old");
  {  // Cancel: nothing changes, no final message.
    ScriptedInteraction ui({Answer::Cancel});
    EXPECT_EQ(importMethodFile(e, path("s.s2i"), work_, ui, answer("x.s2i")),
              MethodImportResult::Cancelled);
    EXPECT_EQ(ui.asked, std::vector<std::string>{"数据文件 s.s2i 已经存在，您要替换它吗？"});
    EXPECT_TRUE(ui.informed.empty());
    EXPECT_EQ(test::readFile(work_ + "Prof_Dat/s.s2i"), "old");
    EXPECT_TRUE(renames_.empty());
  }
  {  // No, and the picker cancelled: nothing copied.
    ScriptedInteraction ui({Answer::No});
    EXPECT_EQ(importMethodFile(e, path("s.s2i"), work_, ui, answer("")),
              MethodImportResult::Cancelled);
    EXPECT_EQ(test::readFile(work_ + "Prof_Dat/s.s2i"), "old");
  }
  {  // No, then a new name from the picker in naming mode.
    ScriptedInteraction ui({Answer::No});
    EXPECT_EQ(importMethodFile(e, path("s.s2i"), work_, ui, answer("renamed.s2i")),
              MethodImportResult::Imported);
    EXPECT_EQ(test::readFile(work_ + "Prof_Dat/renamed.s2i"), "new");
    EXPECT_EQ(test::readFile(work_ + "Prof_Dat/s.s2i"), "old");
    EXPECT_EQ(renames_.back().title, "请输入您要重新命名的数据文件名");
    EXPECT_EQ(renames_.back().mask, "*.s2i");
  }
  {  // Yes replaces.
    ScriptedInteraction ui({Answer::Yes});
    EXPECT_EQ(importMethodFile(e, path("s.s2i"), work_, ui, nullptr), MethodImportResult::Imported);
    EXPECT_EQ(test::readFile(work_ + "Prof_Dat/s.s2i"), "new");
  }
}

TEST_F(MethodImport, FileFromInsideProfDatClashesWithItselfAndSurvives) {
  const auto& e = *findMethodImport("mnuGM2DProfDataLoad");
  test::writeFile(work_ + "Prof_Dat/line.gm2", "profile body");
  ScriptedInteraction ui({Answer::Yes});
  EXPECT_EQ(importMethodFile(e, work_ + "Prof_Dat/line.gm2", work_, ui, nullptr),
            MethodImportResult::Imported);
  EXPECT_EQ(ui.asked.size(), 1u);
  EXPECT_EQ(test::readFile(work_ + "Prof_Dat/line.gm2"), "profile body");
}

TEST_F(MethodImport, TwoElectrodeEntryRenamesWithTheThreeElectrodeSuffix) {
  const auto& e = *findMethodImport("mnuHD2ADataLoad");
  EXPECT_EQ(methodImportFilter(e), "数据文件(*.hd2)|*.hd2");
  put("a.hd2", "二极实测数据\n1 2 3\n");
  test::writeFile(work_ + "Prof_Dat/a.hd2", "old");
  ScriptedInteraction ui({Answer::No});
  EXPECT_EQ(importMethodFile(e, path("a.hd2"), work_, ui, answer("b.hd3")),
            MethodImportResult::Imported);
  ASSERT_EQ(renames_.size(), 1u);
  EXPECT_EQ(renames_[0].mask, "*.hd3");
  EXPECT_EQ(renames_[0].extension, ".hd3");
  EXPECT_EQ(test::readFile(work_ + "Prof_Dat/b.hd3"), get("a.hd2"));
}

TEST_F(MethodImport, ProfileFilesByMagicAndInputBox) {
  const auto& e = *findMethodImport("mnuDataPrevProc104");
  EXPECT_EQ(methodImportFilter(e), "剖面数据文件(*.PRF)|*.prf|所有文件(*.*)|*.*");
  put("bad.prf", "#SRNTHSCATA#\n");
  put("p.prf", "#SRNTHPROFA#\n1 2\n");
  ScriptedInteraction ui({Answer::No});
  EXPECT_EQ(importMethodFile(e, path("bad.prf"), work_, ui, nullptr), MethodImportResult::Refused);
  EXPECT_EQ(ui.informed.back(), "数据格式不正确，请检查");
  test::writeFile(work_ + "Prof_Dat/p.prf", "old");
  EXPECT_EQ(importMethodFile(e, path("p.prf"), work_, ui, answer("line7")),
            MethodImportResult::Imported);
  EXPECT_EQ(renames_.back().by, RenameBy::InputBox);
  EXPECT_EQ(renames_.back().title, "给定新的文件名称");
  EXPECT_EQ(renames_.back().defaultText, "newfile");
  EXPECT_EQ(test::readFile(work_ + "Prof_Dat/line7.prf"), get("p.prf"));
  EXPECT_EQ(ui.informed.back(), "剖面数据文件已导入。");
}

}  // namespace
}  // namespace sarnoth
