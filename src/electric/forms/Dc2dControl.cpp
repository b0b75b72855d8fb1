#include "electric/forms/Dc2dControl.h"

#include <QApplication>
#include <QDoubleValidator>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "app/chart_view.h"
#include "app/messages.h"
#include "datatools/forms/data_form_support.h"
#include "display/chart_image.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {

using electric::XZ;

namespace {

QColor qc(chart::Rgb c) { return QColor(c.r, c.g, c.b); }

double distancePx(QPointF a, QPointF b) { return std::hypot(a.x() - b.x(), a.y() - b.y()); }

// Distance from p to the segment ab, pixels.
double segmentDistance(QPointF p, QPointF a, QPointF b) {
  const QPointF ab = b - a;
  const double len2 = ab.x() * ab.x() + ab.y() * ab.y();
  double t = len2 > 0 ? ((p - a).x() * ab.x() + (p - a).y() * ab.y()) / len2 : 0;
  t = std::clamp(t, 0.0, 1.0);
  return distancePx(p, a + t * ab);
}

constexpr double kSnapPixels = 8;

}  // namespace

// --- the section editor --------------------------------------------------------------------

Dc2dSectionView::Dc2dSectionView(electric::Dc2dSession& session, QWidget* parent)
    : QWidget(parent), session_(session) {
  setObjectName("picSection");
  setMouseTracking(true);
  setMinimumSize(400, 220);
  setFocusPolicy(Qt::StrongFocus);
}

void Dc2dSectionView::setTool(Tool t) {
  tool_ = t;
  drawing_.clear();
  setCursor(t == Tool::Select ? Qt::ArrowCursor : Qt::CrossCursor);
  update();
}

void Dc2dSectionView::setExaggeration(double v) {
  if (v > 0 && std::isfinite(v)) exaggeration_ = v;
  update();
}

void Dc2dSectionView::zoom(double factor) {
  zoom_ = std::clamp(zoom_ * factor, 0.05, 200.0);
  update();
}

void Dc2dSectionView::fitView() {
  zoom_ = 1;
  if (session_.loaded()) {
    const auto& s = session_.file().survey;
    const double spread = std::max(s.xMax() - s.xMin(), s.unitSpacing());
    cx_ = (s.xMin() + s.xMax()) / 2;
    cz_ = s.surfaceAt(cx_) - spread / 6;
  }
  update();
}

void Dc2dSectionView::clearSelection() {
  curve_ = region_ = -1;
  update();
}

QPointF Dc2dSectionView::toScreen(XZ p) const {
  double sx = 1;
  if (session_.loaded()) {
    const auto& s = session_.file().survey;
    const double worldW = std::max(s.xMax() - s.xMin(), s.unitSpacing()) * 1.2;
    const double worldH = worldW * 0.45;
    sx = std::min(width() / worldW, height() / (worldH * exaggeration_)) * zoom_;
  }
  const double sz = sx * exaggeration_;
  return {width() / 2.0 + (p.x - cx_) * sx, height() / 2.0 - (p.z - cz_) * sz};
}

XZ Dc2dSectionView::toSection(QPointF q) const {
  const QPointF o = toScreen({cx_, cz_});
  const QPointF u = toScreen({cx_ + 1, cz_ + 1});
  const double sx = u.x() - o.x(), sz = o.y() - u.y();
  return {cx_ + (q.x() - o.x()) / sx, cz_ - (q.y() - o.y()) / sz};
}

double Dc2dSectionView::snapMetres() const {
  const XZ a = toSection({0, 0}), b = toSection({kSnapPixels, 0});
  return std::abs(b.x - a.x);
}

void Dc2dSectionView::selectAt(XZ p) {
  curve_ = region_ = -1;
  const QPointF q = toScreen(p);
  double best = kSnapPixels;
  const auto& curves = session_.curves();
  for (std::size_t c = 0; c < curves.size(); ++c)
    for (std::size_t i = 0; i + 1 < curves[c].points.size(); ++i) {
      const double d =
          segmentDistance(q, toScreen(curves[c].points[i]), toScreen(curves[c].points[i + 1]));
      if (d < best) {
        best = d;
        curve_ = static_cast<int>(c);
      }
    }
  if (curve_ < 0) region_ = session_.model().regionAt(p);
  update();
}

