#include "workarea/jet_runtime.h"

#include <sqlite3.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "workarea/null_value.h"

namespace sarnoth::jet {
namespace {

// ---- Jet's error texts -----------------------------------------------------------------------

constexpr const char* kMismatch = "Data type conversion error.";
constexpr const char* kOverflow = "Overflow";
constexpr const char* kDivZero = "Division by zero";
constexpr const char* kBadCall = "Invalid procedure call or argument";
constexpr const char* kTooLong =
    "The field is too small to accept the amount of data you attempted to add.";

// ---- UTF-8 and case ----------------------------------------------------------------------------

char32_t decode(const char*& p, const char* end) {
  auto b = static_cast<unsigned char>(*p);
  if (b < 0x80) {
    ++p;
    return b;
  }
  int n = b >= 0xF0 ? 3 : b >= 0xE0 ? 2 : b >= 0xC0 ? 1 : 0;
  if (n == 0 || end - p <= n) {
    ++p;
    return b;
  }
  char32_t cp = b & (0x3F >> n);
  for (int i = 1; i <= n; ++i) {
    auto c = static_cast<unsigned char>(p[i]);
    if ((c & 0xC0) != 0x80) {
      ++p;
      return b;
    }
    cp = (cp << 6) | (c & 0x3F);
  }
  p += n + 1;
  return cp;
}

void encode(char32_t cp, std::string& out) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

char32_t foldCase(char32_t c) {
  if (c < 0x80) return (c >= 'A' && c <= 'Z') ? c + 32 : c;
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return c + 32;
  if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) return c | 1;
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) ? c + 1 : c;
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 32;
  if (c >= 0x410 && c <= 0x42F) return c + 32;
  if (c >= 0x400 && c <= 0x40F) return c + 80;
  if (c >= 0xFF21 && c <= 0xFF3A) return c + 32;
  return c;
}

char32_t upperCase(char32_t c) {
  if (c < 0x80) return (c >= 'a' && c <= 'z') ? c - 32 : c;
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return c - 32;
  if ((c >= 0x100 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) return c & ~char32_t{1};
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) ? c : c - 1;
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return c - 32;
  if (c >= 0x430 && c <= 0x44F) return c - 32;
  if (c >= 0x450 && c <= 0x45F) return c - 80;
  if (c >= 0xFF41 && c <= 0xFF5A) return c - 32;
  return c;
}

std::vector<char32_t> codePoints(std::string_view s) {
  std::vector<char32_t> v;
  v.reserve(s.size());
  const char* p = s.data();
  const char* e = p + s.size();
  while (p < e) v.push_back(decode(p, e));
  return v;
}

std::string fromCodePoints(const std::vector<char32_t>& v, std::size_t b = 0,
                           std::size_t n = std::string::npos) {
  std::string out;
  std::size_t e = n == std::string::npos ? v.size() : std::min(v.size(), b + n);
  for (std::size_t i = b; i < e; ++i) encode(v[i], out);
  return out;
}

int collate(void*, int na, const void* a, int nb, const void* b) {
  return compareText({static_cast<const char*>(a), static_cast<std::size_t>(na)},
                     {static_cast<const char*>(b), static_cast<std::size_t>(nb)});
}

// ---- values ----------------------------------------------------------------------------------

bool isNullArg(sqlite3_value* v) { return sqlite3_value_type(v) == SQLITE_NULL; }
bool anyNull(int argc, sqlite3_value** argv) {
  for (int i = 0; i < argc; ++i)
    if (isNullArg(argv[i])) return true;
  return false;
}

std::string textOf(sqlite3_value* v) {
  const unsigned char* t = sqlite3_value_text(v);
  return t ? std::string(reinterpret_cast<const char*>(t),
                         static_cast<std::size_t>(sqlite3_value_bytes(v)))
           : std::string();
}

}  // namespace

bool parseNumber(std::string_view s, double& out) {
  std::size_t b = 0, e = s.size();
  while (b < e && (s[b] == ' ' || s[b] == '\t')) ++b;
  while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t')) --e;
  if (b == e) return false;
  std::string t(s.substr(b, e - b));
  if (t.size() > 2 && t[0] == '&' && (t[1] == 'H' || t[1] == 'h')) {
    char* end = nullptr;
    long long v = std::strtoll(t.c_str() + 2, &end, 16);
    if (*end) return false;
    out = static_cast<double>(v);
    return true;
  }
  for (char c : t)
    if (!(std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == '-' || c == '+' ||
          c == 'e' || c == 'E'))
      return false;
  char* end = nullptr;
  out = std::strtod(t.c_str(), &end);
  return *end == 0 && std::isfinite(out);
}

namespace {

// The number of a value: integers and reals as they are, text when it reads as a number.
bool numberOf(sqlite3_value* v, double& out) {
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
      out = sqlite3_value_double(v);
      return true;
    case SQLITE_TEXT:
      return parseNumber(textOf(v), out);
    default:
      return false;
  }
}

// Fetches argument i as a number or fails the call with Jet's mismatch; false when it failed.
bool numArg(sqlite3_context* ctx, sqlite3_value* v, double& out) {
  if (numberOf(v, out)) return true;
  sqlite3_result_error(ctx, kMismatch, -1);
  return false;
}

bool isIntegerValue(sqlite3_value* v) { return sqlite3_value_type(v) == SQLITE_INTEGER; }

void resultText(sqlite3_context* ctx, const std::string& s) {
  sqlite3_result_text(ctx, s.c_str(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
}

void resultNumber(sqlite3_context* ctx, double v) {
  if (!std::isfinite(v)) return sqlite3_result_error(ctx, kOverflow, -1);
  sqlite3_result_double(ctx, v);
}

// The text of a value as Jet's CStr gives it.
std::string valueText(sqlite3_value* v) {
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER:
      return std::to_string(sqlite3_value_int64(v));
    case SQLITE_FLOAT:
      return numberText(sqlite3_value_double(v), false);
    default:
      return textOf(v);
  }
}

// ---- dates -----------------------------------------------------------------------------------

// Days from 1970-01-01 of a civil date (proleptic Gregorian), H. Hinnant's algorithm.
long long daysFromCivil(long long y, unsigned m, unsigned d) {
  y -= m <= 2;
  const long long era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<long long>(doe) - 719468;
}

void civilFromDays(long long z, long long& y, unsigned& m, unsigned& d) {
  z += 719468;
  const long long era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  y = static_cast<long long>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y += m <= 2;
}

constexpr long long kEpochOffset = 25569;  // 1899-12-30 is day -25569 of 1970-01-01

bool leap(long long y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }
unsigned daysInMonth(long long y, unsigned m) {
  static const unsigned n[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && leap(y) ? 29 : n[m - 1];
}

double linearOf(long long y, unsigned m, unsigned d, double secs) {
  return static_cast<double>(daysFromCivil(y, m, d) + kEpochOffset) + secs / 86400.0;
}

struct Civil {
  long long y;
  unsigned m, d;
  int hh, mm, ss;
  long long day;  // linear day number
};

Civil civilOf(double linear) {
  double day = std::floor(linear);
  auto secs = static_cast<long long>(std::llround((linear - day) * 86400.0));
  if (secs >= 86400) {
    day += 1;
    secs -= 86400;
  }
  Civil c{};
  c.day = static_cast<long long>(day);
  civilFromDays(c.day - kEpochOffset, c.y, c.m, c.d);
  c.hh = static_cast<int>(secs / 3600);
  c.mm = static_cast<int>(secs / 60 % 60);
  c.ss = static_cast<int>(secs % 60);
  return c;
}

long long fullYear(long long y, std::size_t digits) {
  if (digits <= 2 && y < 100) return y < 30 ? 2000 + y : 1900 + y;
  return y;
}

int monthOfName(std::string_view w) {
  static const char* names[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                "jul", "aug", "sep", "oct", "nov", "dec"};
  if (w.size() < 3) return 0;
  std::string l;
  for (char c : w) l += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (int i = 0; i < 12; ++i)
    if (l.compare(0, 3, names[i]) == 0) return i + 1;
  return 0;
}

// A time "h:mm[:ss] [AM|PM]" at the front of `s`; seconds since midnight.
bool parseTime(std::string_view s, double& secs) {
  int h = 0, m = 0, sec = 0;
  std::size_t i = 0;
  auto num = [&](int& v) {
    std::size_t b = i;
    v = 0;
    while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])) && i - b < 2)
      v = v * 10 + (s[i++] - '0');
    return i > b;
  };
  if (!num(h) || i >= s.size() || s[i] != ':') return false;
  ++i;
  if (!num(m)) return false;
  if (i < s.size() && s[i] == ':') {
    ++i;
    if (!num(sec)) return false;
  }
  while (i < s.size() && s[i] == ' ') ++i;
  std::string rest;
  for (; i < s.size(); ++i)
    rest += static_cast<char>(std::toupper(static_cast<unsigned char>(s[i])));
  if (rest == "AM" || rest == "PM") {
    if (h < 1 || h > 12) return false;
    if (rest == "AM" && h == 12) h = 0;
    if (rest == "PM" && h != 12) h += 12;
  } else if (!rest.empty()) {
    return false;
  }
  if (h > 23 || m > 59 || sec > 59) return false;
  secs = h * 3600.0 + m * 60.0 + sec;
  return true;
}

