#include "workarea/palette.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/scatter_file.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"
#include "workarea/work_area.h"

namespace sarnoth {

using namespace filetext;

namespace {

// The right part of "KEY: value", trimmed; false without a ':'.
bool valueAfterColon(const std::string& line, std::string& value) {
  std::size_t c = line.find(':');
  if (c == std::string::npos) return false;
  value = trim(line.substr(c + 1));
  return true;
}

bool isNullBy(const NullTest& test, float v) { return test ? test(v) : isNullValue(v); }

std::vector<float> validValues(std::span<const float> data, const NullTest& isNull) {
  std::vector<float> v;
  v.reserve(data.size());
  for (float x : data)
    if (!isNullBy(isNull, x)) v.push_back(x);
  return v;
}

}  // namespace

// ------------------------------------------------------------------ palette files

PaletteReadResult readPalette(const std::string& path) {
  PaletteReadResult r;
  std::string bytes;
  if (!readWholeFile(path, bytes)) {
    r.error = PaletteError::OpenFailed;
    return r;
  }
  std::vector<std::string> lines = splitLines(decodeFileText(bytes));
  if (lines.empty() || !magicMatches(lines[0], "PALTI#")) {
    r.error = PaletteError::BadMagic;
    return r;
  }
  r.error = PaletteError::Malformed;
  if (lines.size() < 4) return r;
  std::string text;
  ColourScale& s = r.scale;
  long long n = 0;
  if (!valueAfterColon(lines[1], text) || !parseFloat(text, s.min)) return r;
  if (!valueAfterColon(lines[2], text) || !parseFloat(text, s.max)) return r;
  if (!parseInt(lines[3], n) || n < 0) return r;
  // The level lines and the background line must be there before anything is taken.
  if (static_cast<unsigned long long>(n) + 5 > lines.size()) return r;
  s.levels.reserve(static_cast<std::size_t>(n));
  for (long long i = 0; i < n; ++i) {
    std::vector<std::string> items = splitAt(lines[4 + static_cast<std::size_t>(i)], ',');
    ColourLevel lv;
    long long idx = 0;
    if (items.size() < 2 || !parseFloat(items[0], lv.value) || !parseInt(items[1], idx) ||
        idx < INT16_MIN || idx > INT16_MAX)
      return r;
    lv.colourIndex = static_cast<std::int16_t>(idx);
    s.levels.push_back(lv);
  }
  long long back = 0;
  if (!valueAfterColon(lines[4 + static_cast<std::size_t>(n)], text) || !parseInt(text, back) ||
      back < INT32_MIN || back > INT32_MAX)
    return r;
  s.backColour = static_cast<std::int32_t>(back);
  r.error = PaletteError::None;
  return r;
}

PaletteError writePalette(const std::string& path, const ColourScale& scale, int desM) {
  if (scale.levels.empty()) return PaletteError::Empty;
  std::string out;
  out += std::string(kPaletteMagic) + "\r\n";
  out += "MIN: " + floatText(scale.min) + "\r\n";
  out += "MAX: " + floatText(scale.max) + "\r\n";
  out += std::to_string(scale.levels.size()) + "\r\n";
  for (const auto& lv : scale.levels)
    out += formatLevelValue(lv.value, desM) + "," + std::to_string(lv.colourIndex) + "\r\n";
  out += "BCOLR: " + std::to_string(scale.backColour) + "\r\n";
  out += std::string(kPaletteEnd) + "\r\n";
  return writeWholeFile(path, out) ? PaletteError::None : PaletteError::WriteFailed;
}

std::string paletteMessage(PaletteError e) {
  switch (e) {
    case PaletteError::BadMagic:
    case PaletteError::Malformed:
      return kMsgPaletteBadMagic;
    case PaletteError::Empty:
      return kMsgPaletteEmpty;
    default:
      return {};
  }
}

Outcome loadPalette(const std::string& path, ColourScale& scale) {
  PaletteReadResult r = readPalette(path);
  if (!r.ok()) return Outcome::failure(paletteMessage(r.error));
  scale = std::move(r.scale);
  return Outcome::success();
}

Outcome savePalette(const std::string& path, const ColourScale& scale, int desM) {
  PaletteError e = writePalette(path, scale, desM);
  if (e == PaletteError::None) return Outcome::success();
  return Outcome::failure(paletteMessage(e));
}

// ------------------------------------------------------------------ number formatting

std::string formatLevelValue(float v, int desM) {
  if (desM < 1 || desM > 4 || !std::isfinite(v)) return floatText(v);
  static const double kScale[] = {1.0, 10.0, 100.0, 1000.0, 10000.0};
  double x = static_cast<double>(v);
  double rounded = std::round(x * kScale[desM]) / kScale[desM];  // half away from zero
  if (rounded == 0.0) rounded = 0.0;                             // no "-0.00"
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", desM, rounded);
  return buf;
}

float displayedValue(float v, int desM) {
  float shown = v;
  parseFloat(formatLevelValue(v, desM), shown);
  return shown;
}

// ------------------------------------------------------------------ default ramp

std::string defaultRampPath() { return withTrailingSeparator(gSysPath) + kDefaultRampFile; }

std::optional<std::vector<std::int32_t>> readDefaultRamp(const std::string& path) {
  std::string bytes;
  if (!readWholeFile(path, bytes) || bytes.size() < 2) return std::nullopt;
  std::int16_t m = 0;
  std::memcpy(&m, bytes.data(), 2);
  std::vector<std::int32_t> ramp;
  if (m <= 0) return ramp;
  if (bytes.size() < 2 + 4 * static_cast<std::size_t>(m)) return std::nullopt;
  ramp.resize(static_cast<std::size_t>(m));
  std::memcpy(ramp.data(), bytes.data() + 2, ramp.size() * 4);
  return ramp;
}

bool writeDefaultRamp(const std::string& path, const std::vector<std::int32_t>& indices) {
  if (indices.size() > static_cast<std::size_t>(INT16_MAX)) return false;
  std::string b(2 + 4 * indices.size(), '\0');
  std::int16_t m = static_cast<std::int16_t>(indices.size());
  std::memcpy(b.data(), &m, 2);
  if (!indices.empty()) std::memcpy(b.data() + 2, indices.data(), 4 * indices.size());
  return writeWholeFile(path, b);
}

// ------------------------------------------------------------------ grading

std::vector<std::int32_t> mapRampToLevels(int n, const std::vector<std::int32_t>& ramp) {
  std::vector<std::int32_t> colours(static_cast<std::size_t>(std::max(n, 0)), 0);
  std::int64_t m = static_cast<std::int64_t>(ramp.size());
  if (m == 0) return colours;
  for (std::int64_t i = 0; i < n; ++i)
    colours[static_cast<std::size_t>(i)] =
        n < m ? ramp[static_cast<std::size_t>(i * m / n)] : ramp[static_cast<std::size_t>(i % m)];
  return colours;
}

Grading gradeEqualInterval(float min, float max, float interval,
                           const std::vector<std::int32_t>& ramp) {
  Grading g;
  float q = (max - min) / interval;  // single precision, as the panel's values are
  if (!std::isfinite(q)) return g;
  double n = std::nearbyint(static_cast<double>(q));  // to the nearest, ties to even
  if (n < 1 || n > kMaxGradeLevels) return g;
  int count = static_cast<int>(n);
  g.levels.resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count - 1; ++i)
    g.levels[static_cast<std::size_t>(i)] = min + static_cast<float>(i + 1) * interval;
  g.levels.back() = max;
  g.colours = mapRampToLevels(count, ramp);
  return g;
}

