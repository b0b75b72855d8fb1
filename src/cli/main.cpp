// sarnoth-cli entry: dispatches to the registered commands.
#include <cstring>
#include <exception>
#include <iostream>

#include "cli/cli.h"
#include "workarea/session.h"
#include "workarea/table_reader.h"

namespace {

void printUsage() {
  std::cout << "usage: sarnoth-cli <command> [--workarea DIR] [options]\n\ncommands:\n";
  for (const auto& [name, c] : sarnoth::cli::commands())
    std::cout << "  " << name << std::string(name.size() < 14 ? 14 - name.size() : 1, ' ')
              << c.summary << "\n";
  std::cout << "\n'sarnoth-cli <command> --help' tells more.\n";
}

}  // namespace

int main(int argc, char** argv) {
  sarnoth::useStoreConnectionsWithoutMutexes();
  sarnoth::gSysPath = sarnoth::executableDir();
  if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") ||
      !std::strcmp(argv[1], "help")) {
    printUsage();
    return argc < 2 ? 2 : 0;
  }
  auto& cmds = sarnoth::cli::commands();
  auto it = cmds.find(argv[1]);
  if (it == cmds.end()) {
    std::cerr << "sarnoth-cli: unknown command '" << argv[1] << "'\n";
    printUsage();
    return 2;
  }
  sarnoth::cli::Args args = sarnoth::cli::parseArgs(argc, argv, 2);
  args.command = argv[1];
  if (args.has("help")) {
    std::cout << it->second.usage << "\n";
    return 0;
  }
  try {
    return it->second.run(args);
  } catch (const std::exception& e) {
    std::cerr << e.what() << "\n";
    return 1;
  }
}
