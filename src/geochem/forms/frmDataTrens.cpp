#include "geochem/forms/frmDataTrens.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "display/forms/frmGridToImageView.h"
#include "geochem/forms/geochem_form_support.h"
#include "geochem/trend_analysis.h"
#include "prep/gridding.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
frmDataTrens::frmDataTrens(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataTrens");
  setWindowTitle(u8(geochem::kTrendCaption));
  lstTbls = named(new QListWidget(this), "lstTbls");
  cboXXItem = named(new QComboBox(this), "cboXXItem");
  cboYYItem = named(new QComboBox(this), "cboYYItem");
  cboVVItem = named(new QComboBox(this), "cboVVItem");
  txtTrendN = named(new QLineEdit(u8("2"), this), "txtTrendN");
  txtNewTbl = named(new QLineEdit(this), "txtNewTbl");
  chkGridT = named(new QCheckBox(u8("趋势值网格化"), this), "chkGridT");
  chkGridR = named(new QCheckBox(u8("剩余值网格化"), this), "chkGridR");
  txtDX = named(new QLineEdit(this), "txtDX");
  txtDX->setPlaceholderText(u8("自动"));
  rtbText = reportBox(this, "rtbText");
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  btnApply = named(new QPushButton(u8("趋势分析(&A)"), this), "btnApply");
  btnImg = named(new QPushButton(u8("结果浏览(&P)"), this), "btnImg");
  btnSave = named(new QPushButton(u8("保存结果(&S)"), this), "btnSave");
  btnViewData = named(new QPushButton(u8("数据浏览(&V)"), this), "btnViewData");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnImg, btnSave, btnViewData, btnReturn})
    b->setAutoDefault(false);

  auto* form = new QGridLayout;
  int row = 0;
  auto addRow = [&](const char* label, QWidget* w) {
    form->addWidget(new QLabel(u8(label), this), row, 0);
    form->addWidget(w, row++, 1);
  };
  addRow("横坐标", cboXXItem);
  addRow("纵坐标", cboYYItem);
  addRow("数据项", cboVVItem);
  addRow("趋势面次数(1-6)", txtTrendN);
  addRow("结果数据表", txtNewTbl);
  form->addWidget(chkGridT, row, 0);
  form->addWidget(chkGridR, row++, 1);
  addRow("网格距", txtDX);
  auto* left = new QVBoxLayout;
  left->addWidget(new QLabel(u8("数据表"), this));
  left->addWidget(lstTbls, 1);
  left->addLayout(form);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  for (QPushButton* b : {btnApply, btnImg, btnSave, btnViewData, btnReturn}) buttons->addWidget(b);
  auto* right = new QVBoxLayout;
  right->addWidget(rtbText, 1);
  right->addLayout(buttons);
  auto* layout = new QHBoxLayout(this);
  layout->addLayout(left, 1);
  layout->addLayout(right, 2);
  resize(960, 600);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(cboVVItem, &QComboBox::currentTextChanged, this, [this](const QString& f) {
    if (!f.isEmpty()) txtNewTbl->setText(f + u8("趋势"));
  });
  connect(btnApply, &QPushButton::clicked, this, &frmDataTrens::btnApply_Click);
  connect(btnImg, &QPushButton::clicked, this, [this] {
    if (grids_.empty()) {
      notify(this, kMsgNoResultFile);
      return;
    }
    openGridImageView(this, grids_.front());
  });
  connect(btnSave, &QPushButton::clicked, this, [this] {
    const std::string path = askSaveFileName(this, "处理结果保存为...", "文本文件(*.TXT)|*.txt|");
    if (!path.empty() && !writeGbkTextFile(path, ss(rtbText->toPlainText()) + "\n"))
      notify(this, "不能写入文件: " + path);
  });
  connect(btnViewData, &QPushButton::clicked, this, [this] {
    const std::string t = ss(txtNewTbl->text());
    if (!t.empty() && db_.isOpen() && db_.tableExists(t)) showWorkTable(this, t);
  });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmDataTrens::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  return true;
}

void frmDataTrens::tableChosen() {
  for (QComboBox* c : {cboXXItem, cboYYItem, cboVVItem}) c->clear();
  if (!lstTbls->currentItem()) return;
  try {
    const std::vector<FieldDef> fields = db_.fields(ss(lstTbls->currentItem()->text()));
    FieldChoice choice = chooseGridFields(fields);
    if (!choice.outcome.ok) {
      notify(this, kMsgFewFields);
      return;
    }
    for (const auto& f : choice.numericFields)
      for (QComboBox* c : {cboXXItem, cboYYItem, cboVVItem}) c->addItem(qs(f));
    cboXXItem->setCurrentIndex(choice.x);
    cboYYItem->setCurrentIndex(choice.y);
    cboVVItem->setCurrentIndex(choice.value);
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
}

void frmDataTrens::btnApply_Click() {
  geochem::TrendJob job;
  if (lstTbls->currentItem()) job.table = ss(lstTbls->currentItem()->text());
  job.xField = ss(cboXXItem->currentText());
  job.yField = ss(cboYYItem->currentText());
  job.valueField = ss(cboVVItem->currentText());
  job.degreeText = ss(txtTrendN->text());
  job.newTable = ss(txtNewTbl->text());
  job.gridTrend = chkGridT->isChecked();
  job.gridResidual = chkGridR->isChecked();
  job.gridSpacingText = ss(txtDX->text());
  if (std::string why = geochem::checkTrendJob(job); !why.empty()) {
    notify(this, why);
    return;
  }
  geochem::TrendResult result;
  Outcome o;
  {
    BusyCursor busy;
    BarProgress progress(prbSpeed);
    GuiInteraction ui(this);
    o = geochem::runTrendAnalysis(db_, gWorkPath, job, ui, result, progress);
  }
  prbSpeed->setValue(0);
  if (!o.ok) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  grids_ = result.gridPaths;
  rtbText->clear();
  for (const auto& l : result.report) rtbText->append(qs(l));
  rtbText->append(
      qs("   结果数据表: " + job.newTable + "   记录数=" + std::to_string(result.rowsWritten)));
}

static ToolWindowRegistrar reg{"frmDataTrens", loadingWindow<frmDataTrens>()};

}  // namespace sarnoth::gui