Grading gradeLogarithmic(float min, float max, float interval,
                         const std::vector<std::int32_t>& ramp) {
  Grading g;
  if (!(interval > 0.0f && interval <= 1.0f)) {
    g.message = kMsgLogInterval;
    return g;
  }
  if (!(min > 0.0f && max > 0.0f)) {
    g.message = kMsgLogRange;
    return g;
  }
  float lo = static_cast<float>(log10Value(min));
  float hi = static_cast<float>(log10Value(max));
  float q = (hi - lo) / interval;
  if (!(q >= 1.0f) || q > static_cast<float>(kMaxGradeLevels)) return g;
  int count = static_cast<int>(q);  // Fix
  const double ln10 = std::log(10.0);
  g.levels.resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count - 1; ++i) {
    float e = lo + static_cast<float>(i + 1) * interval;
    g.levels[static_cast<std::size_t>(i)] = static_cast<float>(std::exp(e * ln10));
  }
  g.levels.back() = max;
  g.colours = mapRampToLevels(count, ramp);
  return g;
}

Grading gradeVariance(std::span<const float> data, float min, float max, float p,
                      const std::vector<std::int32_t>& ramp, const NullTest& isNull) {
  constexpr int kEntries = 50;
  Grading g;
  std::vector<float> v = validValues(data, isNull);
  if (v.size() < 2) return g;  // no spread without two values
  double sum = 0, sum2 = 0;
  for (float x : v) {
    sum += x;
    sum2 += static_cast<double>(x) * x;
  }
  double n = static_cast<double>(v.size());
  double mu = sum / n;
  double s = std::sqrt(std::fabs(sum2 - mu * mu * n) / (n - 1));
  double step = static_cast<double>(p) * s;
  std::vector<float> lower, upper;
  for (int k = 1; k <= kEntries; ++k) {
    float lo = static_cast<float>(mu - k * step);
    float up = static_cast<float>(mu + k * step);
    if (lo > min) lower.push_back(lo);
    if (up < max) upper.push_back(up);
  }
  // Lower entries from lowest to highest, the mean, then the upper entries; the last level
  // is max itself.
  std::sort(lower.begin(), lower.end());
  g.levels = lower;
  g.levels.push_back(static_cast<float>(mu));
  g.levels.insert(g.levels.end(), upper.begin(), upper.end());
  g.levels.back() = max;
  std::int64_t count = static_cast<std::int64_t>(g.levels.size());
  std::int64_t m = static_cast<std::int64_t>(ramp.size());
  g.colours.assign(static_cast<std::size_t>(count), 0);
  if (m > 0) {
    for (std::int64_t i = 0; i < count; ++i)
      g.colours[static_cast<std::size_t>(i)] = ramp[static_cast<std::size_t>(i * m / count)];
    g.colours.back() = ramp.back();
  }
  return g;
}

