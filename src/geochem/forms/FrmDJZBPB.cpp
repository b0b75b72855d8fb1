#include "geochem/forms/FrmDJZBPB.h"

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
#include <QRadioButton>
#include <QTextEdit>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "geochem/forms/geochem_form_support.h"
#include "geochem/stepwise_discriminant.h"
#include "workarea/file_text.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
FrmDJZBPB::FrmDJZBPB(QWidget* parent) : QDialog(parent) {
  setObjectName("FrmDJZBPB");
  setWindowTitle(u8(geochem::kDiscrimCaption));
  cboMTbl = named(new QComboBox(this), "cboMTbl");
  cboGItem = named(new QComboBox(this), "cboGItem");
  lstMItems = named(new QListWidget(this), "lstMItems");
  lstMItems->setSelectionMode(QAbstractItemView::MultiSelection);
  cboPTbl = named(new QComboBox(this), "cboPTbl");
  txtFIn = named(new QLineEdit(u8("3.84"), this), "txtFIn");
  txtFOut = named(new QLineEdit(u8("2.71"), this), "txtFOut");
  auto* direction = new QGroupBox(u8("逐步方式"), this);
  auto* dl = new QHBoxLayout(direction);
  const char* dirCaptions[2] = {"向前逐步", "向后逐步"};
  for (int i = 0; i < 2; ++i) {
    auto* o = new QRadioButton(u8(dirCaptions[i]), direction);
    o->setObjectName(QString("optDirect_%1").arg(i));
    optDirect[static_cast<std::size_t>(i)] = o;
    dl->addWidget(o);
  }
  optDirect[0]->setChecked(true);
  cboPrior = named(new QComboBox(this), "cboPrior");
  cboPrior->addItems({u8("先验概率相等"), u8("先验概率按样品数")});
  cboLevel = named(new QComboBox(this), "cboLevel");
  cboLevel->addItems({u8("一级判别"), u8("多级判别(自动分级)"), u8("多级判别(指定分级)")});
  txtLevel = named(new QLineEdit(this), "txtLevel");
  txtLevel->setPlaceholderText(u8("如: (1,2),(3)"));
  txtLevel->setEnabled(false);
  rtbText = reportBox(this, "rtbText");
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  btnApply = named(new QPushButton(u8("判别计算(&A)"), this), "btnApply");
  btnSave = named(new QPushButton(u8("保存结果(&S)"), this), "btnSave");
  btnView = named(new QPushButton(u8("数据浏览(&V)"), this), "btnView");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnSave, btnView, btnReturn}) b->setAutoDefault(false);

  auto* form = new QGridLayout;
  int row = 0;
  auto add = [&](const char* label, QWidget* w) {
    form->addWidget(new QLabel(u8(label), this), row, 0);
    form->addWidget(w, row++, 1);
  };
  add("学习数据表", cboMTbl);
  add("分类数据项", cboGItem);
  form->addWidget(new QLabel(u8("判别变量"), this), row++, 0, 1, 2);
  form->addWidget(lstMItems, row++, 0, 1, 2);
  add("预测数据表", cboPTbl);
  add("F选入值", txtFIn);
  add("F剔除值", txtFOut);
  form->addWidget(direction, row++, 0, 1, 2);
  add("先验概率", cboPrior);
  add("分级方式", cboLevel);
  add("分级方案", txtLevel);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  for (QPushButton* b : {btnApply, btnSave, btnView, btnReturn}) buttons->addWidget(b);
  auto* right = new QVBoxLayout;
  right->addWidget(rtbText, 1);
  right->addLayout(buttons);
  auto* layout = new QHBoxLayout(this);
  layout->addLayout(form, 1);
  layout->addLayout(right, 2);
  resize(1000, 680);

  connect(cboMTbl, &QComboBox::currentIndexChanged, this, [this] { modelTableChosen(); });
  connect(cboLevel, &QComboBox::currentIndexChanged, this,
          [this](int i) { txtLevel->setEnabled(i == 2); });
  connect(btnApply, &QPushButton::clicked, this, &FrmDJZBPB::btnApply_Click);
  connect(btnSave, &QPushButton::clicked, this, [this] {
    const std::string path = askSaveFileName(this, "处理结果保存为...", "文本文件(*.TXT)|*.txt|");
    if (!path.empty() && !writeGbkTextFile(path, ss(rtbText->toPlainText()) + "\n"))
      notify(this, "不能写入文件: " + path);
  });
  connect(btnView, &QPushButton::clicked, this, [this] {
    const std::string t = ss(cboPTbl->currentText());
    if (!t.empty()) showWorkTable(this, t);
  });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool FrmDJZBPB::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  cboPTbl->addItem(QString());
  for (const auto& t : tables) {
    cboMTbl->addItem(qs(t));
    cboPTbl->addItem(qs(t));
  }
  cboMTbl->setCurrentIndex(-1);
  return true;
}

void FrmDJZBPB::modelTableChosen() {
  cboGItem->clear();
  lstMItems->clear();
  if (cboMTbl->currentIndex() < 0) return;
  try {
    for (const FieldDef& f : db_.fields(ss(cboMTbl->currentText()))) {
      cboGItem->addItem(qs(f.name));
      if (f.isNumeric()) lstMItems->addItem(qs(f.name));
    }
  } catch (const StoreError& e) {
    notify(this, e.what());
  }
  cboGItem->setCurrentIndex(-1);
}

void FrmDJZBPB::btnApply_Click() {
  geochem::DiscriminantJob job;
  job.modelTable = ss(cboMTbl->currentText());
  job.groupField = ss(cboGItem->currentText());
  for (int i = 0; i < lstMItems->count(); ++i)
    if (lstMItems->item(i)->isSelected()) job.variables.push_back(ss(lstMItems->item(i)->text()));
  job.predictionTable = ss(cboPTbl->currentText());
  double fin = 0, fout = 0;
  if (!filetext::parseDouble(filetext::trim(ss(txtFIn->text())), fin) ||
      !filetext::parseDouble(filetext::trim(ss(txtFOut->text())), fout)) {
    notify(this, geochem::kMsgDiscrimFValues);
    return;
  }
  job.options.fEnter = fin;
  job.options.fRemove = fout;
  job.options.backward = optDirect[1]->isChecked();
  job.options.proportionalPriors = cboPrior->currentIndex() == 1;
  job.scheme = static_cast<geochem::LevelScheme>(std::max(0, cboLevel->currentIndex()));
  job.tree = ss(txtLevel->text());
  if (std::string why = geochem::checkDiscriminantJob(job); !why.empty()) {
    notify(this, why);
    return;
  }
  geochem::DiscriminantResult r;
  Outcome o;
  {
    BusyCursor busy;
    BarProgress progress(prbSpeed);
    o = geochem::runDiscriminant(db_, job, r, progress);
  }
  prbSpeed->setValue(0);
  if (!o.ok) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  rtbText->clear();
  for (const auto& l : r.report) rtbText->append(qs(l));
}

static ToolWindowRegistrar reg{"FrmDJZBPB", loadingWindow<FrmDJZBPB>()};

}  // namespace sarnoth::gui
