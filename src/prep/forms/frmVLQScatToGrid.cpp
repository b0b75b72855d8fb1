#include "prep/forms/frmVLQScatToGrid.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
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
#include <climits>
#include <cmath>
#include <filesystem>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "workarea/file_text.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

// The labels of the geometry array, by index.
constexpr const char* kGeometryLabels[10] = {"XLeft",   "XRight", "XJust", "DX", "Columns",
                                             "YBottom", "YTop",   "YJust", "DY", "Rows"};

QString u8(const char* s) { return QString::fromUtf8(s); }

// A single as a text box shows it: seven significant digits, no trailing zeros.
std::string numberText(float v) {
  return QString::number(static_cast<double>(v), 'g', 7).toStdString();
}

std::optional<float> readSingle(const QLineEdit* box) {
  float v = 0;
  if (!filetext::parseFloat(ss(box->text()), v) || !std::isfinite(v)) return std::nullopt;
  return v;
}

// A 16-bit integer box: a number rounded half to even, as the boxes have always been read.
std::optional<int> readInt16(const QLineEdit* box) {
  auto v = readSingle(box);
  if (!v) return std::nullopt;
  const double r = std::nearbyint(static_cast<double>(*v));
  if (r < -32768 || r > 32767) return std::nullopt;
  return static_cast<int>(r);
}

std::optional<std::int32_t> readInt32(const QLineEdit* box) {
  auto v = readSingle(box);
  if (!v) return std::nullopt;
  const double r = std::nearbyint(static_cast<double>(*v));
  if (r < INT32_MIN || r > INT32_MAX) return std::nullopt;
  return static_cast<std::int32_t>(r);
}

// The engine's progress on the window's bar. Events are let through and the bar redrawn a few
// times a second, not on every record; the hourglass shows from the first maximum on.
class BarProgress : public Progress {
 public:
  BarProgress(QProgressBar* bar, const bool* stop) : bar_(bar), stop_(stop) {
    shown_.start();
    pumped_.start();
  }
  ~BarProgress() override {
    bar_->setValue(0);
    if (busy_) QApplication::restoreOverrideCursor();
  }
  void setMaximum(std::int64_t max) override {
    Progress::setMaximum(max);
    if (!busy_) {
      QApplication::setOverrideCursor(Qt::WaitCursor);
      busy_ = true;
    }
    scale_ = max > INT_MAX ? max / INT_MAX + 1 : 1;
    bar_->setMaximum(static_cast<int>(std::max<std::int64_t>(max, 0) / scale_));
    bar_->setValue(0);
  }
  void setValue(std::int64_t value) override {
    Progress::setValue(value);
    if (value == 0 || value >= maximum() || shown_.elapsed() >= kIntervalMs) {
      bar_->setValue(static_cast<int>(std::clamp<std::int64_t>(value, 0, maximum()) / scale_));
      shown_.restart();
    }
  }
  bool pump() override {
    if (pumped_.elapsed() >= kIntervalMs) {
      QCoreApplication::processEvents();
      pumped_.restart();
    }
    return !*stop_;
  }

 private:
  static constexpr qint64 kIntervalMs = 40;
  QProgressBar* bar_;
  const bool* stop_;
  QElapsedTimer shown_, pumped_;
  std::int64_t scale_ = 1;
  bool busy_ = false;
};

template <typename W>
W* named(W* w, const char* name) {
  w->setObjectName(QString::fromLatin1(name));
  return w;
}

}  // namespace