// ---- number formatting -----------------------------------------------------------------------

std::string withGrouping(const std::string& digits) {
  std::string out;
  int n = static_cast<int>(digits.size());
  for (int i = 0; i < n; ++i) {
    if (i > 0 && (n - i) % 3 == 0) out += ',';
    out += digits[static_cast<std::size_t>(i)];
  }
  return out;
}

// Fixed notation with `decimals` places, half to even on the decimal value printed.
std::string fixed(double v, int decimals, bool group) {
  char buf[400];
  // Format rounds half away from zero (Round and the integer conversions round half to even).
  double scaled = std::round(v * std::pow(10.0, decimals)) / std::pow(10.0, decimals);
  std::snprintf(buf, sizeof buf, "%.*f", decimals, std::fabs(scaled));
  std::string s = buf;
  std::string intPart = s.substr(0, s.find('.'));
  std::string frac = s.find('.') == std::string::npos ? "" : s.substr(s.find('.'));
  std::string out = (scaled < 0 ? "-" : "") + (group ? withGrouping(intPart) : intPart) + frac;
  return out;
}

// A custom number pattern: digits 0 and #, '.', ',' (grouping), '%', E+/E-/e+/e-, literals.
std::string formatNumberPattern(double v, const std::string& pat, bool& ok) {
  ok = true;
  std::string lit;  // the pattern with its parts classified
  bool percent = false, group = false;
  int intZeros = 0, fracZeros = 0, fracHashes = 0, expDigits = 0;
  bool seenPoint = false, sci = false, expPlus = false;
  std::string prefix, suffix;
  bool inDigits = false, afterDigits = false;
  for (std::size_t i = 0; i < pat.size(); ++i) {
    char c = pat[i];
    if (sci) {
      if (c == '0' || c == '#') {
        ++expDigits;
        continue;
      }
      afterDigits = true;
    }
    if ((c == '0' || c == '#') && !afterDigits) {
      inDigits = true;
      if (seenPoint) {
        if (c == '0')
          ++fracZeros;
        else
          ++fracHashes;
      } else if (c == '0') {
        ++intZeros;
      }
      continue;
    }
    if (c == '.' && !afterDigits) {
      seenPoint = true;
      inDigits = true;
      continue;
    }
    if (c == ',' && inDigits && !afterDigits) {
      group = true;
      continue;
    }
    if ((c == 'E' || c == 'e') && inDigits && i + 1 < pat.size() &&
        (pat[i + 1] == '+' || pat[i + 1] == '-')) {
      sci = true;
      expPlus = pat[i + 1] == '+';
      ++i;
      continue;
    }
    std::string piece;
    if (c == '%') {
      percent = true;
      piece = "%";
    } else if (c == '\\' && i + 1 < pat.size()) {
      piece = std::string(1, pat[++i]);
    } else if (c == '"') {
      std::size_t j = pat.find('"', i + 1);
      if (j == std::string::npos) j = pat.size();
      piece = pat.substr(i + 1, j - i - 1);
      i = j;
    } else if (std::isalpha(static_cast<unsigned char>(c)) && c != 'E' && c != 'e') {
      ok = false;  // a letter that is no literal: another kind of pattern
      return {};
    } else {
      piece = std::string(1, c);
    }
    if (inDigits) {
      afterDigits = true;
      suffix += piece;
    } else {
      prefix += piece;
    }
  }
  if (percent) v *= 100.0;
  int decimals = fracZeros + fracHashes;
  std::string body;
  if (sci) {
    double a = std::fabs(v);
    int e = a == 0 ? 0 : static_cast<int>(std::floor(std::log10(a)));
    int lead = std::max(intZeros, 1);
    e -= lead - 1;
    double mant = a == 0 ? 0 : a / std::pow(10.0, e);
    std::string m = fixed(mant, decimals, false);
    if (m.size() > static_cast<std::size_t>(lead) && m[static_cast<std::size_t>(lead)] != '.' &&
        mant != 0) {  // rounding carried into a new digit
      mant /= 10;
      ++e;
      m = fixed(mant, decimals, false);
    }
    if (fracHashes > 0 && m.find('.') != std::string::npos) {
      while (m.size() > m.find('.') + 1 + static_cast<std::size_t>(fracZeros) && m.back() == '0')
        m.pop_back();
      if (m.back() == '.') m.pop_back();
    }
    char eb[32];
    std::snprintf(eb, sizeof eb, "%0*d", std::clamp(expDigits, 1, 9), std::abs(e) % 100000);
    body = m + "E" + (e < 0 ? "-" : (expPlus ? "+" : "")) + eb;
    if (v < 0) body = "-" + body;
  } else {
    std::string s = fixed(std::fabs(v), decimals, false);
    std::string ip = s.substr(0, s.find('.'));
    std::string fp = s.find('.') == std::string::npos ? "" : s.substr(s.find('.') + 1);
    while (fp.size() > static_cast<std::size_t>(fracZeros) && !fp.empty() && fp.back() == '0')
      fp.pop_back();
    if (ip == "0" && intZeros == 0) ip.clear();
    while (static_cast<int>(ip.size()) < intZeros) ip = "0" + ip;
    if (group) ip = withGrouping(ip);
    body = ip;
    if (seenPoint) body += "." + fp;
    bool zero = std::all_of(body.begin(), body.end(), [](char c) { return c == '0' || c == '.'; });
    if (v < 0 && !zero) body = "-" + body;
  }
  return prefix + body + suffix;
}

std::string twoDigits(int v) {
  char b[8];
  std::snprintf(b, sizeof b, "%02d", v);
  return b;
}

// A custom date pattern: d dd ddd dddd m mm mmm mmmm yy yyyy h hh n nn s ss AM/PM am/pm q y w.
std::string formatDatePattern(double linear, const std::string& pat, bool& ok) {
  ok = true;
  static const char* dayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                   "Thursday", "Friday", "Saturday"};
  static const char* monNames[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};
  Civil c = civilOf(linear);
  int wd = static_cast<int>(((c.day % 7) + 7 + 6) % 7);  // 1899-12-30 was a Saturday
  bool ampm = false;
  for (std::size_t i = 0; i + 4 < pat.size() + 1; ++i) {
    std::string w = pat.substr(i, 5);
    for (char& ch : w) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
    if (w == "AM/PM") ampm = true;
  }
  std::string out;
  bool lastWasHour = false;
  for (std::size_t i = 0; i < pat.size();) {
    char ch = pat[i];
    char lc = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    std::size_t run = 1;
    while (i + run < pat.size() &&
           std::tolower(static_cast<unsigned char>(pat[i + run])) == static_cast<unsigned char>(lc))
      ++run;
    if (lc == 'a' && pat.size() - i >= 5) {
      std::string w = pat.substr(i, 5);
      if (w == "AM/PM" || w == "am/pm") {
        bool pm = c.hh >= 12;
        out += w == "AM/PM" ? (pm ? "PM" : "AM") : (pm ? "pm" : "am");
        i += 5;
        continue;
      }
    }
    switch (lc) {
      case 'd':
        if (run == 1)
          out += std::to_string(c.d);
        else if (run == 2)
          out += twoDigits(static_cast<int>(c.d));
        else if (run == 3)
          out += std::string(dayNames[wd]).substr(0, 3);
        else
          out += dayNames[wd];
        break;
      case 'm':
        if (lastWasHour && run <= 2) {
          out += run == 1 ? std::to_string(c.mm) : twoDigits(c.mm);
        } else if (run == 1) {
          out += std::to_string(c.m);
        } else if (run == 2) {
          out += twoDigits(static_cast<int>(c.m));
        } else if (run == 3) {
          out += std::string(monNames[c.m - 1]).substr(0, 3);
        } else {
          out += monNames[c.m - 1];
        }
        break;
      case 'y':
        if (run >= 3) {
          out += std::to_string(c.y);
        } else if (run == 2) {
          out += twoDigits(static_cast<int>(c.y % 100));
        } else {
          long long jan1 = daysFromCivil(c.y, 1, 1) + kEpochOffset;
          out += std::to_string(c.day - jan1 + 1);
        }
        break;
      case 'h': {
        int h = ampm ? (c.hh % 12 == 0 ? 12 : c.hh % 12) : c.hh;
        out += run == 1 ? std::to_string(h) : twoDigits(h);
        break;
      }
      case 'n':
        out += run == 1 ? std::to_string(c.mm) : twoDigits(c.mm);
        break;
      case 's':
        out += run == 1 ? std::to_string(c.ss) : twoDigits(c.ss);
        break;
      case 'q':
        out += std::to_string((c.m - 1) / 3 + 1);
        break;
      case 'w':
        if (run == 1) {
          out += std::to_string(wd + 1);
          break;
        }
        ok = false;
        return {};
      case '\\':
        if (i + 1 < pat.size()) out += pat[i + 1];
        i += 2;
        continue;
      case '"': {
        std::size_t j = pat.find('"', i + 1);
        if (j == std::string::npos) j = pat.size();
        out += pat.substr(i + 1, j - i - 1);
        i = j + 1;
        continue;
      }
      default:
        if (std::isalpha(static_cast<unsigned char>(ch))) {
          ok = false;
          return {};
        }
        out.append(run, ch);
        break;
    }
    if (lc != ' ' && lc != ':') lastWasHour = lc == 'h';
    i += run;
  }
  return out;
}

