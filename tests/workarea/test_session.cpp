// Start-up: the settings file reader and its limits, the refusal, the unit factor, the log.
#include <gtest/gtest.h>

#include "test_support.h"
#include "workarea/profile_file.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

using test::TempDir;
using test::writeFile;

TEST(ProfileFile, SectionsKeysQuotesAndComments) {
  TempDir tmp;
  writeFile(tmp.file("p.ini"),
            "; a comment\r\nstray=1\r\n[CurSysSet]\r\n CurWorkPath = D:\\Work\\A\\ \r\n"
            "quoted=\"a b\"\r\n[Other]\r\ncurworkpath=wrong\r\nn=-42abc\r\nbad=x\r\n");
  std::string p = tmp.file("p.ini");
  EXPECT_EQ(getProfileString(p, "CURSYSSET", "curWorkPath", "", 200), "D:\\Work\\A\\");
  EXPECT_EQ(getProfileString(p, "cursysset", "quoted", "", 200), "a b");
  EXPECT_EQ(getProfileString(p, "CURSYSSET", "stray", "dflt", 200), "dflt");
  EXPECT_EQ(getProfileString(tmp.file("none.ini"), "A", "b", "d", 200), "d");
  EXPECT_EQ(getProfileInt(p, "Other", "n", 7), -42);
  EXPECT_EQ(getProfileInt(p, "Other", "bad", 7), 0);
  EXPECT_EQ(getProfileInt(p, "Other", "missing", -111111), -111111);
}

TEST(ProfileFile, BufferLimitsCountCharactersInGbkFiles) {
  TempDir tmp;
  std::string longPath(250, 'a');
  std::string cjk;
  for (int i = 0; i < 150; ++i) cjk += "工";
  writeFile(tmp.file("p.ini"), utf8ToGbk("[S]\nlong=" + longPath + "\ncjk=" + cjk + "\n"));
  std::string p = tmp.file("p.ini");
  EXPECT_EQ(getProfileString(p, "S", "long", "", 200).size(), 199u);
  EXPECT_EQ(getProfileString(p, "S", "cjk", "", 100), cutToChars(cjk, 99));
  EXPECT_EQ(getProfileString(p, "S", "cjk", "", 200), cjk) << "GBK text decoded whole";
  // Binary garbage reads as a file without the key.
  writeFile(tmp.file("junk.ini"), std::string("\xff\xfe\x00[\x01=", 6) + std::string(300, '\xc8'));
  EXPECT_EQ(getProfileString(tmp.file("junk.ini"), "S", "k", "d", 200), "d");
}

TEST(TextCodec, GbkFieldsAreCutOnCharacterBoundaries) {
  std::string name = "横坐标ABC";  // 6 + 3 bytes in GBK
  EXPECT_EQ(utf8ToGbk(name).size(), 9u);
  EXPECT_EQ(gbkToUtf8(utf8ToGbk(name)), name);
  std::string f = gbkFixedField(name, 5);
  ASSERT_EQ(f.size(), 5u);
  EXPECT_EQ(readGbkField(f), "横坐");  // the third character would straddle the width
  EXPECT_EQ(readGbkField(gbkFixedField("Au", 20)), "Au");
  EXPECT_EQ(readGbkField(std::string("Cu\0\0junk", 8)), "Cu");
  EXPECT_EQ(decodeFileText("\xEF\xBB\xBFok"), "ok");
  EXPECT_EQ(decodeFileText(utf8ToGbk("纵坐标")), "纵坐标");
  // A short GBK name that happens to be well-formed UTF-8 is still read as GBK.
  EXPECT_EQ(decodeFileText(utf8ToGbk("铜Cu")), "铜Cu");
  EXPECT_EQ(decodeFileText(utf8ToGbk("图 3")), "图 3");  // CD BC passes for a Greek sign
  EXPECT_EQ(decodeFileText("航磁ΔT"), "航磁ΔT");
  EXPECT_EQ(decodeFileText("ΔT,µg/g,°C"), "ΔT,µg/g,°C");
}

class StartupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(createWorkArea(area.str()).ok);
    createSystemDatabase(sys.dir());
  }
  void settings(const std::string& body) { writeFile(sys.file("dmxsysset.log"), utf8ToGbk(body)); }
  long long logCount() {
    Database db = openStoreFor(sys.dir() + "DMXManag.mdb");
    return db.rowCount("OPRecoords");
  }
  TempDir sys, area;
};

