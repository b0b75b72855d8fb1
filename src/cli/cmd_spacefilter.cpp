// spacefilter: the space-domain gravity and magnetic processing tool ("空间域重磁数据处理") on one
// grid, by mode, with the window's boxes as options.
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "gravmag/space_processing.h"
#include "workarea/path_resolver.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli spacefilter --mode N --grid IN -o OUT [--method N]\n"
    "         [--par1 V] [--par2 V] [--par3 V] [--threads N] [--workarea DIR]\n"
    "\n"
    "  Modes: 100 second vertical derivative (--method 0 Elkins, 1 Rosenbach, 2 Henderson-Zietz),\n"
    "  200 horizontal derivative in a direction (--method 0..3 at 45, 90, 135, 180 degrees from\n"
    "  east anticlockwise, 4 at the azimuth --par1), 300 continuation (--par1 height in spacings,\n"
    "  negative up, positive down; --par2 operator radius in spacings, 0 automatic).\n"
    "  --par3 is the half-width in nodes of a moving-mean smoothing applied first (0: none).\n"
    "  IN is a path or a grid of the work area's Grid_Dat; OUT a path, written without a question.";

int runSpaceFilter(Args& a) {
  using namespace gravmag;
  const std::string in = a.get("grid"), out = a.get("o", a.get("out"));
  if (!a.has("mode") || in.empty() || out.empty()) return failWith(kUsage);
  SpaceJob job;
  job.mode = static_cast<int>(a.getInt("mode", 0));
  job.method = static_cast<int>(a.getInt("method", 0));
  if (!isSpaceMode(job.mode)) return failWith("unknown --mode " + a.get("mode"));
  const auto methods = spaceMethods(job.mode);
  if (!methods.empty() && (job.method < 0 || job.method >= static_cast<int>(methods.size())))
    return failWith("unknown --method " + a.get("method"));
  const SpaceLayout layout = spaceLayout(job.mode, job.method);
  job.par1 = a.get("par1", layout.par[0].text);
  job.par2 = a.get("par2", layout.par[1].text);
  job.par3 = a.get("par3", layout.par[2].text);
  job.inputPath = workGridPath(workPath(a), in);
  job.outputPath = out;
  job.threads = static_cast<int>(a.getInt("threads", 0));
  CliProgress progress("spacefilter");
  const SpaceRunResult r = runSpaceProcessing(job, progress);
  if (!r.outcome) return failWith(r.outcome.message.empty() ? "stopped" : r.outcome.message);
  std::cerr << spaceStatisticsText(r) << "\n" << r.outcome.message << "\n";
  return 0;
}

const CommandRegistrar reg{{"spacefilter",
                            "space-domain gravity and magnetic processing of a grid "
                            "(空间域重磁数据处理)",
                            kUsage, runSpaceFilter}};

}  // namespace
}  // namespace sarnoth::cli
