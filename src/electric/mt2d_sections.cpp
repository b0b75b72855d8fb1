#include "electric/mt2d_sections.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "display/section_image.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"

namespace sarnoth::electric {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

double scaleOf(LengthUnit u) { return u == LengthUnit::Kilometre ? 1e-3 : 1.0; }
const char* unitName(LengthUnit u) { return u == LengthUnit::Kilometre ? "km" : "m"; }

// The lowest and highest finite values, rounded outwards to `step`.
bool roundedRange(const std::vector<double>& v, double step, double& lo, double& hi) {
  lo = std::numeric_limits<double>::infinity();
  hi = -lo;
  for (double x : v)
    if (std::isfinite(x)) lo = std::min(lo, x), hi = std::max(hi, x);
  if (!(lo <= hi)) return false;
  lo = std::floor(lo / step) * step;
  hi = std::ceil(hi / step) * step;
  if (hi <= lo) hi = lo + step;
  return true;
}

void widen(double& lo, double& hi) {
  if (hi > lo) return;
  const double pad = std::max(1e-9, std::abs(lo) * 0.05);
  lo -= pad;
  hi += pad;
}

bool writeLines(const std::string& path, const std::vector<XyzLine>& lines) {
  std::string s;
  s.reserve(lines.size() * 32);
  for (const XyzLine& l : lines) s += formatXyzLine(l) + "\r\n";
  return filetext::writeWholeFile(resolvePath(path), s);
}

}  // namespace

std::string formatSectionValue(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  std::string s = buf;
  if (s == "-0.000") s = "0.000";
  return s;
}

std::string formatXyzLine(const XyzLine& l) {
  return formatSectionValue(l.x) + "   " + formatSectionValue(l.y) + "   " +
         formatSectionValue(l.v);
}

std::vector<XyzLine> pseudoSectionLines(const std::vector<double>& sitePositions,
                                        const std::vector<double>& frequencies,
                                        const MtCurves& curves, bool phase, LengthUnit unit) {
  std::vector<XyzLine> out;
  const std::size_t nf = frequencies.size();
  for (std::size_t s = 0; s < sitePositions.size(); ++s)
    for (std::size_t f = 0; f < nf; ++f) {
      const std::size_t i = s * nf + f;
      if (i >= curves.rho.size() || !isMeasured(curves.rho[i])) continue;
      const double v = phase ? curves.phase[i] : std::log10(curves.rho[i]);
      if (!std::isfinite(v)) continue;
      out.push_back({sitePositions[s] * scaleOf(unit), std::log10(frequencies[f]), v});
    }
  return out;
}

std::vector<XyzLine> modelProfileLines(const Mt2dResult& r, LengthUnit unit) {
  std::vector<XyzLine> out;
  const double k = scaleOf(unit);
  for (int row = 0; row < r.rows(); ++row)
    for (int c = 0; c < r.columns(); ++c) {
      const double x = (r.nodePositions[static_cast<std::size_t>(c)] +
                        r.nodePositions[static_cast<std::size_t>(c) + 1]) /
                       2;
      const double z = (r.nodeDepths[static_cast<std::size_t>(row)] +
                        r.nodeDepths[static_cast<std::size_t>(row) + 1]) /
                       2;
      const double v = r.log10Rho[static_cast<std::size_t>(row) * r.columns() + c];
      out.push_back({x * k, -z * k, std::pow(10.0, v)});
    }
  return out;
}

std::string pictureBeside(const std::string& xyzPath) {
  const std::size_t slash = xyzPath.find_last_of("/\\");
  const std::size_t dot = xyzPath.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
    return xyzPath + ".png";
  return xyzPath.substr(0, dot) + ".png";
}

std::string sectionTitle(Polarisation mode, bool phase, bool inverted) {
  return std::string(inverted ? "反演后 " : "") + (mode == Polarisation::TE ? "TE " : "TM ") +
         (phase ? "相位拟断面" : "视电阻率拟断面");
}

std::string profileTitle(int iteration) {
  return "反演电阻率剖面 (第 " + std::to_string(iteration) + " 次迭代)";
}

