// Grid images: a grid turned into a colour-graded or shaded-relief raster, the Windows bitmap
// the map view opens, the geo-reference file beside it, and PNG / GeoTIFF exports.
//
// Geometry. A node is the centre of a dx × dy cell, so a grid covers the rectangle from half a
// cell outside its first node to half a cell outside its last, the way GDAL reads work area
// grids. The mesh is rotated by `angle` degrees counter-clockwise (clockwise negative) about the
// first node (x0, y0): node (r, c) stands at
//     x = x0 + c·dx·cos θ - r·dy·sin θ,   y = y0 + c·dx·sin θ + r·dy·cos θ.
// The image is north-up and frames the bounding box of that (rotated) rectangle with square
// pixels: the width is asked for, the height follows from the box, at least one pixel.
// Pixels outside the rotated rectangle are background.
//
// Sampling. Each pixel centre is carried back into the mesh (fractional row and column) and the
// value is interpolated bilinearly from the four nodes around it; when one of them is null the
// nearest node is taken instead, and a null nearest node gives the background. At a pixel that
// falls on a node (image width = nx on an unrotated grid) the node's value is taken exactly.
//
// Graded image. A value falls in the first level whose upper value is not below it (levels in
// rising order are searched by bisection, others in list order); a value above every level takes
// the last level. The 8-bit palette holds the background at entry 0, then the level colours in
// level order, a colour already present reusing its entry; more than 256 distinct level colours
// are refused, and when the levels fill all 256 entries the background shares the entry of the
// level colour nearest to it (the mask still tells it apart).
//
// Shaded relief. Slopes come from Horn's 3 × 3 finite differences with the real spacings dx, dy
// (edge and null neighbours replaced by the centre node), turned into map axes by the mesh
// rotation. The light comes from azimuth φ (degrees clockwise from north) at elevation α; the
// Lambertian intensity at a node with gradient (gx, gy) after the vertical factor k is
//     I = max(0, (sin α - k·gx·cos α·sin φ - k·gy·cos α·cos φ) / sqrt(1 + k²(gx² + gy²))),
// the formula of gdaldem hillshade. The colour of a node is the n-colour scale stretched evenly
// from the smallest to the largest valid value (values above `upper` count as null), washed
// toward white by (1 - saturation/100), and multiplied by I (intensities interpolated between
// nodes like values). When k is 0 it is chosen so that the 99th percentile of the grid's slopes
// becomes 1 (45°): geophysical fields are seldom in the units of their coordinates, and this
// keeps the relief readable whatever the units, much as grdgradient's normalisation does.
//
// Work is split into bands of rows over the available cores (two at most by default); each pixel
// depends only on the grid, so the output is the same whatever the split.
//
// Reference: B. K. P. Horn, "Hill shading and the reflectance map", Proc. IEEE 69 (1981) 14-47.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "workarea/grid_file.h"
#include "workarea/palette.h"

namespace sarnoth::display {

// Largest image side accepted; a larger request is refused rather than allocated.
inline constexpr int kMaxImageSide = 30000;
inline constexpr int kMaxPaletteColours = 256;

// Where an image lies on the map: the outer corner of its top-left pixel and the pixel size.
struct ImageFrame {
  int width = 0, height = 0;
  double xMin = 0, yMax = 0;
  double pixelSize = 0;
  double xMax() const { return xMin + width * pixelSize; }
  double yMin() const { return yMax - height * pixelSize; }
};

// A rendered image, rows top (north) first. Indexed images carry 8-bit pixels and a palette;
// colour images three bytes (R, G, B) a pixel. `mask` is 1 where the grid has data, 0 for the
// background, so that exports can make the background transparent.
struct Image {
  ImageFrame frame;
  bool indexed = false;
  std::vector<std::uint8_t> pixels;
  std::vector<Rgb> palette;
  std::vector<std::uint8_t> mask;
  int width() const { return frame.width; }
  int height() const { return frame.height; }
  Rgb at(int col, int row) const;  // the colour of a pixel, whatever the kind
};

struct RenderResult {
  bool ok = false;
  std::string error;  // why nothing was rendered (for the CLI's diagnostics)
  Image image;
};

// The frame of a grid rendered `width` pixels wide; width 0 when the grid or width is unusable.
ImageFrame imageFrame(const GridHeader& h, int width);

// A node is null when it is at most -1E+30 or equals the header's null value.
bool isGridNull(const GridHeader& h, float v);

RenderResult renderGraded(const Grid& grid, std::span<const float> levels,
                          std::span<const Rgb> colours, Rgb background, int width, int threads = 0);

struct ReliefParams {
  float saturation = 50;  // 0 … 100
  float elevation = 45;   // degrees above the horizon
  float azimuth = -45;    // degrees clockwise from north, -180 … 180
  float upper = 1e38f;    // values above count as null
  double zFactor = 0;     // vertical factor; 0 chooses it from the grid
};

RenderResult renderRelief(const Grid& grid, std::span<const Rgb> colours, Rgb background, int width,
                          const ReliefParams& p, int threads = 0);

// Lambertian intensity (0 … 1) at every node, -1 at null nodes.
std::vector<float> hillshade(const Grid& grid, float elevation, float azimuth, double zFactor,
                             float upper = 1e38f);
// The vertical factor that makes the grid's 99th-percentile slope 1; 1 for a flat grid.
double autoZFactor(const Grid& grid, float upper = 1e38f);

// --- files --------------------------------------------------------------------------------

// Windows bitmap: BITMAPFILEHEADER, BITMAPINFOHEADER (40 bytes), the palette (indexed images,
// 4 bytes B G R 0 an entry) and the rows bottom-up, each padded to a multiple of 4 bytes; 8 bits
// a pixel for indexed images, 24 (B G R) otherwise.
std::string encodeBmp(const Image& img);
bool writeBmp(const std::string& path, const Image& img);

// The geo-reference file beside the bitmap ("GridData.btf"): a first line with the number of
// images, then "GridData 0 0 " + width, height and the image's corners xmin ymin xmax ymax.
bool writeGeoreference(const std::string& path, const std::string& layerName,
                       const ImageFrame& frame);

// PNG (with a world file beside it) or GeoTIFF through GDAL, four bands R G B A, the background
// transparent. `format` is "PNG" or "GTiff". Returns an empty string or GDAL's complaint.
std::string exportImage(const std::string& path, const Image& img, const std::string& format);
// The format to write for a file name: "BMP", "PNG" or "GTiff"; empty for anything else.
std::string imageFormatFor(const std::string& path);

// --- colour bar -----------------------------------------------------------------------------

struct ColourBarEntry {
  float value = 0;  // upper value of the level
  Rgb colour;
};

// The image with a colour bar on its right: one swatch a level (rising upward) labelled with its
// upper value in a small built-in font, on white. Levels beyond what the height can label are
// labelled at intervals. Returns a colour image; the frame is the input's widened.
Image withColourBar(const Image& img, std::span<const ColourBarEntry> entries, int decimals);
// The text of a bar label: `decimals` 1 to 4 as the level list shows, else a short form.
std::string colourBarLabel(float v, int decimals);
// The labels of a whole bar in one format. `decimals` 1 to 4: fixed with that many decimals, as
// the level list shows them. Otherwise the format follows the values: fixed with enough
// decimals to show the smallest step between neighbouring labels to two significant digits (at
// most 6), or, for values of 1E+7 and above or below 1E-4, scientific with a common mantissa
// precision. So one bar never mixes 106.18, 99.348 and 7.1414.
std::vector<std::string> colourBarLabels(std::span<const float> values, int decimals);

}  // namespace sarnoth::display
