// mt2d forward|invert|xyz: the 2-D magnetotelluric inversion of frmWT2DMTInversion without the
// window — the library call with the outputs moved into place, the responses of a model as a
// point file, and the pseudo-section and section text files (with their pictures).
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <iostream>
#include <random>

#include "cli/cli.h"
#include "closed/mt2d.h"
#include "electric/mt2d_files.h"
#include "electric/mt2d_inversion.h"
#include "electric/mt2d_run.h"
#include "electric/mt2d_sections.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"

namespace sarnoth::cli {
namespace {

using namespace sarnoth::electric;
namespace fs = std::filesystem;

// A name as given when it exists, else the work area's Prof_Dat\2DMT\ + name.
std::string methodFile(const Args& a, const std::string& name) {
  if (name.empty() || pathExists(name)) return name;
  const std::string work = workPath(a);
  if (!work.empty() && pathExists(work + "Prof_Dat\\2DMT\\" + name))
    return resolvePath(work + "Prof_Dat\\2DMT\\" + name);
  return name;
}

int runInvert(Args& a) {
  const std::string basic = methodFile(a, a.get("basic")), grids = methodFile(a, a.get("grids"));
  const std::string model = methodFile(a, a.get("model")), points = methodFile(a, a.get("points"));
  if (basic.empty() || grids.empty() || model.empty() || points.empty())
    return failWith(
        "usage: sarnoth-cli mt2d invert --basic F.mt1 --grids F.mt2 --model F.mt3 "
        "--points F.mt4 [--workarea DIR]");
  // The library works in the work area's temp\ (or a scratch directory of its own); the results
  // go beside the basic file, as the window moves them into Prof_Dat\2DMT\.
  const std::string work = workPath(a);
  const fs::path run =
      !work.empty() && pathExists(work + "temp")
          ? fs::path(resolvePath(work + "temp")) / "mt2d"
          : fs::temp_directory_path() / ("sarnoth-mt2d-" + std::to_string(getpid()));
  const std::string target = fs::path(resolvePath(basic)).parent_path().string();
  CliProgress progress("mt2d");
  const closed::Mt2dCallResult r =
      closed::mt2dInverse(basic, grids, model, points, run.string(), progress);
  if (!r.ok) return failWith(r.message);
  const int n = collectMt2dOutputs(run.string(), target);
  std::error_code ec;
  fs::remove_all(run, ec);
  std::string log;
  filetext::readWholeFile((fs::path(target) / kIterationLog).string(), log);
  std::cout << log;
  std::cout << n << " iterations: " << r.message << "\n"
            << "results in " << target << " (" << mt2dResultName(n) << ")\n";
  return 0;
}

int runForward(Args& a) {
  const std::string grids = methodFile(a, a.get("grids")), model = methodFile(a, a.get("model"));
  const std::string points = methodFile(a, a.get("points")), out = a.get("o", a.get("output"));
  if (grids.empty() || model.empty() || points.empty() || out.empty())
    return failWith(
        "usage: sarnoth-cli mt2d forward --grids F.mt2 --model F.mt3 --points F.mt4 "
        "-o OUT.mt4 [--mode te|tm|tetm] [--noise PCT] [--seed N]");
  const auto mesh = readMt2dGrids(grids);
  if (!mesh) return failWith(mesh.message);
  const auto mo = readMt2dModel(model);
  if (!mo) return failWith(mo.message);
  const auto pts = readMt2dPoints(points);
  if (!pts) return failWith(pts.message);
  MtMode mode = pts.value->mode;
  if (a.has("mode")) {
    const auto m = modeFromLine(a.get("mode"));
    if (!m) return failWith("--mode: te, tm or tetm");
    mode = *m;
  }
  Mt2dInversionSetup s;
  s.mesh = *mesh.value;
  s.model = *mo.value;
  s.data = *pts.value;
  s.mode = mode;
  // The point file only lends its sites and frequencies: every mode asked for is computed.
  s.data.mode = MtMode::Joint;
  const std::size_t n = static_cast<std::size_t>(s.data.siteCount()) * s.data.frequencyCount();
  for (MtCurves* c : {&s.data.te, &s.data.tm})
    if (c->rho.empty())
      *c = MtCurves{std::vector<double>(n, 1.0), std::vector<double>(n, 45.0),
                    std::vector<double>(n, 0.0), std::vector<double>(n, 0.0)};
  std::vector<int> columns;
  if (std::string why = validateInversion(s, &columns); !why.empty()) return failWith(why);
  MtResponses resp;
  CliProgress progress("mt2d forward");
  if (!mt2dResponses(s.mesh, s.model.cellResistivity(), s.data.frequencies, columns, mode, resp, 0,
                     &progress))
    return failWith("正演计算失败");
  const double noise = a.getDouble("noise", 0) / 100;
  std::mt19937 gen(static_cast<unsigned>(a.getInt("seed", 20261121)));
  auto gauss = [&gen] {
    const double u1 = (gen() + 1.0) / 4294967297.0, u2 = (gen() + 1.0) / 4294967297.0;
    return std::sqrt(-2 * std::log(u1)) * std::cos(2 * M_PI * u2);
  };
  Mt2dData d = *pts.value;
  d.mode = mode;
  for (auto [from, to] : {std::pair{&resp.te, &d.te}, std::pair{&resp.tm, &d.tm}}) {
    if (from->rho.empty()) {
      *to = {};
      continue;
    }
    if (to->rho.empty())
      *to = MtCurves{{}, {}, std::vector<double>(n, 0.0), std::vector<double>(n, 0.0)};
    to->rho = from->rho;
    to->phase = from->phase;
    for (std::size_t i = 0; noise > 0 && i < n; ++i) {
      to->rho[i] *= 1 + noise * gauss();
      to->phase[i] += noise / 2 * 180 / M_PI * gauss();
    }
  }
  if (!writeMt2dPoints(out, d)) return failWith("文件无法写入: " + out);
  std::cerr << d.siteCount() << " sites, " << d.frequencyCount() << " frequencies, "
            << modeLine(mode) << "\n";
  return 0;
}

int runXyz(Args& a) {
  const std::string file = methodFile(a, a.get("file")), kind = a.get("kind", "res");
  const std::string out = a.get("o", a.get("output"));
  if (file.empty() || out.empty() || (kind != "res" && kind != "phase" && kind != "profile"))
    return failWith(
        "usage: sarnoth-cli mt2d xyz --file Field.te|Mt2DInvOut.NN "
        "--kind res|phase|profile [--mode te|tm] [--km] -o OUT.xyz");
  const LengthUnit unit = a.has("km") ? LengthUnit::Kilometre : LengthUnit::Metre;
  const bool phase = kind == "phase";
  const Polarisation pol = a.get("mode", "te") == "tm" ? Polarisation::TM : Polarisation::TE;
  if (mtFirstLine(file) == kFieldTag) {
    if (kind == "profile") return failWith("--kind profile needs an inversion result file");
    const auto f = readMt2dField(file);
    if (!f) return failWith(f.message);
    const MtMode m = f.value->data.mode;
    if (pol == Polarisation::TE ? !hasTE(m) : !hasTM(m)) return failWith("反演模式选择错误!");
    std::vector<double> pos;
    for (const MtSite& s : f.value->data.sites) pos.push_back(s.position);
    const MtCurves& c = pol == Polarisation::TE ? f.value->data.te : f.value->data.tm;
    if (!writePseudoSection(out, pos, f.value->data.frequencies, c, phase, unit,
                            sectionTitle(pol, phase, false)))
      return failWith("文件无法写入: " + out);
    return 0;
  }
  const auto r = readMt2dResult(file);
  if (!r) return failWith(r.message);
  if (kind == "profile") {
    if (!writeModelProfile(out, *r.value, unit, profileTitle(r.value->iteration)))
      return failWith("文件无法写入: " + out);
    return 0;
  }
  if (pol == Polarisation::TE ? !hasTE(r.value->mode) : !hasTM(r.value->mode))
    return failWith("反演模式选择错误!");
  const MtCurves& c = pol == Polarisation::TE ? r.value->response.te : r.value->response.tm;
  if (!writePseudoSection(out, r.value->sitePositions, r.value->frequencies, c, phase, unit,
                          sectionTitle(pol, phase, true)))
    return failWith("文件无法写入: " + out);
  return 0;
}

int runMt2d(Args& a) {
  const std::string job = a.pos(0);
  if (job == "invert") return runInvert(a);
  if (job == "forward") return runForward(a);
  if (job == "xyz") return runXyz(a);
  return failWith("usage: sarnoth-cli mt2d forward|invert|xyz … (sarnoth-cli mt2d --help)");
}

CommandRegistrar reg{
    {"mt2d", "2-D magnetotelluric inversion: invert, model responses, pseudo-sections",
     "sarnoth-cli mt2d invert --basic F.mt1 --grids F.mt2 --model F.mt3 --points F.mt4\n"
     "  Occam inversion (TE, TM or joint as the basic file says); Field.*, Iteration.log and\n"
     "  Mt2DInvOut.NN land beside the basic file. Bare names are looked up in the work area's\n"
     "  Prof_Dat\\2DMT\\.\n"
     "sarnoth-cli mt2d forward --grids F.mt2 --model F.mt3 --points F.mt4 -o OUT.mt4\n"
     "                         [--mode te|tm|tetm] [--noise PCT] [--seed N]\n"
     "  The model's responses at the point file's sites and frequencies, as a point file\n"
     "  (optionally with Gaussian noise of PCT % in ρa and the matching phase).\n"
     "sarnoth-cli mt2d xyz --file Field.te|Mt2DInvOut.NN --kind res|phase|profile\n"
     "                     [--mode te|tm] [--km] -o OUT.xyz\n"
     "  Pseudo-section (x, log10 f, log10 ρa or phase) or resistivity profile (x, -depth, ρ)\n"
     "  lines \"##0.000\" three blanks apart; a PNG picture of the same name beside it.",
     runMt2d}};

}  // namespace
}  // namespace sarnoth::cli
