#include "gravmag/forms/frmGMFreqProcs.h"

#include <QApplication>
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

#include "app/frmInfoBox.h"
#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "closed/gm_filter_com.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/freq_processing.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::gravmag;

std::string gridDir() { return gWorkPath + "Grid_Dat\\"; }

}  // namespace

frmGMFreqProcs::frmGMFreqProcs(QWidget* parent, int m) : QDialog(parent), mode(m) {
  setObjectName("frmGMFreqProcs");
  setWindowTitle(qs(std::string(kFreqCaption) + freqTitleSuffix(mode)));
  buildUi();
  for (const auto& name : freqMethods(mode)) cboCalcM->addItem(qs(name));
  optGG->setChecked(true);
  connect(flstGrd, &QListWidget::itemClicked, this, [this] { onFileClicked(); });
  connect(flstGrd, &QListWidget::currentRowChanged, this, [this] { onFileClicked(); });
  connect(cboCalcM, &QComboBox::currentIndexChanged, this, [this] { onMethodChosen(); });
  connect(chkPar, &QCheckBox::clicked, this, [this] { onCheckClicked(); });
  connect(btnProc, &QPushButton::clicked, this, &frmGMFreqProcs::process);
  connect(btnImg, &QPushButton::clicked, this, &frmGMFreqProcs::showImage);
  connect(cboGrdInfo, &QPushButton::clicked, this, &frmGMFreqProcs::showInfo);
  connect(btnReturn, &QPushButton::clicked, this, [this] {
    if (running_)
      stop_ = true;  // the run stops at its next look at the progress
    else
      reject();
  });
  onMethodChosen();
}

void frmGMFreqProcs::buildUi() {
  auto* files = new QGroupBox(u8("网格数据文件"), this);
  flstGrd = named(new QListWidget(files), "flstGrd");
  auto* fl = new QVBoxLayout(files);
  fl->addWidget(flstGrd);
  auto* nameRow = new QHBoxLayout;
  nameRow->addWidget(new QLabel(u8("输出文件名"), files));
  txtNewGrd = named(new QLineEdit(u8("NewGrd"), files), "txtNewGrd");
  nameRow->addWidget(txtNewGrd);
  fl->addLayout(nameRow);

  auto* pars = new QGroupBox(u8("处理参数"), this);
  auto* pl = new QGridLayout(pars);
  Label6 = named(new QLabel(u8("计算方法"), pars), "Label6");
  cboCalcM = named(new QComboBox(pars), "cboCalcM");
  chkPar = named(new QCheckBox(u8(kCheckCaptionInitial), pars), "chkPar");
  Label7 = named(new QLabel(pars), "Label7");
  Label8 = named(new QLabel(pars), "Label8");
  Label9 = named(new QLabel(pars), "Label9");
  for (QLabel* l : {Label7, Label8, Label9}) l->setWordWrap(true);
  txtPar1 = named(new QLineEdit(pars), "txtPar1");
  txtPar2 = named(new QLineEdit(pars), "txtPar2");
  txtPar3 = named(new QLineEdit(pars), "txtPar3");
  txtPar11 = named(new QLineEdit(pars), "txtPar11");
  txtPar22 = named(new QLineEdit(pars), "txtPar22");
  pl->addWidget(Label6, 0, 0);
  pl->addWidget(cboCalcM, 0, 1, 1, 2);
  pl->addWidget(chkPar, 1, 0, 1, 3);
  pl->addWidget(Label7, 2, 0);
  pl->addWidget(txtPar1, 2, 1);
  pl->addWidget(txtPar11, 2, 2);
  pl->addWidget(Label8, 3, 0);
  pl->addWidget(txtPar2, 3, 1);
  pl->addWidget(txtPar22, 3, 2);
  pl->addWidget(Label9, 4, 0);
  pl->addWidget(txtPar3, 4, 1);

  frmCC = named(new QGroupBox(pars), "frmCC");
  auto* cl = new QGridLayout(frmCC);
  txtII = named(new QLineEdit(u8("57.4"), frmCC), "txtII");
  txtDD = named(new QLineEdit(u8("-6"), frmCC), "txtDD");
  txtAA = named(new QLineEdit(u8("0"), frmCC), "txtAA");
  txtAA->setToolTip(u8("测线与地理北的夹角"));
  auto* lblAA = new QLabel(u8("测线方位角"), frmCC);
  lblAA->setToolTip(txtAA->toolTip());
  cl->addWidget(new QLabel(u8("地磁倾角(I)"), frmCC), 0, 0);
  cl->addWidget(txtII, 0, 1);
  cl->addWidget(new QLabel(u8("地磁偏角(D0)"), frmCC), 1, 0);
  cl->addWidget(txtDD, 1, 1);
  cl->addWidget(lblAA, 2, 0);
  cl->addWidget(txtAA, 2, 1);
  optGG = named(new QRadioButton(u8("重力(Bg)"), frmCC), "optGG");
  optDZ = named(new QRadioButton(u8("△Z"), frmCC), "optDZ");
  optDT = named(new QRadioButton(u8("△T"), frmCC), "optDT");
  auto* opts = new QHBoxLayout;
  for (QRadioButton* o : {optGG, optDZ, optDT}) opts->addWidget(o);
  cl->addLayout(opts, 3, 0, 1, 2);
  pl->addWidget(frmCC, 5, 0, 1, 3);
  pl->setRowStretch(6, 1);

  lblNote = named(new QLabel(this), "lblNote");
  prbProgress = named(new QProgressBar(this), "prbProgress");
  prbProgress->setTextVisible(false);
  btnProc = named(new QPushButton(u8("处理...(&P)"), this), "btnProc");
  btnImg = named(new QPushButton(u8("数据影像浏览(&P)"), this), "btnImg");
  cboGrdInfo = named(new QPushButton(u8("数据信息浏览(&I)"), this), "cboGrdInfo");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnProc, btnImg, cboGrdInfo, btnReturn}) b->setAutoDefault(false);

  auto* top = new QHBoxLayout;
  top->addWidget(files, 1);
  top->addWidget(pars, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(cboGrdInfo);
  buttons->addWidget(btnImg);
  buttons->addStretch(1);
  buttons->addWidget(btnProc);
  buttons->addWidget(btnReturn);
  auto* main = new QVBoxLayout(this);
  main->addLayout(top);
  main->addWidget(lblNote);
  main->addWidget(prbProgress);
  main->addLayout(buttons);
  resize(760, 440);
}

