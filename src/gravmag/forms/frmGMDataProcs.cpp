#include "gravmag/forms/frmGMDataProcs.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/space_processing.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::gravmag;

std::string gridDir() { return gWorkPath + "Grid_Dat\\"; }

}  // namespace

frmGMDataProcs::frmGMDataProcs(QWidget* parent, int m) : QDialog(parent), mode(m) {
  setObjectName("frmGMDataProcs");
  setWindowTitle(qs(std::string(kSpaceCaption) + spaceTitleSuffix(mode)));
  buildUi();
  for (const auto& name : spaceMethods(mode)) cboCalcM->addItem(qs(name));
  connect(flstGrd, &QListWidget::currentRowChanged, this, [this] { onFileClicked(); });
  connect(cboCalcM, &QComboBox::currentIndexChanged, this, [this] { onMethodChosen(); });
  connect(btnProc, &QPushButton::clicked, this, &frmGMDataProcs::process);
  connect(btnImg, &QPushButton::clicked, this, &frmGMDataProcs::showImage);
  connect(btnReturn, &QPushButton::clicked, this, [this] {
    if (running_)
      stop_ = true;  // the run stops at its next look at the progress
    else
      reject();
  });
  onMethodChosen();
}

void frmGMDataProcs::buildUi() {
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
  Label6 = named(new QLabel(u8("算子"), pars), "Label6");
  cboCalcM = named(new QComboBox(pars), "cboCalcM");
  Label7 = named(new QLabel(pars), "Label7");
  Label8 = named(new QLabel(pars), "Label8");
  Label9 = named(new QLabel(pars), "Label9");
  for (QLabel* l : {Label7, Label8, Label9}) l->setWordWrap(true);
  txtPar1 = named(new QLineEdit(pars), "txtPar1");
  txtPar2 = named(new QLineEdit(pars), "txtPar2");
  txtPar3 = named(new QLineEdit(pars), "txtPar3");
  pl->addWidget(Label6, 0, 0);
  pl->addWidget(cboCalcM, 0, 1);
  pl->addWidget(Label7, 1, 0);
  pl->addWidget(txtPar1, 1, 1);
  pl->addWidget(Label8, 2, 0);
  pl->addWidget(txtPar2, 2, 1);
  pl->addWidget(Label9, 3, 0);
  pl->addWidget(txtPar3, 3, 1);
  pl->setRowStretch(4, 1);

  lblNote = named(new QLabel(this), "lblNote");
  lblNote->setWordWrap(true);
  prbProgress = named(new QProgressBar(this), "prbProgress");
  prbProgress->setTextVisible(false);
  btnProc = named(new QPushButton(u8("处理...(&P)"), this), "btnProc");
  btnImg = named(new QPushButton(u8("数据影像浏览(&V)"), this), "btnImg");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnProc, btnImg, btnReturn}) b->setAutoDefault(false);

  auto* top = new QHBoxLayout;
  top->addWidget(files, 1);
  top->addWidget(pars, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnImg);
  buttons->addStretch(1);
  buttons->addWidget(btnProc);
  buttons->addWidget(btnReturn);
  auto* main = new QVBoxLayout(this);
  main->addLayout(top);
  main->addWidget(lblNote);
  main->addWidget(prbProgress);
  main->addLayout(buttons);
  resize(720, 400);
}

bool frmGMDataProcs::load() {
  refreshList();
  if (flstGrd->count() == 0) {
    notify(this, kMsgNoGridFiles);
    return true;
  }
  flstGrd->setCurrentRow(0);
  onFileClicked();
  return true;
}

void frmGMDataProcs::refreshList() {
  refillKeepingCurrent(flstGrd, listFiles(gridDir(), "*.grd").value_or(QStringList()));
}

void frmGMDataProcs::onFileClicked() {
  if (!flstGrd->currentItem()) return;
  const QString name = flstGrd->currentItem()->text();
  // The result's name: the grid's with a mark of the job (second derivative, direction,
  // continuation).
  const char* mark = mode == kSpaceSecondDerivative ? "_Dzz"
                     : mode == kSpaceDirection      ? "_Dh"
                                                    : "_C";
  txtNewGrd->setText(name.left(std::max<qsizetype>(0, name.size() - 4)) + u8(mark));
}

void frmGMDataProcs::onMethodChosen() {
  const int method = std::max(cboCalcM->currentIndex(), 0);
  const SpaceLayout l = spaceLayout(mode, method);
  QLabel* labels[3] = {Label7, Label8, Label9};
  QLineEdit* boxes[3] = {txtPar1, txtPar2, txtPar3};
  for (int i = 0; i < 3; ++i) {
    const ParamBox& b = l.par[static_cast<std::size_t>(i)];
    labels[i]->setText(qs(b.label));
    labels[i]->setVisible(b.shown);
    boxes[i]->setVisible(b.shown);
    // A box that stays shown keeps what the user typed.
    if (!b.shown)
      boxes[i]->clear();
    else if (boxes[i]->text().isEmpty())
      boxes[i]->setText(qs(b.text));
  }
  Label6->setVisible(l.methodsShown);
  cboCalcM->setVisible(l.methodsShown);
}

std::string frmGMDataProcs::selectedPath() const {
  if (!flstGrd->currentItem()) return {};
  return gridDir() + ss(flstGrd->currentItem()->text());
}

std::string frmGMDataProcs::outputPath() const {
  return gridDir() + ss(txtNewGrd->text()) + ".grd";
}

void frmGMDataProcs::process() {
  if (running_) return;
  if (!flstGrd->currentItem()) {
    notify(this, kMsgChooseFile);
    return;
  }
  SpaceJob job;
  job.mode = mode;
  job.method = std::max(cboCalcM->currentIndex(), 0);
  job.inputPath = selectedPath();
  job.outputPath = outputPath();
  job.par1 = ss(txtPar1->text());
  job.par2 = ss(txtPar2->text());
  job.par3 = ss(txtPar3->text());
  running_ = true;
  stop_ = false;
  btnProc->setEnabled(false);
  lblNote->clear();
  QApplication::setOverrideCursor(Qt::WaitCursor);
  BarProgress progress(prbProgress);
  progress.setPumpHook([this] { return !stop_; });
  const SpaceRunResult r = runSpaceProcessing(job, progress);
  QApplication::restoreOverrideCursor();
  prbProgress->setValue(0);
  btnProc->setEnabled(true);
  running_ = false;
  if (r.outcome.ok) {
    lblNote->setText(qs(spaceStatisticsText(r)));
    notify(this, r.outcome.message);
    refreshList();
  } else if (!r.cancelled && !r.outcome.message.empty()) {
    notify(this, r.outcome.message);
  }
}

void frmGMDataProcs::showImage() {
  const std::string path = selectedPath();
  if (path.empty()) {
    notify(this, kMsgChooseFile);
    return;
  }
  showGridImage(this, path);
}

void frmGMDataProcs::done(int r) {
  if (running_) {
    stop_ = true;
    return;
  }
  QDialog::done(r);
}

namespace {

const ToolWindowRegistrar registerDataProcs{"frmGMDataProcs",
                                            [](QWidget* parent, int mode) -> QWidget* {
                                              // The form does nothing without a mode of its own.
                                              if (!isSpaceMode(mode)) return nullptr;
                                              auto* w = new frmGMDataProcs(parent, mode);
                                              w->load();
                                              return w;
                                            }};

}  // namespace

}  // namespace sarnoth::gui
