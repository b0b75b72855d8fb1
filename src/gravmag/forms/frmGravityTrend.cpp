#include "gravmag/forms/frmGravityTrend.h"

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
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "geochem/report_format.h"
#include "gravmag/background_fit.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
frmGravityTrend::frmGravityTrend(QWidget* parent) : QDialog(parent) {
  setObjectName("frmGravityTrend");
  setWindowTitle(u8(gravmag::kTrendCaption));
  lstTbls = named(new QListWidget(this), "lstTbls");
  cboXXCrd = named(new QComboBox(this), "cboXXCrd");
  cboYYCrd = named(new QComboBox(this), "cboYYCrd");
  cboVVItem = named(new QComboBox(this), "cboVVItem");
  txtNewtbl = named(new QLineEdit(this), "txtNewtbl");
  Text6 = named(new QLineEdit(u8("3"), this), "Text6");
  Text2 = named(new QLineEdit(u8("10"), this), "Text2");
  Text5 = named(new QLineEdit(u8("0.01"), this), "Text5");
  chkFile = named(new QCheckBox(u8("输出参数文件"), this), "chkFile");
  chkSingle = named(new QCheckBox(u8("单精度计算(原算法)"), this), "chkSingle");
  txtPar = named(new QLineEdit(this), "txtPar");
  txtPar->setEnabled(false);
  Label9 = named(new QLabel(u8("拟合优度 ND="), this), "Label9");
  Label11 = named(new QLabel(this), "Label11");
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  prbSpeed->setValue(0);
  Label7 = named(new QLabel(u8("进度"), this), "Label7");
  btnViewData = named(new QPushButton(u8("数据浏览(V)"), this), "btnViewData");
  btnApply = named(new QPushButton(u8("数据处理(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnViewData, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* data = new QGridLayout;
  data->addWidget(new QLabel(u8("数据表"), this), 0, 0);
  data->addWidget(lstTbls, 1, 0, 4, 1);
  data->addWidget(new QLabel(u8("横坐标"), this), 0, 1);
  data->addWidget(cboXXCrd, 0, 2);
  data->addWidget(new QLabel(u8("纵坐标"), this), 1, 1);
  data->addWidget(cboYYCrd, 1, 2);
  data->addWidget(new QLabel(u8("处理项(重力布格)"), this), 2, 1);
  data->addWidget(cboVVItem, 2, 2);
  data->addWidget(new QLabel(u8("新数据表名"), this), 3, 1);
  data->addWidget(txtNewtbl, 3, 2);
  auto* pars = new QGroupBox(this);
  auto* pl = new QGridLayout(pars);
  pl->addWidget(new QLabel(u8("给定拟合多项式面次："), pars), 0, 0);
  pl->addWidget(Text6, 0, 1);
  pl->addWidget(new QLabel(u8("给定的迭代拟合最大次数："), pars), 1, 0);
  pl->addWidget(Text2, 1, 1);
  pl->addWidget(new QLabel(u8("给定拟合多项式迭代精度："), pars), 2, 0);
  pl->addWidget(Text5, 2, 1);
  pl->addWidget(chkFile, 3, 0);
  pl->addWidget(txtPar, 3, 1);
  pl->addWidget(chkSingle, 4, 0, 1, 2);
  auto* nd = new QHBoxLayout;
  nd->addWidget(Label9);
  nd->addWidget(Label11, 1);
  auto* progress = new QHBoxLayout;
  progress->addWidget(Label7);
  progress->addWidget(prbSpeed, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  for (QPushButton* b : {btnViewData, btnApply, btnReturn}) buttons->addWidget(b);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(data);
  layout->addWidget(pars);
  layout->addLayout(nd);
  layout->addLayout(progress);
  layout->addLayout(buttons);
  resize(620, 460);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(chkFile, &QCheckBox::clicked, this, [this](bool on) {
    if (on) {
      const std::string path =
          askSaveFileName(this, gravmag::kTrendParTitle, gravmag::kTrendParFilter, "*.par");
      if (path.empty()) {
        chkFile->setChecked(false);
        txtPar->setEnabled(false);
        return;
      }
      txtPar->setText(qs(path));
    }
    txtPar->setEnabled(chkFile->isChecked());
  });
  connect(btnApply, &QPushButton::clicked, this, &frmGravityTrend::btnApply_Click);
  connect(btnViewData, &QPushButton::clicked, this, [this] {
    const QString t = txtNewtbl->text().trimmed();
    if (!t.isEmpty() && db_.isOpen() && db_.tableExists(ss(t))) showWorkTable(this, ss(t));
  });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmGravityTrend::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  if (listRegisteredTables(db_, tables) == 0) {
    notify(this, gravmag::kMsgTrendNoTables);
    db_.close();
    return false;
  }
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  return true;
}

void frmGravityTrend::done(int r) {
  db_.close();
  QDialog::done(r);
}

void frmGravityTrend::tableChosen() {
  for (QComboBox* c : {cboXXCrd, cboYYCrd, cboVVItem}) c->clear();
  if (!lstTbls->currentItem()) return;
  const std::string table = ss(lstTbls->currentItem()->text());
  try {
    for (const FieldDef& f : db_.fields(table))
      for (QComboBox* c : {cboXXCrd, cboYYCrd, cboVVItem}) c->addItem(qs(f.name));
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  for (QComboBox* c : {cboXXCrd, cboYYCrd, cboVVItem}) c->setCurrentIndex(-1);
  txtNewtbl->setText(qs(table + "_T"));
}

void frmGravityTrend::btnApply_Click() {
  gravmag::TrendJob job;
  if (lstTbls->currentItem()) job.table = ss(lstTbls->currentItem()->text());
  if (cboXXCrd->currentIndex() >= 0) job.xField = ss(cboXXCrd->currentText());
  if (cboYYCrd->currentIndex() >= 0) job.yField = ss(cboYYCrd->currentText());
  if (cboVVItem->currentIndex() >= 0) job.item = ss(cboVVItem->currentText());
  job.newTable = ss(txtNewtbl->text().trimmed());
  job.degreeText = ss(Text6->text());
  job.maxIterText = ss(Text2->text());
  job.precisionText = ss(Text5->text());
  if (chkFile->isChecked()) job.parFile = ss(txtPar->text().trimmed());
  job.precision =
      chkSingle->isChecked() ? gravmag::TrendPrecision::Single : gravmag::TrendPrecision::Double;

  Label7->setText(u8(gravmag::kTrendRunning));
  QApplication::setOverrideCursor(Qt::WaitCursor);
  GuiInteraction ui(this);
  BarProgress progress(prbSpeed);
  gravmag::TrendReport report;
  const Outcome o = gravmag::runBackgroundFit(db_, job, ui, report, progress);
  QApplication::restoreOverrideCursor();
  if (!o.ok) {
    Label7->setText(u8("进度"));
    prbSpeed->setValue(0);
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  Label11->setText(qs(geochem::singleText(report.bestNd)));
  Label7->setText(u8(gravmag::kTrendDone));
  if (lstTbls->findItems(qs(job.newTable), Qt::MatchExactly).isEmpty())
    lstTbls->addItem(qs(job.newTable));
}

static ToolWindowRegistrar reg{"frmGravityTrend", loadingWindow<frmGravityTrend>()};

}  // namespace sarnoth::gui
