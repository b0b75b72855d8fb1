#include "electric/mt2d_files.h"

#include <cmath>
#include <cstdio>

#include "workarea/file_text.h"
#include "workarea/null_value.h"
#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth::electric {
namespace {

constexpr const char* kEol = "\r\n";

// Items of a text as stream input reads them: separated by commas and/or blanks, over any
// number of lines; a double-quoted item keeps its blanks and commas. Whole lines can be taken as
// well (the mode line, the block names of a result file).
class Items {
 public:
  Items(std::vector<std::string> lines, std::string label)
      : lines_(std::move(lines)), label_(std::move(label)) {}

  // Skips the tag line.
  void startAt(std::size_t line) { line_ = line, pos_ = 0; }

  bool item(std::string& out) {
    for (;;) {
      if (line_ >= lines_.size()) return false;
      const std::string& s = lines_[line_];
      while (pos_ < s.size() && isSeparator(s[pos_])) ++pos_;
      if (pos_ >= s.size()) {
        ++line_, pos_ = 0;
        continue;
      }
      if (s[pos_] == '"') {
        const std::size_t end = s.find('"', pos_ + 1);
        const std::size_t stop = end == std::string::npos ? s.size() : end;
        out = s.substr(pos_ + 1, stop - pos_ - 1);
        pos_ = end == std::string::npos ? s.size() : end + 1;
        return true;
      }
      std::size_t e = pos_;
      while (e < s.size() && !isSeparator(s[e])) ++e;
      out = s.substr(pos_, e - pos_);
      pos_ = e;
      return true;
    }
  }

  // The rest of the current line, or the next line that is not blank; trimmed.
  bool line(std::string& out) {
    while (line_ < lines_.size()) {
      const std::string rest =
          filetext::trim(lines_[line_].substr(std::min(pos_, lines_[line_].size())));
      ++line_, pos_ = 0;
      if (!rest.empty()) {
        out = rest;
        return true;
      }
    }
    return false;
  }

  bool number(double& v, const char* what) {
    std::string s;
    if (!item(s)) return fail(std::string(what) + "缺失");
    if (!filetext::parseDouble(s, v) || !std::isfinite(v))
      return fail(std::string(what) + "不是数值: " + s);
    return true;
  }

  bool count(int& v, const char* what, int lo, int hi) {
    double d = 0;
    if (!number(d, what)) return false;
    if (d != std::floor(d) || d < lo || d > hi)
      return fail(std::string(what) + "应为 " + std::to_string(lo) + " 到 " + std::to_string(hi) +
                  " 的整数");
    v = static_cast<int>(d);
    return true;
  }

  bool positives(std::vector<double>& out, int n, const char* what) {
    out.resize(static_cast<std::size_t>(n));
    for (double& v : out) {
      if (!number(v, what)) return false;
      if (!(v > 0)) return fail(std::string(what) + "必须大于 0");
    }
    return true;
  }

  bool fail(const std::string& what) {
    message = label_ + "第 " + std::to_string(std::min(line_ + 1, lines_.size())) + " 行: " + what;
    return false;
  }

  std::string message;

 private:
  static bool isSeparator(char c) { return c == ',' || c == ' ' || c == '\t' || c == '\r'; }
  std::vector<std::string> lines_;
  std::string label_;
  std::size_t line_ = 0, pos_ = 0;
};

// The file's lines, or the message that it cannot be read or carries another tag.
template <class T>
bool openTagged(const std::string& path, const char* tag, const char* label,
                std::vector<std::string>& lines, MtRead<T>& out) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    out.message = std::string(label) + "无法打开: " + path;
    return false;
  }
  lines = filetext::splitLines(decodeFileText(bytes));
  if (lines.empty() || filetext::trim(lines[0]) != tag) {
    out.message = std::string("您读入的") + label + "不正确，请重新确认！";
    return false;
  }
  return true;
}

std::string num(double v, int digits = 7) {
  if (!std::isfinite(v)) v = NULL_VALUE;
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.*g", digits, v);
  return buf;
}