bool isDatePattern(const std::string& pat) {
  bool date = false;
  for (std::size_t i = 0; i < pat.size(); ++i) {
    char c = static_cast<char>(std::tolower(static_cast<unsigned char>(pat[i])));
    if (c == '"') {
      std::size_t j = pat.find('"', i + 1);
      i = j == std::string::npos ? pat.size() : j;
      continue;
    }
    if (c == '\\') {
      ++i;
      continue;
    }
    if (c == '0' || c == '#') return false;
    if (c == 'd' || c == 'm' || c == 'y' || c == 'h' || c == 'n' || c == 's' || c == 'q')
      date = true;
  }
  return date;
}

// ---- the SQL functions -----------------------------------------------------------------------

// The linear day count of a date value: a number is Jet's serial, text is read as a date.
bool linearArg(sqlite3_context* ctx, sqlite3_value* v, double& out) {
  int t = sqlite3_value_type(v);
  if (t == SQLITE_INTEGER || t == SQLITE_FLOAT) {
    out = linearOfSerial(sqlite3_value_double(v));
    return true;
  }
  if (t == SQLITE_TEXT && parseDate(textOf(v), out)) return true;
  sqlite3_result_error(ctx, kMismatch, -1);
  return false;
}

void resultDate(sqlite3_context* ctx, double linear) {
  std::string s;
  if (!dateText(linear, s)) return sqlite3_result_error(ctx, kOverflow, -1);
  resultText(ctx, s);
}

#define NULL_IN_NULL_OUT \
  if (anyNull(argc, argv)) return sqlite3_result_null(ctx)

void fnDiv(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double a, b;
  if (!numArg(ctx, argv[0], a) || !numArg(ctx, argv[1], b)) return;
  if (b == 0) return sqlite3_result_error(ctx, kDivZero, -1);
  resultNumber(ctx, a / b);
}

bool integerArg(sqlite3_context* ctx, sqlite3_value* v, long long& out) {
  double d;
  if (!numArg(ctx, v, d)) return false;
  d = roundHalfEven(d);
  if (!(std::fabs(d) < 9.2e18)) {
    sqlite3_result_error(ctx, kOverflow, -1);
    return false;
  }
  out = static_cast<long long>(d);
  return true;
}

void fnIntDiv(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long a, b;
  if (!integerArg(ctx, argv[0], a) || !integerArg(ctx, argv[1], b)) return;
  if (b == 0) return sqlite3_result_error(ctx, kDivZero, -1);
  sqlite3_result_int64(ctx, a / b);
}

void fnMod(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long a, b;
  if (!integerArg(ctx, argv[0], a) || !integerArg(ctx, argv[1], b)) return;
  if (b == 0) return sqlite3_result_error(ctx, kDivZero, -1);
  sqlite3_result_int64(ctx, a % b);
}

void fnPow(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double a, b;
  if (!numArg(ctx, argv[0], a) || !numArg(ctx, argv[1], b)) return;
  double r = std::pow(a, b);
  if (std::isnan(r)) return sqlite3_result_error(ctx, kBadCall, -1);
  resultNumber(ctx, r);
}

void fnAdd(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  if (sqlite3_value_type(argv[0]) == SQLITE_TEXT && sqlite3_value_type(argv[1]) == SQLITE_TEXT)
    return resultText(ctx, textOf(argv[0]) + textOf(argv[1]));
  if (isIntegerValue(argv[0]) && isIntegerValue(argv[1])) {
    long long r;
    if (!__builtin_add_overflow(sqlite3_value_int64(argv[0]), sqlite3_value_int64(argv[1]), &r))
      return sqlite3_result_int64(ctx, r);
  }
  double a, b;
  if (!numArg(ctx, argv[0], a) || !numArg(ctx, argv[1], b)) return;
  resultNumber(ctx, a + b);
}

void fnCat(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (isNullArg(argv[0]) && isNullArg(argv[1])) return sqlite3_result_null(ctx);
  resultText(ctx, valueText(argv[0]) + valueText(argv[1]));
}

void fnSingleText(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  if (sqlite3_value_type(argv[0]) == SQLITE_FLOAT)
    return resultText(ctx, numberText(sqlite3_value_double(argv[0]), true));
  resultText(ctx, valueText(argv[0]));
}

// Jet's Like pattern, compiled once per statement.
struct LikeItem {
  enum Kind { Lit, One, Digit, Any, Set } kind = Lit;
  char32_t c = 0;
  bool negate = false;
  std::vector<std::pair<char32_t, char32_t>> ranges;
};

std::vector<LikeItem>* compileLike(const std::string& pat, bool& ok) {
  auto items = std::make_unique<std::vector<LikeItem>>();
  auto cps = codePoints(pat);
  ok = true;
  for (std::size_t i = 0; i < cps.size(); ++i) {
    char32_t c = cps[i];
    LikeItem it;
    it.kind = LikeItem::Lit;
    if (c == '*') {
      it.kind = LikeItem::Any;
    } else if (c == '?') {
      it.kind = LikeItem::One;
    } else if (c == '#') {
      it.kind = LikeItem::Digit;
    } else if (c == '[') {
      std::size_t j = i + 1;
      it.kind = LikeItem::Set;
      if (j < cps.size() && cps[j] == '!') {
        it.negate = true;
        ++j;
      }
      bool closed = false;
      for (; j < cps.size(); ++j) {
        if (cps[j] == ']') {
          closed = true;
          break;
        }
        char32_t lo = foldCase(cps[j]), hi = lo;
        if (j + 2 < cps.size() && cps[j + 1] == '-' && cps[j + 2] != ']') {
          hi = foldCase(cps[j + 2]);
          j += 2;
        }
        it.ranges.emplace_back(lo, hi);
      }
      if (!closed) {
        ok = false;
        return nullptr;
      }
      if (it.ranges.empty() && !it.negate) {  // "[]" matches the empty string: nothing
        i = j;
        continue;
      }
      i = j;
    } else {
      it.c = foldCase(c);
    }
    items->push_back(std::move(it));
  }
  return items.release();
}

bool likeOne(const LikeItem& it, char32_t c) {
  switch (it.kind) {
    case LikeItem::Lit:
      return it.c == c;
    case LikeItem::One:
      return true;
    case LikeItem::Digit:
      return c >= '0' && c <= '9';
    case LikeItem::Set: {
      bool in = false;
      for (auto [lo, hi] : it.ranges)
        if (c >= lo && c <= hi) in = true;
      return in != it.negate;
    }
    default:
      return false;
  }
}

bool likeMatch(const std::vector<LikeItem>& p, const std::vector<char32_t>& s) {
  std::size_t pi = 0, si = 0, starP = std::string::npos, starS = 0;
  while (si < s.size()) {
    if (pi < p.size() && p[pi].kind == LikeItem::Any) {
      starP = pi++;
      starS = si;
    } else if (pi < p.size() && likeOne(p[pi], s[si])) {
      ++pi;
      ++si;
    } else if (starP != std::string::npos) {
      pi = starP + 1;
      si = ++starS;
    } else {
      return false;
    }
  }
  while (pi < p.size() && p[pi].kind == LikeItem::Any) ++pi;
  return pi == p.size();
}

