// sarnoth-cli: the batch front end over sarnoth_core, one command per tool job.
//
// Each command lives in its own cmd_*.cpp and registers itself with a static CommandRegistrar,
// so a new tool lands without touching the dispatcher:
//
//   static int runGrid(sarnoth::cli::Args& a) { ... }
//   static sarnoth::cli::CommandRegistrar reg{{"grid", "grid files: info, convert, import",
//                                              "usage text …", runGrid}};
//
// Options are "--name value" or "--name=value"; "--flag" alone is a flag. Exit status 0 on
// success; otherwise the system's message goes to stderr.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::cli {

struct Args {
  std::string command;
  std::vector<std::string> positional;
  std::map<std::string, std::string> options;  // without the leading dashes

  bool has(const std::string& name) const { return options.count(name) > 0; }
  std::string get(const std::string& name, const std::string& def = {}) const;
  double getDouble(const std::string& name, double def) const;
  long long getInt(const std::string& name, long long def) const;
  // The n-th positional argument or `def`.
  std::string pos(std::size_t n, const std::string& def = {}) const;
};

using Handler = int (*)(Args&);

struct Command {
  std::string name;
  std::string summary;
  std::string usage;
  Handler run;
};

std::map<std::string, Command>& commands();

struct CommandRegistrar {
  explicit CommandRegistrar(Command c);
};

Args parseArgs(int argc, char** argv, int first);

// The work area of a command: --workarea DIR, else the one the settings file beside the
// program names. Carries its trailing separator. Empty when neither is there.
std::string workPath(const Args& a);

// A grid named on the command line: the path as given when there is such a file, else the grid
// of that name (with or without .grd) in the work area's Grid_Dat; `in` itself when neither is
// there, for the reader to refuse.
std::string workGridPath(const std::string& work, const std::string& in);

// The work area's store with `table` in it; StoreError "数据表不存在: TABLE" when it is not there.
Database openWorkTable(const std::string& work, const std::string& table);

// Prints a failure text on stderr and returns 1.
int failWith(const std::string& text);

// Answers questions from flags: --yes / --overwrite answer Yes, --no answers No; without a
// flag a question is answered No. Every text goes to stderr.
class CliInteraction : public Interaction {
 public:
  explicit CliInteraction(const Args& a);
  Answer ask(const std::string& title, const std::string& text, Buttons buttons,
             Icon icon) override;
  void inform(const std::string& title, const std::string& text, Icon icon) override;

 private:
  Answer answer_;
};

// Draws "label  nn%" on stderr when stderr is a terminal.
class CliProgress : public Progress {
 public:
  explicit CliProgress(std::string label);
  ~CliProgress() override;
  void setValue(std::int64_t value) override;

 private:
  std::string label_;
  bool tty_;
  int lastPct_ = -1;
};

}  // namespace sarnoth::cli
