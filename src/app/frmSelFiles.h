// frmSelFiles "装载重磁数据": the grid file picker over gWorkPath + "Grid_Dat\" (mask *.grd).
//
//   100  pick a grid; the caller's map (when it has one) gets the grid's frame
//   200  name a new grid: the typed name, cut at ',', with ".grd"
//   300  pick a grid, the window as designed
//
// A list click (not in 200) tests the file's magic and reads its header into the window's own
// record; btnDInfo shows that record in frmInfoBox. The answer goes to gPickedFile, "" on cancel.
#pragma once

#include <QDialog>
#include <QString>
#include <functional>
#include <vector>

#include "workarea/grid_file.h"

class QListWidget;
class QLineEdit;
class QPushButton;

namespace sarnoth::gui {

// The frame of a grid on a map: its four edges and the labels at the edge ends and middles.
struct GridFrame {
  struct Line {
    double x1, y1, x2, y2;
  };
  struct Label {
    double x, y;
    double height;
    std::string text;
  };
  std::vector<Line> edges;    // layer "数据范围"
  std::vector<Label> labels;  // layer "数据标注"
  double xMin = 0, yMin = 0, xMax = 0, yMax = 0;
};
GridFrame gridFrame(const GridHeader& header);

class frmSelFiles : public QDialog {
  Q_OBJECT
 public:
  explicit frmSelFiles(QWidget* parent = nullptr);

  int mode = 300;
  // The caller's map, for mode 100; a caller without a map leaves it empty.
  std::function<void(const GridFrame&)> frameOnMap;

  // The on-opening work of the mode. False when the window closed itself (empty list in 100).
  bool load();
  // load() then exec(); Rejected when the window closed itself.
  int run();

  QString directory() const;
  const GridHeader& record() const { return record_; }
  bool recordRead() const { return recordRead_; }

  QListWidget* flstGridFiles = nullptr;
  QLineEdit* txtFile = nullptr;
  QPushButton* btnSure = nullptr;
  QPushButton* btnCancel = nullptr;
  QPushButton* btnDInfo = nullptr;

 public slots:
  void btnSure_Click();
  void btnCancel_Click();
  void btnDInfo_Click();
  void flstGridFiles_Click();
  void reject() override;

 private:
  GridHeader record_;
  bool recordRead_ = false;
};

}  // namespace sarnoth::gui
