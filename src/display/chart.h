// Charts of the analysis tools: fractal series, regression scatter plots, dendrograms, error
// curves, histograms, sounding curves. A chart is plain data — two axes, series, notes — laid out
// onto a picture of a given size and drawn through a Canvas, so one description serves the tool
// windows (QPainter), the PNG and SVG files of the command line and the tests alike.
//
// Axes. A linear axis maps [lo, hi] evenly; a Log10 axis maps log10 of [lo, hi] evenly and takes
// only positive values (others are skipped). An axis with `autoRange` spans the data of every
// series with a little room and rounds outwards to its ticks; otherwise [lo, hi] stand as set.
// Ticks are the caller's when `ticks` is not empty (labels from `tickLabels`, else formatted),
// otherwise a linear axis gets 1-2-5 steps (about `tickCount`) and a Log10 axis one tick per
// decade labelled with the decade's value (0.01, 0.1, 1, 10 …). Tick labels may be set to any
// text, which serves category axes (sample names under a dendrogram).
//
// Placement. The plot frame is a fraction of the picture measured from its left and bottom
// edges (the tools state "6/8 of the picture, 1/8 from the left and from the bottom"); the frame
// may also be fitted automatically to the tick labels and axis captions (`fitFrame`).
//
// Drawing order: background, frame and grid, series in order, notes, axis captions, title,
// legend. Pixel coordinates run from the top-left corner, y downwards.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace sarnoth::chart {

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  friend bool operator==(const Rgb&, const Rgb&) = default;
};
inline constexpr Rgb kBlack{0, 0, 0};
inline constexpr Rgb kWhite{255, 255, 255};
inline constexpr Rgb kBlue{0, 0, 255};
inline constexpr Rgb kRed{255, 0, 0};
inline constexpr Rgb kGrey{160, 160, 160};

enum class Scale { Linear, Log10 };

struct Axis {
  std::string label;
  Scale scale = Scale::Linear;
  bool autoRange = true;
  double lo = 0, hi = 1;
  std::vector<double> ticks;            // explicit tick positions (data units); empty: automatic
  std::vector<std::string> tickLabels;  // labels of the explicit ticks; empty: formatted values
  int tickCount = 6;                    // about this many automatic ticks on a linear axis
  bool grid = false;                    // light grid lines at the ticks
  bool rotateLabels = false;            // tick labels written upwards (long category names)
  bool reversed = false;                // values grow downwards / leftwards (depth axes)
};

enum class SeriesKind {
  Line,         // points joined in order
  Markers,      // markers only
  LineMarkers,  // both
  Step,         // staircase: y[i] holds from x[i] to x[i+1] (layered models)
  Bars,         // bars from `base` to y[i], each centred on x[i] and `barWidth` wide in x units
  Segments,     // independent segments (x[2k], y[2k]) – (x[2k+1], y[2k+1]): dendrograms, whiskers
  Cells,        // colour-filled polygons (sections, pseudo-sections, model images): cell k has the
          // vertices k·cellCorners … (k+1)·cellCorners − 1 of x, y and colour cellColours[k]
};

enum class Marker { Square, Circle, Triangle, Diamond, Cross, Plus };

struct Series {
  std::string name;  // for the legend; empty keeps the series out of it
  SeriesKind kind = SeriesKind::Line;
  std::vector<double> x, y;
  Rgb colour = kBlack;
  double width = 1.0;  // line width in pixels
  bool dashed = false;
  Marker marker = Marker::Square;
  double markerSize = 5.0;  // pixels, edge of the marker's box
  bool filledMarkers = false;
  std::optional<Rgb> fill;  // bar fill (Bars); none: outline only
  double barWidth = 1.0;
  double base = 0.0;
  int cellCorners = 4;             // Cells: vertices per cell
  std::vector<Rgb> cellColours;    // Cells: one per cell
  std::vector<double> cellValues;  // Cells: the value behind each colour (hover read-outs)

  static Series of(SeriesKind kind, std::vector<double> x, std::vector<double> y,
                   Rgb colour = kBlack, std::string name = {}) {
    Series s;
    s.kind = kind;
    s.x = std::move(x);
    s.y = std::move(y);
    s.colour = colour;
    s.name = std::move(name);
    return s;
  }
};

enum class Anchor { TopLeft, Top, TopRight, Left, Centre, Right, BottomLeft, Bottom, BottomRight };

struct Note {
  double x = 0, y = 0;  // data units, or fractions of the frame (0..1 from its bottom-left)
  bool inFrame = false;
  std::string text;
  Anchor anchor = Anchor::BottomLeft;
  Rgb colour = kBlack;
  double size = 0;  // pixels; 0: the chart's font size
};

