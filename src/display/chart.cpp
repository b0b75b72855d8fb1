#include "display/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>

namespace sarnoth::chart {
namespace {

constexpr double kTickLength = 4.0;
constexpr double kBarWidth = 16.0;
constexpr double kPad = 6.0;
// More decades than this on a log axis are labelled every second (third …) decade.
constexpr int kMaxDecadeLabels = 12;

bool usable(double v, Scale s) { return std::isfinite(v) && (s == Scale::Linear || v > 0); }

double toAxis(double v, Scale s) { return s == Scale::Log10 ? std::log10(v) : v; }

// Number of code points of a UTF-8 text, wide (CJK) ones counted twice.
double textUnits(const std::string& t) {
  double units = 0;
  for (std::size_t i = 0; i < t.size();) {
    const auto c = static_cast<unsigned char>(t[i]);
    int len = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    units += len >= 3 ? 2.0 : 1.0;
    i += static_cast<std::size_t>(len);
  }
  return units;
}

// A colour bar's level value: three significant digits.
std::string formatBarValue(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3g", v);
  return buf;
}

struct Extent {
  double lo = std::numeric_limits<double>::infinity();
  double hi = -std::numeric_limits<double>::infinity();
  void add(double v) {
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
  bool empty() const { return !(lo <= hi); }
};

Extent dataExtent(const Chart& c, bool xAxis) {
  const Scale s = xAxis ? c.x.scale : c.y.scale;
  Extent e;
  for (const Series& sr : c.series) {
    const auto& v = xAxis ? sr.x : sr.y;
    for (double d : v) {
      if (!usable(d, s)) continue;
      if (sr.kind == SeriesKind::Bars && xAxis) {
        e.add(d - sr.barWidth / 2);
        e.add(d + sr.barWidth / 2);
      } else {
        e.add(d);
      }
    }
    if (sr.kind == SeriesKind::Bars && !xAxis && usable(sr.base, s)) e.add(sr.base);
  }
  return e;
}

void resolveRange(const Axis& a, Extent e, double& lo, double& hi) {
  if (!a.autoRange) {
    lo = a.lo;
    hi = a.hi;
    if (a.scale == Scale::Log10 && !(lo > 0 && hi > 0)) {
      lo = 1;
      hi = 10;
    }
    if (!(lo < hi) && !(lo > hi)) hi = lo + (a.scale == Scale::Log10 ? lo * 9 : 1);
    return;
  }
  if (e.empty()) {
    lo = a.scale == Scale::Log10 ? 1 : 0;
    hi = a.scale == Scale::Log10 ? 10 : 1;
    return;
  }
  if (a.scale == Scale::Log10) {
    double l = std::floor(std::log10(e.lo)), h = std::ceil(std::log10(e.hi));
    if (h <= l) h = l + 1;
    lo = std::pow(10.0, l);
    hi = std::pow(10.0, h);
    return;
  }
  lo = e.lo;
  hi = e.hi;
  if (lo == hi) {
    const double d = lo == 0 ? 1 : std::abs(lo) * 0.1;
    lo -= d;
    hi += d;
  }
  niceTicks(lo, hi, a.tickCount, true);
}

void resolveTicks(const Axis& a, double lo, double hi, std::vector<double>& ticks,
                  std::vector<std::string>& labels) {
  const double mn = std::min(lo, hi), mx = std::max(lo, hi);
  const double eps = (mx - mn) * 1e-9;
  if (!a.ticks.empty()) {
    for (std::size_t i = 0; i < a.ticks.size(); ++i) {
      const double t = a.ticks[i];
      if (!usable(t, a.scale) || t < mn - eps || t > mx + eps) continue;
      ticks.push_back(t);
      labels.push_back(i < a.tickLabels.size() ? a.tickLabels[i] : std::string());
    }
    if (a.tickLabels.empty()) labels = formatTicks(ticks);
    return;
  }
  if (a.scale == Scale::Log10) {
    const int first = static_cast<int>(std::ceil(std::log10(mn) - 1e-9));
    const int last = static_cast<int>(std::floor(std::log10(mx) + 1e-9));
    const int step = std::max(1, (last - first + kMaxDecadeLabels) / kMaxDecadeLabels);
    for (int e = first; e <= last; e += step) {
      ticks.push_back(std::pow(10.0, e));
      char buf[32];
      if (e >= -4 && e <= 6)
        std::snprintf(buf, sizeof buf, "%.*f", e < 0 ? -e : 0, std::pow(10.0, e));
      else
        std::snprintf(buf, sizeof buf, "1E%+03d", e);
      labels.emplace_back(buf);
    }
    return;
  }
  double l = mn, h = mx;
  ticks = niceTicks(l, h, a.tickCount, false);
  labels = formatTicks(ticks);
}

Anchor rotateAnchorForLabels(bool upwards, Anchor normal) {
  return upwards ? Anchor::Right : normal;
}

}  // namespace

double Canvas::textWidth(const std::string& text, double size) const {
  return textUnits(text) * size * 0.55;
}

std::vector<double> niceTicks(double& lo, double& hi, int count, bool widen) {
  std::vector<double> out;
  if (!std::isfinite(lo) || !std::isfinite(hi)) return out;
  if (lo > hi) std::swap(lo, hi);
  const double span = hi - lo;
  if (!(span > 0)) {
    out.push_back(lo);
    return out;
  }
  count = std::max(count, 1);
  const double raw = span / count;
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  double step = mag;
  for (double m : {1.0, 2.0, 2.5, 5.0, 10.0}) {
    step = m * mag;
    if (raw <= step * (1 + 1e-9)) break;
  }
  double first = std::ceil(lo / step - 1e-9) * step;
  double last = std::floor(hi / step + 1e-9) * step;
  if (widen) {
    first = std::floor(lo / step + 1e-9) * step;
    last = std::ceil(hi / step - 1e-9) * step;
    lo = first;
    hi = last;
  }
  const long n = std::lround((last - first) / step);
  for (long i = 0; i <= n && i < 1000; ++i) {
    double t = first + static_cast<double>(i) * step;
    if (std::abs(t) < step * 1e-9) t = 0;
    out.push_back(t);
  }
  return out;
}

std::vector<std::string> formatTicks(std::span<const double> ticks) {
  std::vector<std::string> out;
  double biggest = 0;
  for (double t : ticks) biggest = std::max(biggest, std::abs(t));
  // Huge or tiny values read better with an exponent.
  const bool exponent = biggest >= 1e7 || (biggest > 0 && biggest < 1e-4);
  int decimals = 0;
  if (!exponent) {
    for (decimals = 0; decimals < 10; ++decimals) {
      const double f = std::pow(10.0, decimals);
      bool exact = true;
      for (double t : ticks) {
        const double v = t * f;
        if (std::abs(v - std::round(v)) > 1e-6 * std::max(1.0, std::abs(v))) {
          exact = false;
          break;
        }
      }
      if (exact) break;
    }
  }
  for (double t : ticks) {
    char buf[48];
    if (exponent)
      std::snprintf(buf, sizeof buf, "%.3G", t);
    else
      std::snprintf(buf, sizeof buf, "%.*f", decimals, t);
    out.emplace_back(buf);
  }
  return out;
}

std::optional<double> Layout::px(double x) const {
  if (!usable(x, xscale)) return std::nullopt;
  const double a = toAxis(xlo, xscale), b = toAxis(xhi, xscale);
  double f = (toAxis(x, xscale) - a) / (b - a);
  if (xreversed) f = 1 - f;
  return left + f * (right - left);
}

std::optional<double> Layout::py(double y) const {
  if (!usable(y, yscale)) return std::nullopt;
  const double a = toAxis(ylo, yscale), b = toAxis(yhi, yscale);
  double f = (toAxis(y, yscale) - a) / (b - a);
  if (yreversed) f = 1 - f;
  return bottom - f * (bottom - top);
}

double Layout::dataX(double p) const {
  double f = (p - left) / (right - left);
  if (xreversed) f = 1 - f;
  const double a = toAxis(xlo, xscale), b = toAxis(xhi, xscale);
  const double v = a + f * (b - a);
  return xscale == Scale::Log10 ? std::pow(10.0, v) : v;
}

double Layout::dataY(double p) const {
  double f = (bottom - p) / (bottom - top);
  if (yreversed) f = 1 - f;
  const double a = toAxis(ylo, yscale), b = toAxis(yhi, yscale);
  const double v = a + f * (b - a);
  return yscale == Scale::Log10 ? std::pow(10.0, v) : v;
}

Layout layoutChart(const Chart& c, double width, double height, const Canvas* measure) {
  Layout L;
  L.width = width;
  L.height = height;
  L.xscale = c.x.scale;
  L.yscale = c.y.scale;
  L.xreversed = c.x.reversed;
  L.yreversed = c.y.reversed;
  resolveRange(c.x, dataExtent(c, true), L.xlo, L.xhi);
  resolveRange(c.y, dataExtent(c, false), L.ylo, L.yhi);
  resolveTicks(c.x, L.xlo, L.xhi, L.xticks, L.xlabels);
  resolveTicks(c.y, L.ylo, L.yhi, L.yticks, L.ylabels);

  if (!c.fitFrame) {
    L.left = c.frame.left * width;
    L.right = (c.frame.left + c.frame.width) * width;
    L.bottom = height - c.frame.bottom * height;
    L.top = height - (c.frame.bottom + c.frame.height) * height;
    return L;
  }
  auto tw = [&](const std::string& t, double size) {
    return measure ? measure->textWidth(t, size) : textUnits(t) * size * 0.55;
  };
  const double fs = c.fontSize, th = fs * 1.4, cap = fs * 1.15;
  double ylab = 0;
  for (const auto& s : L.ylabels) ylab = std::max(ylab, tw(s, fs));
  double xlab = th;
  if (c.x.rotateLabels) {
    xlab = 0;
    for (const auto& s : L.xlabels) xlab = std::max(xlab, tw(s, fs));
  }
  L.left = kPad + (c.y.label.empty() ? 0 : cap * 1.4 + kPad) + ylab + kTickLength + kPad;
  L.bottom =
      height - (kPad + (c.x.label.empty() ? 0 : cap * 1.4 + kPad) + xlab + kTickLength + kPad / 2);
  L.top = kPad + (c.title.empty() ? th / 2 : fs * 1.3 * 1.4 + kPad);
  double lastHalf = L.xlabels.empty() || c.x.rotateLabels ? 0 : tw(L.xlabels.back(), fs) / 2;
  L.right = width - std::max(kPad * 2, lastHalf + kPad);
  if (c.colourBar) {
    double lw = 0;
    for (double b : c.colourBar->bounds) lw = std::max(lw, tw(formatBarValue(b), fs));
    lw = std::max(lw, tw(c.colourBar->label, fs) - kBarWidth);
    L.right = width - (kPad * 3 + kBarWidth + kTickLength + lw);
  }
  if (L.right - L.left < 20) L.right = L.left + 20;
  if (L.bottom - L.top < 20) L.bottom = L.top + 20;
  return L;
}

namespace {

void drawMarker(Canvas& cv, double x, double y, const Series& s) {
  const double h = s.markerSize / 2;
  Pen pen{s.colour, 1.0, false};
  std::optional<Rgb> fill;
  if (s.filledMarkers) fill = s.colour;
  switch (s.marker) {
    case Marker::Square: {
      const Point p[] = {{x - h, y - h}, {x + h, y - h}, {x + h, y + h}, {x - h, y + h}};
      cv.polygon(p, pen, fill);
      break;
    }
    case Marker::Circle:
      cv.ellipse(x, y, h, h, pen, fill);
      break;
    case Marker::Triangle: {
      const Point p[] = {{x, y - h}, {x + h, y + h}, {x - h, y + h}};
      cv.polygon(p, pen, fill);
      break;
    }
    case Marker::Diamond: {
      const Point p[] = {{x, y - h}, {x + h, y}, {x, y + h}, {x - h, y}};
      cv.polygon(p, pen, fill);
      break;
    }
    case Marker::Cross: {
      const Point a[] = {{x - h, y - h}, {x + h, y + h}};
      const Point b[] = {{x - h, y + h}, {x + h, y - h}};
      cv.polyline(a, pen);
      cv.polyline(b, pen);
      break;
    }
    case Marker::Plus: {
      const Point a[] = {{x - h, y}, {x + h, y}};
      const Point b[] = {{x, y - h}, {x, y + h}};
      cv.polyline(a, pen);
      cv.polyline(b, pen);
      break;
    }
  }
}

// Draws runs of consecutive drawable points as polylines.
void drawRuns(Canvas& cv, const std::vector<std::optional<Point>>& pts, const Pen& pen) {
  std::vector<Point> run;
  auto flush = [&] {
    if (run.size() >= 2) cv.polyline(run, pen);
    run.clear();
  };
  for (const auto& p : pts) {
    if (p)
      run.push_back(*p);
    else
      flush();
  }
  flush();
}

void drawSeries(Canvas& cv, const Layout& L, const Series& s) {
  const Pen pen{s.colour, s.width, s.dashed};
  const std::size_t n = std::min(s.x.size(), s.y.size());
  auto at = [&](double x, double y) -> std::optional<Point> {
    auto px = L.px(x);
    auto py = L.py(y);
    if (!px || !py) return std::nullopt;
    return Point{*px, *py};
  };
  switch (s.kind) {
    case SeriesKind::Line:
    case SeriesKind::Markers:
    case SeriesKind::LineMarkers: {
      std::vector<std::optional<Point>> pts;
      pts.reserve(n);
      for (std::size_t i = 0; i < n; ++i) pts.push_back(at(s.x[i], s.y[i]));
      if (s.kind != SeriesKind::Markers) drawRuns(cv, pts, pen);
      if (s.kind != SeriesKind::Line)
        for (const auto& p : pts)
          if (p) drawMarker(cv, p->x, p->y, s);
      break;
    }
    case SeriesKind::Step: {
      // y[i] holds from x[i] to x[i+1]; the last value runs to x[n] when given, else to the
      // axis end.
      const std::size_t m = s.y.size();
      std::vector<std::optional<Point>> pts;
      for (std::size_t i = 0; i < m && i < s.x.size(); ++i) {
        const double x1 = i + 1 < s.x.size() ? s.x[i + 1] : (L.xreversed ? L.xlo : L.xhi);
        pts.push_back(at(s.x[i], s.y[i]));
        pts.push_back(at(x1, s.y[i]));
      }
      drawRuns(cv, pts, pen);
      break;
    }
    case SeriesKind::Bars:
      for (std::size_t i = 0; i < n; ++i) {
        auto a = at(s.x[i] - s.barWidth / 2, s.base);
        auto b = at(s.x[i] + s.barWidth / 2, s.y[i]);
        if (!a || !b) continue;
        const double x = std::min(a->x, b->x), y = std::min(a->y, b->y);
        const double w = std::abs(b->x - a->x), h = std::abs(b->y - a->y);
        if (s.fill) cv.fillRect(x, y, w, h, *s.fill);
        cv.rect(x, y, w, h, pen);
      }
      break;
    case SeriesKind::Cells: {
      const auto k = static_cast<std::size_t>(std::max(3, s.cellCorners));
      std::vector<Point> poly(k);
      for (std::size_t c = 0; c < s.cellColours.size() && (c + 1) * k <= n; ++c) {
        bool ok = true;
        for (std::size_t v = 0; v < k && ok; ++v) {
          const auto p = at(s.x[c * k + v], s.y[c * k + v]);
          if (p)
            poly[v] = *p;
          else
            ok = false;
        }
        if (!ok) continue;
        // Outlined in its own colour, so that neighbouring cells leave no hairline between them.
        const Pen edge{s.width > 0 ? s.colour : s.cellColours[c], s.width > 0 ? s.width : 1.0,
                       false};
        cv.polygon(poly, edge, s.cellColours[c]);
      }
      break;
    }
    case SeriesKind::Segments:
      for (std::size_t i = 0; i + 1 < n; i += 2) {
        auto a = at(s.x[i], s.y[i]);
        auto b = at(s.x[i + 1], s.y[i + 1]);
        if (!a || !b) continue;
        const Point seg[] = {*a, *b};
        cv.polyline(seg, pen);
      }
      break;
  }
}

}  // namespace

Layout drawChart(const Chart& c, Canvas& cv, double width, double height) {
  const Layout L = layoutChart(c, width, height, &cv);
  const double fs = c.fontSize;
  cv.fillRect(0, 0, width, height, c.background);
  const Pen gridPen{Rgb{215, 215, 215}, 1.0, false};
  const Pen axisPen{kBlack, 1.0, false};

  // Grid and ticks.
  for (std::size_t i = 0; i < L.xticks.size(); ++i) {
    const auto px = L.px(L.xticks[i]);
    if (!px) continue;
    if (c.x.grid) {
      const Point g[] = {{*px, L.top}, {*px, L.bottom}};
      cv.polyline(g, gridPen);
    }
    const Point t[] = {{*px, L.bottom}, {*px, L.bottom + kTickLength}};
    cv.polyline(t, axisPen);
    TextStyle st{fs, rotateAnchorForLabels(c.x.rotateLabels, Anchor::Top), kBlack,
                 c.x.rotateLabels};
    cv.text(*px, L.bottom + kTickLength + 2, L.xlabels[i], st);
  }
  for (std::size_t i = 0; i < L.yticks.size(); ++i) {
    const auto py = L.py(L.yticks[i]);
    if (!py) continue;
    if (c.y.grid) {
      const Point g[] = {{L.left, *py}, {L.right, *py}};
      cv.polyline(g, gridPen);
    }
    const Point t[] = {{L.left - kTickLength, *py}, {L.left, *py}};
    cv.polyline(t, axisPen);
    cv.text(L.left - kTickLength - 2, *py, L.ylabels[i], TextStyle{fs, Anchor::Right, kBlack});
  }

  cv.clip(L.left, L.top, L.right - L.left, L.bottom - L.top);
  for (const Series& s : c.series) drawSeries(cv, L, s);
  for (const Note& n : c.notes) {
    double x, y;
    if (n.inFrame) {
      x = L.left + n.x * (L.right - L.left);
      y = L.bottom - n.y * (L.bottom - L.top);
    } else {
      auto px = L.px(n.x);
      auto py = L.py(n.y);
      if (!px || !py) continue;
      x = *px;
      y = *py;
    }
    cv.text(x, y, n.text, TextStyle{n.size > 0 ? n.size : fs, n.anchor, n.colour});
  }
  cv.clip(0, 0, 0, 0);
  cv.rect(L.left, L.top, L.right - L.left, L.bottom - L.top, axisPen);

  // Captions and title.
  const double cap = fs * 1.15;
  if (!c.x.label.empty()) {
    double below = L.bottom + kTickLength + 2 + fs * 1.4 + kPad / 2;
    if (c.x.rotateLabels) {
      double w = 0;
      for (const auto& s : L.xlabels) w = std::max(w, cv.textWidth(s, fs));
      below = L.bottom + kTickLength + 2 + w + kPad / 2;
    }
    cv.text((L.left + L.right) / 2, std::min(below, height - cap * 1.4), c.x.label,
            TextStyle{cap, Anchor::Top, kBlack});
  }
  if (!c.y.label.empty()) {
    double w = 0;
    for (const auto& s : L.ylabels) w = std::max(w, cv.textWidth(s, fs));
    const double x = std::max(2.0, L.left - kTickLength - 2 - w - kPad - cap * 1.4);
    cv.text(x, (L.top + L.bottom) / 2, c.y.label, TextStyle{cap, Anchor::Top, kBlack, true});
  }
  if (!c.title.empty())
    cv.text(width / 2, std::max(2.0, L.top - kPad), c.title,
            TextStyle{fs * 1.3, Anchor::Bottom, kBlack, false, true});

  if (c.colourBar && c.colourBar->colours.size() + 1 == c.colourBar->bounds.size() &&
      !c.colourBar->colours.empty()) {
    const ColourBar& b = *c.colourBar;
    const double x = L.right + kPad * 2, top = L.top + (b.label.empty() ? 0 : fs * 1.6);
    const double h = (L.bottom - top) / static_cast<double>(b.colours.size());
    for (std::size_t i = 0; i < b.colours.size(); ++i) {
      const double y = L.bottom - h * static_cast<double>(i + 1);
      cv.fillRect(x, y, kBarWidth, h + 0.5, b.colours[i]);
    }
    cv.rect(x, top, kBarWidth, L.bottom - top, axisPen);
    // Labels no closer than a line of text.
    const auto every =
        static_cast<std::size_t>(std::max(1.0, std::ceil(fs * 1.3 / std::max(h, 1e-9))));
    for (std::size_t i = 0; i < b.bounds.size(); i += every) {
      const double y = L.bottom - h * static_cast<double>(i);
      const Point t[] = {{x + kBarWidth, y}, {x + kBarWidth + kTickLength, y}};
      cv.polyline(t, axisPen);
      cv.text(x + kBarWidth + kTickLength + 2, y, formatBarValue(b.bounds[i]),
              TextStyle{fs, Anchor::Left, kBlack});
    }
    if (!b.label.empty()) cv.text(x, L.top, b.label, TextStyle{fs, Anchor::TopLeft, kBlack});
  }

  if (c.legend) {
    std::vector<const Series*> shown;
    double w = 0;
    for (const Series& s : c.series)
      if (!s.name.empty()) {
        shown.push_back(&s);
        w = std::max(w, cv.textWidth(s.name, fs));
      }
    if (!shown.empty()) {
      const double row = fs * 1.5, sample = 24;
      const double bw = sample + 3 * kPad + w, bh = row * static_cast<double>(shown.size()) + kPad;
      const double bx = L.right - bw - kPad, by = L.top + kPad;
      cv.fillRect(bx, by, bw, bh, kWhite);
      cv.rect(bx, by, bw, bh, Pen{kGrey, 1.0, false});
      for (std::size_t i = 0; i < shown.size(); ++i) {
        const Series& s = *shown[i];
        const double y = by + kPad / 2 + row * (static_cast<double>(i) + 0.5);
        if (s.kind == SeriesKind::Bars) {
          if (s.fill) cv.fillRect(bx + kPad, y - fs / 3, sample, fs * 2 / 3, *s.fill);
          cv.rect(bx + kPad, y - fs / 3, sample, fs * 2 / 3, Pen{s.colour, s.width, false});
        } else {
          if (s.kind != SeriesKind::Markers) {
            const Point l[] = {{bx + kPad, y}, {bx + kPad + sample, y}};
            cv.polyline(l, Pen{s.colour, s.width, s.dashed});
          }
          if (s.kind == SeriesKind::Markers || s.kind == SeriesKind::LineMarkers)
            drawMarker(cv, bx + kPad + sample / 2, y, s);
        }
        cv.text(bx + 2 * kPad + sample, y, s.name, TextStyle{fs, Anchor::Left, kBlack});
      }
    }
  }
  return L;
}

std::optional<Hit> hitTest(const Chart& c, const Layout& L, double px, double py, double radius) {
  std::optional<Hit> best;
  double bestD = radius * radius;
  for (std::size_t si = 0; si < c.series.size(); ++si) {
    const Series& s = c.series[si];
    const std::size_t n = std::min(s.x.size(), s.y.size());
    if (s.kind == SeriesKind::Cells) {
      // The last cell drawn under the pixel, by the even-odd rule in pixels.
      const auto k = static_cast<std::size_t>(std::max(3, s.cellCorners));
      for (std::size_t cell = 0; (cell + 1) * k <= n; ++cell) {
        bool in = false, ok = true;
        for (std::size_t v = 0, w = k - 1; v < k && ok; w = v++) {
          const auto ax = L.px(s.x[cell * k + v]), ay = L.py(s.y[cell * k + v]);
          const auto bx = L.px(s.x[cell * k + w]), by = L.py(s.y[cell * k + w]);
          if (!ax || !ay || !bx || !by) {
            ok = false;
            break;
          }
          if ((*ay > py) != (*by > py) && px < (*bx - *ax) * (py - *ay) / (*by - *ay) + *ax)
            in = !in;
        }
        if (ok && in) best = Hit{static_cast<int>(si), static_cast<int>(cell)};
      }
      continue;
    }
    for (std::size_t i = 0; i < n; ++i) {
      auto x = L.px(s.x[i]);
      auto y = L.py(s.y[i]);
      if (!x || !y) continue;
      const double d = (*x - px) * (*x - px) + (*y - py) * (*y - py);
      if (d <= bestD) {
        bestD = d;
        best = Hit{static_cast<int>(si), static_cast<int>(i)};
      }
    }
  }
  return best;
}

// ------------------------------------------------------------------------------------------ SVG

namespace {

std::string esc(const std::string& t) {
  std::string o;
  o.reserve(t.size());
  for (char ch : t) {
    switch (ch) {
      case '&':
        o += "&amp;";
        break;
      case '<':
        o += "&lt;";
        break;
      case '>':
        o += "&gt;";
        break;
      case '"':
        o += "&quot;";
        break;
      default:
        o += ch;
    }
  }
  return o;
}

std::string colour(Rgb c) {
  char b[8];
  std::snprintf(b, sizeof b, "#%02x%02x%02x", c.r, c.g, c.b);
  return b;
}

std::string num(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%.2f", v);
  std::string s = b;
  while (!s.empty() && s.back() == '0') s.pop_back();
  if (!s.empty() && s.back() == '.') s.pop_back();
  return s == "-0" ? "0" : s;
}

class SvgCanvas : public Canvas {
 public:
  std::ostringstream out;