void Dc2dSectionView::finishDrawing() {
  if (drawing_.size() >= 2) {
    session_.addCurve(drawing_, snapMetres());
    if (onChanged) onChanged();
  }
  drawing_.clear();
  update();
}

void Dc2dSectionView::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), Qt::white);
  if (!session_.loaded()) return;
  p.setRenderHint(QPainter::Antialiasing, false);
  const auto& file = session_.file();
  const auto& s = file.survey;
  const XZ tl = toSection({0, 0}),
           br = toSection({static_cast<double>(width()), static_cast<double>(height())});

  // Colours by log resistivity over the model's values.
  std::vector<double> rhos{file.model.rho0};
  for (const auto& r : file.model.regions)
    if (r.hasProperties()) rhos.push_back(r.rho);
  const auto* data = session_.meshDataReady() ? &session_.meshData() : nullptr;
  if (data)
    for (double v : data->rho) rhos.push_back(v);
  double lo = *std::min_element(rhos.begin(), rhos.end()),
         hi = *std::max_element(rhos.begin(), rhos.end());
  if (hi <= lo * 1.0001) {
    lo /= 2;
    hi *= 2;
  }
  const chart::ColourBar bar = chart::makeColourBar(lo, hi, 16, true);
  auto fill = [&](double rho) {
    QColor c = qc(chart::colourOf(bar, rho));
    c.setAlpha(150);
    return c;
  };

  // The ground: background half-space, then the mesh data or the regions.
  QPolygonF ground;
  const double left = std::min(tl.x, br.x), right = std::max(tl.x, br.x);
  const double bottom = std::min(tl.z, br.z) - 1;
  ground << toScreen({left, bottom});
  std::vector<double> xs{left, right};
  for (const XZ& t : s.terrain)
    if (t.x > left && t.x < right) xs.push_back(t.x);
  std::sort(xs.begin(), xs.end());
  for (double x : xs) ground << toScreen({x, s.surfaceAt(x)});
  ground << toScreen({right, bottom});
  p.setPen(Qt::NoPen);
  p.setBrush(fill(file.model.rho0));
  p.drawPolygon(ground);
  const electric::Dc2dMesh* mesh = session_.mesh();
  if (data && mesh) {
    for (std::size_t e = 0; e < mesh->elements(); ++e) {
      const auto& t = mesh->triangles[e];
      QPolygonF tri;
      bool visible = false;
      for (int v : t) {
        const QPointF q = toScreen(mesh->nodes[static_cast<std::size_t>(v)]);
        visible = visible || rect().contains(q.toPoint());
        tri << q;
      }
      if (!visible && std::abs(tri[0].x() - tri[1].x()) < width()) continue;
      const QColor c = fill(data->rho[e]);
      p.setBrush(c);
      p.setPen(c);
      p.drawPolygon(tri);
    }
  } else {
    for (std::size_t r = 0; r < file.model.regions.size(); ++r) {
      const auto& reg = file.model.regions[r];
      QPolygonF poly;
      for (const XZ& q : reg.outline) poly << toScreen(q);
      p.setPen(Qt::NoPen);
      p.setBrush(reg.hasProperties() ? QBrush(fill(reg.rho)) : QBrush(Qt::gray, Qt::BDiagPattern));
      p.drawPolygon(poly);
    }
  }
  // Mesh lines, where they are far enough apart to be seen.
  if (mesh) {
    p.setPen(QPen(QColor(150, 150, 150, 120), 0));
    for (int i = 0; i < mesh->nx(); ++i) {
      const QPointF a = toScreen(mesh->nodes[static_cast<std::size_t>(mesh->node(i, 0))]);
      if (a.x() < 0 || a.x() > width()) continue;
      QPolygonF col;
      for (int j = 0; j < mesh->nz(); ++j)
        col << toScreen(mesh->nodes[static_cast<std::size_t>(mesh->node(i, j))]);
      p.drawPolyline(col);
    }
    for (int j = 0; j < mesh->nz(); ++j) {
      QPolygonF row;
      for (int i = 0; i < mesh->nx(); ++i)
        row << toScreen(mesh->nodes[static_cast<std::size_t>(mesh->node(i, j))]);
      p.drawPolyline(row);
    }
  }
  // Grid.
  double xlo = left, xhi = right, zlo = std::min(tl.z, br.z), zhi = std::max(tl.z, br.z);
  const auto xt = chart::niceTicks(xlo, xhi, std::max(2, width() / 90), false);
  const auto zt = chart::niceTicks(zlo, zhi, std::max(2, height() / 60), false);
  if (grid_) {
    p.setPen(QPen(QColor(200, 200, 200), 0, Qt::DotLine));
    for (double x : xt)
      p.drawLine(QPointF(toScreen({x, 0}).x(), 0), QPointF(toScreen({x, 0}).x(), height()));
    for (double z : zt)
      p.drawLine(QPointF(0, toScreen({0, z}).y()), QPointF(width(), toScreen({0, z}).y()));
  }
  // Region outlines.
  p.setBrush(Qt::NoBrush);
  if (outlines_)
    for (std::size_t r = 0; r < file.model.regions.size(); ++r) {
      QPolygonF poly;
      for (const XZ& q : file.model.regions[r].outline) poly << toScreen(q);
      p.setPen(QPen(static_cast<int>(r) == region_ ? Qt::red : Qt::black,
                    static_cast<int>(r) == region_ ? 2 : 1));
      p.drawPolygon(poly);
    }
  // Curves.
  p.setRenderHint(QPainter::Antialiasing, true);
  const auto& curves = session_.curves();
  for (std::size_t c = 0; c < curves.size(); ++c) {
    QPolygonF line;
    for (const XZ& q : curves[c].points) line << toScreen(q);
    p.setPen(QPen(static_cast<int>(c) == curve_ ? QColor(Qt::red) : QColor(0, 0, 200),
                  static_cast<int>(c) == curve_ ? 2.5 : 1.5));
    p.drawPolyline(line);
  }
  if (!drawing_.empty()) {
    QPolygonF line;
    for (const XZ& q : drawing_) line << toScreen(q);
    line << toScreen(hover_);
    p.setPen(QPen(QColor(0, 0, 200), 1.5, Qt::DashLine));
    p.drawPolyline(line);
  }
  // Surface and electrodes.
  QPolygonF surface;
  for (double x : xs) surface << toScreen({x, s.surfaceAt(x)});
  p.setPen(QPen(QColor(120, 70, 20), 2));
  p.drawPolyline(surface);
  p.setPen(Qt::black);
  p.setBrush(Qt::black);
  for (std::size_t e = 0; e < s.electrodes.size(); ++e) {
    const QPointF q = toScreen(s.position(static_cast<int>(e)));
    QPolygonF tri;
    tri << q << q + QPointF(-4, -7) << q + QPointF(4, -7);
    p.drawPolygon(tri);
  }
  // Ruler: station numbers along the top, elevations along the left.
  if (ruler_) {
    p.setRenderHint(QPainter::Antialiasing, false);
    p.setPen(Qt::black);
    p.setBrush(QColor(250, 250, 240));
    p.drawRect(0, 0, width() - 1, 18);
    p.drawRect(0, 0, 44, height() - 1);
    QFont f = font();
    f.setPointSizeF(7.5);
    p.setFont(f);
    for (double x : xt) {
      const double px = toScreen({x, 0}).x();
      if (px < 46) continue;
      p.drawLine(QPointF(px, 12), QPointF(px, 18));
      p.drawText(QPointF(px + 2, 10), QString::number(session_.stationLabel(x), 'g', 6));
    }
    for (double z : zt) {
      const double py = toScreen({0, z}).y();
      if (py < 20) continue;
      p.drawLine(QPointF(38, py), QPointF(44, py));
      p.drawText(QPointF(2, py - 2), QString::number(z, 'g', 6));
    }
  }
}

