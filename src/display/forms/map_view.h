// The raster map view of the grid image viewer: one georeferenced image layer, pan with the left
// button, zoom with the wheel about the cursor or with the keys + and − about the centre, 0 (or
// the right button) to fit, a scale bar in map units, and the map coordinates of the mouse. A
// resize keeps the map point at the centre and the zoom; a fitted view stays fitted.
#pragma once

#include <QImage>
#include <QWidget>
#include <string>

#include "display/grid_render.h"

namespace sarnoth::gui {

class MapView : public QWidget {
  Q_OBJECT
 public:
  explicit MapView(QWidget* parent = nullptr);

  // Loads an image layer lying at `frame` on the map and fits the view to it.
  void setLayer(const std::string& name, const QImage& image, const display::ImageFrame& frame);
  // Unloads the layer of that name; false when there is none.
  bool removeLayer(const std::string& name);
  bool hasLayer(const std::string& name) const { return !image_.isNull() && name == layer_; }
  const QImage& image() const { return image_; }

  // Map position of a widget point; false outside the layer's extent or without a layer.
  bool mapPosition(QPointF widgetPos, double& x, double& y) const;
  double scale() const { return scale_; }  // screen pixels per image pixel
  // Map units per screen pixel at the present zoom; 0 without a layer.
  double unitsPerScreenPixel() const;
  // The map point at the centre of the view.
  bool centre(double& x, double& y) const;

  static constexpr double kZoomStep = 1.25;

 public slots:
  void fit();
  void zoomBy(double factor, QPointF about);
  void zoomIn();
  void zoomOut();

 signals:
  // The mouse's map coordinates; `inside` false when it left the image.
  void mouseMoved(double x, double y, bool inside);

 protected:
  void paintEvent(QPaintEvent*) override;
  void resizeEvent(QResizeEvent*) override;
  void keyPressEvent(QKeyEvent*) override;
  void wheelEvent(QWheelEvent*) override;
  void mousePressEvent(QMouseEvent*) override;
  void mouseMoveEvent(QMouseEvent*) override;
  void mouseReleaseEvent(QMouseEvent*) override;

 private:
  QImage image_;
  std::string layer_;
  display::ImageFrame frame_;
  double scale_ = 1;  // screen pixels per image pixel
  QPointF offset_;    // widget position of the image's top-left corner
  bool dragging_ = false;
  bool fitted_ = true;  // no zoom or pan since the last fit
  QPointF dragFrom_;
};

}  // namespace sarnoth::gui
