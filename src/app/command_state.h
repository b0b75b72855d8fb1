// setCommandState: keeps a toolbar button and the menu entry of one command in step.
//
// Buttons carry the command key as their Tag (QAction::data). A drop-down button's entries are
// walked and the first entry whose Tag is the key gets the enabled state. A plain button with
// the key gets enabled and its pressed state. The menu entry of the same name keeps its state:
// the system assigns to properties a menu entry does not have, with errors ignored, so only the
// toolbar changes, and so it stays.
#pragma once

#include <QString>

class QWidget;
class QToolBar;

namespace sarnoth::gui {

void setCommandState(QWidget* form, QToolBar* toolbar, const QString& key, bool enabled,
                     bool checked);

}  // namespace sarnoth::gui
