#include "geochem/forms/frmDataProcRegression.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QSplitter>
#include <QTextEdit>
#include <QVBoxLayout>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
frmDataProcRegression::frmDataProcRegression(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataProcRegression");
  setWindowTitle(u8(geochem::kRegressionCaption));

  lstTbls = named(new QListWidget(this), "lstTbls");
  lstVars = named(new QListWidget(this), "lstVars");
  lstVars->setSelectionMode(QAbstractItemView::MultiSelection);
  cboVarY = named(new QComboBox(this), "cboVarY");
  auto* methods = new QGroupBox(u8("回归方法"), this);
  auto* ml = new QVBoxLayout(methods);
  for (int i = 0; i < 5; ++i) {
    auto* o = new QRadioButton(qs(geochem::regressionMethodCaptions()[static_cast<std::size_t>(i)]),
                               methods);
    o->setObjectName(QString("optSelReg_%1").arg(i));
    optSelReg[static_cast<std::size_t>(i)] = o;
    ml->addWidget(o);
  }
  cboMD = named(new QComboBox(this), "cboMD");
  for (const auto& m : geochem::regressionModelCaptions()) cboMD->addItem(qs(m));
  lblDX = named(new QLabel(u8("输入高阶幂 > 2"), this), "lblDX");
  txtDX = named(new QLineEdit(u8("3"), this), "txtDX");
  lblKZ = named(new QLabel(u8("改变K值次数"), this), "lblKZ");
  txtKZ = named(new QLineEdit(u8("7"), this), "txtKZ");
  lblKB = named(new QLabel(u8("K值缩小倍率"), this), "lblKB");
  txtKB = named(new QLineEdit(u8("10"), this), "txtKB");
  cboJZ = named(new QComboBox(this), "cboJZ");
  for (const auto& s : geochem::orthogonalSchemeCaptions()) cboJZ->addItem(qs(s));
  txtJZ = named(new QLineEdit(u8("0.2"), this), "txtJZ");
  rtbText = reportBox(this, "rtbText");
  picDraw = named(new ChartView(this), "picDraw");
  picDraw->setMinimumSize(360, 280);
  picDraw->setContextMenuPolicy(Qt::CustomContextMenu);
  picDraw->setTooltipFormatter([this](int series, int index) -> QString {
    if (series != 0 || index < 0 || static_cast<std::size_t>(index) >= plot_.x.size()) return {};
    return qs(geochem::plotPointText(plot_.x[static_cast<std::size_t>(index)],
                                     plot_.y[static_cast<std::size_t>(index)]));
  });
  btnApply = named(new QPushButton(u8("回归计算(&A)"), this), "btnApply");
  btnGraph = named(new QPushButton(u8("散点图(&G)"), this), "btnGraph");
  btnSave = named(new QPushButton(u8("保存结果(&S)"), this), "btnSave");
  btnViewData = named(new QPushButton(u8("数据浏览(&V)"), this), "btnViewData");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnGraph, btnSave, btnViewData, btnReturn})
    b->setAutoDefault(false);

  auto* left = new QVBoxLayout;
  left->addWidget(new QLabel(u8("数据表"), this));
  left->addWidget(lstTbls, 1);
  left->addWidget(new QLabel(u8("自变量"), this));
  left->addWidget(lstVars, 2);
  left->addWidget(new QLabel(u8("因变量"), this));
  left->addWidget(cboVarY);
  left->addWidget(methods);
  auto* params = new QGridLayout;
  params->addWidget(cboMD, 0, 0, 1, 2);
  params->addWidget(lblDX, 1, 0);
  params->addWidget(txtDX, 1, 1);
  params->addWidget(lblKZ, 2, 0);
  params->addWidget(txtKZ, 2, 1);
  params->addWidget(lblKB, 3, 0);
  params->addWidget(txtKB, 3, 1);
  params->addWidget(cboJZ, 4, 0);
  params->addWidget(txtJZ, 4, 1);
  left->addLayout(params);
  auto* split = new QSplitter(Qt::Vertical, this);
  split->addWidget(rtbText);
  split->addWidget(picDraw);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  for (QPushButton* b : {btnApply, btnGraph, btnSave, btnViewData, btnReturn})
    buttons->addWidget(b);
  auto* right = new QVBoxLayout;
  right->addWidget(split, 1);
  right->addLayout(buttons);
  auto* layout = new QHBoxLayout(this);
  layout->addLayout(left, 1);
  layout->addLayout(right, 3);
  resize(1000, 700);

  for (int i = 0; i < 5; ++i)
    connect(optSelReg[static_cast<std::size_t>(i)], &QRadioButton::clicked, this,
            [this, i] { methodChosen(i); });
  connect(cboMD, &QComboBox::currentIndexChanged, this, [this] { modelChosen(); });
  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(btnApply, &QPushButton::clicked, this, &frmDataProcRegression::btnApply_Click);
  connect(btnGraph, &QPushButton::clicked, this, &frmDataProcRegression::btnGraph_Click);
  connect(btnSave, &QPushButton::clicked, this, &frmDataProcRegression::btnSave_Click);
  connect(btnViewData, &QPushButton::clicked, this, [this] {
    if (lstTbls->currentItem()) showWorkTable(this, ss(lstTbls->currentItem()->text()));
  });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  connect(picDraw, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
    QMenu menu(this);
    QAction* save = menu.addAction(u8("保存为图像(&S)"));
    if (menu.exec(picDraw->mapToGlobal(at)) != save) return;
    const std::string path =
        askSaveFileName(this, "保存", "PNG 图像(*.png)|*.png|SVG 图形(*.svg)|*.svg", "*.png");
    if (!path.empty() && !savePlot(qs(path))) notify(this, "不能写入文件: " + path);
  });

  optSelReg[0]->setChecked(true);
  cboMD->setCurrentIndex(0);
  methodChosen(0);
}

