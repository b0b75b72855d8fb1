#include "datatools/forms/frmDataP.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <array>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/coord_groups.h"
#include "datatools/forms/data_form_support.h"
#include "prep/projection_table.h"
#include "workarea/file_text.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

namespace pt = projtable;

// A side typed or chosen in a system list: a ready-made caption or name, an EPSG code, or the
// parameters as the command line writes them.
bool sideOf(const QComboBox* box, int which, CoordSide& side, std::string& message) {
  CoordSideTexts t;
  std::string error;
  const std::string text = ss(box->currentText().trimmed());
  if (text.empty()) {
    message = which == 0 ? kMsgNoInputModel : kMsgNoOutputModel;
    return false;
  }
  if (!parseCoordSideSpec(text, which, t, error)) {
    message = kMsgConvUnknownSystem + text;
    return false;
  }
  CoordSideResult r = buildCoordSide(t, which);
  if (!r.outcome) {
    message = r.outcome.message;
    return false;
  }
  side = r.side;
  return true;
}

}  // namespace

frmDataP::frmDataP(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataP");
  setWindowTitle(u8(kDataPCaption));

  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  auto* tl = new QVBoxLayout(tables);
  tl->addWidget(lstTbls);

  auto* fields = new QGroupBox(u8("坐标数据项"), this);
  auto* fl = new QGridLayout(fields);
  cboXXItem = named(new QComboBox(fields), "cboXXItem");
  cboYYItem = named(new QComboBox(fields), "cboYYItem");
  txtXName = named(new QLineEdit(fields), "txtXName");
  txtYName = named(new QLineEdit(fields), "txtYName");
  btnAdd = named(new QPushButton(u8("添加(&D)"), fields), "btnAdd");
  btnDel = named(new QPushButton(u8("删除(&E)"), fields), "btnDel");
  fl->addWidget(new QLabel(u8("横坐标"), fields), 0, 0);
  fl->addWidget(cboXXItem, 0, 1);
  fl->addWidget(new QLabel(u8("新横坐标项"), fields), 0, 2);
  fl->addWidget(txtXName, 0, 3);
  fl->addWidget(new QLabel(u8("纵坐标"), fields), 1, 0);
  fl->addWidget(cboYYItem, 1, 1);
  fl->addWidget(new QLabel(u8("新纵坐标项"), fields), 1, 2);
  fl->addWidget(txtYName, 1, 3);
  fl->addWidget(btnAdd, 2, 2);
  fl->addWidget(btnDel, 2, 3);
  lstPairs = named(new QTableWidget(0, 4, fields), "lstPairs");
  lstPairs->setHorizontalHeaderLabels(
      {u8("横坐标"), u8("纵坐标"), u8("新横坐标项"), u8("新纵坐标项")});
  lstPairs->horizontalHeader()->setStretchLastSection(true);
  lstPairs->setSelectionBehavior(QAbstractItemView::SelectRows);
  lstPairs->setEditTriggers(QAbstractItemView::NoEditTriggers);
  fl->addWidget(lstPairs, 3, 0, 1, 4);

  auto* conv = new QGroupBox(u8("转换方式"), this);
  auto* cl = new QVBoxLayout(conv);
  cboConvType = named(new QComboBox(conv), "cboConvType");
  for (const auto& c : groupConversionCaptions()) cboConvType->addItem(qs(c));
  cl->addWidget(cboConvType);

  fraAngle = named(new QGroupBox(u8("角度格式"), conv), "fraAngle");
  auto* al = new QGridLayout(fraAngle);
  cboAngleIn = named(new QComboBox(fraAngle), "cboAngleIn");
  cboAngleOut = named(new QComboBox(fraAngle), "cboAngleOut");
  for (const auto& c : pt::angleUnitCaptions()) {
    cboAngleIn->addItem(qs(c));
    cboAngleOut->addItem(qs(c));
  }
  cboAngleIn->setCurrentIndex(1);
  cboAngleOut->setCurrentIndex(0);
  al->addWidget(new QLabel(u8("输入"), fraAngle), 0, 0);
  al->addWidget(cboAngleIn, 0, 1);
  al->addWidget(new QLabel(u8("输出"), fraAngle), 1, 0);
  al->addWidget(cboAngleOut, 1, 1);
  cl->addWidget(fraAngle);

  fraUnit = named(new QGroupBox(u8("长度单位"), conv), "fraUnit");
  auto* ul = new QGridLayout(fraUnit);
  cboUnitIn = named(new QComboBox(fraUnit), "cboUnitIn");
  cboUnitOut = named(new QComboBox(fraUnit), "cboUnitOut");
  for (const auto& c : pt::lengthUnitCaptions()) {
    cboUnitIn->addItem(qs(c));
    cboUnitOut->addItem(qs(c));
  }
  cboUnitIn->setCurrentIndex(0);
  cboUnitOut->setCurrentIndex(1);
  txtFactorIn = named(new QLineEdit(u8("1"), fraUnit), "txtFactorIn");
  txtFactorOut = named(new QLineEdit(u8("1"), fraUnit), "txtFactorOut");
  for (QLineEdit* e : {txtFactorIn, txtFactorOut})
    e->setToolTip(u8("输入坐标单位因子,如 1/10公里因子为10"));
  ul->addWidget(new QLabel(u8("输入"), fraUnit), 0, 0);
  ul->addWidget(cboUnitIn, 0, 1);
  ul->addWidget(txtFactorIn, 0, 2);
  ul->addWidget(new QLabel(u8("输出"), fraUnit), 1, 0);
  ul->addWidget(cboUnitOut, 1, 1);
  ul->addWidget(txtFactorOut, 1, 2);
  cl->addWidget(fraUnit);

  fraProj = named(new QGroupBox(u8("坐标系统"), conv), "fraProj");
  auto* pl = new QGridLayout(fraProj);
  cboSysIn = named(new QComboBox(fraProj), "cboSysIn");
  cboSysOut = named(new QComboBox(fraProj), "cboSysOut");
  for (QComboBox* c : {cboSysIn, cboSysOut}) {
    c->setEditable(true);
    c->setInsertPolicy(QComboBox::NoInsert);
    for (const auto& sys : pt::readyMadeSystems()) c->addItem(qs(sys.caption));
    c->setCurrentIndex(-1);
    c->setToolTip(
        u8("现成坐标系统, EPSG 代码 (如 EPSG:4490), 或投影参数 (如 "
           "proj=gk3,ellps=10,prefix)"));
  }
  pl->addWidget(new QLabel(u8("输入坐标系统"), fraProj), 0, 0);
  pl->addWidget(cboSysIn, 0, 1);
  pl->addWidget(new QLabel(u8("输出坐标系统"), fraProj), 1, 0);
  pl->addWidget(cboSysOut, 1, 1);
  cl->addWidget(fraProj);
  cl->addStretch(1);

  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  prbSpeed->setValue(0);
  lblStatus = named(new QLabel(this), "lblStatus");
  lblStatus->setWordWrap(true);
  btnApply = named(new QPushButton(u8("转换(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnAdd, btnDel, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* top = new QHBoxLayout;
  top->addWidget(tables, 1);
  top->addWidget(fields, 2);
  top->addWidget(conv, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addWidget(lblStatus);
  all->addLayout(buttons);
  resize(1000, 460);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  connect(cboXXItem, &QComboBox::currentIndexChanged, this, [this] {
    if (cboXXItem->currentIndex() >= 0) txtXName->setText(cboXXItem->currentText() + "_X");
  });
  connect(cboYYItem, &QComboBox::currentIndexChanged, this, [this] {
    if (cboYYItem->currentIndex() >= 0) txtYName->setText(cboYYItem->currentText() + "_Y");
  });
  connect(cboConvType, &QComboBox::currentIndexChanged, this, [this] { onConversionChosen(); });
  connect(btnAdd, &QPushButton::clicked, this, &frmDataP::addPair);
  connect(btnDel, &QPushButton::clicked, this, &frmDataP::removePair);
  connect(btnApply, &QPushButton::clicked, this, &frmDataP::apply);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  cboConvType->setCurrentIndex(0);
  onConversionChosen();
}

frmDataP::~frmDataP() = default;

bool frmDataP::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> names;
  listRegisteredTables(db_, names);
  for (const auto& n : names) lstTbls->addItem(qs(n));
  return true;
}

void frmDataP::onTableChosen() {
  QSignalBlocker bx(cboXXItem), by(cboYYItem);
  cboXXItem->clear();
  cboYYItem->clear();
  lstPairs->setRowCount(0);
  if (!lstTbls->currentItem() || !db_.isOpen()) return;
  try {
    for (const auto& f : db_.fields(ss(lstTbls->currentItem()->text())))
      if (f.isNumeric()) {
        cboXXItem->addItem(qs(f.name));
        cboYYItem->addItem(qs(f.name));
      }
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  cboXXItem->setCurrentIndex(-1);
  cboYYItem->setCurrentIndex(-1);
}

void frmDataP::onConversionChosen() {
  const int k = cboConvType->currentIndex();
  fraAngle->setVisible(k == 0);
  fraUnit->setVisible(k == 1);
  fraProj->setVisible(k == 2);
}

void frmDataP::addPair() {
  if (cboXXItem->currentIndex() < 0) {
    notify(this, kMsgConvNoXField);
    return;
  }
  if (cboYYItem->currentIndex() < 0) {
    notify(this, kMsgConvNoYField);
    return;
  }
  if (txtXName->text().trimmed().isEmpty() || txtYName->text().trimmed().isEmpty()) {
    notify(this, kMsgConvNoNewField);
    return;
  }
  const int r = lstPairs->rowCount();
  lstPairs->insertRow(r);
  const QString cells[4] = {cboXXItem->currentText(), cboYYItem->currentText(),
                            txtXName->text().trimmed(), txtYName->text().trimmed()};
  for (int c = 0; c < 4; ++c) lstPairs->setItem(r, c, new QTableWidgetItem(cells[c]));
}

void frmDataP::removePair() {
  const int r = lstPairs->currentRow();
  if (r >= 0) lstPairs->removeRow(r);
}

void frmDataP::apply() {
  if (running_) return;
  CoordGroupJob job;
  job.table = lstTbls->currentItem() ? ss(lstTbls->currentItem()->text()) : "";
  for (int r = 0; r < lstPairs->rowCount(); ++r)
    job.pairs.push_back({ss(lstPairs->item(r, 0)->text()), ss(lstPairs->item(r, 1)->text()),
                         ss(lstPairs->item(r, 2)->text()), ss(lstPairs->item(r, 3)->text())});
  job.kind = static_cast<GroupConversion>(cboConvType->currentIndex());
  job.angleFrom = cboAngleIn->currentIndex();
  job.angleTo = cboAngleOut->currentIndex();
  job.unitFrom = cboUnitIn->currentIndex();
  job.unitTo = cboUnitOut->currentIndex();
  auto factor = [](const QLineEdit* e) {
    double v = 0;
    return filetext::parseDouble(ss(e->text().trimmed()), v) ? v : 0.0;
  };
  job.factorFrom = factor(txtFactorIn);
  job.factorTo = factor(txtFactorOut);
  if (job.kind == GroupConversion::Projection && !job.table.empty() && !job.pairs.empty()) {
    std::string message;
    if (!sideOf(cboSysIn, 0, job.from, message) || !sideOf(cboSysOut, 1, job.to, message)) {
      notify(this, message);
      return;
    }
  }

  running_ = true;
  btnApply->setEnabled(false);
  lblStatus->setText(u8(kStatusConverting));
  CoordRunReport report;
  Outcome o;
  {
    BarProgress progress(prbSpeed);
    o = runCoordGroups(db_, job, progress, report);
  }
  prbSpeed->setValue(0);
  running_ = false;
  btnApply->setEnabled(true);
  if (!o) {
    lblStatus->setText(report.records > 0 ? qs(std::to_string(report.records)) + u8(" 条记录已转换")
                                          : QString());
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  std::string status;
  if (!report.note.empty()) status += report.note + "; ";
  if (report.failed > 0) status += std::to_string(report.failed) + " 点不能转换, 记为 -1E+38; ";
  lblStatus->setText(qs(status + kStatusTableDone));
  // The new fields join the lists; the pairs stay for another run.
  const int keep = lstPairs->rowCount();
  std::vector<std::array<QString, 4>> pairs;
  for (int r = 0; r < keep; ++r)
    pairs.push_back({lstPairs->item(r, 0)->text(), lstPairs->item(r, 1)->text(),
                     lstPairs->item(r, 2)->text(), lstPairs->item(r, 3)->text()});
  onTableChosen();
  for (const auto& p : pairs) {
    const int r = lstPairs->rowCount();
    lstPairs->insertRow(r);
    for (int c = 0; c < 4; ++c) lstPairs->setItem(r, c, new QTableWidgetItem(p[c]));
  }
}

void frmDataP::done(int r) {
  if (running_) return;
  db_.close();
  QDialog::done(r);
}

namespace {
const ToolWindowRegistrar registerDataP{"frmDataP", loadingWindow<frmDataP>()};
}  // namespace

}  // namespace sarnoth::gui
