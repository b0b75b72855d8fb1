#include "app/tool_registry.h"

#include <QDialog>
#include <QPointer>
#include <QWidget>
#include <exception>
#include <map>

#include "app/messages.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace {

std::map<std::string, ToolWindowFactory>& tools() {
  static std::map<std::string, ToolWindowFactory> m;
  return m;
}

std::map<std::string, MenuCommandHandler>& commands() {
  static std::map<std::string, MenuCommandHandler> m;
  return m;
}

template <typename Map, typename Fn>
Fn replaceEntry(Map& map, const std::string& name, Fn fn) {
  Fn old;
  auto it = map.find(name);
  if (it != map.end()) {
    old = std::move(it->second);
    map.erase(it);
  }
  if (fn) map.emplace(name, std::move(fn));
  return old;
}

}  // namespace

ToolWindowFactory registerToolWindow(const std::string& name, ToolWindowFactory factory) {
  return replaceEntry(tools(), name, std::move(factory));
}

bool toolWindowAvailable(const std::string& name) { return tools().count(name) > 0; }

QWidget* createToolWindow(const std::string& name, QWidget* parent, int mode) {
  auto it = tools().find(name);
  if (it == tools().end()) return nullptr;
  ToolWindowFactory factory = it->second;
  try {
    return factory(parent, mode);
  } catch (const std::exception&) {
    // Created with errors ignored: a window that cannot open does not appear.
    return nullptr;
  }
}

std::vector<std::string> registeredToolWindows() {
  std::vector<std::string> names;
  for (const auto& [name, f] : tools()) names.push_back(name);
  return names;
}

MenuCommandHandler registerMenuCommand(const std::string& menuName, MenuCommandHandler handler) {
  return replaceEntry(commands(), menuName, std::move(handler));
}

bool menuCommandAvailable(const std::string& menuName) { return commands().count(menuName) > 0; }

bool runMenuCommand(const std::string& menuName, QWidget* mainWindow) {
  auto it = commands().find(menuName);
  if (it == commands().end()) return false;
  MenuCommandHandler handler = it->second;  // the handler may register others
  handler(mainWindow);
  return true;
}

std::string notYetAvailableText(const std::string& caption) {
  QString plain = QString::fromStdString(caption);
  // "离散数据网格化(&G)" → "离散数据网格化"
  qsizetype amp = plain.indexOf("(&");
  if (amp >= 0) plain.truncate(amp);
  plain.remove('&');
  return "“" + plain.trimmed().toStdString() + "” 工具尚未提供, 暂不可用。";
}

void showGridImage(QWidget* parent, const std::string& gridPath) {
  constexpr const char* kViewer = "frmGridToImageView";
  if (!toolWindowAvailable(kViewer)) {
    notify(parent, notYetAvailableText("数据图像浏览 "));
    return;
  }
  const std::string saved = gPickedFile;
  gPickedFile = gridPath;
  QWidget* w = createToolWindow(kViewer, parent, 0);
  gPickedFile = saved;
  if (!w) return;
  if (!w->isWindow()) w->setWindowFlag(Qt::Window);
  QPointer<QWidget> guard(w);
  if (auto* dialog = qobject_cast<QDialog*>(w)) {
    dialog->exec();
    delete guard.data();
  } else {
    w->setAttribute(Qt::WA_DeleteOnClose);
    w->show();
  }
}

}  // namespace sarnoth::gui
