// Every message box of the workbench goes through here: title, text, buttons, icon.
//
// Windows call showMessage(); engines get a GuiInteraction that does the same. Tests install a
// handler that answers instead of a box, so every window can be driven headless.
#pragma once

#include <QString>
#include <functional>
#include <string>
#include <vector>

#include "workarea/interaction.h"

class QWidget;

namespace sarnoth::gui {

using MessageHandler = std::function<Answer(const std::string& title, const std::string& text,
                                            Buttons buttons, Icon icon)>;

// Shows a box (or asks the installed handler) and returns the button pressed.
Answer showMessage(QWidget* parent, const std::string& title, const std::string& text,
                   Buttons buttons = Buttons::Ok, Icon icon = Icon::Information);
// The common "Sarnoth 提示" box with an OK button.
void notify(QWidget* parent, const std::string& text);

// Installs a handler in place of real boxes; returns the previous one. An empty handler
// restores the boxes.
MessageHandler setMessageHandler(MessageHandler handler);

// For tests: records every box and answers from a queue (then `fallback`).
class ScriptedMessages {
 public:
  explicit ScriptedMessages(std::vector<Answer> answers = {}, Answer fallback = Answer::Ok);
  ~ScriptedMessages();
  std::vector<std::string> texts;   // texts shown, in order
  std::vector<std::string> titles;  // their titles

 private:
  std::vector<Answer> answers_;
  std::size_t next_ = 0;
  Answer fallback_;
  MessageHandler previous_;
};

// File dialogs go through here as well, so that a window that asks for a file name can be driven
// headless. Filters are written as the system writes them: "描述|*.ext|描述|*.ext".
using FileDialogHandler = std::function<std::string(
    const std::string& title, const std::string& filter, const std::string& defaultName)>;

enum class FileKind;

// A save dialog; returns the chosen path, or "" when cancelled. It opens in the work area's
// folder for `kind` (or the last one chosen for it), and a name without an extension gets the
// extension of the filter chosen (the first filter's when a handler answers).
std::string askSaveFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            const std::string& defaultName = {});
std::string askSaveFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            const std::string& defaultName, FileKind kind);
// Installs a handler in place of the save dialog; returns the previous one.
FileDialogHandler setSaveDialogHandler(FileDialogHandler handler);
// "文本文件(*.RTF)|*.rtf|所有文件(*.*)|*.*" → "文本文件(*.RTF) (*.rtf);;所有文件(*.*) (*.*)".
QString qtFileFilter(const std::string& systemFilter);

// For tests: answers save dialogs from a queue ("" once it runs dry) and records their titles.
class ScriptedSaveDialogs {
 public:
  explicit ScriptedSaveDialogs(std::vector<std::string> answers);
  ~ScriptedSaveDialogs();
  std::vector<std::string> titles;
  std::vector<std::string> filters;

 private:
  std::vector<std::string> answers_;
  std::size_t next_ = 0;
  FileDialogHandler previous_;
};

// The engines' questions answered through the message boxes.
class GuiInteraction : public Interaction {
 public:
  explicit GuiInteraction(QWidget* parent) : parent_(parent) {}
  Answer ask(const std::string& title, const std::string& text, Buttons buttons,
             Icon icon) override {
    return showMessage(parent_, title, text, buttons, icon);
  }
  void inform(const std::string& title, const std::string& text, Icon icon) override {
    showMessage(parent_, title, text, Buttons::Ok, icon);
  }

 private:
  QWidget* parent_;
};

inline QString qs(const std::string& s) { return QString::fromStdString(s); }
inline std::string ss(const QString& s) { return s.toStdString(); }

}  // namespace sarnoth::gui