// A colour bar beside the frame, on its right: the levels' colours from the lowest up, with
// the level boundaries as labels (bounds has one more entry than colours).
struct ColourBar {
  std::string label;
  std::vector<double> bounds;
  std::vector<Rgb> colours;
  bool log = false;  // bounds are labelled as the values they stand for, spaced evenly either way
};

// The colour of t in [0, 1] on the rainbow of sections: blue (low) – cyan – green – yellow –
// red (high).
Rgb rainbow(double t);
// `n` levels spanning [lo, hi] (evenly, or evenly in log10 when `log`), coloured by rainbow.
ColourBar makeColourBar(double lo, double hi, int n, bool log, std::string label = {});
// The colour of a value on a bar (below the first bound the first colour, above the last the
// last).
Rgb colourOf(const ColourBar& bar, double value);

struct Frame {
  double left = 0.125, bottom = 0.125, width = 0.75, height = 0.75;  // fractions of the picture
};

struct Chart {
  std::string title;
  Axis x, y;
  std::vector<Series> series;
  std::vector<Note> notes;
  Frame frame;
  bool fitFrame = false;  // place the frame after the labels instead of by `frame`
  bool legend = false;
  std::optional<ColourBar> colourBar;  // drawn right of the frame; a fitted frame leaves it room
  Rgb background = kWhite;
  double fontSize = 12.0;  // pixels, tick labels; captions and title a little larger
};

struct Point {
  double x = 0, y = 0;
};

struct Pen {
  Rgb colour = kBlack;
  double width = 1.0;
  bool dashed = false;
};

struct TextStyle {
  double size = 12.0;  // pixels
  Anchor anchor = Anchor::BottomLeft;
  Rgb colour = kBlack;
  bool upwards = false;  // rotated 90° anticlockwise about the anchor point
  bool bold = false;
};

// Where drawing lands. Coordinates are pixels from the top-left corner.
class Canvas {
 public:
  virtual ~Canvas() = default;
  virtual void fillRect(double x, double y, double w, double h, Rgb colour) = 0;
  virtual void rect(double x, double y, double w, double h, const Pen& pen) = 0;
  virtual void polyline(std::span<const Point> points, const Pen& pen) = 0;
  virtual void polygon(std::span<const Point> points, const Pen& pen, std::optional<Rgb> fill) = 0;
  virtual void ellipse(double cx, double cy, double rx, double ry, const Pen& pen,
                       std::optional<Rgb> fill) = 0;
  virtual void text(double x, double y, const std::string& text, const TextStyle& style) = 0;
  // Width of a text in pixels, for placing labels; an estimate is good enough.
  virtual double textWidth(const std::string& text, double size) const;
  virtual double textHeight(double size) const { return size * 1.4; }
  // Clips what follows to a rectangle; an empty rectangle (w = 0) removes the clip.
  virtual void clip(double x, double y, double w, double h) = 0;
};

// The resolved geometry of a chart on a picture of a given size.
struct Layout {
  double width = 0, height = 0;                     // the picture
  double left = 0, top = 0, right = 0, bottom = 0;  // the frame, pixels
  double xlo = 0, xhi = 1, ylo = 0, yhi = 1;        // axis ranges (data units)
  Scale xscale = Scale::Linear, yscale = Scale::Linear;
  bool xreversed = false, yreversed = false;
  std::vector<double> xticks, yticks;
  std::vector<std::string> xlabels, ylabels;

  // Data to pixels; nullopt for values a log axis cannot show.
  std::optional<double> px(double x) const;
  std::optional<double> py(double y) const;
  // Pixels to data.
  double dataX(double px) const;
  double dataY(double py) const;
};

Layout layoutChart(const Chart& chart, double width, double height,
                   const Canvas* measure = nullptr);
// Lays the chart out and draws it.
Layout drawChart(const Chart& chart, Canvas& canvas, double width, double height);

// The series point nearest to a pixel within `radius` pixels: which series, which point. Over a
// Cells series the cell under the pixel counts as hit.
struct Hit {
  int series = -1;
  int index = -1;
};
std::optional<Hit> hitTest(const Chart& chart, const Layout& layout, double px, double py,
                           double radius = 4.0);

// 1-2-5 ticks covering [lo, hi] with about `count` steps; lo and hi widened to whole steps when
// `widen`.
std::vector<double> niceTicks(double& lo, double& hi, int count, bool widen);
// The shortest text of a tick value at the precision of the step between ticks: one format per
// axis, so that 0.5, 1.0, 1.5 read alike.
std::vector<std::string> formatTicks(std::span<const double> ticks);

// The chart as an SVG document of width × height pixels (UTF-8 text; fonts left to the viewer).
std::string toSvg(const Chart& chart, int width, int height);
// Writes toSvg to a file; false when it cannot be written.
bool writeSvg(const Chart& chart, const std::string& path, int width, int height);

}  // namespace sarnoth::chart
