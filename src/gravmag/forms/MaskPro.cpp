#include "gravmag/forms/MaskPro.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QColorDialog>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPageSetupDialog>
#include <QPainter>
#include <QPainterPath>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cmath>

#include "app/chart_view.h"
#include "app/messages.h"
#include "workarea/grid_file.h"

namespace sarnoth::gui {
namespace {

using closed::MaskProRequest;
using gm2d::Body;
using gm2d::FieldKind;
using gm2d::Model;
using gm2d::Point2;

// Both panels share these horizontal margins, so a station stands above its place in the section.
constexpr double kLeft = 72, kRight = 24;

QColor qc(const gm2d::Rgb& c) { return QColor(c.r, c.g, c.b); }
gm2d::Rgb rgbOf(const QColor& c) {
  return {static_cast<std::uint8_t>(c.red()), static_cast<std::uint8_t>(c.green()),
          static_cast<std::uint8_t>(c.blue())};
}
chart::Rgb chartRgb(const QColor& c) {
  return {static_cast<std::uint8_t>(c.red()), static_cast<std::uint8_t>(c.green()),
          static_cast<std::uint8_t>(c.blue())};
}

QString num(double v, int prec = 6) { return QString::number(v, 'g', prec); }

// The chart module drawn through a QPainter, for the printed sheet (vector output).
class PainterCanvas : public chart::Canvas {
 public:
  explicit PainterCanvas(QPainter& p, QPointF origin) : p_(p), o_(origin) {}
  void fillRect(double x, double y, double w, double h, chart::Rgb c) override {
    p_.fillRect(QRectF(o_.x() + x, o_.y() + y, w, h), QColor(c.r, c.g, c.b));
  }
  void rect(double x, double y, double w, double h, const chart::Pen& pen) override {
    p_.setPen(qpen(pen));
    p_.setBrush(Qt::NoBrush);
    p_.drawRect(QRectF(o_.x() + x, o_.y() + y, w, h));
  }
  void polyline(std::span<const chart::Point> pts, const chart::Pen& pen) override {
    p_.setPen(qpen(pen));
    p_.drawPolyline(poly(pts));
  }
  void polygon(std::span<const chart::Point> pts, const chart::Pen& pen,
               std::optional<chart::Rgb> fill) override {
    p_.setPen(qpen(pen));
    p_.setBrush(fill ? QBrush(QColor(fill->r, fill->g, fill->b)) : QBrush(Qt::NoBrush));
    p_.drawPolygon(poly(pts));
  }
  void ellipse(double cx, double cy, double rx, double ry, const chart::Pen& pen,
               std::optional<chart::Rgb> fill) override {
    p_.setPen(qpen(pen));
    p_.setBrush(fill ? QBrush(QColor(fill->r, fill->g, fill->b)) : QBrush(Qt::NoBrush));
    p_.drawEllipse(QPointF(o_.x() + cx, o_.y() + cy), rx, ry);
  }
  void text(double x, double y, const std::string& t, const chart::TextStyle& s) override {
    QFont f = p_.font();
    f.setPixelSize(std::max(1, static_cast<int>(std::lround(s.size))));
    f.setBold(s.bold);
    p_.setFont(f);
    p_.setPen(QColor(s.colour.r, s.colour.g, s.colour.b));
    const QString q = QString::fromStdString(t);
    const QFontMetricsF fm(f);
    const double w = fm.horizontalAdvance(q), h = fm.ascent();
    double dx = 0, dy = 0;
    using A = chart::Anchor;
    if (s.anchor == A::Top || s.anchor == A::Centre || s.anchor == A::Bottom) dx = -w / 2;
    if (s.anchor == A::TopRight || s.anchor == A::Right || s.anchor == A::BottomRight) dx = -w;
    if (s.anchor == A::TopLeft || s.anchor == A::Top || s.anchor == A::TopRight) dy = h;
    if (s.anchor == A::Left || s.anchor == A::Centre || s.anchor == A::Right) dy = h / 2;
    p_.save();
    p_.translate(o_.x() + x, o_.y() + y);
    if (s.upwards) p_.rotate(-90);
    p_.drawText(QPointF(dx, dy), q);
    p_.restore();
  }
  double textWidth(const std::string& t, double size) const override {
    QFont f = p_.font();
    f.setPixelSize(std::max(1, static_cast<int>(std::lround(size))));
    return QFontMetricsF(f).horizontalAdvance(QString::fromStdString(t));
  }
  void clip(double x, double y, double w, double h) override {
    if (w <= 0)
      p_.setClipping(false);
    else
      p_.setClipRect(QRectF(o_.x() + x, o_.y() + y, w, h));
  }

 private:
  QPainter& p_;
  QPointF o_;
  QPen qpen(const chart::Pen& pen) const {
    QPen q(QColor(pen.colour.r, pen.colour.g, pen.colour.b));
    q.setWidthF(pen.width);
    if (pen.dashed) q.setStyle(Qt::DashLine);
    return q;
  }
  QPolygonF poly(std::span<const chart::Point> pts) const {
    QPolygonF q;
    for (const chart::Point& p : pts) q << QPointF(o_.x() + p.x, o_.y() + p.y);
    return q;
  }
};

bool inside(const std::vector<Point2>& poly, const Point2& p) {
  bool in = false;
  for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
    const Point2& a = poly[i];
    const Point2& b = poly[j];
    if ((a.z > p.z) != (b.z > p.z) && p.x < (b.x - a.x) * (p.z - a.z) / (b.z - a.z) + a.x) in = !in;
  }
  return in;
}

double segDistance(const QPointF& p, const QPointF& a, const QPointF& b, double& t) {
  const QPointF d = b - a;
  const double l2 = QPointF::dotProduct(d, d);
  t = l2 > 0 ? std::clamp(QPointF::dotProduct(p - a, d) / l2, 0.0, 1.0) : 0.0;
  const QPointF c = a + t * d;
  return std::hypot(p.x() - c.x(), p.y() - c.y());
}

QDoubleSpinBox* spin(double lo, double hi, double v, int decimals, const char* name) {
  auto* s = new QDoubleSpinBox;
  s->setRange(lo, hi);
  s->setDecimals(decimals);
  s->setValue(v);
  s->setObjectName(name);
  return s;
}

QDialogButtonBox* okCancel(QDialog* d) {
  auto* bb = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, d);
  bb->button(QDialogButtonBox::Ok)->setText("确定");
  bb->button(QDialogButtonBox::Ok)->setObjectName("Cmd_OK");
  bb->button(QDialogButtonBox::Cancel)->setText("取消");
  bb->button(QDialogButtonBox::Cancel)->setObjectName("Cmd_Cancel");
  QObject::connect(bb, &QDialogButtonBox::accepted, d, &QDialog::accept);
  QObject::connect(bb, &QDialogButtonBox::rejected, d, &QDialog::reject);
  return bb;
}

const char* kFieldName[2] = {"重力异常 (mGal)", "磁异常 (nT)"};

}  // namespace

// ============================================================================ construction

MaskPro::MaskPro(QWidget* parent) : QWidget(parent) {
  setFocusPolicy(Qt::StrongFocus);
  chooseColour = [this](const QColor& initial, const QString& title) {
    return QColorDialog::getColor(initial, this, title);
  };
  auto* lay = new QVBoxLayout(this);
  lay->setContentsMargins(0, 0, 0, 0);
  splitter_ = new QSplitter(Qt::Vertical, this);
  splitter_->setObjectName("splitPanels");
  profileView_ = new ChartView(splitter_);
  profileView_->setObjectName("picProfile");
  profileView_->installEventFilter(this);
  profileView_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(profileView_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
    QMenu menu(this);
    QAction* save = menu.addAction("数据存盘...");
    save->setObjectName("mnuProfileSaveData");
    if (menu.exec(profileView_->mapToGlobal(at)) == save) request(MaskProRequest::SaveData);
  });
  section_ = new SectionPanel(this);
  section_->setParent(splitter_);
  section_->setObjectName("picSection");
  splitter_->addWidget(profileView_);
  splitter_->addWidget(section_);
  splitter_->setStretchFactor(0, 2);
  splitter_->setStretchFactor(1, 3);
  lay->addWidget(splitter_);
  settings_.fields = {FieldKind::Gravity};
  fitView();
  recompute();
}

MaskPro::~MaskPro() = default;

// ============================================================================ dispatch

