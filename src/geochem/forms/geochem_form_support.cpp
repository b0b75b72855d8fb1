#include "geochem/forms/geochem_form_support.h"

#include <QInputDialog>
#include <QLineEdit>

#include "app/frmGridView.h"
#include "app/messages.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

InputBoxHandler& inputHandler() {
  static InputBoxHandler h;
  return h;
}

}  // namespace

void showWorkTable(QWidget* parent, const std::string& table) {
  if (table.empty()) return;
  gViewConnect = "Provider=Microsoft.Jet.OLEDB.4.0;;;Data Source=" + gWorkPath + kQueryDbMdb;
  gViewSource = table;
  frmGridView view(parent);
  if (view.load()) view.exec();
}

std::optional<std::string> askInputText(QWidget* parent, const std::string& title,
                                        const std::string& prompt, const std::string& text) {
  if (inputHandler()) return inputHandler()(prompt);
  bool ok = false;
  QString s =
      QInputDialog::getText(parent, qs(title), qs(prompt), QLineEdit::Normal, qs(text), &ok);
  if (!ok) return std::nullopt;
  return ss(s);
}

InputBoxHandler setInputBoxHandler(InputBoxHandler handler) {
  InputBoxHandler old = std::move(inputHandler());
  inputHandler() = std::move(handler);
  return old;
}

bool writeGbkTextFile(const std::string& path, const std::string& utf8) {
  return filetext::writeWholeFile(resolvePath(path), utf8ToGbk(utf8));
}

}  // namespace sarnoth::gui