bool frmGMFreqProcs::load() {
  refreshList();
  if (flstGrd->count() == 0) {
    notify(this, kMsgNoGridFiles);
    return true;
  }
  flstGrd->setCurrentRow(0);
  onFileClicked();
  return true;
}

void frmGMFreqProcs::refreshList() {
  refillKeepingCurrent(flstGrd, listFiles(gridDir(), "*.grd").value_or(QStringList()));
}

void frmGMFreqProcs::onFileClicked() {
  if (!flstGrd->currentItem()) return;
  const QString name = flstGrd->currentItem()->text();
  txtNewGrd->setText(name.left(std::max<qsizetype>(0, name.size() - 4)) + "P");
}

void frmGMFreqProcs::onMethodChosen() {
  const int method = std::max(cboCalcM->currentIndex(), 0);
  const FreqLayout l = freqLayout(mode, method);
  QLabel* labels[3] = {Label7, Label8, Label9};
  QLineEdit* boxes[3] = {txtPar1, txtPar2, txtPar3};
  for (int i = 0; i < 3; ++i) {
    const ParamBox& b = l.par[static_cast<std::size_t>(i)];
    labels[i]->setText(qs(b.label));
    labels[i]->setVisible(b.shown);
    boxes[i]->setVisible(b.shown);
    boxes[i]->setText(b.shown ? qs(b.text) : QString());
  }
  txtPar11->setVisible(l.parExtraShown);
  txtPar22->setVisible(l.parExtraShown);
  txtPar11->setText(qs(l.par11));
  txtPar22->setText(qs(l.par22));
  Label6->setVisible(l.methodsShown);
  cboCalcM->setVisible(l.methodsShown);
  chkPar->setVisible(l.chkShown);
  frmCC->setVisible(l.frameShown);
  optGG->setVisible(l.gravityShown);
  if (!l.gravityShown && optGG->isChecked()) optDT->setChecked(true);
  if (l.chkShown) onCheckClicked();
}

