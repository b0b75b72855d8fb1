#include "electric/dc2d_section.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "display/chart_contour.h"
#include "electric/dc2d_field.h"
#include "electric/numbered_lines.h"
#include "electric/sounding_file.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

std::string num(double v) {
  if (isNullValue(v)) return NULL_TEXT;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.8g", v);
  return buf;
}

}  // namespace

bool parseSectionFile(const std::string& text, SectionData& out, std::string& error) {
  auto lines = filetext::splitLines(text);
  while (!lines.empty() && filetext::trim(lines.back()).empty()) lines.pop_back();
  if (lines.empty() || filetext::trim(lines[0]) != kSectionTag) {
    error = std::string("您选择的数据文件格式不正确，首行应为：") + kSectionTag;
    return false;
  }
  std::size_t ln = 1;
  auto need = [&](std::size_t n) {
    if (lines.size() < n) {
      error = lineLabel(lines.size()) + "数据不完整";
      return false;
    }
    return true;
  };
  auto numbers = [&](std::size_t count, std::vector<double>& v) {
    if (!need(ln + 1)) return false;
    const auto it = lineItems(lines[ln]);
    if (it.size() < count) {
      error = lineLabel(ln) + "数据不完整";
      return false;
    }
    v.assign(count, 0);
    for (std::size_t i = 0; i < count; ++i)
      if (!filetext::parseDouble(it[i], v[i]) || !std::isfinite(v[i])) {
        error = lineLabel(ln) + kMsgBadInput;
        return false;
      }
    ++ln;
    return true;
  };
  auto count = [&](long long lo, long long hi, long long& n) {
    std::vector<double> v;
    if (!numbers(1, v)) return false;
    if (v[0] != std::floor(v[0]) || v[0] < static_cast<double>(lo) ||
        v[0] > static_cast<double>(hi)) {
      error = lineLabel(ln - 1) + "数据个数错误";
      return false;
    }
    n = static_cast<long long>(v[0]);
    return true;
  };
  SectionData d;
  if (!need(2)) return false;
  d.title = filetext::trim(lines[1]);
  ln = 2;
  std::vector<double> v;
  if (!numbers(3, v)) return false;
  if (!(v[0] > 0) || (v[2] != 1 && v[2] != 2)) {
    error = lineLabel(2) + "点距或断面类型错误";
    return false;
  }
  d.dx = v[0];
  d.x0 = v[1];
  d.kind = static_cast<int>(v[2]);
  long long c = 0, n = 0;
  if (!count(1, kMaxSectionColumns, c)) return false;
  if (!need(ln + 1)) return false;
  for (std::string name : [&] {
         std::vector<std::string> parts;
         std::string cur;
         for (char ch : lines[ln] + ",") {
           if (ch == ',') {
             parts.push_back(filetext::trim(cur));
             cur.clear();
           } else {
             cur += ch;
           }
         }
         return parts;
       }())
    if (static_cast<long long>(d.names.size()) < c) d.names.push_back(name);
  while (static_cast<long long>(d.names.size()) < c)
    d.names.push_back("值" + std::to_string(d.names.size() + 1));
  ++ln;
  if (!count(0, 2'000'000, n)) return false;
  if (!need(ln + static_cast<std::size_t>(n))) return false;
  d.values.assign(static_cast<std::size_t>(c), {});
  for (long long i = 0; i < n; ++i) {
    if (!numbers(2 + static_cast<std::size_t>(c), v)) return false;
    d.x.push_back(v[0]);
    d.z.push_back(v[1]);
    for (long long k = 0; k < c; ++k)
      d.values[static_cast<std::size_t>(k)].push_back(v[2 + static_cast<std::size_t>(k)]);
  }
  if (ln < lines.size()) {
    if (!count(0, 2'000'000, n)) return false;
    for (long long i = 0; i < n; ++i) {
      if (!numbers(2, v)) return false;
      if (!d.terrain.empty() && !(v[0] > d.terrain.back().x)) {
        error = lineLabel(ln - 1) + "地形点号必须递增";
        return false;
      }
      d.terrain.push_back({v[0], v[1]});
    }
  }
  out = std::move(d);
  return true;
}

bool readSectionFile(const std::string& path, SectionData& data, std::string& error) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    error = "文件无法打开: " + path;
    return false;
  }
  return parseSectionFile(decodeFileText(bytes), data, error);
}