bool MaskPro::invoke(int method) {
  using gm2d::MoveMode;
  // While an inversion runs (window events pass between its iterations) the model is the
  // inversion's: commands wait for it to end or for Esc to stop it.
  if (inverting_) return method >= 1 && method <= 71;
  switch (method) {
    case 1:
      request(MaskProRequest::OpenObserved);
      return true;
    case 2:
      if (!hasProfile_) {
        say(gm2d::kMsgNoObserved);
        return true;
      }
      request(MaskProRequest::SaveProfileData);
      return true;
    case 3:
      request(MaskProRequest::OpenInitialModel);
      return true;
    case 4:
      request(MaskProRequest::SaveModel);
      return true;
    case 5:
      request(MaskProRequest::SaveCalculated);
      return true;
    case 6:
      printParamDialog();
      return true;
    case 7:
      print();
      return true;
    case 8:
      openPreview();
      return true;
    case 9:
      printSetup();
      return true;
    case 10:
      scaleDialog();
      return true;
    case 11:
      pickColour(origColour_, "原始数据颜色");
      return true;
    case 12:
      pickColour(calcColour_, "计算数据颜色");
      return true;
    case 13:
      pickColour(dataBack_, "数据区颜色");
      return true;
    case 14:
      pickColour(modelBack_, "模型区颜色");
      return true;
    case 15:
      pickColour(chosenColour_, "所选模型颜色");
      return true;
    case 16:
      print_.colour = !print_.colour;
      publishStates();
      return true;
    case 17:
      gradColourDialog();
      return true;
    case 18:
    case 19:
    case 20:
    case 43:
      moveMode_ = method == 18   ? MoveMode::Whole
                  : method == 19 ? MoveMode::Separate
                  : method == 20 ? MoveMode::Stretch
                                 : MoveMode::Joined;
      setEditMode(EditMode::VertexMoving, method == 18   ? "模型整体移动"
                                          : method == 19 ? "模型角点分离移动"
                                          : method == 20 ? "模型拉伸"
                                                         : "模型角点联动");
      return true;
    case 21:
    case 22:
    case 23:
      looks_ = method == 21 ? Looks::Line : method == 22 ? Looks::Point : Looks::LinePoint;
      refreshChart();
      publishStates();
      return true;
    case 24:
      geomagneticDialog();
      return true;
    case 25:
      dynamic_ = !dynamic_;
      if (!dynamic_) {
        const chart::Layout& l = profileView_->layout();
        fixedY_ = std::make_pair(l.ylo, l.yhi);
      } else {
        fixedY_.reset();
      }
      refreshChart();
      publishStates();
      return true;
    case 26:
    case 27:
      vertexMarks_ = method == 26;
      section_->update();
      publishStates();
      return true;
    case 28:
    case 29:
    case 30:
    case 31:
    case 32:
    case 33:
    case 34:
      capture_ = method - 25;
      setStatus(1, QString("角点有效范围 %1 像素").arg(capture_));
      publishStates();
      return true;
    case 35:
      trendDialog();
      return true;
    case 36:
      backgroundDialog();
      return true;
    case 37:
      setEditMode(EditMode::ChooseModels, "单击模型选择或取消参加反演的模型");
      return true;
    case 38:
      constraintDialog();
      return true;
    case 39:
      runInversion(gm2d::InversionMethod::Cholesky);
      return true;
    case 40:
      runInversion(gm2d::InversionMethod::GeneralisedInverse);
      return true;
    case 41:
      copyChosen();
      return true;
    case 42:
      paste();
      return true;
    case 44:
      othersDialog();
      return true;
    case 45:
      setEditMode(EditMode::ChooseVertices,
                  "单击所选模型的角点改变其反演自由度：固定 → 垂向 → 水平与垂向 → 水平");
      return true;
    case 46:
      recolourBodies();
      return true;
    case 47:
      fitView();
      recompute();
      return true;
    case 48:
      setBaseField();
      return true;
    case 49:
    case 50:
      zScale_ *= method == 49 ? 2.0 : 0.5;
      setStatus(1, QString("垂向比例 %1").arg(num(zScale_)));
      section_->update();
      return true;
    case 51:
      setEditMode(EditMode::ZoomIn, "在剖面区拖出放大范围");
      return true;
    case 52:
      setEditMode(EditMode::SplitModel, "依次单击同一模型上两个不相邻的角点分割模型");
      return true;
    case 53:
      setEditMode(EditMode::MergeModels, "依次单击两个相邻模型进行合并");
      return true;
    case 54:
      setEditMode(EditMode::AddModel, "单击给出新模型的角点，双击结束");
      return true;
    case 55:
      setEditMode(EditMode::AddVertex, "在模型边上单击增加角点");
      return true;
    case 56:
      setEditMode(EditMode::VertexMoving, "拖动角点修改模型");
      return true;
    case 57:
      setEditMode(EditMode::TitlePosition, "单击给出所选模型标题的位置");
      return true;
    case 58:
      valueToTitle_ = !valueToTitle_;
      section_->update();
      publishStates();
      return true;
    case closed::kMaskProOpen:
      model_ = Model{};
      profile_ = gm2d::Profile{};
      hasProfile_ = false;
      history_.clear();
      selBody_ = selVertex_ = -1;
      fitView();
      recompute();
      publishStates(true);
      setStatus(1, "拖动角点修改模型");
      setStatus(2, "");
      setStatus(3, "");
      return true;
    case closed::kMaskProHelpKeys:
      showHelpKeys();
      return true;
    default:
      return false;
  }
}

bool MaskPro::invoke(int method, const std::string& path) {
  if (method < 72 || method > 85) return false;
  if (path.empty()) return true;  // nothing chosen
  Outcome o;
  switch (method) {
    case 72:
      o = gm2d::readPrintSettings(path, print_);
      break;
    case 73:
      o = gm2d::writePrintSettings(path, print_);
      break;
    case 74:
      o = gm2d::readColourScale(path, colours_);
      if (o) recolourBodies();
      break;
    case 75:
      o = gm2d::writeColourScale(path, colours_);
      break;
    case 76:
      loadObserved(path);
      return true;
    case 77:
      loadTerrain(path);
      return true;
    case 78:
      loadModel(path, true);
      return true;
    case 79:
    case 83:
      o = gm2d::writeModel(path, model_);
      break;
    case 80:
      saveChosen(path);
      return true;
    case 81:
    case 84: {
      std::vector<FieldKind> fields;
      if (method == 81) {
        fields = {field_};
      } else {
        for (FieldKind f : {FieldKind::Gravity, FieldKind::Magnetic})
          if (!hasProfile_ || profile_.has(f)) fields.push_back(f);
      }
      gm2d::Profile p = profile_;
      if (!hasProfile_) {
        p.x = stationX_;
        p.elevation = stationH_;
      }
      o = gm2d::writeCalculatedDat(path, model_, p, fields);
      break;
    }
    case 82:
      o = gm2d::writeObservedDat(path, profile_);
      break;
    case 85:
      loadModel(path, false);
      return true;
  }
  if (!o)
    say(o.message);
  else
    setStatus(1, QString::fromStdString("已保存 " + path));
  return true;
}

void MaskPro::request(MaskProRequest r) {
  if (events_) events_->fileRequest(r);
}

void MaskPro::say(const std::string& text) { showMessage(this, kTitleInfo, text); }

void MaskPro::setStatus(int panel, const QString& text) {
  status_[panel] = text;
  if (events_) events_->status(panel, text.toStdString());
}

const QString& MaskPro::lastStatus(int panel) const { return status_[panel]; }

// The state of every command whose look depends on the control, raised when it changes.
void MaskPro::publishStates(bool all) {
  if (!events_) return;
  using gm2d::MoveMode;
  const bool haveModel = !model_.bodies.empty();
  const bool chosen = std::any_of(model_.bodies.begin(), model_.bodies.end(),
                                  [](const Body& b) { return b.chosen; });
  std::vector<std::tuple<const char*, bool, bool>> s = {
      {"mnuFileSave", haveModel, false},
      {"mnuFileSaveAs", haveModel || hasProfile_, false},
      {"mnuFileSaveAsGridData", hasProfile_, false},
      {"mnuInversionMethodCloleSky", hasProfile_ && chosen,
       settings_.method == gm2d::InversionMethod::Cholesky},
      {"mnuInversionMethodUAV", hasProfile_ && chosen,
       settings_.method == gm2d::InversionMethod::GeneralisedInverse},
      {"mnuInversionVaryStep", chosen, false},
      {"mnuCopyThese", haveModel, false},
      {"mnuPasteHere", true, false},
      {"mnuEditMergeMod", model_.bodies.size() >= 2, editMode_ == EditMode::MergeModels},
      {"mnuEditSplitMod", haveModel, editMode_ == EditMode::SplitModel},
      {"mnuEditAddMod", true, editMode_ == EditMode::AddModel},
      {"mnuEditAddVertex", haveModel, editMode_ == EditMode::AddVertex},
      {"mnuVertexMoving", true, editMode_ == EditMode::VertexMoving},
      {"mnuInversionChoose", haveModel, editMode_ == EditMode::ChooseModels},
      {"mnuInversionChooseVertices", chosen, editMode_ == EditMode::ChooseVertices},
      {"mnuSetModTitlePos", haveModel, editMode_ == EditMode::TitlePosition},
      {"mnuViewZoomInData", true, editMode_ == EditMode::ZoomIn},
      {"mnuSetModelMovingPropertyWhole", true, moveMode_ == MoveMode::Whole},
      {"mnuSetModelMPDisintegrate", true, moveMode_ == MoveMode::Separate},
      {"mnuSetModelMPStretch", true, moveMode_ == MoveMode::Stretch},
      {"mnuSetModelMovingPropertyNo", true, moveMode_ == MoveMode::Joined},
      {"mnuSetOriDataLooksLine", true, looks_ == Looks::Line},
      {"mnuSetOriDataLooksPoint", true, looks_ == Looks::Point},
      {"mnuSetOriDataLooksPointLine", true, looks_ == Looks::LinePoint},
      {"mnuSetAddVertFlag", true, vertexMarks_},
      {"mnuSetNoVertFlag", true, !vertexMarks_},
      {"mnuSetDynShow", true, dynamic_},
      {"mnuSetColorPrint", true, print_.colour},
      {"mnuSetValueToTitle", true, valueToTitle_},
      {"mnuSetBaseField",
       hasProfile_ && profile_.has(FieldKind::Gravity) && profile_.has(FieldKind::Magnetic),
       field_ == FieldKind::Magnetic},
  };
  static const char* steps[] = {"mnuSetStep3", "mnuSetStep4", "mnuSetStep5", "mnuSetStep6",
                                "mnuSetStep7", "mnuSetStep8", "mnuSetStep9"};
  for (int k = 0; k < 7; ++k) s.emplace_back(steps[k], true, capture_ == k + 3);
  for (const auto& [key, enabled, checked] : s) {
    auto it = published_.find(key);
    if (!all && it != published_.end() && it->second == std::make_pair(enabled, checked)) continue;
    published_[key] = {enabled, checked};
    events_->commandState(key, enabled, checked);
  }
}

void MaskPro::setEditMode(EditMode m, const QString& text) {
  editMode_ = m;
  pending_.clear();
  firstPick_ = firstPickVertex_ = -1;
  rubber_ = QRectF();
  setStatus(1, text);
  publishStates();
  section_->update();
}

// ============================================================================ model and view

