#include "display/grid_viewer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "closed/vlq_app.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::display {

namespace fs = std::filesystem;

namespace {

std::string under(const std::string& workPath, const std::string& rel) {
  return resolvePath(withTrailingSeparator(workPath) + rel);
}

// The relief scale's colours: txtColrn entries of the colour table from txtColrSt by txtColrGap.
std::vector<Rgb> reliefColours(const ViewRequest& req, const SysColourTable& table) {
  std::vector<Rgb> c;
  for (int k = 0; k < req.colourCount; ++k)
    c.push_back(table.colour(req.colourStart + k * req.colourGap));
  return c;
}

std::vector<Rgb> levelColours(const ColourScale& s, const SysColourTable& table) {
  std::vector<Rgb> c;
  for (const ColourLevel& lv : s.levels) c.push_back(table.colour(lv.colourIndex));
  return c;
}

std::vector<float> levelValues(const ColourScale& s) {
  std::vector<float> v;
  for (const ColourLevel& lv : s.levels) v.push_back(lv.value);
  return v;
}

// The checks of the apply button before anything is drawn; an empty text when they pass.
std::string refusal(const ViewRequest& req) {
  if (req.kind == ViewKind::Relief) {
    if (req.colourCount < 1 || req.colourCount > kMaxViewLevels) return kMsgPaletteCount;
    return {};
  }
  int n = static_cast<int>(req.scale.levels.size());
  if (n < 1 || n > kMaxViewLevels) return kMsgPaletteCount;
  if (n > kMaxPaletteColours) return kMsgOver256;
  return {};
}

}  // namespace

std::optional<GridHeader> openViewerGrid(const std::string& path, std::string& message) {
  GridReadResult r = readGridHeader(path, true);
  if (!r.ok()) {
    message = gridReadMessage(r.error, kMsgNotGrid);
    return std::nullopt;
  }
  return r.grid.header;
}

Outcome prepareViewerScratch(const std::string& workPath, const std::string& sysPath) {
  std::error_code ec;
  fs::path syslib = under(workPath, "temp\\syslib");
  fs::create_directories(syslib, ec);
  fs::path source = resolvePath(withTrailingSeparator(sysPath) + "syslib");
  if (fs::is_directory(source, ec))
    for (const auto& e : fs::directory_iterator(source, ec))
      if (e.is_regular_file(ec))
        fs::copy_file(e.path(), syslib / e.path().filename(), fs::copy_options::overwrite_existing,
                      ec);
  fs::path mapDir = under(workPath, "temp\\map");
  fs::create_directories(mapDir, ec);
  if (!fs::is_directory(mapDir, ec)) return Outcome::failure(mapDir.string());
  fs::path map = under(workPath, kScratchMap);
  fs::path tmpl = resolvePath(withTrailingSeparator(sysPath) + kMapTemplate);
  if (fs::is_regular_file(tmpl, ec))
    fs::copy_file(tmpl, map, fs::copy_options::overwrite_existing, ec);
  else
    std::ofstream(map, std::ios::trunc);
  return fs::is_regular_file(map, ec) ? Outcome::success() : Outcome::failure(map.string());
}

void clearViewerScratch(const std::string& workPath) {
  std::error_code ec;
  for (const char* dir : {"temp\\map", "temp"}) {
    fs::path d = under(workPath, dir);
    if (!fs::is_directory(d, ec)) continue;
    for (const auto& e : fs::directory_iterator(d, ec))
      if (e.is_regular_file(ec)) fs::remove(e.path(), ec);
  }
}

Grading gradePanel(GradeRule rule, float min, float max, float par, const Grid& grid,
                   const std::vector<std::int32_t>& ramp) {
  const GridHeader& h = grid.header;
  NullTest isNull = [&h](float v) { return isGridNull(h, v); };
  switch (rule) {
    case GradeRule::EqualInterval:
      return gradeEqualInterval(min, max, par, ramp);
    case GradeRule::Logarithmic:
      return gradeLogarithmic(min, max, par, ramp);
    case GradeRule::Variance:
      return gradeVariance(grid.nodes, min, max, par, ramp, isNull);
    case GradeRule::Cumulative:
      return gradeCumulative(grid.nodes, par, ramp, isNull);
  }
  return {};
}