void Dc2dSectionView::mousePressEvent(QMouseEvent* e) {
  const XZ p = toSection(e->position());
  if (tool_ == Tool::Select) {
    selectAt(p);
    if (onChanged) onChanged();
    return;
  }
  if (e->button() == Qt::RightButton) {
    finishDrawing();
    return;
  }
  if (tool_ == Tool::Line) {
    if (drawing_.empty()) {
      drawing_ = {p};
      dragging_ = true;
    } else {
      drawing_.push_back(p);
      finishDrawing();
    }
  } else {
    drawing_.push_back(p);
  }
  update();
}

void Dc2dSectionView::mouseMoveEvent(QMouseEvent* e) {
  hover_ = toSection(e->position());
  if (onPointer) onPointer(hover_.x, hover_.z);
  if (!drawing_.empty()) update();
}

void Dc2dSectionView::mouseReleaseEvent(QMouseEvent* e) {
  if (tool_ == Tool::Line && dragging_ && drawing_.size() == 1 &&
      distancePx(toScreen(drawing_[0]), e->position()) > 3) {
    drawing_.push_back(toSection(e->position()));
    finishDrawing();
  }
  dragging_ = false;
}

void Dc2dSectionView::mouseDoubleClickEvent(QMouseEvent* e) {
  if (tool_ == Tool::Polyline) {
    finishDrawing();
    return;
  }
  if (tool_ == Tool::Select && onRegionDoubleClicked) {
    const int r = session_.model().regionAt(toSection(e->position()));
    onRegionDoubleClicked(r);
  }
}

