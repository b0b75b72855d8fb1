#include "gravmag/gm2d_files.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

#include "gravmag/gm2d_forward.h"
#include "workarea/file_text.h"
#include "workarea/grid_file.h"
#include "workarea/scatter_file.h"
#include "workarea/text_codec.h"

namespace sarnoth::gm2d {
namespace {

using filetext::parseDouble;
using filetext::splitBlanks;
using filetext::trim;

std::string upper(std::string s) {
  for (char& c : s)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return s;
}

// The lines of a text file after its magic, blank lines and comments dropped, with their numbers
// (counted from 1 in the file) for the messages.
struct Lines {
  std::vector<std::string> text;
  std::vector<int> number;
  std::size_t next = 0;
  bool done() const { return next >= text.size(); }
  std::size_t left() const { return text.size() - next; }
};

std::string lineError(const char* what, int line) {
  return std::string(what) + "，第 " + std::to_string(line) + " 行格式错误。";
}

// Reads the file, checks characters 7 to 12 of its magic and collects the lines after it.
Outcome openLines(const std::string& path, const char* magic, const char* wrongKind, Lines& out) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) return Outcome::failure(kMsgCannotOpen + path);
  const std::vector<std::string> all = filetext::splitLines(decodeFileText(bytes));
  std::size_t i = 0;
  while (i < all.size() && trim(all[i]).empty()) ++i;
  if (i == all.size()) return Outcome::failure(wrongKind);
  const std::string first = trim(all[i]);
  if (first.size() < 12 || first.compare(6, 6, std::string(magic).substr(6, 6)) != 0)
    return Outcome::failure(wrongKind);
  for (++i; i < all.size(); ++i) {
    std::string t = trim(all[i]);
    if (t.empty() || t[0] == ';') continue;
    out.text.push_back(std::move(t));
    out.number.push_back(static_cast<int>(i + 1));
  }
  return Outcome::success();
}

// A keyword line: the keyword (upper case), its numbers, and the rest of the line as text.
struct Item {
  std::string key;
  std::vector<std::string> words;
  std::string rest;
};

Item itemOf(const std::string& line) {
  Item it;
  const std::size_t sp = line.find_first_of(" \t");
  it.key = upper(line.substr(0, sp));
  it.rest = sp == std::string::npos ? "" : trim(line.substr(sp));
  it.words = splitBlanks(it.rest);
  return it;
}

bool numbers(const std::vector<std::string>& w, std::size_t from, std::size_t n,
             std::vector<double>& out) {
  if (w.size() < from + n) return false;
  out.resize(n);
  for (std::size_t k = 0; k < n; ++k)
    if (!parseDouble(w[from + k], out[k]) || !std::isfinite(out[k])) return false;
  return true;
}

std::string num(double v) {
  char b[40];
  std::snprintf(b, sizeof b, "%.10g", v);
  return b;
}