// Values, `perLine` a line.
void appendValues(std::string& out, const std::vector<double>& v, int perLine = 10,
                  int digits = 7) {
  for (std::size_t i = 0; i < v.size(); ++i) {
    out += num(v[i], digits);
    out += (i + 1) % static_cast<std::size_t>(perLine) == 0 || i + 1 == v.size() ? kEol : ",";
  }
}

bool writeText(const std::string& path, const std::string& utf8) {
  return filetext::writeWholeFile(resolvePath(path), utf8ToGbk(utf8));
}

bool readCurvesLine(Items& in, MtCurves& c, std::size_t i, bool errors) {
  if (!in.number(c.rho[i], "视电阻率") || !in.number(c.phase[i], "相位")) return false;
  if (errors) {
    if (!in.number(c.rhoErr[i], "视电阻率误差") || !in.number(c.phaseErr[i], "相位误差"))
      return false;
    if (c.rhoErr[i] < 0 || c.phaseErr[i] < 0) return in.fail("误差不能小于 0");
  }
  return true;
}

void sizeCurves(MtCurves& c, std::size_t n, bool errors) {
  c.rho.assign(n, 0.0);
  c.phase.assign(n, 0.0);
  if (errors) {
    c.rhoErr.assign(n, 0.0);
    c.phaseErr.assign(n, 0.0);
  }
}

bool readHeadCounts(Items& in, int& sites, int& freqs) {
  return in.count(sites, "测点数目", 1, kMaxMtSites) &&
         in.count(freqs, "频点数目", 1, kMaxMtFrequencies);
}

bool readFrequencies(Items& in, std::vector<double>& f, int n) {
  f.resize(static_cast<std::size_t>(n));
  for (double& v : f) {
    if (!in.number(v, "频率")) return false;
    if (!(v > 0)) return in.fail("频率必须大于 0");
  }
  return true;
}

void appendCurvePair(std::string& line, const MtCurves& c, std::size_t i) {
  line += ",";
  line += num(c.rho.empty() ? NULL_VALUE : c.rho[i]);
  line += ",";
  line += num(c.phase.empty() ? NULL_VALUE : c.phase[i], 6);
}

}  // namespace

std::string modeLine(MtMode mode) {
  switch (mode) {
    case MtMode::TE:
      return "TE";
    case MtMode::TM:
      return "TM";
    case MtMode::Joint:
      return "TETM";
  }
  return "TE";
}

std::optional<MtMode> modeFromLine(const std::string& line) {
  std::string s = filetext::trim(line);
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (s == "TE") return MtMode::TE;
  if (s == "TM") return MtMode::TM;
  if (s == "TETM") return MtMode::Joint;
  return std::nullopt;
}

bool hasTE(MtMode m) { return m == MtMode::TE || m == MtMode::Joint; }
bool hasTM(MtMode m) { return m == MtMode::TM || m == MtMode::Joint; }

bool isMeasured(double rho) { return std::isfinite(rho) && rho > 0; }

std::vector<int> Mt2dModel::cellBlocks() const {
  std::vector<int> blocks;
  int row = 0;
  for (int br = 0; br < blockRows(); ++br)
    for (int k = 0; k < rowSpans[static_cast<std::size_t>(br)]; ++k, ++row) {
      for (int bc = 0; bc < blockColumns(); ++bc)
        for (int c = 0; c < columnSpans[static_cast<std::size_t>(bc)]; ++c)
          blocks.push_back(br * blockColumns() + bc);
    }
  return blocks;
}

std::vector<double> Mt2dModel::cellResistivity() const {
  std::vector<double> rho;
  for (int b : cellBlocks()) rho.push_back(resistivity[static_cast<std::size_t>(b)]);
  return rho;
}

std::string mtFirstLine(const std::string& path) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) return {};
  const std::size_t end = bytes.find('\n');
  return filetext::trim(decodeFileText(bytes.substr(0, end)));
}

// --- the four inputs --------------------------------------------------------------------------

