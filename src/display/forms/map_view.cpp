#include "display/forms/map_view.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace sarnoth::gui {

MapView::MapView(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setMinimumSize(200, 200);
  setAutoFillBackground(true);
  QPalette pal = palette();
  pal.setColor(QPalette::Window, Qt::white);
  setPalette(pal);
  setCursor(Qt::OpenHandCursor);
}

void MapView::setLayer(const std::string& name, const QImage& image,
                       const display::ImageFrame& frame) {
  layer_ = name;
  image_ = image;
  frame_ = frame;
  fit();
}

bool MapView::removeLayer(const std::string& name) {
  if (!hasLayer(name)) return false;
  image_ = QImage();
  layer_.clear();
  update();
  return true;
}

void MapView::fit() {
  if (image_.isNull() || width() < 1 || height() < 1) {
    update();
    return;
  }
  scale_ = std::min(static_cast<double>(width()) / image_.width(),
                    static_cast<double>(height()) / image_.height());
  offset_ =
      QPointF((width() - image_.width() * scale_) / 2, (height() - image_.height() * scale_) / 2);
  update();
}

void MapView::zoomBy(double factor, QPointF about) {
  if (image_.isNull()) return;
  double next = std::clamp(scale_ * factor, 1e-3, 64.0);
  // Keep the image point under `about` where it is.
  QPointF img = (about - offset_) / scale_;
  scale_ = next;
  offset_ = about - img * scale_;
  update();
}

bool MapView::mapPosition(QPointF p, double& x, double& y) const {
  if (image_.isNull() || frame_.width < 1) return false;
  QPointF img = (p - offset_) / scale_;  // in image pixels
  // Image pixels to frame pixels (the bitmap may be shown at another size than the frame).
  double fx = img.x() * frame_.width / image_.width();
  double fy = img.y() * frame_.height / image_.height();
  x = frame_.xMin + fx * frame_.pixelSize;
  y = frame_.yMax - fy * frame_.pixelSize;
  return fx >= 0 && fy >= 0 && fx <= frame_.width && fy <= frame_.height;
}

void MapView::paintEvent(QPaintEvent*) {
  if (image_.isNull()) return;
  QPainter p(this);
  p.setRenderHint(QPainter::SmoothPixmapTransform, scale_ < 1);
  p.drawImage(QRectF(offset_, QSizeF(image_.width() * scale_, image_.height() * scale_)), image_);
}

void MapView::resizeEvent(QResizeEvent*) { fit(); }

void MapView::wheelEvent(QWheelEvent* e) {
  double steps = e->angleDelta().y() / 120.0;
  if (steps != 0) zoomBy(std::pow(1.25, steps), e->position());
  e->accept();
}

void MapView::mousePressEvent(QMouseEvent* e) {
  if (e->button() == Qt::LeftButton) {
    dragging_ = true;
    dragFrom_ = e->position();
    setCursor(Qt::ClosedHandCursor);
  } else if (e->button() == Qt::RightButton) {
    fit();
  }
}

void MapView::mouseMoveEvent(QMouseEvent* e) {
  if (dragging_) {
    offset_ += e->position() - dragFrom_;
    dragFrom_ = e->position();
    update();
  }
  double x = 0, y = 0;
  bool inside = mapPosition(e->position(), x, y);
  emit mouseMoved(x, y, inside);
}

void MapView::mouseReleaseEvent(QMouseEvent* e) {
  if (e->button() == Qt::LeftButton) {
    dragging_ = false;
    setCursor(Qt::OpenHandCursor);
  }
}

}  // namespace sarnoth::gui
