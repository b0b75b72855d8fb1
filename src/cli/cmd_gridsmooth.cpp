// gridsmooth, gridoverlay: the two jobs of the tool frmGridSmoth.
#include <filesystem>
#include <iostream>
#include <sstream>

#include "cli/cli.h"
#include "datatools/grid_smooth.h"
#include "workarea/file_text.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::cli {
namespace {

const char* kSmoothUsage =
    "usage: sarnoth-cli gridsmooth GRID -o NAME [--method "
    "mean|weighted3|weighted5|median|hanning]\n"
    "                  [--window K] [--passes N] [--threads N] [--yes] [--workarea DIR]\n"
    "\n"
    "  Smooths a grid (网格数据圆滑处理) into Grid_Dat/NAME.grd: moving average (mean), the\n"
    "  weighted 3×3 and 5×5 binomial kernels, the median or a Hanning window, K×K (odd, default\n"
    "  3; mean, median and hanning), N passes (default 1). Empty nodes stay empty and never\n"
    "  spread. GRID is a grid of Grid_Dat or a path. --yes overwrites an existing result.";

const char* kOverlayUsage =
    "usage: sarnoth-cli gridoverlay GRID1 GRID2 [GRID3 …] -o NAME\n"
    "                  [--op sum|diff|product|ratio|wsum|max|min] [--weights W1,W2,…]\n"
    "                  [--yes] [--workarea DIR]\n"
    "\n"
    "  Overlays grids of one geometry (网格数据叠置处理) node by node into Grid_Dat/NAME.grd:\n"
    "  sum, difference (the first less the others), product, ratio (the first over the others),\n"
    "  weighted sum (one weight per grid), maximum, minimum. An empty node in any grid gives an\n"
    "  empty node; grids of different geometry are refused.";

std::string gridPathOf(const std::string& work, const std::string& g) {
  if (g.find('/') != std::string::npos || g.find('\\') != std::string::npos) return g;
  std::string name = g;
  if (std::filesystem::path(name).extension().empty()) name += ".grd";
  return work + "Grid_Dat\\" + name;
}

std::string outputOf(const Args& a, const std::string& work) {
  std::string name = a.get("o", a.get("output"));
  if (name.empty()) return {};
  return work + "Grid_Dat\\" + name + ".grd";
}

int runSmooth(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  if (a.pos(0).empty()) return failWith(kSmoothUsage);
  static const std::pair<const char*, SmoothMethod> methods[] = {
      {"mean", SmoothMethod::MovingAverage},
      {"weighted3", SmoothMethod::Weighted3},
      {"weighted5", SmoothMethod::Weighted5},
      {"median", SmoothMethod::Median},
      {"hanning", SmoothMethod::Hanning}};
  SmoothOptions opt;
  const std::string m = a.get("method", "mean");
  bool known = false;
  for (const auto& [n, method] : methods)
    if (m == n) {
      opt.method = method;
      known = true;
    }
  if (!known) return failWith(kSmoothUsage);
  opt.window = static_cast<int>(a.getInt("window", 3));
  opt.passes = static_cast<int>(a.getInt("passes", 1));
  const std::string target = outputOf(a, work);
  if (target.empty()) return failWith(kMsgGridOutName);
  CliInteraction ui(a);
  CliProgress progress("圆滑");
  Outcome o = runGridSmooth(gridPathOf(work, a.pos(0)), target, opt, ui, progress,
                            static_cast<int>(a.getInt("threads", 0)));
  if (!o) return o.message.empty() ? 3 : failWith(o.message);
  std::cout << resolvePath(target) << "\n";
  return 0;
}

int runOverlay(Args& a) {
  const std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  static const std::pair<const char*, OverlayOp> ops[] = {
      {"sum", OverlayOp::Sum},          {"diff", OverlayOp::Difference},
      {"product", OverlayOp::Product},  {"ratio", OverlayOp::Ratio},
      {"wsum", OverlayOp::WeightedSum}, {"max", OverlayOp::Maximum},
      {"min", OverlayOp::Minimum}};
  OverlayOp op = OverlayOp::Sum;
  const std::string name = a.get("op", "sum");
  bool known = false;
  for (const auto& [n, o] : ops)
    if (name == n) {
      op = o;
      known = true;
    }
  if (!known) return failWith(kOverlayUsage);
  std::vector<std::string> sources;
  for (const auto& g : a.positional) sources.push_back(gridPathOf(work, g));
  std::vector<double> weights;
  std::stringstream in(a.get("weights"));
  std::string item;
  while (std::getline(in, item, ',')) {
    double w = 0;
    if (!filetext::parseDouble(item, w)) return failWith(kMsgOverlayWeights);
    weights.push_back(w);
  }
  const std::string target = outputOf(a, work);
  if (target.empty()) return failWith(kMsgGridOutName);
  CliInteraction ui(a);
  CliProgress progress("叠置");
  Outcome o = runGridOverlay(sources, target, op, weights, ui, progress);
  if (!o) return o.message.empty() ? 3 : failWith(o.message);
  std::cout << resolvePath(target) << "\n";
  return 0;
}

CommandRegistrar regSmooth{
    {"gridsmooth", "smooth a grid (网格数据圆滑处理)", kSmoothUsage, runSmooth}};
CommandRegistrar regOverlay{
    {"gridoverlay", "overlay grids of one geometry (网格数据叠置处理)", kOverlayUsage, runOverlay}};

}  // namespace
}  // namespace sarnoth::cli
