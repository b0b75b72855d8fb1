// The gridding window on the demo work area: proposed fields and geometry, the edits, the method
// controls, runs of a plain method and of kriging, the overwrite question and the refusals.
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTimer>
#include <cstdlib>

#include "app/frm_main.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "gui_support.h"
#include "prep/forms/frmVLQScatToGrid.h"
#include "workarea/demo_area.h"

namespace sarnoth::gui {
namespace {

class ScatToGridWindow : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    ASSERT_TRUE(createDemoWorkArea(area("")));
    // Nine records: enough for the plain methods, too few for kriging.
    Database db = openWorkDatabase(gWorkPath);
    db.execute("Create Table [九点] ([横坐标] SINGLE, [纵坐标] SINGLE, [Cu] SINGLE)");
    for (int i = 0; i < 9; ++i)
      db.execute("Insert Into [九点] Values (?, ?, ?)",
                 {Value(double(i % 3) * 10), Value(double(i / 3) * 10), Value(double(i))});
    ScriptedInteraction yes({}, Answer::Yes);
    Registration how;
    how.origin = "OutDataIn";
    how.note = "外部数据导入";
    registerTable(db, "九点", how, yes);
  }

  template <typename W>
  static W* get(QWidget& w, const char* name) {
    W* c = w.findChild<W*>(QString::fromUtf8(name));
    EXPECT_NE(c, nullptr) << name;
    return c;
  }
  static void pickTable(frmVLQScatToGrid& f, const char* name) {
    auto* list = get<QListWidget>(f, "lstTbls");
    auto items = list->findItems(QString::fromUtf8(name), Qt::MatchExactly);
    ASSERT_EQ(items.size(), 1);
    list->setCurrentItem(items[0]);
  }
  static std::string text(QWidget& f, const char* box) {
    return get<QLineEdit>(f, box)->text().toStdString();
  }
  static void setText(QWidget& f, const char* box, const char* t) {
    get<QLineEdit>(f, box)->setText(QString::fromUtf8(t));
  }
  static void click(QWidget& f, const char* button) { get<QPushButton>(f, button)->click(); }
};

