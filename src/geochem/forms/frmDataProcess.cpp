#include "geochem/forms/frmDataProcess.h"

#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QTextEdit>
#include <QVBoxLayout>
#include <map>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/element_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "geochem/report_format.h"
#include "workarea/file_text.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kMsgBadNumber = "参数必须是数值: ";
enum Column { kName = 0, kWeight, kMean, kSd, kBackground, kThreshold, kColumns };

QString number(double v) { return qs(geochem::doubleText(v)); }

}  // namespace

frmDataProcess::frmDataProcess(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataProcess");
  setWindowTitle(u8(geochem::kSuperposeCaption));

  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  (new QVBoxLayout(tables))->addWidget(lstTbls);
  auto* items = new QGroupBox(u8("元素项"), this);
  lstItems = named(new QListWidget(items), "lstItems");
  lstItems->setSelectionMode(QAbstractItemView::MultiSelection);
  (new QVBoxLayout(items))->addWidget(lstItems);

  auto* params = new QGroupBox(u8("标准化参数"), this);
  auto* pl = new QVBoxLayout(params);
  cboEstimate = named(new QComboBox(params), "cboEstimate");
  for (const char* c : geochem::levelEstimateCaptions()) cboEstimate->addItem(u8(c));
  grdElems = named(new QTableWidget(0, kColumns, params), "grdElems");
  grdElems->setHorizontalHeaderLabels(
      {u8("元素"), u8("权重"), u8("平均值"), u8("标准差"), u8("背景值"), u8("异常下限")});
  grdElems->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  pl->addWidget(new QLabel(u8("背景值与异常下限"), params));
  pl->addWidget(cboEstimate);
  pl->addWidget(grdElems, 1);

  auto* stand = named(new QGroupBox(u8("标准化方法"), this), "frmStand");
  auto* sl = new QVBoxLayout(stand);
  for (int i = 0; i < geochem::kStandardiseCount; ++i) {
    optStand[static_cast<std::size_t>(i)] = named(
        new QRadioButton(u8(geochem::standardiseCaptions()[static_cast<std::size_t>(i)]), stand),
        qPrintable(QString("optStand_%1").arg(i)));
    sl->addWidget(optStand[static_cast<std::size_t>(i)]);
  }
  optStand[1]->setChecked(true);
  auto* index = named(new QGroupBox(u8("叠加方式"), this), "frmIndex");
  auto* il = new QVBoxLayout(index);
  for (int i = 0; i < geochem::kIndexKindCount; ++i) {
    optIndex[static_cast<std::size_t>(i)] = named(
        new QRadioButton(u8(geochem::indexKindCaptions()[static_cast<std::size_t>(i)]), index),
        qPrintable(QString("optIndex_%1").arg(i)));
    il->addWidget(optIndex[static_cast<std::size_t>(i)]);
  }
  optIndex[0]->setChecked(true);
  txtNewField = named(new QLineEdit("SumIndex", this), "txtNewField");

  rchBox = reportBox(this, "rchBox");
  prgBar = named(new QProgressBar(this), "prgBar");
  btnApply = named(new QPushButton(u8("叠加计算(&A)"), this), "btnApply");
  btnViewData = named(new QPushButton(u8("数据浏览(&V)"), this), "btnViewData");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnViewData, btnReturn}) b->setAutoDefault(false);

  auto* left = new QVBoxLayout;
  left->addWidget(tables, 1);
  left->addWidget(items, 2);
  auto* options = new QHBoxLayout;
  options->addWidget(stand);
  options->addWidget(index);
  auto* nf = new QHBoxLayout;
  nf->addWidget(new QLabel(u8("新数据项名"), this));
  nf->addWidget(txtNewField, 1);
  auto* right = new QVBoxLayout;
  right->addWidget(params, 2);
  right->addLayout(options);
  right->addLayout(nf);
  right->addWidget(rchBox, 2);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 1);
  top->addLayout(right, 3);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prgBar, 1);
  for (QPushButton* b : {btnApply, btnViewData, btnReturn}) buttons->addWidget(b);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  resize(980, 680);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(lstItems, &QListWidget::itemSelectionChanged, this, &frmDataProcess::fillParameters);
  connect(cboEstimate, &QComboBox::currentIndexChanged, this, &frmDataProcess::fillParameters);
  connect(btnApply, &QPushButton::clicked, this, &frmDataProcess::apply);
  connect(btnViewData, &QPushButton::clicked, this,
          [this] { showWorkTable(this, currentText(lstTbls)); });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmDataProcess::load() { return openWithTables(this, db_, lstTbls); }

