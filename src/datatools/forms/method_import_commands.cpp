// The file imports of the menu "物探数据导入" and "剖面数据导入", one handler per entry of the
// import table (datatools/method_import.h): the open dialog with the entry's filter, then the
// engine's steps with its questions as message boxes, the rename picker (frmSelectFiles, mode
// 200) or, for profile files, the input box.
#include <QInputDialog>

#include "app/frmSelectFiles.h"
#include "app/messages.h"
#include "app/tool_registry.h"
#include "datatools/forms/data_form_support.h"
#include "datatools/method_import.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

std::string askNewName(QWidget* parent, const RenameRequest& r) {
  if (r.by == RenameBy::InputBox) {
    bool ok = false;
    const QString text = QInputDialog::getText(parent, qs(r.title), qs(r.prompt), QLineEdit::Normal,
                                               qs(r.defaultText), &ok);
    return ok ? ss(text.trimmed()) : std::string();
  }
  frmSelectFiles picker(parent);
  picker.mode = 200;
  picker.fileMask = qs(r.mask);
  picker.fileExt = qs(r.extension);
  picker.setWindowTitle(qs(r.title));
  picker.run();
  return gPickedFile;
}

void runImport(const MethodImportEntry& e, QWidget* mainWindow) {
  const std::string source = askOpenFileName(mainWindow, kMethodImportTitle, methodImportFilter(e));
  if (source.empty()) return;
  GuiInteraction ui(mainWindow);
  importMethodFile(e, source, gWorkPath, ui,
                   [mainWindow](const RenameRequest& r) { return askNewName(mainWindow, r); });
}

struct RegisterAll {
  RegisterAll() {
    for (const MethodImportEntry& e : methodImportTable())
      registerMenuCommand(e.menu, [&e](QWidget* mainWindow) { runImport(e, mainWindow); });
  }
} registerAll;

}  // namespace
}  // namespace sarnoth::gui