void fnLike(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  auto* pat = static_cast<std::vector<LikeItem>*>(sqlite3_get_auxdata(ctx, 1));
  if (!pat) {
    bool ok;
    pat = compileLike(valueText(argv[1]), ok);
    if (!ok) return sqlite3_result_error(ctx, "Invalid pattern string.", -1);
    sqlite3_set_auxdata(ctx, 1, pat,
                        [](void* p) { delete static_cast<std::vector<LikeItem>*>(p); });
    pat = static_cast<std::vector<LikeItem>*>(sqlite3_get_auxdata(ctx, 1));
    if (!pat) {  // auxdata is not kept for non-constant patterns: compile each time
      bool ok2;
      std::unique_ptr<std::vector<LikeItem>> own(compileLike(valueText(argv[1]), ok2));
      std::vector<char32_t> s = codePoints(valueText(argv[0]));
      for (auto& c : s) c = foldCase(c);
      return sqlite3_result_int(ctx, likeMatch(*own, s) ? 1 : 0);
    }
  }
  std::vector<char32_t> s = codePoints(valueText(argv[0]));
  for (auto& c : s) c = foldCase(c);
  sqlite3_result_int(ctx, likeMatch(*pat, s) ? 1 : 0);
}

// A date's serial number (CDbl, CSng … of a date).
void fnSerial(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (linearArg(ctx, argv[0], l)) sqlite3_result_double(ctx, serialOfLinear(l));
}

void fnDateKey(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (linearArg(ctx, argv[0], l)) sqlite3_result_double(ctx, l);
}

// date + days
void fnDatePlus(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l, n;
  if (!linearArg(ctx, argv[0], l) || !numArg(ctx, argv[1], n)) return;
  resultDate(ctx, l + n);
}

// date - date gives days; date - number gives a date
void fnDateMinus(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (!linearArg(ctx, argv[0], l)) return;
  double n;
  int t = sqlite3_value_type(argv[1]);
  if (t == SQLITE_TEXT) {
    double l2;
    if (!linearArg(ctx, argv[1], l2)) return;
    return sqlite3_result_double(ctx, serialOfLinear(l) - serialOfLinear(l2));
  }
  if (!numArg(ctx, argv[1], n)) return;
  resultDate(ctx, l - n);
}

// ---- conversions on write and the C* functions ----

// The float null -1E+38 is the tools' null in every numeric field, whatever its type.
bool isFloatNull(double d) { return isExactNull(static_cast<float>(d)); }

void convInteger(sqlite3_context* ctx, sqlite3_value* v, double lo, double hi) {
  if (isIntegerValue(v)) {
    sqlite3_int64 i = sqlite3_value_int64(v);
    if (static_cast<double>(i) < lo || static_cast<double>(i) > hi)
      return sqlite3_result_error(ctx, kOverflow, -1);
    return sqlite3_result_int64(ctx, i);
  }
  double d;
  if (sqlite3_value_type(v) == SQLITE_TEXT) {
    std::string t = textOf(v);
    std::string l = lowerText(t);
    if (l == "true" || l == "yes" || l == "on") return sqlite3_result_int(ctx, -1);
    if (l == "false" || l == "no" || l == "off") return sqlite3_result_int(ctx, 0);
  }
  if (!numArg(ctx, v, d)) return;
  if (isFloatNull(d)) return sqlite3_result_double(ctx, d);
  d = roundHalfEven(d);
  if (!(d >= lo && d <= hi)) return sqlite3_result_error(ctx, kOverflow, -1);
  sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(d));
}

void fnLong(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  convInteger(ctx, argv[0], -2147483648.0, 2147483647.0);
}
void fnInteger(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  convInteger(ctx, argv[0], -32768.0, 32767.0);
}
void fnByte(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  convInteger(ctx, argv[0], 0.0, 255.0);
}
void fnBit(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  if (sqlite3_value_type(argv[0]) == SQLITE_TEXT) {
    std::string l = lowerText(textOf(argv[0]));
    if (l == "true" || l == "yes" || l == "on") return sqlite3_result_int(ctx, -1);
    if (l == "false" || l == "no" || l == "off") return sqlite3_result_int(ctx, 0);
  }
  double d;
  if (!numArg(ctx, argv[0], d)) return;
  sqlite3_result_int(ctx, d != 0 ? -1 : 0);
}
void fnSingle(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double d;
  if (!numArg(ctx, argv[0], d)) return;
  if (std::fabs(d) > static_cast<double>(FLT_MAX)) return sqlite3_result_error(ctx, kOverflow, -1);
  sqlite3_result_double(ctx, static_cast<double>(static_cast<float>(d)));
}
void fnDouble(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  if (sqlite3_value_type(argv[0]) != SQLITE_TEXT) return sqlite3_result_value(ctx, argv[0]);
  double d;
  if (numArg(ctx, argv[0], d)) sqlite3_result_double(ctx, d);
}
void fnCurrency(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double d;
  if (!numArg(ctx, argv[0], d)) return;
  if (isFloatNull(d)) return sqlite3_result_double(ctx, d);
  if (std::fabs(d) > 922337203685477.0) return sqlite3_result_error(ctx, kOverflow, -1);
  sqlite3_result_double(ctx, roundHalfEven(d * 10000.0) / 10000.0);
}
void fnDate(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (linearArg(ctx, argv[0], l)) resultDate(ctx, l);
}
void fnText(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (isNullArg(argv[0])) return sqlite3_result_null(ctx);
  std::string s = valueText(argv[0]);
  long long limit = sqlite3_value_int64(argv[1]);
  if (limit > 0 && static_cast<long long>(codePoints(s).size()) > limit)
    return sqlite3_result_error(ctx, kTooLong, -1);
  resultText(ctx, s);
}
void fnCStr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  resultText(ctx, valueText(argv[0]));
}
void fnCeil(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  sqlite3_result_int64(ctx,
                       static_cast<sqlite3_int64>(std::ceil(sqlite3_value_double(argv[0]) - 1e-9)));
}

// ---- numbers ----

template <double (*F)(double)>
void fnMath(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double x;
  if (!numArg(ctx, argv[0], x)) return;
  double r = F(x);
  if (std::isnan(r)) return sqlite3_result_error(ctx, kBadCall, -1);
  resultNumber(ctx, r);
}
double lnOf(double x) { return x > 0 ? std::log(x) : std::nan(""); }
double sqrOf(double x) { return x >= 0 ? std::sqrt(x) : std::nan(""); }
double expOf(double x) { return std::exp(x); }
double sinOf(double x) { return std::sin(x); }
double cosOf(double x) { return std::cos(x); }
double tanOf(double x) { return std::tan(x); }
double atnOf(double x) { return std::atan(x); }

// Abs, Int, Fix keep an integer an integer.
template <int Which>
void fnKeepType(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  if (isIntegerValue(argv[0])) {
    sqlite3_int64 i = sqlite3_value_int64(argv[0]);
    return sqlite3_result_int64(ctx, Which == 0 && i < 0 ? -i : i);
  }
  double x;
  if (!numArg(ctx, argv[0], x)) return;
  double r = Which == 0 ? std::fabs(x) : Which == 1 ? std::floor(x) : std::trunc(x);
  sqlite3_result_double(ctx, r);
}

void fnSgn(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double x;
  if (numArg(ctx, argv[0], x)) sqlite3_result_int(ctx, x > 0 ? 1 : x < 0 ? -1 : 0);
}

void fnRound(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long places = 0;
  if (argc > 1 && !integerArg(ctx, argv[1], places)) return;
  if (places < 0) return sqlite3_result_error(ctx, kBadCall, -1);
  if (isIntegerValue(argv[0])) return sqlite3_result_value(ctx, argv[0]);
  double x;
  if (!numArg(ctx, argv[0], x)) return;
  double p = std::pow(10.0, static_cast<double>(std::min(places, 22LL)));
  double s = x * p;
  double r = std::isfinite(s) ? roundHalfEven(s) / p : x;
  sqlite3_result_double(ctx, r);
}

