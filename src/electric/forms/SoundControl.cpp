#include "electric/forms/SoundControl.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cmath>

#include "app/messages.h"
#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {

using electric::SoundingPlot;
using electric::SoundingSession;

namespace {

QString num(double v, int decimals = 2) {
  if (isNullValue(v)) return {};
  return QString::number(v, 'f', decimals);
}

bool cellNumber(QTableWidget* t, int row, int col, double& v) {
  QTableWidgetItem* it = t->item(row, col);
  if (!it) return false;
  const QString s = it->text().trimmed();
  if (s.isEmpty()) {
    v = NULL_VALUE_D;
    return true;
  }
  return filetext::parseDouble(s.toStdString(), v);
}

QTableWidgetItem* fixedItem(const QString& text) {
  auto* it = new QTableWidgetItem(text);
  it->setFlags(it->flags() & ~Qt::ItemIsEditable);
  return it;
}

QTableWidgetItem* checkItem(bool on) {
  auto* it = new QTableWidgetItem;
  it->setFlags((it->flags() | Qt::ItemIsUserCheckable) & ~Qt::ItemIsEditable);
  it->setCheckState(on ? Qt::Checked : Qt::Unchecked);
  return it;
}

QStringList spacingHeaders(electric::SoundDevice d) {
  switch (d) {
    case electric::SoundDevice::PolePole:
      return {"AM(m)"};
    case electric::SoundDevice::SymmetricMN:
      return {"AB/2(m)", "MN/2(m)"};
    case electric::SoundDevice::Symmetric:
      return {"AB/2(m)"};
    case electric::SoundDevice::DipoleMN:
      return {"OO'(m)", "AB/2(m)", "MN/2(m)"};
    case electric::SoundDevice::DipoleField:
      return {"OO'(m)", "AB/2(m)"};
  }
  return {};
}

std::vector<double> spacingCells(electric::SoundDevice d, const electric::Spacing& s) {
  switch (d) {
    case electric::SoundDevice::PolePole:
    case electric::SoundDevice::Symmetric:
      return {s.r};
    case electric::SoundDevice::SymmetricMN:
      return {s.r, s.mn2};
    case electric::SoundDevice::DipoleMN:
      return {s.r, s.ab2, s.mn2};
    case electric::SoundDevice::DipoleField:
      return {s.r, s.ab2};
  }
  return {s.r};
}

}  // namespace

// --- plot view -----------------------------------------------------------------------------

SoundingPlotView::SoundingPlotView(QWidget* parent) : QWidget(parent) {
  setObjectName("picCurves");
  setMouseTracking(true);
  setMinimumSize(480, 300);
  setAutoFillBackground(true);
  QPalette p = palette();
  p.setColor(QPalette::Window, Qt::white);
  setPalette(p);
}

void SoundingPlotView::setPlot(const SoundingPlot& plot, bool chargeability) {
  plot_ = plot;
  eta_ = chargeability;
  update();
}

QRectF SoundingPlotView::curveRect() const {
  // Curves on the left two thirds, the staircase on the right third; misfit strip below.
  const double w = width(), h = height();
  return QRectF(60, 20, w * 0.62 - 70, h * 0.72 - 30);
}

namespace {

struct LogAxis {
  double lo, hi, p0, p1;  // data range (positive), pixel range
  double map(double v) const {
    return p0 + (p1 - p0) * (std::log10(v) - std::log10(lo)) / (std::log10(hi) - std::log10(lo));
  }
  double unmap(double p) const {
    return std::pow(10.0,
                    std::log10(lo) + (p - p0) / (p1 - p0) * (std::log10(hi) - std::log10(lo)));
  }
};

void decadeGrid(QPainter& g, const QRectF& r, const LogAxis& x, const LogAxis& y) {
  g.setPen(QPen(QColor(220, 220, 220), 1));
  for (double d = x.lo; d <= x.hi * 1.0001; d *= 10) {
    const double px = x.map(d);
    g.drawLine(QPointF(px, r.top()), QPointF(px, r.bottom()));
    g.setPen(Qt::black);
    g.drawText(QRectF(px - 30, r.bottom() + 2, 60, 14), Qt::AlignCenter, QString::number(d));
    g.setPen(QPen(QColor(220, 220, 220), 1));
  }
  for (double d = y.lo; d <= y.hi * 1.0001; d *= 10) {
    const double py = y.map(d);
    g.drawLine(QPointF(r.left(), py), QPointF(r.right(), py));
    g.setPen(Qt::black);
    g.drawText(QRectF(r.left() - 58, py - 7, 54, 14), Qt::AlignRight | Qt::AlignVCenter,
               QString::number(d));
    g.setPen(QPen(QColor(220, 220, 220), 1));
  }
  g.setPen(Qt::black);
  g.drawRect(r);
}

}  // namespace