void MaskPro::fitView() {
  double x0 = 1e300, x1 = -1e300, zTop = 1e300, zBot = -1e300;
  auto take = [&](double x, double z) {
    x0 = std::min(x0, x);
    x1 = std::max(x1, x);
    zTop = std::min(zTop, z);
    zBot = std::max(zBot, z);
  };
  if (hasProfile_)
    for (std::size_t i = 0; i < profile_.size(); ++i) take(profile_.x[i], -profile_.elevation[i]);
  for (const Body& b : model_.bodies)
    for (const Point2& v : b.vertices) take(v.x, v.z);
  if (x0 > x1) {
    x0 = 0;
    x1 = 10000;
    zTop = 0;
    zBot = 3000;
  }
  if (x1 - x0 < 1) x1 = x0 + 1000;
  if (zBot - zTop < 1) zBot = zTop + (x1 - x0) * 0.3;
  const double pad = 0.02 * (x1 - x0);
  view_.x0 = x0 - pad;
  view_.x1 = x1 + pad;
  const double depth = zBot - zTop;
  view_.zTop = zTop - 0.05 * depth;
  // The vertical scale that shows the deepest vertex near the bottom of the section panel.
  const QRectF f = sectionFrame();
  const double ppm = f.width() / (view_.x1 - view_.x0);
  zScale_ = std::clamp(f.height() / (ppm * depth * 1.12), 1.0 / 64, 64.0);
}

QRectF MaskPro::frameOf(const QSizeF& s, bool profile) {
  const double top = profile ? 24 : 8, bottom = profile ? 34 : 28;
  return QRectF(kLeft, top, std::max(10.0, s.width() - kLeft - kRight),
                std::max(10.0, s.height() - top - bottom));
}

QRectF MaskPro::sectionFrame() const {
  QSizeF s = section_ ? QSizeF(section_->size()) : QSizeF(640, 300);
  if (s.width() < 50 || s.height() < 50) s = QSizeF(640, 300);
  return frameOf(s, false);
}

QPointF MaskPro::toPixel(const Point2& p, const QRectF& f) const {
  const double ppm = pxPerMetre(f);
  return {f.left() + (p.x - view_.x0) * ppm, f.top() + (p.z - view_.zTop) * ppm * zScale_};
}

Point2 MaskPro::toModel(const QPointF& px, const QRectF& f) const {
  const double ppm = pxPerMetre(f);
  return {view_.x0 + (px.x() - f.left()) / ppm, view_.zTop + (px.y() - f.top()) / (ppm * zScale_)};
}

void MaskPro::setModel(Model m, bool keepHistory) {
  if (keepHistory) history_.push(model_);
  model_ = std::move(m);
  if (selBody_ >= static_cast<int>(model_.bodies.size())) selBody_ = selVertex_ = -1;
  recompute();
  publishStates();
}

bool MaskPro::applyEdit(const std::function<Outcome(Model&)>& edit) {
  Model m = model_;
  Outcome o = edit(m);
  if (o)
    o = gm2d::checkModel(m, hasProfile_ ? profile_.x : std::vector<double>{},
                         hasProfile_ ? profile_.elevation : std::vector<double>{});
  if (!o) {
    if (!o.message.empty()) say(o.message);
    return false;
  }
  setModel(std::move(m), true);
  return true;
}

bool MaskPro::undo() {
  if (!history_.undo(model_)) return false;
  selBody_ = selVertex_ = -1;
  recompute();
  publishStates();
  return true;
}

bool MaskPro::redo() {
  if (!history_.redo(model_)) return false;
  selBody_ = selVertex_ = -1;
  recompute();
  publishStates();
  return true;
}

void MaskPro::select(int body, int vertex) {
  selBody_ = body;
  selVertex_ = vertex;
  if (body >= 0 && body < static_cast<int>(model_.bodies.size())) {
    const Body& b = model_.bodies[static_cast<std::size_t>(body)];
    QString t = QString::fromStdString(b.name) +
                QString("  密度 %1  磁化率 %2").arg(num(b.density)).arg(num(b.susceptibility));
    if (vertex >= 0)
      t += QString("  角点 %1 (%2, %3)")
               .arg(vertex + 1)
               .arg(num(b.vertices[static_cast<std::size_t>(vertex)].x, 7))
               .arg(num(b.vertices[static_cast<std::size_t>(vertex)].z, 7));
    setStatus(0, t);
  }
  section_->update();
}

// The field at the stations (or, without observations, along the surface of the model line).
void MaskPro::recompute() {
  if (hasProfile_) {
    stationX_ = profile_.x;
    stationH_ = profile_.elevation;
  } else {
    stationX_.clear();
    stationH_.clear();
    for (int i = 0; i <= 200; ++i) {
      stationX_.push_back(view_.x0 + (view_.x1 - view_.x0) * i / 200.0);
      stationH_.push_back(0);
    }
  }
  computed_ = gm2d::computeField(model_, stationX_, stationH_, field_);
  if (hasProfile_) {
    QString t;
    for (FieldKind f : {FieldKind::Gravity, FieldKind::Magnetic}) {
      if (!profile_.has(f)) continue;
      const std::vector<double> calc =
          f == field_ ? computed_.total : gm2d::computeField(model_, stationX_, stationH_, f).total;
      t += QString("%1均方误差 %2  ")
               .arg(f == FieldKind::Gravity ? "重力" : "磁力")
               .arg(num(gm2d::rmsMisfit(profile_.observed(f), calc), 5));
    }
    setStatus(3, t.trimmed());
  }
  refreshChart();
  section_->update();
}

chart::Chart MaskPro::buildChart(const QSize& size) const {
  chart::Chart c;
  const QRectF f = frameOf(QSizeF(size), true);
  const double w = std::max(1, size.width()), h = std::max(1, size.height());
  c.frame = {f.left() / w, (h - f.bottom()) / h, f.width() / w, f.height() / h};
  c.background = chartRgb(dataBack_);
  c.fontSize = 11;
  c.legend = true;
  c.x.autoRange = false;
  c.x.lo = view_.x0;
  c.x.hi = view_.x1;
  c.x.label = "x (m)";
  c.y.label = kFieldName[field_ == FieldKind::Gravity ? 0 : 1];
  if (fixedY_) {
    c.y.autoRange = false;
    c.y.lo = fixedY_->first;
    c.y.hi = fixedY_->second;
  }
  if (hasProfile_ && profile_.has(field_)) {
    std::vector<double> x, y, rx, ry;
    const auto& obs = profile_.observed(field_);
    for (std::size_t i = 0; i < profile_.size(); ++i) {
      if (gm2d::isMissing(obs[i])) continue;
      x.push_back(profile_.x[i]);
      y.push_back(obs[i]);
      rx.push_back(profile_.x[i]);
      ry.push_back(obs[i] - computed_.total[i]);
    }
    const chart::SeriesKind k = looks_ == Looks::Line    ? chart::SeriesKind::Line
                                : looks_ == Looks::Point ? chart::SeriesKind::Markers
                                                         : chart::SeriesKind::LineMarkers;
    chart::Series o = chart::Series::of(k, x, y, chartRgb(origColour_), "观测");
    o.marker = chart::Marker::Circle;
    o.markerSize = 4;
    c.series.push_back(o);
    chart::Series r = chart::Series::of(chart::SeriesKind::Line, rx, ry, {120, 120, 120}, "剩余");
    r.dashed = true;
    c.series.push_back(r);
  }
  chart::Series calc = chart::Series::of(chart::SeriesKind::Line, stationX_, computed_.total,
                                         chartRgb(calcColour_), "计算");
  calc.width = 2;
  c.series.push_back(calc);
  if (!model_.trend(field_).c.empty()) {
    chart::Series t =
        chart::Series::of(chart::SeriesKind::Line, stationX_, computed_.trend, {0, 130, 0}, "趋势");
    t.dashed = true;
    c.series.push_back(t);
  }
  return c;
}

void MaskPro::refreshChart() {
  if (!profileView_) return;
  profileView_->setChart(buildChart(profileView_->size()));
}

bool MaskPro::eventFilter(QObject* watched, QEvent* event) {
  if (watched == profileView_ && event->type() == QEvent::Resize) refreshChart();
  return QWidget::eventFilter(watched, event);
}

// ============================================================================ drawing

