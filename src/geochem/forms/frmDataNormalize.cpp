#include "geochem/forms/frmDataNormalize.h"

#include <QComboBox>
#include <QFontDatabase>
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
#include "geochem/forms/element_form_support.h"
#include "geochem/forms/geochem_form_support.h"

namespace sarnoth::gui {

frmDataNormalize::frmDataNormalize(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataNormalize");
  setWindowTitle(u8(geochem::kNormaliseCaption));

  auto* tables = new QGroupBox(u8("数据表"), this);
  lstTbls = named(new QListWidget(tables), "lstTbls");
  (new QVBoxLayout(tables))->addWidget(lstTbls);
  auto* items = new QGroupBox(u8("元素项"), this);
  lstItems = named(new QListWidget(items), "lstItems");
  lstItems->setSelectionMode(QAbstractItemView::MultiSelection);
  (new QVBoxLayout(items))->addWidget(lstItems);

  auto* methods = named(new QGroupBox(u8("正则化方法"), this), "frmMethod");
  auto* ml = new QGridLayout(methods);
  for (int i = 0; i < geochem::kNormaliseMethodCount; ++i) {
    const auto m = static_cast<geochem::NormaliseMethod>(i);
    optMethod[static_cast<std::size_t>(i)] =
        named(new QRadioButton(u8(geochem::normaliseMethodCaptions()[static_cast<std::size_t>(i)]) +
                                   u8("  新数据项: 元素") + u8(geochem::normaliseSuffix(m)),
                               methods),
              qPrintable(QString("optMethod_%1").arg(i)));
    ml->addWidget(optMethod[static_cast<std::size_t>(i)], i, 0, 1, 2);
  }
  optMethod[0]->setChecked(true);
  cboEstimate = named(new QComboBox(methods), "cboEstimate");
  for (const char* c : geochem::levelEstimateCaptions()) cboEstimate->addItem(u8(c));
  txtLambda = named(new QLineEdit(methods), "txtLambda");
  txtLambda->setPlaceholderText(u8("空: 最大似然估计"));
  ml->addWidget(new QLabel(u8("背景值与异常下限"), methods), 6, 0);
  ml->addWidget(cboEstimate, 6, 1);
  ml->addWidget(new QLabel(u8("Box-Cox 参数 λ"), methods), 7, 0);
  ml->addWidget(txtLambda, 7, 1);

  rchBox = reportBox(this, "rchBox");
  prgBar = named(new QProgressBar(this), "prgBar");
  btnApply = named(new QPushButton(u8("计算(&A)"), this), "btnApply");
  btnViewData = named(new QPushButton(u8("数据浏览(&V)"), this), "btnViewData");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnApply, btnViewData, btnReturn}) b->setAutoDefault(false);

  auto* left = new QVBoxLayout;
  left->addWidget(tables, 1);
  left->addWidget(items, 2);
  auto* right = new QVBoxLayout;
  right->addWidget(methods);
  right->addWidget(rchBox, 1);
  auto* top = new QHBoxLayout;
  top->addLayout(left, 1);
  top->addLayout(right, 2);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prgBar, 1);
  for (QPushButton* b : {btnApply, btnViewData, btnReturn}) buttons->addWidget(b);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top, 1);
  all->addLayout(buttons);
  resize(900, 600);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { onTableChosen(); });
  for (QRadioButton* b : optMethod)
    connect(b, &QRadioButton::toggled, this, [this] { onMethodChosen(); });
  connect(btnApply, &QPushButton::clicked, this, &frmDataNormalize::apply);
  connect(btnViewData, &QPushButton::clicked, this,
          [this] { showWorkTable(this, currentText(lstTbls)); });
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  onMethodChosen();
}

bool frmDataNormalize::load() { return openWithTables(this, db_, lstTbls); }

void frmDataNormalize::onTableChosen() {
  lstItems->clear();
  for (const std::string& f : numericFields(this, db_, currentText(lstTbls)))
    lstItems->addItem(qs(f));
}

geochem::NormaliseMethod frmDataNormalize::method() const {
  for (int i = 0; i < geochem::kNormaliseMethodCount; ++i)
    if (optMethod[static_cast<std::size_t>(i)]->isChecked())
      return static_cast<geochem::NormaliseMethod>(i);
  return geochem::NormaliseMethod::ZScore;
}

void frmDataNormalize::onMethodChosen() {
  const geochem::NormaliseMethod m = method();
  cboEstimate->setEnabled(m == geochem::NormaliseMethod::Background ||
                          m == geochem::NormaliseMethod::Threshold);
  txtLambda->setEnabled(m == geochem::NormaliseMethod::BoxCox);
}

void frmDataNormalize::apply() {
  geochem::NormaliseJob job;
  job.table = currentText(lstTbls);
  if (job.table.empty()) {
    notify(this, kMsgChooseTableFirst);
    return;
  }
  job.elements = selectedTexts(lstItems);
  job.method = method();
  job.estimate = static_cast<geochem::LevelEstimate>(std::max(0, cboEstimate->currentIndex()));
  if (job.method == geochem::NormaliseMethod::BoxCox && !txtLambda->text().trimmed().isEmpty()) {
    const auto l = readNumber(txtLambda);
    if (!l) {
      notify(this, geochem::kMsgBadLambda);
      return;
    }
    job.lambda = *l;
  }
  geochem::NormaliseResult r;
  {
    BusyCursor busy;
    GuiInteraction ui(this);
    BarProgress progress(prgBar);
    r = geochem::runNormalise(db_, job, ui, progress);
  }
  prgBar->setValue(0);
  if (!r.outcome) {
    if (!r.outcome.message.empty()) notify(this, r.outcome.message);
    return;
  }
  rchBox->setPlainText(qs(r.report));
  // The new fields join the list, so that they can be normalised or superposed in turn.
  const std::vector<std::string> chosen = job.elements;
  onTableChosen();
  for (int i = 0; i < lstItems->count(); ++i)
    for (const std::string& c : chosen)
      if (ss(lstItems->item(i)->text()) == c) lstItems->item(i)->setSelected(true);
  notify(this, r.outcome.message);
}

namespace {
const ToolWindowRegistrar registerDataNormalize{"frmDataNormalize",
                                                loadingWindow<frmDataNormalize>()};
}  // namespace

}  // namespace sarnoth::gui