void SoundingPlotView::paintEvent(QPaintEvent*) {
  QPainter g(this);
  g.setRenderHint(QPainter::Antialiasing);
  const QRectF c = curveRect();
  const LogAxis x{plot_.rMin, plot_.rMax, c.left(), c.right()};
  const LogAxis y{plot_.rhoMin, plot_.rhoMax, c.bottom(), c.top()};
  decadeGrid(g, c, x, y);
  g.drawText(QRectF(c.left(), 2, c.width(), 16), Qt::AlignCenter, "视电阻率 ρs(Ω·m) — 极距(m)");
  // Computed curve.
  if (!plot_.computed.empty()) {
    QPainterPath path;
    bool first = true;
    for (std::size_t j = 0; j < plot_.r.size(); ++j) {
      const QPointF p(x.map(plot_.r[j]), y.map(plot_.computed[j]));
      if (first)
        path.moveTo(p);
      else
        path.lineTo(p);
      first = false;
    }
    g.setPen(QPen(QColor(200, 30, 30), 2));
    g.drawPath(path);
  }
  // Observations.
  g.setPen(QPen(QColor(20, 60, 200), 1.5));
  for (std::size_t j = 0; j < plot_.r.size(); ++j) {
    if (isNullValue(plot_.observed[j])) continue;
    const QPointF p(x.map(plot_.r[j]), y.map(plot_.observed[j]));
    g.drawEllipse(p, 3.5, 3.5);
  }
  // Misfit strip, ±10 %.
  const QRectF m(c.left(), c.bottom() + 24, c.width(), height() - c.bottom() - 34);
  g.setPen(Qt::black);
  g.drawRect(m);
  g.drawText(QRectF(0, m.top(), c.left() - 4, m.height()), Qt::AlignRight | Qt::AlignVCenter,
             "误差%");
  g.setPen(QPen(Qt::gray, 1, Qt::DashLine));
  g.drawLine(QPointF(m.left(), m.center().y()), QPointF(m.right(), m.center().y()));
  g.setPen(QPen(QColor(0, 130, 60), 3));
  for (std::size_t j = 0; j < plot_.misfit.size(); ++j) {
    if (isNullValue(plot_.misfit[j])) continue;
    const double v = std::clamp(plot_.misfit[j], -10.0, 10.0);
    const double px = x.map(plot_.r[j]);
    g.drawLine(QPointF(px, m.center().y()),
               QPointF(px, m.center().y() - v / 10.0 * m.height() / 2));
  }
  // Staircase: resistivity across, depth down.
  const QRectF s(width() * 0.62 + 50, c.top(), width() * 0.38 - 70, m.bottom() - c.top());
  const LogAxis sx{plot_.rhoMin, plot_.rhoMax, s.left(), s.right()};
  const LogAxis sz{plot_.rMin, plot_.rMax, s.top(), s.bottom()};
  decadeGrid(g, s, sx, sz);
  g.drawText(QRectF(s.left(), 2, s.width(), 16), Qt::AlignCenter, "地电模型 ρ(Ω·m) — 深度(m)");
  QPainterPath stair;
  for (std::size_t i = 0; i < plot_.stairDepth.size(); ++i) {
    const double z = std::max(plot_.stairDepth[i], plot_.rMin);
    const QPointF p(sx.map(plot_.stairRho[i]), sz.map(std::min(z, plot_.rMax)));
    if (i == 0)
      stair.moveTo(p);
    else
      stair.lineTo(p);
  }
  g.setPen(QPen(QColor(120, 60, 0), 2));
  g.drawPath(stair);
  if (eta_ && !plot_.etaComputed.empty()) {
    g.setPen(Qt::darkGray);
    g.drawText(QRectF(c.left(), m.bottom() + 1, c.width(), 12), Qt::AlignLeft,
               "视极化率见结果文件");
  }
}

