#include "electric/forms/frmWTDC2DTopoCorrect.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "electric/dc2d_field.h"
#include "electric/forms/frmWTDrawContour.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {

frmWTDC2DTopoCorrect::frmWTDC2DTopoCorrect(QWidget* parent) : QDialog(parent) {
  setObjectName("frmWTDC2DTopoCorrect");
  setWindowTitle(QString::fromUtf8(kDc2dTopoCaption));
  auto make = [this](auto* w, const char* name) {
    w->setObjectName(name);
    return w;
  };
  cmdOpen = make(new QPushButton("打开数据文件", this), "cmdOpen");
  lblFile = make(new QLabel(this), "lblFile");
  txtCells = make(new QSpinBox(this), "txtCells");
  txtCells->setRange(1, 16);
  txtCells->setValue(4);
  cmdCompute = make(new QPushButton("地形改正计算", this), "cmdCompute");
  cmdSaveResult = make(new QPushButton("保存改正结果", this), "cmdSaveResult");
  cmdSaveData = make(new QPushButton("保存改正后数据", this), "cmdSaveData");
  cmdSaveSection = make(new QPushButton("保存断面数据", this), "cmdSaveSection");
  cmdDrawSection = make(new QPushButton("断面图绘制", this), "cmdDrawSection");
  cmdClose = make(new QPushButton("退出", this), "cmdClose");
  cboShow = make(new QComboBox(this), "cboShow");
  cboShow->addItems({"实测视电阻率", "地形改正系数", "改正后视电阻率"});
  ProgressBar1 = make(new QProgressBar(this), "ProgressBar1");
  chtSection = make(new ChartView(this), "chtSection");
  chtSection->setMinimumSize(700, 320);

  auto* top = new QHBoxLayout;
  top->addWidget(cmdOpen);
  top->addWidget(lblFile, 1);
  top->addWidget(new QLabel("每电极距网格数", this));
  top->addWidget(txtCells);
  top->addWidget(cmdCompute);
  auto* mid = new QHBoxLayout;
  mid->addWidget(new QLabel("显示", this));
  mid->addWidget(cboShow);
  mid->addWidget(ProgressBar1, 1);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(cmdSaveResult);
  bottom->addWidget(cmdSaveData);
  bottom->addWidget(cmdSaveSection);
  bottom->addWidget(cmdDrawSection);
  bottom->addStretch(1);
  bottom->addWidget(cmdClose);
  auto* v = new QVBoxLayout(this);
  v->addLayout(top);
  v->addLayout(mid);
  v->addWidget(chtSection, 1);
  v->addLayout(bottom);

  connect(cmdOpen, &QPushButton::clicked, this, [this] {
    const std::string p =
        askOpenFileName(this, kDc2dTopoOpenTitle, "二维电阻率法地形改正数据文件(*.top)|*.top",
                        gWorkPath + "Prof_Dat\\");
    if (!p.empty()) openFile(p);
  });
  connect(cmdCompute, &QPushButton::clicked, this, [this] { compute(); });
  connect(cmdSaveResult, &QPushButton::clicked, this, [this] { saveResult(); });
  connect(cmdSaveData, &QPushButton::clicked, this, [this] { saveCorrectedData(); });
  connect(cmdSaveSection, &QPushButton::clicked, this, [this] { saveSection(); });
  connect(cboShow, &QComboBox::currentIndexChanged, this, [this] { showSection(); });
  connect(cmdDrawSection, &QPushButton::clicked, this, [this] {
    if (!computed_) return;
    auto* w = new frmWTDrawContour(this);
    w->setWindowFlag(Qt::Window);
    w->setSection(electric::topoSection(file_, tc_), cboShow->currentIndex());
    w->show();
  });
  connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
  enableSaves();
}

void frmWTDC2DTopoCorrect::enableSaves() {
  for (QPushButton* b : {cmdSaveResult, cmdSaveData, cmdSaveSection, cmdDrawSection})
    b->setEnabled(computed_);
  cmdCompute->setEnabled(loaded_);
}

