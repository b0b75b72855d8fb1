// convert: the format conversion tool's jobs from one command, grids and scatter files alike.
#include "cli/cli.h"
#include "workarea/grid_exchange.h"
#include "workarea/scatter_file.h"

namespace sarnoth::cli {
namespace {

int runConvert(Args& a) {
  std::string in = a.pos(0);
  if (in.empty() || a.pos(1).empty())
    return failWith("usage: sarnoth-cli convert IN OUT --to FORMAT");
  // Scatter files go to the scatter converter; every other input is read as a grid.
  ScatterKind kind = detectScatterKind(in);
  bool scatter = kind == ScatterKind::Binary || kind == ScatterKind::Ascii ||
                 kind == ScatterKind::Vlq2 ||
                 (detectGridFormat(in) == GridFormat::Unknown && kind == ScatterKind::Csv);
  Args forward = a;
  forward.positional.insert(forward.positional.begin(), "convert");
  forward.command = scatter ? "scatter" : "grid";
  auto it = commands().find(forward.command);
  if (it == commands().end()) return failWith("no converter for " + in);
  return it->second.run(forward);
}

CommandRegistrar reg{
    {"convert", "format conversion of grid and scatter files",
     "usage: sarnoth-cli convert IN OUT --to FORMAT [options]\n"
     "Grids: see 'sarnoth-cli grid --help'; scatter files: 'sarnoth-cli scatter --help'.\n"
     "Targets are overwritten without a question.",
     runConvert}};

}  // namespace
}  // namespace sarnoth::cli
