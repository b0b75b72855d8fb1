#include "datatools/forms/frmFormatConvert.h"

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
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"

namespace sarnoth::gui {
namespace {

constexpr ImageFormat kImageFormats[] = {ImageFormat::Bmp, ImageFormat::Png, ImageFormat::Jpeg,
                                         ImageFormat::Tiff, ImageFormat::Gif};
constexpr const char* kImageCaptions[] = {"BMP位图(*.bmp)", "PNG图像(*.png)", "JPEG图像(*.jpg)",
                                          "TIFF图像(*.tif)", "GIF图像(*.gif)"};

}  // namespace

frmFormatConvert::frmFormatConvert(QWidget* parent) : QDialog(parent) {
  setObjectName("frmFormatConvert");
  txtSource = named(new QLineEdit(this), "txtSource");
  btnBrowse = named(new QPushButton(QString::fromUtf8("浏览(&B)..."), this), "btnBrowse");
  lblKind = named(new QLabel(this), "lblKind");
  cboFormat = named(new QComboBox(this), "cboFormat");
  txtTarget = named(new QLineEdit(this), "txtTarget");
  btnSaveAs = named(new QPushButton(QString::fromUtf8("另存为(&S)..."), this), "btnSaveAs");
  chkNullsEmpty =
      named(new QCheckBox(QString::fromUtf8("空值(-1E+38)写为空白"), this), "chkNullsEmpty");
  prgBar = named(new QProgressBar(this), "prgBar");
  prgBar->setValue(0);
  btnApply = named(new QPushButton(QString::fromUtf8("转换(&A)"), this), "btnApply");
  btnReturn = named(new QPushButton(QString::fromUtf8("返回(&R)"), this), "btnReturn");
  for (QPushButton* b : {btnBrowse, btnSaveAs, btnApply, btnReturn}) b->setAutoDefault(false);

  auto* form = new QFormLayout;
  auto* src = new QHBoxLayout;
  src->addWidget(txtSource, 1);
  src->addWidget(btnBrowse);
  form->addRow(QString::fromUtf8("转换文件:"), src);
  form->addRow(QString::fromUtf8("数据类型:"), lblKind);
  form->addRow(QString::fromUtf8("转换格式:"), cboFormat);
  auto* dst = new QHBoxLayout;
  dst->addWidget(txtTarget, 1);
  dst->addWidget(btnSaveAs);
  form->addRow(QString::fromUtf8("输出文件:"), dst);
  form->addRow(QString(), chkNullsEmpty);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(btnApply);
  buttons->addWidget(btnReturn);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addStretch(1);
  layout->addWidget(prgBar);
  layout->addLayout(buttons);
  resize(540, 260);

  connect(btnBrowse, &QPushButton::clicked, this, &frmFormatConvert::btnBrowse_Click);
  connect(btnSaveAs, &QPushButton::clicked, this, &frmFormatConvert::btnSaveAs_Click);
  connect(btnApply, &QPushButton::clicked, this, &frmFormatConvert::btnApply_Click);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  connect(txtSource, &QLineEdit::editingFinished, this, [this] { sourceChanged(); });
  connect(cboFormat, &QComboBox::currentIndexChanged, this, [this] { formatChanged(); });
  setMode(100);
}

void frmFormatConvert::setMode(int mode) {
  mode_ = mode == 200 ? 200 : 100;
  setWindowTitle(QString::fromUtf8(mode_ == 100 ? "图像格式转换" : "数据格式转换"));
  sourceChanged();
}

void frmFormatConvert::setSourceFile(const QString& path) {
  txtSource->setText(path);
  sourceChanged();
}

void frmFormatConvert::sourceChanged() {
  const std::string path = ss(txtSource->text().trimmed());
  QSignalBlocker block(cboFormat);
  const QString before = cboFormat->currentText();
  cboFormat->clear();
  targets_.clear();
  if (mode_ == 100) {
    lblKind->setText(QString::fromUtf8("图像"));
    for (const char* c : kImageCaptions) cboFormat->addItem(QString::fromUtf8(c));
  } else {
    DataKind kind = path.empty() ? DataKind::Unknown : detectDataKind(path);
    lblKind->setText(QString::fromUtf8(kind == DataKind::Grid      ? "网格数据"
                                       : kind == DataKind::Scatter ? "离散数据"
                                       : path.empty()              ? ""
                                                      : "不能识别的数据文件"));
    for (const auto& c : conversionChoices())
      if (c.from == kind) {
        cboFormat->addItem(QString::fromUtf8(c.caption));
        targets_.push_back(c.target);
      }
  }
  int keep = cboFormat->findText(before);
  cboFormat->setCurrentIndex(keep >= 0 ? keep : 0);
  formatChanged();
}

QString frmFormatConvert::extension() const {
  const int i = cboFormat->currentIndex();
  if (i < 0) return {};
  if (mode_ == 100) return QString::fromLatin1(imageExtension(kImageFormats[i]));
  return QString::fromLatin1(conversionChoice(targets_[static_cast<std::size_t>(i)]).extension);
}

void frmFormatConvert::formatChanged() {
  const int i = cboFormat->currentIndex();
  chkNullsEmpty->setVisible(mode_ == 200 && i >= 0 &&
                            targets_[static_cast<std::size_t>(i)] == ConvertTarget::ScatterCsv);
  // The target follows the source and the chosen form until the user names one himself.
  const std::string src = ss(txtSource->text().trimmed());
  if (src.empty() || i < 0) return;
  std::filesystem::path p(src);
  std::filesystem::path suggested = p.parent_path() / (p.stem().string() + "_new");
  suggested += ss(extension());
  const QString cur = txtTarget->text();
  if (cur.isEmpty() || txtTarget->property("suggested").toString() == cur) {
    txtTarget->setText(qs(suggested.string()));
    txtTarget->setProperty("suggested", txtTarget->text());
  }
}

void frmFormatConvert::btnBrowse_Click() {
  std::string path = askOpenFileName(
      this, "请选择您要转换的数据文件",
      mode_ == 100 ? "图像文件|*.bmp;*.jpg;*.jpeg;*.png;*.tif;*.tiff;*.gif|所有文件(*.*)|*.*"
                   : "数据文件(*.grd;*.dat;*.asc;*.csv)|*.grd;*.dat;*.asc;*.csv;*.tif|"
                     "所有文件(*.*)|*.*");
  if (!path.empty()) setSourceFile(qs(path));
}

void frmFormatConvert::btnSaveAs_Click() {
  const QString ext = extension();
  std::string path = askSaveFileName(this, "保存转换结果", "输出文件(*" + ss(ext) + ")|*" + ss(ext),
                                     ss(txtTarget->text()));
  if (!path.empty()) txtTarget->setText(qs(path));
}

void frmFormatConvert::btnApply_Click() {
  const std::string src = ss(txtSource->text().trimmed());
  const std::string dst = ss(txtTarget->text().trimmed());
  if (src.empty()) {
    notify(this, "请选择数据文件。");
    return;
  }
  const int i = cboFormat->currentIndex();
  if (i < 0) {
    // A data file of no kind the window knows offers no target.
    notify(this, kConvBadInput);
    return;
  }
  btnApply->setEnabled(false);
  BarProgress progress(prgBar);
  Outcome o = mode_ == 100 ? convertImage(src, dst, kImageFormats[i], progress)
                           : convertDataFile(src, dst, targets_[static_cast<std::size_t>(i)],
                                             progress, chkNullsEmpty->isChecked());
  prgBar->setValue(0);
  btnApply->setEnabled(true);
  notify(this, o ? "转换完成: " + dst : o.message);
}

static ToolWindowRegistrar reg{"frmFormatConvert", [](QWidget* parent, int mode) -> QWidget* {
                                 auto* w = new frmFormatConvert(parent);
                                 w->setMode(mode);
                                 return w;
                               }};

}  // namespace sarnoth::gui
