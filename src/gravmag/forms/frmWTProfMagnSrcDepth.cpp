#include "gravmag/forms/frmWTProfMagnSrcDepth.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cstdio>
#include <filesystem>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::gravmag;

constexpr const char* kNone = "(无)";
constexpr const char* kProfileFilter = "剖面数据文件(*.PRF)|*.prf|所有文件(*.*)|*.*";

std::string fmt(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%.6g", v);
  return b;
}

}  // namespace

frmWTProfMagnSrcDepth::frmWTProfMagnSrcDepth(QWidget* parent) : QDialog(parent) {
  setObjectName("frmWTProfMagnSrcDepth");
  setWindowTitle(u8(kDepthCaption));
  buildUi();
  for (const auto& m : depthMethodNames()) cboMethod->addItem(qs(m));
  cboInterf->addItems({u8("无"), u8("常数"), u8("线性")});
  cboInterf->setCurrentIndex(1);
  connect(cboMethod, &QComboBox::currentIndexChanged, this, [this] { onMethodChosen(); });
  connect(btnOpen, &QPushButton::clicked, this, &frmWTProfMagnSrcDepth::askProfile);
  connect(Cmd_OK, &QPushButton::clicked, this, &frmWTProfMagnSrcDepth::compute);
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::reject);
  onMethodChosen();
}

void frmWTProfMagnSrcDepth::buildUi() {
  auto* file = new QGroupBox(u8("剖面数据"), this);
  auto* fl = new QGridLayout(file);
  btnOpen = named(new QPushButton(u8("打开剖面文件(&O)..."), file), "btnOpen");
  txtFile = named(new QLineEdit(file), "txtFile");
  txtFile->setReadOnly(true);
  cboXX = named(new QComboBox(file), "cboXX");
  cboYY = named(new QComboBox(file), "cboYY");
  cboVal = named(new QComboBox(file), "cboVal");
  cboTz = named(new QComboBox(file), "cboTz");
  fl->addWidget(btnOpen, 0, 0);
  fl->addWidget(txtFile, 0, 1, 1, 3);
  fl->addWidget(new QLabel(u8("距离(横坐标)"), file), 1, 0);
  fl->addWidget(cboXX, 1, 1);
  fl->addWidget(new QLabel(u8("纵坐标"), file), 1, 2);
  fl->addWidget(cboYY, 1, 3);
  fl->addWidget(new QLabel(u8("磁异常"), file), 2, 0);
  fl->addWidget(cboVal, 2, 1);
  fl->addWidget(new QLabel(u8("垂向导数"), file), 2, 2);
  fl->addWidget(cboTz, 2, 3);

  auto* pars = new QGroupBox(u8("计算参数"), this);
  auto* pl = new QGridLayout(pars);
  cboMethod = named(new QComboBox(pars), "cboMethod");
  cboIndex = named(new QComboBox(pars), "cboIndex");
  cboInterf = named(new QComboBox(pars), "cboInterf");
  txtPar[0] = named(new QLineEdit(u8("9"), pars), "txtPar_0");
  txtPar[1] = named(new QLineEdit(u8("0.15"), pars), "txtPar_1");
  txtNewTbl = named(new QLineEdit(u8("MagDepth"), pars), "txtNewTbl");
  pl->addWidget(new QLabel(u8("计算方法"), pars), 0, 0);
  pl->addWidget(cboMethod, 0, 1);
  pl->addWidget(new QLabel(u8("构造指数"), pars), 0, 2);
  pl->addWidget(cboIndex, 0, 3);
  pl->addWidget(new QLabel(u8("窗口点数"), pars), 1, 0);
  pl->addWidget(txtPar[0], 1, 1);
  pl->addWidget(new QLabel(u8("深度容差(σz/z)"), pars), 1, 2);
  pl->addWidget(txtPar[1], 1, 3);
  pl->addWidget(new QLabel(u8("区域背景"), pars), 2, 0);
  pl->addWidget(cboInterf, 2, 1);
  pl->addWidget(new QLabel(u8("新数据表名"), pars), 2, 2);
  pl->addWidget(txtNewTbl, 2, 3);

  chtProfile = named(new ChartView(this), "chtProfile");
  chtDepth = named(new ChartView(this), "chtDepth");
  // Hovering a solution reads it out; its window is the grey segment at its depth.
  chtDepth->setTooltipFormatter([this](int series, int index) {
    if (series != 1 || index < 0 || index >= static_cast<int>(last_.solutions.size()))
      return QString();
    const DepthSolution& d = last_.solutions[static_cast<std::size_t>(index)];
    return qs("X0 " + fmt(d.x0) + ", " + "深度 " + fmt(d.z0) + "\n" + "窗口 " + fmt(d.x1) + " – " +
              fmt(d.x2));
  });
  grdSolutions = named(new QTableWidget(this), "grdSolutions");
  grdSolutions->verticalHeader()->setVisible(false);
  lblReport = named(new QLabel(this), "lblReport");
  auto* charts = new QSplitter(Qt::Vertical, this);
  charts->addWidget(chtProfile);
  charts->addWidget(chtDepth);
  auto* results = new QSplitter(Qt::Horizontal, this);
  results->addWidget(charts);
  results->addWidget(grdSolutions);
  results->setStretchFactor(0, 3);
  results->setStretchFactor(1, 1);

  Cmd_OK = named(new QPushButton(u8("计算(&C)"), this), "Cmd_OK");
  Cmd_Cancel = named(new QPushButton(u8("返回(&R)"), this), "Cmd_Cancel");
  for (QPushButton* b : {btnOpen, Cmd_OK, Cmd_Cancel}) b->setAutoDefault(false);
  auto* top = new QHBoxLayout;
  top->addWidget(file, 1);
  top->addWidget(pars, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblReport, 1);
  buttons->addWidget(Cmd_OK);
  buttons->addWidget(Cmd_Cancel);
  auto* main = new QVBoxLayout(this);
  main->addLayout(top);
  main->addWidget(results, 1);
  main->addLayout(buttons);
  resize(1000, 700);
}