TEST_F(StartupTest, RefusesWithoutAWorkArea) {
  StartupResult r = loadSession(sys.dir());
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.refusal, "请运行主程序设置当前工作区.");
  settings("[CURSYSSET]\nCurWorkPath=C:\n");
  EXPECT_FALSE(loadSession(sys.dir()).ok) << "two characters count as not set";
  settings("[CURSYSSET]\nCurWorkPath=C:\\\n");
  EXPECT_TRUE(loadSession(sys.dir()).ok);
  EXPECT_EQ(logCount(), 0) << "start-up steps log nothing by themselves";
}

TEST_F(StartupTest, PathsAndUnitFactor) {
  settings("[CURSYSSET]\nCurBasePath=P:\nCurWorkPath=" + area.dir() +
           "\nCurTempPath=" + area.dir() + "temp/\n");
  ASSERT_TRUE(loadSession(sys.dir()).ok);
  EXPECT_EQ(gSysPath, sys.dir());
  EXPECT_EQ(gBasePath, "") << "shorter than 3 characters";
  EXPECT_EQ(gWorkPath, area.dir());
  EXPECT_EQ(gTempPath, area.dir() + "temp/");
  EXPECT_FLOAT_EQ(gUnitFactor, 1.0f);
  const std::pair<const char*, float> cases[] = {{"[WorkRegn]\nUnitF=0.001\n", 0.001f},
                                                 {"[WorkRegn]\nUnitF=   \n", 1.0f},
                                                 {"[WorkRegn]\nUnitF=abc\n", 1.0f},
                                                 {"[Other]\nUnitF=5\n", 1.0f},
                                                 {"[workregn]\nunitf=1000\n", 1000.0f}};
  for (const auto& [text, want] : cases) {
    writeFile(area.file("geomaps.inf"), text);
    ASSERT_TRUE(loadSession(sys.dir()).ok);
    EXPECT_FLOAT_EQ(gUnitFactor, want) << text;
  }
  std::filesystem::remove(area.file("geomaps.inf"));
  ASSERT_TRUE(loadSession(sys.dir()).ok);
  EXPECT_FLOAT_EQ(gUnitFactor, 1.0f);
}

TEST_F(StartupTest, OperationLogRecord) {
  settings("[CURSYSSET]\nCurWorkPath=" + area.dir() +
           "\nCurUserMK=zhang san\nCurUserNM=张 三\nCurUserID=17\n");
  ASSERT_TRUE(loadSession(sys.dir()).ok);
  writeOperationLog(kLogCode, kLogSubsystem, kLogEnter);
  settings("[CURSYSSET]\nCurWorkPath=" + area.dir() + "\n");
  writeOperationLog(kLogCode, kLogSubsystem, kLogLeave);
  Database db = openStoreFor(sys.dir() + "DMXManag.mdb");
  Recordset rs = Recordset::openTable(db, "OPRecoords");
  ASSERT_EQ(rs.recordCount(), 2);
  EXPECT_EQ(valueToDouble(rs.value("USR_ID")), 17);
  EXPECT_EQ(rs.getText("UMARK"), "zhang");
  EXPECT_EQ(rs.getText("用户名"), "张");
  EXPECT_EQ(rs.getText("操作记录"), "数据分析与处理");
  EXPECT_EQ(rs.getText("备注"), "进入");
  EXPECT_EQ(rs.getText("操作日期"), todayText());
  rs.moveNext();
  EXPECT_EQ(valueToDouble(rs.value("USR_ID")), -111111) << "missing user id";
  EXPECT_EQ(rs.getText("备注"), "退出");
}

TEST_F(StartupTest, LogIsLostSilentlyWithoutSystemDatabase) {
  TempDir bare;
  settings("[CURSYSSET]\nCurWorkPath=" + area.dir() + "\n");
  gSysPath = bare.dir();
  EXPECT_NO_THROW(writeOperationLog(kLogCode, kLogSubsystem, kLogEnter));
  EXPECT_FALSE(std::filesystem::exists(bare.file("DMXManag.sqlite")));
  // A system database without the table loses the record too.
  {
    Database d = Database::open(bare.file("DMXManag.sqlite"), true);
    d.execute("Create Table [x] ([a] LONG)");
  }
  EXPECT_NO_THROW(writeOperationLog(kLogCode, kLogSubsystem, kLogEnter));
}

}  // namespace
}  // namespace sarnoth