  void fillRect(double x, double y, double w, double h, Rgb c) override {
    out << "<rect x=\"" << num(x) << "\" y=\"" << num(y) << "\" width=\"" << num(w)
        << "\" height=\"" << num(h) << "\" fill=\"" << colour(c) << "\"/>\n";
  }
  void rect(double x, double y, double w, double h, const Pen& p) override {
    out << "<rect x=\"" << num(x) << "\" y=\"" << num(y) << "\" width=\"" << num(w)
        << "\" height=\"" << num(h) << "\" fill=\"none\"" << stroke(p) << "/>\n";
  }
  void polyline(std::span<const Point> pts, const Pen& p) override {
    out << "<polyline fill=\"none\"" << stroke(p) << " points=\"" << points(pts) << "\"/>\n";
  }
  void polygon(std::span<const Point> pts, const Pen& p, std::optional<Rgb> fill) override {
    out << "<polygon fill=\"" << (fill ? colour(*fill) : "none") << "\"" << stroke(p)
        << " points=\"" << points(pts) << "\"/>\n";
  }
  void ellipse(double cx, double cy, double rx, double ry, const Pen& p,
               std::optional<Rgb> fill) override {
    out << "<ellipse cx=\"" << num(cx) << "\" cy=\"" << num(cy) << "\" rx=\"" << num(rx)
        << "\" ry=\"" << num(ry) << "\" fill=\"" << (fill ? colour(*fill) : "none") << "\""
        << stroke(p) << "/>\n";
  }
  void text(double x, double y, const std::string& t, const TextStyle& s) override {
    if (t.empty()) return;
    const char* anchor = "start";
    const char* baseline = "auto";
    switch (s.anchor) {
      case Anchor::Top:
      case Anchor::Centre:
      case Anchor::Bottom:
        anchor = "middle";
        break;
      case Anchor::TopRight:
      case Anchor::Right:
      case Anchor::BottomRight:
        anchor = "end";
        break;
      default:
        break;
    }
    switch (s.anchor) {
      case Anchor::TopLeft:
      case Anchor::Top:
      case Anchor::TopRight:
        baseline = "hanging";
        break;
      case Anchor::Left:
      case Anchor::Centre:
      case Anchor::Right:
        baseline = "central";
        break;
      default:
        break;
    }
    out << "<text x=\"" << num(x) << "\" y=\"" << num(y) << "\" font-size=\"" << num(s.size)
        << "\" text-anchor=\"" << anchor << "\" dominant-baseline=\"" << baseline << "\" fill=\""
        << colour(s.colour) << "\"";
    if (s.bold) out << " font-weight=\"bold\"";
    if (s.upwards) out << " transform=\"rotate(-90 " << num(x) << ' ' << num(y) << ")\"";
    out << '>' << esc(t) << "</text>\n";
  }
  void clip(double x, double y, double w, double h) override {
    if (clipped_) out << "</g>\n";
    clipped_ = w > 0;
    if (!clipped_) return;
    ++clips_;
    out << "<clipPath id=\"c" << clips_ << "\"><rect x=\"" << num(x) << "\" y=\"" << num(y)
        << "\" width=\"" << num(w) << "\" height=\"" << num(h)
        << "\"/></clipPath>\n<g clip-path=\"url(#c" << clips_ << ")\">\n";
  }
  void finish() {
    if (clipped_) out << "</g>\n";
    clipped_ = false;
  }