bool frmWTDC2DTopoCorrect::openFile(const std::string& path) {
  electric::Dc2dFile f;
  std::string error;
  if (!electric::readTopoFile(resolvePath(path), f, error)) {
    showMessage(this, kTitleInfo, error);
    return false;
  }
  file_ = std::move(f);
  path_ = path;
  loaded_ = true;
  computed_ = false;
  tc_ = {};
  lblFile->setText(QString::fromStdString(path.substr(path.find_last_of("/\\") + 1) + "  " +
                                          electric::dc2dDeviceText(file_.survey.device) + ", " +
                                          std::to_string(file_.survey.data.size()) + " 个数据"));
  cboShow->setCurrentIndex(0);
  showSection();
  enableSaves();
  return true;
}

bool frmWTDC2DTopoCorrect::compute() {
  if (!loaded_) {
    showMessage(this, kTitleInfo, kMsgDc2dTopoNoFile);
    return false;
  }
  electric::Dc2dMeshSettings mesh;
  mesh.cellsPerSpacing = txtCells->value();
  BarProgress progress(ProgressBar1);
  electric::Dc2dTopoCorrection tc;
  const Outcome o = electric::dc2dTopoCorrect(file_, mesh, tc, progress);
  if (!o) {
    showMessage(this, kTitleInfo, o.message);
    return false;
  }
  tc_ = std::move(tc);
  computed_ = true;
  enableSaves();
  cboShow->setCurrentIndex(2);
  showSection();
  showMessage(this, kTitleInfo, o.message);
  return true;
}

void frmWTDC2DTopoCorrect::showSection() {
  if (!loaded_) return;
  electric::SectionStyle st;
  if (computed_) {
    st.column = std::max(0, cboShow->currentIndex());
    st.log = st.column != 1;
    chtSection->setChart(electric::sectionPlot(electric::topoSection(file_, tc_), st));
  } else {
    chtSection->setChart(electric::sectionPlot(
        electric::measuredSection(file_.survey, file_.name, file_.stationInterval, file_.x0), st));
  }
}

namespace {
std::string stemOf(const std::string& path) { return path.substr(0, path.find_last_of('.')); }
}  // namespace

bool frmWTDC2DTopoCorrect::saveResult(std::string path) {
  if (!computed_) {
    showMessage(this, kTitleInfo, kMsgDc2dTopoNotComputed);
    return false;
  }
  if (path.empty())
    path = askSaveFileName(this, kDc2dTopoSaveTitle, "*.dat|*.dat",
                           resolvePath(stemOf(path_)) + "_tc.dat");
  if (path.empty()) return false;
  if (!filetext::writeWholeFile(resolvePath(path),
                                utf8ToGbk(electric::formatDc2dTopoCorrection(file_, tc_)))) {
    showMessage(this, kTitleInfo, "不能写入文件: " + path);
    return false;
  }
  return true;
}

bool frmWTDC2DTopoCorrect::saveCorrectedData(std::string path) {
  if (!computed_) {
    showMessage(this, kTitleInfo, kMsgDc2dTopoNotComputed);
    return false;
  }
  const electric::Dc2dFile out = electric::correctedDc2dFile(file_, tc_);
  const std::string suffix = electric::dc2dSuffix(out.head);
  if (path.empty())
    path = askSaveFileName(this, kDc2dTopoDataTitle, "*" + suffix + "|*" + suffix,
                           resolvePath(stemOf(path_)) + "_tc" + suffix);
  if (path.empty()) return false;
  if (!electric::writeDc2dFile(resolvePath(path), out)) {
    showMessage(this, kTitleInfo, "不能写入文件: " + path);
    return false;
  }
  return true;
}

bool frmWTDC2DTopoCorrect::saveSection(std::string path) {
  if (!computed_) {
    showMessage(this, kTitleInfo, kMsgDc2dTopoNotComputed);
    return false;
  }
  if (path.empty())
    path = askSaveFileName(this, kDc2dTopoSectionTitle, "断面数据文件(*.sec)|*.sec",
                           resolvePath(stemOf(path_)) + "_tc.sec");
  if (path.empty()) return false;
  if (!electric::writeSectionFile(resolvePath(path), electric::topoSection(file_, tc_))) {
    showMessage(this, kTitleInfo, "不能写入文件: " + path);
    return false;
  }
  return true;
}

namespace {
const ToolWindowRegistrar registerDc2dTopo{
    "frmWTDC2DTopoCorrect",
    [](QWidget* parent, int) -> QWidget* { return new frmWTDC2DTopoCorrect(parent); }};
}  // namespace

}  // namespace sarnoth::gui