void Dc2dSectionView::wheelEvent(QWheelEvent* e) { zoom(e->angleDelta().y() > 0 ? 1.25 : 0.8); }

// --- the region dialog ---------------------------------------------------------------------

frmDc2dRegions::frmDc2dRegions(const electric::Dc2dModel& model, bool chargeability, int only,
                               QWidget* parent)
    : QDialog(parent) {
  setObjectName("frmDc2dRegions");
  setWindowTitle(QString::fromUtf8("区域属性"));
  auto* lay = new QVBoxLayout(this);
  tblRegions = new QTableWidget(this);
  tblRegions->setObjectName("tblRegions");
  tblRegions->setColumnCount(chargeability ? 3 : 2);
  QStringList head{QString::fromUtf8("区域"), QString::fromUtf8("电阻率(Ω·m)")};
  if (chargeability) head << QString::fromUtf8("极化率(%)");
  tblRegions->setHorizontalHeaderLabels(head);
  tblRegions->horizontalHeader()->setStretchLastSection(true);
  auto add = [&](int region, double rho, double eta) {
    const int row = tblRegions->rowCount();
    tblRegions->insertRow(row);
    auto* name = new QTableWidgetItem(region < 0 ? QString::fromUtf8("背景")
                                                 : QString::fromUtf8("区域 %1").arg(region + 1));
    name->setFlags(Qt::ItemIsEnabled);
    tblRegions->setItem(row, 0, name);
    tblRegions->setItem(row, 1,
                        new QTableWidgetItem(rho > 0 ? QString::number(rho, 'g', 8) : QString()));
    if (chargeability)
      tblRegions->setItem(row, 2, new QTableWidgetItem(QString::number(eta, 'g', 8)));
    index_.push_back(region);
  };
  if (only < -1 || only == -1) add(-1, model.rho0, model.eta0);
  for (std::size_t r = 0; r < model.regions.size(); ++r)
    if (only < -1 || only == static_cast<int>(r))
      add(static_cast<int>(r), model.regions[r].rho, model.regions[r].eta);
  lay->addWidget(tblRegions);
  Cmd_OK = new QPushButton(QString::fromUtf8("确定"), this);
  Cmd_OK->setObjectName("Cmd_OK");
  Cmd_Cancel = new QPushButton(QString::fromUtf8("取消"), this);
  Cmd_Cancel->setObjectName("Cmd_Cancel");
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(Cmd_OK);
  row->addWidget(Cmd_Cancel);
  lay->addLayout(row);
  connect(Cmd_OK, &QPushButton::clicked, this, &frmDc2dRegions::apply);
  connect(Cmd_Cancel, &QPushButton::clicked, this, &QDialog::reject);
  resize(420, 320);
}