bool frmWTProfMagnSrcDepth::load() { return openToolDatabase(this, db_); }

void frmWTProfMagnSrcDepth::onMethodChosen() {
  const auto m = static_cast<DepthMethod>(std::max(0, cboMethod->currentIndex()));
  const int keep = cboIndex->currentIndex();
  cboIndex->clear();
  for (const auto& c : depthIndexChoices(m)) cboIndex->addItem(qs(c));
  // The index chosen stays where the new method has it; else 1 (dike, the commonest reading).
  cboIndex->setCurrentIndex(keep >= 0 && keep < cboIndex->count() ? keep : 1);
  txtPar[0]->setEnabled(m != DepthMethod::AnalyticSignal);
  txtPar[1]->setEnabled(m == DepthMethod::Euler);
  cboInterf->setEnabled(m == DepthMethod::Werner);
}

void frmWTProfMagnSrcDepth::askProfile() {
  const std::string path =
      askOpenFileName(this, kProfileOpenTitle, kProfileFilter, gWorkPath + "Prof_Dat\\");
  if (path.empty()) return;
  openProfile(path);
}

bool frmWTProfMagnSrcDepth::openProfile(const std::string& path) {
  const ScatterReadResult r = readProfileFile(path);
  if (!r.ok()) {
    notify(this, kMsgDepthBadFile);
    return false;
  }
  path_ = path;
  txtFile->setText(qs(std::filesystem::path(path).filename().string()));
  for (QComboBox* c : {cboXX, cboYY, cboVal, cboTz}) c->clear();
  cboYY->addItem(u8(kNone));
  cboTz->addItem(u8(kNone));
  for (const auto& n : r.file.names)
    for (QComboBox* c : {cboXX, cboYY, cboVal, cboTz}) c->addItem(qs(n));
  // The first field as distance, the next as anomaly: the usual layout of a profile.
  if (cboVal->count() > 1) cboVal->setCurrentIndex(1);
  return true;
}

void frmWTProfMagnSrcDepth::compute() {
  if (path_.empty()) {
    notify(this, kMsgDepthNoFile);
    return;
  }
  DepthJob job;
  job.profilePath = path_;
  job.xField = ss(cboXX->currentText());
  job.yField = cboYY->currentIndex() > 0 ? ss(cboYY->currentText()) : std::string();
  job.valueField = ss(cboVal->currentText());
  job.tzField = cboTz->currentIndex() > 0 ? ss(cboTz->currentText()) : std::string();
  DepthParams& p = job.params;
  p.method = static_cast<DepthMethod>(std::max(0, cboMethod->currentIndex()));
  bool ok = true;
  p.window = txtPar[0]->text().trimmed().toInt(&ok);
  if (!ok && p.method != DepthMethod::AnalyticSignal) {
    notify(this, kMsgDepthBadWindow);
    return;
  }
  p.index = std::max(0, cboIndex->currentIndex());
  p.tolerance = txtPar[1]->text().trimmed().toDouble(&ok);
  if (!ok && p.method == DepthMethod::Euler) {
    notify(this, kMsgDepthBadTolerance);
    return;
  }
  p.interference = std::max(0, cboInterf->currentIndex());
  job.table = ss(txtNewTbl->text().trimmed());
  GuiInteraction ui(this);
  QApplication::setOverrideCursor(Qt::WaitCursor);
  DepthRunResult r = runProfileDepth(job, &db_, ui);
  QApplication::restoreOverrideCursor();
  if (!r.outcome.ok) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  last_ = std::move(r);
  chtProfile->setChart(profileChart(last_));
  chtDepth->setChart(solutionChart(last_));
  std::vector<std::vector<std::string>> rows;
  for (const DepthSolution& d : last_.solutions)
    rows.push_back({fmt(d.x1), fmt(d.x2), fmt(d.x0), fmt(d.z0), fmt(d.index), fmt(d.error)});
  fillTableWidget(grdSolutions, {"WINX1", "WINX2", "X0", "DEPTH", "SI", "ERR"}, rows);
  lblReport->setText(qs(depthReport(last_)));
  notify(this, last_.outcome.message);
}

namespace {
const ToolWindowRegistrar registerDepth{"frmWTProfMagnSrcDepth",
                                        loadingWindow<frmWTProfMagnSrcDepth>()};
}  // namespace

}  // namespace sarnoth::gui
