// The start-up routine as the user meets it: refusal box, main window, one log record.
#include <gtest/gtest.h>

#include <QAction>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>

#include "app/command_state.h"
#include "app/frm_main.h"
#include "app/messages.h"
#include "app/startup.h"
#include "test_support.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

long long logRows(const std::string& sys) {
  Database db = openStoreFor(sys + "DMXManag.mdb");
  return db.rowCount("OPRecoords");
}

TEST(Startup, RefusalShowsTheMessageAndLogsNothing) {
  test::TempDir sys;
  createSystemDatabase(sys.dir());
  ScriptedMessages boxes;
  auto w = startWorkbench(sys.dir());
  EXPECT_EQ(w, nullptr);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请运行主程序设置当前工作区.");
  EXPECT_EQ(boxes.titles[0], "Sarnoth 提示");
  EXPECT_EQ(logRows(sys.dir()), 0);
}

TEST(Startup, OpensTheMainWindowAndLogsTheEntry) {
  test::TempDir sys, area;
  ASSERT_TRUE(createWorkArea(area.str()).ok);
  createSystemDatabase(sys.dir());
  ASSERT_TRUE(writeSettingsFile(sys.dir(), area.dir()));
  ScriptedMessages boxes;
  auto w = startWorkbench(sys.dir());
  ASSERT_NE(w, nullptr);
  EXPECT_TRUE(boxes.texts.empty());
  EXPECT_EQ(w->windowTitle().toStdString(), " Sarnoth -- 数据处理与分析");
  EXPECT_TRUE(w->isVisible());
  EXPECT_EQ(gWorkPath, area.dir());
  EXPECT_EQ(logRows(sys.dir()), 1);
  Database db = openStoreFor(sys.dir() + "DMXManag.mdb");
  EXPECT_EQ(valueToText(db.scalar("Select [备注] From [OPRecoords]")), "进入");
  w->hide();
}

TEST(CommandState, OnlyTheToolbarFollows) {
  QMainWindow form;
  auto* bar = new QToolBar(&form);
  QAction* plain = bar->addAction("输入");
  plain->setData("mnuInputOJ");
  auto* menu = new QMenu(&form);
  QAction* first = menu->addAction("a");
  first->setData("mnuSave");
  QAction* second = menu->addAction("b");
  second->setData("mnuSave");
  QAction* drop = bar->addAction("存");
  drop->setMenu(menu);
  QMenu* mnu = form.menuBar()->addMenu("文件");
  QAction* entry = mnu->addAction("输入");
  entry->setObjectName("mnuInputOJ");

  setCommandState(&form, bar, "mnuInputOJ", false, true);
  EXPECT_FALSE(plain->isEnabled());
  EXPECT_TRUE(plain->isChecked());
  EXPECT_TRUE(entry->isEnabled()) << "the menu entry keeps its state";
  setCommandState(&form, bar, "mnuSave", false, false);
  EXPECT_FALSE(first->isEnabled());
  EXPECT_TRUE(second->isEnabled()) << "the walk stops at the first entry with the key";
  EXPECT_TRUE(drop->isEnabled());
}

}  // namespace
}  // namespace sarnoth::gui
