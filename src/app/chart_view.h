// A chart (display/chart.h) shown in a window: drawn by the core's renderer, so what is seen is
// what a saved PNG holds. The pointer over a point raises `hovered` and shows the tooltip the
// owner formats; Ctrl+wheel and the keys +, − and 0 zoom (the picture grows beyond the widget
// when the view sits in a scroll area, which keeps a 500-leaf dendrogram readable).
#pragma once

#include <QImage>
#include <QString>
#include <QWidget>
#include <functional>

#include "display/chart.h"

namespace sarnoth::gui {

class ChartView : public QWidget {
  Q_OBJECT
 public:
  explicit ChartView(QWidget* parent = nullptr);

  void setChart(chart::Chart chart);
  const chart::Chart& chart() const { return chart_; }
  // The layout of the last drawing (pixel ↔ data).
  const chart::Layout& layout() const { return layout_; }

  // Text of the tooltip for a point (series, index); empty: no tooltip.
  void setTooltipFormatter(std::function<QString(int series, int index)> f) {
    tooltip_ = std::move(f);
  }
  // 1 fills the visible area; above 1 the picture is that many times larger.
  void setZoom(double zoom);
  double zoom() const { return zoom_; }

  // Writes the chart at its current size as PNG or SVG (by the extension); false on failure.
  bool saveTo(const QString& path) const;
  // The picture as shown.
  QImage picture() const { return image_; }

 signals:
  void hovered(int series, int index);

 protected:
  void paintEvent(QPaintEvent*) override;
  void resizeEvent(QResizeEvent*) override;
  void mouseMoveEvent(QMouseEvent*) override;
  void wheelEvent(QWheelEvent*) override;
  void keyPressEvent(QKeyEvent*) override;

 private:
  chart::Chart chart_;
  chart::Layout layout_;
  QImage image_;
  double zoom_ = 1.0;
  QSize base_;
  bool dirty_ = true;
  int lastSeries_ = -1, lastIndex_ = -1;
  std::function<QString(int, int)> tooltip_;

  void render();
};

}  // namespace sarnoth::gui
