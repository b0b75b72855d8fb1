// frmGridToImageView, "数据图像浏览 ": a grid file as a colour-graded or shaded-relief image in a
// map view, with the colour panel that grades it, a colour bar beside the image and the export
// of the shown image as PNG or GeoTIFF.
//
// The opener sets `mode` and calls openGrid() with the grid's path before showing the window
// (openGridImageView does both); the tool registry knows it as "frmGridToImageView" and opens it
// on the grid last picked, or asks for one with the grid picker;
// openGrid() reads the header (refusing another kind of file with "非Sarnoth网格数据."), makes
// the scratch files, defaults the colour panel from the grid's range and shows the image at once.
// The map zooms by buttons, wheel and keys, shows a scale bar, and the status bar gives X, Y and
// the value of the node under the cursor. Closing the window
// deletes the scratch files. The work is done by display/grid_viewer; the window collects its
// fields, calls it and shows the bitmap it wrote.
#pragma once

#include <QDialog>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "display/grid_viewer.h"

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QScrollBar;
class QStatusBar;
class QTreeWidget;

namespace sarnoth::gui {

class MapView;
class ColourBarView;

class frmGridToImageView : public QDialog {
  Q_OBJECT
 public:
  explicit frmGridToImageView(QWidget* parent = nullptr);
  ~frmGridToImageView() override;

  std::int16_t mode = 0;

  // The opening steps on a grid file; false (after the message) when it is not a grid.
  bool openGrid(const std::string& path);
  const std::string& gridFile() const { return gridFile_; }

  // The level list as the colour panel holds it.
  const ColourScale& scale() const { return scale_; }
  void setScale(const ColourScale& s);

  // The image shown, empty before the first successful apply.
  bool hasImage() const;
  // Writes the shown image: .png with the colour bar, .tif georeferenced. The button asks for
  // the name; this does the rest.
  bool exportTo(const std::string& path);

  // Dialogs the panel needs, replaceable so that the window can be driven headless:
  // a palette file to save (true) or load (false), empty when cancelled;
  std::function<std::string(bool save)> choosePaletteFile;
  // a colour index for "改变颜色", nullopt when cancelled;
  std::function<std::optional<int>(int current)> chooseColourIndex;
  // an export file name, empty when cancelled.
  std::function<std::string()> chooseExportFile;

 public slots:
  void apply();

 protected:
  void done(int r) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void buildUi();
  void fillLevelList();
  void colourButton(int index);
  void showCoordinates(double x, double y, bool inside);
  bool loadNodes();
  display::ViewRequest request() const;
  int desM() const;
  void paintBackLabel();

  std::string gridFile_;
  GridHeader header_;
  Grid grid_;  // nodes read on first need
  bool nodesRead_ = false;
  ColourScale scale_;
  std::optional<SysColourTable> colours_;
  std::vector<std::int32_t> ramp_;
  display::ViewRequest shown_;  // what the shown image was made from
  bool haveImage_ = false;
  bool scratchMade_ = false;

 public:
  // Controls, named as the system names them.
  QRadioButton* optSelM[3]{};
  QGroupBox* frameColr = nullptr;
  QTreeWidget* lsvColrs = nullptr;
  QRadioButton* optMode[4]{};
  QLineEdit* txtMin = nullptr;
  QLineEdit* txtMax = nullptr;
  QLineEdit* txtPar = nullptr;
  QLineEdit* txtDesM = nullptr;
  QPushButton* btnSetColr[6]{};
  QLabel* lblBColr = nullptr;
  QLineEdit* txtColrSt = nullptr;
  QLineEdit* txtColrGap = nullptr;
  QGroupBox* frameParSet = nullptr;
  QLineEdit* txtColrn = nullptr;
  QScrollBar* hsclbSatua = nullptr;
  QScrollBar* hsclbTipA = nullptr;
  QScrollBar* hsclbDiva = nullptr;
  QLineEdit* txtWid = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnReturn = nullptr;
  QPushButton* btnExport = nullptr;
  QPushButton* btnZoomIn = nullptr;
  QPushButton* btnZoomOut = nullptr;
  QPushButton* btnZoomFit = nullptr;
  MapView* edViewCtrl = nullptr;
  ColourBarView* picColrBar = nullptr;
  QStatusBar* sbrCoord = nullptr;
};

// Opens the viewer on a grid: a full path, or a name picked from the work area's grids
// (gPickedFile holds the picker's answer). Null when the file is refused. The window deletes
// itself on closing; the caller shows it.
frmGridToImageView* openGridImageView(QWidget* parent, const std::string& grid, int mode = 0);

}  // namespace sarnoth::gui
