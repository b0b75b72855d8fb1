#include "geochem/forms/frmSingleVarProcess.h"

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
#include "geochem/forms/element_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "geochem/neighbourhood.h"
#include "geochem/report_format.h"

namespace sarnoth::gui {

frmSingleVarProcess::frmSingleVarProcess(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSingleVarProcess");
  setWindowTitle(u8(geochem::kNeighbourCaption));

  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  (new QVBoxLayout(tables))->addWidget(lstTbls);

  auto* fields = new QGroupBox(u8("数据项"), this);
  auto* fl = new QGridLayout(fields);
  cboXX = named(new QComboBox(fields), "cboXX");
  cboYY = named(new QComboBox(fields), "cboYY");
  cboVV = named(new QComboBox(fields), "cboVV");
  fl->addWidget(new QLabel(u8("横坐标"), fields), 0, 0);
  fl->addWidget(cboXX, 0, 1);
  fl->addWidget(new QLabel(u8("纵坐标"), fields), 1, 0);
  fl->addWidget(cboYY, 1, 1);
  fl->addWidget(new QLabel(u8("分析数据项"), fields), 2, 0);
  fl->addWidget(cboVV, 2, 1);

  auto* search = named(new QGroupBox(u8("邻域"), this), "frmMode");
  auto* sl = new QGridLayout(search);
  optMode[0] = named(new QRadioButton(u8("搜索半径"), search), "optMode_0");
  optMode[1] = named(new QRadioButton(u8("最近点数"), search), "optMode_1");
  txtRadius = named(new QLineEdit(search), "txtRadius");
  txtCount = named(new QLineEdit("8", search), "txtCount");
  txtMinCount = named(new QLineEdit("3", search), "txtMinCount");
  chkSelf = named(new QCheckBox(u8("统计包含样品本身"), search), "chkSelf");
  sl->addWidget(optMode[0], 0, 0);
  sl->addWidget(txtRadius, 0, 1);
  sl->addWidget(optMode[1], 1, 0);
  sl->addWidget(txtCount, 1, 1);
  sl->addWidget(new QLabel(u8("最少点数"), search), 2, 0);
  sl->addWidget(txtMinCount, 2, 1);
  sl->addWidget(chkSelf, 3, 0, 1, 2);
  optMode[1]->setChecked(true);
  txtRadius->setEnabled(false);

  auto* out = new QGroupBox(u8("结果数据表"), this);
  auto* ol = new QVBoxLayout(out);
  txtNewTbl = named(new QLineEdit(out), "txtNewTbl");
  ol->addWidget(txtNewTbl);
  ol->addWidget(new QLabel(
      u8("新数据项: _M 均值, _Md 中位数, _S 标准差, _N 点数, _D 差值, _R 比值, _Z 局部标准化值"),
      out));

  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  btnApply = named(new QPushButton(u8("计算(&A)"), this), "btnApply");
  btnViewData = named(new QPushButton(u8("数据浏览(&V)"), this), "btnViewData");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnViewData, btnReturn}) b->setAutoDefault(false);
  btnViewData->setEnabled(false);

  auto* right = new QVBoxLayout;
  right->addWidget(fields);
  right->addWidget(search);
  right->addWidget(out);
  right->addStretch(1);
  auto* top = new QHBoxLayout;
  top->addWidget(tables, 1);
  top->addLayout(right, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prgBar, 1);
  for (QPushButton* b : {btnApply, btnViewData, btnReturn}) buttons->addWidget(b);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  resize(720, 520);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(cboXX, &QComboBox::activated, this, [this] { proposeRadius(); });
  connect(cboYY, &QComboBox::activated, this, [this] { proposeRadius(); });
  connect(optMode[0], &QRadioButton::toggled, this, [this](bool radius) {
    txtRadius->setEnabled(radius);
    txtCount->setEnabled(!radius);
  });
  connect(btnApply, &QPushButton::clicked, this, &frmSingleVarProcess::apply);
  connect(btnViewData, &QPushButton::clicked, this, [this] { showWorkTable(this, lastTable_); });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmSingleVarProcess::load() { return openWithTables(this, db_, lstTbls); }