frmVLQScatToGrid::frmVLQScatToGrid(QWidget* parent) : QDialog(parent) {
  setObjectName("frmVLQScatToGrid");
  setWindowTitle(u8(kScatToGridCaption));
  buildUi();

  for (const auto& c : gridMethodCaptions()) cboCalMode->addItem(qs(c));
  for (const auto& c : krigingKindCaptions()) cboKrig->addItem(qs(c));
  for (const auto& c : driftCaptions()) cboMoveM->addItem(qs(c));
  for (const auto& c : sectorCaptions()) cboAzimuth->addItem(qs(c));
  cboAzimuth->setCurrentIndex(1);
  cboKrig->setCurrentIndex(0);
  cboMoveM->setCurrentIndex(0);
  optType[1]->setChecked(true);
  onRegionChosen();
  cboCalMode->setCurrentIndex(0);
  onMethodChosen();

  connect(cboCalMode, &QComboBox::currentIndexChanged, this, [this] { onMethodChosen(); });
  connect(cboKrig, &QComboBox::currentIndexChanged, this, [this] { onKrigingKindChosen(); });
  connect(optType[1], &QRadioButton::toggled, this, [this] { onRegionChosen(); });
  connect(chkSet, &QCheckBox::toggled, fSet, &QWidget::setEnabled);
  connect(cboXXItem, &QComboBox::currentIndexChanged, this, [this] { onCoordinateChosen(true); });
  connect(cboYYItem, &QComboBox::currentIndexChanged, this, [this] { onCoordinateChosen(false); });
  connect(cboVVItem, &QComboBox::currentIndexChanged, this, [this] { onValueChosen(); });
  for (int i = 0; i < 10; ++i) {
    QLineEdit* box = txtGPar[static_cast<std::size_t>(i)];
    connect(box, &QLineEdit::textChanged, this, [this, i] { onGeometryEdited(i, false); });
    connect(box, &QLineEdit::editingFinished, this, [this, i] { onGeometryEdited(i, true); });
  }
  // The other numeric boxes are checked when they are left.
  const std::pair<QLineEdit*, const char*> numericBoxes[] = {
      {txtAngle, "测线方向"},         {txtPar, "参数"},
      {txtRx, "搜索半径X"},           {txtRy, "搜索半径Y"},
      {txtDN1, "数据点不多于"},       {txtDN2, "数据点不少于数"},
      {txtDAnom, "用此值替换高于值"}, {txtDemal, "数据保留小数位数"}};
  for (const auto& [box, field] : numericBoxes)
    connect(box, &QLineEdit::editingFinished, this, [this, box = box, field = field] {
      if (box->isEnabled() && !readSingle(box)) refuseBox(box, field);
    });
  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(btnApply, &QPushButton::clicked, this, &frmVLQScatToGrid::apply);
  connect(btnImg, &QPushButton::clicked, this, &frmVLQScatToGrid::showImage);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

frmVLQScatToGrid::~frmVLQScatToGrid() = default;

void frmVLQScatToGrid::buildUi() {
  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  auto* tl = new QVBoxLayout(tables);
  tl->addWidget(lstTbls);

  auto* fields = new QGroupBox(u8("数据项"), this);
  auto* fl = new QGridLayout(fields);
  cboXXItem = named(new QComboBox(fields), "cboXXItem");
  cboYYItem = named(new QComboBox(fields), "cboYYItem");
  cboVVItem = named(new QComboBox(fields), "cboVVItem");
  txtFileOut = named(new QLineEdit(fields), "txtFileOut");
  fl->addWidget(new QLabel(u8("X坐标项"), fields), 0, 0);
  fl->addWidget(cboXXItem, 0, 1);
  fl->addWidget(new QLabel(u8("Y坐标项"), fields), 1, 0);
  fl->addWidget(cboYYItem, 1, 1);
  fl->addWidget(new QLabel(u8("数据项"), fields), 2, 0);
  fl->addWidget(cboVVItem, 2, 1);
  fl->addWidget(new QLabel(u8("输出文件名"), fields), 3, 0);
  fl->addWidget(txtFileOut, 3, 1);

  auto* geometry = new QGroupBox(u8("网格参数"), this);
  auto* gl = new QGridLayout(geometry);
  chkAuto = named(new QCheckBox(u8("自动计算几何参数"), geometry), "chkAuto");
  chkAuto->setChecked(true);
  gl->addWidget(chkAuto, 0, 0, 1, 4);
  for (int i = 0; i < 10; ++i) {
    const std::size_t k = static_cast<std::size_t>(i);
    txtGPar[k] = new QLineEdit(geometry);
    txtGPar[k]->setObjectName(QString("txtGPar_%1").arg(i));
    txtGPar[k]->setMinimumWidth(100);
    const int row = 1 + i % 5, col = i < 5 ? 0 : 2;
    gl->addWidget(new QLabel(QString::fromLatin1(kGeometryLabels[i]), geometry), row, col);
    gl->addWidget(txtGPar[k], row, col + 1);
  }
  // The adjusted bounds are computed, never typed.
  for (int i : {2, 7}) {
    txtGPar[static_cast<std::size_t>(i)]->setReadOnly(true);
    txtGPar[static_cast<std::size_t>(i)]->setEnabled(false);
  }
  txtAngle = named(new QLineEdit(u8("0"), geometry), "txtAngle");
  txtAngle->setToolTip(u8("测线与东西方向的夹角，顺时针为负，单位度"));
  auto* angleLabel = new QLabel(u8("测线与东西方向的夹角，顺时针为负，单位度"), geometry);
  angleLabel->setWordWrap(true);
  gl->addWidget(angleLabel, 6, 0, 1, 3);
  gl->addWidget(txtAngle, 6, 3);
  gl->setColumnStretch(1, 1);
  gl->setColumnStretch(3, 1);

  auto* method = new QGroupBox(u8("网格化方法"), this);
  auto* ml = new QGridLayout(method);
  cboCalMode = named(new QComboBox(method), "cboCalMode");
  lblp1 = named(new QLabel(u8("指数因子"), method), "lblp1");
  txtPar = named(new QLineEdit(u8("2"), method), "txtPar");
  ml->addWidget(cboCalMode, 0, 0, 1, 2);
  ml->addWidget(lblp1, 1, 0);
  ml->addWidget(txtPar, 1, 1);
  cboKrig = named(new QComboBox(method), "cboKrig");
  lblPAr = named(new QLabel(method), "lblPAr");
  cboMoveM = named(new QComboBox(method), "cboMoveM");
  txtPars = named(new QLineEdit(method), "txtPars");
  ml->addWidget(cboKrig, 2, 0, 1, 2);
  ml->addWidget(lblPAr, 3, 0, 1, 2);
  ml->addWidget(cboMoveM, 4, 0, 1, 2);
  ml->addWidget(txtPars, 5, 0, 1, 2);

  fSearch = named(new QGroupBox(u8("搜索范围"), method), "fSearch");
  auto* sl = new QGridLayout(fSearch);
  optType[0] = named(new QRadioButton(u8("矩形域"), fSearch), "optType_0");
  optType[1] = named(new QRadioButton(u8("圆域"), fSearch), "optType_1");
  txtRx = named(new QLineEdit(fSearch), "txtRx");
  txtRy = named(new QLineEdit(fSearch), "txtRy");
  chkAzimuth = named(new QCheckBox(u8("方位搜索"), fSearch), "chkAzimuth");
  cboAzimuth = named(new QComboBox(fSearch), "cboAzimuth");
  sl->addWidget(optType[1], 0, 0);
  sl->addWidget(optType[0], 0, 1);
  sl->addWidget(new QLabel(u8("X半径"), fSearch), 1, 0);
  sl->addWidget(txtRx, 1, 1);
  sl->addWidget(new QLabel(u8("Y半径"), fSearch), 2, 0);
  sl->addWidget(txtRy, 2, 1);
  sl->addWidget(chkAzimuth, 3, 0);
  sl->addWidget(cboAzimuth, 3, 1);
  ml->addWidget(fSearch, 6, 0, 1, 2);

  chkSet = named(new QCheckBox(u8("特征数据设置"), this), "chkSet");
  fSet = named(new QGroupBox(this), "fSet");
  auto* setl = new QGridLayout(fSet);
  txtDN1 = named(new QLineEdit(qs(std::to_string(settings_.maxNodePoints)), fSet), "txtDN1");
  txtDN2 = named(new QLineEdit(qs(std::to_string(settings_.minNodePoints)), fSet), "txtDN2");
  txtDAnom = named(new QLineEdit(fSet), "txtDAnom");
  txtDemal = named(new QLineEdit(qs(std::to_string(settings_.roundDecimals)), fSet), "txtDemal");
  setl->addWidget(new QLabel(u8("数据点不多于..."), fSet), 0, 0);
  setl->addWidget(txtDN1, 0, 1);
  setl->addWidget(new QLabel(u8("数据点不少于数"), fSet), 1, 0);
  setl->addWidget(txtDN2, 1, 1);
  setl->addWidget(new QLabel(u8("用此值替换高于值"), fSet), 2, 0);
  setl->addWidget(txtDAnom, 2, 1);
  setl->addWidget(new QLabel(u8("数据保留小数位数"), fSet), 3, 0);
  setl->addWidget(txtDemal, 3, 1);
  fSet->setEnabled(false);

  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  prbSpeed->setValue(0);
  lblStatus = named(new QLabel(this), "lblStatus");
  lblStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
  btnApply = named(new QPushButton(u8("网格化处理(&A)"), this), "btnApply");
  btnImg = named(new QPushButton(u8("结果浏览(&P)"), this), "btnImg");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");

  auto* left = new QVBoxLayout;
  left->addWidget(tables, 1);
  left->addWidget(fields);
  auto* middle = new QVBoxLayout;
  middle->addWidget(geometry);
  middle->addWidget(chkSet);
  middle->addWidget(fSet);
  middle->addStretch(1);
  auto* right = new QVBoxLayout;
  right->addWidget(method);
  right->addStretch(1);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 1);
  top->addLayout(middle, 2);
  top->addLayout(right, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnImg);
  buttons->addWidget(btnReturn);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  all->addWidget(lblStatus);
  resize(900, 480);
}

