// gm2d: the forward calculation and the inversion of the 2-D gravity and magnetic modeller
// ("二维重磁异常反演") over a section model (*.mo2) and an observed profile (*.gm2).
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "gravmag/gm2d_files.h"
#include "gravmag/gm2d_forward.h"
#include "gravmag/gm2d_inversion.h"
#include "workarea/grid_file.h"
#include "workarea/path_resolver.h"

namespace sarnoth::cli {
namespace {

const char* kUsage =
    "usage: sarnoth-cli gm2d forward MODEL.mo2 --stations FILE.gm2 -o OUT.dat\n"
    "         [--field gravity|magnetic|both] [--terrain GRID.grd] [--workarea DIR]\n"
    "       sarnoth-cli gm2d invert MODEL.mo2 --stations FILE.gm2 -o OUT.mo2\n"
    "         [--method cholesky|svd] [--field gravity|magnetic|both] [--iterations N]\n"
    "         [--damping L] [--cutoff C] [--fd] [--dat OUT.dat] [--terrain GRID.grd]\n"
    "         [--workarea DIR]\n"
    "\n"
    "  forward computes the model's gravity (mGal) and magnetic anomaly (nT) at the stations\n"
    "  of the profile and writes observed, computed, residual, trend and each body's part as an\n"
    "  ASCII scatter file. invert adjusts the chosen bodies' free vertices and properties within\n"
    "  their ranges (damped least squares by Cholesky, or the generalised inverse by truncated\n"
    "  SVD with relative cut-off C), printing each iteration's misfit, and saves the model; --fd\n"
    "  uses a Jacobian by central differences. --terrain takes the station elevations from a\n"
    "  grid (the profile must carry its ORIGIN). Names not found as given are looked for in the\n"
    "  work area's Prof_Dat (the terrain grid too); -o names land there too when a work area\n"
    "  is given.";

std::string locate(const Args& a, const std::string& name, const char* dir, bool output) {
  if (name.empty()) return name;
  if (!output && pathExists(name)) return name;
  if (name.find('/') != std::string::npos || name.find('\\') != std::string::npos) return name;
  const std::string wp = a.has("workarea") ? workPath(a) : std::string();
  if (wp.empty()) return name;
  const std::string inArea = wp + dir + name;
  if (output || pathExists(inArea)) return resolvePath(inArea);
  return name;
}

bool fieldsOf(const Args& a, const gm2d::Profile& p, std::vector<gm2d::FieldKind>& out) {
  const std::string f = a.get("field", "");
  using gm2d::FieldKind;
  if (f == "gravity")
    out = {FieldKind::Gravity};
  else if (f == "magnetic")
    out = {FieldKind::Magnetic};
  else if (f == "both")
    out = {FieldKind::Gravity, FieldKind::Magnetic};
  else if (f.empty()) {
    out.clear();
    if (p.has(FieldKind::Gravity)) out.push_back(FieldKind::Gravity);
    if (p.has(FieldKind::Magnetic)) out.push_back(FieldKind::Magnetic);
  } else {
    return false;
  }
  return true;
}

int runGm2d(Args& a) {
  using namespace gm2d;
  const std::string job = a.pos(0);
  if (a.has("help") || (job != "forward" && job != "invert")) {
    std::cout << kUsage << "\n";
    return a.has("help") ? 0 : 2;
  }
  const std::string modelPath = locate(a, a.pos(1), "Prof_Dat\\", false);
  const std::string stations = locate(a, a.get("stations"), "Prof_Dat\\", false);
  const std::string out = locate(a, a.get("o"), "Prof_Dat\\", true);
  if (modelPath.empty() || stations.empty() || out.empty()) return failWith(kUsage);
  Model model;
  Profile profile;
  if (Outcome o = readModel(modelPath, model); !o) return failWith(o.message);
  if (Outcome o = readObserved(stations, profile); !o) return failWith(o.message);
  if (a.has("terrain")) {
    GridReadResult g = readGrid(locate(a, a.get("terrain"), "Prof_Dat\\", false));
    if (!g.ok()) return failWith(kMsgNotBinaryGrid);
    if (Outcome o = applyTerrain(profile, g.grid); !o) return failWith(o.message);
  }
  if (Outcome o = checkModel(model, profile.x, profile.elevation); !o) return failWith(o.message);
  std::vector<FieldKind> fields;
  if (!fieldsOf(a, profile, fields)) return failWith("--field: gravity, magnetic or both");
  if (job == "forward") {
    if (fields.empty()) fields = {FieldKind::Gravity};
    if (Outcome o = writeCalculatedDat(out, model, profile, fields); !o) return failWith(o.message);
    for (FieldKind f : fields) {
      const ForwardResult r = computeField(model, profile.x, profile.elevation, f);
      if (profile.has(f))
        std::printf("%s 均方误差 %.6g\n", f == FieldKind::Gravity ? "重力" : "磁力",
                    rmsMisfit(profile.observed(f), r.total));
    }
    return 0;
  }
  InversionSettings s;
  s.fields = fields;
  const std::string method = a.get("method", "cholesky");
  if (method == "svd")
    s.method = InversionMethod::GeneralisedInverse;
  else if (method != "cholesky")
    return failWith("--method: cholesky or svd");
  s.maxIterations = static_cast<int>(a.getInt("iterations", 20));
  s.damping = a.getDouble("damping", s.damping);
  s.svdCutoff = a.getDouble("cutoff", s.svdCutoff);
  s.analyticJacobian = !a.has("fd");
  if (s.maxIterations < 1 || !(s.damping > 0) || !(s.svdCutoff > 0 && s.svdCutoff < 1))
    return failWith("--iterations ≥ 1, --damping > 0, 0 < --cutoff < 1");
  const InversionResult r = invert(model, profile, s, [](const IterationReport& rep, const Model&) {
    std::printf("迭代 %d  均方误差 %.6g", rep.iteration, rep.rms);
    if (rep.rank > 0)
      std::printf("  秩 %d\n", rep.rank);
    else
      std::printf("  阻尼 %.3g\n", rep.lambda);
    std::fflush(stdout);
    return true;
  });
  if (!r.outcome) return failWith(r.outcome.message);
  std::printf("%s\n", r.outcome.message.c_str());
  if (Outcome o = writeModel(out, r.model); !o) return failWith(o.message);
  if (a.has("dat")) {
    if (Outcome o = writeCalculatedDat(locate(a, a.get("dat"), "Prof_Dat\\", true), r.model,
                                       profile, fields);
        !o)
      return failWith(o.message);
  }
  return 0;
}

CommandRegistrar reg{
    {"gm2d", "2-D gravity and magnetic section: forward, invert", kUsage, runGm2d}};

}  // namespace
}  // namespace sarnoth::cli
