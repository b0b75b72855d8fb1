#include "geochem/forms/frmClusterAnalysis.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <algorithm>

#include "app/chart_view.h"
#include "app/frmInfoBox.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "display/chart_image.h"
#include "geochem/forms/geochem_form_support.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
// ---- the drawing window ------------------------------------------------------------------------

DendrogramWindow::DendrogramWindow(chart::Chart chart, int width, int height, QWidget* parent)
    : QDialog(parent), width_(width), height_(height) {
  setObjectName("frmDraw");
  setWindowTitle(u8("图示窗"));
  auto* bar = new QMenuBar(this);
  SaveGraph = bar->addMenu(u8("保存图"));
  SaveGraph->setObjectName("SaveGraph");
  SaveBMP = SaveGraph->addAction(u8("保存为图像(&S)"));
  SaveBMP->setObjectName("SaveBMP");
  connect(SaveBMP, &QAction::triggered, this, &DendrogramWindow::SaveBMP_Click);
  area = new QScrollArea(this);
  area->setWidgetResizable(true);
  picDraw = new ChartView;
  picDraw->setObjectName("picDraw");
  picDraw->setChart(std::move(chart));
  area->setWidget(picDraw);
  auto* layout = new QVBoxLayout(this);
  layout->setMenuBar(bar);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(area);
  resize(std::min(width, 1000) + 30, std::min(height, 760) + 30);
  // Tall enough from the start for every label to read; zooming goes further.
  if (height > 760) picDraw->setMinimumHeight(height);
}

bool DendrogramWindow::savePicture(const QString& path) const {
  return chart::writeChartFile(picDraw->chart(), resolvePath(ss(path)), width_, height_);
}

void DendrogramWindow::SaveBMP_Click() {
  const std::string name =
      askSaveFileName(this, "保存", "PNG 图像(*.png)|*.png|SVG 图形(*.svg)|*.svg");
  if (name.empty()) return;
  if (!savePicture(qs(name))) notify(this, "不能写入文件: " + name);
}

// ---- the tool window -------------------------------------------------------------------------

frmClusterAnalysis::frmClusterAnalysis(QWidget* parent) : QDialog(parent) {
  setObjectName("frmClusterAnalysis");
  setWindowTitle(u8(geochem::kClusterCaption));
  lstTbls = named(new QListWidget(this), "lstTbls");
  lstVars = named(new QListWidget(this), "lstVars");
  lstVars->setSelectionMode(QAbstractItemView::MultiSelection);
  chkSelAll = named(new QCheckBox(u8("所有变量"), this), "chkSelAll");
  lblVarCount = named(new QLabel(u8("选择变量数 0"), this), "lblVarCount");
  auto* typeBox = new QGroupBox(u8("聚类类型"), this);
  optRR = named(new QRadioButton(u8("R型分析"), typeBox), "optRR");
  optQQ = named(new QRadioButton(u8("Q型分析"), typeBox), "optQQ");
  optQQ->setChecked(true);
  chkLog = named(new QCheckBox(u8(" 数据不取对数"), this), "chkLog");
  cboDataCov = named(new QComboBox(this), "cboDataCov");
  for (const auto& c : geochem::clusterTransformCaptions()) cboDataCov->addItem(qs(c));
  cboCalMode = named(new QComboBox(this), "cboCalMode");
  for (const auto& c : geochem::clusterMeasureCaptions()) cboCalMode->addItem(qs(c));
  txtFileOut =
      named(new QLineEdit(qs(gWorkPath + geochem::kClusterReportFile), this), "txtFileOut");
  btnFileOut = named(new QPushButton(u8("输出文件"), this), "btnFileOut");
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  btnApply = named(new QPushButton(u8("聚类计算(&A)"), this), "btnApply");
  btnViewResult = named(new QPushButton(u8("查看结果(&V)"), this), "btnViewResult");
  btnClusterMap = named(new QPushButton(u8("谱系图(&M)"), this), "btnClusterMap");
  btnClusterMap->setEnabled(false);
  btnViewData = named(new QPushButton(u8("数据浏览(&D)"), this), "btnViewData");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b :
       {btnFileOut, btnApply, btnViewResult, btnClusterMap, btnViewData, btnReturn})
    b->setAutoDefault(false);

  auto* tl = new QHBoxLayout(typeBox);
  tl->addWidget(optRR);
  tl->addWidget(optQQ);
  auto* left = new QVBoxLayout;
  left->addWidget(new QLabel(u8("数据表"), this));
  left->addWidget(lstTbls, 1);
  auto* mid = new QVBoxLayout;
  mid->addWidget(new QLabel(u8("变量"), this));
  mid->addWidget(lstVars, 1);
  auto* sel = new QHBoxLayout;
  sel->addWidget(chkSelAll);
  sel->addWidget(lblVarCount);
  mid->addLayout(sel);
  auto* right = new QGridLayout;
  right->addWidget(typeBox, 0, 0, 1, 2);
  right->addWidget(chkLog, 1, 0, 1, 2);
  right->addWidget(new QLabel(u8("数据变换"), this), 2, 0);
  right->addWidget(cboDataCov, 2, 1);
  right->addWidget(new QLabel(u8("相似性度量"), this), 3, 0);
  right->addWidget(cboCalMode, 3, 1);
  right->addWidget(txtFileOut, 4, 0, 1, 2);
  right->addWidget(btnFileOut, 5, 1);
  right->setRowStretch(6, 1);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 1);
  top->addLayout(mid, 1);
  top->addLayout(right, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  for (QPushButton* b : {btnApply, btnViewResult, btnClusterMap, btnViewData, btnReturn})
    buttons->addWidget(b);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top, 1);
  layout->addLayout(buttons);
  resize(860, 480);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(lstVars, &QListWidget::itemSelectionChanged, this, [this] { selectionChanged(); });
  connect(chkSelAll, &QCheckBox::toggled, this, [this](bool on) {
    for (int i = 0; i < lstVars->count(); ++i) lstVars->item(i)->setSelected(on);
  });
  connect(chkLog, &QCheckBox::toggled, this,
          [this](bool on) { chkLog->setText(on ? u8(" 数据取对数") : u8(" 数据不取对数")); });
  connect(btnFileOut, &QPushButton::clicked, this, &frmClusterAnalysis::btnFileOut_Click);
  connect(btnApply, &QPushButton::clicked, this, &frmClusterAnalysis::btnApply_Click);
  connect(btnViewResult, &QPushButton::clicked, this, &frmClusterAnalysis::btnViewResult_Click);
  connect(btnClusterMap, &QPushButton::clicked, this, &frmClusterAnalysis::btnClusterMap_Click);
  connect(btnViewData, &QPushButton::clicked, this, [this] {
    if (lstTbls->currentItem()) showWorkTable(this, ss(lstTbls->currentItem()->text()));
  });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmClusterAnalysis::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  if (listRegisteredTables(db_, tables) == 0) {
    notify(this, geochem::kMsgClusterNoTables);
    db_.close();
    return false;
  }
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  return true;
}

