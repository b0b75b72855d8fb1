// MaskPro: the section modelling control behind the seam closed/mask_pro.h, two panels one above
// the other. The profile panel shows the observed, computed and residual curves of the working
// field (gravity or magnetics, switched by method 48) on the shared chart module; the section
// panel shows the bodies filled with their colours over the station line, and is where the model
// is edited with the mouse: vertices dragged (moving property joined, separate, whole or
// stretch), bodies added point by point (double click closes), vertices added on an edge, bodies
// split between two vertices or merged by clicking two, bodies and vertices chosen for the
// inversion, titles placed. The capture range (3–9 pixels) is how near the pointer must come.
// Every edit is checked (section_model.h) and refused with the system's text; Ctrl+Z and Ctrl+Y
// undo and redo, Del deletes the selected vertex (Shift+Del the body), Ctrl+C and Ctrl+V copy and
// paste, Esc returns to moving vertices or stops an inversion.
//
// The control computes nothing itself: the forward field and the inversion come from
// gravmag/gm2d_forward.h and gm2d_inversion.h, the files from gm2d_files.h.
#pragma once

#include <QColor>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QWidget>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "closed/mask_pro.h"
#include "display/chart.h"
#include "gravmag/gm2d_files.h"
#include "gravmag/gm2d_forward.h"
#include "gravmag/gm2d_inversion.h"
#include "gravmag/section_model.h"

class QPainter;
class QPrinter;
class QPrintPreviewDialog;
class QSplitter;

namespace sarnoth::gui {

class ChartView;
class SectionPanel;

class MaskPro : public QWidget, public closed::MaskProApi {
  Q_OBJECT
 public:
  explicit MaskPro(QWidget* parent = nullptr);
  ~MaskPro() override;

  void setEvents(closed::MaskProEvents* events) override { events_ = events; }
  bool invoke(int method) override;
  bool invoke(int method, const std::string& path) override;
  bool printPreviewActive() const override { return preview_ != nullptr; }

  enum class EditMode {
    VertexMoving,
    AddModel,
    AddVertex,
    SplitModel,
    MergeModels,
    ChooseModels,
    ChooseVertices,
    TitlePosition,
    ZoomIn
  };
  enum class Looks { Line, Point, LinePoint };

  // --- state, for the panels, the dialogs and the tests --------------------------------------
  const gm2d::Model& model() const { return model_; }
  const gm2d::Profile& profile() const { return profile_; }
  bool hasProfile() const { return hasProfile_; }
  gm2d::FieldKind field() const { return field_; }
  EditMode editMode() const { return editMode_; }
  gm2d::MoveMode moveMode() const { return moveMode_; }
  Looks looks() const { return looks_; }
  int captureRange() const { return capture_; }
  double zScale() const { return zScale_; }
  bool vertexMarks() const { return vertexMarks_; }
  bool dynamicScale() const { return dynamic_; }
  bool colourPrint() const { return print_.colour; }
  bool valueToTitle() const { return valueToTitle_; }
  gm2d::InversionMethod inversionMethod() const { return settings_.method; }
  gm2d::InversionSettings& inversionSettings() { return settings_; }
  const gm2d::PrintSettings& printSettings() const { return print_; }
  const gm2d::ColourScale& colourScale() const { return colours_; }
  int selectedBody() const { return selBody_; }
  int selectedVertex() const { return selVertex_; }
  // The computed field of the working field at the stations (or at the model line).
  const gm2d::ForwardResult& computed() const { return computed_; }
  const std::vector<double>& stationX() const { return stationX_; }
  ChartView* profilePanel() const { return profileView_; }
  SectionPanel* sectionPanel() const { return section_; }
  bool canUndo() const { return history_.canUndo(); }

  // --- edits: each is checked, recorded for undo, and shown; false (after the system's text)
  // when refused ----------------------------------------------------------------------------
  bool applyEdit(const std::function<Outcome(gm2d::Model&)>& edit);
  void setModel(gm2d::Model m, bool keepHistory);
  void select(int body, int vertex);
  bool undo();
  bool redo();
  void stopInversion() { stopRequested_ = true; }

  // Chooses a colour; the tests put their own in place of the colour dialog. An invalid colour
  // means cancelled.
  std::function<QColor(const QColor& initial, const QString& title)> chooseColour;

  // --- section geometry (pixels of the section panel) ----------------------------------------
  struct View {
    double x0 = 0, x1 = 1000;  // m
    double zTop = -100;        // m at the frame's top edge
  };
  const View& view() const { return view_; }
  // Frame of a panel of the given size: the plotting area both panels share horizontally.
  static QRectF frameOf(const QSizeF& size, bool profile);
  double pxPerMetre(const QRectF& frame) const { return frame.width() / (view_.x1 - view_.x0); }
  QPointF toPixel(const gm2d::Point2& p, const QRectF& frame) const;
  gm2d::Point2 toModel(const QPointF& px, const QRectF& frame) const;
  void fitView();