void frmDc2dRegions::apply() {
  rows.clear();
  for (int r = 0; r < tblRegions->rowCount(); ++r) {
    bool okRho = false, okEta = true;
    const double rho = tblRegions->item(r, 1) ? tblRegions->item(r, 1)->text().toDouble(&okRho) : 0;
    double eta = 0;
    if (tblRegions->columnCount() > 2 && tblRegions->item(r, 2))
      eta = tblRegions->item(r, 2)->text().toDouble(&okEta);
    if (!okRho || !(rho > 0) || !okEta || !(eta >= 0 && eta < 100)) {
      showMessage(this, kTitleInfo,
                  tblRegions->item(r, 0)->text().toStdString() +
                      ": 电阻率必须大于 0，极化率在 0 到 100 之间");
      return;
    }
    rows.push_back({index_[static_cast<std::size_t>(r)], rho, eta});
  }
  accept();
}

// --- the control ---------------------------------------------------------------------------

Dc2dControl::Dc2dControl(QWidget* parent) : QWidget(parent) {
  setObjectName("My2D_DCControl");
  auto* lay = new QVBoxLayout(this);
  lay->setContentsMargins(0, 0, 0, 0);
  auto* split = new QSplitter(Qt::Vertical, this);
  picSection = new Dc2dSectionView(session_, split);
  auto* results = new QWidget(split);
  auto* rl = new QVBoxLayout(results);
  rl->setContentsMargins(0, 0, 0, 0);
  chtObserved = new ChartView(results);
  chtObserved->setObjectName("chtObserved");
  chtComputed = new ChartView(results);
  chtComputed->setObjectName("chtComputed");
  chtModel = new ChartView(results);
  chtModel->setObjectName("chtModel");
  for (ChartView* v : {chtObserved, chtComputed, chtModel}) {
    v->setMinimumHeight(170);
    rl->addWidget(v);
    // The value of the cell under the pointer.
    v->setTooltipFormatter([v](int s, int i) {
      const auto& series = v->chart().series;
      if (s < 0 || s >= static_cast<int>(series.size())) return QString();
      const auto& values = series[static_cast<std::size_t>(s)].cellValues;
      return i >= 0 && i < static_cast<int>(values.size())
                 ? QString::number(values[static_cast<std::size_t>(i)], 'g', 5)
                 : QString();
    });
  }
  split->addWidget(picSection);
  split->addWidget(results);
  split->setStretchFactor(0, 1);
  split->setStretchFactor(1, 2);
  lay->addWidget(split, 1);
  lblInfo = new QLabel(this);
  lblInfo->setObjectName("lblInfo");
  prgCompute = new QProgressBar(this);
  prgCompute->setObjectName("prgCompute");
  prgCompute->setMaximumHeight(14);
  auto* bottom = new QHBoxLayout;
  bottom->addWidget(lblInfo, 1);
  bottom->addWidget(prgCompute);
  lay->addLayout(bottom);
  picSection->onPointer = [this](double x, double z) {
    if (host_) host_->pointerMoved(x, z);
  };
  picSection->onRegionDoubleClicked = [this](int r) { regionDialog(session_.meshDataReady(), r); };
  picSection->onChanged = [this] { reportState(); };
}

void Dc2dControl::say(const std::string& text) { showMessage(this, kTitleInfo, text); }

void Dc2dControl::setRun(int calcMode, int paramMode, int terrain, int device) {
  calc_ = calcMode;
  param_ = paramMode;
  terrain_ = terrain;
  device_ = device;
  eta_ = false;
}

bool Dc2dControl::openFile(const std::string& path) {
  std::string error;
  if (path.empty()) return false;
  if (!session_.load(path, error)) {
    say(error);
    reportState();
    return false;
  }
  picSection->fitView();
  lblInfo->setText(QString::fromStdString(session_.file().name + "  " +
                                          electric::dc2dDeviceText(session_.file().survey.device) +
                                          "  " +
                                          std::to_string(session_.file().survey.data.size())) +
                   QString::fromUtf8(" 个数据"));
  refreshResults();
  reportState();
  return true;
}