// Val: the number at the front of a text, blanks anywhere ignored; &H and &O prefixes.
double valOf(const std::string& in) {
  std::string s;
  for (char c : in)
    if (c != ' ' && c != '\t' && c != '\n' && c != '\r') s += c;
  if (s.size() >= 2 && s[0] == '&') {
    char k = static_cast<char>(std::toupper(static_cast<unsigned char>(s[1])));
    int base = k == 'H' ? 16 : k == 'O' ? 8 : 0;
    if (base) {
      std::size_t i = 2;
      unsigned long long v = 0;
      while (i < s.size() && std::isxdigit(static_cast<unsigned char>(s[i]))) {
        int d = std::isdigit(static_cast<unsigned char>(s[i]))
                    ? s[i] - '0'
                    : std::toupper(static_cast<unsigned char>(s[i])) - 'A' + 10;
        if (d >= base) break;
        v = v * static_cast<unsigned>(base) + static_cast<unsigned>(d);
        ++i;
      }
      // Up to 32 bits, read as a signed Long as Jet does (&HFFFF alone is an Integer: -1).
      if (v <= 0xFFFF && i - 2 <= 4) return static_cast<double>(static_cast<std::int16_t>(v));
      return static_cast<double>(static_cast<std::int32_t>(static_cast<std::uint32_t>(v)));
    }
  }
  std::size_t i = 0;
  std::string num;
  if (i < s.size() && (s[i] == '-' || s[i] == '+')) num += s[i++];
  bool digits = false;
  while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) {
    num += s[i++];
    digits = true;
  }
  if (i < s.size() && s[i] == '.') {
    num += s[i++];
    while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) {
      num += s[i++];
      digits = true;
    }
  }
  if (!digits) return 0.0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E' || s[i] == 'd' || s[i] == 'D')) {
    std::string e = "e";
    std::size_t j = i + 1;
    if (j < s.size() && (s[j] == '-' || s[j] == '+')) e += s[j++];
    std::size_t k = j;
    while (k < s.size() && std::isdigit(static_cast<unsigned char>(s[k]))) e += s[k++];
    if (k > j) num += e;
  }
  return std::strtod(num.c_str(), nullptr);
}

void fnVal(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double v = valOf(valueText(argv[0]));
  if (!std::isfinite(v)) return sqlite3_result_error(ctx, kOverflow, -1);
  sqlite3_result_double(ctx, v);
}

template <int Base>
void fnRadix(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long v;
  if (!integerArg(ctx, argv[0], v)) return;
  if (v < -2147483648LL || v > 2147483647LL) return sqlite3_result_error(ctx, kOverflow, -1);
  char buf[40];
  auto u = static_cast<std::uint32_t>(static_cast<std::int32_t>(v));
  std::snprintf(buf, sizeof buf, Base == 16 ? "%X" : "%o", u);
  resultText(ctx, buf);
}

void fnStr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double x;
  if (!numArg(ctx, argv[0], x)) return;
  std::string s =
      isIntegerValue(argv[0]) ? std::to_string(sqlite3_value_int64(argv[0])) : numberText(x, false);
  resultText(ctx, x >= 0 ? " " + s : s);
}

// ---- text ----

void fnLen(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  sqlite3_result_int64(ctx, static_cast<sqlite3_int64>(codePoints(valueText(argv[0])).size()));
}

bool countArg(sqlite3_context* ctx, sqlite3_value* v, long long& n, long long minimum) {
  if (!integerArg(ctx, v, n)) return false;
  if (n < minimum) {
    sqlite3_result_error(ctx, kBadCall, -1);
    return false;
  }
  return true;
}

void fnLeft(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (isNullArg(argv[0])) return sqlite3_result_null(ctx);
  long long n;
  if (!countArg(ctx, argv[1], n, 0)) return;
  auto cps = codePoints(valueText(argv[0]));
  resultText(ctx, fromCodePoints(cps, 0, static_cast<std::size_t>(n)));
}
void fnRight(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (isNullArg(argv[0])) return sqlite3_result_null(ctx);
  long long n;
  if (!countArg(ctx, argv[1], n, 0)) return;
  auto cps = codePoints(valueText(argv[0]));
  std::size_t k = std::min(cps.size(), static_cast<std::size_t>(n));
  resultText(ctx, fromCodePoints(cps, cps.size() - k));
}
void fnMid(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (isNullArg(argv[0])) return sqlite3_result_null(ctx);
  long long start, len = -1;
  if (!countArg(ctx, argv[1], start, 1)) return;
  if (argc > 2 && !countArg(ctx, argv[2], len, 0)) return;
  auto cps = codePoints(valueText(argv[0]));
  auto b = static_cast<std::size_t>(start - 1);
  if (b >= cps.size()) return resultText(ctx, "");
  resultText(ctx,
             fromCodePoints(cps, b, len < 0 ? std::string::npos : static_cast<std::size_t>(len)));
}
void fnInStr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  int a = 0;
  long long start = 1;
  if (argc >= 3 && sqlite3_value_type(argv[0]) != SQLITE_TEXT) {
    if (isNullArg(argv[0])) return sqlite3_result_error(ctx, kBadCall, -1);
    if (!countArg(ctx, argv[0], start, 1)) return;
    a = 1;
  }
  if (isNullArg(argv[a]) || isNullArg(argv[a + 1])) return sqlite3_result_null(ctx);
  bool binary = argc > a + 2 && sqlite3_value_int(argv[a + 2]) == 0;
  auto h = codePoints(valueText(argv[a]));
  auto n = codePoints(valueText(argv[a + 1]));
  if (!binary) {
    for (auto& c : h) c = foldCase(c);
    for (auto& c : n) c = foldCase(c);
  }
  auto s = static_cast<std::size_t>(start - 1);
  if (s > h.size()) return sqlite3_result_int(ctx, 0);
  if (n.empty()) return sqlite3_result_int64(ctx, start);
  auto it = std::search(h.begin() + static_cast<std::ptrdiff_t>(s), h.end(), n.begin(), n.end());
  sqlite3_result_int64(ctx, it == h.end() ? 0 : (it - h.begin()) + 1);
}
void fnUpper(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  resultText(ctx, upperText(valueText(argv[0])));
}
void fnLower(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  resultText(ctx, lowerText(valueText(argv[0])));
}
template <bool Left, bool Right>
void fnTrim(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  std::string s = valueText(argv[0]);
  std::size_t b = 0, e = s.size();
  if (Left)
    while (b < e && s[b] == ' ') ++b;
  if (Right)
    while (e > b && s[e - 1] == ' ') --e;
  resultText(ctx, s.substr(b, e - b));
}
void fnSpace(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long n;
  if (countArg(ctx, argv[0], n, 0))
    resultText(ctx, std::string(static_cast<std::size_t>(std::min(n, 1LL << 24)), ' '));
}
void fnString(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long n;
  if (!countArg(ctx, argv[0], n, 0)) return;
  std::string unit;
  if (sqlite3_value_type(argv[1]) == SQLITE_TEXT) {
    auto cps = codePoints(textOf(argv[1]));
    if (cps.empty()) return sqlite3_result_error(ctx, kBadCall, -1);
    encode(cps[0], unit);
  } else {
    long long c;
    if (!integerArg(ctx, argv[1], c)) return;
    encode(static_cast<char32_t>(c & 0xFF), unit);
  }
  std::string out;
  for (long long i = 0; i < std::min(n, 1LL << 24); ++i) out += unit;
  resultText(ctx, out);
}
void fnReplace(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  // Replace compares binary, as its default compare argument says.
  std::string s = valueText(argv[0]);
  std::string f = valueText(argv[1]);
  std::string r = valueText(argv[2]);
  if (f.empty()) return resultText(ctx, s);
  std::string out;
  std::size_t at = 0;
  for (std::size_t k; (k = s.find(f, at)) != std::string::npos; at = k + f.size())
    out += s.substr(at, k - at) + r;
  resultText(ctx, out + s.substr(at));
}
void fnReverse(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  auto s = codePoints(valueText(argv[0]));
  std::reverse(s.begin(), s.end());
  resultText(ctx, fromCodePoints(s));
}

// ---- dates ----

double nowLinear() {
  std::time_t t = std::time(nullptr);
  std::tm tm{};
  localtime_r(&t, &tm);
  return linearOf(tm.tm_year + 1900, static_cast<unsigned>(tm.tm_mon + 1),
                  static_cast<unsigned>(tm.tm_mday),
                  tm.tm_hour * 3600.0 + tm.tm_min * 60 + tm.tm_sec);
}
void fnNow(sqlite3_context* ctx, int, sqlite3_value**) { resultDate(ctx, nowLinear()); }
void fnToday(sqlite3_context* ctx, int, sqlite3_value**) {
  resultDate(ctx, std::floor(nowLinear()));
}
void fnTime(sqlite3_context* ctx, int, sqlite3_value**) {
  double l = nowLinear();
  resultDate(ctx, l - std::floor(l));
}

