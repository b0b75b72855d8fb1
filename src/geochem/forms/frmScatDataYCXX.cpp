#include "geochem/forms/frmScatDataYCXX.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTextEdit>
#include <QVBoxLayout>
#include <cmath>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/file_text.h"
#include "workarea/rtf_text.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kSaveTitle = "保存处理结果...";
constexpr const char* kSaveFilter = "Sarnoth结果文件(*.RTF)|*.rtf|所有文件 (*.*)|*.*|";
constexpr const char* kSavePicTitle = "保存图形";
constexpr const char* kSavePicFilter = "PNG 图像(*.png)|*.png|SVG 图形(*.svg)|*.svg";
constexpr const char* kMsgCannotWrite = "不能写入文件: ";

template <typename W>
W* named(W* w, const QString& name) {
  w->setObjectName(name);
  return w;
}

std::optional<float> readSingle(const QLineEdit* box) {
  float v = 0;
  if (!filetext::parseFloat(ss(box->text()), v) || !std::isfinite(v)) return std::nullopt;
  return v;
}

// An integer box: the number rounded half to even, as the boxes have always been read.
std::optional<int> readInteger(const QLineEdit* box) {
  auto v = readSingle(box);
  if (!v) return std::nullopt;
  const double r = std::nearbyint(static_cast<double>(*v));
  if (r < -2147483647.0 || r > 2147483647.0) return std::nullopt;
  return static_cast<int>(r);
}

// The hourglass for the length of a run.

}  // namespace

frmScatDataYCXX::frmScatDataYCXX(QWidget* parent, int m)
    : QDialog(parent), mode(static_cast<std::int16_t>(m)) {
  setObjectName("frmScatDataYCXX");
  buildUi();
  setUpMode();
}

frmScatDataYCXX::~frmScatDataYCXX() = default;

