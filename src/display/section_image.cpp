#include "display/section_image.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace sarnoth::display {
namespace {

constexpr std::uint32_t kWhitePixel = 0xFFFFFFFFu;
constexpr double kBarShare = 0.16;  // of the picture's width

std::uint32_t pixelOf(chart::Rgb c) {
  return 0xFF000000u | (static_cast<std::uint32_t>(c.r) << 16) |
         (static_cast<std::uint32_t>(c.g) << 8) | c.b;
}

// Index of the interval [v[i], v[i+1]] that holds x in rising v; −1 outside.
int intervalOf(const std::vector<double>& v, double x) {
  if (v.size() < 2 || !(x >= v.front() && x <= v.back())) return -1;
  const auto it = std::upper_bound(v.begin(), v.end(), x);
  return std::clamp(static_cast<int>(it - v.begin()) - 1, 0, static_cast<int>(v.size()) - 2);
}

// Fills the white pixels inside a chart's frame with colour(dataX, dataY).
template <class F>
void fillFrame(chart::Image& img, const chart::Layout& L, F colourAt) {
  const int x0 = std::max(0, static_cast<int>(std::floor(L.left)));
  const int x1 = std::min(img.width, static_cast<int>(std::ceil(L.right)));
  const int y0 = std::max(0, static_cast<int>(std::floor(L.top)));
  const int y1 = std::min(img.height, static_cast<int>(std::ceil(L.bottom)));
  const std::size_t rowPixels = static_cast<std::size_t>(img.stride / 4);
  for (int py = y0; py < y1; ++py) {
    const double cy = py + 0.5;
    if (cy <= L.top || cy >= L.bottom) continue;
    const double dy = L.dataY(cy);
    for (int px = x0; px < x1; ++px) {
      const double cx = px + 0.5;
      if (cx <= L.left || cx >= L.right) continue;
      std::uint32_t& p = img.pixels[static_cast<std::size_t>(py) * rowPixels + px];
      if (p != kWhitePixel) continue;  // grid lines and ticks stay on top
      if (auto c = colourAt(L.dataX(cx), dy)) p = pixelOf(*c);
    }
  }
}

chart::Axis fixedAxis(std::string label, double lo, double hi) {
  chart::Axis a;
  a.label = std::move(label);
  a.autoRange = false;
  a.lo = lo;
  a.hi = hi;
  return a;
}

}  // namespace

std::vector<chart::Rgb> resistivityRamp() {
  return {{128, 0, 0},    {200, 0, 0},    {255, 40, 0},   {255, 120, 0},  {255, 190, 0},
          {255, 240, 60}, {190, 230, 80}, {100, 200, 90}, {40, 180, 160}, {0, 160, 220},
          {0, 110, 230},  {0, 60, 200},   {0, 20, 150}};
}

SectionSampler cellSampler(std::vector<double> xEdges, std::vector<double> yEdges,
                           std::vector<double> values) {
  return
      [xe = std::move(xEdges), ye = std::move(yEdges), v = std::move(values)](double x, double y) {
        const int i = intervalOf(xe, x), j = intervalOf(ye, y);
        if (i < 0 || j < 0) return std::numeric_limits<double>::quiet_NaN();
        return v[static_cast<std::size_t>(j) * (xe.size() - 1) + static_cast<std::size_t>(i)];
      };
}

SectionSampler latticeSampler(std::vector<double> x, std::vector<double> y,
                              std::vector<double> values) {
  return [xs = std::move(x), ys = std::move(y), v = std::move(values)](double px, double py) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::size_t nx = xs.size();
    auto at = [&](int i, int j) {
      return v[static_cast<std::size_t>(j) * nx + static_cast<std::size_t>(i)];
    };
    if (xs.size() == 1 || ys.size() == 1) {
      // A single row or column: nearest node along the other axis.
      if (xs.size() == 1 && ys.size() == 1) return v[0];
      return nan;
    }
    const int i = intervalOf(xs, px), j = intervalOf(ys, py);
    if (i < 0 || j < 0) return nan;
    const double tx = (px - xs[static_cast<std::size_t>(i)]) /
                      (xs[static_cast<std::size_t>(i) + 1] - xs[static_cast<std::size_t>(i)]);
    const double ty = (py - ys[static_cast<std::size_t>(j)]) /
                      (ys[static_cast<std::size_t>(j) + 1] - ys[static_cast<std::size_t>(j)]);
    const double c[4] = {at(i, j), at(i + 1, j), at(i, j + 1), at(i + 1, j + 1)};
    const double w[4] = {(1 - tx) * (1 - ty), tx * (1 - ty), (1 - tx) * ty, tx * ty};
    if (std::all_of(c, c + 4, [](double q) { return std::isfinite(q); }))
      return w[0] * c[0] + w[1] * c[1] + w[2] * c[2] + w[3] * c[3];
    double best = nan, bw = -1;
    for (int k = 0; k < 4; ++k)
      if (std::isfinite(c[k]) && w[k] > bw) best = c[k], bw = w[k];
    return best;
  };
}

