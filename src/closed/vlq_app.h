// VLQAppDllUG.DLL, the rendering calls of the closed numeric library: grid to bitmap.
//
// The grid image viewer hands these calls a grid file, a target bitmap, the colour scale and the
// width in pixels; they read the grid, render it and write a Windows bitmap. Our implementation
// lies in display/grid_render (geometry, sampling, the graded palette and the hillshade formula
// are stated there). Colours travel in the Windows colour model, red in the low byte.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace sarnoth::vlq {

// An 8-bit palettised bitmap of the grid `width` pixels wide: each node coloured by the level it
// falls in (levels[i] the upper value, colours[i] its colour), nulls in `backColour`, the mesh
// rotation honoured. False when the grid cannot be read, the scale is empty or holds more than
// 256 colours, or the bitmap cannot be written.
bool GEO_GridDataToWinBMP256File(const std::string& gridFile, const std::string& bmpFile,
                                 std::span<const float> levels,
                                 std::span<const std::int32_t> colours, std::int32_t backColour,
                                 int width);

// A 24-bit shaded-relief bitmap: `rgb` is the 3-by-n byte array of the colour scale (n red
// bytes, then n green, then n blue), stretched evenly over the grid's values up to `upper`;
// `saturation` 0 to 100, `elevation` the light's angle above the horizon (0 to 45 on the
// window's slider), `azimuth` the light's direction, degrees clockwise from north (-180 to 180).
bool GEO_DrawReliefMap(const std::string& gridFile, const std::string& bmpFile,
                       std::span<const std::uint8_t> rgb, int colourCount, std::int32_t backColour,
                       int width, float saturation, float elevation, float azimuth,
                       float upper = 1e38f);

inline std::uint8_t GEO_GetRValue(std::int32_t colour) {
  return static_cast<std::uint8_t>(colour & 0xFF);
}
inline std::uint8_t GEO_GetGValue(std::int32_t colour) {
  return static_cast<std::uint8_t>((colour >> 8) & 0xFF);
}
inline std::uint8_t GEO_GetBValue(std::int32_t colour) {
  return static_cast<std::uint8_t>((colour >> 16) & 0xFF);
}

}  // namespace sarnoth::vlq
