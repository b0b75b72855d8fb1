#include "display/forms/frmGridToImageView.h"

#include <QApplication>
#include <QButtonGroup>
#include <QColorDialog>
#include <QEvent>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QScrollBar>
#include <QStatusBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "app/file_dialogs.h"
#include "app/frmSelFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "display/forms/map_view.h"
#include "workarea/session.h"

namespace sarnoth::gui {

using namespace sarnoth::display;

// The colour bar beside the map: one swatch a level, rising upward, labelled with the levels'
// upper values.
class ColourBarView : public QWidget {
 public:
  explicit ColourBarView(QWidget* parent) : QWidget(parent) {
    setMinimumWidth(110);
    setMaximumWidth(140);
  }
  void setEntries(std::vector<ColourBarEntry> e, int decimals) {
    entries_ = std::move(e);
    std::vector<float> values;
    for (const auto& entry : entries_) values.push_back(entry.value);
    labels_ = colourBarLabels(values, decimals);
    update();
  }
  const std::vector<ColourBarEntry>& entries() const { return entries_; }
  // The labels as drawn, one format for the whole bar.
  const std::vector<std::string>& labels() const { return labels_; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter p(this);
    p.fillRect(rect(), Qt::white);
    const int n = static_cast<int>(entries_.size());
    if (n == 0) return;
    const QFontMetrics fm(font());
    const int top = fm.height(), bottom = height() - fm.height();
    if (bottom - top < 4) return;
    const double span = bottom - top;
    const int x = 6, w = 22;
    for (int i = 0; i < n; ++i) {
      int y1 = bottom - static_cast<int>(span * i / n);
      int y0 = bottom - static_cast<int>(span * (i + 1) / n);
      const Rgb& c = entries_[static_cast<std::size_t>(i)].colour;
      p.fillRect(QRect(x, y0, w, std::max(1, y1 - y0)), QColor(c.r, c.g, c.b));
    }
    p.setPen(Qt::black);
    p.drawRect(QRect(x, top, w, bottom - top));
    const int step = std::max(1, static_cast<int>(std::ceil(fm.height() * 1.2 * n / span)));
    for (int i = n - 1; i >= 0; i -= step) {
      int y = bottom - static_cast<int>(span * (i + 1) / n);
      p.drawLine(x + w, y, x + w + 4, y);
      p.drawText(x + w + 7, y + fm.ascent() / 2, qs(labels_[static_cast<std::size_t>(i)]));
    }
  }