bool frmVLQScatToGrid::load() {
  std::vector<std::string> names;
  try {
    db_ = openWorkDatabase(gWorkPath);
    listRegisteredTables(db_, names);
  } catch (const StoreError& e) {
    notify(this, e.what());
    return false;
  }
  for (const auto& n : names) lstTbls->addItem(qs(n));
  if (lstTbls->count() > 0) lstTbls->setCurrentRow(0);
  return true;
}

void frmVLQScatToGrid::refuseBox(QLineEdit* box, const std::string& field) {
  notify(this, std::string(kMsgGriddingFailed) + "\n(" + field + ": " + ss(box->text()) + ")");
  box->setFocus();
  box->selectAll();
}

void frmVLQScatToGrid::setText(QLineEdit* box, const std::string& text) { box->setText(qs(text)); }

void frmVLQScatToGrid::onTableChosen() {
  if (!lstTbls->currentItem() || !db_.isOpen()) return;
  std::vector<FieldDef> fields;
  try {
    fields = db_.fields(ss(lstTbls->currentItem()->text()));
  } catch (const StoreError& e) {
    notify(this, e.what());
    return;
  }
  FieldChoice fc = chooseGridFields(fields);
  QComboBox* combos[3] = {cboXXItem, cboYYItem, cboVVItem};
  if (!fc.outcome) {
    notify(this, fc.outcome.message);
    // Too few fields lists nothing; too few numeric ones clears the lists.
    if (fc.outcome.message == kMsgNotGriddable)
      for (QComboBox* c : combos) {
        QSignalBlocker block(c);
        c->clear();
      }
    return;
  }
  const int chosen[3] = {fc.x, fc.y, fc.value};
  for (int i = 0; i < 3; ++i) {
    QSignalBlocker block(combos[i]);
    combos[i]->clear();
    for (const auto& f : fc.numericFields) combos[i]->addItem(qs(f));
    combos[i]->setCurrentIndex(chosen[i]);
  }
  onCoordinateChosen(true);
  onCoordinateChosen(false);
  onValueChosen();
}

