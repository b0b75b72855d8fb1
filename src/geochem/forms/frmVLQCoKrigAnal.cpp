#include "geochem/forms/frmVLQCoKrigAnal.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTextEdit>
#include <QVBoxLayout>
#include <cmath>
#include <filesystem>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "display/forms/frmGridToImageView.h"
#include "geochem/cokriging.h"
#include "geochem/report_format.h"
#include "prep/gridding.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

const char* kGParLabels[10] = {"XLeft",   "XRight", "XJust", "DX", "Columns",
                               "YBottom", "YTop",   "YJust", "DY", "Rows"};

bool readNumber(const QLineEdit* e, double& v) {
  return filetext::parseDouble(filetext::trim(ss(e->text())), v) && std::isfinite(v);
}

}  // namespace

frmVLQCoKrigAnal::frmVLQCoKrigAnal(QWidget* parent) : QDialog(parent) {
  setObjectName("frmVLQCoKrigAnal");

  // --- mode 100: co-kriging
  panel100_ = new QWidget(this);
  lstTbls = named(new QListWidget(panel100_), "lstTbls");
  cboXXItem = named(new QComboBox(panel100_), "cboXXItem");
  cboYYItem = named(new QComboBox(panel100_), "cboYYItem");
  cboVVItem = named(new QComboBox(panel100_), "cboVVItem");
  lstVars = named(new QListWidget(panel100_), "lstVars");
  lstVars->setSelectionMode(QAbstractItemView::MultiSelection);
  txtPar = named(new QLineEdit(u8("12"), panel100_), "txtPar");
  txtPars = named(new QLineEdit(u8("12"), panel100_), "txtPars");
  txtRange = named(new QLineEdit(panel100_), "txtRange");
  txtRange->setPlaceholderText(u8("自动"));
  chkCV = named(new QCheckBox(u8("交叉验证"), panel100_), "chkCV");
  chkCV->setChecked(true);
  auto* geometry = new QGroupBox(u8("网格参数"), panel100_);
  auto* gl = new QGridLayout(geometry);
  for (int i = 0; i < 10; ++i) {
    auto k = static_cast<std::size_t>(i);
    txtGPar[k] = new QLineEdit(geometry);
    txtGPar[k]->setObjectName(QString("txtGPar_%1").arg(i));
    gl->addWidget(new QLabel(QString::fromLatin1(kGParLabels[i]), geometry), i % 5, (i / 5) * 2);
    gl->addWidget(txtGPar[k], i % 5, (i / 5) * 2 + 1);
  }
  for (int i : {2, 7}) txtGPar[static_cast<std::size_t>(i)]->setReadOnly(true);
  auto* f100 = new QGridLayout;
  int row = 0;
  auto add = [&](QGridLayout* l, const char* label, QWidget* w) {
    l->addWidget(new QLabel(u8(label), w->parentWidget()), row, 0);
    l->addWidget(w, row++, 1);
  };
  add(f100, "横坐标", cboXXItem);
  add(f100, "纵坐标", cboYYItem);
  add(f100, "主变量", cboVVItem);
  add(f100, "主变量搜索点数", txtPar);
  add(f100, "协同变量搜索点数", txtPars);
  add(f100, "变程", txtRange);
  auto* l100 = new QVBoxLayout(panel100_);
  l100->setContentsMargins(0, 0, 0, 0);
  l100->addWidget(new QLabel(u8("数据表"), panel100_));
  l100->addWidget(lstTbls, 1);
  l100->addLayout(f100);
  l100->addWidget(new QLabel(u8("协同变量(一至两个)"), panel100_));
  l100->addWidget(lstVars, 1);
  l100->addWidget(chkCV);
  l100->addWidget(geometry);

  // --- mode 200: fractal separation
  panel200_ = new QWidget(this);
  flstGridFiles = named(new QListWidget(panel200_), "flstGridFiles");
  cboMethod = named(new QComboBox(panel200_), "cboMethod");
  for (const auto& m : geochem::fractalMethodCaptions()) cboMethod->addItem(qs(m));
  txtLevels = named(new QLineEdit(u8("40"), panel200_), "txtLevels");
  cboBreaks = named(new QComboBox(panel200_), "cboBreaks");
  cboBreaks->addItems({u8("1"), u8("2")});
  txtBreaks = named(new QLineEdit(panel200_), "txtBreaks");
  btnCalc = named(new QPushButton(u8("分形计算(&C)"), panel200_), "btnCalc");
  auto* f200 = new QGridLayout;
  row = 0;
  add(f200, "方法", cboMethod);
  add(f200, "分级数", txtLevels);
  add(f200, "分界点个数", cboBreaks);
  add(f200, "分界点", txtBreaks);
  auto* l200 = new QVBoxLayout(panel200_);
  l200->setContentsMargins(0, 0, 0, 0);
  l200->addWidget(new QLabel(u8("网格数据文件"), panel200_));
  l200->addWidget(flstGridFiles, 1);
  l200->addLayout(f200);
  l200->addWidget(btnCalc);

  // --- both
  txtFileOut = named(new QLineEdit(this), "txtFileOut");
  rtbText = reportBox(this, "rtbText");
  picDraw = named(new ChartView(this), "picDraw");
  picDraw->setMinimumSize(360, 280);
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  btnApply = named(new QPushButton(u8("处理(&A)"), this), "btnApply");
  btnImg = named(new QPushButton(u8("结果浏览(&P)"), this), "btnImg");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnImg, btnReturn, btnCalc}) b->setAutoDefault(false);

  auto* left = new QVBoxLayout;
  left->addWidget(panel100_, 1);
  left->addWidget(panel200_, 1);
  auto* out = new QHBoxLayout;
  out->addWidget(new QLabel(u8("结果文件名"), this));
  out->addWidget(txtFileOut, 1);
  left->addLayout(out);
  auto* split = new QSplitter(Qt::Vertical, this);
  split->addWidget(rtbText);
  split->addWidget(picDraw);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  for (QPushButton* b : {btnApply, btnImg, btnReturn}) buttons->addWidget(b);
  auto* right = new QVBoxLayout;
  right->addWidget(split, 1);
  right->addLayout(buttons);
  auto* layout = new QHBoxLayout(this);
  layout->addLayout(left, 1);
  layout->addLayout(right, 2);
  resize(1040, 720);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(cboXXItem, &QComboBox::currentIndexChanged, this, [this] { axisChosen(true); });
  connect(cboYYItem, &QComboBox::currentIndexChanged, this, [this] { axisChosen(false); });
  connect(cboVVItem, &QComboBox::currentTextChanged, this, [this](const QString& f) {
    if (mode == 100 && !f.isEmpty()) txtFileOut->setText(f + u8("_CK"));
  });
  connect(flstGridFiles, &QListWidget::currentTextChanged, this, [this](const QString& f) {
    if (!f.isEmpty()) txtFileOut->setText(QFileInfo(f).completeBaseName());
    txtBreaks->clear();
  });
  connect(cboMethod, &QComboBox::currentIndexChanged, this, [this] { txtBreaks->clear(); });
  connect(cboBreaks, &QComboBox::currentIndexChanged, this, [this] { txtBreaks->clear(); });
  for (int i : {0, 1, 3, 5, 6, 8}) {
    connect(txtGPar[static_cast<std::size_t>(i)], &QLineEdit::textEdited, this, [this, i] {
      const int base = i < 5 ? 0 : 5;
      double lo = 0, hi = 0, d = 0;
      if (!readNumber(txtGPar[base], lo) || !readNumber(txtGPar[base + 1], hi) ||
          !readNumber(txtGPar[base + 3], d))
        return;
      auto n = gridCount(static_cast<float>(lo), static_cast<float>(hi), static_cast<float>(d));
      if (!n) return;
      txtGPar[base + 4]->setText(QString::number(*n));
      txtGPar[base + 2]->setText(qs(
          geochem::singleText(adjustedBound(static_cast<float>(lo), static_cast<float>(d), *n))));
    });
  }
  connect(btnApply, &QPushButton::clicked, this, &frmVLQCoKrigAnal::btnApply_Click);
  connect(btnCalc, &QPushButton::clicked, this, &frmVLQCoKrigAnal::btnCalc_Click);
  connect(btnImg, &QPushButton::clicked, this, [this] {
    if (lastGrid_.empty() || !std::filesystem::exists(lastGrid_)) {
      notify(this, kMsgNoResultFile);
      return;
    }
    openGridImageView(this, lastGrid_);
  });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  setMode(100);
}