 private:
  bool clipped_ = false;
  int clips_ = 0;

  static std::string stroke(const Pen& p) {
    std::string s = " stroke=\"" + colour(p.colour) + "\" stroke-width=\"" + num(p.width) + "\"";
    if (p.dashed) s += " stroke-dasharray=\"5,3\"";
    return s;
  }
  static std::string points(std::span<const Point> pts) {
    std::string s;
    for (const Point& p : pts) {
      if (!s.empty()) s += ' ';
      s += num(p.x) + ',' + num(p.y);
    }
    return s;
  }
};

}  // namespace

std::string toSvg(const Chart& c, int width, int height) {
  SvgCanvas cv;
  cv.out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\""
         << height << "\" viewBox=\"0 0 " << width << ' ' << height
         << "\" font-family=\"Noto Sans CJK SC, sans-serif\">\n";
  drawChart(c, cv, width, height);
  cv.finish();
  cv.out << "</svg>\n";
  return cv.out.str();
}

bool writeSvg(const Chart& c, const std::string& path, int width, int height) {
  std::ofstream f(path, std::ios::binary);
  if (!f) return false;
  f << toSvg(c, width, height);
  return static_cast<bool>(f);
}

Rgb rainbow(double t) {
  if (!(t >= 0)) t = 0;
  if (t > 1) t = 1;
  // Blue – cyan – green – yellow – red, linear between the five.
  static const double stops[5][3] = {
      {0, 0, 255}, {0, 255, 255}, {0, 200, 0}, {255, 255, 0}, {255, 0, 0}};
  const double f = t * 4;
  const int i = std::min(3, static_cast<int>(f));
  const double u = f - i;
  auto mix = [&](int c) {
    return static_cast<std::uint8_t>(
        std::lround(stops[i][c] + u * (stops[i + 1][c] - stops[i][c])));
  };
  return Rgb{mix(0), mix(1), mix(2)};
}

ColourBar makeColourBar(double lo, double hi, int n, bool log, std::string label) {
  ColourBar b;
  b.label = std::move(label);
  b.log = log;
  n = std::max(1, n);
  if (log && !(lo > 0 && hi > 0)) log = b.log = false;
  if (!(hi > lo)) hi = lo + (log ? lo : 1.0);
  for (int i = 0; i <= n; ++i) {
    const double f = static_cast<double>(i) / n;
    b.bounds.push_back(log ? std::pow(10.0, std::log10(lo) + f * (std::log10(hi) - std::log10(lo)))
                           : lo + f * (hi - lo));
    if (i < n) b.colours.push_back(rainbow(n == 1 ? 0.5 : static_cast<double>(i) / (n - 1)));
  }
  return b;
}

Rgb colourOf(const ColourBar& bar, double value) {
  if (bar.colours.empty()) return kGrey;
  for (std::size_t i = 1; i + 1 < bar.bounds.size(); ++i)
    if (value < bar.bounds[i]) return bar.colours[i - 1];
  return bar.colours.back();
}

}  // namespace sarnoth::chart
