#include "datatools/forms/frmGridToTbl.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <filesystem>

#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/grid_file.h"
#include "datatools/grid_to_table.h"
#include "workarea/session.h"

namespace sarnoth::gui {

frmGridToTbl::frmGridToTbl(QWidget* parent) : QDialog(parent) {
  setObjectName("frmGridToTbl");
  setWindowTitle(QString::fromUtf8("网格数据转换为数据表"));
  cboGrid = named(new QComboBox(this), "cboGrid");
  cboGrid->setEditable(true);
  btnBrowse = named(new QPushButton(QString::fromUtf8("浏览(&B)..."), this), "btnBrowse");
  lblGridInfo = named(new QLabel(this), "lblGridInfo");
  GridToTableOptions defaults;
  txtXField = named(new QLineEdit(qs(defaults.xField), this), "txtXField");
  txtYField = named(new QLineEdit(qs(defaults.yField), this), "txtYField");
  txtValueField = named(new QLineEdit(this), "txtValueField");
  chkKeepNulls =
      named(new QCheckBox(QString::fromUtf8("保留空值节点(-1E+38)"), this), "chkKeepNulls");
  txtNewTbl = named(new QLineEdit(this), "txtNewTbl");
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  btnApply = named(new QPushButton(QString::fromUtf8("转换(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnBrowse, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* form = new QFormLayout;
  auto* grid = new QHBoxLayout;
  grid->addWidget(cboGrid, 1);
  grid->addWidget(btnBrowse);
  form->addRow(QString::fromUtf8("网格数据文件:"), grid);
  form->addRow(QString(), lblGridInfo);
  form->addRow(QString::fromUtf8("横坐标字段名:"), txtXField);
  form->addRow(QString::fromUtf8("纵坐标字段名:"), txtYField);
  form->addRow(QString::fromUtf8("数据字段名:"), txtValueField);
  form->addRow(QString(), chkKeepNulls);
  form->addRow(QString::fromUtf8("新数据表名:"), txtNewTbl);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(prgBar);
  layout->addLayout(buttons);
  resize(480, 320);

  connect(btnBrowse, &QPushButton::clicked, this, &frmGridToTbl::btnBrowse_Click);
  connect(btnApply, &QPushButton::clicked, this, &frmGridToTbl::btnApply_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  connect(cboGrid, &QComboBox::currentTextChanged, this, [this] { gridChanged(); });
}

bool frmGridToTbl::load() {
  if (!openToolDatabase(this, db_)) return false;
  if (auto grids = listFiles(gWorkPath + "Grid_dat\\", QStringLiteral("*.grd")))
    cboGrid->addItems(*grids);
  cboGrid->setCurrentIndex(cboGrid->count() ? 0 : -1);
  gridChanged();
  return true;
}

std::string frmGridToTbl::gridPath() const {
  const std::string g = ss(cboGrid->currentText().trimmed());
  if (g.empty() || g.find('/') != std::string::npos || g.find('\\') != std::string::npos) return g;
  return gWorkPath + "Grid_dat\\" + g;
}

void frmGridToTbl::gridChanged() {
  const std::string path = gridPath();
  lblGridInfo->clear();
  if (path.empty()) return;
  const std::string stem =
      std::filesystem::path(ss(cboGrid->currentText().trimmed())).stem().string();
  // Names that followed the grid keep following it; names the user typed stay.
  for (QLineEdit* e : {txtValueField, txtNewTbl})
    if (e->text().isEmpty() || e->text() == e->property("fromGrid").toString()) {
      e->setText(qs(stem));
      e->setProperty("fromGrid", e->text());
    }
  GridReadResult r = readGridHeader(path);
  if (r.ok())
    lblGridInfo->setText(QString::fromUtf8("%1 列 × %2 行, 有效数据 %3 个")
                             .arg(r.grid.header.nx)
                             .arg(r.grid.header.ny)
                             .arg(r.grid.header.validCount));
}

void frmGridToTbl::btnBrowse_Click() {
  std::string path = askOpenFileName(this, "请选择网格数据文件名",
                                     "网格数据文件(*.grd)|*.grd|所有文件(*.*)|*.*", FileKind::Grid);
  if (!path.empty()) cboGrid->setEditText(qs(path));
}

void frmGridToTbl::btnApply_Click() {
  const std::string grid = gridPath();
  if (grid.empty()) {
    notify(this, "请选择数据文件。");
    return;
  }
  GridToTableOptions opt;
  opt.xField = ss(txtXField->text().trimmed());
  opt.yField = ss(txtYField->text().trimmed());
  opt.valueField = ss(txtValueField->text().trimmed());
  opt.keepNulls = chkKeepNulls->isChecked();
  btnApply->setEnabled(false);
  GuiInteraction ui(this);
  BarProgress progress(prgBar);
  std::int64_t rows = 0;
  Outcome o = gridToTable(db_, grid, ss(txtNewTbl->text().trimmed()), opt, ui, progress, &rows);
  prgBar->setValue(0);
  btnApply->setEnabled(true);
  if (!o.message.empty()) notify(this, o.message);
}

static ToolWindowRegistrar reg{"frmGridToTbl", loadingWindow<frmGridToTbl>()};

}  // namespace sarnoth::gui