void frmVLQCoKrigAnal::setMode(int m) {
  mode = static_cast<std::int16_t>(m == 200 ? 200 : 100);
  const bool ck = mode == 100;
  setWindowTitle(u8(ck ? geochem::kCoKrigCaption : geochem::kFractal2DCaption));
  panel100_->setVisible(ck);
  panel200_->setVisible(!ck);
  btnApply->setText(u8(ck ? "协同克里格(&A)" : "分离处理(&A)"));
}

bool frmVLQCoKrigAnal::load() {
  if (mode == 200) {
    QString error;
    auto files = listFiles(gWorkPath + "Grid_Dat\\", "*.grd", &error);
    if (files) fillList(flstGridFiles, *files);
    return true;
  }
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  return true;
}

void frmVLQCoKrigAnal::tableChosen() {
  for (QComboBox* c : {cboXXItem, cboYYItem, cboVVItem}) c->clear();
  lstVars->clear();
  if (!lstTbls->currentItem()) return;
  try {
    FieldChoice choice = chooseGridFields(db_.fields(ss(lstTbls->currentItem()->text())));
    if (!choice.outcome.ok) {
      notify(this, choice.outcome.message);
      return;
    }
    for (const auto& f : choice.numericFields) {
      for (QComboBox* c : {cboXXItem, cboYYItem, cboVVItem}) c->addItem(qs(f));
      lstVars->addItem(qs(f));
    }
    cboXXItem->setCurrentIndex(choice.x);
    cboYYItem->setCurrentIndex(choice.y);
    cboVVItem->setCurrentIndex(choice.value);
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
}

// The extent of a coordinate field, a hundred nodes along it.
void frmVLQCoKrigAnal::axisChosen(bool xAxis) {
  QComboBox* combo = xAxis ? cboXXItem : cboYYItem;
  if (!lstTbls->currentItem() || combo->currentIndex() < 0) return;
  AxisExtentResult r =
      autoAxisExtent(db_, ss(lstTbls->currentItem()->text()), ss(combo->currentText()));
  if (!r.outcome.ok) return;
  const std::size_t base = xAxis ? 0 : 5;
  const double span = r.extent.max - r.extent.min;
  const float d = static_cast<float>(span > 0 ? span / 100 : 1);
  const int n = gridCount(r.extent.min, r.extent.max, d).value_or(2);
  txtGPar[base]->setText(qs(r.extent.minText));
  txtGPar[base + 1]->setText(qs(r.extent.maxText));
  txtGPar[base + 3]->setText(qs(geochem::singleText(d)));
  txtGPar[base + 4]->setText(QString::number(n));
  txtGPar[base + 2]->setText(qs(geochem::singleText(adjustedBound(r.extent.min, d, n))));
}

void frmVLQCoKrigAnal::btnApply_Click() {
  if (mode == 100)
    coKrige();
  else
    separate();
}

void frmVLQCoKrigAnal::coKrige() {
  geochem::CoKrigingJob job;
  if (lstTbls->currentItem()) job.table = ss(lstTbls->currentItem()->text());
  job.xField = ss(cboXXItem->currentText());
  job.yField = ss(cboYYItem->currentText());
  job.primaryField = ss(cboVVItem->currentText());
  for (int i = 0; i < lstVars->count(); ++i)
    if (lstVars->item(i)->isSelected()) job.secondaryFields.push_back(ss(lstVars->item(i)->text()));
  long long k0 = 0, ks = 0;
  if (!filetext::parseInt(filetext::trim(ss(txtPar->text())), k0) ||
      !filetext::parseInt(filetext::trim(ss(txtPars->text())), ks)) {
    notify(this, geochem::kMsgCoKrigNeighbours);
    return;
  }
  job.options.primaryNeighbours = static_cast<int>(std::clamp(k0, -1LL, 1000LL));
  job.options.secondaryNeighbours = static_cast<int>(std::clamp(ks, -1LL, 1000LL));
  double range = 0;
  if (!txtRange->text().trimmed().isEmpty() && (!readNumber(txtRange, range) || !(range > 0))) {
    notify(this, "变程必须是大于 0 的数.");
    return;
  }
  job.range = range;
  job.crossValidate = chkCV->isChecked();
  double g[10] = {};
  for (int i : {0, 3, 4, 5, 8, 9}) readNumber(txtGPar[static_cast<std::size_t>(i)], g[i]);
  job.geometry.xLeft = static_cast<float>(g[0]);
  job.geometry.dx = static_cast<float>(g[3]);
  job.geometry.columns = static_cast<int>(g[4]);
  job.geometry.yBottom = static_cast<float>(g[5]);
  job.geometry.dy = static_cast<float>(g[8]);
  job.geometry.rows = static_cast<int>(g[9]);
  job.geometry.xJust = adjustedBound(job.geometry.xLeft, job.geometry.dx, job.geometry.columns);
  job.geometry.yJust = adjustedBound(job.geometry.yBottom, job.geometry.dy, job.geometry.rows);
  job.outputName = ss(nameBeforeComma(txtFileOut->text()));
  if (std::string why = geochem::checkCoKrigingJob(job); !why.empty()) {
    notify(this, why);
    return;
  }
  geochem::CoKrigingRunResult r;
  {
    BusyCursor busy;
    BarProgress progress(prbSpeed);
    GuiInteraction ui(this);
    r = geochem::runCoKriging(db_, gWorkPath, job, ui, progress);
  }
  prbSpeed->setValue(0);
  if (!r.outcome.ok) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  lastGrid_ = r.path;
  rtbText->clear();
  for (const auto& l : r.report) rtbText->append(qs(l));
  std::vector<std::string> names{job.primaryField};
  names.insert(names.end(), job.secondaryFields.begin(), job.secondaryFields.end());
  picDraw->setChart(geochem::coVariogramChart(r.variograms, r.model, names));
}

geochem::FractalJob frmVLQCoKrigAnal::fractalJob() const {
  geochem::FractalJob job;
  if (flstGridFiles->currentItem())
    job.gridPath = resolvePath(gWorkPath + "Grid_Dat\\" + ss(flstGridFiles->currentItem()->text()));
  job.method = static_cast<geochem::FractalMethod>(std::max(0, cboMethod->currentIndex()));
  long long levels = 40;
  filetext::parseInt(filetext::trim(ss(txtLevels->text())), levels);
  job.levels = static_cast<int>(std::clamp(levels, 3LL, 1000LL));
  job.breakCount = cboBreaks->currentIndex() + 1;
  job.breaksText = ss(txtBreaks->text());
  job.outputName = ss(nameBeforeComma(txtFileOut->text()));
  return job;
}

void frmVLQCoKrigAnal::btnCalc_Click() {
  geochem::FractalJob job = fractalJob();
  geochem::FractalRunResult r;
  {
    BusyCursor busy;
    BarProgress progress(prbSpeed);
    r = geochem::analyseFractal(job, progress);
  }
  prbSpeed->setValue(0);
  if (!r.outcome.ok) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  std::string breaks;
  for (double b : r.fit.breaks) breaks += (breaks.empty() ? "" : ",") + geochem::doubleText(b);
  txtBreaks->setText(qs(breaks));
  rtbText->clear();
  for (const auto& l : r.report) rtbText->append(qs(l));
  picDraw->setChart(geochem::fractalChart(r.series, r.fit, job.method));
}

void frmVLQCoKrigAnal::separate() {
  geochem::FractalJob job = fractalJob();
  geochem::FractalRunResult r;
  {
    BusyCursor busy;
    BarProgress progress(prbSpeed);
    GuiInteraction ui(this);
    r = geochem::runFractalSeparation(gWorkPath, job, ui, progress);
  }
  prbSpeed->setValue(0);
  if (!r.outcome.ok) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  if (!r.paths.empty()) lastGrid_ = r.paths.back();
  rtbText->clear();
  for (const auto& l : r.report) rtbText->append(qs(l));
  picDraw->setChart(geochem::fractalChart(r.series, r.fit, job.method));
}

static ToolWindowRegistrar reg{"frmVLQCoKrigAnal", [](QWidget* parent, int mode) -> QWidget* {
                                 auto* w = new frmVLQCoKrigAnal(parent);
                                 w->setMode(mode);
                                 if (!w->load()) {
                                   delete w;
                                   return nullptr;
                                 }
                                 return w;
                               }};

}  // namespace sarnoth::gui
