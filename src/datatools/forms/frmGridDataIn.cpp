#include "datatools/forms/frmGridDataIn.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <filesystem>

#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "workarea/grid_convert.h"
#include "workarea/grid_info.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

constexpr const char* kGridFilter =
    "网格数据文件(*.grd;*.asc;*.tif;*.txt)|*.grd;*.asc;*.tif;*.tiff;*.txt;*.dat|所有文件(*.*)|*.*";
constexpr const char* kImageFilter =
    "图像文件(*.bmp;*.jpg;*.png;*.tif;*.gif)|*.bmp;*.jpg;*.jpeg;*.png;*.tif;*.tiff;*.gif|"
    "所有文件(*.*)|*.*";

ArcOrigin originOf(const QCheckBox* c) {
  return c->isChecked() ? ArcOrigin::CellCorner : ArcOrigin::AsNode;
}

}  // namespace

frmGridDataIn::frmGridDataIn(QWidget* parent) : QDialog(parent) {
  setObjectName("frmGridDataIn");
  txtFileName = named(new QLineEdit(this), "txtFileName");
  btnBrowse = named(new QPushButton(QString::fromUtf8("浏览(&B)..."), this), "btnBrowse");
  // ArcView files: "xllcorner" is the lower-left node as the system reads it; checked, it is the
  // outer corner of the lower-left cell, as GIS programs write it.
  chkCellCorner = named(
      new QCheckBox(QString::fromUtf8("xllcorner 为左下角单元的外角点(GIS 软件导出的文件)"), this),
      "chkCellCorner");
  txtNewName = named(new QLineEdit(this), "txtNewName");
  txtInfo = named(new QPlainTextEdit(this), "txtInfo");
  txtInfo->setReadOnly(true);
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  btnExport = named(new QPushButton(QString::fromUtf8("转存ASCII(&E)..."), this), "btnExport");
  btnApply = named(new QPushButton(QString::fromUtf8("导入(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnBrowse, btnExport, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* form = new QFormLayout;
  auto* file = new QHBoxLayout;
  file->addWidget(txtFileName, 1);
  file->addWidget(btnBrowse);
  form->addRow(QString::fromUtf8("外部数据文件:"), file);
  lblOrigin_ = new QLabel(QString::fromUtf8("ArcView坐标原点:"), this);
  form->addRow(lblOrigin_, chkCellCorner);
  lblName_ = new QLabel(QString::fromUtf8("网格数据文件名:"), this);
  form->addRow(lblName_, txtNewName);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnExport);
  buttons->addStretch(1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(txtInfo, 1);
  layout->addWidget(prgBar);
  layout->addLayout(buttons);
  resize(520, 420);

  connect(btnBrowse, &QPushButton::clicked, this, &frmGridDataIn::btnBrowse_Click);
  connect(btnExport, &QPushButton::clicked, this, &frmGridDataIn::btnExport_Click);
  connect(btnApply, &QPushButton::clicked, this, &frmGridDataIn::btnApply_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  connect(txtFileName, &QLineEdit::editingFinished, this, [this] { fileChanged(); });
  connect(chkCellCorner, &QCheckBox::toggled, this, [this] { fileChanged(); });
  setMode(0);
}

void frmGridDataIn::setMode(int mode) {
  mode_ = mode == 100 ? 100 : 0;
  const bool grid = mode_ == 0;
  setWindowTitle(QString::fromUtf8(grid ? "外部网格数据导入工作区" : "图像数据导入工作区"));
  for (QWidget* w : std::initializer_list<QWidget*>{lblOrigin_, chkCellCorner, lblName_, txtNewName,
                                                    btnExport, txtInfo})
    w->setVisible(grid);
}

void frmGridDataIn::setFileName(const QString& path) {
  txtFileName->setText(path);
  fileChanged();
}

void frmGridDataIn::fileChanged() {
  if (mode_ != 0) return;
  txtInfo->clear();
  const std::string path = ss(txtFileName->text().trimmed());
  if (path.empty()) return;
  if (txtNewName->text().trimmed().isEmpty())
    txtNewName->setText(qs(std::filesystem::path(path).stem().string()));
  LoadedGrid g;
  std::string detail;
  int st = loadAnyGrid(path, GridPurpose::Import, originOf(chkCellCorner), g, detail);
  txtInfo->setPlainText(
      st == kGridOk ? qs(gridInfoText(g.grid.header))
                    : qs(std::string(gridStatusText(st)) + (detail.empty() ? "" : "\n" + detail)));
}

void frmGridDataIn::btnBrowse_Click() {
  std::string path = askOpenFileName(
      this, mode_ == 0 ? "请选择您要导入的网格数据文件名" : "请选择您要导入的图像文件名",
      mode_ == 0 ? kGridFilter : kImageFilter);
  if (!path.empty()) setFileName(qs(path));
}

void frmGridDataIn::btnExport_Click() {
  const std::string path = ss(txtFileName->text().trimmed());
  if (path.empty()) {
    notify(this, "请选择数据文件。");
    return;
  }
  std::string out =
      askSaveFileName(this, "保存ASCII网格数据", "ASCII网格数据(*.grd)|*.grd",
                      std::filesystem::path(path).stem().string() + "_a.grd", FileKind::Grid);
  if (out.empty()) return;
  BarProgress progress(prgBar);
  LoadedGrid g;
  std::string detail;
  int st = loadAnyGrid(path, GridPurpose::Import, originOf(chkCellCorner), g, detail, progress);
  if (st == kGridOk)
    st = saveGridAs(out, g, GridTarget::Ascii, {}, detail, progress, kGridMagicVlq30A);
  prgBar->setValue(0);
  notify(this, st == kGridOk ? "网格数据已转存: " + out : gridStatusText(st));
}

void frmGridDataIn::btnApply_Click() {
  const std::string path = ss(txtFileName->text().trimmed());
  if (path.empty()) {
    notify(this, "请选择数据文件。");
    return;
  }
  GuiInteraction ui(this);
  std::string target;
  btnApply->setEnabled(false);
  Outcome o;
  if (mode_ == 0) {
    BarProgress progress(prgBar);
    o = importGridToWorkArea(path, gWorkPath, ss(txtNewName->text().trimmed()),
                             originOf(chkCellCorner), ui, progress, &target);
  } else {
    o = importImageToWorkArea(path, gWorkPath, ui, &target);
  }
  prgBar->setValue(0);
  btnApply->setEnabled(true);
  if (!o) {
    if (!o.message.empty()) notify(this, o.message);
    return;
  }
  notify(this,
         std::string(mode_ == 0 ? "网格数据已导入工作区: " : "图像数据已导入工作区: ") + target);
}

static ToolWindowRegistrar reg{"frmGridDataIn", [](QWidget* parent, int mode) -> QWidget* {
                                 // It imports into the work area: none, no window.
                                 if (!workAreaReachable(parent)) return nullptr;
                                 auto* w = new frmGridDataIn(parent);
                                 w->setMode(mode);
                                 return w;
                               }};

}  // namespace sarnoth::gui
