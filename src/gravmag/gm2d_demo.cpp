#include "gravmag/gm2d_demo.h"

#include <cmath>
#include <random>

#include "gravmag/gm2d_files.h"
#include "gravmag/gm2d_forward.h"
#include "workarea/grid_file.h"

namespace sarnoth::gm2d {
namespace {

// The demo work area's frame (workarea/demo_area.cpp): 20 km square from (500000, 3350000).
constexpr double kX0 = 500000.0, kY0 = 3350000.0;
// The profile: from local (8000, 6000) due east for 10 km.
constexpr double kLineE = kX0 + 8000.0, kLineN = kY0 + 6000.0;

double terrainAt(double e, double n) {
  const double lx = e - kX0, ly = n - kY0;
  const double dx = (lx - 9000.0) / 5000.0, dy = (ly - 9000.0) / 5000.0;
  return 420.0 + 180.0 * std::exp(-0.5 * (dx * dx + dy * dy));
}

Body body(const char* name, std::vector<Point2> v, double rho, double chi, Rgb c) {
  Body b;
  b.name = name;
  b.vertices = std::move(v);
  b.free.assign(b.vertices.size(), kFixed);
  b.density = rho;
  b.susceptibility = chi;
  b.colour = c;
  return b;
}

Model trueModel() {
  Model m;
  m.title = "示范剖面模型";
  m.field = {50000, 45, -4};
  m.azimuth = 90;
  m.backgroundDensity = 2.67;
  m.bodies.push_back(body(
      "侵入岩体", {{5000, 300}, {6200, 250}, {7000, 700}, {6900, 2200}, {5600, 2600}, {4700, 1500}},
      2.95, 0.01, {220, 90, 60}));
  m.bodies.push_back(body("沉积盆地", {{200, -320}, {3200, -380}, {2600, 400}, {900, 500}}, 2.40,
                          0.0, {240, 220, 120}));
  Body dyke = body("磁性岩脉", {{7600, -100}, {7760, -100}, {8600, 1400}, {8440, 1400}}, 2.85, 0.05,
                   {90, 90, 200});
  dyke.remanence = 1.5;
  dyke.remInclination = 60;
  dyke.remDeclination = 10;
  m.bodies.push_back(dyke);
  m.gravityTrend.x0 = 0;
  m.gravityTrend.c = {-12.0, 0.35};
  m.magneticTrend.x0 = 0;
  m.magneticTrend.c = {20.0};
  return m;
}

}  // namespace

Outcome writeGm2dDemo(const std::string& workPath, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 1.0);
  // Terrain grid: 101 × 101 nodes at 200 m over the demo area.
  GridHeader h;
  h.method = "GM2D DEMO";
  h.x0 = static_cast<float>(kX0);
  h.y0 = static_cast<float>(kY0);
  h.nx = 101;
  h.ny = 101;
  h.dx = 200;
  h.dy = 200;
  std::vector<float> nodes(101 * 101);
  for (int r = 0; r < 101; ++r)
    for (int c = 0; c < 101; ++c)
      nodes[static_cast<std::size_t>(r * 101 + c)] =
          static_cast<float>(terrainAt(kX0 + 200.0 * c, kY0 + 200.0 * r));
  recomputeGridStats(h, nodes);
  if (!writeGrid(workPath + "Prof_Dat\\" + kDemoTerrain, kGridMagicB, "GM2D DEMO", h, nodes))
    return Outcome::failure(std::string(kMsgCannotWrite) + kDemoTerrain);

  Profile p;
  p.title = "示范剖面 重力与ΔT";
  p.georeferenced = true;
  p.originX = kLineE;
  p.originY = kLineN;
  p.azimuth = 90;
  for (int i = 0; i <= 200; ++i) {
    p.x.push_back(50.0 * i);
    p.elevation.push_back(std::round(terrainAt(kLineE + 50.0 * i, kLineN) * 10) / 10);
  }
  const Model truth = trueModel();
  const ForwardResult g = computeField(truth, p.x, p.elevation, FieldKind::Gravity);
  const ForwardResult t = computeField(truth, p.x, p.elevation, FieldKind::Magnetic);
  for (std::size_t i = 0; i < p.size(); ++i) {
    p.gravity.push_back(std::round((g.total[i] + 0.02 * noise(rng)) * 1000) / 1000);
    p.magnetic.push_back(std::round((t.total[i] + 1.5 * noise(rng)) * 10) / 10);
  }
  const std::string dir = workPath + "Prof_Dat\\";
  if (Outcome o = writeObserved(dir + kDemoProfile, p); !o) return o;
  if (Outcome o = writeModel(dir + kDemoTrueModel, truth); !o) return o;

  // The starting model: the intrusion's base too shallow and its density too low, chosen for the
  // inversion with its deeper vertices free in depth.
  Model start = truth;
  start.title = "示范初始模型";
  Body& in = start.bodies[0];
  in.vertices[3].z = 1700;
  in.vertices[4].z = 1900;
  in.vertices[5].z = 1200;
  in.density = 2.88;
  in.chosen = true;
  in.invertDensity = true;
  in.densityMin = 2.7;
  in.densityMax = 3.2;
  in.free = {kFixed, kFixed, kFixed, kFreeZ, kFreeZ, kFreeZ};
  in.moveZ = 1500;
  if (Outcome o = writeModel(dir + kDemoStartModel, start); !o) return o;

  ColourScale cs = ColourScale::defaultDensity();
  if (Outcome o = writeColourScale(dir + kDemoColours, cs); !o) return o;
  PrintSettings ps;
  ps.title = "示范剖面 二维重磁反演";
  return writePrintSettings(dir + kDemoPrintSet, ps);
}

}  // namespace sarnoth::gm2d