template <int Part>
void fnDatePartOf(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (!linearArg(ctx, argv[0], l)) return;
  Civil c = civilOf(l);
  long long v = 0;
  switch (Part) {
    case 0:
      v = c.y;
      break;
    case 1:
      v = c.m;
      break;
    case 2:
      v = c.d;
      break;
    case 3:
      v = c.hh;
      break;
    case 4:
      v = c.mm;
      break;
    case 5:
      v = c.ss;
      break;
    case 6: {
      long long first = 1;
      if (argc > 1 && !isNullArg(argv[1])) first = sqlite3_value_int64(argv[1]);
      if (first < 0 || first > 7) return sqlite3_result_error(ctx, kBadCall, -1);
      if (first == 0) first = 1;
      long long sunday0 = ((c.day % 7) + 7 + 6) % 7;  // 0 = Sunday
      v = ((sunday0 - (first - 1)) % 7 + 7) % 7 + 1;
      break;
    }
  }
  sqlite3_result_int64(ctx, v);
}

std::string intervalOf(sqlite3_value* v) { return lowerText(valueText(v)); }

double addMonths(double l, long long months) {
  Civil c = civilOf(l);
  long long total = c.y * 12 + (c.m - 1) + months;
  long long y = total >= 0 ? total / 12 : (total - 11) / 12;
  auto m = static_cast<unsigned>(total - y * 12 + 1);
  unsigned d = std::min(c.d, daysInMonth(y, m));
  return linearOf(y, m, d, c.hh * 3600.0 + c.mm * 60 + c.ss);
}

void fnDateAdd(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  std::string iv = intervalOf(argv[0]);
  long long n;
  double l;
  if (!integerArg(ctx, argv[1], n) || !linearArg(ctx, argv[2], l)) return;
  double r;
  if (iv == "yyyy")
    r = addMonths(l, n * 12);
  else if (iv == "q")
    r = addMonths(l, n * 3);
  else if (iv == "m")
    r = addMonths(l, n);
  else if (iv == "y" || iv == "d" || iv == "w")
    r = l + static_cast<double>(n);
  else if (iv == "ww")
    r = l + 7.0 * static_cast<double>(n);
  else if (iv == "h")
    r = l + static_cast<double>(n) / 24.0;
  else if (iv == "n")
    r = l + static_cast<double>(n) / 1440.0;
  else if (iv == "s")
    r = l + static_cast<double>(n) / 86400.0;
  else
    return sqlite3_result_error(ctx, kBadCall, -1);
  resultDate(ctx, r);
}

void fnDateDiff(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(std::min(argc, 3), argv)) return sqlite3_result_null(ctx);
  std::string iv = intervalOf(argv[0]);
  double a, b;
  if (!linearArg(ctx, argv[1], a) || !linearArg(ctx, argv[2], b)) return;
  Civil x = civilOf(a), y = civilOf(b);
  long long first = argc > 3 && !isNullArg(argv[3]) ? sqlite3_value_int64(argv[3]) : 1;
  if (first == 0) first = 1;
  long long r;
  auto secsOf = [](const Civil& c) { return c.day * 86400 + c.hh * 3600 + c.mm * 60 + c.ss; };
  if (iv == "yyyy")
    r = y.y - x.y;
  else if (iv == "q")
    r = (y.y * 4 + (y.m - 1) / 3) - (x.y * 4 + (x.m - 1) / 3);
  else if (iv == "m")
    r = (y.y * 12 + y.m) - (x.y * 12 + x.m);
  else if (iv == "y" || iv == "d")
    r = y.day - x.day;
  else if (iv == "w")
    r = (y.day - x.day) / 7;
  else if (iv == "ww") {
    // Week boundaries (the first day of the week) crossed between the two dates.
    auto weekNo = [&](long long day) {
      long long shifted = day - 1 - (first - 1);  // day 1 (1899-12-31) was a Sunday
      return shifted >= 0 ? shifted / 7 : (shifted - 6) / 7;
    };
    r = weekNo(y.day) - weekNo(x.day);
  } else if (iv == "h")
    r = secsOf(y) / 3600 - secsOf(x) / 3600;
  else if (iv == "n")
    r = secsOf(y) / 60 - secsOf(x) / 60;
  else if (iv == "s")
    r = secsOf(y) - secsOf(x);
  else
    return sqlite3_result_error(ctx, kBadCall, -1);
  sqlite3_result_int64(ctx, r);
}

void fnDatePart(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (anyNull(2, argv)) return sqlite3_result_null(ctx);
  std::string iv = intervalOf(argv[0]);
  double l;
  if (!linearArg(ctx, argv[1], l)) return;
  Civil c = civilOf(l);
  long long jan1 = daysFromCivil(c.y, 1, 1) + kEpochOffset;
  long long first = argc > 2 && !isNullArg(argv[2]) ? sqlite3_value_int64(argv[2]) : 1;
  if (first == 0) first = 1;
  long long sunday0 = ((c.day % 7) + 7 + 6) % 7;
  long long wd = ((sunday0 - (first - 1)) % 7 + 7) % 7 + 1;
  long long r;
  if (iv == "yyyy")
    r = c.y;
  else if (iv == "q")
    r = (c.m - 1) / 3 + 1;
  else if (iv == "m")
    r = c.m;
  else if (iv == "y")
    r = c.day - jan1 + 1;
  else if (iv == "d")
    r = c.d;
  else if (iv == "w")
    r = wd;
  else if (iv == "ww") {
    long long jan1Sunday0 = ((jan1 % 7) + 7 + 6) % 7;
    long long jan1Wd = ((jan1Sunday0 - (first - 1)) % 7 + 7) % 7;
    r = (c.day - jan1 + jan1Wd) / 7 + 1;
  } else if (iv == "h")
    r = c.hh;
  else if (iv == "n")
    r = c.mm;
  else if (iv == "s")
    r = c.ss;
  else
    return sqlite3_result_error(ctx, kBadCall, -1);
  sqlite3_result_int64(ctx, r);
}

void fnDateSerial(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long y, m, d;
  if (!integerArg(ctx, argv[0], y) || !integerArg(ctx, argv[1], m) || !integerArg(ctx, argv[2], d))
    return;
  if (y >= 0 && y < 100) y = fullYear(y, 2);
  double l = linearOf(y, 1, 1, 0);
  l = addMonths(l, m - 1);
  resultDate(ctx, l + static_cast<double>(d - 1));
}

void fnTimeSerial(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  long long h, m, s;
  if (!integerArg(ctx, argv[0], h) || !integerArg(ctx, argv[1], m) || !integerArg(ctx, argv[2], s))
    return;
  resultDate(ctx, static_cast<double>(h * 3600 + m * 60 + s) / 86400.0);
}

void fnDateValue(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (linearArg(ctx, argv[0], l)) resultDate(ctx, std::floor(l));
}
void fnTimeValue(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  NULL_IN_NULL_OUT;
  double l;
  if (linearArg(ctx, argv[0], l)) resultDate(ctx, l - std::floor(l));
}

// ---- Format ----

