#include "cli/cli.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {

std::string Args::get(const std::string& name, const std::string& def) const {
  auto it = options.find(name);
  return it == options.end() ? def : it->second;
}

double Args::getDouble(const std::string& name, double def) const {
  auto it = options.find(name);
  if (it == options.end() || it->second.empty()) return def;
  char* end = nullptr;
  double v = std::strtod(it->second.c_str(), &end);
  // A number option that is not a number is refused, never read as its default or as 0.
  if (end == it->second.c_str() || *end != '\0' || !std::isfinite(v))
    throw std::invalid_argument("--" + name + ": not a number: " + it->second);
  return v;
}

long long Args::getInt(const std::string& name, long long def) const {
  auto it = options.find(name);
  if (it == options.end() || it->second.empty()) return def;
  char* end = nullptr;
  long long v = std::strtoll(it->second.c_str(), &end, 10);
  if (end == it->second.c_str() || *end != '\0')
    throw std::invalid_argument("--" + name + ": not a whole number: " + it->second);
  return v;
}

std::string Args::pos(std::size_t n, const std::string& def) const {
  return n < positional.size() ? positional[n] : def;
}

std::map<std::string, Command>& commands() {
  static std::map<std::string, Command> c;
  return c;
}

CommandRegistrar::CommandRegistrar(Command c) { commands()[c.name] = std::move(c); }

Args parseArgs(int argc, char** argv, int first) {
  Args a;
  bool onlyPositional = false;
  for (int i = first; i < argc; ++i) {
    std::string s = argv[i];
    if (!onlyPositional && s == "--") {
      onlyPositional = true;
    } else if (!onlyPositional && s.size() > 2 && s.rfind("--", 0) == 0) {
      std::string name = s.substr(2);
      std::size_t eq = name.find('=');
      if (eq != std::string::npos) {
        a.options[name.substr(0, eq)] = name.substr(eq + 1);
      } else if (i + 1 < argc && (std::string(argv[i + 1]).rfind("--", 0) != 0 ||
                                  std::string(argv[i + 1]).size() <= 2)) {
        // A value follows unless the next word is itself an option. Flags that never take a
        // value are listed so that "--yes file" keeps the file positional.
        static const char* kFlags[] = {
            "yes",        "no",      "overwrite", "help",     "nulls-empty", "skip-nulls",
            "keep-nulls", "quiet",   "verbose",   "json",     "polygons",    "rect",
            "colour-bar", "outside", "replace",   "in-place", "append",      "km"};
        bool isFlag = false;
        for (const char* f : kFlags)
          if (name == f) isFlag = true;
        if (isFlag)
          a.options[name] = "";
        else
          a.options[name] = argv[++i];
      } else {
        a.options[name] = "";
      }
    } else if (!onlyPositional && s.size() == 2 && s[0] == '-' && s[1] != '-' &&
               std::isalpha(static_cast<unsigned char>(s[1])) && i + 1 < argc) {
      a.options[s.substr(1)] = argv[++i];
    } else {
      a.positional.push_back(s);
    }
  }
  return a;
}

std::string workPath(const Args& a) {
  if (a.has("workarea")) return withTrailingSeparator(a.get("workarea"));
  StartupResult r = loadSession(executableDir());
  return r.ok ? gWorkPath : std::string();
}

std::string workGridPath(const std::string& work, const std::string& in) {
  if (pathExists(in) || work.empty()) return in;
  const std::string p = work + "Grid_Dat/" + in;
  if (pathExists(p)) return resolvePath(p);
  if (pathExists(p + ".grd")) return resolvePath(p + ".grd");
  return in;
}

Database openWorkTable(const std::string& work, const std::string& table) {
  Database db = openWorkDatabase(work);
  if (!db.tableExists(table)) throw StoreError("数据表不存在: " + table);
  return db;
}

int failWith(const std::string& text) {
  std::cerr << text << "\n";
  return 1;
}

CliInteraction::CliInteraction(const Args& a)
    : answer_(a.has("yes") || a.has("overwrite") ? Answer::Yes : Answer::No) {}

Answer CliInteraction::ask(const std::string& title, const std::string& text, Buttons buttons,
                           Icon) {
  Answer ans = answer_;
  if (buttons == Buttons::Ok || buttons == Buttons::OkCancel)
    ans = answer_ == Answer::Yes ? Answer::Ok : Answer::Cancel;
  std::cerr << title << ": " << text << " -> "
            << (ans == Answer::Yes  ? "是"
                : ans == Answer::Ok ? "确定"
                : ans == Answer::No ? "否"
                                    : "取消")
            << "\n";
  return ans;
}

void CliInteraction::inform(const std::string& title, const std::string& text, Icon) {
  std::cerr << title << ": " << text << "\n";
}

CliProgress::CliProgress(std::string label) : label_(std::move(label)), tty_(isatty(2) != 0) {}

CliProgress::~CliProgress() {
  if (tty_ && lastPct_ >= 0) std::fprintf(stderr, "\n");
}

void CliProgress::setValue(std::int64_t value) {
  Progress::setValue(value);
  if (!tty_ || maximum() <= 0) return;
  int pct = static_cast<int>(100 * value / maximum());
  if (pct == lastPct_) return;
  lastPct_ = pct;
  std::fprintf(stderr, "\r%s %3d%%", label_.c_str(), pct);
  std::fflush(stderr);
}

}  // namespace sarnoth::cli