TEST_F(ScatToGridWindow, ProposesFieldsAndGeometryAndFollowsEdits) {
  {
    // The menu entry opens this window, modal.
    FrmMain main;
    bool opened = false;
    auto previous = FrmMain::setPresenter([&opened](QWidget* w, bool modal) {
      opened = qobject_cast<frmVLQScatToGrid*>(w) && modal;
      delete w;
    });
    main.runCommand("mnuDataPrevProc50");
    FrmMain::setPresenter(std::move(previous));
    EXPECT_TRUE(opened);
  }

  ScriptedMessages boxes;
  frmVLQScatToGrid f;
  ASSERT_TRUE(f.load());
  EXPECT_EQ(f.windowTitle(), QString::fromUtf8("离散数据网格化"));
  pickTable(f, kDemoSedimentTable);
  EXPECT_EQ(get<QComboBox>(f, "cboXXItem")->currentText(), QString::fromUtf8("横坐标"));
  EXPECT_EQ(get<QComboBox>(f, "cboYYItem")->currentText(), QString::fromUtf8("纵坐标"));
  EXPECT_EQ(text(f, "txtFileOut"), "Au");  // the value field after y

  // The geometry is what the engine proposes from the extents.
  Database db = openWorkDatabase(gWorkPath);
  AxisExtentResult ex = autoAxisExtent(db, kDemoSedimentTable, "横坐标");
  AxisExtentResult ey = autoAxisExtent(db, kDemoSedimentTable, "纵坐标");
  ASSERT_TRUE(ex.outcome && ey.outcome);
  EXPECT_EQ(text(f, "txtGPar_0"), ex.extent.minText);
  EXPECT_EQ(text(f, "txtGPar_3"), "2000");
  EXPECT_EQ(text(f, "txtGPar_4"), std::to_string(ex.extent.count));
  EXPECT_FLOAT_EQ(std::stof(text(f, "txtGPar_2")), ex.extent.just);
  EXPECT_EQ(text(f, "txtGPar_9"), std::to_string(ey.extent.count));
  EXPECT_EQ(text(f, "txtRx"), "5000");
  EXPECT_FLOAT_EQ(std::stof(text(f, "txtDAnom")),
                  *fieldMaximum(db, kDemoSedimentTable, "Au").maximum);

  // DX rewrites the columns and both radii; DY the rows only, and 0 gets the message.
  setText(f, "txtGPar_3", "500");
  EXPECT_EQ(text(f, "txtGPar_4"), std::to_string(*gridCount(ex.extent.min, ex.extent.max, 500)));
  EXPECT_EQ(text(f, "txtRy"), "1250");
  setText(f, "txtGPar_8", "500");
  EXPECT_EQ(text(f, "txtGPar_9"), std::to_string(*gridCount(ey.extent.min, ey.extent.max, 500)));
  EXPECT_TRUE(boxes.texts.empty());
  // A spacing of 0 is said when the box is left, not at the key that typed it.
  setText(f, "txtGPar_8", "0");
  EXPECT_TRUE(boxes.texts.empty());
  emit get<QLineEdit>(f, "txtGPar_8")->editingFinished();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "网格距必需是大于 0 的数.\n(DY)");
  EXPECT_EQ(boxes.titles[0], "Sarnoth 提示");
  // A box left holding no number is named.
  setText(f, "txtGPar_3", "5OO");
  emit get<QLineEdit>(f, "txtGPar_3")->editingFinished();
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1], "网格化数据处理错,请检查. \n(DX: 5OO)");
  setText(f, "txtGPar_3", "500");

  // The method list and what each method shows.
  auto* mode = get<QComboBox>(f, "cboCalMode");
  EXPECT_EQ(mode->itemText(6), QString::fromUtf8("克里格插值"));
  auto* par = get<QLineEdit>(f, "txtPar");
  auto* azimuth = get<QCheckBox>(f, "chkAzimuth");
  EXPECT_FALSE(par->isEnabled());
  EXPECT_FALSE(azimuth->isEnabled());
  mode->setCurrentIndex(4);
  EXPECT_TRUE(par->isEnabled());
  EXPECT_EQ(par->text(), "5");
  EXPECT_TRUE(azimuth->isEnabled());
  azimuth->setChecked(true);
  mode->setCurrentIndex(6);
  EXPECT_FALSE(azimuth->isChecked() || azimuth->isEnabled());
  EXPECT_EQ(par->text(), "6");
  EXPECT_EQ(get<QLabel>(f, "lblp1")->text(), QString::fromUtf8("搜索数据点数"));
  EXPECT_TRUE(get<QGroupBox>(f, "fSearch")->isHidden());
  EXPECT_FALSE(get<QComboBox>(f, "cboKrig")->isHidden());
  get<QComboBox>(f, "cboKrig")->setCurrentIndex(1);
  EXPECT_EQ(get<QLabel>(f, "lblPAr")->text(), QString::fromUtf8("选择漂移方式"));
  EXPECT_FALSE(get<QComboBox>(f, "cboMoveM")->isHidden());
  get<QComboBox>(f, "cboKrig")->setCurrentIndex(4);
  EXPECT_TRUE(get<QComboBox>(f, "cboMoveM")->isHidden());
  EXPECT_FALSE(get<QLineEdit>(f, "txtPars")->isHidden());
  mode->setCurrentIndex(1);
  EXPECT_TRUE(get<QComboBox>(f, "cboKrig")->isHidden());
  EXPECT_FALSE(get<QGroupBox>(f, "fSearch")->isHidden());

  // chkSet opens its frame; "累加" takes one point as its minimum.
  get<QCheckBox>(f, "chkSet")->setChecked(true);
  EXPECT_TRUE(get<QGroupBox>(f, "fSet")->isEnabled());
  mode->setCurrentIndex(5);
  EXPECT_EQ(f.settings().minNodePoints, 1);
}