MtRead<Mt2dBasic> readMt2dBasic(const std::string& path) {
  MtRead<Mt2dBasic> out;
  std::vector<std::string> lines;
  if (!openTagged(path, kMt1Tag, "基本信息数据文件", lines, out)) return out;
  Items in(std::move(lines), "基本信息数据文件");
  in.startAt(1);
  Mt2dBasic b;
  int mode = 0;
  if (!in.count(mode, "反演模式", 1, 3) || !in.count(b.sites, "测点数目", 1, kMaxMtSites) ||
      !in.count(b.frequencies, "频点数目", 1, kMaxMtFrequencies) ||
      !in.count(b.airNodes, "空中垂直网格节点数目", 0, kMaxMtRows) ||
      !in.count(b.horizontalNodes, "水平网格节点数目", 2, kMaxMtColumns + 1) ||
      !in.count(b.earthNodes, "地下垂直网格节点数目", 2, kMaxMtRows + 1)) {
    out.message = in.message;
    return out;
  }
  b.mode = static_cast<MtMode>(mode);
  // The inversion's controls are optional; what is there must be right.
  std::string probe;
  Items rest = in;
  if (rest.item(probe)) {
    double target = 0, rf = 0, pf = 0;
    if (!in.count(b.maxIterations, "最大迭代次数", 1, 100) || !in.number(target, "拟合目标") ||
        !in.number(rf, "视电阻率误差下限") || !in.number(pf, "相位误差下限")) {
      out.message = in.message;
      return out;
    }
    if (!(target > 0) || rf < 0 || pf < 0) {
      in.fail("拟合目标必须大于 0，误差下限不能小于 0");
      out.message = in.message;
      return out;
    }
    b.targetRms = target, b.rhoFloor = rf, b.phaseFloor = pf;
  }
  out.value = b;
  return out;
}

MtRead<Mt2dMesh> readMt2dGrids(const std::string& path) {
  MtRead<Mt2dMesh> out;
  std::vector<std::string> lines;
  if (!openTagged(path, kMt2Tag, "网格剖分数据文件", lines, out)) return out;
  Items in(std::move(lines), "网格剖分数据文件");
  in.startAt(1);
  int h = 0, u = 0, d = 0;
  Mt2dMesh m;
  if (!in.count(h, "水平网格节点数目", 2, kMaxMtColumns + 1) ||
      !in.count(u, "空中垂直网格节点数目", 0, kMaxMtRows) ||
      !in.count(d, "地下垂直网格节点数目", 2, kMaxMtRows + 1) || !in.number(m.y0, "网格起点") ||
      !in.positives(m.widths, h - 1, "水平网格间距") || !in.positives(m.air, u, "空中网格间距") ||
      !in.positives(m.earth, d - 1, "地下网格间距")) {
    out.message = in.message;
    return out;
  }
  out.value = std::move(m);
  return out;
}

MtRead<Mt2dModel> readMt2dModel(const std::string& path) {
  MtRead<Mt2dModel> out;
  std::vector<std::string> lines;
  if (!openTagged(path, kMt3Tag, "初始模型数据文件", lines, out)) return out;
  Items in(std::move(lines), "初始模型数据文件");
  in.startAt(1);
  int bc = 0, br = 0;
  Mt2dModel m;
  if (!in.count(bc, "模型块列数", 1, kMaxMtColumns) || !in.count(br, "模型块行数", 1, kMaxMtRows)) {
    out.message = in.message;
    return out;
  }
  m.columnSpans.resize(static_cast<std::size_t>(bc));
  m.rowSpans.resize(static_cast<std::size_t>(br));
  for (int& s : m.columnSpans)
    if (!in.count(s, "模型块宽度(网格列数)", 1, kMaxMtColumns)) {
      out.message = in.message;
      return out;
    }
  for (int& s : m.rowSpans)
    if (!in.count(s, "模型块高度(网格行数)", 1, kMaxMtRows)) {
      out.message = in.message;
      return out;
    }
  m.resistivity.resize(static_cast<std::size_t>(bc) * br);
  m.fixed.assign(m.resistivity.size(), 0);
  for (std::size_t i = 0; i < m.resistivity.size(); ++i) {
    double v = 0;
    if (!in.number(v, "模型电阻率")) {
      out.message = in.message;
      return out;
    }
    if (v == 0) {
      in.fail("模型电阻率不能为 0");
      out.message = in.message;
      return out;
    }
    m.fixed[i] = v < 0;
    m.resistivity[i] = std::abs(v);
  }
  out.value = std::move(m);
  return out;
}

