#include "electric/forms/FrmWTResIP2DAuto.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>
#include <cstdio>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "electric/dc2d_field.h"
#include "electric/forms/frmWTDrawContour.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::gui {

FrmWTResIP2DAuto::FrmWTResIP2DAuto(QWidget* parent) : QWidget(parent) {
  setObjectName("FrmWTResIP2DAuto");
  setWindowTitle(QString::fromUtf8(kDc2dAutoCaption));
  setAttribute(Qt::WA_DeleteOnClose);
  auto make = [this](auto* w, const char* name) {
    w->setObjectName(name);
    return w;
  };
  lstFiles = make(new QListWidget(this), "lstFiles");
  cmdAddFile = make(new QPushButton("添加数据文件", this), "cmdAddFile");
  cmdRemoveFile = make(new QPushButton("移去数据文件", this), "cmdRemoveFile");
  txtTerrain = make(new QLineEdit(this), "txtTerrain");
  txtTerrain->setReadOnly(true);
  cmdTerrain = make(new QPushButton("地形数据文件", this), "cmdTerrain");
  cmdClearTerrain = make(new QPushButton("无地形", this), "cmdClearTerrain");
  chkAutoParam = make(new QCheckBox("参数由数据确定", this), "chkAutoParam");
  chkAutoParam->setChecked(true);
  txtIterations = make(new QSpinBox(this), "txtIterations");
  txtIterations->setRange(1, 50);
  txtIterations->setValue(6);
  txtError = make(new QDoubleSpinBox(this), "txtError");
  txtError->setRange(0.5, 50);
  txtError->setDecimals(1);
  txtError->setValue(3);
  txtCells = make(new QSpinBox(this), "txtCells");
  txtCells->setRange(1, 16);
  txtCells->setValue(4);
  cmdRun = make(new QPushButton("开始反演", this), "cmdRun");
  cmdDrawSection = make(new QPushButton("断面图绘制", this), "cmdDrawSection");
  cmdClose = make(new QPushButton("退出", this), "cmdClose");
  ProgressBar1 = make(new QProgressBar(this), "ProgressBar1");
  cboResult = make(new QComboBox(this), "cboResult");
  tabResults = make(new QTabWidget(this), "tabResults");
  chtModel = make(new ChartView(this), "chtModel");
  chtObserved = make(new ChartView(this), "chtObserved");
  chtComputed = make(new ChartView(this), "chtComputed");
  chtMisfit = make(new ChartView(this), "chtMisfit");
  tabResults->addTab(chtModel, "反演模型断面");
  tabResults->addTab(chtObserved, "实测视电阻率断面");
  tabResults->addTab(chtComputed, "计算视电阻率断面");
  tabResults->addTab(chtMisfit, "拟合差");
  txtLog = make(new QPlainTextEdit(this), "txtLog");
  txtLog->setReadOnly(true);
  txtLog->setMaximumHeight(90);

  auto* files = new QGroupBox("实测数据文件", this);
  auto* fl = new QVBoxLayout(files);
  fl->addWidget(lstFiles);
  auto* fb = new QHBoxLayout;
  fb->addWidget(cmdAddFile);
  fb->addWidget(cmdRemoveFile);
  fl->addLayout(fb);
  auto* tl = new QHBoxLayout;
  tl->addWidget(txtTerrain, 1);
  tl->addWidget(cmdTerrain);
  tl->addWidget(cmdClearTerrain);
  fl->addLayout(tl);
  auto* params = new QGroupBox("反演参数", this);
  auto* pl = new QFormLayout(params);
  pl->addRow(chkAutoParam);
  pl->addRow("迭代次数", txtIterations);
  pl->addRow("数据误差(%)", txtError);
  pl->addRow("每电极距网格数", txtCells);
  pl->addRow(cmdRun);
  pl->addRow(ProgressBar1);
  auto* left = new QVBoxLayout;
  left->addWidget(files, 1);
  left->addWidget(params);
  auto* right = new QVBoxLayout;
  auto* rb = new QHBoxLayout;
  rb->addWidget(cboResult, 1);
  rb->addWidget(cmdDrawSection);
  rb->addWidget(cmdClose);
  right->addLayout(rb);
  right->addWidget(tabResults, 1);
  right->addWidget(txtLog);
  auto* h = new QHBoxLayout(this);
  h->addLayout(left, 2);
  h->addLayout(right, 5);
  resize(1150, 640);

  connect(cmdAddFile, &QPushButton::clicked, this, [this] {
    const std::string p =
        askOpenFileName(this, kDc2dAutoOpenTitle, kDc2dAutoFilter, gWorkPath + "Prof_Dat\\");
    if (!p.empty()) addFile(p);
  });
  connect(cmdRemoveFile, &QPushButton::clicked, this, [this] {
    const int r = lstFiles->currentRow();
    if (r < 0 || r >= static_cast<int>(paths_.size())) return;
    paths_.erase(paths_.begin() + r);
    files_.erase(files_.begin() + r);
    delete lstFiles->takeItem(r);
  });
  connect(cmdTerrain, &QPushButton::clicked, this, [this] {
    const std::string p =
        askOpenFileName(this, kDc2dTerrainTitle, "地形数据(*.ter)|*.ter", gWorkPath + "Prof_Dat\\");
    if (!p.empty()) setTerrain(p);
  });
  connect(cmdClearTerrain, &QPushButton::clicked, this, [this] { setTerrain({}); });
  connect(lstFiles, &QListWidget::currentRowChanged, this, [this](int r) { showDefaults(r); });
  connect(chkAutoParam, &QCheckBox::toggled, this,
          [this] { showDefaults(lstFiles->currentRow()); });
  connect(cmdRun, &QPushButton::clicked, this, [this] { run(); });
  connect(cboResult, &QComboBox::currentIndexChanged, this, [this](int k) { showResult(k); });
  connect(cmdDrawSection, &QPushButton::clicked, this, [this] {
    const int k = cboResult->currentIndex();
    if (k < 0 || k >= static_cast<int>(runs_.size())) return;
    auto* w = new frmWTDrawContour(this);
    w->setWindowFlag(Qt::Window);
    w->setSection(runs_[static_cast<std::size_t>(k)].model);
    w->show();
  });
  connect(cmdClose, &QPushButton::clicked, this, &QWidget::close);
  cmdDrawSection->setEnabled(false);
}