void frmDataProcess::onTableChosen() {
  const QSignalBlocker block(lstItems);
  lstItems->clear();
  for (const std::string& f : numericFields(this, db_, currentText(lstTbls)))
    lstItems->addItem(qs(f));
  grdElems->setRowCount(0);
  weights_.clear();
}

void frmDataProcess::fillParameters() {
  // Weights already typed survive a new selection, even one that passes through none.
  for (int r = 0; r < grdElems->rowCount(); ++r)
    weights_[ss(grdElems->item(r, kName)->text())] = grdElems->item(r, kWeight)->text();
  const std::vector<std::string> names = selectedTexts(lstItems);
  std::vector<geochem::SuperposeElement> params;
  try {
    BusyCursor busy;
    params = geochem::superposeParameters(
        db_, currentText(lstTbls), names,
        static_cast<geochem::LevelEstimate>(std::max(0, cboEstimate->currentIndex())));
  } catch (const StoreError& e) {
    notify(this, e.what());
    return;
  }
  grdElems->setRowCount(static_cast<int>(params.size()));
  for (int r = 0; r < static_cast<int>(params.size()); ++r) {
    const geochem::SuperposeElement& e = params[static_cast<std::size_t>(r)];
    auto* name = new QTableWidgetItem(qs(e.name));
    name->setFlags(name->flags() & ~Qt::ItemIsEditable);
    grdElems->setItem(r, kName, name);
    const auto w = weights_.find(e.name);
    grdElems->setItem(r, kWeight, new QTableWidgetItem(w != weights_.end() ? w->second : "1"));
    grdElems->setItem(r, kMean, new QTableWidgetItem(number(e.levels.mean)));
    grdElems->setItem(r, kSd, new QTableWidgetItem(number(e.levels.sd)));
    grdElems->setItem(r, kBackground, new QTableWidgetItem(number(e.levels.background)));
    grdElems->setItem(r, kThreshold, new QTableWidgetItem(number(e.levels.threshold)));
  }
}

void frmDataProcess::apply() {
  geochem::SuperposeJob job;
  job.table = currentText(lstTbls);
  if (job.table.empty()) {
    notify(this, kMsgChooseTableFirst);
    return;
  }
  for (int i = 0; i < geochem::kStandardiseCount; ++i)
    if (optStand[static_cast<std::size_t>(i)]->isChecked())
      job.standardise = static_cast<geochem::Standardise>(i);
  job.index =
      optIndex[1]->isChecked() ? geochem::IndexKind::Multiplicative : geochem::IndexKind::Additive;
  job.newField = ss(txtNewField->text().trimmed());
  for (int r = 0; r < grdElems->rowCount(); ++r) {
    geochem::SuperposeElement e;
    e.name = ss(grdElems->item(r, kName)->text());
    double* targets[] = {&e.weight, &e.levels.mean, &e.levels.sd, &e.levels.background,
                         &e.levels.threshold};
    for (int c = kWeight; c < kColumns; ++c) {
      double v = 0;
      if (!filetext::parseDouble(ss(grdElems->item(r, c)->text().trimmed()), v)) {
        notify(this, kMsgBadNumber + e.name);
        return;
      }
      *targets[c - kWeight] = v;
    }
    job.elements.push_back(std::move(e));
  }
  geochem::SuperposeResult r;
  {
    BusyCursor busy;
    GuiInteraction ui(this);
    BarProgress progress(prgBar);
    r = geochem::runSuperpose(db_, job, ui, progress);
  }
  prgBar->setValue(0);
  if (!r.outcome) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  rchBox->setPlainText(qs(r.report));
  notify(this, r.outcome.message);
}

namespace {
const ToolWindowRegistrar registerDataProcess{"frmDataProcess", loadingWindow<frmDataProcess>()};
}  // namespace

}  // namespace sarnoth::gui
