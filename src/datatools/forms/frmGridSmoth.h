// frmGridSmoth: mode 200 "网格数据圆滑处理" smooths one grid of Grid_Dat, mode 100
// "网格数据叠置处理" overlays two or more grids of one geometry (datatools/grid_smooth). The result
// is a
// "#DMX10GRIDB#" grid with the method "GridToGrid" in Grid_Dat; btnView shows it in the grid image
// viewer.
#pragma once

#include <QDialog>
#include <string>

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QPushButton;

namespace sarnoth::gui {

class frmGridSmoth : public QDialog {
  Q_OBJECT
 public:
  frmGridSmoth(QWidget* parent, int mode);
  // Lists the grids of Grid_Dat; an empty list gives "工作区中没有数据，请检查!!" and false.
  bool load();

  std::int16_t mode = 200;

  QListWidget* lstGrids = nullptr;
  QLabel* lblGridInfo = nullptr;
  QComboBox* cboMethod = nullptr;
  QLineEdit* txtWindow = nullptr;   // smoothing: window size
  QLineEdit* txtPasses = nullptr;   // smoothing: passes
  QLineEdit* txtWeights = nullptr;  // overlay: weights of the weighted sum
  QLineEdit* txtFileOut = nullptr;
  QProgressBar* prbSpeed = nullptr;
  QPushButton* btnApply = nullptr;
  QPushButton* btnView = nullptr;
  QPushButton* btnReturn = nullptr;

  bool overlay() const { return mode == 100; }
  // Grid_Dat\<txtFileOut>.grd
  std::string resultPath() const;

 public slots:
  void btnApply_Click();
  void btnView_Click();

 private:
  void methodChanged();
  void gridsChanged();
};

}  // namespace sarnoth::gui