void frmVLQScatToGrid::onCoordinateChosen(bool xAxis) {
  if (!chkAuto->isChecked() || !lstTbls->currentItem()) return;
  const QComboBox* combo = xAxis ? cboXXItem : cboYYItem;
  if (combo->currentIndex() < 0) return;
  AxisExtentResult r =
      autoAxisExtent(db_, ss(lstTbls->currentItem()->text()), ss(combo->currentText()));
  if (!r.outcome) {
    notify(this, r.outcome.message);
    return;
  }
  const std::size_t base = xAxis ? 0 : 5;
  setText(txtGPar[base], r.extent.minText);
  setText(txtGPar[base + 1], r.extent.maxText);
  setText(txtGPar[base + 3], numberText(r.extent.spacing));
  if (!(r.extent.spacing > 0)) {
    notify(this, kMsgSpacing);
    return;
  }
  setText(txtGPar[base + 4], std::to_string(r.extent.count));
  setText(txtGPar[base + 2], numberText(r.extent.just));
}

void frmVLQScatToGrid::onValueChosen() {
  if (cboVVItem->currentIndex() < 0 || !lstTbls->currentItem()) return;
  const std::string field = ss(cboVVItem->currentText());
  FieldMaximumResult r = fieldMaximum(db_, ss(lstTbls->currentItem()->text()), field);
  if (!r.outcome)
    notify(this, r.outcome.message);
  else
    setText(txtDAnom, r.maximum ? numberText(*r.maximum) : std::string());
  settings_.onValueFieldSelected();
  setText(txtFileOut, field);
}