bool Dc2dControl::loadCurves(const std::string& path) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    say("文件无法打开: " + path);
    return false;
  }
  const auto lines = filetext::splitLines(decodeFileText(bytes));
  std::vector<std::vector<XZ>> curves;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::string l = lines[i];
    std::replace(l.begin(), l.end(), ',', ' ');
    const auto it = filetext::splitBlanks(filetext::trim(l));
    if (it.empty()) continue;
    long long n = 0;
    if (it.size() != 1 || !filetext::parseInt(it[0], n) || n < 2 || n > electric::kMaxDc2dRows) {
      say("第" + std::to_string(i + 1) + "行: 曲线点数错误");
      return false;
    }
    std::vector<XZ> pts;
    for (long long k = 0; k < n; ++k) {
      if (++i >= lines.size()) {
        say("第" + std::to_string(i) + "行: 数据不完整");
        return false;
      }
      std::string q = lines[i];
      std::replace(q.begin(), q.end(), ',', ' ');
      const auto v = filetext::splitBlanks(filetext::trim(q));
      double x = 0, z = 0;
      if (v.size() < 2 || !filetext::parseDouble(v[0], x) || !filetext::parseDouble(v[1], z) ||
          !std::isfinite(x) || !std::isfinite(z)) {
        say("第" + std::to_string(i + 1) + "行: 类型不匹配");
        return false;
      }
      pts.push_back({x, z});
    }
    curves.push_back(std::move(pts));
  }
  session_.newSection();
  const double snap = 1e-3 * session_.file().survey.unitSpacing();
  for (auto& c : curves) session_.addCurve(std::move(c), snap);
  return true;
}

bool Dc2dControl::askValue(const char* title, const char* label, double& value) {
  QDialog dlg(this);
  dlg.setObjectName("frmDc2dValue");
  dlg.setWindowTitle(QString::fromUtf8(title));
  auto* lay = new QVBoxLayout(&dlg);
  lay->addWidget(new QLabel(QString::fromUtf8(label), &dlg));
  auto* edit = new QLineEdit(QString::number(value, 'g', 8), &dlg);
  edit->setObjectName("txtValue");
  edit->setValidator(new QDoubleValidator(&dlg));
  lay->addWidget(edit);
  auto* ok = new QPushButton(QString::fromUtf8("确定"), &dlg);
  ok->setObjectName("Cmd_OK");
  auto* cancel = new QPushButton(QString::fromUtf8("取消"), &dlg);
  cancel->setObjectName("Cmd_Cancel");
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(ok);
  row->addWidget(cancel);
  lay->addLayout(row);
  connect(ok, &QPushButton::clicked, &dlg, &QDialog::accept);
  connect(cancel, &QPushButton::clicked, &dlg, &QDialog::reject);
  if (dlg.exec() != QDialog::Accepted) return false;
  bool ok2 = false;
  const double v = edit->text().toDouble(&ok2);
  if (!ok2 || !std::isfinite(v)) return false;
  value = v;
  return true;
}

void Dc2dControl::regionDialog(bool modifyMeshData, int only) {
  if (!session_.loaded()) return;
  frmDc2dRegions dlg(session_.model(), session_.file().chargeability(), only, this);
  if (dlg.exec() != QDialog::Accepted) return;
  for (const auto& r : dlg.rows) {
    const Outcome o = modifyMeshData ? session_.modifyRegion(r.region, r.rho, r.eta)
                                     : session_.setRegionProperties(r.region, r.rho, r.eta);
    if (!o) say(o.message);
  }
  picSection->update();
  reportState();
}

