#include "gravmag/forms/frmGravTrr.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <cstdio>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "gravmag/terrain.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

using namespace sarnoth::gravmag;

const char* kFromModel = "(由高程模型内插)";
const char* kNoBouguer = "(不计算)";
const char* kDemFilter =
    "网格数据文件(*.grd)|*.grd|栅格高程模型(*.tif;*.asc;*.img;*.dem)|*.tif;*.asc;*.img;*.dem|"
    "所有文件(*.*)|*.*";

// The index of the first field from `first` on whose name holds one of the keys, else
// `fallback`.
int guessField(const QComboBox* c, std::initializer_list<const char*> keys, int fallback,
               int first = 0) {
  for (const char* k : keys)
    for (int i = first; i < c->count(); ++i)
      if (c->itemText(i).contains(u8(k), Qt::CaseInsensitive)) return i;
  return std::min(fallback, c->count() - 1);
}

double boxNumber(const QLineEdit* box, bool& ok) { return box->text().trimmed().toDouble(&ok); }

}  // namespace

frmGravTrr::frmGravTrr(QWidget* parent) : QDialog(parent) {
  setObjectName("frmGravTrr");
  setWindowTitle(u8(kTrrCaption));
  buildUi();
  connect(cboTable, &QComboBox::currentIndexChanged, this, [this] { onTableChosen(); });
  connect(btnDem, &QPushButton::clicked, this, &frmGravTrr::chooseDem);
  connect(txtDem, &QLineEdit::editingFinished, this, [this] { onDemChosen(); });
  connect(btnProc, &QPushButton::clicked, this, &frmGravTrr::process);
  connect(btnReturn, &QPushButton::clicked, this, [this] {
    if (running_)
      stop_ = true;
    else
      reject();
  });
}

void frmGravTrr::buildUi() {
  auto* stations = new QGroupBox(u8("测点数据"), this);
  auto* sl = new QGridLayout(stations);
  cboTable = named(new QComboBox(stations), "cboTable");
  cboX = named(new QComboBox(stations), "cboX");
  cboY = named(new QComboBox(stations), "cboY");
  cboH = named(new QComboBox(stations), "cboH");
  cboBA = named(new QComboBox(stations), "cboBA");
  const char* labels[] = {"数据表", "横坐标(X)", "纵坐标(Y)", "测点高程", "简单布格异常"};
  QComboBox* combos[] = {cboTable, cboX, cboY, cboH, cboBA};
  for (int i = 0; i < 5; ++i) {
    sl->addWidget(new QLabel(u8(labels[i]), stations), i, 0);
    sl->addWidget(combos[i], i, 1);
  }

  auto* model = new QGroupBox(u8("数字高程模型与参数"), this);
  auto* ml = new QGridLayout(model);
  txtDem = named(new QLineEdit(model), "txtDem");
  btnDem = named(new QPushButton(u8("浏览..."), model), "btnDem");
  btnDem->setAutoDefault(false);
  lblDem = named(new QLabel(model), "lblDem");
  txtDensity = named(new QLineEdit(u8("2.67"), model), "txtDensity");
  txtInner = named(new QLineEdit(u8("170.1"), model), "txtInner");
  txtOuter = named(new QLineEdit(u8("21944.2"), model), "txtOuter");
  txtTC = named(new QLineEdit(u8("TC"), model), "txtTC");
  txtCBA = named(new QLineEdit(u8("CBA"), model), "txtCBA");
  ml->addWidget(new QLabel(u8("高程模型文件"), model), 0, 0);
  ml->addWidget(txtDem, 0, 1);
  ml->addWidget(btnDem, 0, 2);
  ml->addWidget(lblDem, 1, 1, 1, 2);
  const char* parLabels[] = {"改正密度(g/cm3)", "内区半径(米,哈默环带)", "外区半径(米,棱柱体)",
                             "地形改正值字段", "完全布格异常字段"};
  QLineEdit* boxes[] = {txtDensity, txtInner, txtOuter, txtTC, txtCBA};
  for (int i = 0; i < 5; ++i) {
    ml->addWidget(new QLabel(u8(parLabels[i]), model), i + 2, 0);
    ml->addWidget(boxes[i], i + 2, 1, 1, 2);
  }

  lblReport = named(new QLabel(this), "lblReport");
  prbProgress = named(new QProgressBar(this), "prbProgress");
  prbProgress->setTextVisible(false);
  btnProc = named(new QPushButton(u8("计算(&C)"), this), "btnProc");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnProc, btnReturn}) b->setAutoDefault(false);

  auto* top = new QHBoxLayout;
  top->addWidget(stations, 1);
  top->addWidget(model, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(btnProc);
  buttons->addWidget(btnReturn);
  auto* main = new QVBoxLayout(this);
  main->addLayout(top);
  main->addWidget(lblReport);
  main->addWidget(prbProgress);
  main->addLayout(buttons);
  resize(760, 360);
}