void frmVLQScatToGrid::onMethodChosen() {
  const int m = cboCalMode->currentIndex();
  if (m < 0) return;
  const auto method = static_cast<GridMethod>(m);
  settings_.onMethodSelected(method);
  lblp1->setText(u8("指数因子"));
  if (std::optional<float> par = methodDefaultParameter(method)) setText(txtPar, numberText(*par));
  switch (method) {
    case GridMethod::Nearest:
    case GridMethod::Mean:
    case GridMethod::Median:
      txtPar->setEnabled(false);
      break;
    case GridMethod::InverseDistance:
    case GridMethod::Exponential:
      txtPar->setEnabled(true);
      break;
    case GridMethod::Sum:
      break;
    case GridMethod::Kriging:
      txtPar->setEnabled(true);
      lblp1->setText(u8("搜索数据点数"));
      optType[1]->setChecked(true);
      break;
  }
  const bool kriging = method == GridMethod::Kriging;
  fSearch->setVisible(!kriging);
  cboKrig->setVisible(kriging);
  onKrigingKindChosen();
  const bool azimuth = m >= 1 && m <= 4;
  if (!azimuth) chkAzimuth->setChecked(false);
  chkAzimuth->setEnabled(azimuth);
}

void frmVLQScatToGrid::onKrigingKindChosen() {
  const bool kriging = cboCalMode->currentIndex() == static_cast<int>(GridMethod::Kriging);
  const auto kind = static_cast<KrigingKind>(cboKrig->currentIndex());
  const bool drift = kriging && kind == KrigingKind::Universal;
  const bool params =
      kriging && (kind == KrigingKind::Lognormal3 || kind == KrigingKind::Indicator);
  lblPAr->setText(drift ? u8("选择漂移方式") : u8("输入参数值，逗号分隔"));
  lblPAr->setVisible(drift || params);
  cboMoveM->setVisible(drift);
  txtPars->setVisible(params);
}

void frmVLQScatToGrid::onRegionChosen() { txtRy->setEnabled(!optType[1]->isChecked()); }

