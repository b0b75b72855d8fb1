// What the statistics windows share: the table viewer on a work-area table, the input box (one
// line of text asked of the user, replaceable so the windows run headless), and text files
// written through the codec.
#pragma once

#include <functional>
#include <optional>
#include <string>

class QWidget;

namespace sarnoth::gui {

// Opens the table viewer (frmGridView) on a table of the work area's store.
void showWorkTable(QWidget* parent, const std::string& table);

// An input box: the text typed, or nothing when cancelled.
std::optional<std::string> askInputText(QWidget* parent, const std::string& title,
                                        const std::string& prompt, const std::string& text = {});
using InputBoxHandler = std::function<std::optional<std::string>(const std::string& prompt)>;
// Installs a handler in place of the input box; returns the previous one.
InputBoxHandler setInputBoxHandler(InputBoxHandler handler);

// Writes UTF-8 text as a GBK file; false when it cannot be written.
bool writeGbkTextFile(const std::string& path, const std::string& utf8);

}  // namespace sarnoth::gui