void Dc2dControl::refreshResults() {
  const bool fixedSource =
      session_.loaded() && (session_.file().survey.device == electric::Dc2dDevice::Charged ||
                            session_.file().survey.device == electric::Dc2dDevice::Gradient);
  auto show = [](ChartView* v, std::optional<chart::Chart> c) {
    v->setChart(c ? std::move(*c) : chart::Chart{});
    v->setVisible(c.has_value());
  };
  if (fixedSource) {
    show(chtObserved, session_.profileCurves(eta_, firstCurve_));
    show(chtComputed, std::nullopt);
  } else {
    show(chtObserved, session_.pseudoSection(false, eta_));
    show(chtComputed, session_.computed() ? session_.pseudoSection(true, eta_) : std::nullopt);
  }
  show(chtModel, session_.modelImage(eta_));
  picSection->update();
}

void Dc2dControl::reportState() {
  if (!host_) return;
  const bool loaded = session_.loaded(), mesh = session_.meshBuilt(),
             data = session_.meshDataReady(), done = session_.computed();
  const bool ip = loaded && session_.file().chargeability();
  const std::pair<const char*, bool> states[] = {
      {"mnuFYCreateNet", loaded},   {"mnuFYPositiVeinVolve", mesh}, {"mnuFYComputeAndShow", data},
      {"mnuFYNetDataModify", data}, {"mnuFYReParam", data},         {"mnuShowDiZhu", done},
      {"mnuShowJiHua", done && ip}, {"mnuResultDraftPs", done},     {"mnuSaveResultDataFile", done},
      {"mnuSaveDMDataFile", data}};
  for (const auto& [name, on] : states) host_->commandState(name, on);
}

QImage Dc2dControl::resultImage() const {
  std::vector<chart::Chart> charts;
  for (ChartView* v : {chtObserved, chtComputed, chtModel})
    if (v->isVisibleTo(this) && !v->chart().series.empty()) charts.push_back(v->chart());
  const int w = 1000, h = 360;
  QImage out(w, h * std::max<int>(1, static_cast<int>(charts.size())), QImage::Format_RGB32);
  out.fill(Qt::white);
  QPainter p(&out);
  for (std::size_t i = 0; i < charts.size(); ++i) {
    const chart::Image img = chart::renderChart(charts[i], w, h);
    const QImage q(reinterpret_cast<const uchar*>(img.pixels.data()), img.width, img.height,
                   img.stride, QImage::Format_ARGB32_Premultiplied);
    p.drawImage(0, static_cast<int>(i) * h, q);
  }
  return out;
}