std::string formatSectionFile(const SectionData& d) {
  std::string t = std::string(kSectionTag) + "\r\n" + d.title + "\r\n";
  t += num(d.dx) + ", " + num(d.x0) + ", " + std::to_string(d.kind) + "\r\n";
  t += std::to_string(d.names.size()) + "\r\n";
  for (std::size_t k = 0; k < d.names.size(); ++k) t += (k ? ", " : "") + d.names[k];
  t += "\r\n" + std::to_string(d.x.size()) + "\r\n";
  for (std::size_t i = 0; i < d.x.size(); ++i) {
    t += num(d.x[i]) + ", " + num(d.z[i]);
    for (const auto& col : d.values) t += ", " + num(col[i]);
    t += "\r\n";
  }
  t += std::to_string(d.terrain.size()) + "\r\n";
  for (const XZ& p : d.terrain) t += num(p.x) + ", " + num(p.z) + "\r\n";
  return t;
}

bool writeSectionFile(const std::string& path, const SectionData& data) {
  return filetext::writeWholeFile(path, utf8ToGbk(formatSectionFile(data)));
}

std::vector<double> sectionLevels(const SectionData& d, const SectionStyle& st) {
  if (st.column < 0 || st.column >= d.columns()) return {};
  double lo = 1e300, hi = -1e300;
  for (double v : d.values[static_cast<std::size_t>(st.column)])
    if (!isNullValue(v) && std::isfinite(v) && (!st.log || v > 0)) {
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
  if (!(lo <= hi)) return {};
  if (st.log) {
    if (hi / lo < 1.0001) lo /= 1.5, hi *= 1.5;
    // Whole decades around the range, then the round values within them.
    const double a = std::pow(10.0, std::floor(std::log10(lo)));
    const double b = std::pow(10.0, std::ceil(std::log10(hi)));
    auto all = chart::contourLevels(a, b, std::max(2, st.levels), true);
    // Keep one level at or below lo and one at or above hi.
    std::vector<double> out;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const bool belowNext = i + 1 < all.size() && all[i + 1] <= lo;
      const bool abovePrev = i > 0 && all[i - 1] >= hi;
      if (!belowNext && !abovePrev) out.push_back(all[i]);
    }
    return out;
  }
  if (hi - lo < 1e-9 * std::max(1.0, std::abs(hi))) lo -= 0.5, hi += 0.5;
  return chart::niceTicks(lo, hi, std::max(2, st.levels), true);
}