void SoundingPlotView::mouseMoveEvent(QMouseEvent* e) {
  const QRectF c = curveRect();
  const QPointF p = e->position();
  if (!c.contains(p) || !onPointer) return;
  const LogAxis x{plot_.rMin, plot_.rMax, c.left(), c.right()};
  const LogAxis y{plot_.rhoMin, plot_.rhoMax, c.bottom(), c.top()};
  onPointer(x.unmap(p.x()), y.unmap(p.y()));
}

// --- the control ----------------------------------------------------------------------------

SoundControl::SoundControl(QWidget* parent) : QWidget(parent) {
  setObjectName("SoundControl");
  picCurves = new SoundingPlotView(this);
  picCurves->onPointer = [this](double x, double y) {
    if (host_) host_->pointerMoved(x, y);
  };
  tblLayers = new QTableWidget(this);
  tblLayers->setObjectName("tblLayers");
  btnInsertLayer = new QPushButton("插入层", this);
  btnInsertLayer->setObjectName("btnInsertLayer");
  btnRemoveLayer = new QPushButton("删除层", this);
  btnRemoveLayer->setObjectName("btnRemoveLayer");
  lblInfo = new QLabel(this);
  lblInfo->setObjectName("lblInfo");
  auto* bottom = new QWidget(this);
  auto* bl = new QHBoxLayout(bottom);
  bl->addWidget(tblLayers, 1);
  auto* side = new QVBoxLayout;
  side->addWidget(btnInsertLayer);
  side->addWidget(btnRemoveLayer);
  side->addWidget(lblInfo);
  side->addStretch();
  bl->addLayout(side);
  auto* split = new QSplitter(Qt::Vertical, this);
  split->addWidget(picCurves);
  split->addWidget(bottom);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 1);
  auto* lay = new QVBoxLayout(this);
  lay->setContentsMargins(0, 0, 0, 0);
  lay->addWidget(split);
  connect(tblLayers, &QTableWidget::cellChanged, this, &SoundControl::onLayerEdited);
  connect(btnInsertLayer, &QPushButton::clicked, this, [this] {
    if (!session_.loaded()) return;
    const int row = std::max(tblLayers->currentRow(), 0);
    Outcome o = session_.insertLayer(static_cast<std::size_t>(row));
    if (!o) say(o.message);
    refresh();
  });
  connect(btnRemoveLayer, &QPushButton::clicked, this, [this] {
    if (!session_.loaded() || tblLayers->currentRow() < 0) return;
    Outcome o = session_.removeLayer(static_cast<std::size_t>(tblLayers->currentRow()));
    if (!o) say(o.message);
    refresh();
  });
  refresh();
}

void SoundControl::say(const std::string& text) {
  showMessage(this, kTitleInfo, text, Buttons::Ok, Icon::Information);
}

void SoundControl::setRun(int calcMode, int paramMode, int device) {
  calc_ = calcMode;
  param_ = paramMode;
  device_ = device;
  session_ = SoundingSession();
  refresh();
}

