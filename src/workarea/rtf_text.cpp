// RTF writing and reading of plain text reports (see rtf_text.h).
#include "workarea/rtf_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

constexpr const char* kRtfHead =
    "{\\rtf1\\ansi\\ansicpg936\\deff0\\deflang2052"
    "{\\fonttbl{\\f0\\fmodern\\fprq1\\fcharset134 NSimSun;}}\n"
    "\\viewkind4\\uc1\\pard\\f0\\fs20 ";

// UTF-8 → code points; a malformed byte stands for itself as U+FFFD.
std::vector<char32_t> codePoints(const std::string& s) {
  std::vector<char32_t> out;
  for (std::size_t i = 0; i < s.size();) {
    const auto c = static_cast<unsigned char>(s[i]);
    int len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (len == 0 || i + static_cast<std::size_t>(len) > s.size()) {
      out.push_back(0xFFFD);
      ++i;
      continue;
    }
    char32_t cp = len == 1 ? c : c & (0x7F >> len);
    bool ok = true;
    for (int k = 1; k < len; ++k) {
      const auto b = static_cast<unsigned char>(s[i + static_cast<std::size_t>(k)]);
      if ((b & 0xC0) != 0x80) ok = false;
      cp = (cp << 6) | (b & 0x3F);
    }
    out.push_back(ok ? cp : 0xFFFD);
    i += ok ? static_cast<std::size_t>(len) : 1;
  }
  return out;
}