void MaskPro::drawSection(QPainter& p, const QRectF& f, bool forPrint) const {
  p.save();
  p.setRenderHint(QPainter::Antialiasing, true);
  const bool colour = !forPrint || print_.colour;
  p.fillRect(f, colour ? modelBack_ : QColor(Qt::white));
  p.setClipRect(f);
  // Bodies.
  QFont font = p.font();
  font.setPixelSize(11);
  p.setFont(font);
  for (std::size_t b = 0; b < model_.bodies.size(); ++b) {
    const Body& body = model_.bodies[b];
    QPolygonF poly;
    for (const Point2& v : body.vertices) poly << toPixel(v, f);
    QColor fill = qc(body.colour);
    if (!colour) {
      const int g = qGray(fill.rgb());
      fill = QColor(g, g, g);
    }
    QPen pen(Qt::black, 1);
    if (body.chosen) pen = QPen(colour ? chosenColour_ : QColor(Qt::black), 2.5);
    if (!forPrint && static_cast<int>(b) == selBody_) pen.setStyle(Qt::DashLine);
    p.setPen(pen);
    p.setBrush(fill);
    p.drawPolygon(poly);
  }
  // Pending polygon of the add-model mode and the rubber band.
  if (!forPrint && !pending_.empty()) {
    QPolygonF poly;
    for (const Point2& v : pending_) poly << toPixel(v, f);
    p.setPen(QPen(Qt::darkRed, 1.5, Qt::DashLine));
    p.setBrush(Qt::NoBrush);
    p.drawPolyline(poly);
  }
  if (!forPrint && !rubber_.isNull()) {
    p.setPen(QPen(Qt::darkBlue, 1, Qt::DashLine));
    p.setBrush(Qt::NoBrush);
    p.drawRect(rubber_.normalized());
  }
  // Vertex marks: a square for a fixed vertex, a triangle for one free in depth, a diamond for one
  // free along the profile, a disc for one free both ways.
  if (vertexMarks_) {
    for (std::size_t b = 0; b < model_.bodies.size(); ++b) {
      const Body& body = model_.bodies[b];
      for (std::size_t k = 0; k < body.vertices.size(); ++k) {
        const QPointF c = toPixel(body.vertices[k], f);
        const bool sel =
            !forPrint && static_cast<int>(b) == selBody_ && static_cast<int>(k) == selVertex_;
        p.setPen(QPen(sel ? Qt::red : Qt::black, 1));
        p.setBrush(sel ? QBrush(Qt::red) : QBrush(Qt::white));
        const double r = 3;
        switch (body.freedom(k)) {
          case gm2d::kFreeZ:
            p.drawPolygon(
                QPolygonF{c + QPointF(0, -r - 1), c + QPointF(r + 1, r), c + QPointF(-r - 1, r)});
            break;
          case gm2d::kFreeX:
            p.drawPolygon(QPolygonF{c + QPointF(0, -r - 1), c + QPointF(r + 1, 0),
                                    c + QPointF(0, r + 1), c + QPointF(-r - 1, 0)});
            break;
          case gm2d::kFreeXZ:
            p.setBrush(sel ? QBrush(Qt::red) : QBrush(Qt::black));
            p.drawEllipse(c, r, r);
            break;
          default:
            p.drawRect(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r));
        }
      }
    }
  }
  // Titles.
  p.setPen(Qt::black);
  for (const Body& body : model_.bodies) {
    const Point2 at = body.label ? *body.label : gm2d::centroid(body.vertices);
    QString t = QString::fromStdString(body.name);
    if (valueToTitle_) {
      t += QString(" ρ=%1").arg(num(body.density, 4));
      if (body.susceptibility != 0 || body.remanence != 0)
        t += QString(" κ=%1").arg(num(body.susceptibility, 4));
      if (body.remanence != 0) t += QString(" Mr=%1").arg(num(body.remanence, 4));
    }
    const QPointF c = toPixel(at, f);
    const double tw = QFontMetricsF(p.font()).horizontalAdvance(t);
    p.drawText(QPointF(c.x() - tw / 2, c.y() + 4), t);
  }
  // The station line.
  if (!stationX_.empty()) {
    QPolygonF line;
    for (std::size_t i = 0; i < stationX_.size(); ++i)
      line << toPixel({stationX_[i], -stationH_[i]}, f);
    p.setPen(QPen(QColor(90, 60, 30), 1.5));
    p.drawPolyline(line);
    if (hasProfile_) {
      p.setBrush(QColor(90, 60, 30));
      for (const QPointF& q : line) p.drawEllipse(q, 1.5, 1.5);
    }
  }
  p.setClipping(false);
  // Frame and axes: x ticks shared with the profile panel, depth ticks on the left.
  p.setPen(QPen(Qt::black, 1));
  p.setBrush(Qt::NoBrush);
  p.drawRect(f);
  double lo = view_.x0, hi = view_.x1;
  const std::vector<double> xt = chart::niceTicks(lo, hi, 8, false);
  const std::vector<std::string> xl = chart::formatTicks(xt);
  for (std::size_t i = 0; i < xt.size(); ++i) {
    const double px = toPixel({xt[i], 0}, f).x();
    if (px < f.left() - 0.5 || px > f.right() + 0.5) continue;
    p.drawLine(QPointF(px, f.bottom()), QPointF(px, f.bottom() + 4));
    const QString s = QString::fromStdString(xl[i]);
    p.drawText(QPointF(px - QFontMetricsF(p.font()).horizontalAdvance(s) / 2, f.bottom() + 16), s);
  }
  double z0 = view_.zTop, z1 = toModel(f.bottomLeft(), f).z;
  const std::vector<double> zt = chart::niceTicks(z0, z1, 6, false);
  const std::vector<std::string> zl = chart::formatTicks(zt);
  for (std::size_t i = 0; i < zt.size(); ++i) {
    const double py = toPixel({0, zt[i]}, f).y();
    if (py < f.top() - 0.5 || py > f.bottom() + 0.5) continue;
    p.drawLine(QPointF(f.left() - 4, py), QPointF(f.left(), py));
    const QString s = QString::fromStdString(zl[i]);
    p.drawText(QPointF(f.left() - 7 - QFontMetricsF(p.font()).horizontalAdvance(s), py + 4), s);
  }
  p.save();
  p.translate(14, f.center().y());
  p.rotate(-90);
  p.drawText(QPointF(-24, 0), "深度 (m)");
  p.restore();
  p.restore();
}

void MaskPro::printSheet(QPrinter* printer) {
  QPainter p(printer);
  const QRectF page = printer->pageLayout().paintRectPixels(printer->resolution());
  const double dpi = printer->resolution();
  const QRectF area(0, 0, page.width(), page.height());
  // Title.
  QFont f = p.font();
  f.setPointSizeF(print_.fontPoints * 1.6);
  p.setFont(f);
  const double titleH = QFontMetricsF(f).height() * 1.5;
  p.drawText(QRectF(area.left(), area.top(), area.width(), titleH), Qt::AlignCenter,
             QString::fromStdString(print_.title));
  // Panels, scaled so that the screen's pixel sizes become printer points.
  const double s = dpi / 96.0;
  const double w = area.width() / s, h = (area.height() - titleH) / s;
  const double ph = h * print_.profileFraction;
  p.save();
  p.translate(area.left(), area.top() + titleH);
  p.scale(s, s);
  chart::Chart c = buildChart(QSize(static_cast<int>(w), static_cast<int>(ph)));
  if (!print_.colour) {
    for (chart::Series& se : c.series) se.colour = chart::kBlack;
    c.background = chart::kWhite;
  }
  PainterCanvas canvas(p, QPointF(0, 0));
  chart::drawChart(c, canvas, w, ph);
  p.translate(0, ph);
  drawSection(p, frameOf(QSizeF(w, h - ph), false), true);
  p.restore();
}

// ============================================================================ files

void MaskPro::loadObserved(const std::string& path) {
  gm2d::Profile p;
  if (Outcome o = gm2d::readObserved(path, p); !o) {
    say(o.message);
    return;
  }
  if (Outcome o = gm2d::checkModel(model_, p.x, p.elevation); !o) {
    say(o.message);
    return;
  }
  profile_ = std::move(p);
  hasProfile_ = true;
  if (!profile_.has(field_))
    field_ = profile_.has(FieldKind::Gravity) ? FieldKind::Gravity : FieldKind::Magnetic;
  if (profile_.georeferenced) model_.azimuth = profile_.azimuth;
  model_.component = profile_.component;
  fixedY_.reset();
  fitView();
  recompute();
  publishStates();
  setStatus(1, QString::fromStdString("原始数据: " + path));
  // A profile placed on the map may take its elevations from a terrain grid.
  if (profile_.georeferenced) request(MaskProRequest::OpenTerrain);
}

void MaskPro::loadTerrain(const std::string& path) {
  GridReadResult g = readGrid(path);
  if (!g.ok()) {
    say(kMsgNotBinaryGrid);
    return;
  }
  gm2d::Profile p = profile_;
  if (Outcome o = gm2d::applyTerrain(p, g.grid); !o) {
    say(o.message);
    return;
  }
  if (Outcome o = gm2d::checkModel(model_, p.x, p.elevation); !o) {
    say(o.message);
    return;
  }
  profile_ = std::move(p);
  fitView();
  recompute();
  setStatus(1, QString::fromStdString("测点高程取自地形网格: " + path));
}

void MaskPro::loadModel(const std::string& path, bool insert) {
  Model m;
  if (Outcome o = gm2d::readModel(path, m); !o) {
    say(o.message);
    return;
  }
  if (insert) {
    applyEdit([&](Model& cur) {
      for (Body& b : m.bodies) cur.bodies.push_back(b);
      return Outcome::success();
    });
    return;
  }
  if (hasProfile_) {
    if (Outcome o = gm2d::checkModel(m, profile_.x, profile_.elevation); !o) {
      say(o.message);
      return;
    }
    if (profile_.georeferenced) m.azimuth = profile_.azimuth;
  }
  history_.clear();
  selBody_ = selVertex_ = -1;
  model_ = std::move(m);
  fitView();
  recompute();
  publishStates();
  setStatus(1, QString::fromStdString("模型: " + path));
}

void MaskPro::saveChosen(const std::string& path) {
  Model m = model_;
  m.bodies.clear();
  for (const Body& b : model_.bodies)
    if (b.chosen) m.bodies.push_back(b);
  if (m.bodies.empty() && selBody_ >= 0 && selBody_ < static_cast<int>(model_.bodies.size()))
    m.bodies.push_back(model_.bodies[static_cast<std::size_t>(selBody_)]);
  if (m.bodies.empty()) {
    say("请先选择要保存的模型。");
    return;
  }
  if (Outcome o = gm2d::writeModel(path, m); !o) say(o.message);
}

void MaskPro::copyChosen() {
  clipboard_.clear();
  for (const Body& b : model_.bodies)
    if (b.chosen) clipboard_.push_back(b);
  if (clipboard_.empty() && selBody_ >= 0 && selBody_ < static_cast<int>(model_.bodies.size()))
    clipboard_.push_back(model_.bodies[static_cast<std::size_t>(selBody_)]);
  if (clipboard_.empty()) {
    say("请先选择要复制的模型。");
    return;
  }
  Model m = model_;
  m.bodies = clipboard_;
  QApplication::clipboard()->setText(QString::fromStdString(gm2d::modelText(m)));
  setStatus(1, QString("已复制 %1 个模型").arg(clipboard_.size()));
}

void MaskPro::paste() {
  if (clipboard_.empty()) {
    // Nothing copied here: models from the system clipboard, else from a file.
    Model m;
    if (gm2d::parseModel(QApplication::clipboard()->text().toStdString(), m) && !m.bodies.empty())
      clipboard_ = m.bodies;
    else {
      request(MaskProRequest::OpenModel);
      return;
    }
  }
  const double shift = 0.05 * (view_.x1 - view_.x0);
  applyEdit([&](Model& cur) {
    for (Body b : clipboard_) {
      for (Point2& v : b.vertices) v.x += shift;
      if (b.label) b.label->x += shift;
      b.chosen = false;
      cur.bodies.push_back(b);
    }
    return Outcome::success();
  });
}

// ============================================================================ inversion

