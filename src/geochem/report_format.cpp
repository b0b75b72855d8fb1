#include "geochem/report_format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace sarnoth::geochem {
namespace {

std::string special(double v) {
  if (std::isnan(v)) return "-1.#IND";
  return v > 0 ? "1.#INF" : "-1.#INF";
}

// `digits` significant digits: plain for exponents in [minExp, digits), else d.dddE±xx.
std::string significant(double v, int digits, int minExp) {
  if (!std::isfinite(v)) return special(v);
  if (v == 0) return "0";
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*e", digits - 1, std::fabs(v));
  std::string t(buf);
  const std::size_t e = t.find('e');
  const int exponent = std::atoi(t.c_str() + e + 1);
  std::string mant = t.substr(0, 1) + (e > 2 ? t.substr(2, e - 2) : std::string());
  while (mant.size() > 1 && mant.back() == '0') mant.pop_back();
  std::string out = v < 0 ? "-" : "";
  if (exponent >= digits || exponent < minExp) {
    out += mant.substr(0, 1);
    if (mant.size() > 1) out += "." + mant.substr(1);
    std::snprintf(buf, sizeof buf, "E%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    return out + buf;
  }
  if (exponent < 0)
    return out + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + mant;
  const std::size_t whole = static_cast<std::size_t>(exponent) + 1;
  if (mant.size() <= whole) return out + mant + std::string(whole - mant.size(), '0');
  return out + mant.substr(0, whole) + "." + mant.substr(whole);
}

}  // namespace

std::string singleText(float v) { return significant(static_cast<double>(v), 7, -5); }

std::string doubleText(double v) { return significant(v, 15, -5); }

std::string fixedText(double v, int decimals) {
  if (!std::isfinite(v)) return special(v);
  const double scale = std::pow(10.0, decimals);
  double r = std::fabs(v) < 1e15 ? std::round(v * scale) / scale : v;  // half away from zero
  if (r == 0) r = 0;                                                   // no "-0.0000"
  char buf[512];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, r);
  return buf;
}

}  // namespace sarnoth::geochem
