#include "workarea/profile_file.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "workarea/path_resolver.h"
#include "workarea/text_codec.h"

namespace sarnoth {
namespace {

std::string upper(std::string s) {
  for (char& c : s)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return s;
}

std::string trim(const std::string& s) {
  std::size_t b = 0, e = s.size();
  while (b < e && (s[b] == ' ' || s[b] == '\t' || s[b] == '\r' || s[b] == '\n')) ++b;
  while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t' || s[e - 1] == '\r' || s[e - 1] == '\n'))
    --e;
  return s.substr(b, e - b);
}

}  // namespace

ProfileFile ProfileFile::parse(const std::string& text) {
  ProfileFile pf;
  pf.loaded_ = true;
  std::istringstream in(text);
  std::string line;
  std::string section;
  bool inSection = false;
  while (std::getline(in, line)) {
    std::string t = trim(line);
    if (t.empty() || t[0] == ';') continue;
    if (t[0] == '[') {
      std::size_t close = t.find(']');
      section =
          upper(trim(t.substr(1, close == std::string::npos ? std::string::npos : close - 1)));
      inSection = true;
      pf.sections_[section];
      continue;
    }
    if (!inSection) continue;
    std::size_t eq = t.find('=');
    if (eq == std::string::npos) continue;
    std::string key = upper(trim(t.substr(0, eq)));
    std::string val = trim(t.substr(eq + 1));
    if (val.size() >= 2 && (val.front() == '"' || val.front() == '\'') && val.back() == val.front())
      val = val.substr(1, val.size() - 2);
    pf.sections_[section].emplace(key, val);
  }
  return pf;
}

ProfileFile ProfileFile::load(const std::string& path) {
  std::ifstream f(resolvePath(path), std::ios::binary);
  if (!f) return ProfileFile{};
  std::ostringstream ss;
  ss << f.rdbuf();
  std::string bytes = ss.str();
  // A settings file is small; anything huge or holding NULs early is not one.
  if (bytes.size() > (1u << 20)) bytes.resize(1u << 20);
  return parse(decodeFileText(bytes));
}

std::optional<std::string> ProfileFile::value(const std::string& section,
                                              const std::string& key) const {
  auto s = sections_.find(upper(section));
  if (s == sections_.end()) return std::nullopt;
  auto k = s->second.find(upper(key));
  if (k == s->second.end()) return std::nullopt;
  return k->second;
}

std::string cutToChars(const std::string& utf8, std::size_t maxChars) {
  std::size_t chars = 0, i = 0;
  while (i < utf8.size()) {
    if (chars == maxChars) return utf8.substr(0, i);
    unsigned char c = static_cast<unsigned char>(utf8[i]);
    std::size_t len = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    i += len;
    ++chars;
  }
  return utf8;
}

std::string getProfileString(const std::string& path, const std::string& section,
                             const std::string& key, const std::string& def,
                             std::size_t bufferSize) {
  if (bufferSize == 0) return {};
  ProfileFile pf = ProfileFile::load(path);
  std::string v = pf.value(section, key).value_or(trim(def));
  return cutToChars(v, bufferSize - 1);
}

int getProfileInt(const std::string& path, const std::string& section, const std::string& key,
                  int def) {
  ProfileFile pf = ProfileFile::load(path);
  auto v = pf.value(section, key);
  if (!v) return def;
  const char* s = v->c_str();
  char* end = nullptr;
  long n = std::strtol(s, &end, 10);
  if (end == s) return 0;
  return static_cast<int>(n);
}

}  // namespace sarnoth
