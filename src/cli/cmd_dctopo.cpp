// dctopo: the topographic correction of a 2-D direct-current section (*.top): the terrain
// factor of every datum and the corrected apparent resistivity, as a table, a flat data file
// for the inversion, a section file and a picture.
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "display/chart_image.h"
#include "electric/dc2d_field.h"
#include "electric/dc2d_topo.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::cli {
namespace {

int runDcTopo(Args& a) {
  using namespace sarnoth::electric;
  const std::string path = a.pos(0);
  if (path.empty()) return failWith("usage: sarnoth-cli dctopo FILE.top -o OUT.dat");
  Dc2dFile f;
  std::string error;
  if (!readTopoFile(path, f, error)) return failWith(error);
  Dc2dMeshSettings mesh;
  if (a.has("cells")) {
    const long long c = a.getInt("cells", -1);
    if (c < 1 || c > 16) return failWith("--cells: 1 to 16");
    mesh.cellsPerSpacing = static_cast<int>(c);
  }
  Dc2dTopoCorrection tc;
  CliProgress progress("地形改正");
  const Outcome o =
      dc2dTopoCorrect(f, mesh, tc, progress, static_cast<int>(a.getInt("threads", 0)));
  if (!o) return failWith(o.message);
  const std::string table = formatDc2dTopoCorrection(f, tc);
  const std::string out = a.get("o", a.get("output"));
  if (out.empty())
    std::cout << table;
  else if (!filetext::writeWholeFile(out, utf8ToGbk(table)))
    return failWith("文件无法写入: " + out);
  if (a.has("corrected") && !writeDc2dFile(a.get("corrected"), correctedDc2dFile(f, tc)))
    return failWith("文件无法写入: " + a.get("corrected"));
  const SectionData sec = topoSection(f, tc);
  if (a.has("section") && !writeSectionFile(a.get("section"), sec))
    return failWith("文件无法写入: " + a.get("section"));
  if (a.has("image")) {
    // The corrected pseudo-section.
    SectionStyle st;
    st.column = 2;
    if (!chart::writeChartFile(sectionPlot(sec, st), a.get("image"), 1000, 380))
      return failWith("文件无法写入: " + a.get("image"));
  }
  std::cerr << o.message << "\n";
  return 0;
}

CommandRegistrar reg{
    {"dctopo", "2-D DC topographic correction: terrain factors and corrected apparent resistivity",
     "sarnoth-cli dctopo FILE.top [-o OUT.dat] [--corrected DATA.so5] [--section OUT.sec]\n"
     "                    [--image PIC.png] [--cells N] [--threads N]\n"
     "  The factor of each datum is the apparent resistivity of a homogeneous half-space under\n"
     "  the file's terrain over that of the flat half-space; the corrected ρa is the observed\n"
     "  one divided by it. OUT is the table (without -o: stdout); --corrected writes the flat\n"
     "  2-D data file for the inversion (suffix of its device, e.g. .so5), --section the\n"
     "  observed, factor and corrected pseudo-sections, --image the corrected one drawn.",
     runDcTopo}};

}  // namespace
}  // namespace sarnoth::cli
