#include "datatools/forms/frmSaveDataTo.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <filesystem>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

struct FormatItem {
  const char* caption;
  const char* filter;
  const char* extension;
};
// In the order of SaveFormat.
constexpr FormatItem kFormats[] = {
    {"CSV文本文件(*.csv)", "CSV文本文件(*.csv)|*.csv", ".csv"},
    {"Excel工作簿(*.xlsx)", "Excel工作簿(*.xlsx)|*.xlsx", ".xlsx"},
    {"dBASE数据文件(*.dbf)", "dBASE数据文件(*.dbf)|*.dbf", ".dbf"},
    {"二进制离散数据文件(*.dat)", "离散数据文件(*.dat)|*.dat", ".dat"},
    {"ASCII离散数据文件(*.dat)", "离散数据文件(*.dat)|*.dat", ".dat"},
};

}  // namespace

frmSaveDataTo::frmSaveDataTo(QWidget* parent) : QDialog(parent) {
  setObjectName("frmSaveDataTo");
  setWindowTitle(QString::fromUtf8("工作区数据表转出"));
  cboTables = named(new QComboBox(this), "cboTables");
  lblTableInfo = named(new QLabel(this), "lblTableInfo");
  cboFormat = named(new QComboBox(this), "cboFormat");
  for (const auto& f : kFormats) cboFormat->addItem(QString::fromUtf8(f.caption));
  optNullKeep = named(new QRadioButton(QString::fromUtf8("空值写为 -1E+38"), this), "optNullKeep");
  optNullEmpty =
      named(new QRadioButton(QString::fromUtf8("空值写为空白 (离散数据文件略去含空值的点)"), this),
            "optNullEmpty");
  optNullKeep->setChecked(true);
  cboEncoding = named(new QComboBox(this), "cboEncoding");
  cboEncoding->addItem("GBK");
  cboEncoding->addItem("UTF-8");
  cboDelimiter = named(new QComboBox(this), "cboDelimiter");
  for (const char* d : {"逗号 ,", "制表符", "分号 ;"}) cboDelimiter->addItem(QString::fromUtf8(d));
  txtFileName = named(new QLineEdit(this), "txtFileName");
  btnBrowse = named(new QPushButton(QString::fromUtf8("浏览(&B)..."), this), "btnBrowse");
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  btnApply = named(new QPushButton(QString::fromUtf8("转出(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnBrowse, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* form = new QFormLayout;
  form->addRow(QString::fromUtf8("数据表:"), cboTables);
  form->addRow(QString(), lblTableInfo);
  form->addRow(QString::fromUtf8("转出格式:"), cboFormat);
  auto* nulls = new QGroupBox(QString::fromUtf8("空值(-1E+38)"), this);
  auto* nl = new QVBoxLayout(nulls);
  nl->addWidget(optNullKeep);
  nl->addWidget(optNullEmpty);
  auto* text = new QHBoxLayout;
  text->addWidget(new QLabel(QString::fromUtf8("编码:"), this));
  text->addWidget(cboEncoding);
  text->addWidget(new QLabel(QString::fromUtf8("分隔符:"), this));
  text->addWidget(cboDelimiter);
  text->addStretch(1);
  auto* file = new QHBoxLayout;
  file->addWidget(txtFileName, 1);
  file->addWidget(btnBrowse);
  form->addRow(QString::fromUtf8("文本格式:"), text);
  form->addRow(QString::fromUtf8("输出文件:"), file);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(nulls);
  layout->addWidget(prgBar);
  layout->addLayout(buttons);
  resize(520, 340);

  connect(cboTables, &QComboBox::currentIndexChanged, this, [this] { tableChanged(); });
  connect(cboFormat, &QComboBox::currentIndexChanged, this, [this] { formatChanged(); });
  connect(btnBrowse, &QPushButton::clicked, this, &frmSaveDataTo::btnBrowse_Click);
  connect(btnApply, &QPushButton::clicked, this, &frmSaveDataTo::btnApply_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

bool frmSaveDataTo::load() {
  if (!openToolDatabase(this, db_)) return false;
  std::vector<std::string> tables;
  listRegisteredTables(db_, tables);
  if (tables.empty()) {
    notify(this, kNoTablesToSave);
    return false;
  }
  for (const auto& t : tables) cboTables->addItem(qs(t));
  cboTables->setCurrentIndex(0);
  tableChanged();
  formatChanged();
  return true;
}

SaveFormat frmSaveDataTo::format() const {
  return static_cast<SaveFormat>(std::max(0, cboFormat->currentIndex()));
}

void frmSaveDataTo::tableChanged() {
  const std::string t = ss(cboTables->currentText());
  try {
    if (!db_.tableExists(t)) {
      lblTableInfo->setText(QString::fromUtf8("(数据表不存在)"));
      return;
    }
    lblTableInfo->setText(
        QString::fromUtf8("%1 条记录, %2 个字段").arg(db_.rowCount(t)).arg(db_.fields(t).size()));
  } catch (const StoreError& e) {
    lblTableInfo->setText(qs(e.what()));
  }
}

void frmSaveDataTo::formatChanged() {
  const bool text = format() == SaveFormat::Csv;
  cboEncoding->setEnabled(text);
  cboDelimiter->setEnabled(text);
  // A name typed or chosen earlier follows the new form's suffix.
  QString name = txtFileName->text().trimmed();
  if (!name.isEmpty()) {
    std::filesystem::path p(ss(name));
    p.replace_extension(kFormats[static_cast<int>(format())].extension);
    txtFileName->setText(qs(p.string()));
  }
}

void frmSaveDataTo::btnBrowse_Click() {
  const FormatItem& f = kFormats[static_cast<int>(format())];
  std::string path = askSaveFileName(this, "工作区数据表转出", f.filter,
                                     ss(cboTables->currentText()) + f.extension);
  if (!path.empty()) txtFileName->setText(qs(path));
}

void frmSaveDataTo::btnApply_Click() {
  SaveOptions opt;
  opt.format = format();
  opt.nullsEmpty = optNullEmpty->isChecked();
  opt.encoding = cboEncoding->currentIndex() == 1 ? TextEncoding::Utf8 : TextEncoding::Gbk;
  static const char kDelims[] = {',', '\t', ';'};
  opt.delimiter = kDelims[std::max(0, cboDelimiter->currentIndex())];
  const std::string table = ss(cboTables->currentText());
  const std::string path = ss(txtFileName->text().trimmed());
  btnApply->setEnabled(false);
  BarProgress progress(prgBar);
  std::int64_t rows = 0;
  Outcome o = saveTableAs(db_, table, path, opt, progress, &rows);
  prgBar->setValue(0);
  btnApply->setEnabled(true);
  if (!o) {
    notify(this, o.message);
    return;
  }
  notify(this, "数据表 " + table + " 已转出 " + std::to_string(rows) + " 条记录: " + path +
                   (o.message.empty() ? "" : "\n" + o.message));
}

static ToolWindowRegistrar reg{"frmSaveDataTo", loadingWindow<frmSaveDataTo>()};

}  // namespace sarnoth::gui
