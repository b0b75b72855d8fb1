#include "prep/forms/frmGeoCoordConv.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "prep/projection_table.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

namespace pt = projtable;

template <typename W>
W* arrayed(W* w, const char* name, int index) {
  w->setObjectName(QString("%1_%2").arg(QString::fromLatin1(name)).arg(index));
  return w;
}

constexpr const char* kFileFilter =
    "Sarnoth ASCII(*.DAT)|*.dat|Sarnoth "
    "BINARY(*.DAT)|*.dat|坐标文件(*.GPH)|*.gph|所有文件(*.*)|*.*";
constexpr const char* kLatCaption = "标准纬线";
constexpr const char* kLonCaption = "标准经线";

}  // namespace

frmGeoCoordConv::frmGeoCoordConv(QWidget* parent) : QDialog(parent) {
  setObjectName("frmGeoCoordConv");
  setWindowTitle(u8(kGeoCoordConvCaption));
  buildSide(0);
  buildSide(1);
  buildSources();

  for (int s = 0; s < 2; ++s) {
    connect(cboProj[s], &QComboBox::currentIndexChanged, this,
            [this, s] { onProjectionChosen(s); });
    connect(cboEPar[s], &QComboBox::currentIndexChanged, this,
            [this, s] { onEllipsoidChosen(s, true); });
    connect(cboSys[s], &QComboBox::currentIndexChanged, this, [this, s] { onSystemChosen(s); });
    connect(cboSys[s]->lineEdit(), &QLineEdit::editingFinished, this,
            [this, s] { onSystemChosen(s); });
    connect(chkNSH[s], &QCheckBox::toggled, this,
            [this, s](bool on) { txtNN[s]->setText(u8(on ? "10000000.0" : "0.0")); });
    connect(chkLL[s], &QCheckBox::toggled, this, [this, s] { onMeridiansToggled(s); });
    connect(chkMore[s], &QCheckBox::toggled, framMore[s], &QWidget::setVisible);
  }
  connect(cboFileType, &QComboBox::currentIndexChanged, this, [this] { showSource(); });
  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(cboXXItem, &QComboBox::currentIndexChanged, this, [this] {
    if (cboXXItem->currentIndex() >= 0) txtXName->setText(cboXXItem->currentText() + "_X");
  });
  connect(cboYYItem, &QComboBox::currentIndexChanged, this, [this] {
    if (cboYYItem->currentIndex() >= 0) txtYName->setText(cboYYItem->currentText() + "_Y");
  });
  connect(txtFileIn, &QLineEdit::editingFinished, this, [this] { onInputFileChosen(); });
  connect(btnFileIn, &QPushButton::clicked, this, &frmGeoCoordConv::browseIn);
  connect(btnFileOut, &QPushButton::clicked, this, &frmGeoCoordConv::browseOut);
  connect(btnApply, &QPushButton::clicked, this, &frmGeoCoordConv::apply);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);

  // Defaults on opening: no input model, the Krasovsky ellipsoid on the input side, Lambert's
  // conformal conic on the output side.
  refreshSide(0);
  cboEPar[0]->setCurrentIndex(3);
  cboProj[1]->setCurrentIndex(5);
  onEllipsoidChosen(1, false);
  cboFileType->setCurrentIndex(0);
  showSource();

  // The tables: a store that cannot be opened leaves the list empty.
  try {
    db_ = openWorkDatabase(gWorkPath);
    std::vector<std::string> names;
    listRegisteredTables(db_, names);
    for (const auto& n : names) lstTbls->addItem(qs(n));
  } catch (const StoreError&) {
  }
}

frmGeoCoordConv::~frmGeoCoordConv() = default;