TEST_F(ScatToGridWindow, GridsOverwritesOnlyOnYesAndRefuses) {
  frmVLQScatToGrid f;
  ASSERT_TRUE(f.load());
  pickTable(f, kDemoSedimentTable);
  setText(f, "txtGPar_3", "500");
  setText(f, "txtGPar_8", "500");
  const int ny = std::stoi(text(f, "txtGPar_9"));
  get<QComboBox>(f, "cboCalMode")->setCurrentIndex(3);  // 距离倒数加权

  ScriptedMessages boxes;
  click(f, "btnApply");
  EXPECT_TRUE(boxes.texts.empty());
  const std::string au = area("Grid_dat/Au.grd");
  auto head = readGridHeader(au);
  ASSERT_TRUE(head.ok());
  EXPECT_EQ(readFile(au).substr(0, 32), "#SRNTHGRIDB#ScatToGrid          ");
  EXPECT_EQ(head.grid.header.nx, std::stoi(text(f, "txtGPar_4")));
  EXPECT_EQ(head.grid.header.ny, ny);
  EXPECT_GT(head.grid.header.validCount, 0);
  auto* bar = get<QProgressBar>(f, "prbSpeed");
  EXPECT_EQ(bar->maximum(), ny);  // the finishing pass ran over the rows
  EXPECT_EQ(bar->value(), 0);
  // The status line says what the run made.
  const QString status = get<QLabel>(f, "lblStatus")->text();
  EXPECT_TRUE(status.startsWith(QString::fromUtf8("已生成 Au.grd: ") +
                                text(f, "txtGPar_4").c_str() + QString::fromUtf8(" 列 × ") +
                                QString::number(ny) + QString::fromUtf8(" 行, 有效节点 ") +
                                QString::number(head.grid.header.validCount)))
      << status.toStdString();
  EXPECT_TRUE(status.contains(QString::fromUtf8("用时"))) << status.toStdString();
  if (const char* shots = std::getenv("SARNOTH_SCREENSHOT_DIR")) {
    f.show();
    QApplication::processEvents();
    f.grab().save(QString(shots) + "/frmVLQScatToGrid.png");
  }

  // Again: the question, No leaves the file as it was.
  const std::string before = readFile(au);
  setText(f, "txtGPar_3", "1000");
  click(f, "btnApply");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "工作区网格数据文件:Au.grd 已存在,要覆盖吗??");
  EXPECT_EQ(boxes.titles[0], "Sarnoth 提示");
  EXPECT_EQ(readFile(au), before);

  // Kriging under another name.
  get<QComboBox>(f, "cboCalMode")->setCurrentIndex(6);
  setText(f, "txtFileOut", "Au_krig");
  click(f, "btnApply");
  ASSERT_EQ(boxes.texts.size(), 1u) << boxes.texts.back();
  EXPECT_EQ(readFile(area("Grid_dat/Au_krig.grd")).substr(0, 32),
            "#SRNTHGRIDB#ScatToGrid          ");

  // A box that is no number refuses before anything is asked or written.
  setText(f, "txtFileOut", "坏参数");
  setText(f, "txtPar", "六");
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "网格化数据处理错,请检查. \n(参数: 六)");
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/坏参数.grd")));
  setText(f, "txtPar", "6");

  // Nine records: kriging refuses, the mean grids them.
  pickTable(f, "九点");
  EXPECT_EQ(text(f, "txtFileOut"), "Cu");
  EXPECT_EQ(text(f, "txtGPar_3"), "2");
  get<QComboBox>(f, "cboCalMode")->setCurrentIndex(6);
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "数据太少(<10),不能处理.");
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/Cu.grd")));
  get<QComboBox>(f, "cboCalMode")->setCurrentIndex(1);
  const std::size_t shown = boxes.texts.size();
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.size(), shown);
  EXPECT_TRUE(std::filesystem::exists(area("Grid_dat/Cu.grd")));
}

