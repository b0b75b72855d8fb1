#include "app/chart_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>

#include "display/chart_image.h"

namespace sarnoth::gui {

ChartView::ChartView(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
  setMinimumSize(120, 90);
}

void ChartView::setChart(chart::Chart chart) {
  chart_ = std::move(chart);
  lastSeries_ = lastIndex_ = -1;
  dirty_ = true;
  update();
}

void ChartView::setZoom(double zoom) {
  zoom = std::clamp(zoom, 1.0, 40.0);
  if (base_.isEmpty()) {
    auto* area =
        qobject_cast<QScrollArea*>(parentWidget() ? parentWidget()->parentWidget() : nullptr);
    base_ = area ? area->viewport()->size() : size();
  }
  zoom_ = zoom;
  if (zoom_ > 1.0)
    setMinimumSize(static_cast<int>(base_.width() * zoom_),
                   static_cast<int>(base_.height() * zoom_));
  else
    setMinimumSize(120, 90);
  resize(std::max(minimumWidth(), base_.width()), std::max(minimumHeight(), base_.height()));
  dirty_ = true;
  update();
}

void ChartView::render() {
  const int w = std::max(width(), 1), h = std::max(height(), 1);
  chart::Image img = chart::renderChart(chart_, w, h, &layout_);
  image_ = QImage(reinterpret_cast<const uchar*>(img.pixels.data()), img.width, img.height,
                  img.stride, QImage::Format_ARGB32_Premultiplied)
               .copy();
  dirty_ = false;
}

void ChartView::paintEvent(QPaintEvent*) {
  if (dirty_ || image_.size() != size()) render();
  QPainter p(this);
  p.drawImage(0, 0, image_);
}

void ChartView::resizeEvent(QResizeEvent*) { dirty_ = true; }

void ChartView::mouseMoveEvent(QMouseEvent* e) {
  if (dirty_) render();
  auto hit = chart::hitTest(chart_, layout_, e->position().x(), e->position().y(), 4.0);
  if (!hit) return;
  if (hit->series == lastSeries_ && hit->index == lastIndex_) return;
  lastSeries_ = hit->series;
  lastIndex_ = hit->index;
  emit hovered(hit->series, hit->index);
  if (tooltip_) {
    const QString text = tooltip_(hit->series, hit->index);
    setToolTip(text);
    if (!text.isEmpty()) QToolTip::showText(e->globalPosition().toPoint(), text, this);
  }
}

void ChartView::wheelEvent(QWheelEvent* e) {
  if (!(e->modifiers() & Qt::ControlModifier)) {
    e->ignore();
    return;
  }
  setZoom(zoom_ * (e->angleDelta().y() > 0 ? 1.25 : 0.8));
}

void ChartView::keyPressEvent(QKeyEvent* e) {
  switch (e->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal:
      setZoom(zoom_ * 1.25);
      break;
    case Qt::Key_Minus:
      setZoom(zoom_ * 0.8);
      break;
    case Qt::Key_0:
      setZoom(1.0);
      break;
    default:
      QWidget::keyPressEvent(e);
  }
}

bool ChartView::saveTo(const QString& path) const {
  return chart::writeChartFile(chart_, path.toStdString(), std::max(width(), 1),
                               std::max(height(), 1));
}

}  // namespace sarnoth::gui
