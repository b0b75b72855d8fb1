#include "datatools/forms/frmOutTblToWorkBase.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <filesystem>

#include "app/frmSelectTbl.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/data_convert.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kFilter =
    "表格文件(*.csv;*.txt;*.xlsx;*.xls;*.ods;*.dbf;*.mdb;*.dat)|*.csv;*.txt;*.tsv;*.prn;*.xlsx;"
    "*.xls;*.ods;*.dbf;*.mdb;*.accdb;*.dat|所有文件(*.*)|*.*";
constexpr const char* kTypes[] = {"SINGLE",   "DOUBLE", "LONG", "INTEGER",
                                  "TEXT(20)", "MEMO",   "DATE"};

// Files of several sheets or tables, offered through the table picker.
bool hasLayers(const std::string& path) {
  std::string e = std::filesystem::path(path).extension().string();
  for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return (e == ".xlsx" || e == ".xls" || e == ".ods" || e == ".dbf" || e == ".mdb" ||
          e == ".accdb") &&
         !isScatterFile(path);
}

}  // namespace

frmOutTblToWorkBase::frmOutTblToWorkBase(QWidget* parent) : QDialog(parent) {
  setObjectName("frmOutTblToWorkBase");
  setWindowTitle(QString::fromUtf8("外部表格数据导入工作区"));

  txtFileName = named(new QLineEdit(this), "txtFileName");
  btnBrowse = named(new QPushButton(QString::fromUtf8("浏览(&B)..."), this), "btnBrowse");
  txtLayer = named(new QLineEdit(this), "txtLayer");
  txtLayer->setReadOnly(true);
  btnSelLayer = named(new QPushButton(QString::fromUtf8("选择表(&T)..."), this), "btnSelLayer");

  cboDelimiter = named(new QComboBox(this), "cboDelimiter");
  for (const char* d : {"逗号 ,", "制表符", "分号 ;", "空格", "竖线 |"})
    cboDelimiter->addItem(QString::fromUtf8(d));
  cboDecimal = named(new QComboBox(this), "cboDecimal");
  cboDecimal->addItem(QString::fromUtf8("小数点 ."));
  cboDecimal->addItem(QString::fromUtf8("小数逗号 ,"));
  cboEncoding = named(new QComboBox(this), "cboEncoding");
  for (const char* e : {"自动识别", "GBK", "UTF-8"}) cboEncoding->addItem(QString::fromUtf8(e));
  chkHeader = named(new QCheckBox(QString::fromUtf8("首行为字段名"), this), "chkHeader");
  chkHeader->setChecked(true);
  btnPreview = named(new QPushButton(QString::fromUtf8("预览(&V)"), this), "btnPreview");

  grdFields = named(new QTableWidget(0, 3, this), "grdFields");
  grdFields->setHorizontalHeaderLabels(
      {QString::fromUtf8("导入"), QString::fromUtf8("字段名"), QString::fromUtf8("数据类型")});
  grdFields->horizontalHeader()->setStretchLastSection(true);
  grdPreview = named(new QTableWidget(this), "grdPreview");
  lblInfo = named(new QLabel(this), "lblInfo");
  txtNewTbl = named(new QLineEdit(this), "txtNewTbl");
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  btnApply = named(new QPushButton(QString::fromUtf8("导入(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnBrowse, btnSelLayer, btnPreview, btnApply, btnReturn})
    b->setAutoDefault(false);

  auto* file = new QGroupBox(QString::fromUtf8("外部数据文件"), this);
  auto* fileGrid = new QFormLayout(file);
  auto* row1 = new QHBoxLayout;
  row1->addWidget(txtFileName, 1);
  row1->addWidget(btnBrowse);
  fileGrid->addRow(QString::fromUtf8("文件名:"), row1);
  auto* row2 = new QHBoxLayout;
  row2->addWidget(txtLayer, 1);
  row2->addWidget(btnSelLayer);
  fileGrid->addRow(QString::fromUtf8("工作表/数据表:"), row2);

  auto* text = new QGroupBox(QString::fromUtf8("文本格式"), this);
  auto* textRow = new QHBoxLayout(text);
  textRow->addWidget(new QLabel(QString::fromUtf8("分隔符:"), text));
  textRow->addWidget(cboDelimiter);
  textRow->addWidget(new QLabel(QString::fromUtf8("小数:"), text));
  textRow->addWidget(cboDecimal);
  textRow->addWidget(new QLabel(QString::fromUtf8("编码:"), text));
  textRow->addWidget(cboEncoding);
  textRow->addWidget(chkHeader);
  textRow->addStretch(1);
  textRow->addWidget(btnPreview);

  auto* cols = new QGroupBox(QString::fromUtf8("字段及数据类型"), this);
  (new QVBoxLayout(cols))->addWidget(grdFields);
  auto* rows = new QGroupBox(QString::fromUtf8("数据预览(前20条记录)"), this);
  (new QVBoxLayout(rows))->addWidget(grdPreview);
  auto* middle = new QHBoxLayout;
  middle->addWidget(cols, 2);
  middle->addWidget(rows, 3);

  auto* bottom = new QHBoxLayout;
  bottom->addWidget(new QLabel(QString::fromUtf8("新数据表名:"), this));
  bottom->addWidget(txtNewTbl, 1);
  bottom->addWidget(btnApply);
  bottom->addWidget(btnReturn);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(file);
  layout->addWidget(text);
  layout->addLayout(middle, 1);
  layout->addWidget(lblInfo);
  layout->addWidget(prgBar);
  layout->addLayout(bottom);
  resize(860, 600);

  connect(btnBrowse, &QPushButton::clicked, this, &frmOutTblToWorkBase::btnBrowse_Click);
  connect(btnSelLayer, &QPushButton::clicked, this, [this] {
    if (btnSelLayer_Click()) btnPreview_Click();
  });
  connect(btnPreview, &QPushButton::clicked, this, [this] { btnPreview_Click(); });
  connect(btnApply, &QPushButton::clicked, this, &frmOutTblToWorkBase::btnApply_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  // A changed file or reading rule makes the preview stale.
  connect(txtFileName, &QLineEdit::textChanged, this, [this] {
    txtLayer->clear();
    invalidate();
  });
  for (QComboBox* c : {cboDelimiter, cboDecimal, cboEncoding})
    connect(c, &QComboBox::currentIndexChanged, this, [this] { invalidate(); });
  connect(chkHeader, &QCheckBox::toggled, this, [this] { invalidate(); });
}

bool frmOutTblToWorkBase::load() { return openToolDatabase(this, db_); }

void frmOutTblToWorkBase::setFileName(const QString& path) { txtFileName->setText(path); }

void frmOutTblToWorkBase::invalidate() {
  source_.reset();
  preview_ = ImportPreview{};
  grdFields->setRowCount(0);
  grdPreview->clear();
  grdPreview->setRowCount(0);
  grdPreview->setColumnCount(0);
  lblInfo->clear();
}

DelimitedOptions frmOutTblToWorkBase::textOptions() const {
  DelimitedOptions o;
  static const char kDelims[] = {',', '\t', ';', ' ', '|'};
  o.delimiter = kDelims[std::max(0, cboDelimiter->currentIndex())];
  o.decimal = cboDecimal->currentIndex() == 1 ? ',' : '.';
  o.encoding = cboEncoding->currentIndex() == 1   ? TextEncoding::Gbk
               : cboEncoding->currentIndex() == 2 ? TextEncoding::Utf8
                                                  : TextEncoding::Auto;
  o.headerRow = chkHeader->isChecked();
  return o;
}

void frmOutTblToWorkBase::btnBrowse_Click() {
  std::string path = askOpenFileName(this, "请选择您要导入的外部数据文件", kFilter);
  if (!path.empty()) setFileName(qs(path));
}

bool frmOutTblToWorkBase::btnSelLayer_Click() {
  const std::string path = ss(txtFileName->text().trimmed());
  if (path.empty()) {
    notify(this, "请选择数据文件。");
    return false;
  }
  std::string error;
  layers_ = listLayers(path, error);
  if (!error.empty()) {
    notify(this, error);
    return false;
  }
  if (layers_.empty()) {
    notify(this, "文件中没有数据表.");
    return false;
  }
  QStringList names;
  for (const auto& l : layers_) names << qs(l);
  frmSelectTbl picker(this);
  picker.mode = 100;
  picker.itemsText = names.join(',');
  picker.run();
  if (gPickedFile.empty()) return false;
  const QString picked = qs(gPickedFile);
  if (picked != txtLayer->text()) {
    invalidate();
    txtLayer->setText(picked);
    txtNewTbl->setText(picked);
  }
  return true;
}

bool frmOutTblToWorkBase::btnPreview_Click() {
  const std::string path = ss(txtFileName->text().trimmed());
  if (path.empty()) {
    notify(this, "请选择数据文件。");
    return false;
  }
  if (hasLayers(path) && txtLayer->text().isEmpty()) {
    std::string error;
    layers_ = listLayers(path, error);
    if (layers_.size() == 1) {
      txtLayer->setText(qs(layers_.front()));
    } else if (!btnSelLayer_Click()) {
      return false;
    }
  }
  invalidate();
  std::string error;
  source_ = openTableFile(path, ss(txtLayer->text()), textOptions(), error);
  if (!source_) {
    notify(this, error);
    return false;
  }
  Outcome o = previewSource(*source_, preview_, 20);
  if (!o) {
    source_.reset();
    notify(this, o.message);
    return false;
  }
  if (txtNewTbl->text().trimmed().isEmpty())
    txtNewTbl->setText(txtLayer->text().isEmpty() ? qs(std::filesystem::path(path).stem().string())
                                                  : txtLayer->text());
  showPreview();
  return true;
}

void frmOutTblToWorkBase::showPreview() {
  grdFields->setRowCount(static_cast<int>(preview_.columns.size()));
  std::vector<std::string> header;
  for (int r = 0; r < static_cast<int>(preview_.columns.size()); ++r) {
    const ImportColumn& c = preview_.columns[static_cast<std::size_t>(r)];
    header.push_back(c.name);
    auto* use = new QTableWidgetItem;
    use->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled);
    use->setCheckState(c.import ? Qt::Checked : Qt::Unchecked);
    grdFields->setItem(r, 0, use);
    auto* name = new QTableWidgetItem(qs(c.name));
    name->setFlags(name->flags() & ~Qt::ItemIsEditable);
    grdFields->setItem(r, 1, name);
    auto* type = new QComboBox(grdFields);
    type->setObjectName(QString("cboType_%1").arg(r));
    type->setEditable(true);
    for (const char* t : kTypes) type->addItem(QString::fromLatin1(t));
    const QString guessed = qs(c.type.declared());
    int at = type->findText(guessed);
    if (at < 0) {
      type->addItem(guessed);
      at = type->count() - 1;
    }
    type->setCurrentIndex(at);
    grdFields->setCellWidget(r, 2, type);
  }
  grdFields->resizeColumnsToContents();
  fillTableWidget(grdPreview, header, preview_.firstRows);
  lblInfo->setText(QString::fromUtf8(preview_.rowCountExact ? "共 %1 条记录, %2 个字段."
                                                            : "约 %1 条记录, %2 个字段.")
                       .arg(preview_.rowCount)
                       .arg(preview_.columns.size()));
}

QComboBox* frmOutTblToWorkBase::typeCombo(int row) const {
  return qobject_cast<QComboBox*>(grdFields->cellWidget(row, 2));
}

std::vector<ImportColumn> frmOutTblToWorkBase::chosenColumns() const {
  std::vector<ImportColumn> cols = preview_.columns;
  for (int r = 0; r < static_cast<int>(cols.size()) && r < grdFields->rowCount(); ++r) {
    ImportColumn& c = cols[static_cast<std::size_t>(r)];
    c.import = grdFields->item(r, 0)->checkState() == Qt::Checked;
    if (QComboBox* t = typeCombo(r)) {
      const std::string chosen = ss(t->currentText().trimmed());
      // A type the user picked stands; the guess left as it was may still widen.
      if (chosen != c.type.declared()) c.guessed = false;
      c.type = FieldDef::parse(c.name, chosen);
    }
  }
  return cols;
}

void frmOutTblToWorkBase::btnApply_Click() {
  if (!source_ && !btnPreview_Click()) return;
  std::vector<ImportColumn> cols = chosenColumns();
  for (std::size_t r = 0; r < cols.size(); ++r)
    if (cols[r].import && cols[r].type.type == JetType::Other) {
      notify(this, "数据类型不正确: " + ss(typeCombo(static_cast<int>(r))->currentText()));
      return;
    }
  btnApply->setEnabled(false);
  GuiInteraction ui(this);
  BarProgress progress(prgBar);
  ImportReport report;
  Outcome o =
      importTable(db_, *source_, cols, ss(txtNewTbl->text().trimmed()), ui, progress, &report);
  prgBar->setValue(0);
  btnApply->setEnabled(true);
  if (!o.message.empty()) notify(this, o.message);
}

static ToolWindowRegistrar reg{"frmOutTblToWorkBase", loadingWindow<frmOutTblToWorkBase>()};

}  // namespace sarnoth::gui