bool writePseudoSection(const std::string& path, const std::vector<double>& sitePositions,
                        const std::vector<double>& frequencies, const MtCurves& curves, bool phase,
                        LengthUnit unit, const std::string& title) {
  const std::vector<XyzLine> lines =
      pseudoSectionLines(sitePositions, frequencies, curves, phase, unit);
  if (!writeLines(path, lines)) return false;

  // The picture: a lattice of sites (sorted by distance) and log10 f (rising).
  std::vector<std::size_t> sOrder(sitePositions.size()), fOrder(frequencies.size());
  for (std::size_t i = 0; i < sOrder.size(); ++i) sOrder[i] = i;
  for (std::size_t i = 0; i < fOrder.size(); ++i) fOrder[i] = i;
  std::sort(sOrder.begin(), sOrder.end(),
            [&](std::size_t a, std::size_t b) { return sitePositions[a] < sitePositions[b]; });
  std::sort(fOrder.begin(), fOrder.end(),
            [&](std::size_t a, std::size_t b) { return frequencies[a] < frequencies[b]; });
  const double k = scaleOf(unit);
  std::vector<double> xs, ys, values;
  for (std::size_t s : sOrder) xs.push_back(sitePositions[s] * k);
  for (std::size_t f : fOrder) ys.push_back(std::log10(frequencies[f]));
  const std::size_t nf = frequencies.size();
  for (std::size_t f : fOrder)
    for (std::size_t s : sOrder) {
      const std::size_t i = s * nf + f;
      double v = kNan;
      if (i < curves.rho.size() && isMeasured(curves.rho[i]))
        v = phase ? curves.phase[i] : std::log10(curves.rho[i]);
      values.push_back(v);
    }
  if (xs.empty() || ys.empty()) return true;
  display::SectionPlot p;
  p.title = title;
  p.xLabel = std::string("测点距离 (") + unitName(unit) + ")";
  p.yLabel = "lg f (Hz)";
  p.valueLabel = phase ? "相位 (°)" : "lg ρa (Ω·m)";
  p.xlo = xs.front(), p.xhi = xs.back();
  p.ylo = ys.front(), p.yhi = ys.back();
  widen(p.xlo, p.xhi);
  widen(p.ylo, p.yhi);
  if (!roundedRange(values, phase ? 5.0 : 0.1, p.vmin, p.vmax)) return true;
  p.levels = 16;
  p.ramp = display::resistivityRamp();
  // Phases above 45° mean resistivity falling with depth: warm colours, as for conductors.
  if (phase) std::reverse(p.ramp.begin(), p.ramp.end());
  p.value = display::latticeSampler(std::move(xs), std::move(ys), std::move(values));
  display::writeSectionPng(p, resolvePath(pictureBeside(path)));
  return true;
}

bool writeModelProfile(const std::string& path, const Mt2dResult& r, LengthUnit unit,
                       const std::string& title) {
  if (!writeLines(path, modelProfileLines(r, unit))) return false;
  if (r.columns() < 1 || r.rows() < 1) return true;
  const double k = scaleOf(unit);
  std::vector<double> xe, ze;
  for (double v : r.nodePositions) xe.push_back(v * k);
  for (double v : r.nodeDepths) ze.push_back(v * k);
  display::SectionPlot p;
  p.title = title;
  p.xLabel = std::string("测点距离 (") + unitName(unit) + ")";
  p.yLabel = std::string("深度 (") + unitName(unit) + ")";
  p.valueLabel = "lg ρ (Ω·m)";
  p.yReversed = true;
  if (r.sitePositions.size() >= 2) {
    const auto [lo, hi] = std::minmax_element(r.sitePositions.begin(), r.sitePositions.end());
    const double pad = (*hi - *lo) * 0.05;
    p.xlo = (*lo - pad) * k;
    p.xhi = (*hi + pad) * k;
  } else {
    p.xlo = xe.front();
    p.xhi = xe.back();
  }
  // Down to the largest Bostick depth of the lowest frequency, within the mesh.
  double depth = 0;
  if (!r.frequencies.empty()) {
    const std::size_t nf = r.frequencies.size();
    const std::size_t low = static_cast<std::size_t>(
        std::min_element(r.frequencies.begin(), r.frequencies.end()) - r.frequencies.begin());
    for (const MtCurves* c : {&r.response.te, &r.response.tm})
      for (std::size_t s = 0; s < r.sitePositions.size(); ++s) {
        const std::size_t i = s * nf + low;
        if (i < c->rho.size() && isMeasured(c->rho[i]))
          depth = std::max(depth, 356.0 * std::sqrt(c->rho[i] / r.frequencies[low]));
      }
  }
  // No deeper than the sites' line is long, which keeps the section's aspect readable.
  if (r.sitePositions.size() >= 2) {
    const auto [lo, hi] = std::minmax_element(r.sitePositions.begin(), r.sitePositions.end());
    if (*hi > *lo) depth = depth > 0 ? std::min(depth, *hi - *lo) : *hi - *lo;
  }
  const double meshDepth = r.nodeDepths.back();
  p.ylo = 0;
  p.yhi = (depth > 0 ? std::min(depth, meshDepth) : meshDepth) * k;
  widen(p.xlo, p.xhi);
  widen(p.ylo, p.yhi);
  if (!roundedRange(r.log10Rho, 0.1, p.vmin, p.vmax)) return true;
  p.levels = 16;
  p.ramp = display::resistivityRamp();
  p.value = display::cellSampler(std::move(xe), std::move(ze), r.log10Rho);
  display::writeSectionPng(p, resolvePath(pictureBeside(path)));
  return true;
}

}  // namespace sarnoth::electric