void frmClusterAnalysis::tableChosen() {
  lstVars->clear();
  if (!lstTbls->currentItem()) return;
  try {
    for (const FieldDef& f : db_.fields(ss(lstTbls->currentItem()->text())))
      if (f.isNumeric()) lstVars->addItem(qs(f.name));
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  selectionChanged();
}

void frmClusterAnalysis::selectionChanged() {
  lblVarCount->setText(u8("选择变量数 ") + QString::number(lstVars->selectedItems().size()));
}

geochem::ClusterJob frmClusterAnalysis::collectJob() const {
  geochem::ClusterJob job;
  if (lstTbls->currentItem()) job.table = ss(lstTbls->currentItem()->text());
  for (int i = 0; i < lstVars->count(); ++i)
    if (lstVars->item(i)->isSelected()) job.fields.push_back(ss(lstVars->item(i)->text()));
  job.itype = optRR->isChecked() ? 1 : 2;
  job.ilog = chkLog->isChecked() ? 1 : 0;
  job.icsr = cboDataCov->currentIndex() + 1;
  job.isim = cboCalMode->currentIndex() + 1;
  job.outputFile = ss(txtFileOut->text().trimmed());
  return job;
}

void frmClusterAnalysis::btnFileOut_Click() {
  const std::string path =
      askSaveFileName(this, geochem::kClusterFileTitle, geochem::kClusterFileFilter, "*.clt");
  if (!path.empty()) txtFileOut->setText(qs(path));
}

void frmClusterAnalysis::btnApply_Click() {
  geochem::ClusterJob job = collectJob();
  if (std::string why = geochem::checkClusterJob(job); !why.empty()) {
    notify(this, why);
    return;
  }
  geochem::ClusterResult r;
  Outcome o;
  {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    BarProgress progress(prbSpeed);
    o = geochem::runClusterAnalysis(db_, job, r, progress);
    prbSpeed->setValue(0);
    QApplication::restoreOverrideCursor();
  }
  if (!o.ok) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  lastJob_ = job;
  result_ = std::move(r);
  btnClusterMap->setEnabled(true);
}

void frmClusterAnalysis::btnViewResult_Click() {
  frmInfoBox box(this);
  box.mode = 4000;
  box.filePath = txtFileOut->text().trimmed();
  if (box.load()) box.exec();
}

DendrogramWindow* frmClusterAnalysis::makeClusterMap() {
  if (!result_) return nullptr;
  const auto [w, h] = geochem::dendrogramSize(*result_);
  return new DendrogramWindow(geochem::dendrogramChart(lastJob_, *result_), w, h, this);
}

void frmClusterAnalysis::btnClusterMap_Click() {
  DendrogramWindow* map = makeClusterMap();
  if (!map) return;
  map->setAttribute(Qt::WA_DeleteOnClose);
  map->exec();
}

static ToolWindowRegistrar reg{"frmClusterAnalysis", loadingWindow<frmClusterAnalysis>()};

}  // namespace sarnoth::gui