void frmScatDataYCXX::buildUi() {
  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  auto* tl = new QVBoxLayout(tables);
  tl->addWidget(lstTbls);

  auto* items = new QGroupBox(u8("数据项"), this);
  lstVVItem = named(new QListWidget(items), "lstVVItem");
  lstVVItem->setSelectionMode(QAbstractItemView::MultiSelection);
  flstGrd = named(new QListWidget(items), "flstGrd");
  auto* il = new QVBoxLayout(items);
  il->addWidget(lstVVItem);
  il->addWidget(flstGrd);

  auto* methods = new QGroupBox(u8("计算方法"), this);
  auto* ml = new QVBoxLayout(methods);
  for (int i = 0; i < kAnomalyMethodCount; ++i) {
    optSelMD[static_cast<std::size_t>(i)] =
        named(new QRadioButton(methods), QString("optSelMD_%1").arg(i));
    ml->addWidget(optSelMD[static_cast<std::size_t>(i)]);
  }

  auto* params = new QWidget(this);
  auto* pl = new QGridLayout(params);
  pl->setContentsMargins(0, 0, 0, 0);
  lblPar = named(new QLabel(params), "lblPar");
  txtPar = named(new QLineEdit(params), "txtPar");
  lblYC1 = named(new QLabel(u8("异常下限＝平均值＋"), params), "lblYC1");
  txtTms = named(new QLineEdit(u8("2"), params), "txtTms");
  lblYC2 = named(new QLabel(u8("×标准差"), params), "lblYC2");
  chkAuto = named(new QCheckBox(u8("自动计算几何参数"), params), "chkAuto");
  pl->addWidget(lblPar, 0, 0);
  pl->addWidget(txtPar, 0, 1);
  pl->addWidget(lblYC1, 1, 0);
  pl->addWidget(txtTms, 1, 1);
  pl->addWidget(lblYC2, 1, 2);
  pl->addWidget(chkAuto, 2, 0, 1, 3);

  frmA = named(new QGroupBox(u8("坐标轴选择"), this), "frmA");
  auto* al = new QHBoxLayout(frmA);
  for (int i = 0; i < 4; ++i) {
    optAxis[static_cast<std::size_t>(i)] =
        named(new QRadioButton(u8(axisTypeCaptions()[static_cast<std::size_t>(i)]), frmA),
              QString("optAxis_%1").arg(i));
    al->addWidget(optAxis[static_cast<std::size_t>(i)]);
  }

  rchBox = named(new QTextEdit(this), "rchBox");
  rchBox->setLineWrapMode(QTextEdit::NoWrap);
  rchBox->setAcceptRichText(false);
  rchBox->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  picDraw = named(new ChartView(this), "picDraw");
  picDraw->setMinimumSize(420, 300);

  btnApply = named(new QPushButton(u8("计算(&A)"), this), "btnApply");
  btnSave = named(new QPushButton(u8("保存结果(&S)"), this), "btnSave");
  btnSavePic = named(new QPushButton(u8("保存图形(&P)"), this), "btnSavePic");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnSave, btnSavePic, btnReturn}) b->setAutoDefault(false);
  btnSave->setEnabled(false);
  btnSavePic->setEnabled(false);

  auto* left = new QVBoxLayout;
  left->addWidget(tables, 1);
  left->addWidget(items, 1);
  auto* middle = new QVBoxLayout;
  middle->addWidget(methods);
  middle->addWidget(params);
  middle->addWidget(frmA);
  middle->addStretch(1);
  auto* right = new QVBoxLayout;
  right->addWidget(picDraw, 3);
  right->addWidget(rchBox, 2);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 2);
  top->addLayout(middle, 2);
  top->addLayout(right, 5);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  for (QPushButton* b : {btnApply, btnSave, btnSavePic, btnReturn}) buttons->addWidget(b);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  resize(1060, 640);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  for (int i = 0; i < kAnomalyMethodCount; ++i)
    connect(optSelMD[static_cast<std::size_t>(i)], &QRadioButton::clicked, this,
            [this, i] { onMethodChosen(i); });
  for (int i = 0; i < 4; ++i)
    connect(optAxis[static_cast<std::size_t>(i)], &QRadioButton::clicked, this,
            [this, i] { axisType = static_cast<std::uint8_t>(i); });
  connect(picDraw, &ChartView::hovered, this,
          [this](int series, int index) { onHover(series, index); });
  picDraw->setTooltipFormatter([this](int series, int index) {
    return qs(fractalHoverText(plot_, series == 0 ? index : hoverIndex));
  });
  connect(btnApply, &QPushButton::clicked, this, &frmScatDataYCXX::apply);
  connect(btnSave, &QPushButton::clicked, this, &frmScatDataYCXX::save);
  connect(btnSavePic, &QPushButton::clicked, this, &frmScatDataYCXX::savePicture);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

void frmScatDataYCXX::setUpMode() {
  const bool fractal = mode == 200;
  if (fractal) {
    setWindowTitle(u8(kFractalCaption));
    for (int i = 0; i < kFractalMethodCount; ++i)
      optSelMD[static_cast<std::size_t>(i)]->setText(
          u8(fractalMethodCaptions()[static_cast<std::size_t>(i)]));
    optSelMD[6]->setVisible(false);
    lblPar->setVisible(false);
    txtPar->setVisible(false);
    lblYC1->setVisible(false);
    lblYC2->setText(u8("分级数"));
    txtTms->setText("10");
    axisType = 1;
    optAxis[1]->setChecked(true);
  } else {
    setWindowTitle(u8(kAnomalyCaption));
    for (int i = 0; i < kAnomalyMethodCount; ++i)
      optSelMD[static_cast<std::size_t>(i)]->setText(
          u8(anomalyMethodCaptions()[static_cast<std::size_t>(i)]));
  }
  picDraw->setVisible(fractal);
  frmA->setVisible(fractal);
  btnSavePic->setVisible(fractal);
  optSelMD[0]->setChecked(true);
  onMethodChosen(0);
}