void frmGeoCoordConv::buildSide(int s) {
  fraSub[s] =
      arrayed(new QGroupBox(u8(s == 0 ? "输入坐标参数" : "输出坐标参数"), this), "fraSub", s);
  QGroupBox* box = fraSub[s];
  auto* g = new QGridLayout(box);
  int row = 0;
  auto line = [&](const char* caption, QWidget* w, QLabel** label = nullptr) {
    auto* l = new QLabel(u8(caption), box);
    if (label) *label = l;
    g->addWidget(l, row, 0);
    g->addWidget(w, row, 1, 1, 3);
    ++row;
  };

  cboSys[s] = arrayed(new QComboBox(box), "cboSys", s);
  cboSys[s]->setEditable(true);
  cboSys[s]->setInsertPolicy(QComboBox::NoInsert);
  cboSys[s]->addItem(u8(pt::kFramesEntry));
  for (const auto& sys : pt::readyMadeSystems()) cboSys[s]->addItem(qs(sys.caption));
  cboSys[s]->setToolTip(u8("现成坐标系统, 或输入 EPSG 代码 (如 EPSG:4490)"));
  line("坐标系统", cboSys[s]);

  cboProj[s] = arrayed(new QComboBox(box), "cboProj", s);
  for (const auto& c : pt::projectionCaptions(s)) cboProj[s]->addItem(qs(c));
  cboProj[s]->setCurrentIndex(-1);
  line("投影模型", cboProj[s]);

  cboEPar[s] = arrayed(new QComboBox(box), "cboEPar", s);
  for (const auto& e : pt::ellipsoidRows()) cboEPar[s]->addItem(u8(e.caption));
  cboEPar[s]->setCurrentIndex(-1);
  line("参考椭球", cboEPar[s]);
  txtLongR[s] = arrayed(new QLineEdit(box), "txtLongR", s);
  txtShortR[s] = arrayed(new QLineEdit(box), "txtShortR", s);
  line("长半轴(米)", txtLongR[s], &lblLongR[s]);
  line("短半轴(米)", txtShortR[s], &lblShortR[s]);
  lblLongR[s]->setObjectName(QString("lblLongR_%1").arg(s));
  lblShortR[s]->setObjectName(QString("lblShortR_%1").arg(s));

  txtScaleF[s] = arrayed(new QLineEdit(u8("1"), box), "txtScaleF", s);
  line("投影长度比参数", txtScaleF[s], &lblScalef[s]);
  lblScalef[s]->setObjectName(QString("lblScalef_%1").arg(s));
  txtCentLong[s] = arrayed(new QLineEdit(u8("105"), box), "txtCentLong", s);
  txtCentLong[s]->setToolTip(u8("度.分秒 102.3045"));
  line("中央经线", txtCentLong[s]);
  txtZeroLat[s] = arrayed(new QLineEdit(u8("0"), box), "txtZeroLat", s);
  txtZeroLat[s]->setToolTip(u8("纬向起算纬度 度.分秒 20.3045"));
  line("起算纬度", txtZeroLat[s]);

  fraLat[s] = arrayed(new QGroupBox(u8(kLatCaption), box), "fraLat", s);
  auto* lg = new QGridLayout(fraLat[s]);
  lblUpLat[s] = arrayed(new QLabel(u8("第一标准纬线"), fraLat[s]), "lblUpLat", s);
  lblDownLat[s] = arrayed(new QLabel(u8("第二标准纬线"), fraLat[s]), "lblDownLat", s);
  txtUpLat[s] = arrayed(new QLineEdit(u8("25"), fraLat[s]), "txtUpLat", s);
  txtDownLat[s] = arrayed(new QLineEdit(u8("47"), fraLat[s]), "txtDownLat", s);
  txtLon1[s] = arrayed(new QLineEdit(u8("100"), fraLat[s]), "txtLon1", s);
  txtLon2[s] = arrayed(new QLineEdit(u8("110"), fraLat[s]), "txtLon2", s);
  for (QLineEdit* e : {txtUpLat[s], txtDownLat[s], txtLon1[s], txtLon2[s]})
    e->setToolTip(u8("度.分秒 45.3045"));
  lg->addWidget(lblUpLat[s], 0, 0);
  lg->addWidget(txtUpLat[s], 0, 1);
  lg->addWidget(txtLon1[s], 0, 2);
  lg->addWidget(lblDownLat[s], 1, 0);
  lg->addWidget(txtDownLat[s], 1, 1);
  lg->addWidget(txtLon2[s], 1, 2);
  g->addWidget(fraLat[s], row++, 0, 1, 4);

  txtAA[s] = arrayed(new QLineEdit(u8("0"), box), "txtAA", s);
  line("方位角( 度)", txtAA[s], &lblAA[s]);
  lblAA[s]->setObjectName(QString("lblAA_%1").arg(s));

  chkGauss[s] = arrayed(new QCheckBox(u8("带号+横坐标"), box), "chkGauss", s);
  chkNSH[s] = arrayed(new QCheckBox(u8("南半球"), box), "chkNSH", s);
  chkLL[s] = arrayed(new QCheckBox(u8("标准纬线"), box), "chkLL", s);
  chkMore[s] = arrayed(new QCheckBox(u8("更多参数>>"), box), "chkMore", s);
  g->addWidget(chkGauss[s], row, 0);
  g->addWidget(chkNSH[s], row, 1);
  g->addWidget(chkLL[s], row, 2);
  g->addWidget(chkMore[s], row++, 3);

  framMore[s] = arrayed(new QGroupBox(box), "framMore", s);
  auto* mg = new QGridLayout(framMore[s]);
  txtEE[s] = arrayed(new QLineEdit(u8("0.0"), framMore[s]), "txtEE", s);
  txtNN[s] = arrayed(new QLineEdit(u8("0.0"), framMore[s]), "txtNN", s);
  mg->addWidget(new QLabel(u8("东偏移量(米)"), framMore[s]), 0, 0);
  mg->addWidget(txtEE[s], 0, 1);
  mg->addWidget(new QLabel(u8("北偏移量(米)"), framMore[s]), 1, 0);
  mg->addWidget(txtNN[s], 1, 1);
  framMore[s]->setVisible(false);
  g->addWidget(framMore[s], row++, 0, 1, 4);

  framUnit[s] = arrayed(new QGroupBox(u8("坐标单位"), box), "framUnit", s);
  auto* ug = new QGridLayout(framUnit[s]);
  for (int k = 0; k < 3; ++k) {
    auto*& o = optUnit[static_cast<std::size_t>(3 * s + k)];
    o = arrayed(new QRadioButton(framUnit[s]), "optUnit", 3 * s + k);
    ug->addWidget(o, k, 0);
  }
  txtUnitF[s] = arrayed(new QLineEdit(u8("1"), framUnit[s]), "txtUnitF", s);
  txtUnitF[s]->setToolTip(u8("输入坐标单位因子,如 1/10公里因子为10"));
  ug->addWidget(txtUnitF[s], 2, 1);
  g->addWidget(framUnit[s], row++, 0, 1, 4);
  g->setRowStretch(row, 1);
  showUnits(s, false);
  optUnit[static_cast<std::size_t>(3 * s + 1)]->setChecked(true);
}

