// frmWTGm2DInverse "二维重磁异常反演": the host of the section modelling control MaskPro1
// (closed/mask_pro.h). It holds no model: it owns the menus, the tool bar ToolbarFile and the
// status bar StatusBar, forwards every command key to the control by method id (menu entries and
// tool buttons alike, through one dispatch on the key), keeps the control in its client area less
// the bars, and answers the control's requests for file names with frmSelectFiles over Prof_Dat\.
// While the control stands in print preview every forwarded command stops with
// "请先完成打印预览操作状态后再进行下一步操作!".
#pragma once

#include <QMainWindow>
#include <QString>
#include <map>
#include <string>

#include "closed/mask_pro.h"

class QAction;
class QLabel;
class QMenu;
class QToolBar;

namespace sarnoth::gui {

class MaskPro;

inline constexpr const char* kGm2dPreviewGuard = "请先完成打印预览操作状态后再进行下一步操作!";

class frmWTGm2DInverse : public QMainWindow, public closed::MaskProEvents {
  Q_OBJECT
 public:
  explicit frmWTGm2DInverse(QWidget* parent = nullptr);
  ~frmWTGm2DInverse() override;

  MaskPro* MaskPro1 = nullptr;
  QToolBar* ToolbarFile = nullptr;
  QLabel* statusPanel[4] = {nullptr, nullptr, nullptr, nullptr};  // 1–3 used
  // On: the general status request writes panel 1; off: the bar's simple text.
  bool statusFlag = true;

  // The handler of a command key: what a menu entry or a tool button calls.
  void dispatch(const QString& key);
  // True (after the message) while the control is in print preview.
  bool printPreviewGuard();
  QAction* menuAction(const QString& key) const;
  bool previewActive() const { return preview_; }

  // The control's events.
  void commandState(const std::string& key, bool enabled, bool checked) override;
  void fileRequest(closed::MaskProRequest request) override;
  void status(int panel, const std::string& text) override;
  void printPreview(bool active) override;

 protected:
  void resizeEvent(QResizeEvent* e) override;

 private:
  void buildMenus();
  void buildToolbar();
  QAction* entry(QMenu* menu, const char* key, const char* caption = nullptr);
  std::map<QString, QAction*> menuActions_;
  bool preview_ = false;
};

}  // namespace sarnoth::gui
