// fft: the frequency-domain gravity and magnetic processing tool ("频率域重磁数据处理") on one
// grid, by mode, with the window's boxes as options.
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "gravmag/freq_processing.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli fft --mode N --grid IN -o OUT [--method N]\n"
    "         [--par1 V] [--par2 V] [--par3 V] [--par11 V] [--par22 V]\n"
    "         [--ii DEG] [--dd DEG] [--aa DEG] [--field gg|dt|dz] [--chk 0|1]\n"
    "         [--unitf F] [--threads N] [--workarea DIR]\n"
    "\n"
    "  Modes: 200 filter (--method 0 matched, 1 Hanning, 2 strike), 210 derivative (--method\n"
    "  0 vertical, 1 X, 2 Y, 3 in a direction), 220 continuation, 230 apparent susceptibility,\n"
    "  240 pseudo-gravity, 250 total gradient modulus, 500 reduction to the pole; additions 260\n"
    "  tilt angle (degrees), 270 analytic signal amplitude, 280 horizontal-gradient magnitude.\n"
    "  The filter component's methods (200 with --method 3 or 4, 231, 232, 233) run with\n"
    "  `sarnoth-cli filter`.\n"
    "  --par1.. are txtPar1.. of the window (defaults as the window shows them), --ii, --dd, --aa\n"
    "  the inclination, declination and line azimuth (57.4, -6, 0), --field the option optGG,\n"
    "  optDT or optDZ (gg), --chk the check box (0). IN is a path or a grid of the work area's\n"
    "  Grid_Dat; OUT a path, written without a question. The unit factor is --unitf, else UnitF\n"
    "  of the work area, else 1.";

int runFft(Args& a) {
  using namespace gravmag;
  const std::string in = a.get("grid"), out = a.get("o", a.get("out"));
  if (!a.has("mode") || in.empty() || out.empty()) return failWith(kUsage);
  FreqJob job;
  job.mode = static_cast<int>(a.getInt("mode", 0));
  job.method = static_cast<int>(a.getInt("method", 0));
  if (!isFreqMode(job.mode)) return failWith("unknown --mode " + a.get("mode"));
  if (freqComponentCode(job.mode, job.method) != 0)
    return failWith("this method is the filter component's: sarnoth-cli filter --code " +
                    std::to_string(freqComponentCode(job.mode, job.method)));
  const FreqLayout layout = freqLayout(job.mode, job.method);
  job.par1 = a.get("par1", layout.par[0].text);
  job.par2 = a.get("par2", layout.par[1].text);
  job.par3 = a.get("par3", layout.par[2].text);
  job.par11 = a.get("par11", layout.par11);
  job.par22 = a.get("par22", layout.par22);
  job.ii = a.get("ii", job.ii);
  job.dd = a.get("dd", job.dd);
  job.aa = a.get("aa", job.aa);
  const std::string field = a.get("field", "gg");
  if (field == "gg")
    job.field = FieldKind::Gravity;
  else if (field == "dt")
    job.field = FieldKind::DeltaT;
  else if (field == "dz")
    job.field = FieldKind::DeltaZ;
  else
    return failWith("unknown --field " + field + " (gg|dt|dz)");
  job.chk = a.has("chk") && a.get("chk") != "0";
  job.inputPath = workGridPath(workPath(a), in);
  job.outputPath = out;
  const std::string work = workPath(a);
  job.unitFactor = a.has("unitf") ? static_cast<float>(a.getDouble("unitf", 1.0))
                                  : (work.empty() ? 1.0f : readUnitFactor(work));
  job.threads = static_cast<int>(a.getInt("threads", 0));
  CliProgress progress("fft");
  FreqRunResult r = runFreqProcessing(job, progress);
  if (!r.formNote.empty()) std::cerr << r.formNote << "\n";
  if (!r.outcome) return failWith(r.outcome.message.empty() ? "stopped" : r.outcome.message);
  std::cerr << r.outcome.message << "\n";
  return 0;
}

const CommandRegistrar reg{{"fft",
                            "frequency-domain gravity and magnetic processing of a grid "
                            "(频率域重磁数据处理)",
                            kUsage, runFft}};

}  // namespace
}  // namespace sarnoth::cli