MtRead<Mt2dData> readMt2dPoints(const std::string& path) {
  MtRead<Mt2dData> out;
  std::vector<std::string> lines;
  if (!openTagged(path, kMt4Tag, "测点路径数据文件", lines, out)) return out;
  Items in(std::move(lines), "测点路径数据文件");
  in.startAt(1);
  Mt2dData d;
  std::string modeText;
  if (!in.line(modeText) || !modeFromLine(modeText)) {
    in.fail("模式行应为 TE、TM 或 TETM");
    out.message = in.message;
    return out;
  }
  d.mode = *modeFromLine(modeText);
  int ns = 0, nf = 0;
  if (!readHeadCounts(in, ns, nf) || !readFrequencies(in, d.frequencies, nf)) {
    out.message = in.message;
    return out;
  }
  const std::size_t n = static_cast<std::size_t>(ns) * nf;
  if (hasTE(d.mode)) sizeCurves(d.te, n, true);
  if (hasTM(d.mode)) sizeCurves(d.tm, n, true);
  d.sites.resize(static_cast<std::size_t>(ns));
  for (int s = 0; s < ns; ++s) {
    MtSite& site = d.sites[static_cast<std::size_t>(s)];
    if (!in.item(site.name)) {
      in.fail("测点名缺失");
      out.message = in.message;
      return out;
    }
    if (!in.number(site.position, "测点位置")) {
      out.message = in.message;
      return out;
    }
    for (int f = 0; f < nf; ++f) {
      const std::size_t i = static_cast<std::size_t>(s) * nf + f;
      if ((hasTE(d.mode) && !readCurvesLine(in, d.te, i, true)) ||
          (hasTM(d.mode) && !readCurvesLine(in, d.tm, i, true))) {
        out.message = in.message;
        return out;
      }
    }
  }
  out.value = std::move(d);
  return out;
}

bool writeMt2dBasic(const std::string& path, const Mt2dBasic& b) {
  std::string s = std::string(kMt1Tag) + kEol;
  s += std::to_string(static_cast<int>(b.mode)) + "," + std::to_string(b.sites) + "," +
       std::to_string(b.frequencies) + "," + std::to_string(b.airNodes) + "," +
       std::to_string(b.horizontalNodes) + "," + std::to_string(b.earthNodes) + kEol;
  s += std::to_string(b.maxIterations) + "," + num(b.targetRms) + "," + num(b.rhoFloor) + "," +
       num(b.phaseFloor) + kEol;
  return writeText(path, s);
}

bool writeMt2dGrids(const std::string& path, const Mt2dMesh& m) {
  std::string s = std::string(kMt2Tag) + kEol;
  s += std::to_string(m.columns() + 1) + "," + std::to_string(m.airRows()) + "," +
       std::to_string(m.earthRows() + 1) + kEol;
  s += num(m.y0, 10) + kEol;
  appendValues(s, m.widths);
  appendValues(s, m.air);
  appendValues(s, m.earth);
  return writeText(path, s);
}

