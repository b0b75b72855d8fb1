// The file dialogs of the workbench: Qt's own dialog (in Chinese with Qt's translations loaded),
// opening in the work area's folder for the kind of file asked for and remembering, for the
// session, the last folder chosen for each kind; a name typed without an extension gets the
// extension of the filter chosen, as desktop programs do.
//
// Filters are written as the system writes them: "描述|*.ext|描述|*.ext". Windows call
// askSaveFileName / askOpenFileName (messages.h, data_form_support.h), which come here unless a
// test has put a handler in place of the dialog.
#pragma once

#include <QString>
#include <string>

class QWidget;

namespace sarnoth::gui {

enum class FileKind {
  Grid,     // Grid_dat
  Image,    // Imag_Dat
  Report,   // temp: text reports, exported pictures of a window
  Profile,  // Prof_Dat
  Palette,  // the work area itself
  Outside,  // tables and files from elsewhere: the work area, then where the user went
};

// The folder a dialog for `kind` opens in: the last folder chosen for that kind in this session
// when there is one, else the work area's folder of that kind (gWorkPath + "Grid_dat" …), else
// the work area itself. Resolved and without a trailing separator.
std::string dialogFolder(FileKind kind);
// Remembers the folder of `chosenPath` for `kind` (empty paths are ignored).
void rememberDialogFolder(FileKind kind, const std::string& chosenPath);
// Forgets every remembered folder (a new session, or a test).
void forgetDialogFolders();

// `path` with the first extension of `filterPatterns` ("*.png", "*.tif *.tiff", "*.PAL;*.pal")
// appended when its file name has no extension; a filter of "*.*" or "*" adds nothing.
std::string withFilterExtension(const std::string& path, const std::string& filterPatterns);

// The patterns of the n-th entry of a system filter: ("a(*.x)|*.x|b|*.y;*.z", 1) → "*.y;*.z".
std::string filterPatterns(const std::string& systemFilter, int index);

// Qt's file dialog, not the platform's, so that its texts follow the translations loaded.
// Returns the chosen path ("" when cancelled); a save adds the chosen filter's extension. A
// `startDir` given (a work-area path as the system spells it) is where it opens instead of the
// folder of `kind`.
std::string runFileDialog(QWidget* parent, bool save, const std::string& title,
                          const std::string& systemFilter, const std::string& defaultName,
                          FileKind kind, const std::string& startDir = {});

}  // namespace sarnoth::gui