void MaskPro::runInversion(gm2d::InversionMethod method) {
  settings_.method = method;
  publishStates();
  if (inverting_) return;
  if (!hasProfile_) {
    say(gm2d::kMsgNoObserved);
    return;
  }
  settings_.fields = {field_};
  if (jointInversion_ && profile_.has(FieldKind::Gravity) && profile_.has(FieldKind::Magnetic))
    settings_.fields = {FieldKind::Gravity, FieldKind::Magnetic};
  const Model before = model_;
  inverting_ = true;
  stopRequested_ = false;
  setStatus(1, method == gm2d::InversionMethod::Cholesky ? "正在反演 (Cholesky)..."
                                                         : "正在反演 (广义逆)...");
  QApplication::setOverrideCursor(Qt::BusyCursor);
  const gm2d::InversionResult r = gm2d::invert(
      model_, profile_, settings_, [&](const gm2d::IterationReport& rep, const Model& m) {
        model_ = m;
        recompute();
        setStatus(1, QString("第 %1 次迭代  均方误差 %2").arg(rep.iteration).arg(num(rep.rms, 5)));
        QApplication::processEvents();
        return !stopRequested_;
      });
  QApplication::restoreOverrideCursor();
  inverting_ = false;
  model_ = before;
  if (!r.outcome) {
    recompute();
    say(r.outcome.message);
    return;
  }
  setModel(r.model, true);
  setStatus(1, QString::fromStdString(r.outcome.message));
  if (showMessage(this, kTitleInfo, r.outcome.message + "\n是否保存反演后的模型?", Buttons::YesNo,
                  Icon::Question) == Answer::Yes)
    request(MaskProRequest::SaveInvertedModel);
}

void MaskPro::setBaseField() {
  if (!hasProfile_ || !(profile_.has(FieldKind::Gravity) && profile_.has(FieldKind::Magnetic))) {
    say("观测数据中只有一种场，不能切换。");
    return;
  }
  field_ = field_ == FieldKind::Gravity ? FieldKind::Magnetic : FieldKind::Gravity;
  fixedY_.reset();
  recompute();
  publishStates();
  setStatus(1, field_ == FieldKind::Gravity ? "当前为重力场" : "当前为磁场");
}

// ============================================================================ colours, printing

void MaskPro::pickColour(QColor& target, const QString& title) {
  const QColor c = chooseColour ? chooseColour(target, title) : QColor();
  if (!c.isValid()) return;
  target = c;
  refreshChart();
  section_->update();
}

void MaskPro::recolourBodies() {
  if (model_.bodies.empty()) return;
  applyEdit([&](Model& m) {
    for (Body& b : m.bodies)
      b.colour = colours_.at(colours_.bySusceptibility ? b.susceptibility : b.density);
    return Outcome::success();
  });
}

void MaskPro::openPreview() {
  if (preview_) return;
  auto* printer = new QPrinter(QPrinter::HighResolution);
  printer->setPageOrientation(print_.landscape ? QPageLayout::Landscape : QPageLayout::Portrait);
  printer->setPageMargins(
      QMarginsF(print_.margins[0], print_.margins[1], print_.margins[2], print_.margins[3]),
      QPageLayout::Millimeter);
  preview_ = new QPrintPreviewDialog(printer, this);
  preview_->setObjectName("dlgPrintPreview");
  connect(preview_, &QPrintPreviewDialog::paintRequested, this,
          [this](QPrinter* pr) { printSheet(pr); });
  connect(preview_, &QDialog::finished, this, [this, printer] {
    preview_->deleteLater();
    preview_ = nullptr;
    delete printer;
    if (events_) events_->printPreview(false);
  });
  preview_->setWindowModality(Qt::NonModal);
  preview_->show();
  if (events_) events_->printPreview(true);
}

void MaskPro::print() {
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(print_.landscape ? QPageLayout::Landscape : QPageLayout::Portrait);
  printer.setPageMargins(
      QMarginsF(print_.margins[0], print_.margins[1], print_.margins[2], print_.margins[3]),
      QPageLayout::Millimeter);
  QPrintDialog dlg(&printer, this);
  dlg.setObjectName("dlgPrint");
  if (dlg.exec() != QDialog::Accepted) return;
  printSheet(&printer);
}

void MaskPro::printSetup() {
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(print_.landscape ? QPageLayout::Landscape : QPageLayout::Portrait);
  QPageSetupDialog dlg(&printer, this);
  dlg.setObjectName("dlgPageSetup");
  if (dlg.exec() != QDialog::Accepted) return;
  print_.landscape = printer.pageLayout().orientation() == QPageLayout::Landscape;
  const QMarginsF m = printer.pageLayout().margins(QPageLayout::Millimeter);
  print_.margins[0] = m.left();
  print_.margins[1] = m.top();
  print_.margins[2] = m.right();
  print_.margins[3] = m.bottom();
}

void MaskPro::showHelpKeys() {
  say("功能键:\n"
      "  Ctrl+Z  撤消上一次修改        Ctrl+Y  重做\n"
      "  Ctrl+C  复制所选模型          Ctrl+V  粘贴模型\n"
      "  Del     删除所选角点          Shift+Del  删除所选模型\n"
      "  方向键  所选角点移动一个像素  Esc  回到角点移动状态 / 停止反演\n"
      "  F5      重新计算并显示全部    双击模型  模型物性\n"
      "鼠标: 左键拖动角点或模型, 右键打开菜单。");
}

// ============================================================================ dialogs

void MaskPro::geomagneticDialog() {
  QDialog d(this);
  d.setObjectName("dlgEarthMagnatic");
  d.setWindowTitle("地磁场方向");
  auto* form = new QFormLayout(&d);
  auto* t0 = spin(0, 100000, model_.field.intensity, 1, "txtT0");
  auto* inc = spin(-90, 90, model_.field.inclination, 2, "txtInclination");
  auto* dec = spin(-180, 360, model_.field.declination, 2, "txtDeclination");
  auto* az = spin(-360, 360, model_.azimuth, 2, "txtAzimuth");
  auto* comp = new QComboBox;
  comp->setObjectName("cboComponent");
  comp->addItems({"总场异常 ΔT", "垂直分量 Za", "水平分量 Hax"});
  comp->setCurrentIndex(static_cast<int>(model_.component));
  form->addRow("地磁场强度 (nT)", t0);
  form->addRow("地磁倾角 (度)", inc);
  form->addRow("地磁偏角 (度)", dec);
  form->addRow("剖面方位角 (度)", az);
  form->addRow("磁异常分量", comp);
  form->addRow(okCancel(&d));
  if (d.exec() != QDialog::Accepted) return;
  applyEdit([&](Model& m) {
    m.field = {t0->value(), inc->value(), dec->value()};
    m.azimuth = az->value();
    m.component = static_cast<gm2d::MagComponent>(comp->currentIndex());
    return Outcome::success();
  });
}

void MaskPro::trendDialog() {
  QDialog d(this);
  d.setObjectName("dlgTrend");
  d.setWindowTitle(QString("趋势背景场 - ") + (field_ == FieldKind::Gravity ? "重力" : "磁力"));
  auto* form = new QFormLayout(&d);
  const gm2d::Trend& t = model_.trend(field_);
  auto* order = new QSpinBox;
  order->setObjectName("txtOrder");
  order->setRange(-1, 3);
  order->setSpecialValueText("无");
  order->setValue(static_cast<int>(t.c.size()) - 1);
  QDoubleSpinBox* c[4];
  for (int k = 0; k < 4; ++k) {
    const std::string name = "txtCoef_" + std::to_string(k);
    c[k] =
        spin(-1e9, 1e9, k < static_cast<int>(t.c.size()) ? t.c[static_cast<std::size_t>(k)] : 0.0,
             6, name.c_str());
  }
  auto* x0 = spin(-1e9, 1e9, t.x0, 2, "txtX0");
  auto* inv = new QCheckBox("系数参加反演");
  inv->setObjectName("chkInvert");
  inv->setChecked(t.invert);
  auto* fit = new QPushButton("按剩余异常拟合");
  fit->setObjectName("btnFit");
  fit->setEnabled(hasProfile_ && profile_.has(field_));
  form->addRow("阶次", order);
  form->addRow("x0 (m)", x0);
  for (int k = 0; k < 4; ++k) form->addRow(QString("c%1 (x 以 km 计)").arg(k), c[k]);
  form->addRow(inv);
  form->addRow(fit);
  form->addRow(okCancel(&d));
  connect(fit, &QPushButton::clicked, &d, [&] {
    Model m = model_;
    if (Outcome o = gm2d::fitTrend(m, profile_, field_, std::max(0, order->value())); !o) {
      say(o.message);
      return;
    }
    const gm2d::Trend& f = m.trend(field_);
    x0->setValue(f.x0);
    for (int k = 0; k < 4; ++k)
      c[k]->setValue(k < static_cast<int>(f.c.size()) ? f.c[static_cast<std::size_t>(k)] : 0.0);
  });
  if (d.exec() != QDialog::Accepted) return;
  applyEdit([&](Model& m) {
    gm2d::Trend& nt = m.trend(field_);
    nt.x0 = x0->value();
    nt.c.clear();
    for (int k = 0; k <= order->value(); ++k) nt.c.push_back(c[k]->value());
    nt.invert = inv->isChecked() && !nt.c.empty();
    return Outcome::success();
  });
}

void MaskPro::backgroundDialog() {
  QDialog d(this);
  d.setObjectName("dlgBackground");
  d.setWindowTitle("背景物性");
  auto* form = new QFormLayout(&d);
  auto* rho = spin(0, 10, model_.backgroundDensity, 3, "txtDensity");
  auto* chi = spin(-1, 10, model_.backgroundSusceptibility, 6, "txtSusceptibility");
  form->addRow("背景密度 (g/cm³)", rho);
  form->addRow("背景磁化率 (SI)", chi);
  form->addRow(okCancel(&d));
  if (d.exec() != QDialog::Accepted) return;
  applyEdit([&](Model& m) {
    m.backgroundDensity = rho->value();
    m.backgroundSusceptibility = chi->value();
    return Outcome::success();
  });
}

