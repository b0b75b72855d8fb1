#include "datatools/forms/frmSQLProcess.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/data_tools.h"
#include "datatools/forms/data_form_support.h"
#include "datatools/table_import.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

std::string cellText(const Value& v) {
  if (auto* d = std::get_if<double>(&v)) return numberText(*d);
  return valueToText(v);
}

}  // namespace

frmSQLProcess::frmSQLProcess(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSQLProcess");
  setWindowTitle(QString::fromUtf8("数据表SQL整理"));
  lstTbls = named(new QListWidget(this), "lstTbls");
  lstFields = named(new QListWidget(this), "lstFields");
  txtSQL = named(new QPlainTextEdit(this), "txtSQL");
  txtSQL->setPlaceholderText(QString::fromUtf8("Select * From [数据表] Where [字段] <> -1E+38"));
  grdResult = named(new QTableWidget(this), "grdResult");
  lblResult = named(new QLabel(this), "lblResult");
  txtNewTbl = named(new QLineEdit(this), "txtNewTbl");
  btnSave = named(new QPushButton(QString::fromUtf8("存为新表(&S)"), this), "btnSave");
  btnApply = named(new QPushButton(QString::fromUtf8("执行(&E)"), this), "btnApply");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnSave, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* left = new QWidget(this);
  auto* ll = new QVBoxLayout(left);
  ll->setContentsMargins(0, 0, 0, 0);
  ll->addWidget(new QLabel(QString::fromUtf8("数据表:"), left));
  ll->addWidget(lstTbls, 1);
  ll->addWidget(new QLabel(QString::fromUtf8("字段:"), left));
  ll->addWidget(lstFields, 1);
  auto* right = new QWidget(this);
  auto* rl = new QVBoxLayout(right);
  rl->setContentsMargins(0, 0, 0, 0);
  rl->addWidget(new QLabel(QString::fromUtf8("SQL语句:"), right));
  rl->addWidget(txtSQL, 1);
  auto* run = new QHBoxLayout;
  run->addWidget(lblResult, 1);
  run->addWidget(btnApply);
  rl->addLayout(run);
  rl->addWidget(grdResult, 3);
  auto* split = new QSplitter(this);
  split->addWidget(left);
  split->addWidget(right);
  split->setStretchFactor(1, 3);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(new QLabel(QString::fromUtf8("新数据表名:"), this));
  bottom->addWidget(txtNewTbl, 1);
  bottom->addWidget(btnSave);
  bottom->addSpacing(24);
  bottom->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(split, 1);
  layout->addLayout(bottom);
  resize(860, 600);

  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChanged(); });
  connect(lstTbls, &QListWidget::itemDoubleClicked, this,
          [this](QListWidgetItem* i) { insertName(i->text()); });
  connect(lstFields, &QListWidget::itemDoubleClicked, this,
          [this](QListWidgetItem* i) { insertName(i->text()); });
  connect(btnApply, &QPushButton::clicked, this, &frmSQLProcess::btnApply_Click);
  connect(btnSave, &QPushButton::clicked, this, &frmSQLProcess::btnSave_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmSQLProcess::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  if (listRegisteredTables(db_, tables) == 0) {
    notify(this, kNoTablesText);
    db_.close();
    return false;
  }
  listTables();
  return true;
}

void frmSQLProcess::listTables() {
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  lstTbls->clear();
  for (const auto& t : tables) lstTbls->addItem(qs(t));
  if (lstTbls->count()) lstTbls->setCurrentRow(0);
}

void frmSQLProcess::tableChanged() {
  lstFields->clear();
  QListWidgetItem* item = lstTbls->currentItem();
  if (!item) return;
  try {
    for (const auto& f : db_.fields(ss(item->text())))
      lstFields->addItem(qs(f.name + "  " + f.declared()));
  } catch (const StoreError&) {
    // A registered name without its table lists no fields.
  }
}

void frmSQLProcess::insertName(const QString& text) {
  // A field item carries its type after two blanks.
  const QString name = text.section(QStringLiteral("  "), 0, 0);
  txtSQL->insertPlainText(qs(bracket(ss(name))));
  txtSQL->setFocus();
}

void frmSQLProcess::btnApply_Click() {
  QueryResult r;
  Outcome o = runStatement(db_, ss(txtSQL->toPlainText()), r, kShownRows);
  grdResult->clear();
  grdResult->setRowCount(0);
  grdResult->setColumnCount(0);
  if (!o) {
    lblResult->clear();
    notify(this, o.message);
    return;
  }
  if (r.changed >= 0) {
    lblResult->setText(QString::fromUtf8("语句已执行, %1 条记录受影响.").arg(r.changed));
    listTables();  // a statement may have made or dropped a table
    return;
  }
  std::vector<std::vector<std::string>> rows;
  rows.reserve(r.rows.size());
  for (const auto& row : r.rows) {
    std::vector<std::string> cells;
    for (const auto& v : row) cells.push_back(cellText(v));
    rows.push_back(std::move(cells));
  }
  fillTableWidget(grdResult, r.columns, rows);
  lblResult->setText(r.truncated ? QString::fromUtf8("仅显示前 %1 条记录.").arg(r.rows.size())
                                 : QString::fromUtf8("共 %1 条记录.").arg(r.rows.size()));
}

void frmSQLProcess::btnSave_Click() {
  GuiInteraction ui(this);
  const std::string name = ss(txtNewTbl->text().trimmed());
  Outcome o = saveQueryAsTable(db_, ss(txtSQL->toPlainText()), name, ui);
  // The refusal of a name in use has been shown on the way.
  if (!o && o.message == kSqlTableExists) {
    txtNewTbl->setFocus();
    txtNewTbl->selectAll();
    return;
  }
  if (!o.message.empty()) notify(this, o.message);
  if (o) listTables();
}

static ToolWindowRegistrar reg{"frmSQLProcess", loadingWindow<frmSQLProcess>()};

}  // namespace sarnoth::gui
