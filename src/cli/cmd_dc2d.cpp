// dc2d forward|invert: the 2-D resistivity/IP section of a data file (*.pm?, *.pg?, *.p2? …
// *.so?) — the mesh, the finite-element forward or the inversion — with the result data file
// the control saves, and optionally the section-mesh data file and the pictures.
#include <iostream>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "electric/dc2d_session.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::cli {
namespace {

int runDc2d(Args& a) {
  using namespace sarnoth::electric;
  const std::string job = a.pos(0), file = a.pos(1);
  if ((job != "forward" && job != "invert") || file.empty())
    return failWith("usage: sarnoth-cli dc2d forward|invert FILE -o OUT [--iterations N]");
  Dc2dSession s;
  std::string error;
  if (!s.load(file, error)) return failWith(error);
  if ((job == "invert") != s.file().inverse())
    return failWith("您选择的文件和您输入的参数不相符，文件输入错误！");
  if (a.has("iterations")) {
    const long long n = a.getInt("iterations", -1);
    if (n < 1 || n > 50) return failWith("--iterations: 1 to 50");
    Dc2dFile f = s.file();
    f.control.iterations = static_cast<int>(n);
    s.setFile(std::move(f));
  }
  Dc2dMeshSettings mesh;
  if (a.has("cells")) {
    const long long c = a.getInt("cells", -1);
    if (c < 1 || c > 64) return failWith("--cells: 1 to 64");
    mesh.cellsPerSpacing = static_cast<int>(c);
  }
  for (Outcome o : {s.createRegions(), s.buildMesh(mesh), s.fetchMeshData()})
    if (!o) return failWith(o.message);
  CliProgress progress(job == "invert" ? "反演计算" : "正演计算");
  const Outcome o = s.compute(progress, static_cast<int>(a.getInt("threads", 0)));
  if (!o) return failWith(o.message);
  const std::string out = a.get("o", a.get("output"));
  if (out.empty())
    std::cout << s.resultText();
  else if (!filetext::writeWholeFile(out, utf8ToGbk(s.resultText())))
    return failWith("文件无法写入: " + out);
  if (a.has("mesh") && !filetext::writeWholeFile(a.get("mesh"), utf8ToGbk(s.meshText())))
    return failWith("文件无法写入: " + a.get("mesh"));
  if (a.has("image")) {
    // The model image; "--image x.png" also writes x_obs.png and x_calc.png pseudo-sections.
    const std::string img = a.get("image");
    const auto dot = img.find_last_of('.');
    const std::string stem = dot == std::string::npos ? img : img.substr(0, dot);
    const std::string ext = dot == std::string::npos ? ".png" : img.substr(dot);
    if (auto c = s.modelImage(false); c && !chart::writeChartFile(*c, img, 1000, 420))
      return failWith("文件无法写入: " + img);
    if (auto c = s.pseudoSection(false, false))
      chart::writeChartFile(*c, stem + "_obs" + ext, 1000, 360);
    if (auto c = s.pseudoSection(true, false))
      chart::writeChartFile(*c, stem + "_calc" + ext, 1000, 360);
  }
  std::cerr << o.message << "\n";
  return 0;
}

CommandRegistrar reg{
    {"dc2d", "2-D resistivity/IP section: finite-element forward or inversion of a data file",
     "sarnoth-cli dc2d forward FILE -o OUT.dat [--mesh MESH.dat] [--image PIC.png]\n"
     "sarnoth-cli dc2d invert FILE -o OUT.dat [--iterations N] [--mesh MESH.dat]\n"
     "                        [--image PIC.png]\n"
     "  FILE is a data file of one of the ten devices (*.pm1 … *.so8); forward files\n"
     "  carry the model regions. OUT is the result data file (without -o: stdout).\n"
     "  --cells N   mesh columns to an electrode spacing (default 4)\n"
     "  --threads N threads for the wavenumbers (default: every core)",
     runDc2d}};

}  // namespace
}  // namespace sarnoth::cli
