// frmSelectFiles "装载数据": the general file picker. The opener sets mode, fileMask, fileExt and
// the caption (the title of its request).
//
//   100, 110  gWorkPath + "Prof_Dat\"  pick a file; gPickedFile is the name alone
//   200       gWorkPath + "Prof_Dat\"  name a new file ("NewFile")
//   300       gWorkPath + "Grid_Dat\"  name a new file ("NewFile")
//   400, 500  gWorkPath + "Grid_Dat\"  pick a file; gPickedFile is the whole path
//
// A naming mode cuts the typed text at ',', refuses an empty name, asks Yes/No for a name that
// stands in the list and adds fileExt. gPickedFile is "" on cancel.
#pragma once

#include <QDialog>
#include <QString>
#include <string>

class QListWidget;
class QLineEdit;
class QPushButton;

namespace sarnoth::gui {

class frmSelectFiles : public QDialog {
  Q_OBJECT
 public:
  explicit frmSelectFiles(QWidget* parent = nullptr);

  int mode = 100;
  QString fileMask = "*.*";
  QString fileExt;

  // The on-opening work. False when the window closed itself (a directory that cannot be read,
  // or an empty list in 100 and 110).
  bool load();
  int run();

  virtual std::string directory() const;
  bool namingMode() const;

  QListWidget* flstGridFiles = nullptr;
  QLineEdit* txtFile = nullptr;
  QPushButton* btnSure = nullptr;
  QPushButton* btnCancel = nullptr;

 public slots:
  void btnSure_Click();
  void btnCancel_Click();
  void flstGridFiles_Click();
  void reject() override;

 protected:
  virtual QString defaultNewName() const { return "NewFile"; }
  // A picking mode with its first item selected and its empty list refused.
  virtual bool strictPick() const;
  virtual bool wholePath() const;
};

// frmSel2DmtFiles "装载数据": the same picker over gWorkPath + "Prof_Dat\2DMT\" for the
// magnetotelluric inversion's results. 100 picks a result file (caption
// "请选择您要打开的大地电磁二维反演结果数据文件名"), 200 names a new one ("NewFile").
class frmSel2DmtFiles : public frmSelectFiles {
  Q_OBJECT
 public:
  explicit frmSel2DmtFiles(QWidget* parent = nullptr);
  std::string directory() const override;

  // The opener's masks from the number of the inversion pass: "*.0" + n, or "*." + n.
  static QString passMask(int pass, bool leadingZero);

 protected:
  bool strictPick() const override { return !namingMode(); }
  bool wholePath() const override { return false; }
};

inline constexpr const char* k2DmtOpenTitle = "请选择您要打开的大地电磁二维反演结果数据文件名";

}  // namespace sarnoth::gui