class Writer {
 public:
  void line(const std::string& s) { text_ += s + "\r\n"; }
  Outcome save(const std::string& path) const {
    if (!filetext::writeWholeFile(path, utf8ToGbk(text_)))
      return Outcome::failure(kMsgCannotWrite + path);
    return Outcome::success();
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

const char* componentName(MagComponent c) {
  switch (c) {
    case MagComponent::Za:
      return "ZA";
    case MagComponent::Hax:
      return "HAX";
    case MagComponent::DeltaT:
      break;
  }
  return "DT";
}

bool componentOf(const std::string& w, MagComponent& c) {
  const std::string u = upper(w);
  if (u == "DT" || u == "T")
    c = MagComponent::DeltaT;
  else if (u == "ZA" || u == "Z")
    c = MagComponent::Za;
  else if (u == "HAX" || u == "X")
    c = MagComponent::Hax;
  else
    return false;
  return true;
}

// --- model ---------------------------------------------------------------------------------

constexpr const char* kModelWhat = "模型数据文件";

Outcome parseModelLines(Lines& ls, Model& out) {
  Model m;
  m.bodies.clear();
  std::size_t expected = 0;
  bool sawBodies = false, sawEnd = false;
  auto bad = [&](std::size_t at) { return Outcome::failure(lineError(kModelWhat, ls.number[at])); };
  std::vector<double> v;
  while (!ls.done()) {
    const std::size_t at = ls.next++;
    Item it = itemOf(ls.text[at]);
    if (it.key == "END") {
      sawEnd = true;
      break;
    }
    if (it.key == "TITLE") {
      m.title = it.rest;
    } else if (it.key == "FIELD") {
      if (!numbers(it.words, 0, 3, v) || v[0] < 0) return bad(at);
      m.field = {v[0], v[1], v[2]};
    } else if (it.key == "AZIMUTH") {
      if (!numbers(it.words, 0, 1, v)) return bad(at);
      m.azimuth = v[0];
    } else if (it.key == "COMPONENT") {
      if (it.words.empty() || !componentOf(it.words[0], m.component)) return bad(at);
    } else if (it.key == "BACKGROUND") {
      if (!numbers(it.words, 0, 2, v)) return bad(at);
      m.backgroundDensity = v[0];
      m.backgroundSusceptibility = v[1];
    } else if (it.key == "TREND") {
      if (it.words.size() < 3) return bad(at);
      const std::string f = upper(it.words[0]);
      if (f != "G" && f != "T") return bad(at);
      Trend t;
      std::size_t n = it.words.size() - 1;
      if (upper(it.words.back()) == "INVERT") {
        t.invert = true;
        --n;
      }
      if (n < 2 || n > 5 || !numbers(it.words, 1, n, v)) return bad(at);
      t.x0 = v[0];
      t.c.assign(v.begin() + 1, v.end());
      (f == "G" ? m.gravityTrend : m.magneticTrend) = t;
    } else if (it.key == "BODIES") {
      if (!numbers(it.words, 0, 1, v) || v[0] < 0 || v[0] != std::floor(v[0])) return bad(at);
      // Each body takes at least four lines: more than the file holds is a broken count.
      if (v[0] * 4 > static_cast<double>(ls.left())) return bad(at);
      expected = static_cast<std::size_t>(v[0]);
      sawBodies = true;
    } else if (it.key == "BODY") {
      if (!sawBodies) return bad(at);
      Body b;
      b.name = it.rest;
      bool sawVertices = false;
      while (!ls.done() && !sawVertices) {
        const std::size_t bt = ls.next++;
        Item bi = itemOf(ls.text[bt]);
        if (bi.key == "DENSITY") {
          if (!numbers(bi.words, 0, 4, v)) return bad(bt);
          b.density = v[0];
          b.densityMin = v[1];
          b.densityMax = v[2];
          b.invertDensity = v[3] != 0;
        } else if (bi.key == "SUSCEPTIBILITY") {
          if (!numbers(bi.words, 0, 4, v)) return bad(bt);
          b.susceptibility = v[0];
          b.susceptibilityMin = v[1];
          b.susceptibilityMax = v[2];
          b.invertSusceptibility = v[3] != 0;
        } else if (bi.key == "REMANENCE") {
          if (!numbers(bi.words, 0, 6, v)) return bad(bt);
          b.remanence = v[0];
          b.remInclination = v[1];
          b.remDeclination = v[2];
          b.remanenceMin = v[3];
          b.remanenceMax = v[4];
          b.invertRemanence = v[5] != 0;
        } else if (bi.key == "STRIKE") {
          if (!numbers(bi.words, 0, 1, v) || v[0] < 0) return bad(bt);
          b.halfStrike = v[0];
        } else if (bi.key == "COLOUR" || bi.key == "COLOR") {
          if (!numbers(bi.words, 0, 3, v)) return bad(bt);
          for (double c : v)
            if (c < 0 || c > 255) return bad(bt);
          b.colour = {static_cast<std::uint8_t>(v[0]), static_cast<std::uint8_t>(v[1]),
                      static_cast<std::uint8_t>(v[2])};
        } else if (bi.key == "MOVE") {
          if (!numbers(bi.words, 0, 2, v) || v[0] < 0 || v[1] < 0) return bad(bt);
          b.moveX = v[0];
          b.moveZ = v[1];
        } else if (bi.key == "CHOSEN") {
          if (!numbers(bi.words, 0, 1, v)) return bad(bt);
          b.chosen = v[0] != 0;
        } else if (bi.key == "LABEL") {
          if (!numbers(bi.words, 0, 2, v)) return bad(bt);
          b.label = Point2{v[0], v[1]};
        } else if (bi.key == "VERTICES") {
          if (!numbers(bi.words, 0, 1, v) || v[0] < 3 || v[0] != std::floor(v[0]) ||
              v[0] > static_cast<double>(ls.left()))
            return bad(bt);
          const auto n = static_cast<std::size_t>(v[0]);
          b.vertices.resize(n);
          b.free.resize(n);
          for (std::size_t k = 0; k < n; ++k) {
            const std::size_t vt = ls.next++;
            const auto w = splitBlanks(ls.text[vt]);
            if (!numbers(w, 0, 2, v)) return bad(vt);
            b.vertices[k] = {v[0], v[1]};
            double fr = 0;
            if (w.size() > 2 &&
                (!parseDouble(w[2], fr) || fr < 0 || fr > 3 || fr != std::floor(fr)))
              return bad(vt);
            b.free[k] = static_cast<std::uint8_t>(fr);
          }
          sawVertices = true;
        } else {
          return bad(bt);
        }
      }
      if (!sawVertices) return Outcome::failure(lineError(kModelWhat, ls.number.back()));
      if (Outcome o = checkBody(b); !o)
        return Outcome::failure(o.message + "（模型 " + b.name + "）");
      m.bodies.push_back(std::move(b));
    } else {
      return bad(at);
    }
  }
  if (!sawBodies || !sawEnd || m.bodies.size() != expected)
    return Outcome::failure(std::string(kModelWhat) + "不完整。");
  out = std::move(m);
  return Outcome::success();
}

void emitModel(Writer& w, const Model& m) {
  w.line(kModelMagic);
  w.line("TITLE " + m.title);
  w.line("FIELD " + num(m.field.intensity) + " " + num(m.field.inclination) + " " +
         num(m.field.declination));
  w.line("AZIMUTH " + num(m.azimuth));
  w.line(std::string("COMPONENT ") + componentName(m.component));
  w.line("BACKGROUND " + num(m.backgroundDensity) + " " + num(m.backgroundSusceptibility));
  auto trend = [&](const Trend& t, const char* f) {
    if (t.c.empty()) return;
    std::string s = std::string("TREND ") + f + " " + num(t.x0);
    for (double c : t.c) s += " " + num(c);
    if (t.invert) s += " INVERT";
    w.line(s);
  };
  trend(m.gravityTrend, "G");
  trend(m.magneticTrend, "T");
  w.line("BODIES " + std::to_string(m.bodies.size()));
  for (const Body& b : m.bodies) {
    w.line("BODY " + b.name);
    w.line("DENSITY " + num(b.density) + " " + num(b.densityMin) + " " + num(b.densityMax) + " " +
           (b.invertDensity ? "1" : "0"));
    w.line("SUSCEPTIBILITY " + num(b.susceptibility) + " " + num(b.susceptibilityMin) + " " +
           num(b.susceptibilityMax) + " " + (b.invertSusceptibility ? "1" : "0"));
    w.line("REMANENCE " + num(b.remanence) + " " + num(b.remInclination) + " " +
           num(b.remDeclination) + " " + num(b.remanenceMin) + " " + num(b.remanenceMax) + " " +
           (b.invertRemanence ? "1" : "0"));
    w.line("STRIKE " + num(b.halfStrike));
    w.line("COLOUR " + std::to_string(b.colour.r) + " " + std::to_string(b.colour.g) + " " +
           std::to_string(b.colour.b));
    w.line("MOVE " + num(b.moveX) + " " + num(b.moveZ));
    w.line(std::string("CHOSEN ") + (b.chosen ? "1" : "0"));
    if (b.label) w.line("LABEL " + num(b.label->x) + " " + num(b.label->z));
    w.line("VERTICES " + std::to_string(b.vertices.size()));
    for (std::size_t k = 0; k < b.vertices.size(); ++k)
      w.line(num(b.vertices[k].x) + " " + num(b.vertices[k].z) + " " +
             std::to_string(static_cast<int>(b.freedom(k))));
  }
  w.line("END");
}

}  // namespace

// --- colour scale ------------------------------------------------------------------------------

Rgb ColourScale::at(double v) const {
  if (values.empty() || colours.size() != values.size()) return {200, 200, 200};
  if (v <= values.front()) return colours.front();
  if (v >= values.back()) return colours.back();
  const auto j =
      static_cast<std::size_t>(std::upper_bound(values.begin(), values.end(), v) - values.begin());
  const std::size_t i = j - 1;
  const double t = values[j] > values[i] ? (v - values[i]) / (values[j] - values[i]) : 0.0;
  auto mix = [t](std::uint8_t a, std::uint8_t b) {
    return static_cast<std::uint8_t>(std::lround(a + (b - a) * t));
  };
  return {mix(colours[i].r, colours[j].r), mix(colours[i].g, colours[j].g),
          mix(colours[i].b, colours[j].b)};
}

ColourScale ColourScale::defaultDensity() {
  ColourScale s;
  s.values = {2.0, 2.35, 2.7, 3.05, 3.4};
  s.colours = {{40, 80, 220}, {60, 190, 230}, {90, 200, 90}, {240, 220, 60}, {220, 50, 40}};
  return s;
}

// --- observed ------------------------------------------------------------------------------

Outcome readObserved(const std::string& path, Profile& out) {
  Lines ls;
  if (Outcome o = openLines(path, kObsMagic, kMsgNotObserved, ls); !o) return o;
  constexpr const char* what = "观测数据文件";
  Profile p;
  int colX = -1, colH = -1, colG = -1, colT = -1;
  std::size_t ncol = 0;
  bool sawData = false;
  std::vector<double> v;
  while (!ls.done()) {
    const std::size_t at = ls.next++;
    Item it = itemOf(ls.text[at]);
    auto bad = [&](std::size_t l) { return Outcome::failure(lineError(what, ls.number[l])); };
    if (it.key == "TITLE") {
      p.title = it.rest;
    } else if (it.key == "ORIGIN") {
      if (!numbers(it.words, 0, 3, v)) return bad(at);
      p.georeferenced = true;
      p.originX = v[0];
      p.originY = v[1];
      p.azimuth = v[2];
    } else if (it.key == "COMPONENT") {
      if (it.words.empty() || !componentOf(it.words[0], p.component)) return bad(at);
    } else if (it.key == "COLUMNS") {
      ncol = it.words.size();
      for (std::size_t k = 0; k < ncol; ++k) {
        const std::string c = upper(it.words[k]);
        int* slot = c == "X"   ? &colX
                    : c == "H" ? &colH
                    : c == "G" ? &colG
                    : c == "T" ? &colT
                               : nullptr;
        if (!slot || *slot >= 0) return bad(at);
        *slot = static_cast<int>(k);
      }
      if (colX < 0 || colH < 0) return bad(at);
    } else if (it.key == "DATA") {
      if (ncol == 0 || !numbers(it.words, 0, 1, v) || v[0] < 1 || v[0] != std::floor(v[0]) ||
          v[0] > static_cast<double>(ls.left()))
        return bad(at);
      const auto n = static_cast<std::size_t>(v[0]);
      struct Row {
        double x, h, g, t;
      };
      std::vector<Row> rows(n);
      for (std::size_t k = 0; k < n; ++k) {
        const std::size_t lt = ls.next++;
        const auto w = splitBlanks(ls.text[lt]);
        if (w.size() < ncol) return bad(lt);
        std::vector<double> r(ncol);
        for (std::size_t c = 0; c < ncol; ++c)
          if (!parseDouble(w[c], r[c]) || std::isnan(r[c])) return bad(lt);
        if (!std::isfinite(r[static_cast<std::size_t>(colX)]) ||
            !std::isfinite(r[static_cast<std::size_t>(colH)]) ||
            isMissing(r[static_cast<std::size_t>(colH)]))
          return bad(lt);
        rows[k] = {r[static_cast<std::size_t>(colX)], r[static_cast<std::size_t>(colH)],
                   colG >= 0 ? r[static_cast<std::size_t>(colG)] : 0.0,
                   colT >= 0 ? r[static_cast<std::size_t>(colT)] : 0.0};
      }
      std::stable_sort(rows.begin(), rows.end(),
                       [](const Row& a, const Row& b) { return a.x < b.x; });
      for (std::size_t k = 1; k < n; ++k)
        if (rows[k].x == rows[k - 1].x)
          return Outcome::failure(std::string(what) + "中有两个测点位置相同。");
      for (const Row& r : rows) {
        p.x.push_back(r.x);
        p.elevation.push_back(r.h);
        if (colG >= 0) p.gravity.push_back(isMissing(r.g) ? -1e38 : r.g);
        if (colT >= 0) p.magnetic.push_back(isMissing(r.t) ? -1e38 : r.t);
      }
      sawData = true;
    } else if (it.key == "END") {
      break;
    } else {
      return bad(at);
    }
  }
  if (!sawData) return Outcome::failure(std::string(what) + "中没有测点数据。");
  if (colG < 0 && colT < 0) return Outcome::failure(std::string(what) + "中没有重力或磁力数据。");
  out = std::move(p);
  return Outcome::success();
}

Outcome writeObserved(const std::string& path, const Profile& p) {
  Writer w;
  w.line(kObsMagic);
  w.line("TITLE " + p.title);
  if (p.georeferenced)
    w.line("ORIGIN " + num(p.originX) + " " + num(p.originY) + " " + num(p.azimuth));
  w.line(std::string("COMPONENT ") + componentName(p.component));
  std::string cols = "COLUMNS X H";
  if (p.has(FieldKind::Gravity)) cols += " G";
  if (p.has(FieldKind::Magnetic)) cols += " T";
  w.line(cols);
  w.line("DATA " + std::to_string(p.size()));
  for (std::size_t i = 0; i < p.size(); ++i) {
    std::string s = num(p.x[i]) + " " + num(p.elevation[i]);
    if (p.has(FieldKind::Gravity))
      s += " " + (isMissing(p.gravity[i]) ? "-1E+38" : num(p.gravity[i]));
    if (p.has(FieldKind::Magnetic))
      s += " " + (isMissing(p.magnetic[i]) ? "-1E+38" : num(p.magnetic[i]));
    w.line(s);
  }
  w.line("END");
  return w.save(path);
}

// --- model ---------------------------------------------------------------------------------

Outcome readModel(const std::string& path, Model& out) {
  Lines ls;
  if (Outcome o = openLines(path, kModelMagic, kMsgNotModel, ls); !o) return o;
  return parseModelLines(ls, out);
}

Outcome writeModel(const std::string& path, const Model& m) {
  Writer w;
  emitModel(w, m);
  return w.save(path);
}

std::string modelText(const Model& m) {
  Writer w;
  emitModel(w, m);
  return w.text();
}

Outcome parseModel(const std::string& text, Model& out) {
  const std::vector<std::string> all = filetext::splitLines(text);
  Lines ls;
  std::size_t i = 0;
  while (i < all.size() && trim(all[i]).empty()) ++i;
  if (i == all.size() || trim(all[i]).size() < 12 ||
      trim(all[i]).compare(6, 6, std::string(kModelMagic).substr(6, 6)) != 0)
    return Outcome::failure(kMsgNotModel);
  for (++i; i < all.size(); ++i) {
    std::string t = trim(all[i]);
    if (t.empty() || t[0] == ';') continue;
    ls.text.push_back(std::move(t));
    ls.number.push_back(static_cast<int>(i + 1));
  }
  return parseModelLines(ls, out);
}

// --- colour scale and print settings ---------------------------------------------------------

Outcome readColourScale(const std::string& path, ColourScale& out) {
  Lines ls;
  if (Outcome o = openLines(path, kClrMagic, kMsgNotColour, ls); !o) return o;
  constexpr const char* what = "色标数据文件";
  ColourScale s;
  std::vector<double> v;
  bool sawLevels = false;
  while (!ls.done()) {
    const std::size_t at = ls.next++;
    Item it = itemOf(ls.text[at]);
    auto bad = [&](std::size_t l) { return Outcome::failure(lineError(what, ls.number[l])); };
    if (it.key == "PROPERTY") {
      const std::string p = it.words.empty() ? "" : upper(it.words[0]);
      if (p != "DENSITY" && p != "SUSCEPTIBILITY") return bad(at);
      s.bySusceptibility = p == "SUSCEPTIBILITY";
    } else if (it.key == "LEVELS") {
      if (!numbers(it.words, 0, 1, v) || v[0] < 2 || v[0] != std::floor(v[0]) ||
          v[0] > static_cast<double>(ls.left()))
        return bad(at);
      const auto n = static_cast<std::size_t>(v[0]);
      for (std::size_t k = 0; k < n; ++k) {
        const std::size_t lt = ls.next++;
        if (!numbers(splitBlanks(ls.text[lt]), 0, 4, v)) return bad(lt);
        if (!s.values.empty() && v[0] <= s.values.back()) return bad(lt);
        for (std::size_t c = 1; c < 4; ++c)
          if (v[c] < 0 || v[c] > 255) return bad(lt);
        s.values.push_back(v[0]);
        s.colours.push_back({static_cast<std::uint8_t>(v[1]), static_cast<std::uint8_t>(v[2]),
                             static_cast<std::uint8_t>(v[3])});
      }
      sawLevels = true;
    } else if (it.key == "END") {
      break;
    } else {
      return bad(at);
    }
  }
  if (!sawLevels) return Outcome::failure(std::string(what) + "中没有色标。");
  out = std::move(s);
  return Outcome::success();
}

Outcome writeColourScale(const std::string& path, const ColourScale& s) {
  Writer w;
  w.line(kClrMagic);
  w.line(s.bySusceptibility ? "PROPERTY SUSCEPTIBILITY" : "PROPERTY DENSITY");
  w.line("LEVELS " + std::to_string(s.values.size()));
  for (std::size_t k = 0; k < s.values.size(); ++k)
    w.line(num(s.values[k]) + " " + std::to_string(s.colours[k].r) + " " +
           std::to_string(s.colours[k].g) + " " + std::to_string(s.colours[k].b));
  w.line("END");
  return w.save(path);
}

Outcome readPrintSettings(const std::string& path, PrintSettings& out) {
  Lines ls;
  if (Outcome o = openLines(path, kSetMagic, kMsgNotPrintSet, ls); !o) return o;
  constexpr const char* what = "打印参数数据文件";
  PrintSettings s;
  std::vector<double> v;
  while (!ls.done()) {
    const std::size_t at = ls.next++;
    Item it = itemOf(ls.text[at]);
    auto bad = [&] { return Outcome::failure(lineError(what, ls.number[at])); };
    if (it.key == "TITLE") {
      s.title = it.rest;
    } else if (it.key == "ORIENTATION") {
      const std::string o = it.words.empty() ? "" : upper(it.words[0]);
      if (o != "LANDSCAPE" && o != "PORTRAIT") return bad();
      s.landscape = o == "LANDSCAPE";
    } else if (it.key == "MARGINS") {
      if (!numbers(it.words, 0, 4, v)) return bad();
      for (int k = 0; k < 4; ++k) {
        if (v[static_cast<std::size_t>(k)] < 0 || v[static_cast<std::size_t>(k)] > 100)
          return bad();
        s.margins[k] = v[static_cast<std::size_t>(k)];
      }
    } else if (it.key == "PROFILE") {
      if (!numbers(it.words, 0, 1, v) || v[0] < 0.1 || v[0] > 0.9) return bad();
      s.profileFraction = v[0];
    } else if (it.key == "COLOUR" || it.key == "COLOR") {
      if (!numbers(it.words, 0, 1, v)) return bad();
      s.colour = v[0] != 0;
    } else if (it.key == "FONT") {
      if (!numbers(it.words, 0, 1, v) || v[0] < 4 || v[0] > 72) return bad();
      s.fontPoints = v[0];
    } else if (it.key == "END") {
      break;
    } else {
      return bad();
    }
  }
  out = s;
  return Outcome::success();
}

Outcome writePrintSettings(const std::string& path, const PrintSettings& s) {
  Writer w;
  w.line(kSetMagic);
  w.line("TITLE " + s.title);
  w.line(s.landscape ? "ORIENTATION LANDSCAPE" : "ORIENTATION PORTRAIT");
  w.line("MARGINS " + num(s.margins[0]) + " " + num(s.margins[1]) + " " + num(s.margins[2]) + " " +
         num(s.margins[3]));
  w.line("PROFILE " + num(s.profileFraction));
  w.line(std::string("COLOUR ") + (s.colour ? "1" : "0"));
  w.line("FONT " + num(s.fontPoints));
  w.line("END");
  return w.save(path);
}

// --- terrain ---------------------------------------------------------------------------------

Outcome applyTerrain(Profile& p, const Grid& g) {
  if (!p.georeferenced)
    return Outcome::failure("观测数据没有剖面起点坐标和方位，不能从地形网格取高程。");
  const GridHeader& h = g.header;
  if (h.nx < 2 || h.ny < 2 || !(h.dx > 0) || !(h.dy > 0) ||
      g.nodes.size() < static_cast<std::size_t>(h.nx) * static_cast<std::size_t>(h.ny))
    return Outcome::failure(kMsgNotBinaryGrid);
  const double az = p.azimuth * M_PI / 180.0;
  const double rot = h.angle * M_PI / 180.0;
  std::vector<double> elev(p.size());
  for (std::size_t i = 0; i < p.size(); ++i) {
    const double e = p.originX + p.x[i] * std::sin(az);
    const double n = p.originY + p.x[i] * std::cos(az);
    // Into the grid's own frame: turned back by its rotation about the first node.
    const double de = e - h.x0, dn = n - h.y0;
    const double gx = (de * std::cos(rot) + dn * std::sin(rot)) / h.dx;
    const double gy = (-de * std::sin(rot) + dn * std::cos(rot)) / h.dy;
    const double eps = 1e-9;
    if (gx < -eps || gy < -eps || gx > h.nx - 1 + eps || gy > h.ny - 1 + eps)
      return Outcome::failure("测点 " + num(p.x[i]) + " 在地形网格范围之外。");
    const int c = std::clamp(static_cast<int>(std::floor(gx)), 0, h.nx - 2);
    const int r = std::clamp(static_cast<int>(std::floor(gy)), 0, h.ny - 2);
    const double tx = gx - c, ty = gy - r;
    const double v00 = g.at(r, c), v01 = g.at(r, c + 1), v10 = g.at(r + 1, c),
                 v11 = g.at(r + 1, c + 1);
    for (double q : {v00, v01, v10, v11})
      if (isMissing(q)) return Outcome::failure("测点 " + num(p.x[i]) + " 处的地形网格没有数据。");
    elev[i] = (v00 * (1 - tx) + v01 * tx) * (1 - ty) + (v10 * (1 - tx) + v11 * tx) * ty;
  }
  p.elevation = std::move(elev);
  return Outcome::success();
}

// --- exports ---------------------------------------------------------------------------------

namespace {

Outcome saveScatter(const std::string& path, ScatterFile& f) {
  f.magic = kScatMagicA;
  f.origin = kScatTagConverted;
  f.recordCount = f.names.empty() ? 0 : static_cast<std::int32_t>(f.values.size() / f.names.size());
  if (writeAsciiScatter(path, f) != ScatterError::None)
    return Outcome::failure(kMsgCannotWrite + path);
  return Outcome::success();
}

float single(double v) { return isMissing(v) ? NULL_VALUE : static_cast<float>(v); }

}  // namespace

Outcome writeObservedDat(const std::string& path, const Profile& p) {
  ScatterFile f;
  f.names = {"X", "H"};
  if (p.has(FieldKind::Gravity)) f.names.push_back("G");
  if (p.has(FieldKind::Magnetic)) f.names.push_back("T");
  if (p.georeferenced) {
    f.names.push_back("E");
    f.names.push_back("N");
  }
  const double az = p.azimuth * M_PI / 180.0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    f.values.push_back(single(p.x[i]));
    f.values.push_back(single(p.elevation[i]));
    if (p.has(FieldKind::Gravity)) f.values.push_back(single(p.gravity[i]));
    if (p.has(FieldKind::Magnetic)) f.values.push_back(single(p.magnetic[i]));
    if (p.georeferenced) {
      f.values.push_back(single(p.originX + p.x[i] * std::sin(az)));
      f.values.push_back(single(p.originY + p.x[i] * std::cos(az)));
    }
  }
  return saveScatter(path, f);
}

