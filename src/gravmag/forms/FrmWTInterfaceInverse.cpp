#include "gravmag/forms/FrmWTInterfaceInverse.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QVBoxLayout>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/freq_processing.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::gravmag;

constexpr const char* kMsgBadNumber = "参数应为数值.";

std::string gridDir() { return gWorkPath + "Grid_Dat\\"; }

}  // namespace

FrmWTInterfaceInverse::FrmWTInterfaceInverse(QWidget* parent, InterfaceKind k)
    : QWidget(parent, Qt::Window), kind(k) {
  const bool magnetic = kind == InterfaceKind::Magnetic;
  setObjectName(magnetic ? "FrmWTMagnInterfaceInverse" : "FrmWTGravInterfaceInverse");
  setWindowTitle(u8(magnetic ? kMagnInterfaceCaption : kGravInterfaceCaption));
  buildUi();
  const InterfaceParams d;
  const double values[7] = {magnetic ? 1.0 : d.contrast,
                            d.referenceDepth,
                            d.passWavelength,
                            d.cutWavelength,
                            d.criterion,
                            static_cast<double>(d.maxIterations),
                            d.metresPerUnit};
  for (int i = 0; i < 7; ++i) txtPar[i]->setText(QString::number(values[i], 'g', 8));
  connect(flstGrd, &QListWidget::currentRowChanged, this, [this] { onFileChosen(); });
  connect(Cmd_OK, &QPushButton::clicked, this, &FrmWTInterfaceInverse::invert);
  connect(btnImg, &QPushButton::clicked, this, &FrmWTInterfaceInverse::showImage);
  connect(hsbRow, &QScrollBar::valueChanged, this, &FrmWTInterfaceInverse::showRow);
  connect(Cmd_Cancel, &QPushButton::clicked, this, [this] {
    if (running_)
      stop_ = true;  // the run stops at its next look at the progress
    else
      close();
  });
}

void FrmWTInterfaceInverse::buildUi() {
  const bool magnetic = kind == InterfaceKind::Magnetic;
  auto* files = new QGroupBox(u8(magnetic ? "磁异常网格(化极)" : "重力异常网格"), this);
  auto* fl = new QGridLayout(files);
  flstGrd = named(new QListWidget(files), "flstGrd");
  txtNewGrd = named(new QLineEdit(files), "txtNewGrd");
  txtFitGrd = named(new QLineEdit(files), "txtFitGrd");
  chkFit = named(new QCheckBox(u8("输出正演异常"), files), "chkFit");
  chkFit->setChecked(true);
  fl->addWidget(flstGrd, 0, 0, 1, 2);
  fl->addWidget(new QLabel(u8("界面深度文件名"), files), 1, 0);
  fl->addWidget(txtNewGrd, 1, 1);
  fl->addWidget(chkFit, 2, 0);
  fl->addWidget(txtFitGrd, 2, 1);

  auto* pars = new QGroupBox(u8("反演参数"), this);
  auto* pl = new QGridLayout(pars);
  const char* labels[7] = {magnetic ? "磁化强度(A/m)" : "密度差(g/cm³)",
                           "参考深度",
                           "滤波通过波长",
                           "滤波截止波长",
                           "收敛标准",
                           "最大迭代次数",
                           "坐标单位(米)"};
  const char* names[7] = {"txtPar_0", "txtPar_1", "txtPar_2", "txtPar_3",
                          "txtPar_4", "txtPar_5", "txtPar_6"};
  for (int i = 0; i < 7; ++i) {
    txtPar[i] = named(new QLineEdit(pars), names[i]);
    pl->addWidget(new QLabel(u8(labels[i]), pars), i, 0);
    pl->addWidget(txtPar[i], i, 1);
  }
  pl->setRowStretch(7, 1);

  chtMap = named(new ChartView(this), "chtMap");
  chtFit = named(new ChartView(this), "chtFit");
  chtSection = named(new ChartView(this), "chtSection");
  chtMap->setTooltipFormatter([this](int series, int index) {
    const auto& s = chtMap->chart().series;
    if (series < 0 || series >= static_cast<int>(s.size()) || index < 0 ||
        index >= static_cast<int>(s[series].cellValues.size()))
      return QString();
    return u8("深度 ") + QString::number(s[series].cellValues[index], 'g', 6);
  });
  hsbRow = named(new QScrollBar(Qt::Horizontal, this), "hsbRow");
  hsbRow->setEnabled(false);
  auto* section = new QWidget(this);
  auto* sl = new QVBoxLayout(section);
  sl->setContentsMargins(0, 0, 0, 0);
  sl->addWidget(chtFit, 1);
  sl->addWidget(chtSection, 1);
  sl->addWidget(hsbRow);
  auto* charts = new QSplitter(Qt::Horizontal, this);
  charts->addWidget(chtMap);
  charts->addWidget(section);

  lblReport = named(new QLabel(this), "lblReport");
  lblReport->setWordWrap(true);
  prbProgress = named(new QProgressBar(this), "prbProgress");
  prbProgress->setTextVisible(false);
  Cmd_OK = named(new QPushButton(u8("反演(&I)"), this), "Cmd_OK");
  btnImg = named(new QPushButton(u8("数据影像浏览(&P)"), this), "btnImg");
  Cmd_Cancel = named(new QPushButton(u8("返回(&R)"), this), "Cmd_Cancel");
  for (QPushButton* b : {Cmd_OK, btnImg, Cmd_Cancel}) b->setAutoDefault(false);

  auto* top = new QHBoxLayout;
  top->addWidget(files, 1);
  top->addWidget(pars, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnImg);
  buttons->addStretch(1);
  buttons->addWidget(Cmd_OK);
  buttons->addWidget(Cmd_Cancel);
  auto* main = new QVBoxLayout(this);
  main->addLayout(top);
  main->addWidget(charts, 1);
  main->addWidget(lblReport);
  main->addWidget(prbProgress);
  main->addLayout(buttons);
  resize(1000, 760);
}

