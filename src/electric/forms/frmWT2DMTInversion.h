// frmWT2DMTInversion "大地电磁二维反演" (modeless): the four input files of the 2-D
// magnetotelluric inversion, chosen through frmSel2DmtFiles in Prof_Dat\2DMT\ and checked by
// their first line; the basic file's six items in the mode options and the five count boxes;
// the run through the 2DMT library (closed/mt2d.h) with its outputs moved into place; the
// pseudo-sections and the section of the inverted model as *.xyz text with a PNG beside
// (electric/mt2d_sections.h). frmWT2DMTInveTimes chooses the iteration whose output the result
// menus read; frmWT2DMTDataInput writes point files from imported data.
#pragma once

#include <QDialog>
#include <string>

class QAction;
class QLineEdit;
class QListWidget;
class QMenu;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace sarnoth::gui {

inline constexpr const char* kMt2dCaption = "大地电磁二维反演";

// The four input files: suffix, tag, chooser title, the message of an empty choice and of a
// wrong tag.
struct Mt2dInputKind {
  const char* suffix;
  const char* tag;
  const char* title;
  const char* emptyMessage;
  const char* wrongMessage;
};
const Mt2dInputKind& mt2dInputKind(int which);  // 0 basic, 1 grids, 2 model, 3 points

class frmWT2DMTInversion : public QDialog {
  Q_OBJECT
 public:
  explicit frmWT2DMTInversion(QWidget* parent = nullptr);

  QLineEdit* Text_BasedInfoFile = nullptr;
  QLineEdit* Text_GridsInfoFile = nullptr;
  QLineEdit* Text_ModelInfoFile = nullptr;
  QLineEdit* Text_PointInfoFile = nullptr;
  QPushButton* Cmd_BasedInfoFile = nullptr;
  QPushButton* Cmd_GridsInfoFile = nullptr;
  QPushButton* Cmd_ModelInfoFile = nullptr;
  QPushButton* Cmd_PointInfoFile = nullptr;
  QLineEdit* Text_nSite = nullptr;
  QLineEdit* Text_nFreq = nullptr;
  QLineEdit* Text_uGrid = nullptr;
  QLineEdit* Text_hGrid = nullptr;
  QLineEdit* Text_dGrid = nullptr;
  QRadioButton* Option_TE = nullptr;
  QRadioButton* Option_TM = nullptr;
  QRadioButton* Option_UN = nullptr;
  QRadioButton* Option_Metre = nullptr;
  QRadioButton* Option_Kilometre = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;
  QPushButton* Cmd_DataTrans = nullptr;
  QPushButton* Cmd_DataGraph = nullptr;
  QProgressBar* prbInverse = nullptr;
  QMenu* mnuDataTrans = nullptr;
  QMenu* mnuDataGraph = nullptr;  // holds mnuOriGraph and mnuInvGraph

  // A file button: 0 basic, 1 grids, 2 model, 3 points.
  void chooseInputFile(int which);
  void Cmd_OK_Click();
  // The entries of the popup menus, by their system names.
  void runMenu(const std::string& name);
  // The iteration whose output the result menus read (0: the last one run).
  int inversePass() const { return inversePass_; }

 private:
  QLineEdit* fileBox(int which) const;
  void fillFromBasic(const std::string& path);
  void originalSections(bool phase);
  void resultSections(int kind);  // 0 profile, 1 apparent resistivity, 2 phase
  std::string resultFile();
  std::string saveName(const std::string& title);
  void openDataInput(int mode);
  int inversePass_ = 0;
};

// frmWT2DMTInveTimes "反演输出文件选择" (modal): the iterations listed in
// Prof_Dat\2DMT\Iteration.log as "Mt2DInvOut.01" …; the choice is the number.
class frmWT2DMTInveTimes : public QDialog {
  Q_OBJECT
 public:
  explicit frmWT2DMTInveTimes(QWidget* parent = nullptr);
  // Fills the list; false (with the message shown) when there is no iteration to choose.
  bool load();
  QListWidget* lstTimes = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;
  int chosen = 0;
};

inline constexpr const char* kMsgNoIterations = "没有找到反演迭代记录文件，请先进行反演计算！";

}  // namespace sarnoth::gui