  // Draws the section into a frame (screen or paper).
  void drawSection(QPainter& p, const QRectF& frame, bool forPrint) const;
  // The whole sheet on a printer: title, profile panel, section panel.
  void printSheet(QPrinter* printer);
  // The profile chart as drawn now.
  const QString& lastStatus(int panel) const;

  // --- mouse work of the section panel -------------------------------------------------------
  void sectionPress(const QPointF& px, Qt::MouseButton button, Qt::KeyboardModifiers mods);
  void sectionMove(const QPointF& px, Qt::MouseButtons buttons);
  void sectionRelease(const QPointF& px);
  void sectionDoubleClick(const QPointF& px);
  void sectionContextMenu(const QPointF& px, const QPoint& global);
  QRectF rubberBand() const { return rubber_; }
  const std::vector<gm2d::Point2>& pendingPolygon() const { return pending_; }

 protected:
  void keyPressEvent(QKeyEvent* e) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  closed::MaskProEvents* events_ = nullptr;
  gm2d::Model model_;
  gm2d::Profile profile_;
  bool hasProfile_ = false;
  gm2d::History history_;
  gm2d::ColourScale colours_ = gm2d::ColourScale::defaultDensity();
  gm2d::PrintSettings print_;
  gm2d::InversionSettings settings_;
  bool jointInversion_ = false;
  gm2d::FieldKind field_ = gm2d::FieldKind::Gravity;
  EditMode editMode_ = EditMode::VertexMoving;
  gm2d::MoveMode moveMode_ = gm2d::MoveMode::Joined;
  Looks looks_ = Looks::LinePoint;
  int capture_ = 5;
  double zScale_ = 1.0;
  bool vertexMarks_ = true;
  bool dynamic_ = true;
  bool valueToTitle_ = false;
  std::optional<std::pair<double, double>> fixedY_;
  QColor origColour_{0, 0, 200}, calcColour_{200, 0, 0}, dataBack_{Qt::white},
      modelBack_{250, 248, 240}, chosenColour_{255, 0, 255};
  View view_;
  int selBody_ = -1, selVertex_ = -1;
  std::vector<gm2d::Body> clipboard_;
  // Mouse state.
  bool dragging_ = false, dragRecorded_ = false;
  gm2d::Model dragStart_;
  QPointF pressAt_;
  QRectF rubber_;
  std::vector<gm2d::Point2> pending_;
  int firstPick_ = -1, firstPickVertex_ = -1;
  bool stopRequested_ = false;
  bool inverting_ = false;
  // What the panels show.
  gm2d::ForwardResult computed_;
  std::vector<double> stationX_, stationH_;
  std::map<std::string, std::pair<bool, bool>> published_;
  QString status_[4];

  QSplitter* splitter_ = nullptr;
  ChartView* profileView_ = nullptr;
  SectionPanel* section_ = nullptr;
  QPrintPreviewDialog* preview_ = nullptr;

  // Commands.
  void request(closed::MaskProRequest r);
  void say(const std::string& text);
  void setStatus(int panel, const QString& text);
  void publishStates(bool all = false);
  void recompute();
  void refreshChart();
  chart::Chart buildChart(const QSize& size) const;
  void setEditMode(EditMode m, const QString& text);
  void runInversion(gm2d::InversionMethod method);
  void loadObserved(const std::string& path);
  void loadTerrain(const std::string& path);
  void loadModel(const std::string& path, bool insert);
  void saveChosen(const std::string& path);
  void copyChosen();
  void paste();
  void pickColour(QColor& target, const QString& title);
  void recolourBodies();
  void openPreview();
  void print();
  void printSetup();
  void showHelpKeys();
  // Dialogs.
  void geomagneticDialog();
  void trendDialog();
  void backgroundDialog();
  void constraintDialog();
  void scaleDialog();
  void printParamDialog();
  void gradColourDialog();
  void othersDialog();
  void bodyDialog(int body);
  void setBaseField();
  // Hit tests in pixels of the section frame.
  QRectF sectionFrame() const;
  bool hitVertex(const QPointF& px, int& body, int& vertex) const;
  bool hitEdge(const QPointF& px, int& body, int& edge, gm2d::Point2& at) const;
  int hitBody(const QPointF& px) const;
};

// The section panel: draws through MaskPro::drawSection and hands the mouse to MaskPro.
class SectionPanel : public QWidget {
  Q_OBJECT
 public:
  explicit SectionPanel(MaskPro* owner);

 protected:
  void paintEvent(QPaintEvent*) override;
  void mousePressEvent(QMouseEvent* e) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void mouseReleaseEvent(QMouseEvent* e) override;
  void mouseDoubleClickEvent(QMouseEvent* e) override;
  void contextMenuEvent(QContextMenuEvent* e) override;

 private:
  MaskPro* owner_;
};

}  // namespace sarnoth::gui