Outcome writeCalculatedDat(const std::string& path, const Model& m, const Profile& p,
                           const std::vector<FieldKind>& fields) {
  ScatterFile f;
  f.names = {"X", "H"};
  std::vector<ForwardResult> res;
  for (FieldKind k : fields) {
    const std::string t = k == FieldKind::Gravity ? "G" : "T";
    for (const char* s : {"_OBS", "_CAL", "_RES", "_TRD"}) f.names.push_back(t + s);
    ForwardOptions o;
    o.perBody = true;
    res.push_back(computeField(m, p.x, p.elevation, k, o));
  }
  for (std::size_t k = 0; k < fields.size(); ++k)
    for (std::size_t b = 0; b < m.bodies.size(); ++b)
      f.names.push_back((fields[k] == FieldKind::Gravity ? "G_" : "T_") + m.bodies[b].name);
  for (std::size_t i = 0; i < p.size(); ++i) {
    f.values.push_back(single(p.x[i]));
    f.values.push_back(single(p.elevation[i]));
    for (std::size_t k = 0; k < fields.size(); ++k) {
      const double obs = p.has(fields[k]) ? p.observed(fields[k])[i] : -1e38;
      f.values.push_back(single(obs));
      f.values.push_back(single(res[k].total[i]));
      f.values.push_back(isMissing(obs) ? NULL_VALUE : single(obs - res[k].total[i]));
      f.values.push_back(single(res[k].trend[i]));
    }
    for (std::size_t k = 0; k < fields.size(); ++k)
      for (std::size_t b = 0; b < m.bodies.size(); ++b)
        f.values.push_back(single(res[k].perBody[b][i]));
  }
  return saveScatter(path, f);
}

}  // namespace sarnoth::gm2d