bool writeMt2dModel(const std::string& path, const Mt2dModel& m) {
  std::string s = std::string(kMt3Tag) + kEol;
  s += std::to_string(m.blockColumns()) + "," + std::to_string(m.blockRows()) + kEol;
  std::vector<double> spans(m.columnSpans.begin(), m.columnSpans.end());
  appendValues(s, spans, 20);
  spans.assign(m.rowSpans.begin(), m.rowSpans.end());
  appendValues(s, spans, 20);
  for (int r = 0; r < m.blockRows(); ++r) {
    std::vector<double> row;
    for (int c = 0; c < m.blockColumns(); ++c) {
      const std::size_t i = static_cast<std::size_t>(r) * m.blockColumns() + c;
      row.push_back(m.fixed.size() > i && m.fixed[i] ? -m.resistivity[i] : m.resistivity[i]);
    }
    appendValues(s, row, m.blockColumns());
  }
  return writeText(path, s);
}

bool writeMt2dPoints(const std::string& path, const Mt2dData& d) {
  std::string s = std::string(kMt4Tag) + kEol + modeLine(d.mode) + kEol;
  s += std::to_string(d.siteCount()) + "," + std::to_string(d.frequencyCount()) + kEol;
  appendValues(s, d.frequencies);
  const std::size_t nf = d.frequencies.size();
  auto quad = [](const MtCurves& c, std::size_t i) {
    auto at = [](const std::vector<double>& v, std::size_t k) { return v.empty() ? 0.0 : v[k]; };
    return num(isMeasured(c.rho[i]) ? c.rho[i] : NULL_VALUE) + "," +
           num(isMeasured(c.rho[i]) ? c.phase[i] : NULL_VALUE, 6) + "," + num(at(c.rhoErr, i), 4) +
           "," + num(at(c.phaseErr, i), 4);
  };
  for (std::size_t si = 0; si < d.sites.size(); ++si) {
    s += "\"" + d.sites[si].name + "\"," + num(d.sites[si].position, 10) + kEol;
    for (std::size_t f = 0; f < nf; ++f) {
      const std::size_t i = si * nf + f;
      std::string line;
      if (hasTE(d.mode)) line += quad(d.te, i);
      if (hasTM(d.mode)) line += (line.empty() ? "" : ",") + quad(d.tm, i);
      s += line + kEol;
    }
  }
  return writeText(path, s);
}

// --- outputs ----------------------------------------------------------------------------------

bool writeMt2dField(const std::string& path, const Mt2dFieldFile& f) {
  const Mt2dData& d = f.data;
  std::string s = std::string(kFieldTag) + kEol + modeLine(d.mode) + kEol;
  s += std::to_string(d.siteCount()) + "," + std::to_string(d.frequencyCount()) + kEol;
  appendValues(s, d.frequencies);
  std::vector<double> pos;
  for (const MtSite& site : d.sites) pos.push_back(site.position);
  appendValues(s, pos, 10, 10);
  const std::size_t nf = d.frequencies.size();
  for (std::size_t si = 0; si < d.sites.size(); ++si)
    for (std::size_t fi = 0; fi < nf; ++fi) {
      const std::size_t i = si * nf + fi;
      std::string line = num(pos[si], 10) + "," + num(d.frequencies[fi]);
      auto observed = [&](const MtCurves& c) {
        line += ",";
        line += num(isMeasured(c.rho[i]) ? c.rho[i] : NULL_VALUE);
        line += ",";
        line += num(isMeasured(c.rho[i]) ? c.phase[i] : NULL_VALUE, 6);
      };
      if (hasTE(d.mode)) observed(d.te);
      if (hasTM(d.mode)) observed(d.tm);
      if (hasTE(d.mode)) appendCurvePair(line, f.initial.te, i);
      if (hasTM(d.mode)) appendCurvePair(line, f.initial.tm, i);
      s += line + kEol;
    }
  return writeText(path, s);
}