void frmSingleVarProcess::onTableChosen() {
  const std::string table = currentText(lstTbls);
  for (QComboBox* b : {cboXX, cboYY, cboVV}) {
    b->clear();
    for (const std::string& f : numericFields(this, db_, table)) b->addItem(qs(f));
    b->setCurrentIndex(-1);
  }
  if (!table.empty()) txtNewTbl->setText(qs(table + "_邻域"));
  txtRadius->clear();
}

void frmSingleVarProcess::proposeRadius() {
  const std::string x = currentText(cboXX), y = currentText(cboYY);
  if (x.empty() || y.empty()) return;
  const int count = readWhole(txtCount, 1, geochem::kMaxNeighbourCount).value_or(8);
  const double r = geochem::proposedNeighbourRadius(db_, currentText(lstTbls), x, y, count);
  if (r > 0) txtRadius->setText(qs(geochem::doubleText(r)));
}

void frmSingleVarProcess::apply() {
  if (running_) return;
  geochem::NeighbourJob job;
  job.table = currentText(lstTbls);
  job.xField = currentText(cboXX);
  job.yField = currentText(cboYY);
  job.valueField = currentText(cboVV);
  job.newTable = ss(txtNewTbl->text().trimmed());
  geochem::NeighbourSearch& s = job.search;
  s.mode =
      optMode[0]->isChecked() ? geochem::NeighbourMode::Radius : geochem::NeighbourMode::Nearest;
  s.includeSelf = chkSelf->isChecked();
  if (job.table.empty()) {
    notify(this, kMsgChooseTableFirst);
    return;
  }
  if (job.xField.empty() || job.yField.empty()) {
    notify(this, geochem::kMsgChooseCoordinates);
    return;
  }
  if (job.valueField.empty()) {
    notify(this, geochem::kMsgChooseValueItem);
    return;
  }
  if (s.mode == geochem::NeighbourMode::Radius) {
    const auto r = readNumber(txtRadius);
    if (!r || !(*r > 0)) {
      notify(this, geochem::kMsgBadRadius);
      return;
    }
    s.radius = *r;
  } else {
    const auto k = readWhole(txtCount, 1, geochem::kMaxNeighbourCount);
    if (!k) {
      notify(this, geochem::kMsgBadNeighbourCount);
      return;
    }
    s.count = *k;
  }
  const auto m = readWhole(txtMinCount, 1, 1000000);
  if (!m) {
    notify(this, geochem::kMsgBadMinCount);
    return;
  }
  s.minCount = *m;
  if (Outcome o = geochem::checkNeighbourJob(job); !o) {
    notify(this, o.message);
    return;
  }
  Outcome o;
  {
    BusyCursor busy;
    running_ = true;
    btnApply->setEnabled(false);
    GuiInteraction ui(this);
    BarProgress progress(prgBar);
    o = geochem::runNeighbourAnalysis(db_, job, ui, progress);
    btnApply->setEnabled(true);
    running_ = false;
  }
  prgBar->setValue(0);
  if (!o) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  lastTable_ = job.newTable;
  btnViewData->setEnabled(true);
  if (lstTbls->findItems(qs(job.newTable), Qt::MatchExactly).isEmpty()) {
    const QSignalBlocker block(lstTbls);
    lstTbls->addItem(qs(job.newTable));
  }
  notify(this, o.message);
}

void frmSingleVarProcess::done(int r) {
  if (running_) return;
  db_.close();
  QDialog::done(r);
}

namespace {
const ToolWindowRegistrar registerSingleVarProcess{"frmSingleVarProcess",
                                                   loadingWindow<frmSingleVarProcess>()};
}  // namespace

}  // namespace sarnoth::gui