bool FrmWTResIP2DAuto::addFile(const std::string& path) {
  electric::Dc2dFile f;
  std::string error;
  if (!electric::readMeasuredFile(resolvePath(path), f, error)) {
    showMessage(this, kTitleInfo, error);
    return false;
  }
  const electric::MeasuredKind* kind = electric::measuredKindOf(path);
  paths_.push_back(path);
  files_.push_back(std::move(f));
  const std::string name = path.substr(path.find_last_of("/\\") + 1);
  lstFiles->addItem(QString::fromStdString(name + "  (" + kind->text + ", " +
                                           std::to_string(files_.back().survey.data.size()) +
                                           " 个数据)"));
  lstFiles->setCurrentRow(lstFiles->count() - 1);
  return true;
}

bool FrmWTResIP2DAuto::setTerrain(const std::string& path) {
  if (path.empty()) {
    terrain_.clear();
    txtTerrain->clear();
    return true;
  }
  std::vector<electric::XZ> t;
  std::string error;
  if (!electric::readTerrainFile(resolvePath(path), t, error)) {
    showMessage(this, kTitleInfo, error);
    return false;
  }
  terrain_ = std::move(t);
  txtTerrain->setText(QString::fromStdString(path));
  return true;
}

void FrmWTResIP2DAuto::showDefaults(int row) {
  const bool automatic = chkAutoParam->isChecked();
  for (QWidget* w : std::initializer_list<QWidget*>{txtIterations, txtError, txtCells})
    w->setEnabled(!automatic);
  if (!automatic || row < 0 || row >= static_cast<int>(files_.size())) return;
  const electric::Dc2dAutoSettings st =
      electric::dc2dAutoDefaults(files_[static_cast<std::size_t>(row)]);
  txtIterations->setValue(st.iterations);
  txtError->setValue(st.errorPercent);
  txtCells->setValue(st.cellsPerSpacing);
}

int FrmWTResIP2DAuto::run() {
  if (files_.empty()) {
    showMessage(this, kTitleInfo, kMsgDc2dNoFiles);
    return 0;
  }
  runs_.clear();
  runStems_.clear();
  cboResult->clear();
  cmdRun->setEnabled(false);
  BarProgress progress(ProgressBar1);
  int done = 0;
  for (std::size_t i = 0; i < files_.size(); ++i) {
    electric::Dc2dFile f = files_[i];
    if (!terrain_.empty()) {
      f.survey.terrain = terrain_;
      f.head.terrain = 1;
    }
    electric::Dc2dAutoSettings st = electric::dc2dAutoDefaults(f);
    if (!chkAutoParam->isChecked()) {
      st.iterations = txtIterations->value();
      st.errorPercent = txtError->value();
      st.cellsPerSpacing = txtCells->value();
    }
    const std::string& path = paths_[i];
    const std::string name = path.substr(path.find_last_of("/\\") + 1);
    electric::Dc2dAutoRun run;
    const Outcome o = electric::runDc2dAuto(f, st, run, progress);
    if (!o) {
      txtLog->appendPlainText(QString::fromStdString(name + ": " + o.message));
      continue;
    }
    const std::string full = resolvePath(path);
    const std::string stem = full.substr(0, full.find_last_of('.'));
    std::string error;
    if (!electric::writeDc2dAutoRun(run, stem, true, error)) {
      showMessage(this, kTitleInfo, error);
      break;
    }
    char buf[96];
    std::snprintf(buf, sizeof buf, " (误差 %.1f %%, 迭代 %d, 网格 %d)", st.errorPercent,
                  st.iterations, st.cellsPerSpacing);
    txtLog->appendPlainText(QString::fromStdString(name + ": " + o.message + buf));
    runs_.push_back(std::move(run));
    runStems_.push_back(stem);
    ++done;
  }
  cmdRun->setEnabled(true);
  const QSignalBlocker block(cboResult);
  for (std::size_t k = 0; k < runs_.size(); ++k)
    cboResult->addItem(
        QString::fromStdString(runStems_[k].substr(runStems_[k].find_last_of('/') + 1)));
  cmdDrawSection->setEnabled(!runs_.empty());
  if (!runs_.empty()) {
    cboResult->setCurrentIndex(0);
    showResult(0);
  }
  return done;
}

void FrmWTResIP2DAuto::showResult(int k) {
  if (k < 0 || k >= static_cast<int>(runs_.size())) return;
  const auto& r = runs_[static_cast<std::size_t>(k)];
  electric::SectionStyle st;
  chtModel->setChart(electric::sectionPlot(r.model, st));
  st.column = 0;
  chtObserved->setChart(electric::sectionPlot(r.pseudo, st));
  st.column = 1;
  chtComputed->setChart(electric::sectionPlot(r.pseudo, st));
  chtMisfit->setChart(electric::dc2dMisfitChart(r.inversion));
}

namespace {
const ToolWindowRegistrar registerDc2dAuto{
    "FrmWTResIP2DAuto",
    [](QWidget* parent, int) -> QWidget* { return new FrmWTResIP2DAuto(parent); }};
}  // namespace

}  // namespace sarnoth::gui