void FrmWTInterfaceInverse::prepare() {
  refreshList();
  if (flstGrd->count() == 0) {
    notify(this, kMsgNoGridFiles);
    return;
  }
  flstGrd->setCurrentRow(0);
  onFileChosen();
}

void FrmWTInterfaceInverse::refreshList() {
  refillKeepingCurrent(flstGrd, listFiles(gridDir(), "*.grd").value_or(QStringList()));
}

void FrmWTInterfaceInverse::onFileChosen() {
  if (!flstGrd->currentItem()) return;
  const QString name = flstGrd->currentItem()->text();
  const QString stem = name.left(std::max<qsizetype>(0, name.size() - 4));
  txtNewGrd->setText(stem + "Z");
  txtFitGrd->setText(stem + "F");
}

void FrmWTInterfaceInverse::invert() {
  if (running_) return;
  if (!flstGrd->currentItem()) {
    notify(this, kMsgChooseFile);
    return;
  }
  double v[7];
  for (int i = 0; i < 7; ++i) {
    bool ok = false;
    v[i] = txtPar[i]->text().trimmed().toDouble(&ok);
    if (!ok) {
      notify(this, kMsgBadNumber);
      txtPar[i]->setFocus();
      return;
    }
  }
  InterfaceJob job;
  job.inputPath = gridDir() + ss(flstGrd->currentItem()->text());
  job.outputPath = gridDir() + ss(txtNewGrd->text().trimmed()) + ".grd";
  if (chkFit->isChecked()) job.fitPath = gridDir() + ss(txtFitGrd->text().trimmed()) + ".grd";
  InterfaceParams& p = job.params;
  p.kind = kind;
  p.contrast = v[0];
  p.referenceDepth = v[1];
  p.passWavelength = v[2];
  p.cutWavelength = v[3];
  p.criterion = v[4];
  p.maxIterations = static_cast<int>(v[5]);
  p.metresPerUnit = v[6];
  running_ = true;
  stop_ = false;
  Cmd_OK->setEnabled(false);
  QApplication::setOverrideCursor(Qt::WaitCursor);
  BarProgress progress(prbProgress);
  progress.setPumpHook([this] { return !stop_; });
  InterfaceRunResult r = runInterfaceInversion(job, progress);
  QApplication::restoreOverrideCursor();
  prbProgress->setValue(0);
  Cmd_OK->setEnabled(true);
  running_ = false;
  if (!r.outcome.ok) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  last_ = std::move(r);
  lastOutput_ = job.outputPath;
  refreshList();
  chtMap->setChart(interfaceMapChart(last_));
  hsbRow->setRange(0, std::max(0, last_.header.ny - 1));
  hsbRow->setEnabled(true);
  const int middle = last_.header.ny / 2;
  if (hsbRow->value() == middle)
    showRow(middle);
  else
    hsbRow->setValue(middle);
  lblReport->setText(qs(interfaceReport(last_)));
  notify(this, last_.outcome.message);
}

void FrmWTInterfaceInverse::showRow(int row) {
  if (last_.result.depth.empty()) return;
  chtFit->setChart(interfaceFitChart(last_, row));
  chtSection->setChart(interfaceSectionChart(last_, row));
}

void FrmWTInterfaceInverse::showImage() {
  const std::string path = lastOutput_;
  if (path.empty()) {
    notify(this, kMsgChooseFile);
    return;
  }
  showGridImage(this, path);
}

void FrmWTInterfaceInverse::closeEvent(QCloseEvent* e) {
  if (running_) {
    // Closing asks the run to stop; the window closes afterwards on a second request.
    stop_ = true;
    e->ignore();
    return;
  }
  QWidget::closeEvent(e);
}

namespace {

template <typename Window>
QWidget* prepared(QWidget* parent, int) {
  auto* w = new Window(parent);
  w->prepare();
  return w;
}

const ToolWindowRegistrar registerGrav{"FrmWTGravInterfaceInverse",
                                       prepared<FrmWTGravInterfaceInverse>};
const ToolWindowRegistrar registerMagn{"FrmWTMagnInterfaceInverse",
                                       prepared<FrmWTMagnInterfaceInverse>};

}  // namespace

}  // namespace sarnoth::gui
