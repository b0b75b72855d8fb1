#include "electric/forms/frmWTDrawContour.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

#include "app/chart_view.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "display/chart_image.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::gui {

frmWTDrawContour::frmWTDrawContour(QWidget* parent) : QWidget(parent) {
  setObjectName("frmWTDrawContour");
  setWindowTitle(QString::fromUtf8(kDrawContourCaption));
  setAttribute(Qt::WA_DeleteOnClose);
  auto make = [this](auto* w, const char* name) {
    w->setObjectName(name);
    return w;
  };
  cmdOpen = make(new QPushButton("打开断面数据", this), "cmdOpen");
  cboColumn = make(new QComboBox(this), "cboColumn");
  chkLog = make(new QCheckBox("对数刻度", this), "chkLog");
  txtLevels = make(new QSpinBox(this), "txtLevels");
  txtLevels->setRange(2, 50);
  txtLevels->setValue(10);
  chkFill = make(new QCheckBox("彩色填充", this), "chkFill");
  chkContour = make(new QCheckBox("等值线", this), "chkContour");
  chkLabel = make(new QCheckBox("等值线标注", this), "chkLabel");
  chkPoints = make(new QCheckBox("数据点", this), "chkPoints");
  chkStations = make(new QCheckBox("测点号坐标", this), "chkStations");
  for (QCheckBox* c : {chkLog, chkFill, chkContour, chkLabel, chkPoints, chkStations})
    c->setChecked(true);
  cmdSave = make(new QPushButton("保存图形", this), "cmdSave");
  cmdPrint = make(new QPushButton("打印", this), "cmdPrint");
  cmdClose = make(new QPushButton("退出", this), "cmdClose");
  lblFile = make(new QLabel(this), "lblFile");
  chtSection = make(new ChartView(this), "chtSection");
  chtSection->setMinimumSize(640, 300);

  auto* bar = new QGridLayout;
  bar->addWidget(cmdOpen, 0, 0);
  bar->addWidget(new QLabel("绘图参数:", this), 0, 1);
  bar->addWidget(cboColumn, 0, 2);
  bar->addWidget(new QLabel("等值线数:", this), 0, 3);
  bar->addWidget(txtLevels, 0, 4);
  bar->addWidget(chkLog, 0, 5);
  bar->addWidget(chkFill, 1, 0);
  bar->addWidget(chkContour, 1, 1);
  bar->addWidget(chkLabel, 1, 2);
  bar->addWidget(chkPoints, 1, 3);
  bar->addWidget(chkStations, 1, 4);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblFile, 1);
  buttons->addWidget(cmdSave);
  buttons->addWidget(cmdPrint);
  buttons->addWidget(cmdClose);
  auto* v = new QVBoxLayout(this);
  v->addLayout(bar);
  v->addWidget(chtSection, 1);
  v->addLayout(buttons);

  connect(cmdOpen, &QPushButton::clicked, this, [this] {
    const std::string path =
        askOpenFileName(this, kSectionOpenTitle, kSectionOpenFilter, gWorkPath + "Prof_Dat\\");
    if (!path.empty()) openFile(path);
  });
  connect(cboColumn, &QComboBox::currentIndexChanged, this, [this] { columnChanged(); });
  connect(txtLevels, &QSpinBox::valueChanged, this, [this] { redraw(); });
  for (QCheckBox* c : {chkLog, chkFill, chkContour, chkLabel, chkPoints, chkStations})
    connect(c, &QCheckBox::toggled, this, [this] { redraw(); });
  connect(cmdSave, &QPushButton::clicked, this, [this] { savePicture(); });
  connect(cmdPrint, &QPushButton::clicked, this, [this] {
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageOrientation(QPageLayout::Landscape);
    QPrintDialog dialog(&printer, this);
    if (dialog.exec() == QDialog::Accepted) printTo(printer);
  });
  connect(cmdClose, &QPushButton::clicked, this, &QWidget::close);
  for (QWidget* w : std::initializer_list<QWidget*>{cmdSave, cmdPrint, cboColumn})
    w->setEnabled(false);
}

bool frmWTDrawContour::openFile(const std::string& path) {
  electric::SectionData d;
  std::string error;
  if (!electric::readAnySection(resolvePath(path), d, error)) {
    showMessage(this, kTitleInfo, error);
    return false;
  }
  lblFile->setText(QString::fromStdString(path));
  setSection(std::move(d));
  return true;
}

void frmWTDrawContour::setSection(electric::SectionData data, int column) {
  data_ = std::move(data);
  loading_ = true;
  cboColumn->clear();
  for (const auto& n : data_.names) cboColumn->addItem(QString::fromStdString(n));
  loading_ = false;
  for (QWidget* w : std::initializer_list<QWidget*>{cmdSave, cmdPrint, cboColumn})
    w->setEnabled(data_.columns() > 0);
  cboColumn->setCurrentIndex(std::clamp(column, 0, std::max(0, data_.columns() - 1)));
  columnChanged();
}

void frmWTDrawContour::columnChanged() {
  if (loading_) return;
  // Resistivities are drawn on a log scale, other values on a linear one, unless changed.
  const int c = cboColumn->currentIndex();
  if (c >= 0 && c < data_.columns()) {
    const bool rho = data_.names[static_cast<std::size_t>(c)].find("电阻率") != std::string::npos;
    const QSignalBlocker block(chkLog);
    chkLog->setChecked(rho);
  }
  redraw();
}

electric::SectionStyle frmWTDrawContour::style() const {
  electric::SectionStyle st;
  st.column = std::max(0, cboColumn->currentIndex());
  st.log = chkLog->isChecked();
  st.levels = txtLevels->value();
  st.filled = chkFill->isChecked();
  st.contours = chkContour->isChecked();
  st.labels = chkLabel->isChecked();
  st.colourBar = st.filled;
  st.points = chkPoints->isChecked();
  st.stations = chkStations->isChecked();
  return st;
}

void frmWTDrawContour::redraw() {
  if (loading_ || data_.columns() == 0) return;
  chtSection->setChart(electric::sectionPlot(data_, style()));
}

bool frmWTDrawContour::savePicture(std::string path) {
  if (data_.columns() == 0) return false;
  if (path.empty())
    path = askSaveFileName(this, kSectionSaveTitle, "PNG 图像(*.png)|*.png|SVG 图形(*.svg)|*.svg",
                           resolvePath(gWorkPath + "Prof_Dat\\") + "/");
  if (path.empty()) return false;
  if (!chart::writeChartFile(chtSection->chart(), resolvePath(path), 1200, 520)) {
    showMessage(this, kTitleInfo, "不能写入文件: " + path);
    return false;
  }
  return true;
}

void frmWTDrawContour::printTo(QPrinter& printer) const {
  // The picture at the page's width, as many pixels as a sheet needs (at most 3000 across).
  QPainter p(&printer);
  const QRect page = p.viewport();
  const int w = std::min(3000, std::max(400, page.width()));
  const int h = std::max(200, w * 13 / 30);
  const chart::Image img = chart::renderChart(chtSection->chart(), w, h);
  const QImage q(reinterpret_cast<const uchar*>(img.pixels.data()), img.width, img.height,
                 img.stride, QImage::Format_ARGB32_Premultiplied);
  const QRect target(page.left(), page.top(), page.width(), page.width() * h / w);
  p.drawImage(target, q);
}

namespace {
const ToolWindowRegistrar registerDrawContour{
    "frmWTDrawContour",
    [](QWidget* parent, int) -> QWidget* { return new frmWTDrawContour(parent); }};
}  // namespace

}  // namespace sarnoth::gui
