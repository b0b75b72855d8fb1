// The colour scale of grid images: levels (an upper value and a colour index each), the palette
// files that keep them (*.pal), the default ramp datdefcolr.pal, the four grading rules, the
// level editing of the colour panel, and the system colour table that turns a colour index into
// RGB in place of the map library's InfoGetSysColor.
//
// Palette file, text lines (CR LF as written, LF accepted; GBK or UTF-8):
//   "#SRNTHPALTI#"           readers test characters 7 to 12 against "PALTI#"
//   "MIN: " minimum
//   "MAX: " maximum
//   n                        number of levels
//   value "," colourIndex    n lines, values as the level list shows them
//   "BCOLR: " background colour as an integer
//   "#ENDPALETTE#"           written, not needed by the reader
//
// Default ramp datdefcolr.pal in gSysPath, binary little-endian: an int16 count m, then m int32
// colour indices.
//
// Grading rules (m ramp entries, Fix = truncation toward zero):
//   equal interval   n = round((max - min) / interval) in single precision; level i < n-1 has
//                    min + (i+1)·interval, level n-1 has max. Colours: ramp[Fix(i·m/n)] when
//                    n < m, else ramp[i], taken round the ramp again when i reaches m.
//   logarithmic      0 < interval <= 1 and min, max > 0, else the system's refusal; lo, hi the
//                    base-10 logarithms (single), n = Fix((hi - lo)/interval); level i < n-1 has
//                    10^(lo + (i+1)·interval), level n-1 has max. Colours as equal interval.
//   variance         μ the mean of the valid values, s = sqrt(|Σv² - μ²·n| / (n - 1)); lower
//                    entries μ - k·p·s and upper entries μ + k·p·s, k = 1 … 50. With a lower
//                    entries above min and b upper entries below max the scale has a + b + 1
//                    levels: the a lower entries from lowest to highest, μ, the first b upper
//                    entries, the last of these replaced by max. Colours ramp[Fix(i·m/n')], the
//                    last level the last ramp entry. Sums are kept in double precision.
//   cumulative       the valid values sorted ascending (N of them); for p = step, 2·step, …
//                    below 100 a level at the sorted value of index Fix(p/100·N), and a last
//                    level at the largest value. Colours as equal interval.
// A level count beyond kMaxGradeLevels (an interval far too small for the range) grades nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth {

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  bool operator==(const Rgb&) const = default;
};

// The colour value of the Windows colour model (red in the low byte), as backColour holds it.
inline std::int32_t colourRef(Rgb c) { return c.r | (c.g << 8) | (c.b << 16); }
inline Rgb rgbFromColourRef(std::int32_t v) {
  return {static_cast<std::uint8_t>(v & 0xFF), static_cast<std::uint8_t>((v >> 8) & 0xFF),
          static_cast<std::uint8_t>((v >> 16) & 0xFF)};
}

struct ColourLevel {
  float value = 0;               // upper value of the level
  std::int16_t colourIndex = 0;  // into the system colour table
};

struct ColourScale {
  float min = 0, max = 0;
  std::int32_t backColour = 0;
  std::vector<ColourLevel> levels;
};

// --- palette files ----------------------------------------------------------------------------

inline constexpr const char* kPaletteMagic = "#SRNTHPALTI#";
inline constexpr const char* kPaletteEnd = "#ENDPALETTE#";
inline constexpr const char* kMsgPaletteBadMagic = "非Sarnoth调色板索引文件";
inline constexpr const char* kMsgPaletteEmpty = "调色板中无色阶!!";
inline constexpr const char* kPaletteOpenTitle = "打开调色板索引文件...";
inline constexpr const char* kPaletteOpenFilter =
    "Sarnoth调色板索引文件(*.PAL)|*.pal|所有文件 (*.*)|*.*|";
inline constexpr const char* kPaletteSaveTitle = "调色板存入文件...";
inline constexpr const char* kPaletteSaveFilter =
    "Sarnoth调色板文件(*.PAL)|*.pal|所有文件 (*.*)|*.*|";
inline constexpr const char* kPaletteDefaultExt = "*.pal";

enum class PaletteError { None, OpenFailed, BadMagic, Malformed, Empty, WriteFailed };

struct PaletteReadResult {
  PaletteError error = PaletteError::None;
  ColourScale scale;
  bool ok() const { return error == PaletteError::None; }
};

PaletteReadResult readPalette(const std::string& path);
// Writes the scale with level values formatted by `desM` (formatLevelValue); an empty level list
// is refused (PaletteError::Empty) and nothing is written.
PaletteError writePalette(const std::string& path, const ColourScale& scale, int desM = 0);
// The system's text for a palette error: a bad magic or an unreadable body gives
// "非Sarnoth调色板索引文件", an empty list "调色板中无色阶!!"; a failed open shows nothing.
std::string paletteMessage(PaletteError e);