void fnFormat(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  if (isNullArg(argv[0])) {
    if (argc > 1 && !isNullArg(argv[1])) {
      // The fourth section of a number pattern is the text for Null.
      std::string pat = valueText(argv[1]);
      std::vector<std::string> sec;
      std::size_t at = 0;
      for (std::size_t k; (k = pat.find(';', at)) != std::string::npos; at = k + 1)
        sec.push_back(pat.substr(at, k - at));
      sec.push_back(pat.substr(at));
      if (sec.size() == 4) {
        std::string s = sec[3];
        s.erase(std::remove(s.begin(), s.end(), '"'), s.end());
        return resultText(ctx, s);
      }
    }
    return sqlite3_result_null(ctx);
  }
  if (argc < 2 || isNullArg(argv[1]) || valueText(argv[1]).empty())
    return resultText(ctx, valueText(argv[0]));
  std::string pat = valueText(argv[1]);
  std::string lp = lowerText(pat);
  int t = sqlite3_value_type(argv[0]);
  double x = 0;
  bool isNum = numberOf(argv[0], x);
  double l = 0;
  bool isDate = t == SQLITE_TEXT ? parseDate(textOf(argv[0]), l) : false;
  if (!isDate && isNum) l = linearOfSerial(x);
  auto needNumber = [&]() {
    if (!isNum) sqlite3_result_error(ctx, kMismatch, -1);
    return isNum;
  };
  if (lp == "general number") {
    if (!needNumber()) return;
    return resultText(ctx, valueText(argv[0]));
  }
  if (lp == "fixed") return needNumber() ? resultText(ctx, fixed(x, 2, false)) : void();
  if (lp == "standard") return needNumber() ? resultText(ctx, fixed(x, 2, true)) : void();
  if (lp == "percent")
    return needNumber() ? resultText(ctx, fixed(x * 100, 2, false) + "%") : void();
  if (lp == "scientific") {
    if (!needNumber()) return;
    bool ok;
    return resultText(ctx, formatNumberPattern(x, "0.00E+00", ok));
  }
  if (lp == "yes/no" || lp == "true/false" || lp == "on/off") {
    if (!needNumber()) return;
    const char* on = lp == "yes/no" ? "Yes" : lp == "true/false" ? "True" : "On";
    const char* off = lp == "yes/no" ? "No" : lp == "true/false" ? "False" : "Off";
    return resultText(ctx, x != 0 ? on : off);
  }
  if (lp == "general date" || lp == "short date" || lp == "short time" || lp == "long time") {
    if (!isDate && !isNum) return sqlite3_result_error(ctx, kMismatch, -1);
    std::string s;
    bool ok;
    if (lp == "general date") {
      if (!dateText(l, s)) return sqlite3_result_error(ctx, kOverflow, -1);
    } else {
      s = formatDatePattern(l,
                            lp == "short date"   ? "yyyy-mm-dd"
                            : lp == "short time" ? "hh:nn"
                                                 : "hh:nn:ss",
                            ok);
    }
    return resultText(ctx, s);
  }
  if (isDatePattern(pat)) {
    if (!isDate && !isNum) return sqlite3_result_error(ctx, kMismatch, -1);
    bool ok;
    std::string s = formatDatePattern(l, pat, ok);
    if (!ok) {
      std::string msg = "Format pattern '" + pat + "' is not supported by the store.";
      return sqlite3_result_error(ctx, msg.c_str(), -1);
    }
    return resultText(ctx, s);
  }
  if (!isNum) return sqlite3_result_error(ctx, kMismatch, -1);
  std::vector<std::string> sec;
  std::size_t at = 0;
  for (std::size_t k; (k = pat.find(';', at)) != std::string::npos; at = k + 1)
    sec.push_back(pat.substr(at, k - at));
  sec.push_back(pat.substr(at));
  std::string use = sec[0];
  double v = x;
  if (x < 0 && sec.size() > 1 && !sec[1].empty()) {
    use = sec[1];
    v = -x;
  } else if (x == 0 && sec.size() > 2 && !sec[2].empty()) {
    use = sec[2];
  }
  bool ok;
  std::string s = formatNumberPattern(v, use, ok);
  if (!ok) {
    std::string msg = "Format pattern '" + pat + "' is not supported by the store.";
    return sqlite3_result_error(ctx, msg.c_str(), -1);
  }
  resultText(ctx, s);
}

// ---- aggregates ----

struct VarianceAcc {
  std::int64_t n;
  double mean;
  double m2;
};

void varianceStep(sqlite3_context* ctx, int, sqlite3_value** argv) {
  if (isNullArg(argv[0])) return;
  double x;
  if (!numberOf(argv[0], x)) return sqlite3_result_error(ctx, kMismatch, -1);
  auto* acc = static_cast<VarianceAcc*>(sqlite3_aggregate_context(ctx, sizeof(VarianceAcc)));
  if (!acc) return;
  acc->n += 1;
  double d = x - acc->mean;
  acc->mean += d / static_cast<double>(acc->n);
  acc->m2 += d * (x - acc->mean);
}

template <bool Sample, bool Root>
void varianceFinal(sqlite3_context* ctx) {
  auto* acc = static_cast<VarianceAcc*>(sqlite3_aggregate_context(ctx, 0));
  std::int64_t need = Sample ? 2 : 1;
  if (!acc || acc->n < need) return sqlite3_result_null(ctx);
  double v = acc->m2 / static_cast<double>(Sample ? acc->n - 1 : acc->n);
  sqlite3_result_double(ctx, Root ? std::sqrt(v) : v);
}

struct PickAcc {
  sqlite3_value* v;
  bool seen;
};
template <bool Last>
void pickStep(sqlite3_context* ctx, int, sqlite3_value** argv) {
  auto* acc = static_cast<PickAcc*>(sqlite3_aggregate_context(ctx, sizeof(PickAcc)));
  if (!acc) return;
  if (acc->seen && !Last) return;
  sqlite3_value_free(acc->v);
  acc->v = sqlite3_value_dup(argv[0]);
  acc->seen = true;
}
void pickFinal(sqlite3_context* ctx) {
  auto* acc = static_cast<PickAcc*>(sqlite3_aggregate_context(ctx, 0));
  if (!acc || !acc->v) return sqlite3_result_null(ctx);
  sqlite3_result_value(ctx, acc->v);
  sqlite3_value_free(acc->v);
  acc->v = nullptr;
}

using Fn = void (*)(sqlite3_context*, int, sqlite3_value**);
struct FnDef {
  const char* name;
  int nargs;
  Fn fn;
  bool deterministic = true;
};

}  // namespace

// ---- public helpers ----------------------------------------------------------------------------

double roundHalfEven(double x) {
  double r = std::round(x);
  if (std::fabs(x - std::trunc(x)) == 0.5) r = 2.0 * std::round(x / 2.0);
  return r;
}

double serialOfLinear(double l) {
  if (l >= 0) return l;
  double day = std::floor(l);
  double frac = l - day;
  return frac == 0 ? day : day - frac;
}

double linearOfSerial(double s) {
  if (s >= 0) return s;
  double day = std::ceil(s);  // the integer part, toward zero
  return day + (day - s);
}

bool dateText(double linear, std::string& out) {
  if (!std::isfinite(linear)) return false;
  Civil c = civilOf(linear);
  if (c.y < 100 || c.y > 9999) return false;
  char buf[40];
  if (c.hh == 0 && c.mm == 0 && c.ss == 0)
    std::snprintf(buf, sizeof buf, "%04lld-%02u-%02u", c.y, c.m, c.d);
  else
    std::snprintf(buf, sizeof buf, "%04lld-%02u-%02u %02d:%02d:%02d", c.y, c.m, c.d, c.hh, c.mm,
                  c.ss);
  out = buf;
  return true;
}

bool parseDate(std::string_view in, double& linear) {
  std::string s(in);
  while (!s.empty() && s.back() == ' ') s.pop_back();
  std::size_t b = s.find_first_not_of(' ');
  if (b == std::string::npos) return false;
  s = s.substr(b);
  double secs = 0;
  if (parseTime(s, secs)) {
    linear = secs / 86400.0;
    return true;
  }
  // Split the date part into up to three fields at '-', '/', '.', ' ' or ','.
  std::vector<std::string> parts;
  std::size_t i = 0;
  while (i < s.size() && parts.size() < 3) {
    while (i < s.size() && (s[i] == ' ' || s[i] == ',')) ++i;
    std::size_t j = i;
    if (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) {
      while (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) ++j;
    } else {
      while (j < s.size() && std::isalpha(static_cast<unsigned char>(s[j]))) ++j;
    }
    if (j == i) return false;
    parts.push_back(s.substr(i, j - i));
    i = j;
    if (parts.size() < 3) {
      if (i < s.size() && (s[i] == '-' || s[i] == '/' || s[i] == '.' || s[i] == ' ' || s[i] == ','))
        ++i;
      else if (i < s.size())
        return false;
    }
  }
  if (parts.size() != 3) return false;
  std::string rest = s.substr(i);
  std::size_t rb = rest.find_first_not_of(" T");
  rest = rb == std::string::npos ? "" : rest.substr(rb);
  if (!rest.empty() && !parseTime(rest, secs)) return false;
  long long y, m, d;
  auto isNum = [](const std::string& p) {
    return std::isdigit(static_cast<unsigned char>(p[0])) != 0;
  };
  auto num = [](const std::string& p) { return p.size() > 6 ? 0LL : std::stoll(p); };
  std::size_t yDigits;
  if (!isNum(parts[1]) && isNum(parts[0]) && isNum(parts[2])) {  // 29-Dec-1995
    d = num(parts[0]);
    m = monthOfName(parts[1]);
    y = num(parts[2]);
    yDigits = parts[2].size();
  } else if (!isNum(parts[0]) && isNum(parts[1]) && isNum(parts[2])) {  // Dec 29 1995
    m = monthOfName(parts[0]);
    d = num(parts[1]);
    y = num(parts[2]);
    yDigits = parts[2].size();
  } else if (isNum(parts[0]) && isNum(parts[1]) && isNum(parts[2])) {
    long long a = num(parts[0]), bb = num(parts[1]), c = num(parts[2]);
    if (parts[0].size() >= 3 || a > 31) {  // year first
      y = a;
      m = bb;
      d = c;
      yDigits = parts[0].size();
    } else {  // month first, day first when the first cannot be a month
      m = a;
      d = bb;
      if (m > 12 && d <= 12) std::swap(m, d);
      y = c;
      yDigits = parts[2].size();
    }
  } else {
    return false;
  }
  y = fullYear(y, yDigits);
  if (m < 1 || m > 12 || d < 1 || y < 100 || y > 9999) return false;
  if (d > static_cast<long long>(daysInMonth(y, static_cast<unsigned>(m)))) return false;
  linear = linearOf(y, static_cast<unsigned>(m), static_cast<unsigned>(d), secs);
  return true;
}

