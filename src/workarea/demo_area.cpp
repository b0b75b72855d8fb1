#include "workarea/demo_area.h"

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "electric/dc2d_demo.h"
#include "electric/mt2d_demo.h"
#include "electric/sounding_demo.h"
#include "gravmag/gm2d_demo.h"
#include "workarea/null_value.h"
#include "workarea/work_area.h"

namespace sarnoth {
namespace {

// Same numbers on every platform: mt19937's output is fixed by the standard; the distributions
// are ours.
class Rng {
 public:
  explicit Rng(unsigned seed) : g_(seed) {}
  double uniform() { return (static_cast<double>(g_() >> 5) + 0.5) / 134217728.0; }
  double normal() {
    if (has_) {
      has_ = false;
      return spare_;
    }
    double u = uniform(), v = uniform();
    double r = std::sqrt(-2.0 * std::log(u));
    spare_ = r * std::sin(2.0 * M_PI * v);
    has_ = true;
    return r * std::cos(2.0 * M_PI * v);
  }

 private:
  std::mt19937 g_;
  double spare_ = 0;
  bool has_ = false;
};

constexpr double kX0 = 500000.0;  // Gauss-Krüger easting without zone number, metres (single
                                  // precision holds 3 cm here)
constexpr double kY0 = 3350000.0;
constexpr double kSize = 20000.0;

double gauss2(double x, double y, double cx, double cy, double sx, double sy) {
  double dx = (x - cx) / sx, dy = (y - cy) / sy;
  return std::exp(-0.5 * (dx * dx + dy * dy));
}

struct Element {
  const char* name;
  double median[4];   // background median by unit
  double logSd;       // natural-log spread
  double epithermal;  // factor at the anomaly centre
  double porphyry;
  double halo;
};

const Element kElements[] = {
    {"Au", {1.2, 1.5, 1.0, 0.8}, 0.55, 40.0, 4.0, 1.0},
    {"Ag", {0.07, 0.09, 0.06, 0.05}, 0.45, 12.0, 3.0, 2.0},
    {"Cu", {22, 28, 18, 9}, 0.40, 1.5, 12.0, 1.5},
    {"Pb", {25, 22, 30, 35}, 0.40, 2.0, 1.5, 6.0},
    {"Zn", {70, 80, 65, 50}, 0.35, 1.5, 1.5, 5.0},
    {"As", {8, 12, 6, 3}, 0.60, 15.0, 2.0, 1.5},
    {"Sb", {0.6, 0.9, 0.5, 0.3}, 0.55, 10.0, 1.2, 1.3},
    {"Hg", {0.04, 0.05, 0.03, 0.02}, 0.60, 8.0, 1.0, 1.0},
    {"W", {2.0, 1.8, 2.5, 4.0}, 0.45, 1.0, 8.0, 1.5},
    {"Sn", {3.0, 2.8, 3.5, 6.0}, 0.40, 1.0, 5.0, 1.5},
    {"Mo", {0.6, 0.7, 0.5, 1.0}, 0.50, 1.0, 15.0, 1.2},
    {"Bi", {0.3, 0.35, 0.3, 0.6}, 0.50, 1.5, 8.0, 1.5},
};

const char* const kUnits[] = {"寒武系", "奥陶系", "志留系", "燕山期花岗岩"};

// Stratigraphic unit at a point: NE-trending belts with a granite stock in the south-east.
int unitAt(double x, double y) {
  double lx = x - kX0, ly = y - kY0;
  if (gauss2(lx, ly, 15000, 5000, 2600, 2200) > 0.5) return 3;
  double belt = (lx * 0.6 + ly * 0.8) / 1000.0;
  if (belt < 8) return 0;
  if (belt < 16) return 1;
  return 2;
}

void registerDemo(Database& db, const std::string& name) {
  ScriptedInteraction yes({Answer::Yes}, Answer::Yes);
  Registration how{"OutDataIn", "外部数据导入", OverwriteRule::Ask, "检索结果表名已存在,是否覆盖?",
                   "",          false};
  registerTable(db, name, how, yes);
}

int writeSediments(Database& db, Rng& rng) {
  std::vector<FieldDef> defs = {{"样号", JetType::Text, 20},
                                {"横坐标", JetType::Single, 0},
                                {"纵坐标", JetType::Single, 0},
                                {"地层", JetType::Text, 20}};
  for (const auto& e : kElements) defs.push_back({e.name, JetType::Single, 0});
  registerDemo(db, kDemoSedimentTable);
  db.createTable(kDemoSedimentTable, defs);
  std::vector<std::string> cols;
  for (const auto& d : defs) cols.push_back(d.name);
  TableWriter w(db, kDemoSedimentTable, cols);
  const double step = 350.0;
  int n = 0;
  for (double gy = step / 2; gy < kSize; gy += step) {
    for (double gx = step / 2; gx < kSize; gx += step) {
      double x = kX0 + gx + (rng.uniform() - 0.5) * step * 0.6;
      double y = kY0 + gy + (rng.uniform() - 0.5) * step * 0.6;
      int unit = unitAt(x, y);
      double lx = x - kX0, ly = y - kY0;
      double epi = gauss2(lx, ly, 5500, 13500, 900, 1500);
      double por = gauss2(lx, ly, 14000, 6000, 1300, 1300);
      // The Pb-Zn halo rings the porphyry centre.
      double r = std::hypot(lx - 14000, ly - 6000);
      double halo = std::exp(-0.5 * std::pow((r - 2600) / 700, 2));
      ++n;
      char id[24];
      std::snprintf(id, sizeof id, "WS%05d", n);
      w.setText(0, id);
      w.setDouble(1, x);
      w.setDouble(2, y);
      w.setText(3, kUnits[unit]);
      for (std::size_t k = 0; k < std::size(kElements); ++k) {
        const Element& e = kElements[k];
        double v = e.median[unit] * std::exp(e.logSd * rng.normal());
        v *= 1.0 + (e.epithermal - 1.0) * epi + (e.porphyry - 1.0) * por + (e.halo - 1.0) * halo;
        if (rng.uniform() < 0.01) {
          w.setDouble(4 + static_cast<int>(k), NULL_VALUE);
        } else {
          double digits = v < 1 ? 1000.0 : v < 100 ? 100.0 : 10.0;
          w.setDouble(4 + static_cast<int>(k), std::round(v * digits) / digits);
        }
      }
      w.addRow();
    }
  }
  w.commit();
  return n;
}

int writeGravity(Database& db, Rng& rng) {
  registerDemo(db, kDemoGravityTable);
  db.createTable(kDemoGravityTable, {{"点号", JetType::Long, 0},
                                     {"横坐标", JetType::Single, 0},
                                     {"纵坐标", JetType::Single, 0},
                                     {"高程", JetType::Single, 0},
                                     {"布格异常", JetType::Single, 0}});
  TableWriter w(db, kDemoGravityTable, {"点号", "横坐标", "纵坐标", "高程", "布格异常"});
  int n = 0;
  for (int i = 0; i < 2500; ++i) {
    double lx = rng.uniform() * kSize, ly = rng.uniform() * kSize;
    // Regional: a north-westward rise; a dense intrusion and a sedimentary basin.
    double regional = -32.0 + 0.45 * (lx / 1000.0) - 0.30 * (ly / 1000.0);
    double dense = 6.5 * gauss2(lx, ly, 14000, 6000, 1800, 1800);
    double basin = -4.0 * gauss2(lx, ly, 6000, 15000, 3000, 2000);
    double g = regional + dense + basin + 0.15 * rng.normal();
    double h = 420 + 180 * gauss2(lx, ly, 9000, 9000, 5000, 5000) + 15 * rng.normal();
    w.setInt(0, ++n);
    w.setDouble(1, kX0 + lx);
    w.setDouble(2, kY0 + ly);
    w.setDouble(3, std::round(h * 10) / 10);
    w.setDouble(4, std::round(g * 1000) / 1000);
    w.addRow();
  }
  w.commit();
  return n;
}

// Total field of a sphere magnetised by induction, inclination 45°, declination 0°.
double dipoleDeltaT(double x, double y, double cx, double cy, double depth, double moment) {
  const double inc = 45.0 * M_PI / 180.0;
  double l = std::cos(inc), n = std::sin(inc);  // unit field: north and down components
  double rx = x - cx, ry = y - cy, rz = depth;  // x east, y north, z down
  double r2 = rx * rx + ry * ry + rz * rz;
  double r = std::sqrt(r2);
  double mdotr = l * ry + n * rz;
  // B = m (3 (m̂·r̂) r̂ − m̂) / r³, projected on the field direction.
  double bN = (3 * mdotr * ry / r2 - l) / (r2 * r);
  double bD = (3 * mdotr * rz / r2 - n) / (r2 * r);
  return moment * (bN * l + bD * n);
}

int writeMagnetic(Database& db, Rng& rng) {
  registerDemo(db, kDemoMagneticTable);
  db.createTable(kDemoMagneticTable, {{"线号", JetType::Long, 0},
                                      {"横坐标", JetType::Single, 0},
                                      {"纵坐标", JetType::Single, 0},
                                      {"ΔT", JetType::Single, 0}});
  TableWriter w(db, kDemoMagneticTable, {"线号", "横坐标", "纵坐标", "ΔT"});
  int n = 0;
  for (int line = 0; line < 40; ++line) {
    double ly = 250.0 + line * 500.0;
    for (int k = 0; k < 100; ++k) {
      double lx = 100.0 + k * 200.0 + 10 * rng.normal();
      double t = 2.0e11 * dipoleDeltaT(lx, ly, 14000, 6000, 900, 1.0) +
                 0.6e11 * dipoleDeltaT(lx, ly, 4500, 15500, 600, 1.0) + 2.0 * rng.normal() +
                 0.004 * lx;
      w.setInt(0, 1000 + line);
      w.setDouble(1, kX0 + lx);
      w.setDouble(2, kY0 + ly + 5 * rng.normal());
      w.setDouble(3, std::round(t * 10) / 10);
      w.addRow();
      ++n;
    }
  }
  w.commit();
  return n;
}

}  // namespace

Outcome createDemoWorkArea(const std::string& dir, unsigned seed, DemoSummary* summary) {
  Outcome o = createWorkArea(dir);
  if (!o) return o;
  try {
    Database db = openWorkDatabase(withTrailingSeparator(dir));
    Rng rng(seed);
    DemoSummary s;
    s.sediments = writeSediments(db, rng);
    s.gravity = writeGravity(db, rng);
    s.magnetic = writeMagnetic(db, rng);
    if (summary) *summary = s;
    if (Outcome g = gm2d::writeGm2dDemo(withTrailingSeparator(dir), seed); !g) return g;
  } catch (const StoreError& e) {
    return Outcome::failure(std::string("创建新数据表错误, ") + e.what());
  }
  if (Outcome mt = electric::writeDemoMt2d(withTrailingSeparator(dir), seed); !mt) return mt;
  o = electric::writeDemoSoundings(withTrailingSeparator(dir), seed);
  if (!o) return o;
  return electric::writeDemoDc2d(withTrailingSeparator(dir), seed);
}

}  // namespace sarnoth