bool SoundControl::command(const std::string& name) {
  if (name == "mnuFileNew" || name == "mnuForwardQuit" || name == "mnuInverseQuit") {
    session_ = SoundingSession();
  } else if (name == "mnuFileOpen") {
    openData(calc_ == 2);
  } else if (name == "mnuFileSave") {
    const std::string path = host_ ? host_->requestFile(closed::SoundRequest::SaveImage) : "";
    if (!path.empty()) {
      const bool png = QString::fromStdString(path).endsWith(".png", Qt::CaseInsensitive);
      if (!image().save(QString::fromStdString(path), png ? "PNG" : "BMP"))
        say("图形文件无法写入: " + path);
    }
  } else if (name == "mnuFileClose") {
    if (QWidget* w = window()) w->close();
  } else if (name == "mnuForwardInput") {
    openData(false);
  } else if (name == "mnuInverseInput") {
    openData(true);
  } else if (name == "mnuForwardCompute") {
    computeNow(false);
  } else if (name == "mnuInverseCompute") {
    computeNow(true);
  } else if (name == "mnuForwardDraw" || name == "mnuInverseDraw") {
    // Redrawn below.
  } else if (name == "mnuInverseJiDianJiaoZ") {
    if (!session_.loaded()) return true;
    Outcome o = session_.electrodeCorrection();
    say(o.message);
  } else if (name == "mnuInverseDataChang") {
    if (session_.loaded()) dataChange();
  } else if (name == "mnuInverseCengWei") {
    if (session_.loaded()) layerPositions();
  } else if (name == "mnuHelpAbout") {
    say("一维电阻率极化率测深正反演: 数字滤波正演 (Guptasarma & Singh 1997), Seigel 极化率, "
        "Marquardt 阻尼最小二乘与 Occam 光滑反演");
  } else {
    return false;
  }
  refresh();
  return true;
}

void SoundControl::openData(bool inverse) {
  if (!host_) return;
  const std::string path = host_->requestFile(inverse ? closed::SoundRequest::OpenInverseFile
                                                      : closed::SoundRequest::OpenForwardFile);
  if (path.empty()) return;
  SoundingSession next;
  std::string error;
  if (!next.load(path, error)) {
    say(error);
    return;
  }
  session_ = std::move(next);
  if (inverse) {
    const std::string pos = host_->requestFile(closed::SoundRequest::OpenPositionFile);
    if (!pos.empty()) {
      std::vector<electric::StationPosition> stations;
      electric::SoundingHead head;
      Outcome o = electric::readPositionFile(pos, stations, head, error)
                      ? session_.takePosition(stations)
                      : Outcome::failure(error);
      if (!o) say(o.message);
    }
  }
}

void SoundControl::computeNow(bool inverse) {
  if (!session_.loaded() || session_.file().inverse() != inverse) return;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  Outcome o = session_.compute();
  QApplication::restoreOverrideCursor();
  if (!o) {
    say(o.message);
    return;
  }
  refresh();
  if (!host_) return;
  const std::string path = host_->requestFile(inverse ? closed::SoundRequest::SaveInverseResult
                                                      : closed::SoundRequest::SaveForwardResult);
  if (!path.empty() && !filetext::writeWholeFile(path, utf8ToGbk(session_.resultText())))
    say("结果文件无法写入: " + path);
}

void SoundControl::refresh() {
  if (session_.loaded()) {
    picCurves->setPlot(session_.plot(), session_.file().chargeability());
  } else {
    picCurves->setPlot(SoundingPlot{}, false);
  }
  fillLayers();
  QString info;
  if (const auto* r = session_.inversion())
    info = QString("拟合差 %1%\n迭代 %2 次%3")
               .arg(r->rmsPercent, 0, 'f', 2)
               .arg(r->iterations)
               .arg(r->converged ? "" : "\n未收敛");
  else if (session_.computed())
    info = QString("拟合差 %1%")
               .arg(electric::rmsMisfitPercent(session_.file().rho, session_.response()->rho,
                                               [&] {
                                                 std::vector<bool> u;
                                                 for (double v : session_.file().rho)
                                                   u.push_back(!isNullValue(v));
                                                 return u;
                                               }()),
                    0, 'f', 2);
  lblInfo->setText(info);
  reportState();
}

