#include "display/chart_image.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace sarnoth::chart {
namespace {

constexpr const char* kFace = "Noto Sans CJK SC";

class CairoCanvas : public Canvas {
 public:
  explicit CairoCanvas(cairo_t* cr) : cr_(cr) {
    cairo_select_font_face(cr_, kFace, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  }

  void fillRect(double x, double y, double w, double h, Rgb c) override {
    setColour(c);
    cairo_rectangle(cr_, x, y, w, h);
    cairo_fill(cr_);
  }
  void rect(double x, double y, double w, double h, const Pen& p) override {
    setPen(p);
    // Half-pixel offsets keep one-pixel lines sharp.
    cairo_rectangle(cr_, snap(x, p), snap(y, p), w, h);
    cairo_stroke(cr_);
  }
  void polyline(std::span<const Point> pts, const Pen& p) override {
    if (pts.size() < 2) return;
    setPen(p);
    const bool axisAligned = pts.size() == 2 && (pts[0].x == pts[1].x || pts[0].y == pts[1].y);
    for (std::size_t i = 0; i < pts.size(); ++i) {
      const double x = axisAligned ? snap(pts[i].x, p) : pts[i].x;
      const double y = axisAligned ? snap(pts[i].y, p) : pts[i].y;
      if (i == 0)
        cairo_move_to(cr_, x, y);
      else
        cairo_line_to(cr_, x, y);
    }
    cairo_stroke(cr_);
  }
  void polygon(std::span<const Point> pts, const Pen& p, std::optional<Rgb> fill) override {
    if (pts.size() < 3) return;
    for (std::size_t i = 0; i < pts.size(); ++i) {
      if (i == 0)
        cairo_move_to(cr_, pts[i].x, pts[i].y);
      else
        cairo_line_to(cr_, pts[i].x, pts[i].y);
    }
    cairo_close_path(cr_);
    if (fill) {
      setColour(*fill);
      cairo_fill_preserve(cr_);
    }
    setPen(p);
    cairo_stroke(cr_);
  }
  void ellipse(double cx, double cy, double rx, double ry, const Pen& p,
               std::optional<Rgb> fill) override {
    if (!(rx > 0 && ry > 0)) return;
    cairo_save(cr_);
    cairo_translate(cr_, cx, cy);
    cairo_scale(cr_, rx, ry);
    cairo_arc(cr_, 0, 0, 1, 0, 2 * std::numbers::pi);
    cairo_restore(cr_);
    if (fill) {
      setColour(*fill);
      cairo_fill_preserve(cr_);
    }
    setPen(p);
    cairo_stroke(cr_);
  }
  void text(double x, double y, const std::string& t, const TextStyle& s) override {
    if (t.empty()) return;
    cairo_save(cr_);
    cairo_select_font_face(cr_, kFace, CAIRO_FONT_SLANT_NORMAL,
                           s.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr_, s.size);
    cairo_text_extents_t te;
    cairo_text_extents(cr_, t.c_str(), &te);
    cairo_font_extents_t fe;
    cairo_font_extents(cr_, &fe);
    double dx = 0, dy = 0;
    switch (s.anchor) {
      case Anchor::Top:
      case Anchor::Centre:
      case Anchor::Bottom:
        dx = -te.x_advance / 2;
        break;
      case Anchor::TopRight:
      case Anchor::Right:
      case Anchor::BottomRight:
        dx = -te.x_advance;
        break;
      default:
        break;
    }
    // Anchors refer to the line box: ascent above the baseline, descent below.
    switch (s.anchor) {
      case Anchor::TopLeft:
      case Anchor::Top:
      case Anchor::TopRight:
        dy = fe.ascent;
        break;
      case Anchor::Left:
      case Anchor::Centre:
      case Anchor::Right:
        dy = (fe.ascent - fe.descent) / 2;
        break;
      default:
        dy = -fe.descent;
        break;
    }
    cairo_translate(cr_, x, y);
    if (s.upwards) cairo_rotate(cr_, -std::numbers::pi / 2);
    setColour(s.colour);
    cairo_move_to(cr_, dx, dy);
    cairo_show_text(cr_, t.c_str());
    cairo_restore(cr_);
  }
  double textWidth(const std::string& t, double size) const override {
    cairo_save(cr_);
    cairo_set_font_size(cr_, size);
    cairo_text_extents_t te;
    cairo_text_extents(cr_, t.c_str(), &te);
    cairo_restore(cr_);
    return te.x_advance;
  }
  void clip(double x, double y, double w, double h) override {
    cairo_reset_clip(cr_);
    if (w > 0 && h > 0) {
      cairo_rectangle(cr_, x, y, w, h);
      cairo_clip(cr_);
    }
  }

 private:
  cairo_t* cr_;

  void setColour(Rgb c) { cairo_set_source_rgb(cr_, c.r / 255.0, c.g / 255.0, c.b / 255.0); }
  void setPen(const Pen& p) {
    setColour(p.colour);
    cairo_set_line_width(cr_, p.width);
    if (p.dashed) {
      const double d[] = {5.0 * std::max(1.0, p.width), 3.0 * std::max(1.0, p.width)};
      cairo_set_dash(cr_, d, 2, 0);
    } else {
      cairo_set_dash(cr_, nullptr, 0, 0);
    }
  }
  static double snap(double v, const Pen& p) {
    const int w = static_cast<int>(std::lround(p.width));
    return (w % 2 == 1) ? std::floor(v) + 0.5 : std::round(v);
  }
};

struct Surface {
  cairo_surface_t* s = nullptr;
  cairo_t* cr = nullptr;
  Surface(int w, int h) {
    s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, std::max(w, 1), std::max(h, 1));
    cr = cairo_create(s);
  }
  ~Surface() {
    cairo_destroy(cr);
    cairo_surface_destroy(s);
  }
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  bool ok() const {
    return cairo_surface_status(s) == CAIRO_STATUS_SUCCESS &&
           cairo_status(cr) == CAIRO_STATUS_SUCCESS;
  }
};

}  // namespace

Image renderChart(const Chart& chart, int width, int height, Layout* layout) {
  Image img;
  Surface sf(width, height);
  if (!sf.ok()) return img;
  CairoCanvas cv(sf.cr);
  Layout L = drawChart(chart, cv, width, height);
  if (layout) *layout = L;
  cairo_surface_flush(sf.s);
  img.width = cairo_image_surface_get_width(sf.s);
  img.height = cairo_image_surface_get_height(sf.s);
  img.stride = cairo_image_surface_get_stride(sf.s);
  const unsigned char* data = cairo_image_surface_get_data(sf.s);
  img.pixels.resize(static_cast<std::size_t>(img.stride / 4) *
                    static_cast<std::size_t>(img.height));
  std::memcpy(img.pixels.data(), data,
              static_cast<std::size_t>(img.stride) * static_cast<std::size_t>(img.height));
  return img;
}

bool writePng(const Chart& chart, const std::string& path, int width, int height) {
  Surface sf(width, height);
  if (!sf.ok()) return false;
  CairoCanvas cv(sf.cr);
  drawChart(chart, cv, width, height);
  cairo_surface_flush(sf.s);
  return cairo_surface_write_to_png(sf.s, path.c_str()) == CAIRO_STATUS_SUCCESS;
}

bool writeChartFile(const Chart& chart, const std::string& path, int width, int height) {
  std::string ext = path.size() >= 4 ? path.substr(path.size() - 4) : std::string();
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  if (ext == ".svg") return writeSvg(chart, path, width, height);
  return writePng(chart, path, width, height);
}

}  // namespace sarnoth::chart