// A run on a small table that lasts: the bar moves and the window repaints while it runs, and
// "返回" stops it without closing the window or writing the grid.
TEST_F(ScatToGridWindow, LongRunsMoveTheBarRepaintAndStop) {
  {
    Database db = openWorkDatabase(gWorkPath);
    db.execute("Create Table [密集] ([横坐标] SINGLE, [纵坐标] SINGLE, [Cu] SINGLE)");
    TableWriter w(db, "密集", {"横坐标", "纵坐标", "Cu"});
    for (int i = 0; i < 8000; ++i) {
      w.setDouble(0, (i * 7919) % 600);
      w.setDouble(1, (i * 104729) % 600);
      w.setDouble(2, i % 97);
      w.addRow();
    }
    w.commit();
    ScriptedInteraction yes({}, Answer::Yes);
    Registration how;
    how.origin = "OutDataIn";
    how.note = "外部数据导入";
    registerTable(db, "密集", how, yes);
  }
  frmVLQScatToGrid f;
  ASSERT_TRUE(f.load());
  pickTable(f, "密集");
  setText(f, "txtGPar_3", "1");
  setText(f, "txtGPar_8", "1");
  setText(f, "txtRx", "250");  // a window of ~200,000 nodes a point: seconds of work
  get<QComboBox>(f, "cboCalMode")->setCurrentIndex(1);  // 平均值
  f.show();
  QApplication::processEvents();

  ScriptedMessages boxes;
  int ticks = 0, moving = 0;
  QTimer watcher;
  QObject::connect(&watcher, &QTimer::timeout, [&] {
    ++ticks;  // the event loop runs: the window can repaint
    auto* bar = get<QProgressBar>(f, "prbSpeed");
    if (bar->value() > 0 && bar->value() < bar->maximum()) ++moving;
    if (ticks == 6) click(f, "btnReturn");  // stop after about 300 ms
  });
  watcher.start(50);
  click(f, "btnApply");
  watcher.stop();
  EXPECT_GE(ticks, 4);
  EXPECT_GE(moving, 1);
  EXPECT_TRUE(f.isVisible());  // "返回" during a run stops it, the window stays
  EXPECT_TRUE(boxes.texts.empty());
  EXPECT_EQ(get<QLabel>(f, "lblStatus")->text(), QString::fromUtf8("网格化已中止."));
  EXPECT_FALSE(std::filesystem::exists(area("Grid_dat/Cu.grd")));
  EXPECT_TRUE(get<QPushButton>(f, "btnApply")->isEnabled());
  f.close();
}

// A window whose work area cannot be opened says so and does not open.
TEST_F(ScatToGridWindow, DoesNotOpenWithoutItsWorkArea) {
  gWorkPath = area("gone/");
  ScriptedMessages boxes;
  EXPECT_EQ(createToolWindow("frmVLQScatToGrid", nullptr, 0), nullptr);
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(createToolWindow("frmGridDataIn", nullptr, 0), nullptr);
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_NE(boxes.texts[1].find("工作区不存在"), std::string::npos) << boxes.texts[1];
  EXPECT_EQ(createToolWindow("frmGMFreqProcs", nullptr, 500), nullptr);
  ASSERT_EQ(boxes.texts.size(), 3u);
  EXPECT_NE(boxes.texts[2].find("工作区不存在"), std::string::npos) << boxes.texts[2];
}

TEST_F(ScatToGridWindow, ImageButtonNeedsAResult) {
  frmVLQScatToGrid f;
  ASSERT_TRUE(f.load());
  pickTable(f, "九点");
  ScriptedMessages boxes;
  click(f, "btnImg");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "结果数据文件不存在，请先处理。");
  click(f, "btnApply");
  ASSERT_EQ(boxes.texts.size(), 1u);
  // Without the viewer the button says so; with it, the viewer opens on the grid.
  auto previous = registerToolWindow("frmGridToImageView", {});
  click(f, "btnImg");
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_EQ(boxes.texts[1], notYetAvailableText("数据图像浏览 "));
  std::string picked;
  registerToolWindow("frmGridToImageView", [&picked](QWidget*, int) -> QWidget* {
    picked = gPickedFile;
    return nullptr;
  });
  click(f, "btnImg");
  EXPECT_EQ(picked, area("Grid_dat/Cu.grd"));
  registerToolWindow("frmGridToImageView", previous);
}

}  // namespace
}  // namespace sarnoth::gui