void frmVLQScatToGrid::onGeometryEdited(int index, bool leaving) {
  if (index == 2 || index == 7) return;
  QLineEdit* edited = txtGPar[static_cast<std::size_t>(index)];
  if (leaving && !readSingle(edited)) {
    refuseBox(edited, kGeometryLabels[index]);
    return;
  }
  const bool xAxis = index < 5;
  const std::size_t base = xAxis ? 0 : 5;
  static constexpr AxisBox kBoxes[5] = {AxisBox::Low, AxisBox::High, AxisBox::Low, AxisBox::Spacing,
                                        AxisBox::Count};
  AxisBoxes boxes{readSingle(txtGPar[base]), readSingle(txtGPar[base + 1]),
                  readSingle(txtGPar[base + 3]), readInt16(txtGPar[base + 4])};
  AxisEdit e = editAxis(xAxis, kBoxes[static_cast<std::size_t>(index) - base], boxes);
  // The spacing message waits until the box is left, not at every key.
  if (e.spacingMessage && leaving)
    notify(this, std::string(kMsgSpacing) + "\n(" + kGeometryLabels[base + 3] + ")");
  if (leaving) return;  // the values were set as the text changed
  if (e.count) setText(txtGPar[base + 4], std::to_string(*e.count));
  if (e.just) setText(txtGPar[base + 2], numberText(*e.just));
  if (e.radius) {
    setText(txtRx, numberText(*e.radius));
    setText(txtRy, numberText(*e.radius));
  }
}

bool frmVLQScatToGrid::readSettings() {
  if (!chkSet->isChecked()) return true;
  auto maxPoints = readInt32(txtDN1);
  auto minPoints = readInt32(txtDN2);
  auto cap = readSingle(txtDAnom);
  auto decimals = readInt16(txtDemal);
  if (!maxPoints) return refuseBox(txtDN1, "数据点不多于"), false;
  if (!minPoints) return refuseBox(txtDN2, "数据点不少于数"), false;
  if (!cap) return refuseBox(txtDAnom, "用此值替换高于值"), false;
  if (!decimals) return refuseBox(txtDemal, "数据保留小数位数"), false;
  settings_.maxNodePoints = *maxPoints;
  settings_.minNodePoints = *minPoints;
  settings_.highValueCap = *cap;
  settings_.roundDecimals = static_cast<std::int16_t>(*decimals);
  return true;
}