// "装入...": replaces `scale` only when the file reads whole; otherwise leaves it unchanged.
Outcome loadPalette(const std::string& path, ColourScale& scale);
// "存入...".
Outcome savePalette(const std::string& path, const ColourScale& scale, int desM);

// --- number formatting of the level list ------------------------------------------------------

// desM 1 to 4 selects "0.0", "0.00", "0.000", "0.0000" (rounded half away from zero); any other
// value gives the shortest text of the single.
std::string formatLevelValue(float v, int desM);
// The value as the list shows it, read back: what a save writes.
float displayedValue(float v, int desM);

// --- default ramp ---------------------------------------------------------------------------

inline constexpr const char* kDefaultRampFile = "datdefcolr.pal";
// gSysPath + "datdefcolr.pal".
std::string defaultRampPath();
// The ramp's colour indices; nullopt when the file is missing or shorter than its count.
std::optional<std::vector<std::int32_t>> readDefaultRamp(const std::string& path);
bool writeDefaultRamp(const std::string& path, const std::vector<std::int32_t>& indices);

// --- grading ----------------------------------------------------------------------------------

inline constexpr int kMaxGradeLevels = 32767;
inline constexpr const char* kMsgLogInterval = "对数分级间隔不能小于等于 0 或大于 1.";
inline constexpr const char* kMsgLogRange = "对数分级值域不能小于等于 0.";

struct Grading {
  std::vector<float> levels;
  std::vector<std::int32_t> colours;  // colour indices, one per level
  std::string message;                // the system's refusal; empty when graded
  int count() const { return static_cast<int>(levels.size()); }
};

// A null test on grid values; an empty function means isNullValue (at most -1E+30).
using NullTest = std::function<bool(float)>;

// Colours for n levels from the ramp; all 0 when the ramp is empty (datdefcolr.pal missing).
std::vector<std::int32_t> mapRampToLevels(int n, const std::vector<std::int32_t>& ramp);

Grading gradeEqualInterval(float min, float max, float interval,
                           const std::vector<std::int32_t>& ramp);
Grading gradeLogarithmic(float min, float max, float interval,
                         const std::vector<std::int32_t>& ramp);
Grading gradeVariance(std::span<const float> data, float min, float max, float p,
                      const std::vector<std::int32_t>& ramp, const NullTest& isNull = {});
Grading gradeCumulative(std::span<const float> data, float stepPercent,
                        const std::vector<std::int32_t>& ramp, const NullTest& isNull = {});

// The level list the panel shows for a grading: values rounded as displayed by `desM`.
ColourScale scaleFromGrading(const Grading& g, float min, float max, std::int32_t backColour,
                             int desM);

// --- level editing (the buttons of the colour panel) ------------------------------------------

inline constexpr const char* kMsgSelectToEdit = "请选择修改项. ";
inline constexpr const char* kMsgSelectToAdd = "请选择添加位置. ";
inline constexpr const char* kMsgSelectToDelete = "请选择删除项. ";
// Levels of the default grading: equal intervals over the range.
inline constexpr int kDefaultLevelCount = 16;

// "添加色阶": a level before the selected one, its value halfway between the selected level and
// the one below (min for the first), in the selected level's colour.
Outcome addLevelHalfway(ColourScale& scale, int selected);
// "删除色阶".
Outcome deleteLevel(ColourScale& scale, int selected);
// "改变颜色".
Outcome recolourLevel(ColourScale& scale, int selected, std::int16_t colourIndex);
// "缺省分级": kDefaultLevelCount equal intervals from scale.min to scale.max, coloured from the
// ramp, values as displayed by `desM`.
void defaultGrading(ColourScale& scale, const std::vector<std::int32_t>& ramp, int desM);

// --- system colour table -------------------------------------------------------------------

inline constexpr const char* kSysColourTableFile = "syslib/syscolor.tbl";
// gSysPath + "syslib/syscolor.tbl".
std::string sysColourTablePath();

// The map library's colour table: index to RGB. The file is text; its layout is documented in
// its own head. Lines "index r g b", decimal; '#' starts a comment.
class SysColourTable {
 public:
  // Reads the table; nullopt when the file cannot be read or a line is malformed.
  static std::optional<SysColourTable> load(const std::string& path);
  // InfoGetSysColor: the colour of an index; black for an index the table does not hold.
  Rgb colour(int index) const;
  bool has(int index) const;
  int size() const { return static_cast<int>(rgb_.size()); }  // one past the highest index

 private:
  std::vector<Rgb> rgb_;
  std::vector<bool> present_;
};

inline constexpr int kMaxColourIndex = 32767;

}  // namespace sarnoth