void frmGeoCoordConv::buildSources() {
  cboFileType = named(new QComboBox(this), "cboFileType");
  for (const auto& c : coordSourceCaptions()) cboFileType->addItem(qs(c));

  fraPoint = named(new QGroupBox(u8("单点坐标"), this), "fraPoint");
  auto* pg = new QGridLayout(fraPoint);
  txtXXIn = named(new QLineEdit(fraPoint), "txtXXIn");
  txtYYIn = named(new QLineEdit(fraPoint), "txtYYIn");
  txtXXOut = named(new QLineEdit(fraPoint), "txtXXOut");
  txtYYOut = named(new QLineEdit(fraPoint), "txtYYOut");
  pg->addWidget(new QLabel(u8("输入横坐标"), fraPoint), 0, 0);
  pg->addWidget(txtXXIn, 0, 1);
  pg->addWidget(new QLabel(u8("输入纵坐标"), fraPoint), 1, 0);
  pg->addWidget(txtYYIn, 1, 1);
  pg->addWidget(new QLabel(u8("输出横坐标"), fraPoint), 2, 0);
  pg->addWidget(txtXXOut, 2, 1);
  pg->addWidget(new QLabel(u8("输出纵坐标"), fraPoint), 3, 0);
  pg->addWidget(txtYYOut, 3, 1);

  fraTable = named(new QGroupBox(u8("工作区数据表"), this), "fraTable");
  auto* tg = new QGridLayout(fraTable);
  lstTbls = named(new QListWidget(fraTable), "lstTbls");
  txtXName = named(new QLineEdit(u8("New_X"), fraTable), "txtXName");
  txtYName = named(new QLineEdit(u8("New_Y"), fraTable), "txtYName");
  tg->addWidget(lstTbls, 0, 0, 1, 2);
  tg->addWidget(new QLabel(u8("新横坐标项"), fraTable), 1, 0);
  tg->addWidget(txtXName, 1, 1);
  tg->addWidget(new QLabel(u8("新纵坐标项"), fraTable), 2, 0);
  tg->addWidget(txtYName, 2, 1);

  fraFields = named(new QGroupBox(u8("坐标数据项"), this), "fraFields");
  auto* fg = new QGridLayout(fraFields);
  cboXXItem = named(new QComboBox(fraFields), "cboXXItem");
  cboYYItem = named(new QComboBox(fraFields), "cboYYItem");
  fg->addWidget(new QLabel(u8("横坐标"), fraFields), 0, 0);
  fg->addWidget(cboXXItem, 0, 1);
  fg->addWidget(new QLabel(u8("纵坐标"), fraFields), 1, 0);
  fg->addWidget(cboYYItem, 1, 1);

  fraFile = named(new QGroupBox(u8("数据文件"), this), "fraFile");
  auto* flg = new QGridLayout(fraFile);
  txtFileIn = named(new QLineEdit(fraFile), "txtFileIn");
  txtFileOut = named(new QLineEdit(fraFile), "txtFileOut");
  btnFileIn = named(new QPushButton(u8("..."), fraFile), "btnFileIn");
  btnFileOut = named(new QPushButton(u8("..."), fraFile), "btnFileOut");
  flg->addWidget(new QLabel(u8("输入文件"), fraFile), 0, 0);
  flg->addWidget(txtFileIn, 0, 1);
  flg->addWidget(btnFileIn, 0, 2);
  flg->addWidget(new QLabel(u8("输出文件"), fraFile), 1, 0);
  flg->addWidget(txtFileOut, 1, 1);
  flg->addWidget(btnFileOut, 1, 2);

  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  prbSpeed->setValue(0);
  lblStatus = named(new QLabel(this), "lblStatus");
  lblStatus->setWordWrap(true);
  btnApply = named(new QPushButton(u8("转换(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnFileIn, btnFileOut, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* sides = new QHBoxLayout;
  sides->addWidget(fraSub[0]);
  sides->addWidget(fraSub[1]);
  auto* source = new QVBoxLayout;
  source->addWidget(new QLabel(u8("转换数据类型"), this));
  source->addWidget(cboFileType);
  source->addWidget(fraPoint);
  source->addWidget(fraTable, 1);
  source->addWidget(fraFields);
  source->addWidget(fraFile);
  source->addStretch(1);
  auto* top = new QHBoxLayout;
  top->addLayout(sides, 3);
  top->addLayout(source, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addWidget(lblStatus);
  all->addLayout(buttons);
  resize(1100, 640);
}

bool frmGeoCoordConv::systemChosen(int s) const {
  const QString t = cboSys[s]->currentText().trimmed();
  return !t.isEmpty() && t != u8(pt::kFramesEntry);
}

void frmGeoCoordConv::showUnits(int s, bool degrees) {
  const auto& captions = degrees ? pt::angleUnitCaptions() : pt::lengthUnitCaptions();
  for (int k = 0; k < 3; ++k)
    optUnit[static_cast<std::size_t>(3 * s + k)]->setText(
        qs(captions[static_cast<std::size_t>(k)]));
  framUnit[s]->setProperty("degrees", degrees);
  txtUnitF[s]->setEnabled(!degrees);
}

CoordSideTexts frmGeoCoordConv::sideTexts(int s) const {
  CoordSideTexts t;
  if (systemChosen(s)) t.system = ss(cboSys[s]->currentText().trimmed());
  t.projection = cboProj[s]->currentIndex();
  t.ellipsoid = cboEPar[s]->currentIndex();
  t.semiMajor = ss(txtLongR[s]->text());
  t.semiMinor = ss(txtShortR[s]->text());
  t.scale = ss(txtScaleF[s]->text());
  t.centralMeridian = ss(txtCentLong[s]->text());
  t.originLatitude = ss(txtZeroLat[s]->text());
  t.parallel1 = ss(txtUpLat[s]->text());
  t.parallel2 = ss(txtDownLat[s]->text());
  t.longitude1 = ss(txtLon1[s]->text());
  t.longitude2 = ss(txtLon2[s]->text());
  t.falseEasting = ss(txtEE[s]->text());
  t.falseNorthing = ss(txtNN[s]->text());
  t.aa = ss(txtAA[s]->text());
  t.unit = -1;
  for (int k = 0; k < 3; ++k)
    if (optUnit[static_cast<std::size_t>(3 * s + k)]->isChecked()) t.unit = k;
  t.unitFactor = ss(txtUnitF[s]->text());
  t.zonePrefix = chkGauss[s]->isChecked();
  t.south = chkNSH[s]->isChecked();
  t.meridians = t.projection == 19 && !chkLL[s]->isChecked();
  return t;
}

void frmGeoCoordConv::writeTexts(int s, const CoordSideTexts& t) {
  txtScaleF[s]->setText(qs(t.scale));
  txtEE[s]->setText(qs(t.falseEasting));
  txtNN[s]->setText(qs(t.falseNorthing));
  txtUpLat[s]->setText(qs(t.parallel1));
  txtDownLat[s]->setText(qs(t.parallel2));
  if (t.unit >= 0) optUnit[static_cast<std::size_t>(3 * s + t.unit)]->setChecked(true);
  {
    QSignalBlocker b1(chkGauss[s]), b2(chkNSH[s]);
    chkGauss[s]->setChecked(t.zonePrefix);
    chkNSH[s]->setChecked(t.south);
  }
  if (t.ellipsoid != cboEPar[s]->currentIndex()) cboEPar[s]->setCurrentIndex(t.ellipsoid);
}

void frmGeoCoordConv::onProjectionChosen(int s) {
  // Selecting a row writes its defaults into the boxes (the engine's rules for the list).
  const int row = cboProj[s]->currentIndex();
  if (pt::projectionRow(row)) {
    CoordSideTexts t = sideTexts(s);
    t.projection = cboProj[s]->property("row").isValid() ? cboProj[s]->property("row").toInt() : -1;
    applyProjectionRow(t, s, row);
    writeTexts(s, t);
  }
  cboProj[s]->setProperty("row", row);
  {
    QSignalBlocker block(chkLL[s]);
    chkLL[s]->setChecked(false);  // starts cleared at row 19
  }
  refreshSide(s);
}

void frmGeoCoordConv::refreshSide(int s) {
  const int row = cboProj[s]->currentIndex();
  const pt::ProjectionRow* r = pt::projectionRow(row);
  const bool frames = !systemChosen(s);
  const unsigned uses = r ? r->uses : 0u;
  cboProj[s]->setEnabled(frames);
  txtCentLong[s]->setEnabled(frames && (uses & pt::kUseCentralMeridian));
  txtZeroLat[s]->setEnabled(frames && (uses & pt::kUseOriginLatitude));
  fraLat[s]->setEnabled(frames && (uses & pt::kUseParallels));
  const bool scale = frames && (uses & pt::kUseScale);
  lblScalef[s]->setVisible(scale);
  txtScaleF[s]->setVisible(scale);
  chkMore[s]->setEnabled(frames && (uses & pt::kUseMore));
  if (!chkMore[s]->isEnabled()) chkMore[s]->setChecked(false);
  const bool aa = frames && (uses & pt::kUseAA);
  lblAA[s]->setVisible(aa);
  txtAA[s]->setVisible(aa);
  if (aa) lblAA[s]->setText(u8(r->aaCaption));
  chkGauss[s]->setVisible(frames && row >= 1 && row <= 3);
  chkNSH[s]->setVisible(frames && row == 3);
  chkLL[s]->setVisible(frames && row == 19);
  onMeridiansToggled(s);
  if (row == 28) {
    lblUpLat[s]->setText(u8("参数 m"));
    lblDownLat[s]->setText(u8("参数 n"));
  }
  cboEPar[s]->setEnabled(frames && !(r && r->sphere));
  if (frames) {
    showUnits(s, row == 0);
  } else {
    const SystemInfo info = describeSystem(ss(cboSys[s]->currentText()));
    showUnits(s, info.ok && info.geographic);
  }
  onEllipsoidChosen(s, false);
}

void frmGeoCoordConv::onMeridiansToggled(int s) {
  // At row 19 the frame holds the two points of the centre line: the meridians while chkLL
  // ("标准纬线") is cleared, the parallels when it is set.
  const bool meridians = cboProj[s]->currentIndex() == 19 && !chkLL[s]->isChecked();
  lblUpLat[s]->setText(u8(meridians ? "第一标准经线" : "第一标准纬线"));
  lblDownLat[s]->setText(u8(meridians ? "第二标准经线" : "第二标准纬线"));
  fraLat[s]->setTitle(u8(meridians ? kLonCaption : kLatCaption));
  txtUpLat[s]->setVisible(!meridians);
  txtDownLat[s]->setVisible(!meridians);
  txtLon1[s]->setVisible(meridians);
  txtLon2[s]->setVisible(meridians);
}

void frmGeoCoordConv::onEllipsoidChosen(int s, bool selected) {
  const int row = cboEPar[s]->currentIndex();
  if (selected && row >= 0 && row < static_cast<int>(pt::ellipsoidRows().size())) {
    CoordSideTexts t;
    t.semiMajor = ss(txtLongR[s]->text());
    t.semiMinor = ss(txtShortR[s]->text());
    applyEllipsoidRow(t, row);
    txtLongR[s]->setText(qs(t.semiMajor));
    txtShortR[s]->setText(qs(t.semiMinor));
  }
  const bool open = row == pt::kSphereEllipsoid || row == pt::kUserEllipsoid;
  const bool frames = !systemChosen(s);
  txtLongR[s]->setEnabled(frames && open);
  txtShortR[s]->setEnabled(frames && open);
  const bool sphere = row == pt::kSphereEllipsoid;
  lblLongR[s]->setText(u8(sphere ? "球体半径(米)" : "长半轴(米)"));
  lblShortR[s]->setText(u8(sphere ? "球体半径(米)" : "短半轴(米)"));
  // As it stands in the system: each selection of row 19 adds an Everest entry to the list.
  if (selected && row == pt::kEverestGrowthRow) {
    QSignalBlocker block(cboEPar[s]);
    cboEPar[s]->addItem(u8(pt::kEverestGrowthText));
  }
}

void frmGeoCoordConv::onSystemChosen(int s) {
  refreshSide(s);
  if (systemChosen(s)) {
    const SystemInfo info = describeSystem(ss(cboSys[s]->currentText()));
    const bool degrees = info.ok && info.geographic;
    optUnit[static_cast<std::size_t>(3 * s + (degrees ? 0 : 1))]->setChecked(true);
    setStatus(info.ok ? info.code + "  " + info.name
                      : kMsgConvUnknownSystem + ss(cboSys[s]->currentText().trimmed()));
  } else {
    optUnit[static_cast<std::size_t>(3 * s + (cboProj[s]->currentIndex() == 0 ? 0 : 1))]
        ->setChecked(true);
  }
}

void frmGeoCoordConv::showSource() {
  const int type = cboFileType->currentIndex();
  fraPoint->setVisible(type == 0);
  fraTable->setVisible(type == 1);
  fraFields->setVisible(type >= 1 && type <= 3);
  fraFile->setVisible(type >= 2);
  QSignalBlocker bx(cboXXItem), by(cboYYItem);
  cboXXItem->clear();
  cboYYItem->clear();
  if (type == 1) onTableChosen();
  if (type == 2 || type == 3) onInputFileChosen();
}

void frmGeoCoordConv::onTableChosen() {
  if (cboFileType->currentIndex() != 1) return;
  QSignalBlocker bx(cboXXItem), by(cboYYItem);
  cboXXItem->clear();
  cboYYItem->clear();
  if (!lstTbls->currentItem() || !db_.isOpen()) return;
  try {
    for (const auto& f : db_.fields(ss(lstTbls->currentItem()->text()))) {
      cboXXItem->addItem(qs(f.name));
      cboYYItem->addItem(qs(f.name));
    }
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  cboXXItem->setCurrentIndex(-1);
  cboYYItem->setCurrentIndex(-1);
}

void frmGeoCoordConv::onInputFileChosen() {
  const int type = cboFileType->currentIndex();
  if (type != 2 && type != 3) return;
  QSignalBlocker bx(cboXXItem), by(cboYYItem);
  cboXXItem->clear();
  cboYYItem->clear();
  if (txtFileIn->text().trimmed().isEmpty()) return;
  std::string message;
  for (const auto& n : scatterFieldNames(ss(txtFileIn->text().trimmed()), type == 3, message)) {
    cboXXItem->addItem(qs(n));
    cboYYItem->addItem(qs(n));
  }
  cboXXItem->setCurrentIndex(-1);
  cboYYItem->setCurrentIndex(-1);
}

void frmGeoCoordConv::browseIn() {
  const std::string path = askOpenFileName(this, "请选择输入数据文件", kFileFilter);
  if (path.empty()) return;
  txtFileIn->setText(qs(path));
  onInputFileChosen();
}

void frmGeoCoordConv::browseOut() {
  const std::string path = askSaveFileName(this, "请输入输出数据文件名", kFileFilter);
  if (!path.empty()) txtFileOut->setText(qs(path));
}

void frmGeoCoordConv::setStatus(const std::string& text) { lblStatus->setText(qs(text)); }

void frmGeoCoordConv::apply() {
  if (running_) return;
  CoordSideResult in = buildCoordSide(sideTexts(0), pt::kInputSide);
  if (!in.outcome) {
    notify(this, in.outcome.message);
    return;
  }
  CoordSideResult out = buildCoordSide(sideTexts(1), pt::kOutputSide);
  if (!out.outcome) {
    notify(this, out.outcome.message);
    return;
  }
  last_ = {in.side, out.side};
  std::string message;
  std::unique_ptr<CoordTransform> t = CoordTransform::create(in.side, out.side, message);
  if (!t) {
    notify(this, message);
    return;
  }

  auto statusOf = [](const CoordRunReport& r, const char* done) {
    std::string s;
    if (!r.note.empty()) s += r.note + "; ";
    if (r.failed > 0) s += std::to_string(r.failed) + " 点不能转换, 记为 -1E+38; ";
    return s + done;
  };
  const int type = cboFileType->currentIndex();
  if (type == 0) {
    PointConversion pc = convertPointTexts(*t, ss(txtXXIn->text()), ss(txtYYIn->text()));
    if (!pc.outcome) {
      notify(this, pc.outcome.message);
      return;
    }
    txtXXOut->setText(qs(pc.x));
    txtYYOut->setText(qs(pc.y));
    setStatus(pc.note);
    return;
  }

  running_ = true;
  btnApply->setEnabled(false);
  CoordRunReport report;
  Outcome o;
  {
    BarProgress progress(prbSpeed);
    if (type == 1) {
      const std::string table = lstTbls->currentItem() ? ss(lstTbls->currentItem()->text()) : "";
      const std::string x = cboXXItem->currentIndex() >= 0 ? ss(cboXXItem->currentText()) : "";
      const std::string y = cboYYItem->currentIndex() >= 0 ? ss(cboYYItem->currentText()) : "";
      if (table.empty()) {
        o = Outcome::failure(kMsgConvNoTable);
      } else if (x.empty()) {
        o = Outcome::failure(kMsgConvNoXField);
      } else {
        setStatus(kStatusConverting);
        o = convertTable(db_, table, x, y, ss(txtXName->text().trimmed()),
                         ss(txtYName->text().trimmed()), *t, progress, report);
      }
    } else {
      const std::string x = cboXXItem->currentIndex() >= 0 ? ss(cboXXItem->currentText()) : "";
      const std::string y = cboYYItem->currentIndex() >= 0 ? ss(cboYYItem->currentText()) : "";
      setStatus(kStatusConverting);
      o = type == 4
              ? convertGphFile(ss(txtFileIn->text().trimmed()), ss(txtFileOut->text().trimmed()),
                               *t, report)
              : convertScatterFile(ss(txtFileIn->text().trimmed()),
                                   ss(txtFileOut->text().trimmed()), type == 3, x, y, *t, report);
    }
  }
  prbSpeed->setValue(0);
  running_ = false;
  btnApply->setEnabled(true);
  if (!o) {
    // A table stopped half-way keeps what was done; say how far it got.
    setStatus(report.records > 0 ? std::to_string(report.records) + " 条记录已转换" : "");
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  if (type == 1) {
    setStatus(statusOf(report, kStatusTableDone));
    // The new fields show in the lists.
    onTableChosen();
  } else {
    setStatus(statusOf(report, kMsgFileDone));
    notify(this, kMsgFileDone);
  }
}

void frmGeoCoordConv::done(int r) {
  if (running_) return;
  db_.close();
  QDialog::done(r);
}

namespace {

const ToolWindowRegistrar registerGeoCoordConv{"frmGeoCoordConv",
                                               [](QWidget* parent, int mode) -> QWidget* {
                                                 auto* w = new frmGeoCoordConv(parent);
                                                 w->mode = static_cast<std::int16_t>(mode);
                                                 return w;
                                               }};

}  // namespace

}  // namespace sarnoth::gui