ViewResult applyView(const ViewRequest& req, const SysColourTable& table) {
  ViewResult res;
  if (std::string why = refusal(req); !why.empty()) {
    res.outcome = Outcome::failure(why);
    return res;
  }
  std::string bmp = under(req.workPath, kImageFile);
  std::error_code ec;
  fs::create_directories(fs::path(bmp).parent_path(), ec);
  // The new image goes to a side file first, so that a failure leaves the shown one in place.
  std::string fresh = bmp + ".new";
  bool drawn = false;
  if (req.kind == ViewKind::Relief) {
    std::vector<Rgb> c = reliefColours(req, table);
    std::size_t n = c.size();
    std::vector<std::uint8_t> rgb(3 * n);
    for (std::size_t k = 0; k < n; ++k) {
      std::int32_t ref = colourRef(c[k]);
      rgb[k] = vlq::GEO_GetRValue(ref);
      rgb[n + k] = vlq::GEO_GetGValue(ref);
      rgb[2 * n + k] = vlq::GEO_GetBValue(ref);
    }
    drawn =
        vlq::GEO_DrawReliefMap(req.gridFile, fresh, rgb, static_cast<int>(n), req.scale.backColour,
                               req.width, req.saturation, req.elevation, req.azimuth, 1e38f);
  } else {
    std::vector<float> levels = levelValues(req.scale);
    std::vector<std::int32_t> refs;
    for (const Rgb& c : levelColours(req.scale, table)) refs.push_back(colourRef(c));
    drawn = vlq::GEO_GridDataToWinBMP256File(req.gridFile, fresh, levels, refs,
                                             req.scale.backColour, req.width);
  }
  if (!drawn) {
    fs::remove(fresh, ec);
    res.outcome = Outcome::failure(kMsgCreateFailed);
    return res;
  }
  fs::remove(bmp, ec);  // the old bitmap, with force
  fs::rename(fresh, bmp, ec);
  GridReadResult head = readGridHeader(req.gridFile);
  res.frame = imageFrame(head.grid.header, req.width);
  res.bitmap = bmp;
  res.georef = under(req.workPath, kGeorefFile);
  if (ec || !writeGeoreference(res.georef, kImageLayer, res.frame)) {
    res.outcome = Outcome::failure(kMsgCreateFailed);
    return res;
  }
  res.outcome = Outcome::success();
  return res;
}

RenderResult renderView(const ViewRequest& req, const Grid& grid, const SysColourTable& table) {
  Rgb back = rgbFromColourRef(req.scale.backColour);
  if (std::string why = refusal(req); !why.empty()) {
    RenderResult r;
    r.error = why;
    return r;
  }
  if (req.kind == ViewKind::Relief) {
    ReliefParams p;
    p.saturation = req.saturation;
    p.elevation = req.elevation;
    p.azimuth = req.azimuth;
    return renderRelief(grid, reliefColours(req, table), back, req.width, p);
  }
  std::vector<float> levels = levelValues(req.scale);
  return renderGraded(grid, levels, levelColours(req.scale, table), back, req.width);
}

std::vector<ColourBarEntry> colourBarEntries(const ViewRequest& req, const Grid& grid,
                                             const SysColourTable& table) {
  std::vector<ColourBarEntry> e;
  if (req.kind != ViewKind::Relief) {
    for (const ColourLevel& lv : req.scale.levels)
      e.push_back({lv.value, table.colour(lv.colourIndex)});
    return e;
  }
  float lo = INFINITY, hi = -INFINITY;
  for (float v : grid.nodes)
    if (!isGridNull(grid.header, v)) lo = std::min(lo, v), hi = std::max(hi, v);
  if (!(hi >= lo)) return e;
  std::vector<Rgb> c = reliefColours(req, table);
  const double n = static_cast<double>(c.size());
  for (std::size_t k = 0; k < c.size(); ++k)
    e.push_back({static_cast<float>(lo + (hi - static_cast<double>(lo)) * (k + 1) / n), c[k]});
  return e;
}