MtRead<Mt2dFieldFile> readMt2dField(const std::string& path) {
  MtRead<Mt2dFieldFile> out;
  std::vector<std::string> lines;
  if (!openTagged(path, kFieldTag, "大地电磁二维反演初始数据文件", lines, out)) return out;
  Items in(std::move(lines), "大地电磁二维反演初始数据文件");
  in.startAt(1);
  Mt2dFieldFile f;
  Mt2dData& d = f.data;
  std::string modeText;
  int ns = 0, nf = 0;
  if (!in.line(modeText) || !modeFromLine(modeText)) {
    in.fail("模式行应为 TE、TM 或 TETM");
    out.message = in.message;
    return out;
  }
  d.mode = *modeFromLine(modeText);
  if (!readHeadCounts(in, ns, nf) || !readFrequencies(in, d.frequencies, nf)) {
    out.message = in.message;
    return out;
  }
  d.sites.resize(static_cast<std::size_t>(ns));
  for (MtSite& s : d.sites)
    if (!in.number(s.position, "测点位置")) {
      out.message = in.message;
      return out;
    }
  const std::size_t n = static_cast<std::size_t>(ns) * nf;
  for (MtCurves* c : {&d.te, &f.initial.te})
    if (hasTE(d.mode)) sizeCurves(*c, n, false);
  for (MtCurves* c : {&d.tm, &f.initial.tm})
    if (hasTM(d.mode)) sizeCurves(*c, n, false);
  for (std::size_t i = 0; i < n; ++i) {
    double pos = 0, freq = 0;
    if (!in.number(pos, "测点位置") || !in.number(freq, "频率") ||
        (hasTE(d.mode) && !readCurvesLine(in, d.te, i, false)) ||
        (hasTM(d.mode) && !readCurvesLine(in, d.tm, i, false)) ||
        (hasTE(d.mode) && !readCurvesLine(in, f.initial.te, i, false)) ||
        (hasTM(d.mode) && !readCurvesLine(in, f.initial.tm, i, false))) {
      out.message = in.message;
      return out;
    }
  }
  out.value = std::move(f);
  return out;
}

bool writeMt2dResult(const std::string& path, const Mt2dResult& r) {
  char head[160];
  std::snprintf(head, sizeof head, "2DMT Inverse Result File  Iteration %d  RMS %.4f", r.iteration,
                r.rms);
  std::string s = std::string(head) + kEol + kResultModelLine + kEol;
  s += std::to_string(r.columns()) + "," + std::to_string(r.rows()) + kEol;
  appendValues(s, r.nodePositions, 10, 10);
  appendValues(s, r.nodeDepths, 10, 10);
  for (int row = 0; row < r.rows(); ++row) {
    std::vector<double> v(r.log10Rho.begin() + static_cast<std::ptrdiff_t>(row) * r.columns(),
                          r.log10Rho.begin() + static_cast<std::ptrdiff_t>(row + 1) * r.columns());
    appendValues(s, v, r.columns(), 6);
  }
  s += std::string(kResultResponseLine) + kEol + modeLine(r.mode) + kEol;
  const int ns = static_cast<int>(r.sitePositions.size());
  const int nf = static_cast<int>(r.frequencies.size());
  s += std::to_string(ns) + "," + std::to_string(nf) + kEol;
  appendValues(s, r.frequencies);
  appendValues(s, r.sitePositions, 10, 10);
  auto block = [&](const char* name, const std::vector<double>& v, int digits) {
    s += std::string(name) + kEol;
    for (int f = 0; f < nf; ++f) {
      std::vector<double> row;
      for (int si = 0; si < ns; ++si) row.push_back(v[static_cast<std::size_t>(si) * nf + f]);
      appendValues(s, row, ns, digits);
    }
  };
  if (hasTE(r.mode)) {
    block("TE res", r.response.te.rho, 7);
    block("TE phase", r.response.te.phase, 6);
  }
  if (hasTM(r.mode)) {
    block("TM res", r.response.tm.rho, 7);
    block("TM phase", r.response.tm.phase, 6);
  }
  return writeText(path, s);
}