bool frmVLQScatToGrid::collectJob(GriddingJob& job) {
  job.table = lstTbls->currentItem() ? ss(lstTbls->currentItem()->text()) : std::string();
  job.xField = ss(cboXXItem->currentText());
  job.yField = ss(cboYYItem->currentText());
  job.valueField = ss(cboVVItem->currentText());
  job.outputName = ss(txtFileOut->text());
  job.method = static_cast<GridMethod>(std::max(cboCalMode->currentIndex(), 0));
  job.circle = optType[1]->isChecked();
  job.azimuth = chkAzimuth->isChecked();
  job.sectors = cboAzimuth->currentText().toInt();
  job.settingsChecked = chkSet->isChecked();
  job.krigingKind = static_cast<KrigingKind>(std::max(cboKrig->currentIndex(), 0));
  job.drift = std::max(cboMoveM->currentIndex(), 0);

  auto xLeft = readSingle(txtGPar[0]), xJust = readSingle(txtGPar[2]);
  auto dx = readSingle(txtGPar[3]);
  auto columns = readInt16(txtGPar[4]);
  auto yBottom = readSingle(txtGPar[5]), yJust = readSingle(txtGPar[7]);
  auto dy = readSingle(txtGPar[8]);
  auto rows = readInt16(txtGPar[9]);
  auto rx = readSingle(txtRx), ry = readSingle(txtRy);
  auto angle = readSingle(txtAngle), par = readSingle(txtPar);
  // The first box that holds no number is named.
  const std::pair<bool, std::pair<QLineEdit*, const char*>> checks[] = {
      {bool(xLeft), {txtGPar[0], kGeometryLabels[0]}},
      {bool(xJust), {txtGPar[2], kGeometryLabels[2]}},
      {bool(dx), {txtGPar[3], kGeometryLabels[3]}},
      {bool(columns), {txtGPar[4], kGeometryLabels[4]}},
      {bool(yBottom), {txtGPar[5], kGeometryLabels[5]}},
      {bool(yJust), {txtGPar[7], kGeometryLabels[7]}},
      {bool(dy), {txtGPar[8], kGeometryLabels[8]}},
      {bool(rows), {txtGPar[9], kGeometryLabels[9]}},
      {bool(rx), {txtRx, "搜索半径X"}},
      {bool(ry), {txtRy, "搜索半径Y"}},
      {bool(angle), {txtAngle, "测线方向"}},
      {bool(par), {txtPar, "参数"}}};
  for (const auto& [good, box] : checks)
    if (!good) {
      refuseBox(box.first, box.second);
      return false;
    }
  bool ok = true;
  if (job.krigingKind == KrigingKind::Lognormal3 || job.krigingKind == KrigingKind::Indicator) {
    std::optional<std::vector<float>> params = parseKrigingParams(ss(txtPars->text()));
    if (params)
      job.krigingParams = std::move(*params);
    else
      ok = false;
  }
  if (!ok) {
    refuseBox(txtPars, "克里格参数");
    return false;
  }
  job.geometry = {*xLeft, *yBottom, *xJust, *yJust, *dx, *dy, *columns, *rows};
  job.rx = *rx;
  job.ry = *ry;
  job.angle = *angle;
  job.par = *par;
  return true;
}

void frmVLQScatToGrid::apply() {
  if (!readSettings()) return;
  GriddingJob job;
  if (!collectJob(job)) return;
  // Events pass during the run; "返回" and Esc stop it, closing waits until it has ended.
  for (QPushButton* b : {btnApply, btnImg}) b->setEnabled(false);
  running_ = true;
  stopRequested_ = false;
  lblStatus->clear();
  GriddingRunResult r;
  QElapsedTimer clock;
  clock.start();
  {
    GuiInteraction ui(this);
    BarProgress progress(prbSpeed, &stopRequested_);
    r = runGridding(gWorkPath, job, settings_, ui, progress);
  }
  const double seconds = static_cast<double>(clock.elapsed()) / 1000.0;
  running_ = false;
  for (QPushButton* b : {btnApply, btnImg}) b->setEnabled(true);
  if (r.outcome) {
    lblStatus->setText(qs(griddingSummary(r, seconds)));
  } else if (stopRequested_ && r.outcome.message.empty()) {
    lblStatus->setText(u8("网格化已中止."));
  } else if (!r.declined && !r.outcome.message.empty()) {
    notify(this, r.outcome.message);
  }
  stopRequested_ = false;
}

void frmVLQScatToGrid::showImage() {
  const std::string path = gridOutputPath(gWorkPath, ss(txtFileOut->text()));
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) {
    notify(this, kMsgNoResultFile);
    return;
  }
  showGridImage(this, path);
}

void frmVLQScatToGrid::done(int r) {
  if (running_) {
    stopRequested_ = true;  // the run ends at its next pump; the window stays
    return;
  }
  db_.close();
  QDialog::done(r);
}

namespace {

const ToolWindowRegistrar registerScatToGrid{"frmVLQScatToGrid",
                                             [](QWidget* parent, int mode) -> QWidget* {
                                               auto* w = new frmVLQScatToGrid(parent);
                                               w->mode = static_cast<std::int16_t>(mode);
                                               // A window whose work area cannot be opened says so
                                               // and does not open.
                                               if (!w->load()) {
                                                 delete w;
                                                 return nullptr;
                                               }
                                               return w;
                                             }};

}  // namespace

}  // namespace sarnoth::gui
