#include "prep/forms/frmBaseDataCutDown.h"

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
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/messages.h"
#include "app/picker_common.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kCutFileFilter = "Sarnoth坐标数据(*.GPH)|*.gph|所有文件 (*.*)|*.*|";
constexpr const char* kCutFileTitle = "剪裁坐标文件";
constexpr const char* kFileInTitle = "外部数据文件...";

}  // namespace

frmBaseDataCutDown::frmBaseDataCutDown(QWidget* parent) : QDialog(parent) {
  setObjectName("frmBaseDataCutDown");
  setWindowTitle(u8(kClipCaption));
  optDataType[0] = named(new QRadioButton(u8("离散数据"), this), "optDataType_0");
  optDataType[1] = named(new QRadioButton(u8("网格数据"), this), "optDataType_1");
  cboFileType = named(new QComboBox(this), "cboFileType");
  flstGrd = named(new QListWidget(this), "flstGrd");
  lstTbls = named(new QListWidget(this), "lstTbls");
  txtFileIn = named(new QLineEdit(this), "txtFileIn");
  btnFileIn = named(new QPushButton(u8("外部文件输入(&E)"), this), "btnFileIn");
  txtCutFile = named(new QLineEdit(this), "txtCutFile");
  btnCutFile = named(new QPushButton(u8("剪裁坐标文件(&G)"), this), "btnCutFile");
  cboXXCrd = named(new QComboBox(this), "cboXXCrd");
  cboYYCrd = named(new QComboBox(this), "cboYYCrd");
  lstVars = named(new QListWidget(this), "lstVars");
  lstVars->setSelectionMode(QAbstractItemView::MultiSelection);
  chkSelAll = named(new QCheckBox(u8("选择所有变量"), this), "chkSelAll");
  lblVarCount = named(new QLabel(QStringLiteral("0"), this), "lblVarCount");
  chkCut = named(new QCheckBox(u8(kClipKeepInside), this), "chkCut");
  chkSave = named(new QCheckBox(u8("剪裁数据另存"), this), "chkSave");
  chkSave->setChecked(true);
  txtTblName = named(new QLineEdit(u8(kClipDefaultName), this), "txtTblName");
  prbSpeed = named(new QProgressBar(this), "prbSpeed");
  prbSpeed->setValue(0);
  btnApply = named(new QPushButton(u8("剪裁(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(u8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnFileIn, btnCutFile, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* type = new QHBoxLayout;
  type->addWidget(optDataType[0]);
  type->addWidget(optDataType[1]);
  type->addSpacing(12);
  type->addWidget(new QLabel(u8("数据来源:"), this));
  type->addWidget(cboFileType, 1);
  auto* sources = new QHBoxLayout;
  sources->addWidget(lstTbls, 1);
  sources->addWidget(flstGrd, 1);
  auto* files = new QGridLayout;
  files->addWidget(txtFileIn, 0, 0);
  files->addWidget(btnFileIn, 0, 1);
  files->addWidget(txtCutFile, 1, 0);
  files->addWidget(btnCutFile, 1, 1);
  auto* fieldsBox = new QGroupBox(u8("剪裁数据项"), this);
  auto* fields = new QGridLayout(fieldsBox);
  fields->addWidget(new QLabel(u8("横坐标:"), fieldsBox), 0, 0);
  fields->addWidget(cboXXCrd, 0, 1);
  fields->addWidget(new QLabel(u8("纵坐标:"), fieldsBox), 1, 0);
  fields->addWidget(cboYYCrd, 1, 1);
  fields->addWidget(lstVars, 2, 0, 1, 2);
  auto* count = new QHBoxLayout;
  count->addWidget(chkSelAll);
  count->addStretch(1);
  count->addWidget(new QLabel(u8("已选变量:"), fieldsBox));
  count->addWidget(lblVarCount);
  fields->addLayout(count, 3, 0, 1, 2);
  auto* result = new QHBoxLayout;
  result->addWidget(chkCut);
  result->addWidget(chkSave);
  result->addWidget(txtTblName, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(prbSpeed, 1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(type);
  layout->addLayout(sources, 1);
  layout->addLayout(files);
  layout->addWidget(fieldsBox, 1);
  layout->addLayout(result);
  layout->addLayout(buttons);
  resize(620, 640);

  // On opening: scatter data, inside-keeping.
  optDataType[0]->setChecked(true);
  chkCut->setChecked(true);
  dataTypeChanged();

  connect(optDataType[1], &QRadioButton::toggled, this, [this] { dataTypeChanged(); });
  connect(cboFileType, &QComboBox::currentIndexChanged, this, [this] { fileTypeChanged(); });
  connect(lstTbls, &QListWidget::currentRowChanged, this, [this] { tableChosen(); });
  connect(lstVars, &QListWidget::itemSelectionChanged, this, [this] { varsChanged(); });
  connect(chkSelAll, &QCheckBox::toggled, this, [this](bool on) {
    const QString x = cboXXCrd->currentText(), y = cboYYCrd->currentText();
    for (int i = 0; i < lstVars->count(); ++i) {
      QListWidgetItem* it = lstVars->item(i);
      // The coordinates are not variables: "all" leaves them out rather than refuse them.
      it->setSelected(on && it->text() != x && it->text() != y);
    }
  });
  auto coordinateChanged = [this](const QString& name) {
    for (auto* it : lstVars->findItems(name, Qt::MatchExactly)) it->setSelected(false);
  };
  connect(cboXXCrd, &QComboBox::currentTextChanged, this, coordinateChanged);
  connect(cboYYCrd, &QComboBox::currentTextChanged, this, coordinateChanged);
  connect(chkCut, &QCheckBox::toggled, this,
          [this](bool on) { chkCut->setText(u8(on ? kClipKeepInside : kClipKeepOutside)); });
  connect(chkSave, &QCheckBox::toggled, txtTblName, &QLineEdit::setEnabled);
  connect(btnFileIn, &QPushButton::clicked, this, &frmBaseDataCutDown::btnFileIn_Click);
  connect(btnCutFile, &QPushButton::clicked, this, &frmBaseDataCutDown::btnCutFile_Click);
  connect(btnApply, &QPushButton::clicked, this, &frmBaseDataCutDown::btnApply_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
}

frmBaseDataCutDown::~frmBaseDataCutDown() { dropExternalTable(db_); }

bool frmBaseDataCutDown::load() {
  if (!openToolDatabase(this, db_)) return false;
  fileTypeChanged();
  return true;
}

void frmBaseDataCutDown::done(int r) {
  // The linked table lives as long as the window.
  dropExternalTable(db_);
  db_.close();
  QDialog::done(r);
}

bool frmBaseDataCutDown::gridMode() const { return optDataType[1]->isChecked(); }

ClipSourceKind frmBaseDataCutDown::sourceKind() const {
  return static_cast<ClipSourceKind>(std::max(0, cboFileType->currentIndex()));
}

void frmBaseDataCutDown::dataTypeChanged() {
  const bool grid = gridMode();
  QSignalBlocker block(cboFileType);
  cboFileType->clear();
  for (const auto& c : grid ? clipGridKindCaptions() : clipScatterKindCaptions())
    cboFileType->addItem(qs(c));
  cboFileType->setCurrentIndex(0);
  flstGrd->setVisible(grid);
  for (QWidget* w : std::initializer_list<QWidget*>{lstTbls, cboXXCrd, cboYYCrd, lstVars, chkSelAll,
                                                    lblVarCount})
    w->setVisible(!grid);
  fileTypeChanged();
}

void frmBaseDataCutDown::fileTypeChanged() {
  const int kind = cboFileType->currentIndex();
  const bool grid = gridMode();
  const bool external = grid ? kind == 1 : kind > 0;
  txtFileIn->setEnabled(external);
  btnFileIn->setEnabled(external);
  external_ = ExternalSource{};
  externalLoaded_ = false;
  txtFileIn->clear();
  if (grid) {
    flstGrd->clear();
    if (kind == 0)
      if (auto grids = listFiles(gWorkPath + "Grid_Dat\\", QStringLiteral("*.grd")))
        fillList(flstGrd, *grids);
    flstGrd->setEnabled(kind == 0);
    return;
  }
  fillFields({});
  QSignalBlocker block(lstTbls);
  lstTbls->clear();
  lstTbls->setEnabled(kind == 0);
  if (kind == 0 && db_.isOpen()) {
    std::vector<std::string> names;
    listRegisteredTables(db_, names);
    for (const auto& n : names) lstTbls->addItem(qs(n));
  }
}

void frmBaseDataCutDown::fillFields(const ClipFields& f) {
  QSignalBlocker bx(cboXXCrd), by(cboYYCrd), bv(lstVars);
  cboXXCrd->clear();
  cboYYCrd->clear();
  lstVars->clear();
  for (const auto& c : f.coordinates) {
    cboXXCrd->addItem(qs(c));
    cboYYCrd->addItem(qs(c));
  }
  for (const auto& v : f.variables) lstVars->addItem(qs(v));
  cboXXCrd->setCurrentIndex(cboXXCrd->findText(qs(f.x)));
  cboYYCrd->setCurrentIndex(cboYYCrd->findText(qs(f.y)));
  {
    QSignalBlocker bs(chkSelAll);
    chkSelAll->setChecked(false);
  }
  lblVarCount->setText(QStringLiteral("0"));
}

void frmBaseDataCutDown::tableChosen() {
  QListWidgetItem* it = lstTbls->currentItem();
  if (!it) return;
  ClipFields f;
  Outcome o = clipFieldsOfTable(db_, ss(it->text()), f);
  if (!o) {
    fillFields({});
    notify(this, o.message);
    return;
  }
  fillFields(f);
}

void frmBaseDataCutDown::varsChanged() {
  const QString x = cboXXCrd->currentText(), y = cboYYCrd->currentText();
  for (QListWidgetItem* it : lstVars->selectedItems())
    if (!it->text().isEmpty() && (it->text() == x || it->text() == y)) {
      QSignalBlocker block(lstVars);
      it->setSelected(false);
      notify(this, kMsgClipCoordinateChosen);
    }
  lblVarCount->setText(QString::number(lstVars->selectedItems().size()));
}

void frmBaseDataCutDown::btnFileIn_Click() {
  const bool grid = gridMode();
  const ClipSourceKind kind = grid ? ClipSourceKind::Table : sourceKind();
  const std::string path = askOpenFileName(this, kFileInTitle, clipFileFilter(grid));
  if (path.empty()) return;
  txtFileIn->setText(qs(path));
  if (grid) return;
  fillFields({});
  externalLoaded_ = false;
  Outcome o = loadExternalSource(db_, kind, path, external_);
  if (!o) {
    notify(this, o.message);
    return;
  }
  externalLoaded_ = true;
  fillFields(external_.fields);
}

void frmBaseDataCutDown::btnCutFile_Click() {
  const std::string path = askOpenFileName(this, kCutFileTitle, kCutFileFilter);
  if (!path.empty()) txtCutFile->setText(qs(path));
}

void frmBaseDataCutDown::btnApply_Click() {
  if (busy_) return;
  busy_ = true;
  btnApply->setEnabled(false);
  gridMode() ? applyGrid() : applyTable();
  prbSpeed->setValue(0);
  btnApply->setEnabled(true);
  busy_ = false;
}

void frmBaseDataCutDown::applyGrid() {
  GridClipJob job;
  job.workPath = gWorkPath;
  job.resultName = ss(txtTblName->text().trimmed());
  job.polygonFile = ss(txtCutFile->text().trimmed());
  job.keepInside = chkCut->isChecked();
  if (job.resultName.empty()) {
    notify(this, kMsgClipNoName);
    return;
  }
  if (cboFileType->currentIndex() == 0) {
    gridListIndex_ = std::max(0, flstGrd->currentRow());
    QListWidgetItem* it = flstGrd->currentItem();
    job.source = it ? gWorkPath + "Grid_Dat\\" + ss(it->text()) : std::string();
  } else {
    job.source = ss(txtFileIn->text().trimmed());
  }
  if (!chkSave->isChecked()) {
    // The result goes over the grid list's entry at the position stored by the last run on a
    // work-area grid (the first entry when there was none), for an outside grid too.
    job.replace = gWorkPath + "Grid_Dat\\";
    if (auto grids = listFiles(gWorkPath + "Grid_Dat\\", QStringLiteral("*.grd")))
      if (gridListIndex_ < grids->size()) job.replace += ss(grids->at(gridListIndex_));
  }
  BarProgress progress(prbSpeed);
  Outcome o = clipGrid(job, progress);
  if (!o.message.empty()) notify(this, o.message);
  if (cboFileType->currentIndex() == 0) {
    // The list shows what Grid_Dat now holds.
    const int row = flstGrd->currentRow();
    if (auto grids = listFiles(gWorkPath + "Grid_Dat\\", QStringLiteral("*.grd"))) {
      fillList(flstGrd, *grids);
      flstGrd->setCurrentRow(std::min(row, flstGrd->count() - 1));
    }
  }
}

void frmBaseDataCutDown::applyTable() {
  TableClipJob job;
  job.kind = sourceKind();
  if (QListWidgetItem* it = lstTbls->currentItem()) job.table = ss(it->text());
  job.x = ss(cboXXCrd->currentText());
  job.y = ss(cboYYCrd->currentText());
  for (int i = 0; i < lstVars->count(); ++i)
    if (lstVars->item(i)->isSelected()) job.variables.push_back(ss(lstVars->item(i)->text()));
  job.resultName = ss(txtTblName->text().trimmed());
  job.saveAs = chkSave->isChecked();
  job.keepInside = chkCut->isChecked();
  job.polygonFile = ss(txtCutFile->text().trimmed());
  if (externalLoaded_ &&
      (job.kind == ClipSourceKind::AsciiScatter || job.kind == ClipSourceKind::BinaryScatter))
    job.scatter = &external_.scatter;
  GuiInteraction ui(this);
  BarProgress progress(prbSpeed);
  Outcome o = clipTable(db_, job, ui, progress);
  // A new name that reached the registry joins the list, whatever became of the run.
  if (job.saveAs && !job.resultName.empty() && lstTbls->isEnabled() &&
      lstTbls->findItems(qs(job.resultName), Qt::MatchExactly).isEmpty()) {
    std::vector<std::string> names;
    listRegisteredTables(db_, names);
    if (findListItem(job.resultName, names) >= 0) {
      QSignalBlocker block(lstTbls);
      lstTbls->addItem(qs(job.resultName));
    }
  }
  if (!o.message.empty()) notify(this, o.message);
}

static ToolWindowRegistrar reg{"frmBaseDataCutDown", loadingWindow<frmBaseDataCutDown>()};

}  // namespace sarnoth::gui