void MaskPro::constraintDialog() {
  std::vector<std::size_t> chosen;
  for (std::size_t b = 0; b < model_.bodies.size(); ++b)
    if (model_.bodies[b].chosen) chosen.push_back(b);
  if (chosen.empty()) {
    say(gm2d::kMsgNoBodyChosen);
    return;
  }
  QDialog d(this);
  d.setObjectName("dlgVaryStep");
  d.setWindowTitle("调整约束范围");
  auto* lay = new QVBoxLayout(&d);
  auto* table = new QTableWidget(static_cast<int>(chosen.size()), 13, &d);
  table->setObjectName("tblConstraints");
  table->setHorizontalHeaderLabels({"模型", "反演密度", "密度下限", "密度上限", "反演磁化率",
                                    "磁化率下限", "磁化率上限", "反演剩磁", "剩磁下限", "剩磁上限",
                                    "水平移动 (m)", "垂向移动 (m)", "走向半长 (m)"});
  for (int r = 0; r < static_cast<int>(chosen.size()); ++r) {
    const Body& b = model_.bodies[chosen[static_cast<std::size_t>(r)]];
    auto text = [&](int c, double v) { table->setItem(r, c, new QTableWidgetItem(num(v, 8))); };
    auto check = [&](int c, bool on) {
      auto* it = new QTableWidgetItem;
      it->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled);
      it->setCheckState(on ? Qt::Checked : Qt::Unchecked);
      table->setItem(r, c, it);
    };
    auto* name = new QTableWidgetItem(QString::fromStdString(b.name));
    name->setFlags(Qt::ItemIsEnabled);
    table->setItem(r, 0, name);
    check(1, b.invertDensity);
    text(2, b.densityMin);
    text(3, b.densityMax);
    check(4, b.invertSusceptibility);
    text(5, b.susceptibilityMin);
    text(6, b.susceptibilityMax);
    check(7, b.invertRemanence);
    text(8, b.remanenceMin);
    text(9, b.remanenceMax);
    text(10, b.moveX);
    text(11, b.moveZ);
    text(12, b.halfStrike);
  }
  lay->addWidget(table);
  auto* form = new QFormLayout;
  auto* iters = new QSpinBox;
  iters->setObjectName("txtIterations");
  iters->setRange(1, 200);
  iters->setValue(settings_.maxIterations);
  auto* damping = spin(1e-9, 1e6, settings_.damping, 6, "txtDamping");
  auto* cutoff = spin(1e-9, 0.5, settings_.svdCutoff, 8, "txtCutoff");
  auto* fd = new QCheckBox("差分法计算偏导数矩阵");
  fd->setObjectName("chkFiniteDifference");
  fd->setChecked(!settings_.analyticJacobian);
  auto* joint = new QCheckBox("重磁联合反演");
  joint->setObjectName("chkJoint");
  joint->setChecked(jointInversion_);
  form->addRow("最大迭代次数", iters);
  form->addRow("初始阻尼因子 (Cholesky)", damping);
  form->addRow("奇异值截断比 (广义逆)", cutoff);
  form->addRow(fd);
  form->addRow(joint);
  lay->addLayout(form);
  lay->addWidget(okCancel(&d));
  d.resize(900, 320);
  if (d.exec() != QDialog::Accepted) return;
  const bool ok = applyEdit([&](Model& m) {
    for (int r = 0; r < static_cast<int>(chosen.size()); ++r) {
      Body& b = m.bodies[chosen[static_cast<std::size_t>(r)]];
      auto value = [&](int c, double& out) {
        bool good = false;
        const double v = table->item(r, c)->text().toDouble(&good);
        if (!good || !std::isfinite(v)) return false;
        out = v;
        return true;
      };
      auto on = [&](int c) { return table->item(r, c)->checkState() == Qt::Checked; };
      b.invertDensity = on(1);
      b.invertSusceptibility = on(4);
      b.invertRemanence = on(7);
      if (!value(2, b.densityMin) || !value(3, b.densityMax) || !value(5, b.susceptibilityMin) ||
          !value(6, b.susceptibilityMax) || !value(8, b.remanenceMin) ||
          !value(9, b.remanenceMax) || !value(10, b.moveX) || !value(11, b.moveZ) ||
          !value(12, b.halfStrike))
        return Outcome::failure("约束范围必须是数值。");
      if (b.densityMin > b.densityMax || b.susceptibilityMin > b.susceptibilityMax ||
          b.remanenceMin > b.remanenceMax || b.moveX < 0 || b.moveZ < 0 || b.halfStrike < 0)
        return Outcome::failure("约束范围的下限不能大于上限，移动范围和走向半长不能为负。");
    }
    return Outcome::success();
  });
  if (!ok) return;
  settings_.maxIterations = iters->value();
  settings_.damping = damping->value();
  settings_.svdCutoff = cutoff->value();
  settings_.analyticJacobian = !fd->isChecked();
  jointInversion_ = joint->isChecked();
}

void MaskPro::scaleDialog() {
  std::vector<std::size_t> which;
  for (std::size_t b = 0; b < model_.bodies.size(); ++b)
    if (model_.bodies[b].chosen || static_cast<int>(b) == selBody_) which.push_back(b);
  if (which.empty()) {
    say("请先选择模型。");
    return;
  }
  QDialog d(this);
  d.setObjectName("dlgModelExpand");
  d.setWindowTitle("模型比例变化");
  auto* form = new QFormLayout(&d);
  auto* sx = spin(0.001, 1000, 1, 4, "txtScaleX");
  auto* sz = spin(0.001, 1000, 1, 4, "txtScaleZ");
  auto* dx = spin(-1e7, 1e7, 0, 2, "txtShiftX");
  auto* dz = spin(-1e7, 1e7, 0, 2, "txtShiftZ");
  form->addRow("水平比例", sx);
  form->addRow("垂向比例", sz);
  form->addRow("水平平移 (m)", dx);
  form->addRow("垂向平移 (m)", dz);
  form->addRow(okCancel(&d));
  if (d.exec() != QDialog::Accepted) return;
  applyEdit([&](Model& m) {
    return gm2d::scaleBodies(m, which, sx->value(), sz->value(), dx->value(), dz->value());
  });
}

void MaskPro::printParamDialog() {
  QDialog d(this);
  d.setObjectName("dlgMapSetup");
  d.setWindowTitle("图形打印参数");
  auto* form = new QFormLayout(&d);
  auto* title = new QLineEdit(QString::fromStdString(print_.title));
  title->setObjectName("txtTitle");
  auto* orient = new QComboBox;
  orient->setObjectName("cboOrientation");
  orient->addItems({"横向", "纵向"});
  orient->setCurrentIndex(print_.landscape ? 0 : 1);
  QDoubleSpinBox* m[4];
  const char* names[4] = {"txtMargin_0", "txtMargin_1", "txtMargin_2", "txtMargin_3"};
  for (int k = 0; k < 4; ++k) m[k] = spin(0, 100, print_.margins[k], 1, names[k]);
  auto* frac = spin(0.1, 0.9, print_.profileFraction, 2, "txtProfileFraction");
  auto* font = spin(4, 72, print_.fontPoints, 1, "txtFont");
  auto* colour = new QCheckBox("彩色打印");
  colour->setObjectName("chkColour");
  colour->setChecked(print_.colour);
  form->addRow("图名", title);
  form->addRow("纸张方向", orient);
  form->addRow("左边距 (mm)", m[0]);
  form->addRow("上边距 (mm)", m[1]);
  form->addRow("右边距 (mm)", m[2]);
  form->addRow("下边距 (mm)", m[3]);
  form->addRow("剖面曲线区所占比例", frac);
  form->addRow("字号 (磅)", font);
  form->addRow(colour);
  auto* row = new QHBoxLayout;
  auto* open = new QPushButton("打开...");
  open->setObjectName("btnOpen");
  auto* save = new QPushButton("保存...");
  save->setObjectName("btnSave");
  row->addWidget(open);
  row->addWidget(save);
  form->addRow(row);
  form->addRow(okCancel(&d));
  auto collect = [&] {
    print_.title = title->text().toStdString();
    print_.landscape = orient->currentIndex() == 0;
    for (int k = 0; k < 4; ++k) print_.margins[k] = m[k]->value();
    print_.profileFraction = frac->value();
    print_.fontPoints = font->value();
    print_.colour = colour->isChecked();
  };
  auto show = [&] {
    title->setText(QString::fromStdString(print_.title));
    orient->setCurrentIndex(print_.landscape ? 0 : 1);
    for (int k = 0; k < 4; ++k) m[k]->setValue(print_.margins[k]);
    frac->setValue(print_.profileFraction);
    font->setValue(print_.fontPoints);
    colour->setChecked(print_.colour);
  };
  const gm2d::PrintSettings before = print_;
  connect(open, &QPushButton::clicked, &d, [&] {
    request(MaskProRequest::OpenPrintSet);
    show();
  });
  connect(save, &QPushButton::clicked, &d, [&] {
    collect();
    request(MaskProRequest::SavePrintSet);
  });
  if (d.exec() != QDialog::Accepted) {
    print_ = before;
    return;
  }
  collect();
  publishStates();
}