Grading gradeCumulative(std::span<const float> data, float stepPercent,
                        const std::vector<std::int32_t>& ramp, const NullTest& isNull) {
  Grading g;
  if (!(stepPercent > 0.0f && stepPercent <= 100.0f)) return g;
  if (100.0f / stepPercent > static_cast<float>(kMaxGradeLevels)) return g;
  std::vector<float> v = validValues(data, isNull);
  if (v.empty()) return g;
  std::sort(v.begin(), v.end());
  std::size_t n = v.size();
  for (int k = 1;; ++k) {
    float p = static_cast<float>(k) * stepPercent;
    if (!(p < 100.0f)) break;
    std::size_t idx = static_cast<std::size_t>(static_cast<double>(p) / 100.0 * n);  // Fix
    g.levels.push_back(v[std::min(idx, n - 1)]);
  }
  g.levels.push_back(v.back());
  g.colours = mapRampToLevels(g.count(), ramp);
  return g;
}

ColourScale scaleFromGrading(const Grading& g, float min, float max, std::int32_t backColour,
                             int desM) {
  ColourScale s;
  s.min = min;
  s.max = max;
  s.backColour = backColour;
  s.levels.reserve(g.levels.size());
  for (std::size_t i = 0; i < g.levels.size(); ++i) {
    std::int32_t c = i < g.colours.size() ? g.colours[i] : 0;
    s.levels.push_back({displayedValue(g.levels[i], desM),
                        static_cast<std::int16_t>(std::clamp(c, 0, kMaxColourIndex))});
  }
  return s;
}

