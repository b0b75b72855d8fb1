// What the tool windows share: a progress bound to a window's progress bar, the open-file
// dialog (replaceable, so the windows can be driven headless), the work area's store opened on a
// window's opening, and filling a table widget with rows.
#pragma once

#include <QString>
#include <string>
#include <vector>

#include "app/file_dialogs.h"
#include "app/messages.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

class QProgressBar;
class QTableWidget;
class QTextEdit;
class QWidget;

namespace sarnoth::gui {

// Long work shown on a progress bar; pending window events run at every pump.
class BarProgress : public Progress {
 public:
  explicit BarProgress(QProgressBar* bar);
  void setMaximum(std::int64_t max) override;
  void setValue(std::int64_t value) override;
  bool pump() override;

 private:
  QProgressBar* bar_;
  std::int64_t scale_ = 1;  // the bar counts in ints; large maxima are scaled down
};

// An open dialog; returns the chosen path or "" when cancelled. Filters as the system writes
// them ("描述|*.ext|…"). It opens in the work area's folder for `kind`, or in the last folder
// chosen for it.
std::string askOpenFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            FileKind kind = FileKind::Outside);
// The same starting in `startDir` (a work-area path as the system spells it); an installed
// handler gets it as its third argument.
std::string askOpenFileName(QWidget* parent, const std::string& title, const std::string& filter,
                            const std::string& startDir);
// Installs a handler in place of the open dialog; returns the previous one.
FileDialogHandler setOpenDialogHandler(FileDialogHandler handler);

// Opens the store of gWorkPath for a window. On failure shows "打开数据库错: " and the engine's
// text and returns false.
bool openToolDatabase(QWidget* parent, Database& db);

// True when gWorkPath names a folder that is there; otherwise shows "工作区不存在: " and the path.
bool workAreaReachable(QWidget* parent);

// Header and rows of text into a table widget (read-only cells).
void fillTableWidget(QTableWidget* t, const std::vector<std::string>& header,
                     const std::vector<std::vector<std::string>>& rows);

// The read-only report box of a tool window: text in columns, so a fixed font and no wrapping.
QTextEdit* reportBox(QWidget* parent, const char* objectName);

// A caption or message written in the source as UTF-8.
inline QString u8(const char* s) { return QString::fromUtf8(s); }

// The hourglass for the time of a run.
struct BusyCursor {
  BusyCursor();
  ~BusyCursor();
  BusyCursor(const BusyCursor&) = delete;
  BusyCursor& operator=(const BusyCursor&) = delete;
};

// A button, label or the like with its system name as objectName and a Chinese caption.
template <class W>
W* named(W* w, const char* objectName) {
  w->setObjectName(QString::fromLatin1(objectName));
  return w;
}

}  // namespace sarnoth::gui
