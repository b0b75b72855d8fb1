// Dc2dControl: the 2-D resistivity/IP section control behind closed/dc2d_control.h, as a Qt
// widget (objectName "My2D_DCControl"). Above, the section editor: the profile with its
// electrodes and terrain, a ruler and grid, the curves the user draws (lines and polylines, ends
// snapping to other curves and to the ground), the regions closed from them filled by
// resistivity with their outlines, and the mesh once built. Below, the results: pseudo-sections
// of the observed and computed data (profile curves for the fixed-source devices) and the model
// image, for resistivity or chargeability. Every computation is the session's
// (electric/dc2d_session.h).
#pragma once

#include <QDialog>
#include <QWidget>
#include <functional>

#include "closed/dc2d_control.h"
#include "electric/dc2d_session.h"

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSplitter;
class QTableWidget;

namespace sarnoth::gui {

class ChartView;

// The section editor.
class Dc2dSectionView : public QWidget {
  Q_OBJECT
 public:
  enum class Tool { Select, Line, Polyline };
  explicit Dc2dSectionView(electric::Dc2dSession& session, QWidget* parent = nullptr);

  void setTool(Tool t);
  Tool tool() const { return tool_; }
  void setShowRuler(bool on) {
    ruler_ = on;
    update();
  }
  void setShowGrid(bool on) {
    grid_ = on;
    update();
  }
  void setShowOutlines(bool on) {
    outlines_ = on;
    update();
  }
  bool showRuler() const { return ruler_; }
  bool showGrid() const { return grid_; }
  bool showOutlines() const { return outlines_; }
  void setExaggeration(double v);
  double exaggeration() const { return exaggeration_; }
  void zoom(double factor);
  double zoomFactor() const { return zoom_; }
  void fitView();

  int selectedCurve() const { return curve_; }
  int selectedRegion() const { return region_; }
  void clearSelection();
  // Selects the curve within a few pixels of a section point, else the region holding it.
  void selectAt(electric::XZ p);

  // Screen ↔ section.
  QPointF toScreen(electric::XZ p) const;
  electric::XZ toSection(QPointF p) const;

  std::function<void(double, double)> onPointer;
  std::function<void(int region)> onRegionDoubleClicked;
  std::function<void()> onChanged;

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent*) override;
  void mouseMoveEvent(QMouseEvent*) override;
  void mouseReleaseEvent(QMouseEvent*) override;
  void mouseDoubleClickEvent(QMouseEvent*) override;
  void wheelEvent(QWheelEvent*) override;

 private:
  void finishDrawing();
  double snapMetres() const;

  electric::Dc2dSession& session_;
  Tool tool_ = Tool::Select;
  bool ruler_ = true, grid_ = false, outlines_ = true;
  double exaggeration_ = 1, zoom_ = 1;
  double cx_ = 0, cz_ = 0;  // section point at the centre of the view
  int curve_ = -1, region_ = -1;
  std::vector<electric::XZ> drawing_;
  electric::XZ hover_;
  bool dragging_ = false;
};

class Dc2dControl : public QWidget, public closed::Dc2dControlApi {
  Q_OBJECT
 public:
  explicit Dc2dControl(QWidget* parent = nullptr);

  void setHost(closed::Dc2dControlHost* host) override { host_ = host; }
  void setRun(int calcMode, int paramMode, int terrain, int device) override;
  bool openFile(const std::string& path) override;
  bool command(const std::string& name) override;
  bool fileLoaded() const override { return session_.loaded(); }

  electric::Dc2dSession& session() { return session_; }
  // The result pictures one above the other, as saved.
  QImage resultImage() const;
  bool chargeabilityShown() const { return eta_; }

  Dc2dSectionView* picSection = nullptr;
  ChartView* chtObserved = nullptr;
  ChartView* chtComputed = nullptr;
  ChartView* chtModel = nullptr;
  QLabel* lblInfo = nullptr;
  QProgressBar* prgCompute = nullptr;

 private:
  void say(const std::string& text);
  void refreshResults();
  void reportState();
  void regionDialog(bool modifyMeshData, int only = -2);
  bool loadCurves(const std::string& path);
  bool askValue(const char* title, const char* label, double& value);

  closed::Dc2dControlHost* host_ = nullptr;
  electric::Dc2dSession session_;
  int calc_ = 1, param_ = 1, terrain_ = 0, device_ = 6;
  bool eta_ = false;
  int firstCurve_ = 1;
};

// "区域属性": the background and every region with its resistivity and chargeability.
class frmDc2dRegions : public QDialog {
  Q_OBJECT
 public:
  frmDc2dRegions(const electric::Dc2dModel& model, bool chargeability, int only,
                 QWidget* parent = nullptr);
  QTableWidget* tblRegions = nullptr;
  QPushButton* Cmd_OK = nullptr;
  QPushButton* Cmd_Cancel = nullptr;
  // Rows as (region index, −1 the background; ρ; η) after OK.
  struct Row {
    int region;
    double rho, eta;
  };
  std::vector<Row> rows;

 private:
  void apply();
  std::vector<int> index_;
};

}  // namespace sarnoth::gui
