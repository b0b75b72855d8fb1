// The coordinate group conversion window: pairs gathered from a table, each conversion's frame,
// a run of each kind and the refusals.
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>

#include "app/frm_main.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/frmDataP.h"
#include "gui_support.h"

namespace sarnoth::gui {
namespace {

class DataPWindow : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    Database db = openWorkDatabase(gWorkPath);
    db.execute(
        "Create Table [测线] ([线号] TEXT(8), [起点经度] DOUBLE, [起点纬度] DOUBLE, "
        "[终点经度] DOUBLE, [终点纬度] DOUBLE)");
    db.execute("Insert Into [测线] Values ('L1', 117.30, 39.30, 117.3130, 39.3030)");
    ScriptedInteraction yes({}, Answer::Yes);
    Registration how;
    how.origin = "OutDataIn";
    how.note = "外部数据导入";
    registerTable(db, "测线", how, yes);
  }
  template <typename W>
  static W* get(QWidget& w, const char* name) {
    W* c = w.findChild<W*>(QString::fromUtf8(name));
    EXPECT_NE(c, nullptr) << name;
    return c;
  }
  static void click(QWidget& f, const char* b) { get<QPushButton>(f, b)->click(); }
  static void addPair(QWidget& f, int x, int y) {
    get<QComboBox>(f, "cboXXItem")->setCurrentIndex(x);
    get<QComboBox>(f, "cboYYItem")->setCurrentIndex(y);
    click(f, "btnAdd");
  }
  static double value(const std::string& field) {
    Database db = openWorkDatabase(gWorkPath);
    return valueToDouble(db.scalar("Select [" + field + "] From [测线]"));
  }
};

TEST_F(DataPWindow, PairsAnglesAndProjection) {
  QWidget* w = createToolWindow("frmDataP", nullptr, 0);
  ASSERT_NE(w, nullptr);
  std::unique_ptr<QWidget> owner(w);
  auto& f = *qobject_cast<frmDataP*>(w);
  ScriptedMessages boxes;
  EXPECT_EQ(f.windowTitle(), QString::fromUtf8("坐标组转换"));
  EXPECT_FALSE(get<QGroupBox>(f, "fraAngle")->isHidden());
  EXPECT_TRUE(get<QGroupBox>(f, "fraProj")->isHidden());
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "请选择转换数据表.");

  get<QListWidget>(f, "lstTbls")->setCurrentRow(0);
  ASSERT_EQ(get<QComboBox>(f, "cboXXItem")->count(), 4);  // the numeric fields
  click(f, "btnAdd");
  EXPECT_EQ(boxes.texts.back(), "请选择横坐标数据项.");
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "请添加坐标数据项对.");
  addPair(f, 0, 1);
  addPair(f, 2, 3);
  auto* pairs = get<QTableWidget>(f, "lstPairs");
  ASSERT_EQ(pairs->rowCount(), 2);
  EXPECT_EQ(pairs->item(1, 2)->text(), QString::fromUtf8("终点经度_X"));

  // D.MMSS to decimal degrees for both pairs.
  const std::size_t shown = boxes.texts.size();
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.size(), shown);
  EXPECT_EQ(get<QLabel>(f, "lblStatus")->text(), QString::fromUtf8("坐标转换成功 !!"));
  EXPECT_NEAR(value("起点经度_X"), 117.5, 1e-12);
  EXPECT_NEAR(value("终点纬度_Y"), 39.5 + 30 / 3600.0, 1e-12);
  EXPECT_EQ(pairs->rowCount(), 2);  // kept for another run

  // The decimal degrees through the ready-made CGCS2000 3° zone 39 system.
  pairs->setRowCount(0);
  addPair(f, 4, 5);  // 起点经度_X, 起点纬度_Y: the fields just made are listed
  pairs->item(0, 2)->setText("GX");
  pairs->item(0, 3)->setText("GY");
  get<QComboBox>(f, "cboConvType")->setCurrentIndex(2);
  EXPECT_FALSE(get<QGroupBox>(f, "fraProj")->isHidden());
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "请选择输入坐标投影模型");
  auto* in = get<QComboBox>(f, "cboSysIn");
  in->setCurrentIndex(in->findText(QString::fromUtf8("CGCS2000 地理坐标")));
  get<QComboBox>(f, "cboSysOut")->setEditText("proj=gk3,ellps=10,prefix");
  click(f, "btnApply");
  // 117.5°E 39.5°N (reference: cs2cs, GRS 1980, tmerc lon_0 117: 543006.8150 4374133.4769).
  EXPECT_NEAR(value("GX"), 39543006.8150, 1e-3);
  EXPECT_NEAR(value("GY"), 4374133.4769, 1e-3);
  EXPECT_EQ(get<QLabel>(f, "lblStatus")->text(), QString::fromUtf8("坐标转换成功 !!"));
}

}  // namespace
}  // namespace sarnoth::gui
