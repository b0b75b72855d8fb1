// The coordinate conversion window: the lists and their rules on both sides, a single point,
// a work table, scatter and .GPH files, ready-made systems, and the system's messages.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>

#include "app/frm_main.h"
#include "app/messages.h"
#include "datatools/forms/data_form_support.h"
#include "gui_support.h"
#include "prep/forms/frmGeoCoordConv.h"
#include "workarea/scatter_file.h"

namespace sarnoth::gui {
namespace {

class GeoCoordConvWindow : public sarnoth::testing::SessionFixture {
 protected:
  template <typename W>
  static W* get(QWidget& w, const QString& name) {
    W* c = w.findChild<W*>(name);
    EXPECT_NE(c, nullptr) << name.toStdString();
    return c;
  }
  template <typename W>
  static W* get(QWidget& w, const char* name) {
    return get<W>(w, QString::fromUtf8(name));
  }
  static QString u8(const char* s) { return QString::fromUtf8(s); }
  static std::string text(QWidget& f, const char* box) {
    return get<QLineEdit>(f, box)->text().toStdString();
  }
  static void setText(QWidget& f, const char* box, const char* t) {
    get<QLineEdit>(f, box)->setText(QString::fromUtf8(t));
  }
  static void choose(QWidget& f, const char* combo, int index) {
    get<QComboBox>(f, combo)->setCurrentIndex(index);
  }
  static void click(QWidget& f, const char* button) { get<QPushButton>(f, button)->click(); }
  // Geographic GRS 1980 in, Gauss-Krüger 3° GRS 1980 with the zone in front of x out.
  static void geographicToGk3(QWidget& f) {
    choose(f, "cboProj_0", 0);
    choose(f, "cboEPar_0", 10);
    choose(f, "cboProj_1", 1);
    choose(f, "cboEPar_1", 10);
    get<QCheckBox>(f, "chkGauss_1")->setChecked(true);
  }
};

TEST_F(GeoCoordConvWindow, OpensWithItsDefaultsAndFollowsTheListRules) {
  {
    FrmMain main;
    bool opened = false;
    auto previous = FrmMain::setPresenter([&opened](QWidget* w, bool modal) {
      opened = qobject_cast<frmGeoCoordConv*>(w) && modal;
      delete w;
    });
    main.runCommand("mnuDataPrevProc11");
    FrmMain::setPresenter(std::move(previous));
    EXPECT_TRUE(opened);
  }
  frmGeoCoordConv f;
  EXPECT_EQ(f.windowTitle(), u8("坐标转换"));
  EXPECT_EQ(get<QGroupBox>(f, "fraSub_0")->title(), u8("输入坐标参数"));
  EXPECT_EQ(get<QGroupBox>(f, "fraSub_1")->title(), u8("输出坐标参数"));
  EXPECT_EQ(get<QComboBox>(f, "cboProj_0")->currentIndex(), -1);
  EXPECT_EQ(get<QComboBox>(f, "cboProj_1")->currentIndex(), 5);
  EXPECT_EQ(get<QComboBox>(f, "cboEPar_0")->currentIndex(), 3);
  EXPECT_EQ(text(f, "txtLongR_0"), "6378245.0");
  EXPECT_EQ(text(f, "txtShortR_0"), "6356863.0188");
  EXPECT_FALSE(get<QLineEdit>(f, "txtLongR_0")->isEnabled());
  EXPECT_EQ(text(f, "txtCentLong_1"), "105");
  EXPECT_EQ(text(f, "txtUpLat_1"), "25");
  EXPECT_EQ(text(f, "txtDownLat_1"), "47");
  EXPECT_EQ(text(f, "txtXName"), "New_X");
  EXPECT_EQ(get<QComboBox>(f, "cboProj_0")->itemText(11), u8("等矩形投影(EQUIRECTANGULAR) "));
  EXPECT_EQ(get<QComboBox>(f, "cboProj_1")->itemText(11),
            u8("等距方位投影(AZIMUTHAL EQUDISTANT) "));
  EXPECT_EQ(get<QComboBox>(f, "cboFileType")->itemText(4), u8("Sarnoth 图形数据(GPH)"));
  EXPECT_TRUE(get<QCheckBox>(f, "chkGauss_1")->isHidden());
  EXPECT_TRUE(get<QLineEdit>(f, "txtScaleF_1")->isHidden());
  EXPECT_EQ(get<QRadioButton>(f, "optUnit_4")->text(), u8(" 米 (m)"));

  // UTM: scale and east offset written, the zone and hemisphere checks shown.
  choose(f, "cboProj_1", 3);
  EXPECT_EQ(text(f, "txtScaleF_1"), "0.9996");
  EXPECT_EQ(text(f, "txtEE_1"), "500000.0");
  EXPECT_FALSE(get<QLineEdit>(f, "txtScaleF_1")->isHidden());
  EXPECT_FALSE(get<QCheckBox>(f, "chkGauss_1")->isHidden());
  EXPECT_FALSE(get<QCheckBox>(f, "chkNSH_1")->isHidden());
  get<QCheckBox>(f, "chkNSH_1")->setChecked(true);
  EXPECT_EQ(text(f, "txtNN_1"), "10000000.0");
  get<QCheckBox>(f, "chkNSH_1")->setChecked(false);
  EXPECT_EQ(text(f, "txtNN_1"), "0.0");
  choose(f, "cboProj_1", 1);
  EXPECT_EQ(text(f, "txtScaleF_1"), "1");
  EXPECT_TRUE(get<QCheckBox>(f, "chkNSH_1")->isHidden());

  // A sphere row: the sphere chosen and locked, the radius boxes open.
  choose(f, "cboProj_1", 9);
  EXPECT_EQ(get<QComboBox>(f, "cboEPar_1")->currentIndex(), 23);
  EXPECT_FALSE(get<QComboBox>(f, "cboEPar_1")->isEnabled());
  EXPECT_EQ(text(f, "txtLongR_1"), "6370997.0");
  EXPECT_EQ(get<QLabel>(f, "lblLongR_1")->text(), u8("球体半径(米)"));
  EXPECT_EQ(get<QLabel>(f, "lblShortR_1")->text(), u8("球体半径(米)"));
  EXPECT_TRUE(get<QLineEdit>(f, "txtLongR_1")->isEnabled());

  // The two-point oblique Mercator: meridians first, chkLL shows the parallels.
  choose(f, "cboProj_1", 19);
  EXPECT_TRUE(get<QComboBox>(f, "cboEPar_1")->isEnabled());
  auto* ll = get<QCheckBox>(f, "chkLL_1");
  EXPECT_FALSE(ll->isHidden());
  EXPECT_FALSE(ll->isChecked());
  EXPECT_EQ(get<QLabel>(f, "lblUpLat_1")->text(), u8("第一标准经线"));
  EXPECT_EQ(get<QGroupBox>(f, "fraLat_1")->title(), u8("标准经线"));
  EXPECT_FALSE(get<QLineEdit>(f, "txtLon1_1")->isHidden());
  ll->setChecked(true);
  EXPECT_EQ(get<QLabel>(f, "lblDownLat_1")->text(), u8("第二标准纬线"));
  EXPECT_EQ(get<QGroupBox>(f, "fraLat_1")->title(), u8("标准纬线"));
  EXPECT_TRUE(get<QLineEdit>(f, "txtLon1_1")->isHidden());

  // Oblated equal area: m and n in the parallel boxes, the angle in txtAA.
  choose(f, "cboProj_1", 28);
  EXPECT_EQ(get<QLabel>(f, "lblUpLat_1")->text(), u8("参数 m"));
  EXPECT_EQ(text(f, "txtUpLat_1"), "3.5");
  EXPECT_EQ(text(f, "txtDownLat_1"), "1.4");
  EXPECT_EQ(get<QLabel>(f, "lblAA_1")->text(), u8("角度(DD.MMSS)"));
  EXPECT_FALSE(get<QLineEdit>(f, "txtAA_1")->isHidden());
  choose(f, "cboProj_1", 6);
  EXPECT_EQ(text(f, "txtUpLat_1"), "25");
  EXPECT_TRUE(get<QLineEdit>(f, "txtAA_1")->isHidden());

  // Geographic: the degree options, no factor.
  choose(f, "cboProj_0", 0);
  EXPECT_EQ(get<QRadioButton>(f, "optUnit_0")->text(), u8(" DDD.dd(度)"));
  EXPECT_EQ(get<QRadioButton>(f, "optUnit_2")->text(), u8(" DDDMMSS.s"));
  EXPECT_TRUE(get<QRadioButton>(f, "optUnit_0")->isChecked());
  EXPECT_FALSE(get<QLineEdit>(f, "txtUnitF_0")->isEnabled());
  choose(f, "cboProj_0", 2);
  EXPECT_EQ(get<QRadioButton>(f, "optUnit_0")->text(), u8(" 公里 (km)"));
  EXPECT_TRUE(get<QLineEdit>(f, "txtUnitF_0")->isEnabled());

  // Each selection of "Modified Airy" adds an Everest entry.
  auto* e = get<QComboBox>(f, "cboEPar_0");
  choose(f, "cboEPar_0", 19);
  choose(f, "cboEPar_0", 3);
  choose(f, "cboEPar_0", 19);
  ASSERT_EQ(e->count(), 27);
  EXPECT_EQ(e->itemText(26), u8("埃维而尔斯特(Everest)1930/48"));
  choose(f, "cboEPar_0", 24);
  EXPECT_TRUE(get<QLineEdit>(f, "txtShortR_0")->isEnabled());
  EXPECT_EQ(text(f, "txtLongR_0"), "6377276.3452");  // left as the last row wrote it
}

TEST_F(GeoCoordConvWindow, SinglePointAndTheMessages) {
  ScriptedMessages boxes;
  frmGeoCoordConv f;
  click(f, "btnApply");
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], "请选择输入坐标投影模型");
  EXPECT_EQ(boxes.titles[0], "Sarnoth 提示");

