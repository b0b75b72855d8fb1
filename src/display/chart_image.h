// Charts as pictures: a chart (display/chart.h) rasterised by cairo into a 32-bit image, written
// as PNG, or handed to a window to show. The window and the file come from the same pixels, so a
// saved picture is what was on the screen.
//
// Text is set in the system's CJK sans-serif face (fontconfig's choice for "Noto Sans CJK SC",
// falling back to any sans-serif), anti-aliased, so Chinese captions and labels read as they do
// in the windows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "display/chart.h"

namespace sarnoth::chart {

// Premultiplied 32-bit pixels, 0xAARRGGBB in native byte order, row by row from the top: the
// layout of cairo's ARGB32 and of QImage::Format_ARGB32_Premultiplied.
struct Image {
  int width = 0, height = 0;
  int stride = 0;  // bytes per row
  std::vector<std::uint32_t> pixels;
  std::uint32_t at(int x, int y) const {
    return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(stride / 4) +
                  static_cast<std::size_t>(x)];
  }
};

// Draws the chart on a new picture; the layout that was used comes back through `layout`.
Image renderChart(const Chart& chart, int width, int height, Layout* layout = nullptr);
// Writes the chart as a PNG file; false when the file cannot be written.
bool writePng(const Chart& chart, const std::string& path, int width, int height);
// Writes a PNG or SVG file, chosen by the name's extension (".svg", anything else PNG).
bool writeChartFile(const Chart& chart, const std::string& path, int width, int height);

}  // namespace sarnoth::chart
