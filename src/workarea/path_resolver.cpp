#include "workarea/path_resolver.h"

#include <filesystem>
#include <system_error>
#include <vector>

namespace sarnoth {
namespace fs = std::filesystem;

namespace {

bool equalsCaseBlind(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
    if (x != y) return false;
  }
  return true;
}

}  // namespace

std::string resolvePath(const std::string& path) {
  if (path.empty()) return path;
  std::string p = path;
  for (char& c : p)
    if (c == '\\') c = '/';
  bool absolute = p[0] == '/';
  std::vector<std::string> parts;
  std::size_t i = 0;
  while (i <= p.size()) {
    std::size_t j = p.find('/', i);
    if (j == std::string::npos) j = p.size();
    if (j > i) parts.push_back(p.substr(i, j - i));
    i = j + 1;
  }
  bool trailing = p.back() == '/';
  std::string out = absolute ? "/" : "";
  bool stillExists = true;
  std::error_code ec;
  for (std::size_t k = 0; k < parts.size(); ++k) {
    std::string comp = parts[k];
    std::string base = out.empty() ? "." : out;
    if (stillExists && comp != "." && comp != "..") {
      fs::path candidate = fs::path(base) / comp;
      if (!fs::exists(candidate, ec)) {
        bool found = false;
        for (fs::directory_iterator it(base, ec), end; !ec && it != end; it.increment(ec)) {
          std::string name = it->path().filename().string();
          if (equalsCaseBlind(name, comp)) {
            comp = name;
            found = true;
            break;
          }
        }
        if (!found) stillExists = false;
      }
    }
    if (!out.empty() && out.back() != '/') out += '/';
    out += comp;
  }
  if (trailing && !out.empty() && out.back() != '/') out += '/';
  return out;
}

bool pathExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(resolvePath(path), ec);
}

}  // namespace sarnoth