void SoundControl::fillLayers() {
  filling_ = true;
  const bool ip = session_.loaded() && session_.file().chargeability();
  const bool inverse = session_.loaded() && session_.file().inverse();
  QStringList header{"层厚(m)", "电阻率(Ω·m)"};
  if (ip) header << "极化率(%)";
  if (inverse) header << "固定";
  tblLayers->clear();
  tblLayers->setColumnCount(header.size());
  tblLayers->setHorizontalHeaderLabels(header);
  const auto& e = session_.model();
  tblLayers->setRowCount(session_.loaded() ? static_cast<int>(e.layers()) : 0);
  for (int i = 0; session_.loaded() && i < static_cast<int>(e.layers()); ++i) {
    const auto k = static_cast<std::size_t>(i);
    tblLayers->setItem(
        i, 0, k < e.thickness.size() ? new QTableWidgetItem(num(e.thickness[k])) : fixedItem("∞"));
    tblLayers->setItem(i, 1, new QTableWidgetItem(num(e.resistivity[k])));
    int col = 2;
    if (ip) tblLayers->setItem(i, col++, new QTableWidgetItem(num(e.chargeability[k])));
    if (inverse)
      tblLayers->setItem(i, col, new QTableWidgetItem(QString::number(session_.fixed()[k])));
  }
  filling_ = false;
}

void SoundControl::onLayerEdited(int row, int) {
  if (filling_ || !session_.loaded()) return;
  const auto k = static_cast<std::size_t>(row);
  const auto& e = session_.model();
  const bool ip = session_.file().chargeability(), inverse = session_.file().inverse();
  double h = k < e.thickness.size() ? 0 : 1, rho = 0, eta = ip ? 0 : 0, flag = session_.fixed()[k];
  bool ok = (k >= e.thickness.size() || cellNumber(tblLayers, row, 0, h)) &&
            cellNumber(tblLayers, row, 1, rho) && (!ip || cellNumber(tblLayers, row, 2, eta)) &&
            (!inverse || cellNumber(tblLayers, row, ip ? 3 : 2, flag));
  Outcome o = ok ? session_.setLayer(k, h, rho, eta, static_cast<int>(flag))
                 : Outcome::failure(electric::kMsgBadInput);
  if (!o) say(o.message);
  refresh();
}

void SoundControl::reportState() {
  if (!host_) return;
  const bool loaded = session_.loaded();
  const bool fwd = calc_ == 1, inv = calc_ == 2;
  const bool fwdFile = loaded && !session_.file().inverse();
  const bool invFile = loaded && session_.file().inverse();
  host_->commandState("mnuForwardInput", fwd);
  host_->commandState("mnuForwardCompute", fwdFile);
  host_->commandState("mnuForwardDraw", fwdFile);
  host_->commandState("mnuForwardQuit", fwd);
  host_->commandState("mnuInverseInput", inv);
  host_->commandState("mnuInverseDraw", invFile);
  host_->commandState("mnuInverseJiDianJiaoZ",
                      invFile && (session_.file().device() == electric::SoundDevice::SymmetricMN ||
                                  session_.file().device() == electric::SoundDevice::DipoleMN));
  host_->commandState("mnuInverseDataChang", invFile);
  host_->commandState("mnuInverseCengWei", invFile);
  host_->commandState("mnuInverseCompute", invFile);
  host_->commandState("mnuInverseQuit", inv);
}

QImage SoundControl::image() const {
  QImage img(picCurves->size(), QImage::Format_RGB32);
  img.fill(Qt::white);
  picCurves->render(&img);
  return img;
}

void SoundControl::dataChange() {
  frmSoundData dlg(session_, this);
  dlg.exec();
}

void SoundControl::layerPositions() {
  if (session_.model().layers() < 2) return;
  frmSoundLayers dlg(session_, this);
  dlg.exec();
}

// --- dialogs -------------------------------------------------------------------------------

namespace {

void buttonsBelow(QDialog* d, QWidget* table, QPushButton*& ok, QPushButton*& cancel) {
  ok = new QPushButton("确定", d);
  ok->setObjectName("Cmd_OK");
  cancel = new QPushButton("取消", d);
  cancel->setObjectName("Cmd_Cancel");
  auto* lay = new QVBoxLayout(d);
  lay->addWidget(table);
  auto* row = new QHBoxLayout;
  row->addStretch();
  row->addWidget(ok);
  row->addWidget(cancel);
  lay->addLayout(row);
  QObject::connect(cancel, &QPushButton::clicked, d, &QDialog::reject);
}

}  // namespace

