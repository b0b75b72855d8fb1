// frmFormatConvert: the format conversions of the work area from one window.
//   mode 100 "图像格式转换": an image to BMP, PNG, JPEG, TIFF or GIF.
//   mode 200 "数据格式转换": a grid (binary, ASCII — method "GEOMTOSRNPTH" —, Surfer, ArcView,
//            older files, GDAL rasters) or a scatter file (binary, ASCII, older, CSV) to the forms
//            its kind can take; the list of target forms follows the kind of the chosen file.
// The target is overwritten without a question.
#pragma once

#include <QDialog>
#include <vector>

#include "datatools/data_convert.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmFormatConvert : public QDialog {
  Q_OBJECT
 public:
  explicit frmFormatConvert(QWidget* parent = nullptr);
  void setMode(int mode);  // 100 images, 200 data; before the window is shown
  int mode() const { return mode_; }

  void setSourceFile(const QString& path);

  QLineEdit* txtSource = nullptr;
  QPushButton* btnBrowse = nullptr;
  QLabel* lblKind = nullptr;
  QComboBox* cboFormat = nullptr;
  QLineEdit* txtTarget = nullptr;
  QPushButton* btnSaveAs = nullptr;
  QCheckBox* chkNullsEmpty = nullptr;  // CSV target of a scatter file
  QProgressBar* prgBar = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;

 public slots:
  void btnBrowse_Click();
  void btnSaveAs_Click();
  void btnApply_Click();

 private:
  void sourceChanged();
  void formatChanged();
  QString extension() const;
  int mode_ = 100;
  std::vector<ConvertTarget> targets_;  // mode 200: what cboFormat lists
};

}  // namespace sarnoth::gui
