// frmGridDataIn: brings outside grids (mode 0, "外部网格数据导入工作区") or images (mode 100,
// "图像数据导入工作区") into the work area.
//
// Grids: ASCII grids of the system (method "ASCIITOBINARY"), Surfer and ArcView files, the older
// "VLQ2GRID" files, GeoTIFF and any other raster GDAL reads, written as Grid_dat/<name>.grd. The
// window shows what the file holds before it is imported, and can write the grid as the
// "#VLQ30GRIDA#" ASCII file for exchange. Images: any picture GDAL reads, copied into Imag_Dat.
#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmGridDataIn : public QDialog {
  Q_OBJECT
 public:
  explicit frmGridDataIn(QWidget* parent = nullptr);
  // Sets the mode (0 grids, 100 images); call before the window is shown.
  void setMode(int mode);
  int mode() const { return mode_; }

  void setFileName(const QString& path);

  QLineEdit* txtFileName = nullptr;
  QPushButton* btnBrowse = nullptr;
  QCheckBox* chkCellCorner = nullptr;  // ArcView: xllcorner as the GIS cell corner
  QLineEdit* txtNewName = nullptr;
  QPlainTextEdit* txtInfo = nullptr;
  QProgressBar* prgBar = nullptr;
  QPushButton* btnExport = nullptr;  // "#VLQ30GRIDA#" ASCII file
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void btnBrowse_Click();
  void btnExport_Click();
  void btnApply_Click();

 private:
  void fileChanged();
  int mode_ = 0;
  QLabel* lblOrigin_ = nullptr;
  QLabel* lblName_ = nullptr;
};

}  // namespace sarnoth::gui