// ------------------------------------------------------------------ level editing

Outcome addLevelHalfway(ColourScale& scale, int selected) {
  if (selected < 0 || selected >= static_cast<int>(scale.levels.size()))
    return Outcome::failure(kMsgSelectToAdd);
  std::size_t at = static_cast<std::size_t>(selected);
  float below = at == 0 ? scale.min : scale.levels[at - 1].value;
  ColourLevel lv;
  lv.value = below + (scale.levels[at].value - below) / 2.0f;
  lv.colourIndex = scale.levels[at].colourIndex;
  scale.levels.insert(scale.levels.begin() + selected, lv);
  return Outcome::success();
}

Outcome deleteLevel(ColourScale& scale, int selected) {
  if (selected < 0 || selected >= static_cast<int>(scale.levels.size()))
    return Outcome::failure(kMsgSelectToDelete);
  scale.levels.erase(scale.levels.begin() + selected);
  return Outcome::success();
}

Outcome recolourLevel(ColourScale& scale, int selected, std::int16_t colourIndex) {
  if (selected < 0 || selected >= static_cast<int>(scale.levels.size()))
    return Outcome::failure(kMsgSelectToEdit);
  scale.levels[static_cast<std::size_t>(selected)].colourIndex = colourIndex;
  return Outcome::success();
}

void defaultGrading(ColourScale& scale, const std::vector<std::int32_t>& ramp, int desM) {
  float interval = (scale.max - scale.min) / static_cast<float>(kDefaultLevelCount);
  Grading g = gradeEqualInterval(scale.min, scale.max, interval, ramp);
  scale = scaleFromGrading(g, scale.min, scale.max, scale.backColour, desM);
}

// ------------------------------------------------------------------ system colour table

std::string sysColourTablePath() { return withTrailingSeparator(gSysPath) + kSysColourTableFile; }

std::optional<SysColourTable> SysColourTable::load(const std::string& path) {
  std::string bytes;
  if (!readWholeFile(path, bytes)) return std::nullopt;
  SysColourTable t;
  for (const std::string& raw : splitLines(bytes)) {
    std::string line = raw.substr(0, raw.find('#'));
    std::vector<std::string> items = splitBlanks(line);
    if (items.empty()) continue;
    long long v[4];
    if (items.size() != 4) return std::nullopt;
    for (int i = 0; i < 4; ++i)
      if (!parseInt(items[static_cast<std::size_t>(i)], v[i])) return std::nullopt;
    if (v[0] < 0 || v[0] > kMaxColourIndex) return std::nullopt;
    for (int i = 1; i < 4; ++i)
      if (v[i] < 0 || v[i] > 255) return std::nullopt;
    std::size_t idx = static_cast<std::size_t>(v[0]);
    if (idx >= t.rgb_.size()) {
      t.rgb_.resize(idx + 1);
      t.present_.resize(idx + 1, false);
    }
    t.rgb_[idx] = {static_cast<std::uint8_t>(v[1]), static_cast<std::uint8_t>(v[2]),
                   static_cast<std::uint8_t>(v[3])};
    t.present_[idx] = true;
  }
  return t;
}

bool SysColourTable::has(int index) const {
  return index >= 0 && index < size() && present_[static_cast<std::size_t>(index)];
}

Rgb SysColourTable::colour(int index) const {
  return has(index) ? rgb_[static_cast<std::size_t>(index)] : Rgb{};
}

}  // namespace sarnoth
