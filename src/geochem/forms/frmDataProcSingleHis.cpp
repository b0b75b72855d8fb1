#include "geochem/forms/frmDataProcSingleHis.h"

#include <QComboBox>
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
#include <QTabWidget>
#include <QTextEdit>
#include <QVBoxLayout>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "display/chart_image.h"
#include "geochem/forms/element_form_support.h"
#include "geochem/report_format.h"
#include "workarea/rtf_text.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kSaveTitle = "保存处理结果...";
constexpr const char* kSaveFilter = "Sarnoth结果文件(*.RTF)|*.rtf|所有文件 (*.*)|*.*|";
constexpr const char* kSavePicTitle = "保存图形";
constexpr const char* kSavePicFilter = "PNG 图像(*.png)|*.png|SVG 图形(*.svg)|*.svg";
constexpr const char* kMsgCannotWrite = "不能写入文件: ";

template <class W>
W* named(W* w, const QString& name) {
  w->setObjectName(name);
  return w;
}

}  // namespace

frmDataProcSingleHis::frmDataProcSingleHis(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataProcSingleHis");
  setWindowTitle(u8(geochem::kHistTestCaption));

  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  (new QVBoxLayout(tables))->addWidget(lstTbls);
  auto* items = new QGroupBox(u8("数据项"), this);
  lstVVItem = named(new QListWidget(items), "lstVVItem");
  (new QVBoxLayout(items))->addWidget(lstVVItem);

  auto* data = named(new QGroupBox(u8("数据变换"), this), "frmData");
  auto* dl = new QVBoxLayout(data);
  optData[0] = named(new QRadioButton(u8("原始数据"), data), "optData_0");
  optData[1] = named(new QRadioButton(u8("对数数据(log10)"), data), "optData_1");
  optData[0]->setChecked(true);
  dl->addWidget(optData[0]);
  dl->addWidget(optData[1]);

  auto* params = new QGroupBox(u8("分组与检验"), this);
  auto* pl = new QGridLayout(params);
  cboRule = named(new QComboBox(params), "cboRule");
  for (const char* c : geochem::classRuleCaptions()) cboRule->addItem(u8(c));
  txtClasses = named(new QLineEdit(params), "txtClasses");
  txtAlpha = named(new QLineEdit("0.05", params), "txtAlpha");
  pl->addWidget(new QLabel(u8("分组规则"), params), 0, 0);
  pl->addWidget(cboRule, 0, 1);
  pl->addWidget(new QLabel(u8("分组数"), params), 1, 0);
  pl->addWidget(txtClasses, 1, 1);
  pl->addWidget(new QLabel(u8("显著性水平"), params), 2, 0);
  pl->addWidget(txtAlpha, 2, 1);

  tabPlot = named(new QTabWidget(this), "tabPlot");
  picDraw = named(new ChartView(tabPlot), "picDraw");
  picQQ = named(new ChartView(tabPlot), "picQQ");
  tabPlot->addTab(picDraw, u8("直方图"));
  tabPlot->addTab(picQQ, u8("正态概率图"));
  tabPlot->setMinimumSize(480, 320);
  rchBox = named(new QTextEdit(this), "rchBox");
  rchBox->setLineWrapMode(QTextEdit::NoWrap);
  rchBox->setAcceptRichText(false);
  rchBox->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

  btnApply = named(new QPushButton(u8("计算(&A)"), this), "btnApply");
  btnSave = named(new QPushButton(u8("保存结果(&S)"), this), "btnSave");
  btnSavePic = named(new QPushButton(u8("保存图形(&P)"), this), "btnSavePic");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnSave, btnSavePic, btnReturn}) b->setAutoDefault(false);
  btnSave->setEnabled(false);
  btnSavePic->setEnabled(false);

  auto* left = new QVBoxLayout;
  left->addWidget(tables, 1);
  left->addWidget(items, 2);
  left->addWidget(data);
  left->addWidget(params);
  auto* right = new QVBoxLayout;
  right->addWidget(tabPlot, 3);
  right->addWidget(rchBox, 2);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 1);
  top->addLayout(right, 3);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  for (QPushButton* b : {btnApply, btnSave, btnSavePic, btnReturn}) buttons->addWidget(b);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  resize(1060, 700);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(lstVVItem, &QListWidget::currentRowChanged, this, [this] { proposeClasses(); });
  connect(cboRule, &QComboBox::currentIndexChanged, this, [this] { proposeClasses(); });
  for (QRadioButton* b : optData)
    connect(b, &QRadioButton::toggled, this, [this, b](bool on) {
      if (on) proposeClasses();
    });
  picDraw->setTooltipFormatter([this](int series, int index) -> QString {
    const geochem::Histogram& h = result_.histogram;
    if (series != 0 || index < 0 || static_cast<std::size_t>(index) >= h.counts.size()) return {};
    const double lo = h.lo + index * h.width;
    return qs("第 " + std::to_string(index + 1) + " 组: " + geochem::fixedText(lo, 4) + " - " +
              geochem::fixedText(lo + h.width, 4) +
              "  频数=" + std::to_string(h.counts[static_cast<std::size_t>(index)]));
  });
  picQQ->setTooltipFormatter([this](int series, int index) -> QString {
    const auto& c = picQQ->chart();
    if (series != 0 || index < 0 || c.series.empty() ||
        static_cast<std::size_t>(index) >= c.series[0].x.size())
      return {};
    const auto i = static_cast<std::size_t>(index);
    return qs("当前数据：X=" + geochem::fixedText(c.series[0].x[i], 4) +
              "  Y=" + geochem::doubleText(c.series[0].y[i]));
  });
  connect(btnApply, &QPushButton::clicked, this, &frmDataProcSingleHis::apply);
  connect(btnSave, &QPushButton::clicked, this, &frmDataProcSingleHis::save);
  connect(btnSavePic, &QPushButton::clicked, this, &frmDataProcSingleHis::savePicture);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

