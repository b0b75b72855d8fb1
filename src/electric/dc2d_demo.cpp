#include "electric/dc2d_demo.h"

#include <cmath>
#include <filesystem>
#include <random>

#include "electric/dc2d_forward.h"

namespace sarnoth::electric {

Dc2dFile demoDipoleFile() {
  Dc2dFile f;
  f.head = {1, 2, 0, static_cast<int>(Dc2dDevice::DipoleSounding)};
  f.name = "演示剖面 偶极测深";
  f.stationInterval = 10;
  f.x0 = 0;
  f.survey.device = Dc2dDevice::DipoleSounding;
  const int electrodes = 30;
  for (int i = 0; i < electrodes; ++i) f.survey.electrodes.push_back({10.0 * i, 0});
  for (int n = 1; n <= 6; ++n)
    for (int i = 0; i + n + 2 < electrodes; ++i)
      f.survey.data.push_back({i, i + 1, i + n + 1, i + n + 2});
  f.model.rho0 = 200;
  f.model.eta0 = 2;
  Dc2dRegion block;
  block.outline = {{100, -10}, {150, -10}, {150, -30}, {100, -30}};
  block.rho = 20;
  block.eta = 15;
  Dc2dRegion dyke;
  dyke.outline = {{200, -4}, {215, -4}, {225, -40}, {210, -40}};
  dyke.rho = 1500;
  dyke.eta = 1;
  f.model.regions = {block, dyke};
  f.hasModel = true;
  f.control.chargeability = true;
  return f;
}

Outcome writeDemoDc2d(const std::string& workPath, unsigned seed) {
  namespace fs = std::filesystem;
  const std::string dir = workPath + "Prof_Dat/";
  std::error_code ec;
  fs::create_directories(dir, ec);

  Dc2dFile fwd = demoDipoleFile();
  if (!writeDc2dFile(dir + "demo_dc2d.so3", fwd))
    return Outcome::failure("文件无法写入: demo_dc2d.so3");

  // The inverse data: the block model on a coarse mesh, with noise.
  Dc2dMesh mesh;
  std::string error;
  Dc2dMeshSettings coarse;
  coarse.cellsPerSpacing = 2;
  coarse.growth = 1.1;
  Dc2dMeshData md;
  if (!buildDc2dMesh(fwd.survey, fwd.model, coarse, mesh, error) ||
      !assignDc2dMeshData(mesh, fwd.model, md, error))
    return Outcome::failure(error);
  Dc2dForward engine(mesh, fwd.survey);
  Dc2dResponse resp;
  if (!dc2dResponse(engine, md, true, resp)) return Outcome::failure("计算被中止");
  Dc2dFile inv = fwd;
  inv.head.calcMode = 2;
  inv.hasModel = false;
  inv.model = {};
  inv.control.iterations = 6;
  inv.control.errorPercent = 3;
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0, 1);
  for (std::size_t i = 0; i < inv.survey.data.size(); ++i) {
    Dc2dDatum& d = inv.survey.data[i];
    d.rho = std::round(resp.rho[i] * (1 + 0.03 * noise(rng)) * 100) / 100;
    d.eta = std::round(std::clamp(resp.eta[i] + 0.3 * noise(rng), 0.0, 99.0) * 100) / 100;
  }
  if (!writeDc2dFile(dir + "demo_dc2d.so7", inv))
    return Outcome::failure("文件无法写入: demo_dc2d.so7");

  // Symmetric four-pole sounding over a hill.
  Dc2dFile sym;
  sym.head = {1, 1, 1, static_cast<int>(Dc2dDevice::SymmetricSounding)};
  sym.name = "演示剖面 对称四极测深";
  sym.stationInterval = 5;
  sym.x0 = 0;
  sym.survey.device = Dc2dDevice::SymmetricSounding;
  const int electrodes = 41;
  for (int i = 0; i < electrodes; ++i) sym.survey.electrodes.push_back({5.0 * i, 0});
  for (int n = 1; n <= 6; ++n)  // Wenner-Schlumberger: AM = NB = n·a, MN = a
    for (int i = 0; i + 2 * n + 1 < electrodes; ++i)
      sym.survey.data.push_back({i, i + 2 * n + 1, i + n, i + n + 1});
  for (int k = 0; k <= 20; ++k) {
    const double x = 10.0 * k;
    sym.survey.terrain.push_back({x, 100 + 12 * std::exp(-std::pow((x - 100) / 40, 2))});
  }
  sym.model.rho0 = 300;
  Dc2dRegion layer;
  layer.rho = 30;
  layer.outline = {{-1000, 92}, {1200, 92}, {1200, 80}, {-1000, 80}};
  sym.model.regions = {layer};
  sym.hasModel = true;
  if (!writeDc2dFile(dir + "demo_dc2d.s42", sym))
    return Outcome::failure("文件无法写入: demo_dc2d.s42");
  return Outcome::success();
}

}  // namespace sarnoth::electric