bool frmDataProcRegression::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  return true;
}

int frmDataProcRegression::method() const {
  for (int i = 0; i < 5; ++i)
    if (optSelReg[static_cast<std::size_t>(i)]->isChecked()) return i;
  return 0;
}

void frmDataProcRegression::methodChosen(int index) {
  const bool one = index == 0, ridge = index == 3, ortho = index == 4;
  cboMD->setVisible(one);
  lblKZ->setVisible(ridge);
  txtKZ->setVisible(ridge);
  lblKB->setVisible(ridge);
  txtKB->setVisible(ridge);
  cboJZ->setVisible(ortho);
  txtJZ->setVisible(ortho);
  btnGraph->setEnabled(one);
  modelChosen();
  if (index == 2) {
    std::optional<std::string> text =
        askInputText(this, geochem::kRegressionCaption, geochem::kMsgAskFValues);
    if (!text) return;
    float fin = 0, fout = 0;
    if (!geochem::parseFValues(*text, fin, fout)) {
      notify(this, geochem::kMsgTwoFValues);
      return;
    }
    fValues_ = {fin, fout};
  }
}

void frmDataProcRegression::modelChosen() {
  const bool poly = method() == 0 && cboMD->currentIndex() == geochem::kPolynomial;
  lblDX->setVisible(poly);
  txtDX->setVisible(poly);
}

void frmDataProcRegression::tableChosen() {
  lstVars->clear();
  cboVarY->clear();
  if (!lstTbls->currentItem()) return;
  try {
    for (const FieldDef& f : db_.fields(ss(lstTbls->currentItem()->text()))) {
      if (!f.isNumeric()) continue;
      lstVars->addItem(qs(f.name));
      cboVarY->addItem(qs(f.name));
    }
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  cboVarY->setCurrentIndex(-1);
}

geochem::RegressionJob frmDataProcRegression::collectJob() const {
  geochem::RegressionJob job;
  if (lstTbls->currentItem()) job.table = ss(lstTbls->currentItem()->text());
  job.yField = ss(cboVarY->currentText());
  for (int i = 0; i < lstVars->count(); ++i)
    if (lstVars->item(i)->isSelected()) job.xFields.push_back(ss(lstVars->item(i)->text()));
  job.method = static_cast<geochem::RegressionMethod>(method());
  job.model = cboMD->currentIndex();
  job.powerText = ss(txtDX->text());
  job.fValues = fValues_;
  job.kTimesText = ss(txtKZ->text());
  job.kFactorText = ss(txtKB->text());
  job.scheme = cboJZ->currentIndex();
  job.cutText = ss(txtJZ->text());
  return job;
}

void frmDataProcRegression::btnApply_Click() {
  geochem::RegressionJob job = collectJob();
  if (std::string why = geochem::checkRegressionJob(job); !why.empty()) {
    notify(this, why);
    return;
  }
  std::vector<std::string> lines;
  Outcome o;
  {
    BusyCursor busy;
    BarProgress progress(nullptr);
    o = geochem::runRegression(db_, job, gWorkPath + geochem::kRegressionReportFile, lines,
                               progress);
  }
  if (!o.ok) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  rtbText->clear();
  for (const auto& l : lines) rtbText->append(qs(l));
}

void frmDataProcRegression::btnGraph_Click() {
  geochem::RegressionPlot plot;
  Outcome o = geochem::regressionPlot(db_, collectJob(), plot);
  if (!o.ok) {
    notify(this, o.message);
    return;
  }
  plot_ = std::move(plot);
  picDraw->setChart(geochem::regressionChart(plot_));
}

void frmDataProcRegression::btnSave_Click() {
  const std::string path =
      askSaveFileName(this, geochem::kRegressionSaveTitle, geochem::kRegressionSaveFilter);
  if (path.empty()) return;
  if (!writeGbkTextFile(path, ss(rtbText->toPlainText()) + "\n"))
    notify(this, "不能写入文件: " + path);
}

bool frmDataProcRegression::savePlot(const QString& path) { return picDraw->saveTo(path); }

static ToolWindowRegistrar reg{"frmDataProcRegression", loadingWindow<frmDataProcRegression>()};

}  // namespace sarnoth::gui
