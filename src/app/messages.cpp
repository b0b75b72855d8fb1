#include "app/messages.h"

#include <QAbstractButton>
#include <QFileDialog>
#include <QMessageBox>
#include <QStringList>

#include "app/file_dialogs.h"

namespace sarnoth::gui {
namespace {

MessageHandler& handler() {
  static MessageHandler h;
  return h;
}

FileDialogHandler& saveHandler() {
  static FileDialogHandler h;
  return h;
}

}  // namespace

MessageHandler setMessageHandler(MessageHandler h) {
  MessageHandler old = std::move(handler());
  handler() = std::move(h);
  return old;
}

Answer showMessage(QWidget* parent, const std::string& title, const std::string& text,
                   Buttons buttons, Icon icon) {
  if (handler()) return handler()(title, text, buttons, icon);
  QMessageBox box(parent);
  box.setWindowTitle(qs(title));
  box.setText(qs(text));
  switch (icon) {
    case Icon::Information:
      box.setIcon(QMessageBox::Information);
      break;
    case Icon::Warning:
      box.setIcon(QMessageBox::Warning);
      break;
    case Icon::Critical:
      box.setIcon(QMessageBox::Critical);
      break;
    case Icon::Question:
      box.setIcon(QMessageBox::Question);
      break;
    case Icon::None:
      break;
  }
  switch (buttons) {
    case Buttons::Ok:
      box.setStandardButtons(QMessageBox::Ok);
      break;
    case Buttons::OkCancel:
      box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
      break;
    case Buttons::YesNo:
      box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
      break;
    case Buttons::YesNoCancel:
      box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
      break;
  }
  const std::pair<QMessageBox::StandardButton, const char*> captions[] = {
      {QMessageBox::Yes, "是(&Y)"},
      {QMessageBox::No, "否(&N)"},
      {QMessageBox::Ok, "确定"},
      {QMessageBox::Cancel, "取消"}};
  for (const auto& [b, caption] : captions)
    if (QAbstractButton* btn = box.button(b)) btn->setText(QString::fromUtf8(caption));
  switch (box.exec()) {
    case QMessageBox::Yes:
      return Answer::Yes;
    case QMessageBox::No:
      return Answer::No;
    case QMessageBox::Cancel:
      return Answer::Cancel;
    default:
      return Answer::Ok;
  }
}

void notify(QWidget* parent, const std::string& text) {
  showMessage(parent, kTitle, text, Buttons::Ok, Icon::Information);
}

ScriptedMessages::ScriptedMessages(std::vector<Answer> answers, Answer fallback)
    : answers_(std::move(answers)), fallback_(fallback) {
  previous_ =
      setMessageHandler([this](const std::string& title, const std::string& text, Buttons, Icon) {
        titles.push_back(title);
        texts.push_back(text);
        return next_ < answers_.size() ? answers_[next_++] : fallback_;
      });
}

ScriptedMessages::~ScriptedMessages() { setMessageHandler(std::move(previous_)); }

QString qtFileFilter(const std::string& systemFilter) {
  const QStringList parts = qs(systemFilter).split('|');
  QStringList filters;
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QString patterns = parts[i + 1];
    patterns.replace(';', ' ');
    filters << parts[i] + " (" + patterns + ")";
  }
  return filters.join(";;");
}

FileDialogHandler setSaveDialogHandler(FileDialogHandler h) {
  FileDialogHandler old = std::move(saveHandler());
  saveHandler() = std::move(h);
  return old;
}

std::string askSaveFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            const std::string& defaultName) {
  return askSaveFileName(parent, title, filter, defaultName, FileKind::Outside);
}

std::string askSaveFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            const std::string& defaultName, FileKind kind) {
  if (saveHandler()) {
    std::string path = saveHandler()(title, filter, defaultName);
    rememberDialogFolder(kind, path);
    return withFilterExtension(path, filterPatterns(filter, 0));
  }
  return runFileDialog(parent, true, title, filter, defaultName, kind);
}

ScriptedSaveDialogs::ScriptedSaveDialogs(std::vector<std::string> answers)
    : answers_(std::move(answers)) {
  previous_ = setSaveDialogHandler(
      [this](const std::string& title, const std::string& filter, const std::string&) {
        titles.push_back(title);
        filters.push_back(filter);
        return next_ < answers_.size() ? answers_[next_++] : std::string();
      });
}

ScriptedSaveDialogs::~ScriptedSaveDialogs() { setSaveDialogHandler(std::move(previous_)); }

}  // namespace sarnoth::gui