MtRead<Mt2dResult> readMt2dResult(const std::string& path, bool withResponse) {
  MtRead<Mt2dResult> out;
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) {
    out.message = "反演结果数据文件无法打开: " + path;
    return out;
  }
  std::vector<std::string> lines = filetext::splitLines(decodeFileText(bytes));
  if (lines.size() < 2 || filetext::trim(lines[1]) != kResultModelLine) {
    out.message = "您选择的不是大地电磁二维反演结果数据文件，请重新确认！";
    return out;
  }
  Mt2dResult r;
  {
    // The iteration and misfit from the first line, where they stand.
    const std::vector<std::string> w = filetext::splitBlanks(lines[0]);
    for (std::size_t i = 0; i + 1 < w.size(); ++i) {
      double v = 0;
      if (w[i] == "Iteration" && filetext::parseDouble(w[i + 1], v))
        r.iteration = static_cast<int>(v);
      if (w[i] == "RMS" && filetext::parseDouble(w[i + 1], v)) r.rms = v;
    }
  }
  Items in(std::move(lines), "反演结果数据文件");
  in.startAt(2);
  int cols = 0, rows = 0;
  auto failed = [&] {
    out.message = in.message;
    return out;
  };
  if (!in.count(cols, "网格列数", 1, kMaxMtColumns) || !in.count(rows, "网格行数", 1, kMaxMtRows))
    return failed();
  r.nodePositions.resize(static_cast<std::size_t>(cols) + 1);
  r.nodeDepths.resize(static_cast<std::size_t>(rows) + 1);
  for (double& v : r.nodePositions)
    if (!in.number(v, "节点位置")) return failed();
  for (double& v : r.nodeDepths)
    if (!in.number(v, "节点深度")) return failed();
  r.log10Rho.resize(static_cast<std::size_t>(cols) * rows);
  for (double& v : r.log10Rho)
    if (!in.number(v, "电阻率对数")) return failed();
  if (!withResponse) {
    out.value = std::move(r);
    return out;
  }
  std::string line, modeText;
  if (!in.line(line) || line != kResultResponseLine) {
    in.fail(std::string("缺少 \"") + kResultResponseLine + "\"");
    return failed();
  }
  if (!in.line(modeText) || !modeFromLine(modeText)) {
    in.fail("模式行应为 TE、TM 或 TETM");
    return failed();
  }
  r.mode = *modeFromLine(modeText);
  int ns = 0, nf = 0;
  if (!readHeadCounts(in, ns, nf) || !readFrequencies(in, r.frequencies, nf)) return failed();
  r.sitePositions.resize(static_cast<std::size_t>(ns));
  for (double& v : r.sitePositions)
    if (!in.number(v, "测点位置")) return failed();
  auto block = [&](const char* name, std::vector<double>& v) {
    std::string head;
    if (!in.line(head) || head != name) return in.fail(std::string("缺少 \"") + name + "\"");
    v.assign(static_cast<std::size_t>(ns) * nf, 0.0);
    for (int f = 0; f < nf; ++f)
      for (int s = 0; s < ns; ++s)
        if (!in.number(v[static_cast<std::size_t>(s) * nf + f], name)) return false;
    return true;
  };
  if (hasTE(r.mode) &&
      (!block("TE res", r.response.te.rho) || !block("TE phase", r.response.te.phase)))
    return failed();
  if (hasTM(r.mode) &&
      (!block("TM res", r.response.tm.rho) || !block("TM phase", r.response.tm.phase)))
    return failed();
  out.value = std::move(r);
  return out;
}

std::string mt2dResultName(int iteration) {
  return std::string("Mt2DInvOut") + (iteration < 10 ? ".0" : ".") + std::to_string(iteration);
}

std::string iterationLogLine(int iteration, double rms, double roughness, double lagrange) {
  char buf[160];
  std::snprintf(buf, sizeof buf,
                "Iteration %3d   RMS= %9.4f   Roughness= %11.4E   Lagrange= %11.4E", iteration, rms,
                roughness, lagrange);
  return buf;
}

int countIterationLines(const std::string& path) {
  std::string bytes;
  if (!filetext::readWholeFile(path, bytes)) return 0;
  int n = 0;
  for (const std::string& l : filetext::splitLines(bytes))
    if (!filetext::trim(l).empty()) ++n;
  return n;
}

}  // namespace sarnoth::electric