chart::Rgb sectionColour(const SectionPlot& p, double v) {
  const std::vector<chart::Rgb> ramp =
      p.ramp.empty() ? std::vector<chart::Rgb>{{0, 0, 255}, {255, 0, 0}} : p.ramp;
  const int n = std::max(1, p.levels);
  const double span = p.vmax - p.vmin;
  int level = span > 0 ? static_cast<int>(std::floor((v - p.vmin) / span * n)) : 0;
  level = std::clamp(level, 0, n - 1);
  // The level's place along the ramp, colours blended between ramp entries.
  const double t = n == 1 ? 0.0 : static_cast<double>(level) / (n - 1) * (ramp.size() - 1);
  const std::size_t k = std::min(static_cast<std::size_t>(t), ramp.size() - 1);
  const std::size_t k1 = std::min(k + 1, ramp.size() - 1);
  const double f = t - static_cast<double>(k);
  auto mix = [f](std::uint8_t a, std::uint8_t b) {
    return static_cast<std::uint8_t>(std::lround(a + (b - a) * f));
  };
  return {mix(ramp[k].r, ramp[k1].r), mix(ramp[k].g, ramp[k1].g), mix(ramp[k].b, ramp[k1].b)};
}

chart::Image renderSection(const SectionPlot& p) {
  const int barWidth = std::max(60, static_cast<int>(p.width * kBarShare));
  const int mainWidth = std::max(120, p.width - barWidth);
  const double frameBottom = 0.13, frameHeight = 0.77;

  chart::Chart main;
  main.title = p.title;
  main.x = fixedAxis(p.xLabel, p.xlo, p.xhi);
  main.y = fixedAxis(p.yLabel, p.ylo, p.yhi);
  main.y.reversed = p.yReversed;
  main.frame = {0.12, frameBottom, 0.84, frameHeight};
  chart::Layout L;
  chart::Image img = renderChart(main, mainWidth, p.height, &L);
  if (img.width == 0) return img;
  fillFrame(img, L, [&](double x, double y) -> std::optional<chart::Rgb> {
    const double v = p.value ? p.value(x, y) : std::numeric_limits<double>::quiet_NaN();
    if (!std::isfinite(v)) return std::nullopt;
    return sectionColour(p, v);
  });

  // The colour bar: a narrow chart whose y axis carries the level values.
  chart::Chart bar;
  bar.x = fixedAxis("", 0, 1);
  bar.x.ticks = {0.5};
  bar.x.tickLabels = {""};
  bar.y = fixedAxis(p.valueLabel, p.vmin, p.vmax);
  {
    double lo = p.vmin, hi = p.vmax;
    bar.y.ticks = chart::niceTicks(lo, hi, 8, false);
    bar.y.tickLabels = chart::formatTicks(bar.y.ticks);
  }
  bar.frame = {0.62, frameBottom, 0.22, frameHeight};
  chart::Layout BL;
  chart::Image bimg = renderChart(bar, barWidth, p.height, &BL);
  if (bimg.width > 0 && p.vmax > p.vmin)
    fillFrame(bimg, BL, [&](double, double y) -> std::optional<chart::Rgb> {
      return sectionColour(p, std::min(y, std::nextafter(p.vmax, p.vmin)));
    });

  chart::Image out;
  out.width = img.width + bimg.width;
  out.height = p.height;
  out.stride = out.width * 4;
  out.pixels.assign(static_cast<std::size_t>(out.width) * out.height, kWhitePixel);
  for (int y = 0; y < out.height; ++y) {
    for (int x = 0; x < img.width; ++x)
      out.pixels[static_cast<std::size_t>(y) * out.width + x] = img.at(x, y);
    for (int x = 0; x < bimg.width && y < bimg.height; ++x)
      out.pixels[static_cast<std::size_t>(y) * out.width + img.width + x] = bimg.at(x, y);
  }
  return out;
}

bool writeImagePng(const chart::Image& img, const std::string& path) {
  if (img.width <= 0 || img.height <= 0) return false;
  chart::Image copy = img;
  cairo_surface_t* s = cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(copy.pixels.data()), CAIRO_FORMAT_ARGB32, copy.width,
      copy.height, copy.stride);
  const bool ok = cairo_surface_status(s) == CAIRO_STATUS_SUCCESS &&
                  cairo_surface_write_to_png(s, path.c_str()) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(s);
  return ok;
}

bool writeSectionPng(const SectionPlot& p, const std::string& path) {
  return writeImagePng(renderSection(p), path);
}

}  // namespace sarnoth::display