  choose(f, "cboProj_0", 0);
  click(f, "btnApply");  // no output ellipsoid chosen: empty axis boxes
  EXPECT_EQ(boxes.texts.back(), "输出坐标椭球参数不正确。");

  geographicToGk3(f);
  get<QRadioButton>(f, "optUnit_5")->setChecked(true);
  setText(f, "txtUnitF_1", "0");
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "输出单位比例因子不能小于等于 0。");
  get<QRadioButton>(f, "optUnit_4")->setChecked(true);

  // A CGCS2000 3° zone 39 point (reference: cs2cs, GRS 1980, tmerc lon_0 117).
  setText(f, "txtXXIn", "117.5");
  setText(f, "txtYYIn", "39.5");
  const std::size_t shown = boxes.texts.size();
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.size(), shown);
  EXPECT_EQ(text(f, "txtXXOut"), "39543006.815");
  EXPECT_EQ(text(f, "txtYYOut"), "4374133.47689");
  EXPECT_EQ(f.lastSide(1).record[projconv::kZonePrefix], 1);

  // And back, in D.MMSS.
  choose(f, "cboProj_0", 1);
  choose(f, "cboEPar_0", 10);
  get<QCheckBox>(f, "chkGauss_0")->setChecked(true);
  choose(f, "cboProj_1", 0);
  get<QRadioButton>(f, "optUnit_4")->setChecked(true);  // D.MMSS on a geographic side
  setText(f, "txtXXIn", "39543006.815");
  setText(f, "txtYYIn", "4374133.47689");
  click(f, "btnApply");
  EXPECT_EQ(text(f, "txtXXOut"), "117.3");
  EXPECT_EQ(text(f, "txtYYOut"), "39.3");

  // A point the projection cannot take.
  choose(f, "cboProj_0", 0);
  choose(f, "cboProj_1", 13);
  setText(f, "txtXXIn", "-75");
  setText(f, "txtYYIn", "-35");
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "该点超出投影范围, 不能转换.");
}