bool frmScatDataYCXX::load() {
  std::vector<std::string> names;
  try {
    db_ = openWorkDatabase(gWorkPath);
    listRegisteredTables(db_, names);
  } catch (const StoreError& e) {
    notify(this, e.what());
    return false;
  }
  if (names.empty()) {
    notify(this, kMsgNoWorkTables);
    db_.close();
    return false;
  }
  QSignalBlocker block(lstTbls);
  for (const auto& n : names) lstTbls->addItem(qs(n));
  lstTbls->setCurrentRow(-1);
  return true;
}

void frmScatDataYCXX::onTableChosen() {
  lstVVItem->clear();
  if (!lstTbls->currentItem() || !db_.isOpen()) return;
  try {
    for (const FieldDef& f : db_.fields(ss(lstTbls->currentItem()->text())))
      if (f.isNumeric()) lstVVItem->addItem(qs(f.name));
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
}

void frmScatDataYCXX::onMethodChosen(int index) {
  selMethod = static_cast<std::uint8_t>(index);
  if (mode == 200) {
    const bool grid = index >= 4;
    lstVVItem->setVisible(!grid);
    flstGrd->setVisible(grid);
    if (grid) {
      const QString current = flstGrd->currentItem() ? flstGrd->currentItem()->text() : QString();
      fillList(flstGrd, listFiles(gWorkPath + "grid_dat\\", "*.grd").value_or(QStringList()));
      const auto again = flstGrd->findItems(current, Qt::MatchExactly);
      if (!current.isEmpty() && !again.isEmpty()) flstGrd->setCurrentItem(again[0]);
    }
    return;
  }
  flstGrd->setVisible(false);
  const auto m = static_cast<AnomalyMethod>(index);
  const bool param =
      m == AnomalyMethod::Normal || m == AnomalyMethod::LogNormal || m == AnomalyMethod::Percent;
  lblPar->setVisible(param);
  txtPar->setVisible(param);
  if (param) {
    lblPar->setText(u8(anomalyParameterLabel(m)));
    txtPar->setText(u8(anomalyParameterDefault(m)));
  }
  const bool multiple = anomalyUsesMultiple(m);
  for (QWidget* w : {static_cast<QWidget*>(lblYC1), static_cast<QWidget*>(txtTms),
                     static_cast<QWidget*>(lblYC2)})
    w->setVisible(multiple);
  if (m == AnomalyMethod::Normal || m == AnomalyMethod::LogNormal) txtTms->setText("2");
}

void frmScatDataYCXX::apply() {
  if (running_) return;
  if (mode == 200)
    runFractalJob();
  else
    runAnomalyJob();
}

void frmScatDataYCXX::runAnomalyJob() {
  AnomalyJob job;
  job.method = static_cast<AnomalyMethod>(selMethod);
  job.table = lstTbls->currentItem() ? ss(lstTbls->currentItem()->text()) : std::string();
  for (int i = 0; i < lstVVItem->count(); ++i)
    if (lstVVItem->item(i)->isSelected()) job.elements.push_back(ss(lstVVItem->item(i)->text()));
  if (job.elements.empty()) {
    notify(this, kMsgChooseElement);
    return;
  }
  if (anomalyUsesMultiple(job.method)) {
    const auto k = readSingle(txtTms);
    if (!k) {
      notify(this, kMsgBadParameter);
      return;
    }
    job.k = *k;
  }
  if (job.method == AnomalyMethod::Normal || job.method == AnomalyMethod::LogNormal) {
    const auto m = readSingle(txtPar);
    if (!m) {
      notify(this, kMsgBadParameter);
      return;
    }
    job.multiple = *m;
  } else if (job.method == AnomalyMethod::Percent) {
    const auto p = readInteger(txtPar);
    if (!p) {
      notify(this, kMsgBadParameter);
      return;
    }
    job.percent = *p;
  }
  rchBox->clear();
  AnomalyRunResult r;
  {
    BusyCursor busy;
    running_ = true;
    r = runAnomaly(db_, job);
    running_ = false;
  }
  if (!r.outcome) {
    notify(this, r.outcome.message);
    return;
  }
  rchBox->setPlainText(qs(r.report));
  afterRun();
}

void frmScatDataYCXX::runFractalJob() {
  FractalJob job;
  job.method = static_cast<FractalMethod>(std::min<int>(selMethod, kFractalMethodCount - 1));
  if (!fractalUsesGrid(job.method)) {
    std::vector<std::string> chosen;
    for (int i = 0; i < lstVVItem->count(); ++i)
      if (lstVVItem->item(i)->isSelected()) chosen.push_back(ss(lstVVItem->item(i)->text()));
    if (chosen.empty()) {
      notify(this, kMsgChooseElement);
      return;
    }
    if (chosen.size() > 1) {
      notify(this, kMsgSingleElementFractal);
      return;
    }
    job.table = lstTbls->currentItem() ? ss(lstTbls->currentItem()->text()) : std::string();
    job.element = chosen.front();
  } else {
    if (!flstGrd->currentItem() || !flstGrd->currentItem()->isSelected()) {
      notify(this, kMsgChooseDataFile);
      return;
    }
    job.gridFile = ss(flstGrd->currentItem()->text());
  }
  const auto grades = readInteger(txtTms);
  if (!grades) {
    notify(this, kMsgBadParameter);
    return;
  }
  job.grades = *grades;
  rchBox->clear();
  FractalRunResult r;
  {
    BusyCursor busy;
    running_ = true;
    r = runFractal(db_, gWorkPath, job);
    running_ = false;
  }
  if (!r.outcome) {
    notify(this, r.outcome.message);
    return;
  }
  plotMethod_ = job.method;
  plot_ = buildFractalPlot(r.seriesX(), r.seriesY(), static_cast<AxisType>(axisType), job.method);
  plotX = plot_.valueX;
  plotY = plot_.valueY;
  picDraw->setChart(fractalChart(plot_));
  rchBox->setPlainText(qs(r.report));
  btnSavePic->setEnabled(true);
  afterRun();
}

void frmScatDataYCXX::afterRun() {
  picDraw->setToolTip(QString());
  hoverIndex = -1;
  btnSave->setEnabled(true);
}

void frmScatDataYCXX::onHover(int series, int index) {
  // The highlight itself (series 1) sits on the point already chosen.
  if (series != 0 || index == hoverIndex || index < 0 ||
      static_cast<std::size_t>(index) >= plotX.size())
    return;
  hoverIndex = index;
  picDraw->setChart(fractalChart(plot_, index));
  picDraw->setToolTip(qs(fractalHoverText(plot_, index)));
}

void frmScatDataYCXX::save() {
  const std::string name = askSaveFileName(this, kSaveTitle, kSaveFilter);
  if (name.empty()) return;
  if (!writeRtfFile(name, ss(rchBox->toPlainText()))) notify(this, kMsgCannotWrite + name);
}

void frmScatDataYCXX::savePicture() {
  std::string name = askSaveFileName(this, kSavePicTitle, kSavePicFilter);
  if (name.empty()) return;
  if (QFileInfo(qs(name)).suffix().isEmpty()) name += ".png";
  if (!picDraw->saveTo(qs(name))) notify(this, kMsgCannotWrite + name);
}

void frmScatDataYCXX::done(int r) {
  if (running_) return;
  db_.close();
  QDialog::done(r);
}

namespace {

const ToolWindowRegistrar registerScatDataYCXX{
    "frmScatDataYCXX", [](QWidget* parent, int mode) -> QWidget* {
      auto* w = new frmScatDataYCXX(parent, mode == 200 ? 200 : 100);
      if (!w->load()) {
        delete w;
        return nullptr;
      }
      return w;
    }};

}  // namespace

}  // namespace sarnoth::gui