bool frmGravTrr::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> names;
  try {
    listRegisteredTables(db_, names);
  } catch (const StoreError& e) {
    notify(this, e.what());
    return false;
  }
  {
    const QSignalBlocker block(cboTable);
    for (const auto& n : names) cboTable->addItem(qs(n));
  }
  if (cboTable->count() > 0) {
    cboTable->setCurrentIndex(0);
    onTableChosen();
  }
  return true;
}

void frmGravTrr::onTableChosen() {
  for (QComboBox* c : {cboX, cboY, cboH, cboBA}) c->clear();
  if (cboTable->currentIndex() < 0 || !db_.isOpen()) return;
  std::vector<FieldDef> fields;
  try {
    fields = db_.fields(ss(cboTable->currentText()));
  } catch (const StoreError& e) {
    notify(this, e.what());
    return;
  }
  cboH->addItem(u8(kFromModel));
  cboBA->addItem(u8(kNoBouguer));
  for (const FieldDef& f : fields) {
    if (!f.isNumeric()) continue;
    for (QComboBox* c : {cboX, cboY, cboH, cboBA}) c->addItem(qs(f.name));
  }
  cboX->setCurrentIndex(guessField(cboX, {"横坐标", "X", "东"}, 0));
  cboY->setCurrentIndex(guessField(cboY, {"纵坐标", "Y", "北"}, 1));
  cboH->setCurrentIndex(guessField(cboH, {"高程", "Elev"}, 0, 1));
  cboBA->setCurrentIndex(guessField(cboBA, {"布格", "Bouguer"}, 0, 1));
}

void frmGravTrr::chooseDem() {
  const std::string path =
      askOpenFileName(this, "选择数字高程模型文件", kDemFilter, gWorkPath + "Grid_Dat\\");
  if (path.empty()) return;
  txtDem->setText(qs(path));
  onDemChosen();
}

void frmGravTrr::onDemChosen() {
  lblDem->clear();
  if (txtDem->text().trimmed().isEmpty()) return;
  Grid dem;
  const Outcome o = readElevationModel(ss(txtDem->text().trimmed()), dem);
  if (!o) {
    lblDem->setText(qs(o.message));
    return;
  }
  const GridHeader& g = dem.header;
  char b[160];
  std::snprintf(b, sizeof b, "%d × %d 个节点, 网格距 %g × %g, 高程 %g ~ %g", g.nx, g.ny, g.dx, g.dy,
                g.zMin, g.zMax);
  lblDem->setText(u8(b));
  std::snprintf(b, sizeof b, "%g", defaultInnerRadius(g.dx, g.dy));
  txtInner->setText(u8(b));
}

void frmGravTrr::process() {
  if (running_) return;
  TerrainJob job;
  job.table = ss(cboTable->currentText());
  job.xField = ss(cboX->currentText());
  job.yField = ss(cboY->currentText());
  job.elevationField = cboH->currentIndex() > 0 ? ss(cboH->currentText()) : std::string();
  job.bouguerField = cboBA->currentIndex() > 0 ? ss(cboBA->currentText()) : std::string();
  job.demPath = ss(txtDem->text().trimmed());
  bool ok1 = false, ok2 = false, ok3 = false;
  job.params.density = boxNumber(txtDensity, ok1);
  job.params.innerRadius = boxNumber(txtInner, ok2);
  job.params.outerRadius = boxNumber(txtOuter, ok3);
  if (!ok1) job.params.density = 0;  // refused by the engine with its message
  if (!ok2 || !ok3) job.params.outerRadius = -1;
  job.tcField = ss(txtTC->text());
  job.cbaField = ss(txtCBA->text());

  running_ = true;
  stop_ = false;
  btnProc->setEnabled(false);
  lblReport->clear();
  QApplication::setOverrideCursor(Qt::WaitCursor);
  BarProgress progress(prbProgress);
  progress.setPumpHook([this] { return !stop_; });
  GuiInteraction ui(this);
  const TerrainRunResult r = runTerrainCorrection(db_, job, ui, progress);
  QApplication::restoreOverrideCursor();
  prbProgress->setValue(0);
  btnProc->setEnabled(true);
  running_ = false;
  if (r.outcome.ok) {
    lblReport->setText(qs(terrainReport(r)));
    notify(this, r.outcome.message);
  } else if (!r.cancelled && !r.outcome.message.empty()) {
    notify(this, r.outcome.message);
  }
}

void frmGravTrr::done(int r) {
  if (running_) {
    stop_ = true;
    return;
  }
  QDialog::done(r);
}

namespace {

const ToolWindowRegistrar registerGravTrr{"frmGravTrr", [](QWidget* parent, int) -> QWidget* {
                                            auto* w = new frmGravTrr(parent);
                                            if (!w->load()) {
                                              delete w;
                                              return nullptr;
                                            }
                                            return w;
                                          }};

}  // namespace

}  // namespace sarnoth::gui