TEST_F(GeoCoordConvWindow, WorkTableGetsTheNewFields) {
  {
    Database db = openWorkDatabase(gWorkPath);
    db.execute("Create Table [样点] ([经度] DOUBLE, [纬度] DOUBLE)");
    db.execute("Insert Into [样点] Values (117.5, 39.5)");
    db.execute("Insert Into [样点] Values (117.5, 95)");
    db.execute("Create Table [空表] ([经度] DOUBLE, [纬度] DOUBLE)");
    ScriptedInteraction yes({}, Answer::Yes);
    Registration how;
    how.origin = "OutDataIn";
    how.note = "外部数据导入";
    registerTable(db, "样点", how, yes);
    registerTable(db, "空表", how, yes);
  }
  ScriptedMessages boxes;
  frmGeoCoordConv f;
  geographicToGk3(f);
  choose(f, "cboFileType", 1);
  EXPECT_FALSE(get<QGroupBox>(f, "fraTable")->isHidden());
  EXPECT_TRUE(get<QGroupBox>(f, "fraPoint")->isHidden());
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "请选择转换数据表.");
  auto* list = get<QListWidget>(f, "lstTbls");
  ASSERT_EQ(list->count(), 2);
  list->setCurrentRow(0);
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "请选择横坐标数据项.");
  choose(f, "cboXXItem", 0);
  choose(f, "cboYYItem", 1);
  EXPECT_EQ(text(f, "txtXName"), "经度_X");
  EXPECT_EQ(text(f, "txtYName"), "纬度_Y");
  const std::size_t shown = boxes.texts.size();
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.size(), shown);
  EXPECT_EQ(get<QLabel>(f, "lblStatus")->text(), u8("1 点不能转换, 记为 -1E+38; 坐标转换成功 !!"));
  Database db = openWorkDatabase(gWorkPath);
  EXPECT_EQ(valueToDouble(db.scalar("Select [纬度_Y] From [样点] Where [纬度] < 90")),
            static_cast<double>(4374133.4769f));
  EXPECT_EQ(valueToDouble(db.scalar("Select [经度_X] From [样点] Where [纬度] > 90")),
            static_cast<double>(NULL_VALUE));
  EXPECT_EQ(get<QComboBox>(f, "cboXXItem")->count(), 4);  // the new fields are listed

  list->setCurrentRow(1);
  choose(f, "cboXXItem", 0);
  choose(f, "cboYYItem", 1);
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "无检索或查询数据.");
}