std::optional<float> gridValueAt(const Grid& grid, double x, double y) {
  const GridHeader& h = grid.header;
  if (h.nx < 1 || h.ny < 1 || !gridSpacingValid(h.dx, h.dy) ||
      grid.nodes.size() < static_cast<std::size_t>(h.nx) * h.ny)
    return std::nullopt;
  const double c = std::floor((x - h.x0) / h.dx + 0.5), r = std::floor((y - h.y0) / h.dy + 0.5);
  if (!(c >= 0 && c < h.nx && r >= 0 && r < h.ny)) return std::nullopt;
  const float v = grid.at(static_cast<int>(r), static_cast<int>(c));
  if (isGridNull(h, v)) return std::nullopt;
  return v;
}

std::string cursorText(const Grid& grid, double x, double y) {
  char buf[96];
  std::snprintf(buf, sizeof buf, "X: %.2f   Y: %.2f", x, y);
  std::string text = buf;
  const GridHeader& h = grid.header;
  const double c = (x - h.x0) / h.dx, r = (y - h.y0) / h.dy;
  const bool inside =
      h.dx > 0 && h.dy > 0 && c > -0.5 && c < h.nx - 0.5 && r > -0.5 && r < h.ny - 0.5;
  if (!inside) return text;
  if (std::optional<float> v = gridValueAt(grid, x, y)) {
    std::snprintf(buf, sizeof buf, "   值: %.7g", static_cast<double>(*v));
    text += buf;
  } else {
    text += "   值: 空值";
  }
  return text;
}

ScaleBar scaleBarFor(double unitsPerPixel, int targetPixels) {
  ScaleBar bar;
  if (!(unitsPerPixel > 0) || !std::isfinite(unitsPerPixel) || targetPixels < 1) return bar;
  const double want = unitsPerPixel * targetPixels;
  const double p = std::pow(10.0, std::floor(std::log10(want)));
  double length = p;
  for (double m : {1.0, 2.0, 5.0, 10.0})
    if (m * p <= want * 1.0000001) length = m * p;
  bar.length = length;
  bar.pixels = static_cast<int>(std::lround(length / unitsPerPixel));
  char buf[48];
  if (length >= 1e6 || length < 1e-3)
    std::snprintf(buf, sizeof buf, "%.0E", length);
  else
    std::snprintf(buf, sizeof buf, "%.*f",
                  length >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(length))), length);
  bar.label = buf;
  return bar;
}

Outcome exportView(const ViewRequest& req, const std::string& path, bool withBar, int decimals,
                   const SysColourTable& table) {
  std::string format = imageFormatFor(path);
  if (format.empty() || format == "BMP") return Outcome::failure("PNG (*.png) / GeoTIFF (*.tif)");
  GridReadResult g = readGrid(req.gridFile);
  if (!g.ok()) return Outcome::failure(gridReadMessage(g.error, kMsgNotGrid));
  RenderResult r = renderView(req, g.grid, table);
  if (!r.ok) return Outcome::failure(r.error.empty() ? kMsgCreateFailed : r.error);
  Image img = std::move(r.image);
  if (withBar && format == "PNG") {
    std::vector<ColourBarEntry> entries = colourBarEntries(req, g.grid, table);
    img = withColourBar(img, entries, decimals);
  }
  std::string problem = exportImage(path, img, format);
  if (!problem.empty()) return Outcome::failure(kMsgCreateFailed + std::string(" ") + problem);
  return Outcome::success(path);
}

}  // namespace sarnoth::display