std::string numberText(double v, bool single) {
  if (v == 0) return "0";
  char buf[48];
  std::snprintf(buf, sizeof buf, single ? "%.7G" : "%.15G", v);
  std::string s = buf;
  std::size_t e = s.find('E');
  std::string mant = e == std::string::npos ? s : s.substr(0, e);
  if (mant.find('.') != std::string::npos) {
    while (mant.back() == '0') mant.pop_back();
    if (mant.back() == '.') mant.pop_back();
  }
  if (e == std::string::npos) return mant;
  std::string ex = s.substr(e + 1);  // "+38", "-05"
  char sign = ex[0];
  std::string digits = ex.substr(1);
  while (digits.size() > 2 && digits[0] == '0') digits.erase(0, 1);
  return mant + "E" + sign + digits;
}

namespace {

// The base letter of an accented Latin-1 letter, as the primary weight of the sort order.
char32_t baseLetter(char32_t c) {
  static const char kBase[] = "aaaaaaaceeeeiiiidnooooo?ouuuuy?y";  // U+00E0 … U+00FF
  if (c == 0xDF) return 's';
  if (c >= 0xE0 && c <= 0xFF && kBase[c - 0xE0] != '?')
    return static_cast<char32_t>(kBase[c - 0xE0]);
  return c;
}

int comparePass(std::string_view a, std::string_view b, bool primary, bool& sawOther) {
  const char* p = a.data();
  const char* pe = p + a.size();
  const char* q = b.data();
  const char* qe = q + b.size();
  while (p < pe && q < qe) {
    char32_t x, y;
    auto cp = static_cast<unsigned char>(*p), cq = static_cast<unsigned char>(*q);
    if (cp < 0x80 && cq < 0x80) {
      x = (cp >= 'A' && cp <= 'Z') ? cp + 32u : cp;
      y = (cq >= 'A' && cq <= 'Z') ? cq + 32u : cq;
      ++p;
      ++q;
    } else {
      sawOther = true;
      x = foldCase(decode(p, pe));
      y = foldCase(decode(q, qe));
      if (primary) {
        x = baseLetter(x);
        y = baseLetter(y);
      }
    }
    if (x != y) return x < y ? -1 : 1;
  }
  if (p < pe) return 1;
  if (q < qe) return -1;
  return 0;
}

}  // namespace

// Case-blind; accents weigh less than letters (a < ä < b), as in Jet's General sort order.
int compareText(std::string_view a, std::string_view b) {
  bool other = false;
  int r = comparePass(a, b, true, other);
  if (r != 0 || !other) return r;
  return comparePass(a, b, false, other);
}

std::string upperText(std::string_view s) {
  std::string out;
  const char* p = s.data();
  const char* e = p + s.size();
  while (p < e) encode(upperCase(decode(p, e)), out);
  return out;
}

std::string lowerText(std::string_view s) {
  std::string out;
  const char* p = s.data();
  const char* e = p + s.size();
  while (p < e) encode(foldCase(decode(p, e)), out);
  return out;
}

void registerRuntime(sqlite3* db) {
  static const FnDef fns[] = {
      {"jet_div", 2, fnDiv},
      {"jet_idiv", 2, fnIntDiv},
      {"jet_mod", 2, fnMod},
      {"jet_pow", 2, fnPow},
      {"jet_add", 2, fnAdd},
      {"jet_cat", 2, fnCat},
      {"jet_single_text", 1, fnSingleText},
      {"jet_like", 2, fnLike},
      {"jet_datekey", 1, fnDateKey},
      {"jet_serial", 1, fnSerial},
      {"jet_date_plus", 2, fnDatePlus},
      {"jet_date_minus", 2, fnDateMinus},
      {"jet_long", 1, fnLong},
      {"jet_integer", 1, fnInteger},
      {"jet_byte", 1, fnByte},
      {"jet_bit", 1, fnBit},
      {"jet_single", 1, fnSingle},
      {"jet_double", 1, fnDouble},
      {"jet_currency", 1, fnCurrency},
      {"jet_date", 1, fnDate},
      {"jet_text", 2, fnText},
      {"jet_cstr", 1, fnCStr},
      {"jet_ceil", 1, fnCeil},
      {"jet_log", 1, fnMath<lnOf>},
      {"jet_sqr", 1, fnMath<sqrOf>},
      {"jet_exp", 1, fnMath<expOf>},
      {"jet_sin", 1, fnMath<sinOf>},
      {"jet_cos", 1, fnMath<cosOf>},
      {"jet_tan", 1, fnMath<tanOf>},
      {"jet_atn", 1, fnMath<atnOf>},
      {"jet_abs", 1, fnKeepType<0>},
      {"jet_int", 1, fnKeepType<1>},
      {"jet_fix", 1, fnKeepType<2>},
      {"jet_sgn", 1, fnSgn},
      {"jet_round", 1, fnRound},
      {"jet_round", 2, fnRound},
      {"jet_val", 1, fnVal},
      {"jet_hex", 1, fnRadix<16>},
      {"jet_oct", 1, fnRadix<8>},
      {"jet_str", 1, fnStr},
      {"jet_len", 1, fnLen},
      {"jet_left", 2, fnLeft},
      {"jet_right", 2, fnRight},
      {"jet_mid", 2, fnMid},
      {"jet_mid", 3, fnMid},
      {"jet_instr", 2, fnInStr},
      {"jet_instr", 3, fnInStr},
      {"jet_instr", 4, fnInStr},
      {"jet_ucase", 1, fnUpper},
      {"jet_lcase", 1, fnLower},
      {"jet_trim", 1, fnTrim<true, true>},
      {"jet_ltrim", 1, fnTrim<true, false>},
      {"jet_rtrim", 1, fnTrim<false, true>},
      {"jet_space", 1, fnSpace},
      {"jet_string", 2, fnString},
      {"jet_replace", 3, fnReplace},
      {"jet_strreverse", 1, fnReverse},
      {"jet_format", 1, fnFormat},
      {"jet_format", 2, fnFormat},
      {"jet_now", 0, fnNow, false},
      {"jet_today", 0, fnToday, false},
      {"jet_time", 0, fnTime, false},
      {"jet_year", 1, fnDatePartOf<0>},
      {"jet_month", 1, fnDatePartOf<1>},
      {"jet_day", 1, fnDatePartOf<2>},
      {"jet_hour", 1, fnDatePartOf<3>},
      {"jet_minute", 1, fnDatePartOf<4>},
      {"jet_second", 1, fnDatePartOf<5>},
      {"jet_weekday", 1, fnDatePartOf<6>},
      {"jet_weekday", 2, fnDatePartOf<6>},
      {"jet_dateadd", 3, fnDateAdd},
      {"jet_datediff", 3, fnDateDiff},
      {"jet_datediff", 4, fnDateDiff},
      {"jet_datepart", 2, fnDatePart},
      {"jet_datepart", 3, fnDatePart},
      {"jet_dateserial", 3, fnDateSerial},
      {"jet_timeserial", 3, fnTimeSerial},
      {"jet_datevalue", 1, fnDateValue},
      {"jet_timevalue", 1, fnTimeValue},
  };
  for (const auto& f : fns)
    sqlite3_create_function(db, f.name, f.nargs,
                            SQLITE_UTF8 | (f.deterministic ? SQLITE_DETERMINISTIC : 0), nullptr,
                            f.fn, nullptr, nullptr);
  const int agg = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
  sqlite3_create_function(db, "jet_stdev", 1, agg, nullptr, nullptr, varianceStep,
                          varianceFinal<true, true>);
  sqlite3_create_function(db, "jet_stdevp", 1, agg, nullptr, nullptr, varianceStep,
                          varianceFinal<false, true>);
  sqlite3_create_function(db, "jet_var", 1, agg, nullptr, nullptr, varianceStep,
                          varianceFinal<true, false>);
  sqlite3_create_function(db, "jet_varp", 1, agg, nullptr, nullptr, varianceStep,
                          varianceFinal<false, false>);
  sqlite3_create_function(db, "jet_first", 1, agg, nullptr, nullptr, pickStep<false>, pickFinal);
  sqlite3_create_function(db, "jet_last", 1, agg, nullptr, nullptr, pickStep<true>, pickFinal);
  sqlite3_create_collation(db, kCollation, SQLITE_UTF8, nullptr, collate);
}

}  // namespace sarnoth::jet
