#include "app/command_state.h"

#include <QAction>
#include <QMenu>
#include <QToolBar>
#include <QToolButton>

namespace sarnoth::gui {

void setCommandState(QWidget* /*form*/, QToolBar* toolbar, const QString& key, bool enabled,
                     bool checked) {
  if (!toolbar) return;
  for (QAction* a : toolbar->actions()) {
    auto* button = qobject_cast<QToolButton*>(toolbar->widgetForAction(a));
    QMenu* dropDown = a->menu() ? a->menu() : (button ? button->menu() : nullptr);
    if (dropDown) {
      for (QAction* entry : dropDown->actions())
        if (entry->data().toString() == key) {
          entry->setEnabled(enabled);
          break;
        }
    } else if (a->data().toString() == key) {
      a->setEnabled(enabled);
      a->setCheckable(true);
      a->setChecked(checked);
    }
  }
  // Menu entries of the form: the assignment has no effect (see the header).
}

}  // namespace sarnoth::gui