frmSoundData::frmSoundData(SoundingSession& session, QWidget* parent)
    : QDialog(parent), session_(session) {
  setObjectName("frmSoundData");
  setWindowTitle("数据修改");
  const auto& f = session.file();
  QStringList header = spacingHeaders(f.device());
  const int cols = header.size();
  header << "视电阻率";
  if (f.chargeability()) header << "视极化率";
  header << "使用";
  tblData = new QTableWidget(static_cast<int>(f.spacings.size()), header.size(), this);
  tblData->setObjectName("tblData");
  tblData->setHorizontalHeaderLabels(header);
  for (int j = 0; j < tblData->rowCount(); ++j) {
    const auto k = static_cast<std::size_t>(j);
    const auto cells = spacingCells(f.device(), f.spacings[k]);
    for (int c = 0; c < cols; ++c)
      tblData->setItem(j, c, fixedItem(num(cells[static_cast<std::size_t>(c)])));
    tblData->setItem(j, cols, new QTableWidgetItem(num(f.rho[k], 3)));
    if (f.chargeability()) tblData->setItem(j, cols + 1, new QTableWidgetItem(num(f.eta[k], 3)));
    tblData->setItem(j, header.size() - 1, checkItem(session.use()[k]));
  }
  buttonsBelow(this, tblData, Cmd_OK, Cmd_Cancel);
  resize(520, 480);
  connect(Cmd_OK, &QPushButton::clicked, this, &frmSoundData::apply);
}

void frmSoundData::apply() {
  const auto& f = session_.file();
  const int cols = spacingColumns(f.device());
  for (int j = 0; j < tblData->rowCount(); ++j) {
    double rho = 0, eta = NULL_VALUE_D;
    const bool used = tblData->item(j, tblData->columnCount() - 1)->checkState() == Qt::Checked;
    Outcome o = Outcome::failure(electric::kMsgBadInput);
    if (cellNumber(tblData, j, cols, rho) &&
        (!f.chargeability() || cellNumber(tblData, j, cols + 1, eta)))
      o = session_.setObservation(static_cast<std::size_t>(j), rho, eta, used);
    if (!o) {
      showMessage(this, kTitleInfo, "第" + std::to_string(j + 1) + "点: " + o.message);
      return;
    }
  }
  accept();
}

frmSoundLayers::frmSoundLayers(SoundingSession& session, QWidget* parent)
    : QDialog(parent), session_(session) {
  setObjectName("frmSoundLayers");
  setWindowTitle("层位设置");
  const auto& e = session.model();
  tblDepths = new QTableWidget(static_cast<int>(e.thickness.size()), 2, this);
  tblDepths->setObjectName("tblDepths");
  tblDepths->setHorizontalHeaderLabels({"界面深度(m)", "已知层位"});
  for (int i = 0; i < tblDepths->rowCount(); ++i) {
    const auto k = static_cast<std::size_t>(i);
    tblDepths->setItem(i, 0, new QTableWidgetItem(num(e.depthOf(k))));
    tblDepths->setItem(i, 1, checkItem(session.fixed()[k] & electric::kFixThickness));
  }
  buttonsBelow(this, tblDepths, Cmd_OK, Cmd_Cancel);
  connect(Cmd_OK, &QPushButton::clicked, this, &frmSoundLayers::apply);
}

void frmSoundLayers::apply() {
  std::vector<double> depths;
  std::vector<bool> known;
  for (int i = 0; i < tblDepths->rowCount(); ++i) {
    double z = 0;
    if (!cellNumber(tblDepths, i, 0, z)) {
      showMessage(this, kTitleInfo, electric::kMsgBadInput);
      return;
    }
    depths.push_back(z);
    known.push_back(tblDepths->item(i, 1)->checkState() == Qt::Checked);
  }
  Outcome o = session_.setInterfaces(depths, known);
  if (!o) {
    showMessage(this, kTitleInfo, o.message);
    return;
  }
  accept();
}

}  // namespace sarnoth::gui