void appendUtf8(std::string& out, char32_t cp) {
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

void appendUnicodeEscape(std::string& out, std::uint16_t unit) {
  out += "\\u" + std::to_string(static_cast<std::int16_t>(unit)) + "?";
}

// Windows-1252's 0x80 … 0x9F; the rest of the page is Latin-1.
constexpr char16_t kCp1252High[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

// Destinations whose text is not the document's body.
bool skippedDestination(const std::string& word) {
  static const char* k[] = {"fonttbl", "colortbl",  "stylesheet", "info",      "pict",
                            "header",  "footer",    "headerl",    "headerr",   "footerl",
                            "footerr", "object",    "listtable",  "xmlnstbl",  "filetbl",
                            "rsidtbl", "generator", "themedata",  "datastore", "latentstyles"};
  for (const char* w : k)
    if (word == w) return true;
  return false;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

class RtfReader {
 public:
  explicit RtfReader(const std::string& rtf) : s_(rtf) {}

  std::optional<std::string> run() {
    if (s_.compare(0, 5, "{\\rtf") != 0) return std::nullopt;
    std::vector<State> stack;
    State st;
    std::size_t i = 0;
    while (i < s_.size()) {
      const char c = s_[i];
      if (c == '{') {
        flushBytes();
        stack.push_back(st);
        ++i;
        // "{\*\dest …}": an optional destination, skipped whole.
        if (s_.compare(i, 2, "\\*") == 0) st.skip = true;
        continue;
      }
      if (c == '}') {
        flushBytes();
        if (stack.empty()) return std::nullopt;
        st = stack.back();
        stack.pop_back();
        ++i;
        if (stack.empty())
          return i == s_.size() || onlyBlanksAfter(i) ? std::optional(out_) : std::nullopt;
        continue;
      }
      if (c == '\\') {
        if (++i >= s_.size()) return std::nullopt;
        const char d = s_[i];
        if (isLetter(d)) {
          std::size_t b = i;
          while (i < s_.size() && isLetter(s_[i])) ++i;
          const std::string word = s_.substr(b, i - b);
          bool hasParam = false;
          long param = 0;
          bool neg = false;
          if (i < s_.size() && s_[i] == '-' && i + 1 < s_.size() && isDigit(s_[i + 1])) {
            neg = true;
            ++i;
          }
          while (i < s_.size() && isDigit(s_[i])) {
            hasParam = true;
            if (param < 1000000) param = param * 10 + (s_[i] - '0');
            ++i;
          }
          if (neg) param = -param;
          if (i < s_.size() && s_[i] == ' ') ++i;  // the delimiting blank belongs to the word
          if (!controlWord(word, hasParam, param, st)) return std::nullopt;
          continue;
        }
        ++i;
        if (d == '\'') {
          if (i + 2 > s_.size()) return std::nullopt;
          const int h = hexValue(s_[i]), l = hexValue(s_[i + 1]);
          if (h < 0 || l < 0) return std::nullopt;
          i += 2;
          if (st.skip) continue;
          if (st.fallbackLeft > 0) {
            --st.fallbackLeft;
            continue;
          }
          bytes_ += static_cast<char>(h * 16 + l);
          continue;
        }
        if (st.skip) continue;
        if (d == '\\' || d == '{' || d == '}') {
          text(st, static_cast<unsigned char>(d));
        } else if (d == '~') {
          text(st, 0xA0);
        } else if (d == '\n' || d == '\r') {
          flushBytes();
          out_ += '\n';  // "\" before a line end is a paragraph mark
        }
        continue;  // other control symbols (\- \_ \|) carry no text here
      }
      ++i;
      if (c == '\n' || c == '\r') continue;
      if (st.skip) continue;
      text(st, static_cast<unsigned char>(c));
    }
    return std::nullopt;  // the outer group never closed
  }

 private:
  struct State {
    bool skip = false;
    int uc = 1;            // fallback characters after \uN
    int fallbackLeft = 0;  // still to skip
  };

  bool onlyBlanksAfter(std::size_t i) const {
    for (; i < s_.size(); ++i)
      if (s_[i] != ' ' && s_[i] != '\n' && s_[i] != '\r' && s_[i] != '\0') return false;
    return true;
  }

  void text(State& st, unsigned char c) {
    if (st.fallbackLeft > 0) {
      --st.fallbackLeft;
      return;
    }
    if (c < 0x80) {
      flushBytes();
      out_ += static_cast<char>(c);
    } else {
      bytes_ += static_cast<char>(c);
    }
  }

  // Bytes of the code page gathered from \'hh and 8-bit characters, decoded together so that a
  // double-byte character split over two escapes comes out whole.
  void flushBytes() {
    if (bytes_.empty()) return;
    if (codePage_ == 1252) {
      for (unsigned char b : bytes_)
        appendUtf8(out_, b >= 0x80 && b < 0xA0 ? kCp1252High[b - 0x80] : b);
    } else {
      out_ += gbkToUtf8(bytes_);
    }
    bytes_.clear();
  }

  bool controlWord(const std::string& w, bool hasParam, long param, State& st) {
    if (skippedDestination(w)) {
      st.skip = true;
      return true;
    }
    if (w == "ansicpg" && hasParam) {
      codePage_ = static_cast<int>(param);
      return true;
    }
    if (w == "uc" && hasParam) {
      st.uc = static_cast<int>(std::max(0L, param));
      return true;
    }
    if (st.skip) return true;
    if (w == "par" || w == "line" || w == "sect" || w == "page") {
      flushBytes();
      st.fallbackLeft = 0;
      out_ += '\n';
    } else if (w == "tab") {
      flushBytes();
      out_ += '\t';
    } else if (w == "u" && hasParam) {
      flushBytes();
      const auto unit = static_cast<char16_t>(param < 0 ? param + 65536 : param);
      if (unit >= 0xD800 && unit < 0xDC00) {
        highSurrogate_ = unit;
      } else if (unit >= 0xDC00 && unit < 0xE000 && highSurrogate_) {
        appendUtf8(out_, 0x10000 + ((static_cast<char32_t>(highSurrogate_) - 0xD800) << 10) +
                             (unit - 0xDC00));
        highSurrogate_ = 0;
      } else {
        appendUtf8(out_, unit);
      }
      st.fallbackLeft = st.uc;
    } else if (w == "emdash") {
      appendUtf8(out_, 0x2014);
    } else if (w == "endash") {
      appendUtf8(out_, 0x2013);
    } else if (w == "bullet") {
      appendUtf8(out_, 0x2022);
    }
    return true;
  }

  const std::string& s_;
  std::string out_;
  std::string bytes_;
  int codePage_ = 936;
  char16_t highSurrogate_ = 0;
};

}  // namespace

std::string textToRtf(const std::string& utf8) {
  std::string out = kRtfHead;
  for (char32_t cp : codePoints(utf8)) {
    if (cp == '\n') {
      out += "\\par\n";
    } else if (cp == '\r') {
      continue;
    } else if (cp == '\\' || cp == '{' || cp == '}') {
      out += '\\';
      out += static_cast<char>(cp);
    } else if (cp == '\t') {
      out += "\\tab ";
    } else if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp < 0x10000) {
      appendUnicodeEscape(out, static_cast<std::uint16_t>(cp));
    } else {
      const char32_t v = cp - 0x10000;
      appendUnicodeEscape(out, static_cast<std::uint16_t>(0xD800 + (v >> 10)));
      appendUnicodeEscape(out, static_cast<std::uint16_t>(0xDC00 + (v & 0x3FF)));
    }
  }
  out += "}\n";
  return out;
}

std::optional<std::string> rtfToText(const std::string& rtf) { return RtfReader(rtf).run(); }

bool writeRtfFile(const std::string& path, const std::string& utf8) {
  return filetext::writeWholeFile(path, textToRtf(utf8));
}

}  // namespace sarnoth
