#include "electric/sounding_demo.h"

#include <cmath>
#include <random>

#include "electric/sounding_file.h"
#include "electric/sounding_session.h"
#include "workarea/path_resolver.h"

namespace sarnoth::electric {

Outcome writeDemoSoundings(const std::string& workPath, unsigned seed) {
  std::mt19937 gen(seed);
  auto gauss = [&gen] {
    const double u1 = (gen() + 1.0) / 4294967297.0, u2 = (gen() + 1.0) / 4294967297.0;
    return std::sqrt(-2 * std::log(u1)) * std::cos(2 * M_PI * u2);
  };
  // An H-type earth over the epithermal target: weathered cover, a clay-altered conductive and
  // polarisable zone, resistive fresh volcanics.
  const LayeredEarth truth{{4, 18}, {180, 25, 900}, {1.5, 9.0, 3.0}};
  std::vector<StationPosition> stations;
  for (int d = 1; d <= 5; ++d) {
    const std::string name = "DS" + std::to_string(d);
    const StationPosition pos{name, 504200.0 + 250.0 * d, 3812600.0, 1180.0 + 3.5 * d};
    stations.push_back(pos);
    SoundingSession s = SoundingSession::fresh({1, 2, d});
    SoundingFile f = s.file();
    f.name = name;
    f.model = truth;
    const SoundingResponse resp = soundingResponse(truth, f.device(), f.spacings);
    for (std::size_t j = 0; j < f.spacings.size(); ++j) {
      f.rho[j] = std::round(resp.rho[j] * (1 + 0.03 * gauss()) * 100) / 100;
      f.eta[j] = std::round((resp.eta[j] + 0.2 * gauss()) * 100) / 100;
    }
    const std::string base = workPath + "Prof_Dat\\demo_sound" + std::to_string(d);
    if (!writeSoundingFile(resolvePath(base + soundingSuffix(1, d)), f))
      return Outcome::failure("写测深演示文件错: " + base + soundingSuffix(1, d));
    SoundingFile inv = f;
    inv.head.calcMode = 2;
    inv.model = {{3, 30}, {150, 150, 150}, {2, 2, 2}};
    inv.fixed.assign(3, 0);
    inv.position = pos;
    inv.settings = InversionSettings{};
    inv.settings.relativeError = 0.03;
    if (!writeSoundingFile(resolvePath(base + soundingSuffix(2, d)), inv))
      return Outcome::failure("写测深演示文件错: " + base + soundingSuffix(2, d));
  }
  if (!writePositionFile(resolvePath(workPath + "Prof_Dat\\demo_sound.pos"), {2, 2, 2}, stations))
    return Outcome::failure("写测深演示文件错: demo_sound.pos");
  return Outcome::success();
}

}  // namespace sarnoth::electric
