#include "workarea/file_text.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "workarea/path_resolver.h"

namespace sarnoth::filetext {

bool readWholeFile(const std::string& path, std::string& bytes) {
  std::ifstream in(resolvePath(path), std::ios::binary);
  if (!in) return false;
  std::ostringstream ss;
  ss << in.rdbuf();
  if (in.bad()) return false;
  bytes = std::move(ss).str();
  return true;
}

// Lines of a text without their CR LF or LF.
std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t nl = text.find('\n', pos);
    std::size_t end = nl == std::string::npos ? text.size() : nl;
    std::size_t len = end - pos;
    if (len > 0 && text[end - 1] == '\r') --len;
    lines.emplace_back(text, pos, len);
    if (nl == std::string::npos) break;
    pos = nl + 1;
  }
  return lines;
}

std::string trim(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return {};
  std::size_t e = s.find_last_not_of(" \t\r\n");
  return s.substr(b, e - b + 1);
}

// A whole item as a number, as stream input reads it: blanks around are allowed, anything else
// after the number is not.
bool parseDouble(const std::string& item, double& v) {
  std::string t = trim(item);
  if (t.empty()) return false;
  const char* s = t.c_str();
  char* end = nullptr;
  v = std::strtod(s, &end);
  return end != s && *end == '\0';
}

bool parseFloat(const std::string& item, float& v) {
  std::string t = trim(item);
  if (t.empty()) return false;
  const char* s = t.c_str();
  char* end = nullptr;
  v = std::strtof(s, &end);
  return end != s && *end == '\0';
}

bool parseInt(const std::string& item, long long& v) {
  std::string t = trim(item);
  if (t.empty()) return false;
  const char* s = t.c_str();
  char* end = nullptr;
  v = std::strtoll(s, &end, 10);
  return end != s && *end == '\0';
}

// Items separated by one or more blanks or tabs.
std::vector<std::string> splitBlanks(const std::string& line) {
  std::vector<std::string> items;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    if (i >= line.size()) break;
    std::size_t j = i;
    while (j < line.size() && line[j] != ' ' && line[j] != '\t') ++j;
    items.push_back(line.substr(i, j - i));
    i = j;
  }
  return items;
}

std::vector<std::string> splitAt(const std::string& line, char sep) {
  std::vector<std::string> items;
  std::size_t pos = 0;
  while (true) {
    std::size_t c = line.find(sep, pos);
    items.push_back(line.substr(pos, c == std::string::npos ? std::string::npos : c - pos));
    if (c == std::string::npos) break;
    pos = c + 1;
  }
  return items;
}

bool writeWholeFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(resolvePath(path), std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return !out.fail();
}

}  // namespace sarnoth::filetext
