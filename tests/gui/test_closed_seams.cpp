// The closed pieces as FrmMain reaches them: the product controls get their arguments, the
// components' file requests are answered with the pickers exactly as their tables say, the
// external programs start (or not) as the commands require, and a missing piece says so.
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <csignal>
#include <thread>

#include "app/frmSelFiles.h"
#include "app/frmSelectFiles.h"
#include "app/frm_main.h"
#include "app/messages.h"
#include "closed/csamt3d_fwd_com.h"
#include "closed/geomg_inv.h"
#include "closed/gmc.h"
#include "closed/help_viewer.h"
#include "closed/invs3d_com.h"
#include "closed/korva_ocx.h"
#include "closed/low_latitude_reduction.h"
#include "closed/sarnoth_ax.h"
#include "gui_support.h"

namespace sarnoth::gui {
namespace {

using sarnoth::testing::ModalScript;
using sarnoth::testing::SessionFixture;

void noEnd(int) {}

class ClosedSeamTest : public SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    setProcessEndHook(&noEnd);
  }
  void TearDown() override {
    for (long pid : started_) ::kill(static_cast<pid_t>(pid), SIGKILL);
    setProcessEndHook(nullptr);
    SessionFixture::TearDown();
  }
  // An executable script standing for an external program: it notes each start in `log`.
  void fakeProgram(const std::string& name, const std::string& log) {
    const std::string path = sys(name);
    writeFile(path, "#!/bin/sh\necho started >> '" + log + "'\nwhile :; do sleep 1; done\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
  static int lines(const std::string& path) {
    std::string s = readFile(path);
    return static_cast<int>(std::count(s.begin(), s.end(), '\n'));
  }
  static void waitForLines(const std::string& path, int n) {
    for (int i = 0; i < 200 && lines(path) < n; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::vector<long> started_;
};

// Picks `name` in a picker, or types it into a naming picker, or cancels when empty; notes the
// picker's caption.
ModalScript::Step answer(const QString& name, std::vector<QString>* captions = nullptr) {
  return [name, captions](QWidget* w) {
    if (captions) captions->push_back(w->windowTitle());
    auto* list = w->findChild<QListWidget*>("flstGridFiles");
    auto* text = w->findChild<QLineEdit*>("txtFile");
    if (name.isEmpty()) {
      w->findChild<QPushButton*>("btnCancel")->click();
      return;
    }
    auto items = list->findItems(name, Qt::MatchExactly);
    if (!items.isEmpty())
      list->setCurrentItem(items.front());
    else
      text->setText(name);
    w->findChild<QPushButton*>("btnSure")->click();
  };
}

TEST_F(ClosedSeamTest, Invs3DRequestsAreAnsweredAsTheTableSays) {
  writeGridFile(area("Grid_dat/obs1.grd"), "#SRNTHGRIDB#", 3, 3, 0, 0, 1, 1);
  writeGridFile(area("Grid_dat/obs2.grd"), "#SRNTHGRIDB#", 3, 3, 0, 0, 1, 1);
  writeFile(area("Prof_Dat/start.vol"), "v");
  writeFile(area("Prof_Dat/ctl.par"), "p");

  std::vector<std::string> got;
  std::vector<QString> captions;
  closed::installInvs3DCom([&](closed::ComponentHost& host) {
    for (int order = 1; order <= 6; ++order) got.push_back(host.requestFile(order));
    return Outcome::success();
  });
  FrmMain w;
  ModalScript script({answer("obs1.grd", &captions), answer("obs2.grd", &captions),
                      answer("start.vol", &captions), answer("ctl.par", &captions),
                      answer("result", &captions), answer("body", &captions)});
  ScriptedMessages boxes;
  w.runCommand("frmGm3DWXInverse");
  closed::installInvs3DCom(nullptr);

  ASSERT_EQ(got.size(), 6u);
  EXPECT_EQ(got[0], gWorkPath + "Grid_dat\\obs1.grd");
  EXPECT_EQ(got[1], gWorkPath + "Grid_dat\\obs2.grd");
  EXPECT_EQ(got[2], gWorkPath + "Prof_dat\\start.vol");
  EXPECT_EQ(got[3], gWorkPath + "Prof_dat\\ctl.par");
  EXPECT_EQ(got[4], gWorkPath + "Grid_dat\\result.grd");
  EXPECT_EQ(got[5], gWorkPath + "Prof_dat\\body.vol");
  ASSERT_EQ(captions.size(), 6u);
  EXPECT_EQ(captions[0], QString::fromUtf8("请选择您要打开数据的文件名"));
  EXPECT_EQ(captions[2], QString::fromUtf8("请选择反演初始模型文件"));
  EXPECT_EQ(captions[3], QString::fromUtf8("请选择反演控制参数文件"));
  EXPECT_EQ(captions[4], QString::fromUtf8("请输入您要保存数据的文件名"));
  EXPECT_EQ(captions[5], QString::fromUtf8("请输入模型体数据文件名"));
  EXPECT_TRUE(boxes.texts.empty());
}

TEST_F(ClosedSeamTest, CancelledRequestIsNotAnswered) {
  std::vector<std::string> got;
  closed::installCSAMT3DFwdCom([&](closed::ComponentHost& host) {
    got.push_back(host.requestFile(2));  // Rxy result, named
    got.push_back(host.requestFile(1));  // forward data, cancelled
    got.push_back(host.requestFile(9));  // not in the table
    return Outcome::success();
  });
  FrmMain w;
  writeFile(area("Prof_Dat/a.fwd"), "f");
  std::vector<QString> captions;
  ModalScript script({answer("rxy,ignored", &captions), answer("")});
  w.runCommand("mnuEM3DSource");
  closed::installCSAMT3DFwdCom(nullptr);
  ASSERT_EQ(got.size(), 3u);
  ASSERT_EQ(captions.size(), 1u);
  EXPECT_EQ(captions[0], QString::fromUtf8("请输入正演结果Rxy数据文件名"));
  EXPECT_EQ(got[0], gWorkPath + "Prof_dat\\rxy.dat");
  EXPECT_EQ(got[1], "");
  EXPECT_EQ(got[2], "");
  EXPECT_TRUE(gPickedFile.empty());
}

TEST_F(ClosedSeamTest, LowLatitudeCallbacksAskInTheirModes) {
  writeGridFile(area("Grid_dat/in.grd"), "#SRNTHGRIDB#", 3, 3, 0, 0, 1, 1);
  std::vector<std::string> got;
  closed::LowLatitudeWork built =
      closed::installLowLatitudeReduction([&](const closed::LowLatitudeCallbacks& cb) {
        got.push_back(cb[0]());
        got.push_back(cb[1]());
        return Outcome::success();
      });
  FrmMain w;
  std::vector<QString> captions;
  ModalScript script({answer("in.grd", &captions), answer("out", &captions)});
  w.runCommand("mnuToPoleLower");
  closed::installLowLatitudeReduction(std::move(built));  // the reduction the program has
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], gWorkPath + "Grid_dat\\in.grd");
  EXPECT_EQ(got[1], gWorkPath + "Grid_dat\\out.grd");
  EXPECT_EQ(captions[0], QString::fromUtf8("请选择您要打开数据的文件名"));
  EXPECT_EQ(captions[1], QString::fromUtf8("请输入您要保存数据的文件名"));
}

TEST_F(ClosedSeamTest, ProductControlsGetTheirArguments) {
  std::vector<std::string> factorArgs;
  closed::installSarnothAxOperation(0x60030001, [&](const std::vector<std::string>& a) {
    factorArgs = a;
    return Outcome::success();
  });
  std::string korvaWork, korvaDb;
  int korvaRuns = 0;
  closed::installKorvaOperation(4, [&](const std::string& work, const std::string& db) {
    korvaWork = work;
    korvaDb = db;
    ++korvaRuns;
    return Outcome::success();
  });
  FrmMain w;
  ScriptedMessages boxes;
  w.runCommand("mnuMultiAnan20");
  w.runCommand("mnuMultiAnan32");
  w.runCommand("mnuMultiAnan34");  // operation 5 has no implementation
  closed::installSarnothAxOperation(0x60030001, nullptr);
  closed::installKorvaOperation(4, nullptr);

  ASSERT_EQ(factorArgs.size(), 2u);
  EXPECT_EQ(factorArgs[0], gWorkPath + "Qury_Dat\\queryDB.mdb");
  EXPECT_EQ(factorArgs[1], gWorkPath);
  EXPECT_EQ(korvaRuns, 1);
  EXPECT_EQ(korvaWork, gWorkPath);
  EXPECT_EQ(korvaDb, gWorkPath + "Qury_Dat\\QueryDB.mdb");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_NE(boxes.texts[0].find("Tfi聚类分析"), std::string::npos);
  EXPECT_NE(boxes.texts[0].find("尚未提供"), std::string::npos);

  closed::KorvaOcx bare;
  EXPECT_FALSE(bare.call(2).ok);  // before operation 1
  EXPECT_FALSE(bare.call(7).ok);
}

TEST_F(ClosedSeamTest, GeoMGInvStartsOnceGmcEveryTime) {
  const std::string geoLog = sys("geo.log"), gmcLog = sys("gmc.log");
  fakeProgram("GeoMGInvS.exe", geoLog);
  fakeProgram("gmc.exe", gmcLog);
  ASSERT_FALSE(closed::geoMGInvRunning()) << "another GeoMGInvS runs on this machine";

  closed::LaunchResult first = closed::startGeoMGInv(gSysPath);
  ASSERT_TRUE(first.outcome.ok) << first.outcome.message;
  started_.push_back(first.pid);
  waitForLines(geoLog, 1);
  closed::LaunchResult second = closed::startGeoMGInv(gSysPath);
  EXPECT_TRUE(second.alreadyRunning);
  EXPECT_EQ(second.pid, -1);

  for (int i = 0; i < 2; ++i) {
    closed::LaunchResult r = closed::startGmc(gSysPath);
    ASSERT_TRUE(r.outcome.ok) << r.outcome.message;
    started_.push_back(r.pid);
  }
  waitForLines(gmcLog, 2);
  EXPECT_EQ(lines(geoLog), 1);
  EXPECT_EQ(lines(gmcLog), 2);
}

TEST_F(ClosedSeamTest, MissingProgramsAndHelpSaySo) {
  EXPECT_FALSE(closed::startGmc(gSysPath).outcome.ok);
  writeFile(sys("gmc.exe"), "MZ not for this machine");
  closed::LaunchResult r = closed::startGmc(gSysPath);
  EXPECT_FALSE(r.outcome.ok);
  EXPECT_NE(r.outcome.message.find("gmc.exe"), std::string::npos);

  closed::LaunchResult help = closed::showSystemHelp(gSysPath);
  EXPECT_FALSE(help.outcome.ok);
  EXPECT_NE(help.outcome.message.find("SarnHelp.chm"), std::string::npos);
  EXPECT_EQ(closed::helpFilePath("/opt/s/"), "/opt/s/help\\SarnHelp.chm");
}

}  // namespace
}  // namespace sarnoth::gui
