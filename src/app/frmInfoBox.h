// frmInfoBox "信息提示窗 -- 按右键打开菜单": a rich-text box that shows a file or a text.
//
//   1001   gSysPath + "Ini_stru\basicelem.txt"
//   3000   the file named by gPickedFile
//   4000   the file named by filePath
//   5000   gSysPath + "gprocessmdp.gnf", caption "模块开发单位与开发者信息", a larger window
//   20000  nothing: the opener fills rtbInfo
//   other  gTempPath + "Errorinfo.txt"
//
// A right click opens the menu mnuFile: save as RTF or text, print, return.
#pragma once

#include <QDialog>
#include <QString>
#include <string>

class QMenu;
class QAction;
class QTextEdit;
class QPrinter;

namespace sarnoth::gui {

class frmInfoBox : public QDialog {
  Q_OBJECT
 public:
  explicit frmInfoBox(QWidget* parent = nullptr);

  int mode = 0;
  QString filePath;  // mode 4000

  // The file the mode shows, "" for 20000.
  std::string sourceFile() const;
  // Loads the mode's source. False (after a message) when the file cannot be read.
  bool load();
  int run();

  // Writes the box's text: RTF for a name ending in ".rtf", GBK text otherwise.
  bool saveTo(const QString& path) const;
  void printTo(QPrinter& printer) const;

  QTextEdit* rtbInfo = nullptr;
  QMenu* mnuFile = nullptr;
  QAction* mnuFileSave = nullptr;
  QAction* mnuFilePrint = nullptr;
  QAction* mnuFileReturn = nullptr;

 public slots:
  void mnuFileSave_Click();
  void mnuFilePrint_Click();
  void mnuFileReturn_Click();
};

// The box's text as RTF in the Chinese code page (936), CJK characters as \uN escapes.
std::string plainTextToRtf(const QString& text);

}  // namespace sarnoth::gui