frmDataProcSingleHis::~frmDataProcSingleHis() = default;

bool frmDataProcSingleHis::load() { return openWithTables(this, db_, lstTbls); }

void frmDataProcSingleHis::onTableChosen() {
  const QSignalBlocker block(lstVVItem);
  lstVVItem->clear();
  for (const std::string& f : numericFields(this, db_, currentText(lstTbls)))
    lstVVItem->addItem(qs(f));
  lstVVItem->setCurrentRow(-1);
  txtClasses->clear();
  proposed_ = 0;
}

geochem::DistributionJob frmDataProcSingleHis::job() const {
  geochem::DistributionJob j;
  j.table = currentText(lstTbls);
  j.field = currentText(lstVVItem);
  j.logScale = optData[1]->isChecked();
  j.rule = static_cast<geochem::ClassRule>(std::max(0, cboRule->currentIndex()));
  return j;
}

void frmDataProcSingleHis::proposeClasses() {
  const geochem::DistributionJob j = job();
  if (j.field.empty() || !db_.isOpen()) return;
  try {
    const geochem::ElementSample s =
        geochem::readDistributionSample(db_, j.table, j.field, j.logScale);
    proposed_ = geochem::proposedClassCount(s.values, j.rule);
    txtClasses->setText(QString::number(proposed_));
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
}

void frmDataProcSingleHis::apply() {
  geochem::DistributionJob j = job();
  if (j.field.empty()) {
    notify(this, geochem::kMsgHistChooseItem);
    return;
  }
  if (!txtClasses->text().trimmed().isEmpty()) {
    const auto k = readWhole(txtClasses, 1, geochem::kMaxClasses);
    if (!k) {
      notify(this, geochem::kMsgHistBadClasses);
      return;
    }
    // The count the rule proposed stands for the rule itself.
    if (*k != proposed_) j.classes = *k;
  }
  const auto alpha = readNumber(txtAlpha);
  if (!alpha || !(*alpha > 0 && *alpha < 1)) {
    notify(this, geochem::kMsgHistBadAlpha);
    return;
  }
  j.alpha = *alpha;
  geochem::DistributionResult r;
  {
    BusyCursor busy;
    r = geochem::runDistributionTest(db_, j);
  }
  if (!r.outcome) {
    notify(this, r.outcome.message);
    return;
  }
  result_ = std::move(r);
  lastJob_ = j;
  rchBox->setPlainText(qs(result_.report));
  picDraw->setChart(geochem::histogramChart(j, result_));
  picQQ->setChart(geochem::qqChart(j, result_));
  txtClasses->setText(QString::number(result_.classes));
  if (result_.classesByRule) proposed_ = result_.classes;
  btnSave->setEnabled(true);
  btnSavePic->setEnabled(true);
}

void frmDataProcSingleHis::save() {
  const std::string name = askSaveFileName(this, kSaveTitle, kSaveFilter);
  if (name.empty()) return;
  if (!writeRtfFile(name, ss(rchBox->toPlainText()))) notify(this, kMsgCannotWrite + name);
}

void frmDataProcSingleHis::savePicture() {
  std::string name = askSaveFileName(this, kSavePicTitle, kSavePicFilter);
  if (name.empty()) return;
  if (QFileInfo(qs(name)).suffix().isEmpty()) name += ".png";
  ChartView* view = tabPlot->currentIndex() == 1 ? picQQ : picDraw;
  // A page not yet shown has no size of its own: at least 800 × 600.
  if (!chart::writeChartFile(view->chart(), name, std::max(view->width(), 800),
                             std::max(view->height(), 600)))
    notify(this, kMsgCannotWrite + name);
}

namespace {
const ToolWindowRegistrar registerDataProcSingleHis{"frmDataProcSingleHis",
                                                    loadingWindow<frmDataProcSingleHis>()};
}  // namespace

}  // namespace sarnoth::gui
