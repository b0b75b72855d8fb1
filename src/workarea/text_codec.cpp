#include "workarea/text_codec.h"

#include <iconv.h>

#include <cerrno>
#include <mutex>

namespace sarnoth {
namespace {

// iconv descriptors are not thread-safe; one per direction guarded by a mutex is plenty for the
// amounts of text the program converts.
struct Converter {
  iconv_t cd;
  std::mutex m;
  Converter(const char* to, const char* from) : cd(iconv_open(to, from)) {}
  ~Converter() {
    if (cd != reinterpret_cast<iconv_t>(-1)) iconv_close(cd);
  }

  std::string run(std::string_view in, const char* replacement, std::size_t badWidth,
                  std::size_t* replaced = nullptr) {
    std::string out;
    if (in.empty()) return out;
    std::lock_guard lock(m);
    if (cd == reinterpret_cast<iconv_t>(-1)) return std::string(in);
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    out.resize(in.size() * 2 + 16);
    char* src = const_cast<char*>(in.data());
    std::size_t srcLeft = in.size();
    char* dst = out.data();
    std::size_t dstLeft = out.size();
    while (srcLeft > 0) {
      std::size_t r = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
      if (r != static_cast<std::size_t>(-1)) break;
      if (errno == E2BIG) {
        std::size_t used = static_cast<std::size_t>(dst - out.data());
        out.resize(out.size() * 2);
        dst = out.data() + used;
        dstLeft = out.size() - used;
        continue;
      }
      // EILSEQ or EINVAL: put the replacement and skip the offending input.
      std::size_t repLen = std::char_traits<char>::length(replacement);
      if (dstLeft < repLen) {
        std::size_t used = static_cast<std::size_t>(dst - out.data());
        out.resize(out.size() * 2 + repLen);
        dst = out.data() + used;
        dstLeft = out.size() - used;
      }
      for (std::size_t i = 0; i < repLen; ++i) *dst++ = replacement[i];
      dstLeft -= repLen;
      if (replaced) ++*replaced;
      std::size_t skip = std::min(badWidth, srcLeft);
      if (errno == EILSEQ && badWidth == 0) {
        // Skip one whole UTF-8 character.
        unsigned char c = static_cast<unsigned char>(*src);
        skip = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
        skip = std::min(skip, srcLeft);
      }
      if (skip == 0) skip = 1;
      src += skip;
      srcLeft -= skip;
    }
    out.resize(static_cast<std::size_t>(dst - out.data()));
    return out;
  }
};

Converter& toGbk() {
  static Converter c("GBK", "UTF-8");
  return c;
}
Converter& fromGbk() {
  static Converter c("UTF-8", "GBK");
  return c;
}

}  // namespace

std::string utf8ToGbk(std::string_view utf8) { return utf8ToGbk(utf8, nullptr); }

std::string utf8ToGbk(std::string_view utf8, std::size_t* replaced) {
  bool ascii = true;
  for (unsigned char ch : utf8)
    if (ch >= 0x80) {
      ascii = false;
      break;
    }
  if (ascii) return std::string(utf8);
  return toGbk().run(utf8, "?", 0, replaced);
}

std::string gbkToUtf8(std::string_view gbk) {
  bool ascii = true;
  for (unsigned char ch : gbk)
    if (ch >= 0x80) {
      ascii = false;
      break;
    }
  if (ascii) return std::string(gbk);
  return fromGbk().run(gbk, "\xEF\xBF\xBD", 1);
}

bool isValidUtf8(std::string_view s) {
  std::size_t i = 0, n = s.size();
  while (i < n) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t len;
    unsigned int cp;
    if ((c & 0xE0) == 0xC0) {
      len = 2;
      cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      len = 3;
      cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > n) return false;
    for (std::size_t k = 1; k < len; ++k) {
      unsigned char cc = static_cast<unsigned char>(s[i + k]);
      if ((cc & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (cc & 0x3F);
    }
    if ((len == 2 && cp < 0x80) || (len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000) ||
        cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
      return false;
    i += len;
  }
  return true;
}

namespace {

// Whether well-formed UTF-8 made of one- and two-byte characters reads like text: Latin, the
// Greek letters and the signs of the trade (°, µ, ², Δ). Combining marks, the rarer Greek signs
// and the scripts from Cyrillic on are what a GBK text passing for UTF-8 turns into ("铜" is
// CD AD, a combining mark; "图" is CD BC, the Greek sign U+037C).
bool plausibleNarrowUtf8(std::string_view s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) continue;
    if (c >= 0xE0) return true;  // three or four bytes: every CJK character is written so
    unsigned cp = ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(s[++i]) & 0x3Fu);
    const bool latin = cp >= 0xA0 && cp <= 0x24F;
    const bool greekLetter = cp >= 0x386 && cp <= 0x3CE;
    if (!latin && !greekLetter) return false;
  }
  return true;
}

// Whether the bytes are well-formed GBK: a lead byte 0x81–0xFE followed by 0x40–0xFE (not 0x7F).
bool isValidGbk(std::string_view s) {
  for (std::size_t i = 0; i < s.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) continue;
    if (c == 0x80 || c == 0xFF || i + 1 >= s.size()) return false;
    unsigned char t = static_cast<unsigned char>(s[++i]);
    if (t < 0x40 || t == 0x7F || t == 0xFF) return false;
  }
  return true;
}

}  // namespace

bool decodesAsUtf8(std::string_view bytes) {
  if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") return true;
  if (!isValidUtf8(bytes)) return false;
  return plausibleNarrowUtf8(bytes) || !isValidGbk(bytes);
}

std::string decodeFileText(std::string_view bytes) {
  if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") {
    bytes.remove_prefix(3);
    return std::string(bytes);
  }
  if (!isValidUtf8(bytes)) return gbkToUtf8(bytes);
  // A short GBK text can pass for UTF-8 made of two-byte characters ("铜Cu"): unless those read
  // like Latin or Greek text, it is taken as GBK, the system's own code page.
  if (!plausibleNarrowUtf8(bytes) && isValidGbk(bytes)) return gbkToUtf8(bytes);
  return std::string(bytes);
}

std::string gbkFixedField(std::string_view utf8, std::size_t width, char pad) {
  std::string g = utf8ToGbk(utf8);
  if (g.size() > width) {
    // Walk GBK characters: a lead byte >= 0x81 starts a two-byte character.
    std::size_t i = 0;
    while (i < g.size()) {
      std::size_t len = static_cast<unsigned char>(g[i]) >= 0x81 ? 2 : 1;
      if (i + len > width) break;
      i += len;
    }
    g.resize(i);
  }
  g.append(width - g.size(), pad);
  return g;
}

std::string readGbkField(std::string_view bytes) {
  std::size_t nul = bytes.find('\0');
  if (nul != std::string_view::npos) bytes = bytes.substr(0, nul);
  while (!bytes.empty() && (bytes.back() == ' ' || bytes.back() == '\t' || bytes.back() == '\r' ||
                            bytes.back() == '\n'))
    bytes.remove_suffix(1);
  return gbkToUtf8(bytes);
}

}  // namespace sarnoth