bool Dc2dControl::command(const std::string& name) {
  const auto& all = closed::dc2dControlCommands();
  if (std::find(all.begin(), all.end(), name) == all.end()) return false;
  auto needFile = [&] {
    if (session_.loaded()) return true;
    say("没有装载数据文件");
    return false;
  };
  auto report = [&](const Outcome& o, bool quietOnSuccess = true) {
    if (!o)
      say(o.message);
    else if (!quietOnSuccess && !o.message.empty())
      lblInfo->setText(QString::fromStdString(o.message));
    else if (!o.message.empty())
      lblInfo->setText(QString::fromStdString(o.message));
    refreshResults();
    reportState();
  };
  using Tool = Dc2dSectionView::Tool;
  if (name == "mnuFileNew") {
    if (!needFile()) return true;
    const std::string path = host_ ? host_->requestFile(closed::Dc2dRequest::OpenTextData) : "";
    if (path.empty())
      session_.newSection();
    else
      loadCurves(path);
    picSection->clearSelection();
    report(Outcome::success());
  } else if (name == "mnuFileClose") {
    // The host closes its window.
  } else if (name == "mnuDotSign") {
    if (!needFile()) return true;
    double first = session_.stationLabel(session_.file().x0);
    if (askValue("点号标定", "起始点号 (测线坐标 X0 处的点号):", first)) {
      session_.setStationNumbering(first);
      picSection->update();
    }
  } else if (name == "mnuEditSelect") {
    picSection->setTool(Tool::Select);
  } else if (name == "mnuEditDelete") {
    if (picSection->selectedCurve() < 0) {
      say("请先选择曲线");
    } else {
      session_.removeCurve(picSection->selectedCurve());
      picSection->clearSelection();
    }
  } else if (name == "mnuEditRemoveRegn") {
    if (picSection->selectedRegion() < 0) {
      say("请先选择区域");
    } else {
      session_.removeRegion(picSection->selectedRegion());
      picSection->clearSelection();
      report(Outcome::success());
    }
  } else if (name == "mnuViewRuler") {
    picSection->setShowRuler(!picSection->showRuler());
  } else if (name == "mnuViewGrid") {
    picSection->setShowGrid(!picSection->showGrid());
  } else if (name == "mnuViewOutLine") {
    picSection->setShowOutlines(!picSection->showOutlines());
  } else if (name == "mnuResultAdjust") {
    double v = picSection->exaggeration();
    if (askValue("显示比例调整", "纵横比例 (纵向放大倍数):", v)) {
      if (v > 0)
        picSection->setExaggeration(v);
      else
        say("比例必须大于 0");
    }
  } else if (name == "mnuViewZoomIn") {
    picSection->zoom(1.5);
  } else if (name == "mnuViewZoomOut") {
    picSection->zoom(1 / 1.5);
  } else if (name == "mnuDrawLine") {
    picSection->setTool(Tool::Line);
  } else if (name == "mnuDrawBow") {
    picSection->setTool(Tool::Polyline);
  } else if (name == "mnuShowDiZhu" || name == "mnuShowJiHua") {
    eta_ = name == "mnuShowJiHua" && session_.loaded() && session_.file().chargeability();
    refreshResults();
  } else if (name == "mnuFYCreateRgn") {
    if (!needFile()) return true;
    const Outcome o = session_.createRegions();
    report(o);
    // New regions wait for their properties.
    bool missing = false;
    for (const auto& r : session_.model().regions) missing = missing || !r.hasProperties();
    if (o && missing) regionDialog(false);
  } else if (name == "mnuFYCreateNet") {
    if (!needFile()) return true;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const Outcome o = session_.buildMesh();
    QApplication::restoreOverrideCursor();
    report(o);
  } else if (name == "mnuFYPositiVeinVolve") {
    report(session_.fetchMeshData());
  } else if (name == "mnuFYComputeAndShow") {
    BarProgress progress(prgCompute);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const Outcome o = session_.compute(progress);
    QApplication::restoreOverrideCursor();
    report(o);
  } else if (name == "mnuFYNetDataModify") {
    if (!session_.meshDataReady())
      say("请先获取网格数据");
    else
      regionDialog(true);
  } else if (name == "mnuFYReParam") {
    report(session_.resetMeshData());
  } else if (name == "mnuResultDraftPs") {
    if (!session_.computed()) {
      say("没有正反演计算结果");
      return true;
    }
    const std::string path = host_ ? host_->requestFile(closed::Dc2dRequest::SaveResultImage) : "";
    if (path.empty()) return true;
    const bool png = QString::fromStdString(path).endsWith(".png", Qt::CaseInsensitive);
    if (!resultImage().save(QString::fromStdString(path), png ? "PNG" : "BMP"))
      say("文件无法写入: " + path);
  } else if (name == "mnuResultSerial") {
    double v = firstCurve_;
    if (askValue("偶极剖面曲线起始编号", "起始编号:", v)) {
      firstCurve_ = static_cast<int>(std::lround(v));
      refreshResults();
    }
  } else if (name == "mnuSaveResultDataFile") {
    if (!session_.computed()) {
      say("没有正反演计算结果");
      return true;
    }
    const std::string path = host_ ? host_->requestFile(closed::Dc2dRequest::SaveResultData) : "";
    if (!path.empty() && !filetext::writeWholeFile(path, utf8ToGbk(session_.resultText())))
      say("文件无法写入: " + path);
  } else if (name == "mnuSaveDMDataFile") {
    if (!session_.meshDataReady()) {
      say("请先获取网格数据");
      return true;
    }
    const std::string path = host_ ? host_->requestFile(closed::Dc2dRequest::SaveMeshData) : "";
    if (!path.empty() && !filetext::writeWholeFile(path, utf8ToGbk(session_.meshText())))
      say("文件无法写入: " + path);
  }
  return true;
}

}  // namespace sarnoth::gui