TEST_F(GeoCoordConvWindow, FilesAndReadyMadeSystems) {
  ScatterFile sf;
  sf.magic = kScatMagicA;
  sf.origin = kScatTagConverted;
  sf.names = {"经度", "纬度"};
  sf.values = {117.5f, 39.5f};
  sf.recordCount = 1;
  ASSERT_EQ(writeAsciiScatter(area("in.dat"), sf), ScatterError::None);
  writeFile(area("in.gph"), "#SRNTHCRDGP#\r\nPP 1 117.5 39.5\r\n#ENDDATA#\r\n");
  writeFile(area("bad.gph"), "#SRNTHGRIDA#\r\n#ENDDATA#\r\n");

  ScriptedMessages boxes;
  frmGeoCoordConv f;
  // Ready-made systems in place of the frames: CGCS2000 geographic to its 3° zone 39.
  auto* in = get<QComboBox>(f, "cboSys_0");
  auto* out = get<QComboBox>(f, "cboSys_1");
  in->setCurrentIndex(in->findText(u8("CGCS2000 地理坐标")));
  out->setCurrentIndex(out->findText(u8("CGCS2000 3度带 39带 (带号+横坐标)")));
  EXPECT_FALSE(get<QComboBox>(f, "cboProj_0")->isEnabled());
  EXPECT_EQ(get<QRadioButton>(f, "optUnit_0")->text(), u8(" DDD.dd(度)"));
  EXPECT_TRUE(get<QRadioButton>(f, "optUnit_0")->isChecked());
  EXPECT_TRUE(get<QRadioButton>(f, "optUnit_4")->isChecked());

  choose(f, "cboFileType", 2);
  auto previous = setOpenDialogHandler([this](const std::string&, const std::string&,
                                              const std::string&) { return area("in.dat"); });
  click(f, "btnFileIn");
  setOpenDialogHandler(std::move(previous));
  ASSERT_EQ(get<QComboBox>(f, "cboXXItem")->count(), 2);
  choose(f, "cboXXItem", 0);
  choose(f, "cboYYItem", 1);
  {
    ScriptedSaveDialogs saves({area("out.dat")});
    click(f, "btnFileOut");
  }
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "坐标转换成功");
  ScatterReadResult r = readAsciiScatter(area("out.dat"));
  ASSERT_TRUE(r.ok());
  EXPECT_NEAR(r.file.at(0, 1), 4374133.5f, 0.5f);

  // .GPH through the frames, and one that is not a coordinate file.
  in->setCurrentIndex(0);
  out->setCurrentIndex(0);
  geographicToGk3(f);
  choose(f, "cboFileType", 4);
  EXPECT_TRUE(get<QGroupBox>(f, "fraFields")->isHidden());
  setText(f, "txtFileIn", area("in.gph").c_str());
  setText(f, "txtFileOut", area("out.gph").c_str());
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "坐标转换成功");
  GphReadResult g = readGph(area("out.gph"));
  ASSERT_TRUE(g.ok());
  EXPECT_NEAR(g.file.elements[0].xy[0], 39543006.815, 1e-2);
  setText(f, "txtFileIn", area("bad.gph").c_str());
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "非Sarnoth GPH格式文件.");

  // Beijing 1954 to Xian 1980: no datum shift is known, the status line says so.
  in->setCurrentIndex(in->findText(u8("北京54 地理坐标")));
  out->setCurrentIndex(out->findText(u8("西安80 地理坐标")));
  choose(f, "cboFileType", 0);
  setText(f, "txtXXIn", "117.5");
  setText(f, "txtYYIn", "39.5");
  click(f, "btnApply");
  EXPECT_EQ(text(f, "txtXXOut"), "117.5");
  EXPECT_EQ(get<QLabel>(f, "lblStatus")->text(), u8("只作椭球转换 (无已知基准转换参数)"));
  // Any EPSG code may be typed.
  out->setEditText(u8("EPSG:4326"));
  click(f, "btnApply");
  out->setEditText(u8("EPSG:999999"));
  click(f, "btnApply");
  EXPECT_EQ(boxes.texts.back(), "未知坐标系统: EPSG:999999");
}

}  // namespace
}  // namespace sarnoth::gui
