// filter, lowpole: the frequency-domain tool's filter component (compensated smoothing,
// regularised filtering, three components, linear enhancement, conversion to any direction) and
// the low-latitude reduction to the pole, on one grid.
#include <iostream>

#include "cli/cli.h"
#include "closed/gm_filter_com.h"
#include "gravmag/filter_methods.h"

namespace sarnoth::cli {
namespace {

const char* kFilterUsage =
    "usage: sarnoth-cli filter --code N --grid IN -o OUT [parameters]\n"
    "\n"
    "  The filter component's methods, through the same call as the window makes:\n"
    "    8  compensated smoothing     --half-width M (2) --passes N (3)\n"
    "    5  regularised filtering     --alpha A (1, squared spacings) --depth H (0, spacings)\n"
    "   10  ΔT to Hax, Hay, Za        --ii I (57.4) --dd D (-6); writes OUT_Hax, OUT_Hay, OUT_Za\n"
    "    3  linear enhancement        --strike DEG (45) --order 1|2 (1) --height H (0)\n"
    "    7  conversion to a direction --ii I --dd D --target-ii IA (90) --target-dd DA (0)\n"
    "  Lengths count in node spacings, angles in degrees (declination from north, clockwise).";

const char* kLowPoleUsage =
    "usage: sarnoth-cli lowpole --grid IN -o OUT --ii I --dd D [--amp-ii IA] [--threads N]\n"
    "\n"
    "  Reduction to the pole at low latitudes (低纬度磁场化极): the phase of the reduction with\n"
    "  the amplitude taken at the amplitude-correction inclination IA (20; raised to |I|).";

gravmag::FilterParams optionsAsParams(const Args& a, gravmag::FilterParams params) {
  for (auto& p : params) p.value = a.getDouble(p.key, p.value);
  return params;
}

int runFilter(Args& a) {
  const std::string in = a.get("grid"), out = a.get("o", a.get("out"));
  if (!a.has("code") || in.empty() || out.empty()) return failWith(kFilterUsage);
  const long code = static_cast<long>(a.getInt("code", 0));
  if (gravmag::filterMethodName(code).empty())
    return failWith("无此滤波功能号: " + a.get("code") + " (3, 5, 7, 8, 10)");
  CliProgress progress("filter");
  closed::GMFilterComponent component(progress);
  component.presetParams(optionsAsParams(a, gravmag::filterDefaults(code)));
  component.setInputGrid(in);
  component.setFunctionCode(code);
  Outcome o = component.setOutputGrid(out);
  if (!o) return failWith(o.message.empty() ? "stopped" : o.message);
  std::cout << o.message << "\n";
  return 0;
}

int runLowPole(Args& a) {
  const std::string in = a.get("grid"), out = a.get("o", a.get("out"));
  if (in.empty() || out.empty() || !a.has("ii") || !a.has("dd")) return failWith(kLowPoleUsage);
  const auto p = optionsAsParams(a, gravmag::lowLatitudeDefaults());
  CliProgress progress("lowpole");
  Outcome o = gravmag::runLowLatitudePole(
      in, out, gravmag::paramValue(p, "ii"), gravmag::paramValue(p, "dd"),
      gravmag::paramValue(p, "amp-ii"), progress, static_cast<int>(a.getInt("threads", 0)));
  if (!o) return failWith(o.message.empty() ? "stopped" : o.message);
  std::cout << o.message << "\n";
  return 0;
}

const CommandRegistrar regFilter{
    {"filter", "the frequency-domain tool's filter component on a grid (滤波组件)", kFilterUsage,
     runFilter}};
const CommandRegistrar regLowPole{{"lowpole",
                                   "reduction to the pole at low latitudes (低纬度磁场化极)",
                                   kLowPoleUsage, runLowPole}};

}  // namespace
}  // namespace sarnoth::cli
