// Our side of the VLQAppDllUG.DLL rendering calls.
#include "closed/vlq_app.h"

#include <vector>

#include "display/grid_render.h"
#include "workarea/grid_file.h"

namespace sarnoth::vlq {

bool GEO_GridDataToWinBMP256File(const std::string& gridFile, const std::string& bmpFile,
                                 std::span<const float> levels,
                                 std::span<const std::int32_t> colours, std::int32_t backColour,
                                 int width) {
  if (levels.empty() || colours.size() < levels.size()) return false;
  GridReadResult g = readGrid(gridFile);
  if (!g.ok()) return false;
  std::vector<Rgb> rgb;
  rgb.reserve(levels.size());
  for (std::size_t i = 0; i < levels.size(); ++i) rgb.push_back(rgbFromColourRef(colours[i]));
  display::RenderResult r =
      display::renderGraded(g.grid, levels, rgb, rgbFromColourRef(backColour), width);
  return r.ok && display::writeBmp(bmpFile, r.image);
}

bool GEO_DrawReliefMap(const std::string& gridFile, const std::string& bmpFile,
                       std::span<const std::uint8_t> rgb, int colourCount, std::int32_t backColour,
                       int width, float saturation, float elevation, float azimuth, float upper) {
  if (colourCount < 1 || rgb.size() < 3 * static_cast<std::size_t>(colourCount)) return false;
  GridReadResult g = readGrid(gridFile);
  if (!g.ok()) return false;
  std::vector<Rgb> colours(static_cast<std::size_t>(colourCount));
  for (std::size_t i = 0; i < colours.size(); ++i)
    colours[i] = {rgb[i], rgb[colours.size() + i], rgb[2 * colours.size() + i]};
  display::ReliefParams p;
  p.saturation = saturation;
  p.elevation = elevation;
  p.azimuth = azimuth;
  p.upper = upper;
  display::RenderResult r =
      display::renderRelief(g.grid, colours, rgbFromColourRef(backColour), width, p);
  return r.ok && display::writeBmp(bmpFile, r.image);
}

}  // namespace sarnoth::vlq