void MaskPro::gradColourDialog() {
  QDialog d(this);
  d.setObjectName("dlgModGradColor");
  d.setWindowTitle("设置模型渐变颜色");
  auto* lay = new QVBoxLayout(&d);
  auto* prop = new QComboBox;
  prop->setObjectName("cboProperty");
  prop->addItems({"按密度", "按磁化率"});
  prop->setCurrentIndex(colours_.bySusceptibility ? 1 : 0);
  lay->addWidget(prop);
  auto* table = new QTableWidget(0, 2, &d);
  table->setObjectName("tblColours");
  table->setHorizontalHeaderLabels({"物性值", "颜色"});
  auto fill = [&] {
    table->setRowCount(static_cast<int>(colours_.values.size()));
    for (int r = 0; r < table->rowCount(); ++r) {
      table->setItem(r, 0,
                     new QTableWidgetItem(num(colours_.values[static_cast<std::size_t>(r)], 8)));
      auto* c = new QTableWidgetItem;
      c->setBackground(qc(colours_.colours[static_cast<std::size_t>(r)]));
      c->setFlags(Qt::ItemIsEnabled);
      table->setItem(r, 1, c);
    }
    prop->setCurrentIndex(colours_.bySusceptibility ? 1 : 0);
  };
  fill();
  connect(table, &QTableWidget::cellDoubleClicked, &d, [&](int r, int c) {
    if (c != 1) return;
    const QColor q =
        chooseColour ? chooseColour(table->item(r, 1)->background().color(), "颜色") : QColor();
    if (q.isValid()) table->item(r, 1)->setBackground(q);
  });
  lay->addWidget(table);
  auto collect = [&]() -> bool {
    gm2d::ColourScale s;
    s.bySusceptibility = prop->currentIndex() == 1;
    for (int r = 0; r < table->rowCount(); ++r) {
      bool good = false;
      const double v = table->item(r, 0)->text().toDouble(&good);
      if (!good || (!s.values.empty() && v <= s.values.back())) {
        say("色标的物性值必须是递增的数值。");
        return false;
      }
      s.values.push_back(v);
      s.colours.push_back(rgbOf(table->item(r, 1)->background().color()));
    }
    if (s.values.size() < 2) return false;
    colours_ = s;
    return true;
  };
  auto* row = new QHBoxLayout;
  auto* open = new QPushButton("打开...");
  open->setObjectName("btnOpen");
  auto* save = new QPushButton("保存...");
  save->setObjectName("btnSave");
  row->addWidget(open);
  row->addWidget(save);
  lay->addLayout(row);
  lay->addWidget(okCancel(&d));
  const gm2d::ColourScale before = colours_;
  connect(open, &QPushButton::clicked, &d, [&] {
    request(MaskProRequest::OpenColours);
    fill();
  });
  connect(save, &QPushButton::clicked, &d, [&] {
    if (collect()) request(MaskProRequest::SaveColours);
  });
  if (d.exec() != QDialog::Accepted || !collect()) {
    colours_ = before;
    return;
  }
  recolourBodies();
}

void MaskPro::othersDialog() {
  QDialog d(this);
  d.setObjectName("dlgSomeOthers");
  d.setWindowTitle("其它设置");
  auto* form = new QFormLayout(&d);
  auto* title = new QLineEdit(QString::fromStdString(model_.title));
  title->setObjectName("txtModelTitle");
  auto* ptitle = new QLineEdit(QString::fromStdString(profile_.title));
  ptitle->setObjectName("txtProfileTitle");
  ptitle->setEnabled(hasProfile_);
  form->addRow("模型名称", title);
  form->addRow("剖面名称", ptitle);
  form->addRow(okCancel(&d));
  if (d.exec() != QDialog::Accepted) return;
  if (hasProfile_) profile_.title = ptitle->text().toStdString();
  applyEdit([&](Model& m) {
    m.title = title->text().toStdString();
    return Outcome::success();
  });
}

void MaskPro::bodyDialog(int bi) {
  if (bi < 0 || bi >= static_cast<int>(model_.bodies.size())) return;
  const Body& b = model_.bodies[static_cast<std::size_t>(bi)];
  QDialog d(this);
  d.setObjectName("dlgModelProperty");
  d.setWindowTitle("模型物性");
  auto* form = new QFormLayout(&d);
  auto* name = new QLineEdit(QString::fromStdString(b.name));
  name->setObjectName("txtName");
  auto* rho = spin(0, 10, b.density, 4, "txtDensity");
  auto* chi = spin(-1, 10, b.susceptibility, 6, "txtSusceptibility");
  auto* mr = spin(0, 1e5, b.remanence, 4, "txtRemanence");
  auto* ri = spin(-90, 90, b.remInclination, 2, "txtRemInclination");
  auto* rd = spin(-180, 360, b.remDeclination, 2, "txtRemDeclination");
  auto* strike = spin(0, 1e7, b.halfStrike, 1, "txtHalfStrike");
  QColor colour = qc(b.colour);
  auto* cbtn = new QPushButton("颜色...");
  cbtn->setObjectName("btnColour");
  connect(cbtn, &QPushButton::clicked, &d, [&] {
    const QColor c = chooseColour ? chooseColour(colour, "模型颜色") : QColor();
    if (c.isValid()) colour = c;
  });
  form->addRow("名称", name);
  form->addRow("密度 (g/cm³)", rho);
  form->addRow("磁化率 (SI)", chi);
  form->addRow("剩余磁化强度 (A/m)", mr);
  form->addRow("剩磁倾角 (度)", ri);
  form->addRow("剩磁偏角 (度)", rd);
  form->addRow("走向半长 (m, 0 为无限)", strike);
  form->addRow(cbtn);
  form->addRow(okCancel(&d));
  if (d.exec() != QDialog::Accepted) return;
  applyEdit([&](Model& m) {
    Body& e = m.bodies[static_cast<std::size_t>(bi)];
    e.name = name->text().toStdString();
    e.density = rho->value();
    e.susceptibility = chi->value();
    e.remanence = mr->value();
    e.remInclination = ri->value();
    e.remDeclination = rd->value();
    e.halfStrike = strike->value();
    e.colour = rgbOf(colour);
    return Outcome::success();
  });
}

// ============================================================================ mouse and keys

bool MaskPro::hitVertex(const QPointF& px, int& body, int& vertex) const {
  const QRectF f = sectionFrame();
  double best = capture_ + 0.5;
  body = vertex = -1;
  for (std::size_t b = 0; b < model_.bodies.size(); ++b)
    for (std::size_t k = 0; k < model_.bodies[b].vertices.size(); ++k) {
      const QPointF c = toPixel(model_.bodies[b].vertices[k], f);
      const double d = std::hypot(c.x() - px.x(), c.y() - px.y());
      // The selected body wins a tie (a shared vertex picks the body in hand).
      if (d < best || (d <= best && static_cast<int>(b) == selBody_)) {
        best = d;
        body = static_cast<int>(b);
        vertex = static_cast<int>(k);
      }
    }
  return body >= 0;
}

bool MaskPro::hitEdge(const QPointF& px, int& body, int& edge, Point2& at) const {
  const QRectF f = sectionFrame();
  double best = capture_ + 0.5;
  body = edge = -1;
  for (std::size_t b = 0; b < model_.bodies.size(); ++b) {
    const auto& v = model_.bodies[b].vertices;
    for (std::size_t k = 0; k < v.size(); ++k) {
      double t = 0;
      const double d = segDistance(px, toPixel(v[k], f), toPixel(v[(k + 1) % v.size()], f), t);
      if (d < best) {
        best = d;
        body = static_cast<int>(b);
        edge = static_cast<int>(k);
        const Point2& a = v[k];
        const Point2& c = v[(k + 1) % v.size()];
        at = {a.x + t * (c.x - a.x), a.z + t * (c.z - a.z)};
      }
    }
  }
  return body >= 0;
}

int MaskPro::hitBody(const QPointF& px) const {
  const Point2 p = toModel(px, sectionFrame());
  for (int b = static_cast<int>(model_.bodies.size()) - 1; b >= 0; --b)
    if (inside(model_.bodies[static_cast<std::size_t>(b)].vertices, p)) return b;
  return -1;
}

void MaskPro::sectionPress(const QPointF& px, Qt::MouseButton button, Qt::KeyboardModifiers) {
  setFocus();
  if (button != Qt::LeftButton) return;
  const QRectF f = sectionFrame();
  const Point2 at = toModel(px, f);
  int b = -1, v = -1;
  switch (editMode_) {
    case EditMode::VertexMoving:
      if (moveMode_ == gm2d::MoveMode::Whole) {
        b = hitBody(px);
        int vb = -1;
        if (b < 0 && hitVertex(px, vb, v)) b = vb;
        select(b, -1);
      } else if (hitVertex(px, b, v)) {
        select(b, v);
      } else {
        select(hitBody(px), -1);
      }
      dragging_ = selBody_ >= 0;
      dragRecorded_ = false;
      dragStart_ = model_;
      pressAt_ = px;
      return;
    case EditMode::AddModel:
      pending_.push_back(at);
      section_->update();
      return;
    case EditMode::AddVertex: {
      int e = -1;
      Point2 on;
      if (!hitEdge(px, b, e, on)) return;
      if (applyEdit([&](Model& m) {
            return gm2d::insertVertex(m.bodies[static_cast<std::size_t>(b)],
                                      static_cast<std::size_t>(e), on);
          }))
        select(b, e + 1);
      return;
    }
    case EditMode::SplitModel:
      if (!hitVertex(px, b, v)) return;
      if (firstPick_ < 0 || firstPick_ != b) {
        firstPick_ = b;
        firstPickVertex_ = v;
        select(b, v);
        setStatus(1, "请单击同一模型上的第二个角点");
        return;
      }
      if (applyEdit([&](Model& m) {
            return gm2d::splitBody(m, static_cast<std::size_t>(b),
                                   static_cast<std::size_t>(firstPickVertex_),
                                   static_cast<std::size_t>(v));
          }))
        setStatus(1, "模型已分割");
      firstPick_ = firstPickVertex_ = -1;
      return;
    case EditMode::MergeModels:
      b = hitBody(px);
      if (b < 0) return;
      if (firstPick_ < 0 || firstPick_ == b) {
        firstPick_ = b;
        select(b, -1);
        setStatus(1, "请单击要合并的相邻模型");
        return;
      }
      {
        const int a = firstPick_;
        firstPick_ = -1;
        if (applyEdit([&](Model& m) {
              return gm2d::mergeBodies(m, static_cast<std::size_t>(a), static_cast<std::size_t>(b));
            })) {
          select(a > b ? a - 1 : a, -1);
          setStatus(1, "模型已合并");
        }
      }
      return;
    case EditMode::ChooseModels:
      b = hitBody(px);
      if (b < 0) return;
      applyEdit([&](Model& m) {
        m.bodies[static_cast<std::size_t>(b)].chosen =
            !m.bodies[static_cast<std::size_t>(b)].chosen;
        return Outcome::success();
      });
      select(b, -1);
      return;
    case EditMode::ChooseVertices:
      if (!hitVertex(px, b, v)) return;
      if (!model_.bodies[static_cast<std::size_t>(b)].chosen) {
        say("请先选择参加反演的模型。");
        return;
      }
      applyEdit([&](Model& m) {
        Body& body = m.bodies[static_cast<std::size_t>(b)];
        body.free.resize(body.vertices.size(), gm2d::kFixed);
        static const std::uint8_t next[4] = {gm2d::kFreeZ, gm2d::kFixed, gm2d::kFreeXZ,
                                             gm2d::kFreeX};
        // fixed → z → x and z → x → fixed
        std::uint8_t& fr = body.free[static_cast<std::size_t>(v)];
        fr = next[fr];
        return Outcome::success();
      });
      select(b, v);
      return;
    case EditMode::TitlePosition:
      if (selBody_ < 0) {
        say("请先选择模型。");
        return;
      }
      applyEdit([&](Model& m) {
        m.bodies[static_cast<std::size_t>(selBody_)].label = at;
        return Outcome::success();
      });
      return;
    case EditMode::ZoomIn:
      pressAt_ = px;
      rubber_ = QRectF(px, px);
      return;
  }
}

