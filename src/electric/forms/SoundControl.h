// SoundControl: the sounding control behind closed/sound_control.h, as a Qt widget. It shows
// the sounding curves on log–log axes (observed as markers, computed as a line, the misfit in %
// below), the model as a staircase beside them, and the editable layer table; its commands and
// dialogs act on an electric::SoundingSession, which does every computation.
#pragma once

#include <QDialog>
#include <QWidget>
#include <functional>

#include "closed/sound_control.h"
#include "electric/sounding_session.h"

class QLabel;
class QPushButton;
class QTableWidget;

namespace sarnoth::gui {

// The curves and the staircase, drawn from the session's plot data.
class SoundingPlotView : public QWidget {
  Q_OBJECT
 public:
  explicit SoundingPlotView(QWidget* parent = nullptr);
  void setPlot(const electric::SoundingPlot& plot, bool chargeability);
  std::function<void(double, double)> onPointer;  // spacing (m), ρa (Ω·m) under the pointer

 protected:
  void paintEvent(QPaintEvent*) override;
  void mouseMoveEvent(QMouseEvent* e) override;

 private:
  QRectF curveRect() const;
  electric::SoundingPlot plot_;
  bool eta_ = false;
};

class SoundControl : public QWidget, public closed::SoundControlApi {
  Q_OBJECT
 public:
  explicit SoundControl(QWidget* parent = nullptr);

  void setHost(closed::SoundControlHost* host) override { host_ = host; }
  void setRun(int calcMode, int paramMode, int device) override;
  bool command(const std::string& name) override;
  bool fileLoaded() const override { return session_.loaded(); }

  const electric::SoundingSession& session() const { return session_; }
  QImage image() const;

  SoundingPlotView* picCurves = nullptr;
  QTableWidget* tblLayers = nullptr;
  QPushButton* btnInsertLayer = nullptr;
  QPushButton* btnRemoveLayer = nullptr;
  QLabel* lblInfo = nullptr;

 private:
  void openData(bool inverse);
  void computeNow(bool inverse);
  void dataChange();
  void layerPositions();
  void refresh();
  void fillLayers();
  void onLayerEdited(int row, int column);
  void reportState();
  void say(const std::string& text);

  closed::SoundControlHost* host_ = nullptr;
  electric::SoundingSession session_;
  int calc_ = 1, param_ = 1, device_ = 1;
  bool filling_ = false;
};

// The data change dialog "数据修改": every spacing with its observation and whether it is used.
class frmSoundData : public QDialog {
  Q_OBJECT
 public:
  frmSoundData(electric::SoundingSession& session, QWidget* parent = nullptr);
  QTableWidget* tblData = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;

 private:
  void apply();
  electric::SoundingSession& session_;
};

// The layer position dialog "层位设置": the depth of each interface and whether it is known
// (from a drill hole), a known one keeping its layer's thickness fixed in the inversion.
class frmSoundLayers : public QDialog {
  Q_OBJECT
 public:
  frmSoundLayers(electric::SoundingSession& session, QWidget* parent = nullptr);
  QTableWidget* tblDepths = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;

 private:
  void apply();
  electric::SoundingSession& session_;
};

}  // namespace sarnoth::gui