void frmGMFreqProcs::onCheckClicked() {
  chkPar->setText(
      qs(freqCheckCaption(mode, std::max(cboCalcM->currentIndex(), 0), chkPar->isChecked())));
}

std::string frmGMFreqProcs::selectedPath() const {
  if (!flstGrd->currentItem()) return {};
  return gridDir() + ss(flstGrd->currentItem()->text());
}

std::string frmGMFreqProcs::outputPath() const {
  return gridDir() + ss(txtNewGrd->text()) + ".grd";
}

void frmGMFreqProcs::process() {
  if (running_) return;
  if (!flstGrd->currentItem()) {
    notify(this, kMsgChooseFile);
    return;
  }
  const int method = std::max(cboCalcM->currentIndex(), 0);
  running_ = true;
  stop_ = false;
  btnProc->setEnabled(false);
  lblNote->clear();
  QApplication::setOverrideCursor(Qt::WaitCursor);
  BarProgress progress(prbProgress);
  progress.setPumpHook([this] { return !stop_; });
  Outcome outcome;
  bool cancelled = false;
  if (const int code = freqComponentCode(mode, method)) {
    // The component: input, code, output; the last call runs it.
    closed::GMFilterComponent component(progress);
    component.setInputGrid(selectedPath());
    component.setFunctionCode(code);
    QApplication::restoreOverrideCursor();  // its dialog may ask first
    outcome = component.setOutputGrid(outputPath());
    QApplication::setOverrideCursor(Qt::WaitCursor);
    if (outcome.ok) outcome.message = kMsgComponentDone;
    cancelled = !outcome.ok && outcome.message.empty();
  } else {
    FreqJob job;
    job.mode = mode;
    job.method = method;
    job.inputPath = selectedPath();
    job.outputPath = outputPath();
    job.par1 = ss(txtPar1->text());
    job.par2 = ss(txtPar2->text());
    job.par3 = ss(txtPar3->text());
    job.par11 = ss(txtPar11->text());
    job.par22 = ss(txtPar22->text());
    job.ii = ss(txtII->text());
    job.dd = ss(txtDD->text());
    job.aa = ss(txtAA->text());
    job.field = optDZ->isChecked()   ? FieldKind::DeltaZ
                : optDT->isChecked() ? FieldKind::DeltaT
                                     : FieldKind::Gravity;
    job.chk = chkPar->isChecked();
    job.unitFactor = gUnitFactor;
    const FreqRunResult r = runFreqProcessing(job, progress);
    lblNote->setText(qs(r.formNote));
    outcome = r.outcome;
    cancelled = r.cancelled;
  }
  QApplication::restoreOverrideCursor();
  prbProgress->setValue(0);
  btnProc->setEnabled(true);
  running_ = false;
  if (outcome.ok) {
    notify(this, outcome.message);
    refreshList();
  } else if (!cancelled && !outcome.message.empty()) {
    notify(this, outcome.message);
  }
}

void frmGMFreqProcs::showImage() {
  const std::string path = selectedPath();
  if (path.empty()) {
    notify(this, kMsgChooseFile);
    return;
  }
  showGridImage(this, path);
}

void frmGMFreqProcs::showInfo() {
  if (!flstGrd->currentItem()) {
    notify(this, kMsgChooseFile);
    return;
  }
  const Outcome o = writeFreqGridInfo(selectedPath(), ss(flstGrd->currentItem()->text()),
                                      gTempPath + "Errorinfo.txt");
  if (!o.ok) {
    notify(this, o.message);
    return;
  }
  frmInfoBox box(this);
  box.run();
}

void frmGMFreqProcs::done(int r) {
  if (running_) {
    stop_ = true;
    return;
  }
  QDialog::done(r);
}

namespace {

const ToolWindowRegistrar registerFreqProcs{"frmGMFreqProcs",
                                            [](QWidget* parent, int mode) -> QWidget* {
                                              // The form does nothing without a mode of its own.
                                              if (!isFreqMode(mode)) return nullptr;
                                              // Its grids are the work area's: none, no window.
                                              if (!workAreaReachable(parent)) return nullptr;
                                              auto* w = new frmGMFreqProcs(parent, mode);
                                              w->load();
                                              return w;
                                            }};

}  // namespace

}  // namespace sarnoth::gui
