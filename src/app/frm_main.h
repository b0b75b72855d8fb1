// FrmMain: the workbench's only top-level window. It holds no data; it dispatches.
#pragma once

#include <QMainWindow>

class QLabel;

namespace sarnoth::gui {

class FrmMain : public QMainWindow {
  Q_OBJECT
 public:
  explicit FrmMain(QWidget* parent = nullptr);

  // The panel "提示" of the status bar.
  void setStatusText(const QString& text);
  QString statusText() const;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  QLabel* statusPanel_ = nullptr;
};

// The close handler's first step: bring the main program's window (" Sarnoth 2005") forward
// when it runs. Returns whether it was found. Replaceable for tests.
bool activateMainProgramWindow();

// Called when FrmMain closes: ends the process at once. Tests replace it.
void setProcessEndHook(void (*hook)(int));

}  // namespace sarnoth::gui
