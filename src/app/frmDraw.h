// frmDraw "图示窗": a picture box picDraw on which the caller draws, and the menu SaveGraph
// "保存图" with SaveBMP "保存为图像(&S)", which writes the picture as BMP or PNG.
#pragma once

#include <QDialog>
#include <QImage>
#include <QWidget>

class QMenu;
class QAction;

namespace sarnoth::gui {

// The drawing surface: an image the caller paints on with QPainter, shown as it is.
class PictureBox : public QWidget {
  Q_OBJECT
 public:
  explicit PictureBox(QWidget* parent = nullptr);
  QImage& picture() { return picture_; }
  const QImage& picture() const { return picture_; }
  // A new white picture of the given size.
  void clear(const QSize& size);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QImage picture_;
};

class frmDraw : public QDialog {
  Q_OBJECT
 public:
  explicit frmDraw(QWidget* parent = nullptr);

  // Writes the picture: PNG for a name ending in ".png", BMP otherwise (".bmp" added when the
  // name has no suffix). Returns the file written, or "" on failure.
  QString savePicture(const QString& path) const;

  PictureBox* picDraw = nullptr;
  QMenu* SaveGraph = nullptr;
  QAction* SaveBMP = nullptr;

 public slots:
  void SaveBMP_Click();
};

}  // namespace sarnoth::gui
