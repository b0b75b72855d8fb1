#include "display/forms/map_view.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "display/grid_viewer.h"

namespace sarnoth::gui {

MapView::MapView(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
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
  fitted_ = true;
  update();
}

void MapView::zoomIn() { zoomBy(kZoomStep, QPointF(width() / 2.0, height() / 2.0)); }
void MapView::zoomOut() { zoomBy(1 / kZoomStep, QPointF(width() / 2.0, height() / 2.0)); }

double MapView::unitsPerScreenPixel() const {
  if (image_.isNull() || frame_.width < 1 || scale_ <= 0) return 0;
  return frame_.pixelSize * frame_.width / image_.width() / scale_;
}

bool MapView::centre(double& x, double& y) const {
  if (image_.isNull() || frame_.width < 1) return false;
  mapPosition(QPointF(width() / 2.0, height() / 2.0), x, y);
  return true;
}

void MapView::zoomBy(double factor, QPointF about) {
  if (image_.isNull()) return;
  double next = std::clamp(scale_ * factor, 1e-3, 64.0);
  // Keep the image point under `about` where it is.
  QPointF img = (about - offset_) / scale_;
  scale_ = next;
  offset_ = about - img * scale_;
  fitted_ = false;
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
  // The scale bar, bottom left, on a white ground so that it reads over any colour.
  const display::ScaleBar bar = display::scaleBarFor(unitsPerScreenPixel(), 100);
  if (bar.pixels > 0) {
    const QFontMetrics fm(font());
    const int x = 12, y = height() - 12;
    const QRect box(x - 6, y - fm.height() - 14, bar.pixels + 12, fm.height() + 20);
    p.setRenderHint(QPainter::Antialiasing, false);
    p.fillRect(box, QColor(255, 255, 255, 210));
    p.setPen(QPen(Qt::black, 2));
    p.drawLine(x, y, x + bar.pixels, y);
    p.drawLine(x, y - 5, x, y);
    p.drawLine(x + bar.pixels, y - 5, x + bar.pixels, y);
    p.drawText(QRect(x, y - fm.height() - 8, bar.pixels, fm.height()), Qt::AlignCenter,
               QString::fromStdString(bar.label));
  }
}

void MapView::resizeEvent(QResizeEvent* e) {
  if (fitted_ || image_.isNull() || e->oldSize().width() < 1) {
    fit();
    return;
  }
  // The map point at the old centre stays at the centre, at the same zoom.
  const QPointF oldCentre(e->oldSize().width() / 2.0, e->oldSize().height() / 2.0);
  offset_ += QPointF(width() / 2.0, height() / 2.0) - oldCentre;
  update();
}

void MapView::keyPressEvent(QKeyEvent* e) {
  switch (e->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal:
      zoomIn();
      break;
    case Qt::Key_Minus:
    case Qt::Key_Underscore:
      zoomOut();
      break;
    case Qt::Key_0:
      fit();
      break;
    default:
      QWidget::keyPressEvent(e);
      return;
  }
  e->accept();
}

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
    fitted_ = false;
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