chart::Chart sectionPlot(const SectionData& d, const SectionStyle& st) {
  chart::Chart c;
  c.fitFrame = true;
  c.fontSize = 11;
  const bool flat = d.terrain.empty();
  const std::string name = st.column >= 0 && st.column < d.columns()
                               ? d.names[static_cast<std::size_t>(st.column)]
                               : std::string();
  c.title = d.title.empty() ? name : d.title + "  " + name;
  c.x.label = st.stations ? "测点" : "X (m)";
  c.y.label = flat ? (d.kind == 1 ? "伪深度 (m)" : "深度 (m)") : "高程 (m)";
  if (name.empty() || d.points() == 0) return c;

  // Axes: the extent of the points and the surface.
  double xlo = 1e300, xhi = -1e300, zlo = 1e300, zhi = -1e300;
  for (std::size_t i = 0; i < d.points(); ++i) {
    xlo = std::min(xlo, d.x[i]);
    xhi = std::max(xhi, d.x[i]);
    zlo = std::min(zlo, d.z[i]);
    zhi = std::max(zhi, d.z[i]);
  }
  auto surface = [&](double x) {
    if (flat) return 0.0;
    if (x <= d.terrain.front().x) return d.terrain.front().z;
    if (x >= d.terrain.back().x) return d.terrain.back().z;
    const auto it = std::lower_bound(d.terrain.begin(), d.terrain.end(), x,
                                     [](const XZ& p, double v) { return p.x < v; });
    const XZ& b = *it;
    const XZ& a = *(it - 1);
    return a.z + (b.z - a.z) * (x - a.x) / (b.x - a.x);
  };
  std::vector<double> sx, sz;  // the surface across the section
  for (int k = 0; k <= 200; ++k) {
    const double x = xlo + (xhi - xlo) * k / 200.0;
    sx.push_back(x);
    sz.push_back(surface(x));
    zhi = std::max(zhi, sz.back());
  }
  for (const XZ& p : d.terrain)
    if (p.x > xlo && p.x < xhi) zhi = std::max(zhi, p.z);
  const double xm = 0.02 * std::max(xhi - xlo, 1e-9);
  c.x.autoRange = false;
  c.x.lo = xlo - xm;
  c.x.hi = xhi + xm;
  if (st.stations) {
    double slo = (c.x.lo - d.x0) / d.dx, shi = (c.x.hi - d.x0) / d.dx;
    const auto ticks = chart::niceTicks(slo, shi, 8, false);
    std::vector<double> kept;
    for (double s : ticks)
      if (d.x0 + s * d.dx >= c.x.lo && d.x0 + s * d.dx <= c.x.hi) kept.push_back(s);
    c.x.tickLabels = chart::formatTicks(kept);
    for (double s : kept) c.x.ticks.push_back(d.x0 + s * d.dx);
  }
  double ylo = zlo, yhi = zhi;
  const auto yt = chart::niceTicks(ylo, yhi, 6, true);
  c.y.autoRange = false;
  c.y.lo = ylo;
  c.y.hi = yhi;
  c.y.ticks = yt;
  if (flat) {
    std::vector<double> depth;
    for (double t : yt) depth.push_back(std::abs(t) < 1e-12 ? 0.0 : -t);
    c.y.tickLabels = chart::formatTicks(depth);
  }

  const auto& col = d.values[static_cast<std::size_t>(st.column)];
  const chart::TriField field = chart::triField(d.x, d.z, col, st.log);
  if (field.triangles.empty()) return c;
  const auto levels = sectionLevels(d, st);
  if (levels.size() >= 2) {
    chart::ColourBar bar;
    bar.label = name;
    bar.log = st.log;
    bar.bounds = levels;
    const std::size_t n = levels.size() - 1;
    for (std::size_t k = 0; k < n; ++k)
      bar.colours.push_back(chart::rainbow(n == 1 ? 0.5 : static_cast<double>(k) / (n - 1)));
    if (st.filled) chart::addFilledBands(c, field, bar);
    if (st.colourBar && st.filled) c.colourBar = bar;
  }
  if (st.contours) {
    chart::ContourStyle cs;
    cs.labels = st.labels;
    cs.log = st.log;
    chart::addContours(c, field, levels, cs);
  }
  chart::Series top = chart::Series::of(chart::SeriesKind::Line, sx, sz, chart::kBlack);
  top.width = 1.5;
  c.series.push_back(std::move(top));
  if (st.points) {
    chart::Series pts =
        chart::Series::of(chart::SeriesKind::Markers, field.x, field.y, chart::kBlack);
    pts.marker = chart::Marker::Plus;
    pts.markerSize = 3;
    c.series.push_back(std::move(pts));
  }
  return c;
}

SectionData measuredSection(const Dc2dSurvey& s, const std::string& title, double dx, double x0) {
  SectionData d;
  d.title = title;
  d.dx = dx;
  d.x0 = x0;
  d.kind = 1;
  d.terrain = s.terrain;
  bool eta = false;
  for (const auto& datum : s.data) eta = eta || !isNullValue(datum.eta);
  d.names = {"视电阻率(Ω·m)"};
  if (eta) d.names.push_back("视极化率(%)");
  d.values.assign(d.names.size(), {});
  for (const auto& datum : s.data) {
    const PseudoPosition p = pseudoPosition(s, datum);
    d.x.push_back(p.x);
    d.z.push_back(s.surfaceAt(p.x) - p.depth);
    d.values[0].push_back(datum.rho);
    if (eta) d.values[1].push_back(datum.eta);
  }
  return d;
}

bool readAnySection(const std::string& path, SectionData& data, std::string& error) {
  std::string lower = path;
  for (char& ch : lower) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  auto ends = [&](const char* s) {
    const std::string e = s;
    return lower.size() >= e.size() && lower.compare(lower.size() - e.size(), e.size(), e) == 0;
  };
  Dc2dFile f;
  if (ends(".top")) {
    if (!readTopoFile(path, f, error)) return false;
  } else if (measuredKindOf(path)) {
    if (!readMeasuredFile(path, f, error)) return false;
  } else {
    return readSectionFile(path, data, error);
  }
  data = measuredSection(f.survey, f.name, f.stationInterval, f.x0);
  return true;
}

}  // namespace sarnoth::electric