void MaskPro::sectionMove(const QPointF& px, Qt::MouseButtons buttons) {
  const QRectF f = sectionFrame();
  const Point2 at = toModel(px, f);
  setStatus(2, QString("x %1  z %2").arg(num(at.x, 7)).arg(num(at.z, 7)));
  if (!(buttons & Qt::LeftButton)) return;
  if (editMode_ == EditMode::ZoomIn && !rubber_.isNull()) {
    rubber_ = QRectF(pressAt_, px);
    section_->update();
    return;
  }
  if (editMode_ != EditMode::VertexMoving || !dragging_ || selBody_ < 0) return;
  if (!dragRecorded_ && std::hypot(px.x() - pressAt_.x(), px.y() - pressAt_.y()) < 2) return;
  // Drag from the state at the press: the vertex follows the pointer, or the body the offset.
  Model m = dragStart_;
  const auto b = static_cast<std::size_t>(selBody_);
  Outcome o;
  if (moveMode_ == gm2d::MoveMode::Whole || selVertex_ < 0) {
    if (moveMode_ != gm2d::MoveMode::Whole) return;
    const Point2 p0 = toModel(pressAt_, f);
    const Point2 first = m.bodies[b].vertices[0];
    o = gm2d::dragVertex(m, b, 0, {first.x + at.x - p0.x, first.z + at.z - p0.z},
                         gm2d::MoveMode::Whole);
  } else {
    o = gm2d::dragVertex(m, b, static_cast<std::size_t>(selVertex_), at, moveMode_);
  }
  if (o)
    o = gm2d::checkModel(m, hasProfile_ ? profile_.x : std::vector<double>{},
                         hasProfile_ ? profile_.elevation : std::vector<double>{});
  if (!o) {
    setStatus(1, QString::fromStdString(o.message));
    return;  // the body stays where it was last allowed
  }
  if (!dragRecorded_) {
    history_.push(dragStart_);
    dragRecorded_ = true;
  }
  model_ = std::move(m);
  recompute();
}

void MaskPro::sectionRelease(const QPointF& px) {
  if (editMode_ == EditMode::ZoomIn && !rubber_.isNull()) {
    const QRectF r = QRectF(pressAt_, px).normalized();
    rubber_ = QRectF();
    if (r.width() > 5 && r.height() > 5) {
      const QRectF f = sectionFrame();
      const Point2 a = toModel(r.topLeft(), f), b = toModel(r.bottomRight(), f);
      const double oldPpm = pxPerMetre(f);
      view_.x0 = a.x;
      view_.x1 = b.x;
      view_.zTop = a.z;
      // Keep the rectangle's depth range in the panel's height.
      const double ppm = pxPerMetre(f);
      zScale_ = zScale_ * (f.height() / r.height()) * (oldPpm / ppm);
      recompute();
    }
    section_->update();
    return;
  }
  if (dragging_ && dragRecorded_) publishStates();
  dragging_ = false;
}

void MaskPro::sectionDoubleClick(const QPointF& px) {
  if (editMode_ == EditMode::AddModel) {
    if (pending_.size() >= 2 && !(pending_.back() == toModel(px, sectionFrame())))
      pending_.push_back(toModel(px, sectionFrame()));
    // The double click's own press added a point at the same place; drop repeats.
    std::vector<Point2> pts;
    for (const Point2& p : pending_)
      if (pts.empty() || std::hypot(p.x - pts.back().x, p.z - pts.back().z) > 1e-6)
        pts.push_back(p);
    pending_.clear();
    if (pts.size() < 3) {
      say(gm2d::kMsgTooFewVertices);
      section_->update();
      return;
    }
    Body b;
    b.name = "模型" + std::to_string(model_.bodies.size() + 1);
    b.vertices = pts;
    b.free.assign(pts.size(), gm2d::kFixed);
    b.density = model_.backgroundDensity + 0.2;
    b.colour = colours_.at(b.density);
    if (applyEdit([&](Model& m) {
          if (Outcome o = gm2d::checkBody(b); !o) return o;
          m.bodies.push_back(b);
          return Outcome::success();
        }))
      select(static_cast<int>(model_.bodies.size()) - 1, -1);
    section_->update();
    return;
  }
  if (editMode_ == EditMode::VertexMoving) {
    const int b = hitBody(px);
    if (b >= 0) bodyDialog(b);
  }
}

void MaskPro::sectionContextMenu(const QPointF& px, const QPoint& global) {
  int b = -1, v = -1;
  const bool onVertex = hitVertex(px, b, v);
  if (!onVertex) b = hitBody(px);
  QMenu menu(this);
  QAction* delVertex = menu.addAction("删除角点");
  delVertex->setEnabled(onVertex);
  QAction* delBody = menu.addAction("删除模型");
  delBody->setEnabled(b >= 0);
  QAction* props = menu.addAction("模型物性...");
  props->setEnabled(b >= 0);
  menu.addSeparator();
  QAction* saveChosenModels = menu.addAction("所选模型存盘...");
  QAction* insert = menu.addAction("插入模型文件...");
  QAction* got = menu.exec(global);
  if (got == delVertex)
    applyEdit([&](Model& m) {
      return gm2d::deleteVertex(m.bodies[static_cast<std::size_t>(b)], static_cast<std::size_t>(v));
    });
  else if (got == delBody)
    applyEdit([&](Model& m) {
      m.bodies.erase(m.bodies.begin() + b);
      return Outcome::success();
    });
  else if (got == props)
    bodyDialog(b);
  else if (got == saveChosenModels)
    request(MaskProRequest::SaveChosenModels);
  else if (got == insert)
    request(MaskProRequest::OpenModel);
}

void MaskPro::keyPressEvent(QKeyEvent* e) {
  const bool ctrl = e->modifiers() & Qt::ControlModifier;
  if (e->key() == Qt::Key_Escape) {
    if (inverting_)
      stopInversion();
    else
      setEditMode(EditMode::VertexMoving, "拖动角点修改模型");
  } else if (ctrl && e->key() == Qt::Key_Z) {
    undo();
  } else if (ctrl && e->key() == Qt::Key_Y) {
    redo();
  } else if (ctrl && e->key() == Qt::Key_C) {
    copyChosen();
  } else if (ctrl && e->key() == Qt::Key_V) {
    paste();
  } else if (e->key() == Qt::Key_F5) {
    fitView();
    recompute();
  } else if (e->key() == Qt::Key_Delete && selBody_ >= 0) {
    const int b = selBody_, v = selVertex_;
    if ((e->modifiers() & Qt::ShiftModifier) || v < 0) {
      if (applyEdit([&](Model& m) {
            m.bodies.erase(m.bodies.begin() + b);
            return Outcome::success();
          }))
        select(-1, -1);
    } else if (applyEdit([&](Model& m) {
                 return gm2d::deleteVertex(m.bodies[static_cast<std::size_t>(b)],
                                           static_cast<std::size_t>(v));
               })) {
      select(b, -1);
    }
  } else if (selBody_ >= 0 && selVertex_ >= 0 &&
             (e->key() == Qt::Key_Left || e->key() == Qt::Key_Right || e->key() == Qt::Key_Up ||
              e->key() == Qt::Key_Down)) {
    const QRectF f = sectionFrame();
    const auto b = static_cast<std::size_t>(selBody_), v = static_cast<std::size_t>(selVertex_);
    QPointF px = toPixel(model_.bodies[b].vertices[v], f);
    px += e->key() == Qt::Key_Left    ? QPointF(-1, 0)
          : e->key() == Qt::Key_Right ? QPointF(1, 0)
          : e->key() == Qt::Key_Up    ? QPointF(0, -1)
                                      : QPointF(0, 1);
    applyEdit([&](Model& m) { return gm2d::dragVertex(m, b, v, toModel(px, f), moveMode_); });
  } else {
    QWidget::keyPressEvent(e);
  }
}

// ============================================================================ section panel

SectionPanel::SectionPanel(MaskPro* owner) : QWidget(owner), owner_(owner) {
  setMouseTracking(true);
  setMinimumSize(200, 120);
}

void SectionPanel::paintEvent(QPaintEvent*) {
  QPainter p(this);
  owner_->drawSection(p, MaskPro::frameOf(QSizeF(size()), false), false);
}

void SectionPanel::mousePressEvent(QMouseEvent* e) {
  owner_->sectionPress(e->position(), e->button(), e->modifiers());
}
void SectionPanel::mouseMoveEvent(QMouseEvent* e) {
  owner_->sectionMove(e->position(), e->buttons());
}
void SectionPanel::mouseReleaseEvent(QMouseEvent* e) { owner_->sectionRelease(e->position()); }
void SectionPanel::mouseDoubleClickEvent(QMouseEvent* e) {
  owner_->sectionDoubleClick(e->position());
}
void SectionPanel::contextMenuEvent(QContextMenuEvent* e) {
  owner_->sectionContextMenu(e->pos(), e->globalPos());
}

}  // namespace sarnoth::gui