 private:
  std::vector<ColourBarEntry> entries_;
  std::vector<std::string> labels_;
};

namespace {

constexpr const char* kSelMCaptions[3] = {"阴影图", "自动平衡分级", "自定义分级"};
constexpr const char* kModeCaptions[4] = {"等差", "对数", "方差", "累频"};
constexpr const char* kSetColrCaptions[6] = {"存入...",  "装入...",  "删除色阶",
                                             "添加色阶", "改变颜色", "缺省分级"};

QLineEdit* lineEdit(QWidget* parent, const char* name, const QString& text) {
  auto* e = new QLineEdit(text, parent);
  e->setObjectName(name);
  return e;
}

QScrollBar* slider(QWidget* parent, const char* name, int lo, int hi, int value) {
  auto* s = new QScrollBar(Qt::Horizontal, parent);
  s->setObjectName(name);
  s->setRange(lo, hi);
  s->setValue(value);
  return s;
}

QString number(float v) { return QString::number(static_cast<double>(v), 'g', 7); }

bool parse(const QLineEdit* e, float& v) {
  bool ok = false;
  v = e->text().trimmed().toFloat(&ok);
  return ok;
}

}  // namespace

frmGridToImageView::frmGridToImageView(QWidget* parent) : QDialog(parent) {
  setWindowTitle(qs(kViewerTitle));
  colours_ = SysColourTable::load(sysColourTablePath());
  ramp_ = readDefaultRamp(defaultRampPath()).value_or(std::vector<std::int32_t>{});
  scale_.backColour = kDefaultBackColour;
  // The dialogs add the filter's extension to a bare name (".pal", ".png", ".tif").
  choosePaletteFile = [this](bool save) {
    return save ? askSaveFileName(this, kPaletteSaveTitle,
                                  "Sarnoth调色板文件(*.PAL)|*.pal|所有文件 (*.*)|*.*", {},
                                  FileKind::Palette)
                : runFileDialog(this, false, kPaletteOpenTitle,
                                "Sarnoth调色板索引文件(*.PAL)|*.pal|所有文件 (*.*)|*.*", {},
                                FileKind::Palette);
  };
  chooseColourIndex = [this](int current) -> std::optional<int> {
    bool ok = false;
    int v = QInputDialog::getInt(this, qs(kViewerTitle), "颜色索引", current, 0, kMaxColourIndex, 1,
                                 &ok);
    return ok ? std::optional<int>(v) : std::nullopt;
  };
  chooseExportFile = [this] {
    return askSaveFileName(this, "导出图像",
                           "PNG 图像(*.png)|*.png|GeoTIFF 图像(*.tif)|*.tif;*.tiff", {},
                           FileKind::Image);
  };
  buildUi();
}

frmGridToImageView::~frmGridToImageView() = default;

void frmGridToImageView::buildUi() {
  auto* root = new QVBoxLayout(this);
  auto* body = new QHBoxLayout;
  root->addLayout(body, 1);
  auto* panel = new QVBoxLayout;
  body->addLayout(panel, 0);

  auto* selBox = new QHBoxLayout;
  for (int i = 0; i < 3; ++i) {
    optSelM[i] = new QRadioButton(qs(kSelMCaptions[i]), this);
    optSelM[i]->setObjectName(QString("optSelM_%1").arg(i));
    selBox->addWidget(optSelM[i]);
  }
  optSelM[1]->setChecked(true);
  panel->addLayout(selBox);

  frameColr = new QGroupBox("图像色阶设置", this);
  frameColr->setObjectName("frameColr");
  auto* cl = new QGridLayout(frameColr);
  lsvColrs = new QTreeWidget(frameColr);
  lsvColrs->setObjectName("lsvColrs");
  lsvColrs->setHeaderLabels({"值域", "颜色", "索引"});
  lsvColrs->setRootIsDecorated(false);
  lsvColrs->setSelectionMode(QAbstractItemView::SingleSelection);
  lsvColrs->setMinimumHeight(180);
  cl->addWidget(lsvColrs, 0, 0, 1, 4);
  auto* modeGroup = new QButtonGroup(this);
  for (int i = 0; i < 4; ++i) {
    optMode[i] = new QRadioButton(qs(kModeCaptions[i]), frameColr);
    optMode[i]->setObjectName(QString("optMode_%1").arg(i));
    modeGroup->addButton(optMode[i], i);
    cl->addWidget(optMode[i], 1, i);
  }
  optMode[0]->setChecked(true);
  txtMin = lineEdit(frameColr, "txtMin", "0");
  txtMax = lineEdit(frameColr, "txtMax", "0");
  txtPar = lineEdit(frameColr, "txtPar", "1");
  txtDesM = lineEdit(frameColr, "txtDesM", "2");
  cl->addWidget(new QLabel("最小值", frameColr), 2, 0);
  cl->addWidget(txtMin, 2, 1);
  cl->addWidget(new QLabel("最大值", frameColr), 2, 2);
  cl->addWidget(txtMax, 2, 3);
  cl->addWidget(new QLabel("间隔", frameColr), 3, 0);
  cl->addWidget(txtPar, 3, 1);
  cl->addWidget(new QLabel("小数位", frameColr), 3, 2);
  cl->addWidget(txtDesM, 3, 3);
  for (int i = 0; i < 6; ++i) {
    btnSetColr[i] = new QPushButton(qs(kSetColrCaptions[i]), frameColr);
    btnSetColr[i]->setObjectName(QString("btnSetColr_%1").arg(i));
    cl->addWidget(btnSetColr[i], 4 + i / 3, i % 3);
    connect(btnSetColr[i], &QPushButton::clicked, this, [this, i] { colourButton(i); });
  }
  lblBColr = new QLabel(frameColr);
  lblBColr->setObjectName("lblBColr");
  lblBColr->setToolTip("背景颜色");
  lblBColr->setFrameShape(QFrame::Box);
  lblBColr->setMinimumSize(40, 20);
  lblBColr->installEventFilter(this);
  cl->addWidget(lblBColr, 4, 3);
  auto* digits = new QRegularExpressionValidator(QRegularExpression("[0-9]*"), this);
  txtColrSt = lineEdit(frameColr, "txtColrSt", QString::number(kDefaultColourStart));
  txtColrGap = lineEdit(frameColr, "txtColrGap", QString::number(kDefaultColourGap));
  txtColrSt->setValidator(digits);
  txtColrGap->setValidator(digits);
  cl->addWidget(new QLabel("色阶起始索引号", frameColr), 6, 0);
  cl->addWidget(txtColrSt, 6, 1);
  cl->addWidget(new QLabel("色阶间隔", frameColr), 6, 2);
  cl->addWidget(txtColrGap, 6, 3);
  panel->addWidget(frameColr);

  frameParSet = new QGroupBox("阴影图参数", this);
  frameParSet->setObjectName("frameParSet");
  auto* pl = new QGridLayout(frameParSet);
  txtColrn = lineEdit(frameParSet, "txtColrn", QString::number(kDefaultReliefColours));
  txtColrn->setValidator(digits);
  hsclbSatua = slider(frameParSet, "hsclbSatua", 0, 100, 50);
  hsclbTipA = slider(frameParSet, "hsclbTipA", 0, 45, 45);
  hsclbDiva = slider(frameParSet, "hsclbDiva", -180, 180, -45);
  pl->addWidget(new QLabel("色阶数", frameParSet), 0, 0);
  pl->addWidget(txtColrn, 0, 1);
  const char* sliderCaptions[3] = {"饱和度(0~100)", "立体角(0~45)", "方位角(-180~180)"};
  QScrollBar* sliders[3] = {hsclbSatua, hsclbTipA, hsclbDiva};
  for (int i = 0; i < 3; ++i) {
    auto* value = new QLabel(QString::number(sliders[i]->value()), frameParSet);
    pl->addWidget(new QLabel(qs(sliderCaptions[i]), frameParSet), i + 1, 0);
    pl->addWidget(sliders[i], i + 1, 1);
    pl->addWidget(value, i + 1, 2);
    connect(sliders[i], &QScrollBar::valueChanged, value, [value](int v) { value->setNum(v); });
  }
  panel->addWidget(frameParSet);

  auto* bottom = new QHBoxLayout;
  bottom->addWidget(new QLabel("图像宽度", this));
  txtWid = lineEdit(this, "txtWid", QString::number(kDefaultWidth));
  txtWid->setValidator(digits);
  bottom->addWidget(txtWid);
  panel->addLayout(bottom);
  auto* buttons = new QHBoxLayout;
  btnApply = new QPushButton("影像浏览(&V)", this);
  btnApply->setObjectName("btnApply");
  btnExport = new QPushButton("导出图像(&E)...", this);
  btnExport->setObjectName("btnExport");
  btnReturn = new QPushButton("返回(&R)", this);
  btnReturn->setObjectName("btnReturn");
  buttons->addWidget(btnApply);
  buttons->addWidget(btnExport);
  buttons->addWidget(btnReturn);
  panel->addLayout(buttons);
  panel->addStretch(1);
  btnApply->setDefault(true);
  connect(btnApply, &QPushButton::clicked, this, &frmGridToImageView::apply);
  connect(btnReturn, &QPushButton::clicked, this, &QDialog::reject);
  connect(btnExport, &QPushButton::clicked, this, [this] {
    if (!haveImage_) return;
    std::string f = chooseExportFile ? chooseExportFile() : std::string();
    if (!f.empty()) exportTo(f);
  });

  edViewCtrl = new MapView(this);
  edViewCtrl->setObjectName("edViewCtrl");
  picColrBar = new ColourBarView(this);
  picColrBar->setObjectName("picColrBar");
  // Zoom in, out and to the whole grid; the keys +, − and 0 do the same in the map.
  auto* zoomRow = new QHBoxLayout;
  btnZoomIn = new QPushButton("放大(+)", this);
  btnZoomIn->setObjectName("btnZoomIn");
  btnZoomOut = new QPushButton("缩小(-)", this);
  btnZoomOut->setObjectName("btnZoomOut");
  btnZoomFit = new QPushButton("全图(0)", this);
  btnZoomFit->setObjectName("btnZoomFit");
  for (QPushButton* b : {btnZoomIn, btnZoomOut, btnZoomFit}) {
    b->setAutoDefault(false);
    b->setFocusPolicy(Qt::NoFocus);
    zoomRow->addWidget(b);
  }
  zoomRow->addStretch(1);
  connect(btnZoomIn, &QPushButton::clicked, edViewCtrl, &MapView::zoomIn);
  connect(btnZoomOut, &QPushButton::clicked, edViewCtrl, &MapView::zoomOut);
  connect(btnZoomFit, &QPushButton::clicked, edViewCtrl, &MapView::fit);
  auto* mapColumn = new QVBoxLayout;
  mapColumn->addLayout(zoomRow);
  mapColumn->addWidget(edViewCtrl, 1);
  body->addLayout(mapColumn, 1);
  body->addWidget(picColrBar, 0);
  sbrCoord = new QStatusBar(this);
  sbrCoord->setObjectName("sbrCoord");
  sbrCoord->setSizeGripEnabled(false);
  root->addWidget(sbrCoord);
  connect(edViewCtrl, &MapView::mouseMoved, this, &frmGridToImageView::showCoordinates);
  paintBackLabel();
  resize(1150, 760);
}

bool frmGridToImageView::eventFilter(QObject* watched, QEvent* event) {
  if (watched == lblBColr && event->type() == QEvent::MouseButtonPress) {
    Rgb c = rgbFromColourRef(scale_.backColour);
    QColor picked = QColorDialog::getColor(QColor(c.r, c.g, c.b), this);
    if (picked.isValid()) {
      scale_.backColour = colourRef({static_cast<std::uint8_t>(picked.red()),
                                     static_cast<std::uint8_t>(picked.green()),
                                     static_cast<std::uint8_t>(picked.blue())});
      paintBackLabel();
    }
    return true;
  }
  return QDialog::eventFilter(watched, event);
}

void frmGridToImageView::paintBackLabel() {
  Rgb c = rgbFromColourRef(scale_.backColour);
  lblBColr->setStyleSheet(QString("background-color: rgb(%1,%2,%3);").arg(c.r).arg(c.g).arg(c.b));
}

bool frmGridToImageView::openGrid(const std::string& path) {
  std::string message;
  std::optional<GridHeader> h = openViewerGrid(path, message);
  if (!h) {
    notify(this, message);
    return false;
  }
  gridFile_ = path;
  header_ = *h;
  nodesRead_ = false;
  scratchMade_ = prepareViewerScratch(gWorkPath, gSysPath).ok;
  // The colour panel from the grid's range: the default grading.
  txtMin->setText(number(header_.zMin));
  txtMax->setText(number(header_.zMax));
  txtPar->setText(number((header_.zMax - header_.zMin) / static_cast<float>(kDefaultLevelCount)));
  ColourScale s;
  s.min = header_.zMin;
  s.max = header_.zMax;
  s.backColour = scale_.backColour;
  defaultGrading(s, ramp_, desM());
  setScale(s);
  setWindowTitle(qs(kViewerTitle) + "- " + qs(path));
  // The image is there when the window opens; a grid that grades to nothing waits for apply,
  // where the panel's message says why.
  if (header_.validCount > 0 && !scale_.levels.empty()) apply();
  return true;
}

void frmGridToImageView::setScale(const ColourScale& s) {
  scale_ = s;
  fillLevelList();
  paintBackLabel();
}

int frmGridToImageView::desM() const {
  bool ok = false;
  int d = txtDesM->text().trimmed().toInt(&ok);
  return ok ? d : 0;
}

void frmGridToImageView::fillLevelList() {
  lsvColrs->clear();
  const int d = desM();
  for (const ColourLevel& lv : scale_.levels) {
    auto* item = new QTreeWidgetItem(lsvColrs);
    item->setText(0, qs(formatLevelValue(lv.value, d)));
    item->setText(1, "██");
    Rgb c = colours_ ? colours_->colour(lv.colourIndex) : Rgb{};
    item->setForeground(1, QColor(c.r, c.g, c.b));
    item->setText(2, QString::number(lv.colourIndex));
  }
}

void frmGridToImageView::colourButton(int index) {
  QList<QTreeWidgetItem*> sel = lsvColrs->selectedItems();
  int selected = sel.isEmpty() ? -1 : lsvColrs->indexOfTopLevelItem(sel.front());
  Outcome o;
  switch (index) {
    case 0: {  // 存入...
      if (scale_.levels.empty()) {
        notify(this, kMsgPaletteEmpty);
        return;
      }
      std::string f = choosePaletteFile ? choosePaletteFile(true) : std::string();
      if (f.empty()) return;
      parse(txtMin, scale_.min);
      parse(txtMax, scale_.max);
      o = savePalette(f, scale_, desM());
      break;
    }
    case 1: {  // 装入...
      std::string f = choosePaletteFile ? choosePaletteFile(false) : std::string();
      if (f.empty()) return;
      o = loadPalette(f, scale_);
      if (o) {
        txtMin->setText(number(scale_.min));
        txtMax->setText(number(scale_.max));
        optSelM[2]->setChecked(true);  // a loaded scale is a custom one
      }
      break;
    }
    case 2:
      o = deleteLevel(scale_, selected);
      break;
    case 3:
      o = addLevelHalfway(scale_, selected);
      break;
    case 4: {
      if (selected < 0) {
        notify(this, kMsgSelectToEdit);
        return;
      }
      std::optional<int> c =
          chooseColourIndex
              ? chooseColourIndex(scale_.levels[static_cast<std::size_t>(selected)].colourIndex)
              : std::nullopt;
      if (!c) return;
      o = recolourLevel(scale_, selected, static_cast<std::int16_t>(*c));
      break;
    }
    case 5:
      parse(txtMin, scale_.min);
      parse(txtMax, scale_.max);
      defaultGrading(scale_, ramp_, desM());
      break;
  }
  if (!o && !o.message.empty()) notify(this, o.message);
  if (index >= 2 && index <= 4 && o) optSelM[2]->setChecked(true);  // hand edits: custom
  fillLevelList();
  paintBackLabel();
  if (index >= 2 && index <= 4 && o && selected >= 0 && selected < lsvColrs->topLevelItemCount())
    lsvColrs->setCurrentItem(lsvColrs->topLevelItem(selected));
}

bool frmGridToImageView::loadNodes() {
  if (nodesRead_) return true;
  GridReadResult r = readGrid(gridFile_);
  if (!r.ok()) return false;
  grid_ = std::move(r.grid);
  nodesRead_ = true;
  return true;
}

ViewRequest frmGridToImageView::request() const {
  ViewRequest req;
  req.workPath = gWorkPath;
  req.gridFile = gridFile_;
  req.kind = optSelM[0]->isChecked()   ? ViewKind::Relief
             : optSelM[1]->isChecked() ? ViewKind::AutoGraded
                                       : ViewKind::CustomGraded;
  req.scale = scale_;
  req.width = txtWid->text().trimmed().toInt();
  req.colourStart = txtColrSt->text().toInt();
  req.colourGap = txtColrGap->text().toInt();
  req.colourCount = txtColrn->text().toInt();
  req.saturation = static_cast<float>(hsclbSatua->value());
  req.elevation = static_cast<float>(hsclbTipA->value());
  req.azimuth = static_cast<float>(hsclbDiva->value());
  return req;
}

void frmGridToImageView::apply() {
  if (gridFile_.empty()) return;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  struct Restore {
    ~Restore() { QApplication::restoreOverrideCursor(); }
  } restore;
  if (optSelM[1]->isChecked()) {
    // Automatic grading: the levels are made afresh from the panel's rule and range.
    float lo = 0, hi = 0, par = 0;
    Grading g;
    int rule = 0;
    for (int i = 0; i < 4; ++i)
      if (optMode[i]->isChecked()) rule = i;
    bool needNodes = rule == static_cast<int>(GradeRule::Variance) ||
                     rule == static_cast<int>(GradeRule::Cumulative);
    if (parse(txtMin, lo) && parse(txtMax, hi) && parse(txtPar, par) && (!needNodes || loadNodes()))
      g = gradePanel(static_cast<GradeRule>(rule), lo, hi, par, grid_, ramp_);
    if (!g.message.empty()) {
      notify(this, g.message);
      return;
    }
    setScale(scaleFromGrading(g, lo, hi, scale_.backColour, desM()));
  }
  ViewRequest req = request();
  ViewResult res = applyView(req, colours_ ? *colours_ : SysColourTable{});
  if (!res.outcome) {
    notify(this, res.outcome.message);
    return;
  }
  // The earlier image layer goes, the new one is opened.
  edViewCtrl->removeLayer(kImageLayer);
  QImage img(qs(res.bitmap));
  if (img.isNull()) {
    notify(this, kMsgCreateFailed);
    return;
  }
  edViewCtrl->setLayer(kImageLayer, img, res.frame);
  shown_ = req;
  haveImage_ = true;
  if (!loadNodes()) return;
  picColrBar->setEntries(colourBarEntries(req, grid_, colours_ ? *colours_ : SysColourTable{}),
                         req.kind == ViewKind::Relief ? 0 : desM());
}

bool frmGridToImageView::hasImage() const { return haveImage_; }

bool frmGridToImageView::exportTo(const std::string& path) {
  if (!haveImage_) return false;
  Outcome o = exportView(shown_, path, true, shown_.kind == ViewKind::Relief ? 0 : desM(),
                         colours_ ? *colours_ : SysColourTable{});
  if (!o) notify(this, o.message);
  return o.ok;
}

void frmGridToImageView::showCoordinates(double x, double y, bool inside) {
  if (!inside) {
    sbrCoord->clearMessage();
    return;
  }
  // The value of the node under the cursor beside its map coordinates.
  if (!loadNodes()) {
    sbrCoord->showMessage(QString("X: %1   Y: %2").arg(x, 0, 'f', 2).arg(y, 0, 'f', 2));
    return;
  }
  sbrCoord->showMessage(qs(cursorText(grid_, x, y)));
}

void frmGridToImageView::done(int r) {
  // Closing: the scratch files of the work area go.
  if (!gridFile_.empty() && scratchMade_) clearViewerScratch(gWorkPath);
  scratchMade_ = false;
  QDialog::done(r);
}

frmGridToImageView* openGridImageView(QWidget* parent, const std::string& grid, int mode) {
  std::string path = grid;
  if (path.find('/') == std::string::npos && path.find('\\') == std::string::npos)
    path = gWorkPath + "Grid_dat\\" + path;
  auto* w = new frmGridToImageView(parent);
  w->setAttribute(Qt::WA_DeleteOnClose);
  w->mode = static_cast<std::int16_t>(mode);
  if (!w->openGrid(path)) {
    delete w;
    return nullptr;
  }
  return w;
}

namespace {

const ToolWindowRegistrar registerViewer{
    "frmGridToImageView", [](QWidget* parent, int mode) -> QWidget* {
      std::string picked = gPickedFile;
      if (picked.empty()) {
        frmSelFiles pick(parent);
        pick.mode = 300;
        if (pick.run() != QDialog::Accepted || gPickedFile.empty()) return nullptr;
        picked = gPickedFile;
      }
      return openGridImageView(parent, picked, mode);
    }};

}  // namespace

}  // namespace sarnoth::gui
