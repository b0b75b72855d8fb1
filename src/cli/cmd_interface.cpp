// interface: three-dimensional interface inversion of a gravity ("三维密度界面反演") or
// magnetic ("三维磁性界面反演") anomaly grid by the Parker–Oldenburg iteration.
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "gravmag/interface_inversion.h"
#include "workarea/path_resolver.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli interface --grid IN -o OUT [--kind density|magnetic] [--contrast V]\n"
    "         [--depth Z0] [--pass L] [--cut L] [--criterion C] [--iterations N]\n"
    "         [--fit FIT.grd] [--metres-per-unit M] [--workarea DIR]\n"
    "\n"
    "  IN is an anomaly grid (mGal for density, nT reduced to the pole for magnetic), a path or a\n"
    "  grid of the work area's Grid_Dat; OUT the interface depth grid (z0 + relief, positive\n"
    "  down, grid units), FIT the anomaly of the recovered interface. --contrast Δρ g/cm³ or M\n"
    "  A/m (0.3), --depth the reference (mean) depth z0 (5000), --pass and --cut the wavelengths\n"
    "  of the low-pass filter's pass and cut (20000, 10000), --criterion the RMS change of depth\n"
    "  that ends the iteration (1), --iterations at most (20); lengths in grid units, each\n"
    "  --metres-per-unit metres (1: coordinates in metres; 1000 for kilometres). Files are\n"
    "  written without a question.";

int runInterface(Args& a) {
  using namespace gravmag;
  const std::string in = a.get("grid"), out = a.get("o", a.get("out"));
  if (in.empty() || out.empty()) return failWith(kUsage);
  InterfaceJob job;
  job.inputPath = workGridPath(workPath(a), in);
  job.outputPath = out;
  job.fitPath = a.get("fit");
  InterfaceParams& p = job.params;
  const std::string kind = a.get("kind", "density");
  if (kind == "density")
    p.kind = InterfaceKind::Density;
  else if (kind == "magnetic")
    p.kind = InterfaceKind::Magnetic;
  else
    return failWith("unknown --kind " + kind + " (density|magnetic)");
  p.contrast = a.getDouble("contrast", p.contrast);
  p.referenceDepth = a.getDouble("depth", p.referenceDepth);
  p.passWavelength = a.getDouble("pass", p.passWavelength);
  p.cutWavelength = a.getDouble("cut", p.cutWavelength);
  p.criterion = a.getDouble("criterion", p.criterion);
  p.maxIterations = static_cast<int>(a.getInt("iterations", p.maxIterations));
  p.metresPerUnit = a.getDouble("metres-per-unit", 1.0);
  CliProgress progress("interface");
  const InterfaceRunResult r = runInterfaceInversion(job, progress);
  if (!r.outcome) return failWith(r.outcome.message.empty() ? "stopped" : r.outcome.message);
  std::cout << interfaceReport(r) << "\n";
  std::cerr << r.outcome.message << "\n";
  return 0;
}

const CommandRegistrar reg{{"interface",
                            "3-D density or magnetic interface inversion of an anomaly grid "
                            "(三维密度/磁性界面反演)",
                            kUsage, runInterface}};

}  // namespace
}  // namespace sarnoth::cli
