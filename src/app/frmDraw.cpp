#include "app/frmDraw.h"

#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QVBoxLayout>

#include "app/file_dialogs.h"
#include "app/messages.h"
#include "workarea/path_resolver.h"

namespace sarnoth::gui {

PictureBox::PictureBox(QWidget* parent) : QWidget(parent) {
  setObjectName("picDraw");
  clear(QSize(600, 420));
  setMinimumSize(200, 150);
}

void PictureBox::clear(const QSize& size) {
  picture_ = QImage(size, QImage::Format_RGB32);
  picture_.fill(Qt::white);
  update();
}

void PictureBox::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), Qt::white);
  p.drawImage(0, 0, picture_);
}

frmDraw::frmDraw(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDraw");
  setWindowTitle(QString::fromUtf8("图示窗"));
  auto* bar = new QMenuBar(this);
  SaveGraph = bar->addMenu(QString::fromUtf8("保存图"));
  SaveGraph->setObjectName("SaveGraph");
  SaveBMP = SaveGraph->addAction(QString::fromUtf8("保存为图像(&S)"));
  SaveBMP->setObjectName("SaveBMP");
  connect(SaveBMP, &QAction::triggered, this, &frmDraw::SaveBMP_Click);
  picDraw = new PictureBox(this);
  auto* layout = new QVBoxLayout(this);
  layout->setMenuBar(bar);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(picDraw);
  resize(620, 460);
}

QString frmDraw::savePicture(const QString& path) const {
  QString target = path;
  if (QFileInfo(target).suffix().isEmpty()) target += ".bmp";
  const bool png = target.endsWith(".png", Qt::CaseInsensitive);
  const QString resolved = QString::fromStdString(resolvePath(target.toStdString()));
  if (!picDraw->picture().save(resolved, png ? "PNG" : "BMP")) return {};
  return target;
}

void frmDraw::SaveBMP_Click() {
  const std::string name = askSaveFileName(
      this, "保存", "位图文件(*.bmp)|*.bmp|PNG 图像(*.png)|*.png", {}, FileKind::Report);
  if (name.empty()) return;
  if (savePicture(QString::fromStdString(name)).isEmpty()) notify(this, "不能写入文件: " + name);
}

}  // namespace sarnoth::gui
